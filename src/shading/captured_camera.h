#pragma once
// A thin-lens camera: turns a continuous pixel position and a point on the lens into a
// world-space ray, and is the source of the frame's size. All rays through one pixel meet
// at the focal distance, whatever the lens point.
//
// Pixel positions carry the sub-pixel shift of the lens set-up (0.5 for every caller): the
// frame's left edge lies at x = shift and its right edge at width + shift, and y runs the
// same way from the frame's top edge down.
#include <cstdint>

#include <lwrender.h>

struct CapturedCamera {
  // Derived from the current lens position by cameraSetLensOffset.
  double projX0, projX1, projY0, projY1, depth0;
  double position[3];
  double forward[3], right[3], up[3];  // orthonormal, world space
  double forwardAxis[3];               // forward, as the projection uses it
  double rightProj[3], upProj[3];      // right and up scaled for the projection
  double forwardView[3];               // forward again
  double rightView[3];                 // right x halfWidth
  double upView[3];                    // up x halfHeight
  double positionView[3];              // position . (forwardView, rightView, upView)
  double halfWidth;                    // image plane at unit distance, centre to edge
  double halfHeight;                   // 1 / zoom
  double blurLength;                   // -1000..1000
  double fStop;                        // at least 1e-10
  double focalDistance;
  double lensX, lensY;                 // current lens offset, already divided by fStop
  double pixelShiftX, pixelShiftY;
  LWItemID item;
  int32_t width, height;               // 4..16384
  double pixelAspect;                  // 0.0001..10000
  double frameAspect;                  // width / height
  double imageAspect;                  // pixelAspect x width / height
  double zoom;
  // The limited region as x0, x1, y0, y1 in pixels, x1 and y1 end-exclusive; y from the top.
  int32_t regionLimits[4];
  // The view volume: the region's left, right, top and bottom sides and the camera's own
  // plane, each as a unit normal and a distance. Normals point out of the volume, so a point
  // p is inside when normal . p - distance <= 0 for all five.
  double viewPlanes[5][4];
};

// Fills a record for a first capture: identity axes, a 640 x 480 frame, no lens offset.
void CapturedCamera_Init(CapturedCamera* camera);

// Refreshes the record from the host at a time. Returns the number of things that changed
// (each vector group and each of focal distance, f-stop and blur length that moved by more
// than 1e-08); 0 means the picture needs no restart.
int CaptureCamera(LWItemID item, double time, CapturedCamera* camera);

// Fixes the lens position for the rays that follow.
void cameraSetLensOffset(CapturedCamera* camera, double pixelShiftX, double pixelShiftY, double lensX,
                         double lensY);

// The ray through a continuous pixel position. `length` and `spotSize` may be null;
// `spotSize` (the pixel's footprint at unit distance) is written only with `length`.
void cameraPixelToRay(const CapturedCamera* camera, double x, double y, double origin[3], double direction[3],
                      double* length, double* spotSize);

// The blur radii of a world point in pixels, for the final render's depth of field.
void CircleOfConfusion(const CapturedCamera* camera, const double point[3], double* radiusX, double* radiusY);

// Projects a world point to a continuous pixel position; false for a point on or behind the
// camera's plane.
bool cameraPointToPixel(const CapturedCamera* camera, const double point[3], double* x, double* y);

// Makes three axes orthonormal in place. A zero axis is rebuilt from the others, one axis
// alone gives the other two, and three zero axes give the identity.
void orthonormalizeAxes(double right[3], double up[3], double forward[3]);
