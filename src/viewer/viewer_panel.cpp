#include "viewer/viewer_panel.h"

#include <algorithm>
#include <cmath>
#include <vector>
#include <new>

#include "capture/scene_capture.h"
#include "refine/refine_run.h"
#include "runtime/global_services.h"
#include "runtime/memory.h"
#include "shading/captured_light.h"
#include "toolkit/item_chooser.h"
#include "toolkit/panel_control.h"
#include "viewer/preview_layers.h"
#include "viewer/tile_engine.h"
#include "viewer/view_control.h"
#include "viewer/view_display.h"

namespace {

constexpr char kViewName[] = "CTW";
constexpr int32_t kViewX = 5, kViewY = 24;


void hostAmbient(double time, double out[3]) {
  try {
    if (globalServices.lightInfo3) globalServices.lightInfo3->ambient(time, out);
    else if (globalServices.lightInfo) globalServices.lightInfo->ambient(time, out);
  } catch (...) {
    // The old colour stays.
  }
}

void freeLights(ViewerPanel* viewer) {
  for (CapturedLight* light = viewer->lights; light;) {
    CapturedLight* next = light->next;
    memFree(light);
    light = next;
  }
  viewer->lights = viewer->lightsFixed = viewer->lightsChanged = nullptr;
}

// Keeps a record per host light, in the host's order: new lights get one, gone ones lose
// theirs. Every record is captured at `time`; `changed` marks those whose capture reports a
// change, and a new record is always changed. True when a light came or went.
bool walkLights(ViewerPanel* viewer, double time) {
  bool cameOrWent = false;
  for (CapturedLight* light = viewer->lights; light; light = light->next) light->stale = 1;
  LWItemInfo* items = globalServices.itemInfo;
  CapturedLight** tail = &viewer->lights;
  if (items) {
    for (LWItemID item = items->first(LWI_LIGHT, nullptr); item; item = items->next(item)) {
      CapturedLight* found = nullptr;
      for (CapturedLight* light = viewer->lights; light; light = light->next)
        if (light->item == item) found = light;
      if (!found) {
        found = static_cast<CapturedLight*>(memAlloc(sizeof(CapturedLight)));
        if (!found) break;
        CapturedLight_Init(found);
        found->item = item;
        found->owner = viewer;
        found->next = *tail;
        *tail = found;
        cameOrWent = true;
      }
      found->stale = 0;
      found->changed = CaptureLight(item, found, time) != 0;
      tail = &found->next;
    }
  }
  for (CapturedLight** at = &viewer->lights; *at;) {
    CapturedLight* light = *at;
    if (light->stale) {
      *at = light->next;
      memFree(light);
      cameOrWent = true;
    } else {
      at = &light->next;
    }
  }
  CapturedLight* previous = nullptr;
  for (CapturedLight* light = viewer->lights; light; light = light->next) {
    light->previous = previous;
    previous = light;
  }
  return cameOrWent;
}

// Two sublists by nextInGroup: `first` takes the lights that pass `test`.
void splitLights(ViewerPanel* viewer, bool (*test)(const CapturedLight*)) {
  CapturedLight** fixedTail = &viewer->lightsFixed;
  CapturedLight** changedTail = &viewer->lightsChanged;
  *fixedTail = *changedTail = nullptr;
  for (CapturedLight* light = viewer->lights; light; light = light->next) {
    light->nextInGroup = nullptr;
    CapturedLight**& tail = test(light) ? changedTail : fixedTail;
    *tail = light;
    tail = &light->nextInGroup;
  }
}

void destroyView(ViewerPanel* viewer) {
  if (viewer->ownsView && viewer->view) ControlDestroy(viewer->view);
  viewer->view = nullptr;
}

}  // namespace

LWItemID viewerRenderCamera(double time) {
  auto* scene = hostTransientAs<LWSceneInfo>(LWSCENEINFO_GLOBAL);
  try {
    return scene && scene->renderCamera ? scene->renderCamera(time) : nullptr;
  } catch (...) {
    return nullptr;
  }
}

LWItemID viewerCameraItem(ViewerPanel* viewer) {
  LWItemID item = nullptr;
  if (viewer->cameraControl) item = itemChooserItem(static_cast<ItemChooserControl*>(viewer->cameraControl), 0);
  return item ? item : viewerRenderCamera(viewer->capture ? viewer->capture->time : viewer->sceneTime);
}

void viewerCheckCamera(ViewerPanel* viewer) {
  const double time = viewer->capture ? viewer->capture->time : viewer->sceneTime;
  const LWItemID item = viewerCameraItem(viewer);
  if (!item) return;  // a camera that cannot be read leaves the old copy
  if (CaptureCamera(item, time, &viewer->camera) && viewer->engine) {
    engineInvalidate(viewer->engine, kLayerHit);
    engineSetDetail(viewer->engine, 1);
  }
}

