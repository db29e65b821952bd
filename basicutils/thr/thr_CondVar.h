// Condition variables with the two semantics callers build on.
//
// thr_CondVar pulses: Signal() wakes exactly the threads waiting at that
// instant and is lost when nobody waits. Use it as: Lock(); test the
// predicate; WaitForSignal(); test again; Unlock(). WaitForSignal releases
// the lock and starts waiting as one step, so a Signal given by a thread that
// takes the lock afterwards is not missed; one given earlier is. Waits return
// nothing: a signal and a time-out look alike, so re-test the predicate.
//
// thr_EliCondVar is sticky: after Signal() every wait passes at once until
// ResetSignal(). It involves no lock.
//
// For both, seconds > 0 limits a wait; 0 or less waits without limit. Each
// object is used through its own methods only; not copyable.
#pragma once

#include "VNKUTI_BasicExport.h"
#include "mem/mem_AllocationOperators.h"

struct plt_Event;
struct plt_EventMutex;

class VNKUTI_BASIC_API thr_CondVar : public mem_AllocationOperators {
 public:
  thr_CondVar();
  ~thr_CondVar();
  thr_CondVar(const thr_CondVar&) = delete;
  thr_CondVar& operator=(const thr_CondVar&) = delete;

  // The condition variable's own lock; recursive.
  void Lock();
  void Unlock();
  // The caller holds the lock; it holds it again on return.
  void WaitForSignal(int seconds);
  // As WaitForSignal with a limit in milliseconds (0 or less: none).
  void WaitForSignalMs(int milliseconds);
  void Signal();

 private:
  plt_Event* m_Event;
  plt_EventMutex* m_Mutex;
};

class VNKUTI_BASIC_API thr_EliCondVar : public mem_AllocationOperators {
 public:
  thr_EliCondVar();
  ~thr_EliCondVar();
  thr_EliCondVar(const thr_EliCondVar&) = delete;
  thr_EliCondVar& operator=(const thr_EliCondVar&) = delete;

  void WaitForSignal(int seconds);
  void Signal();
  void ResetSignal();

 private:
  plt_Event* m_Event;
};
