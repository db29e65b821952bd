// uti_Redirection on its own: the records each symbol sets, the misuse
// texts, the word-list forms, Nullify, the descriptors it owns and the
// symbol table's life in the thread-singleton registry.
#include <fcntl.h>

#include "SpawnTestUtil.h"
#include "thr/thr_ThreadSingleton.h"

using namespace spawntest;
using H = uti_Redirection::Handle;

namespace {

// "fd name append" of a stream's record; "-" when it is undefined.
std::string Rec(const uti_Redirection& r, int stream) {
  const uti_Redirection::Redirector& x = r.ConstGetRedirector(stream);
  if (x.isUndefined()) return "-";
  return std::to_string(x.m_Fd) + " " + S(x.m_FileName) + (x.m_Append ? " append" : "");
}

std::string Recs(const uti_Redirection& r) { return Rec(r, 0) + " | " + Rec(r, 1) + " | " + Rec(r, 2); }

}  // namespace

TEST(Redirection, EachSymbolSetsItsRecords) {
  const char* rows[][2] = {{"<", "-1 f | - | -"},         {">", "- | -1 f | -"},
                           {"2>", "- | - | -1 f"},        {">>", "- | -1 f append | -"},
                           {"2>>", "- | - | -1 f append"}, {">&", "- | -1 f | 1 "},
                           {">>&", "- | -1 f append | 1 "}};
  for (auto& row : rows) {
    EXPECT_TRUE(uti_Redirection::IsSymbol(C(row[0])));
    EXPECT_EQ(Recs(uti_Redirection(C(row[0]), H("f"))), row[1]) << row[0];
  }
  for (const char* w : {"", "<<", "2>&1", "&>", "1>", "nul"}) EXPECT_FALSE(uti_Redirection::IsSymbol(C(w))) << w;

  EXPECT_EQ(Recs(uti_Redirection()), "- | - | -");
  EXPECT_EQ(Recs(uti_Redirection(C("<"), H(C("in")), C("2>>"), H(utl_FilePath(C("dir"), C("err"))))),
            "-1 in | - | -1 dir/err append");
  EXPECT_EQ(Recs(uti_Redirection(C(">"), H(uti_Redirection::NullDevice()), C("<"), H(0), C("2>"), H(2))),
            "0  | -1 nul | 2 ");
}

TEST(Redirection, MisuseRaisesTheTexts) {
  using T = nex_TextException;
  EXPECT_EQ(Raises<T>([] { uti_Redirection(C("<<"), H("x")); }), "Unrecognized redirector symbol");
  EXPECT_EQ(Raises<T>([] { uti_Redirection(C(">"), H("a"), C(">>"), H("b")); }),
            "Stream stdout has already redirected.");
  EXPECT_EQ(Raises<T>([] { uti_Redirection(C("<"), H("a"), C("<"), H("b")); }), "Stream stdin has already redirected.");
  EXPECT_EQ(Raises<T>([] { uti_Redirection(C("2>"), H("a"), C(">&"), H("b")); }),
            "Stream stderr has already redirected.");
  uti_Redirection merged(C(">&"), H("both"));
  EXPECT_EQ(Raises<T>([&] { merged.Redirect(C(">"), H("again")); }), "Stream stdout has already redirected.");
  EXPECT_EQ(Recs(merged), "- | -1 both | 1 ");
  T source("");
  Raises<T>([] { uti_Redirection(C("?"), H("x")); }, &source);
  EXPECT_EQ(S(source.FromFile()), "uti/impl/uti_Redirection");

  // A descriptor target must be open (fstat), also when the call is failed.
  EXPECT_EQ(FailedCall([] { uti_Redirection(C(">"), H(987)); }), "fstat " + std::to_string(EBADF));
  plt_FaultArm(plt_FaultSize, 1, EIO);
  EXPECT_EQ(FailedCall([] { uti_Redirection(C("2>"), H(2)); }), "fstat " + std::to_string(EIO));
  plt_FaultDisarm();
}

TEST(Redirection, WordListsAndNullify) {
  using T = nex_TextException;
  EXPECT_EQ(Recs(uti_Redirection(Words({">", "out", "<", "in", "2>>", "err"}))), "-1 in | -1 out | -1 err append");
  EXPECT_EQ(Recs(uti_Redirection(C("  >>&\tlog.txt "))), "- | -1 log.txt append | 1 ");
  EXPECT_EQ(Recs(uti_Redirection(Words({}))), "- | - | -");
  // The count is tested before the pairing.
  EXPECT_EQ(Raises<T>([] { uti_Redirection(Words({">", "a", "<", "b", "2>", "c", "d"})); }),
            "Two many redirection arguments");
  EXPECT_EQ(Raises<T>([] { uti_Redirection(Words({">", "a", "<", "b", "2>"})); }),
            "Redirection arguments must be paired");
  EXPECT_EQ(Raises<T>([] { uti_Redirection(C("> out <")); }), "Redirection arguments must be paired");
  EXPECT_EQ(Raises<T>([] { uti_Redirection(Words({"out", ">"})); }), "Unrecognized redirector symbol");

  uti_Redirection r(C("2>"), H("err"));
  r.Nullify();
  r.Nullify();  // nothing left to fill
  EXPECT_EQ(Recs(r), "-1 nul | -1 nul | -1 err");
}

TEST(Redirection, DestructorClosesOnlyDescriptorsAbove2) {
  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  { uti_Redirection r(C("<"), H(fds[0]), C(">"), H(fds[1]), C("2>"), H(2)); }
  EXPECT_LT(fcntl(fds[0], F_GETFD), 0);
  EXPECT_LT(fcntl(fds[1], F_GETFD), 0);
  { uti_Redirection r(C("<"), H(0), C(">"), H(1), C("2>"), H(2)); }
  for (int fd = 0; fd < 3; ++fd) EXPECT_GE(fcntl(fd, F_GETFD), 0);
}

TEST(Redirection, SymbolTableGoesWithTheThreadObjectsAndComesBack) {
  // Built once and registered once; running the registry for a thread
  // releases it (level 16) and the next use builds it again.
  thr_ThrSingletonRegistry& registry = thr_GlobalSingleton<thr_ThrSingletonRegistry>::Instance();
  EXPECT_TRUE(uti_Redirection::IsSymbol(C(">")));
  const int entries = registry.EntryCount();
  EXPECT_TRUE(uti_Redirection::IsSymbol(C(">>&")));
  EXPECT_EQ(registry.EntryCount(), entries);
  registry.FinalizeThread(-1);
  EXPECT_TRUE(uti_Redirection::IsSymbol(C("2>>")));
  EXPECT_FALSE(uti_Redirection::IsSymbol(C("2>>>")));
}
