#include "shading/captured_camera.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "runtime/global_services.h"
#include "runtime/vector_ops.h"

namespace {

constexpr double kChangeTolerance = 1e-08;

LWSceneInfo* sceneInfo() { return hostTransientAs<LWSceneInfo>(LWSCENEINFO_GLOBAL); }

bool frameUsable(const CapturedCamera* c) {
  if (c->width < 4 || c->width > 16384 || c->height < 4 || c->height > 16384) return false;
  if (c->regionLimits[0] < 0 || c->regionLimits[2] < 0) return false;
  return c->regionLimits[1] <= c->width && c->regionLimits[3] <= c->height;
}

// x0, y0, x1, y1 with both ends included, as the host gives them, into the record's order.
void storeRegion(CapturedCamera* c, int x0, int y0, int x1, int y1) {
  // A region the host left larger than the frame covers the whole frame.
  x0 = std::clamp(x0, 0, c->width);
  y0 = std::clamp(y0, 0, c->height);
  c->regionLimits[0] = x0;
  c->regionLimits[1] = std::clamp(x1 + 1, x0, c->width);
  c->regionLimits[2] = y0;
  c->regionLimits[3] = std::clamp(y1 + 1, y0, c->height);
}

void readFrame(CapturedCamera* c, LWItemID item, double time, const LWSceneInfo* scene) {
  int width = 0, height = 0, x0 = 0, y0 = 0, x1 = 0, y1 = 0;
  double aspect = 1.0;
  try {
    if (globalServices.hostVersion.major < 7) {
      if (!scene) return;
      width = scene->frameWidth;
      height = scene->frameHeight;
      aspect = scene->pixelAspect;
      x0 = scene->limitedRegion[0];
      y0 = scene->limitedRegion[1];
      x1 = scene->limitedRegion[2];
      y1 = scene->limitedRegion[3];
    } else {
      const LWCameraInfo* info = globalServices.cameraInfo;
      if (!info) return;
      info->resolution(item, &width, &height);
      aspect = info->pixelAspect(item, time);
      info->regionLimits(item, &x0, &y0, &x1, &y1);
    }
  } catch (...) {
    return;
  }
  c->width = std::clamp(width, 4, 16384);
  c->height = std::clamp(height, 4, 16384);
  c->pixelAspect = std::isfinite(aspect) ? std::clamp(aspect, 0.0001, 10000.0) : 1.0;
  storeRegion(c, x0, y0, x1, y1);
}

bool storeScalar(double& field, double value) {
  const bool changed = std::fabs(field - value) > kChangeTolerance;
  field = value;
  return changed;
}

bool storeVector(double field[3], const double value[3]) {
  const bool changed = vec::differs(field, value, kChangeTolerance);
  vec::copy(value, field);
  return changed;
}

// The other two axes from one unit axis, by the world axis along its smallest component.
void axesFromOne(const double a[3], double b[3], double c[3]) {
  int k = 0;
  if (std::fabs(a[1]) < std::fabs(a[k])) k = 1;
  if (std::fabs(a[2]) < std::fabs(a[k])) k = 2;
  double axis[3] = {0.0, 0.0, 0.0};
  axis[k] = 1.0;
  vec::cross(a, axis, b);
  vec::normalize(b);
  vec::cross(a, b, c);
}

// The world direction through a pixel position of the pinhole (lens at the centre).
void pinholeDirection(const CapturedCamera* c, double x, double y, double out[3]) {
  const double a = (x - c->pixelShiftX - c->width * 0.5) / (c->width * 0.5) * c->halfWidth;
  const double b = -(y - c->pixelShiftY - c->height * 0.5) / (c->height * 0.5) * c->halfHeight;
  for (int k = 0; k < 3; ++k) out[k] = c->forward[k] + c->right[k] * a + c->up[k] * b;
}

void setPlane(double plane[4], const double normal[3], const double point[3]) {
  double n[3];
  vec::copy(normal, n);
  vec::normalize(n);
  plane[0] = n[0];
  plane[1] = n[1];
  plane[2] = n[2];
  plane[3] = vec::dot(n, point);
}

void computeViewPlanes(CapturedCamera* c) {
  const double x0 = c->regionLimits[0] + c->pixelShiftX, x1 = c->regionLimits[1] + c->pixelShiftX;
  const double y0 = c->regionLimits[2] + c->pixelShiftY, y1 = c->regionLimits[3] + c->pixelShiftY;
  double left[3], right[3], top[3], bottom[3], n[3];
  // Edge directions at the region's sides: a vertical side runs along up, a horizontal one
  // along right, so each plane holds the edge and the camera's axis through the position.
  pinholeDirection(c, x0, c->height * 0.5 + c->pixelShiftY, left);
  pinholeDirection(c, x1, c->height * 0.5 + c->pixelShiftY, right);
  pinholeDirection(c, c->width * 0.5 + c->pixelShiftX, y0, top);
  pinholeDirection(c, c->width * 0.5 + c->pixelShiftX, y1, bottom);
  vec::cross(left, c->up, n);  // outward: towards -right
  setPlane(c->viewPlanes[0], n, c->position);
  vec::cross(c->up, right, n);
  setPlane(c->viewPlanes[1], n, c->position);
  vec::cross(top, c->right, n);
  setPlane(c->viewPlanes[2], n, c->position);
  vec::cross(c->right, bottom, n);
  setPlane(c->viewPlanes[3], n, c->position);
  const double back[3] = {-c->forward[0], -c->forward[1], -c->forward[2]};
  setPlane(c->viewPlanes[4], back, c->position);
}

}  // namespace

