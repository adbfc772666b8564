// NumericControl: a number that is typed, dragged, or made to follow the scene. Guards: the
// field always shows the value as it stands once an edit ends (nothing typed is left
// half-taken), the hard limits hold for every value the user gives but never clip an animated
// value (clipLow and clipHigh do that, at evaluation), and items are kept by id only while
// the host knows them: a saved control names them, a loaded one finds them in afterLoad.
#include "toolkit/numeric_control.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "toolkit/advanced_dialog.h"
#include "toolkit/control_draw.h"
#include "toolkit/instance_text.h"
#include "toolkit/item_names.h"
#include "toolkit/panel.h"
#include "toolkit/text_control.h"

namespace {

// The defaults of a new control.
constexpr double kDefaultValue = 0.5;
constexpr double kDefaultStep = 0.05;
constexpr double kDefaultLow = 0.0;
constexpr double kDefaultHigh = 100.0;
constexpr int32_t kDefaultFieldWidth = 75;
constexpr int32_t kDefaultFieldHeight = 16;
constexpr int32_t kDefaultDigits = 3;
// The percent form.
constexpr double kPercentStep = 0.005;
constexpr double kPercentDragHigh = 1.0;
constexpr double kPercentScale = 0.01;
constexpr int32_t kPercentDigitsLess = 2;

constexpr int32_t kPartGap = 2;   // between the field, the arrow and the "A" button
constexpr int32_t kLabelGap = 4;  // between a label's end and the field
constexpr char kAButtonText[] = "A";
constexpr char kAButtonName[] = "%s_A_BUTT";

bool animated(const NumericControl* n) { return n->animatable && n->valueKind != kValueFixed; }

double integerOf(double value) { return std::floor(value + 0.5); }

double withHardLimits(const NumericControl* n, double value) {
  if (n->clipLow && value < n->lowLimit) value = n->lowLimit;
  if (n->clipHigh && value > n->highLimit) value = n->highLimit;
  return value;
}

NumericControl* owningNumeric(PanelControl* button) {
  Panel* panel = controlPanel(button);
  for (PanelControl* c = panel ? controlHead(panel)->next : nullptr; c; c = controlHead(c)->next)
    if (controlHead(c)->kind == kControlKindNumeric && static_cast<NumericControl*>(c)->aButton == button)
      return static_cast<NumericControl*>(c);
  return nullptr;
}

int32_t runOnChange(NumericControl* n) { return n->onChange ? n->onChange(n) : 0; }

// ---- Places ----

int32_t arrowLeft(const NumericControl* n) { return n->x + (n->hasEdit ? n->fieldWidth + kPartGap : 0); }
int32_t aButtonLeft(const NumericControl* n) {
  return arrowLeft(n) + (n->hasArrow ? kNumericArrowWidth + kPartGap : 0);
}

void showValue(NumericControl* n) {
  char text[kEditFieldSize];
  numericFormat(n, text, sizeof text);
  EditField_SetText(&n->edit, text);
  n->edit.disabled = n->disabled || animated(n);
}

void paintArrow(NumericControl* n) {
  Panel* panel = controlPanel(n);
  PlatformWindow* window = controlWindow(n);
  if (!n->hasArrow || !window || n->arrowArea.left == -1) return;
  const WindowRect a = n->arrowArea;
  panelDrawFrame(panel, a, !n->dragging, panelColour(panel, kColourFace));
  // Two small triangles, pointing left and right: the way the value moves.
  const WindowColour ink = panelColour(panel, n->disabled || animated(n) ? kColourTextDisabled : kColourText);
  const int32_t midY = (a.top + a.bottom) / 2, midX = (a.left + a.right) / 2;
  for (int32_t i = 0; i < 4; ++i) {
    windowLine(window, midX - 1 - i, midY - 3 + i, midX - 1 - i, midY + 3 - i, ink);
    windowLine(window, midX + 1 + i, midY - 3 + i, midX + 1 + i, midY + 3 - i, ink);
  }
}

void paintAll(NumericControl* n) {
  if (!controlDrawn(n)) return;
  Panel* panel = controlPanel(n);
  if (n->hasEdit) EditField_Paint(&n->edit, panel, editFieldFocused(&n->edit, panel));
  paintArrow(n);
}

void layout(NumericControl* n) {
  const int32_t right = n->animatable ? aButtonLeft(n) + kNumericAWidth
                                      : aButtonLeft(n) - (n->hasArrow || n->hasEdit ? kPartGap : 0);
  controlSetArea(n, {n->x, n->y, std::max(right, n->x), n->y + n->fieldHeight});
  n->edit.area = n->hasEdit ? WindowRect{n->x, n->y, n->x + n->fieldWidth, n->y + n->fieldHeight}
                            : WindowRect{-1, -1, -1, -1};
  n->arrowArea = n->hasArrow ? WindowRect{arrowLeft(n), n->y, arrowLeft(n) + kNumericArrowWidth, n->y + n->fieldHeight}
                             : WindowRect{-1, -1, -1, -1};
  if (!editFieldFocused(&n->edit, controlPanel(n))) showValue(n);
  labelPlace(&n->labelControl, n, n->label, n->x - kLabelGap, n->y + (n->fieldHeight - kTextHeight) / 2);
  if (ButtonControl* a = n->aButton) {
    a->x = aButtonLeft(n);
    a->y = n->y;
    a->width = kNumericAWidth;
    a->height = n->fieldHeight;
    a->disabled = n->disabled;
    a->highlighted = animated(n);
    controlHead(a)->visible = controlHead(n)->visible && n->animatable;
    ControlRedraw(a, kRedrawLayout);
  }
}

void redrawOwned(NumericControl* n, int32_t flags) {
  if (n->labelControl) ControlRedraw(n->labelControl, flags);
  if (n->aButton) ControlRedraw(n->aButton, flags);
}

void forgetParts(NumericControl* n) {
  n->edit.area = {-1, -1, -1, -1};
  n->arrowArea = {-1, -1, -1, -1};
}

// Off the screen: what is typed is taken, and the field lets the keyboard go.
void takeDown(PanelControl* control) {
  auto* n = static_cast<NumericControl*>(control);
  Panel* panel = controlPanel(n);
  if (editFieldFocused(&n->edit, panel)) {
    panel->keyboard = nullptr;  // taken here, not by the loss of the keyboard
    n->edit.selecting = 0;
  }
  if (numericCommit(n)) runOnChange(n);
  n->dragging = 0;
  controlTakeDown(n);
  forgetParts(n);
}

int32_t draw(PanelControl* control, int32_t flags) {
  auto* n = static_cast<NumericControl*>(control);
  if (!controlHead(n)->visible) {
    takeDown(n);
    for (PanelControl* owned : {n->labelControl, static_cast<PanelControl*>(n->aButton)})
      if (owned) controlHead(owned)->visible = 0;
    redrawOwned(n, kRedrawTakeDown | kRedrawTakeDownLabel);
    return 0;
  }
  if (flags & kRedrawTakeDown) takeDown(n);
  if (flags & kRedrawTakeDownLabel) redrawOwned(n, kRedrawTakeDown | kRedrawTakeDownLabel);
  if (flags & kRedrawLayout) layout(n);
  if (flags & kRedrawPaintLabel) redrawOwned(n, kRedrawPaint | kRedrawPaintLabel);
  if (flags & kRedrawPaint) {
    paintAll(n);
    controlFlush(n);
  }
  return 0;
}

bool inArea(const WindowRect& area, int32_t x, int32_t y) {
  return area.left != -1 && x >= area.left && x < area.right && y >= area.top && y < area.bottom;
}

int32_t beginDrag(NumericControl* n, const WindowMessage& m) {
  Panel* panel = controlPanel(n);
  if (editFieldFocused(&n->edit, panel)) panelSetKeyboard(panel, nullptr);  // takes what was typed
  int32_t answer = numericCommit(n) ? runOnChange(n) : 0;
  n->previousValue = n->value;
  numericDragRange(n, &n->dragFrom, &n->dragTo);
  n->dragging = 1;
  n->dragStartX = m.x;
  paintArrow(n);
  controlFlush(n);
  return answer;
}

int32_t dragTo(NumericControl* n, const WindowMessage& m) {
  const double next = numericDragValue(n, n->previousValue, m.x - n->dragStartX, n->dragFrom, n->dragTo);
  if (std::fabs(next - n->value) <= kNumericDragEpsilon) return 0;
  n->value = next;
  showValue(n);
  paintAll(n);
  controlFlush(n);
  return n->liveUpdate ? runOnChange(n) : 0;
}

int32_t endDrag(NumericControl* n) {
  n->dragging = 0;
  n->value = withHardLimits(n, n->value);
  if (n->displayKind == kNumericShowInteger) n->value = integerOf(n->value);
  showValue(n);
  paintAll(n);
  controlFlush(n);
  return runOnChange(n);
}

int32_t message(PanelControl* control) {
  auto* n = static_cast<NumericControl*>(control);
  if (controlPaintWanted(n)) {
    paintAll(n);
    return 0;
  }
  const WindowMessage* m = controlMessage(n);
  if (!m) return 0;
  if (n->dragging) {
    // The press took the mouse: its moves and release are the drag's wherever they happen.
    if (m->kind == kWindowMouseMove) return kMessageStop | dragTo(n, *m);
    if (m->kind == kWindowMouseUp && m->button == 1) return kMessageStop | kMessageAfterEvent | endDrag(n);
    return 0;
  }
  if (n->disabled || m->kind != kWindowMouseDown || m->button != 1) return 0;
  if (inArea(n->arrowArea, m->x, m->y) && !animated(n)) return kMessageStop | beginDrag(n, *m);
  if (inArea(n->edit.area, m->x, m->y) && !n->edit.disabled) {
    EditField_Mouse(&n->edit, controlPanel(n), *m);
    return kMessageStop;
  }
  return 0;
}

// The field's owner hears the end of an edit.
void onCommit(PanelControl* control, int32_t reason) {
  auto* n = static_cast<NumericControl*>(control);
  if (reason == kEditCommitCancel) {
    showValue(n);
    return;
  }
  // Return always tells the owner (the user asked for it); a loss of the keyboard only when
  // the value changed.
  const bool changed = numericCommit(n);
  if (reason == kEditCommitReturn) EditField_SelectAll(&n->edit);
  paintAll(n);
  controlFlush(n);
  if (changed || reason == kEditCommitReturn) runOnChange(n);
}

void focus(PanelControl* control) {
  auto* n = static_cast<NumericControl*>(control);
  if (!n->hasEdit || n->edit.disabled) return;
  Panel* panel = controlPanel(n);
  panelSetKeyboard(panel, &n->edit);
  EditField_SelectAll(&n->edit);
  paintAll(n);
  controlFlush(n);
}

int32_t aButtonPressed(PanelControl* button) {
  NumericControl* n = owningNumeric(button);
  if (!n || n->disabled) return 0;
  if (!(static_cast<ButtonControl*>(button)->modifiers & kModifierShift))
    return advancedDialogRun(n) == kPanelResultOk ? kMessageAfterEvent : 0;
  // Shift: back to a fixed value at once.
  if (n->valueKind == kValueFixed) return 0;
  n->valueKind = kValueFixed;
  numericShowKind(n);
  return kMessageAfterEvent | runOnChange(n);
}

// ---- Saving and loading ----

void instanceName(const ItemSlot& slot, LWItemID item, InstanceItemName* out, InstanceItemName* parent) {
  ItemSlot now = slot;
  if (item && itemType(item) != kItemTypeNone) {
    ItemName_FromItem(&now, item);
    if (now.type == LWI_BONE) ItemName_FromItem(&now.parent, itemBoneObject(item));
  }
  *out = InstanceItemName{now.type, now.copyNumber, now.ordinal, {}, parent};
  std::snprintf(out->name, sizeof out->name, "%s", now.name);
  *parent = InstanceItemName{LWI_OBJECT, now.parent.copyNumber, now.parent.ordinal, {}, nullptr};
  std::snprintf(parent->name, sizeof parent->name, "%s", now.parent.name);
}

int32_t save(PanelControl* control, LWSaveState* state, int32_t indent) {
  auto* n = static_cast<NumericControl*>(control);
  InstanceNumeric block{};
  block.valueKind = n->valueKind;
  block.value = n->value;
  block.linearRate = n->linearRate;
  block.hasRef1 = n->ref1 != nullptr;
  block.hasRef2 = n->ref2 != nullptr;
  if (n->ref1) instanceName(n->ref1Name, n->ref1, &block.ref1, &block.ref1Parent);
  if (n->ref2) instanceName(n->ref2Name, n->ref2, &block.ref2, &block.ref2Parent);
  return instanceWriteNumeric(state, indent, controlName(n), &block);
}

void slotFromInstance(ItemSlot* slot, const InstanceItemName& item, int32_t has) {
  ItemName_Clear(slot);
  ItemName_Clear(&slot->parent);
  if (!has) return;
  slot->type = item.type;
  slot->copyNumber = item.copyNumber;
  slot->ordinal = item.ordinal;
  std::snprintf(slot->name, sizeof slot->name, "%s", item.name);
  if (item.parent) {
    slot->parent.type = LWI_OBJECT;
    slot->parent.copyNumber = item.parent->copyNumber;
    slot->parent.ordinal = item.parent->ordinal;
    std::snprintf(slot->parent.name, sizeof slot->parent.name, "%s", item.parent->name);
  }
}

const char* load(PanelControl* control, LWLoadState* state) {
  auto* n = static_cast<NumericControl*>(control);
  InstanceNumeric block{};
  block.value = n->value;  // a block without "VALUE" keeps the value
  block.linearRate = n->linearRate;
  const char* failure = instanceReadNumeric(state, &block);
  // What was read stands, even before a failure.
  n->valueKind = block.valueKind;
  n->value = block.value;
  n->linearRate = block.linearRate;
  n->ref1 = n->ref2 = nullptr;
  slotFromInstance(&n->ref1Name, block.ref1, block.hasRef1);
  slotFromInstance(&n->ref2Name, block.ref2, block.hasRef2);
  if (!editFieldFocused(&n->edit, controlPanel(n))) showValue(n);
  return failure;
}

bool named(const ItemSlot& slot) { return slot.name[0] && std::strcmp(slot.name, kItemNone) != 0; }

// No drawing: afterLoad may run on the host's thread before a save.
void afterLoad(PanelControl* control) {
  auto* n = static_cast<NumericControl*>(control);
  for (auto [item, slot] : {std::pair{&n->ref1, &n->ref1Name}, std::pair{&n->ref2, &n->ref2Name}}) {
    if (*item || !named(*slot)) continue;
    *item = ItemName_Find(slot, slot->type == LWI_BONE ? &slot->parent : nullptr);
    if (!*item) {
      ItemName_Clear(slot);  // an item of another scene: none, and no word about it
      ItemName_Clear(&slot->parent);
    }
  }
}

int32_t useItems(PanelControl* control, LWItemID* list, int32_t room) {
  auto* n = static_cast<NumericControl*>(control);
  int32_t added = 0;
  if (n->valueKind >= kValueXPos && n->valueKind <= kValueSeparation && n->ref1 && added < room) list[added++] = n->ref1;
  if (n->valueKind == kValueSeparation && n->ref2 && added < room) list[added++] = n->ref2;
  return added;
}

void changeItems(PanelControl* control, const LWItemID* oldAndNew) {
  auto* n = static_cast<NumericControl*>(control);
  if (!oldAndNew) return;
  for (auto [item, slot] : {std::pair{&n->ref1, &n->ref1Name}, std::pair{&n->ref2, &n->ref2Name}}) {
    if (!*item) continue;
    for (const LWItemID* pair = oldAndNew; pair[0]; pair += 2) {
      if (pair[0] != *item) continue;
      *item = pair[1];
      if (*item) {
        ItemName_FromItem(slot, *item);
      } else {
        ItemName_Clear(slot);  // deleted
        ItemName_Clear(&slot->parent);
      }
      break;
    }
  }
}

void copyOp(PanelControl* control, const PanelControl* other) {
  numericCopy(static_cast<NumericControl*>(control), static_cast<const NumericControl*>(other));
}

void reset(PanelControl* control) {
  controlForgetArea(control);
  forgetParts(static_cast<NumericControl*>(control));
}

void destroy(PanelControl* control) {
  auto* n = static_cast<NumericControl*>(control);
  Panel* panel = controlPanel(n);
  if (editFieldFocused(&n->edit, panel)) panel->keyboard = nullptr;
  labelRemove(&n->labelControl);
  if (n->aButton) {
    ControlDestroy(n->aButton);
    n->aButton = nullptr;
  }
}

NumericControl* allocate(const char* name, Panel* panel) {
  auto* n = controlNew<NumericControl>(panel, name);
  if (!n) return nullptr;
  PanelControlHead* head = controlHead(n);
  head->kind = kControlKindNumeric;
  head->saved = 1;
  head->ops.draw = draw;
  head->ops.takeDown = takeDown;
  head->ops.save = save;
  head->ops.load = load;
  head->ops.focus = focus;
  head->ops.copy = copyOp;
  head->ops.reset = reset;
  head->ops.destroy = destroy;
  head->ops.afterLoad = afterLoad;
  head->ops.useItems = useItems;
  head->ops.changeItems = changeItems;
  head->ops.message = message;
  n->value = n->previousValue = kDefaultValue;
  n->step = kDefaultStep;
  n->lowLimit = n->dragLow = kDefaultLow;
  n->highLimit = n->dragHigh = kDefaultHigh;
  std::snprintf(n->label, sizeof n->label, "%s", name ? name : kControlUnnamed);
  n->fieldWidth = kDefaultFieldWidth;
  n->fieldHeight = kDefaultFieldHeight;
  n->digits = kDefaultDigits;
  n->animatable = 1;
  n->hasArrow = n->hasEdit = 1;
  n->dragStopLow = n->dragStopHigh = 1;
  ItemName_Clear(&n->ref1Name);
  ItemName_Clear(&n->ref1Name.parent);
  ItemName_Clear(&n->ref2Name);
  ItemName_Clear(&n->ref2Name.parent);
  EditField_Init(&n->edit, n, kNumericFieldLimit, onCommit);
  forgetParts(n);
  showValue(n);
  return n;
}

// The "A" button lives in the panel's list behind its control, so a press reaches it.
bool addAButton(NumericControl* n, Panel* panel) {
  char name[kControlNameSize];
  std::snprintf(name, sizeof name, kAButtonName, controlName(n));
  n->aButton = buttonCreate(name, aButtonLeft(n), n->y, panel);
  if (!n->aButton) return false;
  std::snprintf(n->aButton->text, sizeof n->aButton->text, "%s", kAButtonText);
  n->aButton->onChange = aButtonPressed;
  n->aButton->width = kNumericAWidth;
  n->aButton->height = n->fieldHeight;
  return true;
}

}  // namespace

