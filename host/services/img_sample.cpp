#include "host/services/img_sample.h"

#include <cmath>

namespace host {

int tileIndex(long long i, int n, TileMode mode) {
  if (n <= 1) return 0;
  switch (mode) {
    case TileMode::Repeat: {
      const long long r = i % n;
      return int(r < 0 ? r + n : r);
    }
    case TileMode::Mirror: {
      const long long period = 2LL * n;
      long long r = i % period;
      if (r < 0) r += period;
      return int(r < n ? r : period - 1 - r);
    }
    case TileMode::Reset:
    case TileMode::Edge:
    default:
      return int(i < 0 ? 0 : (i >= n ? n - 1 : i));
  }
}

void samplePixels(const ImagePixels& pixels, double x, double y, bool blend, TileMode tileX, TileMode tileY,
                  double out[4]) {
  const int w = pixels.width, h = pixels.height;
  // Far outside any image: hold there, so the index arithmetic can't overflow.
  x = std::fmax(-1e15, std::fmin(1e15, x));
  y = std::fmax(-1e15, std::fmin(1e15, y));
  float c[4];
  if (!blend) {
    pixels.rgba(tileIndex((long long)std::floor(x), w, tileX), tileIndex((long long)std::floor(y), h, tileY), c);
    for (int k = 0; k < 4; ++k) out[k] = c[k];
    return;
  }
  const double fx = x - 0.5, fy = y - 0.5;
  const double x0 = std::floor(fx), y0 = std::floor(fy);
  const double tx = fx - x0, ty = fy - y0;
  const int xa = tileIndex((long long)x0, w, tileX), xb = tileIndex((long long)x0 + 1, w, tileX);
  const int ya = tileIndex((long long)y0, h, tileY), yb = tileIndex((long long)y0 + 1, h, tileY);
  float a[4], b[4], d[4], e[4];
  pixels.rgba(xa, ya, a);
  pixels.rgba(xb, ya, b);
  pixels.rgba(xa, yb, d);
  pixels.rgba(xb, yb, e);
  for (int k = 0; k < 4; ++k) {
    const double top = a[k] + (b[k] - a[k]) * tx;
    const double bottom = d[k] + (e[k] - d[k]) * tx;
    out[k] = top + (bottom - top) * ty;
  }
}

}  // namespace host
