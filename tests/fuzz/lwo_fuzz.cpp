// Object reader: any bytes give a model or a message, never a crash, a hang or a huge claim
// on memory. A model it accepts, once saved, reads back to a model that saves the same bytes.
#include <cstdint>
#include <cstdio>
#include <string>

#include "fuzz_target.h"
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
