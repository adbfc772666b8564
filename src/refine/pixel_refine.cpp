#include "refine/pixel_refine.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "capture/scene_capture.h"
#include "rayengine/ray_hit.h"
#include "runtime/global_services.h"
#include "runtime/memory.h"
#include "runtime/random.h"
#include "shading/captured_camera.h"
#include "shading/sample_alpha.h"
#include "shading/sample_tables.h"
#include "shading/shading_core.h"
#include "viewer/tile_engine.h"
#include "viewer/view_control.h"
#include "viewer/viewer_panel.h"

namespace {

constexpr uint32_t kDepthOfFieldBit = 0x40;
constexpr double kLensScale = 0.005475;
constexpr double kLensWeight = 0.15;
constexpr double kBaseRadius = 0.44;
constexpr double kSplatFloor = 0.000001;
constexpr float kHoleWeight = 0.0001f;
constexpr float kHoleStart = 0.00000000000001f;
constexpr int32_t kHoleCentreWeight = 8;
constexpr int32_t kFirstPassLayers[] = {kLayerUnlit, kLayerLightsFixed, kLayerLightsChanged, kLayerBounce};

// The module-wide word of the display's dither; threads may lose each other's draws.
std::atomic<uint32_t> ditherSeed{12345};

double ditherUnit() {
  uint32_t s = ditherSeed.load(std::memory_order_relaxed);
  const double r = fastUnit(&s);
  ditherSeed.store(s, std::memory_order_relaxed);
  return r;
}

void putByte(uint8_t* at, uint8_t value) { std::atomic_ref<uint8_t>(*at).store(value, std::memory_order_relaxed); }

// A table draw with noise of amplitude a, wrapped into the unit square.
void drawPair(const SamplePair& entry, double a, uint32_t* seed, double* u, double* v) {
  *u = entry.first + a * fastUnit(seed);
  *v = entry.second + a * fastUnit(seed);
  if (*u >= 1.0) *u -= 1.0;
  if (*v >= 1.0) *v -= 1.0;
}

bool inFrame(double nx, double ny) { return nx >= -1.0 && nx <= 1.0 && ny >= -1.0 && ny <= 1.0; }

void freeArrays(RefineState* state) {
  memFree(state->pixels);
  memFree(state->display);
  state->pixels = nullptr;
  state->display = nullptr;
}

// Step 2 of the first pass: arrays of the view's area, cleared. Same area, other shape: the
// arrays are cleared and the stored shape stays.
bool prepareArrays(RefineState* state, int32_t width, int32_t height) {
  const int64_t n = int64_t(width) * height;
  if (state->pixels && n == int64_t(state->width) * state->height) {
    std::memset(static_cast<void*>(state->pixels), 0, size_t(n) * sizeof(PixelSample));
    std::memset(state->display, 0, size_t(n) * 3);
    return true;
  }
  freeArrays(state);
  state->pixels = static_cast<PixelSample*>(memAllocZero(size_t(n) * sizeof(PixelSample)));
  if (state->pixels) state->display = static_cast<uint8_t*>(memAllocZero(size_t(n) * 3));
  if (!state->pixels || !state->display) {
    freeArrays(state);
    state->width = state->height = 0;
    return false;
  }
  state->width = width;
  state->height = height;
  return true;
}

// Steps 4 to 9: every computed cell of the layers, splatted where it lies in the frame.
void foldLayers(ViewerPanel* viewer, TileEngine* engine) {
  RefineState* s = &viewer->refine;
  const double aspect = viewer->camera.imageAspect;
  const uint8_t* layers[4] = {};
  int32_t n = 0;
  EngineRect rect{};
  const uint8_t* hits = engineGetLayerImage(engine, kLayerHit, &n, nullptr, &rect, nullptr);
  for (int k = 0; k < 4; ++k) layers[k] = engineGetLayerImage(engine, kFirstPassLayers[k], nullptr, nullptr, nullptr, nullptr);
  const bool fog = viewer->overlayFog != nullptr;
  const uint8_t* fogColour = fog ? engineGetLayerImage(engine, kLayerFogColour, nullptr, nullptr, nullptr, nullptr) : nullptr;
  const uint8_t* fogKeep = fog ? engineGetLayerImage(engine, kLayerFogKeep, nullptr, nullptr, nullptr, nullptr) : nullptr;
  int32_t sx = 0, sy = 0;
  if (!hits || n < 1 || !engineGetStrides(engine, kLayerHit, &sx, &sy)) return;
  sx = std::max(sx, 1);
  sy = std::max(sy, 1);
  ImageLayer* hitLayer = nullptr;
  for (int32_t i = 0; i < engine->layerCount; ++i)
    if (engine->layers[i]->id == kLayerHit) hitLayer = engine->layers[i];
  const uint32_t hitBytes = hitLayer ? hitLayer->cellBytes : 0;
  const double spanX = s->viewRight - s->viewLeft, spanY = s->viewTop - s->viewBottom;
  for (int32_t row = 0; row < n; row += sy) {
    const double gy = (rect.top - rect.bottom) * (row + 0.5) / n + rect.bottom;
    if (!inFrame(0.0, gy * aspect)) continue;
    for (int32_t col = 0; col < n; col += sx) {
      const double gx = (rect.right - rect.left) * (col + 0.5) / n + rect.left;
      if (!inFrame(gx, 0.0)) continue;
      const size_t cell = size_t(row) * n + col;
      double colour[3];
      for (int c = 0; c < 3; ++c) {
        int32_t sum = 0;
        for (const uint8_t* layer : layers)
          if (layer) sum += layer[cell * 4 + c];
        colour[c] = sum / 256.0;
        if (fog) colour[c] = ((fogColour ? fogColour[cell * 4 + c] : 0) + (fogKeep ? fogKeep[cell * 4 + c] : 0) * colour[c]) / 256.0;
      }
      int32_t first = 0;
      std::memcpy(&first, hits + cell * hitBytes, sizeof first);
      const double coverage = first < 0 ? 0.0 : 1.0;
      const double x = (gx - s->viewLeft) * s->width / spanX + 0.5;
      const double y = (gy - s->viewBottom) * s->height / spanY + 0.5;
      splatSample(x, y, colour, 1.0, kRefineFirstPassRadius, coverage, s->pixels, s->display, s->width, s->height);
    }
  }
}

// Step 10 and 11: a pixel no cell reached takes the mean of its neighbours, by their weights.
bool fillHoles(ViewerPanel* viewer, TileEngine* engine) {
  RefineState* s = &viewer->refine;
  const int32_t w = s->width, h = s->height;
  const double aspect = viewer->camera.imageAspect;
  for (int32_t y = 0; y < h; ++y) {
    if (engineShouldStop(engine)) return false;
    for (int32_t x = 0; x < w; ++x) {
      PixelSample* p = &s->pixels[size_t(y) * w + x];
      if (!(p->weight < kHoleWeight)) continue;
      float total = kHoleStart;
      float colour[3] = {0.0f, 0.0f, 0.0f};
      float coverage = 0.0f;
      for (int32_t j = std::max(y - 1, 0); j <= std::min(y + 1, h - 1); ++j)
        for (int32_t i = std::max(x - 1, 0); i <= std::min(x + 1, w - 1); ++i) {
          const PixelSample* q = &s->pixels[size_t(j) * w + i];
          const float weight = q->weight * ((i == x && j == y) ? kHoleCentreWeight : 1);
          const float channels[3] = {q->red, q->green, q->blue};
          for (int c = 0; c < 3; ++c) colour[c] = (colour[c] * total + channels[c] * weight) / (total + weight);
          // Deliberate: the centre counts once in the coverage and eight times in the colour;
          // saved previews were made so.
          coverage = (coverage * total + q->coverage * q->weight) / (total + q->weight);
          total += weight;
        }
      const double nx = (s->viewRight - s->viewLeft) * (x + 0.5) / w + s->viewLeft;
      const double ny = ((s->viewTop - s->viewBottom) * (y + 0.5) / h + s->viewBottom) * aspect;
      if (!inFrame(nx, ny)) continue;
      uint8_t* bytes = &s->display[(size_t(y) * w + x) * 3];
      for (int c = 0; c < 3; ++c) putByte(bytes + c, refineDisplayByte(colour[c]));
      p->red = colour[0];
      p->green = colour[1];
      p->blue = colour[2];
      p->coverage = coverage;
      p->weight = kRefineFilledWeight;
    }
  }
  return true;
}

}  // namespace

