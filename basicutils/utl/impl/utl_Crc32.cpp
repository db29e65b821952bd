// CRC-32 with polynomial 0x04C11DB7, most significant bit first: the byte
// table, slicing-by-16, and the choice of kernel at run time. The carry-less
// multiply kernels live in utl_Crc32Fold.cpp.
#include "utl/utl_Crc32.h"

#include <atomic>

#include "utl/impl/utl_Crc32Kernels.h"

namespace utl_crc32_impl {
namespace {

constexpr std::uint32_t kPoly = 0x04C11DB7u;

// T[0] is the classic table: byte b shifted into the top eight bits, then
// eight steps of shift-left-and-reduce. T[k][b] is the CRC of b followed by
// k zero bytes, so sixteen bytes can be looked up independently.
struct Tables {
  std::uint32_t t[16][256];
};

constexpr Tables MakeTables() {
  Tables r{};
  for (std::uint32_t b = 0; b < 256; ++b) {
    std::uint32_t c = b << 24;
    for (int i = 0; i < 8; ++i) c = (c & 0x80000000u) ? (c << 1) ^ kPoly : c << 1;
    r.t[0][b] = c;
  }
  for (int k = 1; k < 16; ++k)
    for (int b = 0; b < 256; ++b) {
      std::uint32_t c = r.t[k - 1][b];
      r.t[k][b] = (c << 8) ^ r.t[0][c >> 24];
    }
  return r;
}

constexpr Tables kTables = MakeTables();

inline std::uint32_t LoadBe32(const unsigned char* p) {
  return (std::uint32_t(p[0]) << 24) | (std::uint32_t(p[1]) << 16) | (std::uint32_t(p[2]) << 8) | p[3];
}

}  // namespace

std::uint32_t TableKernel(const unsigned char* p, std::size_t n, std::uint32_t crc) {
  const auto& t = kTables.t[0];
  for (std::size_t i = 0; i < n; ++i) crc = (crc << 8) ^ t[(crc >> 24) ^ p[i]];
  return crc;
}

std::uint32_t Slicing16Kernel(const unsigned char* p, std::size_t n, std::uint32_t crc) {
  const auto& t = kTables.t;
  for (; n >= 16; p += 16, n -= 16) {
    // Twelve of the sixteen lookups do not depend on the running CRC; they
    // are combined first so that the loop-carried chain stays short.
    std::uint32_t w1 = LoadBe32(p + 4), w2 = LoadBe32(p + 8), w3 = LoadBe32(p + 12);
    std::uint32_t rest = (t[11][w1 >> 24] ^ t[10][(w1 >> 16) & 255] ^ t[9][(w1 >> 8) & 255] ^ t[8][w1 & 255]) ^
                         (t[7][w2 >> 24] ^ t[6][(w2 >> 16) & 255] ^ t[5][(w2 >> 8) & 255] ^ t[4][w2 & 255]) ^
                         (t[3][w3 >> 24] ^ t[2][(w3 >> 16) & 255] ^ t[1][(w3 >> 8) & 255] ^ t[0][w3 & 255]);
    // The running CRC lines up with the first four bytes of the block.
    std::uint32_t w0 = LoadBe32(p) ^ crc;
    crc = ((t[15][w0 >> 24] ^ t[14][(w0 >> 16) & 255]) ^ (t[13][(w0 >> 8) & 255] ^ t[12][w0 & 255])) ^ rest;
  }
  for (; n >= 4; p += 4, n -= 4) {
    std::uint32_t w = LoadBe32(p) ^ crc;
    crc = t[3][w >> 24] ^ t[2][(w >> 16) & 255] ^ t[1][(w >> 8) & 255] ^ t[0][w & 255];
  }
  return TableKernel(p, n, crc);
}

}  // namespace utl_crc32_impl

namespace {

using utl_crc32_impl::Kernel;

bool Supported(utl_Crc32KernelEnm k) {
  switch (k) {
    case utl_Crc32Table:
    case utl_Crc32Slicing16:
      return true;
#if defined(UTL_CRC32_HAVE_CLMUL)
    case utl_Crc32Pclmul:
      __builtin_cpu_init();
      return __builtin_cpu_supports("sse4.1") && __builtin_cpu_supports("pclmul");
    case utl_Crc32Vpclmul:
      __builtin_cpu_init();
      // __builtin_cpu_supports also checks that the system saves the wide
      // registers, not only that the processor has them.
      return __builtin_cpu_supports("sse4.1") && __builtin_cpu_supports("pclmul") &&
             __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
             __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("vpclmulqdq");
#endif
    default:
      return false;
  }
}

Kernel KernelOf(utl_Crc32KernelEnm k) {
  switch (k) {
    case utl_Crc32Table:
      return &utl_crc32_impl::TableKernel;
#if defined(UTL_CRC32_HAVE_CLMUL)
    case utl_Crc32Pclmul:
      return &utl_crc32_impl::PclmulKernel;
    case utl_Crc32Vpclmul:
      return &utl_crc32_impl::VpclmulKernel;
#endif
    default:
      return &utl_crc32_impl::Slicing16Kernel;
  }
}

utl_Crc32KernelEnm Best() {
  if (Supported(utl_Crc32Vpclmul)) return utl_Crc32Vpclmul;
  if (Supported(utl_Crc32Pclmul)) return utl_Crc32Pclmul;
  return utl_Crc32Slicing16;
}

std::uint32_t ResolveAndRun(const unsigned char* p, std::size_t n, std::uint32_t crc);

// Starts at the resolver, which replaces itself with the chosen kernel on
// the first call. Threads racing there store the same value.
constinit std::atomic<Kernel> g_Kernel{&ResolveAndRun};

std::uint32_t ResolveAndRun(const unsigned char* p, std::size_t n, std::uint32_t crc) {
  Kernel k = KernelOf(Best());
  g_Kernel.store(k, std::memory_order_relaxed);
  return k(p, n, crc);
}

}  // namespace

std::uint32_t utl_crc32(const void* data, std::size_t length, std::uint32_t crc) {
  return g_Kernel.load(std::memory_order_relaxed)(static_cast<const unsigned char*>(data), length, crc);
}

utl_Crc32KernelEnm utl_crc32Kernel() { return Best(); }

bool utl_crc32KernelSupported(utl_Crc32KernelEnm kernel) { return Supported(kernel); }

const char* utl_crc32KernelName(utl_Crc32KernelEnm kernel) {
  switch (kernel) {
    case utl_Crc32Table:
      return "table";
    case utl_Crc32Slicing16:
      return "slicing16";
    case utl_Crc32Pclmul:
      return "pclmul";
    case utl_Crc32Vpclmul:
      return "vpclmul512";
    default:
      return "?";
  }
}

std::uint32_t utl_crc32With(utl_Crc32KernelEnm kernel, const void* data, std::size_t length, std::uint32_t crc) {
  Kernel k = Supported(kernel) ? KernelOf(kernel) : &utl_crc32_impl::Slicing16Kernel;
  return k(static_cast<const unsigned char*>(data), length, crc);
}