void orthonormalizeAxes(double right[3], double up[3], double forward[3]) {
  double* axes[3] = {right, up, forward};
  bool present[3];
  int count = 0;
  for (int k = 0; k < 3; ++k) {
    const double l = vec::length(axes[k]);
    present[k] = l > 0.0 && std::isfinite(l);
    if (present[k]) {
      vec::scale(axes[k], 1.0 / l, axes[k]);
      ++count;
    }
  }
  if (count == 0) {
    vec::set(right, 1.0, 0.0, 0.0);
    vec::set(up, 0.0, 1.0, 0.0);
    vec::set(forward, 0.0, 0.0, 1.0);
    return;
  }
  if (count == 1) {
    // Keep the handedness: axis k x axis k+1 = axis k+2, cyclically.
    int k = present[0] ? 0 : present[1] ? 1 : 2;
    axesFromOne(axes[k], axes[(k + 1) % 3], axes[(k + 2) % 3]);
    return;
  }
  if (count == 2) {
    const int missing = !present[0] ? 0 : !present[1] ? 1 : 2;
    vec::cross(axes[(missing + 1) % 3], axes[(missing + 2) % 3], axes[missing]);
    vec::normalize(axes[missing]);
  }
}

void CapturedCamera_Init(CapturedCamera* camera) {
  std::memset(camera, 0, sizeof *camera);
  vec::set(camera->right, 1.0, 0.0, 0.0);
  vec::set(camera->up, 0.0, 1.0, 0.0);
  vec::set(camera->forward, 0.0, 0.0, 1.0);
  camera->width = 640;
  camera->height = 480;
  camera->pixelAspect = 1.0;
  camera->frameAspect = camera->imageAspect = 640.0 / 480.0;
  camera->zoom = 3.2;
  camera->halfHeight = 1.0 / camera->zoom;
  camera->halfWidth = camera->imageAspect * camera->halfHeight;
  camera->fStop = 4.0;
  camera->focalDistance = 1.0;
  camera->pixelShiftX = camera->pixelShiftY = 0.5;
  storeRegion(camera, 0, 0, 639, 479);
  cameraSetLensOffset(camera, 0.5, 0.5, 0.0, 0.0);
  computeViewPlanes(camera);
}

int CaptureCamera(LWItemID item, double time, CapturedCamera* camera) {
  CapturedCamera* c = camera;
  int changes = 0;
  c->item = item;
  const LWSceneInfo* scene = sceneInfo();

  bool isRenderCamera = false;
  try {
    isRenderCamera = scene && scene->renderCamera && scene->renderCamera(time) == item;
  } catch (...) {
  }
  if (isRenderCamera || !frameUsable(c)) readFrame(c, item, time, scene);
  c->frameAspect = double(c->width) / double(c->height);
  c->imageAspect = c->pixelAspect * c->width / c->height;

  double zoom = c->zoom, focal = c->focalDistance, fStop = c->fStop, blur = c->blurLength;
  if (const LWCameraInfo* info = globalServices.cameraInfo; info && item) {
    try {
      zoom = info->zoomFactor(item, time);
      focal = info->focalDistance(item, time);
      fStop = info->fStop(item, time);
      blur = info->blurLength(item, time);
    } catch (...) {
    }
  }
  // A zoom of zero would put the image plane at infinity.
  c->zoom = zoom > 1e-10 ? zoom : 1e-10;
  if (storeScalar(c->focalDistance, focal)) ++changes;
  if (storeScalar(c->fStop, std::max(fStop, 1e-10))) ++changes;
  if (storeScalar(c->blurLength, std::clamp(blur, -1000.0, 1000.0))) ++changes;

  double position[3] = {0.0, 0.0, 0.0};
  double right[3] = {1.0, 0.0, 0.0}, up[3] = {0.0, 1.0, 0.0}, forward[3] = {0.0, 0.0, 1.0};
  if (const LWItemInfo* items = globalServices.itemInfo; items && item) {
    try {
      items->param(item, LWIP_W_POSITION, time, position);
      items->param(item, LWIP_RIGHT, time, right);
      items->param(item, LWIP_UP, time, up);
      items->param(item, LWIP_FORWARD, time, forward);
    } catch (...) {
    }
  }
  orthonormalizeAxes(right, up, forward);
  if (storeVector(c->position, position)) ++changes;
  if (storeVector(c->right, right)) ++changes;
  if (storeVector(c->up, up)) ++changes;
  if (storeVector(c->forward, forward)) ++changes;

  vec::copy(c->forward, c->forwardAxis);
  vec::copy(c->forward, c->forwardView);
  c->halfWidth = c->width * c->pixelAspect / (c->height * c->zoom);
  c->halfHeight = 1.0 / c->zoom;
  double rightView[3], upView[3];
  vec::scale(c->right, c->halfWidth, rightView);
  vec::scale(c->up, c->halfHeight, upView);
  if (storeVector(c->rightView, rightView)) ++changes;
  if (storeVector(c->upView, upView)) ++changes;

  cameraSetLensOffset(c, c->pixelShiftX, c->pixelShiftY, c->lensX * c->fStop, c->lensY * c->fStop);
  computeViewPlanes(c);
  return changes;
}

