// cow_Map against std::map over random operation sequences, with copies
// taken at random points that must keep their content; sharing along paths;
// iterators; failing value copies.
#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "cow/cow_Map.h"

namespace {

std::string Str(const atr_StringBase& s) { return std::string(s.c_str(), s.Length()); }
int ModelKey(int k) { return k; }
std::string ModelKey(const cow_String& k) { return Str(k); }

// Every node at depth d holds a key whose bits 0 ... d-1 spell its path.
template <class K, class V>
int CheckPaths(const typename cow_Map<K, V>::NodeHandle& h, std::vector<unsigned>& path) {
  if (!h.HasValue()) return 0;
  const cow_MapNode<K, V>& n = h.ConstGet();
  for (unsigned d = 0; d < path.size(); ++d) EXPECT_EQ(cow_MapKeyTraits<K>::Bit(n.Key(), d), path[d]);
  int count = 1;
  for (unsigned bit = 0; bit < 2; ++bit) {
    path.push_back(bit);
    count += CheckPaths<K, V>(n.Child(bit), path);
    path.pop_back();
  }
  return count;
}

template <class K, class MK>
void ExpectSame(const cow_Map<K, int>& m, const std::map<MK, int>& model) {
  ASSERT_EQ(m.Count(), static_cast<int>(model.size()));
  std::vector<unsigned> path;
  EXPECT_EQ((CheckPaths<K, int>(m.Root(), path)), m.Count());
  auto it = model.begin();
  for (cow_ConstMapSortedIt<K, int> s(m); s.More(); s.Next(), ++it) {
    ASSERT_TRUE(it != model.end());
    EXPECT_EQ(ModelKey(s.Key()), it->first);
    EXPECT_EQ(s.Value(), it->second);
  }
  EXPECT_TRUE(it == model.end());
}

template <class K, class MK>
void RunModel(unsigned seed, int steps, K (*makeKey)(std::mt19937&)) {
  std::mt19937 rng(seed);
  cow_Map<K, int> m;
  std::map<MK, int> model;
  std::vector<std::pair<cow_Map<K, int>, std::map<MK, int>>> copies;
  for (int step = 0; step < steps; ++step) {
    K k = makeKey(rng);
    MK mk = ModelKey(k);
    switch (rng() % 8) {
      case 0: case 1: case 2:
        m.Insert(k, step);
        model[mk] = step;
        break;
      case 3: case 4:
        EXPECT_EQ(m.Remove(k), model.erase(mk) == 1);
        break;
      case 5:
        m.Get(k) += 1;  // a missing key enters with 0
        model[mk] += 1;
        break;
      case 6:
        EXPECT_EQ(m.IsMember(k), model.count(mk) == 1);
        EXPECT_EQ(m.ConstGet(k), model.count(mk) ? model[mk] : 0);
        break;
      default:
        if (copies.size() < 20) copies.emplace_back(m, model);
        break;
    }
  }
  ExpectSame(m, model);
  for (auto& c : copies) ExpectSame(c.first, c.second);
  // Drain in the unsorted walk's order; the copies keep their entries.
  cow_Map<K, int> snapshot(m);
  for (cow_ConstMapIterator<K, int> it(snapshot); it.More(); it.Next()) EXPECT_TRUE(m.Remove(it.Key()));
  EXPECT_EQ(m.Count(), 0);
  EXPECT_FALSE(m.Root().HasValue());
  ExpectSame(snapshot, model);
  for (auto& c : copies) ExpectSame(c.first, c.second);
}

int SmallInt(std::mt19937& r) { return static_cast<int>(r() % 512) - 256; }
int AnyInt(std::mt19937& r) { return static_cast<int>(r()); }
cow_String ShortString(std::mt19937& r) {
  std::string s;
  for (unsigned n = r() % 5; n > 0; --n) s += static_cast<char>('a' + r() % 6);
  return cow_String(s.c_str(), static_cast<int>(s.size()));
}

TEST(MapModel, AgainstStdMap) {
  for (unsigned seed = 1; seed <= 4; ++seed) RunModel<int, int>(seed, 4000, &SmallInt);
  RunModel<int, int>(7, 6000, &AnyInt);
  for (unsigned seed = 11; seed <= 13; ++seed) RunModel<cow_String, std::string>(seed, 3000, &ShortString);
}

// ---------------------------------------------------------------- sharing
// Nodes of b that a does not share.
template <class K, class V>
int CopiedNodes(const cow_Map<K, V>& a, const cow_Map<K, V>& b) {
  std::set<const void*> inA;
  for (cow_ConstMapIterator<K, V> it(a); it.More(); it.Next()) inA.insert(it.CurrentNode());
  int copied = 0;
  for (cow_ConstMapIterator<K, V> it(b); it.More(); it.Next()) copied += inA.count(it.CurrentNode()) == 0;
  return copied;
}

TEST(MapSharing, CopyIsO1AndAWriteCopiesOnlyItsPath) {
  cow_Map<int, int> a;
  for (int k = 0; k < 1024; ++k) a.Insert(k, k);
  cow_Map<int, int> b(a);
  EXPECT_EQ(b.Root().GetPtr(), a.Root().GetPtr());
  EXPECT_EQ(a.Root().UseCount(), 2u);
  b.Insert(1023, -1);  // 1023 = all ten low bits set: depth 10
  EXPECT_EQ(CopiedNodes(a, b), 11);
  EXPECT_EQ(a.ConstGet(1023), 1023);
  b.Insert(4096, 0);  // new key: its ten-node path copied, plus the new node
  EXPECT_EQ(CopiedNodes(a, b), 11 + 10 + 1 - 1);  // the root was already b's
  EXPECT_FALSE(a.IsMember(4096));
  cow_Map<int, int> c(a);
  c.Remove(0);  // promotes along one children: the chain 1, 3, 7, ... 1023
  EXPECT_EQ(CopiedNodes(a, c), 10);
  EXPECT_EQ((std::vector<int>{a.Count(), c.Count()}), (std::vector<int>{1024, 1023}));
  c.ConstGet(5);
  c.IsMember(9);
  EXPECT_EQ(CopiedNodes(a, c), 10);  // reads copy nothing
  cow_Map<int, int> d(a);
  d.Remove(1023);  // a leaf: its ten ancestors are copied, the leaf itself is not
  EXPECT_EQ(CopiedNodes(a, d), 10);
}

TEST(MapIterators, WalkAStableSnapshot) {
  cow_Map<unsigned, unsigned> m;
  EXPECT_FALSE((cow_ConstMapSortedIt<unsigned, unsigned>(m).More()));
  for (unsigned k : {9u, 3u, 0xFFFFFFFFu, 0u, 12u}) m.Insert(k, k + 1);
  cow_ConstMapSortedIt<unsigned, unsigned> s(m);
  m.Remove(3);  // the iterator keeps what it was made from
  m.Insert(5, 6);
  std::vector<unsigned> seen;
  for (; s.More(); s.Next()) seen.push_back(s.Key());
  EXPECT_EQ(seen, (std::vector<unsigned>{0, 3, 9, 12, 0xFFFFFFFFu}));
  cow_List<unsigned> keys = cow_MapUtils<unsigned, unsigned>::cow_Keys(m);
  cow_List<unsigned> values = cow_MapUtils<unsigned, unsigned>::cow_Values(m);
  std::vector<unsigned> pairs;  // in key order, each value its key + 1
  for (int i = 0; i < keys.Count(); ++i) pairs.insert(pairs.end(), {keys[i], values[i]});
  EXPECT_EQ(pairs, (std::vector<unsigned>{0, 1, 5, 6, 9, 10, 12, 13, 0xFFFFFFFFu, 0}));
}

// ---------------------------------------------------------------- failures
struct Tracked {
  static inline int live = 0, copiesLeft = -1;  // copiesLeft < 0: never throw
  int v = 0;
  explicit Tracked(int x = 0) : v(x) { ++live; }
  Tracked(const Tracked& o) : v(o.v) {
    if (copiesLeft == 0) throw 42;
    copiesLeft -= copiesLeft > 0;
    ++live;
  }
  Tracked& operator=(const Tracked&) = default;
  ~Tracked() { --live; }
};

TEST(MapFailures, AFailedCopyLeavesTheMapAsItWas) {
  {
    cow_Map<int, Tracked> a;
    for (int k = 0; k < 64; ++k) a.Insert(k, Tracked(k));
    // Remove(0) unshares six nodes (0, 1, 3, ... 31), Insert(63) seven.
    for (int n = 0; n < 6; ++n) {
      cow_Map<int, Tracked> b(a), c(a);
      Tracked::copiesLeft = n;
      EXPECT_THROW(b.Remove(0), int);
      Tracked::copiesLeft = n;
      EXPECT_THROW(c.Insert(63, Tracked(-1)), int);
      Tracked::copiesLeft = -1;
      for (const cow_Map<int, Tracked>* m : {&b, &c}) {
        EXPECT_EQ(m->Count(), 64);
        for (int k = 0; k < 64; ++k) EXPECT_EQ(m->ConstGet(k).v, k);
      }
    }
  }
  EXPECT_EQ(Tracked::live, 0);
}

}  // namespace
