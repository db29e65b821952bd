#include "thr/thr_Mutex.h"

#include "plt/impl/plt_MutexFast.h"
#include "thr/thr_GlobalLock.h"

namespace {
static_assert(sizeof(plt_MutexStorage) == 48 && alignof(plt_MutexStorage) == 8,
              "thr_Mutex::m_Section must match plt_MutexStorage");
inline plt_MutexStorage* Section(unsigned char* bytes) { return reinterpret_cast<plt_MutexStorage*>(bytes); }
}  // namespace

thr_Mutex::thr_Mutex(unsigned int initial) : m_Locked(initial) { plt_MutexInit(Section(m_Section)); }

thr_Mutex::~thr_Mutex() { plt_MutexFini(Section(m_Section)); }

void thr_Mutex::Lock() {
  plt_MutexEnterFast(Section(m_Section));
  m_Locked.store(1, std::memory_order_relaxed);
}

void thr_Mutex::Unlock() {
  m_Locked.store(0, std::memory_order_relaxed);
  plt_MutexLeaveFast(Section(m_Section));
}

int thr_Mutex::TryLock() {
  if (m_Locked.load(std::memory_order_relaxed) == 1) return 0;
  if (!plt_MutexTryEnterFast(Section(m_Section))) return 0;
  m_Locked.store(1, std::memory_order_relaxed);
  return 1;
}

// ------------------------------------------------------------ global lock

template class omi_Singleton<thr_GlobalLock>;

thr_GlobalLock::thr_GlobalLock() : m_Mutex(new thr_Mutex(0)) {}
thr_GlobalLock::~thr_GlobalLock() { delete m_Mutex; }
void thr_GlobalLock::Lock() { m_Mutex->Lock(); }
void thr_GlobalLock::Unlock() { m_Mutex->Unlock(); }
