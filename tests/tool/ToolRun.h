// Runs the vnkuti binary as a user does: arguments, standard input, extra
// environment and a working directory in; exit status, standard output and
// standard error out; killed after a time limit.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "support/TestSupport.h"

extern char** environ;

namespace tooltest {

struct Result {
  int status = -1;  // exit code; 128 + N for signal N; -1 when killed at the limit
  std::string out;
  std::string err;
  double seconds = 0;
};

struct Options {
  std::string input;
  std::vector<std::string> env;  // "K=V" entries added to (or replacing in) ours
  std::string cwd;
  int limitSeconds = 60;
};

// Options with only standard input given.
inline Options In(const std::string& input) {
  Options o;
  o.input = input;
  return o;
}

inline double Now() {
  timespec t;
  clock_gettime(CLOCK_MONOTONIC, &t);
  return t.tv_sec + t.tv_nsec / 1e9;
}

inline Result Tool(const std::vector<std::string>& args, const Options& o = Options()) {
  int in[2], out[2], err[2];
  if (pipe2(in, O_CLOEXEC) || pipe2(out, O_CLOEXEC) || pipe2(err, O_CLOEXEC)) return Result();
  posix_spawn_file_actions_t fa;
  posix_spawn_file_actions_init(&fa);
  posix_spawn_file_actions_adddup2(&fa, in[0], 0);
  posix_spawn_file_actions_adddup2(&fa, out[1], 1);
  posix_spawn_file_actions_adddup2(&fa, err[1], 2);
  if (!o.cwd.empty()) posix_spawn_file_actions_addchdir_np(&fa, o.cwd.c_str());

  std::vector<std::string> words = {VNKUTI_TOOL};
  words.insert(words.end(), args.begin(), args.end());
  std::vector<char*> argv;
  for (std::string& w : words) argv.push_back(w.data());
  argv.push_back(nullptr);
  std::vector<std::string> envWords;
  for (char** e = environ; *e; ++e) {
    std::string entry = *e;
    bool replaced = false;
    for (const std::string& x : o.env)
      replaced = replaced || entry.compare(0, x.find('=') + 1, x, 0, x.find('=') + 1) == 0;
    if (!replaced) envWords.push_back(entry);
  }
  envWords.insert(envWords.end(), o.env.begin(), o.env.end());
  std::vector<char*> envp;
  for (std::string& e : envWords) envp.push_back(e.data());
  envp.push_back(nullptr);

  Result r;
  double start = Now();
  pid_t pid = -1;
  int rc = posix_spawn(&pid, VNKUTI_TOOL, &fa, nullptr, argv.data(), envp.data());
  posix_spawn_file_actions_destroy(&fa);
  close(in[0]);
  close(out[1]);
  close(err[1]);
  if (rc != 0) {
    close(in[1]);
    close(out[0]);
    close(err[0]);
    ADD_FAILURE() << "cannot start " << VNKUTI_TOOL;
    return r;
  }
  // The input goes in from a thread, so that a tool writing while we feed
  // it cannot dead-lock with us.
  std::thread feeder([&] {
    signal(SIGPIPE, SIG_IGN);
    for (std::size_t done = 0; done < o.input.size();) {
      ssize_t n = write(in[1], o.input.data() + done, o.input.size() - done);
      if (n <= 0) break;
      done += static_cast<std::size_t>(n);
    }
    close(in[1]);
  });
  pollfd fds[2] = {{out[0], POLLIN, 0}, {err[0], POLLIN, 0}};
  std::string* sinks[2] = {&r.out, &r.err};
  bool killed = false;
  for (int open = 2; open > 0;) {
    int left = static_cast<int>((start + o.limitSeconds - Now()) * 1000);
    if (left <= 0 && !killed) {
      kill(pid, SIGKILL);
      killed = true;
    }
    if (poll(fds, 2, left > 0 ? left : 100) < 0) break;
    for (int k = 0; k < 2; ++k) {
      if (fds[k].fd < 0 || fds[k].revents == 0) continue;
      char buf[65536];
      ssize_t n = read(fds[k].fd, buf, sizeof buf);
      if (n > 0) {
        sinks[k]->append(buf, static_cast<std::size_t>(n));
      } else {
        close(fds[k].fd);
        fds[k].fd = -1;
        --open;
      }
    }
  }
  int status = 0;
  waitpid(pid, &status, 0);
  feeder.join();
  r.seconds = Now() - start;
  if (killed) r.status = -1;
  else r.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return r;
}

inline std::string ReadFile(const std::string& path) {
  std::stringstream ss;
  ss << std::ifstream(path, std::ios::binary).rdbuf();
  return ss.str();
}

inline void WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

inline bool Exists(const std::string& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0;
}

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

// The gtest report of a run, for failure messages.
inline std::string Show(const Result& r) {
  return "status " + std::to_string(r.status) + "\nstdout: " + r.out.substr(0, 400) + "\nstderr: " + r.err.substr(0, 400);
}

}  // namespace tooltest
