// Object bounds: the grid box, the sphere and the ellipsoid hold every point that a polygon
// uses, ignore the others, and follow the object's transform.
#include <cmath>
#include <random>
#include <vector>

#include "capture/object_bounds.h"
#include "capture_fixture.h"

namespace capturetest {
namespace {

using Points = std::vector<std::array<double, 3>>;

double ellipsoidLength2(const ObjectBounds& b, const double p[3]) {
  const double d[3] = {p[0] - b.ellipsoidCentre[0], p[1] - b.ellipsoidCentre[1], p[2] - b.ellipsoidCentre[2]};
  double sum = 0.0;
  for (int i = 0; i < 3; ++i) {
    const double r = b.ellipsoidAxes[i * 3] * d[0] + b.ellipsoidAxes[i * 3 + 1] * d[1] + b.ellipsoidAxes[i * 3 + 2] * d[2];
    sum += r * r;
  }
  return sum;
}

double sphereDistance2(const ObjectBounds& b, const double p[3]) {
  double sum = 0.0;
  for (int i = 0; i < 3; ++i) sum += (p[i] - b.sphereCentre[i]) * (p[i] - b.sphereCentre[i]);
  return sum;
}

// Every given point inside both bounds, up to the single precision of the fit.
void expectHeld(const ObjectBounds& b, const Points& points, const char* what) {
  for (const auto& p : points) {
    EXPECT_LE(sphereDistance2(b, p.data()), b.sphereRadiusSquared * (1 + 1e-9) + 1e-12) << what;
    EXPECT_LE(ellipsoidLength2(b, p.data()), 1.0 + 1e-4) << what;
  }
  for (double v : b.ellipsoidAxes) EXPECT_TRUE(std::isfinite(v)) << what;
  EXPECT_TRUE(std::isfinite(b.sphereRadiusSquared)) << what;
}

class BoundsTest : public CaptureTest {
 protected:
  // One object of the given triangles; the points given as unused get no polygon.
  CapturedObject* capture1(const Points& used, const Points& unused, double scale = 1.0) {
    host::ObjectBuilder b("cloud.lwo");
    for (const auto& p : used) b.addPoint(float(p[0]), float(p[1]), float(p[2]));
    for (const auto& p : unused) b.addPoint(float(p[0]), float(p[1]), float(p[2]));
    for (uint32_t i = 0; i + 2 < used.size(); i += 3) b.addPolygon({i, i + 1, i + 2}, "S");
    host::Scene s;
    const int index = addObject(s, std::make_shared<host::ObjectModel>(b.finish()), "Cloud");
    s.items[size_t(index)].setPosition({3.0, -2.0, 7.0});
    s.items[size_t(index)].setRotation({0.3, -0.7, 1.1});
    s.items[size_t(index)].setScale({scale, scale, scale});
    startHost(std::move(s));
    capture = SceneCapture_Create(0.0);
    return capture->objects;
  }

