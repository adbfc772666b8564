#pragma once
// Small vector helpers on double[3], for the capture, the ray engine and the shading.
#include <cmath>

namespace vec {

inline double dot(const double a[3], const double b[3]) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }
inline double lengthSquared(const double a[3]) { return dot(a, a); }
inline double length(const double a[3]) { return std::sqrt(dot(a, a)); }
inline void copy(const double a[3], double out[3]) {
  out[0] = a[0];
  out[1] = a[1];
  out[2] = a[2];
}
inline void set(double out[3], double x, double y, double z) {
  out[0] = x;
  out[1] = y;
  out[2] = z;
}
inline void scale(const double a[3], double k, double out[3]) {
  out[0] = a[0] * k;
  out[1] = a[1] * k;
  out[2] = a[2] * k;
}
inline void sub(const double a[3], const double b[3], double out[3]) {
  out[0] = a[0] - b[0];
  out[1] = a[1] - b[1];
  out[2] = a[2] - b[2];
}
inline void add(const double a[3], const double b[3], double out[3]) {
  out[0] = a[0] + b[0];
  out[1] = a[1] + b[1];
  out[2] = a[2] + b[2];
}
// out = a + b x k
inline void addScaled(const double a[3], const double b[3], double k, double out[3]) {
  out[0] = a[0] + b[0] * k;
  out[1] = a[1] + b[1] * k;
  out[2] = a[2] + b[2] * k;
}
// Left-handed like the host's world: cross(x, y) = z.
inline void cross(const double a[3], const double b[3], double out[3]) {
  const double x = a[1] * b[2] - a[2] * b[1];
  const double y = a[2] * b[0] - a[0] * b[2];
  const double z = a[0] * b[1] - a[1] * b[0];
  out[0] = x;
  out[1] = y;
  out[2] = z;
}
// In place; a zero vector becomes (0, 1, 0). Returns the length it had.
inline double normalize(double a[3]) {
  const double l = length(a);
  if (l > 0.0) {
    a[0] /= l;
    a[1] /= l;
    a[2] /= l;
  } else {
    set(a, 0.0, 1.0, 0.0);
  }
  return l;
}
// One Newton step towards unit length, for vectors that are nearly unit already.
inline void renormalize(double a[3]) {
  const double s = 1.5 - 0.5 * dot(a, a);
  a[0] *= s;
  a[1] *= s;
  a[2] *= s;
}
inline bool differs(const double a[3], const double b[3], double tolerance) {
  return std::fabs(a[0] - b[0]) > tolerance || std::fabs(a[1] - b[1]) > tolerance ||
         std::fabs(a[2] - b[2]) > tolerance;
}

// In place, by the reciprocal of the length (the rounding the ray engine's normals were
// made with); a zero vector becomes (0, 1, 0).
inline void normaliseOrUp(double v[3]) {
  const double length2 = dot(v, v);
  if (length2 == 0.0) {
    set(v, 0.0, 1.0, 0.0);
    return;
  }
  const double k = 1.0 / std::sqrt(length2);
  v[0] *= k;
  v[1] *= k;
  v[2] *= k;
}

}  // namespace vec
