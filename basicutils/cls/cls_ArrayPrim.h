// Primitive arrays: persistent arrays of plain values that need not fit in
// memory.
//
// cls_ArrayPrim<T> (T = int, float, double, bool, cow_String) keeps its
// elements in blocks of 2048 (cls_ArrayPrimBuffer<T>), found through a
// crit-bit trie keyed by the index of a block's first element. Block of
// index i: start i & ~0x7FF, position i & 0x7FF; the last block holds only
// Size() - start elements.
//
// Attached and unattached. An array made empty, or copied, holds all its
// blocks in memory. Writing it (DBWrite) into a store attaches it to that
// store's list agent (cls_AgentListPrim<T>); an array read from a store is
// attached from the start. An attached array keeps at most ONE block in
// memory: before every block lookup, every other block is written back if
// dirty and dropped. A sequential pass therefore loads each block once,
// while alternating between two blocks reloads (and, if dirty, rewrites) a
// block on every switch. Get marks its block dirty, ConstGet does not.
// Flush writes back and drops every block of an attached array; Detach
// brings every block into memory and lets go of the store.
//
// The store must keep the agent's list alive while the array uses it (the
// memory store does: its agents hold a reference to their list).
//
// Messages (translated, one line each on aio_cerr(); nothing is thrown):
// - Get(i), ConstGet(i) with i < 0 or i > Size(): "In cls_ArrayPrim::Get()
//   Index out of range." (or ConstGet); the access then answers a scratch
//   element. i == Size() is allowed (the slot an Append fills).
// - a block that must come from the store of an array without agent:
//   "In cls_ArrayPrim::GetBuffer() Missing agent."; the block starts empty.
// - a block that cannot be loaded by Get or ConstGet (no memory, a failing
//   store): the exception's report, then the access answers a scratch
//   element (Get and ConstGet throw nothing).
// - AppendBlock without agent: "cls_ArrayPrim::AppendBlock: Collection must
//   be associated with a database for this method."; nothing is appended.
// - DBWrite of an array with elements into a store list that already holds
//   some: "cls_ArrayPrim::DBWrite: Index conflicts(s) in list." followed by
//   "Block indices= <first> - <last>" of the overlapping range; the array's
//   elements then overwrite the stored ones.
//
// cls_2dArrayPrim<T> (float, double) stores rows of a fixed number of
// columns the same way, row-major: element (r, c) is element r * Columns()
// + c of one block array; Append adds the next element in that order.
// cls_SimpleArrayPrim<T> (int, float) is held and written as a whole.
//
// Stored form (every store, field names fixed):
//   cls_ArrayPrim<T>        class 0x230001, "data": list of T; collection
//                           type cls_CollectionTypeFix(50, T*) (53 float).
//   cls_2dArrayPrim<T>      class 0x230004, "columns": int, "data": list of
//                           T in row-major order; collection type
//                           cls_CollectionTypeFix(80, T*) (83 float).
//   cls_SimpleArrayPrim<T>  class 0x230003, "data": list of T; collection
//                           type cls_CollectionTypeFix(50, T*).
// A stored cls_ArrayPrim<T> is read back by the list exchange types of the
// same element type (cls_xpTypes.h), and the other way round.
//
// Threads: an array, its blocks and its agent belong to one thread at a
// time; even ConstGet changes which block is in memory.
#pragma once

#include <cstring>
#include <type_traits>

#include "VNKUTI_BasicExport.h"
#include "cls/cls_ClassMetadata.h"
#include "cls/cls_Collections.h"
#include "cls/cls_PC.h"
#include "cls/cls_PTrie.h"
#include "cls/cls_Uid.h"
#include "cow/cow_CountedHld.h"
#include "cow/cow_String.h"
#include "mem/mem_AllocationOperators.h"

class cls_WriteVisitor;
class cls_ReadVisitor;
class cls_ClassRegistrar;

// ================================================================== blocks

