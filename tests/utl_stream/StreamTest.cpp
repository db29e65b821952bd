// Binary streams on pipes, files and devices: exact byte images, retried
// short transfers, and each exception with its text.
#include <fcntl.h>
#include <sys/resource.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <thread>

#include "support/TestSupport.h"
#include "utl/utl_BinStream.h"
#include "utl_file/FileTestUtil.h"

using namespace vnktest;

// Present only in sanitizer builds.
extern "C" void __lsan_disable() __attribute__((weak));
extern "C" void __lsan_enable() __attribute__((weak));

namespace {

// ReadString leaves its scratch block allocated on purpose: the leak checker
// ignores what is allocated while this lives.
struct DesignedLeak {
  DesignedLeak() {
    if (__lsan_disable) __lsan_disable();
  }
  ~DesignedLeak() {
    if (__lsan_enable) __lsan_enable();
  }
};

class StreamTest : public ::testing::Test {
 protected:
  TempDir dir;
  int Open(const char* name, int flags) { return open(dir.File(name).c_str(), flags | O_CREAT, 0600); }
};

template <class T>
std::string Raw(T v) {
  return std::string(reinterpret_cast<const char*>(&v), sizeof v);
}

TEST_F(StreamTest, ImageIsNativeWhateverTheEndianTypeAndReadsBack) {
  const int ints[2] = {-1, 0x01020304};
  const float f = 1.5f;
  const double d = -2.25;
  // In-memory images back to back: no padding, tags or counts.
  const std::string image = Raw<signed char>(-2) + Raw<unsigned char>(200) + Raw<short>(-3) +
                            Raw<unsigned short>(0xBEEF) + Raw(0x11223344) + Raw(0xFFFFFFFEu) + Raw(-5LL) +
                            Raw(0x0102030405060708ULL) + Raw(3) + "hey" + Raw(0) + Raw(ints[0]) + Raw(ints[1]) + Raw(f) + Raw(d);
  for (int e = 0; e < 3; ++e) {
    int fd = Open("s", O_WRONLY | O_TRUNC);
    utl_BinOStream out(fd, omi_Swapper::EndianType(e));
    out.WriteSchar(-2);
    out.WriteUchar(200);
    out.WriteShort(-3);
    out.WriteUShort(0xBEEF);
    out.WriteInt(0x11223344);
    out.WriteUInt(0xFFFFFFFEu);
    out.WriteInt64(-5);
    out.WriteUInt64(0x0102030405060708ULL);
    out.WriteString("hey");
    out.WriteString("");
    out.WriteIntArray(ints, 2);
    out.WriteFloatArray(&f, 1);
    out.WriteDoubleArray(&d, 1);
    out.WriteDoubleArray(&d, 0);  // nothing at all
    close(fd);
    EXPECT_EQ(ReadAll(dir.File("s")), image) << e;
  }

  DesignedLeak designed;
  int fd = open(dir.File("s").c_str(), O_RDONLY);
  utl_BinIStream in(fd, omi_Swapper::Big);
  EXPECT_EQ(in.ReadSchar(), -2);
  EXPECT_EQ(in.ReadUchar(), 200);
  EXPECT_EQ(in.ReadShort(), -3);
  EXPECT_EQ(in.ReadUShort(), 0xBEEF);
  EXPECT_EQ(in.ReadInt(), 0x11223344);
  EXPECT_EQ(in.ReadUInt(), 0xFFFFFFFEu);
  EXPECT_EQ(in.ReadInt64(), -5);
  EXPECT_EQ(in.ReadUInt64(), 0x0102030405060708ULL);
  EXPECT_EQ(Str(in.ReadString()), "hey");
  EXPECT_EQ(Str(in.ReadString()), "");
  int gotInts[2];
  float gotF;
  double gotD;
  in.ReadIntArray(gotInts, 2);
  in.ReadFloatArray(&gotF, 1);
  in.ReadDoubleArray(&gotD, 1);
  EXPECT_TRUE(gotInts[1] == ints[1] && gotF == f && gotD == d);
  EXPECT_EQ(Caught<utl_BinStreamEOF>([&] { in.ReadUchar(); }), "*** ERROR: End of file on binary stream.");
  close(fd);
}

TEST_F(StreamTest, ShortReadsAreRetriedAndEndOfFileConsumes) {
  int p[2];
  ASSERT_EQ(pipe(p), 0);
  // The writer dribbles a large array in small pieces.
  std::vector<double> sent(100000);
  for (size_t i = 0; i < sent.size(); ++i) sent[i] = i * 0.5;
  std::thread writer([&] {
    const char* b = reinterpret_cast<const char*>(sent.data());
    for (size_t at = 0, n = sent.size() * 8; at < n; at += 777) (void)!write(p[1], b + at, std::min<size_t>(777, n - at));
    (void)!write(p[1], "\1\2", 2);
    close(p[1]);
  });
  utl_BinIStream in(p[0], omi_Swapper::Native);
  std::vector<double> got(sent.size());
  in.ReadDoubleArray(got.data(), static_cast<int>(got.size()));
  writer.join();
  EXPECT_EQ(got, sent);
  EXPECT_EQ(Caught<utl_BinStreamEOF>([&] { in.ReadInt(); }), "*** ERROR: End of file on binary stream.");
  // The two bytes went with the failed read; the stream is still usable.
  EXPECT_EQ(Caught<utl_BinStreamEOF>([&] { in.ReadUchar(); }), "*** ERROR: End of file on binary stream.");
  EXPECT_EQ(fcntl(p[0], F_GETFD), 0);  // never closed by the stream
  close(p[0]);
}

TEST_F(StreamTest, ShortWriteIsRetriedUntilTheSystemRefuses) {
  std::string p = dir.File("limited");
  std::string r = InChild([&] {
    signal(SIGXFSZ, SIG_IGN);
    struct rlimit lim = {10, 10};
    setrlimit(RLIMIT_FSIZE, &lim);
    int fd = open(p.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    utl_BinOStream out(fd, omi_Swapper::Native);
    return Caught<utl_BinStreamWriteError>([&] { out.WriteString("0123456789"); });
  });
  EXPECT_EQ(r, strerror(EFBIG));  // the first write was short, the retry refused
  EXPECT_EQ(ReadAll(p), std::string("\x0a\0\0\0" "012345", 10));
}

TEST_F(StreamTest, SystemErrorsAndBinaryMode) {
  int full = open("/dev/full", O_WRONLY);
  utl_BinOStream out(full, omi_Swapper::Native);
  EXPECT_EQ(Caught<utl_BinStreamWriteError>([&] { out.WriteInt(1); }), strerror(ENOSPC));
  utl_BinIStream wrongWay(full, omi_Swapper::Native);
  EXPECT_EQ(Caught<utl_BinStreamReadError>([&] { wrongWay.ReadInt(); }), strerror(EBADF));
  close(full);
  EXPECT_EQ(Caught<utl_BinStreamException>([&] { utl_BinIStream(full, omi_Swapper::Native); }),
            std::string("*** ERROR: Can't set stream to binary mode: ") + strerror(EBADF));

  // Each exception re-raises as its own type from a copy.
  std::unique_ptr<nex_Exception> copy(utl_BinStreamWriteError(ENOSPC).Copy());
  EXPECT_EQ(Caught<utl_BinStreamWriteError>([&] { copy->Propagate(); }), strerror(ENOSPC));
  try {
    utl_BinStreamEOF().Throw("here", 1);
  } catch (const utl_BinStreamException& e) {  // caught by the base
    EXPECT_EQ(e.DynTypeId(), utl_BinStreamEOF::TypeId());
  }
}

TEST_F(StreamTest, ReadStringLengths) {
  DesignedLeak designed;
  int fd = Open("lengths", O_RDWR | O_TRUNC);
  const int lengths[] = {-1, 0x10000000};  // negative; large and cut short
  for (int l : lengths) ASSERT_EQ(write(fd, &l, 4), 4);
  ASSERT_EQ(write(fd, "abc", 3), 3);
  lseek(fd, 0, SEEK_SET);
  utl_BinIStream in(fd, omi_Swapper::Native);
  EXPECT_EQ(Caught<utl_BinStreamReadError>([&] { in.ReadString(); }), strerror(EINVAL));
  EXPECT_EQ(Caught<utl_BinStreamEOF>([&] { in.ReadString(); }), "*** ERROR: End of file on binary stream.");
  close(fd);
}

}  // namespace
