// The thread pool: 1024 slots, each a mailbox for one task, and the workers
// that serve them.
//
// A slot lives in a block of its own that the pool and the slot's worker
// share by count. A worker the pool does not wait for (keep-alive, the
// caller's own slot, the error condition) keeps its block after the pool is
// gone, finishes its task and ends without touching the pool.
#include "thr/thr_ThreadPool.h"

#include "plt/plt_Thread.h"
#include "thr/impl/thr_PoolInternal.h"
#include "thr/thr_CondVar.h"
#include "thr/thr_Functions.h"

template class thr_GlobalSingletonBase<thr_ThreadPool>;
template class thr_GlobalSingleton<thr_ThreadPool>;
template class thr_ThreadSingletonBase<thr_ThreadId>;
template class thr_ThreadSingleton<thr_ThreadId>;

thr_ThreadTask::~thr_ThreadTask() = default;

struct thr_PoolSlot : public mem_AllocationOperators {
  explicit thr_PoolSlot(int number) : m_Number(number) {}

  const int m_Number;
  std::atomic<int> m_Refs{1};   // the pool's, plus the worker's while it runs
  std::atomic<int> m_State{0};  // read without the lock, written under m_SlotMutex
  thr_Mutex m_SlotMutex;
  thr_Mutex m_PendingMutex;
  bool m_Pending = false;  // under m_PendingMutex: handed over, not yet started
  std::atomic<thr_ThreadTask*> m_Task{nullptr};
  thr_CondVar m_WakeUp;
  bool m_KeepAlive = false;  // under m_SlotMutex
  bool m_Detached = false;   // under m_SlotMutex: the pool no longer waits
  plt_Thread* m_Thread = nullptr;  // the pool's handle
  int m_Suspends = 0;              // the pool's suspensions, under its mutex
};

struct thr_ThreadPoolData : public mem_AllocationOperators {
  thr_PoolSlot* m_Slots[thr_ThreadPool::kMaxThreads] = {};
};

namespace {

constexpr int kPollingTurns = 100;
constexpr int kPollMs = 10;
constexpr int kSpinTurns = 256;

// Counted down by each worker as its very last step (release), so that
// thr_finalize, seeing 0, may destroy what workers use on their way out.
constinit std::atomic<int> g_LiveWorkers{0};

void ReleaseSlot(thr_PoolSlot* s) {
  if (s->m_Refs.fetch_sub(1, std::memory_order_acq_rel) == 1) delete s;
}

// Sets the state under the slot's mutex and its condition variable's lock
// and wakes a waiting worker.
void RequestExit(thr_PoolSlot* s) {
  s->m_SlotMutex.Lock();
  s->m_WakeUp.Lock();
  if (s->m_State.load(std::memory_order_relaxed) != thr_ThreadPool::e_exited)
    s->m_State.store(thr_ThreadPool::e_exitRequested, std::memory_order_release);
  s->m_WakeUp.Signal();
  s->m_WakeUp.Unlock();
  s->m_SlotMutex.Unlock();
}

// The registry's finalizers for the calling thread; the registry is not
// created for this.
void FinalizeCallingThread(int slot) {
  if (thr_ThrSingletonRegistry* r = thr_GlobalSingletonBase<thr_ThrSingletonRegistry>::Instance())
    r->FinalizeThread(slot);
}

// A worker that has just finished a task looks for the next one for a few
// hundred turns before its first wait, so that tasks handed over in a row
// reach it without a wake-up each.
void SpinForNextTask(const thr_PoolSlot* s) {
  for (int turn = 1; turn <= kSpinTurns; ++turn) {
    if (s->m_State.load(std::memory_order_acquire) != thr_ThreadPool::e_idle) return;
    if (turn % 16 == 0)
      plt_Yield();
    else
      plt_SpinPause();
  }
}

void IdleTurn(thr_PoolSlot* s, int& idle) {
  int limit = kPollMs;
  if (idle < kPollingTurns) {
    ++idle;
  } else {
    idle = 0;
    limit = 0;  // no limit
  }
  // The state is tested under the lock that RunTask sets it under, so the
  // signal cannot slip in between the test and the wait.
  s->m_WakeUp.Lock();
  if (s->m_State.load(std::memory_order_relaxed) == thr_ThreadPool::e_idle) s->m_WakeUp.WaitForSignalMs(limit);
  s->m_WakeUp.Unlock();
}

unsigned WorkerMain(void* arg) {
  auto* s = static_cast<thr_PoolSlot*>(arg);
  const int slot = s->m_Number;
  thr_ThreadSingleton<thr_ThreadId>::Instance().Set(slot + 1);
  int idle = 0;
  for (;;) {
    const int state = s->m_State.load(std::memory_order_acquire);
    if (state == thr_ThreadPool::e_idle) {
      IdleTurn(s, idle);
      continue;
    }
    if (state != thr_ThreadPool::e_taskHandedOver) break;
    thr_ThreadTask* task;
    while ((task = s->m_Task.load(std::memory_order_acquire)) == nullptr) plt_SpinPause();
    s->m_PendingMutex.Lock();
    s->m_Pending = false;
    s->m_PendingMutex.Unlock();
    task->Run(slot);
    delete task;
    idle = 0;
    s->m_SlotMutex.Lock();
    s->m_Task.store(nullptr, std::memory_order_relaxed);
    // An exit asked for while the task ran stands.
    const bool leave = s->m_Detached || s->m_State.load(std::memory_order_relaxed) == thr_ThreadPool::e_exitRequested;
    s->m_State.store(leave ? thr_ThreadPool::e_exitRequested : thr_ThreadPool::e_idle, std::memory_order_release);
    s->m_KeepAlive = false;
    s->m_SlotMutex.Unlock();
    SpinForNextTask(s);
  }
  RequestExit(s);
  FinalizeCallingThread(slot);
  s->m_SlotMutex.Lock();
  s->m_State.store(thr_ThreadPool::e_exited, std::memory_order_release);
  s->m_SlotMutex.Unlock();
  ReleaseSlot(s);
  g_LiveWorkers.fetch_sub(1, std::memory_order_release);
  return 0;
}

void SpinWhileRunning(const thr_PoolSlot* s) {
  for (unsigned turn = 1; s->m_State.load(std::memory_order_acquire) == thr_ThreadPool::e_taskHandedOver; ++turn) {
    if (turn % 64 == 0)
      plt_Yield();
    else
      plt_SpinPause();
  }
}

}  // namespace

