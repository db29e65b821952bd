#include "atr/atr_StringBase.h"

#include <charconv>
#include <cstdio>
#include <cstring>

#include "mem/mem_Alloc.h"

namespace {

constexpr int kHeader = sizeof(atr_StringRep);
constexpr int kMaxLength = 0x7FFFFFF0 - kHeader;
constexpr int kFirstRoom = 32 - kHeader - 1;  // characters; the terminator takes the last byte

inline int ClampLength(const char* s, int length) {
  if (s == nullptr) return 0;
  return length < 0 ? static_cast<int>(std::strlen(s)) : length;
}

atr_StringRep* NewInline(int capacity) {
  auto* rep = static_cast<atr_StringRep*>(mem_Malloc(static_cast<std::size_t>(kHeader) + capacity + 1));
  rep->m_Count = 1;
  rep->m_Capacity = capacity;
  rep->m_Length = 0;
  rep->m_Kind = atr_StringRep::Inline;
  return rep;
}

inline char* InlineChars(atr_StringRep* rep) { return reinterpret_cast<char*>(rep + 1); }

// Growth keeps appends amortised O(1): twice as much, and a little more for
// the small ones, so that a run of short appends reallocates as often as a
// std::string does.
inline int Grown(int current, int needed) {
  long long want = 2LL * current + 16;
  if (want < needed) want = needed;
  if (want > kMaxLength) want = kMaxLength;
  return static_cast<int>(want);
}

inline bool IsDigit(char c) { return c >= '0' && c <= '9'; }

int NaturalCompare(const unsigned char* a, int na, const unsigned char* b, int nb) {
  int i = 0, j = 0;
  int zeros = 0;  // first difference in leading zeros: the last tie-break, so the order stays total
  while (i < na && j < nb) {
    if (IsDigit(a[i]) && IsDigit(b[j])) {
      int si = i, sj = j;
      while (si < na && a[si] == '0') ++si;
      while (sj < nb && b[sj] == '0') ++sj;
      int ei = si, ej = sj;
      while (ei < na && IsDigit(a[ei])) ++ei;
      while (ej < nb && IsDigit(b[ej])) ++ej;
      if (ei - si != ej - sj) return (ei - si) < (ej - sj) ? -1 : 1;
      int c = std::memcmp(a + si, b + sj, ei - si);
      if (c != 0) return c;
      if (zeros == 0 && ei - i != ej - j) zeros = (ei - i) < (ej - j) ? -1 : 1;
      i = ei;
      j = ej;
    } else {
      if (a[i] != b[j]) return a[i] < b[j] ? -1 : 1;
      ++i;
      ++j;
    }
  }
  if ((na - i) != (nb - j)) return (na - i) < (nb - j) ? -1 : 1;
  return zeros;
}

constinit bool g_NaturalOrder = false;

}  // namespace

// ----- construction -----------------------------------------------------

atr_StringBase::atr_StringBase(const char* s) : atr_StringBase(s, ClampLength(s, -1)) {}

atr_StringBase::atr_StringBase(const char* s, int length) : atr_StringBase() {
  length = ClampLength(s, length);
  if (length > 0) {
    m_Rep = NewInline(length);
    m_Chars = InlineChars(m_Rep);
    std::memcpy(m_Chars, s, length);
    m_Chars[length] = 0;
    m_Rep->m_Length = length;
  }
}

atr_StringBase::atr_StringBase(int value) : atr_StringBase(static_cast<long long>(value)) {}
atr_StringBase::atr_StringBase(unsigned int value) : atr_StringBase(static_cast<long long>(value)) {}

atr_StringBase::atr_StringBase(long long value) : atr_StringBase() {
  char buf[32];
  auto r = std::to_chars(buf, buf + sizeof buf, value);
  *this = atr_StringBase(buf, static_cast<int>(r.ptr - buf));
}

atr_StringBase::atr_StringBase(float value) : atr_StringBase() {
  char buf[64];
  auto r = std::to_chars(buf, buf + sizeof buf, value);
  *this = atr_StringBase(buf, static_cast<int>(r.ptr - buf));
}

atr_StringBase::atr_StringBase(double value) : atr_StringBase() {
  char buf[64];
  auto r = std::to_chars(buf, buf + sizeof buf, value);
  *this = atr_StringBase(buf, static_cast<int>(r.ptr - buf));
}

