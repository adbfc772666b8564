#include "viewer/view_display.h"

#include <GL/gl.h>
#include <GL/glu.h>
#include <GL/glx.h>
#include <X11/Xlib.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <new>
#include <thread>

#include "platform/event.h"
#include "platform/thread.h"
#include "platform/window.h"
#include "runtime/locks.h"
#include "runtime/memory.h"
#include "viewer/image_layer.h"
#include "viewer/tile_engine.h"
#include "viewer/view_control.h"

// The thread's X side. The GL window is a child of the view's window, made on this thread's
// own connection with a GLX visual (the view's window has the panel's visual, which GLX need
// not accept). It selects no input, so the pointer's events go on to the view's window and so
// to the panel's thread.
struct ViewDisplay {
  std::thread thread;
  Display* display = nullptr;
  Window window = 0;
  Colormap colormap = 0;
  GLXContext context = nullptr;
  int32_t windowWidth = 0, windowHeight = 0;
  std::atomic<bool> lost{false};
};

namespace {

constexpr int32_t kIdleWait = 100;
constexpr int32_t kCloseRounds = 400;
constexpr int32_t kBlackSide = 4;
constexpr uint8_t kBlack[kBlackSide * kBlackSide * 3] = {};

// The server went away: this connection is done, the process goes on.
void lostServer(Display*, void* data) { static_cast<ViewDisplay*>(data)->lost = true; }

bool hasGl(const ViewDisplay* d) { return d->context && !d->lost.load(); }

bool openGl(ViewDisplay* d, ViewControl* view, unsigned long parent) {
  {
    std::lock_guard<std::mutex> hold(windowDisplayLock());
    d->display = XOpenDisplay(nullptr);
  }
  if (!d->display) return false;
  XSetIOErrorExitHandler(d->display, lostServer, d);
  int doubled[] = {GLX_RGBA, GLX_RED_SIZE, 1, GLX_GREEN_SIZE, 1, GLX_BLUE_SIZE, 1, GLX_DOUBLEBUFFER, None};
  int single[] = {GLX_RGBA, GLX_RED_SIZE, 1, GLX_GREEN_SIZE, 1, GLX_BLUE_SIZE, 1, None};
  const int screen = DefaultScreen(d->display);
  XVisualInfo* visual = glXChooseVisual(d->display, screen, doubled);
  if (!visual) visual = glXChooseVisual(d->display, screen, single);
  if (!visual) return false;
  d->colormap = XCreateColormap(d->display, RootWindow(d->display, screen), visual->visual, AllocNone);
  XSetWindowAttributes attributes{};
  attributes.colormap = d->colormap;
  attributes.border_pixel = 0;
  attributes.event_mask = ExposureMask;
  {
    ViewLockGuard hold(view);
    d->windowWidth = view->viewWidth;
    d->windowHeight = view->viewHeight;
  }
  d->window = XCreateWindow(d->display, parent, 0, 0, unsigned(d->windowWidth), unsigned(d->windowHeight), 0,
                            visual->depth, InputOutput, visual->visual, CWColormap | CWBorderPixel | CWEventMask,
                            &attributes);
  XMapWindow(d->display, d->window);
  d->context = glXCreateContext(d->display, visual, nullptr, True);
  XFree(visual);
  if (!d->context || !glXMakeCurrent(d->display, d->window, d->context)) return false;
  glEnable(GL_TEXTURE_2D);
  glEnable(GL_BLEND);
  glDisable(GL_LIGHTING);
  glDisable(GL_DEPTH_TEST);
  glShadeModel(GL_FLAT);
  glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
  glPixelZoom(1.0f, 1.0f);
  glClearColor(0.0f, 0.0f, 0.0f, 0.0f);
  return true;
}

void closeGl(ViewDisplay* d, ViewControl* view) {
  if (hasGl(d)) {
    ViewLockGuard hold(view);
    for (ViewOverlay* o = view->overlays; o; o = o->next)
      for (ViewTile* tile : {&o->first, &o->second})
        if (tile->texture) {
          glDeleteTextures(1, &tile->texture);
          tile->texture = 0;
        }
    if (view->imageTexture) glDeleteTextures(1, &view->imageTexture);
    view->imageTexture = 0;
    glXMakeCurrent(d->display, None, nullptr);
  }
  if (d->display && !d->lost.load()) {
    if (d->context) glXDestroyContext(d->display, d->context);
    if (d->window) XDestroyWindow(d->display, d->window);
    if (d->colormap) XFreeColormap(d->display, d->colormap);
  }
  if (d->display) {
    std::lock_guard<std::mutex> hold(windowDisplayLock());
    XCloseDisplay(d->display);
  }
  d->display = nullptr;
  d->context = nullptr;
}

// Exposures of the GL window ask for a drawing; a new size of the view, for a resized window.
void serviceWindow(ViewDisplay* d, ViewControl* view) {
  if (!d->display || d->lost.load()) return;
  while (XPending(d->display)) {
    XEvent event;
    XNextEvent(d->display, &event);
    if (event.type == Expose) view->repaintWanted = 1;
  }
  int32_t width, height;
  {
    ViewLockGuard hold(view);
    width = view->viewWidth;
    height = view->viewHeight;
  }
  if (d->windowWidth != width || d->windowHeight != height) {
    d->windowWidth = width;
    d->windowHeight = height;
    XResizeWindow(d->display, d->window, unsigned(d->windowWidth), unsigned(d->windowHeight));
  }
}

void blackTexture(uint32_t* texture) {
  glGenTextures(1, texture);
  glBindTexture(GL_TEXTURE_2D, *texture);
  glTexImage2D(GL_TEXTURE_2D, 0, 3, kBlackSide, kBlackSide, 0, GL_RGB, GL_UNSIGNED_BYTE, kBlack);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
}

ImageLayer* layerOf(TileEngine* engine, int32_t id) {
  for (int32_t i = 0; i < engine->layerCount; ++i)
    if (engine->layers[i]->id == id) return engine->layers[i];
  return nullptr;
}

// One tile from its layer; true when something was uploaded or should be tried again at once.
bool uploadTile(ViewControl* view, ViewTile* tile, bool gl) {
  TileEngine* engine = view->engine;
  if (!engine || !view->staging) return false;
  engineLockImages(engine);
  ImageLayer* layer = layerOf(engine, tile->layer);
  int32_t sx = 0, sy = 0;
  if (!layer || !engineGetStrides(engine, tile->layer, &sx, &sy) ||
      (sx == tile->strideX && sy == tile->strideY && layer->updateCount == tile->updateCount) ||
      sx > kViewMaxTexture || sy > kViewMaxTexture) {
    engineUnlockImages(engine);
    return false;
  }
  int32_t n = 0;
  EngineRect rect{};
  uint8_t generation = 0;
  const uint8_t* buffer = engineGetLayerImage(engine, tile->layer, &n, nullptr, &rect, &generation);
  if (!buffer || n < 1) {
    engineUnlockImages(engine);
    return true;
  }
  const int32_t updateCount = layer->updateCount;
  const uint32_t cellBytes = layer->cellBytes;
  const int32_t columns = n / sx, rows = n / sy;
  uint8_t* out = view->staging;
  for (int32_t r = 0; r < rows; ++r)
    for (int32_t c = 0; c < columns; ++c, out += 3) {
      const uint8_t* cell = buffer + (size_t(r) * sy * n + size_t(c) * sx) * cellBytes;
      // The engine writes cells meanwhile: a cell whose stamp is this generation's is whole.
      const uint8_t stamp = std::atomic_ref<const uint8_t>(cell[cellBytes - 1]).load(std::memory_order_acquire);
      if (stamp != generation) std::memset(out, 0, 3);
      else std::memcpy(out, cell, 3);
    }
  engineUnlockImages(engine);
  if (gl) {
    if (!tile->texture) blackTexture(&tile->texture);
    glBindTexture(GL_TEXTURE_2D, tile->texture);
    glTexImage2D(GL_TEXTURE_2D, 0, 3, columns, rows, 0, GL_RGB, GL_UNSIGNED_BYTE, view->staging);
  }
  tile->plane = {rect.left, rect.left + (n + 1 - sx) * (rect.right - rect.left) / n, rect.bottom,
                 rect.bottom + (n + 1 - sy) * (rect.top - rect.bottom) / n};
  tile->strideX = sx;
  tile->strideY = sy;
  tile->updateCount = updateCount;
  return true;
}

int32_t powerOfTwo(int32_t v) {
  int32_t p = 1;
  while (p < v) p <<= 1;
  return p;
}

// The attached image, copied row by row at a power-of-two row length. The engine's thread
// writes it meanwhile (relaxed byte stores): a torn pixel lasts until the next upload.
void uploadImage(ViewControl* view, bool gl) {
  const int32_t pw = powerOfTwo(view->imageWidth), ph = powerOfTwo(view->imageHeight);
  if (!view->staging || int64_t(pw) * ph * 3 > kViewStagingBytes || view->imageWidth < 1 || view->imageHeight < 1)
    return;
  for (int32_t y = 0; y < view->imageHeight; ++y) {
    const uint8_t* row = view->image + size_t(y) * view->imageRowBytes;
    uint8_t* out = view->staging + size_t(y) * pw * 3;
    for (int32_t x = 0; x < view->imageWidth; ++x)
      for (int c = 0; c < 3; ++c)
        out[x * 3 + c] = std::atomic_ref<const uint8_t>(row[size_t(x) * view->imagePixelBytes + c])
                             .load(std::memory_order_relaxed);
  }
  if (!gl) return;
  if (!view->imageTexture) glGenTextures(1, &view->imageTexture);
  glBindTexture(GL_TEXTURE_2D, view->imageTexture);
  glTexImage2D(GL_TEXTURE_2D, 0, 3, pw, ph, 0, GL_RGB, GL_UNSIGNED_BYTE, view->staging);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP);
}

