#include "thr/thr_LockPool.h"

#include "mem/mem_Alloc.h"
#include "thr/thr_GlobalLock.h"
#include "thr/thr_Mutex.h"

template class omi_Singleton<thr_LockPool>;

namespace {
constexpr int kGrowth = 10;
}

// ================================================================ one lock

thr_PoolLock::thr_PoolLock(int index) : m_Index(index), m_Mutex(new thr_Mutex(0)) {}
thr_PoolLock::~thr_PoolLock() { delete m_Mutex; }
void thr_PoolLock::Lock() { m_Mutex->Lock(); }
void thr_PoolLock::Unlock() { m_Mutex->Unlock(); }

// ================================================================ the pool

thr_LockPool::thr_LockPool()
    : m_Capacity(0), m_InUse(0), m_Locks(nullptr), m_Busy(nullptr), m_SearchStart(0), m_Guard(new thr_Mutex(0)) {}

thr_LockPool::~thr_LockPool() {
  for (int i = 0; i < m_Capacity; ++i) delete m_Locks[i];
  mem_Free(m_Locks);
  mem_Free(m_Busy);
  delete m_Guard;
}

thr_LockPool& thr_LockPool::Instance() {
  if (thr_LockPool* p = omi_Singleton<thr_LockPool>::Peek()) return *p;
  // omi_Singleton does not lock; its first use here may come from any thread.
  thr_GlobalLockGuard guard;
  return omi_Singleton<thr_LockPool>::Instance();
}

void thr_LockPool::Grow() {
  const int capacity = m_Capacity + kGrowth;
  auto** locks = static_cast<thr_PoolLock**>(mem_OperatorNewThrow(capacity * sizeof(thr_PoolLock*)));
  unsigned char* busy;
  try {
    busy = static_cast<unsigned char*>(mem_OperatorNewThrow(capacity));
  } catch (...) {
    mem_Free(locks);
    throw;
  }
  int made = m_Capacity;
  try {
    for (; made < capacity; ++made) locks[made] = new thr_PoolLock(made);
  } catch (...) {
    for (int i = m_Capacity; i < made; ++i) delete locks[i];
    mem_Free(locks);
    mem_Free(busy);
    throw;
  }
  for (int i = 0; i < m_Capacity; ++i) {
    locks[i] = m_Locks[i];
    busy[i] = m_Busy[i];
  }
  for (int i = m_Capacity; i < capacity; ++i) busy[i] = 0;
  mem_Free(m_Locks);
  mem_Free(m_Busy);
  m_Locks = locks;
  m_Busy = busy;
  m_Capacity = capacity;
}

thr_PoolLock* thr_LockPool::GetLock() {
  m_Guard->Lock();
  try {
    if (m_InUse >= m_Capacity) Grow();
  } catch (...) {
    m_Guard->Unlock();
    throw;
  }
  int found = -1;
  for (int i = m_SearchStart; i < m_Capacity && found < 0; ++i)
    if (!m_Busy[i]) found = i;
  for (int i = 0; i < m_SearchStart && found < 0; ++i)
    if (!m_Busy[i]) found = i;
  m_Busy[found] = 1;
  ++m_InUse;
  thr_PoolLock* lock = m_Locks[found];
  m_Guard->Unlock();
  return lock;
}

void thr_LockPool::ReturnLock(thr_PoolLock* lock) {
  if (lock == nullptr) return;
  m_Guard->Lock();
  const int i = lock->Index();
  if (i >= 0 && i < m_Capacity && m_Locks[i] == lock && m_Busy[i]) {
    m_Busy[i] = 0;
    --m_InUse;
  }
  m_Guard->Unlock();
}

int thr_LockPool::Capacity() const {
  m_Guard->Lock();
  int n = m_Capacity;
  m_Guard->Unlock();
  return n;
}

int thr_LockPool::InUse() const {
  m_Guard->Lock();
  int n = m_InUse;
  m_Guard->Unlock();
  return n;
}
