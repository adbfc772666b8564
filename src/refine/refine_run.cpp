#include "refine/refine_run.h"

#include <algorithm>
#include <numeric>

#include "refine/pixel_refine.h"
#include "refine/refine_state.h"
#include "shading/captured_camera.h"
#include "viewer/tile_engine.h"
#include "viewer/view_control.h"
#include "viewer/viewer_panel.h"

namespace {

// Nine odd passes in a row visit each cell of a 3 x 3 tile once; even passes pick none.
constexpr int32_t kRotation[kRefineRotationPasses] = {99, 4, 99, 8, 99, 0, 99, 7, 99, 2, 99, 3, 99, 1, 99, 5, 99, 6};
constexpr double kGoldenRatio = 0.6180339887498948;
constexpr double kStrideLimit = 1717986918.4;  // 0.4 x 2^32: i x stride stays a signed 32-bit number
constexpr int32_t kFullWeightPass = 8;
constexpr int32_t kStatisticsPasses = 4;
constexpr double kVarianceFloor = 0.00001;
constexpr double kBrightnessFloor = 0.029999999329447746;   // 0.03 in single precision
constexpr double kDarkScale = 33.333335876464844;           // its inverse in single precision
constexpr double kRefinedShare = 0.15;
constexpr double kAdaptLow = 0.55, kAdaptHigh = 1.9;

// The pass loop; false when stopped inside it.
void passes(ViewerPanel* viewer, TileEngine* engine, int32_t width, int32_t height, uint32_t stride) {
  RefineState* s = &viewer->refine;
  const int64_t n = int64_t(width) * height;
  int32_t pass = 0;
  for (;;) {
    s->refinedThisPass = 0;
    pass = refineNextPass(pass);
    const double weight = refinePassWeight(pass);
    const bool statistics = refineNeedsStatistics(pass);
    if (statistics) refineStatistics(s, width, height);
    const bool importance = refineUsesImportance(pass);
    const int32_t cell = refineRotationCell(pass);
    for (int64_t i = 0; i < n; ++i) {
      if (engineShouldStop(engine)) {
        s->quality = -1;
        s->refineActive = 0;
        viewDetachImage(viewer->view);
        return;
      }
      const int64_t index = (i * stride) % n;
      const int32_t y = int32_t(index / width), x = int32_t(index % width);
      PixelSample* pixel = &s->pixels[index];
      bool refine;
      if (importance) {
        refine = refineImportant(s, pixel->importance);
        if (refine) ++s->refinedThisPass;
      } else {
        refine = (y % 3) * 3 + (x % 3) == cell;
      }
      if (refine) refinePixel(viewer, pixel, s->pixels, weight, x, y, 1);
    }
    viewSetPeriod(viewer->view, kRefineRedrawPeriod);
    s->quality = refineQuality(pass);
    if (statistics) s->threshold = refineAdaptThreshold(s->threshold, n, s->refinedThisPass);
  }
}

}  // namespace

uint32_t refineStride(uint32_t n) {
  if (n <= 3) return 1;
  int64_t c = int64_t(kGoldenRatio * n + 0.5);
  if (c > kStrideLimit / n) c = int64_t(kStrideLimit / n);
  for (int64_t step = 0;; ++step) {
    // c, c + 1, c - 1, c + 2, c - 2, ...
    const int64_t candidate = c + ((step & 1) ? (step + 1) / 2 : -(step / 2));
    if (candidate >= 1 && std::gcd(candidate, int64_t(n)) == 1) return uint32_t(candidate);
  }
}

int32_t refineNextPass(int32_t pass) { return pass <= kRefineLastImportancePass ? pass + 1 : pass + 2; }

double refinePassWeight(int32_t pass) { return pass < kFullWeightPass ? 1.0 + 3.0 * pass / 8.0 : 4.0; }

bool refineNeedsStatistics(int32_t pass) {
  return pass < kStatisticsPasses || (pass % 2 == 0 && pass < kRefineLastImportancePass);
}

bool refineUsesImportance(int32_t pass) { return pass < kStatisticsPasses || pass % 2 == 0; }

int32_t refineRotationCell(int32_t pass) { return kRotation[pass % kRefineRotationPasses]; }

int32_t refineQuality(int32_t pass) {
  return pass < kRefineLastImportancePass ? pass + 1 : kRefineLastImportancePass + (pass - 23) / 2;
}

void refineStatistics(RefineState* s, int32_t width, int32_t height) {
  double sum = 0.0, squares = 0.0;
  for (int32_t y = 0; y < height; ++y)
    for (int32_t x = 0; x < width; ++x) {
      PixelSample* centre = &s->pixels[size_t(y) * width + x];
      double brightness = 0.0, differences = 0.0;
      int32_t count = 0;
      for (int32_t j = std::max(y - 1, 0); j <= std::min(y + 1, height - 1); ++j)
        for (int32_t i = std::max(x - 1, 0); i <= std::min(x + 1, width - 1); ++i) {
          const PixelSample* p = &s->pixels[size_t(j) * width + i];
          const double dr = p->red - centre->red, dg = p->green - centre->green, db = p->blue - centre->blue;
          const double dc = p->coverage - centre->coverage;
          brightness += double(p->red) + p->green + p->blue;
          differences += dr * dr + dg * dg + db * db + dc * dc;
          ++count;
        }
      double v = count > 1 ? 9.0 * differences / (double(count) * count - count) : 0.0;
      v /= double(centre->sampleCount) + 1.0;
      if (brightness > 0.0) v /= brightness / count + kBrightnessFloor;
      else v *= kDarkScale;
      centre->importance = float(v);
      sum += centre->importance;
      squares += double(centre->importance) * centre->importance;
    }
  const double n = double(width) * height;
  s->importanceMean = n > 0 ? sum / n : 0.0;
  const double variance = n > 0 ? squares / n - s->importanceMean * s->importanceMean : 0.0;
  s->importanceVariance = variance < kVarianceFloor ? kVarianceFloor : variance;
}

bool refineImportant(const RefineState* s, float importance) {
  // Deliberate: divided by the variance, not the deviation; the threshold's adaptation is
  // tuned to it.
  const double z = (importance - s->importanceMean) / s->importanceVariance;
  return s->threshold * (z + 1.0 + 0.01 * s->threshold) > 1.0;
}

double refineAdaptThreshold(double threshold, int64_t n, int32_t refined) {
  const double r = std::clamp(double(n) * kRefinedShare / (refined + 1), kAdaptLow, kAdaptHigh);
  return threshold * r;
}

void refineRun(TileEngine* engine, ViewerPanel* viewer) {
  if (engineShouldStop(engine)) return;
  int32_t width = 0, height = 0;
  double left = 0, bottom = 0, right = 0, top = 0;
  viewGetState(viewer->view, &width, &height, &left, &bottom, &right, &top);
  if (!refineFirstPass(viewer, engine, left, bottom, right, top, width, height)) return;
  RefineState* s = &viewer->refine;
  s->quality = 0;
  cameraSetLensOffset(&viewer->camera, 0.5, 0.5, 0.0, 0.0);
  const uint32_t stride = refineStride(uint32_t(width) * uint32_t(height));
  if (engineShouldStop(engine)) return;
  viewAttachImage(viewer->view, s->display, 3, width * 3, width, height);
  s->refineActive = 1;
  viewSetPeriod(viewer->view, kRefineRedrawPeriod);
  s->threshold = kRefineStartThreshold;
  passes(viewer, engine, width, height, stride);
}

void refineIdle(void* viewer) {
  auto* v = static_cast<ViewerPanel*>(viewer);
  refineRun(v->engine, v);
}
