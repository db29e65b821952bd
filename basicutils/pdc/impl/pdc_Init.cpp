#include "UTI_CoreUtils.h"
#include "cls/cls_ArrayPrim.h"
#include "cls/cls_ClassRegistrar.h"
#include "cls/cls_xpTypes.h"
#include "uti/UTI_BasicUtils.h"

namespace {
constinit unsigned g_Uses = 0;
}

// The stored forms of the primitive arrays and exchange types are
// registered here, once the registry and the exception hooks are up, so that
// a stored object of any of them can be rebuilt by its class ID and printed
// with its class name.
void pdc_initialize(int& count) {
  if (!UTI_ModuleEnter(g_Uses, count, "pdc")) return;
  cls_MetadataRegistrar& m = omi_Singleton<cls_MetadataRegistrar>::Instance();
  m.initClassMetadata(&cls_ArrayPrimMetadata::InitializeInternalList, 2);
  m.initClassMetadata(&cls_ArrayPrimMetadata::InitializeSimpleArray, 2);
  m.initClassMetadata(&cls_ArrayPrimMetadata::Initialize2dArray, 2);
  m.initClassMetadata(&cls_xpBtreeString2Uint::InitializeMetadata, 2);
  m.initClassMetadata(&cls_xpMapMetadata::InitializeMetadata, 2);
  m.initClassMetadata(&cls_xoMap<cow_String, cls_xp1DArrayListFloat>::InitializeMetadata, 2);
}

void pdc_finalize(int& count) {
  if (!UTI_ModuleLeave(g_Uses, count, "pdc")) return;
}
