// utl_TempFile: one scratch file in the job's scratch directory, named on
// first use and deleted with the object.
//
// The scratch directory is the first existing directory among: the command
// line's "tmpdir" option (utl_CommandLine), the environment variable
// SCRATCH, the environment variable TMPDIR. A candidate that is set but is
// not a directory is passed over without a word. The directory test ignores
// one trailing "/"; the chosen directory is used with a trailing "/".
//
// Preparation happens once, on the first Name, AvailableSpace, Create,
// OpenIfPresent or Open: the directory is chosen, the free space of its
// volume is recorded, and a name is made from "VnkTempFileXXXXXX" with the
// six X replaced by characters that give a name nothing in the directory
// has yet, followed by the suffix (".dat" and "dat" both give ".dat"; an
// empty suffix adds nothing). Nothing is created on disk by preparation.
//
// The object holds at most one descriptor (read-write, not inherited by
// exec'd programs); a successful open closes one held before.
//
// Errors: no usable scratch directory, or no free name, raises
// utl_TempFileCantExc (a failed preparation is tried again by the next
// call); a failed create or open raises utl_TempFileOpenExc with the name
// and the system's text. utl_TempFileDirExc and utl_TempFileNoDirExc belong
// to the family but are not raised here.
//
// Threads: no lock; one object is used by one thread at a time. Between
// processes, names stay apart by the existence check and the exclusive
// create of Create.
#pragma once

#include <cstdint>

#include "VNKUTI_BasicExport.h"
#include "atr/atr_String.h"
#include "cow/cow_String.h"
#include "mem/mem_AllocationOperators.h"
#include "nex/nex_Exception.h"
#include "utl/utl_TypeIds.h"

class VNKUTI_BASIC_API utl_TempFile : public mem_AllocationOperators {
 public:
  // ------------------------------------------------------- construction
  // Remembers the suffix; chooses nothing yet.
  explicit utl_TempFile(const cow_String& suffix);
  // When the object was prepared: closes the descriptor and deletes the file
  // by name, whether or not it was ever created (a failed delete is ignored).
  ~utl_TempFile();
  utl_TempFile(const utl_TempFile&) = delete;
  utl_TempFile& operator=(const utl_TempFile&) = delete;

  // ----------------------------------------------------------- accessors
  // Each prepares first when needed (see above).
  const cow_String& Name() const;  // the full path
  std::uint64_t AvailableSpace() const;  // free bytes when the name was chosen
  bool IsPrepared() const { return m_Prepared; }
  int Descriptor() const { return m_Fd; }  // -1 when not open

  // ------------------------------------------------------------- opening
  // Creates the file (it must not exist) with owner read and write, and
  // opens it for reading and writing. A second Create on one object fails:
  // the file exists by then.
  void Create();
  // Opens an existing file for reading and writing; false when there is no
  // file (any other failure raises).
  bool OpenIfPresent();
  // As OpenIfPresent, but an absent file raises as well.
  void Open();
  // Closes the descriptor, if any; the file stays until the object goes.
  void Close();

 private:
  void Prepare();
  void PrepareConst() const { const_cast<utl_TempFile*>(this)->Prepare(); }
  void Adopt(int fd);

  bool m_Prepared;
  std::uint64_t m_AvailableSpace;
  cow_String m_Name;  // the suffix until prepared, then the full path
  int m_Fd;
};

// Chooses the scratch directory as the temporary file does: its path with a
// trailing "/", or "" when none of the three sources names a directory.
VNKUTI_BASIC_API cow_String utl_TempFileDirectory();

// =============================================================== exceptions
// Persistent classes (see utl/utl_TypeIds.h).

// Base of the family; the text as given.
class VNKUTI_BASIC_API utl_TempFileException : public nex_TextException {
 public:
  NEX_CONCRETE_MEMBERS(utl_TempFileException, utl_TypeIdOf(utl_ClassTempFileException))
  NEX_PERSISTENT_MEMBERS(utl_TempFileException)
  explicit utl_TempFileException(const atr_StringBase& text);
  utl_TempFileException(const utl_TempFileException&) = default;
  ~utl_TempFileException() override;

 protected:
  utl_TempFileException() = default;
};

// "*** ERROR: Can't create temporary file: %1$s, system error: %2$s"
class VNKUTI_BASIC_API utl_TempFileOpenExc : public utl_TempFileException {
 public:
  NEX_CONCRETE_MEMBERS(utl_TempFileOpenExc, utl_TypeIdOf(utl_ClassTempFileOpenExc))
  NEX_PERSISTENT_MEMBERS(utl_TempFileOpenExc)
  utl_TempFileOpenExc(const atr_StringBase& fileName, const atr_StringBase& systemText);
  utl_TempFileOpenExc(const utl_TempFileOpenExc&) = default;
  ~utl_TempFileOpenExc() override;
};

// "*** ERROR: Not a directory: %s"
class VNKUTI_BASIC_API utl_TempFileDirExc : public utl_TempFileException {
 public:
  NEX_CONCRETE_MEMBERS(utl_TempFileDirExc, utl_TypeIdOf(utl_ClassTempFileDirExc))
  NEX_PERSISTENT_MEMBERS(utl_TempFileDirExc)
  explicit utl_TempFileDirExc(const atr_StringBase& directory);
  utl_TempFileDirExc(const utl_TempFileDirExc&) = default;
  ~utl_TempFileDirExc() override;
};

// "*** ERROR: Can't create unique temporary file name."
class VNKUTI_BASIC_API utl_TempFileCantExc : public utl_TempFileException {
 public:
  NEX_CONCRETE_MEMBERS(utl_TempFileCantExc, utl_TypeIdOf(utl_ClassTempFileCantExc))
  NEX_PERSISTENT_MEMBERS(utl_TempFileCantExc)
  utl_TempFileCantExc();
  utl_TempFileCantExc(const utl_TempFileCantExc&) = default;
  ~utl_TempFileCantExc() override;
};

// "*** ERROR: Can't find directory in which to place temporary file."
class VNKUTI_BASIC_API utl_TempFileNoDirExc : public utl_TempFileException {
 public:
  NEX_CONCRETE_MEMBERS(utl_TempFileNoDirExc, utl_TypeIdOf(utl_ClassTempFileNoDirExc))
  NEX_PERSISTENT_MEMBERS(utl_TempFileNoDirExc)
  utl_TempFileNoDirExc();
  utl_TempFileNoDirExc(const utl_TempFileNoDirExc&) = default;
  ~utl_TempFileNoDirExc() override;
};
