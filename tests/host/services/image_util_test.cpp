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

struct Fixture {
  fs::path folder;
  std::unique_ptr<host::Host> host;
  LWImageUtil* util = nullptr;

  Fixture() {
    folder = fs::temp_directory_path() / ("ombrel-savers-" + std::to_string(::getpid()) + "-" +
                                          ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::create_directories(folder);
    host::HostSettings s;
    s.messagesToStderr = false;
    host = std::make_unique<host::Host>(host::Scene{}, s);
    util = static_cast<LWImageUtil*>(host->global(LWIMAGEUTIL_GLOBAL, 0));
  }
  ~Fixture() {
    std::error_code ec;
    fs::remove_all(folder, ec);
  }
};

struct Read {
  int w = 0, h = 0, n = 0;
  std::vector<float> px;
  const float* at(int x, int y) const { return px.data() + (size_t(y) * size_t(w) + size_t(x)) * size_t(n); }
};

Read readBack(const fs::path& p) {
  Read r;
  OIIO::ImageSpec config;
  config.attribute("oiio:UnassociatedAlpha", 1);  // the values as stored
  auto in = OIIO::ImageInput::open(p.string(), &config);
  if (!in) return r;
  r.w = in->spec().width, r.h = in->spec().height, r.n = in->spec().nchannels;
  r.px.resize(size_t(r.w) * size_t(r.h) * size_t(r.n));
  in->read_image(0, 0, 0, r.n, OIIO::TypeDesc::FLOAT, r.px.data());
  return r;
}

// The test picture: 4 x 3, each pixel a different colour below 1, alpha falling along x.
std::array<float, 4> testPixel(int x, int y) {
  return {0.1f + 0.2f * x, 0.15f + 0.3f * y, 0.5f + 0.05f * float(x - y), 1.0f - 0.2f * x};
}

TEST(ImageSavers, SixSaversNamedWithTheirExtensions) {
  Fixture f;
  ASSERT_NE(f.util, nullptr);
  ASSERT_EQ(f.util->saverCount(), 6);
  const char* names[] = {"OpenEXR (.exr)", "PNG (.png)", "TIFF (.tif)", "Radiance HDR (.hdr)", "Targa (.tga)",
                         "JPEG (.jpg)"};
  for (int i = 0; i < 6; ++i) EXPECT_STREQ(f.util->saverName(i), names[i]);
  EXPECT_EQ(f.util->saverName(6), nullptr);
  EXPECT_EQ(f.util->saverName(-1), nullptr);
}

TEST(ImageSavers, EverySaverWritesTheSamePixelsTopRowFirst) {
  Fixture f;
  const LWPixmapID image = f.util->create(4, 3, LWIMTYP_RGBAFP);
  ASSERT_NE(image, nullptr);
  for (int y = 0; y < 3; ++y)
    for (int x = 0; x < 4; ++x) {
      auto p = testPixel(x, y);
      f.util->setPixel(image, x, y, p.data());
    }
  struct Expect {
    int saver;
    const char* ext;
    int channels;      // with alpha where the format keeps it
    double tolerance;  // the format's precision
  };
  for (const Expect& e : {Expect{0, ".exr", 4, 1e-7}, Expect{1, ".png", 4, 1.0 / 65535},
                          Expect{2, ".tif", 4, 1.0 / 65535}, Expect{3, ".hdr", 3, 0.01},
                          Expect{4, ".tga", 4, 0.5 / 255 + 1e-6}}) {
    const fs::path file = f.folder / (std::string("picture") + e.ext);
    ASSERT_EQ(f.util->save(image, e.saver, file.string().c_str()), 1) << e.ext;
    const Read r = readBack(file);
    ASSERT_EQ(r.w, 4) << e.ext;
    ASSERT_EQ(r.h, 3) << e.ext;
    ASSERT_EQ(r.n, e.channels) << e.ext;
    for (int y = 0; y < 3; ++y)
      for (int x = 0; x < 4; ++x)
        for (int c = 0; c < e.channels; ++c)
          EXPECT_NEAR(r.at(x, y)[c], testPixel(x, y)[size_t(c)], e.tolerance) << e.ext << " " << x << "," << y << " " << c;
  }
  f.util->destroy(image);

  // JPEG is lossy and blurs colour over blocks of 16 pixels: a top half and a bottom half of
  // one colour each, read away from their border.
  const LWPixmapID halves = f.util->create(16, 32, LWIMTYP_RGBAFP);
  const float top[4] = {0.8f, 0.3f, 0.1f, 1.0f}, bottom[4] = {0.1f, 0.4f, 0.9f, 1.0f};
  for (int y = 0; y < 32; ++y)
    for (int x = 0; x < 16; ++x) f.util->setPixel(halves, x, y, const_cast<float*>(y < 16 ? top : bottom));
  const fs::path jpg = f.folder / "halves.jpg";
  ASSERT_EQ(f.util->save(halves, 5, jpg.string().c_str()), 1);
  const Read r = readBack(jpg);
  ASSERT_EQ(r.w, 16);
  ASSERT_EQ(r.h, 32);
  ASSERT_EQ(r.n, 3);
  for (int y : {0, 5, 26, 31})
    for (int x : {0, 7, 15})
      for (int c = 0; c < 3; ++c) EXPECT_NEAR(r.at(x, y)[c], (y < 16 ? top : bottom)[c], 0.03) << x << "," << y;
  EXPECT_TRUE(f.host->messages().empty());
}

TEST(ImageSavers, FloatFormatsKeepValuesAboveOneAndIntegerFormatsClamp) {
  Fixture f;
  const LWPixmapID image = f.util->create(2, 1, LWIMTYP_RGBAFP);
  float bright[4] = {5.5f, 1.25f, -0.5f, 0.25f};
  float nan[4] = {std::nanf(""), 0.5f, 2.0f, 1.0f};
  f.util->setPixel(image, 0, 0, bright);
  f.util->setPixel(image, 1, 0, nan);
  ASSERT_EQ(f.util->save(image, 0, (f.folder / "bright.exr").string().c_str()), 1);
  const Read exr = readBack(f.folder / "bright.exr");
  ASSERT_EQ(exr.n, 4);
  EXPECT_EQ(exr.at(0, 0)[0], 5.5f);
  EXPECT_EQ(exr.at(0, 0)[1], 1.25f);
  EXPECT_EQ(exr.at(0, 0)[2], -0.5f);
  EXPECT_EQ(exr.at(0, 0)[3], 0.25f);

  ASSERT_EQ(f.util->save(image, 3, (f.folder / "bright.hdr").string().c_str()), 1);
  EXPECT_NEAR(readBack(f.folder / "bright.hdr").at(0, 0)[0], 5.5, 0.05);

  ASSERT_EQ(f.util->save(image, 1, (f.folder / "bright.png").string().c_str()), 1);
  const Read png = readBack(f.folder / "bright.png");
  EXPECT_EQ(png.at(0, 0)[0], 1.0f);
  EXPECT_EQ(png.at(0, 0)[2], 0.0f);
  EXPECT_EQ(png.at(1, 0)[0], 0.0f);  // not a number
  EXPECT_EQ(png.at(1, 0)[2], 1.0f);
}

TEST(ImageSavers, PixelTypesRoundTripAndBadCallsFailWithAMessage) {
  Fixture f;
  // Bytes in, bytes out; a byte image saves 8 bits a channel, a grey one a single channel.
  const LWPixmapID bytes = f.util->create(2, 2, LWIMTYP_RGB24);
  unsigned char in[3] = {10, 128, 255}, out[3] = {0, 0, 0};
  f.util->setPixel(bytes, 1, 1, in);
  f.util->getPixel(bytes, 1, 1, out);
  EXPECT_EQ(std::vector<int>(out, out + 3), (std::vector<int>{10, 128, 255}));
  f.util->setPixel(bytes, 2, 0, in);  // outside: ignored
  f.util->setPixel(bytes, -1, 0, in);
  int w = 0, h = 0, flags = -1;
  f.util->getInfo(bytes, &w, &h, &flags);
  EXPECT_EQ(w, 2);
  EXPECT_EQ(h, 2);
  ASSERT_EQ(f.util->save(bytes, 1, (f.folder / "bytes.png").string().c_str()), 1);
  const Read png = readBack(f.folder / "bytes.png");
  ASSERT_EQ(png.n, 3);
  EXPECT_FLOAT_EQ(png.at(1, 1)[1], 128.0f / 255.0f);

  const LWPixmapID grey = f.util->create(1, 1, LWIMTYP_GREYFP);
  float g = 0.75f, back = 0;
  f.util->setPixel(grey, 0, 0, &g);
  f.util->getPixel(grey, 0, 0, &back);
  EXPECT_EQ(back, 0.75f);
  ASSERT_EQ(f.util->save(grey, 2, (f.folder / "grey.tif").string().c_str()), 1);
  EXPECT_EQ(readBack(f.folder / "grey.tif").n, 1);

  // Resampling to twice the size keeps the corners.
  const LWPixmapID big = f.util->resample(bytes, 4, 4, LWISM_SUBSAMPLING);
  f.util->getPixel(big, 3, 3, out);
  EXPECT_EQ(out[0], 10);

  EXPECT_EQ(f.util->create(0, 5, LWIMTYP_RGBAFP), nullptr);
  EXPECT_EQ(f.util->create(5, 5, LWIMTYP_SPECIAL), nullptr);
  EXPECT_TRUE(f.host->messages().empty());

  // A folder that isn't there, a saver that isn't there, an image that is gone.
  EXPECT_EQ(f.util->save(bytes, 0, (f.folder / "no" / "such" / "x.exr").string().c_str()), 0);
  EXPECT_EQ(f.util->save(bytes, 9, (f.folder / "x.exr").string().c_str()), 0);
  f.util->destroy(bytes);
  EXPECT_EQ(f.util->save(bytes, 0, (f.folder / "x.exr").string().c_str()), 0);
  f.util->getPixel(bytes, 0, 0, out);  // nothing happens
  const auto messages = f.host->messages();
  ASSERT_EQ(messages.size(), 3u);
  for (const auto& m : messages) {
    EXPECT_EQ(m.kind, "error");
    EXPECT_FALSE(m.second.empty());
  }
  EXPECT_FALSE(fs::exists(f.folder / "x.exr"));
}

}  // namespace
