#pragma once
// RadioControl: up to 64 items of which one is selected, drawn as a column of choices or as a
// cycle (one field that steps to the next item on a click). Saved as "SELECTION".
#include <cstdint>

#include "toolkit/panel_control.h"

inline constexpr int32_t kRadioMaxItems = 64;
inline constexpr size_t kRadioItemSize = 64;  // 63 characters and the end
inline constexpr size_t kRadioTitleSize = 128;

struct RadioControl : PanelControl {
  ControlCallback onChange;
  int32_t count;
  int32_t selection;  // may stand above count after a load: then no item is lit
  char items[kRadioMaxItems][kRadioItemSize];
  int32_t cycle;
  char title[kRadioTitleSize];
  PanelControl* labels[kRadioMaxItems];  // "%s_label_%d", or the one "%s_cycle_label"
  uint32_t modifiers;
};

// The items are copied (at most 64, each cut to 63 characters); the size follows from them.
RadioControl* radioCreate(const char* name, int32_t x, int32_t y, Panel* panel, const char* const* items,
                          int32_t count, bool cycle = false);
// Selects an item and redraws; onChange is not run.
void radioSelect(RadioControl* radio, int32_t selection);
