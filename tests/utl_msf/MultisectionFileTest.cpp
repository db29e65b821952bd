// The multisection file against byte-exact images built here, with a CRC
// computed bit by bit; damaged, truncated and hostile files; the writer lock;
// and saves stopped at each step.
#include <dirent.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdint>
#include <vector>

#include "support/TestSupport.h"
#include "utl/utl_MultisectionFile.h"
#include "utl_file/FileTestUtil.h"

using namespace vnktest;

namespace {

typedef std::vector<std::pair<std::string, std::string>> Sections;

// MSB first, polynomial 0x04C11DB7, initial value all ones, no final XOR.
std::uint32_t Crc(const std::string& s) {
  std::uint32_t c = 0xFFFFFFFFu;
  for (unsigned char b : s) {
    c ^= std::uint32_t(b) << 24;
    for (int k = 0; k < 8; ++k) c = (c & 0x80000000u) ? (c << 1) ^ 0x04C11DB7u : c << 1;
  }
  return c;
}

std::string U32(std::uint32_t v) { return std::string{char(v), char(v >> 8), char(v >> 16), char(v >> 24)}; }

std::string Image(const Sections& s) {
  std::string r = std::string("\x28\xC1\x1D\xAF", 4) + U32(1) + U32(s.size()), data;
  for (const auto& [name, bytes] : s) {
    r += U32(name.size()) + name + U32(bytes.size()) + U32(Crc(bytes));
    data += bytes;
  }
  return r + data;
}

class MsfTest : public ::testing::Test {
 protected:
  TempDir dir;
  FaultGuard faults;
  std::string path = dir.File("data.sec");

  ~MsfTest() override { utl_MultisectionFile::SetSaveStop(0, utl_MultisectionFile::SaveStopThrow); }

  void Save(const Sections& s, utl_FileAccess access = utl_FileWrite) {
    utl_MultisectionFile f(path.c_str(), access);
    for (const auto& [name, bytes] : s) f.setSectionData(name.c_str(), bytes.data(), bytes.size());
    f.saveChanges();
  }
  static std::string Get(utl_MultisectionFile& f, const std::string& name) {
    std::string buf(f.getSectionLength(name.c_str()), '\0');
    f.getSectionData(name.c_str(), buf.data());
    return buf;
  }
  std::string Prefixed(const std::string& message) const { return "\"" + path + "\": " + message; }
  // Names in the directory, to spot a staging file left behind.
  std::vector<std::string> Listing() const {
    std::vector<std::string> names;
    DIR* d = opendir(dir.Path().c_str());
    while (dirent* e = readdir(d))
      if (e->d_name[0] != '.') names.push_back(e->d_name);
    closedir(d);
    return names;
  }
};

TEST_F(MsfTest, SavedImageIsByteExactAndReadsBack) {
  Sections s = {{"alpha", "hello world"}, {"empty", ""}, {"", "no name"}};
  Save(s);
  EXPECT_EQ(ReadAll(path), Image(s));
  EXPECT_EQ(ReadAll(path).substr(12 + (4 + 5 + 4 + 4) + (4 + 5 + 4), 4), U32(0xFFFFFFFFu));  // CRC of nothing
  EXPECT_EQ(Listing(), std::vector<std::string>{"data.sec"});  // no lock, no staging file left

  utl_MultisectionFile r(path.c_str(), utl_FileRead);
  EXPECT_EQ(r.SectionCount(), 3);
  for (const auto& [name, bytes] : s) EXPECT_EQ(Get(r, name), bytes);
  EXPECT_FALSE(r.hasSection("Alpha"));
}

TEST_F(MsfTest, UpdateKeepsPlacesAppendsAndLeavesNoOldBytes) {
  Save({{"a", std::string(100000, 'A')}, {"b", "bee"}});
  utl_MultisectionFile f(path.c_str(), utl_FileUpdate);
  f.setSectionData("a", "xy", 2);
  f.setSectionData("c", "sea", 3);
  EXPECT_EQ(Get(f, "a"), "xy");  // pending: from memory
  EXPECT_EQ(Get(f, "b"), "bee");
  f.saveChanges();
  EXPECT_EQ(ReadAll(path), Image({{"a", "xy"}, {"b", "bee"}, {"c", "sea"}}));
  EXPECT_EQ(Get(f, "b"), "bee");  // offsets follow the new image
  EXPECT_EQ(Get(f, "c"), "sea");
}

TEST_F(MsfTest, SecondWriterIsRefusedAfterAbout100ms) {
  Save({{"s", "1"}});
  auto refused = [&](utl_FileAccess access) {
    auto t0 = std::chrono::steady_clock::now();
    std::string text = Caught<nex_TextException>([&] { utl_MultisectionFile(path.c_str(), access); });
    auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - t0).count();
    EXPECT_GE(ms, 90);
    EXPECT_LT(ms, 1000);
    return text;
  };
  const std::string lockText = Prefixed("Cannot create the lock file.");
  {
    // Another process writes.
    Child writer([&] {
      utl_MultisectionFile f(path.c_str(), utl_FileUpdate);
      usleep(600 * 1000);
      return std::string("done");
    });
    while (access((path + ".lock").c_str(), F_OK) != 0) usleep(1000);
    EXPECT_EQ(refused(utl_FileUpdate), lockText);
    utl_MultisectionFile reader(path.c_str(), utl_FileRead);  // readers take no lock
    EXPECT_EQ(Get(reader, "s"), "1");
    EXPECT_EQ(writer.Finish(), "done");
  }
  WriteAll(path + ".lock", "");  // left behind by a crash
  EXPECT_EQ(refused(utl_FileWrite), lockText);
  EXPECT_EQ(ReadAll(path), Image({{"s", "1"}}));
}

