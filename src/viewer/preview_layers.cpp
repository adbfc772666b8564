#include "viewer/preview_layers.h"

#include <algorithm>
#include <cstring>

#include "capture/scene_capture.h"
#include "rayengine/hit_shading.h"
#include "rayengine/ray_cast.h"
#include "refine/pixel_refine.h"
#include "runtime/random.h"
#include "runtime/vector_ops.h"
#include "shading/direct_light_cell.h"
#include "shading/radiosity_settings.h"
#include "shading/shading_core.h"
#include "viewer/tile_engine.h"
#include "viewer/view_control.h"
#include "viewer/viewer_panel.h"

namespace {

constexpr float kWhite[3] = {1.0f, 1.0f, 1.0f};
constexpr int32_t kBounceBias = 4;
constexpr int32_t kLightsChangedBias = 2;
constexpr int32_t kFogOrder = 0;
constexpr double kByteScale = 255.0;

ViewerPanel* viewerOf(void* data) { return static_cast<ViewerPanel*>(data); }

const HitCell* hitOf(const void* const* inputs) { return static_cast<const HitCell*>(inputs[0]); }
const ShadingSample* sampleOf(const void* const* inputs) { return static_cast<const ShadingSample*>(inputs[1]); }

void writeColour(void* cell, const double colour[3]) {
  auto* bytes = static_cast<uint8_t*>(cell);
  for (int c = 0; c < 3; ++c) bytes[c] = refineDisplayByte(colour[c]);
}

void frameOf(const ViewerPanel* viewer, double x, double y, double* nx, double* ny) {
  *nx = x;
  *ny = y * viewer->camera.imageAspect;
}

bool inFrame(double nx, double ny) { return nx >= -1.0 && nx <= 1.0 && ny >= -1.0 && ny <= 1.0; }

// Where the backdrop and fog look up the compositing image: fractions from the left and top.
void placeSample(ViewerPanel* viewer, double nx, double ny) {
  viewer->environment.pixelX = (1.0 + nx) * 0.5;
  viewer->environment.pixelY = (1.0 - ny) * 0.5;
}

int depthLeft(const ViewerPanel* viewer) { return viewer->capture->recursionDepth - 1; }

// Layer 1: the camera ray through the cell, from the lens's centre.
void hitLayer(double x, double y, const void* const*, void* data, void* cell) {
  ViewerPanel* viewer = viewerOf(data);
  HitCell out{};
  double nx, ny;
  frameOf(viewer, x, y, &nx, &ny);
  out.hit.polygon = kHitOutsideFrame;
  out.distance = -1.0f;
  if (inFrame(nx, ny)) {
    CapturedCamera* camera = &viewer->camera;
    cameraSetLensOffset(camera, 0.5, 0.5, 0.0, 0.0);
    double origin[3], direction[3];
    cameraPixelToRay(camera, camera->width * (1.0 + nx) * 0.5 + 0.5, camera->height * (1.0 - ny) * 0.5 + 0.5, origin,
                     direction, nullptr, nullptr);
    const double t = CastRay(viewer->capture, origin, direction, kRayCamera, nullptr, -1, nullptr, -1.0, &out.hit);
    if (t < 0.0) out.hit.polygon = kHitNothing;
    out.distance = float(t);
    for (int k = 0; k < 3; ++k) out.direction[k] = float(direction[k]);
  }
  std::memcpy(cell, &out, sizeof out);
}

// Layer 2: the surface's values at the hit.
void surfaceLayer(double, double, const void* const* inputs, void* data, void* cell) {
  ShadingSample sample{};
  const HitCell* h = hitOf(inputs);
  if (h->hit.polygon >= 0) ShadeHit(&h->hit, viewerOf(data)->camera.position, &sample);
  std::memcpy(cell, &sample, kSurfaceCellBytes - 1);
}

void directionOf(const HitCell* h, double direction[3]) {
  for (int k = 0; k < 3; ++k) direction[k] = h->direction[k];
}

// Layer 3: the backdrop (or background image) for a miss; luminosity, and ambient light
// where no bounce takes its place, for a hit.
void unlitLayer(double x, double y, const void* const* inputs, void* data, void* cell) {
  ViewerPanel* viewer = viewerOf(data);
  const HitCell* h = hitOf(inputs);
  double colour[3] = {0.0, 0.0, 0.0};
  double direction[3];
  directionOf(h, direction);
  if (h->hit.polygon == kHitNothing) {
    double nx, ny;
    frameOf(viewer, x, y, &nx, &ny);
    SceneCapture* capture = viewer->capture;
    if (!capture->compositingBackground ||
        !refineBackgroundColour(capture->compositingBackground, (1.0 + nx) * 0.5, (1.0 - ny) * 0.5, colour))
      sceneBackdrop(capture->time, direction, colour);
  } else if (h->hit.polygon >= 0) {
    const double black[3] = {0.0, 0.0, 0.0};
    const bool ambientHere = radiositySettings.type == kNoRadiosity || depthLeft(viewer) < 1;
    const double view[3] = {-direction[0], -direction[1], -direction[2]};
    double point[3];
    HitWorldPoint(&h->hit, point);
    ShadeDirect(viewer->capture, nullptr, ambientHere ? viewer->ambient : black, view, point, &h->hit,
                sampleOf(inputs), 0.5, 0.5, 1.0, colour);
  }
  writeColour(cell, colour);
}

// Layer 4: one bounce of indirect light, with the cell's own pair of numbers.
void bounceLayer(double x, double y, const void* const* inputs, void* data, void* cell) {
  ViewerPanel* viewer = viewerOf(data);
  const HitCell* h = hitOf(inputs);
  double colour[3] = {0.0, 0.0, 0.0};
  if (h->hit.polygon >= 0) {
    double nx, ny, direction[3];
    frameOf(viewer, x, y, &nx, &ny);
    placeSample(viewer, nx, ny);
    directionOf(h, direction);
    uint32_t seed = randHash(uint32_t(int64_t(x * 1400013665.0)) ^ uint32_t(int64_t(y * 2490574437.0)));
    const double u = fastUnit(&seed), v = fastUnit(&seed);
    SceneCapture* capture = viewer->capture;
    ShadeBounce(capture, viewer->lights, capture->time, viewer->ambient, &viewer->environment, &h->hit,
                sampleOf(inputs), direction, 1.0, depthLeft(viewer), kRayCamera, u, v, 1.0, colour);
  }
  writeColour(cell, colour);
}

void lightsLayer(double x, double y, const void* const* inputs, ViewerPanel* viewer, CapturedLight* group,
                 void* cell) {
  double colour[3];
  DirectLightCell(viewer->capture, &viewer->camera, group, x, y, &hitOf(inputs)->hit, sampleOf(inputs), colour);
  writeColour(cell, colour);
}

// Layers 5 and 6: the lights that stood still, and those that moved.
void lightsFixedLayer(double x, double y, const void* const* inputs, void* data, void* cell) {
  lightsLayer(x, y, inputs, viewerOf(data), viewerOf(data)->lightsFixed, cell);
}
void lightsChangedLayer(double x, double y, const void* const* inputs, void* data, void* cell) {
  lightsLayer(x, y, inputs, viewerOf(data), viewerOf(data)->lightsChanged, cell);
}

// The share of the picture that fog leaves at the cell's hit; nothing is fogged behind a miss.
double fogKeep(const ViewerPanel* viewer, const HitCell* h) {
  if (h->hit.polygon < 0) return 1.0;
  return 1.0 - h->hit.object->fogLevel * FogAmount(&viewer->environment, h->distance);
}

// Layer 7: what fog leaves, 255 for none.
void fogKeepLayer(double, double, const void* const* inputs, void* data, void* cell) {
  const double keep = fogKeep(viewerOf(data), hitOf(inputs));
  const double colour[3] = {keep, keep, keep};
  writeColour(cell, colour);
}

// Layer 8: the fog's colour times its amount.
void fogColourLayer(double x, double y, const void* const* inputs, void* data, void* cell) {
  ViewerPanel* viewer = viewerOf(data);
  const HitCell* h = hitOf(inputs);
  double colour[3] = {0.0, 0.0, 0.0};
  const double amount = 1.0 - fogKeep(viewer, h);
  if (amount > 0.0) {
    double nx, ny, direction[3], fog[3];
    frameOf(viewer, x, y, &nx, &ny);
    placeSample(viewer, nx, ny);
    directionOf(h, direction);
    FogColorAtPixel(&viewer->environment, viewer->environment.pixelX, viewer->environment.pixelY, direction, fog);
    for (int c = 0; c < 3; ++c) colour[c] = fog[c] * amount / kByteScale;
  }
  writeColour(cell, colour);
}

bool addLayer(ViewerPanel* viewer, int32_t id, uint32_t bytes, LayerEvaluator evaluator, int32_t bias,
              bool readsSurface) {
  TileEngine* engine = viewer->engine;
  if (!engineAddLayer(engine, id, bytes)) return false;
  engineSetEvaluator(engine, id, evaluator);
  engineSetUserData(engine, id, viewer);
  engineSetPriorityBias(engine, id, bias);
  if (id != kLayerHit && !engineConnect(engine, kLayerHit, id, 0)) return false;
  if (readsSurface && !engineConnect(engine, kLayerSurface, id, 1)) return false;
  return true;
}

}  // namespace

