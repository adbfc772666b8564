// The grid walk against a brute-force list of the cells a ray crosses, and the nearest-hit
// query on scenes of boxes: ray kinds, dissolve, sides, the polygon a ray leaves, many objects.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "capture/captured_object.h"
#include "host/formats/lwo_builder.h"
#include "ray_world.h"
#include "rayengine/hit_shading.h"
#include "rayengine/ray_cast.h"

using namespace raytest;

namespace {

constexpr int kCounts[3] = {7, 5, 3};

std::vector<int> walk(const double origin[3], const double direction[3]) {
  static std::vector<void*> cells = [] {
    std::vector<void*> c(size_t(kCounts[0] * kCounts[1] * kCounts[2]));
    for (size_t i = 0; i < c.size(); ++i) c[i] = reinterpret_cast<void*>(i + 1);
    return c;
  }();
  std::vector<int> visited;
  WalkGrid(origin, direction, 0.0, -1.0, kCounts[0], kCounts[1], kCounts[2], nullptr,
           [](void* context, const void* cell) {
             static_cast<std::vector<int>*>(context)->push_back(int(reinterpret_cast<uintptr_t>(cell) - 1));
           },
           &visited, cells.data());
  return visited;
}

host::ObjectModel boxModel(double size, bool doubleSided = false) {
  host::ObjectBuilder b("box.lwo");
  b.addBox({0, 0, 0}, {float(size), float(size), float(size)}, "Box");
  if (doubleSided) b.surface("Box").sidedness = host::SideDouble;
  return b.finish();
}

}  // namespace

TEST(GridWalk, CellsInOrderAndTheWalksEdges) {
  // Through the cells' corners: one axis at a time, ties with z going to z, then ties
  // between x and y to y.
  const double corner[3] = {0.5, 0.5, 0.5}, diagonal[3] = {1, 1, 1};
  EXPECT_EQ(walk(corner, diagonal), (std::vector<int>{0, 35, 42, 43, 78, 85, 86}));
  // Along an axis the walk never steps on the others; a ray that misses the box visits
  // nothing; a ray from the far wall begins in the last cell.
  const double along[3] = {0.5, 2.5, 1.5}, plusX[3] = {1, 0, 0}, minusX[3] = {-1, 0, 0};
  EXPECT_EQ(walk(along, plusX), (std::vector<int>{49, 50, 51, 52, 53, 54, 55}));
  const double away[3] = {-1, -1, -1};
  EXPECT_TRUE(walk(away, minusX).empty());
  const double wall[3] = {7, 2.5, 1.5};
  EXPECT_EQ(walk(wall, minusX).front(), 55);

  double lower = 0.0, upper = 10.0;
  EXPECT_TRUE(ClipSlab(&lower, &upper, 0.0, -1.0, 2.0));
  EXPECT_FALSE(ClipSlab(&lower, &upper, 0.0, 0.0, 3.0));  // a zero direction on the wall
}

TEST(CastRay, RayKindsSkipTheRightObjects) {
  RayWorld world;
  const auto box = std::make_shared<host::ObjectModel>(boxModel(0.5));
  const int light = world.addLight("Light", {0, 10, 0});
  const int z = world.addObject(box, "Z", {{1, 0, 0}});
  const int a = world.addObject(box, "A", {{2, 0, 0}});
  const int b = world.addObject(box, "B", {{3, 0, 0}});
  const int c = world.addObject(box, "C", {{4, 0, 0}});
  const int d = world.addObject(box, "D", {{5, 0, 0}});
  world.addObject(box, "E", {{6, 0, 0}});
  host::Scene& s = world.scene();
  s.items[size_t(z)].object.dissolve = 1.0;
  s.items[size_t(a)].object.flags = host::ObjectUnseenByCamera | host::ObjectUnseenByRays;
  s.items[size_t(a)].object.shadowOptions = host::ShadowSelf | host::ShadowReceive;
  s.items[size_t(b)].object.flags = host::ObjectUnseenByRays;
  s.items[size_t(b)].object.shadowOptions = host::ShadowSelf | host::ShadowReceive;
  s.items[size_t(c)].object.excludedLights = {s.items[size_t(light)].id};
  s.items[size_t(d)].object.shadowOptions = host::ShadowCast | host::ShadowReceive;
  world.start();

  const double origin[3] = {0, 0.1, 0.05}, direction[3] = {1, 0, 0};
  const LWItemID lightId = world.itemId(light), dId = world.itemId(d);
  auto cast = [&](int kind, LWItemID skip, LWItemID exclude) {
    RayHit hit;
    const double t = CastRay(world.capture(), origin, direction, kind, skip, 3, exclude, -1.0, &hit);
    if (t > 0) {
      double p[3];
      HitWorldPoint(&hit, p);
      for (int k = 0; k < 3; ++k) EXPECT_NEAR(p[k], origin[k] + direction[k] * t, 1e-6);
    }
    return t;
  };
  EXPECT_NEAR(cast(kRayHostShader, nullptr, nullptr), 1.75, 1e-9);  // A: dissolved Z is gone
  EXPECT_NEAR(cast(kRayCamera, nullptr, nullptr), 2.75, 1e-9);      // B
  EXPECT_NEAR(cast(kRayReflection, nullptr, nullptr), 3.75, 1e-9);  // C
  EXPECT_NEAR(cast(kRayRadiosity, nullptr, nullptr), 3.75, 1e-9);
  EXPECT_NEAR(cast(kRayShadow, nullptr, nullptr), 3.75, 1e-9);    // A and B cast none
  EXPECT_NEAR(cast(kRayShadow, nullptr, lightId), 4.75, 1e-9);    // C excludes the light
  EXPECT_NEAR(cast(kRayShadow, dId, lightId), 5.75, 1e-9);        // D has no self shadow
  // A limit short of everything finds nothing.
  RayHit hit;
  EXPECT_EQ(CastRay(world.capture(), origin, direction, kRayHostShader, nullptr, -1, nullptr, 1.7, &hit), -1.0);
}

