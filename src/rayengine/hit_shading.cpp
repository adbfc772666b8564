#include "rayengine/hit_shading.h"

#include <cmath>
#include <cstring>

#include <lwmeshes.h>

#include "rayengine/polygon_prep.h"
#include "runtime/global_services.h"
#include "runtime/locks.h"

namespace {

inline double dot(const double a[3], const double b[3]) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

inline void normaliseOrUp(double v[3]) {
  const double length2 = dot(v, v);
  if (length2 == 0.0) {
    v[0] = 0.0, v[1] = 1.0, v[2] = 0.0;
    return;
  }
  const double k = 1.0 / std::sqrt(length2);
  v[0] *= k, v[1] *= k, v[2] *= k;
}

inline void mapByMatrix(const double m[9], const double in[3], double out[3]) {
  const double x = in[0], y = in[1], z = in[2];
  for (int r = 0; r < 3; ++r) out[r] = m[r * 3] * x + m[r * 3 + 1] * y + m[r * 3 + 2] * z;
}

// The largest component's axis: a tie between x and y goes to y, and z wins only when it is
// strictly larger.
inline int dominantAxis(const double n[3]) {
  const double ax = std::fabs(n[0]), ay = std::fabs(n[1]), az = std::fabs(n[2]);
  int axis = ax > ay ? 0 : 1;
  if (az > (axis == 0 ? ax : ay)) axis = 2;
  return axis;
}

inline double weightC(const RayHit* hit) { return 1.0 - double(hit->weightA) - double(hit->weightB); }

inline bool vertexColouring(const CapturedSurface* surface) {
  return surface->vertexColoring > 0.0 && surface->vertexColorMap[0] != '\0';
}

// Releases a mesh access the host lent, however the scope is left.
struct LentMesh {
  LWMeshInfo* mesh;
  ~LentMesh() {
    if (mesh && mesh->destroy) mesh->destroy(mesh);
  }
};

// Blends the surface's vertex colour map, read at the hit's corners, into the colour by the
// surface's vertex colouring amount. Corners the map leaves out don't count.
void applyVertexColour(const RayHit* hit, const CapturedSurface* surface, double colour[3]) {
  const CapturedObject* object = hit->object;
  LWObjectInfo* info = globalServices.objectInfo;
  if (!info || !info->meshInfo) return;
  try {
    LentMesh lent{info->meshInfo(object->item, 0)};
    LWMeshInfo* mesh = lent.mesh;
    if (!mesh || !mesh->pntVLookup || !mesh->pntVPIDGet) return;
    void* map = mesh->pntVLookup(mesh, LWVMAP_RGBA, surface->vertexColorMap);
    if (!map) map = mesh->pntVLookup(mesh, LWVMAP_RGB, surface->vertexColorMap);
    if (!map) return;
    const int32_t corners[3] = {hit->vertexA, hit->vertexB, hit->vertexC};
    const double weights[3] = {hit->weightA, hit->weightB, weightC(hit)};
    const LWPolID polygon = Mesh_PolygonId(object->mesh, hit->polygon);
    double sum[4] = {0.0, 0.0, 0.0, 0.0}, covered = 0.0;
    for (int k = 0; k < 3; ++k) {
      float value[4] = {0.0f, 0.0f, 0.0f, 1.0f};
      if (!mesh->pntVPIDGet(mesh, Mesh_PointId(object->mesh, corners[k]), polygon, value, map)) continue;
      for (int c = 0; c < 4; ++c) sum[c] += weights[k] * value[c];
      covered += weights[k];
    }
    if (!(covered > 0.0)) return;
    // The map's alpha, where it has one, and the corners it covers scale the amount.
    double amount = surface->vertexColoring * sum[3];
    if (amount > 1.0) amount = 1.0;
    if (!(amount > 0.0)) return;
    for (int c = 0; c < 3; ++c) colour[c] += (sum[c] / covered - colour[c]) * amount;
  } catch (...) {
  }
}

// One guarded evaluation: on a fault the value stays as it stood.
inline void evaluateScalar(LWTextureFuncs* textures, LWTextureID texture, LWMicropol* micropol, double& value) {
  micropol->txVal = value;
  double v = value;
  try {
    textures->evaluate(texture, micropol, &v);
    value = v;
  } catch (...) {
  }
}

// The host's textures over the sample, in their fixed order, with the object's micropol
// filled for this hit. Runs under moduleLock.
void evaluateTextures(const RayHit* hit, const CapturedSurface* surface, const double rayOrigin[3], double normal[3],
                      ShadingSample* sample) {
  CapturedObject* object = hit->object;
  LWMicropol* mp = &object->micropol;
  FillMicropolygon(hit, rayOrigin, normal, mp);
  LWTextureFuncs* textures = globalServices.textureFuncs;
  const bool vc = vertexColouring(surface);
  int32_t count = surface->textureCount;

  if (surface->bumpTexture && textures) {
    mp->txVal = 0.0;
    double gradient[3] = {0.0, 0.0, 0.0};
    try {
      mp->bumpHeight = textures->evaluate(surface->bumpTexture, mp, gradient);
    } catch (...) {
      mp->bumpHeight = 0.0;
      gradient[0] = gradient[1] = gradient[2] = 0.0;
    }
    for (int a = 0; a < 3; ++a) normal[a] -= gradient[a] * surface->bumpAmplitude;
    normaliseOrUp(normal);
    --count;
    if (!(count > 0 || vc)) return;
    // Later textures see the bumped normal.
    for (int a = 0; a < 3; ++a) mp->wNorm[a] = normal[a];
    mp->cosine = -dot(mp->ray, mp->wNorm);
  }

  if (surface->colorTexture || vc) {
    double colour[3];
    for (int c = 0; c < 3; ++c) colour[c] = sample->color[c] * kFixedToUnit;
    if (surface->colorTexture && textures) {
      double v[3] = {colour[0], colour[1], colour[2]};
      try {
        textures->evaluate(surface->colorTexture, mp, v);
        for (int c = 0; c < 3; ++c) colour[c] = v[c];
      } catch (...) {
      }
      --count;
    }
    if (vc) applyVertexColour(hit, surface, colour);
    for (int c = 0; c < 3; ++c) sample->color[c] = encodeFixed(colour[c]);
    if (count <= 0) return;
  }
  if (!textures) return;

  if (surface->specularityTexture) {
    double v = sample->specularity * kFixedToUnit;
    evaluateScalar(textures, surface->specularityTexture, mp, v);
    sample->specularity = encodeFixed(v);
    if (--count <= 0) return;
  }
  // From here on every textured channel is evaluated; the count no longer matters.
  auto fixedChannel = [&](LWTextureID texture, uint16_t& field) {
    if (!texture) return;
    double v = field * kFixedToUnit;
    evaluateScalar(textures, texture, mp, v);
    field = encodeFixed(v);
  };
  fixedChannel(surface->luminosityTexture, sample->luminosity);
  fixedChannel(surface->diffuseTexture, sample->diffuse);
  if (surface->glossinessTexture) {
    double v = sample->glossiness;
    evaluateScalar(textures, surface->glossinessTexture, mp, v);
    sample->glossiness = encodeGlossiness(v);
  }
  if (surface->iorTexture) {
    double v = sample->ior * kIorToUnit;
    evaluateScalar(textures, surface->iorTexture, mp, v);
    if (v <= 1e-08) v = 1.0;
    sample->ior = encodeIor(v);
  }
  fixedChannel(surface->reflectivityTexture, sample->reflectivity);
  fixedChannel(surface->transparencyTexture, sample->transparency);
  if (surface->translucencyTexture) {
    double v = sample->translucency * kTranslucencyToUnit;
    evaluateScalar(textures, surface->translucencyTexture, mp, v);
    sample->translucency = encodeTranslucency(v);
  }
}

}  // namespace