NumericControl* numericCreate(const char* name, uint32_t identity) {
  NumericControl* n = allocate(name, nullptr);
  if (n) n->identity = identity;
  return n;
}

NumericControl* numericCreatePercent(const char* name, uint32_t identity) {
  NumericControl* n = numericCreate(name, identity);
  if (!n) return nullptr;
  n->displayKind = kNumericShowPercent;
  n->value = n->previousValue = kDefaultValue;
  n->step = kPercentStep;
  n->dragHigh = kPercentDragHigh;
  n->fieldWidth = kDefaultFieldWidth;
  showValue(n);
  return n;
}

NumericControl* numericCreateAt(const char* name, int32_t x, int32_t y, Panel* panel) {
  NumericControl* n = allocate(name, panel);
  if (!n) return nullptr;
  n->x = x;
  n->y = y;
  if (panel && !addAButton(n, panel)) {
    ControlDestroy(n);
    return nullptr;
  }
  return n;
}

void numericPlace(NumericControl* numeric, Panel* panel, int32_t x, int32_t y) {
  if (!controlAlive(numeric) || !panel) return;
  numeric->x = x;
  numeric->y = y;
  PanelControlHead* head = controlHead(numeric);
  if (head->panel) return;  // already in a panel: only moved
  PanelControl* last = ControlFindLast(panel);
  controlHead(last)->next = numeric;
  head->next = nullptr;
  head->panel = panel;
  addAButton(numeric, panel);
}

