// POSIX implementation of plt_Process.h: posix_spawn with file actions,
// pidfds for waiting, waitid for the status. Only this file (and the other
// plt/posix files) may call the operating system for processes.
//
// No code of ours runs in the child: posix_spawn places the descriptors,
// changes the directory, starts the session and execs, and reports a failed
// exec (or a failed file action) to the parent as its result, after reaping
// the half-made child itself.
#include "plt/plt_Process.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cstring>

#include "mem/mem_Alloc.h"
#include "plt/impl/plt_FaultHook.h"
#include "plt/posix/plt_PosixCalls.h"

extern char** environ;

struct plt_Process {
  pid_t m_Pid;
  int m_Pidfd;    // -1 when waits poll with waitpid
  bool m_Reaped;  // the status has been collected into m_Code
  bool m_Killed;  // plt_ProcessKill sent SIGKILL
  int m_Code;
};

namespace {

constinit std::atomic<bool> g_ForcePolling{false};
constinit std::atomic<bool> g_NoPidfd{false};  // the kernel said ENOSYS once

bool Refuse(int error) {
  errno = error;
  return false;
}

// Straight system calls: the C library's wrappers are newer than some of
// the kernels we run on, and ENOSYS is what tells us to poll instead.
int SysPidfdOpen(pid_t pid) { return static_cast<int>(syscall(SYS_pidfd_open, pid, 0u)); }
int SysPidfdKill(int pidfd, int sig) { return static_cast<int>(syscall(SYS_pidfd_send_signal, pidfd, sig, nullptr, 0u)); }

int OpenPidfd(pid_t pid) {
  if (g_ForcePolling.load(std::memory_order_relaxed) || g_NoPidfd.load(std::memory_order_relaxed)) return -1;
  int fd = SysPidfdOpen(pid);  // close-on-exec by definition
  if (fd < 0 && errno == ENOSYS) g_NoPidfd.store(true, std::memory_order_relaxed);
  return fd;
}

int Decode(const siginfo_t& info, bool killed) {
  if (info.si_code == CLD_EXITED) return info.si_status;
  if (info.si_status == SIGKILL && killed) return -1;  // TerminateProcess(h, -1)
  return 128 + info.si_status;
}

// One non-waiting waitid: 1 reaped now (status in *info), 0 still running,
// -1 failed. The pidfd form cannot hit a recycled pid.
int ReapNow(pid_t pid, int pidfd, siginfo_t* info) {
  std::memset(info, 0, sizeof *info);
  int rc;
  if (pidfd >= 0)
    rc = waitid(static_cast<idtype_t>(P_PIDFD), static_cast<id_t>(pidfd), info, WEXITED | WNOHANG);
  else
    rc = waitid(P_PID, static_cast<id_t>(pid), info, WEXITED | WNOHANG);
  if (rc < 0) return -1;
  return info->si_pid != 0 ? 1 : 0;
}

// Collects p's status if it has ended; false only when waitid failed.
bool TryReap(plt_Process* p) {
  if (p->m_Reaped) return true;
  siginfo_t info;
  int r = plt_PosixRetry([&] { return ReapNow(p->m_Pid, p->m_Pidfd, &info); });
  if (r < 0) return false;
  if (r == 1) {
    p->m_Code = Decode(info, p->m_Killed);
    p->m_Reaped = true;
  }
  return true;
}

// Ends a child that no record owns, and reaps it.
void KillAndReap(pid_t pid) {
  kill(pid, SIGKILL);
  plt_PosixRetry([&] { return waitpid(pid, nullptr, 0); });
}

// Blocks until p ends, without the pidfd; false when waitid failed.
bool ReapBlocking(plt_Process* p) {
  siginfo_t info;
  std::memset(&info, 0, sizeof info);
  int rc = plt_PosixRetry([&] { return waitid(P_PID, static_cast<id_t>(p->m_Pid), &info, WEXITED); });
  if (rc < 0) return false;
  p->m_Code = Decode(info, p->m_Killed);
  p->m_Reaped = true;
  return true;
}

// ================================================================== orphans
// Children whose records were closed before their end: reaped here once they
// end. Each entry keeps the pidfd (or the pid where there is none).

struct Orphan {
  pid_t m_Pid;
  int m_Pidfd;
};

constinit pthread_mutex_t g_OrphanMutex = PTHREAD_MUTEX_INITIALIZER;
constinit Orphan* g_Orphans = nullptr;
constinit int g_OrphanCount = 0;
constinit int g_OrphanCapacity = 0;

// Under g_OrphanMutex. Answers how many are left.
int SweepLocked() {
  int kept = 0;
  for (int i = 0; i < g_OrphanCount; ++i) {
    Orphan o = g_Orphans[i];
    siginfo_t info;
    int r = plt_PosixRetry([&] { return ReapNow(o.m_Pid, o.m_Pidfd, &info); });
    if (r == 0) {
      g_Orphans[kept++] = o;
      continue;
    }
    // Reaped now, or by someone else (ECHILD): either way it is gone.
    if (o.m_Pidfd >= 0) close(o.m_Pidfd);
  }
  g_OrphanCount = kept;
  if (kept == 0) {
    mem_Free(g_Orphans);
    g_Orphans = nullptr;
    g_OrphanCapacity = 0;
  }
  return kept;
}

int Sweep() {
  int saved = errno;
  pthread_mutex_lock(&g_OrphanMutex);
  int left = g_OrphanCount == 0 ? 0 : SweepLocked();
  pthread_mutex_unlock(&g_OrphanMutex);
  errno = saved;
  return left;
}

void Adopt(pid_t pid, int pidfd) {
  pthread_mutex_lock(&g_OrphanMutex);
  if (g_OrphanCount == g_OrphanCapacity) {
    int capacity = g_OrphanCapacity == 0 ? 8 : 2 * g_OrphanCapacity;
    void* grown = mem_Realloc(g_Orphans, sizeof(Orphan) * static_cast<size_t>(capacity));
    if (grown == nullptr) {
      // No room to remember it: the child stays a zombie until we exit.
      if (pidfd >= 0) close(pidfd);
      pthread_mutex_unlock(&g_OrphanMutex);
      return;
    }
    g_Orphans = static_cast<Orphan*>(grown);
    g_OrphanCapacity = capacity;
  }
  g_Orphans[g_OrphanCount++] = Orphan{pid, pidfd};
  SweepLocked();
  pthread_mutex_unlock(&g_OrphanMutex);
}

// ================================================================== spawning

// The environment block "k=v\0...\0\0" as a vector of pointers into it.
char** EnvVector(const char* block) {
  int n = 0;
  for (const char* s = block; *s; s += std::strlen(s) + 1) ++n;
  auto** v = static_cast<char**>(mem_Malloc(sizeof(char*) * static_cast<size_t>(n + 1)));
  if (v == nullptr) return nullptr;
  int i = 0;
  for (const char* s = block; *s; s += std::strlen(s) + 1) v[i++] = const_cast<char*>(s);
  v[n] = nullptr;
  return v;
}

// Fills the file actions that give the child src[i] as descriptor i and
// nothing above 2. A source below 3 that another slot replaces first is
// copied out of the way before any slot is filled.
int PlaceDescriptors(posix_spawn_file_actions_t* fa, const int in[3]) {
  int src[3] = {in[0], in[1], in[2]};
  int spare = 3;
  auto used = [&](int fd) { return fd == src[0] || fd == src[1] || fd == src[2]; };
  for (int i = 0; i < 3; ++i) {
    if (src[i] < 0 || src[i] >= 3 || src[i] == i) continue;
    while (used(spare)) ++spare;
    if (int rc = posix_spawn_file_actions_adddup2(fa, src[i], spare)) return rc;
    for (int j = i + 1; j < 3; ++j)
      if (src[j] == src[i]) src[j] = spare;
    src[i] = spare++;
  }
  for (int i = 0; i < 3; ++i) {
    if (src[i] < 0 || src[i] == i) continue;  // the caller's own stays as it is
    if (int rc = posix_spawn_file_actions_adddup2(fa, src[i], i)) return rc;
  }
  return posix_spawn_file_actions_addclosefrom_np(fa, 3);
}

int SpawnRaw(const plt_SpawnRequest& r, pid_t* pid) {
  posix_spawn_file_actions_t fa;
  posix_spawnattr_t attr;
  if (int rc = posix_spawn_file_actions_init(&fa)) return rc;
  if (int rc = posix_spawnattr_init(&attr)) {
    posix_spawn_file_actions_destroy(&fa);
    return rc;
  }
  char** envp = nullptr;
  int rc = PlaceDescriptors(&fa, r.descriptors);
  if (rc == 0 && r.directory != nullptr) rc = posix_spawn_file_actions_addchdir_np(&fa, r.directory);
  if (rc == 0) {
    sigset_t none, all;
    sigemptyset(&none);
    sigfillset(&all);
    short flags = POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF;
    if (r.newSession) flags |= POSIX_SPAWN_SETSID;
    rc = posix_spawnattr_setflags(&attr, flags);
    if (rc == 0) rc = posix_spawnattr_setsigmask(&attr, &none);
    if (rc == 0) rc = posix_spawnattr_setsigdefault(&attr, &all);
  }
  if (rc == 0 && r.environment != nullptr) {
    envp = EnvVector(r.environment);
    if (envp == nullptr) rc = ENOMEM;
  }
  if (rc == 0) {
    if (r.path == nullptr || *r.path == 0) {
      rc = ENOENT;
    } else {
      rc = posix_spawn(pid, r.path, &fa, &attr, const_cast<char* const*>(r.argv), envp != nullptr ? envp : environ);
    }
  }
  mem_Free(envp);
  posix_spawnattr_destroy(&attr);
  posix_spawn_file_actions_destroy(&fa);
  return rc;
}

}  // namespace

