// vnkuti demo: the library's typical use from end to end, in the scratch
// directory, printing each step. An application starts the library, reads
// its arguments, opens a multisection file, reads sections (checked against
// their CRCs), replaces one and saves it through the staging file; a second
// writer is refused, damage is caught, a failed write is reported, and the
// library is shut down.
#include <cstring>

#include "Tool.h"
#include "aio/aio_ostream.h"
#include "cls/cls_ClassRegistrar.h"
#include "nex/nex_Exception.h"
#include "pnt/pnt_PrettyPrint.h"
#include "utl/utl_CommandLine.h"
#include "utl/utl_Crc32.h"
#include "utl/utl_File.h"
#include "utl/utl_FileStore.h"
#include "utl/utl_MultisectionFile.h"
#include "utl/utl_Stat.h"
#include "utl/utl_TempFile.h"
#include "utl/utl_Version.h"

#define VNKUTI_SOURCE "tools/vnkuti/DemoCommand"

namespace vnkuti {

namespace {

// The demo's text, printed when every step has run.
class Script {
 public:
  void Step(const std::string& what) { m_Text += "-- " + what + "\n"; }
  void Say(const std::string& what) { m_Text += "   " + what + "\n"; }
  // An error report, one indented line per line of it.
  void Report(const atr_StringBase& report) {
    std::string text = Str(report);
    std::size_t from = 0;
    while (from < text.size()) {
      std::size_t nl = text.find('\n', from);
      if (nl == std::string::npos) nl = text.size();
      Say("| " + text.substr(from, nl - from));
      from = nl + 1;
    }
  }
  const std::string& Text() const { return m_Text; }

 private:
  std::string m_Text;
};

std::string Quoted(const std::string& s) { return "\"" + s + "\""; }
std::string Quoted(const atr_StringBase& s) { return Quoted(Str(s)); }

void Set(utl_MultisectionFile& file, const char* name, const char* text) {
  file.setSectionData(name, text, static_cast<int>(std::strlen(text)));
}

void ListSections(Script& out, utl_MultisectionFile& file) {
  for (int i = 0; i < file.SectionCount(); ++i)
    out.Say(PlainName(file.SectionName(i)) + "\t" + std::to_string(file.SectionLength(i)) + "\t" +
            CrcText(file.SectionChecksum(i)));
}

std::string Read(utl_MultisectionFile& file, const char* name) { return Str(file.SectionData(name)); }

}  // namespace

int DemoCommand(const Words& words) {
  Options o(words, 1, {}, "demo");
  o.ExpectPositional(0, "");
  Script out;

  out.Step("UTI_BasicUtils_initialize: the library started (the tool did this first)");
  out.Say("version " + Str(utl_Version::Get().Text()) + ", CRC kernel " + utl_crc32KernelName(utl_crc32Kernel()));

  out.Step("utl_CommandLineSetup: the arguments, read once into utl_CommandLine");
  utl_CommandLine& commandLine = utl_CommandLine::Instance();
  out.Say(std::to_string(commandLine.Size()) + " arguments, the first " + Quoted(commandLine.ConstGet(0)));
  if (utl_TempFileDirectory().IsEmpty()) {
    // No -tmpdir, SCRATCH or TMPDIR: the demo gives itself the option, as a
    // second setup enters it, and works in the current directory.
    char program[] = "vnkuti", option[] = "-tmpdir", here[] = ".";
    char* argv[] = {program, option, here, nullptr};
    utl_CommandLineSetup(3, argv);
    out.Say("no scratch directory set (-tmpdir, SCRATCH, TMPDIR): using the current directory");
  }
  out.Say("scratch directory " + Quoted(utl_TempFileDirectory()));

  utl_TempFile dataName(".msf");  // deletes the file when the demo ends
  utl_TempFile storeName(".store");
  const cow_String path = dataName.Name();

  out.Step("utl_MultisectionFile, write access: two sections set and saved");
  {
    utl_MultisectionFile file(path, utl_FileWrite);
    out.Say("the writer lock " + Quoted(path + ".lock") + " is taken");
    Set(file, "mesh", "nodes 1 2 3 4; elements 1-2 2-3 3-4");
    Set(file, "results", "displacement 0.0 0.1 0.4 0.9");
    file.saveChanges();
    out.Say("saveChanges staged the image in " + Quoted(path + ".<pid>.tmp") +
            ", copied it over the data file and deleted the staging file");
    ListSections(out, file);
  }
  out.Say(Quoted(path) + ": " + std::to_string(utl_Stat(path).Size()) + " bytes");

  out.Step("update access: sections read by name, one replaced, one added, saved");
  {
    utl_MultisectionFile file(path, utl_FileUpdate);
    out.Say("mesh: " + Quoted((Read(file, "mesh"))) + " (its CRC checked)");
    out.Say("a second writer, while this one holds the lock:");
    try {
      utl_MultisectionFile second(path, utl_FileUpdate);
      out.Say("   (was let in: this should not happen)");
    } catch (const nex_Exception& e) {
      out.Report(e.UserReport());
    }
    Set(file, "results", "displacement 0.0 0.2 0.8 1.8");
    Set(file, "notes", "load case 2");
    file.saveChanges();
    ListSections(out, file);
  }

  out.Step("read access (no lock): what the save left");
  {
    utl_MultisectionFile file(path, utl_FileRead);
    out.Say("results: " + Quoted((Read(file, "results"))));
    out.Say("notes: " + Quoted((Read(file, "notes"))));
  }

  out.Step("one byte changed on disk: the CRC catches it");
  nex_TextException caught("(nothing caught)");
  {
    // The file's last byte is the last section's ("notes").
    utl_File raw(path, utl_FileUpdate, utl_ShareDefault);
    long long last = raw.FileSize().Value() - 1;
    char byte = 0;
    raw.Seek(last);
    raw.Read(&byte, 1);
    byte = static_cast<char>(byte ^ 0x20);
    raw.Seek(last);
    raw.Write(&byte, 1);
  }
  {
    utl_MultisectionFile file(path, utl_FileRead);
    try {
      Read(file, "notes");
      out.Say("(the damage went unseen: this should not happen)");
    } catch (const nex_TextException& e) {
      out.Say("reading notes raised, and UserReport() says:");
      out.Report(e.UserReport());
      caught = e;
    }
    out.Say("mesh still reads: " + Quoted((Read(file, "mesh"))));
  }

  out.Step("utl_FileStore: the caught exception kept as a persistent object");
  {
    utl_FileStore store(storeName.Name(), utl_FileWrite);
    store.WriteObject("failure", caught);
    store.Save();
  }
  {
    utl_FileStore store(storeName.Name(), utl_FileRead);
    aio_stringostream text;
    pnt_PrettyPrint printer(&text);
    store.PrintObject("failure", omi_Singleton<cls_MetadataRegistrar>::Instance().GetRegistrar(2), &printer);
    printer.Flush();
    out.Say("printed back by the error-print writer (vnkuti msf dump FILE failure):");
    out.Report(text.Str());
  }

  out.Step("a write that fails: utl_File raises utl_FileExceptionWrite");
  try {
    utl_File readOnly(path, utl_FileRead, utl_ShareDefault);
    readOnly.Write("x", 1);
  } catch (const nex_Exception& e) {
    out.Say("caught as nex_Exception; UserReport():");
    out.Report(e.UserReport());
  }

  out.Step("UTI_BasicUtils_finalize: the library stops when the tool ends; the scratch files go");
  WriteStdout(out.Text());
  return ExitOk;
}

}  // namespace vnkuti
