// cow_Map<K, V>: a keyed map for integer and string keys, built as a binary
// digital search tree.
//
// Every node holds one entry. The path from the root to an entry is spelled
// by successive bits of its key (cow_MapKeyTraits<K>::Bit), so the shape of a
// map depends only on its keys and the order they came in; nothing is ever
// rebalanced. An integer key is found after at most 33 nodes.
//
// Sharing: nodes sit behind cow_COW handles. Copying a map is O(1) (the root
// handle is shared); a change copies only the shared nodes on the path it
// walks, so a copy and its original keep sharing every other node. A map and
// all maps copied from it belong to one thread at a time.
//
// Which members detach: Insert, Get and Remove unshare the nodes they walk;
// ConstGet, IsMember, Count and the iterators never copy anything.
#pragma once

#include <cstring>

#include "VNKUTI_BasicExport.h"
#include "cow/cow_COW.h"
#include "cow/cow_List.h"
#include "cow/cow_String.h"
#include "mem/mem_AllocationOperators.h"
#include "omi/omi_BlkBitVect.h"

// =================================================================== key bits
// Bit(k, depth) chooses the child at that depth (0: zero child, 1: one child);
// Equal decides whether a node holds k; Less orders keys for the sorted walk.
// A walk reads its key's bits through a Path made once per walk, so that a
// string key's length is found once, not at every node.
template <class K>
struct cow_MapKeyTraits;

template <class K>
struct cow_MapIntPath {
  K key;
  unsigned Bit(unsigned depth) const noexcept { return (static_cast<unsigned>(key) >> (depth & 31u)) & 1u; }
};

// Integer keys branch on bit depth of the key, counted from the least
// significant bit; the shift count wraps at 32.
template <>
struct cow_MapKeyTraits<int> {
  using Path = cow_MapIntPath<int>;
  static unsigned Bit(int k, unsigned depth) noexcept { return (static_cast<unsigned>(k) >> (depth & 31u)) & 1u; }
  static bool Equal(int a, int b) noexcept { return a == b; }
  static bool Less(int a, int b) noexcept { return a < b; }
};

template <>
struct cow_MapKeyTraits<unsigned int> {
  using Path = cow_MapIntPath<unsigned int>;
  static unsigned Bit(unsigned k, unsigned depth) noexcept { return (k >> (depth & 31u)) & 1u; }
  static bool Equal(unsigned a, unsigned b) noexcept { return a == b; }
  static bool Less(unsigned a, unsigned b) noexcept { return a < b; }
};

// String keys of length L: beyond depth L the bit is 0; at an even depth d it
// is the lowest bit of character d / 2 from the front (the terminating zero
// when d / 2 == L); at an odd depth the lowest bit of character L - d / 2 - 1,
// counted from the back. Keys are equal, and ordered, byte by byte as unsigned
// characters up to the terminating zero.
//
// A key is therefore its text up to the first zero byte, and so is its length
// L: "a" and "a\0x" are one key and must take one path. (With the stored
// length they would branch apart at depth 1 while comparing equal, and a map
// could hold both.) Keys without zero bytes inside, all real ones, are not
// affected.
struct VNKUTI_BASIC_API cow_MapStringKey {
  struct Path {
    explicit Path(const atr_StringBase& k) noexcept
        : text(k.c_str()), length(static_cast<unsigned>(strnlen(text, static_cast<size_t>(k.Length())))) {}
    unsigned Bit(unsigned depth) const noexcept {
      if (depth > length) return 0;
      // Even depths read from the front (reaching the terminating zero only
      // for the empty text), odd depths from the back.
      const unsigned at = (depth & 1u) ? length - (depth >> 1) - 1 : depth >> 1;
      return static_cast<unsigned char>(text[at]) & 1u;
    }
    const char* text;
    unsigned length;
  };
  static unsigned Bit(const atr_StringBase& k, unsigned depth) noexcept { return Path(k).Bit(depth); }
  static bool Equal(const atr_StringBase& a, const atr_StringBase& b) noexcept {
    const char* x = a.c_str();
    const char* y = b.c_str();
    if (x == y) return true;  // shared text
    for (; *x == *y; ++x, ++y)
      if (*x == 0) return true;
    return false;
  }
  static bool Less(const atr_StringBase& a, const atr_StringBase& b) noexcept;
};

template <>
struct cow_MapKeyTraits<cow_String> : cow_MapStringKey {};

// =================================================================== nodes
template <class K, class V>
class cow_Map;

template <class K, class V>
class cow_MapNode : public mem_AllocationOperators {
 public:
  typedef cow_COW<cow_MapNode, cow_Direct<cow_MapNode>> Handle;

