#pragma once
#include "runtime/module_load.h"
#include "runtime/random.h"

// Loads the runtime once per test process and builds the inverse table, as the module's
// common start does.
inline void ensureRuntimeLoaded() {
  static const bool loaded = [] {
    const bool ok = runtimeLoad() == 1;
    randBuildInverseTable();
    return ok;
  }();
  (void)loaded;
}
