// Surface capture: the fixed-point encodings, every channel read from a real host surface
// at the capture's time, sidedness as the only reported change, and host faults.
#include <cmath>
#include <cstring>
#include <functional>
#include <stdexcept>
#include <string>

#include "capture/captured_surface.h"
#include "capture_fixture.h"

namespace capturetest {
namespace {

constexpr double kPi = 3.14159265358979323846;

TEST(SurfaceEncoding, ValuesEncodeAndDecodeAsTheSampleReadsThem) {
  EXPECT_EQ(encodeFixed(1.0), 256);
  EXPECT_EQ(encodeFixed(1.0) * kFixedToUnit, 1.0);
  EXPECT_EQ(encodeFixed(0.999), 255);  // 255.744 truncated
  EXPECT_EQ(encodeFixed(0.999) * kFixedToUnit, 0.99609375);
  EXPECT_EQ(encodeFixed(255.0), 65280);
  EXPECT_EQ(encodeFixed(1e9), 65280);
  EXPECT_EQ(encodeFixed(-3.0), 0);
  EXPECT_EQ(encodeFixed(std::nan("")), 0);
  EXPECT_EQ(encodeIor(1.0), 6553);
  EXPECT_NEAR(encodeIor(1.0) * kIorToUnit, 1.0, 1e-15);
  EXPECT_EQ(encodeIor(0.0), 6);  // clamped to 0.001
  EXPECT_EQ(encodeIor(100.0), 65530);
  EXPECT_EQ(encodeTranslucency(1.0), 255);
  EXPECT_EQ(encodeTranslucency(2.0), 255);
  EXPECT_EQ(encodeTranslucency(0.5), 127);
  EXPECT_EQ(encodeGlossiness(-0.25), 0.0f);
  EXPECT_EQ(encodeGlossiness(3.5), 3.5f);
  EXPECT_EQ(smoothCosine(0.0), 0.999);
  EXPECT_EQ(smoothCosine(-1.0), 0.999);
  EXPECT_EQ(smoothCosine(kPi), -0.999);
  EXPECT_NEAR(smoothCosine(kPi / 3), 0.5, 1e-15);
}

class SurfaceTest : public CaptureTest {
 protected:
  // One object with one surface "S" that tests set up through the model.
  void startWith(const std::function<void(host::ObjectModel&, host::Surface&)>& edit) {
    model = boxModel("s.lwo", {0, 0, 0}, {1, 1, 1}, "S");
    edit(*model, model->surfaces[0]);
    host::Scene s;
    addObject(s, model, "Object");
    startHost(std::move(s));
    id = globalServices.surfaceFuncs->byName("S", nullptr)[0];
    ASSERT_NE(id, nullptr);
  }
  Model model;
  LWSurfaceID id = nullptr;
  CapturedSurface record{};
};

TEST_F(SurfaceTest, EveryChannelIsReadAndEncoded) {
  startWith([](host::ObjectModel& m, host::Surface& s) {
    s.color.value = {1.0, 0.5, 300.0};
    s.luminosity.value = 0.5;
    s.specularity.value = 0.999;
    s.glossiness.value = -0.5;
    s.reflectivity.value = -1.0;
    s.transparency.value = 1.0;
    s.translucency.value = 1.0;
    s.ior.value = 1.5;
    s.bump.value = 0.7;
    s.additiveTransparency.value = 250.0;
    s.diffuseSharpness.value = 1.5;
    s.smoothingAngle = -0.5;
    s.vertexColoring = 0.5;
    s.vertexColorMapType = host::chunkId("RGB ");
    s.vertexColorMap = "paint";
    // Diffuse animated from 0 at 0 s to 1 at 2 s, linear.
    host::ObjectEnvelope e;
    e.index = 1;
    e.envelope.keys = {{0.0, 0.0, host::KeyShape::Linear}, {2.0, 1.0, host::KeyShape::Linear}};
    m.envelopes.push_back(e);
    s.diffuse.envelope = 1;
    // Textures on two channels.
    host::TextureLayer layer;
    layer.type = host::TextureType::Gradient;
    s.luminosity.layers.push_back(layer);
    s.bump.layers.push_back(layer);
  });
  // The host stands at 0 s; the capture asks for 0.5 s.
  EXPECT_EQ(Surface_Capture(id, 0.5, &record), 0);
  EXPECT_EQ(record.color[0], 256);
  EXPECT_EQ(record.color[1], 128);
  EXPECT_EQ(record.color[2], 65280);
  EXPECT_EQ(record.luminosity, 128);
  EXPECT_EQ(record.diffuse, 64);  // 0.25 from the envelope at 0.5 s
  EXPECT_EQ(record.specularity, 255);
  EXPECT_EQ(record.glossiness, 0.0f);
  EXPECT_EQ(record.reflectivity, 0);
  EXPECT_EQ(record.transparency, 256);
  EXPECT_EQ(record.translucency, 255);
  EXPECT_EQ(record.ior, uint16_t(1.5 * 6553.0));
  EXPECT_EQ(record.textureCount, 2);
  EXPECT_NE(record.luminosityTexture, nullptr);
  EXPECT_NE(record.bumpTexture, nullptr);
  EXPECT_EQ(record.colorTexture, nullptr);
  EXPECT_EQ(record.diffuseTexture, nullptr);
  EXPECT_DOUBLE_EQ(record.bumpAmplitude, 0.7);
  EXPECT_EQ(record.additiveTransparency, 200.0);
  EXPECT_EQ(record.diffuseSharpness, 1.0);
  EXPECT_EQ(record.smoothingAngle, -0.5);  // kept raw
  EXPECT_EQ(record.smoothCosine, 0.999);
  EXPECT_EQ(record.doubleSided, 0);
  EXPECT_STREQ(record.vertexColorMap, "paint");
  // The sample's head is the record's head.
  ShadingSample sample;
  std::memcpy(&sample, &record, sizeof sample);
  EXPECT_EQ(sample.ior, record.ior);
  EXPECT_EQ(sample.translucency, 255);
}

TEST_F(SurfaceTest, VertexColourMapNames) {
  startWith([](host::ObjectModel&, host::Surface& s) { s.vertexColoring = 1.0; });
  std::memcpy(record.vertexColorMap, "stale", 6);
  Surface_Capture(id, 0.0, &record);
  EXPECT_STREQ(record.vertexColorMap, "");  // no map, whatever the amount
  model->surfaces[0].vertexColorMap = std::string(300, 'm');
  Surface_Capture(id, 0.0, &record);
  EXPECT_EQ(std::string(record.vertexColorMap), std::string(255, 'm'));
}

// Host functions that raise, standing in for a host that faults inside a call.
LWTextureID raisingGetTex(LWSurfaceID, const char* channel) {
  if (std::string(channel) == "Diffuse") throw std::runtime_error("texture");
  return nullptr;
}
double* raisingGetFlt(LWSurfaceID, const char* channel) {
  if (std::string(channel) == "Specularity" || std::string(channel) == "BaseColor")
    throw std::runtime_error("value");
  static double one[3] = {1.0, 1.0, 1.0};
  return one;
}
int raisingGetInt(LWSurfaceID, const char*) { throw std::runtime_error("int"); }

TEST_F(SurfaceTest, AFaultingHostCostsOnlyWhatItFaultedIn) {
  startWith([](host::ObjectModel&, host::Surface&) {});
  LWSurfaceFuncs faulty = *globalServices.surfaceFuncs;
  faulty.getTex = raisingGetTex;
  faulty.getFlt = raisingGetFlt;
  faulty.getInt = raisingGetInt;
  globalServices.surfaceFuncs = &faulty;
  record.color[0] = 100;
  record.doubleSided = 1;
  record.reflectionOptions = 77;
  EXPECT_EQ(Surface_Capture(id, 0.0, &record), 0);
  EXPECT_EQ(record.diffuse, 256);     // its texture faulted, its value did not
  EXPECT_EQ(record.diffuseTexture, nullptr);
  EXPECT_EQ(record.specularity, 0);   // a faulting value reads as 0
  EXPECT_EQ(record.color[0], 100);    // a faulting colour stands as it was
  EXPECT_EQ(record.transparency, 256);
  EXPECT_DOUBLE_EQ(record.bumpAmplitude, 1.0);
  // getInt("Sidedness") faulted: the capture ended there, with no change reported.
  EXPECT_EQ(record.doubleSided, 1);
  EXPECT_EQ(record.reflectionOptions, 77);
}

}  // namespace
}  // namespace capturetest
