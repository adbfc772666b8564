#include "shading/captured_light.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "capture/scene_capture.h"
#include "rayengine/shadow_transmission.h"
#include "runtime/global_services.h"
#include "shading/captured_camera.h"
#include "shading/shading_core.h"
#include "runtime/vector_ops.h"

namespace {

constexpr double kChangeTolerance = 1e-08;
constexpr double kDegrees = 0.017453292519943295;

bool storeVector(double field[3], const double value[3]) {
  const bool changed = vec::differs(field, value, kChangeTolerance);
  vec::copy(value, field);
  return changed;
}

bool itemActive(LWItemID item) {
  const LWItemInfo* items = globalServices.itemInfo;
  if (!items || !items->flags) return true;
  try {
    return (items->flags(item) & LWITEMF_ACTIVE) != 0;
  } catch (...) {
    return true;
  }
}

void readParam(LWItemID item, LWItemParam which, double time, double out[3]) {
  out[0] = out[1] = out[2] = 0.0;
  if (const LWItemInfo* items = globalServices.itemInfo) {
    try {
      items->param(item, which, time, out);
    } catch (...) {
    }
  }
}

// An emitter side of squared length below this is replaced by a tiny one along its axis.
constexpr double kShortSide = 1e-10;

// Both older and newer tables begin the same way up to the spot angles.
const LWLightInfoV2* olderTable() { return globalServices.lightInfo; }
const LWLightInfo* newerTable() { return globalServices.lightInfo3; }

void shadowFilterOne(float filter[3]) { filter[0] = filter[1] = filter[2] = 1.0f; }

bool shadowsOff(SceneCapture* scene, const CapturedLight* light) {
  return light->shadowType == 0 || !scene || !(scene->renderOpts & LWROPT_SHADOWTRACE);
}

// The direction and the distance of a shadow ray from a point towards the light.
double shadowDirection(const CapturedLight* light, const double point[3], double lightU, double lightV,
                       double direction[3]) {
  if (light->kind == LWLIGHT_DISTANT) {
    vec::scale(light->forward, -1.0, direction);
    return 0.0;  // no limit
  }
  double target[3];
  if (light->kind == LWLIGHT_LINEAR || light->kind == LWLIGHT_AREA) {
    for (int k = 0; k < 3; ++k)
      target[k] = light->emitterBase[k] + light->spanU[k] * lightU + light->spanV[k] * lightV;
  } else {
    vec::copy(light->position, target);
  }
  vec::sub(target, point, direction);
  const double length = vec::length(direction);
  if (length > 0.0) {
    vec::scale(direction, 1.0 / length, direction);
    return length;
  }
  vec::set(direction, 0.0, 1.0, 0.0);
  return 0.0;
}

double frac(double x) { return x - std::floor(x); }

}  // namespace

bool hostExcludes(LWItemID object, LWItemID light) {
  if (globalServices.hostVersion.major <= 6) return false;
  const LWObjectInfo* info = globalServices.objectInfo;
  if (!info || !info->excluded) return false;
  try {
    return info->excluded(object, light) != 0;
  } catch (...) {
    return false;
  }
}

void CapturedLight_Init(CapturedLight* light) {
  std::memset(light, 0, sizeof *light);
  light->kind = -1;
  vec::set(light->right, 1.0, 0.0, 0.0);
  vec::set(light->up, 0.0, 1.0, 0.0);
  vec::set(light->forward, 0.0, 0.0, 1.0);
  light->quality = light->qualityRaw = 1;
  light->range = 1.0;
  light->falloffOffset = 1e-14;
}