atr_StringBase::atr_StringBase(int size, PreSizeEnm) : atr_StringBase() {
  if (size > 0) {
    m_Rep = NewInline(size);
    m_Chars = InlineChars(m_Rep);
    m_Chars[0] = 0;
  }
}

atr_StringBase::atr_StringBase(char* buffer, int length, AdoptEnm) : atr_StringBase() {
  if (buffer == nullptr) return;
  // The adopted buffer's address is kept just after the record, for Delete.
  auto* rep = static_cast<atr_StringRep*>(mem_Malloc(kHeader + sizeof(char*)));
  rep->m_Count = 1;
  rep->m_Capacity = length;
  rep->m_Length = length;
  rep->m_Kind = atr_StringRep::Adopted;
  *reinterpret_cast<char**>(rep + 1) = buffer;
  buffer[length] = 0;
  m_Rep = rep;
  m_Chars = buffer;
}

atr_StringBase::atr_StringBase(const char* buffer, int length, BorrowEnm) : atr_StringBase() {
  if (buffer == nullptr) return;
  auto* rep = static_cast<atr_StringRep*>(mem_Malloc(kHeader));
  rep->m_Count = 1;
  rep->m_Capacity = 0;
  rep->m_Length = ClampLength(buffer, length);
  rep->m_Kind = atr_StringRep::Borrowed;
  m_Rep = rep;
  m_Chars = const_cast<char*>(buffer);
}

void atr_StringBase::Delete(atr_StringRep* rep) noexcept {
  if (rep->m_Kind == atr_StringRep::Adopted) mem_Free(*reinterpret_cast<char**>(rep + 1));
  mem_Free(rep);
}

// ----- assignment -------------------------------------------------------

atr_StringBase& atr_StringBase::operator=(const atr_StringBase& other) noexcept {
  if (other.m_Rep) ++other.m_Rep->m_Count;  // first, so that a = a is safe
  char* chars = other.m_Chars;
  atr_StringRep* rep = other.m_Rep;
  Release();
  m_Chars = chars;
  m_Rep = rep;
  return *this;
}

atr_StringBase& atr_StringBase::operator=(atr_StringBase&& other) noexcept {
  if (this != &other) {
    Release();
    m_Chars = other.m_Chars;
    m_Rep = other.m_Rep;
    other.m_Chars = const_cast<char*>(s_Empty);
    other.m_Rep = nullptr;
  }
  return *this;
}

atr_StringBase& atr_StringBase::operator=(const char* s) {
  int n = ClampLength(s, -1);
  // s may point into this string's own text: build the new text first.
  atr_StringBase tmp(s, n);
  return *this = static_cast<atr_StringBase&&>(tmp);
}

// ----- storage ----------------------------------------------------------

void atr_StringBase::MakeWritable(int capacity) {
  int length = Length();
  if (capacity < length) capacity = length;
  if (m_Rep && m_Rep->m_Count == 1 && m_Rep->m_Kind == atr_StringRep::Inline) {
    if (capacity <= m_Rep->m_Capacity) return;
    int grown = Grown(m_Rep->m_Capacity, capacity);
    m_Rep = static_cast<atr_StringRep*>(mem_Realloc(m_Rep, static_cast<std::size_t>(kHeader) + grown + 1));
    m_Rep->m_Capacity = grown;
    m_Chars = InlineChars(m_Rep);
    return;
  }
  int room = capacity;
  if (m_Rep && capacity > length) room = Grown(length, capacity);
  atr_StringRep* rep = NewInline(room);
  char* chars = InlineChars(rep);
  std::memcpy(chars, m_Chars, length);
  chars[length] = 0;
  rep->m_Length = length;
  Release();
  m_Rep = rep;
  m_Chars = chars;
}

void atr_StringBase::Reserve(int capacity) {
  if (capacity <= 0 && m_Rep == nullptr) return;
  MakeWritable(capacity);
}

void atr_StringBase::SetLength(int length) {
  if (length <= 0) {
    Release();
    return;
  }
  int old = Length();
  MakeWritable(length);
  if (length > old) std::memset(m_Chars + old, 0, length - old);
  m_Rep->m_Length = length;
  m_Chars[length] = 0;
}

// ----- access -----------------------------------------------------------

char& atr_StringBase::operator[](int i) {
  MakeWritable(Length());
  return m_Chars[i];
}

