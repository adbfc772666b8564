// "Image Utility": pixmaps in memory and the savers that write them. A save never leaves a
// half-written image under the image's name: it writes beside it and renames when whole.
#include "host/services/image_util.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>

#include <OpenImageIO/imageio.h>

#include <lwimage.h>

#include "host/services/host.h"
#include "host/services/img_sample.h"

namespace host {

const std::vector<ImageSaver>& imageSavers() {
  static const std::vector<ImageSaver> savers = {
      {"OpenEXR (.exr)", "openexr"}, {"PNG (.png)", "png"},    {"TIFF (.tif)", "tiff"},
      {"Radiance HDR (.hdr)", "hdr"}, {"Targa (.tga)", "targa"}, {"JPEG (.jpg)", "jpeg"},
  };
  return savers;
}

namespace {

// A pixmap keeps four floats a pixel whatever its type; the type decides what setPixel and
// getPixel exchange and what a saver writes.
struct Pixmap {
  int width = 0, height = 0;
  LWImageType type = LWIMTYP_RGBAFP;
  std::vector<float> rgba;
};

struct PixmapTable {
  std::mutex mutex;
  std::map<uintptr_t, std::unique_ptr<Pixmap>> pixmaps;
  // Ids are numbers, never addresses, so a destroyed pixmap's id is refused.
  uintptr_t nextId = 1;
};

// The images saved so far, each once, in the order of their first save.
struct SavedImages {
  std::mutex mutex;
  std::vector<std::string> paths;
};

PixmapTable* table() {
  Host* h = Host::current();
  return h ? &h->state<PixmapTable>() : nullptr;
}

void report(const std::string& first, const std::string& second) {
  if (Host* h = Host::current()) h->showMessage("error", first.c_str(), second.c_str());
}

bool validType(LWImageType t) { return t >= LWIMTYP_RGB24 && t <= LWIMTYP_RGBAFP; }
bool floatType(LWImageType t) { return t == LWIMTYP_GREYFP || t == LWIMTYP_RGBFP || t == LWIMTYP_RGBAFP; }
bool greyType(LWImageType t) { return t == LWIMTYP_GREY8 || t == LWIMTYP_INDEX8 || t == LWIMTYP_GREYFP; }
bool alphaType(LWImageType t) { return t == LWIMTYP_RGBA32 || t == LWIMTYP_RGBAFP; }

LWPixmapID toId(uintptr_t v) { return reinterpret_cast<LWPixmapID>(v); }

// Runs f on the pixmap of an id under the table's lock; false if there is none.
template <class F>
bool withPixmap(LWPixmapID id, F&& f) {
  PixmapTable* t = table();
  if (!t) return false;
  std::lock_guard lock(t->mutex);
  auto it = t->pixmaps.find(reinterpret_cast<uintptr_t>(id));
  if (it == t->pixmaps.end()) return false;
  f(*it->second);
  return true;
}

LWPixmapID create(int width, int height, LWImageType type) {
  PixmapTable* t = table();
  // 64k on a side and a quarter of a billion pixels are far beyond any frame.
  if (!t || width <= 0 || height <= 0 || width > 65536 || height > 65536 ||
      double(width) * double(height) > double(1u << 28) || !validType(type))
    return nullptr;
  auto p = std::make_unique<Pixmap>();
  p->width = width;
  p->height = height;
  p->type = type;
  try {
    p->rgba.assign(size_t(width) * size_t(height) * 4, 0.0f);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
  for (size_t i = 3; i < p->rgba.size(); i += 4) p->rgba[i] = 1.0f;
  std::lock_guard lock(t->mutex);
  const uintptr_t id = t->nextId++;
  t->pixmaps[id] = std::move(p);
  return toId(id);
}

void destroy(LWPixmapID id) {
  PixmapTable* t = table();
  if (!t) return;
  std::lock_guard lock(t->mutex);
  t->pixmaps.erase(reinterpret_cast<uintptr_t>(id));
}

float byteValue(uint8_t b) { return float(b) / 255.0f; }
uint8_t toByte(float v) {
  if (!(v > 0.0f)) return 0;
  return v >= 1.0f ? 255 : uint8_t(std::lround(v * 255.0f));
}

void setPixel(LWPixmapID id, int x, int y, void* pixel) {
  if (!pixel) return;
  withPixmap(id, [&](Pixmap& p) {
    if (x < 0 || y < 0 || x >= p.width || y >= p.height) return;
    float* d = p.rgba.data() + (size_t(y) * size_t(p.width) + size_t(x)) * 4;
    const auto* b = static_cast<const uint8_t*>(pixel);
    const auto* f = static_cast<const float*>(pixel);
    switch (p.type) {
      case LWIMTYP_RGB24: d[0] = byteValue(b[0]), d[1] = byteValue(b[1]), d[2] = byteValue(b[2]), d[3] = 1.0f; break;
      case LWIMTYP_GREY8:
      case LWIMTYP_INDEX8: d[0] = d[1] = d[2] = byteValue(b[0]), d[3] = 1.0f; break;
      case LWIMTYP_GREYFP: d[0] = d[1] = d[2] = f[0], d[3] = 1.0f; break;
      case LWIMTYP_RGBFP: d[0] = f[0], d[1] = f[1], d[2] = f[2], d[3] = 1.0f; break;
      case LWIMTYP_RGBA32:
        d[0] = byteValue(b[0]), d[1] = byteValue(b[1]), d[2] = byteValue(b[2]), d[3] = byteValue(b[3]);
        break;
      default: std::memcpy(d, f, 4 * sizeof(float)); break;
    }
  });
}

void getPixel(LWPixmapID id, int x, int y, void* pixel) {
  if (!pixel) return;
  withPixmap(id, [&](Pixmap& p) {
    if (x < 0 || y < 0 || x >= p.width || y >= p.height) return;
    const float* s = p.rgba.data() + (size_t(y) * size_t(p.width) + size_t(x)) * 4;
    auto* b = static_cast<uint8_t*>(pixel);
    auto* f = static_cast<float*>(pixel);
    switch (p.type) {
      case LWIMTYP_RGB24: b[0] = toByte(s[0]), b[1] = toByte(s[1]), b[2] = toByte(s[2]); break;
      case LWIMTYP_GREY8:
      case LWIMTYP_INDEX8: b[0] = toByte(s[0]); break;
      case LWIMTYP_GREYFP: f[0] = s[0]; break;
      case LWIMTYP_RGBFP: f[0] = s[0], f[1] = s[1], f[2] = s[2]; break;
      case LWIMTYP_RGBA32: b[0] = toByte(s[0]), b[1] = toByte(s[1]), b[2] = toByte(s[2]), b[3] = toByte(s[3]); break;
      default: std::memcpy(f, s, 4 * sizeof(float)); break;
    }
  });
}

void getInfo(LWPixmapID id, int* width, int* height, int* flags) {
  int w = 0, h = 0;
  withPixmap(id, [&](Pixmap& p) { w = p.width, h = p.height; });
  if (width) *width = w;
  if (height) *height = h;
  if (flags) *flags = 0;
}

// Subsampling takes the nearest pixel; every other mode interpolates between the four nearest.
LWPixmapID resample(LWPixmapID id, int width, int height, int mode) {
  Pixmap copy;
  if (!withPixmap(id, [&](Pixmap& p) { copy = p; })) return nullptr;
  LWPixmapID out = create(width, height, copy.type);
  if (!out) return nullptr;
  ImagePixels src;
  src.width = copy.width;
  src.height = copy.height;
  src.channels = 4;
  src.data = std::move(copy.rgba);
  std::vector<float> dst(size_t(width) * size_t(height) * 4);
  const double sx = double(src.width) / width, sy = double(src.height) / height;
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) {
      double c[4];
      samplePixels(src, (x + 0.5) * sx, (y + 0.5) * sy, mode != LWISM_SUBSAMPLING, TileMode::Edge, TileMode::Edge, c);
      for (int k = 0; k < 4; ++k) dst[(size_t(y) * size_t(width) + size_t(x)) * 4 + size_t(k)] = float(c[k]);
    }
  withPixmap(out, [&](Pixmap& p) { p.rgba = std::move(dst); });
  return out;
}

int saverCount() { return int(imageSavers().size()); }

const char* saverName(int saver) {
  const auto& s = imageSavers();
  return saver >= 0 && saver < int(s.size()) ? s[size_t(saver)].name : nullptr;
}

// Writes the pixmap in the saver's format; the reason is set when it fails.
bool write(const Pixmap& p, const ImageSaver& saver, const std::string& name, std::string& reason) {
  const std::string format = saver.format;
  const bool isFloat = floatType(p.type);
  const bool grey = greyType(p.type);
  int channels = grey ? 1 : 3;
  if (alphaType(p.type) && format != "hdr" && format != "jpeg") channels += 1;
  if (format == "hdr") channels = 3;  // Radiance files are always RGB

  OIIO::TypeDesc type = OIIO::TypeDesc::UINT8;
  if (format == "openexr" || format == "hdr") type = OIIO::TypeDesc::FLOAT;
  else if ((format == "png" || format == "tiff") && isFloat) type = OIIO::TypeDesc::UINT16;

  auto out = OIIO::ImageOutput::create(format);
  if (!out) {
    reason = "this build can't write " + std::string(saver.name) + " files: " + OIIO::geterror();
    return false;
  }
  OIIO::ImageSpec layout(p.width, p.height, channels, type);
  if (channels == 2 || channels == 4) layout.alpha_channel = channels - 1;
  // Colour and alpha go to the file as given: nothing is divided by alpha on the way.
  layout.attribute("oiio:UnassociatedAlpha", 1);
  if (format == "jpeg") layout.attribute("Compression", "jpeg:95");

  const bool integer = type != OIIO::TypeDesc::FLOAT;
  std::vector<float> data(size_t(p.width) * size_t(p.height) * size_t(channels));
  for (size_t i = 0, n = size_t(p.width) * size_t(p.height); i < n; ++i) {
    const float* s = p.rgba.data() + i * 4;
    float* d = data.data() + i * size_t(channels);
    const float values[4] = {s[0], s[1], s[2], s[3]};
    for (int c = 0; c < channels; ++c) {
      float v = channels <= 2 ? (c == 0 ? values[0] : values[3]) : values[c];
      if (integer) v = std::isnan(v) ? 0.0f : std::clamp(v, 0.0f, 1.0f);
      d[c] = v;
    }
  }
  if (!out->open(name, layout)) {
    reason = out->geterror();
    if (reason.empty()) reason = "the file can't be opened for writing";
    return false;
  }
  bool ok = out->write_image(OIIO::TypeDesc::FLOAT, data.data());
  if (!ok) reason = out->geterror();
  if (!out->close() && ok) {
    ok = false;
    reason = out->geterror();
  }
  if (!ok && reason.empty()) reason = "the file couldn't be written";
  return ok;
}

// The image is written here first and renamed over the image when whole. The name is fixed,
// so the next save of the same image writes over what a killed one left.
std::string temporaryImageName(const std::string& file) { return file + ".new"; }

// Flushes a written file, or a folder's entries, to the disk.
bool syncPath(const std::string& path, bool folder) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | (folder ? O_DIRECTORY : 0));
  if (fd < 0) return false;
  const bool ok = ::fsync(fd) == 0;
  ::close(fd);
  return ok;
}

