#include "mem_LargeCache.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <mutex>

#include "mem_ChunkMap.h"
#include "mem_SpinLock.h"

namespace mem_internal {

namespace {

struct Header {
  std::size_t m_Bytes;  // of the whole block, header included
};

struct Cache {
  SpinLock m_Lock;
  char* m_Kept[mem_kLargeCacheBlocks] = {};  // block starts, the oldest first
  std::size_t m_Count = 0;
  std::size_t m_KeptBytes = 0;
  std::size_t m_LiveBytes = 0;  // of blocks handed out
};
constinit Cache g_Cache;

std::size_t BytesOf(const char* block) { return reinterpret_cast<const Header*>(block)->m_Bytes; }

std::size_t Budget(std::size_t live) {
  return std::min(mem_kLargeCacheCeiling, std::max(mem_kLargeCacheFloor, live));
}

void Drop(char* block) {
  SetChunkCodes(block, kChunkSize, kForeignCode);  // the C allocator may hand the address out next
  std::free(block);
}

// Cache lock held. Removes the kept block at index i.
char* Unkeep(std::size_t i) {
  Cache& c = g_Cache;
  char* block = c.m_Kept[i];
  for (std::size_t j = i + 1; j < c.m_Count; ++j) c.m_Kept[j - 1] = c.m_Kept[j];
  --c.m_Count;
  c.m_KeptBytes -= BytesOf(block);
  return block;
}

}  // namespace

void* LargeAlloc(std::size_t size) {
  if (size > SIZE_MAX - kLargeHeader - kChunkSize) return nullptr;
  std::size_t bytes = (size + kLargeHeader + kChunkSize - 1) & ~(kChunkSize - 1);
  Cache& c = g_Cache;
  {
    std::lock_guard<SpinLock> hold(c.m_Lock);
    std::size_t best = c.m_Count;
    for (std::size_t i = 0; i < c.m_Count; ++i) {
      std::size_t have = BytesOf(c.m_Kept[i]);
      // The newest of equal fits: its pages are the likeliest to be in the caches.
      if (have >= bytes && have - bytes <= bytes / 4 && (best == c.m_Count || have <= BytesOf(c.m_Kept[best])))
        best = i;
    }
    if (best != c.m_Count) {
      char* block = Unkeep(best);
      c.m_LiveBytes += BytesOf(block);
      return block + kLargeHeader;
    }
  }
  void* block = std::aligned_alloc(kChunkSize, bytes);
  if (block == nullptr) {
    LargeTrim();
    block = std::aligned_alloc(kChunkSize, bytes);
  }
  if (block == nullptr) return nullptr;
  if (!Covered(block) || !SetChunkCodes(block, kChunkSize, kLargeCode)) {
    std::free(block);
    return nullptr;
  }
  reinterpret_cast<Header*>(block)->m_Bytes = bytes;
  {
    std::lock_guard<SpinLock> hold(c.m_Lock);
    c.m_LiveBytes += bytes;
  }
  return static_cast<char*>(block) + kLargeHeader;
}

void LargeFree(void* p) {
  char* block = static_cast<char*>(p) - kLargeHeader;
  std::size_t bytes = BytesOf(block);
  char* evicted[mem_kLargeCacheBlocks];
  std::size_t n = 0;
  Cache& c = g_Cache;
  {
    std::lock_guard<SpinLock> hold(c.m_Lock);
    c.m_LiveBytes -= bytes;
    std::size_t budget = Budget(c.m_LiveBytes);
    if (bytes <= budget) {
      while (c.m_Count > 0 && (c.m_Count == mem_kLargeCacheBlocks || c.m_KeptBytes + bytes > budget))
        evicted[n++] = Unkeep(0);
      c.m_Kept[c.m_Count++] = block;
      c.m_KeptBytes += bytes;
      block = nullptr;
    }
  }
  if (block) Drop(block);
  for (std::size_t i = 0; i < n; ++i) Drop(evicted[i]);
}

std::size_t LargeCapacity(const void* p) { return BytesOf(static_cast<const char*>(p) - kLargeHeader) - kLargeHeader; }

void LargeTrim() {
  char* all[mem_kLargeCacheBlocks];
  std::size_t n = 0;
  {
    std::lock_guard<SpinLock> hold(g_Cache.m_Lock);
    while (g_Cache.m_Count > 0) all[n++] = Unkeep(g_Cache.m_Count - 1);
  }
  for (std::size_t i = 0; i < n; ++i) Drop(all[i]);
}

void LargeUsage(mem_Usage& usage) {
  std::lock_guard<SpinLock> hold(g_Cache.m_Lock);
  usage.m_LargeBytes = g_Cache.m_LiveBytes;
  usage.m_CachedLargeBytes = g_Cache.m_KeptBytes;
  usage.m_CachedLargeBlocks = g_Cache.m_Count;
}

}  // namespace mem_internal
