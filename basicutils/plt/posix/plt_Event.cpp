// POSIX implementation of plt_Event.h. An event is a mutex, a condition
// variable on the monotonic clock, a state flag and a generation counter: a
// waiter leaves when the flag is set or the generation has moved on since it
// began, which is how a pulse reaches exactly the threads already waiting.
#include "plt/plt_Event.h"

#include <errno.h>
#include <pthread.h>
#include <time.h>

#include <new>

#include "mem/mem_Alloc.h"
#include "plt/posix/plt_PosixCalls.h"

struct plt_Event {
  pthread_mutex_t m_Mutex;
  pthread_cond_t m_Cond;
  bool m_Signalled;
  unsigned long m_Generation;
};

struct plt_EventMutex {
  pthread_mutex_t m_Mutex;
};

namespace {

// With e->m_Mutex held.
bool WaitLocked(plt_Event* e, long long milliseconds) {
  if (e->m_Signalled) return true;
  if (milliseconds == 0) return false;
  const unsigned long generation = e->m_Generation;
  if (milliseconds < 0) {
    while (!e->m_Signalled && e->m_Generation == generation) pthread_cond_wait(&e->m_Cond, &e->m_Mutex);
    return true;
  }
  const timespec deadline = plt_PosixDeadlineAfter(milliseconds);
  while (!e->m_Signalled && e->m_Generation == generation) {
    if (pthread_cond_timedwait(&e->m_Cond, &e->m_Mutex, &deadline) == ETIMEDOUT)
      return e->m_Signalled || e->m_Generation != generation;
  }
  return true;
}

}  // namespace

plt_Event* plt_EventCreate(bool signalled) {
  auto* e = static_cast<plt_Event*>(mem_Malloc(sizeof(plt_Event)));
  pthread_mutex_init(&e->m_Mutex, nullptr);
  pthread_condattr_t a;
  pthread_condattr_init(&a);
  pthread_condattr_setclock(&a, CLOCK_MONOTONIC);
  pthread_cond_init(&e->m_Cond, &a);
  pthread_condattr_destroy(&a);
  e->m_Signalled = signalled;
  e->m_Generation = 0;
  return e;
}

void plt_EventDestroy(plt_Event* e) {
  if (e == nullptr) return;
  pthread_cond_destroy(&e->m_Cond);
  pthread_mutex_destroy(&e->m_Mutex);
  mem_Free(e);
}

void plt_EventSet(plt_Event* e) {
  pthread_mutex_lock(&e->m_Mutex);
  e->m_Signalled = true;
  pthread_cond_broadcast(&e->m_Cond);
  pthread_mutex_unlock(&e->m_Mutex);
}

void plt_EventReset(plt_Event* e) {
  pthread_mutex_lock(&e->m_Mutex);
  e->m_Signalled = false;
  pthread_mutex_unlock(&e->m_Mutex);
}

void plt_EventPulse(plt_Event* e) {
  pthread_mutex_lock(&e->m_Mutex);
  e->m_Signalled = false;
  ++e->m_Generation;
  pthread_cond_broadcast(&e->m_Cond);
  pthread_mutex_unlock(&e->m_Mutex);
}

bool plt_EventWait(plt_Event* e, long long milliseconds) {
  pthread_mutex_lock(&e->m_Mutex);
  bool ok = WaitLocked(e, milliseconds);
  pthread_mutex_unlock(&e->m_Mutex);
  return ok;
}

plt_EventMutex* plt_EventMutexCreate() {
  auto* m = static_cast<plt_EventMutex*>(mem_Malloc(sizeof(plt_EventMutex)));
  pthread_mutexattr_t a;
  pthread_mutexattr_init(&a);
  pthread_mutexattr_settype(&a, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_init(&m->m_Mutex, &a);
  pthread_mutexattr_destroy(&a);
  return m;
}

void plt_EventMutexDestroy(plt_EventMutex* m) {
  if (m == nullptr) return;
  pthread_mutex_destroy(&m->m_Mutex);
  mem_Free(m);
}

void plt_EventMutexLock(plt_EventMutex* m) { pthread_mutex_lock(&m->m_Mutex); }
void plt_EventMutexUnlock(plt_EventMutex* m) { pthread_mutex_unlock(&m->m_Mutex); }

bool plt_EventReleaseAndWait(plt_EventMutex* m, plt_Event* e, long long milliseconds) {
  // The event's own mutex is taken before m is dropped, so a pulser, who must
  // take it too, cannot pulse between the release and the start of the wait.
  pthread_mutex_lock(&e->m_Mutex);
  pthread_mutex_unlock(&m->m_Mutex);
  bool ok = WaitLocked(e, milliseconds);
  pthread_mutex_unlock(&e->m_Mutex);
  return ok;
}
