#pragma once
// The images the host knows: the scene's own, the clips of its objects and those a plug-in
// loads. Each is an entry whose address is its LWImageID. Pixels are read through
// OpenImageIO the first time anyone wants them and then kept; render threads read them
// concurrently, and after the first read that takes no lock. A file that can't be read is
// reported once and reads as a single black pixel. Ids are numbers from 1, never addresses.
#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <vector>

#include <lwtypes.h>

#include "host/scene/clip.h"
#include "host/scene/object.h"
#include "host/scene/scene.h"
#include "host/services/img_slots.h"

namespace host {

class Host;

// Pixels of one file, as floats with 1.0 for full brightness, rows from the top.
struct ImagePixels {
  int width = 0, height = 0;
  int channels = 0;  // 1 grey, 2 grey and alpha, 3 RGB, 4 RGBA
  bool missing = false;
  std::vector<float> data;

  bool hasAlpha() const { return channels == 2 || channels == 4; }
  bool isColor() const { return channels >= 3; }
  // x and y are clamped into the image, so any pixel can be asked for.
  void rgba(int x, int y, float out[4]) const;
  float luma(int x, int y) const;
};

// Reads a whole file; false with a reason if it can't be read. An image without alpha reads
// as opaque.
bool readImagePixels(const std::string& path, ImagePixels& out, std::string& error);

// Says what went wrong with a file, in two lines, once.
using ImageReporter = std::function<void(const std::string& first, const std::string& second)>;

// One file, read on first use.
class ImageFile {
 public:
  ImageFile(std::string path, std::string written, ImageReporter report);
  const std::string& path() const { return path_; }
  const std::string& written() const { return written_; }
  // Where it was found, else as written.
  const std::string& shownName() const { return path_.empty() ? written_ : path_; }
  const ImagePixels& pixels() const;
  bool loaded() const { return ready_.load(std::memory_order_acquire) != nullptr; }

 private:
  std::string path_;     // where it was found; empty if nowhere
  std::string written_;  // as the scene or object wrote it, for the message
  ImageReporter report_;
  mutable std::mutex mutex_;
  mutable std::atomic<const ImagePixels*> ready_{nullptr};
  mutable std::unique_ptr<ImagePixels> pixels_;
};

// Where a file name from a scene or object is found: as written, then relative to each
// folder, then by its bare name in each folder. Windows paths (drive letters, backslashes)
// are taken apart the same way. Empty if it is nowhere.
std::string findImageFile(const std::string& written, const std::vector<std::string>& folders);

// An entry of the image list. A still has one file; a sequence one per frame.
class ImageEntry {
 public:
  friend class ImageTable;
  ImageEntry(std::string name, std::string written, std::vector<std::string> folders, ImageReporter report);
  // A numbered sequence: prefix, frame number with `digits` digits, suffix.
  ImageEntry(const Clip& clip, std::vector<std::string> folders, ImageReporter report);

  const std::string& name() const { return name_; }
  const std::string& written() const { return written_; }
  bool isSequence() const { return sequence_; }
  // The file of a frame (the one file of a still); never null. A still's takes no lock.
  const ImageFile* file(int frame) const;
  LWImageID id() const { return reinterpret_cast<LWImageID>(number_); }

 private:
  std::string frameName(int frame) const;

  std::string name_, written_;
  std::vector<std::string> folders_;
  ImageReporter report_;
  bool sequence_ = false;
  Clip clip_;
  uintptr_t number_ = 0;
  std::unique_ptr<ImageFile> still_;
  mutable std::mutex mutex_;
  mutable std::map<int, std::unique_ptr<ImageFile>> files_;  // by frame; a still uses 0
};

// The host's list of images.
class ImageTable {
 public:
  ~ImageTable();
  // Messages go through this host; null keeps them on standard error. Set once, at the
  // host's start.
  void attach(Host* host) { host_ = host; }
  Host* host() const { return host_; }

  // Adds what the scene names: its own images, compositing images, light projection images,
  // every clip of every object and the images of objects' clip maps.
  void sync(const Scene& scene, const std::string& contentFolder, const std::string& imagesFolder);

  // The image of an object's clip (references followed); null for 0 or a clip the model lacks.
  ImageEntry* forClip(const std::shared_ptr<const ObjectModel>& model, uint32_t clip);
  // The image of a path as a scene or plug-in names it, added if new.
  ImageEntry* byPath(const std::string& written);

  LWImageID first() const { return entries_.size() ? reinterpret_cast<LWImageID>(uintptr_t(1)) : nullptr; }
  LWImageID next(LWImageID id) const;
  // The entry an id stands for, or null for anything this table didn't hand out. No lock.
  ImageEntry* find(LWImageID id) const { return entries_.get(reinterpret_cast<uintptr_t>(id)); }

  // Folders searched for images named without a usable path.
  std::vector<std::string> searchFolders(const std::string& ownFolder) const;

 private:
  ImageReporter reporter();
  ImageEntry* addLocked(std::unique_ptr<ImageEntry> entry, const std::string& key);
  ImageEntry* clipLocked(const std::shared_ptr<const ObjectModel>& model, uint32_t clip, int depth);

  Host* host_ = nullptr;
  std::string sceneFolder_, contentFolder_, imagesFolder_;
  mutable std::shared_mutex mutex_;
  SlotList<ImageEntry> entries_;              // list order
  std::map<std::string, ImageEntry*> byKey_;  // by the file found, or as written
  // Clips already resolved; the models are held so their addresses aren't reused.
  std::map<std::pair<const ObjectModel*, uint32_t>, ImageEntry*> clips_;
  std::vector<std::shared_ptr<const ObjectModel>> models_;
};

// The image table of a host.
ImageTable& imageTable(Host& host);
// The current host's, or null; after the first call for a host this takes no lock.
ImageTable* currentImageTable();

}  // namespace host
