// cow_SystemErrorCode: an operating-system error code and a C run-time errno
// value, the pair a nex_SystemErrorException carries.
#pragma once

#include "VNKUTI_BasicExport.h"
#include "cow/cow_String.h"

class VNKUTI_BASIC_API cow_SystemErrorCode {
 public:
  static constexpr unsigned NoNativeCode = 0xFFFFFFFFu;

  cow_SystemErrorCode() = default;
  cow_SystemErrorCode(unsigned nativeErrorCode, int crtErrorCode)
      : m_NativeErrorCode(nativeErrorCode), m_CRTErrorCode(crtErrorCode) {}

  // The error's text: strerror of the run-time code when there is no native
  // code; else the socket error table's text; else the system's own text.
  cow_String GetText() const;

  unsigned m_NativeErrorCode = NoNativeCode;
  int m_CRTErrorCode = 0;
};

// The socket error table's text for code, or null when the table lacks it.
VNKUTI_BASIC_API const char* cow_SocketErrorText(int code);
