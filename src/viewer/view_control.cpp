#include "viewer/view_control.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <new>

#include "platform/event.h"
#include "platform/thread.h"
#include "platform/window.h"
#include "runtime/locks.h"
#include "runtime/memory.h"
#include "toolkit/panel.h"
#include "viewer/tile_engine.h"
#include "viewer/view_display.h"

namespace {

constexpr int32_t kPanReportEvery = 20;
constexpr int32_t kZoomReportRounds = 2;
constexpr double kZoomStepsPerPixel = -6.0;
constexpr double kZoomStepsPerDoubling = 960.0;
constexpr int32_t kWheelNotch = 120;

// Pan steps of every view, so that the engine hears of every twentieth whichever view moves.
std::atomic<int32_t> panSteps{0};

double width(const ViewRect& r) { return r.right - r.left; }
double height(const ViewRect& r) { return r.top - r.bottom; }

// One axis kept inside its limits: an extent at least the limit's is centred on it, a
// smaller one moved in from whichever side it lies over.
void clampAxis(double* low, double* high, double limitLow, double limitHigh) {
  const double extent = *high - *low;
  if (!(extent < limitHigh - limitLow)) {
    const double centre = (limitLow + limitHigh) * 0.5;
    *low = centre - extent * 0.5;
    *high = centre + extent * 0.5;
  } else if (*low < limitLow) {
    *high += limitLow - *low;
    *low = limitLow;
  } else if (*high > limitHigh) {
    *low -= *high - limitHigh;
    *high = limitHigh;
  }
}

void clampRect(ViewRect* r, const ViewRect& limit) {
  clampAxis(&r->left, &r->right, limit.left, limit.right);
  clampAxis(&r->bottom, &r->top, limit.bottom, limit.top);
}

void detachLocked(ViewControl* view) { view->image = nullptr; }

// The plane position of a window pixel (y down), or the rectangle's centre outside the window.
void planeAt(const ViewControl* view, int32_t x, int32_t y, double* px, double* py) {
  const ViewRect& r = view->viewRect;
  if (x < 0 || y < 0 || x >= view->viewWidth || y >= view->viewHeight) {
    *px = (r.left + r.right) * 0.5;
    *py = (r.bottom + r.top) * 0.5;
    return;
  }
  *px = r.left + width(r) * (x + 0.5) / view->viewWidth;
  *py = r.top - height(r) * (y + 0.5) / view->viewHeight;
}

// Scales viewRect by f about the plane point (cx, cy). Not clamped: viewSetRect does that.
void scaleAbout(ViewControl* view, double f, double cx, double cy) {
  ViewRect& r = view->viewRect;
  r.left = cx + (r.left - cx) * f;
  r.right = cx + (r.right - cx) * f;
  r.bottom = cy + (r.bottom - cy) * f;
  r.top = cy + (r.top - cy) * f;
}

void panStep(ViewControl* view, int32_t x, int32_t y) {
  bool report = false;
  {
    ViewLockGuard hold(view);
    const double dx = view->dragStartX - x, dy = y - view->dragStartY;
    const ViewRect& s = view->dragStartRect;
    const double sx = dx * width(s) / view->viewWidth, sy = dy * height(s) / view->viewHeight;
    view->viewRect = {s.left + sx, s.right + sx, s.bottom + sy, s.top + sy};
    detachLocked(view);
    report = panSteps.fetch_add(1) % kPanReportEvery == kPanReportEvery - 1;
  }
  if (report) viewReportRect(view);
  viewDisplayWake(view);
}

void zoomStep(ViewControl* view, int32_t x) {
  const int32_t step = int32_t(kZoomStepsPerPixel * (view->dragStartX - x));
  if (step == view->dragLastStep) return;
  {
    ViewLockGuard hold(view);
    detachLocked(view);
    const double f = std::pow(2.0, (view->dragLastStep - step) / kZoomStepsPerDoubling);
    // The fixed point is where the drag began, on the rectangle as it began.
    const ViewRect now = view->viewRect;
    view->viewRect = view->dragStartRect;
    double cx, cy;
    planeAt(view, view->dragStartX, view->dragStartY, &cx, &cy);
    view->viewRect = now;
    scaleAbout(view, f, cx, cy);
  }
  view->reportCountdown = kZoomReportRounds;
  view->dragLastStep = step;
  viewDisplayWake(view);
}

void dragStep(ViewControl* view, int32_t x, int32_t y) {
  if (view->dragIsZoom) zoomStep(view, x);
  else panStep(view, x, y);
}

ViewOverlay* newOverlay(int32_t kind) {
  auto* overlay = static_cast<ViewOverlay*>(memAllocZero(sizeof(ViewOverlay)));
  if (!overlay) return nullptr;
  overlay->kind = kind;
  for (ViewTile* tile : {&overlay->first, &overlay->second}) {
    tile->strideX = tile->strideY = kViewResetStride;
    tile->updateCount = -1;
  }
  for (int c = 0; c < 3; ++c) overlay->colour[c] = 1.0f;
  return overlay;
}

void appendOverlay(ViewControl* view, ViewOverlay* overlay) {
  ViewLockGuard hold(view);
  ViewOverlay** at = &view->overlays;
  ViewOverlay* previous = nullptr;
  while (*at) {
    previous = *at;
    at = &(*at)->next;
  }
  overlay->previous = previous;
  *at = overlay;
}

// Texture names go to the display thread, which alone may delete them. A full queue loses the
// name: a small texture left behind rather than a call on the wrong thread.
void queueTexture(ViewControl* view, uint32_t texture) {
  if (texture && view->deletedCount < kViewMaxDeleted) view->deletedTextures[view->deletedCount++] = texture;
}

void unlinkAndFree(ViewControl* view, ViewOverlay* overlay) {
  if (overlay->previous) overlay->previous->next = overlay->next;
  else view->overlays = overlay->next;
  if (overlay->next) overlay->next->previous = overlay->previous;
  queueTexture(view, overlay->first.texture);
  queueTexture(view, overlay->second.texture);
  memFree(overlay);
}

// The child window's place and size follow the control's; panel thread only.
void placeWindow(ViewControl* view) {
  if (view->window) windowMoveResize(view->window, view->x, view->y, view->viewWidth, view->viewHeight);
}

void placeWindowPosted(void* data) { placeWindow(static_cast<ViewControl*>(data)); }

// First layout: the child window on the panel's thread, so its input comes to that thread,
// and then the display thread. Later layouts move the window.
int32_t viewDraw(PanelControl* control, int32_t flags) {
  auto* view = static_cast<ViewControl*>(control);
  Panel* panel = controlPanel(control);
  if (!(flags & kRedrawLayout) || !panel || !panel->window) return 0;
  view->width = view->viewWidth;
  view->height = view->viewHeight;
  PanelControlHead* head = controlHead(control);
  head->left = view->x;
  head->top = view->y;
  head->right = view->x + view->viewWidth;
  head->bottom = view->y + view->viewHeight;
  if (view->window) {
    placeWindow(view);
    return 0;
  }
  WindowConfig config{};
  config.title = "";
  config.x = view->x;
  config.y = view->y;
  config.width = view->viewWidth;
  config.height = view->viewHeight;
  config.child = true;
  config.parentWindow = panel->window;
  config.user = view;
  view->window = windowCreate(config);
  if (!view->window) return 0;
  windowShow(view->window);
  view->keepRunning = 1;
  viewDisplayStart(view, windowXId(view->window));
  return 0;
}

// The child window's procedure, on the panel's thread.
int32_t viewMessage(PanelControl* control) {
  auto* view = static_cast<ViewControl*>(control);
  Panel* panel = controlPanel(control);
  const WindowMessage* m = panel ? panel->message : nullptr;
  if (!m || !view->window || m->source != view->window) return 0;
  switch (m->kind) {
    case kWindowPaint:
      viewDisplayWake(view);
      break;
    case kWindowMouseMove:
      viewMouseMove(view, m->x, m->y);
      break;
    case kWindowMouseDown:
      if (m->button == 1) viewMouseDown(view, m->x, m->y, (m->modifiers & kModifierControl) != 0);
      break;
    case kWindowMouseUp:
      if (m->button == 1) viewMouseUp(view, m->x, m->y);
      break;
    case kWindowWheel:
      viewWheel(view, m->wheel * kWheelNotch, m->x, m->y);
      break;
    default:
      break;
  }
  return kMessageStop;
}

// The panel closes: the display thread ends before its window goes.
void viewTakeDown(PanelControl* control) {
  auto* view = static_cast<ViewControl*>(control);
  viewDisplayStop(view);
  if (view->window) windowDestroy(view->window);
  view->window = nullptr;
}

void viewDestroy(PanelControl* control) {
  auto* view = static_cast<ViewControl*>(control);
  viewTakeDown(control);
  {
    ViewLockGuard hold(view);
    while (view->overlays) unlinkAndFree(view, view->overlays);
  }
  delete view->wakeEvent;
  view->wakeEvent = nullptr;
  threadSleep(100);
  simpleLockDestroy(view->viewLock);
  view->viewLock = nullptr;
  memFree(view->staging);
  view->staging = nullptr;
}

}  // namespace

