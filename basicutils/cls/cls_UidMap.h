// cow_Map<cow_String, cls_Uid>: object identities by name, compiled once in
// the library.
//
// A map answers a shared default value for a missing key. For identities
// that default is the empty uid: a default cls_Uid would take a catalog
// entry, and the static that holds the default outlives the catalog, which
// thr_finalize destroys. Include this header wherever such a map is used.
#pragma once

#include "VNKUTI_BasicExport.h"
#include "cls/cls_Uid.h"
#include "cow/cow_Map.h"

template <>
struct cow_MapMissingValue<cls_Uid> {
  static const cls_Uid& Get() {
    static const cls_Uid empty(static_cast<cls_UidCatalogEntry*>(nullptr));
    return empty;
  }
};

COW_MAP_EXTERN_TEMPLATES(cow_String, cls_Uid)
