// "LW Image List": the scene's images, their files and their pixels.
#include <cmath>
#include <cstdint>

#include <lwhost.h>
#include <lwimage.h>

#include "host/services/host.h"
#include "host/services/img_sample.h"
#include "host/services/img_store.h"

namespace host {

namespace {

ImageTable* table() { return currentImageTable(); }

ImageEntry* entry(LWImageID id) {
  ImageTable* t = table();
  return t ? t->find(id) : nullptr;
}

// Sequences show the frame the host stands at.
int currentFrame() {
  Host* h = Host::current();
  return h ? int(std::floor(h->frame() + 0.5)) : 0;
}

const ImagePixels* pixelsOf(LWImageID id) {
  ImageEntry* e = entry(id);
  return e ? &e->file(currentFrame())->pixels() : nullptr;
}

LWImageID first() {
  ImageTable* t = table();
  return t ? t->first() : nullptr;
}

LWImageID next(LWImageID id) {
  ImageTable* t = table();
  return t ? t->next(id) : nullptr;
}

LWImageID load(const char* filename) {
  ImageTable* t = table();
  if (!t || !filename || !*filename) return nullptr;
  ImageEntry* e = t->byPath(filename);
  return e ? e->id() : nullptr;
}

const char* name(LWImageID id) {
  ImageEntry* e = entry(id);
  return e ? e->name().c_str() : nullptr;
}

const char* filename(LWImageID id, LWFrame frame) {
  ImageEntry* e = entry(id);
  return e ? e->file(frame)->shownName().c_str() : nullptr;
}

int isColor(LWImageID id) {
  const ImagePixels* p = pixelsOf(id);
  return p && p->isColor() ? 1 : 0;
}

void needAA(LWImageID) {}

void size(LWImageID id, int* width, int* height) {
  const ImagePixels* p = pixelsOf(id);
  if (width) *width = p ? p->width : 0;
  if (height) *height = p ? p->height : 0;
}

// Reads outside the image are black and clear.
bool inside(const ImagePixels& p, int x, int y) { return x >= 0 && y >= 0 && x < p.width && y < p.height; }

LWBufferValue luma(LWImageID id, int x, int y) {
  const ImagePixels* p = pixelsOf(id);
  return p && inside(*p, x, y) ? p->luma(x, y) : 0.0f;
}

void RGB(LWImageID id, int x, int y, LWBufferValue rgb[3]) {
  if (!rgb) return;
  const ImagePixels* p = pixelsOf(id);
  float c[4] = {0.0f, 0.0f, 0.0f, 0.0f};
  if (p && inside(*p, x, y)) p->rgba(x, y, c);
  rgb[0] = c[0], rgb[1] = c[1], rgb[2] = c[2];
}

LWBufferValue alpha(LWImageID id, int x, int y) {
  const ImagePixels* p = pixelsOf(id);
  if (!p || !inside(*p, x, y)) return 0.0f;
  float c[4];
  p->rgba(x, y, c);
  return c[3];
}

int hasAlpha(LWImageID id) {
  const ImagePixels* p = pixelsOf(id);
  return p && p->hasAlpha() ? 1 : 0;
}

// The spot reads take pixel coordinates; with blend they interpolate between the four
// nearest pixels, without it they take the pixel the point lies in. There is no filtering
// over the spot's size.
void spot(LWImageID id, double x, double y, int blend, double out[4]) {
  out[0] = out[1] = out[2] = out[3] = 0.0;
  const ImagePixels* p = pixelsOf(id);
  if (!p || !std::isfinite(x) || !std::isfinite(y)) return;
  samplePixels(*p, x, y, blend != 0, TileMode::Edge, TileMode::Edge, out);
}

double lumaSpot(LWImageID id, double x, double y, double, int blend) {
  double c[4];
  spot(id, x, y, blend, c);
  return 0.299 * c[0] + 0.587 * c[1] + 0.114 * c[2];
}

void RGBSpot(LWImageID id, double x, double y, double, int blend, double rgb[3]) {
  if (!rgb) return;
  double c[4];
  spot(id, x, y, blend, c);
  rgb[0] = c[0], rgb[1] = c[1], rgb[2] = c[2];
}

double alphaSpot(LWImageID id, double x, double y, double, int blend) {
  double c[4];
  spot(id, x, y, blend, c);
  return c[3];
}

// The list keeps its images for the host's life: a plug-in's clear leaves them.
void clear(LWImageID) {}
LWImageID sceneLoad(const LWLoadState*) { return nullptr; }
void sceneSave(const LWSaveState*, LWImageID) {}

LWImageList kImageList = {first, next,  load, name,    filename, isColor,  needAA,    size,
                          luma,  RGB,   lumaSpot, RGBSpot, clear,   sceneLoad, sceneSave, hasAlpha,
                          alpha, alphaSpot};

std::string folder(Host& host, const char* kind) {
  auto* dir = reinterpret_cast<LWDirInfoFunc*>(host.services().find(LWDIRINFOFUNC_GLOBAL, 0));
  const char* f = dir ? dir(kind) : nullptr;
  return f ? f : "";
}

}  // namespace

void registerImageList(Host& host) {
  imageTable(host).attach(&host);
  host.services().addVersioned(LWIMAGELIST_GLOBAL, 3, [](int) -> void* { return &kImageList; });
  host.links().imageByPath = [&host](const std::string& path) -> LWImageID {
    ImageEntry* e = imageTable(host).byPath(path);
    return e ? e->id() : nullptr;
  };
  host.addRefresh([&host] {
    imageTable(host).sync(host.scene(), folder(host, LWFTYPE_CONTENT), folder(host, LWFTYPE_IMAGES));
  });
}

}  // namespace host
