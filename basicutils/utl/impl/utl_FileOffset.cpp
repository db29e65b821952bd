#include "utl/utl_FileOffset.h"

#include <climits>

#include "nex/nex_Exception.h"

#define NEX_SOURCE "utl/impl/utl_FileOffset"

int utl_FileOffset::DiffAsInt32(utl_FileOffset other) const {
  long long d;
  // A difference that overflows 64 bits is far outside the int range too.
  if (__builtin_sub_overflow(m_Value, other.m_Value, &d)) d = m_Value < 0 ? LLONG_MIN : LLONG_MAX;
  NEX_ASSERT(d >= INT_MIN && d <= INT_MAX);
  return static_cast<int>(d);
}
