// "LW Light Info": the scene's ambient light and its lights, in the older table (spot angles
// in degrees, no times where they came later) and the newer one ("LW Light Info 3").
#include <cmath>

#include <lwrender.h>

#include "host/services/host.h"
#include "host/services/scene_ids.h"

namespace host {

namespace {

constexpr double kDegreesPerRadian = 57.29577951308232;

Host* host() { return Host::current(); }

const LightSettings* light(LWItemID id) {
  Host* h = host();
  const Item* it = h ? itemOf(h->scene(), id) : nullptr;
  return it && it->type == ItemType::Light ? &it->light : nullptr;
}

void put(LWDVector out, const Vec3& v) {
  if (out)
    for (int k = 0; k < 3; ++k) out[k] = v[size_t(k)];
}

void ambient(LWTime t, LWDVector color) {
  Host* h = host();
  if (!h) return put(color, {0.0, 0.0, 0.0});
  const Vec3 c = h->scene().ambientColor.at(t);
  const double k = h->scene().ambientIntensity.at(t);
  put(color, {c[0] * k, c[1] * k, c[2] * k});
}

double ambientIntensity(LWTime t) {
  Host* h = host();
  return h ? h->scene().ambientIntensity.at(t) : 0.0;
}

void ambientRaw(LWTime t, LWDVector color) {
  Host* h = host();
  put(color, h ? h->scene().ambientColor.at(t) : Vec3{0.0, 0.0, 0.0});
}

int type(LWItemID id) {
  const LightSettings* l = light(id);
  return l ? int(l->kind) : -1;
}

void color(LWItemID id, LWTime t, LWDVector out) {
  const LightSettings* l = light(id);
  if (!l) return put(out, {0.0, 0.0, 0.0});
  const Vec3 c = l->color.at(t);
  const double k = l->intensity.at(t);
  put(out, {c[0] * k, c[1] * k, c[2] * k});
}

void rawColor(LWItemID id, LWTime t, LWDVector out) {
  const LightSettings* l = light(id);
  put(out, l ? l->color.at(t) : Vec3{0.0, 0.0, 0.0});
}

double intensity(LWItemID id, LWTime t) {
  const LightSettings* l = light(id);
  return l ? l->intensity.at(t) : 0.0;
}

int shadowType(LWItemID id) {
  const LightSettings* l = light(id);
  return l ? l->shadowType : LWLSHAD_OFF;
}

void coneAngles(LWItemID id, LWTime t, double* radius, double* edge) {
  const LightSettings* l = light(id);
  if (radius) *radius = l ? l->coneAngle.at(t) : 0.0;
  if (edge) *edge = l ? l->edgeAngle.at(t) : 0.0;
}

unsigned int flags(LWItemID id) {
  const LightSettings* l = light(id);
  return l ? l->flags() : 0u;
}

double range(LWItemID id, LWTime t) {
  const LightSettings* l = light(id);
  return l ? l->range.at(t) : 0.0;
}

int falloff(LWItemID id) {
  const LightSettings* l = light(id);
  return l ? int(l->falloff) : LWLFALL_OFF;
}

LWImageID projImage(LWItemID id) {
  Host* h = host();
  const LightSettings* l = light(id);
  if (!h || !l || l->projectionImage.empty() || !h->links().imageByPath) return nullptr;
  return h->links().imageByPath(l->projectionImage);
}

int shadMapSize(LWItemID id) {
  const LightSettings* l = light(id);
  return l ? l->shadowMapSize : 0;
}

// The scene keeps no shadow map angle of its own: a map covers the cone.
double shadMapAngle(LWItemID id, LWTime t) {
  const LightSettings* l = light(id);
  return l ? l->coneAngle.at(t) : 0.0;
}

double shadMapFuzz(LWItemID id, LWTime) { return light(id) ? 1.0 : 0.0; }

int quality(LWItemID id, LWTime) {
  const LightSettings* l = light(id);
  return l ? l->quality : 0;
}

void shadowColor(LWItemID id, LWTime t, LWDVector out) {
  const LightSettings* l = light(id);
  put(out, l ? l->shadowColor.at(t) : Vec3{0.0, 0.0, 0.0});
}

// The older table reads at the current time where it takes none.
LWTime now() {
  Host* h = host();
  return h ? h->time() : 0.0;
}

void coneAnglesDegrees(LWItemID id, double* radius, double* edge) {
  coneAngles(id, now(), radius, edge);
  if (radius) *radius *= kDegreesPerRadian;
  if (edge) *edge *= kDegreesPerRadian;
}

double rangeNow(LWItemID id) { return range(id, now()); }
double shadMapAngleNow(LWItemID id) { return shadMapAngle(id, now()) * kDegreesPerRadian; }
double shadMapFuzzNow(LWItemID id) { return shadMapFuzz(id, now()); }
int qualityNow(LWItemID id) { return quality(id, now()); }

struct LightTables {
  LWLightInfo newer{ambient,     type,        color,        shadowType, coneAngles,  flags,
                    range,       falloff,     projImage,    shadMapSize, shadMapAngle, shadMapFuzz,
                    quality,     rawColor,    intensity,    shadowColor, ambientIntensity, ambientRaw};
  LWLightInfoV2 older{ambient,   type,        color,        shadowType,  coneAnglesDegrees, flags,
                      rangeNow,  falloff,     projImage,    shadMapSize, shadMapAngleNow,   shadMapFuzzNow,
                      qualityNow, rawColor,   intensity};
};

}  // namespace

void registerLightInfo(Host& host) {
  LightTables& t = host.state<LightTables>();
  host.services().addVersioned(LWLIGHTINFO_GLOBAL, 2, [&t](int) -> void* { return &t.older; });
  host.services().add(LWLIGHTINFO3_GLOBAL, [&t](int) -> void* { return &t.newer; });
}

}  // namespace host
