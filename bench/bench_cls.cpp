// The persistence framework: the crit-bit trie against std::map on a million
// random int keys, registrar lookups among 10,000 classes, and objects written
// to and read back from the memory store.
#include <algorithm>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "BenchMain.h"
#include "cls/cls_ClassRegistrar.h"
#include "cls/cls_MemoryStore.h"
#include "cls/cls_PTrie.h"
#include "cls/cls_Visitor.h"
#include "uti/uti_Coord3D.h"

namespace {

constexpr int kKeys = 1000000;

const std::vector<int>& Keys() {
  static const std::vector<int> keys = [] {
    std::mt19937 rng(2024);
    std::vector<int> k(kKeys);
    for (int& x : k) x = static_cast<int>(rng());  // negative keys included
    return k;
  }();
  return keys;
}

// The same keys in another order, so lookups do not replay the insertion.
const std::vector<int>& Probes() {
  static const std::vector<int> probes = [] {
    std::vector<int> p = Keys();
    std::shuffle(p.begin(), p.end(), std::mt19937(7));
    return p;
  }();
  return probes;
}

// ------------------------------------------------------------------ trie

void OursTrieInsert(benchmark::State& state) {
  const auto& keys = Keys();
  for (auto _ : state) {
    cls_PTrie<int, int, 1> t;
    for (int k : keys) t.Insert(k, k);
    benchmark::DoNotOptimize(t.Count());
  }
  state.SetItemsProcessed(state.iterations() * kKeys);
}

void PeerTrieInsert(benchmark::State& state) {
  const auto& keys = Keys();
  for (auto _ : state) {
    std::map<int, int> m;
    for (int k : keys) m[k] = k;
    benchmark::DoNotOptimize(m.size());
  }
  state.SetItemsProcessed(state.iterations() * kKeys);
}

void OursTrieLookup(benchmark::State& state) {
  cls_PTrie<int, int, 1> t;
  for (int k : Keys()) t.Insert(k, k);
  const auto& probes = Probes();
  for (auto _ : state) {
    long long sum = 0;
    for (int k : probes) sum += *t.ConstGetPtr(k);
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kKeys);
}

void PeerTrieLookup(benchmark::State& state) {
  std::map<int, int> m;
  for (int k : Keys()) m[k] = k;
  const auto& probes = Probes();
  for (auto _ : state) {
    long long sum = 0;
    for (int k : probes) sum += m.find(k)->second;
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kKeys);
}

// ------------------------------------------------------------- registrar

constexpr int kClasses = 10000;

unsigned ClassId(int i) { return (100u + static_cast<unsigned>(i) / 1000u) << 16 | (static_cast<unsigned>(i) % 1000u + 1u); }
std::string ClassName(int i) { return "bench_Class" + std::to_string(i); }

// The registrar as start-up leaves it: hooks installed, every class present.
const cls_ClassRegistrar& Registrar() {
  static cls_ClassRegistrar* r = [] {
    auto* reg = new cls_ClassRegistrar;
    for (int i = 0; i < kClasses; ++i) reg->CreateClassMD(ClassName(i).c_str(), ClassId(i), 1, nullptr, 1);
    return reg;
  }();
  return *r;
}

std::vector<int> Order() {
  std::vector<int> o(kClasses);
  for (int i = 0; i < kClasses; ++i) o[i] = i;
  std::shuffle(o.begin(), o.end(), std::mt19937(3));
  return o;
}

void OursRegistrarById(benchmark::State& state) {
  const cls_ClassRegistrar& r = Registrar();
  std::vector<unsigned> ids;
  for (int i : Order()) ids.push_back(ClassId(i));
  for (auto _ : state) {
    for (unsigned id : ids) benchmark::DoNotOptimize(r.ConstGet(id).GetPtr());
  }
  state.SetItemsProcessed(state.iterations() * kClasses);
}

void PeerRegistrarById(benchmark::State& state) {
  std::map<unsigned, std::shared_ptr<int>> m;
  for (int i = 0; i < kClasses; ++i) m[ClassId(i)] = std::make_shared<int>(i);
  std::vector<unsigned> ids;
  for (int i : Order()) ids.push_back(ClassId(i));
  for (auto _ : state) {
    for (unsigned id : ids) benchmark::DoNotOptimize(m.find(id)->second.get());
  }
  state.SetItemsProcessed(state.iterations() * kClasses);
}

void OursRegistrarByName(benchmark::State& state) {
  const cls_ClassRegistrar& r = Registrar();
  std::vector<cow_String> names;
  for (int i : Order()) names.emplace_back(ClassName(i).c_str());
  for (auto _ : state) {
    for (const cow_String& n : names) benchmark::DoNotOptimize(r.GetClassID(n));
  }
  state.SetItemsProcessed(state.iterations() * kClasses);
}

void PeerRegistrarByName(benchmark::State& state) {
  std::map<std::string, unsigned> m;
  for (int i = 0; i < kClasses; ++i) m[ClassName(i)] = ClassId(i);
  std::vector<std::string> names;
  for (int i : Order()) names.push_back(ClassName(i));
  for (auto _ : state) {
    for (const std::string& n : names) benchmark::DoNotOptimize(m.find(n)->second);
  }
  state.SetItemsProcessed(state.iterations() * kClasses);
}

// ---------------------------------------------------------- memory store

constexpr int kObjects = 100000;

// Writes kObjects coordinate containers of two points each as a list of
// objects, then rebuilds every one through the registry.
void OursStoreWriteRead(benchmark::State& state) {
  std::vector<uti_CoordCont3D> objects(kObjects);
  for (int i = 0; i < kObjects; ++i) {
    objects[i].Append(uti_Coord3D(static_cast<float>(i), 1, 2));
    objects[i].Append(uti_Coord3D(3, 4, static_cast<float>(-i)));
  }
  const cls_ClassRegistrar& reg = omi_Singleton<cls_MetadataRegistrar>::Instance().GetRegistrar(1);
  for (auto _ : state) {
    cls_MemStore store;
    {
      cls_WriteVisitor root(store.MakeWriteMemento());
      cls_WriteListObj* w = root.MakeWriteListObj(cls_FieldHandle("objects", 0), kObjects);
      for (const uti_CoordCont3D& o : objects) {
        cls_WriteVisitor v(w->Element(), &o);
        o.DBWrite(v);
      }
      cls_Release(w);
    }
    long long points = 0;
    {
      cls_ReadVisitor root(store.MakeReadMemento());
      cls_ReadListObj* r = root.MakeReadListObj(cls_FieldHandle("objects", 0));
      for (int i = 0; i < r->Count(); ++i) {
        cls_ReadVisitor v(r->MakeElement(i));
        auto* o = static_cast<uti_CoordCont3D*>(cls_BuildObject(v, reg));
        points += o->Count();
        delete o;
      }
      cls_Release(r);
    }
    if (points != 2LL * kObjects) state.SkipWithError("objects lost on the way");
  }
  state.SetItemsProcessed(state.iterations() * kObjects);
}

}  // namespace

