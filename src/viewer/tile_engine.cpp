#include "viewer/tile_engine.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

#include "platform/thread.h"
#include "runtime/gate.h"
#include "runtime/locks.h"
#include "runtime/memory.h"
#include "viewer/block_ops.h"

namespace {

class ImageLockGuard {
 public:
  explicit ImageLockGuard(TileEngine* engine) : lock_(engine->imageLock) { simpleLockEnter(lock_); }
  ~ImageLockGuard() { simpleLockLeave(lock_); }
  ImageLockGuard(const ImageLockGuard&) = delete;
  ImageLockGuard& operator=(const ImageLockGuard&) = delete;

 private:
  SimpleLock* lock_;
};

class EngineLockGuard {
 public:
  explicit EngineLockGuard(TileEngine* engine) : engine_(engine) { engineLock(engine_); }
  ~EngineLockGuard() { engineUnlock(engine_); }
  EngineLockGuard(const EngineLockGuard&) = delete;
  EngineLockGuard& operator=(const EngineLockGuard&) = delete;

 private:
  TileEngine* engine_;
};

ImageLayer* findLayer(TileEngine* engine, int32_t id) {
  for (int32_t i = 0; i < engine->layerCount; ++i) {
    if (engine->layers[i]->id == id) return engine->layers[i];
  }
  return nullptr;
}

CellRange visibleCells(const TileEngine* engine) {
  return {engine->visibleLeft, engine->visibleBottom, engine->visibleRight, engine->visibleTop};
}

size_t bufferBytes(const TileEngine* engine, const ImageLayer* layer) {
  const size_t side = static_cast<size_t>(engine->gridSize);
  return side * side * layer->cellBytes;
}

void resetLayer(TileEngine* engine, ImageLayer* layer) {
  ImageLockGuard images(engine);
  layerReset(layer, visibleCells(engine), engine->blockSize);
}

void resetAllLayers(TileEngine* engine) {
  ImageLockGuard images(engine);
  for (int32_t i = 0; i < engine->layerCount; ++i) resetLayer(engine, engine->layers[i]);
}

// One layer and, recursively, whatever reads it; `done` keeps a layer reached by two paths
// from counting twice. The caller holds the gate or is the thread.
void invalidateLayer(TileEngine* engine, ImageLayer* layer, uint32_t* done) {
  const uint32_t bit = 1u << layer->index;
  if (*done & bit) return;
  *done |= bit;
  resetLayer(engine, layer);
  layer->generation = layerNextGeneration(layer->generation);
  layer->shownStrideX = kLayerShownNone;
  layer->shownStrideY = kLayerShownNone;
  ++layer->updateCount;
  for (int32_t i = 0; i < layer->dependentCount; ++i) {
    invalidateLayer(engine, layer->dependents[i], done);
  }
}

void invalidateAll(TileEngine* engine) {
  ImageLockGuard images(engine);
  uint32_t done = 0;
  for (int32_t i = 0; i < engine->layerCount; ++i) invalidateLayer(engine, engine->layers[i], &done);
}

// The visible cells of the view on the grid, at least one block wide and high.
void computeVisible(TileEngine* engine) {
  const EngineRect& v = engine->viewRect;
  const EngineRect& g = engine->gridRect;
  const int32_t n = engine->gridSize;
  const int32_t b = engine->blockSize;
  // Clamped in doubles first: a view far off the grid must not overflow the conversion.
  auto cell = [n](double low, double extent, double at, bool up) {
    double c = (at - low) * n / extent;
    c = up ? std::ceil(c) : std::floor(c);
    return static_cast<int32_t>(std::clamp(c, 0.0, static_cast<double>(n)));
  };
  auto widen = [n, b](int32_t& low, int32_t& high) {
    if (high - low >= b) return;
    low = std::max((low + high) / 2 - b / 2, 0);
    high = low + b;
    if (high > n) {
      high = n;
      low = n - b;
    }
  };
  const double gw = g.right - g.left;
  const double gh = g.top - g.bottom;
  engine->visibleLeft = cell(g.left, gw, v.left, false);
  engine->visibleRight = cell(g.left, gw, v.right, true);
  engine->visibleBottom = cell(g.bottom, gh, v.bottom, false);
  engine->visibleTop = cell(g.bottom, gh, v.top, true);
  widen(engine->visibleLeft, engine->visibleRight);
  widen(engine->visibleBottom, engine->visibleTop);
}

void fitGrid(TileEngine* engine) {
  ImageLockGuard images(engine);
  const EngineRect& v = engine->viewRect;
  const double mx = (v.right - v.left) / 5.0;
  const double my = (v.top - v.bottom) / 5.0;
  engine->gridRect = {v.left - mx, v.right + mx, v.bottom - my, v.top + my};
  computeVisible(engine);
}

// Retried in every idle round: a layer that could not get its buffer simply has no image.
void allocateMissingBuffers(TileEngine* engine) {
  for (int32_t i = 0; i < engine->layerCount; ++i) {
    ImageLayer* layer = engine->layers[i];
    if (layer->buffer) continue;
    auto* buffer = static_cast<uint8_t*>(memAllocZero(bufferBytes(engine, layer)));
    if (!buffer) continue;
    ImageLockGuard images(engine);
    layer->buffer = buffer;
  }
}

// The layer that most needs the thread: coarsest level first, the view before the rest.
ImageLayer* chooseLayer(TileEngine* engine) {
  const bool toTheEnd = engine->detail.load() == 1;
  ImageLayer* best = nullptr;
  int32_t bestScore = -999;
  for (int32_t i = 0; i < engine->layerCount; ++i) {
    ImageLayer* layer = engine->layers[i];
    if (!layer->buffer || layer->state != kLayerStateReady) continue;
    if (layer->priority <= kLayerPriorityFinished) continue;  // a negative bias must not revive it
    if (!toTheEnd && layer->shownStrideX <= 2 && layer->shownStrideY <= 2) continue;
    const int32_t score = layer->priority - layer->priorityBias;
    if (score > bestScore) {
      best = layer;
      bestScore = score;
    }
  }
  engine->currentLayer = best;
  return best;
}

// The cell (x, y) of a layer, computed first if its stamp is stale; inputs are computed on
// demand the same way. A layer without a buffer is computed into its one spare cell.
const uint8_t* evaluateCell(TileEngine* engine, ImageLayer* layer, int32_t x, int32_t y) {
  const uint32_t cellBytes = layer->cellBytes;
  uint8_t* cell = layer->defaultCell;
  if (layer->buffer) {
    cell = layer->buffer +
           (static_cast<size_t>(y) * static_cast<size_t>(engine->gridSize) + x) * cellBytes;
    if (cell[cellBytes - 1] == layer->generation) return cell;
  }
  const void* inputs[kLayerMaxInputs] = {};
  for (int32_t i = 0; i < layer->inputCount; ++i) {
    if (layer->inputs[i]) inputs[i] = evaluateCell(engine, layer->inputs[i], x, y);
  }
  if (layer->evaluator) {
    const EngineRect& g = engine->gridRect;
    const double last = static_cast<double>(engine->gridSize - 1);
    const double px = g.left + (g.right - g.left) * x / last;
    const double py = g.bottom + (g.top - g.bottom) * y / last;
    layer->evaluator(px, py, inputs, layer->userData, cell);
  }
  // Released: a reader that sees the stamp (the display, without the image lock) sees the cell.
  std::atomic_ref<uint8_t>(cell[cellBytes - 1]).store(layer->generation, std::memory_order_release);
  return cell;
}

void nextLevel(TileEngine* engine, ImageLayer* layer) {
  ImageLockGuard images(engine);
  layerNextLevel(layer, visibleCells(engine), engine->gridSize, engine->blockSize);
}

// The gate's poll, where a client let through counts as an interrupt too: a client sets the
// interrupt before it queues, so the thread may have cleared it in between, and the client's
// change would otherwise go unseen.
int32_t pollGate(EngineGate* gate) {
  const bool clientWaiting = gate->waiters.load() > 0;
  const int32_t interrupt = gateWorkerPoll(gate);
  return interrupt != 0 || clientWaiting ? 1 : 0;
}

// Cells until a client wants the thread or no layer has work.
void runRound(TileEngine* engine) {
  ImageLayer* layer;
  while (pollGate(engine->gate) == 0 && (layer = engine->currentLayer) != nullptr) {
    const int32_t x = layer->cursorX;
    const int32_t y = layer->cursorY;
    if (layerStep(layer)) {
      nextLevel(engine, layer);
      chooseLayer(engine);
    }
    evaluateCell(engine, layer, x, y);
  }
}

// A whole cell of stale stamps for each layer's fill, in one block sized for the largest.
uint8_t* allocateFill(TileEngine* engine) {
  uint32_t largest = 0;
  for (int32_t i = 0; i < engine->layerCount; ++i) {
    largest = std::max(largest, engine->layers[i]->cellBytes);
  }
  return static_cast<uint8_t*>(memAlloc(largest));
}

// Runs the given move over every layer with a buffer; a layer whose fill could not be had
// loses its cells by a new generation instead of showing stale ones.
template <typename Move>
void moveBuffers(TileEngine* engine, Move move) {
  uint8_t* fill = allocateFill(engine);
  uint32_t done = 0;
  for (int32_t i = 0; i < engine->layerCount; ++i) {
    ImageLayer* layer = engine->layers[i];
    if (!layer->buffer) continue;
    if (!fill) {
      invalidateLayer(engine, layer, &done);
      continue;
    }
    std::memset(fill, static_cast<uint8_t>(layer->generation - 1), layer->cellBytes);
    move(layer, fill);
  }
  memFree(fill);
}

// On the thread, after engineSetView: keep what can be kept by magnifying or shifting the
// buffers, or start over when the view has outgrown the grid.
void viewMove(TileEngine* engine) {
  simpleLockEnter(engine->imageLock);
  engine->viewChanged.store(0);
  const EngineRect v = engine->viewRect;
  const EngineRect g = engine->gridRect;
  const int32_t n = engine->gridSize;
  const double vw = v.right - v.left, vh = v.top - v.bottom;
  const double gw = g.right - g.left, gh = g.top - g.bottom;

  if (gw / vw > 2.05 && gh / vh > 2.05) {
    // Zoomed in: every f-th cell of the middle of the grid is still good.
    const double ratio = std::min(gw / vw, gh / vh);
    const int32_t f = ratio >= 4.0 ? 4 : 2;
    // Kept in doubles: a view centre far off the grid must still move the grid to it.
    auto offset = [n, f](double centre, double low, double extent) {
      const double cell = std::floor((centre - low) / extent * (n - 1) + 0.5);
      return std::floor((cell + 4) / 8) * 8 * f - n / 2;
    };
    const double ox = offset((v.left + v.right) / 2, g.left, gw);
    const double oy = offset((v.bottom + v.top) / 2, g.bottom, gh);
    // Beyond (f + 1) grids either way no cell has a source, and the clamp keeps that so.
    auto cells = [n, f](double o) {
      return static_cast<int32_t>(std::clamp(o, -(f + 1.0) * n, (f + 1.0) * n));
    };
    moveBuffers(engine, [&](ImageLayer* layer, const uint8_t* fill) {
      blockMagnify(layer->buffer, n, layer->cellBytes, f, cells(ox), cells(oy), fill);
    });
    const double sx = gw / (static_cast<double>(n - 1) * f);
    const double sy = gh / (static_cast<double>(n - 1) * f);
    engine->gridRect = {g.left + ox * sx, g.left + (ox + n - 1) * sx, g.bottom + oy * sy,
                        g.bottom + (oy + n - 1) * sy};
  } else if (v.left >= g.left && v.right <= g.right && v.bottom >= g.bottom && v.top <= g.top) {
    // Still inside the grid: nothing moves.
  } else if (gw <= vw || gh <= vh) {
    // Zoomed out beyond the grid: what was computed is lost.
    simpleLockLeave(engine->imageLock);
    fitGrid(engine);
    invalidateAll(engine);
    simpleLockEnter(engine->imageLock);
  } else {
    // Panned off the grid: recentre it on the view and keep the overlap.
    const double dx = std::round((v.left - (gw - vw) / 2 - g.left) * n / gw);
    const double dy = std::round((v.bottom - (gh - vh) / 2 - g.bottom) * n / gh);
    // A whole grid or more keeps nothing, so the shift itself never needs to go further.
    auto cells = [n](double d) { return static_cast<int32_t>(std::clamp(-d, -1.0 * n, 1.0 * n)); };
    moveBuffers(engine, [&](ImageLayer* layer, const uint8_t* fill) {
      blockShift(layer->buffer, n, layer->cellBytes, cells(dx), cells(dy), fill);
    });
    const double mx = dx * gw / n, my = dy * gh / n;
    engine->gridRect = {g.left + mx, g.right + mx, g.bottom + my, g.top + my};
  }
  simpleLockLeave(engine->imageLock);
  {
    ImageLockGuard images(engine);
    computeVisible(engine);
  }
  resetAllLayers(engine);
}

void threadMain(TileEngine* engine) {
  threadSetPriority(ThreadPriority::BelowNormal);
  gateWorkerEnter(engine->gate);
  engine->threadRunning.store(1);
  fitGrid(engine);
  resetAllLayers(engine);
  allocateMissingBuffers(engine);
  chooseLayer(engine);
  for (;;) {
    runRound(engine);
    gateSetInterrupt(engine->gate, 0);
    for (;;) {
      if (engine->keepRunning.load() == 0) {
        simpleLockEnter(engine->startLock);
        if (engine->keepRunning.load() == 0) {
          gateWorkerLeave(engine->gate);
          engine->threadRunning.store(0);
          simpleLockLeave(engine->startLock);
          return;
        }
        simpleLockLeave(engine->startLock);
      }
      if (engine->viewChanged.load()) viewMove(engine);
      allocateMissingBuffers(engine);
      if (chooseLayer(engine)) break;
      if (!engine->idleCallback) {
        // Nothing to do: let a waiting client in, then rest.
        pollGate(engine->gate);
        threadSleep(1);
      } else {
        threadSetPriority(ThreadPriority::Lowest);
        engine->idleCallback(engine->idleArgument);
        threadSetPriority(ThreadPriority::BelowNormal);
      }
    }
  }
}

bool wouldLoop(ImageLayer* input, ImageLayer* layer) {
  if (input == layer) return true;
  for (int32_t i = 0; i < input->inputCount; ++i) {
    if (input->inputs[i] && wouldLoop(input->inputs[i], layer)) return true;
  }
  return false;
}

void removeDependent(ImageLayer* input, ImageLayer* layer) {
  for (int32_t i = 0; i < input->dependentCount; ++i) {
    if (input->dependents[i] != layer) continue;
    for (int32_t j = i + 1; j < input->dependentCount; ++j) {
      input->dependents[j - 1] = input->dependents[j];
    }
    input->dependents[--input->dependentCount] = nullptr;
    return;
  }
}

bool readsFrom(const ImageLayer* layer, const ImageLayer* input) {
  for (int32_t i = 0; i < layer->inputCount; ++i) {
    if (layer->inputs[i] == input) return true;
  }
  return false;
}

void freeLayer(ImageLayer* layer) {
  memFree(layer->buffer);
  memFree(layer->defaultCell);
  memFree(layer);
}

}  // namespace