// =================================================================== start

plt_Process* plt_ProcessSpawn(const plt_SpawnRequest& r) {
  Sweep();
  pid_t pid = 0;
  int rc = SpawnRaw(r, &pid);
  if (int err = plt_FaultAfter(plt_FaultSpawn)) {
    if (rc == 0) {
      // Undo the real start so nothing is left running or unreaped.
      KillAndReap(pid);
    }
    rc = err;
  }
  if (rc != 0) {
    errno = rc;
    return nullptr;
  }
  auto* p = static_cast<plt_Process*>(mem_Malloc(sizeof(plt_Process)));
  if (p == nullptr) {
    KillAndReap(pid);
    errno = ENOMEM;
    return nullptr;
  }
  *p = plt_Process{pid, OpenPidfd(pid), false, false, 0};
  return p;
}

int plt_ProcessId(const plt_Process* p) { return p != nullptr ? static_cast<int>(p->m_Pid) : -1; }

// ================================================================== status

bool plt_ProcessWait(plt_Process* p, long long ms) {
  if (p->m_Reaped) return true;
  if (p->m_Pidfd < 0 || g_ForcePolling.load(std::memory_order_relaxed)) {
    if (ms < 0) {
      ReapBlocking(p);  // a failed wait leaves the status read to tell
      return true;
    }
    const long long deadline = plt_PosixNowMs() + ms;
    long long step = 1;
    for (;;) {
      if (!TryReap(p) || p->m_Reaped) return true;
      long long left = deadline - plt_PosixNowMs();
      if (left <= 0) return false;
      plt_PosixSleepMs(step < left ? step : left);
      if (step < 16) step *= 2;
    }
  }
  const long long deadline = ms < 0 ? 0 : plt_PosixNowMs() + ms;
  for (;;) {
    long long left = ms < 0 ? -1 : deadline - plt_PosixNowMs();
    if (ms >= 0 && left < 0) left = 0;
    struct pollfd pfd = {p->m_Pidfd, POLLIN, 0};
    int rc = poll(&pfd, 1, left > INT_MAX ? INT_MAX : static_cast<int>(left));
    if (rc > 0) return true;
    if (rc < 0 && errno != EINTR) return true;  // cannot wait: let the status tell
    if (rc == 0 && ms >= 0 && deadline - plt_PosixNowMs() <= 0) return false;
  }
}

