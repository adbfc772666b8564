// The scene reader on scenes written here: every kind of item and setting it keeps, object
// files found and shared, server blocks kept as text, and damaged files failing cleanly.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>

#include "host/formats/lws_reader.h"
#include "host/scene/transform.h"

namespace host {
namespace {

namespace fs = std::filesystem;

const char* const kScene = R"(LWSC
5

FirstFrame 5
LastFrame 90
FrameStep 2
FramesPerSecond 24
CurrentFrame 7

LoadObjectLayer 2 10000000 Objects/crate.lwo
ObjectMotion
NumChannels 2
Channel 0
{ Envelope
  2
  Key 0 0 0 0 0 0 0 0 0
  Key 4 1 3 0 0 0 0 0 0
  Behaviors 1 1
}
Channel 6
{ Envelope
  1
  Key 2 0 0 0 0 0 0 0 0
  Behaviors 1 1
}
PivotPosition 0 1 0
PivotRotation 0.5 0 0
ShadowOptions 5
ObjectDissolve (envelope)
{ Envelope
  2
  Key 0 0 0 0 0 0 0 0 0
  Key 1 2 3 0 0 0 0 0 0
  Behaviors 1 1
}
UnseenByRays 1
MatteObject 1
MatteColor 0.25 0.5 0.75
PolygonSize 0.5
SubdivisionOrder 5
ExcludeLight 20000001
ExcludeLight 21000000
ClipMap
{ Texture
  { ImageMap
    Opacity (envelope)
    { Envelope
      2
      Key 0 0 0 0 0 0 0 0 0
      Key 1 2 3 0 0 0 0 0 0
      Behaviors 1 1
    }
    Projection 5
    Image "images/holes and all.png"
    Size 2 (envelope) 4
    { Envelope
      1
      Key 3 0 0 0 0 0 0 0 0
      Behaviors 1 1
    }
    Rotation 90 0 -45
    WrapType 0 2
    FutureLine 1 2
    { FutureBlock
      Inside 1
    }
  }
  { Procedural "Checkerboard"
    Value 1
    Image "images/holes and all.png"
  }
  { Gradient
    Parameter "Distance to Object"
    Item "Pivot Null"
    Range 0 5
    Key 0  0 0 0 1
    Key 5  1 1 1 1 2
  }
}
Plugin DisplacementHandler 1 Wobble
  Amplitude 0.5
EndPlugin
APSDisplay
{ APS
  { VParm
  }
}

AddNullObject 10000001 Pivot Null
ParentItem 30000000

LoadObjectLayer 1 10000002 Objects\crate.lwo
ParentItem 10000001

AddLight 20000000
LightName Key Light
LightMotion
NumChannels 1
Channel 1
{ Envelope
  1
  Key 3 0 0 0 0 0 0 0 0
  Behaviors 1 1
}
LightColor 1 0.5 0.25
LightIntensity (envelope)
{ Envelope
  2
  Key 0.5 0 0 0 0 0 0 0 0
  Key 1.5 1 3 0 0 0 0 0 0
  Behaviors 1 1
}
LightType 2
LightFalloffType 1
LightRange 12.5
LightConeAngle 40
LightEdgeAngle 10
ShadowType 1
ShadowColor 0.1 0.2 0.3
AffectSpecular 0
Plugin LightHandler 1 SpotLight
EndPlugin

AddLight 20000001
LightName Fill
LightQuality 4
ShadowType 0
Plugin LightHandler 1 AreaLight
EndPlugin

AddCamera 30000000
CameraName Main Camera
TargetItem 10000000
HController 1
PController 0
ZoomFactor 2.5
FrameSize 800 600
ResolutionMultiplier 0.5
PixelAspect 1.2
DepthOfField 1
FocalDistance 7
LensFStop 2.8
MotionBlur 1
BlurLength 0.75
LimitedRegion 1
RegionLimits 10 20 300 200

SolidBackdrop 0
BackdropColor 0.1 0.1 0.1
ZenithColor 0 0 0.5
SkyColor 0.2 0.4 0.8
GroundColor 0.3 0.2 0.1
NadirColor 0.1 0.05 0
SkySqueezeAmount 3.5
GroundSqueezeAmount 1.5
FogType 2
FogMinDistance 1
FogMaxDistance 20
FogMinAmount 0.1
FogMaxAmount 0.9
FogColor 0.6 0.6 0.7
BackdropFog 1
BGImage images/plate.png

AmbientColor 0.5 0.5 1
AmbientIntensity 0.2
RenderMode 2
RayTraceEffects 5
RayRecursionLimit 8
EnableRadiosity 1
RadiosityType 2
SomeFutureSetting 1 2 3
Plugin MasterHandler 1 Ombrel
BEGIN SETTINGS
  LEVEL 3
END SETTINGS
EndPlugin
CurrentCamera 0
)";

class TempFolder {
 public:
  TempFolder() {
    path_ = fs::temp_directory_path() / ("lws_reader_test_" + std::to_string(::getpid()) + "_" +
                                         std::to_string(counter_++));
    fs::create_directories(path_);
  }
  ~TempFolder() {
    std::error_code ec;
    fs::remove_all(path_, ec);
  }
  const fs::path& path() const { return path_; }
  fs::path write(const std::string& name, const std::string& text) const {
    const fs::path p = path_ / name;
    fs::create_directories(p.parent_path());
    std::ofstream(p, std::ios::binary) << text;
    return p;
  }

