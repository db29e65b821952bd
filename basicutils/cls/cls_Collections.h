// Collection writers and readers, list and blob agents: the objects a
// memento hands out for collection fields (see cls_Memento.h for the slots
// that make them).
//
// Ownership: whoever asks a memento for one of these releases it with
// cls_Release(p), which deletes it only when its NeedsDeletion() is true (a
// store may keep and reuse its writers). A factory slot answers null when the
// store does not support that kind of collection; callers must cope.
//
// Writers take their elements in order; readers answer by index (0 to
// Count() - 1, in the order the elements were written) and by key. An index
// out of range answers a default-constructed value. Object elements are
// written through an agent request (cls_WriteVisitor(request, object)) and
// read back as read mementos.
#pragma once

#include "VNKUTI_BasicExport.h"
#include "cls/cls_ClassMetadata.h"
#include "cls/cls_Uid.h"
#include "cow/cow_String.h"
#include "mem/mem_AllocationOperators.h"

class cls_MementoWrite;
class cls_MementoRead;

// Makes the memento of one object being written; the visitor built from it
// calls MakeMemento from StartWrite, once the object has told its class ID
// and identity. Requests are handed out by object-collection writers.
class VNKUTI_BASIC_API cls_AgentRequest {
 public:
  virtual ~cls_AgentRequest();
  virtual bool NeedsDeletion() const { return false; }
  virtual cls_MementoWrite* MakeMemento(unsigned int classID, const cls_Uid& uid, const void* object) const = 0;
};

// Opaque to this layer: the source of a branch copied between stores.
class cls_AgentProxy;

// ================================================================ writers

class VNKUTI_BASIC_API cls_WriteCollectionBase : public mem_AllocationOperators {
 public:
  virtual ~cls_WriteCollectionBase();
  virtual bool NeedsDeletion() const { return true; }
};

template <class T>
class cls_WriteListPrim : public cls_WriteCollectionBase {
 public:
  virtual void Append(const T& x) = 0;
  virtual void AppendBlock(const T* p, int n) {
    for (int i = 0; i < n; ++i) Append(p[i]);
  }
};

// Maps from K to plain values; keys may come in any order and a repeated key
// replaces the earlier value.
template <class K, class T>
class cls_WriteMapPrim : public cls_WriteCollectionBase {
 public:
  virtual void Insert(const K& key, const T& value) = 0;
};
template <class T>
class cls_WriteMapInt2Prim : public cls_WriteMapPrim<int, T> {};
template <class T>
class cls_WriteMapUint2Prim : public cls_WriteMapPrim<unsigned int, T> {};
template <class T>
class cls_WriteMapString2Prim : public cls_WriteMapPrim<cow_String, T> {};

// A dense table of ints indexed by int (Set(i, v) for the used indexes).
class VNKUTI_BASIC_API cls_WriteIntTableInt : public cls_WriteCollectionBase {
 public:
  virtual void Set(int index, int value) = 0;
};

// Object collections: Element() answers the request through which the next
// element is written:
//   cls_WriteVisitor ev(writer->Element(), &obj);
//   obj.DBWrite(ev);
// The element is entered when its DBWrite calls StartWrite.
class VNKUTI_BASIC_API cls_WriteListObj : public cls_WriteCollectionBase {
 public:
  virtual const cls_AgentRequest& Element() = 0;
  virtual void AppendNull() = 0;
};
template <class K>
class cls_WriteMapObj : public cls_WriteCollectionBase {
 public:
  virtual const cls_AgentRequest& Element(const K& key) = 0;
  virtual void InsertNull(const K& key) = 0;
};
class VNKUTI_BASIC_API cls_WriteMapInt2Obj : public cls_WriteMapObj<int> {};
class VNKUTI_BASIC_API cls_WriteMapUint2Obj : public cls_WriteMapObj<unsigned int> {};
class VNKUTI_BASIC_API cls_WriteMapString2Obj : public cls_WriteMapObj<cow_String> {};

// ================================================================ readers

class VNKUTI_BASIC_API cls_ReadCollectionBase : public mem_AllocationOperators {
 public:
  virtual ~cls_ReadCollectionBase();
  virtual bool NeedsDeletion() const { return true; }
  virtual int Count() const = 0;
};

