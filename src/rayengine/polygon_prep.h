#pragma once
// From the host's polygons to what rays meet: polygon and point normals, the smoothing
// limits that spare most hits the search for a hard edge, and the split of a polygon of any
// size into triangles. Positions come from the caller (an object's keptPoints, not the
// mesh's base points). Arithmetic is in doubles; results are stored as floats.
#include <cstdint>

struct CapturedMesh;
struct CapturedObject;

// Polygons longer than this are split as if they ended at this vertex.
inline constexpr int kTriangulateMaxVertices = 1024;

// Unit normal of a polygon: the corner at its first vertex, or Newell's sum over the whole
// outline when that corner is too small or too straight; (0, 1, 0) when nothing works.
void Polygon_Normal(const CapturedMesh* mesh, int32_t polygon, const float* positions, float out[3]);

// Fills polygonNormals, pointNormals and smoothLimits from keptPoints.
void Object_ComputeNormals(CapturedObject* object);

// The normal at a point for one polygon: the sum of the normals of the point's polygons that
// lie within `cosine` of this polygon's normal, normalised.
void Point_SmoothNormal(const CapturedMesh* mesh, int32_t polygon, int32_t point, const float* polygonNormals,
                        double cosine, double out[3]);

// Receives each triangle as three point indices.
using TriangleCallback = void (*)(void* context, int32_t a, int32_t b, int32_t c);

// Splits a polygon into triangles: one for a triangle, the diagonal with the smaller larger
// half for a quad, ear clipping in the polygon's plane beyond that. A polygon in which no ear
// can be found (one that crosses itself, say) ends early and loses the triangles not found.
void Polygon_Triangulate(int32_t count, const int32_t* indices, const float* positions, void* context,
                         TriangleCallback callback);

// Heron's formula.
double TriangleArea(const float a[3], const float b[3], const float c[3]);

// Two unit vectors across a normal, so that (first, second, normal) is right-handed.
void TangentFrame(const double normal[3], double first[3], double second[3]);
