// omi_Btree<K, V>: an ordered map from keys to values, kept as a
// height-balanced (AVL) binary tree whose nodes come from the library's
// allocator.
//
// Contract:
// - Keys are ordered by K's operator<; two keys are equal when neither is
//   less than the other.
// - Find() never fails: an absent key answers the tree's default value, which
//   is fixed at construction. FindPtr() answers null instead.
// - omi_BtreeIterator visits the entries in ascending key order. Any insertion
//   or removal invalidates the iterators of that tree.
// - Copying copies every node; assignment gives the strong guarantee.
// - A tree belongs to one thread at a time; several threads may read a tree
//   that nobody changes.
// Depth is at most 1.44 log2(n + 2), so lookups, insertions and removals take
// O(log n) comparisons. The balancing code depends on no template parameter
// and is compiled once (omi_BtreeUtils, impl/omi_Btree.cpp).
#pragma once

#include "VNKUTI_BasicExport.h"
#include "mem/mem_AllocationOperators.h"

// The links of one node; the key and value live in the derived node.
struct omi_BtreeLink {
  omi_BtreeLink* m_Left = nullptr;
  omi_BtreeLink* m_Right = nullptr;
  int m_Height = 1;  // of the subtree rooted here; a leaf is 1
};

// Structural operations shared by every instantiation. A path is the chain of
// link slots from the root slot down: path[0] is the address of the root
// pointer and path[i + 1] is &(*path[i])->m_Left or &(*path[i])->m_Right.
class VNKUTI_BASIC_API omi_BtreeUtils {
 public:
  // Deeper than any AVL tree that fits in memory (2^32 nodes need 46).
  static constexpr int MaxDepth = 64;

  // *path[depth] has just received a new leaf: restores balance above it.
  static void AfterInsert(omi_BtreeLink** path[], int depth);
  // Takes the node *path[depth] out of the tree, restores balance and returns
  // the node (the caller destroys it). path must have room for MaxDepth slots:
  // the walk to the node's successor extends it.
  static omi_BtreeLink* Unlink(omi_BtreeLink** path[], int depth);
};

// In-order walk over links, with an explicit stack (nodes carry no parent).
class VNKUTI_BASIC_API omi_BtreeWalk {
 public:
  omi_BtreeWalk() = default;
  void Start(const omi_BtreeLink* root);
  void Advance();
  const omi_BtreeLink* Current() const { return m_Current; }

 private:
  void PushLeft(const omi_BtreeLink* n);
  const omi_BtreeLink* m_Stack[omi_BtreeUtils::MaxDepth] = {};
  int m_Depth = 0;
  const omi_BtreeLink* m_Current = nullptr;
};

template <class K, class V>
struct omi_BtreeNode : omi_BtreeLink, mem_AllocationOperators {
  omi_BtreeNode(const K& key, const V& value) : m_Key(key), m_Value(value) {}
  K m_Key;
  V m_Value;
};

template <class K, class V>
class omi_BtreeIterator;

template <class K, class V>
class omi_Btree : public mem_AllocationOperators {
 public:
  typedef omi_BtreeNode<K, V> Node;
  typedef omi_BtreeIterator<K, V> Iterator;

  // ----- constructors ---------------------------------------------------
  omi_Btree() : m_Default() {}
  explicit omi_Btree(const V& defaultValue) : m_Default(defaultValue) {}
  omi_Btree(const omi_Btree& other) : m_Default(other.m_Default) {
    m_Root = Clone(other.m_Root);
    m_Count = other.m_Count;
  }
  omi_Btree& operator=(const omi_Btree& other) {
    if (this != &other) {
      omi_Btree copy(other);  // may throw: this tree is untouched until the swap
      Swap(copy);
    }
    return *this;
  }
  ~omi_Btree() { Destroy(m_Root); }

  // ----- accessors ------------------------------------------------------
  int Count() const { return m_Count; }
  bool IsEmpty() const { return m_Count == 0; }
  bool IsPresent(const K& key) const { return FindNode(key) != nullptr; }
  // The value stored under key, or the default value.
  const V& Find(const K& key) const {
    const Node* n = FindNode(key);
    return n ? n->m_Value : m_Default;
  }
  const V* FindPtr(const K& key) const {
    const Node* n = FindNode(key);
    return n ? &n->m_Value : nullptr;
  }
  V* FindPtr(const K& key) {
    Node* n = const_cast<Node*>(FindNode(key));
    return n ? &n->m_Value : nullptr;
  }
  const V& Default() const { return m_Default; }
  // The root's links, for code that inspects the shape (tests, diagnostics).
  const omi_BtreeLink* RootLink() const { return m_Root; }