 private:
  static inline int counter_ = 0;
  fs::path path_;
};

// Stands in for the object reader: one layer, and a count of the files it was asked for.
struct FakeObjects {
  std::vector<std::string> loaded;
  std::string warning;  // a flaw each object read mends
  LwsReadOptions options() {
    LwsReadOptions o;
    o.loadObject = [this](const std::string& path, ObjectModel& out, std::string&) {
      loaded.push_back(path);
      out.fileName = path;
      out.layers.resize(2);
      out.layers[0].number = 0;
      out.layers[1].number = 1;
      out.layers[1].name = "lid";
      if (!warning.empty()) out.warnings.push_back(path + ": " + warning);
      return true;
    };
    return o;
  }
};

TEST(LwsReader, ReadsItemsSettingsAndServerBlocks) {
  TempFolder dir;
  const fs::path scenePath = dir.write("shot.lws", kScene);
  dir.write("Objects/crate.lwo", "x");
  FakeObjects objects;
  Scene scene;
  std::string error;
  std::vector<std::string> warnings;
  ASSERT_TRUE(readSceneFile(scenePath.string(), scene, error, objects.options(), &warnings)) << error;
  EXPECT_TRUE(warnings.empty()) << warnings.front();

  EXPECT_EQ(scene.version, 5);
  EXPECT_EQ(scene.firstFrame, 5);
  EXPECT_EQ(scene.lastFrame, 90);
  EXPECT_EQ(scene.frameStep, 2);
  EXPECT_EQ(scene.framesPerSecond, 24.0);
  ASSERT_EQ(scene.items.size(), 6u);

  // Objects: both crates found beside the scene and read once; the layer's name joins the
  // item's.
  const Item& crate = scene.items[0];
  EXPECT_EQ(crate.type, ItemType::Object);
  EXPECT_EQ(crate.id, 0x10000000u);
  EXPECT_EQ(crate.name, "crate:lid");
  EXPECT_EQ(crate.object.layer, 2);
  ASSERT_NE(crate.object.model, nullptr);
  EXPECT_EQ(objects.loaded.size(), 1u);
  EXPECT_EQ(scene.items[2].object.model, crate.object.model);
  EXPECT_EQ(crate.object.shadowOptions, 5u);
  EXPECT_EQ(crate.object.flags, ObjectUnseenByRays | ObjectMatte);
  EXPECT_DOUBLE_EQ(crate.object.dissolve.at(1.0), 0.5);
  EXPECT_EQ(crate.object.matteColor.at(0), (Vec3{0.25, 0.5, 0.75}));
  EXPECT_DOUBLE_EQ(crate.object.polygonSize.at(0), 0.5);
  EXPECT_EQ(crate.object.subdivisionOrder, 5);
  EXPECT_TRUE(crate.object.excludes(0x20000001u));
  EXPECT_TRUE(crate.object.excludes(kRadiosityItemId));
  EXPECT_FALSE(crate.object.excludes(0x20000000u));
  EXPECT_EQ(crate.pivotPosition, (Vec3{0, 1, 0}));
  EXPECT_EQ(crate.pivotRotation, (Vec3{0.5, 0, 0}));
  // Motion: channel 0 animated linearly, channel 6 set, the rest at their defaults.
  EXPECT_DOUBLE_EQ(itemParam(scene, 0, ItemParam::Position, 0.25)[0], 1.0);
  EXPECT_EQ(itemParam(scene, 0, ItemParam::Scaling, 0), (Vec3{2, 1, 1}));
  ASSERT_EQ(crate.plugins.size(), 1u);
  EXPECT_EQ(crate.plugins[0].serverClass, "DisplacementHandler");
  EXPECT_EQ(crate.plugins[0].name, "Wobble");
  EXPECT_EQ(crate.plugins[0].text(), "  Amplitude 0.5\n");

  // The clip map: three layers over one image clip, with its envelopes in the clip map's home.
  ASSERT_NE(crate.object.clipMap, nullptr);
  const SceneTexture& clip = *crate.object.clipMap;
  ASSERT_EQ(clip.layers.size(), 3u);
  ASSERT_EQ(clip.home->clips.size(), 1u);
  EXPECT_EQ(clip.home->clips[0].path, "images/holes and all.png");
  EXPECT_EQ(clip.home->clips[0].index, 1u);
  const TextureLayer& image = clip.layers[0];
  EXPECT_EQ(image.type, TextureType::ImageMap);
  EXPECT_EQ(image.clip, 1u);
  EXPECT_EQ(image.projection, Projection::UV);
  EXPECT_EQ(image.wrapWidth, WrapMode::Reset);
  EXPECT_EQ(image.wrapHeight, WrapMode::Mirror);
  EXPECT_NEAR(image.mapping.rotation.value[0], 1.5707963267948966, 1e-12);
  EXPECT_NEAR(image.mapping.rotation.value[2], -0.7853981633974483, 1e-12);
  ASSERT_NE(clip.home->findEnvelope(image.opacityEnvelope), nullptr);
  EXPECT_DOUBLE_EQ(clip.home->findEnvelope(image.opacityEnvelope)->evaluate(2.0), 1.0);
  EXPECT_EQ(image.mapping.size.value[0], 2.0);
  EXPECT_EQ(image.mapping.size.value[2], 4.0);
  ASSERT_NE(image.mapping.size.envelope, 0u);
  EXPECT_EQ(clip.home->findEnvelope(image.mapping.size.envelope), nullptr);  // x is a plain number
  ASSERT_NE(clip.home->findEnvelope(image.mapping.size.envelope + 1), nullptr);
  EXPECT_EQ(clip.home->findEnvelope(image.mapping.size.envelope + 1)->evaluate(0.0), 3.0);
  EXPECT_EQ(clip.layers[1].procedure, "Checkerboard");
  EXPECT_EQ(clip.layers[1].procedureValue, (std::array<double, 3>{1, 1, 1}));
  EXPECT_EQ(clip.layers[1].clip, 1u);  // the same image, the same clip
  const TextureLayer& gradient = clip.layers[2];
  EXPECT_EQ(gradient.gradientItem, "Pivot Null");
  ASSERT_EQ(gradient.gradientKeys.size(), 2u);
  EXPECT_EQ(gradient.gradientKeyShapes, (std::vector<uint16_t>{0, 2}));
  EXPECT_EQ(scene.items[2].object.clipMap, nullptr);

  // Parents: the null hangs from the camera that comes later in the file, the second crate
  // from the null.
  const Item& null = scene.items[1];
  EXPECT_TRUE(null.object.isNull);
  EXPECT_EQ(null.name, "Pivot Null");
  EXPECT_EQ(null.parent, 5);
  EXPECT_EQ(scene.items[2].parent, 1);

  const Item& key = scene.items[3];
  EXPECT_EQ(key.type, ItemType::Light);
  EXPECT_EQ(key.name, "Key Light");
  EXPECT_EQ(key.light.kind, LightKind::Spot);
  EXPECT_EQ(key.light.color.at(0), (Vec3{1, 0.5, 0.25}));
  EXPECT_DOUBLE_EQ(key.light.intensity.at(0.5), 1.0);
  EXPECT_EQ(key.light.falloff, LightFalloff::Linear);
  EXPECT_DOUBLE_EQ(key.light.range.at(0), 12.5);
  EXPECT_NEAR(key.light.coneAngle.at(0), 40 * M_PI / 180, 1e-12);
  EXPECT_NEAR(key.light.edgeAngle.at(0), 10 * M_PI / 180, 1e-12);
  EXPECT_EQ(key.light.shadowColor.at(0), (Vec3{0.1, 0.2, 0.3}));
  EXPECT_EQ(key.light.flags(), LightLimitedRange | LightNoSpecular);
  EXPECT_DOUBLE_EQ(itemParam(scene, 3, ItemParam::WorldPosition, 0)[1], 3.0);
  ASSERT_EQ(key.plugins.size(), 1u);
  EXPECT_EQ(key.plugins[0].name, "SpotLight");
  EXPECT_EQ(scene.items[4].light.kind, LightKind::Area);
  EXPECT_EQ(scene.items[4].light.quality, 4);
  EXPECT_EQ(scene.items[4].light.shadowType, 0);

  const CameraSettings& cam = scene.items[5].camera;
  EXPECT_EQ(scene.items[5].name, "Main Camera");
  EXPECT_DOUBLE_EQ(cam.zoomFactor.at(0), 2.5);
  EXPECT_EQ(cam.width, 400);
  EXPECT_EQ(cam.height, 300);
  EXPECT_DOUBLE_EQ(cam.pixelAspect, 1.2);
  EXPECT_TRUE(cam.depthOfField);
  EXPECT_DOUBLE_EQ(cam.focalDistance.at(0), 7.0);
  EXPECT_DOUBLE_EQ(cam.fStop.at(0), 2.8);
  EXPECT_EQ(cam.motionBlur, 1);
  EXPECT_DOUBLE_EQ(cam.blurLength.at(0), 0.75);
  EXPECT_EQ(cam.limitedRegion, 1);
  EXPECT_EQ(cam.regionX0, 10);
  EXPECT_EQ(cam.regionY1, 200);
  EXPECT_EQ(scene.renderCamera(), 5);
  EXPECT_EQ(scene.items[5].target, 0);
  EXPECT_TRUE(scene.items[5].targetHeading);
  EXPECT_FALSE(scene.items[5].targetPitch);

  EXPECT_TRUE(scene.backdrop.gradient);
  EXPECT_EQ(scene.backdrop.zenith.at(0), (Vec3{0, 0, 0.5}));
  EXPECT_EQ(scene.backdrop.nadir.at(0), (Vec3{0.1, 0.05, 0}));
  EXPECT_DOUBLE_EQ(scene.backdrop.skySqueeze.at(0), 3.5);
  EXPECT_DOUBLE_EQ(scene.backdrop.groundSqueeze.at(0), 1.5);
  EXPECT_EQ(scene.fog.type, 2);
  EXPECT_DOUBLE_EQ(scene.fog.maxDistance.at(0), 20.0);
  EXPECT_DOUBLE_EQ(scene.fog.minAmount.at(0), 0.1);
  EXPECT_EQ(scene.fog.flags(), FogBackground);
  EXPECT_EQ(scene.compositing.background, "images/plate.png");
  EXPECT_EQ(scene.ambientColor.at(0), (Vec3{0.5, 0.5, 1}));
  EXPECT_DOUBLE_EQ(scene.ambientIntensity.at(0), 0.2);
  EXPECT_EQ(scene.render.recursionLimit, 8);
  EXPECT_EQ(scene.renderOptions(), RenderShadowTrace | RenderRefractTrace | RenderRadiosity | RenderMotionBlur |
                                       RenderDepthOfField | RenderLimitedRegion);

  // The scene's own block keeps its text exactly, for the server's load.
  ASSERT_EQ(scene.plugins.size(), 1u);
  EXPECT_EQ(scene.plugins[0].serverClass, "MasterHandler");
  EXPECT_EQ(scene.plugins[0].text(), "BEGIN SETTINGS\n  LEVEL 3\nEND SETTINGS\n");
  EXPECT_EQ(findPlugin(scene.plugins, "MasterHandler", "Ombrel"), &scene.plugins[0]);
}

TEST(LwsReader, FindsObjectsAndWarnsOfMissingOnes) {
  TempFolder dir;
  dir.write("content/Objects/a.lwo", "x");
  dir.write("scenes/b.lwo", "x");
  const std::string scene = (dir.path() / "scenes/s.lws").string();
  const std::string content = (dir.path() / "content").string();
  // Relative to the content folder, beside the scene, and by file name alone.
  EXPECT_EQ(resolveScenePath("Objects/a.lwo", scene, content), (dir.path() / "content/Objects/a.lwo").string());
  EXPECT_EQ(resolveScenePath("Objects\\b.lwo", scene, content), (dir.path() / "scenes/b.lwo").string());
  EXPECT_EQ(resolveScenePath("C:\\Work\\b.lwo", scene, ""), (dir.path() / "scenes/b.lwo").string());
  EXPECT_EQ(resolveScenePath("missing.lwo", scene, content), "");

  FakeObjects objects;
  Scene out;
  std::string error;
  std::vector<std::string> warnings;
  ASSERT_TRUE(readSceneText("\xEF\xBB\xBFLWSC\r\n3\r\n\r\nLoadObjectLayer 1 nowhere.lwo\r\n", scene, out, error, objects.options(),
                            &warnings))
      << error;
  ASSERT_EQ(out.items.size(), 1u);
  EXPECT_EQ(out.items[0].object.model, nullptr);

  // A cache of models spares a second read of the same file; the flaws the object's reader
  // mended are told with every scene that loads it, once however many items share it.
  std::map<std::string, std::shared_ptr<const ObjectModel>> cache;
  objects.warning = "SURF > COLR at offset 20: short sub-chunk";
  LwsReadOptions cached = objects.options();
  cached.objectCache = &cache;
  const std::string text = "LWSC\n5\nLoadObjectLayer 1 b.lwo\nLoadObjectLayer 2 b.lwo\n";
  for (int read = 0; read < 2; ++read) {
    std::vector<std::string> objectWarnings;
    ASSERT_TRUE(readSceneText(text, scene, out, error, cached, &objectWarnings)) << error;
    EXPECT_EQ(objectWarnings, std::vector<std::string>{(dir.path() / "scenes/b.lwo").string() + ": " + objects.warning});
  }
  EXPECT_EQ(objects.loaded.size(), 1u);
  EXPECT_EQ(out.items[0].object.model, cache.begin()->second);
  ASSERT_EQ(warnings.size(), 1u);
  EXPECT_NE(warnings[0].find("s.lws: line 4:"), std::string::npos) << warnings[0];
  EXPECT_NE(warnings[0].find("nowhere.lwo"), std::string::npos) << warnings[0];
}

TEST(LwsReader, OldFormatsConvertUnits) {
  // Version 2: channel lists, degrees, colours out of 255.
  const char* text = R"(LWSC
2

FramesPerSecond 25
AddNullObject Spinner
ObjectMotion (unnamed)
  4
  2
  0 0 2 0 0 0
  10 2 1 0 0 0
  0
  0
  1
  90 0 2 0 0 0
Pre/PostBehavior 1 2 1 1 1 1 1 1
AmbientColor 255 0 51
AddLight
LightColor 255 255 0
LgtIntensity 0.8
)";
  Scene scene;
  std::string error;
  ASSERT_TRUE(readSceneText(text, "old.lws", scene, error)) << error;
  ASSERT_EQ(scene.items.size(), 2u);
  const Item& spinner = scene.items[0];
  EXPECT_DOUBLE_EQ(spinner.motion[PositionX].at(1.0), 5.0);  // linear key
  EXPECT_DOUBLE_EQ(spinner.motion[PositionX].at(3.0), 5.0);  // repeats after 2 s
  EXPECT_NEAR(spinner.motion[Heading].at(0), M_PI / 2, 1e-12);
  EXPECT_NEAR(scene.ambientColor.at(0)[2], 0.2, 1e-12);
  EXPECT_EQ(scene.items[1].light.color.at(0), (Vec3{1, 1, 0}));
  EXPECT_DOUBLE_EQ(scene.items[1].light.intensity.at(0), 0.8);

