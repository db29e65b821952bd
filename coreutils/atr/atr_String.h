// atr_String: the public string class of the core library, the shared
// representation of atr_StringBase with value-returning operators.
#pragma once

#include "atr/atr_StringBase.h"

class VNKUTI_CORE_API atr_String : public atr_StringBase {
 public:
  using atr_StringBase::atr_StringBase;
  atr_String() noexcept = default;
  atr_String(const atr_StringBase& s) noexcept : atr_StringBase(s) {}  // shares
  atr_String(atr_StringBase&& s) noexcept : atr_StringBase(static_cast<atr_StringBase&&>(s)) {}
  atr_String(const atr_String&) noexcept = default;
  atr_String(atr_String&&) noexcept = default;
  atr_String& operator=(const atr_String&) noexcept = default;
  atr_String& operator=(atr_String&&) noexcept = default;
  atr_String& operator=(const char* s) {
    atr_StringBase::operator=(s);
    return *this;
  }

  atr_String Substr(int from, int count = 0x7FFFFFFF) const { return atr_StringBase::Substr(from, count); }
};

inline atr_String operator+(const atr_StringBase& a, const atr_StringBase& b) {
  atr_String r(a);
  r.append(b);
  return r;
}
inline atr_String operator+(const atr_StringBase& a, const char* b) {
  atr_String r(a);
  r.append(b);
  return r;
}