// The slow path of an element access (a block switch) is cold. On x86-64
// Unix it also follows the Microsoft calling convention, under which the
// callee keeps xmm6 to xmm15: a caller's loop can then hold its floating
// point values in registers across the rare call instead of in memory.
#if defined(__GNUC__) && defined(__x86_64__) && !defined(_WIN32)
#define CLS_ARRAY_PRIM_COLD __attribute__((cold, noinline, ms_abi))
#elif defined(__GNUC__)
#define CLS_ARRAY_PRIM_COLD __attribute__((cold, noinline))
#else
#define CLS_ARRAY_PRIM_COLD
#endif

constexpr int cls_ArrayPrimBlockSize = 2048;
constexpr int cls_ArrayPrimBlockMask = cls_ArrayPrimBlockSize - 1;

// One block in memory: a use count, the dirty flag (set by every write
// access), then the 2048 elements. Class-type elements are constructed;
// plain ones are set by whoever fills the block.
template <class T>
class cls_ArrayPrimBufferImpl : public mem_AllocationOperators {
 public:
  cls_ArrayPrimBufferImpl() noexcept(std::is_nothrow_default_constructible_v<T>) : m_Count(1), m_Dirty(0) {}
  cls_ArrayPrimBufferImpl(const cls_ArrayPrimBufferImpl&) = delete;
  cls_ArrayPrimBufferImpl& operator=(const cls_ArrayPrimBufferImpl&) = delete;

  int m_Count;
  unsigned char m_Dirty;
  T m_Elements[cls_ArrayPrimBlockSize];
};

// The counted handle of a block: copies share it, the last one frees it.
template <class T>
class cls_ArrayPrimBuffer {
 public:
  typedef cls_ArrayPrimBufferImpl<T> Impl;

  cls_ArrayPrimBuffer() noexcept : m_Impl(nullptr) {}
  // Takes over impl's first count.
  explicit cls_ArrayPrimBuffer(Impl* impl) noexcept : m_Impl(impl) {}
  cls_ArrayPrimBuffer(const cls_ArrayPrimBuffer& o) noexcept : m_Impl(o.m_Impl) {
    if (m_Impl) ++m_Impl->m_Count;
  }
  cls_ArrayPrimBuffer& operator=(const cls_ArrayPrimBuffer& o) noexcept {
    if (o.m_Impl) ++o.m_Impl->m_Count;  // first, so that b = b is safe
    Drop();
    m_Impl = o.m_Impl;
    return *this;
  }
  ~cls_ArrayPrimBuffer() { Drop(); }

  Impl* GetImpl() const noexcept { return m_Impl; }
  bool IsNull() const noexcept { return m_Impl == nullptr; }
  int UseCount() const noexcept { return m_Impl ? m_Impl->m_Count : 0; }
  T* Data() const noexcept { return m_Impl->m_Elements; }
  bool IsDirty() const noexcept { return m_Impl->m_Dirty != 0; }
  void MarkDirty() const noexcept { m_Impl->m_Dirty = 1; }
  void ClearDirty() const noexcept { m_Impl->m_Dirty = 0; }

 private:
  void Drop() noexcept {
    if (m_Impl && --m_Impl->m_Count == 0) delete m_Impl;
    m_Impl = nullptr;
  }
  Impl* m_Impl;
};

// ====================================================== messages, base

// The texts one array class reports with (each given to atr_translate).
struct cls_ArrayPrimTexts {
  const char* m_Get;
  const char* m_ConstGet;
  const char* m_MissingAgent;
  const char* m_AppendBlock;
  const char* m_Conflict;
};

// What every primitive array shares: its place in a ring of containers, its
// persistent face (so that a metadata record can write or delete any of
// them) and the type-independent helpers.
class VNKUTI_BASIC_API cls_ArrayPrimBase : public cls_PC {
 public:
  cls_ArrayPrimBase() = default;
  cls_ArrayPrimBase(const cls_ArrayPrimBase& o) : cls_PC(o) {}
  cls_ArrayPrimBase& operator=(const cls_ArrayPrimBase&) = delete;
  ~cls_ArrayPrimBase() override;

  virtual unsigned int DynTypeId() const = 0;
  virtual void DBWrite(const cls_WriteVisitor& v) const = 0;
  // The element type as its refined list type (51 bool, 52 double, 53
  // float, 54 int, 55 cow_String).
  virtual cls_CollectionType ElementType() const = 0;