void cameraSetLensOffset(CapturedCamera* camera, double pixelShiftX, double pixelShiftY, double lensX,
                         double lensY) {
  CapturedCamera* c = camera;
  c->positionView[0] = vec::dot(c->position, c->forwardView);
  c->positionView[1] = vec::dot(c->position, c->rightView);
  c->positionView[2] = vec::dot(c->position, c->upView);
  c->depth0 = -c->positionView[0];

  const double lx = lensX / c->fStop, ly = lensY / c->fStop;
  c->lensX = lx;
  c->lensY = ly;
  c->pixelShiftX = pixelShiftX;
  c->pixelShiftY = pixelShiftY;

  const double kx = (c->width * 0.5) / (c->halfWidth * c->halfWidth);
  vec::scale(c->rightView, kx, c->rightProj);
  c->projX0 = (lx - c->positionView[1]) * kx;
  c->projX1 = pixelShiftX + c->width * 0.5 - kx * lx / c->focalDistance;

  const double ky = -(c->height * 0.5) / (c->halfHeight * c->halfHeight);
  vec::scale(c->upView, ky, c->upProj);
  c->projY0 = -(c->positionView[2] + ly) * ky;
  c->projY1 = c->height * 0.5 + pixelShiftY + ky * ly / c->focalDistance;
}

void cameraPixelToRay(const CapturedCamera* camera, double x, double y, double origin[3], double direction[3],
                      double* length, double* spotSize) {
  const CapturedCamera* c = camera;
  const double r2 = vec::lengthSquared(c->rightProj), u2 = vec::lengthSquared(c->upProj);
  const double a = -c->projX0 / r2, b = -c->projY0 / u2;
  const double dx = (x - c->projX1) / r2, dy = (y - c->projY1) / u2;
  for (int k = 0; k < 3; ++k) {
    origin[k] = c->forwardAxis[k] * -c->depth0 + c->rightProj[k] * a + c->upProj[k] * b;
    direction[k] = c->forwardAxis[k] + c->rightProj[k] * dx + c->upProj[k] * dy;
  }
  if (length) {
    const double l = vec::length(direction);
    *length = l;
    vec::scale(direction, 1.0 / l, direction);
    if (spotSize) *spotSize = 0.5 * l / std::sqrt(double(c->width) * double(c->height));
  } else {
    vec::normalize(direction);
  }
}

void CircleOfConfusion(const CapturedCamera* camera, const double point[3], double* radiusX, double* radiusY) {
  const CapturedCamera* c = camera;
  const double d = c->depth0 + vec::dot(c->forwardAxis, point);
  if (d < 1e-08) {
    *radiusX = *radiusY = 0.0;
    return;
  }
  // 0.001825 is half the preview's lens radius, taken as the lens constant.
  const double k = (1.0 / d - 1.0 / c->focalDistance) * 0.001825 / c->fStop;
  *radiusX = std::fabs(k * c->width * 0.5 / (c->halfWidth * c->halfWidth));
  *radiusY = std::fabs(k * c->height * 0.5 / (c->halfHeight * c->halfHeight));
}

bool cameraPointToPixel(const CapturedCamera* camera, const double point[3], double* x, double* y) {
  const CapturedCamera* c = camera;
  const double d = c->depth0 + vec::dot(c->forwardAxis, point);
  if (!(d > 0.0)) return false;
  *x = (vec::dot(c->rightProj, point) + c->projX0) / d + c->projX1;
  *y = (vec::dot(c->upProj, point) + c->projY0) / d + c->projY1;
  return true;
}
