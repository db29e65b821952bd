// utl_MultisectionFile on paths: checking an image without raising, finding
// the staging files a save leaves behind, and putting a file back in order
// after a crash during a save.
#include <cstring>

#include "atr/atr_Translate.h"
#include "mem/mem_Alloc.h"
#include "nex/nex_Exception.h"
#include "plt/plt_File.h"
#include "plt/plt_FileSystem.h"
#include "utl/utl_FilePath.h"
#include "utl/utl_MultisectionFile.h"
#include "utl/utl_Stat.h"

#define NEX_SOURCE "utl/impl/utl_MultisectionRecover"

namespace {

// The writer lock's protocol, as the file object takes it.
constexpr int kLockAttempts = 10;
constexpr int kLockWaitMs = 10;
constexpr int kChunk = 1 << 20;

[[noreturn]] void Raise(const cow_String& path, const char* message) {
  atr_translate prefix("\"%s\": ");
  atr_SubstituteFormat(prefix, 1, path);
  NEX_THROW(nex_TextException(prefix.Result() + atr_translate(message).Result()));
}

// One report line: the template filled with up to three arguments.
cow_String Line(const char* text, const atr_StringBase& a1, const atr_StringBase& a2 = atr_StringBase(),
                const atr_StringBase& a3 = atr_StringBase()) {
  atr_translate t(text);
  atr_SubstituteFormat(t, 1, a1);
  atr_SubstituteFormat(t, 2, a2);
  atr_SubstituteFormat(t, 3, a3);
  return t.Result();
}

// Error texts run over several lines; a report line holds one.
cow_String OneLine(cow_String text) {
  text.RightTrim("\n");
  text.Substitute("\n", "; ");
  return text;
}

cow_String Describe(const char* label, const cow_String& path, const utl_MultisectionFile::ImageCheck& c) {
  if (!c.m_Exists) return Line("%1$s %2$s: missing", label, path);
  if (!c.m_Readable) return Line("%1$s %2$s: unreadable: %3$s", label, path, OneLine(c.m_Problem));
  cow_String count(atr_StringBase(c.m_SectionCount));
  if (!c.Intact()) {
    cow_String names;
    for (int i = 0; i < c.m_Damaged.Count(); ++i) {
      if (i > 0) names += ", ";
      names += "\"";
      names += c.m_Damaged.ConstGet(i);
      names += "\"";
    }
    return Line("%1$s %2$s: %3$s sections, damaged: ", label, path, count) + names;
  }
  cow_String line = Line("%1$s %2$s: %3$s sections, every CRC checks", label, path, count);
  if (c.m_FileSize > c.m_ImageSize)
    line += Line(", %1$s bytes after the image", cow_String(atr_StringBase(c.m_FileSize - c.m_ImageSize)));
  return line;
}

// Copies the image at from over to, in place, as a save's last step does,
// and has it reach storage.
void CopyImage(const cow_String& from, const cow_String& to, long long size) {
  utl_File src(from, utl_FileRead, utl_ShareDefault);
  utl_File dst(to, utl_Stat(to).Exists() ? utl_FileUpdate : utl_FileWrite, utl_ShareDefault);
  struct Buffer {
    char* p = static_cast<char*>(mem_Malloc(kChunk));
    ~Buffer() { mem_Free(p); }
  } buffer;
  dst.Extend(utl_FileOffset(size));
  dst.Seek(utl_FileOffset(0));
  src.Seek(utl_FileOffset(0));
  for (long long left = size; left > 0;) {
    int want = left < kChunk ? static_cast<int>(left) : kChunk;
    int got = src.Read(buffer.p, want);
    if (got <= 0) Raise(from, "The staging file ended early");
    dst.Write(buffer.p, got);
    left -= got;
  }
  dst.Flush();
}

struct StagingNames {
  cow_String m_Prefix;  // the data file's name and "."
  cow_List<cow_String> m_Names;
};

// Keeps the names of the form prefix + digits + ".tmp".
void CollectStaging(const char* name, void* context) {
  StagingNames& s = *static_cast<StagingNames*>(context);
  int length = static_cast<int>(std::strlen(name));
  int prefix = s.m_Prefix.Length();
  if (length < prefix + 5 || std::strncmp(name, s.m_Prefix.c_str(), prefix) != 0) return;
  if (std::strcmp(name + length - 4, ".tmp") != 0) return;
  for (int i = prefix; i < length - 4; ++i)
    if (name[i] < '0' || name[i] > '9') return;
  s.m_Names.Append(cow_String(name));
}

}  // namespace

