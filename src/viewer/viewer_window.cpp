// The preview's panel: its buttons, the camera chooser, the iteration text and the view, its
// creation and destruction, and what the buttons and a resize do. Buttons, resize and idle
// run on the panel's thread and take the engine's gate where they touch the engine; creation
// and destruction run on the host's main thread.
#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <new>

#include "capture/scene_capture.h"
#include "refine/refine_run.h"
#include "runtime/global_services.h"
#include "runtime/memory.h"
#include "shading/captured_light.h"
#include "toolkit/button.h"
#include "toolkit/item_chooser.h"
#include "toolkit/panel.h"
#include "toolkit/text_control.h"
#include "viewer/preview_layers.h"
#include "viewer/preview_save.h"
#include "viewer/tile_engine.h"
#include "viewer/view_control.h"
#include "viewer/view_display.h"
#include "viewer/viewer_panel.h"

namespace {

constexpr char kPanelTitle[] = "Ombrel";
constexpr char kOpenTitle[] = "Ombrel from Tarnok Labs  v1.02";
constexpr char kFailedFirst[] = "Ombrel Failed to Initialize";
constexpr char kFailedSecond[] = "Error when initializing OpenGL!";
constexpr char kPauseText[] = "Pause";
constexpr char kUnpauseText[] = "Unpause";
constexpr char kIterationFormat[] = "%ld";
constexpr uint32_t kViewerIdentity = 0x0B1E7A11;
constexpr int32_t kBorderWidth = 10, kBorderHeight = 30;
constexpr int32_t kMinPanelWidth = 295, kMinPanelHeight = 55, kMaxPanelSide = 1030;
constexpr int32_t kSavedMin = 16, kSavedMax = 1024;
constexpr int32_t kFullMinWidth = 300, kFullMinHeight = 10;
constexpr double kFullSizeTolerance = 0.0001;
constexpr int32_t kIterationChars = 10;

// Successive previews open two by two: the n-th at the n-th place, modulo four.
std::atomic<int32_t> placementCounter{0};

ViewerPanel* viewerOfPanel(PanelControl* control) {
  Panel* panel = controlPanel(control);
  return panel ? static_cast<ViewerPanel*>(panel->user) : nullptr;
}

ButtonControl* makeButton(const char* name, int32_t x, int32_t y, int32_t width, const char* text, Panel* panel,
                          ControlCallback action) {
  ButtonControl* button = buttonCreate(name, x, y, panel);
  if (!button) return nullptr;
  button->width = width;
  std::snprintf(button->text, sizeof button->text, "%s", text);
  button->onChange = action;
  return button;
}

// The panel keeps its place and takes the new size with its borders.
void resizePanel(Panel* panel, int32_t viewWidth, int32_t viewHeight) {
  if (!panel->window) return;
  const WindowRect g = windowGeometry(panel->window);
  windowMoveResize(panel->window, g.left, g.top, viewWidth + kBorderWidth, viewHeight + kBorderHeight);
}

int32_t pressPause(PanelControl* control) {
  ViewerPanel* viewer = viewerOfPanel(control);
  auto* button = static_cast<ButtonControl*>(control);
  if (!viewer) return 0;
  if (!viewer->refine.paused.load()) {
    engineLock(viewer->engine);
    viewer->refine.paused = 1;
    ControlSetText(button, 1, kUnpauseText);
  } else {
    viewer->refine.paused = 0;
    ControlSetText(button, 1, kPauseText);
    engineUnlock(viewer->engine);
  }
  return 0;
}

int32_t pressSave(PanelControl* control) {
  if (ViewerPanel* viewer = viewerOfPanel(control)) previewSaveImage(viewer);
  return 0;
}

int32_t chooseCamera(PanelControl* control) {
  if (ViewerPanel* viewer = viewerOfPanel(control)) {
    engineLock(viewer->engine);
    viewerCheckCamera(viewer);
    engineUnlock(viewer->engine);
  }
  return 0;
}

int32_t pressFitView(PanelControl* control) {
  ViewerPanel* viewer = viewerOfPanel(control);
  if (!viewer) return 0;
  engineLock(viewer->engine);
  viewerFitView(viewer);
  engineUnlock(viewer->engine);
  return 0;
}

int32_t pressFullSize(PanelControl* control) {
  ViewerPanel* viewer = viewerOfPanel(control);
  if (!viewer) return 0;
  engineLock(viewer->engine);
  viewerCheckCamera(viewer);
  engineUnlock(viewer->engine);
  int32_t targetWidth = 0, targetHeight = 0;
  const int32_t d = viewerFullSizeDivisor(viewer->camera.width, viewer->camera.height, &targetWidth, &targetHeight);
  const double aspect = viewer->camera.imageAspect;
  const double halfWidth = 1.0 / d, halfHeight = 1.0 / (d * aspect);
  int32_t w = 0, h = 0;
  double l, b, r, t;
  viewGetState(viewer->view, &w, &h, &l, &b, &r, &t);
  // Deliberate: the view is held against what the last press made of it rather than against
  // the frame's size, which a frame narrower than the buttons never reaches; for any other
  // frame the two are the same.
  const bool atFullSize = w == viewer->fullWidth && h == viewer->fullHeight &&
                          std::fabs(l - viewer->fullLeft) < kFullSizeTolerance &&
                          std::fabs(r - viewer->fullRight) < kFullSizeTolerance &&
                          std::fabs(b - viewer->fullBottom) < kFullSizeTolerance &&
                          std::fabs(t - viewer->fullTop) < kFullSizeTolerance;
  Panel* panel = viewer->panel;
  engineLock(viewer->engine);
  if (atFullSize) {
    // The second press goes back to where the first one came from.
    const int32_t sw = std::clamp(viewer->savedWidth, kSavedMin, kSavedMax);
    const int32_t sh = std::clamp(viewer->savedHeight, kSavedMin, kSavedMax);
    resizePanel(panel, sw, sh);
    viewResize(viewer->view, sw, sh);
    viewSetRect(viewer->view, viewer->savedLeft, viewer->savedBottom, viewer->savedRight, viewer->savedTop);
  } else {
    viewer->savedWidth = w;
    viewer->savedHeight = h;
    viewer->savedLeft = l;
    viewer->savedBottom = b;
    viewer->savedRight = r;
    viewer->savedTop = t;
    const int32_t fw = std::max(targetWidth, kFullMinWidth), fh = std::max(targetHeight, kFullMinHeight);
    resizePanel(panel, fw, fh);
    viewResize(viewer->view, fw, fh);
    viewSetLimits(viewer->view, -halfWidth, -halfHeight, halfWidth, halfHeight);
    viewSetRect(viewer->view, -halfWidth, -halfHeight, halfWidth, halfHeight);
    viewGetState(viewer->view, &viewer->fullWidth, &viewer->fullHeight, &viewer->fullLeft, &viewer->fullBottom,
                 &viewer->fullRight, &viewer->fullTop);
  }
  viewerUpdateDetail(viewer);
  engineUnlock(viewer->engine);
  return 0;
}

// The panel's event handler: a new size of the window gives the view its new size.
int32_t panelMessage(PanelControl* control) {
  auto* panel = static_cast<Panel*>(control);
  auto* viewer = static_cast<ViewerPanel*>(panel->user);
  if (!viewer || !panel->message || panel->message->kind != kWindowSize) return 0;
  engineLock(viewer->engine);
  viewResize(viewer->view, panel->width - kBorderWidth, panel->height - kBorderHeight);
  viewerUpdateDetail(viewer);
  engineUnlock(viewer->engine);
  return 0;
}

int32_t panelOpened(Panel* panel) {
  auto* viewer = static_cast<ViewerPanel*>(panel->user);
  if (panel->window) windowSetTitle(panel->window, kOpenTitle);
  if (viewer && viewer->engine) engineStart(viewer->engine);
  return 0;
}

int32_t panelClosed(Panel* panel) {
  auto* viewer = static_cast<ViewerPanel*>(panel->user);
  if (viewer && viewer->engine) engineStop(viewer->engine);
  return 0;
}

// The iteration: the refinement's quality plus one, or nothing while it has none.
int32_t panelIdle(Panel* panel) {
  auto* viewer = static_cast<ViewerPanel*>(panel->user);
  if (!viewer || !viewer->iterationText) return 0;
  char text[32] = "";
  const int32_t quality = viewer->refine.quality.load();
  if (quality >= 0) std::snprintf(text, sizeof text, kIterationFormat, long(quality) + 1);
  if (std::strcmp(static_cast<TextControl*>(viewer->iterationText)->text, text) != 0)
    ControlSetText(viewer->iterationText, 1, text);
  return 0;
}

double interfaceTime() {
  auto* ui = hostTransientAs<LWInterfaceInfo>(LWINTERFACEINFO_GLOBAL);
  return ui ? ui->curTime : 0.0;
}

void frameSize(int32_t* width, int32_t* height) {
  *width = 640;
  *height = 480;
  auto* scene = hostTransientAs<LWSceneInfo>(LWSCENEINFO_GLOBAL);
  if (!scene) return;
  *width = scene->limitedRegion[2] - scene->limitedRegion[0] + 1;
  *height = scene->limitedRegion[3] - scene->limitedRegion[1] + 1;
  if (*width < 1 || *height < 1) {
    *width = scene->frameWidth;
    *height = scene->frameHeight;
  }
}

bool makeControls(ViewerPanel* viewer) {
  Panel* panel = viewer->panel;
  viewer->pauseButton = makeButton("REF", 1, 2, 57, kPauseText, panel, pressPause);
  auto* camera = itemChooserCreate("CAMERA", 60, 3, panel, 73, false, itemTypeBit(LWI_CAMERA));
  if (camera) {
    std::snprintf(camera->emptyText, sizeof camera->emptyText, "None");
    camera->onChange = chooseCamera;
    if (LWItemID item = viewerRenderCamera(0.0)) itemChooserSet(camera, &item, 1);
  }
  viewer->cameraControl = camera;
  viewer->saveButton = makeButton("SAVE", 135, 2, 37, "Save", panel, pressSave);
  viewer->fitViewButton = makeButton("FITVIEW", 175, 2, 54, "Fit View", panel, pressFitView);
  viewer->fullSizeButton = makeButton("FULLVIEW", 233, 2, 60, "Full Size", panel, pressFullSize);
  viewer->iterationText = textCreate("IT", 297, 5, panel, "");
  if (viewer->iterationText) viewer->iterationText->width = kIterationChars * windowTextWidth(nullptr, kFontNormal, "0");
  return viewer->pauseButton && viewer->cameraControl && viewer->saveButton && viewer->fitViewButton &&
         viewer->fullSizeButton && viewer->iterationText;
}

}  // namespace

