#pragma once
// PlatformWindow: one window of a panel thread, and the messages it receives. Each window
// opens its own X Display connection, so each has its own event queue the way a Win32 thread
// has its message queue; all Xlib calls on a window happen on the thread that created it.
// Other threads reach a window only through windowPost, which never touches Xlib.
//
// Headless (DISPLAY unset, or the server refuses), a window still exists as a message port:
// it delivers posted messages and its 250 ms timer, every drawing call does nothing, and
// windowHasDisplay says false. Nothing ever waits for a window that cannot come.
//
// Drawing goes into a back buffer of the window's size; windowFlush copies what was drawn
// since the last flush to the screen, so a control that repaints never flickers.
#include <cstdint>
#include <mutex>

struct PlatformWindow;

// The messages of a window, as the controls see them.
enum WindowMessageKind : uint32_t {
  kWindowNone = 0,
  kWindowPaint,      // `area` needs painting: draw it, then windowFlush
  kWindowMouseMove,  // x, y; modifiers; buttons held in `button` as bits (1 left, 2 middle, 4 right)
  kWindowMouseDown,  // x, y, button (1 left, 2 middle, 3 right), modifiers
  kWindowMouseUp,
  kWindowWheel,      // x, y, wheel (+1 away from the user, -1 towards), modifiers
  kWindowKeyDown,    // key (an X keysym), text (what it types, UTF-8), modifiers
  kWindowKeyUp,
  kWindowSize,       // area: the window's new size (left and top 0)
  kWindowTimer,      // every kWindowTimerPeriod milliseconds while the window lives
  kWindowClose,      // the window manager's close box, or windowPost of a close
  kWindowPosted,     // windowPost of anything else: wParam and lParam are the poster's
};

inline constexpr uint32_t kWindowTimerPeriod = 250;

// Modifier bits, as a button hands them to its callback: 1 shift, 2 control.
inline constexpr uint32_t kModifierShift = 1;
inline constexpr uint32_t kModifierControl = 2;
inline constexpr uint32_t kModifierAlt = 4;

struct WindowRect {
  int32_t left, top, right, bottom;  // right and bottom exclusive
};

struct WindowMessage {
  WindowMessageKind kind = kWindowNone;
  int32_t x = 0, y = 0;
  int32_t button = 0;
  int32_t wheel = 0;
  uint32_t modifiers = 0;
  uint32_t key = 0;
  char text[8] = {};
  WindowRect area = {0, 0, 0, 0};
  uintptr_t wParam = 0;
  intptr_t lParam = 0;
  // A child window's message comes through its parent's queue with the child named here;
  // null for the window's own.
  PlatformWindow* source = nullptr;
};

// The function keys F1 to F12, which a panel that does not keep them hands on to the host.
bool windowKeyIsFunction(uint32_t key);

// Colours are 0xRRGGBB.
using WindowColour = uint32_t;

// Fonts: the two panel fonts, "Liberation Sans" at pixel sizes 12 and 9 (the metric twin of
// the original's Arial), weight normal.
enum WindowFont : int32_t { kFontNormal = 0, kFontSmall = 1 };
inline constexpr int32_t kFontNormalPixels = 12;
inline constexpr int32_t kFontSmallPixels = 9;
inline constexpr char kFontFamily[] = "Liberation Sans";

struct WindowConfig {
  const char* title;
  int32_t x, y;                 // top-level: a place on the screen; -1, -1 lets the window manager choose
  int32_t width, height;
  int32_t minWidth, minHeight;  // the window manager is asked to keep the size in these bounds,
  int32_t maxWidth, maxHeight;  // and windowClampSize keeps it there when it does not
  unsigned long parent;         // an X window to stay above (transient for); 0 for none
  bool child;                   // a child window inside `parentWindow` instead of a top-level one
  PlatformWindow* parentWindow; // for a child: the window it lives in (same thread)
  void* user;                   // the owner's word, given back by windowUser
};

// Called once, before any other X call of the process; safe to call again. Runs XInitThreads.
void windowSystemInit();

