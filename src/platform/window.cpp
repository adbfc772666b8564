// PlatformWindow's life and messages: X events turned into WindowMessages, posts from other
// threads, and the 250 ms timer, all waited for in one poll(). Guards that nothing here ever
// waits on a display that is not there, and that only windowPost crosses threads.
#include <X11/Xatom.h>
#include <X11/Xutil.h>
#include <X11/keysym.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <mutex>
#include <new>
#include <string>
#include <unordered_map>

#include "platform/message_queue.h"
#include "platform/window_state.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr char kWindowClassName[] = "TK_CL_A23:59:20";
constexpr char kWindowResourceName[] = "ombrel";
constexpr long kChildEvents = ExposureMask | StructureNotifyMask | ButtonPressMask | ButtonReleaseMask |
                              PointerMotionMask;
// A child passes its keys up to the top-level window, which takes the keyboard.
constexpr long kTopLevelEvents = kChildEvents | KeyPressMask | KeyReleaseMask;
constexpr auto kTimerPeriod = std::chrono::milliseconds(kWindowTimerPeriod);

std::once_flag systemOnce;

// A failed request (focusing a window not yet mapped, say) is no reason to stop the process,
// which is what Xlib's own handler does.
int ignoreXError(Display*, XErrorEvent*) { return 0; }

// The server went away. Xlib's own handler would end the process here; returning lets the
// connection's exit handler below mark it, and its windows carry on as message ports.
int reportLostServer(Display* display) {
  fprintf(stderr, "ombrel: lost the X connection to %s; its windows go on without a display\n",
          DisplayString(display));
  return 0;
}

void markBroken(Display*, void* connection) { static_cast<WindowConnection*>(connection)->broken = true; }

// The live windows, for windowPost: it must not touch a window that is already gone.
struct Ports {
  std::mutex mutex;
  std::unordered_map<const PlatformWindow*, std::shared_ptr<WindowPort>> live;
};

// Never destroyed: posters may run while the process exits.
Ports& ports() {
  static Ports* p = new Ports;
  return *p;
}

// Takes (or with remove false, looks at) the next message: posted, then X events, then the
// paint, then the timer.
bool nextMessage(PlatformWindow* window, WindowMessage* out, bool remove) {
  {
    std::lock_guard<std::mutex> hold(window->port->mutex);
    auto& posted = window->port->posted;
    if (!posted.empty()) {
      if (out) *out = posted.front();
      if (remove) posted.pop_front();
      return true;
    }
  }
  windowEventsPump(window->connection.get());
  // A child's input and paint come through its parent: the child has no loop of its own.
  if (window->connection && !window->child)
    for (PlatformWindow* w : window->connection->windows) {
      if (w->parentWindow != window) continue;
      while (!w->events.empty() && !window->enabled && windowMessageIsInput(w->events.front().kind)) w->events.pop_front();
      if (!w->events.empty()) {
        if (out) {
          *out = w->events.front();
          out->source = w;
        }
        if (remove) w->events.pop_front();
        return true;
      }
      if (w->paintWaiting) {
        if (out) {
          *out = windowMessageOf(kWindowPaint);
          out->area = w->paintArea;
          out->source = w;
        }
        if (remove) w->paintWaiting = false;
        return true;
      }
    }
  auto& events = window->events;
  while (!events.empty() && !window->enabled && windowMessageIsInput(events.front().kind)) events.pop_front();
  if (!events.empty()) {
    if (out) *out = events.front();
    if (remove) events.pop_front();
    return true;
  }
  if (window->paintWaiting) {
    if (out) {
      *out = windowMessageOf(kWindowPaint);
      out->area = window->paintArea;
    }
    if (remove) window->paintWaiting = false;
    return true;
  }
  const auto now = Clock::now();
  if (now >= window->nextTick) {
    if (out) *out = windowMessageOf(kWindowTimer);
    if (remove) {
      // A late tick is not made up for: one timer message, then the period again.
      window->nextTick += kTimerPeriod;
      if (window->nextTick <= now) window->nextTick = now + kTimerPeriod;
    }
    return true;
  }
  return false;
}

// Sleeps until a post, an X event, the next tick or `deadline`, whichever is first.
void sleepUntil(PlatformWindow* window, Clock::time_point deadline) {
  pollfd fds[2] = {{window->port->wakeFd, POLLIN, 0}, {-1, POLLIN, 0}};
  nfds_t count = 1;
  WindowConnection* c = window->connection.get();
  if (c && !c->broken) fds[count++].fd = ConnectionNumber(c->display);
  const auto until = std::min(deadline, window->nextTick);
  const auto wait = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now()).count();
  if (wait > 0) poll(fds, count, static_cast<int>(std::min<long long>(wait, kWindowTimerPeriod)));
  if (fds[0].revents & POLLIN) {
    uint64_t ignored;
    [[maybe_unused]] const ssize_t n = read(window->port->wakeFd, &ignored, sizeof ignored);
  }
}

