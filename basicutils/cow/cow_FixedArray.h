// cow_FixedArray<T>: a one-dimensional array whose length is set when it is
// made, with shared, copy-on-write storage.
//
// The array is a cow_COW handle over a cow_FixedArrayRep<T> (length, then a
// pointer to the elements, allocated with mem_Malloc). Copies share the
// representation; the first write through Get() of a shared array copies it
// (cow_Direct policy), so a change to a copy never shows in the original.
//
// Element access. ConstGet(i) and operator[] read and never copy; Get(i) and
// Set(i, v) unshare first. An index outside [0, Length()) is a programming
// error: builds without NDEBUG write "cow_FixedArray: index <i> out of range
// [0, <n>)" to aio_cerr() and abort (as list indexes do); release builds do
// not check. A reference from Get(i) or ConstGet(i) stays valid until the
// array is next assigned or written through one of its copies.
//
// Contents. A new representation of a plain type (int, float, double) holds
// whatever the allocator left: write before reading. Class types (cow_String)
// start default-constructed, because their assignment needs a live object.
// A negative length counts as 0.
//
// Threads: counts are plain integers; an array and its copies belong to one
// thread at a time.
#pragma once

#include <cstddef>
#include <new>
#include <type_traits>

#include "VNKUTI_BasicExport.h"
#include "cow/cow_COW.h"
#include "cow/cow_Map.h"
#include "cow/cow_String.h"
#include "mem/mem_Alloc.h"
#include "mem/mem_AllocationOperators.h"

// ===== the type-independent part ===========================================

class VNKUTI_BASIC_API cow_ArrayStorage {
 public:
  // Storage for n elements of the given size; null for n <= 0. Sizes that
  // do not fit the address space fail like any exhausted allocation.
  static void* Allocate(std::size_t count, std::size_t size);
  // Ends the process: an index was out of range (checked builds only).
  [[noreturn]] static void RaiseOutOfRange(const char* array, long long index, long long limit);
  // Placement construction and destruction of n elements of a class type.
  template <class T>
  static void Construct(T* p, std::size_t n) {
    if constexpr (!std::is_trivially_default_constructible_v<T>) {
      std::size_t i = 0;
      try {
        for (; i < n; ++i) ::new (static_cast<void*>(p + i)) T();
      } catch (...) {
        Destroy(p, i);
        throw;
      }
    }
  }
  template <class T>
  static void CopyConstruct(T* p, const T* from, std::size_t n) {
    std::size_t i = 0;
    try {
      for (; i < n; ++i) ::new (static_cast<void*>(p + i)) T(from[i]);
    } catch (...) {
      Destroy(p, i);
      throw;
    }
  }
  template <class T>
  static void Destroy(T* p, std::size_t n) noexcept {
    if constexpr (!std::is_trivially_destructible_v<T>) {
      for (std::size_t i = 0; i < n; ++i) p[i].~T();
    }
  }
};

// ===== representation =======================================================

template <class T>
class cow_FixedArrayRep : public mem_AllocationOperators {
 public:
  // ----- constructors ---------------------------------------------------
  // Storage for n elements; plain types are left unset.
  explicit cow_FixedArrayRep(int n) : m_Length(n > 0 ? n : 0), m_Elements(nullptr) {
    T* p = static_cast<T*>(cow_ArrayStorage::Allocate(static_cast<std::size_t>(m_Length), sizeof(T)));
    try {
      cow_ArrayStorage::Construct(p, static_cast<std::size_t>(m_Length));
    } catch (...) {
      mem_Free(p);
      throw;
    }
    m_Elements = p;
  }
  // Same length, elements copied one by one.
  cow_FixedArrayRep(const cow_FixedArrayRep& o) : m_Length(o.m_Length), m_Elements(CopyOf(o)) {}
  // a = a does nothing; otherwise the new copy is made before the old
  // storage goes, so a failing copy leaves *this unchanged.
  cow_FixedArrayRep& operator=(const cow_FixedArrayRep& o) {
    if (this == &o) return *this;
    T* p = CopyOf(o);
    Release();
    m_Length = o.m_Length;
    m_Elements = p;
    return *this;
  }
  ~cow_FixedArrayRep() { Release(); }

  // ----- comparison: lengths first, then element by element --------------
  bool operator==(const cow_FixedArrayRep& o) const {
    if (m_Length != o.m_Length) return false;
    for (int i = 0; i < m_Length; ++i) {
      if (!(m_Elements[i] == o.m_Elements[i])) return false;
    }
    return true;
  }
  bool operator!=(const cow_FixedArrayRep& o) const { return !(*this == o); }

