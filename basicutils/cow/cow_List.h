// cow_List<T>: the library's indexable sequence. It grows cheaply at both
// ends, and its copies share storage block by block.
//
// Layout. Elements live in blocks of 2^shift places (cow_ListBlock<T>); the
// list holds an array of block pointers, the slots. Element i sits at the
// virtual position offset + i: in block (offset + i) >> shift, at place
// (offset + i) & (2^shift - 1). Prepending lowers the offset, so the front
// grows without moving elements, and no element moves when the slot array
// grows. A list starts with 16 elements per block and goes back to that
// whenever it becomes empty.
//
// Sharing. A copy costs two pointer copies and one increment: the slot array
// is shared through a separately allocated use count. The first write through
// a list whose slot array is shared gives it its own slot array (one pointer
// per block, no element copied). Blocks carry their own use counts; a write
// into a shared block first copies that block alone. Each member below says
// whether it unshares; the const members never copy anything.
//
// Threads. Counts are plain integers: a list, its copies and iterators made
// from any of them belong to one thread at a time.
//
// Errors. An index out of range ends the process through abort() (see
// RaiseOutOfRange); nothing is thrown for it. Allocation failure raises the
// allocator's out-of-memory exception. If T's copy constructor or assignment
// throws, the list stays valid and nothing leaks; Append, Prepend, Push and
// Fill leave it as it was before the failing element, while a middle insert
// or removal may leave the elements it was moving partly moved.
//
// References. A reference returned by Get, ConstGet, First or Last stays valid
// until the list is next changed; a reference from Get writes into this list
// only, as long as the list is not copied in between.
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>
#include <type_traits>

#include "VNKUTI_BasicExport.h"
#include "cow/cow_String.h"
#include "mem/mem_Alloc.h"
#include "mem/mem_AllocationOperators.h"

template <class T>
class cow_List;
template <class T>
class cow_ListIter;

// Selects the constructor that makes a list ready for a number of elements.
enum cow_ListConstruct { cow_ListPreSize };

// ===== blocks ==============================================================

// The type-independent part of a block: its use count, the number of slot
// arrays holding it.
class VNKUTI_BASIC_API cow_ListBlockBase {
 public:
  std::int32_t m_UseCount;
};

typedef void (*cow_ListReleaseFn)(cow_ListBlockBase* block);

// One block of 2^shift places, allocated in one piece with its header. Only
// the places [m_Lo, m_Hi) hold constructed elements; blocks are made, copied
// and freed by the lists that hold them.
template <class T>
class cow_ListBlock : public cow_ListBlockBase {
 public:
  // Places of a trivially copyable type need no construction or destruction:
  // any place may be written, and m_Lo and m_Hi are not kept (both 0).
  static constexpr bool kPlain = std::is_trivially_copyable_v<T>;

  T* m_Elements;
  std::int32_t m_Lo;
  std::int32_t m_Hi;

  // A block with use count 1 and no element. Raises on allocation failure.
  static cow_ListBlock* New(int shift);
  // The places, which follow the header: the same address as m_Elements,
  // found without loading it.
  T* Places() noexcept { return reinterpret_cast<T*>(reinterpret_cast<char*>(this) + HeaderSize()); }
  // Drops one use; at 0 destroys the elements and frees the block.
  static void Release(cow_ListBlockBase* block) noexcept;

  // Stores v at place q of a block this list owns alone: assigns over a
  // constructed element, or constructs next to the constructed places.
  void Store(int q, const T& v);
  // Destroys the places from q to the end of the constructed range (the back
  // end moved to q), or from its start to q inclusive (the front moved past q).
  void CutBack(int q) noexcept;
  void CutFront(int q) noexcept;

 private:
  static constexpr std::size_t HeaderSize() {
    return (sizeof(cow_ListBlock) + alignof(T) - 1) / alignof(T) * alignof(T);
  }
};

// ===== the type-independent part of a list =================================

// Fields, index arithmetic, the counter and the slot array. Compiled once in
// the library; cow_List<T> adds what depends on the element type.
class VNKUTI_BASIC_API cow_ListBase : public mem_AllocationOperators {
 public:
  // ----- accessors (never unshare) --------------------------------------
  int Count() const noexcept { return m_Count; }
  bool IsEmpty() const noexcept { return m_Count == 0; }
  int SlotCapacity() const noexcept { return m_SlotCapacity; }
  int Shift() const noexcept { return m_Shift; }
  int Offset() const noexcept { return m_Offset; }
  // Lists sharing this list's slot array, this one included.
  unsigned UseCount() const noexcept { return *m_Counter; }

  // Ends the process with abort(); every bounds failure of a list comes here.
  [[noreturn]] void RaiseOutOfRange(int i) const;