// A child's messages end its parent's wait, so a pump that takes them between waits sees
// them at once.
bool childHasMessages(const PlatformWindow* window) {
  if (!window->connection) return false;
  for (const PlatformWindow* w : window->connection->windows)
    if (w->parentWindow == window && (!w->events.empty() || w->paintWaiting)) return true;
  return false;
}

void setSizeHints(PlatformWindow* window, bool placed) {
  if (!windowDrawable(window) || window->child) return;
  XSizeHints hints{};
  hints.flags = PMinSize | PMaxSize | (placed ? (USPosition | PPosition) : 0);
  hints.x = window->left;
  hints.y = window->top;
  hints.min_width = std::max(1, window->minWidth);
  hints.min_height = std::max(1, window->minHeight);
  hints.max_width = window->maxWidth > 0 ? std::min(window->maxWidth, kWindowProtocolLimit) : kWindowProtocolLimit;
  hints.max_height = window->maxHeight > 0 ? std::min(window->maxHeight, kWindowProtocolLimit) : kWindowProtocolLimit;
  XSetWMNormalHints(window->connection->display, window->xid, &hints);
}

std::shared_ptr<WindowConnection> openConnection() {
  std::lock_guard<std::mutex> hold(windowDisplayLock());
  Display* display = XOpenDisplay(nullptr);
  if (!display) return nullptr;
  auto c = std::make_shared<WindowConnection>();
  c->display = display;
  c->screen = DefaultScreen(display);
  c->root = RootWindow(display, c->screen);
  c->visual = DefaultVisual(display, c->screen);
  c->colormap = DefaultColormap(display, c->screen);
  c->depth = DefaultDepth(display, c->screen);
  c->wmProtocols = XInternAtom(display, "WM_PROTOCOLS", False);
  c->wmDeleteWindow = XInternAtom(display, "WM_DELETE_WINDOW", False);
  c->netWmName = XInternAtom(display, "_NET_WM_NAME", False);
  c->utf8String = XInternAtom(display, "UTF8_STRING", False);
  XSetIOErrorExitHandler(display, markBroken, c.get());
  return c;
}

void createXWindow(PlatformWindow* window, const WindowConfig& config) {
  WindowConnection& c = *window->connection;
  XSetWindowAttributes attributes{};
  // No background: the back buffer paints every pixel, and a cleared background would flicker.
  attributes.background_pixmap = None;
  attributes.bit_gravity = NorthWestGravity;
  attributes.colormap = c.colormap;
  attributes.event_mask = window->child ? kChildEvents : kTopLevelEvents;
  const Window parent = window->child ? window->parentWindow->xid : c.root;
  const int x = config.x < 0 ? 0 : config.x, y = config.y < 0 ? 0 : config.y;
  window->xid = XCreateWindow(c.display, parent, x, y, static_cast<unsigned>(window->width),
                              static_cast<unsigned>(window->height), 0, c.depth, InputOutput, c.visual,
                              CWBackPixmap | CWBitGravity | CWColormap | CWEventMask, &attributes);
  if (!window->xid) return;
  c.windows.push_back(window);
  if (window->child) return;

  XSetWMProtocols(c.display, window->xid, &c.wmDeleteWindow, 1);
  char resName[sizeof kWindowResourceName], resClass[sizeof kWindowClassName];
  memcpy(resName, kWindowResourceName, sizeof resName);
  memcpy(resClass, kWindowClassName, sizeof resClass);
  XClassHint classHint{resName, resClass};
  XSetClassHint(c.display, window->xid, &classHint);
  XWMHints wmHints{};
  wmHints.flags = InputHint;
  wmHints.input = True;
  XSetWMHints(c.display, window->xid, &wmHints);
  if (config.parent) XSetTransientForHint(c.display, window->xid, static_cast<Window>(config.parent));
  setSizeHints(window, config.x >= 0 && config.y >= 0);
  windowSetTitle(window, config.title);
}

}  // namespace

WindowConnection::~WindowConnection() {
  windowFontsRelease(this);
  if (display) {
    std::lock_guard<std::mutex> hold(windowDisplayLock());
    XCloseDisplay(display);
  }
}

