// Saves and temporary files against the conditions that make real systems
// fail: a full device, a full small file system, a process file-size limit,
// a directory the process may not write, a file deleted while it is open.
#include <grp.h>
#include <pwd.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/statvfs.h>

#include <cstdio>

#include "reliability/ReliabilityUtil.h"
#include "utl/utl_TempFile.h"

using namespace reltest;

namespace {

const std::string kFull = "*** Error: Free disk space depleted\nfile name: %2$s";

// In a child that runs as root: becomes "nobody". Answers false when that
// fails.
bool DropRoot() {
  if (geteuid() != 0) return true;
  struct passwd* nobody = getpwnam("nobody");
  return nobody != nullptr && setgroups(0, nullptr) == 0 && setgid(nobody->pw_gid) == 0 && setuid(nobody->pw_uid) == 0;
}

class RealConditions : public ::testing::Test {
 protected:
  vnktest::TempDir m_Dir;
  const std::string m_Path = m_Dir.File("data.sec");
  const std::string m_Lock = m_Path + ".lock";

  static void Save(const std::string& path, const Sections& s, utl_FileAccess access = utl_FileUpdate) {
    utl_MultisectionFile f(C(path), access);
    for (const auto& [name, bytes] : s) f.setSectionData(C(name), bytes.data(), static_cast<int>(bytes.size()));
    f.saveChanges();
  }
  // The text of the nex_Exception that saving raises.
  static std::string SaveError(const std::string& path, const Sections& s) {
    try {
      Save(path, s);
    } catch (const nex_Exception& e) {
      return Str(e.AsString());
    }
    return "<no exception>";
  }
};

// ENOSPC from the first byte on: the staging file is made a link to
// /dev/full, so the save fails before it touches the data file.
TEST_F(RealConditions, FullDeviceUnderTheStagingFile) {
  if (access("/dev/full", W_OK) != 0) GTEST_SKIP() << "no /dev/full";
  const Sections old = {{"s", "old value"}};
  WriteAll(m_Path, Image(old));
  const std::string staging = m_Path + "." + std::to_string(getpid()) + ".tmp";
  ASSERT_EQ(symlink("/dev/full", staging.c_str()), 0);
  const int fds = OpenFds();
  EXPECT_EQ(SaveError(m_Path, {{"s", "new value"}}),
            "*** Error: Write failed (utl_File: WriteFile)\nerror: " + Text(ENOSPC) + "\nfile: " + staging);
  EXPECT_EQ(ReadAll(m_Path), Image(old));
  EXPECT_EQ(Listing(m_Dir.Path()), std::set<std::string>{"data.sec"});  // the link went with the save
  EXPECT_EQ(OpenFds(), fds);
}

// A 64 KiB tmpfs (as root, where mounting is allowed): a staging file that
// does not fit leaves the data file alone; so does one that fits while the
// data file's growth does not.
TEST_F(RealConditions, SmallFileSystemRunsFull) {
  const std::string mnt = m_Dir.File("mnt");
  ASSERT_EQ(mkdir(mnt.c_str(), 0700), 0);
  if (geteuid() != 0 || mount("tmpfs", mnt.c_str(), "tmpfs", 0, "size=64k") != 0)
    GTEST_SKIP() << "cannot mount a tmpfs here";
  struct Unmount {
    std::string at;
    ~Unmount() { umount2(at.c_str(), MNT_DETACH); }
  } unmount{mnt};
  const std::string path = mnt + "/data.sec";

  // Staging file too big: the old image stays.
  const Sections old = {{"s", std::string(30000, 'o')}};
  Save(path, old, utl_FileWrite);
  const std::string staging = path + "." + std::to_string(getpid()) + ".tmp";
  std::string text = SaveError(path, {{"s", std::string(40000, 'n')}});
  EXPECT_TRUE(text == kFull || text == "*** Error: Write failed (utl_File: WriteFile)\nerror: " + Text(ENOSPC) +
                                           "\nfile: " + staging) << text;
  EXPECT_EQ(ReadAll(path), Image(old));
  EXPECT_EQ(Listing(mnt), std::set<std::string>{"data.sec"});

  // A small data file, and a file system filled up to leave exactly the
  // staging file's pages: the staging file is written, growing the data
  // file then fails.
  const Sections small = {{"s", "x"}};
  Save(path, small, utl_FileWrite);
  WriteAll(mnt + "/ballast", std::string(64 * 1024, 'b'));  // cut short where the space ends
  const Sections big = {{"s", std::string(12 * 1024, 'n')}};
  const long long stagingPages = (static_cast<long long>(Image(big).size()) + 4095) / 4096;
  struct statvfs st;
  ASSERT_EQ(statvfs(mnt.c_str(), &st), 0);
  const long long freePages = static_cast<long long>(st.f_bavail) * st.f_frsize / 4096;
  const long long ballast = static_cast<long long>(ReadAll(mnt + "/ballast").size());
  ASSERT_GE(ballast, (stagingPages - freePages) * 4096);
  ASSERT_EQ(truncate((mnt + "/ballast").c_str(), ballast - (stagingPages - freePages) * 4096), 0);
  text = SaveError(path, big);
  // Growing the data file reserves its storage, so the full file system is
  // found there, before the final copy has overwritten a byte.
  EXPECT_EQ(text, "*** Error: Extend failed (utl_File: SetEndOfFile)\nerror: " + Text(ENOSPC) + "\nfile: " + path);
  EXPECT_EQ(Listing(mnt), (std::set<std::string>{"ballast", "data.sec"}));
  Sections got;
  EXPECT_EQ(ReadThrough(path, &got), "");
  EXPECT_EQ(got, small);
}

// RLIMIT_FSIZE in a child that ignores SIGXFSZ: writes beyond the limit are
// cut short, and the save fails on the staging file.
TEST_F(RealConditions, FileSizeLimit) {
  const Sections old = {{"s", std::string(2000, 'o')}};
  WriteAll(m_Path, Image(old));
  const std::string staging = m_Path + ".";
  std::string got = vnktest::InChild([&] {
    signal(SIGXFSZ, SIG_IGN);
    struct rlimit lim = {16 * 1024, 16 * 1024};
    if (setrlimit(RLIMIT_FSIZE, &lim) != 0) return std::string("setrlimit failed");
    const int fds = OpenFds();
    std::string text = SaveError(m_Path, {{"s", std::string(40000, 'n')}});
    return text + (OpenFds() == fds ? "" : " <descriptor left>");
  });
  EXPECT_TRUE(got == kFull || got.find("\nerror: " + Text(EFBIG) + "\nfile: " + staging) != std::string::npos) << got;
  EXPECT_EQ(ReadAll(m_Path), Image(old));
  EXPECT_EQ(Listing(m_Dir.Path()), std::set<std::string>{"data.sec"});
}

// A directory the process may not write: as a non-root child (root first
// becomes nobody). Writers cannot take the lock; readers still read; the
// temporary file cannot be created there.
TEST_F(RealConditions, ReadOnlyDirectory) {
  const std::string dir = m_Dir.File("ro");
  ASSERT_EQ(mkdir(dir.c_str(), 0755), 0);
  const std::string path = dir + "/data.sec";
  const Sections old = {{"s", "value"}};
  WriteAll(path, Image(old));
  chmod(path.c_str(), 0666);
  chmod(m_Dir.Path().c_str(), 0755);
  ASSERT_EQ(chmod(dir.c_str(), 0555), 0);
  std::string got = vnktest::InChild([&] {
    if (!DropRoot()) return std::string("<skip>");
    if (access(dir.c_str(), W_OK) == 0) return std::string("<skip>");
    std::string out;
    try {
      utl_MultisectionFile f(C(path), utl_FileUpdate);
      out += "opened;";
    } catch (const nex_TextException& e) {
      out += Str(e.AsString()) + ";";
    }
    Sections read;
    out += ReadThrough(path, &read);
    out += read == old ? "read;" : "not read;";
    setenv("SCRATCH", dir.c_str(), 1);
    try {
      utl_TempFile t("dat");
      t.Create();
      out += "created;";
    } catch (const utl_TempFileOpenExc& e) {
      const std::string text = Str(e.AsString());
      out += text.find(", system error: " + Text(EACCES)) != std::string::npos ? "no temporary file;" : text;
    }
    return out;
  });
  chmod(dir.c_str(), 0755);
  if (got == "<skip>") GTEST_SKIP() << "cannot drop to an unprivileged user";
  EXPECT_EQ(got, "\"" + path + "\": Cannot create the lock file.;read;no temporary file;");
  EXPECT_EQ(Listing(dir), std::set<std::string>{"data.sec"});
  EXPECT_EQ(ReadAll(path), Image(old));
}

// A data file that may not be opened for writing in a writable directory:
// the lock is taken, the open fails, and the lock goes with the object.
TEST_F(RealConditions, DataFileWithoutWritePermission) {
  WriteAll(m_Path, Image({{"s", "v"}}));
  chmod(m_Path.c_str(), 0444);
  chmod(m_Dir.Path().c_str(), 0777);
  std::string got = vnktest::InChild([&] {
    if (!DropRoot()) return std::string("<skip>");
    return vnktest::Caught<utl_FileExceptionOpen>([&] { utl_MultisectionFile f(C(m_Path), utl_FileUpdate); });
  });
  if (got == "<skip>") GTEST_SKIP() << "cannot drop to an unprivileged user";
  EXPECT_EQ(got, "*** Error: File open failed (utl_File: CreateFile in OpenUpdate)\nerror: " + Text(EACCES) +
                     "\nfile: " + m_Path);
  EXPECT_EQ(Listing(m_Dir.Path()), std::set<std::string>{"data.sec"});
}

// A file deleted while open: the open handle keeps reading and saving the
// deleted file; nothing is left behind and nothing crashes.
TEST_F(RealConditions, FileDeletedWhileOpen) {
  const Sections old = {{"a", "first"}, {"b", std::string(5000, 'b')}};
  WriteAll(m_Path, Image(old));
  {
    utl_MultisectionFile reader(C(m_Path), utl_FileRead);
    ASSERT_EQ(unlink(m_Path.c_str()), 0);
    EXPECT_EQ(SectionOf(reader, "b"), old[1].second);
  }
  WriteAll(m_Path, Image(old));
  const int fds = OpenFds();
  {
    utl_MultisectionFile f(C(m_Path), utl_FileUpdate);
    ASSERT_EQ(unlink(m_Path.c_str()), 0);
    f.setSectionData("a", "second", 6);
    f.saveChanges();  // into the deleted file
    EXPECT_EQ(SectionOf(f, "a") + SectionOf(f, "b"), "second" + old[1].second);
  }
  EXPECT_TRUE(Listing(m_Dir.Path()).empty());  // no lock, no staging file
  EXPECT_EQ(OpenFds(), fds);

  // The lock file deleted under its holder: the holder still ends cleanly.
  WriteAll(m_Path, Image(old));
  {
    utl_MultisectionFile f(C(m_Path), utl_FileUpdate);
    ASSERT_EQ(unlink(m_Lock.c_str()), 0);
    f.setSectionData("c", "third", 5);
    f.saveChanges();
  }
  Sections got;
  EXPECT_EQ(ReadThrough(m_Path, &got), "");
  EXPECT_EQ(got.size(), 3u);
  EXPECT_EQ(Listing(m_Dir.Path()), std::set<std::string>{"data.sec"});
}

}  // namespace
