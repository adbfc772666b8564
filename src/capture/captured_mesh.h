#pragma once
// One host object's topology and undeformed points, as flat index arrays with the lookups a
// ray tracer wants: polygon corners with prefix-sum ends, a surface and part per polygon,
// point-to-polygon lists, and the host's point ids back to indices.
#include <cstdint>

#include <lwmeshes.h>
#include <lwsurf.h>

#include "capture/byte_key_table.h"

// Surfaces per object; also the size of surfaceIds. One below it marks an unknown tag.
inline constexpr int kMaxMeshSurfaces = 1024;
inline constexpr uint16_t kUnknownNameIndex = 0x3ff;

struct CapturedMesh {
  int32_t pointCount;
  int32_t polygonCount;    // FACE polygons only
  int32_t vertexRefCount;  // sum of polygon sizes
  float* points;           // 3 per point, object space
  double boxMinX, boxMaxX, boxMinY, boxMaxY, boxMinZ, boxMaxZ;
  double diagonal;
  int32_t* polygonPoints;        // per vertex reference
  int32_t* polygonEnds;          // per polygon, exclusive end in polygonPoints
  int32_t* pointPolygonCounts;   // per point: polygon corners that use it
  int32_t** pointPolygonLists;   // per point: start of its polygons in pointPolygonStorage
  int32_t* pointPolygonStorage;  // per vertex reference
  uint16_t* polygonSurface;      // index into surfaceNames, or kUnknownNameIndex
  char* surfaceNameStorage;
  char** surfaceNames;
  int32_t surfaceCount;
  uint16_t* polygonPart;  // index into partNames, or kUnknownNameIndex
  char* partNameStorage;
  char** partNames;
  int32_t partCount;
  ByteKeyTable* pointIndex;  // LWPntID (pointer-width key) to index (4-byte value)
  LWPntID* pointIds;
  LWPolID* polygonIds;
  int32_t scanIndex;
  LWMeshInfoID meshInfo;  // held only while the mesh is being read
  LWItemID item;
  LWSurfaceID surfaceIds[kMaxMeshSurfaces];
};

// Reads the item's mesh. An old mesh of the same shape is kept and only its points read
// again; one of another shape is freed. On failure returns null and *error = 2, else 0.
CapturedMesh* Mesh_Create(CapturedMesh* old, LWItemID item, int* error);
// 1 if the host's point and polygon counts of the item equal the mesh's.
int Mesh_SameShape(const CapturedMesh* mesh, LWItemID item);
void Mesh_Destroy(CapturedMesh* mesh);  // null is allowed

inline int32_t Mesh_PointCount(const CapturedMesh* mesh) { return mesh->pointCount; }
inline int32_t Mesh_PolygonCount(const CapturedMesh* mesh) { return mesh->polygonCount; }
inline int32_t Mesh_SurfaceCount(const CapturedMesh* mesh) { return mesh->surfaceCount; }
inline float* Mesh_Points(const CapturedMesh* mesh) { return mesh->points; }
inline int32_t Mesh_PolygonStart(const CapturedMesh* mesh, int32_t polygon) {
  return polygon == 0 ? 0 : mesh->polygonEnds[polygon - 1];
}
inline int32_t Mesh_PolygonSize(const CapturedMesh* mesh, int32_t polygon) {
  return mesh->polygonEnds[polygon] - Mesh_PolygonStart(mesh, polygon);
}
inline const int32_t* Mesh_PolygonVertices(const CapturedMesh* mesh, int32_t polygon) {
  return mesh->polygonPoints + Mesh_PolygonStart(mesh, polygon);
}
inline const int32_t* Mesh_PointPolygons(const CapturedMesh* mesh, int32_t point, int32_t* count) {
  *count = mesh->pointPolygonCounts[point];
  return mesh->pointPolygonLists[point];
}
// 0 means no polygon uses the point; bounds and smoothing ignore such points.
inline int32_t Mesh_PointPolygonCount(const CapturedMesh* mesh, int32_t point) {
  return mesh->pointPolygonCounts[point];
}
// The index of a host point id; 0 if the mesh doesn't know it.
int32_t Mesh_PointOf(const CapturedMesh* mesh, LWPntID point);
inline LWPntID Mesh_PointId(const CapturedMesh* mesh, int32_t index) { return mesh->pointIds[index]; }
inline LWPolID Mesh_PolygonId(const CapturedMesh* mesh, int32_t index) { return mesh->polygonIds[index]; }
inline uint16_t Mesh_PolygonSurfaceIndex(const CapturedMesh* mesh, int32_t polygon) {
  return mesh->polygonSurface[polygon];
}
inline LWSurfaceID Mesh_PolygonSurfaceId(const CapturedMesh* mesh, int32_t polygon) {
  return mesh->surfaceIds[mesh->polygonSurface[polygon]];
}
inline LWSurfaceID Mesh_SurfaceId(const CapturedMesh* mesh, int32_t index) { return mesh->surfaceIds[index]; }