 protected:
  explicit cow_ListBase(int n);  // as Initialize(n)
  cow_ListBase(const cow_ListBase& other) noexcept
      : m_Count(other.m_Count),
        m_SlotCapacity(other.m_SlotCapacity),
        m_Shift(other.m_Shift),
        m_Offset(other.m_Offset),
        m_Counter(other.m_Counter),
        m_Slots(other.m_Slots) {
    ++*m_Counter;
  }
  cow_ListBase& operator=(const cow_ListBase&) = delete;
  ~cow_ListBase() = default;

  // Replaces the representation with a fresh, empty one laid out for n.
  void Reinitialize(int n, cow_ListReleaseFn release);
  // Shares other's slot array; safe for a = a.
  void AssignFrom(const cow_ListBase& other, cow_ListReleaseFn release) noexcept;
  // Gives up this list's use of its slot array (freeing it at 0).
  void Drop(cow_ListReleaseFn release) noexcept;

  // Makes the slot array this list's own; blocks become shared with the copy.
  void UnshareSlots();
  // Grows the slot array to hold at least `slots` slots, in steps of 16.
  void GrowSlots(std::int64_t slots);
  // Sets the slot capacity, releasing the blocks beyond it.
  void SetSlotCapacity(std::int64_t slots, cow_ListReleaseFn release);
  // Adds empty slots in front and raises the offset so position offset - 1
  // has a slot. Adds as many slots as there are, so prepending stays O(1).
  void MakeFrontRoom();
  // Slot capacity Resize(n) asks for.
  std::int64_t SlotsFor(int n) const noexcept;
  // Releases the blocks in slots [from, to) and nulls those slots.
  void ReleaseSlots(int from, int to, cow_ListReleaseFn release) noexcept;
  // Back to the empty state: no blocks, no slots, shift 4, offset 0.
  void ResetEmpty(cow_ListReleaseFn release) noexcept;
  // Aborts unless a block may take slot k: its last place must stay below
  // INT32_MAX so positions never overflow.
  void CheckBlockIndex(int k) const {
    if (((std::int64_t(k) + 1) << m_Shift) > 0x7FFFFFFF) RaiseOutOfRange(m_Count);
  }

  // Sorts a contiguous array with the C library's qsort.
  static void SortArray(void* a, int n, std::size_t size, int (*cmp)(const void*, const void*));

  int Mask() const noexcept { return (1 << m_Shift) - 1; }

  // The fields an append or a prepend changes, as a slow path left them. The
  // inline fast paths store them back after a slow call. The stores change
  // nothing, but they show the compiler the values on that path too, so that
  // a caller's loop of appends can keep count and offset in registers
  // instead of reloading them for every element.
  struct Ends {
    std::int32_t m_Offset;
    std::int32_t m_Count;
  };
  Ends GetEnds() const noexcept { return {m_Offset, m_Count}; }
  void WriteBack(Ends e) noexcept {
    m_Count = e.m_Count;
    m_Offset = e.m_Offset;
  }
  // Part of block k that holds this list's elements: places [lo, hi).
  void LiveRange(int k, int& lo, int& hi) const noexcept;

  std::int32_t m_Count;         // elements
  std::int32_t m_SlotCapacity;  // slots allocated
  std::int32_t m_Shift;         // log2 of the places per block
  std::int32_t m_Offset;        // virtual position of element 0
  std::uint32_t* m_Counter;     // lists sharing m_Slots
  cow_ListBlockBase** m_Slots;  // m_SlotCapacity block pointers, null for no block
};

// ===== the list ============================================================

template <class T>
class cow_List : public cow_ListBase {
 public:
  typedef cow_ListBlock<T> Block;

  // ----- constructors ---------------------------------------------------
  cow_List() : cow_ListBase(0) {}
  // Ready for about n elements: Initialize(n).
  cow_List(cow_ListConstruct, int n) : cow_ListBase(n) {}
  // Shares other's storage. O(1).
  cow_List(const cow_List& other) noexcept : cow_ListBase(other) {}
  // Shares other's storage; a = a is safe. O(1).
  cow_List& operator=(const cow_List& other) noexcept {
    AssignFrom(other, &Block::Release);
    return *this;
  }
  ~cow_List() { Drop(&Block::Release); }

  // Empties the list into a fresh representation (count 0, offset 0, no
  // blocks) whose block size suits n elements: with e = floor(log2 n) - 3,
  // a list for n with e > 4 gets 2^e elements per block and 8 to 16 slots,
  // else 16 per block; 16 slots more in every case (none for n = 0). Other
  // copies keep the old content.
  void Initialize(int n) { Reinitialize(n, &Block::Release); }
  // Unshares. Sets the slot capacity to 16 * ceil((offset + n) / (16 * 2^shift))
  // (offset not counted for n = 0), releasing blocks beyond the new last
  // element; cuts the list to n elements if it is longer (n = 0 also resets
  // shift 4 and offset 0). Never adds elements. Aborts for n < 0.
  void Resize(int n);