int atr_StringBase::Find(const char* s, int from) const {
  int n = Length();
  int k = ClampLength(s, -1);
  if (from < 0) from = 0;
  if (k == 0) return from <= n ? from : -1;
  if (from + k > n) return -1;
  const char* end = m_Chars + n;
  for (const char* p = m_Chars + from; p + k <= end;) {
    p = static_cast<const char*>(std::memchr(p, s[0], end - p - k + 1));
    if (p == nullptr) return -1;
    if (std::memcmp(p, s, k) == 0) return static_cast<int>(p - m_Chars);
    ++p;
  }
  return -1;
}

int atr_StringBase::Find(char c, int from) const {
  int n = Length();
  if (from < 0) from = 0;
  if (from >= n) return -1;
  const void* p = std::memchr(m_Chars + from, c, n - from);
  return p ? static_cast<int>(static_cast<const char*>(p) - m_Chars) : -1;
}

int atr_StringBase::rfind(const char* s, int length, int from) const {
  int n = Length();
  int k = ClampLength(s, length);
  if (k > n) return -1;
  int start = n - k;
  if (from < start) start = from;
  for (int i = start; i >= 0; --i)
    if (std::memcmp(m_Chars + i, s, k) == 0) return i;
  return -1;
}

atr_StringBase atr_StringBase::Substr(int from, int count) const {
  int n = Length();
  if (from < 0) from = 0;
  if (from >= n || count <= 0) return atr_StringBase();
  if (count > n - from) count = n - from;
  if (from == 0 && count == n) return *this;
  return atr_StringBase(m_Chars + from, count);
}

int atr_StringBase::Compare(const atr_StringBase& other) const noexcept {
  int na = Length(), nb = other.Length();
  const auto* a = reinterpret_cast<const unsigned char*>(m_Chars);
  const auto* b = reinterpret_cast<const unsigned char*>(other.m_Chars);
  if (g_NaturalOrder) return NaturalCompare(a, na, b, nb);
  int c = std::memcmp(a, b, na < nb ? na : nb);
  if (c != 0) return c < 0 ? -1 : 1;
  return na == nb ? 0 : (na < nb ? -1 : 1);
}

bool atr_StringBase::Equals(const char* s, int length) const noexcept {
  int k = ClampLength(s, length);
  return k == Length() && (k == 0 || std::memcmp(m_Chars, s, k) == 0);
}

bool operator==(const atr_StringBase& a, const atr_StringBase& b) noexcept {
  if (a.c_str() == b.c_str()) return a.Length() == b.Length();
  return a.Length() == b.Length() && std::memcmp(a.c_str(), b.c_str(), a.Length()) == 0;
}

bool operator==(const atr_StringBase& a, const char* b) noexcept { return a.Equals(b, -1); }

bool& atr_getNaturalOrder() { return g_NaturalOrder; }

// ----- editing ----------------------------------------------------------


atr_StringBase& atr_StringBase::AppendGeneral(const char* s, int length, int from, int count) {
  int k = ClampLength(s, length);
  if (from < 0) from = 0;
  if (from > k) from = k;
  if (count > k - from) count = k - from;
  if (count <= 0) return *this;
  const char* src = s + from;
  int n = Length();
  if (m_Rep && m_Rep->m_Count == 1 && m_Rep->m_Kind == atr_StringRep::Inline && n + count <= m_Rep->m_Capacity) {
    std::memmove(m_Chars + n, src, count);  // src may lie inside this text
  } else {
    // MakeWritable grows the record geometrically (Grown).
    int want = n + count;
    // An empty string that is appended to is likely to grow on: its first
    // record fills a 32-byte block.
    if (m_Rep == nullptr && want < kFirstRoom) want = kFirstRoom;
    auto at = reinterpret_cast<std::uintptr_t>(src);
    auto begin = reinterpret_cast<std::uintptr_t>(m_Chars);
    if (m_Rep && at >= begin && at <= begin + static_cast<std::uintptr_t>(n)) {
      // src lies inside the text being reallocated: keep the old record alive.
      atr_StringBase keep(*this);
      MakeWritable(want);
      std::memcpy(m_Chars + n, src, count);
    } else {
      MakeWritable(want);
      std::memcpy(m_Chars + n, src, count);
    }
  }
  n += count;
  m_Rep->m_Length = n;
  m_Chars[n] = 0;
  return *this;
}

