// Saves killed midway: a child process saves a multisection file and is
// stopped before each step through the save hook, killed with SIGKILL as it
// enters each system call of the save, and killed at random moments.
// Afterwards the data file must hold the old image or the new one; or, when
// the kill fell inside the final copy, fail its check while the staging file
// holds the whole new image, which recovery copies back. No trial may lose
// both.
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/user.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <thread>

#include "reliability/ReliabilityUtil.h"

using namespace reltest;

namespace {

std::string Pattern(char seed, std::size_t n) {
  std::string s(n, '\0');
  for (std::size_t i = 0; i < n; ++i) s[i] = static_cast<char>(seed + i * 7 + (i >> 11));
  return s;
}

// An image of 300 kB, and two successors: one larger (just beyond the 1 MiB
// the final copy moves per call, with an added section) and one smaller
// (the file shrinks).
const Sections& Old() {
  static const Sections s = {{"a", Pattern('a', 150000)}, {"b", "bee"}, {"c", Pattern('c', 150000)}};
  return s;
}
const Sections& Grown() {
  static const Sections s = {
      {"a", Pattern('A', 700000)}, {"b", "bee"}, {"c", Pattern('c', 150000)}, {"d", Pattern('d', 200000)}};
  return s;
}
const Sections& Shrunk() {
  static const Sections s = {{"a", "tiny"}, {"b", "bee"}, {"c", Pattern('c', 150000)}};
  return s;
}

// Images are built once: the CRC here goes bit by bit.
const std::string& ImageOf(const Sections& s) {
  static std::map<const Sections*, std::string> images;
  std::string& image = images[&s];
  if (image.empty()) image = Image(s);
  return image;
}

// The stops at each step recover with the tool, as a user would; the many
// random kills with the library's recovery in this process (what the tool
// runs), which keeps them fast.
std::string RecoverAfter(const std::string& dir, const std::string& base, const Sections& target,
                         Recovery how = Recovery::Library) {
  return Recover(dir, base, Old(), target, how);
}

struct Saver {
  pid_t pid = -1;
  int fd = -1;  // 'r' before saveChanges, 'd' after it
};

// A child that opens the file for update, sets what differs from Old(),
// reports ready, saves and reports done. stopStep > 0 ends it through the
// save hook before that step.
Saver Start(const std::string& path, const Sections& target, int stopStep, bool traced = false) {
  int p[2];
  Saver s;
  if (pipe(p) != 0) return s;
  s.pid = fork();
  if (s.pid == 0) {
    close(p[0]);
    try {
      utl_MultisectionFile f(C(path), utl_FileUpdate);
      for (const auto& [name, bytes] : target) {
        bool same = false;
        for (const auto& [oldName, oldBytes] : Old()) same = same || (oldName == name && oldBytes == bytes);
        if (!same) f.setSectionData(C(name), bytes.data(), static_cast<int>(bytes.size()));
      }
      if (stopStep > 0) utl_MultisectionFile::SetSaveStop(stopStep, utl_MultisectionFile::SaveStopExit);
      (void)!write(p[1], "r", 1);
      // Traced: the parent takes over here and counts the save's calls.
      if (traced && (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0 || raise(SIGSTOP) != 0)) _exit(4);
      f.saveChanges();
      (void)!write(p[1], "d", 1);
    } catch (...) {
      _exit(3);
    }
    _exit(0);
  }
  close(p[1]);
  s.fd = p[0];
  return s;
}

char ReadByte(int fd) {
  char c = 0;
  return read(fd, &c, 1) == 1 ? c : 0;
}

int Finish(Saver& s) {
  int status = 0;
  waitpid(s.pid, &status, 0);
  close(s.fd);
  return status;
}

int EnvOr(const char* name, int dflt) {
  const char* v = getenv(name);
  return v && *v ? atoi(v) : dflt;
}

TEST(Crash, StoppedBeforeEachStepOfTheSave) {
  FastDir dir;
  const std::string base = "data.sec", path = dir.Path() + "/" + base;
  for (const Sections* target : {&Grown(), &Shrunk()}) {
    for (int step = 1; step <= 8; ++step) {
      SCOPED_TRACE("step " + std::to_string(step));
      WriteAll(path, ImageOf(Old()));
      Saver s = Start(path, *target, step);
      EXPECT_EQ(ReadByte(s.fd), 'r');
      int status = Finish(s);
      ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 86) << status;
      // The crash leaves the lock; from step 4 on, the staging file (it is
      // created by its first write, in step 3).
      EXPECT_EQ(Listing(dir.Path()).count(base + ".lock"), 1u);
      EXPECT_EQ(StagingFiles(dir.Path(), base).size(), step >= 4 ? 1u : 0u);
      // The data file changes only in step 7.
      EXPECT_EQ(RecoverAfter(dir.Path(), base, *target, Recovery::Tool), step <= 7 ? "old" : "new");
      EXPECT_EQ(Listing(dir.Path()), std::set<std::string>{base});
    }
  }
}

