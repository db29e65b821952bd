#include "utl/utl_CommandLine.h"

#include <atomic>
#include <cstdio>
#include <cstring>

#include "aio/aio_ostream.h"
#include "atr/atr_Translate.h"
#include "thr/thr_GlobalLock.h"
#include "typ/typ_DebugFlags.h"

#define NEX_SOURCE "utl/impl/utl_CommandLine"

template class thr_GlobalSingletonBase<utl_CommandLine>;
template class thr_GlobalSingleton<utl_CommandLine>;

namespace {

constexpr int kMaxFileArgs = 1024;   // entries of the vector read from a file, argv[0] included
constexpr int kTokenBuffer = 1024;   // bytes for one token, terminator included

// The mutex every member takes. Made on first use under the global lock;
// destroyed by utl_CommandLine::Finalize, again under the global lock.
constinit std::atomic<thr_Mutex*> g_Mutex{nullptr};

thr_Mutex& CommandLineMutex() { return thr_GlobalSingletonCore::CreationMutex(g_Mutex); }

// Holds the command line's mutex for a scope, so that a raise releases it.
class Locked {
 public:
  Locked() : m_Mutex(CommandLineMutex()) { m_Mutex.Lock(); }
  ~Locked() { m_Mutex.Unlock(); }
  Locked(const Locked&) = delete;
  Locked& operator=(const Locked&) = delete;

