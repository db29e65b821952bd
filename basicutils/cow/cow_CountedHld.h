// cow_CountedHld<T>: a counted holder of one heap object.
//
// Two fields: a pointer to a separately allocated 32-bit use count shared by
// all holders of the object, and a pointer to the object (may be null). A
// holder always has a counter; a fresh one starts at 1. Counts are plain
// integers: a holder and every holder sharing its object belong to one thread
// at a time.
#pragma once

#include <cstdint>

#include "VNKUTI_BasicExport.h"
#include "mem/mem_Alloc.h"

namespace cow_internal {
inline std::uint32_t* NewCounter() {
  auto* c = static_cast<std::uint32_t*>(mem_OperatorNewTinyThrow(sizeof(std::uint32_t)));
  *c = 1;
  return c;
}
}  // namespace cow_internal

template <class T>
class cow_CountedHld {
 public:
  // ----- constructors ---------------------------------------------------
  explicit cow_CountedHld(T* p = nullptr) : m_Counter(cow_internal::NewCounter()), m_Referent(p) {}
  cow_CountedHld(const cow_CountedHld& other) noexcept : m_Counter(other.m_Counter), m_Referent(other.m_Referent) {
    ++*m_Counter;
  }
  ~cow_CountedHld() { DropReference(); }

  // Shares other's object. The source is counted first, so h = h is safe.
  cow_CountedHld& operator=(const cow_CountedHld& other) noexcept {
    ++*other.m_Counter;
    DropReference();
    m_Counter = other.m_Counter;
    m_Referent = other.m_Referent;
    return *this;
  }

  // Adopts p. The only holder deletes its old object and keeps its counter;
  // a sharing holder leaves the object to the others and takes a new counter.
  cow_CountedHld& operator=(T* p) {
    if (*m_Counter == 1) {
      if (m_Referent != p) DeleteReferent();
    } else {
      std::uint32_t* fresh = cow_internal::NewCounter();  // may throw: nothing changed yet
      --*m_Counter;
      m_Counter = fresh;
    }
    m_Referent = p;
    return *this;
  }

  // ----- accessors ------------------------------------------------------
  T* GetPtr() const noexcept { return m_Referent; }
  const T& GetRef() const noexcept { return *m_Referent; }
  bool Exclusive() const noexcept { return *m_Counter == 1; }
  std::uint32_t UseCount() const noexcept { return *m_Counter; }

 protected:
  void DeleteReferent() noexcept {
    delete m_Referent;
    m_Referent = nullptr;
  }
  void Delete() noexcept {
    DeleteReferent();
    mem_Free(m_Counter);
    m_Counter = nullptr;
  }
  void DropReference() noexcept {
    if (m_Counter && --*m_Counter == 0) Delete();
  }

  std::uint32_t* m_Counter;
  T* m_Referent;
};

extern template class VNKUTI_BASIC_API cow_CountedHld<int>;
