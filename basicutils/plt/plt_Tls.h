// Platform layer: thread-local storage slots (TlsAlloc and friends on
// Windows, pthread keys on POSIX). A slot index is an int; -1 means none.
#pragma once

#include "VNKUTI_BasicExport.h"

VNKUTI_BASIC_API int plt_TlsAlloc();  // -1 when no slot is left
VNKUTI_BASIC_API void plt_TlsFree(int index);
VNKUTI_BASIC_API void* plt_TlsGet(int index);
VNKUTI_BASIC_API void plt_TlsSet(int index, void* value);
