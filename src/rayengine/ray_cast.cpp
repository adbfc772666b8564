#include "rayengine/ray_cast.h"

#include <cmath>

#include "capture/scene_capture.h"
#include "rayengine/hit_shading.h"
#include "runtime/global_services.h"
#include "runtime/locks.h"

namespace {

// The walk proper. The cell visit is a template argument so that the query's own walks call
// it directly; the public WalkGrid hands it a function pointer.
template <class Start, class Visit>
void walkGrid(const double origin[3], const double direction[3], double lower, double upper, const int32_t counts[3],
              Start start, Visit visit, void* const* cells) {
  if (!(upper > 0.0)) upper = 99999999999.9;
  if (lower < 0.0) lower = 0.0;
  for (int a = 0; a < 3; ++a)
    if (!ClipSlab(&lower, &upper, direction[a], -origin[a], counts[a] - origin[a])) return;

  // A clip can leave the limits crossed; the walk starts at the smaller.
  const double t = lower < upper ? lower : upper;
  int32_t index[3], stop[3], step[3];
  double delta[3], next[3];
  for (int a = 0; a < 3; ++a) {
    double position = origin[a] + t * direction[a];
    if (!(position > 0.0))
      position = 0.0;
    else if (position > counts[a] - 0.0001)
      position = counts[a] - 0.0001;
    index[a] = int32_t(position);
    const double d = direction[a];
    if (d < 0.0) {
      step[a] = -1;
      delta[a] = -1.0 / d;
      next[a] = (position - index[a]) * delta[a];
      stop[a] = -1;
    } else {
      // The tiny addend makes a zero direction safe without a branch.
      step[a] = 1;
      delta[a] = 1.0 / (d + 1e-19);
      next[a] = (index[a] + 1 - position) * delta[a];
      stop[a] = counts[a];
    }
  }
  start(step, index, stop);

  const ptrdiff_t stride[3] = {step[0], ptrdiff_t(step[1]) * counts[0], ptrdiff_t(step[2]) * counts[0] * counts[1]};
  void* const* cell = cells + (ptrdiff_t(index[2]) * counts[1] + index[1]) * counts[0] + index[0];
  for (;;) {
    if (*cell) visit(*cell);
    // Ties between x and y go to y; any tie with z goes to z.
    int a;
    if (next[1] <= next[0])
      a = next[1] < next[2] ? 1 : 2;
    else
      a = next[0] < next[2] ? 0 : 2;
    index[a] += step[a];
    if (index[a] == stop[a]) return;
    next[a] += delta[a];
    cell += stride[a];
  }
}

// The inner loop's tests, inlined into the cell visits.
inline int testTriangleFront(GridWalk* walk, const CellTriangle* t) {
  const double* d = walk->direction;
  const double ax = t->edgeA[0], ay = t->edgeA[1], az = t->edgeA[2];
  const double bx = t->edgeB[0], by = t->edgeB[1], bz = t->edgeB[2];
  const double px = d[1] * az - d[2] * ay, py = d[2] * ax - d[0] * az, pz = d[0] * ay - d[1] * ax;
  const double det = px * bx + py * by + pz * bz;
  // Divisions wait until every other test has passed.
  if (!(det <= -1e-27)) return 0;
  const double tx = walk->origin[0] - t->base[0], ty = walk->origin[1] - t->base[1], tz = walk->origin[2] - t->base[2];
  const double un = px * tx + py * ty + pz * tz;
  if (!(det <= un && un <= 0.0)) return 0;
  const double qx = ty * bz - tz * by, qy = tz * bx - tx * bz, qz = tx * by - ty * bx;
  const double vn = qx * d[0] + qy * d[1] + qz * d[2];
  if (!(vn <= 0.0 && un + vn >= det)) return 0;
  const double tn = qx * ax + qy * ay + qz * az;
  if (!(tn < 0.0)) return 0;
  const double r = 1.0 / det;
  const double candidate = tn * r;
  if (!(walk->best > candidate)) return 0;
  walk->candidate = candidate;
  walk->u = un * r;
  walk->v = vn * r;
  return 1;
}

inline int testTriangleBoth(GridWalk* walk, const CellTriangle* t) {
  const double* d = walk->direction;
  const double ax = t->edgeA[0], ay = t->edgeA[1], az = t->edgeA[2];
  const double bx = t->edgeB[0], by = t->edgeB[1], bz = t->edgeB[2];
  const double px = d[1] * az - d[2] * ay, py = d[2] * ax - d[0] * az, pz = d[0] * ay - d[1] * ax;
  const double det = px * bx + py * by + pz * bz;
  int side;
  if (det < -1e-27)
    side = 1;
  else if (det > 1e-27)
    side = 2;
  else
    return 0;
  const double tx = walk->origin[0] - t->base[0], ty = walk->origin[1] - t->base[1], tz = walk->origin[2] - t->base[2];
  const double un = px * tx + py * ty + pz * tz;
  const double qx = ty * bz - tz * by, qy = tz * bx - tx * bz, qz = tx * by - ty * bx;
  if (side == 1) {
    if (!(det <= un && un <= 0.0)) return 0;
    const double vn = qx * d[0] + qy * d[1] + qz * d[2];
    if (!(vn <= 0.0 && un + vn >= det)) return 0;
    const double tn = qx * ax + qy * ay + qz * az;
    if (!(tn < 0.0)) return 0;
    const double r = 1.0 / det;
    const double candidate = tn * r;
    if (!(walk->best > candidate)) return 0;
    walk->candidate = candidate;
    walk->u = un * r;
    walk->v = vn * r;
    return 1;
  }
  if (!(0.0 <= un && un <= det)) return 0;
  const double vn = qx * d[0] + qy * d[1] + qz * d[2];
  if (!(vn >= 0.0 && un + vn <= det)) return 0;
  const double tn = qx * ax + qy * ay + qz * az;
  if (!(tn > 0.0)) return 0;
  const double r = 1.0 / det;
  const double candidate = tn * r;
  if (!(walk->best > candidate)) return 0;
  walk->candidate = candidate;
  walk->u = un * r;
  walk->v = vn * r;
  return 2;
}

inline void fillHit(GridWalk* walk, const CellTriangle* t, uint8_t backSide) {
  RayHit* hit = walk->hit;
  hit->polygon = t->polygon;
  hit->vertexA = t->vertexA;
  hit->vertexB = t->vertexB;
  hit->vertexC = t->vertexBase;
  hit->backSide = backSide;
  hit->weightA = float(walk->v);
  hit->weightB = float(walk->u);
}

// A candidate the clip map cuts away, if the object has one.
inline bool clipped(GridWalk* walk, const CellTriangle* t, uint8_t backSide) {
  if (!walk->hit->object->clipMap) return false;
  RayHit candidate;
  candidate.object = walk->hit->object;
  candidate.polygon = t->polygon;
  candidate.vertexA = t->vertexA;
  candidate.vertexB = t->vertexB;
  candidate.vertexC = t->vertexBase;
  candidate.backSide = backSide;
  candidate.weightA = float(walk->v);
  candidate.weightB = float(walk->u);
  return ClipMapTest(&candidate, walk) != 0;
}

template <bool TwoSided>
inline void visitCell(GridWalk* walk, const void* block) {
  bool accepted = false;
  const CapturedObject* object = walk->hit->object;
  for (const CellTriangle* t = Cell_Triangles(block); t->polygon >= 0; ++t) {
    // With RayOffset, this is all that keeps a ray from meeting the surface it leaves.
    if (t->polygon == walk->skipPolygon) continue;
    int side;
    if constexpr (TwoSided) {
      side = testTriangleBoth(walk, t);
      if (!side) continue;
      if (side == 2) {
        uint32_t surface = Mesh_PolygonSurfaceIndex(object->mesh, t->polygon);
        if (surface >= uint32_t(object->mesh->surfaceCount)) surface = 0;
        if (!object->surfaces[surface].doubleSided) continue;
      }
    } else {
      side = testTriangleFront(walk, t);
      if (!side) continue;
    }
    const uint8_t backSide = side == 2 ? 1 : 0;
    if (clipped(walk, t, backSide)) continue;
    walk->best = walk->candidate;
    fillHit(walk, t, backSide);
    accepted = true;
  }
  // A triangle of this cell may reach beyond it, and a nearer one may wait in the next
  // cell: the walk goes on, but no further than the plane past the hit's cell.
  if (accepted) ShrinkWalk(walk);
}

struct Candidate {
  CapturedObject* object;
  double lower;
  double upper;
};
static_assert(sizeof(Candidate) == 24);

constexpr int kCandidateSlots = 512;
constexpr int kCandidateStart = 170;

inline double score(const Candidate& c) { return 1.75 * c.lower + c.upper; }

bool skippedByKind(const CapturedObject* object, int kind, LWItemID skipObject, LWItemID excludeLight) {
  switch (kind) {
    case kRayCamera:
      return (object->objectFlags & kObjectUnseenByCamera) != 0;
    case kRayReflection:
    case kRayRadiosity:
      return (object->objectFlags & kObjectUnseenByRays) != 0;
    case kRayShadow: {
      if (!(object->shadowOptions & kShadowCast)) return true;
      if (object->item == skipObject && !(object->shadowOptions & kShadowSelf)) return true;
      if (!excludeLight) return false;
      try {
        LWObjectInfo* info = globalServices.objectInfo;
        return info && info->excluded && info->excluded(object->item, excludeLight) != 0;
      } catch (...) {
        return false;
      }
    }
    default:
      return false;
  }
}

// The ray against a bounding sphere, narrowing [lower, upper] to the part inside it.
bool clipSphere(const double origin[3], const double direction[3], const double centre[3], double radiusSquared,
                double& lower, double& upper) {
  const double oc[3] = {origin[0] - centre[0], origin[1] - centre[1], origin[2] - centre[2]};
  const double b = direction[0] * oc[0] + direction[1] * oc[1] + direction[2] * oc[2];
  const double disc = radiusSquared - (oc[0] * oc[0] + oc[1] * oc[1] + oc[2] * oc[2]) + b * b;
  if (!(disc > 0.0)) return false;
  // The segment's point nearest the centre, as its distance along the ray from the foot.
  double m = lower + b;
  if (m < -(upper + b)) m = -(upper + b);
  if (m > 0.0 && m * m >= disc) return false;
  const double root = std::sqrt(disc);
  if (-(root + b) > lower) lower = -(root + b);
  if (root - b < upper) upper = root - b;
  return true;
}

}  // namespace

