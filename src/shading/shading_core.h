#pragma once
// Turns one ray into one colour. TraceSample finds the hit, samples its material, adds
// luminosity, ambient and direct light (ShadeDirect), then radiosity, reflection and
// refraction (ShadeBounce), and lays fog over the result.
//
// A path tracer with branching and a weight: each ray carries its share of the camera
// sample. A branch whose share is small is traced only with a probability proportional to
// that share and then counts 1/p times as much, so the cost of a sample falls with its
// importance and the mean stays right.
//
// Colours are doubles with 1.0 as full white; values above 1 pass through.
#include <atomic>
#include <cstdint>

#include <lwrender.h>

#include "capture/scene_capture.h"
#include "capture/shading_sample.h"
#include "rayengine/ray_hit.h"
#include "shading/captured_environment.h"
#include "shading/captured_light.h"

// The shared words of the Russian roulette: one for the bounces, one for the direct light's
// shadow rays. Threads may lose each other's updates; no result depends on the sequence.
extern std::atomic<uint32_t> bounceSeed;  // starts at 0x22d32f
extern std::atomic<uint32_t> directSeed;  // starts at 0xdf
double bounceUnit();
double directUnit();

// The colour seen along a ray, and the hit's distance (-1.0 for a miss, which gives the
// backdrop's colour). `lights` heads the list of prepared lights (by `next`), `ambient` is
// the scene's ambient colour, `ior` the index of the medium the ray is in, skipObject and
// skipPolygon the surface it leaves. `kind` is a ray kind (camera, reflection, radiosity),
// `depth` the bounces still allowed, (u, v) the camera sample's two numbers in 0..1, and
// `weight` the ray's share of the camera sample. `hit` may be null.
double TraceSample(SceneCapture* scene, CapturedLight* lights, double time, const double ambient[3],
                   const CapturedEnvironment* environment, const double origin[3], const double direction[3],
                   double ior, LWItemID skipObject, int32_t skipPolygon, int kind, int depth, double u, double v,
                   double weight, double color[3], RayHit* hit);

// Adds luminosity, ambient and every light at a hit to `color`. `view` points back along
// the ray.
void ShadeDirect(SceneCapture* scene, CapturedLight* lights, const double ambient[3], const double view[3],
                 const double point[3], const RayHit* hit, const ShadingSample* sample, double u, double v,
                 double weight, double color[3]);

// One light's share of ShadeDirect: an area or linear light over points of its emitter from
// (u, v), any other through LightResponse, with its shadow ray cast by chance when faint.
// `receives`: the hit's object takes shadows.
void ShadeLight(SceneCapture* scene, CapturedLight* light, const double view[3], const double point[3],
                const double normal[3], const RayHit* hit, const ShadingSample* sample, bool receives, double u,
                double v, double weight, double color[3]);
// Whether one light reaches the sample from the point (u, v) of its emitter: `lit` is the
// surface's response (diffuse and specular, or translucency from behind), to be multiplied
// by the light's colour; lightColor and shadowColor are the light's at the point.
bool LightResponse(const RayHit* hit, const ShadingSample* sample, const double view[3], const double point[3],
                   const double normal[3], CapturedLight* light, double u, double v, double weight, double lit[3],
                   double lightColor[3], double shadowColor[3]);

// Radiosity, reflection and refraction at a hit; overwrites `color`. `direction` is the
// incoming ray's.
void ShadeBounce(SceneCapture* scene, CapturedLight* lights, double time, const double ambient[3],
                 const CapturedEnvironment* environment, const RayHit* hit, const ShadingSample* sample,
                 const double direction[3], double ior, int depth, int kind, double u, double v, double weight,
                 double color[3]);
