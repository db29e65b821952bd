// Platform layer: paths in the file system. Status of a path, access tests,
// free space of the volume that holds a path, the current directory, the
// environment, descriptors opened with the C run time's _open flags, and a
// seed for names that must differ between processes.
//
// Failures are reported through the result and leave the system error code
// in plt_LastError() (plt_Error.h). Status queries run through the fault
// hook's plt_FaultStat kind, descriptor opens through plt_FaultOpen
// (plt_FaultInjection.h).
#pragma once

#include <cstdint>

#include "VNKUTI_BasicExport.h"
#include "atr/atr_String.h"

// ------------------------------------------------------------------ status
struct plt_PathStatus {
  bool isDirectory;
  bool isRegularFile;
  bool isSymbolicLink;         // only when links are not followed
  long long size;              // bytes
  long long modificationTime;  // seconds since 1970-01-01 UTC
};

// The status of path. With followLinks a symbolic link answers for what it
// points to (a dangling one does not exist); without, for the link itself.
// false when there is no status: plt_LastError() is plt_ErrFileNotFound()
// when nothing exists at path.
VNKUTI_BASIC_API bool plt_PathStat(const char* path, bool followLinks, plt_PathStatus* status);

// Access tests for the calling process, combined with |. plt_PathExists
// alone asks only whether the path exists (links followed).
enum plt_PathAccessTest : int {
  plt_PathExists = 0,
  plt_PathExecutable = 1,
  plt_PathWritable = 2,
  plt_PathReadable = 4,
};
VNKUTI_BASIC_API bool plt_PathAccess(const char* path, int tests);

// ------------------------------------------------------------ directories
// Calls each(name, context) for every entry of the directory dir except "."
// and "..", in the system's order. false when the directory cannot be read
// (nothing is reported then); an entry that vanishes meanwhile may or may
// not be reported. Runs through the fault hook's plt_FaultStat kind.
typedef void (*plt_DirectoryVisitor)(const char* name, void* context);
VNKUTI_BASIC_API bool plt_DirectoryList(const char* dir, plt_DirectoryVisitor each, void* context);

// ------------------------------------------------------------- free space
struct plt_DiskSpace {
  std::uint64_t availableBytes;  // free to this (unprivileged) process
  std::uint64_t freeBytes;       // free in all, the reserve included
  std::uint64_t totalBytes;
};
// Space of the volume that holds path (statvfs on POSIX).
VNKUTI_BASIC_API bool plt_DiskSpaceOf(const char* path, plt_DiskSpace* space);

// ------------------------------------------------------------ environment
// The variable's value; false when it is not set (an empty value is set).
VNKUTI_BASIC_API bool plt_GetEnv(const char* name, atr_String* value);
// The absolute path of the current directory; empty when it cannot be had.
VNKUTI_BASIC_API atr_String plt_CurrentDirectory();

// ------------------------------------------------- C run-time descriptors
// _open flags with the Microsoft C run time's values, so that callers keep
// the numbers they were written with (0x502 = read-write, create, exclusive).
enum plt_CrtOpenFlag : int {
  plt_CrtReadOnly = 0x0000,
  plt_CrtWriteOnly = 0x0001,
  plt_CrtReadWrite = 0x0002,
  plt_CrtAppend = 0x0008,
  plt_CrtCreate = 0x0100,
  plt_CrtTruncate = 0x0200,
  plt_CrtExclusive = 0x0400,
};
// Opens path (_open): flags of plt_CrtOpenFlag, permission bits as in 0600
// (owner read and write; _S_IREAD | _S_IWRITE have the same values) used
// when the file is created. The descriptor is not inherited by exec'd
// programs. Returns it, or -1.
VNKUTI_BASIC_API int plt_DescriptorOpen(const char* path, int crtFlags, int permission);

// --------------------------------------------------------- unique names
// 64 bits that differ between calls and, with high probability, between
// processes (the system's random source; time and process id without it).
VNKUTI_BASIC_API std::uint64_t plt_UniqueSeed();
