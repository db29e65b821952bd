// utl_TempFile: directory choice (in children, since the command line and the
// environment belong to the process), names, the open calls, deletion, and
// unusable directories.
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <memory>
#include <set>
#include <vector>

#include "support/TestSupport.h"
#include "utl/utl_CommandLine.h"
#include "utl/utl_DiskAttributes.h"
#include "utl/utl_TempFile.h"
#include "utl_file/FileTestUtil.h"

using vnktest::Caught;
using vnktest::Str;

namespace {

const std::string kCant = "*** ERROR: Can't create unique temporary file name.";

std::string CantCreate(const std::string& name, const char* error) {
  return "*** ERROR: Can't create temporary file: " + name + ", system error: " + error;
}

// Replaces the command line: prog, then args.
void SetCommandLine(std::vector<std::string> args) {
  utl_CommandLine::Finalize();
  args.insert(args.begin(), "prog");
  std::vector<char*> argv;
  for (std::string& a : args) argv.push_back(a.data());
  utl_CommandLineSetup(static_cast<int>(argv.size()), argv.data());
}

void SetEnv(const char* name, const char* value) { value ? setenv(name, value, 1) : unsetenv(name); }

// In a forked child: the given sources, then f's answer.
std::string WithSources(const char* tmpdir, const char* scratch, const char* tmpdirEnv,
                        const std::function<std::string()>& f) {
  return vnktest::InChild([&] {
    SetCommandLine(tmpdir ? std::vector<std::string>{"-tmpdir", tmpdir} : std::vector<std::string>{});
    SetEnv("SCRATCH", scratch);
    SetEnv("TMPDIR", tmpdirEnv);
    return f();
  });
}

std::string NameOrError() {
  try {
    utl_TempFile t("");
    return Str(t.Name());
  } catch (const nex_Exception& e) {
    return "!" + Str(e.AsString());
  }
}

size_t Entries(const std::string& dir) {
  return std::distance(std::filesystem::directory_iterator(dir), std::filesystem::directory_iterator());
}

// Drops root in a forked child, so that permissions apply. False if it can't.
bool ActAsNobody() { return geteuid() != 0 || (setgid(65534) == 0 && setuid(65534) == 0); }

class TempFileTest : public ::testing::Test {
 protected:
  void SetUp() override { SetCommandLine({"-tmpdir", m_Dir.Path()}); }
  void TearDown() override {
    plt_FaultDisarm();
    utl_CommandLine::Finalize();
  }
  std::string Prefix() const { return m_Dir.Path() + "/VnkTempFile"; }
  vnktest::TempDir m_Dir;
};

}  // namespace

// The open and "can't" texts are checked where the calls raise them.
TEST(TempFileExceptionTest, TextsAndFamily) {
  EXPECT_EQ(Caught<utl_TempFileDirExc>([] { throw utl_TempFileDirExc("/etc/passwd"); }),
            "*** ERROR: Not a directory: /etc/passwd");
  EXPECT_EQ(Caught<utl_TempFileNoDirExc>([] { throw utl_TempFileNoDirExc(); }),
            "*** ERROR: Can't find directory in which to place temporary file.");
  EXPECT_EQ(Caught<utl_TempFileException>([] { throw utl_TempFileException("as %1$s given"); }),
            "as %1$s given");
  // Caught as the family base, re-raised as what it is.
  const utl_TempFileException& base = utl_TempFileCantExc();
  EXPECT_EQ(Caught<utl_TempFileCantExc>([&] { base.Propagate(); }), kCant);
}

TEST(TempFileDirectoryTest, OptionThenScratchThenTmpdir) {
  vnktest::TempDir a, b, c;
  std::string file = a.File("plain");
  vnktest::WriteAll(file, "x");
  const char *A = a.Path().c_str(), *B = b.Path().c_str(), *C = c.Path().c_str();
  auto dir = [] { return Str(utl_TempFileDirectory()); };
  EXPECT_EQ(WithSources(A, B, C, dir), a.Path() + "/");
  EXPECT_EQ(WithSources(nullptr, B, C, dir), b.Path() + "/");
  EXPECT_EQ(WithSources(nullptr, nullptr, C, dir), c.Path() + "/");
  // Set but unusable sources are passed over silently.
  EXPECT_EQ(WithSources(file.c_str(), nullptr, C, dir), c.Path() + "/");
  EXPECT_EQ(WithSources(a.File("missing").c_str(), "", C, dir), c.Path() + "/");
  EXPECT_EQ(WithSources("", file.c_str(), B, dir), b.Path() + "/");
  // One trailing separator is ignored by the test and not doubled.
  EXPECT_EQ(WithSources((a.Path() + "/").c_str(), nullptr, nullptr, dir), a.Path() + "/");
  EXPECT_EQ(WithSources((file + "/").c_str(), nullptr, nullptr, dir), "");
  // The root keeps its one separator (a Windows drive root loses it).
  EXPECT_EQ(WithSources("/", nullptr, nullptr, NameOrError).substr(0, 12), "/VnkTempFile");

  // Nothing usable: preparation raises and leaves the object unprepared.
  EXPECT_EQ(WithSources(file.c_str(), nullptr, nullptr, NameOrError), "!" + kCant);
  EXPECT_EQ(WithSources(nullptr, nullptr, nullptr, [] {
              utl_TempFile t("dat");
              return Caught<utl_TempFileCantExc>([&] { t.Create(); }) + (t.IsPrepared() ? "|prepared" : "");
            }),
            kCant);
}

