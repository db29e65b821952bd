// utl_FilePath (lexical), utl_Stat and utl_DiskAttributes against the real
// file system, and the POSIX reading of Windows path forms.
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <cerrno>

#include "support/TestSupport.h"
#include "utl/utl_DiskAttributes.h"
#include "utl/utl_FilePath.h"
#include "utl/utl_Stat.h"
#include "utl_file/FileTestUtil.h"

namespace {
std::string S(const cow_String& s) { return vnktest::Str(s); }
std::string Norm(const char* p) { return S(utl_FilePath(p).Normalized().Path()); }
std::string Joined(const char* dir, const char* name) { return S(utl_FilePath(dir, name).Path()); }
std::string Pieces(const char* p) {
  utl_FilePath f(p);
  return S(f.Directory()) + "|" + S(f.Name()) + "|" + S(f.Extension());
}
}  // namespace

TEST(FilePathTest, PartsAndJoining) {
  // A leading dot is no extension, nor is a dot in the directory.
  for (auto [in, out] : {std::pair{"/data/run.1/out.dat", "/data/run.1|out.dat|.dat"}, {"//x", "/|x|"}, {"a//b", "a|b|"},
                         {"plain", "|plain|"}, {"/home/.profile", "/home|.profile|"}, {"run.1/file", "run.1|file|"}})
    EXPECT_EQ(Pieces(in), out) << in;
  EXPECT_EQ(Joined("dir", "f") + " " + Joined("dir/", "f") + " " + Joined("", "f"), "dir/f dir/f f");
  EXPECT_EQ(Joined(".", "") + " " + Joined("dir", "/abs"), ". /abs");
  EXPECT_EQ(utl_FilePath("a/b"), utl_FilePath("a", "b"));
}

// On Windows the separator is "\" and a root looks like "C:\"; here "/" is
// both, and "\" is an ordinary character of a name.
TEST(FilePathTest, SeparatorAndRootOnPosix) {
  EXPECT_EQ(S(utl_FilePath("a\\b").Name()), "a\\b");
  EXPECT_FALSE(utl_FilePath("C:\\tmp").IsAbsolute());
  EXPECT_TRUE(utl_FilePath("/tmp").IsAbsolute());
  // Strip takes one separator only, and the root keeps its own.
  for (auto [in, out] : {std::pair{"/tmp/", "/tmp"}, {"/tmp//", "/tmp/"}, {"/", "/"}, {"", ""}})
    EXPECT_EQ(S(utl_FilePath::StripTrailingSeparator(in)), out) << in;
  for (auto [in, out] : {std::pair{"/tmp", "/tmp/"}, {"/", "/"}, {"", ""}})
    EXPECT_EQ(S(utl_FilePath::AppendSeparator(in)), out) << in;
}

TEST(FilePathTest, NormalizedAndAbsolute) {
  // "..a" is a name that merely starts with dots.
  for (auto [in, out] : {std::pair{"/a//b/./c/", "/a/b/c"}, {"/a/b/../../..", "/"}, {"a/../..", ".."},
                         {"../../x/../y", "../../y"}, {"a/..", "."}, {"", "."}, {"..a/b", "..a/b"}})
    EXPECT_EQ(Norm(in), out) << in;
  char cwd[4096];
  ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
  EXPECT_EQ(S(utl_FilePath("x/../y").Absolute().Path()), std::string(cwd) + "/y");
  utl_FilePath bin("/usr/bin/env");
  EXPECT_EQ(bin.Absolute(), bin);  // absolute and normal: its own absolute form
}

TEST(StatTest, KindsLinksAccessAndMissingPaths) {
  vnktest::TempDir dir;
  std::string file = dir.File("f"), link = dir.File("l"), dangling = dir.File("d");
  vnktest::WriteAll(file, std::string(1234, 'x'));
  ASSERT_EQ(symlink(file.c_str(), link.c_str()), 0);
  ASSERT_EQ(symlink(dir.File("gone").c_str(), dangling.c_str()), 0);

  utl_Stat f(file.c_str());
  struct stat st;
  ASSERT_EQ(stat(file.c_str(), &st), 0);
  EXPECT_TRUE(f.Exists() && f.IsRegularFile() && !f.IsDirectory());
  EXPECT_EQ(f.Size(), 1234);
  EXPECT_EQ(f.ModificationTime(), static_cast<long long>(st.st_mtime));
  EXPECT_TRUE(utl_Stat((dir.Path() + "/").c_str()).IsDirectory());
  EXPECT_TRUE(utl_Stat(link.c_str()).IsRegularFile() && utl_Stat(link.c_str(), false).IsSymbolicLink());
  EXPECT_FALSE(utl_Stat(dangling.c_str()).Exists());
  EXPECT_TRUE(utl_Stat(dangling.c_str(), false).Exists());

  utl_Stat missing(dir.File("none").c_str());
  EXPECT_FALSE(missing.Exists() || missing.IsDirectory());
  EXPECT_EQ(missing.Error(), ENOENT);
  EXPECT_EQ(utl_Stat((file + "/x").c_str()).Error(), ENOTDIR);
  vnktest::WriteAll(dir.File("none"), "abc");
  missing.Refresh();
  EXPECT_EQ(missing.Size(), 3);

  ASSERT_EQ(chmod(file.c_str(), 0600), 0);
  EXPECT_TRUE(f.IsReadable() && f.IsWritable() && !f.IsExecutable());
  ASSERT_EQ(chmod(file.c_str(), 0700), 0);
  EXPECT_TRUE(f.IsExecutable());                              // asked now, not when made
  EXPECT_FALSE(utl_Stat(dir.Path().c_str()).IsExecutable());  // searchable is not runnable

  plt_FaultArm(plt_FaultStat, 1, EIO);
  utl_Stat failed(file.c_str());
  plt_FaultDisarm();
  EXPECT_EQ(failed.Error(), EIO);
}

TEST(DiskAttributesTest, AgreesWithStatvfs) {
  vnktest::TempDir dir;
  utl_DiskAttributes a(dir.Path().c_str());
  struct statvfs st;
  ASSERT_EQ(statvfs(dir.Path().c_str(), &st), 0);
  ASSERT_TRUE(a.IsValid());
  EXPECT_EQ(a.TotalBytes(), static_cast<unsigned long long>(st.f_blocks) * st.f_frsize);
  // Other programs write meanwhile: equal within 64 MiB.
  unsigned long long avail = static_cast<unsigned long long>(st.f_bavail) * st.f_frsize;
  unsigned long long free1 = utl_DiskAttributes::GetFreeDiskSpace(dir.Path().c_str());
  EXPECT_LT(free1 > avail ? free1 - avail : avail - free1, 64ull << 20);
  EXPECT_EQ(utl_DiskAttributes(dir.File("none").c_str()).Error(), ENOENT);
  EXPECT_EQ(utl_DiskAttributes::GetFreeDiskSpace(dir.File("none").c_str()), 0u);
}