void numericFormat(const NumericControl* numeric, char* out, size_t size) {
  if (!out || size == 0) return;
  out[0] = '\0';
  if (animated(numeric)) return;
  char format[32];
  switch (numeric->displayKind) {
    case kNumericShowDecimals:
      std::snprintf(format, sizeof format, "  %%0.%df", int(std::clamp<int32_t>(numeric->digits, 0, 20)));
      std::snprintf(out, size, format, numeric->value);
      break;
    case kNumericShowInteger:
      std::snprintf(out, size, "  %d", int(std::clamp(integerOf(numeric->value), -2147483648.0, 2147483647.0)));
      break;
    case kNumericShowOneDecimal:
      std::snprintf(out, size, "  %.1f", numeric->value);
      break;
    case kNumericShowPercent:
      std::snprintf(format, sizeof format, "  %%0.%df%%%%",
                    int(std::clamp<int32_t>(numeric->digits - kPercentDigitsLess, 1, 20)));
      std::snprintf(out, size, format, numeric->value * 100.0);
      break;
    default:
      break;
  }
}

bool numericTakeText(NumericControl* numeric, const char* text) {
  char field[kNumericFieldLimit + 1];
  std::snprintf(field, sizeof field, "%s", text ? text : "");
  const char* start = field;
  while (std::isspace(static_cast<unsigned char>(*start))) ++start;
  if (!*start) return true;  // an empty field keeps the value
  char* end = nullptr;
  double value = std::strtod(start, &end);
  // Deliberate: text that is no number at all keeps the value (the field shows it again)
  // instead of storing 0, which would look like a number the user typed.
  if (end == start || !std::isfinite(value)) return false;
  if (numeric->displayKind == kNumericShowPercent) value *= kPercentScale;
  value = withHardLimits(numeric, value);
  if (numeric->displayKind == kNumericShowInteger) value = integerOf(value);
  numeric->value = value;
  return true;
}

