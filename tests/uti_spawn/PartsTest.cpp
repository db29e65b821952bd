// The portable parts of a spawn on their own: quoting, splitting by the
// Windows run time's rules, the environment block, the program search and
// FindCommand.
#include <stdlib.h>
#include <sys/stat.h>

#include <cerrno>

#include "SpawnTestUtil.h"
#include "mem/mem_Alloc.h"
#include "uti/uti_SpawnParts.h"

using namespace spawntest;
using V = std::vector<std::string>;

namespace {

V Split(const char* line) { return Vec(uti_SplitCommandLine(atr_String(line))); }
V Built(std::initializer_list<std::string> w) { return Vec(uti_SplitCommandLine(uti_BuildCommandLine(C("p"), Words(w)))); }

// PATH and the current directory for one test, made of fresh directories.
class SearchTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char buf[4096];
    m_OldCwd = getcwd(buf, sizeof buf);
    const char* path = getenv("PATH");
    m_OldPath = path ? path : "";
    setenv("PATH", ("::/nonexistent:" + m_Path.Path()).c_str(), 1);
    ASSERT_EQ(chdir(m_Cwd.Path().c_str()), 0);
    Make(m_Path.File("tool"), 0755);
    Make(m_Path.File("locked"), 0644);
    mkdir(m_Path.File("adir").c_str(), 0755);
    Make(m_Cwd.File("local"), 0755);
  }
  void TearDown() override {
    setenv("PATH", m_OldPath.c_str(), 1);
    EXPECT_EQ(chdir(m_OldCwd.c_str()), 0);
  }
  static void Make(const std::string& path, mode_t mode) {
    WriteAll(path, "#!/bin/sh\n");
    chmod(path.c_str(), mode);
  }
  vnktest::TempDir m_Path, m_Cwd;
  std::string m_OldCwd, m_OldPath;
};

}  // namespace

TEST(CommandLine, QuotingAndSplittingAsTheWindowsRunTime) {
  EXPECT_EQ(S(uti_QuoteWord(C("plain"))), "plain");
  EXPECT_EQ(S(uti_QuoteWord(C("tab\there"))), "\"tab\there\"");
  EXPECT_EQ(S(uti_QuoteWord(C("say \"hi\""))), "\"say \"hi\"\"");  // nothing escaped
  EXPECT_EQ(S(uti_BuildCommandLine(C("/my dir/p"), Words({"a\\", "b c", ""}))), "\"/my dir/p\" a\\ \"b c\" ");

  EXPECT_EQ(Split(""), V{});
  EXPECT_EQ(Split("p  a\tb "), (V{"p", "a", "b"}));
  // The program name: quotes toggle and vanish, backslashes are plain.
  EXPECT_EQ(Split("\"C:\\Program Files\\x\" y"), (V{"C:\\Program Files\\x", "y"}));
  EXPECT_EQ(Split("a\\\"b c"), (V{"a\\b c"}));
  // Arguments: backslashes count only before a quote; "" inside quotes.
  EXPECT_EQ(Split("p a\\\\b \"a b\" \"\""), (V{"p", "a\\\\b", "a b", ""}));
  EXPECT_EQ(Split("p a\\\\\"b c\" a\\\\\\\"b"), (V{"p", "a\\b c", "a\\\"b"}));
  EXPECT_EQ(Split("p \"a\"\"b\" \"end\\\\\" \"open"), (V{"p", "a\"b", "end\\", "open"}));
  // Awkward words as the child will see them (a real child shows it too):
  // an embedded quote switches quoting on; an empty word vanishes.
  EXPECT_EQ(Built({"say \"hi there\""}), (V{"p", "say hi", "there"}));
  EXPECT_EQ(Built({"", "x\\", "tab\tin"}), (V{"p", "x\\", "tab\tin"}));
}

TEST(CommandLine, EnvironmentBlockIsSortedAndSized) {
  int size = -1;
  EXPECT_EQ(uti_NewEnvironmentBlock(uti_Environment(), &size), nullptr);
  EXPECT_EQ(size, 0);
  uti_Environment env;
  const char* entries[][2] = {{"ZED", "z"}, {"A", "1"}, {"E", ""}, {"B", "x=y"}};
  for (auto& kv : entries) env.Insert(C(kv[0]), C(kv[1]));
  char* block = uti_NewEnvironmentBlock(env, &size);
  EXPECT_EQ(size, 20);  // 1 + (1+1+2) + (1+3+2) + (1+0+2) + (3+1+2)
  EXPECT_EQ(std::string(block, size), std::string("A=1\0B=x=y\0E=\0ZED=z\0\0", 20));
  mem_Free(block);
}

TEST_F(SearchTest, ProgramSearchAsCreateProcessDoes) {
  cow_String path;
  EXPECT_EQ(uti_LocateProgram(cow_String(), &path), ENOENT);
  // A directory given: the system's to resolve. Otherwise the running
  // program's directory first (the child lives there), then the current
  // directory, then PATH; a directory or a missing name is none.
  const std::pair<std::string, std::string> found[] = {
      {"./no/such", "./no/such"}, {Child().substr(Child().rfind('/') + 1), Child()}, {"local", "./local"},
      {"tool", m_Path.File("tool")}};
  for (auto& [name, where] : found) {
    EXPECT_EQ(uti_LocateProgram(C(name), &path), 0) << name;
    EXPECT_EQ(S(path), where);
  }
  for (auto [name, error] : {std::pair{"locked", EACCES}, {"adir", ENOENT}, {"missing", ENOENT}})
    EXPECT_EQ(uti_LocateProgram(C(name), &path), error) << name;
}

TEST_F(SearchTest, FindCommandWithoutTheExeRule) {
  EXPECT_EQ(S(Spawner::FindCommand(C("/no/such/prog")).Path()), "/no/such/prog");  // absolute: unchecked
  EXPECT_EQ(S(Spawner::FindCommand(C("local")).Path()), "local");  // runnable here: as given
  EXPECT_EQ(S(Spawner::FindCommand(C("tool")).Path()), m_Path.File("tool"));  // no "tool.exe"
  for (std::string name : {"nothing_like_this", "adir"})
    EXPECT_EQ(Raises<uti_NotOnPathException>([&] { Spawner::FindCommand(C(name)); }), name + " not found in PATH.");
  EXPECT_EQ(Raises<nex_TextException>([] { Spawner::FindCommand(C("locked")); }),
            m_Path.File("locked") + " is not executable.");
  EXPECT_THROW(Spawner::FindCommand(C("locked")), uti_NotExecutableException);
}