TEST(CastRay, SidesAndThePolygonARayLeaves) {
  for (bool doubleSided : {false, true}) {
    RayWorld world;
    const int item = world.addObject(std::make_shared<host::ObjectModel>(boxModel(2.0, doubleSided)), "box",
                                     {{0.5, -0.25, 2}, {0.4, 0.3, 0.2}, {1, 1, 1}});
    world.start();
    const double inside[3] = {0.5, -0.25, 2}, direction[3] = {0.6, 0.0, 0.8};
    RayHit hit;
    const double t = CastRay(world.capture(), inside, direction, kRayCamera, nullptr, -1, nullptr, -1.0, &hit);
    if (!doubleSided) {
      EXPECT_EQ(t, -1.0) << "a one-sided box is not seen from inside";
      continue;
    }
    ASSERT_GT(t, 0.99);
    EXPECT_EQ(hit.backSide, 1);
    double n[3];
    HitNormal(&hit, 0.999, n);
    EXPECT_LT(n[0] * direction[0] + n[1] * direction[1] + n[2] * direction[2], -0.5) << "the normal faces the ray";

    // Just behind that face, leaving through it: met at once, unless it is the polygon the
    // ray leaves.
    double p[3];
    HitWorldPoint(&hit, p);
    const double behind[3] = {p[0] - direction[0] * 1e-6, p[1] - direction[1] * 1e-6, p[2] - direction[2] * 1e-6};
    RayHit again;
    EXPECT_NEAR(CastRay(world.capture(), behind, direction, kRayCamera, world.itemId(item), -1, nullptr, -1.0, &again),
                1e-6, 1e-9);
    EXPECT_EQ(CastRay(world.capture(), behind, direction, kRayCamera, world.itemId(item), hit.polygon, nullptr, -1.0,
                      &again),
              -1.0);
  }
}

TEST(CastRay, EmptyScenesManyObjectsAndOffsets) {
  {
    RayWorld world;
    world.start();
    RayHit hit, before;
    std::memset(&hit, 0x5a, sizeof hit);
    before = hit;
    const double origin[3] = {0, 0, 0}, direction[3] = {0, 0, 1};
    EXPECT_EQ(CastRay(world.capture(), origin, direction, kRayCamera, nullptr, -1, nullptr, -1.0, &hit), -1.0);
    EXPECT_EQ(std::memcmp(&hit, &before, sizeof hit), 0);
  }
  {
    // More objects on the ray than the candidate list holds: it overflows quietly, and the
    // nearest object still wins.
    RayWorld world;
    const auto box = std::make_shared<host::ObjectModel>(boxModel(0.004));
    for (int i = 0; i < 600; ++i) world.addObject(box, "b" + std::to_string(i), {{2 + i * 0.01, 0, 0}});
    world.start();
    const double origin[3] = {0, 0.001, 0.001}, direction[3] = {1, 0, 0};
    RayHit hit;
    EXPECT_NEAR(CastRay(world.capture(), origin, direction, kRayCamera, nullptr, -1, nullptr, -1.0, &hit), 1.998, 1e-7);
  }
  double moved[3];
  const double zero[3] = {0, 0, 0}, far[3] = {3, 4, 0}, up[3] = {0, 1, 0};
  EXPECT_DOUBLE_EQ(RayOffset(zero, up, moved), 1e-10);
  EXPECT_DOUBLE_EQ(moved[1], 1e-10);
  EXPECT_DOUBLE_EQ(RayOffset(far, up, moved), 7.5e-07);
  EXPECT_DOUBLE_EQ(moved[1], 4.0 + 7.5e-07);
  EXPECT_DOUBLE_EQ(moved[0], 3.0);
}
