// "LW Backdrop Info" and "LW Fog Info": what surrounds the scene's objects.
#include <algorithm>
#include <cmath>
#include <numbers>

#include <lwrender.h>

#include "host/services/backdrop.h"
#include "host/services/host.h"

namespace host {

// The gradient runs by elevation angle, a = elevation / 90 degrees: above the horizon the
// sky colour at a = 0 turns into the zenith colour at a = 1, below it the ground colour at
// the horizon into the nadir colour straight down. A squeeze s bends the blend to
// (1 - |a|)^s of the horizon colour, so a larger squeeze keeps the horizon colour to a
// narrower band.
Vec3 backdropColor(const Backdrop& backdrop, double time, const Vec3& direction) {
  if (!backdrop.gradient) return backdrop.color.at(time);
  const double length = std::sqrt(direction[0] * direction[0] + direction[1] * direction[1] +
                                  direction[2] * direction[2]);
  const double y = length > 0.0 ? std::clamp(direction[1] / length, -1.0, 1.0) : 0.0;
  const double a = std::asin(y) / (std::numbers::pi / 2.0);
  const bool up = a >= 0.0;
  const double squeeze = std::max(0.0, (up ? backdrop.skySqueeze : backdrop.groundSqueeze).at(time));
  const double horizonShare = std::pow(1.0 - std::fabs(a), squeeze);
  const Vec3 horizon = (up ? backdrop.sky : backdrop.ground).at(time);
  const Vec3 pole = (up ? backdrop.zenith : backdrop.nadir).at(time);
  Vec3 out;
  for (size_t k = 0; k < 3; ++k) out[k] = pole[k] + (horizon[k] - pole[k]) * horizonShare;
  return out;
}

namespace {

const Scene* scene() {
  Host* h = Host::current();
  return h ? &h->scene() : nullptr;
}

void put(double* out, const Vec3& v) {
  if (out)
    for (size_t k = 0; k < 3; ++k) out[k] = v[k];
}

void backdrop(LWTime t, const double ray[3], double color[3]) {
  const Scene* s = scene();
  if (!color) return;
  if (!s) return put(color, {0.0, 0.0, 0.0});
  const Vec3 d = ray ? Vec3{ray[0], ray[1], ray[2]} : Vec3{0.0, 0.0, 1.0};
  put(color, backdropColor(s->backdrop, t, d));
}

void colors(LWTime t, double zenith[3], double sky[3], double ground[3], double nadir[3]) {
  const Scene* s = scene();
  const Backdrop b = s ? s->backdrop : Backdrop{};
  put(zenith, b.zenith.at(t));
  put(sky, b.sky.at(t));
  put(ground, b.ground.at(t));
  put(nadir, b.nadir.at(t));
}

void squeeze(LWTime t, double* sky, double* ground) {
  const Scene* s = scene();
  if (sky) *sky = s ? s->backdrop.skySqueeze.at(t) : 0.0;
  if (ground) *ground = s ? s->backdrop.groundSqueeze.at(t) : 0.0;
}

double fogMinDist(LWTime t) { return scene() ? scene()->fog.minDistance.at(t) : 0.0; }
double fogMaxDist(LWTime t) { return scene() ? scene()->fog.maxDistance.at(t) : 0.0; }
double fogMinAmt(LWTime t) { return scene() ? scene()->fog.minAmount.at(t) : 0.0; }
double fogMaxAmt(LWTime t) { return scene() ? scene()->fog.maxAmount.at(t) : 0.0; }
void fogColor(LWTime t, double col[3]) { put(col, scene() ? scene()->fog.color.at(t) : Vec3{0.0, 0.0, 0.0}); }

struct EnvironmentTables {
  LWBackdropInfo backdrop{host::backdrop, LWBACK_SOLID, colors, squeeze};
  LWFogInfo fog{LWFOG_NONE, 0, fogMinDist, fogMaxDist, fogMinAmt, fogMaxAmt, fogColor};
};

}  // namespace

void registerEnvironmentInfo(Host& host) {
  EnvironmentTables& t = host.state<EnvironmentTables>();
  host.services().addVersioned(LWBACKDROPINFO_GLOBAL, 2, [&t](int) -> void* { return &t.backdrop; });
  host.services().add(LWFOGINFO_GLOBAL, [&t](int) -> void* { return &t.fog; });
  // The two words of data follow the scene.
  host.addRefresh([&host, &t] {
    const Scene& s = host.scene();
    const int backdropType = s.backdrop.gradient ? LWBACK_GRADIENT : LWBACK_SOLID;
    if (t.backdrop.type != backdropType) t.backdrop.type = backdropType;
    if (t.fog.type != s.fog.type) t.fog.type = s.fog.type;
    const int fogFlags = int(s.fog.flags());
    if (t.fog.flags != fogFlags) t.fog.flags = fogFlags;
  });
}

}  // namespace host
