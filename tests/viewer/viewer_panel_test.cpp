// A preview's own rules: the first size of its view and "Full Size" by the frame, where
// successive previews open, and which layers start over when lights move or fog comes,
// counted through the engine's stamps.
#include <gtest/gtest.h>

#include <cstdlib>

#include "support/eventually.h"
#include "support/shading_world.h"
#include "viewer/tile_engine.h"
#include "viewer/view_control.h"
#include "viewer/viewer_panel.h"

namespace {

TEST(ViewerSizes, FirstViewAndFullSizeFollowTheFrame) {
  const int frames[][4] = {{100, 50, 300, 150}, {640, 480, 320, 240}, {4000, 200, 444, 22}, {400, 2000, 400, 500},
                           {20000, 100, 952, 10}};
  for (const auto& f : frames) {
    int32_t w = 0, h = 0;
    viewerInitialSize(f[0], f[1], &w, &h);
    EXPECT_EQ(w, f[2]) << f[0] << " x " << f[1];
    EXPECT_EQ(h, f[3]) << f[0] << " x " << f[1];
  }
  int32_t w = 0, h = 0;
  EXPECT_EQ(viewerFullSizeDivisor(5000, 3000, &w, &h), 5);
  EXPECT_EQ(w, 1000);
  EXPECT_EQ(h, 600);
  EXPECT_EQ(viewerFullSizeDivisor(640, 480, &w, &h), 1);
  EXPECT_EQ(w, 640);
  int32_t dx = 0, dy = 0, offsets[4][2];
  for (int n = 0; n < 4; ++n) {
    viewerPlacement(n, &dx, &dy);
    offsets[n][0] = dx;
    offsets[n][1] = dy;
  }
  EXPECT_EQ(offsets[0][0], -152);
  EXPECT_EQ(offsets[1][0], 153);
  EXPECT_EQ(offsets[1][1], -152);
  EXPECT_EQ(offsets[2][1], 153);
  EXPECT_EQ(offsets[3][0], 153);
}

class ViewerLayers : public ::testing::Test {
 protected:
  void SetUp() override {
    unsetenv("DISPLAY");
    shadetest::loadRuntimeOnce();
    shadetest::addBallOnFloor(world);
    lamp = world.addLight(host::LightKind::Point, "Lamp", {1, 2, 2});
    world.scene().render.traceShadows = true;
    world.start();
    viewer = viewerOpenOnCapture(world.capture(), nullptr, 40, 30);
    ASSERT_NE(viewer, nullptr);
  }
  void TearDown() override { viewerCloseOnCapture(viewer); }

  // Every layer's stamp, once the engine has nothing left to do.
  std::vector<int> stamps() {
    EXPECT_TRUE(testwait::eventually([&] { return viewer->refine.refineActive.load() == 1; }, 60000));
    std::vector<int> out;
    engineLockImages(viewer->engine);
    for (int32_t id = 1; id <= 8; ++id) {
      uint8_t generation = 0;
      out.push_back(engineGetLayerImage(viewer->engine, id, nullptr, nullptr, nullptr, &generation) ? generation : -1);
    }
    engineUnlockImages(viewer->engine);
    return out;
  }

  void moveLamp(double x) {
    world.scene().items[size_t(lamp)].setPosition({x, 2, 2});
    world.host().sceneChanged();
    viewerCheckLights(viewer);
  }

  shadetest::ShadingWorld world;
  int lamp = 0;
  ViewerPanel* viewer = nullptr;
};

TEST_F(ViewerLayers, AMovedLightRedoesItsLayerAndTheBounceOnly) {
  const std::vector<int> first = stamps();
  // Nothing moved: nothing starts over.
  viewerCheckLights(viewer);
  EXPECT_EQ(stamps(), first);
  // The lamp moves: it alone is in layer 6, and the sun goes to layer 5.
  moveLamp(1.5);
  const std::vector<int> second = stamps();
  ASSERT_EQ(viewer->lightsChanged, viewer->lights->next);
  EXPECT_EQ(viewer->lightsChanged->nextInGroup, nullptr);
  EXPECT_EQ(viewer->lightsFixed, viewer->lights);
  // It moves again: layers 6 and 4 start over, layer 5 keeps its cells, and so do the rest.
  moveLamp(0.5);
  const std::vector<int> third = stamps();
  for (int32_t id = 1; id <= 8; ++id) {
    const bool redone = id == kLayerLightsChanged || id == kLayerBounce;
    EXPECT_EQ(third[size_t(id - 1)] != second[size_t(id - 1)], redone) << "layer " << id;
  }
}

TEST_F(ViewerLayers, NewFogAddsItsLayersWhileTheOthersKeepTheirCells) {
  const std::vector<int> before = stamps();
  EXPECT_EQ(before[kLayerFogKeep - 1], -1);
  EXPECT_EQ(viewer->overlayFog, nullptr);
  world.scene().fog.type = 1;
  world.host().sceneChanged();
  engineLock(viewer->engine);
  viewerCheckEnvironment(viewer);
  engineUnlock(viewer->engine);
  ASSERT_NE(viewer->overlayFog, nullptr);
  const std::vector<int> after = stamps();
  EXPECT_NE(after[kLayerFogKeep - 1], -1);
  EXPECT_NE(after[kLayerFogColour - 1], -1);
  for (int32_t id : {kLayerHit, kLayerSurface, kLayerUnlit, kLayerLightsFixed, kLayerLightsChanged})
    EXPECT_EQ(after[size_t(id - 1)], before[size_t(id - 1)]) << "layer " << id;
  // The bounce carries fog in its rays: it starts over.
  EXPECT_NE(after[kLayerBounce - 1], before[kLayerBounce - 1]);
  // And fog that goes takes its layers with it.
  world.scene().fog.type = 0;
  world.host().sceneChanged();
  engineLock(viewer->engine);
  viewerCheckEnvironment(viewer);
  engineUnlock(viewer->engine);
  EXPECT_EQ(viewer->overlayFog, nullptr);
  EXPECT_EQ(stamps()[kLayerFogKeep - 1], -1);
}

}  // namespace
