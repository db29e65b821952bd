// Helpers of the file tests (utl_file, utl_msf, utl_stream): catching an
// exception's text, running code in a forked child, whole-file I/O.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <functional>
#include <sstream>
#include <string>

#include "nex/nex_Exception.h"
#include "plt/plt_FaultInjection.h"

namespace vnktest {

inline std::string Str(const atr_StringBase& s) { return std::string(s.c_str(), s.Length()); }

// The text of the E that f raises, checking that E is the exact dynamic type;
// otherwise a description of what happened instead.
template <class E, class F>
std::string Caught(F&& f) {
  try {
    f();
  } catch (const E& e) {
    if (e.DynTypeId() != E::TypeId()) return "<subclass " + std::to_string(e.DynTypeId()) + ">";
    return Str(e.AsString());
  } catch (const nex_Exception& e) {
    return "<other " + std::to_string(e.DynTypeId()) + ": " + Str(e.AsString()) + ">";
  }
  return "<no exception>";
}

// Runs f in a forked child; Finish() returns what f returned (or a note of
// how the child ended). Between fork and Finish the parent may act.
class Child {
 public:
  explicit Child(const std::function<std::string()>& f) {
    int fds[2];
    if (pipe(fds) != 0) return;
    m_Pid = fork();
    if (m_Pid == 0) {
      close(fds[0]);
      std::string out;
      try {
        out = f();
      } catch (const nex_Exception& e) {
        out = "<uncaught: " + Str(e.AsString()) + ">";
      }
      (void)!write(fds[1], out.data(), out.size());
      _exit(0);
    }
    close(fds[1]);
    m_Fd = fds[0];
  }
  std::string Finish() {
    std::string out;
    char buf[4096];
    ssize_t n;
    while ((n = read(m_Fd, buf, sizeof buf)) > 0) out.append(buf, n);
    close(m_Fd);
    int status = 0;
    waitpid(m_Pid, &status, 0);
    if (!WIFEXITED(status)) return out + "<killed by " + std::to_string(WTERMSIG(status)) + ">";
    if (WEXITSTATUS(status) != 0) return out + "<exit " + std::to_string(WEXITSTATUS(status)) + ">";
    return out;
  }

 private:
  pid_t m_Pid = -1;
  int m_Fd = -1;
};

inline std::string InChild(const std::function<std::string()>& f) { return Child(f).Finish(); }

inline void WriteAll(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}
inline std::string ReadAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

// Disarms the fault hook when a test ends, however it ends.
struct FaultGuard {
  ~FaultGuard() { plt_FaultDisarm(); }
};

}  // namespace vnktest
