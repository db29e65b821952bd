// thr_ThreadSingleton<T>: one object of T per thread, in thread-local storage,
// and thr_ThrSingletonRegistry, which destroys such objects by level when a
// thread ends.
//
// thr_ThreadSingleton<T>::Instance() returns the calling thread's object,
// creating it when the thread has none: the type's finalizer is registered
// with the registry, the object is allocated from the core allocator and
// default-constructed, and stored in the type's thread-local slot. The first
// object of the type allocates the slot index under thr_GlobalLock; a count
// of living objects is kept under the same lock. When T declares
//   static constexpr thr_ThreadObjectDestructLevel ThreadDestructLevel = ...;
// the finalizer is given that level, so that FinalizeThread destroys the
// object when a pool thread ends; without it the level stays 0 and the
// object's owner must release it.
//
// thr_ThreadSingletonBase<T>::Instance() returns the calling thread's object
// or null; it never creates. Finalize() (the registered finalizer) and
// ReleaseCurrentThread() destroy and free the calling thread's object, clear
// its slot and count it off under the global lock; the slot index is freed
// when the count reaches 0. Objects of other threads are not touched.
//
// A library module that owns T instantiates both templates in one .cpp and
// declares them `extern template class VNKUTI_BASIC_API ...;` in its header.
#pragma once

#include <atomic>
#include <new>

#include "VNKUTI_BasicExport.h"
#include "mem/mem_Alloc.h"
#include "mem/mem_AllocationOperators.h"
#include "thr/thr_GlobalSingleton.h"
#include "thr/thr_Mutex.h"

// Levels of FinalizeThread: higher levels are destroyed first; 0 and 1 are
// never destroyed by it.
enum thr_ThreadObjectDestructLevel {
  thr_DestructLevelNone = 0,
  thr_DestructLevelLowest = 2,
  thr_DestructLevelRegex = 12,
  thr_DestructLevelRedirection = 16,
  thr_DestructLevelThreadId = 29,
};

// Destroys the calling thread's object of one type; 1 when there was one.
typedef int (*thr_ThreadFinalizer)();

// ================================================================ registry
class VNKUTI_BASIC_API thr_ThrSingletonRegistry : public mem_AllocationOperators {
 public:
  thr_ThrSingletonRegistry();
  ~thr_ThrSingletonRegistry();
  thr_ThrSingletonRegistry(const thr_ThrSingletonRegistry&) = delete;
  thr_ThrSingletonRegistry& operator=(const thr_ThrSingletonRegistry&) = delete;

  // Appends finalizer with level 0; duplicates are kept (one entry per
  // object created). A null finalizer is ignored.
  void Register(thr_ThreadFinalizer finalizer);
  // Gives every entry of finalizer the level.
  void SetDestructLevel(thr_ThreadFinalizer finalizer, thr_ThreadObjectDestructLevel level);
  // For L = 28 down to 1, calls each entry above level L, last entry first;
  // an entry whose call returns non-zero is cleared. Runs on the thread whose
  // objects are to go; thread is the caller's pool slot (informative only).
  void FinalizeThread(int thread);

  int EntryCount() const;  // entries held, cleared ones included

 private:
  void Compact();

  int m_Capacity;
  int m_Count;
  thr_ThreadFinalizer* m_Finalizers;
  int* m_Levels;
  mutable thr_Mutex m_Mutex;
  int m_Finalizing;  // depth of FinalizeThread calls: no compaction meanwhile
};

extern template class VNKUTI_BASIC_API thr_GlobalSingletonBase<thr_ThrSingletonRegistry>;
extern template class VNKUTI_BASIC_API thr_GlobalSingleton<thr_ThrSingletonRegistry>;

// ==================================================== per-thread singletons
// The part that does not depend on T.
class VNKUTI_BASIC_API thr_ThreadSingletonCore {
 public:
  static void Register(thr_ThreadFinalizer finalizer);
  static void SetLevel(thr_ThreadFinalizer finalizer, int level);
  // Under the global lock: allocates the index if there is none and counts
  // one more object. Returns the index; throws std::bad_alloc when the
  // platform has no slot left.
  static int Acquire(std::atomic<int>& index, std::atomic<int>& count);
  // Releases the calling thread's object: destroy(object) if it has one, the
  // value cleared, the count lowered and the index freed at 0 under the
  // global lock. True when an object was destroyed.
  static bool Release(std::atomic<int>& index, std::atomic<int>& count, void (*destroy)(void*));
  static void* Get(int index);
  static void Set(int index, void* value);
};

template <class T>
class thr_ThreadSingletonBase {
 public:
  // The calling thread's object, or null. Never creates.
  static T* Instance() {
    int index = s_Index.load(std::memory_order_acquire);
    return index < 0 ? nullptr : static_cast<T*>(thr_ThreadSingletonCore::Get(index));
  }
  // The registered finalizer: 1 when the calling thread's object was freed.
  static int Finalize() { return ReleaseCurrentThread() ? 1 : 0; }
  static bool ReleaseCurrentThread() { return thr_ThreadSingletonCore::Release(s_Index, s_Count, &Destroy); }
  // Threads that hold an object of T now.
  static int LivingCount() { return s_Count.load(std::memory_order_relaxed); }

 protected:
  static T* Create();
  static void Destroy(void* p) {
    static_cast<T*>(p)->~T();
    mem_Free(p);
  }
  static constexpr int Level() {
    if constexpr (requires { T::ThreadDestructLevel; })
      return static_cast<int>(T::ThreadDestructLevel);
    else
      return 0;
  }

  static std::atomic<int> s_Index;  // -1 while no index is allocated
  static std::atomic<int> s_Count;  // changed under the global lock
};

template <class T>
class thr_ThreadSingleton : public thr_ThreadSingletonBase<T> {
 public:
  // The calling thread's object, created on first use.
  static T& Instance() {
    T* p = thr_ThreadSingletonBase<T>::Instance();
    return p != nullptr ? *p : *thr_ThreadSingletonBase<T>::Create();
  }
};

// ------------------------------------------------------------ definitions

template <class T>
constinit std::atomic<int> thr_ThreadSingletonBase<T>::s_Index{-1};
template <class T>
constinit std::atomic<int> thr_ThreadSingletonBase<T>::s_Count{0};

template <class T>
T* thr_ThreadSingletonBase<T>::Create() {
  thr_ThreadSingletonCore::Register(&Finalize);
  void* cell = mem_OperatorNewThrow(sizeof(T));
  T* p;
  try {
    p = ::new (cell) T();
  } catch (...) {
    mem_Free(cell);
    throw;
  }
  int index;
  try {
    index = thr_ThreadSingletonCore::Acquire(s_Index, s_Count);
  } catch (...) {
    Destroy(p);
    throw;
  }
  thr_ThreadSingletonCore::Set(index, p);
  if constexpr (Level() != 0) thr_ThreadSingletonCore::SetLevel(&Finalize, Level());
  return p;
}
