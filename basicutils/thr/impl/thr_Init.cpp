#include "UTI_CoreUtils.h"
#include "thr/thr_GlobalLock.h"
#include "uti/UTI_BasicUtils.h"

namespace {
constinit unsigned g_Uses = 0;
}

void thr_initialize(int& count) {
  if (!UTI_ModuleEnter(g_Uses, count, "thr")) return;
  omi_Singleton<thr_GlobalLock>::Instance();
}

void thr_finalize(int& count) {
  if (!UTI_ModuleLeave(g_Uses, count, "thr")) return;
  omi_Singleton<thr_GlobalLock>::Destroy();
}
