#include <cstdint>

#include "runtime/module_load.h"
#include "runtime/random.h"

extern "C" __attribute__((visibility("default"))) int probeLoad(uint64_t* size, int* fromFile,
                                                                uint16_t* firstEntry) {
  const int ok = runtimeLoad();
  *size = runtimeSeedSize();
  *fromFile = runtimeSeedFromModuleFile();
  *firstEntry = ok ? forwardTable[0] : 0;
  runtimeUnload();
  return ok;
}
