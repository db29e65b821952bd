#include "aio/aio_ostream.h"

#include <atomic>
#include <charconv>
#include <cstdio>
#include <cstring>

namespace {

constinit aio_stdostream g_StdErr(2);
constinit aio_stdostream g_StdOut(1);
constinit std::atomic<aio_ostream*> g_Cerr{nullptr};

template <class T>
aio_ostream& Number(aio_ostream& os, T v) {
  char buf[64];
  auto r = std::to_chars(buf, buf + sizeof buf, v);
  os.Write(buf, static_cast<std::size_t>(r.ptr - buf));
  return os;
}

}  // namespace

aio_ostream& aio_ostream::operator<<(const char* s) {
  if (s) Write(s, std::strlen(s));
  return *this;
}
aio_ostream& aio_ostream::operator<<(int v) { return Number(*this, v); }
aio_ostream& aio_ostream::operator<<(unsigned int v) { return Number(*this, v); }
aio_ostream& aio_ostream::operator<<(long v) { return Number(*this, v); }
aio_ostream& aio_ostream::operator<<(unsigned long v) { return Number(*this, v); }
aio_ostream& aio_ostream::operator<<(long long v) { return Number(*this, v); }
aio_ostream& aio_ostream::operator<<(unsigned long long v) { return Number(*this, v); }
aio_ostream& aio_ostream::operator<<(double v) { return Number(*this, v); }

void aio_stdostream::Write(const char* p, std::size_t n) {
  std::FILE* f = m_Which == 2 ? stderr : stdout;
  std::fwrite(p, 1, n, f);
  if (m_Which == 2) std::fflush(f);
}

void aio_stdostream::Flush() { std::fflush(m_Which == 2 ? stderr : stdout); }

aio_ostream& aio_cerr() {
  aio_ostream* s = g_Cerr.load(std::memory_order_acquire);
  return s ? *s : g_StdErr;
}

aio_ostream& aio_cout() { return g_StdOut; }

aio_ostream* aio_setCerr(aio_ostream* stream) {
  aio_ostream* old = g_Cerr.exchange(stream, std::memory_order_acq_rel);
  return old ? old : &g_StdErr;
}
