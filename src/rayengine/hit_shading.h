#pragma once
// What a hit is: its point, its smoothed normal, and the packed material that the shading
// stages read. A textured surface asks the host's texture service under moduleLock, since an
// object has one LWMicropol; an untextured one never takes the lock.
#include <lwtxtr.h>

#include "capture/captured_object.h"
#include "capture/shading_sample.h"
#include "rayengine/ray_hit.h"

// The surface of the hit's polygon. A polygon whose tag was not found reads as the first
// surface.
inline CapturedSurface* HitSurface(const RayHit* hit) {
  const CapturedObject* object = hit->object;
  uint32_t index = Mesh_PolygonSurfaceIndex(object->mesh, hit->polygon);
  if (index >= uint32_t(object->mesh->surfaceCount)) index = 0;
  return &object->surfaces[index];
}

// A hit that no light can pass: no base transparency, no transparency texture, hardly any
// dissolve. The ray caster, the shadow walk and HitTransparency must agree on it.
inline bool HitIsOpaque(const RayHit* hit) {
  const CapturedSurface* surface = HitSurface(hit);
  return surface->transparency == 0 && !surface->transparencyTexture && hit->object->dissolve < 0.002;
}

// The hit's point in object space, and in world space.
void HitPoint(const RayHit* hit, double point[3]);
void HitWorldPoint(const RayHit* hit, double point[3]);

// The smoothed world normal: stored point normals where every polygon at a vertex smooths
// with the others, rebuilt for this polygon where a hard edge runs through the vertex.
// Flipped for a hit from the back.
void HitNormal(const RayHit* hit, double smoothCosine, double normal[3]);

// Writes the members of a texture evaluation that vary with the hit.
void FillMicropolygon(const RayHit* hit, const double rayOrigin[3], const double normal[3], LWMicropol* micropol);

// The hit's material: the surface's base values, its textures, matte and dissolve.
void ShadeHit(const RayHit* hit, const double rayOrigin[3], ShadingSample* sample);

// The transparency of a hit as a fraction; 0.0 at once for an opaque surface.
double HitTransparency(const RayHit* hit);

// Decoding of the sample's normal: by 1/32767, then one Newton step of renormalisation.
void ShadingSample_Normal(const ShadingSample* sample, double normal[3]);