  // The field that holds the elements in every stored form.
  static cls_FieldHandle DataField() { return cls_FieldHandle("data", 0); }
  // Writes the translated text and a line end to aio_cerr().
  static void Report(const char* text);
  // Writes the translated conflict text, then "Block indices= first - last".
  static void ReportConflict(const char* text, int first, int last);
};

// =========================================================== block sets

// The block machinery of cls_ArrayPrim and cls_2dArrayPrim: the block
// index, the agent and the size, with a cache of the block used last so
// that accesses inside one block cost a compare.
template <class T>
class cls_ArrayPrimBlocks {
 public:
  typedef cls_ArrayPrimBuffer<T> Buffer;
  typedef cls_ArrayPrimBufferImpl<T> Impl;
  typedef cls_PTrie<int, Buffer, 1> Trie;

  // ----- constructors ---------------------------------------------------
  explicit cls_ArrayPrimBlocks(const cls_ArrayPrimTexts& texts);
  // Works through agent (owned from now on; null: unattached) on its
  // stored elements.
  cls_ArrayPrimBlocks(const cls_ArrayPrimTexts& texts, cls_AgentListPrim<T>* agent);
  // An unattached copy holding every element of o, all blocks dirty.
  cls_ArrayPrimBlocks(const cls_ArrayPrimBlocks& o);
  cls_ArrayPrimBlocks& operator=(const cls_ArrayPrimBlocks&) = delete;
  // Writes back a dirty block, then lets the agent go.
  ~cls_ArrayPrimBlocks();

  // ----- element access -------------------------------------------------
  int Size() const noexcept { return m_Size; }
  // The cached block serves i when start <= i <= min(start + 2047, Size()):
  // one subtraction and one unsigned compare. Get is served from it only
  // once the block is dirty (m_WriteSpan); the first Get after the block
  // was loaded or written back marks it on the slow path, so that the
  // loop of accesses stores nothing but what its caller stores.
  T& Get(int i) {
    const unsigned k = static_cast<unsigned>(i) - static_cast<unsigned>(m_CacheStart);
    if (k < m_WriteSpan) [[likely]] {
      return m_CacheData[k];
    }
    return GetSlow(i);
  }
  const T& ConstGet(int i) {
    const unsigned k = static_cast<unsigned>(i) - static_cast<unsigned>(m_CacheStart);
    if (k < m_CacheSpan) [[likely]] {
      return m_CacheData[k];
    }
    return ConstGetSlow(i);
  }
  void Append(const T& x) {
    Get(m_Size) = x;  // i == Size() is always served
    ++m_Size;
    if (m_Cache != nullptr) SetSpan();
  }
  void AppendBlock(const T* p, int n);
  // The block holding index i (0 <= i <= Size()), loaded and made the one
  // in memory; null out of range.
  Buffer* GetBuffer(int i);

  // ----- store ----------------------------------------------------------
  cls_AgentListPrim<T>* Agent() const noexcept { return m_Agent; }
  // Writes back and drops every block but the one starting at keepStart
  // (none for a negative value). Only for an attached array.
  void WriteBackExcept(int keepStart);
  // Attached: writes back and drops every block. Unattached: nothing.
  void Flush();
  // Brings every block into memory (all dirty) and lets the agent go.
  void Detach();
  // Drops every block, written back first when attached. An unattached
  // array keeps its size but loses its elements: a later access reports
  // the missing agent and finds T().
  void Release();
  // The body of DBWrite: writes the elements through agent (taken over)
  // and attaches to it, as the class comment describes.
  void WriteTo(cls_AgentListPrim<T>* agent);

  // ----- statistics -----------------------------------------------------
  int ResidentBlocks() const { return m_Index.GetRef().Count(); }
  long long BlockLoads() const noexcept { return m_Loads; }
  long long BlockWriteBacks() const noexcept { return m_WriteBacks; }

