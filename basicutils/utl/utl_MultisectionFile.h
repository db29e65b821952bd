// utl_MultisectionFile: named binary blobs (sections) in one file, each
// guarded by a CRC-32 (utl_crc32).
//
// File format, all integers 32-bit little-endian, no padding:
//   0x28 0xC1 0x1D 0xAF | version 1 | N | N entries | the N sections' data
// An entry is: name length L (>= 0), L name bytes, data length, CRC of the
// data. Data follow the directory back to back in entry order; no offsets are
// stored. Names compare byte for byte; lookups find the first match.
//
// Opening for update or write takes the writer lock, the file path + ".lock"
// created exclusively (10 attempts 10 ms apart); readers take no lock. Write
// access starts with no sections and creates (truncates) the file at the
// save. saveChanges() stages the whole new image in path + "." + process id +
// ".tmp", flushes it, and copies it over the data file in place; the staging
// file is deleted whatever happens.
//
// Errors: nex_TextException "\"<path>\": <message>" for a lock not taken,
// a wrong magic, a wrong version, a bad name length and a CRC mismatch (also
// raised by a save, before it writes anything, for a kept section that the
// file does not hold); the file operations' own utl_File exceptions
// otherwise. Asking for a section
// that is not there, without hasSection, ends the process as the section
// list's index check does (abort).
//
// Threads: no locks; one object per thread. Between processes, writers
// exclude each other through the lock file; a reader may see a file that a
// writer is rewriting.
//
// After a crash: a save that ended in its last copy leaves a data file
// whose sections do not check and a staging file that holds the whole new
// image; CheckImage tells the two apart and Recover puts the image back.
#pragma once

#include <cstdint>

#include "VNKUTI_BasicExport.h"
#include "cow/cow_List.h"
#include "cow/cow_String.h"
#include "mem/mem_AllocationOperators.h"
#include "utl/utl_File.h"

// The writer lock: a file whose existence is the lock.
class VNKUTI_BASIC_API utl_FileLock : public mem_AllocationOperators {
 public:
  explicit utl_FileLock(const cow_String& lockPath);  // does not take it
  ~utl_FileLock();                                    // deletes the file if taken
  utl_FileLock(const utl_FileLock&) = delete;
  utl_FileLock& operator=(const utl_FileLock&) = delete;

  // Succeeds at once when already taken; otherwise makes up to attempts
  // exclusive creates, sleeping waitMs after each failure.
  bool Lock(int attempts, int waitMs);
  bool IsAcquired() const { return m_Acquired != 0; }
  const cow_String& LockPath() const { return m_LockPath; }

 private:
  bool TryOnce();

  int m_Acquired;
  cow_String m_LockPath;
};

class VNKUTI_BASIC_API utl_MultisectionFile : public mem_AllocationOperators {
 public:
  // Opens path with access read, update or write (see the header comment).
  utl_MultisectionFile(const cow_String& path, utl_FileAccess access);
  // Discards pending data, releases the lock, closes the file.
  ~utl_MultisectionFile();
  utl_MultisectionFile(const utl_MultisectionFile&) = delete;
  utl_MultisectionFile& operator=(const utl_MultisectionFile&) = delete;

  bool hasSection(const cow_String& name) const;
  // The pending length when a new value is set, else the stored length.
  int getSectionLength(const cow_String& name) const;
  // Copies the section into buf (getSectionLength bytes). A stored value is
  // read from the file and checked against its CRC.
  void getSectionData(const cow_String& name, void* buf);
  // Sets the value in memory (a copy of data), adding the section at the end
  // when it is new. A negative length raises nex_AssertException.
  void setSectionData(const cow_String& name, const void* data, int length);
  // Writes every section to the file (see the header comment).
  void saveChanges();

  // ----- the directory, in file order: i from 0 to SectionCount() - 1 ----
  int SectionCount() const { return m_Sections.Count(); }
  const cow_String& SectionName(int i) const { return m_Sections.ConstGet(i).m_Name; }
  // The length and CRC the next save writes: those of a pending value when
  // one is set, else those the directory states.
  int SectionLength(int i) const;
  std::uint32_t SectionChecksum(int i) const;
  // Whether section i's bytes match its CRC, without raising for a mismatch:
  // a pending value always does; a stored one is read in pieces (no buffer of
  // its size) and fails when the file cuts it short or the directory places
  // it outside the file. The file's read errors still raise.
  bool IsSectionIntact(int i);

  // ----- whole sections without a caller's buffer ----------------------
  // The section's bytes as a string (zero bytes included), checked as
  // getSectionData checks them. A stored length that the file cannot hold
  // raises "Data corrupted in section" before any memory is taken. The name
  // must be present (hasSection).
  cow_String SectionData(const cow_String& name);
  // Receives a section's bytes piece by piece; may raise.
  class VNKUTI_BASIC_API SectionSink {
   public:
    virtual void Put(const char* data, int count) = 0;

