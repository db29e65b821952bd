#include "uti/UTI_BasicUtils.h"

#include "UTI_CoreUtils.h"

namespace {
constinit unsigned g_Uses = 0;
}

void UTI_BasicUtils_initialize(int& count) {
  if (!UTI_ModuleEnter(g_Uses, count, "BasicUtils")) return;
  UTI_CoreUtils_initialize(count);
  typ_initialize(count);
  thr_initialize(count);
  cam_initialize(count);
  pnt_initialize(count);
  mrm_initialize(count);
  bio_initialize(count);
  cow_initialize(count);
  cls_initialize(count);
  nex_initialize(count);
  rgx_initialize(count);
  pdc_initialize(count);
  utl_initialize(count);
  uti_initialize(count);
}

void UTI_BasicUtils_finalize(int& count) {
  if (!UTI_ModuleLeave(g_Uses, count, "BasicUtils")) return;
  uti_finalize(count);
  utl_finalize(count);
  pdc_finalize(count);
  rgx_finalize(count);
  nex_finalize(count);
  cls_finalize(count);
  cow_finalize(count);
  bio_finalize(count);
  mrm_finalize(count);
  pnt_finalize(count);
  cam_finalize(count);
  thr_finalize(count);
  typ_finalize(count);
  UTI_CoreUtils_finalize(count);
}

void uti_formalize() {}