TileEngine* engineCreate() { return engineCreateSized(kEngineGridSize, kEngineBlockSize); }

TileEngine* engineCreateSized(int32_t gridSize, int32_t blockSize) {
  if (blockSize < 1 || (blockSize & (blockSize - 1)) != 0) return nullptr;
  if (gridSize < 2 || gridSize < blockSize || gridSize % blockSize != 0) return nullptr;
  void* block = memAllocZero(sizeof(TileEngine));
  SimpleLock* imageLock = simpleLockCreate();
  SimpleLock* startLock = simpleLockCreate();
  EngineGate* gate = gateCreate();
  if (!block || !imageLock || !startLock || !gate) {
    memFree(block);
    simpleLockDestroy(imageLock);
    simpleLockDestroy(startLock);
    gateDestroy(gate);
    return nullptr;
  }
  TileEngine* engine = new (block) TileEngine;
  engine->gridSize = gridSize;
  engine->blockSize = blockSize;
  engine->imageLock = imageLock;
  engine->startLock = startLock;
  engine->gate = gate;
  return engine;
}

void engineHalt(TileEngine* engine) {
  if (!engine) return;
  engineStop(engine);
  // Not under startLock: the thread takes it on its way out.
  if (engine->thread.joinable()) engine->thread.join();
}

