#include "thr/thr_Functions.h"

#include <atomic>

#include "plt/plt_Thread.h"
#include "thr/thr_ThreadPool.h"

void thr_MemoryBarrier() { std::atomic_thread_fence(std::memory_order_seq_cst); }
void thr_WriteMemoryBarrier() { std::atomic_thread_fence(std::memory_order_release); }
void thr_ReadMemoryBarrier() { std::atomic_thread_fence(std::memory_order_acquire); }

void thr_installSignalHandler(bool suspend, bool restart) { plt_SuspendHandlerInstall(suspend, restart); }

void thr_maskSuspendSignalsInThread(int mask) { plt_SuspendSignalMask(mask != 0); }

int thr_CurrentThreadNumber() {
  const thr_ThreadId* id = thr_ThreadSingletonBase<thr_ThreadId>::Instance();
  return id != nullptr ? id->Get() : -1;
}

void thr_ErrorInThread(int status) {
  if (status != 0) {
    if (thr_ThreadPool* pool = thr_GlobalSingletonBase<thr_ThreadPool>::Instance()) pool->SetErrorCondition(true);
    plt_ProcessExit(status);
  }
  thr_GlobalSingletonBase<thr_ThreadPool>::Finalize();
  const int number = thr_CurrentThreadNumber();
  if (number >= 1) {
    // The pool is gone; terminating the slot now only means finalizing this
    // thread's objects, which is what TerminateThread would do for it.
    if (thr_ThreadPool* pool = thr_GlobalSingletonBase<thr_ThreadPool>::Instance())
      pool->TerminateThread(number - 1);
    else if (thr_ThrSingletonRegistry* r = thr_GlobalSingletonBase<thr_ThrSingletonRegistry>::Instance())
      r->FinalizeThread(number - 1);
    return;
  }
  plt_ProcessExit(0);
}
