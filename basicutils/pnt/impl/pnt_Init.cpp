#include "UTI_CoreUtils.h"
#include "pnt/impl/pnt_Internal.h"
#include "uti/UTI_BasicUtils.h"

namespace {
constinit unsigned g_Uses = 0;
}

// The debug printer is made on first use, not here.
void pnt_initialize(int& count) {
  if (!UTI_ModuleEnter(g_Uses, count, "pnt")) return;
}

void pnt_finalize(int& count) {
  if (!UTI_ModuleLeave(g_Uses, count, "pnt")) return;
  pnt_internal::DestroyDebugPrint();
}