bool ClipSlab(double* lower, double* upper, double direction, double slabLow, double slabHigh) {
  const long double a = (long double)*lower * direction;
  const long double b = (long double)*upper * direction;
  if (b > a) {
    if (!(a < slabHigh && slabLow < b)) return false;
    if (a < slabLow) *lower = slabLow / direction;
    if (slabHigh < b) *upper = slabHigh / direction;
  } else {
    if (!(b < slabHigh && slabLow < a)) return false;
    if (b < slabLow) *upper = slabLow / direction;
    if (slabHigh < a) *lower = slabHigh / direction;
  }
  return true;
}

void WalkGrid(const double origin[3], const double direction[3], double lowerLimit, double upperLimit, int32_t countX,
              int32_t countY, int32_t countZ, WalkStartCallback startCallback, WalkCellCallback cellCallback,
              void* context, void* const* cells) {
  const int32_t counts[3] = {countX, countY, countZ};
  walkGrid(
      origin, direction, lowerLimit, upperLimit, counts,
      [&](const int32_t* steps, int32_t* indices, int32_t* stops) {
        if (startCallback) startCallback(context, steps, indices, stops);
      },
      [&](const void* cell) { cellCallback(context, cell); }, cells);
}

int TestTriangleFront(GridWalk* walk, const CellTriangle* t) { return testTriangleFront(walk, t); }
int TestTriangleBoth(GridWalk* walk, const CellTriangle* t) { return testTriangleBoth(walk, t); }

