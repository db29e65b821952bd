// Platform layer: a recursive mutex (a critical section on Windows).
//
// plt_MutexCreate allocates through the core allocator; Destroy frees it.
#pragma once

#include "VNKUTI_BasicExport.h"

struct plt_Mutex;

VNKUTI_BASIC_API plt_Mutex* plt_MutexCreate();
VNKUTI_BASIC_API void plt_MutexDestroy(plt_Mutex* m);
VNKUTI_BASIC_API void plt_MutexLock(plt_Mutex* m);
VNKUTI_BASIC_API bool plt_MutexTryLock(plt_Mutex* m);
VNKUTI_BASIC_API void plt_MutexUnlock(plt_Mutex* m);
