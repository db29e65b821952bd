// The type-independent half of cow_List<T> (fields, counter, slot array,
// index arithmetic) and the instantiations the library exports.
#include "cow/cow_List.h"

#include <cstdlib>
#include <cstring>

namespace {

constexpr int kDefaultShift = 4;   // 16 elements per block
constexpr int kSlotStep = 16;      // slot arrays grow in steps of 16 blocks
constexpr std::int64_t kMaxPosition = 0x7FFFFFFF;

std::int64_t RoundUpToStep(std::int64_t slots) { return (slots + kSlotStep - 1) / kSlotStep * kSlotStep; }

// The slot array's allocation holds Room(capacity) pointers: the capacity
// rounded up to a power of two. The capacity itself still moves in steps of
// 16, but the array is reallocated only when it crosses a power of two, so
// appending a block costs amortised O(1). Pointers beyond the capacity are null.
std::int64_t Room(std::int64_t capacity) {
  if (capacity == 0) return 0;
  std::int64_t room = kSlotStep;
  while (room < capacity) room <<= 1;
  return room;
}

cow_ListBlockBase** NewSlots(std::int64_t capacity) {
  std::int64_t room = Room(capacity);
  if (room == 0) return nullptr;
  auto bytes = static_cast<std::size_t>(room) * sizeof(cow_ListBlockBase*);
  auto* slots = static_cast<cow_ListBlockBase**>(mem_Malloc(bytes));
  std::memset(slots, 0, bytes);
  return slots;
}

// Reallocates to Room(capacity) pointers; the caller nulls new entries.
cow_ListBlockBase** ResizeSlots(cow_ListBlockBase** slots, std::int64_t capacity) {
  if (capacity == 0) {
    mem_Free(slots);
    return nullptr;
  }
  return static_cast<cow_ListBlockBase**>(
      mem_Realloc(slots, static_cast<std::size_t>(Room(capacity)) * sizeof(cow_ListBlockBase*)));
}

void NullSlots(cow_ListBlockBase** slots, std::int64_t from, std::int64_t to) {
  if (to > from) std::memset(slots + from, 0, static_cast<std::size_t>(to - from) * sizeof(cow_ListBlockBase*));
}

std::uint32_t* NewCounter() {
  auto* c = static_cast<std::uint32_t*>(mem_OperatorNewTinyThrow(sizeof(std::uint32_t)));
  *c = 1;
  return c;
}

// Block size and slot count Initialize(n) chooses. The block size comes from
// the binary exponent of n as a float, the slot count from its mantissa, so
// that a list for n gets about n / 2^shift blocks (8 to 16) plus 16 spare.
void ChooseLayout(int n, int& shift, int& slots) {
  shift = kDefaultShift;
  slots = 0;
  if (n == 0) return;
  float f = static_cast<float>(n);
  std::uint32_t bits;
  std::memcpy(&bits, &f, sizeof bits);
  int e = static_cast<int>((bits >> 23) & 0xFF) - 127 - 3;
  std::uint32_t mantissa = bits & 0x7FFFFF;
  if (e > kDefaultShift) {
    shift = e;
    slots = 8 + static_cast<int>((mantissa + (1u << 20) - 1) >> 20);
  }
  slots += kSlotStep;
}

}  // namespace

// ----- construction and sharing -------------------------------------------

cow_ListBase::cow_ListBase(int n)
    : m_Count(0), m_SlotCapacity(0), m_Shift(kDefaultShift), m_Offset(0), m_Counter(nullptr), m_Slots(nullptr) {
  Reinitialize(n, nullptr);
}

void cow_ListBase::Reinitialize(int n, cow_ListReleaseFn release) {
  int shift, slots;
  ChooseLayout(n, shift, slots);
  std::uint32_t* counter = NewCounter();
  cow_ListBlockBase** array;
  try {
    array = NewSlots(slots);
  } catch (...) {
    mem_Free(counter);
    throw;
  }
  Drop(release);
  m_Count = 0;
  m_SlotCapacity = slots;
  m_Shift = shift;
  m_Offset = 0;
  m_Counter = counter;
  m_Slots = array;
}

