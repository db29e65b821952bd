// Option lookups in utl_CommandLine from one and two threads, against a
// std::map<std::string, std::string> behind a std::mutex.
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "BenchMain.h"
#include "utl/utl_CommandLine.h"

namespace {

constexpr int kOptions = 40;

std::string Name(int i) { return "option" + std::to_string(i); }

void SetUpOnce() {
  static std::once_flag once;
  std::call_once(once, [] {
    std::vector<std::string> args{"prog"};
    for (int i = 0; i < kOptions; ++i) {
      args.push_back("-" + Name(i));
      args.push_back(std::to_string(i));
    }
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(a.data());
    utl_CommandLineSetup(static_cast<int>(argv.size()), argv.data());
  });
}

void OursLookup(benchmark::State& state) {
  SetUpOnce();
  std::vector<cow_String> names;
  for (int i = 0; i < kOptions; ++i) names.emplace_back(Name(i).c_str());
  const utl_CommandLine& cl = utl_CommandLine::Instance();
  int i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(cl.ConstGetValueAsInt(names[i]));
    i = i + 1 == kOptions ? 0 : i + 1;
  }
  state.SetItemsProcessed(state.iterations());
}

struct PeerStore {
  std::mutex mutex;
  std::map<std::string, std::string> options;
};

PeerStore& Peer() {
  static PeerStore store;
  static std::once_flag once;
  std::call_once(once, [] {
    for (int i = 0; i < kOptions; ++i) store.options[Name(i)] = std::to_string(i);
  });
  return store;
}

void PeerLookup(benchmark::State& state) {
  PeerStore& peer = Peer();
  std::vector<std::string> names;
  for (int i = 0; i < kOptions; ++i) names.push_back(Name(i));
  int i = 0;
  for (auto _ : state) {
    std::lock_guard<std::mutex> lock(peer.mutex);
    benchmark::DoNotOptimize(std::stoi(peer.options.find(names[i])->second));
    i = i + 1 == kOptions ? 0 : i + 1;
  }
  state.SetItemsProcessed(state.iterations());
}

}  // namespace

BENCHMARK(OursLookup)->Name("cmdline.ours.lookup")->Threads(1)->Threads(2)->UseRealTime();
BENCHMARK(PeerLookup)->Name("cmdline.peer.lookup")->Threads(1)->Threads(2)->UseRealTime();
