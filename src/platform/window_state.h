#pragma once
// The insides of a PlatformWindow, shared by its messages (window.cpp) and its drawing
// (window_draw.cpp). All of it belongs to the window's own thread except WindowPort, which
// is the one part other threads reach.
#include <X11/Xft/Xft.h>
#include <X11/Xlib.h>

#include <algorithm>
#include <chrono>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/window.h"

// What a poster on another thread touches: the posted messages, and the wake-up of the
// owner's wait. Shared, so a post racing the window's destruction finds it closed, not freed.
struct WindowPort {
  std::mutex mutex;
  std::deque<WindowMessage> posted;
  bool alive = true;
  int wakeFd = -1;  // an eventfd polled beside the X connection
};

// One X connection: a top-level window's, shared by the child windows made inside it, so
// the child's events come through the same thread.
struct WindowConnection {
  Display* display = nullptr;
  int screen = 0;
  Window root = 0;
  Visual* visual = nullptr;
  Colormap colormap = 0;
  int depth = 0;
  Atom wmProtocols = 0, wmDeleteWindow = 0, netWmName = 0, utf8String = 0;
  bool broken = false;                   // the server went away: the windows go on as message ports
  std::vector<PlatformWindow*> windows;  // to hand each event to its window
  XftFont* fonts[2] = {};                // the two panel fonts, opened at first use
  ~WindowConnection();
};

struct PlatformWindow {
  std::shared_ptr<WindowPort> port;
  std::shared_ptr<WindowConnection> connection;  // null headless
  Window xid = 0;
  PlatformWindow* parentWindow = nullptr;        // a child's; null once the parent is destroyed
  bool child = false;
  void* user = nullptr;

  std::deque<WindowMessage> events;  // X events, translated, waiting to be taken
  bool paintWaiting = false;
  WindowRect paintArea{};
  bool enabled = true;
  std::chrono::steady_clock::time_point nextTick;

  int32_t left = 0, top = 0;          // on the screen, as last known
  int32_t width = 1, height = 1;      // as last reported in a size message
  int32_t minWidth = 0, minHeight = 0, maxWidth = 0, maxHeight = 0;

  // The back buffer (window_draw.cpp).
  Pixmap buffer = 0;
  int32_t bufferWidth = 0, bufferHeight = 0;
  GC gc = nullptr;      // drawing, clipped as windowSetClip asks
  GC copyGc = nullptr;  // buffer to window, never clipped
  XftDraw* draw = nullptr;
  bool clipped = false;
  WindowRect clip{};
  bool drawn = false;   // something was drawn since the last flush, inside `dirty`
  WindowRect dirty{};
};

// X's coordinates and sizes are 16 bits: anything further out would wrap round.
inline constexpr int32_t kWindowProtocolLimit = 32767;

// True when the window has a live X window to draw in.
inline bool windowDrawable(const PlatformWindow* window) {
  return window && window->connection && !window->connection->broken && window->xid;
}

inline bool windowRectEmpty(const WindowRect& r) { return r.right <= r.left || r.bottom <= r.top; }

inline WindowRect windowRectIntersect(const WindowRect& a, const WindowRect& b) {
  return {std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right), std::min(a.bottom, b.bottom)};
}

inline WindowRect windowRectUnion(const WindowRect& a, const WindowRect& b) {
  return {std::min(a.left, b.left), std::min(a.top, b.top), std::max(a.right, b.right), std::max(a.bottom, b.bottom)};
}

// Appends a code point to UTF-8 text; one past Unicode's range adds nothing.
void windowUtf8Append(std::string* text, uint32_t code);

// The drawing side's part in a window's and a connection's end (window_draw.cpp).
void windowDrawRelease(PlatformWindow* window);
void windowFontsRelease(WindowConnection* connection);

// The event side of the windows (window_events.cpp), for window.cpp.
WindowMessage windowMessageOf(WindowMessageKind kind);
bool windowMessageIsInput(WindowMessageKind kind);  // mouse, wheel and keys
// Asks for a paint of `area` within the window, merged with one that waits.
void windowQueuePaint(PlatformWindow* window, const WindowRect& area);
// A new size: noted, and a size message queued.
void windowNoteSize(PlatformWindow* window, int32_t width, int32_t height);
// Turns every event the connection has into messages on the windows they name.
void windowEventsPump(WindowConnection* c);
