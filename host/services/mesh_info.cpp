#include "host/services/mesh_info.h"

#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "host/services/scene_ids.h"

namespace host {

namespace {

// A vertex map as pntVLookup hands it out: the per-point map and the per-corner map of the
// same type and name, with an index from point to entry built on first use.
struct VMapHandle {
  const VertexMap* perPoint = nullptr;
  const VertexMap* perPolygon = nullptr;
  int dimension = 0;
  std::vector<int32_t> pointEntry;  // -1 where the point has no value
  bool indexed = false;
};

struct MeshAccess {
  LWMeshInfo table{};
  std::shared_ptr<const ObjectModel> model;
  const Layer* layer = nullptr;
  std::map<std::pair<uint32_t, std::string>, VMapHandle> vmaps;
  VMapHandle* selected = nullptr;
  std::map<int32_t, std::string> smoothingNames;  // SMGP values as text
};

MeshAccess* access(LWMeshInfoID mesh) { return mesh ? static_cast<MeshAccess*>(mesh->priv) : nullptr; }

size_t pointCount(const MeshAccess* m) { return m && m->layer ? m->layer->points.size() : 0; }
size_t polygonCount(const MeshAccess* m) { return m && m->layer ? m->layer->polygons.size() : 0; }

const Polygon* polygonOf(const MeshAccess* m, LWPolID id) {
  const int64_t i = polygonIndexOf(id, polygonCount(m));
  return i < 0 ? nullptr : &m->layer->polygons[size_t(i)];
}

void destroy(LWMeshInfoID mesh) { delete access(mesh); }

int numPoints(LWMeshInfoID mesh) { return int(pointCount(access(mesh))); }
int numPolygons(LWMeshInfoID mesh) { return int(polygonCount(access(mesh))); }

int scanPoints(LWMeshInfoID mesh, LWPntScanFunc* func, void* data) {
  const size_t n = pointCount(access(mesh));
  if (!func) return 0;
  for (size_t i = 0; i < n; ++i)
    if (int r = func(data, pointIdOf(uint32_t(i)))) return r;
  return 0;
}

int scanPolys(LWMeshInfoID mesh, LWPolScanFunc* func, void* data) {
  const size_t n = polygonCount(access(mesh));
  if (!func) return 0;
  for (size_t i = 0; i < n; ++i)
    if (int r = func(data, polygonIdOf(uint32_t(i)))) return r;
  return 0;
}

void pntBasePos(LWMeshInfoID mesh, LWPntID point, LWFVector pos) {
  if (!pos) return;
  const MeshAccess* m = access(mesh);
  const int64_t i = pointIndexOf(point, pointCount(m));
  if (i < 0) {
    pos[0] = pos[1] = pos[2] = 0.0f;
    return;
  }
  const Point3f& p = m->layer->points[size_t(i)];
  pos[0] = p[0];
  pos[1] = p[1];
  pos[2] = p[2];
}

// Nothing deforms points in this host: the other position is the base one.
void pntOtherPos(LWMeshInfoID mesh, LWPntID point, LWFVector pos) { pntBasePos(mesh, point, pos); }

void* pntVLookup(LWMeshInfoID mesh, LWID type, const char* name) {
  MeshAccess* m = access(mesh);
  if (!m || !m->layer || !name) return nullptr;
  auto key = std::make_pair(uint32_t(type), std::string(name));
  if (auto it = m->vmaps.find(key); it != m->vmaps.end()) return &it->second;
  VMapHandle h;
  for (const VertexMap& v : m->layer->vertexMaps) {
    if (v.type != type || v.name != name) continue;
    if (v.perPolygon) {
      if (!h.perPolygon) h.perPolygon = &v;
    } else if (!h.perPoint) {
      h.perPoint = &v;
    }
  }
  if (!h.perPoint && !h.perPolygon) return nullptr;
  h.dimension = h.perPoint ? h.perPoint->dimension : h.perPolygon->dimension;
  return &(m->vmaps[key] = std::move(h));
}

int pntVSelect(LWMeshInfoID mesh, void* vmap) {
  MeshAccess* m = access(mesh);
  if (!m) return 0;
  m->selected = static_cast<VMapHandle*>(vmap);
  return m->selected ? m->selected->dimension : 0;
}

const float* pointValue(MeshAccess* m, VMapHandle* h, size_t point) {
  if (!h || !h->perPoint) return nullptr;
  if (!h->indexed) {
    h->pointEntry.assign(pointCount(m), -1);
    const VertexMap& v = *h->perPoint;
    for (size_t e = 0; e < v.points.size(); ++e)
      if (v.points[e] < h->pointEntry.size()) h->pointEntry[v.points[e]] = int32_t(e);
    h->indexed = true;
  }
  const int32_t e = h->pointEntry[point];
  return e < 0 ? nullptr : h->perPoint->value(size_t(e));
}

int copyValue(const float* value, int dimension, float* vector) {
  if (!value) return 0;
  if (vector) std::memcpy(vector, value, sizeof(float) * size_t(dimension));
  return 1;
}

int pntVIDGet(LWMeshInfoID mesh, LWPntID point, float* vector, void* vmap) {
  MeshAccess* m = access(mesh);
  auto* h = static_cast<VMapHandle*>(vmap);
  const int64_t i = pointIndexOf(point, pointCount(m));
  if (i < 0 || !h) return 0;
  return copyValue(pointValue(m, h, size_t(i)), h->dimension, vector);
}

int pntVPIDGet(LWMeshInfoID mesh, LWPntID point, LWPolID polygon, float* vector, void* vmap) {
  MeshAccess* m = access(mesh);
  auto* h = static_cast<VMapHandle*>(vmap);
  const int64_t i = pointIndexOf(point, pointCount(m));
  const int64_t p = polygonIndexOf(polygon, polygonCount(m));
  if (i < 0 || !h) return 0;
  // A corner's own value wins over the point's.
  if (h->perPolygon && p >= 0)
    if (const float* v = h->perPolygon->find(uint32_t(i), uint32_t(p))) return copyValue(v, h->dimension, vector);
  return copyValue(pointValue(m, h, size_t(i)), h->dimension, vector);
}

int pntVGet(LWMeshInfoID mesh, LWPntID point, float* vector) {
  MeshAccess* m = access(mesh);
  return m ? pntVIDGet(mesh, point, vector, m->selected) : 0;
}

int pntVPGet(LWMeshInfoID mesh, LWPntID point, LWPolID polygon, float* vector) {
  MeshAccess* m = access(mesh);
  return m ? pntVPIDGet(mesh, point, polygon, vector, m->selected) : 0;
}

LWID polType(LWMeshInfoID mesh, LWPolID polygon) {
  const Polygon* p = polygonOf(access(mesh), polygon);
  return p ? LWID(p->type) : 0;
}

int polSize(LWMeshInfoID mesh, LWPolID polygon) {
  const Polygon* p = polygonOf(access(mesh), polygon);
  return p ? int(p->vertices.size()) : 0;
}

LWPntID polVertex(LWMeshInfoID mesh, LWPolID polygon, int index) {
  const Polygon* p = polygonOf(access(mesh), polygon);
  if (!p || index < 0 || size_t(index) >= p->vertices.size()) return nullptr;
  return pointIdOf(p->vertices[size_t(index)]);
}

const char* tagText(const ObjectModel& model, int32_t index) {
  return index < 0 || size_t(index) >= model.tags.size() ? nullptr : model.tags[size_t(index)].c_str();
}

const char* polTag(LWMeshInfoID mesh, LWPolID polygon, LWID tag) {
  MeshAccess* m = access(mesh);
  const Polygon* p = polygonOf(m, polygon);
  if (!p) return nullptr;
  const ObjectModel& model = *m->model;
  if (tag == LWPTAG_SURF) return tagText(model, p->surface);
  if (tag == LWPTAG_PART) return tagText(model, p->part);
  if (tag == LWPTAG_SMGP) {
    if (p->smoothingGroup < 0) return nullptr;
    auto [it, added] = m->smoothingNames.try_emplace(p->smoothingGroup);
    if (added) it->second = std::to_string(p->smoothingGroup);
    return it->second.c_str();
  }
  auto others = m->layer->otherPolygonTags.find(tag);
  if (others == m->layer->otherPolygonTags.end()) return nullptr;
  const uint32_t index = uint32_t(reinterpret_cast<uintptr_t>(polygon) - 1u);
  for (const auto& [pol, value] : others->second)
    if (pol == index) return tagText(model, int32_t(value));
  return nullptr;
}

unsigned int polFlags(LWMeshInfoID mesh, LWPolID polygon) {
  const Polygon* p = polygonOf(access(mesh), polygon);
  return p ? p->flags : 0u;
}

}  // namespace

LWMeshInfo* makeMeshInfo(std::shared_ptr<const ObjectModel> model, const Layer* layer) {
  auto* m = new MeshAccess;
  m->model = model ? std::move(model) : std::make_shared<const ObjectModel>();
  m->layer = layer;
  m->table = LWMeshInfo{m,          destroy,   numPoints,  numPolygons, scanPoints, scanPolys, pntBasePos,
                        pntOtherPos, pntVLookup, pntVSelect, pntVGet,     polType,    polSize,   polVertex,
                        polTag,     pntVPGet,  polFlags,   pntVIDGet,   pntVPIDGet};
  return &m->table;
}

}  // namespace host