void windowSystemInit() {
  std::call_once(systemOnce, [] {
    XInitThreads();
    XSetErrorHandler(ignoreXError);
    XSetIOErrorHandler(reportLostServer);
  });
}

bool windowKeyIsFunction(uint32_t key) { return key >= XK_F1 && key <= XK_F12; }

PlatformWindow* windowCreate(const WindowConfig& config) {
  windowSystemInit();
  PlatformWindow* window = new (std::nothrow) PlatformWindow;
  if (!window) return nullptr;
  try {
    window->port = std::make_shared<WindowPort>();
  } catch (const std::bad_alloc&) {
    delete window;
    return nullptr;
  }
  window->port->wakeFd = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
  if (window->port->wakeFd < 0) {
    delete window;
    return nullptr;
  }
  window->child = config.child;
  window->user = config.user;
  window->minWidth = config.minWidth;
  window->minHeight = config.minHeight;
  window->maxWidth = config.maxWidth;
  window->maxHeight = config.maxHeight;
  int32_t width = config.width, height = config.height;
  windowClampSize(&width, &height, config.minWidth, config.minHeight, config.maxWidth, config.maxHeight);
  width = std::clamp(width, 1, kWindowProtocolLimit);
  height = std::clamp(height, 1, kWindowProtocolLimit);
  window->width = width;
  window->height = height;
  window->left = config.x < 0 ? 0 : config.x;
  window->top = config.y < 0 ? 0 : config.y;
  window->nextTick = Clock::now() + kTimerPeriod;

  if (config.child) {
    // Made by the parent's thread on the parent's connection, so its events come the same way.
    PlatformWindow* parent = config.parentWindow;
    window->parentWindow = parent;
    if (windowDrawable(parent)) window->connection = parent->connection;
  } else {
    window->connection = openConnection();
  }
  if (window->connection) {
    createXWindow(window, config);
    if (!window->xid) window->connection.reset();
  }

  std::lock_guard<std::mutex> hold(ports().mutex);
  ports().live[window] = window->port;
  return window;
}

void windowDestroy(PlatformWindow* window) {
  if (!window) return;
  {
    std::lock_guard<std::mutex> hold(ports().mutex);
    ports().live.erase(window);
  }
  {
    std::lock_guard<std::mutex> hold(window->port->mutex);
    window->port->alive = false;
    window->port->posted.clear();
    close(window->port->wakeFd);
    window->port->wakeFd = -1;
  }
  if (WindowConnection* c = window->connection.get()) {
    windowDrawRelease(window);
    if (!c->broken && window->xid) {
      XDestroyWindow(c->display, window->xid);
      XFlush(c->display);
    }
    auto& all = c->windows;
    all.erase(std::remove(all.begin(), all.end(), window), all.end());
    // The X server takes the children's windows with this one; their ports live on.
    for (PlatformWindow* w : all)
      if (w->parentWindow == window) {
        w->parentWindow = nullptr;
        w->xid = 0;
      }
  }
  delete window;
}

bool windowHasDisplay(const PlatformWindow* window) { return windowDrawable(window); }

void* windowUser(const PlatformWindow* window) { return window ? window->user : nullptr; }

unsigned long windowXId(const PlatformWindow* window) { return windowDrawable(window) ? window->xid : 0; }

bool windowGetMessage(PlatformWindow* window, WindowMessage* out) {
  if (!window || !out) return false;
  while (!nextMessage(window, out, true)) sleepUntil(window, Clock::time_point::max());
  return true;
}

bool windowMessageWaiting(PlatformWindow* window) { return window && nextMessage(window, nullptr, false); }

bool windowWaitMessage(PlatformWindow* window, WindowMessage* out, uint32_t milliseconds) {
  if (!window || !out) return false;
  const auto deadline = Clock::now() + std::chrono::milliseconds(milliseconds);
  for (;;) {
    if (nextMessage(window, out, true)) return true;
    if (Clock::now() >= deadline || childHasMessages(window)) return false;
    sleepUntil(window, deadline);
  }
}

bool windowPost(PlatformWindow* window, const WindowMessage& message) {
  std::shared_ptr<WindowPort> port;
  {
    std::lock_guard<std::mutex> hold(ports().mutex);
    auto found = ports().live.find(window);
    if (found == ports().live.end()) return false;
    port = found->second;
  }
  std::lock_guard<std::mutex> hold(port->mutex);
  if (!port->alive || port->posted.size() >= kMessageQueueLimit) return false;
  port->posted.push_back(message);
  const uint64_t one = 1;
  [[maybe_unused]] const ssize_t n = write(port->wakeFd, &one, sizeof one);
  return true;
}

