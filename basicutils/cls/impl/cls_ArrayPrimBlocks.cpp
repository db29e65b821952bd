// The block machinery of the primitive arrays: loading blocks through the
// agent, writing dirty blocks back, keeping one block in memory for an
// attached array.
#include "aio/aio_ostream.h"
#include "atr/atr_Translate.h"
#include "cls/cls_ArrayPrim.h"
#include "nex/nex_Exception.h"

// ================================================================== base

cls_ArrayPrimBase::~cls_ArrayPrimBase() = default;

void cls_ArrayPrimBase::Report(const char* text) {
  atr_translate t(text);
  aio_cerr() << t.Result() << "\n";
}

void cls_ArrayPrimBase::ReportConflict(const char* text, int first, int last) {
  Report(text);
  atr_translate t("Block indices= %d - %d\n");
  atr_SubstituteFormat(t, 1, first);
  atr_SubstituteFormat(t, 2, last);
  aio_cerr() << t.Result();
}

namespace {

// A message from a path that must not throw: a failure to write it is
// dropped.
void ReportFailure(const char* text) noexcept {
  try {
    cls_ArrayPrimBase::Report(text);
  } catch (...) {
  }
}
void ReportFailure(const atr_String& text) noexcept {
  try {
    aio_cerr() << text << "\n";
  } catch (...) {
  }
}

}  // namespace

// ============================================================ block sets

template <class T>
cls_ArrayPrimBlocks<T>::cls_ArrayPrimBlocks(const cls_ArrayPrimTexts& texts)
    : m_Index(new Trie()), m_Agent(nullptr), m_Size(0), m_Texts(&texts) {}

template <class T>
cls_ArrayPrimBlocks<T>::cls_ArrayPrimBlocks(const cls_ArrayPrimTexts& texts, cls_AgentListPrim<T>* agent)
    : m_Index(new Trie()), m_Agent(agent), m_Size(agent ? agent->StoredCount() : 0), m_Texts(&texts) {
  if (m_Size < 0) m_Size = 0;
}

template <class T>
cls_ArrayPrimBlocks<T>::cls_ArrayPrimBlocks(const cls_ArrayPrimBlocks& o)
    : m_Index(new Trie()), m_Agent(nullptr), m_Size(o.m_Size), m_Texts(o.m_Texts) {
  // Every block is copied, from memory when o holds it, else from o's store;
  // the copy belongs to no store, so all its blocks count as dirty.
  Trie& mine = *m_Index.GetPtr();
  const Trie& theirs = *o.m_Index.GetPtr();
  for (int start = 0; start < m_Size; start += cls_ArrayPrimBlockSize) {
    const int n = BlockLength(start);
    Buffer b = NewBlock(n);
    if (const Buffer* from = theirs.ConstGetPtr(start)) {
      for (int k = 0; k < n; ++k) b.Data()[k] = from->Data()[k];
    } else if (o.m_Agent != nullptr) {
      o.m_Agent->ReadBlock(start, n, b.Data());
    } else {
      for (int k = 0; k < n; ++k) b.Data()[k] = T();
    }
    b.MarkDirty();
    mine.Insert(start, b);
  }
}

template <class T>
cls_ArrayPrimBlocks<T>::~cls_ArrayPrimBlocks() {
  if (m_Agent != nullptr) {
    try {
      Flush();
    } catch (...) {
      // A store that fails while the array goes away loses the block; the
      // destructor must not throw.
    }
    cls_Release(m_Agent);
  }
}

template <class T>
typename cls_ArrayPrimBlocks<T>::Buffer cls_ArrayPrimBlocks<T>::NewBlock(int filled) {
  Buffer b;
  if (!m_Spare.IsNull()) {
    b = m_Spare;
    m_Spare = Buffer();
    b.ClearDirty();
  } else {
    b = Buffer(new Impl());
  }
  for (int k = filled < 0 ? 0 : filled; k < cls_ArrayPrimBlockSize; ++k) b.Data()[k] = T();
  return b;
}

template <class T>
void cls_ArrayPrimBlocks<T>::WriteBack(int start, const Buffer& b) {
  const int n = BlockLength(start);
  if (n > 0) {
    m_Agent->WriteBlock(start, n, b.Data());
    ++m_WriteBacks;
  }
  b.ClearDirty();
  if (b.GetImpl() == m_Cache) m_WriteSpan = 0;  // the next Get marks it again
}

