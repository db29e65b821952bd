#include "mem/mem_Alloc.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

// Read on every failed allocation from any thread; set during start-up.
constinit std::atomic<mem_ExhaustionHandler> g_Handler{nullptr};

constexpr std::size_t kPage = 4096;

[[noreturn]] void Exhausted(std::size_t size) {
  if (mem_ExhaustionHandler h = g_Handler.load(std::memory_order_acquire)) h(size);
  throw std::bad_alloc();
}

inline void* Allocate(std::size_t size) {
  // malloc(0) may legitimately return null; callers expect a usable pointer.
  void* p = std::malloc(size ? size : 1);
  if (__builtin_expect(p == nullptr, 0)) Exhausted(size);
  return p;
}

}  // namespace

void* mem_Malloc(std::size_t size) { return Allocate(size); }
void* mem_OperatorNewThrow(std::size_t size) { return Allocate(size); }
void* mem_OperatorNewTinyThrow(std::size_t size) { return Allocate(size); }
void* mem_OperatorNewThrowBuiltin(std::size_t size) { return Allocate(size); }

void* mem_Realloc(void* p, std::size_t size) {
  void* q = std::realloc(p, size ? size : 1);
  if (q == nullptr) Exhausted(size);  // the old block is still valid and still the caller's
  return q;
}

void mem_Free(void* p) { std::free(p); }

void* mem_Acquire(std::size_t size) {
  std::size_t rounded = (size + kPage - 1) / kPage * kPage;
  void* p = std::aligned_alloc(kPage, rounded ? rounded : kPage);
  if (p == nullptr) Exhausted(size);
  return p;
}

void mem_Release(void* p) { std::free(p); }

void mem_formalize() {}

mem_ExhaustionHandler mem_SetExhaustionHandler(mem_ExhaustionHandler handler) {
  return g_Handler.exchange(handler, std::memory_order_acq_rel);
}
