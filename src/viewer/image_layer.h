#pragma once
// ImageLayer: one image of the tile engine, with the walk that visits its cells coarse to
// fine, first over the visible cells and then over the whole grid.
#include <cstdint>

inline constexpr int32_t kEngineMaxLayers = 16;
inline constexpr int32_t kLayerMaxInputs = 8;
inline constexpr int32_t kLayerStateCreating = 1;
inline constexpr int32_t kLayerStateReady = 2;
inline constexpr int32_t kLayerPriorityFinished = -1000;
inline constexpr int32_t kLayerShownNone = 4096;

// Turns a plane position and the cells of the inputs (by slot; null where a slot is empty)
// into one cell. The stamp, the cell's last byte, is the engine's.
using LayerEvaluator = void (*)(double x, double y, const void* const* inputs, void* userData,
                                void* cell);

struct ImageLayer {
  int32_t id;
  uint32_t state;
  int32_t dependentCount;
  int32_t inputCount;
  uint32_t cellBytes;
  ImageLayer* inputs[kLayerMaxInputs];
  ImageLayer* dependents[kEngineMaxLayers];
  LayerEvaluator evaluator;
  uint8_t* buffer;
  uint8_t generation;
  int32_t priorityBias;
  int32_t index;
  int32_t startX, startY;
  int32_t cursorX, cursorY;
  int32_t strideX, strideY;
  int32_t rangeLeft, rangeRight, rangeBottom, rangeTop;
  int32_t priority;
  uint32_t inView;
  uint32_t firstLevel;
  int32_t shownStrideX, shownStrideY;
  int32_t updateCount;
  void* userData;
  uint8_t* defaultCell;
};

// Cells of the grid, right and top exclusive.
struct CellRange {
  int32_t left, bottom, right, top;
};

// Starts the walk over: coarsest level, visible cells first, near where the cursor stood.
void layerReset(ImageLayer* layer, const CellRange& visible, int32_t blockSize);

// Moves the cursor to the next cell of the level; true when the level is done.
bool layerStep(ImageLayer* layer);

// Sets up the level after a finished one: alternately the cells between the columns and
// those between the rows, then, once the view is done at stride 1, the whole grid.
void layerNextLevel(ImageLayer* layer, const CellRange& visible, int32_t gridSize,
                    int32_t blockSize);

// The stamp of a valid cell after an invalidation: 1 to 255 and then 0.
inline uint8_t layerNextGeneration(uint8_t generation) {
  return generation >= 255 ? 0 : static_cast<uint8_t>(generation + 1);
}
