// uti_Redirection on its own: the symbol table, the records each symbol
// sets, the misuse errors and their texts, the word-list forms, Nullify and
// the descriptors the redirection owns.
#include <fcntl.h>
#include <unistd.h>

#include "SpawnTestUtil.h"
#include "thr/thr_ThreadSingleton.h"
#include "uti/uti_Exception.h"

using namespace spawntest;

namespace {

struct Rec {
  int fd;
  std::string name;
  bool append;
};

Rec At(const uti_Redirection& r, int stream) {
  const uti_Redirection::Redirector& x = r.ConstGetRedirector(stream);
  return Rec{x.m_Fd, S(x.m_FileName), x.m_Append};
}

void ExpectRec(const uti_Redirection& r, int stream, int fd, const std::string& name, bool append) {
  Rec x = At(r, stream);
  EXPECT_EQ(x.fd, fd) << "stream " << stream;
  EXPECT_EQ(x.name, name) << "stream " << stream;
  EXPECT_EQ(x.append, append) << "stream " << stream;
}

bool Undefined(const uti_Redirection& r, int stream) { return r.ConstGetRedirector(stream).isUndefined(); }

template <class F>
std::string TextOf(F f) {
  try {
    f();
  } catch (const nex_TextException& e) {
    EXPECT_EQ(S(e.FromFile()), "uti/impl/uti_Redirection");
    return S(e.AsString());
  }
  return "no exception";
}

bool IsOpen(int fd) { return fcntl(fd, F_GETFD) >= 0; }

}  // namespace

TEST(Redirection, EachSymbolSetsItsRow) {
  struct Row {
    const char* symbol;
    int stream;
    bool append;
    bool merge;
  } rows[] = {{"<", 0, false, false},  {">", 1, false, false},  {"2>", 2, false, false}, {">>", 1, true, false},
              {"2>>", 2, true, false}, {">&", 1, false, true},  {">>&", 1, true, true}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.symbol);
    EXPECT_TRUE(uti_Redirection::IsSymbol(cow_String(row.symbol)));
    uti_Redirection r(cow_String(row.symbol), uti_Redirection::Handle("f.txt"));
    for (int s = 0; s < 3; ++s) {
      if (s == row.stream)
        ExpectRec(r, s, -1, "f.txt", row.append);
      else if (s == 2 && row.merge)
        ExpectRec(r, 2, 1, "", false);  // standard error follows standard output
      else
        EXPECT_TRUE(Undefined(r, s));
    }
  }
  for (const char* w : {"", "<<", "2>&1", "&>", "1>", ">&2", "nul"}) EXPECT_FALSE(uti_Redirection::IsSymbol(cow_String(w))) << w;
}

TEST(Redirection, HandlesAndConstructors) {
  uti_Redirection empty;
  for (int s = 0; s < 3; ++s) EXPECT_TRUE(Undefined(empty, s));

  uti_Redirection two(cow_String("<"), uti_Redirection::Handle(cow_String("in")), cow_String("2>>"),
                      uti_Redirection::Handle(utl_FilePath(cow_String("dir"), cow_String("err"))));
  ExpectRec(two, 0, -1, "in", false);
  EXPECT_TRUE(Undefined(two, 1));
  ExpectRec(two, 2, -1, "dir/err", true);

  uti_Redirection three(cow_String(">"), uti_Redirection::Handle(uti_Redirection::NullDevice()), cow_String("<"),
                        uti_Redirection::Handle(0), cow_String("2>"), uti_Redirection::Handle(2));
  ExpectRec(three, 1, -1, "nul", false);
  ExpectRec(three, 0, 0, "", false);
  ExpectRec(three, 2, 2, "", false);
  EXPECT_STREQ(uti_Redirection::NullDevice().c_str(), "nul");

  uti_Redirection::Handle none;
  EXPECT_EQ(none.Fd(), -1);
  EXPECT_TRUE(none.FileName().IsEmpty());
}

