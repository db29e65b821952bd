// Helpers of the thread tests: threads whose join has a time limit, bounded
// polling, pool tasks made of lambdas, and the number of threads the process
// runs.
#pragma once

#include <dirent.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <future>
#include <memory>
#include <thread>
#include <vector>

#include "thr/thr_ThreadPool.h"

namespace thrtest {

using namespace std::chrono_literals;

// A thread that must finish within a limit when joined: one that does not
// ends the test program at once (a failure, never a hang of the run).
// Joining waits for the thread's exit, its thread-local objects included.
class BoundedThread {
 public:
  explicit BoundedThread(std::function<void()> body) : m_Done(std::async(std::launch::async, std::move(body))) {}
  ~BoundedThread() {
    if (m_Done.valid()) Join();
  }
  void Join(std::chrono::milliseconds limit = 30s) {
    if (m_Done.wait_for(limit) != std::future_status::ready) {
      std::fprintf(stderr, "thread test: a thread did not finish in time\n");
      std::abort();
    }
    m_Done.get();
  }

 private:
  std::future<void> m_Done;
};

// Polls pred every millisecond; false when the limit passes first.
template <class Pred>
bool WaitUntil(Pred pred, std::chrono::milliseconds limit = 10s) {
  const auto end = std::chrono::steady_clock::now() + limit;
  while (!pred()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(1ms);
  }
  return true;
}

// Runs body(i) on n bounded threads and joins them all.
inline void RunThreads(int n, const std::function<void(int)>& body, std::chrono::milliseconds limit = 30s) {
  std::vector<std::unique_ptr<BoundedThread>> threads;
  for (int i = 0; i < n; ++i) threads.push_back(std::make_unique<BoundedThread>([&body, i] { body(i); }));
  for (auto& t : threads) t->Join(limit);
}

// A pool task that runs f with its slot.
struct FnTask : thr_ThreadTask {
  std::function<void(int)> m_F;
  explicit FnTask(std::function<void(int)> f) : m_F(std::move(f)) {}
  void Run(int thread) override { m_F(thread); }
};

// Takes and releases l's lock on another thread; a lock that stays held
// there ends the program, as a bounded thread does.
template <class L>
void LockElsewhere(L& l) {
  BoundedThread([&] {
    l.Lock();
    l.Unlock();
  }).Join(5s);
}

inline int ProcessThreadCount() {
  int n = 0;
  if (DIR* d = opendir("/proc/self/task")) {
    while (dirent* e = readdir(d))
      if (e->d_name[0] != '.') ++n;
    closedir(d);
  }
  return n;
}

inline double MillisSince(std::chrono::steady_clock::time_point t) {
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t).count();
}

}  // namespace thrtest
