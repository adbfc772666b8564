// Scenes written and read back: what was built in code comes back the same, and a written
// scene read again writes the same text.
#include <gtest/gtest.h>

#include <filesystem>

#include "host/formats/lws_reader.h"
#include "host/formats/lws_writer.h"
#include "host/scene/transform.h"

namespace host {
namespace {

namespace fs = std::filesystem;

Scene readBack(const std::string& text) {
  Scene scene;
  std::string error;
  LwsReadOptions options;
  options.loadObjects = false;
  EXPECT_TRUE(readSceneText(text, "written.lws", scene, error, options)) << error << "\n" << text;
  return scene;
}

Envelope curve(KeyShape shape) {
  Envelope e;
  const double times[] = {0.0, 0.5, 2.0}, values[] = {1.0, -2.0, 3.0};
  for (int i = 0; i < 3; ++i) {
    EnvelopeKey k;
    k.time = times[i], k.value = values[i], k.shape = shape;
    k.tension = 0.3, k.continuity = -0.2, k.bias = 0.1;
    k.param[0] = shape == KeyShape::Bezier2D ? -0.1 : 1.5;
    k.param[1] = 0.7, k.param[2] = 0.2, k.param[3] = -0.4;
    e.keys.push_back(k);
  }
  e.pre = EnvBehavior::OffsetRepeat;
  e.post = EnvBehavior::Oscillate;
  return e;
}

TEST(LwsWriter, SceneBuiltInCodeComesBack) {
  Scene scene;
  const int box = scene.addItem(ItemType::Object, "box");
  const int rig = scene.addItem(ItemType::Object, "rig");
  const int light = scene.addItem(ItemType::Light, "Spot");
  const int cam = scene.addItem(ItemType::Camera, "Cam");
  Item& b = scene.item(box);
  b.object.path = "Objects/box.lwo";
  b.object.layer = 2;
  b.parent = rig;
  b.pivotPosition = {0.25, 0, 0};
  b.motion[PositionX].envelope = curve(KeyShape::TCB);
  b.motion[PositionY].envelope = curve(KeyShape::Hermite);
  b.motion[PositionZ].envelope = curve(KeyShape::Bezier2D);
  b.motion[Heading].envelope = curve(KeyShape::Stepped);
  b.object.flags = ObjectUnseenByCamera | ObjectMatte;
  b.object.matteColor = {0.5, 0.25, 1};
  b.object.dissolve.envelope = curve(KeyShape::Linear);
  b.object.excludedLights = {scene.item(light).id, kRadiosityItemId};
  b.plugins.push_back({"DisplacementHandler", 1, "Noise", {"  Scale 2", "", "  Seed 7"}});
  scene.item(rig).object.isNull = true;
  scene.item(rig).active = false;
  Item& l = scene.item(light);
  l.light.kind = LightKind::Spot;
  l.light.coneAngle = 0.4;
  l.light.color = {1, 0.5, 0.25};
  l.light.color[1].envelope = curve(KeyShape::Bezier1D);
  l.light.affectDiffuse = false;
  l.target = box;
  l.targetPitch = false;
  scene.item(cam).camera.width = 320;
  scene.item(cam).camera.focalDistance = 3.5;
  scene.backdrop.gradient = true;
  scene.fog.type = 3;
  scene.fog.maxDistance.envelope = curve(KeyShape::TCB);
  scene.render.traceReflection = true;
  scene.plugins.push_back({"MasterHandler", 1, "Ombrel", {"BEGIN TARNOK_LABS_PLUGIN x", "END TARNOK_LABS_PLUGIN x"}});

  const Scene back = readBack(writeSceneText(scene));
  ASSERT_EQ(back.items.size(), 4u);
  const Item& b2 = back.items[0];
  EXPECT_EQ(b2.id, b.id);
  EXPECT_EQ(b2.object.layer, 2);
  EXPECT_EQ(b2.object.path, "Objects/box.lwo");
  EXPECT_EQ(b2.parent, 1);
  EXPECT_FALSE(back.items[1].active);
  EXPECT_EQ(b2.object.flags, b.object.flags);
  EXPECT_EQ(b2.object.matteColor.at(0), (Vec3{0.5, 0.25, 1}));
  EXPECT_EQ(b2.object.excludedLights, b.object.excludedLights);
  ASSERT_EQ(b2.plugins.size(), 1u);
  EXPECT_EQ(b2.plugins[0].lines, b.plugins[0].lines);
  for (double t : {-0.7, 0.1, 0.25, 0.5, 1.3, 2.9}) {
    for (int c = 0; c < MotionChannelCount; ++c)
      EXPECT_NEAR(b2.motion[size_t(c)].at(t), b.motion[size_t(c)].at(t), 1e-12) << c << " at " << t;
    EXPECT_NEAR(b2.object.dissolve.at(t), b.object.dissolve.at(t), 1e-12);
    EXPECT_NEAR(back.items[2].light.color[1].at(t), l.light.color[1].at(t), 1e-12);
    EXPECT_NEAR(back.fog.maxDistance.at(t), scene.fog.maxDistance.at(t), 1e-12);
  }
  const Item& l2 = back.items[2];
  EXPECT_NEAR(l2.light.coneAngle.at(0), 0.4, 1e-12);
  EXPECT_EQ(l2.light.flags(), LightNoDiffuse);
  EXPECT_EQ(l2.target, 0);
  EXPECT_FALSE(l2.targetPitch);
  EXPECT_EQ(back.items[3].camera.width, 320);
  EXPECT_EQ(back.items[3].camera.focalDistance.at(0), 3.5);
  EXPECT_TRUE(back.backdrop.gradient);
  EXPECT_EQ(back.fog.type, 3);
  EXPECT_EQ(back.renderOptions(), scene.renderOptions());
  ASSERT_EQ(back.plugins.size(), 1u);
  EXPECT_EQ(back.plugins[0].text(), scene.plugins[0].text());

  // Read again, it writes the same text.
  EXPECT_EQ(writeSceneText(back), writeSceneText(scene));
}

// A clip map of every layer kind, with envelopes on a value, a vector's middle part, a
// rotation and one wrap amount, comes back as it was and writes the same text again.
TEST(LwsWriter, ClipMapsComeBack) {
  auto t = std::make_shared<SceneTexture>();
  t->home = std::make_shared<ObjectModel>();
  Clip c;
  c.index = 1;
  c.path = "C:\\Images\\holes \"big\".png";
  t->home->clips.push_back(c);
  const auto envelope = [&](uint32_t index, KeyShape shape) {
    t->home->envelopes.push_back({index, 0, curve(shape)});
    return index;
  };
  TextureLayer image;
  image.clip = 1;
  image.opacityEnvelope = envelope(1, KeyShape::TCB);
  image.blend = BlendMode::Multiply;
  image.axis = 0;
  image.projection = Projection::Cubic;
  // A vector's envelopes stand at its index and the two after it; here the centre's y and
  // the rotation's heading and bank. An enveloped part's own number isn't written.
  image.mapping.center = {{0.5, 0, 2}, envelope(3, KeyShape::Hermite) - 1};
  image.mapping.rotation = {{0, 0.25, 0}, envelope(5, KeyShape::Bezier2D)};
  envelope(7, KeyShape::Stepped);
  image.mapping.coordinateSystem = 1;
  image.wrapWidth = WrapMode::Edge;
  image.wrapWidthAmount = 2.5;
  image.wrapHeightEnvelope = envelope(8, KeyShape::Linear);
  image.antialiasFlags = 0;
  image.antialiasStrength = 0.25;
  image.uvMap = "Texture";
  TextureLayer checker;
  checker.type = TextureType::Procedural;
  checker.procedure = "Checkerboard";
  checker.procedureValue = {0.25, 0.5, 1};
  checker.enabled = false;
  checker.negative = true;
  TextureLayer gradient;
  gradient.type = TextureType::Gradient;
  gradient.gradientParameter = "Y Coordinate";
  gradient.gradientItem = "(none)";
  gradient.gradientStart = -1;
  gradient.gradientRepeat = 1;
  gradient.gradientKeys = {{-1, {0, 0, 0, 1}}, {1, {1, 0.5, 0.25, 0.5}}};
  gradient.gradientKeyShapes = {1, 2};
  t->layers = {image, checker, gradient};

  Scene scene;
  scene.item(scene.addItem(ItemType::Object, "plain")).object.isNull = true;
  const int sheet = scene.addItem(ItemType::Object, "sheet");
  scene.item(sheet).object.isNull = true;
  scene.item(sheet).object.clipMap = t;
  const std::string text = writeSceneText(scene);
  const Scene back = readBack(text);
  ASSERT_EQ(back.items.size(), 2u);
  EXPECT_EQ(back.items[0].object.clipMap, nullptr);
  ASSERT_NE(back.items[1].object.clipMap, nullptr);
  const SceneTexture& u = *back.items[1].object.clipMap;
  EXPECT_EQ(u.home->clips, t->home->clips);
  ASSERT_EQ(u.layers.size(), 3u);
  // Rotations pass through degrees; the rest is exact.
  TextureLayer turned = u.layers[0];
  for (size_t k = 0; k < 3; ++k) {
    EXPECT_NEAR(turned.mapping.rotation.value[k], image.mapping.rotation.value[k], 1e-15);
    turned.mapping.rotation.value[k] = image.mapping.rotation.value[k];
  }
  // Envelopes may be numbered differently; they are compared by what they give below.
  const TextureLayer& again = u.layers[0];
  for (TextureLayer* l : {&turned, &image}) {
    l->opacityEnvelope = l->wrapHeightEnvelope = 0;
    l->mapping.center.envelope = l->mapping.rotation.envelope = 0;
  }
  EXPECT_EQ(turned, image);
  EXPECT_EQ(u.layers[1], checker);
  EXPECT_EQ(u.layers[2], gradient);
  const TextureLayer& was = t->layers[0];
  const auto at = [](const SceneTexture& s, uint32_t index) { return s.home->findEnvelope(index); };
  ASSERT_EQ(at(u, again.mapping.center.envelope), nullptr);  // x and z are plain numbers
  ASSERT_EQ(at(u, again.mapping.center.envelope + 2), nullptr);
  for (const auto& [a, b] : {std::pair{again.opacityEnvelope, was.opacityEnvelope},
                             {again.mapping.center.envelope + 1, was.mapping.center.envelope + 1},
                             {again.mapping.rotation.envelope, was.mapping.rotation.envelope},
                             {again.mapping.rotation.envelope + 2, was.mapping.rotation.envelope + 2},
                             {again.wrapHeightEnvelope, was.wrapHeightEnvelope}}) {
    ASSERT_NE(at(u, a), nullptr) << a;
    for (double time : {-0.7, 0.25, 1.3, 2.9}) EXPECT_NEAR(at(u, a)->evaluate(time), at(*t, b)->evaluate(time), 1e-9);
  }
  EXPECT_EQ(writeSceneText(back), text);
}

TEST(LwsWriter, CorpusScenesSurviveAWriteAndRead) {
  const fs::path folder = fs::path(OMBREL_CORPUS_DIR) / "lightwave" / "LWS";
  if (!fs::is_directory(folder)) GTEST_SKIP() << "no corpus at " << folder;
  for (const char* name : {"move_xz_hermite.lws", "move_xz_bezier.lws", "move_y_pre_ofrep_post_osc.lws",
                           "move_x_oldformat_56.lws"}) {
    Scene scene;
    std::string error;
    LwsReadOptions options;
    options.loadObjects = false;
    ASSERT_TRUE(readSceneFile((folder / name).string(), scene, error, options)) << error;
    const Scene back = readBack(writeSceneText(scene));
    ASSERT_EQ(back.items.size(), scene.items.size()) << name;
    for (double frame = -60; frame <= 150; frame += 3.5) {
      const double t = frame / scene.framesPerSecond;
      for (size_t i = 0; i < scene.items.size(); ++i) {
        const Vec3 a = itemParam(scene, int(i), ItemParam::WorldPosition, t);
        const Vec3 b = itemParam(back, int(i), ItemParam::WorldPosition, t);
        for (int k = 0; k < 3; ++k) EXPECT_NEAR(a[k], b[k], 1e-9) << name << " item " << i << " frame " << frame;
      }
    }
  }
}

}  // namespace
}  // namespace host
