#include "host/scene/item.h"

namespace host {

const char* motionChannelName(int channel) {
  static const char* const kNames[] = {"Position.X", "Position.Y", "Position.Z", "Rotation.H", "Rotation.P",
                                       "Rotation.B", "Scale.X",    "Scale.Y",    "Scale.Z"};
  return channel >= 0 && channel < MotionChannelCount ? kNames[channel] : "";
}

bool ObjectSettings::excludes(uint32_t lightId) const {
  for (uint32_t id : excludedLights)
    if (id == lightId) return true;
  return false;
}

uint32_t LightSettings::flags() const {
  uint32_t f = 0;
  if (falloff == LightFalloff::Linear) f |= LightLimitedRange;
  if (!affectDiffuse) f |= LightNoDiffuse;
  if (!affectSpecular) f |= LightNoSpecular;
  if (!affectCaustics) f |= LightNoCaustics;
  if (lensFlare) f |= LightLensFlare;
  if (volumetric) f |= LightVolumetric;
  return f;
}

void Item::setPosition(const Vec3& p) {
  for (int i = 0; i < 3; ++i) motion[PositionX + i] = Animated(p[i]);
}

void Item::setRotation(const Vec3& hpb) {
  for (int i = 0; i < 3; ++i) motion[Heading + i] = Animated(hpb[i]);
}

void Item::setScale(const Vec3& s) {
  for (int i = 0; i < 3; ++i) motion[ScaleX + i] = Animated(s[i]);
}

}  // namespace host
