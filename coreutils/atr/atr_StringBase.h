// atr_StringBase: the shared, counted, copy-on-write string representation.
//
// A value is two words: a pointer to the characters and a pointer to a counted
// record, null for the empty string. The record's first word is the use count,
// its third the length in bytes; characters are 8-bit and may include zero
// bytes. The text is always followed by a terminating zero, so c_str() is
// usable (a borrowed buffer must supply that zero itself).
//
// Copies share the record and bump a plain, non-atomic count: a string and its
// copies belong to one thread at a time. Every mutating member unshares first;
// the comment of each member says whether it does.
//
// Positions and lengths are signed 32-bit ints. A length argument of -1 means
// "up to the terminating zero" (strlen).
#pragma once

#include <cstdint>

#include "VNKUTI_CoreExport.h"

namespace atr_internal {
// Copies count (1 to 16) bytes with memmove's overlap rule: every byte is
// read before any is written. Short appends are the common case.
inline void MoveShort(char* to, const char* from, int count) {
  if (count >= 8) {
    std::uint64_t a, b;
    __builtin_memcpy(&a, from, 8);
    __builtin_memcpy(&b, from + count - 8, 8);
    __builtin_memcpy(to, &a, 8);
    __builtin_memcpy(to + count - 8, &b, 8);
  } else if (count >= 4) {
    std::uint32_t a, b;
    __builtin_memcpy(&a, from, 4);
    __builtin_memcpy(&b, from + count - 4, 4);
    __builtin_memcpy(to, &a, 4);
    __builtin_memcpy(to + count - 4, &b, 4);
  } else {
    char a = from[0], b = from[count >> 1], c = from[count - 1];
    to[0] = a;
    to[count >> 1] = b;
    to[count - 1] = c;
  }
}
}  // namespace atr_internal

// The counted record. Characters of an owned string follow it in the same
// allocation; an adopted or borrowed buffer lies elsewhere.
struct atr_StringRep {
  std::int32_t m_Count;     // uses
  std::int32_t m_Capacity;  // room for characters in the inline buffer, terminator excluded
  std::int32_t m_Length;    // bytes of text
  std::int32_t m_Kind;      // atr_StringRep::Kind
  enum Kind { Inline = 0, Adopted = 1, Borrowed = 2 };
};

class VNKUTI_CORE_API atr_StringBase {
 public:
  enum PreSizeEnm { PreSize };
  enum AdoptEnm { Adopt };
  enum BorrowEnm { Borrow };
  static constexpr int npos = -1;

  // ----- constructors ---------------------------------------------------
  atr_StringBase() noexcept : m_Chars(const_cast<char*>(s_Empty)), m_Rep(nullptr) {}
  atr_StringBase(const char* s);                 // null reads as ""
  atr_StringBase(const char* s, int length);     // length bytes, zeros included
  explicit atr_StringBase(int value);            // decimal text
  explicit atr_StringBase(unsigned int value);
  explicit atr_StringBase(long long value);
  explicit atr_StringBase(float value);          // shortest text that reads back the same value
  explicit atr_StringBase(double value);
  atr_StringBase(int size, PreSizeEnm);          // empty, with room for size bytes
  // Takes ownership of a buffer from mem_Malloc of at least length + 1 bytes;
  // writes the terminating zero at buffer[length]; freed with mem_Free.
  atr_StringBase(char* buffer, int length, AdoptEnm);
  // Refers to a buffer without copying. The buffer must outlive every copy of
  // the string and hold a zero at buffer[length]. The first write copies it.
  atr_StringBase(const char* buffer, int length, BorrowEnm);
  atr_StringBase(const atr_StringBase& other) noexcept : m_Chars(other.m_Chars), m_Rep(other.m_Rep) {
    if (m_Rep) ++m_Rep->m_Count;
  }
  atr_StringBase(atr_StringBase&& other) noexcept : m_Chars(other.m_Chars), m_Rep(other.m_Rep) {
    other.m_Chars = const_cast<char*>(s_Empty);
    other.m_Rep = nullptr;
  }
  ~atr_StringBase() { Release(); }

  atr_StringBase& operator=(const atr_StringBase& other) noexcept;  // shares; a = a is safe
  atr_StringBase& operator=(atr_StringBase&& other) noexcept;
  atr_StringBase& operator=(const char* s);                         // replaces the text

  // ----- accessors (never unshare) --------------------------------------
  int Length() const noexcept { return m_Rep ? m_Rep->m_Length : 0; }
  int length() const noexcept { return Length(); }
  bool IsEmpty() const noexcept { return Length() == 0; }
  const char* c_str() const noexcept { return m_Chars; }
  const char* Chars() const noexcept { return m_Chars; }
  char operator[](int i) const noexcept { return m_Chars[i]; }
  int UseCount() const noexcept { return m_Rep ? m_Rep->m_Count : 0; }  // 0 for the empty string

