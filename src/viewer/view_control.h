#pragma once
// ViewControl: the picture of a preview. A toolkit control with a child window of the panel
// and a display thread of its own that makes every OpenGL call, so the picture keeps moving
// while the host and the engine are busy. It shows either a TileEngine's layers as textures,
// added (and, for fog, multiplied) on the graphics card, or one attached byte image.
//
// Locks: viewLock guards every field shared by the panel's, the engine's and the display
// thread that is more than one word; flags and counters are atomics, and wakeEvent tells the
// display thread to look. Order: the engine's gate, then viewLock, then the engine's image
// lock. Other threads never call OpenGL: they queue texture names in deletedTextures.
#include <atomic>
#include <cstdint>

#include "toolkit/panel_control.h"

struct Panel;
struct PlatformWindow;
struct SimpleLock;
struct TileEngine;
class ManualResetEvent;
struct ViewDisplay;  // the display thread's own X connection and GLX context (view_display.cpp)

inline constexpr int32_t kControlKindView = 23;   // clear of the fixed kinds
inline constexpr int32_t kViewInitialSize = 128;
inline constexpr int32_t kViewMinimumSize = 10;
inline constexpr int32_t kViewStagingBytes = 4194304;  // 1024 x 1024 cells of 3 bytes
inline constexpr int32_t kViewMaxTexture = 1024;
inline constexpr int32_t kViewResetStride = 9999999;
inline constexpr int32_t kViewOverlayAdd = 0;
inline constexpr int32_t kViewOverlayFog = 2;
inline constexpr int32_t kViewMaxDeleted = 64;

struct ViewRect {
  double left, right, bottom, top;
};

struct ViewTile {
  int32_t layer;
  int32_t strideX, strideY;  // of the last upload; kViewResetStride when reset
  int32_t updateCount;       // the layer's at the last upload
  ViewRect plane;            // the part of the frame plane the texture covers
  uint32_t texture;          // 0 until the display thread made one (a 4 x 4 black start)
};

struct ViewOverlay {
  ViewOverlay* next;
  ViewOverlay* previous;
  int32_t kind;   // kViewOverlayAdd, kViewOverlayFog
  int32_t order;  // among fog overlays, drawn in ascending order
  ViewTile first, second;  // second: fog only, the layer multiplied
  float colour[3];         // multiplies the first tile; 1, 1, 1 at first
  float secondColour[3];   // 0, 0, 0 at first
};

struct ViewControl : PanelControl {
  TileEngine* engine;  // not owned
  int32_t viewWidth, viewHeight;
  ViewRect viewRect;
  ViewRect limitRect;
  const uint8_t* image;  // null: the layers are shown
  int32_t imagePixelBytes, imageRowBytes, imageWidth, imageHeight;
  std::atomic<uint32_t> redrawPeriod;  // milliseconds between uploads of the image
  uint32_t imageTexture;
  ViewOverlay* overlays;
  uint32_t deletedTextures[kViewMaxDeleted];
  int32_t deletedCount;
  SimpleLock* viewLock;
  ManualResetEvent* wakeEvent;
  PlatformWindow* window;  // the child window, made and destroyed on the panel's thread
  ViewDisplay* display;    // the display thread's; null headless
  std::atomic<uint32_t> threadRunning;
  std::atomic<uint32_t> keepRunning;
  std::atomic<uint32_t> repaintWanted;
  std::atomic<uint32_t> projectionDirty;
  std::atomic<int32_t> waitTime;
  std::atomic<int32_t> reportCountdown;
  int32_t dragActive, dragIsZoom;
  int32_t dragLastStep, dragStartX, dragStartY;
  ViewRect dragStartRect;
  uint8_t* staging;  // kViewStagingBytes, the display thread's alone; null if it failed
  std::atomic<uint32_t> drawCount;  // frames drawn, for those who wait for a picture
};

// The control, at x, y of the panel, 128 by 128; null when the record cannot be made.
ViewControl* viewCreate(const char* name, int32_t x, int32_t y, Panel* panel);
void viewSetEngine(ViewControl* view, TileEngine* engine);
void viewSetLimits(ViewControl* view, double left, double bottom, double right, double top);
void viewSetRect(ViewControl* view, double left, double bottom, double right, double top);
void viewResize(ViewControl* view, int32_t width, int32_t height);
void viewGetState(ViewControl* view, int32_t* width, int32_t* height, double* left, double* bottom, double* right,
                  double* top);
ViewOverlay* viewAddOverlay(ViewControl* view, int32_t layer, const float colour[3]);
ViewOverlay* viewAddFogOverlay(ViewControl* view, int32_t order, int32_t layerAdd, int32_t layerMultiply);
void viewSetOverlayColours(ViewControl* view, ViewOverlay* overlay, const float* colour, const float* secondColour);
void viewRemoveOverlay(ViewControl* view, ViewOverlay* overlay);
void viewAttachImage(ViewControl* view, const uint8_t* bytes, int32_t pixelBytes, int32_t rowBytes, int32_t width,
                     int32_t height);
void viewDetachImage(ViewControl* view);
void viewSetPeriod(ViewControl* view, uint32_t milliseconds);
// Mouse input as the child window's procedure gets it (window pixels, y down), and the wheel
// as the panel hands it on. Exposed for the panel and for tests without a window.
void viewMouseDown(ViewControl* view, int32_t x, int32_t y, bool control);
void viewMouseMove(ViewControl* view, int32_t x, int32_t y);
void viewMouseUp(ViewControl* view, int32_t x, int32_t y);
void viewWheel(ViewControl* view, int32_t delta, int32_t x, int32_t y);
