// The allocator every heap allocation of both libraries goes through.
//
// All functions sit on the C allocator. mem_Free releases memory from any of
// the allocating functions below (not from mem_Acquire: use mem_Release).
// On exhaustion the allocating functions call the exhaustion handler, which
// is expected to throw (the exception module installs one that raises
// nex_OutOfMemoryException); without a handler, or when it returns, they
// throw std::bad_alloc. None of them ever returns null.
#pragma once

#include <cstddef>

#include "VNKUTI_CoreExport.h"

VNKUTI_CORE_API void* mem_Malloc(std::size_t size);
VNKUTI_CORE_API void* mem_Realloc(void* p, std::size_t size);  // keeps the contents up to the smaller size
VNKUTI_CORE_API void mem_Free(void* p);                         // null is accepted

// Ordinary objects, small fixed-size objects, raw buffers of plain values.
VNKUTI_CORE_API void* mem_OperatorNewThrow(std::size_t size);
VNKUTI_CORE_API void* mem_OperatorNewTinyThrow(std::size_t size);
VNKUTI_CORE_API void* mem_OperatorNewThrowBuiltin(std::size_t size);

// Page-aligned blocks for the cache manager; released only by mem_Release.
VNKUTI_CORE_API void* mem_Acquire(std::size_t size);
VNKUTI_CORE_API void mem_Release(void* p);

// Names the allocator so that a program links it; does nothing.
VNKUTI_CORE_API void mem_formalize();

// Called with the size that could not be had. Returns the previous handler.
typedef void (*mem_ExhaustionHandler)(std::size_t size);
VNKUTI_CORE_API mem_ExhaustionHandler mem_SetExhaustionHandler(mem_ExhaustionHandler handler);
