// utl_FileReplace: gives a file new content whole or not at all.
//
// The new bytes are written to a staging file beside the target, its path +
// "." + process id + ".new", through File(). Commit() closes the staging file
// and renames it over the target in one step, so that a reader sees the old
// content or the new one, never a part. Without Commit (an exception on its
// way, an early return) the destructor deletes the staging file and the
// target stays as it was; a missing target stays missing.
//
// A target that is not a plain file, or is reached through a symbolic link
// (a device such as /dev/null, a pipe, a link), is written directly: a
// rename would put a new file in the place of the device or the link. Such
// a target gets the bytes as they come, and keeps those written before a
// failure.
//
// Commit makes the new content visible; it does not force it to storage.
// Call File().Flush() before Commit when a system crash must not lose it.
// The target's permissions and links are not carried over: it becomes a new
// file of the staging file's making.
//
// Errors: the staging file's own utl_File exceptions; a failed rename raises
// utl_FileExceptionWrite with the label "rename" and the target's name (the
// staging file is deleted first).
//
// Threads: no lock; one object is used by one thread at a time.
#pragma once

#include "VNKUTI_BasicExport.h"
#include "cow/cow_String.h"
#include "mem/mem_AllocationOperators.h"
#include "utl/utl_File.h"

class VNKUTI_BASIC_API utl_FileReplace : public mem_AllocationOperators {
 public:
  // Names the staging file; nothing is created before the first write.
  explicit utl_FileReplace(const cow_String& path);
  // Deletes the staging file unless Commit has renamed it.
  ~utl_FileReplace();
  utl_FileReplace(const utl_FileReplace&) = delete;
  utl_FileReplace& operator=(const utl_FileReplace&) = delete;

  // The staging file, opened for writing (created, or emptied) on first use.
  utl_File& File();
  // Closes the staging file and renames it over the target (see above). An
  // object whose File() was never used commits an empty file.
  void Commit();

  const cow_String& Path() const { return m_Path; }
  // The file File() writes: the staging file, or the target itself when it
  // is written directly.
  const cow_String& StagingPath() const { return m_StagingPath; }
  bool IsDirect() const { return m_StagingPath == m_Path; }

 private:
  cow_String m_Path;
  cow_String m_StagingPath;
  utl_File* m_File;  // null once committed
};
