// vnkuti msf: list, get, put, rm, verify, recover and dump on multisection
// files. Every format rule lives in utl_MultisectionFile and utl_FileStore;
// this file only moves bytes between them and the user.
#include <cstdlib>
#include <memory>

#include "Tool.h"
#include "aio/aio_ostream.h"
#include "cls/cls_ClassRegistrar.h"
#include "nex/nex_Exception.h"
#include "pnt/pnt_PrettyPrint.h"
#include "uti/uti_Spawn.h"
#include "utl/utl_FileReplace.h"
#include "utl/utl_FileStore.h"
#include "utl/utl_MultisectionFile.h"
#include "utl/utl_Stat.h"

#define VNKUTI_SOURCE "tools/vnkuti/MsfCommands"

namespace vnkuti {

namespace {

const char kTopic[] = "msf";
const char kLockText[] = "Cannot create the lock file.";
// Sections up to this size go to standard output from memory, in one pass;
// larger ones in two passes over the file, so memory stays small.
constexpr int kHeldSection = 16 << 20;

// In builds with tests, VNKUTI_TOOL_SAVE_STOP=N (1 to 8) ends the process
// just before step N of the next save, as a crash there would: the tests of
// recover need every step. Other builds ignore the variable.
void ArmSaveStopForTests() {
#ifdef VNKUTI_TOOL_TEST_HOOKS
  uti_Environment env = uti_Spawn::getEnvironment();
  const cow_String name("VNKUTI_TOOL_SAVE_STOP");
  if (!env.IsMember(name)) return;
  int step = std::atoi(env.ConstGet(name).c_str());
  if (step >= 1 && step <= 8) utl_MultisectionFile::SetSaveStop(step, utl_MultisectionFile::SaveStopExit);
#endif
}

[[noreturn]] void NoSection(const cow_String& path, const cow_String& section) {
  VNKUTI_FAIL("\"" + Str(path) + "\": No section \"" + Str(section) + "\"");
}

void RequireSection(const utl_MultisectionFile& file, const cow_String& path, const cow_String& section) {
  if (!file.hasSection(section)) NoSection(path, section);
}

// Opens path for a writer: an existing file for update, a missing one for
// write (created at the save). A file that appears between the look and the
// lock is opened again for update, so that nobody's sections are dropped.
std::unique_ptr<utl_MultisectionFile> OpenForWriting(const cow_String& path) {
  if (utl_Stat(path).Exists()) return std::make_unique<utl_MultisectionFile>(path, utl_FileUpdate);
  auto file = std::make_unique<utl_MultisectionFile>(path, utl_FileWrite);
  if (!utl_Stat(path).Exists()) return file;
  file.reset();
  return std::make_unique<utl_MultisectionFile>(path, utl_FileUpdate);
}

bool IsLockFailure(const std::string& report) {
  const std::size_t n = sizeof kLockText - 1;
  return report.size() >= n && report.compare(report.size() - n, n, kLockText) == 0;
}

// Runs a writer; a lock that is taken gets the library's text and a hint.
int AsWriter(int (*body)(const Words&), const Words& words, const char* hint) {
  try {
    return body(words);
  } catch (const nex_Exception& e) {
    std::string text = Str(e.UserReport());
    if (!IsLockFailure(text)) throw;
    WriteStderr(text);
    WriteStderr(hint);
    return ExitFailure;
  }
}

const char kWriterHint[] =
    "vnkuti: another writer holds FILE.lock; if none is running, \"vnkuti msf recover -unlock FILE\" removes it";
const char kRecoverHint[] = "vnkuti: if no writer is running, -unlock removes the lock file";

// ================================================================ list

int List(const Words& words) {
  Options o(words, 2, {{"json", false}}, kTopic);
  o.ExpectPositional(1, "FILE");
  const cow_String& path = o.Positional()[0];
  utl_MultisectionFile file(path, utl_FileRead);
  std::string out;
  const bool json = o.Has("json");
  if (json) out = file.SectionCount() == 0 ? "[" : "[\n";
  for (int i = 0; i < file.SectionCount(); ++i) {
    std::string length = std::to_string(file.SectionLength(i));
    std::string crc = CrcText(file.SectionChecksum(i));
    if (json) {
      out += "  {\"name\": " + JsonString(file.SectionName(i)) + ", \"length\": " + length + ", \"crc\": \"" + crc +
             "\"}" + (i + 1 < file.SectionCount() ? ",\n" : "\n");
    } else {
      out += PlainName(file.SectionName(i)) + "\t" + length + "\t" + crc + "\n";
    }
  }
  if (json) out += "]\n";
  WriteStdout(out);
  return ExitOk;
}

// ================================================================= get

int Get(const Words& words) {
  Options o(words, 2, {{"o", true}}, kTopic);
  o.ExpectPositional(2, "FILE and SECTION");
  const cow_String& path = o.Positional()[0];
  const cow_String& section = o.Positional()[1];
  const cow_String outPath = o.Value("o");
  utl_MultisectionFile file(path, utl_FileRead);
  RequireSection(file, path, section);
  if (!outPath.IsEmpty() && outPath != "-") {
    // Streamed through a staging file: a section that fails its CRC leaves
    // OUT as it was.
    utl_FileReplace out(outPath);
    file.CopySectionTo(section, out.File());
    out.Commit();
  } else if (file.getSectionLength(section) <= kHeldSection) {
    // Standard output cannot take bytes back, so the whole section is read
    // and checked before the first byte goes out.
    WriteStdout(file.SectionData(section));
  } else {
    // Too large to hold: a first pass checks the CRC, a second sends the
    // bytes (and checks again, for a writer that raced in between).
    struct Drop final : utl_MultisectionFile::SectionSink {
      void Put(const char*, int) override {}
    } drop;
    file.CopySectionTo(section, drop);
    StdoutSink out;
    file.CopySectionTo(section, out);
    WriteStdout(nullptr, 0);  // flushes
  }
  return ExitOk;
}

// ================================================================= put

int Put(const Words& words) {
  Options o(words, 2, {{"i", true}}, kTopic);
  o.ExpectPositional(2, "FILE and SECTION");
  const cow_String& path = o.Positional()[0];
  const cow_String& section = o.Positional()[1];
  // The input goes straight into the staging file as the save reads it, so
  // the lock is held while it is read.
  InputSource input(o.Value("i"));
  std::unique_ptr<utl_MultisectionFile> file = OpenForWriting(path);
  file->SetSectionSource(section, input);
  ArmSaveStopForTests();
  file->saveChanges();
  return ExitOk;
}

// ================================================================== rm

int Remove(const Words& words) {
  Options o(words, 2, {}, kTopic);
  o.ExpectPositional(2, "FILE and SECTION");
  const cow_String& path = o.Positional()[0];
  const cow_String& section = o.Positional()[1];
  utl_MultisectionFile file(path, utl_FileUpdate);
  if (!file.RemoveSection(section)) NoSection(path, section);
  ArmSaveStopForTests();
  file.saveChanges();
  return ExitOk;
}

// ============================================================== verify

int Verify(const Words& words) {
  Options o(words, 2, {{"json", false}}, kTopic);
  o.ExpectPositional(1, "FILE");
  const cow_String& path = o.Positional()[0];
  utl_MultisectionFile file(path, utl_FileRead);
  std::vector<cow_String> damaged;
  for (int i = 0; i < file.SectionCount(); ++i)
    if (!file.IsSectionIntact(i)) damaged.push_back(file.SectionName(i));
  std::string out;
  if (o.Has("json")) {
    out = "{\"file\": " + JsonString(path) + ", \"sections\": " + std::to_string(file.SectionCount()) +
          ", \"damaged\": [";
    for (std::size_t i = 0; i < damaged.size(); ++i) out += (i ? ", " : "") + JsonString(damaged[i]);
    out += "]}\n";
  } else {
    for (const cow_String& name : damaged) out += PlainName(name) + "\n";
  }
  WriteStdout(out);
  if (damaged.empty()) return ExitOk;
  WriteStderr("vnkuti: " + std::to_string(damaged.size()) + " of " + std::to_string(file.SectionCount()) +
              " sections of " + Str(path) + " fail their CRC");
  return ExitFailure;
}

// ============================================================= recover

int Recover(const Words& words) {
  Options o(words, 2, {{"unlock", false}}, kTopic);
  o.ExpectPositional(1, "FILE");
  const cow_String& path = o.Positional()[0];
  cow_List<cow_String> report;
  std::string text;
  try {
    utl_MultisectionFile::Recover(path, o.Has("unlock"), report);
  } catch (const nex_Exception&) {
    // What was found explains the failure: it goes before the error.
    for (int i = 0; i < report.Count(); ++i) text += Str(report.ConstGet(i)) + "\n";
    if (!text.empty()) WriteStderr(text);
    throw;
  }
  for (int i = 0; i < report.Count(); ++i) text += Str(report.ConstGet(i)) + "\n";
  WriteStdout(text);
  return ExitOk;
}

// ================================================================ dump

int Dump(const Words& words) {
  Options o(words, 2, {}, kTopic);
  o.ExpectPositional(2, "FILE and SECTION");
  const cow_String& path = o.Positional()[0];
  const cow_String& section = o.Positional()[1];
  utl_FileStore store(path, utl_FileRead);
  if (!store.HasSection(section)) NoSection(path, section);
  aio_stringostream text;
  pnt_PrettyPrint printer(&text);
  const cls_ClassRegistrar& registrar = omi_Singleton<cls_MetadataRegistrar>::Instance().GetRegistrar(2);
  if (!store.PrintObject(section, registrar, &printer))
    VNKUTI_FAIL("\"" + Str(path) + "\": Section \"" + Str(section) + "\" holds no object");
  printer.Flush();
  WriteStdout(text.Str());
  return ExitOk;
}

}  // namespace

int MsfCommand(const Words& words) {
  if (words.size() < 2) Usage("missing msf command", kTopic);
  const cow_String& sub = words[1];
  if (sub == "-h" || sub == "--help") throw HelpRequest{kTopic};
  if (sub == "list") return List(words);
  if (sub == "get") return Get(words);
  if (sub == "put") return AsWriter(&Put, words, kWriterHint);
  if (sub == "rm") return AsWriter(&Remove, words, kWriterHint);
  if (sub == "verify") return Verify(words);
  if (sub == "recover") return AsWriter(&Recover, words, kRecoverHint);
  if (sub == "dump") return Dump(words);
  Usage("unknown msf command " + Str(sub), kTopic);
}

}  // namespace vnkuti
