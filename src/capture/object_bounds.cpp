#include "capture/object_bounds.h"

#include <cmath>
#include <cstring>

#include "capture/captured_object.h"

namespace {

constexpr double kA = 0.35682208977308993;
constexpr double kB = 0.9341723589627157;
constexpr double kC = 0.5773502691896257;

// Thirteen directions for the extreme points. The first is a tenth long on purpose: it
// weighs x less in the spreads that pick and size the spheres.
constexpr double kDirections[13][3] = {
    {0.1, 0, 0}, {0, 1, 0},   {0, 0, 1},   {0, kA, kB},  {0, kA, -kB}, {kA, kB, 0},  {kA, -kB, 0},
    {kB, 0, kA}, {-kB, 0, kA}, {kC, kC, kC}, {kC, kC, -kC}, {kC, -kC, kC}, {kC, -kC, -kC}};

constexpr int kExtremes = 26;

struct Sphere {
  double centre[3];
  double radiusSquared;
};

double dot(const double a[3], const double b[3]) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

void growSphere(Sphere& s, const double q[3]) {
  const double d[3] = {q[0] - s.centre[0], q[1] - s.centre[1], q[2] - s.centre[2]};
  const double d2 = dot(d, d);
  if (!(d2 > s.radiusSquared)) return;
  const double r = std::sqrt(s.radiusSquared);
  const double dist = std::sqrt(d2);
  const double k = (dist - r) * 0.5 / dist;
  s.radiusSquared = (d2 + s.radiusSquared + dist * (r + r)) * 0.25;
  for (int a = 0; a < 3; ++a) s.centre[a] += d[a] * k;
}

bool used(const CapturedMesh* mesh, int32_t point) {
  return point < mesh->pointCount && Mesh_PointPolygonCount(mesh, point) > 0;
}

// Cyclic Jacobi rotations on a symmetric 3x3 matrix (destroyed): eigenvalues in d, the
// eigenvectors in the columns of v. At most four sweeps.
void jacobi(double a[3][3], double d[3], double v[3][3]) {
  double b[3], z[3];
  for (int p = 0; p < 3; ++p) {
    for (int q = 0; q < 3; ++q) v[p][q] = p == q ? 1.0 : 0.0;
    b[p] = d[p] = a[p][p];
    z[p] = 0.0;
  }
  auto rotate = [](double m[3][3], double s, double tau, int i, int j, int k, int l) {
    const double g = m[i][j], h = m[k][l];
    m[i][j] = g - s * (h + g * tau);
    m[k][l] = h + s * (g - h * tau);
  };
  for (int sweep = 0; sweep < 4; ++sweep) {
    const double sum = std::fabs(a[0][1]) + std::fabs(a[0][2]) + std::fabs(a[1][2]);
    if (sum < 1e-09) break;
    const double threshold = 0.2 * sum / 9.0;
    for (int p = 0; p < 2; ++p) {
      for (int q = p + 1; q < 3; ++q) {
        if (!(std::fabs(a[p][q]) > threshold)) continue;
        const double g = 100.0 * std::fabs(a[p][q]);
        double h = d[q] - d[p];
        double t;
        if (std::fabs(h) + g == std::fabs(h)) {
          t = a[p][q] / h;
        } else {
          const double theta = 0.5 * h / a[p][q];
          t = 1.0 / (std::fabs(theta) + std::sqrt(1.0 + theta * theta));
          if (theta < 0.0) t = -t;
        }
        const double c = 1.0 / std::sqrt(1.0 + t * t);
        const double s = t * c;
        const double tau = s / (1.0 + c);
        h = t * a[p][q];
        z[p] -= h;
        z[q] += h;
        d[p] -= h;
        d[q] += h;
        a[p][q] = 0.0;
        for (int j = 0; j < p; ++j) rotate(a, s, tau, j, p, j, q);
        for (int j = p + 1; j < q; ++j) rotate(a, s, tau, p, j, j, q);
        for (int j = q + 1; j < 3; ++j) rotate(a, s, tau, p, j, q, j);
        for (int j = 0; j < 3; ++j) rotate(v, s, tau, j, p, j, q);
      }
    }
    for (int p = 0; p < 3; ++p) {
      b[p] += z[p];
      d[p] = b[p];
      z[p] = 0.0;
    }
  }
}

}  // namespace

