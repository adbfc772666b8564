// The four command servers: open a preview, refresh the previews, the final render, and
// removing the module's shader from every surface.
#include <lwgeneric.h>
#include <lwrender.h>
#include <lwsurfed.h>

#include "frame/frame_hooks.h"
#include "frame/host_messages.h"
#include "frame/master_instance.h"
#include "frame/previews.h"
#include "frame/servers.h"
#include "frame/shader_surface.h"
#include "runtime/global_services.h"

namespace {

constexpr int kPreviewLimit = 4;

void evaluate(const LWLayoutGeneric* local, const char* command) {
  if (local->evaluate) local->evaluate(local->data, command);
}

// Opening moves of "Ombrel" and "Ombrel Render". False when there is no master, after
// telling the user.
bool startMaster(GlobalFunc* global, const LWLayoutGeneric* local) {
  serverStart(global);  // a failed start shows up as missing services further on
  previewsSweepClosed();
  // The host creates the instance from within this command, through the master's create.
  if (!masterInstance) evaluate(local, "ApplyServer MasterHandler Ombrel");
  if (!masterInstance) {
    showError(globalServices.messages, "Cannot start Ombrel Master plugin.", "");
    return false;
  }
  if (!masterInstance->capture && frameHooks.captureCreate) {
    double time = 0.0;
    GlobalFunc* lookup = globalServices.hostGlobal ? globalServices.hostGlobal : global;
    if (lookup) {
      if (auto* ui = static_cast<const LWInterfaceInfo*>(lookup(LWINTERFACEINFO_GLOBAL, GFUSE_ACQUIRE)))
        time = ui->curTime;
    }
    masterInstance->capture = frameHooks.captureCreate(time);
  }
  return true;
}

}  // namespace

int activateOpenPreview(int, GlobalFunc* global, void* localData, void*) {
  if (frameLoadFailed) return AFUNC_BADAPP_SILENT;
  auto* local = static_cast<const LWLayoutGeneric*>(localData);
  if (!local) return AFUNC_BADLOCAL;
  // Unlike the render command, a preview opens even when the master could not be started.
  startMaster(global, local);
  if (previewsCount() >= kPreviewLimit) {
    showWarning(globalServices.messages, "To save system resources, you are",
                "limited to 4 simultaneous previews.");
    return AFUNC_OK;
  }
  // The first preview closes the Surface Editor; later ones leave it as the user set it.
  if (!viewerList) evaluate(local, "SurfaceEditor 0");
  if (frameHooks.viewerCreate) frameHooks.viewerCreate(&viewerList, local);
  return AFUNC_OK;
}

int activateRefresh(int, GlobalFunc*, void* localData, void*) {
  if (frameLoadFailed) return AFUNC_BADAPP_SILENT;
  auto* local = static_cast<const LWLayoutGeneric*>(localData);
  if (!local) return AFUNC_BADLOCAL;
  previewsSweepClosed();
  if (!viewerList) return AFUNC_OK;

  auto forEach = [](void (*op)(ViewerPanel*)) {
    if (!op) return;
    for (ViewerPanel* v = viewerList; v; v = frameHooks.viewerNext ? frameHooks.viewerNext(v) : nullptr)
      op(v);
  };
  forEach(frameHooks.viewerLockEngine);
  // The user's way to say that something changed that the module cannot see: whatever the
  // update finds, every layer starts over.
  if (masterInstance && masterInstance->capture && frameHooks.captureUpdate)
    frameHooks.captureUpdate(masterInstance->capture);
  forEach(frameHooks.viewerInvalidateAll);
  evaluate(local, "RefreshNow");
  forEach(frameHooks.viewerUnlockEngine);
  return AFUNC_OK;
}

int activateRender(int, GlobalFunc* global, void* localData, void*) {
  if (frameLoadFailed) return AFUNC_BADAPP_SILENT;
  auto* local = static_cast<const LWLayoutGeneric*>(localData);
  if (!local) return AFUNC_BADLOCAL;
  if (!startMaster(global, local)) return AFUNC_OK;

  // No preview survives a final render: the two never run at once.
  previewsDestroyAll();
  if (frameHooks.renderPanelPrepare && !frameHooks.renderPanelPrepare(masterInstance)) return AFUNC_OK;
  evaluate(local, "SurfaceEditor 0");
  evaluate(local, "ImageEditor 0");
  evaluate(local, "GraphEditor 0");
  evaluate(local, "SceneEditor 0");
  if (frameHooks.renderPanelRun) frameHooks.renderPanelRun(masterInstance, local);
  evaluate(local, "RefreshNow");
  return AFUNC_OK;
}

int activateStripShaders(int, GlobalFunc* global, void* localData, void*) {
  if (frameLoadFailed) return AFUNC_BADAPP_SILENT;
  auto* local = static_cast<const LWLayoutGeneric*>(localData);
  if (!local) return AFUNC_BADLOCAL;
  if (!shaderSurfaceList) return AFUNC_OK;
  GlobalFunc* lookup = globalServices.hostGlobal ? globalServices.hostGlobal : global;
  if (!lookup) return AFUNC_OK;
  auto* editor = static_cast<const LWSurfEdFuncs*>(lookup(LWSURFEDFUNCS_GLOBAL, GFUSE_ACQUIRE));
  if (!editor) return AFUNC_OK;

  evaluate(local, "SurfaceEditor 0");
  previewsDestroyAll();
  for (ShaderSurface* s = shaderSurfaceList; s;) {
    ShaderSurface* next = s->next;
    if (s->surface && s->surface != kShaderSurfaceGone) {
      if (editor->setSurface) editor->setSurface(s->surface);
      evaluate(local, "Surf_RemShader Ombrel");
      s->surface = kShaderSurfaceGone;
      shaderSurfaceUnlink(s);
    }
    s = next;
  }
  return AFUNC_OK;
}
