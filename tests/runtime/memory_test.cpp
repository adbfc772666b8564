#include "runtime/memory.h"

#include <gtest/gtest.h>

#include <cstring>
#include <thread>
#include <vector>

namespace {

uint32_t wordAt(const void* user, int offset) {
  uint32_t v;
  std::memcpy(&v, static_cast<const char*>(user) + offset, 4);
  return v;
}

TEST(TrackedAllocator, HeaderLayoutAndAlignment) {
  for (size_t size : {0, 1, 7, 8, 13, 100, 4096}) {
    char* user = static_cast<char*>(memAlloc(size));
    ASSERT_NE(user, nullptr) << size;
    EXPECT_EQ(reinterpret_cast<uintptr_t>(user) % 8, 0u) << size;
    EXPECT_EQ(wordAt(user, kTrackedRequestedOffset), size);
    EXPECT_EQ(wordAt(user, kTrackedTotalOffset), size + 28);
    EXPECT_EQ(wordAt(user, kTrackedMagicOffset), kTrackedMagic);
    char* raw;
    std::memcpy(&raw, user + kTrackedRawOffset, sizeof raw);
    // The header starts within 7 bytes of what malloc returned.
    EXPECT_LE(raw, user - 20);
    EXPECT_GE(raw + 7, user - 20);
    EXPECT_EQ(memBlockSize(user), size);
    std::memset(user, 0x5A, size);  // the whole user area is ours (ASan checks the bounds)
    memFree(user);
  }
}

TEST(TrackedAllocator, AccountingZeroFillAndRefusals) {
  const int64_t blocks = memLiveBlocks(), bytes = memLiveBytes();
  void* a = memAlloc(100);
  void* b = memAllocZero(300);
  EXPECT_EQ(memLiveBlocks(), blocks + 2);
  EXPECT_EQ(memLiveBytes(), bytes + 400);
  for (int i = 0; i < 300; ++i) ASSERT_EQ(static_cast<unsigned char*>(b)[i], 0) << i;
  memFree(a);
  memFree(b);
  memFree(nullptr);
  // Sizes that do not fit the 32-bit field are refused, not truncated.
  EXPECT_EQ(memAlloc(size_t{UINT32_MAX}), nullptr);
  EXPECT_EQ(memAllocZero(SIZE_MAX), nullptr);
  EXPECT_EQ(memLiveBlocks(), blocks);
  EXPECT_EQ(memLiveBytes(), bytes);
}

TEST(TrackedAllocator, Realloc) {
  void* fromNull = memRealloc(nullptr, 0);
  EXPECT_NE(fromNull, nullptr);
  memFree(fromNull);
  char* p = static_cast<char*>(memAlloc(16));
  for (int i = 0; i < 16; ++i) p[i] = static_cast<char>(i);

  const int64_t count = memAllocationCount();
  EXPECT_EQ(memRealloc(p, 16), p);
  EXPECT_EQ(memAllocationCount(), count);

  char* grown = static_cast<char*>(memRealloc(p, 40));
  ASSERT_NE(grown, nullptr);
  EXPECT_EQ(memBlockSize(grown), 40u);
  for (int i = 0; i < 16; ++i) EXPECT_EQ(grown[i], i);

  char* shrunk = static_cast<char*>(memRealloc(grown, 5));
  ASSERT_NE(shrunk, nullptr);
  EXPECT_EQ(memBlockSize(shrunk), 5u);
  for (int i = 0; i < 5; ++i) EXPECT_EQ(shrunk[i], i);

  // A grow that cannot be satisfied leaves the old block alive and intact.
  const int64_t blocks = memLiveBlocks();
  EXPECT_EQ(memRealloc(shrunk, SIZE_MAX), nullptr);
  EXPECT_EQ(memLiveBlocks(), blocks);
  for (int i = 0; i < 5; ++i) EXPECT_EQ(shrunk[i], i);
  memFree(shrunk);
}

TEST(TrackedAllocator, CountsStayExactAcrossThreads) {
  const int64_t blocks = memLiveBlocks(), bytes = memLiveBytes();
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([t] {
      std::vector<void*> held;
      for (int i = 0; i < 2000; ++i)
        held.push_back(memRealloc(memAlloc(static_cast<size_t>(i % 64 + t)), i % 3 ? 50 : 200));
      for (void* p : held) memFree(p);
    });
  for (auto& t : threads) t.join();
  EXPECT_EQ(memLiveBlocks(), blocks);
  EXPECT_EQ(memLiveBytes(), bytes);
}

}  // namespace
