#include "capture/captured_object.h"

#include <cmath>
#include <cstring>

#include "capture/geometry_ops.h"
#include "capture/scene_capture.h"
#include "runtime/global_services.h"
#include "runtime/memory.h"
#include "runtime/vector_ops.h"

namespace {

// The micropol members that follow the normal matrices.
void setMicropolTransforms(CapturedObject* object) {
  LWMicropol& mp = object->micropol;
  std::memcpy(mp.oXfrm, object->normalMatrixInverse, sizeof mp.oXfrm);
  std::memcpy(mp.wXfrm, object->worldNormalMatrix, sizeof mp.wXfrm);
  for (int r = 0; r < 3; ++r) {
    const double* row = object->normalMatrixInverse + r * 3;
    mp.oScl[r] = std::sqrt(row[0] * row[0] + row[1] * row[1] + row[2] * row[2]);
  }
}

double clampUnit(double value) {
  if (!(value > 0.0)) return 0.0;
  return value > 1.0 ? 1.0 : value;
}

}  // namespace

int MicropolIlluminate(LWItemID light, const LWDVector position, LWDVector direction, LWDVector color) {
  double d[3] = {0.0, 0.0, 0.0};
  try {
    int lightType = -1;
    if (globalServices.lightInfo3) lightType = globalServices.lightInfo3->type(light);
    else if (globalServices.lightInfo) lightType = globalServices.lightInfo->type(light);
    if (lightType == LWLIGHT_DISTANT) {
      globalServices.itemInfo->param(light, LWIP_FORWARD, captureTime, d);
    } else {
      double at[3] = {0.0, 0.0, 0.0};
      globalServices.itemInfo->param(light, LWIP_W_POSITION, captureTime, at);
      for (int i = 0; i < 3; ++i) d[i] = position[i] - at[i];
    }
  } catch (...) {
  }
  vec::normaliseOrUp(d);
  for (int i = 0; i < 3; ++i) direction[i] = d[i];
  return 1;
}

double MicropolRayCast(const LWDVector position, const LWDVector direction) {
  if (!currentCapture || !captureGeometryOps.rayCast) return -1.0;
  return captureGeometryOps.rayCast(position, direction);
}

CapturedObject* Object_Create(LWItemID item) {
  auto* object = static_cast<CapturedObject*>(memAllocZero(sizeof(CapturedObject)));
  if (!object) return nullptr;
  int error = 0;
  object->mesh = Mesh_Create(nullptr, item, &error);
  if (!object->mesh) {
    memFree(object);
    return nullptr;
  }
  const CapturedMesh* mesh = object->mesh;
  const size_t points = size_t(mesh->pointCount), polygons = size_t(mesh->polygonCount);
  object->keptPoints = static_cast<float*>(memAllocZero(points * 3 * sizeof(float)));
  object->polygonNormals = static_cast<float*>(memAlloc(polygons * 3 * sizeof(float)));
  object->pointNormals = static_cast<float*>(memAlloc(points * 3 * sizeof(float)));
  object->smoothLimits = static_cast<float*>(memAlloc(points * sizeof(float)));
  object->surfaces =
      static_cast<CapturedSurface*>(memAllocZero(size_t(mesh->surfaceCount) * sizeof(CapturedSurface)));

  object->item = item;
  // The first read must always report a change.
  ItemTransform_SetIdentity(&object->transform);
  object->transform.position[0] = -837363.0;
  object->transform.inverseValid = 0;
  ItemTransform_SetIdentity(&object->shutterOpen);
  ItemTransform_SetIdentity(&object->shutterClose);
  object->dissolve = 0.0;
  object->fogLevel = 1.0;
  static const double identity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  std::memcpy(object->normalMatrix, identity, sizeof identity);
  std::memcpy(object->normalMatrixInverse, identity, sizeof identity);
  std::memcpy(object->worldNormalMatrix, identity, sizeof identity);

  LWMicropol& mp = object->micropol;
  setMicropolTransforms(object);
  mp.bumpHeight = 0.0;
  mp.txVal = 1.0;
  mp.spotSize = 1e-14;
  mp.objID = item;
  mp.illuminate = MicropolIlluminate;
  mp.rayTrace = nullptr;
  mp.rayShade = nullptr;
  mp.rayCast = MicropolRayCast;
  mp.userData = object;
  return object;
}

int Object_Read(CapturedObject* object, double time) {
  LWItemID item = object->item;
  LWObjectInfo* info = globalServices.objectInfo;
  int changed = 0;

  if (ItemTransform_Read(item, &object->transform, time)) {
    changed = 1;
    ItemTransform_UpdateInverse(&object->transform);
    Matrix3_Transpose(object->transform.inverseMatrix, object->normalMatrix);
    Matrix3_Invert(object->normalMatrix, object->normalMatrixInverse);
    std::memcpy(object->worldNormalMatrix, object->normalMatrix, sizeof object->worldNormalMatrix);
    Bounds_Transform(&object->localBounds, &object->transform, &object->worldBounds);
    setMicropolTransforms(object);
  }
  object->micropol.objID = item;

  const uint32_t shadow = info->shadowOpts(item);
  if (shadow != object->shadowOptions) changed = 1;
  object->shadowOptions = shadow;
  const uint32_t flags = info->flags(item);
  if (flags != object->objectFlags) changed = 1;
  object->objectFlags = flags;

  // Hosts before 7 have no matte colour, and their dissolve is taken as it stands.
  const bool major7 = globalServices.hostVersion.major >= 7;
  double matte[3] = {0.0, 0.0, 0.0};
  if (major7 && info->matteColor) {
    info->matteColor(item, time, matte);
    double d2 = 0.0;
    for (int i = 0; i < 3; ++i) d2 += (matte[i] - object->matteColor[i]) * (matte[i] - object->matteColor[i]);
    if (d2 > 0.01) changed = 1;
  }
  std::memcpy(object->matteColor, matte, sizeof matte);

  double dissolve = clampUnit(info->dissolve(item, time));
  if (major7) {
    const bool active = (globalServices.itemInfo->flags(item) & 1u) != 0;
    const bool tooSmall = info->polygonSize && info->polygonSize(item, time) < 0.01;
    if (!active || tooSmall) dissolve = 1.0;
  }
  if (std::fabs(dissolve - object->dissolve) > 0.005) changed = 1;
  object->dissolve = dissolve;

  const double fog = clampUnit(info->fogLevel(item, time));
  if (std::fabs(fog - object->fogLevel) > 0.005) changed = 1;
  object->fogLevel = fog;

  LWTextureID clip = info->clipMap ? info->clipMap(item) : nullptr;
  if (clip != object->clipMap) changed = 1;
  object->clipMap = clip;
  if (clip && globalServices.textureFuncs) globalServices.textureFuncs->newtime(clip, time, captureFrameOf(time));
  return changed;
}

void Object_Free(CapturedObject* object) {
  if (!object) return;
  memFree(object->keptPoints);
  memFree(object->polygonNormals);
  memFree(object->pointNormals);
  memFree(object->smoothLimits);
  memFree(object->surfaces);
  if (object->cells && captureGeometryOps.freeGrid) captureGeometryOps.freeGrid(object);
  Mesh_Destroy(object->mesh);
  memFree(object);
}