void Object_ComputeBounds(CapturedObject* object) {
  const CapturedMesh* mesh = object->mesh;
  double* mins[3] = {&object->gridMinX, &object->gridMinY, &object->gridMinZ};
  double* maxs[3] = {&object->gridMaxX, &object->gridMaxY, &object->gridMaxZ};
  if (!mesh || mesh->polygonCount <= 0) {
    for (int a = 0; a < 3; ++a) {
      *mins[a] = -1e-17;
      *maxs[a] = 1e-17;
    }
  } else {
    for (int a = 0; a < 3; ++a) {
      *mins[a] = 999999999999.9;
      *maxs[a] = -999999999999.9;
    }
    for (int32_t p = 0; p < mesh->pointCount; ++p) {
      if (!used(mesh, p)) continue;
      const float* point = object->keptPoints + size_t(p) * 3;
      for (int a = 0; a < 3; ++a) {
        if (point[a] < *mins[a]) *mins[a] = point[a];
        if (point[a] > *maxs[a]) *maxs[a] = point[a];
      }
    }
    double extent[3], m = 0.0;
    for (int a = 0; a < 3; ++a) {
      extent[a] = *maxs[a] - *mins[a];
      if (extent[a] > m) m = extent[a];
    }
    const double thinnest = m * 0.01 > 1e-07 ? m * 0.01 : 1e-07;
    for (int a = 0; a < 3; ++a) {
      if (!(extent[a] < thinnest)) continue;
      // Widened unevenly about the midpoint, so that a flat object's plane never lies on a
      // cell boundary.
      const double c = (*mins[a] + *maxs[a]) * 0.5;
      *mins[a] = -0.53334 * thinnest + c;
      *maxs[a] = 0.46667 * thinnest + c;
    }
    for (int a = 0; a < 3; ++a) {
      *mins[a] += -0.001 * m;
      *maxs[a] += 0.001 * m;
      object->inverseExtent[a] = 1.0 / (*maxs[a] - *mins[a]);
    }
  }
  Bounds_Fit(object->keptPoints, mesh ? mesh->pointCount : 0, mesh, &object->localBounds);
}

