#include "thr/thr_CondVar.h"

#include "plt/plt_Event.h"

namespace {
// A wait's limit for the platform: none unless positive.
long long Limit(long long milliseconds) { return milliseconds > 0 ? milliseconds : -1; }
}  // namespace

// ================================================================ pulsing

thr_CondVar::thr_CondVar() : m_Event(plt_EventCreate(false)), m_Mutex(plt_EventMutexCreate()) {}

thr_CondVar::~thr_CondVar() {
  plt_EventMutexDestroy(m_Mutex);
  plt_EventDestroy(m_Event);
}

void thr_CondVar::Lock() { plt_EventMutexLock(m_Mutex); }
void thr_CondVar::Unlock() { plt_EventMutexUnlock(m_Mutex); }

void thr_CondVar::WaitForSignal(int seconds) {
  plt_EventReleaseAndWait(m_Mutex, m_Event, Limit(seconds * 1000LL));
  plt_EventMutexLock(m_Mutex);
}

void thr_CondVar::WaitForSignalMs(int milliseconds) {
  plt_EventReleaseAndWait(m_Mutex, m_Event, Limit(milliseconds));
  plt_EventMutexLock(m_Mutex);
}

void thr_CondVar::Signal() { plt_EventPulse(m_Event); }

// ================================================================= sticky

thr_EliCondVar::thr_EliCondVar() : m_Event(plt_EventCreate(false)) {}
thr_EliCondVar::~thr_EliCondVar() { plt_EventDestroy(m_Event); }
void thr_EliCondVar::WaitForSignal(int seconds) { plt_EventWait(m_Event, Limit(seconds * 1000LL)); }
void thr_EliCondVar::Signal() { plt_EventSet(m_Event); }
void thr_EliCondVar::ResetSignal() { plt_EventReset(m_Event); }
