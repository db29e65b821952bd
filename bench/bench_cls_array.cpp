// Primitive arrays: a sequential pass over 10,000,000 floats of a
// cls_ArrayPrim attached to the memory store (one block in memory, each
// block loaded once) against iterating a std::vector<float>; the
// alternating-blocks case, which reloads a block on every access; and a
// million floats written and read back through the file store against the
// same bytes through the multisection file alone.
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "BenchMain.h"
#include "cls/cls_ArrayPrim.h"
#include "cls/cls_MemoryStore.h"
#include "cls/cls_Visitor.h"
#include "utl/utl_FileStore.h"
#include "utl/utl_MultisectionFile.h"

namespace {

constexpr int kLarge = 10000000;
constexpr int kFile = 1000000;

float Value(int i) { return static_cast<float>(i & 0xFFFF) * 0.5f; }

cls_FieldHandle Arr() { return cls_FieldHandle("arr", 0); }

// The memory store holding the large array, written once.
cls_MemStore& LargeStore() {
  static cls_MemStore* store = [] {
    auto* s = new cls_MemStore;
    cls_ArrayPrim<float> a;
    for (int i = 0; i < kLarge; ++i) a.Append(Value(i));
    cls_WriteVisitor root(s->MakeWriteMemento());
    cls_WriteObject(root, Arr(), a);
    return s;
  }();
  return *store;
}

const std::vector<float>& LargeVector() {
  static const std::vector<float> v = [] {
    std::vector<float> x(kLarge);
    for (int i = 0; i < kLarge; ++i) x[static_cast<std::size_t>(i)] = Value(i);
    return x;
  }();
  return v;
}

// The plain loop: one running sum.
template <class Get>
float Sum(int n, Get get) {
  float s = 0;
  for (int i = 0; i < n; ++i) s += get(i);
  return s;
}

// Four running sums: the vector side becomes one SIMD addition per four
// elements, which element-wise access cannot follow.
template <class Get>
float Sum4(int n, Get get) {
  float s0 = 0, s1 = 0, s2 = 0, s3 = 0;
  int i = 0;
  for (; i + 4 <= n; i += 4) {
    s0 += get(i);
    s1 += get(i + 1);
    s2 += get(i + 2);
    s3 += get(i + 3);
  }
  for (; i < n; ++i) s0 += get(i);
  return (s0 + s1) + (s2 + s3);
}

void OursSequentialGet(benchmark::State& state) {
  cls_ReadVisitor root(LargeStore().MakeReadMemento());
  cls_ArrayPrim<float> a((cls_ReadVisitor(root, Arr())));
  const long long before = a.BlockLoads();
  for (auto _ : state) {
    benchmark::DoNotOptimize(Sum(a.Size(), [&](int i) { return a.Get(i); }));
    a.Flush();  // the last dirty block, so that every pass does the same work
  }
  state.counters["loads/pass"] =
      static_cast<double>(a.BlockLoads() - before) / static_cast<double>(state.iterations());
}

void OursSequentialConstGet(benchmark::State& state) {
  cls_ReadVisitor root(LargeStore().MakeReadMemento());
  const cls_ArrayPrim<float> a((cls_ReadVisitor(root, Arr())));
  for (auto _ : state) benchmark::DoNotOptimize(Sum(a.Size(), [&](int i) { return a.ConstGet(i); }));
}

void PeerSequential(benchmark::State& state) {
  const std::vector<float>& v = LargeVector();
  for (auto _ : state) {
    float s = 0;
    for (float x : v) s += x;
    benchmark::DoNotOptimize(s);
  }
}

void OursSequentialGet4(benchmark::State& state) {
  cls_ReadVisitor root(LargeStore().MakeReadMemento());
  cls_ArrayPrim<float> a((cls_ReadVisitor(root, Arr())));
  for (auto _ : state) {
    benchmark::DoNotOptimize(Sum4(a.Size(), [&](int i) { return a.Get(i); }));
    a.Flush();
  }
}

void PeerSequential4(benchmark::State& state) {
  const std::vector<float>& v = LargeVector();
  for (auto _ : state) {
    benchmark::DoNotOptimize(Sum4(static_cast<int>(v.size()), [&](int i) { return v[static_cast<std::size_t>(i)]; }));
  }
}

// 4096 accesses switching between two blocks at every access.
void OursAlternating(benchmark::State& state) {
  cls_ReadVisitor root(LargeStore().MakeReadMemento());
  cls_ArrayPrim<float> a((cls_ReadVisitor(root, Arr())));
  for (auto _ : state) {
    float s = 0;
    for (int i = 0; i < 2048; ++i) s += a.Get(i) + a.Get(i + 2048);
    benchmark::DoNotOptimize(s);
  }
}

void PeerAlternating(benchmark::State& state) {
  const std::vector<float>& v = LargeVector();
  for (auto _ : state) {
    float s = 0;
    for (int i = 0; i < 2048; ++i) s += v[static_cast<std::size_t>(i)] + v[static_cast<std::size_t>(i + 2048)];
    benchmark::DoNotOptimize(s);
  }
}

std::string FilePath(const char* what) {
  const char* dir = std::getenv("TMPDIR");
  return std::string(dir ? dir : "/tmp") + "/bench_cls_array_" + what + "_" + std::to_string(getpid());
}

void Remove(const std::string& path) {
  std::remove(path.c_str());
  std::remove((path + ".lock").c_str());
}

// Write: the floats into an array, the array into the file store, save.
// Read: open, decode the section, read the array back element by element.
void OursFileRoundTrip(benchmark::State& state) {
  const std::string path = FilePath("store");
  const cow_String p(path.c_str());
  for (auto _ : state) {
    {
      utl_FileStore fs(p, utl_FileWrite);
      cls_ArrayPrim<float> a;
      for (int i = 0; i < kFile; ++i) a.Append(Value(i));
      fs.WriteObject("floats", a);
      fs.Save();
    }
    utl_FileStore fs(p, utl_FileRead);
    cls_ReadVisitor root(fs.Store("floats").MakeReadMemento());
    const cls_ArrayPrim<float> b((cls_ReadVisitor(root, utl_FileStore::ObjectField())));
    benchmark::DoNotOptimize(Sum(b.Size(), [&](int i) { return b.ConstGet(i); }));
  }
  state.SetBytesProcessed(state.iterations() * kFile * static_cast<int64_t>(sizeof(float)));
  Remove(path);
}

void PeerFileRoundTrip(benchmark::State& state) {
  const std::string path = FilePath("raw");
  const cow_String p(path.c_str());
  std::vector<float> data(kFile);
  for (auto _ : state) {
    {
      utl_MultisectionFile f(p, utl_FileWrite);
      for (int i = 0; i < kFile; ++i) data[static_cast<std::size_t>(i)] = Value(i);
      f.setSectionData("floats", data.data(), static_cast<int>(data.size() * sizeof(float)));
      f.saveChanges();
    }
    utl_MultisectionFile f(p, utl_FileRead);
    std::vector<float> back(static_cast<std::size_t>(f.getSectionLength("floats")) / sizeof(float));
    f.getSectionData("floats", back.data());
    float s = 0;
    for (float x : back) s += x;
    benchmark::DoNotOptimize(s);
  }
  state.SetBytesProcessed(state.iterations() * kFile * static_cast<int64_t>(sizeof(float)));
  Remove(path);
}

}  // namespace

