// The ordered maps under the class registry: omi_Btree and cow_Btree.
#include <gtest/gtest.h>

#include <map>
#include <random>
#include <utility>
#include <vector>

#include "cow/cow_Btree.h"
#include "omi/omi_Btree.h"

namespace {

// Counts live copies, so a test sees every node destroyed.
struct Counted {
  static int s_Live;
  int m_V = 0;
  Counted() { ++s_Live; }
  explicit Counted(int v) : m_V(v) { ++s_Live; }
  Counted(const Counted& o) : m_V(o.m_V) { ++s_Live; }
  Counted& operator=(const Counted&) = default;
  ~Counted() { --s_Live; }
  bool operator==(const Counted& o) const { return m_V == o.m_V; }
};
int Counted::s_Live = 0;

// Height of a subtree from the links, checking the AVL condition on the way.
int CheckAvl(const omi_BtreeLink* n) {
  if (n == nullptr) return 0;
  int l = CheckAvl(n->m_Left), r = CheckAvl(n->m_Right);
  EXPECT_LE(l - r, 1);
  EXPECT_LE(r - l, 1);
  int h = (l > r ? l : r) + 1;
  EXPECT_EQ(n->m_Height, h);
  return h;
}

using Pairs = std::vector<std::pair<int, int>>;

// What an iterator walks from where it stands, in order.
template <class It>
Pairs Walk(It&& it) {
  Pairs p;
  for (; it.More(); it.Next()) p.emplace_back(it.Key(), it.Value());
  return p;
}

TEST(OmiBtree, EmptyTreeAnswersTheDefaultInsertKeepsTheFirstValueSetReplacesIt) {
  omi_Btree<int, int> t(-7);
  EXPECT_TRUE(t.Find(3) == -7 && t.FindPtr(3) == nullptr);
  EXPECT_FALSE(t.Remove(3));
  EXPECT_EQ(Walk(omi_BtreeIterator<int, int>(t)), Pairs());
  EXPECT_TRUE(t.Insert(1, 10));
  EXPECT_FALSE(t.Insert(1, 11));
  EXPECT_EQ(t.Find(1), 10);
  t.Set(1, 12);
  EXPECT_EQ(Walk(omi_BtreeIterator<int, int>(t)), (Pairs{{1, 12}}));
}

TEST(OmiBtree, RandomAndAscendingSequencesMatchStdMapAndStayBalanced) {
  std::mt19937 rng(12345);
  for (int round = 0; round < 4; ++round) {
    omi_Btree<int, int> t;
    std::map<int, int> m;
    const int range = round == 0 ? 16 : 2000;  // a small range forces many hits
    for (int i = 0; i < 6000; ++i) {
      int k = static_cast<int>(rng() % range) - range / 2;
      if (rng() % 3 == 0) {
        EXPECT_EQ(t.Remove(k), m.erase(k) == 1);
      } else {
        EXPECT_EQ(t.Insert(k, i), m.emplace(k, i).second);
      }
      if (i % 500 == 0) CheckAvl(t.RootLink());
    }
    EXPECT_EQ(t.Count(), static_cast<int>(m.size()));
    EXPECT_EQ(Walk(omi_BtreeIterator<int, int>(t)), Pairs(m.begin(), m.end()));
    for (auto& [k, v] : m) ASSERT_EQ(t.Find(k), v);
  }
  // Ascending insertions stay logarithmic.
  omi_Btree<int, int> t;
  for (int i = 0; i < 100000; ++i) t.Insert(i, i);
  EXPECT_LE(CheckAvl(t.RootLink()), 25);  // 1.44 log2(100002) is about 24
  for (int i = 0; i < 100000; i += 2) ASSERT_TRUE(t.Remove(i));
  EXPECT_EQ(t.Count(), 50000);
  CheckAvl(t.RootLink());
}

TEST(OmiBtree, CopiesAreDeepAndEveryNodeIsFreed) {
  Counted::s_Live = 0;
  {
    omi_Btree<int, Counted> a;
    for (int i = 0; i < 100; ++i) a.Insert(i, Counted(i));
    omi_Btree<int, Counted> b(a);
    b.Set(5, Counted(500));
    EXPECT_EQ(a.Find(5).m_V, 5);
    a = b;
    a = a;
    EXPECT_EQ(a.Find(5).m_V, 500);
    b.Clear();
    EXPECT_TRUE(b.Count() == 0 && a.Count() == 100);
  }
  EXPECT_EQ(Counted::s_Live, 0);
}

TEST(CowBtree, CopiesShareUntilOneWritesAndIteratorsWalkASnapshot) {
  cow_Btree<cow_String, int> a(-1);
  a.Insert("x", 1);
  cow_Btree<cow_String, int> b(a);
  EXPECT_TRUE(&a.ConstGetTree() == &b.ConstGetTree() && a.IsShared());
  EXPECT_FALSE(b.Remove("absent"));  // nothing to remove: still shared
  EXPECT_TRUE(b.IsShared());
  b.Set("y", 2);
  EXPECT_NE(&a.ConstGetTree(), &b.ConstGetTree());
  EXPECT_EQ(a.Find("y"), -1);
  EXPECT_TRUE(b.Find("y") == 2 && b.Find("x") == 1);
  EXPECT_TRUE(a == a);
  EXPECT_FALSE(a == b);
  a.Set("y", 2);
  EXPECT_TRUE(a == b);
  // An iterator walks a snapshot.
  cow_Btree<int, int> m;
  for (int i = 5; i > 0; --i) m.Insert(i, i * 10);
  cow_BtreeIterator<int, int> it(m);
  m.Remove(3);  // detaches m; the walk keeps the old tree
  m.Insert(0, 0);
  EXPECT_EQ(Walk(it), (Pairs{{1, 10}, {2, 20}, {3, 30}, {4, 40}, {5, 50}}));
  EXPECT_EQ(m.Count(), 5);
  EXPECT_FALSE(m.IsPresent(3));
}

}  // namespace