int plt_ProcessWaitAny(plt_Process* const* ps, int n, long long ms) {
  if (n < 1) return plt_PosixFail(EINVAL);
  bool polling = g_ForcePolling.load(std::memory_order_relaxed);
  for (int i = 0; i < n; ++i) {
    if (ps[i]->m_Reaped) return i;
    if (ps[i]->m_Pidfd < 0) polling = true;
  }
  const long long deadline = ms < 0 ? 0 : plt_PosixNowMs() + ms;
  if (polling) {
    long long step = 1;
    for (;;) {
      for (int i = 0; i < n; ++i) {
        if (!TryReap(ps[i])) return -1;
        if (ps[i]->m_Reaped) return i;
      }
      long long left = ms < 0 ? 16 : deadline - plt_PosixNowMs();
      if (left <= 0) return -1;
      plt_PosixSleepMs(step < left ? step : left);
      if (step < 16) step *= 2;
    }
  }
  struct pollfd local[64];
  struct pollfd* pfd = local;
  if (n > 64) {
    pfd = static_cast<struct pollfd*>(mem_Malloc(sizeof(struct pollfd) * static_cast<size_t>(n)));
    if (pfd == nullptr) return plt_PosixFail(ENOMEM);
  }
  for (int i = 0; i < n; ++i) pfd[i] = {ps[i]->m_Pidfd, POLLIN, 0};
  int found = -1;
  for (;;) {
    long long left = ms < 0 ? -1 : deadline - plt_PosixNowMs();
    if (ms >= 0 && left < 0) left = 0;
    int rc = poll(pfd, static_cast<nfds_t>(n), left > INT_MAX ? INT_MAX : static_cast<int>(left));
    if (rc > 0) {
      for (int i = 0; i < n && found < 0; ++i)
        if (pfd[i].revents != 0) found = i;
      break;
    }
    if (rc < 0 && errno != EINTR) break;
    if (rc == 0 && ms >= 0 && deadline - plt_PosixNowMs() <= 0) {
      errno = ETIMEDOUT;
      break;
    }
  }
  int saved = errno;
  if (pfd != local) mem_Free(pfd);
  errno = saved;
  return found;
}

