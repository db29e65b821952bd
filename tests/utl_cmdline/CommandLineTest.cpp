// utl_CommandLine: parsing tables, typed reads and their exceptions, the
// arguments file with its limits and messages, the C callers, debug flags.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "support/TestSupport.h"
#include "typ/typ_DebugFlags.h"
#include "utl/utl_CommandLine.h"

namespace {

std::string Str(const atr_StringBase& s) { return std::string(s.c_str(), s.Length()); }
cow_String C(const std::string& s) { return cow_String(s.c_str(), static_cast<int>(s.size())); }

class CommandLine : public ::testing::Test {
 protected:
  void SetUp() override { utl_CommandLine::Finalize(); }
  void TearDown() override { utl_CommandLine::Finalize(); }

  static void Setup(std::vector<std::string> args) {
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    utl_CommandLineSetup(static_cast<int>(args.size()), argv.data());
  }
  static utl_CommandLine& Cl() { return utl_CommandLine::Instance(); }
  static std::vector<std::string> Args() {
    std::vector<std::string> v;
    for (int i = 0; i < Cl().Size(); ++i) v.push_back(Str(Cl().ConstGet(i)));
    return v;
  }
};

TEST_F(CommandLine, ParsingTable) {
  struct Row {
    std::vector<std::string> argv;
    std::vector<std::pair<std::string, std::string>> options;
    std::vector<std::string> absent;
  };
  const Row rows[] = {
      {{"prog", "-a", "1", "b", "-c"}, {{"a", "1"}, {"c", ""}}, {"b", "1", "-a"}},
      {{"prog", "-x"}, {{"x", ""}}, {}},
      {{"prog", "-n", "-5"}, {{"n", ""}, {"5", ""}}, {"-5"}},  // a value never begins with "-"
      {{"prog", "-a", "1", "-a", "2"}, {{"a", "2"}}, {}},      // the later value wins
      {{"prog", "p", "q"}, {}, {"p", "q"}},
      {{"prog", "-", "v", "--w"}, {{"", "v"}, {"-w", ""}}, {"w"}},
      {{"prog", "-e", "", "-f", "x y"}, {{"e", ""}, {"f", "x y"}}, {}},
      {{"prog"}, {}, {"prog"}},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.argv.size() > 1 ? r.argv[1] : "prog");
    utl_CommandLine::Finalize();
    Setup(r.argv);
    EXPECT_EQ(Args(), r.argv);
    for (const auto& [name, value] : r.options) {
      EXPECT_TRUE(Cl().IsMember(C(name))) << name;
      EXPECT_EQ(Str(Cl().ConstGetValue(C(name))), value);
    }
    for (const std::string& name : r.absent) EXPECT_FALSE(Cl().IsMember(C(name))) << name;
  }
}

TEST_F(CommandLine, OddArgumentVectorsAreSafe) {
  utl_CommandLineSetup(0, nullptr);
  EXPECT_EQ(Cl().Size(), 0);
  char prog[] = "prog", opt[] = "-k";
  char* argv[] = {prog, nullptr, opt, nullptr};
  utl_CommandLineSetup(3, argv);  // a null entry reads as an empty argument
  EXPECT_EQ(Args(), (std::vector<std::string>{"prog", "", "-k"}));
  EXPECT_TRUE(Cl().IsMember(C("k")));
  Setup({"again", "-z", "1"});  // a second set-up appends
  EXPECT_EQ(Cl().Size(), 6);
  EXPECT_EQ(Str(Cl().ConstGetValue(C("z"))), "1");
  EXPECT_DEATH(Cl().ConstGet(6), "");
}

