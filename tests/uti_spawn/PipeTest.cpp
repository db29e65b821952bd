// The four pipe classes: lines read as fgets reads them, input the child
// reads to its end once the parent's end closes, the closing order of
// Reap and Detach, the stream checks and a pipe that cannot be made.
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "SpawnTestUtil.h"
#include "nex/nex_Exception.h"

using namespace spawntest;

namespace {

cow_String C(const std::string& s) { return cow_String(s.c_str(), static_cast<int>(s.size())); }

int OpenFds() {
  int n = 0;
  DIR* d = opendir("/proc/self/fd");
  while (dirent* de = readdir(d))
    if (de->d_name[0] != '.') ++n;
  closedir(d);
  return n - 1;
}

template <class T>
std::string Line(T& s, int size = 256) {
  std::vector<char> buf(size > 0 ? size : 1, 'x');
  int n = s.GetLine(buf.data(), size);
  if (size > 0) {
    EXPECT_EQ(n, static_cast<int>(std::strlen(buf.data())));
    return std::string(buf.data());
  }
  return std::to_string(n);
}

template <class F>
std::string TextOf(F f) {
  try {
    f();
  } catch (const nex_TextException& e) {
    return S(e.AsString());
  }
  return "no exception";
}

}  // namespace

TEST_F(SpawnTest, SourceReadsLinesAsFgets) {
  const int before = OpenFds();
  {
    Source s;
    uti_Redirection r;
    s.Start(Words({"@lines=3", "@out=no newline at the end"}), r);
    EXPECT_EQ(r.ConstGetRedirector(1).m_Fd, -1);  // the child's end went with the spawn
    EXPECT_GE(s.m_SourceFd, 3);
    EXPECT_EQ(Line(s), "line 0\n");
    EXPECT_EQ(s.m_SourceFd, -1);  // the stream owns it now
    EXPECT_EQ(Line(s, 4), "lin");  // size - 1 bytes and a terminator
    EXPECT_EQ(Line(s, 1), "");
    EXPECT_EQ(Line(s), "e 1\n");
    EXPECT_EQ(Line(s), "line 2\n");
    EXPECT_EQ(Line(s), "no newline at the end\n");
    EXPECT_EQ(Line(s), "");  // end of input: empty and 0, again and again
    EXPECT_EQ(Line(s), "");
    EXPECT_EQ(Line(s, 0), "0");
    EXPECT_EQ(s.Reap(0), 0);
  }
  EXPECT_EQ(OpenFds(), before);
}

TEST_F(SpawnTest, SinkInputEndsWhenTheParentCloses) {
  const std::string out = File("out");
  const int before = OpenFds();
  {
    Sink s;
    uti_Redirection r(C(">"), C(out));
    s.Start(Words({"@count"}), r);
    // More than a pipe holds: the child reads while the parent writes.
    std::string data(300000, 'z');
    EXPECT_EQ(s.Write(data.data(), static_cast<int>(data.size())), static_cast<int>(data.size()));
    EXPECT_TRUE(s.IsRunning());  // waiting for the end of its input
    EXPECT_EQ(s.Reap(0), 0);     // closes the writing end first
    EXPECT_EQ(s.SinkDescriptor(), -1);
  }
  EXPECT_EQ(ReadFile(out), "read 300000\n");
  EXPECT_EQ(OpenFds(), before);
}

TEST_F(SpawnTest, BothWaysWithTheSourceKeptUntilTheEnd) {
  const int before = OpenFds();
  {
    SourceWithSink s;
    uti_Redirection r;
    s.Start(Words({"@cat", "@out=done"}), r);
    EXPECT_EQ(s.Write("alpha\nbeta\n", 11), 11);
    // A poll closes the writing end (the child sees the end of its input)
    // but keeps the reading end while the code is not known.
    s.Reap(-1);
    EXPECT_EQ(s.SinkDescriptor(), -1);
    EXPECT_EQ(Line(s), "alpha\n");
    EXPECT_EQ(Line(s), "beta\n");
    EXPECT_EQ(Line(s), "done\n");
    EXPECT_EQ(Line(s), "");
    EXPECT_EQ(s.Reap(0), 0);
  }
  {
    SinkWithSource s;
    uti_Redirection r;
    s.Start(Words({"@count"}), r);
    EXPECT_EQ(s.Write("12345", 5), 5);
    s.Reap(-1);
    EXPECT_EQ(Line(s), "read 5\n");
    EXPECT_EQ(s.Reap(0), 0);
    EXPECT_EQ(Line(s), "");  // the reading end went with the code
  }
  EXPECT_EQ(OpenFds(), before);
}

