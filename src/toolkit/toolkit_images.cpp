// The toolkit's own small images, drawn here pixel by pixel at first use: the title image (an
// umbrella on a dark tile) and the paste buffer's sign (a clipboard), unlit and lit. Made once,
// under std::call_once, since panels of several threads may ask at the same time.
#include "toolkit/toolkit_images.h"

#include <cmath>
#include <mutex>

#include "platform/window.h"

namespace {

constexpr int32_t kSide = 16;
constexpr int32_t kBytes = kSide * kSide * 3;

// Title image.
constexpr WindowColour kTileBlue = 0x1E3A5F;
constexpr WindowColour kTileEdge = 0x12233A;
constexpr WindowColour kCanopyRed = 0xD9483B;
constexpr WindowColour kCanopyGold = 0xF2B134;
constexpr WindowColour kShaft = 0xE6E6E6;
constexpr double kCanopyX = 7.5, kCanopyY = 8.0, kCanopyRadius = 6.6;
constexpr int32_t kCanopySegments = 4;
constexpr int32_t kShaftX = 8;

// Paste sign.
constexpr WindowColour kPasteTile[2] = {0x707070, 0xE8B830};  // unlit, lit
constexpr WindowColour kBoard[2] = {0x7A6048, 0x8B5A2B};
constexpr WindowColour kPaper[2] = {0xD8D8D8, 0xFFFFFF};
constexpr WindowColour kPaperLine = 0x8C8C8C;
constexpr WindowColour kClip = 0x3C3C3C;

struct Images {
  uint8_t title[kBytes];
  uint8_t paste[2][kBytes];
  ToolkitImage titleImage;
  ToolkitImage pasteImage[2];
};

Images images;
std::once_flag imagesOnce;

void put(uint8_t* rgb, int32_t x, int32_t y, WindowColour colour) {
  if (x < 0 || y < 0 || x >= kSide || y >= kSide) return;
  uint8_t* pixel = rgb + (y * kSide + x) * 3;
  pixel[0] = uint8_t(colour >> 16);
  pixel[1] = uint8_t(colour >> 8);
  pixel[2] = uint8_t(colour);
}

void fill(uint8_t* rgb, int32_t left, int32_t top, int32_t right, int32_t bottom, WindowColour colour) {
  for (int32_t y = top; y <= bottom; ++y)
    for (int32_t x = left; x <= right; ++x) put(rgb, x, y, colour);
}

void drawTitle(uint8_t* rgb) {
  fill(rgb, 0, 0, kSide - 1, kSide - 1, kTileEdge);
  fill(rgb, 1, 1, kSide - 2, kSide - 2, kTileBlue);
  // The canopy: the upper half of a disc in alternating segments.
  for (int32_t y = 1; y <= int32_t(kCanopyY); ++y)
    for (int32_t x = 1; x < kSide - 1; ++x) {
      const double dx = x + 0.5 - kCanopyX, dy = kCanopyY - (y + 0.5);
      if (dx * dx + dy * dy > kCanopyRadius * kCanopyRadius) continue;
      const double angle = std::atan2(dy < 0 ? 0 : dy, dx);  // 0 at the right, pi at the left
      const auto segment = int32_t(angle / (M_PI / kCanopySegments));
      put(rgb, x, y, segment % 2 ? kCanopyGold : kCanopyRed);
    }
  // The shaft, from the tip above the canopy to a hook at the bottom.
  put(rgb, kShaftX, 1, kShaft);
  for (int32_t y = int32_t(kCanopyY) + 1; y <= 12; ++y) put(rgb, kShaftX, y, kShaft);
  put(rgb, kShaftX - 1, 13, kShaft);
  put(rgb, kShaftX - 2, 13, kShaft);
  put(rgb, kShaftX - 3, 12, kShaft);
}

void drawPaste(uint8_t* rgb, int32_t lit) {
  fill(rgb, 0, 0, kSide - 1, kSide - 1, kPasteTile[lit]);
  fill(rgb, 3, 2, 12, 14, kBoard[lit]);
  fill(rgb, 5, 4, 10, 12, kPaper[lit]);
  for (int32_t y = 6; y <= 10; y += 2) fill(rgb, 6, y, 9, y, kPaperLine);
  fill(rgb, 6, 1, 9, 3, kClip);
}

void makeImages() {
  drawTitle(images.title);
  images.titleImage = {kSide, kSide, images.title};
  for (int32_t lit = 0; lit < 2; ++lit) {
    drawPaste(images.paste[lit], lit);
    images.pasteImage[lit] = {kSide, kSide, images.paste[lit]};
  }
}

const Images& madeImages() {
  std::call_once(imagesOnce, makeImages);
  return images;
}

}  // namespace

const ToolkitImage* toolkitTitleImage() { return &madeImages().titleImage; }

const ToolkitImage* toolkitPasteImage(bool lit) { return &madeImages().pasteImage[lit ? 1 : 0]; }
