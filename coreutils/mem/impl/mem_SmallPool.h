// The pool of small blocks: size classes, the per-thread lists and the fast
// paths mem_Alloc.cpp inlines. The slabs, the shared state and the slow paths
// are in mem_SmallPool.cpp.
//
// A slab is one 64 KiB chunk serving one size class; its chunk code in the
// chunk map is the class + 1, so that mem_Free learns the class from the map
// without reading the slab. Each thread keeps, per class, a bounded stack of
// free blocks; a full stack gives its oldest batch back to the slabs, an
// empty one takes the next batch from them.
#pragma once

#include <cstddef>
#include <cstdint>

#include "mem/mem_Alloc.h"
#include "mem_ChunkMap.h"

namespace mem_internal {

// 8 (for counters and other tiny objects), 16, then steps of 16 up to 256 and
// of 32 up to 512. Blocks of 16 bytes and more are 16-byte aligned.
constexpr unsigned kClasses = 25;

constexpr std::uint32_t ClassSize(unsigned c) {
  return c == 0 ? 8 : c <= 16 ? 16 * c : 256 + 32 * (c - 16);
}
static_assert(ClassSize(kClasses - 1) == mem_kSmallLimit);

struct ClassTable {
  std::uint8_t m_Of[mem_kSmallLimit / 8 + 1];  // by (size + 7) / 8
};

constexpr ClassTable MakeClassTable() {
  ClassTable t{};
  unsigned c = 0;
  for (unsigned i = 0; i <= mem_kSmallLimit / 8; ++i) {
    while (ClassSize(c) < i * 8) ++c;
    t.m_Of[i] = static_cast<std::uint8_t>(c);
  }
  return t;
}
inline constexpr ClassTable kClassTable = MakeClassTable();

inline unsigned ClassOf(std::size_t size) { return kClassTable.m_Of[(size + 7) >> 3]; }

// A thread's free blocks of one class: a stack of addresses, so that neither
// taking nor giving a block touches memory other than the stack.
struct Bin {
  void** m_Slots;
  std::uint32_t m_Count;
  std::uint32_t m_Limit;
};

struct ThreadCache {
  Bin m_Bins[kClasses];  // the slots follow in the same allocation
};

// The calling thread's lists. Until its first slow call, and again after its
// exit hook ran, it is the shared g_NoCache, whose bins are empty with a
// limit of zero: the fast paths below never write to it. Initial-exec TLS
// where the platform has it: this is read on every small allocation and
// release, and it is one pointer, which a library loaded later can afford.
#if defined(__GNUC__) && defined(__ELF__)
#define MEM_FAST_TLS __attribute__((tls_model("initial-exec")))
#else
#define MEM_FAST_TLS
#endif
extern constinit thread_local ThreadCache* t_Cache MEM_FAST_TLS;

// Slow paths: PoolAllocSlow returns null when no slab can be had.
void* PoolAllocSlow(unsigned c);
void PoolFreeSlow(void* p, unsigned c);

inline void* PoolAlloc(unsigned c) {
  Bin& b = t_Cache->m_Bins[c];
  std::uint32_t n = b.m_Count;
  if (__builtin_expect(n == 0, 0)) return PoolAllocSlow(c);
  b.m_Count = n - 1;
  return b.m_Slots[n - 1];
}

inline void PoolFree(void* p, unsigned c) {
  Bin& b = t_Cache->m_Bins[c];
  std::uint32_t n = b.m_Count;
  if (__builtin_expect(n >= b.m_Limit, 0)) return PoolFreeSlow(p, c);
  b.m_Slots[n] = p;
  b.m_Count = n + 1;
}

// Returns the calling thread's lists and every region with no block out.
void PoolTrim();
void PoolUsage(mem_Usage& usage);

}  // namespace mem_internal