template <class T>
void cls_ArrayPrimBlocks<T>::Forget(int start) {
  Trie& trie = *m_Index.GetPtr();
  if (const Buffer* b = trie.ConstGetPtr(start)) {
    if (b->GetImpl() == m_Cache) ForgetCache();
    if (b->UseCount() == 1 && m_Spare.IsNull()) m_Spare = *b;  // reused by the next load
  }
  trie.Remove(start);
}

template <class T>
void cls_ArrayPrimBlocks<T>::WriteBackExcept(int keepStart) {
  if (m_Agent == nullptr) return;
  Trie& trie = *m_Index.GetPtr();
  // Removal ends a walk, so each round starts again; the block to keep is
  // at most the first one met, so every round is short.
  for (;;) {
    cls_PTrieIter<int, Buffer, 1> it(trie);
    int victim = -1;
    bool found = false;
    while (it.Next()) {
      if (it.Key() != keepStart) {
        victim = it.Key();
        if (it.Value().IsDirty()) WriteBack(victim, it.Value());
        found = true;
        break;
      }
    }
    if (!found) return;
    Forget(victim);
  }
}

template <class T>
typename cls_ArrayPrimBlocks<T>::Buffer* cls_ArrayPrimBlocks<T>::GetBuffer(int i) {
  if (i < 0 || i > m_Size) return nullptr;
  const int start = i & ~cls_ArrayPrimBlockMask;
  WriteBackExcept(start);
  Trie& trie = *m_Index.GetPtr();
  const Buffer* found = trie.ConstGetPtr(start);
  if (found == nullptr) {
    if (start == m_Size) {
      // A new block at the very end: nothing to load.
      found = &trie.Insert(start, NewBlock(0));
    } else {
      if (m_Agent == nullptr) cls_ArrayPrimBase::Report(m_Texts->m_MissingAgent);
      const int n = m_Agent ? BlockLength(start) : 0;
      Buffer b = NewBlock(n);
      if (m_Agent != nullptr) {
        m_Agent->ReadBlock(start, n, b.Data());  // a failing store leaves the index as it was
        ++m_Loads;
      }
      found = &trie.Insert(start, b);
    }
  }
  m_CacheStart = start;
  m_Cache = found->GetImpl();
  m_CacheData = m_Cache->m_Elements;
  SetSpan();
  return const_cast<Buffer*>(found);
}

template <class T>
typename cls_ArrayPrimBlocks<T>::Buffer* cls_ArrayPrimBlocks<T>::GetBufferReported(int i) noexcept {
  try {
    return GetBuffer(i);
  } catch (const nex_Exception& e) {
    ReportFailure(e.UserReport());
  } catch (...) {
    ReportFailure(atr_String("In cls_ArrayPrim::GetBuffer() The block could not be loaded."));
  }
  return nullptr;
}

template <class T>
T& cls_ArrayPrimBlocks<T>::GetSlow(int i) noexcept {
  Buffer* b = GetBufferReported(i);
  if (b == nullptr) {
    if (i < 0 || i > m_Size) ReportFailure(m_Texts->m_Get);
    m_Scratch = T();
    return m_Scratch;
  }
  b->MarkDirty();
  if (b->GetImpl() == m_Cache) m_WriteSpan = m_CacheSpan;
  return b->Data()[i & cls_ArrayPrimBlockMask];
}

template <class T>
const T& cls_ArrayPrimBlocks<T>::ConstGetSlow(int i) noexcept {
  Buffer* b = GetBufferReported(i);
  if (b == nullptr) {
    if (i < 0 || i > m_Size) ReportFailure(m_Texts->m_ConstGet);
    m_Scratch = T();
    return m_Scratch;
  }
  return b->Data()[i & cls_ArrayPrimBlockMask];
}

template <class T>
void cls_ArrayPrimBlocks<T>::AppendBlock(const T* p, int n) {
  if (m_Agent == nullptr) {
    cls_ArrayPrimBase::Report(m_Texts->m_AppendBlock);
    return;
  }
  if (n <= 0) return;
  Flush();
  // At index Size(): the store may hold more than the array after a
  // conflict, and those elements are overwritten.
  m_Agent->WriteBlock(m_Size, n, p);
  Flush();
  m_Size += n;
}

template <class T>
void cls_ArrayPrimBlocks<T>::Flush() {
  if (m_Agent != nullptr) WriteBackExcept(-1);
}

