#include "rgx/rgx_ReCompileCache.h"

template class thr_ThreadSingletonBase<rgx_ReCompileCache>;
template class thr_ThreadSingleton<rgx_ReCompileCache>;

rgx_ReCompileCache::rgx_ReCompileCache() : m_Size(0), m_Clock(0) {}

rgx_ReCompileCache::~rgx_ReCompileCache() { Clear(); }

void rgx_ReCompileCache::Drop(Entry& e) {
  if (e.m_Release != nullptr && e.m_Compiled != nullptr) e.m_Release(e.m_Compiled);
  e = Entry();
}

void* rgx_ReCompileCache::Find(const atr_String& pattern, unsigned options) {
  for (int i = 0; i < m_Size; ++i) {
    Entry& e = m_Entries[i];
    if (e.m_Options == options && e.m_Pattern == pattern) {
      e.m_LastUse = ++m_Clock;
      return e.m_Compiled;
    }
  }
  return nullptr;
}

void rgx_ReCompileCache::Insert(const atr_String& pattern, unsigned options, void* compiled, ReleaseFn release) {
  int slot = -1;
  for (int i = 0; i < m_Size && slot < 0; ++i)
    if (m_Entries[i].m_Options == options && m_Entries[i].m_Pattern == pattern) slot = i;
  if (slot < 0 && m_Size < kCapacity) slot = m_Size++;
  if (slot < 0) {
    slot = 0;
    for (int i = 1; i < m_Size; ++i)
      if (m_Entries[i].m_LastUse < m_Entries[slot].m_LastUse) slot = i;
  }
  Entry& e = m_Entries[slot];
  // The same object inserted again under its own key must not be freed.
  if (e.m_Compiled != compiled) Drop(e);
  e.m_Pattern = pattern;
  e.m_Options = options;
  e.m_Compiled = compiled;
  e.m_Release = release;
  e.m_LastUse = ++m_Clock;
}

void rgx_ReCompileCache::Clear() {
  for (int i = 0; i < m_Size; ++i) Drop(m_Entries[i]);
  m_Size = 0;
}
