// The panel host: a panel's thread, its window procedure, opening (modal or not), closing and
// destruction. Every control of a panel is touched only on the panel's thread; other threads
// reach it through PanelClose and panelPost, both of which only post to the window.
#include "toolkit/panel.h"

#include <cstdio>
#include <cstring>
#include <mutex>
#include <thread>

#include <lwhost.h>
#include <lwserver.h>

#include "platform/message_queue.h"
#include "platform/thread.h"
#include "runtime/global_services.h"
#include "toolkit/edit_field.h"
#include "toolkit/panel_frame.h"

struct PanelThread {
  std::thread thread;
  std::mutex mutex;               // guards `window` for posters on other threads
  PlatformWindow* window = nullptr;
  std::atomic<bool> closeRequested{false};
  std::atomic<bool> ended{true};  // the thread has ended, or never started
  bool closing = false;           // panel thread only: leave the loop after this message
};

namespace {

constexpr int32_t kDefaultWidth = 400;
constexpr int32_t kDefaultHeight = 300;
constexpr char kDefaultCloseLabel[] = "OK";
constexpr uint32_t kPumpStepMs = 5;
constexpr int kParentGoneSteps = 200;  // steps of kPumpStepMs waited for a panel whose parent went

// The panel whose thread this is, for a modal pump that runs on a panel's thread.
thread_local Panel* threadPanel = nullptr;

const HostDisplayInfo* hostDisplayInfo() { return hostTransientAs<const HostDisplayInfo>(LWHOSTDISPLAYINFO_GLOBAL); }

bool isPanel(const Panel* panel) { return controlAlive(panel) && controlHead(panel)->kind == kControlKindPanel; }

void copyText(char* out, size_t size, const char* text) {
  std::snprintf(out, size, "%s", text ? text : "");
}

int32_t panelMessageOp(PanelControl*) { return 0; }
int32_t panelDrawOp(PanelControl* control, int32_t flags) { return panelDraw(static_cast<Panel*>(control), flags); }

void destroyPanelOp(PanelControl* control) {
  auto* panel = static_cast<Panel*>(control);
  delete panel->thread;
  panel->thread = nullptr;
}

// Runs `message` of each control in list order, the panel first, until one answers with the
// stop flag; then afterEvent for all when any asked for it.
void sendToControls(Panel* panel) {
  int32_t answers = 0;
  for (PanelControl* c = panel; c;) {
    PanelControlHead* head = controlHead(c);
    int32_t answer = 0;
    if (head->ops.message) answer = head->ops.message(c);
    answers |= answer;
    if (answer & kMessageStop) break;
    if (!controlAlive(c)) break;  // a callback took its own control down: the list may have changed
    c = head->next;
  }
  if (answers & kMessageAfterEvent) {
    for (PanelControl* c = panel; c; c = controlHead(c)->next) {
      if (controlHead(c)->ops.afterEvent) controlHead(c)->ops.afterEvent(c);
      controlHead(c)->shownFlag = 0;
    }
  }
}

void keepGeometry(Panel* panel) {
  if (!panel->window) return;
  const WindowRect g = windowGeometry(panel->window);
  panel->x = g.left;
  panel->y = g.top;
  panel->width = g.right - g.left;
  panel->height = g.bottom - g.top;
}

void closeOnThread(Panel* panel) {
  if (panel->thread->closing) return;
  keepGeometry(panel);
  panelSetKeyboard(panel, nullptr);  // a field being edited is taken before the panel goes
  if (panel->onClose) panel->onClose(panel);
  panel->thread->closing = true;
}

void paint(Panel* panel, const WindowMessage& message) {
  panel->updateArea = message.area;
  windowSetClip(panel->window, message.area);
  panelClear(panel, message.area);
  sendToControls(panel);
  windowClearClip(panel->window);
  panel->updateArea = {0, 0, 0, 0};
}

void resize(Panel* panel, const WindowMessage& message) {
  int32_t w = message.area.right - message.area.left, h = message.area.bottom - message.area.top;
  const int32_t askedW = w, askedH = h;
  windowClampSize(&w, &h, panel->minWidth, panel->minHeight, panel->maxWidth, panel->maxHeight);
  if (w != askedW || h != askedH) {
    const WindowRect g = windowGeometry(panel->window);
    windowMoveResize(panel->window, g.left, g.top, w, h);
  }
  panel->width = w;
  panel->height = h;
  panelFrameFit(panel);
  sendToControls(panel);
  panelDraw(panel, kRedrawLayout);
  windowInvalidate(panel->window, {0, 0, w, h});
}

// The window procedure.
void dispatch(Panel* panel, const WindowMessage& message) {
  // A modal panel opened from a handler pumps this window again: keep the outer message.
  const WindowMessage* outer = panel->message;
  const uint32_t outerModifiers = panel->modifiers;
  panel->message = &message;
  panel->modifiers = message.modifiers;
  if (message.source) {
    // A control's own child window: its owner alone sees it, in the child's coordinates.
    auto* owner = static_cast<PanelControl*>(windowUser(message.source));
    if (message.kind == kWindowMouseDown && panel->keyboard) panelSetKeyboard(panel, nullptr);
    if (owner && controlAlive(owner) && controlHead(owner)->ops.message) controlHead(owner)->ops.message(owner);
    panel->message = outer;
    panel->modifiers = outerModifiers;
    return;
  }
  switch (message.kind) {
    case kWindowSize:
      resize(panel, message);
      break;
    case kWindowClose:
      closeOnThread(panel);
      break;
    case kWindowPaint:
      paint(panel, message);
      break;
    case kWindowPosted:
      if (message.wParam)
        reinterpret_cast<void (*)(void*)>(message.wParam)(reinterpret_cast<void*>(message.lParam));
      break;
    case kWindowKeyDown:
      // The host has no window of its own to take the function row, so those keys end here
      // unless the panel keeps them.
      if (windowKeyIsFunction(message.key) && !panel->keepsFunctionKeys) break;
      if (panel->keyboard && EditField_Key(panel->keyboard, panel, message)) break;
      sendToControls(panel);
      break;
    case kWindowMouseDown:
      // A press anywhere but in the field that has the keyboard ends its edit first, so the
      // control pressed sees the value typed.
      if (panel->keyboard) {
        if (EditField_Mouse(panel->keyboard, panel, message)) break;
        panelSetKeyboard(panel, nullptr);
      }
      sendToControls(panel);
      break;
    case kWindowMouseMove:
    case kWindowMouseUp:
      // A selection being dragged keeps the mouse until the release.
      if (panel->keyboard && panel->keyboard->selecting && EditField_Mouse(panel->keyboard, panel, message)) break;
      sendToControls(panel);
      break;
    default:
      sendToControls(panel);
      break;
  }
  panel->message = outer;
  panel->modifiers = outerModifiers;
}

// One idle round: each control's idle, then again while work is left and nothing waits.
void idleRound(Panel* panel) {
  auto runAll = [panel] {
    int32_t work = 0;
    for (PanelControl* c = panel; c; c = controlHead(c)->next)
      if (controlHead(c)->ops.idle) work += controlHead(c)->ops.idle(c);
    if (panel->onIdle) work += panel->onIdle(panel);
    return work;
  };
  int32_t work = runAll();
  while (work > 0 && !windowMessageWaiting(panel->window)) work = runAll();
}

void showFailure(const char* text) { panelShowError(text, kPanelErrorSecondLine); }

ThreadPriority priorityOf(int32_t wish) {
  if (wish == -1) return ThreadPriority::BelowNormal;
  if (wish == -2) return ThreadPriority::Lowest;
  return ThreadPriority::Normal;  // 1 (above normal) is not granted to a plug-in's thread here
}

void panelThreadBody(Panel* panel, unsigned long parentWindow) {
  PanelThread* t = panel->thread;
  threadPanel = panel;
  messageQueueEnsure();
  if (panel->priority != kPanelPriorityLeave) threadSetPriority(priorityOf(panel->priority));

  PlatformWindow* window = nullptr;
  const HostDisplayInfo* info = hostDisplayInfo();
  const int32_t lookFailure = isPanel(panel) ? PanelLook_FromHost(&panel->look, info) : 0;
  if (!isPanel(panel)) {
    showFailure(kPanelErrorHeadMissing);
  } else if (lookFailure == 2) {
    showFailure(kPanelErrorNoDisplayInfo);
  } else if (lookFailure == 3) {
    showFailure(kPanelErrorBadDisplayInfo);
  } else {
    WindowConfig config{};
    config.title = panel->title;
    config.x = panel->x;
    config.y = panel->y;
    config.width = panel->width;
    config.height = panel->height;
    config.minWidth = panel->minWidth;
    config.minHeight = panel->minHeight;
    config.maxWidth = panel->maxWidth;
    config.maxHeight = panel->maxHeight;
    config.parent = parentWindow;
    window = windowCreate(config);
    if (!window) showFailure(kPanelErrorHeadMissing);
  }

  if (window) {
    panel->window = window;
    panelDraw(panel, kRedrawLayout);
    {
      // Published after the first layout, so that whoever learns of the window also sees
      // where the controls are.
      std::lock_guard<std::mutex> hold(t->mutex);
      t->window = window;
    }
    if (t->closeRequested) windowPost(window, WindowMessage{kWindowClose});
    windowShow(window);
    windowRaise(window);
    windowInvalidate(window, {0, 0, panel->width, panel->height});

    while (!t->closing) {
      if (!windowMessageWaiting(window)) {
        idleRound(panel);
        windowFlush(window);
      }
      threadCallsRun();
      WindowMessage message{};
      if (!windowGetMessage(window, &message)) break;
      dispatch(panel, message);
      windowFlush(window);
    }

    for (PanelControl* c = panel; c; c = controlHead(c)->next)
      if (controlHead(c)->ops.takeDown) controlHead(c)->ops.takeDown(c);
    {
      std::lock_guard<std::mutex> hold(t->mutex);
      t->window = nullptr;
    }
    panel->window = nullptr;
    windowDestroy(window);
  }
  threadPanel = nullptr;
  panel->isOpen = 0;
  t->ended = true;
}

// Runs `call` on the window's thread: posted, so it waits its turn behind earlier messages.
bool postCall(Panel* panel, void (*call)(void*), void* data) {
  if (!isPanel(panel) || !panel->thread) return false;
  std::lock_guard<std::mutex> hold(panel->thread->mutex);
  if (!panel->thread->window) return false;
  WindowMessage message{kWindowPosted};
  message.wParam = reinterpret_cast<uintptr_t>(call);
  message.lParam = reinterpret_cast<intptr_t>(data);
  return windowPost(panel->thread->window, message);
}

void showAndRedraw(void* data) {
  auto* panel = static_cast<Panel*>(data);
  if (!panel->window) return;
  windowShow(panel->window);
  windowRaise(panel->window);
  panelDraw(panel, kRedrawLayout);
  windowInvalidate(panel->window, {0, 0, panel->width, panel->height});
}

struct ModalWait {
  Panel* panel;
  Panel* parent;
  int parentGoneSteps;
};

bool modalDone(void* data) {
  auto* wait = static_cast<ModalWait*>(data);
  if (wait->panel->thread->ended) return true;
  if (wait->parent && !wait->parent->isOpen) {
    // The parent went while we were open: close, and give the panel a second to go.
    if (wait->parentGoneSteps == 0) PanelClose(wait->panel);
    if (++wait->parentGoneSteps > kParentGoneSteps) return true;
  }
  return false;
}

// The window of a panel whose thread may be another: read under its thread's lock.
PlatformWindow* windowOf(Panel* panel) {
  if (!panel || !panel->thread) return nullptr;
  std::lock_guard<std::mutex> hold(panel->thread->mutex);
  return panel->thread->window;
}

// Turns the parent's input off for a modal panel above it; true when it was on, so that
// only the panel that turned it off turns it on again.
bool disableParent(Panel* parent) {
  if (!parent || !parent->thread) return false;
  std::lock_guard<std::mutex> hold(parent->thread->mutex);
  PlatformWindow* w = parent->thread->window;
  if (!w || !windowIsEnabled(w)) return false;
  windowSetEnabled(w, false);
  return true;
}

void enableParent(Panel* parent) {
  std::lock_guard<std::mutex> hold(parent->thread->mutex);
  if (parent->thread->window) windowSetEnabled(parent->thread->window, true);
}

void raiseParent(void* data) {
  auto* parent = static_cast<Panel*>(data);
  if (parent->window) windowRaise(parent->window);
}

}  // namespace

