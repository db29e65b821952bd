// cow_Btree<K, V>: the copy-on-write ordered map, a height-balanced keyed
// tree shared between copies and copied before the first write.
//
// Contract:
// - Copies are O(1) and share one tree through a plain use count (Part of the
//   cow_ family: a map and all its copies belong to one thread at a time).
// - Members marked "detaches" copy a shared tree first; the others never
//   copy. A removal of an absent key does not detach.
// - Find() answers the map's default value for an absent key (fixed at
//   construction); FindPtr() answers null.
// - cow_BtreeIterator keeps a shared copy of the map, so the map may change
//   while it is walked: the walk sees the entries as they were at its start.
// The tree itself is omi_Btree (nodes from the library's allocator).
#pragma once

#include "VNKUTI_BasicExport.h"
#include "cow/cow_COW.h"
#include "cow/cow_List.h"
#include "cow/cow_String.h"
#include "omi/omi_Btree.h"

template <class K, class V>
class cow_Btree {
 public:
  typedef omi_Btree<K, V> Tree;

  // ----- constructors ---------------------------------------------------
  cow_Btree() : m_Rep(new Tree()) {}
  explicit cow_Btree(const V& defaultValue) : m_Rep(new Tree(defaultValue)) {}
  cow_Btree(const cow_Btree&) noexcept = default;
  cow_Btree& operator=(const cow_Btree&) noexcept = default;

  // ----- accessors (never detach) ---------------------------------------
  int Count() const { return m_Rep.ConstGet().Count(); }
  bool IsEmpty() const { return Count() == 0; }
  bool IsPresent(const K& key) const { return m_Rep.ConstGet().IsPresent(key); }
  const V& Find(const K& key) const { return m_Rep.ConstGet().Find(key); }
  const V* FindPtr(const K& key) const { return m_Rep.ConstGet().FindPtr(key); }
  const V& Default() const { return m_Rep.ConstGet().Default(); }
  const Tree& ConstGetTree() const { return m_Rep.ConstGet(); }
  bool IsShared() const { return !m_Rep.Exclusive(); }

  // ----- mutators (each detaches) ---------------------------------------
  // Enters key with value; a present key keeps its value and the answer is false.
  bool Insert(const K& key, const V& value) { return m_Rep.Get().Insert(key, value); }
  // Enters or replaces.
  V& Set(const K& key, const V& value) { return m_Rep.Get().Set(key, value); }
  // Detaches only when key is present.
  bool Remove(const K& key) { return IsPresent(key) && m_Rep.Get().Remove(key); }
  void Clear() {
    if (!IsEmpty()) m_Rep.Get().Clear();
  }

 private:
  cow_COW<Tree, cow_Direct<Tree>> m_Rep;  // never null
};

// Equal when both hold the same keys with equal values (defaults are not compared).
template <class K, class V>
bool operator==(const cow_Btree<K, V>& a, const cow_Btree<K, V>& b) {
  if (&a.ConstGetTree() == &b.ConstGetTree()) return true;
  if (a.Count() != b.Count()) return false;
  omi_BtreeIterator<K, V> i(a.ConstGetTree()), j(b.ConstGetTree());
  for (; i.More(); i.Next(), j.Next()) {
    if (i.Key() < j.Key() || j.Key() < i.Key() || !(i.Value() == j.Value())) return false;
  }
  return true;
}
template <class K, class V>
bool operator!=(const cow_Btree<K, V>& a, const cow_Btree<K, V>& b) {
  return !(a == b);
}

// Ascending walk over a snapshot of the map:
//   for (cow_BtreeIterator<K, V> it(map); it.More(); it.Next()) use(it.Key(), it.Value());
template <class K, class V>
class cow_BtreeIterator {
 public:
  explicit cow_BtreeIterator(const cow_Btree<K, V>& map) : m_Map(map), m_Iter(m_Map.ConstGetTree()) {}
  void First() { m_Iter.First(); }
  bool More() const { return m_Iter.More(); }
  void Next() { m_Iter.Next(); }
  const K& Key() const { return m_Iter.Key(); }
  const V& Value() const { return m_Iter.Value(); }

 private:
  cow_Btree<K, V> m_Map;  // shares the tree: later writes to the original detach from it
  omi_BtreeIterator<K, V> m_Iter;
};

extern template class VNKUTI_BASIC_API omi_Btree<cow_String, unsigned int>;
extern template class VNKUTI_BASIC_API omi_Btree<cow_String, int>;
extern template class VNKUTI_BASIC_API omi_Btree<int, int>;
extern template class VNKUTI_BASIC_API omi_BtreeIterator<cow_String, unsigned int>;
extern template class VNKUTI_BASIC_API omi_BtreeIterator<cow_String, int>;
extern template class VNKUTI_BASIC_API omi_BtreeIterator<int, int>;
extern template class VNKUTI_BASIC_API cow_Btree<cow_String, unsigned int>;
extern template class VNKUTI_BASIC_API cow_Btree<cow_String, int>;
extern template class VNKUTI_BASIC_API cow_Btree<int, int>;
extern template class VNKUTI_BASIC_API cow_BtreeIterator<cow_String, unsigned int>;
extern template class VNKUTI_BASIC_API cow_BtreeIterator<cow_String, int>;
extern template class VNKUTI_BASIC_API cow_BtreeIterator<int, int>;
// Lists of maps (cow_List<cow_Btree<int, int>>) are part of the promised set.
extern template class VNKUTI_BASIC_API cow_ListBlock<cow_Btree<int, int>>;
extern template class VNKUTI_BASIC_API cow_List<cow_Btree<int, int>>;
extern template class VNKUTI_BASIC_API cow_ListIter<cow_Btree<int, int>>;
extern template VNKUTI_BASIC_API int cow_List<cow_Btree<int, int>>::FindMember<cow_Btree<int, int>>(
    const cow_Btree<int, int>&) const;
extern template VNKUTI_BASIC_API bool cow_List<cow_Btree<int, int>>::IsEqual<cow_Btree<int, int>>(
    const cow_List<cow_Btree<int, int>>&) const;
