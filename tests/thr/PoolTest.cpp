// The thread pool: slot choice, workers' idle turns, destruction with and
// without waiting, suspension, termination and the ways a thread gives up.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <deque>

#include "ThrTestSupport.h"
#include "thr/thr_Functions.h"
#include "thr/thr_ThreadPool.h"

using namespace thrtest;
using Clock = std::chrono::steady_clock;

namespace {

std::atomic<int> g_TasksGone{0};

// Records where and when it ran; may wait for a gate before returning.
struct Probe {
  std::atomic<int> m_Slot{-100}, m_Number{-100};
  std::atomic<bool> m_Started{false}, m_Finished{false}, m_Gate{true};
  Clock::time_point m_StartTime;
};

struct ProbeTask : thr_ThreadTask {
  Probe* m_Probe;
  explicit ProbeTask(Probe* p) : m_Probe(p) {}
  ~ProbeTask() override { g_TasksGone.fetch_add(1); }
  void Run(int thread) override {
    m_Probe->m_StartTime = Clock::now();
    m_Probe->m_Slot = thread;
    m_Probe->m_Number = thr_CurrentThreadNumber();
    m_Probe->m_Started = true;
    WaitUntil([this] { return m_Probe->m_Gate.load(); }, 20s);
    m_Probe->m_Finished = true;
  }
};

// What the tasks touch lives in the fixture, so that a test that stops
// early still ends its workers before that goes: TearDown opens every gate,
// stops the spinners and destroys the pool.
class ThrPool : public ::testing::Test {
 protected:
  void SetUp() override {
    // A first thread makes a sanitizer start its own helper thread, which
    // must not count against the workers.
    std::thread([] {}).join();
    m_Threads = ProcessThreadCount();
    g_TasksGone = 0;
    m_Pool = &thr_GlobalSingleton<thr_ThreadPool>::Instance();
  }
  void TearDown() override {
    for (Probe& p : m_Probes) p.m_Gate = true;
    m_Stop = true;
    EndPool();
    EXPECT_TRUE(WaitUntil([this] { return ProcessThreadCount() == m_Threads; })) << "a worker outlived the test";
  }
  static void EndPool() { thr_GlobalSingletonBase<thr_ThreadPool>::Finalize(); }
  Probe& NewProbe(bool gateOpen = true) {
    m_Probes.emplace_back();
    m_Probes.back().m_Gate = gateOpen;
    return m_Probes.back();
  }
  // A new probe whose task was handed to the pool.
  Probe& Hand(bool gateOpen = true, bool keepAlive = false, int tries = 0) {
    Probe& p = NewProbe(gateOpen);
    EXPECT_TRUE(m_Pool->RunTask(new ProbeTask(&p), keepAlive, tries));
    return p;
  }
  static bool Set(const std::atomic<bool>& flag) { return WaitUntil([&] { return flag.load(); }); }
  bool SlotBecomes(int slot, int state) { return WaitUntil([this, slot, state] { return m_Pool->SlotState(slot) == state; }); }
  // A task that counts its turns until the test stops it; a masked one
  // ignores suspensions while it spins.
  thr_ThreadTask* Spin(std::atomic<long>& progress, bool masked = false) {
    return new FnTask([this, &progress, masked](int) {
      if (masked) thr_maskSuspendSignalsInThread(1);
      while (!m_Stop.load()) {
        progress.fetch_add(1);
        std::this_thread::sleep_for(1ms);
      }
      if (masked) thr_maskSuspendSignalsInThread(0);
    });
  }

