#pragma once
// A preview as the GUI tests open it: a panel with a view at the viewer's place, the engine,
// layers and refinement of a capture shown in it, and the screen's pixels of the view. Also
// the test environment of such programs. Header-only: the test links the viewer, the toolkit
// and tests/support's X server.
#include <gtest/gtest.h>

#include <dlfcn.h>
#include <stdlib.h>

#include <algorithm>
#include <string>

#include "support/panel_probe.h"
#include "platform/window.h"
#include "runtime/locks.h"
#include "support/eventually.h"
#include "support/x_server.h"
#include "toolkit/panel.h"
#include "viewer/view_control.h"
#include "viewer/viewer_panel.h"

namespace previewtest {

// The private X server, started after the windows' own set-up. Mesa's software OpenGL draws
// on the calling thread: its own worker threads share state that ThreadSanitizer cannot see
// them guard (the driver is not built for it), and a small test machine gains nothing from them.
// Its driver stays loaded to the end, so that the leak checker can name it (an unloaded
// library's frames have no name to match).
class GuiEnvironment : public testx::XServerEnvironment {
 public:
  void SetUp() override {
    setenv("LP_NUM_THREADS", "0", 1);
    dlopen("/usr/lib/x86_64-linux-gnu/dri/swrast_dri.so", RTLD_LAZY | RTLD_LOCAL | RTLD_NODELETE);
    windowSystemInit();  // before any X call of the process
    XServerEnvironment::SetUp();
  }
};

inline constexpr int kViewX = 5, kViewY = 24;

class PreviewWindow {
 public:
  // Opens the panel and starts the preview; check ok() after.
  PreviewWindow(SceneCapture* capture, int width, int height) {
    panel_ = PanelCreate("Ombrel", nullptr, 13);
    if (!panel_) return;
    panel_->options |= kPanelNonModal;
    panel_->x = panel_->y = 20;
    panel_->width = width + 10;
    panel_->height = height + 30;
    view_ = viewCreate("CTW", kViewX, kViewY, panel_);
    if (!view_) return;
    viewResize(view_, width, height);
    if (PanelOpen(panel_, nullptr) != 0 || !testwait::eventually([&] { return panelXWindow(panel_) != 0; })) return;
    viewer_ = viewerOpenOnCapture(capture, view_, width, height);
  }
  ~PreviewWindow() {
    viewerCloseOnCapture(viewer_);
    if (panel_) {
      panelprobe::closeAndWait(panel_);
      PanelDestroy(panel_);
    }
  }
  PreviewWindow(const PreviewWindow&) = delete;
  PreviewWindow& operator=(const PreviewWindow&) = delete;

  bool ok() const { return viewer_ != nullptr; }
  Panel* panel() const { return panel_; }
  ViewControl* view() const { return view_; }
  ViewerPanel* viewer() const { return viewer_; }

  // Whether the view shows the refinement's image (else the layers), as its threads see it.
  bool showsImage() const {
    simpleLockEnter(view_->viewLock);
    const bool shown = view_->image != nullptr;
    simpleLockLeave(view_->viewLock);
    return shown;
  }

  // The screen place of a pixel of the view.
  bool screenPoint(int x, int y, int* sx, int* sy) const {
    int ox = 0, oy = 0;
    if (!testx::windowOrigin(panelXWindow(panel_), &ox, &oy)) return false;
    *sx = ox + kViewX + x;
    *sy = oy + kViewY + y;
    return true;
  }

  // The view's pixels as the screen shows them once `frames` more frames were drawn (rows top
  // down); with a name, the whole screen is saved there too.
  testx::Pixels grab(const std::string& screenshot = "", uint32_t frames = 1) const {
    const uint32_t drawn = view_->drawCount.load();
    EXPECT_TRUE(testwait::eventually([&] { return view_->drawCount.load() >= drawn + frames; }));
    testx::Pixels window, out;
    EXPECT_TRUE(testx::windowPixels(panelXWindow(panel_), &window));
    if (!screenshot.empty()) EXPECT_TRUE(testx::screenshot(screenshot));
    out.width = view_->viewWidth;
    out.height = view_->viewHeight;
    for (int y = 0; y < out.height; ++y)
      for (int x = 0; x < out.width; ++x)
        out.rgb.push_back(x + kViewX < window.width && y + kViewY < window.height ? window.at(kViewX + x, kViewY + y)
                                                                                  : 0u);
    return out;
  }

 private:
  Panel* panel_ = nullptr;
  ViewControl* view_ = nullptr;
  ViewerPanel* viewer_ = nullptr;
};

}  // namespace previewtest
