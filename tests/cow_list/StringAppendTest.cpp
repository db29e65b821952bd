// The append path of the string core that string lists lean on: short pieces,
// pieces taken from the string itself, and appends to shared or borrowed text.
#include <gtest/gtest.h>

#include <string>

#include "atr/atr_String.h"

namespace {

std::string S(const atr_StringBase& s) { return std::string(s.c_str(), s.Length()); }

TEST(StringAppend, ShortPiecesPiecesOfItselfAndSharedOrBorrowedText) {
  const char* digits = "0123456789abcdefghij";
  atr_String s;
  std::string model;
  for (int round = 0; round < 3; ++round)
    for (int n = 1; n <= 20; ++n) {
      s.append(digits, n);
      model.append(digits, n);
      ASSERT_EQ(S(s), model);
      ASSERT_EQ(s.c_str()[s.Length()], '\0');
    }
  atr_String r("abcdefghijklmnop");
  r.Reserve(200);
  r.append(r.c_str() + 3, 5);  // fits: no reallocation
  EXPECT_EQ(S(r), "abcdefghijklmnopdefgh");
  atr_String t("0123456789");
  for (int i = 0; i < 6; ++i) t.append(t.c_str(), t.Length());  // grows while reading itself
  EXPECT_EQ(t.Length(), 640);
  EXPECT_EQ(S(t).substr(630), "0123456789");
  // Shared and borrowed text is copied first.
  atr_String a("shared");
  atr_String b(a);
  b.append("!", 1);
  EXPECT_EQ(S(a) + S(b), "sharedshared!");
  static const char buffer[] = "borrowed";
  atr_String c(buffer, 8, atr_StringBase::Borrow);
  c.append(c.c_str() + 6, 2);
  EXPECT_EQ(S(c) + " " + buffer, "borroweded borrowed");
  atr_String d;
  d.append(nullptr, 4);
  d.append("q", 0);
  EXPECT_TRUE(d.IsEmpty());
}

}  // namespace
