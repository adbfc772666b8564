#pragma once
// NumericControl: an edit field, a drag arrow, a label "%s_label" and an "A" button
// "%s_A_BUTT" that turns the plain number into a value that follows the scene. `value` is the
// number, and for the animated kinds their base; numericValueAt gives the value at a time.
// Reference items are held by id; a loaded control holds only their names (ref1Name,
// ref2Name) until `afterLoad` finds them, since a text may be read before the scene exists.
//
// Laid out left to right from x: the field (fieldWidth by fieldHeight), the arrow, the "A"
// button; the label ends a little left of x.
#include <cstdint>

#include <lwrender.h>

#include "toolkit/button.h"
#include "toolkit/edit_field.h"
#include "toolkit/item_chooser.h"
#include "toolkit/panel_control.h"

inline constexpr size_t kNumericLabelSize = 128;
inline constexpr int32_t kNumericFieldLimit = 63;  // characters of the field that are read

// Display kinds.
inline constexpr int32_t kNumericShowDecimals = 0;  // "  %0.<digits>f"
inline constexpr int32_t kNumericShowInteger = 1;   // "  %d" of floor(value + 0.5)
inline constexpr int32_t kNumericShowOneDecimal = 2;
inline constexpr int32_t kNumericShowPercent = 3;   // value times 100, "%" behind

inline constexpr double kNumericAverageScale = 0.577350538379377;  // 1 / sqrt(3): the mean of three axes
inline constexpr double kNumericDragEpsilon = 0.00001;  // a drag smaller than this changes nothing

inline constexpr int32_t kNumericArrowWidth = 12;
inline constexpr int32_t kNumericAWidth = 16;

struct NumericControl : PanelControl {
  double value;
  double previousValue;  // the value when the edit or the drag began
  double step;           // change per pixel of drag
  double lowLimit, highLimit;
  double dragLow, dragHigh;
  char label[kNumericLabelSize];
  LWItemID ref1, ref2;
  int32_t fieldWidth, fieldHeight;
  int32_t digits;
  int32_t animatable;    // the "A" button exists, and valueKind counts
  int32_t valueKind;     // InstanceValueKind
  int32_t displayKind;
  int32_t hasArrow, hasEdit;
  int32_t clipLow, clipHigh;  // enforce lowLimit, highLimit
  int32_t dragStopLow, dragStopHigh;
  double linearRate;     // change per frame of the linear kind
  ItemSlot ref1Name, ref2Name;  // as read, until afterLoad; a bone's object in `parent`

  // Of the toolkit's own:
  ControlCallback onChange;
  int32_t liveUpdate;    // onChange runs during a drag too, not only at its end
  uint32_t identity;
  EditField edit;
  ButtonControl* aButton;
  PanelControl* labelControl;
  int32_t dragging;      // the arrow is held
  int32_t dragStartX;
  double dragFrom, dragTo;  // the drag's ends, worked out at the press
  WindowRect arrowArea;
};

// The base control: named, with an identity word, in no panel; numericPlace puts it into one.
NumericControl* numericCreate(const char* name, uint32_t identity);
// The same with the percent defaults: display kind 3, value 0.5, step 0.005, drag range 0 to 1.
NumericControl* numericCreatePercent(const char* name, uint32_t identity);
// At x, y in `panel`, appended to its list.
NumericControl* numericCreateAt(const char* name, int32_t x, int32_t y, Panel* panel);
// Appends a control made without a panel to `panel`'s list at x, y.
void numericPlace(NumericControl* numeric, Panel* panel, int32_t x, int32_t y);

// The field's text for the display kind ("" while animated or for an unknown kind).
void numericFormat(const NumericControl* numeric, char* out, size_t size);
// Takes a text as the field's: empty keeps the value; percent scales by 0.01; the hard limits
// where enforced; the integer kind the floor of the number plus 0.5. Gives whether it parsed.
bool numericTakeText(NumericControl* numeric, const char* text);
// Takes what was typed into the field (up to 63 characters), and shows the value again.
// Gives whether the value changed.
bool numericCommit(NumericControl* numeric);
// Sets the value as the program's (no limits), shows it, and redraws; onChange is not run.
void numericSet(NumericControl* numeric, double value);

// The drag's ends for the value as it stands: the drag range widened to the value, then held
// in the enforced hard limits.
void numericDragRange(const NumericControl* numeric, double* low, double* high);
// The value a drag from `from` reaches after `pixels` of movement, stopped where asked.
double numericDragValue(const NumericControl* numeric, double from, int32_t pixels, double low, double high);

// The value at `time` in seconds, through the host's item parameters; 0 for a kind whose item
// is not set; cut by clipLow and clipHigh only.
double numericValueAt(const NumericControl* numeric, double time);

// Shows the "A" button lit or not by the value kind, and redraws the field.
void numericShowKind(NumericControl* numeric);

// Settings of another numeric control: every field of the record's settings, the items and
// their names; not the name, place, callbacks or what is drawn.
void numericCopy(NumericControl* numeric, const NumericControl* other);
