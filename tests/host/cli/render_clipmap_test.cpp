// A clip map from the scene file to the rendered picture, through the program and the module:
// a sheet before the camera with its left half cut away by an image, and a box behind it.
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include <OpenImageIO/imageio.h>
#include <gmock/gmock.h>

#include "host/formats/lwo2_writer.h"
#include "host/formats/lwo_builder.h"
#include "host/formats/lws_writer.h"
#include "host/scene/object.h"
#include "host/scene/scene.h"
#include "support/run_program.h"

using ::testing::HasSubstr;

namespace {

namespace fs = std::filesystem;

class RenderClipMap : public ::testing::Test {
 protected:
  void SetUp() override {
    dir = fs::temp_directory_path() / ("ombrel-clipmap-render-" + std::to_string(getpid()));
    fs::remove_all(dir);
    fs::create_directories(dir);
  }
  void TearDown() override { fs::remove_all(dir); }

  // Saves an object whose one surface glows in a colour of its own, so that what the camera
  // sees is told by colour alone.
  void glowing(host::ObjectBuilder& b, const std::string& surface, host::Vec3 color, const std::string& file) {
    host::Surface& s = b.surface(surface);
    s.color.value = color;
    s.luminosity.value = 1.0;
    s.diffuse.value = 0.0;
    s.sidedness = host::SideDouble;
    std::string error;
    ASSERT_TRUE(host::writeLwo2File(b.finish(), (dir / file).string(), error)) << error;
  }

  std::string writeScene() {
    // Two pixels, white (cut) on the left and black on the right.
    const std::string image = (dir / "holes.png").string();
    const float px[] = {1, 1, 1, 0, 0, 0};
    auto out = OIIO::ImageOutput::create(image);
    EXPECT_TRUE(out && out->open(image, OIIO::ImageSpec(2, 1, 3, OIIO::TypeDesc::UINT8)));
    out->write_image(OIIO::TypeDesc::FLOAT, px);
    out->close();

    host::ObjectBuilder sheet("sheet.lwo");
    const uint32_t a = sheet.addPoint(-5, -5, 0), b = sheet.addPoint(-5, 5, 0), c = sheet.addPoint(5, 5, 0),
                   d = sheet.addPoint(5, -5, 0);
    sheet.addPolygon({a, b, c, d}, "Sheet");
    glowing(sheet, "Sheet", {0, 0, 1}, "sheet.lwo");
    host::ObjectBuilder box("box.lwo");
    box.addBox({0, 0, 0}, {2.4f, 1.0f, 1.0f}, "Box");
    glowing(box, "Box", {0, 1, 0}, "box.lwo");

    host::Scene s;
    s.firstFrame = s.lastFrame = 1;
    const int plane = s.addItem(host::ItemType::Object, "sheet");
    s.item(plane).object.path = "sheet.lwo";
    s.item(plane).setPosition({0, 0, 3});
    auto clip = std::make_shared<host::SceneTexture>();
    clip->home = std::make_shared<host::ObjectModel>();
    host::Clip still;
    still.index = 1;
    still.path = "holes.png";  // found beside the scene
    clip->home->clips.push_back(still);
    host::TextureLayer layer;
    layer.clip = 1;
    layer.axis = 2;
    layer.mapping.size.value = {10, 10, 1};
    layer.pixelBlending = false;
    clip->layers.push_back(layer);
    s.item(plane).object.clipMap = clip;
    const int behind = s.addItem(host::ItemType::Object, "box");
    s.item(behind).object.path = "box.lwo";
    s.item(behind).setPosition({0, 0, 6});
    s.addItem(host::ItemType::Light, "Key");
    const int camera = s.addItem(host::ItemType::Camera, "Camera");
    s.item(camera).camera.width = 32;
    s.item(camera).camera.height = 18;
    const std::string path = (dir / "holes.lws").string();
    std::string error;
    EXPECT_TRUE(host::writeSceneFile(path, s, error)) << error;
    return path;
  }

  fs::path dir;
};

TEST_F(RenderClipMap, TheBoxShowsThroughWhereTheSheetIsCutAway) {
  const std::string scene = writeScene();

  // The scene file holds the clip map as the reader takes it.
  const auto info = testproc::run(OMBREL_PROGRAM, {"info", scene, "--json"}, 60);
  ASSERT_EQ(info.exitCode, 0) << info.err;
  std::string json = info.out;
  std::erase_if(json, [](char c) { return c == ' ' || c == '\n'; });
  EXPECT_THAT(json, HasSubstr("\"clipMap\":{\"layers\":1,\"images\":[\"holes.png\"]}"));
  EXPECT_THAT(json, HasSubstr("\"clipMap\":null"));  // the box has none
  EXPECT_THAT(testproc::run(OMBREL_PROGRAM, {"info", scene}, 60).out,
              HasSubstr("clip map: 1 layer, images \"holes.png\""));

  const std::string image = (dir / "out" / "x.exr").string();
  const auto r = testproc::run(OMBREL_PROGRAM, {"render", scene, "--level", "1", "--frames", "1-1", "-o", image}, 120);
  ASSERT_EQ(r.exitCode, 0) << r.err << r.out;
  EXPECT_THAT(r.err, ::testing::Not(HasSubstr("error")));

  auto in = OIIO::ImageInput::open((dir / "out" / "x0001.exr").string());
  ASSERT_TRUE(in);
  const OIIO::ImageSpec dims = in->spec_dimensions(0);
  ASSERT_EQ(dims.width, 32);
  ASSERT_EQ(dims.height, 18);
  const size_t n = size_t(dims.nchannels);
  std::vector<float> px(32 * 18 * n);
  ASSERT_TRUE(in->read_image(0, 0, 0, int(n), OIIO::TypeDesc::FLOAT, px.data()));
  const auto at = [&](int x, int y, int c) { return px[(size_t(y) * 32 + size_t(x)) * n + size_t(c)]; };
  // The box spans the middle of the picture behind the sheet: it shows through the cut half
  // on the left and is hidden by the whole half on the right. Rows above and below the box
  // show the sheet's halves: nothing (the backdrop) on the left, the sheet on the right.
  for (int y : {8, 9}) {
    for (int x : {11, 12}) {
      EXPECT_GT(at(x, y, 1), 0.5f) << x << "," << y;  // the box, green
      EXPECT_LT(at(x, y, 2), 0.1f) << x << "," << y;
    }
    for (int x : {19, 20}) {
      EXPECT_GT(at(x, y, 2), 0.5f) << x << "," << y;  // the sheet, blue
      EXPECT_LT(at(x, y, 1), 0.1f) << x << "," << y;
    }
  }
  for (int y : {1, 16}) {
    EXPECT_LT(at(3, y, 2), 0.1f) << y;
    EXPECT_GT(at(28, y, 2), 0.5f) << y;
  }
}

}  // namespace