void panelShowError(const char* first, const char* second) {
  if (!globalServices.messages || !globalServices.messages->error) return;
  try {
    globalServices.messages->error(first, second);
  } catch (...) {
  }
}

Panel* PanelCreate(const char* title, void* user, uint32_t identity) {
  Panel* panel = controlNew<Panel>(nullptr, "Panel");
  if (!panel) return nullptr;
  panel->thread = new (std::nothrow) PanelThread;
  if (!panel->thread) {
    ControlDestroy(panel);
    return nullptr;
  }
  PanelControlHead* head = controlHead(panel);
  head->panel = panel;
  head->kind = kControlKindPanel;
  head->ops.draw = panelDrawOp;
  head->ops.message = panelMessageOp;
  head->ops.destroy = destroyPanelOp;
  panel->x = panel->y = -1;
  panel->width = kDefaultWidth;
  panel->height = kDefaultHeight;
  panel->minWidth = kPanelDefaultMinWidth;
  panel->minHeight = kPanelDefaultMinHeight;
  panel->maxWidth = kPanelDefaultMaxWidth;
  panel->maxHeight = kPanelDefaultMaxHeight;
  copyText(panel->title, sizeof panel->title, title);
  copyText(panel->instanceName, sizeof panel->instanceName, title);
  copyText(panel->closeLabel, sizeof panel->closeLabel, kDefaultCloseLabel);
  copyText(panel->typeName, sizeof panel->typeName, title);
  panel->version = 1.0;
  panel->options = kPanelShowTitle | kPanelCloseButton | kPanelTitleImage;
  PanelLook_Default(&panel->look);
  panel->user = user;
  panel->identity = identity;
  return panel;
}

