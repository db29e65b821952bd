#include "UTI_CoreUtils.h"
#include "cls/cls_ClassRegistrar.h"
#include "uti/UTI_BasicUtils.h"
#include "utl/impl/utl_TypeTable.h"
#include "utl/utl_BinStream.h"
#include "utl/utl_CommandLine.h"
#include "utl/utl_File.h"
#include "utl/utl_IOTracker.h"
#include "utl/utl_TempFile.h"
#include "utl/utl_Version.h"

namespace {
constinit unsigned g_Uses = 0;

// The module's exception classes in the order their headers declare them.
// utl_Base64CodecError is not among them: it has no class ID of its own
// (see utl/utl_Base64.h) and is stored as a nex_TextException.
constexpr cls_MetadataRegistrar::RegistrationFunction kExceptionMetadata[] = {
    &utl_FileExceptionClose::InitializeMetadata,
    &utl_FileExceptionExtend::InitializeMetadata,
    &utl_FileExceptionSeek::InitializeMetadata,
    &utl_FileExceptionLocation::InitializeMetadata,
    &utl_FileExceptionRead::InitializeMetadata,
    &utl_FileExceptionSize::InitializeMetadata,
    &utl_FileExceptionOpen::InitializeMetadata,
    &utl_FileExceptionFlush::InitializeMetadata,
    &utl_FileExceptionWrite::InitializeMetadata,
    &utl_FileExceptionNoFile::InitializeMetadata,
    &utl_FileExceptionFull::InitializeMetadata,
    &utl_BinStreamException::InitializeMetadata,
    &utl_BinStreamWriteError::InitializeMetadata,
    &utl_BinStreamReadError::InitializeMetadata,
    &utl_BinStreamEOF::InitializeMetadata,
    &utl_MissingCmdLineArgException::InitializeMetadata,
    &utl_CmdLineArgFormatException::InitializeMetadata,
    &utl_TempFileException::InitializeMetadata,
    &utl_TempFileOpenExc::InitializeMetadata,
    &utl_TempFileDirExc::InitializeMetadata,
    &utl_TempFileCantExc::InitializeMetadata,
    &utl_TempFileNoDirExc::InitializeMetadata,
};
static_assert(sizeof(kExceptionMetadata) / sizeof(kExceptionMetadata[0]) == utl_ClassTempFileNoDirExc,
              "every class of utl/utl_TypeIds.h is registered");
}  // namespace

// On POSIX, sockets need no start-up and no clean-up.
void utl_initialize(int& count) {
  if (!UTI_ModuleEnter(g_Uses, count, "utl")) return;
  utl_insertTypeEntries();
  // After the type table, as in every module: the registry's failure texts
  // name a class through it.
  for (cls_MetadataRegistrar::RegistrationFunction f : kExceptionMetadata)
    omi_Singleton<cls_MetadataRegistrar>::Instance().initClassMetadata(f, 2);
}

void utl_finalize(int& count) {
  if (!UTI_ModuleLeave(g_Uses, count, "utl")) return;
  utl_Version::Destroy();
  // The command line and, under the global lock, its mutex.
  utl_CommandLine::Finalize();
  // The I/O tracker container and, under the global lock, its creation mutex.
  utl_IOTracker_Container::Finalize();
}
