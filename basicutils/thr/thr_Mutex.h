// thr_Mutex: a recursive mutex with a "locked" word.
//
// Lock() re-enters for the holding thread. TryLock() refuses at once whenever
// the locked word is 1, even when the caller itself holds the mutex. The
// locked word is set after entering and cleared before leaving; it is read
// without the lock, hence atomic.
#pragma once

#include <atomic>

#include "VNKUTI_BasicExport.h"
#include "mem/mem_AllocationOperators.h"

struct plt_Mutex;

class VNKUTI_BASIC_API thr_Mutex : public mem_AllocationOperatorsTiny {
 public:
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
  plt_Mutex* m_Section;
};