bool numericCommit(NumericControl* numeric) {
  if (!controlAlive(numeric)) return false;
  const double before = numeric->value;
  // Only what the user typed is taken: the field's own text is the value rounded to its
  // digits, and taking it back would lose the rest.
  if (numeric->hasEdit && numeric->edit.modified && !animated(numeric)) numericTakeText(numeric, numeric->edit.text);
  showValue(numeric);
  if (controlDrawn(numeric)) {
    paintAll(numeric);
    controlFlush(numeric);
  }
  return numeric->value != before;
}

void numericSet(NumericControl* numeric, double value) {
  if (!controlAlive(numeric)) return;
  numeric->value = value;
  showValue(numeric);
  if (controlDrawn(numeric)) ControlRedraw(numeric, kRedrawPaint);
}

void numericDragRange(const NumericControl* numeric, double* low, double* high) {
  double lo = std::min(numeric->value, numeric->dragLow);
  double hi = std::max(numeric->value, numeric->dragHigh);
  if (numeric->clipLow) {
    lo = std::max(lo, numeric->lowLimit);
    hi = std::max(hi, numeric->lowLimit);
  }
  if (numeric->clipHigh) {
    lo = std::min(lo, numeric->highLimit);
    hi = std::min(hi, numeric->highLimit);
  }
  *low = lo;
  *high = hi;
}