void windowSetEnabled(PlatformWindow* window, bool enabled) {
  if (!window) return;
  window->enabled = enabled;
  if (!enabled) {
    auto& events = window->events;
    events.erase(std::remove_if(events.begin(), events.end(), [](const WindowMessage& m) { return windowMessageIsInput(m.kind); }),
                 events.end());
  }
}

bool windowIsEnabled(const PlatformWindow* window) { return window && window->enabled; }

void windowShow(PlatformWindow* window) {
  if (!window) return;
  if (!windowDrawable(window)) {
    // Headless, showing still asks for the first paint, as the server's expose would.
    windowQueuePaint(window, {0, 0, window->width, window->height});
    return;
  }
  XMapWindow(window->connection->display, window->xid);
  XFlush(window->connection->display);
}

void windowRaise(PlatformWindow* window) {
  if (!windowDrawable(window)) return;
  Display* display = window->connection->display;
  XRaiseWindow(display, window->xid);
  // Best effort: an unmapped window cannot take the focus, and the error is ignored.
  XSetInputFocus(display, window->xid, RevertToParent, CurrentTime);
  XFlush(display);
}

void windowSetTitle(PlatformWindow* window, const char* title) {
  if (!windowDrawable(window) || window->child) return;
  const char* text = title ? title : "";
  WindowConnection& c = *window->connection;
  XStoreName(c.display, window->xid, text);
  XChangeProperty(c.display, window->xid, c.netWmName, c.utf8String, 8, PropModeReplace,
                  reinterpret_cast<const unsigned char*>(text), static_cast<int>(strlen(text)));
  XFlush(c.display);
}

void windowMoveResize(PlatformWindow* window, int32_t x, int32_t y, int32_t width, int32_t height) {
  if (!window) return;
  windowClampSize(&width, &height, window->minWidth, window->minHeight, window->maxWidth, window->maxHeight);
  width = std::clamp(width, 1, kWindowProtocolLimit);
  height = std::clamp(height, 1, kWindowProtocolLimit);
  x = std::clamp(x, -kWindowProtocolLimit, kWindowProtocolLimit);
  y = std::clamp(y, -kWindowProtocolLimit, kWindowProtocolLimit);
  window->left = x;
  window->top = y;
  if (!windowDrawable(window)) {
    windowNoteSize(window, width, height);
    return;
  }
  // The size message comes with the server's ConfigureNotify.
  Display* display = window->connection->display;
  XMoveResizeWindow(display, window->xid, x, y, static_cast<unsigned>(width), static_cast<unsigned>(height));
  setSizeHints(window, true);
  XFlush(display);
}

void windowSetSizeLimits(PlatformWindow* window, int32_t minWidth, int32_t minHeight, int32_t maxWidth,
                         int32_t maxHeight) {
  if (!window) return;
  window->minWidth = minWidth;
  window->minHeight = minHeight;
  window->maxWidth = maxWidth;
  window->maxHeight = maxHeight;
  setSizeHints(window, false);
  int32_t width = window->width, height = window->height;
  windowClampSize(&width, &height, minWidth, minHeight, maxWidth, maxHeight);
  width = std::clamp(width, 1, kWindowProtocolLimit);
  height = std::clamp(height, 1, kWindowProtocolLimit);
  const bool resize = width != window->width || height != window->height;
  if (!windowDrawable(window)) {
    if (resize) windowNoteSize(window, width, height);
    return;
  }
  // Only the size: a move to the remembered place would land off by a window manager's frame.
  if (resize) XResizeWindow(window->connection->display, window->xid, static_cast<unsigned>(width),
                            static_cast<unsigned>(height));
  XFlush(window->connection->display);
}

WindowRect windowGeometry(const PlatformWindow* window) {
  if (!window) return {};
  return {window->left, window->top, window->left + window->width, window->top + window->height};
}

void windowClampSize(int32_t* width, int32_t* height, int32_t minWidth, int32_t minHeight, int32_t maxWidth,
                     int32_t maxHeight) {
  // A limit of 0 or less is no limit; where the two cross, the minimum wins.
  if (maxWidth > 0) *width = std::min(*width, maxWidth);
  if (maxHeight > 0) *height = std::min(*height, maxHeight);
  *width = std::max(*width, minWidth);
  *height = std::max(*height, minHeight);
}

void windowInvalidate(PlatformWindow* window, const WindowRect& area) {
  if (window) windowQueuePaint(window, area);
}
