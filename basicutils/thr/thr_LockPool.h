// thr_LockPool: reusable locks handed out by number.
//
// GetLock() hands out the lock of the lowest free slot, growing the pool by
// ten slots (and ten new locks) when every slot is taken; ReturnLock() gives
// a lock back. Locks live as long as the pool, which thr_finalize destroys.
// Reach the pool through thr_LockPool::Instance(), which creates it under
// the global lock on first use.
#pragma once

#include "VNKUTI_BasicExport.h"
#include "mem/mem_AllocationOperators.h"
#include "omi/omi_Singleton.h"

class thr_Mutex;

class VNKUTI_BASIC_API thr_PoolLock : public mem_AllocationOperators {
 public:
  explicit thr_PoolLock(int index);
  ~thr_PoolLock();
  thr_PoolLock(const thr_PoolLock&) = delete;
  thr_PoolLock& operator=(const thr_PoolLock&) = delete;

  void Lock();
  void Unlock();
  int Index() const { return m_Index; }

 private:
  int m_Index;
  thr_Mutex* m_Mutex;
};

class VNKUTI_BASIC_API thr_LockPool : public mem_AllocationOperators {
 public:
  thr_LockPool();
  ~thr_LockPool();
  thr_LockPool(const thr_LockPool&) = delete;
  thr_LockPool& operator=(const thr_LockPool&) = delete;

  static thr_LockPool& Instance();

  thr_PoolLock* GetLock();
  // Clears the lock's busy flag. A lock that is not this pool's, or not
  // handed out, is ignored.
  void ReturnLock(thr_PoolLock* lock);

  int Capacity() const;
  int InUse() const;

 private:
  void Grow();

  int m_Capacity;
  int m_InUse;
  thr_PoolLock** m_Locks;
  unsigned char* m_Busy;
  int m_SearchStart;
  thr_Mutex* m_Guard;
};

extern template class VNKUTI_BASIC_API omi_Singleton<thr_LockPool>;
