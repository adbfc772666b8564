#pragma once
// Panel: a top-level window with a list of controls, run by a thread of its own. The panel is
// the head of its control list and a control itself (kind 1). Every control of a panel is
// touched only on the panel's thread; other threads reach it through PanelClose and
// panelPost. A modal PanelOpen keeps the caller's thread pumping until the panel closes.
#include <atomic>
#include <cstdint>

#include <lwio.h>

#include "platform/window.h"
#include "toolkit/panel_control.h"
#include "toolkit/panel_look.h"

inline constexpr int32_t kPanelDefaultMinWidth = 20;
inline constexpr int32_t kPanelDefaultMinHeight = 20;
inline constexpr int32_t kPanelDefaultMaxWidth = 1600;
inline constexpr int32_t kPanelDefaultMaxHeight = 1200;
inline constexpr size_t kPanelTitleSize = 128;
inline constexpr size_t kPanelTypeNameSize = 1024;

// Option flags: what the standard frame holds, and how the panel opens.
inline constexpr uint32_t kPanelShowTitle = 1;     // "Panel_Titl_Text" and "Panel_TOP_Vsep"
inline constexpr uint32_t kPanelSaveLoad = 2;      // "P_S" and "P_L"
inline constexpr uint32_t kPanelCutPaste = 4;      // saving with shift goes to the paste buffer
inline constexpr uint32_t kPanelNonModal = 8;
inline constexpr uint32_t kPanelCloseButton = 16;  // "P_C" at the right
inline constexpr uint32_t kPanelCancel = 32;       // "P_C" at the left, and "CutPaste"
inline constexpr uint32_t kPanelTitleImage = 64;   // "title_bitmap"

// The results of a modal panel.
inline constexpr int32_t kPanelResultCancel = 0;
inline constexpr int32_t kPanelResultOk = 1;

// What the panel's thread asks of the host's scheduler: 0 leaves it.
inline constexpr int32_t kPanelPriorityLeave = 0;

using PanelCallback = int32_t (*)(Panel* panel);

struct EditField;
struct PanelThread;  // the panel's thread and its hand-over state (panel.cpp)

struct Panel : PanelControl {
  // x, y, width, height of PanelControl: the window's place and size, kept between openings.
  PlatformWindow* window;
  int32_t minWidth, minHeight, maxWidth, maxHeight;
  char title[kPanelTitleSize];
  char instanceName[kPanelTitleSize];
  double version;
  char typeName[kPanelTypeNameSize];  // the paste buffer's type
  uint32_t options;
  int32_t priority;  // -1, -2 or 1, or kPanelPriorityLeave
  int32_t keepsFunctionKeys;  // F1 to F12 reach the controls instead of the host
  PanelLook look;
  char closeLabel[32];  // the text of the right "P_C"; "OK" by default

  // The standard frame, built at the first drawing.
  PanelControl* closeButton;
  PanelControl* saveButton;
  PanelControl* loadButton;
  PanelControl* cancelButton;
  PanelControl* inset;
  PanelControl* titleBitmap;
  PanelControl* titleText;
  PanelControl* bottomSeparator;
  PanelControl* cutPaste;
  PanelControl* topSeparator;
  int32_t frameBuilt;

  int32_t justLoaded;
  PanelCallback onOpen;   // at the first drawing, and after a load
  PanelCallback onClose;  // when the window closes, on the panel's thread
  PanelCallback onIdle;   // at each idle round of the panel's thread; work left, as `idle`
  void* user;             // the user record
  uint32_t identity;      // the identity word given at creation

  Panel* parent;          // the panel this one opened over, or none
  std::atomic<Panel*> modalChild;  // the modal panel open over this one, or none; read from any thread
  int32_t result;         // kPanelResult*, or what the user's code set
  uint32_t modifiers;     // of the message being handled
  const WindowMessage* message;  // the message being handled, for the controls' `message`
  WindowRect updateArea;  // of the paint being handled, for PanelHit
  EditField* keyboard;    // the field that the keys go to, or none (panelSetKeyboard)
  PanelThread* thread;
  std::atomic<int32_t> isOpen;
};

