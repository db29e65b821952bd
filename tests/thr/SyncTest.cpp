// Mutex, condition variables, barrier, shared integer, atomic values and the
// lock pool, each with real threads where the semantics depend on them.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <vector>

#include "ThrTestSupport.h"
#include "thr/thr_Barrier.h"
#include "thr/thr_CondVar.h"
#include "thr/thr_LockPool.h"
#include "thr/thr_Mutex.h"
#include "thr/thr_SynchedInt.h"
#include "thr/thr_ThreadPool.h"

using namespace thrtest;
using Clock = std::chrono::steady_clock;

namespace {

TEST(ThrMutex, TryLockRefusesEvenItsHolderWhileLockReenters) {
  thr_Mutex m(0);
  EXPECT_EQ(m.TryLock(), 1);
  EXPECT_EQ(m.TryLock(), 0);  // the locked word says taken
  m.Lock();                   // recursive for the holder
  m.Unlock();                 // clears the word although still held once
  EXPECT_FALSE(m.IsLocked());
  int fromOther = -1;
  BoundedThread([&] { fromOther = m.TryLock(); }).Join();
  EXPECT_EQ(fromOther, 0);  // the platform lock is still held
  m.Unlock();
  BoundedThread([&] {
    fromOther = m.TryLock();
    if (fromOther == 1) m.Unlock();
  }).Join();
  EXPECT_EQ(fromOther, 1);
}

TEST(ThrMutex, ExcludesOtherThreads) {
  thr_Mutex m(0);
  long total = 0;  // plain: only the mutex protects it
  RunThreads(4, [&](int) {
    for (int i = 0; i < 20000; ++i) {
      m.Lock();
      ++total;
      m.Unlock();
    }
  });
  EXPECT_EQ(total, 80000);
}

TEST(ThrCondVar, SignalWakesExactlyTheThreadsWaitingThen) {
  thr_CondVar cv;
  cv.Signal();  // nobody waits yet: lost
  std::atomic<int> waiting{0}, woken{0};
  std::vector<std::unique_ptr<BoundedThread>> waiters;
  for (int i = 0; i < 3; ++i)
    waiters.push_back(std::make_unique<BoundedThread>([&] {
      cv.Lock();
      waiting.fetch_add(1);
      cv.WaitForSignal(0);
      woken.fetch_add(1);
      cv.Unlock();
    }));
  // Each releases the lock only by starting to wait: once all have counted
  // themselves in, the lock is granted only when the last one waits.
  WaitUntil([&] { return waiting.load() == 3; });
  cv.Lock();
  cv.Unlock();
  std::this_thread::sleep_for(50ms);
  EXPECT_EQ(woken.load(), 0);  // 0 seconds waits without limit
  cv.Signal();
  EXPECT_TRUE(WaitUntil([&] { return woken.load() == 3; }));

  // The pulse is over: a thread that starts waiting now is not released.
  cv.Lock();
  const auto start = Clock::now();
  cv.WaitForSignalMs(150);
  EXPECT_GE(MillisSince(start), 140);
  cv.Unlock();
}

TEST(ThrCondVar, WaitReleasesARecursiveLockAndTakesItBack) {
  thr_CondVar cv;
  cv.Lock();
  cv.Lock();
  cv.WaitForSignalMs(20);
  cv.Unlock();
  cv.Unlock();
  LockElsewhere(cv);
}

TEST(ThrCondVar, SignalFromAThreadThatTookTheLockIsNotMissed) {
  // The classic lost-wake-up window: the signaller takes the lock after the
  // waiter tested its predicate, so the wait must already be under way.
  thr_CondVar cv;
  bool ready = false;
  for (int round = 0; round < 200; ++round) {
    ready = false;
    BoundedThread signaller([&] {
      cv.Lock();
      ready = true;
      cv.Signal();
      cv.Unlock();
    });
    cv.Lock();
    while (!ready) cv.WaitForSignal(0);
    cv.Unlock();
    signaller.Join(10s);
  }
}

TEST(ThrEliCondVar, SignalReleasesAWaiterAndStaysUntilReset) {
  thr_EliCondVar cv;
  std::atomic<bool> passed{false};
  BoundedThread waiter([&] {
    cv.WaitForSignal(0);
    passed = true;
  });
  std::this_thread::sleep_for(30ms);
  EXPECT_FALSE(passed.load());
  cv.Signal();
  waiter.Join(10s);
  EXPECT_TRUE(passed.load());
  auto start = Clock::now();
  cv.WaitForSignal(0);
  cv.WaitForSignal(0);
  EXPECT_LT(MillisSince(start), 500);
  cv.ResetSignal();
  start = Clock::now();
  cv.WaitForSignal(1);
  EXPECT_GE(MillisSince(start), 950);
}

void RunEpisodes(int threads, int episodes) {
  thr_Barrier barrier;
  std::vector<std::atomic<int>> arrived(episodes);
  // Plain data: what one thread writes before an episode, all read after it.
  std::vector<std::vector<int>> written(threads, std::vector<int>(episodes, 0));
  std::atomic<int> failures{0};
  RunThreads(
      threads,
      [&](int t) {
        for (int e = 0; e < episodes; ++e) {
          written[t][e] = e + 1;
          arrived[e].fetch_add(1);
          barrier.BarrierSync(threads);
          if (arrived[e].load() != threads) failures.fetch_add(1);
          for (int o = 0; o < threads; ++o)
            if (written[o][e] != e + 1) failures.fetch_add(1);
        }
      },
      60s);
  EXPECT_EQ(failures.load(), 0) << threads << " threads";
}

TEST(ThrBarrier, EpisodesAreReusedByTwoToEightThreads) {
  RunEpisodes(2, 2000);
  RunEpisodes(3, 500);
  RunEpisodes(8, 150);
  thr_Barrier b;  // a count of one or none returns at once
  b.BarrierSync(1);
  b.BarrierSync(0);
}

// Only one of two threads ever arrives: the spin sees the error condition
// and ends the process with status 1, from the main thread or a pool thread.
TEST(ThrBarrierDeathTest, GivesUpWhenThePoolReportsAnError) {
  EXPECT_EXIT(
      {
        thr_GlobalSingleton<thr_ThreadPool>::Instance().SetErrorCondition(true);
        thr_Barrier b;
        b.SetNoWaitOnDestroy(true);
        b.BarrierSync(2);
      },
      ::testing::ExitedWithCode(1), "");
  EXPECT_EXIT(
      {
        thr_ThreadPool& pool = thr_GlobalSingleton<thr_ThreadPool>::Instance();
        pool.AddThreads(1, thr_ThreadPool::e_computeThread);
        static thr_Barrier b;
        b.SetNoWaitOnDestroy(true);
        pool.RunTask(new FnTask([](int) { b.BarrierSync(2); }), false, 0);
        std::this_thread::sleep_for(20ms);
        pool.SetErrorCondition(true);
        std::this_thread::sleep_for(30s);
      },
      ::testing::ExitedWithCode(1), "");
}

TEST(ThrSynchedInt, PublishesWhatWasWrittenBefore) {
  thr_SynchedInt flag(0);
  flag.WaitForValue(0);  // already matches: returns at once
  int payload = 0;       // plain: ordered by the flag only
  BoundedThread writer([&] {
    payload = 42;
    flag.SetValue(1);
    flag.WaitForValue(2);
    EXPECT_EQ(payload, 43);
  });
  flag.WaitForValue(1);
  EXPECT_EQ(payload, 42);
  payload = 43;
  flag.SetValue(2);
  writer.Join();
  EXPECT_EQ(flag.GetValue(), 2);
}

TEST(ThrAtomicType, StoresAndCopiesValuesWithoutTheMutex) {
  thr_AtomicType<double> d(1.25);
  thr_AtomicType<double> copy(d);
  d.Lock();  // assignments do not take the mutex
  d = -2.5;
  thr_AtomicType<double>& self = (copy = d);
  d.Unlock();
  EXPECT_TRUE(&self == &copy && copy.Get() == -2.5);
  thr_AtomicType<unsigned int> u(7u);
  u = 0xFFFFFFFFu;
  EXPECT_EQ(static_cast<unsigned int>(u), 0xFFFFFFFFu);

  // A copy made while the source is locked has a mutex of its own.
  thr_AtomicType<int> a(3);
  a.Lock();
  thr_AtomicType<int> b(a);
  LockElsewhere(b);
  a.Unlock();
  EXPECT_EQ(b.Get(), 3);
}

TEST(ThrLockPool, GrowsByTenAndHandsOutTheLowestFreeSlot) {
  thr_LockPool pool;
  std::vector<thr_PoolLock*> locks;
  locks.push_back(pool.GetLock());
  EXPECT_TRUE(pool.Capacity() == 10 && locks[0]->Index() == 0);
  for (int i = 1; i < 10; ++i) locks.push_back(pool.GetLock());
  EXPECT_EQ(pool.Capacity(), 10);
  locks.push_back(pool.GetLock());  // the eleventh
  EXPECT_TRUE(pool.Capacity() == 20 && locks[10]->Index() == 10 && pool.InUse() == 11);

  pool.ReturnLock(locks[3]);
  pool.ReturnLock(locks[3]);  // twice: ignored
  pool.ReturnLock(nullptr);
  thr_LockPool other;
  thr_PoolLock* foreign = other.GetLock();
  pool.ReturnLock(foreign);  // not this pool's: ignored
  EXPECT_EQ(pool.InUse(), 10);
  EXPECT_EQ(pool.GetLock(), locks[3]);  // the lowest free slot again
}

}  // namespace
