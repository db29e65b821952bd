// cls_PTrie: shape, insertion, removal and ordered walks against std::map.
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <random>
#include <string>

#include "cls/cls_PTrie.h"

namespace {

typedef cls_PTrie<int, int, 1> IntTrie;

struct Counted {
  static int s_Live;
  int m_V = 0;
  Counted() { ++s_Live; }
  Counted(int v) : m_V(v) { ++s_Live; }  // NOLINT: implicit for brevity in tests
  Counted(const Counted& o) : m_V(o.m_V) { ++s_Live; }
  Counted& operator=(const Counted&) = default;
  ~Counted() { --s_Live; }
};
int Counted::s_Live = 0;

// The shape as text, and a check that bits strictly decrease downwards.
template <class K, class V, int N>
std::string Shape(const cls_PTrieNode<K, V, N>* n, int above) {
  if (n == nullptr) return "-";
  if (n->Bit() < 0) return "L";
  EXPECT_LT(n->Bit(), above);
  auto* i = static_cast<const cls_PTrieInternalNode<K, V, N>*>(n);
  return std::to_string(n->Bit()) + "(" + Shape(i->ClearChild(), n->Bit()) + "," + Shape(i->SetChild(), n->Bit()) + ")";
}

template <class K, class V, int N, class M>
void ExpectSameAs(const cls_PTrie<K, V, N>& t, const M& m) {
  ASSERT_EQ(t.Count(), static_cast<int>(m.size()));
  cls_PTrieIter<K, V, N> it(t);
  for (const auto& [k, v] : m) {
    ASSERT_EQ(it.Next(), 1);
    ASSERT_EQ(it.Key(), static_cast<K>(k));
    ASSERT_EQ(it.Value(), v);
  }
  EXPECT_EQ(it.Next(), 0);
  EXPECT_EQ(it.Next(), 0);  // stays at the end
}

TEST(PTrie, TwoKeysMakeOneBranchAndAnOverwriteKeepsTheCount) {
  cls_PTrie<int, cls_Uid, 1> t;
  cls_Uid a, b, c;
  EXPECT_EQ(t.Insert(5, a), a);
  EXPECT_EQ(t.Insert(4, b), b);
  ASSERT_EQ(t.Root()->Bit(), 0);
  typedef cls_PTrieLeafNode<int, cls_Uid, 1> Leaf;
  auto* root = static_cast<const cls_PTrieInternalNode<int, cls_Uid, 1>*>(t.Root());
  EXPECT_EQ(static_cast<const Leaf*>(root->ClearChild())->Key(), 4);
  EXPECT_EQ(static_cast<const Leaf*>(root->SetChild())->Key(), 5);
  EXPECT_EQ(t.Insert(5, c), c);  // overwritten
  EXPECT_EQ(t.Count(), 2);
  EXPECT_EQ(t.ConstGet(5), c);
  EXPECT_EQ(a.UseCount(), 1u);  // the trie's copy of a is gone
  EXPECT_EQ(t.ConstGetPtr(6), nullptr);
}

TEST(PTrie, ShapeDependsOnlyOnTheKeySet) {
  const int keys[] = {9, -1, 0, 1 << 20, 3, 12, 7, -100};
  IntTrie a, b;
  for (int k : keys) a.Insert(k, k);
  for (int i = 7; i >= 0; --i) b.Insert(keys[i], keys[i]);
  EXPECT_EQ(Shape(a.Root(), 32), Shape(b.Root(), 32));
  EXPECT_EQ(Shape(a.Root(), 32).substr(0, 3), "31(");  // the sign bit splits first
}

// Keys order as unsigned bit strings: negative keys come after all others.
TEST(PTrie, RandomSequencesMatchStdMap) {
  std::mt19937 rng(777);
  for (int round = 0; round < 3; ++round) {
    IntTrie t;
    std::map<std::uint32_t, int> m;
    for (int k : {-1, 2, INT32_MIN, 0, INT32_MAX, -7}) {
      t.Insert(k, k);
      m[static_cast<std::uint32_t>(k)] = k;
    }
    const std::uint32_t range = round == 0 ? 64 : round == 1 ? 5000 : 0xFFFFFFFFu;
    for (int i = 0; i < 20000; ++i) {
      int k = static_cast<int>(round == 2 ? rng() : rng() % range - range / 2);
      if (rng() % 3 == 0) {
        t.Remove(k);
        m.erase(static_cast<std::uint32_t>(k));
      } else {
        EXPECT_EQ(t.Insert(k, i), i);
        m[static_cast<std::uint32_t>(k)] = i;
      }
      if (i % 2000 == 0) Shape(t.Root(), 32);
    }
    ExpectSameAs(t, m);
    for (int probe = 0; probe < 2000; ++probe) {
      int k = static_cast<int>(rng() % range - range / 2);
      auto f = m.find(static_cast<std::uint32_t>(k));
      const int* p = t.ConstGetPtr(k);
      if (f == m.end()) {
        EXPECT_EQ(p, nullptr);
      } else {
        ASSERT_NE(p, nullptr);
        EXPECT_EQ(*p, f->second);
      }
    }
  }
}

TEST(PTrie, RemovalEmptiesReplacesNodesAndFreesEverything) {
  IntTrie e;
  e.Remove(3);  // empty: nothing happens
  e.Insert(3, 30);
  e.Remove(4);  // absent: nothing changes
  EXPECT_EQ(e.Count(), 1);
  e.Remove(3);
  EXPECT_EQ(e.Root(), nullptr);
  EXPECT_EQ(e.ConstGetPtr(3), nullptr);
  EXPECT_EQ((cls_PTrieIter<int, int, 1>(e).Next()), 0);
  e.Insert(8, 80);  // usable again
  EXPECT_EQ(e.ConstGet(8), 80);

  Counted::s_Live = 0;
  {
    cls_PTrie<int, Counted, 1> t;
    for (int k = 0; k < 100; ++k) t.Insert(k * 7 - 300, k);
    for (int k = 0; k < 100; k += 2) t.Remove(k * 7 - 300);
    EXPECT_EQ(t.Count(), 50);
    EXPECT_EQ(Counted::s_Live, 50);
    Shape(t.Root(), 32);
    t.Insert(-300, 1);
    t.Clear();
    EXPECT_EQ(t.Count(), 0);
    EXPECT_EQ(Counted::s_Live, 0);
    for (int k = 0; k < 10; ++k) t.Insert(k, k);
  }  // the destructor frees the rest
  EXPECT_EQ(Counted::s_Live, 0);
}

TEST(PTrie, IteratorResetsAndSeesEachKeyOnce) {
  IntTrie t;
  for (int k = 10; k > 0; --k) t.Insert(k, -k);
  cls_PTrieIter<int, int, 1> it(t);
  EXPECT_FALSE(it.HasCurrent());
  int n = 0;
  while (t.Next(it)) EXPECT_EQ(it.Key(), ++n);
  EXPECT_EQ(n, 10);
  it.Reset();
  ASSERT_EQ(it.Next(), 1);
  EXPECT_EQ(it.Key(), 1);
}

TEST(PTrie, TwoWordKeysCompareHighWordFirst) {
  cls_PTrie<std::uint64_t, int, 2> t;
  std::map<std::uint64_t, int> m;
  std::mt19937_64 rng(5);
  for (int i = 0; i < 3000; ++i) {
    // Keys that differ only in the low word, only in the high word, or both.
    std::uint64_t k = i % 3 == 0 ? rng() & 0xFF : i % 3 == 1 ? (rng() & 0xFF) << 32 : rng();
    t.Insert(k, i);
    m[k] = i;
  }
  ExpectSameAs(t, m);
}

}  // namespace