  // A node whose children share the counter of `empty`, an empty handle of
  // the same map: a leaf then costs no counter of its own.
  cow_MapNode(const K& k, const V& v, const Handle& empty) : m_Key(k), m_Value(v), m_Child{empty, empty} {}
  // Copies key and value and shares both children (the copy made by Get()
  // on a shared handle).
  cow_MapNode(const cow_MapNode&) = default;
  cow_MapNode& operator=(const cow_MapNode&) = delete;
  // Releases the subtrees without recursing once per level: a chain of
  // string keys whose low bits agree can be arbitrarily deep.
  ~cow_MapNode() {
    ReleaseSubtree(m_Child[0]);
    ReleaseSubtree(m_Child[1]);
  }

  const K& Key() const noexcept { return m_Key; }
  const V& Value() const noexcept { return m_Value; }
  const Handle& Zero() const noexcept { return m_Child[0]; }
  const Handle& One() const noexcept { return m_Child[1]; }
  const Handle& Child(unsigned bit) const noexcept { return m_Child[bit]; }

 private:
  friend class cow_Map<K, V>;

  // Exchanges what two handles refer to; the counts end as they were.
  static void Swap(Handle& a, Handle& b) noexcept {
    Handle t(a);
    a = b;
    b = t;
  }

  // Frees every node of h's subtree that nothing else shares, iteratively:
  // rotate zero children up until the top node has none of its own, then
  // free the top node and go on at its one child. Leaves h empty or shared.
  static void ReleaseSubtree(Handle& h) noexcept {
    while (h.HasValue() && h.Exclusive()) {
      cow_MapNode* n = h.GetPtr();
      if (n->m_Child[0].HasValue() && n->m_Child[0].Exclusive()) {
        cow_MapNode* z = n->m_Child[0].GetPtr();
        Swap(n->m_Child[0], z->m_Child[1]);  // n takes z's one subtree; z's one handle now holds z
        Swap(h, z->m_Child[1]);               // z moves to the top, n becomes its one child
      } else {
        // n's zero side is empty or owned elsewhere, and the extra count on
        // its one child keeps n's destructor from descending: freeing n stops there.
        Handle next(n->m_Child[1]);
        h = next;
      }
    }
  }

  K m_Key;
  V m_Value;
  Handle m_Child[2];  // the zero child, then the one child
};

// =================================================================== map
// The value ConstGet answers for a missing key: one default-constructed V,
// made on first use. A value type whose default must not be made that way
// (one that takes a resource the library frees at finalization) specializes
// this class.
template <class V>
struct cow_MapMissingValue {
  static const V& Get() {
    static const V value{};
    return value;
  }
};

template <class K, class V>
class cow_Map {
 public:
  typedef cow_MapNode<K, V> Node;
  typedef typename Node::Handle NodeHandle;
  typedef cow_MapKeyTraits<K> Traits;

  // ----- constructors ---------------------------------------------------
  cow_Map() = default;
  cow_Map(const cow_Map&) = default;             // O(1): shares every node
  cow_Map& operator=(const cow_Map&) = default;  // m = m is safe

  // ----- accessors (never copy) -----------------------------------------
  int Count() const noexcept { return m_Count; }
  bool IsEmpty() const noexcept { return m_Count == 0; }
  bool IsMember(const K& k) const noexcept { return FindNode(k) != nullptr; }
  // The value stored under k, or null when k is absent.
  const V* FindPtr(const K& k) const noexcept {
    const Node* n = FindNode(k);
    return n ? &n->m_Value : nullptr;
  }

  // The value stored under k. For a missing key: a default-constructed V
  // shared by all such calls (the map does not change).
  const V& ConstGet(const K& k) const {
    const Node* n = FindNode(k);
    return n ? n->m_Value : MissingValue();
  }

  // The root handle, for walkers and for tests of the tree's shape.
  const NodeHandle& Root() const noexcept { return m_Root; }

  // ----- mutators (unshare the nodes they walk) -------------------------
  // Stores v under k, replacing the value of an existing entry (the count
  // then stays). Always true.
  bool Insert(const K& k, const V& v) {
    NodeHandle& h = Locate(k);
    if (h.HasValue()) {
      h.GetPtr()->m_Value = v;  // Locate unshared it
    } else {
      Attach(h, k, v);
    }
    return true;
  }

  // The value under k, this map's own to change. A missing key is inserted
  // with a default-constructed value.
  V& Get(const K& k) {
    NodeHandle& h = Locate(k);
    if (!h.HasValue()) Attach(h, k, V());
    return h.GetPtr()->m_Value;
  }

  // Removes k's entry: the entries below it move up one place each along a
  // chain that prefers one children, and the last node of the chain is freed.
  // False, and nothing changes, when k is absent.
  bool Remove(const K& k);