void Bounds_Fit(const float* positions, int32_t count, const CapturedMesh* mesh, ObjectBounds* out) {
  if (!mesh || mesh->polygonCount <= 0) {
    std::memset(out, 0, sizeof *out);
    out->ellipsoidAxes[0] = out->ellipsoidAxes[4] = out->ellipsoidAxes[8] = 1e+25;
    return;
  }

  // The extreme points along each direction: a point replaces one only on a strict gain.
  double low[13], high[13];
  double extremes[kExtremes][3] = {};  // row k: [2k] the smallest, [2k + 1] the largest
  for (int k = 0; k < 13; ++k) {
    low[k] = 1e+18;
    high[k] = -1e+18;
  }
  for (int32_t p = 0; p < count; ++p) {
    if (!used(mesh, p)) continue;
    const double point[3] = {positions[p * 3], positions[p * 3 + 1], positions[p * 3 + 2]};
    for (int k = 0; k < 13; ++k) {
      const double projection = dot(point, kDirections[k]);
      if (projection < low[k]) {
        low[k] = projection;
        std::memcpy(extremes[2 * k], point, sizeof point);
      }
      if (projection > high[k]) {
        high[k] = projection;
        std::memcpy(extremes[2 * k + 1], point, sizeof point);
      }
    }
  }
  double spread[13];
  for (int k = 0; k < 13; ++k) spread[k] = high[k] - low[k];

  // Sphere A: across the direction of the widest spread.
  int widest = 0;
  double best = 0.0;
  for (int k = 0; k < 13; ++k)
    if (spread[k] > best) {
      best = spread[k];
      widest = k;
    }
  Sphere a;
  for (int i = 0; i < 3; ++i) a.centre[i] = (extremes[2 * widest][i] + extremes[2 * widest + 1][i]) * 0.5;
  {
    const double d[3] = {a.centre[0] - extremes[2 * widest][0], a.centre[1] - extremes[2 * widest][1],
                         a.centre[2] - extremes[2 * widest][2]};
    a.radiusSquared = dot(d, d);
  }
  for (const auto& q : extremes) growSphere(a, q);

  // Sphere B: the middle of the three axis spreads (x a tenth of it, as row 0 is short).
  Sphere b;
  double largest = 0.0;
  for (int k = 0; k < 3; ++k) {
    b.centre[k] = (high[k] + low[k]) * 0.5;
    if (k == 0 || spread[k] > largest) largest = spread[k];
  }
  b.radiusSquared = largest * largest * 0.25;
  for (const auto& q : extremes) growSphere(b, q);

  Sphere sphere = a.radiusSquared >= b.radiusSquared ? b : a;

  // The ellipsoid: axes from the extreme points' covariance.
  double mean[3] = {0, 0, 0}, second[3][3] = {};
  for (const auto& q : extremes)
    for (int i = 0; i < 3; ++i) {
      mean[i] += q[i];
      for (int j = 0; j < 3; ++j) second[i][j] += q[i] * q[j];
    }
  constexpr double kInverse26 = 0.038461538461538464;
  double covariance[3][3];
  for (int i = 0; i < 3; ++i) mean[i] *= kInverse26;
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) covariance[i][j] = second[i][j] * kInverse26 - mean[i] * mean[j];
  double eigen[3], v[3][3];
  jacobi(covariance, eigen, v);

  // The rows of V serve as the frame; the steps below make it a bound whatever the frame.
  double axis[3][3], semi[3];
  std::memcpy(axis, v, sizeof axis);
  for (int i = 0; i < 3; ++i) semi[i] = eigen[i] > 1e-12 ? std::sqrt(eigen[i]) : 1e-06;
  double centre[3] = {sphere.centre[0], sphere.centre[1], sphere.centre[2]};

  auto coordinates = [&](const double q[3], double x[3]) {
    const double d[3] = {q[0] - centre[0], q[1] - centre[1], q[2] - centre[2]};
    for (int i = 0; i < 3; ++i) x[i] = dot(d, axis[i]);
  };
  double t = 0.0;
  for (const auto& q : extremes) {
    double x[3];
    coordinates(q, x);
    double s = 0.0;
    for (int i = 0; i < 3; ++i) s += (x[i] / semi[i]) * (x[i] / semi[i]);
    if (s > t) t = s;
  }
  const double stretch = std::sqrt(t);
  for (double& s : semi) s *= stretch;

  // Tightening: each axis in turn re-centres on the chords through the first twenty
  // extreme points and shrinks to the longest of them.
  for (int round = 0; round < 10; ++round) {
    const double f = round <= 6 ? 1.0001 + 0.02 * (9 - round) : 1.0001;
    for (int i = 2; i >= 0; --i) {
      const int j = (i + 1) % 3, k = (i + 2) % 3;
      double lowEnd = -999999999999999.9, highEnd = 999999999999999.9;
      for (int e = 0; e < 20; ++e) {
        double x[3];
        coordinates(extremes[e], x);
        const double w = 1.0 - (x[j] / semi[j]) * (x[j] / semi[j]) - (x[k] / semi[k]) * (x[k] / semi[k]);
        const double h2 = w * semi[i] * semi[i];
        const double h = h2 > 0.0 ? std::sqrt(h2) : 0.0;
        if (-(h + x[i]) > lowEnd) lowEnd = -(h + x[i]);
        if (h - x[i] < highEnd) highEnd = h - x[i];
      }
      const double move = -0.5 * (lowEnd + highEnd);
      for (int c = 0; c < 3; ++c) centre[c] += axis[i][c] * move;
      const double minimumW = i == 2 ? 1e-14 : 1e-09;
      double widest2 = 0.0;
      for (int e = 0; e < 20; ++e) {
        double x[3];
        coordinates(extremes[e], x);
        const double w = 1.0 - (x[j] / semi[j]) * (x[j] / semi[j]) - (x[k] / semi[k]) * (x[k] / semi[k]);
        if (w > minimumW && x[i] * x[i] / w > widest2) widest2 = x[i] * x[i] / w;
      }
      if (semi[i] * semi[i] > widest2) semi[i] = std::sqrt(widest2);
      if (semi[i] < 1e-11) semi[i] = 1e-11;
      semi[i] *= f;
    }
  }
  const double floor = (semi[0] + semi[1] + semi[2]) * 1e-06 + 1e-16;
  for (double& s : semi)
    if (s < floor) s = floor;

  for (int i = 0; i < 3; ++i) {
    out->ellipsoidCentre[i] = centre[i];
    for (int c = 0; c < 3; ++c) out->ellipsoidAxes[i * 3 + c] = axis[i][c] / semi[i];
  }

  // The fit so far saw only the extreme points; one pass over all makes both bounds true.
  float fa[9], fc[3] = {float(centre[0]), float(centre[1]), float(centre[2])};
  for (int i = 0; i < 9; ++i) fa[i] = float(out->ellipsoidAxes[i]);
  float m = 0.0f;
  for (int32_t p = 0; p < count; ++p) {
    if (!used(mesh, p)) continue;
    const double point[3] = {positions[p * 3], positions[p * 3 + 1], positions[p * 3 + 2]};
    growSphere(sphere, point);
    const float d[3] = {positions[p * 3] - fc[0], positions[p * 3 + 1] - fc[1], positions[p * 3 + 2] - fc[2]};
    float length2 = 0.0f;
    for (int i = 0; i < 3; ++i) {
      const float r = fa[i * 3] * d[0] + fa[i * 3 + 1] * d[1] + fa[i * 3 + 2] * d[2];
      length2 += r * r;
    }
    if (length2 > m) m = length2;
  }
  // Points all at the centre leave nothing to scale by.
  if (m > 0.0f) {
    const double scale = 1.0 / std::sqrt(double(m));
    for (double& e : out->ellipsoidAxes) e *= scale;
  }
  for (int i = 0; i < 3; ++i) out->sphereCentre[i] = sphere.centre[i];
  out->sphereRadiusSquared = sphere.radiusSquared;
}

void Bounds_Transform(const ObjectBounds* source, const ItemTransform* transform, ObjectBounds* out) {
  ObjectBounds result;
  ItemTransform_MapPoint(transform, source->sphereCentre, result.sphereCentre);
  ItemTransform_MapPoint(transform, source->ellipsoidCentre, result.ellipsoidCentre);
  double smallest = 0.0;
  for (int i = 0; i < 3; ++i) {
    const double* r = source->ellipsoidAxes + i * 3;
    double mapped[3];
    ItemTransform_MapVector(transform, r, mapped);
    const double before = dot(r, r), after = dot(mapped, mapped);
    // A transform that flattens this axis away leaves a zero row and no limit on the radius.
    const double k = after > 0.0 ? before / after : HUGE_VAL;
    for (int c = 0; c < 3; ++c) result.ellipsoidAxes[i * 3 + c] = after > 0.0 ? mapped[c] * k : 0.0;
    if (i == 0 || k < smallest) smallest = k;
  }
  result.sphereRadiusSquared = source->sphereRadiusSquared / smallest;
  *out = result;
}
