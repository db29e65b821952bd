#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <random>
#include <vector>

#include "utl/utl_Crc32.h"

namespace {

// Bit by bit, straight from the definition: the oracle for every kernel.
std::uint32_t BitwiseCrc(const unsigned char* p, std::size_t n, std::uint32_t crc = 0xFFFFFFFFu) {
  for (std::size_t i = 0; i < n; ++i) {
    crc ^= std::uint32_t(p[i]) << 24;
    for (int b = 0; b < 8; ++b) crc = (crc & 0x80000000u) ? (crc << 1) ^ 0x04C11DB7u : crc << 1;
  }
  return crc;
}

std::vector<unsigned char> RandomBytes(std::size_t n, std::uint32_t seed) {
  std::mt19937 rng(seed);
  std::vector<unsigned char> v(n);
  for (auto& c : v) c = static_cast<unsigned char>(rng());
  return v;
}

std::vector<utl_Crc32KernelEnm> SupportedKernels() {
  std::vector<utl_Crc32KernelEnm> ks;
  for (int k = 0; k < utl_Crc32KernelCount; ++k)
    if (utl_crc32KernelSupported(static_cast<utl_Crc32KernelEnm>(k))) ks.push_back(static_cast<utl_Crc32KernelEnm>(k));
  return ks;
}

TEST(Crc32, CheckValues) {
  const char* digits = "123456789";
  EXPECT_EQ(utl_crc32(digits, 9), 0x0376E6E7u);
  EXPECT_EQ(utl_crc32(nullptr, 0), 0xFFFFFFFFu);
  EXPECT_EQ(utl_crc32("", 0, 0x12345678u), 0x12345678u);
  for (auto k : SupportedKernels()) {
    SCOPED_TRACE(utl_crc32KernelName(k));
    EXPECT_EQ(utl_crc32With(k, digits, 9), 0x0376E6E7u);
    EXPECT_EQ(utl_crc32With(k, nullptr, 0), 0xFFFFFFFFu);
  }
  // A zero running value over zero bytes stays zero: no hidden final XOR.
  const unsigned char zeros[64] = {};
  EXPECT_EQ(utl_crc32(zeros, sizeof zeros, 0), 0u);
}

TEST(Crc32, KernelChoiceFollowsTheProcessor) {
  utl_Crc32KernelEnm chosen = utl_crc32Kernel();
  EXPECT_TRUE(utl_crc32KernelSupported(chosen));
  EXPECT_NE(chosen, utl_Crc32Table);
  if (utl_crc32KernelSupported(utl_Crc32Vpclmul)) {
    EXPECT_EQ(chosen, utl_Crc32Vpclmul);
  }
  EXPECT_FALSE(utl_crc32KernelSupported(utl_Crc32KernelCount));
  EXPECT_STREQ(utl_crc32KernelName(utl_Crc32KernelCount), "?");
  std::printf("[ crc32    ] kernel in use: %s\n", utl_crc32KernelName(chosen));
}

TEST(Crc32, TableMatchesTheDefinition) {
  auto data = RandomBytes(3000, 1);
  for (std::size_t n : {0, 1, 2, 3, 4, 5, 15, 16, 17, 100, 3000})
    EXPECT_EQ(utl_crc32With(utl_Crc32Table, data.data(), n), BitwiseCrc(data.data(), n)) << n;
}

// Every kernel, every alignment 0..63, random lengths up to 4096 plus the
// edges of each kernel's block sizes.
TEST(Crc32, EveryKernelAgreesWithTheTableAtEveryAlignment) {
  auto data = RandomBytes(4096 + 64, 2);
  std::mt19937 rng(3);
  std::vector<std::size_t> lengths = {0, 1, 3, 4, 15, 16, 17, 31, 32, 63, 64, 65, 127, 128, 129,
                                      255, 256, 257, 319, 320, 511, 512, 513, 1023, 1024, 4095, 4096};
  for (int i = 0; i < 40; ++i) lengths.push_back(rng() % 4097);
  for (auto k : SupportedKernels()) {
    SCOPED_TRACE(utl_crc32KernelName(k));
    for (std::size_t align = 0; align < 64; ++align)
      for (std::size_t n : lengths) {
        const unsigned char* p = data.data() + align;
        std::uint32_t seed = static_cast<std::uint32_t>(rng());
        ASSERT_EQ(utl_crc32With(k, p, n, seed), utl_crc32With(utl_Crc32Table, p, n, seed))
            << "align " << align << " length " << n;
      }
  }
}

TEST(Crc32, ContinuesAcrossSplitPoints) {
  auto data = RandomBytes(2000, 4);
  const std::uint32_t whole = BitwiseCrc(data.data(), data.size());
  for (auto k : SupportedKernels()) {
    SCOPED_TRACE(utl_crc32KernelName(k));
    for (std::size_t cut = 0; cut <= data.size(); cut += (cut < 300 ? 1 : 97)) {
      std::uint32_t a = utl_crc32With(k, data.data(), cut);
      ASSERT_EQ(utl_crc32With(k, data.data() + cut, data.size() - cut, a), whole) << cut;
    }
    // Three pieces through the public entry point.
    std::uint32_t c = utl_crc32(data.data(), 7);
    c = utl_crc32(data.data() + 7, 1000, c);
    EXPECT_EQ(utl_crc32(data.data() + 1007, 993, c), whole);
  }
}

TEST(Crc32, LargeBufferAndCorruption) {
  const std::size_t n = (std::size_t(8) << 20) + 13;
  auto data = RandomBytes(n, 5);
  const std::uint32_t expect = utl_crc32With(utl_Crc32Slicing16, data.data(), n);
  EXPECT_EQ(utl_crc32With(utl_Crc32Table, data.data(), n), expect);
  for (auto k : SupportedKernels()) EXPECT_EQ(utl_crc32With(k, data.data(), n), expect) << utl_crc32KernelName(k);
  // One flipped bit anywhere changes the value.
  std::mt19937 rng(6);
  for (int i = 0; i < 8; ++i) {
    std::size_t at = rng() % n;
    unsigned char was = data[at];
    data[at] ^= static_cast<unsigned char>(1u << (rng() % 8));
    EXPECT_NE(utl_crc32(data.data(), n), expect) << at;
    data[at] = was;
  }
}

}  // namespace
