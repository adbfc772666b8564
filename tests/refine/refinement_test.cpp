// The refinement as the idle work of a running preview engine: it starts when the layers are
// done, climbs in quality, stops at once for new layer work and starts over from an empty
// array, and a pause (the gate held) only holds it.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <thread>

#include "runtime/locks.h"
#include "support/eventually.h"
#include "support/shading_world.h"
#include "viewer/tile_engine.h"
#include "viewer/view_control.h"
#include "viewer/viewer_panel.h"

namespace {

class Refinement : public ::testing::Test {
 protected:
  void SetUp() override {
    unsetenv("DISPLAY");
    shadetest::loadRuntimeOnce();
    shadetest::addBallOnFloor(world);
    world.start();
    viewer = viewerOpenOnCapture(world.capture(), nullptr, 40, 30);
    ASSERT_NE(viewer, nullptr);
  }
  void TearDown() override { viewerCloseOnCapture(viewer); }

  // Every pixel's samples, read while the gate holds the engine's thread.
  uint64_t samplesTaken() {
    engineLock(viewer->engine);
    uint64_t total = 0;
    const RefineState& s = viewer->refine;
    if (s.pixels)
      for (int32_t i = 0; i < s.width * s.height; ++i) total += s.pixels[i].sampleCount;
    engineUnlock(viewer->engine);
    return total;
  }

  bool qualityReaches(int32_t q) {
    return testwait::eventually([&] { return viewer->refine.quality.load() >= q; }, 60000);
  }

  shadetest::ShadingWorld world;
  ViewerPanel* viewer = nullptr;
};

TEST_F(Refinement, ClimbsAndShowsItsPicture) {
  ASSERT_TRUE(qualityReaches(4));
  EXPECT_EQ(viewer->refine.refineActive.load(), 1);
  engineLock(viewer->engine);
  EXPECT_EQ(viewer->refine.width, 40);
  EXPECT_EQ(viewer->refine.height, 30);
  simpleLockEnter(viewer->view->viewLock);
  EXPECT_EQ(viewer->view->image, viewer->refine.display);
  simpleLockLeave(viewer->view->viewLock);
  engineUnlock(viewer->engine);
  EXPECT_GT(samplesTaken(), 0u);
}

TEST_F(Refinement, NewLayerWorkStopsItAtOnceAndItStartsOverEmpty) {
  ASSERT_TRUE(qualityReaches(8));
  engineLock(viewer->engine);
  uint64_t before = 0;
  for (int32_t i = 0; i < viewer->refine.width * viewer->refine.height; ++i)
    before += viewer->refine.pixels[i].sampleCount;
  engineInvalidate(viewer->engine, kLayerUnlit);
  engineUnlock(viewer->engine);
  // Not one more sample after the invalidation: the poll before each pixel sees the work (or
  // the next run has already emptied the array).
  EXPECT_LE(samplesTaken(), before);
  // The next run starts from an empty array, well below where the last one stood.
  EXPECT_TRUE(testwait::eventually([&] { return samplesTaken() < before / 2; }));
  ASSERT_TRUE(qualityReaches(2));
}

TEST_F(Refinement, PauseHoldsItAndItGoesOnFromTheSamePixel) {
  ASSERT_TRUE(qualityReaches(3));
  engineLock(viewer->engine);  // what the "Pause" button does
  const int32_t quality = viewer->refine.quality.load();
  uint64_t held = 0;
  for (int32_t i = 0; i < viewer->refine.width * viewer->refine.height; ++i)
    held += viewer->refine.pixels[i].sampleCount;
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  uint64_t still = 0;
  for (int32_t i = 0; i < viewer->refine.width * viewer->refine.height; ++i)
    still += viewer->refine.pixels[i].sampleCount;
  EXPECT_EQ(still, held);
  EXPECT_EQ(viewer->refine.quality.load(), quality);
  engineUnlock(viewer->engine);
  // Released, the same run goes on: the samples only grow, and the quality never fell to -1.
  ASSERT_TRUE(qualityReaches(quality + 2));
  EXPECT_GT(samplesTaken(), held);
  EXPECT_EQ(viewer->refine.refineActive.load(), 1);
}

}  // namespace
