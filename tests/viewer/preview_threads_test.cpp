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

namespace {

// A far white wall in thick red fog is red: in the refined picture, and in the layers, where
// the card multiplies by what the fog leaves (nothing) and adds the fog's colour.
TEST(PreviewThreads, FogMultipliesAndAddsOnTheCard) {
  shadetest::loadRuntimeOnce();
  shadetest::ShadingWorld world;
  world.addObject(shadetest::boxModel({0, 0, 0}, {40, 40, 1}), "Wall", {0, 0, 30});
  world.addLight(host::LightKind::Distant, "Sun", {0, 0, 0}, {0, 0, 0});
  world.addCamera("Camera");
  host::Fog& fog = world.scene().fog;
  fog.type = 1;
  fog.minDistance = 1.0;
  fog.maxDistance = 5.0;
  fog.minAmount = 1.0;
  fog.maxAmount = 1.0;
  fog.color = {1.0, 0.0, 0.0};
  world.start();
  Panel* panel = PanelCreate("Ombrel", nullptr, 15);
  panel->options |= kPanelNonModal;
  panel->x = panel->y = 20;
  panel->width = 90;
  panel->height = 90;
  ViewControl* view = viewCreate("CTW", kViewX, kViewY, panel);
  ASSERT_NE(view, nullptr);
  viewResize(view, 80, 60);
  ASSERT_EQ(PanelOpen(panel, nullptr), 0);
  ASSERT_TRUE(testwait::eventually([&] { return panelXWindow(panel) != 0; }));
  ViewerPanel* viewer = viewerOpenOnCapture(world.capture(), view, 80, 60);
  ASSERT_NE(viewer, nullptr);
  ASSERT_NE(viewer->overlayFog, nullptr);

  const auto centre = [&] {
    const uint32_t drawn = view->drawCount.load();
    EXPECT_TRUE(testwait::eventually([&] { return view->drawCount.load() > drawn + 1; }));
    testx::Pixels pixels;
    EXPECT_TRUE(testx::windowPixels(panelXWindow(panel), &pixels));
    return pixels.width ? pixels.at(kViewX + 40, kViewY + 30) : 0u;
  };
  ASSERT_TRUE(testwait::eventually([&] { return viewer->refine.quality.load() >= 3; }, 60000));
  // Under the fog the wall is lit: the multiply has something to take away.
  int32_t lit = 0;
  engineLockImages(viewer->engine);
  for (int32_t layer : {kLayerUnlit, kLayerLightsFixed, kLayerLightsChanged}) {
    int32_t n = 0;
    EngineRect r{};
    const uint8_t* cells = engineGetLayerImage(viewer->engine, layer, &n, nullptr, &r, nullptr);
    const int32_t col = int32_t(-r.left / (r.right - r.left) * n), row = int32_t(-r.bottom / (r.top - r.bottom) * n);
    if (cells) lit += cells[(size_t(row) * n + col) * 4 + 1];
  }
  engineUnlockImages(viewer->engine);
  EXPECT_GT(lit, 100);
  uint32_t c = centre();
  EXPECT_GE((c >> 16) & 255, 240u) << std::hex << c;
  EXPECT_LE((c >> 8) & 255, 15u) << std::hex << c;

  int ox = 0, oy = 0;
  ASSERT_TRUE(testx::windowOrigin(panelXWindow(panel), &ox, &oy));
  const std::string x = std::to_string(ox + kViewX + 40), y = std::to_string(oy + kViewY + 30);
  ASSERT_TRUE(testx::xdotool({"mousemove", x, y, "mousedown", "1", "mousemove", x, std::to_string(oy + kViewY + 31),
                              "mouseup", "1"}));
  ASSERT_TRUE(testwait::eventually([&] { return view->image == nullptr; }));
  c = centre();
  EXPECT_GE((c >> 16) & 255, 240u) << std::hex << c;
  EXPECT_LE((c >> 8) & 255, 15u) << std::hex << c;

  viewerCloseOnCapture(viewer);
  panelprobe::closeAndWait(panel);
  PanelDestroy(panel);
}

}  // namespace
