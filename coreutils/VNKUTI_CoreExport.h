// Export macro of VNKUTI_CoreUtils. The library is built with hidden
// visibility; every public class and function carries VNKUTI_CORE_API.
#pragma once

#if defined(_WIN32)
#  if defined(VNKUTI_CORE_BUILDING)
#    define VNKUTI_CORE_API __declspec(dllexport)
#  else
#    define VNKUTI_CORE_API __declspec(dllimport)
#  endif
#else
#  define VNKUTI_CORE_API __attribute__((visibility("default")))
#endif
