// Base64 over 64 MiB of random bytes: encoding and strict decoding, ours
// against OpenSSL's EVP_EncodeBlock / EVP_DecodeBlock. Throughput counts the
// binary side (64 MiB) in both directions. OpenSSL writes into a buffer the
// caller keeps; ours returns a new string each time, so our figures include
// obtaining (and first touching) that memory.
#include <malloc.h>

#include <climits>
#include <cstdint>
#include <memory>
#include <random>
#include <string>

#include "BenchMain.h"
#include "utl/utl_Base64.h"

#if defined(VNKUTI_BENCH_HAVE_OPENSSL)
#include <openssl/evp.h>
#endif

namespace {

constexpr std::size_t kSize = std::size_t(64) << 20;

const std::string& Data() {
  static const std::string data = [] {
    std::string s(kSize, '\0');
    std::mt19937_64 rng(7);
    for (std::size_t i = 0; i < kSize; i += 8) {
      std::uint64_t r = rng();
      for (int j = 0; j < 8; ++j) s[i + j] = static_cast<char>(r >> (8 * j));
    }
    return s;
  }();
  return data;
}

cow_String& DataString() {
  static cow_String s(Data().data(), static_cast<int>(Data().size()));
  return s;
}

cow_String& Encoded() {
  static cow_String s = utl_base64Encode(DataString(), false);
  return s;
}

// While it lives, freed memory stays with the allocator, so that each result
// reuses pages the previous one touched: the kernel's speed without the cost
// of fresh pages from the system (glibc would map every 64 MiB result anew).
class WarmHeap {
 public:
  WarmHeap() {
    mallopt(M_MMAP_MAX, 0);
    mallopt(M_TRIM_THRESHOLD, INT_MAX);
  }
  ~WarmHeap() {
    mallopt(M_MMAP_MAX, 65536);
    mallopt(M_TRIM_THRESHOLD, 128 * 1024);
  }
};

// Arguments: path, line breaks, bytes. 192 KiB stays in the caches and shows
// the kernel's own speed.
void Encode(benchmark::State& state) {
  auto path = static_cast<utl_Base64PathEnm>(state.range(0));
  if (!utl_base64PathSupported(path)) return state.SkipWithError("path not supported on this processor");
  const std::size_t n = static_cast<std::size_t>(state.range(2));
  cow_String data = n == kSize ? DataString() : cow_String(Data().data(), static_cast<int>(n));
  WarmHeap warm;
  for (auto _ : state) {
    cow_String text = utl_base64EncodeWith(path, data, state.range(1) != 0);
    benchmark::DoNotOptimize(text.c_str());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * n));
  state.SetLabel(utl_base64PathName(path));
}

// Arguments: path, bytes.
void Decode(benchmark::State& state) {
  auto path = static_cast<utl_Base64PathEnm>(state.range(0));
  if (!utl_base64PathSupported(path)) return state.SkipWithError("path not supported on this processor");
  const std::size_t n = static_cast<std::size_t>(state.range(1));
  cow_String data = n == kSize ? DataString() : cow_String(Data().data(), static_cast<int>(n));
  cow_String text = n == kSize ? Encoded() : utl_base64Encode(data, false);
  if (utl_base64DecodeWith(path, text, true) != data) return state.SkipWithError("round trip failed");
  WarmHeap warm;
  for (auto _ : state) {
    cow_String out = utl_base64DecodeWith(path, text, true);
    benchmark::DoNotOptimize(out.c_str());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * n));
  state.SetLabel(utl_base64PathName(path));
}

// The automatic choice, under the names ratios.py pairs with the peer.
template <bool kWarm>
void EncodeAuto(benchmark::State& state) {
  cow_String& data = DataString();
  std::unique_ptr<WarmHeap> warm(kWarm ? new WarmHeap : nullptr);
  for (auto _ : state) {
    cow_String text = utl_base64Encode(data, false);
    benchmark::DoNotOptimize(text.c_str());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kSize));
  state.SetLabel(utl_base64PathName(utl_base64Path()));
}

template <bool kWarm>
void DecodeAuto(benchmark::State& state) {
  cow_String& text = Encoded();
  std::unique_ptr<WarmHeap> warm(kWarm ? new WarmHeap : nullptr);
  for (auto _ : state) {
    cow_String data = utl_base64Decode(text, true);
    benchmark::DoNotOptimize(data.c_str());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kSize));
  state.SetLabel(utl_base64PathName(utl_base64Path()));
}

BENCHMARK(EncodeAuto<false>)->Name("base64.ours/encode/64MiB")->Unit(benchmark::kMillisecond);
BENCHMARK(DecodeAuto<false>)->Name("base64.ours/decode_strict/64MiB")->Unit(benchmark::kMillisecond);
BENCHMARK(EncodeAuto<true>)->Name("base64.ours_warm/encode/64MiB")->Unit(benchmark::kMillisecond);
BENCHMARK(DecodeAuto<true>)->Name("base64.ours_warm/decode_strict/64MiB")->Unit(benchmark::kMillisecond);
constexpr std::int64_t kSmall = 192 << 10;
BENCHMARK(Encode)
    ->Name("base64.ours_path/encode")
    ->ArgsProduct({{utl_Base64Scalar, utl_Base64Avx2, utl_Base64Avx512}, {0, 1}, {kSize, kSmall}})
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(Decode)
    ->Name("base64.ours_path/decode_strict")
    ->ArgsProduct({{utl_Base64Scalar, utl_Base64Avx2, utl_Base64Avx512}, {kSize, kSmall}})
    ->Unit(benchmark::kMicrosecond);

#if defined(VNKUTI_BENCH_HAVE_OPENSSL)
void PeerEncode(benchmark::State& state) {
  const std::string& data = Data();
  std::string out(kSize / 3 * 4 + 8, '\0');
  for (auto _ : state) {
    int n = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(out.data()),
                            reinterpret_cast<const unsigned char*>(data.data()), static_cast<int>(data.size()));
    benchmark::DoNotOptimize(n);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kSize));
  state.SetLabel("EVP_EncodeBlock");
}

void PeerDecode(benchmark::State& state) {
  const std::string& data = Data();
  std::string text(kSize / 3 * 4 + 8, '\0');
  int len = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                            reinterpret_cast<const unsigned char*>(data.data()), static_cast<int>(data.size()));
  std::string out(kSize + 8, '\0');
  for (auto _ : state) {
    int n = EVP_DecodeBlock(reinterpret_cast<unsigned char*>(out.data()),
                            reinterpret_cast<const unsigned char*>(text.data()), len);
    benchmark::DoNotOptimize(n);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kSize));
  state.SetLabel("EVP_DecodeBlock");
}

BENCHMARK(PeerEncode)->Name("base64.peer/encode/64MiB")->Unit(benchmark::kMillisecond);
BENCHMARK(PeerDecode)->Name("base64.peer/decode_strict/64MiB")->Unit(benchmark::kMillisecond);
#endif

}  // namespace