  // Version 1: one line of all channels per key, then frame, linear flag, tension,
  // continuity and bias.
  const char* v1 = "LWSC\n1\n\nFramesPerSecond 10\nAddNullObject N\nObjectMotion (unnamed)\n  9\n  2\n"
                   "  0 0 0 0 0 0 1 1 1\n  0 0 0 0 0\n  4 0 0 0 0 0 1 1 1\n  20 1 0 0 0\nEndBehavior 1\n";
  ASSERT_TRUE(readSceneText(v1, "v1.lws", scene, error)) << error;
  EXPECT_DOUBLE_EQ(scene.items[0].motion[PositionX].at(1.0), 2.0);  // frame 20 is 2 s
}

TEST(LwsReader, DamagedScenesFailWithFileAndLine) {
  struct Case {
    const char* text;
    const char* where;  // expected "file:line"
    const char* what;   // part of the message
  };
  const Case cases[] = {
      {"LWSB\n5\n", "bad.lws:1", "LWSC"},
      {"LWSC\nfive\n", "bad.lws:2", "version"},
      {"LWSC\n5\nAddLight\nLightColor 1 x 1\n", "bad.lws:4", "LightColor"},
      {"LWSC\n5\nAddLight\nLightType 9\n", "bad.lws:4", "light type"},
      {"LWSC\n5\nAddNullObject N\nObjectMotion\nNumChannels 9\nChannel 0\n{ Envelope\n  2\n  Key 1 0 0 0 0 0 0 0 0\n",
       "bad.lws:7", "ends inside"},
      {"LWSC\n5\nAddNullObject N\nObjectMotion\nNumChannels 1\nChannel 0\n{ Envelope\n  1\n  Key 1 x 0\n}\n",
       "bad.lws:9", "not a number"},
      {"LWSC\n5\nAddNullObject N\nObjectMotion\nNumChannels 1\nChannel 64\n", "bad.lws:6", "out of range"},
      {"LWSC\n5\nPlugin MasterHandler 1 Ombrel\nLEVEL 3\n", "bad.lws:3", "EndPlugin"},
      {"LWSC\n5\nFramesPerSecond 0\n", "bad.lws:3", "FramesPerSecond"},
      {"LWSC\n2\nAddNullObject N\nObjectMotion (unnamed)\n  9\n  1\n  0 0\n", "bad.lws:7", "6 numbers"},
  };
  for (const Case& c : cases) {
    Scene scene;
    std::string error;
    EXPECT_FALSE(readSceneText(c.text, "bad.lws", scene, error)) << c.text;
    EXPECT_EQ(error.rfind(std::string(c.where) + ":", 0), 0u) << error;
    EXPECT_NE(error.find(c.what), std::string::npos) << error;
  }
}