void engineDestroy(TileEngine* engine) {
  if (!engine) return;
  engineHalt(engine);
  for (int32_t i = 0; i < engine->layerCount; ++i) freeLayer(engine->layers[i]);
  simpleLockDestroy(engine->imageLock);
  simpleLockDestroy(engine->startLock);
  gateDestroy(engine->gate);
  engine->~TileEngine();
  memFree(engine);
}

void engineStart(TileEngine* engine) {
  simpleLockEnter(engine->startLock);
  engine->keepRunning.store(1);
  if (engine->threadRunning.load() == 0) {
    if (engine->thread.joinable()) engine->thread.join();  // an earlier run that has ended
    // Marked here as well, so a second start before the thread's first line starts nothing.
    engine->threadRunning.store(1);
    engine->thread = std::thread(threadMain, engine);
  }
  simpleLockLeave(engine->startLock);
}

void engineStop(TileEngine* engine) {
  engine->keepRunning.store(0);
  gateSetInterrupt(engine->gate, 1);
}

ImageLayer* engineAddLayer(TileEngine* engine, int32_t id, uint32_t cellBytes) {
  if (cellBytes < 1) return nullptr;
  EngineLockGuard gate(engine);
  if (engine->layerCount >= kEngineMaxLayers || findLayer(engine, id)) return nullptr;
  auto* layer = static_cast<ImageLayer*>(memAllocZero(sizeof(ImageLayer)));
  if (!layer) return nullptr;
  layer->defaultCell = static_cast<uint8_t*>(memAllocZero(cellBytes));
  if (!layer->defaultCell) {
    memFree(layer);
    return nullptr;
  }
  layer->id = id;
  layer->state = kLayerStateCreating;
  layer->cellBytes = cellBytes;
  layer->generation = 1;
  // Without memory now, the thread tries again in each idle round.
  layer->buffer = static_cast<uint8_t*>(memAllocZero(bufferBytes(engine, layer)));
  ImageLockGuard images(engine);
  layer->index = engine->layerCount;
  layerReset(layer, visibleCells(engine), engine->blockSize);
  engine->layers[engine->layerCount++] = layer;
  layer->state = kLayerStateReady;
  return layer;
}

