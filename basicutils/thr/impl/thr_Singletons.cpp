// The non-template parts of the singleton templates, and the registry that
// destroys per-thread objects by level.
#include <new>

#include "mem/mem_Alloc.h"
#include "plt/plt_Tls.h"
#include "thr/thr_GlobalLock.h"
#include "thr/thr_GlobalSingleton.h"
#include "thr/thr_ThreadSingleton.h"

template class thr_GlobalSingletonBase<thr_ThrSingletonRegistry>;
template class thr_GlobalSingleton<thr_ThrSingletonRegistry>;

namespace {

// Live global singletons, oldest first; changed under the global lock.
constinit thr_GlobalSingletonLink* g_First = nullptr;
constinit thr_GlobalSingletonLink* g_Last = nullptr;

// Holds the global lock if it exists (finalizers may run after a caller
// destroyed it).
class GlobalLockIfAlive {
 public:
  GlobalLockIfAlive() : m_Lock(omi_Singleton<thr_GlobalLock>::Peek()) {
    if (m_Lock) m_Lock->Lock();
  }
  ~GlobalLockIfAlive() {
    if (m_Lock) m_Lock->Unlock();
  }
  GlobalLockIfAlive(const GlobalLockIfAlive&) = delete;
  GlobalLockIfAlive& operator=(const GlobalLockIfAlive&) = delete;

 private:
  thr_GlobalLock* m_Lock;
};

bool IsLinked(const thr_GlobalSingletonLink& link) { return link.m_Prev != nullptr || g_First == &link; }

void Unlink(thr_GlobalSingletonLink& link) {
  if (!IsLinked(link)) return;
  (link.m_Prev ? link.m_Prev->m_Next : g_First) = link.m_Next;
  (link.m_Next ? link.m_Next->m_Prev : g_Last) = link.m_Prev;
  link.m_Prev = link.m_Next = nullptr;
}

}  // namespace

// ========================================================= global singletons

thr_Mutex& thr_GlobalSingletonCore::CreationMutex(std::atomic<thr_Mutex*>& slot) {
  thr_Mutex* m = slot.load(std::memory_order_acquire);
  if (m != nullptr) return *m;
  thr_GlobalLockGuard guard;
  m = slot.load(std::memory_order_relaxed);
  if (m == nullptr) {
    m = new thr_Mutex(0);
    slot.store(m, std::memory_order_release);
  }
  return *m;
}

void thr_GlobalSingletonCore::Release(std::atomic<thr_Mutex*>& slot, thr_GlobalSingletonLink& link) {
  GlobalLockIfAlive guard;
  delete slot.exchange(nullptr, std::memory_order_acq_rel);
  Unlink(link);
}

void thr_GlobalSingletonCore::Link(thr_GlobalSingletonLink& link) {
  thr_GlobalLockGuard guard;
  if (IsLinked(link)) return;
  link.m_Prev = g_Last;
  link.m_Next = nullptr;
  (g_Last ? g_Last->m_Next : g_First) = &link;
  g_Last = &link;
}

void thr_GlobalSingletonCore::FinalizeAll(const thr_GlobalSingletonLink* keep) {
  for (;;) {
    void (*finalize)() = nullptr;
    {
      GlobalLockIfAlive guard;
      for (thr_GlobalSingletonLink* l = g_Last; l != nullptr; l = l->m_Prev) {
        if (l != keep) {
          finalize = l->m_Finalize;
          break;
        }
      }
    }
    // Outside the lock: a destructor may use other singletons.
    if (finalize == nullptr) return;
    finalize();
  }
}

// ====================================================== per-thread singletons

void thr_ThreadSingletonCore::Register(thr_ThreadFinalizer finalizer) {
  thr_GlobalSingleton<thr_ThrSingletonRegistry>::Instance().Register(finalizer);
}

void thr_ThreadSingletonCore::SetLevel(thr_ThreadFinalizer finalizer, int level) {
  thr_GlobalSingleton<thr_ThrSingletonRegistry>::Instance().SetDestructLevel(
      finalizer, static_cast<thr_ThreadObjectDestructLevel>(level));
}

