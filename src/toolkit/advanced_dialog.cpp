// AdvancedDialog: the panel behind a numeric control's "A" button, its graph of the value over
// the scene's frames, and the hand-back on OK. The dialog edits only its private copy, so the
// caller changes once, on OK, and never half-way; its handlers run on the dialog's own thread.
#include "toolkit/advanced_dialog.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "runtime/memory.h"
#include "toolkit/control_draw.h"
#include "toolkit/instance_text.h"
#include "toolkit/item_names.h"

namespace {

constexpr const char* kKindTexts[kAdvancedKindCount] = {
    "Fixed Value",
    "Reference Object X Position",
    "Reference Object Y Position",
    "Reference Object Z Position",
    "Reference Object Dist from Origin",
    "Reference Object X Size",
    "Reference Object Y Size",
    "Reference Object Z Size",
    "Reference Object Average Size",
    "Separation of Two Ref Objects",
    "Linear Change Over Time",
};

constexpr char kFirstItemLabel[] = "Reference Object:";
constexpr char kSecondItemLabel[] = "Second Object:";
constexpr char kRateLabel[] = "Change per Frame:";
constexpr char kLinearBaseLabel[] = "Frame 1 Base Value:";
constexpr char kFirstFrameLabel[] = "From";
constexpr char kLastFrameLabel[] = "To";
constexpr char kBaseName[] = "base";

// The places of the fixed controls. The texts are centred on theirs, under the radio.
constexpr int32_t kKindsX = 210, kKindsY = 30;
constexpr int32_t kClipX = 290, kClipLowY = 205, kClipHighY = 227;
constexpr int32_t kSummaryX = 300, kSummaryY = 260;
constexpr int32_t kGraphX = 75, kGraphY = 280;
constexpr int32_t kFirstFrameX = 52, kFirstFrameY = 420;
constexpr int32_t kLastFrameX = 502, kLastFrameY = 418;
// The graph ends above the frame fields and their axis values, and reaches over the last one.
constexpr int32_t kGraphWidth = 480;
constexpr int32_t kGraphHeight = 120;
// The item and number fields: two rows under the radio, lined up with its texts, which the
// kinds share (the first item or the base above, the second item or the rate below).
constexpr int32_t kFieldX = 227;
constexpr int32_t kChooserWidth = 150;
constexpr int32_t kRowStep = 24;
constexpr int32_t kGap = 10;
constexpr int32_t kPanelWidth = 610;
constexpr int32_t kBottomRoom = 46;  // below the frame fields: the frame's OK row

constexpr double kFrameDragStep = 0.25;  // four pixels of drag to a frame
// A frame number typed far out of any scene is held here, so it stays an integer and the frame
// after it exists.
constexpr double kFrameLimit = 1e9;

constexpr double kRangeLowStart = 9999999.999;
constexpr double kRangeHighStart = -9999999.999;
// Layout's own rate, for a host that gives none: the graph still has a time axis.
constexpr double kDefaultFramesPerSecond = 30.0;

struct SceneFrames {
  int32_t start = 0, end = 0;
  double framesPerSecond = kDefaultFramesPerSecond;
};

// Copied at once: the host's record is transient.
SceneFrames sceneFrames() {
  SceneFrames frames;
  if (const LWSceneInfo* info = itemSceneInfo()) {
    frames.start = int32_t(info->frameStart);
    frames.end = int32_t(info->frameEnd);
    if (info->framesPerSecond > 0) frames.framesPerSecond = info->framesPerSecond;
  }
  return frames;
}

// A frame field's number cut to an integer; what is not a number is frame 0.
int32_t frameOf(double value) {
  return std::isnan(value) ? 0 : int32_t(std::clamp(value, -kFrameLimit, kFrameLimit));
}

AdvancedDialog* dialogOf(PanelControl* control) {
  Panel* panel = controlPanel(control);
  return panel ? static_cast<AdvancedDialog*>(panel->user) : nullptr;
}

void setLabel(NumericControl* numeric, const char* text) {
  std::snprintf(numeric->label, sizeof numeric->label, "%s", text);
}

// A plain number of the dialog's own: never animated, so it has no "A" button.
void makePlain(NumericControl* numeric, const char* label) {
  numeric->animatable = 0;
  numeric->valueKind = kValueFixed;
  numeric->ref1 = numeric->ref2 = nullptr;
  numeric->liveUpdate = 1;  // the graph follows a drag
  setLabel(numeric, label);
}

// The dialog's chooser as the working control's item: its id and, for a save, its name.
void takeItem(const ItemChooserControl* chooser, LWItemID* item, ItemSlot* name) {
  *item = itemChooserItem(chooser, 0);
  if (chooser->count > 0) {
    *name = chooser->slots[0];
  } else {
    ItemName_Clear(name);
    ItemName_Clear(&name->parent);
  }
}

void showItem(ItemChooserControl* chooser, LWItemID item) {
  if (item) itemChooserSet(chooser, &item, 1);
}

void show(PanelControl* control, bool shown) {
  PanelControlHead* head = controlHead(control);
  const int32_t visible = shown ? 1 : 0;
  if (head->visible == visible) return;
  head->visible = visible;
  Panel* panel = controlPanel(control);
  if (panel && panel->isOpen) ControlRedraw(control, kRedrawAll);
}

int32_t onKind(PanelControl* control) {
  AdvancedDialog* dialog = dialogOf(control);
  if (!dialog) return 0;
  dialog->working->valueKind = dialog->kinds->selection;
  advancedDialogShowKind(dialog);
  return 0;
}

int32_t onFirstItem(PanelControl* control) {
  AdvancedDialog* dialog = dialogOf(control);
  if (!dialog) return 0;
  takeItem(dialog->obj1, &dialog->working->ref1, &dialog->working->ref1Name);
  advancedDialogGraph(dialog);
  return 0;
}

int32_t onSecondItem(PanelControl* control) {
  AdvancedDialog* dialog = dialogOf(control);
  if (!dialog) return 0;
  takeItem(dialog->obj2, &dialog->working->ref2, &dialog->working->ref2Name);
  advancedDialogGraph(dialog);
  return 0;
}

int32_t onNumber(PanelControl* control) {
  if (AdvancedDialog* dialog = dialogOf(control)) advancedDialogGraph(dialog);
  return 0;
}

NumericControl* frameField(const char* name, int32_t x, int32_t y, Panel* panel, int32_t frame, const SceneFrames& scene,
                           const char* label) {
  NumericControl* field = numericCreateAt(name, x, y, panel);
  if (!field) return nullptr;
  makePlain(field, label);
  field->displayKind = kNumericShowInteger;
  field->digits = 0;
  field->clipLow = field->clipHigh = 0;
  field->step = kFrameDragStep;
  field->dragLow = scene.start;
  field->dragHigh = std::max(scene.end, scene.start + 1);
  field->onChange = onNumber;
  numericSet(field, frame);
  return field;
}

bool buildControls(AdvancedDialog* dialog) {
  Panel* panel = dialog->panel;
  NumericControl* working = dialog->working;
  const SceneFrames scene = sceneFrames();

  dialog->kinds = radioCreate("IGNORE1", kKindsX, kKindsY, panel, kKindTexts, kAdvancedKindCount);
  if (!dialog->kinds) return false;
  dialog->kinds->selection = working->valueKind;
  dialog->kinds->onChange = onKind;
  // The fields stand between the radio and the texts: everything below them moves down by
  // as much as they and the radio need.
  const int32_t firstRow = kKindsY + dialog->kinds->height + kGap, secondRow = firstRow + kRowStep;
  const int32_t down = std::max(0, secondRow + kRowStep - kClipLowY);

  dialog->obj1 = itemChooserCreate("Obj1", kFieldX, firstRow, panel, kChooserWidth);
  dialog->obj2 = itemChooserCreate("Obj2", kFieldX, secondRow, panel, kChooserWidth);
  dialog->base = numericCreateAt(kBaseName, kFieldX, firstRow, panel);
  dialog->linear = numericCreateAt("linear", kFieldX, secondRow, panel);
  if (!dialog->obj1 || !dialog->obj2 || !dialog->base || !dialog->linear) return false;
  std::snprintf(dialog->obj1->label, sizeof dialog->obj1->label, "%s", kFirstItemLabel);
  std::snprintf(dialog->obj2->label, sizeof dialog->obj2->label, "%s", kSecondItemLabel);
  dialog->obj1->onChange = onFirstItem;
  dialog->obj2->onChange = onSecondItem;
  showItem(dialog->obj1, working->ref1);
  showItem(dialog->obj2, working->ref2);

  // The base keeps the caller's limits and look; the rate is a change, so it has no limits,
  // and its drag range is the caller's span either way.
  numericCopy(dialog->base, working);
  makePlain(dialog->base, working->label);
  dialog->base->onChange = onNumber;
  numericSet(dialog->base, working->value);
  numericCopy(dialog->linear, working);
  makePlain(dialog->linear, kRateLabel);
  NumericControl* rate = dialog->linear;
  const double span = std::max(working->dragHigh - working->dragLow, 0.0);
  rate->clipLow = rate->clipHigh = 0;
  rate->dragLow = -span;
  rate->dragHigh = span;
  if (rate->displayKind == kNumericShowInteger) rate->displayKind = kNumericShowDecimals;
  rate->onChange = onNumber;
  numericSet(rate, working->linearRate);

  char text[kTextSize];
  std::snprintf(text, sizeof text, kAdvancedClipLow, working->lowLimit);
  dialog->clipLowText = textCreate("IGNORE3", kClipX, kClipLowY + down, panel, text);
  std::snprintf(text, sizeof text, kAdvancedClipHigh, working->highLimit);
  dialog->clipHighText = textCreate("IGNORE4", kClipX, kClipHighY + down, panel, text);
  dialog->summary = textCreate("IGNORE2", kSummaryX, kSummaryY + down, panel, "");
  dialog->graph = graphCreate("GRAPH", kGraphX, kGraphY + down, panel);
  if (!dialog->clipLowText || !dialog->clipHighText || !dialog->summary || !dialog->graph) return false;
  for (TextControl* centred : {dialog->clipLowText, dialog->clipHighText, dialog->summary}) centred->align = kAlignCentre;
  controlHead(dialog->clipLowText)->visible = working->clipLow ? 1 : 0;
  controlHead(dialog->clipHighText)->visible = working->clipHigh ? 1 : 0;
  dialog->graph->width = kGraphWidth;
  dialog->graph->height = kGraphHeight;
  dialog->graph->percent = working->displayKind == kNumericShowPercent ? 1 : 0;

  dialog->lowGraph = frameField("LOWGRAPH", kFirstFrameX, kFirstFrameY + down, panel, scene.start, scene, kFirstFrameLabel);
  dialog->highGraph = frameField("HIGHGRAPH", kLastFrameX, kLastFrameY + down, panel, scene.end, scene, kLastFrameLabel);
  if (!dialog->lowGraph || !dialog->highGraph) return false;

  panel->width = panel->minWidth = panel->maxWidth = kPanelWidth;
  panel->height = panel->minHeight = panel->maxHeight = kFirstFrameY + down + kBottomRoom;
  return true;
}

}  // namespace