 private:
  void SetSpan() noexcept {
    const int span = m_Size + 1 - m_CacheStart;
    m_CacheSpan = static_cast<unsigned>(span < cls_ArrayPrimBlockSize ? span : cls_ArrayPrimBlockSize);
    m_WriteSpan = m_Cache->m_Dirty ? m_CacheSpan : 0;
  }
  // Out of the way of the loops that call Get: a block switch once in 2048
  // accesses must not make them keep their values in memory, so these are
  // cold and throw nothing (a call that may throw ties a caller's floating
  // point values to memory or general registers). A block that cannot be
  // loaded is reported like an index out of range.
  CLS_ARRAY_PRIM_COLD T& GetSlow(int i) noexcept;
  CLS_ARRAY_PRIM_COLD const T& ConstGetSlow(int i) noexcept;
  // The block for i, or null after reporting why it could not be had.
  Buffer* GetBufferReported(int i) noexcept;
  // A block whose first n elements the caller fills; the rest are T().
  Buffer NewBlock(int filled);
  int BlockLength(int start) const {
    const int left = m_Size - start;
    return left < cls_ArrayPrimBlockSize ? left : cls_ArrayPrimBlockSize;
  }
  void WriteBack(int start, const Buffer& b);
  void Forget(int start);
  void ForgetCache() noexcept {
    m_CacheSpan = 0;
    m_WriteSpan = 0;
    m_Cache = nullptr;
    m_CacheData = nullptr;
  }
  // Hands every element to target, block by block; residency unchanged.
  void StreamTo(cls_AgentListPrim<T>& target);

  cow_CountedHld<Trie> m_Index;
  cls_AgentListPrim<T>* m_Agent;
  int m_Size;
  int m_CacheStart = 0;       // first index of the cached block
  unsigned m_CacheSpan = 0;   // indexes it serves from there; 0: none cached
  unsigned m_WriteSpan = 0;   // m_CacheSpan once the block is dirty, else 0
  T* m_CacheData = nullptr;   // its elements
  Impl* m_Cache = nullptr;
  Buffer m_Spare;  // a dropped block kept for the next load
  long long m_Loads = 0;
  long long m_WriteBacks = 0;
  const cls_ArrayPrimTexts* m_Texts;
  T m_Scratch{};  // answered for an access out of range
};

// ============================================================ the arrays

template <class T>
class cls_ArrayPrim : public cls_ArrayPrimBase {
 public:
  static constexpr unsigned int ClassTypeId = 0x230001;
  static unsigned int TypeId() { return ClassTypeId; }
  unsigned int DynTypeId() const override { return ClassTypeId; }
  cls_CollectionType ElementType() const override;

  // ----- constructors ---------------------------------------------------
  // Empty, unattached, with a fresh identity.
  cls_ArrayPrim();
  // Unattached, every element of o in memory, o's identity.
  cls_ArrayPrim(const cls_ArrayPrim& o);
  // Attached to the list the read memento's agent offers under "data", of
  // the size stored there, with the stored identity.
  explicit cls_ArrayPrim(const cls_ReadVisitor& v);
  cls_ArrayPrim& operator=(const cls_ArrayPrim&) = delete;
  ~cls_ArrayPrim() override;

  // ----- elements -------------------------------------------------------
  int Size() const { return m_Blocks.Size(); }
  T& Get(int i) { return m_Blocks.Get(i); }
  const T& ConstGet(int i) const { return m_Blocks.ConstGet(i); }
  void Append(const T& x) { m_Blocks.Append(x); }
  void AppendBlock(const T* p, int count) { m_Blocks.AppendBlock(p, count); }

  // ----- persistence ----------------------------------------------------
  void Flush() const override { m_Blocks.Flush(); }
  void Detach() override { m_Blocks.Detach(); }
  // StartWrite with 0x230001 and the identity, the collection-type check,
  // then DBWriteBody.
  void DBWrite(const cls_WriteVisitor& v) const override;
  // Attaches to the visitor's list agent for T (see the file comment).
  void DBWriteBody(const cls_WriteVisitor& v) const;
  const cls_Uid& GetUid() const { return m_Uid; }
  bool IsAttached() const { return m_Blocks.Agent() != nullptr; }

  // ----- statistics (tests, diagnostics) --------------------------------
  int ResidentBlocks() const { return m_Blocks.ResidentBlocks(); }
  long long BlockLoads() const { return m_Blocks.BlockLoads(); }
  long long BlockWriteBacks() const { return m_Blocks.BlockWriteBacks(); }

