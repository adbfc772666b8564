#include "capture/scene_capture.h"

#include <cstring>

#include "capture/geometry_ops.h"
#include "runtime/global_services.h"
#include "runtime/memory.h"

double captureTime = 0.0;
SceneCapture* currentCapture = nullptr;

namespace {

LWSceneInfo* sceneInfo() { return hostTransientAs<LWSceneInfo>(LWSCENEINFO_GLOBAL); }

void linkAtHead(SceneCapture* capture, CapturedObject* object) {
  object->previous = nullptr;
  object->next = capture->objects;
  if (capture->objects) capture->objects->previous = object;
  capture->objects = object;
}

void unlink(SceneCapture* capture, CapturedObject* object) {
  if (object->previous)
    object->previous->next = object->next;
  else
    capture->objects = object->next;
  if (object->next) object->next->previous = object->previous;
  object->next = object->previous = nullptr;
}

CapturedObject* findObject(SceneCapture* capture, LWItemID item) {
  for (CapturedObject* o = capture->objects; o; o = o->next)
    if (o->item == item) return o;
  return nullptr;
}

// Surfaces at a time; 1 if any surface's sidedness changed.
int captureSurfaces(CapturedObject* object, double time) {
  int changed = 0, anyDoubleSided = 0;
  const CapturedMesh* mesh = object->mesh;
  for (int32_t i = 0; i < mesh->surfaceCount; ++i) {
    if (Surface_Capture(mesh->surfaceIds[i], time, &object->surfaces[i])) changed = 1;
    if (object->surfaces[i].doubleSided) anyDoubleSided = 1;
  }
  object->anyDoubleSided = anyDoubleSided;
  return changed;
}

// The steps after the mesh is in place, for a new object and a reshaped one alike.
void buildObject(SceneCapture* capture, CapturedObject* object) {
  const CapturedMesh* mesh = object->mesh;
  bool moved = false;
  for (int32_t p = 0; p < mesh->pointCount; ++p) {
    const float* from = mesh->points + size_t(p) * 3;
    float* kept = object->keptPoints + size_t(p) * 3;
    const float dx = from[0] - kept[0], dy = from[1] - kept[1], dz = from[2] - kept[2];
    if (dx * dx + dy * dy + dz * dz > 1e-09f) moved = true;
    std::memcpy(kept, from, 3 * sizeof(float));
  }
  Object_ComputeBounds(object);
  if ((moved || !object->cells) && captureGeometryOps.buildGrid) captureGeometryOps.buildGrid(object);
  Object_Read(object, capture->time);
  Bounds_Transform(&object->localBounds, &object->transform, &object->worldBounds);
  captureSurfaces(object, capture->time);
  if (captureGeometryOps.computeNormals) captureGeometryOps.computeNormals(object);
}

// The object creation steps; null if the object or its mesh could not be made.
CapturedObject* createObject(SceneCapture* capture, LWItemID item) {
  CapturedObject* object = Object_Create(item);
  if (object) buildObject(capture, object);
  return object;
}

// A new mesh for an object whose counts changed, and new arrays to go with it. False if
// the mesh could not be read; the object is then without one and must be dropped.
bool reshapeObject(SceneCapture* capture, CapturedObject* object) {
  int error = 0;
  object->mesh = Mesh_Create(object->mesh, object->item, &error);
  if (!object->mesh) return false;
  const CapturedMesh* mesh = object->mesh;
  const size_t points = size_t(mesh->pointCount), polygons = size_t(mesh->polygonCount);
  memFree(object->keptPoints);
  memFree(object->polygonNormals);
  memFree(object->pointNormals);
  memFree(object->smoothLimits);
  memFree(object->surfaces);
  // The old grid holds polygons of the old mesh, so it goes whatever the new points are.
  if (object->cells && captureGeometryOps.freeGrid) captureGeometryOps.freeGrid(object);
  object->keptPoints = static_cast<float*>(memAllocZero(points * 3 * sizeof(float)));
  object->polygonNormals = static_cast<float*>(memAlloc(polygons * 3 * sizeof(float)));
  object->pointNormals = static_cast<float*>(memAlloc(points * 3 * sizeof(float)));
  object->smoothLimits = static_cast<float*>(memAlloc(points * sizeof(float)));
  object->surfaces =
      static_cast<CapturedSurface*>(memAllocZero(size_t(mesh->surfaceCount) * sizeof(CapturedSurface)));
  buildObject(capture, object);
  return true;
}

}  // namespace