int32_t PanelOpen(Panel* panel, Panel* parent) {
  if (!isPanel(panel)) return -1;
  if (panel->isOpen) {
    postCall(panel, showAndRedraw, panel);
    return 0;
  }
  PanelThread* t = panel->thread;
  if (t->thread.joinable()) t->thread.join();  // the last opening's thread has ended
  const bool modal = !(panel->options & kPanelNonModal);
  panel->parent = isPanel(parent) ? parent : nullptr;
  unsigned long parentWindow = 0;
  if (modal) {
    if (PlatformWindow* parentOwn = windowOf(panel->parent)) {
      parentWindow = windowXId(parentOwn);
    } else if (const HostDisplayInfo* info = hostDisplayInfo()) {
      parentWindow = info->window;
    }
  }
  panel->result = kPanelResultCancel;
  t->closing = false;
  t->closeRequested = false;
  t->ended = false;
  panel->isOpen = 1;
  try {
    t->thread = threadStart([panel, parentWindow] { panelThreadBody(panel, parentWindow); });
  } catch (...) {
    panel->isOpen = 0;
    t->ended = true;
    return -1;
  }
  if (!modal) return 0;

  Panel* caller = panel->parent;
  const bool parentWasEnabled = disableParent(caller);
  Panel* outerChild = caller ? caller->modalChild.exchange(panel) : nullptr;
  ModalWait wait{panel, caller, 0};
  panelPumpUntil(modalDone, &wait);
  if (caller) caller->modalChild = outerChild;
  if (t->ended && t->thread.joinable()) t->thread.join();
  if (parentWasEnabled) enableParent(caller);
  if (caller) {
    if (threadPanel == caller) raiseParent(caller);
    else postCall(caller, raiseParent, caller);
  }
  return panel->result;
}

