// vnkuti: the command-line tool over VNKUTI BasicUtils. main starts and
// stops the library, reads the arguments through the library's command line
// (so "-clargsfile FILE" works), hands them to a command and turns what
// comes back into the exit status:
//   0 success; 1 a failure, whose UserReport() goes to standard error;
//   2 a usage error, with the usage on standard error.
#include <cstdio>
#include <cstring>
#include <new>

#include "Tool.h"
#include "nex/nex_Exception.h"
#include "uti/UTI_BasicUtils.h"
#include "utl/utl_CommandLine.h"
#include "utl/utl_Version.h"

namespace vnkuti {

// ================================================================ options

void Usage(const std::string& message, const char* topic) { throw UsageError{message, topic ? topic : ""}; }

Options::Options(const Words& words, std::size_t from, std::initializer_list<OptionDef> known, const char* topic)
    : m_Topic(topic) {
  bool optionsEnded = false;
  for (std::size_t i = from; i < words.size(); ++i) {
    const cow_String& w = words[i];
    if (optionsEnded || w.Length() < 2 || w[0] != '-') {
      m_Positional.push_back(w);
      continue;
    }
    if (w == "--") {
      optionsEnded = true;
      continue;
    }
    if (w == "-h" || w == "--help") throw HelpRequest{topic};
    const OptionDef* found = nullptr;
    for (const OptionDef& o : known)
      if (std::strcmp(w.c_str() + 1, o.m_Name) == 0) found = &o;
    if (found == nullptr) Usage("unknown option " + Str(w), topic);
    cow_String value;
    if (found->m_TakesValue) {
      if (i + 1 >= words.size()) Usage("option " + Str(w) + " needs a value", topic);
      value = words[++i];
    }
    m_Given.emplace_back(found->m_Name, value);
  }
}

bool Options::Has(const char* name) const {
  for (const auto& g : m_Given)
    if (g.first == name) return true;
  return false;
}

cow_String Options::Value(const char* name, const cow_String& dflt) const {
  cow_String value = dflt;
  for (const auto& g : m_Given)
    if (g.first == name) value = g.second;  // the last one given wins
  return value;
}

void Options::ExpectPositional(std::size_t n, const char* what, bool orMore) const {
  if (m_Positional.size() < n) Usage(std::string("missing ") + what, m_Topic);
  if (!orMore && m_Positional.size() > n) Usage("unexpected argument " + Str(m_Positional[n]), m_Topic);
}

namespace {

// ============================================================== dispatch

int Help(const Words& words) {
  std::string topic = words.size() > 1 ? Str(words[1]) : "";
  if (topic == "-h" || topic == "--help") topic = "help";
  if (words.size() > 2) Usage("unexpected argument " + Str(words[2]), "help");
  const char* text = UsageText(topic);
  if (text == nullptr) Usage("no command " + topic, "");
  WriteStdout(std::string(text));
  return ExitOk;
}

int Dispatch(const Words& words) {
  if (words.empty()) Usage("no command given", "");
  const cow_String& command = words[0];
  if (command == "help" || command == "-h" || command == "--help") return Help(words);
  if (command == "--version") {
    if (words.size() > 1) Usage("unexpected argument " + Str(words[1]), "");
    WriteStdout("vnkuti " + Str(utl_Version::Get().Text()) + "\n");
    return ExitOk;
  }
  if (command == "msf") return MsfCommand(words);
  if (command == "base64") return Base64Command(words);
  if (command == "crc") return CrcCommand(words);
  if (command == "run") return RunCommand(words);
  if (command == "demo") return DemoCommand(words);
  Usage("unknown command " + Str(command), "");
}

// One line on standard error per line of the report.
void Report(const atr_StringBase& text) { WriteStderr(Str(text)); }

int Main(int argc, char** argv) {
  try {
    utl_CommandLineSetup(argc, argv);
    utl_CommandLine& commandLine = utl_CommandLine::Instance();
    // An arguments file that cannot be read leaves the command line empty;
    // the library has said why on standard error.
    if (commandLine.Size() == 0) return ExitFailure;
    Words words;
    for (int i = 1; i < commandLine.Size(); ++i) words.push_back(commandLine.ConstGet(i));
    return Dispatch(words);
  } catch (const UsageError& e) {
    const char* usage = UsageText(e.m_Topic);
    WriteStderr("vnkuti: " + e.m_Message + "\n" + (usage ? usage : ""));
    return ExitUsage;
  } catch (const HelpRequest& h) {
    const char* usage = UsageText(h.m_Topic);
    try {
      WriteStdout(std::string(usage ? usage : ""));
    } catch (const nex_Exception& e) {
      Report(e.UserReport());
      return ExitFailure;
    }
    return ExitOk;
  } catch (const nex_Exception& e) {
    Report(e.UserReport());
    return ExitFailure;
  } catch (const std::bad_alloc&) {
    WriteStderr("*** Error: Out of memory");
    return ExitFailure;
  }
}

}  // namespace
}  // namespace vnkuti

int main(int argc, char** argv) {
  int modules = 0;
  UTI_BasicUtils_initialize(modules);
  int status = vnkuti::Main(argc, argv);
  UTI_BasicUtils_finalize(modules);
  return status;
}
