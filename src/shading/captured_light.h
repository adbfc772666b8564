#pragma once
// The renderer's private copy of one host light at one moment, and what the shading asks of
// a light: its direction and colour at a point, whether something blocks it, and the loop
// over the surface of an area or linear light.
#include <cstdint>

#include <lwimage.h>
#include <lwrender.h>

#include "capture/shading_sample.h"
#include "rayengine/ray_hit.h"

struct SceneCapture;

struct CapturedLight {
  // The list that holds the record.
  CapturedLight* next;
  CapturedLight* previous;
  CapturedLight* nextInGroup;  // lights with, or lights without, shadows
  void* owner;                 // the preview that holds the record
  // The light proper.
  double position[3];
  double forward[3], right[3], up[3];  // orthonormal
  double emitterBase[3];  // first corner of an area light, one end of a linear one, else position
  double spanU[3], spanV[3];  // the emitter's sides; zero without extent, spanV zero for linear
  double spanUSquared, spanVSquared;
  double color[3];  // colour x intensity; doubled for linear and area lights
  double coneAngle, edgeAngle;  // radians
  double coneInnerCosine;       // cos(coneAngle - edgeAngle)
  double coneOuterCosine;       // cos(coneAngle)
  double range;                 // the falloff's nominal range, at least 1e-06
  int32_t kind;                 // LWLIGHT_DISTANT .. LWLIGHT_AREA
  int32_t shadowType;           // 0 no shadows, anything else ray-traced
  int32_t falloff;              // LWLFALL_*
  int32_t quality;              // at least 1
  int32_t qualityRaw;           // as the host gives it
  uint32_t flags;               // LWLFL_*: limited range, no diffuse, no specular
  LWItemID item;
  LWImageID projectionImage;    // spot projection, or 0
  double shadowColor[3];        // x intensity; doubled as color is; black where the host has none
  double falloffOffset;         // 1e-14, keeps the falloff divisions finite
  int32_t stale, changed, noShadows;  // marks of the preview's refresh
};

// Bits of CaptureLight's change mask: shadows and geometry (0 and 2), the light's shape (1),
// the shadow option (3), colour (4).
inline constexpr int kLightChangeShape = 0x2;
inline constexpr int kLightChangePlace = 0x5;
inline constexpr int kLightChangeEmitter = 0x7;
inline constexpr int kLightChangeShadowOption = 0x8;
inline constexpr int kLightChangeColor = 0x10;
inline constexpr int kLightChangeAll = 0xff;

// A record that has never been captured: the first capture reports everything as changed.
void CapturedLight_Init(CapturedLight* light);

// Reads the light from the host at a time; returns the change mask, 0 if nothing that
// matters changed.
int CaptureLight(LWItemID item, CapturedLight* light, double time);

// The light's direction (unit, towards the light) and colours at a point, for the point
// (lightU, lightV) of an area or linear emitter. Returns the distance, 1.0 for a distant
// light. May drop a projection image that the host no longer serves.
double LightSample(CapturedLight* light, const double point[3], double lightU, double lightV, double direction[3],
                   double lightColor[3], double shadowColor[3]);

// The light that reaches a point from (lightU, lightV) of the light, as a filter.
void LightShadow(SceneCapture* scene, const double point[3], LWItemID skipObject, int32_t skipPolygon,
                 const CapturedLight* light, double lightU, double lightV, float filter[3]);

// The same over eight points of an area or linear light, placed by the seed; one ray for
// other lights, none for a light behind the surface. `normal` may be null.
void LightShadowSoft(SceneCapture* scene, const double point[3], const double normal[3], LWItemID skipObject,
                     int32_t skipPolygon, const CapturedLight* light, uint32_t seed, float filter[3]);

// Adds an area or linear light's contribution at a hit to `color`, over 1 to 5 points of the
// emitter starting from (u, v), fewer for faint samples.
void ShadeAreaLight(SceneCapture* scene, const RayHit* hit, const ShadingSample* sample, const double view[3],
                    const double point[3], const double normal[3], CapturedLight* light, double u, double v,
                    int qualityLess1, double weight, double color[3]);

// Whether the host excludes an object from a light (or from radiosity); hosts before 7
// have no exclusion.
bool hostExcludes(LWItemID object, LWItemID light);
