// The image list: clips of objects found beside them whatever path they were written with,
// pixels of known images in the right rows, sequences, images that can't be read, and many
// threads reading an image at once.
#include <array>
#include <atomic>
#include <filesystem>
#include <map>
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

// A host with each model loaded once, and a folder for pictures of our own.
struct Stage {
  fs::path folder = fs::temp_directory_path() / ("ombrel-images-" + std::to_string(::getpid()) + "-" +
                                                 ::testing::UnitTest::GetInstance()->current_test_info()->name());
  std::unique_ptr<host::Host> host;

  Stage() { fs::create_directories(folder); }
  ~Stage() {
    std::error_code ec;
    fs::remove_all(folder, ec);
  }
  void load(const std::vector<std::shared_ptr<const host::ObjectModel>>& models) {
    host::Scene scene;
    for (const auto& m : models) {
      const int i = scene.addItem(host::ItemType::Object, "Thing");
      scene.items[size_t(i)].object.model = m;
      scene.items[size_t(i)].object.path = m->fileName;
    }
    host::HostSettings quiet;
    quiet.messagesToStderr = false;
    host = std::make_unique<host::Host>(std::move(scene), quiet);
  }
  void picture(const std::string& name, int w, int h, const std::vector<float>& rgb) {
    auto out = OIIO::ImageOutput::create((folder / name).string());
    out->open((folder / name).string(), OIIO::ImageSpec(w, h, 3, OIIO::TypeDesc::FLOAT));
    out->write_image(OIIO::TypeDesc::FLOAT, rgb.data());
    out->close();
  }
  LWImageList* list() { return static_cast<LWImageList*>(host->global(LWIMAGELIST_GLOBAL, 0)); }
  LWSurfaceFuncs* surfaces() { return static_cast<LWSurfaceFuncs*>(host->global(LWSURFACEFUNCS_GLOBAL, 0)); }
  std::array<float, 3> rgb(LWImageID id, int x, int y) {
    std::array<float, 3> c{-1, -1, -1};
    list()->RGB(id, x, y, c.data());
    return c;
  }
};

std::shared_ptr<const host::ObjectModel> readModel(const fs::path& p) {
  host::ObjectModel m;
  std::string error;
  return host::readObjectFile(p.string(), m, error) ? std::make_shared<const host::ObjectModel>(std::move(m)) : nullptr;
}

const std::array<float, 3> kBlack{0, 0, 0};

TEST(ImageList, CorpusClipsAreFoundBesideTheirObjectsAndReadTopRowFirst) {
  if (!fs::exists(kCorpus / "uvtest.png")) GTEST_SKIP() << "no test corpus at " << kCorpus;
  Stage s;
  s.load({readModel(kCorpus / "uvtest.lwo"), readModel(kCorpus / "boxuv.lwo"),
          readModel(kCorpus / "MappingModes" / "earth_planar_x.lwo")});
  LWImageList* list = s.list();
  std::map<std::string, LWImageID> byName;
  for (LWImageID id = list->first(); id; id = list->next(id)) byName[list->name(id)] = id;
  ASSERT_EQ(byName.size(), 3u);

  // uvtest.png: square 1 (top left) is dark grey, squares 2 and 13 light grey.
  const LWImageID u = byName.at("uvtest.png");
  int w = 0, h = 0;
  list->size(u, &w, &h);
  EXPECT_EQ(w, 512);
  EXPECT_EQ(h, 512);
  EXPECT_FLOAT_EQ(s.rgb(u, 10, 10)[0], 100.0f / 255.0f);
  EXPECT_FLOAT_EQ(s.rgb(u, 10, 500)[1], 200.0f / 255.0f);
  EXPECT_FLOAT_EQ(s.rgb(u, 140, 10)[2], 200.0f / 255.0f);
  EXPECT_FLOAT_EQ(list->luma(u, 140, 500), 100.0f / 255.0f);
  EXPECT_EQ(list->isColor(u), 1);
  EXPECT_EQ(list->hasAlpha(u), 0);
  EXPECT_FLOAT_EQ(list->alpha(u, 10, 10), 1.0f);
  // Outside the image is black.
  EXPECT_EQ(s.rgb(u, -1, 0), kBlack);
  EXPECT_EQ(s.rgb(u, 512, 0), kBlack);

  // boxuv.png: the one-pixel white frames of its squares, column 3 white and 4 black.
  const LWImageID b = byName.at("boxuv.png");
  EXPECT_FLOAT_EQ(s.rgb(b, 3, 200)[0], 1.0f);
  EXPECT_FLOAT_EQ(s.rgb(b, 4, 200)[0], 0.0f);

  // The earth clip was written as a path of another machine ("Q:ASSIMP/..."); it is the file
  // beside the object.
  const LWImageID e = byName.at("earthSpherical.jpg");
  EXPECT_EQ(fs::path(list->filename(e, 0)), (kCorpus / "MappingModes" / "earthSpherical.jpg").lexically_normal());
  list->size(e, &w, &h);
  EXPECT_EQ(w, 2048);
  EXPECT_TRUE(s.host->messages().empty());
}

