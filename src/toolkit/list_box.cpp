// ListBoxControl: rows of four column texts with a selected flag each. A click selects (with
// control or shift adding to the selection where `multiple` allows), a second click on the
// same row soon after is a double click, the wheel and the scroll bar move through rows that
// do not fit. The rows are tracked memory of the list's own, freed in destroy.
#include "toolkit/list_box.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <vector>

#include "platform/thread.h"
#include "runtime/memory.h"
#include "toolkit/control_draw.h"
#include "toolkit/instance_text.h"
#include "toolkit/panel.h"
#include "toolkit/text_control.h"

namespace {

constexpr const char* kSampleRows[] = {"Zero", "One", "Two", "Three"};
constexpr int32_t kDefaultWidth = 200;
constexpr int32_t kPad = 2;             // inside the frame
constexpr int32_t kCellPad = 2;         // before a column's text
constexpr int32_t kScrollWidth = 14;
constexpr int32_t kThumbMinimum = 8;
constexpr int32_t kWheelRows = 3;
constexpr uint32_t kDoubleClickMs = 400;
constexpr int32_t kLabelGap = 4;

int32_t shownRows(const ListBoxControl* list) { return std::max(1, (list->height - 2 * kPad) / kListRowHeight); }

bool overflows(const ListBoxControl* list) { return list->rowCount > shownRows(list); }

int32_t lastFirstShown(const ListBoxControl* list) { return std::max(0, list->rowCount - shownRows(list)); }

void clampScroll(ListBoxControl* list) { list->firstShown = std::clamp(list->firstShown, 0, lastFirstShown(list)); }

WindowRect rowsArea(const ListBoxControl* list) {
  const WindowRect a = controlArea(list);
  return {a.left + kPad, a.top + kPad, a.right - kPad - (overflows(list) ? kScrollWidth : 0), a.bottom - kPad};
}

WindowRect scrollArea(const ListBoxControl* list) {
  const WindowRect a = controlArea(list);
  return {a.right - kPad - kScrollWidth, a.top + kPad, a.right - kPad, a.bottom - kPad};
}

WindowRect thumbArea(const ListBoxControl* list) {
  const WindowRect bar = scrollArea(list);
  const int32_t room = bar.bottom - bar.top;
  const int32_t size = std::clamp(room * shownRows(list) / std::max(list->rowCount, 1), kThumbMinimum, room);
  const int32_t top = bar.top + (room - size) * list->firstShown / std::max(lastFirstShown(list), 1);
  return {bar.left, top, bar.right, top + size};
}

bool columnUsed(const ListBoxControl* list, int32_t column) {
  for (int32_t r = 0; r < list->rowCount; ++r)
    if (list->rows[r].columns[column][0]) return true;
  return false;
}

// Column widths: those the owner set, and the room left shared by the columns left at 0
// that hold any text, so that empty columns take no room from the others.
void columnWidths(const ListBoxControl* list, int32_t room, int32_t* out) {
  int32_t open = 0;
  bool used[kListColumns];
  for (int32_t c = 0; c < kListColumns; ++c) {
    out[c] = std::max(list->columnWidths[c], 0);
    used[c] = out[c] > 0 || columnUsed(list, c);
    room -= out[c];
    open += out[c] == 0 && used[c];
  }
  for (int32_t c = 0; c < kListColumns; ++c)
    if (out[c] == 0 && used[c] && open) out[c] = std::max(room, 0) / open;
}

void listLayout(ListBoxControl* list) {
  controlSetArea(list, {list->x, list->y, list->x + list->width, list->y + list->height});
  clampScroll(list);
  labelPlace(&list->labelControl, list, list->label, list->x - kLabelGap, list->y);
}

void listPaint(ListBoxControl* list) {
  if (!controlDrawn(list)) return;
  Panel* panel = controlPanel(list);
  panelDrawFrame(panel, controlArea(list), false, panelColour(panel, kColourEdit));
  PlatformWindow* window = controlWindow(list);
  if (!window) return;
  const WindowRect rows = rowsArea(list);
  int32_t widths[kListColumns];
  columnWidths(list, rows.right - rows.left, widths);
  const int32_t end = std::min(list->rowCount, list->firstShown + shownRows(list));
  for (int32_t r = list->firstShown; r < end; ++r) {
    const ListRow& row = list->rows[r];
    const int32_t top = rows.top + (r - list->firstShown) * kListRowHeight;
    const WindowRect line{rows.left, top, rows.right, std::min(top + kListRowHeight, rows.bottom)};
    if (row.selected) windowFillRect(window, line, panelColour(panel, kColourHighlight));
    const WindowColour ink = panelColour(panel, row.selected ? kColourHighlightText : kColourText);
    int32_t left = rows.left;
    for (int32_t c = 0; c < kListColumns; ++c) {
      const WindowRect cell{left, line.top, std::min(left + widths[c] - kCellPad, rows.right), line.bottom};
      if (cell.right > cell.left && row.columns[c][0])
        controlText(list, kFontNormal, left + kCellPad, controlTextTop(list, kFontNormal, top, kListRowHeight),
                    row.columns[c], ink, cell);
      left += widths[c];
    }
  }
  if (overflows(list)) {
    panelDrawFrame(panel, scrollArea(list), false, panelColour(panel, kColourBackground));
    panelDrawFrame(panel, thumbArea(list), true, panelColour(panel, kColourFace));
  }
}

void listRepaint(ListBoxControl* list) {
  listPaint(list);
  controlFlush(list);
}

int32_t listDraw(PanelControl* control, int32_t flags) {
  auto* list = static_cast<ListBoxControl*>(control);
  if (!controlHead(control)->visible) {
    controlTakeDown(control);
    if (list->labelControl) {
      controlHead(list->labelControl)->visible = 0;
      ControlRedraw(list->labelControl, kRedrawTakeDown | kRedrawTakeDownLabel);
    }
    return 0;
  }
  if (flags & kRedrawTakeDown) controlTakeDown(control);
  if ((flags & kRedrawTakeDownLabel) && list->labelControl)
    ControlRedraw(list->labelControl, kRedrawTakeDown | kRedrawTakeDownLabel);
  if (flags & kRedrawLayout) listLayout(list);
  if ((flags & kRedrawPaintLabel) && list->labelControl)
    ControlRedraw(list->labelControl, kRedrawPaint | kRedrawPaintLabel);
  if (flags & kRedrawPaint) listRepaint(list);
  return 0;
}

// A click on a row: gives whether the selection changed.
bool clickRow(ListBoxControl* list, int32_t row) {
  std::vector<int32_t> before(size_t(list->rowCount));
  for (int32_t r = 0; r < list->rowCount; ++r) before[size_t(r)] = list->rows[r].selected;
  const bool extend = list->multiple && (list->modifiers & kModifierShift) && list->lastClicked >= 0 &&
                      list->lastClicked < list->rowCount;
  const bool toggle = list->multiple && (list->modifiers & kModifierControl);
  if (extend) {
    if (!toggle)
      for (int32_t r = 0; r < list->rowCount; ++r) list->rows[r].selected = 0;
    for (int32_t r = std::min(row, list->lastClicked); r <= std::max(row, list->lastClicked); ++r)
      list->rows[r].selected = 1;
  } else if (toggle) {
    list->rows[row].selected = !list->rows[row].selected;
  } else {
    for (int32_t r = 0; r < list->rowCount; ++r) list->rows[r].selected = r == row;
  }
  for (int32_t r = 0; r < list->rowCount; ++r)
    if (before[size_t(r)] != list->rows[r].selected) return true;
  return false;
}

int32_t listPress(ListBoxControl* list, const WindowMessage& message) {
  if (overflows(list) && message.x >= scrollArea(list).left) {
    const WindowRect thumb = thumbArea(list);
    if (message.y < thumb.top) list->firstShown -= shownRows(list);
    if (message.y >= thumb.bottom) list->firstShown += shownRows(list);
    clampScroll(list);
    listRepaint(list);
    return kMessageStop;
  }
  const WindowRect rows = rowsArea(list);
  if (message.y < rows.top) return kMessageStop;
  const int32_t row = list->firstShown + (message.y - rows.top) / kListRowHeight;
  if (row >= list->rowCount) return kMessageStop;

  const uint32_t now = tickCount();
  const bool twice = row == list->lastClicked && now - list->lastClickTime <= kDoubleClickMs;
  list->modifiers = controlModifiers(list);
  const bool changed = clickRow(list, row);
  list->lastClicked = row;
  // A third click starts a new pair instead of making a second double click.
  list->lastClickTime = twice ? now - kDoubleClickMs - 1 : now;
  listRepaint(list);
  int32_t answer = kMessageStop;
  if (changed && list->onChange) answer |= list->onChange(list);
  if (twice && list->onDoubleClick) answer |= list->onDoubleClick(list);
  return answer;
}

int32_t listMessage(PanelControl* control) {
  auto* list = static_cast<ListBoxControl*>(control);
  const WindowMessage* message = controlMessage(control);
  if (!message) return 0;
  if (controlPaintWanted(control)) {
    listPaint(list);
    return 0;
  }
  if (list->disabled) return 0;
  if (controlPressed(control)) return listPress(list, *message);
  if (message->kind == kWindowWheel && controlContains(control, message->x, message->y)) {
    list->firstShown -= message->wheel * kWheelRows;
    clampScroll(list);
    listRepaint(list);
    return kMessageStop;
  }
  return 0;
}

int32_t listSave(PanelControl* control, LWSaveState* state, int32_t indent) {
  auto* list = static_cast<ListBoxControl*>(control);
  std::vector<int32_t> selected;
  for (int32_t r = 0; r < list->rowCount; ++r)
    if (list->rows[r].selected) selected.push_back(r);
  return instanceWriteListBox(state, indent, controlName(control), selected.data(), int32_t(selected.size()));
}

void selectLoadedRow(void* data, long row) {
  auto* list = static_cast<ListBoxControl*>(data);
  if (row >= 0 && row < list->rowCount) list->rows[row].selected = 1;
}

// The text gives every selected row, so what was selected before goes.
const char* listLoad(PanelControl* control, LWLoadState* state) {
  auto* list = static_cast<ListBoxControl*>(control);
  for (int32_t r = 0; r < list->rowCount; ++r) list->rows[r].selected = 0;
  return instanceReadListBox(state, controlName(control), selectLoadedRow, list);
}

// Rows just read are brought into view.
void listAfterLoad(PanelControl* control) {
  auto* list = static_cast<ListBoxControl*>(control);
  const int32_t first = listBoxFirstSelected(list);
  if (first >= 0 && (first < list->firstShown || first >= list->firstShown + shownRows(list))) {
    list->firstShown = first;
    clampScroll(list);
  }
}

void listCopy(PanelControl* control, const PanelControl* other) {
  auto* list = static_cast<ListBoxControl*>(control);
  const auto* from = static_cast<const ListBoxControl*>(other);
  for (int32_t r = 0; r < list->rowCount; ++r) list->rows[r].selected = r < from->rowCount && from->rows[r].selected;
  list->firstShown = from->firstShown;
  clampScroll(list);
}

void listDestroy(PanelControl* control) {
  auto* list = static_cast<ListBoxControl*>(control);
  labelRemove(&list->labelControl);
  memFree(list->rows);
  list->rows = nullptr;
  list->rowCount = 0;
}

}  // namespace

