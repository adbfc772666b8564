#pragma once
// ButtonControl: the push button and the toggle button (a box at the left, saved as
// "CHECKED" and "HIGHLIGHTED"). A press acts at once, on the press, with no capture: a toggle
// flips, then `onChange` runs with the modifier keys of the press in `modifiers`.
#include <cstdint>

#include "toolkit/panel_control.h"

inline constexpr int32_t kButtonWidth = 80;
inline constexpr int32_t kButtonHeight = 18;
inline constexpr int32_t kToggleWidth = 20;
inline constexpr int32_t kToggleHeight = 17;
inline constexpr size_t kButtonTextSize = 256;

struct ButtonControl : PanelControl {
  // width, height: of PanelControl
  ControlCallback onChange;
  char text[kButtonTextSize];
  char tooltip[kButtonTextSize];
  char label[kButtonTextSize];  // text left of the button, drawn by a label control "%s_label"
  WindowColour colour[2];       // face and text when `ownColour` is set
  int32_t state;                // on or off: bit 0, and bit 1 too for a toggle without text
  int32_t highlighted;
  // Of the toolkit's own:
  int32_t ownColour;
  int32_t toggle;               // a toggle button
  uint32_t modifiers;           // of the press that runs onChange: 1 shift, 2 control
  int32_t changed;
  PanelControl* labelControl;
  char shownText[kButtonTextSize];  // `text` fitted to the width, with "..." where cut
};

// 80 by 18, not saved.
ButtonControl* buttonCreate(const char* name, int32_t x, int32_t y, Panel* panel);
// 20 by 17 with the box at the left, saved.
ButtonControl* toggleCreate(const char* name, int32_t x, int32_t y, Panel* panel);

// Lays out the text: `text` into `shownText`, cut with "..." a character at a time until it
// fits `width` less 9 (or three characters are left) when wider than `width` less 6.
void buttonFitText(ButtonControl* button);
