#pragma once
// What happens to one pixel of a preview, and to the whole picture at the start of a run:
// the first picture folded from the engine's layers, the placement and tracing of one
// sample, and the filter that folds a sample into the pixels around it and into the bytes
// on screen. Engine's thread only; the display bytes are read by the view's thread without a
// lock (a torn pixel lasts until the next redraw), so they are written as relaxed atomics.
#include <cstdint>

#include <lwimage.h>

#include "refine/refine_state.h"

struct TileEngine;
struct ViewerPanel;

inline constexpr float kRefineFilledWeight = 1e-9f;  // 0x3089705F: a hole filled from its neighbours
inline constexpr double kRefineFirstPassRadius = 0.25;

// The pixel array for a view of width x height over the frame rectangle, filled from the
// layers; null when it could not be allocated or the engine said stop.
PixelSample* refineFirstPass(ViewerPanel* viewer, TileEngine* engine, double left, double bottom, double right,
                             double top, int32_t width, int32_t height);
// Takes `samples` samples for the pixel at (x, y), each with the given weight.
void refinePixel(ViewerPanel* viewer, PixelSample* pixel, PixelSample* pixels, double weight, int32_t x, int32_t y,
                 int32_t samples);
// Folds one sample at (x, y) in pixels (pixel i covers i to i + 1) into the pixels it reaches,
// and into their display bytes when `display` is given.
void splatSample(double x, double y, const double colour[3], double weight, double extraRadius, double coverage,
                 PixelSample* pixels, uint8_t* display, int32_t width, int32_t height);
// The compositing background's colour at a place of the frame given as fractions from the
// left and from the top; false (colour untouched) when the host has no such image or faults.
bool refineBackgroundColour(LWImageID image, double fromLeft, double fromTop, double colour[3]);
// The display byte of a colour value: clamped to 0..1, times 255, truncated.
uint8_t refineDisplayByte(double value);
