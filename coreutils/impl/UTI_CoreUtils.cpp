#include "UTI_CoreUtils.h"

#include "atr/atr_Translate.h"
#include "mem/mem_Alloc.h"

namespace {
constinit unsigned g_Uses = 0;
constinit UTI_ModuleTraceHook g_Trace = nullptr;
}  // namespace

bool UTI_ModuleEnter(unsigned& counter, int& count, const char* module) {
  unsigned was = counter;
  counter = was + 1;
  if (was != 0) {
    if (g_Trace) g_Trace(module, UTI_InitCounts);
    return false;
  }
  ++count;
  if (g_Trace) g_Trace(module, UTI_InitActs);
  return true;
}

bool UTI_ModuleLeave(unsigned& counter, int& count, const char* module) {
  unsigned was = counter;
  counter = was - 1;
  if (was != 1) {
    if (g_Trace) g_Trace(module, UTI_FiniCounts);
    return false;
  }
  --count;
  if (g_Trace) g_Trace(module, UTI_FiniActs);
  return true;
}

UTI_ModuleTraceHook UTI_SetModuleTraceHook(UTI_ModuleTraceHook hook) {
  UTI_ModuleTraceHook old = g_Trace;
  g_Trace = hook;
  return old;
}

void UTI_CoreUtils_initialize(int& count) {
  if (!UTI_ModuleEnter(g_Uses, count, "CoreUtils")) return;
  mem_formalize();
}

void UTI_CoreUtils_finalize(int& count) {
  if (!UTI_ModuleLeave(g_Uses, count, "CoreUtils")) return;
  atr_clearTranslationCatalog();
}
