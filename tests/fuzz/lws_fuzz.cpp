// Scene reader: any text gives a scene or a message, never a crash or a hang. A scene it
// accepts, once written, reads back. Objects aren't loaded, so the target touches no files but
// the ones a path lookup asks about.
#include <cstdint>
#include <cstdio>
#include <string>

#include "fuzz_target.h"
#include "host/formats/lws_reader.h"
#include "host/formats/lws_writer.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  host::LwsReadOptions options;
  options.loadObjects = false;
  host::Scene scene;
  std::string error;
  if (!host::readSceneText(text, "/nonexistent/fuzz.lws", scene, error, options)) {
    if (error.empty()) __builtin_trap();
    return 0;
  }
  host::Scene again;
  if (!host::readSceneText(host::writeSceneText(scene), "/nonexistent/saved.lws", again, error, options)) {
    std::fprintf(stderr, "a written scene doesn't read back: %s\n", error.c_str());
    __builtin_trap();
  }
  return 0;
}
