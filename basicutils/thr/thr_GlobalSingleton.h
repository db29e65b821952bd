// thr_GlobalSingleton<T>: one object of T per process, created on first use
// from any thread.
//
// thr_GlobalSingleton<T>::Instance() returns the object, creating it when
// there is none: the pointer is read without a lock; when it is null, a
// creation mutex for T is made under thr_GlobalLock (once), taken, the
// pointer tested again and the object allocated from the core allocator and
// default-constructed if still absent. thr_GlobalSingletonBase<T>::Instance()
// returns the bare pointer, null while there is no object, and never creates.
//
// Finalize() destroys and frees the object, sets the pointer to null and,
// under the global lock, destroys the creation mutex. It must not race with
// users of the object; a later Instance() creates a fresh one. thr_finalize
// finalizes every global singleton still alive, newest first.
//
// T needs a default constructor that thr_GlobalSingletonBase<T> can reach
// (public, or befriend thr_GlobalSingletonBase<T>). A library module that
// owns T instantiates both templates in one .cpp and declares them
// `extern template class VNKUTI_BASIC_API ...;` in its header, so that the
// static members exist once in the process.
#pragma once

#include <atomic>
#include <new>

#include "VNKUTI_BasicExport.h"
#include "mem/mem_Alloc.h"
#include "thr/thr_Mutex.h"

// Links the live global singletons into one list, newest last, so that
// thr_finalize can destroy those their owners left behind.
struct thr_GlobalSingletonLink {
  void (*m_Finalize)();
  thr_GlobalSingletonLink* m_Prev;
  thr_GlobalSingletonLink* m_Next;
};

// The non-template part: the global lock's use and the list. Each takes the
// global lock itself.
class VNKUTI_BASIC_API thr_GlobalSingletonCore {
 public:
  // Returns the creation mutex in slot, making it under the global lock.
  static thr_Mutex& CreationMutex(std::atomic<thr_Mutex*>& slot);
  // Destroys the creation mutex in slot under the global lock (if the lock
  // still exists) and unlinks link.
  static void Release(std::atomic<thr_Mutex*>& slot, thr_GlobalSingletonLink& link);
  static void Link(thr_GlobalSingletonLink& link);
  // Finalizes every linked singleton, newest first, except keep.
  static void FinalizeAll(const thr_GlobalSingletonLink* keep);
};

template <class T>
class thr_GlobalSingletonBase {
 public:
  // The object, or null while there is none. Never creates.
  static T* Instance() { return s_Instance.load(std::memory_order_acquire); }
  static void Finalize();
  static const thr_GlobalSingletonLink* LinkOf() { return &s_Link; }

 protected:
  static T* Create();

  static std::atomic<T*> s_Instance;
  static std::atomic<thr_Mutex*> s_CreationMutex;
  static thr_GlobalSingletonLink s_Link;
};

template <class T>
class thr_GlobalSingleton : public thr_GlobalSingletonBase<T> {
 public:
  // The object, created on first use.
  static T& Instance() {
    T* p = thr_GlobalSingletonBase<T>::Instance();
    return p != nullptr ? *p : *thr_GlobalSingletonBase<T>::Create();
  }
};

// ------------------------------------------------------------ definitions

template <class T>
constinit std::atomic<T*> thr_GlobalSingletonBase<T>::s_Instance{nullptr};
template <class T>
constinit std::atomic<thr_Mutex*> thr_GlobalSingletonBase<T>::s_CreationMutex{nullptr};
template <class T>
constinit thr_GlobalSingletonLink thr_GlobalSingletonBase<T>::s_Link{&thr_GlobalSingletonBase<T>::Finalize, nullptr,
                                                                     nullptr};

template <class T>
T* thr_GlobalSingletonBase<T>::Create() {
  thr_Mutex& m = thr_GlobalSingletonCore::CreationMutex(s_CreationMutex);
  m.Lock();
  T* p = s_Instance.load(std::memory_order_relaxed);
  if (p == nullptr) {
    void* cell;
    try {
      cell = mem_OperatorNewThrow(sizeof(T));
      try {
        p = ::new (cell) T();
      } catch (...) {
        mem_Free(cell);
        throw;
      }
    } catch (...) {
      m.Unlock();
      throw;
    }
    thr_GlobalSingletonCore::Link(s_Link);
    s_Instance.store(p, std::memory_order_release);
  }
  m.Unlock();
  return p;
}

template <class T>
void thr_GlobalSingletonBase<T>::Finalize() {
  T* p = s_Instance.exchange(nullptr, std::memory_order_acq_rel);
  if (p != nullptr) {
    p->~T();
    mem_Free(p);
  }
  thr_GlobalSingletonCore::Release(s_CreationMutex, s_Link);
}
