#pragma once
// ViewerPanel: one open preview. It owns its TileEngine, its ViewControl's engine binding, its
// private copies of camera, ambient colour, environment and lights, and the arrays of its
// refinement. The refinement and the layer evaluators read this record on the engine's
// thread; the host's main thread writes the copies only while it holds the engine's gate.
#include <atomic>
#include <cstdint>

#include "refine/refine_state.h"
#include "shading/captured_camera.h"
#include "shading/captured_environment.h"

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
};

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
