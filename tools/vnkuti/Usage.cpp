// The usage texts: the overview and one per command. Scripts depend on the
// interface they describe; change both together.
#include <cstring>

#include "Tool.h"

namespace vnkuti {

namespace {

const char kOverview[] =
    "usage: vnkuti COMMAND [ARG ...]\n"
    "\n"
    "  msf list FILE [-json]             sections in directory order: NAME<TAB>LENGTH<TAB>CRC\n"
    "  msf get FILE SECTION [-o OUT]     a section's bytes (CRC checked)\n"
    "  msf put FILE SECTION [-i IN]      set a section and save (a missing FILE is created)\n"
    "  msf rm FILE SECTION               remove a section\n"
    "  msf verify FILE [-json]           check every section's CRC; exit 1 if any is bad\n"
    "  msf recover FILE [-unlock]        restore FILE after a crash during a save\n"
    "  msf dump FILE SECTION             print the object the file store keeps in SECTION\n"
    "  base64 encode [-wrap] [-i IN] [-o OUT]\n"
    "  base64 decode [-strict] [-i IN] [-o OUT]\n"
    "  crc FILE...                       CRC<TAB>FILE per file\n"
    "  run [-timeout S] [-env K=V ...] CMD [ARG ...] [SYMBOL TARGET ...]\n"
    "  demo                              the library's typical use, step by step\n"
    "  help [COMMAND]                    this text, or a command's (also -h, --help)\n"
    "  --version                         the library's version\n"
    "\n"
    "Exit status: 0 success; 1 failure (the error on standard error, nothing on\n"
    "standard output); 2 usage error. \"-clargsfile FILE\" as the first argument\n"
    "reads the arguments from FILE (whitespace-separated words).\n";

const char kMsf[] =
    "usage: vnkuti msf list FILE [-json]\n"
    "       vnkuti msf get FILE SECTION [-o OUT]\n"
    "       vnkuti msf put FILE SECTION [-i IN]\n"
    "       vnkuti msf rm FILE SECTION\n"
    "       vnkuti msf verify FILE [-json]\n"
    "       vnkuti msf recover FILE [-unlock]\n"
    "       vnkuti msf dump FILE SECTION\n"
    "\n"
    "FILE is a multisection file: named sections, each guarded by a CRC-32.\n"
    "  list     one line per section in directory order: NAME<TAB>LENGTH<TAB>CRC,\n"
    "           the CRC as 0x and 8 hex digits; a backslash or control byte in a\n"
    "           name is shown as a C escape. -json: one array of\n"
    "           {\"name\",\"length\",\"crc\"} objects.\n"
    "  get      the section's bytes, CRC checked, to OUT (replaced whole, or left\n"
    "           as it was on failure) or to standard output.\n"
    "  put      sets the section from IN or standard input and saves; the section\n"
    "           is added last when new; a missing FILE is created.\n"
    "  rm       rewrites FILE without the section.\n"
    "  verify   prints the name of each section whose CRC fails; exit 1 if any.\n"
    "           -json: {\"file\",\"sections\",\"damaged\":[names]}.\n"
    "  recover  after a crash during a save: when FILE fails its checks and a\n"
    "           staging file FILE.<pid>.tmp holds a complete image whose every CRC\n"
    "           checks, copies it over FILE and removes it; staging files beside\n"
    "           a FILE that checks are removed. Reports what it found and did.\n"
    "           -unlock first removes FILE.lock, left by a writer that is gone.\n"
    "  dump     prints the object the file store keeps in SECTION, as the\n"
    "           error-print writer shows it.\n"
    "Writers (put, rm, recover) take FILE.lock; while another holds it they fail\n"
    "with \"Cannot create the lock file.\"\n";

const char kBase64[] =
    "usage: vnkuti base64 encode [-wrap] [-i IN] [-o OUT]\n"
    "       vnkuti base64 decode [-strict] [-i IN] [-o OUT]\n"
    "\n"
    "The library's base64: the alphabet A-Z a-z 0-9 + !, padding \"=\". Input from IN\n"
    "or standard input, output to OUT (replaced whole) or standard output.\n"
    "  encode  no line feed at all; -wrap: a line feed after every 76 characters\n"
    "          and at the end.\n"
    "  decode  line feeds (and CR LF) between lines are dropped first, so wrapped\n"
    "          text decodes; other characters outside the alphabet are skipped,\n"
    "          or refused with -strict.\n";

const char kCrc[] =
    "usage: vnkuti crc FILE...\n"
    "\n"
    "One line per FILE: CRC<TAB>FILE, the CRC-32 that guards multisection files\n"
    "(0x and 8 hex digits). \"-\" reads standard input.\n";

const char kRun[] =
    "usage: vnkuti run [-timeout S] [-env K=V ...] CMD [ARG ...] [SYMBOL TARGET ...]\n"
    "\n"
    "Runs CMD through the library's spawning and exits with its exit code.\n"
    "  SYMBOL TARGET  trailing pairs redirect the child's streams to files:\n"
    "                 <  input    >  output   >>  output, appending\n"
    "                 2> error    2>> error, appending\n"
    "                 >& output and error     >>& the same, appending\n"
    "                 The target \"nul\" is the null device. Quote the symbols so\n"
    "                 that the shell leaves them alone.\n"
    "  -timeout S     kills the child after S whole seconds (S >= 1); exit 124.\n"
    "  -env K=V       sets K in the child's environment (repeatable).\n"
    "Options stop at CMD (or at \"--\"). The command line is built as the library\n"
    "builds it: a word with a blank or a tab is quoted, a double quote inside a\n"
    "word is not escaped. A child killed by signal N exits 128 + N.\n";

const char kDemo[] =
    "usage: vnkuti demo\n"
    "\n"
    "Runs the library's typical use from end to end in the scratch directory\n"
    "(-tmpdir DIR, SCRATCH or TMPDIR; else the current directory), printing each\n"
    "step: start-up, the command line, a multisection file written, read, changed\n"
    "and saved through its staging file, a second writer refused, damage caught by\n"
    "the CRC, an object kept by the file store, a failure reported, shut-down.\n";

const char kHelp[] =
    "usage: vnkuti help [COMMAND]\n"
    "\n"
    "Prints the overview, or the usage of COMMAND (msf, base64, crc, run, demo).\n";

}  // namespace

const char* UsageText(const std::string& topic) {
  static const struct {
    const char* m_Topic;
    const char* m_Text;
  } kTexts[] = {{"", kOverview},   {"msf", kMsf}, {"base64", kBase64}, {"crc", kCrc},
                {"run", kRun},     {"demo", kDemo}, {"help", kHelp}};
  for (const auto& t : kTexts)
    if (topic == t.m_Topic) return t.m_Text;
  return nullptr;
}

}  // namespace vnkuti
