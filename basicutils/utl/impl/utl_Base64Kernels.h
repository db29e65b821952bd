// Tables and vector kernels behind utl_base64Encode and utl_base64Decode.
// Internal to the library: the scalar rules live in utl_Base64.cpp, the
// AVX2 and AVX-512 kernels in utl_Base64Simd.cpp.
#pragma once

#include <cstddef>
#include <cstdint>

namespace utl_base64_impl {

// Index 63 is '!' rather than '/', so that encoded text never holds a slash.
inline constexpr char kAlphabet[65] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+!";

inline constexpr std::int8_t kNotBase64 = -1;
inline constexpr std::int8_t kPad = -2;
inline constexpr std::int8_t kEnd = -3;

struct DecodeTable {
  std::int8_t v[256];
};

constexpr DecodeTable MakeDecodeTable() {
  DecodeTable t{};
  for (int c = 0; c < 256; ++c) t.v[c] = kNotBase64;
  for (int i = 0; i < 64; ++i) t.v[static_cast<unsigned char>(kAlphabet[i])] = static_cast<std::int8_t>(i);
  t.v[static_cast<unsigned char>('=')] = kPad;
  t.v[0] = kEnd;
  return t;
}

inline constexpr DecodeTable kDecode = MakeDecodeTable();

// A vector kernel encodes whole groups: `bytes` is a multiple of 3 and the
// kernel writes bytes / 3 * 4 characters, reading and writing nothing
// outside those spans.
using EncodeKernel = void (*)(const unsigned char* in, std::size_t bytes, char* out);

// Encodes `lines` lines of 57 bytes, each to 76 characters and a line feed.
using EncodeLinesKernel = void (*)(const unsigned char* in, std::size_t lines, char* out);
inline constexpr std::size_t kLineBytes = 57;

// A vector kernel decodes blocks of alphabet characters starting at text[i],
// where i is a multiple of 4, while a whole block lies before len. It stops
// before the first block that holds any other byte and stores that byte's
// index in *bad (len when it stopped for lack of text). Returns the new i;
// the output grows by three bytes per four characters taken.
using DecodeKernel = std::size_t (*)(const unsigned char* text, std::size_t i, std::size_t len,
                                     unsigned char*& out, std::size_t* bad);

// The scalar encoder of whole groups, also used by the kernels for runs
// shorter than one vector.
void EncodeGroupsScalar(const unsigned char* in, std::size_t bytes, char* out);
void EncodeLinesScalar(const unsigned char* in, std::size_t lines, char* out);

#if defined(__x86_64__) || defined(__i386__)
#define UTL_BASE64_HAVE_X86 1
void EncodeAvx2(const unsigned char* in, std::size_t bytes, char* out);
void EncodeLinesAvx2(const unsigned char* in, std::size_t lines, char* out);
std::size_t DecodeAvx2(const unsigned char* text, std::size_t i, std::size_t len, unsigned char*& out,
                       std::size_t* bad);
void EncodeAvx512(const unsigned char* in, std::size_t bytes, char* out);
void EncodeLinesAvx512(const unsigned char* in, std::size_t lines, char* out);
std::size_t DecodeAvx512(const unsigned char* text, std::size_t i, std::size_t len, unsigned char*& out,
                         std::size_t* bad);
#endif

}  // namespace utl_base64_impl
