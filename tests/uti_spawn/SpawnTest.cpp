// uti_Spawn with real children: what the child is given (argv, environment,
// directory, streams, descriptors), exit codes, the waits, Detach, Kill, the
// failures and their exceptions, the temporary-object forms and the log.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <set>

#include "SpawnTestUtil.h"
#include "typ/typ_DebugFlags.h"
#include "uti/uti_Exception.h"
#include "uti/uti_SpawnParts.h"

using namespace spawntest;

namespace {

cow_String C(const std::string& s) { return cow_String(s.c_str(), static_cast<int>(s.size())); }

double Seconds(std::chrono::steady_clock::time_point since) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

std::set<std::string> ParentEnvironment() {
  std::set<std::string> env;
  for (char** e = environ; *e; ++e) env.insert(*e);
  return env;
}

std::string Cwd() {
  char buf[4096];
  return getcwd(buf, sizeof buf) ? buf : "";
}

int OpenFds() {
  int n = 0;
  DIR* d = opendir("/proc/self/fd");
  while (dirent* de = readdir(d))
    if (de->d_name[0] != '.') ++n;
  closedir(d);
  return n - 1;  // the directory's own
}

// Runs f, which must raise uti_IOErrorException; answers it.
template <class F>
uti_IOErrorException IOError(F f) {
  try {
    f();
  } catch (const uti_IOErrorException& e) {
    return e;
  }
  ADD_FAILURE() << "no uti_IOErrorException";
  return uti_IOErrorException("none", 0);
}

}  // namespace

// ============================================================ the child's view

TEST_F(SpawnTest, ArgvIsWhatTheWindowsRunTimeWouldMake) {
  const std::string rep = File("r1");
  Spawner s;
  s.Start(Words({"@report=" + rep, "plain", "two words", "", "back\\slash\\", "tab\tin", "a\"b"}));
  ASSERT_EQ(s.Reap(0), 0);
  Report r = ReadReport(rep);
  // The empty word vanishes; the embedded quote opens quoting and is lost.
  EXPECT_EQ(r.argv, (std::vector<std::string>{Child(), "@report=" + rep, "plain", "two words", "back\\slash\\",
                                              "tab\tin", "ab"}));

  const std::string rep2 = File("r2");
  Spawner t;
  const cow_List<cow_String> args = Words({"@report=" + rep2, "say \"hi there\"", "x"});
  t.Start(args);
  ASSERT_EQ(t.Reap(0), 0);
  EXPECT_EQ(ReadReport(rep2).argv, (std::vector<std::string>{Child(), "@report=" + rep2, "say hi", "there", "x"}));
  EXPECT_EQ(ReadReport(rep2).argv, Vec(uti_SplitCommandLine(uti_BuildCommandLine(C(Child()), args))));
}

TEST_F(SpawnTest, EnvironmentAndStartingDirectory) {
  // An empty map: the caller's environment and directory.
  const std::string rep = File("inherit");
  Spawner a;
  a.Start(Words({"@report=" + rep}));
  ASSERT_EQ(a.Reap(0), 0);
  Report r = ReadReport(rep);
  EXPECT_EQ(std::set<std::string>(r.env.begin(), r.env.end()), ParentEnvironment());
  EXPECT_EQ(r.cwd, Cwd());

  // A map: exactly its entries, in sorted key order, in the caller's directory.
  uti_Environment env;
  env.Insert(cow_String("ZETA"), cow_String("last one"));
  env.Insert(cow_String("ALPHA"), cow_String("1"));
  env.Insert(cow_String("EMPTY"), cow_String());
  const std::string rep2 = File("block");
  Spawner b;
  uti_Redirection none;
  b.Start(Words({"@report=" + rep2}), none, env);
  ASSERT_EQ(b.Reap(0), 0);
  Report r2 = ReadReport(rep2);
  EXPECT_EQ(r2.env, (std::vector<std::string>{"ALPHA=1", "EMPTY=", "ZETA=last one"}));
  EXPECT_EQ(r2.cwd, Cwd());

  // getEnvironment splits at the first "=".
  setenv("VNK_SPAWN_TEST", "a=b", 1);
  uti_Environment mine = uti_Spawn::getEnvironment();
  unsetenv("VNK_SPAWN_TEST");
  ASSERT_NE(mine.FindPtr(cow_String("VNK_SPAWN_TEST")), nullptr);
  EXPECT_EQ(S(*mine.FindPtr(cow_String("VNK_SPAWN_TEST"))), "a=b");
  EXPECT_EQ(mine.Count(), static_cast<int>(ParentEnvironment().size()) + 1);
}

