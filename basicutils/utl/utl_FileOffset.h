// utl_FileOffset: a signed 64-bit byte position in a file, the value that
// utl_File's positioning members take and return.
#pragma once

#include "VNKUTI_BasicExport.h"

class VNKUTI_BASIC_API utl_FileOffset {
 public:
  utl_FileOffset(long long value = 0) : m_Value(value) {}  // implicit: offsets are numbers

  long long Value() const { return m_Value; }

  // this - other as an int. Raises nex_AssertException
  // "d >= INT_MIN && d <= INT_MAX" when the difference does not fit.
  int DiffAsInt32(utl_FileOffset other) const;

  bool operator==(const utl_FileOffset& o) const { return m_Value == o.m_Value; }
  bool operator!=(const utl_FileOffset& o) const { return m_Value != o.m_Value; }

 private:
  long long m_Value;
};
