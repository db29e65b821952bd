// Object identity of the persistence framework.
//
// cls_Uid names one persistent object. It is a handle to a counted entry of a
// process-wide catalog; copies share the entry, and the entry goes back to the
// catalog (destroying the history entries hung on it) when the last handle
// goes. The catalog hands out entries from blocks of 2048 made on demand; it
// is created on first use and destroyed by thr_finalize, so every cls_Uid must
// be gone before the library is finalized.
//
// An empty cls_Uid (made from a null entry) names nothing and costs no
// catalog entry; the persistence framework writes it like any other.
//
// Threads: an entry's count is a plain integer, like the counts of the cow_
// containers: a cls_Uid and its copies belong to one thread at a time.
// Different threads may take and return entries concurrently.
//
// cls_HistoryEntry is the base of records kept about an object (its entries
// form a ring on the object's catalog entry); cls_StorageTypeId hands out the
// storage type IDs of element types and collection storages.
#pragma once

#include "VNKUTI_BasicExport.h"
#include "mem/mem_AllocationOperators.h"

class cls_HistoryEntry;

// One catalog entry. On the free list the second word links the free entries.
struct cls_UidCatalogEntry {
  unsigned int m_Count;  // 1 when handed out, 0 while free
  union {
    cls_HistoryEntry* m_History;  // head of the ring, null when none
    cls_UidCatalogEntry* m_NextFree;
  };
};

class VNKUTI_BASIC_API cls_Uid {
 public:
  static constexpr int BlockEntries = 2048;

  // ----- constructors ---------------------------------------------------
  // Takes a fresh entry from the catalog.
  cls_Uid();
  // Shares entry, raising its count; null makes an empty uid.
  explicit cls_Uid(cls_UidCatalogEntry* entry) noexcept : m_Entry(entry) {
    if (m_Entry) ++m_Entry->m_Count;
  }
  cls_Uid(const cls_Uid& other) noexcept : m_Entry(other.m_Entry) {
    if (m_Entry) ++m_Entry->m_Count;
  }
  // Releases the old entry first; u = u does nothing.
  cls_Uid& operator=(const cls_Uid& other) noexcept;
  ~cls_Uid() { Release(); }

  // A uid with a fresh entry.
  static cls_Uid AllocateUid() { return cls_Uid(); }

  // ----- accessors ------------------------------------------------------
  cls_UidCatalogEntry* Entry() const noexcept { return m_Entry; }
  bool IsEmpty() const noexcept { return m_Entry == nullptr; }
  // Handles sharing the entry; 0 for an empty uid.
  unsigned int UseCount() const noexcept { return m_Entry ? m_Entry->m_Count : 0; }
  // Same object: the same entry (two empty uids are equal).
  bool operator==(const cls_Uid& o) const noexcept { return m_Entry == o.m_Entry; }
  bool operator!=(const cls_Uid& o) const noexcept { return m_Entry != o.m_Entry; }
  // The first history entry of the object, null when none (or when empty).
  cls_HistoryEntry* History() const noexcept { return m_Entry ? m_Entry->m_History : nullptr; }

  // ----- mutators -------------------------------------------------------
  // Releases the current entry and takes a fresh one.
  void NewUid();
  // Hangs e at the end of the object's history ring; the entry owns it from
  // now on and destroys it with the last handle. Ignored for an empty uid
  // (e is then destroyed at once).
  void AddHistory(cls_HistoryEntry* e);

  // ----- catalog statistics (for tests and diagnostics) -----------------
  static int CatalogBlocks();
  static int CatalogFreeEntries();

 private:
  void Release() noexcept;
  cls_UidCatalogEntry* m_Entry;
};

// A record about a persistent object, in a circular doubly linked ring. A
// lone entry is a ring of one (both links point at itself).
class VNKUTI_BASIC_API cls_HistoryEntry : public mem_AllocationOperators {
 public:
  cls_HistoryEntry() noexcept : m_Next(this), m_Prev(this) {}
  cls_HistoryEntry(const cls_HistoryEntry&) = delete;
  cls_HistoryEntry& operator=(const cls_HistoryEntry&) = delete;
  // Leaves its ring, so deleting a linked entry is safe.
  virtual ~cls_HistoryEntry();

  cls_HistoryEntry* Next() const noexcept { return m_Next; }
  cls_HistoryEntry* Previous() const noexcept { return m_Prev; }
  // Puts e at the end of this ring (just before this entry), taking it out
  // of any ring it was in first. Linking an entry to itself does nothing.
  void Link(cls_HistoryEntry* e) noexcept;
  // Takes this entry out of its ring; it becomes a ring of one.
  void UnLink() noexcept;

 private:
  cls_HistoryEntry* m_Next;
  cls_HistoryEntry* m_Prev;
};

// Storage type IDs: 1 for the first request, then 2, 3... for the process.
class VNKUTI_BASIC_API cls_StorageTypeId {
 public:
  static int AllocateId();
};