bool plt_ProcessExitCode(plt_Process* p, int* code) {
  bool ok = TryReap(p);
  if (int err = plt_FaultAfter(plt_FaultSpawn)) return Refuse(err);
  if (!ok) return false;
  *code = p->m_Reaped ? p->m_Code : plt_ProcessStillActive;
  return true;
}

// ================================================================= control

bool plt_ProcessKill(plt_Process* p) {
  int rc;
  if (p->m_Reaped) {
    rc = plt_PosixFail(ESRCH);
  } else {
    bool was = p->m_Killed;
    p->m_Killed = true;
    rc = p->m_Pidfd >= 0 ? SysPidfdKill(p->m_Pidfd, SIGKILL) : kill(p->m_Pid, SIGKILL);
    if (rc < 0) p->m_Killed = was;
  }
  if (int err = plt_FaultAfter(plt_FaultSpawn)) return Refuse(err);
  return rc == 0;
}

void plt_ProcessClose(plt_Process* p) {
  if (p == nullptr) return;
  int saved = errno;
  TryReap(p);
  if (!p->m_Reaped) {
    Adopt(p->m_Pid, p->m_Pidfd);
  } else {
    if (p->m_Pidfd >= 0) close(p->m_Pidfd);
    Sweep();
  }
  mem_Free(p);
  errno = saved;
}

