// utl_FilePath (lexical), utl_Stat and utl_DiskAttributes (against the real
// file system), and the POSIX reading of Windows path forms.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "plt/plt_FaultInjection.h"
#include "support/TestSupport.h"
#include "utl/utl_DiskAttributes.h"
#include "utl/utl_FilePath.h"
#include "utl/utl_Stat.h"
#include "utl_file/FileTestUtil.h"

using vnktest::Str;

namespace {

std::string S(const cow_String& s) { return Str(s); }
std::string Norm(const char* p) { return S(utl_FilePath(p).Normalized().Path()); }

}  // namespace

TEST(FilePathTest, PartsAndJoining) {
  utl_FilePath p("/data/run.1/out.dat");
  EXPECT_EQ(S(p.Directory()), "/data/run.1");
  EXPECT_EQ(S(p.Name()), "out.dat");
  EXPECT_EQ(S(p.Extension()), ".dat");
  EXPECT_TRUE(p.IsAbsolute());

  EXPECT_EQ(S(utl_FilePath("/x").Directory()), "/");
  EXPECT_EQ(S(utl_FilePath("//x").Directory()), "/");
  EXPECT_EQ(S(utl_FilePath("a//b").Directory()), "a");
  EXPECT_EQ(S(utl_FilePath("plain").Directory()), "");
  EXPECT_EQ(S(utl_FilePath("plain").Name()), "plain");
  EXPECT_EQ(S(utl_FilePath("dir/").Name()), "");
  EXPECT_EQ(S(utl_FilePath("/home/.profile").Extension()), "");  // a leading dot is no extension
  EXPECT_EQ(S(utl_FilePath("run.1/file").Extension()), "");      // a dot in the directory neither
  EXPECT_EQ(S(utl_FilePath("a.tar.gz").Extension()), ".gz");
  EXPECT_FALSE(utl_FilePath("rel/x").IsAbsolute());
  EXPECT_FALSE(utl_FilePath().IsAbsolute());

  EXPECT_EQ(S(utl_FilePath("dir", "f").Path()), "dir/f");
  EXPECT_EQ(S(utl_FilePath("dir/", "f").Path()), "dir/f");
  EXPECT_EQ(S(utl_FilePath("", "f").Path()), "f");
  EXPECT_EQ(S(utl_FilePath(".", "").Path()), ".");
  EXPECT_EQ(S(utl_FilePath("dir", "/abs").Path()), "/abs");
  EXPECT_EQ(S(utl_FilePath("/", "f").Path()), "/f");

  EXPECT_EQ(utl_FilePath("a/b"), utl_FilePath("a", "b"));
  EXPECT_NE(utl_FilePath("a/b"), utl_FilePath("a//b"));
  EXPECT_TRUE(utl_FilePath("a") < utl_FilePath("b"));
}

// On Windows the separator is "\" and a root looks like "C:\"; here "/" is
// both, and "\" is an ordinary character of a name.
TEST(FilePathTest, SeparatorAndRootOnPosix) {
  EXPECT_EQ(utl_FilePath::Separator(), '/');
  EXPECT_STREQ(utl_FilePath::Root(), "/");
  EXPECT_EQ(S(utl_FilePath("a\\b").Name()), "a\\b");
  EXPECT_FALSE(utl_FilePath("C:\\tmp").IsAbsolute());

  EXPECT_EQ(S(utl_FilePath::StripTrailingSeparator("/tmp/")), "/tmp");
  EXPECT_EQ(S(utl_FilePath::StripTrailingSeparator("/tmp//")), "/tmp/");  // one only
  EXPECT_EQ(S(utl_FilePath::StripTrailingSeparator("/tmp")), "/tmp");
  EXPECT_EQ(S(utl_FilePath::StripTrailingSeparator("/")), "/");  // the root keeps it
  EXPECT_EQ(S(utl_FilePath::StripTrailingSeparator("")), "");
  EXPECT_EQ(S(utl_FilePath::AppendSeparator("/tmp")), "/tmp/");
  EXPECT_EQ(S(utl_FilePath::AppendSeparator("/tmp/")), "/tmp/");
  EXPECT_EQ(S(utl_FilePath::AppendSeparator("/")), "/");
  EXPECT_EQ(S(utl_FilePath::AppendSeparator("")), "");
}

TEST(FilePathTest, NormalizedAndAbsolute) {
  EXPECT_EQ(Norm("/a//b/./c/"), "/a/b/c");
  EXPECT_EQ(Norm("/a/b/../../.."), "/");
  EXPECT_EQ(Norm("/.."), "/");
  EXPECT_EQ(Norm("a/../.."), "..");
  EXPECT_EQ(Norm("../../x/../y"), "../../y");
  EXPECT_EQ(Norm("a/.."), ".");
  EXPECT_EQ(Norm(""), ".");
  EXPECT_EQ(Norm("./x"), "x");
  EXPECT_EQ(Norm("..a/b"), "..a/b");  // a name that merely starts with dots

  char cwd[4096];
  ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
  EXPECT_EQ(S(utl_FilePath("x/../y").Absolute().Path()), std::string(cwd) + "/y");
  EXPECT_EQ(S(utl_FilePath(".").Absolute().Path()), std::string(cwd));
  EXPECT_EQ(S(utl_FilePath("/u/./v").Absolute().Path()), "/u/v");
  // An absolute, normal path is its own absolute form.
  utl_FilePath bin("/usr/bin/env");
  EXPECT_EQ(bin.Absolute(), bin);
}

