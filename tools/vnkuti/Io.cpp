// Bytes in and out of the tool: files through the library's file object,
// the standard streams through C stdio (in binary: on POSIX there is no
// other mode), and a few text helpers.
#include <cstdio>

#include "Tool.h"
#include "mem/mem_Alloc.h"
#include "nex/nex_Exception.h"
#include "utl/utl_File.h"
#include "utl/utl_FileReplace.h"

#define VNKUTI_SOURCE "tools/vnkuti/Io"

namespace vnkuti {

namespace {

// Strings and sections count their bytes in an int, and a string keeps one
// more byte for its terminating zero.
constexpr long long kMaxBytes = 0x7FFFFFFE;
// Each read asks for at most this much, so that a pipe's input arrives in
// steps and the buffer grows by doubling, not by the byte.
constexpr long long kPiece = 16 << 20;

[[noreturn]] void TooLarge(const cow_String& path) {
  std::string name = path.IsEmpty() || path == "-" ? "standard input" : Str(path);
  VNKUTI_FAIL("*** Error: Input too large (more than 2147483646 bytes): " + name);
}

}  // namespace

[[noreturn]] void Fail(const std::string& text, const char* file, int line) {
  nex_TextException(Cow(text)).Throw(file, line);
}

Bytes::~Bytes() { mem_Free(m_Data); }

char* Bytes::Release() {
  char* data = m_Data ? m_Data : static_cast<char*>(mem_Malloc(1));
  m_Data = nullptr;
  m_Length = 0;
  return data;
}

cow_String Bytes::ReleaseAsString() {
  int length = m_Length;
  char* data = Release();
  return cow_String(data, length, atr_StringBase::Adopt);  // ReadInput left room for the zero
}

void ReadInput(const cow_String& path, Bytes& into) {
  mem_Free(into.m_Data);
  into.m_Data = nullptr;
  into.m_Length = 0;
  const bool standardInput = path.IsEmpty() || path == "-";
  utl_File file;
  long long capacity = 64 << 10;
  if (!standardInput) {
    file.Open(path, utl_FileRead, utl_ShareDefault);
    // A regular file says how much is coming; a pipe or a device says 0 and
    // the buffer grows as it reads.
    long long size = file.FileSize().Value();
    if (size > kMaxBytes) TooLarge(path);
    // Room for the bytes, the terminating zero and one more: the read that
    // finds the end then needs no larger buffer.
    if (size + 2 > capacity) capacity = size + 2;
  }
  into.m_Data = static_cast<char*>(mem_Malloc(static_cast<std::size_t>(capacity)));
  long long length = 0;
  for (;;) {
    if (length + 1 >= capacity) {
      if (capacity > kMaxBytes) TooLarge(path);
      capacity = capacity * 2 < kMaxBytes + 2 ? capacity * 2 : kMaxBytes + 2;
      into.m_Data = static_cast<char*>(mem_Realloc(into.m_Data, static_cast<std::size_t>(capacity)));
    }
    long long room = capacity - 1 - length;
    int want = static_cast<int>(room < kPiece ? room : kPiece);
    long long got;
    if (standardInput) {
      got = static_cast<long long>(std::fread(into.m_Data + length, 1, static_cast<std::size_t>(want), stdin));
      if (got == 0 && std::ferror(stdin)) VNKUTI_FAIL("*** Error: Read failed (standard input)");
    } else {
      got = file.Read(into.m_Data + length, want);
    }
    if (got == 0) break;
    length += got;
  }
  if (length > kMaxBytes) TooLarge(path);
  into.m_Length = static_cast<int>(length);
}

InputSource::InputSource(const cow_String& path) : m_Stdin(path.IsEmpty() || path == "-") {
  // Opened now, so that a missing input fails before anything else happens.
  if (!m_Stdin) m_File.Open(path, utl_FileRead, utl_ShareDefault);
}

int InputSource::Get(char* buf, int count) {
  if (!m_Stdin) return m_File.Read(buf, count);
  std::size_t got = std::fread(buf, 1, static_cast<std::size_t>(count), stdin);
  if (got == 0 && std::ferror(stdin)) VNKUTI_FAIL("*** Error: Read failed (standard input)");
  return static_cast<int>(got);
}

void StdoutSink::Put(const char* data, int count) {
  if (std::fwrite(data, 1, static_cast<std::size_t>(count), stdout) != static_cast<std::size_t>(count))
    VNKUTI_FAIL("*** Error: Write failed (standard output)");
}

void WriteStdout(const char* data, std::size_t length) {
  if (length > 0 && std::fwrite(data, 1, length, stdout) != length) VNKUTI_FAIL("*** Error: Write failed (standard output)");
  if (std::fflush(stdout) != 0) VNKUTI_FAIL("*** Error: Write failed (standard output)");
}

void WriteOutput(const cow_String& path, const char* data, std::size_t length) {
  if (path.IsEmpty() || path == "-") {
    WriteStdout(data, length);
    return;
  }
  utl_FileReplace out(path);
  // The file object writes at most an int's worth per call.
  constexpr std::size_t kStep = 1 << 30;
  for (std::size_t done = 0; done < length;) {
    std::size_t n = length - done < kStep ? length - done : kStep;
    out.File().Write(data + done, static_cast<int>(n));
    done += n;
  }
  out.Commit();
}

void WriteStderr(const std::string& text) {
  std::fwrite(text.data(), 1, text.size(), stderr);
  if (!text.empty() && text.back() != '\n') std::fputc('\n', stderr);
  std::fflush(stderr);
}

// ================================================================= text

std::string Str(const atr_StringBase& s) { return std::string(s.c_str(), static_cast<std::size_t>(s.Length())); }

cow_String Cow(const std::string& s) { return cow_String(s.data(), static_cast<int>(s.size())); }

std::string CrcText(std::uint32_t crc) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08x", static_cast<unsigned>(crc));
  return text;
}

