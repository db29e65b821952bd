#include "mem/mem_AllocationOperators.h"

void* operator new(std::size_t size, mem_BuiltInAlloc) { return mem_OperatorNewThrowBuiltin(size); }
void* operator new[](std::size_t size, mem_BuiltInAlloc) { return mem_OperatorNewThrowBuiltin(size); }
void operator delete(void* p, mem_BuiltInAlloc) noexcept { mem_Free(p); }
void operator delete[](void* p, mem_BuiltInAlloc) noexcept { mem_Free(p); }
