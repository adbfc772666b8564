#pragma once
// TileEngine: computes a small graph of images lazily, coarse to fine, in one background
// thread, on a square grid that follows a moving rectangle of a plane. When no layer has work
// it hands the thread to an idle callback. It knows nothing of rendering.
//
// Locks: the gate (engineLock) holds the thread still; imageLock guards the buffers' geometry
// against readers such as the display. Take the gate first, never the other way round.
#include <atomic>
#include <cstdint>
#include <thread>

#include "viewer/image_layer.h"

struct EngineGate;
struct SimpleLock;

inline constexpr int32_t kEngineGridSize = 512;
inline constexpr int32_t kEngineBlockSize = 32;

using EngineIdleFunction = void (*)(void* argument);

struct EngineRect {
  double left, right, bottom, top;
};

struct TileEngine {
  ImageLayer* currentLayer = nullptr;
  EngineRect boundsRect{0.0, 1.0, 0.0, 1.0};
  EngineRect viewRect{0.0, 1.0, 0.0, 1.0};
  EngineRect gridRect{-99999.9, 99999.9, -99999.9, 99999.9};
  int32_t visibleLeft = 0, visibleBottom = 0, visibleRight = 0, visibleTop = 0;
  int32_t layerCount = 0;
  ImageLayer* layers[kEngineMaxLayers] = {};
  int32_t gridSize = kEngineGridSize;
  int32_t blockSize = kEngineBlockSize;
  std::atomic<uint32_t> viewChanged{0};
  std::atomic<uint32_t> detail{1};
  std::atomic<uint32_t> threadRunning{0};
  std::atomic<uint32_t> keepRunning{1};
  EngineIdleFunction idleCallback = nullptr;
  void* idleArgument = nullptr;
  SimpleLock* imageLock = nullptr;
  SimpleLock* startLock = nullptr;  // orders engineStart against the thread's own end
  EngineGate* gate = nullptr;
  std::thread thread;  // joined by engineStart (after an end) and engineDestroy
};

TileEngine* engineCreate();  // 512 cells a side, first stride 32; null when out of memory
// The grid's side must be a multiple of the block size, which is a power of two.
TileEngine* engineCreateSized(int32_t gridSize, int32_t blockSize);
void engineDestroy(TileEngine* engine);  // stops the thread, waits for it, frees all
void engineStart(TileEngine* engine);
void engineStop(TileEngine* engine);
void engineHalt(TileEngine* engine);  // engineStop, then waits for the thread to end

// Graph and layers. Ids are the caller's numbers, above 0.
ImageLayer* engineAddLayer(TileEngine* engine, int32_t id, uint32_t cellBytes);  // null: failed
void engineRemoveLayer(TileEngine* engine, int32_t id);
bool engineSetEvaluator(TileEngine* engine, int32_t id, LayerEvaluator evaluator);  // changed?
// Feeds layer inputId into slot `slot` of layer layerId; false for unknown ids, a slot out of
// range or a connection that would close a loop.
bool engineConnect(TileEngine* engine, int32_t inputId, int32_t layerId, int32_t slot);
void engineSetUserData(TileEngine* engine, int32_t id, void* data);  // id below 1: all
void engineSetPriorityBias(TileEngine* engine, int32_t id, int32_t bias);
// The layer's buffer (null if it has none) with the grid's size, its rectangle in the plane
// and the stamp of a computed cell. Any out pointer may be null. Read the buffer under
// engineLockImages.
uint8_t* engineGetLayerImage(TileEngine* engine, int32_t id, int32_t* width, int32_t* height,
                             EngineRect* gridRect, uint8_t* generation);
// The strides the finished part of the view has reached, and those of the level under way.
bool engineGetStrides(TileEngine* engine, int32_t id, int32_t* shownStrideX,
                      int32_t* shownStrideY, int32_t* strideX = nullptr,
                      int32_t* strideY = nullptr);

// Running.
void engineInvalidate(TileEngine* engine, int32_t id);  // 0: all; with its dependents
void engineSetDetail(TileEngine* engine, uint32_t detail);  // 1: to every cell; 2: stride 2
void engineSetBounds(TileEngine* engine, double left, double bottom, double right, double top);
void engineSetView(TileEngine* engine, double left, double bottom, double right, double top);
// The grid around the view, with a fifth of margin on each side. While the thread runs, call
// it under engineLock.
void engineFitGrid(TileEngine* engine);
void engineSetIdle(TileEngine* engine, EngineIdleFunction function, void* argument);
void engineLock(TileEngine* engine);
void engineUnlock(TileEngine* engine);
void engineLockImages(TileEngine* engine);
void engineUnlockImages(TileEngine* engine);
// Polled by the idle callback: non-zero when it should return, because a client wants the
// thread for layers, a new view or the end. A client that only held the gate costs nothing.
int32_t engineShouldStop(TileEngine* engine);