void quad(double x0, double y0, double x1, double y1, double s0, double t0, double s1, double t1) {
  glBegin(GL_QUADS);
  glTexCoord2d(s0, t0);
  glVertex2d(x0, y0);
  glTexCoord2d(s1, t0);
  glVertex2d(x1, y0);
  glTexCoord2d(s1, t1);
  glVertex2d(x1, y1);
  glTexCoord2d(s0, t1);
  glVertex2d(x0, y1);
  glEnd();
}

// The drawn rectangle mapped into a tile's plane rectangle, on the half-pixel-shifted quad.
void drawTile(const ViewControl* view, const ViewTile* tile) {
  const ViewRect& r = view->viewRect;
  const ViewRect& p = tile->plane;
  const double pw = p.right - p.left, ph = p.top - p.bottom;
  if (!(pw > 0.0) || !(ph > 0.0)) return;
  glBindTexture(GL_TEXTURE_2D, tile->texture);
  quad(-0.5 / view->viewWidth, 0.5 / view->viewHeight, 1.0 - 0.5 / view->viewWidth, 1.0 + 0.5 / view->viewHeight,
       (r.left - p.left) / pw, (r.bottom - p.bottom) / ph, (r.right - p.left) / pw, (r.top - p.bottom) / ph);
}

void draw(ViewDisplay* d, ViewControl* view) {
  ViewLockGuard hold(view);
  glXMakeCurrent(d->display, d->window, d->context);
  if (view->projectionDirty.exchange(0)) {
    glViewport(0, 0, view->viewWidth, view->viewHeight);
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    gluOrtho2D(0.0, 1.0, 0.0, 1.0);
  }
  glClear(GL_COLOR_BUFFER_BIT);
  glBlendFunc(GL_ONE, GL_ONE);
  if (view->image && view->imageTexture) {
    glColor3f(1.0f, 1.0f, 1.0f);
    glBindTexture(GL_TEXTURE_2D, view->imageTexture);
    quad(0.0, 0.0, 1.0, 1.0, 0.0, 0.0, double(view->imageWidth) / powerOfTwo(view->imageWidth),
         double(view->imageHeight) / powerOfTwo(view->imageHeight));
  } else if (!view->image) {
    for (ViewOverlay* o = view->overlays; o; o = o->next) {
      if (o->kind != kViewOverlayAdd) continue;
      if (!o->first.texture) blackTexture(&o->first.texture);
      glColor3f(o->colour[0], o->colour[1], o->colour[2]);
      drawTile(view, &o->first);
    }
    // Fog over everything before it, lowest order first.
    int32_t last = INT32_MIN;
    for (;;) {
      ViewOverlay* next = nullptr;
      for (ViewOverlay* o = view->overlays; o; o = o->next)
        if (o->kind == kViewOverlayFog && o->order > last && (!next || o->order < next->order)) next = o;
      if (!next) break;
      last = next->order;
      for (ViewTile* tile : {&next->first, &next->second})
        if (!tile->texture) blackTexture(&tile->texture);
      glColor3f(1.0f, 1.0f, 1.0f);
      glBindTexture(GL_TEXTURE_2D, next->second.texture);
      glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
      glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
      glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP);
      glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP);
      glBlendFunc(GL_DST_COLOR, GL_ZERO);
      drawTile(view, &next->second);
      glBlendFunc(GL_ONE, GL_ONE);
      drawTile(view, &next->first);
    }
  }
  glFlush();
  glXSwapBuffers(d->display, d->window);
  view->drawCount.fetch_add(1);
}

