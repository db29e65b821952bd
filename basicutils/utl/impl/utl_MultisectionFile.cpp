#include "utl/utl_MultisectionFile.h"

#include <atomic>
#include <cstring>

#include "atr/atr_Translate.h"
#include "mem/mem_Alloc.h"
#include "nex/nex_Exception.h"
#include "plt/plt_FaultInjection.h"
#include "plt/plt_File.h"
#include "plt/plt_FileSystem.h"
#include "utl/utl_Crc32.h"
#include "utl/utl_FilePath.h"
#include "utl/utl_Stat.h"

#define NEX_SOURCE "utl/impl/utl_MultisectionFile"

namespace {

constexpr unsigned char kMagic[4] = {0x28, 0xC1, 0x1D, 0xAF};
constexpr int kVersion = 1;
constexpr int kLockAttempts = 10;
constexpr int kLockWaitMs = 10;

// Copies and CRC runs move data in pieces of this size: small enough to stay
// in the processor's cache from the read through the CRC to the write, large
// enough that the calls cost nothing next to the bytes. A piece as large as
// the cache is not: copying 1 GiB from file to file took 0.95 to 1.56 s in
// 1 MiB pieces and 0.37 to 0.41 s in 128 KiB pieces (2 MiB of L2 cache).
constexpr int kChunk = 128 << 10;

// Directory reads go through a buffer of this size.
constexpr int kDirectoryBuffer = 64 * 1024;

constinit std::atomic<int> g_StopStep{0};
constinit std::atomic<int> g_StopAction{0};

std::uint32_t GetU32(const unsigned char* p) {
  return std::uint32_t(p[0]) | std::uint32_t(p[1]) << 8 | std::uint32_t(p[2]) << 16 | std::uint32_t(p[3]) << 24;
}

void PutU32(unsigned char* p, std::uint32_t v) {
  p[0] = static_cast<unsigned char>(v);
  p[1] = static_cast<unsigned char>(v >> 8);
  p[2] = static_cast<unsigned char>(v >> 16);
  p[3] = static_cast<unsigned char>(v >> 24);
}

// A block from the core allocator, freed with the scope.
class Scratch {
 public:
  explicit Scratch(std::size_t size) : m_Data(static_cast<unsigned char*>(mem_Malloc(size ? size : 1))) {}
  ~Scratch() { mem_Free(m_Data); }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;
  unsigned char* Data() const { return m_Data; }

 private:
  unsigned char* m_Data;
};

// Reads the directory through a buffer. Short reads are no error: what the
// file does not hold stays as the caller initialized it.
class DirectoryReader {
 public:
  explicit DirectoryReader(utl_File& file) : m_File(file), m_Buffer(kDirectoryBuffer) {}

  // Bytes actually had, fewer than count only at the end of the file.
  int Read(void* out, int count) {
    unsigned char* dst = static_cast<unsigned char*>(out);
    int done = 0;
    while (done < count) {
      if (m_Next == m_End) {
        if (m_AtEnd) break;
        m_Next = 0;
        m_End = m_File.Read(reinterpret_cast<char*>(m_Buffer.Data()), kDirectoryBuffer);
        if (m_End == 0) {
          m_AtEnd = true;
          break;
        }
      }
      int n = m_End - m_Next < count - done ? m_End - m_Next : count - done;
      std::memcpy(dst + done, m_Buffer.Data() + m_Next, n);
      m_Next += n;
      done += n;
      m_Position += n;
    }
    return done;
  }

  // An integer; bytes past the end read as 0.
  std::uint32_t ReadU32(int* got = nullptr) {
    unsigned char b[4] = {0, 0, 0, 0};
    int n = Read(b, 4);
    if (got) *got = n;
    return GetU32(b);
  }

  long long Position() const { return m_Position; }

 private:
  utl_File& m_File;
  Scratch m_Buffer;
  int m_Next = 0;
  int m_End = 0;
  bool m_AtEnd = false;
  long long m_Position = 0;
};

// Collects small writes into one buffer for the staging file.
class StagingWriter {
 public:
  StagingWriter(utl_File& file, unsigned char* buffer, int size) : m_File(file), m_Buffer(buffer), m_Size(size) {}

