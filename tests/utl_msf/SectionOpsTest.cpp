// The multisection file's members for tools: the directory with lengths and
// CRCs, whole sections read and streamed with damage caught before memory is
// taken, values adopted and sections removed; images checked on paths, the
// staging files found, and recovery from them.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <functional>
#include <sstream>

#include "mem/mem_Alloc.h"
#include "nex/nex_Exception.h"
#include "support/TestSupport.h"
#include "utl/utl_Crc32.h"
#include "utl/utl_FileReplace.h"
#include "utl/utl_MultisectionFile.h"

namespace {

std::string ReadAll(const std::string& path) {
  std::stringstream ss;
  ss << std::ifstream(path, std::ios::binary).rdbuf();
  return ss.str();
}
void WriteAll(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}
std::string S(const atr_StringBase& s) { return std::string(s.c_str(), s.Length()); }
std::string U32(std::uint32_t v) { return std::string{char(v), char(v >> 8), char(v >> 16), char(v >> 24)}; }

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
  std::string Error(const std::function<void()>& body) {
    try {
      body();
    } catch (const nex_Exception& e) {
      return S(e.UserReport());
    }
    return "(no error)";
  }
};

TEST_F(SectionOps, DirectoryReadsStreamsAdoptsAndRemoves) {
  const std::string big(3 << 20, 'q');  // three of the 1 MiB pieces
  Save({{"a", "alpha"}, {"big", big}, {"e", ""}});
  utl_MultisectionFile f(P(), utl_FileUpdate);
  ASSERT_EQ(f.SectionCount(), 3);
  EXPECT_EQ(f.SectionLength(1), static_cast<int>(big.size()));
  EXPECT_EQ(f.SectionChecksum(1), utl_crc32(big.data(), big.size()));
  EXPECT_EQ(f.SectionChecksum(2), 0xFFFFFFFFu);
  EXPECT_TRUE(f.IsSectionIntact(1));
  EXPECT_TRUE(S(f.SectionData("big")) == big);
  EXPECT_EQ(S(f.SectionData("e")), "");
  {
    utl_FileReplace out(dir.File("big.out").c_str());
    f.CopySectionTo("big", out.File());
    out.Commit();
  }
  EXPECT_TRUE(ReadAll(dir.File("big.out")) == big);

  char* adopted = static_cast<char*>(mem_Malloc(4));
  std::memcpy(adopted, "new!", 4);
  f.AdoptSectionData("a", adopted, 4);  // pending: length, CRC and reads see it
  EXPECT_EQ(f.SectionLength(0), 4);
  EXPECT_EQ(f.SectionChecksum(0), utl_crc32("new!", 4));
  EXPECT_EQ(S(f.SectionData("a")), "new!");
  EXPECT_TRUE(f.RemoveSection("big"));
  EXPECT_FALSE(f.RemoveSection("big"));
  f.saveChanges();
  utl_MultisectionFile back(P(), utl_FileRead);
  ASSERT_EQ(back.SectionCount(), 2);
  EXPECT_EQ(S(back.SectionName(0)) + S(back.SectionName(1)), "ae");
  EXPECT_EQ(S(back.SectionData("a")), "new!");
  EXPECT_EQ(static_cast<long long>(ReadAll(path).size()), 12 + 13 + 13 + 4);
}

TEST_F(SectionOps, DamageIsFoundWithoutRaisingOrTakingMemory) {
  Save({{"a", "alpha"}, {"b", "bravo"}});
  std::string image = ReadAll(path);
  image[image.size() - 1] ^= 1;
  WriteAll(path, image);
  {
    utl_MultisectionFile f(P(), utl_FileRead);
    EXPECT_TRUE(f.IsSectionIntact(0));
    EXPECT_FALSE(f.IsSectionIntact(1));
    EXPECT_EQ(Error([&] { f.SectionData("b"); }), "\"" + path + "\": Data corrupted in section \"b\"");
    utl_FileReplace out(dir.File("out").c_str());
    EXPECT_EQ(Error([&] { f.CopySectionTo("b", out.File()); }), "\"" + path + "\": Data corrupted in section \"b\"");
  }
  // A directory that claims almost 2 GiB, or places a section before the
  // data (a negative length ahead of it): refused before any allocation.
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

TEST_F(SectionOps, RecoverRestoresOnlyWhatNeedsIt) {
  Save({{"a", "alpha"}});
  const std::string old = ReadAll(path);
  Save({{"a", "alpha"}, {"b", "bravo"}});
  const std::string image = ReadAll(path);
  cow_List<cow_String> report;

  // Damaged data file and a complete image: restored, staging removed.
  WriteAll(path, image.substr(0, 20) + old.substr(20));
  WriteAll(path + ".99.tmp", image);
  WriteAll(path + ".98.tmp", image.substr(0, 30));
  utl_MultisectionFile::Recover(P(), false, report);
  EXPECT_EQ(ReadAll(path), image);
  EXPECT_FALSE(std::ifstream(path + ".99.tmp").good());
  EXPECT_FALSE(std::ifstream(path + ".98.tmp").good());

  // A data file that checks keeps its content; its leftovers go.
  WriteAll(path + ".5.tmp", old);
  utl_MultisectionFile::Recover(P(), false, report);
  EXPECT_EQ(ReadAll(path), image);
  EXPECT_FALSE(std::ifstream(path + ".5.tmp").good());

  // The lock of another writer stops a change, unless declared stale.
  WriteAll(path + ".5.tmp", old);
  WriteAll(path + ".lock", "");
  EXPECT_EQ(Error([&] { utl_MultisectionFile::Recover(P(), false, report); }),
            "\"" + path + "\": Cannot create the lock file.");
  EXPECT_TRUE(std::ifstream(path + ".5.tmp").good());
  utl_MultisectionFile::Recover(P(), true, report);
  EXPECT_FALSE(std::ifstream(path + ".lock").good());
  EXPECT_FALSE(std::ifstream(path + ".5.tmp").good());
}

TEST(FileReplace, CommitReplacesWholeAndAnythingElseLeavesTheOld) {
  vnktest::TempDir dir;
  const std::string path = dir.File("target");
  WriteAll(path, "old");
  {
    utl_FileReplace r(path.c_str());
    r.File().Write("partial", 7);
  }  // no commit
  EXPECT_EQ(ReadAll(path), "old");
  EXPECT_FALSE(std::ifstream(path + "." + std::to_string(getpid()) + ".new").good());
  {
    utl_FileReplace r(path.c_str());
    r.File().Write("new", 3);
    r.Commit();
  }
  EXPECT_EQ(ReadAll(path), "new");
  {
    utl_FileReplace r(dir.File("fresh").c_str());
    r.Commit();  // nothing written: an empty file
  }
  EXPECT_TRUE(std::ifstream(dir.File("fresh")).good());
  // A rename that cannot happen: a directory with something in it is there.
  const std::string blocked = dir.File("blocked");
  mkdir(blocked.c_str(), 0700);
  WriteAll(blocked + "/x", "");
  utl_FileReplace r(blocked.c_str());
  r.File().Write("x", 1);
  try {
    r.Commit();
    ADD_FAILURE() << "no error";
  } catch (const utl_FileExceptionWrite& e) {
    EXPECT_EQ(S(e.UserReport()).substr(0, 42), "*** Error: Write failed (utl_File: rename)");
  }
  EXPECT_FALSE(std::ifstream(blocked + "." + std::to_string(getpid()) + ".new").good());
}

}  // namespace