uint8_t refineDisplayByte(double value) { return uint8_t(std::clamp(value, 0.0, 1.0) * 255.0); }

bool refineBackgroundColour(LWImageID image, double fromLeft, double fromTop, double colour[3]) {
  LWImageList* images = globalServices.imageList;
  if (!images || !image) return false;
  try {
    int iw = 0, ih = 0;
    images->size(image, &iw, &ih);
    if (iw < 1 || ih < 1) return false;
    const double bx = std::clamp(fromLeft * iw, 0.0, double(iw - 1));
    const double by = std::clamp(fromTop * ih, 0.0, double(ih - 1));
    LWBufferValue rgb[3] = {0.0f, 0.0f, 0.0f};
    images->RGB(image, int(bx), int(by), rgb);
    for (int k = 0; k < 3; ++k) colour[k] = rgb[k];
    return true;
  } catch (...) {
    // A bad image costs this sample its background, nothing more.
    return false;
  }
}

void splatSample(double x, double y, const double colour[3], double weight, double extraRadius, double coverage,
                 PixelSample* pixels, uint8_t* display, int32_t width, int32_t height) {
  const double r = kBaseRadius + extraRadius;
  const double k = 0.5 / r;
  const double peak = k * k * weight;
  for (int32_t j = int32_t(y - r); j < y + r; ++j) {
    if (j < 0 || j >= height) continue;
    const double dy = std::fabs(y - 0.5 - j) * k;
    if (!(dy < 1.0)) continue;
    const double fy = 1.0 - (3.0 - 2.0 * dy) * dy * dy;
    for (int32_t i = int32_t(x - r); i < x + r; ++i) {
      if (i < 0 || i >= width) continue;
      const double dx = std::fabs(x - 0.5 - i) * k;
      if (!(dx < 1.0)) continue;
      const double g = (1.0 - (3.0 - 2.0 * dx) * dx * dx) * fy * peak;
      if (!(g > kSplatFloor)) continue;
      PixelSample* p = &pixels[size_t(j) * width + i];
      const double w = p->weight, total = w + g;
      p->red = float((p->red * w + colour[0] * g) / total);
      p->green = float((p->green * w + colour[1] * g) / total);
      p->blue = float((p->blue * w + colour[2] * g) / total);
      p->coverage = float((p->coverage * w + coverage * g) / total);
      p->weight = float(total);
      if (!display) continue;
      uint8_t* bytes = &display[(size_t(j) * width + i) * 3];
      const float channels[3] = {p->red, p->green, p->blue};
      for (int c = 0; c < 3; ++c)
        putByte(bytes + c, uint8_t(std::clamp(double(channels[c]), 0.0, 1.0) * 255.0 + ditherUnit()));
    }
  }
}

