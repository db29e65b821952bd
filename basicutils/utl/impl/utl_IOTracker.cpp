#include "utl/utl_IOTracker.h"

#include "mem/mem_Alloc.h"
#include "thr/thr_GlobalSingleton.h"
#include "thr/thr_Mutex.h"
#include "utl/impl/utl_IOTrackerHook.h"

template class thr_GlobalSingletonBase<utl_IOTracker_Container>;
template class thr_GlobalSingleton<utl_IOTracker_Container>;

namespace {

// Holds the container's mutex for a scope.
class Locked {
 public:
  explicit Locked(thr_Mutex* m) : m_Mutex(m) { m_Mutex->Lock(); }
  ~Locked() { m_Mutex->Unlock(); }
  Locked(const Locked&) = delete;
  Locked& operator=(const Locked&) = delete;

 private:
  thr_Mutex* m_Mutex;
};

}  // namespace

// =============================================================== container

utl_IOTracker_Container::utl_IOTracker_Container()
    : m_Mutex(new thr_Mutex(0)), m_Trackers(nullptr), m_Count(0), m_Capacity(0) {}

utl_IOTracker_Container::~utl_IOTracker_Container() {
  mem_Free(m_Trackers);
  delete m_Mutex;
}

void utl_IOTracker_Container::Register(utl_IOTracker* tracker) {
  Locked hold(m_Mutex);
  if (m_Count == m_Capacity) {
    int grown = m_Capacity == 0 ? 8 : m_Capacity * 2;
    m_Trackers = static_cast<utl_IOTracker**>(mem_Realloc(m_Trackers, sizeof(utl_IOTracker*) * grown));
    m_Capacity = grown;
  }
  m_Trackers[m_Count++] = tracker;
}

void utl_IOTracker_Container::Unregister(utl_IOTracker* tracker) {
  Locked hold(m_Mutex);
  for (int i = m_Count - 1; i >= 0; --i) {
    if (m_Trackers[i] != tracker) continue;
    for (int j = i + 1; j < m_Count; ++j) m_Trackers[j - 1] = m_Trackers[j];
    --m_Count;
    return;
  }
}

int utl_IOTracker_Container::Count() const {
  Locked hold(m_Mutex);
  return m_Count;
}

long long utl_IOTracker_Container::TotalBytesRead() const {
  Locked hold(m_Mutex);
  long long sum = 0;
  for (int i = 0; i < m_Count; ++i) sum += m_Trackers[i]->BytesRead();
  return sum;
}

long long utl_IOTracker_Container::TotalBytesWritten() const {
  Locked hold(m_Mutex);
  long long sum = 0;
  for (int i = 0; i < m_Count; ++i) sum += m_Trackers[i]->BytesWritten();
  return sum;
}

utl_IOTracker_Container& utl_IOTracker_Container::Instance() {
  return thr_GlobalSingleton<utl_IOTracker_Container>::Instance();
}

utl_IOTracker_Container* utl_IOTracker_Container::Peek() {
  return thr_GlobalSingletonBase<utl_IOTracker_Container>::Instance();
}

void utl_IOTracker_Container::Finalize() { thr_GlobalSingletonBase<utl_IOTracker_Container>::Finalize(); }

void utl_ioTrackerContainerTouch() { (void)thr_GlobalSingleton<utl_IOTracker_Container>::Instance(); }

// ================================================================= tracker

utl_IOTracker::utl_IOTracker(const cow_String& name) : m_Name(name) { Container::Instance().Register(this); }

utl_IOTracker::~utl_IOTracker() {
  // The container may have gone with utl_finalize before a late tracker.
  if (Container* c = Container::Peek()) c->Unregister(this);
}
