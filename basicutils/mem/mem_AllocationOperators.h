// Mix-in classes whose class-level new and delete go to the core library's
// allocator, and the global new overload for raw buffers.
//
// Each operator is a direct forward: no header is added, no size is recorded.
// A class derives from mem_AllocationOperators (ordinary objects) or from
// mem_AllocationOperatorsTiny (small fixed-size objects such as locks).
#pragma once

#include <cstddef>

#include "VNKUTI_BasicExport.h"
#include "mem/mem_Alloc.h"

class VNKUTI_BASIC_API mem_AllocationOperators {
 public:
  static void* operator new(std::size_t size) { return mem_OperatorNewThrow(size); }
  static void* operator new[](std::size_t size) { return mem_OperatorNewThrow(size); }
  static void operator delete(void* p) noexcept { mem_Free(p); }
  static void operator delete[](void* p) noexcept { mem_Free(p); }
  static void* operator new(std::size_t, void* where) noexcept { return where; }
  static void operator delete(void*, void*) noexcept {}
};

class VNKUTI_BASIC_API mem_AllocationOperatorsTiny {
 public:
  static void* operator new(std::size_t size) { return mem_OperatorNewTinyThrow(size); }
  static void* operator new[](std::size_t size) { return mem_OperatorNewTinyThrow(size); }
  static void operator delete(void* p) noexcept { mem_Free(p); }
  static void operator delete[](void* p) noexcept { mem_Free(p); }
  static void* operator new(std::size_t, void* where) noexcept { return where; }
  static void operator delete(void*, void*) noexcept {}
};

// Tag that selects the raw-buffer overload: new (mem_BuiltIn) char[n].
// Release such memory with mem_Free (after destroying any objects in it).
enum mem_BuiltInAlloc { mem_BuiltIn };

VNKUTI_BASIC_API void* operator new(std::size_t size, mem_BuiltInAlloc);
VNKUTI_BASIC_API void* operator new[](std::size_t size, mem_BuiltInAlloc);
// Called only when a constructor throws inside such a new-expression.
VNKUTI_BASIC_API void operator delete(void* p, mem_BuiltInAlloc) noexcept;
VNKUTI_BASIC_API void operator delete[](void* p, mem_BuiltInAlloc) noexcept;
