// CRC-32 (0x04C11DB7, most significant bit first) by carry-less multiply
// folding, on 128-bit and on 512-bit vectors.
//
// Each 16-byte block is loaded byte-reversed, so that its first message bit
// is bit 127 and the block reads as a polynomial of degree < 128. A block V
// that lies D bits before another block B contributes V * x^D to it; with V
// split into halves H * x^64 + L that is congruent (mod P) to
//   H * (x^(D+64) mod P)  +  L * (x^D mod P),
// two 64 x 32-bit carry-less products that still fit in 128 bits. Folding
// keeps one or more accumulators congruent to the message read so far; the
// last one is reduced to 32 bits by Barrett's method, and the few bytes left
// over go through the table.
//
// The functions carry target attributes, so the rest of the library is built
// for the baseline processor; utl_Crc32.cpp calls them only after checking
// the CPU. The compiler ends each wide-vector function with vzeroupper.
#include "utl/impl/utl_Crc32Kernels.h"

#if defined(UTL_CRC32_HAVE_CLMUL)

#include "utl/impl/utl_Immintrin.h"

namespace utl_crc32_impl {
namespace {

// ----- constants, computed by the compiler ---------------------------------
constexpr std::uint32_t kPoly = 0x04C11DB7u;

// x^k mod P.
constexpr std::uint64_t XPowMod(unsigned k) {
  std::uint32_t r = 1;
  for (unsigned i = 0; i < k; ++i) r = (r & 0x80000000u) ? (r << 1) ^ kPoly : r << 1;
  return r;
}

// floor(x^64 / P), 33 bits: the Barrett constant.
constexpr std::uint64_t BarrettMu() {
  unsigned __int128 rem = static_cast<unsigned __int128>(1) << 64;
  const unsigned __int128 p = (static_cast<unsigned __int128>(1) << 32) | kPoly;
  std::uint64_t q = 0;
  for (int bit = 64; bit >= 32; --bit)
    if ((rem >> bit) & 1) {
      q |= std::uint64_t(1) << (bit - 32);
      rem ^= p << (bit - 32);
    }
  return q;
}

constexpr std::uint64_t kPoly33 = (std::uint64_t(1) << 32) | kPoly;
constexpr std::uint64_t kMu = BarrettMu();
static_assert(kMu == 0x104D101DFull, "Barrett constant of 0x04C11DB7");

// Folding distances in bits: one block, four blocks (one 512-bit vector),
// and sixteen blocks (four 512-bit vectors), plus the lane offsets used when
// a 512-bit vector is reduced to one block.
#define UTL_FOLD_PAIR(d) static_cast<long long>(XPowMod((d) + 64)), static_cast<long long>(XPowMod(d))

#define UTL_TARGET_128 __attribute__((target("sse4.1,pclmul")))
#define UTL_TARGET_512 __attribute__((target("sse4.1,pclmul,avx2,avx512f,avx512bw,avx512vl,vpclmulqdq")))

// ----- 128-bit helpers -----------------------------------------------------
UTL_TARGET_128 inline __m128i Reverse128() {
  return _mm_setr_epi8(15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0);
}

UTL_TARGET_128 inline __m128i Load128(const unsigned char* p, __m128i reverse) {
  return _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)), reverse);
}

// v * x^D + next, with k = (x^(D+64) mod P, x^D mod P) in (high, low).
UTL_TARGET_128 inline __m128i Fold128(__m128i v, __m128i k, __m128i next) {
  __m128i hi = _mm_clmulepi64_si128(v, k, 0x11);
  __m128i lo = _mm_clmulepi64_si128(v, k, 0x00);
  return _mm_xor_si128(_mm_xor_si128(hi, lo), next);
}

// The CRC of a message congruent to r (the last 128 bits of it), i.e.
// r * x^32 mod P.
UTL_TARGET_128 inline std::uint32_t Reduce128(__m128i r) {
  // 128 -> 96 bits: H * (x^96 mod P) + L * x^32.
  const __m128i k = _mm_set_epi64x(static_cast<long long>(XPowMod(64)), static_cast<long long>(XPowMod(96)));
  __m128i t = _mm_clmulepi64_si128(r, k, 0x01);
  t = _mm_xor_si128(t, _mm_slli_si128(_mm_move_epi64(r), 4));
  // 96 -> 64 bits: top 32 bits times (x^64 mod P), plus the low 64 bits.
  __m128i u = _mm_clmulepi64_si128(t, k, 0x11);
  u = _mm_xor_si128(u, _mm_move_epi64(t));
  // Barrett: q = floor(floor(u / x^32) * mu / x^32); crc = (u + q * P) mod x^32.
  const __m128i b = _mm_set_epi64x(static_cast<long long>(kPoly33), static_cast<long long>(kMu));
  __m128i q = _mm_clmulepi64_si128(_mm_srli_epi64(u, 32), b, 0x00);
  q = _mm_srli_epi64(q, 32);
  __m128i qp = _mm_clmulepi64_si128(q, b, 0x10);
  return static_cast<std::uint32_t>(_mm_cvtsi128_si32(_mm_xor_si128(u, qp)));
}

// The running CRC lines up with the first 32 message bits of a block.
UTL_TARGET_128 inline __m128i CrcBlock(std::uint32_t crc) {
  return _mm_slli_si128(_mm_cvtsi32_si128(static_cast<int>(crc)), 12);
}

