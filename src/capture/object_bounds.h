#pragma once
// Bounds of an object: the box that frames its voxel grid, a bounding sphere (the one test
// a ray makes before entering the grid) and a bounding ellipsoid. Only points that some
// polygon uses count.
#include "capture/item_transform.h"

struct CapturedMesh;
struct CapturedObject;

struct ObjectBounds {
  double sphereCentre[3];
  double sphereRadiusSquared;
  double ellipsoidCentre[3];
  // Rows are unit axes divided by their semi-axis lengths: p is inside when
  // |ellipsoidAxes x (p - ellipsoidCentre)|^2 <= 1.
  double ellipsoidAxes[9];
};

// Sets the object's grid box and inverseExtent from its keptPoints, and its localBounds.
void Object_ComputeBounds(CapturedObject* object);
// The fit over the used points of positions (3 floats per point).
void Bounds_Fit(const float* positions, int32_t count, const CapturedMesh* mesh, ObjectBounds* out);
// Carries bounds through a transform.
void Bounds_Transform(const ObjectBounds* source, const ItemTransform* transform, ObjectBounds* out);
