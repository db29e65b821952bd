// thr_Barrier: a spinning barrier for compute threads that arrive close
// together.
//
// BarrierSync(n) returns once n threads have arrived in the current episode;
// the last of them to leave re-arms the barrier, and a thread arriving for
// the next episode spins until the previous one has drained. It never blocks
// in the system: it burns processor time, yielding now and then. Every
// 1,000,000 turns of a spin it looks at the thread pool's error condition;
// when that is set the thread gives up: a pool thread is terminated and the
// process exits with status 1 (thr_ThreadPool::ExitThread), any other thread
// exits the process with status 1.
//
// The destructor waits for a running episode to drain unless
// SetNoWaitOnDestroy(true) was called.
#pragma once

#include <atomic>

#include "VNKUTI_BasicExport.h"
#include "mem/mem_AllocationOperators.h"
#include "thr/thr_CondVar.h"
#include "thr/thr_Mutex.h"

class VNKUTI_BASIC_API thr_Barrier : public mem_AllocationOperators {
 public:
  thr_Barrier();
  ~thr_Barrier();
  thr_Barrier(const thr_Barrier&) = delete;
  thr_Barrier& operator=(const thr_Barrier&) = delete;

  void BarrierSync(unsigned int count);
  void SetNoWaitOnDestroy(bool noWait) { m_NoWaitOnDestroy = noWait ? 1 : 0; }

 private:
  void SpinWhileReleased(unsigned int value);

  thr_Mutex m_Mutex;
  unsigned int m_Arrivals;               // under m_Mutex
  std::atomic<unsigned int> m_Released;  // 1 while the episode drains
  unsigned int m_NoWaitOnDestroy;
  thr_CondVar m_Unused;                  // kept for layout; never waited on
};
