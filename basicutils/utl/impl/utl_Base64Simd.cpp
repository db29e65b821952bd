// Vector kernels of the base64 codec: AVX2 (24 bytes <-> 32 characters per
// step) and AVX-512 with VBMI (48 bytes <-> 64 characters). The techniques
// are the published ones: bytes are spread into 32-bit lanes and the four
// 6-bit fields cut out by multiplies or a multishift; characters become
// values by nibble lookups or a 128-entry byte permute, and values are joined
// by multiply-add. Every lookup table below is derived at compile time from
// the alphabet, so that '!' at 63 needs no hand-made constant.
//
// The functions carry target attributes; utl_Base64.cpp calls them only
// after checking the processor. The compiler ends each with vzeroupper.
#include "utl/impl/utl_Base64Kernels.h"

#if defined(UTL_BASE64_HAVE_X86)

#include "utl/impl/utl_Immintrin.h"

#define UTL_TARGET_AVX2 __attribute__((target("avx2")))
#define UTL_TARGET_AVX512 __attribute__((target("avx2,avx512f,avx512bw,avx512vl,avx512vbmi")))

namespace utl_base64_impl {
namespace {

// ----- tables --------------------------------------------------------------
struct Bytes16 {
  std::int8_t b[16];
};
struct Bytes64 {
  std::int8_t b[64];
};

// Encoding, AVX2: an index i is turned into its character by adding
// kShift[r], where r = saturate(i - 51) (1..12 for the digits, '+' and '!'),
// or 0 for the lower case letters, or 13 for the upper case ones.
constexpr Bytes16 MakeEncodeShift() {
  Bytes16 t{};
  t.b[0] = static_cast<std::int8_t>(kAlphabet[26] - 26);
  for (int r = 1; r <= 12; ++r) t.b[r] = static_cast<std::int8_t>(kAlphabet[51 + r] - (51 + r));
  t.b[13] = static_cast<std::int8_t>(kAlphabet[0]);
  return t;
}
constexpr Bytes16 kEncodeShift = MakeEncodeShift();

constexpr bool EncodeShiftFitsAlphabet() {
  for (int i = 0; i < 26; ++i)
    if (kAlphabet[i] - i != kEncodeShift.b[13] || kAlphabet[26 + i] - (26 + i) != kEncodeShift.b[0]) return false;
  return true;
}
static_assert(EncodeShiftFitsAlphabet(), "letters must be two contiguous runs");

// Decoding, AVX2: validity by nibbles. Each high nibble h belongs to a class,
// the set of low nibbles that are valid with it; kNibbleHi[h] is the class's
// bit and kNibbleLo[l] holds the bits of the classes in which l is invalid.
// A byte is an alphabet character exactly when the two lookups share no bit.
struct NibbleTables {
  Bytes16 lo, hi;
  int classes;
};

constexpr NibbleTables MakeNibbleTables() {
  NibbleTables t{};
  unsigned masks[16] = {};
  for (int h = 0; h < 16; ++h) {
    unsigned valid = 0;
    for (int l = 0; l < 16; ++l)
      if (kDecode.v[h * 16 + l] >= 0) valid |= 1u << l;
    int c = 0;
    while (c < t.classes && masks[c] != valid) ++c;
    if (c == t.classes) masks[t.classes++] = valid;
    t.hi.b[h] = static_cast<std::int8_t>(1u << c);
  }
  for (int l = 0; l < 16; ++l) {
    unsigned bits = 0;
    for (int c = 0; c < t.classes; ++c)
      if (!((masks[c] >> l) & 1)) bits |= 1u << c;
    t.lo.b[l] = static_cast<std::int8_t>(bits);
  }
  return t;
}
constexpr NibbleTables kNibbles = MakeNibbleTables();
static_assert(kNibbles.classes <= 8, "one byte holds the classes");

// Decoding, AVX2: value = character + kOffsetHi[high nibble], except for one
// character (kSpecial) that needs kSpecialFix more.
struct Offsets {
  Bytes16 hi;
  int special;
  int fix;
  int exceptions;
};

constexpr Offsets MakeOffsets() {
  Offsets t{};
  bool seen[16] = {};
  t.special = -1;
  for (int c = 0; c < 256; ++c) {
    if (kDecode.v[c] < 0) continue;
    int off = kDecode.v[c] - c;
    if (!seen[c >> 4]) {
      seen[c >> 4] = true;
      t.hi.b[c >> 4] = static_cast<std::int8_t>(off);
    } else if (off != t.hi.b[c >> 4]) {
      t.special = c;
      t.fix = off - t.hi.b[c >> 4];
      ++t.exceptions;
    }
  }
  return t;
}
constexpr Offsets kOffsets = MakeOffsets();
static_assert(kOffsets.exceptions == 1, "one character ('+') is corrected apart");

// Decoding, AVX-512: the values of the 128 ASCII bytes, 0x80 for the rest.
constexpr Bytes64 MakeAsciiValues(int half) {
  Bytes64 t{};
  for (int i = 0; i < 64; ++i) {
    std::int8_t v = kDecode.v[half * 64 + i];
    t.b[i] = static_cast<std::int8_t>(v >= 0 ? v : -128);
  }
  return t;
}
constexpr Bytes64 kAscii0 = MakeAsciiValues(0);
constexpr Bytes64 kAscii1 = MakeAsciiValues(1);

// After the multiply-adds each 32-bit lane holds a group's 24 bits; output
// byte 3g + k comes from byte 2 - k of lane g.
constexpr Bytes64 MakePack() {
  Bytes64 t{};
  for (int j = 0; j < 48; ++j) t.b[j] = static_cast<std::int8_t>(4 * (j / 3) + 2 - j % 3);
  return t;
}
constexpr Bytes64 kPack = MakePack();

// Four joined blocks (A, B, C, D; 48 bytes each) as three 64-byte stores:
// A + B[0, 16), B[16, 48) + C[0, 32), C[32, 48) + D. A two-source permute
// takes bytes from its first source below index 64 and from its second above.
constexpr Bytes64 MakeJoin(int from, int countFirst) {
  Bytes64 t{};
  for (int j = 0; j < 64; ++j)
    t.b[j] = static_cast<std::int8_t>(j < countFirst ? kPack.b[from + j] : 64 + kPack.b[j - countFirst]);
  return t;
}
constexpr Bytes64 kJoin0 = MakeJoin(0, 48);
constexpr Bytes64 kJoin1 = MakeJoin(16, 32);
constexpr Bytes64 kJoin2 = MakeJoin(32, 16);

// Encoding, AVX-512: lane g takes input bytes (b1, b0, b2, b1) of group g.
constexpr Bytes64 MakeSpread() {
  Bytes64 t{};
  for (int g = 0; g < 16; ++g) {
    t.b[4 * g + 0] = static_cast<std::int8_t>(3 * g + 1);
    t.b[4 * g + 1] = static_cast<std::int8_t>(3 * g + 0);
    t.b[4 * g + 2] = static_cast<std::int8_t>(3 * g + 2);
    t.b[4 * g + 3] = static_cast<std::int8_t>(3 * g + 1);
  }
  return t;
}
constexpr Bytes64 kSpread = MakeSpread();

constexpr Bytes64 MakeAlphabet64() {
  Bytes64 t{};
  for (int i = 0; i < 64; ++i) t.b[i] = static_cast<std::int8_t>(kAlphabet[i]);
  return t;
}
constexpr Bytes64 kAlphabet64 = MakeAlphabet64();

// ----- AVX2 ----------------------------------------------------------------
UTL_TARGET_AVX2 inline __m256i Broadcast16(const Bytes16& t) {
  return _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(t.b)));
}