TEST_F(SpawnTest, NoDescriptorOfTheCallerLeaksIntoTheChild) {
  // Descriptors the caller left inheritable, a pipe among them.
  int leaky = dup(1);
  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  const std::string rep = File("fds");
  Spawner s;
  s.Start(Words({"@report=" + rep}));
  ASSERT_EQ(s.Reap(0), 0);
  Report r = ReadReport(rep);
  std::set<int> seen;
  for (const auto& fd : r.fds) seen.insert(fd.first);
  EXPECT_EQ(seen, (std::set<int>{0, 1, 2}));
  close(leaky);
  close(fds[0]);
  close(fds[1]);
}

// ============================================================== redirection

TEST_F(SpawnTest, EverySymbolWithFiles) {
  const std::string in = File("in"), out = File("out"), err = File("err"), both = File("both");
  WriteFile(in, "from the file\n");
  WriteFile(out, "old contents that must go\n");
  {
    uti_Redirection r(C("<"), C(in), C(">"), C(out), C("2>"), C(err));
    Spawner s;
    s.Start(Words({"@cat", "@err=to stderr"}), r);
    EXPECT_EQ(s.Reap(0), 0);
  }
  EXPECT_EQ(ReadFile(out), "from the file\n");
  EXPECT_EQ(ReadFile(err), "to stderr\n");
  {
    uti_Redirection r(C(">>"), C(out), C("2>>"), C(err));
    Spawner s;
    s.Start(Words({"@out=more", "@err=again"}), r);
    EXPECT_EQ(s.Reap(0), 0);
  }
  EXPECT_EQ(ReadFile(out), "from the file\nmore\n");
  EXPECT_EQ(ReadFile(err), "to stderr\nagain\n");
  {
    uti_Redirection r(C(">&"), C(both));
    Spawner s;
    s.Start(Words({"@out=one", "@err=two"}), r);
    EXPECT_EQ(s.Reap(0), 0);
  }
  EXPECT_EQ(ReadFile(both), "one\ntwo\n");
  {
    uti_Redirection r(C(">>&"), C(both));
    Spawner s;
    s.Start(Words({"@err=three", "@out=four"}), r);
    EXPECT_EQ(s.Reap(0), 0);
  }
  EXPECT_EQ(ReadFile(both), "one\ntwo\nthree\nfour\n");
  // New files can be written to again.
  struct stat st;
  ASSERT_EQ(stat(both.c_str(), &st), 0);
  EXPECT_TRUE(st.st_mode & S_IWUSR);
}

TEST_F(SpawnTest, NullDeviceDescriptorsAndTheCallersOwnStreams) {
  const std::string rep = File("rep"), out = File("out");
  int fd = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  ASSERT_GE(fd, 3);
  uti_Redirection r(C("<"), uti_Redirection::Handle(uti_Redirection::NullDevice()), C(">"),
                    uti_Redirection::Handle(fd), C("2>"), uti_Redirection::Handle(2));
  Spawner s;
  s.Start(Words({"@report=" + rep, "@out=through the descriptor", "@cat"}), r);
  ASSERT_EQ(s.Reap(0), 0);
  Report rp = ReadReport(rep);
  EXPECT_EQ(rp.fds[0], "/dev/null");
  EXPECT_EQ(rp.fds[1], out);
  char self[64];
  snprintf(self, sizeof self, "/proc/self/fd/%d", 2);
  char target[4096];
  ssize_t n = readlink(self, target, sizeof target - 1);
  EXPECT_EQ(rp.fds[2], std::string(target, n > 0 ? n : 0));  // the caller's own
  EXPECT_EQ(ReadFile(out), "through the descriptor\n");
  // Used up: the descriptor was closed and every descriptor record reset.
  EXPECT_LT(fcntl(fd, F_GETFD), 0);
  EXPECT_EQ(r.ConstGetRedirector(1).m_Fd, -1);
  EXPECT_EQ(r.ConstGetRedirector(2).m_Fd, -1);
  EXPECT_EQ(S(r.ConstGetRedirector(0).m_FileName), "nul");
}