std::string folderOf(const std::string& file) {
  const size_t slash = file.rfind('/');
  return slash == std::string::npos ? std::string(".") : file.substr(0, slash + 1);
}

int save(LWPixmapID id, int saver, const char* name) {
  const auto& savers = imageSavers();
  const std::string file = name ? name : "";
  if (saver < 0 || saver >= int(savers.size())) {
    report("Can't save the image \"" + file + "\"", "there is no saver number " + std::to_string(saver));
    return 0;
  }
  if (file.empty()) {
    report("Can't save an image without a file name", "");
    return 0;
  }
  Pixmap copy;
  if (!withPixmap(id, [&](Pixmap& p) { copy = p; })) {
    report("Can't save the image \"" + file + "\"", "the image to save doesn't exist");
    return 0;
  }
  // The saver's format is named to OpenImageIO outright, so the temporary's ending doesn't
  // choose it.
  const std::string temporary = temporaryImageName(file);
  std::string reason;
  bool ok = write(copy, savers[size_t(saver)], temporary, reason);
  if (ok && !syncPath(temporary, false)) {
    ok = false;
    reason = "the file couldn't be flushed to the disk: " + std::string(std::strerror(errno));
  }
  if (ok && std::rename(temporary.c_str(), file.c_str()) != 0) {
    ok = false;
    reason = "the finished file couldn't take the image's name: " + std::string(std::strerror(errno));
  }
  if (!ok) {
    ::unlink(temporary.c_str());
    report("Can't save the image \"" + file + "\"", reason);
    return 0;
  }
  syncPath(folderOf(file), true);
  if (Host* h = Host::current()) {
    SavedImages& saved = h->state<SavedImages>();
    std::lock_guard lock(saved.mutex);
    if (std::find(saved.paths.begin(), saved.paths.end(), file) == saved.paths.end()) saved.paths.push_back(file);
  }
  return 1;
}

LWImageUtil kImageUtil = {create, destroy, save, setPixel, getPixel, getInfo, resample, saverCount, saverName};

}  // namespace

std::vector<std::string> imagesSaved(Host& host) {
  SavedImages& saved = host.state<SavedImages>();
  std::lock_guard lock(saved.mutex);
  return saved.paths;
}

void registerImageUtil(Host& host) {
  host.services().add(LWIMAGEUTIL_GLOBAL, [](int) -> void* { return &kImageUtil; });
}

}  // namespace host
