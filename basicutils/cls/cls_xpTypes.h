// Exchange types: small persistent wrappers that carry a plain container
// through the visitors, so that a class can store a list, a two-dimensional
// array or a map as one field. Each holds its container and a cls_Uid, reads
// itself back from a cls_ReadVisitor, writes itself with DBWrite in five
// steps (StartWrite; the collection-type check; ask the memento for the
// collection writer, announcing the count; hand it the elements one by one;
// release it), copies (sharing the container and the identity), and has a
// free function ...FromCow that builds it from its container.
//
// Stored forms (the elements always under the field "data"):
//   lists (cls_xp1DArray..., cls_xpList...)  class 0x230001, a list of T,
//       collection type cls_CollectionTypeFix(50, T*): 51 bool, 52 double,
//       53 float, 54 int, 55 cow_String, 57 unsigned. The same form as
//       cls_ArrayPrim<T>: either reads what the other wrote.
//   2-D arrays (cls_xp2DArray...)            class 0x230001, "rows" and
//       "columns" (int), then the elements as a list of T in row-major
//       order; collection type cls_CollectionTypeFix(80, T*) (83 float).
//   cls_xpBtreeString2Uint                   class 0x230002, a string-to-
//       unsigned map, collection type 66.
//   maps (cls_xpMap...)                      class 0x230008, a string- or
//       int-keyed map of T, collection type cls_CollectionTypeFix(90, T*)
//       for string keys and (100, T*) for int keys.
//   cls_xoMap<cow_String, V>                 class 0x23000A, a string-to-
//       object map of exchange objects, collection type 4.
// A store without the needed collection writer gets the object without its
// elements; reading answers an empty container then.
//
// Identity: a wrapper made from a container takes a fresh identity; a
// default-constructed one has the empty identity (so that default values,
// such as a map's value for a missing key, cost no catalog entry).
#pragma once

#include "VNKUTI_BasicExport.h"
#include "cls/cls_ClassMetadata.h"
#include "cls/cls_Uid.h"
#include "cls/cls_xpString.h"
#include "cow/cow_2DArray.h"
#include "cow/cow_Btree.h"
#include "cow/cow_List.h"
#include "cow/cow_Map.h"
#include "cow/cow_String.h"
#include "mem/mem_AllocationOperators.h"

class cls_WriteVisitor;
class cls_ReadVisitor;
class cls_ClassRegistrar;

// The persistent face every container exchange type shares, so that one
// metadata record can write or delete any of them.
class VNKUTI_BASIC_API cls_xpObject : public mem_AllocationOperators {
 public:
  virtual ~cls_xpObject();
  virtual unsigned int DynTypeId() const = 0;
  virtual void DBWrite(const cls_WriteVisitor& v) const = 0;

 protected:
  cls_xpObject() = default;
  cls_xpObject(const cls_xpObject&) = default;
  cls_xpObject& operator=(const cls_xpObject&) = default;
};

// ================================================================== lists

template <class T>
class cls_xpList1D : public cls_xpObject {
 public:
  static constexpr unsigned int ClassTypeId = 0x230001;
  static unsigned int TypeId() { return ClassTypeId; }
  unsigned int DynTypeId() const override { return ClassTypeId; }
  static cls_CollectionType CollectionType();

  cls_xpList1D() : m_Uid(static_cast<cls_UidCatalogEntry*>(nullptr)) {}
  explicit cls_xpList1D(const cow_List<T>& value) : m_Value(value) {}
  // Takes the identity from v, then reads the list under "data".
  explicit cls_xpList1D(const cls_ReadVisitor& v);
  cls_xpList1D(const cls_xpList1D&) = default;
  cls_xpList1D& operator=(const cls_xpList1D&) = default;
  ~cls_xpList1D() override;

  void DBWrite(const cls_WriteVisitor& v) const override;
  const cow_List<T>& Value() const { return m_Value; }
  cow_List<T>& Value() { return m_Value; }
  const cls_Uid& GetUid() const { return m_Uid; }
  bool operator==(const cls_xpList1D& o) const { return m_Value.IsEqual(o.m_Value); }

