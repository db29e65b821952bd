// cls_PTrie<K, V, N>: a crit-bit (radix) trie from fixed-width keys to values.
//
// A key is N 32-bit words (K must be 4 * N bytes; N = 1 for int): bit b is bit
// (b mod 32) of word (b div 32), and bits are compared from 32N - 1 down to 0.
// Internal nodes branch on one bit, leaves hold a key and its value; the bit
// indices strictly decrease from the root to the leaves, so the shape depends
// only on the set of keys and depth is at most 32N.
//
// Contract:
// - Insert answers the stored value; an existing key is overwritten.
// - ConstGetPtr answers null for an absent key. ConstGet must only be asked
//   for present keys (it does no check of its own).
// - Iteration (cls_PTrieIter) visits keys in ascending order of their words
//   taken as one unsigned bit string, so negative ints come after all others.
// - Every operation, lookups included, copies its key into the trie first:
//   a trie is not safe for concurrent use, even for reading.
// - The trie owns its nodes; Clear and the destructor destroy them. Any
//   insertion or removal ends the walks of existing iterators.
#pragma once

#include <bit>
#include <cstring>

#include "VNKUTI_BasicExport.h"
#include "cls/cls_Uid.h"
#include "mem/mem_AllocationOperators.h"

template <class K, class V, int N>
class cls_PTrie;
template <class K, class V, int N>
class cls_PTrieIter;
template <class K, class V, int N>
class cls_PTrieInternalNode;
template <class K, class V, int N>
class cls_PTrieLeafNode;

// =================================================================== nodes

template <class K, class V, int N>
class cls_PTrieNode : public mem_AllocationOperators {
 public:
  typedef cls_PTrie<K, V, N> Trie;

  virtual ~cls_PTrieNode() = default;
  virtual const V* Locate(const Trie& t, const K& key) const = 0;
  // 32N when the key is now stored, else the highest bit at which a new
  // branch is needed above this subtree.
  virtual int Insert(Trie& t, const K& key, const V& value) = 0;
  // The node that replaces this one (itself when nothing changed; null when
  // this leaf was removed).
  virtual cls_PTrieNode* Remove(Trie& t, const K& key) = 0;
  virtual int Next(cls_PTrieIter<K, V, N>& it) const = 0;

  // The branch bit of an internal node; -1 for a leaf. Lets lookups descend
  // without a virtual call per level.
  int Bit() const { return m_Bit; }

 protected:
  explicit cls_PTrieNode(int bit) : m_Bit(bit) {}
  int m_Bit;
};

template <class K, class V, int N>
class cls_PTrieInternalNode : public cls_PTrieNode<K, V, N> {
 public:
  typedef cls_PTrieNode<K, V, N> Node;
  typedef cls_PTrie<K, V, N> Trie;

  cls_PTrieInternalNode(int bit, Node* set, Node* clear) : Node(bit), m_Set(set), m_Clear(clear) {}
  ~cls_PTrieInternalNode() override {
    delete m_Set;
    delete m_Clear;
  }
  cls_PTrieInternalNode(const cls_PTrieInternalNode&) = delete;
  cls_PTrieInternalNode& operator=(const cls_PTrieInternalNode&) = delete;

  const V* Locate(const Trie& t, const K& key) const override { return Child(t)->Locate(t, key); }
  int Insert(Trie& t, const K& key, const V& value) override;
  Node* Remove(Trie& t, const K& key) override;
  int Next(cls_PTrieIter<K, V, N>& it) const override;

  Node* SetChild() const { return m_Set; }
  Node* ClearChild() const { return m_Clear; }
  Node* Child(bool set) const { return set ? m_Set : m_Clear; }

 private:
  Node* Child(const Trie& t) const { return t.KeyBit(this->m_Bit) ? m_Set : m_Clear; }
  Node* m_Set;    // keys whose bit is 1
  Node* m_Clear;  // keys whose bit is 0
};

template <class K, class V, int N>
class cls_PTrieLeafNode : public cls_PTrieNode<K, V, N> {
 public:
  typedef cls_PTrieNode<K, V, N> Node;
  typedef cls_PTrie<K, V, N> Trie;

  cls_PTrieLeafNode(const K& key, const V& value) : Node(-1), m_Key(key), m_Value(value) {}
  cls_PTrieLeafNode(const cls_PTrieLeafNode&) = delete;
  cls_PTrieLeafNode& operator=(const cls_PTrieLeafNode&) = delete;

