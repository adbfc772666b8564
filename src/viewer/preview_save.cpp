#include "viewer/preview_save.h"

#include <strings.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include <lwhost.h>
#include <lwimage.h>

#include "runtime/global_services.h"
#include "toolkit/panel.h"
#include "viewer/tile_engine.h"
#include "viewer/viewer_panel.h"

namespace {

constexpr char kDialogTitle[] = "Save Ombrel Image";
constexpr char kStartName[] = "TarnokVision";
constexpr char kInitializingFirst[] = "The Ombrel window is still initializing";
constexpr char kInitializingSecond[] = "Wait a second until it gets to full resolution.";
constexpr char kOverwriteTitle[] = "Overwrite file?";
constexpr char kOverwriteFirst[] = "The save file you picked already exists.";
constexpr char kOverwriteSecond[] = "Should the old file be overwritten?";
constexpr char kCreateFailedFirst[] = "LightWave Image Saver can't initialize!";
constexpr char kCreateFailedSecond[] = "Saving failed";
constexpr int32_t kMaxSavers = 64;
constexpr size_t kCutLongerThan = 4;
constexpr size_t kCutWithin = 5;

// The saver the user chose last, kept between saves.
int32_t rememberedSaver = 0;

void copyText(char* out, const char* text, size_t size = kSaveTextSize) { std::snprintf(out, size, "%s", text ? text : ""); }

bool askYes(const char* title, const char* first, const char* second) {
  const LWMessageFuncs* messages = globalServices.messages;
  if (!messages || !messages->yesNo) return false;
  try {
    return messages->yesNo(title, first, second) == 1;
  } catch (...) {
    return false;
  }
}

const char* imagesDirectory() {
  auto* directory = reinterpret_cast<LWDirInfoFunc*>(hostTransient(LWDIRINFOFUNC_GLOBAL));
  try {
    return directory ? directory("Images") : nullptr;
  } catch (...) {
    return nullptr;
  }
}

}  // namespace

void saverFilter(const char* saverName, char* pattern, size_t patternSize, char extension[kSaveExtensionSize]) {
  extension[0] = '\0';
  const char* open = saverName ? std::strchr(saverName, '(') : nullptr;
  const char* close = open ? std::strchr(open + 1, ')') : nullptr;
  if (!open || !close) {
    std::snprintf(pattern, patternSize, "*.*");
    return;
  }
  const int length = int(close - open - 1);
  std::snprintf(pattern, patternSize, "*%.*s", length, open + 1);
  std::snprintf(extension, kSaveExtensionSize, "%.*s", length, open + 1);
}

void saveNameCut(char* path) {
  const size_t n = std::strlen(path);
  if (n <= kCutLongerThan) return;
  for (size_t i = n; i-- > n - kCutWithin;)
    if (path[i] == '.') {
      path[i] = '\0';
      return;
    }
}

int32_t saveFileDialog(const char* title, char* directory, char* name, char* extension, int32_t* saver) {
  auto* util = hostTransientAs<LWImageUtil>(LWIMAGEUTIL_GLOBAL);
  if (!util || !util->saverCount || !util->saverName || !globalServices.fileRequest) return 0;
  int32_t count = 0;
  try {
    count = std::min(util->saverCount(), kMaxSavers);
  } catch (...) {
    count = 0;
  }
  if (count < 1) return 0;
  if (rememberedSaver >= count || rememberedSaver < 1) rememberedSaver = rememberedSaver >= count ? count - 1 : 0;
  char extensions[kMaxSavers][kSaveExtensionSize];
  for (int32_t i = 0; i < count; ++i) {
    char pattern[kSaveTextSize];
    const char* saverName = nullptr;
    try {
      saverName = util->saverName(i);
    } catch (...) {
    }
    saverFilter(saverName, pattern, sizeof pattern, extensions[i]);
  }
  // The host's request names the file; the format is the saver whose extension the chosen
  // name carries, else the one chosen last.
  char fileName[kSaveTextSize], path[kSaveTextSize], full[kSaveTextSize] = "";
  std::snprintf(fileName, sizeof fileName, "%s%s", name, extensions[rememberedSaver]);
  copyText(path, directory);
  int result = 0;
  try {
    result = globalServices.fileRequest(title, fileName, path, full, int(sizeof full));
  } catch (...) {
    result = 0;
  }
  if (result != 1 || !full[0]) return 0;
  const size_t fullLength = std::strlen(full);
  for (int32_t i = 0; i < count; ++i) {
    const size_t e = std::strlen(extensions[i]);
    if (e && fullLength > e && strcasecmp(full + fullLength - e, extensions[i]) == 0) {
      rememberedSaver = i;
      break;
    }
  }
  saveNameCut(full);
  copyText(name, full);
  copyText(directory, path);
  copyText(extension, extensions[rememberedSaver]);
  *saver = rememberedSaver;
  return 1;
}

void previewSaveImage(ViewerPanel* viewer) {
  RefineState* s = &viewer->refine;
  if (!s->refineActive.load()) {
    panelShowError(kInitializingFirst, kInitializingSecond);
    return;
  }
  auto* util = hostTransientAs<LWImageUtil>(LWIMAGEUTIL_GLOBAL);
  if (!s->pixels || !util || !util->create || !util->setPixel || !util->save || !util->destroy) return;
  char directory[kSaveTextSize], name[kSaveTextSize], extension[kSaveTextSize] = "";
  copyText(directory, imagesDirectory());
  copyText(name, kStartName);
  int32_t saver = 0;
  if (!saveFileDialog(kDialogTitle, directory, name, extension, &saver)) return;
  char full[2 * kSaveTextSize];
  std::snprintf(full, sizeof full, "%s%s", name, extension);
  if (FILE* existing = std::fopen(full, "rb")) {
    std::fclose(existing);
    if (!askYes(kOverwriteTitle, kOverwriteFirst, kOverwriteSecond)) return;
  }
  LWPixmapID image = nullptr;
  try {
    image = util->create(s->width, s->height, LWIMTYP_RGBAFP);
  } catch (...) {
    image = nullptr;
  }
  if (!image) {
    panelShowError(kCreateFailedFirst, kCreateFailedSecond);
    return;
  }
  // The picture holds still while it is copied; the rows go top first.
  engineLock(viewer->engine);
  try {
    for (int32_t y = 0; y < s->height; ++y)
      for (int32_t x = 0; x < s->width; ++x)
        util->setPixel(image, x, s->height - 1 - y, &s->pixels[size_t(y) * s->width + x]);
    util->save(image, saver, full);
  } catch (...) {
    // A failing save is the saver's to report.
  }
  try {
    util->destroy(image);
  } catch (...) {
  }
  engineUnlock(viewer->engine);
}