  // ----- element access ---------------------------------------------------
  // Bounds-checked; abort() for i < 0 or i >= Count(). Never unshares.
  const T& ConstGet(int i) const {
    if (static_cast<unsigned>(i) >= static_cast<unsigned>(m_Count)) RaiseOutOfRange(i);
    return UncheckedConstGet(i);
  }
  const T& operator[](int i) const { return ConstGet(i); }
  // Bounds-checked; unshares the list and the element's block.
  T& Get(int i) {
    if (static_cast<unsigned>(i) >= static_cast<unsigned>(m_Count)) RaiseOutOfRange(i);
    return UncheckedGet(i);
  }
  // No bounds test: i must be in [0, Count()).
  const T& UncheckedConstGet(int i) const {
    int p = m_Offset + i;
    return static_cast<const Block*>(m_Slots[p >> m_Shift])->m_Elements[p & Mask()];
  }
  // No bounds test; unshares the list and the element's block.
  T& UncheckedGet(int i) {
    int p = m_Offset + i;
    Block* b = static_cast<Block*>(m_Slots[p >> m_Shift]);
    if (*m_Counter != 1 || b->m_UseCount != 1) b = WritableBlock(p >> m_Shift);
    return b->m_Elements[p & Mask()];
  }
  // The first and last element; abort() on an empty list. Never unshare.
  const T& First() const { return ConstGet(0); }
  const T& Last() const { return ConstGet(m_Count - 1); }

  // ----- insertion (each unshares) ----------------------------------------
  // Adds x at the back. Amortised O(1); x may be an element of this list.
  //
  // The fast paths of Append and Prepend are shaped for a caller's loop: they
  // read the fields before storing the element and write them after it, and
  // the slow paths hand the changed fields back (WriteBack). The compiler can
  // then carry count and offset from one call to the next in registers.
  // Positions are never negative: unsigned arithmetic spares the widening.
  void Append(const T& x) {
    const unsigned count = static_cast<unsigned>(m_Count);
    const unsigned p = static_cast<unsigned>(m_Offset) + count;
    const unsigned shift = static_cast<unsigned>(m_Shift);
    const unsigned q = p & ((1u << shift) - 1);
    // q != 0: element count - 1 sits in the same block (an empty list's
    // offset is a multiple of the block size), so the slot holds a block.
    if (q != 0) {
      Block* b = static_cast<Block*>(m_Slots[p >> shift]);
      // Both counts are at least 1, so their OR is 1 only when both are.
      if ((*m_Counter | static_cast<std::uint32_t>(b->m_UseCount)) == 1 &&
          (Block::kPlain || b->m_Hi == static_cast<int>(q))) {
        ::new (static_cast<void*>(b->Places() + q)) T(x);
        if constexpr (!Block::kPlain) b->m_Hi = static_cast<int>(q + 1);
        m_Count = static_cast<int>(count + 1);
        return;
      }
    }
    WriteBack(AppendSlow(x));
  }
  // Adds x at the front without moving elements. Amortised O(1); x may be an
  // element of this list.
  void Prepend(const T& x) {
    const unsigned count = static_cast<unsigned>(m_Count);
    const unsigned offset = static_cast<unsigned>(m_Offset);
    const unsigned shift = static_cast<unsigned>(m_Shift);
    const unsigned q = offset & ((1u << shift) - 1);
    if (q != 0) {  // element 0 sits in the same block
      Block* b = static_cast<Block*>(m_Slots[offset >> shift]);
      if ((*m_Counter | static_cast<std::uint32_t>(b->m_UseCount)) == 1 &&
          (Block::kPlain || b->m_Lo == static_cast<int>(q))) {
        ::new (static_cast<void*>(b->Places() + (q - 1))) T(x);
        if constexpr (!Block::kPlain) b->m_Lo = static_cast<int>(q - 1);
        m_Offset = static_cast<int>(offset - 1);
        m_Count = static_cast<int>(count + 1);
        return;
      }
    }
    WriteBack(PrependSlow(x));
  }
  void Push(const T& x) { Append(x); }
  // Inserts x so that it becomes element i: i = Count() appends, i = 0
  // prepends, other i must lie in (0, Count()) or the process aborts. Moves
  // the shorter side by one place.
  void InsertIndex(int i, const T& x);
  void Insert(int i, const T& x) { InsertIndex(i, x); }
  // Inserts x before the iterator's current element (appends when it is past
  // the end). The index is taken in the list the iterator walks.
  void Insert(const cow_ListIter<T>& before, const T& x) { InsertIndex(before.Index(), x); }
  // Adds copies of x at the back until there are n elements; n <= Count()
  // does nothing. Existing elements are never overwritten.
  void Fill(int n, const T& x);
  // Appends other's elements in order; other may be this list.
  void Concatenate(const cow_List& other);
  // Replaces the content with the n elements at a (a may point into this
  // list); the list is laid out afresh for n. Aborts for n < 0.
  void SetFromArray(const T* a, int n);