// Kills the traced saver as it enters its n-th system call after the ready
// signal (the call does not run). Answers false when the save ended first.
bool KillAtCall(Saver& s, int n) {
  int status = 0;
  if (waitpid(s.pid, &status, 0) != s.pid || !WIFSTOPPED(status)) return false;
  ptrace(PTRACE_SETOPTIONS, s.pid, nullptr, reinterpret_cast<void*>(PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL));
  int calls = 0, signal = 0;
  bool entering = true;
  for (;;) {
    if (ptrace(PTRACE_SYSCALL, s.pid, nullptr, reinterpret_cast<void*>(static_cast<long>(signal))) != 0) return false;
    signal = 0;
    if (waitpid(s.pid, &status, 0) != s.pid || WIFEXITED(status) || WIFSIGNALED(status)) return false;
    if (WSTOPSIG(status) == (SIGTRAP | 0x80)) {
      if (entering && ++calls == n) {
        kill(s.pid, SIGKILL);
        return true;
      }
      entering = !entering;
    } else if (WSTOPSIG(status) != SIGSTOP) {
      signal = WSTOPSIG(status);  // passed on
    }
  }
}

// At every system call of the save in turn: each is a moment at which a
// crash can leave the files as they are.
TEST(Crash, KilledAtEverySystemCallOfTheSave) {
  FastDir dir;
  const std::string base = "data.sec", path = dir.Path() + "/" + base;
  std::map<std::string, int> outcomes;
  int trials = 0;
  for (const Sections* target : {&Grown(), &Shrunk()}) {
    for (int n = 1;; ++n) {
      SCOPED_TRACE("call " + std::to_string(n));
      WriteAll(path, ImageOf(Old()));
      Saver s = Start(path, *target, 0, true);
      ASSERT_EQ(ReadByte(s.fd), 'r');
      const bool killed = KillAtCall(s, n);
      const int status = Finish(s);
      if (!killed && WIFEXITED(status) && WEXITSTATUS(status) == 4) GTEST_SKIP() << "cannot trace a child here";
      const std::string outcome = RecoverAfter(dir.Path(), base, *target);
      EXPECT_TRUE(outcome == "old" || outcome == "new" || outcome == "recovered") << outcome;
      EXPECT_EQ(Listing(dir.Path()), std::set<std::string>{base});
      ++outcomes[outcome];
      ++trials;
      if (!killed || n > 500) break;
    }
  }
  std::printf("[ %d kills at system calls: %d old, %d new, %d recovered from the staging file ]\n", trials,
              outcomes["old"], outcomes["new"], outcomes["recovered"]);
  EXPECT_GT(outcomes["recovered"], 0);  // some calls lie inside the final copy
}

TEST(Crash, KilledAtRandomMoments) {
  FastDir dir;
  const std::string base = "data.sec", path = dir.Path() + "/" + base;
  const int trials = EnvOr("VNKUTI_CRASH_TRIALS", 120);

  // When the final copy starts and when the save ends, from the ready
  // signal, as this machine runs now (sanitizers and valgrind slow it
  // down): the median of three saves stopped before step 7, and of three
  // whole ones.
  auto timed = [&](int stopStep, const Sections& target) {
    WriteAll(path, ImageOf(Old()));
    Saver s = Start(path, target, stopStep);
    EXPECT_EQ(ReadByte(s.fd), 'r');
    auto t0 = std::chrono::steady_clock::now();
    ReadByte(s.fd);  // 'd', or the end of the pipe when the hook stops it
    double us = std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - t0).count();
    Finish(s);
    EXPECT_EQ(RecoverAfter(dir.Path(), base, target), stopStep ? "old" : "new");
    return us;
  };
  auto median = [&](int stopStep) {
    double t[3] = {timed(stopStep, Grown()), timed(stopStep, Shrunk()), timed(stopStep, Grown())};
    std::sort(t, t + 3);
    return t[1];
  };
  const double copyStarts = median(7), saveEnds = std::max(median(0), copyStarts + 1);

  // Odd trials are killed anywhere in the save, even ones within its final
  // copy. The times scale with a factor that follows the outcomes (longer
  // after an old file, shorter after a new one), so that the kills keep
  // landing inside the save however the machine's load changes.
  std::mt19937 rng(EnvOr("VNKUTI_CRASH_SEED", 20240611));
  double scale = 1;
  std::map<std::string, int> outcomes;
  int locksLeft = 0;
  for (int t = 0; t < trials; ++t) {
    const Sections& target = t % 2 ? Shrunk() : Grown();
    WriteAll(path, ImageOf(Old()));
    Saver s = Start(path, target, 0);
    ASSERT_EQ(ReadByte(s.fd), 'r');
    const double from = t % 2 ? 0 : copyStarts;
    std::this_thread::sleep_for(std::chrono::duration<double, std::micro>(
        scale * std::uniform_real_distribution<double>(from, saveEnds)(rng)));
    kill(s.pid, SIGKILL);
    Finish(s);
    locksLeft += Listing(dir.Path()).count(base + ".lock") != 0;
    const std::string outcome = RecoverAfter(dir.Path(), base, target);
    ++outcomes[outcome];
    if (outcome == "old") scale *= 1.05;
    if (outcome == "new") scale /= 1.05;
    EXPECT_TRUE(outcome == "old" || outcome == "new" || outcome == "recovered") << outcome << " in trial " << t;
    EXPECT_EQ(Listing(dir.Path()), std::set<std::string>{base});
  }
  std::printf("[ %d kills: %d old, %d new, %d recovered from the staging file, %d lost, %d undetected; %d left the lock ]\n",
              trials, outcomes["old"], outcomes["new"], outcomes["recovered"], outcomes["lost"], outcomes["undetected"],
              locksLeft);
}

}  // namespace
