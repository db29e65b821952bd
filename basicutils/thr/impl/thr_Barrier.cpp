#include "thr/thr_Barrier.h"

#include "plt/plt_Thread.h"
#include "thr/thr_Functions.h"
#include "thr/thr_ThreadPool.h"

namespace {

constexpr unsigned kCheckEvery = 1000000;
// A yield now and then lets the threads still to arrive run when there are
// more threads than processors; it never blocks.
constexpr unsigned kYieldEvery = 64;

// Gives up when the pool reports an error: a pool thread through the pool,
// any other thread by ending the process.
void GiveUpOnPoolError() {
  thr_ThreadPool* pool = thr_GlobalSingletonBase<thr_ThreadPool>::Instance();
  if (pool == nullptr || !pool->ErrorCondition()) return;
  const int number = thr_CurrentThreadNumber();
  if (number >= 1) {
    pool->TerminateThread(number - 1);
    pool->ExitThread(number - 1, 1);
  }
  plt_ProcessExit(1);
}

}  // namespace

thr_Barrier::thr_Barrier() : m_Mutex(0), m_Arrivals(0), m_Released(0), m_NoWaitOnDestroy(0) {}

thr_Barrier::~thr_Barrier() {
  if (m_NoWaitOnDestroy == 0) {
    while (m_Released.load(std::memory_order_acquire) == 1) plt_Yield();
  }
  // No thread may still be inside the mutex when it goes.
  m_Mutex.Lock();
  m_Mutex.Unlock();
}

void thr_Barrier::SpinWhileReleased(unsigned int value) {
  for (unsigned turn = 1; m_Released.load(std::memory_order_acquire) == value; ++turn) {
    if (turn % kCheckEvery == 0) {
      GiveUpOnPoolError();
      turn = 0;
    }
    if (turn % kYieldEvery == 0)
      plt_Yield();
    else
      plt_SpinPause();
  }
}

void thr_Barrier::BarrierSync(unsigned int count) {
  if (count <= 1) return;
  // Wait for the previous episode to drain.
  SpinWhileReleased(1);
  m_Mutex.Lock();
  if (++m_Arrivals == count) m_Released.store(1, std::memory_order_release);
  m_Mutex.Unlock();
  if (m_Released.load(std::memory_order_acquire) != 1) SpinWhileReleased(0);
  m_Mutex.Lock();
  if (--m_Arrivals == 0) m_Released.store(0, std::memory_order_release);
  m_Mutex.Unlock();
}
