// uti_Spawn with real children: what the child is given, redirections,
// exit codes, the waits, Detach, Kill, failures and their exceptions, the
// temporary-object forms and the log.
#include <fcntl.h>
#include <sys/stat.h>

#include <atomic>
#include <cerrno>
#include <set>

#include "SpawnTestUtil.h"
#include "typ/typ_DebugFlags.h"
#include "uti/uti_SpawnParts.h"

using namespace spawntest;
using H = uti_Redirection::Handle;
using V = std::vector<std::string>;

TEST_F(SpawnTest, ArgvEnvironmentDirectoryAndNoLeakedDescriptors) {
  int leaky = dup(1);  // left inheritable by the caller: must not reach the child
  const std::string rep = File("r");
  const cow_List<cow_String> args = Words({"@report=" + rep, "two words", "", "back\\slash\\", "a\"b", "c d"});
  ASSERT_EQ(Spawner().Run(args), 0);
  close(leaky);
  auto r = ReadReport(rep);
  // The empty word vanishes; the embedded quote opens quoting, which runs on.
  EXPECT_EQ(r["argv"], (V{Child(), "@report=" + rep, "two words", "back\\slash\\", "ab c", "d"}));
  EXPECT_EQ(r["argv"], Vec(uti_SplitCommandLine(uti_BuildCommandLine(C(Child()), args))));
  std::set<std::string> mine;
  for (char** e = environ; *e; ++e) mine.insert(*e);
  EXPECT_EQ(std::set<std::string>(r["env"].begin(), r["env"].end()), mine);  // an empty map: ours
  const V cwd = {std::filesystem::current_path().string()};
  EXPECT_EQ(r["cwd"], cwd);
  EXPECT_EQ(r["fd"].size(), 3u);  // 0, 1 and 2 only

  // A map replaces the environment, in sorted key order, in our directory.
  uti_Environment env;
  env.Insert(C("ZETA"), C("last one"));
  env.Insert(C("ALPHA"), C("1"));
  ASSERT_EQ(Spawner().Run(Words({"@report=" + rep}), uti_Redirection(), env), 0);
  r = ReadReport(rep);
  EXPECT_EQ(r["env"], (V{"ALPHA=1", "ZETA=last one"}));
  EXPECT_EQ(r["cwd"], cwd);

  setenv("VNK_SPAWN_TEST", "a=b", 1);
  const uti_Environment now = uti_Spawn::getEnvironment();
  unsetenv("VNK_SPAWN_TEST");
  EXPECT_EQ(S(now.ConstGet(C("VNK_SPAWN_TEST"))), "a=b");  // split at the first "="
}

TEST_F(SpawnTest, EverySymbolWithFiles) {
  const std::string in = File("in"), out = File("out"), err = File("err"), both = File("both");
  WriteAll(in, "from the file\n");
  WriteAll(out, "old contents that must go\n");
  uti_Redirection files(C("<"), C(in), C(">"), C(out), C("2>"), C(err));
  EXPECT_EQ(Spawner().Run(Words({"@cat", "@err=to stderr"}), files), 0);
  EXPECT_EQ(ReadAll(out) + "|" + ReadAll(err), "from the file\n|to stderr\n");
  EXPECT_EQ(Spawner().Run(Words({"@out=more", "@err=again"}), uti_Redirection(C(">>"), C(out), C("2>>"), C(err))), 0);
  EXPECT_EQ(ReadAll(out) + "|" + ReadAll(err), "from the file\nmore\n|to stderr\nagain\n");
  EXPECT_EQ(Spawner().Run(Words({"@out=one", "@err=two"}), uti_Redirection(C(">&"), C(both))), 0);
  EXPECT_EQ(Spawner().Run(Words({"@err=three", "@out=four"}), uti_Redirection(C(">>&"), C(both))), 0);
  EXPECT_EQ(ReadAll(both), "one\ntwo\nthree\nfour\n");
  namespace fs = std::filesystem;
  EXPECT_NE(fs::status(both).permissions() & fs::perms::owner_write, fs::perms::none);  // a new file stays writable
}

