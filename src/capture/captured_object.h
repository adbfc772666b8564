#pragma once
// One host object as the renderer keeps it: transforms, bounds, voxel grid, kept points,
// normals, per-frame parameters, the LWMicropol template of its texture evaluations and
// its surfaces.
#include <cstdint>

#include <lwrender.h>
#include <lwtxtr.h>

#include "capture/captured_mesh.h"
#include "capture/captured_surface.h"
#include "capture/item_transform.h"
#include "capture/object_bounds.h"

struct CapturedObject {
  uint8_t head[32];  // unused
  ItemTransform transform;     // object to world at the capture's time
  ItemTransform shutterOpen;   // at the shutter's opening
  ItemTransform shutterClose;  // at the shutter's closing
  ObjectBounds localBounds;
  ObjectBounds worldBounds;
  // The voxel grid: countX x countY x countZ cell words, null for an empty cell, else the
  // address of the cell's block; cell (x, y, z) at (z x countY + y) x countX + x.
  void** cells;
  int32_t countX, countY, countZ;
  double gridMinX, gridMaxX, gridMinY, gridMaxY, gridMinZ, gridMaxZ;  // object space
  double inverseExtent[3];  // 1 / (max - min) per axis
  CapturedObject* next;
  CapturedObject* previous;
  LWItemID item;
  CapturedMesh* mesh;
  double dissolve;  // above 0.995 rays ignore the object
  double fogLevel;
  LWTextureID clipMap;
  double matteColor[3];
  uint32_t shadowOptions;
  uint32_t objectFlags;
  int32_t anyDoubleSided;
  float* keptPoints;      // 3 per point: the positions rays see, object space
  float* polygonNormals;  // 3 per polygon
  float* pointNormals;    // 3 per point
  float* smoothLimits;    // 1 per point
  double normalMatrix[9];         // transposed inverse of transform.matrix
  double normalMatrixInverse[9];  // its inverse
  double worldNormalMatrix[9];    // equal to normalMatrix
  LWMicropol micropol;
  CapturedSurface* surfaces;  // one per entry of the mesh's surface table
  int32_t gridBytes;  // a running statistic of cell memory; nobody reads it
  int32_t seen;       // mark of the update in progress
};

// The micropol's light and ray functions.
int MicropolIlluminate(LWItemID light, const LWDVector position, LWDVector direction, LWDVector color);
double MicropolRayCast(const LWDVector position, const LWDVector direction);

// Allocates the record and its mesh, its arrays, and the start values. Null on failure.
CapturedObject* Object_Create(LWItemID item);
// Reads the transform and per-frame parameters at a time; 1 if anything changed.
int Object_Read(CapturedObject* object, double time);
// Frees the object and all it owns: kept points, normals, limits, surfaces, grid, mesh.
void Object_Free(CapturedObject* object);