// Xlib's and Xft's lists of displays and their extensions are kept for the whole process and
// changed without a lock of their own (Xft even reorders its list on every call). Opening and
// closing a Display, and every Xft call, hold this lock; so must any other code of the
// process that opens a Display of its own while windows live.
std::mutex& windowDisplayLock();

// A window, or a message port when there is no display. Null only when memory runs out.
// The window is not shown until windowShow.
PlatformWindow* windowCreate(const WindowConfig& config);
void windowDestroy(PlatformWindow* window);

bool windowHasDisplay(const PlatformWindow* window);
void* windowUser(const PlatformWindow* window);
unsigned long windowXId(const PlatformWindow* window);  // 0 headless

// Waits for the next message: posted messages first, then X events (a child's among them,
// with its `source`), then the timer. A return of false means the window is gone (destroyed
// on this thread).
bool windowGetMessage(PlatformWindow* window, WindowMessage* out);
// True when a message waits (posted, an X event, or a due timer), without taking it.
bool windowMessageWaiting(PlatformWindow* window);
// Waits at most `milliseconds` for a message and takes it; false when none came.
bool windowWaitMessage(PlatformWindow* window, WindowMessage* out, uint32_t milliseconds);

// From any thread: queues a message for the window's thread and wakes it. False once the
// window is destroyed. kWindowClose posted this way arrives as the close box would.
bool windowPost(PlatformWindow* window, const WindowMessage& message);

// Input from the user is dropped while a window is disabled (a modal panel above it);
// paint, size, timer, close and posted messages still arrive.
void windowSetEnabled(PlatformWindow* window, bool enabled);
bool windowIsEnabled(const PlatformWindow* window);

void windowShow(PlatformWindow* window);       // map it
void windowRaise(PlatformWindow* window);      // to the top, and take the keyboard
void windowSetTitle(PlatformWindow* window, const char* title);
void windowMoveResize(PlatformWindow* window, int32_t x, int32_t y, int32_t width, int32_t height);
void windowSetSizeLimits(PlatformWindow* window, int32_t minWidth, int32_t minHeight, int32_t maxWidth,
                         int32_t maxHeight);
// The window's place on the screen and its size, as last known (headless: as configured).
WindowRect windowGeometry(const PlatformWindow* window);
// Keeps a size between the limits, moving only the sides that moved: used on size messages.
void windowClampSize(int32_t* width, int32_t* height, int32_t minWidth, int32_t minHeight, int32_t maxWidth,
                     int32_t maxHeight);

// Asks for a paint message over `area` (merged with any paint still waiting).
void windowInvalidate(PlatformWindow* window, const WindowRect& area);

// ---- Drawing (into the back buffer; nothing headless) ----

// Drawing is clipped to this rectangle until windowClearClip.
void windowSetClip(PlatformWindow* window, const WindowRect& area);
void windowClearClip(PlatformWindow* window);
void windowFillRect(PlatformWindow* window, const WindowRect& area, WindowColour colour);
// A one-pixel line, both end points drawn.
void windowLine(PlatformWindow* window, int32_t x0, int32_t y0, int32_t x1, int32_t y1, WindowColour colour);
// Text with its top-left corner at x, y, clipped to `clip` (and to any clip set).
void windowText(PlatformWindow* window, WindowFont font, int32_t x, int32_t y, const char* text, WindowColour colour,
                const WindowRect& clip);
// An image of width by height pixels, 3 bytes each (red, green, blue), rows top down.
void windowImage(PlatformWindow* window, int32_t x, int32_t y, int32_t width, int32_t height, const uint8_t* rgb);
// Copies what was drawn since the last flush to the screen.
void windowFlush(PlatformWindow* window);

// Text metrics answer headless too (an estimate from the font's pixel size), so that layouts
// and the "..." shortening of a button's text work without a display.
int32_t windowTextWidth(PlatformWindow* window, WindowFont font, const char* text);
int32_t windowFontHeight(PlatformWindow* window, WindowFont font);  // ascent plus descent