TEST_F(SpawnTest, DetachClosesTheParentsEnds) {
  const int before = OpenFds();
  {
    Source s;
    uti_Redirection r;
    s.Start(Words({"@sleep=30000"}), r);
    s.Detach();
    EXPECT_EQ(s.m_SourceFd, -1);
    EXPECT_EQ(s.ExitCode(), 86);
    EXPECT_EQ(s.Kill(), 0);
  }
  {
    SourceWithSink s;
    uti_Redirection r;
    s.Start(Words({"@count"}), r);
    s.Detach();  // the child sees the end of its input and finishes
    EXPECT_EQ(s.SinkDescriptor(), -1);
    EXPECT_EQ(Line(s), "");
  }
  {
    Sink s;
    uti_Redirection r(C(">"), C(File("out")));
    s.Start(Words({"@count"}), r);
    s.Detach();
    EXPECT_EQ(s.SinkDescriptor(), -1);
  }
  // The children given up end by themselves (or were killed); once the
  // platform has reaped them nothing of theirs stays open here.
  for (int i = 0; i < 500 && plt_ProcessReapOrphans() > 0; ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  EXPECT_EQ(plt_ProcessReapOrphans(), 0);
  EXPECT_EQ(OpenFds(), before);
}

TEST_F(SpawnTest, WritingToAChildThatStoppedReadingFailsWithoutASignal) {
  Sink s;
  uti_Redirection r;
  s.Start(Words({"@exit=0"}), r);
  std::string data(65536, 'q');
  int rc = 0;
  for (int i = 0; i < 200 && rc >= 0; ++i) rc = s.Write(data.data(), static_cast<int>(data.size()));
  EXPECT_EQ(rc, -1);
  EXPECT_EQ(errno, EPIPE);
  sigset_t pending;
  sigpending(&pending);
  EXPECT_FALSE(sigismember(&pending, SIGPIPE));
  EXPECT_EQ(s.Reap(0), 0);
}

TEST_F(SpawnTest, PipedStreamsMustBeFreeAndPipesMustBeMade) {
  {
    Source s;
    uti_Redirection r(C(">"), C(File("x")));
    EXPECT_EQ(TextOf([&] { s.Start(Words({}), r); }), "Stream stdout has already redirected.");
  }
  {
    Sink s;
    uti_Redirection r(C("<"), C(File("x")));
    EXPECT_EQ(TextOf([&] { s.Start(Words({}), r); }), "Stream stdin has already redirected.");
  }
  {
    SourceWithSink s;
    uti_Redirection r(C(">>&"), C(File("x")));
    EXPECT_EQ(TextOf([&] { s.Start(Words({}), r); }), "Stream stdout has already redirected.");
    EXPECT_EQ(s.SinkDescriptor(), -1);
  }
  {
    SinkWithSource s;
    uti_Redirection r(C("<"), C(File("x")));
    EXPECT_EQ(TextOf([&] { s.Start(Words({}), r); }), "Stream stdin has already redirected.");
  }
  const int before = OpenFds();
  plt_FaultArm(plt_FaultSpawn, 1, EMFILE);
  try {
    Source s;
    uti_Redirection r;
    s.Start(Words({}), r);
    ADD_FAILURE() << "no exception";
  } catch (const nex_SystemErrorException& e) {
    EXPECT_EQ(e.GetValue().m_CRTErrorCode, EMFILE);
    EXPECT_EQ(S(e.FromFile()), "uti/impl/uti_Spawn");
  }
  plt_FaultDisarm();
  // A failed start after the pipe was made closes both of its ends.
  try {
    SinkWithSource s;
    uti_Redirection r;
    plt_FaultArm(plt_FaultSpawn, 3, EAGAIN);  // two pipes, then the start
    s.Start(Words({}), r);
    ADD_FAILURE() << "no exception";
  } catch (const nex_Exception& e) {
    EXPECT_NE(S(e.AsString()).find("CreateProcess"), std::string::npos);
  }
  plt_FaultDisarm();
  EXPECT_EQ(OpenFds(), before);
}