int32_t advancedGraphPoints(int32_t frameStart, int32_t frameEnd) {
  const int64_t points = int64_t(kAdvancedPointsPerFrame) * (int64_t(frameEnd) - int64_t(frameStart));
  return int32_t(std::clamp<int64_t>(points, kAdvancedMinPoints, kAdvancedMaxPoints));
}

AdvancedDialog* advancedDialogCreate(NumericControl* caller) {
  if (!controlAlive(caller) || controlKind(caller) != kControlKindNumeric) return nullptr;
  auto* dialog = static_cast<AdvancedDialog*>(memAllocZero(sizeof(AdvancedDialog)));
  if (!dialog) return nullptr;
  dialog->caller = caller;
  dialog->working = numericCreate(controlName(caller), caller->identity);
  if (!dialog->working) {
    advancedDialogDestroy(dialog);
    return nullptr;
  }
  numericCopy(dialog->working, caller);
  char title[kPanelTitleSize + kNumericLabelSize];  // the panel keeps what fits
  if (caller->label[0])
    std::snprintf(title, sizeof title, kAdvancedTitle, caller->label);
  else
    std::snprintf(title, sizeof title, "%s", kAdvancedTitleUnlabelled);
  dialog->panel = PanelCreate(title, dialog, 0);
  if (!dialog->panel) {
    advancedDialogDestroy(dialog);
    return nullptr;
  }
  dialog->panel->options |= kPanelCancel;
  if (!buildControls(dialog)) {
    advancedDialogDestroy(dialog);
    return nullptr;
  }
  advancedDialogShowKind(dialog);
  return dialog;
}