// A panel with its title and user record, not yet open. Null when memory runs out.
Panel* PanelCreate(const char* title, void* user, uint32_t identity);

// Opens the panel over `parent` (or none). Already open: shown, raised, redrawn, and 0.
// Modal: returns the panel's result when it has closed, the caller's thread pumping
// meanwhile. Non-modal: returns 0 at once. -1 when the thread cannot start.
int32_t PanelOpen(Panel* panel, Panel* parent);
// Asks the panel to close, from any thread; it closes as by its close box.
void PanelClose(Panel* panel);
// Closes the panel and waits for its thread to end; the controls stay, for an owner that must
// take down what they use before they go. Null is accepted.
void PanelJoin(Panel* panel);
// Waits for the panel's thread to end (PanelClose first); then frees every control and the
// panel. Null is accepted.
void PanelDestroy(Panel* panel);

// Runs `draw` of the panel with the flags: the frame's controls in a fixed order, then the
// user's; the frame is built first if it has none. Panel thread only.
int32_t panelDraw(Panel* panel, int32_t flags);
// Closes from the panel's own thread with a result (OK or Cancel buttons).
void panelEnd(Panel* panel, int32_t result);

// Copies one panel's settings to another: both lists in step over controls whose `saved` is
// set, each `copy` run. Null, or "Copy Failed" when the lists end at different places.
const char* panelCopy(Panel* to, const Panel* from);
inline constexpr char kPanelCopyFailed[] = "Copy Failed";

// Before a save: a panel freshly loaded runs `afterLoad` of each control, so that names read
// at load are turned into host items only when they are needed.
void panelPrepareSave(Panel* panel);

// The instance's save and load (what the host's `save` and `load` call for a panel-backed
// instance). Save gives a failure word or null; load shows its own failure and marks the
// panel freshly loaded whatever happened.
const char* PanelInstanceSave(Panel* panel, LWSaveState* state);
void PanelInstanceLoad(Panel* panel, LWLoadState* state);

// After settings were read into an open or closed panel from a file or the paste buffer: let
// every control prepare, run the after-load callback (onOpen), redraw what is visible.
void panelTakeUpSettings(Panel* panel);

// The handlers of the frame's "P_S" and "P_L" buttons; `modifiers` as the button got them.
void panelSaveSettings(Panel* panel, uint32_t modifiers);
void panelLoadSettings(Panel* panel, uint32_t modifiers);

// Whether a paste buffer of this panel's type stands (the "P_L" button is lit while it does).
bool panelPasteBufferMatches(const Panel* panel);

// The visible part's panel (controlHead(control)->panel).
Panel* controlPanel(PanelControl* control);

// The caller's thread pumps until `done` says so: a panel thread keeps its own window's
// paint and timer going (its input is off while a modal panel is above it), any thread runs
// the calls posted to it with threadCallPost. Used by a modal PanelOpen and by anything
// else that waits for a panel on a thread that must stay alive.
void panelPumpUntil(bool (*done)(void* data), void* data);

// The X window of an open panel, from any thread; 0 when it is closed or headless. Once it
// is known, so are the places of the panel's controls at its first layout.
unsigned long panelXWindow(Panel* panel);

// Runs `call(data)` on the panel's thread, from any thread. False when the panel is not open.
bool panelPost(Panel* panel, void (*call)(void* data), void* data);

// Shows a failure through the host's "Info Messages"; quiet without the service.
void panelShowError(const char* first, const char* second);

// Texts of failure.
inline constexpr char kPanelErrorHeadMissing[] = "Error A: Internal GUIInfo head Missing!";
inline constexpr char kPanelErrorNoDisplayInfo[] = "Error B: Cannot open Lightwave's Display Info";
inline constexpr char kPanelErrorBadDisplayInfo[] = "Error C: LightWave's Display Info is incorrect!";
inline constexpr char kPanelErrorSecondLine[] = "Try freeing RAM, or restarting LightWave?";
inline constexpr char kPanelErrorStartingGui[] = "Error Starting GUI.. restart LightWave or reboot?";