// A flaw met again and again is told once, at its first line, with a count of the rest; the
// mended values are the ones the file meant.
TEST(LwsReader, RepeatedFlawsAreToldOnceWithTheirCount) {
  std::string text = "LWSC\r\n5\r\nAddNullObject N\r\nObjectMotion\r\nNumChannels 3\r\n";
  for (int c = 0; c < 3; ++c)
    text += "Channel " + std::to_string(c) + "\r\n{ Envelope\r\n  0\r\n  Key " + std::to_string(c + 1) +
            " 0 0 0 0 0 0 0 0\r\n  Behaviors 1 1\r\n}\r\n";
  text += "AddLight\r\nLightColor 0.5 0.25\r\nLightIntensity\r\nAddNullObject Last";
  Scene scene;
  std::string error;
  std::vector<std::string> warnings;
  ASSERT_TRUE(readSceneText(text, "many.lws", scene, error, {}, &warnings)) << error;
  ASSERT_EQ(warnings.size(), 2u);
  EXPECT_EQ(warnings[0], "many.lws: line 7: the envelope says 0 keys but holds 1; the keys were taken (2 more like it)");
  EXPECT_EQ(warnings[1].rfind("many.lws: line 25: LightColor has 2 values, too few", 0), 0u) << warnings[1];
  EXPECT_NE(warnings[1].find("(1 more like it)"), std::string::npos) << warnings[1];
  ASSERT_EQ(scene.items.size(), 3u);
  for (int c = 0; c < 3; ++c) EXPECT_DOUBLE_EQ(scene.items[0].motion[size_t(c)].at(0.0), c + 1.0);
  EXPECT_DOUBLE_EQ(scene.items[1].light.color[0].value, 0.5);
  EXPECT_DOUBLE_EQ(scene.items[1].light.color[1].value, 0.25);
  EXPECT_DOUBLE_EQ(scene.items[1].light.color[2].value, 1.0);  // the default
  EXPECT_EQ(scene.items[2].name, "Last");                     // a last line without its line end
}

