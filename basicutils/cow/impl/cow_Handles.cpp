#include "aio/aio_ostream.h"
#include "cow/cow_COW.h"
#include "cow/cow_IntrusiveCountedBase.h"

template class cow_CountedHld<int>;
template class cow_COW<int, cow_Direct<int>>;

void cow_IntrusiveCountedBase::SetCounter(cow_Counter* c) {
  if (m_Counter != nullptr && m_Counter != c) aio_cerr() << "ERROR: Resetting counter on cow_IntrusiveCountedBase\n";
  m_Counter = c;
}
