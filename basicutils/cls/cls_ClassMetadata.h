// Class metadata of the persistence framework: what a persistent class tells
// the registry about itself once, at start-up.
//
// Class IDs: an unsigned 32-bit number, component (module) number * 65536 +
// the class's index within it (2 uti, 31 nex, 35 cls). ID 1 is the root: a
// class whose base ID is 1 has no persistent base. Every persistent class has
// a static TypeId() and a virtual DynTypeId().
//
// A registration function makes one metadata record and chains builder calls
// on it:
//   r.CreateClassMD("uti_CoordCont3D", TypeId(), 203, &Construct, 1)
//       .AddDtor(&DestroyRep)
//       .AddAttribute(cls_FieldHandle("numCoord", 0), cls_AttrInt, 1, cls_CollNone);
// The records are immutable once registration is over; any number of threads
// may then read them.
#pragma once

#include "VNKUTI_BasicExport.h"
#include "cow/cow_COW.h"
#include "cow/cow_CountedHld.h"
#include "cow/cow_String.h"
#include "mem/mem_AllocationOperators.h"
#include "omi/omi_Btree.h"

class cls_ReadVisitor;
class cls_WriteVisitor;

// The untyped shared representation that class-specific destructors release.
typedef cow_COW<int, cow_Direct<int>> cls_IntCOW;

// ============================================================ plain values

// Key of a versioned lookup: ordered by class ID, then version.
struct VNKUTI_BASIC_API cls_CIDVersion {
  unsigned int m_ClassID = 0;
  int m_Version = 0;

  cls_CIDVersion() = default;
  cls_CIDVersion(unsigned int classID, int version) : m_ClassID(classID), m_Version(version) {}
  bool operator<(const cls_CIDVersion& o) const {
    return m_ClassID != o.m_ClassID ? m_ClassID < o.m_ClassID : m_Version < o.m_Version;
  }
  bool operator==(const cls_CIDVersion& o) const { return m_ClassID == o.m_ClassID && m_Version == o.m_Version; }
};

// What kind of value an attribute holds. The numbers are part of the stored
// metadata; 5 and 15 are the ones the coordinate container declares.
enum cls_AttributeType : int {
  cls_AttrNone = 0,
  cls_AttrString = 1,
  cls_AttrDouble = 2,
  cls_AttrFloat = 3,
  cls_AttrUint = 4,
  cls_AttrInt = 5,
  cls_AttrUshort = 6,
  cls_AttrShort = 7,
  cls_AttrUchar = 8,
  cls_AttrChar = 9,
  cls_AttrBool = 10,
  cls_AttrEnum = 11,
  cls_AttrObject = 12,      // a nested object
  cls_AttrCollection = 14,  // a collection of values or objects
  cls_AttrArray = 15,       // a primitive array object (cls_SimpleArrayPrim and kin)
  cls_AttrBlob = 16,
};

// How a collection field is stored. The generic kinds 50, 60, 70, 80, 90 and
// 100 are refined by element type with cls_CollectionTypeFix; the refined
// numbers are part of the stored format.
enum cls_CollectionType : int {
  cls_CollNone = 0,           // a plain value
  cls_CollStringKeyed = 2,    // asks for any collection keyed by strings
  cls_CollIntKeyed = 3,       // asks for any collection keyed by ints
  cls_CollMapString2Obj = 4,  // string-to-object map
  cls_CollKeyed = 5,          // refined by key type: int 3, cow_String 2
  cls_CollList = 50,          // one-dimensional arrays and lists
  cls_CollBtree = 60,         // string-to-number trees
  cls_CollFamily70 = 70,      // a further family, refined like the others
  cls_Coll2DArray = 80,       // two-dimensional arrays
  cls_CollMapString2Prim = 90,
  cls_CollMapInt2Prim = 100,
};