 protected:
  cls_ArrayPrimBuffer<T>* GetBuffer(int i) { return m_Blocks.GetBuffer(i); }

 private:
  mutable cls_ArrayPrimBlocks<T> m_Blocks;  // the block index, agent and size
  cls_Uid m_Uid;
};

template <class T>
class cls_2dArrayPrim : public cls_ArrayPrimBase {
 public:
  static constexpr unsigned int ClassTypeId = 0x230004;
  static unsigned int TypeId() { return ClassTypeId; }
  unsigned int DynTypeId() const override { return ClassTypeId; }
  cls_CollectionType ElementType() const override;

  // ----- constructors ---------------------------------------------------
  // Empty, rows of `columns` elements (at least 1).
  explicit cls_2dArrayPrim(int columns = 1);
  cls_2dArrayPrim(const cls_2dArrayPrim& o);
  explicit cls_2dArrayPrim(const cls_ReadVisitor& v);
  cls_2dArrayPrim& operator=(const cls_2dArrayPrim&) = delete;
  ~cls_2dArrayPrim() override;

  // ----- elements -------------------------------------------------------
  int Columns() const { return m_Columns; }
  // Rows begun so far (the last may be partly filled).
  int Rows() const { return (m_Blocks.Size() + m_Columns - 1) / m_Columns; }
  int Size() const { return m_Blocks.Size(); }
  // Out of range (c outside [0, Columns()), or r * Columns() + c outside
  // [0, Size()]): the class's message and a scratch element.
  T& Get(int r, int c) { return m_Blocks.Get(Flat(r, c)); }
  const T& ConstGet(int r, int c) const { return m_Blocks.ConstGet(Flat(r, c)); }
  void Append(const T& x) { m_Blocks.Append(x); }
  void AppendBlock(const T* p, int count) { m_Blocks.AppendBlock(p, count); }
  cls_ArrayPrimBuffer<T>* GetBuffer(int i) { return m_Blocks.GetBuffer(i); }
  // Drops every block from memory, written back when attached. An
  // unattached array has nowhere to write them: its elements are lost (a
  // later access reports the missing agent and reads T()).
  void Release() { m_Blocks.Release(); }

  // ----- persistence ----------------------------------------------------
  void Flush() const override { m_Blocks.Flush(); }
  void Detach() override { m_Blocks.Detach(); }
  void DBWrite(const cls_WriteVisitor& v) const override;
  const cls_Uid& GetUid() const { return m_Uid; }
  long long BlockLoads() const { return m_Blocks.BlockLoads(); }

 private:
  // -1 (out of range) for a column outside the row or an overflowing index.
  int Flat(int r, int c) const {
    if (static_cast<unsigned>(c) >= static_cast<unsigned>(m_Columns) || r < 0) return -1;
    const long long i = static_cast<long long>(r) * m_Columns + c;
    return i > 0x7FFFFFFF ? -1 : static_cast<int>(i);
  }

  mutable cls_ArrayPrimBlocks<T> m_Blocks;
  int m_Columns;
  cls_Uid m_Uid;
};

template <class T>
class cls_SimpleArrayPrim : public cls_ArrayPrimBase {
 public:
  static constexpr unsigned int ClassTypeId = 0x230003;
  static unsigned int TypeId() { return ClassTypeId; }
  unsigned int DynTypeId() const override { return ClassTypeId; }
  cls_CollectionType ElementType() const override;

  // ----- constructors ---------------------------------------------------
  // size zeros (a negative size counts as 0), a fresh identity.
  explicit cls_SimpleArrayPrim(int size);
  cls_SimpleArrayPrim(const cls_Uid& uid, int size);
  // o's elements under the identity uid.
  cls_SimpleArrayPrim(const cls_Uid& uid, const cls_SimpleArrayPrim& o);
  // Reads the whole stored array; uid, when not null, receives its identity.
  // Keeps the store's list agent for ReadBlock and AppendBlock.
  cls_SimpleArrayPrim(const cls_ReadVisitor& v, cls_Uid* uid);
  cls_SimpleArrayPrim(const cls_SimpleArrayPrim& o);
  cls_SimpleArrayPrim& operator=(const cls_SimpleArrayPrim&) = delete;
  ~cls_SimpleArrayPrim() override;