int CaptureLight(LWItemID item, CapturedLight* light, double time) {
  CapturedLight* l = light;
  const LWLightInfoV2* older = olderTable();
  const LWLightInfo* newer = newerTable();
  int mask = 0;
  l->item = item;

  int kind = l->kind;
  try {
    if (newer) kind = newer->type(item);
    else if (older) kind = older->type(item);
  } catch (...) {
  }
  if (kind != l->kind) {
    const bool shapeOnly = kind == LWLIGHT_POINT ||
                           (kind == LWLIGHT_SPOT && (l->kind == LWLIGHT_POINT || l->kind == LWLIGHT_SPOT));
    mask = shapeOnly ? kLightChangeShape : kLightChangeAll;
    l->kind = kind;
  }

  double position[3], right[3], up[3], forward[3];
  readParam(item, LWIP_W_POSITION, time, position);
  readParam(item, LWIP_RIGHT, time, right);
  readParam(item, LWIP_UP, time, up);
  readParam(item, LWIP_FORWARD, time, forward);
  if (!item) {
    vec::set(right, 1.0, 0.0, 0.0);
    vec::set(up, 0.0, 1.0, 0.0);
    vec::set(forward, 0.0, 0.0, 1.0);
  }
  // The raw axes carry the item's scale: an area light's size, a linear light's length.
  double rawRight[3], rawUp[3], rawForward[3];
  vec::copy(right, rawRight);
  vec::copy(up, rawUp);
  vec::copy(forward, rawForward);
  orthonormalizeAxes(right, up, forward);
  if (storeVector(l->position, position) && kind != LWLIGHT_DISTANT) mask |= kLightChangePlace;
  const bool rightChanged = storeVector(l->right, right);
  const bool upChanged = storeVector(l->up, up);
  vec::copy(forward, l->forward);
  if (rightChanged || upChanged) {
    if (kind == LWLIGHT_SPOT) mask |= kLightChangeShape;
    else if (kind == LWLIGHT_DISTANT) mask |= kLightChangePlace;
    else if (kind == LWLIGHT_LINEAR || kind == LWLIGHT_AREA) mask |= kLightChangeEmitter;
  }

  const bool active = globalServices.hostVersion.major <= 6 || itemActive(item);
  double color[3] = {0.0, 0.0, 0.0};
  unsigned int flags = l->flags;
  int shadowType = l->shadowType;
  try {
    if (newer) {
      newer->color(item, time, color);
      flags = newer->flags(item);
      shadowType = newer->shadowType(item);
    } else if (older) {
      older->color(item, time, color);
      flags = older->flags(item);
      shadowType = older->shadowType(item);
    }
  } catch (...) {
  }
  const double colorScale = (kind == LWLIGHT_LINEAR || kind == LWLIGHT_AREA) ? 2.0 : 1.0;
  for (int k = 0; k < 3; ++k) color[k] = active ? color[k] * colorScale : 0.0;
  double d[3];
  vec::sub(color, l->color, d);
  if (vec::lengthSquared(d) > 0.0001) mask |= kLightChangeColor;
  vec::copy(color, l->color);
  if (flags != l->flags || shadowType != l->shadowType) mask |= kLightChangeShadowOption;
  l->flags = flags;
  l->shadowType = shadowType;
  l->falloffOffset = 1e-14;

  if (!newer) {
    double range = l->range;
    try {
      if (older) range = older->range(item);
    } catch (...) {
    }
    l->range = range;
    l->qualityRaw = 3;
    l->quality = 2;
    l->falloff = LWLFALL_OFF;
    vec::set(l->shadowColor, 0.0, 0.0, 0.0);
    l->projectionImage = nullptr;
  } else {
    int quality = l->qualityRaw, falloff = l->falloff;
    double range = l->range;
    LWImageID image = l->projectionImage;
    double shadowColor[3] = {0.0, 0.0, 0.0};
    try {
      quality = newer->quality(item, time);
      image = newer->projImage(item);
      falloff = newer->falloff(item);
      range = newer->range(item, time);
      if (globalServices.hostVersion.build >= 0x23b && active && newer->shadowColor) {
        newer->shadowColor(item, time, shadowColor);
        const double intensity = newer->intensity(item, time);
        vec::scale(shadowColor, intensity, shadowColor);
      }
    } catch (...) {
    }
    l->qualityRaw = quality;
    l->quality = std::max(quality, 1);
    if (image != l->projectionImage) mask |= kLightChangeShape;
    l->projectionImage = image;
    if (falloff != l->falloff || range != l->range) mask |= kLightChangeShape;
    l->falloff = falloff;
    l->range = range;
    vec::copy(shadowColor, l->shadowColor);
  }
  if (l->range < 1e-06) l->range = 1e-06;

  switch (kind) {
    case LWLIGHT_AREA: {
      vec::scale(l->shadowColor, 2.0, l->shadowColor);
      double spanU[3], spanV[3];
      vec::copy(rawRight, spanU);
      vec::copy(rawUp, spanV);
      if (vec::lengthSquared(spanU) < kShortSide) {
        vec::scale(right, 1e-08, spanU);
        // The second side is replaced only when the first was short, and otherwise takes the
        // first side's squared length: that is how this renderer has always measured it.
        if (vec::lengthSquared(spanU) < kShortSide) vec::scale(up, 1e-08, spanV);
      }
      const double uSquared = vec::lengthSquared(spanU);
      const double vSquared = uSquared;
      if (uSquared != l->spanUSquared || vSquared != l->spanVSquared) mask |= kLightChangeEmitter;
      vec::copy(spanU, l->spanU);
      vec::copy(spanV, l->spanV);
      l->spanUSquared = uSquared;
      l->spanVSquared = vSquared;
      for (int k = 0; k < 3; ++k) l->emitterBase[k] = l->position[k] - 0.5 * (spanU[k] + spanV[k]);
      break;
    }
    case LWLIGHT_LINEAR: {
      vec::scale(l->shadowColor, 2.0, l->shadowColor);
      double spanU[3];
      vec::copy(rawForward, spanU);
      if (vec::lengthSquared(spanU) < kShortSide) vec::scale(forward, 1e-08, spanU);
      const double uSquared = vec::lengthSquared(spanU);
      if (uSquared != l->spanUSquared || l->spanVSquared != 0.0) mask |= kLightChangeEmitter;
      vec::copy(spanU, l->spanU);
      vec::set(l->spanV, 0.0, 0.0, 0.0);
      l->spanUSquared = uSquared;
      l->spanVSquared = 0.0;
      for (int k = 0; k < 3; ++k) l->emitterBase[k] = l->position[k] - 0.5 * spanU[k];
      break;
    }
    default: {
      vec::set(l->spanU, 0.0, 0.0, 0.0);
      vec::set(l->spanV, 0.0, 0.0, 0.0);
      l->spanUSquared = l->spanVSquared = 0.0;
      vec::copy(l->position, l->emitterBase);
      if (kind != LWLIGHT_SPOT) break;
      double cone = l->coneAngle, edge = l->edgeAngle;
      try {
        if (newer) {
          newer->coneAngles(item, time, &cone, &edge);
        } else if (older) {
          older->coneAngles(item, &cone, &edge);
          cone *= kDegrees;
          edge *= kDegrees;
        }
      } catch (...) {
      }
      edge = std::max(edge, 1e-05);
      cone = std::max(cone, edge + 1e-07);
      if (cone != l->coneAngle || edge != l->edgeAngle) mask |= kLightChangeShape;
      l->coneAngle = cone;
      l->edgeAngle = edge;
      l->coneInnerCosine = std::cos(cone - edge);
      l->coneOuterCosine = std::cos(cone);
      break;
    }
  }
  return mask;
}