// One round's uploads under viewLock; gives the wait before the next round.
int32_t uploads(ViewControl* view, bool gl) {
  ViewLockGuard hold(view);
  for (int32_t i = 0; i < view->deletedCount; ++i)
    if (gl) glDeleteTextures(1, &view->deletedTextures[i]);
  view->deletedCount = 0;
  if (view->image) {
    uploadImage(view, gl);
    view->repaintWanted = 1;
    return int32_t(view->redrawPeriod.load());
  }
  bool uploaded = false;
  for (ViewOverlay* o = view->overlays; o; o = o->next) {
    if (o->kind != kViewOverlayAdd) uploaded |= uploadTile(view, &o->second, gl);
    uploaded |= uploadTile(view, &o->first, gl);
  }
  return uploaded ? 0 : kIdleWait;
}

void threadMain(ViewControl* view, ViewDisplay* d, unsigned long parent) {
  if (parent && !openGl(d, view, parent)) closeGl(d, view);
  const bool gl = hasGl(d);
  if (gl) {
    glXMakeCurrent(d->display, d->window, d->context);
    ViewLockGuard hold(view);
    for (ViewOverlay* o = view->overlays; o; o = o->next)
      for (ViewTile* tile : {&o->first, &o->second})
        if (!tile->texture) blackTexture(&tile->texture);
  }
  view->repaintWanted = 1;
  while (view->keepRunning.load()) {
    if (gl) serviceWindow(d, view);
    view->waitTime = uploads(view, gl && hasGl(d));
    const bool drawNow = view->waitTime.load() == 0 || view->repaintWanted.exchange(0);
    if (drawNow && gl && hasGl(d)) draw(d, view);
    const int32_t wait = view->waitTime.load();
    if (wait > 0) {
      view->wakeEvent->waitFor(uint32_t(wait));
      view->wakeEvent->reset();
      if (view->reportCountdown.load() > 0 && view->reportCountdown.fetch_sub(1) == 1) viewReportRect(view);
    }
  }
  closeGl(d, view);
  view->threadRunning = 0;
}

}  // namespace

bool viewDisplayStart(ViewControl* view, unsigned long parentWindow) {
  if (view->display) return true;
  void* memory = memAllocZero(sizeof(ViewDisplay));
  if (!memory) return false;
  auto* d = new (memory) ViewDisplay;
  view->display = d;
  view->threadRunning = 1;
  view->keepRunning = 1;
  d->thread = threadStart([view, d, parentWindow] { threadMain(view, d, parentWindow); });
  return true;
}

void viewDisplayStop(ViewControl* view) {
  ViewDisplay* d = view->display;
  if (!d) return;
  view->keepRunning = 0;
  view->waitTime = 0;
  view->wakeEvent->set();
  for (int32_t round = 0; round < kCloseRounds && view->threadRunning.load(); ++round) threadSleep(1);
  if (view->threadRunning.load()) {
    // Deliberate: a display thread stuck in the driver keeps its record and the view's; both
    // leak rather than be freed under it.
    d->thread.detach();
    return;
  }
  d->thread.join();
  d->~ViewDisplay();
  memFree(d);
  view->display = nullptr;
}

void viewDisplayWake(ViewControl* view) {
  view->repaintWanted = 1;
  if (view->wakeEvent) view->wakeEvent->set();
}
