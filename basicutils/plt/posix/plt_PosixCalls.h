// Internal to the plt/posix files: the system-call wrappers and clock helpers
// more than one of them needs. A wrapper returns the call's own result with
// errno set on failure; where a test may want the call to fail, the fault
// hook is asked after the real call has run, so the caller's real error path
// runs. Not installed; nothing outside plt/posix includes it.
#pragma once

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include "plt/impl/plt_FaultHook.h"

// Sets errno and answers -1, the failure value of the calls wrapped here.
inline int plt_PosixFail(int error) {
  errno = error;
  return -1;
}

// Makes call() again for as long as it fails with EINTR; answers the last result.
template <class Call>
inline auto plt_PosixRetry(Call call) -> decltype(call()) {
  decltype(call()) r;
  do r = call();
  while (r < 0 && errno == EINTR);
  return r;
}

// result, the outcome of a call of kind that has just run, unless the fault
// hook fails that call: then -1 with the hook's error in errno.
template <class Result>
inline Result plt_PosixFaultAfter(plt_FaultKind kind, Result result) {
  if (int err = plt_FaultAfter(kind)) return static_cast<Result>(plt_PosixFail(err));
  return result;
}

// open(2). A descriptor opened before an injected fault is closed again, so
// that nothing leaks.
inline int plt_PosixOpen(const char* path, int flags, mode_t mode) {
  int fd = plt_PosixRetry([&] { return ::open(path, flags, mode); });
  if (int err = plt_FaultAfter(plt_FaultOpen)) {
    if (fd >= 0) ::close(fd);
    return plt_PosixFail(err);
  }
  return fd;
}

// fstat(2), failed by the size fault: a file's size is what it is asked for.
inline int plt_PosixFstat(int fd, struct stat* st) { return plt_PosixFaultAfter(plt_FaultSize, ::fstat(fd, st)); }

// ================================================================== clocks

// Now on the monotonic clock.
inline long long plt_PosixNowNs() {
  timespec t;
  clock_gettime(CLOCK_MONOTONIC, &t);
  return t.tv_sec * 1000000000LL + t.tv_nsec;
}

inline long long plt_PosixNowMs() { return plt_PosixNowNs() / 1000000; }

// Sleeps ns nanoseconds (ns >= 0), the rest of the time again after a signal.
inline void plt_PosixSleepNs(long long ns) {
  timespec left{static_cast<time_t>(ns / 1000000000LL), static_cast<long>(ns % 1000000000LL)};
  while (::nanosleep(&left, &left) < 0 && errno == EINTR) {
  }
}

inline void plt_PosixSleepMs(long long ms) { plt_PosixSleepNs(ms * 1000000LL); }

// The monotonic time milliseconds from now, for pthread_cond_timedwait on a
// condition variable set to CLOCK_MONOTONIC.
inline timespec plt_PosixDeadlineAfter(long long milliseconds) {
  timespec t;
  clock_gettime(CLOCK_MONOTONIC, &t);
  t.tv_sec += static_cast<time_t>(milliseconds / 1000);
  t.tv_nsec += static_cast<long>(milliseconds % 1000) * 1000000L;
  if (t.tv_nsec >= 1000000000L) {
    t.tv_nsec -= 1000000000L;
    ++t.tv_sec;
  }
  return t;
}