  void Put(const void* data, int count) {
    const unsigned char* src = static_cast<const unsigned char*>(data);
    while (count > 0) {
      if (m_Used == m_Size) Flush();
      int n = m_Size - m_Used < count ? m_Size - m_Used : count;
      std::memcpy(m_Buffer + m_Used, src, n);
      m_Used += n;
      src += n;
      count -= n;
    }
  }
  void PutU32(std::uint32_t v) {
    unsigned char b[4];
    ::PutU32(b, v);
    Put(b, 4);
  }
  void Flush() {
    if (m_Used > 0) m_File.Write(reinterpret_cast<const char*>(m_Buffer), m_Used);
    m_Used = 0;
  }

 private:
  utl_File& m_File;
  unsigned char* m_Buffer;
  int m_Size;
  int m_Used = 0;
};

// Copies count bytes from `from` (at its position) to `to` (at its
// position). Bytes the source does not have are written as zeros, so the
// image keeps the lengths its directory states.
void CopySpan(utl_File& from, utl_File& to, long long count, unsigned char* buffer) {
  char* buf = reinterpret_cast<char*>(buffer);
  bool ended = false;
  while (count > 0) {
    int want = count < kChunk ? static_cast<int>(count) : kChunk;
    int got = ended ? 0 : from.Read(buf, want);
    if (got < want) {
      std::memset(buf + got, 0, want - got);
      ended = true;
    }
    to.Write(buf, want);
    count -= want;
  }
}

void StopPoint(int step) {
  if (g_StopStep.load(std::memory_order_relaxed) != step) return;
  if (g_StopAction.load(std::memory_order_relaxed) == utl_MultisectionFile::SaveStopExit) plt_FaultExitNow(86);
  atr_translate t("saveChanges stopped before step %1$d");
  atr_SubstituteFormat(t, 1, step);
  NEX_THROW(nex_TextException(t.Result()));
}

}  // namespace

// Deletes its file when it goes, however saveChanges ends; the result of the
// delete is of no interest.
class utl_MultisectionFile::FileRemover {
 public:
  explicit FileRemover(const cow_String& path) : m_Path(path) {}
  ~FileRemover() { plt_FileDelete(m_Path.c_str()); }
  FileRemover(const FileRemover&) = delete;
  FileRemover& operator=(const FileRemover&) = delete;

 private:
  cow_String m_Path;
};

// ==================================================================== lock

utl_FileLock::utl_FileLock(const cow_String& lockPath) : m_Acquired(0), m_LockPath(lockPath) {}

utl_FileLock::~utl_FileLock() {
  if (m_Acquired) plt_FileDelete(m_LockPath.c_str());
}

bool utl_FileLock::TryOnce() {
  int fd = plt_DescriptorCreateExclusive(m_LockPath.c_str());
  if (fd >= 0) plt_DescriptorClose(fd);
  // Descriptor 0 counts as failure, as it always has; its file stays.
  return fd > 0;
}

bool utl_FileLock::Lock(int attempts, int waitMs) {
  if (m_Acquired) return true;
  for (int i = 0; i < attempts; ++i) {
    if (TryOnce()) {
      m_Acquired = 1;
      return true;
    }
    plt_FileSleepMilliseconds(waitMs);
  }
  return false;
}

// ============================================================ construction

utl_MultisectionFile::utl_MultisectionFile(const cow_String& path, utl_FileAccess access)
    : m_File(path, access, utl_ShareDefault), m_Lock(path + ".lock") {
  if (access != utl_FileRead && !m_Lock.Lock(kLockAttempts, kLockWaitMs)) Fail("Cannot create the lock file.");
  if (access == utl_FileWrite) return;
  LoadDirectory();
}

utl_MultisectionFile::~utl_MultisectionFile() {
  for (int i = 0; i < m_Sections.Count(); ++i) mem_Free(m_Sections.ConstGet(i).m_PendingData);
}

void utl_MultisectionFile::LoadDirectory() {
  long long fileSize = m_File.FileSize().Value();
  DirectoryReader in(m_File);

  unsigned char magic[4] = {0, 0, 0, 0};
  in.Read(magic, 4);
  if (std::memcmp(magic, kMagic, 4) != 0) Fail("Invalid file type");
  if (static_cast<int>(in.ReadU32()) != kVersion) Fail("Unsupported file format");

  int count = static_cast<int>(in.ReadU32());
  for (int i = 0; i < count; ++i) {
    int got = 0;
    int length = static_cast<int>(in.ReadU32(&got));
    // Beyond a negative length, a name that the file cannot hold (its length
    // field or characters past the end) is refused too: it cannot be read,
    // and trusting it would let a damaged file demand any amount of memory.
    if (length < 0 || got < 4 || length > fileSize - in.Position()) Fail("Invalid string length");
    Section s;
    if (length > 0) {
      s.m_Name.SetLength(length);
      in.Read(&s.m_Name[0], length);
    }
    s.m_StoredLength = static_cast<int>(in.ReadU32());
    s.m_Checksum = in.ReadU32();
    m_Sections.Append(s);
  }

  long long at = in.Position();
  for (int i = 0; i < m_Sections.Count(); ++i) {
    Section& s = m_Sections.Get(i);
    s.m_Offset = at;
    at += s.m_StoredLength;
  }
}

