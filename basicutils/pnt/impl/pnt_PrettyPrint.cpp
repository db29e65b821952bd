#include "pnt/pnt_PrettyPrint.h"

#include <atomic>
#include <cstring>

#include "aio/aio_ostream.h"
#include "atr/atr_String.h"
#include "pnt/impl/pnt_Internal.h"
#include "thr/thr_GlobalLock.h"

namespace {
// Read without the lock on every use after the first.
constinit std::atomic<pnt_PrettyPrint*> g_Debug{nullptr};
constexpr char kIndentUnit[] = "  ";
}  // namespace

pnt_PrettyPrint::pnt_PrettyPrint(aio_ostream* out) : m_Out(out) {}

pnt_PrettyPrint::~pnt_PrettyPrint() = default;

aio_ostream& pnt_PrettyPrint::Out() const { return m_Out ? *m_Out : aio_cerr(); }

void pnt_PrettyPrint::Text(const char* p, unsigned int n) {
  aio_ostream& out = Out();
  while (n > 0) {
    if (m_AtLineStart) {
      for (int i = 0; i < m_Level; ++i) out.Write(kIndentUnit, sizeof kIndentUnit - 1);
      m_AtLineStart = false;
    }
    // An embedded line feed ends the line: the next text is indented again.
    const void* nl = std::memchr(p, '\n', n);
    unsigned int len = nl ? static_cast<unsigned int>(static_cast<const char*>(nl) - p) + 1 : n;
    out.Write(p, len);
    if (nl) m_AtLineStart = true;
    p += len;
    n -= len;
  }
}

void pnt_PrettyPrint::prettyprint(const char* text, unsigned int length) {
  if (length == 2 && text[0] == Esc) {
    switch (text[1]) {
      case 'n': NewLine(); return;
      case 't': Indent(); return;
      case 'u': Outdent(); return;
      default: break;
    }
  }
  Text(text, length);
}

void pnt_PrettyPrint::NewLine() {
  Out().Write("\n", 1);
  m_AtLineStart = true;
}

void pnt_PrettyPrint::Indent() { ++m_Level; }

void pnt_PrettyPrint::Outdent() {
  if (m_Level > 0) --m_Level;
}

void pnt_PrettyPrint::BeginBlock(const char* title) {
  *this << title;
  NewLine();
  Indent();
}

void pnt_PrettyPrint::EndBlock(const char* closing) {
  Outdent();
  *this << closing;
  NewLine();
}

void pnt_PrettyPrint::Flush() { Out().Flush(); }

pnt_PrettyPrint& pnt_PrettyPrint::operator<<(const char* s) {
  if (s) Text(s, static_cast<unsigned int>(std::strlen(s)));
  return *this;
}

pnt_PrettyPrint& pnt_PrettyPrint::operator<<(const atr_StringBase& s) {
  Text(s.c_str(), static_cast<unsigned int>(s.Length()));
  return *this;
}

pnt_PrettyPrint& pnt_PrettyPrint::operator<<(char c) {
  Text(&c, 1);
  return *this;
}

pnt_PrettyPrint& pnt_PrettyPrint::operator<<(unsigned char v) { return *this << static_cast<unsigned int>(v); }
pnt_PrettyPrint& pnt_PrettyPrint::operator<<(short v) { return *this << static_cast<int>(v); }
pnt_PrettyPrint& pnt_PrettyPrint::operator<<(unsigned short v) { return *this << static_cast<unsigned int>(v); }
pnt_PrettyPrint& pnt_PrettyPrint::operator<<(int v) { return *this << atr_StringBase(v); }
pnt_PrettyPrint& pnt_PrettyPrint::operator<<(unsigned int v) { return *this << atr_StringBase(v); }
pnt_PrettyPrint& pnt_PrettyPrint::operator<<(float v) { return *this << atr_StringBase(v); }
pnt_PrettyPrint& pnt_PrettyPrint::operator<<(double v) { return *this << atr_StringBase(v); }
pnt_PrettyPrint& pnt_PrettyPrint::operator<<(bool v) { return *this << (v ? 1 : 0); }

// ============================================================ debug printer

pnt_PrettyPrint& pnt_debugPrint() {
  pnt_PrettyPrint* p = g_Debug.load(std::memory_order_acquire);
  if (p == nullptr) {
    thr_GlobalLockGuard lock;
    p = g_Debug.load(std::memory_order_relaxed);
    if (p == nullptr) {
      p = new pnt_PrettyPrint(nullptr);
      g_Debug.store(p, std::memory_order_release);
    }
  }
  return *p;
}

bool pnt_debugPrintExists() { return g_Debug.load(std::memory_order_acquire) != nullptr; }

void pnt_internal::DestroyDebugPrint() {
  delete g_Debug.exchange(nullptr, std::memory_order_acq_rel);
}
