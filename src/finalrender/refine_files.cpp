// Refine files: the names, the examination at set-up, loading and saving of a frame's pair,
// and the image through the host's saver. Guards that a kill at any instant leaves each frame
// with its previous pair or its new pair, whole, never one file of each.
//
// A save never writes over a committed file. It goes:
//   1. write <raw>.new, then <tally>.new, and fsync both (on any failure: remove the tally's
//      .new, then the raw's, and report; the old pair stands);
//   2. rename <raw>.new over <raw>, fsync the folder;
//   3. rename <tally>.new over <tally>, fsync the folder.
// Invariant: <tally>.new without <raw>.new beside it is always complete and belongs to the
// committed <raw>, because it was flushed before step 2 took <raw>.new away. While <raw>.new
// stands nothing has been committed. So the recovery (refineRecover, run for each frame
// before it is examined or loaded) decides every kill point:
//   <raw>.new stands              -> remove <tally>.new, then <raw>.new: the old pair stands;
//   only <tally>.new stands       -> rename it over <tally>: the new pair stands;
//   neither                       -> nothing to do.
// Removal goes tally first, so a kill inside the recovery leaves a state it decides again.
// The folder is synced after each rename so that, after a power loss too, the tally's rename
// can't be on disk without the raw's.
#include "finalrender/refine_files.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

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

std::string temporaryName(const char* path) { return std::string(path) + kRefineTemporaryEnding; }

// Makes the folder's entries (a rename, a removal) durable; a failure here costs durability
// after a power loss, not the save.
void syncFolderOf(const char* path) {
  const char* slash = std::strrchr(path, '/');
  const std::string folder = slash ? std::string(path, size_t(slash - path) + 1) : std::string(".");
  const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return;
  ::fsync(fd);
  ::close(fd);
}

bool writeAll(int fd, const unsigned char* data, size_t size) {
  while (size > 0) {
    const ssize_t n = ::write(fd, data, size);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    data += n;
    size -= size_t(n);
  }
  return true;
}

// Writes `count` records of `recordSize` bytes made by `fill(at, index)` to a new file and
// flushes it to the disk; false if any of that fails (a full disk included).
template <class Fill>
bool writeFlushed(const std::string& path, size_t count, size_t recordSize, Fill&& fill) {
  const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (fd < 0) return false;
  unsigned char buffer[kChunkPixels * 16];
  bool ok = true;
  for (size_t done = 0; ok && done < count;) {
    const size_t n = std::min(kChunkPixels, count - done);
    for (size_t p = 0; p < n; ++p) fill(buffer + p * recordSize, done + p);
    ok = writeAll(fd, buffer, n * recordSize);
    done += n;
  }
  if (ok) ok = ::fsync(fd) == 0;
  return ::close(fd) == 0 && ok;
}

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
  refineRecover(rawPath, tallyPath);
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
  refineRecover(rawPath, tallyPath);
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
  if (!rawPath || !tallyPath) return !rawPath ? kRefineCantOpenRaw : kRefineCantOpenTally;
  const std::string rawNew = temporaryName(rawPath), tallyNew = temporaryName(tallyPath);
  const size_t count = size_t(std::max(pixelCount, 0));
  auto abandon = [&](const char* text) {
    ::unlink(tallyNew.c_str());  // tally first: a lone tally temporary would be taken as committed
    ::unlink(rawNew.c_str());
    return text;
  };

  // What an earlier save left is settled first: a lone tally temporary is a committed tally.
  refineRecover(rawPath, tallyPath);
  const bool rawWritten = writeFlushed(rawNew, count, 16, [&](unsigned char* at, size_t p) {
    putFloat(at, red[p]);
    putFloat(at + 4, green[p]);
    putFloat(at + 8, blue[p]);
    putFloat(at + 12, alpha[p]);
  });
  if (!rawWritten) return abandon(kRefineCantOpenRaw);
  const bool tallyWritten = writeFlushed(tallyNew, count, 12, [&](unsigned char* at, size_t p) {
    putFloat(at, tallies[p].weight);
    putWord(at + 4, uint32_t(tallies[p].reserved));
    putWord(at + 8, uint32_t(tallies[p].samples));
  });
  if (!tallyWritten) return abandon(kRefineCantOpenTally);

  if (std::rename(rawNew.c_str(), rawPath) != 0) return abandon(kRefineCantOpenRaw);
  syncFolderOf(rawPath);
  // Deliberate: a failed rename here leaves <tally>.new for the next run's recovery to commit,
  // since the raw picture already is the new one.
  if (std::rename(tallyNew.c_str(), tallyPath) != 0) return kRefineCantOpenTally;
  syncFolderOf(tallyPath);
  return nullptr;
}

void refineRecover(const char* rawPath, const char* tallyPath) {
  if (!rawPath || !tallyPath) return;
  const std::string rawNew = temporaryName(rawPath), tallyNew = temporaryName(tallyPath);
  if (::access(rawNew.c_str(), F_OK) == 0) {
    ::unlink(tallyNew.c_str());
    ::unlink(rawNew.c_str());
    syncFolderOf(rawPath);
  } else if (::access(tallyNew.c_str(), F_OK) == 0) {
    if (std::rename(tallyNew.c_str(), tallyPath) == 0) syncFolderOf(tallyPath);
  }
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