void cow_ListBase::AssignFrom(const cow_ListBase& other, cow_ListReleaseFn release) noexcept {
  // Counted and read before dropping our own, so that a = a is safe.
  ++*other.m_Counter;
  std::int32_t count = other.m_Count, capacity = other.m_SlotCapacity, shift = other.m_Shift, offset = other.m_Offset;
  std::uint32_t* counter = other.m_Counter;
  cow_ListBlockBase** slots = other.m_Slots;
  Drop(release);
  m_Count = count;
  m_SlotCapacity = capacity;
  m_Shift = shift;
  m_Offset = offset;
  m_Counter = counter;
  m_Slots = slots;
}

void cow_ListBase::Drop(cow_ListReleaseFn release) noexcept {
  if (m_Counter == nullptr) return;
  if (--*m_Counter == 0) {
    ReleaseSlots(0, m_SlotCapacity, release);
    mem_Free(m_Slots);
    mem_Free(m_Counter);
  }
  m_Counter = nullptr;
  m_Slots = nullptr;
}

void cow_ListBase::UnshareSlots() {
  cow_ListBlockBase** array = NewSlots(m_SlotCapacity);
  std::uint32_t* counter;
  try {
    counter = NewCounter();
  } catch (...) {
    mem_Free(array);
    throw;
  }
  int n = m_SlotCapacity;
  if (n > 0) std::memcpy(array, m_Slots, static_cast<std::size_t>(n) * sizeof(cow_ListBlockBase*));
  // Every block header is touched once; fetching a few ahead overlaps the
  // cache misses of a large list.
  constexpr int kAhead = 8;
  for (int k = 0; k < n; ++k) {
    if (k + kAhead < n) __builtin_prefetch(array[k + kAhead], 1);
    if (array[k]) ++array[k]->m_UseCount;
  }
  --*m_Counter;  // shared, so it stays above 0
  m_Counter = counter;
  m_Slots = array;
}

// ----- the slot array --------------------------------------------------------

void cow_ListBase::GrowSlots(std::int64_t slots) {
  if (slots <= m_SlotCapacity) return;
  std::int64_t grown = RoundUpToStep(slots);
  if (grown > kMaxPosition) RaiseOutOfRange(m_Count);
  std::int64_t oldRoom = Room(m_SlotCapacity), newRoom = Room(grown);
  if (newRoom != oldRoom) {
    m_Slots = ResizeSlots(m_Slots, grown);
    NullSlots(m_Slots, oldRoom, newRoom);
  }
  m_SlotCapacity = static_cast<std::int32_t>(grown);
}

void cow_ListBase::SetSlotCapacity(std::int64_t slots, cow_ListReleaseFn release) {
  if (slots == m_SlotCapacity) return;
  if (slots > m_SlotCapacity) return GrowSlots(slots);
  ReleaseSlots(static_cast<int>(slots), m_SlotCapacity, release);
  if (Room(slots) != Room(m_SlotCapacity)) m_Slots = ResizeSlots(m_Slots, slots);
  m_SlotCapacity = static_cast<std::int32_t>(slots);
}

void cow_ListBase::MakeFrontRoom() {
  // As many new slots as there are (at least 16), so that a run of prepends
  // moves the slot array O(log n) times; fewer if positions would overflow.
  std::int64_t room = RoundUpToStep(m_SlotCapacity < kSlotStep ? kSlotStep : m_SlotCapacity);
  std::int64_t limit = (kMaxPosition - (std::int64_t(m_Offset) + m_Count)) >> m_Shift;
  limit -= 1;  // keep one block's worth of positions clear of INT32_MAX
  if (room > limit) room = limit;
  if (room < 1) RaiseOutOfRange(-1);
  std::int64_t total = m_SlotCapacity + room;
  cow_ListBlockBase** array = m_Slots;
  if (Room(total) != Room(m_SlotCapacity)) array = ResizeSlots(m_Slots, total);
  std::memmove(array + room, array, static_cast<std::size_t>(m_SlotCapacity) * sizeof(cow_ListBlockBase*));
  NullSlots(array, 0, room);
  NullSlots(array, total, Room(total));
  m_Slots = array;
  m_SlotCapacity = static_cast<std::int32_t>(total);
  m_Offset += static_cast<std::int32_t>(room << m_Shift);
}

