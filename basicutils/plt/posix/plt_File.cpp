// POSIX implementation of plt_File.h. Only this file (and the other plt/posix
// files) may call the operating system for files. Each OS call goes through
// one wrapper, here or in plt_PosixCalls.h, which retries EINTR and then
// lets the fault hook turn the outcome into a failure.
#include "plt/plt_File.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <climits>

#include "plt/plt_Error.h"
#include "plt/plt_FaultInjection.h"
#include "plt/posix/plt_PosixCalls.h"

namespace {

// ================================================================= wrappers
// Each returns the system call's result, with errno set on failure, and
// reports the fault hook's error after the real call (plt_PosixCalls.h).

int SysClose(int fd) {
  // Not retried on EINTR: Linux has released the descriptor already.
  return plt_PosixFaultAfter(plt_FaultClose, ::close(fd));
}

ssize_t SysRead(int fd, void* buf, size_t count) {
  return plt_PosixFaultAfter(plt_FaultRead, plt_PosixRetry([&] { return ::read(fd, buf, count); }));
}

ssize_t SysWrite(int fd, const void* buf, size_t count) {
  return plt_PosixFaultAfter(plt_FaultWrite, plt_PosixRetry([&] { return ::write(fd, buf, count); }));
}

off_t SysSeek(int fd, off_t offset, int whence) { return plt_PosixFaultAfter(plt_FaultSeek, ::lseek(fd, offset, whence)); }

int SysTruncate(int fd, off_t size) {
  return plt_PosixFaultAfter(plt_FaultTruncate, plt_PosixRetry([&] { return ::ftruncate(fd, size); }));
}

// Reserves storage for [offset, offset + length) without changing the size.
int SysReserve(int fd, off_t offset, off_t length) {
  return plt_PosixFaultAfter(plt_FaultTruncate,
                             plt_PosixRetry([&] { return ::fallocate(fd, FALLOC_FL_KEEP_SIZE, offset, length); }));
}

int SysSync(int fd) { return plt_PosixFaultAfter(plt_FaultFlush, plt_PosixRetry([&] { return ::fsync(fd); })); }

// cmd is F_OFD_SETLK, F_OFD_SETLKW or F_OFD_GETLK.
int SysLock(int fd, int cmd, struct flock* fl) {
  return plt_PosixFaultAfter(plt_FaultLock, plt_PosixRetry([&] { return ::fcntl(fd, cmd, fl); }));
}

int SysUnlink(const char* path) { return plt_PosixFaultAfter(plt_FaultUnlink, ::unlink(path)); }

int SysRename(const char* from, const char* to) { return plt_PosixFaultAfter(plt_FaultRename, ::rename(from, to)); }

// ============================================================= share modes
// Windows checks an open's access and share mode against every open already
// made. Here each open holds shared OFD locks on reserved bytes that say what
// it does and what it forbids, and then looks for the locks of the others
// that conflict with it. Taking its own locks before looking means that two
// conflicting opens racing each other may both fail, never both succeed.
// The bytes lie at the top of the offset range, where no data and no caller's
// range lock (utl_flock ends below 4 GiB) can reach.
constexpr off_t kShareBase = LLONG_MAX - 15;
constexpr off_t kHasRead = kShareBase + 0;     // held by opens with read access
constexpr off_t kHasWrite = kShareBase + 1;    // held by opens with write access
constexpr off_t kDeniesRead = kShareBase + 2;  // held by opens without FILE_SHARE_READ
constexpr off_t kDeniesWrite = kShareBase + 3; // held by opens without FILE_SHARE_WRITE

struct flock ByteLock(short type, off_t at) {
  struct flock fl = {};
  fl.l_type = type;
  fl.l_whence = SEEK_SET;
  fl.l_start = at;
  fl.l_len = 1;
  fl.l_pid = 0;  // required by the OFD commands
  return fl;
}

// Errors that mean "this file system keeps no locks": share modes are then
// not enforced rather than every open refused.
bool LocksUnsupported(int err) { return err == EINVAL || err == ENOLCK || err == EOPNOTSUPP; }

enum ShareOutcome { kShareOk, kShareConflict, kShareError };

ShareOutcome HeldByOther(int fd, off_t at, bool* held) {
  struct flock fl = ByteLock(F_WRLCK, at);
  if (SysLock(fd, F_OFD_GETLK, &fl) < 0) return kShareError;
  *held = fl.l_type != F_UNLCK;
  return kShareOk;
}

// kShareOk, kShareConflict (errno = sharing violation) or kShareError.
ShareOutcome AcquireShare(int fd, bool read, bool write, int share) {
  const bool deniesRead = (share & plt_ShareRead) == 0;
  const bool deniesWrite = (share & plt_ShareWrite) == 0;
  const struct {
    bool mine;
    off_t at;
  } marks[] = {{read, kHasRead}, {write, kHasWrite}, {deniesRead, kDeniesRead}, {deniesWrite, kDeniesWrite}};
  for (const auto& m : marks) {
    if (!m.mine) continue;
    struct flock fl = ByteLock(F_RDLCK, m.at);
    if (SysLock(fd, F_OFD_SETLK, &fl) < 0) {
      if (LocksUnsupported(errno)) return kShareOk;
      // Nobody takes these bytes exclusively; treat a refusal as a conflict.
      if (errno == EAGAIN || errno == EACCES) return (errno = plt_ErrSharingViolation(), kShareConflict);
      return kShareError;
    }
  }
  const struct {
    bool check;
    off_t at;
  } conflicts[] = {{read, kDeniesRead}, {write, kDeniesWrite}, {deniesRead, kHasRead}, {deniesWrite, kHasWrite}};
  for (const auto& c : conflicts) {
    if (!c.check) continue;
    bool held = false;
    if (HeldByOther(fd, c.at, &held) != kShareOk) return LocksUnsupported(errno) ? kShareOk : kShareError;
    if (held) {
      errno = plt_ErrSharingViolation();
      return kShareConflict;
    }
  }
  return kShareOk;
}

bool ValidHandle(plt_FileHandle h) { return h >= 0 && h <= INT_MAX; }

}  // namespace