// ================================================================= access

int utl_MultisectionFile::Find(const cow_String& name) const {
  for (int i = 0; i < m_Sections.Count(); ++i)
    if (m_Sections.UncheckedConstGet(i).m_Name == name) return i;
  return -1;
}

void utl_MultisectionFile::Fail(const char* message, const cow_String* argument) const {
  atr_translate prefix("\"%s\": ");
  atr_SubstituteFormat(prefix, 1, m_File.FileName());
  atr_translate body(message);
  if (argument) atr_SubstituteFormat(body, 1, *argument);
  NEX_THROW(nex_TextException(prefix.Result() + body.Result()));
}

bool utl_MultisectionFile::hasSection(const cow_String& name) const { return Find(name) >= 0; }

int utl_MultisectionFile::getSectionLength(const cow_String& name) const {
  // An absent name is index -1: the list's range check ends the process.
  const Section& s = m_Sections.ConstGet(Find(name));
  return s.m_PendingData ? s.m_PendingLength : s.m_StoredLength;
}

void utl_MultisectionFile::getSectionData(const cow_String& name, void* buf) {
  const Section& s = m_Sections.ConstGet(Find(name));
  if (s.m_PendingData) {
    std::memcpy(buf, s.m_PendingData, static_cast<std::size_t>(s.m_PendingLength));
    return;
  }
  // A damaged directory may place a section before the data start; a seek
  // there would fail with a message that hides what is wrong.
  if (s.m_StoredLength < 0 || s.m_Offset < 0) Fail("Data corrupted in section \"%s\"", &s.m_Name);
  m_File.Seek(s.m_Offset);
  char* out = static_cast<char*>(buf);
  long long want = s.m_StoredLength > 0 ? s.m_StoredLength : 0;
  long long done = 0;
  std::uint32_t crc = 0xFFFFFFFFu;
  // The CRC runs over each piece while it is still in the cache.
  while (done < want) {
    int piece = want - done < kChunk ? static_cast<int>(want - done) : kChunk;
    int got = m_File.Read(out + done, piece);
    if (got <= 0) break;
    crc = utl_crc32(out + done, static_cast<std::size_t>(got), crc);
    done += got;
  }
  // A section the file cuts short is as corrupt as one whose bytes changed.
  if (done != want || crc != s.m_Checksum) Fail("Data corrupted in section \"%s\"", &s.m_Name);
}

void utl_MultisectionFile::setSectionData(const cow_String& name, const void* data, int length) {
  NEX_ASSERT(length >= 0);
  // The copy is made first: data may be this section's own pending value,
  // and a failed allocation leaves the old value in place.
  char* copy = static_cast<char*>(mem_Malloc(length > 0 ? static_cast<std::size_t>(length) : 1));
  if (length > 0) std::memcpy(copy, data, static_cast<std::size_t>(length));
  AdoptSectionData(name, copy, length);
}

// ============================================= directory and whole sections

int utl_MultisectionFile::SectionLength(int i) const {
  const Section& s = m_Sections.ConstGet(i);
  return s.m_PendingData ? s.m_PendingLength : s.m_StoredLength;
}

std::uint32_t utl_MultisectionFile::SectionChecksum(int i) const { return m_Sections.ConstGet(i).m_Checksum; }

bool utl_MultisectionFile::StoredInFile(int i) const {
  const Section& s = m_Sections.ConstGet(i);
  return s.m_StoredLength >= 0 && s.m_Offset >= 0 && s.m_Offset + s.m_StoredLength <= m_File.FileSize().Value();
}

bool utl_MultisectionFile::IsSectionIntact(int i) {
  return m_Sections.ConstGet(i).m_PendingData || (StoredInFile(i) && ReadStored(i, nullptr));
}

