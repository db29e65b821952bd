// The command line from an arbitrary argument vector, or from an arbitrary
// arguments file named with -clargsfile: the arguments and options must be
// exactly what a plain reading of the rules gives, and every typed read must
// answer or raise its own exception.
//
// Input: a flags byte, a two-byte file length, the file's bytes, then the
// argument words separated by zero bytes.
#include <map>
#include <set>
#include <vector>

#include "FuzzSupport.h"
#include "aio/aio_ostream.h"
#include "typ/typ_DebugFlags.h"
#include "utl/utl_CommandLine.h"

using vnkfuzz::Str;

namespace {

constexpr int kMaxFileArgs = 1024;
constexpr std::size_t kTokenMax = 1023;

cow_String C(const std::string& s) { return cow_String(s.data(), static_cast<int>(s.size())); }

bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r'; }

// Option names are map keys, which compare up to a zero byte.
std::string KeyOf(const std::string& s) { return s.substr(0, s.find('\0')); }

struct Model {
  std::vector<std::string> args;
  std::map<std::string, std::string> options;  // by KeyOf(name)
  // KeyOf(name) -> every name given for it ("a", "a\0x"): each must find
  // the one entry.
  std::map<std::string, std::set<std::string>> names;
};

void Parse(const std::vector<std::string>& argv, Model& m) {
  m.args.insert(m.args.end(), argv.begin(), argv.end());
  auto put = [&](const std::string& name, const std::string& value) {
    m.options[KeyOf(name)] = value;
    m.names[KeyOf(name)].insert(name);
  };
  bool pending = false;
  std::string name;
  for (std::size_t i = 1; i < argv.size(); ++i) {
    const std::string& a = argv[i];
    if (!a.empty() && a[0] == '-') {
      if (pending) put(name, "");
      name = a.substr(1);
      pending = true;
      if (i + 1 == argv.size()) put(name, ""), pending = false;
    } else if (pending) {
      put(name, a);
      pending = false;
    }
  }
}

std::vector<std::string> FileTokens(const std::string& text) {
  std::vector<std::string> t;
  std::string cur;
  for (char c : text) {
    if (t.size() + 1 >= kMaxFileArgs) break;
    if (!IsSpace(c)) cur += c;
    if ((IsSpace(c) || cur.size() == kTokenMax) && !cur.empty()) t.push_back(cur), cur.clear();
  }
  if (!cur.empty() && t.size() + 1 < kMaxFileArgs) t.push_back(cur);
  return t;
}

// The value as the typed reads see it: digits only, saturating.
bool Digits(const std::string& v) {
  for (char c : v)
    if (c < '0' || c > '9') return false;
  return true;
}

template <class T>
T Saturated(const std::string& v, T max) {
  T r = 0;
  for (char c : v) {
    T d = static_cast<T>(c - '0');
    if (r > (max - d) / 10) return max;
    r = r * 10 + d;
  }
  return r;
}

void CheckOption(utl_CommandLine& cl, const std::string& name, const std::string& value) {
  const cow_String n = C(name);
  VNKFUZZ_CHECK(cl.IsMember(n), name);
  VNKFUZZ_CHECK(Str(cl.ConstGetValue(n)) == value, name);
  VNKFUZZ_CHECK(Str(cl.ConstGetValue(n, "dflt")) == value, name);
  if (Digits(value)) {
    VNKFUZZ_CHECK(cl.ConstGetValueAsInt(n) == Saturated<int>(value, 2147483647), value);
    VNKFUZZ_CHECK(cl.ConstGetValueAsSizeT(n, 3) == Saturated<std::size_t>(value, ~std::size_t(0)), value);
  } else {
    try {
      cl.ConstGetValueAsInt(n, 5);
      vnkfuzz::Fail("no format error", value);
    } catch (const utl_CmdLineArgFormatException& e) {
      VNKFUZZ_CHECK(name.find('\0') != std::string::npos || Str(e.AsString()) == "Command line argument " + Str(n) + " must have type integer", Str(e.AsString()));
    }
  }
  // Keys of the dictionary form carry no separator and no outer blanks.
  utl_CommandLine::Dictionary d = cl.ConstGetValueAsDictionary(n);
  for (cow_ConstMapIterator<cow_String, cow_String> it(d); it.More(); it.Next()) {
    const std::string k = Str(it.Key());
    VNKFUZZ_CHECK(!k.empty() && k.find(',') == std::string::npos && k.front() != ' ' && k.back() != ' ', k);
  }

  // The C forms, on names without a zero byte (they take C strings).
  if (name.find('\0') != std::string::npos) return;
  const int len = static_cast<int>(value.size());
  for (int width : {0, len - 1, len, len + 3}) {
    if (width < 0) continue;
    std::string dst(static_cast<std::size_t>(width) + 1, '#');
    int r = utl_CommandLineStringC(name.c_str(), dst.data(), width);
    if (len <= width) {
      VNKFUZZ_CHECK(r == len && dst.compare(0, len, value) == 0 && dst.find_first_not_of(' ', len) == std::size_t(width),
                    value);
    } else {
      VNKFUZZ_CHECK(r == 0 && dst == std::string(dst.size(), '#'), value);
    }
  }
  std::string dst(value.size() + 1, '#');
  VNKFUZZ_CHECK(utl_getArgs(name.c_str(), dst.data()) == len, value);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  vnkfuzz::Bytes in(data, size);
  const std::uint8_t flags = in.Byte();
  const unsigned fileLength = in.Byte() | unsigned(in.Byte()) << 8;
  std::string fileText;
  for (unsigned i = 0; i < fileLength && !in.Empty(); ++i) fileText += static_cast<char>(in.Byte());
  std::vector<std::string> words{"prog"};
  {
    std::string rest = in.Rest(), w;
    for (char c : rest) {
      if (c == '\0') words.push_back(w), w.clear();
      else w += c;
    }
    if (!w.empty()) words.push_back(w);
  }

  const std::string file = vnkfuzz::Scratch() + "/args.txt";
  Model m;
  std::vector<std::string> argv = words;
  const bool useFile = flags & 1, missingFile = flags & 2;
  if (useFile) {
    vnkfuzz::WriteFile(file, fileText);
    argv.insert(argv.begin() + 1, {"-clargsfile", missingFile ? file + ".absent" : file});
    if (!missingFile) {
      std::vector<std::string> fromFile{"prog"};
      for (const std::string& t : FileTokens(fileText)) fromFile.push_back(t);
      Parse(fromFile, m);
    }
  } else {
    // Only the flags byte names an arguments file: a word from the input
    // must not make the library read any path it likes.
    if (argv.size() > 1 && argv[1] == "-clargsfile") argv[1] = "-clargsfile-not";
    Parse(argv, m);
  }

  std::vector<char*> cargv;
  for (std::string& a : argv) cargv.push_back(a.data());
  cargv.push_back(nullptr);
  aio_stringostream err;
  aio_ostream* old = aio_setCerr(&err);
  utl_CommandLineSetup(static_cast<int>(argv.size()), cargv.data());
  aio_setCerr(old);
  const std::string errText = Str(err.Str());
  if (useFile && missingFile)
    VNKFUZZ_CHECK(errText == "ERROR: Unable to open command line arguments file " + file + ".absent\n", errText);

  utl_CommandLine& cl = utl_CommandLine::Instance();
  VNKFUZZ_CHECK(cl.Size() == static_cast<int>(m.args.size()), std::to_string(cl.Size()));
  for (int i = 0; i < cl.Size(); ++i) VNKFUZZ_CHECK(Str(cl.ConstGet(i)) == m.args[i], std::to_string(i));
  for (const auto& [key, value] : m.options)
    for (const std::string& name : m.names[key]) CheckOption(cl, name, value);

  const cow_String absent("no such option \x01");
  VNKFUZZ_CHECK(!cl.IsMember(absent), "absent");
  try {
    cl.ConstGetValue(absent);
    vnkfuzz::Fail("absent option answered");
  } catch (const utl_MissingCmdLineArgException& e) {
    VNKFUZZ_CHECK(Str(e.AsString()) == "Command line argument no such option \x01 is required.", Str(e.AsString()));
  }
  VNKFUZZ_CHECK(cl.ConstGetValueAsInt(absent, 42) == 42, "default");

  // The next input starts from an empty command line and no debug levels.
  utl_CommandLine::Finalize();
  for (int f = 0; f < typ_DebugFlags::MaxFacility; ++f) typ_DebugFlags::SetLevel(f, 0);
  return 0;
}
