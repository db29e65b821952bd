// Saves killed midway: a child process saves a multisection file and is
// stopped at each step through the save hook, and killed with SIGKILL at
// random moments. Afterwards the data file must hold the old image or the
// new one; or, when the kill fell inside the final copy, fail its check
// while the staging file holds the whole new image, which recovery copies
// back. No trial may lose both.
#include <signal.h>
#include <sys/wait.h>

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

// An image of about 1.3 MB, and two successors: one larger (more than one
// copy chunk, with an added section) and one smaller (the file shrinks).
const Sections& Old() {
  static const Sections s = {{"a", Pattern('a', 600000)}, {"b", "bee"}, {"c", Pattern('c', 700000)}};
  return s;
}
const Sections& Grown() {
  static const Sections s = {
      {"a", Pattern('A', 900000)}, {"b", "bee"}, {"c", Pattern('c', 700000)}, {"d", Pattern('d', 200000)}};
  return s;
}
const Sections& Shrunk() {
  static const Sections s = {{"a", "tiny"}, {"b", "bee"}, {"c", Pattern('c', 700000)}};
  return s;
}

// Images are built once: the CRC here goes bit by bit.
const std::string& ImageOf(const Sections& s) {
  static std::map<const Sections*, std::string> images;
  std::string& image = images[&s];
  if (image.empty()) image = Image(s);
  return image;
}

std::string RecoverAfter(const std::string& dir, const std::string& base, const Sections& target) {
  return Recover(dir, base, Old(), target, ImageOf(target));
}

struct Saver {
  pid_t pid = -1;
  int fd = -1;  // 'r' before saveChanges, 'd' after it
};

// A child that opens the file for update, sets what differs from Old(),
// reports ready, saves and reports done. stopStep > 0 ends it through the
// save hook before that step.
Saver Start(const std::string& path, const Sections& target, int stopStep) {
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
      EXPECT_EQ(RecoverAfter(dir.Path(), base, *target), step <= 7 ? "old" : "new");
      EXPECT_EQ(Listing(dir.Path()), std::set<std::string>{base});
    }
  }
}

TEST(Crash, KilledAtRandomMoments) {
  FastDir dir;
  const std::string base = "data.sec", path = dir.Path() + "/" + base;
  const int trials = EnvOr("VNKUTI_CRASH_TRIALS", 200);

  // How long a save takes here (sanitizers and valgrind slow it down).
  double longest = 0;
  for (int i = 0; i < 3; ++i) {
    WriteAll(path, ImageOf(Old()));
    Saver s = Start(path, i % 2 ? Shrunk() : Grown(), 0);
    ASSERT_EQ(ReadByte(s.fd), 'r');
    auto t0 = std::chrono::steady_clock::now();
    ASSERT_EQ(ReadByte(s.fd), 'd');
    longest = std::max(longest, std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - t0).count());
    Finish(s);
    ASSERT_EQ(RecoverAfter(dir.Path(), base, i % 2 ? Shrunk() : Grown()), "new");
  }

  std::mt19937 rng(EnvOr("VNKUTI_CRASH_SEED", 20240611));
  std::uniform_real_distribution<double> delay(0, longest * 1.2 + 100);
  std::map<std::string, int> outcomes;
  int locksLeft = 0;
  for (int t = 0; t < trials; ++t) {
    const Sections& target = t % 2 ? Shrunk() : Grown();
    WriteAll(path, ImageOf(Old()));
    Saver s = Start(path, target, 0);
    ASSERT_EQ(ReadByte(s.fd), 'r');
    std::this_thread::sleep_for(std::chrono::duration<double, std::micro>(delay(rng)));
    kill(s.pid, SIGKILL);
    Finish(s);
    locksLeft += Listing(dir.Path()).count(base + ".lock") != 0;
    const std::string outcome = RecoverAfter(dir.Path(), base, target);
    ++outcomes[outcome];
    EXPECT_TRUE(outcome == "old" || outcome == "new" || outcome == "recovered") << outcome << " in trial " << t;
    EXPECT_EQ(Listing(dir.Path()), std::set<std::string>{base});
  }
  std::printf("[ %d kills: %d old, %d new, %d recovered from the staging file, %d lost, %d undetected; %d left the lock ]\n",
              trials, outcomes["old"], outcomes["new"], outcomes["recovered"], outcomes["lost"], outcomes["undetected"],
              locksLeft);
}

}  // namespace