  // ----- accessors ------------------------------------------------------
  int Length() const noexcept { return m_Length; }
  T* Data() noexcept { return m_Elements; }
  const T* Data() const noexcept { return m_Elements; }

 private:
  static T* CopyOf(const cow_FixedArrayRep& o) {
    T* p = static_cast<T*>(cow_ArrayStorage::Allocate(static_cast<std::size_t>(o.m_Length), sizeof(T)));
    try {
      cow_ArrayStorage::CopyConstruct(p, o.m_Elements, static_cast<std::size_t>(o.m_Length));
    } catch (...) {
      mem_Free(p);
      throw;
    }
    return p;
  }
  void Release() noexcept {
    if (m_Elements) cow_ArrayStorage::Destroy(m_Elements, static_cast<std::size_t>(m_Length));
    mem_Free(m_Elements);
    m_Elements = nullptr;
  }

  int m_Length;
  T* m_Elements;
};

// ===== the array ===========================================================

template <class T>
class cow_FixedArray : public cow_COW<cow_FixedArrayRep<T>, cow_Direct<cow_FixedArrayRep<T>>> {
  typedef cow_COW<cow_FixedArrayRep<T>, cow_Direct<cow_FixedArrayRep<T>>> Handle;

 public:
  typedef cow_FixedArrayRep<T> Rep;
  static constexpr int DefaultLength = 10;

  // ----- constructors ---------------------------------------------------
  // Length 10, contents unset (plain types).
  cow_FixedArray() : Handle(new Rep(DefaultLength)) {}
  // Length n, every element x (written through the handle's Get()).
  cow_FixedArray(int n, const T& x) : Handle(new Rep(n)) {
    Rep& r = Handle::Get();
    for (int i = 0; i < r.Length(); ++i) r.Data()[i] = x;
  }
  // Share the representation.
  cow_FixedArray(const cow_FixedArray&) noexcept = default;
  cow_FixedArray& operator=(const cow_FixedArray&) noexcept = default;
  ~cow_FixedArray() = default;

  bool operator==(const cow_FixedArray& o) const { return Handle::ConstGet() == o.ConstGet(); }
  bool operator!=(const cow_FixedArray& o) const { return !(*this == o); }

  // ----- accessors (never copy) -----------------------------------------
  using Handle::ConstGet;
  int Length() const noexcept { return Handle::ConstGet().Length(); }
  const T& ConstGet(int i) const {
    Check(i);
    return Handle::ConstGet().Data()[i];
  }
  const T& operator[](int i) const { return ConstGet(i); }
  // The elements in order; null for length 0.
  const T* ConstData() const noexcept { return Handle::ConstGet().Data(); }

  // ----- mutators (unshare) ---------------------------------------------
  using Handle::Get;
  T& Get(int i) {
    Check(i);
    return Handle::Get().Data()[i];
  }
  void Set(int i, const T& v) { Get(i) = v; }
  T* Data() { return Handle::Get().Data(); }

 private:
  void Check(int i) const {
#ifndef NDEBUG
    if (static_cast<unsigned>(i) >= static_cast<unsigned>(Length()))
      cow_ArrayStorage::RaiseOutOfRange("cow_FixedArray", i, Length());
#else
    (void)i;
#endif
  }
};

// ===== instances ============================================================

#define COW_FIXED_ARRAY_TEMPLATES_(PREFIX, API, T)                                           \
  PREFIX template class API cow_FixedArrayRep<T>;                                           \
  PREFIX template class API cow_CountedHld<cow_FixedArrayRep<T>>;                           \
  PREFIX template class API cow_COW<cow_FixedArrayRep<T>, cow_Direct<cow_FixedArrayRep<T>>>; \
  PREFIX template class API cow_FixedArray<T>;

COW_FIXED_ARRAY_TEMPLATES_(extern, VNKUTI_BASIC_API, int)
COW_FIXED_ARRAY_TEMPLATES_(extern, VNKUTI_BASIC_API, float)
COW_FIXED_ARRAY_TEMPLATES_(extern, VNKUTI_BASIC_API, double)
COW_FIXED_ARRAY_TEMPLATES_(extern, VNKUTI_BASIC_API, cow_String)

// Maps whose values are fixed arrays.
COW_MAP_EXTERN_TEMPLATES(cow_String, cow_FixedArray<double>)
COW_MAP_EXTERN_TEMPLATES(cow_String, cow_FixedArray<int>)
COW_MAP_EXTERN_TEMPLATES(int, cow_FixedArray<double>)
COW_MAP_EXTERN_TEMPLATES(int, cow_FixedArray<int>)
