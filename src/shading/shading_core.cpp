#include "shading/shading_core.h"

#include <algorithm>
#include <cmath>

#include "rayengine/hit_shading.h"
#include "rayengine/ray_cast.h"
#include "rayengine/shadow_transmission.h"
#include "runtime/random.h"
#include "shading/directions.h"
#include "shading/environment_lookup.h"
#include "shading/radiosity_settings.h"
#include "runtime/vector_ops.h"

std::atomic<uint32_t> bounceSeed{0x22d32fu};
std::atomic<uint32_t> directSeed{0xdfu};

namespace {

// The host's item id that stands for radiosity in exclusion lists.
const LWItemID kRadiosityItem = reinterpret_cast<LWItemID>(static_cast<uintptr_t>(0x21000000u));

constexpr double kFixedProduct = 1.52587890625e-05;  // 1/65536: two 8.8 values multiplied
constexpr double kTranslucencyProduct = 1.5318627450980392e-05;  // 1/(255 x 256)

// Draws a number in 0..1 on a shared word; a lost update between threads is harmless.
double drawOn(std::atomic<uint32_t>& seed) {
  uint32_t s = seed.load(std::memory_order_relaxed);
  const double r = fastUnit(&s);
  seed.store(s, std::memory_order_relaxed);
  return r;
}

double sampleColor(const ShadingSample* sample, int k) { return double(sample->color[k]); }

// Russian roulette on a branch of share p: the scale to count it with, or 0 to skip it.
double roulette(double p) {
  if (p >= 0.015) return 1.0;
  p *= 66.60000000000001;
  if (p < 1e-08) return 0.0;
  if (p <= bounceUnit()) return 0.0;
  return 1.0 / p;
}

}  // namespace

double bounceUnit() { return drawOn(bounceSeed); }
double directUnit() { return drawOn(directSeed); }

double TraceSample(SceneCapture* scene, CapturedLight* lights, double time, const double ambient[3],
                   const CapturedEnvironment* environment, const double origin[3], const double direction[3],
                   double ior, LWItemID skipObject, int32_t skipPolygon, int kind, int depth, double u, double v,
                   double weight, double color[3], RayHit* hit) {
  RayHit local;
  if (!hit) hit = &local;
  const double t = CastRay(scene, origin, direction, kind, skipObject, skipPolygon, nullptr, -1.0, hit);
  if (t < 0.0) {
    sceneBackdrop(time, direction, color);
    return -1.0;
  }

  ShadingSample sample;
  ShadeHit(hit, origin, &sample);
  double point[3];
  HitWorldPoint(hit, point);
  vec::set(color, 0.0, 0.0, 0.0);

  const double view[3] = {-direction[0], -direction[1], -direction[2]};
  // With radiosity the bounce takes the place of the ambient term, except where no bounce
  // is left to take it.
  const double black[3] = {0.0, 0.0, 0.0};
  const bool ambientHere = radiositySettings.type == kNoRadiosity || depth < 1;
  ShadeDirect(scene, lights, ambientHere ? ambient : black, view, point, hit, &sample, u, v, weight, color);

  double bounce[3];
  ShadeBounce(scene, lights, time, ambient, environment, hit, &sample, direction, ior, depth, kind, u, v, weight,
              bounce);
  vec::add(color, bounce, color);

  if (environment && environment->fogType != 0) {
    double fog[3];
    if (kind == kRayCamera) FogColorAtPixel(environment, environment->pixelX, environment->pixelY, direction, fog);
    else FogColorScaled(environment, -1.0, -1.0, direction, fog);
    const double keep = 1.0 - hit->object->fogLevel * FogAmount(environment, t);
    for (int k = 0; k < 3; ++k) color[k] = fog[k] * (1.0 - keep) * 0.00392156862745098 + color[k] * keep;
  }
  return t;
}

