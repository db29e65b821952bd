// Shared by the spawn tests: the child program, its report, subclasses that
// reach the protected start operations, and a fixture that leaves no child
// behind.
#pragma once

#include <dirent.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <initializer_list>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "plt/plt_FaultInjection.h"
#include "plt/plt_Process.h"
#include "support/TestSupport.h"
#include "uti/uti_Spawn.h"

namespace spawntest {

inline std::string Child() { return SPAWN_CHILD; }

inline std::string S(const atr_StringBase& s) { return std::string(s.c_str(), s.Length()); }

inline cow_List<cow_String> Words(std::initializer_list<std::string> words) {
  cow_List<cow_String> l;
  for (const std::string& w : words) l.Append(cow_String(w.c_str(), static_cast<int>(w.size())));
  return l;
}

inline std::vector<std::string> Vec(const cow_List<cow_String>& l) {
  std::vector<std::string> v;
  for (int i = 0; i < l.Count(); ++i) v.push_back(S(l.ConstGet(i)));
  return v;
}

inline std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream ss;
  ss << in.rdbuf();
  return ss.str();
}

inline void WriteFile(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

// What the child wrote with @report=.
struct Report {
  std::vector<std::string> argv;
  std::string cwd;
  std::vector<std::string> env;
  std::map<int, std::string> fds;  // descriptor -> what it points to
  int pid = 0;
  int sid = 0;
  bool valid = false;
};

inline Report ReadReport(const std::string& path) {
  Report r;
  std::ifstream in(path);
  std::string line;
  while (std::getline(in, line)) {
    r.valid = true;
    auto eq = line.find('=');
    if (eq == std::string::npos) continue;
    std::string key = line.substr(0, eq), value = line.substr(eq + 1);
    if (key == "argv") r.argv.push_back(value);
    else if (key == "cwd") r.cwd = value;
    else if (key == "env") r.env.push_back(value);
    else if (key == "fd") r.fds[std::stoi(value)] = value.substr(value.find(' ') + 1);
    else if (key == "pid") r.pid = std::stoi(value);
    else if (key == "sid") r.sid = std::stoi(value);
  }
  return r;
}

// Process ids whose parent is this process, zombies included.
inline std::vector<int> Children() {
  std::vector<int> kids;
  DIR* d = opendir("/proc");
  if (!d) return kids;
  const int self = getpid();
  while (dirent* de = readdir(d)) {
    int pid = atoi(de->d_name);
    if (pid <= 0) continue;
    std::string stat = ReadFile("/proc/" + std::string(de->d_name) + "/stat");
    auto close = stat.rfind(')');
    if (close == std::string::npos) continue;
    std::istringstream rest(stat.substr(close + 2));
    char state;
    int ppid = 0;
    rest >> state >> ppid;
    if (ppid == self) kids.push_back(pid);
  }
  closedir(d);
  return kids;
}

// Waits until path exists (a child writes it) or about five seconds pass.
inline bool WaitForFile(const std::string& path) {
  for (int i = 0; i < 500; ++i) {
    if (access(path.c_str(), F_OK) == 0) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return false;
}

inline int ReadPid(const std::string& path) { return WaitForFile(path) ? std::stoi(ReadFile(path)) : -1; }

// Kills and reaps every child, whoever started it, and empties the
// platform's orphan list.
inline void ReapAll() {
  for (int pid : Children()) kill(pid, SIGKILL);
  for (int pid : Children()) waitpid(pid, nullptr, 0);
  plt_ProcessReapOrphans();
}

// ---------------------------------------------------- reaching the starts
struct Spawner : uti_Spawn {
  using uti_Spawn::AndExit;
  using uti_Spawn::AndWait;
  using uti_Spawn::Daemon;
  using uti_Spawn::FindCommand;
  using uti_Spawn::spawn;
  void Start(const cow_List<cow_String>& args, uti_Redirection& r, const uti_Environment& env = uti_Environment(),
             int mode = 1) {
    spawn(cow_String(Child().c_str()), utl_FilePath(), args, r, env, mode);
  }
  void Start(const cow_List<cow_String>& args) {
    uti_Redirection r;
    Start(args, r);
  }
};

struct Source : uti_SpawnSource {
  using uti_SpawnSource::m_SourceFd;
  void Start(const cow_List<cow_String>& args, uti_Redirection& r) {
    spawnSource(cow_String(Child().c_str()), utl_FilePath(), args, r, uti_Environment());
  }
};
struct Sink : uti_SpawnSink {
  void Start(const cow_List<cow_String>& args, uti_Redirection& r) {
    spawnSink(cow_String(Child().c_str()), utl_FilePath(), args, r, uti_Environment());
  }
};
struct SourceWithSink : uti_SpawnSourceWithSink {
  void Start(const cow_List<cow_String>& args, uti_Redirection& r) {
    spawnSourceWithSink(cow_String(Child().c_str()), utl_FilePath(), args, r, uti_Environment());
  }
};
struct SinkWithSource : uti_SpawnSinkWithSource {
  void Start(const cow_List<cow_String>& args, uti_Redirection& r) {
    spawnSinkWithSource(cow_String(Child().c_str()), utl_FilePath(), args, r, uti_Environment());
  }
};

// Every spawn test leaves no child, no zombie and no armed fault behind.
class SpawnTest : public ::testing::Test {
 protected:
  void TearDown() override {
    plt_FaultDisarm();
    plt_ProcessForcePolling(false);
    ReapAll();
    EXPECT_TRUE(Children().empty());
  }
  std::string File(const std::string& name) const { return m_Dir.File(name); }
  vnktest::TempDir m_Dir;
};

}  // namespace spawntest