  // Empties the map (other copies keep their entries).
  void Clear() { *this = cow_Map(); }

 private:
  const Node* FindNode(const K& k) const noexcept {
    const Node* n = m_Root.GetPtr();
    const typename Traits::Path path{k};
    for (unsigned depth = 0; n != nullptr; ++depth) {
      if (Traits::Equal(n->m_Key, k)) return n;
      n = n->m_Child[path.Bit(depth)].GetPtr();
    }
    return nullptr;
  }

  // Walks towards k, unsharing every node it passes. Returns the handle that
  // holds k's node (unshared) or, for a missing key, the empty handle where
  // the node belongs.
  NodeHandle& Locate(const K& k) {
    NodeHandle* h = &m_Root;
    const typename Traits::Path path{k};
    for (unsigned depth = 0; h->HasValue(); ++depth) {
      Node& n = h->Get();
      if (Traits::Equal(n.m_Key, k)) break;
      h = &n.m_Child[path.Bit(depth)];
    }
    return *h;
  }

  void Attach(NodeHandle& empty, const K& k, const V& v) {
    Node* fresh = new Node(k, v, empty);
    try {
      empty = fresh;  // shared with the new children: takes a counter of its own
    } catch (...) {
      delete fresh;
      throw;
    }
    ++m_Count;
  }

  static const V& MissingValue() { return cow_MapMissingValue<V>::Get(); }

  NodeHandle m_Root;
  int m_Count = 0;
};

template <class K, class V>
bool cow_Map<K, V>::Remove(const K& k) {
  if (!IsMember(k)) return false;
  // Unshare the nodes above k's node; k's own node only if it has children
  // (a leaf is released, not changed).
  NodeHandle* at = &m_Root;
  const typename Traits::Path path{k};
  for (unsigned depth = 0; !Traits::Equal(at->ConstGet().m_Key, k); ++depth)
    at = &at->Get().m_Child[path.Bit(depth)];
  NodeHandle& target = *at;
  // Unshare the whole promotion chain before moving any entry, so that a
  // failed copy leaves the map as it was.
  for (NodeHandle* h = &target;;) {
    const Node& c = h->ConstGet();
    if (!c.m_Child[1].HasValue() && !c.m_Child[0].HasValue()) break;
    Node& n = h->Get();
    h = n.m_Child[1].HasValue() ? &n.m_Child[1] : &n.m_Child[0];
  }
  NodeHandle* h = &target;
  for (;;) {
    Node& n = *h->GetPtr();
    NodeHandle* next = n.m_Child[1].HasValue() ? &n.m_Child[1] : n.m_Child[0].HasValue() ? &n.m_Child[0] : nullptr;
    if (next == nullptr) break;
    const Node& src = next->ConstGet();
    n.m_Key = src.m_Key;
    n.m_Value = src.m_Value;
    h = next;
  }
  // Empty the leaf's handle by sharing the leaf's own empty child handle:
  // no allocation, so nothing can fail after entries have moved.
  NodeHandle empty(h->ConstGet().m_Child[0]);
  *h = empty;
  --m_Count;
  return true;
}

// =================================================================== walks
// A growable stack of node pointers, shared by the iterators of every
// instantiation (compiled once).
class VNKUTI_BASIC_API cow_MapWalkBase : public mem_AllocationOperators {
 public:
  cow_MapWalkBase() noexcept = default;
  cow_MapWalkBase(const cow_MapWalkBase& other);
  cow_MapWalkBase& operator=(const cow_MapWalkBase& other);
  ~cow_MapWalkBase();

 protected:
  typedef bool (*LessFn)(const void* a, const void* b);

  void Push(const void* p) {
    if (m_Size == m_Capacity) Grow();
    m_Items[m_Size++] = p;
  }
  const void* Pop() noexcept { return m_Size ? m_Items[--m_Size] : nullptr; }
  void ClearItems() noexcept { m_Size = 0; }
  void SortItems(LessFn less);  // ascending; keys are distinct

  const void** m_Items = nullptr;
  int m_Size = 0;
  int m_Capacity = 0;

 private:
  void Grow();
};

// Visits every entry once, depth first (a node before its zero subtree,
// that before its one subtree). Holds a shared copy of the map, so the map
// it was made from may change meanwhile without disturbing the walk.
template <class K, class V>
class cow_ConstMapIterator : public cow_MapWalkBase {
 public:
  typedef cow_MapNode<K, V> Node;

  explicit cow_ConstMapIterator(const cow_Map<K, V>& map) : m_Map(map) { First(); }

