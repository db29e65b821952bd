#include "utl/utl_Version.h"

#include <atomic>

#include "thr/thr_GlobalLock.h"

// The build passes the project's version.
#ifndef VNKUTI_VERSION_MAJOR
#error "VNKUTI_VERSION_MAJOR, _MINOR and _PATCH come from the build"
#endif

namespace {
// Read without the lock on every use after the first.
constinit std::atomic<utl_Version*> g_Version{nullptr};
}  // namespace

utl_Version::utl_Version(int major, int minor, int patch)
    : m_Major(major), m_Minor(minor), m_Patch(patch), m_Text(major) {
  m_Text.append('.');
  m_Text.append(atr_String(minor));
  m_Text.append('.');
  m_Text.append(atr_String(patch));
}

utl_Version::~utl_Version() = default;

const utl_Version& utl_Version::Get() {
  utl_Version* v = g_Version.load(std::memory_order_acquire);
  if (v == nullptr) {
    thr_GlobalLockGuard lock;
    v = g_Version.load(std::memory_order_relaxed);
    if (v == nullptr) {
      v = new utl_Version(VNKUTI_VERSION_MAJOR, VNKUTI_VERSION_MINOR, VNKUTI_VERSION_PATCH);
      g_Version.store(v, std::memory_order_release);
    }
  }
  return *v;
}

bool utl_Version::Exists() { return g_Version.load(std::memory_order_acquire) != nullptr; }

void utl_Version::Destroy() { delete g_Version.exchange(nullptr, std::memory_order_acq_rel); }
