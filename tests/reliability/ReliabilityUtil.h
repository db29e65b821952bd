// Helpers of the reliability tests: images built byte by byte, a reading of
// a multisection file that never raises, descriptor and directory counts,
// the texts the file errors may have, and the recovery after a crashed save.
#pragma once

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "support/TestSupport.h"
#include "utl/utl_File.h"
#include "utl/utl_MultisectionFile.h"
#include "utl_file/FileTestUtil.h"

namespace reltest {

using vnktest::ReadAll;
using vnktest::Str;
using vnktest::WriteAll;

typedef std::vector<std::pair<std::string, std::string>> Sections;

inline cow_String C(const std::string& s) { return cow_String(s.data(), static_cast<int>(s.size())); }

// MSB first, polynomial 0x04C11DB7, initial value all ones, no final XOR:
// computed bit by bit, apart from the library's tables.
inline std::uint32_t Crc(const std::string& s) {
  std::uint32_t c = 0xFFFFFFFFu;
  for (unsigned char b : s) {
    c ^= std::uint32_t(b) << 24;
    for (int k = 0; k < 8; ++k) c = (c & 0x80000000u) ? (c << 1) ^ 0x04C11DB7u : c << 1;
  }
  return c;
}

inline std::string U32(std::uint32_t v) { return std::string{char(v), char(v >> 8), char(v >> 16), char(v >> 24)}; }

inline std::string Image(const Sections& s) {
  std::string r = std::string("\x28\xC1\x1D\xAF", 4) + U32(1) + U32(static_cast<std::uint32_t>(s.size())), data;
  for (const auto& [name, bytes] : s) {
    r += U32(static_cast<std::uint32_t>(name.size())) + name + U32(static_cast<std::uint32_t>(bytes.size())) +
         U32(Crc(bytes));
    data += bytes;
  }
  return r + data;
}

// One section's bytes, read whole.
inline std::string SectionOf(utl_MultisectionFile& f, const cow_String& name) {
  std::string buf(static_cast<std::size_t>(std::max(0, f.getSectionLength(name))), '\0');
  char spare;
  f.getSectionData(name, buf.empty() ? &spare : buf.data());
  return buf;
}

// Every section of the file through the library, in directory order.
inline Sections ReadSections(const std::string& path) {
  Sections out;
  utl_MultisectionFile f(C(path), utl_FileRead);
  for (int i = 0; i < f.SectionCount(); ++i) out.push_back({Str(f.SectionName(i)), SectionOf(f, f.SectionName(i))});
  return out;
}

// The same, never raising: the text of the first error, or "" with the
// sections in *out.
inline std::string ReadThrough(const std::string& path, Sections* out) {
  try {
    Sections s = ReadSections(path);
    if (out) *out = s;
  } catch (const nex_Exception& e) {
    return Str(e.AsString());
  }
  return "";
}

// Names in a directory, "." and ".." left out.
inline std::set<std::string> Listing(const std::string& dir) {
  std::set<std::string> names;
  if (DIR* d = opendir(dir.c_str())) {
    while (dirent* e = readdir(d))
      if (std::strcmp(e->d_name, ".") != 0 && std::strcmp(e->d_name, "..") != 0) names.insert(e->d_name);
    closedir(d);
  }
  return names;
}

inline int OpenFds() { return static_cast<int>(Listing("/proc/self/fd").size()) - 1; }  // less the listing's own

inline std::string Text(int err) { return std::strerror(err); }

// The texts a failed utl_File operation may raise with error err on one of
// the files, each with the exception class it belongs to.
inline std::map<std::string, unsigned> FileErrorTexts(int err, const std::vector<std::string>& files) {
  const std::string e = Text(err);
  struct Kind {
    const char* head;
    unsigned type;
    std::vector<const char*> labels;
  };
  const Kind kinds[] = {
      {"***ERROR: File close failed", utl_FileExceptionClose::TypeId(), {"CloseHandle"}},
      {"*** Error: Extend failed",
       utl_FileExceptionExtend::TypeId(),
       {"SetFilePointer 1", "SetFilePointer 2", "SetEndOfFile", "SetFilePointer 3", "ReadFile", "SetFilePointer 4",
        "WriteFile", "SetFilePointer 5"}},
      {"*** Error: Seek failed", utl_FileExceptionSeek::TypeId(), {"SetFilePointer"}},
      {"*** Error: Get file location failed", utl_FileExceptionLocation::TypeId(), {"SetFilePointer"}},
      {"*** Error: Flush failed", utl_FileExceptionFlush::TypeId(), {"FlushFileBuffers"}},
      {"*** Error: Read failed", utl_FileExceptionRead::TypeId(), {"ReadFile"}},
      {"*** Error: Write failed", utl_FileExceptionWrite::TypeId(), {"WriteFile"}},
      {"*** Error: Get file size failed", utl_FileExceptionSize::TypeId(), {"GetFileSize"}},
      {"*** Error: File open failed",
       utl_FileExceptionOpen::TypeId(),
       {"CreateFile in OpenRead", "CreateFile in OpenUpdate", "CreateFile in OpenWrite"}},
  };
  std::map<std::string, unsigned> texts;
  for (const std::string& f : files) {
    for (const Kind& k : kinds)
      for (const char* label : k.labels)
        texts[std::string(k.head) + " (utl_File: " + label + ")\nerror: " + e + "\nfile: " + f] = k.type;
    if (err == ENOENT) {
      texts["*** Error: No such file (utl_File: in OpenRead)\nfile name: " + f] = utl_FileExceptionNoFile::TypeId();
      texts["*** Error: No such file (utl_File: in OpenUpdate)\nfile name: " + f] = utl_FileExceptionNoFile::TypeId();
    }
  }
  return texts;
}

// Whether e is one of those texts, raised as the class that owns it.
inline ::testing::AssertionResult IsFileError(const nex_Exception& e, int err, const std::vector<std::string>& files) {
  const std::string text = Str(e.AsString());
  auto texts = FileErrorTexts(err, files);
  auto it = texts.find(text);
  if (it == texts.end()) return ::testing::AssertionFailure() << "unexpected text: " << text;
  if (e.DynTypeId() != it->second) return ::testing::AssertionFailure() << "wrong class for: " << text;
  return ::testing::AssertionSuccess();
}

// The staging files a save of path left behind.
inline std::vector<std::string> StagingFiles(const std::string& dir, const std::string& base) {
  std::vector<std::string> out;
  for (const std::string& n : Listing(dir))
    if (n.size() > base.size() + 5 && n.compare(0, base.size() + 1, base + ".") == 0 &&
        n.compare(n.size() - 4, 4, ".tmp") == 0)
      out.push_back(dir + "/" + n);
  return out;
}

// Scratch space on tmpfs when there is one: the crash and contention tests
// write many megabytes.
class FastDir {
 public:
  FastDir() {
    std::string base = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
    std::string templ = base + "/vnkrel.XXXXXX";
    m_Path = mkdtemp(templ.data()) ? templ : "";
  }
  ~FastDir() {
    std::error_code ec;
    std::filesystem::remove_all(m_Path, ec);
  }
  FastDir(const FastDir&) = delete;
  FastDir& operator=(const FastDir&) = delete;
  const std::string& Path() const { return m_Path; }

