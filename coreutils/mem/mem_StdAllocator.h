// A standard-library allocator over mem_OperatorNewThrow / mem_Free, so that a
// standard container used inside the libraries takes its memory from them.
#pragma once

#include <cstddef>

#include "mem/mem_Alloc.h"

template <class T>
struct mem_StdAllocator {
  typedef T value_type;

  constexpr mem_StdAllocator() noexcept = default;
  template <class U>
  constexpr mem_StdAllocator(const mem_StdAllocator<U>&) noexcept {}

  T* allocate(std::size_t n) { return static_cast<T*>(mem_OperatorNewThrow(n * sizeof(T))); }
  void deallocate(T* p, std::size_t) noexcept { mem_Free(p); }

  template <class U>
  bool operator==(const mem_StdAllocator<U>&) const noexcept { return true; }
};
