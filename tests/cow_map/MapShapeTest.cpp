// Exact tree shapes: the branching bits fix where every entry lives, and
// Remove promotes along one children first.
#include <gtest/gtest.h>
#include <pthread.h>

#include <string>

#include "cow/cow_Map.h"

namespace {

std::string Text(int k) { return std::to_string(k); }
std::string Text(unsigned k) { return std::to_string(k); }
std::string Text(const cow_String& k) { return "'" + std::string(k.c_str(), k.Length()) + "'"; }

// key, or key[zero|one] with '-' for an empty child.
template <class K, class V>
std::string Shape(const typename cow_Map<K, V>::NodeHandle& h) {
  if (!h.HasValue()) return "-";
  const cow_MapNode<K, V>& n = h.ConstGet();
  std::string s = Text(n.Key());
  if (n.Zero().HasValue() || n.One().HasValue()) s += "[" + Shape<K, V>(n.Zero()) + "|" + Shape<K, V>(n.One()) + "]";
  return s;
}
template <class K, class V>
std::string Shape(const cow_Map<K, V>& m) {
  return Shape<K, V>(m.Root());
}

TEST(MapShape, IntegerKeysBranchFromTheLowestBit) {
  cow_Map<int, int> m;
  for (int k = 0; k < 4; ++k) EXPECT_TRUE(m.Insert(k, 10 * k));
  EXPECT_EQ(Shape(m), "0[2|1[-|3]]");
  EXPECT_EQ(m.Count(), 4);
  m.Insert(6, 60);  // bits 0, 1: under 2's one side
  m.Insert(-1, 0);  // all ones: under 3
  EXPECT_EQ(Shape(m), "0[2[-|6]|1[-|3[-|-1]]]");
}

TEST(MapShape, ReplacingKeepsCountAndShape) {
  cow_Map<int, int> m;
  m.Insert(0, 1);
  m.Insert(1, 2);
  EXPECT_TRUE(m.Insert(1, 7));
  EXPECT_EQ(m.Count(), 2);
  EXPECT_EQ(m.ConstGet(1), 7);
  EXPECT_EQ(Shape(m), "0[-|1]");
}

TEST(MapShape, PathOfThirtyThreeNodesWrapsTheShift) {
  // 1 at the root, then 2^d at depth d along zero children, then 0 at
  // depth 32, whose children would branch on bit 0 again.
  cow_Map<unsigned, int> m;
  m.Insert(1, 0);
  for (int d = 1; d < 32; ++d) m.Insert(1u << d, d);
  m.Insert(0, 32);
  int depth = 0;
  const cow_Map<unsigned, int>::NodeHandle* h = &m.Root();
  for (; h->ConstGet().Zero().HasValue(); h = &h->ConstGet().Zero()) ++depth;
  EXPECT_EQ(depth, 32);
  EXPECT_EQ(h->ConstGet().Key(), 0u);
  EXPECT_EQ(m.ConstGet(0), 32);
  EXPECT_TRUE(m.Remove(1));  // promotes the whole chain up by one
  EXPECT_EQ(m.Count(), 32);
  for (int d = 1; d < 32; ++d) EXPECT_EQ(m.ConstGet(1u << d), d);
  EXPECT_EQ(Shape(m).find("[-|"), std::string::npos);  // still one zero chain
}

TEST(MapShape, RemovePromotesOneChildFirst) {
  cow_Map<int, int> m;
  for (int k : {0, 1, 2}) m.Insert(k, k);
  EXPECT_TRUE(m.Remove(0));
  EXPECT_EQ(Shape(m), "1[2|-]");
  EXPECT_EQ(m.ConstGet(1), 1);
  EXPECT_EQ(m.Count(), 2);

  cow_Map<int, int> chain;  // promotion walks down more than one level
  for (int k : {0, 1, 3, 2}) chain.Insert(k, k);
  EXPECT_EQ(Shape(chain), "0[2|1[-|3]]");
  chain.Remove(0);
  EXPECT_EQ(Shape(chain), "1[2|3]");

  cow_Map<int, int> zeros;  // no one child: the zero side moves up
  for (int k : {0, 2, 4}) zeros.Insert(k, k);
  zeros.Remove(0);
  EXPECT_EQ(Shape(zeros), "2[4|-]");
  zeros.Remove(4);
  zeros.Remove(2);
  EXPECT_EQ(Shape(zeros), "-");
  EXPECT_TRUE(zeros.IsEmpty());
  zeros.Insert(5, 5);  // an emptied map takes entries again
  EXPECT_EQ(Shape(zeros), "5");
}

TEST(MapShape, RemovingAMissingKeyChangesNothing) {
  cow_Map<int, int> a;
  for (int k : {0, 1, 2}) a.Insert(k, k);
  cow_Map<int, int> b(a);
  EXPECT_FALSE(b.Remove(7));
  EXPECT_FALSE((cow_Map<int, int>().Remove(0)));
  EXPECT_EQ(b.Count(), 3);
  EXPECT_EQ(b.Root().GetPtr(), a.Root().GetPtr());  // not even unshared
}

TEST(MapShape, StringKeysAlternateFrontAndBack) {
  // "abc": depth 0 'a', 1 'c' (from the back), 2 'b', 3 'b', then zeros.
  const cow_String abc("abc");
  const unsigned want[] = {1, 1, 0, 0, 0, 0};
  for (unsigned d = 0; d < 6; ++d) EXPECT_EQ(cow_MapStringKey::Bit(abc, d), want[d]) << d;
  EXPECT_EQ(cow_MapStringKey::Bit(cow_String(""), 0), 0u);  // the terminating zero
  EXPECT_EQ(cow_MapStringKey::Bit(cow_String("\x01"), 1), 1u);
  EXPECT_EQ(cow_MapStringKey::Bit(cow_String("\xff"), 0), 1u);  // unsigned characters

  cow_Map<cow_String, int> m;
  for (const char* k : {"", "a", "b", "ab", "ba"}) m.Insert(cow_String(k), 0);
  EXPECT_EQ(Shape(m), "''['b'[-|'ba']|'a'['ab'|-]]");
}

TEST(MapShape, StringKeysCompareUpToTheTerminatingZero) {
  cow_Map<cow_String, int> m;
  m.Insert(cow_String("a"), 1);
  EXPECT_TRUE(m.IsMember(cow_String("a\0x", 3)));
  m.Insert(cow_String("a\0x", 3), 2);  // meets "a" at the root: replaces
  EXPECT_EQ(m.Count(), 1);
  EXPECT_EQ(m.ConstGet(cow_String("a")), 2);
}

TEST(MapShape, MissingKeys) {
  cow_Map<cow_String, cow_String> m;
  EXPECT_TRUE(m.ConstGet(cow_String("none")).IsEmpty());
  EXPECT_EQ(m.Count(), 0);
  m.Get(cow_String("made")) = "x";  // Get enters a missing key
  EXPECT_EQ(m.Count(), 1);
  EXPECT_EQ(std::string(m.ConstGet(cow_String("made")).c_str()), "x");
}

// Keys whose low bits all agree form one chain as deep as the map is large.
cow_Map<cow_String, int> DeepChain(int n) {
  cow_Map<cow_String, int> m;
  for (int i = 0; i < n; ++i) {
    char k[3] = {static_cast<char>(2 + 2 * (i % 100)), static_cast<char>(2 + 2 * (i / 100)), 0};
    m.Insert(cow_String(k), i);
  }
  return m;
}

TEST(MapShape, DeepChainIsReleasedOnASmallStack) {
  static cow_Map<cow_String, int>* victim;
  cow_Map<cow_String, int> m = DeepChain(6000);
  int depth = 0;
  for (const auto* h = &m.Root(); h->HasValue(); h = &h->ConstGet().Zero()) ++depth;
  ASSERT_EQ(depth, 6000);
  victim = new cow_Map<cow_String, int>(m);
  m.Clear();
  // A recursive release would need several frames per level; 64 KiB holds
  // only a few hundred.
  pthread_attr_t attr;
  pthread_attr_init(&attr);
  pthread_attr_setstacksize(&attr, 64 * 1024);
  pthread_t t;
  ASSERT_EQ(pthread_create(&t, &attr, [](void*) -> void* { delete victim; return nullptr; }, nullptr), 0);
  pthread_join(t, nullptr);
  pthread_attr_destroy(&attr);
}

}  // namespace
