// The panel's thread (input, resizes), the engine's (layers, refinement) and the display
// thread of a preview together, on a real X server with Mesa's OpenGL; small scenes, so that
// they also run under ThreadSanitizer.
#include <gtest/gtest.h>

#include <string>

#include "support/eventually.h"
#include "support/preview_window.h"
#include "support/shading_world.h"
#include "support/x_server.h"
#include "viewer/tile_engine.h"

namespace {

[[maybe_unused]] auto* const environment = ::testing::AddGlobalTestEnvironment(new previewtest::GuiEnvironment);

// Pans, zooms and resizes arrive while the refinement runs.
TEST(PreviewThreads, PansZoomsAndResizesWhileRefining) {
  shadetest::loadRuntimeOnce();
  shadetest::ShadingWorld world;
  shadetest::addBallOnFloor(world);
  world.start();
  previewtest::PreviewWindow preview(world.capture(), 160, 120);
  ASSERT_TRUE(preview.ok());
  ViewerPanel* viewer = preview.viewer();
  int cx = 0, cy = 0;
  ASSERT_TRUE(preview.screenPoint(80, 60, &cx, &cy));

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
    ASSERT_TRUE(panelprobe::onPanelThread(preview.panel(), [&] {
      engineLock(viewer->engine);
      viewResize(preview.view(), width, height);
      engineUnlock(viewer->engine);
    }));
    // The refinement's arrays belong to the engine's thread: read them with it held.
    ASSERT_TRUE(testwait::eventually(
        [&] {
          engineLock(viewer->engine);
          const bool resized = viewer->refine.width * viewer->refine.height == width * height;
          engineUnlock(viewer->engine);
          return resized;
        },
        60000))
        << round;
  }
}

bool red(uint32_t c) { return ((c >> 16) & 255) >= 240 && ((c >> 8) & 255) <= 15; }

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
  previewtest::PreviewWindow preview(world.capture(), 80, 60);
  ASSERT_TRUE(preview.ok());
  ViewerPanel* viewer = preview.viewer();
  ASSERT_NE(viewer->overlayFog, nullptr);
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
  uint32_t c = preview.grab("", 2).at(40, 30);
  EXPECT_TRUE(red(c)) << std::hex << c;

  // A drag of one pixel shows the layers.
  int x = 0, y = 0;
  ASSERT_TRUE(preview.screenPoint(40, 30, &x, &y));
  ASSERT_TRUE(testx::xdotool({"mousemove", std::to_string(x), std::to_string(y), "mousedown", "1", "mousemove",
                              std::to_string(x), std::to_string(y + 1), "mouseup", "1"}));
  ASSERT_TRUE(testwait::eventually([&] { return !preview.showsImage(); }));
  c = preview.grab("", 2).at(40, 30);
  EXPECT_TRUE(red(c)) << std::hex << c;
}

}  // namespace
