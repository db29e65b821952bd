// The four pipe classes: lines as fgets reads them, input the child reads
// to its end once the parent's end closes, the closing order of Reap and
// Detach, the stream checks and pipes that cannot be made.
#include <cerrno>
#include <cstring>

#include "SpawnTestUtil.h"

using namespace spawntest;

namespace {

template <class T>
std::string Line(T& s, int size = 256) {
  std::vector<char> buf(size > 0 ? size : 1, 'x');
  const int n = s.GetLine(buf.data(), size);
  if (size <= 0) return std::to_string(n);
  EXPECT_EQ(n, static_cast<int>(std::strlen(buf.data())));
  return std::string(buf.data());
}

}  // namespace

TEST_F(SpawnTest, SourceLinesAndSinkInput) {
  {
    Source s;
    uti_Redirection r;
    s.Start(Words({"@out=line 0", "@out=line 1", "@out=last"}), r);
    EXPECT_EQ(r.ConstGetRedirector(1).m_Fd, -1);  // the child's end went with the spawn
    EXPECT_GE(s.m_SourceFd, 3);
    EXPECT_EQ(Line(s), "line 0\n");
    EXPECT_EQ(s.m_SourceFd, -1);  // the stream owns it now
    EXPECT_EQ(Line(s, 4), "lin");  // size - 1 bytes and a terminator
    EXPECT_EQ(Line(s, 1), "");
    EXPECT_EQ(Line(s, 0), "0");
    EXPECT_EQ(Line(s), "e 1\n");
    EXPECT_EQ(Line(s), "last\n");
    EXPECT_EQ(Line(s), "");  // end of input, and it stays
    EXPECT_EQ(Line(s), "");
    EXPECT_EQ(s.Reap(0), 0);
  }
  {
    Sink s;
    s.Start(Words({"@count"}), uti_Redirection(C(">"), C(File("out"))));
    std::string data(300000, 'z');  // more than a pipe holds
    EXPECT_EQ(s.Write(data.data(), static_cast<int>(data.size())), 300000);
    EXPECT_TRUE(s.IsRunning());  // waits for the end of its input
    EXPECT_EQ(s.Reap(0), 0);     // closes the writing end first
    EXPECT_EQ(s.SinkDescriptor(), -1);
  }
  EXPECT_EQ(ReadAll(File("out")), "read 300000\n");
}

TEST_F(SpawnTest, BothWaysTheSourceStaysUntilTheCodeIsKnown) {
  {
    SourceWithSink s;
    s.Start(Words({"@cat", "@out=done"}));
    EXPECT_EQ(s.Write("alpha\nbeta\n", 11), 11);
    EXPECT_EQ(s.Reap(-1), -1);  // closes the writing end, keeps the reading end
    EXPECT_EQ(s.SinkDescriptor(), -1);
    std::string all;
    for (std::string l; !(l = Line(s)).empty();) all += l;
    EXPECT_EQ(all, "alpha\nbeta\ndone\n");
    EXPECT_EQ(s.Reap(0), 0);
  }
  {
    SinkWithSource s;
    s.Start(Words({"@count"}));
    EXPECT_EQ(s.Write("12345", 5), 5);
    s.Reap(-1);
    EXPECT_EQ(Line(s), "read 5\n");
    EXPECT_EQ(s.Reap(0), 0);
    EXPECT_EQ(Line(s), "");  // the reading end went with the code
  }
}

TEST_F(SpawnTest, DetachClosesTheParentsEnds) {
  {
    Source s;
    s.Start(Words({"@sleep=30000"}));
    s.Detach();
    EXPECT_EQ(s.m_SourceFd, -1);
    EXPECT_EQ(s.ExitCode(), 86);
    EXPECT_EQ(s.Kill(), 0);
  }
  {
    SourceWithSink s;
    s.Start(Words({"@count"}));
    s.Detach();  // the child sees the end of its input and finishes
    EXPECT_EQ(s.SinkDescriptor(), -1);
    EXPECT_EQ(Line(s), "");
  }
  // Once the platform has reaped the children nothing of theirs is open
  // (TearDown counts the descriptors).
  ReapOrphans();
}

TEST_F(SpawnTest, WritingToAChildThatStoppedReadingFailsWithoutASignal) {
  Sink s;
  s.Start(Words({"@exit=0"}));
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
  using T = nex_TextException;
  const std::string stdoutTaken = "Stream stdout has already redirected.", stdinTaken = "Stream stdin has already redirected.";
  auto start = [&](auto pipe, const char* symbol) {
    return Raises<T>([&] { pipe.Start(Words({}), uti_Redirection(C(symbol), C(File("x")))); });
  };
  EXPECT_EQ(start(Source(), ">"), stdoutTaken);
  EXPECT_EQ(start(Sink(), "<"), stdinTaken);
  EXPECT_EQ(start(SourceWithSink(), ">>&"), stdoutTaken);
  EXPECT_EQ(start(SinkWithSource(), "<"), stdinTaken);
  plt_FaultArm(plt_FaultSpawn, 1, EMFILE);
  nex_SystemErrorException e(0u, 0);
  Raises<nex_SystemErrorException>([] { Source().Start(Words({})); }, &e);
  EXPECT_EQ(e.GetValue().m_CRTErrorCode, EMFILE);
  EXPECT_EQ(S(e.FromFile()), "uti/impl/uti_Spawn");
  // A failed start after two pipes were made closes all four ends.
  plt_FaultArm(plt_FaultSpawn, 3, EAGAIN);
  EXPECT_EQ(FailedCall([] { SinkWithSource().Start(Words({})); }), "CreateProcess " + std::to_string(EAGAIN));
}
