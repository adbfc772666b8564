// `ombrel render OBJECT.lwo`: an object file alone renders framed, lit and before a backdrop,
// and a turntable goes around it.
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

#include <OpenImageIO/imageio.h>
#include <gmock/gmock.h>

#include "host/formats/lwo2_writer.h"
#include "host/formats/lwo_builder.h"
#include "support/run_program.h"

using ::testing::HasSubstr;

namespace {

namespace fs = std::filesystem;

struct Picture {
  int width = 0, height = 0;
  std::vector<float> rgba;
  const float* at(int x, int y) const { return &rgba[(size_t(y) * width + x) * 4]; }
};

Picture readPicture(const std::string& path) {
  Picture p;
  auto in = OIIO::ImageInput::open(path);
  if (!in) return p;
  const OIIO::ImageSpec dims = in->spec_dimensions(0);
  if (dims.nchannels != 4) return p;
  p.width = dims.width;
  p.height = dims.height;
  p.rgba.resize(size_t(p.width) * p.height * 4);
  if (!in->read_image(0, 0, 0, 4, OIIO::TypeDesc::FLOAT, p.rgba.data())) p.rgba.clear();
  return p;
}

TEST(RenderObject, ATurntableFramesTheObjectBeforeTheBackdropAndGoesAroundIt) {
  const fs::path dir = fs::temp_directory_path() / ("ombrel-render-object-" + std::to_string(getpid()));
  fs::remove_all(dir);
  fs::create_directories(dir);
  // An L of two boxes far from the origin, with a surface the file never describes: the
  // default grey must read, and half a turn must show the post on the other side.
  host::ObjectBuilder b("ell.lwo");
  b.addBox({40.0f, 10.0f, -25.0f}, {3.0f, 0.6f, 1.0f}, "Body");
  b.addBox({41.2f, 11.2f, -25.0f}, {0.6f, 1.8f, 1.0f}, "Body");
  std::string error;
  ASSERT_TRUE(host::writeLwo2File(b.finish(), (dir / "ell.lwo").string(), error)) << error;

  const auto r = testproc::run(OMBREL_PROGRAM, {"render", (dir / "ell.lwo").string(), "--turntable", "2", "--size",
                                                "64x48", "--level", "1", "-o", (dir / "out" / "ell.exr").string()},
                               120);
  ASSERT_EQ(r.exitCode, 0) << r.err;
  EXPECT_THAT(r.out, HasSubstr("2 images written"));

  Picture frames[2];
  for (int f = 0; f < 2; ++f) {
    SCOPED_TRACE(f + 1);
    frames[f] = readPicture((dir / "out" / ("ell000" + std::to_string(f + 1) + ".exr")).string());
    const Picture& p = frames[f];
    ASSERT_EQ(p.width, 64);
    ASSERT_EQ(p.height, 48);
    ASSERT_FALSE(p.rgba.empty());
    int covered = 0, onBorder = 0, backdropPixels = 0;
    double backdrop = 0.0, backdropSpread = 0.0;
    for (int y = 0; y < p.height; ++y)
      for (int x = 0; x < p.width; ++x) {
        const float* px = p.at(x, y);
        if (px[3] > 0.5f) {
          ++covered;
          if (x == 0 || y == 0 || x == p.width - 1 || y == p.height - 1) ++onBorder;
        } else if (px[3] < 0.01f) {
          ++backdropPixels;
          backdrop += (px[0] + px[1] + px[2]) / 3.0;
          backdropSpread = std::max(backdropSpread, double(std::max({px[0], px[1], px[2]}) - std::min({px[0], px[1], px[2]})));
        }
      }
    const int all = p.width * p.height;
    // Framed: a good part of the picture, and nowhere cut by its edge.
    EXPECT_GT(covered, all / 8);
    EXPECT_LT(covered, all * 7 / 8);
    EXPECT_EQ(onBorder, 0);
    // A neutral grey behind, and most of the object stands apart from it, lit or in shade.
    ASSERT_GT(backdropPixels, 0);
    backdrop /= backdropPixels;
    EXPECT_GT(backdrop, 0.15);
    EXPECT_LT(backdrop, 0.75);
    EXPECT_LT(backdropSpread, 0.05);
    int standsApart = 0;
    for (int y = 0; y < p.height; ++y)
      for (int x = 0; x < p.width; ++x) {
        const float* px = p.at(x, y);
        if (px[3] > 0.5f && std::abs((px[0] + px[1] + px[2]) / 3.0 - backdrop) > 0.08) ++standsApart;
      }
    EXPECT_GT(standsApart, covered / 2);
  }
  int differing = 0;
  for (int y = 0; y < 48; ++y)
    for (int x = 0; x < 64; ++x)
      if (std::abs(frames[0].at(x, y)[3] - frames[1].at(x, y)[3]) > 0.5f) ++differing;
  EXPECT_GT(differing, 64 * 48 / 50);
  fs::remove_all(dir);
}

}  // namespace
