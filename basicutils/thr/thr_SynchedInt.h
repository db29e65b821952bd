// thr_SynchedInt: an int that threads publish with SetValue and wait for
// with WaitForValue.
//
// SetValue orders every earlier write before the new value (release);
// GetValue and WaitForValue order every later read after it (acquire). So a
// thread that sees a value also sees what the setter wrote before setting
// it. WaitForValue spins and never sleeps; it returns at once when the value
// already matches.
//
// thr_AtomicType<T> (int, unsigned int, double): a value that may be stored
// and read by any thread without a lock (one aligned store, one load; no
// read-modify-write), plus a mutex of its own for callers that need one
// around a longer step. Copying makes a new, unlocked mutex.
#pragma once

#include <atomic>

#include "VNKUTI_BasicExport.h"
#include "mem/mem_AllocationOperators.h"
#include "thr/thr_Mutex.h"

class VNKUTI_BASIC_API thr_SynchedInt : public mem_AllocationOperators {
 public:
  explicit thr_SynchedInt(int value = 0) : m_Value(value) {}
  thr_SynchedInt(const thr_SynchedInt&) = delete;
  thr_SynchedInt& operator=(const thr_SynchedInt&) = delete;

  int GetValue() const;
  void SetValue(int value);
  void WaitForValue(int value) const;

 private:
  std::atomic<int> m_Value;
};

template <class T>
class thr_AtomicType : public mem_AllocationOperators {
 public:
  explicit thr_AtomicType(T value = T()) : m_Mutex(0), m_Value(value) {}
  thr_AtomicType(const thr_AtomicType& other) : m_Mutex(0), m_Value(other.Get()) {}
  // Neither assignment takes the mutex.
  thr_AtomicType& operator=(T value) {
    m_Value.store(value, std::memory_order_relaxed);
    return *this;
  }
  thr_AtomicType& operator=(const thr_AtomicType& other) {
    m_Value.store(other.Get(), std::memory_order_relaxed);
    return *this;
  }

  T Get() const { return m_Value.load(std::memory_order_relaxed); }
  operator T() const { return Get(); }

  void Lock() { m_Mutex.Lock(); }
  void Unlock() { m_Mutex.Unlock(); }

 private:
  thr_Mutex m_Mutex;
  std::atomic<T> m_Value;
};

extern template class VNKUTI_BASIC_API thr_AtomicType<int>;
extern template class VNKUTI_BASIC_API thr_AtomicType<unsigned int>;
extern template class VNKUTI_BASIC_API thr_AtomicType<double>;
