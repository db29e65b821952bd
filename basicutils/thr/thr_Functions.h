// Free functions of the threads module: memory barriers, the signal hooks
// that suspend pool threads, and the way a thread gives up after an error.
#pragma once

#include "VNKUTI_BasicExport.h"

// A full fence, a store-store (release) fence and a load-load (acquire)
// fence. Each is also a compiler barrier.
VNKUTI_BASIC_API void thr_MemoryBarrier();
VNKUTI_BASIC_API void thr_WriteMemoryBarrier();
VNKUTI_BASIC_API void thr_ReadMemoryBarrier();

// Installs (suspend = true) or removes the handler of the signal that stops
// a pool thread for thr_ThreadPool::SuspendThreads; restart asks that system
// calls it interrupts be restarted. thr_initialize installs it with
// restart; thr_finalize removes it. Without it, suspending does nothing.
VNKUTI_BASIC_API void thr_installSignalHandler(bool suspend, bool restart);
// Non-zero blocks the suspension signal in the calling thread (it can no
// longer be suspended); 0 unblocks it.
VNKUTI_BASIC_API void thr_maskSuspendSignalsInThread(int mask);

// Ends the calling thread after an error. status != 0: the pool is put into
// its error condition and the process exits with status. status == 0: the
// pool is finalized; a pool thread then has its per-thread objects finalized
// and returns (it is to end right after); any other thread exits the process
// with status 0.
VNKUTI_BASIC_API void thr_ErrorInThread(int status);

// The calling thread's number: slot + 1 in a pool thread, -1 elsewhere.
// Creates nothing.
VNKUTI_BASIC_API int thr_CurrentThreadNumber();
