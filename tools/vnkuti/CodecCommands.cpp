// vnkuti base64 and vnkuti crc: the library's codec and checksum over files
// and the standard streams.
#include <cstdio>

#include "Tool.h"
#include "mem/mem_Alloc.h"
#include "utl/utl_Base64.h"
#include "utl/utl_Crc32.h"
#include "utl/utl_File.h"

#define VNKUTI_SOURCE "tools/vnkuti/CodecCommands"

namespace vnkuti {

namespace {

const char kBase64[] = "base64";
constexpr int kChunk = 1 << 20;

// Drops every line feed, and a carriage return just before one, so that
// text wrapped into lines reaches the decoder as one run of characters.
void JoinLines(Bytes& text) {
  char* d = text.Data();
  int w = 0;
  for (int r = 0; r < text.Length(); ++r) {
    if (d[r] == '\n') {
      if (r > 0 && d[r - 1] == '\r') --w;
      continue;
    }
    d[w++] = d[r];
  }
  text.Truncate(w);
}

int Encode(const Words& words) {
  Options o(words, 2, {{"wrap", false}, {"i", true}, {"o", true}}, kBase64);
  o.ExpectPositional(0, "");
  Bytes input;
  ReadInput(o.Value("i"), input);
  cow_String data = input.ReleaseAsString();
  cow_String text = utl_base64Encode(data, o.Has("wrap"));
  WriteOutput(o.Value("o"), text.c_str(), static_cast<std::size_t>(text.Length()));
  return ExitOk;
}

int Decode(const Words& words) {
  Options o(words, 2, {{"strict", false}, {"i", true}, {"o", true}}, kBase64);
  o.ExpectPositional(0, "");
  Bytes input;
  ReadInput(o.Value("i"), input);
  JoinLines(input);
  cow_String text = input.ReleaseAsString();
  cow_String data = utl_base64Decode(text, o.Has("strict"));
  WriteOutput(o.Value("o"), data.c_str(), static_cast<std::size_t>(data.Length()));
  return ExitOk;
}

// The CRC of everything path holds ("-": standard input), read in pieces.
std::uint32_t CrcOf(const cow_String& path, char* buffer) {
  std::uint32_t crc = 0xFFFFFFFFu;
  if (path == "-") {
    for (;;) {
      std::size_t got = std::fread(buffer, 1, kChunk, stdin);
      if (got == 0) {
        if (std::ferror(stdin)) VNKUTI_FAIL("*** Error: Read failed (standard input)");
        return crc;
      }
      crc = utl_crc32(buffer, got, crc);
    }
  }
  utl_File file(path, utl_FileRead, utl_ShareDefault);
  while (int got = file.Read(buffer, kChunk)) crc = utl_crc32(buffer, static_cast<std::size_t>(got), crc);
  return crc;
}

}  // namespace

int Base64Command(const Words& words) {
  if (words.size() < 2) Usage("missing encode or decode", kBase64);
  if (words[1] == "-h" || words[1] == "--help") throw HelpRequest{kBase64};
  if (words[1] == "encode") return Encode(words);
  if (words[1] == "decode") return Decode(words);
  Usage("unknown base64 command " + Str(words[1]), kBase64);
}

int CrcCommand(const Words& words) {
  Options o(words, 1, {}, "crc");
  o.ExpectPositional(1, "FILE", true);
  struct Buffer {
    char* p = static_cast<char*>(mem_Malloc(kChunk));
    ~Buffer() { mem_Free(p); }
  } buffer;
  // Every file is read before anything is printed: a failure leaves
  // standard output empty.
  std::string out;
  for (const cow_String& path : o.Positional()) out += CrcText(CrcOf(path, buffer.p)) + "\t" + Str(path) + "\n";
  WriteStdout(out);
  return ExitOk;
}

}  // namespace vnkuti