TEST_F(SpawnTest, NullDeviceDescriptorsAndUsingUp) {
  const std::string rep = File("rep"), out = File("out");
  int fd = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  uti_Redirection r(C("<"), H(uti_Redirection::NullDevice()), C(">"), H(fd), C("2>"), H(2));
  Spawner s;
  ASSERT_EQ(s.Run(Words({"@report=" + rep, "@out=through the descriptor", "@cat"}), r), 0);
  char self[4096] = "";
  EXPECT_GT(readlink("/proc/self/fd/2", self, sizeof self - 1), 0);
  EXPECT_EQ(ReadReport(rep)["fd"], (V{"0 /dev/null", "1 " + out, "2 " + std::string(self)}));  // ours
  EXPECT_EQ(ReadAll(out), "through the descriptor\n");
  // Used up: descriptors closed and reset; the file name stays.
  EXPECT_EQ(OpenFds(), m_Fds);
  EXPECT_TRUE(r.ConstGetRedirector(1).m_Fd == -1 && r.ConstGetRedirector(2).m_Fd == -1);
  EXPECT_EQ(S(r.ConstGetRedirector(0).m_FileName), "nul");

  // The same when the start fails: "open" of the missing input comes after
  // standard output's descriptor was taken; a missing program after the
  // output file was opened.
  fd = open(out.c_str(), O_WRONLY | O_CLOEXEC);
  uti_Redirection r2(C(">"), H(fd), C("<"), C(File("missing-input")));
  EXPECT_EQ(Raises<uti_IOErrorException>([&] { s.Start(Words({}), r2); }),
            "IOError:open failed with error 2: No such file or directory (" + File("missing-input") + ")");
  uti_Redirection r3(C(">"), C(out));
  EXPECT_EQ(FailedCall([&] { s.spawn(C(File("no-such-program")), utl_FilePath(), Words({}), r3, uti_Environment(), 1); }),
            "CreateProcess " + std::to_string(ENOENT));
  EXPECT_EQ(OpenFds(), m_Fds);  // while the redirections still exist
  EXPECT_EQ(r2.ConstGetRedirector(1).m_Fd, -1);
  EXPECT_TRUE(!s.IsRunning() && s.ExitCode() == -1);
}

TEST_F(SpawnTest, ExitCodesKillAndSignals) {
  Spawner a, b, c, d, e, never;
  a.Start(Words({"@exit=3"}));
  b.Start(Words({"@signal=15"}));
  for (Spawner* s : {&c, &d, &e}) s->Start(Words({"@sleep=30000"}));
  EXPECT_EQ(a.Reap(0), 3);
  EXPECT_EQ(b.Reap(0), 128 + 15);
  EXPECT_TRUE(c.Kill() == 0 && c.Reap(0) == -1);
  EXPECT_TRUE(d.Interrupt() == 0 && d.Reap(0) == -1);
  kill(e.ProcessId(), SIGKILL);  // not ours: an ordinary signal
  EXPECT_EQ(e.Reap(0), 128 + 9);
  EXPECT_EQ(a.Kill(), -1);  // nothing left to kill
  EXPECT_TRUE(never.Kill() == -1 && never.Reap(0) == -1);
  EXPECT_EQ(a.Run(Words({"@exit=2"})), 2);  // an object starts again
}

TEST_F(SpawnTest, ReapWaitForAnyAndWaitForAllWithPidfdAndPolling) {
  for (bool polling : {false, true}) {
    SCOPED_TRACE(polling ? "waitpid polling" : "pidfd");
    plt_ProcessForcePolling(polling);
    Spawner s;
    s.Start(Words({"@sleep=2500", "@exit=7"}));
    EXPECT_TRUE(s.Reap(-1) == -1 && s.IsRunning());
    auto t0 = std::chrono::steady_clock::now();
    EXPECT_EQ(s.Reap(1), -1);
    EXPECT_GE(Since(t0), 0.9);
    EXPECT_LT(Since(t0), 2.0);
    EXPECT_EQ(s.Reap(0), 7);
    EXPECT_TRUE(!s.IsRunning() && s.Reap(-1) == 7);
    EXPECT_EQ(s.ProcessId(), -1);  // the handle goes once the code is known

    Spawner slow1, quick, slow2;
    uti_Spawn* list[] = {&slow1, &quick, &slow2};
    for (Spawner* p : {&slow1, &slow2}) p->Start(Words({"@sleep=30000"}));
    quick.Start(Words({"@sleep=200", "@exit=9"}));
    EXPECT_EQ(uti_Spawn::waitForAll(list, 3, 0), 3);  // seconds 0: only polls
    EXPECT_TRUE(uti_Spawn::waitForAny(list, 3) == &quick && quick.ExitCode() == 9);
    EXPECT_EQ(uti_Spawn::waitForAny(list, 3), &quick);  // not running: at once
    t0 = std::chrono::steady_clock::now();
    EXPECT_EQ(uti_Spawn::waitForAll(list, 3, 1), 2);  // gives up after its seconds
    EXPECT_GE(Since(t0), 0.9);
    for (Spawner* p : {&slow1, &slow2}) p->Kill();
    t0 = std::chrono::steady_clock::now();
    EXPECT_EQ(uti_Spawn::waitForAll(list, 3, 10), 0);
    EXPECT_LT(Since(t0), 5.0);
    EXPECT_EQ(uti_Spawn::waitForAll(list, -2, 10), -2);
  }
}

