// cow_Map<int, int> against std::map<int, int>: inserting and finding
// 1,000,000 sequential and 1,000,000 random keys, and copying a large map
// and writing one key into the copy.
//
// Heap state matters to cow_Map with sequential keys: consecutive keys part
// at the root (the lowest bit branches first), so lookups in key order only
// stay in cache when the nodes lie in memory in insertion order. Each case
// therefore runs twice: on a fresh heap (the allocator's free lists handed
// back before every build) and on a recycled heap (built from the scattered
// free lists that destroying a map of the same size leaves behind).
#include <malloc.h>

#include <map>
#include <random>
#include <vector>

#include "BenchMain.h"
#include "cow/cow_Map.h"

namespace {

constexpr int kKeys = 1000000;

const std::vector<int>& Keys(bool random) {
  static const std::vector<int> seq = [] {
    std::vector<int> v(kKeys);
    for (int i = 0; i < kKeys; ++i) v[i] = i;
    return v;
  }();
  static const std::vector<int> rnd = [] {
    std::mt19937 rng(12345);
    std::vector<int> v(kKeys);
    for (int& k : v) k = static_cast<int>(rng());
    return v;
  }();
  return random ? rnd : seq;
}

// Argument 0: 0 sequential keys 0 ... 999,999, 1 random 32-bit keys.
// Argument 1: 1 fresh heap, 0 recycled heap.
const std::vector<int>& KeysOf(const benchmark::State& state) { return Keys(state.range(0) != 0); }
void Prepare(const benchmark::State& state) {
  if (state.range(1) != 0) malloc_trim(0);  // coalesce and return the free lists
}

void OursInsert(benchmark::State& state) {
  const std::vector<int>& keys = KeysOf(state);
  for (auto _ : state) {
    state.PauseTiming();
    Prepare(state);
    state.ResumeTiming();
    cow_Map<int, int> m;
    for (int k : keys) m.Insert(k, k);
    benchmark::DoNotOptimize(m.Count());
    state.PauseTiming();  // freeing is not part of inserting
    m.Clear();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * kKeys);
}

void PeerInsert(benchmark::State& state) {
  const std::vector<int>& keys = KeysOf(state);
  for (auto _ : state) {
    state.PauseTiming();
    Prepare(state);
    state.ResumeTiming();
    std::map<int, int> m;
    for (int k : keys) m.insert_or_assign(k, k);
    benchmark::DoNotOptimize(m.size());
    state.PauseTiming();
    m.clear();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * kKeys);
}

void OursIsMember(benchmark::State& state) {
  const std::vector<int>& keys = KeysOf(state);
  {
    cow_Map<int, int> churn;  // leaves the free lists as a destroyed map does
    for (int k : keys) churn.Insert(k, k);
  }
  Prepare(state);
  cow_Map<int, int> m;
  for (int k : keys) m.Insert(k, k);
  for (auto _ : state) {
    int found = 0;
    for (int k : keys) found += m.IsMember(k);
    benchmark::DoNotOptimize(found);
  }
  state.SetItemsProcessed(state.iterations() * kKeys);
}

void PeerIsMember(benchmark::State& state) {
  const std::vector<int>& keys = KeysOf(state);
  {
    std::map<int, int> churn;
    for (int k : keys) churn.insert_or_assign(k, k);
  }
  Prepare(state);
  std::map<int, int> m;
  for (int k : keys) m.insert_or_assign(k, k);
  for (auto _ : state) {
    int found = 0;
    for (int k : keys) found += m.count(k) != 0;
    benchmark::DoNotOptimize(found);
  }
  state.SetItemsProcessed(state.iterations() * kKeys);
}

// Copy a map of range(0) entries, change one entry of the copy, drop the copy.
void OursCopyAndWrite(benchmark::State& state) {
  cow_Map<int, int> m;
  for (int k = 0; k < state.range(0); ++k) m.Insert(k, k);
  int k = 0;
  for (auto _ : state) {
    cow_Map<int, int> copy(m);
    copy.Insert(k, -k);
    benchmark::DoNotOptimize(copy.Count());
    k = (k + 7919) % static_cast<int>(state.range(0));
  }
}

void PeerCopyAndWrite(benchmark::State& state) {
  std::map<int, int> m;
  for (int k = 0; k < state.range(0); ++k) m[k] = k;
  int k = 0;
  for (auto _ : state) {
    std::map<int, int> copy(m);
    copy[k] = -k;
    benchmark::DoNotOptimize(copy.size());
    k = (k + 7919) % static_cast<int>(state.range(0));
  }
}

}  // namespace

#define MAP_CASES ->ArgsProduct({{0, 1}, {1, 0}})->Unit(benchmark::kMillisecond)
BENCHMARK(OursInsert)->Name("cow_map.ours.insert") MAP_CASES;
BENCHMARK(PeerInsert)->Name("cow_map.peer.insert") MAP_CASES;
BENCHMARK(OursIsMember)->Name("cow_map.ours.ismember") MAP_CASES;
BENCHMARK(PeerIsMember)->Name("cow_map.peer.ismember") MAP_CASES;
BENCHMARK(OursCopyAndWrite)->Name("cow_map.ours.copy_and_write")->Arg(1000)->Arg(1000000);
BENCHMARK(PeerCopyAndWrite)->Name("cow_map.peer.copy_and_write")->Arg(1000)->Arg(1000000);
