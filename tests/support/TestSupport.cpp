#include "support/TestSupport.h"

#include <stdlib.h>
#include <unistd.h>

#include <filesystem>

namespace vnktest {

TempDir::TempDir() {
  const char* base = getenv("TMPDIR");
  std::string templ = std::string(base && *base ? base : "/tmp") + "/vnktest.XXXXXX";
  char* made = mkdtemp(templ.data());
  m_Path = made ? made : "";
}

TempDir::~TempDir() {
  std::error_code ec;
  if (!m_Path.empty()) std::filesystem::remove_all(m_Path, ec);
}

std::string SelfPath() {
  char buf[4096];
  ssize_t n = readlink("/proc/self/exe", buf, sizeof buf - 1);
  return n > 0 ? std::string(buf, n) : std::string();
}

}  // namespace vnktest
