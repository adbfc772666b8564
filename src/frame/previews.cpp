#include "frame/previews.h"

#include "frame/frame_hooks.h"

ViewerPanel* viewerList = nullptr;

namespace {

ViewerPanel* nextOf(ViewerPanel* viewer) {
  return frameHooks.viewerNext ? frameHooks.viewerNext(viewer) : nullptr;
}

void destroy(ViewerPanel* viewer) {
  if (frameHooks.viewerDestroy) frameHooks.viewerDestroy(&viewerList, viewer);
}

}  // namespace

void previewsSweepClosed() {
  for (ViewerPanel* v = viewerList; v;) {
    ViewerPanel* next = nextOf(v);  // before v may be freed
    if (!frameHooks.viewerPanelOpen || !frameHooks.viewerPanelOpen(v)) destroy(v);
    v = next;
  }
}

void previewsDestroyAll() {
  for (ViewerPanel* v = viewerList; v;) {
    ViewerPanel* next = nextOf(v);
    destroy(v);
    v = next;
  }
}

int previewsCount() {
  int n = 0;
  for (ViewerPanel* v = viewerList; v; v = nextOf(v)) ++n;
  return n;
}