template <class T>
class cls_ReadListPrim : public cls_ReadCollectionBase {
 public:
  virtual T Get(int i) const = 0;
  // Copies elements [from, from + n) to out; positions beyond the end get T().
  virtual void GetBlock(int from, int n, T* out) const {
    for (int i = 0; i < n; ++i) out[i] = Get(from + i);
  }
};

// Entries in ascending key order.
template <class K, class T>
class cls_ReadMapPrim : public cls_ReadCollectionBase {
 public:
  virtual K KeyAt(int i) const = 0;
  virtual T ValueAt(int i) const = 0;
  // The value under key into value; false (value untouched) when absent.
  virtual bool Find(const K& key, T& value) const = 0;
};
template <class T>
class cls_ReadMapInt2Prim : public cls_ReadMapPrim<int, T> {};
template <class T>
class cls_ReadMapUint2Prim : public cls_ReadMapPrim<unsigned int, T> {};
template <class T>
class cls_ReadMapString2Prim : public cls_ReadMapPrim<cow_String, T> {};

class VNKUTI_BASIC_API cls_ReadIntTableInt : public cls_ReadMapPrim<int, int> {};

// Object collections answer a read memento per element (the caller wraps it
// in a cls_ReadVisitor, which deletes it); null for a null element.
class VNKUTI_BASIC_API cls_ReadListObj : public cls_ReadCollectionBase {
 public:
  virtual cls_MementoRead* MakeElement(int i) const = 0;
};
template <class K>
class cls_ReadMapObj : public cls_ReadCollectionBase {
 public:
  virtual K KeyAt(int i) const = 0;
  virtual cls_MementoRead* MakeElement(int i) const = 0;
  // The element under key; null when absent or null.
  virtual cls_MementoRead* Find(const K& key) const = 0;
};
class VNKUTI_BASIC_API cls_ReadMapInt2Obj : public cls_ReadMapObj<int> {};
class VNKUTI_BASIC_API cls_ReadMapUint2Obj : public cls_ReadMapObj<unsigned int> {};
class VNKUTI_BASIC_API cls_ReadMapString2Obj : public cls_ReadMapObj<cow_String> {};

// ================================================================= agents

// Moves blocks of a list between memory and the store, for collections that
// do not fit in memory. Element kinds are told by the refined collection type
// of a list (cls_CollectionTypeFix(cls_CollList, (T*)0)).
class VNKUTI_BASIC_API cls_AgentListBase : public mem_AllocationOperators {
 public:
  virtual ~cls_AgentListBase();
  virtual bool NeedsDeletion() const { return true; }
  virtual cls_CollectionType ElementKind() const = 0;
  // Elements the store holds for the list.
  virtual int StoredCount() const = 0;
  // Whether an array may keep working through this agent after writing
  // itself (a store's list). An agent that only consumes what it is given
  // (a printer) answers false: the array then hands it every element and
  // stays with its own store.
  virtual bool Attachable() const { return true; }
};

template <class T>
class cls_AgentListPrim : public cls_AgentListBase {
 public:
  // Copies stored elements [start, start + n) to out; those beyond the stored
  // count get T().
  virtual void ReadBlock(int start, int n, T* out) = 0;
  // Stores n elements at start, overwriting and, past the end, growing the
  // list (a gap before start is filled with T()).
  virtual void WriteBlock(int start, int n, const T* in) = 0;
  // Stores n elements after the last stored one.
  virtual void AppendBlock(int n, const T* in) = 0;
};

// The bytes of a blob object.
class VNKUTI_BASIC_API cls_AgentBlob : public mem_AllocationOperators {
 public:
  virtual ~cls_AgentBlob();
  virtual bool NeedsDeletion() const { return true; }
  virtual long long Size() const = 0;
  // Copies up to n bytes from offset; answers how many were copied.
  virtual int Read(long long offset, int n, void* out) = 0;
  // Stores n bytes at offset, growing the blob (a gap is zero-filled).
  virtual void Write(long long offset, int n, const void* in) = 0;
  virtual void Truncate(long long size) = 0;
};

// ================================================================ release

// Deletes p when it asks for it (NeedsDeletion); null is accepted.
template <class T>
void cls_Release(T* p) {
  if (p != nullptr && p->NeedsDeletion()) delete p;
}
