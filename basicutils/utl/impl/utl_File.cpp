#include "utl/utl_File.h"

#include <cerrno>
#include <exception>

#include "atr/atr_Translate.h"
#include "plt/plt_Error.h"
#include "plt/plt_File.h"
#include "utl/impl/utl_IOTrackerHook.h"

#define NEX_SOURCE "utl/impl/utl_File"

static_assert(sizeof(utl_FileHandle) == sizeof(plt_FileHandle) && utl_FileHandle(plt_InvalidFile) == -1,
              "utl_File stores the platform's handle as it is");

namespace {

// "%1$s" label, "%2$s" the system's text for code, "%3$s" the file.
cow_String WithCode(const char* templ, int code, const cow_String& fileName, const cow_String& label) {
  atr_translate t(templ);
  atr_SubstituteFormat(t, 1, label);
  atr_SubstituteFormat(t, 2, plt_ErrorText(code));
  atr_SubstituteFormat(t, 3, fileName);
  return t.Result();
}

// "%1$s" label, "%2$s" the file.
cow_String WithoutCode(const char* templ, const cow_String& fileName, const cow_String& label) {
  atr_translate t(templ);
  atr_SubstituteFormat(t, 1, label);
  atr_SubstituteFormat(t, 2, fileName);
  return t.Result();
}

// The share mode handed to the system. Deliberately asymmetric: a reader
// that asks for nothing in particular lets others write, a writer does not.
int ShareMode(utl_FileAccess access, utl_FileSharing sharing) {
  if (sharing == utl_ShareRead) return plt_ShareRead;
  if (sharing == utl_ShareReadWrite) return plt_ShareRead | plt_ShareWrite;
  return access == utl_FileRead ? plt_ShareRead | plt_ShareWrite : plt_ShareRead;
}

}  // namespace

// =============================================================== exceptions

#define UTL_DEFINE_WITH_CODE(Class, Template)                                                   \
  Class::Class(int errorCode, const cow_String& fileName, const cow_String& label) {              \
    m_Value = WithCode(Template, errorCode, fileName, label);                                     \
  }                                                                                               \
  Class::~Class() = default;                                                                      \
  NEX_CONCRETE_DEFINITIONS(Class)

// The close text alone reads "***ERROR:"; it is the established spelling.
UTL_DEFINE_WITH_CODE(utl_FileExceptionClose, "***ERROR: File close failed (utl_File: %1$s)\nerror: %2$s\nfile: %3$s")
UTL_DEFINE_WITH_CODE(utl_FileExceptionExtend, "*** Error: Extend failed (utl_File: %1$s)\nerror: %2$s\nfile: %3$s")
UTL_DEFINE_WITH_CODE(utl_FileExceptionSeek, "*** Error: Seek failed (utl_File: %1$s)\nerror: %2$s\nfile: %3$s")
UTL_DEFINE_WITH_CODE(utl_FileExceptionLocation,
                     "*** Error: Get file location failed (utl_File: %1$s)\nerror: %2$s\nfile: %3$s")
UTL_DEFINE_WITH_CODE(utl_FileExceptionRead, "*** Error: Read failed (utl_File: %1$s)\nerror: %2$s\nfile: %3$s")
UTL_DEFINE_WITH_CODE(utl_FileExceptionSize,
                     "*** Error: Get file size failed (utl_File: %1$s)\nerror: %2$s\nfile: %3$s")
UTL_DEFINE_WITH_CODE(utl_FileExceptionOpen, "*** Error: File open failed (utl_File: %1$s)\nerror: %2$s\nfile: %3$s")

#undef UTL_DEFINE_WITH_CODE

utl_FileExceptionFlush::utl_FileExceptionFlush(const cow_String& fileName, const cow_String& label) {
  m_Value = WithoutCode("*** Error: Flush failed (utl_File: %1$s)\nfile name: %2$s", fileName, label);
}
utl_FileExceptionFlush::utl_FileExceptionFlush(int errorCode, const cow_String& fileName, const cow_String& label) {
  m_Value = WithCode("*** Error: Flush failed (utl_File: %1$s)\nerror: %2$s\nfile: %3$s", errorCode, fileName, label);
}
utl_FileExceptionFlush::~utl_FileExceptionFlush() = default;
NEX_CONCRETE_DEFINITIONS(utl_FileExceptionFlush)

utl_FileExceptionWrite::utl_FileExceptionWrite(const cow_String& fileName, const cow_String& label) {
  m_Value = WithoutCode("*** Error: Write failed (utl_File: %1$s)\nfile name: %2$s", fileName, label);
}
utl_FileExceptionWrite::utl_FileExceptionWrite(int errorCode, const cow_String& fileName, const cow_String& label) {
  m_Value = WithCode("*** Error: Write failed (utl_File: %1$s)\nerror: %2$s\nfile: %3$s", errorCode, fileName, label);
}
utl_FileExceptionWrite::~utl_FileExceptionWrite() = default;
NEX_CONCRETE_DEFINITIONS(utl_FileExceptionWrite)

