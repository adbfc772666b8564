// Image Utility: pixmaps filled pixel by pixel, and every saver's file read back.
#include <array>
#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

#include <unistd.h>

#include <OpenImageIO/imageio.h>
#include <gtest/gtest.h>
#include <lwimage.h>

#include "host/services/host.h"

namespace {

namespace fs = std::filesystem;

struct Savers {
  fs::path folder = fs::temp_directory_path() / ("ombrel-savers-" + std::to_string(::getpid()) + "-" +
                                                 ::testing::UnitTest::GetInstance()->current_test_info()->name());
  std::unique_ptr<host::Host> host;
  LWImageUtil* util = nullptr;

  Savers() {
    fs::create_directories(folder);
    host::HostSettings quiet;
    quiet.messagesToStderr = false;
    host = std::make_unique<host::Host>(host::Scene{}, quiet);
    util = static_cast<LWImageUtil*>(host->global(LWIMAGEUTIL_GLOBAL, 0));
  }
  ~Savers() {
    std::error_code ec;
    fs::remove_all(folder, ec);
  }
  std::string file(const std::string& name) const { return (folder / name).string(); }
};

// A file's pixels as stored (not multiplied by alpha).
struct Read {
  int w = 0, h = 0, n = 0;
  std::vector<float> px;
  const float* at(int x, int y) const { return px.data() + (size_t(y) * size_t(w) + size_t(x)) * size_t(n); }
};

Read readBack(const std::string& path) {
  Read r;
  OIIO::ImageSpec config;
  config.attribute("oiio:UnassociatedAlpha", 1);
  if (auto in = OIIO::ImageInput::open(path, &config)) {
    const OIIO::ImageSpec dims = in->spec_dimensions(0);
    r.w = dims.width, r.h = dims.height, r.n = dims.nchannels;
    r.px.resize(size_t(r.w) * size_t(r.h) * size_t(r.n));
    in->read_image(0, 0, 0, r.n, OIIO::TypeDesc::FLOAT, r.px.data());
  }
  return r;
}

// The test picture: 4 x 3, each pixel a different colour below 1, alpha falling along x.
std::array<float, 4> testPixel(int x, int y) {
  return {0.1f + 0.2f * x, 0.15f + 0.3f * y, 0.5f + 0.05f * float(x - y), 1.0f - 0.2f * x};
}

TEST(ImageSavers, EverySaverWritesTheSamePixelsTopRowFirst) {
  Savers f;
  ASSERT_EQ(f.util->saverCount(), 6);
  const char* names[] = {"OpenEXR (.exr)", "PNG (.png)", "TIFF (.tif)", "Radiance HDR (.hdr)", "Targa (.tga)", "JPEG (.jpg)"};
  for (int i = 0; i < 6; ++i) EXPECT_STREQ(f.util->saverName(i), names[i]);
  EXPECT_EQ(f.util->saverName(6), nullptr);

  const LWPixmapID image = f.util->create(4, 3, LWIMTYP_RGBAFP);
  for (int y = 0; y < 3; ++y)
    for (int x = 0; x < 4; ++x) f.util->setPixel(image, x, y, testPixel(x, y).data());
  // Channels: with alpha where the format keeps it. Tolerance: the format's precision.
  for (auto [saver, ext, channels, tolerance] : {std::tuple{0, ".exr", 4, 1e-7}, {1, ".png", 4, 1.0 / 65535},
                                                 {2, ".tif", 4, 1.0 / 65535}, {3, ".hdr", 3, 0.01},
                                                 {4, ".tga", 4, 0.5 / 255 + 1e-6}}) {
    ASSERT_EQ(f.util->save(image, saver, f.file(std::string("picture") + ext).c_str()), 1) << ext;
    const Read r = readBack(f.file(std::string("picture") + ext));
    ASSERT_EQ(r.w * 10 + r.h, 43) << ext;
    ASSERT_EQ(r.n, channels) << ext;
    for (int y = 0; y < 3; ++y)
      for (int x = 0; x < 4; ++x)
        for (int c = 0; c < channels; ++c)
          EXPECT_NEAR(r.at(x, y)[c], testPixel(x, y)[size_t(c)], tolerance) << ext << " " << x << "," << y << " " << c;
  }

  // JPEG is lossy and blurs colour over blocks of 16 pixels: a top half and a bottom half of
  // one colour each, read away from their border.
  const LWPixmapID halves = f.util->create(16, 32, LWIMTYP_RGBAFP);
  float top[4] = {0.8f, 0.3f, 0.1f, 1.0f}, bottom[4] = {0.1f, 0.4f, 0.9f, 1.0f};
  for (int y = 0; y < 32; ++y)
    for (int x = 0; x < 16; ++x) f.util->setPixel(halves, x, y, y < 16 ? top : bottom);
  ASSERT_EQ(f.util->save(halves, 5, f.file("halves.jpg").c_str()), 1);
  const Read r = readBack(f.file("halves.jpg"));
  ASSERT_EQ(r.n, 3);
  for (int y : {0, 5, 26, 31})
    for (int x : {0, 15})
      for (int c = 0; c < 3; ++c) EXPECT_NEAR(r.at(x, y)[c], (y < 16 ? top : bottom)[c], 0.03) << x << "," << y;
  EXPECT_TRUE(f.host->messages().empty());
}

TEST(ImageSavers, FloatFormatsKeepValuesAboveOneAndIntegerFormatsClamp) {
  Savers f;
  const LWPixmapID image = f.util->create(2, 1, LWIMTYP_RGBAFP);
  float bright[4] = {5.5f, 1.25f, -0.5f, 0.25f}, odd[4] = {std::nanf(""), 0.5f, 2.0f, 1.0f};
  f.util->setPixel(image, 0, 0, bright);
  f.util->setPixel(image, 1, 0, odd);
  ASSERT_EQ(f.util->save(image, 0, f.file("bright.exr").c_str()), 1);
  const Read exr = readBack(f.file("bright.exr"));
  EXPECT_EQ(std::vector<float>(exr.at(0, 0), exr.at(0, 0) + 4), std::vector<float>(bright, bright + 4));
  ASSERT_EQ(f.util->save(image, 3, f.file("bright.hdr").c_str()), 1);
  EXPECT_NEAR(readBack(f.file("bright.hdr")).at(0, 0)[0], 5.5, 0.05);
  ASSERT_EQ(f.util->save(image, 1, f.file("bright.png").c_str()), 1);
  const Read png = readBack(f.file("bright.png"));
  EXPECT_EQ(png.at(0, 0)[0], 1.0f);
  EXPECT_EQ(png.at(0, 0)[2], 0.0f);
  EXPECT_EQ(png.at(1, 0)[0], 0.0f);  // not a number
  EXPECT_EQ(png.at(1, 0)[2], 1.0f);
}

TEST(ImageSavers, PixelTypesRoundTripAndBadCallsFailWithAMessage) {
  Savers f;
  // Bytes in, bytes out; a byte image saves without alpha, a grey one as one channel.
  const LWPixmapID bytes = f.util->create(2, 2, LWIMTYP_RGB24);
  unsigned char in[3] = {10, 128, 255}, out[3] = {0, 0, 0};
  f.util->setPixel(bytes, 1, 1, in);
  f.util->setPixel(bytes, 2, 0, in);  // outside: ignored
  f.util->getPixel(bytes, 1, 1, out);
  EXPECT_EQ(std::vector<int>(out, out + 3), (std::vector<int>{10, 128, 255}));
  ASSERT_EQ(f.util->save(bytes, 1, f.file("bytes.png").c_str()), 1);
  const Read png = readBack(f.file("bytes.png"));
  ASSERT_EQ(png.n, 3);
  EXPECT_FLOAT_EQ(png.at(1, 1)[1], 128.0f / 255.0f);
  const LWPixmapID grey = f.util->create(1, 1, LWIMTYP_GREYFP);
  ASSERT_EQ(f.util->save(grey, 2, f.file("grey.tif").c_str()), 1);
  EXPECT_EQ(readBack(f.file("grey.tif")).n, 1);
  EXPECT_EQ(f.util->create(0, 5, LWIMTYP_RGBAFP), nullptr);
  EXPECT_EQ(f.util->create(5, 5, LWIMTYP_SPECIAL), nullptr);
  EXPECT_TRUE(f.host->messages().empty());

  // A folder that isn't there, a saver that isn't there, an image that is gone.
  EXPECT_EQ(f.util->save(bytes, 0, f.file("no/such/x.exr").c_str()), 0);
  EXPECT_EQ(f.util->save(bytes, 9, f.file("x.exr").c_str()), 0);
  f.util->destroy(bytes);
  EXPECT_EQ(f.util->save(bytes, 0, f.file("x.exr").c_str()), 0);
  f.util->getPixel(bytes, 0, 0, out);  // nothing happens
  const auto messages = f.host->messages();
  ASSERT_EQ(messages.size(), 3u);
  for (const auto& m : messages) EXPECT_TRUE(m.kind == "error" && !m.second.empty()) << m.first;
  EXPECT_FALSE(fs::exists(f.file("x.exr")));
}

}  // namespace