void ShadeDirect(SceneCapture* scene, CapturedLight* lights, const double ambient[3], const double view[3],
                 const double point[3], const RayHit* hit, const ShadingSample* sample, double u, double v,
                 double weight, double color[3]) {
  // Both the ambient and the luminosity are held back by the transparency.
  const double k = (1.0 - sample->transparency * kFixedToUnit) * kFixedProduct;
  for (int c = 0; c < 3; ++c)
    color[c] += sampleColor(sample, c) * (ambient[c] * sample->diffuse * k + sample->luminosity * k);

  double normal[3];
  ShadingSample_Normal(sample, normal);
  const bool receives = (hit->object->shadowOptions & LWOSHAD_RECEIVE) != 0;
  for (CapturedLight* light = lights; light; light = light->next)
    ShadeLight(scene, light, view, point, normal, hit, sample, receives, u, v, weight, color);
}

void ShadeLight(SceneCapture* scene, CapturedLight* light, const double view[3], const double point[3],
                const double normal[3], const RayHit* hit, const ShadingSample* sample, bool receives, double u,
                double v, double weight, double color[3]) {
  if (light->kind == LWLIGHT_LINEAR || light->kind == LWLIGHT_AREA) {
    ShadeAreaLight(scene, hit, sample, view, point, normal, light, u, v, light->quality - 1, weight, color);
    return;
  }
  double lit[3], lightColor[3], shadowColor[3];
  if (!LightResponse(hit, sample, view, point, normal, light, u, v, weight, lit, lightColor, shadowColor)) return;
  if (light->shadowType == 0 || !receives) {
    for (int c = 0; c < 3; ++c) color[c] += lit[c] * lightColor[c];
    return;
  }
  // Faint lights cast their shadow rays by chance, and count the more when they do.
  const double q = (vec::lengthSquared(lightColor) + vec::lengthSquared(shadowColor)) * weight * weight *
                       vec::lengthSquared(lit) +
                   1e-08;
  double s = 1.0;
  if (!(q > 0.00032399999999999996)) {
    const double p = std::sqrt(q) * 55.50000000000001;
    const double r = directUnit();
    if (p <= r || p < 1e-06) return;
    s = 1.0 / p;
  }
  float f[3];
  LightShadow(scene, point, hit->object->item, hit->polygon, light, 0.5, 0.5, f);
  for (int c = 0; c < 3; ++c) color[c] += lit[c] * s * ((1.0 - f[c]) * shadowColor[c] + lightColor[c] * f[c]);
}

bool LightResponse(const RayHit* hit, const ShadingSample* sample, const double view[3], const double point[3],
                   const double normal[3], CapturedLight* light, double u, double v, double weight, double lit[3],
                   double lightColor[3], double shadowColor[3]) {
  vec::set(lit, 0.0, 0.0, 0.0);
  if (hostExcludes(hit->object->item, light->item)) return false;
  double direction[3];
  LightSample(light, point, u, v, direction, lightColor, shadowColor);
  if ((vec::lengthSquared(lightColor) + vec::lengthSquared(shadowColor)) * weight * weight < 1.5023135628868456e-08)
    return false;

  const double opacity = 1.0 - sample->transparency * kFixedToUnit;
  double c = vec::dot(direction, normal);
  if (c <= 0.0) {
    // From behind: translucency only.
    if (light->flags & LWLFL_NO_DIFFUSE) return false;
    const double d = opacity * sample->translucency * -c * kTranslucencyProduct;
    for (int k = 0; k < 3; ++k) lit[k] = sampleColor(sample, k) * d;
    return d > 0.0;
  }

  if (!(light->flags & LWLFL_NO_DIFFUSE)) {
    const double sharpness = HitSurface(hit)->diffuseSharpness;
    if (sharpness > 0.0) {
      const double a = std::sqrt(sharpness) * 0.45 + 0.5;
      c = c / (1.0 + (1.0 / a - 2.0) * (1.0 - c));
    }
    const double d = opacity * sample->diffuse * kFixedProduct * c;
    for (int k = 0; k < 3; ++k) lit[k] = sampleColor(sample, k) * d;
  }

  if (sample->specularity != 0 && !(light->flags & LWLFL_NO_SPECULAR)) {
    double h[3];
    vec::add(direction, view, h);
    const double hn = vec::dot(h, normal);
    if (hn > 0.0) {
      const double e = std::pow(2.0, 10.0 * sample->glossiness + 2.0);
      const double m = std::sqrt(e) * 0.04 + 0.84;
      const double g = std::min(1.0, std::pow(hn * hn / vec::lengthSquared(h), e * 0.5) * m);
      const double gs = sample->specularity * kFixedToUnit * g;
      const double ch = HitSurface(hit)->colorHighlights;
      for (int k = 0; k < 3; ++k) lit[k] += gs * (sampleColor(sample, k) * ch * kFixedToUnit + 1.0 - ch);
    }
  }
  return true;
}

