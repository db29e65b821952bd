#include "utl/utl_TempFile.h"

#include <atomic>

#include "atr/atr_Translate.h"
#include "plt/plt_Error.h"
#include "plt/plt_File.h"
#include "plt/plt_FileSystem.h"
#include "utl/utl_CommandLine.h"
#include "utl/utl_DiskAttributes.h"
#include "utl/utl_FilePath.h"
#include "utl/utl_Stat.h"

#define NEX_SOURCE "utl/impl/utl_TempFile"

namespace {

constexpr char kTemplate[] = "VnkTempFileXXXXXX";
constexpr int kTemplateLength = sizeof kTemplate - 1;
constexpr int kRandomLength = 6;  // the trailing X
static_assert(kTemplateLength == 17, "the name template has 17 characters");

// Lower case and digits only: a name must stay unique on volumes that
// ignore case. 36^6 (about 2.2e9) names per directory.
constexpr char kNameChars[] = "abcdefghijklmnopqrstuvwxyz0123456789";
constexpr unsigned kNameCharCount = sizeof kNameChars - 1;
// Names tried before giving up; a directory this crowded is a fault of its
// own, and a bound keeps a broken existence check from looping forever.
constexpr int kNameAttempts = 100;

// Create: read-write, create, exclusive; owner read and write.
constexpr int kCreateFlags = plt_CrtReadWrite | plt_CrtCreate | plt_CrtExclusive;
constexpr int kOpenFlags = plt_CrtReadWrite;
constexpr int kPermission = 0600;
static_assert(kCreateFlags == 0x502 && kOpenFlags == 2, "the C run time's _open flags");

// ======================================================== name generator
// A process-wide counter, seeded once from the platform, run through a
// mixer. The process id is mixed into every draw, so that a forked child
// does not repeat its parent's names.
constinit std::atomic<std::uint64_t> g_NameState{0};

std::uint64_t Mix(std::uint64_t z) {
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
  return z ^ (z >> 31);
}

std::uint64_t NextRandom() {
  constexpr std::uint64_t kGamma = 0x9E3779B97F4A7C15ull;
  std::uint64_t state = g_NameState.load(std::memory_order_relaxed);
  if (state == 0) {
    // Several threads may seed at once; one seed wins, all use it.
    std::uint64_t seed = plt_UniqueSeed() | 1;
    g_NameState.compare_exchange_strong(state, seed, std::memory_order_relaxed);
  }
  std::uint64_t x = g_NameState.fetch_add(kGamma, std::memory_order_relaxed);
  return Mix(x ^ (static_cast<std::uint64_t>(plt_FileProcessId()) * kGamma));
}

// Replaces the last six characters of path (the template's X) until no
// file of that name exists. False when every attempt found a file, or when
// the system cannot say (a directory that may not be searched): then no
// name is known to be free.
bool FillTemplate(cow_String& path) {
  const int at = path.Length() - kRandomLength;
  for (int attempt = 0; attempt < kNameAttempts; ++attempt) {
    std::uint64_t r = NextRandom();
    for (int i = 0; i < kRandomLength; ++i) {
      path[at + i] = kNameChars[r % kNameCharCount];
      r /= kNameCharCount;
    }
    // Not following links: a dangling link would still make the exclusive
    // create fail.
    plt_PathStatus st;
    if (plt_PathStat(path.c_str(), false, &st)) continue;
    return plt_LastError() == plt_ErrFileNotFound();
  }
  return false;
}

// The candidate with a trailing separator when it names a directory; "".
cow_String UsableDirectory(const cow_String& candidate) {
  if (candidate.IsEmpty()) return cow_String();
  if (!utl_Stat(utl_FilePath::StripTrailingSeparator(candidate)).IsDirectory()) return cow_String();
  return utl_FilePath::AppendSeparator(candidate);
}

cow_String FromEnvironment(const char* name) {
  atr_String value;
  if (!plt_GetEnv(name, &value)) return cow_String();
  return UsableDirectory(value);
}

}  // namespace

cow_String utl_TempFileDirectory() {
  utl_CommandLine& commandLine = utl_CommandLine::Instance();
  const cow_String option("tmpdir");
  if (commandLine.IsMember(option)) {
    cow_String dir = UsableDirectory(commandLine.ConstGetValue(option, cow_String()));
    if (!dir.IsEmpty()) return dir;
  }
  cow_String dir = FromEnvironment("SCRATCH");
  if (!dir.IsEmpty()) return dir;
  return FromEnvironment("TMPDIR");
}

// =============================================================== exceptions