void HitPoint(const RayHit* hit, double point[3]) {
  const float* kept = hit->object->keptPoints;
  const float* a = kept + size_t(hit->vertexA) * 3;
  const float* b = kept + size_t(hit->vertexB) * 3;
  const float* c = kept + size_t(hit->vertexC) * 3;
  const double wa = hit->weightA, wb = hit->weightB, wc = weightC(hit);
  for (int k = 0; k < 3; ++k) point[k] = wa * a[k] + wb * b[k] + wc * c[k];
}

void HitWorldPoint(const RayHit* hit, double point[3]) {
  double local[3];
  HitPoint(hit, local);
  ItemTransform_MapPoint(&hit->object->transform, local, point);
}

void HitNormal(const RayHit* hit, double smoothCosine, double normal[3]) {
  const CapturedObject* object = hit->object;
  const int32_t vertices[3] = {hit->vertexA, hit->vertexB, hit->vertexC};
  const double weights[3] = {hit->weightA, hit->weightB, weightC(hit)};
  double sum[3] = {0.0, 0.0, 0.0};
  for (int k = 0; k < 3; ++k) {
    const int32_t v = vertices[k];
    double n[3];
    if (object->smoothLimits[v] >= smoothCosine) {
      // Every polygon at the vertex smooths with the others: the stored normal is right.
      const float* stored = object->pointNormals + size_t(v) * 3;
      n[0] = stored[0], n[1] = stored[1], n[2] = stored[2];
    } else {
      Point_SmoothNormal(object->mesh, hit->polygon, v, object->polygonNormals, smoothCosine, n);
    }
    for (int a = 0; a < 3; ++a) sum[a] += weights[k] * n[a];
  }
  mapByMatrix(object->normalMatrix, sum, normal);
  normaliseOrUp(normal);
  if (hit->backSide)
    for (int a = 0; a < 3; ++a) normal[a] = -normal[a];
}

