// Helpers of the thread tests: threads whose join has a time limit, bounded
// polling, and the number of threads the process runs.
#pragma once

#include <dirent.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace thrtest {

using namespace std::chrono_literals;

// A thread that must finish within a limit when joined: one that does not
// ends the test program at once (a failure, never a hang of the run).
class BoundedThread {
 public:
  explicit BoundedThread(std::function<void()> body)
      : m_Body(std::move(body)), m_Thread([this] {
          m_Body();
          std::lock_guard<std::mutex> lock(m_Mutex);
          m_Done = true;
          m_Cond.notify_all();
        }) {}
  ~BoundedThread() {
    if (m_Thread.joinable()) Join();
  }
  BoundedThread(const BoundedThread&) = delete;
  BoundedThread& operator=(const BoundedThread&) = delete;

  void Join(std::chrono::milliseconds limit = 30s) {
    std::unique_lock<std::mutex> lock(m_Mutex);
    if (!m_Cond.wait_for(lock, limit, [this] { return m_Done; })) {
      std::fprintf(stderr, "thread test: a thread did not finish in time\n");
      std::abort();
    }
    lock.unlock();
    m_Thread.join();
  }
  bool Done() {
    std::lock_guard<std::mutex> lock(m_Mutex);
    return m_Done;
  }

 private:
  std::function<void()> m_Body;
  std::mutex m_Mutex;
  std::condition_variable m_Cond;
  bool m_Done = false;
  std::thread m_Thread;
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