int thr_LiveWorkers() { return g_LiveWorkers.load(std::memory_order_acquire); }

bool thr_WaitForWorkers(int milliseconds) {
  for (int waited = 0; thr_LiveWorkers() != 0; ++waited) {
    if (waited >= milliseconds) return false;
    plt_Sleep(1);
  }
  return true;
}

// ============================================================ construction

thr_ThreadPool::thr_ThreadPool()
    : m_ThreadCount(0), m_PoolMutex(0), m_ErrorCondition(false), m_SecondFlag(false), m_Data(nullptr), m_Running(true) {
  m_Data = new thr_ThreadPoolData;
  try {
    for (int i = 0; i < kMaxThreads; ++i) m_Data->m_Slots[i] = new thr_PoolSlot(i);
  } catch (...) {
    for (thr_PoolSlot* s : m_Data->m_Slots) delete s;
    delete m_Data;
    throw;
  }
}

thr_ThreadPool::~thr_ThreadPool() {
  const int count = m_ThreadCount.exchange(0, std::memory_order_acq_rel);
  const bool error = ErrorCondition();
  const int own = thr_CurrentThreadNumber() - 1;
  for (int i = 0; i < count; ++i) {
    thr_PoolSlot* s = m_Data->m_Slots[i];
    // A suspended worker could never finish.
    m_PoolMutex.Lock();
    for (; s->m_Suspends > 0; --s->m_Suspends) plt_ThreadResume(s->m_Thread);
    m_PoolMutex.Unlock();

    s->m_SlotMutex.Lock();
    const bool wait = !error && !s->m_KeepAlive && i != own && s->m_Thread != nullptr;
    if (!wait) s->m_Detached = true;
    s->m_SlotMutex.Unlock();

    if (wait) SpinWhileRunning(s);
    // Idle workers are asked to leave even when not waited for: nothing
    // would ever wake them again.
    if (s->m_State.load(std::memory_order_acquire) != thr_ThreadPool::e_taskHandedOver) RequestExit(s);
    if (wait) {
      while (!plt_ThreadWait(s->m_Thread, 100)) {
        const int state = s->m_State.load(std::memory_order_acquire);
        if (state == e_exited) {
          // Past its last step; reap it.
          plt_ThreadWait(s->m_Thread, -1);
          break;
        }
        if (state == e_idle) RequestExit(s);  // a task slipped in meanwhile
      }
    }
    plt_ThreadClose(s->m_Thread);
    s->m_Thread = nullptr;
  }
  // Tasks handed to slots no worker serves belong to the pool.
  for (int i = count; i < kMaxThreads; ++i) {
    thr_PoolSlot* s = m_Data->m_Slots[i];
    if (s->m_State.load(std::memory_order_relaxed) != e_taskHandedOver) continue;
    delete s->m_Task.exchange(nullptr, std::memory_order_relaxed);
    s->m_State.store(e_idle, std::memory_order_relaxed);
  }
  for (thr_PoolSlot* s : m_Data->m_Slots) ReleaseSlot(s);
  delete m_Data;
}

// ================================================================ workers

