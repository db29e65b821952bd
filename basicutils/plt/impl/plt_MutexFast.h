// Internal to the library: the enter and leave of a plt_MutexStorage as
// inline functions, for thr_Mutex, whose Lock and Unlock are hot enough that
// a further call per operation shows. The system calls stay in the platform
// files included here. Not installed; not for public headers.
#pragma once

#include "plt/plt_Mutex.h"

#if defined(_WIN32)
#include "plt/win32/plt_MutexFast.inc"
#else
#include "plt/posix/plt_MutexFast.inc"
#endif