void viewerRebuildLights(ViewerPanel* viewer) {
  engineLock(viewer->engine);
  walkLights(viewer, viewer->capture->time);
  splitLights(viewer, [](const CapturedLight* light) { return light->shadowType != 0; });
  engineInvalidate(viewer->engine, kLayerLightsFixed);
  engineInvalidate(viewer->engine, kLayerLightsChanged);
  engineInvalidate(viewer->engine, kLayerBounce);
  engineSetDetail(viewer->engine, 1);
  engineUnlock(viewer->engine);
}

void viewerCheckLights(ViewerPanel* viewer) {
  engineLock(viewer->engine);
  std::vector<const CapturedLight*> wereChanged;
  for (CapturedLight* light = viewer->lightsChanged; light; light = light->nextInGroup) wereChanged.push_back(light);
  const auto wasChanged = [&](const CapturedLight* light) {
    return std::find(wereChanged.begin(), wereChanged.end(), light) != wereChanged.end();
  };
  bool any = walkLights(viewer, viewer->capture->time);
  bool negative = false;
  for (CapturedLight* light = viewer->lights; light; light = light->next) {
    any = any || light->changed;
    negative = negative || light->color[0] + light->color[1] + light->color[2] < 0.0;
  }
  if (!any) {
    engineUnlock(viewer->engine);
    return;
  }
  // A negative light takes light away wherever it falls: no layer can keep it apart.
  if (negative)
    for (CapturedLight* light = viewer->lights; light; light = light->next) light->changed = 1;
  splitLights(viewer, [](const CapturedLight* light) { return light->changed != 0; });
  bool redoFixed = false;
  for (CapturedLight* light = viewer->lights; light; light = light->next)
    // Into layer 5, or (ours: else its old light would stay there beside its new one in
    // layer 6) out of it.
    redoFixed = redoFixed || (wasChanged(light) != (light->changed != 0));
  if (redoFixed) engineInvalidate(viewer->engine, kLayerLightsFixed);
  engineInvalidate(viewer->engine, kLayerLightsChanged);
  engineInvalidate(viewer->engine, kLayerBounce);
  engineSetDetail(viewer->engine, 1);
  engineUnlock(viewer->engine);
  viewDisplayWake(viewer->view);
}

void viewerCheckScene(ViewerPanel* viewer) {
  viewerCheckLights(viewer);
  viewerCheckCamera(viewer);
  viewerCheckEnvironment(viewer);
}

void viewerBackdropChanged(ViewerPanel* viewer) {
  for (int32_t layer : {kLayerUnlit, kLayerFogColour, kLayerBounce}) engineInvalidate(viewer->engine, layer);
}

void viewerUpdateDetail(ViewerPanel* viewer) {
  int32_t w = 0, h = 0;
  double l, b, r, t;
  viewGetState(viewer->view, &w, &h, &l, &b, &r, &t);
  engineSetDetail(viewer->engine, w < kViewerFullDetailSize && h < kViewerFullDetailSize ? 2 : 1);
}

void viewerInitialSize(int32_t frameWidth, int32_t frameHeight, int32_t* width, int32_t* height) {
  int32_t w = frameWidth, h = frameHeight;
  const int32_t k = kViewerSmallFrame / std::max(w, 1) + 1;
  if (k >= 2) {
    w *= k;
    h *= k;
  } else {
    int32_t d = w / kViewerWideFrame;
    if (w >= kViewerWidestFrame) d = kViewerWidestDivisor;
    w /= d + 1;
    h /= d + 1;
  }
  while (h > kViewerTallestView) h /= 2;
  *width = w;
  *height = std::max(h, kViewMinimumSize);
}

int32_t viewerFullSizeDivisor(int32_t frameWidth, int32_t frameHeight, int32_t* width, int32_t* height) {
  const int32_t w = std::clamp(frameWidth, 2, kViewerLargestFrame), h = std::clamp(frameHeight, 2, kViewerLargestFrame);
  int32_t d = 1;
  while (w / d > kViewerFullSizeLimit || h / d > kViewerFullSizeLimit) ++d;
  *width = std::clamp(w / d, 2, kViewerFullSizeLimit);
  *height = std::clamp(h / d, 2, kViewerFullSizeLimit);
  return d;
}

void viewerPlacement(int32_t counter, int32_t* dx, int32_t* dy) {
  *dx = (counter % 2) * kViewerPlacementStep - kViewerPlacementOrigin;
  *dy = (counter / 2) * kViewerPlacementStep - kViewerPlacementOrigin;
}