  int Find(const char* s, int from = 0) const;          // first match at or after from; -1 if none
  int Find(char c, int from = 0) const;
  int rfind(const char* s, int length = -1, int from = 0x7FFFFFFF) const;  // last match starting at or before from
  atr_StringBase Substr(int from, int count = 0x7FFFFFFF) const;         // clamped to the text

  int Compare(const atr_StringBase& other) const noexcept;  // <0, 0, >0; natural order when selected
  bool Equals(const char* s, int length) const noexcept;

  // ----- mutators (each unshares first) ---------------------------------
  char& operator[](int i);  // unshares: the reference is this string's own
  atr_StringBase& append(const char* s, int length = -1, int from = 0, int count = 0x7FFFFFFF) {
    // Inline fast path: a whole piece of known length that fits the
    // exclusive buffer. memmove, because s may lie inside this text.
    atr_StringRep* rep = m_Rep;
    if (length > 0 && from == 0 && count >= length && rep != nullptr && rep->m_Count == 1 &&
        rep->m_Kind == atr_StringRep::Inline && length <= rep->m_Capacity - rep->m_Length) {
      int n = rep->m_Length;
      if (length <= 16)
        atr_internal::MoveShort(m_Chars + n, s, length);
      else
        __builtin_memmove(m_Chars + n, s, static_cast<unsigned>(length));
      n += length;
      rep->m_Length = n;
      m_Chars[n] = 0;
      return *this;
    }
    return AppendGeneral(s, length, from, count);
  }
  atr_StringBase& append(const atr_StringBase& s) { return append(s.m_Chars, s.Length()); }
  atr_StringBase& append(char c);
  atr_StringBase& operator+=(const atr_StringBase& s) { return append(s); }
  atr_StringBase& operator+=(const char* s) { return append(s); }
  atr_StringBase& operator+=(char c) { return append(c); }
  atr_StringBase& insert(int at, const char* s, int length = -1, int from = 0, int count = 0x7FFFFFFF);
  atr_StringBase& Erase(int at, int count = 0x7FFFFFFF);
  atr_StringBase& Replace(int at, int count, const char* s, int length = -1);
  atr_StringBase& Trim(const char* chars = " \t\r\n");
  atr_StringBase& LeftTrim(const char* chars = " \t\r\n");
  atr_StringBase& RightTrim(const char* chars = " \t\r\n");
  atr_StringBase& ToLower();
  atr_StringBase& ToUpper();
  // Replaces occurrences of from by to, left to right, at most maxCount of
  // them (0: all). Returns how many were replaced.
  int Substitute(const atr_StringBase& from, const atr_StringBase& to, int maxCount = 0);
  void Clear() noexcept { Release(); }
  void Reserve(int capacity);  // unshares; room for capacity bytes
  void SetLength(int length);  // unshares; shortens, or grows with zero bytes

  // Frees the record of a string whose count has reached 0.
  static void Delete(atr_StringRep* rep) noexcept;

 protected:
  void Release() noexcept {
    if (m_Rep) {
      if (--m_Rep->m_Count == 0) Delete(m_Rep);
      m_Rep = nullptr;
      m_Chars = const_cast<char*>(s_Empty);
    }
  }
  atr_StringBase& AppendGeneral(const char* s, int length, int from, int count);
  // Makes the text exclusive, inline and able to hold capacity bytes.
  void MakeWritable(int capacity);

  char* m_Chars;
  atr_StringRep* m_Rep;

  static constexpr char s_Empty[1] = {0};
};

// Global flag: when true, comparisons order runs of digits by numeric value
// ("a2" < "a10"). Set it before strings are compared, not while they are.
VNKUTI_CORE_API bool& atr_getNaturalOrder();

VNKUTI_CORE_API bool operator==(const atr_StringBase& a, const atr_StringBase& b) noexcept;
VNKUTI_CORE_API bool operator==(const atr_StringBase& a, const char* b) noexcept;
inline bool operator!=(const atr_StringBase& a, const atr_StringBase& b) noexcept { return !(a == b); }
inline bool operator!=(const atr_StringBase& a, const char* b) noexcept { return !(a == b); }
inline bool operator<(const atr_StringBase& a, const atr_StringBase& b) noexcept { return a.Compare(b) < 0; }
inline bool operator>(const atr_StringBase& a, const atr_StringBase& b) noexcept { return a.Compare(b) > 0; }
inline bool operator<=(const atr_StringBase& a, const atr_StringBase& b) noexcept { return a.Compare(b) <= 0; }
inline bool operator>=(const atr_StringBase& a, const atr_StringBase& b) noexcept { return a.Compare(b) >= 0; }