int thr_ThreadSingletonCore::Acquire(std::atomic<int>& index, std::atomic<int>& count) {
  thr_GlobalLockGuard guard;
  int i = index.load(std::memory_order_relaxed);
  if (i < 0) {
    i = plt_TlsAlloc();
    if (i < 0) throw std::bad_alloc();
    index.store(i, std::memory_order_release);
  }
  count.store(count.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
  return i;
}

bool thr_ThreadSingletonCore::Release(std::atomic<int>& index, std::atomic<int>& count, void (*destroy)(void*)) {
  if (count.load(std::memory_order_relaxed) == 0) return false;
  void* object = nullptr;
  int i = index.load(std::memory_order_acquire);
  if (i >= 0) {
    object = plt_TlsGet(i);
    // Cleared first, so that a destructor asking for its own type does not
    // see the object it is tearing down.
    plt_TlsSet(i, nullptr);
    if (object != nullptr) destroy(object);
  }
  GlobalLockIfAlive guard;
  int n = count.load(std::memory_order_relaxed);
  if (object != nullptr && n > 0) count.store(--n, std::memory_order_relaxed);
  if (n == 0) {
    int old = index.exchange(-1, std::memory_order_acq_rel);
    if (old >= 0) plt_TlsFree(old);
  }
  return object != nullptr;
}

void* thr_ThreadSingletonCore::Get(int index) { return plt_TlsGet(index); }
void thr_ThreadSingletonCore::Set(int index, void* value) { plt_TlsSet(index, value); }

// ================================================================ registry

namespace {
constexpr int kRegistryGrowth = 10;
constexpr int kTopLevel = 28;  // first pass: entries above 28, that is 29
}  // namespace

thr_ThrSingletonRegistry::thr_ThrSingletonRegistry()
    : m_Capacity(0), m_Count(0), m_Finalizers(nullptr), m_Levels(nullptr), m_Mutex(0), m_Finalizing(0) {}

thr_ThrSingletonRegistry::~thr_ThrSingletonRegistry() {
  mem_Free(m_Finalizers);
  mem_Free(m_Levels);
}

void thr_ThrSingletonRegistry::Compact() {
  int kept = 0;
  for (int i = 0; i < m_Count; ++i) {
    if (m_Finalizers[i] == nullptr) continue;
    m_Finalizers[kept] = m_Finalizers[i];
    m_Levels[kept] = m_Levels[i];
    ++kept;
  }
  m_Count = kept;
}

void thr_ThrSingletonRegistry::Register(thr_ThreadFinalizer finalizer) {
  if (finalizer == nullptr) return;
  m_Mutex.Lock();
  // Entries cleared by FinalizeThread are dropped before growing, so that
  // threads coming and going do not grow the arrays without end.
  if (m_Count == m_Capacity && m_Finalizing == 0) Compact();
  if (m_Count == m_Capacity) {
    int capacity = m_Capacity + kRegistryGrowth;
    thr_ThreadFinalizer* f;
    int* l;
    try {
      f = static_cast<thr_ThreadFinalizer*>(mem_OperatorNewThrow(capacity * sizeof(thr_ThreadFinalizer)));
      try {
        l = static_cast<int*>(mem_OperatorNewThrow(capacity * sizeof(int)));
      } catch (...) {
        mem_Free(f);
        throw;
      }
    } catch (...) {
      m_Mutex.Unlock();
      throw;
    }
    for (int i = 0; i < m_Count; ++i) {
      f[i] = m_Finalizers[i];
      l[i] = m_Levels[i];
    }
    mem_Free(m_Finalizers);
    mem_Free(m_Levels);
    m_Finalizers = f;
    m_Levels = l;
    m_Capacity = capacity;
  }
  m_Finalizers[m_Count] = finalizer;
  m_Levels[m_Count] = 0;
  ++m_Count;
  m_Mutex.Unlock();
}

void thr_ThrSingletonRegistry::SetDestructLevel(thr_ThreadFinalizer finalizer, thr_ThreadObjectDestructLevel level) {
  if (finalizer == nullptr) return;
  m_Mutex.Lock();
  for (int i = m_Count - 1; i >= 0; --i)
    if (m_Finalizers[i] == finalizer) m_Levels[i] = level;
  m_Mutex.Unlock();
}

void thr_ThrSingletonRegistry::FinalizeThread(int /*thread*/) {
  m_Mutex.Lock();
  ++m_Finalizing;
  for (int level = kTopLevel; level >= 1; --level) {
    // Indexes, not pointers: a finalizer may register further entries and
    // so move the arrays.
    for (int i = m_Count - 1; i >= 0; --i) {
      thr_ThreadFinalizer f = m_Finalizers[i];
      if (f == nullptr || m_Levels[i] <= level) continue;
      if (f() != 0) {
        m_Finalizers[i] = nullptr;
        m_Levels[i] = 0;
      }
    }
  }
  --m_Finalizing;
  m_Mutex.Unlock();
}

int thr_ThrSingletonRegistry::EntryCount() const {
  m_Mutex.Lock();
  int n = m_Count;
  m_Mutex.Unlock();
  return n;
}
