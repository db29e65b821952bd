// Threads: thr_Mutex against std::recursive_mutex, the wake-up latency of a
// pulsed thr_CondVar against std::condition_variable, RunTask-to-Run latency
// of an idle worker, and the throughput of 100,000 empty tasks on 2 workers
// against a minimal std::thread + std::condition_variable pool.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

#include "BenchMain.h"
#include "thr/thr_CondVar.h"
#include "thr/thr_Mutex.h"
#include "thr/thr_ThreadPool.h"

namespace {

using Clock = std::chrono::steady_clock;

long long NowNs() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch()).count();
}

// Sets the iteration's manual time and keeps the sample for the median.
void Record(benchmark::State& state, std::vector<double>& samples, long long ns) {
  samples.push_back(static_cast<double>(ns));
  state.SetIterationTime(static_cast<double>(ns) * 1e-9);
}

void ReportMedian(benchmark::State& state, std::vector<double>& samples) {
  if (samples.empty()) return;
  std::nth_element(samples.begin(), samples.begin() + samples.size() / 2, samples.end());
  state.counters["median_us"] = samples[samples.size() / 2] / 1000.0;
}

// ================================================================== mutex

void MutexOurs(benchmark::State& state) {
  thr_Mutex m(0);
  for (auto _ : state) {
    m.Lock();
    m.Unlock();
  }
}

void MutexPeer(benchmark::State& state) {
  std::recursive_mutex m;
  for (auto _ : state) {
    m.lock();
    m.unlock();
  }
}

// ============================================================ wake-up time
// The waiter holds the lock except inside its wait, so the signaller's
// taking the lock proves that the waiter is waiting.

void CondVarOurs(benchmark::State& state) {
  thr_CondVar cv;
  int round = 0;  // under cv's lock
  bool quit = false;
  std::atomic<long long> wokeAt{0};
  std::atomic<int> acked{0};
  std::atomic<bool> started{false};
  std::thread waiter([&] {
    cv.Lock();
    started = true;
    int seen = 0;
    while (!quit) {
      cv.WaitForSignal(0);
      if (round != seen) {
        seen = round;
        wokeAt.store(NowNs());
        acked.store(seen);
      }
    }
    cv.Unlock();
  });
  while (!started) std::this_thread::yield();
  std::vector<double> samples;
  for (auto _ : state) {
    cv.Lock();
    const int r = ++round;
    const long long t0 = NowNs();
    cv.Signal();
    cv.Unlock();
    while (acked.load() != r) std::this_thread::yield();
    Record(state, samples, wokeAt.load() - t0);
  }
  cv.Lock();
  quit = true;
  cv.Signal();
  cv.Unlock();
  waiter.join();
  ReportMedian(state, samples);
}

void CondVarPeer(benchmark::State& state) {
  std::mutex m;
  std::condition_variable cv;
  int round = 0;
  bool quit = false;
  std::atomic<long long> wokeAt{0};
  std::atomic<int> acked{0};
  std::atomic<bool> started{false};
  std::thread waiter([&] {
    std::unique_lock<std::mutex> lock(m);
    started = true;
    int seen = 0;
    while (!quit) {
      cv.wait(lock);
      if (round != seen) {
        seen = round;
        wokeAt.store(NowNs());
        acked.store(seen);
      }
    }
  });
  while (!started) std::this_thread::yield();
  std::vector<double> samples;
  for (auto _ : state) {
    int r;
    long long t0;
    {
      std::lock_guard<std::mutex> lock(m);
      r = ++round;
      t0 = NowNs();
      cv.notify_one();
    }
    while (acked.load() != r) std::this_thread::yield();
    Record(state, samples, wokeAt.load() - t0);
  }
  {
    std::lock_guard<std::mutex> lock(m);
    quit = true;
    cv.notify_one();
  }
  waiter.join();
  ReportMedian(state, samples);
}

// ======================================================= the peer pool

struct PeerTask {
  virtual ~PeerTask() = default;
  virtual void Run() = 0;
};

class StdPool {
 public:
  explicit StdPool(int n) {
    for (int i = 0; i < n; ++i) m_Threads.emplace_back([this] { Work(); });
  }
  ~StdPool() {
    {
      std::lock_guard<std::mutex> lock(m_Mutex);
      m_Quit = true;
    }
    m_Cond.notify_all();
    for (auto& t : m_Threads) t.join();
  }
  void Submit(PeerTask* t) {
    {
      std::lock_guard<std::mutex> lock(m_Mutex);
      m_Queue.push_back(t);
    }
    m_Cond.notify_one();
  }

