#pragma once
// What a ray needs of the scene's surroundings besides the objects: the fog and the source
// of its colour. The backdrop itself is never copied: a ray that misses asks the host.
#include <cstdint>

#include <lwimage.h>
#include <lwrender.h>

// Where the fog takes its colour from.
enum FogColorSource : int32_t {
  kFogNone = 0,
  kFogFromBackgroundImage = 1,
  kFogFromBackdrop = 2,
  kFogConstant = 3,
};

using BackdropFunction = void (*)(LWTime, const double ray[3], double color[3]);

struct CapturedEnvironment {
  double imageScaleX, imageScaleY;  // frame pixels to pixels of the compositing image
  double fogColor[3];               // x 255
  double fogColorRaw[3];            // as the host gives it; for change detection only
  double fogMinDistance, fogMaxDistance;
  double fogMinAmount, fogMaxAmount;
  double time;                      // handed to the backdrop
  double pixelX, pixelY;            // the camera sample's place in the frame, 0..1; -1 unset
  LWImageID backgroundImage;
  int32_t fogColorSource;           // FogColorSource
  int32_t imageWidth, imageHeight;  // 2..32000
  int32_t fogFlags;                 // bit 0: fog takes the background's colour
  int32_t fogType;                  // 0 none
  BackdropFunction backdropFunction;
};

// A record with no fog, as before a first capture.
void CapturedEnvironment_Init(CapturedEnvironment* environment);

// Refreshes the record at a time; true if anything that alters the picture changed.
bool CaptureEnvironment(double time, CapturedEnvironment* environment);

// The fog colour on a 0..255 scale for a camera ray, the position a fraction of the frame.
// (0, 5, 5) marks a query with no fog; it should never be seen.
void FogColorAtPixel(const CapturedEnvironment* environment, double pixelX, double pixelY,
                     const double direction[3], double color[3]);
// The same with frame pixels; secondary rays pass -1.0 twice.
void FogColorScaled(const CapturedEnvironment* environment, double x, double y, const double direction[3],
                    double color[3]);
// The fog amount at a distance along a ray.
double FogAmount(const CapturedEnvironment* environment, double distance);

// The host's backdrop along a direction under a guard: black for a fault and for the
// garbage the host may leave (red negative or at least 50000).
void hostBackdrop(BackdropFunction backdrop, double time, const double direction[3], double color[3]);
// The same through "LW Backdrop Info" as the module acquired it.
void sceneBackdrop(double time, const double direction[3], double color[3]);