  // ----- elements -------------------------------------------------------
  int Size() const { return m_Size; }
  // The array becomes p[0, n) (n < 0 counts as 0).
  void Write(const T* p, int n);
  // Copies the first min(n, Size()) elements to out; answers how many.
  int Read(T* out, int n) const;
  const T* Data() const { return m_Data; }
  T* Data() { return m_Data; }
  // Store operations, only for an array read from a store: append n
  // elements to the stored list (and to this array), read stored elements
  // [start, start + n) to out (T() beyond the stored ones). Without a store:
  // the class's message; nothing is appended, out is filled with T().
  void AppendBlock(const T* p, int n);
  void ReadBlock(int start, int n, T* out) const;

  // ----- persistence ----------------------------------------------------
  void Flush() const override {}  // written as a whole: nothing pending
  void Detach() override;
  void DBWrite(const cls_WriteVisitor& v) const override;
  const cls_Uid& GetUid() const { return m_Uid; }

 private:
  void Resize(int n);

  T* m_Data = nullptr;
  int m_Size = 0;
  cls_Uid m_Uid;
  cls_AgentListPrim<T>* m_Agent = nullptr;
};

// =========================================================== registration

// The registration functions of the stored forms, so that a stored array can
// be rebuilt by its class ID: 0x230001 ("cls_InternalList") builds the
// cls_ArrayPrim<T> whose element type the stored list has, 0x230003
// ("cls_SimpleArrayPrim") and 0x230004 ("cls_2dArrayPrim") likewise. The
// records' DBWrite and Delete take any cls_ArrayPrimBase. pdc_initialize
// registers them (mask 2).
class VNKUTI_BASIC_API cls_ArrayPrimMetadata {
 public:
  static void InitializeInternalList(cls_ClassRegistrar& r);
  static void InitializeSimpleArray(cls_ClassRegistrar& r);
  static void Initialize2dArray(cls_ClassRegistrar& r);
};

// ============================================================== instances

#define CLS_ARRAY_PRIM_BLOCK_TEMPLATES_(PREFIX, API, T)                         \
  PREFIX template class API cls_ArrayPrimBufferImpl<T>;                         \
  PREFIX template class API cls_ArrayPrimBuffer<T>;                             \
  PREFIX template class API cls_PTrieNode<int, cls_ArrayPrimBuffer<T>, 1>;      \
  PREFIX template class API cls_PTrieInternalNode<int, cls_ArrayPrimBuffer<T>, 1>; \
  PREFIX template class API cls_PTrieLeafNode<int, cls_ArrayPrimBuffer<T>, 1>;  \
  PREFIX template class API cls_PTrie<int, cls_ArrayPrimBuffer<T>, 1>;          \
  PREFIX template class API cls_PTrieIter<int, cls_ArrayPrimBuffer<T>, 1>;      \
  PREFIX template class API cow_CountedHld<cls_PTrie<int, cls_ArrayPrimBuffer<T>, 1>>; \
  PREFIX template class API cls_ArrayPrimBlocks<T>;                             \
  PREFIX template class API cls_ArrayPrim<T>;

CLS_ARRAY_PRIM_BLOCK_TEMPLATES_(extern, VNKUTI_BASIC_API, int)
CLS_ARRAY_PRIM_BLOCK_TEMPLATES_(extern, VNKUTI_BASIC_API, float)
CLS_ARRAY_PRIM_BLOCK_TEMPLATES_(extern, VNKUTI_BASIC_API, double)
CLS_ARRAY_PRIM_BLOCK_TEMPLATES_(extern, VNKUTI_BASIC_API, bool)
CLS_ARRAY_PRIM_BLOCK_TEMPLATES_(extern, VNKUTI_BASIC_API, cow_String)
extern template class VNKUTI_BASIC_API cls_2dArrayPrim<float>;
extern template class VNKUTI_BASIC_API cls_2dArrayPrim<double>;
extern template class VNKUTI_BASIC_API cls_SimpleArrayPrim<int>;
extern template class VNKUTI_BASIC_API cls_SimpleArrayPrim<float>;