utl_TempFileException::utl_TempFileException(const atr_StringBase& text) : nex_TextException(text) {}
utl_TempFileException::~utl_TempFileException() = default;
NEX_CONCRETE_DEFINITIONS(utl_TempFileException)

utl_TempFileOpenExc::utl_TempFileOpenExc(const atr_StringBase& fileName, const atr_StringBase& systemText) {
  atr_translate t("*** ERROR: Can't create temporary file: %1$s, system error: %2$s");
  atr_SubstituteFormat(t, 1, fileName);
  atr_SubstituteFormat(t, 2, systemText);
  m_Value = t.Result();
}
utl_TempFileOpenExc::~utl_TempFileOpenExc() = default;
NEX_CONCRETE_DEFINITIONS(utl_TempFileOpenExc)

utl_TempFileDirExc::utl_TempFileDirExc(const atr_StringBase& directory) {
  atr_translate t("*** ERROR: Not a directory: %s");
  atr_SubstituteFormat(t, 1, directory);
  m_Value = t.Result();
}
utl_TempFileDirExc::~utl_TempFileDirExc() = default;
NEX_CONCRETE_DEFINITIONS(utl_TempFileDirExc)

utl_TempFileCantExc::utl_TempFileCantExc() {
  m_Value = atr_translate("*** ERROR: Can't create unique temporary file name.").Result();
}
utl_TempFileCantExc::~utl_TempFileCantExc() = default;
NEX_CONCRETE_DEFINITIONS(utl_TempFileCantExc)

utl_TempFileNoDirExc::utl_TempFileNoDirExc() {
  m_Value = atr_translate("*** ERROR: Can't find directory in which to place temporary file.").Result();
}
utl_TempFileNoDirExc::~utl_TempFileNoDirExc() = default;
NEX_CONCRETE_DEFINITIONS(utl_TempFileNoDirExc)

// ============================================================== temp file

utl_TempFile::utl_TempFile(const cow_String& suffix)
    : m_Prepared(false), m_AvailableSpace(0), m_Name(suffix), m_Fd(-1) {}

utl_TempFile::~utl_TempFile() {
  if (!m_Prepared) return;
  Close();
  plt_FileDelete(m_Name.c_str());  // may never have been created
}

void utl_TempFile::Prepare() {
  if (m_Prepared) return;
  // A missing directory reads as "no unique name", not as utl_TempFileNoDirExc:
  // callers have always caught this one.
  cow_String dir = utl_TempFileDirectory();
  if (dir.IsEmpty()) NEX_THROW(utl_TempFileCantExc());
  std::uint64_t space = utl_DiskAttributes::GetFreeDiskSpace(utl_FilePath::StripTrailingSeparator(dir));

  cow_String name = dir + kTemplate;
  if (!FillTemplate(name)) NEX_THROW(utl_TempFileCantExc());
  const cow_String& suffix = m_Name;
  if (!suffix.IsEmpty()) {
    if (suffix[0] != '.') name.append('.');
    name.append(suffix);
  }
  m_AvailableSpace = space;
  m_Name = name;
  m_Prepared = true;
}

const cow_String& utl_TempFile::Name() const {
  PrepareConst();
  return m_Name;
}

std::uint64_t utl_TempFile::AvailableSpace() const {
  PrepareConst();
  return m_AvailableSpace;
}

void utl_TempFile::Adopt(int fd) {
  if (m_Fd >= 0) plt_DescriptorClose(m_Fd);
  m_Fd = fd;
}

void utl_TempFile::Create() {
  Prepare();
  int fd = plt_DescriptorOpen(m_Name.c_str(), kCreateFlags, kPermission);
  if (fd < 0) {
    int err = plt_LastError();
    NEX_THROW(utl_TempFileOpenExc(m_Name, plt_CrtErrorText(err)));
  }
  Adopt(fd);
}

bool utl_TempFile::OpenIfPresent() {
  Prepare();
  int fd = plt_DescriptorOpen(m_Name.c_str(), kOpenFlags, kPermission);
  if (fd < 0) {
    int err = plt_LastError();
    if (err == plt_ErrFileNotFound()) return false;
    NEX_THROW(utl_TempFileOpenExc(m_Name, plt_CrtErrorText(err)));
  }
  Adopt(fd);
  return true;
}

void utl_TempFile::Open() {
  if (!OpenIfPresent()) NEX_THROW(utl_TempFileOpenExc(m_Name, plt_CrtErrorText(plt_ErrFileNotFound())));
}

void utl_TempFile::Close() {
  if (m_Prepared && m_Fd >= 0) plt_DescriptorClose(m_Fd);
  m_Fd = -1;
}
