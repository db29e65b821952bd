// utl_File: one operating-system file, addressed with 64-bit offsets.
//
// The file opens lazily: every operation first runs Init(), which opens it
// with the stored name, access and sharing if that has not happened yet. A
// failed open leaves the object unopened, so the next operation tries again.
// Open() on an object that is already open only replaces the stored name,
// access and sharing (later messages name the new file); the handle stays.
//
// Every failure raises one of the utl_FileException... classes below, whose
// text names the operation's label, the system's error text and the file.
// Writes, flushes and extensions of a file opened for reading are refused.
// After a failed operation the object is unchanged and may be used again.
//
// Sharing: what other opens of the same file (in this or another process)
// may do while this one lasts; an open that conflicts with an earlier one
// fails with the system's sharing-violation error:
//   access read:          ShareRead -> others may read; ShareReadWrite or
//                         ShareDefault -> others may read and write
//   access update, write: ShareRead or ShareDefault -> others may read;
//                         ShareReadWrite -> others may read and write
//
// Threads: no lock; one object is used by one thread at a time. The object
// owns its handle and is not copied.
#pragma once

#include <cstdint>

#include "VNKUTI_BasicExport.h"
#include "cow/cow_String.h"
#include "mem/mem_AllocationOperators.h"
#include "nex/nex_Exception.h"
#include "utl/utl_FileOffset.h"
#include "utl/utl_TypeIds.h"

enum utl_FileAccess : int {
  utl_FileRead = 0,    // existing file, read only
  utl_FileUpdate = 1,  // existing file, read and write
  utl_FileWrite = 2,   // created, or truncated to 0 bytes; read and write
};

enum utl_FileSharing : int {
  utl_ShareDefault = 0,
  utl_ShareRead = 1,
  utl_ShareReadWrite = 2,
};

// The operating system's handle of an open file, as the platform layer gives
// it (a descriptor on POSIX, a HANDLE on Windows); -1 when there is none.
typedef std::intptr_t utl_FileHandle;

class VNKUTI_BASIC_API utl_File : public mem_AllocationOperators {
 public:
  // ------------------------------------------------------- construction
  utl_File();  // no name, access read, sharing ShareReadWrite
  // Stores the three values; opens nothing.
  utl_File(const cow_String& name, utl_FileAccess access, utl_FileSharing sharing);
  // Closes the handle if the file was opened. Raises utl_FileExceptionClose
  // when the close fails (unless another exception is already on its way).
  ~utl_File() noexcept(false);
  utl_File(const utl_File&) = delete;
  utl_File& operator=(const utl_File&) = delete;

  // Replaces name, access and sharing, then Init(). See the header comment.
  void Open(const cow_String& name, utl_FileAccess access, utl_FileSharing sharing);
  // Opens the file unless that has been done. Raises utl_FileExceptionNoFile
  // (missing file, read and update) or utl_FileExceptionOpen.
  void Init();

  // ------------------------------------------------------------ position
  void Seek(const utl_FileOffset& offset);  // from the start of the file
  utl_FileOffset Location() const;
  utl_FileOffset FileSize() const;

  // ------------------------------------------------------------ transfer
  // Up to count bytes at the position; fewer (0 at the end) is no error.
  int Read(char* buf, int count);
  // Writes count bytes; fewer raises utl_FileExceptionFull.
  int Write(const char* buf, int count);
  // As Write, but returns a short count instead of raising.
  int WriteShortAllowed(const char* buf, int count);
  // Has the system write its buffers for the file to storage.
  void Flush();
  // Sets the size (growing or truncating) and makes the last bytes exist on
  // storage by rewriting them; the position is kept, even beyond a new end.
  void Extend(const utl_FileOffset& size);

  // ------------------------------------------------------------ accessors
  const cow_String& FileName() const { return m_FileName; }
  utl_FileAccess Access() const { return m_Access; }
  utl_FileSharing Sharing() const { return m_Sharing; }
  bool IsOpened() const { return m_Opened != 0; }

 private:
  utl_FileHandle OpenRead(const cow_String& name);
  utl_FileHandle OpenUpdate(const cow_String& name);
  utl_FileHandle OpenWrite(const cow_String& name);
  void InitConst() const { const_cast<utl_File*>(this)->Init(); }

  int m_Opened;
  utl_FileHandle m_Handle;
  cow_String m_FileName;
  utl_FileAccess m_Access;
  utl_FileSharing m_Sharing;
};

// Whole-file advisory lock on a C run-time descriptor, over bytes 0 to
// 0xFFFF0000. operation: 1 shared, 2 exclusive (both wait), 5 shared,
// 6 exclusive (both fail at once), 8 unlock. Returns 0, or -1 with errno set:
// 22 for any other operation, else the system's error code.
VNKUTI_BASIC_API int utl_flock(int fd, int operation);

// =============================================================== exceptions
// Each builds its text at construction through message translation. With a
// system error code: "%1$s" is the label, "%2$s" the system's text for the
// code, "%3$s" the file name. Without: "%1$s" the label, "%2$s" the name.
// Persistent classes (see utl/utl_TypeIds.h); the text is stored as built.

