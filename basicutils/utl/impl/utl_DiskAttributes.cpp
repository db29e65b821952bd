#include "utl/utl_DiskAttributes.h"

#include "plt/plt_Error.h"
#include "plt/plt_FileSystem.h"

utl_DiskAttributes::utl_DiskAttributes(const cow_String& path) : m_Error(0), m_FreeBytes(0), m_TotalBytes(0) {
  plt_DiskSpace space = {};
  if (!plt_DiskSpaceOf(path.c_str(), &space)) {
    m_Error = plt_LastError();
    if (m_Error == 0) m_Error = plt_ErrFileNotFound();
    return;
  }
  m_FreeBytes = space.availableBytes;
  m_TotalBytes = space.totalBytes;
}

std::uint64_t utl_DiskAttributes::GetFreeDiskSpace(const cow_String& path) {
  return utl_DiskAttributes(path).FreeBytes();
}