void ShadeBounce(SceneCapture* scene, CapturedLight* lights, double time, const double ambient[3],
                 const CapturedEnvironment* environment, const RayHit* hit, const ShadingSample* sample,
                 const double direction[3], double ior, int depth, int kind, double u, double v, double weight,
                 double color[3]) {
  vec::set(color, 0.0, 0.0, 0.0);
  const CapturedSurface* surface = HitSurface(hit);
  const int radType = radiositySettings.type;
  if (sample->reflectivity == 0 && sample->transparency == 0 && surface->additiveTransparency < 0.0001 &&
      radType == kNoRadiosity)
    return;

  double point[3], normal[3];
  HitWorldPoint(hit, point);
  ShadingSample_Normal(sample, normal);
  const LWItemID object = hit->object->item;
  const int32_t polygon = hit->polygon;

  const bool diffuseBounce = sample->diffuse != 0 && sample->transparency < 256;
  if (radType == kMonteCarloRadiosity && diffuseBounce && depth > 0 && !hostExcludes(object, kRadiosityItem)) {
    double w = sample->diffuse * (256.0 - sample->transparency) * kFixedProduct;
    int b;
    if (kind == kRayRadiosity) {
      b = depth - 1;
    } else {
      w *= radiositySettings.strength;
      b = int(radiositySettings.bounces - 0.5);
    }
    double n = w * weight * 10.0;
    int count = 0;
    if (n >= 1.0) {
      count = std::clamp(int(std::min(n, 1e9)), 1, 50);
      w /= count * 256.0;
    } else {
      if (n < 0.0001) n = 0.0001;
      if (n > bounceUnit()) {
        w /= 256.0 * n;
        count = 1;
      }
    }
    for (int i = 0; i < count; ++i) {
      double d[3], origin[3], traced[3];
      DiffuseDirection(normal, u, v, i, count, d);
      RayOffset(point, d, origin);
      TraceSample(scene, lights, time, ambient, environment, origin, d, ior, object, polygon, kRayRadiosity, b, v, u,
                  256.0 * weight * w, traced, nullptr);
      for (int k = 0; k < 3; ++k) color[k] += sampleColor(sample, k) * w * traced[k];
    }
  } else if (radType == kBackgroundRadiosity && diffuseBounce && !hostExcludes(object, kRadiosityItem)) {
    double w = sample->diffuse * (256.0 - sample->transparency) * radiositySettings.strength * kFixedProduct;
    double n = weight * w * 15.0;
    int count = 0;
    if (n >= 1.0) {
      count = int(std::clamp(n, 1.0, 50.0));
      w /= count * 256.0;
    } else {
      if (n < 0.001) n = 0.001;
      if (n > bounceUnit()) {
        w /= 256.0 * n;
        count = 1;
      }
    }
    for (int i = 0; i < count; ++i) {
      double d[3], origin[3];
      DiffuseDirection(normal, u, v, i, count, d);
      RayOffset(point, d, origin);
      float f[3];
      ShadowTransmission(scene, origin, d, object, polygon, nullptr, 0.0, f);
      if (double(f[0]) * f[0] + double(f[1]) * f[1] + double(f[2]) * f[2] > 1e-06) {
        double sky[3];
        SoftBackdrop(time, d, sky);
        for (int k = 0; k < 3; ++k) color[k] += sampleColor(sample, k) * w * sky[k] * f[k];
      } else {
        // A blocked direction still counts half the ambient, so corners never go black.
        for (int k = 0; k < 3; ++k) color[k] += sampleColor(sample, k) * (0.5 * w) * ambient[k];
      }
    }
  }

  const uint32_t renderOpts = scene ? scene->renderOpts : 0u;

  if (kind != kRayRadiosity && sample->reflectivity != 0) {
    const double r = sample->reflectivity;
    const double s = depth == 0 ? 1.0 : roulette(r * weight * kFixedToUnit);
    if (s > 0.0) {
      const double rw = r * s * kFixedToUnit;
      double mirror[3];
      ReflectDirection(direction, normal, mirror);
      vec::scale(mirror, -1.0, mirror);
      double reflected[3];
      bool missed = true;
      if ((surface->reflectionOptions & 1) && (renderOpts & LWROPT_REFLECTTRACE) && depth >= 1) {
        double d[3], origin[3];
        BlurDirection(mirror, normal, 0.19 * surface->reflectionBlurring, u, v, d);
        RayOffset(point, d, origin);
        const double t = TraceSample(scene, lights, time, ambient, environment, origin, d, ior, object, polygon,
                                     kRayReflection, depth - 1, v, u, weight * rw, reflected, nullptr);
        // A miss has the backdrop along d already.
        missed = false;
        if (t < 0.0 && surface->reflectionOptions >= 2) missed = true;
      }
      if (missed) {
        if (surface->reflectionOptions < 2) sceneBackdrop(time, mirror, reflected);
        else if (!surface->reflectionImage) vec::set(reflected, 0.0, 0.0, 0.0);
        else
          SphereMapLookup(surface->reflectionImage, surface->reflectionImageWidth, surface->reflectionImageHeight,
                          mirror, surface->reflectionSeamAngle, surface->reflectionBlurring, reflected);
      }
      const double ch = surface->colorHighlights;
      for (int k = 0; k < 3; ++k)
        color[k] += reflected[k] * (sampleColor(sample, k) * ch * kFixedToUnit + 1.0 - ch) * rw;
    }
  }

  double t = sample->transparency * kFixedToUnit;
  // The square is how additive transparency has always been weighed here.
  if (t < 1.0) t = (1.0 - t) * (1.0 - t) * surface->additiveTransparency + t;
  if (!(t > 0.0)) return;
  const double s = depth < 1 ? 1.0 : roulette(weight * t);
  if (s <= 0.0) return;
  t *= s;

  double newIor = (kind == kRayRadiosity || !(renderOpts & LWROPT_REFRACTTRACE)) ? ior : sample->ior * kIorToUnit;
  const double current = std::max(ior, 0.0001);
  double straight[3];
  if (RefractDirection(direction, normal, newIor / current, straight)) newIor = current;
  vec::scale(straight, -1.0, straight);

  double refracted[3];
  bool missed = true;
  if ((surface->refractionOptions & 1) && depth >= 1) {
    double d[3], origin[3];
    BlurDirection(straight, normal, 0.19 * surface->refractionBlurring, u, v, d);
    RayOffset(point, d, origin);
    const double dist = TraceSample(scene, lights, time, ambient, environment, origin, d, newIor, object, polygon,
                                    kind == kRayRadiosity ? kRayRadiosity : kRayReflection, depth - 1, v, u,
                                    weight * t, refracted, nullptr);
    missed = dist < 0.0;
  }
  if (missed) {
    // The unblurred direction, unlike reflection's miss: kept as it always was.
    if (surface->refractionOptions < 2) sceneBackdrop(time, straight, refracted);
    else if (!surface->refractionImage) vec::set(refracted, 0.0, 0.0, 0.0);
    else
      SphereMapLookup(surface->refractionImage, surface->refractionImageWidth, surface->refractionImageHeight,
                      straight, surface->refractionSeamAngle, surface->refractionBlurring, refracted);
  }
  const double cf = surface->colorFilter;
  for (int k = 0; k < 3; ++k) color[k] += refracted[k] * (sampleColor(sample, k) * cf * kFixedToUnit + 1.0 - cf) * t;
}
