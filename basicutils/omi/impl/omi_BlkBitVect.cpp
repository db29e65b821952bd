#include "omi/omi_BlkBitVect.h"

#include <cstring>

namespace {
constexpr unsigned kWords = omi_BlkBitVect::BlockBits / 64;

std::uint64_t* NewBlock() {
  auto* b = static_cast<std::uint64_t*>(mem_Malloc(kWords * sizeof(std::uint64_t)));
  std::memset(b, 0, kWords * sizeof(std::uint64_t));
  return b;
}

bool BlockIsZero(const std::uint64_t* b) {
  if (b == nullptr) return true;
  for (unsigned w = 0; w < kWords; ++w)
    if (b[w]) return false;
  return true;
}
}  // namespace

omi_BlkBitVect::omi_BlkBitVect(const omi_BlkBitVect& other) : omi_BlkBitVect() { *this = other; }

omi_BlkBitVect& omi_BlkBitVect::operator=(const omi_BlkBitVect& other) {
  if (this == &other) return *this;
  // Build the copy first, so that a failed allocation leaves this one intact.
  std::uint64_t** blocks = nullptr;
  if (other.m_BlockCount) {
    blocks = static_cast<std::uint64_t**>(mem_Malloc(other.m_BlockCount * sizeof(std::uint64_t*)));
    std::memset(blocks, 0, other.m_BlockCount * sizeof(std::uint64_t*));
    try {
      for (unsigned b = 0; b < other.m_BlockCount; ++b) {
        if (other.m_Blocks[b] == nullptr) continue;
        blocks[b] = NewBlock();
        std::memcpy(blocks[b], other.m_Blocks[b], kWords * sizeof(std::uint64_t));
      }
    } catch (...) {
      for (unsigned b = 0; b < other.m_BlockCount; ++b) mem_Free(blocks[b]);
      mem_Free(blocks);
      throw;
    }
  }
  Reset();
  m_Blocks = blocks;
  m_BlockCount = other.m_BlockCount;
  return *this;
}

omi_BlkBitVect::~omi_BlkBitVect() { Reset(); }

bool omi_BlkBitVect::Test(unsigned i) const noexcept {
  const unsigned b = i / BlockBits;
  if (b >= m_BlockCount || m_Blocks[b] == nullptr) return false;
  const unsigned bit = i % BlockBits;
  return (m_Blocks[b][bit / 64] >> (bit % 64)) & 1u;
}

unsigned omi_BlkBitVect::Count() const noexcept {
  unsigned n = 0;
  for (unsigned b = 0; b < m_BlockCount; ++b) {
    if (m_Blocks[b] == nullptr) continue;
    for (unsigned w = 0; w < kWords; ++w) n += static_cast<unsigned>(__builtin_popcountll(m_Blocks[b][w]));
  }
  return n;
}

long long omi_BlkBitVect::FindNext(unsigned from) const noexcept {
  for (unsigned b = from / BlockBits; b < m_BlockCount; ++b) {
    const std::uint64_t* block = m_Blocks[b];
    if (block == nullptr) continue;
    unsigned start = b == from / BlockBits ? from % BlockBits : 0;
    for (unsigned w = start / 64; w < kWords; ++w) {
      std::uint64_t word = block[w];
      if (w == start / 64) word &= ~std::uint64_t{0} << (start % 64);
      if (word) return static_cast<long long>(b) * BlockBits + w * 64 + __builtin_ctzll(word);
    }
  }
  return -1;
}

bool omi_BlkBitVect::operator==(const omi_BlkBitVect& other) const noexcept {
  const unsigned n = m_BlockCount > other.m_BlockCount ? m_BlockCount : other.m_BlockCount;
  for (unsigned b = 0; b < n; ++b) {
    const std::uint64_t* x = b < m_BlockCount ? m_Blocks[b] : nullptr;
    const std::uint64_t* y = b < other.m_BlockCount ? other.m_Blocks[b] : nullptr;
    if (x == nullptr || y == nullptr) {
      if (!BlockIsZero(x) || !BlockIsZero(y)) return false;
    } else if (std::memcmp(x, y, kWords * sizeof(std::uint64_t)) != 0) {
      return false;
    }
  }
  return true;
}

void omi_BlkBitVect::Set(unsigned i) {
  const unsigned b = i / BlockBits;
  if (b >= m_BlockCount) {
    // Grow the slot table geometrically (at most 2^20 slots); new slots are empty.
    unsigned count = m_BlockCount ? m_BlockCount : 4;
    while (count <= b) count *= 2;
    auto* blocks = static_cast<std::uint64_t**>(mem_Realloc(m_Blocks, count * sizeof(std::uint64_t*)));
    std::memset(blocks + m_BlockCount, 0, (count - m_BlockCount) * sizeof(std::uint64_t*));
    m_Blocks = blocks;
    m_BlockCount = count;
  }
  if (m_Blocks[b] == nullptr) m_Blocks[b] = NewBlock();
  const unsigned bit = i % BlockBits;
  m_Blocks[b][bit / 64] |= std::uint64_t{1} << (bit % 64);
}

void omi_BlkBitVect::Clear(unsigned i) noexcept {
  const unsigned b = i / BlockBits;
  if (b >= m_BlockCount || m_Blocks[b] == nullptr) return;
  const unsigned bit = i % BlockBits;
  m_Blocks[b][bit / 64] &= ~(std::uint64_t{1} << (bit % 64));
}

void omi_BlkBitVect::Reset() noexcept {
  for (unsigned b = 0; b < m_BlockCount; ++b) mem_Free(m_Blocks[b]);
  mem_Free(m_Blocks);
  m_Blocks = nullptr;
  m_BlockCount = 0;
}
