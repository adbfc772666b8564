// The module's entry: the record the host looks up, and what happens at load and unload.
// Only the entries below are visible outside the module.
#include <lwmodule.h>

#include "frame/frame_hooks.h"
#include "frame/servers.h"
#include "platform/window.h"
#include "rayengine/ray_engine.h"
#include "runtime/module_load.h"

namespace {

void* startup() {
  // A null result makes the host refuse the module: that is how a failed load shows on a
  // system where the loader itself cannot be told to fail.
  if (frameLoadFailed) return nullptr;
  return reinterpret_cast<void*>(4);
}

void shutdown(void*) {}

__attribute__((constructor)) void moduleLoad() {
  frameLoadFailed = runtimeLoad() == 0;
  // The capture calls the ray engine through a table, since it sits below it; fill it once.
  if (!frameLoadFailed) rayEngineInstall();
  // Panels run on threads of their own, each with its own X connection.
  windowSystemInit();
  frameHooksInstall();
}

__attribute__((destructor)) void moduleUnload() {
  if (!frameLoadFailed) runtimeUnload();
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) ModuleDescriptor _mod_descrip = {
    MOD_SYSSYNC, MOD_SYSVER, MOD_MACHINE, startup, shutdown, ombrelServers,
};

}
