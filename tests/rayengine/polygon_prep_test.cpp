// Polygon normals, point normals and smoothing limits on captured meshes; the split of
// polygons into triangles on plain arrays.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <set>
#include <vector>

#include "capture/captured_object.h"
#include "host/formats/lwo_builder.h"
#include "ray_world.h"
#include "rayengine/polygon_prep.h"

using namespace raytest;

namespace {

using Triangle = std::array<int32_t, 3>;

std::vector<Triangle> split(const std::vector<float>& xyz, int32_t count) {
  std::vector<int32_t> indices(static_cast<size_t>(count));
  for (int32_t i = 0; i < count; ++i) indices[size_t(i)] = i;
  std::vector<Triangle> out;
  Polygon_Triangulate(count, indices.data(), xyz.data(), &out, [](void* c, int32_t a, int32_t b, int32_t d) {
    static_cast<std::vector<Triangle>*>(c)->push_back({a, b, d});
  });
  return out;
}

// An outline in the plane z = 0.
std::vector<float> outline(const std::vector<std::array<double, 2>>& xy) {
  std::vector<float> xyz;
  for (const auto& p : xy) xyz.insert(xyz.end(), {float(p[0]), float(p[1]), 0.0f});
  return xyz;
}

double signedArea(const std::vector<float>& xyz, const Triangle& t) {
  const float *a = &xyz[size_t(t[0]) * 3], *b = &xyz[size_t(t[1]) * 3], *c = &xyz[size_t(t[2]) * 3];
  return 0.5 * ((b[0] - a[0]) * (c[1] - a[1]) - (b[1] - a[1]) * (c[0] - a[0]));
}

double outlineArea(const std::vector<float>& xyz) {
  const size_t n = xyz.size() / 3;
  double s = 0.0;
  for (size_t i = 0; i < n; ++i) {
    const size_t j = (i + 1) % n;
    s += double(xyz[i * 3]) * xyz[j * 3 + 1] - double(xyz[j * 3]) * xyz[i * 3 + 1];
  }
  return 0.5 * s;
}

bool inside(const std::vector<float>& xyz, double x, double y) {
  const size_t n = xyz.size() / 3;
  bool in = false;
  for (size_t i = 0, j = n - 1; i < n; j = i++) {
    const double xi = xyz[i * 3], yi = xyz[i * 3 + 1], xj = xyz[j * 3], yj = xyz[j * 3 + 1];
    if ((yi > y) != (yj > y) && x < (xj - xi) * (y - yi) / (yj - yi) + xi) in = !in;
  }
  return in;
}

// The triangles tile the outline: as many as it needs, the same area, each inside it and
// wound as the outline is, unless the first corner is reflex, which reverses them all.
void expectTiling(const std::vector<float>& xyz, bool reversed) {
  const int32_t n = int32_t(xyz.size() / 3);
  const std::vector<Triangle> triangles = split(xyz, n);
  ASSERT_EQ(triangles.size(), size_t(n - 2));
  double total = 0.0;
  for (const Triangle& t : triangles) {
    const double a = signedArea(xyz, t);
    EXPECT_GT(reversed ? -a : a, 0.0);
    total += a;
    const double cx = (xyz[size_t(t[0]) * 3] + xyz[size_t(t[1]) * 3] + xyz[size_t(t[2]) * 3]) / 3.0;
    const double cy = (xyz[size_t(t[0]) * 3 + 1] + xyz[size_t(t[1]) * 3 + 1] + xyz[size_t(t[2]) * 3 + 1]) / 3.0;
    EXPECT_TRUE(inside(xyz, cx, cy)) << "triangle outside the outline";
  }
  EXPECT_NEAR(std::fabs(total), std::fabs(outlineArea(xyz)), 1e-6);
}

}  // namespace

TEST(Triangulate, TrianglesAndQuadsTakeTheShortPaths) {
  EXPECT_EQ(split(outline({{0, 0}, {1, 0}, {0, 1}}), 3), (std::vector<Triangle>{{0, 1, 2}}));
  EXPECT_TRUE(split(outline({{0, 0}, {1, 0}}), 2).empty());
  // A square is a tie and splits along c1-c3.
  EXPECT_EQ(split(outline({{0, 0}, {1, 0}, {1, 1}, {0, 1}}), 4), (std::vector<Triangle>{{0, 1, 3}, {1, 2, 3}}));
  // Concave quads split along the diagonal inside them, whichever corner is reflex.
  EXPECT_EQ(split(outline({{0, 0}, {2, -1}, {1, 0}, {2, 1}}), 4), (std::vector<Triangle>{{0, 1, 2}, {0, 2, 3}}));
  EXPECT_EQ(split(outline({{0, 0}, {1, 0.2}, {2, 0}, {1, 2}}), 4), (std::vector<Triangle>{{0, 1, 3}, {1, 2, 3}}));
}

TEST(Triangulate, EarClippingTilesConvexAndConcaveOutlines) {
  std::vector<std::array<double, 2>> hexagon;
  for (int i = 0; i < 6; ++i) hexagon.push_back({std::cos(i * M_PI / 3), std::sin(i * M_PI / 3)});
  expectTiling(outline(hexagon), false);
  // A comb with three teeth, counter-clockwise, starting at a convex corner.
  const std::vector<std::array<double, 2>> comb = {{0, 0}, {5, 0}, {5, 3}, {4, 3}, {4, 1}, {3, 1},
                                                   {3, 3}, {2, 3}, {2, 1}, {1, 1}, {1, 3}, {0, 3}};
  expectTiling(outline(comb), false);
  // The same comb begun at a reflex corner: only the first corner decides the order.
  std::vector<std::array<double, 2>> rotated(comb.begin() + 4, comb.end());
  rotated.insert(rotated.end(), comb.begin(), comb.begin() + 4);
  expectTiling(outline(rotated), true);
}

