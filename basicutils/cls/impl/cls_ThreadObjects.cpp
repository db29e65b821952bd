// The per-thread objects of the framework, and the trie it keeps from ints
// to object identities.
#include <climits>
#include <cstdlib>

#include "aio/aio_ostream.h"
#include "atr/atr_Translate.h"
#include "cls/cls_PTrie.h"
#include "cls/cls_ThreadObjects.h"

template class cls_PTrieNode<int, cls_Uid, 1>;
template class cls_PTrieInternalNode<int, cls_Uid, 1>;
template class cls_PTrieLeafNode<int, cls_Uid, 1>;
template class cls_PTrie<int, cls_Uid, 1>;
template class cls_PTrieIter<int, cls_Uid, 1>;

// ================================================================ defaults

template class thr_ThreadSingletonBase<cls_Static>;
template class thr_ThreadSingleton<cls_Static>;

cls_Static::cls_Static() : m_Uid(nullptr), m_IntCOW(nullptr) {}

cls_Static::~cls_Static() = default;

cls_Static& cls_Static::Instance() { return thr_ThreadSingleton<cls_Static>::Instance(); }

// ============================================================ extent quanta

template class thr_ThreadSingletonBase<cls_ExtQuant>;
template class thr_ThreadSingleton<cls_ExtQuant>;

namespace {

// The text's leading decimal digits as a number; anything else gives 0.
int LeadingNumber(const char* text) {
  long v = std::strtol(text, nullptr, 10);
  if (v > INT_MAX) return INT_MAX;
  if (v < INT_MIN) return INT_MIN;
  return static_cast<int>(v);
}

}  // namespace

cls_ExtQuant::cls_ExtQuant() : m_Override(Undecided) {}

cls_ExtQuant::~cls_ExtQuant() = default;

cls_ExtQuant& cls_ExtQuant::Instance() { return thr_ThreadSingleton<cls_ExtQuant>::Instance(); }

int cls_ExtQuant::ExtentQuantum(const cow_String& name, int dflt) {
  if (m_Override == NoOverride) return dflt;
  if (m_Override == Undecided) {
    if (std::getenv("EXTENT_QUANTUM_OVERRIDE") == nullptr) {
      m_Override = NoOverride;
      return dflt;
    }
    m_Override = OverrideActive;
    aio_cout() << atr_translate("***** EXTENT_QUANTUM_OVERRIDE activated.\n").Result();
  }
  if (const int* cached = m_Cache.FindPtr(name)) return *cached;

  int value = dflt;
  if (const char* text = std::getenv(name.c_str())) {
    value = LeadingNumber(text);
    if (value < 1) value = dflt;
  }
  atr_translate t("***** %s = %d\n");
  atr_SubstituteFormat(t, 1, name);
  atr_SubstituteFormat(t, 2, value);
  aio_cout() << t.Result();
  m_Cache.Set(name, value);
  return value;
}

int cls_ExtQuant::ExtentQuantumConstTiny() { return ExtentQuantum(cow_String("EXTENT_QUANTUM_TINY"), 4); }
int cls_ExtQuant::ExtentQuantumConstSmall() { return ExtentQuantum(cow_String("EXTENT_QUANTUM_SMALL"), 512); }
int cls_ExtQuant::ExtentQuantumConstMedium() { return ExtentQuantum(cow_String("EXTENT_QUANTUM_MEDIUM"), 1024); }
int cls_ExtQuant::ExtentQuantumConstLarge() { return ExtentQuantum(cow_String("EXTENT_QUANTUM_LARGE"), 2048); }
int cls_ExtQuant::ExtentQuantumConstHuge() { return ExtentQuantum(cow_String("EXTENT_QUANTUM_HUGE"), 4096); }
