#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cow/cow_List.h"
#include "cow/cow_String.h"
#include "mem/mem_Alloc.h"

namespace {

cow_List<int> Range(int n, int init = 0) {
  cow_List<int> l(cow_ListPreSize, init);
  for (int i = 0; i < n; ++i) l.Append(i);
  return l;
}

cow_List<int> Of(std::initializer_list<int> items) {
  cow_List<int> l;
  for (int v : items) l.Append(v);
  return l;
}

std::vector<int> Items(const cow_List<int>& l) {
  std::vector<int> v;
  for (cow_ListIter<int> it(l); it.More(); it.Next()) v.push_back(*it);
  return v;
}

// "shift slots count" of l.
std::string Layout(const cow_List<int>& l) {
  return std::to_string(l.Shift()) + " " + std::to_string(l.SlotCapacity()) + " " + std::to_string(l.Count());
}

TEST(ListLayout, InitializeAndResizeChooseBlockSizeAndSlots) {
  cow_List<int> fresh;
  EXPECT_EQ(Layout(fresh) + " " + std::to_string(fresh.Offset()), "4 0 0 0");
  const std::pair<int, const char*> cases[] = {{1, "4 16 0"},        {100, "4 16 0"},  {255, "4 16 0"},
                                               {256, "5 24 0"},      {1000, "6 32 0"}, {1 << 20, "17 24 0"},
                                               {3 << 20, "18 28 0"}, {-1000, "6 32 0"}};
  for (auto [n, layout] : cases) {
    cow_List<int> l;
    l.Initialize(n);
    EXPECT_EQ(Layout(l), layout) << n;
  }
  // Resize sets the slots in steps of sixteen: ceil((offset + n) / 256) * 16.
  cow_List<int> l = Range(100);
  EXPECT_EQ(Layout(l), "4 16 100");
  for (auto [n, slots] : {std::pair{256, 16}, {257, 32}, {512, 32}, {513, 48}, {300, 32}}) {
    l.Resize(n);
    EXPECT_EQ(Layout(l), "4 " + std::to_string(slots) + " 100") << n;
  }
  cow_List<int> front;
  front.Prepend(1);  // 16 slots added in front: offset 255
  ASSERT_EQ(front.Offset(), 255);
  front.Resize(1);  // the offset counts: 255 + 1 ends on the step
  EXPECT_EQ(front.SlotCapacity(), 16);
  front.Resize(2);
  EXPECT_EQ(front.SlotCapacity(), 32);
  l.Resize(10);
  EXPECT_EQ(Layout(l), "4 16 10");
  EXPECT_EQ(l.GetSlot(1), nullptr);  // no block kept past the cut
  EXPECT_EQ(Items(l), Items(Range(10)));
  l.Resize(0);
  EXPECT_EQ(Layout(l), "4 0 0");
}

TEST(ListLayout, EmptiedListsAndEndBlocksAreReleased) {
  cow_List<int> l;
  l.Initialize(1000);
  for (int i = 0; i < 5; ++i) l.Prepend(i);
  EXPECT_EQ(l.Shift(), 6);
  EXPECT_GT(l.Offset(), 0);
  while (!l.IsEmpty()) l.RemoveIndex(l.Count() / 2);
  EXPECT_EQ(std::to_string(l.Shift()) + " " + std::to_string(l.Offset()), "4 0");  // back to the defaults
  l.Append(7);
  EXPECT_EQ(l.First(), 7);

  cow_List<int> e = Range(40);  // blocks 0, 1, 2
  e.RemoveIndex(39);
  e.RemoveIndex(35);
  EXPECT_NE(e.GetSlot(2), nullptr);
  while (e.Count() > 32) e.Pop();
  EXPECT_EQ(e.GetSlot(2), nullptr);
  for (int i = 0; i < 16; ++i) e.RemoveIndex(0);
  EXPECT_EQ(e.GetSlot(0), nullptr);
  EXPECT_EQ(e.First(), 16);
}

TEST(ListEdit, PrependInsertRemoveMoveTheShorterSide) {
  cow_List<int> l = Range(10);
  int offset = l.Offset();
  l.InsertIndex(8, 100);  // back side: offset stays
  EXPECT_EQ(l.Offset(), offset);
  l.InsertIndex(2, 200);                // front side: offset drops
  EXPECT_EQ(l.Offset(), offset + 255);  // room for 16 blocks was made in front
  EXPECT_EQ(Items(l), (std::vector<int>{0, 1, 200, 2, 3, 4, 5, 6, 7, 100, 8, 9}));
  l.RemoveIndex(1);  // front side: offset grows
  EXPECT_EQ(l.Offset(), offset + 256);
  l.RemoveIndex(8);
  l.Prepend(-1);
  l.Insert(l.Count(), 50);
  EXPECT_EQ(Items(l), (std::vector<int>{-1, 0, 200, 2, 3, 4, 5, 6, 7, 8, 9, 50}));
  EXPECT_EQ(l.Pop(), 50);
  EXPECT_EQ(l.Last(), 9);
  // Fill only grows.
  cow_List<int> f = Range(5);
  f.Fill(3, 9);
  EXPECT_EQ(Items(f), Items(Range(5)));
  f.Fill(7, f.ConstGet(1));
  EXPECT_EQ(Items(f), (std::vector<int>{0, 1, 2, 3, 4, 1, 1}));
}

TEST(ListEdit, InsertingAnElementOfTheListItself) {
  cow_List<int> l = Range(40);
  l.InsertIndex(30, l.ConstGet(35));  // the source moves during the insert
  l.InsertIndex(5, l.ConstGet(2));
  l.Append(l.First());
  l.Prepend(l.Last());
  EXPECT_EQ((std::vector<int>{l.ConstGet(32), l.ConstGet(6), l.Last()}), (std::vector<int>{35, 2, 0}));
  l.Concatenate(l);
  EXPECT_EQ((std::vector<int>{l.Count(), l.ConstGet(50), l.ConstGet(76)}), (std::vector<int>{88, 2, 35}));
  l.SetFromArray(&l.ConstGet(3), 3);  // a run inside one block
  EXPECT_EQ(Items(l), (std::vector<int>{2, 3, 4}));
}

TEST(ListWhole, SliceSearchCompareAndDifference) {
  struct Case {
    int from, to;
    std::vector<int> want;
  } cases[] = {{-5, 2, {0, 1}}, {7, 3, {}}, {8, 20, {8, 9}}, {12, 15, {}}};  // bounds are clamped
  for (const Case& c : cases) EXPECT_EQ(Items(Range(10).Slice(c.from, c.to)), c.want) << c.from;
  EXPECT_EQ(Range(2000).Slice(100, 1100).Shift(), 6);  // laid out for 1000
  cow_List<int> l = Range(20);
  l.Append(3);
  EXPECT_EQ(l.FindMember(3), 3);
  EXPECT_EQ(l.FindMember(99), -1);
  int at = 0;
  EXPECT_TRUE(l.Find(19, at));
  EXPECT_EQ(at, 19);
  EXPECT_FALSE(l.Find(-4, at));
  EXPECT_EQ(at, -1);
  EXPECT_FALSE(l.AppendUnlessMember(5));
  EXPECT_TRUE(l.InsertUnlessMember(0, 42));
  l.RemoveMember(3);
  l.RemoveMember(1000);
  EXPECT_EQ(l.FindMember(3), 20);
  EXPECT_TRUE(cow_List<int>().IsEqual(cow_List<int>()));
  EXPECT_FALSE(Range(3).IsEqual(Range(4)));
  EXPECT_TRUE(Range(300).IsEqual(Range(300, 300)));
  EXPECT_EQ(Items(Range(8).Difference(Of({1, 3, 5, 7, 9, 11}))), (std::vector<int>{0, 2, 4, 6}));
}

// Counts comparisons, to show that shared elements are not compared.
struct Compared {
  int v = 0;
  static inline int s_Compares = 0;
  friend bool operator==(const Compared& a, const Compared& b) { return ++s_Compares, a.v == b.v; }
};

TEST(ListWhole, SharedElementsAreEqualWithoutComparing) {
  cow_List<Compared> a;
  for (int i = 0; i < 40; ++i) a.Append(Compared{i});
  cow_List<Compared> b = a;
  b.Get(39).v = 39;  // unshares the last block only
  Compared::s_Compares = 0;
  EXPECT_TRUE(a.IsEqual(b));
  EXPECT_EQ(Compared::s_Compares, 8);  // the 8 elements of the copied block
}

TEST(ListWhole, GetCArrayAndSort) {
  int n = -1;
  EXPECT_EQ(cow_List<int>().GetCArray(n), nullptr);
  EXPECT_EQ(n, 0);
  cow_List<int> l = Of({5, -3, 9, 0, 5, 2});
  int* a = l.GetCArray(n);
  ASSERT_EQ(n, 6);
  EXPECT_EQ(std::vector<int>(a, a + n), Items(l));
  mem_Free(a);
  cow_List<int> copy = l;
  l.Sort();
  EXPECT_EQ(Items(l), (std::vector<int>{-3, 0, 2, 5, 5, 9}));
  EXPECT_EQ(copy.ConstGet(0), 5);  // the copy keeps its order
  cow_List<cow_String> s;
  for (const char* t : {"pear", "apple", "fig", ""}) s.Append(cow_String(t));
  s.Sort();
  std::string sorted;
  for (int i = 0; i < s.Count(); ++i) sorted += std::string(s.ConstGet(i).c_str()) + ";";
  EXPECT_EQ(sorted, ";apple;fig;pear;");
}

TEST(ListSharing, AWriteToACopyCopiesOneBlock) {
  cow_List<int> a = Range(40);
  cow_List<int> b = a;
  EXPECT_EQ(a.UseCount(), 2u);
  b.Append(40);
  EXPECT_EQ(a.UseCount(), 1u);
  EXPECT_EQ(Items(a), Items(Range(40)));
  EXPECT_EQ(b.Count(), 41);
  EXPECT_TRUE(a.GetSlot(0) == b.GetSlot(0) && a.GetSlot(1) == b.GetSlot(1));
  EXPECT_NE(a.GetSlot(2), b.GetSlot(2));  // the written block alone was copied
  EXPECT_EQ((std::vector<int>{a.GetSlot(0)->m_UseCount, a.GetSlot(2)->m_UseCount}), (std::vector<int>{2, 1}));

  // Reads never copy; Get copies the one block it writes to.
  a = Range(64);
  b = a;
  EXPECT_EQ(&a.ConstGet(20), &b.ConstGet(20));
  EXPECT_EQ(&a[63], &b.Last());
  b.Get(20) = -1;
  EXPECT_EQ(a.ConstGet(20), 20);
  EXPECT_NE(&a.ConstGet(20), &b.ConstGet(20));
  EXPECT_EQ(&a.ConstGet(40), &b.ConstGet(40));
  int* own = &b.Get(21);
  EXPECT_EQ(own, &b.Get(21));  // already this list's own: no second copy
  const cow_List<int>& same = a;
  a = same;  // self-assignment keeps the count
  EXPECT_EQ(a.UseCount(), 1u);
  b = a;
  EXPECT_EQ(Items(b), Items(Range(64)));
  cow_List<int> c = a;
  c.Pop();  // the last block is shared: copied without the removed element
  c.RemoveIndex(0);
  EXPECT_EQ((std::vector<int>{a.Count(), a.First(), c.Count(), c.First()}), (std::vector<int>{64, 0, 62, 1}));
}

TEST(ListIter, WalksAForkedCopy) {
  cow_List<int> l = Range(50);
  cow_ListIter<int> it(l);
  l.Append(50);
  l.RemoveIndex(0);
  l.Get(10) = -1;
  int expect = 0;
  for (; it.More(); it.Next()) EXPECT_EQ(*it, expect++);
  EXPECT_EQ(expect, 50);
  it.Previous();
  EXPECT_EQ(it.Current(), 49);
  for (int i = 0; i < 17; ++i) it.Previous();
  EXPECT_EQ(it.Index(), 32);
  EXPECT_EQ(*it, 32);
  it.First();
  EXPECT_EQ(*it, 0);
  it.Previous();
  EXPECT_FALSE(it.More());
  it.Next();
  EXPECT_EQ(*it, 0);
  cow_List<int> m = Range(5);
  cow_ListIter<int> at(m);
  at.Next();
  at.Next();
  m.Insert(at, 77);
  m.Remove(at);  // index 2 again: the 77
  EXPECT_EQ(Items(m), Items(Range(5)));
  cow_ListIter<int> none{cow_List<int>()};
  EXPECT_FALSE(none.More());
}

TEST(ListOfLists, CopiesComparesAndStringLengths) {
  cow_List<cow_List<int>> outer;
  outer.Append(Range(3));
  outer.Append(Range(40));
  cow_List<cow_List<int>> copy = outer;
  copy.Get(1).Append(99);
  EXPECT_EQ((std::vector<int>{outer.ConstGet(1).Count(), copy.ConstGet(1).Count()}), (std::vector<int>{40, 41}));
  EXPECT_FALSE(outer.IsEqual(copy));
  copy.Get(1).Pop();
  EXPECT_TRUE(outer.IsEqual(copy));
  EXPECT_EQ(copy.FindMember(Range(40)), 1);

  cow_List<cow_String> l;
  EXPECT_EQ(GetLengthLongestString(l) + GetLengthShortestString(l), 0u);
  l.Append(cow_String());
  EXPECT_EQ(GetLengthLongestString(l), 0u);
  l.Append(cow_String("abc"));
  l.Prepend(cow_String("ab"));
  EXPECT_EQ(GetLengthLongestString(l), 3u);
}

TEST(ListDeathTest, IndexErrorsAbort) {
  cow_List<int> l = Range(3);
  EXPECT_DEATH(l.Get(3), "");
  EXPECT_DEATH(l.ConstGet(-1), "");
  EXPECT_DEATH((void)l[3], "");
  EXPECT_DEATH(cow_List<int>().Pop(), "");
  EXPECT_DEATH(cow_List<int>().First(), "");
  EXPECT_DEATH(l.InsertIndex(4, 0), "");
  EXPECT_DEATH(l.InsertIndex(-1, 0), "");
  EXPECT_DEATH(l.RemoveIndex(3), "");
  EXPECT_DEATH(l.Resize(-1), "");
  EXPECT_DEATH(l.SetFromArray(nullptr, -2), "");
  cow_ListIter<int> past(l);
  for (int i = 0; i < 3; ++i) past.Next();
  EXPECT_DEATH((void)past.Current(), "");
}

}  // namespace
