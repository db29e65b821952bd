// Start-up and shut-down of the library, checked against the module calls
// UTI_SetModuleTraceHook reports. main holds one user; each test takes it
// away on an integer of its own and gives it back at the end.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "UTI_CoreUtils.h"
#include "bio/bio_MemoryDevice.h"
#include "mrm/mrm_Manager.h"
#include "nex/nex_Exception.h"
#include "pnt/pnt_PrettyPrint.h"
#include "typ/typ_ArchCompTable.h"
#include "uti/UTI_BasicUtils.h"
#include "utl/utl_Version.h"

namespace {

struct Event {
  std::string module;
  UTI_ModuleEvent event;
};
std::vector<Event> g_Events;

void Record(const char* module, UTI_ModuleEvent event) { g_Events.push_back({module, event}); }

// The modules that acted (or only counted) in the recorded calls.
std::vector<std::string> Modules(UTI_ModuleEvent which) {
  std::vector<std::string> r;
  for (const Event& e : g_Events)
    if (e.event == which) r.push_back(e.module);
  return r;
}

const std::vector<std::string> kInitOrder = {"BasicUtils", "CoreUtils", "typ", "thr", "cam", "pnt", "mrm", "bio",
                                             "cow",        "cls",       "nex", "rgx", "pdc", "utl", "uti"};
const std::vector<std::string> kFiniOrder = {"BasicUtils", "uti", "utl", "pdc", "rgx", "nex", "cls", "cow",
                                             "bio",        "mrm", "pnt", "cam", "thr", "typ", "CoreUtils"};

// Whether the objects of every module that owns some are in place.
bool EverythingLive() {
  return typ_ArchCompTable::Exists() && nex_OutOfMemoryException::GetOutOfMemoryMsgGeneric() != nullptr &&
         mrm_Manager::Peek() != nullptr && bio_sharedBuffer() != nullptr && bio_spareInput(1) != nullptr;
}

bool NothingLive() {
  return !typ_ArchCompTable::Exists() && nex_OutOfMemoryException::GetOutOfMemoryMsgGeneric() == nullptr &&
         nex_OutOfMemoryException::GetOutOfMemoryMsgSession() == nullptr && mrm_Manager::Peek() == nullptr &&
         bio_sharedBuffer() == nullptr && bio_sharedOutput() == nullptr && bio_sharedInput() == nullptr &&
         bio_spareBuffer(0) == nullptr && bio_spareInput(0) == nullptr && bio_spareBuffer(1) == nullptr &&
         bio_spareInput(1) == nullptr && !pnt_debugPrintExists() && !utl_Version::Exists();
}

class Frame : public ::testing::Test {
 protected:
  void SetUp() override {
    UTI_BasicUtils_finalize(m_MainsShare);
    ASSERT_TRUE(NothingLive());
    g_Events.clear();
    m_OldHook = UTI_SetModuleTraceHook(&Record);
  }
  void TearDown() override {
    UTI_SetModuleTraceHook(m_OldHook);
    UTI_BasicUtils_initialize(m_MainsShare);
    EXPECT_EQ(m_MainsShare, 0);
  }

