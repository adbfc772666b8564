#pragma once
// The small images the toolkit carries: the title image and the paste buffer's sign, made by
// this program at first use (nothing is read from anywhere).
#include <cstdint>

struct ToolkitImage {
  int32_t width, height;
  const uint8_t* rgb;  // 3 bytes a pixel, rows top down
};

const ToolkitImage* toolkitTitleImage();
const ToolkitImage* toolkitPasteImage(bool lit);
