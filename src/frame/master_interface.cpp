// The master's panel server: opens the settings panel of the one master instance.
#include <lwmaster.h>

#include "frame/frame_hooks.h"
#include "frame/host_messages.h"
#include "frame/master_instance.h"
#include "frame/servers.h"
#include "runtime/global_services.h"
#include "toolkit/panel.h"

int activateMasterInterface(int, GlobalFunc*, void* local, void*) {
  if (frameLoadFailed) return AFUNC_BADAPP_SILENT;
  if (!globalServices.hostGlobal) return kMasterNotStarted;
  if (!local) {
    showError(globalServices.messages, "No local data when starting up interface", "ARRRGGH");
    return kMasterNoLocalData;
  }
  auto* master = static_cast<MasterInstance*>(local);
  const int result = frameHooks.masterPanelRun ? frameHooks.masterPanelRun(master) : 0;
  // A panel that cannot open (no thread, no memory) answers below 0.
  if (result < 0) showError(globalServices.messages, kPanelErrorStartingGui, nullptr);
  if (result > 0) return kMasterPanelClosed;
  return AFUNC_OK;
}