void VisitCellFront(void* walk, const void* cell) { visitCell<false>(static_cast<GridWalk*>(walk), cell); }
void VisitCellBoth(void* walk, const void* cell) { visitCell<true>(static_cast<GridWalk*>(walk), cell); }

void ShrinkWalk(GridWalk* walk) {
  const CapturedObject* object = walk->hit->object;
  const int32_t counts[3] = {object->countX, object->countY, object->countZ};
  for (int a = 0; a < 3; ++a) {
    const double g = std::trunc(walk->gridOrigin[a] + walk->gridDirection[a] * walk->best);
    int32_t cell = 0;
    if (g > 0.0) cell = g < double(counts[a] - 1) ? int32_t(g) : counts[a] - 1;
    const int32_t s = cell + walk->step[a];
    const int32_t current = walk->index[a];
    // A stop that the walk already stands on, or (by rounding) one behind it, would let the
    // walk run on past the grid's wall: it stops at the next plane instead.
    walk->stop[a] = (s - current) * walk->step[a] > 0 ? s : current + walk->step[a];
  }
}

int ClipMapTest(const RayHit* candidate, const GridWalk* walk) {
  CapturedObject* object = candidate->object;
  double value = 0.0;
  {
    ModuleLockGuard lock;
    double origin[3];
    ItemTransform_MapPoint(&object->transform, walk->origin, origin);
    static const double kFacing[3] = {0.0, 0.0, 1.0};
    FillMicropolygon(candidate, origin, kFacing, &object->micropol);
    object->micropol.txVal = 0.0;
    try {
      double v = 0.0;
      if (LWTextureFuncs* textures = globalServices.textureFuncs) textures->evaluate(object->clipMap, &object->micropol, &v);
      value = v;
    } catch (...) {
      value = 0.0;
    }
  }
  return value > 0.5 ? 1 : 0;
}

