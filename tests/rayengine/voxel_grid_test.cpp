// Voxel grids of captured objects: the resolution rule, and that every cell holds exactly
// the triangles that overlap it, checked against a clipping of each triangle by the cell.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <vector>

#include "capture/captured_object.h"
#include "host/formats/lwo_builder.h"
#include "ray_world.h"
#include "rayengine/polygon_prep.h"
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

// Every triangle of every polygon, as the grid's builder splits them.
std::vector<Key> allTriangles(const CapturedObject* o) {
  struct Sink {
    std::vector<Key>* out;
    int32_t polygon;
  };
  std::vector<Key> out;
  Sink sink{&out, 0};
  for (int32_t q = 0; q < o->mesh->polygonCount; ++q) {
    sink.polygon = q;
    Polygon_Triangulate(Mesh_PolygonSize(o->mesh, q), Mesh_PolygonVertices(o->mesh, q), o->keptPoints, &sink,
                        [](void* c, int32_t a, int32_t b, int32_t d) {
                          auto* s = static_cast<Sink*>(c);
                          s->out->push_back({s->polygon, cyclic(a, b, d)});
                        });
  }
  return out;
}

void expectExactCells(const CapturedObject* o) {
  const double scale = o->mesh->diagonal;
  std::map<std::array<int, 3>, std::vector<Key>> content;
  for (int z = 0; z < o->countZ; ++z)
    for (int y = 0; y < o->countY; ++y)
      for (int x = 0; x < o->countX; ++x) {
        const void* block = o->cells[(size_t(z) * o->countY + y) * o->countX + x];
        if (!block) continue;
        const CellBox box = cellBox(o, x, y, z);
        ASSERT_GT(Cell_TriangleCount(block), 0) << "an empty cell keeps its block";
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
  // No triangle is missing where it clearly overlaps a cell, and none appears twice.
  for (auto& [cell, keys] : content) {
    std::sort(keys.begin(), keys.end());
    EXPECT_EQ(std::adjacent_find(keys.begin(), keys.end()), keys.end());
  }
  for (const Key& key : allTriangles(o)) {
    const std::array<Vec, 3> corners = {kept(o, key.second[0]), kept(o, key.second[1]), kept(o, key.second[2])};
    // The cells around the triangle's box, one more on each side.
    int lo[3], hi[3];
    const double mins[3] = {o->gridMinX, o->gridMinY, o->gridMinZ};
    const int counts[3] = {o->countX, o->countY, o->countZ};
    for (int a = 0; a < 3; ++a) {
      double l = corners[0][size_t(a)], h = l;
      for (const Vec& p : corners) l = std::min(l, p[size_t(a)]), h = std::max(h, p[size_t(a)]);
      lo[a] = std::max(0, int((l - mins[a]) * counts[a] * o->inverseExtent[a]) - 1);
      hi[a] = std::min(counts[a] - 1, int((h - mins[a]) * counts[a] * o->inverseExtent[a]) + 1);
    }
    for (int z = lo[2]; z <= hi[2]; ++z)
      for (int y = lo[1]; y <= hi[1]; ++y)
        for (int x = lo[0]; x <= hi[0]; ++x) {
          const CellBox box = cellBox(o, x, y, z);
          if (!clipsToSomething(box.centre, box.half, corners, -1e-9 * scale)) continue;
          const auto& keys = content[{x, y, z}];
          EXPECT_TRUE(std::binary_search(keys.begin(), keys.end(), key))
              << "polygon " << key.first << " missing from cell " << x << "," << y << "," << z;
        }
  }
}

}  // namespace

TEST(VoxelGrid, ResolutionRule) {
  EXPECT_DOUBLE_EQ(Grid_PolygonsPerCell(0), 0.6);
  EXPECT_DOUBLE_EQ(Grid_PolygonsPerCell(75001), 4.5);
  EXPECT_NEAR(Grid_PolygonsPerCell(75000), 4.5, 1e-12);
  int32_t counts[3];
  Grid_Resolution(3, 1, 1, 1, counts);
  EXPECT_EQ(counts[0] * counts[1] * counts[2], 1);
  Grid_Resolution(100000, 1, 1, 1, counts);  // (1e5 / (4.5 x 1.09^3))^(1/3) x 1.09 = 28.1
  EXPECT_EQ(counts[0], 28);
  Grid_Resolution(100000, 2e-10, 2e-10, 2e-10, counts);  // too small a box for a grid
  EXPECT_EQ(counts[0] * counts[1] * counts[2], 1);

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

TEST(VoxelGrid, CellsHoldExactlyTheTrianglesThatOverlapThem) {
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
    expectExactCells(o);
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

TEST(VoxelGrid, PolygonInsideOneCellAndLongCellLists) {
  // A fan of 30 small triangles well inside one cell of a plane's grid: every triangle
  // lands in that cell alone, in polygon order, through a chain of list blocks.
  host::ObjectBuilder b("fan.lwo");
  b.addPlane({0, 0, 0}, 10, 10, 10, 10, "Plane");
  const uint32_t hub = b.addPoint(0.02f, 0.0f, -0.03f);
  std::vector<uint32_t> rim;
  for (int i = 0; i <= 30; ++i)
    rim.push_back(b.addPoint(float(0.02 + 0.05 * std::cos(i * 0.2)), 0.0f, float(-0.03 + 0.05 * std::sin(i * 0.2))));
  const uint32_t first = uint32_t(b.layer().polygons.size());
  for (int i = 0; i < 30; ++i) b.addPolygon({hub, rim[size_t(i) + 1], rim[size_t(i)]}, "Fan");
  RayWorld world;
  const int item = world.addObject(std::make_shared<host::ObjectModel>(b.finish()), "fan");
  world.start();
  const CapturedObject* o = world.object(item);
  std::vector<int32_t> found;
  int cellsWithFan = 0;
  for (int i = 0; i < o->countX * o->countY * o->countZ; ++i) {
    if (!o->cells[i]) continue;
    bool any = false;
    const CellTriangle* t = Cell_Triangles(o->cells[i]);
    for (; t->polygon >= 0; ++t)
      if (uint32_t(t->polygon) >= first) found.push_back(t->polygon), any = true;
    cellsWithFan += any;
  }
  EXPECT_EQ(cellsWithFan, 1);
  ASSERT_EQ(found.size(), 30u);
  for (int i = 0; i < 30; ++i) EXPECT_EQ(found[size_t(i)], int32_t(first) + i);
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
