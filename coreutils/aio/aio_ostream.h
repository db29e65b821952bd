// aio_ostream: the text output stream the libraries write diagnostics to.
//
// aio_cerr() is the process's standard error stream unless a caller has put
// another stream in its place with aio_setCerr (a test capturing messages, an
// application sending them to its log). aio_stringostream collects text in
// memory.
#pragma once

#include <cstddef>

#include "atr/atr_String.h"

class VNKUTI_CORE_API aio_ostream {
 public:
  virtual void Write(const char* p, std::size_t n) = 0;
  virtual void Flush() {}

  aio_ostream& operator<<(const char* s);
  aio_ostream& operator<<(const atr_StringBase& s) {
    Write(s.c_str(), static_cast<std::size_t>(s.Length()));
    return *this;
  }
  aio_ostream& operator<<(char c) {
    Write(&c, 1);
    return *this;
  }
  aio_ostream& operator<<(int v);
  aio_ostream& operator<<(unsigned int v);
  aio_ostream& operator<<(long v);
  aio_ostream& operator<<(unsigned long v);
  aio_ostream& operator<<(long long v);
  aio_ostream& operator<<(unsigned long long v);
  aio_ostream& operator<<(double v);

 protected:
  constexpr aio_ostream() = default;
  // Not virtual: the process-wide streams are constant-initialized and never
  // destroyed through a base pointer.
  ~aio_ostream() = default;
};

// Writes to a C stdio stream: 1 for standard output, 2 for standard error
// (flushed after every write, so that diagnostics are never lost).
class VNKUTI_CORE_API aio_stdostream final : public aio_ostream {
 public:
  explicit constexpr aio_stdostream(int which) : m_Which(which) {}
  void Write(const char* p, std::size_t n) override;
  void Flush() override;

 private:
  int m_Which;
};

class VNKUTI_CORE_API aio_stringostream final : public aio_ostream {
 public:
  aio_stringostream() = default;
  ~aio_stringostream() = default;
  void Write(const char* p, std::size_t n) override { m_Text.append(p, static_cast<int>(n)); }
  const atr_String& Str() const { return m_Text; }
  void Clear() { m_Text.Clear(); }

 private:
  atr_String m_Text;
};

VNKUTI_CORE_API aio_ostream& aio_cerr();
VNKUTI_CORE_API aio_ostream& aio_cout();
// Puts stream in the place of aio_cerr(); null restores standard error.
// Returns the stream that was in place. Not for use while other threads write.
VNKUTI_CORE_API aio_ostream* aio_setCerr(aio_ostream* stream);