  // ----- removal (each unshares) ------------------------------------------
  // Removes element i (abort() unless 0 <= i < Count()), moving the shorter
  // side. A block emptied at the end that moved is released; removing the
  // last element resets shift 4 and offset 0.
  void RemoveIndex(int i);
  void Remove(int i) { RemoveIndex(i); }
  // Removes the iterator's current element (abort() if it has none).
  void Remove(const cow_ListIter<T>& at) { RemoveIndex(at.Index()); }
  // Removes and returns the last element; abort() on an empty list.
  T Pop();

  // ----- members by value (need T == T; instantiated when used) -----------
  // Index of the first element equal to x, front to back; -1 if none.
  template <class U = T>
  int FindMember(const T& x) const;
  // The same search: true and the index, or false and -1.
  template <class U = T>
  bool Find(const T& x, int& index) const {
    index = FindMember<U>(x);
    return index >= 0;
  }
  template <class U = T>
  bool IsMember(const T& x) const {
    return FindMember<U>(x) >= 0;
  }
  // Same count and equal elements in order; elements at one address (a
  // shared block) are equal without being compared.
  template <class U = T>
  bool IsEqual(const cow_List& other) const;
  // Removes the first element equal to x, if any. Unshares when it removes.
  template <class U = T>
  void RemoveMember(const T& x) {
    int i = FindMember<U>(x);
    if (i >= 0) RemoveIndex(i);
  }
  // Appends / inserts x unless an equal element is present; true if added.
  template <class U = T>
  bool AppendUnlessMember(const T& x) {
    if (IsMember<U>(x)) return false;
    Append(x);
    return true;
  }
  template <class U = T>
  bool InsertUnlessMember(int i, const T& x) {
    if (IsMember<U>(x)) return false;
    InsertIndex(i, x);
    return true;
  }
  // A new list of this list's elements that are not members of other, in order.
  template <class U = T>
  cow_List Difference(const cow_List& other) const;

  // ----- whole-list operations ---------------------------------------------
  // A new list of elements from <= k < to after clamping: from below 0 is 0,
  // to below from is from, to above Count() is Count(), from above to is to.
  // Laid out with Initialize(to - from). Never unshares this list.
  cow_List Slice(int from, int to) const;
  // A contiguous copy of the elements in memory from mem_Malloc; n receives
  // the count (null for an empty list). The caller owns it: destroy the
  // elements if T has a destructor, then release it with mem_Free.
  T* GetCArray(int& n) const;
  // A fresh block (use count 1, shift of this list) holding copies of the n
  // elements at `from` in places [at, at + n). The caller owns one use of it.
  Block* InitializeBlock(const T* from, int at, int n) const;
  // Ascending order by SortCmp, not stable (qsort over a GetCArray copy);
  // unshares. Needs T < T and T == T; instantiated when used.
  template <class U = T>
  void Sort();
  // -1 if *a < *b, 0 if equal, 1 otherwise.
  template <class U = T>
  static int SortCmp(const void* a, const void* b);

  // ----- inspection ---------------------------------------------------------
  // The block in slot k, null if none (k must be below SlotCapacity()).
  const Block* GetSlot(int k) const noexcept { return static_cast<const Block*>(m_Slots[k]); }

 private:
  friend class cow_ListIter<T>;

  // Small plain elements go to the slow paths by value, so that a caller's
  // variable need not live in memory for its address.
  typedef std::conditional_t<Block::kPlain && sizeof(T) <= 2 * sizeof(void*), T, const T&> SlowArg;
  // The slow paths return the fields they changed, for WriteBack.
  Ends AppendSlow(SlowArg x);
  Ends PrependSlow(SlowArg x);
  // Block k, writable: created in an empty slot, unshared if shared.
  Block* OwnBlock(int k) {
    Block* b = static_cast<Block*>(m_Slots[k]);
    if (b == nullptr) {
      CheckBlockIndex(k);
      b = Block::New(m_Shift);
      m_Slots[k] = b;
    } else if (b->m_UseCount != 1) {
      b = WritableBlock(k);
    }
    return b;
  }
  // Makes the slot array and block k this list's own, creating the block if
  // the slot is empty.
  Block* WritableBlock(int k);
  // Unshares every block touching positions [p0, p1].
  void WritableRange(int p0, int p1);
  T& At(int p) noexcept { return static_cast<Block*>(m_Slots[p >> m_Shift])->m_Elements[p & Mask()]; }
  void StoreAt(int p, const T& v) { static_cast<Block*>(m_Slots[p >> m_Shift])->Store(p & Mask(), v); }
};