  const V* Locate(const Trie& t, const K&) const override { return t.SameKey(m_Key) ? &m_Value : nullptr; }
  int Insert(Trie& t, const K& key, const V& value) override;
  Node* Remove(Trie& t, const K&) override {
    if (!t.SameKey(m_Key)) return this;
    --t.m_Count;
    return nullptr;
  }
  int Next(cls_PTrieIter<K, V, N>& it) const override;

  const K& Key() const { return m_Key; }
  const V& Value() const { return m_Value; }

 private:
  friend class cls_PTrie<K, V, N>;
  K m_Key;
  V m_Value;
};

// ==================================================================== trie

template <class K, class V, int N>
class cls_PTrie : public mem_AllocationOperators {
 public:
  static_assert(sizeof(K) == 4 * N, "a key is N 32-bit words");
  static constexpr int KeyBits = 32 * N;
  typedef cls_PTrieNode<K, V, N> Node;
  typedef cls_PTrieLeafNode<K, V, N> Leaf;
  typedef cls_PTrieInternalNode<K, V, N> Internal;

  cls_PTrie() = default;
  ~cls_PTrie() { Clear(); }
  cls_PTrie(const cls_PTrie&) = delete;
  cls_PTrie& operator=(const cls_PTrie&) = delete;

  // ----- accessors ------------------------------------------------------
  int Count() const { return m_Count; }
  const Node* Root() const { return m_Root; }
  const V* ConstGetPtr(const K& key) const {
    if (m_Root == nullptr) return nullptr;
    LoadKey(key);
    const Node* n = m_Root;
    while (n->Bit() >= 0) n = static_cast<const Internal*>(n)->Child(KeyBit(n->Bit()));
    const Leaf* l = static_cast<const Leaf*>(n);
    return SameKey(l->m_Key) ? &l->m_Value : nullptr;
  }
  // Only for a present key.
  const V& ConstGet(const K& key) const { return *ConstGetPtr(key); }
  // Moves it to the next leaf in key order: 1, or 0 at the end.
  int Next(cls_PTrieIter<K, V, N>& it) const;

  // ----- mutators -------------------------------------------------------
  const V& Insert(const K& key, const V& value);
  void Remove(const K& key);
  void Clear() {
    delete m_Root;
    m_Root = nullptr;
    m_Count = 0;
    m_LastLeaf = nullptr;
  }

  // ----- mechanics used by the nodes ------------------------------------
  int KeyBit(int b) const { return static_cast<int>((m_Key[b >> 5] >> (b & 31)) & 1u); }
  bool SameKey(const K& k) const {
    unsigned w[N];
    std::memcpy(w, &k, sizeof(K));
    return std::memcmp(w, m_Key, sizeof(w)) == 0;
  }
  // The highest bit in which k differs from the current key; KeyBits when equal.
  int HighestDifference(const K& k) const {
    unsigned w[N];
    std::memcpy(w, &k, sizeof(K));
    for (int i = N - 1; i >= 0; --i) {
      unsigned x = w[i] ^ m_Key[i];
      if (x != 0) return 32 * i + 31 - std::countl_zero(x);
    }
    return KeyBits;
  }
  // Makes a leaf for the current operation, counted and remembered as the
  // last leaf, and the internal node for bit that puts it beside other.
  Internal* Branch(int bit, const K& key, const V& value, Node* other) {
    Leaf* leaf = new Leaf(key, value);
    Internal* n;
    try {
      n = KeyBit(bit) ? new Internal(bit, leaf, other) : new Internal(bit, other, leaf);
    } catch (...) {
      delete leaf;
      throw;
    }
    SetItem(leaf);
    ++m_Count;
    return n;
  }
  void SetItem(Leaf* leaf) { m_LastLeaf = leaf; }

 private:
  friend class cls_PTrieLeafNode<K, V, N>;
  void LoadKey(const K& key) const { std::memcpy(m_Key, &key, sizeof(K)); }

  int m_Count = 0;
  mutable unsigned m_Key[N] = {};
  Node* m_Root = nullptr;
  Leaf* m_LastLeaf = nullptr;
};

// Walks a trie in key order:
//   cls_PTrieIter<int, V, 1> it(trie);
//   while (it.Next()) use(it.Key(), it.Value());
// A new iterator stands before the first leaf; after the last, Next answers
// 0 and keeps answering 0 until Reset. The trie must not change meanwhile.
template <class K, class V, int N>
class cls_PTrieIter {
 public:
  typedef cls_PTrieNode<K, V, N> Node;

  explicit cls_PTrieIter(const cls_PTrie<K, V, N>& trie) : m_Trie(&trie) {}
  int Next() { return m_Trie->Next(*this); }
  void Reset() {
    m_Started = false;
    m_Depth = 0;
    m_Current = nullptr;
  }
  bool HasCurrent() const { return m_Current != nullptr; }
  const K& Key() const { return m_Current->Key(); }
  const V& Value() const { return m_Current->Value(); }

