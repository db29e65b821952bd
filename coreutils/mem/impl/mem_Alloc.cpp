// The front of the allocator: chooses between the small-block pool, the
// large-block cache and the C allocator by size, and finds a block's owner
// from the chunk map when it is freed or resized.
#include "mem/mem_Alloc.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

#include "mem_ChunkMap.h"
#include "mem_LargeCache.h"
#include "mem_SmallPool.h"

using namespace mem_internal;

namespace {

// Read on every failed allocation from any thread; set during start-up.
constinit std::atomic<mem_ExhaustionHandler> g_Handler{nullptr};

constexpr std::size_t kPage = 4096;

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kPooledByDefault = false;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool kPooledByDefault = false;
#else
constexpr bool kPooledByDefault = true;
#endif
#else
constexpr bool kPooledByDefault = true;
#endif

enum : std::uint8_t { kUndecided, kPooled, kPlain };
constinit std::atomic<std::uint8_t> g_Mode{kUndecided};

// Every thread that decides reads the same environment and stores the same.
std::uint8_t DecideMode() {
  bool pooled = kPooledByDefault;
  if (const char* v = std::getenv("VNKUTI_MEM")) {
    if (std::strcmp(v, "plain") == 0) pooled = false;
    if (std::strcmp(v, "pool") == 0) pooled = true;
  }
  std::uint8_t mode = pooled ? kPooled : kPlain;
  g_Mode.store(mode, std::memory_order_relaxed);
  return mode;
}

inline bool Pooled() {
  std::uint8_t mode = g_Mode.load(std::memory_order_relaxed);
  if (__builtin_expect(mode == kUndecided, 0)) mode = DecideMode();
  return mode == kPooled;
}

[[noreturn]] void Exhausted(std::size_t size) {
  if (mem_ExhaustionHandler h = g_Handler.load(std::memory_order_acquire)) h(size);
  throw std::bad_alloc();
}

inline void* Allocate(std::size_t size) {
  if (size <= mem_kSmallLimit) {
    if (Pooled())
      if (void* p = PoolAlloc(ClassOf(size))) return p;
  } else if (size >= mem_kLargeLimit) {
    if (Pooled())
      if (void* p = LargeAlloc(size)) return p;
  }
  // The pool and the cache give up only when the C allocator has nothing
  // for them: one more try here, then the handler. malloc(0) may return
  // null; callers expect a usable pointer.
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
  std::uint8_t code = ChunkCode(p);
  if (code == kForeignCode) {
    if (p == nullptr) return Allocate(size);
    void* q = std::realloc(p, size ? size : 1);
    if (q == nullptr) Exhausted(size);  // the old block is still valid and still the caller's
    return q;
  }
  bool large = code == kLargeCode;
  std::size_t have = large ? LargeCapacity(p) : ClassSize(code - 1u);
  // A pool block never shrinks (at most mem_kSmallLimit bytes stay unused);
  // a large one moves when it would leave more than half unused.
  if (size <= have && (!large || size >= have / 2)) return p;
  // A pool block that grows is likely to grow again (strings, arrays): it
  // gets room for twice its old size, so that the next step stays in place.
  std::size_t room = size;
  if (!large && size <= mem_kSmallLimit) room = std::max(size, std::min(2 * have, mem_kSmallLimit));
  void* q = Allocate(room);  // on exhaustion p stays the caller's
  std::memcpy(q, p, size < have ? size : have);
  if (large)
    LargeFree(p);
  else
    PoolFree(p, code - 1u);
  return q;
}

void mem_Free(void* p) {
  std::uint8_t code = ChunkCode(p);
  if (code == kForeignCode) return std::free(p);
  if (code != kLargeCode) return PoolFree(p, code - 1u);
  LargeFree(p);
}

void* mem_Acquire(std::size_t size) {
  if (size > SIZE_MAX - kPage) Exhausted(size);
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

mem_Usage mem_GetUsage() {
  mem_Usage usage{};
  usage.m_Pooled = Pooled();
  PoolUsage(usage);
  LargeUsage(usage);
  return usage;
}

void mem_Trim() {
  PoolTrim();
  LargeTrim();
}