// =================================================================== files

plt_FileHandle plt_FileOpen(const char* path, plt_FileAccessMode access, plt_FileCreation creation, int share) {
  const bool write = access == plt_AccessReadWrite;
  int flags = O_CLOEXEC | (write ? O_RDWR : O_RDONLY);
  // The file is truncated only after the share check, so that an open the
  // share modes refuse leaves another opener's data alone.
  if (creation == plt_CreateAlways) flags |= O_CREAT;
  int fd = plt_PosixOpen(path, flags, 0666);
  if (fd < 0) return plt_InvalidFile;

  auto abandon = [fd](int err) {
    ::close(fd);
    errno = err;
    return plt_InvalidFile;
  };
  struct stat st;
  if (plt_PosixFstat(fd, &st) < 0) return abandon(errno);
  if (S_ISDIR(st.st_mode)) return abandon(EISDIR);
  if (AcquireShare(fd, true, write, share) != kShareOk) return abandon(errno);
  // An empty file is left as it is: on ext4 a truncate to 0 marks the file
  // for a flush when it is closed (auto_da_alloc), which makes the close of
  // a large new file wait for its write-out to be started.
  if (creation == plt_CreateAlways && S_ISREG(st.st_mode) && st.st_size > 0 && SysTruncate(fd, 0) < 0)
    return abandon(errno);
  // No access-pattern hint: POSIX_FADV_RANDOM, the nearest thing to
  // FILE_FLAG_RANDOM_ACCESS, turns off read-ahead for the sequential section
  // copies, and on Linux 6.18 it made sequential writes to the file twice as
  // slow (0.32 s against 0.61 s per GiB). The kernel's read-ahead already
  // backs off by itself when access is random.
  return fd;
}

bool plt_FileClose(plt_FileHandle h) {
  if (!ValidHandle(h)) return plt_PosixFail(EBADF), false;
  return SysClose(static_cast<int>(h)) == 0;
}

int plt_FileRead(plt_FileHandle h, void* buf, int count) {
  if (!ValidHandle(h)) return plt_PosixFail(EBADF);
  if (count < 0) return plt_PosixFail(EINVAL);
  // Like ReadFile on a disk file: the whole count unless the file ends.
  char* p = static_cast<char*>(buf);
  int done = 0;
  while (done < count) {
    ssize_t n = SysRead(static_cast<int>(h), p + done, static_cast<size_t>(count - done));
    if (n < 0) return -1;
    if (n == 0) break;
    done += static_cast<int>(n);
  }
  return done;
}

int plt_FileWrite(plt_FileHandle h, const void* buf, int count) {
  if (!ValidHandle(h)) return plt_PosixFail(EBADF);
  if (count < 0) return plt_PosixFail(EINVAL);
  const char* p = static_cast<const char*>(buf);
  int done = 0;
  while (done < count) {
    ssize_t n = SysWrite(static_cast<int>(h), p + done, static_cast<size_t>(count - done));
    if (n < 0) return done > 0 ? done : -1;  // errno says why the rest was refused
    if (n == 0) break;
    done += static_cast<int>(n);
  }
  return done;
}