TEST_F(MsfTest, EveryFlippedByteIsCaught) {
  Sections s = {{"a", "12345"}, {"bb", "xyz"}};
  const std::string good = Image(s);
  const size_t dataStart = good.size() - 8;
  for (size_t i = 0; i < good.size(); ++i) {
    std::string bad = good;
    bad[i] ^= 0xFF;
    WriteAll(path, bad);
    std::string outcome;
    try {
      utl_MultisectionFile f(path.c_str(), utl_FileRead);
      for (const char* name : {"a", "bb"}) {
        if (!f.hasSection(name)) continue;
        int n = f.getSectionLength(name);
        if (n < 0 || n > (1 << 20)) continue;
        std::string text = Caught<nex_TextException>([&] { Get(f, name); });
        if (text != "<no exception>") outcome += text + ";";
      }
    } catch (const nex_TextException& e) {
      outcome = Str(e.AsString()) + ";";
    }
    if (i < 4) {
      EXPECT_EQ(outcome, Prefixed("Invalid file type;"));
    } else if (i < 8) {
      EXPECT_EQ(outcome, Prefixed("Unsupported file format;"));
    }
    if (i >= dataStart) {
      const char* owner = i < dataStart + 5 ? "a" : "bb";
      EXPECT_EQ(outcome, Prefixed("Data corrupted in section \"" + std::string(owner) + "\";")) << i;
    }
    EXPECT_EQ(ReadAll(path), bad);  // a reader never writes
  }
}

