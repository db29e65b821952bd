#include "UTI_CoreUtils.h"
#include "typ/typ_ArchCompTable.h"
#include "uti/UTI_BasicUtils.h"

namespace {
constinit unsigned g_Uses = 0;

// The module's persistent classes in the type table, class number k at
// index k - 1. None has a persistent base.
constexpr unsigned kRoot = 1;
constexpr typ_Entry kCowEntries[] = {
    {kRoot, "cow_String", 4},     {kRoot, "cow_List", 4},       {kRoot, "cow_Map", 4},
    {kRoot, "cow_Btree", 4},      {kRoot, "cow_FixedArray", 4}, {kRoot, "cow_2DArray", 4},
};
constexpr unsigned short kCowModule = 26;
}  // namespace

void cow_initialize(int& count) {
  if (!UTI_ModuleEnter(g_Uses, count, "cow")) return;
  typ_ArchCompEntry e;
  e.m_Entries = kCowEntries;
  e.m_Count = sizeof(kCowEntries) / sizeof(kCowEntries[0]);
  typ_ArchCompTable::InsertEntry(kCowModule, e);
}

void cow_finalize(int& count) {
  if (!UTI_ModuleLeave(g_Uses, count, "cow")) return;
}