  thr_ThreadPool* m_Pool = nullptr;
  int m_Threads = 0;
  std::deque<Probe> m_Probes;
  std::atomic<long> m_Progress[2] = {};
  std::atomic<bool> m_Stop{false};
  std::atomic<int> m_Done{0};
};

TEST_F(ThrPool, WithoutWorkersTheTaskIsParkedInSlotZeroAndFreedWithThePool) {
  Probe& p = Hand();
  EXPECT_EQ(m_Pool->SlotState(0), thr_ThreadPool::e_taskHandedOver);
  // Slot 0 is now busy; a bounded second try fails and the caller keeps it.
  EXPECT_FALSE(m_Pool->RunTask(std::make_unique<ProbeTask>(&NewProbe()).get(), false, 3));
  EXPECT_FALSE(m_Pool->RunTask(nullptr, false, 1));
  std::this_thread::sleep_for(30ms);
  EXPECT_FALSE(p.m_Started.load());
  thr_GlobalSingletonBase<thr_ThreadPool>::Finalize();
  EXPECT_EQ(g_TasksGone.load(), 2);
}

// A worker serves task after task; its slot and thread number (slot + 1)
// are seen inside, and each task is deleted once it has run.
TEST_F(ThrPool, LowestIdleSlotFirstThenTheLastAndFalseWhenAllAreBusy) {
  m_Pool->AddThreads(3, thr_ThreadPool::e_computeThread);
  EXPECT_EQ(m_Pool->ThreadCount(), 3);
  Probe* p[3];
  for (int i = 0; i < 3; ++i) {
    p[i] = &Hand(false, false, 3);
    ASSERT_TRUE(Set(p[i]->m_Started));
    EXPECT_EQ(std::make_pair(p[i]->m_Slot.load(), p[i]->m_Number.load()), std::make_pair(i, i + 1));
  }
  EXPECT_FALSE(m_Pool->RunTask(std::make_unique<ProbeTask>(&NewProbe()).get(), false, 3));
  // The middle worker comes free: it is the lowest idle one again, each time.
  p[1]->m_Gate = true;
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(SlotBecomes(1, thr_ThreadPool::e_idle));
    Probe& again = Hand(true, false, 3);
    ASSERT_TRUE(Set(again.m_Finished));
    EXPECT_EQ(std::make_pair(again.m_Slot.load(), again.m_Number.load()), std::make_pair(1, 2));
  }
  ASSERT_TRUE(SlotBecomes(1, thr_ThreadPool::e_idle));
  EXPECT_EQ(thr_CurrentThreadNumber(), -1);
  EXPECT_EQ(g_TasksGone.load(), 5);  // the refused one, p[1] and the three after it
}

TEST_F(ThrPool, IdleWorkerStartsATaskPromptlyWhilePollingAndAfter) {
  m_Pool->AddThreads(1, thr_ThreadPool::e_computeThread);
  // Inside the polling turns, then past 100 turns (waiting without limit).
  for (auto idle : {25ms, 1300ms}) {
    std::this_thread::sleep_for(idle);
    const auto handed = Clock::now();
    Probe& p = Hand();
    ASSERT_TRUE(Set(p.m_Finished));
    EXPECT_LT(p.m_StartTime - handed, 500ms) << idle.count();
  }
}

TEST_F(ThrPool, DestructionWaitsForARunningTask) {
  m_Pool->AddThreads(2, thr_ThreadPool::e_computeThread);
  Probe& p = Hand(false);
  ASSERT_TRUE(Set(p.m_Started));
  BoundedThread opener([&] {
    std::this_thread::sleep_for(150ms);
    p.m_Gate = true;
  });
  thr_GlobalSingletonBase<thr_ThreadPool>::Finalize();
  EXPECT_TRUE(p.m_Finished.load());
  EXPECT_EQ(g_TasksGone.load(), 1);
}

// A keep-alive task, or any task under the error condition, is not waited
// for: the worker finishes on its own, deletes its task and ends (TearDown
// checks that its thread is gone).
TEST_F(ThrPool, DestructionWaitsNeitherForKeepAliveTasksNorUnderTheErrorCondition) {
  for (bool keepAlive : {true, false}) {
    SCOPED_TRACE(keepAlive ? "keep-alive" : "error condition");
    g_TasksGone = 0;
    m_Pool = &thr_GlobalSingleton<thr_ThreadPool>::Instance();
    m_Pool->AddThreads(2, thr_ThreadPool::e_computeThread);
    Probe& p = Hand(false, keepAlive);
    ASSERT_TRUE(Set(p.m_Started));
    if (!keepAlive) m_Pool->SetErrorCondition(true);
    EndPool();
    EXPECT_FALSE(p.m_Finished.load());
    p.m_Gate = true;
    EXPECT_TRUE(WaitUntil([&] { return g_TasksGone.load() == 1; }));
    EXPECT_TRUE(WaitUntil([this] { return ProcessThreadCount() == m_Threads; }));
  }
}

TEST_F(ThrPool, TerminateThreadEndsAnIdleWorker) {
  m_Pool->AddThreads(2, thr_ThreadPool::e_computeThread);
  std::this_thread::sleep_for(20ms);
  m_Pool->TerminateThread(1);
  EXPECT_TRUE(SlotBecomes(1, thr_ThreadPool::e_exited));
  EXPECT_EQ(m_Pool->SlotState(0), thr_ThreadPool::e_idle);
  m_Pool->TerminateThread(5000);  // outside the table: only finalizes the caller's objects
  EXPECT_EQ(m_Pool->SlotState(5000), -1);
}

