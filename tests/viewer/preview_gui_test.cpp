// A preview of the demo scene on a real X server with Mesa's OpenGL: the coarse layers show
// within moments, the refined picture agrees with a final render of the same view, and a pan
// shows the engine's scaled layers at once. The screenshots stay in the build folder
// (preview-shots/) to be looked at.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "shading/radiosity_settings.h"
#include "support/eventually.h"
#include "support/preview_reference.h"
#include "support/preview_window.h"
#include "support/shading_world.h"
#include "support/x_server.h"
#include "viewer/tile_engine.h"

namespace {

[[maybe_unused]] auto* const environment = ::testing::AddGlobalTestEnvironment(new previewtest::GuiEnvironment);

constexpr int kWidth = 480, kHeight = 270;  // the demo's frame, one view pixel per frame pixel
constexpr int kReferenceLevel = 4;
// On a 0..255 scale. The refined picture after a few seconds is still noisy where the
// radiosity is, and so is the reference; the layers are coarser still.
constexpr double kRefinedTolerance = 12.0;
constexpr double kCoarseTolerance = 30.0;
constexpr int kPan = 40;

const std::string shots = std::string(OMBREL_BINARY_DIR) + "/preview-shots/";

// The view's picture against the reference, seen through the whole frame; `shift` reads the
// view that many pixels further right.
double distance(const testx::Pixels& view, const previewtest::Image& reference, double aspect, int shift = 0) {
  const auto pixel = [&](int x, int y, double rgb[3]) {
    const uint32_t c = view.at(std::clamp(x + shift, 0, kWidth - 1), kHeight - 1 - y);
    rgb[0] = (c >> 16) & 255;
    rgb[1] = (c >> 8) & 255;
    rgb[2] = c & 255;
  };
  return previewtest::compare(pixel, kWidth, kHeight, -1.0, -1.0 / aspect, 1.0, 1.0 / aspect, aspect, reference).rms;
}

TEST(PreviewGui, CoarseAtOnceThenRefinedLikeTheFinalRenderAndPannedLayersAtOnce) {
  std::filesystem::create_directories(shots);
  std::string error;
  const std::string path = previewtest::demoReference(kReferenceLevel, error);
  ASSERT_FALSE(path.empty()) << error;
  previewtest::Image reference;
  ASSERT_TRUE(previewtest::readImage(path, &reference, error)) << error;
  shadetest::loadRuntimeOnce();
  shadetest::RadiosityScope radiosity(kMonteCarloRadiosity, 1.0, 1.0);  // as the demo saves it
  shadetest::ShadingWorld world;
  ASSERT_TRUE(world.readScene(previewtest::demoScenePath(), error, true)) << error;
  world.start();
  previewtest::PreviewWindow preview(world.capture(), kWidth, kHeight);
  ASSERT_TRUE(preview.ok());
  ViewerPanel* viewer = preview.viewer();
  const double aspect = viewer->camera.imageAspect;

  // The layers, before the refinement has taken over: once the unlit and the light layers
  // have a level each, and the view has drawn them.
  ASSERT_TRUE(testwait::eventually([&] {
    for (int32_t layer : {kLayerUnlit, kLayerLightsChanged}) {
      int32_t sx = kLayerShownNone, sy = kLayerShownNone;
      engineGetStrides(viewer->engine, layer, &sx, &sy);
      if (sx >= kLayerShownNone || sy >= kLayerShownNone) return false;
    }
    return true;
  }));
  const testx::Pixels coarse = preview.grab(shots + "1-coarse.png", 2);
  double brightness = 0;
  for (uint32_t c : coarse.rgb) brightness += ((c >> 16) & 255) + ((c >> 8) & 255) + (c & 255);
  EXPECT_GT(brightness / (3.0 * coarse.rgb.size()), 20.0) << "the coarse picture is black";

  // The refinement's own image, once it has run for some seconds.
  ASSERT_TRUE(testwait::eventually([&] { return viewer->refine.quality.load() >= 12; }, 120000));
  const testx::Pixels refined = preview.grab(shots + "2-refined.png");
  const double refinedDistance = distance(refined, reference, aspect);
  EXPECT_LT(refinedDistance, kRefinedTolerance);
  RecordProperty("refinedRms", std::to_string(refinedDistance));

  // A drag to the right: the layers, scaled, at once, the picture moved with the hand.
  int x = 0, y = 0;
  ASSERT_TRUE(preview.screenPoint(200, 130, &x, &y));
  ASSERT_TRUE(testx::xdotool({"mousemove", std::to_string(x), std::to_string(y), "mousedown", "1", "mousemove",
                              std::to_string(x + kPan / 2), std::to_string(y), "mousemove", std::to_string(x + kPan),
                              std::to_string(y), "mouseup", "1"}));
  ASSERT_TRUE(testwait::eventually([&] { return !preview.showsImage(); }));
  const testx::Pixels panned = preview.grab(shots + "3-panned.png");
  EXPECT_LT(distance(panned, reference, aspect, kPan), kCoarseTolerance);
  EXPECT_GT(distance(panned, reference, aspect), distance(panned, reference, aspect, kPan));
}

}  // namespace
