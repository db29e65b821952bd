// CRC-32 over 64 MiB: each of our kernels, the automatic choice, and ISA-L's
// crc32_ieee (same polynomial, most significant bit first; it inverts the
// seed and the result, so ours equals ~crc32_ieee(0, buf, len)).
#include <cstdint>
#include <random>
#include <vector>

#include "BenchMain.h"
#include "utl/utl_Crc32.h"

#if defined(VNKUTI_BENCH_HAVE_ISAL)
#include <isa-l/crc.h>
#endif

namespace {

constexpr std::size_t kSize = std::size_t(64) << 20;

const std::vector<unsigned char>& Buffer() {
  static const std::vector<unsigned char> buf = [] {
    std::vector<unsigned char> v(kSize);
    std::mt19937_64 rng(42);
    for (std::size_t i = 0; i < kSize; i += 8) {
      std::uint64_t r = rng();
      for (int j = 0; j < 8; ++j) v[i + j] = static_cast<unsigned char>(r >> (8 * j));
    }
    return v;
  }();
  return buf;
}

// A 1 MiB run stays in the caches and shows the kernel's own speed; 64 MiB
// is bound by memory as well.
void Ours(benchmark::State& state) {
  const auto& buf = Buffer();
  const std::size_t n = static_cast<std::size_t>(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(utl_crc32(buf.data(), n));
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * n));
  state.SetLabel(utl_crc32KernelName(utl_crc32Kernel()));
}

void OursKernel(benchmark::State& state) {
  auto kernel = static_cast<utl_Crc32KernelEnm>(state.range(0));
  state.SetLabel(utl_crc32KernelName(kernel));
  if (!utl_crc32KernelSupported(kernel)) {
    state.SkipWithError("kernel not supported on this processor");
    return;
  }
  const auto& buf = Buffer();
  const std::size_t n = static_cast<std::size_t>(state.range(1));
  for (auto _ : state) benchmark::DoNotOptimize(utl_crc32With(kernel, buf.data(), n));
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * n));
}

#if defined(VNKUTI_BENCH_HAVE_ISAL)
void Peer(benchmark::State& state) {
  const auto& buf = Buffer();
  if (~crc32_ieee(0, buf.data(), buf.size()) != utl_crc32(buf.data(), buf.size()) ||
      ~crc32_ieee(0, buf.data(), 12345) != utl_crc32(buf.data(), 12345)) {
    state.SkipWithError("ISA-L crc32_ieee disagrees with utl_crc32");
    return;
  }
  const std::size_t n = static_cast<std::size_t>(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(crc32_ieee(0, buf.data(), n));
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * n));
  state.SetLabel("isa-l crc32_ieee");
}
BENCHMARK(Peer)->Name("crc.peer/64MiB")->Arg(kSize)->Unit(benchmark::kMicrosecond);
BENCHMARK(Peer)->Name("crc.peer/1MiB")->Arg(kSize / 64)->Unit(benchmark::kMicrosecond);
#endif

BENCHMARK(Ours)->Name("crc.ours/64MiB")->Arg(kSize)->Unit(benchmark::kMicrosecond);
BENCHMARK(Ours)->Name("crc.ours/1MiB")->Arg(kSize / 64)->Unit(benchmark::kMicrosecond);
// Arguments: kernel, bytes.
BENCHMARK(OursKernel)
    ->Name("crc.ours_kernel")
    ->ArgsProduct({benchmark::CreateDenseRange(0, utl_Crc32KernelCount - 1, 1), {kSize, kSize / 64}})
    ->Unit(benchmark::kMicrosecond);

}  // namespace