template <class T>
void cls_ArrayPrimBlocks<T>::Detach() {
  if (m_Agent == nullptr) return;
  Trie& trie = *m_Index.GetPtr();
  for (int start = 0; start < m_Size; start += cls_ArrayPrimBlockSize) {
    if (const Buffer* b = trie.ConstGetPtr(start)) {
      b->MarkDirty();
      if (b->GetImpl() == m_Cache) m_WriteSpan = m_CacheSpan;
      continue;
    }
    const int n = BlockLength(start);
    Buffer b = NewBlock(n);
    m_Agent->ReadBlock(start, n, b.Data());
    ++m_Loads;
    b.MarkDirty();  // in no store any more
    trie.Insert(start, b);
  }
  cls_Release(m_Agent);
  m_Agent = nullptr;
}

template <class T>
void cls_ArrayPrimBlocks<T>::Release() {
  if (m_Agent != nullptr) {
    Flush();
    return;
  }
  ForgetCache();
  m_Index.GetPtr()->Clear();
}

template <class T>
void cls_ArrayPrimBlocks<T>::StreamTo(cls_AgentListPrim<T>& target) {
  const Trie& trie = *m_Index.GetPtr();
  Buffer temp;
  for (int start = 0; start < m_Size; start += cls_ArrayPrimBlockSize) {
    const int n = BlockLength(start);
    const T* data;
    if (const Buffer* b = trie.ConstGetPtr(start)) {
      data = b->Data();
    } else {
      if (temp.IsNull()) temp = Buffer(new Impl());
      if (m_Agent != nullptr) {
        m_Agent->ReadBlock(start, n, temp.Data());
        ++m_Loads;
      } else {
        for (int k = 0; k < n; ++k) temp.Data()[k] = T();
      }
      data = temp.Data();
    }
    target.WriteBlock(start, n, data);
  }
}

template <class T>
void cls_ArrayPrimBlocks<T>::WriteTo(cls_AgentListPrim<T>* agent) {
  if (agent == nullptr) return;  // the store keeps no lists of T
  if (!agent->Attachable()) {
    StreamTo(*agent);
    cls_Release(agent);
    return;
  }
  const int stored = agent->StoredCount();
  if (m_Size > 0 && stored > 0) {
    cls_ArrayPrimBase::ReportConflict(m_Texts->m_Conflict, 0, (stored < m_Size ? stored : m_Size) - 1);
  }
  if (m_Agent != nullptr) {
    // Already in a store (or written again into the same field): the
    // elements move to the new list, which the array then works on.
    Flush();
    StreamTo(*agent);
    cls_Release(m_Agent);
    m_Agent = agent;
    return;
  }
  m_Agent = agent;
  if (m_Size > 0) {
    WriteBackExcept(m_Size & ~cls_ArrayPrimBlockMask);
    Flush();
  } else {
    // A block opened at index 0 of the empty array holds nothing; the
    // stored elements come in through the agent.
    ForgetCache();
    m_Index.GetPtr()->Clear();
    m_Size = stored > 0 ? stored : 0;
  }
}

// ============================================================== instances

#define CLS_ARRAY_PRIM_BLOCKS_(T)                                         \
  template class cls_ArrayPrimBufferImpl<T>;                              \
  template class cls_ArrayPrimBuffer<T>;                                  \
  template class cls_PTrieNode<int, cls_ArrayPrimBuffer<T>, 1>;           \
  template class cls_PTrieInternalNode<int, cls_ArrayPrimBuffer<T>, 1>;   \
  template class cls_PTrieLeafNode<int, cls_ArrayPrimBuffer<T>, 1>;       \
  template class cls_PTrie<int, cls_ArrayPrimBuffer<T>, 1>;               \
  template class cls_PTrieIter<int, cls_ArrayPrimBuffer<T>, 1>;           \
  template class cow_CountedHld<cls_PTrie<int, cls_ArrayPrimBuffer<T>, 1>>; \
  template class cls_ArrayPrimBlocks<T>;

CLS_ARRAY_PRIM_BLOCKS_(int)
CLS_ARRAY_PRIM_BLOCKS_(float)
CLS_ARRAY_PRIM_BLOCKS_(double)
CLS_ARRAY_PRIM_BLOCKS_(bool)
CLS_ARRAY_PRIM_BLOCKS_(cow_String)
