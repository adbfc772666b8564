// Scene reader: any text gives a scene or a message, never a crash or a hang. Objects aren't
// loaded, so the target touches no files but the ones a path lookup asks about.
#include <cstdint>
#include <cstring>
#include <string>

#include "fuzz_driver.h"
#include "host/formats/lws_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string text(reinterpret_cast<const char*>(data), size);
  host::Scene scene;
  std::string error;
  host::LwsReadOptions options;
  options.loadObjects = false;
  host::readSceneText(text, "/nonexistent/fuzz.lws", scene, error, options);
  return 0;
}

std::vector<std::vector<uint8_t>> fuzzBuiltInSeeds() {
  const char* scene =
      "LWSC\n3\n\nFirstFrame 1\nLastFrame 60\nFramesPerSecond 30\n\n"
      "LoadObjectLayer 1 box.lwo\nShowObject 6 7\nObjectMotion\nNumChannels 9\n"
      "Channel 0\n{ Envelope\n  2\n  Key 0 0 0 0 0 0 0 0 0\n  Key 1 1 0 0 0 0 0 0 0\n  Behaviors 1 1\n}\n"
      "ParentItem 10000000\n\nAmbientColor 1 1 1\nAmbientIntensity 0.25\n\n"
      "AddLight 20000000\nLightName Light\nLightColor 255 255 255\nLightType 0\n\n"
      "AddCamera 30000000\nCameraName Camera\nZoomFactor 3.2\nFrameSize 640 480\n";
  return {std::vector<uint8_t>(scene, scene + std::strlen(scene))};
}
