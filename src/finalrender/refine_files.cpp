#include "finalrender/refine_files.h"

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstring>

#include <lwimage.h>

namespace {

// Files are little-endian on every machine, so a pair moves freely between render nodes.
uint32_t toLittle(uint32_t word) {
  if constexpr (std::endian::native == std::endian::little) return word;
  return ((word & 0xFFu) << 24) | ((word & 0xFF00u) << 8) | ((word >> 8) & 0xFF00u) | (word >> 24);
}

void putWord(unsigned char* at, uint32_t word) {
  for (int k = 0; k < 4; ++k) at[k] = static_cast<unsigned char>(word >> (8 * k));
}
uint32_t getWord(const unsigned char* at) {
  return uint32_t(at[0]) | uint32_t(at[1]) << 8 | uint32_t(at[2]) << 16 | uint32_t(at[3]) << 24;
}
void putFloat(unsigned char* at, float value) { putWord(at, std::bit_cast<uint32_t>(value)); }
float getFloat(const unsigned char* at) { return std::bit_cast<float>(getWord(at)); }

// Owns a stdio stream; closes it on every path out.
class File {
 public:
  File(const char* path, const char* mode) : file_(path ? std::fopen(path, mode) : nullptr) {}
  ~File() { close(); }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  explicit operator bool() const { return file_ != nullptr; }
  std::FILE* get() const { return file_; }
  void close() {
    if (file_) std::fclose(file_);
    file_ = nullptr;
  }
  // The size found by seeking to the end, or -1.
  long long size() {
    if (::fseeko(file_, 0, SEEK_END) != 0) return -1;
    return static_cast<long long>(::ftello(file_));
  }

 private:
  std::FILE* file_;
};

constexpr size_t kChunkPixels = 1024;  // pixels per buffered read or write

}  // namespace

void refineFileName(char* out, size_t size, const char* prefix, long frame, const char* ending) {
  if (!out || size == 0) return;
  if (frame >= 0)
    std::snprintf(out, size, "%s%04ld%s", prefix ? prefix : "", frame, ending ? ending : "");
  else
    std::snprintf(out, size, "%s-%03ld%s", prefix ? prefix : "", -frame, ending ? ending : "");
}

void refineFrameNames(const char* prefix, const char* suffix, long frame, char* rawPath, char* tallyPath,
                      char* imagePath) {
  refineFileName(rawPath, kRefinePathSize, prefix, frame, kRefineRawEnding);
  refineFileName(tallyPath, kRefinePathSize, prefix, frame, kRefineTallyEnding);
  refineFileName(imagePath, kRefinePathSize, prefix, frame, suffix);
}

bool refineExaminePair(const char* rawPath, const char* tallyPath, int32_t pixelCount, int32_t* minSamples,
                       int32_t* maxSamples) {
  if (pixelCount <= 0) return false;
  File raw(rawPath, "rb");
  if (!raw) return false;
  File tally(tallyPath, "rb");
  if (!tally) return false;
  // Of the raw picture only the size tells anything here.
  const bool rawFits = raw.size() == static_cast<long long>(pixelCount) * 16;
  raw.close();
  if (!rawFits || tally.size() != static_cast<long long>(pixelCount) * 12) return false;
  std::rewind(tally.get());

  int32_t least = 9999999, most = -1;
  unsigned char buffer[kChunkPixels * 12];
  for (int32_t done = 0; done < pixelCount;) {
    const size_t want = std::min<size_t>(kChunkPixels, size_t(pixelCount - done));
    if (std::fread(buffer, 12, want, tally.get()) != want) return false;
    for (size_t p = 0; p < want; ++p) {
      const int32_t samples = static_cast<int32_t>(getWord(buffer + p * 12 + 8));
      if (samples < 0 || samples > kRefineMaxSampleCount) return false;
      if (samples < least) least = samples;
      if (samples > most) most = samples;
    }
    done += int32_t(want);
  }
  *minSamples = least;
  *maxSamples = most;
  return true;
}

void RefineSurvey_Init(RefineSurvey* survey, int32_t pixelCount, int32_t refineWithoutAsking) {
  *survey = RefineSurvey{};
  survey->pixelCount = pixelCount;
  survey->refineWithoutAsking = refineWithoutAsking;
}

const char* RefineSurvey_Frame(RefineSurvey* survey, const LWMessageFuncs* messages, const char* rawPath,
                               const char* tallyPath, int32_t* minSamples, int32_t* maxSamples) {
  *minSamples = kRefineFreshMin;
  *maxSamples = kRefineFreshMax;
  if (survey->replaceAll) return nullptr;
  int32_t least = 0, most = 0;
  if (!refineExaminePair(rawPath, tallyPath, survey->pixelCount, &least, &most)) return nullptr;
  ++survey->framesFound;
  if (survey->framesFound == 1 && !survey->refineWithoutAsking) {
    survey->questionAsked = 1;
    int answer = 2;
    if (messages && messages->yesNoCan) {
      try {
        answer = messages->yesNoCan(kRefineQuestionTitle, kRefineQuestionLine1, kRefineQuestionLine2);
      } catch (...) {
        answer = 0;  // a host that fails to ask has not been told to go on
      }
    }
    if (answer == 0) return kRefineUserCancel;
    if (answer == 1) {
      survey->replaceAll = 1;
      return nullptr;
    }
  }
  *minSamples = least;
  *maxSamples = most;
  return nullptr;
}

