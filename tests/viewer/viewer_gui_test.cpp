// A preview in its own panel on a real X server, driven by real clicks: its title, the
// iteration that grows, Pause and Unpause, Full Size and back, and its end.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "capture/scene_capture.h"
#include "support/eventually.h"
#include "support/panel_probe.h"
#include "support/preview_window.h"
#include "support/shading_world.h"
#include "support/x_server.h"
#include "toolkit/button.h"
#include "toolkit/text_control.h"
#include "viewer/view_control.h"
#include "viewer/viewer_panel.h"

namespace {

[[maybe_unused]] auto* const environment = ::testing::AddGlobalTestEnvironment(new previewtest::GuiEnvironment);

class ViewerGui : public ::testing::Test {
 protected:
  void SetUp() override {
    shadetest::loadRuntimeOnce();
    const int camera = shadetest::addBallOnFloor(world);
    world.scene().items[size_t(camera)].camera.width = 100;
    world.scene().items[size_t(camera)].camera.height = 50;
    world.start();
    viewer = viewerCreate(&list, world.capture());
    ASSERT_NE(viewer, nullptr);
    ASSERT_EQ(list, viewer);
    ASSERT_TRUE(testwait::eventually([&] { return panelXWindow(viewer->panel) != 0; }));
  }
  void TearDown() override {
    if (viewer) viewerDestroy(&list, viewer);
    EXPECT_EQ(list, nullptr);
  }

  // The iteration as the panel shows it; 0 while it shows nothing.
  long iteration() {
    std::string text;
    panelprobe::onPanelThread(viewer->panel, [&] { text = static_cast<TextControl*>(viewer->iterationText)->text; });
    return text.empty() ? 0 : std::stol(text);
  }
  std::string pauseText() {
    std::string text;
    panelprobe::onPanelThread(viewer->panel, [&] { text = static_cast<ButtonControl*>(viewer->pauseButton)->text; });
    return text;
  }
  void viewSize(int32_t* w, int32_t* h) {
    double l, b, r, t;
    viewGetState(viewer->view, w, h, &l, &b, &r, &t);
  }

  shadetest::ShadingWorld world;
  ViewerPanel* list = nullptr;
  ViewerPanel* viewer = nullptr;
};

TEST_F(ViewerGui, TitleIterationPauseAndFullSize) {
  std::string title;
  ASSERT_TRUE(testwait::eventually([&] {
    return testx::windowTitle(panelXWindow(viewer->panel), &title) && title == "Ombrel from Tarnok Labs  v1.02";
  })) << title;
  int32_t w = 0, h = 0;
  viewSize(&w, &h);
  EXPECT_EQ(w, 300);  // a 100 x 50 frame, enlarged three times
  EXPECT_EQ(h, 150);

  // The iteration grows by itself.
  ASSERT_TRUE(testwait::eventually([&] { return iteration() >= 3; }, 60000));
  const long before = iteration();
  ASSERT_TRUE(testwait::eventually([&] { return iteration() > before; }, 60000));

  std::filesystem::create_directories(OMBREL_BINARY_DIR "/preview-shots");
  EXPECT_TRUE(testx::screenshot(OMBREL_BINARY_DIR "/preview-shots/viewer-panel.png"));

  // Paused, it stands; unpaused, it grows again.
  ASSERT_TRUE(panelprobe::clickOn(viewer->panel, viewer->pauseButton));
  ASSERT_TRUE(testwait::eventually([&] { return pauseText() == "Unpause"; }));
  // The text catches up with the last pass at the panel's next idle moment.
  ASSERT_TRUE(testwait::eventually([&] { return iteration() == viewer->refine.quality.load() + 1; }));
  const long paused = iteration();
  std::this_thread::sleep_for(std::chrono::milliseconds(600));
  EXPECT_EQ(iteration(), paused);
  ASSERT_TRUE(panelprobe::clickOn(viewer->panel, viewer->pauseButton));
  ASSERT_TRUE(testwait::eventually([&] { return pauseText() == "Pause"; }));
  ASSERT_TRUE(testwait::eventually([&] { return iteration() > paused; }, 60000));

  // Save, the file named on the host's command line: the picture as a float EXR.
  const std::string saved = std::string(OMBREL_BINARY_DIR) + "/preview-shots/saved-preview.exr";
  std::filesystem::remove(saved);
  world.host().settings().fileRequestAnswer = saved;
  ASSERT_TRUE(panelprobe::clickOn(viewer->panel, viewer->saveButton));
  EXPECT_TRUE(testwait::eventually([&] { return std::filesystem::exists(saved); }));

  // Full Size: the frame at 1:1 (100 x 50, widened to 300 for the buttons), then back.
  ASSERT_TRUE(panelprobe::clickOn(viewer->panel, viewer->fullSizeButton));
  ASSERT_TRUE(testwait::eventually([&] {
    viewSize(&w, &h);
    return w == 300 && h == 50;
  })) << w << " x " << h;
  ASSERT_TRUE(panelprobe::clickOn(viewer->panel, viewer->fullSizeButton));
  ASSERT_TRUE(testwait::eventually([&] {
    viewSize(&w, &h);
    return w == 300 && h == 150;
  })) << w << " x " << h;
  EXPECT_TRUE(viewerPanelOpen(viewer));
}

TEST_F(ViewerGui, TheCloseBoxClosesThePanelAndTheSweepFindsIt) {
  ASSERT_TRUE(testx::sendCloseBox(panelXWindow(viewer->panel)));
  ASSERT_TRUE(testwait::eventually([&] { return !viewerPanelOpen(viewer); }));
  viewerDestroy(&list, viewer);
  viewer = nullptr;
}

}  // namespace

namespace {

// Four previews at once, and a preview opened and closed ten times: every thread joined and
// every block given back (AddressSanitizer's leak check and ThreadSanitizer run this too).
TEST(ViewerLife, FourAtOnceAndTenInARow) {
  shadetest::loadRuntimeOnce();
  shadetest::ShadingWorld world;
  world.addObject(shadetest::sphereModel(0.8f), "Ball", {0, 0, 4});
  world.addLight(host::LightKind::Distant, "Sun", {0, 0, 0}, {0.4, 0.7, 0});
  const int camera = world.addCamera("Camera");
  world.scene().items[size_t(camera)].camera.width = 160;
  world.scene().items[size_t(camera)].camera.height = 120;
  world.start();
  ViewerPanel* list = nullptr;
  for (int i = 0; i < 4; ++i) ASSERT_NE(viewerCreate(&list, world.capture()), nullptr) << i;
  int open = 0;
  for (ViewerPanel* v = list; v; v = v->next) {
    EXPECT_TRUE(testwait::eventually([&] { return v->refine.quality.load() >= 2; }, 60000));
    ++open;
  }
  EXPECT_EQ(open, 4);
  while (list) viewerDestroy(&list, list);
  for (int round = 0; round < 10; ++round) {
    ViewerPanel* v = viewerCreate(&list, world.capture());
    ASSERT_NE(v, nullptr) << round;
    if (round % 2) EXPECT_TRUE(testwait::eventually([&] { return v->refine.quality.load() >= 1; }, 60000));
    viewerDestroy(&list, v);
  }
  EXPECT_EQ(list, nullptr);
}

}  // namespace