TEST(Triangulate, LoopEndsWhereNoEarIsFound) {
  // All corners in a line: no ears, and the last step still hands out one triangle.
  const auto line = split(outline({{0, 0}, {1, 0}, {2, 0}, {3, 0}, {4, 0}}), 5);
  EXPECT_EQ(line.size(), 1u);
  // A figure eight crosses itself: the clipper stops early, without repeating a triangle
  // or a corner.
  const auto eight = split(outline({{0, 0}, {2, 2}, {4, 0}, {4, 2}, {2, 0}, {0, 2}}), 6);
  EXPECT_LT(eight.size(), 4u);
  std::set<std::set<int32_t>> seen;
  for (const Triangle& t : eight) {
    EXPECT_EQ(std::set<int32_t>(t.begin(), t.end()).size(), 3u);
    EXPECT_TRUE(seen.insert({t[0], t[1], t[2]}).second);
  }
  // 1500 corners are split as if the outline ended at the 1024th.
  std::vector<std::array<double, 2>> circle;
  for (int i = 0; i < 1500; ++i) circle.push_back({std::cos(i * 2 * M_PI / 1500), std::sin(i * 2 * M_PI / 1500)});
  const auto many = split(outline(circle), 1500);
  EXPECT_EQ(many.size(), 1022u);
  for (const Triangle& t : many)
    for (int32_t corner : t) EXPECT_LT(corner, 1024);
}

TEST(PolygonPrep, NormalsOfOrdinaryAndDegeneratePolygons) {
  host::ObjectBuilder b("normals.lwo");
  auto p = [&](float x, float y, float z) { return b.addPoint(x, y, z); };
  // 0: a triangle facing -z (clockwise from the front, as the host draws them)
  b.addPolygon({p(0, 0, 0), p(0, 1, 0), p(1, 0, 0)}, "S");
  // 1: two corners only
  b.addPolygon({p(5, 5, 5), p(6, 5, 5)}, "S");
  // 2: a triangle with two equal points
  b.addPolygon({p(2, 0, 0), p(2, 0, 0), p(3, 1, 0)}, "S");
  // 3: a straight first corner in an outline that is not straight
  b.addPolygon({p(0, 0, 2), p(1, 0, 2), p(1, 1, 2), p(-1, 1, 2), p(-1, 0, 2)}, "S");
  p(9, 9, 9);  // a point of no polygon
  RayWorld world;
  const int item = world.addObject(std::make_shared<host::ObjectModel>(b.finish()), "normals");
  world.start();
  const CapturedObject* o = world.object(item);
  ASSERT_NE(o, nullptr);
  auto normal = [&](int q) { return std::array<float, 3>{o->polygonNormals[q * 3], o->polygonNormals[q * 3 + 1], o->polygonNormals[q * 3 + 2]}; };
  EXPECT_EQ(normal(0), (std::array<float, 3>{0, 0, -1}));
  EXPECT_EQ(normal(1), (std::array<float, 3>{0, 1, 0}));
  EXPECT_EQ(normal(2), (std::array<float, 3>{0, 1, 0}));
  EXPECT_NEAR(normal(3)[1], 0.0f, 1e-12);  // Newell's sum starts a hair above zero in y
  EXPECT_EQ(normal(3)[2], 1.0f);
  // The two-corner polygon adds nothing to its points, and the loose point faces up.
  for (int point : {3, 4, 13})
    EXPECT_EQ((std::array<float, 3>{o->pointNormals[point * 3], o->pointNormals[point * 3 + 1], o->pointNormals[point * 3 + 2]}),
              (std::array<float, 3>{0, 1, 0}));
}

TEST(PolygonPrep, SmoothingLimits) {
  host::ObjectBuilder b("limits.lwo");
  b.addBox({0, 0, 0}, {2, 2, 2}, "Box");
  b.addPlane({0, 5, 0}, 2, 2, 2, 2, "Plane");
  RayWorld world;
  const int item = world.addObject(std::make_shared<host::ObjectModel>(b.finish()), "limits");
  world.start();
  const CapturedObject* o = world.object(item);
  // A cube's corner (1, 1, 1) meets at right angles; the plane's centre is flat.
  int found = 0;
  for (int32_t i = 0; i < o->mesh->pointCount; ++i) {
    const float* k = o->keptPoints + i * 3;
    if (k[0] == 1 && k[1] == 1 && k[2] == 1) {
      ++found;
      EXPECT_FLOAT_EQ(o->smoothLimits[i], -0.0001f);
      for (int a = 0; a < 3; ++a) EXPECT_NEAR(o->pointNormals[i * 3 + a], 1 / std::sqrt(3.0), 1e-6);
    }
    if (k[0] == 0 && k[1] == 5 && k[2] == 0) {
      ++found;
      EXPECT_FLOAT_EQ(o->smoothLimits[i], float(0.99999 - 0.0001));
    }
  }
  EXPECT_EQ(found, 2);
}
