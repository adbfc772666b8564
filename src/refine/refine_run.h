#pragma once
// The refinement: the idle callback of a preview's engine, which runs pass after pass over the
// view's pixels without end, spending samples where the picture still looks uncertain, until
// the engine wants its thread back. A run never continues an earlier one: each starts from an
// empty pixel array. A pause holds the engine's gate, so a run just waits in its next poll.
#include <cstdint>

struct RefineState;
struct TileEngine;
struct ViewerPanel;

inline constexpr uint32_t kRefineRedrawPeriod = 2000;
inline constexpr int32_t kRefineRotationPasses = 18;
inline constexpr int32_t kRefineNoCell = 99;
inline constexpr int32_t kRefineLastImportancePass = 24;

void refineRun(TileEngine* engine, ViewerPanel* viewer);
// refineRun as the engine's idle callback; the argument is the viewer.
void refineIdle(void* viewer);

// The schedule's parts, in the order a pass uses them.
uint32_t refineStride(uint32_t pixelCount);  // coprime to the count, i x stride within 32 bits
int32_t refineNextPass(int32_t pass);        // 1, 2, ..., 24, 25, 27, 29, ...
double refinePassWeight(int32_t pass);
bool refineNeedsStatistics(int32_t pass);    // and the threshold's adaptation after the pass
bool refineUsesImportance(int32_t pass);     // otherwise the rotation picks the pixels
int32_t refineRotationCell(int32_t pass);    // row x 3 + column of the 3 x 3 tile, or 99
int32_t refineQuality(int32_t pass);
// Importance of every pixel of a width x height array, and their mean and floored variance.
void refineStatistics(RefineState* state, int32_t width, int32_t height);
bool refineImportant(const RefineState* state, float importance);
double refineAdaptThreshold(double threshold, int64_t pixelCount, int32_t refined);
