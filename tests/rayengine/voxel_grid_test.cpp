// Voxel grids of captured objects: the resolution rule, and that every triangle of a cell
// overlaps it, checked against a clipping of the triangle by the cell.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <vector>

#include "capture/captured_object.h"
#include "host/formats/lwo_builder.h"
#include "ray_world.h"
#include "rayengine/voxel_grid.h"
#include "runtime/memory.h"

using namespace raytest;

namespace {

using Vec = std::array<double, 3>;

// Whether anything of the triangle is left after clipping it by the box grown by `margin`
// (negative: shrunk): a check that shares nothing with the separating-axis test.
bool clipsToSomething(const Vec& centre, const Vec& half, const std::array<Vec, 3>& triangle, double margin) {
  std::vector<Vec> polygon(triangle.begin(), triangle.end());
  for (int axis = 0; axis < 3; ++axis)
    for (double side : {-1.0, 1.0}) {
      const double limit = half[axis] + margin;
      auto outside = [&](const Vec& p) { return side * (p[axis] - centre[axis]) - limit; };
      std::vector<Vec> kept;
      for (size_t i = 0; i < polygon.size(); ++i) {
        const Vec& a = polygon[i];
        const Vec& b = polygon[(i + 1) % polygon.size()];
        const double da = outside(a), db = outside(b);
        if (da <= 0) kept.push_back(a);
        if ((da <= 0) != (db <= 0)) {
          const double t = da / (da - db);
          kept.push_back({a[0] + (b[0] - a[0]) * t, a[1] + (b[1] - a[1]) * t, a[2] + (b[2] - a[2]) * t});
        }
      }
      polygon.swap(kept);
      if (polygon.empty()) return false;
    }
  return true;
}

struct CellBox {
  Vec centre, half;
};

CellBox cellBox(const CapturedObject* o, int x, int y, int z) {
  const double mins[3] = {o->gridMinX, o->gridMinY, o->gridMinZ};
  const double ext[3] = {o->gridMaxX - o->gridMinX, o->gridMaxY - o->gridMinY, o->gridMaxZ - o->gridMinZ};
  const int counts[3] = {o->countX, o->countY, o->countZ}, index[3] = {x, y, z};
  CellBox box;
  for (int a = 0; a < 3; ++a) {
    box.centre[size_t(a)] = mins[a] + ext[a] * (index[a] + 0.5) / counts[a];
    box.half[size_t(a)] = ext[a] * 0.5 / counts[a];
  }
  return box;
}

Vec kept(const CapturedObject* o, int32_t point) {
  const float* p = o->keptPoints + size_t(point) * 3;
  return {p[0], p[1], p[2]};
}

// A triangle by its corners in cyclic order, so that rotations compare equal.
std::array<int32_t, 3> cyclic(int32_t a, int32_t b, int32_t c) {
  if (b < a && b < c) return {b, c, a};
  if (c < a && c < b) return {c, a, b};
  return {a, b, c};
}

using Key = std::pair<int32_t, std::array<int32_t, 3>>;  // polygon and corners

// Returns the most polygons any cell holds.
size_t expectOverlappingCells(const CapturedObject* o) {
  const double scale = o->mesh->diagonal;
  std::map<std::array<int, 3>, std::vector<Key>> content;
  for (int z = 0; z < o->countZ; ++z)
    for (int y = 0; y < o->countY; ++y)
      for (int x = 0; x < o->countX; ++x) {
        const void* block = o->cells[(size_t(z) * o->countY + y) * o->countX + x];
        if (!block) continue;
        const CellBox box = cellBox(o, x, y, z);
        EXPECT_GT(Cell_TriangleCount(block), 0) << "an empty cell keeps its block";
        const CellTriangle* t = Cell_Triangles(block);
        for (int32_t i = 0; i < Cell_TriangleCount(block); ++i, ++t) {
          const Vec a = kept(o, t->vertexA), b = kept(o, t->vertexB), base = kept(o, t->vertexBase);
          for (int k = 0; k < 3; ++k) {
            EXPECT_EQ(t->base[k], float(base[size_t(k)]));
            EXPECT_EQ(t->edgeA[k], float(a[size_t(k)] - base[size_t(k)]));
            EXPECT_EQ(t->edgeB[k], float(b[size_t(k)] - base[size_t(k)]));
          }
          auto length2 = [](const Vec& p, const Vec& q) {
            return (p[0] - q[0]) * (p[0] - q[0]) + (p[1] - q[1]) * (p[1] - q[1]) + (p[2] - q[2]) * (p[2] - q[2]);
          };
          EXPECT_GE(length2(a, base), length2(b, base));
          EXPECT_GE(length2(a, base), length2(a, b));
          EXPECT_TRUE(TriangleBoxOverlap(box.centre.data(), box.half.data(), a.data(), b.data(), base.data()));
          EXPECT_TRUE(clipsToSomething(box.centre, box.half, {a, b, base}, 1e-9 * scale));
          content[{x, y, z}].push_back({t->polygon, cyclic(t->vertexA, t->vertexB, t->vertexBase)});
        }
        EXPECT_EQ(t->polygon, -1);
      }
  // No triangle appears twice in a cell.
  size_t most = 0;
  for (auto& [cell, keys] : content) {
    std::sort(keys.begin(), keys.end());
    EXPECT_EQ(std::adjacent_find(keys.begin(), keys.end()), keys.end());
    std::vector<int32_t> polygons;
    for (const Key& k : keys) polygons.push_back(k.first);
    most = std::max(most, size_t(std::unique(polygons.begin(), polygons.end()) - polygons.begin()));
  }
  return most;
}

}  // namespace

