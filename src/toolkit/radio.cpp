// RadioControl: a column of round choices, or a cycle that steps through its items on each
// click. The item texts are label controls of their own; the radio's area covers them, so a
// click on a text selects its item. A selection beyond the items (from a saved text) is kept
// as it stands and lights nothing.
#include "toolkit/radio.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "toolkit/button.h"
#include "toolkit/control_draw.h"
#include "toolkit/instance_text.h"
#include "toolkit/panel.h"
#include "toolkit/text_control.h"

namespace {

constexpr int32_t kRowHeight = 18;
constexpr int32_t kDiscSide = 13;      // the round choice
constexpr int32_t kDiscTextGap = 4;    // from the choice to its text
constexpr int32_t kCyclePad = 6;       // text inside a cycle's frame
constexpr int32_t kCycleMarkRoom = 14; // the up-down sign at a cycle's right
constexpr int32_t kLabelGap = 4;

bool inRange(const RadioControl* radio, int32_t item) { return item >= 0 && item < radio->count; }

int32_t titleRows(const RadioControl* radio) { return !radio->cycle && radio->title[0] ? 1 : 0; }

void radioMeasure(RadioControl* radio) {
  int32_t widest = 0;
  for (int32_t i = 0; i < radio->count; ++i)
    widest = std::max(widest, controlTextWidth(radio, kFontNormal, radio->items[i]));
  if (radio->cycle) {
    radio->width = widest + 2 * kCyclePad + kCycleMarkRoom;
    radio->height = kButtonHeight;
    return;
  }
  if (titleRows(radio)) widest = std::max(widest, controlTextWidth(radio, kFontNormal, radio->title) - kDiscSide - kDiscTextGap);
  radio->width = kDiscSide + kDiscTextGap + widest;
  radio->height = (radio->count + titleRows(radio)) * kRowHeight;
}

int32_t rowTop(const RadioControl* radio, int32_t item) {
  return controlArea(radio).top + (item + titleRows(radio)) * kRowHeight;
}

void radioLayout(RadioControl* radio) {
  radioMeasure(radio);
  controlSetArea(radio, {radio->x, radio->y, radio->x + radio->width, radio->y + radio->height});
  char name[kControlNameSize];
  if (radio->cycle) {
    std::snprintf(name, sizeof name, "%s_cycle_label", controlName(radio));
    labelPlace(&radio->labels[0], radio, radio->title, radio->x - kLabelGap,
               radio->y + (radio->height - kTextHeight) / 2, kAlignRight, name);
    for (int32_t i = 1; i < kRadioMaxItems; ++i) labelRemove(&radio->labels[i]);
    return;
  }
  for (int32_t i = 0; i < kRadioMaxItems; ++i) {
    std::snprintf(name, sizeof name, "%s_label_%d", controlName(radio), int(i));
    labelPlace(&radio->labels[i], radio, i < radio->count ? radio->items[i] : "", radio->x + kDiscSide + kDiscTextGap,
               rowTop(radio, i) + (kRowHeight - kTextHeight) / 2, kAlignLeft, name);
  }
}

// A filled disc, row by row; measured from pixel edges so its top and bottom are not spikes.
void fillDisc(PlatformWindow* window, int32_t cx, int32_t cy, int32_t radius, WindowColour colour) {
  const double edge = radius + 0.5;
  for (int32_t dy = -radius; dy <= radius; ++dy) {
    const auto dx = int32_t(std::sqrt(edge * edge - double(dy * dy)));
    windowLine(window, cx - dx, cy + dy, cx + dx, cy + dy, colour);
  }
}

void columnPaint(RadioControl* radio, Panel* panel, const WindowRect& area) {
  if (titleRows(radio))
    panelDrawText(panel, kFontNormal, area.left, controlTextTop(radio, kFontNormal, area.top, kRowHeight),
                  radio->title, radio->disabled, area);
  PlatformWindow* window = panel ? panel->window : nullptr;
  if (!window) return;
  const int32_t radius = kDiscSide / 2;
  for (int32_t i = 0; i < radio->count; ++i) {
    const int32_t cx = area.left + radius;
    const int32_t cy = rowTop(radio, i) + kRowHeight / 2;
    fillDisc(window, cx, cy, radius, panelColour(panel, kColourShadow));
    fillDisc(window, cx, cy, radius - 1, panelColour(panel, radio->disabled ? kColourBackground : kColourEdit));
    if (i == radio->selection)
      fillDisc(window, cx, cy, radius / 2,
               panelColour(panel, radio->disabled ? kColourTextDisabled : kColourText));
  }
}

void cyclePaint(RadioControl* radio, Panel* panel, const WindowRect& area) {
  panelDrawFrame(panel, area, true, panelColour(panel, kColourFace));
  const WindowRect inner{area.left + 2, area.top + 2, area.right - kCycleMarkRoom, area.bottom - 2};
  const char* shown = inRange(radio, radio->selection) ? radio->items[radio->selection] : "";
  controlText(radio, kFontNormal, area.left + kCyclePad, controlTextTop(radio, kFontNormal, area.top, radio->height),
              shown, panelColour(panel, kColourText), inner);
  PlatformWindow* window = panel ? panel->window : nullptr;
  if (!window) return;
  // An up and a down wedge: the field steps both ways.
  const WindowColour ink = panelColour(panel, radio->disabled ? kColourTextDisabled : kColourText);
  const int32_t cx = area.right - kCycleMarkRoom / 2 - 1;
  const int32_t cy = (area.top + area.bottom) / 2;
  for (int32_t row = 0; row < 3; ++row) {
    windowLine(window, cx - row, cy - 4 + row, cx + row, cy - 4 + row, ink);
    windowLine(window, cx - row, cy + 4 - row, cx + row, cy + 4 - row, ink);
  }
}

void radioPaint(RadioControl* radio) {
  if (!controlDrawn(radio)) return;
  Panel* panel = controlPanel(radio);
  const WindowRect area = controlArea(radio);
  if (radio->cycle) {
    cyclePaint(radio, panel, area);
  } else {
    controlClear(radio, area);
    columnPaint(radio, panel, area);
    // The item texts lie inside the area just cleared: a click's repaint would lose them.
    for (PanelControl* label : radio->labels)
      if (label && controlDrawn(label)) ControlRedraw(label, kRedrawPaint);
  }
}

int32_t radioDraw(PanelControl* control, int32_t flags) {
  auto* radio = static_cast<RadioControl*>(control);
  const bool shown = controlHead(control)->visible != 0;
  if (!shown) flags = kRedrawTakeDown | kRedrawTakeDownLabel;
  if (flags & kRedrawTakeDown) controlTakeDown(control);
  for (PanelControl* label : radio->labels) {
    if (!label) continue;
    if (!shown) controlHead(label)->visible = 0;
    if (flags & kRedrawTakeDownLabel) ControlRedraw(label, kRedrawTakeDown | kRedrawTakeDownLabel);
  }
  if (flags & kRedrawLayout) radioLayout(radio);
  if (flags & kRedrawPaintLabel)
    for (PanelControl* label : radio->labels)
      if (label) ControlRedraw(label, kRedrawPaint | kRedrawPaintLabel);
  if (flags & kRedrawPaint) {
    radioPaint(radio);
    controlFlush(control);
  }
  return 0;
}

int32_t radioMessage(PanelControl* control) {
  auto* radio = static_cast<RadioControl*>(control);
  if (controlPaintWanted(control)) {
    radioPaint(radio);
    return 0;
  }
  if (radio->disabled) return 0;
  if (!controlPressed(control)) return 0;
  radio->modifiers = controlModifiers(control);
  if (radio->cycle) {
    if (radio->count <= 0) return kMessageStop;
    const bool back = radio->modifiers & kModifierShift;
    if (!inRange(radio, radio->selection)) {
      radio->selection = back ? radio->count - 1 : 0;
    } else {
      radio->selection = (radio->selection + (back ? radio->count - 1 : 1)) % radio->count;
    }
  } else {
    const int32_t item = (controlMessage(control)->y - rowTop(radio, 0)) / kRowHeight;
    if (controlMessage(control)->y < rowTop(radio, 0) || !inRange(radio, item)) return kMessageStop;  // the title
    radio->selection = item;
  }
  radioPaint(radio);
  controlFlush(control);
  return kMessageStop | (radio->onChange ? radio->onChange(radio) : 0);
}

int32_t radioSave(PanelControl* control, LWSaveState* state, int32_t indent) {
  return instanceWriteRadio(state, indent, controlName(control), static_cast<RadioControl*>(control)->selection);
}

const char* radioLoad(PanelControl* control, LWLoadState* state) {
  return instanceReadRadio(state, &static_cast<RadioControl*>(control)->selection);
}

void radioCopy(PanelControl* control, const PanelControl* other) {
  static_cast<RadioControl*>(control)->selection = static_cast<const RadioControl*>(other)->selection;
}

void radioDestroy(PanelControl* control) {
  for (PanelControl*& label : static_cast<RadioControl*>(control)->labels) labelRemove(&label);
}

}  // namespace

RadioControl* radioCreate(const char* name, int32_t x, int32_t y, Panel* panel, const char* const* items,
                          int32_t count, bool cycle) {
  auto* radio = controlNew<RadioControl>(panel, name);
  if (!radio) return nullptr;
  PanelControlHead* head = controlHead(radio);
  head->kind = kControlKindRadio;
  head->saved = 1;
  head->ops.draw = radioDraw;
  head->ops.takeDown = controlTakeDown;
  head->ops.save = radioSave;
  head->ops.load = radioLoad;
  head->ops.copy = radioCopy;
  head->ops.reset = controlForgetArea;
  head->ops.destroy = radioDestroy;
  head->ops.message = radioMessage;
  radio->x = x;
  radio->y = y;
  radio->cycle = cycle ? 1 : 0;
  radio->count = items ? std::clamp(count, 0, kRadioMaxItems) : 0;
  for (int32_t i = 0; i < radio->count; ++i)
    std::snprintf(radio->items[i], kRadioItemSize, "%s", items[i] ? items[i] : "");
  radioMeasure(radio);
  return radio;
}

void radioSelect(RadioControl* radio, int32_t selection) {
  radio->selection = selection;
  if (controlDrawn(radio)) ControlRedraw(radio, kRedrawPaint);
}
