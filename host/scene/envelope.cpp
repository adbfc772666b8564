#include "host/scene/envelope.h"

#include <cmath>

namespace host {
namespace {

// Tangents are in value units per span: the Hermite basis runs over 0..1 of the span, so a
// tangent taken from the neighbouring span is scaled by the ratio of the spans' lengths.

double outgoing(const std::vector<EnvelopeKey>& keys, size_t i0) {
  const EnvelopeKey& k0 = keys[i0];
  const EnvelopeKey& k1 = keys[i0 + 1];
  const EnvelopeKey* prev = i0 > 0 ? &keys[i0 - 1] : nullptr;
  const double d = k1.value - k0.value;
  switch (k0.shape) {
    case KeyShape::TCB: {
      const double a = (1.0 - k0.tension) * (1.0 + k0.continuity) * (1.0 + k0.bias);
      const double b = (1.0 - k0.tension) * (1.0 - k0.continuity) * (1.0 - k0.bias);
      if (!prev) return b * d;
      const double t = (k1.time - k0.time) / (k1.time - prev->time);
      return t * (a * (k0.value - prev->value) + b * d);
    }
    case KeyShape::Linear: {
      if (!prev) return d;
      const double t = (k1.time - k0.time) / (k1.time - prev->time);
      return t * (k0.value - prev->value + d);
    }
    case KeyShape::Hermite:
    case KeyShape::Bezier1D: {
      double out = k0.param[1];
      if (prev) out *= (k1.time - k0.time) / (k1.time - prev->time);
      return out;
    }
    case KeyShape::Bezier2D: {
      double out = k0.param[3] * (k1.time - k0.time);
      if (std::fabs(k0.param[2]) > 1e-5) return out / k0.param[2];
      return out * 1e5;
    }
    case KeyShape::Stepped:
      break;
  }
  return 0.0;
}

double incoming(const std::vector<EnvelopeKey>& keys, size_t i0) {
  const EnvelopeKey& k0 = keys[i0];
  const EnvelopeKey& k1 = keys[i0 + 1];
  const EnvelopeKey* next = i0 + 2 < keys.size() ? &keys[i0 + 2] : nullptr;
  const double d = k1.value - k0.value;
  switch (k1.shape) {
    case KeyShape::TCB: {
      const double a = (1.0 - k1.tension) * (1.0 - k1.continuity) * (1.0 + k1.bias);
      const double b = (1.0 - k1.tension) * (1.0 + k1.continuity) * (1.0 - k1.bias);
      if (!next) return a * d;
      const double t = (k1.time - k0.time) / (next->time - k0.time);
      return t * (b * (next->value - k1.value) + a * d);
    }
    case KeyShape::Linear: {
      if (!next) return d;
      const double t = (k1.time - k0.time) / (next->time - k0.time);
      return t * (next->value - k1.value + d);
    }
    case KeyShape::Hermite:
    case KeyShape::Bezier1D: {
      double in = k1.param[0];
      if (next) in *= (k1.time - k0.time) / (next->time - k0.time);
      return in;
    }
    case KeyShape::Bezier2D: {
      double in = k1.param[1] * (k1.time - k0.time);
      if (std::fabs(k1.param[0]) > 1e-5) return in / k1.param[0];
      return in * 1e5;
    }
    case KeyShape::Stepped:
      break;
  }
  return 0.0;
}

double bezier(double x0, double x1, double x2, double x3, double t) {
  const double s = 1.0 - t;
  return s * s * s * x0 + 3.0 * s * s * t * x1 + 3.0 * s * t * t * x2 + t * t * t * x3;
}

// A span whose arriving key is a 2D Bezier key: the curve is parametric in time as well as in
// value, so the parameter at a time is found by bisection. Its handles are those of the two
// keys; a key without a 2D handle lends a third of its outgoing tangent, as Layout draws it.
double bezier2D(const std::vector<EnvelopeKey>& keys, size_t i0, double time) {
  const EnvelopeKey& k0 = keys[i0];
  const EnvelopeKey& k1 = keys[i0 + 1];
  double x1, y1;
  if (k0.shape == KeyShape::Bezier2D) {
    x1 = k0.time + k0.param[2];
    y1 = k0.value + k0.param[3];
  } else {
    x1 = k0.time + (k1.time - k0.time) / 3.0;
    y1 = k0.value + outgoing(keys, i0) / 3.0;
  }
  const double x2 = k1.time + k1.param[0];
  const double y2 = k1.value + k1.param[1];

  double lo = 0.0, hi = 1.0, t = 0.5;
  const bool rising = bezier(k0.time, x1, x2, k1.time, 1.0) >= bezier(k0.time, x1, x2, k1.time, 0.0);
  for (int i = 0; i < 60; ++i) {
    t = 0.5 * (lo + hi);
    const double x = bezier(k0.time, x1, x2, k1.time, t);
    if ((x < time) == rising) lo = t; else hi = t;
  }
  return bezier(k0.value, y1, y2, k1.value, t);
}

// Brings a time into [lo, hi) and tells how many whole periods it was moved by.
double wrapTime(double time, double lo, double hi, double& periods) {
  const double span = hi - lo;
  if (span <= 0.0 || !std::isfinite(time)) { periods = 0; return lo; }
  const double n = std::floor((time - lo) / span);
  periods = n;
  double t = time - n * span;
  if (t >= hi) t = hi;  // rounding at the far end
  if (t < lo) t = lo;
  return t;
}

}  // namespace

double Envelope::evaluate(double time) const {
  if (keys.empty()) return 0.0;
  if (keys.size() == 1) return keys[0].value;

  const EnvelopeKey& first = keys.front();
  const EnvelopeKey& last = keys.back();
  double offset = 0.0;

  const bool before = time < first.time, after = time > last.time;
  if (before || after) {
    const EnvBehavior behavior = before ? pre : post;
    double periods = 0;
    switch (behavior) {
      case EnvBehavior::Reset:
        return 0.0;
      case EnvBehavior::Constant:
        return before ? first.value : last.value;
      case EnvBehavior::Repeat:
        time = wrapTime(time, first.time, last.time, periods);
        break;
      case EnvBehavior::Oscillate:
        time = wrapTime(time, first.time, last.time, periods);
        if (std::fmod(periods, 2.0) != 0.0) time = first.time + last.time - time;
        break;
      case EnvBehavior::OffsetRepeat:
        time = wrapTime(time, first.time, last.time, periods);
        offset = periods * (last.value - first.value);
        break;
      case EnvBehavior::Linear:
        if (before) {
          const double span = keys[1].time - first.time;
          if (span <= 0.0) return first.value;
          return outgoing(keys, 0) / span * (time - first.time) + first.value;
        } else {
          const size_t n = keys.size();
          const double span = last.time - keys[n - 2].time;
          if (span <= 0.0) return last.value;
          return incoming(keys, n - 2) / span * (time - last.time) + last.value;
        }
    }
  }

  // The span holding the time: the last key whose time is not after it starts it.
  size_t i0 = 0;
  while (i0 + 2 < keys.size() && time > keys[i0 + 1].time) ++i0;
  const EnvelopeKey& k0 = keys[i0];
  const EnvelopeKey& k1 = keys[i0 + 1];

  if (time == k0.time) return k0.value + offset;
  if (time == k1.time) return k1.value + offset;
  const double span = k1.time - k0.time;
  if (span <= 0.0) return k1.value + offset;
  const double t = (time - k0.time) / span;

  switch (k1.shape) {
    case KeyShape::TCB:
    case KeyShape::Hermite:
    case KeyShape::Bezier1D: {
      const double out = outgoing(keys, i0);
      const double in = incoming(keys, i0);
      const double t2 = t * t, t3 = t2 * t;
      const double h2 = 3.0 * t2 - 2.0 * t3;
      const double h1 = 1.0 - h2;
      const double h4 = t3 - t2;
      const double h3 = h4 - t2 + t;
      return h1 * k0.value + h2 * k1.value + h3 * out + h4 * in + offset;
    }
    case KeyShape::Bezier2D:
      return bezier2D(keys, i0, time) + offset;
    case KeyShape::Linear:
      return k0.value + t * (k1.value - k0.value) + offset;
    case KeyShape::Stepped:
      return k0.value + offset;
  }
  return offset;
}

}  // namespace host