template <class T>
bool operator==(const cow_List<T>& a, const cow_List<T>& b) {
  return a.IsEqual(b);
}
template <class T>
bool operator!=(const cow_List<T>& a, const cow_List<T>& b) {
  return !a.IsEqual(b);
}

// ===== the iterator ========================================================

// Walks a list front to back (or back). It holds a shared copy of the list,
// so the list may change while it is walked without disturbing the walk; the
// first change to the list then unshares the list, not the iterator.
template <class T>
class cow_ListIter : public mem_AllocationOperators {
 public:
  // Starts at the first element. Shares the list: O(1).
  explicit cow_ListIter(const cow_List<T>& list) : m_List(list) { First(); }

  // Back to the first element.
  void First() {
    m_Position = m_List.m_Offset;
    m_End = m_List.m_Offset + m_List.m_Count;
    m_Place = m_Position & m_List.Mask();
    Load();
  }
  // One element on; past the last one the iterator is done.
  void Next() {
    ++m_Position;
    if (++m_Place > m_List.Mask()) {
      m_Place = 0;
      Load();
    }
  }
  // One element back; before the first one the iterator is done.
  void Previous() {
    --m_Position;
    if (--m_Place < 0) {
      m_Place = m_List.Mask();
      Load();
    }
  }
  // True while the iterator stands on an element.
  bool More() const noexcept { return m_Position >= m_List.m_Offset && m_Position < m_End; }
  // Index of the current element in the walked list.
  int Index() const noexcept { return m_Position - m_List.m_Offset; }
  // The current element; abort() when the iterator is done.
  const T& Current() const {
    if (!More()) m_List.RaiseOutOfRange(Index());
    return m_Elements[m_Place];
  }
  const T& operator*() const { return Current(); }

 private:
  void Load() noexcept {
    m_Elements = nullptr;
    if (More()) m_Elements = static_cast<const cow_ListBlock<T>*>(m_List.m_Slots[m_Position >> m_List.m_Shift])->m_Elements;
  }

  cow_List<T> m_List;
  const T* m_Elements;  // the current block's places
  int m_Place;
  int m_Position;       // virtual position of the current element
  int m_End;            // offset + count of the walked list
};

// ===== mechanics =============================================================

template <class T>
cow_ListBlock<T>* cow_ListBlock<T>::New(int shift) {
  std::size_t bytes = HeaderSize() + (sizeof(T) << shift);
  auto* b = static_cast<cow_ListBlock*>(mem_Malloc(bytes));
  b->m_UseCount = 1;
  b->m_Elements = b->Places();
  b->m_Lo = 0;
  b->m_Hi = 0;
  return b;
}

template <class T>
void cow_ListBlock<T>::Release(cow_ListBlockBase* block) noexcept {
  auto* b = static_cast<cow_ListBlock*>(block);
  if (--b->m_UseCount != 0) return;
  if constexpr (!std::is_trivially_destructible_v<T>)
    for (int q = b->m_Lo; q < b->m_Hi; ++q) b->m_Elements[q].~T();
  mem_Free(b);
}

template <class T>
void cow_ListBlock<T>::Store(int q, const T& v) {
  if constexpr (kPlain) {
    ::new (static_cast<void*>(m_Elements + q)) T(v);
    return;
  }
  if (q >= m_Lo && q < m_Hi) {
    m_Elements[q] = v;
    return;
  }
  ::new (static_cast<void*>(m_Elements + q)) T(v);
  if (m_Lo == m_Hi) {
    m_Lo = q;
    m_Hi = q + 1;
  } else if (q == m_Hi) {
    ++m_Hi;
  } else {  // q == m_Lo - 1: writes are always next to the constructed places
    --m_Lo;
  }
}

template <class T>
void cow_ListBlock<T>::CutBack(int q) noexcept {
  if constexpr (kPlain) return;
  if (q < m_Lo) q = m_Lo;
  if constexpr (!std::is_trivially_destructible_v<T>)
    for (int k = q; k < m_Hi; ++k) m_Elements[k].~T();
  m_Hi = q;
  if (m_Hi == m_Lo) m_Lo = m_Hi = 0;
}