// Refine a generic kind by element type (the pointer only selects the
// overload). Kinds outside the family rows come back unchanged.
VNKUTI_BASIC_API cls_CollectionType cls_CollectionTypeFix(cls_CollectionType generic, bool*);
VNKUTI_BASIC_API cls_CollectionType cls_CollectionTypeFix(cls_CollectionType generic, double*);
VNKUTI_BASIC_API cls_CollectionType cls_CollectionTypeFix(cls_CollectionType generic, float*);
VNKUTI_BASIC_API cls_CollectionType cls_CollectionTypeFix(cls_CollectionType generic, int*);
VNKUTI_BASIC_API cls_CollectionType cls_CollectionTypeFix(cls_CollectionType generic, cow_String*);
VNKUTI_BASIC_API cls_CollectionType cls_CollectionTypeFix(cls_CollectionType generic, unsigned int*);

// Whether a field declared as `declared` serves a request for `requested`:
// equal kinds; a request for 2 also takes 4 and 90..96, one for 3 takes 100..106.
VNKUTI_BASIC_API bool cls_CollectionsMatch(cls_CollectionType declared, cls_CollectionType requested);

// How a class names one of its fields to the visitors.
struct VNKUTI_BASIC_API cls_FieldHandle {
  int m_FieldID = 0;
  cow_String m_FieldName;

  cls_FieldHandle() = default;
  cls_FieldHandle(const cow_String& name, int fieldID) : m_FieldID(fieldID), m_FieldName(name) {}
  cls_FieldHandle(const char* name, int fieldID) : m_FieldID(fieldID), m_FieldName(name) {}
};

// A field's name and ID as constant data, for a class's table of its fields:
// a constexpr cls_FieldName at namespace scope has no dynamic initializer, and
// it becomes a cls_FieldHandle wherever one is needed.
struct cls_FieldName {
  const char* m_Name;
  int m_ID;
  operator cls_FieldHandle() const { return cls_FieldHandle(m_Name, m_ID); }
};

// One persistent attribute of a class. The default entry (answered for an
// absent name) has field ID -1, an empty name and kinds 0.
struct VNKUTI_BASIC_API cls_AttributeMetadata {
  int m_FieldID = -1;
  cow_String m_FieldName;
  cls_AttributeType m_AttributeType = cls_AttrNone;
  unsigned int m_ClassID = 1;  // 1 for a plain value; the storage class for a collection
  cls_CollectionType m_CollectionType = cls_CollNone;
};

extern template class VNKUTI_BASIC_API omi_Btree<cow_String, cls_AttributeMetadata>;
extern template class VNKUTI_BASIC_API omi_BtreeIterator<cow_String, cls_AttributeMetadata>;

// ================================================================ metadata

class VNKUTI_BASIC_API cls_ClassMetadata : public mem_AllocationOperators {
 public:
  typedef void* (*CtorFunction)(cls_ReadVisitor&);
  typedef void (*DtorFunction)(cls_IntCOW*);
  typedef void (*DeleteFunction)(void*);
  typedef omi_Btree<cow_String, cls_AttributeMetadata> AttributeMap;

  // ----- constructors ---------------------------------------------------
  // A class ID equal to its base class ID would make every walk up the base
  // chain endless: the constructor then writes three lines to aio_cerr()
  // ("ODB metadat for class: <name>" ...) and aborts the process.
  cls_ClassMetadata(const cow_String& name, unsigned int classID, int version, CtorFunction ctor,
                    unsigned int baseClassID);
  cls_ClassMetadata(const cls_ClassMetadata&) = delete;
  cls_ClassMetadata& operator=(const cls_ClassMetadata&) = delete;

  // ----- virtual slots --------------------------------------------------
  virtual ~cls_ClassMetadata();
  // Writes object through its own class's DBWrite. Base: does nothing.
  virtual void DBWrite(const void* object, const cls_WriteVisitor& v) const;
  // Destroys object. Base: through the delete function given to
  // AddObjectDelete; without one, nothing. A class that builds objects with a
  // constructor function should give one, or objects built from a store
  // cannot be destroyed through their metadata.
  virtual void Delete(void* object) const;
  // Releases a shared representation with the class's destructor function,
  // when one was added. Base: that, or nothing.
  virtual void DeleteCow(cls_IntCOW* cow) const;
  // Builds a new object from v (the caller owns it); null without a
  // constructor function.
  virtual void* Ctor(const cls_ReadVisitor& v) const;

