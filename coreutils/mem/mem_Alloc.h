// The allocator every heap allocation of both libraries goes through.
//
// mem_Free releases memory from any of the allocating functions below (not
// from mem_Acquire: use mem_Release). On exhaustion the allocating functions
// call the exhaustion handler, which is expected to throw (the exception
// module installs one that raises nex_OutOfMemoryException); without a
// handler, or when it returns, they throw std::bad_alloc. None of them ever
// returns null. Every function may be called from any thread, and a block may
// be freed by a thread other than the one that allocated it.
//
// Where the memory comes from:
//  - Small blocks (up to mem_kSmallLimit bytes) come from a pool of 64 KiB
//    slabs, one size class per slab, taken from the C allocator 1 MiB at a
//    time. Each thread keeps a short list of free blocks per class, so that
//    the common case takes no lock; a slab hands out its blocks in ascending
//    address order and the lowest unused slab is taken first, so that a
//    structure built in one go lies in memory in the order it was built.
//  - Large blocks (mem_kLargeLimit bytes and more) are kept for reuse when
//    freed, so that a program producing big results over and over writes
//    into memory it has touched before instead of fresh pages.
//  - Everything in between, and mem_Acquire, goes to the C allocator. A block
//    the C allocator holds stays there when mem_Realloc resizes it.
//
// What is kept beyond the blocks in use is bounded:
//  - per thread, at most mem_kThreadCacheBytes in free small blocks (given
//    back when the thread ends);
//  - unused slabs: once more than mem_kKeptSlabBytes of them are kept, a
//    region whose slabs are all unused goes back to the C allocator;
//  - freed large blocks: at most mem_kLargeCacheBlocks of them, together no
//    more than the larger of mem_kLargeCacheFloor and the bytes of large
//    blocks in use, and never more than mem_kLargeCacheCeiling.
// mem_Trim gives back what is kept at once.
//
// The pool's locks are its own: a child forked while another thread held one
// would wait for it forever, so such a child should only exec (as POSIX asks
// of the child of a threaded program anyway).
//
// Checking tools: under AddressSanitizer the pool and the large-block cache
// are off (every block goes to the C allocator, where the tool sees it). The
// environment variable VNKUTI_MEM, read at the first allocation, chooses
// explicitly: "plain" turns them off (for valgrind and other tools that
// watch the C allocator), "pool" turns them on even under AddressSanitizer.
#pragma once

#include <cstddef>

#include "VNKUTI_CoreExport.h"

VNKUTI_CORE_API void* mem_Malloc(std::size_t size);
VNKUTI_CORE_API void* mem_Realloc(void* p, std::size_t size);  // keeps the contents up to the smaller size
VNKUTI_CORE_API void mem_Free(void* p);                         // null is accepted

// Ordinary objects, small fixed-size objects, raw buffers of plain values.
VNKUTI_CORE_API void* mem_OperatorNewThrow(std::size_t size);
VNKUTI_CORE_API void* mem_OperatorNewTinyThrow(std::size_t size);
VNKUTI_CORE_API void* mem_OperatorNewThrowBuiltin(std::size_t size);

// Page-aligned blocks for the cache manager; released only by mem_Release.
VNKUTI_CORE_API void* mem_Acquire(std::size_t size);
VNKUTI_CORE_API void mem_Release(void* p);

// Names the allocator so that a program links it; does nothing.
VNKUTI_CORE_API void mem_formalize();

// Called with the size that could not be had. Returns the previous handler.
typedef void (*mem_ExhaustionHandler)(std::size_t size);
VNKUTI_CORE_API mem_ExhaustionHandler mem_SetExhaustionHandler(mem_ExhaustionHandler handler);

// ----- pool and cache -------------------------------------------------------

inline constexpr std::size_t mem_kSmallLimit = 512;
inline constexpr std::size_t mem_kLargeLimit = std::size_t(1) << 20;
inline constexpr std::size_t mem_kThreadCacheBytes = std::size_t(256) << 10;
inline constexpr std::size_t mem_kKeptSlabBytes = std::size_t(64) << 20;
inline constexpr std::size_t mem_kLargeCacheBlocks = 16;
inline constexpr std::size_t mem_kLargeCacheFloor = std::size_t(128) << 20;
inline constexpr std::size_t mem_kLargeCacheCeiling = std::size_t(256) << 20;

// A snapshot of what the allocator holds; the figures of different threads
// are read one after the other, not at one instant.
struct mem_Usage {
  bool m_Pooled;                    // false: every block goes to the C allocator
  std::size_t m_SlabBytes;          // slabs for small blocks (used or not)
  std::size_t m_UnusedSlabBytes;    // of which slabs with no block out
  std::size_t m_LargeBytes;         // large blocks in use
  std::size_t m_CachedLargeBytes;   // freed large blocks kept for reuse
  std::size_t m_CachedLargeBlocks;
};
VNKUTI_CORE_API mem_Usage mem_GetUsage();

// Gives back to the C allocator the calling thread's free small blocks, every
// region with no block in use and every kept large block. Other threads'
// lists stay as they are.
VNKUTI_CORE_API void mem_Trim();