bool viewerDefineLayers(ViewerPanel* viewer) {
  if (!addLayer(viewer, kLayerHit, kHitCellBytes, hitLayer, 0, false) ||
      !addLayer(viewer, kLayerSurface, kSurfaceCellBytes, surfaceLayer, 0, false) ||
      !addLayer(viewer, kLayerUnlit, kColourCellBytes, unlitLayer, 0, true) ||
      !addLayer(viewer, kLayerBounce, kColourCellBytes, bounceLayer, kBounceBias, true))
    return false;
  viewer->overlayStatic = viewAddOverlay(viewer->view, kLayerUnlit, kWhite);
  viewer->overlayBounce = viewAddOverlay(viewer->view, kLayerBounce, kWhite);
  if (!addLayer(viewer, kLayerLightsFixed, kColourCellBytes, lightsFixedLayer, 0, true) ||
      !addLayer(viewer, kLayerLightsChanged, kColourCellBytes, lightsChangedLayer, kLightsChangedBias, true))
    return false;
  viewer->overlayLightsFixed = viewAddOverlay(viewer->view, kLayerLightsFixed, kWhite);
  viewer->overlayLightsChanged = viewAddOverlay(viewer->view, kLayerLightsChanged, kWhite);
  return viewer->overlayStatic && viewer->overlayBounce && viewer->overlayLightsFixed && viewer->overlayLightsChanged;
}

void viewerFitFogLayers(ViewerPanel* viewer) {
  TileEngine* engine = viewer->engine;
  const bool fog = viewer->environment.fogType != 0;
  if (!fog && viewer->overlayFog) {
    viewRemoveOverlay(viewer->view, viewer->overlayFog);
    viewer->overlayFog = nullptr;
    engineRemoveLayer(engine, kLayerFogColour);
    engineRemoveLayer(engine, kLayerFogKeep);
  } else if (fog && !viewer->overlayFog) {
    if (!addLayer(viewer, kLayerFogColour, kColourCellBytes, fogColourLayer, 0, false) ||
        !addLayer(viewer, kLayerFogKeep, kColourCellBytes, fogKeepLayer, 0, false)) {
      engineRemoveLayer(engine, kLayerFogColour);
      engineRemoveLayer(engine, kLayerFogKeep);
      return;
    }
    viewer->overlayFog = viewAddFogOverlay(viewer->view, kFogOrder, kLayerFogColour, kLayerFogKeep);
  }
}
