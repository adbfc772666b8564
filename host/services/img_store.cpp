#include "host/services/img_store.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>

#include <OpenImageIO/imageio.h>

#include "host/services/host.h"
#include "host/services/scene_ids.h"

namespace host {

namespace fs = std::filesystem;

// ---- pixels ----

void ImagePixels::rgba(int x, int y, float out[4]) const {
  if (width <= 0 || height <= 0 || data.empty()) {
    out[0] = out[1] = out[2] = 0.0f;
    out[3] = 1.0f;
    return;
  }
  x = std::clamp(x, 0, width - 1);
  y = std::clamp(y, 0, height - 1);
  const float* p = data.data() + (size_t(y) * size_t(width) + size_t(x)) * size_t(channels);
  switch (channels) {
    case 1: out[0] = out[1] = out[2] = p[0]; out[3] = 1.0f; break;
    case 2: out[0] = out[1] = out[2] = p[0]; out[3] = p[1]; break;
    case 3: out[0] = p[0]; out[1] = p[1]; out[2] = p[2]; out[3] = 1.0f; break;
    default: out[0] = p[0]; out[1] = p[1]; out[2] = p[2]; out[3] = p[3]; break;
  }
}

float ImagePixels::luma(int x, int y) const {
  float c[4];
  rgba(x, y, c);
  return 0.299f * c[0] + 0.587f * c[1] + 0.114f * c[2];
}

bool readImagePixels(const std::string& path, ImagePixels& out, std::string& error) {
  // Colours come as the file keeps them, not multiplied by alpha: a layer's coverage applies
  // the alpha itself.
  OIIO::ImageSpec config;
  config.attribute("oiio:UnassociatedAlpha", 1);
  auto in = OIIO::ImageInput::open(path, &config);
  if (!in) {
    error = OIIO::geterror();
    if (error.empty()) error = "not an image file that can be read";
    return false;
  }
  const OIIO::ImageSpec dims = in->spec_dimensions(0);
  const int w = dims.width, h = dims.height, n = dims.nchannels;
  // Far beyond any texture; a damaged header is refused before it can ask for the memory.
  if (w <= 0 || h <= 0 || n <= 0 || double(w) * double(h) * double(n) > double(1u << 30)) {
    error = "the image's size (" + std::to_string(w) + " x " + std::to_string(h) + ", " +
            std::to_string(n) + " channels) can't be used";
    return false;
  }
  std::vector<float> all(size_t(w) * size_t(h) * size_t(n));
  if (!in->read_image(0, 0, 0, n, OIIO::TypeDesc::FLOAT, all.data())) {
    error = in->geterror();
    if (error.empty()) error = "the pixels can't be read";
    return false;
  }
  in->close();

  // Keep grey, grey and alpha, RGB or RGBA (alpha fourth, where the readers put it); further
  // channels are dropped.
  int keep;
  int src[4] = {0, 0, 0, 0};
  if (n == 1) {
    keep = 1;
  } else if (n == 2) {
    keep = 2, src[1] = 1;
  } else if (n == 3) {
    keep = 3, src[1] = 1, src[2] = 2;
  } else {
    keep = 4, src[1] = 1, src[2] = 2, src[3] = 3;
  }
  out.width = w;
  out.height = h;
  out.channels = keep;
  out.missing = false;
  out.data.resize(size_t(w) * size_t(h) * size_t(keep));
  for (size_t p = 0, count = size_t(w) * size_t(h); p < count; ++p)
    for (int c = 0; c < keep; ++c) out.data[p * size_t(keep) + size_t(c)] = all[p * size_t(n) + size_t(src[c])];
  return true;
}

// ---- one file ----

ImageFile::ImageFile(std::string path, std::string written, ImageReporter report)
    : path_(std::move(path)), written_(std::move(written)), report_(std::move(report)) {}

const ImagePixels& ImageFile::pixels() const {
  if (const ImagePixels* p = ready_.load(std::memory_order_acquire)) return *p;
  std::lock_guard lock(mutex_);
  if (const ImagePixels* p = ready_.load(std::memory_order_relaxed)) return *p;
  auto pixels = std::make_unique<ImagePixels>();
  std::string error;
  if (path_.empty()) {
    error = "the file was not found";
  } else if (readImagePixels(path_, *pixels, error)) {
    error.clear();
  }
  if (!error.empty()) {
    // One black pixel stands in, so every read gives black and nothing divides by zero.
    *pixels = ImagePixels{};
    pixels->width = pixels->height = 1;
    pixels->channels = 3;
    pixels->missing = true;
    pixels->data.assign(3, 0.0f);
    if (report_)
      report_("Can't read the image \"" + (written_.empty() ? path_ : written_) + "\"",
              error + "; it renders black");
  }
  pixels_ = std::move(pixels);
  ready_.store(pixels_.get(), std::memory_order_release);
  return *pixels_;
}

// ---- finding files ----

namespace {

// The written name as a relative path: drive letters and leading separators go, and
// backslashes become slashes.
std::string relativePart(std::string s) {
  std::replace(s.begin(), s.end(), '\\', '/');
  if (s.size() >= 2 && s[1] == ':' && std::isalpha(static_cast<unsigned char>(s[0]))) s.erase(0, 2);
  while (!s.empty() && s.front() == '/') s.erase(0, 1);
  return s;
}

bool isFile(const fs::path& p) {
  std::error_code ec;
  return !p.empty() && fs::is_regular_file(p, ec);
}

}  // namespace

std::string findImageFile(const std::string& written, const std::vector<std::string>& folders) {
  if (written.empty()) return {};
  if (isFile(written)) return fs::absolute(written).lexically_normal().string();
  const std::string rel = relativePart(written);
  if (rel.empty()) return {};
  // A path like "Images/x.png" may be kept under the content folder with its folders, or with
  // some of them; try every tail of it before the bare name.
  std::vector<std::string> tails;
  for (size_t at = 0; at != std::string::npos;) {
    tails.push_back(rel.substr(at));
    const size_t slash = rel.find('/', at);
    at = slash == std::string::npos ? std::string::npos : slash + 1;
  }
  for (const std::string& tail : tails)
    for (const std::string& folder : folders) {
      if (folder.empty()) continue;
      const fs::path p = fs::path(folder) / tail;
      if (isFile(p)) return fs::absolute(p).lexically_normal().string();
    }
  return {};
}

// ---- entries ----

ImageEntry::ImageEntry(std::string name, std::string written, std::vector<std::string> folders,
                       ImageReporter report)
    : name_(std::move(name)), written_(std::move(written)), folders_(std::move(folders)), report_(std::move(report)) {
  clip_.kind = ClipKind::Still;
  clip_.path = written_;
  still_ = std::make_unique<ImageFile>(findImageFile(written_, folders_), written_, report_);
}

ImageEntry::ImageEntry(const Clip& clip, std::vector<std::string> folders, ImageReporter report)
    : written_(clip.path), folders_(std::move(folders)), report_(std::move(report)),
      sequence_(clip.kind == ClipKind::Sequence), clip_(clip) {
  name_ = fs::path(relativePart(clip.path)).filename().string();
  if (sequence_) name_ += std::string(size_t(std::max(clip.digits, 1)), '#') + clip.suffix;
  else still_ = std::make_unique<ImageFile>(findImageFile(written_, folders_), written_, report_);
}

std::string ImageEntry::frameName(int frame) const {
  if (!sequence_) return written_;
  // The clip's own frame range holds the number; outside it the nearest end is shown.
  int n = frame + clip_.offset;
  if (clip_.end > clip_.start) n = std::clamp(n, clip_.start, clip_.end);
  char digits[32];
  std::snprintf(digits, sizeof digits, "%0*d", std::clamp(clip_.digits, 0, 12), n);
  return clip_.path + digits + clip_.suffix;
}

const ImageFile* ImageEntry::file(int frame) const {
  if (still_) return still_.get();
  std::lock_guard lock(mutex_);
  auto& slot = files_[frame];
  if (!slot) {
    const std::string written = frameName(frame);
    slot = std::make_unique<ImageFile>(findImageFile(written, folders_), written, report_);
  }
  return slot.get();
}

// ---- the table ----

ImageReporter ImageTable::reporter() {
  Host* h = host_;
  return [h](const std::string& first, const std::string& second) {
    if (h) h->showMessage("error", first.c_str(), second.c_str());
    else std::fprintf(stderr, "ombrel: error: %s \xE2\x80\x94 %s\n", first.c_str(), second.c_str());
  };
}

std::vector<std::string> ImageTable::searchFolders(const std::string& ownFolder) const {
  std::vector<std::string> f;
  auto add = [&f](const std::string& s) {
    if (!s.empty() && std::find(f.begin(), f.end(), s) == f.end()) f.push_back(s);
  };
  add(ownFolder);
  if (!ownFolder.empty()) add((fs::path(ownFolder) / "Images").string());
  add(sceneFolder_);
  add(contentFolder_);
  add(imagesFolder_);
  if (!contentFolder_.empty()) add((fs::path(contentFolder_) / "Images").string());
  return f;
}

ImageEntry* ImageTable::addLocked(std::unique_ptr<ImageEntry> entry, const std::string& key) {
  if (auto it = byKey_.find(key); it != byKey_.end()) return it->second;
  ImageEntry* e = entry.get();
  e->number_ = entries_.add(std::move(entry));
  if (e->number_ == 0) return nullptr;  // the list is full; the entry is gone
  byKey_[key] = e;
  return e;
}

ImageEntry* ImageTable::clipLocked(const std::shared_ptr<const ObjectModel>& model, uint32_t clip, int depth) {
  if (!model || clip == 0 || depth > 16) return nullptr;
  const auto key = std::make_pair(model.get(), clip);
  if (auto it = clips_.find(key); it != clips_.end()) return it->second;
  const Clip* c = model->findClip(clip);
  ImageEntry* e = nullptr;
  if (c && c->kind == ClipKind::Reference) {
    e = clipLocked(model, c->referenceIndex, depth + 1);
  } else if (c) {
    const std::string own = model->fileName.empty() ? std::string() : fs::path(model->fileName).parent_path().string();
    auto folders = searchFolders(own);
    auto entry = std::make_unique<ImageEntry>(*c, folders, reporter());
    // Stills that name the same file share one entry; sequences are told apart by their pattern.
    const std::string found = entry->still_ ? entry->still_->path() : std::string();
    const std::string k = !found.empty() ? found : (c->kind == ClipKind::Sequence ? "seq:" : "") + c->path;
    e = addLocked(std::move(entry), k);
  }
  if (std::find(models_.begin(), models_.end(), model) == models_.end()) models_.push_back(model);
  clips_[key] = e;
  return e;
}

ImageEntry* ImageTable::forClip(const std::shared_ptr<const ObjectModel>& model, uint32_t clip) {
  if (!model || clip == 0) return nullptr;
  {
    std::shared_lock lock(mutex_);
    if (auto it = clips_.find({model.get(), clip}); it != clips_.end()) return it->second;
  }
  std::unique_lock lock(mutex_);
  return clipLocked(model, clip, 0);
}

ImageEntry* ImageTable::byPath(const std::string& written) {
  if (written.empty()) return nullptr;
  {
    std::shared_lock lock(mutex_);
    if (auto it = byKey_.find(written); it != byKey_.end()) return it->second;
  }
  const auto folders = searchFolders(std::string());
  const std::string found = findImageFile(written, folders);
  std::unique_lock lock(mutex_);
  if (!found.empty())
    if (auto it = byKey_.find(found); it != byKey_.end()) return byKey_[written] = it->second;
  const std::string name = fs::path(relativePart(written)).filename().string();
  ImageEntry* e = addLocked(std::make_unique<ImageEntry>(name, written, folders, reporter()),
                            found.empty() ? written : found);
  byKey_[written] = e;
  return e;
}

void ImageTable::sync(const Scene& scene, const std::string& contentFolder, const std::string& imagesFolder) {
  {
    std::unique_lock lock(mutex_);
    sceneFolder_ = scene.fileName.empty() ? std::string()
                                          : fs::absolute(fs::path(scene.fileName)).parent_path().string();
    contentFolder_ = contentFolder;
    imagesFolder_ = imagesFolder;
  }
  for (const std::string& i : scene.images) byPath(i);
  for (const std::string* i : {&scene.compositing.background, &scene.compositing.foreground,
                               &scene.compositing.foregroundAlpha})
    if (!i->empty()) byPath(*i);
  for (const Item& item : scene.items) {
    if (item.type == ItemType::Light && !item.light.projectionImage.empty()) byPath(item.light.projectionImage);
    if (item.type == ItemType::Object && item.object.clipMap && item.object.clipMap->home)
      for (const Clip& c : item.object.clipMap->home->clips) forClip(item.object.clipMap->home, c.index);
    if (item.type != ItemType::Object || !item.object.model) continue;
    for (const Clip& c : item.object.model->clips) forClip(item.object.model, c.index);
  }
}

LWImageID ImageTable::next(LWImageID id) const {
  const uintptr_t n = reinterpret_cast<uintptr_t>(id);
  return n == 0 || n >= entries_.size() ? nullptr : reinterpret_cast<LWImageID>(n + 1);
}

namespace {
// The table last asked for: render threads read pixels by the million, and the host's own
// lookup of a family's state takes a lock.
std::atomic<ImageTable*> lastTable{nullptr};
}  // namespace

ImageTable::~ImageTable() {
  ImageTable* self = this;
  lastTable.compare_exchange_strong(self, nullptr);
}

ImageTable& imageTable(Host& host) { return host.state<ImageTable>(); }

ImageTable* currentImageTable() {
  Host* h = Host::current();
  if (!h) return nullptr;
  ImageTable* t = lastTable.load(std::memory_order_acquire);
  if (t && t->host() == h) return t;
  t = &imageTable(*h);
  lastTable.store(t, std::memory_order_release);
  return t;
}

}  // namespace host
