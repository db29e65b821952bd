// The type-independent part of the fixed and two-dimensional arrays, and the
// instances the library promises.
#include <cstdint>
#include <cstdlib>

#include "aio/aio_ostream.h"
#include "cow/cow_2DArray.h"
#include "cow/cow_FixedArray.h"

void* cow_ArrayStorage::Allocate(std::size_t count, std::size_t size) {
  if (count == 0) return nullptr;
  // A size that overflows is asked for as the largest one, so that the
  // allocator reports exhaustion instead of handing out a short block.
  const std::size_t bytes = count > SIZE_MAX / size ? SIZE_MAX : count * size;
  return mem_Malloc(bytes);
}

void cow_ArrayStorage::RaiseOutOfRange(const char* array, long long index, long long limit) {
  aio_cerr() << array << ": index " << index << " out of range [0, " << limit << ")\n";
  std::abort();
}

COW_FIXED_ARRAY_TEMPLATES_(, , int)
COW_FIXED_ARRAY_TEMPLATES_(, , float)
COW_FIXED_ARRAY_TEMPLATES_(, , double)
COW_FIXED_ARRAY_TEMPLATES_(, , cow_String)

COW_2D_ARRAY_TEMPLATES_(, , int)
COW_2D_ARRAY_TEMPLATES_(, , float)
COW_2D_ARRAY_TEMPLATES_(, , double)
COW_2D_ARRAY_TEMPLATES_(, , cow_String)

COW_MAP_INSTANTIATE(cow_String, cow_FixedArray<double>)
COW_MAP_INSTANTIATE(cow_String, cow_FixedArray<int>)
COW_MAP_INSTANTIATE(int, cow_FixedArray<double>)
COW_MAP_INSTANTIATE(int, cow_FixedArray<int>)
