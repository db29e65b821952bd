// POSIX implementation of plt_Mutex.h: a recursive pthread mutex.
#include "plt/plt_Mutex.h"

#include <pthread.h>

#include <new>

#include "mem/mem_Alloc.h"

struct plt_Mutex {
  pthread_mutex_t m;
};

plt_Mutex* plt_MutexCreate() {
  auto* p = static_cast<plt_Mutex*>(mem_OperatorNewTinyThrow(sizeof(plt_Mutex)));
  pthread_mutexattr_t a;
  pthread_mutexattr_init(&a);
  pthread_mutexattr_settype(&a, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_init(&p->m, &a);
  pthread_mutexattr_destroy(&a);
  return p;
}

void plt_MutexDestroy(plt_Mutex* m) {
  if (!m) return;
  pthread_mutex_destroy(&m->m);
  mem_Free(m);
}

void plt_MutexLock(plt_Mutex* m) { pthread_mutex_lock(&m->m); }
bool plt_MutexTryLock(plt_Mutex* m) { return pthread_mutex_trylock(&m->m) == 0; }
void plt_MutexUnlock(plt_Mutex* m) { pthread_mutex_unlock(&m->m); }
