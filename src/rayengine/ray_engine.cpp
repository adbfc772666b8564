#include "rayengine/ray_engine.h"

#include "capture/geometry_ops.h"
#include "capture/scene_capture.h"
#include "rayengine/polygon_prep.h"
#include "rayengine/ray_cast.h"
#include "rayengine/voxel_grid.h"

double rayEngineMicropolRayCast(const double position[3], const double direction[3]) {
  if (!currentCapture) return -1.0;
  double start[3];
  const double offset = RayOffset(position, direction, start);
  RayHit hit;
  const double d = CastRay(currentCapture, start, direction, kRayHostShader, nullptr, -1, nullptr, -1.0, &hit);
  return d < 0.0 ? -1.0 : d + offset;
}

void rayEngineInstall() {
  captureGeometryOps.computeNormals = Object_ComputeNormals;
  captureGeometryOps.buildGrid = Grid_Build;
  captureGeometryOps.freeGrid = Grid_Free;
  captureGeometryOps.rayCast = rayEngineMicropolRayCast;
}
