// cow_String: the library's value string, a thin class over the core
// library's shared string representation (atr_StringBase). Copies share the
// text; every mutating member of atr_StringBase unshares first.
#pragma once

#include "VNKUTI_BasicExport.h"
#include "atr/atr_String.h"

template <class T>
class cow_List;

class VNKUTI_BASIC_API cow_String : public atr_StringBase {
 public:
  using atr_StringBase::atr_StringBase;
  cow_String() noexcept = default;
  cow_String(const atr_StringBase& s) noexcept : atr_StringBase(s) {}  // shares
  cow_String(atr_StringBase&& s) noexcept : atr_StringBase(static_cast<atr_StringBase&&>(s)) {}
  cow_String(const cow_String&) noexcept = default;
  cow_String(cow_String&&) noexcept = default;
  cow_String& operator=(const cow_String&) noexcept = default;
  cow_String& operator=(cow_String&&) noexcept = default;

  // Replaces the text with that of s (null reads as "").
  cow_String& operator=(const char* s);

  cow_String Substr(int from, int count = 0x7FFFFFFF) const { return atr_StringBase::Substr(from, count); }
};

inline cow_String operator+(const cow_String& a, const atr_StringBase& b) {
  cow_String r(a);
  r.append(b);
  return r;
}
inline cow_String operator+(const cow_String& a, const char* b) {
  cow_String r(a);
  r.append(b);
  return r;
}

// The largest length among the list's strings; 0 for an empty list.
VNKUTI_BASIC_API unsigned GetLengthLongestString(const cow_List<cow_String>& list);
// 0 for an empty list. For a non-empty list the call never returns: its loop
// does not advance. Kept as shipped; callers must not pass a non-empty list.
VNKUTI_BASIC_API unsigned GetLengthShortestString(const cow_List<cow_String>& list);
