// Redirections from arbitrary word lists, texts and (symbol, target) pairs,
// targets being file names or descriptors (open ones, closed ones, the three
// standard ones, nonsense numbers). Each step must match a plain model of the
// seven symbols or raise the matching error, and the descriptors the object
// held must be closed with it, those it did not hold left open.
//
// Input: a form byte, then per step a symbol choice and a target choice.
#include <fcntl.h>

#include <set>
#include <vector>

#include "FuzzSupport.h"
#include "uti/uti_Exception.h"
#include "uti/uti_Redirection.h"

using vnkfuzz::Str;

namespace {

struct Row {
  int stream;
  bool append, merge;
};

const char* const kSymbols[] = {"<", ">", "2>", ">>", "2>>", ">&", ">>&"};
const Row kRows[] = {{0, false, false}, {1, false, false}, {2, false, false}, {1, true, false},
                     {2, true, false},  {1, false, true},  {1, true, true}};
const char* const kOthers[] = {"", "&", "2>&", "<<", "1>", ">|", "nul", "> ", "2>&1"};
const char* const kStreams[] = {"stdin", "stdout", "stderr"};

const Row* RowOf(const std::string& symbol) {
  for (int i = 0; i < 7; ++i)
    if (symbol == kSymbols[i]) return &kRows[i];
  return nullptr;
}

cow_String C(const std::string& s) { return cow_String(s.data(), static_cast<int>(s.size())); }

bool Open(int fd) { return fd >= 0 && fcntl(fd, F_GETFD) != -1; }

struct Record {
  int fd = -1;
  std::string file;
  bool append = false;
  bool Undefined() const { return fd == -1 && file.empty(); }
};

// The model's answer for one Redirect, applied to rec: "" or the error text.
std::string Apply(Record rec[3], const std::string& symbol, int fd, const std::string& file) {
  const Row* row = RowOf(symbol);
  if (row == nullptr) return "Unrecognized redirector symbol";
  if (fd != -1 && !Open(fd)) return "fstat";
  auto set = [&](int s, bool append, int f, const std::string& name) -> std::string {
    if (!rec[s].Undefined()) return std::string("Stream ") + kStreams[s] + " has already redirected.";
    rec[s].fd = f;
    rec[s].file = name;
    rec[s].append = append;
    return "";
  };
  std::string r = set(row->stream, row->append, fd, file);
  if (r.empty() && row->merge) r = set(2, false, 1, "");
  return r;
}

// The text of what f raised, "" for nothing, "fstat" for the descriptor check.
template <class F>
std::string Outcome(F&& f) {
  try {
    f();
  } catch (const uti_IOErrorException& e) {
    VNKFUZZ_CHECK(Str(e.Function()) == "fstat", Str(e.AsString()));
    return "fstat";
  } catch (const nex_TextException& e) {
    return Str(e.AsString());
  }
  return "";
}

void Compare(const uti_Redirection& r, const Record rec[3]) {
  for (int s = 0; s < 3; ++s) {
    const uti_Redirection::Redirector& got = r.ConstGetRedirector(s);
    VNKFUZZ_CHECK(got.m_Fd == rec[s].fd && Str(got.m_FileName) == rec[s].file && got.m_Append == rec[s].append &&
                      got.isUndefined() == rec[s].Undefined(),
                  std::to_string(s));
  }
}

class Harness {
 public:
  explicit Harness(const std::uint8_t* data, std::size_t size) : m_In(data, size) {}
  ~Harness() {
    for (int fd : m_Mine)
      if (Open(fd)) close(fd);
  }

  std::string Symbol() {
    unsigned k = m_In.Below(20);
    if (k < 14) return kSymbols[k % 7];
    if (k < 18) return kOthers[m_In.Below(sizeof kOthers / sizeof kOthers[0])];
    return Clean(m_In.Text(4));
  }
  // Names are map keys and C strings to the library: no zero bytes.
  static std::string Clean(std::string s) {
    for (char& c : s)
      if (c == '\0') c = '_';
    return s;
  }
  // A target: a descriptor or a file name.
  void Target(int& fd, std::string& file) {
    fd = -1;
    file.clear();
    switch (m_In.Below(9)) {
      case 0: fd = static_cast<int>(m_In.Below(3)); break;  // a standard stream
      case 1:
      case 2: {
        fd = open("/dev/null", O_RDWR | O_CLOEXEC);
        VNKFUZZ_CHECK(fd >= 3, "open");
        m_Mine.insert(fd);
        break;
      }
      case 3: fd = 900 + static_cast<int>(m_In.Below(50)); break;  // not open
      case 4: fd = -2 - static_cast<int>(m_In.Below(100)); break;
      case 5: break;  // nothing: the record stays undefined
      default: file = Clean(m_In.Text(12)); break;
    }
  }

