// The small value types kept in maps: blocked bit vectors and number formats.
#include <gtest/gtest.h>

#include <string>

#include "cow/cow_Map.h"
#include "omi/omi_BlkBitVect.h"
#include "uti/uti_NumFormat.h"

namespace {

std::string Str(const atr_StringBase& s) { return std::string(s.c_str(), s.Length()); }

TEST(BlkBitVect, BitsAcrossBlockEdges) {
  omi_BlkBitVect v;
  EXPECT_FALSE(v.Test(0));
  EXPECT_EQ(v.FindNext(0), -1);
  const unsigned edge = omi_BlkBitVect::BlockBits;
  for (unsigned i : {0u, 63u, 64u, edge - 1, edge, 5 * edge + 1, 0xFFFFFFFFu}) v.Set(i);
  EXPECT_EQ(v.Count(), 7u);
  EXPECT_TRUE(v.Test(edge - 1) && v.Test(edge) && v.Test(0xFFFFFFFFu));
  EXPECT_FALSE(v.Test(edge + 1));
  EXPECT_EQ(v.FindNext(1), 63);
  EXPECT_EQ(v.FindNext(65), edge - 1);
  EXPECT_EQ(v.FindNext(edge + 1), 5 * edge + 1);
  EXPECT_EQ(v.FindNext(5 * edge + 2), 0xFFFFFFFFll);
  v.Clear(63);
  v.Clear(3 * edge);  // a block never allocated
  EXPECT_EQ(v.FindNext(1), 64);
  EXPECT_EQ(v.Count(), 6u);
}

TEST(BlkBitVect, CopiesAreDeepAndEqualityIgnoresEmptyBlocks) {
  omi_BlkBitVect a;
  a.Set(10);
  a.Set(9000);
  omi_BlkBitVect b(a);
  b.Set(11);
  EXPECT_FALSE(a.Test(11));
  EXPECT_NE(a, b);
  b.Clear(11);
  EXPECT_EQ(a, b);
  b.Set(100000);
  b.Clear(100000);  // an allocated block of zeros
  EXPECT_EQ(a, b);
  a = a;
  EXPECT_TRUE(a.Test(9000));
  b.Reset();
  EXPECT_EQ(b, omi_BlkBitVect());

  cow_Map<int, omi_BlkBitVect> m;
  m.Insert(1, a);
  cow_Map<int, omi_BlkBitVect> n(m);
  n.Get(1).Set(12);
  EXPECT_FALSE(m.ConstGet(1).Test(12));
  EXPECT_TRUE(n.ConstGet(1).Test(12));
}

TEST(NumFormat, StylesWidthsAndClamping) {
  EXPECT_EQ(Str(uti_NumFormat().Format(0.5)), "0.5");
  EXPECT_EQ(Str(uti_NumFormat(uti_NumFormat::Fixed, 8, 2).Format(3.14159)), "    3.14");
  EXPECT_EQ(Str(uti_NumFormat(uti_NumFormat::Scientific, 0, 1).Format(1234.0)), "1.2e+03");
  EXPECT_EQ(Str(uti_NumFormat(uti_NumFormat::Fixed, 4, 0).Format(-12)), " -12");
  uti_NumFormat wild(static_cast<uti_NumFormat::Style>(9), 1 << 30, -3);
  EXPECT_EQ(wild.GetStyle(), uti_NumFormat::General);
  EXPECT_EQ(wild.Width(), uti_NumFormat::MaxWidth);
  EXPECT_EQ(wild.Precision(), 0);
  EXPECT_EQ(wild.Format(1.0).Length(), uti_NumFormat::MaxWidth);
  // The longest fixed text there is fits.
  cow_String huge = uti_NumFormat(uti_NumFormat::Fixed, 0, uti_NumFormat::MaxPrecision).Format(-1.7976931348623157e308);
  EXPECT_EQ(huge.Length(), 1 + 309 + 1 + uti_NumFormat::MaxPrecision);

  cow_Map<cow_String, uti_NumFormat> formats;
  formats.Insert(cow_String("stress"), uti_NumFormat(uti_NumFormat::Scientific, 12, 4));
  EXPECT_EQ(formats.ConstGet(cow_String("stress")).Width(), 12);
  EXPECT_EQ(formats.ConstGet(cow_String("missing")), uti_NumFormat());
}

}  // namespace
