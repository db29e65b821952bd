// typ_DebugFlags: debug levels per facility, set from the "error" command-line
// option and read by diagnostics (the spawn log reads facility 2, "spawn").
//
// Facilities have a name and a number; facNames lists them and ends at a null
// name. Levels start at 0 (silent). Set levels during start-up; reading them
// from any thread afterwards is safe.
#pragma once

#include "VNKUTI_BasicExport.h"

class VNKUTI_BASIC_API typ_DebugFlags {
 public:
  struct FacName {
    const char* m_Name;
    int m_Number;
  };
  static constexpr int MaxFacility = 256;

  // The facility table, made by typ_initialize; null before and after.
  static const FacName* facNames;

  // Sets the named facility to level; false when no facility has the name.
  static bool SetDebugFlags(const char* name, int level);
  static void SetLevel(int facility, int level);
  static int GetLevel(int facility);
  static int GetLevel(const char* name);  // 0 for an unknown name
  static int FacilityNumber(const char* name);  // -1 for an unknown name
  static void ResetAll();

  static void Initialize();  // typ_initialize
  static void Finalize();
};
