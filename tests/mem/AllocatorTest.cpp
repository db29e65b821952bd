// The core allocator: the small-block pool, the large-block cache and the C
// allocator behind one mem_Free, under many threads and on exhaustion.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

#include "mem/mem_Alloc.h"

// The exhaustion tests ask for impossible sizes; the sanitizers' allocators
// would end the program instead of failing the request. Seen by the runtime
// only if exported; the environment's options still apply on top.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_options() {
  return "allocator_may_return_null=1";
}
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options() {
  return "allocator_may_return_null=1";
}

namespace {

// Sizes on both sides of every route's edge.
const std::size_t kSizes[] = {0, 1, 8, 9, 16, 48, 255, 256, 257, 511, 512, 513, 4096,
                              mem_kLargeLimit - 1, mem_kLargeLimit, 3 * mem_kLargeLimit + 5};

void Fill(void* p, std::size_t n, unsigned seed) {
  auto* b = static_cast<unsigned char*>(p);
  for (std::size_t i = 0; i < n; ++i) b[i] = static_cast<unsigned char>(seed + i * 7);
}
bool Holds(const void* p, std::size_t n, unsigned seed) {
  auto* b = static_cast<const unsigned char*>(p);
  for (std::size_t i = 0; i < n; ++i)
    if (b[i] != static_cast<unsigned char>(seed + i * 7)) return false;
  return true;
}

bool Pooled() { return mem_GetUsage().m_Pooled; }

TEST(Allocator, EveryFormGivesAlignedDistinctBlocksThatMemFreeTakes) {
  void* (*const forms[])(std::size_t) = {mem_Malloc, mem_OperatorNewThrow, mem_OperatorNewTinyThrow,
                                         mem_OperatorNewThrowBuiltin};
  for (std::size_t size : kSizes) {
    std::vector<void*> blocks;
    for (auto form : forms)
      for (int k = 0; k < 3; ++k) {
        void* p = form(size);
        ASSERT_NE(p, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p) % (size > 8 ? 16 : 8), 0u) << size;
        Fill(p, size, static_cast<unsigned>(blocks.size()));
        blocks.push_back(p);
      }
    for (std::size_t i = 0; i < blocks.size(); ++i) EXPECT_TRUE(Holds(blocks[i], size, unsigned(i))) << size;
    for (void* p : blocks) mem_Free(p);
  }
  mem_Free(nullptr);
}

TEST(Allocator, ReallocKeepsTheContentsBetweenEveryPairOfRoutes) {
  for (std::size_t from : kSizes)
    for (std::size_t to : kSizes) {
      void* p = mem_Malloc(from);
      Fill(p, from, 3);
      p = mem_Realloc(p, to);
      ASSERT_TRUE(Holds(p, std::min(from, to), 3)) << from << " -> " << to;
      Fill(p, to, 5);  // all of the new size is usable
      mem_Free(p);
    }
  void* p = mem_Realloc(nullptr, 40);  // realloc of null allocates
  Fill(p, 40, 1);
  void* q = mem_Realloc(p, 30);
  if (Pooled()) {
    EXPECT_EQ(q, p);  // a pool block that still fits stays where it is
  }
  mem_Free(q);
}

// A structure built in one go after another was torn down is laid out in
// ascending order, as on a fresh heap: the lookups that follow it in key
// order then walk memory forwards.
TEST(Allocator, BlocksOfOneBuildComeInAscendingOrderAfterATeardown) {
  if (!Pooled()) GTEST_SKIP() << "the pool is off";
  constexpr int kCount = 20000;
  std::vector<void*> blocks(kCount);
  for (void*& p : blocks) p = mem_OperatorNewThrow(48);
  std::shuffle(blocks.begin(), blocks.end(), std::mt19937(1));
  for (void* p : blocks) mem_Free(p);
  for (void*& p : blocks) p = mem_OperatorNewThrow(48);
  int descents = 0;
  for (int i = 1; i < kCount; ++i) descents += blocks[i] < blocks[i - 1];
  EXPECT_LT(descents, kCount / 50);
  for (void* p : blocks) mem_Free(p);
}

