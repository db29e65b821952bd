// Shared by the spawn tests: the child program and its report, subclasses
// that reach the protected start operations, and a fixture that leaves no
// child, zombie or armed fault behind and checks that no descriptor leaked.
#pragma once

#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <filesystem>
#include <functional>
#include <map>
#include <thread>

#include "plt/plt_Process.h"
#include "support/TestSupport.h"
#include "uti/uti_Exception.h"
#include "uti/uti_Spawn.h"
#include "utl_file/FileTestUtil.h"

namespace spawntest {

using vnktest::ReadAll;
using vnktest::WriteAll;

inline std::string Child() { return SPAWN_CHILD; }
inline std::string S(const atr_StringBase& s) { return std::string(s.c_str(), s.Length()); }
inline cow_String C(const std::string& s) { return cow_String(s.c_str(), static_cast<int>(s.size())); }

inline cow_List<cow_String> Words(std::initializer_list<std::string> words) {
  cow_List<cow_String> l;
  for (const std::string& w : words) l.Append(C(w));
  return l;
}

inline std::vector<std::string> Vec(const cow_List<cow_String>& l) {
  std::vector<std::string> v;
  for (int i = 0; i < l.Count(); ++i) v.push_back(S(l.ConstGet(i)));
  return v;
}

// What the child wrote with @report=: each key's values in order.
inline std::map<std::string, std::vector<std::string>> ReadReport(const std::string& path) {
  std::map<std::string, std::vector<std::string>> r;
  std::ifstream in(path);
  for (std::string line; std::getline(in, line);) {
    auto eq = line.find('=');
    if (eq != std::string::npos) r[line.substr(0, eq)].push_back(line.substr(eq + 1));
  }
  return r;
}

// Process ids whose parent is this process, zombies included.
inline std::vector<int> Children() {
  std::vector<int> kids;
  DIR* d = opendir("/proc");
  while (dirent* de = readdir(d)) {
    std::string stat = ReadAll("/proc/" + std::string(de->d_name) + "/stat");
    int ppid = 0;
    if (stat.rfind(')') != std::string::npos &&
        std::sscanf(stat.c_str() + stat.rfind(')') + 2, "%*c %d", &ppid) == 1 && ppid == getpid())
      kids.push_back(atoi(de->d_name));
  }
  closedir(d);
  return kids;
}

// Less the one the listing itself holds open.
inline int OpenFds() { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}) - 1; }

// The id a child wrote with @pidfile=, waiting up to five seconds for it.
inline int ReadPid(const std::string& path) {
  for (int i = 0; i < 500 && access(path.c_str(), F_OK) != 0; ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  return access(path.c_str(), F_OK) == 0 ? std::stoi(ReadAll(path)) : -1;
}

// Gives the platform up to five seconds to reap the children given up.
inline void ReapOrphans() {
  for (int i = 0; i < 500 && plt_ProcessReapOrphans() > 0; ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
}

inline double Since(std::chrono::steady_clock::time_point t0) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
}

// Runs f, which must raise E; answers its AsString() and, through *caught,
// the exception itself.
template <class E, class F>
std::string Raises(F f, E* caught = nullptr) {
  try {
    f();
  } catch (const E& e) {
    if (caught != nullptr) *caught = e;
    return S(e.AsString());
  }
  ADD_FAILURE() << "no exception";
  return "";
}

inline uti_IOErrorException IOError(const std::function<void()>& f) {
  uti_IOErrorException e("none", 0);
  Raises<uti_IOErrorException>(f, &e);
  return e;
}

// "function errno" of the I/O error f raises.
inline std::string FailedCall(const std::function<void()>& f) {
  uti_IOErrorException e = IOError(f);
  return S(e.Function()) + " " + std::to_string(e.ErrorNo());
}

struct Spawner : uti_Spawn {
  using uti_Spawn::AndExit;
  using uti_Spawn::AndWait;
  using uti_Spawn::Daemon;
  using uti_Spawn::FindCommand;
  using uti_Spawn::spawn;
  // r is the caller's, or a fresh one when not given.
  template <class R = uti_Redirection>
  void Start(const cow_List<cow_String>& args, R&& r = R(), const uti_Environment& env = uti_Environment()) {
    spawn(C(Child()), utl_FilePath(), args, r, env, 1);
  }
  // Starts the child and answers its exit code.
  template <class R = uti_Redirection>
  int Run(const cow_List<cow_String>& args, R&& r = R(), const uti_Environment& env = uti_Environment()) {
    Start(args, r, env);
    return Reap(0);
  }
};

// The pipe classes, each started with the child through its own operation.
#define SPAWNTEST_PIPED(Name, Base, Op, ...)                           \
  struct Name : Base {                                                 \
    __VA_ARGS__                                                        \
    template <class R = uti_Redirection>                               \
    void Start(const cow_List<cow_String>& args, R&& r = R()) {        \
      Op(C(Child()), utl_FilePath(), args, r, uti_Environment());      \
    }                                                                  \
  };
SPAWNTEST_PIPED(Source, uti_SpawnSource, spawnSource, using uti_SpawnSource::m_SourceFd;)
SPAWNTEST_PIPED(Sink, uti_SpawnSink, spawnSink)
SPAWNTEST_PIPED(SourceWithSink, uti_SpawnSourceWithSink, spawnSourceWithSink)
SPAWNTEST_PIPED(SinkWithSource, uti_SpawnSinkWithSource, spawnSinkWithSource)

class SpawnTest : public ::testing::Test {
 protected:
  void TearDown() override {
    plt_FaultDisarm();
    plt_ProcessForcePolling(false);
    for (int pid : Children()) kill(pid, SIGKILL);
    for (int pid : Children()) waitpid(pid, nullptr, 0);
    EXPECT_EQ(plt_ProcessReapOrphans(), 0);
    EXPECT_TRUE(Children().empty());
    EXPECT_EQ(OpenFds(), m_Fds) << "a descriptor leaked";
  }
  std::string File(const std::string& name) const { return m_Dir.File(name); }
  vnktest::TempDir m_Dir;
  const int m_Fds = OpenFds();
};

}  // namespace spawntest
