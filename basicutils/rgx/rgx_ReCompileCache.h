// rgx_ReCompileCache: the calling thread's cache of compiled regular
// expressions, so that the regular-expression helpers compile a pattern once
// per thread rather than once per call.
//
// Entries map a pattern text and its option bits to a compiled object that
// the cache owns and frees through the release function given with it. The
// cache holds kCapacity entries; inserting into a full cache evicts the
// least recently used one. Reach it through
// thr_ThreadSingleton<rgx_ReCompileCache>::Instance(); rgx_finalize releases
// the finalizing thread's cache, and a pool thread's cache goes when the
// thread ends. One thread's cache is never shared.
#pragma once

#include "VNKUTI_BasicExport.h"
#include "atr/atr_String.h"
#include "mem/mem_AllocationOperators.h"
#include "thr/thr_ThreadSingleton.h"

class VNKUTI_BASIC_API rgx_ReCompileCache : public mem_AllocationOperators {
 public:
  static constexpr thr_ThreadObjectDestructLevel ThreadDestructLevel = thr_DestructLevelRegex;
  static constexpr int kCapacity = 16;
  typedef void (*ReleaseFn)(void* compiled);

  rgx_ReCompileCache();
  ~rgx_ReCompileCache();
  rgx_ReCompileCache(const rgx_ReCompileCache&) = delete;
  rgx_ReCompileCache& operator=(const rgx_ReCompileCache&) = delete;

  // The compiled object for pattern and options, or null; a hit becomes the
  // most recently used entry.
  void* Find(const atr_String& pattern, unsigned options);
  // Adds an entry (replacing one with the same key). The cache owns compiled
  // from now on; release (may be null) frees it.
  void Insert(const atr_String& pattern, unsigned options, void* compiled, ReleaseFn release);
  void Clear();
  int Size() const { return m_Size; }

 private:
  struct Entry {
    atr_String m_Pattern;
    unsigned m_Options = 0;
    void* m_Compiled = nullptr;
    ReleaseFn m_Release = nullptr;
    unsigned long m_LastUse = 0;
  };
  static void Drop(Entry& e);

  Entry m_Entries[kCapacity];
  int m_Size;
  unsigned long m_Clock;
};

extern template class VNKUTI_BASIC_API thr_ThreadSingletonBase<rgx_ReCompileCache>;
extern template class VNKUTI_BASIC_API thr_ThreadSingleton<rgx_ReCompileCache>;
