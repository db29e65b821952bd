// The allocator's lock: one atomic flag, so that it can be a constinit global
// with nothing to destroy (std::mutex need not be trivially destructible).
// Holders keep it for a batch of list operations only; a waiter that keeps
// finding it taken yields, since its holder may be waiting for a processor.
#pragma once

#include <atomic>
#include <thread>

namespace mem_internal {

class SpinLock {
 public:
  constexpr SpinLock() = default;
  SpinLock(const SpinLock&) = delete;
  SpinLock& operator=(const SpinLock&) = delete;

  void lock() noexcept {
    while (m_Held.exchange(true, std::memory_order_acquire))
      for (int spins = 0; m_Held.load(std::memory_order_relaxed); ++spins)
        if (spins >= 100) std::this_thread::yield();
  }
  void unlock() noexcept { m_Held.store(false, std::memory_order_release); }

 private:
  std::atomic<bool> m_Held{false};
};

}  // namespace mem_internal