// Lines of nothing but control white space (a vertical tab, a form feed) count as blank
// everywhere, inside envelopes too, instead of passing for a line with no first word.
// A clip map damaged inside costs only the clip map: a warning names its line, and whatever
// follows the block still reads. Braces that never close fail the scene.
TEST(LwsReader, DamagedClipMapsAreLeftOutWithAWarning) {
  struct Case {
    const char* block;
    int line;          // of the scene, counted from 1
    const char* what;  // part of the warning
  };
  const Case cases[] = {
      {"{ Texture\n  { ImageMap\n    Opacity lots\n  }\n}\n", 7, "\"lots\" is not a number"},
      {"{ Texture\n  { Marble\n  }\n}\n", 6, "Marble"},
      {"{ Texture\n  { ImageMap\n    Image \"\"\n  }\n}\n", 7, "Image needs"},
      {"{ Texture\n  { Procedural\n  }\n}\n", 6, "needs its name"},
      {"{ Texture\n  { ImageMap\n    WrapType 1 9\n  }\n}\n", 7, "out of range"},
      {"{ Texture\n  { ImageMap\n    Opacity (envelope)\n    Size 1 1 1\n  }\n}\n", 8, "Envelope"},
      {"{ Surface\n}\n", 5, "{ Texture"},
      {"\n", 4, "no block"},
  };
  for (const Case& c : cases) {
    const std::string text = std::string("LWSC\n5\nAddNullObject Holey\nClipMap\n") + c.block +
                             "UnseenByRays 1\nAddNullObject After\n";
    Scene scene;
    std::string error;
    std::vector<std::string> warnings;
    ASSERT_TRUE(readSceneText(text, "holey.lws", scene, error, {}, &warnings)) << error << "\n" << text;
    ASSERT_EQ(warnings.size(), 1u) << text;
    EXPECT_EQ(warnings[0].rfind("holey.lws: line " + std::to_string(c.line) + ":", 0), 0u) << warnings[0];
    EXPECT_NE(warnings[0].find(c.what), std::string::npos) << warnings[0];
    EXPECT_NE(warnings[0].find("Holey"), std::string::npos) << warnings[0];
    ASSERT_EQ(scene.items.size(), 2u) << text;
    EXPECT_EQ(scene.items[0].object.clipMap, nullptr);
    EXPECT_EQ(scene.items[0].object.flags, ObjectUnseenByRays);
  }
  Scene scene;
  std::string error;
  EXPECT_FALSE(readSceneText("LWSC\n5\nAddNullObject N\nClipMap\n{ Texture\n  { ImageMap\n}\n", "open.lws",
                             scene, error));
  EXPECT_EQ(error.rfind("open.lws:4:", 0), 0u) << error;
  EXPECT_NE(error.find("clip map"), std::string::npos) << error;
}