TEST_F(CommandLine, TypedReadsAndTheirExceptions) {
  Setup({"prog", "-n", "12", "-bad", "12a", "-empty", "-sign", "+5", "-blank", " 5", "-big", "99999999999",
         "-huge", "99999999999999999999999", "-dict", "a=1, b = 2 ,c,,=x,d=e=f"});
  EXPECT_EQ(Cl().ConstGetValueAsInt(C("n")) + Cl().ConstGetValueAsInt(C("empty")), 12);
  EXPECT_EQ(Cl().ConstGetValueAsInt(C("absent"), 7), 7);
  EXPECT_EQ(Cl().ConstGetValueAsInt(C("big")), INT_MAX);
  EXPECT_EQ(Cl().ConstGetValueAsSizeT(C("big")), 99999999999u);
  EXPECT_EQ(Cl().ConstGetValueAsSizeT(C("huge")), SIZE_MAX);
  EXPECT_EQ(Cl().ConstGetValueAsSizeT(C("absent"), 9), 9u);
  EXPECT_EQ(Str(Cl().ConstGetValue(C("absent"), C("dflt"))), "dflt");

  for (const char* name : {"bad", "sign", "blank"}) {
    try {
      Cl().ConstGetValueAsInt(C(name), 1);  // a present value is checked even with a default
      ADD_FAILURE() << name;
    } catch (const utl_CmdLineArgFormatException& e) {
      EXPECT_EQ(Str(e.UserReport()), std::string("Command line argument ") + name + " must have type integer");
      EXPECT_EQ(Str(e.FromFile()), "utl/impl/utl_CommandLine");
    }
  }
  EXPECT_THROW(Cl().ConstGetValueAsSizeT(C("bad")), utl_CmdLineArgFormatException);
  try {
    Cl().ConstGetValueAsInt(C("q"));
    ADD_FAILURE();
  } catch (const utl_MissingCmdLineArgException& e) {
    EXPECT_EQ(Str(e.UserReport()), "Command line argument q is required.");
  }
  EXPECT_THROW(Cl().ConstGetValueAsDictionary(C("q")), utl_MissingCmdLineArgException);

  utl_CommandLine::Dictionary d = Cl().ConstGetValueAsDictionary(C("dict"));
  std::string all;
  for (cow_ConstMapSortedIt<cow_String, cow_String> it(d); it.More(); it.Next())
    all += Str(it.Key()) + ":" + Str(it.Value()) + ";";
  EXPECT_EQ(all, "a:1;b:2;c:;d:e=f;");
}

TEST_F(CommandLine, ErrorOptionSetsDebugFlags) {
  typ_DebugFlags::ResetAll();
  Setup({"prog", "-error", "trace=2,dump,nosuchfacility=3,spawn=x"});
  EXPECT_EQ(typ_DebugFlags::GetLevel("trace"), 2);
  EXPECT_EQ(typ_DebugFlags::GetLevel("dump"), 1);
  EXPECT_EQ(typ_DebugFlags::GetLevel("spawn"), 0);  // atoi("x") is 0: nothing set
  typ_DebugFlags::ResetAll();
  utl_CommandLine::Finalize();
  Setup({"prog", "-error", "trace=0"});
  EXPECT_EQ(typ_DebugFlags::GetLevel("trace"), 0);
  typ_DebugFlags::ResetAll();
}

TEST_F(CommandLine, CCallers) {
  Setup({"prog", "-s", "abc", "-long", "abcdefghi", "-e"});
  char dst[16] = "###############";
  EXPECT_EQ(utl_CommandLineStringC("s", dst, 8), 3);
  EXPECT_EQ(std::string(dst, 9), "abc     #");
  for (int width : {8, -1}) EXPECT_EQ(utl_CommandLineStringC("long", dst, width), 0);
  EXPECT_EQ(utl_CommandLineStringC("missing", dst, 8) + utl_CommandLineStringC(nullptr, dst, 8), 0);
  EXPECT_EQ(std::string(dst, 9), "abc     #");  // untouched by the refusals
  EXPECT_EQ(utl_CommandLineStringC("e", dst, 2), 0);  // empty value: all blanks
  EXPECT_EQ(std::string(dst, 3), "  c");

  EXPECT_EQ(utl_getArgs("long", dst), 9);
  EXPECT_EQ(utl_getArgs("missing", dst), 0);
  EXPECT_STREQ(dst, "abcdefghi");

  int result = -1;
  UTL_COMMANDLINESTRING("  s   ", 6, dst, 4, &result);
  EXPECT_EQ(result, 3);
  EXPECT_EQ(std::string(dst, 5), "abc e");  // four places written, the rest kept
  UTL_COMMANDLINESTRING("      ", 6, dst, 4, &result);
  EXPECT_EQ(result, 0);
}