SceneCapture* SceneCapture_Create(double time) {
  auto* capture = static_cast<SceneCapture*>(memAlloc(sizeof(SceneCapture)));
  if (!capture) return nullptr;
  captureTime = time;
  capture->time = time;
  currentCapture = capture;
  capture->busy = 2;
  capture->objects = nullptr;
  capture->compositingBackground = nullptr;

  LWSceneInfo* scene = sceneInfo();
  capture->renderOpts = scene ? uint32_t(scene->renderOpts) : 0u;
  capture->recursionDepth = scene ? scene->recursionDepth : 0;

  // The background counts only while it is one of the host's images.
  auto* compositing = hostTransientAs<LWCompInfo>(LWCOMPINFO_GLOBAL);
  if (compositing && compositing->bg && globalServices.imageList) {
    LWImageList* images = globalServices.imageList;
    for (LWImageID image = images->first(); image; image = images->next(image))
      if (image == compositing->bg) {
        capture->compositingBackground = image;
        break;
      }
  }

  LWItemInfo* items = globalServices.itemInfo;
  LWObjectInfo* objects = globalServices.objectInfo;
  for (LWItemID item = items->first(LWI_OBJECT, nullptr); item; item = items->next(item)) {
    if (objects->numPoints(item) <= 2) continue;  // not an object for the renderer
    if (CapturedObject* object = createObject(capture, item)) linkAtHead(capture, object);
  }
  capture->busy = 0;
  return capture;
}

int SceneCapture_UpdateObject(SceneCapture* capture, LWItemID item, double time) {
  if (globalServices.objectInfo->numPoints(item) <= 2) return 0;
  CapturedObject* object = findObject(capture, item);
  if (!object) {
    object = createObject(capture, item);
    if (!object) return 0;
    linkAtHead(capture, object);
    object->seen = 1;
    return 1;
  }
  object->seen = 1;
  if (Mesh_SameShape(object->mesh, item)) {
    int changed = Object_Read(object, time);
    if (captureSurfaces(object, time)) changed = 1;
    return changed;
  }
  if (!reshapeObject(capture, object)) {
    unlink(capture, object);
    Object_Free(object);
  }
  return 1;
}

int SceneCapture_Update(SceneCapture* capture, double time) {
  capture->busy = 1;
  capture->time = time;
  captureTime = time;
  int changed = 0;
  for (CapturedObject* o = capture->objects; o; o = o->next) o->seen = 0;

  LWItemInfo* items = globalServices.itemInfo;
  for (LWItemID item = items->first(LWI_OBJECT, nullptr); item; item = items->next(item))
    if (SceneCapture_UpdateObject(capture, item, time)) changed = 1;

  for (CapturedObject* o = capture->objects; o;) {
    CapturedObject* next = o->next;
    if (!o->seen) {
      unlink(capture, o);
      Object_Free(o);
      changed = 1;
    } else {
      if (Object_Read(o, time)) changed = 1;
      if (captureSurfaces(o, time)) changed = 1;
    }
    o = next;
  }
  capture->busy = 0;
  return changed;
}

int SceneCapture_RefreshSurfaces(SceneCapture* capture, double time) {
  int changed = 0;
  for (CapturedObject* o = capture->objects; o; o = o->next)
    if (captureSurfaces(o, time)) changed = 1;
  return changed;
}

int SceneCapture_ReplaceObject(SceneCapture* capture, LWItemID oldItem, LWItemID newItem) {
  CapturedObject* object = findObject(capture, oldItem);
  if (!object) return 0;
  if (oldItem != newItem) {
    object->item = newItem;  // a new id for the same object costs nothing
    return 0;
  }
  capture->busy = 1;
  unlink(capture, object);
  Object_Free(object);
  SceneCapture_UpdateObject(capture, oldItem, capture->time);
  capture->busy = 0;
  return 1;
}

void SceneCapture_SetShutter(SceneCapture* capture, double openTime, double closeTime) {
  for (CapturedObject* o = capture->objects; o; o = o->next) {
    ItemTransform_Read(o->item, &o->shutterOpen, openTime);
    ItemTransform_Read(o->item, &o->shutterClose, closeTime);
  }
}

void SceneCapture_Destroy(SceneCapture* capture) {
  // First of all, so that no host callback reaches a capture on its way out.
  currentCapture = nullptr;
  if (!capture) return;
  while (CapturedObject* o = capture->objects) {
    unlink(capture, o);
    Object_Free(o);
  }
  memFree(capture);
}
