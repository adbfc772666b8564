#pragma once
// The nearest-hit query over a scene capture: objects are filtered by dissolve and ray kind,
// tested against their world bounding spheres, and walked through their grids in object
// space. Nothing here locks or allocates, except a clip map's evaluation, which the host's
// texture service allows one thread at a time.
#include <cstdint>

#include <lwrender.h>

#include "rayengine/ray_hit.h"
#include "rayengine/voxel_grid.h"

struct CapturedObject;
struct SceneCapture;

// The world distance of the nearest hit, or -1.0. The ray leaves polygon skipPolygon of the
// object whose item is skipObject (0 for none); a negative maxDistance means no limit. The
// hit is written only when the result is positive.
double CastRay(SceneCapture* scene, const double origin[3], const double direction[3], int kind, LWItemID skipObject,
               int32_t skipPolygon, LWItemID excludeLight, double maxDistance, RayHit* hit);

// The world distance of the nearest hit in one object between two world distances, or -1.0.
double IntersectObject(const double origin[3], const double direction[3], double lowerLimit, double upperLimit,
                       CapturedObject* object, int32_t skipPolygon, RayHit* hit);

// Moves a point off its surface along a direction by 1.5e-07 times its distance from the
// origin (at least 1e-10), since geometry is held in single precision. Returns that distance.
double RayOffset(const double point[3], const double direction[3], double result[3]);

// ---- The grid walk, open for tests and for other walks ------------------------------------

// Called once before the first cell with the steps (+1 or -1 per axis) and the walk's own
// current and stop indices; writing a stop shortens the walk.
using WalkStartCallback = void (*)(void* context, const int32_t steps[3], int32_t* indices, int32_t* stops);
// Called for every non-empty cell the ray passes, in order, with the cell's word.
using WalkCellCallback = void (*)(void* context, const void* cell);

// A three-dimensional digital differential analyser over a cell array, x running fastest.
// Origin and direction are in grid units, the limits in the ray's parameter. The walk ends
// only at a stop: it never looks at distances itself.
void WalkGrid(const double origin[3], const double direction[3], double lowerLimit, double upperLimit, int32_t countX,
              int32_t countY, int32_t countZ, WalkStartCallback startCallback, WalkCellCallback cellCallback,
              void* context, void* const* cells);

// Narrows [lower, upper] to the part of the ray (position = parameter x direction) inside the
// slab; false if none is. A zero direction passes only from strictly inside the slab.
bool ClipSlab(double* lower, double* upper, double direction, double slabLow, double slabHigh);

// One ray in one object.
struct GridWalk {
  double origin[3];     // object space
  double direction[3];  // unit, object space
  double best;          // object-space distance of the nearest accepted hit
  double candidate;     // the last triangle test's distance
  double u;             // and its coefficient of edgeB
  double v;             // and of edgeA
  int32_t skipPolygon;  // not to be tested, or -1
  RayHit* hit;          // the record being filled; its object is the walk's object
  int32_t step[3];
  int32_t* index;       // the walk's current x, y, z
  int32_t* stop;        // and its stops
  double gridOrigin[3];     // the ray in grid units, for finding a hit's cell
  double gridDirection[3];
};

// The two cell visits: triangles hit from the front only, or from either side (a back hit
// counting only where the polygon's surface is double-sided).
void VisitCellFront(void* walk, const void* cell);
void VisitCellBoth(void* walk, const void* cell);

// The triangle tests on one cell record. The first reports 1 for a front hit nearer than
// best; the second 1 for a front hit and 2 for a back hit. Both leave candidate, u and v.
int TestTriangleFront(GridWalk* walk, const CellTriangle* triangle);
int TestTriangleBoth(GridWalk* walk, const CellTriangle* triangle);

// After a cell gave a nearer hit: the walk goes on to the plane beyond the hit's cell on
// each axis and no further.
void ShrinkWalk(GridWalk* walk);

// 1 if the object's clip map cuts the candidate hit away (value above 0.5).
int ClipMapTest(const RayHit* candidate, const GridWalk* walk);
