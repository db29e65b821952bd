// cow_IntrusiveCountedBase: lets an object carry a pointer to its own counter.
#pragma once

#include <cstdint>

#include "VNKUTI_BasicExport.h"
#include "mem/mem_AllocationOperators.h"

// A use count that lives apart from the object it counts.
class VNKUTI_BASIC_API cow_Counter : public mem_AllocationOperatorsTiny {
 public:
  explicit cow_Counter(std::uint32_t count = 1) : m_Count(count) {}
  std::uint32_t m_Count;
};

class VNKUTI_BASIC_API cow_IntrusiveCountedBase {
 public:
  cow_IntrusiveCountedBase() = default;
  // Sets the counter. Replacing a different counter writes a warning to the
  // error stream and replaces it anyway; setting the same one is silent.
  void SetCounter(cow_Counter* c);
  cow_Counter* GetCounter() const { return m_Counter; }

 private:
  cow_Counter* m_Counter = nullptr;
};
