#include "rayengine/voxel_grid.h"

#include <cmath>
#include <cstring>

#include "capture/captured_object.h"
#include "rayengine/polygon_prep.h"
#include "runtime/memory.h"

namespace {

// ---- Polygon lists per cell, while a grid is built ---------------------------------------
//
// A chain of zero-filled blocks of twelve words: polygon indices, -1 after the last, and -2 in
// word 10 when `next` carries on the list (word 11's address, kept at natural width here).
// The size of a cell's block of triangles can't be known before its polygons are, which is
// why the lists exist; most cells need one block.
struct PolygonCellList {
  int32_t word[12];
  PolygonCellList* next;
};

constexpr int32_t kListEnd = -1;
constexpr int32_t kListLink = -2;

PolygonCellList* newListBlock() { return static_cast<PolygonCellList*>(memAllocZero(sizeof(PolygonCellList))); }

void listAppend(PolygonCellList** head, int32_t polygon) {
  if (!*head) {
    PolygonCellList* block = newListBlock();
    block->word[0] = polygon;
    block->word[1] = kListEnd;
    *head = block;
    return;
  }
  PolygonCellList* block = *head;
  while (block->word[10] == kListLink) block = block->next;
  int i = 0;
  while (block->word[i] != kListEnd) ++i;
  if (i == 11) {
    // Full: the last entry moves on to a new block, and its word becomes the link.
    PolygonCellList* more = newListBlock();
    more->word[0] = block->word[10];
    more->word[1] = polygon;
    more->word[2] = kListEnd;
    block->word[10] = kListLink;
    block->next = more;
    return;
  }
  if (i != 0 && block->word[i - 1] == polygon) return;
  block->word[i] = polygon;
  block->word[i + 1] = kListEnd;
}

template <class Visit>
void listForEach(const PolygonCellList* block, Visit visit) {
  while (block) {
    for (int i = 0; i < 12; ++i) {
      const int32_t w = block->word[i];
      if (w == kListEnd) return;
      if (w == kListLink) break;
      visit(w);
    }
    block = block->word[10] == kListLink ? block->next : nullptr;
  }
}

void listFree(PolygonCellList* block) {
  while (block) {
    PolygonCellList* next = block->word[10] == kListLink ? block->next : nullptr;
    memFree(block);
    block = next;
  }
}

// ---- Cell build ---------------------------------------------------------------------------

struct CellBuild {
  const float* positions;
  double centre[3];
  double half[3];
  CellTriangle* records;
  int32_t count;
  int32_t polygon;
};

void widen(const float* positions, int32_t point, double out[3]) {
  const float* p = positions + size_t(point) * 3;
  out[0] = p[0];
  out[1] = p[1];
  out[2] = p[2];
}

void enterTriangle(void* context, int32_t a, int32_t b, int32_t c) {
  auto* build = static_cast<CellBuild*>(context);
  double pa[3], pb[3], pc[3];
  widen(build->positions, a, pa);
  widen(build->positions, b, pb);
  widen(build->positions, c, pc);
  if (!TriangleBoxOverlap(build->centre, build->half, pa, pb, pc)) return;

  auto length2 = [](const double* p, const double* q) {
    const double dx = p[0] - q[0], dy = p[1] - q[1], dz = p[2] - q[2];
    return dx * dx + dy * dy + dz * dz;
  };
  const double d13 = length2(pa, pc), d12 = length2(pa, pb), d23 = length2(pb, pc);
  // The longest edge becomes edgeA; the rotation keeps the triangle's winding.
  int32_t va, vb, vbase;
  const double *qa, *qb, *qbase;
  if (d23 >= d13 && d23 >= d12) {
    va = c, vb = a, vbase = b;
    qa = pc, qb = pa, qbase = pb;
  } else if (d13 >= d12) {
    va = a, vb = b, vbase = c;
    qa = pa, qb = pb, qbase = pc;
  } else {
    va = b, vb = c, vbase = a;
    qa = pb, qb = pc, qbase = pa;
  }
  CellTriangle& t = build->records[build->count++];
  t.polygon = build->polygon;
  for (int k = 0; k < 3; ++k) {
    t.edgeA[k] = float(qa[k] - qbase[k]);
    t.edgeB[k] = float(qb[k] - qbase[k]);
    t.base[k] = build->positions[size_t(vbase) * 3 + size_t(k)];
  }
  t.vertexA = va;
  t.vertexB = vb;
  t.vertexBase = vbase;
}

// gridBytes is a statistic nobody reads; it wraps rather than overflows.
void addGridBytes(CapturedObject* object, size_t bytes) {
  object->gridBytes = int32_t(uint32_t(object->gridBytes) + uint32_t(bytes));
}

void buildCell(CapturedObject* object, const PolygonCellList* list, int32_t x, int32_t y, int32_t z, void** cell) {
  const CapturedMesh* mesh = object->mesh;
  int64_t total = 0;
  listForEach(list, [&](int32_t polygon) { total += Mesh_PolygonSize(mesh, polygon) - 2; });
  if (total <= 0) return;

  const size_t bytes = size_t(total) * sizeof(CellTriangle);
  addGridBytes(object, bytes + sizeof(CellTriangle));
  auto* block = static_cast<uint8_t*>(memAlloc(bytes + kCellBlockHead + sizeof(CellTriangle)));
  if (!block) return;

  CellBuild build;
  build.positions = object->keptPoints;
  const double mins[3] = {object->gridMinX, object->gridMinY, object->gridMinZ};
  const double extents[3] = {object->gridMaxX - object->gridMinX, object->gridMaxY - object->gridMinY,
                             object->gridMaxZ - object->gridMinZ};
  const int32_t counts[3] = {object->countX, object->countY, object->countZ};
  const int32_t index[3] = {x, y, z};
  for (int k = 0; k < 3; ++k) {
    build.centre[k] = mins[k] + extents[k] * (index[k] + 0.5) * (1.0 / counts[k]);
    build.half[k] = extents[k] * 0.5 * (1.0 / counts[k]);
  }
  // Counted twice, as it always was; nothing reads the figure.
  addGridBytes(object, bytes + sizeof(CellTriangle));

  build.records = reinterpret_cast<CellTriangle*>(block + kCellBlockHead);
  build.count = 0;
  listForEach(list, [&](int32_t polygon) {
    build.polygon = polygon;
    Polygon_Triangulate(Mesh_PolygonSize(mesh, polygon), Mesh_PolygonVertices(mesh, polygon), object->keptPoints,
                        &build, enterTriangle);
  });
  build.records[build.count].polygon = -1;
  reinterpret_cast<int32_t*>(block)[0] = 0;
  reinterpret_cast<int32_t*>(block)[1] = build.count;
  if (build.count == 0) {
    memFree(block);
    return;
  }
  *cell = block;
}

inline void minMax(double a, double b, double& lo, double& hi) {
  lo = a < b ? a : b;
  hi = a < b ? b : a;
}

// One of the nine edge axes: the two projections that differ, against the box's radius.
inline bool separated(double p, double q, double radius) {
  double lo, hi;
  minMax(p, q, lo, hi);
  return lo > radius || hi < -radius;
}

// A grid index from a coordinate in grid units, the margin already added.
inline int32_t gridIndex(double value, int32_t count) {
  const double t = std::trunc(value);
  if (!(t > 0.0)) return 0;
  return t < double(count - 1) ? int32_t(t) : count - 1;
}

}  // namespace

