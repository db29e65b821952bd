// Process-wide and per-thread singletons, the registry's finalization order,
// and the counted start-up of the module.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <vector>

#include "ThrTestSupport.h"
#include "omi/omi_Singleton.h"
#include "thr/thr_GlobalLock.h"
#include "thr/thr_GlobalSingleton.h"
#include "thr/thr_ThreadPool.h"
#include "thr/thr_ThreadSingleton.h"
#include "uti/UTI_BasicUtils.h"

using namespace thrtest;

namespace {

std::atomic<int> g_Made{0}, g_Gone{0};

struct Counted {
  Counted() { g_Made.fetch_add(1); }
  ~Counted() { g_Gone.fetch_add(1); }
};
std::string MadeAndGone() { return std::to_string(g_Made.load()) + "/" + std::to_string(g_Gone.load()); }

TEST(ThrGlobalSingleton, ConcurrentFirstUseCreatesOneObject) {
  g_Made = 0;
  g_Gone = 0;
  ASSERT_EQ(thr_GlobalSingletonBase<Counted>::Instance(), nullptr);
  std::atomic<int> ready{0};
  std::atomic<Counted*> seen[8] = {};
  RunThreads(8, [&](int i) {
    for (ready.fetch_add(1); ready.load() < 8;) std::this_thread::yield();
    seen[i] = &thr_GlobalSingleton<Counted>::Instance();
  });
  EXPECT_EQ(MadeAndGone(), "1/0");
  for (auto& p : seen) EXPECT_EQ(p.load(), thr_GlobalSingletonBase<Counted>::Instance());

  thr_GlobalSingletonBase<Counted>::Finalize();
  EXPECT_EQ(thr_GlobalSingletonBase<Counted>::Instance(), nullptr);
  thr_GlobalSingletonBase<Counted>::Finalize();  // nothing left: no effect
  EXPECT_EQ(MadeAndGone(), "1/1");
  thr_GlobalSingleton<Counted>::Instance();  // a fresh one after Finalize
  thr_GlobalSingletonBase<Counted>::Finalize();
  EXPECT_EQ(MadeAndGone(), "2/2");
}

struct Throwing {
  static inline int s_Tries = 0;
  Throwing() {
    if (++s_Tries == 1) throw 42;
  }
};

TEST(ThrGlobalSingleton, FailedConstructionLeavesNoObjectAndNoLock) {
  Throwing::s_Tries = 0;
  EXPECT_THROW(thr_GlobalSingleton<Throwing>::Instance(), int);
  EXPECT_EQ(thr_GlobalSingletonBase<Throwing>::Instance(), nullptr);
  // The creation mutex was released: a second try from another thread works.
  BoundedThread([] { thr_GlobalSingleton<Throwing>::Instance(); }).Join();
  EXPECT_NE(thr_GlobalSingletonBase<Throwing>::Instance(), nullptr);
  thr_GlobalSingletonBase<Throwing>::Finalize();
}

std::atomic<int> g_PerThreadGone{0};
struct PerThread {
  ~PerThread() { g_PerThreadGone.fetch_add(1); }
  int m_Owner = 0;
};

TEST(ThrThreadSingleton, OneObjectPerThreadAndIndexFreedAtZero) {
  g_PerThreadGone = 0;
  using S = thr_ThreadSingleton<PerThread>;
  using B = thr_ThreadSingletonBase<PerThread>;
  EXPECT_EQ(B::Instance(), nullptr);
  EXPECT_FALSE(B::ReleaseCurrentThread());  // nothing yet: reports false
  // "Living/gone" of the objects.
  auto counts = [] { return std::to_string(B::LivingCount()) + "/" + std::to_string(g_PerThreadGone.load()); };

  PerThread* mine = &S::Instance();
  EXPECT_EQ(&S::Instance(), mine);
  mine->m_Owner = 1;

  std::atomic<int> step{0};
  PerThread* theirs = nullptr;
  BoundedThread other([&] {
    theirs = &S::Instance();
    theirs->m_Owner = 2;
    step = 1;
    WaitUntil([&] { return step.load() == 2; });
    // The main thread released its own object; this one is untouched.
    EXPECT_TRUE(B::Instance() == theirs && theirs->m_Owner == 2);
    EXPECT_TRUE(B::ReleaseCurrentThread());
  });
  ASSERT_TRUE(WaitUntil([&] { return step.load() == 1; }));
  EXPECT_NE(theirs, mine);
  EXPECT_EQ(counts(), "2/0");
  EXPECT_TRUE(B::ReleaseCurrentThread());
  EXPECT_EQ(B::Instance(), nullptr);
  EXPECT_EQ(counts(), "1/1");
  step = 2;
  other.Join();
  EXPECT_EQ(counts(), "0/2");
  // With the index freed, a new object takes a new one.
  S::Instance();
  EXPECT_EQ(counts(), "1/2");
  EXPECT_EQ(B::Finalize(), 1);
  EXPECT_EQ(B::Finalize(), 0);
}

std::atomic<int> g_LeveledGone{0};
struct Leveled {
  static constexpr thr_ThreadObjectDestructLevel ThreadDestructLevel = static_cast<thr_ThreadObjectDestructLevel>(20);
  ~Leveled() { g_LeveledGone.fetch_add(1); }
};

TEST(ThrThreadSingleton, LeveledObjectGoesWhenAPoolThreadEnds) {
  g_LeveledGone = 0;
  std::atomic<int> ran{0};
  thr_ThreadPool& pool = thr_GlobalSingleton<thr_ThreadPool>::Instance();
  pool.AddThreads(2, thr_ThreadPool::e_computeThread);
  for (int i = 0; i < 2; ++i)
    ASSERT_TRUE(pool.RunTask(new FnTask([&ran](int) {
                               thr_ThreadSingleton<Leveled>::Instance();
                               ran.fetch_add(1);
                               WaitUntil([&] { return ran.load() == 2; });  // both workers hold one at once
                             }),
                             false, 0));
  ASSERT_TRUE(WaitUntil([&] { return ran.load() == 2; }));
  thr_GlobalSingletonBase<thr_ThreadPool>::Finalize();
  EXPECT_TRUE(thr_ThreadSingletonBase<Leveled>::LivingCount() == 0 && g_LeveledGone.load() == 2);
}

std::vector<int> g_Calls;
int g_ZeroReturns = 0;
template <int N>
int Fin() { g_Calls.push_back(N); return 1; }
int FinNothing() { ++g_ZeroReturns; return 0; }

TEST(ThrRegistry, FinalizeThreadRunsHighLevelsFirstAndSkipsZeroAndOne) {
  thr_ThrSingletonRegistry reg;
  g_Calls.clear();
  for (auto f : {&Fin<2>, &Fin<16>, &Fin<0>, &Fin<29>, &Fin<1>, (int (*)())nullptr}) reg.Register(f);
  EXPECT_EQ(reg.EntryCount(), 5);  // the null one ignored
  reg.SetDestructLevel(&Fin<29>, thr_DestructLevelThreadId);
  reg.SetDestructLevel(&Fin<16>, thr_DestructLevelRedirection);
  reg.SetDestructLevel(&Fin<2>, thr_DestructLevelLowest);
  reg.SetDestructLevel(&Fin<1>, static_cast<thr_ThreadObjectDestructLevel>(1));
  reg.FinalizeThread(0);
  EXPECT_EQ(g_Calls, (std::vector<int>{29, 16, 2}));
  // Entries that returned non-zero are cleared: a second pass calls nothing.
  g_Calls.clear();
  reg.FinalizeThread(0);
  EXPECT_TRUE(g_Calls.empty());
  // Cleared entries are reused instead of growing the table.
  for (int round = 0; round < 50; ++round) {
    reg.Register(&Fin<29>);
    reg.SetDestructLevel(&Fin<29>, thr_DestructLevelThreadId);
    reg.FinalizeThread(0);
  }
  EXPECT_LE(reg.EntryCount(), 10);
}

TEST(ThrRegistry, FinalizerReturningZeroIsCalledAgainAtEachLowerLevel) {
  thr_ThrSingletonRegistry reg;
  g_ZeroReturns = 0;
  reg.Register(&FinNothing);
  reg.Register(&FinNothing);  // duplicates are kept and both get the level
  reg.SetDestructLevel(&FinNothing, static_cast<thr_ThreadObjectDestructLevel>(5));
  reg.FinalizeThread(-1);
  EXPECT_TRUE(g_ZeroReturns == 2 * 4 && reg.EntryCount() == 2);  // levels 4, 3, 2, 1 are below 5
}

TEST(ThrInit, SecondInitializeOnlyCounts) {
  int count = 0;
  thr_GlobalLock* lock = omi_Singleton<thr_GlobalLock>::Peek();
  ASSERT_NE(lock, nullptr);
  thr_initialize(count);
  EXPECT_TRUE(count == 0 && omi_Singleton<thr_GlobalLock>::Peek() == lock);
  thr_finalize(count);
  EXPECT_TRUE(count == 0 && omi_Singleton<thr_GlobalLock>::Peek() == lock);
}

// Checks in a child process, which ends with the number of the first failed
// check (0 when all hold) and skips exit handlers: the library is left half
// torn down on purpose.
#define CHILD_CHECK(n, cond) \
  if (!(cond)) std::_Exit(n)

TEST(ThrInitDeathTest, FinalizeTearsDownAndAnUnmatchedOneDoesNothing) {
  EXPECT_EXIT(
      {
        int count = 0;
        thr_GlobalSingleton<Counted>::Instance();  // left alive by its owner
        thr_ThreadPool& pool = thr_GlobalSingleton<thr_ThreadPool>::Instance();
        pool.AddThreads(2, thr_ThreadPool::e_computeThread);
        g_Gone = 0;
        const int before = ProcessThreadCount();
        thr_finalize(count);  // the environment's initialize is the only one
        CHILD_CHECK(1, count == -1);
        CHILD_CHECK(2, omi_Singleton<thr_GlobalLock>::Peek() == nullptr);
        CHILD_CHECK(3, thr_GlobalSingletonBase<thr_ThreadPool>::Instance() == nullptr);
        CHILD_CHECK(4, thr_GlobalSingletonBase<Counted>::Instance() == nullptr && g_Gone == 1);
        CHILD_CHECK(5, thr_GlobalSingletonBase<thr_ThrSingletonRegistry>::Instance() == nullptr);
        CHILD_CHECK(6, ProcessThreadCount() == before - 2);
        thr_finalize(count);  // unmatched: wraps the counter, nothing else
        CHILD_CHECK(7, count == -1);
        thr_initialize(count);  // brings the counter back to 0: counts only
        CHILD_CHECK(8, count == -1 && omi_Singleton<thr_GlobalLock>::Peek() == nullptr);
        thr_initialize(count);  // a real first initialize again
        CHILD_CHECK(9, count == 0 && omi_Singleton<thr_GlobalLock>::Peek() != nullptr);
        thr_GlobalSingleton<Counted>::Instance();
        thr_ThreadSingleton<PerThread>::Instance();
        CHILD_CHECK(10, thr_ThreadSingletonBase<PerThread>::ReleaseCurrentThread());
        thr_GlobalSingletonBase<Counted>::Finalize();
        std::_Exit(0);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST(ThrInitDeathTest, FinalizeKeepsWhatAWorkerStillRunningNeeds) {
  EXPECT_EXIT(
      {
        int count = 0;
        static std::atomic<bool> gate{false};
        thr_ThreadPool& pool = thr_GlobalSingleton<thr_ThreadPool>::Instance();
        pool.AddThreads(1, thr_ThreadPool::e_computeThread);
        // Keep-alive: not waited for.
        pool.RunTask(new FnTask([](int) { WaitUntil([] { return gate.load(); }, 20s); }), true, 0);
        thr_finalize(count);
        CHILD_CHECK(1, count == -1 && thr_GlobalSingletonBase<thr_ThreadPool>::Instance() == nullptr);
        CHILD_CHECK(2, omi_Singleton<thr_GlobalLock>::Peek() != nullptr);
        CHILD_CHECK(3, thr_GlobalSingletonBase<thr_ThrSingletonRegistry>::Instance() != nullptr);
        const int threads = ProcessThreadCount();
        gate = true;  // the worker finishes, finalizes its objects and ends
        CHILD_CHECK(4, WaitUntil([&] { return ProcessThreadCount() == threads - 1; }));
        thr_initialize(count);  // finds the lock and the registry in place
        thr_finalize(count);
        CHILD_CHECK(5, omi_Singleton<thr_GlobalLock>::Peek() == nullptr);
        std::_Exit(0);
      },
      ::testing::ExitedWithCode(0), "");
}

}  // namespace