bool utl_MultisectionFile::ReadStored(int i, SectionSink* out) {
  const Section& s = m_Sections.ConstGet(i);
  Scratch buffer(s.m_StoredLength < kChunk ? static_cast<std::size_t>(s.m_StoredLength) : kChunk);
  char* buf = reinterpret_cast<char*>(buffer.Data());
  m_File.Seek(s.m_Offset);
  long long left = s.m_StoredLength;
  std::uint32_t crc = 0xFFFFFFFFu;
  while (left > 0) {
    int piece = left < kChunk ? static_cast<int>(left) : kChunk;
    int got = m_File.Read(buf, piece);
    if (got <= 0) return false;
    crc = utl_crc32(buf, static_cast<std::size_t>(got), crc);
    if (out) out->Put(buf, got);
    left -= got;
  }
  return crc == s.m_Checksum;
}

cow_String utl_MultisectionFile::SectionData(const cow_String& name) {
  int i = Find(name);
  const Section& s = m_Sections.ConstGet(i);
  if (!s.m_PendingData && !StoredInFile(i)) Fail("Data corrupted in section \"%s\"", &s.m_Name);
  int length = SectionLength(i);
  char* buf = static_cast<char*>(mem_Malloc(static_cast<std::size_t>(length) + 1));
  try {
    getSectionData(name, buf);
  } catch (...) {
    mem_Free(buf);
    throw;
  }
  return cow_String(buf, length, atr_StringBase::Adopt);
}

void utl_MultisectionFile::CopySectionTo(const cow_String& name, SectionSink& out) {
  int i = Find(name);
  const Section& s = m_Sections.ConstGet(i);
  if (s.m_PendingData) {
    for (int done = 0; done < s.m_PendingLength; done += kChunk)
      out.Put(s.m_PendingData + done, s.m_PendingLength - done < kChunk ? s.m_PendingLength - done : kChunk);
    return;
  }
  if (!StoredInFile(i) || !ReadStored(i, &out)) Fail("Data corrupted in section \"%s\"", &s.m_Name);
}

void utl_MultisectionFile::CopySectionTo(const cow_String& name, utl_File& out) {
  struct FileSink final : SectionSink {
    explicit FileSink(utl_File& f) : m_File(f) {}
    void Put(const char* data, int count) override { m_File.Write(data, count); }
    utl_File& m_File;
  } sink(out);
  CopySectionTo(name, sink);
}

void utl_MultisectionFile::AdoptSectionData(const cow_String& name, char* data, int length) {
  if (length < 0) {
    mem_Free(data);
    NEX_ASSERT(length >= 0);
  }
  std::uint32_t crc = utl_crc32(data, static_cast<std::size_t>(length));
  int i = Find(name);
  if (i < 0) {
    Section fresh;
    fresh.m_Name = name;
    try {
      m_Sections.Append(fresh);
    } catch (...) {
      mem_Free(data);
      throw;
    }
    i = m_Sections.Count() - 1;
  }
  Section& s = m_Sections.Get(i);
  mem_Free(s.m_PendingData);
  s.m_PendingData = data;
  s.m_PendingLength = length;
  s.m_Checksum = crc;
  s.m_Source = nullptr;
}

void utl_MultisectionFile::SetSectionSource(const cow_String& name, SectionSource& source) {
  int i = Find(name);
  if (i < 0) {
    Section fresh;
    fresh.m_Name = name;
    fresh.m_Checksum = 0xFFFFFFFFu;  // reads as empty until the save
    m_Sections.Append(fresh);
    i = m_Sections.Count() - 1;
  }
  Section& s = m_Sections.Get(i);
  mem_Free(s.m_PendingData);
  s.m_PendingData = nullptr;
  s.m_PendingLength = 0;
  s.m_Source = &source;
}

bool utl_MultisectionFile::RemoveSection(const cow_String& name) {
  int i = Find(name);
  if (i < 0) return false;
  char* pending = m_Sections.ConstGet(i).m_PendingData;
  m_Sections.RemoveIndex(i);
  mem_Free(pending);
  return true;
}

// =================================================================== save

void utl_MultisectionFile::SetSaveStop(int step, SaveStopAction action) {
  g_StopAction.store(action, std::memory_order_relaxed);
  g_StopStep.store(step, std::memory_order_relaxed);
}

