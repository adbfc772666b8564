#pragma once
// Ray engine operations that capture needs but cannot link to, since the ray engine sits
// above it: normals and grids for new or reshaped objects, and a ray cast for the host's
// textures. The ray engine fills the table in at start-up; an empty entry does nothing.
struct CapturedObject;

struct CaptureGeometryOps {
  // Polygon normals, point normals and smoothing limits from keptPoints.
  void (*computeNormals)(CapturedObject* object);
  // Frees the old grid and builds a new one from keptPoints and the object's box.
  void (*buildGrid)(CapturedObject* object);
  // Frees every cell block and the cell array; cells becomes null.
  void (*freeGrid)(CapturedObject* object);
  // A host shader's ray cast on currentCapture (ray kind 4, no skip), the start moved off
  // its surface: the distance plus that offset, or -1.0 for a miss.
  double (*rayCast)(const double position[3], const double direction[3]);
};

extern CaptureGeometryOps captureGeometryOps;
