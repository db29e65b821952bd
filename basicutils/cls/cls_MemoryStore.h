// cls_MemStore: an in-memory store for the persistence framework. Any
// persistent class can be written into it through its DBWrite and rebuilt
// from it through its class metadata's Ctor; a file store serializes the
// same tree.
//
// The tree (docs/architecture.md, "Persistence", has a picture):
// - The store owns one root object (class ID 1, empty uid). Top-level
//   objects are written as fields of the root:
//     cls_MemStore store;
//     { cls_WriteVisitor root(store.MakeWriteMemento());
//       cls_WriteObject(root, cls_FieldHandle("first", 0), obj); }
//     { cls_ReadVisitor root(store.MakeReadMemento());
//       void* p = cls_ReadObject(root, cls_FieldHandle("first", 0), registrar); }
// - cls_MemObject: one object: its class ID, its cls_Uid, the object of its
//   base-class part (written through a base visitor; null when none), its
//   fields in the order first written, and its blob bytes (for blob objects).
// - cls_MemField: field ID and name, and either a value (cls_MemValue: a
//   scalar, a string, a null object or a nested object) or a collection.
//   Writing a field again replaces it in place.
// - cls_MemCollection: a shape (list, int/unsigned/string-keyed map, int
//   table), an element kind, the values in order, and for maps the keys in
//   ascending order beside them. Object elements are cls_MemValue objects.
//   Lists of plain numbers are packed as their element type.
// Values keep their kind; integers and bools are held as 64-bit integers,
// floats and doubles as doubles (a float widens exactly).
//
// List agents (the blocks of cls_ArrayPrim and its kin) copy whole blocks in
// and out of packed lists; they hold a reference to their list, so an agent
// outlives a rewrite of its field and the store itself.
//
// Every memento the store hands out is deleted by its visitor. The store is
// not safe for concurrent use; one writer or reader at a time.
#pragma once

#include <vector>

#include "VNKUTI_BasicExport.h"
#include "cls/cls_ClassMetadata.h"
#include "cls/cls_Memento.h"
#include "cls/cls_Uid.h"
#include "cow/cow_String.h"
#include "mem/mem_AllocationOperators.h"
#include "mem/mem_StdAllocator.h"

class cls_MemObject;

template <class T>
using cls_MemVector = std::vector<T, mem_StdAllocator<T>>;

// What a value or a collection element holds.
enum cls_MemKind : unsigned char {
  cls_MemNone = 0,  // nothing (a field that holds a collection)
  cls_MemString,
  cls_MemDouble,
  cls_MemFloat,
  cls_MemUint,
  cls_MemInt,
  cls_MemUshort,
  cls_MemShort,
  cls_MemUchar,
  cls_MemChar,
  cls_MemBool,
  cls_MemLongLong,
  cls_MemNull,    // a null object
  cls_MemObj,     // a nested object
};

enum cls_MemShape : unsigned char {
  cls_MemList = 0,
  cls_MemMapInt,
  cls_MemMapUint,
  cls_MemMapString,
  cls_MemIntTable,
};

// One value. Owns its nested object; movable, not copyable.
class VNKUTI_BASIC_API cls_MemValue {
 public:
  cls_MemValue() noexcept = default;
  cls_MemValue(cls_MemValue&& o) noexcept;
  cls_MemValue& operator=(cls_MemValue&& o) noexcept;
  cls_MemValue(const cls_MemValue&) = delete;
  cls_MemValue& operator=(const cls_MemValue&) = delete;
  ~cls_MemValue();

  void Clear() noexcept;  // back to cls_MemNone, destroying a nested object
  void SetString(const cow_String& s);
  void SetReal(cls_MemKind kind, double v);
  void SetInteger(cls_MemKind kind, long long v);
  void SetNull();
  void SetObject(cls_MemObject* o);  // takes ownership

  cls_MemKind Kind() const { return m_Kind; }
  bool IsNumber() const { return m_Kind >= cls_MemDouble && m_Kind <= cls_MemLongLong; }
  long long Integer() const { return m_Integer; }
  double Real() const { return m_Real; }
  const cow_String& String() const { return m_String; }
  cls_MemObject* Object() const { return m_Object; }

 private:
  cls_MemKind m_Kind = cls_MemNone;
  long long m_Integer = 0;
  double m_Real = 0;
  cow_String m_String;
  cls_MemObject* m_Object = nullptr;
};