// Blocks cross threads both ways while every thread also allocates, checks
// and frees its own: overlapping blocks or lost updates to the shared state
// show as damaged contents (and as races under ThreadSanitizer).
TEST(Allocator, ManyThreadsAllocateAndFreeEachOthersBlocks) {
  constexpr int kThreads = 6, kRounds = 4000;
  struct Sent {
    void* m_Block;
    std::size_t m_Size;
    unsigned m_Seed;
  };
  std::mutex lock;
  std::vector<Sent> exchange;
  std::atomic<int> damaged{0};
  auto work = [&](int id) {
    std::mt19937 rng(id);
    std::vector<Sent> mine;
    for (int r = 0; r < kRounds; ++r) {
      std::size_t size = rng() % 8 == 0 ? 600 + rng() % 3000 : rng() % 520;
      if (r % 500 == 0) size = mem_kLargeLimit + rng() % 4096;
      Sent s{mem_Malloc(size), size, unsigned(id * kRounds + r)};
      Fill(s.m_Block, s.m_Size, s.m_Seed);
      if (rng() % 3 == 0) {
        std::lock_guard<std::mutex> hold(lock);
        exchange.push_back(s);
      } else {
        mine.push_back(s);
      }
      if (mine.size() > 64 || rng() % 4 == 0) {
        Sent t{};
        {
          std::lock_guard<std::mutex> hold(lock);
          if (!exchange.empty()) {
            t = exchange.back();
            exchange.pop_back();
          }
        }
        if (t.m_Block == nullptr && !mine.empty()) {
          t = mine.front();
          mine.erase(mine.begin());
        }
        if (t.m_Block) {
          damaged += !Holds(t.m_Block, t.m_Size, t.m_Seed);
          mem_Free(t.m_Block);
        }
      }
    }
    for (const Sent& s : mine) {
      damaged += !Holds(s.m_Block, s.m_Size, s.m_Seed);
      mem_Free(s.m_Block);
    }
  };
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) threads.emplace_back(work, i);
  for (std::thread& t : threads) t.join();
  for (const Sent& s : exchange) {
    damaged += !Holds(s.m_Block, s.m_Size, s.m_Seed);
    mem_Free(s.m_Block);
  }
  EXPECT_EQ(damaged.load(), 0);
}

// A thread that ends hands its free blocks back: otherwise they would keep
// their slabs, and the regions those lie in, from ever being released.
TEST(Allocator, AnEndingThreadGivesItsFreeBlocksBack) {
  if (!Pooled()) GTEST_SKIP() << "the pool is off";
  mem_Trim();
  std::size_t before = mem_GetUsage().m_SlabBytes;
  std::thread([] {
    std::vector<void*> blocks(20000);
    for (void*& p : blocks) p = mem_Malloc(256);
    for (void* p : blocks) mem_Free(p);
  }).join();
  // Freed here, allocated there: the blocks go to this thread's lists.
  std::vector<void*> blocks(2000);
  std::thread([&] {
    for (void*& p : blocks) p = mem_Malloc(100);
  }).join();
  for (void* p : blocks) mem_Free(p);
  mem_Trim();
  EXPECT_LE(mem_GetUsage().m_SlabBytes, before);
}

TEST(Allocator, UnusedSlabsAreKeptOnlyUpToTheirBound) {
  if (!Pooled()) GTEST_SKIP() << "the pool is off";
  std::vector<void*> blocks((mem_kKeptSlabBytes + (16 << 20)) / 512);
  for (void*& p : blocks) p = mem_Malloc(512);
  for (void* p : blocks) mem_Free(p);
  mem_Usage u = mem_GetUsage();
  EXPECT_LE(u.m_UnusedSlabBytes, mem_kKeptSlabBytes + (1 << 20));
  EXPECT_GE(u.m_UnusedSlabBytes, mem_kKeptSlabBytes / 2);  // but they are kept for the next build
}

