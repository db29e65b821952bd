#include "utl/utl_FileReplace.h"

#include "plt/plt_Error.h"
#include "plt/plt_File.h"
#include "utl/utl_Stat.h"

#define NEX_SOURCE "utl/impl/utl_FileReplace"

namespace {

// The staging file beside path; path itself when a rename over it would
// replace a device, a pipe or a symbolic link instead of writing to it.
cow_String StagingPathFor(const cow_String& path) {
  utl_Stat status(path, false);
  if (status.Exists() && (status.IsSymbolicLink() || !status.IsRegularFile())) return path;
  return path + "." + cow_String(atr_StringBase(plt_FileProcessId())) + ".new";
}

}  // namespace

utl_FileReplace::utl_FileReplace(const cow_String& path)
    : m_Path(path), m_StagingPath(StagingPathFor(path)), m_File(new utl_File(m_StagingPath, utl_FileWrite, utl_ShareDefault)) {}

utl_FileReplace::~utl_FileReplace() {
  if (m_File == nullptr) return;
  // The close may raise; the staging file goes whatever it says.
  try {
    delete m_File;
  } catch (...) {
  }
  if (!IsDirect()) plt_FileDelete(m_StagingPath.c_str());
}

utl_File& utl_FileReplace::File() { return *m_File; }

void utl_FileReplace::Commit() {
  NEX_ASSERT(m_File != nullptr);
  m_File->Init();  // an unused object commits an empty file
  utl_File* file = m_File;
  m_File = nullptr;
  try {
    delete file;  // Windows renames only closed files; a failed close raises here
  } catch (...) {
    if (!IsDirect()) plt_FileDelete(m_StagingPath.c_str());
    throw;
  }
  if (IsDirect()) return;
  if (!plt_FileRename(m_StagingPath.c_str(), m_Path.c_str())) {
    int error = plt_LastError();
    plt_FileDelete(m_StagingPath.c_str());
    NEX_THROW(utl_FileExceptionWrite(error, m_Path, "rename"));
  }
}
