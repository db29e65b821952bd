// utl_Version: the version record of this library.
//
// Major, minor and patch numbers and their text "major.minor.patch", fixed
// when the library is built. The record is made on first use of Get() and
// destroyed by utl_finalize; references to it are valid until then.
#pragma once

#include "VNKUTI_BasicExport.h"
#include "atr/atr_String.h"
#include "mem/mem_AllocationOperators.h"

class VNKUTI_BASIC_API utl_Version : public mem_AllocationOperators {
 public:
  static const utl_Version& Get();
  static bool Exists();  // whether Get() has made the record since utl_initialize
  static void Destroy();  // utl_finalize

  int Major() const { return m_Major; }
  int Minor() const { return m_Minor; }
  int Patch() const { return m_Patch; }
  const atr_String& Text() const { return m_Text; }

  utl_Version(int major, int minor, int patch);
  ~utl_Version();
  utl_Version(const utl_Version&) = delete;
  utl_Version& operator=(const utl_Version&) = delete;

 private:
  int m_Major;
  int m_Minor;
  int m_Patch;
  atr_String m_Text;
};
