#include "finalrender/sample_deposit.h"

#include <algorithm>
#include <cmath>

#include "finalrender/final_render_job.h"

namespace {

constexpr double kGoldenRatio = 1.618033988749895;

double fraction(double value) { return value - std::floor(value); }

}  // namespace

ShutterWindow shutterWindow(int32_t minSamples, double mb25d, double blurLength, int32_t frameNumber,
                            double framesPerSecond) {
  const double v = fraction(minSamples * kGoldenRatio + 0.5);
  const double w = std::min(mb25d * 1.8 / (minSamples + 3), 1.0);
  double hi = std::min(0.5 * w + v, 1.0);
  double lo = hi - w;
  if (lo < 0.0) {
    lo = 0.0;
    hi = w;
  }
  ShutterWindow window;
  window.framePosition = frameNumber - v * blurLength;
  window.start = (frameNumber - hi * blurLength) / framesPerSecond;
  window.end = (frameNumber - lo * blurLength) / framesPerSecond;
  return window;
}

void depositPlain(FinalRenderJob* job, double px, double py, double radius, const double color[3], double alpha,
                  double weight) {
  const double k = 0.5 / radius;
  const double peak = weight * k * k;
  const int32_t width = job->width;
  const int32_t height = job->height;
  for (int32_t row = int32_t(py - radius); row <= py + radius; ++row) {
    if (row < 0 || row >= height) continue;
    const double dy = py - 0.5 - row;
    for (int32_t column = int32_t(px - radius); column <= px + radius; ++column) {
      if (column < 0 || column >= width) continue;
      const double dx = px - 0.5 - column;
      const double d = std::sqrt(dx * dx + dy * dy) * k;
      if (d >= 1.0) continue;
      const double value = (1.0 - (3.0 - 2.0 * d) * d * d) * peak;
      if (value == 0.0) continue;
      const size_t i = size_t(row) * size_t(width) + size_t(column);
      PixelTally& tally = job->tallies[i];
      const double before = tally.weight;
      const double after = before + value;
      job->red[i] = float((job->red[i] * before + color[0] * value) / after);
      job->green[i] = float((job->green[i] * before + color[1] * value) / after);
      job->blue[i] = float((job->blue[i] * before + color[2] * value) / after);
      job->alpha[i] = float((job->alpha[i] * before + alpha * value) / after);
      tally.weight = float(after);
    }
  }
}

int32_t motionSplats(const double a[2], const double b[2], const double c[2], double start, double middle, double end,
                     double weight, MotionSplat out[kMaxMotionSplats]) {
  const double length = std::hypot(a[0] - b[0], a[1] - b[1]) + std::hypot(c[0] - b[0], c[1] - b[1]);
  // Written so that a length that is not a number counts as one pixel.
  const int32_t count = int32_t(length > 1.0 ? std::min(length, double(kMaxMotionSplats)) : 1.0);
  double sum = 0.0;
  for (int32_t j = 0; j < count; ++j) {
    const double t = (j + 0.5) / count;
    sum += 0.3 - (t - 0.5) * (t - 0.5);
  }
  // Where the sample's own time falls in the shutter, as a fraction: the path runs a -> b up
  // to there and b -> c after it. Measured as a fraction, a blur length below zero (shutter
  // start after shutter end) keeps a at the start.
  const double span = end - start;
  const double m = span != 0.0 ? std::clamp((middle - start) / span, 0.0, 1.0) : 0.5;
  for (int32_t j = 0; j < count; ++j) {
    const double t = (j + 0.5) / count;
    const double* from = b;
    const double* to = c;
    double f = 0.0;
    if (t < m) {
      from = a;
      to = b;
      f = t / m;
    } else if (m < 1.0) {
      f = (t - m) / (1.0 - m);
    }
    out[j].x = from[0] + (to[0] - from[0]) * f;
    out[j].y = from[1] + (to[1] - from[1]) * f;
    out[j].weight = weight * (0.3 - (t - 0.5) * (t - 0.5)) / sum;
  }
  return count;
}