// ------------------------------------------------------------ arguments file
class ArgsFile : public CommandLine {
 protected:
  std::string Write(const std::string& text) {
    std::string path = m_Dir.File("args.txt");
    std::ofstream(path, std::ios::binary) << text;
    return path;
  }
  vnktest::TempDir m_Dir;
};

TEST_F(ArgsFile, TokensReplaceTheArgumentVector) {
  typ_DebugFlags::ResetAll();
  std::string path = Write("  -a 1\n\tb\r\n-error spawn=4 -c\v\f");
  Setup({"prog", "-clargsfile", path, "-ignored"});
  EXPECT_EQ(Args(), (std::vector<std::string>{"prog", "-a", "1", "b", "-error", "spawn=4", "-c"}));
  EXPECT_EQ(typ_DebugFlags::GetLevel("spawn"), 4);
  typ_DebugFlags::ResetAll();
  EXPECT_FALSE(Cl().IsMember(C("ignored")) || Cl().IsMember(C("clargsfile")));

  utl_CommandLine::Finalize();
  Setup({"prog", "x", "-clargsfile", path});  // only as the first argument
  EXPECT_TRUE(Cl().IsMember(C("clargsfile")));
  EXPECT_EQ(Cl().Size(), 4);
}

TEST_F(ArgsFile, AtMost1024EntriesAndTokensOf1023Characters) {
  std::string text = "-v " + std::string(2500, 'x') + " end";  // cut into 1023 + 1023 + 454
  for (int i = 6; i <= 1100; ++i) text += " t" + std::to_string(i) + (i % 7 ? "" : "\n");
  vnktest::CaptureCerr err;
  Setup({"prog", "-clargsfile", Write(text)});
  EXPECT_EQ(err.Text(),
            "ERROR: There are more than 1024 command line arguments. All arguments beyond\n"
            "argument 1024 will be ignored.\n");
  ASSERT_EQ(Cl().Size(), 1024);
  EXPECT_EQ(Str(Cl().ConstGet(1023)), "t1023");
  EXPECT_EQ(Cl().ConstGetValue(C("v")).Length(), 1023);
  EXPECT_EQ(Cl().ConstGet(4).Length(), 454);
  EXPECT_EQ(Str(Cl().ConstGet(5)), "end");
}

TEST_F(ArgsFile, UnreadableFilesLeaveTheCommandLineEmpty) {
  const std::string missing = m_Dir.File("missing.txt");
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
      {{"prog", "-clargsfile", missing, "-a"}, missing},
      {{"prog", "-clargsfile", m_Dir.Path()}, m_Dir.Path()},  // a directory opens but cannot be read
      {{"prog", "-clargsfile"}, ""},
  };
  for (const auto& [argv, shown] : cases) {
    utl_CommandLine::Finalize();
    vnktest::CaptureCerr err;
    Setup(argv);
    EXPECT_EQ(err.Text(), "ERROR: Unable to open command line arguments file " + shown + "\n");
    EXPECT_EQ(Cl().Size(), 0);
  }
}

TEST_F(CommandLine, LookupsFromTwoThreads) {
  Setup({"prog", "-n", "5", "-s", "text"});
  auto work = [] {
    for (int i = 0; i < 20000; ++i) {
      ASSERT_EQ(Cl().ConstGetValueAsInt(C("n")) + Cl().IsMember(C("s")), 6);
    }
  };
  std::thread a(work), b(work);
  a.join();
  b.join();
}

}  // namespace