void viewReportRect(ViewControl* view) {
  ViewRect r;
  TileEngine* engine;
  {
    ViewLockGuard hold(view);
    engine = view->engine;
    const ViewRect& v = view->viewRect;
    const ViewRect& l = view->limitRect;
    r = {std::max(v.left, l.left), std::min(v.right, l.right), std::max(v.bottom, l.bottom), std::min(v.top, l.top)};
  }
  if (engine) engineSetView(engine, r.left, r.bottom, r.right, r.top);
}

ViewControl* viewCreate(const char* name, int32_t x, int32_t y, Panel* panel) {
  auto* view = controlNew<ViewControl>(panel, name);
  if (!view) return nullptr;
  PanelControlHead* head = controlHead(view);
  head->kind = kControlKindView;
  head->ops.draw = viewDraw;
  head->ops.message = viewMessage;
  head->ops.takeDown = viewTakeDown;
  head->ops.destroy = viewDestroy;
  view->x = x;
  view->y = y;
  view->viewWidth = view->viewHeight = kViewInitialSize;
  view->width = view->height = kViewInitialSize;
  view->viewRect = view->limitRect = {0.0, 1.0, 0.0, 1.0};
  view->projectionDirty = 1;
  view->redrawPeriod = 100;
  view->viewLock = simpleLockCreate();
  view->wakeEvent = new (std::nothrow) ManualResetEvent(false);
  // Deliberate: a view without its staging buffer still works and shows black; the uploads
  // that would need the buffer are skipped (see view_display.cpp).
  view->staging = static_cast<uint8_t*>(memAlloc(kViewStagingBytes));
  if (!view->viewLock || !view->wakeEvent) {
    ControlDestroy(view);
    return nullptr;
  }
  return view;
}

