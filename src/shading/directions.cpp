#include "shading/directions.h"

#include <cmath>

#include "rayengine/polygon_prep.h"
#include "runtime/random.h"
#include "runtime/vector_ops.h"

namespace {

constexpr double kGolden = 1.618033988749895;

double frac(double x) { return x - std::floor(x); }

}  // namespace

void DiffuseDirection(const double normal[3], double u, double v, int index, int count, double direction[3]) {
  double t1[3], t2[3];
  TangentFrame(normal, t1, t2);
  double a = frac(double(index) / count + u);
  double b = frac(index * kGolden + v);
  squareToDisc(&a, &b);
  const double r2 = a * a + b * b;
  const double h = r2 < 1.0 ? std::sqrt(1.0 - r2) : 0.0;
  for (int k = 0; k < 3; ++k) direction[k] = a * t1[k] + b * t2[k] + h * normal[k];
}

void BlurDirection(const double direction[3], const double normal[3], double amount, double u, double v,
                   double result[3]) {
  const double c = vec::dot(direction, normal);
  if (amount <= 0.001 || std::fabs(c) <= 0.001) {
    vec::copy(direction, result);
    return;
  }
  const double side = c > 0.0 ? 1.0 : -1.0;
  double x = frac(u + 1.0), y = frac(v + kGolden);
  squareToDisc(&x, &y);
  double t1[3], t2[3];
  TangentFrame(direction, t1, t2);
  for (;;) {
    for (int k = 0; k < 3; ++k) result[k] = direction[k] + (x * t1[k] + y * t2[k]) * amount;
    if (vec::dot(result, normal) * side >= 0.0) break;
    // Crossed the surface: pull the jitter in until it stays on its side.
    amount = amount * 0.8 - 0.01;
    if (amount < 0.0) amount = 0.0;
  }
  vec::normalize(result);
}

void ReflectDirection(const double d[3], const double n[3], double result[3]) {
  const double c = 2.0 * vec::dot(d, n);
  for (int k = 0; k < 3; ++k) result[k] = c * n[k] - d[k];
  vec::renormalize(result);
}

int RefractDirection(const double d[3], const double n[3], double ratio, double result[3]) {
  double e;
  if (ratio <= 0.0001) {
    e = 100.0;
  } else {
    e = 1.0 / ratio;
    if (e > 0.996 && e < 1.004) {
      vec::scale(d, -1.0, result);
      return 0;
    }
  }
  const double c = vec::dot(d, n);
  const double k = 1.0 - e * e * (1.0 - c * c);
  if (k < 0.0) {
    for (int i = 0; i < 3; ++i) result[i] = 2.0 * c * n[i] - d[i];
    vec::renormalize(result);
    return 1;
  }
  const double m = c < 0.0 ? c * e + std::sqrt(k) : c * e - std::sqrt(k);
  for (int i = 0; i < 3; ++i) result[i] = m * n[i] - e * d[i];
  vec::renormalize(result);
  return 0;
}
