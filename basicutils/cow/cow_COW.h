// cow_COW<T, Policy>: a counted holder that copies its object before a write.
//
// ConstGet() reads and never copies; Get() makes the object this handle's own
// (copying it with Policy::Copy when it is shared) and returns it. Copies of a
// handle are O(1). Policies: cow_Direct<T> copy-constructs, cow_Virtual<T>
// calls the object's virtual Copy() (class trees such as the exceptions).
#pragma once

#include "cow/cow_CountedHld.h"

template <class T>
struct cow_Direct {
  static T* Copy(const T& t) { return new T(t); }
};

template <class T>
struct cow_Virtual {
  static T* Copy(const T& t) { return t.Copy(); }
};

template <class T, class Policy = cow_Direct<T>>
class cow_COW : public cow_CountedHld<T> {
  typedef cow_CountedHld<T> Base;

 public:
  // ----- constructors ---------------------------------------------------
  explicit cow_COW(T* p = nullptr) : Base(p) {}
  explicit cow_COW(const T& t) : Base(nullptr) { this->m_Referent = Policy::Copy(t); }
  cow_COW(const cow_COW& other) noexcept : Base(other) {}
  cow_COW& operator=(const cow_COW& other) noexcept {
    Base::operator=(other);
    return *this;
  }
  cow_COW& operator=(T* p) {
    Base::operator=(p);
    return *this;
  }

  // ----- accessors (never copy) -----------------------------------------
  const T& ConstGet() const noexcept { return *this->m_Referent; }
  bool HasValue() const noexcept { return this->m_Referent != nullptr; }

  // ----- mutator: unshares ----------------------------------------------
  T& Get() {
    if (*this->m_Counter != 1) Base::operator=(Policy::Copy(*this->m_Referent));
    return *this->m_Referent;
  }
};

extern template class VNKUTI_BASIC_API cow_COW<int, cow_Direct<int>>;