double IntersectObject(const double origin[3], const double direction[3], double lowerLimit, double upperLimit,
                       CapturedObject* object, int32_t skipPolygon, RayHit* hit) {
  GridWalk walk;
  ItemTransform_InverseMapPoint(&object->transform, origin, walk.origin);
  ItemTransform_InverseMapVector(&object->transform, direction, walk.direction);
  const double s = std::sqrt(walk.direction[0] * walk.direction[0] + walk.direction[1] * walk.direction[1] +
                             walk.direction[2] * walk.direction[2]);
  for (double& d : walk.direction) d /= s;

  RayHit found;
  found.polygon = -1;
  found.object = object;
  walk.best = s * upperLimit;
  walk.candidate = walk.u = walk.v = 0.0;
  walk.skipPolygon = skipPolygon;
  walk.hit = &found;

  // In grid units the direction is not renormalised, so that the walk's parameter stays
  // the object-space distance.
  const int32_t counts[3] = {object->countX, object->countY, object->countZ};
  const double mins[3] = {object->gridMinX, object->gridMinY, object->gridMinZ};
  for (int a = 0; a < 3; ++a) {
    walk.gridOrigin[a] = (walk.origin[a] - mins[a]) * counts[a] * object->inverseExtent[a];
    walk.gridDirection[a] = walk.direction[a] * object->inverseExtent[a] * counts[a];
  }
  auto start = [&](const int32_t* steps, int32_t* indices, int32_t* stops) {
    for (int a = 0; a < 3; ++a) walk.step[a] = steps[a];
    walk.index = indices;
    walk.stop = stops;
  };
  if (object->anyDoubleSided)
    walkGrid(walk.gridOrigin, walk.gridDirection, s * lowerLimit, walk.best, counts, start,
             [&](const void* cell) { visitCell<true>(&walk, cell); }, object->cells);
  else
    walkGrid(walk.gridOrigin, walk.gridDirection, s * lowerLimit, walk.best, counts, start,
             [&](const void* cell) { visitCell<false>(&walk, cell); }, object->cells);

  if (found.polygon == -1) return -1.0;
  const double t = walk.best / s;
  if (!(t < upperLimit)) return -1.0;
  *hit = found;
  return t;
}

double CastRay(SceneCapture* scene, const double origin[3], const double direction[3], int kind, LWItemID skipObject,
               int32_t skipPolygon, LWItemID excludeLight, double maxDistance, RayHit* hit) {
  // The candidates grow both ways from a slot inside the array: a nearer-looking object goes
  // in front, any other at the tail. One comparison each, not a sort.
  Candidate candidates[kCandidateSlots];
  int front = kCandidateStart, end = kCandidateStart;
  const double limit = maxDistance >= 0.0 ? maxDistance : 1e24;
  for (CapturedObject* object = scene ? scene->objects : nullptr; object; object = object->next) {
    if (object->dissolve > 0.995) continue;
    if (skippedByKind(object, kind, skipObject, excludeLight)) continue;
    double lower = 0.0, upper = limit;
    if (!clipSphere(origin, direction, object->worldBounds.sphereCentre, object->worldBounds.sphereRadiusSquared, lower,
                    upper))
      continue;
    const Candidate entry{object, lower, upper};
    if (end == front) {
      candidates[end++] = entry;
    } else if (front > 0 && score(entry) < score(candidates[front])) {
      candidates[--front] = entry;
    } else if (end == kCandidateSlots) {
      candidates[kCandidateSlots - 1] = entry;  // full: the last one gives way
    } else {
      candidates[end++] = entry;
    }
  }
  if (end == front) return -1.0;

  double best = maxDistance >= 0.0 ? maxDistance : 1e10;
  bool found = false;
  for (int i = front; i < end; ++i) {
    const Candidate& c = candidates[i];
    if (!(c.lower < best)) continue;
    const int32_t skip = c.object->item == skipObject ? skipPolygon : -1;
    const double t = IntersectObject(origin, direction, c.lower, best < c.upper ? best : c.upper, c.object, skip, hit);
    if (!(t > 0.0)) continue;
    // A shadow ray that meets something no light passes needs no nearer hit.
    if (kind == kRayShadow && HitIsOpaque(hit)) return t;
    best = t;
    found = true;
  }
  return found ? best : -1.0;
}

double RayOffset(const double point[3], const double direction[3], double result[3]) {
  double e = 1.5e-07 * std::sqrt(point[0] * point[0] + point[1] * point[1] + point[2] * point[2]);
  if (!(e >= 1e-10)) e = 1e-10;
  for (int a = 0; a < 3; ++a) result[a] = point[a] + direction[a] * e;
  return e;
}
