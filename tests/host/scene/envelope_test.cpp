// Envelope values against the curve formulas worked out by hand: the Hermite basis
// h1 = 2s^3 - 3s^2 + 1, h2 = -2s^3 + 3s^2, h3 = s^3 - 2s^2 + s, h4 = s^3 - s^2 over the span,
// Kochanek-Bartels tangents, cubic Bezier handles, and the six pre and post behaviours.
#include <gtest/gtest.h>

#include <cmath>

#include "host/scene/envelope.h"

namespace host {
namespace {

EnvelopeKey key(double time, double value, KeyShape shape = KeyShape::TCB) {
  EnvelopeKey k;
  k.time = time;
  k.value = value;
  k.shape = shape;
  return k;
}

Envelope envelope(std::vector<EnvelopeKey> keys, EnvBehavior pre = EnvBehavior::Constant,
                  EnvBehavior post = EnvBehavior::Constant) {
  Envelope e;
  e.keys = std::move(keys);
  e.pre = pre;
  e.post = post;
  return e;
}

// The Hermite curve of one span at s in 0..1.
double hermite(double s, double v0, double v1, double out, double in) {
  const double h1 = 2 * s * s * s - 3 * s * s + 1;
  const double h2 = -2 * s * s * s + 3 * s * s;
  const double h3 = s * s * s - 2 * s * s + s;
  const double h4 = s * s * s - s * s;
  return h1 * v0 + h2 * v1 + h3 * out + h4 * in;
}

TEST(Envelope, EmptySingleLinearAndStepped) {
  EXPECT_EQ(Envelope{}.evaluate(3.0), 0.0);
  EXPECT_EQ(envelope({key(2.0, 7.5)}).evaluate(-4.0), 7.5);

  // The shape of a key is that of the span arriving at it.
  Envelope lin = envelope({key(0, 0), key(1, 10, KeyShape::Linear), key(3, 0, KeyShape::Linear)});
  EXPECT_DOUBLE_EQ(lin.evaluate(0.5), 5.0);
  EXPECT_DOUBLE_EQ(lin.evaluate(1.0), 10.0);
  EXPECT_DOUBLE_EQ(lin.evaluate(2.5), 2.5);

  Envelope step = envelope({key(0, 1), key(1, 10, KeyShape::Stepped), key(3, -2, KeyShape::Stepped)});
  EXPECT_EQ(step.evaluate(0.999), 1.0);
  EXPECT_EQ(step.evaluate(1.0), 10.0);
  EXPECT_EQ(step.evaluate(2.999), 10.0);
  EXPECT_EQ(step.evaluate(3.0), -2.0);

  // Mixed: a linear span after a stepped one.
  Envelope mixed = envelope({key(0, 0), key(1, 4, KeyShape::Stepped), key(2, 8, KeyShape::Linear)});
  EXPECT_EQ(mixed.evaluate(0.5), 0.0);
  EXPECT_DOUBLE_EQ(mixed.evaluate(1.25), 5.0);
}

TEST(Envelope, TcbTangentsFollowKochanekBartels) {
  // Plain spline: keys (0,0), (1,1), (3,5). First span: out0 = v1 - v0 (end key);
  // in1 = (t1-t0)/(t2-t0) * ((v2-v1) + (v1-v0)) = 1/3 * 5.
  Envelope plain = envelope({key(0, 0), key(1, 1), key(3, 5)});
  EXPECT_NEAR(plain.evaluate(0.5), hermite(0.5, 0, 1, 1.0, 5.0 / 3.0), 1e-12);
  // Second span: out1 = (t2-t1)/(t2-t0) * ((v1-v0) + (v2-v1)) = 2/3 * 5, in2 = v2 - v1.
  EXPECT_NEAR(plain.evaluate(2.5), hermite(0.75, 1, 5, 10.0 / 3.0, 4.0), 1e-12);

  // Tension, continuity and bias on the middle key.
  const double T = 0.5, C = 0.25, B = -0.4;
  EnvelopeKey mid = key(1, 1);
  mid.tension = T, mid.continuity = C, mid.bias = B;
  Envelope tcb = envelope({key(0, 0), mid, key(3, 5)});
  // Incoming at key 1: a = (1-T)(1-C)(1+B), b = (1-T)(1+C)(1-B); in = t (b (v2-v1) + a (v1-v0)).
  const double ain = (1 - T) * (1 - C) * (1 + B), bin = (1 - T) * (1 + C) * (1 - B);
  const double in1 = (1.0 / 3.0) * (bin * 4.0 + ain * 1.0);
  EXPECT_NEAR(tcb.evaluate(0.25), hermite(0.25, 0, 1, 1.0, in1), 1e-12);
  // Outgoing at key 1: a = (1-T)(1+C)(1+B), b = (1-T)(1-C)(1-B); out = t (a (v1-v0) + b (v2-v1)).
  const double aout = (1 - T) * (1 + C) * (1 + B), bout = (1 - T) * (1 - C) * (1 - B);
  const double out1 = (2.0 / 3.0) * (aout * 1.0 + bout * 4.0);
  EXPECT_NEAR(tcb.evaluate(2.0), hermite(0.5, 1, 5, out1, 4.0), 1e-12);
}

TEST(Envelope, HermiteAndBezierTangents) {
  // Tangents given on the keys; the middle key's are spread over both its spans.
  EnvelopeKey k0 = key(0, 0, KeyShape::Hermite), k1 = key(2, 4, KeyShape::Hermite), k2 = key(3, 1, KeyShape::Hermite);
  k0.param[1] = 2.0;
  k1.param[0] = 1.5, k1.param[1] = -3.0;
  k2.param[0] = 0.5;
  Envelope e = envelope({k0, k1, k2});
  // First span: out0 = 2 (no key before), in1 = 1.5 * (2-0)/(3-0).
  EXPECT_NEAR(e.evaluate(1.0), hermite(0.5, 0, 4, 2.0, 1.0), 1e-12);
  // Second span: out1 = -3 * (3-2)/(3-0), in2 = 0.5 (no key after).
  EXPECT_NEAR(e.evaluate(2.25), hermite(0.25, 4, 1, -1.0, 0.5), 1e-12);

  // A one-dimensional Bezier key takes its tangents the same way.
  for (EnvelopeKey* k : {&k0, &k1, &k2}) k->shape = KeyShape::Bezier1D;
  EXPECT_NEAR(envelope({k0, k1, k2}).evaluate(1.0), hermite(0.5, 0, 4, 2.0, 1.0), 1e-12);
}

TEST(Envelope, Bezier2DFollowsBothHandles) {
  auto bez = [](double a, double b, double c, double d, double u) {
    return (1 - u) * (1 - u) * (1 - u) * a + 3 * (1 - u) * (1 - u) * u * b + 3 * (1 - u) * u * u * c + u * u * u * d;
  };
  // Handles at a third and two thirds of the span: time runs evenly with the parameter.
  EnvelopeKey k0 = key(0, 0, KeyShape::Bezier2D), k1 = key(3, 6, KeyShape::Bezier2D);
  k0.param[2] = 1.0, k0.param[3] = 3.0;   // outgoing handle at (1, 3)
  k1.param[0] = -1.0, k1.param[1] = 0.0;  // incoming handle at (2, 6)
  EXPECT_NEAR(envelope({k0, k1}).evaluate(1.5), bez(0, 3, 6, 6, 0.5), 1e-9);
  EXPECT_NEAR(envelope({k0, k1}).evaluate(0.75), bez(0, 3, 6, 6, 0.25), 1e-9);

  // Uneven handles: at parameter 0.5 the time is bez(0, 2, 2.5, 3, 0.5) = 2.0625.
  k0.param[2] = 2.0;
  k1.param[0] = -0.5;
  EXPECT_NEAR(envelope({k0, k1}).evaluate(bez(0, 2, 2.5, 3, 0.5)), bez(0, 3, 6, 6, 0.5), 1e-9);

  // A 2D key after a linear one: the missing handle sits a third along the outgoing tangent.
  EnvelopeKey l0 = key(0, 0, KeyShape::Linear), b1 = key(3, 6, KeyShape::Bezier2D);
  b1.param[0] = -1.0, b1.param[1] = 0.0;
  // The linear key's outgoing tangent with no key before is v1 - v0 = 6, so its handle is (1, 2).
  EXPECT_NEAR(envelope({l0, b1}).evaluate(1.5), bez(0, 2, 6, 6, 0.5), 1e-9);
}

TEST(Envelope, BehavioursOutsideTheKeys) {
  // Keys (1, 0) and (3, 4), linear: a period of 2 and a rise of 4.
  auto make = [](EnvBehavior pre, EnvBehavior post) {
    return envelope({key(1, 0), key(3, 4, KeyShape::Linear)}, pre, post);
  };
  Envelope reset = make(EnvBehavior::Reset, EnvBehavior::Reset);
  EXPECT_EQ(reset.evaluate(0.5), 0.0);
  EXPECT_EQ(reset.evaluate(3.5), 0.0);

  Envelope constant = make(EnvBehavior::Constant, EnvBehavior::Constant);
  EXPECT_EQ(constant.evaluate(-10.0), 0.0);
  EXPECT_EQ(constant.evaluate(10.0), 4.0);

  Envelope repeat = make(EnvBehavior::Repeat, EnvBehavior::Repeat);
  EXPECT_DOUBLE_EQ(repeat.evaluate(3.5), 1.0);   // as at 1.5
  EXPECT_DOUBLE_EQ(repeat.evaluate(-0.25), 1.5);  // as at 1.75
  EXPECT_DOUBLE_EQ(repeat.evaluate(7.5), 1.0);   // two periods on
  EXPECT_TRUE(std::isfinite(repeat.evaluate(1e300)));

  Envelope osc = make(EnvBehavior::Oscillate, EnvBehavior::Oscillate);
  EXPECT_DOUBLE_EQ(osc.evaluate(3.5), 3.0);   // first period after: mirrored, as at 2.5
  EXPECT_DOUBLE_EQ(osc.evaluate(5.5), 1.0);   // second: forward again, as at 1.5
  EXPECT_DOUBLE_EQ(osc.evaluate(0.5), 1.0);   // first period before: mirrored about the first key, as at 1.5

  Envelope offset = make(EnvBehavior::OffsetRepeat, EnvBehavior::OffsetRepeat);
  EXPECT_DOUBLE_EQ(offset.evaluate(3.5), 5.0);    // 1 + 4
  EXPECT_DOUBLE_EQ(offset.evaluate(5.5), 9.0);    // 1 + 8
  EXPECT_DOUBLE_EQ(offset.evaluate(-0.5), -3.0);  // as at 1.5, less 4

  Envelope linear = make(EnvBehavior::Linear, EnvBehavior::Linear);
  EXPECT_DOUBLE_EQ(linear.evaluate(4.0), 6.0);    // slope 2 beyond the last key
  EXPECT_DOUBLE_EQ(linear.evaluate(0.0), -2.0);

  // Linear behaviour follows the end key's tangent, not the chord: spline keys (0,0), (1,1),
  // (2,0); the last key's incoming tangent is v2 - v1 = -1 per span of 1.
  Envelope curve = envelope({key(0, 0), key(1, 1), key(2, 0)}, EnvBehavior::Linear, EnvBehavior::Linear);
  EXPECT_DOUBLE_EQ(curve.evaluate(3.0), -1.0);
  EXPECT_DOUBLE_EQ(curve.evaluate(-1.0), -1.0);  // outgoing tangent of the first key is +1
}

}  // namespace
}  // namespace host
