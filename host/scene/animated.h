#pragma once
// A setting that Layout lets the user animate: a plain value, or an envelope when the scene
// gives one. Code that fills a scene by hand can assign a number to it.
#include <array>

#include "host/scene/envelope.h"

namespace host {

using Vec3 = std::array<double, 3>;

struct Animated {
  double value = 0.0;
  Envelope envelope;  // used instead of `value` when it has keys

  Animated() = default;
  Animated(double v) : value(v) {}  // NOLINT: implicit on purpose, `light.intensity = 0.5`

  bool animated() const { return !envelope.empty(); }
  double at(double time) const { return envelope.empty() ? value : envelope.evaluate(time); }
};

struct AnimatedColor {
  std::array<Animated, 3> rgb;

  AnimatedColor() = default;
  AnimatedColor(double r, double g, double b) : rgb{Animated(r), Animated(g), Animated(b)} {}

  Animated& operator[](int i) { return rgb[i]; }
  const Animated& operator[](int i) const { return rgb[i]; }
  Vec3 at(double time) const { return {rgb[0].at(time), rgb[1].at(time), rgb[2].at(time)}; }
};

}  // namespace host
