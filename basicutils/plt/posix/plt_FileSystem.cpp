// POSIX implementation of plt_FileSystem.h. Only the plt/posix files may
// call the operating system; each call below that a test may want to fail
// passes through the fault hook after it has run for real.
#include "plt/plt_FileSystem.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <time.h>
#include <unistd.h>

#include "mem/mem_Alloc.h"
#include "plt/plt_FaultInjection.h"
#include "plt/posix/plt_PosixCalls.h"

namespace {

int SysStat(const char* path, bool followLinks, struct stat* st) {
  return plt_PosixFaultAfter(plt_FaultStat, followLinks ? ::stat(path, st) : ::lstat(path, st));
}

int SysAccess(const char* path, int mode) { return plt_PosixFaultAfter(plt_FaultStat, ::access(path, mode)); }

int SysStatvfs(const char* path, struct statvfs* st) {
  return plt_PosixFaultAfter(plt_FaultStat, plt_PosixRetry([&] { return ::statvfs(path, st); }));
}

// splitmix64: spreads a counter or a weak seed over all 64 bits.
std::uint64_t Mix(std::uint64_t z) {
  z += 0x9E3779B97F4A7C15ull;
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
  return z ^ (z >> 31);
}

}  // namespace

// ================================================================== status

bool plt_PathStat(const char* path, bool followLinks, plt_PathStatus* status) {
  struct stat st;
  if (SysStat(path, followLinks, &st) != 0) return false;
  status->isDirectory = S_ISDIR(st.st_mode);
  status->isRegularFile = S_ISREG(st.st_mode);
  status->isSymbolicLink = S_ISLNK(st.st_mode);
  status->size = static_cast<long long>(st.st_size);
  status->modificationTime = static_cast<long long>(st.st_mtim.tv_sec);
  return true;
}

bool plt_PathAccess(const char* path, int tests) {
  int mode = tests == plt_PathExists ? F_OK : 0;
  if (tests & plt_PathReadable) mode |= R_OK;
  if (tests & plt_PathWritable) mode |= W_OK;
  if (tests & plt_PathExecutable) mode |= X_OK;
  return SysAccess(path, mode) == 0;
}

// ============================================================= directories

bool plt_DirectoryList(const char* dir, plt_DirectoryVisitor each, void* context) {
  DIR* d = ::opendir(dir);
  if (int err = plt_FaultAfter(plt_FaultStat)) {
    if (d != nullptr) ::closedir(d);
    errno = err;
    return false;
  }
  if (d == nullptr) return false;
  while (struct dirent* e = ::readdir(d)) {
    if (::strcmp(e->d_name, ".") == 0 || ::strcmp(e->d_name, "..") == 0) continue;
    each(e->d_name, context);
  }
  ::closedir(d);
  return true;
}

// ============================================================== free space

bool plt_DiskSpaceOf(const char* path, plt_DiskSpace* space) {
  struct statvfs st;
  if (SysStatvfs(path, &st) != 0) return false;
  // Block counts are in units of the fragment size, not of f_bsize.
  std::uint64_t unit = st.f_frsize != 0 ? st.f_frsize : st.f_bsize;
  space->availableBytes = static_cast<std::uint64_t>(st.f_bavail) * unit;
  space->freeBytes = static_cast<std::uint64_t>(st.f_bfree) * unit;
  space->totalBytes = static_cast<std::uint64_t>(st.f_blocks) * unit;
  return true;
}

// ============================================================= environment

bool plt_GetEnv(const char* name, atr_String* value) {
  const char* text = ::getenv(name);
  if (text == nullptr) return false;
  *value = atr_String(text);
  return true;
}

atr_String plt_CurrentDirectory() {
  // getcwd with a null buffer would allocate with malloc; grow our own.
  for (int size = 256; size <= (1 << 20); size *= 2) {
    char* buf = static_cast<char*>(mem_Malloc(size));
    if (::getcwd(buf, size) != nullptr) {
      atr_String dir(buf);
      mem_Free(buf);
      return dir;
    }
    int err = errno;
    mem_Free(buf);
    if (err != ERANGE) {
      errno = err;
      break;
    }
  }
  return atr_String();
}

// ============================================================= descriptors

int plt_DescriptorOpen(const char* path, int crtFlags, int permission) {
  int flags = O_CLOEXEC;
  switch (crtFlags & 3) {
    case plt_CrtWriteOnly: flags |= O_WRONLY; break;
    case plt_CrtReadWrite: flags |= O_RDWR; break;
    default: flags |= O_RDONLY; break;
  }
  if (crtFlags & plt_CrtAppend) flags |= O_APPEND;
  if (crtFlags & plt_CrtCreate) flags |= O_CREAT;
  if (crtFlags & plt_CrtTruncate) flags |= O_TRUNC;
  if (crtFlags & plt_CrtExclusive) flags |= O_EXCL;
  return plt_PosixOpen(path, flags, static_cast<mode_t>(permission & 0777));
}

// ============================================================ unique names

std::uint64_t plt_UniqueSeed() {
  std::uint64_t seed = 0;
  if (::getrandom(&seed, sizeof seed, GRND_NONBLOCK) == static_cast<ssize_t>(sizeof seed)) return seed;
  // No entropy yet (early boot) or no getrandom: time and process id, mixed.
  struct timespec now = {};
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  seed = Mix(static_cast<std::uint64_t>(now.tv_sec) * 1000000000ull + static_cast<std::uint64_t>(now.tv_nsec));
  return Mix(seed ^ static_cast<std::uint64_t>(::getpid()));
}
