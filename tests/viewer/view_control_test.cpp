// The view control without a window: its rectangle, size and limits, what reaches the engine,
// the pan, zoom and wheel numbers, the queue of textures to delete, and a view whose upload
// buffer could not be had.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

#include "runtime/memory.h"
#include "toolkit/panel_control.h"
#include "viewer/tile_engine.h"
#include "viewer/view_control.h"

namespace {

class View : public ::testing::Test {
 protected:
  void SetUp() override {
    unsetenv("DISPLAY");
    engine = engineCreate();
    view = viewCreate("CTW", 5, 24, nullptr);
    ASSERT_NE(view, nullptr);
    viewSetEngine(view, engine);
  }
  void TearDown() override {
    ControlDestroy(view);
    engineDestroy(engine);
  }
  // What the engine was last told to follow.
  EngineRect told() const { return engine->viewRect; }

  TileEngine* engine = nullptr;
  ViewControl* view = nullptr;
};

void expectRect(const ViewRect& r, double left, double right, double bottom, double top) {
  EXPECT_NEAR(r.left, left, 1e-12);
  EXPECT_NEAR(r.right, right, 1e-12);
  EXPECT_NEAR(r.bottom, bottom, 1e-12);
  EXPECT_NEAR(r.top, top, 1e-12);
}

TEST_F(View, RectanglesFitTheWindowStayInTheLimitsAndReachTheEngine) {
  viewResize(view, 5, 5);
  EXPECT_EQ(view->viewWidth, 10);
  EXPECT_EQ(view->viewHeight, 10);

  viewResize(view, 200, 100);
  viewSetLimits(view, -1, -1, 1, 1);
  // A square asked of a 2:1 window widens about its centre, past the limits, and is centred
  // on them; the engine gets only what lies inside them.
  viewSetRect(view, -1, -1, 1, 1);
  expectRect(view->viewRect, -2, 2, -1, 1);
  EXPECT_EQ(told().left, -1.0);
  EXPECT_EQ(told().right, 1.0);
  // A smaller rectangle over an edge moves in.
  viewSetRect(view, 0.5, -0.25, 1.0, 0.25);
  expectRect(view->viewRect, 0.0, 1.0, -0.25, 0.25);
  // A rectangle beyond the limits widens them.
  viewSetRect(view, 2, -0.5, 4, 0.5);
  expectRect(view->limitRect, -1, 4, -1, 1);
  expectRect(view->viewRect, 2, 4, -0.5, 0.5);

  // A resize keeps the vertical centre and the width, and the shape follows the window.
  viewResize(view, 100, 100);
  expectRect(view->viewRect, 2, 4, -1, 1);
  EXPECT_EQ(view->projectionDirty.load(), 1u);

  // Attached, shown; any change of the rectangle or size goes back to the layers.
  static const uint8_t bytes[300] = {};
  viewAttachImage(view, bytes, 3, 30, 10, 10);
  EXPECT_EQ(view->image, bytes);
  viewResize(view, 120, 100);
  EXPECT_EQ(view->image, nullptr);
}

TEST_F(View, PanReportsEveryTwentiethStepAndAtTheEnd) {
  viewResize(view, 100, 100);
  viewSetRect(view, 0, 0, 1, 1);
  static const uint8_t bytes[300] = {};
  viewAttachImage(view, bytes, 3, 30, 10, 10);
  viewMouseDown(view, 50, 50, false);
  viewMouseMove(view, 40, 60);
  EXPECT_EQ(view->image, nullptr);  // the first step shows the layers
  expectRect(view->viewRect, 0.1, 1.1, 0.1, 1.1);
  int reports = 0;
  EngineRect last = told();
  for (int step = 1; step <= 40; ++step) {
    viewMouseMove(view, 40 - step, 60);
    if (told().left != last.left) ++reports;
    last = told();
  }
  EXPECT_EQ(reports, 2);
  viewMouseUp(view, 0, 60);
  expectRect(view->viewRect, 0.5, 1.5, 0.1, 1.1);
  EXPECT_NEAR(told().left, 0.5, 1e-12);
  EXPECT_EQ(view->dragActive, 0);
}

TEST_F(View, ZoomAndWheelScaleAboutTheirFixedPoints) {
  viewResize(view, 100, 100);
  viewSetRect(view, 0, 0, 1, 1);
  // 160 pixels of Ctrl-drag to the left double the width about the press, with no clamp.
  viewMouseDown(view, 50, 50, true);
  viewMouseMove(view, -110, 50);
  const double cx = 0.505, cy = 0.495;  // the plane under pixel (50, 50)
  expectRect(view->viewRect, cx - 2 * cx, cx + 2 * (1 - cx), cy - 2 * cy, cy + 2 * (1 - cy));
  EXPECT_EQ(view->reportCountdown.load(), 2);
  // Back to the start undoes it.
  viewMouseMove(view, 50, 50);
  expectRect(view->viewRect, 0, 1, 0, 1);
  viewMouseUp(view, 50, 50);

  // A wheel notch away from the user zooms in by an eighth of a doubling; outside the window,
  // about the centre; a delta of 0 does nothing.
  viewWheel(view, 120, -5, -5);
  const double f = std::pow(2.0, -1.0 / 8.0);
  expectRect(view->viewRect, 0.5 - 0.5 * f, 0.5 + 0.5 * f, 0.5 - 0.5 * f, 0.5 + 0.5 * f);
  const ViewRect before = view->viewRect;
  viewWheel(view, 0, 10, 10);
  expectRect(view->viewRect, before.left, before.right, before.bottom, before.top);
  // A notch back, under the cursor near the right edge: that point of the plane stays put.
  const double c = before.left + (before.right - before.left) * 0.995;
  viewWheel(view, -120, 99, 50);
  const ViewRect& after = view->viewRect;
  EXPECT_NEAR((c - after.left) / (after.right - after.left), 0.995, 1e-12);
  EXPECT_NEAR(after.right - after.left, (before.right - before.left) / f, 1e-12);
}

TEST_F(View, RemovedOverlaysQueueTheirTexturesForTheDisplayThread) {
  const float white[3] = {1, 1, 1};
  ViewOverlay* add = viewAddOverlay(view, 3, white);
  ViewOverlay* fog = viewAddFogOverlay(view, 0, 8, 7);
  ASSERT_TRUE(add && fog);
  EXPECT_EQ(view->overlays, add);
  EXPECT_EQ(add->next, fog);
  EXPECT_EQ(fog->second.layer, 7);
  EXPECT_EQ(add->first.strideX, kViewResetStride);
  add->first.texture = 7;
  fog->first.texture = 8;
  fog->second.texture = 9;
  viewRemoveOverlay(view, fog);
  viewRemoveOverlay(view, add);
  ASSERT_EQ(view->deletedCount, 3);
  EXPECT_EQ(view->deletedTextures[0], 8u);
  EXPECT_EQ(view->deletedTextures[2], 7u);
  EXPECT_EQ(view->overlays, nullptr);
}

TEST(ViewMemory, WithoutItsUploadBufferAViewStillWorks) {
  unsetenv("DISPLAY");
  memSetRequestLimit(kViewStagingBytes - 1);
  ViewControl* view = viewCreate("CTW", 0, 0, nullptr);
  memSetRequestLimit(0);
  ASSERT_NE(view, nullptr);
  EXPECT_EQ(view->staging, nullptr);
  viewResize(view, 64, 48);
  viewSetRect(view, -1, -0.75, 1, 0.75);
  EXPECT_EQ(view->viewWidth, 64);
  ControlDestroy(view);
}

}  // namespace
