#include "thr/thr_SynchedInt.h"

#include "plt/plt_Thread.h"

template class thr_AtomicType<int>;
template class thr_AtomicType<unsigned int>;
template class thr_AtomicType<double>;

int thr_SynchedInt::GetValue() const { return m_Value.load(std::memory_order_acquire); }

void thr_SynchedInt::SetValue(int value) { m_Value.store(value, std::memory_order_release); }

void thr_SynchedInt::WaitForValue(int value) const {
  while (m_Value.load(std::memory_order_acquire) != value) plt_SpinPause();
}