double Grid_PolygonsPerCell(int32_t n) { return n >= 75001 ? 4.5 : n * 3.9 * 1.3333333333333333e-05 + 0.6; }

void Grid_Resolution(int32_t n, double ex, double ey, double ez, int32_t counts[3]) {
  counts[0] = counts[1] = counts[2] = 1;
  const double sum = ex + ey + ez;
  const double d = Grid_PolygonsPerCell(n);
  if (!(sum >= 1e-09) || n < d * 5.0) return;
  // The pad (0.03 as a float, widened) shapes the resolution only; the box stays.
  const double pad = 0.029999999329447746 * sum;
  ex += pad;
  ey += pad;
  ez += pad;
  const double k = std::pow(n / (d * 1.0 * ez * ex * ey), 0.333333333);
  const double extents[3] = {ex, ey, ez};
  for (int a = 0; a < 3; ++a) {
    const double c = std::trunc(extents[a] * k + 0.5);
    // The upper bound only keeps the conversion defined for absurd input.
    counts[a] = c >= 1.0 ? (c < 1e6 ? int32_t(c) : 1000000) : 1;
  }
}

void Grid_Build(CapturedObject* object) {
  const CapturedMesh* mesh = object->mesh;
  const int32_t n = mesh->polygonCount;
  Grid_Free(object);

  int32_t counts[3];
  Grid_Resolution(n, object->gridMaxX - object->gridMinX, object->gridMaxY - object->gridMinY,
                  object->gridMaxZ - object->gridMinZ, counts);
  object->countX = counts[0];
  object->countY = counts[1];
  object->countZ = counts[2];
  const size_t cellCount = size_t(counts[0]) * size_t(counts[1]) * size_t(counts[2]);
  object->cells = static_cast<void**>(memAllocZero(cellCount * sizeof(void*)));
  auto** lists = static_cast<PolygonCellList**>(memAllocZero(cellCount * sizeof(PolygonCellList*)));
  if (!object->cells || !lists) {
    memFree(lists);
    return;
  }

  const double mins[3] = {object->gridMinX, object->gridMinY, object->gridMinZ};
  double scale[3];
  for (int a = 0; a < 3; ++a) scale[a] = counts[a] * object->inverseExtent[a];
  const float* positions = object->keptPoints;
  for (int32_t q = 0; q < n; ++q) {
    const int32_t size = Mesh_PolygonSize(mesh, q);
    if (size <= 2) continue;
    const int32_t* vertices = Mesh_PolygonVertices(mesh, q);
    double lo[3] = {999999.0, 999999.0, 999999.0}, hi[3] = {-999999.0, -999999.0, -999999.0};
    for (int32_t i = 0; i < size; ++i) {
      const float* p = positions + size_t(vertices[i]) * 3;
      for (int a = 0; a < 3; ++a) {
        const double g = (p[a] - mins[a]) * scale[a];
        if (g < lo[a]) lo[a] = g;
        if (g > hi[a]) hi[a] = g;
      }
    }
    int32_t low[3], high[3];
    for (int a = 0; a < 3; ++a) {
      low[a] = gridIndex(lo[a] + -0.0012, counts[a]);
      high[a] = gridIndex(hi[a] + 0.0012, counts[a]);
    }
    for (int32_t z = low[2]; z <= high[2]; ++z)
      for (int32_t y = low[1]; y <= high[1]; ++y)
        for (int32_t x = low[0]; x <= high[0]; ++x)
          listAppend(&lists[(size_t(z) * counts[1] + size_t(y)) * counts[0] + size_t(x)], q);
  }

  object->gridBytes = 0;
  for (int32_t z = 0; z < counts[2]; ++z)
    for (int32_t y = 0; y < counts[1]; ++y)
      for (int32_t x = 0; x < counts[0]; ++x) {
        const size_t i = (size_t(z) * counts[1] + size_t(y)) * counts[0] + size_t(x);
        if (lists[i]) buildCell(object, lists[i], x, y, z, &object->cells[i]);
      }

  for (size_t i = 0; i < cellCount; ++i) listFree(lists[i]);
  memFree(lists);
}