BENCHMARK(OursTrieInsert)->Name("cls_ptrie.ours.insert_1M")->Unit(benchmark::kMillisecond);
BENCHMARK(PeerTrieInsert)->Name("cls_ptrie.peer.insert_1M")->Unit(benchmark::kMillisecond);
BENCHMARK(OursTrieLookup)->Name("cls_ptrie.ours.lookup_1M")->Unit(benchmark::kMillisecond);
BENCHMARK(PeerTrieLookup)->Name("cls_ptrie.peer.lookup_1M")->Unit(benchmark::kMillisecond);
BENCHMARK(OursRegistrarById)->Name("cls_registrar.ours.by_id_10k")->Unit(benchmark::kMicrosecond);
BENCHMARK(PeerRegistrarById)->Name("cls_registrar.peer.by_id_10k")->Unit(benchmark::kMicrosecond);
BENCHMARK(OursRegistrarByName)->Name("cls_registrar.ours.by_name_10k")->Unit(benchmark::kMicrosecond);
BENCHMARK(PeerRegistrarByName)->Name("cls_registrar.peer.by_name_10k")->Unit(benchmark::kMicrosecond);
BENCHMARK(OursStoreWriteRead)->Name("cls_memstore.ours.write_read_100k")->Unit(benchmark::kMillisecond);