// A collection: a list, a keyed map or an int table. Lists of plain numbers
// (bool, the integer kinds, float, double) keep their elements packed as the
// element type itself, back to back (PackedData), so that list agents move
// whole blocks with one copy; every other collection keeps cls_MemValue
// objects (Values) and, for maps, the keys ascending beside them.
//
// Collections are counted: the field that holds one, and every list agent
// working on it, own a reference (Retain / Release). A list agent therefore
// stays usable after its field was rewritten or its store destroyed; it then
// works on the detached list.
class VNKUTI_BASIC_API cls_MemCollection : public mem_AllocationOperators {
 public:
  cls_MemCollection(cls_MemShape shape, cls_MemKind element);
  cls_MemCollection(const cls_MemCollection&) = delete;
  cls_MemCollection& operator=(const cls_MemCollection&) = delete;

  // ----- references -----------------------------------------------------
  void Retain() noexcept { ++m_References; }
  // Drops one reference; the last one deletes the collection. Null is
  // accepted.
  static void Release(cls_MemCollection* c) noexcept;

  // ----- accessors ------------------------------------------------------
  cls_MemShape Shape() const { return m_Shape; }
  cls_MemKind Element() const { return m_Element; }
  int Count() const { return m_Packed ? m_PackedCount : static_cast<int>(m_Values.size()); }
  bool IsMap() const { return m_Shape != cls_MemList; }
  // The collection type this collection is stored as (its shape's family
  // refined by the element kind).
  cls_CollectionType CollectionType() const;

  // ----- packed lists ---------------------------------------------------
  bool IsPacked() const { return m_Packed; }
  // Bytes of one packed element (sizeof the element type); 0 when unpacked.
  int ElementSize() const { return m_ElementSize; }
  const unsigned char* PackedData() const { return m_Bytes.data(); }
  unsigned char* PackedData() { return m_Bytes.data(); }
  void ReservePacked(int n) {
    if (m_Packed && n > 0) m_Bytes.reserve(static_cast<std::size_t>(n) * static_cast<std::size_t>(m_ElementSize));
  }
  // Makes the list n elements long; new elements are zero.
  void ResizePacked(int n);
  // Appends n elements of ElementSize() bytes each.
  void AppendPacked(const void* p, int n);
  // Element i as a value of the list's kind (an unpacked copy).
  void PackedValue(int i, cls_MemValue& out) const;
  // Whether a kind is kept packed in lists, and its size.
  static int PackedSize(cls_MemKind kind);

  // ----- values ---------------------------------------------------------
  // Lists: the values in order. Maps: keys ascending, value i under key i.
  // Empty for packed lists.
  const cls_MemVector<cls_MemValue>& Keys() const { return m_Keys; }
  cls_MemVector<cls_MemValue>& Keys() { return m_Keys; }
  const cls_MemVector<cls_MemValue>& Values() const { return m_Values; }
  cls_MemVector<cls_MemValue>& Values() { return m_Values; }

  // Position of key in a map, or -1. Keys compare as integers or as strings.
  int FindKey(const cls_MemValue& key) const;
  // The value slot under key in a map, made (in key order) when absent; an
  // existing slot is cleared.
  cls_MemValue& Slot(cls_MemValue&& key);
  // <0, 0, >0 between two keys of one map.
  static int CompareKeys(const cls_MemValue& a, const cls_MemValue& b);

 private:
  ~cls_MemCollection() = default;

  cls_MemShape m_Shape;
  cls_MemKind m_Element;
  bool m_Packed;
  int m_ElementSize;
  int m_References = 1;
  int m_PackedCount = 0;
  cls_MemVector<unsigned char> m_Bytes;
  cls_MemVector<cls_MemValue> m_Keys;
  cls_MemVector<cls_MemValue> m_Values;
};

class VNKUTI_BASIC_API cls_MemField : public mem_AllocationOperators {
 public:
  explicit cls_MemField(const cls_FieldHandle& f) : m_FieldID(f.m_FieldID), m_Name(f.m_FieldName) {}
  ~cls_MemField();
  cls_MemField(const cls_MemField&) = delete;
  cls_MemField& operator=(const cls_MemField&) = delete;

