// One pixel's samples and the first picture: the splat's reach, pixels outside the frame, the
// arrays' shape, and the first pass over an engine's layers.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "refine/pixel_refine.h"
#include "runtime/memory.h"
#include "support/shading_world.h"
#include "viewer/tile_engine.h"
#include "viewer/viewer_panel.h"

namespace {

std::vector<PixelSample> blank(int32_t width, int32_t height) {
  return std::vector<PixelSample>(size_t(width * height), PixelSample{});
}

int reached(const std::vector<PixelSample>& pixels) {
  int n = 0;
  for (const PixelSample& p : pixels) n += p.weight > 0.0f;
  return n;
}

TEST(PixelRefine, SplatShrinksFromNeighboursToThePixel) {
  const double colour[3] = {1.0, 0.5, 0.25};
  // The first sample of a pixel (extra radius 0.6) at its centre reaches its eight neighbours.
  auto pixels = blank(5, 5);
  std::vector<uint8_t> display(25 * 3, 0);
  splatSample(2.5, 2.5, colour, 1.0, 0.6, 1.0, pixels.data(), display.data(), 5, 5);
  EXPECT_EQ(reached(pixels), 9);
  for (int j = 1; j <= 3; ++j)
    for (int i = 1; i <= 3; ++i) EXPECT_GT(pixels[size_t(j * 5 + i)].weight, 0.0f) << i << "," << j;
  const PixelSample& centre = pixels[12];
  EXPECT_FLOAT_EQ(centre.red, 1.0f);
  EXPECT_FLOAT_EQ(centre.coverage, 1.0f);
  EXPECT_GT(centre.weight, pixels[11].weight);
  // Dithered bytes: 0.5 x 255 = 127.5 rounds to 127 or 128.
  EXPECT_EQ(display[12 * 3], 255);
  EXPECT_TRUE(display[12 * 3 + 1] == 127 || display[12 * 3 + 1] == 128);

  // From the ninth on (no extra radius) a sample stays in its pixel and the nearest side.
  pixels = blank(5, 5);
  splatSample(2.5, 2.5, colour, 1.0, 0.0, 1.0, pixels.data(), nullptr, 5, 5);
  EXPECT_EQ(reached(pixels), 1);
  pixels = blank(5, 5);
  splatSample(2.9, 2.5, colour, 1.0, 0.0, 1.0, pixels.data(), nullptr, 5, 5);
  EXPECT_EQ(reached(pixels), 2);
  EXPECT_GT(pixels[13].weight, 0.0f);

  // A running weighted mean: a second, equal-weight sample halves the difference.
  pixels = blank(5, 5);
  const double black[3] = {0.0, 0.0, 0.0};
  splatSample(2.5, 2.5, colour, 1.0, 0.0, 1.0, pixels.data(), nullptr, 5, 5);
  splatSample(2.5, 2.5, black, 1.0, 0.0, 0.0, pixels.data(), nullptr, 5, 5);
  EXPECT_FLOAT_EQ(pixels[12].red, 0.5f);
  EXPECT_FLOAT_EQ(pixels[12].coverage, 0.5f);
  // At the image's edge nothing is written outside it.
  pixels = blank(5, 5);
  splatSample(0.1, 4.9, colour, 1.0, 0.6, 1.0, pixels.data(), nullptr, 5, 5);
  EXPECT_GT(reached(pixels), 0);
}

class PixelRefineWorld : public ::testing::Test {
 protected:
  void SetUp() override {
    shadetest::loadRuntimeOnce();
    world.addObject(shadetest::boxModel({0, 0, 0}, {1, 1, 1}), "Box", {0, 0, 3});
    world.addLight(host::LightKind::Distant, "Sun", {0, 0, 0}, {0.3, 0.6, 0});
    camera = world.addCamera("Camera");
    world.start();
    viewer.capture = world.capture();
    viewer.lights = world.lights();
    CapturedCamera_Init(&viewer.camera);
    CaptureCamera(world.itemId(camera), 0.0, &viewer.camera);
    viewer.environment = *world.environment();
  }
  void TearDown() override {
    memFree(viewer.refine.pixels);
    memFree(viewer.refine.display);
  }
  shadetest::ShadingWorld world;
  int camera = 0;
  ViewerPanel viewer{};
};

TEST_F(PixelRefineWorld, PixelsOutsideTheFrameGetNoColourButCount) {
  // A view zoomed out to four times the frame: the corner pixel lies outside it.
  const int32_t width = 16, height = 12;
  auto pixels = blank(width, height);
  std::vector<uint8_t> display(size_t(width * height * 3), 0);
  RefineState& s = viewer.refine;
  s.pixels = pixels.data();
  s.display = display.data();
  s.width = width;
  s.height = height;
  const double aspect = viewer.camera.imageAspect;
  s.viewLeft = -4.0;
  s.viewRight = 4.0;
  s.viewBottom = -4.0 / aspect;
  s.viewTop = 4.0 / aspect;
  for (int k = 0; k < 3; ++k) refinePixel(&viewer, &pixels[0], pixels.data(), 1.0, 0, 0, 1);
  EXPECT_EQ(pixels[0].sampleCount, 3u);
  EXPECT_EQ(reached(pixels), 0);
  EXPECT_EQ(display[0], 0);
  // The middle pixel looks at the box: colour, full coverage, and its neighbours reached.
  PixelSample* middle = &pixels[size_t(6 * width + 8)];
  refinePixel(&viewer, middle, pixels.data(), 1.0, 8, 6, 1);
  EXPECT_EQ(middle->sampleCount, 1u);
  EXPECT_GT(middle->weight, 0.0f);
  EXPECT_GT(middle->red + middle->green + middle->blue, 0.0f);
  EXPECT_FLOAT_EQ(middle->coverage, 1.0f);
  EXPECT_GT(reached(pixels), 1);

  // Under depth of field the same first sample leaves from a point of the lens and counts
  // 0.15 as much.
  const float plain = middle->weight;
  pixels = blank(width, height);
  s.pixels = pixels.data();
  middle = &pixels[size_t(6 * width + 8)];
  world.capture()->renderOpts |= 0x40;
  refinePixel(&viewer, middle, pixels.data(), 1.0, 8, 6, 1);
  world.capture()->renderOpts &= ~0x40u;
  EXPECT_TRUE(viewer.camera.lensX != 0.0 || viewer.camera.lensY != 0.0);
  EXPECT_NEAR(middle->weight, 0.15f * plain, 1e-6f);
  s.pixels = nullptr;
  s.display = nullptr;
}

TEST_F(PixelRefineWorld, FirstPassKeepsTheStoredShapeForTheSameArea) {
  TileEngine* engine = engineCreate();
  ASSERT_NE(engine, nullptr);
  const double aspect = viewer.camera.imageAspect;
  RefineState& s = viewer.refine;
  ASSERT_NE(refineFirstPass(&viewer, engine, -1, -1 / aspect, 1, 1 / aspect, 20, 10), nullptr);
  EXPECT_EQ(s.width, 20);
  EXPECT_EQ(s.height, 10);
  PixelSample* before = s.pixels;
  s.pixels[7].sampleCount = 5;
  s.pixels[7].red = 3.0f;
  s.display[21] = 200;
  // Without layers every pixel is a hole, filled from its (empty) neighbours.
  ASSERT_NE(refineFirstPass(&viewer, engine, -1, -1 / aspect, 1, 1 / aspect, 10, 20), nullptr);
  EXPECT_EQ(s.pixels, before);
  EXPECT_EQ(s.width, 20);
  EXPECT_EQ(s.height, 10);
  EXPECT_EQ(s.pixels[7].sampleCount, 0u);
  EXPECT_EQ(s.pixels[7].red, 0.0f);
  EXPECT_EQ(s.pixels[7].weight, kRefineFilledWeight);
  EXPECT_EQ(s.display[21], 0);
  // A real change of area makes new arrays.
  ASSERT_NE(refineFirstPass(&viewer, engine, -1, -1 / aspect, 1, 1 / aspect, 30, 10), nullptr);
  EXPECT_EQ(s.width, 30);
  engineDestroy(engine);
}

}  // namespace
