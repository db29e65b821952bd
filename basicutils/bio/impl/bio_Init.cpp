#include "UTI_CoreUtils.h"
#include "uti/UTI_BasicUtils.h"

namespace {
constinit unsigned g_Uses = 0;
}

void bio_initialize(int& count) {
  if (!UTI_ModuleEnter(g_Uses, count, "bio")) return;
}

void bio_finalize(int& count) {
  if (!UTI_ModuleLeave(g_Uses, count, "bio")) return;
}
