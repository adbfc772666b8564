// A frame rendered to a level and then refined further by a second run of `ombrel render`:
// the second run starts from the first one's refine files, and its picture is closer to a
// long render of the same frame.
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <OpenImageIO/imageio.h>
#include <gmock/gmock.h>

#include "host/formats/lwo2_writer.h"
#include "host/formats/lwo_builder.h"
#include "host/formats/lws_writer.h"
#include "host/scene/scene.h"
#include "support/run_program.h"

namespace {

namespace fs = std::filesystem;

class RenderRefine : public ::testing::Test {
 protected:
  void SetUp() override {
    dir = fs::temp_directory_path() / ("ombrel-refine-" + std::to_string(getpid()));
    fs::remove_all(dir);
    fs::create_directories(dir / "out");
  }
  void TearDown() override { fs::remove_all(dir); }

  // A box by a wall on a floor under a sky, lit by a large area light from the side, with
  // Monte Carlo radiosity: soft shadows and gathered sky light make every pixel noisy at
  // first. The picture is large enough that one full pass (about 3 s here) outlasts a slice's
  // shortest budget of 1.5 s, so every slice adds exactly one level.
  std::string writeScene(int width, int height) {
    host::ObjectBuilder b("set.lwo");
    b.surface("Floor").color.value = {0.7, 0.7, 0.7};
    b.surface("Wall").color.value = {0.3, 0.6, 0.4};
    b.addBox({0.0f, -0.55f, 0.0f}, {8.0f, 0.1f, 8.0f}, "Floor");
    b.addBox({0.0f, 0.9f, 1.2f}, {8.0f, 3.0f, 0.1f}, "Wall");
    std::string error;
    EXPECT_TRUE(host::writeLwo2File(b.finish(), (dir / "set.lwo").string(), error)) << error;
    host::ObjectBuilder c("box.lwo");
    c.surface("Box").color.value = {0.9, 0.4, 0.2};
    c.addBox({0.0f, 0.0f, 0.0f}, {1.0f, 1.0f, 1.0f}, "Box");
    EXPECT_TRUE(host::writeLwo2File(c.finish(), (dir / "box.lwo").string(), error)) << error;

    host::Scene s;
    s.firstFrame = s.lastFrame = 1;
    s.backdrop.gradient = true;
    s.render.traceShadows = true;
    const int set = s.addItem(host::ItemType::Object, "set");
    s.item(set).object.path = "set.lwo";
    s.item(set).setPosition({0.0, 0.0, 3.0});
    const int box = s.addItem(host::ItemType::Object, "box");
    s.item(box).object.path = "box.lwo";
    s.item(box).setPosition({0.0, 0.0, 3.0});
    const int light = s.addItem(host::ItemType::Light, "Panel");
    s.item(light).light.kind = host::LightKind::Area;
    s.item(light).setPosition({-2.0, 2.0, 2.5});
    s.item(light).setRotation({1.0, 0.8, 0.0});
    s.item(light).setScale({1.5, 1.5, 1.5});
    s.item(light).light.intensity = 0.6;
    const int camera = s.addItem(host::ItemType::Camera, "Camera");
    s.item(camera).camera.width = width;
    s.item(camera).camera.height = height;
    s.item(camera).setPosition({0.0, 1.6, -1.5});
    s.item(camera).setRotation({0.0, 0.3, 0.0});
    const std::string path = (dir / "set.lws").string();
    EXPECT_TRUE(host::writeSceneFile(path, s, error)) << error;
    return path;
  }

  testproc::Outcome ombrel(const std::string& scene, const std::vector<std::string>& more) {
    std::vector<std::string> args{"render", scene, "--radiosity", "montecarlo", "--rad-bounces", "1"};
    args.insert(args.end(), more.begin(), more.end());
    return testproc::run(OMBREL_PROGRAM, args, 1800);
  }

  std::string out(const std::string& name) const { return (dir / "out" / name).string(); }

  // The least sample count of a tally file's pixels.
  static int32_t leastSamples(const std::string& tally) {
    std::ifstream in(tally, std::ios::binary);
    const std::vector<unsigned char> b{std::istreambuf_iterator<char>(in), {}};
    int32_t least = -1;
    for (size_t at = 8; at + 4 <= b.size(); at += 12) {
      const int32_t n = int32_t(uint32_t(b[at]) | uint32_t(b[at + 1]) << 8 | uint32_t(b[at + 2]) << 16 |
                                uint32_t(b[at + 3]) << 24);
      if (least < 0 || n < least) least = n;
    }
    return least;
  }

  // The colour channels of an image file.
  static std::vector<float> colours(const std::string& file) {
    auto in = OIIO::ImageInput::open(file);
    if (!in) return {};
    const OIIO::ImageSpec layout = in->spec_dimensions(0);
    std::vector<float> all(size_t(layout.width) * layout.height * layout.nchannels);
    if (!in->read_image(0, 0, 0, layout.nchannels, OIIO::TypeDesc::FLOAT, all.data())) return {};
    std::vector<float> rgb;
    for (size_t p = 0; p < all.size(); p += size_t(layout.nchannels))
      for (int c = 0; c < 3; ++c) rgb.push_back(all[p + size_t(c)]);
    return rgb;
  }

  static double rmsDifference(const std::vector<float>& a, const std::vector<float>& b) {
    double sum = 0.0;
    for (size_t i = 0; i < a.size(); ++i) sum += (double(a[i]) - b[i]) * (double(a[i]) - b[i]);
    return std::sqrt(sum / double(a.size()));
  }

  fs::path dir;
};

TEST_F(RenderRefine, ASecondRunTakesTheFramesFurtherFromTheFirstRunsFiles) {
  const std::string scene = writeScene(640, 360);
  const auto first = ombrel(scene, {"--level", "2", "-o", out("shot.exr")});
  ASSERT_EQ(first.exitCode, 0) << first.err << first.out;
  EXPECT_EQ(leastSamples(out("shot0001.ombreldat")), 2) << first.out;
  const std::vector<float> level2 = colours(out("shot0001.exr"));
  ASSERT_FALSE(level2.empty());
  const auto written = fs::last_write_time(out("shot0001.exr"));

  const auto second = ombrel(scene, {"--level", "4", "--refine", "-o", out("shot.exr")});
  ASSERT_EQ(second.exitCode, 0) << second.err << second.out;
  EXPECT_EQ(leastSamples(out("shot0001.ombreldat")), 4) << second.out;
  EXPECT_GT(fs::last_write_time(out("shot0001.exr")), written);
  const std::vector<float> level4 = colours(out("shot0001.exr"));
  ASSERT_EQ(level4.size(), level2.size());

  // The long render stands for the converged picture. Its first samples are the same as the
  // short renders' (a pixel's samples are seeded by its place and count), so the difference
  // measures how far each picture still is from where the frame converges.
  const auto reference = ombrel(scene, {"--level", "8", "-o", out("long.exr")});
  ASSERT_EQ(reference.exitCode, 0) << reference.err << reference.out;
  const std::vector<float> converged = colours(out("long0001.exr"));
  ASSERT_EQ(converged.size(), level2.size());
  const double before = rmsDifference(level2, converged), after = rmsDifference(level4, converged);
  EXPECT_LT(after, 0.9 * before) << "level 2: " << before << ", level 4: " << after;
  RecordProperty("rmsLevel2", std::to_string(before));
  RecordProperty("rmsLevel4", std::to_string(after));
}

}  // namespace