// The environment as a freshly started program sees it: the test program
// runs itself with SCRATCH and TMPDIR set or unset (env(1) arguments).
TEST(TempFileDirectoryTest, ExecutedChildReadsItsEnvironment) {
  vnktest::TempDir out, d1, d2;
  auto run = [&](const std::string& env) {
    unlink(out.File("r").c_str());
    std::string cmd = "env -u SCRATCH -u TMPDIR VNKUTI_TEMP_CHILD_OUT='" + out.File("r") + "' " + env + " '" +
                      vnktest::SelfPath() + "' --gtest_filter=TempFileChild.ReportName >/dev/null 2>&1";
    EXPECT_EQ(std::system(cmd.c_str()), 0) << cmd;
    return vnktest::ReadAll(out.File("r"));
  };
  EXPECT_EQ(run("TMPDIR=" + d1.Path()).substr(0, d1.Path().size() + 12), d1.Path() + "/VnkTempFile");
  EXPECT_EQ(run("SCRATCH=" + d2.Path() + " TMPDIR=" + d1.Path()).substr(0, d2.Path().size() + 12),
            d2.Path() + "/VnkTempFile");
  EXPECT_EQ(run(""), "!" + kCant);
}

TEST(TempFileChild, ReportName) {
  const char* out = getenv("VNKUTI_TEMP_CHILD_OUT");
  if (out == nullptr) GTEST_SKIP() << "runs as the child of ExecutedChildReadsItsEnvironment";
  vnktest::WriteAll(out, NameOrError());
}

TEST_F(TempFileTest, NamesSuffixesAndSpace) {
  utl_TempFile plain(""), dat("dat"), dotted(".dat"), dot(".");
  std::string n = Str(plain.Name());
  ASSERT_EQ(n.size(), Prefix().size() + 6);
  EXPECT_EQ(n.substr(0, Prefix().size()), Prefix());
  EXPECT_EQ(n.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789", Prefix().size()), std::string::npos);
  EXPECT_EQ(Str(plain.Name()), n);  // chosen once
  for (auto [t, suffix] : {std::pair{&dat, ".dat"}, {&dotted, ".dat"}, {&dot, "."}})
    EXPECT_EQ(Str(t->Name()).substr(Prefix().size() + 6), suffix);
  EXPECT_EQ(Entries(m_Dir.Path()), 0u);  // naming creates nothing

  utl_TempFile s("");
  EXPECT_FALSE(s.IsPrepared());
  const uint64_t space = s.AvailableSpace(), now = utl_DiskAttributes::GetFreeDiskSpace(m_Dir.Path().c_str());
  EXPECT_TRUE(s.IsPrepared());
  EXPECT_LT(space > now ? space - now : now - space, 64ull << 20);
  vnktest::WriteAll(m_Dir.File("big"), std::string(1 << 20, 'x'));
  EXPECT_EQ(s.AvailableSpace(), space);  // recorded, not asked again
}

TEST_F(TempFileTest, OpenCallsAndTheDestructorsDelete) {
  std::string path;
  {
    utl_TempFile t("tmp");
    EXPECT_EQ(t.Descriptor(), -1);
    EXPECT_FALSE(t.OpenIfPresent());  // prepared, not there: no error
    EXPECT_EQ(Caught<utl_TempFileOpenExc>([&] { t.Open(); }), CantCreate(Str(t.Name()), "No such file or directory"));
    t.Create();
    path = Str(t.Name());
    int fd = t.Descriptor();
    ASSERT_GE(fd, 0);
    EXPECT_EQ(write(fd, "abc", 3), 3);
    EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms(0600));
    EXPECT_NE(fcntl(fd, F_GETFD) & FD_CLOEXEC, 0);
    EXPECT_EQ(Caught<utl_TempFileOpenExc>([&] { t.Create(); }), CantCreate(path, "File exists"));
    EXPECT_EQ(t.Descriptor(), fd);  // the failed create kept the open one
    t.Open();                       // replaces the descriptor, closing the old one
    EXPECT_TRUE(t.Descriptor() != -1 && fcntl(fd, F_GETFD) == -1);
    char buf[4] = {};
    EXPECT_EQ(read(t.Descriptor(), buf, 3), 3);
    EXPECT_STREQ(buf, "abc");
    t.Close();
    t.Close();  // harmless
    EXPECT_TRUE(t.Descriptor() == -1 && std::filesystem::exists(path));  // Close keeps the file
  }
  EXPECT_FALSE(std::filesystem::exists(path));
  {
    utl_TempFile namedOnly("");
    path = Str(namedOnly.Name());
    vnktest::WriteAll(path, "someone else made it");
  }
  EXPECT_FALSE(std::filesystem::exists(path));  // deleted by name all the same
  {  // failed deletes are ignored: one file already gone, one refused
    utl_TempFile gone(""), refused("");
    gone.Create();
    refused.Create();
    std::filesystem::remove(Str(gone.Name()));
    plt_FaultArm(plt_FaultUnlink, 1, EACCES);
  }
  EXPECT_TRUE(plt_FaultFired(plt_FaultUnlink));
  EXPECT_EQ(Entries(m_Dir.Path()), 0u);
}

