#pragma once
// An independent ray tracer (Embree) given the very triangles the ray engine sees: each
// captured object's polygons split by the engine's own triangulation, carried to world space
// in doubles. Tests use it as an oracle for hit distances, the benchmark as a peer.
#include <cstdint>
#include <vector>

#include <lwrender.h>

#include "ray_world.h"

struct CapturedObject;
struct SceneCapture;

namespace raytest {

struct MirrorTriangle {
  CapturedObject* object;
  int32_t polygon;
  int32_t point[3];       // as the triangulation handed them out
  double world[3][3];     // their world positions
};

// The engine's triangles of a capture, in world space.
class TriangleMirror {
 public:
  explicit TriangleMirror(SceneCapture* capture);
  const std::vector<MirrorTriangle>& triangles() const { return triangles_; }
  // World positions of each object's kept points, objects one after the other, and where
  // each triangle's corners are among them.
  const std::vector<float>& vertices() const { return vertices_; }
  const std::vector<uint32_t>& indices() const { return indices_; }
  // Polygons of more than three corners that gave fewer than size - 2 triangles.
  int unsplitPolygons() const { return unsplit_; }
  // The box around every triangle, its middle, and half its diagonal.
  double boxMin[3], boxMax[3], centre[3], radius;

  // A point on a random triangle, uniform over the triangle, and the triangle's front
  // normal; false for a triangle with no area.
  bool samplePoint(Random& random, const MirrorTriangle*& triangle, double point[3], double normal[3]) const;

 private:
  std::vector<MirrorTriangle> triangles_;
  std::vector<float> vertices_;
  std::vector<uint32_t> indices_;
  int unsplit_ = 0;
};

// Which of its hits the peer keeps.
struct PeerRules {
  // The engine's facing rule: a triangle's front is where (b - a) x (c - a) points; its back
  // counts only on a double-sided surface.
  bool facing = false;
  // The polygon the ray leaves is not met.
  LWItemID skipObject = nullptr;
  int32_t skipPolygon = -1;
};

struct PeerHit {
  double distance = -1.0;  // -1 for a miss
  int32_t triangle = -1;   // index into the mirror's triangles
  float u = 0.0f, v = 0.0f;
};

class PeerScene {
 public:
  // robust: watertight edges (slower). filtered: the rules above can be applied, and a
  // plane behind the caller's double-precision origin is never met, whatever the rounding
  // of the single-precision ray.
  PeerScene(const TriangleMirror& mirror, bool robust, bool filtered);
  ~PeerScene();
  PeerScene(const PeerScene&) = delete;
  PeerScene& operator=(const PeerScene&) = delete;

  PeerHit intersect(const double origin[3], const double direction[3], const PeerRules& rules = {}) const;
  // The distance alone, from `near` on, with no rules, for timing: -1 for a miss.
  float distance(const float origin[3], const float direction[3], float near, bool coherent) const;

 private:
  const TriangleMirror& mirror_;
  void* device_ = nullptr;
  void* scene_ = nullptr;
};

}  // namespace raytest