utl_FileExceptionNoFile::utl_FileExceptionNoFile(const cow_String& fileName, const cow_String& label) {
  m_Value = WithoutCode("*** Error: No such file (utl_File: %1$s)\nfile name: %2$s", fileName, label);
}
utl_FileExceptionNoFile::~utl_FileExceptionNoFile() = default;
NEX_CONCRETE_DEFINITIONS(utl_FileExceptionNoFile)

utl_FileExceptionFull::utl_FileExceptionFull(const cow_String& fileName) {
  // Argument 1 into a text that names only %2$s: "%2$s" stays in the message.
  atr_translate t("*** Error: Free disk space depleted\nfile name: %2$s");
  atr_SubstituteFormat(t, 1, fileName);
  m_Value = t.Result();
}
utl_FileExceptionFull::~utl_FileExceptionFull() = default;
NEX_CONCRETE_DEFINITIONS(utl_FileExceptionFull)

// ============================================================ construction

utl_File::utl_File()
    : m_Opened(0), m_Handle(plt_InvalidFile), m_Access(utl_FileRead), m_Sharing(utl_ShareReadWrite) {}

utl_File::utl_File(const cow_String& name, utl_FileAccess access, utl_FileSharing sharing)
    : m_Opened(0), m_Handle(plt_InvalidFile), m_FileName(name), m_Access(access), m_Sharing(sharing) {}

utl_File::~utl_File() noexcept(false) {
  // An access value outside the three leaves no handle to close.
  if (m_Opened == 0 || m_Handle == plt_InvalidFile) return;
  if (plt_FileClose(m_Handle)) return;
  int err = plt_LastError();
  // A second exception while one unwinds would end the process; the first
  // one is the news then.
  if (std::uncaught_exceptions() > 0) return;
  NEX_THROW(utl_FileExceptionClose(err, m_FileName, "CloseHandle"));
}

void utl_File::Open(const cow_String& name, utl_FileAccess access, utl_FileSharing sharing) {
  m_FileName = name;
  m_Access = access;
  m_Sharing = sharing;
  Init();
}

void utl_File::Init() {
  if (m_Opened == 1) return;
  switch (m_Access) {
    case utl_FileRead: m_Handle = OpenRead(m_FileName); break;
    case utl_FileUpdate: m_Handle = OpenUpdate(m_FileName); break;
    case utl_FileWrite: m_Handle = OpenWrite(m_FileName); break;
    default: break;  // no routine runs; the handle keeps what it held
  }
  m_Opened = 1;
}

// =========================================================== opening routines

utl_FileHandle utl_File::OpenRead(const cow_String& name) {
  plt_FileHandle h = plt_FileOpen(name.c_str(), plt_AccessRead, plt_OpenExisting, ShareMode(utl_FileRead, m_Sharing));
  if (h != plt_InvalidFile) return h;
  int err = plt_LastError();
  if (err == plt_ErrFileNotFound()) NEX_THROW(utl_FileExceptionNoFile(name, "in OpenRead"));
  NEX_THROW(utl_FileExceptionOpen(err, name, "CreateFile in OpenRead"));
}

utl_FileHandle utl_File::OpenUpdate(const cow_String& name) {
  plt_FileHandle h =
      plt_FileOpen(name.c_str(), plt_AccessReadWrite, plt_OpenExisting, ShareMode(utl_FileUpdate, m_Sharing));
  if (h != plt_InvalidFile) return h;
  int err = plt_LastError();
  if (err == plt_ErrFileNotFound()) NEX_THROW(utl_FileExceptionNoFile(name, "in OpenUpdate"));
  NEX_THROW(utl_FileExceptionOpen(err, name, "CreateFile in OpenUpdate"));
}

utl_FileHandle utl_File::OpenWrite(const cow_String& name) {
  plt_FileHandle h =
      plt_FileOpen(name.c_str(), plt_AccessReadWrite, plt_CreateAlways, ShareMode(utl_FileWrite, m_Sharing));
  int err = plt_LastError();
  // Whether or not the create worked: the tracker exists once the process
  // writes files. A failure to make it must not leak the new handle.
  try {
    utl_ioTrackerContainerTouch();
  } catch (...) {
    if (h != plt_InvalidFile) plt_FileClose(h);
    throw;
  }
  if (h == plt_InvalidFile) NEX_THROW(utl_FileExceptionOpen(err, name, "CreateFile in OpenWrite"));
  return h;
}

// ================================================================ position
// lseek and fstat answer -1 only on failure, so the Windows rule "a low word
// of 0xFFFFFFFF is a failure only with a non-zero last error" has nothing to
// decide here: every position and size is valid.