TEST(ImageList, SurfaceImagesPathsAndSpotReads) {
  Stage s;
  s.picture("bw.exr", 2, 1, {0, 0, 0, 1, 1, 1});  // black and white
  s.picture("red.exr", 1, 1, {1, 0, 0});
  host::ObjectBuilder builder((s.folder / "thing.lwo").string());
  builder.surface("S").reflectionImage = builder.addClip("bw.exr");
  builder.addClip((s.folder / "red.exr").string());
  builder.surface("S").refractionImage = builder.addClip("red.exr");
  s.load({std::make_shared<const host::ObjectModel>(builder.finish())});
  LWImageList* list = s.list();
  const LWSurfaceID surf = s.surfaces()->first();
  const LWImageID refl = s.surfaces()->getImg(surf, "ReflectionImage");
  const LWImageID refr = s.surfaces()->getImg(surf, "RefractionImage");
  ASSERT_NE(refl, nullptr);
  EXPECT_EQ(s.surfaces()->getImg(surf, "BaseColor"), nullptr);
  // Two clips naming one file by different paths are one image, and loading it by path too.
  EXPECT_EQ(list->next(list->next(list->first())), nullptr);
  EXPECT_EQ(list->load((s.folder / "red.exr").string().c_str()), refr);

  // With blending, halfway between the two pixel centres is grey; without, the pixel the
  // point is in.
  EXPECT_DOUBLE_EQ(list->lumaSpot(refl, 1.0, 0.5, 0.0, 1), 0.5);
  EXPECT_DOUBLE_EQ(list->lumaSpot(refl, 1.25, 0.5, 0.0, 1), 0.75);
  EXPECT_DOUBLE_EQ(list->lumaSpot(refl, 0.9, 0.5, 0.0, 0), 0.0);
}

TEST(ImageList, AnImageThatCantBeReadIsBlackAndSaidOnce) {
  Stage s;
  std::FILE* f = std::fopen((s.folder / "broken.png").string().c_str(), "wb");
  std::fputs("not a picture", f);
  std::fclose(f);
  host::ObjectBuilder builder((s.folder / "thing.lwo").string());
  builder.surface("S").reflectionImage = builder.addClip("C:\\nowhere\\missing.png");
  builder.surface("S").refractionImage = builder.addClip("broken.png");
  s.load({std::make_shared<const host::ObjectModel>(builder.finish())});
  LWImageList* list = s.list();
  for (const char* channel : {"ReflectionImage", "RefractionImage"}) {
    const LWImageID id = s.surfaces()->getImg(s.surfaces()->first(), channel);
    for (int i = 0; i < 3; ++i) {
      int w = 0, h = 0;
      list->size(id, &w, &h);
      EXPECT_EQ(w * h, 1) << channel;
      EXPECT_EQ(s.rgb(id, 0, 0), kBlack);
      EXPECT_EQ(list->lumaSpot(id, 0.3, 0.3, 0.0, 1), 0.0);
    }
  }
  const auto messages = s.host->messages();
  ASSERT_EQ(messages.size(), 2u);
  EXPECT_NE(messages[0].first.find("missing.png"), std::string::npos);
  EXPECT_NE(messages[0].second.find("not found"), std::string::npos);
  EXPECT_NE(messages[1].first.find("broken.png"), std::string::npos);

  // Ids the list never gave out read as nothing.
  const auto bogus = reinterpret_cast<LWImageID>(uintptr_t(4242));
  EXPECT_EQ(list->name(bogus), nullptr);
  EXPECT_EQ(s.rgb(bogus, 0, 0), kBlack);
  EXPECT_EQ(list->next(bogus), nullptr);
}

TEST(ImageList, SequencesReadTheFrameTheHostStandsAt) {
  Stage s;
  s.picture("shot003.exr", 1, 1, {0.3f, 0, 0});
  s.picture("shot004.exr", 1, 1, {0.4f, 0, 0});
  host::ObjectBuilder builder((s.folder / "thing.lwo").string());
  host::Clip seq;
  seq.index = 9;
  seq.kind = host::ClipKind::Sequence;
  seq.path = "shot";
  seq.digits = 3;
  seq.suffix = ".exr";
  seq.start = 3;
  seq.end = 4;
  builder.model().clips.push_back(seq);
  s.load({std::make_shared<const host::ObjectModel>(builder.finish())});
  const LWImageID id = s.list()->first();
  EXPECT_EQ(fs::path(s.list()->filename(id, 4)).filename(), "shot004.exr");
  EXPECT_EQ(fs::path(s.list()->filename(id, 9)).filename(), "shot004.exr");  // held at the clip's end
  s.host->setTime(3.0 / s.host->scene().framesPerSecond);
  EXPECT_FLOAT_EQ(s.rgb(id, 0, 0)[0], 0.3f);
  s.host->setTime(4.0 / s.host->scene().framesPerSecond);
  EXPECT_FLOAT_EQ(s.rgb(id, 0, 0)[0], 0.4f);
}

TEST(ImageList, ManyThreadsReadingAnImageFirstTimeSeeTheSamePixels) {
  Stage s;
  std::vector<float> px;
  for (int y = 0; y < 32; ++y)
    for (int x = 0; x < 64; ++x) px.insert(px.end(), {x / 64.0f, y / 32.0f, 0.5f});
  s.picture("ramp.exr", 64, 32, px);
  s.load({});
  const LWImageID id = s.list()->load((s.folder / "ramp.exr").string().c_str());
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i)
    threads.emplace_back([&, i] {
      for (int k = 0; k < 2000; ++k) {
        const int x = (k * 7 + i) % 64, y = (k * 3 + i) % 32;
        const auto c = s.rgb(id, x, y);
        wrong += c[0] != x / 64.0f || c[1] != y / 32.0f;
      }
    });
  for (auto& t : threads) t.join();
  EXPECT_EQ(wrong.load(), 0);
}

}  // namespace
