#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "utl/utl_Base64.h"

namespace {

const char kAlpha[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+!";

cow_String C(const std::string& s) { return cow_String(s.data(), static_cast<int>(s.size())); }
std::string S(const atr_StringBase& s) { return std::string(s.c_str(), s.Length()); }

std::vector<utl_Base64PathEnm> Paths() {
  std::vector<utl_Base64PathEnm> ps;
  for (int p = 0; p < utl_Base64PathCount; ++p)
    if (utl_base64PathSupported(static_cast<utl_Base64PathEnm>(p))) ps.push_back(static_cast<utl_Base64PathEnm>(p));
  return ps;
}

// ----- references written straight from the rules ------------------------
std::string RefEncode(const std::string& d, bool lineBreaks) {
  std::string out;
  const std::size_t n = d.size(), r = n % 3;
  auto b = [&](std::size_t i) { return static_cast<unsigned char>(d[i]); };
  for (std::size_t i = 0; i + 3 <= n - r; i += 3) {
    out += kAlpha[b(i) >> 2];
    out += kAlpha[((b(i) << 4) | (b(i + 1) >> 4)) & 63];
    out += kAlpha[((b(i + 1) << 2) | (b(i + 2) >> 6)) & 63];
    out += kAlpha[b(i + 2) & 63];
    if (lineBreaks && (i + 3) % 57 == 0) out += '\n';
  }
  if (r == 1) out += std::string() + kAlpha[b(n - 1) >> 2] + kAlpha[(b(n - 1) & 3) << 4] + "==";
  if (r == 2)
    out += std::string() + kAlpha[b(n - 2) >> 2] + kAlpha[((b(n - 2) << 4) | (b(n - 1) >> 4)) & 63] +
           kAlpha[(b(n - 1) & 15) << 2] + "=";
  if (lineBreaks && (r != 0 || n % 57 != 0)) out += '\n';
  return out;
}

// The decoded bytes, or "!" followed by the error text. The pending group
// starts at zero and is cleared each time it is appended.
std::string RefDecode(std::string t, bool strict) {
  while (!t.empty() && t.back() == '\n') t.pop_back();
  t.erase(0, t.find_first_not_of('\n') == std::string::npos ? t.size() : t.find_first_not_of('\n'));
  t += '\0';
  std::string out;
  unsigned char g[3] = {0, 0, 0};
  for (std::size_t i = 0;; ++i) {
    const unsigned char c = static_cast<unsigned char>(t[i]);
    if (c == 0) return i % 4 ? "!padding error" : out;
    if (c == '=') {
      if (i % 4 == 2 && t[i + 1] == '=') return out + char(g[0]);
      if (i % 4 == 3) return out + char(g[0]) + char(g[1]);
      return "!padding error";
    }
    const char* a = std::strchr(kAlpha, c);
    if (a == nullptr) {
      if (strict) return "!strict checking failure";
      continue;
    }
    const unsigned v = static_cast<unsigned>(a - kAlpha);
    switch (i % 4) {
      case 0: g[0] = static_cast<unsigned char>(v << 2); break;
      case 1: g[0] = static_cast<unsigned char>(g[0] + (v >> 4)); g[1] = static_cast<unsigned char>(v << 4); break;
      case 2: g[1] = static_cast<unsigned char>(g[1] + (v >> 2)); g[2] = static_cast<unsigned char>(v << 6); break;
      case 3: out.append(reinterpret_cast<char*>(g), 2) += char(g[2] + v); g[0] = g[1] = g[2] = 0; break;
    }
  }
}

std::string Decode(utl_Base64PathEnm path, const std::string& text, bool strict) {
  cow_String t = C(text);
  try {
    return S(utl_base64DecodeWith(path, t, strict));
  } catch (const utl_Base64CodecError& e) {
    return "!" + S(e.Value());
  }
}

std::string RandomBytes(std::size_t n, std::mt19937& rng) {
  std::string s(n, '\0');
  for (auto& c : s) c = static_cast<char>(rng());
  return s;
}

std::string RandomAlphabet(std::size_t n, std::mt19937& rng) {
  std::string s(n, 'A');
  for (auto& c : s) c = kAlpha[rng() % 64];
  return s;
}

// ----- known vectors -------------------------------------------------------
TEST(Base64, KnownVectors) {
  auto enc = [](const std::string& d, bool lb) { cow_String c = C(d); return S(utl_base64Encode(c, lb)); };
  EXPECT_EQ(enc("Man", false), "TWFu");
  EXPECT_EQ(enc("Ma", false), "TWE=");
  EXPECT_EQ(enc("M", false), "TQ==");
  EXPECT_EQ(enc("\xFF", false), "!w==");
  EXPECT_EQ(enc(std::string("\0\0\0", 3), false), "AAAA");
  EXPECT_EQ(enc("", false), "");
  EXPECT_EQ(enc("", true), "");
  EXPECT_EQ(enc("Man", true), "TWFu\n");

  const std::string e57 = enc(std::string(57, 'x'), true), e58 = enc(std::string(58, 'x'), true);
  EXPECT_EQ(e57.size(), 77u);
  EXPECT_EQ(e57.find('\n'), 76u);
  EXPECT_EQ(e58.size(), 82u);
  EXPECT_EQ(e58.substr(76), "\neA==\n");

  auto dec = [](const std::string& t, bool strict) { return Decode(utl_base64Path(), t, strict); };
  EXPECT_EQ(dec("TWFu", true), "Man");
  EXPECT_EQ(dec("!w==", true), "\xFF");
  EXPECT_EQ(dec("/w==", true), "!strict checking failure");
  EXPECT_EQ(dec("TWF", false), "!padding error");
  EXPECT_EQ(dec("T===", false), "!padding error");
  EXPECT_EQ(dec("TW=x", false), "!padding error");   // a single '=' at position 2
  EXPECT_EQ(dec("TWE=trailing junk", true), "Ma");  // what follows padding is ignored
  EXPECT_EQ(dec("TW u", true), "!strict checking failure");
  EXPECT_EQ(dec("", true), "");
  EXPECT_EQ(dec("\n\n\n", true), "");
  EXPECT_EQ(dec(std::string("TWFu\0TWFu", 9), true), "Man");  // a zero byte ends the text
  EXPECT_EQ(dec(std::string("TWF\0", 4), true), "!padding error");
}

TEST(Base64, DecodingTrimsTheCallersStringOnly) {
  cow_String text("\n\nTWFu\n");
  cow_String copy(text);
  EXPECT_EQ(S(utl_base64Decode(text, false)), "Man");
  EXPECT_EQ(S(text), "TWFu");
  EXPECT_EQ(S(copy), "\n\nTWFu\n");  // the shared copy is untouched
  cow_String onlyFeeds("\n\n");
  EXPECT_EQ(S(utl_base64Decode(onlyFeeds, true)), "");
  EXPECT_TRUE(onlyFeeds.IsEmpty());
}

TEST(Base64, ErrorsAreCodecErrorsWithTheirPosition) {
  cow_String bad("T===");
  try {
    utl_base64Decode(bad, true);
    FAIL() << "no exception";
  } catch (const nex_TextException& e) {
    EXPECT_EQ(S(e.Value()), "padding error");
    EXPECT_EQ(S(e.FromFile()), "utl/impl/utl_Base64");
    EXPECT_GT(e.FromLine(), 0);
    // Propagate keeps the exact type.
    EXPECT_THROW(e.Propagate(), utl_Base64CodecError);
  }
}

// ----- every path against the references ----------------------------------
TEST(Base64, RoundTripsEveryLengthOnEveryPath) {
  std::mt19937 rng(1);
  for (auto path : Paths()) {
    SCOPED_TRACE(utl_base64PathName(path));
    for (std::size_t n = 0; n <= 300; ++n) {
      const std::string data = RandomBytes(n, rng);
      cow_String d = C(data);
      const std::string plain = S(utl_base64EncodeWith(path, d, false));
      const std::string lines = S(utl_base64EncodeWith(path, d, true));
      ASSERT_EQ(plain, RefEncode(data, false)) << n;
      ASSERT_EQ(lines, RefEncode(data, true)) << n;
      ASSERT_EQ(Decode(path, plain, true), data) << n;
      // Inner line feeds must be removed by the caller; the last is trimmed.
      std::string joined;
      for (char c : lines)
        if (c != '\n') joined += c;
      joined += '\n';
      ASSERT_EQ(Decode(path, joined, true), data) << n;
      // Kept inside, they shift the positions, as the rules say.
      ASSERT_EQ(Decode(path, lines, false), RefDecode(lines, false)) << n;
    }
  }
}

TEST(Base64, LenientDecodingOfForeignCharactersFollowsTheRules) {
  std::mt19937 rng(2);
  const char foreign[] = {' ', '\n', '\r', '\t', '/', '=', '\0', '@', '-', '\x80', '\xFF'};
  for (int round = 0; round < 3000; ++round) {
    std::string text = RandomAlphabet(rng() % 200, rng);
    for (int k = static_cast<int>(rng() % 4); k > 0 && !text.empty(); --k)
      text[rng() % text.size()] = foreign[rng() % sizeof foreign];
    if (rng() % 4 == 0) text += rng() % 2 ? "=" : "==";
    for (bool strict : {false, true})
      for (auto path : Paths())
        ASSERT_EQ(Decode(path, text, strict), RefDecode(text, strict))
            << utl_base64PathName(path) << " strict " << strict << " text \"" << text << "\"";
  }
}

// A long run of alphabet characters with one other byte at each position:
// the vector step must hand over to the rules exactly there.
TEST(Base64, VectorPathsHandOverAtTheFirstForeignByte) {
  std::mt19937 rng(3);
  const std::string run = RandomAlphabet(256, rng);
  const unsigned char some[] = {' ', '\n', '/', '=', 0, 0x80, 0xFF, '@', '[', '`', '{', ':', '*', ',', '"'};
  for (std::size_t pos = 0; pos < run.size(); ++pos)
    for (unsigned char c : some) {
      std::string text = run;
      text[pos] = static_cast<char>(c);
      for (bool strict : {false, true}) {
        const std::string expect = RefDecode(text, strict);
        for (auto path : Paths()) ASSERT_EQ(Decode(path, text, strict), expect) << utl_base64PathName(path) << " at " << pos << " byte " << int(c);
      }
    }
  // Every byte value, in each half of a vector block.
  for (int c = 0; c < 256; ++c)
    for (std::size_t pos : {0u, 17u, 33u, 63u, 64u, 130u}) {
      std::string text = run;
      text[pos] = static_cast<char>(c);
      const std::string expect = RefDecode(text, false);
      for (auto path : Paths()) ASSERT_EQ(Decode(path, text, false), expect) << utl_base64PathName(path) << " byte " << c;
    }
}

// Beyond 8 MiB the vector kernels write around the caches in aligned blocks.
TEST(Base64, LargeBuffersAgreeOnEveryPath) {
  std::mt19937 rng(4);
  for (std::size_t n : {std::size_t(1) << 20, std::size_t(57) * 1000 + 2, (std::size_t(9) << 20) + 1}) {
    const std::string data = RandomBytes(n, rng);
    cow_String d = C(data);
    const std::string plain = RefEncode(data, false), lines = RefEncode(data, true);
    for (auto path : Paths()) {
      SCOPED_TRACE(utl_base64PathName(path));
      // Compared as booleans: a diff of megabytes helps nobody.
      EXPECT_TRUE(S(utl_base64EncodeWith(path, d, false)) == plain);
      EXPECT_TRUE(S(utl_base64EncodeWith(path, d, true)) == lines);
      EXPECT_TRUE(Decode(path, plain, true) == data);
    }
  }
  // A foreign byte deep inside a large text stops the wide steps exactly there.
  const std::string data = RandomBytes(std::size_t(12) << 20, rng);
  std::string text = RefEncode(data, false);
  text[(std::size_t(10) << 20) + 5] = '*';
  const std::string lenient = RefDecode(text, false);
  for (auto path : Paths()) {
    SCOPED_TRACE(utl_base64PathName(path));
    EXPECT_EQ(Decode(path, text, true), "!strict checking failure");
    EXPECT_TRUE(Decode(path, text, false) == lenient);
  }
}

}  // namespace
