// cow_2DArray<T>: a rectangular array of rows and columns with shared,
// copy-on-write storage.
//
// The array is a cow_COW handle over a cow_2DArrayRep<T>: rows, columns, then
// a pointer to rows x columns elements allocated with mem_Malloc in row-major
// order (row r, column c at r * columns + c); no storage when either
// dimension is 0. Copies share the representation; the first write through
// Get() of a shared array copies it.
//
// Element access. ConstGet(r, c) reads and never copies; Get(r, c) and
// Set(r, c, v) unshare first. Row() gives the start of a row, so that a row
// can be read as a plain C array. Indexes outside the shape are programming
// errors: builds without NDEBUG write "cow_2DArray row: index <r> out of
// range [0, <rows>)" (or "cow_2DArray column: ...") to aio_cerr() and abort;
// release builds do not check.
//
// Contents. Plain element types start unset, class types default-constructed
// (see cow_FixedArray.h). Negative dimensions count as 0.
#pragma once

#include "cow/cow_FixedArray.h"

// ===== representation =======================================================

template <class T>
class cow_2DArrayRep : public mem_AllocationOperators {
 public:
  // Storage for rows x columns elements, or none if either is 0.
  cow_2DArrayRep(int rows, int columns)
      : m_Rows(rows > 0 ? rows : 0), m_Columns(columns > 0 ? columns : 0), m_Elements(nullptr) {
    if (m_Rows == 0 || m_Columns == 0) return;
    const std::size_t n = Count();
    T* p = static_cast<T*>(cow_ArrayStorage::Allocate(n, sizeof(T)));
    try {
      cow_ArrayStorage::Construct(p, n);
    } catch (...) {
      mem_Free(p);
      throw;
    }
    m_Elements = p;
  }
  // Same shape, elements copied row by row (the rows lie back to back, so
  // this is one pass in storage order).
  cow_2DArrayRep(const cow_2DArrayRep& o) : m_Rows(o.m_Rows), m_Columns(o.m_Columns), m_Elements(nullptr) {
    if (o.m_Elements == nullptr) return;
    T* p = static_cast<T*>(cow_ArrayStorage::Allocate(Count(), sizeof(T)));
    try {
      cow_ArrayStorage::CopyConstruct(p, o.m_Elements, Count());
    } catch (...) {
      mem_Free(p);
      throw;
    }
    m_Elements = p;
  }
  cow_2DArrayRep& operator=(const cow_2DArrayRep&) = delete;
  ~cow_2DArrayRep() {
    if (m_Elements) cow_ArrayStorage::Destroy(m_Elements, Count());
    mem_Free(m_Elements);
  }

  // Same shape and equal elements.
  bool operator==(const cow_2DArrayRep& o) const {
    if (m_Rows != o.m_Rows || m_Columns != o.m_Columns) return false;
    const std::size_t n = m_Elements ? Count() : 0;
    for (std::size_t i = 0; i < n; ++i) {
      if (!(m_Elements[i] == o.m_Elements[i])) return false;
    }
    return true;
  }

  int Rows() const noexcept { return m_Rows; }
  int Columns() const noexcept { return m_Columns; }
  // rows x columns, as a size (it may exceed an int).
  std::size_t Count() const noexcept { return static_cast<std::size_t>(m_Rows) * static_cast<std::size_t>(m_Columns); }
  T* Data() noexcept { return m_Elements; }
  const T* Data() const noexcept { return m_Elements; }

 private:
  int m_Rows;
  int m_Columns;
  T* m_Elements;
};

// ===== the array ===========================================================

template <class T>
class cow_2DArray : public cow_COW<cow_2DArrayRep<T>, cow_Direct<cow_2DArrayRep<T>>> {
  typedef cow_COW<cow_2DArrayRep<T>, cow_Direct<cow_2DArrayRep<T>>> Handle;

 public:
  typedef cow_2DArrayRep<T> Rep;

  // ----- constructors ---------------------------------------------------
  // That shape, contents unset (plain types).
  cow_2DArray(int rows, int columns) : Handle(new Rep(rows, columns)) {}
  // That shape, every element x, set row by row through the handle's Get().
  cow_2DArray(int rows, int columns, const T& x) : Handle(new Rep(rows, columns)) {
    Rep& r = Handle::Get();
    for (int i = 0; i < r.Rows(); ++i) {
      T* row = r.Data() + static_cast<std::size_t>(i) * static_cast<std::size_t>(r.Columns());
      for (int j = 0; j < r.Columns(); ++j) row[j] = x;
    }
  }
  cow_2DArray(const cow_2DArray&) noexcept = default;
  cow_2DArray& operator=(const cow_2DArray&) noexcept = default;
  ~cow_2DArray() = default;

  bool operator==(const cow_2DArray& o) const { return Handle::ConstGet() == o.ConstGet(); }
  bool operator!=(const cow_2DArray& o) const { return !(*this == o); }

  // ----- accessors (never copy) -----------------------------------------
  using Handle::ConstGet;
  int Rows() const noexcept { return Handle::ConstGet().Rows(); }
  int Columns() const noexcept { return Handle::ConstGet().Columns(); }
  std::size_t Count() const noexcept { return Handle::ConstGet().Count(); }
  const T& ConstGet(int r, int c) const { return Handle::ConstGet().Data()[Index(r, c)]; }
  // Row r's Columns() elements.
  const T* ConstRow(int r) const { return Handle::ConstGet().Data() + Index(r, 0, true); }
  // All elements in row-major order; null when the array holds none.
  const T* ConstData() const noexcept { return Handle::ConstGet().Data(); }

  // ----- mutators (unshare) ---------------------------------------------
  using Handle::Get;
  T& Get(int r, int c) {
    const std::size_t at = Index(r, c);
    return Handle::Get().Data()[at];
  }
  void Set(int r, int c, const T& v) { Get(r, c) = v; }
  T* Row(int r) {
    const std::size_t at = Index(r, 0, true);
    return Handle::Get().Data() + at;
  }
  T* Data() { return Handle::Get().Data(); }

 private:
  std::size_t Index(int r, int c, bool rowOnly = false) const {
#ifndef NDEBUG
    if (static_cast<unsigned>(r) >= static_cast<unsigned>(Rows()))
      cow_ArrayStorage::RaiseOutOfRange("cow_2DArray row", r, Rows());
    if (!rowOnly && static_cast<unsigned>(c) >= static_cast<unsigned>(Columns()))
      cow_ArrayStorage::RaiseOutOfRange("cow_2DArray column", c, Columns());
#else
    (void)rowOnly;
#endif
    return static_cast<std::size_t>(r) * static_cast<std::size_t>(Columns()) + static_cast<std::size_t>(c);
  }
};

// ===== instances ============================================================

#define COW_2D_ARRAY_TEMPLATES_(PREFIX, API, T)                                        \
  PREFIX template class API cow_2DArrayRep<T>;                                        \
  PREFIX template class API cow_CountedHld<cow_2DArrayRep<T>>;                        \
  PREFIX template class API cow_COW<cow_2DArrayRep<T>, cow_Direct<cow_2DArrayRep<T>>>; \
  PREFIX template class API cow_2DArray<T>;

COW_2D_ARRAY_TEMPLATES_(extern, VNKUTI_BASIC_API, int)
COW_2D_ARRAY_TEMPLATES_(extern, VNKUTI_BASIC_API, float)
COW_2D_ARRAY_TEMPLATES_(extern, VNKUTI_BASIC_API, double)
COW_2D_ARRAY_TEMPLATES_(extern, VNKUTI_BASIC_API, cow_String)