// 24 bytes at in -> 32 characters.
UTL_TARGET_AVX2 inline __m256i Encode24(const unsigned char* in, __m256i shift) {
  // Lane 0 holds bytes 0..15 and uses 0..11; lane 1 holds bytes 8..23 and
  // uses its 4..15, so that nothing outside the 24 bytes is read.
  __m256i v = _mm256_inserti128_si256(
      _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(in))),
      _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + 8)), 1);
  v = _mm256_shuffle_epi8(v, _mm256_setr_epi8(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10,  //
                                              5, 4, 6, 5, 8, 7, 9, 8, 11, 10, 12, 11, 14, 13, 15, 14));
  // Each lane is b1 b0 b2 b1 (low to high): cut out the four 6-bit fields.
  __m256i t0 = _mm256_mulhi_epu16(_mm256_and_si256(v, _mm256_set1_epi32(0x0FC0FC00)), _mm256_set1_epi32(0x04000040));
  __m256i t1 = _mm256_mullo_epi16(_mm256_and_si256(v, _mm256_set1_epi32(0x003F03F0)), _mm256_set1_epi32(0x01000010));
  __m256i idx = _mm256_or_si256(t0, t1);
  __m256i r = _mm256_subs_epu8(idx, _mm256_set1_epi8(51));
  __m256i upper = _mm256_cmpgt_epi8(_mm256_set1_epi8(26), idx);
  r = _mm256_or_si256(r, _mm256_and_si256(upper, _mm256_set1_epi8(13)));
  return _mm256_add_epi8(idx, _mm256_shuffle_epi8(shift, r));
}

