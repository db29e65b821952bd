// POSIX implementation of plt_Mutex.h: a recursive pthread mutex.
#include "plt/plt_Mutex.h"

#include <pthread.h>

#include <new>

#include "mem/mem_Alloc.h"

static_assert(sizeof(pthread_mutex_t) <= sizeof(plt_MutexStorage), "plt_MutexStorage too small");
static_assert(alignof(pthread_mutex_t) <= alignof(plt_MutexStorage), "plt_MutexStorage misaligned");

namespace {
pthread_mutex_t* Raw(plt_MutexStorage* m) { return reinterpret_cast<pthread_mutex_t*>(m->m_Bytes); }
}  // namespace

void plt_MutexInit(plt_MutexStorage* m) {
  pthread_mutexattr_t a;
  pthread_mutexattr_init(&a);
  pthread_mutexattr_settype(&a, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_init(new (m->m_Bytes) pthread_mutex_t, &a);
  pthread_mutexattr_destroy(&a);
}

void plt_MutexFini(plt_MutexStorage* m) { pthread_mutex_destroy(Raw(m)); }
void plt_MutexEnter(plt_MutexStorage* m) { pthread_mutex_lock(Raw(m)); }
bool plt_MutexTryEnter(plt_MutexStorage* m) { return pthread_mutex_trylock(Raw(m)) == 0; }
void plt_MutexLeave(plt_MutexStorage* m) { pthread_mutex_unlock(Raw(m)); }

struct plt_Mutex {
  plt_MutexStorage s;
};

plt_Mutex* plt_MutexCreate() {
  auto* p = static_cast<plt_Mutex*>(mem_OperatorNewTinyThrow(sizeof(plt_Mutex)));
  plt_MutexInit(&p->s);
  return p;
}

void plt_MutexDestroy(plt_Mutex* m) {
  if (!m) return;
  plt_MutexFini(&m->s);
  mem_Free(m);
}

void plt_MutexLock(plt_Mutex* m) { plt_MutexEnter(&m->s); }
bool plt_MutexTryLock(plt_Mutex* m) { return plt_MutexTryEnter(&m->s); }
void plt_MutexUnlock(plt_Mutex* m) { plt_MutexLeave(&m->s); }