 private:
  std::string m_Path;
};

// Runs "vnkuti msf recover -unlock path" (built with the tests); answers its
// exit code, or -2 when the tool is not built.
inline int RunRecoverTool(const std::string& path) {
#ifdef VNKUTI_TOOL
  pid_t pid = fork();
  if (pid == 0) {
    int null = open("/dev/null", O_WRONLY);
    dup2(null, 1);
    dup2(null, 2);
    execl(VNKUTI_TOOL, "vnkuti", "msf", "recover", "-unlock", path.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  int status = 0;
  waitpid(pid, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
#else
  (void)path;
  return -2;
#endif
}

// How a crashed save is put back in order: as a user does, with the tool,
// or in this process with the library's own recovery (what the tool runs).
enum class Recovery { Tool, Library };

// After a crash: the data file is read through the library, recovered, then
// read again. Answers "old" or "new" (the data file checked and was kept,
// or rolled forward to a whole staged image), "recovered" (it failed its
// checks and the new image came back), "lost", or "undetected" (a file that
// checks and holds neither content). Afterwards only the data file is left.
inline std::string Recover(const std::string& dir, const std::string& base, const Sections& oldContent,
                           const Sections& newContent, Recovery how) {
  const std::string path = dir + "/" + base;
  auto classify = [&](const Sections& s) { return s == oldContent ? "old" : s == newContent ? "new" : "undetected"; };
  Sections before;
  const bool clean = ReadThrough(path, &before).empty();
  int rc = -2;
  if (how == Recovery::Tool) rc = RunRecoverTool(path);
  if (rc == -2) {
    try {
      cow_List<cow_String> report;
      utl_MultisectionFile::Recover(C(path), true, report);
      rc = 0;
    } catch (const nex_Exception&) {
      rc = 1;
    }
  }
  if (rc != 0 && clean) return "recovery failed on a file that checks";
  Sections after;
  if (!ReadThrough(path, &after).empty()) return "lost";
  if (clean) {
    const std::string was = classify(before), is = classify(after);
    return was == "old" && is == "new" ? "new" : was == is ? was : "changed by recovery";
  }
  return after == newContent ? "recovered" : "lost";
}

}  // namespace reltest