std::int64_t cow_ListBase::SlotsFor(int n) const noexcept {
  std::int64_t end = n == 0 ? 0 : std::int64_t(m_Offset) + n;
  std::int64_t perStep = std::int64_t(kSlotStep) << m_Shift;
  return (end + perStep - 1) / perStep * kSlotStep;
}

void cow_ListBase::ReleaseSlots(int from, int to, cow_ListReleaseFn release) noexcept {
  constexpr int kAhead = 8;  // as in UnshareSlots
  for (int k = from; k < to; ++k) {
    if (k + kAhead < to) __builtin_prefetch(m_Slots[k + kAhead], 1);
    cow_ListBlockBase* b = m_Slots[k];
    if (b == nullptr) continue;
    // A block another slot array still holds only loses a use: no call
    // through release for it (after a copy was written, that is every block).
    if (b->m_UseCount == 1)
      release(b);
    else
      --b->m_UseCount;
    m_Slots[k] = nullptr;
  }
}

void cow_ListBase::ResetEmpty(cow_ListReleaseFn release) noexcept {
  ReleaseSlots(0, m_SlotCapacity, release);
  mem_Free(m_Slots);
  m_Slots = nullptr;
  m_SlotCapacity = 0;
  m_Count = 0;
  m_Offset = 0;
  m_Shift = kDefaultShift;
}

void cow_ListBase::LiveRange(int k, int& lo, int& hi) const noexcept {
  std::int64_t start = std::int64_t(k) << m_Shift;
  std::int64_t a = m_Offset > start ? m_Offset : start;
  std::int64_t end = std::int64_t(m_Offset) + m_Count;
  std::int64_t b = end < start + (1 << m_Shift) ? end : start + (1 << m_Shift);
  if (b < a) b = a;
  lo = static_cast<int>(a - start);
  hi = static_cast<int>(b - start);
}

void cow_ListBase::RaiseOutOfRange(int) const { std::abort(); }

void cow_ListBase::SortArray(void* a, int n, std::size_t size, int (*cmp)(const void*, const void*)) {
  std::qsort(a, static_cast<std::size_t>(n), size, cmp);
}

// ----- instantiations --------------------------------------------------------

#define COW_LIST_CLASSES(T)       \
  template class cow_ListBlock<T>; \
  template class cow_List<T>;      \
  template class cow_ListIter<T>;
#define COW_LIST_EQUALITY(T)                                             \
  template int cow_List<T>::FindMember<T>(const T&) const;              \
  template bool cow_List<T>::IsEqual<T>(const cow_List<T>&) const;      \
  template cow_List<T> cow_List<T>::Difference<T>(const cow_List<T>&) const;
#define COW_LIST_SORT(T)               \
  template void cow_List<T>::Sort<T>(); \
  template int cow_List<T>::SortCmp<T>(const void*, const void*);

#define COW_LIST_SORTABLE(T) COW_LIST_CLASSES(T) COW_LIST_EQUALITY(T) COW_LIST_SORT(T)
COW_LIST_SORTABLE(bool)
COW_LIST_SORTABLE(int)
COW_LIST_SORTABLE(unsigned int)
COW_LIST_SORTABLE(float)
COW_LIST_SORTABLE(double)
COW_LIST_SORTABLE(atr_String)
COW_LIST_SORTABLE(cow_String)
COW_LIST_CLASSES(cow_List<double>)
COW_LIST_EQUALITY(cow_List<double>)
COW_LIST_CLASSES(cow_List<float>)
COW_LIST_EQUALITY(cow_List<float>)
COW_LIST_CLASSES(cow_List<int>)
COW_LIST_EQUALITY(cow_List<int>)