ViewerPanel* viewerCreate(ViewerPanel** list, SceneCapture* capture) {
  if (!capture) return nullptr;
  void* memory = memAllocZero(sizeof(ViewerPanel));
  if (!memory) return nullptr;
  auto* viewer = new (memory) ViewerPanel{};
  int32_t frameWidth = 0, frameHeight = 0, w = 0, h = 0;
  frameSize(&frameWidth, &frameHeight);
  viewerInitialSize(frameWidth, frameHeight, &w, &h);
  Panel* panel = PanelCreate(kPanelTitle, viewer, kViewerIdentity);
  if (!panel) {
    memFree(viewer);
    return nullptr;
  }
  viewer->panel = panel;
  // No standard frame: the buttons take the top row and the view the rest.
  panel->options = kPanelNonModal;
  panel->width = w + kBorderWidth;
  panel->height = h + kBorderHeight;
  panel->minWidth = kMinPanelWidth;
  panel->minHeight = kMinPanelHeight;
  panel->maxWidth = panel->maxHeight = kMaxPanelSide;
  panel->onOpen = panelOpened;
  panel->onClose = panelClosed;
  panel->onIdle = panelIdle;
  controlHead(panel)->ops.message = panelMessage;
  if (!makeControls(viewer)) {
    PanelDestroy(panel);
    memFree(viewer);
    return nullptr;
  }
  ViewControl* view = viewCreate("CTW", 5, 24, panel);
  if (!view) {
    panelShowError(kFailedFirst, kFailedSecond);
    PanelDestroy(panel);
    memFree(viewer);
    return nullptr;
  }
  viewResize(view, w, h);
  viewer->view = view;
  viewer->next = *list;
  if (*list) (*list)->previous = viewer;
  *list = viewer;
  viewer->refine.quality = -1;
  viewer->alive = 1;
  const int32_t n = placementCounter.fetch_add(1) % 4;
  int32_t dx = 0, dy = 0;
  viewerPlacement(n, &dx, &dy);
  panel->x = std::max(0, dx + kViewerPlacementOrigin);
  panel->y = std::max(0, dy + kViewerPlacementOrigin);
  viewer->sceneTime = interfaceTime();
  if (!viewerStartOnView(viewer, capture)) {
    viewerDestroy(list, viewer);
    return nullptr;
  }
  PanelOpen(panel, nullptr);
  return viewer;
}

void viewerDestroy(ViewerPanel** list, ViewerPanel* viewer) {
  if (!viewer) return;
  if (viewer->refine.paused.exchange(0) && viewer->engine) engineUnlock(viewer->engine);
  viewer->alive = 0;
  if (viewer->previous) viewer->previous->next = viewer->next;
  else if (list && *list == viewer) *list = viewer->next;
  if (viewer->next) viewer->next->previous = viewer->previous;
  viewer->next = viewer->previous = nullptr;
  // The panel's thread starts the engine when it opens and uses the view: it ends first, then
  // the engine, and the view goes with the panel's controls.
  Panel* panel = viewer->panel;
  PanelJoin(panel);
  viewerStopOnView(viewer);
  PanelDestroy(panel);
  memFree(viewer->refine.pixels);
  memFree(viewer->refine.display);
  viewer->~ViewerPanel();
  memFree(viewer);
}

bool viewerPanelOpen(ViewerPanel* viewer) { return viewer && viewer->panel && viewer->panel->isOpen.load() != 0; }