#define UTL_FILE_EXCEPTION_3(Class, Number)                                      \
  class VNKUTI_BASIC_API Class : public nex_TextException {                      \
   public:                                                                       \
    NEX_CONCRETE_MEMBERS(Class, utl_TypeIdOf(Number))                            \
    NEX_PERSISTENT_MEMBERS(Class)                                                \
    Class(int errorCode, const cow_String& fileName, const cow_String& label);   \
    Class(const Class&) = default;                                               \
    ~Class() override;                                                           \
  };

// "***ERROR: File close failed (utl_File: %1$s)\nerror: %2$s\nfile: %3$s"
UTL_FILE_EXCEPTION_3(utl_FileExceptionClose, utl_ClassFileExceptionClose)
// "*** Error: Extend failed (utl_File: %1$s)\nerror: %2$s\nfile: %3$s"
UTL_FILE_EXCEPTION_3(utl_FileExceptionExtend, utl_ClassFileExceptionExtend)
// "*** Error: Seek failed (utl_File: %1$s)\nerror: %2$s\nfile: %3$s"
UTL_FILE_EXCEPTION_3(utl_FileExceptionSeek, utl_ClassFileExceptionSeek)
// "*** Error: Get file location failed (utl_File: %1$s)\nerror: %2$s\nfile: %3$s"
UTL_FILE_EXCEPTION_3(utl_FileExceptionLocation, utl_ClassFileExceptionLocation)
// "*** Error: Read failed (utl_File: %1$s)\nerror: %2$s\nfile: %3$s"
UTL_FILE_EXCEPTION_3(utl_FileExceptionRead, utl_ClassFileExceptionRead)
// "*** Error: Get file size failed (utl_File: %1$s)\nerror: %2$s\nfile: %3$s"
UTL_FILE_EXCEPTION_3(utl_FileExceptionSize, utl_ClassFileExceptionSize)
// "*** Error: File open failed (utl_File: %1$s)\nerror: %2$s\nfile: %3$s"
UTL_FILE_EXCEPTION_3(utl_FileExceptionOpen, utl_ClassFileExceptionOpen)

#undef UTL_FILE_EXCEPTION_3

// "*** Error: Flush failed (utl_File: %1$s)\nfile name: %2$s", or with a code
// "*** Error: Flush failed (utl_File: %1$s)\nerror: %2$s\nfile: %3$s".
class VNKUTI_BASIC_API utl_FileExceptionFlush : public nex_TextException {
 public:
  NEX_CONCRETE_MEMBERS(utl_FileExceptionFlush, utl_TypeIdOf(utl_ClassFileExceptionFlush))
  NEX_PERSISTENT_MEMBERS(utl_FileExceptionFlush)
  utl_FileExceptionFlush(const cow_String& fileName, const cow_String& label);
  utl_FileExceptionFlush(int errorCode, const cow_String& fileName, const cow_String& label);
  utl_FileExceptionFlush(const utl_FileExceptionFlush&) = default;
  ~utl_FileExceptionFlush() override;
};

// "*** Error: Write failed (utl_File: %1$s)\nfile name: %2$s", or with a code
// "*** Error: Write failed (utl_File: %1$s)\nerror: %2$s\nfile: %3$s".
class VNKUTI_BASIC_API utl_FileExceptionWrite : public nex_TextException {
 public:
  NEX_CONCRETE_MEMBERS(utl_FileExceptionWrite, utl_TypeIdOf(utl_ClassFileExceptionWrite))
  NEX_PERSISTENT_MEMBERS(utl_FileExceptionWrite)
  utl_FileExceptionWrite(const cow_String& fileName, const cow_String& label);
  utl_FileExceptionWrite(int errorCode, const cow_String& fileName, const cow_String& label);
  utl_FileExceptionWrite(const utl_FileExceptionWrite&) = default;
  ~utl_FileExceptionWrite() override;
};

// "*** Error: No such file (utl_File: %1$s)\nfile name: %2$s"
class VNKUTI_BASIC_API utl_FileExceptionNoFile : public nex_TextException {
 public:
  NEX_CONCRETE_MEMBERS(utl_FileExceptionNoFile, utl_TypeIdOf(utl_ClassFileExceptionNoFile))
  NEX_PERSISTENT_MEMBERS(utl_FileExceptionNoFile)
  utl_FileExceptionNoFile(const cow_String& fileName, const cow_String& label);
  utl_FileExceptionNoFile(const utl_FileExceptionNoFile&) = default;
  ~utl_FileExceptionNoFile() override;
};

// "*** Error: Free disk space depleted\nfile name: %2$s". The file name is
// given as argument 1, which the text does not use: the message keeps
// "%2$s" as it stands. That pairing is the established text and is kept.
class VNKUTI_BASIC_API utl_FileExceptionFull : public nex_TextException {
 public:
  NEX_CONCRETE_MEMBERS(utl_FileExceptionFull, utl_TypeIdOf(utl_ClassFileExceptionFull))
  NEX_PERSISTENT_MEMBERS(utl_FileExceptionFull)
  explicit utl_FileExceptionFull(const cow_String& fileName);
  utl_FileExceptionFull(const utl_FileExceptionFull&) = default;
  ~utl_FileExceptionFull() override;
};