void engineRemoveLayer(TileEngine* engine, int32_t id) {
  EngineLockGuard gate(engine);
  ImageLockGuard images(engine);
  ImageLayer* layer = findLayer(engine, id);
  if (!layer) return;
  for (int32_t i = 0; i < layer->inputCount; ++i) {
    if (layer->inputs[i]) removeDependent(layer->inputs[i], layer);
  }
  for (int32_t i = 0; i < layer->dependentCount; ++i) {
    ImageLayer* reader = layer->dependents[i];
    for (int32_t s = 0; s < reader->inputCount; ++s) {
      if (reader->inputs[s] == layer) reader->inputs[s] = nullptr;
    }
  }
  for (int32_t i = layer->index + 1; i < engine->layerCount; ++i) {
    engine->layers[i - 1] = engine->layers[i];
    engine->layers[i - 1]->index = i - 1;
  }
  engine->layers[--engine->layerCount] = nullptr;
  if (engine->currentLayer == layer) engine->currentLayer = nullptr;
  freeLayer(layer);
}

bool engineSetEvaluator(TileEngine* engine, int32_t id, LayerEvaluator evaluator) {
  EngineLockGuard gate(engine);
  ImageLayer* layer = findLayer(engine, id);
  if (!layer || layer->evaluator == evaluator) return false;
  layer->evaluator = evaluator;
  return true;
}

