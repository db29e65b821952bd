// vnkuti run: starts a command through uti_Spawn with the library's
// redirection words, waits for it (at most -timeout seconds) and passes its
// exit code on.
#include <cstdio>
#include <memory>

#include "Tool.h"
#include "nex/nex_Exception.h"
#include "uti/uti_Redirection.h"
#include "uti/uti_Spawn.h"
#include "utl/utl_FilePath.h"

#define VNKUTI_SOURCE "tools/vnkuti/RunCommand"

namespace vnkuti {

namespace {

const char kRun[] = "run";
// Exit status of a child killed at its time limit, as timeout(1) has it.
constexpr int kTimedOut = 124;
// Reap counts milliseconds in an int: about 24 days at most.
constexpr int kMaxTimeout = 2000000;

// The start operation is for subclasses: the tool's child is one.
class Child : public uti_Spawn {
 public:
  void Start(const cow_String& command, const cow_List<cow_String>& args, uti_Redirection& redirection,
             const uti_Environment& env) {
    // The program path is not used: the command line decides what runs.
    spawn(command, utl_FilePath(), args, redirection, env, 1);
  }
};

int Seconds(const cow_String& text) {
  long long n = 0;
  for (int i = 0; i < text.Length(); ++i) {
    if (text[i] < '0' || text[i] > '9' || n > kMaxTimeout) Usage("-timeout needs whole seconds, 1 or more", kRun);
    n = n * 10 + (text[i] - '0');
  }
  if (text.IsEmpty() || n < 1 || n > kMaxTimeout) Usage("-timeout needs whole seconds, 1 to 2000000", kRun);
  return static_cast<int>(n);
}

}  // namespace

int RunCommand(const Words& words) {
  std::size_t i = 1;
  int timeout = 0;
  uti_Environment env;
  bool envGiven = false;
  for (; i < words.size(); ++i) {
    const cow_String& w = words[i];
    if (w == "--") {
      ++i;
      break;
    }
    if (w.Length() < 2 || w[0] != '-') break;
    if (w == "-h" || w == "--help") throw HelpRequest{kRun};
    if (w != "-timeout" && w != "-env") Usage("unknown option " + Str(w), kRun);
    if (i + 1 >= words.size()) Usage("option " + Str(w) + " needs a value", kRun);
    const cow_String& value = words[++i];
    if (w == "-timeout") {
      timeout = Seconds(value);
      continue;
    }
    int eq = value.Find('=');
    if (eq < 1) Usage("-env needs K=V with a name K, not " + Str(value), kRun);
    // -env adds to the environment the child would inherit, instead of
    // replacing it.
    if (!envGiven) env = uti_Spawn::getEnvironment();
    envGiven = true;
    env.Insert(value.Substr(0, eq), value.Substr(eq + 1));
  }
  if (i >= words.size()) Usage("missing CMD", kRun);
  const cow_String command = words[i++];

  // Trailing (symbol, target) pairs are redirections; the rest are the
  // command's arguments.
  std::size_t end = words.size();
  while (end >= i + 2 && uti_Redirection::IsSymbol(words[end - 2])) end -= 2;
  cow_List<cow_String> args;
  for (std::size_t k = i; k < end; ++k) args.Append(words[k]);
  cow_List<cow_String> redirectionWords;
  for (std::size_t k = end; k < words.size(); ++k) redirectionWords.Append(words[k]);
  std::unique_ptr<uti_Redirection> redirection;
  try {
    redirection = std::make_unique<uti_Redirection>(redirectionWords);
  } catch (const nex_Exception& e) {
    // Too many pairs, or one stream redirected twice: a usage matter.
    Usage(Str(e.UserReport()), kRun);
  }

  std::fflush(stdout);
  std::fflush(stderr);
  Child child;
  child.Start(command, args, *redirection, env);
  if (timeout > 0) {
    child.Reap(timeout);
    if (child.IsRunning()) {
      child.Kill();
      child.Reap(0);
      return kTimedOut;
    }
  } else {
    child.Reap(0);
  }
  int code = child.ExitCode();
  return code < 0 ? 255 : code & 0xFF;
}

}  // namespace vnkuti
