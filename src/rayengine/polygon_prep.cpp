#include "rayengine/polygon_prep.h"

#include <cmath>

#include "capture/captured_object.h"
#include "runtime/vector_ops.h"

namespace {

inline void load(const float* positions, int32_t point, double out[3]) {
  const float* p = positions + size_t(point) * 3;
  out[0] = p[0];
  out[1] = p[1];
  out[2] = p[2];
}

using vec::cross;
using vec::dot;
using vec::normaliseOrUp;

inline void store(const double v[3], float* out) {
  out[0] = float(v[0]);
  out[1] = float(v[1]);
  out[2] = float(v[2]);
}

// Newell's sum over an outline, the last vertex joined to the first.
void newellSum(int32_t count, const int32_t* indices, const float* positions, double sum[3]) {
  double a[3], b[3];
  load(positions, indices[count - 1], a);
  for (int32_t i = 0; i < count; ++i) {
    load(positions, indices[i], b);
    sum[0] += (a[1] - b[1]) * (a[2] + b[2]);
    sum[1] += (a[2] - b[2]) * (a[0] + b[0]);
    sum[2] += (a[0] - b[0]) * (a[1] + b[1]);
    a[0] = b[0];
    a[1] = b[1];
    a[2] = b[2];
  }
}

// ---- Ear clipping -------------------------------------------------------------------------

struct EarVertex {
  int32_t next;
  int32_t previous;
  int32_t point;
  int32_t ear;
  float u, v;
};

// Beyond this much, a signed area counts as a turn; within it, as straight.
constexpr double kAreaEpsilon = 1e-09;

inline double area2(const EarVertex& a, const EarVertex& b, const EarVertex& c) {
  return (double(b.u) - double(a.u)) * (double(c.v) - double(a.v)) -
         (double(b.v) - double(a.v)) * (double(c.u) - double(a.u));
}

inline bool left(const EarVertex& a, const EarVertex& b, const EarVertex& c) { return area2(a, b, c) > kAreaEpsilon; }

inline bool crosses(const EarVertex& a, const EarVertex& b, const EarVertex& c, const EarVertex& d) {
  return left(a, b, c) != left(a, b, d) && left(c, d, a) != left(c, d, b);
}

struct EarList {
  EarVertex* v;

  bool inCone(int32_t ia, int32_t ib) const {
    const EarVertex& a = v[ia];
    const EarVertex& b = v[ib];
    const EarVertex& an = v[a.next];
    const EarVertex& ap = v[a.previous];
    if (area2(a, an, ap) <= -kAreaEpsilon)  // reflex at a
      return area2(a, b, an) <= -kAreaEpsilon || area2(b, a, ap) <= -kAreaEpsilon;
    return area2(a, b, ap) > kAreaEpsilon && area2(b, a, an) > kAreaEpsilon;
  }

  // No edge of the outline that leaves a and b alone crosses the segment between them.
  bool clearOfEdges(int32_t ia, int32_t ib) const {
    int32_t c = ib;
    do {
      const int32_t c1 = v[c].next;
      if (c != ia && c1 != ia && c != ib && c1 != ib && crosses(v[ia], v[ib], v[c], v[c1])) return false;
      c = c1;
    } while (c != ib);
    return true;
  }

