// Saving a preview's picture: the savers' filters and extensions, the cut of a typed
// extension, the still-initializing message, the overwrite question, and the float image the
// host writes, its bottom row the picture's bottom row.
#include <gtest/gtest.h>
#include <unistd.h>

#include <OpenImageIO/imageio.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>

#include "support/eventually.h"
#include "support/shading_world.h"
#include "viewer/preview_save.h"
#include "viewer/tile_engine.h"
#include "viewer/viewer_panel.h"

namespace {

namespace fs = std::filesystem;

TEST(PreviewSave, FiltersAndTheCutOfATypedExtension) {
  char pattern[64], extension[kSaveExtensionSize];
  saverFilter("OpenEXR (.exr)", pattern, sizeof pattern, extension);
  EXPECT_STREQ(pattern, "*.exr");
  EXPECT_STREQ(extension, ".exr");
  saverFilter("Plain", pattern, sizeof pattern, extension);
  EXPECT_STREQ(pattern, "*.*");
  EXPECT_STREQ(extension, "");
  const char* cases[][2] = {{"/tmp/shot.exr", "/tmp/shot"}, {"/tmp/shot.tiff", "/tmp/shot"},
                            {"/tmp/a.b/shot01", "/tmp/a.b/shot01"}, {"x.ab", "x.ab"}, {"/tmp/v1.2.png", "/tmp/v1.2"}};
  for (const auto& c : cases) {
    char path[kSaveTextSize];
    std::snprintf(path, sizeof path, "%s", c[0]);
    saveNameCut(path);
    EXPECT_STREQ(path, c[1]) << c[0];
  }
}

class PreviewSaving : public ::testing::Test {
 protected:
  void SetUp() override {
    unsetenv("DISPLAY");
    dir = fs::temp_directory_path() / ("ombrel-save-" + std::to_string(getpid()));
    fs::create_directories(dir);
    shadetest::loadRuntimeOnce();
    shadetest::addBallOnFloor(world);
    world.start();
    viewer = viewerOpenOnCapture(world.capture(), nullptr, 40, 30);
    ASSERT_NE(viewer, nullptr);
  }
  void TearDown() override {
    viewerCloseOnCapture(viewer);
    fs::remove_all(dir);
  }
  bool said(const std::string& first) {
    for (const auto& m : world.host().messages())
      if (m.first == first) return true;
    return false;
  }

  fs::path dir;
  shadetest::ShadingWorld world;
  ViewerPanel* viewer = nullptr;
};

TEST_F(PreviewSaving, TheFloatPictureWithItsBottomRowLastAndTheQuestions) {
  world.host().settings().fileRequestAnswer = (dir / "shot.exr").string();
  ASSERT_TRUE(testwait::eventually([&] { return viewer->refine.quality.load() >= 3; }, 60000));
  engineLock(viewer->engine);
  // As right after a scene change, when the refinement has stopped and not yet begun again:
  // the message, and no file.
  viewer->refine.refineActive = 0;
  previewSaveImage(viewer);
  viewer->refine.refineActive = 1;
  EXPECT_TRUE(said("The Ombrel window is still initializing"));
  EXPECT_FALSE(fs::exists(dir / "shot.exr"));

  // The name typed with the extension of the EXR saver: that saver, the name kept whole.
  previewSaveImage(viewer);
  const std::string path = (dir / "shot.exr").string();
  auto in = OIIO::ImageInput::open(path);
  ASSERT_TRUE(in) << path;
  const OIIO::ImageSpec layout = in->spec_dimensions(0);
  ASSERT_EQ(layout.width, 40);
  ASSERT_EQ(layout.height, 30);
  ASSERT_GE(layout.nchannels, 4);
  std::vector<float> all(size_t(layout.width) * layout.height * layout.nchannels);
  ASSERT_TRUE(in->read_image(0, 0, 0, layout.nchannels, OIIO::TypeDesc::FLOAT, all.data()));
  int compared = 0;
  for (int y = 0; y < 30; ++y)
    for (int x = 0; x < 40; x += 7) {
      const PixelSample& p = viewer->refine.pixels[size_t(y) * 40 + x];
      const float* f = &all[(size_t(29 - y) * 40 + x) * layout.nchannels];
      EXPECT_FLOAT_EQ(f[0], p.red) << x << "," << y;
      EXPECT_FLOAT_EQ(f[3], p.coverage) << x << "," << y;
      ++compared;
    }
  engineUnlock(viewer->engine);
  EXPECT_GT(compared, 100);

  // Again: the file stands, the question comes, and "no" leaves it as it was.
  const auto written = fs::last_write_time(path);
  world.host().settings().answer = host::AnswerPolicy::No;
  previewSaveImage(viewer);
  bool asked = false;
  for (const auto& m : world.host().messages()) asked = asked || m.first.find("The save file you picked") != std::string::npos;
  EXPECT_TRUE(asked);
  EXPECT_EQ(fs::last_write_time(path), written);
}

}  // namespace
