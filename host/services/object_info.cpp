// "LW Object Info" and "Scene Objects": the objects of the scene, their settings at a time,
// and access to their meshes.
#include <algorithm>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include <lwmeshes.h>
#include <lwrender.h>

#include "host/services/host.h"
#include "host/services/mesh_info.h"
#include "host/services/scene_ids.h"

namespace host {

namespace {

const Item* object(LWItemID id) {
  Host* h = Host::current();
  const Item* it = h ? itemOf(h->scene(), id) : nullptr;
  return it && it->type == ItemType::Object ? it : nullptr;
}

const char* filename(LWItemID id) {
  const Item* it = object(id);
  return it ? objectFileName(*it).c_str() : nullptr;
}

int numPoints(LWItemID id) {
  const Item* it = object(id);
  const Layer* l = it ? objectLayer(*it) : nullptr;
  return l ? int(l->points.size()) : 0;
}

// Every polygon of the layer, whatever its type.
int numPolygons(LWItemID id) {
  const Item* it = object(id);
  const Layer* l = it ? objectLayer(*it) : nullptr;
  return l ? int(l->polygons.size()) : 0;
}

unsigned int shadowOpts(LWItemID id) {
  const Item* it = object(id);
  return it ? it->object.shadowOptions : 0u;
}

double dissolve(LWItemID id, LWTime t) {
  const Item* it = object(id);
  return it ? it->object.dissolve.at(t) : 0.0;
}

// Subdivision is not applied by this host, so the frozen mesh is the cage itself.
LWMeshInfoID meshInfo(LWItemID id, int /*frozen*/) {
  const Item* it = object(id);
  if (!it) return nullptr;
  return makeMeshInfo(it->object.model, objectLayer(*it));
}

unsigned int flags(LWItemID id) {
  const Item* it = object(id);
  return it ? it->object.flags : 0u;
}

double fogLevel(LWItemID id, LWTime t) {
  const Item* it = object(id);
  return it ? it->object.fogLevel.at(t) : 0.0;
}

LWTextureID dispMap(LWItemID) { return nullptr; }

LWTextureID clipMap(LWItemID id) {
  Host* h = Host::current();
  const Item* it = object(id);
  if (!h || !it || !it->object.clipMap || !h->links().clipMapTexture) return nullptr;
  return h->links().clipMapTexture(itemIndexOf(h->scene(), id));
}

void patchLevel(LWItemID id, int* display, int* render) {
  const Item* it = object(id);
  if (display) *display = it ? it->object.subPatchLevel : 0;
  if (render) *render = it ? it->object.subPatchRenderLevel : 0;
}

void metaballRes(LWItemID, double* display, double* render) {
  if (display) *display = 0.0;
  if (render) *render = 0.0;
}

LWItemID boneSource(LWItemID) { return nullptr; }
LWItemID morphTarget(LWItemID) { return nullptr; }
double morphAmount(LWItemID, LWTime) { return 0.0; }
unsigned int edgeOpts(LWItemID) { return 0; }

void edgeColor(LWItemID, LWTime, LWDVector color) {
  if (color) color[0] = color[1] = color[2] = 0.0;
}

int subdivOrder(LWItemID id) {
  const Item* it = object(id);
  return it ? it->object.subdivisionOrder : 0;
}

double polygonSize(LWItemID id, LWTime t) {
  const Item* it = object(id);
  return it ? it->object.polygonSize.at(t) : 0.0;
}

// The light may be a light item or one of the ids that stand for radiosity and caustics.
int excluded(LWItemID objectId, LWItemID light) {
  const Item* it = object(objectId);
  const uintptr_t v = reinterpret_cast<uintptr_t>(light);
  if (!it || v == 0 || v > 0xFFFFFFFFu) return 0;
  return it->object.excludes(uint32_t(v)) ? 1 : 0;
}

void matteColor(LWItemID id, LWTime t, LWDVector color) {
  if (!color) return;
  const Item* it = object(id);
  const Vec3 c = it ? it->object.matteColor.at(t) : Vec3{0.0, 0.0, 0.0};
  for (int k = 0; k < 3; ++k) color[k] = c[size_t(k)];
}

double thickness(LWItemID, LWTime, int) { return 1.0; }
double edgeZScale(LWItemID, LWTime) { return 1.0; }

// ---- "Scene Objects" ----

struct VMapName {
  uint32_t type;
  std::string name;
  int dimension;
};

// The distinct object files of the scene, in the order of their first item, and the vertex
// maps of all of them; rebuilt whenever the scene changes.
struct SceneObjectList {
  std::mutex mutex;
  std::vector<int> objects;  // item indices
  std::vector<VMapName> vmaps;
};

SceneObjectList* sceneObjects() {
  Host* h = Host::current();
  return h ? &h->state<SceneObjectList>() : nullptr;
}

void rebuildSceneObjects(Host& host) {
  SceneObjectList& list = host.state<SceneObjectList>();
  std::lock_guard lock(list.mutex);
  list.objects.clear();
  list.vmaps.clear();
  std::set<const ObjectModel*> seen;
  std::set<std::pair<uint32_t, std::string>> seenMaps;
  const auto& items = host.scene().items;
  for (size_t i = 0; i < items.size(); ++i) {
    const Item& it = items[i];
    if (it.type != ItemType::Object || !it.object.model) continue;
    if (!seen.insert(it.object.model.get()).second) continue;
    list.objects.push_back(int(i));
    for (const Layer& l : it.object.model->layers)
      for (const VertexMap& v : l.vertexMaps)
        if (seenMaps.insert({v.type, v.name}).second) list.vmaps.push_back({v.type, v.name, v.dimension});
  }
}

// The first item of the nth object file; null if the scene has changed under the list.
const Item* sceneObject(int obj) {
  Host* h = Host::current();
  if (!h) return nullptr;
  SceneObjectList& list = h->state<SceneObjectList>();
  std::lock_guard lock(list.mutex);
  if (obj < 0 || size_t(obj) >= list.objects.size()) return nullptr;
  const auto& items = h->scene().items;
  const size_t i = size_t(list.objects[size_t(obj)]);
  if (i >= items.size() || items[i].type != ItemType::Object || !items[i].object.model) return nullptr;
  return &items[i];
}

const Layer* fileLayer(int obj, int lnum) {
  const Item* it = sceneObject(obj);
  if (!it) return nullptr;
  for (const Layer& l : it->object.model->layers)
    if (int(l.number) == lnum) return &l;
  return nullptr;
}

int numObjects() {
  SceneObjectList* list = sceneObjects();
  if (!list) return 0;
  std::lock_guard lock(list->mutex);
  return int(list->objects.size());
}

const char* soFilename(int obj) {
  const Item* it = sceneObject(obj);
  return it ? objectFileName(*it).c_str() : nullptr;
}

const char* soUserName(int obj) {
  const Item* it = sceneObject(obj);
  return it ? it->name.c_str() : nullptr;
}

int maxLayers(int obj) {
  const Item* it = sceneObject(obj);
  if (!it) return 0;
  int most = 0;
  for (const Layer& l : it->object.model->layers) most = std::max(most, int(l.number) + 1);
  return most;
}

int layerExists(int obj, int lnum) { return fileLayer(obj, lnum) ? 1 : 0; }

void pivotPoint(int obj, int lnum, LWFVector pos) {
  if (!pos) return;
  const Layer* l = fileLayer(obj, lnum);
  for (int k = 0; k < 3; ++k) pos[k] = l ? l->pivot[size_t(k)] : 0.0f;
}

LWMeshInfo* layerMesh(int obj, int lnum) {
  const Layer* l = fileLayer(obj, lnum);
  return l ? makeMeshInfo(sceneObject(obj)->object.model, l) : nullptr;
}

// The nth vertex map of a type (type 0: of any type).
const VMapName* vmapAt(uint32_t type, int index) {
  SceneObjectList* list = sceneObjects();
  if (!list || index < 0) return nullptr;
  std::lock_guard lock(list->mutex);
  int n = 0;
  for (const VMapName& v : list->vmaps)
    if ((type == 0 || v.type == type) && n++ == index) return &v;
  return nullptr;
}

int numVMaps(LWID type) {
  SceneObjectList* list = sceneObjects();
  if (!list) return 0;
  std::lock_guard lock(list->mutex);
  return int(std::count_if(list->vmaps.begin(), list->vmaps.end(),
                           [type](const VMapName& v) { return type == 0 || v.type == type; }));
}

const char* vmapName(LWID type, int index) {
  const VMapName* v = vmapAt(type, index);
  return v ? v->name.c_str() : nullptr;
}

int vmapDim(LWID type, int index) {
  const VMapName* v = vmapAt(type, index);
  return v ? v->dimension : 0;
}

LWID vmapType(int index) {
  const VMapName* v = vmapAt(0, index);
  return v ? LWID(v->type) : 0;
}

const char* layerName(int obj, int lnum) {
  const Layer* l = fileLayer(obj, lnum);
  return l ? l->name.c_str() : nullptr;
}

int layerVis(int obj, int lnum) {
  const Layer* l = fileLayer(obj, lnum);
  return l && (l->flags & 1u) == 0 ? 1 : 0;
}

struct ObjectTables {
  LWObjectInfo info{filename,  numPoints,   numPolygons, shadowOpts, dissolve,  meshInfo,   flags,
                    fogLevel,  dispMap,     clipMap,     patchLevel, metaballRes, boneSource, morphTarget,
                    morphAmount, edgeOpts,  edgeColor,   subdivOrder, polygonSize, excluded,  matteColor,
                    thickness, edgeZScale};
  LWObjectFuncs funcs{numObjects, soFilename, soUserName, soFilename, maxLayers, layerExists, pivotPoint,
                      layerMesh,  numVMaps,   vmapName,   vmapDim,    vmapType,  layerName,   layerVis};
};

}  // namespace

void registerObjectInfo(Host& host) {
  ObjectTables& t = host.state<ObjectTables>();
  host.services().addVersioned(LWOBJECTINFO_GLOBAL, 4, [&t](int) -> void* { return &t.info; });
  host.services().addVersioned(LWOBJECTFUNCS_GLOBAL, 3, [&t](int) -> void* { return &t.funcs; });
  host.addRefresh([&host] { rebuildSceneObjects(host); });
}

}  // namespace host
