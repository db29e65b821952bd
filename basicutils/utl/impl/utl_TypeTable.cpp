// The utl module's entry in the type table (module number 33), class number k
// at index k - 1, matching utl/utl_TypeIds.h.
#include "nex/nex_Exception.h"
#include "typ/typ_ArchCompTable.h"
#include "utl/impl/utl_TypeTable.h"
#include "utl/utl_TypeIds.h"

namespace {
constexpr unsigned kText = nex_TextException::ClassTypeId;
constexpr unsigned kBinStream = utl_TypeIdOf(utl_ClassBinStreamException);
constexpr unsigned kTempFile = utl_TypeIdOf(utl_ClassTempFileException);
constexpr typ_Entry kUtlEntries[] = {
    {kText, "utl_FileExceptionClose", 4},     {kText, "utl_FileExceptionExtend", 4},
    {kText, "utl_FileExceptionSeek", 4},      {kText, "utl_FileExceptionLocation", 4},
    {kText, "utl_FileExceptionFlush", 4},     {kText, "utl_FileExceptionRead", 4},
    {kText, "utl_FileExceptionWrite", 4},     {kText, "utl_FileExceptionSize", 4},
    {kText, "utl_FileExceptionOpen", 4},      {kText, "utl_FileExceptionNoFile", 4},
    {kText, "utl_FileExceptionFull", 4},      {kText, "utl_BinStreamException", 4},
    {kBinStream, "utl_BinStreamWriteError", 4}, {kBinStream, "utl_BinStreamReadError", 4},
    {kBinStream, "utl_BinStreamEOF", 4},
    {kText, "utl_MissingCmdLineArgException", 4}, {kText, "utl_CmdLineArgFormatException", 4},
    {kText, "utl_TempFileException", 4},     {kTempFile, "utl_TempFileOpenExc", 4},
    {kTempFile, "utl_TempFileDirExc", 4},     {kTempFile, "utl_TempFileCantExc", 4},
    {kTempFile, "utl_TempFileNoDirExc", 4},
};
static_assert(sizeof(kUtlEntries) / sizeof(kUtlEntries[0]) == utl_ClassTempFileNoDirExc,
              "one entry per class number");
}  // namespace

void utl_insertTypeEntries() {
  typ_ArchCompEntry e;
  e.m_Entries = kUtlEntries;
  e.m_Count = sizeof(kUtlEntries) / sizeof(kUtlEntries[0]);
  typ_ArchCompTable::InsertEntry(utl_ModuleNumber, e);
}
