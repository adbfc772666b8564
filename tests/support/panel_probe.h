#pragma once
// What a GUI test asks of an open panel, and its clicks on a control. Controls belong to the
// panel's thread, so the test asks that thread through panelPost instead of reading them
// while it may be laying them out.
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <string>
#include <vector>

#include "support/eventually.h"
#include "support/x_server.h"
#include "toolkit/panel.h"

namespace panelprobe {

// Runs `call` on the panel's thread and waits for it; false when the panel is not open.
inline bool onPanelThread(Panel* panel, const std::function<void()>& call) {
  struct Ask {
    const std::function<void()>* call;
    std::atomic<bool> done{false};
  } ask{&call};
  auto run = [](void* data) {
    auto* a = static_cast<Ask*>(data);
    (*a->call)();
    a->done = true;
  };
  if (!panelPost(panel, run, &ask)) return false;
  return testwait::eventually([&] { return ask.done.load(); });
}

// A control of an open panel by name, looked up on its thread (labels come and go there).
inline PanelControl* findOn(Panel* panel, const char* name) {
  PanelControl* found = nullptr;
  if (!onPanelThread(panel, [&] { found = controlFind(panel, name); })) return nullptr;
  return found;
}

// Where a control is drawn, as the panel's thread sees it.
inline bool areaOf(Panel* panel, PanelControl* control, WindowRect* out) {
  struct Ask {
    PanelControl* control;
    WindowRect area;
    std::atomic<bool> done{false};
  } ask{control, {}};
  auto answer = [](void* data) {
    auto* a = static_cast<Ask*>(data);
    const PanelControlHead* head = controlHead(a->control);
    a->area = {head->left, head->top, head->right, head->bottom};
    a->done = true;
  };
  if (!panelPost(panel, answer, &ask)) return false;
  if (!testwait::eventually([&] { return ask.done.load(); })) return false;
  *out = ask.area;
  return true;
}

// The screen place of a point of the control: `dx` from its left (its middle when negative),
// at its middle height.
inline ::testing::AssertionResult screenPoint(Panel* panel, PanelControl* control, int* x, int* y, int dx = -1) {
  if (!control) return ::testing::AssertionFailure() << "no such control";
  int ox = 0, oy = 0;
  auto origin = testx::windowOrigin(panelXWindow(panel), &ox, &oy);
  if (!origin) return origin;
  WindowRect area{};
  if (!areaOf(panel, control, &area)) return ::testing::AssertionFailure() << "the panel did not answer";
  if (area.left == -1) return ::testing::AssertionFailure() << controlName(control) << " is not drawn";
  *x = ox + (dx >= 0 ? area.left + dx : (area.left + area.right) / 2);
  *y = oy + (area.top + area.bottom) / 2;
  return ::testing::AssertionSuccess();
}

inline ::testing::AssertionResult clickOn(Panel* panel, PanelControl* control,
                                          const std::vector<std::string>& held = {}, int dx = -1) {
  int x = 0, y = 0;
  auto at = screenPoint(panel, control, &x, &y, dx);
  if (!at) return at;
  return testx::click(x, y, 1, held);
}

inline bool closeAndWait(Panel* panel) {
  PanelClose(panel);
  return testwait::eventually([&] { return panel->isOpen == 0; });
}

}  // namespace panelprobe