  // ----- mutators -------------------------------------------------------
  // Enters key with value. A present key keeps its value; the answer is then
  // false.
  bool Insert(const K& key, const V& value) {
    bool added = false;
    Place(key, value, false, added);
    return added;
  }
  // Enters key with value, replacing the value of a present key.
  V& Set(const K& key, const V& value) {
    bool added = false;
    return Place(key, value, true, added);
  }
  // Takes key out; false when it was absent.
  bool Remove(const K& key) {
    omi_BtreeLink** path[omi_BtreeUtils::MaxDepth];
    const int depth = Descend(key, path);
    if (*path[depth] == nullptr) return false;
    delete static_cast<Node*>(omi_BtreeUtils::Unlink(path, depth));
    --m_Count;
    return true;
  }
  void Clear() {
    Destroy(m_Root);
    m_Root = nullptr;
    m_Count = 0;
  }
  void Swap(omi_Btree& other) {
    omi_BtreeLink* r = m_Root;
    m_Root = other.m_Root;
    other.m_Root = r;
    int c = m_Count;
    m_Count = other.m_Count;
    other.m_Count = c;
    V d(m_Default);
    m_Default = other.m_Default;
    other.m_Default = d;
  }

 private:
  friend class omi_BtreeIterator<K, V>;

  const Node* FindNode(const K& key) const {
    const omi_BtreeLink* l = m_Root;
    while (l != nullptr) {
      const Node* n = static_cast<const Node*>(l);
      if (key < n->m_Key) {
        l = n->m_Left;
      } else if (n->m_Key < key) {
        l = n->m_Right;
      } else {
        return n;
      }
    }
    return nullptr;
  }

  // Records in path the links from the root down to key's place and answers
  // the depth of the last: *path[depth] is key's node, or null where key
  // would go. path has room for MaxDepth slots.
  int Descend(const K& key, omi_BtreeLink** path[]) {
    int depth = 0;
    path[0] = &m_Root;
    while (*path[depth] != nullptr) {
      Node* n = static_cast<Node*>(*path[depth]);
      if (key < n->m_Key) {
        path[depth + 1] = &n->m_Left;
      } else if (n->m_Key < key) {
        path[depth + 1] = &n->m_Right;
      } else {
        break;
      }
      ++depth;
    }
    return depth;
  }

  V& Place(const K& key, const V& value, bool replace, bool& added) {
    omi_BtreeLink** path[omi_BtreeUtils::MaxDepth];
    const int depth = Descend(key, path);
    if (*path[depth] != nullptr) {
      Node* n = static_cast<Node*>(*path[depth]);
      if (replace) n->m_Value = value;
      return n->m_Value;
    }
    Node* fresh = new Node(key, value);
    *path[depth] = fresh;
    ++m_Count;
    added = true;
    omi_BtreeUtils::AfterInsert(path, depth);
    return fresh->m_Value;
  }

  static omi_BtreeLink* Clone(const omi_BtreeLink* l) {
    if (l == nullptr) return nullptr;
    const Node* n = static_cast<const Node*>(l);
    Node* c = new Node(n->m_Key, n->m_Value);
    try {
      c->m_Left = Clone(n->m_Left);
      c->m_Right = Clone(n->m_Right);
    } catch (...) {
      Destroy(c);
      throw;
    }
    c->m_Height = n->m_Height;
    return c;
  }

  static void Destroy(omi_BtreeLink* l) {
    while (l != nullptr) {  // loop on the right, recurse on the left: depth stays O(log n)
      Destroy(l->m_Left);
      omi_BtreeLink* r = l->m_Right;
      delete static_cast<Node*>(l);
      l = r;
    }
  }

  omi_BtreeLink* m_Root = nullptr;
  int m_Count = 0;
  V m_Default;
};

// Walks a tree in ascending key order:
//   for (omi_BtreeIterator<K, V> it(tree); it.More(); it.Next()) use(it.Key(), it.Value());
template <class K, class V>
class omi_BtreeIterator {
 public:
  explicit omi_BtreeIterator(const omi_Btree<K, V>& tree) : m_Tree(&tree) { m_Walk.Start(tree.m_Root); }
  void First() { m_Walk.Start(m_Tree->m_Root); }
  bool More() const { return m_Walk.Current() != nullptr; }
  void Next() { m_Walk.Advance(); }
  const K& Key() const { return Node()->m_Key; }
  const V& Value() const { return Node()->m_Value; }

 private:
  const omi_BtreeNode<K, V>* Node() const { return static_cast<const omi_BtreeNode<K, V>*>(m_Walk.Current()); }
  const omi_Btree<K, V>* m_Tree;
  omi_BtreeWalk m_Walk;
};