int plt_ProcessReapOrphans() { return Sweep(); }

// ============================================================= descriptors

bool plt_PipeCreate(int ends[2]) {
  int fds[2];
  int rc = pipe2(fds, O_CLOEXEC);
  if (int err = plt_FaultAfter(plt_FaultSpawn)) {
    if (rc == 0) {
      close(fds[0]);
      close(fds[1]);
    }
    return Refuse(err);
  }
  if (rc < 0) return false;
  ends[0] = fds[0];
  ends[1] = fds[1];
  return true;
}

int plt_PipeWrite(int fd, const void* data, int count) {
  if (count < 0) return plt_PosixFail(EINVAL);
  // SIGPIPE is held back on this thread for the write; one the write raised
  // is taken off again, one that was pending before is left alone.
  sigset_t pipeSet, old, pending;
  sigemptyset(&pipeSet);
  sigaddset(&pipeSet, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &pipeSet, &old);
  sigpending(&pending);
  const bool wasPending = sigismember(&pending, SIGPIPE) == 1;
  const char* p = static_cast<const char*>(data);
  int done = 0;
  int error = 0;
  while (done < count) {
    ssize_t n = write(fd, p + done, static_cast<size_t>(count - done));
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) {
      error = errno;
      break;
    }
    done += static_cast<int>(n);
  }
  if (int err = plt_FaultAfter(plt_FaultWrite)) error = err;
  if (error == EPIPE && !wasPending) {
    struct timespec zero = {0, 0};
    while (sigtimedwait(&pipeSet, nullptr, &zero) < 0 && errno == EINTR) {
    }
  }
  pthread_sigmask(SIG_SETMASK, &old, nullptr);
  if (error != 0) return plt_PosixFail(error);
  return done;
}

bool plt_DescriptorValid(int fd) {
  struct stat st;
  return plt_PosixFstat(fd, &st) == 0;
}

int plt_RedirectOpen(const char* path, int stream, bool append) {
  int flags = O_CLOEXEC;
  if (stream == 0)
    flags |= O_RDONLY;
  else
    flags |= O_WRONLY | O_CREAT | (append ? O_APPEND : O_TRUNC);
  int fd = plt_PosixRetry([&] { return open(path, flags, 0666); });
  if (fd >= 0 && fd < 3) {
    // The caller's own standard stream was closed: a slot below 3 would be
    // read as "the caller's own" by the spawn.
    int moved = fcntl(fd, F_DUPFD_CLOEXEC, 3);
    int saved = errno;
    close(fd);
    errno = saved;
    fd = moved;
  }
  if (fd >= 0 && append) lseek(fd, 0, SEEK_END);
  if (int err = plt_FaultAfter(plt_FaultOpen)) {
    if (fd >= 0) close(fd);
    return plt_PosixFail(err);
  }
  return fd;
}

// ========================================================= the environment

const char* plt_NullDevicePath() { return "/dev/null"; }

char plt_PathListSeparator() { return ':'; }

const char* const* plt_ProcessEnvironment() {
  static const char* const kNone[] = {nullptr};
  return environ != nullptr ? environ : kNone;
}

atr_String plt_ProcessApplicationDirectory() {
  char buf[PATH_MAX + 1];
  ssize_t n = readlink("/proc/self/exe", buf, PATH_MAX);
  if (n <= 0) return atr_String();
  while (n > 0 && buf[n - 1] != '/') --n;
  if (n > 1) --n;  // keep "/" for the root, drop the slash otherwise
  return atr_String(buf, static_cast<int>(n));
}

long long plt_ProcessClockSeconds() { return plt_PosixNowMs() / 1000; }

void plt_ProcessForcePolling(bool force) { g_ForcePolling.store(force, std::memory_order_relaxed); }
