#pragma once
// The display thread of a ViewControl: its own X connection, a GL window of a GLX visual
// filling the view's child window, the context, and every OpenGL call: texture uploads from
// the engine's layers or the attached image, and the drawing. Without a window to draw in
// (headless) the thread runs the same rounds without X or GL, so waits and the zoom's
// delayed report to the engine behave as with a window.
#include <cstdint>

#include "runtime/locks.h"
#include "viewer/view_control.h"

// Holds a view's lock for a scope.
class ViewLockGuard {
 public:
  explicit ViewLockGuard(ViewControl* view) : view_(view) { simpleLockEnter(view_->viewLock); }
  ~ViewLockGuard() { simpleLockLeave(view_->viewLock); }
  ViewLockGuard(const ViewLockGuard&) = delete;
  ViewLockGuard& operator=(const ViewLockGuard&) = delete;

 private:
  ViewControl* view_;
};

// Starts the thread; `parentWindow` is the X id of the view's child window, 0 headless.
// False when the thread's record cannot be made.
bool viewDisplayStart(ViewControl* view, unsigned long parentWindow);
// Asks the thread to end and waits up to 400 ms for it; frees its record once it has ended.
void viewDisplayStop(ViewControl* view);
// Asks the thread for a drawing now (a no-op before the view's event exists).
void viewDisplayWake(ViewControl* view);
// Passes the view's rectangle, within its limits, to the engine.
void viewReportRect(ViewControl* view);
