#pragma once
// PanelControl: the common record of every control and of the panel itself. One allocation
// holds a private head and then the part the control's users see:
//
//   [PanelControlHead][PanelControl, then the kind's own fields]
//                     ^ what a constructor hands out; controlHead() steps back
//
// Both parts carry a guard while alive; destruction sets other values and kind 555, so a
// stale pointer is caught instead of followed. The head's `next` links a panel's controls in
// order, the panel itself first. Records are plain data (no destructors run): what a control
// owns beyond its record it frees in its `destroy` operation.
#include <cstddef>
#include <cstdint>
#include <new>
#include <type_traits>

#include <lwio.h>
#include <lwrender.h>

#include "platform/window.h"

struct Panel;
struct PanelControl;

inline constexpr uint32_t kControlHeadAlive = 0x7C0A11EDu;
inline constexpr uint32_t kControlHeadDead = 0xDEADC7A1u;
inline constexpr uint32_t kControlVisibleAlive = 0x5EE0C7A1u;
inline constexpr uint32_t kControlVisibleDead = 0xDEAD5EE0u;

// Kinds. Those not fixed by a number of their own (inset, bitmap, item chooser) take the
// numbers below, clear of the fixed ones.
inline constexpr int32_t kControlKindUnset = 99;
inline constexpr int32_t kControlKindPanel = 1;
inline constexpr int32_t kControlKindSeparator = 2;
inline constexpr int32_t kControlKindText = 3;
inline constexpr int32_t kControlKindButton = 4;
inline constexpr int32_t kControlKindNumeric = 7;
inline constexpr int32_t kControlKindRadio = 11;
inline constexpr int32_t kControlKindGraph = 15;
inline constexpr int32_t kControlKindListBox = 18;
inline constexpr int32_t kControlKindItem = 20;
inline constexpr int32_t kControlKindInset = 21;
inline constexpr int32_t kControlKindBitmap = 22;
inline constexpr int32_t kControlKindDestroyed = 555;

inline constexpr size_t kControlNameSize = 72;
inline constexpr char kControlUnnamed[] = "BAD_ID!";

// Redraw flags: 31 is every reason, what the rest of the program passes.
inline constexpr int32_t kRedrawTakeDown = 1;       // remove what is drawn / native parts
inline constexpr int32_t kRedrawTakeDownLabel = 2;  // a control with a label passes 3 on to it
inline constexpr int32_t kRedrawLayout = 4;         // work out the drawn area again
inline constexpr int32_t kRedrawPaint = 8;
inline constexpr int32_t kRedrawPaintLabel = 16;    // a control with a label passes 24 on to it
inline constexpr int32_t kRedrawAll = 31;

// The answer of a `message` operation.
inline constexpr int32_t kMessageAfterEvent = 1;  // run afterEvent of every control
inline constexpr int32_t kMessageStop = 2;        // the message ends here

// The user's callback of a control, given its visible part; what it returns joins the
// control's answer to the message (kMessageAfterEvent and the like).
using ControlCallback = int32_t (*)(PanelControl* control);

// The operations of a control, in this order; a missing one is null.
struct PanelControlOps {
  int32_t (*draw)(PanelControl* control, int32_t flags);
  void (*afterEvent)(PanelControl* control);
  int32_t (*idle)(PanelControl* control);  // work left; the panel ticks again while above 0
  void (*takeDown)(PanelControl* control);
  int32_t (*save)(PanelControl* control, LWSaveState* state, int32_t indent);  // bytes written
  const char* (*load)(PanelControl* control, LWLoadState* state);            // null or a failure word
  void (*focus)(PanelControl* control);
  void (*copy)(PanelControl* control, const PanelControl* other);
  void (*reset)(PanelControl* control);
  void (*destroy)(PanelControl* control);
  void* reserved;
  void (*afterLoad)(PanelControl* control);
  // Adds the host items in use to `list` (room for `room`); gives how many it added.
  int32_t (*useItems)(PanelControl* control, LWItemID* list, int32_t room);
  // Applies a change of item ids: pairs of old and new, ended by a null old id.
  void (*changeItems)(PanelControl* control, const LWItemID* oldAndNew);
  // Sees every window message (the panel's `message`); gives kMessage* flags.
  int32_t (*message)(PanelControl* control);
};

struct alignas(8) PanelControlHead {
  uint32_t guard;
  int32_t left, top, right, bottom;  // the area last drawn (right, bottom exclusive); all -1 when none
  PanelControl* next;
  PanelControlOps ops;
  Panel* panel;
  char name[kControlNameSize];
  int32_t kind;
  int32_t drawnFlag, shownFlag;
  int32_t visible;
  int32_t saved;
  int32_t createdFlag;
};

struct alignas(8) PanelControl {
  double spare;
  uint32_t guard;
  int32_t disabled;  // does not react, and is drawn greyed
  int32_t x, y;      // place in the panel
  int32_t width, height;
};

PanelControlHead* controlHead(PanelControl* control);
const PanelControlHead* controlHead(const PanelControl* control);
// True while both guards say alive.
bool controlAlive(const PanelControl* control);
const char* controlName(const PanelControl* control);
int32_t controlKind(const PanelControl* control);

// Allocates a record of `size` bytes of visible part (T's size, T beginning with
// PanelControl), zeroed, with the head set up: guards alive, area -1, name, kind 99, visible
// 1; and appends it to `panel`'s list when a panel is given. Null when memory runs out.
PanelControl* controlAllocate(Panel* panel, const char* name, size_t size);

template <class T>
T* controlNew(Panel* panel, const char* name) {
  static_assert(std::is_base_of_v<PanelControl, T> && std::is_trivially_destructible_v<T>);
  PanelControl* raw = controlAllocate(panel, name, sizeof(T));
  return raw ? static_cast<T*>(raw) : nullptr;
}

// Takes the control out of its panel's list, runs `destroy`, marks it dead and frees it.
void ControlDestroy(PanelControl* control);
// Runs the control's `draw` with the flags; 0 when it has none.
int32_t ControlRedraw(PanelControl* control, int32_t flags);
// The last control of a panel's list (the panel itself when it has none).
PanelControl* ControlFindLast(Panel* panel);
// A text or a button: keeps up to 512 characters (a button's 255) and the enabled state, and
// redraws only when one of them changed.
void ControlSetText(PanelControl* control, int32_t enabled, const char* text);
// Whether the control's drawn area touches the panel's update area (of the paint being
// handled); a control never drawn does not.
bool PanelHit(const PanelControl* control);

// The first control of `panel` named `name` exactly, after `after` when given; null if none.
PanelControl* controlFind(Panel* panel, const char* name, PanelControl* after = nullptr);
