#pragma once
// The controls that only draw: the separator (three lines in three pens), the inset (a
// lowered frame with the panel's fill) and the bitmap (a small image of the toolkit's own,
// which may act on a click: the About panel from the title, the paste buffer's sign).
#include <cstdint>

#include "toolkit/panel_control.h"
#include "toolkit/toolkit_images.h"

inline constexpr int32_t kSeparatorLength = 200;

struct SeparatorControl : PanelControl {
  int32_t length;
};
struct InsetControl : PanelControl {};
struct BitmapControl : PanelControl {
  ControlCallback onChange;
  const ToolkitImage* image;
  int32_t lit;  // shown lit (the paste buffer holds this panel's type)
};

SeparatorControl* separatorCreate(const char* name, int32_t x, int32_t y, Panel* panel,
                                  int32_t length = kSeparatorLength);
InsetControl* insetCreate(const char* name, int32_t x, int32_t y, Panel* panel, int32_t width, int32_t height);
BitmapControl* bitmapCreate(const char* name, int32_t x, int32_t y, Panel* panel, const ToolkitImage* image);