void viewerCheckEnvironment(ViewerPanel* viewer) {
  const double time = viewer->capture->time;
  bool changed = false;
  double ambient[3] = {viewer->ambient[0], viewer->ambient[1], viewer->ambient[2]};
  hostAmbient(time, ambient);
  if (ambient[0] != viewer->ambient[0] || ambient[1] != viewer->ambient[1] || ambient[2] != viewer->ambient[2]) {
    for (int k = 0; k < 3; ++k) viewer->ambient[k] = ambient[k];
    engineInvalidate(viewer->engine, kLayerUnlit);
    engineSetDetail(viewer->engine, 1);
    changed = true;
  }
  if (CaptureEnvironment(time, &viewer->environment)) {
    engineInvalidate(viewer->engine, kLayerFogKeep);
    engineInvalidate(viewer->engine, kLayerFogColour);
    engineSetDetail(viewer->engine, 1);
    changed = true;
  }
  viewerFitFogLayers(viewer);
  if (changed) engineInvalidate(viewer->engine, kLayerBounce);
}

void viewerFitView(ViewerPanel* viewer) {
  const double aspect = viewer->camera.imageAspect;
  viewSetLimits(viewer->view, -1.0, -1.0 / aspect, 1.0, 1.0 / aspect);
  viewSetRect(viewer->view, -1.0, -1.0 / aspect, 1.0, 1.0 / aspect);
}

bool viewerStartOnView(ViewerPanel* viewer, SceneCapture* capture) {
  viewer->capture = capture;
  CapturedCamera_Init(&viewer->camera);
  CapturedEnvironment_Init(&viewer->environment);
  viewerCheckCamera(viewer);
  viewer->engine = engineCreate();
  if (!viewer->engine) return false;
  viewSetEngine(viewer->view, viewer->engine);
  viewerFitView(viewer);
  int32_t w = 0, h = 0;
  viewGetState(viewer->view, &w, &h, &viewer->savedLeft, &viewer->savedBottom, &viewer->savedRight, &viewer->savedTop);
  viewer->savedWidth = w;
  viewer->savedHeight = h;
  engineFitGrid(viewer->engine);
  if (!viewerDefineLayers(viewer)) return false;
  viewerRebuildLights(viewer);
  viewerCheckEnvironment(viewer);
  engineSetIdle(viewer->engine, refineIdle, viewer);
  return true;
}

void viewerStopOnView(ViewerPanel* viewer) {
  if (viewer->refine.paused.exchange(0) && viewer->engine) engineUnlock(viewer->engine);
  // The engine's thread uses the view and the view's display thread reads the engine: the
  // first ends before the view lets go of the engine, which goes last.
  engineHalt(viewer->engine);
  if (viewer->view) {
    viewDetachImage(viewer->view);
    for (ViewOverlay** overlay : {&viewer->overlayStatic, &viewer->overlayBounce, &viewer->overlayFog,
                                  &viewer->overlayLightsFixed, &viewer->overlayLightsChanged}) {
      if (*overlay) viewRemoveOverlay(viewer->view, *overlay);
      *overlay = nullptr;
    }
    viewSetEngine(viewer->view, nullptr);
  }
  engineDestroy(viewer->engine);
  viewer->engine = nullptr;
  freeLights(viewer);
}

ViewerPanel* viewerOpenOnCapture(SceneCapture* capture, ViewControl* view, int32_t width, int32_t height) {
  if (!capture) return nullptr;
  void* memory = memAllocZero(sizeof(ViewerPanel));
  if (!memory) return nullptr;
  auto* viewer = new (memory) ViewerPanel{};
  viewer->alive = 1;
  viewer->refine.quality = -1;
  viewer->sceneTime = capture->time;
  viewer->view = view;
  if (!view) {
    viewer->view = viewCreate(kViewName, kViewX, kViewY, nullptr);
    viewer->ownsView = 1;
  }
  if (!viewer->view) {
    memFree(viewer);
    return nullptr;
  }
  viewResize(viewer->view, width, height);
  if (!viewerStartOnView(viewer, capture)) {
    viewerCloseOnCapture(viewer);
    return nullptr;
  }
  engineStart(viewer->engine);
  return viewer;
}

void viewerCloseOnCapture(ViewerPanel* viewer) {
  if (!viewer) return;
  viewer->alive = 0;
  viewerStopOnView(viewer);
  destroyView(viewer);
  memFree(viewer->refine.pixels);
  memFree(viewer->refine.display);
  viewer->~ViewerPanel();
  memFree(viewer);
}