TEST(Allocator, FreedLargeBlocksAreReusedWithinTheirBudget) {
  if (!Pooled()) GTEST_SKIP() << "the pool is off";
  mem_Trim();
  const std::size_t size = 4 * mem_kLargeLimit;
  void* p = mem_Malloc(size);
  Fill(p, size, 9);
  mem_Free(p);
  EXPECT_EQ(mem_GetUsage().m_CachedLargeBlocks, 1u);
  void* q = mem_Malloc(size - 1000);
  EXPECT_EQ(q, p);  // the warm block again
  mem_Free(q);
  void* small = mem_Malloc(size / 3);  // would leave most of it unused: not taken
  EXPECT_NE(small, p);
  mem_Free(small);

  // Many large blocks freed at once: the cache keeps at most its count and,
  // with nothing in use any more, at most its floor.
  std::vector<void*> blocks(mem_kLargeCacheBlocks + 8);
  for (void*& b : blocks) b = mem_Malloc(16 * mem_kLargeLimit);
  for (void* b : blocks) mem_Free(b);
  mem_Usage u = mem_GetUsage();
  EXPECT_LE(u.m_CachedLargeBlocks, mem_kLargeCacheBlocks);
  EXPECT_LE(u.m_CachedLargeBytes, mem_kLargeCacheFloor);
  EXPECT_GT(u.m_CachedLargeBytes, 0u);
  EXPECT_EQ(u.m_LargeBytes, 0u);
  void* huge = mem_Malloc(mem_kLargeCacheCeiling + 1);  // never touched: costs address space only
  mem_Free(huge);
  EXPECT_LE(mem_GetUsage().m_CachedLargeBytes, mem_kLargeCacheFloor);
  mem_Trim();
  EXPECT_EQ(mem_GetUsage().m_CachedLargeBytes, 0u);
}

struct Exhausted {};
std::size_t g_FailedSize = 0;
void RecordAndThrow(std::size_t size) {
  g_FailedSize = size;
  throw Exhausted{};
}

TEST(Allocator, ExhaustionReachesTheHandlerFromEveryRoute) {
  mem_ExhaustionHandler old = mem_SetExhaustionHandler(&RecordAndThrow);
  EXPECT_THROW(mem_Acquire(SIZE_MAX - 100), Exhausted);  // rounding up to a page would wrap
  EXPECT_EQ(g_FailedSize, SIZE_MAX - 100);
  // Sizes next to SIZE_MAX would wrap in the pool's own rounding. With the
  // pool off they reach only the C allocator, where memory checkers report
  // them as negative: they are tried with the pool on.
  std::vector<std::size_t> sizes{std::size_t(1) << 62};
  if (Pooled()) sizes.insert(sizes.end(), {SIZE_MAX, SIZE_MAX - 100});
  for (std::size_t size : sizes) {
    EXPECT_THROW(mem_Malloc(size), Exhausted);
    EXPECT_EQ(g_FailedSize, size);
    EXPECT_THROW(mem_Acquire(size), Exhausted);
    EXPECT_EQ(g_FailedSize, size);
    // A failed resize leaves the block as it was, wherever it came from.
    for (std::size_t from : {std::size_t(24), std::size_t(2000), 2 * mem_kLargeLimit}) {
      void* p = mem_Malloc(from);
      Fill(p, from, 4);
      EXPECT_THROW(mem_Realloc(p, size), Exhausted);
      EXPECT_TRUE(Holds(p, from, 4));
      mem_Free(p);
    }
  }
  mem_SetExhaustionHandler(nullptr);
  EXPECT_THROW(mem_Malloc(std::size_t(1) << 62), std::bad_alloc);
  mem_SetExhaustionHandler(old);
}

}  // namespace
