#include "shading/environment_lookup.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>

#include "runtime/global_services.h"
#include "runtime/random.h"
#include "shading/captured_environment.h"
#include "runtime/vector_ops.h"

namespace {

void texel(const LWImageList* images, LWImageID image, int x, int y, double out[3]) {
  LWBufferValue rgb[3] = {0.0f, 0.0f, 0.0f};
  try {
    images->RGB(image, x, y, rgb);
  } catch (...) {
  }
  for (int k = 0; k < 3; ++k) out[k] = double(rgb[k]);
}

void bilinear(LWImageID image, int width, int height, double u, double v, double color[3]) {
  color[0] = color[1] = color[2] = 0.0;
  const LWImageList* images = globalServices.imageList;
  if (!images || !image || width < 1 || height < 1) return;
  const double yc = std::clamp(v, 0.0, 1.0);
  const double x = (width - 1e-06) * (u - std::floor(u));
  const double y = yc * (height - 1e-06);
  const int x0 = std::clamp(int(x), 0, width - 1), y0 = std::clamp(int(y), 0, height - 1);
  // The next column wraps round the sphere; the next row stays on the last one.
  const int x1 = x0 + 1 >= width ? 0 : x0 + 1;
  const int y1 = y0 + 1 >= height ? height - 1 : y0 + 1;
  const double fx = x - x0, fy = y - y0;
  double c00[3], c10[3], c01[3], c11[3];
  texel(images, image, x0, y0, c00);
  texel(images, image, x1, y0, c10);
  texel(images, image, x0, y1, c01);
  texel(images, image, x1, y1, c11);
  for (int k = 0; k < 3; ++k) {
    const double top = c00[k] + (c10[k] - c00[k]) * fx;
    const double bottom = c01[k] + (c11[k] - c01[k]) * fx;
    color[k] = top + (bottom - top) * fy;
  }
}

}  // namespace

void SoftBackdrop(double time, const double direction[3], double color[3]) {
  // Seeded by the direction, so that a direction always gets the same colour.
  uint32_t seed = uint32_t(int64_t(310851140.0 * direction[0] + 36054567.0 * direction[1] + 7480866.0 * direction[2]));
  double sum[3] = {0.0, 0.0, 0.0};
  for (int i = 0; i < 15; ++i) {
    double d[3];
    // The jitter leans towards the positive axes; the look of the renderer depends on it.
    const double r1 = fastUnit(&seed), r2 = fastUnit(&seed), r3 = fastUnit(&seed);
    d[0] = direction[0] + 0.15 * r1;
    d[1] = direction[1] + 0.15 * r2;
    d[2] = direction[2] + 0.15 * r3;
    vec::normalize(d);
    double c[3];
    sceneBackdrop(time, d, c);
    for (int k = 0; k < 3; ++k) sum[k] += c[k];
  }
  for (int k = 0; k < 3; ++k) color[k] = sum[k] * 0.06666666666666667;
}

void SpherePixels(LWImageID image, int width, int height, double u, double v, double blur, double color[3]) {
  if (blur < 0.001) {
    bilinear(image, width, height, u, v, color);
    return;
  }
  const int s = std::clamp(width, 128, 2048);
  const int n = std::min(int(s * 0.25 * blur + 5.0), 100);
  double sum[3] = {0.0, 0.0, 0.0};
  double angle = 0.0;
  for (int i = 0; i < n; ++i) {
    const double radius = std::sqrt((i + 0.5) / n) * 0.055 * blur;
    double c[3];
    // The map's vertical span is the shorter: half a turn against a whole one.
    bilinear(image, width, height, u + std::cos(angle) * radius, v + 1.5 * radius * std::sin(angle), c);
    for (int k = 0; k < 3; ++k) sum[k] += c[k];
    angle += 3.883222077450933;
  }
  for (int k = 0; k < 3; ++k) color[k] = sum[k] / n;
}

void SphereMapLookup(LWImageID image, int width, int height, const double direction[3], double seamAngle,
                     double blur, double color[3]) {
  const double x = direction[0], z = direction[2];
  double heading;
  if (z == 0.0) heading = x < 0.0 ? -std::numbers::pi / 2.0 : std::numbers::pi / 2.0;
  else heading = std::atan2(x, z);
  double a = (heading - seamAngle) / (2.0 * std::numbers::pi);
  a -= std::floor(a);
  const double b = 0.5 + std::asin(std::clamp(-direction[1], -1.0, 1.0)) * (2.0 / std::numbers::pi) * 0.5;
  SpherePixels(image, width, height, a, b, blur, color);
}
