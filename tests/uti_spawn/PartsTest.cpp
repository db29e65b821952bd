// The portable parts of a spawn on their own: quoting, the command line,
// its splitting by the Windows run time's rules, the environment block, the
// program search and FindCommand.
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "SpawnTestUtil.h"
#include "mem/mem_Alloc.h"
#include "uti/uti_Exception.h"
#include "uti/uti_SpawnParts.h"

using namespace spawntest;

namespace {

std::vector<std::string> Split(const char* line) { return Vec(uti_SplitCommandLine(atr_String(line))); }

// Sets an environment variable for one scope.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, const std::string& value) : m_Name(name) {
    const char* old = getenv(name);
    m_Had = old != nullptr;
    if (m_Had) m_Old = old;
    setenv(name, value.c_str(), 1);
  }
  ~ScopedEnv() {
    if (m_Had)
      setenv(m_Name, m_Old.c_str(), 1);
    else
      unsetenv(m_Name);
  }

 private:
  const char* m_Name;
  bool m_Had;
  std::string m_Old;
};

// Changes the current directory for one scope.
class ScopedCwd {
 public:
  explicit ScopedCwd(const std::string& dir) {
    char buf[4096];
    m_Old = getcwd(buf, sizeof buf) ? buf : "/";
    EXPECT_EQ(chdir(dir.c_str()), 0);
  }
  ~ScopedCwd() { EXPECT_EQ(chdir(m_Old.c_str()), 0); }

 private:
  std::string m_Old;
};

void MakeFile(const std::string& path, mode_t mode) {
  WriteFile(path, "#!/bin/sh\nexit 0\n");
  chmod(path.c_str(), mode);
}

struct Finder : uti_Spawn {
  using uti_Spawn::FindCommand;
};

}  // namespace

TEST(CommandLine, WordsAreQuotedOnlyForBlanksAndTabs) {
  EXPECT_EQ(S(uti_QuoteWord(cow_String("plain"))), "plain");
  EXPECT_EQ(S(uti_QuoteWord(cow_String("two words"))), "\"two words\"");
  EXPECT_EQ(S(uti_QuoteWord(cow_String("tab\there"))), "\"tab\there\"");
  // Quotes and backslashes are never escaped.
  EXPECT_EQ(S(uti_QuoteWord(cow_String("a\"b"))), "a\"b");
  EXPECT_EQ(S(uti_QuoteWord(cow_String("say \"hi\""))), "\"say \"hi\"\"");
  EXPECT_EQ(S(uti_QuoteWord(cow_String("C:\\dir\\"))), "C:\\dir\\");
  EXPECT_EQ(S(uti_QuoteWord(cow_String())), "");

  EXPECT_EQ(S(uti_BuildCommandLine(cow_String("/bin/prog"), Words({}))), "/bin/prog");
  EXPECT_EQ(S(uti_BuildCommandLine(cow_String("/my dir/prog"), Words({"a", "b c", ""}))),
            "\"/my dir/prog\" a \"b c\" ");
}

TEST(CommandLine, SplitFollowsTheWindowsRunTime) {
  using V = std::vector<std::string>;
  EXPECT_EQ(Split(""), V{});
  EXPECT_EQ(Split("prog"), V{"prog"});
  EXPECT_EQ(Split("prog  a\tb   c "), (V{"prog", "a", "b", "c"}));
  // Program name: quotes toggle and vanish, backslashes are plain.
  EXPECT_EQ(Split("\"C:\\Program Files\\x\" y"), (V{"C:\\Program Files\\x", "y"}));
  EXPECT_EQ(Split("pr\"o g\"x a"), (V{"pro gx", "a"}));
  EXPECT_EQ(Split("a\\\"b c"), (V{"a\\b c"}));
  // Arguments: backslashes matter only before a quote.
  EXPECT_EQ(Split("p a\\b a\\\\b"), (V{"p", "a\\b", "a\\\\b"}));
  EXPECT_EQ(Split("p \"a b\" \"\""), (V{"p", "a b", ""}));
  EXPECT_EQ(Split("p \"a\\\"b\""), (V{"p", "a\"b"}));
  EXPECT_EQ(Split("p a\\\\\"b c\""), (V{"p", "a\\b c"}));
  EXPECT_EQ(Split("p a\\\\\\\"b"), (V{"p", "a\\\"b"}));
  EXPECT_EQ(Split("p \"a\"\"b\" c"), (V{"p", "a\"b", "c"}));
  EXPECT_EQ(Split("p \"trailing\\\\\""), (V{"p", "trailing\\"}));
  EXPECT_EQ(Split("p \"unclosed arg"), (V{"p", "unclosed arg"}));
  // What the builder makes of awkward words, as the child will see it: an
  // embedded quote switches quoting on and carries over into what follows.
  auto built = [](std::initializer_list<std::string> w) {
    return Vec(uti_SplitCommandLine(uti_BuildCommandLine(cow_String("p"), Words(w))));
  };
  EXPECT_EQ(built({"a\"b"}), (V{"p", "ab"}));
  EXPECT_EQ(built({"say \"hi there\""}), (V{"p", "say hi", "there"}));
  EXPECT_EQ(built({"", "x"}), (V{"p", "x"}));  // an empty word vanishes
  EXPECT_EQ(built({"x\\", "tab\tin"}), (V{"p", "x\\", "tab\tin"}));
  EXPECT_EQ(built({"a\"b", "c d"}), (V{"p", "ab c", "d"}));
}

