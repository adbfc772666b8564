// Refine-file reader: any pair of files (any sizes, any bytes), with or without the temporaries a
// killed save leaves, is examined and loaded without a crash; a pair the examination accepts has
// its figures in range, and no temporary is left behind. The input is cut into a byte of flags
// (the pixel count, 1 to 64, and which temporaries stand), where the raw file ends, and the two
// files; the temporaries hold the same bytes the other way round.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "finalrender/refine_files.h"
#include "fuzz_target.h"

namespace {

// One folder per process, so that parallel fuzzing jobs don't read each other's files.
const std::string& folder() {
  static const std::string path = [] {
    char name[] = "/tmp/ombrel-refine-fuzz-XXXXXX";
    if (!mkdtemp(name)) std::abort();
    return std::string(name);
  }();
  return path;
}

void writeFile(const std::string& path, const uint8_t* data, size_t size) {
  FILE* f = std::fopen(path.c_str(), "wb");
  if (!f) std::abort();
  if (size) std::fwrite(data, 1, size, f);
  std::fclose(f);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 3) return 0;
  const int32_t pixels = 1 + (data[0] & 0x3F);
  const size_t body = size - 3;
  const size_t rawSize = std::min<size_t>(body, size_t(data[1]) << 8 | data[2]);
  const std::string raw = folder() + "/f0001" + kRefineRawEnding;
  const std::string tally = folder() + "/f0001" + kRefineTallyEnding;
  writeFile(raw, data + 3, rawSize);
  writeFile(tally, data + 3 + rawSize, body - rawSize);
  const std::string rawNew = raw + kRefineTemporaryEnding, tallyNew = tally + kRefineTemporaryEnding;
  std::remove(rawNew.c_str());
  std::remove(tallyNew.c_str());
  if (data[0] & 0x40) writeFile(rawNew, data + 3 + rawSize, body - rawSize);
  if (data[0] & 0x80) writeFile(tallyNew, data + 3, rawSize);

  RefineSurvey survey;
  RefineSurvey_Init(&survey, pixels, 1);
  int32_t minSamples = -5, maxSamples = -5;
  if (RefineSurvey_Frame(&survey, nullptr, raw.c_str(), tally.c_str(), &minSamples, &maxSamples)) __builtin_trap();
  if (minSamples < 0 || maxSamples > kRefineMaxSampleCount || (survey.framesFound && minSamples > maxSamples))
    __builtin_trap();

  if (access(rawNew.c_str(), F_OK) == 0 || access(tallyNew.c_str(), F_OK) == 0) __builtin_trap();

  std::vector<PixelTally> tallies(size_t(pixels), PixelTally{});
  std::vector<float> planes(size_t(pixels) * 4, 0.0f);
  refineLoad(raw.c_str(), tally.c_str(), pixels, tallies.data(), planes.data(), planes.data() + pixels,
             planes.data() + 2 * pixels, planes.data() + 3 * pixels);
  return 0;
}
