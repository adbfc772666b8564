// The three handler servers: displacement, shader and master. Their activations share the
// version test and the common start; the records' callbacks come from the subsystems that
// own them.
#include <lwdisplce.h>
#include <lwmaster.h>
#include <lwshader.h>

#include "frame/frame_hooks.h"
#include "frame/host_messages.h"
#include "frame/servers.h"
#include "frame/shader_handler.h"
#include "runtime/global_services.h"

LWShaderHandler* shaderHandlerLocal = nullptr;

namespace {

enum class Handler { Displacement, Shader, Master };

int openHandler(Handler which, int version, GlobalFunc* global, void* local) {
  if (frameLoadFailed) return AFUNC_BADAPP_SILENT;
  if (version > 4) return AFUNC_BADVERSION;
  if (version < 3) {
    if (global) {
      auto* messages = static_cast<const LWMessageFuncs*>(global(LWMESSAGEFUNCS_GLOBAL, GFUSE_ACQUIRE));
      showError(messages, "This plugin requires LW version 6.0 or later", "");
    }
    return AFUNC_BADVERSION;
  }
  // Shading and the master make no sense in Modeler; a displacement does. Before the first
  // start has set the flag, the host is asked.
  if (which != Handler::Displacement) {
    const bool modeler = globalServices.hostGlobal ? globalServices.isModeler : global && hostIsModeler(global);
    if (modeler) return AFUNC_BADAPP;
  }
  if (int result = serverStart(global)) return result;
  // A host that passes no record gets nothing filled in rather than a crash.
  if (!local) return AFUNC_BADLOCAL;
  return AFUNC_OK;
}

}  // namespace

int activateDisplacementHandler(int version, GlobalFunc* global, void* local, void*) {
  if (int result = openHandler(Handler::Displacement, version, global, local)) return result;
  auto* handler = static_cast<LWDisplacementHandler*>(local);
  if (frameHooks.fillDisplacementHandler) frameHooks.fillDisplacementHandler(handler);
  return AFUNC_OK;
}

int activateShaderHandler(int version, GlobalFunc* global, void* local, void*) {
  if (int result = openHandler(Handler::Shader, version, global, local)) return result;
  auto* handler = static_cast<LWShaderHandler*>(local);
  if (frameHooks.fillShaderHandler) frameHooks.fillShaderHandler(handler);
  shaderHandlerLocal = handler;
  return AFUNC_OK;
}

int activateMasterHandler(int version, GlobalFunc* global, void* local, void*) {
  if (int result = openHandler(Handler::Master, version, global, local)) return result;
  auto* handler = static_cast<LWMasterHandler*>(local);
  if (frameHooks.fillMasterHandler) frameHooks.fillMasterHandler(handler);
  handler->type = LWMAST_OPTIONS;
  return AFUNC_OK;
}