void PanelClose(Panel* panel) {
  if (!isPanel(panel) || !panel->thread) return;
  PanelThread* t = panel->thread;
  std::lock_guard<std::mutex> hold(t->mutex);
  t->closeRequested = true;
  if (t->window) windowPost(t->window, WindowMessage{kWindowClose});
}

void panelEnd(Panel* panel, int32_t result) {
  if (!isPanel(panel)) return;
  panel->result = result;
  if (threadPanel == panel) closeOnThread(panel);
  else PanelClose(panel);
}

void PanelJoin(Panel* panel) {
  if (!isPanel(panel)) return;
  PanelThread* t = panel->thread;
  if (panel->isOpen) PanelClose(panel);
  if (t->thread.joinable()) {
    if (t->thread.get_id() == std::this_thread::get_id()) t->thread.detach();
    else t->thread.join();
  }
}

void PanelDestroy(Panel* panel) {
  if (!isPanel(panel)) return;
  PanelJoin(panel);
  // Controls first, from the front, so labels made by their owners go with them.
  while (PanelControl* first = controlHead(panel)->next) ControlDestroy(first);
  ControlDestroy(panel);
}

int32_t panelDraw(Panel* panel, int32_t flags) {
  if (!isPanel(panel)) return 0;
  if (!panel->frameBuilt) {
    panel->frameBuilt = 1;
    if (panel->onOpen) panel->onOpen(panel);
    panelFrameBuild(panel);
  }
  if ((flags & kRedrawPaint) && panel->window) panelClear(panel, {0, 0, panel->width, panel->height});
  PanelControl* frame[] = {panel->inset,       panel->topSeparator, panel->titleBitmap, panel->titleText,
                           panel->bottomSeparator, panel->closeButton, panel->cancelButton, panel->saveButton,
                           panel->loadButton,  panel->cutPaste};
  for (PanelControl* c : frame)
    if (c) ControlRedraw(c, flags);
  for (PanelControl* c = controlHead(panel)->next; c; c = controlHead(c)->next) {
    bool inFrame = false;
    for (PanelControl* f : frame) inFrame |= f == c;
    if (!inFrame) ControlRedraw(c, flags);
  }
  return 0;
}

