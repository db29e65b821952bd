// Base64 with '!' at index 63: the exact encoding and decoding rules, the
// scalar fast paths, and the choice of vector kernels at run time.
//
// Decoding keeps the rules in one place, the per-character step below; the
// fast paths (whole groups through the table, vector blocks) only ever take
// groups of four alphabet characters that start at a position divisible by
// 4. For such a group the rules set all three pending bytes and append them,
// whatever came before, so the fast paths give exactly what the step would.
#include "utl/utl_Base64.h"

#include <atomic>
#include <climits>
#include <cstring>
#include <new>

#include "mem/mem_Alloc.h"
#include "utl/impl/utl_Base64Kernels.h"

#define NEX_SOURCE "utl/impl/utl_Base64"

utl_Base64CodecError::~utl_Base64CodecError() = default;

void utl_Base64CodecError::Propagate() const { throw utl_Base64CodecError(*this); }

namespace utl_base64_impl {
namespace {

// The two characters of every 12-bit half of a group.
struct PairTable {
  char p[4096][2];
};

constexpr PairTable MakePairTable() {
  PairTable t{};
  for (int v = 0; v < 4096; ++v) {
    t.p[v][0] = kAlphabet[v >> 6];
    t.p[v][1] = kAlphabet[v & 63];
  }
  return t;
}

constexpr PairTable kPairs = MakePairTable();

// Decoding whole groups: the value of a character already shifted to its
// place in the group's 24 bits, or kNotInGroup for anything outside the
// alphabet, so that one OR of four lookups both joins and checks a group.
constexpr std::uint32_t kNotInGroup = 0x01000000u;

struct ShiftedTables {
  std::uint32_t t[4][256];
};

constexpr ShiftedTables MakeShiftedTables() {
  ShiftedTables r{};
  for (int k = 0; k < 4; ++k)
    for (int c = 0; c < 256; ++c)
      r.t[k][c] = kDecode.v[c] >= 0 ? std::uint32_t(kDecode.v[c]) << (18 - 6 * k) : kNotInGroup;
  return r;
}

constexpr ShiftedTables kShifted = MakeShiftedTables();

}  // namespace

void EncodeGroupsScalar(const unsigned char* in, std::size_t bytes, char* out) {
  for (std::size_t i = 0; i < bytes; i += 3, out += 4) {
    std::uint32_t v = (std::uint32_t(in[i]) << 16) | (std::uint32_t(in[i + 1]) << 8) | in[i + 2];
    std::memcpy(out, kPairs.p[v >> 12], 2);
    std::memcpy(out + 2, kPairs.p[v & 4095], 2);
  }
}

void EncodeLinesScalar(const unsigned char* in, std::size_t lines, char* out) {
  for (std::size_t k = 0; k < lines; ++k, in += kLineBytes, out += 77) {
    EncodeGroupsScalar(in, kLineBytes, out);
    out[76] = '\n';
  }
}

}  // namespace utl_base64_impl

