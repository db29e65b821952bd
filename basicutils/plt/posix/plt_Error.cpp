// POSIX implementation of plt_Error.h: errno and strerror_r.
#include "plt/plt_Error.h"

#include <cerrno>
#include <cstring>

namespace {
// strerror_r has two signatures; these overloads take whichever libc gives.
[[maybe_unused]] const char* Pick(int rc, const char* buf) { return rc == 0 ? buf : nullptr; }
[[maybe_unused]] const char* Pick(const char* r, const char*) { return r; }
}  // namespace

int plt_LastError() { return errno; }
void plt_SetLastError(int code) { errno = code; }

atr_String plt_ErrorText(int code) {
  char buf[256];
  buf[0] = 0;
  const char* text = Pick(strerror_r(code, buf, sizeof buf), buf);
  if (text == nullptr || *text == 0) return atr_String("Unknown error ").append(atr_String(code));
  return atr_String(text);
}

atr_String plt_CrtErrorText(int crtErrno) { return plt_ErrorText(crtErrno); }

int plt_ErrFileNotFound() { return ENOENT; }
// Share-mode refusals are emulated with open-file-description locks; a
// refused open reports EBUSY, which nothing else in an open produces here.
int plt_ErrSharingViolation() { return EBUSY; }
