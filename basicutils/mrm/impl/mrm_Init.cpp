#include "UTI_CoreUtils.h"
#include "mrm/mrm_Manager.h"
#include "uti/UTI_BasicUtils.h"

namespace {
constinit unsigned g_Uses = 0;

atr_String WithPeak(const char* what, const mrm_Label& l) {
  atr_String s(what);
  s.append(l.m_Name).append(": ").append(atr_String(l.m_Bytes)).append(" bytes (peak ");
  s.append(atr_String(l.m_Peak)).append(" bytes)");
  return s;
}

atr_String PrintPool(const mrm_Label& l) { return WithPeak("pool ", l); }
atr_String PrintCache(const mrm_Label& l) { return WithPeak("cache ", l); }
atr_String PrintPhase(const mrm_Label& l) { return WithPeak("phase ", l); }
atr_String PrintPlain(const mrm_Label& l) {
  return atr_String(l.m_Name).append(": ").append(atr_String(l.m_Bytes)).append(" bytes");
}
}  // namespace

void mrm_initialize(int& count) {
  if (!UTI_ModuleEnter(g_Uses, count, "mrm")) return;
  mrm_Manager& m = mrm_Manager::Instance();
  m.RegisterLabelPrinter(mrm_LabelPool, &PrintPool);
  m.RegisterLabelPrinter(mrm_LabelCache, &PrintCache);
  m.RegisterLabelPrinter(mrm_LabelPhase, &PrintPhase);
  m.RegisterLabelPrinter(mrm_LabelPlain, &PrintPlain);
}

void mrm_finalize(int& count) {
  if (!UTI_ModuleLeave(g_Uses, count, "mrm")) return;
  mrm_Manager::Destroy();
}