double numericDragValue(const NumericControl* numeric, double from, int32_t pixels, double low, double high) {
  double value = from + double(pixels) * numeric->step;
  if (numeric->dragStopHigh && value > high) value = high;
  if (numeric->dragStopLow && value < low) value = low;
  return value;
}

double numericValueAt(const NumericControl* numeric, double time) {
  if (!numeric) return 0.0;
  double result = numeric->value;
  const int32_t kind = numeric->animatable ? numeric->valueKind : kValueFixed;
  double a[3], b[3];
  switch (kind) {
    case kValueFixed:
      break;
    case kValueXPos:
    case kValueYPos:
    case kValueZPos:
      result = numeric->ref1 && itemParam(numeric->ref1, LWIP_W_POSITION, time, a) ? a[kind - kValueXPos] : 0.0;
      break;
    case kValueOriginDist:
      result = numeric->ref1 && itemParam(numeric->ref1, LWIP_W_POSITION, time, a)
                   ? std::sqrt(a[0] * a[0] + a[1] * a[1] + a[2] * a[2])
                   : 0.0;
      break;
    case kValueXScale:
    case kValueYScale:
    case kValueZScale:
      result = numeric->ref1 && itemParam(numeric->ref1, LWIP_SCALING, time, a) ? a[kind - kValueXScale] : 0.0;
      break;
    case kValueAveScale:
      result = numeric->ref1 && itemParam(numeric->ref1, LWIP_SCALING, time, a)
                   ? std::sqrt(a[0] * a[0] + a[1] * a[1] + a[2] * a[2]) * kNumericAverageScale
                   : 0.0;
      break;
    case kValueSeparation:
      if (numeric->ref1 && numeric->ref2 && itemParam(numeric->ref1, LWIP_W_POSITION, time, a) &&
          itemParam(numeric->ref2, LWIP_W_POSITION, time, b))
        result = std::sqrt((a[0] - b[0]) * (a[0] - b[0]) + (a[1] - b[1]) * (a[1] - b[1]) + (a[2] - b[2]) * (a[2] - b[2]));
      else
        result = 0.0;
      break;
    case kValueLinear: {
      const LWSceneInfo* scene = itemSceneInfo();
      const double fps = scene && scene->framesPerSecond > 0.0 ? scene->framesPerSecond : 0.0;
      result = (time - (fps > 0.0 ? 1.0 / fps : 0.0)) * numeric->linearRate * fps + numeric->value;
      break;
    }
    default:
      result = 0.0;  // a kind this program doesn't know (a newer text)
      break;
  }
  if (numeric->clipLow && result < numeric->lowLimit) result = numeric->lowLimit;
  if (numeric->clipHigh && result > numeric->highLimit) result = numeric->highLimit;
  return result;
}