   protected:
    ~SectionSink() = default;
  };
  // Hands the section's bytes to out in pieces of at most 1 MiB, with the CRC
  // checked over them; a mismatch raises "Data corrupted in section" after
  // the pieces are out, so out must be one the caller can discard
  // (utl_FileReplace) or check first (a pass with a sink that drops them).
  // The name must be present.
  void CopySectionTo(const cow_String& name, SectionSink& out);
  // The same into out at its position.
  void CopySectionTo(const cow_String& name, utl_File& out);
  // As setSectionData, but keeps data itself instead of a copy: data comes
  // from mem_Malloc (at least one byte) and belongs to this object from the
  // call on, also when the call raises.
  void AdoptSectionData(const cow_String& name, char* data, int length);

  // Gives a section's new value piece by piece; may raise.
  class VNKUTI_BASIC_API SectionSource {
   public:
    // Up to count bytes into buf; 0 at the end.
    virtual int Get(char* buf, int count) = 0;

   protected:
    ~SectionSource() = default;
  };
  // Makes the next saveChanges read the section's value from source, to its
  // end, straight into the staging file (no copy of it is held in memory);
  // the section is added at the end when new, and its length and CRC are
  // those of the bytes read. source must live until that save, which reads
  // it once: a save that fails leaves the section with its old value. Until
  // then the section reads as before (a new one as empty); a later
  // setSectionData replaces the source. A value longer than 2 GiB - 1 byte
  // fails the save with "Section \"<name>\" is too long".
  void SetSectionSource(const cow_String& name, SectionSource& source);
  // Drops the first section of that name, with any pending value, from the
  // directory; the next saveChanges writes the file without it (the other
  // sections keep their order). false when there is none.
  bool RemoveSection(const cow_String& name);

  // ----- checks and recovery, on paths ----------------------------------
  // What a file holds, found without raising (and without the lock).
  struct VNKUTI_BASIC_API ImageCheck {
    bool m_Exists = false;    // something is there
    bool m_Readable = false;  // magic, version and directory read
    cow_String m_Problem;     // why not: the error's text
    int m_SectionCount = 0;
    cow_List<cow_String> m_Damaged;  // sections that fail their CRC, in order
    long long m_ImageSize = 0;       // what header, directory and data add up to
    long long m_FileSize = 0;
    // Every section checks: what readers need.
    bool Intact() const { return m_Readable && m_Damaged.Count() == 0; }
    // Intact, and nothing follows the image: what a finished staging file is.
    bool Complete() const { return Intact() && m_FileSize == m_ImageSize; }
  };
  static ImageCheck CheckImage(const cow_String& path);
  // The staging files that saves of path left behind (path + "." + digits +
  // ".tmp"), as paths, sorted by name.
  static cow_List<cow_String> StagingFiles(const cow_String& path);
  // Puts the file back in order after a crash during a save, appending one
  // line per finding and action to report:
  // - with the lock taken (removeStaleLock first deletes a lock file that
  //   cannot be taken, for when its writer is known to be gone);
  // - a data file that is a complete image is kept, and staging files are
  //   deleted (their save never reached it, or reached it whole);
  // - otherwise (a section fails its CRC, or bytes follow the image, as a
  //   copy that stopped midway leaves them) the newest staging file that
  //   holds a complete image is copied over the data file (flushed and
  //   checked again) and every staging file is deleted;
  // - without such a staging file, a data file whose sections all check is
  //   kept as it is.
  // Raises "Cannot create the lock file." when something must change and the
  // lock is taken by another; nex_TextException "\"<path>\": Damaged, and no
  // staging file holds a complete image" when nothing can be restored; the
  // file operations' own exceptions (a missing file with no staging file).
  static void Recover(const cow_String& path, bool removeStaleLock, cow_List<cow_String>& report);

  // ----- test hook ------------------------------------------------------
  // Makes the next saves stop just before step `step` (1 to 8) of saveChanges:
  // SaveStopExit ends the process at once (exit code 86), SaveStopThrow raises
  // nex_TextException "saveChanges stopped before step <n>". Step 0 turns the
  // hook off (the default).
  enum SaveStopAction { SaveStopExit = 1, SaveStopThrow = 2 };
  static void SetSaveStop(int step, SaveStopAction action);

 private:
  class FileRemover;
  struct Section {
    cow_String m_Name;
    long long m_Offset = 0;     // where the data lie in the data file
    int m_StoredLength = 0;     // length as stored in the file
    char* m_PendingData = nullptr;  // a value set and not yet saved; owned
    int m_PendingLength = 0;
    std::uint32_t m_Checksum = 0;  // CRC of the current value
    SectionSource* m_Source = nullptr;  // the next save reads the value from it
  };

  void LoadDirectory();
  int Find(const cow_String& name) const;  // -1 when absent
  // A stored section the file can hold where the directory places it.
  bool StoredInFile(int i) const;
  // Reads stored section i from the file in pieces, handing each to out when
  // given: true when every byte was there and the CRC matches.
  bool ReadStored(int i, SectionSink* out);
  // Step 5 of a save for a value from a source: its bytes into to, its
  // length and CRC into s. Answers the length.
  long long Stream(Section& s, utl_File& to, unsigned char* buffer);
  [[noreturn]] void Fail(const char* message, const cow_String* argument = nullptr) const;

  utl_File m_File;
  utl_FileLock m_Lock;
  cow_List<Section> m_Sections;
};