void advancedDialogDestroy(AdvancedDialog* dialog) {
  if (!dialog) return;
  PanelDestroy(dialog->panel);
  ControlDestroy(dialog->working);
  memFree(dialog);
}

void advancedDialogShowKind(AdvancedDialog* dialog) {
  if (!dialog) return;
  const int32_t kind = dialog->working->valueKind;
  const bool items = kind >= kValueXPos && kind <= kValueSeparation;
  show(dialog->obj1, items);
  show(dialog->obj2, kind == kValueSeparation);
  show(dialog->linear, kind == kValueLinear);
  // The base is the value itself when fixed, and the start of the line when linear.
  const char* baseLabel = kind == kValueLinear ? kLinearBaseLabel : dialog->working->label;
  if (std::strcmp(dialog->base->label, baseLabel) != 0) {
    setLabel(dialog->base, baseLabel);
    if (dialog->panel->isOpen && controlHead(dialog->base)->visible) ControlRedraw(dialog->base, kRedrawAll);
  }
  show(dialog->base, kind == kValueFixed || kind == kValueLinear);
  advancedDialogGraph(dialog);
}

void advancedDialogGraph(AdvancedDialog* dialog) {
  if (!dialog) return;
  NumericControl* working = dialog->working;
  working->value = dialog->base->value;
  working->linearRate = dialog->linear->value;

  const SceneFrames scene = sceneFrames();
  const int32_t count = advancedGraphPoints(scene.start, scene.end);
  const int32_t first = frameOf(dialog->lowGraph->value);
  const int32_t last = std::max(frameOf(dialog->highGraph->value), first + 1);
  double points[kAdvancedMaxPoints];
  double least = kRangeLowStart, greatest = kRangeHighStart, sum = 0;
  for (int32_t i = 0; i < count; ++i) {
    const double frame = first + double(last - first) * i / (count - 1);
    const double value = numericValueAt(working, frame / scene.framesPerSecond);
    points[i] = value;
    least = std::min(least, value);
    greatest = std::max(greatest, value);
    sum += value;
  }
  char text[kTextSize];
  std::snprintf(text, sizeof text, kAdvancedSummary, int(first), int(last), least, greatest, sum / count);
  ControlSetText(dialog->summary, 1, text);
  graphSetPoints(dialog->graph, points, count, first, last);
}

void advancedDialogAccept(AdvancedDialog* dialog) {
  if (!dialog || !controlAlive(dialog->caller)) return;
  NumericControl* working = dialog->working;
  working->value = dialog->base->value;
  working->linearRate = dialog->linear->value;
  NumericControl* caller = dialog->caller;
  numericCopy(caller, working);
  numericShowKind(caller);
  if (caller->onChange) caller->onChange(caller);
}

int32_t advancedDialogRun(NumericControl* caller) {
  AdvancedDialog* dialog = advancedDialogCreate(caller);
  if (!dialog) return kPanelResultCancel;
  // Over the caller's panel while it is open; a closed panel would close it at once.
  Panel* parent = controlPanel(caller);
  const int32_t result = PanelOpen(dialog->panel, parent && parent->isOpen ? parent : nullptr);
  if (result == kPanelResultOk) advancedDialogAccept(dialog);
  advancedDialogDestroy(dialog);
  return result == kPanelResultOk ? kPanelResultOk : kPanelResultCancel;
}