// ----- AVX-512 -------------------------------------------------------------
// Above this many input bytes the result goes around the caches.
constexpr std::size_t kStreamBytes = std::size_t(8) << 20;

UTL_TARGET_AVX512 inline __m512i Load64(const Bytes64& t) { return _mm512_loadu_si512(t.b); }

inline __mmask64 LowBits(unsigned n) { return n >= 64 ? ~0ull : (1ull << n) - 1; }

// 32-bit lane g of the result holds the four characters of group g, taken
// from input bytes 3g .. 3g + 2 of v.
UTL_TARGET_AVX512 inline __m512i Encode48(__m512i v, __m512i spread, __m512i alphabet) {
  v = _mm512_permutexvar_epi8(spread, v);
  // Per 32-bit lane (b1 b0 b2 b1): the fields start at bits 10, 4, 22, 16.
  __m512i idx = _mm512_multishift_epi64_epi8(_mm512_set1_epi64(0x3036242A1016040Aull), v);
  return _mm512_permutexvar_epi8(idx, alphabet);
}

// The values of 64 characters; wrong marks the bytes that are not alphabet
// characters (bytes above 127 and those without a value both have the top
// bit after the lookup).
UTL_TARGET_AVX512 inline __m512i Values64(__m512i x, __m512i ascii0, __m512i ascii1, __mmask64& wrong) {
  __m512i v = _mm512_permutex2var_epi8(ascii0, x, ascii1);
  wrong = _mm512_movepi8_mask(_mm512_or_si512(x, v));
  return v;
}

// Four 6-bit values per 32-bit lane joined into the lane's low 24 bits.
UTL_TARGET_AVX512 inline __m512i Join64(__m512i v) {
  v = _mm512_maddubs_epi16(v, _mm512_set1_epi32(0x01400140));
  return _mm512_madd_epi16(v, _mm512_set1_epi32(0x00011000));
}

// 48 bytes as 32 + 16: a masked store is slower on some processors.
UTL_TARGET_AVX512 inline void Store48(unsigned char* o, __m512i v) {
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(o), _mm512_castsi512_si256(v));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(o + 32), _mm512_extracti32x4_epi32(v, 2));
}

}  // namespace

UTL_TARGET_AVX2 void EncodeAvx2(const unsigned char* in, std::size_t bytes, char* out) {
  if (bytes < 24) return EncodeGroupsScalar(in, bytes, out);
  const __m256i shift = Broadcast16(kEncodeShift);
  std::size_t i = 0;
  for (; i + 24 <= bytes; i += 24)
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + i / 3 * 4), Encode24(in + i, shift));
  // The rest as one more step that overlaps the last: it rewrites the same
  // characters.
  if (i < bytes) {
    i = bytes - 24;
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + i / 3 * 4), Encode24(in + i, shift));
  }
}

// A line of 57 bytes as three steps at 0, 24 and 33: the last overlaps the
// second and rewrites the same characters, so nothing outside the line is
// read or written.
UTL_TARGET_AVX2 void EncodeLinesAvx2(const unsigned char* in, std::size_t lines, char* out) {
  const __m256i shift = Broadcast16(kEncodeShift);
  for (std::size_t k = 0; k < lines; ++k, in += kLineBytes, out += 77) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), Encode24(in, shift));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 32), Encode24(in + 24, shift));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 44), Encode24(in + 33, shift));
    out[76] = '\n';
  }
}

