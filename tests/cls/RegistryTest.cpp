// Class metadata, the registrar and the metadata registrar.
#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

#include "cls/cls_ClassRegistrar.h"
#include "support/TestSupport.h"

namespace {

// Lookups of a private registrar without the exception module's hooks.
struct NoHooks {
  cls_ClassRegistrar::ClassHook m_Class = cls_ClassRegistrar::SetClassHook(nullptr);
  cls_ClassRegistrar::VersionHook m_Version = cls_ClassRegistrar::SetVersionHook(nullptr);
  cls_ClassRegistrar::NameHook m_Name = cls_ClassRegistrar::SetNameHook(nullptr);
  ~NoHooks() {
    cls_ClassRegistrar::SetClassHook(m_Class);
    cls_ClassRegistrar::SetVersionHook(m_Version);
    cls_ClassRegistrar::SetNameHook(m_Name);
  }
};

struct ScopedEnv {
  const char* m_Name;
  ScopedEnv(const char* name, const char* value) : m_Name(name) { value ? setenv(name, value, 1) : unsetenv(name); }
  ~ScopedEnv() { unsetenv(m_Name); }
};

constexpr unsigned kA = 0x230101, kB = 0x230102, kC = 0x230103;

// A private registrar, looked up without the exception module's hooks.
class ClassRegistrar : public ::testing::Test {
 protected:
  NoHooks m_NoHooks;
  cls_ClassRegistrar r;
};

// "name/version ..." of the records in l.
std::string Records(const cow_List<cls_ClassMetadataHld>& l) {
  std::string s;
  for (int i = 0; i < l.Count(); ++i)
    s += (i ? " " : "") + std::string(l[i]->ClassName().c_str()) + "/" + std::to_string(l[i]->Version());
  return s;
}

TEST_F(ClassRegistrar, RepeatedRegistrationKeepsTheFirstRecordAndWarnsOnlyUnderVornikSite) {
  {
    ScopedEnv env("VORNIK_SITE", nullptr);
    cls_ClassMetadata& first = r.CreateClassMD("nex_Exception", 0x1F0001, 800, nullptr, 1);
    vnktest::CaptureCerr quiet;
    cls_ClassMetadata& again = r.CreateClassMD("other name", 0x1F0001, 800, nullptr, 1).AddTableExtentQuantum(9);
    EXPECT_TRUE(&first == &again && first.TableExtentQuantum() == 9);  // the chain landed on the first record
    EXPECT_EQ(quiet.Text(), "");
    EXPECT_EQ(Records(r.GetHistoryMDList()), "nex_Exception/800");
    EXPECT_TRUE(r.GetClassID("other name") == 0u && r.GetClassID("nex_Exception") == 0x1F0001u);
  }
  ScopedEnv env("VORNIK_SITE", "");  // any value, even empty
  vnktest::CaptureCerr err;
  r.CreateClassMD("nex_Exception", 0x1F0001, 800, nullptr, 1);
  r.CreateClassMD("", 0x1F0001, 800, nullptr, 1);
  EXPECT_EQ(err.Text(),
            "WARNING: Metadata for class nex_Exception version 800 has been initialized more than once.\n"
            "WARNING: Metadata for class  version 800 has been initialized more than once.\n");
}

TEST_F(ClassRegistrar, LatestMapKeepsTheHighestVersion) {
  r.CreateClassMD("B", kB, 2, nullptr, 1);
  r.CreateClassMD("B-renamed", kB, 1, nullptr, 1);
  r.CreateClassMD("A", kA, 1, nullptr, 1);
  EXPECT_EQ((std::vector<int>{r.GetLastClassVersionNumber(kB), r.ConstGet(kB)->Version()}), (std::vector<int>{2, 2}));
  EXPECT_EQ(r.GetClassMetadata(kB, 1)->ClassName(), "B-renamed");

  EXPECT_EQ(Records(r.GetHistoryMDList()), "A/1 B-renamed/1 B/2");
  EXPECT_EQ(Records(r.GetMDList()), "A/1 B/2");
  EXPECT_EQ(r.GetMDList()[1], r.ConstGet(kB));

  r.CreateClassMD("B3", kB, 3, nullptr, 1);  // newer: replaces, name map untouched
  EXPECT_EQ(r.ConstGet(kB)->ClassName(), "B3");
  EXPECT_TRUE(r.GetClassID("B3") == 0u && r.GetClassID("B") == kB);
}

TEST_F(ClassRegistrar, VersionNeighbours) {
  for (int v : {7, 1, 5, 2}) r.CreateClassMD("A", kA, v, nullptr, 1);
  r.CreateClassMD("B", kB, 4, nullptr, 1);  // another class's versions must not count
  for (auto [v, greq, previous] : {std::tuple{3, 5, 2}, {5, 5, 2}, {8, -1, 7}, {1, 1, -1}, {100, -1, 7}}) {
    EXPECT_EQ(r.GetFirstClassVersionNumberGREQ(kA, v), greq) << v;
    EXPECT_EQ(r.GetPreviousClassVersionNumber(kA, v), previous) << v;
  }
  EXPECT_EQ(r.GetFirstClassVersionNumberGREQ(kC, 0), -1);
}

int g_Deleted = 0;
void DtorA(cls_IntCOW*) { g_Deleted += 1; }
void DtorB(cls_IntCOW*) { g_Deleted += 10; }

// C derives from B, B from A; A and C have destructors.
TEST_F(ClassRegistrar, InheritanceAndDeleteCowFollowRegisteredBases) {
  r.CreateClassMD("A", kA, 1, nullptr, 1).AddDtor(&DtorA);
  r.CreateClassMD("B", kB, 1, nullptr, kA);
  r.CreateClassMD("C", kC, 1, nullptr, kB).AddDtor(&DtorB);
  EXPECT_TRUE(r.InheritanceCheck(0x99, 0x99));  // itself, even unregistered
  EXPECT_TRUE(r.InheritanceCheck(kC, kA) && r.InheritanceCheck(kC, 1));
  EXPECT_FALSE(r.InheritanceCheck(kA, kC) || r.InheritanceCheck(0x99, kA));

  // The nearest destructor up the chain.
  cls_IntCOW cow;
  g_Deleted = 0;
  EXPECT_FALSE(r.DeleteCow(1, &cow));
  EXPECT_TRUE(r.DeleteCow(kB, &cow));  // inherits A's
  EXPECT_EQ(g_Deleted, 1);
  EXPECT_TRUE(r.DeleteCow(kC, &cow));
  EXPECT_EQ(g_Deleted, 11);
  EXPECT_FALSE(r.DeleteCow(0x99, &cow));  // unknown and no hook: nothing found
}

TEST_F(ClassRegistrar, FailedLookupsAnswerDefaultsAndBuildersKeepTheirDefaults) {
  EXPECT_TRUE(r.ConstGet(kA).IsEmpty() && r.GetClassMetadata(kA, 3).IsEmpty() && !r.ClassIsPresent(kA));
  EXPECT_TRUE(r.GetClassID("nothing") == 0u && r.GetLastClassVersionNumber(kA) == -1);
  r.DeleteClass("alias", kB);
  r.DeleteClass("alias", kC);  // the first entry stays
  EXPECT_EQ(r.GetClassID("alias"), kB);
  // Metadata builders and their defaults.
  cls_ClassMetadata& md = r.CreateClassMD("A", kA, 1, nullptr, 1);
  EXPECT_TRUE(md.TableExtentQuantum() == 4 && md.MaxFieldID() == -1 && md.GetDtorFunction() == nullptr);
  md.AddAttribute(cls_FieldHandle("b", 7), cls_AttrInt, 1, cls_CollNone)
      .AddAttribute(cls_FieldHandle("a", 3), cls_AttrArray, 0x230003, cls_CollectionType(53))
      .AddAttribute(cls_FieldHandle("a", 9), cls_AttrInt, 1, cls_CollNone);  // repeated name: ignored
  EXPECT_EQ(md.MaxFieldID(), 7);
  EXPECT_TRUE(md.GetAttribute("a").m_FieldID == 3 && md.GetAttribute("a").m_CollectionType == 53);
  EXPECT_TRUE(md.GetAttribute("zz").m_FieldID == -1 && md.GetAttribute("zz").m_CollectionType == cls_CollNone);
}

TEST(ClassMetadataDeathTest, ClassThatIsItsOwnBaseAborts) {
  EXPECT_DEATH(
      {
        cls_ClassRegistrar r;
        r.CreateClassMD("Loop", kA, 1, nullptr, kA);
      },
      "ODB metadat for class: Loop\n"
      "  Is incorrectly defined\\.  The base class ID is\n"
      "  the same as the class ID\\.  Please correct this\\.\n");
}

// ------------------------------------------------------ metadata registrar

std::vector<const cls_ClassRegistrar*> g_Calls;
void RecordF(cls_ClassRegistrar& r) { g_Calls.push_back(&r); }
std::vector<int> g_Order;
void Reg1(cls_ClassRegistrar&) { g_Order.push_back(1); }
void Reg2(cls_ClassRegistrar&) { g_Order.push_back(2); }
void Reg4(cls_ClassRegistrar&) { g_Order.push_back(4); }

TEST(MetadataRegistrar, MaskSevenCallsFirstThirdSecondAndReplaysInRegistrationOrder) {
  cls_MetadataRegistrar m;
  g_Calls.clear();
  m.initClassMetadata(&RecordF, 7);
  EXPECT_EQ(g_Calls,
            (std::vector<const cls_ClassRegistrar*>{&m.GetRegistrar(1), &m.GetRegistrar(2), &m.GetRegistrar(4)}));
  EXPECT_TRUE(m.GetFunctions(1).Count() == 1 && m.GetFunctions(4).Count() == 1);
  cls_ClassRegistrar mine;
  g_Calls.clear();
  m.initMetadata(&mine, 2);  // bit 2 has no list
  EXPECT_TRUE(g_Calls.empty());

  // Replays follow the registration order, bit one first.
  cls_MetadataRegistrar o;
  g_Order.clear();
  o.initClassMetadata(&Reg4, 4);
  o.initClassMetadata(&Reg1, 1);
  o.initClassMetadata(&Reg2, 2);  // called at once, never remembered
  o.initClassMetadata(&Reg1, 5);
  EXPECT_EQ(g_Order, (std::vector<int>{4, 1, 2, 1, 1}));
  g_Order.clear();
  o.initMetadata(&mine, 7);
  EXPECT_EQ(g_Order, (std::vector<int>{1, 1, 4, 1}));
  g_Order.clear();
  o.initMetadata(&mine, 4);
  EXPECT_EQ(g_Order, (std::vector<int>{4, 1}));
}

// ------------------------------------------------------ collection types

// What cls_CollectionTypeFix makes of t for elements of each type T.
template <class... T>
std::vector<int> FixedFor(int t) {
  return {cls_CollectionTypeFix(static_cast<cls_CollectionType>(t), static_cast<T*>(nullptr))...};
}
std::vector<int> Fixed(int t) { return FixedFor<bool, double, float, int, cow_String, unsigned>(t); }

TEST(CollectionTypes, FixFollowsTheTable) {
  const std::vector<int> rows[] = {  // the generic type, then what it becomes
      {5, 5, 5, 5, 3, 2, 5},        {50, 51, 52, 53, 54, 55, 57}, {60, 61, 62, 63, 64, 65, 66},
      {70, 71, 72, 73, 74, 75, 76}, {80, 81, 82, 83, 84, 85, 87}, {90, 91, 92, 93, 94, 95, 96},
      {100, 101, 102, 103, 104, 105, 106}};
  for (const auto& row : rows) EXPECT_EQ(Fixed(row[0]), std::vector<int>(row.begin() + 1, row.end())) << row[0];
  // Outside the rows, and between them, values come back unchanged.
  for (int v : {0, 1, 4, 6, 49, 51, 55, 99, 101, 110, -50}) EXPECT_EQ(Fixed(v), std::vector<int>(6, v)) << v;
}

TEST(CollectionTypes, MatchRules) {
  const struct {
    int declared, requested;
    bool match;
  } rows[] = {{93, 2, true},   {2, 93, false},  {4, 2, true},   {96, 2, true},  {97, 2, false}, {100, 2, false},
              {100, 3, true},  {106, 3, true},  {4, 3, false},  {54, 54, true}, {54, 53, false}};
  for (const auto& r : rows) {
    EXPECT_EQ(cls_CollectionsMatch(static_cast<cls_CollectionType>(r.declared),
                                   static_cast<cls_CollectionType>(r.requested)),
              r.match)
        << r.declared << " " << r.requested;
  }
}

}  // namespace
