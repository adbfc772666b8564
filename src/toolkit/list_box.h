#pragma once
// ListBoxControl: rows of up to four column texts, each row with a selected flag, drawn with a
// scroll bar when they do not fit. Saved as "SEL" lines of the selected rows' numbers, and an
// "END LISTBOX <name>".
#include <cstdint>

#include "toolkit/panel_control.h"

inline constexpr int32_t kListColumns = 4;
inline constexpr size_t kListColumnSize = 72;
inline constexpr int32_t kListRowHeight = 15;

struct ListRow {
  int32_t selected;
  char columns[kListColumns][kListColumnSize];
};

struct ListBoxControl : PanelControl {
  ControlCallback onChange;       // a click that changed the selection
  ControlCallback onDoubleClick;  // a second click on the same row within a short time
  int32_t rowCount;
  ListRow* rows;                  // tracked
  int32_t columnWidths[kListColumns];
  int32_t firstShown;             // scrolled to
  int32_t multiple;               // several rows may be selected (control and shift clicks)
  int32_t lastClicked;
  uint32_t lastClickTime;
  uint32_t modifiers;
  char label[256];
  PanelControl* labelControl;
};

// Filled with the sample rows "Zero", "One", "Two", "Three" until the owner gives rows.
ListBoxControl* listBoxCreate(const char* name, int32_t x, int32_t y, Panel* panel, int32_t width, int32_t height);
// Makes `count` empty, unselected rows; false when memory runs out (the old rows stay).
bool listBoxSetRows(ListBoxControl* list, int32_t count);
void listBoxSetCell(ListBoxControl* list, int32_t row, int32_t column, const char* text);
void listBoxSelect(ListBoxControl* list, int32_t row, bool selected);
int32_t listBoxFirstSelected(const ListBoxControl* list);  // -1 when none