UTL_TARGET_AVX2 std::size_t DecodeAvx2(const unsigned char* text, std::size_t i, std::size_t len,
                                       unsigned char*& out, std::size_t* bad) {
  const __m256i nibLo = Broadcast16(kNibbles.lo), nibHi = Broadcast16(kNibbles.hi);
  const __m256i offsets = Broadcast16(kOffsets.hi);
  const __m256i special = _mm256_set1_epi8(static_cast<char>(kOffsets.special));
  const __m256i fix = _mm256_set1_epi8(static_cast<char>(kOffsets.fix));
  const __m256i low4 = _mm256_set1_epi8(0x0F);
  const __m256i pack = _mm256_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1,  //
                                        2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1);
  unsigned char* o = out;
  for (; i + 32 <= len; i += 32, o += 24) {
    __m256i x = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(text + i));
    __m256i hi = _mm256_and_si256(_mm256_srli_epi32(x, 4), low4);
    __m256i classBits = _mm256_and_si256(_mm256_shuffle_epi8(nibLo, _mm256_and_si256(x, low4)),
                                         _mm256_shuffle_epi8(nibHi, hi));
    if (!_mm256_testz_si256(classBits, classBits)) {
      unsigned okMask = static_cast<unsigned>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(classBits, _mm256_setzero_si256())));
      *bad = i + static_cast<std::size_t>(__builtin_ctz(~okMask));
      out = o;
      return i;
    }
    __m256i v = _mm256_add_epi8(x, _mm256_shuffle_epi8(offsets, hi));
    v = _mm256_add_epi8(v, _mm256_and_si256(_mm256_cmpeq_epi8(x, special), fix));
    // Join four 6-bit values into 24 bits per lane, then drop the empty bytes.
    v = _mm256_maddubs_epi16(v, _mm256_set1_epi32(0x01400140));
    v = _mm256_madd_epi16(v, _mm256_set1_epi32(0x00011000));
    v = _mm256_shuffle_epi8(v, pack);
    v = _mm256_permutevar8x32_epi32(v, _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 7, 7));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(o), _mm256_castsi256_si128(v));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(o + 16), _mm256_extracti128_si256(v, 1));
  }
  *bad = len;
  out = o;
  return i;
}

UTL_TARGET_AVX512 void EncodeAvx512(const unsigned char* in, std::size_t bytes, char* out) {
  const __m512i spread = Load64(kSpread), alphabet = Load64(kAlphabet64);
  std::size_t i = 0;
  // A result much larger than the caches is written around them: streaming
  // stores save reading each destination line before writing it. They need
  // 64-byte alignment, reached by one masked step of whole groups.
  const std::size_t misalign = reinterpret_cast<std::uintptr_t>(out) & 63;
  if (bytes >= kStreamBytes && misalign % 4 == 0) {
    const unsigned head = static_cast<unsigned>((64 - misalign) % 64 / 4);
    if (head != 0) {
      __m512i v = _mm512_maskz_loadu_epi8(LowBits(3 * head), in);
      _mm512_mask_storeu_epi8(out, LowBits(4 * head), Encode48(v, spread, alphabet));
      i = 3 * head;
    }
    for (; i + 64 <= bytes; i += 48) _mm512_stream_si512(reinterpret_cast<__m512i*>(out + i / 3 * 4), Encode48(_mm512_loadu_si512(in + i), spread, alphabet));
    _mm_sfence();
  }
  // Whole 64-byte loads while they stay inside the input (a step uses 48).
  for (; i + 64 <= bytes; i += 48) _mm512_storeu_si512(out + i / 3 * 4, Encode48(_mm512_loadu_si512(in + i), spread, alphabet));
  // The rest, at most two steps, through masks: plain stores are faster, so
  // masks are kept for the edges.
  for (; i < bytes; i += 48) {
    const unsigned groups = static_cast<unsigned>(bytes - i < 48 ? (bytes - i) / 3 : 16);
    __m512i v = _mm512_maskz_loadu_epi8(LowBits(3 * groups), in + i);
    _mm512_mask_storeu_epi8(out + i / 3 * 4, LowBits(4 * groups), Encode48(v, spread, alphabet));
  }
}

