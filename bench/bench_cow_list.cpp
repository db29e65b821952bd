// cow_List<int> against std::deque<int> (growth at both ends, indexed reads)
// and std::vector<int> (whole copies).
#include <deque>
#include <vector>

#include "BenchMain.h"
#include "cow/cow_List.h"

namespace {

cow_List<int> MakeList(int n) {
  cow_List<int> l;
  for (int i = 0; i < n; ++i) l.Append(i);
  return l;
}

void list_append_ours(benchmark::State& state) {
  int n = static_cast<int>(state.range(0));
  for (auto _ : state) {
    cow_List<int> l;
    for (int i = 0; i < n; ++i) l.Append(i);
    benchmark::DoNotOptimize(l.Count());
  }
  state.SetItemsProcessed(state.iterations() * n);
}

void list_append_peer(benchmark::State& state) {
  int n = static_cast<int>(state.range(0));
  for (auto _ : state) {
    std::deque<int> d;
    for (int i = 0; i < n; ++i) d.push_back(i);
    benchmark::DoNotOptimize(d.size());
  }
  state.SetItemsProcessed(state.iterations() * n);
}

void list_prepend_ours(benchmark::State& state) {
  int n = static_cast<int>(state.range(0));
  for (auto _ : state) {
    cow_List<int> l;
    for (int i = 0; i < n; ++i) l.Prepend(i);
    benchmark::DoNotOptimize(l.Count());
  }
  state.SetItemsProcessed(state.iterations() * n);
}

void list_prepend_peer(benchmark::State& state) {
  int n = static_cast<int>(state.range(0));
  for (auto _ : state) {
    std::deque<int> d;
    for (int i = 0; i < n; ++i) d.push_front(i);
    benchmark::DoNotOptimize(d.size());
  }
  state.SetItemsProcessed(state.iterations() * n);
}

void list_index_ours(benchmark::State& state) {
  int n = static_cast<int>(state.range(0));
  const cow_List<int> l = MakeList(n);
  for (auto _ : state) {
    long long sum = 0;
    for (int i = 0; i < n; ++i) sum += l.ConstGet(i);
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * n);
}

void list_index_peer(benchmark::State& state) {
  int n = static_cast<int>(state.range(0));
  std::deque<int> d;
  for (int i = 0; i < n; ++i) d.push_back(i);
  for (auto _ : state) {
    long long sum = 0;
    for (int i = 0; i < n; ++i) sum += d[i];
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * n);
}

void list_iterate_ours(benchmark::State& state) {
  int n = static_cast<int>(state.range(0));
  const cow_List<int> l = MakeList(n);
  for (auto _ : state) {
    long long sum = 0;
    for (cow_ListIter<int> it(l); it.More(); it.Next()) sum += *it;
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * n);
}

void list_iterate_peer(benchmark::State& state) {
  int n = static_cast<int>(state.range(0));
  std::deque<int> d;
  for (int i = 0; i < n; ++i) d.push_back(i);
  for (auto _ : state) {
    long long sum = 0;
    for (int v : d) sum += v;
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * n);
}

void list_copy_ours(benchmark::State& state) {
  const cow_List<int> l = MakeList(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    cow_List<int> c(l);
    benchmark::DoNotOptimize(&c);
  }
}

void list_copy_peer(benchmark::State& state) {
  const std::vector<int> v(static_cast<std::size_t>(state.range(0)), 1);
  for (auto _ : state) {
    std::vector<int> c(v);
    benchmark::DoNotOptimize(c.data());
  }
}

// A copy and one write into it: the list copies its slot array and one block.
void list_copy_write_ours(benchmark::State& state) {
  int n = static_cast<int>(state.range(0));
  const cow_List<int> l = MakeList(n);
  for (auto _ : state) {
    cow_List<int> c(l);
    c.Get(n / 2) = -1;
    benchmark::DoNotOptimize(&c);
  }
}

void list_copy_write_peer(benchmark::State& state) {
  int n = static_cast<int>(state.range(0));
  const std::vector<int> v(static_cast<std::size_t>(n), 1);
  for (auto _ : state) {
    std::vector<int> c(v);
    c[n / 2] = -1;
    benchmark::DoNotOptimize(c.data());
  }
}

}  // namespace

BENCHMARK(list_append_ours)->Name("list_append.ours")->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(list_append_peer)->Name("list_append.peer")->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(list_prepend_ours)->Name("list_prepend.ours")->Arg(1000000)->Arg(50000)->Unit(benchmark::kMillisecond);
BENCHMARK(list_prepend_peer)->Name("list_prepend.peer")->Arg(1000000)->Arg(50000)->Unit(benchmark::kMillisecond);
BENCHMARK(list_index_ours)->Name("list_index.ours")->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(list_index_peer)->Name("list_index.peer")->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(list_iterate_ours)->Name("list_iterate.ours")->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(list_iterate_peer)->Name("list_iterate.peer")->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(list_copy_ours)->Name("list_copy.ours")->Arg(1000000);
BENCHMARK(list_copy_peer)->Name("list_copy.peer")->Arg(1000000);
BENCHMARK(list_copy_write_ours)->Name("list_copy_write.ours")->Arg(1000000);
BENCHMARK(list_copy_write_peer)->Name("list_copy_write.peer")->Arg(1000000);
