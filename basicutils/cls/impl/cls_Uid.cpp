// The catalog of cls_Uid entries, the history ring and the storage type IDs.
#include "cls/cls_Uid.h"

#include <atomic>

#include "mem/mem_Alloc.h"
#include "thr/thr_GlobalSingleton.h"

namespace {

// One allocation: the link to the previous block, then the entries.
struct CatalogBlock {
  CatalogBlock* m_Previous;
  cls_UidCatalogEntry m_Entries[cls_Uid::BlockEntries];
};

// Shared by every thread. Taking and returning an entry is a handful of
// pointer moves, guarded by a spin flag rather than a mutex so that the
// catalog never sleeps and needs nothing from the platform layer.
class UidCatalog {
 public:
  UidCatalog() = default;
  ~UidCatalog() {
    CatalogBlock* b = m_Last;
    while (b != nullptr) {
      CatalogBlock* p = b->m_Previous;
      mem_Free(b);
      b = p;
    }
  }
  UidCatalog(const UidCatalog&) = delete;
  UidCatalog& operator=(const UidCatalog&) = delete;

  cls_UidCatalogEntry* Take() {
    Guard g(m_Busy);
    if (m_Free == nullptr) AddBlock();
    cls_UidCatalogEntry* e = m_Free;
    m_Free = e->m_NextFree;
    --m_FreeCount;
    e->m_Count = 1;
    e->m_History = nullptr;
    return e;
  }

  void Give(cls_UidCatalogEntry* e) noexcept {
    Guard g(m_Busy);
    e->m_NextFree = m_Free;
    m_Free = e;
    ++m_FreeCount;
  }

  int Blocks() const {
    Guard g(m_Busy);
    return m_Blocks;
  }
  int FreeEntries() const {
    Guard g(m_Busy);
    return m_FreeCount;
  }

 private:
  struct Guard {
    explicit Guard(std::atomic_flag& f) : m_Flag(f) {
      while (m_Flag.test_and_set(std::memory_order_acquire)) m_Flag.wait(true, std::memory_order_relaxed);
    }
    ~Guard() {
      m_Flag.clear(std::memory_order_release);
      m_Flag.notify_one();
    }
    std::atomic_flag& m_Flag;
  };

  // Threads every entry of a new block onto the free list, first entry first.
  void AddBlock() {
    auto* b = static_cast<CatalogBlock*>(mem_OperatorNewThrowBuiltin(sizeof(CatalogBlock)));
    b->m_Previous = m_Last;
    m_Last = b;
    for (int i = cls_Uid::BlockEntries - 1; i >= 0; --i) {
      b->m_Entries[i].m_Count = 0;
      b->m_Entries[i].m_NextFree = m_Free;
      m_Free = &b->m_Entries[i];
    }
    m_FreeCount += cls_Uid::BlockEntries;
    ++m_Blocks;
  }

  mutable std::atomic_flag m_Busy;
  CatalogBlock* m_Last = nullptr;
  cls_UidCatalogEntry* m_Free = nullptr;
  int m_FreeCount = 0;
  int m_Blocks = 0;
};

UidCatalog& Catalog() { return thr_GlobalSingleton<UidCatalog>::Instance(); }

constinit std::atomic<int> g_StorageTypeCounter{0};

}  // namespace

// ================================================================== uid

cls_Uid::cls_Uid() : m_Entry(Catalog().Take()) {}

cls_Uid& cls_Uid::operator=(const cls_Uid& other) noexcept {
  if (m_Entry != other.m_Entry) {
    Release();
    m_Entry = other.m_Entry;
    if (m_Entry) ++m_Entry->m_Count;
  }
  return *this;
}

void cls_Uid::NewUid() {
  cls_UidCatalogEntry* fresh = Catalog().Take();  // may throw: this uid is unchanged then
  Release();
  m_Entry = fresh;
}

void cls_Uid::AddHistory(cls_HistoryEntry* e) {
  if (e == nullptr) return;
  if (m_Entry == nullptr) {
    delete e;
    return;
  }
  if (m_Entry->m_History == nullptr) {
    e->UnLink();
    m_Entry->m_History = e;
  } else {
    m_Entry->m_History->Link(e);
  }
}

void cls_Uid::Release() noexcept {
  cls_UidCatalogEntry* e = m_Entry;
  m_Entry = nullptr;
  if (e == nullptr || --e->m_Count != 0) return;
  cls_HistoryEntry* h = e->m_History;
  while (h != nullptr) {
    cls_HistoryEntry* next = h->Next();
    if (next == h) next = nullptr;
    delete h;  // the destructor takes it out of the ring
    h = next;
  }
  // The catalog outlives every entry it handed out unless a uid survives
  // thr_finalize, which the contract forbids.
  if (UidCatalog* c = thr_GlobalSingletonBase<UidCatalog>::Instance()) c->Give(e);
}

int cls_Uid::CatalogBlocks() {
  UidCatalog* c = thr_GlobalSingletonBase<UidCatalog>::Instance();
  return c ? c->Blocks() : 0;
}

int cls_Uid::CatalogFreeEntries() {
  UidCatalog* c = thr_GlobalSingletonBase<UidCatalog>::Instance();
  return c ? c->FreeEntries() : 0;
}

// ======================================================== history entries

cls_HistoryEntry::~cls_HistoryEntry() { UnLink(); }

void cls_HistoryEntry::Link(cls_HistoryEntry* e) noexcept {
  if (e == this) return;
  e->UnLink();
  e->m_Prev = m_Prev;
  e->m_Next = this;
  m_Prev->m_Next = e;
  m_Prev = e;
}

void cls_HistoryEntry::UnLink() noexcept {
  m_Prev->m_Next = m_Next;
  m_Next->m_Prev = m_Prev;
  m_Next = this;
  m_Prev = this;
}

// ====================================================== storage type IDs

int cls_StorageTypeId::AllocateId() { return g_StorageTypeCounter.fetch_add(1, std::memory_order_relaxed) + 1; }