 private:
  void Work() {
    for (;;) {
      PeerTask* t;
      {
        std::unique_lock<std::mutex> lock(m_Mutex);
        m_Cond.wait(lock, [this] { return m_Quit || !m_Queue.empty(); });
        if (m_Queue.empty()) return;
        t = m_Queue.front();
        m_Queue.pop_front();
      }
      t->Run();
      delete t;
    }
  }
  std::mutex m_Mutex;
  std::condition_variable m_Cond;
  std::deque<PeerTask*> m_Queue;
  bool m_Quit = false;
  std::vector<std::thread> m_Threads;
};

// ====================================================== hand-over latency

std::atomic<long long> g_RanAt{0};
std::atomic<long> g_Done{0};

struct StampTask : thr_ThreadTask {
  void Run(int) override {
    g_RanAt.store(NowNs());
    g_Done.fetch_add(1);
  }
};
struct PeerStampTask : PeerTask {
  void Run() override {
    g_RanAt.store(NowNs());
    g_Done.fetch_add(1);
  }
};

// idleMs: how long the worker has been idle when the task is handed over
// (past 1 s it has left its polling turns).
template <int idleMs>
void LatencyOurs(benchmark::State& state) {
  thr_ThreadPool& pool = thr_GlobalSingleton<thr_ThreadPool>::Instance();
  pool.AddThreads(1, thr_ThreadPool::e_computeThread);
  std::vector<double> samples;
  for (auto _ : state) {
    std::this_thread::sleep_for(std::chrono::milliseconds(idleMs));
    const long done = g_Done.load();
    const long long t0 = NowNs();
    pool.RunTask(new StampTask, false, 0);
    while (g_Done.load() == done) std::this_thread::yield();
    Record(state, samples, g_RanAt.load() - t0);
  }
  thr_GlobalSingletonBase<thr_ThreadPool>::Finalize();
  ReportMedian(state, samples);
}

template <int idleMs>
void LatencyPeer(benchmark::State& state) {
  StdPool pool(1);
  std::vector<double> samples;
  for (auto _ : state) {
    std::this_thread::sleep_for(std::chrono::milliseconds(idleMs));
    const long done = g_Done.load();
    const long long t0 = NowNs();
    pool.Submit(new PeerStampTask);
    while (g_Done.load() == done) std::this_thread::yield();
    Record(state, samples, g_RanAt.load() - t0);
  }
  ReportMedian(state, samples);
}

// ============================================================= throughput

constexpr long kTasks = 100000;

struct EmptyTask : thr_ThreadTask {
  void Run(int) override { g_Done.fetch_add(1, std::memory_order_relaxed); }
};
struct PeerEmptyTask : PeerTask {
  void Run() override { g_Done.fetch_add(1, std::memory_order_relaxed); }
};

void TasksOurs(benchmark::State& state) {
  thr_ThreadPool& pool = thr_GlobalSingleton<thr_ThreadPool>::Instance();
  pool.AddThreads(2, thr_ThreadPool::e_computeThread);
  for (auto _ : state) {
    const long target = g_Done.load() + kTasks;
    for (long i = 0; i < kTasks; ++i) pool.RunTask(new EmptyTask, false, 0);
    while (g_Done.load() != target) std::this_thread::yield();
  }
  thr_GlobalSingletonBase<thr_ThreadPool>::Finalize();
  state.SetItemsProcessed(state.iterations() * kTasks);
}

void TasksPeer(benchmark::State& state) {
  StdPool pool(2);
  for (auto _ : state) {
    const long target = g_Done.load() + kTasks;
    for (long i = 0; i < kTasks; ++i) pool.Submit(new PeerEmptyTask);
    while (g_Done.load() != target) std::this_thread::yield();
  }
  state.SetItemsProcessed(state.iterations() * kTasks);
}

}  // namespace

BENCHMARK(MutexOurs)->Name("thr.MutexLockUnlock.ours")->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(MutexPeer)->Name("thr.MutexLockUnlock.peer")->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(CondVarOurs)->Name("thr.CondVarWake.ours")->UseManualTime()->Iterations(2000)->Repetitions(3)->ReportAggregatesOnly(true);
BENCHMARK(CondVarPeer)->Name("thr.CondVarWake.peer")->UseManualTime()->Iterations(2000)->Repetitions(3)->ReportAggregatesOnly(true);
BENCHMARK(LatencyOurs<3>)->Name("thr.RunTaskPolling.ours")->UseManualTime()->Iterations(300);
BENCHMARK(LatencyPeer<3>)->Name("thr.RunTaskPolling.peer")->UseManualTime()->Iterations(300);
BENCHMARK(LatencyOurs<1100>)->Name("thr.RunTaskAfterPolling.ours")->UseManualTime()->Iterations(4);
BENCHMARK(LatencyPeer<1100>)->Name("thr.RunTaskAfterPolling.peer")->UseManualTime()->Iterations(4);
BENCHMARK(TasksOurs)->Name("thr.Tasks100k.ours")->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(TasksPeer)->Name("thr.Tasks100k.peer")->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