ListBoxControl* listBoxCreate(const char* name, int32_t x, int32_t y, Panel* panel, int32_t width, int32_t height) {
  auto* list = controlNew<ListBoxControl>(panel, name);
  if (!list) return nullptr;
  PanelControlHead* head = controlHead(list);
  head->kind = kControlKindListBox;
  head->saved = 1;
  head->ops.draw = listDraw;
  head->ops.takeDown = controlTakeDown;
  head->ops.save = listSave;
  head->ops.load = listLoad;
  head->ops.copy = listCopy;
  head->ops.reset = controlForgetArea;
  head->ops.destroy = listDestroy;
  head->ops.afterLoad = listAfterLoad;
  head->ops.message = listMessage;
  // afterEvent, useItems and changeItems stay none: the rows are texts, not host items.
  list->x = x;
  list->y = y;
  list->width = width > 0 ? width : kDefaultWidth;
  list->height = height > 0 ? height : 2 * kPad + kListRowHeight * int32_t(std::size(kSampleRows));
  list->lastClicked = -1;
  if (!listBoxSetRows(list, int32_t(std::size(kSampleRows)))) {
    ControlDestroy(list);
    return nullptr;
  }
  for (int32_t r = 0; r < list->rowCount; ++r) listBoxSetCell(list, r, 0, kSampleRows[r]);
  return list;
}