void utl_File::Seek(const utl_FileOffset& offset) {
  Init();
  if (!plt_FileSeek(m_Handle, offset.Value(), plt_SeekBegin, nullptr))
    NEX_THROW(utl_FileExceptionSeek(plt_LastError(), m_FileName, "SetFilePointer"));
}

utl_FileOffset utl_File::Location() const {
  InitConst();
  long long at = 0;
  if (!plt_FileSeek(m_Handle, 0, plt_SeekCurrent, &at))
    NEX_THROW(utl_FileExceptionLocation(plt_LastError(), m_FileName, "SetFilePointer"));
  return utl_FileOffset(at);
}

utl_FileOffset utl_File::FileSize() const {
  InitConst();
  long long size = 0;
  if (!plt_FileSize(m_Handle, &size)) NEX_THROW(utl_FileExceptionSize(plt_LastError(), m_FileName, "GetFileSize"));
  return utl_FileOffset(size);
}

// ================================================================ transfer

int utl_File::Read(char* buf, int count) {
  Init();
  int n = plt_FileRead(m_Handle, buf, count);
  if (n < 0) NEX_THROW(utl_FileExceptionRead(plt_LastError(), m_FileName, "ReadFile"));
  return n;
}

int utl_File::WriteShortAllowed(const char* buf, int count) {
  Init();
  if (m_Access == utl_FileRead) NEX_THROW(utl_FileExceptionWrite(m_FileName, "attempt to write to a read-only file."));
  int n = plt_FileWrite(m_Handle, buf, count);
  if (n < 0) NEX_THROW(utl_FileExceptionWrite(plt_LastError(), m_FileName, "WriteFile"));
  return n;
}

int utl_File::Write(const char* buf, int count) {
  int n = WriteShortAllowed(buf, count);
  if (n < count) NEX_THROW(utl_FileExceptionFull(m_FileName));
  return n;
}

void utl_File::Flush() {
  Init();
  if (m_Access == utl_FileRead) NEX_THROW(utl_FileExceptionFlush(m_FileName, "attempt to flush a read-only file."));
  if (!plt_FileFlush(m_Handle)) NEX_THROW(utl_FileExceptionFlush(plt_LastError(), m_FileName, "FlushFileBuffers"));
}

void utl_File::Extend(const utl_FileOffset& size) {
  Init();
  if (m_Access == utl_FileRead)
    NEX_THROW(nex_TextException(atr_translate("utl_File::Extend - attempt to extend a read-only file.").Result()));
  auto fail = [this](const char* label) { NEX_THROW(utl_FileExceptionExtend(plt_LastError(), m_FileName, label)); };

  long long kept = 0;
  if (!plt_FileSeek(m_Handle, 0, plt_SeekCurrent, &kept)) fail("SetFilePointer 1");
  if (!plt_FileSeek(m_Handle, size.Value(), plt_SeekBegin, nullptr)) fail("SetFilePointer 2");
  if (!plt_FileTruncate(m_Handle, size.Value())) fail("SetEndOfFile");

  // size - 4 goes through double, as it always has: exact below 2^53. The
  // clamp only keeps the conversion back defined for sizes near 2^63, which
  // no file system accepts at SetEndOfFile anyway.
  double tail = static_cast<double>(size.Value()) - 4.0;
  long long last = tail >= 9223372036854775807.0 ? 9223372036854775807LL : static_cast<long long>(tail);
  char bytes[4] = {0, 0, 0, 0};
  if (!plt_FileSeek(m_Handle, last, plt_SeekBegin, nullptr)) fail("SetFilePointer 3");
  if (plt_FileRead(m_Handle, bytes, 4) < 0) fail("ReadFile");
  if (!plt_FileSeek(m_Handle, last, plt_SeekBegin, nullptr)) fail("SetFilePointer 4");
  // Rewriting the last bytes makes the storage behind the new end exist.
  if (plt_FileWrite(m_Handle, bytes, 4) != 4) fail("WriteFile");
  if (!plt_FileSeek(m_Handle, kept, plt_SeekBegin, nullptr)) fail("SetFilePointer 5");
}

// ================================================================== flock

int utl_flock(int fd, int operation) {
  // Bytes 0 to 0xFFFF0000: the whole of any file of the 32-bit era.
  constexpr long long kLength = 0xFFFF0000LL;
  bool exclusive = false, wait = false, unlock = false;
  switch (operation) {
    case 1: wait = true; break;
    case 2: exclusive = wait = true; break;
    case 5: break;
    case 6: exclusive = true; break;
    case 8: unlock = true; break;
    default: errno = 22; return -1;
  }
  plt_FileHandle h = plt_FileFromDescriptor(fd);
  bool ok = h != plt_InvalidFile &&
            (unlock ? plt_FileUnlockRange(h, 0, kLength) : plt_FileLockRange(h, 0, kLength, exclusive, wait));
  if (ok) return 0;
  // The system's code, not a run-time errno value (on POSIX they coincide).
  errno = plt_LastError();
  return -1;
}
