#include "runtime/memory.h"

#include <atomic>
#include <cstdlib>
#include <cstring>

namespace {

// Relaxed counters: tests read them between phases, nothing orders memory through them.
// Requests above this fail, as on a machine out of memory; 0 for none.
std::atomic<size_t> requestLimit{0};
std::atomic<int64_t> liveBlocks{0};
std::atomic<int64_t> liveBytes{0};
std::atomic<int64_t> allocations{0};

constexpr size_t kHeaderBytes = 20;
static_assert(kHeaderBytes + 7 <= kTrackedOverhead, "header and slack must fit the overhead");

// Header fields are read through memcpy: the layout is ours, not a C++ object's.
uint32_t readWord(const void* user, int offset) {
  uint32_t value;
  std::memcpy(&value, static_cast<const char*>(user) + offset, sizeof value);
  return value;
}

void writeWord(void* user, int offset, uint32_t value) {
  std::memcpy(static_cast<char*>(user) + offset, &value, sizeof value);
}

void* readRaw(const void* user) {
  void* raw;
  std::memcpy(&raw, static_cast<const char*>(user) + kTrackedRawOffset, sizeof raw);
  return raw;
}

}  // namespace

void* memAlloc(size_t size) {
  if (size > UINT32_MAX - kTrackedOverhead) return nullptr;
  const size_t limit = requestLimit.load(std::memory_order_relaxed);
  if (limit && size > limit) return nullptr;
  const uint32_t requested = static_cast<uint32_t>(size);
  const uint32_t total = requested + kTrackedOverhead;
  void* raw = std::malloc(total);
  if (!raw) return nullptr;

  const uintptr_t rawAddress = reinterpret_cast<uintptr_t>(raw);
  void* user = reinterpret_cast<void*>((rawAddress + kHeaderBytes + 7) & ~uintptr_t{7});
  writeWord(user, kTrackedRequestedOffset, requested);
  writeWord(user, kTrackedTotalOffset, total);
  writeWord(user, kTrackedMagicOffset, kTrackedMagic);
  std::memcpy(static_cast<char*>(user) + kTrackedRawOffset, &raw, sizeof raw);

  liveBlocks.fetch_add(1, std::memory_order_relaxed);
  liveBytes.fetch_add(requested, std::memory_order_relaxed);
  allocations.fetch_add(1, std::memory_order_relaxed);
  return user;
}

void* memAllocZero(size_t size) {
  void* user = memAlloc(size);
  if (user) std::memset(user, 0, size);
  return user;
}

void* memRealloc(void* block, size_t size) {
  if (!block) return memAlloc(size);
  const uint32_t old = readWord(block, kTrackedRequestedOffset);
  if (size == old) return block;
  void* fresh = memAlloc(size);
  if (!fresh) return nullptr;  // the caller still owns the old block
  std::memcpy(fresh, block, size < old ? size : old);
  memFree(block);
  return fresh;
}

void memFree(void* block) {
  if (!block) return;
  liveBlocks.fetch_sub(1, std::memory_order_relaxed);
  liveBytes.fetch_sub(readWord(block, kTrackedRequestedOffset), std::memory_order_relaxed);
  std::free(readRaw(block));
}

uint32_t memBlockSize(const void* block) {
  return block ? readWord(block, kTrackedRequestedOffset) : 0;
}

int64_t memLiveBlocks() { return liveBlocks.load(std::memory_order_relaxed); }
int64_t memLiveBytes() { return liveBytes.load(std::memory_order_relaxed); }
int64_t memAllocationCount() { return allocations.load(std::memory_order_relaxed); }

void memSetRequestLimit(size_t bytes) { requestLimit.store(bytes, std::memory_order_relaxed); }