double LightSample(CapturedLight* light, const double point[3], double lightU, double lightV, double direction[3],
                   double lightColor[3], double shadowColor[3]) {
  CapturedLight* l = light;
  vec::copy(l->color, lightColor);
  vec::copy(l->shadowColor, shadowColor);
  if (l->kind == LWLIGHT_DISTANT) {
    vec::scale(l->forward, -1.0, direction);
    return 1.0;
  }
  double v[3];
  for (int k = 0; k < 3; ++k) v[k] = l->emitterBase[k] + l->spanU[k] * lightU + l->spanV[k] * lightV - point[k];
  const double d = vec::length(v);
  vec::scale(v, 1.0 / std::max(d, 1e-13), direction);

  auto both = [&](double k) {
    vec::scale(lightColor, k, lightColor);
    vec::scale(shadowColor, k, shadowColor);
  };
  if (l->flags & LWLFL_LIMITED_RANGE) {
    if (l->range <= d) {
      both(0.0);
      return d;
    }
    both(1.0 - d / l->range);
  }
  if (l->falloff == LWLFALL_INV_DIST) both(l->range / (l->falloffOffset + d));
  else if (l->falloff == LWLFALL_INV_DIST_2)
    both(l->range * l->range / (d * d + l->falloffOffset * l->falloffOffset));

  if (l->kind == LWLIGHT_AREA) {
    both(std::fabs(vec::dot(l->forward, direction)));
    return d;
  }
  if (l->kind == LWLIGHT_LINEAR) {
    const double c = vec::dot(l->forward, direction);
    both(std::sqrt(std::max(0.0, 1.0 - c * c)));
    return d;
  }
  if (l->kind != LWLIGHT_SPOT) return d;

  const double c = -vec::dot(direction, l->forward);
  int width = 0, height = 0;
  if (l->projectionImage) {
    const LWImageList* images = globalServices.imageList;
    try {
      if (images) images->size(l->projectionImage, &width, &height);
      if (width < 1 || height < 1 || width > 9000) {
        LWImageID again = nullptr;
        if (const LWLightInfo* newer = newerTable()) again = newer->projImage(l->item);
        width = height = 0;
        if (again && images) images->size(again, &width, &height);
        // A light with a bad image goes on as a plain spot.
        l->projectionImage = (width < 1 || height < 1 || width > 9000) ? nullptr : again;
      }
    } catch (...) {
      l->projectionImage = nullptr;
    }
  }
  const LWImageID image = l->projectionImage;
  if (!image) {
    if (c <= l->coneOuterCosine) {
      both(0.0);
    } else if (c < l->coneInnerCosine) {
      const double s = (c - l->coneOuterCosine) / (l->coneInnerCosine - l->coneOuterCosine);
      both((3.0 - 2.0 * s) * s * s);
    }
    return d;
  }
  const double o = std::max(l->coneOuterCosine, 0.008726535);
  if (c <= 0.0) {
    both(0.0);
    return d;
  }
  const double k = o / (std::sqrt(1.0 - o * o) * c);
  const double a = -vec::dot(l->right, direction) * k;
  const double b = vec::dot(l->up, direction) * k;
  if (a < -1.0 || a > 1.0 || b < -1.0 || b > 1.0) {
    both(0.0);
    return d;
  }
  const int x = int(std::clamp(width * (a + 1.0) * 0.5, 0.0, double(width - 1)));
  const int y = int(std::clamp(height * 0.5 * (1.0 + b), 0.0, double(height - 1)));
  LWBufferValue rgb[3] = {0.0f, 0.0f, 0.0f};
  try {
    globalServices.imageList->RGB(image, x, y, rgb);
  } catch (...) {
  }
  // The image colours the light, not its shadow.
  for (int m = 0; m < 3; ++m) lightColor[m] *= double(rgb[m]);
  return d;
}

