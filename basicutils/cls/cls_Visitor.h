// Write and read visitors: the small value objects through which a persistent
// class writes its fields and rebuilds itself. A visitor knows nothing about
// the store; it forwards to the memento (cls_Memento.h) behind it.
//
// Writing an object (every persistent class follows this order):
//   void Derived::DBWrite(const cls_WriteVisitor& v) const {
//     if (!v.StartWrite(TypeId(), m_Uid)) return;
//     {
//       cls_WriteVisitor base(v, Base::TypeId());
//       Base::DBWrite(base);                 // direct, not virtual
//     }
//     v.Write(cls_FieldHandle("m_Value", 0), m_Value);
//     cls_WriteObject(v, cls_FieldHandle("m_Child", 1), m_Child);
//   }
// Reading: the class's metadata Ctor builds the object from a read visitor:
//   Derived::Derived(const cls_ReadVisitor& v)
//       : Base(cls_ReadVisitor(v)),          // the base part: see below
//         m_Value(v.Read(cls_FieldHandle("m_Value", 0), cow_String())) {}
//
// cls_ReadVisitor's copy constructor is NOT a copy: it makes the visitor of
// the base-class part. Pass read visitors by reference only.
//
// Visitors are used by one thread, on the stack, for the time of one write
// or read. A visitor without a memento (never started, or a store without the
// object) does nothing: writes are dropped and reads answer their defaults.
#pragma once

#include "VNKUTI_BasicExport.h"
#include "atr/atr_String.h"
#include "cls/cls_ClassMetadata.h"
#include "cls/cls_Collections.h"
#include "cls/cls_Memento.h"
#include "cls/cls_Uid.h"
#include "cow/cow_String.h"

class cls_ClassRegistrar;

// =========================================================== write visitor
class VNKUTI_BASIC_API cls_WriteVisitor {
 public:
  // ----- constructors ---------------------------------------------------
  // The root visitor over a memento; the memento is current at once.
  explicit cls_WriteVisitor(cls_MementoWrite* memento);
  // The base-class part (classID is the base class's ID) of parent's object.
  cls_WriteVisitor(const cls_WriteVisitor& parent, unsigned int classID);
  // A nested object written under field of parent's object. rep is the
  // shared representation the field holds, if any: then the object is
  // written inside the memento's shared-pointer bracket.
  cls_WriteVisitor(const cls_WriteVisitor& parent, const cls_FieldHandle& field, const cls_IntCOW* rep,
                   const void* object);
  // An object whose memento the request makes (collection elements).
  cls_WriteVisitor(const cls_AgentRequest& request, const void* object);
  // Ends the shared-pointer bracket if it was opened, then deletes the
  // memento if it asks for that.
  ~cls_WriteVisitor();
  cls_WriteVisitor(const cls_WriteVisitor&) = delete;
  cls_WriteVisitor& operator=(const cls_WriteVisitor&) = delete;

  // ----- the object -----------------------------------------------------
  // Makes the memento for the object (once; later calls change nothing) and
  // answers nonzero when there is one. The object writes its fields only
  // then.
  int StartWrite(unsigned int classID, const cls_Uid& uid) const;
  // 0 without a memento, else what the memento says.
  int FieldIsPresent(const cls_FieldHandle& f) const;
  // Tells the memento the collection type this object is written as; only
  // with a memento and a non-empty field name.
  void CheckCollectionType(cls_CollectionType requested) const;
  bool CopyBranch(cls_AgentProxy* source, const cls_FieldHandle& f) const;

  // ----- typed writes ---------------------------------------------------
  void WriteNull(const cls_FieldHandle& f) const;
  void Write(const cls_FieldHandle& f, const cow_String& v) const;
  void Write(const cls_FieldHandle& f, const atr_String& v) const;
  void Write(const cls_FieldHandle& f, const char* v) const;  // null writes ""
  void Write(const cls_FieldHandle& f, double v) const;
  void Write(const cls_FieldHandle& f, float v) const;
  void Write(const cls_FieldHandle& f, unsigned int v) const;
  void Write(const cls_FieldHandle& f, int v) const;
  void Write(const cls_FieldHandle& f, unsigned short v) const;
  void Write(const cls_FieldHandle& f, short v) const;
  void Write(const cls_FieldHandle& f, unsigned char v) const;
  void Write(const cls_FieldHandle& f, char v) const;
  void Write(const cls_FieldHandle& f, bool v) const;
  void Write(const cls_FieldHandle& f, long long v) const;

  // ----- children (null without a memento) ------------------------------
  cls_MementoWrite* MakeWriteObj(const cls_FieldHandle& f, unsigned int classID, const cls_Uid& uid,
                                 const cls_IntCOW* rep) const;
  cls_MementoWrite* MakeWriteObjWithPtr(const cls_FieldHandle& f, unsigned int classID, const cls_Uid& uid,
                                        const void* object) const;
  cls_MementoWrite* MakeBaseWriteObj(unsigned int classID, const cls_Uid& uid) const;