TEST_F(ThrPool, ErrorInThreadWithStatusZeroFromAWorkerFinalizesThePool) {
  m_Pool->AddThreads(2, thr_ThreadPool::e_computeThread);
  ASSERT_TRUE(m_Pool->RunTask(new FnTask([this](int) {
                                thr_ErrorInThread(0);  // finalizes the pool from inside it, then returns
                                m_Done = thr_GlobalSingletonBase<thr_ThreadPool>::Instance() == nullptr ? 1 : 2;
                              }),
                              false, 0));
  ASSERT_TRUE(WaitUntil([&] { return m_Done.load() != 0; }));
  EXPECT_EQ(m_Done.load(), 1);
  // The worker ends by itself once its task has returned (TearDown checks).
}

TEST_F(ThrPool, SuspendStopsWorkersUntilResumed) {
  m_Pool->AddThreads(2, thr_ThreadPool::e_computeThread);
  std::atomic<long>* progress = m_Progress;
  ASSERT_TRUE(m_Pool->RunTask(Spin(progress[0]), false, 0));
  ASSERT_TRUE(m_Pool->RunTask(Spin(progress[1]), false, 0));
  ASSERT_TRUE(WaitUntil([&] { return progress[0].load() > 0 && progress[1].load() > 0; }));

  m_Pool->SuspendThreads();
  EXPECT_FALSE(m_Pool->Running());
  const long frozen[2] = {progress[0].load(), progress[1].load()};
  std::this_thread::sleep_for(100ms);
  EXPECT_TRUE(progress[0].load() == frozen[0] && progress[1].load() == frozen[1]);
  m_Pool->ResumeThreads();
  EXPECT_TRUE(m_Pool->Running());
  EXPECT_TRUE(WaitUntil([&] { return progress[0].load() > frozen[0] && progress[1].load() > frozen[1]; }));

  // Sparing slot 0: only slot 1 stops.
  m_Pool->SuspendAllOtherThreads(0);
  const long spared = progress[0].load(), held = progress[1].load();
  EXPECT_TRUE(WaitUntil([&] { return progress[0].load() > spared + 5; }));
  EXPECT_EQ(progress[1].load(), held);
  m_Pool->ResumeAllOtherThreads(0);
  EXPECT_TRUE(WaitUntil([&] { return progress[1].load() > held; }));

  // Suspensions count; a worker left suspended is resumed by the destructor.
  m_Pool->SuspendThreads();
  m_Pool->SuspendThreads();
  m_Pool->ResumeThreads();
  const long still = progress[1].load();
  std::this_thread::sleep_for(50ms);
  EXPECT_EQ(progress[1].load(), still);
}

TEST_F(ThrPool, MaskedWorkerIsNotSuspended) {
  m_Pool->AddThreads(1, thr_ThreadPool::e_computeThread);
  std::atomic<long>& progress = m_Progress[0];
  ASSERT_TRUE(m_Pool->RunTask(Spin(progress, true), false, 0));
  ASSERT_TRUE(WaitUntil([&] { return progress.load() > 0; }));
  m_Pool->SuspendThreads();
  const long at = progress.load();
  EXPECT_TRUE(WaitUntil([&] { return progress.load() > at + 5; }));
  m_Pool->ResumeThreads();
}

TEST(ThrPoolDeathTest, ExitThreadEndsTheProcessFromAnyThread) {
  EXPECT_EXIT(thr_GlobalSingleton<thr_ThreadPool>::Instance().ExitThread(0, 7), ::testing::ExitedWithCode(7), "");
  EXPECT_EXIT(
      {
        thr_ThreadPool& pool = thr_GlobalSingleton<thr_ThreadPool>::Instance();
        pool.AddThreads(1, thr_ThreadPool::e_computeThread);
        pool.RunTask(new FnTask([&pool](int thread) { pool.ExitThread(thread, 5); }), false, 0);
        std::this_thread::sleep_for(30s);
      },
      ::testing::ExitedWithCode(5), "");
}

TEST(ThrPoolDeathTest, ErrorInThreadEndsTheProcess) {
  EXPECT_EXIT(thr_ErrorInThread(3), ::testing::ExitedWithCode(3), "");
  // Status 0 outside the pool: the pool is finalized, then the process ends.
  EXPECT_EXIT(
      {
        thr_GlobalSingleton<thr_ThreadPool>::Instance().AddThreads(1, thr_ThreadPool::e_computeThread);
        thr_ErrorInThread(0);
      },
      ::testing::ExitedWithCode(0), "");
}

}  // namespace
