// Platform layer: a recursive mutex (a critical section on Windows).
//
// Two forms. plt_MutexStorage is embedded in its owner (thr_Mutex), so that
// locking costs no extra indirection; the owner calls Init before the first
// use and Fini after the last. plt_Mutex is the same lock in a cell of its
// own: plt_MutexCreate allocates through the core allocator and Destroy
// frees it.
#pragma once

#include "VNKUTI_BasicExport.h"

// Room for a pthread_mutex_t (40 bytes on x86-64, 48 on AArch64) or a
// CRITICAL_SECTION (24 bytes on x86, 40 on x64); each platform file checks
// that its lock fits.
struct plt_MutexStorage {
  alignas(8) unsigned char m_Bytes[48];
};

VNKUTI_BASIC_API void plt_MutexInit(plt_MutexStorage* m);
VNKUTI_BASIC_API void plt_MutexFini(plt_MutexStorage* m);
VNKUTI_BASIC_API void plt_MutexEnter(plt_MutexStorage* m);
VNKUTI_BASIC_API bool plt_MutexTryEnter(plt_MutexStorage* m);
VNKUTI_BASIC_API void plt_MutexLeave(plt_MutexStorage* m);

struct plt_Mutex;

VNKUTI_BASIC_API plt_Mutex* plt_MutexCreate();
VNKUTI_BASIC_API void plt_MutexDestroy(plt_Mutex* m);
VNKUTI_BASIC_API void plt_MutexLock(plt_Mutex* m);
VNKUTI_BASIC_API bool plt_MutexTryLock(plt_Mutex* m);
VNKUTI_BASIC_API void plt_MutexUnlock(plt_Mutex* m);
