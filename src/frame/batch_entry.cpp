// The module's headless final render entry, exported beside _mod_descrip for hosts that
// render without a display. Like the module record, it goes only into the module itself.
#include <ombrel_batch.h>

#include <type_traits>

#include "finalrender/batch.h"
#include "frame/servers.h"

extern "C" __attribute__((visibility("default"))) int ombrelBatchRender(const OmbrelBatchHost* host) {
  // A module whose load failed refuses, as its servers do.
  if (frameLoadFailed) return 1;
  try {
    return batchRender(host);
  } catch (...) {
    // Nothing may cross the plug-in interface but a result.
    return 1;
  }
}

// The host finds the entry by name and calls it through this type.
static_assert(std::is_same_v<decltype(ombrelBatchRender), OmbrelBatchFunc>);
