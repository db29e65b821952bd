#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "atr/atr_String.h"
#include "atr/atr_Translate.h"
#include "cow/cow_String.h"
#include "mem/mem_Alloc.h"
#include "support/TestSupport.h"

namespace {

std::string S(const atr_StringBase& s) { return std::string(s.c_str(), s.Length()); }

TEST(StringCore, EmptyHasNoRecordAndCopiesShareUntilWritten) {
  atr_String e;
  EXPECT_STREQ(e.c_str(), "");
  EXPECT_EQ(e.UseCount(), 0);
  EXPECT_TRUE(atr_String(static_cast<const char*>(nullptr)).IsEmpty());
  atr_String a("hello");
  atr_String b(a);
  EXPECT_EQ(a.c_str(), b.c_str());
  EXPECT_EQ(a.UseCount(), 2);
  b[0] = 'j';  // non-const [] unshares
  EXPECT_EQ(S(a), "hello");
  EXPECT_EQ(S(b), "jello");
  EXPECT_EQ(a.UseCount(), 1);
  a = a;  // self-assignment keeps the count
  EXPECT_EQ(a.UseCount(), 1);
}

TEST(StringCore, NumbersAsDecimalTextAndEmbeddedZerosKept) {
  EXPECT_EQ(S(atr_String(-42)) + S(atr_String(4294967295u)), "-424294967295");
  EXPECT_EQ(S(atr_String(0.5)) + S(atr_String(1.25f)), "0.51.25");
  atr_String z("a\0b", 3);
  z.append("\0c", 2);
  EXPECT_EQ(S(z), std::string("a\0b\0c", 5));
}

TEST(StringCore, AppendFollowsTextLengthFromCount) {
  atr_String s("ab");
  s.append("xyz", -1, 1, 0x7FFFFFFF);
  EXPECT_EQ(S(s), "abyz");
  s.append(s);  // appending itself reads the text before it grows
  EXPECT_EQ(S(s), "abyzabyz");
  s.insert(2, "--", -1, 0, 0x7FFFFFFF);
  EXPECT_EQ(S(s), "ab--yzabyz");
  s.insert(0, s.c_str(), 2);
  EXPECT_EQ(S(s), "abab--yzabyz");

  // A run of short appends moves the text a logarithmic number of times,
  // and a piece taken from the text itself survives each move.
  atr_String run;
  std::string model;
  int moves = 0;
  for (int i = 0; i < 10000; ++i) {
    const char* before = run.c_str();
    if (i % 100 == 99) {
      run.append(run.c_str(), 8);
      model.append(model, 0, 8);
    } else {
      run.append("01234567", 8);
      model.append("01234567");
    }
    moves += run.c_str() != before;
  }
  EXPECT_EQ(S(run), model);
  EXPECT_LE(moves, 16);
}

TEST(StringCore, EditingInPlace) {
  atr_String s("0123456789");
  atr_String keep(s);
  s.Erase(2, 3);
  EXPECT_EQ(S(s), "0156789");
  s.Replace(1, 2, "XYZ");
  EXPECT_EQ(S(s), "0XYZ6789");
  EXPECT_EQ(S(keep), "0123456789");
  s.Erase(0);
  EXPECT_TRUE(s.IsEmpty());
}

TEST(StringCore, SearchAnswersMinusOneWhenAbsent) {
  atr_String s("abcabc");
  const int found[] = {s.Find("bc"), s.Find("bc", 2), s.Find("zz"), s.rfind("bc"), s.rfind("bc", -1, 3), s.rfind("zz")};
  const int want[] = {1, 4, -1, 4, 1, -1};
  for (int i = 0; i < 6; ++i) EXPECT_EQ(found[i], want[i]) << i;
  EXPECT_EQ(S(s.Substr(2, 3)), "cab");
  EXPECT_EQ(S(s.Substr(4)), "bc");
  EXPECT_TRUE(s.Substr(9).IsEmpty());
}

TEST(StringCore, TrimCaseAndSubstitute) {
  atr_String s("\n\n  Ab c \n");
  s.Trim("\n");
  EXPECT_EQ(S(s), "  Ab c ");
  s.LeftTrim(" ");
  EXPECT_EQ(S(s), "Ab c ");
  s.RightTrim(" ");
  EXPECT_EQ(S(s), "Ab c");
  s.ToUpper();
  EXPECT_EQ(S(s), "AB C");
  EXPECT_EQ(S(s.ToLower()), "ab c");
  atr_String t("a-b-c-d");
  EXPECT_EQ(t.Substitute(atr_String("-"), atr_String("+="), 2), 2);
  EXPECT_EQ(S(t), "a+=b+=c-d");
  atr_String only("\n\n");
  only.Trim("\n");
  EXPECT_TRUE(only.IsEmpty());
}

TEST(StringCore, AdoptAndBorrow) {
  char* buf = static_cast<char*>(mem_Malloc(6));
  std::memcpy(buf, "hello", 5);
  atr_String adopted(buf, 5, atr_String::Adopt);
  EXPECT_EQ(adopted.c_str(), buf);
  static const char text[] = "borrowed";
  atr_String borrowed(text, 8, atr_String::Borrow);
  EXPECT_EQ(borrowed.c_str(), text);
  borrowed.append("!");  // the first write copies
  EXPECT_NE(borrowed.c_str(), text);
  EXPECT_EQ(S(borrowed), "borrowed!");
}

TEST(StringCore, NaturalOrderComparesDigitRunsByValue) {
  atr_String a("file2"), b("file10");
  EXPECT_GT(a, b);
  atr_getNaturalOrder() = true;
  EXPECT_LT(a, b);
  EXPECT_LT(atr_String("x01"), atr_String("x1a"));
  EXPECT_EQ(atr_String("v007").Compare(atr_String("v007")), 0);
  atr_getNaturalOrder() = false;
}

TEST(Translate, NumberedAndPlainPlaceholders) {
  atr_translate t("*** Error: %1$s failed\nerror: %2$s\nfile: %3$s");
  atr_SubstituteFormat(t, 1, "Read");
  atr_SubstituteFormat(t, 3, atr_String("f.dat"));
  EXPECT_EQ(S(t.Result()), "*** Error: Read failed\nerror: %2$s\nfile: f.dat");
  atr_translate p("Class %s/Version %d at 100%%");
  atr_SubstituteFormat(p, 1, "X");
  atr_SubstituteFormat(p, 2, -7);
  EXPECT_EQ(S(p.Result()), "Class X/Version -7 at 100%");
  atr_translate only2("only %2$s");
  atr_SubstituteFormat(only2, 1, "one");
  EXPECT_EQ(S(only2.Result()), "only %2$s");
}

TEST(Translate, CatalogReplacesKnownMessages) {
  vnktest::TempDir dir;
  std::string path = dir.File("cat.txt");
  FILE* f = fopen(path.c_str(), "w");
  fputs("# catalog\nHello %1$s\tBonjour %1$s\nTwo\\nlines\tDeux\\tmots\n", f);
  fclose(f);
  ASSERT_TRUE(atr_loadTranslationCatalog(path.c_str()));
  EXPECT_EQ(atr_translationCatalogSize(), 2);
  atr_translate t("Hello %1$s");
  atr_SubstituteFormat(t, 1, 5u);
  EXPECT_EQ(S(t.Result()), "Bonjour 5");
  EXPECT_EQ(S(atr_translate("Two\nlines").Result()), "Deux\tmots");
  EXPECT_EQ(S(atr_translate("Unknown").Result()), "Unknown");
  EXPECT_FALSE(atr_loadTranslationCatalog(dir.File("missing").c_str()));
  EXPECT_EQ(atr_translationCatalogSize(), 2);
  atr_clearTranslationCatalog();
  EXPECT_EQ(S(atr_translate("Hello %1$s").Result()), "Hello %1$s");
}

TEST(StringCore, CowStringAssignFromCString) {
  cow_String s("x");
  cow_String t(s);
  s = "longer text";
  EXPECT_EQ(S(s), "longer text");
  EXPECT_EQ(S(t), "x");
  s = static_cast<const char*>(nullptr);
  EXPECT_TRUE(s.IsEmpty());
}

}  // namespace
