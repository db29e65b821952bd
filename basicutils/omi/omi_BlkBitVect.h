// omi_BlkBitVect: a bit vector of unbounded length kept in blocks of 4096
// bits. A block is allocated only when a bit in it is first set, so a sparse
// set of large indexes costs little. Copies are deep; equality looks at the
// bits only (an allocated block of zeros equals a missing one).
#pragma once

#include <cstdint>

#include "VNKUTI_BasicExport.h"
#include "mem/mem_AllocationOperators.h"

class VNKUTI_BASIC_API omi_BlkBitVect : public mem_AllocationOperators {
 public:
  static constexpr unsigned BlockBits = 4096;

  // ----- constructors ---------------------------------------------------
  omi_BlkBitVect() noexcept = default;
  omi_BlkBitVect(const omi_BlkBitVect& other);
  omi_BlkBitVect& operator=(const omi_BlkBitVect& other);
  ~omi_BlkBitVect();

  // ----- accessors ------------------------------------------------------
  bool Test(unsigned i) const noexcept;  // false for a bit never set
  unsigned Count() const noexcept;       // bits set
  // The lowest set bit at or after from; -1 when there is none.
  long long FindNext(unsigned from) const noexcept;
  bool operator==(const omi_BlkBitVect& other) const noexcept;
  bool operator!=(const omi_BlkBitVect& other) const noexcept { return !(*this == other); }

  // ----- mutators -------------------------------------------------------
  void Set(unsigned i);              // allocates i's block when needed
  void Clear(unsigned i) noexcept;   // never allocates
  void Reset() noexcept;             // clears every bit and frees the blocks

 private:
  std::uint64_t** m_Blocks = nullptr;  // m_BlockCount slots; null slots are all zero
  unsigned m_BlockCount = 0;
};