void FillMicropolygon(const RayHit* hit, const double rayOrigin[3], const double normal[3], LWMicropol* mp) {
  const CapturedObject* object = hit->object;
  const CapturedMesh* mesh = object->mesh;
  HitPoint(hit, mp->oPos);
  ItemTransform_MapPoint(&object->transform, mp->oPos, mp->wPos);

  const float* own = object->polygonNormals + size_t(hit->polygon) * 3;
  const double objectNormal[3] = {own[0], own[1], own[2]};
  mapByMatrix(object->normalMatrix, objectNormal, mp->gNorm);
  normaliseOrUp(mp->gNorm);

  double span[3];
  for (int a = 0; a < 3; ++a) {
    mp->wNorm[a] = normal[a];
    mp->raySource[a] = rayOrigin[a];
    span[a] = mp->wPos[a] - rayOrigin[a];
  }
  mp->rayLength = std::sqrt(dot(span, span));
  for (int a = 0; a < 3; ++a) mp->ray[a] = span[a] / (mp->rayLength + 1e-17);
  mp->cosine = -dot(mp->ray, mp->wNorm);

  // A triangle fills the host's four corners with its last one repeated.
  const int32_t corners[4] = {hit->vertexA, hit->vertexB, hit->vertexC, hit->vertexC};
  for (int k = 0; k < 4; ++k) {
    mp->verts[k] = Mesh_PointId(mesh, corners[k]);
    const float* p = object->keptPoints + size_t(corners[k]) * 3;
    const double local[3] = {p[0], p[1], p[2]};
    double world[3];
    ItemTransform_MapPoint(&object->transform, local, world);
    for (int a = 0; a < 3; ++a) mp->vertsWPos[k][a] = float(world[a]);
  }
  mp->weights[0] = hit->weightA;
  mp->weights[1] = hit->weightB;
  mp->weights[2] = float(weightC(hit));
  mp->weights[3] = 0.0f;
  mp->polNum = hit->polygon;
  mp->oAxis = dominantAxis(objectNormal);
  mp->wAxis = dominantAxis(mp->gNorm);
  mp->srfID = Mesh_PolygonSurfaceId(mesh, hit->polygon);
  mp->polygon = Mesh_PolygonId(mesh, hit->polygon);
}

void ShadeHit(const RayHit* hit, const double rayOrigin[3], ShadingSample* sample) {
  const CapturedObject* object = hit->object;
  const CapturedSurface* surface = HitSurface(hit);
  double normal[3];
  HitNormal(hit, surface->smoothCosine, normal);
  // The head is copied first in every case, so that no field is left as the caller had it.
  std::memcpy(sample, surface, sizeof(ShadingSample));

  const double dissolve = object->dissolve;
  if (dissolve < 0.999) {
    if (object->objectFlags & kObjectMatte) {
      sample->transparency = sample->translucency = 0;
      sample->reflectivity = sample->specularity = sample->diffuse = 0;
      sample->luminosity = 256;
      for (int c = 0; c < 3; ++c) sample->color[c] = encodeFixed(object->matteColor[c]);
    } else if (surface->textureCount > 0 || vertexColouring(surface)) {
      ModuleLockGuard lock;
      evaluateTextures(hit, surface, rayOrigin, normal, sample);
    }
  }

  for (int a = 0; a < 3; ++a) sample->normal[a] = int16_t(normal[a] * 32767.0);

  // Dissolve scales what the surface adds of its own; the transparency then scales the
  // diffuse term later, so diffuse and luminosity stay.
  if (dissolve > 0.001 && dissolve < 0.9985) {
    const double keep = 1.0 - dissolve;
    sample->specularity = uint16_t(sample->specularity * keep);
    sample->reflectivity = uint16_t(sample->reflectivity * keep);
    sample->translucency = uint8_t(sample->translucency * keep);
    sample->transparency = uint16_t(keep * sample->transparency + 256.0 * dissolve);
  } else if (dissolve >= 0.9985) {
    sample->translucency = 0;
    sample->luminosity = sample->reflectivity = sample->specularity = sample->diffuse = 0;
    sample->ior = 0;
    sample->transparency = 256;
  }
}

double HitTransparency(const RayHit* hit) {
  if (HitIsOpaque(hit)) return 0.0;
  double point[3];
  HitWorldPoint(hit, point);
  ShadingSample sample;
  ShadeHit(hit, point, &sample);
  return sample.transparency * kFixedToUnit;
}

void ShadingSample_Normal(const ShadingSample* sample, double normal[3]) {
  double length2 = 0.0;
  for (int a = 0; a < 3; ++a) {
    normal[a] = sample->normal[a] * kNormalToUnit;
    length2 += normal[a] * normal[a];
  }
  const double s = 1.5 - 0.5 * length2;
  for (int a = 0; a < 3; ++a) normal[a] *= s;
}