  // ----- collections and agents (null when unsupported; cls_Release them) -
  template <class T>
  cls_WriteListPrim<T>* MakeWriteListPrim(const cls_FieldHandle& f, int count) const;
  template <class T>
  cls_WriteMapInt2Prim<T>* MakeWriteMapInt2Prim(const cls_FieldHandle& f, int count) const;
  template <class T>
  cls_WriteMapUint2Prim<T>* MakeWriteMapUint2Prim(const cls_FieldHandle& f, int count) const;
  template <class T>
  cls_WriteMapString2Prim<T>* MakeWriteMapString2Prim(const cls_FieldHandle& f, int count) const;
  cls_WriteIntTableInt* MakeWriteIntTableInt(const cls_FieldHandle& f, int count) const;
  cls_WriteListObj* MakeWriteListObj(const cls_FieldHandle& f, int count) const;
  cls_WriteMapInt2Obj* MakeWriteMapInt2Obj(const cls_FieldHandle& f, int count) const;
  cls_WriteMapUint2Obj* MakeWriteMapUint2Obj(const cls_FieldHandle& f, int count) const;
  cls_WriteMapString2Obj* MakeWriteMapString2Obj(const cls_FieldHandle& f, int count) const;
  template <class T>
  cls_AgentListPrim<T>* MakeAgentListPrim(const cls_FieldHandle& f) const;
  cls_AgentBlob* MakeAgentBlob() const;

  // ----- accessors ------------------------------------------------------
  cls_MementoWrite* GetMemento() const { return m_Memento; }
  const cls_WriteVisitor* Parent() const { return m_Parent; }
  const cls_FieldHandle& Field() const { return m_Field; }
  unsigned int ClassID() const { return m_ClassID; }  // 1 for a field's visitor
  bool WritesSharedPtr() const { return m_Flags[0] != 0; }

 private:
  const cls_WriteVisitor* m_Parent;
  cls_FieldHandle m_Field;
  unsigned int m_ClassID;
  unsigned char m_Flags[4];  // [0]: the shared-pointer bracket is wanted; others zero
  const cls_IntCOW* m_Rep;
  const void* m_Object;
  mutable cls_MementoWrite* m_Memento;
  const cls_AgentRequest* m_Request;
};

// Writes object under f of parent's object through its DBWrite (an object
// whose class starts its write with StartWrite).
template <class T>
void cls_WriteObject(const cls_WriteVisitor& parent, const cls_FieldHandle& f, const T& object) {
  cls_WriteVisitor child(parent, f, nullptr, &object);
  object.DBWrite(child);
}
// As cls_WriteObject, or a null object when object is null.
template <class T>
void cls_WriteObjectPtr(const cls_WriteVisitor& parent, const cls_FieldHandle& f, const T* object) {
  if (object == nullptr) {
    parent.WriteNull(f);
  } else {
    cls_WriteObject(parent, f, *object);
  }
}

// ============================================================ read visitor
class VNKUTI_BASIC_API cls_ReadVisitor {
 public:
  // ----- constructors ---------------------------------------------------
  // The root visitor over a memento (it may be null: nothing to read).
  explicit cls_ReadVisitor(cls_MementoRead* memento);
  // NOT a copy: the visitor of parent's base-class part (memento slot 8).
  cls_ReadVisitor(const cls_ReadVisitor& parent);
  // The object stored under field of parent's object (memento slot 7).
  cls_ReadVisitor(const cls_ReadVisitor& parent, const cls_FieldHandle& field);
  // Deletes the memento if it asks for that.
  ~cls_ReadVisitor();
  cls_ReadVisitor& operator=(const cls_ReadVisitor&) = delete;

  // ----- the object -----------------------------------------------------
  cow_String DbId() const;
  cls_Uid GetUid() const;  // empty without a memento
  unsigned int ClassId() const;  // 0 without a memento
  int FieldIsPresent(const cls_FieldHandle& f) const;  // 0 without a memento
  int DataIsPresent(const cls_FieldHandle& f) const;   // 0 without a memento
  int IsNullObject(const cls_FieldHandle& f) const;
  cls_CollectionType StoredCollectionType(const cls_FieldHandle& f) const;
  int FieldNames(cow_List<cow_String>& names) const;

