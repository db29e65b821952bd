// The allocation operators: each forwards to the core allocator, placement
// forms touch nothing, and every form's memory is released by mem_Free.
#include <gtest/gtest.h>

#include <cstring>
#include <new>

#include "mem/mem_Alloc.h"
#include "mem/mem_AllocationOperators.h"

namespace {

constexpr std::size_t kHuge = std::size_t(1) << 62;

struct Plain : mem_AllocationOperators {
  int m_Value = 7;
};
struct Tiny : mem_AllocationOperatorsTiny {
  int m_Value = 8;
};
struct ThrowsOnBuild : mem_AllocationOperators {
  ThrowsOnBuild() { throw 1; }
};
struct ThrowsOnBuildRaw {
  ThrowsOnBuildRaw() { throw 1; }
};

// Swaps in an exhaustion handler that records the size the allocator could
// not have, so that a failing request shows where an operator forwarded it.
struct Exhausted {};
std::size_t g_FailedSize = 0;
void RecordAndThrow(std::size_t size) {
  g_FailedSize = size;
  throw Exhausted{};
}

class AllocationOperators : public ::testing::Test {
 protected:
  void SetUp() override {
    g_FailedSize = 0;
    m_Old = mem_SetExhaustionHandler(&RecordAndThrow);
  }
  void TearDown() override { mem_SetExhaustionHandler(m_Old); }
  mem_ExhaustionHandler m_Old = nullptr;
};

TEST_F(AllocationOperators, EveryAllocatingFormForwardsToTheCoreAllocator) {
  // The handler sees each request's size unchanged: no header is added.
  void* (*const forms[])(std::size_t) = {
      [](std::size_t n) { return Plain::operator new(n); },     [](std::size_t n) { return Plain::operator new[](n); },
      [](std::size_t n) { return Tiny::operator new(n); },      [](std::size_t n) { return Tiny::operator new[](n); },
      [](std::size_t n) { return operator new(n, mem_BuiltIn); }, [](std::size_t n) { return operator new[](n, mem_BuiltIn); },
  };
  for (std::size_t i = 0; i < std::size(forms); ++i) {
    EXPECT_THROW(forms[i](kHuge + 8 * i), Exhausted);
    EXPECT_EQ(g_FailedSize, kHuge + 8 * i) << i;
  }
}

TEST_F(AllocationOperators, TinyMemoryIsReleasedByMemFree) {
  for (std::size_t n : {1u, 4u, 16u, 100u})
    for (void* p : {Tiny::operator new(n), Tiny::operator new[](n)}) {
      std::memset(p, 0xAB, n);
      mem_Free(p);
    }
  Tiny* t = new Tiny;
  t->~Tiny();
  mem_Free(t);
}

TEST_F(AllocationOperators, PlacementNewReturnsTheAddressAndDeleteLeavesItAlone) {
  alignas(Plain) unsigned char storage[sizeof(Plain) + 8];
  std::memset(storage, 0x5A, sizeof storage);
  Plain* p = new (storage) Plain;
  EXPECT_EQ(static_cast<void*>(p), static_cast<void*>(storage));
  EXPECT_EQ(p->m_Value, 7);
  p->~Plain();
  unsigned char before[sizeof storage];
  std::memcpy(before, storage, sizeof storage);
  // Called through a pointer: the compiler would take a direct call for a
  // release of stack memory and warn.
  void (*volatile placementDelete)(void*, void*) = &Plain::operator delete;
  placementDelete(storage, storage);
  EXPECT_EQ(std::memcmp(before, storage, sizeof storage), 0);

  // A constructor that throws in a placement new calls the placement delete,
  // which must not free memory it never allocated (stack memory here).
  std::memset(storage, 0x5A, sizeof storage);
  EXPECT_THROW((void)new (storage) ThrowsOnBuild, int);
  for (unsigned char c : storage) ASSERT_EQ(c, 0x5A);
}

TEST_F(AllocationOperators, BuiltInBuffersAreReleasedByMemFree) {
  char* buf = new (mem_BuiltIn) char[100];
  std::memset(buf, 1, 100);
  mem_Free(buf);
  int* one = new (mem_BuiltIn) int(3);
  EXPECT_EQ(*one, 3);
  mem_Free(one);
  // A failing constructor gives the memory back (a leak would show under
  // AddressSanitizer).
  EXPECT_THROW((void)new (mem_BuiltIn) ThrowsOnBuildRaw, int);
}

}  // namespace