bool panelPost(Panel* panel, void (*call)(void* data), void* data) { return postCall(panel, call, data); }

unsigned long panelXWindow(Panel* panel) {
  PlatformWindow* window = windowOf(panel);
  return window ? windowXId(window) : 0;
}

void panelPumpUntil(bool (*done)(void* data), void* data) {
  Panel* own = threadPanel;
  while (!done(data)) {
    threadCallsRun();
    if (own && own->window) {
      WindowMessage message{};
      if (windowWaitMessage(own->window, &message, kPumpStepMs)) {
        dispatch(own, message);
        windowFlush(own->window);
      }
    } else {
      threadSleep(kPumpStepMs);
    }
  }
}

const char* panelCopy(Panel* to, const Panel* from) {
  if (!isPanel(to) || !isPanel(from)) return kPanelCopyFailed;
  auto nextSaved = [](const PanelControl* c) {
    while (c && !controlHead(c)->saved) c = controlHead(c)->next;
    return c;
  };
  const PanelControl* source = nextSaved(controlHead(from)->next);
  PanelControl* target = const_cast<PanelControl*>(nextSaved(controlHead(to)->next));
  while (source && target) {
    if (controlHead(target)->ops.copy) controlHead(target)->ops.copy(target, source);
    source = nextSaved(controlHead(source)->next);
    target = const_cast<PanelControl*>(nextSaved(controlHead(target)->next));
  }
  return source || target ? kPanelCopyFailed : nullptr;
}

void panelPrepareSave(Panel* panel) {
  if (!isPanel(panel) || !panel->justLoaded) return;
  panel->justLoaded = 0;
  for (PanelControl* c = controlHead(panel)->next; c; c = controlHead(c)->next)
    if (controlHead(c)->ops.afterLoad) controlHead(c)->ops.afterLoad(c);
}