TEST(StatTest, KindsSizesAndMissingPaths) {
  vnktest::TempDir dir;
  std::string file = dir.File("f.bin");
  vnktest::WriteAll(file, std::string(1234, 'x'));

  utl_Stat f(file.c_str());
  EXPECT_TRUE(f.Exists());
  EXPECT_EQ(f.Error(), 0);
  EXPECT_TRUE(f.IsRegularFile());
  EXPECT_FALSE(f.IsDirectory());
  EXPECT_EQ(f.Size(), 1234);
  struct stat st;
  ASSERT_EQ(stat(file.c_str(), &st), 0);
  EXPECT_EQ(f.ModificationTime(), static_cast<long long>(st.st_mtime));

  utl_Stat d(dir.Path().c_str());
  EXPECT_TRUE(d.IsDirectory());
  EXPECT_FALSE(d.IsRegularFile());
  EXPECT_TRUE(utl_Stat((dir.Path() + "/").c_str()).IsDirectory());

  utl_Stat missing(dir.File("none").c_str());
  EXPECT_FALSE(missing.Exists());
  EXPECT_EQ(missing.Error(), ENOENT);
  EXPECT_FALSE(missing.IsDirectory());
  EXPECT_EQ(missing.Size(), 0);
  EXPECT_FALSE(utl_Stat("").Exists());
  // A file used as a directory on the way.
  EXPECT_EQ(utl_Stat((file + "/x").c_str()).Error(), ENOTDIR);

  // Refresh sees a change; the snapshot does not.
  std::string later = dir.File("later");
  utl_Stat s(later.c_str());
  vnktest::WriteAll(later, "abc");
  EXPECT_FALSE(s.Exists());
  s.Refresh();
  EXPECT_EQ(s.Size(), 3);
}

TEST(StatTest, LinksAndAccess) {
  vnktest::TempDir dir;
  std::string target = dir.File("t");
  vnktest::WriteAll(target, "#!/bin/sh\n");
  std::string link = dir.File("l");
  std::string dangling = dir.File("d");
  ASSERT_EQ(symlink(target.c_str(), link.c_str()), 0);
  ASSERT_EQ(symlink(dir.File("gone").c_str(), dangling.c_str()), 0);

  EXPECT_TRUE(utl_Stat(link.c_str()).IsRegularFile());
  EXPECT_FALSE(utl_Stat(link.c_str()).IsSymbolicLink());
  EXPECT_TRUE(utl_Stat(link.c_str(), false).IsSymbolicLink());
  EXPECT_FALSE(utl_Stat(dangling.c_str()).Exists());
  EXPECT_TRUE(utl_Stat(dangling.c_str(), false).Exists());

  ASSERT_EQ(chmod(target.c_str(), 0600), 0);
  utl_Stat t(target.c_str());
  EXPECT_TRUE(t.IsReadable());
  EXPECT_TRUE(t.IsWritable());
  EXPECT_FALSE(t.IsExecutable());
  ASSERT_EQ(chmod(target.c_str(), 0700), 0);
  EXPECT_TRUE(t.IsExecutable());  // asked now, not at construction
  // A searchable directory is not a program.
  EXPECT_FALSE(utl_Stat(dir.Path().c_str()).IsExecutable());
  EXPECT_FALSE(utl_Stat(dir.File("none").c_str()).IsExecutable());

  // The status call fails: no status, the injected code.
  plt_FaultArm(plt_FaultStat, 1, EIO);
  utl_Stat failed(target.c_str());
  plt_FaultDisarm();
  EXPECT_FALSE(failed.Exists());
  EXPECT_EQ(failed.Error(), EIO);
}

TEST(DiskAttributesTest, AgreesWithStatvfs) {
  vnktest::TempDir dir;
  utl_DiskAttributes a(dir.Path().c_str());
  ASSERT_TRUE(a.IsValid());
  struct statvfs st;
  ASSERT_EQ(statvfs(dir.Path().c_str(), &st), 0);
  unsigned long long total = static_cast<unsigned long long>(st.f_blocks) * st.f_frsize;
  EXPECT_EQ(a.TotalBytes(), total);
  EXPECT_LE(a.FreeBytes(), a.TotalBytes());
  // Other programs write meanwhile: equal within 64 MiB.
  unsigned long long avail = static_cast<unsigned long long>(st.f_bavail) * st.f_frsize;
  unsigned long long free1 = utl_DiskAttributes::GetFreeDiskSpace(dir.Path().c_str());
  EXPECT_LT(free1 > avail ? free1 - avail : avail - free1, 64ull << 20);

  utl_DiskAttributes missing(dir.File("none").c_str());
  EXPECT_FALSE(missing.IsValid());
  EXPECT_EQ(missing.Error(), ENOENT);
  EXPECT_EQ(missing.FreeBytes(), 0u);
  EXPECT_EQ(utl_DiskAttributes::GetFreeDiskSpace(dir.File("none").c_str()), 0u);
}