TEST(Redirection, MisuseRaisesTheTexts) {
  EXPECT_EQ(TextOf([] { uti_Redirection r(cow_String("<<"), uti_Redirection::Handle("x")); }),
            "Unrecognized redirector symbol");
  EXPECT_EQ(TextOf([] { uti_Redirection r(cow_String(">"), uti_Redirection::Handle("a"), cow_String(">>"),
                                          uti_Redirection::Handle("b")); }),
            "Stream stdout has already redirected.");
  EXPECT_EQ(TextOf([] { uti_Redirection r(cow_String("<"), uti_Redirection::Handle("a"), cow_String("<"),
                                          uti_Redirection::Handle("b")); }),
            "Stream stdin has already redirected.");
  EXPECT_EQ(TextOf([] { uti_Redirection r(cow_String("2>"), uti_Redirection::Handle("a"), cow_String(">&"),
                                          uti_Redirection::Handle("b")); }),
            "Stream stderr has already redirected.");
  // ">&" then ">": the later one names stdout.
  uti_Redirection merged(cow_String(">&"), uti_Redirection::Handle("both"));
  EXPECT_EQ(TextOf([&] { merged.Redirect(cow_String(">"), uti_Redirection::Handle("again")); }),
            "Stream stdout has already redirected.");
  ExpectRec(merged, 1, -1, "both", false);

  // A descriptor target must be open.
  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  close(fds[0]);
  close(fds[1]);
  try {
    uti_Redirection r(cow_String(">"), uti_Redirection::Handle(fds[0]));
    ADD_FAILURE() << "no exception";
  } catch (const uti_IOErrorException& e) {
    EXPECT_EQ(S(e.Function()), "fstat");
    EXPECT_EQ(e.ErrorNo(), EBADF);
    EXPECT_EQ(S(e.FromFile()), "uti/impl/uti_Redirection");
  }
  // The same when the platform call is made to fail.
  plt_FaultArm(plt_FaultSize, 1, EIO);
  try {
    uti_Redirection r(cow_String("2>"), uti_Redirection::Handle(2));
    ADD_FAILURE() << "no exception";
  } catch (const uti_IOErrorException& e) {
    EXPECT_EQ(S(e.Function()), "fstat");
    EXPECT_EQ(e.ErrorNo(), EIO);
  }
  plt_FaultDisarm();
}

TEST(Redirection, WordLists) {
  uti_Redirection r(Words({">", "out", "<", "in", "2>>", "err"}));
  ExpectRec(r, 0, -1, "in", false);
  ExpectRec(r, 1, -1, "out", false);
  ExpectRec(r, 2, -1, "err", true);

  uti_Redirection fromText(cow_String("  >>&\tlog.txt "));
  ExpectRec(fromText, 1, -1, "log.txt", true);
  ExpectRec(fromText, 2, 1, "", false);

  uti_Redirection none(Words({}));
  EXPECT_TRUE(Undefined(none, 0));

  // The count is tested before the pairing: seven words are "too many".
  EXPECT_EQ(TextOf([] { uti_Redirection x(Words({">", "a", "<", "b", "2>", "c", "d"})); }),
            "Two many redirection arguments");
  EXPECT_EQ(TextOf([] { uti_Redirection x(Words({">", "a", "<", "b", "2>", "c", "2>", "d"})); }),
            "Two many redirection arguments");
  EXPECT_EQ(TextOf([] { uti_Redirection x(Words({">", "a", "<", "b", "2>"})); }),
            "Redirection arguments must be paired");
  EXPECT_EQ(TextOf([] { uti_Redirection x(cow_String("> out <")); }), "Redirection arguments must be paired");
  EXPECT_EQ(TextOf([] { uti_Redirection x(Words({"out", ">"})); }), "Unrecognized redirector symbol");
}

TEST(Redirection, NullifyFillsOnlyUndefinedStreams) {
  uti_Redirection r(cow_String("2>"), uti_Redirection::Handle("err"));
  r.Nullify();
  ExpectRec(r, 0, -1, "nul", false);
  ExpectRec(r, 1, -1, "nul", false);
  ExpectRec(r, 2, -1, "err", false);
  r.Nullify();  // nothing left to fill: no error
  EXPECT_EQ(TextOf([&] { r.Redirect(cow_String("<"), uti_Redirection::Handle("x")); }),
            "Stream stdin has already redirected.");
}

TEST(Redirection, DestructorClosesOwnedDescriptorsOnly) {
  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  {
    uti_Redirection r(cow_String("<"), uti_Redirection::Handle(fds[0]), cow_String(">"),
                      uti_Redirection::Handle(fds[1]), cow_String("2>"), uti_Redirection::Handle(2));
  }
  EXPECT_FALSE(IsOpen(fds[0]));
  EXPECT_FALSE(IsOpen(fds[1]));
  EXPECT_TRUE(IsOpen(2));
  {
    uti_Redirection r(cow_String("<"), uti_Redirection::Handle(0), cow_String(">"), uti_Redirection::Handle(1));
  }
  EXPECT_TRUE(IsOpen(0));
  EXPECT_TRUE(IsOpen(1));
}

TEST(Redirection, SymbolTableGoesWithTheThreadObjectsAndComesBack) {
  // The first use registers the table's release at level 16; running the
  // registry for a thread releases it, and the next use builds it again.
  thr_ThrSingletonRegistry& registry = thr_GlobalSingleton<thr_ThrSingletonRegistry>::Instance();
  EXPECT_TRUE(uti_Redirection::IsSymbol(cow_String(">")));
  const int entries = registry.EntryCount();
  EXPECT_TRUE(uti_Redirection::IsSymbol(cow_String(">>&")));
  EXPECT_EQ(registry.EntryCount(), entries);  // built once, registered once
  registry.FinalizeThread(-1);
  EXPECT_TRUE(uti_Redirection::IsSymbol(cow_String("2>>")));
  EXPECT_FALSE(uti_Redirection::IsSymbol(cow_String("2>>>")));
}
