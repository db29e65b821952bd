// Start-up and shut-down of VNKUTI_BasicUtils.
//
// Call UTI_BasicUtils_initialize once before the first use of any class of
// the library and UTI_BasicUtils_finalize with the same integer after the
// last; nested pairs are allowed and only the outermost acts. The first
// initialize brings up the core library and then the modules typ, thr, cam,
// pnt, mrm, bio, cow, cls, nex, rgx, pdc, utl, uti in that order; the last
// finalize takes them down in the reverse order, the core library last.
//
// The integer is the application's tally: every module's first initialize
// adds one and its last finalize subtracts one; the library never reads it.
// Each module's pair may also be called directly by code that uses only that
// module. Start-up and shut-down run on one thread while no other thread uses
// the library.
#pragma once

#include "VNKUTI_BasicExport.h"

VNKUTI_BASIC_API void UTI_BasicUtils_initialize(int& count);
VNKUTI_BASIC_API void UTI_BasicUtils_finalize(int& count);

#define VNKUTI_DECLARE_MODULE(prefix)                     \
  VNKUTI_BASIC_API void prefix##_initialize(int& count); \
  VNKUTI_BASIC_API void prefix##_finalize(int& count);

VNKUTI_DECLARE_MODULE(typ)
VNKUTI_DECLARE_MODULE(thr)
VNKUTI_DECLARE_MODULE(cam)
VNKUTI_DECLARE_MODULE(pnt)
VNKUTI_DECLARE_MODULE(mrm)
VNKUTI_DECLARE_MODULE(bio)
VNKUTI_DECLARE_MODULE(cow)
VNKUTI_DECLARE_MODULE(cls)
VNKUTI_DECLARE_MODULE(nex)
VNKUTI_DECLARE_MODULE(rgx)
VNKUTI_DECLARE_MODULE(pdc)
VNKUTI_DECLARE_MODULE(utl)
VNKUTI_DECLARE_MODULE(uti)

#undef VNKUTI_DECLARE_MODULE

// Do nothing: naming one forces the module to be linked and loaded.
VNKUTI_BASIC_API void uti_formalize();