TEST_F(MsfTest, HostileAndTruncatedFiles) {
  const std::string head = std::string("\x28\xC1\x1D\xAF", 4) + U32(1);
  const struct { std::string bytes; const char* message; } cases[] = {
      {"", "Invalid file type"},
      {"\x28\xC1\x1D\xAE" + U32(1) + U32(0), "Invalid file type"},
      {std::string("\x28\xC1\x1D\xAF", 4) + U32(2) + U32(0), "Unsupported file format"},
      {head + U32(1) + U32(0xFFFFFFFFu), "Invalid string length"},
      {head + U32(1) + U32(0x7FFFFFFF) + "abc", "Invalid string length"},
      {head + U32(0x7FFFFFFF), "Invalid string length"},  // more entries than bytes
  };
  for (const auto& c : cases) {
    WriteAll(path, c.bytes);
    EXPECT_EQ(Caught<nex_TextException>([&] { utl_MultisectionFile(path.c_str(), utl_FileRead); }), Prefixed(c.message));
  }
  // A stated length beyond the end of the file.
  WriteAll(path, head + U32(1) + U32(1) + "s" + U32(1000) + U32(0) + "abc");
  utl_MultisectionFile f(path.c_str(), utl_FileRead);
  std::string buf(1000, '\0');
  EXPECT_EQ(Caught<nex_TextException>([&] { f.getSectionData("s", buf.data()); }),
            Prefixed("Data corrupted in section \"s\""));

  // Every prefix of a good file: an exception of this class or nothing (a
  // value cut short reads as what the file holds of it).
  const std::string good = Image({{"name", "data bytes"}, {"x", "y"}});
  for (size_t n = 0; n < good.size(); ++n) {
    WriteAll(path, good.substr(0, n));
    std::string text = Caught<nex_TextException>([&] {
      utl_MultisectionFile t(path.c_str(), utl_FileRead);
      for (int i = 0; i < t.SectionCount(); ++i) {
        std::string b(std::max(0, t.getSectionLength(t.SectionName(i))), '\0');
        t.getSectionData(t.SectionName(i), b.data());
      }
    });
    EXPECT_TRUE(text == "<no exception>" || text.rfind(Prefixed(""), 0) == 0) << n << ": " << text;
  }
}

TEST_F(MsfTest, MissingSectionEndsTheProcess) {
  Save({{"s", "1"}});
  utl_MultisectionFile f(path.c_str(), utl_FileRead);
  char buf[4];
  EXPECT_DEATH(f.getSectionLength("nope"), "");
  EXPECT_DEATH(f.getSectionData("nope", buf), "");
}

TEST_F(MsfTest, MissingFileAndFailedSaveCleanUp) {
  for (auto [access, label] : {std::pair{utl_FileRead, "OpenRead"}, {utl_FileUpdate, "OpenUpdate"}})
    EXPECT_EQ(Caught<utl_FileExceptionNoFile>([&] { utl_MultisectionFile(path.c_str(), access); }),
              std::string("*** Error: No such file (utl_File: in ") + label + ")\nfile name: " + path);
  EXPECT_TRUE(Listing().empty());  // the lock went with the failed open

  Save({{"s", "old"}});
  utl_MultisectionFile f(path.c_str(), utl_FileUpdate);
  f.setSectionData("s", "new", 3);
  plt_FaultArm(plt_FaultWrite, 3, ENOSPC);  // header, directory, then the data
  EXPECT_NE(Caught<utl_FileExceptionWrite>([&] { f.saveChanges(); }), "<no exception>");
  EXPECT_EQ(ReadAll(path), Image({{"s", "old"}}));
  EXPECT_EQ(Listing().size(), 2u);  // data and lock; the staging file is gone
}

TEST_F(MsfTest, SaveStoppedAtEachStep) {
  const std::string before = Image({{"s", "old"}, {"t", "keep"}});
  const std::string after = Image({{"s", "newer"}, {"t", "keep"}});
  for (int step = 1; step <= 8; ++step) {
    WriteAll(path, before);
    utl_MultisectionFile f(path.c_str(), utl_FileUpdate);
    f.setSectionData("s", "newer", 5);
    utl_MultisectionFile::SetSaveStop(step, utl_MultisectionFile::SaveStopThrow);
    EXPECT_EQ(Caught<nex_TextException>([&] { f.saveChanges(); }),
              "saveChanges stopped before step " + std::to_string(step));
    utl_MultisectionFile::SetSaveStop(0, utl_MultisectionFile::SaveStopThrow);
    EXPECT_EQ(ReadAll(path), step <= 7 ? before : after) << step;
    EXPECT_EQ(Listing().size(), 2u) << step;
  }
  // A crash at step 7 leaves the data file whole and the staging file behind.
  WriteAll(path, before);
  EXPECT_EQ(InChild([&] {
              utl_MultisectionFile f(path.c_str(), utl_FileUpdate);
              f.setSectionData("s", "newer", 5);
              utl_MultisectionFile::SetSaveStop(7, utl_MultisectionFile::SaveStopExit);
              f.saveChanges();
              return std::string("not stopped");
            }),
            "<exit 86>");
  EXPECT_EQ(ReadAll(path), before);
  EXPECT_EQ(Listing().size(), 3u);
}

}  // namespace
