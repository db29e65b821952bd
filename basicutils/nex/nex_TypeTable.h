// The exception module's process-wide objects: its type-table entry, the two
// out-of-memory advice texts and the allocator's exhaustion handler. Made by
// nex_initialize and released by nex_finalize; not for direct use.
#pragma once

#include "VNKUTI_BasicExport.h"

class VNKUTI_BASIC_API nex_TypeTable {
 public:
  static void Create();
  static void Destroy();
  // The persistent side (nex/impl/nex_Persist.cpp): the class registry's
  // failure hooks, and the registration of the nine exception classes.
  static void InstallRegistryHooks();
  static void RegisterPersistentClasses();
};