void LightShadow(SceneCapture* scene, const double point[3], LWItemID skipObject, int32_t skipPolygon,
                 const CapturedLight* light, double lightU, double lightV, float filter[3]) {
  if (shadowsOff(scene, light)) return shadowFilterOne(filter);
  double direction[3];
  const double maxDistance = shadowDirection(light, point, lightU, lightV, direction);
  ShadowTransmission(scene, point, direction, skipObject, skipPolygon, light->item, maxDistance, filter);
}

void LightShadowSoft(SceneCapture* scene, const double point[3], const double normal[3], LWItemID skipObject,
                     int32_t skipPolygon, const CapturedLight* light, uint32_t seed, float filter[3]) {
  if (shadowsOff(scene, light)) return shadowFilterOne(filter);
  if (light->kind == LWLIGHT_LINEAR || light->kind == LWLIGHT_AREA) {
    const uint32_t a = seed * 0x29ddb2c5u + 0x26f5b947u;
    const uint32_t b = seed * 0x7e6b6dddu + 0x2ff26371u;
    filter[0] = filter[1] = filter[2] = 0.0f;
    for (int i = 0; i < 8; ++i) {
      const double u = frac(a * 1.00000010000001e-07 + i * 0.14285714285714285);
      const double v = frac(b * 1.0000000100000001e-07 + i * 0.61803);
      float f[3];
      double direction[3];
      const double maxDistance = shadowDirection(light, point, u, v, direction);
      ShadowTransmission(scene, point, direction, skipObject, skipPolygon, light->item, maxDistance, f);
      for (int k = 0; k < 3; ++k) filter[k] += f[k] * 0.125f;
    }
    return;
  }
  double direction[3];
  const double maxDistance = shadowDirection(light, point, 0.5, 0.5, direction);
  // A light behind the surface casts no shadow here: the shading gave it nothing already.
  if (normal && vec::dot(direction, normal) < 0.0) return shadowFilterOne(filter);
  ShadowTransmission(scene, point, direction, skipObject, skipPolygon, light->item, maxDistance, filter);
}