void Grid_Free(CapturedObject* object) {
  if (object->cells) {
    const size_t cellCount = size_t(object->countX) * size_t(object->countY) * size_t(object->countZ);
    for (size_t i = 0; i < cellCount; ++i) memFree(object->cells[i]);
  }
  memFree(object->cells);
  object->cells = nullptr;
}

int TriangleBoxOverlap(const double centre[3], const double half[3], const double p0[3], const double p1[3],
                       const double p2[3]) {
  double v0[3], v1[3], v2[3], e0[3], e1[3], e2[3];
  for (int k = 0; k < 3; ++k) {
    v0[k] = p0[k] - centre[k];
    v1[k] = p1[k] - centre[k];
    v2[k] = p2[k] - centre[k];
  }
  for (int k = 0; k < 3; ++k) {
    e0[k] = v1[k] - v0[k];
    e1[k] = v2[k] - v1[k];
    e2[k] = v0[k] - v2[k];
  }
  enum { X = 0, Y = 1, Z = 2 };
  const double hx = half[X], hy = half[Y], hz = half[Z];

  // Cross products of the box axes with each edge. For each edge, the vertex left out is
  // the one whose projection equals another's.
  {
    const double fx = std::fabs(e0[X]), fy = std::fabs(e0[Y]), fz = std::fabs(e0[Z]);
    if (separated(e0[Z] * v0[Y] - e0[Y] * v0[Z], e0[Z] * v2[Y] - e0[Y] * v2[Z], fz * hy + fy * hz)) return 0;
    if (separated(-e0[Z] * v0[X] + e0[X] * v0[Z], -e0[Z] * v2[X] + e0[X] * v2[Z], fz * hx + fx * hz)) return 0;
    if (separated(e0[Y] * v1[X] - e0[X] * v1[Y], e0[Y] * v2[X] - e0[X] * v2[Y], fy * hx + fx * hy)) return 0;
  }
  {
    const double fx = std::fabs(e1[X]), fy = std::fabs(e1[Y]), fz = std::fabs(e1[Z]);
    if (separated(e1[Z] * v0[Y] - e1[Y] * v0[Z], e1[Z] * v2[Y] - e1[Y] * v2[Z], fz * hy + fy * hz)) return 0;
    if (separated(-e1[Z] * v0[X] + e1[X] * v0[Z], -e1[Z] * v2[X] + e1[X] * v2[Z], fz * hx + fx * hz)) return 0;
    if (separated(e1[Y] * v0[X] - e1[X] * v0[Y], e1[Y] * v1[X] - e1[X] * v1[Y], fy * hx + fx * hy)) return 0;
  }
  {
    const double fx = std::fabs(e2[X]), fy = std::fabs(e2[Y]), fz = std::fabs(e2[Z]);
    if (separated(e2[Z] * v0[Y] - e2[Y] * v0[Z], e2[Z] * v1[Y] - e2[Y] * v1[Z], fz * hy + fy * hz)) return 0;
    if (separated(-e2[Z] * v0[X] + e2[X] * v0[Z], -e2[Z] * v1[X] + e2[X] * v1[Z], fz * hx + fx * hz)) return 0;
    if (separated(e2[Y] * v1[X] - e2[X] * v1[Y], e2[Y] * v2[X] - e2[X] * v2[Y], fy * hx + fx * hy)) return 0;
  }

  // The box's own axes.
  for (int k = 0; k < 3; ++k) {
    double lo = v0[k], hi = v0[k];
    if (v1[k] < lo) lo = v1[k];
    if (v1[k] > hi) hi = v1[k];
    if (v2[k] < lo) lo = v2[k];
    if (v2[k] > hi) hi = v2[k];
    if (lo > half[k] || hi < -half[k]) return 0;
  }

  // The triangle's plane against the box's nearest and farthest corners along its normal.
  const double n[3] = {e0[Y] * e1[Z] - e0[Z] * e1[Y], e0[Z] * e1[X] - e0[X] * e1[Z], e0[X] * e1[Y] - e0[Y] * e1[X]};
  const double d = -(n[X] * v0[X] + n[Y] * v0[Y] + n[Z] * v0[Z]);
  double against = d, along = d;
  for (int k = 0; k < 3; ++k) {
    if (n[k] > 0.0) {
      against += n[k] * -half[k];
      along += n[k] * half[k];
    } else {
      against += n[k] * half[k];
      along += n[k] * -half[k];
    }
  }
  if (against > 0.0) return 0;
  return along >= 0.0 ? 1 : 0;
}
