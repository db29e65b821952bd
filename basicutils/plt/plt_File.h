// Platform layer: files, byte-range locks and C run-time descriptors.
//
// A plt_FileHandle is an opaque value the platform owns (a descriptor on
// POSIX, a HANDLE on Windows); plt_InvalidFile means none. Every call reports
// failure through its result and leaves the system error code in
// plt_LastError() (plt_Error.h): an errno value on POSIX. Interrupted calls
// are retried inside. Every OS call runs through a wrapper that the fault
// hook of plt_FaultInjection.h can fail.
//
// Share modes are those of the Windows file interface and hold between
// processes: an open whose access or share mode conflicts with an open
// already made fails with plt_ErrSharingViolation(). On POSIX they are kept
// with open-file-description locks on reserved bytes far beyond any data
// offset (docs/porting.md).
#pragma once

#include <cstdint>

#include "VNKUTI_BasicExport.h"

typedef std::intptr_t plt_FileHandle;
constexpr plt_FileHandle plt_InvalidFile = -1;

enum plt_FileAccessMode {
  plt_AccessRead = 1,       // reading only
  plt_AccessReadWrite = 3,  // reading and writing
};

enum plt_FileCreation {
  plt_OpenExisting = 0,  // fail when the file does not exist
  plt_CreateAlways = 1,  // create, or truncate an existing file to 0 bytes
};

// Share-mode bits: what later openers may do while this open lasts.
enum plt_FileShare {
  plt_ShareNone = 0,
  plt_ShareRead = 1,
  plt_ShareWrite = 2,
};

enum plt_SeekOrigin { plt_SeekBegin = 0, plt_SeekCurrent = 1, plt_SeekEnd = 2 };

// ------------------------------------------------------------- open, close
// Opens path for random access. A directory cannot be opened as a file.
VNKUTI_BASIC_API plt_FileHandle plt_FileOpen(const char* path, plt_FileAccessMode access,
                                             plt_FileCreation creation, int share);
VNKUTI_BASIC_API bool plt_FileClose(plt_FileHandle h);

// ---------------------------------------------------------------- transfer
// Reads up to count bytes at the current position, as many as the file holds:
// fewer only at its end. -1 on failure (a negative count is invalid).
VNKUTI_BASIC_API int plt_FileRead(plt_FileHandle h, void* buf, int count);
// Writes count bytes at the current position. Returns the bytes written,
// fewer than count when the system stopped taking them after some (a full
// disk, a file-size limit); -1 when nothing could be written.
VNKUTI_BASIC_API int plt_FileWrite(plt_FileHandle h, const void* buf, int count);

// ---------------------------------------------------------- position, size
VNKUTI_BASIC_API bool plt_FileSeek(plt_FileHandle h, long long offset, plt_SeekOrigin origin, long long* result);
VNKUTI_BASIC_API bool plt_FileSize(plt_FileHandle h, long long* size);
// Sets the end of file at size; the position does not move.
VNKUTI_BASIC_API bool plt_FileTruncate(plt_FileHandle h, long long size);
// Makes the system write the file's buffers to its storage.
VNKUTI_BASIC_API bool plt_FileFlush(plt_FileHandle h);

// --------------------------------------------------------- byte-range locks
// Locks [offset, offset + length) shared or exclusive, waiting for it or
// failing at once. Locks belong to the open file (not the process), so two
// opens in one process exclude each other; closing the file releases them.
VNKUTI_BASIC_API bool plt_FileLockRange(plt_FileHandle h, long long offset, long long length, bool exclusive,
                                        bool wait);
VNKUTI_BASIC_API bool plt_FileUnlockRange(plt_FileHandle h, long long offset, long long length);

// -------------------------------------------------------------- names
VNKUTI_BASIC_API bool plt_FileDelete(const char* path);
VNKUTI_BASIC_API bool plt_FileRename(const char* from, const char* to);

// ------------------------------------------- C run-time descriptors (int)
// The handle of a descriptor (_get_osfhandle); plt_InvalidFile for a bad one.
VNKUTI_BASIC_API plt_FileHandle plt_FileFromDescriptor(int fd);
// One read(2) / write(2) on a descriptor; -1 on failure, EINTR retried.
VNKUTI_BASIC_API int plt_DescriptorRead(int fd, void* buf, int count);
VNKUTI_BASIC_API int plt_DescriptorWrite(int fd, const void* buf, int count);
// Puts a descriptor in binary mode (_setmode _O_BINARY); -1 on failure. On
// POSIX there is no text mode: succeeds for any open descriptor.
VNKUTI_BASIC_API int plt_DescriptorSetBinary(int fd);
// Creates path only if it does not exist (_open _O_CREAT | _O_EXCL, a
// writable file); returns the descriptor, or -1.
VNKUTI_BASIC_API int plt_DescriptorCreateExclusive(const char* path);
VNKUTI_BASIC_API int plt_DescriptorClose(int fd);

// ----------------------------------- what the file protocols need besides
VNKUTI_BASIC_API int plt_FileProcessId();             // this process's id
VNKUTI_BASIC_API void plt_FileSleepMilliseconds(int ms);  // a retry's pause
