// Which 64 KiB chunks of the address space hold the allocator's own memory.
//
// mem_Free gets bare pointers and must tell pool blocks and large blocks from
// blocks of the C allocator without reading memory in front of them: the C
// allocator's own headers are not ours to read. A two-level table gives one
// byte per chunk: zero for "not ours", a size class for a slab, kLargeCode
// for the first chunk of a large block. Leaves (one byte per chunk of a
// 4 GiB window) are made on first use and never given back: there are a
// handful per process.
//
// Only addresses below 2^48 are covered; memory the C allocator returns above
// that is handed straight back and the request served by malloc instead.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace mem_internal {

constexpr unsigned kChunkShift = 16;
constexpr std::size_t kChunkSize = std::size_t(1) << kChunkShift;
constexpr unsigned kLeafBits = 16;
constexpr unsigned kRootBits = 16;
constexpr std::uint8_t kForeignCode = 0;
constexpr std::uint8_t kLargeCode = 0xFF;

typedef std::atomic<std::uint8_t> ChunkLeaf[std::size_t(1) << kLeafBits];
extern constinit std::atomic<ChunkLeaf*> g_ChunkRoot[std::size_t(1) << kRootBits];

inline bool Covered(const void* p) {
  return (std::uint64_t(reinterpret_cast<std::uintptr_t>(p)) >> (kChunkShift + kLeafBits + kRootBits)) == 0;
}

// The code of p's chunk: two loads. Codes change only while no block of the
// chunk is out, so a relaxed read sees the code the block was handed out under.
inline std::uint8_t ChunkCode(const void* p) {
  std::uint64_t chunk = std::uint64_t(reinterpret_cast<std::uintptr_t>(p)) >> kChunkShift;
  std::uint64_t root = chunk >> kLeafBits;
  if (root >= (std::uint64_t(1) << kRootBits)) return kForeignCode;
  ChunkLeaf* leaf = g_ChunkRoot[root].load(std::memory_order_acquire);
  if (leaf == nullptr) return kForeignCode;
  return (*leaf)[chunk & ((std::uint64_t(1) << kLeafBits) - 1)].load(std::memory_order_relaxed);
}

// Sets the code of the chunks of [p, p + bytes), p chunk-aligned and covered.
// False when a leaf could not be allocated (nothing is changed then).
bool SetChunkCodes(const void* p, std::size_t bytes, std::uint8_t code);

}  // namespace mem_internal
