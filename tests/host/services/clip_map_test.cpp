// Objects' clip maps through "Object Info" and the texture functions, on a real host: image
// maps on pictures written here, a checkerboard, and an image that isn't there.
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <unistd.h>

#include <OpenImageIO/imageio.h>
#include <gtest/gtest.h>
#include <lwimage.h>
#include <lwrender.h>
#include <lwtxtr.h>

#include "host/scene/object.h"
#include "host/services/host.h"
#include "host/services/scene_ids.h"
#include "scene_fixture.h"

namespace {

namespace fs = std::filesystem;

class ClipMaps : public ::testing::Test {
 protected:
  void SetUp() override {
    dir = fs::temp_directory_path() / ("ombrel-clipmap-" + std::to_string(::getpid()) + "-" +
                                       ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::create_directories(dir);
  }
  void TearDown() override {
    std::error_code ec;
    fs::remove_all(dir, ec);
  }

  // Two pixels: white on the left, black on the right.
  std::string halfWhite() {
    const std::string p = (dir / "holes.png").string();
    const float px[] = {1, 1, 1, 0, 0, 0};
    auto out = OIIO::ImageOutput::create(p);
    EXPECT_TRUE(out && out->open(p, OIIO::ImageSpec(2, 1, 3, OIIO::TypeDesc::UINT8)));
    out->write_image(OIIO::TypeDesc::FLOAT, px);
    out->close();
    return p;
  }

  // An object of the scene with a clip map of one layer.
  static void addObject(host::Scene& s, const std::string& name, const host::TextureLayer* layer,
                        const std::string& image = "") {
    const int i = s.addItem(host::ItemType::Object, name);
    s.item(i).object.model = servicetest::boxModel();
    if (!layer) return;
    auto t = std::make_shared<host::SceneTexture>();
    t->home = std::make_shared<host::ObjectModel>();
    t->layers.push_back(*layer);
    if (!image.empty()) {
      host::Clip c;
      c.index = 1;
      c.path = image;
      t->home->clips.push_back(c);
      t->layers.back().clip = 1;
    }
    s.item(i).object.clipMap = t;
  }

  void start(host::Scene scene) {
    host::HostSettings quiet;
    quiet.messagesToStderr = false;
    h = std::make_unique<host::Host>(std::move(scene), quiet);
    objects = static_cast<LWObjectInfo*>(h->global(LWOBJECTINFO_GLOBAL, 0));
    tf = static_cast<LWTextureFuncs*>(h->global(LWTEXTUREFUNCS_GLOBAL, 0));
  }

  LWItemID id(int item) const { return host::itemIdAt(h->scene(), item); }

  // The clip map's value at an object position, starting from 0 as the renderer does.
  double valueAt(int item, LWTextureID t, double x, double y, double z) {
    LWMicropol m{};
    const double p[3] = {x, y, z};
    for (int k = 0; k < 3; ++k) m.oPos[k] = m.wPos[k] = p[k];
    m.wNorm[2] = m.gNorm[2] = -1.0;
    m.oAxis = m.wAxis = 2;
    m.objID = id(item);
    double v = 0.0;
    tf->evaluate(t, &m, &v);
    return v;
  }

  fs::path dir;
  std::unique_ptr<host::Host> h;
  LWObjectInfo* objects = nullptr;
  LWTextureFuncs* tf = nullptr;
};

host::TextureLayer planarImage() {
  host::TextureLayer l;
  l.type = host::TextureType::ImageMap;
  l.projection = host::Projection::Planar;
  l.axis = 2;
  l.mapping.size.value = {2, 2, 2};
  l.pixelBlending = false;
  return l;
}

TEST_F(ClipMaps, ImageAndCheckerboardLayersCutWhereTheyExceedHalf) {
  const std::string image = halfWhite();
  host::TextureLayer checker;
  checker.type = host::TextureType::Procedural;
  checker.procedure = "Checkerboard";
  checker.procedureValue = {1, 1, 1};
  const host::TextureLayer imageLayer = planarImage();

  host::Scene s;
  addObject(s, "Sheet", &imageLayer, image);
  addObject(s, "Checked", &checker);
  addObject(s, "Plain", nullptr);
  start(std::move(s));

  const LWTextureID sheet = objects->clipMap(id(0));
  ASSERT_NE(sheet, nullptr);
  EXPECT_EQ(objects->clipMap(id(0)), sheet);  // one texture per clip map
  EXPECT_STREQ(tf->name(sheet), "Sheet.ClipMap");
  EXPECT_EQ(tf->type(sheet), TRT_PERCENT);
  EXPECT_EQ(objects->clipMap(id(2)), nullptr);
  tf->newtime(sheet, 0.0, 0);
  // The size-2 planar map spans x from -1 to 1: the left half is white, the right black.
  EXPECT_GT(valueAt(0, sheet, -0.5, 0.2, 0.0), 0.5);
  EXPECT_GT(valueAt(0, sheet, -0.9, -0.9, 3.0), 0.5);  // along the axis the map doesn't change
  EXPECT_LT(valueAt(0, sheet, 0.5, 0.2, 0.0), 0.5);
  EXPECT_LT(valueAt(0, sheet, 0.9, -0.9, 0.0), 0.5);

  const LWTextureID checked = objects->clipMap(id(1));
  ASSERT_NE(checked, nullptr);
  EXPECT_NE(checked, sheet);
  EXPECT_LT(valueAt(1, checked, 0.5, 0.5, 0.5), 0.5);  // an even square leaves the surface
  EXPECT_GT(valueAt(1, checked, 1.5, 0.5, 0.5), 0.5);  // an odd one cuts it
  EXPECT_GT(valueAt(1, checked, 0.5, -0.5, 0.5), 0.5);

  // The clip map's picture is in the image list.
  auto* images = static_cast<LWImageList*>(h->global(LWIMAGELIST_GLOBAL, 0));
  bool listed = false;
  for (LWImageID i = images->first(); i; i = images->next(i)) listed |= std::string(images->name(i)) == "holes.png";
  EXPECT_TRUE(listed);
  EXPECT_TRUE(h->messages().empty());
}

TEST_F(ClipMaps, AMissingImageIsToldOnceAndCutsNothing) {
  const host::TextureLayer layer = planarImage();
  host::Scene s;
  addObject(s, "Lost", &layer, (dir / "gone.png").string());
  start(std::move(s));
  const LWTextureID t = objects->clipMap(id(0));
  ASSERT_NE(t, nullptr);
  for (double x : {-0.5, 0.5, -0.5})
    for (double y : {-0.5, 0.5}) EXPECT_EQ(valueAt(0, t, x, y, 0.0), 0.0);
  int told = 0;
  for (const host::HostMessage& m : h->messages()) told += m.first.find("gone.png") != std::string::npos;
  EXPECT_EQ(told, 1);
}

}  // namespace