void viewSetEngine(ViewControl* view, TileEngine* engine) {
  {
    ViewLockGuard hold(view);
    view->engine = engine;
    for (ViewOverlay* o = view->overlays; o; o = o->next)
      for (ViewTile* tile : {&o->first, &o->second}) tile->strideX = tile->strideY = kViewResetStride;
  }
  viewDisplayWake(view);
}

void viewSetLimits(ViewControl* view, double left, double bottom, double right, double top) {
  TileEngine* engine;
  {
    ViewLockGuard hold(view);
    view->limitRect = {left, right, bottom, top};
    engine = view->engine;
  }
  if (engine) engineSetBounds(engine, left, bottom, right, top);
}

void viewSetRect(ViewControl* view, double left, double bottom, double right, double top) {
  {
    ViewLockGuard hold(view);
    ViewRect& l = view->limitRect;
    l = {std::min(l.left, left), std::max(l.right, right), std::min(l.bottom, bottom), std::max(l.top, top)};
    ViewRect r{left, right, bottom, top};
    double w = width(r), h = height(r);
    if (w * view->viewHeight > h * view->viewWidth) {
      const double centre = (r.bottom + r.top) * 0.5;
      h = view->viewHeight * w / view->viewWidth;
      r.bottom = centre - h * 0.5;
      r.top = centre + h * 0.5;
    } else {
      const double centre = (r.left + r.right) * 0.5;
      w = view->viewWidth * h / view->viewHeight;
      r.left = centre - w * 0.5;
      r.right = centre + w * 0.5;
    }
    clampRect(&r, l);
    view->viewRect = r;
    detachLocked(view);
  }
  viewReportRect(view);
  viewDisplayWake(view);
}

void viewResize(ViewControl* view, int32_t w, int32_t h) {
  w = std::max(w, kViewMinimumSize);
  h = std::max(h, kViewMinimumSize);
  if (w == view->viewWidth && h == view->viewHeight) return;
  {
    ViewLockGuard hold(view);
    detachLocked(view);
    ViewRect& r = view->viewRect;
    const double centre = (r.bottom + r.top) * 0.5;
    const double extent = width(r) * h / w;
    r.bottom = centre - extent * 0.5;
    r.top = centre + extent * 0.5;
    clampRect(&r, view->limitRect);
    view->projectionDirty = 1;
    view->viewWidth = w;
    view->viewHeight = h;
    view->width = w;
    view->height = h;
  }
  viewReportRect(view);
  // The window belongs to the panel's thread.
  if (Panel* panel = controlPanel(view)) panelPost(panel, placeWindowPosted, view);
  viewDisplayWake(view);
}