  int FieldID() const { return m_FieldID; }
  const cow_String& Name() const { return m_Name; }
  const cls_MemValue& Value() const { return m_Value; }
  cls_MemValue& Value() { return m_Value; }
  cls_MemCollection* Collection() const { return m_Collection; }
  // Replaces the content by a new collection and answers it.
  cls_MemCollection& MakeCollection(cls_MemShape shape, cls_MemKind element);
  // Replaces the content by c, taking over the caller's reference.
  void AdoptCollection(cls_MemCollection* c);
  // Empties the field (value and collection) and takes f's ID.
  void Reset(const cls_FieldHandle& f);

 private:
  int m_FieldID;
  cow_String m_Name;
  cls_MemValue m_Value;
  cls_MemCollection* m_Collection = nullptr;
};

class VNKUTI_BASIC_API cls_MemObject : public mem_AllocationOperators {
 public:
  cls_MemObject(unsigned int classID, const cls_Uid& uid) : m_ClassID(classID), m_Uid(uid) {}
  ~cls_MemObject();
  cls_MemObject(const cls_MemObject&) = delete;
  cls_MemObject& operator=(const cls_MemObject&) = delete;

  // ----- accessors ------------------------------------------------------
  unsigned int ClassID() const { return m_ClassID; }
  const cls_Uid& Uid() const { return m_Uid; }
  cls_MemObject* Base() const { return m_Base; }
  int FieldCount() const { return static_cast<int>(m_Fields.size()); }
  cls_MemField& FieldAt(int i) const { return *m_Fields[static_cast<std::size_t>(i)]; }
  cls_MemField* FindField(const cow_String& name) const;
  const cls_MemVector<unsigned char>& Blob() const { return m_Blob; }
  // What the object's writer said it is stored as (write slot 54); 0 if none.
  cls_CollectionType CheckedType() const { return m_CheckedType; }
  // This object and everything below it.
  int ObjectCount() const;

  // ----- mutators -------------------------------------------------------
  // The field named f's name, emptied, or a new one at the end.
  cls_MemField& SetField(const cls_FieldHandle& f);
  // Replaces the base part (taking ownership) and answers it.
  cls_MemObject& SetBase(cls_MemObject* base);
  cls_MemVector<unsigned char>& MutableBlob() { return m_Blob; }
  void SetCheckedType(cls_CollectionType t) { m_CheckedType = t; }
  // Replaces the identity (a store read back from bytes gives its objects
  // new catalog entries).
  void SetUid(const cls_Uid& uid) { m_Uid = uid; }

 private:
  unsigned int m_ClassID;
  cls_Uid m_Uid;
  cls_MemObject* m_Base = nullptr;
  cls_MemVector<cls_MemField*> m_Fields;
  cls_MemVector<unsigned char> m_Blob;
  cls_CollectionType m_CheckedType = cls_CollNone;
};

class VNKUTI_BASIC_API cls_MemStore : public mem_AllocationOperators {
 public:
  explicit cls_MemStore(const cow_String& dbId = cow_String("cls_MemStore"));
  ~cls_MemStore();
  cls_MemStore(const cls_MemStore&) = delete;
  cls_MemStore& operator=(const cls_MemStore&) = delete;

  // Mementos over the root (or any node of this store); the visitor that
  // receives one deletes it. Read mementos may write through their agents.
  cls_MementoWrite* MakeWriteMemento() { return MakeWriteMemento(*m_Root); }
  cls_MementoRead* MakeReadMemento() { return MakeReadMemento(*m_Root); }
  cls_MementoWrite* MakeWriteMemento(cls_MemObject& node);
  cls_MementoRead* MakeReadMemento(cls_MemObject& node);

  cls_MemObject& Root() { return *m_Root; }
  const cls_MemObject& Root() const { return *m_Root; }
  const cow_String& DbId() const { return m_DbId; }
  // Drops every object; the root stays, empty.
  void Clear();
  // Puts root (class ID 1, owned from now on) in the place of the tree.
  void ReplaceRoot(cls_MemObject* root);

  // Writes node through m as the object that wrote it did: its base part
  // (through m's base slot), its fields in order, nested objects through
  // the child mementos m makes (each told the collection type its object
  // checked), collections through m's writers, its blob through m's blob
  // agent. What m has no writer for is left out. Copies a stored object
  // into another store, or prints it (pdc_PPerrMementoWrite).
  static void Replay(const cls_MemObject& node, cls_MementoWrite& m);

 private:
  cow_String m_DbId;
  cls_MemObject* m_Root;
};