template <class T>
void cow_ListBlock<T>::CutFront(int q) noexcept {
  if constexpr (kPlain) return;
  if (q >= m_Hi) q = m_Hi - 1;
  if constexpr (!std::is_trivially_destructible_v<T>)
    for (int k = m_Lo; k <= q; ++k) m_Elements[k].~T();
  m_Lo = q + 1;
  if (m_Hi == m_Lo) m_Lo = m_Hi = 0;
}

template <class T>
typename cow_List<T>::Block* cow_List<T>::InitializeBlock(const T* from, int at, int n) const {
  Block* b = Block::New(m_Shift);
  if constexpr (std::is_trivially_copyable_v<T>) {
    if (n > 0) __builtin_memcpy(static_cast<void*>(b->m_Elements + at), from, sizeof(T) * n);
  } else {
    int k = 0;
    try {
      for (; k < n; ++k) ::new (static_cast<void*>(b->m_Elements + at + k)) T(from[k]);
    } catch (...) {
      while (k > 0) b->m_Elements[at + --k].~T();
      mem_Free(b);
      throw;
    }
  }
  if (!Block::kPlain && n > 0) {
    b->m_Lo = at;
    b->m_Hi = at + n;
  }
  return b;
}

template <class T>
typename cow_List<T>::Block* cow_List<T>::WritableBlock(int k) {
  if (*m_Counter != 1) UnshareSlots();
  Block* b = static_cast<Block*>(m_Slots[k]);
  if (b == nullptr) {
    CheckBlockIndex(k);
    b = Block::New(m_Shift);
    m_Slots[k] = b;
  } else if (b->m_UseCount != 1) {
    int lo, hi;
    LiveRange(k, lo, hi);
    Block* c = InitializeBlock(b->m_Elements + lo, lo, hi - lo);
    --b->m_UseCount;  // another slot array still holds it
    m_Slots[k] = c;
    b = c;
  }
  return b;
}

template <class T>
void cow_List<T>::WritableRange(int p0, int p1) {
  for (int k = p0 >> m_Shift, last = p1 >> m_Shift; k <= last; ++k) {
    const cow_ListBlockBase* b = m_Slots[k];
    if (b == nullptr || b->m_UseCount != 1 || *m_Counter != 1) WritableBlock(k);
  }
}

template <class T>
typename cow_List<T>::Ends cow_List<T>::AppendSlow(SlowArg x) {
  if (*m_Counter != 1) UnshareSlots();
  int p = m_Offset + m_Count;
  int k = p >> m_Shift;
  if (k >= m_SlotCapacity) GrowSlots(std::int64_t(k) + 1);
  OwnBlock(k)->Store(p & Mask(), x);
  ++m_Count;
  return GetEnds();
}

template <class T>
typename cow_List<T>::Ends cow_List<T>::PrependSlow(SlowArg x) {
  if (*m_Counter != 1) UnshareSlots();
  if (m_Offset == 0) MakeFrontRoom();
  int p = m_Offset - 1;
  OwnBlock(p >> m_Shift)->Store(p & Mask(), x);
  --m_Offset;
  ++m_Count;
  return GetEnds();
}

template <class T>
void cow_List<T>::Resize(int n) {
  if (n < 0) RaiseOutOfRange(n);
  if (*m_Counter != 1) UnshareSlots();
  if (n == 0) {
    ResetEmpty(&Block::Release);
    return;
  }
  if (std::int64_t(m_Offset) + n > 0x7FFFFFFF) RaiseOutOfRange(n);
  std::int64_t slots = SlotsFor(n);
  if (n < m_Count) {
    int end = m_Offset + n;             // first position cut off
    int kept = (end - 1) >> m_Shift;    // last block kept
    int last = (m_Offset + m_Count - 1) >> m_Shift;
    int q = end & Mask();
    if (q != 0) {  // cut inside the kept block
      Block* b = static_cast<Block*>(m_Slots[kept]);
      if (b->m_UseCount != 1) {
        m_Count = n;  // so the copy takes only the kept elements
        WritableBlock(kept);
      } else {
        b->CutBack(q);
      }
    }
    ReleaseSlots(kept + 1, last + 1, &Block::Release);
    m_Count = n;
  }
  SetSlotCapacity(slots, &Block::Release);
}

