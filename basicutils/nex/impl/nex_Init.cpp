#include "UTI_CoreUtils.h"
#include "nex/nex_TypeTable.h"
#include "uti/UTI_BasicUtils.h"

namespace {
constinit unsigned g_Uses = 0;
}

void nex_initialize(int& count) {
  if (!UTI_ModuleEnter(g_Uses, count, "nex")) return;
  nex_TypeTable::Create();
}

void nex_finalize(int& count) {
  if (!UTI_ModuleLeave(g_Uses, count, "nex")) return;
  nex_TypeTable::Destroy();
}
