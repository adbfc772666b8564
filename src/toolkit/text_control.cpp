// TextControl: one line of text, the labels of other controls, and the links of the About
// panel. `text` is the one truth (ControlSetText writes it); the width and the drawn area
// follow from it at each layout.
#include "toolkit/text_control.h"

#include <cstdio>

#include "toolkit/control_draw.h"
#include "toolkit/panel.h"

namespace {

void textLayout(TextControl* text) {
  text->width = controlTextWidth(text, text->font, text->text);
  int32_t left = text->x;
  if (text->align == kAlignCentre) left -= text->width / 2;
  if (text->align == kAlignRight) left -= text->width;
  controlSetArea(text, {left, text->y, left + text->width, text->y + text->height});
}

void textPaint(TextControl* text) {
  if (!controlDrawn(text)) return;
  Panel* panel = controlPanel(text);
  const WindowRect area = controlArea(text);
  controlClear(text, area);
  const int32_t top = controlTextTop(text, text->font, area.top, text->height);
  if (!text->link) {
    panelDrawText(panel, text->font, area.left, top, text->text, text->disabled, area);
    return;
  }
  const WindowColour colour = panelColour(panel, kColourHighlight);
  controlText(text, text->font, area.left, top, text->text, colour, area);
  if (PlatformWindow* window = controlWindow(text)) {
    const int32_t underline = top + windowFontHeight(window, text->font) - 1;
    if (underline < area.bottom && area.right > area.left)
      windowLine(window, area.left, underline, area.right - 1, underline, colour);
  }
}

int32_t textDraw(PanelControl* control, int32_t flags) {
  auto* text = static_cast<TextControl*>(control);
  if (!controlHead(control)->visible) {
    controlTakeDown(control);
    return 0;
  }
  if (flags & kRedrawTakeDown) controlTakeDown(control);
  if (flags & kRedrawLayout) textLayout(text);
  if (flags & kRedrawPaint) {
    textPaint(text);
    controlFlush(control);
  }
  return 0;
}

int32_t textMessage(PanelControl* control) {
  auto* text = static_cast<TextControl*>(control);
  if (controlPaintWanted(control)) {
    textPaint(text);
    return 0;
  }
  if (text->disabled) return 0;
  if (!text->link || !text->onChange || !controlPressed(control)) return 0;
  return kMessageStop | text->onChange(text);
}

}  // namespace

TextControl* textCreate(const char* name, int32_t x, int32_t y, Panel* panel, const char* text, WindowFont font) {
  auto* control = controlNew<TextControl>(panel, name);
  if (!control) return nullptr;
  PanelControlHead* head = controlHead(control);
  head->kind = kControlKindText;
  head->saved = 0;
  head->ops.draw = textDraw;
  head->ops.takeDown = controlTakeDown;
  head->ops.reset = controlForgetArea;
  head->ops.message = textMessage;
  control->x = x;
  control->y = y;
  control->height = kTextHeight;
  control->font = font;
  control->align = kAlignLeft;
  std::snprintf(control->text, sizeof control->text, "%s", text ? text : "");
  control->width = controlTextWidth(control, font, control->text);
  return control;
}

TextControl* labelCreate(const char* name, int32_t x, int32_t y, Panel* panel, const char* text) {
  TextControl* label = textCreate(name, x, y, panel, text);
  if (label) label->align = kAlignRight;
  return label;
}

void labelRemove(PanelControl** label) {
  if (!*label) return;
  controlTakeDown(*label);
  ControlDestroy(*label);
  *label = nullptr;
}

void labelPlace(PanelControl** label, PanelControl* owner, const char* text, int32_t x, int32_t y, int32_t align,
                const char* name) {
  if (!text || !text[0]) {
    labelRemove(label);
    return;
  }
  char ownName[kControlNameSize];
  if (!name) {
    std::snprintf(ownName, sizeof ownName, "%s_label", controlName(owner));
    name = ownName;
  }
  if (!*label) *label = labelCreate(name, x, y, controlPanel(owner), text);
  if (!*label) return;  // out of memory: the owner goes on without its label
  auto* labelText = static_cast<TextControl*>(*label);
  PanelControlHead* head = controlHead(labelText);
  std::snprintf(head->name, sizeof head->name, "%s", name);
  std::snprintf(labelText->text, sizeof labelText->text, "%s", text);
  labelText->x = x;
  labelText->y = y;
  labelText->align = align;
  labelText->disabled = owner->disabled;
  head->visible = controlHead(owner)->visible;
  ControlRedraw(labelText, kRedrawLayout);
}
