// atr_String against std::string: whole copies and appends of short pieces.
#include <string>

#include "BenchMain.h"
#include "atr/atr_String.h"

namespace {

constexpr const char kPiece[] = "piece-17";  // 8 characters

void string_copy_ours(benchmark::State& state) {
  atr_String s(static_cast<int>(state.range(0)), atr_StringBase::PreSize);
  s.SetLength(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    atr_String c(s);
    benchmark::DoNotOptimize(c.c_str());
  }
}

void string_copy_peer(benchmark::State& state) {
  std::string s(static_cast<std::size_t>(state.range(0)), 'x');
  for (auto _ : state) {
    std::string c(s);
    benchmark::DoNotOptimize(c.data());
  }
}

void string_append_ours(benchmark::State& state) {
  int n = static_cast<int>(state.range(0));
  for (auto _ : state) {
    atr_String s;
    for (int i = 0; i < n; ++i) s.append(kPiece, 8);
    benchmark::DoNotOptimize(s.c_str());
  }
  state.SetItemsProcessed(state.iterations() * n);
}

void string_append_peer(benchmark::State& state) {
  int n = static_cast<int>(state.range(0));
  for (auto _ : state) {
    std::string s;
    for (int i = 0; i < n; ++i) s.append(kPiece, 8);
    benchmark::DoNotOptimize(s.data());
  }
  state.SetItemsProcessed(state.iterations() * n);
}

}  // namespace

BENCHMARK(string_copy_ours)->Name("string_copy.ours")->Arg(1 << 20);
BENCHMARK(string_copy_peer)->Name("string_copy.peer")->Arg(1 << 20);
BENCHMARK(string_append_ours)->Name("string_append.ours")->Arg(100)->Arg(100000);
BENCHMARK(string_append_peer)->Name("string_append.peer")->Arg(100)->Arg(100000);
