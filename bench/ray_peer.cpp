#include "ray_peer.h"

#include <embree3/rtcore.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include "capture/scene_capture.h"
#include "rayengine/polygon_prep.h"

namespace raytest {

namespace {

struct Collect {
  std::vector<MirrorTriangle>* triangles;
  std::vector<uint32_t>* indices;
  CapturedObject* object;
  const double* world;  // the object's points in world space
  uint32_t vertexBase;
  int32_t polygon;
  int count;
};

void collect(void* context, int32_t a, int32_t b, int32_t c) {
  auto* k = static_cast<Collect*>(context);
  MirrorTriangle t;
  t.object = k->object;
  t.polygon = k->polygon;
  const int32_t points[3] = {a, b, c};
  for (int i = 0; i < 3; ++i) {
    t.point[i] = points[i];
    for (int j = 0; j < 3; ++j) t.world[i][j] = k->world[size_t(points[i]) * 3 + size_t(j)];
    k->indices->push_back(k->vertexBase + uint32_t(points[i]));
  }
  k->triangles->push_back(t);
  ++k->count;
}

struct FilterContext {
  RTCIntersectContext base;  // first, so that Embree's pointer is ours
  const TriangleMirror* mirror;
  PeerRules rules;
  const double* origin;  // the ray as the caller has it, in doubles
  const double* direction;
};

// The distance along the ray to a triangle's plane, in doubles; 0 for a ray in the plane.
double planeDistance(const MirrorTriangle& t, const double origin[3], const double direction[3]) {
  double e1[3], e2[3], to[3];
  for (int a = 0; a < 3; ++a) {
    e1[a] = t.world[1][a] - t.world[0][a];
    e2[a] = t.world[2][a] - t.world[0][a];
    to[a] = t.world[0][a] - origin[a];
  }
  const double n[3] = {e1[1] * e2[2] - e1[2] * e2[1], e1[2] * e2[0] - e1[0] * e2[2], e1[0] * e2[1] - e1[1] * e2[0]};
  const double facing = n[0] * direction[0] + n[1] * direction[1] + n[2] * direction[2];
  return facing != 0.0 ? (n[0] * to[0] + n[1] * to[1] + n[2] * to[2]) / facing : 0.0;
}

void applyRules(const RTCFilterFunctionNArguments* args) {
  if (args->valid[0] != -1) return;
  const auto* context = reinterpret_cast<const FilterContext*>(args->context);
  const MirrorTriangle& t = context->mirror->triangles()[RTCHitN_primID(args->hit, args->N, 0)];
  // The peer's origin is rounded to single precision, which can put it on the far side of
  // a surface the true origin lies just off: a plane behind the true origin is not met.
  if (!(planeDistance(t, context->origin, context->direction) > 0.0)) {
    args->valid[0] = 0;
    return;
  }
  const PeerRules& rules = context->rules;
  if (rules.skipObject && t.object->item == rules.skipObject && t.polygon == rules.skipPolygon) {
    args->valid[0] = 0;
    return;
  }
  if (!rules.facing) return;
  const double d[3] = {RTCRayN_dir_x(args->ray, args->N, 0), RTCRayN_dir_y(args->ray, args->N, 0),
                       RTCRayN_dir_z(args->ray, args->N, 0)};
  double e1[3], e2[3];
  for (int a = 0; a < 3; ++a) {
    e1[a] = t.world[1][a] - t.world[0][a];
    e2[a] = t.world[2][a] - t.world[0][a];
  }
  const double n[3] = {e1[1] * e2[2] - e1[2] * e2[1], e1[2] * e2[0] - e1[0] * e2[2], e1[0] * e2[1] - e1[1] * e2[0]};
  const bool back = d[0] * n[0] + d[1] * n[1] + d[2] * n[2] > 0.0;
  if (!back) return;
  const CapturedObject* object = t.object;
  uint32_t surface = Mesh_PolygonSurfaceIndex(object->mesh, t.polygon);
  if (surface >= uint32_t(object->mesh->surfaceCount)) surface = 0;
  if (!object->anyDoubleSided || !object->surfaces[surface].doubleSided) args->valid[0] = 0;
}

}  // namespace

TriangleMirror::TriangleMirror(SceneCapture* capture) {
  for (int a = 0; a < 3; ++a) {
    boxMin[a] = std::numeric_limits<double>::max();
    boxMax[a] = -std::numeric_limits<double>::max();
  }
  std::vector<double> world;
  for (CapturedObject* object = capture->objects; object; object = object->next) {
    const CapturedMesh* mesh = object->mesh;
    const uint32_t vertexBase = uint32_t(vertices_.size() / 3);
    world.resize(size_t(mesh->pointCount) * 3);
    for (int32_t p = 0; p < mesh->pointCount; ++p) {
      const float* k = object->keptPoints + size_t(p) * 3;
      const double local[3] = {k[0], k[1], k[2]};
      ItemTransform_MapPoint(&object->transform, local, &world[size_t(p) * 3]);
      for (int a = 0; a < 3; ++a) vertices_.push_back(float(world[size_t(p) * 3 + size_t(a)]));
    }
    Collect k{&triangles_, &indices_, object, world.data(), vertexBase, 0, 0};
    for (int32_t q = 0; q < mesh->polygonCount; ++q) {
      const int32_t size = Mesh_PolygonSize(mesh, q);
      if (size < 3) continue;
      k.polygon = q;
      k.count = 0;
      Polygon_Triangulate(size, Mesh_PolygonVertices(mesh, q), object->keptPoints, &k, collect);
      if (k.count < size - 2) ++unsplit_;
    }
  }
  for (const MirrorTriangle& t : triangles_)
    for (const auto& p : t.world)
      for (int a = 0; a < 3; ++a) {
        boxMin[a] = std::min(boxMin[a], p[a]);
        boxMax[a] = std::max(boxMax[a], p[a]);
      }
  double half2 = 0.0;
  for (int a = 0; a < 3; ++a) {
    centre[a] = 0.5 * (boxMin[a] + boxMax[a]);
    half2 += (boxMax[a] - centre[a]) * (boxMax[a] - centre[a]);
  }
  radius = std::sqrt(half2);
}

bool TriangleMirror::samplePoint(Random& random, const MirrorTriangle*& t, double p[3], double n[3]) const {
  t = &triangles_[size_t(random.unit() * double(triangles_.size()))];
  double u = random.unit(), v = random.unit();
  if (u + v > 1.0) u = 1.0 - u, v = 1.0 - v;
  double e1[3], e2[3];
  for (int a = 0; a < 3; ++a) {
    e1[a] = t->world[1][a] - t->world[0][a];
    e2[a] = t->world[2][a] - t->world[0][a];
    p[a] = t->world[0][a] + u * e1[a] + v * e2[a];
  }
  n[0] = e1[1] * e2[2] - e1[2] * e2[1];
  n[1] = e1[2] * e2[0] - e1[0] * e2[2];
  n[2] = e1[0] * e2[1] - e1[1] * e2[0];
  const double l = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
  if (!(l > 0.0)) return false;
  for (int a = 0; a < 3; ++a) n[a] /= l;
  return true;
}

PeerScene::PeerScene(const TriangleMirror& mirror, bool robust, bool filtered) : mirror_(mirror) {
  RTCDevice device = rtcNewDevice("threads=1");
  if (!device) {
    std::fprintf(stderr, "peer tracer: no device\n");
    std::abort();
  }
  RTCScene scene = rtcNewScene(device);
  if (robust) rtcSetSceneFlags(scene, RTC_SCENE_FLAG_ROBUST);
  RTCGeometry geometry = rtcNewGeometry(device, RTC_GEOMETRY_TYPE_TRIANGLE);
  const size_t vertexCount = mirror.vertices().size() / 3;
  auto* vertices = static_cast<float*>(
      rtcSetNewGeometryBuffer(geometry, RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT3, 3 * sizeof(float), vertexCount + 1));
  std::copy(mirror.vertices().begin(), mirror.vertices().end(), vertices);
  const size_t triangleCount = mirror.indices().size() / 3;
  auto* indices = static_cast<uint32_t*>(rtcSetNewGeometryBuffer(geometry, RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT3,
                                                                 3 * sizeof(uint32_t), triangleCount));
  std::copy(mirror.indices().begin(), mirror.indices().end(), indices);
  if (filtered) rtcSetGeometryIntersectFilterFunction(geometry, applyRules);
  rtcCommitGeometry(geometry);
  rtcAttachGeometry(scene, geometry);
  rtcReleaseGeometry(geometry);
  rtcCommitScene(scene);
  device_ = device;
  scene_ = scene;
}

PeerScene::~PeerScene() {
  rtcReleaseScene(static_cast<RTCScene>(scene_));
  rtcReleaseDevice(static_cast<RTCDevice>(device_));
}

PeerHit PeerScene::intersect(const double origin[3], const double direction[3], const PeerRules& rules) const {
  FilterContext context;
  rtcInitIntersectContext(&context.base);
  context.mirror = &mirror_;
  context.rules = rules;
  context.origin = origin;
  context.direction = direction;
  RTCRayHit rh;
  rh.ray.org_x = float(origin[0]);
  rh.ray.org_y = float(origin[1]);
  rh.ray.org_z = float(origin[2]);
  rh.ray.dir_x = float(direction[0]);
  rh.ray.dir_y = float(direction[1]);
  rh.ray.dir_z = float(direction[2]);
  rh.ray.tnear = 0.0f;
  rh.ray.tfar = std::numeric_limits<float>::infinity();
  rh.ray.time = 0.0f;
  rh.ray.mask = ~0u;
  rh.ray.id = 0;
  rh.ray.flags = 0;
  rh.hit.geomID = RTC_INVALID_GEOMETRY_ID;
  rh.hit.primID = RTC_INVALID_GEOMETRY_ID;
  rtcIntersect1(static_cast<RTCScene>(scene_), &context.base, &rh);
  PeerHit hit;
  if (rh.hit.geomID == RTC_INVALID_GEOMETRY_ID) return hit;
  hit.distance = rh.ray.tfar;
  hit.triangle = int32_t(rh.hit.primID);
  hit.u = rh.hit.u;
  hit.v = rh.hit.v;
  // The peer's rays and corners are single precision; the distance to the plane of the
  // triangle it found is taken again in doubles, from the double origin.
  hit.distance = planeDistance(mirror_.triangles()[size_t(hit.triangle)], origin, direction);
  return hit;
}

float PeerScene::distance(const float origin[3], const float direction[3], float near, bool coherent) const {
  RTCIntersectContext context;
  rtcInitIntersectContext(&context);
  if (coherent) context.flags = RTC_INTERSECT_CONTEXT_FLAG_COHERENT;
  RTCRayHit rh;
  rh.ray.org_x = origin[0];
  rh.ray.org_y = origin[1];
  rh.ray.org_z = origin[2];
  rh.ray.dir_x = direction[0];
  rh.ray.dir_y = direction[1];
  rh.ray.dir_z = direction[2];
  rh.ray.tnear = near;
  rh.ray.tfar = std::numeric_limits<float>::infinity();
  rh.ray.time = 0.0f;
  rh.ray.mask = ~0u;
  rh.ray.id = 0;
  rh.ray.flags = 0;
  rh.hit.geomID = RTC_INVALID_GEOMETRY_ID;
  rtcIntersect1(static_cast<RTCScene>(scene_), &context, &rh);
  return rh.hit.geomID == RTC_INVALID_GEOMETRY_ID ? -1.0f : rh.ray.tfar;
}

}  // namespace raytest