 protected:
  cow_List<T> m_Value;
  cls_Uid m_Uid;
};

// One class per name; all share their element type's stored form.
#define CLS_XP_LIST_TYPE(Name, T)                                    \
  class VNKUTI_BASIC_API Name : public cls_xpList1D<T> {             \
   public:                                                           \
    using cls_xpList1D<T>::cls_xpList1D;                             \
    Name() = default;                                                \
  };                                                                 \
  VNKUTI_BASIC_API Name Name##FromCow(const cow_List<T>& value);

// ============================================================ 2-D arrays

template <class T>
class cls_xp2D : public cls_xpObject {
 public:
  static constexpr unsigned int ClassTypeId = 0x230001;
  static unsigned int TypeId() { return ClassTypeId; }
  unsigned int DynTypeId() const override { return ClassTypeId; }
  static cls_CollectionType CollectionType();

  cls_xp2D() : m_Value(0, 0), m_Uid(static_cast<cls_UidCatalogEntry*>(nullptr)) {}
  explicit cls_xp2D(const cow_2DArray<T>& value) : m_Value(value) {}
  // Reads "rows", "columns" and the elements; missing elements are T(), a
  // stored list without a shape reads as one row.
  explicit cls_xp2D(const cls_ReadVisitor& v);
  cls_xp2D(const cls_xp2D&) = default;
  cls_xp2D& operator=(const cls_xp2D&) = default;
  ~cls_xp2D() override;

  void DBWrite(const cls_WriteVisitor& v) const override;
  const cow_2DArray<T>& Value() const { return m_Value; }
  cow_2DArray<T>& Value() { return m_Value; }
  const cls_Uid& GetUid() const { return m_Uid; }

 protected:
  cow_2DArray<T> m_Value;
  cls_Uid m_Uid;
};

#define CLS_XP_2D_TYPE(Name, T)                          \
  class VNKUTI_BASIC_API Name : public cls_xp2D<T> {     \
   public:                                               \
    using cls_xp2D<T>::cls_xp2D;                         \
    Name() = default;                                    \
  };                                                     \
  VNKUTI_BASIC_API Name Name##FromCow(const cow_2DArray<T>& value);

// ================================================================== maps

template <class K, class T>
class cls_xpMapPrim : public cls_xpObject {
 public:
  static constexpr unsigned int ClassTypeId = 0x230008;
  static unsigned int TypeId() { return ClassTypeId; }
  unsigned int DynTypeId() const override { return ClassTypeId; }
  static cls_CollectionType CollectionType();

  cls_xpMapPrim() : m_Uid(static_cast<cls_UidCatalogEntry*>(nullptr)) {}
  explicit cls_xpMapPrim(const cow_Map<K, T>& value) : m_Value(value) {}
  explicit cls_xpMapPrim(const cls_ReadVisitor& v);
  cls_xpMapPrim(const cls_xpMapPrim&) = default;
  cls_xpMapPrim& operator=(const cls_xpMapPrim&) = default;
  ~cls_xpMapPrim() override;

  // The entries go to the writer in ascending key order.
  void DBWrite(const cls_WriteVisitor& v) const override;
  const cow_Map<K, T>& Value() const { return m_Value; }
  cow_Map<K, T>& Value() { return m_Value; }
  const cls_Uid& GetUid() const { return m_Uid; }

 protected:
  cow_Map<K, T> m_Value;
  cls_Uid m_Uid;
};

#define CLS_XP_MAP_TYPE(Name, K, T)                          \
  class VNKUTI_BASIC_API Name : public cls_xpMapPrim<K, T> { \
   public:                                                   \
    using cls_xpMapPrim<K, T>::cls_xpMapPrim;                \
    Name() = default;                                        \
  };                                                         \
  VNKUTI_BASIC_API Name Name##FromCow(const cow_Map<K, T>& value);

