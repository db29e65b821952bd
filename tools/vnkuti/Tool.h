// vnkuti: what the command files share. Each command takes the words that
// follow its name and answers the process's exit status; failures are raised
// as nex_Exception (exit 1, reported by main) or UsageError (exit 2).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cow/cow_String.h"
#include "utl/utl_File.h"
#include "utl/utl_MultisectionFile.h"

namespace vnkuti {

typedef std::vector<cow_String> Words;

enum ExitStatus { ExitOk = 0, ExitFailure = 1, ExitUsage = 2 };

// A command line the tool cannot use: main prints "vnkuti: <message>" and
// the topic's usage on standard error, and exits 2.
struct UsageError {
  std::string m_Message;
  std::string m_Topic;  // "msf", "base64", ...; "" for the overview
};

// -h or --help among a command's words: its usage goes to standard output.
struct HelpRequest {
  std::string m_Topic;
};

// ----- options ----------------------------------------------------------
// A command's words split into positional words and options. Options may
// stand anywhere among the positional words; "--" ends them, and "-" alone
// is positional (standard input or output).
struct OptionDef {
  const char* m_Name;  // without the "-"
  bool m_TakesValue;
};

class Options {
 public:
  Options(const Words& words, std::size_t from, std::initializer_list<OptionDef> known, const char* topic);
  const Words& Positional() const { return m_Positional; }
  bool Has(const char* name) const;
  // The option's value, or dflt when the option was not given.
  cow_String Value(const char* name, const cow_String& dflt = cow_String()) const;
  // Requires exactly n positional words (at least n and any number with
  // orMore), naming what is missing in the usage error.
  void ExpectPositional(std::size_t n, const char* what, bool orMore = false) const;

 private:
  Words m_Positional;
  std::vector<std::pair<std::string, cow_String>> m_Given;
  const char* m_Topic;
};

[[noreturn]] void Usage(const std::string& message, const char* topic);

// ----- bytes in and out (Io.cpp) ---------------------------------------
// A block from mem_Malloc holding the bytes read, with room for a
// terminating zero; freed with the object unless released.
class Bytes {
 public:
  Bytes() = default;
  ~Bytes();
  Bytes(const Bytes&) = delete;
  Bytes& operator=(const Bytes&) = delete;
  char* Data() const { return m_Data; }
  int Length() const { return m_Length; }
  void Truncate(int length) { m_Length = length < m_Length ? length : m_Length; }
  char* Release();  // the caller frees it with mem_Free
  cow_String ReleaseAsString();

 private:
  friend void ReadInput(const cow_String& path, Bytes& into);
  char* m_Data = nullptr;
  int m_Length = 0;
};

// A section's new value read from path, or from standard input when path is
// empty or "-", piece by piece as a save asks for it.
class InputSource final : public utl_MultisectionFile::SectionSource {
 public:
  explicit InputSource(const cow_String& path);
  int Get(char* buf, int count) override;

 private:
  bool m_Stdin;
  utl_File m_File;
};
// Standard output as a sink for section bytes; a failed write raises.
class StdoutSink final : public utl_MultisectionFile::SectionSink {
 public:
  void Put(const char* data, int count) override;
};

// Reads all of path, or of standard input when path is empty or "-".
// Longer than a section or a string can be (2 GiB - 2 bytes) raises.
void ReadInput(const cow_String& path, Bytes& into);
// Writes bytes to standard output and flushes it; a failed write raises.
void WriteStdout(const char* data, std::size_t length);
inline void WriteStdout(const std::string& text) { WriteStdout(text.data(), text.size()); }
inline void WriteStdout(const atr_StringBase& text) { WriteStdout(text.c_str(), static_cast<std::size_t>(text.Length())); }
// Writes bytes to path whole or not at all (utl_FileReplace), or to
// standard output when path is empty or "-".
void WriteOutput(const cow_String& path, const char* data, std::size_t length);
// Lines to standard error, each ending with a line feed.
void WriteStderr(const std::string& text);

// Raises nex_TextException with this text at the position of the call; each
// file defines VNKUTI_SOURCE as its path ("tools/vnkuti/Io").
[[noreturn]] void Fail(const std::string& text, const char* file, int line);
#define VNKUTI_FAIL(text) ::vnkuti::Fail((text), VNKUTI_SOURCE, __LINE__)

// ----- text -------------------------------------------------------------
std::string Str(const atr_StringBase& s);
cow_String Cow(const std::string& s);
std::string CrcText(std::uint32_t crc);  // "0x" and 8 lower-case hex digits
std::string JsonString(const atr_StringBase& s);
// A name shown on one line: backslash, control bytes and DEL as C escapes.
std::string PlainName(const atr_StringBase& s);

// ----- commands ---------------------------------------------------------
int MsfCommand(const Words& words);     // words[0] is "msf"
int Base64Command(const Words& words);  // words[0] is "base64"
int CrcCommand(const Words& words);
int RunCommand(const Words& words);
int DemoCommand(const Words& words);

// ----- usage texts (Usage.cpp) -------------------------------------------
// The usage of a topic ("" for the overview); null for an unknown topic.
const char* UsageText(const std::string& topic);

}  // namespace vnkuti
