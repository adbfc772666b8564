// A preview of the demo scene on a real X server with Mesa's OpenGL: the coarse layers show
// within moments, the refined picture agrees with a final render of the same view, and a pan
// shows the engine's scaled layers at once. The screenshots stay in the build folder
// (preview-shots/) to be looked at.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "../toolkit/panel_probe.h"
#include "support/eventually.h"
#include "support/preview_reference.h"
#include "support/shading_world.h"
#include "support/x_server.h"
#include "shading/radiosity_settings.h"
#include "platform/window.h"
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

constexpr int kWidth = 480, kHeight = 270;  // the demo's frame, one view pixel per frame pixel
constexpr int kViewX = 5, kViewY = 24;
constexpr int kReferenceLevel = 8;
// On a 0..255 scale. The refined picture after a few seconds is still noisy where the
// radiosity is, and so is the reference; the layers are coarser still.
constexpr double kRefinedTolerance = 12.0;
constexpr double kCoarseTolerance = 30.0;

const std::string shots = std::string(OMBREL_BINARY_DIR) + "/preview-shots/";

class PreviewGui : public ::testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::create_directories(shots);
    std::string error;
    referencePath_ = previewtest::demoReference(kReferenceLevel, error);
    ASSERT_FALSE(referencePath_.empty()) << error;
    ASSERT_TRUE(previewtest::readImage(referencePath_, &reference_, error)) << error;
    shadetest::loadRuntimeOnce();
    ASSERT_TRUE(world_.readScene(previewtest::demoScenePath(), error, true)) << error;
    world_.start();
    panel_ = PanelCreate("Ombrel", nullptr, 13);
    panel_->options |= kPanelNonModal;
    panel_->x = panel_->y = 20;
    panel_->width = kWidth + 10;
    panel_->height = kHeight + 30;
    view_ = viewCreate("CTW", kViewX, kViewY, panel_);
    ASSERT_NE(view_, nullptr);
    viewResize(view_, kWidth, kHeight);
    ASSERT_EQ(PanelOpen(panel_, nullptr), 0);
    ASSERT_TRUE(testwait::eventually([&] { return panelXWindow(panel_) != 0; }));
    viewer_ = viewerOpenOnCapture(world_.capture(), view_, kWidth, kHeight);
    ASSERT_NE(viewer_, nullptr);
  }
  void TearDown() override {
    viewerCloseOnCapture(viewer_);
    panelprobe::closeAndWait(panel_);
    PanelDestroy(panel_);
  }

  // The view as the screen shows it, after at least one more frame was drawn.
  testx::Pixels grab(const std::string& name) {
    const uint32_t drawn = view_->drawCount.load();
    EXPECT_TRUE(testwait::eventually([&] { return view_->drawCount.load() > drawn; }));
    testx::Pixels window;
    EXPECT_TRUE(testx::windowPixels(panelXWindow(panel_), &window));
    EXPECT_TRUE(testx::screenshot(shots + name + ".png"));
    testx::Pixels view;
    view.width = kWidth;
    view.height = kHeight;
    for (int y = 0; y < kHeight; ++y)
      for (int x = 0; x < kWidth; ++x) view.rgb.push_back(window.at(kViewX + x, kViewY + y));
    return view;
  }

  // The view's picture against the reference, both seen through the same rectangle.
  double distance(const testx::Pixels& view, int shiftX = 0) {
    const double aspect = viewer_->camera.imageAspect;
    const auto pixel = [&](int x, int y, double rgb[3]) {
      const int sx = std::clamp(x + shiftX, 0, kWidth - 1);
      const uint32_t c = view.at(sx, kHeight - 1 - y);
      rgb[0] = (c >> 16) & 255;
      rgb[1] = (c >> 8) & 255;
      rgb[2] = c & 255;
    };
    return previewtest::compare(pixel, kWidth, kHeight, -1.0, -1.0 / aspect, 1.0, 1.0 / aspect, aspect, reference_).rms;
  }

  shadetest::RadiosityScope radiosity_{kMonteCarloRadiosity, 1.0, 1.0};  // as the demo saves it
  shadetest::ShadingWorld world_;
  std::string referencePath_;
  previewtest::Image reference_;
  Panel* panel_ = nullptr;
  ViewControl* view_ = nullptr;
  ViewerPanel* viewer_ = nullptr;
};

TEST_F(PreviewGui, CoarseAtOnceThenRefinedLikeTheFinalRenderAndPannedLayersAtOnce) {
  // The layers, before the refinement has taken over.
  ASSERT_TRUE(testwait::eventually([&] { return view_->drawCount.load() > 0; }));
  const testx::Pixels coarse = grab("1-coarse");
  double brightness = 0;
  for (uint32_t c : coarse.rgb) brightness += ((c >> 16) & 255) + ((c >> 8) & 255) + (c & 255);
  EXPECT_GT(brightness / (3.0 * coarse.rgb.size()), 20.0) << "the coarse picture is black";

  // The refinement: its own image, shown once it has run for some seconds.
  ASSERT_TRUE(testwait::eventually([&] { return viewer_->refine.quality.load() >= 12; }, 120000));
  const testx::Pixels refined = grab("2-refined");
  const double refinedDistance = distance(refined);
  EXPECT_LT(refinedDistance, kRefinedTolerance);
  std::printf("refined picture at quality %d: RMS %.2f from the final render\n", viewer_->refine.quality.load(),
              refinedDistance);

  // A drag of 40 pixels to the right: the layers, scaled, at once, the picture moved with the
  // hand; the refined image comes back only after the refinement starts over.
  int ox = 0, oy = 0;
  ASSERT_TRUE(testx::windowOrigin(panelXWindow(panel_), &ox, &oy));
  const int x0 = ox + kViewX + 200, y0 = oy + kViewY + 130;
  ASSERT_TRUE(testx::xdotool({"mousemove", std::to_string(x0), std::to_string(y0), "mousedown", "1", "mousemove",
                               std::to_string(x0 + 20), std::to_string(y0), "mousemove", std::to_string(x0 + 40),
                               std::to_string(y0), "mouseup", "1"}));
  ASSERT_TRUE(testwait::eventually([&] { return view_->image == nullptr; }));
  const testx::Pixels panned = grab("3-panned");
  EXPECT_LT(distance(panned, 40), kCoarseTolerance);
  EXPECT_GT(distance(panned), distance(panned, 40));
}

}  // namespace
