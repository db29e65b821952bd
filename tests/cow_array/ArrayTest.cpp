// Fixed and two-dimensional arrays: lengths and shapes at the edges, sharing
// until a write, equality, element types with a life of their own, maps of
// arrays, and the checked indexes of debug builds.
#include <gtest/gtest.h>

#include "cow/cow_2DArray.h"
#include "cow/cow_FixedArray.h"

namespace {

TEST(FixedArray, LengthsAndEquality) {
  cow_FixedArray<int> dflt;
  EXPECT_EQ(dflt.Length(), 10);
  cow_FixedArray<int> empty(0, 7), empty2(0, 9);
  EXPECT_EQ(empty.Length(), 0);
  EXPECT_EQ(empty.ConstData(), nullptr);
  EXPECT_TRUE(empty == empty2);
  EXPECT_EQ(cow_FixedArray<int>(-3, 1).Length(), 0);

  cow_FixedArray<double> a(3, 1.5), b(3, 1.5), c(4, 1.5);
  EXPECT_TRUE(a == b);
  EXPECT_TRUE(a != c);  // lengths differ whatever the contents
  b.Set(2, 2.5);
  EXPECT_TRUE(a != b);
  EXPECT_EQ(b[2], 2.5);
  EXPECT_EQ(b.ConstGet(0), 1.5);
}

TEST(FixedArray, CopiesShareUntilWritten) {
  cow_FixedArray<float> a(5, 1.0f);
  cow_FixedArray<float> b(a);
  EXPECT_EQ(a.UseCount(), 2u);
  EXPECT_EQ(a.ConstData(), b.ConstData());
  b.Get(4) = 9.0f;  // b copies first
  EXPECT_EQ(a.ConstGet(4), 1.0f);
  EXPECT_EQ(b.ConstGet(4), 9.0f);
  EXPECT_EQ(a.UseCount(), 1u);
  EXPECT_NE(a.ConstData(), b.ConstData());

  // Assignment shares; a = a keeps the array alive.
  cow_FixedArray<float> c(1, 0.0f);
  c = a;
  EXPECT_EQ(c.ConstData(), a.ConstData());
  c = c;
  EXPECT_EQ(c.ConstGet(0), 1.0f);
  EXPECT_EQ(a.UseCount(), 2u);
}

TEST(FixedArray, RepresentationCopyAndAssignment) {
  cow_FixedArrayRep<cow_String> r(3);
  r.Data()[0] = "a";
  r.Data()[2] = "c";
  cow_FixedArrayRep<cow_String> s(r);
  EXPECT_TRUE(s == r);
  cow_FixedArrayRep<cow_String> t(1);
  t = r;
  EXPECT_EQ(t.Length(), 3);
  EXPECT_EQ(t.Data()[2], "c");
  t = t;
  EXPECT_EQ(t.Data()[0], "a");
  t.Data()[1] = "b";
  EXPECT_TRUE(t != r);
}

TEST(FixedArray, StringElementsStartEmptyAndOutliveTheirArray) {
  cow_String kept;
  {
    cow_FixedArray<cow_String> a;  // class elements are constructed
    for (int i = 0; i < a.Length(); ++i) EXPECT_EQ(a.ConstGet(i).Length(), 0);
    a.Set(3, "three");
    kept = a.ConstGet(3);
  }
  EXPECT_EQ(kept, "three");
}

TEST(TwoDArray, ShapesStorageAndRowMajorOrder) {
  EXPECT_EQ(cow_2DArray<int>(0, 5).ConstData(), nullptr);
  EXPECT_EQ(cow_2DArray<int>(5, 0).ConstData(), nullptr);
  EXPECT_EQ(cow_2DArray<int>(0, 0).Count(), 0u);
  EXPECT_TRUE(cow_2DArray<int>(0, 5) != cow_2DArray<int>(5, 0));

  cow_2DArray<int> a(2, 3, 0);
  for (int r = 0; r < 2; ++r)
    for (int c = 0; c < 3; ++c) a.Set(r, c, 10 * r + c);
  const int expected[] = {0, 1, 2, 10, 11, 12};
  for (int i = 0; i < 6; ++i) EXPECT_EQ(a.ConstData()[i], expected[i]);
  EXPECT_EQ(a.ConstRow(1)[2], 12);
  EXPECT_EQ(a.Rows(), 2);
  EXPECT_EQ(a.Columns(), 3);
}

TEST(TwoDArray, CopiesShareUntilWritten) {
  cow_2DArray<cow_String> a(2, 2, cow_String("x"));
  cow_2DArray<cow_String> b(a);
  EXPECT_EQ(a.ConstData(), b.ConstData());
  b.Row(1)[0] = "y";
  EXPECT_EQ(a.ConstGet(1, 0), "x");
  EXPECT_EQ(b.ConstGet(1, 0), "y");
  EXPECT_TRUE(a != b);
  cow_2DArray<double> d(3, 1, 2.0);
  cow_2DArray<double> e(d);
  e.Get(2, 0) = 4.0;
  EXPECT_EQ(d.ConstGet(2, 0), 2.0);
  EXPECT_TRUE(d == cow_2DArray<double>(3, 1, 2.0));
}

TEST(ArrayMaps, FixedArraysAsMapValues) {
  cow_Map<cow_String, cow_FixedArray<double>> m;
  m.Insert("a", cow_FixedArray<double>(2, 0.5));
  cow_Map<cow_String, cow_FixedArray<double>> copy(m);
  m.Get("a").Set(1, 7.0);  // unshares the map node, then the array
  EXPECT_EQ(copy.ConstGet("a").ConstGet(1), 0.5);
  EXPECT_EQ(m.ConstGet("a").ConstGet(1), 7.0);
  EXPECT_EQ(m.ConstGet("absent").Length(), 10);  // a default array

  cow_Map<int, cow_FixedArray<int>> n;
  for (int k = 0; k < 100; ++k) n.Insert(k, cow_FixedArray<int>(k, k));
  EXPECT_EQ(n.ConstGet(42).Length(), 42);
  EXPECT_EQ(n.ConstGet(42).ConstGet(41), 42);
}

#ifndef NDEBUG
TEST(ArrayIndexDeathTest, DebugBuildsCheckIndexes) {
  cow_FixedArray<int> a(3, 0);
  EXPECT_DEATH(a.ConstGet(3), "cow_FixedArray: index 3 out of range \\[0, 3\\)");
  EXPECT_DEATH(a.Get(-1), "cow_FixedArray: index -1 out of range");
  cow_2DArray<float> b(2, 4, 0.0f);
  EXPECT_DEATH(b.ConstGet(2, 0), "cow_2DArray row: index 2 out of range \\[0, 2\\)");
  EXPECT_DEATH(b.Get(0, 4), "cow_2DArray column: index 4 out of range \\[0, 4\\)");
}
#endif

}  // namespace