bool listBoxSetRows(ListBoxControl* list, int32_t count) {
  count = std::max(count, 0);
  ListRow* rows = nullptr;
  if (count > 0) {
    rows = static_cast<ListRow*>(memAllocZero(sizeof(ListRow) * size_t(count)));
    if (!rows) return false;
  }
  memFree(list->rows);
  list->rows = rows;
  list->rowCount = count;
  list->firstShown = 0;
  list->lastClicked = -1;
  if (controlDrawn(list)) ControlRedraw(list, kRedrawPaint);
  return true;
}

void listBoxSetCell(ListBoxControl* list, int32_t row, int32_t column, const char* text) {
  if (row < 0 || row >= list->rowCount || column < 0 || column >= kListColumns) return;
  std::snprintf(list->rows[row].columns[column], kListColumnSize, "%s", text ? text : "");
}

void listBoxSelect(ListBoxControl* list, int32_t row, bool selected) {
  if (row < 0 || row >= list->rowCount) return;
  list->rows[row].selected = selected ? 1 : 0;
  if (controlDrawn(list)) ControlRedraw(list, kRedrawPaint);
}

int32_t listBoxFirstSelected(const ListBoxControl* list) {
  for (int32_t r = 0; r < list->rowCount; ++r)
    if (list->rows[r].selected) return r;
  return -1;
}
