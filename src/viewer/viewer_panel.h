#pragma once
// ViewerPanel: one open preview. It owns its TileEngine, its ViewControl's engine binding, its
// private copies of camera, ambient colour, environment and lights, and the arrays of its
// refinement. The refinement and the layer evaluators read this record on the engine's
// thread; the host's main thread writes the copies only while it holds the engine's gate.
#include <atomic>
#include <cstdint>

#include <lwrender.h>

#include "refine/refine_state.h"
#include "shading/captured_camera.h"
#include "shading/captured_environment.h"
#include "viewer/view_control.h"

struct Panel;
struct PanelControl;
struct CapturedLight;
struct SceneCapture;
struct TileEngine;
struct ViewControl;
struct ViewOverlay;

// The preview's image layers, by the engine's layer number.
enum PreviewLayer : int32_t {
  kLayerHit = 1,            // the camera ray's hit
  kLayerSurface = 2,        // the surface's values at the hit
  kLayerUnlit = 3,          // backdrop, or luminous and ambient colour
  kLayerBounce = 4,         // one bounce of indirect light
  kLayerLightsFixed = 5,    // direct light of the lights that stood still
  kLayerLightsChanged = 6,  // direct light of the lights that moved
  kLayerFogKeep = 7,        // what fog leaves of the picture
  kLayerFogColour = 8,      // the fog's own colour
};

struct ViewerPanel {
  Panel* panel;
  PanelControl* cameraControl;
  PanelControl *pauseButton, *fullSizeButton, *fitViewButton, *saveButton;
  PanelControl* iterationText;
  ViewControl* view;
  CapturedCamera camera;  // y is scaled: view y times camera.imageAspect is frame y
  double sceneTime;
  double ambient[3];
  CapturedEnvironment environment;
  TileEngine* engine;
  ViewOverlay *overlayStatic, *overlayBounce, *overlayFog, *overlayLightsFixed, *overlayLightsChanged;
  CapturedLight* lights;
  CapturedLight* lightsFixed;
  CapturedLight* lightsChanged;
  RefineState refine;
  int32_t savedWidth, savedHeight;
  double savedLeft, savedBottom, savedRight, savedTop;
  ViewerPanel* next;
  ViewerPanel* previous;
  std::atomic<int32_t> alive;
  // Ours: the capture the preview renders (the master's), and whether the view is the
  // preview's own headless one, to be destroyed with it.
  SceneCapture* capture;
  int32_t ownsView;
  // What the last "Full Size" made of the view, so that a second press knows it.
  int32_t fullWidth, fullHeight;
  double fullLeft, fullBottom, fullRight, fullTop;
};

// A preview in its panel, put at the head of `list`, open, its engine started with the panel;
// null when something could not be made ("Ombrel Failed to Initialize" when the view could
// not). Host's main thread.
ViewerPanel* viewerCreate(ViewerPanel** list, SceneCapture* capture);
// Takes a preview down: its gate given back if paused, unlinked, its panel closed, its
// engine stopped and everything freed. Host's main thread.
void viewerDestroy(ViewerPanel** list, ViewerPanel* viewer);
// Whether the preview's panel is still open: false for null and after its close box.
bool viewerPanelOpen(ViewerPanel* viewer);
// The camera of the "CAMERA" chooser, or the scene's render camera when it shows none.
LWItemID viewerCameraItem(ViewerPanel* viewer);
LWItemID viewerRenderCamera(double time);
// What a preview's view needs to run on a capture: camera, engine, fitted view, layers,
// lights, environment and the refinement as the engine's idle work (the engine not started);
// false when something could not be made. And its undoing, the view kept.
bool viewerStartOnView(ViewerPanel* viewer, SceneCapture* capture);
void viewerStopOnView(ViewerPanel* viewer);

// A preview without its panel: the engine, its layers and the refinement on `capture`, shown
// by `view` (null: a headless view of the given size, owned by the preview). The engine's
// thread is running when this returns. Null when something could not be made.
ViewerPanel* viewerOpenOnCapture(SceneCapture* capture, ViewControl* view, int32_t width, int32_t height);
// Stops the engine (waiting for its thread) and frees everything the preview owns.
void viewerCloseOnCapture(ViewerPanel* viewer);
// The camera copy from the host at the capture's time (the render camera); a change
// invalidates layer 1 and with it all others.
void viewerCheckCamera(ViewerPanel* viewer);
// Light records again from the host's lights, split by shadow flag into the two light layers,
// which start over with the bounce. Takes the engine's gate.
void viewerRebuildLights(ViewerPanel* viewer);
// Ambient colour and environment from the host: layers 3, 7, 8 and 4 as they changed, and the
// fog layers as fog comes and goes. Engine's gate held by the caller.
void viewerCheckEnvironment(ViewerPanel* viewer);
// Limits and rectangle to the whole frame.
void viewerFitView(ViewerPanel* viewer);

// The lights again from the host: those whose capture changed (all, when one gives negative
// light) go to layer 6, the rest to layer 5; layers 6 and 4 start over, and layer 5 when a
// light moved between the groups. Takes the engine's gate.
void viewerCheckLights(ViewerPanel* viewer);
// At the end of each of the host's events: lights, camera, ambient colour and environment.
void viewerCheckScene(ViewerPanel* viewer);
// The backdrop changed: the unlit colour, the fog's colour and the bounce start over.
void viewerBackdropChanged(ViewerPanel* viewer);
// A small view leaves the finest levels to the refinement: detail 2 below 401 by 401.
void viewerUpdateDetail(ViewerPanel* viewer);

inline constexpr int32_t kViewerFullDetailSize = 401;
inline constexpr int32_t kViewerSmallFrame = 285;
inline constexpr int32_t kViewerWideFrame = 500;
inline constexpr int32_t kViewerWidestFrame = 10000;
inline constexpr int32_t kViewerWidestDivisor = 20;
inline constexpr int32_t kViewerTallestView = 612;
inline constexpr int32_t kViewerLargestFrame = 16384;
inline constexpr int32_t kViewerFullSizeLimit = 1024;
inline constexpr int32_t kViewerPlacementStep = 305;
inline constexpr int32_t kViewerPlacementOrigin = 152;

// The first size of a preview's view for a frame of the limited region's size: a small frame
// enlarged by a whole number, a large one divided below 500 wide, and a tall one halved (the
// width kept) to at most 612 high.
void viewerInitialSize(int32_t frameWidth, int32_t frameHeight, int32_t* width, int32_t* height);
// "Full Size": the least divisor that brings the frame within 1024 each way, and the view's
// size at it; gives the divisor.
int32_t viewerFullSizeDivisor(int32_t frameWidth, int32_t frameHeight, int32_t* width, int32_t* height);
// Where the n-th preview opens, relative to the panel host's origin: two by two.
void viewerPlacement(int32_t counter, int32_t* dx, int32_t* dy);
