// The image list: clips of objects found beside them whatever path they were written with,
// pixels of known images in the right rows, sequences, images that can't be read, and many
// threads reading an image at once.
#include <array>
#include <atomic>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

#include <OpenImageIO/imageio.h>
#include <gtest/gtest.h>
#include <lwimage.h>
#include <lwsurf.h>

#include "host/formats/lwo_builder.h"
#include "host/formats/lwo_reader.h"
#include "host/services/host.h"

namespace {

namespace fs = std::filesystem;

const fs::path kCorpus = fs::path(OMBREL_CORPUS_DIR) / "lightwave" / "LWO" / "LWO2";

host::HostSettings quiet() {
  host::HostSettings s;
  s.messagesToStderr = false;
  return s;
}

// A scene loading each model once, read from its file or built.
std::unique_ptr<host::Host> hostWith(const std::vector<std::shared_ptr<const host::ObjectModel>>& models,
                                     host::HostSettings settings = quiet()) {
  host::Scene scene;
  for (const auto& m : models) {
    const int i = scene.addItem(host::ItemType::Object, fs::path(m->fileName).stem().string());
    scene.items[size_t(i)].object.model = m;
    scene.items[size_t(i)].object.path = m->fileName;
  }
  return std::make_unique<host::Host>(std::move(scene), std::move(settings));
}

std::shared_ptr<const host::ObjectModel> readModel(const fs::path& p) {
  host::ObjectModel m;
  std::string error;
  if (!host::readObjectFile(p.string(), m, error)) return nullptr;
  return std::make_shared<const host::ObjectModel>(std::move(m));
}

LWImageList* images(host::Host& h) { return static_cast<LWImageList*>(h.global(LWIMAGELIST_GLOBAL, 0)); }

struct TempFolder {
  fs::path path;
  TempFolder() {
    path = fs::temp_directory_path() / ("ombrel-images-" + std::to_string(::getpid()) + "-" +
                                        ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::create_directories(path);
  }
  ~TempFolder() {
    std::error_code ec;
    fs::remove_all(path, ec);
  }
};

void writePicture(const fs::path& path, int w, int h, const std::vector<float>& rgb) {
  auto out = OIIO::ImageOutput::create(path.string());
  ASSERT_TRUE(out);
  ASSERT_TRUE(out->open(path.string(), OIIO::ImageSpec(w, h, 3, OIIO::TypeDesc::FLOAT)));
  ASSERT_TRUE(out->write_image(OIIO::TypeDesc::FLOAT, rgb.data()));
  out->close();
}

std::array<float, 3> rgb(LWImageList* list, LWImageID id, int x, int y) {
  std::array<float, 3> c{-1, -1, -1};
  list->RGB(id, x, y, c.data());
  return c;
}

TEST(ImageList, CorpusClipsAreFoundBesideTheirObjectsAndReadTopRowFirst) {
  if (!fs::exists(kCorpus / "uvtest.png")) GTEST_SKIP() << "no test corpus at " << kCorpus;
  auto uv = readModel(kCorpus / "uvtest.lwo");
  auto box = readModel(kCorpus / "boxuv.lwo");
  auto earth = readModel(kCorpus / "MappingModes" / "earth_planar_x.lwo");
  ASSERT_TRUE(uv && box && earth);
  auto h = hostWith({uv, box, earth});
  LWImageList* list = images(*h);
  ASSERT_NE(list, nullptr);

  std::map<std::string, LWImageID> byName;
  for (LWImageID id = list->first(); id; id = list->next(id)) byName[list->name(id)] = id;
  ASSERT_EQ(byName.size(), 3u);

  // uvtest.png: square 1 (top left) is dark grey, square 13 (bottom left) light grey.
  const LWImageID u = byName.at("uvtest.png");
  int w = 0, ht = 0;
  list->size(u, &w, &ht);
  EXPECT_EQ(w, 512);
  EXPECT_EQ(ht, 512);
  EXPECT_FLOAT_EQ(rgb(list, u, 10, 10)[0], 100.0f / 255.0f);
  EXPECT_FLOAT_EQ(rgb(list, u, 10, 500)[1], 200.0f / 255.0f);
  EXPECT_FLOAT_EQ(rgb(list, u, 140, 10)[2], 200.0f / 255.0f);
  EXPECT_FLOAT_EQ(list->luma(u, 140, 500), 100.0f / 255.0f);
  EXPECT_EQ(list->isColor(u), 1);
  EXPECT_EQ(list->hasAlpha(u), 0);
  EXPECT_FLOAT_EQ(list->alpha(u, 10, 10), 1.0f);

  // boxuv.png: its squares' one-pixel white frames, column 3 white and 4 black.
  const LWImageID b = byName.at("boxuv.png");
  EXPECT_FLOAT_EQ(rgb(list, b, 3, 200)[0], 1.0f);
  EXPECT_FLOAT_EQ(rgb(list, b, 4, 200)[0], 0.0f);
  EXPECT_FLOAT_EQ(rgb(list, b, 10, 10)[0], 0.0f);

  // The earth clip was written as a path of another machine ("Q:ASSIMP/..."); it is the file
  // beside the object.
  const LWImageID e = byName.at("earthSpherical.jpg");
  EXPECT_EQ(fs::path(list->filename(e, 0)), fs::absolute(kCorpus / "MappingModes" / "earthSpherical.jpg").lexically_normal());
  list->size(e, &w, &ht);
  EXPECT_EQ(w, 2048);
  EXPECT_EQ(ht, 1024);

  // Outside the image is black, whatever is asked.
  EXPECT_EQ(rgb(list, u, -1, 0), (std::array<float, 3>{0, 0, 0}));
  EXPECT_EQ(rgb(list, u, 512, 0), (std::array<float, 3>{0, 0, 0}));
  EXPECT_EQ(list->luma(u, 0, 99999), 0.0f);
  EXPECT_TRUE(h->messages().empty());
}

TEST(ImageList, SurfaceImagesLoadedPathsAndSpotReads) {
  TempFolder t;
  // Two columns, black and white, in one row; and a second file for the refraction image.
  writePicture(t.path / "bw.exr", 2, 1, {0, 0, 0, 1, 1, 1});
  writePicture(t.path / "red.exr", 1, 1, {1, 0, 0});
  host::ObjectBuilder builder((t.path / "thing.lwo").string());
  host::Surface& s = builder.surface("S");
  s.reflectionImage = builder.addClip("bw.exr");
  builder.addClip((t.path / "red.exr").string());
  const uint32_t red = builder.addClip("red.exr");
  s.refractionImage = red;
  auto h = hostWith({std::make_shared<const host::ObjectModel>(builder.finish())});
  LWImageList* list = images(*h);
  auto* sf = static_cast<LWSurfaceFuncs*>(h->global(LWSURFACEFUNCS_GLOBAL, 0));
  const LWSurfaceID surf = sf->first();
  const LWImageID refl = sf->getImg(surf, "ReflectionImage");
  const LWImageID refr = sf->getImg(surf, "RefractionImage");
  ASSERT_NE(refl, nullptr);
  ASSERT_NE(refr, nullptr);
  EXPECT_EQ(sf->getImg(surf, "BaseColor"), nullptr);
  // Two clips naming one file by different paths are one image.
  int count = 0;
  for (LWImageID id = list->first(); id; id = list->next(id)) ++count;
  EXPECT_EQ(count, 2);

  // Loading by path gives the same image again, and a new one for a new file.
  EXPECT_EQ(list->load((t.path / "red.exr").string().c_str()), refr);
  EXPECT_EQ(list->load(nullptr), nullptr);

  // Spot reads: with blending, halfway between the two pixel centres is grey; without, the
  // pixel the point is in.
  EXPECT_DOUBLE_EQ(list->lumaSpot(refl, 1.0, 0.5, 0.0, 1), 0.5);
  EXPECT_DOUBLE_EQ(list->lumaSpot(refl, 1.25, 0.5, 0.0, 1), 0.75);
  EXPECT_DOUBLE_EQ(list->lumaSpot(refl, 0.9, 0.5, 0.0, 0), 0.0);
  double c[3];
  list->RGBSpot(refr, 0.5, 0.5, 0.0, 1, c);
  EXPECT_EQ(c[0], 1.0);
  EXPECT_EQ(c[1], 0.0);
  EXPECT_DOUBLE_EQ(list->alphaSpot(refr, 0.5, 0.5, 0.0, 1), 1.0);
}

TEST(ImageList, AnImageThatCantBeReadIsBlackAndSaidOnce) {
  TempFolder t;
  std::FILE* f = std::fopen((t.path / "broken.png").string().c_str(), "wb");
  std::fputs("not a picture", f);
  std::fclose(f);
  host::ObjectBuilder builder((t.path / "thing.lwo").string());
  builder.surface("S").reflectionImage = builder.addClip("C:\\nowhere\\missing.png");
  builder.surface("S").refractionImage = builder.addClip("broken.png");
  auto h = hostWith({std::make_shared<const host::ObjectModel>(builder.finish())});
  LWImageList* list = images(*h);
  auto* sf = static_cast<LWSurfaceFuncs*>(h->global(LWSURFACEFUNCS_GLOBAL, 0));
  for (const char* channel : {"ReflectionImage", "RefractionImage"}) {
    const LWImageID id = sf->getImg(sf->first(), channel);
    ASSERT_NE(id, nullptr) << channel;
    for (int i = 0; i < 3; ++i) {
      int w = 0, ht = 0;
      list->size(id, &w, &ht);
      EXPECT_EQ(w, 1);
      EXPECT_EQ(ht, 1);
      EXPECT_EQ(rgb(list, id, 0, 0), (std::array<float, 3>{0, 0, 0}));
      EXPECT_EQ(list->lumaSpot(id, 0.3, 0.3, 0.0, 1), 0.0);
    }
  }
  const auto messages = h->messages();
  ASSERT_EQ(messages.size(), 2u);
  EXPECT_NE(messages[0].first.find("missing.png"), std::string::npos);
  EXPECT_NE(messages[0].second.find("not found"), std::string::npos);
  EXPECT_NE(messages[1].first.find("broken.png"), std::string::npos);

  // Ids the list never gave out read as nothing.
  const auto bogus = reinterpret_cast<LWImageID>(uintptr_t(4242));
  EXPECT_EQ(list->name(bogus), nullptr);
  EXPECT_EQ(rgb(list, bogus, 0, 0), (std::array<float, 3>{0, 0, 0}));
  int w = -1, ht = -1;
  list->size(bogus, &w, &ht);
  EXPECT_EQ(w, 0);
  EXPECT_EQ(list->next(bogus), nullptr);
}

TEST(ImageList, SequencesReadTheFrameTheHostStandsAt) {
  TempFolder t;
  writePicture(t.path / "shot003.exr", 1, 1, {0.3f, 0, 0});
  writePicture(t.path / "shot004.exr", 1, 1, {0.4f, 0, 0});
  host::ObjectBuilder builder((t.path / "thing.lwo").string());
  host::Clip seq;
  seq.index = 9;
  seq.kind = host::ClipKind::Sequence;
  seq.path = "shot";
  seq.digits = 3;
  seq.suffix = ".exr";
  seq.start = 3;
  seq.end = 4;
  builder.model().clips.push_back(seq);
  builder.surface("S").reflectionImage = 9;
  auto h = hostWith({std::make_shared<const host::ObjectModel>(builder.finish())});
  LWImageList* list = images(*h);
  const LWImageID id = list->first();
  ASSERT_NE(id, nullptr);
  EXPECT_EQ(fs::path(list->filename(id, 4)).filename(), "shot004.exr");
  EXPECT_EQ(fs::path(list->filename(id, 9)).filename(), "shot004.exr");  // held at the clip's end
  h->setTime(3.0 / h->scene().framesPerSecond);
  EXPECT_FLOAT_EQ(rgb(list, id, 0, 0)[0], 0.3f);
  h->setTime(4.0 / h->scene().framesPerSecond);
  EXPECT_FLOAT_EQ(rgb(list, id, 0, 0)[0], 0.4f);
}

TEST(ImageList, ManyThreadsReadingAnImageFirstTimeSeeTheSamePixels) {
  TempFolder t;
  const int w = 64, ht = 32;
  std::vector<float> px;
  for (int y = 0; y < ht; ++y)
    for (int x = 0; x < w; ++x) px.insert(px.end(), {x / 64.0f, y / 32.0f, 0.5f});
  writePicture(t.path / "ramp.exr", w, ht, px);
  auto h = hostWith({});
  LWImageList* list = images(*h);
  const LWImageID id = list->load((t.path / "ramp.exr").string().c_str());
  ASSERT_NE(id, nullptr);
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i)
    threads.emplace_back([&, i] {
      for (int k = 0; k < 2000; ++k) {
        const int x = (k * 7 + i) % w, y = (k * 3 + i) % ht;
        const auto c = rgb(list, id, x, y);
        if (c[0] != x / 64.0f || c[1] != y / 32.0f) ++wrong;
      }
    });
  for (auto& th : threads) th.join();
  EXPECT_EQ(wrong.load(), 0);
  EXPECT_TRUE(h->messages().empty());
}

}  // namespace
