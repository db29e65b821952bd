// utl_Stat: the status of one path in the file system, taken when the object
// is made (and again by Refresh). Whether the path exists, what it is, its
// size and modification time. The access tests (IsReadable, IsWritable,
// IsExecutable) ask the system at each call, for the calling process.
//
// Nothing here raises: a path without status (missing, or a directory on the
// way that may not be searched) answers Exists() false, and Error() gives the
// system error code (ENOENT when nothing is there).
//
// Symbolic links are followed unless the object is made with followLinks
// false; a dangling link then does not exist.
//
// Threads: no lock; one object is used by one thread at a time.
#pragma once

#include "VNKUTI_BasicExport.h"
#include "cow/cow_String.h"
#include "mem/mem_AllocationOperators.h"

class VNKUTI_BASIC_API utl_Stat : public mem_AllocationOperators {
 public:
  explicit utl_Stat(const cow_String& path, bool followLinks = true);

  // Takes the status again.
  void Refresh();

  // ------------------------------------------------------------ snapshot
  const cow_String& Path() const { return m_Path; }
  bool Exists() const { return m_Error == 0; }
  int Error() const { return m_Error; }  // 0 when the status was taken
  bool IsDirectory() const { return Exists() && m_IsDirectory; }
  bool IsRegularFile() const { return Exists() && m_IsRegularFile; }
  bool IsSymbolicLink() const { return Exists() && m_IsSymbolicLink; }  // followLinks false only
  long long Size() const { return Exists() ? m_Size : 0; }                // bytes
  long long ModificationTime() const { return Exists() ? m_ModificationTime : 0; }  // seconds since 1970

  // ------------------------------------------------------ access (now)
  bool IsReadable() const;
  bool IsWritable() const;
  // A file other than a directory that this process may run. On POSIX that
  // is the execute permission; no name suffix is involved.
  bool IsExecutable() const;

 private:
  cow_String m_Path;
  bool m_FollowLinks;
  int m_Error;
  bool m_IsDirectory;
  bool m_IsRegularFile;
  bool m_IsSymbolicLink;
  long long m_Size;
  long long m_ModificationTime;
};
