// Share modes and utl_flock between two real processes (a forked child), and
// between two opens of one process.
#include <fcntl.h>
#include <sys/time.h>

#include <cerrno>
#include <chrono>
#include <cstring>

#include "plt/plt_File.h"
#include "support/TestSupport.h"
#include "utl/utl_File.h"
#include "utl_file/FileTestUtil.h"

using namespace vnktest;

namespace {

const char* kLabel[] = {"CreateFile in OpenRead", "CreateFile in OpenUpdate", "CreateFile in OpenWrite"};

// What an open lets others do (read 1, write 2), as the Windows table says.
int Shares(int access, int sharing) {
  if (sharing == utl_ShareRead) return 1;
  if (sharing == utl_ShareReadWrite) return 3;
  return access == utl_FileRead ? 3 : 1;
}

// Windows' rule: each open's access must be shared by the other.
bool Compatible(int a1, int s1, int a2, int s2) {
  int mine = Shares(a1, s1), theirs = Shares(a2, s2);
  bool w1 = a1 != utl_FileRead, w2 = a2 != utl_FileRead;
  return (mine & 1) && (theirs & 1) && (!w2 || (mine & 2)) && (!w1 || (theirs & 2));
}

// One small file in a fresh directory for each test.
class OneFile : public ::testing::Test {
 protected:
  void SetUp() override { WriteAll(p, "x"); }
  TempDir dir;
  std::string p = dir.File("f");
};
using ShareModeTest = OneFile;
using FlockTest = OneFile;

TEST_F(ShareModeTest, TheTableHoldsBetweenProcesses) {
  for (int a1 = 0; a1 < 3; ++a1)
    for (int s1 = 0; s1 < 3; ++s1)
      for (int a2 = 0; a2 < 3; ++a2)
        for (int s2 = 0; s2 < 3; ++s2) {
          WriteAll(p, "keep");
          utl_File first(p.c_str(), utl_FileAccess(a1), utl_FileSharing(s1));
          first.Init();
          std::string got = InChild([&] {
            return Caught<utl_FileExceptionOpen>(
                [&] { utl_File(p.c_str(), utl_FileAccess(a2), utl_FileSharing(s2)).Init(); });
          });
          std::string refused = std::string("*** Error: File open failed (utl_File: ") + kLabel[a2] +
                                ")\nerror: " + strerror(EBUSY) + "\nfile: " + p;
          bool ok = Compatible(a1, s1, a2, s2);
          EXPECT_EQ(got, ok ? "<no exception>" : refused) << a1 << s1 << " then " << a2 << s2;
          // Only a create that went ahead truncates: a refused one leaves the
          // other opener's data alone.
          if (a1 == utl_FileWrite || (ok && a2 == utl_FileWrite)) continue;
          EXPECT_EQ(ReadAll(p), "keep") << a1 << s1 << " then " << a2 << s2;
        }
}

TEST_F(ShareModeTest, TwoOpensInOneProcessAndReleaseOnClose) {
  {
    utl_File writer(p.c_str(), utl_FileUpdate, utl_ShareRead);
    writer.Init();
    utl_File reader(p.c_str(), utl_FileRead, utl_ShareReadWrite);
    EXPECT_NO_THROW(reader.Init());
    utl_File second(p.c_str(), utl_FileUpdate, utl_ShareReadWrite);
    EXPECT_NE(Caught<utl_FileExceptionOpen>([&] { second.Init(); }), "<no exception>");
  }
  utl_File again(p.c_str(), utl_FileUpdate, utl_ShareDefault);
  EXPECT_NO_THROW(again.Init());  // closing released the share marks
}

// "result/errno" of utl_flock(fd, op); errno only when it failed.
std::string Flock(int fd, int op) {
  errno = 0;
  const int rc = utl_flock(fd, op);
  return std::to_string(rc) + "/" + std::to_string(rc == 0 ? 0 : errno);
}

TEST_F(FlockTest, OperationValues) {
  int fd = open(p.c_str(), O_RDWR);
  for (int op : {0, 3, 4, 7, 9, -1}) EXPECT_EQ(Flock(fd, op), "-1/22") << op;
  for (int op : {1, 8, 2, 8, 5, 8, 6, 8}) EXPECT_EQ(utl_flock(fd, op), 0) << op;
  close(fd);
  EXPECT_EQ(Flock(fd, 2), "-1/" + std::to_string(EBADF));
}

TEST_F(FlockTest, ExcludesAnotherProcessOverItsRange) {
  int fd = open(p.c_str(), O_RDWR);
  auto probe = [&](int op) { return InChild([&] { return Flock(open(p.c_str(), O_RDWR), op); }); };
  const std::string busy = "-1/" + std::to_string(EAGAIN);
  ASSERT_EQ(utl_flock(fd, 2), 0);
  EXPECT_EQ(probe(6), busy);
  EXPECT_EQ(probe(5), busy);
  // The lock covers bytes 0 to 0xFFFF0000 and no further.
  EXPECT_EQ(InChild([&] {
              plt_FileHandle h = plt_FileOpen(p.c_str(), plt_AccessReadWrite, plt_OpenExisting, 3);
              return std::to_string(plt_FileLockRange(h, 0xFFFEFFFFLL, 1, true, false)) +
                     std::to_string(plt_FileLockRange(h, 0xFFFF0000LL, 1, true, false));
            }),
            "01");
  ASSERT_EQ(utl_flock(fd, 8), 0);
  EXPECT_EQ(probe(6), "0/0");
  ASSERT_EQ(utl_flock(fd, 1), 0);
  EXPECT_EQ(probe(5), "0/0");
  EXPECT_EQ(probe(6), busy);

  // A waiting exclusive lock is granted when the holder lets go.
  ASSERT_EQ(utl_flock(fd, 2), 0);
  Child waiter([&] {
    int mine = open(p.c_str(), O_RDWR);
    auto t0 = std::chrono::steady_clock::now();
    int rc = utl_flock(mine, 2);
    auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - t0).count();
    return std::to_string(rc) + (ms >= 150 ? " waited" : " did not wait");
  });
  usleep(250 * 1000);
  ASSERT_EQ(utl_flock(fd, 8), 0);
  EXPECT_EQ(waiter.Finish(), "0 waited");
  close(fd);
}

}  // namespace
