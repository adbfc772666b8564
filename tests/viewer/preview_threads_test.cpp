// The panel's thread (input, resizes), the engine's (layers, refinement) and the display
// thread of a preview together, on a real X server with Mesa's OpenGL.
#include <gtest/gtest.h>

#include <string>

#include "../toolkit/panel_probe.h"
#include "platform/window.h"
#include "support/eventually.h"
#include "support/shading_world.h"
#include "support/x_server.h"
#include "toolkit/panel.h"
#include "viewer/tile_engine.h"
#include "viewer/view_control.h"
#include "viewer/viewer_panel.h"

namespace {

class GuiEnvironment : public testx::XServerEnvironment {
 public:
  void SetUp() override {
    windowSystemInit();  // before any X call of the process
    XServerEnvironment::SetUp();
  }
};
[[maybe_unused]] auto* const environment = ::testing::AddGlobalTestEnvironment(new GuiEnvironment);

constexpr int kViewX = 5, kViewY = 24;

}  // namespace

namespace {

// The panel's thread (input, resizes), the engine's (layers, refinement) and the display
// thread together: pans, zooms and resizes arrive while the refinement runs. Small enough to
// run under ThreadSanitizer.
TEST(PreviewThreads, PansZoomsAndResizesWhileRefining) {
  shadetest::loadRuntimeOnce();
  shadetest::ShadingWorld world;
  world.addObject(shadetest::planeModel(8.0f), "Floor", {0, -1, 0});
  world.addObject(shadetest::sphereModel(0.8f), "Ball", {0, 0, 4});
  world.addLight(host::LightKind::Distant, "Sun", {0, 0, 0}, {0.4, 0.7, 0});
  world.addCamera("Camera");
  world.start();
  Panel* panel = PanelCreate("Ombrel", nullptr, 14);
  panel->options |= kPanelNonModal;
  panel->x = panel->y = 20;
  panel->width = 170;
  panel->height = 150;
  ViewControl* view = viewCreate("CTW", kViewX, kViewY, panel);
  ASSERT_NE(view, nullptr);
  viewResize(view, 160, 120);
  ASSERT_EQ(PanelOpen(panel, nullptr), 0);
  ASSERT_TRUE(testwait::eventually([&] { return panelXWindow(panel) != 0; }));
  ViewerPanel* viewer = viewerOpenOnCapture(world.capture(), view, 160, 120);
  ASSERT_NE(viewer, nullptr);
  int ox = 0, oy = 0;
  ASSERT_TRUE(testx::windowOrigin(panelXWindow(panel), &ox, &oy));
  const int cx = ox + kViewX + 80, cy = oy + kViewY + 60;

  for (int round = 0; round < 4; ++round) {
    ASSERT_TRUE(testwait::eventually([&] { return viewer->refine.refineActive.load() == 1; }, 60000)) << round;
    const std::string from = std::to_string(cx), to = std::to_string(cx + 15 + round), y = std::to_string(cy);
    // A pan, a Ctrl-drag zoom and two wheel notches through the X server, as a hand would.
    ASSERT_TRUE(testx::xdotool({"mousemove", from, y, "mousedown", "1", "mousemove", to, y, "mouseup", "1"}));
    ASSERT_TRUE(testx::xdotool({"mousemove", from, y, "keydown", "ctrl", "mousedown", "1", "mousemove", to, y,
                                "mouseup", "1", "keyup", "ctrl"}));
    ASSERT_TRUE(testx::xdotool({"click", "--repeat", "2", round % 2 ? "4" : "5"}));
    // A resize as the panel makes it: under the gate, from the panel's thread.
    const int32_t width = round % 2 ? 160 : 140, height = round % 2 ? 120 : 100;
    ASSERT_TRUE(panelprobe::onPanelThread(panel, [&] {
      engineLock(viewer->engine);
      viewResize(view, width, height);
      engineUnlock(viewer->engine);
    }));
    ASSERT_TRUE(testwait::eventually([&] { return viewer->refine.width * viewer->refine.height == width * height; },
                                     60000)) << round;
  }
  viewerCloseOnCapture(viewer);
  panelprobe::closeAndWait(panel);
  PanelDestroy(panel);
}

}  // namespace
