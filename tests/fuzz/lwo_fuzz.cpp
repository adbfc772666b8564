// Object reader: any bytes give a model or a message, never a crash, a hang or a huge claim
// on memory. A model it accepts, once saved, reads back to a model that saves the same bytes.
#include <cstdint>
#include <cstdio>
#include <string>

#include "fuzz_driver.h"
#include "host/formats/lwo2_writer.h"
#include "host/formats/lwo_builder.h"
#include "host/formats/lwo_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  host::ObjectModel model;
  std::string error;
  if (!host::readObjectBuffer(data, size, "fuzz.lwo", model, error)) {
    if (error.empty()) __builtin_trap();
    return 0;
  }
  std::vector<uint8_t> first, second;
  if (!host::writeLwo2(model, first, error)) return 0;  // more than the format can hold
  host::ObjectModel again;
  if (!host::readObjectBuffer(first.data(), first.size(), "saved.lwo", again, error)) {
    std::fprintf(stderr, "a saved model doesn't read back: %s\n", error.c_str());
    __builtin_trap();
  }
  if (!host::writeLwo2(again, second, error) || second != first) {
    std::fprintf(stderr, "a saved model reads back different (%zu and %zu bytes)\n", first.size(), second.size());
    __builtin_trap();
  }
  return 0;
}

std::vector<std::vector<uint8_t>> fuzzBuiltInSeeds() {
  using namespace host;
  ObjectBuilder b("seed.lwo");
  b.addBox({0, 0, 0}, {1, 1, 1}, "Box", "UV");
  b.addSphere({2, 0, 0}, 1.0f, 6, 4, "Ball", "BallUV");
  b.addPolygon({0, 1, 2}, "Box", chunkId("CURV"));
  b.setPart(0, "Lid");
  b.layer().polygons[1].smoothingGroup = 2;
  b.addImageMap("Box", chunkId("COLR"), b.addClip("a.png"), Projection::UV, "UV");
  TextureLayer& grad = b.addImageMap("Ball", chunkId("TRAN"), 0, Projection::Planar);
  grad.type = TextureType::Gradient;
  grad.gradientKeys = {{0.0, {1, 0, 0, 1}}, {1.0, {0, 0, 1, 1}}};
  grad.gradientKeyShapes = {0, 0};
  b.surface("Ball").vertexColorMap = "Paint";
  b.surface("Ball").vertexColorMapType = chunkId("RGB ");
  ObjectEnvelope e;
  e.index = 1;
  e.envelope.keys.resize(2);
  e.envelope.keys[1].time = 1.0;
  b.model().envelopes.push_back(e);
  b.surface("Box").diffuse.envelope = 1;
  b.newLayer(1, "Child", 0);
  b.addTorus({0, 0, 0}, 2.0f, 0.5f, 4, 6, "Ring");
  return {writeLwo2(b.finish())};
}
