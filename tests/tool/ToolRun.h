// Runs the vnkuti binary as a user does: arguments, standard input, extra
// environment and a working directory in; exit status, standard output and
// standard error out; killed after a time limit. The streams are pipes, as
// in a shell pipeline, so a tool that needs to seek them fails here too.
#pragma once

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "support/TestSupport.h"
#include "utl_file/FileTestUtil.h"

extern char** environ;

namespace tooltest {

using vnktest::ReadAll;
using vnktest::WriteAll;

struct Result {
  int status = -1;  // exit code; 128 + N for signal N; -1 when killed at the limit
  std::string out;
  std::string err;
  double seconds = 0;
};

struct Options {
  std::string input{};
  std::vector<std::string> env{};  // "K=V" entries added to (or replacing in) ours
  std::string cwd{};
  int limitSeconds = 60;
};

// Options with only standard input given.
inline Options In(const std::string& input) { return Options{.input = input}; }

inline Result Tool(const std::vector<std::string>& args, const Options& o = Options()) {
  Result r;
  int in[2], out[2], err[2];
  if (pipe2(in, O_CLOEXEC) || pipe2(out, O_CLOEXEC) || pipe2(err, O_CLOEXEC)) return r;
  posix_spawn_file_actions_t fa;
  posix_spawn_file_actions_init(&fa);
  posix_spawn_file_actions_adddup2(&fa, in[0], 0);
  posix_spawn_file_actions_adddup2(&fa, out[1], 1);
  posix_spawn_file_actions_adddup2(&fa, err[1], 2);
  if (!o.cwd.empty()) posix_spawn_file_actions_addchdir_np(&fa, o.cwd.c_str());
  std::vector<std::string> words = {VNKUTI_TOOL}, env = o.env;
  words.insert(words.end(), args.begin(), args.end());
  for (char** e = environ; *e; ++e)
    if (std::none_of(o.env.begin(), o.env.end(),
                     [e](const std::string& x) { return std::string(*e).rfind(x.substr(0, x.find('=') + 1), 0) == 0; }))
      env.push_back(*e);
  auto pointers = [](std::vector<std::string>& v) {
    std::vector<char*> p;
    for (std::string& s : v) p.push_back(s.data());
    p.push_back(nullptr);
    return p;
  };
  std::vector<char*> argv = pointers(words), envp = pointers(env);

  const auto start = std::chrono::steady_clock::now();
  pid_t pid = -1;
  const int rc = posix_spawn(&pid, VNKUTI_TOOL, &fa, nullptr, argv.data(), envp.data());
  posix_spawn_file_actions_destroy(&fa);
  for (int fd : {in[0], out[1], err[1]}) close(fd);
  // Feeding and draining run on threads of their own, so that a tool
  // writing while we feed it cannot dead-lock with us.
  std::thread feeder([&] {
    signal(SIGPIPE, SIG_IGN);
    for (std::size_t done = 0; done < o.input.size();) {
      ssize_t n = write(in[1], o.input.data() + done, o.input.size() - done);
      if (n <= 0) break;
      done += static_cast<std::size_t>(n);
    }
    close(in[1]);
  });
  auto drain = [](int fd, std::string* s) {
    char buf[65536];
    for (ssize_t n; (n = read(fd, buf, sizeof buf)) > 0;) s->append(buf, static_cast<std::size_t>(n));
    close(fd);
  };
  std::thread outReader(drain, out[0], &r.out), errReader(drain, err[0], &r.err);
  int status = 0;
  bool killed = false;
  auto seconds = [&] { return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(); };
  while (rc == 0 && waitpid(pid, &status, WNOHANG) == 0) {
    if (!killed && seconds() > o.limitSeconds) killed = kill(pid, SIGKILL) == 0;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  feeder.join();
  outReader.join();
  errReader.join();
  r.seconds = seconds();
  if (rc != 0) ADD_FAILURE() << "cannot start " << VNKUTI_TOOL;
  else if (!killed) r.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return r;
}

inline bool Exists(const std::string& path) { return std::filesystem::exists(path); }

// Every byte value, then a pattern long enough to cross the tool's 1 MiB
// pieces, when big.
inline std::string AllBytes(std::size_t size = 256) {
  std::string s(size, '\0');
  std::uint32_t x = 12345;
  for (std::size_t i = 0; i < size; ++i) {
    x = x * 1103515245u + 12345u;
    s[i] = static_cast<char>(i < 256 ? i : x >> 24);
  }
  return s;
}

// Status, standard output and standard error in one line, to compare whole.
inline std::string Said(const Result& r) { return std::to_string(r.status) + " " + r.out + "|" + r.err; }

// A data file in a fresh directory, and sections put into it.
class MsfFile : public ::testing::Test {
 protected:
  vnktest::TempDir dir;
  std::string file = dir.File("data.msf");
  void Put(const std::string& section, const std::string& bytes) {
    ASSERT_EQ(Said(Tool({"msf", "put", file, section}, In(bytes))), "0 |");
  }
};

// The gtest report of a run, for failure messages.
inline std::string Show(const Result& r) {
  return "status " + std::to_string(r.status) + "\nstdout: " + r.out.substr(0, 400) + "\nstderr: " + r.err.substr(0, 400);
}

}  // namespace tooltest