  // ----- typed reads: the stored value or dflt --------------------------
  cow_String Read(const cls_FieldHandle& f, const cow_String& dflt) const;
  atr_String Read(const cls_FieldHandle& f, const atr_String& dflt) const;
  cow_String Read(const cls_FieldHandle& f, const char* dflt) const;
  double Read(const cls_FieldHandle& f, double dflt) const;
  float Read(const cls_FieldHandle& f, float dflt) const;
  unsigned int Read(const cls_FieldHandle& f, unsigned int dflt) const;
  int Read(const cls_FieldHandle& f, int dflt) const;
  unsigned short Read(const cls_FieldHandle& f, unsigned short dflt) const;
  short Read(const cls_FieldHandle& f, short dflt) const;
  unsigned char Read(const cls_FieldHandle& f, unsigned char dflt) const;
  char Read(const cls_FieldHandle& f, char dflt) const;
  bool Read(const cls_FieldHandle& f, bool dflt) const;
  long long Read(const cls_FieldHandle& f, long long dflt) const;

  // ----- children, collections, agents (null when absent/unsupported) ---
  cls_MementoRead* MakeReadObj(const cls_FieldHandle& f) const;
  cls_MementoRead* MakeBaseReadObj() const;
  template <class T>
  cls_ReadListPrim<T>* MakeReadListPrim(const cls_FieldHandle& f) const;
  template <class T>
  cls_ReadMapInt2Prim<T>* MakeReadMapInt2Prim(const cls_FieldHandle& f) const;
  template <class T>
  cls_ReadMapUint2Prim<T>* MakeReadMapUint2Prim(const cls_FieldHandle& f) const;
  template <class T>
  cls_ReadMapString2Prim<T>* MakeReadMapString2Prim(const cls_FieldHandle& f) const;
  cls_ReadIntTableInt* MakeReadIntTableInt(const cls_FieldHandle& f) const;
  cls_ReadListObj* MakeReadListObj(const cls_FieldHandle& f) const;
  cls_ReadMapInt2Obj* MakeReadMapInt2Obj(const cls_FieldHandle& f) const;
  cls_ReadMapUint2Obj* MakeReadMapUint2Obj(const cls_FieldHandle& f) const;
  cls_ReadMapString2Obj* MakeReadMapString2Obj(const cls_FieldHandle& f) const;
  template <class T>
  cls_AgentListPrim<T>* MakeAgentListPrim(const cls_FieldHandle& f) const;
  cls_AgentBlob* MakeAgentBlob() const;

  // ----- accessors ------------------------------------------------------
  cls_MementoRead* GetMemento() const { return m_Memento; }
  const cls_ReadVisitor* Parent() const { return m_Parent; }
  const cls_FieldHandle& Field() const { return m_Field; }

 private:
  cls_MementoRead* m_Memento;
  const cls_ReadVisitor* m_Parent;
  cls_FieldHandle m_Field;
};

// Builds the object v reads through its class's metadata (found by the
// stored class ID in registrar) and answers it, the caller owning it; null
// when v has nothing to read or the class has no constructor. An unknown
// class ID goes to the registrar's class hook (which throws once the
// exception module is up); without a hook the answer is null.
VNKUTI_BASIC_API void* cls_BuildObject(const cls_ReadVisitor& v, const cls_ClassRegistrar& registrar);
// The same for the object stored under f of parent's object.
VNKUTI_BASIC_API void* cls_ReadObject(const cls_ReadVisitor& parent, const cls_FieldHandle& f,
                                      const cls_ClassRegistrar& registrar);

// ================================================================ mechanics
// Chooses the memento slot for an element type; only the types the slots
// name compile.
namespace cls_internal {

#define CLS_LIST_SLOTS(T, Name)                                                              \
  inline cls_WriteListPrim<T>* WriteList(cls_MementoWrite* m, const cls_FieldHandle& f, int n, T*) { \
    return m->MakeWriteList##Name(f, n);                                                     \
  }                                                                                          \
  inline cls_ReadListPrim<T>* ReadList(cls_MementoRead* m, const cls_FieldHandle& f, T*) {   \
    return m->MakeReadList##Name(f);                                                         \
  }
CLS_LIST_SLOTS(bool, Bool)
CLS_LIST_SLOTS(cow_String, String)
CLS_LIST_SLOTS(float, Float)
CLS_LIST_SLOTS(double, Double)
CLS_LIST_SLOTS(unsigned int, Uint)
CLS_LIST_SLOTS(int, Int)
CLS_LIST_SLOTS(unsigned short, Ushort)
CLS_LIST_SLOTS(short, Short)
CLS_LIST_SLOTS(unsigned char, Uchar)
CLS_LIST_SLOTS(char, Char)
CLS_LIST_SLOTS(long long, LongLong)
#undef CLS_LIST_SLOTS

#define CLS_MAP_SLOTS(Key, T, Name)                                                                     \
  inline cls_WriteMap##Key##2Prim<T>* WriteMap##Key(cls_MementoWrite* m, const cls_FieldHandle& f, int n, T*) { \
    return m->MakeWriteMap##Key##2##Name(f, n);                                                         \
  }                                                                                                     \
  inline cls_ReadMap##Key##2Prim<T>* ReadMap##Key(cls_MementoRead* m, const cls_FieldHandle& f, T*) {   \
    return m->MakeReadMap##Key##2##Name(f);                                                             \
  }
