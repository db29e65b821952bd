// Start-up and shut-down of VNKUTI_CoreUtils, and the counted contract every
// module of both libraries follows.
//
// Initialize: the call that finds the module's counter at 0 adds one to the
// caller's integer and acts; later calls only count. Finalize: the call that
// drops the counter from 1 to 0 subtracts one and acts. An unmatched finalize
// wraps the counter; it is the caller's fault and is not detected. The
// counters are plain integers: start-up and shut-down run on one thread while
// no other thread uses the libraries.
#pragma once

#include "VNKUTI_CoreExport.h"

VNKUTI_CORE_API void UTI_CoreUtils_initialize(int& count);
VNKUTI_CORE_API void UTI_CoreUtils_finalize(int& count);

// The counted step of a module's initializer: true when this call must act.
VNKUTI_CORE_API bool UTI_ModuleEnter(unsigned& counter, int& count, const char* module);
// The counted step of a module's finalizer: true when this call must act.
VNKUTI_CORE_API bool UTI_ModuleLeave(unsigned& counter, int& count, const char* module);

// A hook told of every counted call, for tests and start-up tracing.
enum UTI_ModuleEvent { UTI_InitActs, UTI_InitCounts, UTI_FiniActs, UTI_FiniCounts };
typedef void (*UTI_ModuleTraceHook)(const char* module, UTI_ModuleEvent event);
VNKUTI_CORE_API UTI_ModuleTraceHook UTI_SetModuleTraceHook(UTI_ModuleTraceHook hook);
