#include "utl/utl_Stat.h"

#include "plt/plt_Error.h"
#include "plt/plt_FileSystem.h"

utl_Stat::utl_Stat(const cow_String& path, bool followLinks) : m_Path(path), m_FollowLinks(followLinks) { Refresh(); }

void utl_Stat::Refresh() {
  plt_PathStatus st = {};
  if (plt_PathStat(m_Path.c_str(), m_FollowLinks, &st)) {
    m_Error = 0;
  } else {
    m_Error = plt_LastError();
    // A failure that left no code behind still means "no status".
    if (m_Error == 0) m_Error = plt_ErrFileNotFound();
  }
  m_IsDirectory = st.isDirectory;
  m_IsRegularFile = st.isRegularFile;
  m_IsSymbolicLink = st.isSymbolicLink;
  m_Size = st.size;
  m_ModificationTime = st.modificationTime;
}

bool utl_Stat::IsReadable() const { return plt_PathAccess(m_Path.c_str(), plt_PathReadable); }

bool utl_Stat::IsWritable() const { return plt_PathAccess(m_Path.c_str(), plt_PathWritable); }

bool utl_Stat::IsExecutable() const {
  // Execute permission on a directory means "may be searched", not "may run".
  if (!Exists() || m_IsDirectory) return false;
  return plt_PathAccess(m_Path.c_str(), plt_PathExecutable);
}