void thr_ThreadPool::AddThreads(int n, e_threadType /*type*/) {
  if (n < 1) return;
  m_PoolMutex.Lock();
  const int first = m_ThreadCount.load(std::memory_order_relaxed);
  const int end = n > kMaxThreads - first ? kMaxThreads : first + n;
  for (int i = first; i < end; ++i) {
    thr_PoolSlot* s = m_Data->m_Slots[i];
    s->m_Refs.fetch_add(1, std::memory_order_relaxed);
    g_LiveWorkers.fetch_add(1, std::memory_order_relaxed);
    s->m_Thread = plt_ThreadStart(&WorkerMain, s);
    if (s->m_Thread == nullptr) {
      g_LiveWorkers.fetch_sub(1, std::memory_order_relaxed);
      s->m_Refs.fetch_sub(1, std::memory_order_relaxed);
      s->m_State.store(e_exited, std::memory_order_release);
    }
    m_ThreadCount.store(i + 1, std::memory_order_release);
  }
  m_PoolMutex.Unlock();
}

bool thr_ThreadPool::RunTask(thr_ThreadTask* task, bool keepAlive, int tries) {
  if (task == nullptr) return false;
  const int count = m_ThreadCount.load(std::memory_order_acquire);
  const int last = count > 0 ? count - 1 : 0;
  for (int attempt = 0; tries < 1 || attempt < tries; ++attempt) {
    int chosen = last;
    for (int i = 0; i < count - 1; ++i) {
      if (m_Data->m_Slots[i]->m_State.load(std::memory_order_relaxed) == e_idle) {
        chosen = i;
        break;
      }
    }
    thr_PoolSlot* s = m_Data->m_Slots[chosen];
    // A slot seen busy costs the attempt without its mutex, which its
    // worker needs to finish.
    if (s->m_State.load(std::memory_order_relaxed) != e_idle) {
      // Not a sleep: lets the busy workers run where processors are few.
      if ((attempt + 1) % 16 == 0)
        plt_Yield();
      else
        plt_SpinPause();
      continue;
    }
    s->m_SlotMutex.Lock();
    if (s->m_State.load(std::memory_order_relaxed) != e_idle) {
      s->m_SlotMutex.Unlock();
      plt_SpinPause();
      continue;
    }
    s->m_PendingMutex.Lock();
    s->m_Pending = true;
    s->m_PendingMutex.Unlock();
    s->m_Task.store(task, std::memory_order_relaxed);
    s->m_WakeUp.Lock();
    s->m_State.store(e_taskHandedOver, std::memory_order_release);
    s->m_KeepAlive = keepAlive;
    s->m_WakeUp.Signal();
    s->m_WakeUp.Unlock();
    s->m_SlotMutex.Unlock();
    return true;
  }
  return false;
}

void thr_ThreadPool::TerminateThread(int slot) {
  if (slot >= 0 && slot < kMaxThreads) RequestExit(m_Data->m_Slots[slot]);
  FinalizeCallingThread(slot);
}

void thr_ThreadPool::ExitThread(int slot, int status) {
  if (slot >= 0 && slot < kMaxThreads) {
    thr_PoolSlot* s = m_Data->m_Slots[slot];
    s->m_SlotMutex.Lock();
    s->m_State.store(e_exited, std::memory_order_release);
    s->m_SlotMutex.Unlock();
  }
  // The original compares pseudo-handles that are equal in every thread, so
  // this always ends the process.
  plt_ProcessExit(status);
}

void thr_ThreadPool::SetErrorCondition(bool error) {
  m_PoolMutex.Lock();
  m_ErrorCondition.store(error, std::memory_order_relaxed);
  m_PoolMutex.Unlock();
}

int thr_ThreadPool::SlotState(int slot) const {
  if (slot < 0 || slot >= kMaxThreads) return -1;
  return m_Data->m_Slots[slot]->m_State.load(std::memory_order_acquire);
}

// ============================================================= suspension

void thr_ThreadPool::SuspendRange(int spare, bool suspend) {
  // A thread never suspends itself: nobody could be sure to resume it.
  const int own = thr_CurrentThreadNumber() - 1;
  m_PoolMutex.Lock();
  m_Running.store(!suspend, std::memory_order_relaxed);
  const int count = m_ThreadCount.load(std::memory_order_relaxed);
  for (int i = 0; i < count; ++i) {
    thr_PoolSlot* s = m_Data->m_Slots[i];
    if (i == spare || i == own || s->m_Thread == nullptr) continue;
    if (suspend) {
      ++s->m_Suspends;
      plt_ThreadSuspend(s->m_Thread);
    } else if (s->m_Suspends > 0) {
      --s->m_Suspends;
      plt_ThreadResume(s->m_Thread);
    }
  }
  m_PoolMutex.Unlock();
}

void thr_ThreadPool::SuspendThreads() { SuspendRange(-1, true); }
void thr_ThreadPool::ResumeThreads() { SuspendRange(-1, false); }
void thr_ThreadPool::SuspendAllOtherThreads(int slot) { SuspendRange(slot, true); }
void thr_ThreadPool::ResumeAllOtherThreads(int slot) { SuspendRange(slot, false); }
