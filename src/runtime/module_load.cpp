#include "runtime/module_load.h"

#include <dlfcn.h>
#include <sys/stat.h>

#include <atomic>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "runtime/locks.h"
#include "runtime/memory.h"
#include "runtime/random.h"

namespace {

// Attach and detach take no lock: a slot is claimed by compare-and-swap, which gives the
// same outcome as the one-thread-at-a-time attach notifications this bookkeeping was made for.
std::atomic<uint32_t> slotTable[kThreadSlots];
std::atomic<uint64_t> loadGeneration{0};

struct ThreadSlotGuard {
  uint64_t generation = 0;
  int slot = -1;
  ~ThreadSlotGuard() { runtimeThreadDetach(); }
};
thread_local ThreadSlotGuard threadSlot;

uint64_t seedSize = 1;
bool seedFromFile = false;

// Any positive size will do where there is no module file: only the sequence of random
// numbers depends on it.
constexpr uint64_t kNoModuleFileSize = 1;

void clearSlots() {
  for (auto& word : slotTable) word.store(0, std::memory_order_relaxed);
}

void findModuleFileSize() {
  seedSize = kNoModuleFileSize;
  seedFromFile = false;
  Dl_info info{};
  if (!dladdr(reinterpret_cast<void*>(&runtimeLoad), &info) || !info.dli_fname ||
      !*info.dli_fname)
    return;
  char self[PATH_MAX], exe[PATH_MAX];
  if (!realpath(info.dli_fname, self)) return;
  if (realpath("/proc/self/exe", exe) && std::strcmp(self, exe) == 0) return;
  struct stat st{};
  if (stat(self, &st) != 0 || st.st_size <= 0) return;
  seedSize = static_cast<uint64_t>(st.st_size);
  seedFromFile = true;
}

}  // namespace

int runtimeLoad() {
  // Creates moduleLock if this is the first load; it is never deleted.
  moduleLockEnter();
  moduleLockLeave();
  loadGeneration.fetch_add(1);
  clearSlots();
  runtimeThreadAttach();

  memFree(forwardTable);
  memFree(inverseTable);
  forwardTable = static_cast<uint16_t*>(memAlloc(65536 * sizeof(uint16_t)));
  inverseTable = static_cast<uint16_t*>(memAllocZero(65536 * sizeof(uint16_t)));
  if (!forwardTable || !inverseTable) {
    memFree(forwardTable);
    memFree(inverseTable);
    forwardTable = nullptr;
    inverseTable = nullptr;
    return 0;
  }

  findModuleFileSize();
  randFillForwardTable(randSeedFromSize(seedSize));
  return 1;
}

void runtimeUnload() {
  loadGeneration.fetch_add(1);
  clearSlots();
  memFree(forwardTable);
  memFree(inverseTable);
  forwardTable = nullptr;
  inverseTable = nullptr;
}

uint64_t runtimeSeedSize() { return seedSize; }
bool runtimeSeedFromModuleFile() { return seedFromFile; }

void runtimeThreadAttach() {
  const uint64_t generation = loadGeneration.load();
  if (threadSlot.slot >= 0 && threadSlot.generation == generation) return;
  int slot = kThreadSlots - 1;
  for (int i = 0; i < kThreadSlots; ++i) {
    uint32_t expected = 0;
    if (slotTable[i].compare_exchange_strong(expected, 1)) {
      slot = i;
      break;
    }
  }
  threadSlot.generation = generation;
  threadSlot.slot = slot;
}

void runtimeThreadDetach() {
  if (threadSlot.slot < 0) return;
  if (threadSlot.generation == loadGeneration.load())
    slotTable[threadSlot.slot % kThreadSlots].store(0);
  threadSlot.slot = -1;
}

int runtimeThreadSlot() {
  return threadSlot.generation == loadGeneration.load() ? threadSlot.slot : -1;
}

uint32_t runtimeThreadSlotWord(int slot) {
  if (slot < 0 || slot >= kThreadSlots) return 0;
  return slotTable[slot].load();
}
