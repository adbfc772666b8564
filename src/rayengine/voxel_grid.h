#pragma once
// An object's voxel grid: a regular grid over its box in object space, whose cells hold
// ready-made copies of the triangles that overlap them. Moving an object never touches its
// grid; only moved points rebuild it, whole.
//
// A cell word is null for an empty cell, else the address of one block:
//   bytes 0..3   not used
//   bytes 4..7   number of triangles (i32)
//   from 8       CellTriangle records, ended by a record whose polygon is -1
#include <cstddef>
#include <cstdint>

struct CapturedObject;

struct CellTriangle {
  int32_t polygon;   // a negative value ends the cell's list
  float edgeA[3];    // vertexA - base: always the triangle's longest edge
  float edgeB[3];    // vertexB - base
  float base[3];     // position of vertexBase
  int32_t vertexA, vertexB, vertexBase;
};
static_assert(sizeof(CellTriangle) == 52);
static_assert(offsetof(CellTriangle, edgeA) == 4 && offsetof(CellTriangle, base) == 28 &&
              offsetof(CellTriangle, vertexA) == 40);

inline constexpr size_t kCellBlockHead = 8;

inline int32_t Cell_TriangleCount(const void* block) { return static_cast<const int32_t*>(block)[1]; }
inline const CellTriangle* Cell_Triangles(const void* block) {
  return reinterpret_cast<const CellTriangle*>(static_cast<const uint8_t*>(block) + kCellBlockHead);
}

// Frees the old grid and builds one from keptPoints, over the box that the object's bounds
// set. The resolution follows the polygon count and the box's proportions.
void Grid_Build(CapturedObject* object);
// Frees every cell block and the cell array; cells becomes null.
void Grid_Free(CapturedObject* object);

// The separating-axis test of a triangle against an axis-aligned box, in doubles. Touching
// counts as overlap. 1 if they overlap.
int TriangleBoxOverlap(const double centre[3], const double half[3], const double p0[3], const double p1[3],
                       const double p2[3]);

// The wanted number of polygons per cell for a mesh of n polygons.
double Grid_PolygonsPerCell(int32_t polygonCount);
// The resolution Grid_Build picks for a box of these extents and a polygon count.
void Grid_Resolution(int32_t polygonCount, double extentX, double extentY, double extentZ, int32_t counts[3]);
