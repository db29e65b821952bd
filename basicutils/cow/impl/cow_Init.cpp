#include "UTI_CoreUtils.h"
#include "uti/UTI_BasicUtils.h"

namespace {
constinit unsigned g_Uses = 0;
}

void cow_initialize(int& count) {
  if (!UTI_ModuleEnter(g_Uses, count, "cow")) return;
}

void cow_finalize(int& count) {
  if (!UTI_ModuleLeave(g_Uses, count, "cow")) return;
}
