// Slabs, regions and the shared state behind the per-thread lists.
//
// Locks: each class has one, over its slabs' bitmaps and its list of slabs
// with free blocks; the depot has one, over the regions and their unused
// slabs. A class lock may be held while taking the depot lock, never the
// other way round.
#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "mem_SmallPool.h"
#include "mem_SpinLock.h"

namespace mem_internal {

namespace {
constinit ThreadCache g_NoCache = {};
}  // namespace

constinit thread_local ThreadCache* t_Cache MEM_FAST_TLS = &g_NoCache;

namespace {

constexpr std::size_t kSlabSize = kChunkSize;
constexpr unsigned kSlabsPerRegion = 16;
constexpr std::size_t kRegionSize = kSlabSize * kSlabsPerRegion;
constexpr std::uint32_t kMaxBatch = 64;

struct Region {
  char* m_Base;           // kRegionSize bytes, slab-aligned, from aligned_alloc
  std::uint32_t m_Unused;  // bit i: slab i serves no class
};

// At the start of each slab, followed by the bitmap of free blocks (1 = free)
// and then the blocks.
struct Slab {
  Region* m_Region;
  Slab* m_Prev;  // on its class's list of slabs with free blocks
  Slab* m_Next;
  std::uint32_t m_Out;   // blocks in use or on a thread's list
  std::uint32_t m_Hint;  // the bitmap words below this one are all zero
  bool m_Listed;
};
constexpr std::uint32_t kSlabHeader = (sizeof(Slab) + 7) & ~7u;

struct Geometry {
  std::uint32_t m_Size;
  std::uint32_t m_Count;   // blocks per slab
  std::uint32_t m_Words;   // bitmap words
  std::uint32_t m_Offset;  // of the first block from the slab's start
  std::uint64_t m_Magic;   // offset * m_Magic >> 32 == offset / m_Size for offsets below 2^16
  std::uint32_t m_Batch;   // blocks moved between a thread's list and the slabs at once
};

constexpr Geometry MakeGeometry(unsigned c) {
  Geometry g{};
  g.m_Size = ClassSize(c);
  for (std::uint32_t n = (kSlabSize - kSlabHeader) / g.m_Size;; --n) {
    std::uint32_t words = (n + 63) / 64;
    std::uint32_t offset = (kSlabHeader + 8 * words + 15) & ~15u;
    if (offset + n * g.m_Size <= kSlabSize) {
      g.m_Count = n;
      g.m_Words = words;
      g.m_Offset = offset;
      break;
    }
  }
  g.m_Magic = ((std::uint64_t(1) << 32) / g.m_Size) + 1;
  g.m_Batch = std::clamp<std::uint32_t>(4096 / g.m_Size, 8, kMaxBatch);
  return g;
}

struct Geometries {
  Geometry m_Of[kClasses];
};
constexpr Geometries MakeGeometries() {
  Geometries all{};
  for (unsigned c = 0; c < kClasses; ++c) all.m_Of[c] = MakeGeometry(c);
  return all;
}
constexpr Geometries kGeometry = MakeGeometries();

constexpr std::size_t ThreadListBytes() {
  std::size_t bytes = 0;
  for (const Geometry& g : kGeometry.m_Of) bytes += 2 * std::size_t(g.m_Batch) * g.m_Size;
  return bytes;
}
static_assert(ThreadListBytes() <= mem_kThreadCacheBytes);

inline std::uint64_t* Bitmap(Slab* s) { return reinterpret_cast<std::uint64_t*>(reinterpret_cast<char*>(s) + kSlabHeader); }
inline Slab* SlabOf(void* p) {
  return reinterpret_cast<Slab*>(reinterpret_cast<std::uintptr_t>(p) & ~std::uintptr_t(kSlabSize - 1));
}

// ----- the depot: regions and unused slabs ----------------------------------

struct Depot {
  SpinLock m_Lock;
  Region** m_Regions = nullptr;  // by ascending address
  std::size_t m_Count = 0;
  std::size_t m_Capacity = 0;
  std::size_t m_Unused = 0;      // unused slabs over all regions
  std::size_t m_FirstUnused = 0;  // no region before this index has an unused slab
};
constinit Depot g_Depot;

void FreeRegion(Region* r) {
  SetChunkCodes(r->m_Base, kRegionSize, kForeignCode);  // the C allocator may hand these addresses out next
  std::free(r->m_Base);
  std::free(r);
}

// Depot lock held. Where r is, or would go, in the regions by address.
std::size_t IndexOf(const Region* r) {
  Depot& d = g_Depot;
  return std::lower_bound(d.m_Regions, d.m_Regions + d.m_Count, r,
                          [](const Region* a, const Region* b) { return a->m_Base < b->m_Base; }) -
         d.m_Regions;
}

// Depot lock held. A new region, all unused, in address order; null when the
// C allocator has none (or gives memory the chunk map does not cover).
Region* AddRegion() {
  Depot& d = g_Depot;
  if (d.m_Count == d.m_Capacity) {
    std::size_t capacity = d.m_Capacity ? 2 * d.m_Capacity : 64;
    auto* grown = static_cast<Region**>(std::realloc(d.m_Regions, capacity * sizeof(Region*)));
    if (grown == nullptr) return nullptr;
    d.m_Regions = grown;
    d.m_Capacity = capacity;
  }
  auto* r = static_cast<Region*>(std::malloc(sizeof(Region)));
  if (r == nullptr) return nullptr;
  r->m_Base = static_cast<char*>(std::aligned_alloc(kSlabSize, kRegionSize));
  if (r->m_Base == nullptr || !Covered(r->m_Base + kRegionSize - 1) ||
      !SetChunkCodes(r->m_Base, kRegionSize, kForeignCode)) {
    std::free(r->m_Base);
    std::free(r);
    return nullptr;
  }
  r->m_Unused = (std::uint32_t(1) << kSlabsPerRegion) - 1;
  std::size_t at = IndexOf(r);
  std::copy_backward(d.m_Regions + at, d.m_Regions + d.m_Count, d.m_Regions + d.m_Count + 1);
  d.m_Regions[at] = r;
  ++d.m_Count;
  d.m_Unused += kSlabsPerRegion;
  d.m_FirstUnused = std::min(d.m_FirstUnused, at);
  return r;
}

// Depot lock held. Removes the region at index i and gives its memory back.
void DropRegion(std::size_t i) {
  Depot& d = g_Depot;
  Region* r = d.m_Regions[i];
  std::copy(d.m_Regions + i + 1, d.m_Regions + d.m_Count, d.m_Regions + i);
  --d.m_Count;
  d.m_Unused -= kSlabsPerRegion;
  if (d.m_FirstUnused > i) --d.m_FirstUnused;
  FreeRegion(r);
}

// The lowest unused slab, made an empty slab of class c; null when none can be had.
Slab* TakeUnusedSlab(unsigned c) {
  Slab* s;
  {
    std::lock_guard<SpinLock> hold(g_Depot.m_Lock);
    Depot& d = g_Depot;
    std::size_t i = d.m_FirstUnused;
    while (i < d.m_Count && d.m_Regions[i]->m_Unused == 0) ++i;
    d.m_FirstUnused = i;
    Region* r = i < d.m_Count ? d.m_Regions[i] : AddRegion();
    if (r == nullptr) return nullptr;
    unsigned slot = static_cast<unsigned>(std::countr_zero(r->m_Unused));
    r->m_Unused &= ~(std::uint32_t(1) << slot);
    --d.m_Unused;
    s = reinterpret_cast<Slab*>(r->m_Base + slot * kSlabSize);
    s->m_Region = r;
    // No block of the slab is out: nothing reads its code until a block has
    // been handed out under the class lock, after this store.
    SetChunkCodes(s, kSlabSize, static_cast<std::uint8_t>(c + 1));
  }
  const Geometry& g = kGeometry.m_Of[c];
  s->m_Prev = s->m_Next = nullptr;
  s->m_Out = 0;
  s->m_Hint = 0;
  s->m_Listed = false;
  std::uint64_t* bits = Bitmap(s);
  std::fill(bits, bits + g.m_Words, ~std::uint64_t(0));
  if (g.m_Count % 64) bits[g.m_Words - 1] = (std::uint64_t(1) << (g.m_Count % 64)) - 1;
  return s;
}

// A slab with no block out goes back to the depot. Past the bound on kept
// slabs, its region is given back once none of its slabs serves a class.
void GiveBackSlab(Slab* s) {
  std::lock_guard<SpinLock> hold(g_Depot.m_Lock);
  Depot& d = g_Depot;
  Region* r = s->m_Region;
  unsigned slot = static_cast<unsigned>((reinterpret_cast<char*>(s) - r->m_Base) / kSlabSize);
  r->m_Unused |= std::uint32_t(1) << slot;
  ++d.m_Unused;
  std::size_t i = IndexOf(r);
  if (r->m_Unused == (std::uint32_t(1) << kSlabsPerRegion) - 1 && d.m_Unused * kSlabSize > mem_kKeptSlabBytes)
    DropRegion(i);
  else
    d.m_FirstUnused = std::min(d.m_FirstUnused, i);
}

// ----- classes ----------------------------------------------------------------

struct ClassState {
  SpinLock m_Lock;
  Slab* m_Listed = nullptr;  // slabs with free blocks, the most recently listed first
};
constinit ClassState g_Classes[kClasses];

void List(ClassState& cs, Slab* s) {
  s->m_Prev = nullptr;
  s->m_Next = cs.m_Listed;
  if (cs.m_Listed) cs.m_Listed->m_Prev = s;
  cs.m_Listed = s;
  s->m_Listed = true;
}

void Unlist(ClassState& cs, Slab* s) {
  if (s->m_Prev) s->m_Prev->m_Next = s->m_Next;
  else cs.m_Listed = s->m_Next;
  if (s->m_Next) s->m_Next->m_Prev = s->m_Prev;
  s->m_Prev = s->m_Next = nullptr;
  s->m_Listed = false;
}

// Class lock held. Moves up to want free blocks of s, lowest address first,
// to out; returns how many.
std::uint32_t Take(Slab* s, const Geometry& g, void** out, std::uint32_t want) {
  std::uint64_t* bits = Bitmap(s);
  char* first = reinterpret_cast<char*>(s) + g.m_Offset;
  std::uint32_t got = 0;
  std::uint32_t w = s->m_Hint;
  for (; w < g.m_Words; ++w) {
    std::uint64_t word = bits[w];
    while (word != 0 && got < want) {
      unsigned b = static_cast<unsigned>(std::countr_zero(word));
      word &= word - 1;
      out[got++] = first + (std::size_t(w) * 64 + b) * g.m_Size;
    }
    bits[w] = word;
    if (got == want) break;
  }
  s->m_Hint = w;
  s->m_Out += got;
  return got;
}

// Class lock held. Fills out with up to want blocks: from listed slabs, then
// from the lowest unused slabs.
std::uint32_t Refill(unsigned c, void** out, std::uint32_t want) {
  ClassState& cs = g_Classes[c];
  const Geometry& g = kGeometry.m_Of[c];
  std::uint32_t got = 0;
  while (got < want) {
    Slab* s = cs.m_Listed;
    if (s == nullptr) {
      s = TakeUnusedSlab(c);
      if (s == nullptr) break;
      List(cs, s);
    }
    got += Take(s, g, out + got, want - got);
    if (s->m_Out == g.m_Count) Unlist(cs, s);
  }
  return got;
}

// Class lock held. Puts the n blocks at `blocks`, all of slab s, back into
// it. The bits of one bitmap word gather in a register: a batch freed in
// order hits each word many times, and a read-modify-write of memory per
// block would make every block wait for the previous one.
void ReturnRun(ClassState& cs, const Geometry& g, Slab* s, void* const* blocks, std::uint32_t n) {
  std::uint64_t* bits = Bitmap(s);
  char* first = reinterpret_cast<char*>(s) + g.m_Offset;
  std::uint32_t hint = s->m_Hint;
  constexpr std::uint32_t kNone = ~std::uint32_t(0);
  std::uint32_t word = kNone;
  std::uint64_t gathered = 0;
  for (std::uint32_t i = 0; i < n; ++i) {
    auto offset = static_cast<std::uint64_t>(static_cast<char*>(blocks[i]) - first);
    auto index = static_cast<std::uint32_t>((offset * g.m_Magic) >> 32);
    if (index / 64 != word) {
      if (word != kNone) bits[word] |= gathered;
      word = index / 64;
      gathered = 0;
      hint = std::min(hint, word);
    }
    gathered |= std::uint64_t(1) << (index % 64);
  }
  bits[word] |= gathered;
  s->m_Hint = hint;
  if (!s->m_Listed) List(cs, s);
  s->m_Out -= n;  // every block of the run was out
  if (s->m_Out == 0) {
    Unlist(cs, s);
    GiveBackSlab(s);
  }
}

// Puts n blocks back into their slabs, a run of blocks of one slab at a time.
void ReturnMany(unsigned c, void* const* blocks, std::uint32_t n) {
  ClassState& cs = g_Classes[c];
  const Geometry& g = kGeometry.m_Of[c];
  std::lock_guard<SpinLock> hold(cs.m_Lock);
  for (std::uint32_t i = 0; i < n;) {
    Slab* s = SlabOf(blocks[i]);
    std::uint32_t end = i + 1;
    while (end < n && SlabOf(blocks[end]) == s) ++end;
    ReturnRun(cs, g, s, blocks + i, end - i);
    i = end;
  }
}

// ----- the calling thread ------------------------------------------------------

enum : std::uint8_t { kNew, kArmed, kFinished };
constinit thread_local std::uint8_t t_State = kNew;

constexpr std::size_t SlotCount() {
  std::size_t n = 0;
  for (const Geometry& g : kGeometry.m_Of) n += 2 * g.m_Batch;
  return n;
}

void ReturnThreadLists(ThreadCache* tc) {
  for (unsigned c = 0; c < kClasses; ++c) {
    Bin& b = tc->m_Bins[c];
    if (b.m_Count) ReturnMany(c, b.m_Slots, b.m_Count);
    b.m_Count = 0;
  }
}

// Destroyed when its thread ends (the thread's first slow call constructs it):
// gives the lists back and leaves the thread without lists, so that whatever
// it frees in later destructors goes straight to the slabs.
struct ThreadFarewell {
  bool m_Armed = false;
  ~ThreadFarewell() {
    ThreadCache* tc = t_Cache;
    t_State = kFinished;
    t_Cache = &g_NoCache;
    if (tc != &g_NoCache) {
      ReturnThreadLists(tc);
      std::free(tc);
    }
  }
};
thread_local ThreadFarewell t_Farewell;

// The calling thread's lists, made on its first call; null once it is ending
// (or when there is no memory for them).
ThreadCache* Lists() {
  ThreadCache* tc = t_Cache;
  if (tc != &g_NoCache) return tc;
  if (t_State == kFinished) return nullptr;
  tc = static_cast<ThreadCache*>(std::malloc(sizeof(ThreadCache) + SlotCount() * sizeof(void*)));
  if (tc == nullptr) return nullptr;
  auto* slots = reinterpret_cast<void**>(tc + 1);
  for (unsigned c = 0; c < kClasses; ++c) {
    Bin& b = tc->m_Bins[c];
    b.m_Slots = slots;
    b.m_Count = 0;
    b.m_Limit = 2 * kGeometry.m_Of[c].m_Batch;
    slots += b.m_Limit;
  }
  t_Farewell.m_Armed = true;  // the first use registers its destructor
  t_State = kArmed;
  t_Cache = tc;
  return tc;
}

}  // namespace

void* PoolAllocSlow(unsigned c) {
  ThreadCache* tc = Lists();
  void* got[kMaxBatch];
  std::uint32_t n;
  {
    std::lock_guard<SpinLock> hold(g_Classes[c].m_Lock);
    n = Refill(c, got, tc ? kGeometry.m_Of[c].m_Batch : 1);
  }
  if (n == 0) return nullptr;
  // The stack hands the rest out in ascending order.
  if (tc) {
    Bin& b = tc->m_Bins[c];
    for (std::uint32_t i = 1; i < n; ++i) b.m_Slots[n - 1 - i] = got[i];
    b.m_Count = n - 1;
  }
  return got[0];
}

void PoolFreeSlow(void* p, unsigned c) {
  ThreadCache* tc = Lists();
  if (tc == nullptr) return ReturnMany(c, &p, 1);
  Bin& b = tc->m_Bins[c];
  if (b.m_Count == b.m_Limit) {
    // The oldest batch goes: the blocks freed last are the likeliest to be in the caches.
    std::uint32_t n = kGeometry.m_Of[c].m_Batch;
    ReturnMany(c, b.m_Slots, n);
    std::memmove(b.m_Slots, b.m_Slots + n, (b.m_Count - n) * sizeof(void*));
    b.m_Count -= n;
  }
  b.m_Slots[b.m_Count++] = p;
}

void PoolTrim() {
  if (t_Cache != &g_NoCache) ReturnThreadLists(t_Cache);
  std::lock_guard<SpinLock> hold(g_Depot.m_Lock);
  Depot& d = g_Depot;
  for (std::size_t i = d.m_Count; i-- > 0;)
    if (d.m_Regions[i]->m_Unused == (std::uint32_t(1) << kSlabsPerRegion) - 1) DropRegion(i);
}

void PoolUsage(mem_Usage& usage) {
  std::lock_guard<SpinLock> hold(g_Depot.m_Lock);
  usage.m_SlabBytes = g_Depot.m_Count * kRegionSize;
  usage.m_UnusedSlabBytes = g_Depot.m_Unused * kSlabSize;
}

}  // namespace mem_internal
