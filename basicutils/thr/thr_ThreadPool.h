// thr_ThreadPool: a fixed table of at most 1024 worker threads, each with a
// mailbox for exactly one task. There is no queue.
//
// RunTask hands a task to an idle worker (the lowest idle slot among the
// first count - 1, else the last slot) and returns true; when the chosen slot
// is busy it tries again, up to the given number of attempts (unlimited when
// below 1), and then returns false, leaving the task to the caller. From
// acceptance on the pool owns the task: the worker runs it and deletes it; a
// task the pool never served is deleted with the pool. Run must not throw:
// an exception leaving it ends the process.
//
// A worker that runs out of work spins briefly for the next task, then
// looks for one every 10 ms for its first 100 idle turns (a turn ends early
// when a task is handed over), then waits on its slot's condition variable
// until a task or an exit request comes.
//
// The pool is the global singleton thr_GlobalSingleton<thr_ThreadPool>;
// thr_finalize destroys it. The destructor asks every worker to exit and
// waits for it, letting a running task finish, except for a slot whose task
// was given keep-alive, the calling thread's own slot, and every slot when
// the error condition is set: those workers are not waited for and end by
// themselves once their task returns.
//
// SuspendThreads / ResumeThreads (and the ...AllOtherThreads forms, which
// spare one slot) stop and restart the workers; suspensions count. A worker
// must not be suspended while it holds a lock that the suspender needs.
//
// ExitThread ends the process with exit(status), from any thread.
#pragma once

#include <atomic>

#include "VNKUTI_BasicExport.h"
#include "mem/mem_AllocationOperators.h"
#include "thr/thr_Barrier.h"
#include "thr/thr_GlobalSingleton.h"
#include "thr/thr_Mutex.h"
#include "thr/thr_ThreadSingleton.h"

class VNKUTI_BASIC_API thr_ThreadTask : public mem_AllocationOperators {
 public:
  virtual ~thr_ThreadTask();
  // Called on the worker with its slot number (0-based).
  virtual void Run(int thread) = 0;
};

// The calling thread's number in thread-local storage: slot + 1 in a pool
// worker, -1 elsewhere. Destroyed first when a worker ends.
class VNKUTI_BASIC_API thr_ThreadId : public mem_AllocationOperators {
 public:
  static constexpr thr_ThreadObjectDestructLevel ThreadDestructLevel = thr_DestructLevelThreadId;
  int Get() const { return m_Id; }
  void Set(int id) { m_Id = id; }

 private:
  int m_Id = -1;
};

extern template class VNKUTI_BASIC_API thr_ThreadSingletonBase<thr_ThreadId>;
extern template class VNKUTI_BASIC_API thr_ThreadSingleton<thr_ThreadId>;

struct thr_ThreadPoolData;

class VNKUTI_BASIC_API thr_ThreadPool : public mem_AllocationOperators {
 public:
  static constexpr int kMaxThreads = 1024;
  // Kinds of worker; AddThreads does not distinguish them.
  enum e_threadType { e_computeThread = 0, e_ioThread = 1 };
  // Slot states.
  enum { e_idle = 0, e_taskHandedOver = 1, e_exitRequested = 2, e_exited = 3 };

  thr_ThreadPool();
  ~thr_ThreadPool();
  thr_ThreadPool(const thr_ThreadPool&) = delete;
  thr_ThreadPool& operator=(const thr_ThreadPool&) = delete;

  // Starts n more workers, numbered on from the current count (never beyond
  // kMaxThreads; n < 1 starts none). A worker the system refuses to start
  // leaves its slot exited.
  void AddThreads(int n, e_threadType type);
  // Null tasks are refused (false).
  bool RunTask(thr_ThreadTask* task, bool keepAlive, int tries);
  // slot >= 0: asks that slot's worker to exit. Then, for any slot, runs the
  // registry's per-thread finalizers for the calling thread.
  void TerminateThread(int slot);
  // Marks the slot exited and ends the process with status.
  [[noreturn]] void ExitThread(int slot, int status);
  void SetErrorCondition(bool error);

  void SuspendThreads();
  void ResumeThreads();
  void SuspendAllOtherThreads(int slot);
  void ResumeAllOtherThreads(int slot);

  thr_Barrier& Barrier() { return m_Barrier; }
  int ThreadCount() const { return m_ThreadCount.load(std::memory_order_relaxed); }
  bool ErrorCondition() const { return m_ErrorCondition.load(std::memory_order_relaxed); }
  bool Running() const { return m_Running.load(std::memory_order_relaxed); }
  // The slot's state (e_idle ...), or -1 for a slot outside the table.
  int SlotState(int slot) const;

 private:
  void SuspendRange(int spare, bool suspend);

  std::atomic<int> m_ThreadCount;
  thr_Mutex m_PoolMutex;
  std::atomic<bool> m_ErrorCondition;  // written under m_PoolMutex
  [[maybe_unused]] bool m_SecondFlag;  // cleared at construction; no use here
  thr_ThreadPoolData* m_Data;  // the 1024 slots
  thr_Barrier m_Barrier;
  std::atomic<bool> m_Running;
};

extern template class VNKUTI_BASIC_API thr_GlobalSingletonBase<thr_ThreadPool>;
extern template class VNKUTI_BASIC_API thr_GlobalSingleton<thr_ThreadPool>;