// Folds the remaining whole blocks into v, reduces, and finishes the tail.
UTL_TARGET_128 inline std::uint32_t Finish128(__m128i v, const unsigned char* p, std::size_t n, __m128i reverse) {
  const __m128i k128 = _mm_set_epi64x(UTL_FOLD_PAIR(128));
  for (; n >= 16; p += 16, n -= 16) v = Fold128(v, k128, Load128(p, reverse));
  std::uint32_t crc = Reduce128(v);
  return n ? TableKernel(p, n, crc) : crc;
}

// ----- 512-bit helpers -----------------------------------------------------
UTL_TARGET_512 inline __m512i Load512(const unsigned char* p, __m512i reverse) {
  return _mm512_shuffle_epi8(_mm512_loadu_si512(p), reverse);
}

UTL_TARGET_512 inline __m512i Fold512(__m512i v, __m512i k, __m512i next) {
  __m512i hi = _mm512_clmulepi64_epi128(v, k, 0x11);
  __m512i lo = _mm512_clmulepi64_epi128(v, k, 0x00);
  return _mm512_ternarylogic_epi64(hi, lo, next, 0x96);  // three-way XOR
}

}  // namespace

// ----- kernels -------------------------------------------------------------
UTL_TARGET_128 std::uint32_t PclmulKernel(const unsigned char* p, std::size_t n, std::uint32_t crc) {
  if (n < 64) {
    if (n < 16) return Slicing16Kernel(p, n, crc);
    const __m128i reverse = Reverse128();
    __m128i v = _mm_xor_si128(Load128(p, reverse), CrcBlock(crc));
    return Finish128(v, p + 16, n - 16, reverse);
  }
  const __m128i reverse = Reverse128();
  // Four accumulators, each folded over the other three's blocks, so that
  // four multiplications are in flight.
  __m128i x0 = _mm_xor_si128(Load128(p, reverse), CrcBlock(crc));
  __m128i x1 = Load128(p + 16, reverse), x2 = Load128(p + 32, reverse), x3 = Load128(p + 48, reverse);
  p += 64;
  n -= 64;
  const __m128i k512 = _mm_set_epi64x(UTL_FOLD_PAIR(512));
  for (; n >= 64; p += 64, n -= 64) {
    x0 = Fold128(x0, k512, Load128(p, reverse));
    x1 = Fold128(x1, k512, Load128(p + 16, reverse));
    x2 = Fold128(x2, k512, Load128(p + 32, reverse));
    x3 = Fold128(x3, k512, Load128(p + 48, reverse));
  }
  const __m128i k128 = _mm_set_epi64x(UTL_FOLD_PAIR(128));
  x1 = Fold128(x0, k128, x1);
  x2 = Fold128(x1, k128, x2);
  x3 = Fold128(x2, k128, x3);
  return Finish128(x3, p, n, reverse);
}

UTL_TARGET_512 std::uint32_t VpclmulKernel(const unsigned char* p, std::size_t n, std::uint32_t crc) {
  constexpr std::size_t kStride = 4 * 64;
  if (n < kStride) return PclmulKernel(p, n, crc);
  const __m512i reverse = _mm512_broadcast_i32x4(Reverse128());
  // Four 512-bit accumulators: sixteen blocks in flight, each folded by
  // 2048 bits per step.
  __m512i z0 = _mm512_xor_si512(Load512(p, reverse), _mm512_zextsi128_si512(CrcBlock(crc)));
  __m512i z1 = Load512(p + 64, reverse), z2 = Load512(p + 128, reverse), z3 = Load512(p + 192, reverse);
  p += kStride;
  n -= kStride;
  const __m512i k2048 = _mm512_broadcast_i32x4(_mm_set_epi64x(UTL_FOLD_PAIR(2048)));
  for (; n >= kStride; p += kStride, n -= kStride) {
    z0 = Fold512(z0, k2048, Load512(p, reverse));
    z1 = Fold512(z1, k2048, Load512(p + 64, reverse));
    z2 = Fold512(z2, k2048, Load512(p + 128, reverse));
    z3 = Fold512(z3, k2048, Load512(p + 192, reverse));
  }
  const __m512i k512 = _mm512_broadcast_i32x4(_mm_set_epi64x(UTL_FOLD_PAIR(512)));
  z1 = Fold512(z0, k512, z1);
  z2 = Fold512(z1, k512, z2);
  z3 = Fold512(z2, k512, z3);
  for (; n >= 64; p += 64, n -= 64) z3 = Fold512(z3, k512, Load512(p, reverse));
  // The four lanes of z3 lie 384, 256, 128 and 0 bits before the end of the
  // last block: fold the first three onto the fourth.
  const __m512i kLanes = _mm512_set_epi64(0, 0, UTL_FOLD_PAIR(128), UTL_FOLD_PAIR(256), UTL_FOLD_PAIR(384));
  __m512i f = _mm512_ternarylogic_epi64(_mm512_clmulepi64_epi128(z3, kLanes, 0x11),
                                        _mm512_clmulepi64_epi128(z3, kLanes, 0x00),
                                        _mm512_maskz_mov_epi64(0xC0, z3), 0x96);
  __m256i f2 = _mm256_xor_si256(_mm512_castsi512_si256(f), _mm512_extracti64x4_epi64(f, 1));
  __m128i v = _mm_xor_si128(_mm256_castsi256_si128(f2), _mm256_extracti128_si256(f2, 1));
  return Finish128(v, p, n, Reverse128());
}

}  // namespace utl_crc32_impl

#endif  // UTL_CRC32_HAVE_CLMUL
