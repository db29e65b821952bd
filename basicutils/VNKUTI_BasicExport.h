// Export macro of VNKUTI_BasicUtils. The library is built with hidden
// visibility; every public class, function and promised template
// instantiation carries VNKUTI_BASIC_API (exception classes included, or a
// caller could not catch them by type).
#pragma once

#if defined(_WIN32)
#  if defined(VNKUTI_BASIC_BUILDING)
#    define VNKUTI_BASIC_API __declspec(dllexport)
#  else
#    define VNKUTI_BASIC_API __declspec(dllimport)
#  endif
#else
#  define VNKUTI_BASIC_API __attribute__((visibility("default")))
#endif
