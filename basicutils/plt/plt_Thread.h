// Platform layer: threads, their suspension, and the process's end.
//
// plt_ThreadStart runs main(arg) on a new thread with the default stack and
// returns its handle, or null when the system refuses. The handle belongs to
// the creator until plt_ThreadClose, which lets a thread that still runs go
// on by itself.
//
// Suspension: plt_ThreadSuspend stops the thread and returns once it has
// stopped; suspensions count, and the thread runs again when
// plt_ThreadResume has been called as often. On POSIX a thread is stopped by
// a signal whose handler waits until it is resumed; the handler is installed
// by plt_SuspendHandlerInstall, and a thread that blocks the signal with
// plt_SuspendSignalMask is not stopped. Only threads started here can be
// suspended. A thread that holds a lock others need must not be suspended
// while they wait for it.
#pragma once

#include "VNKUTI_BasicExport.h"

struct plt_Thread;
typedef unsigned (*plt_ThreadMain)(void* arg);

VNKUTI_BASIC_API plt_Thread* plt_ThreadStart(plt_ThreadMain main, void* arg);
// True once the thread has ended (it is then reaped). milliseconds < 0 waits
// without limit, 0 only looks.
VNKUTI_BASIC_API bool plt_ThreadWait(plt_Thread* t, long long milliseconds);
VNKUTI_BASIC_API void plt_ThreadClose(plt_Thread* t);

// True when the thread is (still) stopped after the call; false when it
// could not be stopped (no handler installed, signal blocked, thread ended).
// Either way the call counts and needs its plt_ThreadResume.
VNKUTI_BASIC_API bool plt_ThreadSuspend(plt_Thread* t);
// False when the thread was not suspended.
VNKUTI_BASIC_API bool plt_ThreadResume(plt_Thread* t);

// Installs (install = true) or removes the suspension handler; restart asks
// that system calls the handler interrupts be restarted. Returns whether the
// handler is installed afterwards. Does nothing where threads are suspended
// without signals.
VNKUTI_BASIC_API bool plt_SuspendHandlerInstall(bool install, bool restart);
// Blocks (block = true) or unblocks the suspension signal in the calling
// thread.
VNKUTI_BASIC_API void plt_SuspendSignalMask(bool block);

VNKUTI_BASIC_API void plt_Sleep(int milliseconds);
VNKUTI_BASIC_API void plt_Yield();
// One turn of a busy wait: a processor hint, no system call.
VNKUTI_BASIC_API void plt_SpinPause();

// Ends the process with status (exit handlers run).
[[noreturn]] VNKUTI_BASIC_API void plt_ProcessExit(int status);
