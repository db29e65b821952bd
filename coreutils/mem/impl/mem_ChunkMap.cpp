#include "mem_ChunkMap.h"

#include <cstdlib>

namespace mem_internal {

constinit std::atomic<ChunkLeaf*> g_ChunkRoot[std::size_t(1) << kRootBits] = {};

namespace {

ChunkLeaf* LeafFor(std::uint64_t root) {
  ChunkLeaf* leaf = g_ChunkRoot[root].load(std::memory_order_acquire);
  if (leaf != nullptr) return leaf;
  // calloc's zeros are what a relaxed atomic byte reads as kForeignCode.
  auto* fresh = static_cast<ChunkLeaf*>(std::calloc(1, sizeof(ChunkLeaf)));
  if (fresh == nullptr) return nullptr;
  if (g_ChunkRoot[root].compare_exchange_strong(leaf, fresh, std::memory_order_acq_rel, std::memory_order_acquire))
    return fresh;
  std::free(fresh);  // another thread installed one first
  return leaf;
}

}  // namespace

bool SetChunkCodes(const void* p, std::size_t bytes, std::uint8_t code) {
  std::uint64_t first = std::uint64_t(reinterpret_cast<std::uintptr_t>(p)) >> kChunkShift;
  std::uint64_t end = first + ((bytes + kChunkSize - 1) >> kChunkShift);
  for (std::uint64_t root = first >> kLeafBits; root <= (end - 1) >> kLeafBits; ++root)
    if (LeafFor(root) == nullptr) return false;
  constexpr std::uint64_t kMask = (std::uint64_t(1) << kLeafBits) - 1;
  for (std::uint64_t c = first; c < end; ++c)
    (*g_ChunkRoot[c >> kLeafBits].load(std::memory_order_relaxed))[c & kMask].store(code, std::memory_order_relaxed);
  return true;
}

}  // namespace mem_internal
