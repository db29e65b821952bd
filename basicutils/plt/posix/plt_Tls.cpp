// POSIX implementation of plt_Tls.h: pthread keys, no destructor (the
// libraries release per-thread objects themselves, by destruct level).
#include "plt/plt_Tls.h"

#include <pthread.h>

int plt_TlsAlloc() {
  pthread_key_t key;
  if (pthread_key_create(&key, nullptr) != 0) return -1;
  return static_cast<int>(key);
}

void plt_TlsFree(int index) {
  if (index >= 0) pthread_key_delete(static_cast<pthread_key_t>(index));
}

void* plt_TlsGet(int index) { return pthread_getspecific(static_cast<pthread_key_t>(index)); }

void plt_TlsSet(int index, void* value) { pthread_setspecific(static_cast<pthread_key_t>(index), value); }