void ShadeAreaLight(SceneCapture* scene, const RayHit* hit, const ShadingSample* sample, const double view[3],
                    const double point[3], const double normal[3], CapturedLight* light, double u, double v,
                    int qualityLess1, double weight, double color[3]) {
  if (hostExcludes(hit->object->item, light->item)) return;
  const int n = std::clamp(int(2.0 * (qualityLess1 + 3) * weight), 1, 5);
  const double s = 0.5 / n;
  const bool shadows = light->shadowType != 0 && (hit->object->shadowOptions & LWOSHAD_RECEIVE);
  double sum[3] = {0.0, 0.0, 0.0};
  double b = v;
  for (int i = 0; i < n; ++i) {
    double lightU = double(i) / n + u;
    if (lightU >= 1.0) lightU -= 1.0;
    b += 0.6180339887498949;
    if (b >= 1.0) b -= 1.0;
    const double cu = std::clamp(lightU, s, 1.0 - s), cv = std::clamp(b, s, 1.0 - s);

    // A 2 x 2 grid around the point, so that a few points already look smooth.
    double lit[3] = {0, 0, 0}, lightColor[3] = {0, 0, 0}, shadowColor[3] = {0, 0, 0};
    for (int j = 0; j < 4; ++j) {
      const double pu = cu + ((j & 1) ? 0.5 : -0.5) * s, pv = cv + ((j & 2) ? 0.5 : -0.5) * s;
      double l[3], lc[3], sc[3];
      if (!LightResponse(hit, sample, view, point, normal, light, pu, pv, weight, l, lc, sc)) continue;
      for (int k = 0; k < 3; ++k) {
        lit[k] += l[k] * 0.25;
        lightColor[k] += lc[k] * 0.25;
        shadowColor[k] += sc[k] * 0.25;
      }
    }
    if (shadows) {
      float f[3];
      LightShadow(scene, point, hit->object->item, hit->polygon, light, cu, cv, f);
      for (int k = 0; k < 3; ++k) lightColor[k] = (1.0 - f[k]) * shadowColor[k] + lightColor[k] * f[k];
    }
    for (int k = 0; k < 3; ++k) sum[k] += lit[k] * lightColor[k];
  }
  for (int k = 0; k < 3; ++k) color[k] += sum[k] / n;
}