// A line of 57 bytes as two steps of 48 at 0 and 9, overlapping by 13 groups;
// the loads are masked to the line, the stores are plain.
UTL_TARGET_AVX512 void EncodeLinesAvx512(const unsigned char* in, std::size_t lines, char* out) {
  const __m512i spread = Load64(kSpread), alphabet = Load64(kAlphabet64);
  const __mmask64 in48 = LowBits(48);
  for (std::size_t k = 0; k < lines; ++k, in += kLineBytes, out += 77) {
    _mm512_storeu_si512(out, Encode48(_mm512_maskz_loadu_epi8(in48, in), spread, alphabet));
    _mm512_storeu_si512(out + 12, Encode48(_mm512_maskz_loadu_epi8(in48, in + 9), spread, alphabet));
    out[76] = '\n';
  }
}

UTL_TARGET_AVX512 std::size_t DecodeAvx512(const unsigned char* text, std::size_t i, std::size_t len,
                                           unsigned char*& out, std::size_t* bad) {
  const __m512i ascii0 = Load64(kAscii0), ascii1 = Load64(kAscii1), pack = Load64(kPack);
  unsigned char* o = out;
  // A result much larger than the caches is written around them, as in
  // encoding: four blocks make 192 bytes, three aligned 64-byte stores.
  // Single blocks first until the output is aligned.
  if (len - i >= kStreamBytes / 3 * 4 && (reinterpret_cast<std::uintptr_t>(o) & 15) == 0) {
    const __m512i join0 = Load64(kJoin0), join1 = Load64(kJoin1), join2 = Load64(kJoin2);
    while ((reinterpret_cast<std::uintptr_t>(o) & 63) != 0 && i + 64 <= len) {
      __mmask64 wrong;
      __m512i v = Values64(_mm512_loadu_si512(text + i), ascii0, ascii1, wrong);
      if (wrong != 0) break;
      Store48(o, _mm512_permutexvar_epi8(pack, Join64(v)));
      i += 64;
      o += 48;
    }
    if ((reinterpret_cast<std::uintptr_t>(o) & 63) == 0) {
      for (; i + 256 <= len; i += 256, o += 192) {
        __mmask64 w0, w1, w2, w3;
        __m512i v0 = Values64(_mm512_loadu_si512(text + i), ascii0, ascii1, w0);
        __m512i v1 = Values64(_mm512_loadu_si512(text + i + 64), ascii0, ascii1, w1);
        __m512i v2 = Values64(_mm512_loadu_si512(text + i + 128), ascii0, ascii1, w2);
        __m512i v3 = Values64(_mm512_loadu_si512(text + i + 192), ascii0, ascii1, w3);
        if ((w0 | w1 | w2 | w3) != 0) break;  // the loop below finds the byte
        v0 = Join64(v0);
        v1 = Join64(v1);
        v2 = Join64(v2);
        v3 = Join64(v3);
        _mm512_stream_si512(reinterpret_cast<__m512i*>(o), _mm512_permutex2var_epi8(v0, join0, v1));
        _mm512_stream_si512(reinterpret_cast<__m512i*>(o + 64), _mm512_permutex2var_epi8(v1, join1, v2));
        _mm512_stream_si512(reinterpret_cast<__m512i*>(o + 128), _mm512_permutex2var_epi8(v2, join2, v3));
      }
      _mm_sfence();
    }
  }
  for (; i + 64 <= len; i += 64, o += 48) {
    __mmask64 wrong;
    __m512i v = Values64(_mm512_loadu_si512(text + i), ascii0, ascii1, wrong);
    if (wrong != 0) {
      *bad = i + static_cast<std::size_t>(__builtin_ctzll(wrong));
      out = o;
      return i;
    }
    Store48(o, _mm512_permutexvar_epi8(pack, Join64(v)));
  }
  *bad = len;
  out = o;
  return i;
}

}  // namespace utl_base64_impl

#endif  // UTL_BASE64_HAVE_X86