TEST_F(TempFileTest, NamesAreUniqueOverManyCreationsAndProcesses) {
  // Creates n files, lists their names, deletes them.
  auto createMany = [](int n) {
    std::vector<std::unique_ptr<utl_TempFile>> files;
    std::string names;
    for (int i = 0; i < n; ++i) {
      files.emplace_back(new utl_TempFile(""))->Create();
      files.back()->Close();  // two thousand open files would pass the descriptor limit
      names += Str(files.back()->Name()) + "\n";
    }
    return names;
  };
  auto distinct = [](const std::string& lines) {
    std::istringstream in(lines);
    return std::set<std::string>(std::istream_iterator<std::string>(in), {}).size();
  };
  EXPECT_EQ(distinct(createMany(2000)), 2000u);
  EXPECT_EQ(Entries(m_Dir.Path()), 0u);
  // Children forked after the parent drew names must not repeat each other.
  std::vector<std::unique_ptr<vnktest::Child>> kids;
  for (int k = 0; k < 4; ++k) kids.emplace_back(new vnktest::Child([&] { return createMany(250); }));
  std::string all;
  for (auto& kid : kids) all += kid->Finish();
  EXPECT_EQ(distinct(all), 1000u) << all.substr(0, 400);
}

TEST_F(TempFileTest, FailuresRaiseTheFamilysExceptions) {
  // Existence check without an answer: no name is known to be free. Calls of
  // the stat kind: the directory test, the free space, then the check.
  plt_FaultArm(plt_FaultStat, 3, EIO);
  utl_TempFile t("");
  EXPECT_EQ(Caught<utl_TempFileCantExc>([&] { t.Name(); }) + (t.IsPrepared() ? "|prepared" : ""), kCant);
  plt_FaultDisarm();
  EXPECT_EQ(Str(t.Name()).substr(0, Prefix().size()), Prefix());  // tried again

  // Open failures other than absence raise from OpenIfPresent too.
  plt_FaultArm(plt_FaultOpen, 1, EMFILE);
  EXPECT_EQ(Caught<utl_TempFileOpenExc>([&] { t.Create(); }), CantCreate(Str(t.Name()), "Too many open files"));
  t.Open();  // the injected failure came after the real create
  plt_FaultArm(plt_FaultOpen, 1, EACCES);
  EXPECT_EQ(Caught<utl_TempFileOpenExc>([&] { t.OpenIfPresent(); }), CantCreate(Str(t.Name()), "Permission denied"));

  // The directory went away after the name was chosen.
  vnktest::TempDir gone;
  SetCommandLine({"-tmpdir", gone.Path()});
  utl_TempFile late("");
  std::string name = Str(late.Name());
  std::filesystem::remove_all(gone.Path());
  EXPECT_EQ(Caught<utl_TempFileOpenExc>([&] { late.Create(); }), CantCreate(name, "No such file or directory"));
}

// Permissions bind only a process without root's privileges: as root the
// child gives them up first.
TEST(TempFileDirectoryTest, UnwritableAndUnsearchableDirectories) {
  vnktest::TempDir d;
  ASSERT_EQ(chmod(d.Path().c_str(), 0711), 0);
  std::string ro = d.File("ro"), noSearch = d.File("nosearch");
  ASSERT_EQ(mkdir(ro.c_str(), 0555), 0);
  ASSERT_EQ(mkdir(noSearch.c_str(), 0666), 0);
  auto create = [] {
    if (!ActAsNobody()) return std::string("<skip>");
    utl_TempFile t("");
    return Caught<utl_TempFileOpenExc>([&] { t.Create(); });
  };
  std::string r = WithSources(ro.c_str(), nullptr, nullptr, create);
  if (r == "<skip>") GTEST_SKIP() << "cannot give up root";
  const std::string head = "*** ERROR: Can't create temporary file: " + ro + "/VnkTempFile";  // and six characters
  EXPECT_EQ(r.substr(0, head.size()) + r.substr(head.size() + 6), head + ", system error: Permission denied") << r;
  EXPECT_EQ(WithSources(noSearch.c_str(), nullptr, nullptr,
                        [] { return ActAsNobody() ? NameOrError() : std::string("<skip>"); }),
            "!" + kCant);
}
