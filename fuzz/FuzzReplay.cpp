// A main() for the fuzz targets where libFuzzer is not available (gcc): runs
// every file named on the command line, or every file of every directory
// named, through LLVMFuzzerTestOneInput, and then a fixed set of byte-level
// mutations of each (flipped, overwritten, cut, repeated and spliced bytes),
// so that a plain build still walks a little beyond the seeds.
//
// VNKUTI_FUZZ_MUTATIONS sets the mutations per file (default 64; 0 = seeds
// only). The mutations are drawn from a generator seeded by the file's
// bytes, so every run tries the same inputs and a failure repeats.
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);

namespace {

typedef std::vector<std::uint8_t> Input;

Input Load(const std::filesystem::path& p) {
  std::ifstream in(p, std::ios::binary);
  return Input(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// The input being run, for the crash handler.
const Input* g_Current = nullptr;

// Leaves the input that failed in replay-crash.bin in the working directory,
// as libFuzzer leaves its crash-* files, so that it can be run again alone.
void SaveCurrent(int sig) {
  if (g_Current != nullptr) {
    int fd = open("replay-crash.bin", O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd >= 0) {
      (void)!write(fd, g_Current->data(), g_Current->size());
      close(fd);
    }
    static const char kNote[] = "the failing input is in replay-crash.bin\n";
    (void)!write(2, kNote, sizeof kNote - 1);
  }
  signal(sig, SIG_DFL);
  raise(sig);
}

void Run(const Input& in) {
  g_Current = &in;
  LLVMFuzzerTestOneInput(in.empty() ? nullptr : in.data(), in.size());
  g_Current = nullptr;
}

// One random change of the kinds a fuzzer makes first.
Input Mutate(const Input& base, const Input& other, std::mt19937& rng) {
  Input m = base;
  auto pick = [&](std::size_t n) { return n == 0 ? std::size_t(0) : std::size_t(rng() % n); };
  static const std::uint8_t kEdges[] = {0x00, 0x01, 0x7F, 0x80, 0xFF, '-', '=', '\n', ' ', '>'};
  switch (rng() % 7) {
    case 0:  // flip bits of one byte
      if (!m.empty()) m[pick(m.size())] ^= static_cast<std::uint8_t>(1u << (rng() % 8));
      break;
    case 1:  // an edge value
      if (!m.empty()) m[pick(m.size())] = kEdges[pick(sizeof kEdges)];
      break;
    case 2:  // cut the tail
      m.resize(pick(m.size() + 1));
      break;
    case 3: {  // erase a span
      std::size_t at = pick(m.size() + 1), n = pick(m.size() - at + 1);
      m.erase(m.begin() + at, m.begin() + at + n);
      break;
    }
    case 4: {  // repeat a span
      std::size_t at = pick(m.size() + 1), n = pick(std::min<std::size_t>(m.size() - at, 64) + 1);
      Input span(m.begin() + at, m.begin() + at + n);
      m.insert(m.begin() + pick(m.size() + 1), span.begin(), span.end());
      break;
    }
    case 5: {  // random bytes
      std::size_t n = 1 + pick(8), at = pick(m.size() + 1);
      for (std::size_t i = 0; i < n; ++i) m.insert(m.begin() + at, static_cast<std::uint8_t>(rng()));
      break;
    }
    default: {  // splice with another input
      std::size_t cut = pick(m.size() + 1), from = pick(other.size() + 1);
      m.resize(cut);
      m.insert(m.end(), other.begin() + from, other.end());
      break;
    }
  }
  return m;
}

}  // namespace

int main(int argc, char** argv) {
  LLVMFuzzerInitialize(&argc, &argv);
  for (int sig : {SIGABRT, SIGSEGV, SIGBUS, SIGFPE, SIGILL}) signal(sig, SaveCurrent);
  std::vector<std::filesystem::path> files;
  for (int i = 1; i < argc; ++i) {
    std::filesystem::path p(argv[i]);
    if (std::filesystem::is_directory(p)) {
      for (const auto& e : std::filesystem::directory_iterator(p))
        if (e.is_regular_file()) files.push_back(e.path());
    } else {
      files.push_back(p);
    }
  }
  std::sort(files.begin(), files.end());
  const char* env = std::getenv("VNKUTI_FUZZ_MUTATIONS");
  const int mutations = env ? std::atoi(env) : 64;

  std::vector<Input> inputs;
  for (const auto& f : files) inputs.push_back(Load(f));
  long runs = 0;
  for (std::size_t i = 0; i < inputs.size(); ++i) {
    Run(inputs[i]);
    ++runs;
    std::seed_seq seed(inputs[i].begin(), inputs[i].end());
    std::mt19937 rng(seed);
    for (int k = 0; k < mutations; ++k) {
      Input m = Mutate(inputs[i], inputs[(i + 1 + k) % inputs.size()], rng);
      // A second change now and then, so that pairs of damage occur too.
      if (rng() % 4 == 0) m = Mutate(m, inputs[i], rng);
      Run(m);
      ++runs;
    }
  }
  std::printf("replayed %zu files, %ld inputs\n", files.size(), runs);
  return files.empty() ? 1 : 0;
}
