// EditField: typing, the caret and the selection of one line of text, and the panel's keyboard.
// Guards: `caret` and `anchor` stay within the text and on the first byte of a UTF-8
// character; the text never grows past maxLength characters; the owner hears of every loss
// of the keyboard exactly once.
#include "toolkit/edit_field.h"

#include <X11/keysym.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "toolkit/control_draw.h"
#include "toolkit/panel.h"

namespace {

constexpr int32_t kTextPad = 3;  // from the frame to the text
constexpr int32_t kCaretWidth = 1;

bool continuation(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

int32_t length(const EditField* field) { return int32_t(std::strlen(field->text)); }

int32_t characters(const char* text) {
  int32_t n = 0;
  for (const char* p = text; *p; ++p) n += !continuation(*p);
  return n;
}

int32_t previousBoundary(const EditField* field, int32_t at) {
  if (at <= 0) return 0;
  --at;
  while (at > 0 && continuation(field->text[at])) --at;
  return at;
}

int32_t nextBoundary(const EditField* field, int32_t at) {
  const int32_t end = length(field);
  if (at >= end) return end;
  ++at;
  while (at < end && continuation(field->text[at])) ++at;
  return at;
}

int32_t selectionStart(const EditField* field) { return std::min(field->caret, field->anchor); }
int32_t selectionEnd(const EditField* field) { return std::max(field->caret, field->anchor); }

void removeSelection(EditField* field) {
  const int32_t from = selectionStart(field), to = selectionEnd(field);
  if (from == to) return;
  std::memmove(field->text + from, field->text + to, size_t(length(field) - to + 1));
  field->caret = field->anchor = from;
}

// Inserts what fits of `typed` at the caret, whole characters only.
bool insertText(EditField* field, const char* typed) {
  removeSelection(field);
  int32_t room = field->maxLength - characters(field->text);
  int32_t bytes = 0;
  for (const char* p = typed; *p && room > 0;) {
    int32_t one = 1;
    while (continuation(p[one])) ++one;
    if (size_t(length(field) + bytes + one) >= kEditFieldSize) break;
    bytes += one;
    p += one;
    --room;
  }
  if (bytes == 0) return false;
  const int32_t end = length(field);
  std::memmove(field->text + field->caret + bytes, field->text + field->caret, size_t(end - field->caret + 1));
  std::memcpy(field->text + field->caret, typed, size_t(bytes));
  field->caret = field->anchor = field->caret + bytes;
  return true;
}

// The pixel offset of byte `at` from the text's start.
int32_t offsetOf(const EditField* field, Panel* panel, int32_t at) {
  char prefix[kEditFieldSize];
  std::memcpy(prefix, field->text, size_t(at));
  prefix[at] = '\0';
  return windowTextWidth(panel ? panel->window : nullptr, kFontNormal, prefix);
}

int32_t innerWidth(const EditField* field) { return field->area.right - field->area.left - 2 * kTextPad; }

// Keeps the caret inside the field's room by moving the hidden part.
void keepCaretInView(EditField* field, Panel* panel) {
  const int32_t caretX = offsetOf(field, panel, field->caret);
  const int32_t room = std::max(innerWidth(field) - kCaretWidth, 1);
  if (caretX - field->scroll > room) field->scroll = caretX - room;
  if (caretX < field->scroll) field->scroll = caretX;
  if (field->scroll < 0) field->scroll = 0;
}

// The character boundary nearest to a panel x.
int32_t byteAt(const EditField* field, Panel* panel, int32_t x) {
  const int32_t target = x - (field->area.left + kTextPad) + field->scroll;
  int32_t best = 0, bestDistance = std::abs(target);
  for (int32_t at = nextBoundary(field, 0); at > 0; at = nextBoundary(field, at)) {
    const int32_t distance = std::abs(offsetOf(field, panel, at) - target);
    if (distance < bestDistance) {
      best = at;
      bestDistance = distance;
    }
    if (at >= length(field)) break;
  }
  return best;
}

void repaint(EditField* field, Panel* panel) {
  if (!panel || !panel->window || field->area.left == -1) return;
  EditField_Paint(field, panel, editFieldFocused(field, panel));
  windowFlush(panel->window);
}

void moveCaret(EditField* field, int32_t to, bool extend) {
  field->caret = to;
  if (!extend) field->anchor = to;
}

}  // namespace

void EditField_Init(EditField* field, PanelControl* owner, int32_t maxLength,
                    void (*onCommit)(PanelControl* owner, int32_t reason)) {
  *field = EditField{};
  field->maxLength = std::clamp<int32_t>(maxLength, 1, int32_t(kEditFieldSize) - 1);
  field->area = {-1, -1, -1, -1};
  field->owner = owner;
  field->onCommit = onCommit;
}

void EditField_SetText(EditField* field, const char* text) {
  field->text[0] = '\0';
  field->caret = field->anchor = 0;
  field->scroll = 0;
  insertText(field, text ? text : "");
  field->modified = 0;
}

void EditField_SelectAll(EditField* field) {
  field->anchor = 0;
  field->caret = length(field);
}

void EditField_Paint(EditField* field, Panel* panel, bool focused) {
  if (!panel || !panel->window || field->area.left == -1) return;
  PlatformWindow* window = panel->window;
  panelDrawFrame(panel, field->area, false, panelColour(panel, field->disabled ? kColourBackground : kColourEdit));
  const WindowRect inner{field->area.left + kTextPad, field->area.top + 1, field->area.right - kTextPad,
                         field->area.bottom - 1};
  if (inner.right <= inner.left) return;
  if (focused) keepCaretInView(field, panel);
  const int32_t textX = inner.left - field->scroll;
  const int32_t textY = field->area.top + (field->area.bottom - field->area.top - windowFontHeight(window, kFontNormal)) / 2;
  if (field->disabled) {
    panelDrawText(panel, kFontNormal, textX, textY, field->text, true, inner);
    return;
  }
  windowText(window, kFontNormal, textX, textY, field->text, panelColour(panel, kColourText), inner);
  if (!focused) return;
  if (field->caret != field->anchor) {
    // The selected part again, in the highlight's colours, clipped to its own rectangle.
    const int32_t from = textX + offsetOf(field, panel, selectionStart(field));
    const int32_t to = textX + offsetOf(field, panel, selectionEnd(field));
    const WindowRect selected{std::max(from, inner.left), inner.top, std::min(to, inner.right), inner.bottom};
    if (selected.right > selected.left) {
      windowFillRect(window, selected, panelColour(panel, kColourHighlight));
      windowText(window, kFontNormal, textX, textY, field->text, panelColour(panel, kColourHighlightText), selected);
    }
  }
  const int32_t caretX = textX + offsetOf(field, panel, field->caret);
  if (caretX >= inner.left && caretX < inner.right)
    windowFillRect(window, {caretX, inner.top + 1, caretX + kCaretWidth, inner.bottom - 1},
                   panelColour(panel, kColourText));
}

bool EditField_Key(EditField* field, Panel* panel, const WindowMessage& message) {
  if (field->disabled) return false;
  const bool shift = message.modifiers & kModifierShift;
  const bool control = message.modifiers & kModifierControl;
  bool changed = false;
  switch (message.key) {
    case XK_Return:
    case XK_KP_Enter:
      if (field->onCommit) field->onCommit(field->owner, kEditCommitReturn);
      return true;
    case XK_Escape:
      if (field->onCommit) field->onCommit(field->owner, kEditCommitCancel);
      field->modified = 0;  // the owner showed its value again: nothing left to take
      if (editFieldFocused(field, panel)) panelSetKeyboard(panel, nullptr);
      return true;
    case XK_Tab:
    case XK_ISO_Left_Tab:
      panelKeyboardNext(panel, shift || message.key == XK_ISO_Left_Tab);
      return true;
    case XK_Left:
    case XK_KP_Left:
      moveCaret(field, control ? 0 : previousBoundary(field, field->caret), shift);
      break;
    case XK_Right:
    case XK_KP_Right:
      moveCaret(field, control ? length(field) : nextBoundary(field, field->caret), shift);
      break;
    case XK_Home:
    case XK_KP_Home:
      moveCaret(field, 0, shift);
      break;
    case XK_End:
    case XK_KP_End:
      moveCaret(field, length(field), shift);
      break;
    case XK_BackSpace:
      if (field->caret == field->anchor) field->anchor = previousBoundary(field, field->caret);
      changed = field->caret != field->anchor;
      removeSelection(field);
      break;
    case XK_Delete:
    case XK_KP_Delete:
      if (field->caret == field->anchor) field->anchor = nextBoundary(field, field->caret);
      changed = field->caret != field->anchor;
      removeSelection(field);
      break;
    default:
      if (control && (message.key == XK_a || message.key == XK_A)) {
        EditField_SelectAll(field);
        break;
      }
      // What the key types; control chords and keys that type nothing are not the field's.
      if (control || static_cast<unsigned char>(message.text[0]) < 0x20 || message.text[0] == 0x7F) return false;
      changed = insertText(field, message.text);
      break;
  }
  if (changed) field->modified = 1;
  repaint(field, panel);
  return true;
}

bool EditField_Mouse(EditField* field, Panel* panel, const WindowMessage& message) {
  if (field->disabled || field->area.left == -1) return false;
  const bool inside = message.x >= field->area.left && message.x < field->area.right &&
                      message.y >= field->area.top && message.y < field->area.bottom;
  switch (message.kind) {
    case kWindowMouseDown:
      if (!inside || message.button != 1) return false;
      if (!editFieldFocused(field, panel)) panelSetKeyboard(panel, field);
      moveCaret(field, byteAt(field, panel, message.x), message.modifiers & kModifierShift);
      field->selecting = 1;
      break;
    case kWindowMouseMove:
      if (!field->selecting) return false;
      moveCaret(field, byteAt(field, panel, message.x), true);
      break;
    case kWindowMouseUp:
      if (!field->selecting) return false;
      field->selecting = 0;
      return true;
    default:
      return false;
  }
  repaint(field, panel);
  return true;
}

void panelSetKeyboard(Panel* panel, EditField* field) {
  if (!panel) return;
  EditField* old = panel->keyboard;
  if (old == field) return;
  // Set first: an owner that hears of the loss may ask who holds the keyboard now.
  panel->keyboard = field;
  if (old) {
    old->selecting = 0;
    if (old->onCommit) old->onCommit(old->owner, kEditCommitBlur);
    repaint(old, panel);
  }
  if (field) {
    if (panel->window) windowRaise(panel->window);
    repaint(field, panel);
  }
}

void panelKeyboardNext(Panel* panel, bool backwards) {
  if (!panel) return;
  // The controls that can take the keyboard, in the panel's order.
  PanelControl* takers[256];
  int32_t count = 0, current = -1;
  for (PanelControl* c = controlHead(panel)->next; c && count < 256; c = controlHead(c)->next) {
    const PanelControlHead* head = controlHead(c);
    if (!head->ops.focus || !head->visible || c->disabled || !controlDrawn(c)) continue;
    if (panel->keyboard && panel->keyboard->owner == c) current = count;
    takers[count++] = c;
  }
  if (count == 0) return panelSetKeyboard(panel, nullptr);
  const int32_t next = current < 0 ? (backwards ? count - 1 : 0) : (current + (backwards ? count - 1 : 1)) % count;
  controlHead(takers[next])->ops.focus(takers[next]);
}

bool editFieldFocused(const EditField* field, const Panel* panel) {
  return field && panel && panel->keyboard == field;
}