// The string-to-number B-tree.
class VNKUTI_BASIC_API cls_xpBtreeString2Uint : public cls_xpObject {
 public:
  static constexpr unsigned int ClassTypeId = 0x230002;
  static unsigned int TypeId() { return ClassTypeId; }
  unsigned int DynTypeId() const override { return ClassTypeId; }
  static cls_CollectionType CollectionType();  // 66

  cls_xpBtreeString2Uint() : m_Uid(static_cast<cls_UidCatalogEntry*>(nullptr)) {}
  explicit cls_xpBtreeString2Uint(const cow_Btree<cow_String, unsigned int>& value) : m_Value(value) {}
  explicit cls_xpBtreeString2Uint(const cls_ReadVisitor& v);
  cls_xpBtreeString2Uint(const cls_xpBtreeString2Uint&) = default;
  cls_xpBtreeString2Uint& operator=(const cls_xpBtreeString2Uint&) = default;
  ~cls_xpBtreeString2Uint() override;

  void DBWrite(const cls_WriteVisitor& v) const override;
  static void InitializeMetadata(cls_ClassRegistrar& r);  // as "cls_InternalMap"
  const cow_Btree<cow_String, unsigned int>& Value() const { return m_Value; }
  cow_Btree<cow_String, unsigned int>& Value() { return m_Value; }
  const cls_Uid& GetUid() const { return m_Uid; }

 private:
  cow_Btree<cow_String, unsigned int> m_Value;
  cls_Uid m_Uid;
};

VNKUTI_BASIC_API cls_xpBtreeString2Uint cls_xpBtreeString2UintFromCow(const cow_Btree<cow_String, unsigned int>& value);
VNKUTI_BASIC_API cls_xpString cls_xpStringFromCow(const cow_String& value);
VNKUTI_BASIC_API cls_xpTrString cls_xpTrStringFromCow(const atr_String& value);

// Map of exchange objects: each value is written through its own DBWrite as
// an element of a string-to-object map, and read back with V(visitor).
template <class K, class V>
class cls_xoMap : public cls_xpObject {
 public:
  static constexpr unsigned int ClassTypeId = 0x23000A;
  static unsigned int TypeId() { return ClassTypeId; }
  unsigned int DynTypeId() const override { return ClassTypeId; }
  static cls_CollectionType CollectionType() { return cls_CollMapString2Obj; }

  cls_xoMap() : m_Uid(static_cast<cls_UidCatalogEntry*>(nullptr)) {}
  explicit cls_xoMap(const cow_Map<K, V>& value) : m_Value(value) {}
  // Null elements are left out.
  explicit cls_xoMap(const cls_ReadVisitor& v);
  cls_xoMap(const cls_xoMap&) = default;
  cls_xoMap& operator=(const cls_xoMap&) = default;
  ~cls_xoMap() override;

  void DBWrite(const cls_WriteVisitor& v) const override;
  static void InitializeMetadata(cls_ClassRegistrar& r);  // as "cls_xoMap"
  const cow_Map<K, V>& Value() const { return m_Value; }
  cow_Map<K, V>& Value() { return m_Value; }
  const cls_Uid& GetUid() const { return m_Uid; }

 private:
  cow_Map<K, V> m_Value;
  cls_Uid m_Uid;
};

// Rebuilds a stored cls_xpMap... object by its collection type; registered
// by pdc_initialize (mask 2) as "cls_xpMap".
class VNKUTI_BASIC_API cls_xpMapMetadata {
 public:
  static void InitializeMetadata(cls_ClassRegistrar& r);
};

// ============================================================== instances