namespace {

// The length of the well-formed UTF-8 sequence at p (at most end - p
// bytes), or 0 when there is none.
int Utf8Length(const unsigned char* p, const unsigned char* end) {
  unsigned char c = *p;
  int n = c >= 0xF0 && c <= 0xF4 ? 4 : c >= 0xE0 ? 3 : c >= 0xC2 && c < 0xE0 ? 2 : 0;
  if (n == 0 || end - p < n) return 0;
  for (int i = 1; i < n; ++i)
    if ((p[i] & 0xC0) != 0x80) return 0;
  // Overlong forms, surrogates and code points beyond U+10FFFF.
  if (c == 0xE0 && p[1] < 0xA0) return 0;
  if (c == 0xED && p[1] >= 0xA0) return 0;
  if (c == 0xF0 && p[1] < 0x90) return 0;
  if (c == 0xF4 && p[1] >= 0x90) return 0;
  return n;
}

}  // namespace

std::string JsonString(const atr_StringBase& s) {
  std::string out = "\"";
  const unsigned char* p = reinterpret_cast<const unsigned char*>(s.c_str());
  const unsigned char* end = p + s.Length();
  char esc[8];
  while (p < end) {
    unsigned char c = *p;
    if (c == '"' || c == '\\') {
      out += '\\';
      out += static_cast<char>(c);
    } else if (c == '\n') {
      out += "\\n";
    } else if (c == '\t') {
      out += "\\t";
    } else if (c == '\r') {
      out += "\\r";
    } else if (c < 0x20 || c == 0x7F) {
      std::snprintf(esc, sizeof esc, "\\u%04x", c);
      out += esc;
    } else if (c < 0x80) {
      out += static_cast<char>(c);
    } else if (int n = Utf8Length(p, end)) {
      out.append(reinterpret_cast<const char*>(p), static_cast<std::size_t>(n));
      p += n;
      continue;
    } else {
      // JSON text is Unicode: a byte that is not UTF-8 is shown as the
      // code point of the same number, so that nothing is dropped.
      std::snprintf(esc, sizeof esc, "\\u%04x", c);
      out += esc;
    }
    ++p;
  }
  return out + "\"";
}

std::string PlainName(const atr_StringBase& s) {
  std::string out;
  char esc[8];
  for (int i = 0; i < s.Length(); ++i) {
    unsigned char c = static_cast<unsigned char>(s[i]);
    if (c == '\\') {
      out += "\\\\";
    } else if (c == '\t') {
      out += "\\t";
    } else if (c == '\n') {
      out += "\\n";
    } else if (c == '\r') {
      out += "\\r";
    } else if (c < 0x20 || c == 0x7F) {
      std::snprintf(esc, sizeof esc, "\\x%02x", c);
      out += esc;
    } else {
      out += static_cast<char>(c);
    }
  }
  return out;
}

}  // namespace vnkuti
