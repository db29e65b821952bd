// utl_File on real files: lazy opening, positions past 4 GiB, Extend, and
// every label of the failure table reached by a real failure where the system
// can produce one, by the fault hook where it cannot.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "support/TestSupport.h"
#include "uti/UTI_BasicUtils.h"
#include "utl/utl_File.h"
#include "utl/utl_IOTracker.h"
#include "utl_file/FileTestUtil.h"

using namespace vnktest;

namespace {

std::string WithError(const char* what, const char* label, int err, const std::string& file) {
  return std::string("*** Error: ") + what + " (utl_File: " + label + ")\nerror: " + strerror(err) + "\nfile: " + file;
}
std::string NoFile(const char* label, const std::string& file) {
  return std::string("*** Error: No such file (utl_File: ") + label + ")\nfile name: " + file;
}
const std::string kFull = "*** Error: Free disk space depleted\nfile name: %2$s";

// Limits this (child) process's file size; writes past it fail with EFBIG.
void LimitFileSize(rlim_t bytes) {
  signal(SIGXFSZ, SIG_IGN);
  struct rlimit r = {bytes, bytes};
  setrlimit(RLIMIT_FSIZE, &r);
}

class FileTest : public ::testing::Test {
 protected:
  TempDir dir;
  FaultGuard faults;
  std::string Make(const std::string& name, const std::string& bytes) {
    WriteAll(dir.File(name), bytes);
    return dir.File(name);
  }
};

TEST_F(FileTest, OpensLazilyOnlyOnceAndRetriesAFailedOpen) {
  std::string missing = dir.File("missing");
  { utl_File f(missing.c_str(), utl_FileWrite, utl_ShareDefault); }  // never used: nothing happens
  EXPECT_NE(access(missing.c_str(), F_OK), 0);

  std::string a = Make("a", "AAAA"), b = Make("b", "BBBB");
  utl_File f(a.c_str(), utl_FileRead, utl_ShareReadWrite);
  char buf[8] = {};
  EXPECT_EQ(f.Read(buf, 2), 2);
  // Open on an open object renames only: the old handle keeps reading a.
  f.Open(b.c_str(), utl_FileUpdate, utl_ShareDefault);
  EXPECT_EQ(f.Read(buf + 2, 8), 2);
  EXPECT_STREQ(buf, "AAAA");
  EXPECT_EQ(Str(f.FileName()), b);

  // A failed open is retried by the next operation.
  std::string p = dir.File("late");
  utl_File late(p.c_str(), utl_FileRead, utl_ShareDefault);
  char c;
  EXPECT_EQ(Caught<utl_FileExceptionNoFile>([&] { late.Read(&c, 1); }), NoFile("in OpenRead", p));
  EXPECT_FALSE(late.IsOpened());
  WriteAll(p, "x");
  EXPECT_EQ(late.Read(&c, 1), 1);
  EXPECT_EQ(late.Read(&c, 1), 0);  // end of file is no error
}

TEST_F(FileTest, WriteTruncatesAndOffsetsPass4GiB) {
  std::string p = Make("big", "old content");
  utl_File f(p.c_str(), utl_FileWrite, utl_ShareDefault);
  EXPECT_EQ(f.FileSize().Value(), 0);
  const long long five = 5LL << 30;
  f.Seek(five);
  EXPECT_EQ(f.Write("tail", 4), 4);
  EXPECT_EQ(f.Location().Value(), five + 4);
  EXPECT_EQ(f.FileSize().Value(), five + 4);
  f.Seek(five);
  char buf[5] = {};
  EXPECT_EQ(f.Read(buf, 4), 4);
  EXPECT_STREQ(buf, "tail");

  // Extend grows and truncates, keeping the position.
  std::string e = Make("e", "0123456789");
  utl_File g(e.c_str(), utl_FileUpdate, utl_ShareDefault);
  g.Seek(3);
  g.Extend(6LL << 30);
  EXPECT_EQ(std::make_pair(g.FileSize().Value(), g.Location().Value()), std::make_pair(6LL << 30, 3LL));
  g.Seek(8);
  g.Extend(4);  // the position now lies past the end and stays there
  EXPECT_EQ(g.Location().Value(), 8);
  EXPECT_EQ(ReadAll(e), "0123");
}

TEST_F(FileTest, OpenFailures) {
  // An unknown access opens nothing (and the destructor has nothing to close).
  utl_File u(Make("u", "x").c_str(), static_cast<utl_FileAccess>(7), utl_ShareDefault);
  char c;
  EXPECT_EQ(Caught<utl_FileExceptionRead>([&] { u.Read(&c, 1); }), WithError("Read failed", "ReadFile", EBADF, Str(u.FileName())));
  EXPECT_TRUE(u.IsOpened());

  std::string missing = dir.File("none"), sub = dir.File("no/such"), d = dir.Path();
  auto open = [](const std::string& p, utl_FileAccess a) {
    return [p, a] { utl_File(p.c_str(), a, utl_ShareDefault).Init(); };
  };
  for (auto [a, label] : {std::pair{utl_FileRead, "in OpenRead"}, {utl_FileUpdate, "in OpenUpdate"}}) {
    EXPECT_EQ(Caught<utl_FileExceptionNoFile>(open(missing, a)), NoFile(label, missing));
    EXPECT_EQ(Caught<utl_FileExceptionOpen>(open(d, a)),
              WithError("File open failed", (std::string("CreateFile ") + label).c_str(), EISDIR, d));
  }
  EXPECT_EQ(Caught<utl_FileExceptionOpen>(open(sub, utl_FileWrite)),
            WithError("File open failed", "CreateFile in OpenWrite", ENOENT, sub));
  // Permission: as an unprivileged user, since root may open anything.
  std::string ro = Make("ro", "x");
  chmod(ro.c_str(), 0400);
  EXPECT_EQ(InChild([&] {
              if (geteuid() == 0 && setuid(65534) != 0) return std::string("setuid failed");
              return Caught<utl_FileExceptionOpen>(open(ro, utl_FileUpdate));
            }),
            WithError("File open failed", "CreateFile in OpenUpdate", EACCES, ro));
}

TEST_F(FileTest, ReadOnlyObjectsRefuseWritesFlushesAndExtends) {
  std::string p = Make("r", "data");
  utl_File f(p.c_str(), utl_FileRead, utl_ShareDefault);
  plt_FaultArm(plt_FaultRename, 1000, EIO);  // counts calls, fails none
  const std::string refused = "*** Error: Write failed (utl_File: attempt to write to a read-only file.)\nfile name: " + p;
  EXPECT_EQ(Caught<utl_FileExceptionWrite>([&] { f.Write("x", 1); }), refused);
  EXPECT_TRUE(f.IsOpened());  // the lazy open still happened
  EXPECT_EQ(plt_FaultCalls(plt_FaultWrite), 0);
  EXPECT_EQ(Caught<utl_FileExceptionWrite>([&] { f.WriteShortAllowed("x", 1); }), refused);
  EXPECT_EQ(Caught<utl_FileExceptionFlush>([&] { f.Flush(); }),
            "*** Error: Flush failed (utl_File: attempt to flush a read-only file.)\nfile name: " + p);
  EXPECT_EQ(Caught<nex_TextException>([&] { f.Extend(10); }), "utl_File::Extend - attempt to extend a read-only file.");
  EXPECT_EQ(ReadAll(p), "data");
}

TEST_F(FileTest, DeviceAndPipeFailures) {
  // /dev/full refuses data, fsync and a new end; a FIFO refuses positions;
  // reading address 0 of our own memory is an I/O error.
  utl_File full("/dev/full", utl_FileUpdate, utl_ShareReadWrite);
  EXPECT_EQ(Caught<utl_FileExceptionWrite>([&] { full.Write("x", 1); }),
            WithError("Write failed", "WriteFile", ENOSPC, "/dev/full"));
  EXPECT_EQ(Caught<utl_FileExceptionFlush>([&] { full.Flush(); }),
            WithError("Flush failed", "FlushFileBuffers", EINVAL, "/dev/full"));
  EXPECT_EQ(Caught<utl_FileExceptionExtend>([&] { full.Extend(100); }),
            WithError("Extend failed", "SetEndOfFile", EINVAL, "/dev/full"));

  std::string fifo = dir.File("fifo");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  utl_File pipe(fifo.c_str(), utl_FileUpdate, utl_ShareDefault);
  EXPECT_EQ(Caught<utl_FileExceptionSeek>([&] { pipe.Seek(0); }), WithError("Seek failed", "SetFilePointer", ESPIPE, fifo));
  EXPECT_EQ(Caught<utl_FileExceptionLocation>([&] { pipe.Location(); }),
            WithError("Get file location failed", "SetFilePointer", ESPIPE, fifo));
  EXPECT_EQ(Caught<utl_FileExceptionExtend>([&] { pipe.Extend(8); }),
            WithError("Extend failed", "SetFilePointer 1", ESPIPE, fifo));

  utl_File mem("/proc/self/mem", utl_FileRead, utl_ShareReadWrite);
  char c;
  EXPECT_EQ(Caught<utl_FileExceptionRead>([&] { mem.Read(&c, 1); }), WithError("Read failed", "ReadFile", EIO, "/proc/self/mem"));

  std::string p = Make("small", "");
  utl_File f(p.c_str(), utl_FileUpdate, utl_ShareDefault);
  EXPECT_EQ(Caught<utl_FileExceptionExtend>([&] { f.Extend(-1); }), WithError("Extend failed", "SetFilePointer 2", EINVAL, p));
  EXPECT_EQ(Caught<utl_FileExceptionExtend>([&] { f.Extend(2); }), WithError("Extend failed", "SetFilePointer 3", EINVAL, p));
}

TEST_F(FileTest, FileSizeLimitGivesShortWritesAndTooLarge) {
  std::string p = dir.File("limited");
  EXPECT_EQ(InChild([&] {
              LimitFileSize(50);
              utl_File f(p.c_str(), utl_FileWrite, utl_ShareDefault);
              char buf[100] = {};
              std::string r = std::to_string(f.WriteShortAllowed(buf, 60)) + "|";  // 50 go, the rest is refused
              r += Caught<utl_FileExceptionWrite>([&] { f.Write(buf, 1); }) + "|";  // nothing goes: EFBIG
              f.Seek(0);
              return r + Caught<utl_FileExceptionFull>([&] { f.Write(buf, 100); });
            }),
            "50|" + WithError("Write failed", "WriteFile", EFBIG, p) + "|" + kFull);
  EXPECT_EQ(ReadAll(p).size(), 50u);
  EXPECT_EQ(InChild([&] {
              LimitFileSize(50);
              utl_File f(p.c_str(), utl_FileUpdate, utl_ShareDefault);
              return Caught<utl_FileExceptionExtend>([&] { f.Extend(1000); });
            }),
            WithError("Extend failed", "SetEndOfFile", EFBIG, p));
}

TEST_F(FileTest, InjectedFailuresReachTheRemainingLabels) {
  std::string p = Make("h", "0123456789");
  {
    utl_File f(p.c_str(), utl_FileUpdate, utl_ShareDefault);
    f.Init();
    plt_FaultArm(plt_FaultSize, 1, EIO);
    EXPECT_EQ(Caught<utl_FileExceptionSize>([&] { f.FileSize(); }), WithError("Get file size failed", "GetFileSize", EIO, p));
    const struct { plt_FaultKind kind; int n; const char* label; } steps[] = {{plt_FaultSeek, 1, "SetFilePointer 1"}, {plt_FaultSeek, 2, "SetFilePointer 2"},
                 {plt_FaultTruncate, 1, "SetEndOfFile"},   {plt_FaultSeek, 3, "SetFilePointer 3"},
                 {plt_FaultRead, 1, "ReadFile"},           {plt_FaultSeek, 4, "SetFilePointer 4"},
                 {plt_FaultWrite, 1, "WriteFile"},         {plt_FaultSeek, 5, "SetFilePointer 5"}};
    for (const auto& s : steps) {
      plt_FaultDisarm();
      plt_FaultArm(s.kind, s.n, EIO);
      EXPECT_EQ(Caught<utl_FileExceptionExtend>([&] { f.Extend(20); }), WithError("Extend failed", s.label, EIO, p));
    }
    plt_FaultDisarm();
    // The injected write failure ran for real first: the bytes are there.
    plt_FaultArm(plt_FaultWrite, 1, EIO);
    f.Seek(0);
    EXPECT_EQ(Caught<utl_FileExceptionWrite>([&] { f.Write("AB", 2); }), WithError("Write failed", "WriteFile", EIO, p));
    EXPECT_EQ(ReadAll(p).substr(0, 2), "AB");
  }
  plt_FaultDisarm();
  EXPECT_EQ(Caught<utl_FileExceptionClose>([&] {
              utl_File f(p.c_str(), utl_FileRead, utl_ShareDefault);
              f.Init();
              plt_FaultArm(plt_FaultClose, 1, EIO);
            }),
            std::string("***ERROR: File close failed (utl_File: CloseHandle)\nerror: ") + strerror(EIO) + "\nfile: " + p);
}

TEST_F(FileTest, EveryInjectedFailureOfAWholeSessionIsAnException) {
  std::string p = dir.File("walk");
  int n = 1;
  for (;; ++n) {
    plt_FaultDisarm();
    plt_FaultArm(plt_FaultAny, n, EIO);
    try {
      utl_File f(p.c_str(), utl_FileWrite, utl_ShareDefault);
      f.Write("0123456789", 10);
      f.Extend(100);
      f.Flush();
      f.Seek(f.FileSize().Value() - 10);
      char buf[10];
      f.Read(buf, 10);
    } catch (const nex_Exception&) {
      ASSERT_TRUE(plt_FaultFired(plt_FaultAny));
      continue;
    }
    if (!plt_FaultFired(plt_FaultAny)) break;
  }
  EXPECT_GT(n, 15);  // the walk covered every call of the session
}

TEST_F(FileTest, OpenWriteMakesTheIOTrackerContainer) {
  utl_IOTracker_Container::Finalize();
  ASSERT_EQ(utl_IOTracker_Container::Peek(), nullptr);
  std::string bad = dir.File("no/dir");
  Caught<utl_FileExceptionOpen>([&] { utl_File(bad.c_str(), utl_FileWrite, utl_ShareDefault).Init(); });
  ASSERT_NE(utl_IOTracker_Container::Peek(), nullptr);  // even when the create failed
  {
    utl_IOTracker t("t");
    t.NoteWritten(5);
    EXPECT_EQ(utl_IOTracker_Container::Instance().TotalBytesWritten(), 5);
  }
  EXPECT_EQ(utl_IOTracker_Container::Instance().Count(), 0);
  int count = 0;
  utl_finalize(count);  // the module's last user leaves: the container goes
  EXPECT_EQ(utl_IOTracker_Container::Peek(), nullptr);
  utl_initialize(count);
}

TEST(FileOffsetTest, DiffAsInt32FitsOrAsserts) {
  const long long two31 = 1LL << 31;
  EXPECT_EQ(utl_FileOffset(two31 - 1).DiffAsInt32(0), 2147483647);
  EXPECT_EQ(utl_FileOffset(0).DiffAsInt32(two31), INT_MIN);
  for (auto pair : {std::pair<long long, long long>{two31, 0}, {0, two31 + 1}, {LLONG_MAX, LLONG_MIN}, {LLONG_MIN, 1}}) {
    try {
      utl_FileOffset(pair.first).DiffAsInt32(pair.second);
      ADD_FAILURE() << pair.first << " - " << pair.second;
    } catch (const nex_AssertException& e) {
      EXPECT_EQ(Str(e.AsString()), "d >= INT_MIN && d <= INT_MAX");
      EXPECT_EQ(Str(e.FromFile()), "utl/impl/utl_FileOffset");
    }
  }
}

}  // namespace
