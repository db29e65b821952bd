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
// a wrong magic, a wrong version, a bad name length and a CRC mismatch; the
// file operations' own utl_File exceptions otherwise. Asking for a section
// that is not there, without hasSection, ends the process as the section
// list's index check does (abort).
//
// Threads: no locks; one object per thread. Between processes, writers
// exclude each other through the lock file; a reader may see a file that a
// writer is rewriting.
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

  int SectionCount() const { return m_Sections.Count(); }
  const cow_String& SectionName(int i) const { return m_Sections.ConstGet(i).m_Name; }

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
  };

  void LoadDirectory();
  int Find(const cow_String& name) const;  // -1 when absent
  [[noreturn]] void Fail(const char* message, const cow_String* argument = nullptr) const;

  utl_File m_File;
  utl_FileLock m_Lock;
  cow_List<Section> m_Sections;
};
