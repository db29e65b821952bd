// utl_DiskAttributes: the space of the volume (disk, partition, mounted file
// system) that holds a path, taken when the object is made.
//
// Nothing here raises: when the system cannot answer (no such path, no
// permission) IsValid() is false, Error() has the system error code and the
// byte counts are 0.
#pragma once

#include <cstdint>

#include "VNKUTI_BasicExport.h"
#include "cow/cow_String.h"
#include "mem/mem_AllocationOperators.h"

class VNKUTI_BASIC_API utl_DiskAttributes : public mem_AllocationOperators {
 public:
  // path: any existing file or directory on the volume.
  explicit utl_DiskAttributes(const cow_String& path);

  bool IsValid() const { return m_Error == 0; }
  int Error() const { return m_Error; }
  // Free bytes this process may use (a reserve kept for the administrator
  // is not counted).
  std::uint64_t FreeBytes() const { return m_FreeBytes; }
  std::uint64_t TotalBytes() const { return m_TotalBytes; }

  // Free bytes usable on the volume that holds path; 0 when unknown.
  static std::uint64_t GetFreeDiskSpace(const cow_String& path);

 private:
  int m_Error;
  std::uint64_t m_FreeBytes;
  std::uint64_t m_TotalBytes;
};
