// X events turned into WindowMessages: keys with the text they type, the wheel as its own
// message, sizes and places noted on the window, paints merged, and each event queued on the
// window it names (a child's too). Runs on the thread that owns the connection.
#include <X11/Xatom.h>
#include <X11/Xutil.h>
#include <X11/keysym.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "platform/message_queue.h"
#include "platform/window_state.h"

namespace {

constexpr unsigned kWheelAwayButton = 4;
constexpr unsigned kWheelTowardsButton = 5;

uint32_t modifiersOf(unsigned state) {
  return ((state & ShiftMask) ? kModifierShift : 0) | ((state & ControlMask) ? kModifierControl : 0) |
         ((state & Mod1Mask) ? kModifierAlt : 0);
}

int32_t buttonsHeld(unsigned state) {
  return ((state & Button1Mask) ? 1 : 0) | ((state & Button2Mask) ? 2 : 0) | ((state & Button3Mask) ? 4 : 0);
}

// What a key types, in UTF-8: XLookupString gives Latin-1, and nothing for keysyms that
// carry a Unicode code point directly.
void keyText(XKeyEvent& event, WindowMessage& m) {
  char latin1[16];
  KeySym sym = NoSymbol;
  const int n = XLookupString(&event, latin1, sizeof latin1, &sym, nullptr);
  m.key = static_cast<uint32_t>(sym);
  std::string text;
  for (int i = 0; i < n; ++i) windowUtf8Append(&text, static_cast<unsigned char>(latin1[i]));
  constexpr KeySym kUnicodeKeysyms = 0x01000000;
  if (n == 0 && sym > kUnicodeKeysyms) windowUtf8Append(&text, static_cast<uint32_t>(sym - kUnicodeKeysyms));
  if (text.size() < sizeof m.text) memcpy(m.text, text.c_str(), text.size() + 1);
}

void queueEvent(PlatformWindow* window, const WindowMessage& m) {
  if (!window->enabled && windowMessageIsInput(m.kind)) return;
  // Only the latest place of a moving mouse matters.
  if (m.kind == kWindowMouseMove && !window->events.empty() && window->events.back().kind == kWindowMouseMove) {
    window->events.back() = m;
    return;
  }
  if (window->events.size() >= kMessageQueueLimit) return;
  window->events.push_back(m);
}

void notePlace(PlatformWindow* window, const XConfigureEvent& event) {
  WindowConnection& c = *window->connection;
  int x = event.x, y = event.y;
  Window through = 0;
  // Under a window manager the event's place is inside its frame; the screen place is asked.
  if (!event.send_event) XTranslateCoordinates(c.display, window->xid, c.root, 0, 0, &x, &y, &through);
  window->left = x;
  window->top = y;
}

PlatformWindow* windowOfX(WindowConnection& c, Window xid) {
  for (PlatformWindow* w : c.windows)
    if (w->xid == xid) return w;
  return nullptr;
}

void dispatch(WindowConnection& c, XEvent& event) {
  if (event.type == MappingNotify) {
    XRefreshKeyboardMapping(&event.xmapping);
    return;
  }
  PlatformWindow* window = windowOfX(c, event.xany.window);
  if (!window) return;
  WindowMessage m{};
  switch (event.type) {
    case Expose: {
      const XExposeEvent& e = event.xexpose;
      windowQueuePaint(window, {e.x, e.y, e.x + e.width, e.y + e.height});
      return;
    }
    case ConfigureNotify:
      notePlace(window, event.xconfigure);
      windowNoteSize(window, event.xconfigure.width, event.xconfigure.height);
      return;
    case ClientMessage:
      if (event.xclient.message_type == c.wmProtocols &&
          static_cast<Atom>(event.xclient.data.l[0]) == c.wmDeleteWindow)
        queueEvent(window, windowMessageOf(kWindowClose));
      return;
    case ButtonPress:
    case ButtonRelease: {
      const XButtonEvent& e = event.xbutton;
      m.x = e.x;
      m.y = e.y;
      m.modifiers = modifiersOf(e.state);
      if (e.button == kWheelAwayButton || e.button == kWheelTowardsButton) {
        if (event.type == ButtonRelease) return;
        m.kind = kWindowWheel;
        m.wheel = e.button == kWheelAwayButton ? 1 : -1;
      } else if (e.button >= Button1 && e.button <= Button3) {
        m.kind = event.type == ButtonPress ? kWindowMouseDown : kWindowMouseUp;
        m.button = static_cast<int32_t>(e.button);
      } else {
        return;
      }
      queueEvent(window, m);
      return;
    }
    case MotionNotify: {
      const XMotionEvent& e = event.xmotion;
      m.kind = kWindowMouseMove;
      m.x = e.x;
      m.y = e.y;
      m.modifiers = modifiersOf(e.state);
      m.button = buttonsHeld(e.state);
      queueEvent(window, m);
      return;
    }
    case KeyPress:
    case KeyRelease:
      m.kind = event.type == KeyPress ? kWindowKeyDown : kWindowKeyUp;
      m.modifiers = modifiersOf(event.xkey.state);
      keyText(event.xkey, m);
      queueEvent(window, m);
      return;
    default:
      return;
  }
}

}  // namespace

WindowMessage windowMessageOf(WindowMessageKind kind) {
  WindowMessage m{};
  m.kind = kind;
  return m;
}

bool windowMessageIsInput(WindowMessageKind kind) {
  return kind == kWindowMouseMove || kind == kWindowMouseDown || kind == kWindowMouseUp || kind == kWindowWheel ||
         kind == kWindowKeyDown || kind == kWindowKeyUp;
}

void windowQueuePaint(PlatformWindow* window, const WindowRect& area) {
  const WindowRect inside = windowRectIntersect(area, {0, 0, window->width, window->height});
  if (windowRectEmpty(inside)) return;
  window->paintArea = window->paintWaiting ? windowRectUnion(window->paintArea, inside) : inside;
  window->paintWaiting = true;
}

void windowNoteSize(PlatformWindow* window, int32_t width, int32_t height) {
  if (width == window->width && height == window->height) return;
  window->width = width;
  window->height = height;
  WindowMessage m = windowMessageOf(kWindowSize);
  m.area = {0, 0, width, height};
  queueEvent(window, m);
}

void windowEventsPump(WindowConnection* c) {
  if (!c || c->broken) return;
  while (!c->broken && XPending(c->display) > 0) {
    XEvent event;
    XNextEvent(c->display, &event);
    dispatch(*c, event);
  }
}
