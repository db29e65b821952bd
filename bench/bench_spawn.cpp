// Starting and waiting for children, ours against the bare system calls.
//
//   spawn.andWait: AndWait of /bin/true with no redirection; the peer is
//     posix_spawn + waitpid.
//   spawn.andWait3Files: the same with standard input, output and error
//     redirected to files ("<", ">", "2>"); the peer opens the same files,
//     places them with posix_spawn file actions, waits and closes them.
//   spawn.waitForAny64: 64 children sleep; one is killed and the time from
//     the kill to the return of waitForAny is taken (manual time). The peer
//     is waitpid(-1) after the same kill. The children are replaced outside
//     the timed part.
//
// Files live in $TMPDIR (else /tmp).
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <vector>

#include "BenchMain.h"
#include "uti/uti_Spawn.h"

extern char** environ;

namespace {

struct Spawner : uti_Spawn {
  using uti_Spawn::AndWait;
  using uti_Spawn::spawn;
};

std::string Dir() {
  const char* t = getenv("TMPDIR");
  return std::string(t && *t ? t : "/tmp");
}

std::string PathOf(const char* name) { return Dir() + "/vnkuti_bench_spawn_" + std::to_string(getpid()) + "_" + name; }

struct Files {
  std::string in = PathOf("in"), out = PathOf("out"), err = PathOf("err");
  Files() {
    int fd = open(in.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd >= 0) close(fd);
  }
  ~Files() {
    unlink(in.c_str());
    unlink(out.c_str());
    unlink(err.c_str());
  }
};

const char* const kTrue = "/bin/true";

void BM_AndWait_Ours(benchmark::State& state) {
  const cow_String command(kTrue);
  for (auto _ : state) {
    uti_Redirection none;
    int code = Spawner::AndWait(command, utl_FilePath(), cow_List<cow_String>(), none, uti_Environment());
    benchmark::DoNotOptimize(code);
  }
}

void BM_AndWait_Peer(benchmark::State& state) {
  char* const argv[] = {const_cast<char*>(kTrue), nullptr};
  for (auto _ : state) {
    pid_t pid;
    if (posix_spawn(&pid, kTrue, nullptr, nullptr, argv, environ) != 0) state.SkipWithError("posix_spawn");
    int status;
    waitpid(pid, &status, 0);
    benchmark::DoNotOptimize(status);
  }
}

void BM_AndWait3Files_Ours(benchmark::State& state) {
  Files f;
  const cow_String command(kTrue);
  for (auto _ : state) {
    uti_Redirection r(cow_String("<"), uti_Redirection::Handle(f.in.c_str()), cow_String(">"),
                      uti_Redirection::Handle(f.out.c_str()), cow_String("2>"),
                      uti_Redirection::Handle(f.err.c_str()));
    int code = Spawner::AndWait(command, utl_FilePath(), cow_List<cow_String>(), r, uti_Environment());
    benchmark::DoNotOptimize(code);
  }
}

void BM_AndWait3Files_Peer(benchmark::State& state) {
  Files f;
  char* const argv[] = {const_cast<char*>(kTrue), nullptr};
  for (auto _ : state) {
    int fds[3] = {open(f.in.c_str(), O_RDONLY | O_CLOEXEC),
                  open(f.out.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666),
                  open(f.err.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666)};
    posix_spawn_file_actions_t fa;
    posix_spawn_file_actions_init(&fa);
    for (int i = 0; i < 3; ++i) posix_spawn_file_actions_adddup2(&fa, fds[i], i);
    pid_t pid;
    if (posix_spawn(&pid, kTrue, &fa, nullptr, argv, environ) != 0) state.SkipWithError("posix_spawn");
    posix_spawn_file_actions_destroy(&fa);
    for (int fd : fds) close(fd);
    int status;
    waitpid(pid, &status, 0);
    benchmark::DoNotOptimize(status);
  }
}

constexpr int kChildren = 64;
const char* const kSleep = "/bin/sleep";

void BM_WaitForAny64_Ours(benchmark::State& state) {
  const cow_String command(kSleep);
  cow_List<cow_String> args;
  args.Append(cow_String("1000"));
  std::vector<Spawner> kids(kChildren);
  std::vector<uti_Spawn*> list;
  for (Spawner& k : kids) {
    uti_Redirection none;
    k.spawn(command, utl_FilePath(), args, none, uti_Environment(), 1);
    list.push_back(&k);
  }
  int victim = 0;
  for (auto _ : state) {
    auto t0 = std::chrono::steady_clock::now();
    kids[victim].Kill();
    uti_Spawn* ended = uti_Spawn::waitForAny(list.data(), kChildren);
    auto t1 = std::chrono::steady_clock::now();
    state.SetIterationTime(std::chrono::duration<double>(t1 - t0).count());
    if (ended != &kids[victim]) state.SkipWithError("wrong child");
    ended->Reap(0);
    uti_Redirection none;
    kids[victim].spawn(command, utl_FilePath(), args, none, uti_Environment(), 1);
    victim = (victim + 17) % kChildren;
  }
  for (Spawner& k : kids) {
    k.Kill();
    k.Reap(0);
  }
}

void BM_WaitForAny64_Peer(benchmark::State& state) {
  char* const argv[] = {const_cast<char*>(kSleep), const_cast<char*>("1000"), nullptr};
  std::vector<pid_t> kids(kChildren);
  for (pid_t& k : kids) posix_spawn(&k, kSleep, nullptr, nullptr, argv, environ);
  int victim = 0;
  for (auto _ : state) {
    auto t0 = std::chrono::steady_clock::now();
    kill(kids[victim], SIGKILL);
    int status;
    pid_t ended = waitpid(-1, &status, 0);
    auto t1 = std::chrono::steady_clock::now();
    state.SetIterationTime(std::chrono::duration<double>(t1 - t0).count());
    if (ended != kids[victim]) state.SkipWithError("wrong child");
    posix_spawn(&kids[victim], kSleep, nullptr, nullptr, argv, environ);
    victim = (victim + 17) % kChildren;
  }
  for (pid_t k : kids) kill(k, SIGKILL);
  for (pid_t k : kids) waitpid(k, nullptr, 0);
}

}  // namespace

BENCHMARK(BM_AndWait_Ours)->Name("spawn.andWait.ours")->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_AndWait_Peer)->Name("spawn.andWait.peer")->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_AndWait3Files_Ours)->Name("spawn.andWait3Files.ours")->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_AndWait3Files_Peer)->Name("spawn.andWait3Files.peer")->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_WaitForAny64_Ours)
    ->Name("spawn.waitForAny64.ours")
    ->Unit(benchmark::kMicrosecond)
    ->UseManualTime()
    ->Iterations(200);
BENCHMARK(BM_WaitForAny64_Peer)
    ->Name("spawn.waitForAny64.peer")
    ->Unit(benchmark::kMicrosecond)
    ->UseManualTime()
    ->Iterations(200);