  void Run() {
    const std::set<int> before = OpenSet();
    Record rec[3];
    std::set<int> held;
    switch (m_In.Below(4)) {
      case 0: {  // a text: words split at blanks and tabs
        std::string text = m_In.Rest();
        text = text.substr(0, text.find('\0'));
        std::vector<std::string> words;
        for (std::size_t i = 0; i < text.size();) {
          while (i < text.size() && (text[i] == ' ' || text[i] == '\t')) ++i;
          std::size_t start = i;
          while (i < text.size() && text[i] != ' ' && text[i] != '\t') ++i;
          if (i > start) words.push_back(text.substr(start, i - start));
        }
        Words(words, [&] { uti_Redirection r(cow_String(text.c_str())); Compare(r, Expected(words)); });
        break;
      }
      case 1: {  // a word list
        std::vector<std::string> words;
        cow_List<cow_String> list;
        for (unsigned n = m_In.Below(9); n > 0; --n) {
          words.push_back(n % 2 == 0 ? Symbol() : Clean(m_In.Text(8)));
          list.Append(cow_String(words.back().data(), static_cast<int>(words.back().size())));
        }
        Words(words, [&] { uti_Redirection r(list); Compare(r, Expected(words)); });
        break;
      }
      case 2: {  // the pair constructors: an error leaves nothing to close
        std::string s[3], f[3];
        int fd[3];
        const unsigned pairs = 1 + m_In.Below(3);
        std::string expected;
        for (unsigned i = 0; i < pairs; ++i) {
          s[i] = Symbol();
          Target(fd[i], f[i]);
          if (expected.empty()) expected = Apply(rec, s[i], fd[i], f[i]);
        }
        auto h = [&](int i) { return fd[i] != -1 ? uti_Redirection::Handle(fd[i]) : uti_Redirection::Handle(f[i].c_str()); };
        std::string got = Outcome([&] {
          if (pairs == 1) {
            uti_Redirection r(C(s[0]), h(0));
            Compare(r, rec);
          } else if (pairs == 2) {
            uti_Redirection r(C(s[0]), h(0), C(s[1]), h(1));
            Compare(r, rec);
          } else {
            uti_Redirection r(C(s[0]), h(0), C(s[1]), h(1), C(s[2]), h(2));
            Compare(r, rec);
          }
        });
        VNKFUZZ_CHECK(got == expected, got + " vs " + expected);
        if (expected.empty()) CheckClosed(rec, before);
        break;
      }
      default: {  // Redirect calls on one object, errors and all, then Nullify
        {
          uti_Redirection r;
          for (unsigned n = 1 + m_In.Below(6); n > 0; --n) {
            std::string s = Symbol(), f;
            int fd;
            Target(fd, f);
            uti_Redirection::Handle h = fd != -1 ? uti_Redirection::Handle(fd) : uti_Redirection::Handle(f.c_str());
            std::string expected = Apply(rec, s, fd, f);
            std::string got = Outcome([&] { r.Redirect(C(s), h); });
            VNKFUZZ_CHECK(got == expected, got + " vs " + expected);
            Compare(r, rec);
            VNKFUZZ_CHECK(uti_Redirection::IsSymbol(C(s)) == (RowOf(s) != nullptr), s);
          }
          if (m_In.Bool()) {
            r.Nullify();
            for (Record& x : rec)
              if (x.Undefined()) x.file = "nul", x.append = false;
            Compare(r, rec);
          }
        }
        CheckClosed(rec, before);
        break;
      }
    }
    // Whatever is left of ours is closed here; nothing else may stay open.
    for (int fd : m_Mine)
      if (Open(fd)) close(fd);
    VNKFUZZ_CHECK(OpenSet() == before, "descriptor leaked or closed");
  }

 private:
  // Descriptors 0 to 1023 that are open.
  static std::set<int> OpenSet() {
    std::set<int> s;
    for (int fd = 0; fd < 1024; ++fd)
      if (Open(fd)) s.insert(fd);
    return s;
  }

  static Record* ExpectedRecords() {
    static Record rec[3];
    return rec;
  }
  std::string m_WordsError;
  Record* Expected(const std::vector<std::string>& words) {
    Record* rec = ExpectedRecords();
    for (int s = 0; s < 3; ++s) rec[s] = Record();
    m_WordsError.clear();
    if (words.size() > 6) {
      m_WordsError = "Two many redirection arguments";
    } else if (words.size() % 2 != 0) {
      m_WordsError = "Redirection arguments must be paired";
    } else {
      for (std::size_t i = 0; i < words.size() && m_WordsError.empty(); i += 2)
        m_WordsError = Apply(rec, words[i], -1, words[i + 1]);
    }
    return rec;
  }
  template <class F>
  void Words(const std::vector<std::string>& words, F&& build) {
    Expected(words);
    const std::string expected = m_WordsError;
    std::string got = Outcome(build);
    VNKFUZZ_CHECK(got == expected, got + " vs " + expected);
  }

  // After the object went: the descriptors of 3 and above it held are closed;
  // ours that it did not hold are still open.
  void CheckClosed(const Record rec[3], const std::set<int>& before) {
    std::set<int> held;
    for (int s = 0; s < 3; ++s)
      if (rec[s].fd >= 3) held.insert(rec[s].fd);
    for (int fd : m_Mine) VNKFUZZ_CHECK(Open(fd) == (held.count(fd) == 0), std::to_string(fd));
    for (int fd : before) VNKFUZZ_CHECK(Open(fd), "a descriptor the object never held was closed");
  }

  vnkfuzz::Bytes m_In;
  std::set<int> m_Mine;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Harness(data, size).Run();
  return 0;
}
