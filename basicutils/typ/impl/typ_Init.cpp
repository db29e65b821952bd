#include "UTI_CoreUtils.h"
#include "mem/mem_Alloc.h"
#include "typ/typ_ArchCompTable.h"
#include "typ/typ_DebugFlags.h"
#include "uti/UTI_BasicUtils.h"

namespace {
constinit unsigned g_Uses = 0;
}

void typ_initialize(int& count) {
  if (!UTI_ModuleEnter(g_Uses, count, "typ")) return;
  typ_ArchCompTable::Create();
  typ_DebugFlags::Initialize();
  mem_formalize();
}

void typ_finalize(int& count) {
  if (!UTI_ModuleLeave(g_Uses, count, "typ")) return;
  typ_ArchCompTable::Destroy();
  typ_DebugFlags::Finalize();
}
