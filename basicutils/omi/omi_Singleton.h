// omi_Singleton<T>: a lazily created process-wide instance.
//
// Instance() creates the object on first use. Creation is not locked: the
// library creates its omi_ singletons during start-up, on one thread, and
// Destroy() is called by the owning module's finalizer. (thr_GlobalSingleton
// is the locked, creation-anywhere form.)
#pragma once

#include <atomic>

#include "VNKUTI_BasicExport.h"

template <class T>
class omi_Singleton {
 public:
  static T& Instance() {
    T* p = s_Instance.load(std::memory_order_acquire);
    if (p == nullptr) {
      p = new T();
      s_Instance.store(p, std::memory_order_release);
    }
    return *p;
  }
  static T* Peek() { return s_Instance.load(std::memory_order_acquire); }
  static void Destroy() {
    T* p = s_Instance.exchange(nullptr, std::memory_order_acq_rel);
    delete p;
  }

 private:
  static std::atomic<T*> s_Instance;
};

template <class T>
constinit std::atomic<T*> omi_Singleton<T>::s_Instance{nullptr};
