#pragma once
// The alpha of a camera sample, from 0 to 1, by the host's alpha options of the surface it
// meets: unaffected by the surface, a constant value, the surface's opacity, or the density
// of the shadow the surface casts.
#include <cstdint>

#include "rayengine/ray_hit.h"

struct CapturedLight;
struct SceneCapture;

// The alpha options of a surface.
enum AlphaMode : int32_t {
  kAlphaUnaffected = 0,
  kAlphaConstant = 1,
  kAlphaOpacity = 2,
  kAlphaShadowDensity = 3,
};

// `distance` is the camera ray's hit distance (not positive for a miss). The capture, the
// ray (origin and direction) and the lights may each be null: without a ray an unaffected
// surface counts by its opacity, and without a capture nothing behind the surface is seen.
double SampleAlpha(double distance, const RayHit* hit, SceneCapture* capture, const double* origin,
                   const double* direction, CapturedLight* lights);

// How dark the shadow of a hit's surface is under the lights: 1 - the mean light that passes,
// weighed by how much each light gives.
double ShadowDensity(const RayHit* hit, const double rayOrigin[3], SceneCapture* capture, CapturedLight* lights);
