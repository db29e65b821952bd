#include "UTI_CoreUtils.h"
#include "rgx/rgx_ReCompileCache.h"
#include "uti/UTI_BasicUtils.h"

namespace {
constinit unsigned g_Uses = 0;
}

void rgx_initialize(int& count) {
  if (!UTI_ModuleEnter(g_Uses, count, "rgx")) return;
  thr_ThreadSingleton<rgx_ReCompileCache>::Instance();
}

void rgx_finalize(int& count) {
  if (!UTI_ModuleLeave(g_Uses, count, "rgx")) return;
  thr_ThreadSingletonBase<rgx_ReCompileCache>::ReleaseCurrentThread();
}
