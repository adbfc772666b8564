#pragma once
// What the toolkit's ordinary controls do alike: the drawn area (the head's left, top, right
// and bottom, right and bottom exclusive like a WindowRect), the paint and press tests of the
// message being handled, and taking a control off the screen. Works the same headless: only
// the window calls do nothing there, so drawn areas come out the same with or without a display.
#include <cstdint>

#include "platform/window.h"
#include "toolkit/panel.h"
#include "toolkit/panel_control.h"

inline WindowRect controlArea(const PanelControl* control) {
  const PanelControlHead* head = controlHead(control);
  return {head->left, head->top, head->right, head->bottom};
}

inline void controlSetArea(PanelControl* control, const WindowRect& area) {
  PanelControlHead* head = controlHead(control);
  head->left = area.left;
  head->top = area.top;
  head->right = area.right;
  head->bottom = area.bottom;
  head->drawnFlag = 1;
}

inline bool controlDrawn(const PanelControl* control) { return controlHead(control)->left != -1; }

// The `reset` of every control here: nothing is drawn any more.
inline void controlForgetArea(PanelControl* control) {
  PanelControlHead* head = controlHead(control);
  head->left = head->top = head->right = head->bottom = -1;
  head->drawnFlag = 0;
}

inline PlatformWindow* controlWindow(PanelControl* control) {
  Panel* panel = controlPanel(control);
  return panel ? panel->window : nullptr;
}

inline bool controlContains(const PanelControl* control, int32_t x, int32_t y) {
  const PanelControlHead* head = controlHead(control);
  return head->left != -1 && x >= head->left && x < head->right && y >= head->top && y < head->bottom;
}

// Off the screen: the panel repaints what lies below (its own background, an inset, other
// controls), which a control could not know how to draw itself.
inline void controlTakeDown(PanelControl* control) {
  if (!controlDrawn(control)) return;
  if (PlatformWindow* window = controlWindow(control)) windowInvalidate(window, controlArea(control));
  controlForgetArea(control);
}

// Fills with what lies below the control: an inset's fill where one holds the area, else the
// panel's background.
inline void controlClear(PanelControl* control, const WindowRect& area) {
  Panel* panel = controlPanel(control);
  if (!panel || !panel->window) return;
  bool onInset = false;
  for (PanelControl* c = controlHead(panel)->next; c && !onInset; c = controlHead(c)->next)
    onInset = controlHead(c)->kind == kControlKindInset && controlContains(c, area.left, area.top) &&
              controlContains(c, area.right - 1, area.bottom - 1);
  windowFillRect(panel->window, area, panelColour(panel, onInset ? kColourInset : kColourBackground));
}

inline void controlFlush(PanelControl* control) {
  if (PlatformWindow* window = controlWindow(control)) windowFlush(window);
}

inline const WindowMessage* controlMessage(PanelControl* control) {
  Panel* panel = controlPanel(control);
  return panel ? panel->message : nullptr;
}

// The message being handled is a paint that touches the control. A disabled control paints
// too, greyed: the panel has cleared what it repaints.
inline bool controlPaintWanted(PanelControl* control) {
  const WindowMessage* message = controlMessage(control);
  return message && message->kind == kWindowPaint && PanelHit(control);
}

// The message being handled is a press of the left button inside the control.
inline bool controlPressed(PanelControl* control) {
  const WindowMessage* message = controlMessage(control);
  return message && message->kind == kWindowMouseDown && message->button == 1 &&
         controlContains(control, message->x, message->y);
}

// The shift and control keys of the message being handled, as callbacks read them.
inline uint32_t controlModifiers(PanelControl* control) {
  const WindowMessage* message = controlMessage(control);
  return message ? message->modifiers & (kModifierShift | kModifierControl) : 0;
}

inline int32_t controlTextWidth(PanelControl* control, WindowFont font, const char* text) {
  return windowTextWidth(controlWindow(control), font, text);
}

// Text in a colour of the control's own, or greyed when disabled.
inline void controlText(PanelControl* control, WindowFont font, int32_t x, int32_t y, const char* text,
                        WindowColour colour, const WindowRect& clip) {
  Panel* panel = controlPanel(control);
  if (control->disabled) {
    panelDrawText(panel, font, x, y, text, true, clip);
  } else if (PlatformWindow* window = controlWindow(control)) {
    windowText(window, font, x, y, text, colour, clip);
  }
}

// The top of a line of text centred in a height.
inline int32_t controlTextTop(PanelControl* control, WindowFont font, int32_t top, int32_t height) {
  return top + (height - windowFontHeight(controlWindow(control), font)) / 2;
}