void viewGetState(ViewControl* view, int32_t* w, int32_t* h, double* left, double* bottom, double* right,
                  double* top) {
  ViewLockGuard hold(view);
  *w = view->viewWidth;
  *h = view->viewHeight;
  *left = view->viewRect.left;
  *bottom = view->viewRect.bottom;
  *right = view->viewRect.right;
  *top = view->viewRect.top;
}

ViewOverlay* viewAddOverlay(ViewControl* view, int32_t layer, const float colour[3]) {
  ViewOverlay* overlay = newOverlay(kViewOverlayAdd);
  if (!overlay) return nullptr;
  overlay->first.layer = layer;
  if (colour)
    for (int c = 0; c < 3; ++c) overlay->colour[c] = colour[c];
  appendOverlay(view, overlay);
  viewDisplayWake(view);
  return overlay;
}

ViewOverlay* viewAddFogOverlay(ViewControl* view, int32_t order, int32_t layerAdd, int32_t layerMultiply) {
  ViewOverlay* overlay = newOverlay(kViewOverlayFog);
  if (!overlay) return nullptr;
  overlay->order = order;
  overlay->first.layer = layerAdd;
  overlay->second.layer = layerMultiply;
  appendOverlay(view, overlay);
  viewDisplayWake(view);
  return overlay;
}

void viewSetOverlayColours(ViewControl* view, ViewOverlay* overlay, const float* colour, const float* secondColour) {
  {
    ViewLockGuard hold(view);
    for (int c = 0; c < 3; ++c) {
      if (colour) overlay->colour[c] = colour[c];
      if (secondColour) overlay->secondColour[c] = secondColour[c];
    }
  }
  viewDisplayWake(view);
}

void viewRemoveOverlay(ViewControl* view, ViewOverlay* overlay) {
  if (!overlay) return;
  {
    ViewLockGuard hold(view);
    unlinkAndFree(view, overlay);
  }
  viewDisplayWake(view);
}

void viewAttachImage(ViewControl* view, const uint8_t* bytes, int32_t pixelBytes, int32_t rowBytes, int32_t w,
                     int32_t h) {
  {
    ViewLockGuard hold(view);
    view->image = bytes;
    view->imagePixelBytes = pixelBytes;
    view->imageRowBytes = rowBytes;
    view->imageWidth = w;
    view->imageHeight = h;
  }
  viewDisplayWake(view);
}

void viewDetachImage(ViewControl* view) {
  {
    ViewLockGuard hold(view);
    detachLocked(view);
  }
  viewDisplayWake(view);
}

void viewSetPeriod(ViewControl* view, uint32_t milliseconds) {
  view->redrawPeriod = milliseconds;
  viewDisplayWake(view);
}

void viewMouseDown(ViewControl* view, int32_t x, int32_t y, bool control) {
  if (view->dragActive) return;
  view->dragActive = 1;
  view->dragIsZoom = control ? 1 : 0;
  view->dragLastStep = 0;
  view->dragStartX = x;
  view->dragStartY = y;
  ViewLockGuard hold(view);
  view->dragStartRect = view->viewRect;
}

void viewMouseMove(ViewControl* view, int32_t x, int32_t y) {
  if (view->dragActive) dragStep(view, x, y);
}

void viewMouseUp(ViewControl* view, int32_t x, int32_t y) {
  if (!view->dragActive) return;
  dragStep(view, x, y);
  view->dragActive = 0;
  view->dragIsZoom = 0;
  viewReportRect(view);
}

void viewWheel(ViewControl* view, int32_t delta, int32_t x, int32_t y) {
  if (delta == 0) return;
  {
    ViewLockGuard hold(view);
    detachLocked(view);
    double cx, cy;
    planeAt(view, x, y, &cx, &cy);
    scaleAbout(view, std::pow(2.0, -delta / kZoomStepsPerDoubling), cx, cy);
  }
  view->reportCountdown = kZoomReportRounds;
  viewDisplayWake(view);
}
