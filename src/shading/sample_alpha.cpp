#include "shading/sample_alpha.h"

#include <algorithm>
#include <atomic>

#include "capture/scene_capture.h"
#include "rayengine/hit_shading.h"
#include "rayengine/ray_cast.h"
#include "shading/captured_light.h"
#include "runtime/vector_ops.h"

namespace {

// Places the soft shadows of ShadowDensity on area lights; shared and unlocked like the
// other sampling words.
std::atomic<uint32_t> densitySeed{0x2c1u};

// Surfaces an alpha ray looks through before it stops; coplanar layers could otherwise hand
// the ray back and forth.
constexpr int kAlphaMaxLayers = 64;

double sampleAlpha(double distance, const RayHit* hit, SceneCapture* capture, const double* origin,
                   const double* direction, CapturedLight* lights, int layer) {
  if (!(distance > 0.0)) return 0.0;
  if (!hit) return 1.0;
  const CapturedSurface* surface = HitSurface(hit);
  int mode = kAlphaUnaffected;
  if (!(hit->object->objectFlags & LWOBJF_UNSEEN_BY_ALPHA)) {
    mode = surface->alphaOptions;
    if (mode == kAlphaConstant) return surface->alphaValue;
  }
  const bool haveRay = origin && direction;
  if (mode == kAlphaUnaffected && !haveRay) mode = kAlphaOpacity;
  if (mode == kAlphaShadowDensity && !capture) mode = kAlphaOpacity;

  double a = 1.0, t = 1.0;
  if (mode != kAlphaUnaffected) {
    t = HitTransparency(hit);
    if (t < 0.999 && mode == kAlphaShadowDensity) {
      double start[3];
      if (haveRay) vec::copy(origin, start);
      else HitWorldPoint(hit, start);
      a = ShadowDensity(hit, start, capture, lights);
    }
    if (t < 0.001) return a;
  }
  if (!capture || !haveRay || layer >= kAlphaMaxLayers) return a * (1.0 - t);

  double point[3];
  HitWorldPoint(hit, point);
  RayHit next;
  const double d = CastRay(capture, point, direction, kRayCamera, hit->object->item, hit->polygon, nullptr, -1.0, &next);
  if (d > 1e-08)
    return a * (1.0 - t) + t * sampleAlpha(d, &next, capture, point, direction, lights, layer + 1);
  return a * (1.0 - t);
}

}  // namespace

double SampleAlpha(double distance, const RayHit* hit, SceneCapture* capture, const double* origin,
                   const double* direction, CapturedLight* lights) {
  return sampleAlpha(distance, hit, capture, origin, direction, lights, 0);
}

double ShadowDensity(const RayHit* hit, const double rayOrigin[3], SceneCapture* capture, CapturedLight* lights) {
  double sum = 1e-08, total = 1e-08;
  ShadingSample sample;
  ShadeHit(hit, rayOrigin, &sample);
  double normal[3];
  for (int k = 0; k < 3; ++k) normal[k] = sample.normal[k] * kNormalToUnit;
  vec::renormalize(normal);
  double point[3];
  HitWorldPoint(hit, point);
  for (CapturedLight* light = lights; light; light = light->next) {
    double direction[3], lightColor[3], shadowColor[3];
    LightSample(light, point, 0.5, 0.5, direction, lightColor, shadowColor);
    const double c = lightColor[0] + lightColor[1] + lightColor[2];
    if (!(c > 1e-06)) continue;
    const double w = vec::dot(normal, direction) * c;
    if (!(w > 1e-06)) continue;
    uint32_t seed = densitySeed.load(std::memory_order_relaxed);
    float f[3];
    LightShadowSoft(capture, point, normal, hit->object->item, hit->polygon, light, seed, f);
    densitySeed.store(seed * 0x29DDB2C5u + 0x26F5B947u, std::memory_order_relaxed);
    double passed = 0.0;
    for (int k = 0; k < 3; ++k) passed += std::clamp(double(f[k]), 0.0, 1.0);
    sum += w * (passed * 0.33333333);
    total += w;
  }
  return 1.0 - sum / total;
}
