// What every fuzz target shares: the library's start-up, a reader that turns
// the fuzzer's bytes into choices, and a private scratch directory.
//
// Include this once per target program: it defines LLVMFuzzerInitialize,
// which libFuzzer calls before the first input and the replay main() calls
// before the first file.
#pragma once

#include <errno.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>

#include "atr/atr_String.h"
#include "uti/UTI_BasicUtils.h"

namespace vnkfuzz {

// Crashes with a message: a broken invariant is a finding, and the fuzzer
// keeps the input that led here.
inline void RemoveScratch();

[[noreturn]] inline void Fail(const char* what, const std::string& detail = std::string()) {
  std::fprintf(stderr, "fuzz invariant broken: %s %s\n", what, detail.c_str());
  std::fflush(stderr);
  RemoveScratch();  // abort() runs no exit handlers
  abort();
}

#define VNKFUZZ_CHECK(cond, detail) \
  do {                              \
    if (!(cond)) ::vnkfuzz::Fail(#cond, detail); \
  } while (0)

// Hands out the input's bytes as choices; past the end every choice is 0.
class Bytes {
 public:
  Bytes(const std::uint8_t* data, std::size_t size) : m_Data(data), m_Size(size) {}
  bool Empty() const { return m_At >= m_Size; }
  std::size_t Left() const { return m_Size - m_At; }
  std::uint8_t Byte() { return m_At < m_Size ? m_Data[m_At++] : 0; }
  bool Bool() { return Byte() & 1; }
  std::uint32_t U32() {
    std::uint32_t v = 0;
    for (int i = 0; i < 4; ++i) v |= std::uint32_t(Byte()) << (8 * i);
    return v;
  }
  // A number in [0, n); 0 when n is 0.
  unsigned Below(unsigned n) {
    if (n == 0) return 0;
    std::uint32_t v = n <= 256 ? Byte() : n <= 65536 ? (Byte() | unsigned(Byte()) << 8) : U32();
    return v % n;
  }
  // Up to max bytes: a length byte, then the bytes.
  std::string Text(unsigned max = 255) {
    unsigned n = Below(max + 1);
    std::string s;
    while (n-- > 0 && !Empty()) s += static_cast<char>(Byte());
    return s;
  }
  std::string Rest() {
    std::string s(reinterpret_cast<const char*>(m_Data + m_At), m_Size - m_At);
    m_At = m_Size;
    return s;
  }

 private:
  const std::uint8_t* m_Data;
  std::size_t m_Size;
  std::size_t m_At = 0;
};

inline std::string& ScratchDirectory() {
  static std::string dir;
  return dir;
}

inline void RemoveScratch() {
  std::error_code ec;
  if (!ScratchDirectory().empty()) std::filesystem::remove_all(ScratchDirectory(), ec);
}

// A private directory for the files a target writes, on tmpfs when there is
// one (each input writes files; a disk would be the bottleneck). It is named
// after the process: libFuzzer ends without running exit handlers, so each
// start removes the directories of processes that are gone.
inline const std::string& Scratch() {
  std::string& dir = ScratchDirectory();
  if (dir.empty()) {
    const char* env = getenv("TMPDIR");
    const std::string base = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : env && *env ? env : "/tmp";
    std::error_code ec;
    for (const auto& e : std::filesystem::directory_iterator(base, ec)) {
      const std::string name = e.path().filename().string();
      if (name.compare(0, 8, "vnkfuzz.") != 0) continue;
      const long pid = std::strtol(name.c_str() + 8, nullptr, 10);
      if (pid > 0 && kill(static_cast<pid_t>(pid), 0) != 0 && errno == ESRCH) std::filesystem::remove_all(e.path(), ec);
    }
    dir = base + "/vnkfuzz." + std::to_string(getpid());
    std::filesystem::remove_all(dir, ec);
    if (mkdir(dir.c_str(), 0700) != 0) Fail("mkdir", dir);
    atexit(RemoveScratch);
  }
  return dir;
}

inline void WriteFile(const std::string& path, const std::string& bytes) {
  FILE* f = std::fopen(path.c_str(), "wb");
  if (f == nullptr) Fail("fopen", path);
  if (!bytes.empty() && std::fwrite(bytes.data(), 1, bytes.size(), f) != bytes.size()) Fail("fwrite", path);
  std::fclose(f);
}

inline std::string ReadFile(const std::string& path) {
  std::string out;
  if (FILE* f = std::fopen(path.c_str(), "rb")) {
    char buf[4096];
    std::size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) out.append(buf, n);
    std::fclose(f);
  }
  return out;
}

inline std::string Str(const atr_StringBase& s) { return std::string(s.c_str(), s.Length()); }

}  // namespace vnkfuzz

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  static int count = 0;
  UTI_BasicUtils_initialize(count);
  vnkfuzz::Scratch();
  return 0;
}
