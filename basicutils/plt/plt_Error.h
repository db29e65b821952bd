// Platform layer: system error codes and their texts.
//
// A system error code is the platform's own: an errno value on POSIX, a
// GetLastError value on Windows. plt_ErrorText gives the system's text for a
// code (strerror_r on POSIX, FormatMessageA on Windows), never null.
#pragma once

#include "VNKUTI_BasicExport.h"
#include "atr/atr_String.h"

// The calling thread's last system error code.
VNKUTI_BASIC_API int plt_LastError();
VNKUTI_BASIC_API void plt_SetLastError(int code);
VNKUTI_BASIC_API atr_String plt_ErrorText(int code);
// The C run time's text for an errno value (strerror), thread-safe.
VNKUTI_BASIC_API atr_String plt_CrtErrorText(int crtErrno);

// Codes the portable code must recognise, in the platform's numbering.
VNKUTI_BASIC_API int plt_ErrFileNotFound();   // ENOENT / ERROR_FILE_NOT_FOUND
VNKUTI_BASIC_API int plt_ErrSharingViolation();  // the code an open refused by a share mode fails with
