#pragma once
// The records of the refinement: PixelSample, one refined pixel, and RefineState, the fields
// of a preview that the refinement owns. A PixelSample is seven 32-bit words, 28 bytes, in the
// order a saved preview image reads them; the arrays hold width x height entries, bottom row
// first.
#include <atomic>
#include <cstddef>
#include <cstdint>

struct PixelSample {
  float red, green, blue;  // running weighted means, 1.0 full brightness, not clamped
  float coverage;          // running weighted mean, 0 to 1
  float weight;            // the filter weights folded in so far
  float importance;        // written by the statistics
  uint32_t sampleCount;    // samples with this pixel as their home; picks the table row
};
static_assert(sizeof(PixelSample) == 28);
static_assert(offsetof(PixelSample, coverage) == 12);
static_assert(offsetof(PixelSample, sampleCount) == 24);

// The view's thread and the panel's read `quality`, `refineActive` and `paused` without the
// gate, hence atomics. Everything else belongs to the engine's thread.
struct RefineState {
  std::atomic<int32_t> refineActive;  // 1 while passes run: the view shows `display`
  std::atomic<int32_t> paused;        // 1 while the user's pause holds the gate
  PixelSample* pixels;
  uint8_t* display;                   // red, green, blue per pixel, rows of width x 3, bottom first
  double viewLeft, viewBottom, viewRight, viewTop;
  int32_t width, height;
  std::atomic<int32_t> quality;  // what the panel shows; -1 after a stop
  int32_t refinedThisPass;
  double importanceMean;
  double importanceVariance;
  double threshold;
};

inline constexpr double kRefineStartThreshold = 0.09;