bool plt_FileSeek(plt_FileHandle h, long long offset, plt_SeekOrigin origin, long long* result) {
  if (!ValidHandle(h)) return plt_PosixFail(EBADF), false;
  int whence = origin == plt_SeekCurrent ? SEEK_CUR : origin == plt_SeekEnd ? SEEK_END : SEEK_SET;
  off_t r = SysSeek(static_cast<int>(h), static_cast<off_t>(offset), whence);
  if (r < 0) return false;
  if (result) *result = r;
  return true;
}

bool plt_FileSize(plt_FileHandle h, long long* size) {
  if (!ValidHandle(h)) return plt_PosixFail(EBADF), false;
  struct stat st;
  if (plt_PosixFstat(static_cast<int>(h), &st) < 0) return false;
  *size = st.st_size;
  return true;
}

bool plt_FileTruncate(plt_FileHandle h, long long size) {
  if (!ValidHandle(h)) return plt_PosixFail(EBADF), false;
  const int fd = static_cast<int>(h);
  // SetEndOfFile allocates what a file grows by, so a full disk fails there,
  // before a caller has overwritten anything; ftruncate alone would leave a
  // hole, and the disk would run full in the middle of the writes that
  // follow. Storage is reserved first; a file system that cannot reserve
  // gets the plain truncate.
  struct stat st;
  if (plt_PosixFstat(fd, &st) < 0) return false;
  if (S_ISREG(st.st_mode) && size > st.st_size &&
      SysReserve(fd, st.st_size, static_cast<off_t>(size - st.st_size)) < 0) {
    if (errno != EOPNOTSUPP && errno != ENOSYS && errno != EINVAL) {
      const int err = errno;
      (void)::ftruncate(fd, st.st_size);  // gives back what a partial reservation took
      errno = err;
      return false;
    }
  }
  return SysTruncate(fd, static_cast<off_t>(size)) == 0;
}

bool plt_FileFlush(plt_FileHandle h) {
  if (!ValidHandle(h)) return plt_PosixFail(EBADF), false;
  return SysSync(static_cast<int>(h)) == 0;
}

// ============================================================ range locks

bool plt_FileLockRange(plt_FileHandle h, long long offset, long long length, bool exclusive, bool wait) {
  if (!ValidHandle(h)) return plt_PosixFail(EBADF), false;
  struct flock fl = ByteLock(exclusive ? F_WRLCK : F_RDLCK, static_cast<off_t>(offset));
  fl.l_len = static_cast<off_t>(length);
  return SysLock(static_cast<int>(h), wait ? F_OFD_SETLKW : F_OFD_SETLK, &fl) == 0;
}

bool plt_FileUnlockRange(plt_FileHandle h, long long offset, long long length) {
  if (!ValidHandle(h)) return plt_PosixFail(EBADF), false;
  struct flock fl = ByteLock(F_UNLCK, static_cast<off_t>(offset));
  fl.l_len = static_cast<off_t>(length);
  return SysLock(static_cast<int>(h), F_OFD_SETLK, &fl) == 0;
}

// ================================================================== names

bool plt_FileDelete(const char* path) { return SysUnlink(path) == 0; }
bool plt_FileRename(const char* from, const char* to) { return SysRename(from, to) == 0; }

// ============================================================ descriptors

plt_FileHandle plt_FileFromDescriptor(int fd) {
  if (fd < 0 || ::fcntl(fd, F_GETFD) < 0) return plt_PosixFail(EBADF), plt_InvalidFile;
  return fd;
}

int plt_DescriptorRead(int fd, void* buf, int count) {
  if (count < 0) return plt_PosixFail(EINVAL);
  return static_cast<int>(SysRead(fd, buf, static_cast<size_t>(count)));
}

int plt_DescriptorWrite(int fd, const void* buf, int count) {
  if (count < 0) return plt_PosixFail(EINVAL);
  return static_cast<int>(SysWrite(fd, buf, static_cast<size_t>(count)));
}

int plt_DescriptorSetBinary(int fd) {
  // No text mode to leave; only a closed descriptor fails, as _setmode does.
  return ::fcntl(fd, F_GETFD) < 0 ? -1 : 0;
}

int plt_DescriptorCreateExclusive(const char* path) {
  return plt_PosixOpen(path, O_RDONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
}

int plt_DescriptorClose(int fd) { return SysClose(fd); }

// ================================================================== misc

int plt_FileProcessId() { return static_cast<int>(::getpid()); }

void plt_FileSleepMilliseconds(int ms) {
  if (ms > 0) plt_PosixSleepNs(ms * 1000000LL);
}

void plt_FaultExitNow(int code) { ::_exit(code); }
