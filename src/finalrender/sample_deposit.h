#pragma once
// How a final render sample reaches the pixels: a smooth radial filter around its position
// folded into running weighted means (the plain splat), and, with screen-space motion blur,
// a row of such splats along the point's path on the screen during the shutter. Also the
// shutter window that each pass of a blurred frame samples.
#include <cstdint>

struct FinalRenderJob;

// The part of the frame's blur that one pass samples. A pass at level m takes the time
// frameNumber - v x L with v running along the golden ratio by level, and a shutter of width
// w = "MB25D" x 1.8 / (m + 3) (at most 1) around it, held inside 0..1 of the blur length L.
struct ShutterWindow {
  double framePosition;  // the frame the host moves to
  double start;          // seconds
  double end;            // seconds
};
ShutterWindow shutterWindow(int32_t minSamples, double mb25d, double blurLength, int32_t frameNumber,
                            double framesPerSecond);

// Folds a value into the pixels within `radius` of (px, py), pixel i covering i to i + 1.
// The filter is 1 - (3 - 2d) d^2 over the distance d scaled by 0.5 / radius, times `weight`
// x (0.5 / radius)^2; only the tallies' weights change, not their sample counts.
void depositPlain(FinalRenderJob* job, double px, double py, double radius, const double color[3], double alpha,
                  double weight);

inline constexpr int32_t kMaxMotionSplats = 50;

struct MotionSplat {
  double x, y;
  double weight;
};

// The splats of a sample whose point stands at a, b, c on the screen at the times start,
// middle and end: one per pixel of the path's length (1 to 50), at the times
// start + (end - start) (j + 0.5) / q, placed along a -> b before the middle time and
// b -> c from it on, weighted by 0.3 - (t - 0.5)^2 and summing to `weight`. Returns q.
int32_t motionSplats(const double a[2], const double b[2], const double c[2], double start, double middle, double end,
                     double weight, MotionSplat out[kMaxMotionSplats]);