TEST(CommandLine, EnvironmentBlockIsSortedAndSized) {
  int size = -1;
  EXPECT_EQ(uti_NewEnvironmentBlock(uti_Environment(), &size), nullptr);
  EXPECT_EQ(size, 0);

  uti_Environment env;
  env.Insert(cow_String("ZED"), cow_String("last"));
  env.Insert(cow_String("A"), cow_String("1"));
  env.Insert(cow_String("EMPTY"), cow_String());
  env.Insert(cow_String("B"), cow_String("x=y"));
  char* block = uti_NewEnvironmentBlock(env, &size);
  ASSERT_NE(block, nullptr);
  const std::string expected("A=1\0B=x=y\0EMPTY=\0ZED=last\0\0", 27);
  EXPECT_EQ(size, 27);  // 1 + (1+1+2) + (1+3+2) + (5+0+2) + (3+4+2)
  EXPECT_EQ(std::string(block, size), expected);
  mem_Free(block);
}

TEST(CommandLine, ProgramSearchAsCreateProcessDoes) {
  vnktest::TempDir dir, cwdDir;
  cow_String path;
  EXPECT_EQ(uti_LocateProgram(cow_String(), &path), ENOENT);
  // A name with a directory is the system's to resolve, found or not.
  EXPECT_EQ(uti_LocateProgram(cow_String("./no/such"), &path), 0);
  EXPECT_EQ(S(path), "./no/such");

  // The running program's directory comes first: the child lives there.
  const std::string childName = Child().substr(Child().rfind('/') + 1);
  EXPECT_EQ(uti_LocateProgram(cow_String(childName.c_str()), &path), 0);
  EXPECT_EQ(S(path), Child());

  MakeFile(dir.File("tool"), 0755);
  MakeFile(dir.File("locked"), 0644);
  mkdir(dir.File("adir").c_str(), 0755);
  MakeFile(cwdDir.File("tool"), 0755);
  {
    ScopedEnv pathVar("PATH", "::/nonexistent:" + dir.Path());
    EXPECT_EQ(uti_LocateProgram(cow_String("tool"), &path), 0);
    EXPECT_EQ(S(path), dir.File("tool"));
    EXPECT_EQ(uti_LocateProgram(cow_String("locked"), &path), EACCES);
    EXPECT_EQ(uti_LocateProgram(cow_String("adir"), &path), ENOENT);  // a directory is no program
    EXPECT_EQ(uti_LocateProgram(cow_String("missing"), &path), ENOENT);
    // The current directory comes before PATH.
    ScopedCwd cwd(cwdDir.Path());
    EXPECT_EQ(uti_LocateProgram(cow_String("tool"), &path), 0);
    EXPECT_EQ(S(path), "./tool");
  }
}

TEST(CommandLine, FindCommandChecksAndSearchesPath) {
  vnktest::TempDir dir, cwdDir;
  MakeFile(dir.File("tool"), 0755);
  MakeFile(dir.File("locked"), 0644);
  MakeFile(cwdDir.File("local"), 0755);
  ScopedEnv pathVar("PATH", "/nonexistent:" + dir.Path());
  ScopedCwd cwd(cwdDir.Path());

  // An absolute name is answered unchecked, missing or not; no ".exe".
  EXPECT_EQ(S(Finder::FindCommand(cow_String("/no/such/prog")).Path()), "/no/such/prog");
  EXPECT_EQ(S(Finder::FindCommand(cow_String("tool")).Path()), dir.File("tool"));
  // Runnable from the current directory: answered as given.
  EXPECT_EQ(S(Finder::FindCommand(cow_String("local")).Path()), "local");
  EXPECT_EQ(S(Finder::FindCommand(cow_String("./local")).Path()), "./local");

  try {
    Finder::FindCommand(cow_String("nothing_like_this"));
    ADD_FAILURE() << "no exception";
  } catch (const uti_NotOnPathException& e) {
    EXPECT_EQ(S(e.AsString()), "nothing_like_this not found in PATH.");
    EXPECT_EQ(S(e.FromFile()), "uti/impl/uti_Spawn");
  }
  try {
    Finder::FindCommand(cow_String("locked"));
    ADD_FAILURE() << "no exception";
  } catch (const uti_NotExecutableException& e) {
    EXPECT_EQ(S(e.AsString()), dir.File("locked") + " is not executable.");
  }
  // Both are text exceptions.
  EXPECT_THROW(Finder::FindCommand(cow_String("locked")), nex_TextException);
}