BENCHMARK(OursSequentialGet)->Name("cls_array.ours.sequential_get_10M")->Unit(benchmark::kMillisecond);
BENCHMARK(PeerSequential)->Name("cls_array.peer.sequential_get_10M")->Unit(benchmark::kMillisecond);
BENCHMARK(OursSequentialConstGet)->Name("cls_array.ours.sequential_constget_10M")->Unit(benchmark::kMillisecond);
BENCHMARK(PeerSequential)->Name("cls_array.peer.sequential_constget_10M")->Unit(benchmark::kMillisecond);
BENCHMARK(OursSequentialGet4)->Name("cls_array.ours.sequential_get_4sums_10M")->Unit(benchmark::kMillisecond);
BENCHMARK(PeerSequential4)->Name("cls_array.peer.sequential_get_4sums_10M")->Unit(benchmark::kMillisecond);
BENCHMARK(OursAlternating)->Name("cls_array.ours.alternating_blocks_4096")->Unit(benchmark::kMicrosecond);
BENCHMARK(PeerAlternating)->Name("cls_array.peer.alternating_blocks_4096")->Unit(benchmark::kMicrosecond);
BENCHMARK(OursFileRoundTrip)->Name("cls_array.ours.file_roundtrip_1M")->Unit(benchmark::kMillisecond);
BENCHMARK(PeerFileRoundTrip)->Name("cls_array.peer.file_roundtrip_1M")->Unit(benchmark::kMillisecond);
