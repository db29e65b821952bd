// Large blocks (mem_kLargeLimit bytes and more) and the cache of freed ones.
//
// A large block is a whole number of chunks from aligned_alloc, its first
// chunk marked kLargeCode in the chunk map; a 64-byte header in front of the
// caller's address records the block's size, so that the caller's memory
// stays 64-byte aligned. Freed blocks are kept, newest last, within the
// bounds mem_Alloc.h states; a request takes the smallest kept block that
// fits it and wastes at most a quarter of it.
#pragma once

#include <cstddef>

#include "mem/mem_Alloc.h"

namespace mem_internal {

constexpr std::size_t kLargeHeader = 64;

// Null when the C allocator has no memory for it.
void* LargeAlloc(std::size_t size);
void LargeFree(void* p);
// The bytes the caller may use from p on.
std::size_t LargeCapacity(const void* p);
void LargeTrim();
void LargeUsage(mem_Usage& usage);

}  // namespace mem_internal