TEST_F(SpawnTest, DetachForgetsTheChildWithCode86) {
  {
    Spawner s;
    s.Start(Words({"@pidfile=" + File("pid"), "@sleep=30000"}));
    const int pid = ReadPid(File("pid"));
    s.Detach();
    EXPECT_TRUE(s.ExitCode() == 86 && !s.IsRunning() && s.Reap(0) == 86);
    EXPECT_EQ(kill(pid, 0), 0);  // still alive
    EXPECT_EQ(s.Kill(), 0);      // the handle was left open
  }
  // Given up and ended: the platform reaps it, no zombie stays.
  ReapOrphans();
  EXPECT_TRUE(Children().empty());
  // A code waitForAny stored is collected first, then replaced.
  Spawner t;
  t.Start(Words({"@sleep=300", "@exit=5"}));
  uti_Spawn* list[] = {&t};
  EXPECT_EQ(uti_Spawn::waitForAny(list, 1), &t);
  t.Detach();
  EXPECT_TRUE(t.ExitCode() == 86 && Children().empty());
}

TEST_F(SpawnTest, MissingAndUnrunnablePrograms) {
  WriteAll(File("text"), "not a program\n");
  chmod(File("text").c_str(), 0755);
  WriteAll(File("locked"), "#!/bin/sh\n");
  std::pair<std::string, int> cases[] = {{File("missing"), ENOENT}, {"no_such_command_vnk", ENOENT},
                                         {File("locked"), EACCES},  {m_Dir.Path(), EACCES},
                                         {File("text"), ENOEXEC},   {"", ENOENT}};
  for (auto& c : cases) {
    Spawner s;
    uti_Redirection r;
    uti_IOErrorException e = IOError([&] { s.spawn(C(c.first), utl_FilePath(), Words({"arg"}), r, uti_Environment(), 1); });
    EXPECT_EQ(S(e.Function()) + " " + std::to_string(e.ErrorNo()) + " " + S(e.FuncData()),
              "CreateProcess " + std::to_string(c.second) + " " + c.first + " arg");
    EXPECT_EQ(S(e.FromFile()), "uti/impl/uti_Spawn");
    EXPECT_TRUE(s.ExitCode() == -1 && Children().empty());  // never a half-started child
  }
  // The one-string forms: the parser's command is empty, whatever was given.
  uti_Spawn::Parser p(C("/bin/true > out"));
  EXPECT_TRUE(p.m_Command.IsEmpty() && p.m_Args.IsEmpty() && p.m_Env.IsEmpty() && S(p.m_Path.Path()) == ".");
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(p.m_Redirection.ConstGetRedirector(i).isUndefined());
  uti_Environment env;
  env.Insert(C("A"), C("1"));
  const std::string noEntry = "CreateProcess " + std::to_string(ENOENT);
  EXPECT_EQ(FailedCall([&] { uti_Spawn::AndWait(C("/bin/true"), env); }), noEntry);
  EXPECT_EQ(FailedCall([&] { uti_Spawn::AndExit(C("/bin/true"), env); }), noEntry);
  EXPECT_EQ(FailedCall([&] { uti_Spawn::Daemon(C("/bin/true"), env); }), noEntry);
}