TEST(LwsReader, ControlWhiteSpaceLinesAreBlank) {
  const std::string text =
      "LWSC\n3\n\nAddNullObject N\nObjectMotion\nNumChannels 1\nChannel 0\n{ Envelope\n  1\n\v\n\f \n"
      "  Key 2.5 0 0 0 0 0 0 0 0\n}\n";
  Scene scene;
  std::string error;
  ASSERT_TRUE(readSceneText(text, "blank.lws", scene, error)) << error;
  ASSERT_EQ(scene.items.size(), 1u);
  EXPECT_DOUBLE_EQ(scene.items[0].motion[0].at(0.0), 2.5);
}

TEST(LwsReader, EveryTruncationEndsCleanly) {
  // Cut the full scene after every line and in the middle of lines: each cut either reads or
  // fails with one message naming the file, and never crashes.
  const std::string text = kScene;
  LwsReadOptions options;
  options.loadObjects = false;
  size_t failures = 0;
  for (size_t cut = 0; cut < text.size(); cut += 7) {
    Scene scene;
    std::string error;
    if (!readSceneText(text.substr(0, cut), "cut.lws", scene, error, options)) {
      ++failures;
      EXPECT_EQ(error.rfind("cut.lws:", 0), 0u) << error;
    }
  }
  EXPECT_GT(failures, 20u);

  Scene scene;
  std::string error;
  EXPECT_FALSE(readSceneFile("/nonexistent/folder/scene.lws", scene, error));
  EXPECT_NE(error.find("/nonexistent/folder/scene.lws"), std::string::npos);
}

}  // namespace
}  // namespace host
