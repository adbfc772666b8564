// The module's own answers to the frame's seams for the previews and the scene capture: the
// viewer panel behind "Ombrel", the sweep, "Ombrel Refresh" and the master's destruction,
// and the capture the master keeps. Filled once at load; tests put fakes in their place.
#include "frame/frame_hooks.h"
#include "frame/master_instance.h"
#include "capture/scene_capture.h"
#include "viewer/tile_engine.h"
#include "viewer/viewer_panel.h"

namespace {

ViewerPanel* createViewer(ViewerPanel** list, const LWLayoutGeneric*) {
  // Until the master watches the host, a preview shows the scene as the master captured it.
  return masterInstance ? viewerCreate(list, masterInstance->capture) : nullptr;
}

ViewerPanel* nextViewer(ViewerPanel* viewer) { return viewer ? viewer->next : nullptr; }
void lockViewer(ViewerPanel* viewer) { engineLock(viewer->engine); }
void unlockViewer(ViewerPanel* viewer) { engineUnlock(viewer->engine); }
void invalidateViewer(ViewerPanel* viewer) { engineInvalidate(viewer->engine, 0); }
void updateCapture(SceneCapture* capture) { SceneCapture_Update(capture, capture->time); }

}  // namespace

void frameHooksInstall() {
  frameHooks.viewerCreate = createViewer;
  frameHooks.viewerDestroy = viewerDestroy;
  frameHooks.viewerPanelOpen = viewerPanelOpen;
  frameHooks.viewerNext = nextViewer;
  frameHooks.viewerLockEngine = lockViewer;
  frameHooks.viewerUnlockEngine = unlockViewer;
  frameHooks.viewerInvalidateAll = invalidateViewer;
  frameHooks.captureCreate = SceneCapture_Create;
  frameHooks.captureUpdate = updateCapture;
}