template <class T>
void cow_List<T>::InsertIndex(int i, const T& x) {
  if (i == m_Count) return Append(x);
  if (i == 0) return Prepend(x);
  if (i < 0 || i > m_Count) RaiseOutOfRange(i);
  T v(x);  // x may be an element that is about to move
  if (*m_Counter != 1) UnshareSlots();
  if (i >= m_Count - i) {  // grow at the back
    int end = m_Offset + m_Count;
    if (end == 0x7FFFFFFF) RaiseOutOfRange(i);
    if ((end >> m_Shift) >= m_SlotCapacity) GrowSlots(std::int64_t(end >> m_Shift) + 1);
    int at = m_Offset + i;
    WritableRange(at, end);
    StoreAt(end, At(end - 1));
    for (int p = end - 1; p > at; --p) At(p) = At(p - 1);
    At(at) = v;
    ++m_Count;
  } else {  // grow at the front
    if (m_Offset == 0) MakeFrontRoom();
    int front = m_Offset - 1;
    int at = m_Offset + i - 1;
    WritableRange(front, at);
    StoreAt(front, At(m_Offset));
    for (int p = m_Offset; p < at; ++p) At(p) = At(p + 1);
    At(at) = v;
    --m_Offset;
    ++m_Count;
  }
}

template <class T>
void cow_List<T>::RemoveIndex(int i) {
  if (static_cast<unsigned>(i) >= static_cast<unsigned>(m_Count)) RaiseOutOfRange(i);
  if (*m_Counter != 1) UnshareSlots();
  if (m_Count == 1) {
    ResetEmpty(&Block::Release);
    return;
  }
  if (i >= m_Count - i) {  // the back moves
    int last = m_Offset + m_Count - 1;
    int k = last >> m_Shift;
    int q = last & Mask();
    if (i == m_Count - 1) {
      --m_Count;  // a shared block is then copied without the element
      if (q == 0) {
        ReleaseSlots(k, k + 1, &Block::Release);
      } else if (m_Slots[k]->m_UseCount != 1) {
        WritableBlock(k);
      } else {
        static_cast<Block*>(m_Slots[k])->CutBack(q);
      }
      return;
    }
    WritableRange(m_Offset + i, last);
    for (int p = m_Offset + i; p < last; ++p) At(p) = At(p + 1);
    static_cast<Block*>(m_Slots[k])->CutBack(q);
    --m_Count;
    if (q == 0) ReleaseSlots(k, k + 1, &Block::Release);
  } else {  // the front moves
    int first = m_Offset;
    int k = first >> m_Shift;
    int q = first & Mask();
    bool emptied = ((first + 1) & Mask()) == 0;
    if (i == 0) {
      ++m_Offset;
      --m_Count;
      if (emptied) {
        ReleaseSlots(k, k + 1, &Block::Release);
      } else if (m_Slots[k]->m_UseCount != 1) {
        WritableBlock(k);
      } else {
        static_cast<Block*>(m_Slots[k])->CutFront(q);
      }
      return;
    }
    WritableRange(first, first + i);
    for (int p = first + i; p > first; --p) At(p) = At(p - 1);
    static_cast<Block*>(m_Slots[k])->CutFront(q);
    ++m_Offset;
    --m_Count;
    if (emptied) ReleaseSlots(k, k + 1, &Block::Release);
  }
}

template <class T>
T cow_List<T>::Pop() {
  if (m_Count == 0) RaiseOutOfRange(-1);
  T last(UncheckedConstGet(m_Count - 1));
  RemoveIndex(m_Count - 1);
  return last;
}

template <class T>
void cow_List<T>::Fill(int n, const T& x) {
  if (n <= m_Count) return;
  if (std::int64_t(m_Offset) + n > 0x7FFFFFFF) RaiseOutOfRange(n);
  if (*m_Counter != 1) UnshareSlots();
  int need = (m_Offset + n - 1) >> m_Shift;  // slot of the last new element
  if (need >= m_SlotCapacity) GrowSlots(std::int64_t(need) + 1);
  while (m_Count < n) Append(x);
}

template <class T>
void cow_List<T>::Concatenate(const cow_List& other) {
  cow_List source(other);  // other may be this list
  int n = source.m_Count;
  if (n == 0) return;
  if (std::int64_t(m_Count) + n > 0x7FFFFFFF) RaiseOutOfRange(n);
  Resize(m_Count + n);
  for (cow_ListIter<T> it(source); it.More(); it.Next()) Append(*it);
}

template <class T>
void cow_List<T>::SetFromArray(const T* a, int n) {
  if (n < 0) RaiseOutOfRange(n);
  cow_List fresh(cow_ListPreSize, n);
  for (int i = 0; i < n; ++i) fresh.Append(a[i]);
  *this = fresh;
}

template <class T>
cow_List<T> cow_List<T>::Slice(int from, int to) const {
  if (from < 0) from = 0;
  if (to < from) to = from;
  if (to > m_Count) to = m_Count;
  if (from > to) from = to;
  cow_List result(cow_ListPreSize, to - from);
  for (int i = from; i < to; ++i) result.Append(UncheckedConstGet(i));
  return result;
}