namespace {

using namespace utl_base64_impl;

struct Path {
  EncodeKernel encode;
  EncodeLinesKernel encodeLines;
  DecodeKernel decode;        // null: no vector decoding
  std::size_t decodeBlock;  // characters per vector step
};

constexpr Path kScalar = {&EncodeGroupsScalar, &EncodeLinesScalar, nullptr, 0};
constexpr Path kPaths[utl_Base64PathCount] = {
    kScalar,
#if defined(UTL_BASE64_HAVE_X86)
    {&EncodeAvx2, &EncodeLinesAvx2, &DecodeAvx2, 32},
    {&EncodeAvx512, &EncodeLinesAvx512, &DecodeAvx512, 64},
#else
    kScalar,
    kScalar,
#endif
};

bool Supported(utl_Base64PathEnm p) {
  switch (p) {
    case utl_Base64Scalar:
      return true;
#if defined(UTL_BASE64_HAVE_X86)
    case utl_Base64Avx2:
      __builtin_cpu_init();
      return __builtin_cpu_supports("avx2");
    case utl_Base64Avx512:
      __builtin_cpu_init();
      return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("avx512f") &&
             __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl") &&
             __builtin_cpu_supports("avx512vbmi");
#endif
    default:
      return false;
  }
}

// -1 until the first call decides; threads racing there store the same value.
constinit std::atomic<int> g_Path{-1};

utl_Base64PathEnm Best() {
  int p = g_Path.load(std::memory_order_relaxed);
  if (p < 0) {
    p = Supported(utl_Base64Avx512) ? utl_Base64Avx512 : Supported(utl_Base64Avx2) ? utl_Base64Avx2 : utl_Base64Scalar;
    g_Path.store(p, std::memory_order_relaxed);
  }
  return static_cast<utl_Base64PathEnm>(p);
}

const Path& PathFor(utl_Base64PathEnm p) { return kPaths[Supported(p) ? p : utl_Base64Scalar]; }

[[noreturn]] void Fail(const char* message) {
  utl_Base64CodecError e(message);
  NEX_THROW(e);
}

// The allocator raises on exhaustion; here that is reported as the codec's
// own error, as callers expect.
void* AllocateOrNull(std::size_t size) {
  try {
    return mem_OperatorNewThrowBuiltin(size);
  } catch (const nex_OutOfMemoryException&) {
    return nullptr;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

// Makes the string own buf (which has room for the terminating zero).
cow_String Adopt(char* buf, std::size_t length) {
  if (length == 0) {
    mem_Free(buf);
    return cow_String();
  }
  try {
    return cow_String(buf, static_cast<int>(length), atr_StringBase::Adopt);
  } catch (...) {
    mem_Free(buf);
    throw;
  }
}

// ----- encoding ------------------------------------------------------------
cow_String Encode(const Path& path, const cow_String& data, bool lineBreaks) {
  const std::size_t n = static_cast<std::size_t>(data.Length());
  if (n == 0) return cow_String();
  std::size_t size = (n + 2) / 3 * 4 + 1;
  if (lineBreaks) size += n / kLineBytes + (n % kLineBytes != 0);
  // A result longer than a string can be is as unobtainable as the memory.
  if (size - 1 > static_cast<std::size_t>(INT_MAX)) Fail("memory allocation failure");
  char* const buf = static_cast<char*>(AllocateOrNull(size));
  if (buf == nullptr) Fail("memory allocation failure");

  const auto* in = reinterpret_cast<const unsigned char*>(data.c_str());
  const std::size_t whole = n - n % 3;
  char* out = buf;
  std::size_t done = 0;
  if (lineBreaks) {
    const std::size_t lines = whole / kLineBytes;
    path.encodeLines(in, lines, out);
    done = lines * kLineBytes;
    out += lines * 77;
  }
  path.encode(in + done, whole - done, out);
  out += (whole - done) / 3 * 4;

  const unsigned char* t = in + whole;
  switch (n % 3) {
    case 1:
      out[0] = kAlphabet[t[0] >> 2];
      out[1] = kAlphabet[(t[0] & 3) << 4];
      out[2] = '=';
      out[3] = '=';
      out += 4;
      break;
    case 2:
      out[0] = kAlphabet[t[0] >> 2];
      out[1] = kAlphabet[((t[0] << 4) | (t[1] >> 4)) & 63];
      out[2] = kAlphabet[(t[1] & 15) << 2];
      out[3] = '=';
      out += 4;
      break;
  }
  // A partial last line (padded or not) ends with its own line feed; a full
  // one already has it.
  if (lineBreaks && n % kLineBytes != 0) *out++ = '\n';
  return Adopt(buf, static_cast<std::size_t>(out - buf));
}

// ----- decoding ------------------------------------------------------------
cow_String Decode(const Path& path, cow_String& text, bool strict) {
  text.Trim("\n");
  const std::size_t len = static_cast<std::size_t>(text.Length());
  auto* const buf = static_cast<unsigned char*>(AllocateOrNull((len / 4 + 1) * 3));
  if (buf == nullptr) Fail("malloc failure");

  // The text is followed by its terminating zero, which ends the walk.
  const auto* s = reinterpret_cast<const unsigned char*>(text.c_str());
  const std::int8_t* const table = kDecode.v;
  unsigned char* out = buf;
  unsigned char b0 = 0, b1 = 0, b2 = 0;  // the pending group; cleared when appended
  const char* error = nullptr;
  std::size_t i = 0;
  std::size_t vectorFrom = 0;  // no vector step before this index: a known bad byte lies before it
  for (;;) {
    if ((i & 3) == 0) {
      const std::size_t start = i;
      if (path.decode != nullptr && i >= vectorFrom && i + path.decodeBlock <= len) {
        std::size_t bad = len;
        i = path.decode(s, i, len, out, &bad);
        vectorFrom = bad + 1;
      }
      const auto& t = kShifted.t;
      for (; i + 4 <= len; i += 4, out += 3) {
        const std::uint32_t g = t[0][s[i]] | t[1][s[i + 1]] | t[2][s[i + 2]] | t[3][s[i + 3]];
        if (g & kNotInGroup) break;
        out[0] = static_cast<unsigned char>(g >> 16);
        out[1] = static_cast<unsigned char>(g >> 8);
        out[2] = static_cast<unsigned char>(g);
      }
      if (i != start) b0 = b1 = b2 = 0;
    }
    // One character by the rules.
    const std::int8_t v = table[s[i]];
    if (v >= 0) {
      const unsigned char u = static_cast<unsigned char>(v);
      switch (i & 3) {
        case 0:
          b0 = static_cast<unsigned char>(u << 2);
          break;
        case 1:
          b0 = static_cast<unsigned char>(b0 + (u >> 4));
          b1 = static_cast<unsigned char>(u << 4);
          break;
        case 2:
          b1 = static_cast<unsigned char>(b1 + (u >> 2));
          b2 = static_cast<unsigned char>(u << 6);
          break;
        default:
          out[0] = b0;
          out[1] = b1;
          out[2] = static_cast<unsigned char>(b2 + u);
          out += 3;
          b0 = b1 = b2 = 0;
          break;
      }
      ++i;
      continue;
    }
    if (v == kNotBase64) {
      if (strict) {
        error = "strict checking failure";
        break;
      }
      ++i;
      continue;
    }
    if (v == kEnd) {
      if ((i & 3) != 0) error = "padding error";
      break;
    }
    // '=': the pending group ends here; whatever follows is ignored.
    if ((i & 3) == 2 && s[i + 1] == '=') {
      *out++ = b0;
    } else if ((i & 3) == 3) {
      *out++ = b0;
      *out++ = b1;
    } else {
      error = "padding error";
    }
    break;
  }
  if (error != nullptr) {
    mem_Free(buf);
    Fail(error);
  }
  return Adopt(reinterpret_cast<char*>(buf), static_cast<std::size_t>(out - buf));
}

}  // namespace

cow_String utl_base64Encode(cow_String& data, bool lineBreaks) { return Encode(kPaths[Best()], data, lineBreaks); }

cow_String utl_base64Decode(cow_String& text, bool strict) { return Decode(kPaths[Best()], text, strict); }

utl_Base64PathEnm utl_base64Path() { return Best(); }

bool utl_base64PathSupported(utl_Base64PathEnm path) { return Supported(path); }

const char* utl_base64PathName(utl_Base64PathEnm path) {
  switch (path) {
    case utl_Base64Scalar:
      return "scalar";
    case utl_Base64Avx2:
      return "avx2";
    case utl_Base64Avx512:
      return "avx512vbmi";
    default:
      return "?";
  }
}

cow_String utl_base64EncodeWith(utl_Base64PathEnm path, cow_String& data, bool lineBreaks) {
  return Encode(PathFor(path), data, lineBreaks);
}

cow_String utl_base64DecodeWith(utl_Base64PathEnm path, cow_String& text, bool strict) {
  return Decode(PathFor(path), text, strict);
}