  bool diagonal(int32_t a, int32_t b) const { return inCone(a, b) && inCone(b, a) && clearOfEdges(a, b); }
};

void clipEars(int32_t count, const int32_t* indices, const float* positions, void* context,
              TriangleCallback callback) {
  if (count > kTriangulateMaxVertices) count = kTriangulateMaxVertices;
  EarVertex vertices[kTriangulateMaxVertices];

  // The plane: Newell's sum as it comes, and two axes across it.
  double normal[3] = {0.0, 0.0, 0.0};
  newellSum(count, indices, positions, normal);
  double first[3], second[3];
  TangentFrame(normal, first, second);
  for (int32_t i = 0; i < count; ++i) {
    double p[3];
    load(positions, indices[i], p);
    EarVertex& e = vertices[i];
    e.next = i + 1 == count ? 0 : i + 1;
    e.previous = i == 0 ? count - 1 : i - 1;
    e.point = indices[i];
    e.ear = 0;
    e.u = float(dot(p, first));
    e.v = float(dot(p, second));
  }
  EarList list{vertices};
  // Only the first corner decides the order in which triangles are handed out.
  const bool reversed = area2(vertices[count - 1], vertices[0], vertices[1]) < 0.0;
  for (int32_t i = 0; i < count; ++i) vertices[i].ear = list.diagonal(vertices[i].previous, vertices[i].next);

  int32_t head = 0;
  for (int32_t n = count; n > 3; --n) {
    int32_t v = head;
    bool found = false;
    do {
      if (vertices[v].ear) {
        found = true;
        break;
      }
      v = vertices[v].next;
    } while (v != head);
    // No ear: the count still falls, so that the loop ends whatever the outline.
    if (!found) continue;
    const int32_t a = vertices[v].previous, b = vertices[v].next;
    if (reversed)
      callback(context, vertices[b].point, vertices[v].point, vertices[a].point);
    else
      callback(context, vertices[a].point, vertices[v].point, vertices[b].point);
    vertices[a].ear = list.diagonal(vertices[a].previous, b);
    vertices[b].ear = list.diagonal(a, vertices[b].next);
    vertices[a].next = b;
    vertices[b].previous = a;
    head = b;
  }
  const int32_t b = vertices[head].next, c = vertices[b].next;
  if (reversed)
    callback(context, vertices[b].point, vertices[head].point, vertices[c].point);
  else
    callback(context, vertices[head].point, vertices[b].point, vertices[c].point);
}

inline double larger(double a, double b) { return a < b ? b : a; }

}  // namespace

void Polygon_Normal(const CapturedMesh* mesh, int32_t polygon, const float* positions, float out[3]) {
  const int32_t count = Mesh_PolygonSize(mesh, polygon);
  const int32_t* indices = Mesh_PolygonVertices(mesh, polygon);
  double n[3] = {0.0, 1.0, 0.0};
  if (count >= 3) {
    double p0[3], p1[3], pl[3];
    load(positions, indices[0], p0);
    load(positions, indices[1], p1);
    load(positions, indices[count - 1], pl);
    const double e1[3] = {p1[0] - p0[0], p1[1] - p0[1], p1[2] - p0[2]};
    const double e2[3] = {pl[0] - p0[0], pl[1] - p0[1], pl[2] - p0[2]};
    cross(e1, e2, n);
    if (!(dot(n, n) >= 1e-11)) {
      // The first corner is too small or too straight to trust: ask the whole outline. The
      // start value makes a fully degenerate outline come out as (0, 1, 0).
      n[0] = 0.0;
      n[1] = 1e-15;
      n[2] = 0.0;
      newellSum(count, indices, positions, n);
    }
    normaliseOrUp(n);
  }
  store(n, out);
}

void Object_ComputeNormals(CapturedObject* object) {
  const CapturedMesh* mesh = object->mesh;
  const float* positions = object->keptPoints;
  for (int32_t q = 0; q < mesh->polygonCount; ++q) Polygon_Normal(mesh, q, positions, object->polygonNormals + size_t(q) * 3);

  const float* normals = object->polygonNormals;
  for (int32_t p = 0; p < mesh->pointCount; ++p) {
    int32_t count = 0;
    const int32_t* polygons = Mesh_PointPolygons(mesh, p, &count);
    // The small y makes a point without polygons come out as (0, 1, 0). Every polygon
    // counts once per corner, whatever its area.
    double sum[3] = {0.0, 8e-07, 0.0};
    for (int32_t i = 0; i < count; ++i) {
      if (Mesh_PolygonSize(mesh, polygons[i]) <= 2) continue;
      const float* n = normals + size_t(polygons[i]) * 3;
      sum[0] += n[0];
      sum[1] += n[1];
      sum[2] += n[2];
    }
    normaliseOrUp(sum);
    store(sum, object->pointNormals + size_t(p) * 3);

    // The widest angle between two polygons at the point.
    double smallest = 0.99999;
    for (int32_t i = 0; i < count; ++i) {
      const float* a = normals + size_t(polygons[i]) * 3;
      for (int32_t j = i + 1; j < count; ++j) {
        const float* b = normals + size_t(polygons[j]) * 3;
        const double d = double(a[0]) * b[0] + double(a[1]) * b[1] + double(a[2]) * b[2];
        if (d < smallest) smallest = d;
      }
    }
    object->smoothLimits[p] = float(smallest + -0.0001);
  }
}