  void First() {
    ClearItems();
    m_Node = m_Map.Root().GetPtr();
  }
  void Next() {
    if (m_Node == nullptr) return;
    if (const Node* one = m_Node->One().GetPtr()) Push(one);
    const Node* zero = m_Node->Zero().GetPtr();
    m_Node = zero ? zero : static_cast<const Node*>(Pop());
  }
  bool More() const noexcept { return m_Node != nullptr; }
  const K& Key() const noexcept { return m_Node->Key(); }
  const V& Value() const noexcept { return m_Node->Value(); }
  const Node* CurrentNode() const noexcept { return m_Node; }  // null when done

 private:
  cow_Map<K, V> m_Map;
  const Node* m_Node = nullptr;
};

// Visits every entry once in ascending key order: First() gathers the nodes
// and sorts them (O(n log n)); stepping is O(1). Holds a shared copy of the
// map, as cow_ConstMapIterator does.
template <class K, class V>
class cow_ConstMapSortedIt : public cow_MapWalkBase {
 public:
  typedef cow_MapNode<K, V> Node;

  explicit cow_ConstMapSortedIt(const cow_Map<K, V>& map) : m_Map(map) { First(); }

  void First() {
    ClearItems();
    for (cow_ConstMapIterator<K, V> it(m_Map); it.More(); it.Next()) Push(it.CurrentNode());
    SortItems(&KeyLess);
    m_Pos = 0;
  }
  void Next() noexcept {
    if (m_Pos < m_Size) ++m_Pos;
  }
  bool More() const noexcept { return m_Pos < m_Size; }
  const K& Key() const noexcept { return Current().Key(); }
  const V& Value() const noexcept { return Current().Value(); }

 private:
  static bool KeyLess(const void* a, const void* b) {
    return cow_MapKeyTraits<K>::Less(static_cast<const Node*>(a)->Key(), static_cast<const Node*>(b)->Key());
  }
  const Node& Current() const noexcept { return *static_cast<const Node*>(m_Items[m_Pos]); }

  cow_Map<K, V> m_Map;
  int m_Pos = 0;
};

// Keys and values of a map as lists, both in ascending key order, so that
// element i of one belongs to element i of the other.
template <class K, class V>
class cow_MapUtils {
 public:
  static cow_List<K> cow_Keys(const cow_Map<K, V>& map) {
    cow_List<K> keys;
    for (cow_ConstMapSortedIt<K, V> it(map); it.More(); it.Next()) keys.Append(it.Key());
    return keys;
  }
  static cow_List<V> cow_Values(const cow_Map<K, V>& map) {
    cow_List<V> values;
    for (cow_ConstMapSortedIt<K, V> it(map); it.More(); it.Next()) values.Append(it.Value());
    return values;
  }
};

// =================================================================== instances
// The pieces of one key/value pair that the library compiles once. Headers
// declare a pair with COW_MAP_EXTERN_TEMPLATES; one .cpp per pair's owner
// defines it with COW_MAP_INSTANTIATE.
#define COW_MAP_TEMPLATES_(PREFIX, API, K, V)                                            \
  PREFIX template class API cow_CountedHld<cow_MapNode<K, V>>;                          \
  PREFIX template class API cow_COW<cow_MapNode<K, V>, cow_Direct<cow_MapNode<K, V>>>; \
  PREFIX template class API cow_MapNode<K, V>;                                          \
  PREFIX template class API cow_Map<K, V>;                                              \
  PREFIX template class API cow_ConstMapIterator<K, V>;                                 \
  PREFIX template class API cow_ConstMapSortedIt<K, V>;                                 \
  PREFIX template class API cow_MapUtils<K, V>;
#define COW_MAP_EXTERN_TEMPLATES(K, V) COW_MAP_TEMPLATES_(extern, VNKUTI_BASIC_API, K, V)
#define COW_MAP_INSTANTIATE(K, V) COW_MAP_TEMPLATES_(, , K, V)

#define COW_MAP_FOR_EACH_PAIR_(X)                                                                       \
  X(cow_String, atr_String) X(cow_String, cow_List<cow_String>) X(cow_String, cow_List<double>)         \
  X(cow_String, cow_List<float>) X(cow_String, cow_List<int>) X(cow_String, cow_String)                 \
  X(cow_String, double) X(cow_String, float) X(cow_String, int) X(cow_String, unsigned int)             \
  X(int, cow_List<cow_String>) X(int, cow_List<float>) X(int, cow_List<int>) X(int, cow_String)         \
  X(int, omi_BlkBitVect) X(int, double) X(int, float) X(int, int) X(int, unsigned int)                  \
  X(unsigned int, atr_String) X(unsigned int, cow_String) X(unsigned int, int)                          \
  X(unsigned int, unsigned int)

COW_MAP_FOR_EACH_PAIR_(COW_MAP_EXTERN_TEMPLATES)
