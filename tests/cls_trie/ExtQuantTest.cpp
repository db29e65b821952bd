// cls_ExtQuant. The override is decided once per thread, so each case runs
// ExtQuantChild.Run in a child process with its own environment.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "cls/cls_ThreadObjects.h"
#include "support/TestSupport.h"

namespace {

void Say(const char* what, int v) {
  std::printf("value %s %d\n", what, v);
  std::fflush(stdout);
}

// The child's side: what it asks for depends on VNK_EXTQUANT_CASE.
TEST(ExtQuantChild, Run) {
  const char* which = std::getenv("VNK_EXTQUANT_CASE");
  if (which == nullptr) GTEST_SKIP() << "runs only as a child of the ExtQuant tests";
  cls_ExtQuant& q = cls_ExtQuant::Instance();
  std::string c(which);
  if (c == "small") {
    Say("small", q.ExtentQuantumConstSmall());
    Say("state", q.GetOverrideState());
  } else if (c == "tiny") {
    Say("tiny", q.ExtentQuantumConstTiny());
    Say("tiny", q.ExtentQuantumConstTiny());
  } else if (c == "all") {
    Say("tiny", q.ExtentQuantumConstTiny());
    Say("small", q.ExtentQuantumConstSmall());
    Say("medium", q.ExtentQuantumConstMedium());
    Say("large", q.ExtentQuantumConstLarge());
    Say("huge", q.ExtentQuantumConstHuge());
    Say("empty", q.ExtentQuantum(cow_String(), 9));
    Say("tiny", q.ExtentQuantumConstTiny());
    std::thread other([] {
      // Another thread decides and caches for itself.
      Say("thread", cls_ExtQuant::Instance().ExtentQuantumConstTiny());
      thr_ThreadSingletonBase<cls_ExtQuant>::ReleaseCurrentThread();
    });
    other.join();
  }
}

// Runs the child with env (assignments, and "-u NAME" to unset) and answers
// its lines that start with "*****" or "value".
std::vector<std::string> Child(const std::string& env) {
  std::string cmd = "env -u EXTENT_QUANTUM_OVERRIDE -u EXTENT_QUANTUM_TINY -u EXTENT_QUANTUM_SMALL " + env + " '" +
                    vnktest::SelfPath() + "' --gtest_filter=ExtQuantChild.Run 2>/dev/null";
  std::vector<std::string> lines;
  FILE* p = popen(cmd.c_str(), "r");
  if (p == nullptr) return lines;
  char buf[512];
  while (std::fgets(buf, sizeof buf, p)) {
    std::string l(buf);
    if (l.rfind("*****", 0) == 0 || l.rfind("value", 0) == 0) lines.push_back(l);
  }
  EXPECT_EQ(pclose(p), 0) << cmd;
  return lines;
}

typedef std::vector<std::string> Lines;

TEST(ExtQuant, WithoutOverrideTheDefaultAndNothingPrinted) {
  EXPECT_EQ(Child("VNK_EXTQUANT_CASE=small EXTENT_QUANTUM_SMALL=7"), (Lines{"value small 512\n", "value state 0\n"}));
}

TEST(ExtQuant, OverrideReadsLeadingDigitsAndFallsBackBelowOne) {
  const std::string on = "VNK_EXTQUANT_CASE=tiny EXTENT_QUANTUM_OVERRIDE=1 ";
  const Lines four{"***** EXTENT_QUANTUM_OVERRIDE activated.\n", "***** EXTENT_QUANTUM_TINY = 4\n",
                   "value tiny 4\n", "value tiny 4\n"};
  for (const char* bad : {"0", "abc", "-3"}) EXPECT_EQ(Child(on + "EXTENT_QUANTUM_TINY=" + bad), four) << bad;
  // Printed once, then answered from the cache.
  EXPECT_EQ(Child(on + "EXTENT_QUANTUM_TINY=16"),
            (Lines{"***** EXTENT_QUANTUM_OVERRIDE activated.\n", "***** EXTENT_QUANTUM_TINY = 16\n",
                   "value tiny 16\n", "value tiny 16\n"}));
  EXPECT_EQ(Child(on + "EXTENT_QUANTUM_TINY=32kb")[1], "***** EXTENT_QUANTUM_TINY = 32\n");
}

TEST(ExtQuant, EachQuantumPrintsOncePerThread) {
  EXPECT_EQ(Child("VNK_EXTQUANT_CASE=all EXTENT_QUANTUM_OVERRIDE= EXTENT_QUANTUM_SMALL=100"),
            (Lines{"***** EXTENT_QUANTUM_OVERRIDE activated.\n", "***** EXTENT_QUANTUM_TINY = 4\n", "value tiny 4\n",
                   "***** EXTENT_QUANTUM_SMALL = 100\n", "value small 100\n",
                   "***** EXTENT_QUANTUM_MEDIUM = 1024\n", "value medium 1024\n",
                   "***** EXTENT_QUANTUM_LARGE = 2048\n", "value large 2048\n",
                   "***** EXTENT_QUANTUM_HUGE = 4096\n", "value huge 4096\n", "*****  = 9\n", "value empty 9\n",
                   "value tiny 4\n", "***** EXTENT_QUANTUM_OVERRIDE activated.\n",
                   "***** EXTENT_QUANTUM_TINY = 4\n", "value thread 4\n"}));
}

}  // namespace