bool refineLoad(const char* rawPath, const char* tallyPath, int32_t pixelCount, PixelTally* tallies, float* red,
                float* green, float* blue, float* alpha) {
  if (pixelCount <= 0) return false;
  File raw(rawPath, "rb");
  File tally(raw ? tallyPath : nullptr, "rb");
  if (!raw || !tally) {
    std::memset(tallies, 0, size_t(pixelCount) * sizeof(PixelTally));
    std::memset(red, 0, size_t(pixelCount) * sizeof(float));
    std::memset(green, 0, size_t(pixelCount) * sizeof(float));
    std::memset(blue, 0, size_t(pixelCount) * sizeof(float));
    std::memset(alpha, 0, size_t(pixelCount) * sizeof(float));
    return false;
  }
  // A file that shrank since set-up leaves the rest of the arrays as they were.
  float* planes[4] = {red, green, blue, alpha};
  unsigned char buffer[kChunkPixels * 16];
  for (size_t done = 0; done < size_t(pixelCount);) {
    const size_t want = std::min<size_t>(kChunkPixels, size_t(pixelCount) - done);
    const size_t values = std::fread(buffer, 4, want * 4, raw.get());
    for (size_t v = 0; v < values; ++v) planes[v % 4][done + v / 4] = getFloat(buffer + v * 4);
    if (values < want * 4) break;
    done += want;
  }
  raw.close();
  const size_t records = std::fread(tallies, sizeof(PixelTally), size_t(pixelCount), tally.get());
  if constexpr (std::endian::native != std::endian::little) {
    for (size_t p = 0; p < records; ++p) {
      uint32_t* words = reinterpret_cast<uint32_t*>(&tallies[p]);
      for (int k = 0; k < 3; ++k) words[k] = toLittle(words[k]);
    }
  }
  return true;
}

const char* refineSave(const char* rawPath, const char* tallyPath, int32_t pixelCount, const PixelTally* tallies,
                       const float* red, const float* green, const float* blue, const float* alpha) {
  unsigned char buffer[kChunkPixels * 16];
  {
    File raw(rawPath, "wb");
    if (!raw) return kRefineCantOpenRaw;
    for (size_t done = 0; done < size_t(std::max(pixelCount, 0));) {
      const size_t count = std::min<size_t>(kChunkPixels, size_t(pixelCount) - done);
      for (size_t p = 0; p < count; ++p) {
        unsigned char* at = buffer + p * 16;
        putFloat(at, red[done + p]);
        putFloat(at + 4, green[done + p]);
        putFloat(at + 8, blue[done + p]);
        putFloat(at + 12, alpha[done + p]);
      }
      std::fwrite(buffer, 16, count, raw.get());
      done += count;
    }
  }
  File tally(tallyPath, "wb");
  if (!tally) return kRefineCantOpenTally;
  for (size_t done = 0; done < size_t(std::max(pixelCount, 0));) {
    const size_t count = std::min<size_t>(kChunkPixels, size_t(pixelCount) - done);
    for (size_t p = 0; p < count; ++p) {
      unsigned char* at = buffer + p * 12;
      const PixelTally& t = tallies[done + p];
      putFloat(at, t.weight);
      putWord(at + 4, uint32_t(t.reserved));
      putWord(at + 8, uint32_t(t.samples));
    }
    std::fwrite(buffer, 12, count, tally.get());
    done += count;
  }
  return nullptr;
}

const char* refineSaveImage(GlobalFunc* global, int32_t width, int32_t height, const float* red, const float* green,
                            const float* blue, const float* alpha, int32_t saverIndex, const char* imagePath) {
  LWImageUtil* util = nullptr;
  try {
    util = global ? static_cast<LWImageUtil*>(global(LWIMAGEUTIL_GLOBAL, GFUSE_TRANSIENT)) : nullptr;
  } catch (...) {
    util = nullptr;
  }
  if (!util || !util->create || !util->setPixel || !util->save || !util->destroy) return kRefineNoImageUtility;
  LWPixmapID image = nullptr;
  try {
    image = util->create(width, height, LWIMTYP_RGBAFP);
  } catch (...) {
    image = nullptr;
  }
  if (!image) return kRefineImageCreateFailed;
  try {
    for (int32_t y = 0; y < height; ++y) {
      for (int32_t x = 0; x < width; ++x) {
        const size_t p = size_t(y) * size_t(width) + size_t(x);
        float pixel[4] = {red[p], green[p], blue[p], alpha[p]};
        util->setPixel(image, x, y, pixel);
      }
    }
    util->save(image, saverIndex, imagePath);  // the saver does its own reporting
  } catch (...) {
  }
  try {
    util->destroy(image);
  } catch (...) {
  }
  return nullptr;
}

void refineShowSaveFailure(const LWMessageFuncs* messages, const char* text) {
  if (!messages || !messages->error) return;
  try {
    messages->error(kRefineSaveFailedTitle, text);
  } catch (...) {
  }
}