 private:
  thr_Mutex& m_Mutex;
};

bool IsBlank(char c) { return c == ' ' || c == '\t'; }
// The C locale's white space, whatever locale the program has set.
bool IsSpace(int c) { return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r'; }

cow_String Trimmed(const char* s, int n) {
  while (n > 0 && IsBlank(*s)) ++s, --n;
  while (n > 0 && IsBlank(s[n - 1])) --n;
  return cow_String(s, n);
}

// Checks that every character is a decimal digit and converts them,
// stopping at max instead of overflowing.
template <class T>
T CheckedNumber(const cow_String& name, const cow_String& value, T max) {
  const char* s = value.c_str();
  const int n = value.Length();
  for (int i = 0; i < n; ++i)
    if (s[i] < '0' || s[i] > '9') NEX_THROW(utl_CmdLineArgFormatException(name, "integer"));
  T v = 0;
  for (int i = 0; i < n; ++i) {
    const T digit = static_cast<T>(s[i] - '0');
    if (v > (max - digit) / 10) return max;
    v = v * 10 + digit;
  }
  return v;
}

void WriteUnableToOpen(const char* path) {
  atr_translate t("ERROR: Unable to open command line arguments file %s\n");
  atr_SubstituteFormat(t, 1, path != nullptr ? path : "");
  aio_ostream& err = aio_cerr();
  err << t.Result();
  err.Flush();
}

void WriteTooMany() {
  atr_translate first("ERROR: There are more than %d command line arguments. All arguments beyond\n");
  atr_SubstituteFormat(first, 1, kMaxFileArgs);
  atr_translate second("argument %d will be ignored.\n");
  atr_SubstituteFormat(second, 1, kMaxFileArgs);
  aio_ostream& err = aio_cerr();
  err << first.Result() << second.Result();
  err.Flush();
}

// Appends the file's whitespace-separated tokens to args until args holds
// kMaxFileArgs entries. A token that fills the buffer is cut there; its rest
// is the next token. False when the file cannot be opened or read.
bool ReadArgsFile(const char* path, cow_List<cow_String>& args) {
  if (path == nullptr) return false;
  std::FILE* f = std::fopen(path, "r");
  if (f == nullptr) return false;
  char token[kTokenBuffer];
  int length = 0;
  bool full = args.Count() >= kMaxFileArgs;
  for (int c = 0; !full && c != EOF;) {
    c = std::getc(f);
    if (c != EOF && !IsSpace(c)) token[length++] = static_cast<char>(c);
    const bool ends = c == EOF || IsSpace(c) || length == kTokenBuffer - 1;
    if (ends && length > 0) {
      args.Append(cow_String(token, length));
      length = 0;
      full = args.Count() >= kMaxFileArgs;
    }
  }
  const bool failed = std::ferror(f) != 0;
  std::fclose(f);
  if (full) WriteTooMany();
  return !failed;
}

}  // namespace

// ------------------------------------------------------------ exceptions
utl_MissingCmdLineArgException::utl_MissingCmdLineArgException(const atr_StringBase& name) {
  atr_translate t("Command line argument %s is required.");
  atr_SubstituteFormat(t, 1, name);
  m_Value = t.Result();
}
utl_MissingCmdLineArgException::~utl_MissingCmdLineArgException() = default;
NEX_CONCRETE_DEFINITIONS(utl_MissingCmdLineArgException)

utl_CmdLineArgFormatException::utl_CmdLineArgFormatException(const atr_StringBase& name, const char* typeWord) {
  atr_translate t("Command line argument %1$s must have type %2$s");
  atr_SubstituteFormat(t, 1, name);
  atr_SubstituteFormat(t, 2, typeWord);
  m_Value = t.Result();
}
utl_CmdLineArgFormatException::~utl_CmdLineArgFormatException() = default;
NEX_CONCRETE_DEFINITIONS(utl_CmdLineArgFormatException)

// ------------------------------------------------------------ the instance
utl_CommandLine::utl_CommandLine() = default;
utl_CommandLine::~utl_CommandLine() = default;

utl_CommandLine& utl_CommandLine::Instance() { return thr_GlobalSingleton<utl_CommandLine>::Instance(); }

void utl_CommandLine::Finalize() {
  thr_GlobalSingletonBase<utl_CommandLine>::Finalize();
  // The global lock may already be gone when a caller finalizes late.
  thr_GlobalLock* global = omi_Singleton<thr_GlobalLock>::Peek();
  if (global != nullptr) global->Lock();
  delete g_Mutex.exchange(nullptr, std::memory_order_acq_rel);
  if (global != nullptr) global->Unlock();
}

// ------------------------------------------------------------ parsing
void utl_CommandLine::SetArgs(int argc, char** argv) {
  cow_List<cow_String> args;
  for (int i = 0; argv != nullptr && i < argc; ++i) args.Append(cow_String(argv[i]));  // null reads as ""
  SetArgsList(args);
}

void utl_CommandLine::SetArgsList(const cow_List<cow_String>& args) {
  {
    Locked lock;
    if (args.IsEmpty()) return;
    m_Args.Append(args.ConstGet(0));
    // At most one option waits for its value: the next argument, unless that
    // names an option itself.
    cow_String pending;
    bool waiting = false;
    const int last = args.Count() - 1;
    for (int i = 1; i <= last; ++i) {
      const cow_String& a = args.ConstGet(i);
      if (a.c_str()[0] == '-') {
        if (waiting) m_Options.Insert(pending, cow_String());
        pending = a.Substr(1);
        waiting = true;
        if (i == last) {
          m_Options.Insert(pending, cow_String());
          waiting = false;
        }
      } else if (waiting) {
        m_Options.Insert(pending, a);
        waiting = false;
      }
      m_Args.Append(a);
    }
  }
  ApplyErrorOption();
}

void utl_CommandLine::ApplyErrorOption() {
  const cow_String error("error");
  if (!IsMember(error)) return;
  const Dictionary flags = ConstGetValueAsDictionary(error);
  for (cow_ConstMapSortedIt<cow_String, cow_String> it(flags); it.More(); it.Next()) {
    const int level = it.Value().IsEmpty() ? 1 : std::atoi(it.Value().c_str());
    if (level > 0) typ_DebugFlags::SetDebugFlags(it.Key().c_str(), level);
  }
}

// ------------------------------------------------------------ reading
int utl_CommandLine::Size() const {
  Locked lock;
  return m_Args.Count();
}

// Answers are fresh strings, not shares of the stored ones: a share's count
// is a plain integer, and the caller's copy outlives the mutex.
cow_String utl_CommandLine::ConstGet(int i) const {
  Locked lock;
  const cow_String& a = m_Args.ConstGet(i);
  return cow_String(a.c_str(), a.Length());
}

bool utl_CommandLine::IsMember(const cow_String& name) const {
  Locked lock;
  return m_Options.IsMember(name);
}

cow_String utl_CommandLine::RequiredValue(const cow_String& name) const {
  cow_String value;
  if (!FindValue(name, value)) NEX_THROW(utl_MissingCmdLineArgException(name));
  return value;
}

bool utl_CommandLine::FindValue(const cow_String& name, cow_String& value) const {
  Locked lock;
  const cow_String* found = m_Options.FindPtr(name);
  if (found == nullptr) return false;
  value = cow_String(found->c_str(), found->Length());  // unshared, as ConstGet
  return true;
}

cow_String utl_CommandLine::ConstGetValue(const cow_String& name) const { return RequiredValue(name); }

cow_String utl_CommandLine::ConstGetValue(const cow_String& name, const cow_String& dflt) const {
  cow_String value;
  return FindValue(name, value) ? value : dflt;
}

// The typed reads check the value after the mutex is dropped: it is a copy.
int utl_CommandLine::ConstGetValueAsInt(const cow_String& name) const {
  return CheckedNumber<int>(name, RequiredValue(name), 0x7FFFFFFF);
}

int utl_CommandLine::ConstGetValueAsInt(const cow_String& name, int dflt) const {
  cow_String value;
  return FindValue(name, value) ? CheckedNumber<int>(name, value, 0x7FFFFFFF) : dflt;
}

std::size_t utl_CommandLine::ConstGetValueAsSizeT(const cow_String& name) const {
  return CheckedNumber<std::size_t>(name, RequiredValue(name), ~std::size_t{0});
}

std::size_t utl_CommandLine::ConstGetValueAsSizeT(const cow_String& name, std::size_t dflt) const {
  cow_String value;
  return FindValue(name, value) ? CheckedNumber<std::size_t>(name, value, ~std::size_t{0}) : dflt;
}

utl_CommandLine::Dictionary utl_CommandLine::ConstGetValueAsDictionary(const cow_String& name) const {
  const cow_String value = RequiredValue(name);
  Dictionary result;
  const char* s = value.c_str();
  const int n = value.Length();
  for (int from = 0; from <= n;) {
    int to = from;
    while (to < n && s[to] != ',') ++to;
    int eq = from;
    while (eq < to && s[eq] != '=') ++eq;
    cow_String key = Trimmed(s + from, eq - from);
    if (!key.IsEmpty()) result.Insert(key, eq < to ? Trimmed(s + eq + 1, to - eq - 1) : cow_String());
    from = to + 1;
  }
  return result;
}

// ------------------------------------------------------------ set-up
void utl_CommandLineSetup(int argc, char** argv) {
  utl_CommandLine& cl = utl_CommandLine::Instance();
  if (argc < 2 || argv == nullptr || argv[1] == nullptr || std::strcmp(argv[1], "-clargsfile") != 0) {
    cl.SetArgs(argc, argv);
    return;
  }
  cow_List<cow_String> args;
  args.Append(cow_String(argv[0]));
  const char* path = argc > 2 ? argv[2] : nullptr;
  if (!ReadArgsFile(path, args)) {
    WriteUnableToOpen(path);  // deliberately no fallback to argv: the command line stays empty
    return;
  }
  cl.SetArgsList(args);
}

// ------------------------------------------------------------ C callers
extern "C" int utl_CommandLineStringC(const char* name, char* dst, int width) {
  cow_String value;
  if (name == nullptr || dst == nullptr || !utl_CommandLine::Instance().FindValue(cow_String(name), value)) return 0;
  if (value.Length() > width) return 0;
  std::memcpy(dst, value.c_str(), static_cast<std::size_t>(value.Length()));
  std::memset(dst + value.Length(), ' ', static_cast<std::size_t>(width - value.Length()));
  return value.Length();
}

extern "C" int utl_getArgs(const char* name, char* dst) {
  cow_String value;
  if (name == nullptr || dst == nullptr || !utl_CommandLine::Instance().FindValue(cow_String(name), value)) return 0;
  std::memcpy(dst, value.c_str(), static_cast<std::size_t>(value.Length()) + 1);
  return value.Length();
}

extern "C" void UTL_COMMANDLINESTRING(const char* name, int nameLength, char* dst, int width, int* result) {
  int answer = 0;
  if (name != nullptr && nameLength > 0) {
    const cow_String trimmed = Trimmed(name, nameLength);
    answer = utl_CommandLineStringC(trimmed.c_str(), dst, width);
  }
  if (result != nullptr) *result = answer;
}
