// Portable part of the fault hook: counters and arming (no OS call here but
// the process exit, which each platform file supplies).
#include "plt/impl/plt_FaultHook.h"

namespace {

struct KindState {
  std::atomic<int> calls{0};
  std::atomic<int> target{0};  // call number that fails; 0 = not armed
  std::atomic<int> error{0};
  std::atomic<bool> fired{false};
};

constinit KindState g_Kinds[plt_FaultKindCount];

bool Valid(plt_FaultKind kind) { return kind >= 0 && kind < plt_FaultKindCount; }

// Delivers kind's failure when this call is its target; exactly once.
int Hit(KindState& s) {
  int n = s.calls.fetch_add(1, std::memory_order_relaxed) + 1;
  int target = s.target.load(std::memory_order_relaxed);
  if (target == 0 || n != target) return 0;
  s.fired.store(true, std::memory_order_relaxed);
  return s.error.load(std::memory_order_relaxed);
}

}  // namespace

constinit std::atomic<int> g_pltFaultArmed{0};

int plt_FaultCount(plt_FaultKind kind) {
  int any = Hit(g_Kinds[plt_FaultAny]);
  int own = Valid(kind) && kind != plt_FaultAny ? Hit(g_Kinds[kind]) : 0;
  return own != 0 ? own : any;
}

void plt_FaultArm(plt_FaultKind kind, int n, int error) {
  if (!Valid(kind)) return;
  KindState& s = g_Kinds[kind];
  s.calls.store(0, std::memory_order_relaxed);
  s.fired.store(false, std::memory_order_relaxed);
  s.error.store(error, std::memory_order_relaxed);
  s.target.store(n < 1 ? 0 : n, std::memory_order_relaxed);
  int armed = 0;
  for (KindState& k : g_Kinds) armed |= k.target.load(std::memory_order_relaxed) != 0;
  g_pltFaultArmed.store(armed, std::memory_order_relaxed);
}

void plt_FaultDisarm() {
  g_pltFaultArmed.store(0, std::memory_order_relaxed);
  for (KindState& k : g_Kinds) {
    k.target.store(0, std::memory_order_relaxed);
    k.calls.store(0, std::memory_order_relaxed);
    k.fired.store(false, std::memory_order_relaxed);
  }
}

int plt_FaultCalls(plt_FaultKind kind) {
  return Valid(kind) ? g_Kinds[kind].calls.load(std::memory_order_relaxed) : 0;
}

bool plt_FaultFired(plt_FaultKind kind) {
  return Valid(kind) && g_Kinds[kind].fired.load(std::memory_order_relaxed);
}
