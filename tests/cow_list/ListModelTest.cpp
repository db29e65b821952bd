// Lists against a std::deque model over random operation sequences, and
// element types that count instances or throw on a chosen copy.
#include <gtest/gtest.h>

#include <deque>
#include <random>
#include <stdexcept>

#include "cow/cow_List.h"
#include "cow/cow_String.h"

namespace {

// Counts live instances; the copy numbered s_ThrowAt (constructor or
// assignment, counted from 1) throws.
struct Tracked {
  static inline int s_Live = 0;
  static inline int s_Copies = 0;
  static inline int s_ThrowAt = 0;  // 0: never
  int v;
  explicit Tracked(int x) : v(x) { ++s_Live; }
  Tracked(const Tracked& o) : v((Tick(), o.v)) { ++s_Live; }
  Tracked& operator=(const Tracked& o) { return Tick(), v = o.v, *this; }
  ~Tracked() { --s_Live; }
  static void Tick() {
    if (++s_Copies == s_ThrowAt) throw std::runtime_error("copy failed");
  }
  friend bool operator==(const Tracked& a, const Tracked& b) { return a.v == b.v; }
};

template <class T>
::testing::AssertionResult Same(const cow_List<T>& l, const std::deque<T>& m) {
  if (l.Count() != static_cast<int>(m.size()))
    return ::testing::AssertionFailure() << "count " << l.Count() << " vs " << m.size();
  int i = 0;
  for (cow_ListIter<T> it(l); it.More(); it.Next(), ++i)
    if (!(*it == m[i]) || !(l.ConstGet(i) == m[i])) return ::testing::AssertionFailure() << "element " << i;
  return ::testing::AssertionSuccess();
}

// One random change applied to both the list and the model.
template <class T>
void RandomWrite(std::mt19937& rng, cow_List<T>& l, std::deque<T>& m, int& next) {
  int n = static_cast<int>(m.size());
  auto pick = [&](int hi) { return hi > 0 ? static_cast<int>(rng() % hi) : 0; };
  int op = pick(100);
  T x(next++);
  if (op < 25) {
    l.Append(x);
    m.push_back(x);
  } else if (op < 45) {
    l.Prepend(x);
    m.push_front(x);
  } else if (op < 62) {
    int i = pick(n + 1);
    l.InsertIndex(i, x);
    m.insert(m.begin() + i, x);
  } else if (n == 0) {
    return;
  } else if (op < 78) {
    int i = pick(n);
    l.RemoveIndex(i);
    m.erase(m.begin() + i);
  } else if (op < 81) {
    EXPECT_TRUE(l.Pop() == m.back());
    m.pop_back();
  } else if (op < 90) {
    int i = pick(n);
    l.Get(i) = x;
    m[i] = x;
  } else if (op < 93) {
    int k = pick(n + 40);
    l.Resize(k);
    if (k < n) m.resize(k, x);
  } else if (op < 96) {
    int from = pick(n), to = from + pick(20);
    cow_List<T> piece = l.Slice(from, to);
    l.Concatenate(piece);
    std::deque<T> tail(m.begin() + from, m.begin() + (to < n ? to : n));
    m.insert(m.end(), tail.begin(), tail.end());
  } else {
    l.Fill(n + pick(5), x);
    m.resize(static_cast<std::size_t>(l.Count()), x);
  }
}

template <class T>
void RunModel(int init, unsigned seed) {
  std::mt19937 rng(seed);
  cow_List<T> l(cow_ListPreSize, init);
  std::deque<T> m;
  int next = 0;
  for (int step = 0; step < 1500; ++step) {
    int n = static_cast<int>(m.size());
    if (rng() % 50 == 0) {
      // Slices are checked against the clamped model range.
      int from = static_cast<int>(rng() % (n + 12)) - 6, to = static_cast<int>(rng() % (n + 12)) - 6;
      int f = from < 0 ? 0 : from, t = to < f ? f : (to > n ? n : to);
      if (f > t) f = t;
      ASSERT_TRUE(Same(l.Slice(from, to), std::deque<T>(m.begin() + f, m.begin() + t)));
    }
    if (rng() % 8 == 0) {
      // Write into a copy; the original must not see it.
      cow_List<T> copy = l;
      std::deque<T> before = m;
      RandomWrite(rng, copy, m, next);
      ASSERT_TRUE(Same(l, before)) << "step " << step;
      if (rng() % 2) {
        l = copy;
      } else {
        m = before;
      }
    } else {
      RandomWrite(rng, l, m, next);
    }
    if (rng() % 400 == 0) {
      while (!l.IsEmpty()) l.RemoveIndex(static_cast<int>(rng() % l.Count()));
      m.clear();
      EXPECT_EQ(l.Shift(), 4);
      EXPECT_EQ(l.Offset(), 0);
    }
    ASSERT_TRUE(Same(l, m)) << "step " << step;
  }
}

class ListModel : public ::testing::TestWithParam<int> {};

// Initialize sizes giving 16, 32, 64 and 512 elements per block.
INSTANTIATE_TEST_SUITE_P(BlockSizes, ListModel, ::testing::Values(0, 300, 1000, 5000));

TEST_P(ListModel, IntStringAndTrackedMatchDequeAndLeakNothing) {
  for (unsigned seed = 1; seed <= 3; ++seed) RunModel<int>(GetParam(), seed * 7919 + GetParam());
  RunModel<cow_String>(GetParam(), 17u + GetParam());
  int live = Tracked::s_Live;
  RunModel<Tracked>(GetParam(), 29u + GetParam());
  EXPECT_EQ(Tracked::s_Live, live);
}

TEST(ListLifetime, ElementsLiveExactlyAsLongAsTheirBlocks) {
  ASSERT_EQ(Tracked::s_Live, 0);
  {
    cow_List<Tracked> a;
    for (int i = 0; i < 100; ++i) a.Append(Tracked(i));
    EXPECT_EQ(Tracked::s_Live, 100);
    cow_List<Tracked> b = a;
    b.Get(99).v = -1;  // copies the last block alone: 96..99
    EXPECT_EQ(Tracked::s_Live, 104);
    a.Resize(50);  // copies 48, 49 out of a shared block; 96..99 die, b keeps 64..95
    EXPECT_EQ(Tracked::s_Live, 102);
    b.RemoveIndex(10);  // copies b's first block (16), one element dies
    EXPECT_EQ(Tracked::s_Live, 117);
    b.Initialize(0);
    EXPECT_EQ(Tracked::s_Live, 50);
    int n = 0;
    Tracked* raw = a.GetCArray(n);
    EXPECT_EQ(Tracked::s_Live, 100);
    for (int i = 0; i < n; ++i) raw[i].~Tracked();
    mem_Free(raw);
  }
  EXPECT_EQ(Tracked::s_Live, 0);
}

// Runs op on a list shared with a copy, with the Nth element copy throwing,
// for every N until op completes; the copy must never change and nothing may
// leak. check(list, threw) tests what the op promises after a failure.
template <class Op, class Check>
void ThrowAtEveryCopy(Op op, Check check) {
  for (int at = 1;; ++at) {
    bool threw = false;
    {
      cow_List<Tracked> l;
      for (int i = 0; i < 40; ++i) l.Append(Tracked(i));
      cow_List<Tracked> copy = l;
      Tracked::s_Copies = 0;
      Tracked::s_ThrowAt = at;
      try {
        op(l);
      } catch (const std::runtime_error&) {
        threw = true;
      }
      Tracked::s_ThrowAt = 0;
      for (int i = 0; i < 40; ++i) ASSERT_EQ(copy.ConstGet(i).v, i);
      check(l, threw);
      l.Append(Tracked(1));  // the list is still usable
      l.Prepend(Tracked(2));
      l.RemoveIndex(l.Count() / 2);
    }
    ASSERT_EQ(Tracked::s_Live, 0) << "copy " << at;
    if (!threw) break;
  }
}

TEST(ListLifetime, ThrowingCopiesLeaveValidListsAndNoLeaks) {
  auto intact = [](cow_List<Tracked>& l, bool threw) {
    if (!threw) return;
    ASSERT_EQ(l.Count(), 40);
    for (int i = 0; i < 40; ++i) ASSERT_EQ(l.ConstGet(i).v, i);
  };
  auto readable = [](cow_List<Tracked>& l, bool) {
    for (int i = 0; i < l.Count(); ++i) (void)l.ConstGet(i).v;
  };
  auto filled = [](cow_List<Tracked>& l, bool) {
    for (int i = 0; i < l.Count(); ++i) ASSERT_EQ(l.ConstGet(i).v, i < 40 ? i : -1);
  };
  using L = cow_List<Tracked>;
  const struct {
    void (*op)(L&);
    void (*check)(L&, bool);
  } ops[] = {
      {[](L& l) { l.Append(Tracked(-1)); }, intact},
      {[](L& l) { l.Prepend(Tracked(-1)); }, intact},
      {[](L& l) { l.Get(20).v = -1; }, intact},
      {[](L& l) { (void)l.Slice(3, 30); }, intact},
      {[](L& l) {
         int n = 0;
         Tracked* a = l.GetCArray(n);
         for (int i = 0; i < n; ++i) a[i].~Tracked();
         mem_Free(a);
       },
       intact},
      {[](L& l) { l.Fill(70, Tracked(-1)); }, filled},
      {[](L& l) { l.InsertIndex(25, Tracked(-1)); }, readable},
      {[](L& l) { l.InsertIndex(5, Tracked(-1)); }, readable},
      {[](L& l) { l.RemoveIndex(30); }, readable},
      {[](L& l) { l.RemoveIndex(3); }, readable},
      {[](L& l) { l.Concatenate(l); }, readable},
      {[](L& l) { l.Resize(21); }, readable},
  };
  for (const auto& o : ops) ThrowAtEveryCopy(o.op, o.check);
}

}  // namespace
