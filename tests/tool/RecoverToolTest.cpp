// vnkuti msf recover after a save killed at every one of its steps, for put
// and for rm, and after a copy over the data file that stopped midway: the
// file always ends up with the old sections or the new ones, whole, and no
// lock or staging file is left behind.
#include <algorithm>

#include "ToolRun.h"

using namespace tooltest;

namespace {

class RecoverTool : public MsfFile {
 protected:
  // The save of args, ended just before step.
  Result Crash(std::vector<std::string> args, int step, const std::string& input = "") {
    return Tool(args, Options{.input = input, .env = {"VNKUTI_TOOL_SAVE_STOP=" + std::to_string(step)}});
  }
  std::vector<std::string> Leftovers() {
    std::vector<std::string> names;
    for (const auto& e : std::filesystem::directory_iterator(dir.Path()))
      if (e.path().filename() != "data.msf") names.push_back(e.path().filename());
    std::sort(names.begin(), names.end());
    return names;
  }
  std::string Staging() {
    for (const std::string& n : Leftovers())
      if (n.size() > 4 && n.compare(n.size() - 4, 4, ".tmp") == 0) return dir.File(n);
    return "";
  }
};

TEST_F(RecoverTool, SaveKilledAtEveryStepLeavesOldOrNewSections) {
  Put("keep", std::string(5000, 'k'));
  Put("drop", std::string(3000, 'd'));
  const std::string old = ReadAll(file);
  const std::string oldList = Tool({"msf", "list", file}).out;
  for (int rm = 0; rm < 2; ++rm) {
    std::vector<std::string> args = rm ? std::vector<std::string>{"msf", "rm", file, "drop"}
                                       : std::vector<std::string>{"msf", "put", file, "new", "-i", "-"};
    std::string newList;
    {
      // The state a finished save gives, for comparison.
      Result done = Tool(args, In(AllBytes(70000)));
      ASSERT_EQ(done.status, 0) << Show(done);
      newList = Tool({"msf", "list", file}).out;
      WriteAll(file, old);
    }
    for (int step = 1; step <= 8; ++step) {
      SCOPED_TRACE((rm ? "rm, step " : "put, step ") + std::to_string(step));
      Result crash = Crash(args, step, AllBytes(70000));
      ASSERT_EQ(crash.status, 86) << Show(crash);
      EXPECT_TRUE(Exists(file + ".lock"));  // a crashed writer leaves it

      // Without -unlock, a stale lock stops any change. The staging file
      // exists from the first write to it, in step 3.
      Result locked = Tool({"msf", "recover", file});
      EXPECT_EQ(locked.status, step >= 4 ? 1 : 0) << Show(locked);
      EXPECT_EQ(locked.err.find("Cannot create the lock file.") != std::string::npos, step >= 4) << locked.err;
      Result r = Tool({"msf", "recover", file, "-unlock"});
      EXPECT_EQ(r.status, 0) << Show(r);
      EXPECT_NE(r.out.find("removed the lock file"), std::string::npos) << r.out;
      EXPECT_EQ(Leftovers(), std::vector<std::string>()) << r.out;
      EXPECT_EQ(Tool({"msf", "verify", file}).status, 0);
      // Before the copy (step 7) the old file stands; after it, the new one.
      EXPECT_EQ(Tool({"msf", "list", file}).out, step == 8 ? newList : oldList);
      EXPECT_TRUE(step == 8 || ReadAll(file) == old);
      WriteAll(file, old);
    }
  }
}

TEST_F(RecoverTool, CopyStoppedMidwayIsRestoredFromTheStagingImage) {
  Put("a", std::string(4000, 'a'));
  Put("b", std::string(4000, 'b'));
  const std::string old = ReadAll(file);
  Result crash = Crash({"msf", "put", file, "a", "-i", "-"}, 7, AllBytes(9000));
  ASSERT_EQ(crash.status, 86);
  const std::string staging = Staging();
  ASSERT_NE(staging, "");
  const std::string image = ReadAll(staging);
  // The copy over the data file got part of the way.
  for (std::size_t cut : {std::size_t(1), std::size_t(100), image.size() / 2, image.size() - 1}) {
    SCOPED_TRACE(cut);
    std::string partial = image.substr(0, cut) + (cut < old.size() ? old.substr(cut) : "");
    partial.resize(image.size(), '\0');
    WriteAll(file, partial);
    WriteAll(staging, image);
    WriteAll(file + ".lock", "");
    Result r = Tool({"msf", "recover", "-unlock", file});
    EXPECT_EQ(r.status, 0) << Show(r);
    EXPECT_NE(r.out.find("restored " + file + " from " + staging), std::string::npos) << r.out;
    EXPECT_TRUE(ReadAll(file) == image);
    EXPECT_EQ(Leftovers(), std::vector<std::string>());
  }
  EXPECT_TRUE(Tool({"msf", "get", file, "a"}).out == AllBytes(9000));
}

TEST_F(RecoverTool, NothingToRestoreFromIsAnError) {
  Put("a", std::string(100, 'a'));
  std::string bad = ReadAll(file);
  bad.back() ^= 1;
  WriteAll(file, bad);
  WriteAll(file + ".77.tmp", "half an image");
  EXPECT_EQ(Said(Tool({"msf", "recover", file})),
            "1 |data file " + file + ": 1 sections, damaged: \"a\"\nstaging file " + file + ".77.tmp: unreadable: \"" +
                file + ".77.tmp\": Invalid file type (not a complete image)\n\"" + file +
                "\": Damaged, and no staging file holds a complete image\n");
  EXPECT_EQ(ReadAll(file), bad);
  EXPECT_TRUE(Exists(file + ".77.tmp"));

  const std::string other = dir.File("other.msf");
  EXPECT_EQ(Said(Tool({"msf", "recover", other})), "1 |data file " + other +
                                                       ": missing\n*** Error: No such file (utl_File: in OpenRead)\n"
                                                       "file name: " + other + "\n");
}

}  // namespace