TEST(VoxelGrid, ResolutionRule) {
  EXPECT_DOUBLE_EQ(Grid_PolygonsPerCell(0), 0.6);
  EXPECT_NEAR(Grid_PolygonsPerCell(75000), 4.5, 1e-12);
  EXPECT_DOUBLE_EQ(Grid_PolygonsPerCell(75001), 4.5);
  int32_t counts[3];
  Grid_Resolution(3, 1, 1, 1, counts);  // up to three polygons: one cell
  EXPECT_EQ(counts[0] * counts[1] * counts[2], 1);
  Grid_Resolution(100000, 1, 1, 1, counts);  // (1e5 / (4.5 x 1.09^3))^(1/3) x 1.09 = 28.1
  EXPECT_EQ(counts[0], 28);
  // A flat object's grid stays one cell thin.
  host::ObjectBuilder b("flat.lwo");
  b.addPlane({0, 0, 0}, 2, 2, 10, 10, "Flat");
  RayWorld world;
  const int item = world.addObject(std::make_shared<host::ObjectModel>(b.finish()), "flat");
  world.start();
  const CapturedObject* o = world.object(item);
  EXPECT_EQ(o->countY, 1);
  EXPECT_GT(o->countX, 5);
  EXPECT_EQ(o->countX, o->countZ);
}

TEST(VoxelGrid, EveryTriangleOfACellOverlapsIt) {
  RayWorld world;
  const int soup = world.addObject(soupModel(1500, 0.6f, 7), "soup");
  const int sphere = world.addObject(sphereModel(1.0f, 24, 12), "sphere", {{3, 0, 0}});
  const int torus = world.addObject(torusModel(1.0f, 0.3f, 16, 24), "torus", {{-3, 0, 0}});
  world.start();
  for (int item : {soup, sphere, torus}) {
    const CapturedObject* o = world.object(item);
    ASSERT_NE(o, nullptr);
    EXPECT_GT(o->countX * o->countY * o->countZ, 8);
    SCOPED_TRACE(item);
    // The soup's crowded cells need their polygon lists chained to a second block.
    EXPECT_GT(expectOverlappingCells(o), item == soup ? 11u : 0u);
  }
  // Freeing gives back every block.
  CapturedObject* o = world.object(soup);
  const int64_t before = memLiveBlocks();
  int64_t blocks = 1;
  for (int i = 0; i < o->countX * o->countY * o->countZ; ++i) blocks += o->cells[i] != nullptr;
  Grid_Free(o);
  EXPECT_EQ(o->cells, nullptr);
  EXPECT_EQ(memLiveBlocks(), before - blocks);
}

TEST(VoxelGrid, TriangleBoxOverlapAgreesWithClipping) {
  const Vec centre = {0.0, 0.0, 0.0}, half = {1.0, 0.5, 2.0};
  // Touching a face counts; a hair beyond does not.
  const Vec a = {1.0, 0.0, 0.0}, b = {3.0, 0.2, 0.0}, c = {3.0, -0.2, 0.5};
  EXPECT_TRUE(TriangleBoxOverlap(centre.data(), half.data(), a.data(), b.data(), c.data()));
  const Vec a2 = {1.0 + 1e-12, 0.0, 0.0};
  EXPECT_FALSE(TriangleBoxOverlap(centre.data(), half.data(), a2.data(), b.data(), c.data()));

  Random random(11);
  int overlaps = 0, separate = 0;
  for (int i = 0; i < 20000; ++i) {
    std::array<Vec, 3> t;
    const Vec middle = {random.range(-3, 3), random.range(-2, 2), random.range(-4, 4)};
    for (Vec& p : t)
      for (int k = 0; k < 3; ++k) p[size_t(k)] = middle[size_t(k)] + random.range(-1.5, 1.5);
    const bool grown = clipsToSomething(centre, half, t, 1e-9), shrunk = clipsToSomething(centre, half, t, -1e-9);
    if (grown != shrunk) continue;  // touching within rounding: either answer is right
    EXPECT_EQ(TriangleBoxOverlap(centre.data(), half.data(), t[0].data(), t[1].data(), t[2].data()) == 1, grown);
    (grown ? overlaps : separate)++;
  }
  EXPECT_GT(overlaps, 1000);
  EXPECT_GT(separate, 1000);
}