TEST_F(SpawnTest, RedirectionIsUsedUpEvenWhenTheStartFails) {
  const int before = OpenFds();
  const std::string out = File("out");
  int fd = open(out.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
  uti_Redirection r(C(">"), uti_Redirection::Handle(fd), C("<"), C(File("missing-input")));
  Spawner s;
  // The input file is missing: "open" fails after stdout's descriptor was taken.
  uti_IOErrorException e = IOError([&] { s.Start(Words({}), r); });
  EXPECT_EQ(S(e.Function()), "open");
  EXPECT_EQ(e.ErrorNo(), ENOENT);
  EXPECT_EQ(S(e.FuncData()), File("missing-input"));
  EXPECT_EQ(r.ConstGetRedirector(1).m_Fd, -1);
  EXPECT_EQ(OpenFds(), before);
  EXPECT_FALSE(s.IsRunning());
  EXPECT_EQ(s.ExitCode(), -1);

  // A missing program: the files opened for it are closed again.
  uti_Redirection r2(C(">"), C(out));
  e = IOError([&] {
    Spawner t;
    t.spawn(C(File("no-such-program")), utl_FilePath(), Words({}), r2, uti_Environment(), 1);
  });
  EXPECT_EQ(S(e.Function()), "CreateProcess");
  EXPECT_EQ(OpenFds(), before);
  EXPECT_EQ(r2.ConstGetRedirector(1).m_Fd, -1);
}

// ============================================================== exit codes

TEST_F(SpawnTest, ExitCodesKillAndSignals) {
  Spawner a, b, c, d;
  a.Start(Words({"@exit=3"}));
  b.Start(Words({"@signal=15"}));
  c.Start(Words({"@sleep=30000"}));
  d.Start(Words({"@sleep=30000"}));
  EXPECT_EQ(a.Reap(0), 3);
  EXPECT_EQ(b.Reap(0), 128 + 15);
  EXPECT_EQ(c.Kill(), 0);
  EXPECT_EQ(c.Reap(0), -1);
  EXPECT_EQ(d.Interrupt(), 0);
  EXPECT_EQ(d.Reap(0), -1);
  // SIGKILL from elsewhere is an ordinary signal.
  Spawner e;
  e.Start(Words({"@sleep=30000"}));
  kill(e.ProcessId(), SIGKILL);
  EXPECT_EQ(e.Reap(0), 128 + 9);
  // Nothing left to kill.
  EXPECT_EQ(a.Kill(), -1);
  Spawner never;
  EXPECT_EQ(never.Kill(), -1);
  EXPECT_EQ(never.Reap(0), -1);
  EXPECT_FALSE(never.IsRunning());
}

TEST_F(SpawnTest, ReapWithZeroSomeAndNegativeSeconds) {
  for (bool polling : {false, true}) {
    SCOPED_TRACE(polling ? "waitpid polling" : "pidfd");
    plt_ProcessForcePolling(polling);
    Spawner s;
    s.Start(Words({"@sleep=2500", "@exit=7"}));
    EXPECT_EQ(s.Reap(-1), -1);  // a poll: still running
    EXPECT_TRUE(s.IsRunning());
    auto t0 = std::chrono::steady_clock::now();
    EXPECT_EQ(s.Reap(1), -1);  // at most a second
    const double waited = Seconds(t0);
    EXPECT_GE(waited, 0.9);
    EXPECT_LT(waited, 2.0);
    EXPECT_TRUE(s.IsRunning());
    EXPECT_EQ(s.Reap(0), 7);  // to the end
    EXPECT_FALSE(s.IsRunning());
    EXPECT_EQ(s.Reap(-1), 7);
    EXPECT_EQ(s.ProcessId(), -1);  // the handle is closed once the code is known

    Spawner quick;
    quick.Start(Words({"@exit=4"}));
    t0 = std::chrono::steady_clock::now();
    EXPECT_EQ(quick.Reap(30), 4);  // a limit does not hold up an early end
    EXPECT_LT(Seconds(t0), 5.0);
  }
}

TEST_F(SpawnTest, DetachForgetsTheChildWithCode86) {
  const std::string pidfile = File("pid");
  int pid;
  {
    Spawner s;
    s.Start(Words({"@pidfile=" + pidfile, "@sleep=30000"}));
    pid = ReadPid(pidfile);
    s.Detach();
    EXPECT_EQ(s.ExitCode(), 86);
    EXPECT_FALSE(s.IsRunning());
    EXPECT_EQ(s.Reap(0), 86);
    EXPECT_EQ(kill(pid, 0), 0);  // still alive
    EXPECT_EQ(s.Kill(), 0);      // the handle was left open
  }
  // The platform reaps it once it has ended: no zombie stays.
  for (int i = 0; i < 200 && !Children().empty(); ++i) {
    plt_ProcessReapOrphans();
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  EXPECT_TRUE(Children().empty());

  // A code already stored by waitForAny is collected first, then replaced.
  Spawner t;
  t.Start(Words({"@sleep=300", "@exit=5"}));
  uti_Spawn* list[] = {&t};
  EXPECT_EQ(uti_Spawn::waitForAny(list, 1), &t);
  t.Detach();
  EXPECT_EQ(t.ExitCode(), 86);
  EXPECT_TRUE(Children().empty());  // Reap(0) collected it
}

// ========================================================== several children

TEST_F(SpawnTest, WaitForAnyAndWaitForAll) {
  for (bool polling : {false, true}) {
    SCOPED_TRACE(polling ? "waitpid polling" : "pidfd");
    plt_ProcessForcePolling(polling);
    Spawner slow1, quick, slow2;
    slow1.Start(Words({"@sleep=30000"}));
    quick.Start(Words({"@sleep=200", "@exit=9"}));
    slow2.Start(Words({"@sleep=30000"}));
    uti_Spawn* list[] = {&slow1, &quick, &slow2};
    EXPECT_EQ(uti_Spawn::waitForAll(list, 3, 0), 3);  // only polls

    uti_Spawn* ended = uti_Spawn::waitForAny(list, 3);
    EXPECT_EQ(ended, &quick);
    EXPECT_EQ(quick.ExitCode(), 9);
    EXPECT_FALSE(quick.IsRunning());
    // A child not running any more is answered at once, first in list order.
    EXPECT_EQ(uti_Spawn::waitForAny(list, 3), &quick);
    EXPECT_EQ(uti_Spawn::waitForAll(list, 3, 0), 2);

    slow1.Kill();
    slow2.Kill();
    auto t0 = std::chrono::steady_clock::now();
    EXPECT_EQ(uti_Spawn::waitForAll(list, 3, 10), 0);
    EXPECT_LT(Seconds(t0), 5.0);
    EXPECT_EQ(slow1.ExitCode(), -1);
    EXPECT_EQ(uti_Spawn::waitForAll(list, 0, 10), 0);
    EXPECT_EQ(uti_Spawn::waitForAll(list, -2, 10), -2);
  }
}

TEST_F(SpawnTest, WaitForAllGivesUpAfterItsSeconds) {
  Spawner a, b;
  a.Start(Words({"@sleep=30000"}));
  b.Start(Words({"@sleep=30000"}));
  uti_Spawn* list[] = {&a, &b};
  auto t0 = std::chrono::steady_clock::now();
  EXPECT_EQ(uti_Spawn::waitForAll(list, 2, 1), 2);
  const double waited = Seconds(t0);
  EXPECT_GE(waited, 0.9);
  EXPECT_LT(waited, 3.0);
}

// ================================================================ failures

TEST_F(SpawnTest, MissingAndUnrunnablePrograms) {
  WriteFile(File("text"), "not a program\n");
  chmod(File("text").c_str(), 0755);
  WriteFile(File("locked"), "#!/bin/sh\n");
  chmod(File("locked").c_str(), 0644);
  struct Case {
    std::string command;
    int error;
  } cases[] = {{File("missing"), ENOENT},
               {"no_such_command_anywhere_vnk", ENOENT},
               {File("locked"), EACCES},
               {m_Dir.Path(), EACCES},
               {File("text"), ENOEXEC},
               {"", ENOENT}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.command);
    Spawner s;
    uti_Redirection r;
    uti_IOErrorException e =
        IOError([&] { s.spawn(C(c.command), utl_FilePath(), Words({"arg"}), r, uti_Environment(), 1); });
    EXPECT_EQ(S(e.Function()), "CreateProcess");
    EXPECT_EQ(e.ErrorNo(), c.error);
    EXPECT_EQ(S(e.FuncData()), c.command + " arg");
    EXPECT_EQ(S(e.FromFile()), "uti/impl/uti_Spawn");
    EXPECT_FALSE(s.IsRunning());
    EXPECT_EQ(s.ExitCode(), -1);
    EXPECT_TRUE(Children().empty());  // never a half-started child
  }
}

TEST_F(SpawnTest, OneStringFormsRefuseTheEmptyCommand) {
  uti_Spawn::Parser p(C("/bin/true > out"));
  EXPECT_TRUE(p.m_Command.IsEmpty());
  EXPECT_EQ(S(p.m_Path.Path()), ".");
  EXPECT_TRUE(p.m_Args.IsEmpty());
  EXPECT_TRUE(p.m_Env.IsEmpty());
  for (int s = 0; s < 3; ++s) EXPECT_TRUE(p.m_Redirection.ConstGetRedirector(s).isUndefined());

  uti_Environment env;
  env.Insert(cow_String("A"), cow_String("1"));
  for (int form = 0; form < 3; ++form) {
    SCOPED_TRACE(form);
    uti_IOErrorException e = IOError([&] {
      if (form == 0) uti_Spawn::AndWait(C("/bin/true"), env);
      if (form == 1) uti_Spawn::AndExit(C("/bin/true"), uti_Environment());
      if (form == 2) uti_Spawn::Daemon(C("/bin/true"), env);
    });
    EXPECT_EQ(S(e.Function()), "CreateProcess");
    EXPECT_EQ(e.ErrorNo(), ENOENT);
  }
  EXPECT_TRUE(Children().empty());
}

TEST_F(SpawnTest, InjectedPlatformFailures) {
  // The start itself: the real child is undone before the error leaves.
  plt_FaultArm(plt_FaultSpawn, 1, EAGAIN);
  Spawner s;
  uti_IOErrorException e = IOError([&] { s.Start(Words({"@sleep=30000"})); });
  EXPECT_EQ(S(e.Function()), "CreateProcess");
  EXPECT_EQ(e.ErrorNo(), EAGAIN);
  EXPECT_TRUE(plt_FaultFired(plt_FaultSpawn));
  EXPECT_TRUE(Children().empty());
  EXPECT_FALSE(s.IsRunning());

  // The first status read of AndWait (call 2 after the start).
  plt_FaultArm(plt_FaultSpawn, 2, EINVAL);
  uti_Redirection none;
  e = IOError([&] { Spawner::AndWait(C(Child()), utl_FilePath(), Words({}), none, uti_Environment()); });
  EXPECT_EQ(S(e.Function()), "GetExitCodeProcess");
  EXPECT_EQ(e.ErrorNo(), EINVAL);
  plt_FaultDisarm();

  // A redirection file that cannot be opened.
  plt_FaultArm(plt_FaultOpen, 1, ENOSPC);
  uti_Redirection r(C(">"), C(File("out")));
  e = IOError([&] { Spawner t; t.Start(Words({}), r); });
  EXPECT_EQ(S(e.Function()), "open");
  EXPECT_EQ(e.ErrorNo(), ENOSPC);
  plt_FaultDisarm();

  // Someone else reaped the child: its status cannot be read.
  Spawner u;
  u.Start(Words({}));
  ASSERT_EQ(waitpid(u.ProcessId(), nullptr, 0), u.ProcessId());
  e = IOError([&] { u.Reap(0); });
  EXPECT_EQ(S(e.Function()), "GetExitCodeProcess");
  EXPECT_EQ(e.ErrorNo(), ECHILD);
  e = IOError([&] { u.IsRunning(); });
  EXPECT_EQ(e.ErrorNo(), ECHILD);
}

// ======================================================= temporary objects

TEST_F(SpawnTest, AndWaitAndExitAndDaemon) {
  uti_Redirection none;
  EXPECT_EQ(Spawner::AndWait(C(Child()), utl_FilePath(), Words({"@exit=12"}), none, uti_Environment()), 12);

  // AndExit returns while the child runs on.
  const std::string pid1 = File("pid1");
  uti_Redirection r1;
  auto t0 = std::chrono::steady_clock::now();
  Spawner::AndExit(C(Child()), utl_FilePath(), Words({"@pidfile=" + pid1, "@sleep=30000"}), r1, uti_Environment());
  EXPECT_LT(Seconds(t0), 5.0);
  const int child1 = ReadPid(pid1);
  ASSERT_GT(child1, 0);
  EXPECT_EQ(kill(child1, 0), 0);

  // Daemon: every stream on the null device, a session of its own.
  const std::string pid2 = File("pid2"), rep = File("rep");
  uti_Redirection r2(C("2>"), C(File("err")));
  Spawner::Daemon(C(Child()), utl_FilePath(), Words({"@report=" + rep, "@pidfile=" + pid2, "@sleep=30000"}), r2,
                  uti_Environment());
  const int child2 = ReadPid(pid2);
  ASSERT_GT(child2, 0);
  Report rp = ReadReport(rep);
  EXPECT_EQ(rp.sid, rp.pid);
  EXPECT_NE(rp.sid, getsid(0));
  EXPECT_EQ(rp.fds[0], "/dev/null");
  EXPECT_EQ(rp.fds[1], "/dev/null");
  EXPECT_EQ(rp.fds[2], File("err"));
  // The teardown kills and reaps both.
}

TEST_F(SpawnTest, TheSpawnLogFollowsDebugFlag2) {
  const std::string out = File("out");
  uti_Environment env;
  env.Insert(cow_String("K"), cow_String("v"));
  for (int level = 0; level <= 3; ++level) {
    SCOPED_TRACE(level);
    typ_DebugFlags::SetLevel(2, level);
    vnktest::CaptureCerr cap;
    uti_Redirection r(C(">&"), C(out));
    Spawner s;
    s.Start(Words({"a b", "c"}), r, env);
    EXPECT_EQ(s.Reap(0), 0);
    const std::string log = cap.Text();
    const std::string line = Child() + " \"a b\" c";
    EXPECT_EQ(log.find("uti_Spawn - spawning: " + line + "\n") != std::string::npos, level >= 1);
    EXPECT_EQ(log.find("              argument 0: a b\n") != std::string::npos, level >= 2);
    EXPECT_EQ(log.find("              argument 1: c\n") != std::string::npos, level >= 2);
    EXPECT_EQ(log.find("uti_Spawn: redirecting standard handle 0 on handle -1 to handle 0\n") != std::string::npos,
              level >= 2);
    EXPECT_EQ(log.find("uti_Spawn: redirecting standard handle 2 on handle 1 to handle ") != std::string::npos,
              level >= 2);
    EXPECT_EQ(log.find("              env: K=v\n") != std::string::npos, level >= 3);
    if (level == 0) {
      EXPECT_EQ(log, "");
    }

    Spawner w;
    w.Start(Words({"@exit=2"}));
    uti_Spawn* list[] = {&w};
    vnktest::CaptureCerr cap2;
    uti_Spawn::waitForAll(list, 1, 5);
    EXPECT_EQ(cap2.Text().find("uti_Spawn::waitForAll reaped process #0 with exit code2\n") != std::string::npos,
              level >= 1);
  }
  typ_DebugFlags::SetLevel(2, 0);
}

TEST_F(SpawnTest, ObjectsOnSeveralThreadsSpawnAtOnce) {
  std::vector<std::thread> threads;
  std::atomic<int> good{0};
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t, &good] {
      for (int i = 0; i < 5; ++i) {
        Spawner s;
        s.Start(Words({"@exit=" + std::to_string(t + i)}));
        if (s.Reap(0) == t + i) ++good;
      }
    });
  }
  for (std::thread& th : threads) th.join();
  EXPECT_EQ(good.load(), 20);
}

TEST_F(SpawnTest, AnObjectStartsAgainAfterItsChildEnded) {
  Spawner s;
  s.Start(Words({"@exit=1"}));
  EXPECT_EQ(s.Reap(0), 1);
  s.Start(Words({"@exit=2"}));
  EXPECT_TRUE(s.IsRunning() || s.ExitCode() == 2);
  EXPECT_EQ(s.Reap(0), 2);
}