#define CLS_MAP_KEY(Key)                     \
  CLS_MAP_SLOTS(Key, unsigned int, Uint)     \
  CLS_MAP_SLOTS(Key, cow_String, String)     \
  CLS_MAP_SLOTS(Key, int, Int)               \
  CLS_MAP_SLOTS(Key, float, Float)           \
  CLS_MAP_SLOTS(Key, double, Double)
CLS_MAP_KEY(Int)
CLS_MAP_KEY(Uint)
CLS_MAP_KEY(String)
#undef CLS_MAP_KEY
#undef CLS_MAP_SLOTS

// float, int and double agents have slots of their own; the other kinds go
// through the generic slot and are checked before the cast.
template <class M>
cls_AgentListPrim<float>* Agent(M* m, const cls_FieldHandle& f, float*) {
  return m->MakeAgentListFloat(f);
}
template <class M>
cls_AgentListPrim<int>* Agent(M* m, const cls_FieldHandle& f, int*) {
  return m->MakeAgentListInt(f);
}
template <class M>
cls_AgentListPrim<double>* Agent(M* m, const cls_FieldHandle& f, double*) {
  return m->MakeAgentListDouble(f);
}
template <class M, class T>
cls_AgentListPrim<T>* Agent(M* m, const cls_FieldHandle& f, T* tag) {
  const cls_CollectionType kind = cls_CollectionTypeFix(cls_CollList, tag);
  cls_AgentListBase* a = m->MakeAgentList(f, kind);
  if (a != nullptr && a->ElementKind() != kind) {
    cls_Release(a);
    return nullptr;
  }
  return static_cast<cls_AgentListPrim<T>*>(a);
}

}  // namespace cls_internal

template <class T>
cls_WriteListPrim<T>* cls_WriteVisitor::MakeWriteListPrim(const cls_FieldHandle& f, int count) const {
  return m_Memento ? cls_internal::WriteList(m_Memento, f, count, static_cast<T*>(nullptr)) : nullptr;
}
template <class T>
cls_WriteMapInt2Prim<T>* cls_WriteVisitor::MakeWriteMapInt2Prim(const cls_FieldHandle& f, int count) const {
  return m_Memento ? cls_internal::WriteMapInt(m_Memento, f, count, static_cast<T*>(nullptr)) : nullptr;
}
template <class T>
cls_WriteMapUint2Prim<T>* cls_WriteVisitor::MakeWriteMapUint2Prim(const cls_FieldHandle& f, int count) const {
  return m_Memento ? cls_internal::WriteMapUint(m_Memento, f, count, static_cast<T*>(nullptr)) : nullptr;
}
template <class T>
cls_WriteMapString2Prim<T>* cls_WriteVisitor::MakeWriteMapString2Prim(const cls_FieldHandle& f, int count) const {
  return m_Memento ? cls_internal::WriteMapString(m_Memento, f, count, static_cast<T*>(nullptr)) : nullptr;
}
template <class T>
cls_AgentListPrim<T>* cls_WriteVisitor::MakeAgentListPrim(const cls_FieldHandle& f) const {
  return m_Memento ? cls_internal::Agent(m_Memento, f, static_cast<T*>(nullptr)) : nullptr;
}
template <class T>
cls_ReadListPrim<T>* cls_ReadVisitor::MakeReadListPrim(const cls_FieldHandle& f) const {
  return m_Memento ? cls_internal::ReadList(m_Memento, f, static_cast<T*>(nullptr)) : nullptr;
}
template <class T>
cls_ReadMapInt2Prim<T>* cls_ReadVisitor::MakeReadMapInt2Prim(const cls_FieldHandle& f) const {
  return m_Memento ? cls_internal::ReadMapInt(m_Memento, f, static_cast<T*>(nullptr)) : nullptr;
}
template <class T>
cls_ReadMapUint2Prim<T>* cls_ReadVisitor::MakeReadMapUint2Prim(const cls_FieldHandle& f) const {
  return m_Memento ? cls_internal::ReadMapUint(m_Memento, f, static_cast<T*>(nullptr)) : nullptr;
}
template <class T>
cls_ReadMapString2Prim<T>* cls_ReadVisitor::MakeReadMapString2Prim(const cls_FieldHandle& f) const {
  return m_Memento ? cls_internal::ReadMapString(m_Memento, f, static_cast<T*>(nullptr)) : nullptr;
}
template <class T>
cls_AgentListPrim<T>* cls_ReadVisitor::MakeAgentListPrim(const cls_FieldHandle& f) const {
  return m_Memento ? cls_internal::Agent(m_Memento, f, static_cast<T*>(nullptr)) : nullptr;
}
