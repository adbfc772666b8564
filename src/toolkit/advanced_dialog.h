#pragma once
// AdvancedDialog: the modal panel behind a numeric control's "A" button. It works on a private
// copy of the caller (`working`, made with the base constructor and `copy`), shows what the
// chosen value kind needs, and graphs the value over the scene's frames. OK copies the
// settings back into the caller, lights its "A" button by the kind and runs its onChange;
// Cancel leaves the caller as it was.
#include <cstdint>

#include "toolkit/graph.h"
#include "toolkit/item_chooser.h"
#include "toolkit/numeric_control.h"
#include "toolkit/panel.h"
#include "toolkit/radio.h"
#include "toolkit/text_control.h"

inline constexpr char kAdvancedTitle[] = "Advanced Definition of  \"%s\"";
inline constexpr char kAdvancedTitleUnlabelled[] = "Advanced Numeric Control Definition";
inline constexpr char kAdvancedSummary[] = "From Frame %d to %d the value ranges from %.3f to %.3f, average: %.3f.";
inline constexpr char kAdvancedClipLow[] = "Value is clipped to a low limit of %.3f.";
inline constexpr char kAdvancedClipHigh[] = "Value is clipped to a high limit of %.3f.";
inline constexpr int32_t kAdvancedKindCount = 11;
inline constexpr int32_t kAdvancedPointsPerFrame = 5;
inline constexpr int32_t kAdvancedMinPoints = 20;
inline constexpr int32_t kAdvancedMaxPoints = 1000;

struct AdvancedDialog {
  Panel* panel;
  NumericControl* caller;
  NumericControl* working;  // the private copy the dialog edits
  RadioControl* kinds;      // "IGNORE1"
  ItemChooserControl* obj1, *obj2;
  NumericControl* linear;   // "linear"
  NumericControl* base;     // the base value
  TextControl* clipLowText, *clipHighText, *summary;  // "IGNORE3", "IGNORE4", "IGNORE2"
  GraphControl* graph;      // "GRAPH"
  NumericControl* lowGraph, *highGraph;  // "LOWGRAPH", "HIGHGRAPH"
};

// The dialog over the caller's settings, not yet open; null when memory runs out.
AdvancedDialog* advancedDialogCreate(NumericControl* caller);
void advancedDialogDestroy(AdvancedDialog* dialog);
// Opens the dialog modally over the caller's panel; on OK gives the settings back (see above).
// Gives kPanelResultOk or kPanelResultCancel.
int32_t advancedDialogRun(NumericControl* caller);

// Shows what the working kind needs and hides the rest, then makes the graph again.
void advancedDialogShowKind(AdvancedDialog* dialog);
// Reads the base value and the rate into the working control and fills the graph and the
// summary from the scene's frames.
void advancedDialogGraph(AdvancedDialog* dialog);
// OK: the working settings into the caller, its "A" button lit by the kind, its onChange run.
void advancedDialogAccept(AdvancedDialog* dialog);

// The graph's points for a scene's frame range: five per frame, at least 20, at most 1000.
int32_t advancedGraphPoints(int32_t frameStart, int32_t frameEnd);
