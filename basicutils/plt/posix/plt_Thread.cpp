// POSIX implementation of plt_Thread.h: pthreads; suspension by a real-time
// signal whose handler acknowledges and then waits on a semaphore until the
// suspension count falls back to 0.
#include "plt/plt_Thread.h"

#include <errno.h>
#include <pthread.h>
#include <sched.h>
#include <semaphore.h>
#include <signal.h>
#include <stdlib.h>
#include <time.h>

#include <atomic>

#include "mem/mem_Alloc.h"
#include "plt/posix/plt_PosixCalls.h"

struct plt_Thread {
  pthread_t m_Id;
  plt_ThreadMain m_Main;
  void* m_Arg;
  std::atomic<int> m_Refs;  // the creator's handle and the thread itself
  pthread_mutex_t m_Mutex;  // guards m_Ended for the timed wait
  pthread_cond_t m_Cond;
  std::atomic<bool> m_Ended;
  bool m_Reaped;  // joined or detached; the creator's business only
  std::atomic<int> m_Suspends;
  std::atomic<unsigned> m_Acks;  // one per stop the handler made
  std::atomic<bool> m_Masked;
  sem_t m_Resume;
};

namespace {

// The thread's own record, for the signal handler. Initial-exec: the
// handler must not make the TLS machinery allocate.
constinit thread_local plt_Thread* t_Self __attribute__((tls_model("initial-exec"))) = nullptr;

constinit std::atomic<bool> g_HandlerInstalled{false};
constinit pthread_mutex_t g_InstallMutex = PTHREAD_MUTEX_INITIALIZER;
constinit struct sigaction g_Previous = {};

int SuspendSignal() { return SIGRTMIN + 4; }

void Unref(plt_Thread* t) {
  if (t->m_Refs.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
  sem_destroy(&t->m_Resume);
  pthread_cond_destroy(&t->m_Cond);
  pthread_mutex_destroy(&t->m_Mutex);
  mem_Free(t);
}

void* Entry(void* arg) {
  auto* t = static_cast<plt_Thread*>(arg);
  t_Self = t;
  t->m_Main(t->m_Arg);
  t_Self = nullptr;
  pthread_mutex_lock(&t->m_Mutex);
  t->m_Ended.store(true, std::memory_order_release);
  pthread_cond_broadcast(&t->m_Cond);
  pthread_mutex_unlock(&t->m_Mutex);
  Unref(t);
  return nullptr;
}

void OnSuspendSignal(int) {
  const int saved = errno;
  plt_Thread* self = t_Self;
  if (self != nullptr && self->m_Suspends.load(std::memory_order_acquire) > 0) {
    self->m_Acks.fetch_add(1, std::memory_order_release);
    // A post left over from an earlier resume only sends us round again.
    while (self->m_Suspends.load(std::memory_order_acquire) > 0) {
      while (sem_wait(&self->m_Resume) != 0 && errno == EINTR) {
      }
    }
  }
  errno = saved;
}

}  // namespace

plt_Thread* plt_ThreadStart(plt_ThreadMain main, void* arg) {
  auto* t = static_cast<plt_Thread*>(mem_Malloc(sizeof(plt_Thread)));
  t->m_Main = main;
  t->m_Arg = arg;
  new (&t->m_Refs) std::atomic<int>(2);
  pthread_mutex_init(&t->m_Mutex, nullptr);
  pthread_condattr_t a;
  pthread_condattr_init(&a);
  pthread_condattr_setclock(&a, CLOCK_MONOTONIC);
  pthread_cond_init(&t->m_Cond, &a);
  pthread_condattr_destroy(&a);
  new (&t->m_Ended) std::atomic<bool>(false);
  t->m_Reaped = false;
  new (&t->m_Suspends) std::atomic<int>(0);
  new (&t->m_Acks) std::atomic<unsigned>(0);
  new (&t->m_Masked) std::atomic<bool>(false);
  sem_init(&t->m_Resume, 0, 0);
  if (pthread_create(&t->m_Id, nullptr, &Entry, t) != 0) {
    t->m_Refs.store(1, std::memory_order_relaxed);
    Unref(t);
    return nullptr;
  }
  return t;
}

bool plt_ThreadWait(plt_Thread* t, long long milliseconds) {
  if (t == nullptr) return true;
  pthread_mutex_lock(&t->m_Mutex);
  if (milliseconds < 0) {
    while (!t->m_Ended.load(std::memory_order_relaxed)) pthread_cond_wait(&t->m_Cond, &t->m_Mutex);
  } else if (milliseconds > 0 && !t->m_Ended.load(std::memory_order_relaxed)) {
    const timespec deadline = plt_PosixDeadlineAfter(milliseconds);
    while (!t->m_Ended.load(std::memory_order_relaxed)) {
      if (pthread_cond_timedwait(&t->m_Cond, &t->m_Mutex, &deadline) == ETIMEDOUT) break;
    }
  }
  const bool ended = t->m_Ended.load(std::memory_order_relaxed);
  pthread_mutex_unlock(&t->m_Mutex);
  if (ended && !t->m_Reaped) {
    // The thread is past its last use of the record; the join is brief.
    pthread_join(t->m_Id, nullptr);
    t->m_Reaped = true;
  }
  return ended;
}

void plt_ThreadClose(plt_Thread* t) {
  if (t == nullptr) return;
  if (!t->m_Reaped) pthread_detach(t->m_Id);
  t->m_Reaped = true;
  Unref(t);
}

bool plt_ThreadSuspend(plt_Thread* t) {
  if (t == nullptr) return false;
  if (t->m_Suspends.fetch_add(1, std::memory_order_acq_rel) != 0) return true;
  if (!g_HandlerInstalled.load(std::memory_order_acquire) || t->m_Masked.load(std::memory_order_acquire) ||
      t->m_Ended.load(std::memory_order_acquire))
    return false;
  const unsigned before = t->m_Acks.load(std::memory_order_acquire);
  if (pthread_kill(t->m_Id, SuspendSignal()) != 0) return false;
  // The handler acknowledges once it has stopped. A thread that ends first,
  // or never takes the signal, must not hold the caller up for ever.
  const long long deadline = plt_PosixNowNs() + 2000000000LL;
  while (t->m_Acks.load(std::memory_order_acquire) == before) {
    if (t->m_Ended.load(std::memory_order_acquire) || plt_PosixNowNs() > deadline) return false;
    plt_PosixSleepNs(20000);
  }
  return true;
}

bool plt_ThreadResume(plt_Thread* t) {
  if (t == nullptr) return false;
  int n = t->m_Suspends.load(std::memory_order_relaxed);
  do {
    if (n <= 0) return false;
  } while (!t->m_Suspends.compare_exchange_weak(n, n - 1, std::memory_order_acq_rel));
  if (n == 1) sem_post(&t->m_Resume);
  return true;
}

bool plt_SuspendHandlerInstall(bool install, bool restart) {
  pthread_mutex_lock(&g_InstallMutex);
  const bool was = g_HandlerInstalled.load(std::memory_order_relaxed);
  if (install) {
    struct sigaction sa = {};
    sa.sa_handler = &OnSuspendSignal;
    sa.sa_flags = restart ? SA_RESTART : 0;
    sigemptyset(&sa.sa_mask);
    struct sigaction old = {};
    if (sigaction(SuspendSignal(), &sa, &old) == 0) {
      if (!was) g_Previous = old;
      g_HandlerInstalled.store(true, std::memory_order_release);
    }
  } else if (was) {
    g_HandlerInstalled.store(false, std::memory_order_release);
    sigaction(SuspendSignal(), &g_Previous, nullptr);
  }
  const bool now = g_HandlerInstalled.load(std::memory_order_relaxed);
  pthread_mutex_unlock(&g_InstallMutex);
  return now;
}

void plt_SuspendSignalMask(bool block) {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SuspendSignal());
  // Marked before blocking and after unblocking, so that a suspender never
  // waits for a signal that cannot arrive.
  if (block && t_Self) t_Self->m_Masked.store(true, std::memory_order_release);
  pthread_sigmask(block ? SIG_BLOCK : SIG_UNBLOCK, &set, nullptr);
  if (!block && t_Self) t_Self->m_Masked.store(false, std::memory_order_release);
}

void plt_Sleep(int milliseconds) {
  if (milliseconds > 0) plt_PosixSleepNs(milliseconds * 1000000LL);
}

void plt_Yield() { sched_yield(); }

void plt_SpinPause() {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_ia32_pause();
#elif defined(__aarch64__)
  asm volatile("yield" ::: "memory");
#endif
}

void plt_ProcessExit(int status) { exit(status); }
