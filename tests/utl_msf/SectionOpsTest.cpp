// The multisection file's members for tools where the tool's own tests
// (tests/tool) cannot reach: hostile directories refused before memory is
// taken, images checked on paths, the staging files told from other names;
// and utl_FileReplace when its rename fails. Reads, streams, adoption,
// removal and recovery are tested through the vnkuti binary.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "support/TestSupport.h"
#include "utl/utl_FileReplace.h"
#include "utl/utl_MultisectionFile.h"
#include "utl_file/FileTestUtil.h"

using vnktest::ReadAll;
using vnktest::WriteAll;

namespace {

std::string S(const atr_StringBase& s) { return vnktest::Str(s); }
std::string U32(std::uint32_t v) { return std::string{char(v), char(v >> 8), char(v >> 16), char(v >> 24)}; }

std::string Error(const std::function<void()>& body) {
  try {
    body();
  } catch (const nex_Exception& e) {
    return S(e.UserReport());
  }
  return "(no error)";
}

class SectionOps : public ::testing::Test {
 protected:
  vnktest::TempDir dir;
  std::string path = dir.File("d.msf");
  cow_String P() const { return path.c_str(); }

  void Save(std::initializer_list<std::pair<const char*, std::string>> sections) {
    utl_MultisectionFile f(P(), utl_FileWrite);
    for (const auto& [name, bytes] : sections) f.setSectionData(name, bytes.data(), static_cast<int>(bytes.size()));
    f.saveChanges();
  }
};

TEST_F(SectionOps, HostileDirectoryIsRefusedBeforeMemoryIsTaken) {
  // A directory that claims almost 2 GiB, or places a section before the
  // data (a negative length ahead of it): refused before any allocation, and
  // the checks answer false instead of seeking outside the file.
  const std::string head = std::string("\x28\xC1\x1D\xAF", 4) + U32(1);
  WriteAll(path, head + U32(2) + U32(1) + "h" + U32(0x7FFFFFF0) + U32(0) + U32(1) + "g" + U32(3) + U32(0) + "xyz");
  utl_MultisectionFile huge(P(), utl_FileRead);
  EXPECT_FALSE(huge.IsSectionIntact(0));
  EXPECT_EQ(Error([&] { huge.SectionData("h"); }), "\"" + path + "\": Data corrupted in section \"h\"");
  WriteAll(path, head + U32(2) + U32(1) + "n" + U32(-50) + U32(0) + U32(1) + "g" + U32(3) + U32(0) + "xyz");
  utl_MultisectionFile negative(P(), utl_FileRead);
  EXPECT_FALSE(negative.IsSectionIntact(0));
  EXPECT_FALSE(negative.IsSectionIntact(1));
  EXPECT_EQ(Error([&] { negative.SectionData("g"); }), "\"" + path + "\": Data corrupted in section \"g\"");
}

// Gives its text in pieces of three bytes, or raises after `failAfter` calls.
struct Source final : utl_MultisectionFile::SectionSource {
  std::string m_Text;
  int m_FailAfter = -1;
  std::size_t m_At = 0;
  int Get(char* buf, int count) override {
    if (m_FailAfter-- == 0) nex_TextException("source broke").Throw("tests/utl_msf", __LINE__);
    int n = static_cast<int>(std::min<std::size_t>({m_Text.size() - m_At, 3, static_cast<std::size_t>(count)}));
    std::memcpy(buf, m_Text.data() + m_At, n);
    m_At += n;
    return n;
  }
};

TEST_F(SectionOps, SourcesAreStreamedIntoTheSaveOrLeaveTheOldValue) {
  Save({{"a", "alpha"}, {"b", "bravo"}});
  const std::string before = ReadAll(path);
  {
    Source broken;
    broken.m_Text = "never stored";
    broken.m_FailAfter = 2;
    utl_MultisectionFile f(P(), utl_FileUpdate);
    f.SetSectionSource("a", broken);
    EXPECT_EQ(S(f.SectionData("a")), "alpha");  // the old value until the save
    EXPECT_EQ(Error([&] { f.saveChanges(); }), "source broke");
  }
  EXPECT_EQ(ReadAll(path), before);
  Source fresh, replaced;
  fresh.m_Text = "a value of several pieces";
  replaced.m_Text = "not used";
  {
    utl_MultisectionFile f(P(), utl_FileUpdate);
    f.SetSectionSource("b", replaced);
    f.setSectionData("b", "set", 3);  // a later value replaces the source
    f.SetSectionSource("c", fresh);
    EXPECT_EQ(S(f.SectionData("c")), "");  // new: empty until the save
    f.saveChanges();
  }
  EXPECT_EQ(replaced.m_At, 0u);
  auto check = utl_MultisectionFile::CheckImage(P());
  EXPECT_TRUE(check.Complete());
  utl_MultisectionFile back(P(), utl_FileRead);
  EXPECT_EQ(S(back.SectionData("a")) + S(back.SectionData("b")) + S(back.SectionData("c")),
            "alphaseta value of several pieces");
}

TEST_F(SectionOps, ImagesCheckedAndStagingFilesFound) {
  auto missing = utl_MultisectionFile::CheckImage(P());
  EXPECT_FALSE(missing.m_Exists);
  EXPECT_FALSE(missing.Intact());
  Save({{"a", "alpha"}});
  auto good = utl_MultisectionFile::CheckImage(P());
  EXPECT_TRUE(good.Complete());
  EXPECT_EQ(good.m_ImageSize, 12 + 13 + 5);
  WriteAll(path, ReadAll(path) + "tail");
  auto tail = utl_MultisectionFile::CheckImage(P());
  EXPECT_TRUE(tail.Intact());
  EXPECT_FALSE(tail.Complete());
  WriteAll(path, "junk");
  auto junk = utl_MultisectionFile::CheckImage(P());
  EXPECT_TRUE(junk.m_Exists);
  EXPECT_FALSE(junk.m_Readable);
  EXPECT_EQ(S(junk.m_Problem), "\"" + path + "\": Invalid file type");

  for (const char* name : {"d.msf.12.tmp", "d.msf.3.tmp", "d.msf.x.tmp", "d.msf..tmp", "d.msf.12.tmpx", "e.msf.1.tmp"})
    WriteAll(dir.File(name), "");
  cow_List<cow_String> staging = utl_MultisectionFile::StagingFiles(P());
  ASSERT_EQ(staging.Count(), 2);
  EXPECT_EQ(S(staging.ConstGet(0)), dir.File("d.msf.12.tmp"));
  EXPECT_EQ(S(staging.ConstGet(1)), dir.File("d.msf.3.tmp"));
}

TEST(FileReplace, FailedRenameDirectoryPipeAndLink) {
  vnktest::TempDir dir;
  const std::string path = dir.File("target");
  WriteAll(path, "new");
  // A rename that fails leaves no staging file; a directory is refused.
  plt_FaultArm(plt_FaultRename, 1, EIO);
  EXPECT_EQ(Error([&] {
              utl_FileReplace r(path.c_str());
              r.File().Write("x", 1);
              r.Commit();
            }).substr(0, 42),
            "*** Error: Write failed (utl_File: rename)");
  plt_FaultDisarm();
  EXPECT_FALSE(std::ifstream(path + "." + std::to_string(getpid()) + ".new").good());
  EXPECT_EQ(Error([&] { utl_FileReplace(dir.Path().c_str()).File().Write("x", 1); }).substr(0, 33),
            "*** Error: File open failed (utl_");

  // A pipe or a link is written through, never renamed over.
  const std::string link = dir.File("link"), fifo = dir.File("fifo");
  ASSERT_EQ(symlink("target", link.c_str()), 0);
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  for (const std::string& through : {link, fifo}) {
    EXPECT_EQ(Error([&] {
                utl_FileReplace r(through.c_str());
                EXPECT_TRUE(r.IsDirect());
                r.File().Write("via", 3);
                r.Commit();
              }),
              "(no error)");
  }
  struct stat st;
  EXPECT_TRUE(lstat(link.c_str(), &st) == 0 && S_ISLNK(st.st_mode));
  EXPECT_EQ(ReadAll(path), "via");
  EXPECT_TRUE(lstat(fifo.c_str(), &st) == 0 && S_ISFIFO(st.st_mode));
}

}  // namespace