PixelSample* refineFirstPass(ViewerPanel* viewer, TileEngine* engine, double left, double bottom, double right,
                             double top, int32_t width, int32_t height) {
  RefineState* s = &viewer->refine;
  s->viewLeft = left;
  s->viewBottom = bottom;
  s->viewRight = right;
  s->viewTop = top;
  if (!prepareArrays(s, width, height)) return nullptr;
  if (engineShouldStop(engine)) return nullptr;
  engineLockImages(engine);
  foldLayers(viewer, engine);
  engineUnlockImages(engine);
  if (engineShouldStop(engine)) return nullptr;
  if (!fillHoles(viewer, engine)) return nullptr;
  return s->pixels;
}

void refinePixel(ViewerPanel* viewer, PixelSample* pixel, PixelSample* pixels, double weight, int32_t x, int32_t y,
                 int32_t samples) {
  RefineState* s = &viewer->refine;
  SceneCapture* capture = viewer->capture;
  CapturedCamera* camera = &viewer->camera;
  // Deliberate: the stored shape, which after a change to a view of the same area is the
  // older one (see prepareArrays); the walk's pixels stay inside the arrays either way.
  const int32_t width = s->width, height = s->height;
  const bool even = ((x + y) & 1) == 0;
  const SamplePair* lens = even ? lensSamplesEven : lensSamplesOdd;
  const SamplePair* bounce = even ? bounceSamplesEven : bounceSamplesOdd;
  for (int32_t k = 0; k < samples; ++k) {
    const uint32_t c = pixel->sampleCount;
    uint32_t seed = randHash(uint32_t(x) * 0x11223345u + uint32_t(y) * 0x16543211u + c * 0x35162817u);
    const uint32_t row = c % kSampleTableRows;
    const double a = 0.16724999999999998 / std::sqrt(double(c) + 5.0) + 0.0445;
    const double px = x + pixelOffsets[row].first, py = y + pixelOffsets[row].second;
    const double nx = (s->viewRight - s->viewLeft) * px / width + s->viewLeft;
    const double ny = ((s->viewTop - s->viewBottom) * py / height + s->viewBottom) * camera->imageAspect;
    if (!inFrame(nx, ny) || !capture) {
      pixel->sampleCount = c + 1;
      continue;
    }
    const double cx = camera->width * (1.0 + nx) * 0.5 + 0.5;
    const double cy = camera->height * (1.0 - ny) * 0.5 + 0.5;
    viewer->environment.pixelX = (1.0 + nx) * 0.5;
    viewer->environment.pixelY = (1.0 - ny) * 0.5;
    double sampleWeight = weight;
    double u = 0.0, v = 0.0;
    if (capture->renderOpts & kDepthOfFieldBit) {
      drawPair(lens[row], a, &seed, &u, &v);
      squareToDisc(&u, &v);
      cameraSetLensOffset(camera, 0.5, 0.5, u * kLensScale, v * kLensScale);
      sampleWeight *= kLensWeight;
    }
    double origin[3], direction[3];
    cameraPixelToRay(camera, cx, cy, origin, direction, nullptr, nullptr);
    drawPair(bounce[row], a, &seed, &u, &v);
    double colour[3] = {0.0, 0.0, 0.0};
    RayHit hit{};
    hit.polygon = -1;
    const double t = TraceSample(capture, viewer->lights, capture->time, viewer->ambient, &viewer->environment, origin,
                                 direction, 1.0, nullptr, -1, kRayCamera, capture->recursionDepth - 1, u, v,
                                 sampleWeight, colour, &hit);
    if (t < 0.0 && capture->compositingBackground)
      refineBackgroundColour(capture->compositingBackground, viewer->environment.pixelX, viewer->environment.pixelY,
                             colour);
    const double extraRadius = 0.6 - 0.075 * std::min<uint32_t>(c, 8);
    const double coverage = SampleAlpha(t, &hit, nullptr, nullptr, nullptr, nullptr);
    splatSample(px, py, colour, sampleWeight, extraRadius, coverage, pixels, s->display, width, height);
    pixel->sampleCount = c + 1;
  }
}