utl_MultisectionFile::ImageCheck utl_MultisectionFile::CheckImage(const cow_String& path) {
  ImageCheck c;
  utl_Stat status(path);
  c.m_Exists = status.Exists();
  c.m_FileSize = status.Size();
  if (!c.m_Exists) return c;
  try {
    utl_MultisectionFile f(path, utl_FileRead);
    c.m_Readable = true;
    c.m_SectionCount = f.SectionCount();
    c.m_FileSize = f.m_File.FileSize().Value();
    long long size = 12;
    for (int i = 0; i < f.SectionCount(); ++i) {
      int length = f.SectionLength(i);
      size += 12 + f.SectionName(i).Length() + (length > 0 ? length : 0);
      if (!f.IsSectionIntact(i)) c.m_Damaged.Append(f.SectionName(i));
    }
    c.m_ImageSize = size;
  } catch (const nex_Exception& e) {
    c.m_Readable = false;
    c.m_Problem = e.UserReport();
    c.m_Damaged = cow_List<cow_String>();
  }
  return c;
}

cow_List<cow_String> utl_MultisectionFile::StagingFiles(const cow_String& path) {
  utl_FilePath file(path);
  cow_String dir = file.Directory();
  StagingNames found;
  found.m_Prefix = file.Name() + ".";
  plt_DirectoryList(dir.IsEmpty() ? "." : dir.c_str(), &CollectStaging, &found);
  found.m_Names.Sort();
  cow_List<cow_String> paths;
  for (int i = 0; i < found.m_Names.Count(); ++i)
    paths.Append(dir.IsEmpty() ? found.m_Names.ConstGet(i) : utl_FilePath(dir, found.m_Names.ConstGet(i)).Path());
  return paths;
}

void utl_MultisectionFile::Recover(const cow_String& path, bool removeStaleLock, cow_List<cow_String>& report) {
  utl_FileLock lock(path + ".lock");
  bool locked = lock.Lock(kLockAttempts, kLockWaitMs);
  if (!locked && removeStaleLock) {
    if (plt_FileDelete(lock.LockPath().c_str())) report.Append(Line("removed the lock file %1$s", lock.LockPath()));
    locked = lock.Lock(kLockAttempts, kLockWaitMs);
  }
  if (!locked)
    report.Append(Line("lock file %1$s is taken: a writer is at work, or one ended without deleting it",
                       lock.LockPath()));

  ImageCheck data = CheckImage(path);
  report.Append(Describe("data file", path, data));
  cow_List<cow_String> staging = StagingFiles(path);
  int best = -1;
  long long bestTime = 0;
  long long bestSize = 0;
  for (int i = 0; i < staging.Count(); ++i) {
    const cow_String& s = staging.ConstGet(i);
    ImageCheck c = CheckImage(s);
    if (c.Complete()) {
      report.Append(Describe("staging file", s, c) + atr_translate(" (a complete image)").Result());
      long long time = utl_Stat(s).ModificationTime();
      if (best < 0 || time >= bestTime) {
        best = i;
        bestTime = time;
        bestSize = c.m_ImageSize;
      }
    } else {
      report.Append(Describe("staging file", s, c) + atr_translate(" (not a complete image)").Result());
    }
  }

  // A save truncates the data file to its image, so bytes after the image
  // mean a copy that stopped midway, as much as a failed CRC does.
  if (best < 0 || data.Complete()) {
    if (!data.Intact()) {
      // A file that is simply not there, with nothing to restore it from,
      // fails as any open of it would.
      if (!data.m_Exists && staging.Count() == 0) utl_File(path, utl_FileRead, utl_ShareDefault).Init();
      Raise(path, "Damaged, and no staging file holds a complete image");
    }
    if (staging.Count() == 0) {
      report.Append(Line("nothing to do: %1$s checks and no save left a staging file", path));
      return;
    }
    if (!locked) Raise(path, "Cannot create the lock file.");
    // The data file checks, so its save either never reached it or reached
    // it whole: the staging files hold nothing it needs.
    for (int i = 0; i < staging.Count(); ++i) {
      plt_FileDelete(staging.ConstGet(i).c_str());
      report.Append(Line("removed the staging file %1$s", staging.ConstGet(i)));
    }
    return;
  }
  if (!locked) Raise(path, "Cannot create the lock file.");

  const cow_String& from = staging.ConstGet(best);
  CopyImage(from, path, bestSize);
  ImageCheck after = CheckImage(path);
  if (!after.Complete()) Raise(path, "The restored file does not check; the staging file is kept");
  report.Append(Line("restored %1$s from %2$s: %3$s sections, every CRC checks", path, from,
                     cow_String(atr_StringBase(after.m_SectionCount))));
  for (int i = 0; i < staging.Count(); ++i) {
    plt_FileDelete(staging.ConstGet(i).c_str());
    report.Append(Line("removed the staging file %1$s", staging.ConstGet(i)));
  }
}