  static Points asDoubles(const CapturedObject* o) {
    Points out;
    for (int32_t p = 0; p < o->mesh->pointCount; ++p)
      if (Mesh_PointPolygonCount(o->mesh, p) > 0)
        out.push_back({o->keptPoints[p * 3], o->keptPoints[p * 3 + 1], o->keptPoints[p * 3 + 2]});
    return out;
  }
};

TEST_F(BoundsTest, RandomCloudsAreHeldAndStrayPointsIgnored) {
  std::mt19937 rng(7);
  for (int round = 0; round < 12; ++round) {
    SetUp();
    std::normal_distribution<double> n(0.0, 1.0);
    // Stretched and sheared clouds, from very flat to round, some far off the origin.
    const double sx = 1 + round, sy = 0.5 + round % 3, sz = round % 4 == 0 ? 1e-4 : 2.0;
    const double offset = round % 5 == 0 ? 1000.0 : 0.0;
    Points used;
    const int count = 3 * (5 + int(rng() % 300));
    for (int i = 0; i < count; ++i) {
      double x = n(rng) * sx, y = n(rng) * sy, z = n(rng) * sz;
      if (round % 3 == 1) {
        // On a shell: most points lie as far out as the extreme ones, between them.
        const double k = 10.0 / std::sqrt(x * x + y * y + z * z);
        x *= k, y *= k, z *= k;
      }
      used.push_back({x + 0.5 * y + offset, y - 0.3 * z, z + 0.2 * x});
    }
    const Points stray = {{500.0, 500.0, 500.0}, {-900.0, 0.0, 0.0}};
    CapturedObject* o = capture1(used, stray);
    ASSERT_NE(o, nullptr);
    const Points points = asDoubles(o);
    ASSERT_EQ(points.size(), used.size());
    double lo[3] = {1e30, 1e30, 1e30}, hi[3] = {-1e30, -1e30, -1e30};
    for (const auto& p : points)
      for (int a = 0; a < 3; ++a) lo[a] = std::min(lo[a], p[size_t(a)]), hi[a] = std::max(hi[a], p[size_t(a)]);
    const double box[3][2] = {{o->gridMinX, o->gridMaxX}, {o->gridMinY, o->gridMaxY}, {o->gridMinZ, o->gridMaxZ}};
    const double diagonal = std::sqrt((hi[0] - lo[0]) * (hi[0] - lo[0]) + (hi[1] - lo[1]) * (hi[1] - lo[1]) +
                                      (hi[2] - lo[2]) * (hi[2] - lo[2]));
    for (int a = 0; a < 3; ++a) {
      EXPECT_LT(box[a][0], lo[a]) << round;
      EXPECT_GT(box[a][1], hi[a]) << round;
      // The pad and widening are small against the object; the stray points are far out.
      EXPECT_LT(hi[a] - lo[a], (box[a][1] - box[a][0])) << round;
      EXPECT_LT(box[a][1] - box[a][0], hi[a] - lo[a] + 0.03 * diagonal) << round;
      EXPECT_DOUBLE_EQ(o->inverseExtent[a], 1.0 / (box[a][1] - box[a][0]));
    }
    expectHeld(o->localBounds, points, "local");
    EXPECT_LE(std::sqrt(o->localBounds.sphereRadiusSquared), diagonal) << round;

    // World bounds hold the points carried to world space.
    Points world;
    for (const auto& p : points) {
      double w[3];
      ItemTransform_MapPoint(&o->transform, p.data(), w);
      world.push_back({w[0], w[1], w[2]});
    }
    expectHeld(o->worldBounds, world, "world");
    TearDown();
  }
}

TEST_F(BoundsTest, ABoxOfSideTwoAndAUniformScale) {
  host::Scene s;
  const int index = addObject(s, boxModel(), "Cube");
  s.items[size_t(index)].setScale({2.0, 2.0, 2.0});
  startHost(std::move(s));
  capture = SceneCapture_Create(0.0);
  const CapturedObject* o = capture->objects;
  ASSERT_NE(o, nullptr);
  for (double v : {o->gridMinX, o->gridMinY, o->gridMinZ}) EXPECT_NEAR(v, -1.002, 1e-12);
  for (double v : {o->gridMaxX, o->gridMaxY, o->gridMaxZ}) EXPECT_NEAR(v, 1.002, 1e-12);
  EXPECT_NEAR(o->inverseExtent[1], 1.0 / 2.004, 1e-12);
  expectHeld(o->localBounds, asDoubles(o), "cube");
  EXPECT_GE(o->localBounds.sphereRadiusSquared, 3.0 - 1e-9);
  EXPECT_LE(o->localBounds.sphereRadiusSquared, 3.0 * 1.2);
  EXPECT_NEAR(o->worldBounds.sphereRadiusSquared, 4.0 * o->localBounds.sphereRadiusSquared, 1e-9);
}

TEST_F(BoundsTest, FlatAndPointObjectsAreWidenedUnevenly) {
  {
    // A triangle in z = 3: z gets width s = 0.01 x 2 about 3, lower end further out.
    CapturedObject* o = capture1({{0, 0, 3}, {1, 0, 3}, {0, 2, 3}}, {});
    const double s = 0.02, pad = 0.002;
    EXPECT_NEAR(o->gridMinZ, 3.0 - 0.53334 * s - pad, 1e-12);
    EXPECT_NEAR(o->gridMaxZ, 3.0 + 0.46667 * s + pad, 1e-12);
    EXPECT_NEAR(o->gridMinX, -pad, 1e-12);
    EXPECT_NEAR(o->gridMaxY, 2.0 + pad, 1e-12);
    expectHeld(o->localBounds, asDoubles(o), "flat");
    TearDown();
    SetUp();
  }
  {
    // Every used point the same: a sphere of radius 0 and a box of width 1.00001e-07 (the
    // two ends are 0.53334 and 0.46667 of the thinnest width out).
    CapturedObject* o = capture1({{1, 1, 1}, {1, 1, 1}, {1, 1, 1}}, {{4, 4, 4}});
    EXPECT_NEAR(o->gridMaxX - o->gridMinX, 1.00001e-07, 1e-15);
    EXPECT_NEAR(o->gridMinX, 1.0 - 0.53334e-07, 1e-15);
    EXPECT_EQ(o->localBounds.sphereRadiusSquared, 0.0);
    for (int a = 0; a < 3; ++a) EXPECT_DOUBLE_EQ(o->localBounds.sphereCentre[a], 1.0);
    expectHeld(o->localBounds, asDoubles(o), "point");
  }
}

TEST_F(BoundsTest, AnObjectWithoutPolygons) {
  host::Scene s;
  addObject(s, pointsModel(5), "Points");
  startHost(std::move(s));
  capture = SceneCapture_Create(0.0);
  const CapturedObject* o = capture->objects;
  ASSERT_NE(o, nullptr);
  for (double v : {o->gridMinX, o->gridMinY, o->gridMinZ}) EXPECT_EQ(v, -1e-17);
  for (double v : {o->gridMaxX, o->gridMaxY, o->gridMaxZ}) EXPECT_EQ(v, 1e-17);
  const ObjectBounds& b = o->localBounds;
  EXPECT_EQ(b.sphereRadiusSquared, 0.0);
  for (int i = 0; i < 9; ++i) EXPECT_EQ(b.ellipsoidAxes[i], i % 4 == 0 ? 1e+25 : 0.0) << i;
}

}  // namespace
}  // namespace capturetest
