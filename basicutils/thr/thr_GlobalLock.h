// thr_GlobalLock: the one process-wide lock, taken briefly and alone around
// creating and destroying singletons and thread-local slots. Reached through
// omi_Singleton<thr_GlobalLock>::Instance(); made by thr_initialize and
// destroyed by thr_finalize.
#pragma once

#include "VNKUTI_BasicExport.h"
#include "mem/mem_AllocationOperators.h"
#include "omi/omi_Singleton.h"

class thr_Mutex;

class VNKUTI_BASIC_API thr_GlobalLock : public mem_AllocationOperators {
 public:
  thr_GlobalLock();
  ~thr_GlobalLock();
  thr_GlobalLock(const thr_GlobalLock&) = delete;
  thr_GlobalLock& operator=(const thr_GlobalLock&) = delete;

  void Lock();
  void Unlock();

 private:
  thr_Mutex* m_Mutex;
};

extern template class VNKUTI_BASIC_API omi_Singleton<thr_GlobalLock>;

// Holds the global lock for a scope.
class thr_GlobalLockGuard {
 public:
  thr_GlobalLockGuard() { omi_Singleton<thr_GlobalLock>::Instance().Lock(); }
  ~thr_GlobalLockGuard() { omi_Singleton<thr_GlobalLock>::Instance().Unlock(); }
  thr_GlobalLockGuard(const thr_GlobalLockGuard&) = delete;
  thr_GlobalLockGuard& operator=(const thr_GlobalLockGuard&) = delete;
};