bool engineConnect(TileEngine* engine, int32_t inputId, int32_t layerId, int32_t slot) {
  if (slot < 0 || slot >= kLayerMaxInputs) return false;
  EngineLockGuard gate(engine);
  ImageLayer* input = findLayer(engine, inputId);
  ImageLayer* layer = findLayer(engine, layerId);
  if (!input || !layer || wouldLoop(input, layer)) return false;
  ImageLayer* previous = layer->inputs[slot];
  if (previous == input) return true;
  layer->inputs[slot] = nullptr;
  if (previous && !readsFrom(layer, previous)) removeDependent(previous, layer);
  if (!readsFrom(layer, input)) input->dependents[input->dependentCount++] = layer;
  layer->inputs[slot] = input;
  layer->inputCount = std::max(layer->inputCount, slot + 1);
  return true;
}

void engineSetUserData(TileEngine* engine, int32_t id, void* data) {
  EngineLockGuard gate(engine);
  for (int32_t i = 0; i < engine->layerCount; ++i) {
    if (id < 1 || engine->layers[i]->id == id) engine->layers[i]->userData = data;
  }
}

void engineSetPriorityBias(TileEngine* engine, int32_t id, int32_t bias) {
  EngineLockGuard gate(engine);
  if (ImageLayer* layer = findLayer(engine, id)) layer->priorityBias = bias;
}

