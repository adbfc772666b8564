#pragma once
// TextControl: one line of up to 512 characters in one of the two panel fonts, or in a pixel
// size of its own; the width follows from the text. Labels of other controls ("%s_label")
// are text controls ending at their x.
#include <cstdint>

#include "toolkit/panel_control.h"

inline constexpr size_t kTextSize = 513;
inline constexpr int32_t kTextHeight = 15;

enum TextAlign : int32_t { kAlignLeft = 0, kAlignCentre = 1, kAlignRight = 2 };  // about x

struct TextControl : PanelControl {
  ControlCallback onChange;  // a click on the text (links of the About panel)
  char text[kTextSize];
  WindowFont font;
  int32_t align;
  int32_t link;              // drawn as a link: underlined, in the highlight colour
};

TextControl* textCreate(const char* name, int32_t x, int32_t y, Panel* panel, const char* text,
                        WindowFont font = kFontNormal);
// A label: a text named "<owner>_label" (or the name given), right-aligned to end at x.
TextControl* labelCreate(const char* name, int32_t x, int32_t y, Panel* panel, const char* text);

// The label of a control, kept in its `label` pointer: made when `text` is not empty (named
// `name`, or "<owner>_label" without one), placed at x, y with the alignment, and given the
// owner's text, disabled and visible state; taken down and destroyed when `text` is empty.
void labelPlace(PanelControl** label, PanelControl* owner, const char* text, int32_t x, int32_t y,
                int32_t align = kAlignRight, const char* name = nullptr);
// Takes the label down and destroys it; the pointer is cleared.
void labelRemove(PanelControl** label);