atr_StringBase& atr_StringBase::append(char c) { return append(&c, 1); }

atr_StringBase& atr_StringBase::insert(int at, const char* s, int length, int from, int count) {
  int k = ClampLength(s, length);
  if (from < 0) from = 0;
  if (from > k) from = k;
  if (count > k - from) count = k - from;
  if (count <= 0) return *this;
  int n = Length();
  if (at < 0) at = 0;
  if (at > n) at = n;
  atr_StringBase piece(s + from, count);  // s may lie inside this text
  MakeWritable(n + count);
  std::memmove(m_Chars + at + count, m_Chars + at, n - at);
  std::memcpy(m_Chars + at, piece.m_Chars, count);
  m_Rep->m_Length = n + count;
  m_Chars[n + count] = 0;
  return *this;
}

atr_StringBase& atr_StringBase::Erase(int at, int count) {
  int n = Length();
  if (at < 0) at = 0;
  if (at >= n || count <= 0) return *this;
  if (count > n - at) count = n - at;
  if (count == n) {
    Release();
    return *this;
  }
  MakeWritable(n);
  std::memmove(m_Chars + at, m_Chars + at + count, n - at - count);
  m_Rep->m_Length = n - count;
  m_Chars[n - count] = 0;
  return *this;
}

atr_StringBase& atr_StringBase::Replace(int at, int count, const char* s, int length) {
  int n = Length();
  if (at < 0) at = 0;
  if (at > n) at = n;
  if (count < 0) count = 0;
  if (count > n - at) count = n - at;
  int k = ClampLength(s, length);
  atr_StringBase result(n - count + k, PreSize);
  result.append(m_Chars, at);
  result.append(s, k);
  result.append(m_Chars + at + count, n - at - count);
  return *this = static_cast<atr_StringBase&&>(result);
}

atr_StringBase& atr_StringBase::LeftTrim(const char* chars) {
  int n = Length(), i = 0;
  while (i < n && m_Chars[i] != 0 && std::strchr(chars, m_Chars[i])) ++i;
  if (i > 0) Erase(0, i);
  return *this;
}

atr_StringBase& atr_StringBase::RightTrim(const char* chars) {
  int n = Length(), i = n;
  while (i > 0 && m_Chars[i - 1] != 0 && std::strchr(chars, m_Chars[i - 1])) --i;
  if (i < n) Erase(i, n - i);
  return *this;
}

atr_StringBase& atr_StringBase::Trim(const char* chars) {
  RightTrim(chars);
  return LeftTrim(chars);
}

atr_StringBase& atr_StringBase::ToLower() {
  int n = Length();
  for (int i = 0; i < n; ++i) {
    if (m_Chars[i] >= 'A' && m_Chars[i] <= 'Z') {
      MakeWritable(n);
      for (; i < n; ++i)
        if (m_Chars[i] >= 'A' && m_Chars[i] <= 'Z') m_Chars[i] = static_cast<char>(m_Chars[i] + 32);
    }
  }
  return *this;
}

atr_StringBase& atr_StringBase::ToUpper() {
  int n = Length();
  for (int i = 0; i < n; ++i) {
    if (m_Chars[i] >= 'a' && m_Chars[i] <= 'z') {
      MakeWritable(n);
      for (; i < n; ++i)
        if (m_Chars[i] >= 'a' && m_Chars[i] <= 'z') m_Chars[i] = static_cast<char>(m_Chars[i] - 32);
    }
  }
  return *this;
}

int atr_StringBase::Substitute(const atr_StringBase& from, const atr_StringBase& to, int maxCount) {
  int k = from.Length();
  if (k == 0) return 0;
  int hits = 0, pos = 0, n = Length();
  atr_StringBase result;
  while (pos <= n - k && (maxCount <= 0 || hits < maxCount)) {
    int at = -1;
    for (int i = pos; i <= n - k; ++i)
      if (std::memcmp(m_Chars + i, from.m_Chars, k) == 0) {
        at = i;
        break;
      }
    if (at < 0) break;
    result.append(m_Chars + pos, at - pos);
    result.append(to);
    pos = at + k;
    ++hits;
  }
  if (hits == 0) return 0;
  result.append(m_Chars + pos, n - pos);
  *this = static_cast<atr_StringBase&&>(result);
  return hits;
}