uint8_t* engineGetLayerImage(TileEngine* engine, int32_t id, int32_t* width, int32_t* height,
                             EngineRect* gridRect, uint8_t* generation) {
  ImageLockGuard images(engine);
  if (width) *width = engine->gridSize;
  if (height) *height = engine->gridSize;
  if (gridRect) *gridRect = engine->gridRect;
  ImageLayer* layer = findLayer(engine, id);
  if (!layer) return nullptr;
  if (generation) *generation = layer->generation;
  return layer->buffer;
}

bool engineGetStrides(TileEngine* engine, int32_t id, int32_t* shownStrideX,
                      int32_t* shownStrideY, int32_t* strideX, int32_t* strideY) {
  ImageLockGuard images(engine);
  ImageLayer* layer = findLayer(engine, id);
  if (!layer) return false;
  if (shownStrideX) *shownStrideX = layer->shownStrideX;
  if (shownStrideY) *shownStrideY = layer->shownStrideY;
  if (strideX) *strideX = layer->strideX;
  if (strideY) *strideY = layer->strideY;
  return true;
}

void engineInvalidate(TileEngine* engine, int32_t id) {
  if (engine->threadRunning.load() == 0) return;
  EngineLockGuard gate(engine);
  if (id == 0) {
    invalidateAll(engine);
    return;
  }
  if (ImageLayer* layer = findLayer(engine, id)) {
    ImageLockGuard images(engine);
    uint32_t done = 0;
    invalidateLayer(engine, layer, &done);
  }
}

void engineSetDetail(TileEngine* engine, uint32_t detail) {
  engine->detail.store(detail == 1 ? 1 : 2);
  // An idle callback hears of it at its next poll and gives the layers their turn.
  gateSetInterrupt(engine->gate, 1);
}

void engineSetBounds(TileEngine* engine, double left, double bottom, double right, double top) {
  ImageLockGuard images(engine);
  engine->boundsRect = {left, right, bottom, top};
}

void engineSetView(TileEngine* engine, double left, double bottom, double right, double top) {
  // An empty or inverted rectangle has no cells to follow.
  if (!(right > left) || !(top > bottom) || !std::isfinite(right - left) ||
      !std::isfinite(top - bottom)) {
    return;
  }
  {
    ImageLockGuard images(engine);
    EngineRect& b = engine->boundsRect;
    b = {std::min(b.left, left), std::max(b.right, right), std::min(b.bottom, bottom),
         std::max(b.top, top)};
    engine->viewRect = {left, right, bottom, top};
    engine->viewChanged.store(1);
  }
  gateSetInterrupt(engine->gate, 1);
}

void engineFitGrid(TileEngine* engine) { fitGrid(engine); }

void engineSetIdle(TileEngine* engine, EngineIdleFunction function, void* argument) {
  EngineLockGuard gate(engine);
  engine->idleCallback = function;
  engine->idleArgument = argument;
}

void engineLock(TileEngine* engine) {
  gateSetInterrupt(engine->gate, 1);
  gateClientEnter(engine->gate);
}

void engineUnlock(TileEngine* engine) { gateClientLeave(engine->gate); }

void engineLockImages(TileEngine* engine) { simpleLockEnter(engine->imageLock); }

void engineUnlockImages(TileEngine* engine) { simpleLockLeave(engine->imageLock); }

int32_t engineShouldStop(TileEngine* engine) {
  if (pollGate(engine->gate) == 0) return 0;
  // Cleared before looking, so that whatever a client does from here on interrupts again.
  gateSetInterrupt(engine->gate, 0);
  if (engine->keepRunning.load() == 0 || engine->viewChanged.load() != 0) return 1;
  return chooseLayer(engine) ? 1 : 0;
}
