#include "runtime/module_load.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <barrier>
#include <thread>
#include <vector>

#include "runtime/memory.h"
#include "runtime/random.h"
#include "runtime_support.h"

namespace {

TEST(ModuleLoad, StaticProgramUsesTheFixedSizeAndReloads) {
  ensureRuntimeLoaded();
  EXPECT_FALSE(runtimeSeedFromModuleFile());
  EXPECT_EQ(runtimeSeedSize(), 1u);
  EXPECT_EQ(runtimeThreadSlot(), 0);  // the loading thread

  const int64_t blocks = memLiveBlocks();
  runtimeUnload();
  EXPECT_EQ(forwardTable, nullptr);
  EXPECT_EQ(memLiveBlocks(), blocks - 2);
  EXPECT_EQ(runtimeThreadSlot(), -1);

  ASSERT_EQ(runtimeLoad(), 1);
  randBuildInverseTable();
  EXPECT_EQ(memLiveBlocks(), blocks);
  EXPECT_EQ(forwardTable[0], 0x45D8);  // the table of seed 0x7A31C4E5, as before
  EXPECT_EQ(runtimeThreadSlot(), 0);
}

TEST(ModuleLoad, SeedComesFromTheModuleFileSize) {
  void* handle = dlopen(RUNTIME_PROBE_PATH, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(handle, nullptr) << dlerror();
  auto probe = reinterpret_cast<int (*)(uint64_t*, int*, uint16_t*)>(dlsym(handle, "probeLoad"));
  ASSERT_NE(probe, nullptr);
  uint64_t size = 0;
  int fromFile = 0;
  uint16_t first = 0;
  ASSERT_EQ(probe(&size, &fromFile, &first), 1);
  struct stat st{};
  ASSERT_EQ(stat(RUNTIME_PROBE_PATH, &st), 0);
  EXPECT_TRUE(fromFile);
  EXPECT_EQ(size, static_cast<uint64_t>(st.st_size));

  // The probe's table is the one this runtime fills from the same seed.
  ensureRuntimeLoaded();
  randFillForwardTable(randSeedFromSize(size));
  EXPECT_EQ(forwardTable[0], first);
  randFillForwardTable(randSeedFromSize(runtimeSeedSize()));
  dlclose(handle);
}

// 34 threads attached at once: 33 take slots 0..32, the last gets 32 without a mark.
TEST(ModuleLoad, ThreadSlotsOverflowIntoTheLast) {
  ensureRuntimeLoaded();
  runtimeThreadDetach();  // free the main thread's slot so the threads see all 33
  for (int i = 0; i < kThreadSlots; ++i) ASSERT_EQ(runtimeThreadSlotWord(i), 0u) << i;

  constexpr int kThreads = 34;
  std::vector<int> slots(kThreads, -1);
  std::barrier attached(kThreads + 1), checked(kThreads + 1), detachOne(kThreads + 1);
  std::atomic<int> detacher{-1};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back([&, t] {
      runtimeThreadAttach();
      runtimeThreadAttach();  // a second attach changes nothing
      slots[t] = runtimeThreadSlot();
      attached.arrive_and_wait();
      checked.arrive_and_wait();
      if (detacher == t) runtimeThreadDetach();
      detachOne.arrive_and_wait();
    });
  attached.arrive_and_wait();
  std::vector<int> holders(kThreadSlots, 0);
  for (int s : slots) {
    ASSERT_GE(s, 0);
    ASSERT_LT(s, kThreadSlots);
    ++holders[s];
  }
  for (int i = 0; i < kThreadSlots - 1; ++i) EXPECT_EQ(holders[i], 1) << i;
  EXPECT_EQ(holders[kThreadSlots - 1], 2);
  for (int i = 0; i < kThreadSlots; ++i) EXPECT_EQ(runtimeThreadSlotWord(i), 1u) << i;
  // Either holder of slot 32 clears it on detach, though the other still runs.
  for (int t = 0; t < kThreads; ++t)
    if (slots[t] == kThreadSlots - 1) detacher = t;
  checked.arrive_and_wait();
  detachOne.arrive_and_wait();
  EXPECT_EQ(runtimeThreadSlotWord(kThreadSlots - 1), 0u);
  for (auto& t : threads) t.join();
  // Ending threads detach themselves.
  for (int i = 0; i < kThreadSlots; ++i) EXPECT_EQ(runtimeThreadSlotWord(i), 0u) << i;
  runtimeThreadAttach();
  EXPECT_EQ(runtimeThreadSlot(), 0);
}

}  // namespace