void numericShowKind(NumericControl* numeric) {
  if (!controlAlive(numeric)) return;
  Panel* panel = controlPanel(numeric);
  if (animated(numeric) && editFieldFocused(&numeric->edit, panel)) {
    panel->keyboard = nullptr;  // nothing to edit any more
    numeric->edit.selecting = 0;
  }
  showValue(numeric);
  if (ButtonControl* a = numeric->aButton) {
    a->highlighted = animated(numeric);
    if (controlDrawn(a)) ControlRedraw(a, kRedrawPaint);
  }
  if (controlDrawn(numeric)) ControlRedraw(numeric, kRedrawPaint);
}

void numericCopy(NumericControl* numeric, const NumericControl* other) {
  if (!controlAlive(numeric) || !controlAlive(other) || numeric == other) return;
  numeric->value = other->value;
  numeric->previousValue = other->previousValue;
  numeric->step = other->step;
  numeric->lowLimit = other->lowLimit;
  numeric->highLimit = other->highLimit;
  numeric->dragLow = other->dragLow;
  numeric->dragHigh = other->dragHigh;
  std::memcpy(numeric->label, other->label, sizeof numeric->label);
  numeric->ref1 = other->ref1;
  numeric->ref2 = other->ref2;
  numeric->fieldWidth = other->fieldWidth;
  numeric->fieldHeight = other->fieldHeight;
  numeric->digits = other->digits;
  numeric->animatable = other->animatable;
  numeric->valueKind = other->valueKind;
  numeric->displayKind = other->displayKind;
  numeric->hasArrow = other->hasArrow;
  numeric->hasEdit = other->hasEdit;
  numeric->clipLow = other->clipLow;
  numeric->clipHigh = other->clipHigh;
  numeric->dragStopLow = other->dragStopLow;
  numeric->dragStopHigh = other->dragStopHigh;
  numeric->linearRate = other->linearRate;
  numeric->ref1Name = other->ref1Name;
  numeric->ref2Name = other->ref2Name;
  numeric->liveUpdate = other->liveUpdate;
  numericShowKind(numeric);
}