TEST_F(SpawnTest, InjectedPlatformFailures) {
  // The start: its real child is undone before the error leaves.
  plt_FaultArm(plt_FaultSpawn, 1, EAGAIN);
  Spawner s;
  EXPECT_EQ(FailedCall([&] { s.Start(Words({"@sleep=30000"})); }), "CreateProcess " + std::to_string(EAGAIN));
  EXPECT_TRUE(Children().empty());
  // AndWait's first status read (call 2 after the start).
  plt_FaultArm(plt_FaultSpawn, 2, EINVAL);
  uti_Redirection none;
  EXPECT_EQ(FailedCall([&] { Spawner::AndWait(C(Child()), utl_FilePath(), Words({}), none, uti_Environment()); }),
            "GetExitCodeProcess " + std::to_string(EINVAL));
  // A redirection file.
  plt_FaultArm(plt_FaultOpen, 1, ENOSPC);
  EXPECT_EQ(FailedCall([&] { s.Start(Words({}), uti_Redirection(C(">"), C(File("out")))); }),
            "open " + std::to_string(ENOSPC));
  plt_FaultDisarm();
  // Someone else reaped the child: its status cannot be read.
  s.Start(Words({}));
  ASSERT_EQ(waitpid(s.ProcessId(), nullptr, 0), s.ProcessId());
  EXPECT_EQ(IOError([&] { s.Reap(0); }).ErrorNo(), ECHILD);
  EXPECT_EQ(S(IOError([&] { s.IsRunning(); }).Function()), "GetExitCodeProcess");
}

TEST_F(SpawnTest, AndWaitAndExitAndDaemon) {
  uti_Redirection none, r1, r2(C("2>"), C(File("err")));
  EXPECT_EQ(Spawner::AndWait(C(Child()), utl_FilePath(), Words({"@exit=12"}), none, uti_Environment()), 12);
  // AndExit returns while the child runs on (and so does the caller).
  Spawner::AndExit(C(Child()), utl_FilePath(), Words({"@pidfile=" + File("pid1"), "@sleep=30000"}), r1,
                   uti_Environment());
  EXPECT_EQ(kill(ReadPid(File("pid1")), 0), 0);
  // Daemon: undefined streams on the null device, a session of its own.
  const std::string rep = File("rep");
  Spawner::Daemon(C(Child()), utl_FilePath(), Words({"@report=" + rep, "@pidfile=" + File("pid2"), "@sleep=30000"}),
                  r2, uti_Environment());
  ASSERT_GT(ReadPid(File("pid2")), 0);
  auto r = ReadReport(rep);
  EXPECT_EQ(r["sid"], r["pid"]);
  EXPECT_EQ(r["fd"], (V{"0 /dev/null", "1 /dev/null", "2 " + File("err")}));
}

TEST_F(SpawnTest, TheSpawnLogFollowsDebugFlag2) {
  uti_Environment env;
  env.Insert(C("K"), C("v"));
  for (int level = 0; level <= 3; ++level) {
    typ_DebugFlags::SetLevel(2, level);
    vnktest::CaptureCerr cap;
    Spawner s;
    s.Start(Words({"a b", "c"}), uti_Redirection(C(">&"), C(File("out"))), env);
    uti_Spawn* list[] = {&s};
    uti_Spawn::waitForAll(list, 1, 5);
    const std::string log = cap.Text();
    const std::pair<std::string, int> lines[] = {{"uti_Spawn - spawning: " + Child() + " \"a b\" c\n", 1},
                                                 {"uti_Spawn::waitForAll reaped process #0 with exit code0\n", 1},
                                                 {"              argument 0: a b\n              argument 1: c\n", 2},
                                                 {"uti_Spawn: redirecting standard handle 0 on handle -1 to handle 0\n", 2},
                                                 {"uti_Spawn: redirecting standard handle 2 on handle 1 to handle ", 2},
                                                 {"              env: K=v\n", 3}};
    for (auto& [line, from] : lines) EXPECT_EQ(log.find(line) != std::string::npos, level >= from) << level << line;
    EXPECT_EQ(log.empty(), level == 0);
  }
  typ_DebugFlags::SetLevel(2, 0);
}

TEST_F(SpawnTest, ObjectsOnSeveralThreadsSpawnAtOnce) {
  std::atomic<int> good{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([t, &good] {
      for (int i = 0; i < 5; ++i) good += Spawner().Run(Words({"@exit=" + std::to_string(t + i)})) == t + i;
    });
  for (std::thread& th : threads) th.join();
  EXPECT_EQ(good.load(), 20);
}
