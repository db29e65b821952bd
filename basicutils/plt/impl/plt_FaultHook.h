// Internal to the platform layer: the check each OS-call wrapper makes after
// its real call. Not installed; not for modules outside plt/.
#pragma once

#include <atomic>

#include "plt/plt_FaultInjection.h"

// Non-zero while any kind is armed.
extern constinit std::atomic<int> g_pltFaultArmed;

// The slow path: counts the call and answers the error to report, or 0.
int plt_FaultCount(plt_FaultKind kind);

// 0 when the call's own outcome stands; otherwise the error code to report.
inline int plt_FaultAfter(plt_FaultKind kind) {
  if (g_pltFaultArmed.load(std::memory_order_relaxed) == 0) return 0;
  return plt_FaultCount(kind);
}