template <class T>
T* cow_List<T>::GetCArray(int& n) const {
  n = m_Count;
  if (m_Count == 0) return nullptr;
  T* a = static_cast<T*>(mem_Malloc(sizeof(T) * static_cast<std::size_t>(m_Count)));
  int i = 0;
  try {
    for (cow_ListIter<T> it(*this); it.More(); it.Next(), ++i) ::new (static_cast<void*>(a + i)) T(*it);
  } catch (...) {
    while (i > 0) a[--i].~T();
    mem_Free(a);
    throw;
  }
  return a;
}

template <class T>
template <class U>
int cow_List<T>::FindMember(const T& x) const {
  for (cow_ListIter<T> it(*this); it.More(); it.Next())
    if (*it == x) return it.Index();
  return -1;
}

template <class T>
template <class U>
bool cow_List<T>::IsEqual(const cow_List& other) const {
  if (m_Count != other.m_Count) return false;
  for (int i = 0; i < m_Count; ++i) {
    const T& a = UncheckedConstGet(i);
    const T& b = other.UncheckedConstGet(i);
    if (&a != &b && !(a == b)) return false;
  }
  return true;
}

template <class T>
template <class U>
cow_List<T> cow_List<T>::Difference(const cow_List& other) const {
  cow_List result;
  for (cow_ListIter<T> it(*this); it.More(); it.Next())
    if (!other.template IsMember<U>(*it)) result.Append(*it);
  return result;
}

template <class T>
template <class U>
int cow_List<T>::SortCmp(const void* a, const void* b) {
  const T& x = *static_cast<const T*>(a);
  const T& y = *static_cast<const T*>(b);
  if (x < y) return -1;
  if (x == y) return 0;
  return 1;
}

template <class T>
template <class U>
void cow_List<T>::Sort() {
  if (m_Count < 1) return;
  int n = 0;
  T* a = GetCArray(n);
  struct Guard {
    T* a;
    int n;
    ~Guard() {
      if constexpr (!std::is_trivially_destructible_v<T>)
        for (int i = 0; i < n; ++i) a[i].~T();
      mem_Free(a);
    }
  } guard{a, n};
  SortArray(a, n, sizeof(T), &SortCmp<U>);
  for (int i = 0; i < n; ++i) UncheckedGet(i) = a[i];
}

// ===== instantiations made in the library ==================================

#define COW_LIST_EXTERN_CLASSES(T)                      \
  extern template class VNKUTI_BASIC_API cow_ListBlock<T>; \
  extern template class VNKUTI_BASIC_API cow_List<T>;      \
  extern template class VNKUTI_BASIC_API cow_ListIter<T>;
#define COW_LIST_EXTERN_EQUALITY(T)                                                           \
  extern template VNKUTI_BASIC_API int cow_List<T>::FindMember<T>(const T&) const;           \
  extern template VNKUTI_BASIC_API bool cow_List<T>::IsEqual<T>(const cow_List<T>&) const;   \
  extern template VNKUTI_BASIC_API cow_List<T> cow_List<T>::Difference<T>(const cow_List<T>&) const;
#define COW_LIST_EXTERN_SORT(T)                                       \
  extern template VNKUTI_BASIC_API void cow_List<T>::Sort<T>();       \
  extern template VNKUTI_BASIC_API int cow_List<T>::SortCmp<T>(const void*, const void*);

#define COW_LIST_EXTERN_SORTABLE(T) COW_LIST_EXTERN_CLASSES(T) COW_LIST_EXTERN_EQUALITY(T) COW_LIST_EXTERN_SORT(T)
COW_LIST_EXTERN_SORTABLE(bool)
COW_LIST_EXTERN_SORTABLE(int)
COW_LIST_EXTERN_SORTABLE(unsigned int)
COW_LIST_EXTERN_SORTABLE(float)
COW_LIST_EXTERN_SORTABLE(double)
COW_LIST_EXTERN_SORTABLE(atr_String)
COW_LIST_EXTERN_SORTABLE(cow_String)
COW_LIST_EXTERN_CLASSES(cow_List<double>)
COW_LIST_EXTERN_EQUALITY(cow_List<double>)
COW_LIST_EXTERN_CLASSES(cow_List<float>)
COW_LIST_EXTERN_EQUALITY(cow_List<float>)
COW_LIST_EXTERN_CLASSES(cow_List<int>)
COW_LIST_EXTERN_EQUALITY(cow_List<int>)

#undef COW_LIST_EXTERN_SORTABLE
#undef COW_LIST_EXTERN_SORT
#undef COW_LIST_EXTERN_EQUALITY
#undef COW_LIST_EXTERN_CLASSES