void Point_SmoothNormal(const CapturedMesh* mesh, int32_t polygon, int32_t point, const float* polygonNormals,
                        double cosine, double out[3]) {
  const float* own = polygonNormals + size_t(polygon) * 3;
  double sum[3] = {0.0, 0.0, 0.0};
  int32_t count = 0;
  const int32_t* polygons = Mesh_PointPolygons(mesh, point, &count);
  for (int32_t i = 0; i < count; ++i) {
    const float* n = polygonNormals + size_t(polygons[i]) * 3;
    const double d = double(n[0]) * own[0] + double(n[1]) * own[1] + double(n[2]) * own[2];
    if (d >= cosine) {
      sum[0] += n[0];
      sum[1] += n[1];
      sum[2] += n[2];
    }
  }
  normaliseOrUp(sum);
  out[0] = sum[0];
  out[1] = sum[1];
  out[2] = sum[2];
}

double TriangleArea(const float a[3], const float b[3], const float c[3]) {
  auto distance = [](const float* p, const float* q) {
    const double dx = double(p[0]) - q[0], dy = double(p[1]) - q[1], dz = double(p[2]) - q[2];
    return std::sqrt(dx * dx + dy * dy + dz * dz);
  };
  const double la = distance(b, c), lb = distance(c, a), lc = distance(a, b);
  const double s = (la + lb + lc) * 0.5;
  return std::sqrt((s - la) * (s - lb) * (s - lc) * s);
}

void TangentFrame(const double n[3], double first[3], double second[3]) {
  const double length = std::sqrt(dot(n, n));
  if (length < 1e-14) {
    first[0] = 0.0, first[1] = 1.0, first[2] = 0.0;
    second[0] = 0.0, second[1] = 0.0, second[2] = 1.0;
    return;
  }
  const double ax = std::fabs(n[0]), ay = std::fabs(n[1]), az = std::fabs(n[2]);
  double helper[3] = {0.0, 0.0, 0.0};
  if (!(ax > ay) && !(ax > az))
    helper[0] = 1.0;
  else if (ay >= az)
    helper[2] = 1.0;
  else
    helper[1] = 1.0;
  cross(n, helper, first);
  normaliseOrUp(first);
  cross(n, first, second);
  second[0] /= length;
  second[1] /= length;
  second[2] /= length;
}

void Polygon_Triangulate(int32_t count, const int32_t* indices, const float* positions, void* context,
                         TriangleCallback callback) {
  if (count < 3) return;
  if (count == 3) {
    callback(context, indices[0], indices[1], indices[2]);
    return;
  }
  if (count == 4) {
    // The diagonal that gives the smaller of the larger halves; that is also the one inside
    // a concave quad. A tie goes to c1-c3.
    const float* c0 = positions + size_t(indices[0]) * 3;
    const float* c1 = positions + size_t(indices[1]) * 3;
    const float* c2 = positions + size_t(indices[2]) * 3;
    const float* c3 = positions + size_t(indices[3]) * 3;
    const double m1 = larger(TriangleArea(c0, c1, c2), TriangleArea(c0, c2, c3));
    const double m2 = larger(TriangleArea(c0, c1, c3), TriangleArea(c1, c2, c3));
    if (m1 < m2) {
      callback(context, indices[0], indices[1], indices[2]);
      callback(context, indices[0], indices[2], indices[3]);
    } else {
      callback(context, indices[0], indices[1], indices[3]);
      callback(context, indices[1], indices[2], indices[3]);
    }
    return;
  }
  clipEars(count, indices, positions, context, callback);
}
