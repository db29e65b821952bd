// Platform layer: child processes.
//
// plt_ProcessSpawn starts a program with an argument vector, an optional
// environment block, an optional starting directory and three descriptors
// that become the child's standard input, output and error. It answers an
// opaque plt_Process record, which the caller owns until plt_ProcessClose.
// Everything a Windows command line decides (quoting, the program search) is
// done by the caller; this layer runs exactly the file it is given.
//
// Exit status: plt_ProcessExitCode answers plt_ProcessStillActive while the
// child runs, then its exit code: the value given to exit(), -1 when the
// child was ended by plt_ProcessKill, 128 + the signal's number when any
// other signal ended it. On POSIX the status is collected (the child reaped)
// by the first call that sees the end; later calls answer the same code.
//
// Waiting uses a pidfd per child (poll), or, where the kernel has none, a
// waitpid polling loop. plt_ProcessClose on a child that has not been reaped
// hands it to a list of orphans that later calls (spawns, closes,
// plt_ProcessReapOrphans) reap once they end, so no zombie stays behind.
//
// Failures are reported through the result with the system error code in
// plt_LastError(). Spawns, exit-status reads, kills and pipe creation run
// through the fault hook's plt_FaultSpawn kind (plt_FaultInjection.h); a
// spawn the hook fails has its real child killed and reaped first.
//
// Records are not locked: one record is used by one thread at a time. The
// orphan list is locked inside.
#pragma once

#include "VNKUTI_BasicExport.h"
#include "atr/atr_String.h"

struct plt_Process;

// The exit code that means "still running" (Windows' STILL_ACTIVE).
constexpr int plt_ProcessStillActive = 259;

struct plt_SpawnRequest {
  const char* path;          // the program file, run as it is (no search)
  const char* const* argv;   // argument vector ending with a null pointer
  const char* environment;   // null: inherit; else "k=v\0k=v\0\0"
  const char* directory;     // null: inherit the caller's current directory
  int descriptors[3];        // the caller's descriptors for the child's 0, 1, 2
  bool newSession;           // no controlling terminal (CREATE_NO_WINDOW)
};

// ------------------------------------------------------------------ start
// Starts the child; null on failure (a missing or non-executable program
// fails here, in the caller: ENOENT, EACCES, ENOEXEC). The child gets no
// descriptor but its three standard ones, its signal mask empty and every
// signal at its default action.
VNKUTI_BASIC_API plt_Process* plt_ProcessSpawn(const plt_SpawnRequest& request);
VNKUTI_BASIC_API int plt_ProcessId(const plt_Process* p);

// ------------------------------------------------------------------ status
// Waits for the end at most milliseconds (< 0: no limit, 0: only looks).
// True when the child has ended (its status can be read), false on timeout.
VNKUTI_BASIC_API bool plt_ProcessWait(plt_Process* p, long long milliseconds);
// Waits for the first of n children to end (WaitForMultipleObjects, wait-all
// false); answers its index, the lowest when several have ended, or -1 on
// timeout or failure. n may exceed 64.
VNKUTI_BASIC_API int plt_ProcessWaitAny(plt_Process* const* p, int n, long long milliseconds);
// GetExitCodeProcess: false when the status cannot be read (ECHILD when
// someone else reaped the child).
VNKUTI_BASIC_API bool plt_ProcessExitCode(plt_Process* p, int* code);

// ----------------------------------------------------------------- control
// TerminateProcess: SIGKILL. False when the child has already been reaped.
VNKUTI_BASIC_API bool plt_ProcessKill(plt_Process* p);
// CloseHandle: frees the record; a child not yet reaped becomes an orphan.
VNKUTI_BASIC_API void plt_ProcessClose(plt_Process* p);
// Reaps the orphans that have ended; answers how many are left.
VNKUTI_BASIC_API int plt_ProcessReapOrphans();

// -------------------------------------------------------------- descriptors
// A pipe: [0] reads, [1] writes; neither end is inherited by exec'd
// programs. False on failure.
VNKUTI_BASIC_API bool plt_PipeCreate(int ends[2]);
// Writes all count bytes to a pipe; a pipe whose reader has gone fails with
// EPIPE instead of raising a signal. Answers count or -1.
VNKUTI_BASIC_API int plt_PipeWrite(int fd, const void* data, int count);
// Whether fd is an open descriptor (fstat, through the fault hook's
// plt_FaultSize kind); false with EBADF otherwise.
VNKUTI_BASIC_API bool plt_DescriptorValid(int fd);
// Opens a file for a child's standard stream (the C run time's _open):
// stream 0 read-only; 1 and 2 write-only, created when absent (writable, the
// umask applied), truncated, or with append opened for appending and
// positioned at the end. The descriptor is 3 or above and not inherited by
// exec'd programs. Runs through the fault hook's plt_FaultOpen kind.
// Answers the descriptor, or -1.
VNKUTI_BASIC_API int plt_RedirectOpen(const char* path, int stream, bool append);

// ---------------------------------------------------------- the environment
// The platform's null device path ("/dev/null"), which the device name
// "nul" stands for.
VNKUTI_BASIC_API const char* plt_NullDevicePath();
// The separator of the directories in PATH (':' here, ';' on Windows).
VNKUTI_BASIC_API char plt_PathListSeparator();
// The calling process's environment strings, "k=v" each, ending with null.
VNKUTI_BASIC_API const char* const* plt_ProcessEnvironment();
// The directory of the running program's file; empty when unknown.
VNKUTI_BASIC_API atr_String plt_ProcessApplicationDirectory();
// Whole seconds of a clock that only goes forward.
VNKUTI_BASIC_API long long plt_ProcessClockSeconds();

// ----------------------------------------------------------------- testing
// Makes every later wait use the waitpid polling loop (true), as on a kernel
// without pidfds, or pidfds again where there are (false).
VNKUTI_BASIC_API void plt_ProcessForcePolling(bool force);
