// The per-thread cache of compiled patterns: lookup, eviction of the least
// recently used entry, and release of what the cache owns.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "rgx/rgx_ReCompileCache.h"

namespace {

std::vector<int> g_Released;
void Release(void* p) { g_Released.push_back(*static_cast<int*>(p)); }

TEST(RgxReCompileCache, EvictsTheLeastRecentlyUsedAndReleasesWhatItOwns) {
  g_Released.clear();
  int objects[rgx_ReCompileCache::kCapacity + 2];
  for (int i = 0; i < rgx_ReCompileCache::kCapacity + 2; ++i) objects[i] = i;
  {
    rgx_ReCompileCache cache;
    for (int i = 0; i < rgx_ReCompileCache::kCapacity; ++i)
      cache.Insert(atr_String("p") + atr_String(i), 0, &objects[i], &Release);
    EXPECT_EQ(cache.Find(atr_String("p0"), 1), nullptr);  // options are part of the key
    EXPECT_EQ(cache.Find(atr_String("p0"), 0), &objects[0]);  // p0 is now the newest
    cache.Insert(atr_String("new"), 0, &objects[rgx_ReCompileCache::kCapacity], &Release);
    EXPECT_EQ(g_Released, std::vector<int>{1});  // p1 was the oldest
    EXPECT_EQ(cache.Find(atr_String("p1"), 0), nullptr);
    EXPECT_EQ(cache.Size(), rgx_ReCompileCache::kCapacity);

    // Same key: the old object goes, unless it is the same object again.
    cache.Insert(atr_String("new"), 0, &objects[rgx_ReCompileCache::kCapacity], &Release);
    EXPECT_EQ(g_Released.size(), 1u);
    cache.Insert(atr_String("new"), 0, &objects[rgx_ReCompileCache::kCapacity + 1], &Release);
    EXPECT_EQ(g_Released.back(), rgx_ReCompileCache::kCapacity);
    g_Released.clear();
  }
  EXPECT_EQ(g_Released.size(), static_cast<size_t>(rgx_ReCompileCache::kCapacity));  // all freed with the cache
}

TEST(RgxReCompileCache, EachThreadHasItsOwn) {
  rgx_ReCompileCache* mine = &thr_ThreadSingleton<rgx_ReCompileCache>::Instance();
  rgx_ReCompileCache* theirs = nullptr;
  std::thread([&] {
    theirs = &thr_ThreadSingleton<rgx_ReCompileCache>::Instance();
    EXPECT_TRUE(thr_ThreadSingletonBase<rgx_ReCompileCache>::ReleaseCurrentThread());
  }).join();
  EXPECT_NE(mine, theirs);
  EXPECT_EQ(thr_ThreadSingletonBase<rgx_ReCompileCache>::Instance(), mine);
}

}  // namespace