  int m_MainsShare = 0;
  UTI_ModuleTraceHook m_OldHook = nullptr;
};

TEST_F(Frame, FullCycleRunsInOrderAndBalancesTheTally) {
  int count = 7;
  UTI_BasicUtils_initialize(count);
  EXPECT_EQ(Modules(UTI_InitActs), kInitOrder);
  EXPECT_EQ(count, 7 + 15);  // the library-wide pair, thirteen modules and the core library
  EXPECT_TRUE(EverythingLive());

  g_Events.clear();
  UTI_BasicUtils_finalize(count);
  EXPECT_EQ(Modules(UTI_FiniActs), kFiniOrder);
  EXPECT_EQ(count, 7);
  EXPECT_TRUE(NothingLive());
}

TEST_F(Frame, NestedInitializeOnlyCounts) {
  int count = 0;
  UTI_BasicUtils_initialize(count);
  g_Events.clear();
  UTI_BasicUtils_initialize(count);
  ASSERT_EQ(g_Events.size(), 1u);
  EXPECT_EQ(g_Events[0].module, "BasicUtils");
  EXPECT_EQ(g_Events[0].event, UTI_InitCounts);
  EXPECT_EQ(count, 15);

  g_Events.clear();
  UTI_BasicUtils_finalize(count);
  ASSERT_EQ(g_Events.size(), 1u);
  EXPECT_EQ(g_Events[0].event, UTI_FiniCounts);
  EXPECT_TRUE(EverythingLive());
  EXPECT_EQ(count, 15);

  UTI_BasicUtils_finalize(count);
  EXPECT_EQ(Modules(UTI_FiniActs), kFiniOrder);
  EXPECT_TRUE(NothingLive());
  EXPECT_EQ(count, 0);
}

TEST_F(Frame, ModuleInitializedDirectlyIsLeftToItsOwnFinalize) {
  int count = 0;
  mrm_initialize(count);
  ASSERT_NE(mrm_Manager::Peek(), nullptr);
  EXPECT_EQ(count, 1);

  g_Events.clear();
  UTI_BasicUtils_initialize(count);
  std::vector<std::string> acted = Modules(UTI_InitActs);
  EXPECT_EQ(std::count(acted.begin(), acted.end(), "mrm"), 0);
  EXPECT_EQ(acted.size(), kInitOrder.size() - 1);
  std::vector<std::string> counted = Modules(UTI_InitCounts);
  EXPECT_EQ(std::count(counted.begin(), counted.end(), "mrm"), 1);
  EXPECT_EQ(count, 15);

  g_Events.clear();
  UTI_BasicUtils_finalize(count);
  acted = Modules(UTI_FiniActs);
  EXPECT_EQ(std::count(acted.begin(), acted.end(), "mrm"), 0);
  EXPECT_NE(mrm_Manager::Peek(), nullptr);  // still one user
  EXPECT_EQ(count, 1);

  g_Events.clear();
  mrm_finalize(count);
  EXPECT_EQ(Modules(UTI_FiniActs), std::vector<std::string>{"mrm"});
  EXPECT_EQ(mrm_Manager::Peek(), nullptr);
  EXPECT_EQ(count, 0);
}

// Run under AddressSanitizer this also shows that each cycle frees what it
// made: lazily made objects included.
TEST_F(Frame, SecondCycleRebuildsEverything) {
  for (int cycle = 0; cycle < 2; ++cycle) {
    SCOPED_TRACE(cycle);
    int count = 0;
    g_Events.clear();
    UTI_BasicUtils_initialize(count);
    EXPECT_EQ(Modules(UTI_InitActs), kInitOrder);
    ASSERT_TRUE(EverythingLive());
    EXPECT_STREQ(typ_ArchCompTable::GetName(nex_TextException::TypeId()), "nex_TextException");
    EXPECT_STREQ(typ_ArchCompTable::GetName(0x2001D), "uti_CoordCont3D");
    for (int kind = 0; kind < 4; ++kind) EXPECT_NE(mrm_Manager::Instance().GetLabelPrinter(kind), nullptr);

    // Objects made on first use are made anew in each cycle.
    EXPECT_FALSE(pnt_debugPrintExists());
    EXPECT_FALSE(utl_Version::Exists());
    pnt_debugPrint().Indent();
    EXPECT_EQ(pnt_debugPrint().IndentLevel(), 1);
    utl_Version::Get();
    mrm_Manager::Instance().AddLabel(mrm_LabelPool, "cycle");
    bio_sharedOutput()->Write("abc", 3);

    UTI_BasicUtils_finalize(count);
    EXPECT_EQ(Modules(UTI_FiniActs), kFiniOrder);
    EXPECT_TRUE(NothingLive());
    EXPECT_EQ(count, 0);
  }
}

}  // namespace
