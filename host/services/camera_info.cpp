// "LW Camera Info": the lens, frame and blur of each camera.
#include <cmath>

#include <lwrender.h>

#include "host/services/host.h"
#include "host/services/scene_ids.h"

namespace host {

namespace {

// The lens is taken to image a 36 x 24 mm frame, so the focal length in millimetres is the
// zoom factor times half the frame's height.
constexpr double kHalfFilmHeightMm = 12.0;

const CameraSettings* camera(LWItemID id) {
  Host* h = Host::current();
  const Item* it = h ? itemOf(h->scene(), id) : nullptr;
  return it && it->type == ItemType::Camera ? &it->camera : nullptr;
}

double zoomFactor(LWItemID id, LWTime t) {
  const CameraSettings* c = camera(id);
  return c ? c->zoomFactor.at(t) : 0.0;
}

double focalLength(LWItemID id, LWTime t) { return zoomFactor(id, t) * kHalfFilmHeightMm; }

double focalDistance(LWItemID id, LWTime t) {
  const CameraSettings* c = camera(id);
  return c ? c->focalDistance.at(t) : 0.0;
}

double fStop(LWItemID id, LWTime t) {
  const CameraSettings* c = camera(id);
  return c ? c->fStop.at(t) : 0.0;
}

double blurLength(LWItemID id, LWTime t) {
  const CameraSettings* c = camera(id);
  return c ? c->blurLength.at(t) : 0.0;
}

// Full angles of view: the frame spans 2 / zoom vertically at unit distance, and the width
// follows from the frame's and the pixels' aspect.
void fovAngles(LWItemID id, LWTime t, double* horizontal, double* vertical) {
  const CameraSettings* c = camera(id);
  double h = 0.0, v = 0.0;
  if (c) {
    const double zoom = c->zoomFactor.at(t);
    if (zoom > 0.0 && c->height > 0) {
      const double aspect = c->width * c->pixelAspect / c->height;
      h = 2.0 * std::atan(aspect / zoom);
      v = 2.0 * std::atan(1.0 / zoom);
    }
  }
  if (horizontal) *horizontal = h;
  if (vertical) *vertical = v;
}

unsigned int flags(LWItemID id) {
  const CameraSettings* c = camera(id);
  if (!c) return 0u;
  unsigned int f = 0;
  if (c->limitedRegion != 0) f |= LWCAMF_LIMITED_REGION;
  if (c->limitedRegion == 2) f |= LWCAMF_LR_NOBORDERS;
  if (c->depthOfField) f |= LWCAMF_DOF;
  return f;
}

void resolution(LWItemID id, int* width, int* height) {
  const CameraSettings* c = camera(id);
  if (width) *width = c ? c->width : 0;
  if (height) *height = c ? c->height : 0;
}

double pixelAspect(LWItemID id, LWTime) {
  const CameraSettings* c = camera(id);
  return c ? c->pixelAspect : 0.0;
}

double separation(LWItemID, LWTime) { return 0.0; }

void regionLimits(LWItemID id, int* x0, int* y0, int* x1, int* y1) {
  const CameraSettings* c = camera(id);
  if (!c) {
    if (x0) *x0 = 0;
    if (y0) *y0 = 0;
    if (x1) *x1 = 0;
    if (y1) *y1 = 0;
    return;
  }
  if (x0) *x0 = c->regionX0;
  if (y0) *y0 = c->regionY0;
  if (x1) *x1 = c->regionX1;
  if (y1) *y1 = c->regionY1;
}

// No mask: the whole frame.
void maskLimits(LWItemID id, int* x0, int* y0, int* x1, int* y1) {
  const CameraSettings* c = camera(id);
  if (x0) *x0 = 0;
  if (y0) *y0 = 0;
  if (x1) *x1 = c ? c->width - 1 : 0;
  if (y1) *y1 = c ? c->height - 1 : 0;
}

void maskColor(LWItemID, LWDVector color) {
  if (color) color[0] = color[1] = color[2] = 0.0;
}

unsigned int motionBlur(LWItemID id) {
  const CameraSettings* c = camera(id);
  return c ? unsigned(c->motionBlur) : 0u;
}

unsigned int fieldRendering(LWItemID id) {
  Host* h = Host::current();
  return h && camera(id) && h->scene().render.fieldRendering ? LWCAMFIELDR_EVENFIRST : LWCAMFIELDR_OFF;
}

int irisPos(LWItemID, LWTime, int, float* ix, float* iy) {
  if (ix) *ix = 0.0f;
  if (iy) *iy = 0.0f;
  return 0;
}

int usingGlobal(LWItemID) { return 0; }

struct CameraTables {
  LWCameraInfo info{zoomFactor,   focalLength, focalDistance, fStop,     blurLength,
                    fovAngles,    flags,       resolution,    pixelAspect, separation,
                    regionLimits, maskLimits,  maskColor,     motionBlur, fieldRendering,
                    irisPos,      usingGlobal, usingGlobal,   usingGlobal};
};

}  // namespace

void registerCameraInfo(Host& host) {
  CameraTables& t = host.state<CameraTables>();
  host.services().addVersioned(LWCAMERAINFO_GLOBAL, 2, [&t](int) -> void* { return &t.info; });
}

}  // namespace host
