// The small value types kept in maps: blocked bit vectors and number formats.
#include <gtest/gtest.h>

#include <string>

#include "cow/cow_Map.h"
#include "omi/omi_BlkBitVect.h"
#include "uti/uti_NumFormat.h"

namespace {

std::string Str(const atr_StringBase& s) { return std::string(s.c_str(), s.Length()); }

TEST(BlkBitVect, BlockEdgesDeepCopiesAndEquality) {
  omi_BlkBitVect v;
  EXPECT_EQ(v.FindNext(0), -1);
  const unsigned edge = omi_BlkBitVect::BlockBits;
  for (unsigned i : {0u, 63u, 64u, edge - 1, edge, 5 * edge + 1, 0xFFFFFFFFu}) v.Set(i);
  EXPECT_EQ(v.Count(), 7u);
  EXPECT_FALSE(v.Test(edge + 1));
  EXPECT_EQ(v.FindNext(65), edge - 1);
  EXPECT_EQ(v.FindNext(edge + 1), 5 * edge + 1);
  EXPECT_EQ(v.FindNext(5 * edge + 2), 0xFFFFFFFFll);
  v.Clear(63);
  v.Clear(3 * edge);  // a block never allocated
  EXPECT_EQ(v.FindNext(1), 64);

  cow_Map<int, omi_BlkBitVect> m;
  m.Insert(1, v);
  cow_Map<int, omi_BlkBitVect> n(m);
  n.Get(1).Set(12);
  EXPECT_FALSE(m.ConstGet(1).Test(12));
  EXPECT_NE(m.ConstGet(1), n.ConstGet(1));
  n.Get(1).Clear(12);
  n.Get(1).Set(9000000);
  n.Get(1).Clear(9000000);  // an allocated block of zeros equals a missing one
  EXPECT_EQ(m.ConstGet(1), n.ConstGet(1));
}

TEST(NumFormat, StylesWidthsAndClamping) {
  EXPECT_EQ(Str(uti_NumFormat().Format(0.5)), "0.5");
  EXPECT_EQ(Str(uti_NumFormat(uti_NumFormat::Fixed, 8, 2).Format(3.14159)), "    3.14");
  EXPECT_EQ(Str(uti_NumFormat(uti_NumFormat::Scientific, 0, 1).Format(1234.0)), "1.2e+03");
  EXPECT_EQ(Str(uti_NumFormat(uti_NumFormat::Fixed, 4, 0).Format(-12)), " -12");
  uti_NumFormat wild(static_cast<uti_NumFormat::Style>(9), 1 << 30, -3);
  EXPECT_EQ(wild, uti_NumFormat(uti_NumFormat::General, uti_NumFormat::MaxWidth, 0));
  EXPECT_EQ(wild.Format(1.0).Length(), uti_NumFormat::MaxWidth);
  cow_String huge = uti_NumFormat(uti_NumFormat::Fixed, 0, uti_NumFormat::MaxPrecision).Format(-1.7976931348623157e308);
  EXPECT_EQ(huge.Length(), 1 + 309 + 1 + uti_NumFormat::MaxPrecision);  // the longest text there is
}

}  // namespace
