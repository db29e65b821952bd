// The multisection file against the plain system calls that do the same I/O.
//
//   files.getSection: one 256 MiB section read and CRC-checked from a file in
//     the page cache; the peer read()s the same bytes into the same buffer.
//   files.save: saveChanges of four changed 64 MiB sections (256 MiB); the
//     peer does the I/O the save prescribes with read/write/fsync: write and
//     fsync a 256 MiB staging file, read it back, write it over the data file,
//     delete the staging file. Setting the sections (copying them into the
//     object) is outside the timed part.
//   files.open10k: opening a file of 10,000 sections and reading its
//     directory (ours only).
//
// Files live in $TMPDIR (else /tmp); the figures are for that file system.
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "BenchMain.h"
#include "utl/utl_MultisectionFile.h"

namespace {

constexpr int kBig = 256 << 20;
constexpr int kPart = 64 << 20;

std::string Dir() {
  const char* t = getenv("TMPDIR");
  return std::string(t && *t ? t : "/tmp");
}

std::string PathOf(const char* name) { return Dir() + "/vnkuti_bench_" + std::to_string(getpid()) + "_" + name; }

// Bytes that are not all alike, made once.
const std::vector<char>& Pattern() {
  static std::vector<char> p = [] {
    std::vector<char> v(kBig);
    unsigned x = 12345;
    for (char& c : v) c = static_cast<char>((x = x * 1103515245u + 12345u) >> 24);
    return v;
  }();
  return p;
}

// Deletes the bench's files at the end of the run.
struct Cleanup {
  std::vector<std::string> paths;
  ~Cleanup() {
    for (const std::string& p : paths) {
      unlink(p.c_str());
      unlink((p + ".lock").c_str());
    }
  }
};
Cleanup g_Cleanup;

const std::string& BigFile() {
  static std::string path = [] {
    std::string p = PathOf("big.sec");
    g_Cleanup.paths.push_back(p);
    utl_MultisectionFile f(p.c_str(), utl_FileWrite);
    f.setSectionData("big", Pattern().data(), kBig);
    f.saveChanges();
    return p;
  }();
  return path;
}

// Offset of the section "big" in BigFile: header 12 + entry 4 + 3 + 4 + 4.
constexpr off_t kBigOffset = 27;

void BM_GetSection_Ours(benchmark::State& state) {
  utl_MultisectionFile f(BigFile().c_str(), utl_FileRead);
  std::vector<char> buf(kBig, 1);
  f.getSectionData("big", buf.data());  // the page cache holds the file now
  for (auto _ : state) {
    f.getSectionData("big", buf.data());
    benchmark::DoNotOptimize(buf.data());
  }
  state.SetBytesProcessed(state.iterations() * int64_t(kBig));
}

void BM_GetSection_Peer(benchmark::State& state) {
  int fd = open(BigFile().c_str(), O_RDONLY);
  std::vector<char> buf(kBig, 1);
  for (auto _ : state) {
    off_t at = kBigOffset;
    for (size_t done = 0; done < buf.size();) {
      ssize_t n = pread(fd, buf.data() + done, buf.size() - done, at);
      if (n <= 0) break;
      done += n;
      at += n;
    }
    benchmark::DoNotOptimize(buf.data());
  }
  close(fd);
  state.SetBytesProcessed(state.iterations() * int64_t(kBig));
}

void BM_Save_Ours(benchmark::State& state) {
  std::string path = PathOf("save.sec");
  g_Cleanup.paths.push_back(path);
  const char* names[] = {"s0", "s1", "s2", "s3"};
  {
    utl_MultisectionFile f(path.c_str(), utl_FileWrite);
    for (int i = 0; i < 4; ++i) f.setSectionData(names[i], Pattern().data() + i * kPart, kPart);
    f.saveChanges();
  }
  utl_MultisectionFile f(path.c_str(), utl_FileUpdate);
  for (auto _ : state) {
    state.PauseTiming();
    for (int i = 0; i < 4; ++i) f.setSectionData(names[i], Pattern().data() + (3 - i) * kPart, kPart);
    state.ResumeTiming();
    f.saveChanges();
  }
  state.SetBytesProcessed(state.iterations() * int64_t(kBig));
}

void BM_Save_Peer(benchmark::State& state) {
  std::string path = PathOf("raw.dat"), staging = path + ".tmp";
  g_Cleanup.paths.push_back(path);
  {
    int fd = open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0644);
    if (write(fd, Pattern().data(), kBig) != kBig) state.SkipWithError("setup");
    close(fd);
  }
  std::vector<char> back(kBig, 1);
  auto all = [](ssize_t (*io)(int, void*, size_t), int fd, char* p, size_t n) {
    for (size_t done = 0; done < n;) {
      ssize_t k = io(fd, p + done, n - done);
      if (k <= 0) return false;
      done += k;
    }
    return true;
  };
  auto writer = [](int fd, void* p, size_t n) { return write(fd, p, n); };
  for (auto _ : state) {
    int data = open(path.c_str(), O_RDWR);
    int tmp = open(staging.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0644);
    bool ok = true;
    for (int i = 0; i < 4; ++i)
      ok &= all(writer, tmp, const_cast<char*>(Pattern().data()) + (3 - i) * kPart, kPart);
    ok &= fsync(tmp) == 0 && lseek(tmp, 0, SEEK_SET) == 0;
    ok &= all(read, tmp, back.data(), kBig);
    ok &= all(writer, data, back.data(), kBig);
    close(tmp);
    close(data);
    unlink(staging.c_str());
    if (!ok) state.SkipWithError("raw I/O failed");
  }
  state.SetBytesProcessed(state.iterations() * int64_t(kBig));
}

void BM_Open10k_Ours(benchmark::State& state) {
  static std::string path = [] {
    std::string p = PathOf("10k.sec");
    g_Cleanup.paths.push_back(p);
    utl_MultisectionFile f(p.c_str(), utl_FileWrite);
    char data[16] = "section data";
    for (int i = 0; i < 10000; ++i) f.setSectionData(("section_" + std::to_string(i)).c_str(), data, 16);
    f.saveChanges();
    return p;
  }();
  for (auto _ : state) {
    utl_MultisectionFile f(path.c_str(), utl_FileRead);
    benchmark::DoNotOptimize(f.SectionCount());
  }
}

BENCHMARK(BM_GetSection_Ours)->Name("files.getSection.ours")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_GetSection_Peer)->Name("files.getSection.peer")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Save_Ours)->Name("files.save.ours")->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(3);
BENCHMARK(BM_Save_Peer)->Name("files.save.peer")->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(3);
BENCHMARK(BM_Open10k_Ours)->Name("files.open10k.ours")->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
