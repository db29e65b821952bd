#include "UTI_CoreUtils.h"
#include "thr/impl/thr_PoolInternal.h"
#include "thr/thr_Functions.h"
#include "thr/thr_GlobalLock.h"
#include "thr/thr_GlobalSingleton.h"
#include "thr/thr_LockPool.h"
#include "thr/thr_ThreadPool.h"
#include "thr/thr_ThreadSingleton.h"
#include "uti/UTI_BasicUtils.h"

namespace {
constinit unsigned g_Uses = 0;
constexpr int kWorkerGraceMs = 200;
}  // namespace

void thr_initialize(int& count) {
  if (!UTI_ModuleEnter(g_Uses, count, "thr")) return;
  omi_Singleton<thr_GlobalLock>::Instance();
  thr_installSignalHandler(true, true);
}

void thr_finalize(int& count) {
  if (!UTI_ModuleLeave(g_Uses, count, "thr")) return;
  // The pool first: its workers' tasks may use any other singleton.
  thr_GlobalSingletonBase<thr_ThreadPool>::Finalize();
  // Global singletons their owners left alive, newest first; the registry
  // stays for the calling thread's own objects.
  thr_GlobalSingletonCore::FinalizeAll(thr_GlobalSingletonBase<thr_ThrSingletonRegistry>::LinkOf());
  thr_ThreadSingletonBase<thr_ThreadId>::ReleaseCurrentThread();
  // A worker the pool did not wait for (keep-alive, error condition) still
  // finalizes its objects through the registry and the global lock when its
  // task ends. While one runs, these stay; the next thr_initialize finds them.
  if (!thr_WaitForWorkers(kWorkerGraceMs)) return;
  thr_GlobalSingletonBase<thr_ThrSingletonRegistry>::Finalize();
  omi_Singleton<thr_LockPool>::Destroy();
  thr_installSignalHandler(false, false);
  omi_Singleton<thr_GlobalLock>::Destroy();
}
