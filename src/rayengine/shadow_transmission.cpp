#include "rayengine/shadow_transmission.h"

#include <cmath>

#include "capture/scene_capture.h"
#include "rayengine/hit_shading.h"
#include "rayengine/ray_cast.h"

void ShadowTransmission(SceneCapture* scene, const double origin[3], const double direction[3], LWItemID skipObject,
                        int32_t skipPolygon, LWItemID light, double maxDistance, float filter[3]) {
  filter[0] = filter[1] = filter[2] = 1.0f;
  // Eight times the offset a secondary ray takes off its surface.
  double e = 8.0 * 1.5e-07 * std::sqrt(origin[0] * origin[0] + origin[1] * origin[1] + origin[2] * origin[2]);
  if (!(e >= 8e-10)) e = 8e-10;
  if (maxDistance <= 0.0) maxDistance = 1e10;
  double s = 0.0;
  for (int surfaces = 0;;) {
    s += e > 2e-06 * s ? e : 2e-06 * s;
    // Past the light there is nothing left to block it (and a limit at or below 0 would
    // mean no limit at all to the ray caster).
    const double remaining = maxDistance - s;
    if (!(remaining > 0.0)) return;
    const double start[3] = {origin[0] + direction[0] * s, origin[1] + direction[1] * s, origin[2] + direction[2] * s};
    RayHit hit;
    const double d = CastRay(scene, start, direction, kRayShadow, skipObject, skipPolygon, light, remaining, &hit);
    if (d < 0.0) return;
    if (HitIsOpaque(&hit)) {
      filter[0] = filter[1] = filter[2] = 0.0f;
      return;
    }
    ShadingSample sample;
    ShadeHit(&hit, origin, &sample);
    if (sample.transparency == 0) {
      filter[0] = filter[1] = filter[2] = 0.0f;
      return;
    }
    const double tr = sample.transparency * kFixedToUnit;
    const double cf = HitSurface(&hit)->colorFilter;
    for (int c = 0; c < 3; ++c) filter[c] = float(filter[c] * ((sample.color[c] * cf * kFixedToUnit) + 1.0 - cf) * tr);
    if (filter[0] * filter[0] + filter[1] * filter[1] + filter[2] * filter[2] < 0.0005f) return;
    // A pane of glass after a pane of glass: give up rather than walk on for ever.
    if (++surfaces >= kShadowMaxSurfaces) return;
    const double step = d > 2e-08 ? d : 2e-08;
    s += step > 2e-06 * s ? step : 2e-06 * s;
    skipObject = hit.object->item;
    skipPolygon = hit.polygon;
  }
}