extern template class VNKUTI_BASIC_API cls_xpList1D<int>;
extern template class VNKUTI_BASIC_API cls_xpList1D<unsigned int>;
extern template class VNKUTI_BASIC_API cls_xpList1D<float>;
extern template class VNKUTI_BASIC_API cls_xpList1D<double>;
extern template class VNKUTI_BASIC_API cls_xpList1D<cow_String>;
extern template class VNKUTI_BASIC_API cls_xpList1D<bool>;
extern template class VNKUTI_BASIC_API cls_xp2D<int>;
extern template class VNKUTI_BASIC_API cls_xp2D<float>;
extern template class VNKUTI_BASIC_API cls_xp2D<double>;
extern template class VNKUTI_BASIC_API cls_xpMapPrim<cow_String, int>;
extern template class VNKUTI_BASIC_API cls_xpMapPrim<cow_String, unsigned int>;
extern template class VNKUTI_BASIC_API cls_xpMapPrim<cow_String, float>;
extern template class VNKUTI_BASIC_API cls_xpMapPrim<cow_String, double>;
extern template class VNKUTI_BASIC_API cls_xpMapPrim<cow_String, cow_String>;
extern template class VNKUTI_BASIC_API cls_xpMapPrim<int, int>;
extern template class VNKUTI_BASIC_API cls_xpMapPrim<int, unsigned int>;
extern template class VNKUTI_BASIC_API cls_xpMapPrim<int, float>;
extern template class VNKUTI_BASIC_API cls_xpMapPrim<int, double>;
extern template class VNKUTI_BASIC_API cls_xpMapPrim<int, cow_String>;

CLS_XP_LIST_TYPE(cls_xp1DArrayInt, int)
CLS_XP_LIST_TYPE(cls_xp1DArrayListInt, int)
CLS_XP_LIST_TYPE(cls_xp1DArrayListUint, unsigned int)
CLS_XP_LIST_TYPE(cls_xp1DArrayListFloat, float)
CLS_XP_LIST_TYPE(cls_xp1DArrayListDouble, double)
CLS_XP_LIST_TYPE(cls_xp1DArrayListString, cow_String)
CLS_XP_LIST_TYPE(cls_xpListInt, int)
CLS_XP_LIST_TYPE(cls_xpListUint, unsigned int)
CLS_XP_LIST_TYPE(cls_xpListFloat, float)
CLS_XP_LIST_TYPE(cls_xpListDouble, double)
CLS_XP_LIST_TYPE(cls_xpListString, cow_String)
CLS_XP_LIST_TYPE(cls_xpListBool, bool)
CLS_XP_2D_TYPE(cls_xp2DArrayInt, int)
CLS_XP_2D_TYPE(cls_xp2DArrayFloat, float)
CLS_XP_2D_TYPE(cls_xp2DArrayDouble, double)
CLS_XP_MAP_TYPE(cls_xpMapString2Int, cow_String, int)
CLS_XP_MAP_TYPE(cls_xpMapString2Uint, cow_String, unsigned int)
CLS_XP_MAP_TYPE(cls_xpMapString2Float, cow_String, float)
CLS_XP_MAP_TYPE(cls_xpMapString2Double, cow_String, double)
CLS_XP_MAP_TYPE(cls_xpMapString2String, cow_String, cow_String)
CLS_XP_MAP_TYPE(cls_xpMapInt2Int, int, int)
CLS_XP_MAP_TYPE(cls_xpMapInt2Uint, int, unsigned int)
CLS_XP_MAP_TYPE(cls_xpMapInt2Float, int, float)
CLS_XP_MAP_TYPE(cls_xpMapInt2Double, int, double)
CLS_XP_MAP_TYPE(cls_xpMapInt2String, int, cow_String)

// The map of exchange objects, and the maps of values and identities the
// library keeps compiled.
COW_MAP_EXTERN_TEMPLATES(cow_String, cls_xp1DArrayListFloat)
extern template class VNKUTI_BASIC_API cls_xoMap<cow_String, cls_xp1DArrayListFloat>;
extern template class VNKUTI_BASIC_API cls_AbsTypeAdapter<cls_xpBtreeString2Uint>;
extern template class VNKUTI_BASIC_API cls_TypeAdapter<cls_xpBtreeString2Uint>;
extern template class VNKUTI_BASIC_API cls_AbsTypeAdapter<cls_xoMap<cow_String, cls_xp1DArrayListFloat>>;
extern template class VNKUTI_BASIC_API cls_TypeAdapter<cls_xoMap<cow_String, cls_xp1DArrayListFloat>>;