long long utl_MultisectionFile::Stream(Section& s, utl_File& to, unsigned char* buffer) {
  SectionSource* source = s.m_Source;
  s.m_Source = nullptr;  // read once, however the save ends
  char* buf = reinterpret_cast<char*>(buffer);
  long long length = 0;
  std::uint32_t crc = 0xFFFFFFFFu;
  while (int got = source->Get(buf, kChunk)) {
    length += got;
    if (got < 0 || length > 0x7FFFFFFF) Fail("Section \"%s\" is too long", &s.m_Name);
    crc = utl_crc32(buf, static_cast<std::size_t>(got), crc);
    to.Write(buf, got);
  }
  s.m_StoredLength = static_cast<int>(length);
  s.m_Checksum = crc;
  return length;
}

void utl_MultisectionFile::saveChanges() {
  // A kept section that the file does not hold (cut short, or placed before
  // the data by a damaged directory) cannot be copied: refused before
  // anything is written, rather than padded with zeros to whatever length
  // the damaged directory states, which may be gigabytes.
  for (int i = 0; i < m_Sections.Count(); ++i) {
    const Section& s = m_Sections.ConstGet(i);
    if (!s.m_PendingData && s.m_StoredLength > 0 && !StoredInFile(i)) Fail("Data corrupted in section \"%s\"", &s.m_Name);
  }
  // 1. The staging file's name, removed however this ends.
  StopPoint(1);
  cow_String tmpPath = m_File.FileName() + "." + cow_String(atr_StringBase(plt_FileProcessId())) + ".tmp";
  FileRemover remover(tmpPath);
  {
    // 2. Create the staging file.
    StopPoint(2);
    utl_File tmp(tmpPath, utl_FileWrite, utl_ShareDefault);
    Scratch buffer(kChunk);
    StagingWriter out(tmp, buffer.Data(), kChunk);

    // 3. Magic, version, number of sections.
    StopPoint(3);
    out.Put(kMagic, 4);
    out.PutU32(kVersion);
    out.PutU32(static_cast<std::uint32_t>(m_Sections.Count()));
    out.Flush();

    // 4. The directory, with the lengths the sections will have. A value
    // read from a source has its length and CRC only once it is read: its
    // entry is written again after step 5 (the directory's size depends on
    // the names alone).
    StopPoint(4);
    auto writeDirectory = [&] {
      for (int i = 0; i < m_Sections.Count(); ++i) {
        const Section& s = m_Sections.ConstGet(i);
        out.PutU32(static_cast<std::uint32_t>(s.m_Name.Length()));
        out.Put(s.m_Name.c_str(), s.m_Name.Length());
        // A damaged directory may state a negative length. Step 5 copies no
        // data for it, so the new directory says 0: a negative length there
        // would send readers of every later section to the wrong offset.
        const int length = s.m_PendingData ? s.m_PendingLength : s.m_StoredLength > 0 ? s.m_StoredLength : 0;
        out.PutU32(static_cast<std::uint32_t>(length));
        out.PutU32(s.m_Checksum);
      }
      out.Flush();
    };
    writeDirectory();
    long long at = 12;
    for (int i = 0; i < m_Sections.Count(); ++i) at += 12 + m_Sections.ConstGet(i).m_Name.Length();

    // 5. The data: pending values become stored ones; the others are copied
    // from the data file. Offsets now point into the new image.
    StopPoint(5);
    bool streamed = false;
    for (int i = 0; i < m_Sections.Count(); ++i) {
      Section& s = m_Sections.Get(i);
      long long start = at;
      if (s.m_PendingData) {
        tmp.Write(s.m_PendingData, s.m_PendingLength);
        at += s.m_PendingLength;
        s.m_StoredLength = s.m_PendingLength;
        s.m_PendingLength = 0;
        mem_Free(s.m_PendingData);
        s.m_PendingData = nullptr;
      } else if (s.m_Source) {
        at += Stream(s, tmp, buffer.Data());
        streamed = true;
      } else if (s.m_StoredLength > 0) {
        m_File.Seek(s.m_Offset);
        CopySpan(m_File, tmp, s.m_StoredLength, buffer.Data());
        at += s.m_StoredLength;
      }
      s.m_Offset = start;
    }
    if (streamed) {
      tmp.Seek(12);
      writeDirectory();
    }

    // 6. The staging image reaches storage before the data file changes.
    StopPoint(6);
    tmp.Flush();

    // 7. Size the data file (dropping any longer old tail) and copy the image
    // over it from the start.
    StopPoint(7);
    utl_FileOffset size = tmp.FileSize();
    m_File.Extend(size);
    m_File.Seek(0);
    tmp.Seek(0);
    CopySpan(tmp, m_File, size.Value(), buffer.Data());

    // 8. Close the staging file; the remover deletes it.
    StopPoint(8);
  }
}
