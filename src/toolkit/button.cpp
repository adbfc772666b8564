// ButtonControl: the push button and the toggle button. A press acts at once, on the press,
// with no capture: the frame's save, load and close buttons and every owner's onChange rely
// on that, and on the modifier keys being in `modifiers` when onChange runs.
#include "toolkit/button.h"

#include <cstdio>
#include <cstring>

#include "toolkit/control_draw.h"
#include "toolkit/instance_text.h"
#include "toolkit/panel.h"
#include "toolkit/text_control.h"

namespace {

// A text wider than its room less kFitSlack is cut, with "...", until it fits the room less
// kFitCutSlack or only kFitKeep characters of it are left.
constexpr int32_t kFitSlack = 6;
constexpr int32_t kFitCutSlack = 9;
constexpr size_t kFitKeep = 3;
constexpr char kEllipsis[] = "...";

constexpr int32_t kBoxSide = 13;    // a toggle's box
constexpr int32_t kBoxLeft = 2;     // from the toggle's x
constexpr int32_t kBoxTextGap = 4;  // from the box to the toggle's text
constexpr int32_t kFaceInset = 2;   // text stays inside the frame
constexpr int32_t kLabelGap = 4;    // between a label's end and the button

// What a flip changes: a toggle without a text keeps its state in both low bits.
constexpr int32_t kStateOn = 1;
constexpr int32_t kStateOnNoText = 3;

int32_t onState(const ButtonControl* button) { return button->text[0] ? kStateOn : kStateOnNoText; }

// A toggle left at its box's width shows its whole text right of the box; one given more
// width fits its text to what the box leaves.
bool textUncut(const ButtonControl* button) { return button->toggle && button->width <= kToggleWidth; }

int32_t textRoom(const ButtonControl* button) {
  return button->toggle ? button->width - kBoxLeft - kBoxSide - kBoxTextGap : button->width;
}

int32_t textLeft(const ButtonControl* button) { return controlArea(button).left + kBoxLeft + kBoxSide + kBoxTextGap; }

void buttonLayout(ButtonControl* button) {
  buttonFitText(button);
  int32_t width = button->width;
  if (button->toggle && button->shownText[0]) {
    const int32_t text = controlTextWidth(button, kFontNormal, button->shownText);
    if (kBoxLeft + kBoxSide + kBoxTextGap + text > width) width = kBoxLeft + kBoxSide + kBoxTextGap + text;
  }
  controlSetArea(button, {button->x, button->y, button->x + width, button->y + button->height});
  labelPlace(&button->labelControl, button, button->label, button->x - kLabelGap,
             button->y + (button->height - kTextHeight) / 2);
}

void pushPaint(ButtonControl* button) {
  Panel* panel = controlPanel(button);
  const WindowRect area = controlArea(button);
  const bool lit = button->highlighted || (button->state & kStateOn);
  const WindowColour face =
      button->ownColour ? button->colour[0] : panelColour(panel, lit ? kColourHighlight : kColourFace);
  const WindowColour ink =
      button->ownColour ? button->colour[1] : panelColour(panel, lit ? kColourHighlightText : kColourText);
  panelDrawFrame(panel, area, true, face);
  const WindowRect inner{area.left + kFaceInset, area.top + kFaceInset, area.right - kFaceInset,
                         area.bottom - kFaceInset};
  const int32_t width = controlTextWidth(button, kFontNormal, button->shownText);
  const int32_t left = area.left + (area.right - area.left - width) / 2;
  controlText(button, kFontNormal, left, controlTextTop(button, kFontNormal, area.top, button->height),
              button->shownText, ink, inner);
}

void togglePaint(ButtonControl* button) {
  Panel* panel = controlPanel(button);
  const WindowRect area = controlArea(button);
  controlClear(button, area);
  const int32_t boxTop = area.top + (button->height - kBoxSide) / 2;
  const WindowRect box{area.left + kBoxLeft, boxTop, area.left + kBoxLeft + kBoxSide, boxTop + kBoxSide};
  const PanelColour boxFill =
      button->disabled ? kColourBackground : button->highlighted ? kColourHighlight : kColourEdit;
  panelDrawFrame(panel, box, false, button->ownColour ? button->colour[0] : panelColour(panel, boxFill));
  if ((button->state & kStateOn) && panel && panel->window) {
    const WindowColour mark = panelColour(
        panel, button->disabled ? kColourTextDisabled : button->highlighted ? kColourHighlightText : kColourText);
    // A tick two pixels thick.
    for (int32_t thick = 0; thick < 2; ++thick) {
      windowLine(panel->window, box.left + 3, box.top + 6 + thick, box.left + 5, box.top + 8 + thick, mark);
      windowLine(panel->window, box.left + 5, box.top + 8 + thick, box.left + 9, box.top + 3 + thick, mark);
    }
  }
  if (button->shownText[0]) {
    const WindowColour ink = button->ownColour ? button->colour[1] : panelColour(panel, kColourText);
    controlText(button, kFontNormal, textLeft(button), controlTextTop(button, kFontNormal, area.top, button->height),
                button->shownText, ink, area);
  }
}

void buttonPaint(ButtonControl* button) {
  if (!controlDrawn(button)) return;
  if (button->toggle) {
    togglePaint(button);
  } else {
    pushPaint(button);
  }
}

int32_t buttonDraw(PanelControl* control, int32_t flags) {
  auto* button = static_cast<ButtonControl*>(control);
  if (!controlHead(control)->visible) {
    controlTakeDown(control);
    if (button->labelControl) {
      controlHead(button->labelControl)->visible = 0;
      ControlRedraw(button->labelControl, kRedrawTakeDown | kRedrawTakeDownLabel);
    }
    return 0;
  }
  if (flags & kRedrawTakeDown) controlTakeDown(control);
  if ((flags & kRedrawTakeDownLabel) && button->labelControl)
    ControlRedraw(button->labelControl, kRedrawTakeDown | kRedrawTakeDownLabel);
  if (flags & kRedrawLayout) buttonLayout(button);
  if ((flags & kRedrawPaintLabel) && button->labelControl)
    ControlRedraw(button->labelControl, kRedrawPaint | kRedrawPaintLabel);
  if (flags & kRedrawPaint) {
    buttonPaint(button);
    controlFlush(control);
  }
  return 0;
}

int32_t buttonMessage(PanelControl* control) {
  auto* button = static_cast<ButtonControl*>(control);
  if (controlPaintWanted(control)) {
    buttonPaint(button);
    return 0;
  }
  if (button->disabled) return 0;
  if (!controlPressed(control)) return 0;
  int32_t answer = kMessageStop;
  if (button->toggle) {
    button->state ^= onState(button);
    button->changed = 1;
    buttonPaint(button);
    controlFlush(control);
    answer |= kMessageAfterEvent;
  }
  button->modifiers = controlModifiers(control);
  // onChange may close the panel or destroy this button: nothing of it is touched after.
  if (button->onChange) answer |= button->onChange(button);
  return answer;
}

int32_t buttonSave(PanelControl* control, LWSaveState* state, int32_t indent) {
  auto* button = static_cast<ButtonControl*>(control);
  return instanceWriteButton(state, indent, controlName(control), button->state & kStateOn, button->highlighted);
}

const char* buttonLoad(PanelControl* control, LWLoadState* state) {
  auto* button = static_cast<ButtonControl*>(control);
  int32_t checked = button->state & kStateOn;
  const char* failure = instanceReadButton(state, &checked, &button->highlighted);
  button->state = checked ? onState(button) : 0;
  return failure;
}

void buttonCopy(PanelControl* control, const PanelControl* other) {
  auto* button = static_cast<ButtonControl*>(control);
  const auto* from = static_cast<const ButtonControl*>(other);
  button->state = from->state;
  button->highlighted = from->highlighted;
}

void buttonDestroy(PanelControl* control) { labelRemove(&static_cast<ButtonControl*>(control)->labelControl); }

ButtonControl* buttonMake(const char* name, int32_t x, int32_t y, Panel* panel, bool toggle) {
  auto* button = controlNew<ButtonControl>(panel, name);
  if (!button) return nullptr;
  PanelControlHead* head = controlHead(button);
  head->kind = kControlKindButton;
  head->saved = toggle ? 1 : 0;
  head->ops.draw = buttonDraw;
  head->ops.takeDown = controlTakeDown;
  head->ops.save = buttonSave;
  head->ops.load = buttonLoad;
  head->ops.copy = buttonCopy;
  head->ops.reset = controlForgetArea;
  head->ops.destroy = buttonDestroy;
  head->ops.message = buttonMessage;
  button->x = x;
  button->y = y;
  button->width = toggle ? kToggleWidth : kButtonWidth;
  button->height = toggle ? kToggleHeight : kButtonHeight;
  button->toggle = toggle ? 1 : 0;
  return button;
}

// Steps back over the continuation bytes of a UTF-8 character, so a cut never splits one.
size_t previousCharacter(const char* text, size_t at) {
  while (at > 0 && (static_cast<unsigned char>(text[at - 1]) & 0xC0) == 0x80) --at;
  return at > 0 ? at - 1 : 0;
}

}  // namespace

ButtonControl* buttonCreate(const char* name, int32_t x, int32_t y, Panel* panel) {
  return buttonMake(name, x, y, panel, false);
}

ButtonControl* toggleCreate(const char* name, int32_t x, int32_t y, Panel* panel) {
  return buttonMake(name, x, y, panel, true);
}

void buttonFitText(ButtonControl* button) {
  std::snprintf(button->shownText, sizeof button->shownText, "%s", button->text);
  if (textUncut(button)) return;
  const int32_t room = textRoom(button);
  if (controlTextWidth(button, kFontNormal, button->shownText) <= room - kFitSlack) return;
  size_t keep = std::strlen(button->text);
  if (keep <= kFitKeep) return;
  for (;;) {
    keep = previousCharacter(button->text, keep);
    std::snprintf(button->shownText, sizeof button->shownText, "%.*s%s", int(keep), button->text, kEllipsis);
    if (keep <= kFitKeep || controlTextWidth(button, kFontNormal, button->shownText) <= room - kFitCutSlack) return;
  }
}
