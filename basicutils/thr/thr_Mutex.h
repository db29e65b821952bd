// thr_Mutex: a recursive mutex with a "locked" word.
//
// Lock() re-enters for the holding thread. TryLock() refuses at once whenever
// the locked word is 1, even when the caller itself holds the mutex. The
// locked word is set after entering and cleared before leaving, so after an
// inner Unlock of a nested Lock it reads 0 although the mutex is still held.
// It is read without the lock, hence atomic (relaxed: the platform lock
// orders everything else).
//
// The platform lock lives inside the object (no separate allocation, no
// pointer to follow on Lock). Not copyable, not movable.
#pragma once

#include <atomic>

#include "VNKUTI_BasicExport.h"
#include "mem/mem_AllocationOperators.h"

class VNKUTI_BASIC_API thr_Mutex : public mem_AllocationOperatorsTiny {
 public:
  // initial is stored as the first value of the locked word (callers pass 0).
  explicit thr_Mutex(unsigned int initial = 0);
  ~thr_Mutex();
  thr_Mutex(const thr_Mutex&) = delete;
  thr_Mutex& operator=(const thr_Mutex&) = delete;

  void Lock();
  void Unlock();
  int TryLock();  // 1 when taken, 0 otherwise
  bool IsLocked() const { return m_Locked.load(std::memory_order_relaxed) != 0; }

 private:
  std::atomic<unsigned> m_Locked;
  // The platform's recursive lock (plt_MutexStorage; the size is checked
  // where it is used).
  alignas(8) unsigned char m_Section[48];
};