  // ----- mechanics used by the trie and its nodes -----------------------
  void Push(const Node* n) { m_Stack[m_Depth++] = n; }
  void Arrive(const cls_PTrieLeafNode<K, V, N>* leaf) { m_Current = leaf; }

 private:
  friend class cls_PTrie<K, V, N>;
  const cls_PTrie<K, V, N>* m_Trie;
  bool m_Started = false;
  int m_Depth = 0;
  const Node* m_Stack[32 * N];  // set-side subtrees still to visit: one per level at most
  const cls_PTrieLeafNode<K, V, N>* m_Current = nullptr;
};

// ============================================================= definitions

template <class K, class V, int N>
int cls_PTrieInternalNode<K, V, N>::Insert(Trie& t, const K& key, const V& value) {
  Node*& child = t.KeyBit(this->m_Bit) ? m_Set : m_Clear;
  int answer = child->Insert(t, key, value);
  if (answer > this->m_Bit) return answer;  // done, or a branch above this node
  child = t.Branch(answer, key, value, child);
  return Trie::KeyBits;
}

template <class K, class V, int N>
cls_PTrieNode<K, V, N>* cls_PTrieInternalNode<K, V, N>::Remove(Trie& t, const K& key) {
  const bool set = t.KeyBit(this->m_Bit) != 0;
  Node*& child = set ? m_Set : m_Clear;
  Node* replacement = child->Remove(t, key);
  if (replacement != child) {
    delete child;  // a removed leaf, or an internal node that gave its other child away
    child = replacement;
  }
  if (replacement != nullptr) return this;
  Node*& other = set ? m_Clear : m_Set;
  Node* survivor = other;
  other = nullptr;  // this node now holds nothing and is destroyed by its parent
  return survivor;
}

template <class K, class V, int N>
int cls_PTrieInternalNode<K, V, N>::Next(cls_PTrieIter<K, V, N>& it) const {
  it.Push(m_Set);  // the clear side comes first
  return m_Clear->Next(it);
}

template <class K, class V, int N>
int cls_PTrieLeafNode<K, V, N>::Insert(Trie& t, const K&, const V& value) {
  int diff = t.HighestDifference(m_Key);
  if (diff < Trie::KeyBits) return diff;
  m_Value = value;  // an existing key is overwritten
  t.SetItem(this);
  return Trie::KeyBits;
}

template <class K, class V, int N>
int cls_PTrieLeafNode<K, V, N>::Next(cls_PTrieIter<K, V, N>& it) const {
  it.Arrive(this);
  return 1;
}

template <class K, class V, int N>
const V& cls_PTrie<K, V, N>::Insert(const K& key, const V& value) {
  LoadKey(key);
  if (m_Root == nullptr) {
    Leaf* leaf = new Leaf(key, value);
    ++m_Count;
    m_LastLeaf = leaf;
    m_Root = leaf;
    return leaf->m_Value;
  }
  int answer = m_Root->Insert(*this, key, value);
  if (answer < KeyBits) m_Root = Branch(answer, key, value, m_Root);
  return m_LastLeaf->m_Value;
}

template <class K, class V, int N>
void cls_PTrie<K, V, N>::Remove(const K& key) {
  if (m_Root == nullptr) return;
  LoadKey(key);
  Node* replacement = m_Root->Remove(*this, key);
  if (replacement != m_Root) {
    delete m_Root;
    m_Root = replacement;
  }
  m_LastLeaf = nullptr;  // it may have been the leaf just removed
}

template <class K, class V, int N>
int cls_PTrie<K, V, N>::Next(cls_PTrieIter<K, V, N>& it) const {
  it.m_Current = nullptr;
  if (!it.m_Started) {
    it.m_Started = true;
    it.m_Depth = 0;
    return m_Root ? m_Root->Next(it) : 0;
  }
  if (it.m_Depth == 0) return 0;
  const Node* n = it.m_Stack[--it.m_Depth];
  return n->Next(it);
}

extern template class VNKUTI_BASIC_API cls_PTrieNode<int, cls_Uid, 1>;
extern template class VNKUTI_BASIC_API cls_PTrieInternalNode<int, cls_Uid, 1>;
extern template class VNKUTI_BASIC_API cls_PTrieLeafNode<int, cls_Uid, 1>;
extern template class VNKUTI_BASIC_API cls_PTrie<int, cls_Uid, 1>;
extern template class VNKUTI_BASIC_API cls_PTrieIter<int, cls_Uid, 1>;