  // ----- builders (each returns *this) ----------------------------------
  // Enters the attribute under the handle's name; a name already present
  // keeps its first declaration.
  cls_ClassMetadata& AddAttribute(const cls_FieldHandle& field, cls_AttributeType type, unsigned int classID,
                                  cls_CollectionType collection);
  cls_ClassMetadata& AddDtor(DtorFunction dtor);
  // The function Delete uses to destroy a whole object of this class (the
  // counterpart of the constructor function).
  cls_ClassMetadata& AddObjectDelete(DeleteFunction del);
  cls_ClassMetadata& AddTableExtentQuantum(int quantum);

  // ----- accessors ------------------------------------------------------
  const cow_String& ClassName() const { return m_ClassName; }
  unsigned int ClassID() const { return m_ClassID; }
  unsigned int BaseClassID() const { return m_BaseClassID; }
  CtorFunction GetCtorFunction() const { return m_Ctor; }
  DtorFunction GetDtorFunction() const { return m_Dtor; }
  DeleteFunction GetDeleteFunction() const { return m_Delete; }
  int TableExtentQuantum() const { return m_TableExtentQuantum; }
  int Version() const { return m_Version; }
  const AttributeMap& Attributes() const { return m_Attributes; }
  // The attribute declared under name, or the default entry.
  const cls_AttributeMetadata& GetAttribute(const cow_String& name) const { return m_Attributes.Find(name); }
  // The largest field ID among the attributes; -1 when there are none.
  int MaxFieldID() const;

 private:
  cow_String m_ClassName;
  unsigned int m_ClassID;
  unsigned int m_BaseClassID;
  CtorFunction m_Ctor;
  DtorFunction m_Dtor = nullptr;
  DeleteFunction m_Delete = nullptr;
  int m_TableExtentQuantum = 4;
  int m_Version;
  AttributeMap m_Attributes;
};

extern template class VNKUTI_BASIC_API cow_CountedHld<cls_ClassMetadata>;

// A counted holder of a metadata record: the registrar's maps and the lists
// it hands out hold records only this way; the last holder destroys the
// record. Holders compare equal when they hold the same record.
class VNKUTI_BASIC_API cls_ClassMetadataHld : public cow_CountedHld<cls_ClassMetadata> {
 public:
  explicit cls_ClassMetadataHld(cls_ClassMetadata* md = nullptr) : cow_CountedHld<cls_ClassMetadata>(md) {}
  bool IsEmpty() const { return GetPtr() == nullptr; }
  const cls_ClassMetadata* operator->() const { return GetPtr(); }
  bool operator==(const cls_ClassMetadataHld& o) const { return GetPtr() == o.GetPtr(); }
  bool operator!=(const cls_ClassMetadataHld& o) const { return GetPtr() != o.GetPtr(); }
  // Orders by (class ID, version); an empty holder comes first.
  bool operator<(const cls_ClassMetadataHld& o) const;
};

// ============================================================ type adapters

// Metadata of a class T written through its own virtual DBWrite; for abstract
// classes, which are never built from a store.
template <class T>
class cls_AbsTypeAdapter : public cls_ClassMetadata {
 public:
  cls_AbsTypeAdapter(const cow_String& name, int version, unsigned int baseClassID)
      : cls_ClassMetadata(name, T::TypeId(), version, nullptr, baseClassID) {}
  void DBWrite(const void* object, const cls_WriteVisitor& v) const override {
    static_cast<const T*>(object)->DBWrite(v);
  }
  void Delete(void* object) const override { delete static_cast<T*>(object); }
};

// Metadata of a concrete class T, which is also built from a read visitor
// through T(const cls_ReadVisitor&).
template <class T>
class cls_TypeAdapter : public cls_AbsTypeAdapter<T> {
 public:
  cls_TypeAdapter(const cow_String& name, int version, unsigned int baseClassID)
      : cls_AbsTypeAdapter<T>(name, version, baseClassID) {}
  void* Ctor(const cls_ReadVisitor& v) const override { return new T(v); }
};

