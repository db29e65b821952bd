// Exact tree shapes: the branching bits fix where every entry lives, and
// Remove promotes along one children first.
#include <gtest/gtest.h>
#include <pthread.h>

#include <string>
#include <vector>

#include "cow/cow_Map.h"

namespace {

std::string Text(unsigned k) { return std::to_string(static_cast<int>(k)); }
std::string Text(const cow_String& k) { return "'" + std::string(k.c_str(), k.Length()) + "'"; }

// key, or key[zero|one] with '-' for an empty child.
template <class K, class V>
std::string Shape(const typename cow_Map<K, V>::NodeHandle& h) {
  if (!h.HasValue()) return "-";
  const cow_MapNode<K, V>& n = h.ConstGet();
  if (!n.Zero().HasValue() && !n.One().HasValue()) return Text(n.Key());
  return Text(n.Key()) + "[" + Shape<K, V>(n.Zero()) + "|" + Shape<K, V>(n.One()) + "]";
}
template <class K, class V>
std::string Shape(const cow_Map<K, V>& m) {
  return Shape<K, V>(m.Root());
}
template <class K>
cow_Map<K, int> Make(std::initializer_list<K> keys) {
  cow_Map<K, int> m;
  for (K k : keys) EXPECT_TRUE(m.Insert(k, 0));
  return m;
}

TEST(MapShape, IntegerKeysBranchFromTheLowestBitAndRemovePromotesOneChildFirst) {
  cow_Map<unsigned, int> m = Make<unsigned>({0, 1, 2, 3});
  EXPECT_EQ(Shape(m), "0[2|1[-|3]]");
  m.Insert(6, 0);
  m.Insert(-1, 0);  // all ones: under 3
  EXPECT_TRUE(m.Insert(6, 60));  // replaces: count and shape stay
  EXPECT_EQ(std::to_string(m.Count()) + " " + std::to_string(m.ConstGet(6)) + " " + Shape(m),
            "6 60 0[2[-|6]|1[-|3[-|-1]]]");
  cow_Map<unsigned, int> r = Make<unsigned>({0, 1, 2});
  EXPECT_TRUE(r.Remove(0));
  EXPECT_EQ(Shape(r), "1[2|-]");
  cow_Map<unsigned, int> chain = Make<unsigned>({0, 1, 3, 2});
  chain.Remove(0);  // 1 moves to the root, 3 into 1's node
  EXPECT_EQ(Shape(chain), "1[2|3]");
  cow_Map<unsigned, int> zeros = Make<unsigned>({0, 2, 4});
  zeros.Remove(0);  // no one child: the zero side moves up
  EXPECT_EQ(Shape(zeros), "2[4|-]");
  zeros.Remove(4);
  zeros.Remove(2);
  EXPECT_EQ(Shape(zeros), "-");
  zeros.Insert(5, 5);
  EXPECT_EQ(Shape(zeros), "5");

  cow_Map<unsigned, int> b(r);  // a missing key changes nothing, not even sharing
  EXPECT_FALSE(b.Remove(7));
  EXPECT_EQ(b.Root().GetPtr(), r.Root().GetPtr());
}

TEST(MapShape, PathOfThirtyThreeNodesWrapsTheShift) {
  // 1 at the root, 2^d at depth d along zero children, 0 at depth 32.
  cow_Map<unsigned, int> m;
  m.Insert(1, 0);
  for (int d = 1; d < 32; ++d) m.Insert(1u << d, d);
  m.Insert(0, 32);
  auto chain = [](int top) {  // top, top + 1 ... 31 as powers of two, then 0
    std::string s = "0";
    for (int d = 31; d >= top; --d) s = Text(1u << d) + "[" + s + "|-]";
    return s;
  };
  EXPECT_EQ(Shape(m), "1[" + chain(1) + "|-]");
  EXPECT_TRUE(m.Remove(1));  // every entry moves up one level
  EXPECT_EQ(Shape(m), chain(1));
}

TEST(MapShape, StringKeysAlternateFrontAndBack) {
  // "abc": depth 0 'a', 1 'c' (from the back), 2 'b', 3 'b', then zeros.
  const unsigned want[] = {1, 1, 0, 0, 0};
  for (unsigned d = 0; d < 5; ++d) EXPECT_EQ(cow_MapStringKey::Bit(cow_String("abc"), d), want[d]) << d;
  EXPECT_EQ(cow_MapStringKey::Bit(cow_String(""), 0), 0u);  // the terminating zero
  EXPECT_EQ(cow_MapStringKey::Bit(cow_String("\xff"), 1), 1u);
  cow_Map<cow_String, int> m;
  for (const char* k : {"", "a", "b", "ab", "ba"}) m.Insert(cow_String(k), 0);
  EXPECT_EQ(Shape(m), "''['b'[-|'ba']|'a'['ab'|-]]");
  // Keys are equal up to the terminating zero: "a\0x" meets "a" and replaces it.
  m.Insert(cow_String("a\0x", 3), 2);
  EXPECT_EQ((std::vector<int>{m.Count(), m.ConstGet(cow_String("a"))}), (std::vector<int>{5, 2}));
  // ... also where the bytes after the zero would have chosen another path:
  // at depth 1 "a" reads 'a' (one child), "a\0x" by its whole length 'x'.
  cow_Map<cow_String, int> z;
  for (const char* k : {"c", "e"}) z.Insert(cow_String(k), 0);
  z.Insert(cow_String("a\0x", 3), 1);
  EXPECT_TRUE(z.IsMember(cow_String("a")));
  z.Insert(cow_String("a"), 3);
  EXPECT_EQ((std::vector<int>{z.Count(), z.ConstGet(cow_String("a\0y", 3))}), (std::vector<int>{3, 3}));
  static const char kShape[] = "'c'[-|'e'[-|'a\0x']]";  // the key first given stays
  EXPECT_EQ(Shape(z), std::string(kShape, sizeof kShape - 1));
  // Missing keys: ConstGet answers a default, Get enters one.
  EXPECT_EQ(m.ConstGet(cow_String("zz")), 0);
  EXPECT_EQ(m.FindPtr(cow_String("zz")), nullptr);
  m.Get(cow_String("zz")) = 4;
  EXPECT_EQ(*m.FindPtr(cow_String("zz")), 4);
}

TEST(MapShape, DeepChainIsReleasedOnASmallStack) {
  // Two even bytes: every branching bit is 0, so all keys form one chain.
  static cow_Map<cow_String, int>* victim = new cow_Map<cow_String, int>;
  for (int i = 0; i < 6000; ++i) {
    char k[3] = {static_cast<char>(2 + 2 * (i % 100)), static_cast<char>(2 + 2 * (i / 100)), 0};
    victim->Insert(cow_String(k), i);
  }
  int depth = 0;
  for (const auto* h = &victim->Root(); h->HasValue(); h = &h->ConstGet().Zero()) ++depth;
  ASSERT_EQ(depth, 6000);
  // A recursive release needs several frames per level; 64 KiB holds a few hundred.
  pthread_attr_t attr;
  pthread_attr_init(&attr);
  pthread_attr_setstacksize(&attr, 64 * 1024);
  pthread_t t;
  ASSERT_EQ(pthread_create(&t, &attr, [](void*) -> void* { delete victim; return nullptr; }, nullptr), 0);
  pthread_join(t, nullptr);
  pthread_attr_destroy(&attr);
}

}  // namespace
