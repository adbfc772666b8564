#pragma once
// The tracked allocator: every block the module allocates goes through here.
//
// Block layout, from the low end of what malloc returned:
//   slack            0..15 bytes, to reach the aligned header
//   requested size   32 bits
//   total size       32 bits   (requested size + the header's cost)
//   magic            32 bits   0xF7E63307
//   raw pointer      natural width (what malloc returned)
//   user area        requested size, 8-byte aligned
// The magic and the raw pointer sit right below the user pointer, in that order.
#include <cstddef>
#include <cstdint>

inline constexpr uint32_t kTrackedMagic = 0xF7E63307u;

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
