#pragma once
// The tracked allocator: every block the module allocates goes through here.
//
// Block layout, from the low end of what malloc returned (offsets from the user pointer):
//   slack            0..7 bytes, to reach the header
//   requested size   32 bits          user - 20
//   total size       32 bits          user - 16   (requested size + 28)
//   magic            32 bits          user - 12   0xF7E63307
//   raw pointer      64 bits          user - 8    (what malloc returned)
//   user area        requested size   user, 8-byte aligned
// The user pointer is (raw + 27) rounded down to a multiple of 8, so the header sits right
// below it and the raw pointer is naturally aligned. The magic and the raw pointer sit right
// below the user pointer, in that order. Each block costs 28 bytes more than requested (a
// 20-byte header and up to 7 bytes of slack, rounding included). Requests that do not fit
// the 32-bit size field fail with null.
#include <cstddef>
#include <cstdint>

inline constexpr uint32_t kTrackedMagic = 0xF7E63307u;
inline constexpr uint32_t kTrackedOverhead = 28;  // bytes each block costs beyond its size
inline constexpr int kTrackedRequestedOffset = -20;
inline constexpr int kTrackedTotalOffset = -16;
inline constexpr int kTrackedMagicOffset = -12;
inline constexpr int kTrackedRawOffset = -8;

void* memAlloc(size_t size);
void* memAllocZero(size_t size);
// Null allocates; the same size returns the same block; a failed grow returns null and keeps
// the old block.
void* memRealloc(void* block, size_t size);
void memFree(void* block);  // null is accepted

// Bookkeeping for tests: the requested size recorded in a block's header, and the number of
// live blocks and bytes requested across the process.
uint32_t memBlockSize(const void* block);
int64_t memLiveBlocks();
int64_t memLiveBytes();
// Allocations made so far (successful ones), for telling "returned the same block" from
// "allocated a new one that happens to land at the same address".
int64_t memAllocationCount();
// Makes every request above `bytes` fail, as when memory runs out, until called with 0: for
// the tests of what a failed allocation leaves.
void memSetRequestLimit(size_t bytes);
