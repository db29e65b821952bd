// The exchange types: each writes itself in five steps (start, check, writer,
// elements, release) and reads itself back through the matching reader.
#include "cls/cls_xpTypes.h"

#include "cls/cls_ArrayPrim.h"
#include "cls/cls_ClassRegistrar.h"
#include "cls/cls_UidMap.h"
#include "cls/cls_Visitor.h"

namespace {

cls_FieldHandle Data() { return cls_ArrayPrimBase::DataField(); }
cls_FieldHandle Rows() { return cls_FieldHandle("rows", 1); }
cls_FieldHandle Columns() { return cls_FieldHandle("columns", 2); }

template <class T>
constexpr T* Tag() {
  return static_cast<T*>(nullptr);
}

// The writer and reader of a map by its key type.
template <class T>
cls_WriteMapPrim<cow_String, T>* MapWriter(const cls_WriteVisitor& v, int n, cow_String*) {
  return v.MakeWriteMapString2Prim<T>(Data(), n);
}
template <class T>
cls_WriteMapPrim<int, T>* MapWriter(const cls_WriteVisitor& v, int n, int*) {
  return v.MakeWriteMapInt2Prim<T>(Data(), n);
}
template <class T>
cls_ReadMapPrim<cow_String, T>* MapReader(const cls_ReadVisitor& v, cow_String*) {
  return v.MakeReadMapString2Prim<T>(Data());
}
template <class T>
cls_ReadMapPrim<int, T>* MapReader(const cls_ReadVisitor& v, int*) {
  return v.MakeReadMapInt2Prim<T>(Data());
}
constexpr cls_CollectionType MapFamily(cow_String*) { return cls_CollMapString2Prim; }
constexpr cls_CollectionType MapFamily(int*) { return cls_CollMapInt2Prim; }

}  // namespace

cls_xpObject::~cls_xpObject() = default;

// ================================================================== lists

template <class T>
cls_CollectionType cls_xpList1D<T>::CollectionType() {
  return cls_CollectionTypeFix(cls_CollList, Tag<T>());
}

template <class T>
cls_xpList1D<T>::cls_xpList1D(const cls_ReadVisitor& v) : m_Uid(v.GetUid()) {
  cls_ReadListPrim<T>* r = v.MakeReadListPrim<T>(Data());
  if (r == nullptr) return;
  const int n = r->Count();
  for (int i = 0; i < n; ++i) m_Value.Append(r->Get(i));
  cls_Release(r);
}

template <class T>
cls_xpList1D<T>::~cls_xpList1D() = default;

template <class T>
void cls_xpList1D<T>::DBWrite(const cls_WriteVisitor& v) const {
  if (!v.StartWrite(TypeId(), m_Uid)) return;
  v.CheckCollectionType(CollectionType());
  cls_WriteListPrim<T>* w = v.MakeWriteListPrim<T>(Data(), m_Value.Count());
  if (w == nullptr) return;
  for (cow_ListIter<T> it(m_Value); it.More(); it.Next()) w->Append(it.Current());
  cls_Release(w);
}

// ============================================================ 2-D arrays

template <class T>
cls_CollectionType cls_xp2D<T>::CollectionType() {
  return cls_CollectionTypeFix(cls_Coll2DArray, Tag<T>());
}

template <class T>
cls_xp2D<T>::cls_xp2D(const cls_ReadVisitor& v) : m_Value(0, 0), m_Uid(v.GetUid()) {
  cls_ReadListPrim<T>* r = v.MakeReadListPrim<T>(Data());
  if (r == nullptr) return;
  const int n = r->Count();
  int rows = v.Read(Rows(), -1), columns = v.Read(Columns(), -1);
  if (rows < 0 || columns < 0) {  // a plain list: one row
    rows = n > 0 ? 1 : 0;
    columns = n;
  }
  cow_2DArray<T> a(rows, columns, T());
  const long long cells = static_cast<long long>(rows) * columns;
  const int k = cells < n ? static_cast<int>(cells) : n;
  if (k > 0) r->GetBlock(0, k, a.Data());
  cls_Release(r);
  m_Value = a;
}

template <class T>
cls_xp2D<T>::~cls_xp2D() = default;

template <class T>
void cls_xp2D<T>::DBWrite(const cls_WriteVisitor& v) const {
  if (!v.StartWrite(TypeId(), m_Uid)) return;
  v.CheckCollectionType(CollectionType());
  v.Write(Rows(), m_Value.Rows());
  v.Write(Columns(), m_Value.Columns());
  const int n = static_cast<int>(m_Value.Count());
  cls_WriteListPrim<T>* w = v.MakeWriteListPrim<T>(Data(), n);
  if (w == nullptr) return;
  const T* p = m_Value.ConstData();
  for (int i = 0; i < n; ++i) w->Append(p[i]);  // row-major, as the array lies
  cls_Release(w);
}

// ================================================================== maps

template <class K, class T>
cls_CollectionType cls_xpMapPrim<K, T>::CollectionType() {
  return cls_CollectionTypeFix(MapFamily(Tag<K>()), Tag<T>());
}

template <class K, class T>
cls_xpMapPrim<K, T>::cls_xpMapPrim(const cls_ReadVisitor& v) : m_Uid(v.GetUid()) {
  cls_ReadMapPrim<K, T>* r = MapReader<T>(v, Tag<K>());
  if (r == nullptr) return;
  for (int i = 0; i < r->Count(); ++i) m_Value.Insert(r->KeyAt(i), r->ValueAt(i));
  cls_Release(r);
}

template <class K, class T>
cls_xpMapPrim<K, T>::~cls_xpMapPrim() = default;

template <class K, class T>
void cls_xpMapPrim<K, T>::DBWrite(const cls_WriteVisitor& v) const {
  if (!v.StartWrite(TypeId(), m_Uid)) return;
  v.CheckCollectionType(CollectionType());
  cls_WriteMapPrim<K, T>* w = MapWriter<T>(v, m_Value.Count(), Tag<K>());
  if (w == nullptr) return;
  for (cow_ConstMapSortedIt<K, T> it(m_Value); it.More(); it.Next()) w->Insert(it.Key(), it.Value());
  cls_Release(w);
}

// ================================================================ B-tree

cls_CollectionType cls_xpBtreeString2Uint::CollectionType() {
  return cls_CollectionTypeFix(cls_CollBtree, Tag<unsigned int>());
}

cls_xpBtreeString2Uint::cls_xpBtreeString2Uint(const cls_ReadVisitor& v) : m_Uid(v.GetUid()) {
  cls_ReadMapString2Prim<unsigned int>* r = v.MakeReadMapString2Prim<unsigned int>(Data());
  if (r == nullptr) return;
  for (int i = 0; i < r->Count(); ++i) m_Value.Set(r->KeyAt(i), r->ValueAt(i));
  cls_Release(r);
}

cls_xpBtreeString2Uint::~cls_xpBtreeString2Uint() = default;

void cls_xpBtreeString2Uint::DBWrite(const cls_WriteVisitor& v) const {
  if (!v.StartWrite(TypeId(), m_Uid)) return;
  v.CheckCollectionType(CollectionType());
  cls_WriteMapString2Prim<unsigned int>* w = v.MakeWriteMapString2Prim<unsigned int>(Data(), m_Value.Count());
  if (w == nullptr) return;
  for (cow_BtreeIterator<cow_String, unsigned int> it(m_Value); it.More(); it.Next()) w->Insert(it.Key(), it.Value());
  cls_Release(w);
}

void cls_xpBtreeString2Uint::InitializeMetadata(cls_ClassRegistrar& r) {
  r.AddClassMD(new cls_TypeAdapter<cls_xpBtreeString2Uint>("cls_InternalMap", 800, 1))
      .AddAttribute(Data(), cls_AttrCollection, 1, CollectionType());
}

// ============================================================ object maps

template <class K, class V>
cls_xoMap<K, V>::cls_xoMap(const cls_ReadVisitor& v) : m_Uid(v.GetUid()) {
  cls_ReadMapString2Obj* r = v.MakeReadMapString2Obj(Data());
  if (r == nullptr) return;
  for (int i = 0; i < r->Count(); ++i) {
    cls_MementoRead* m = r->MakeElement(i);
    if (m == nullptr) continue;  // a null element
    cls_ReadVisitor element(m);
    m_Value.Insert(r->KeyAt(i), V(element));
  }
  cls_Release(r);
}

template <class K, class V>
cls_xoMap<K, V>::~cls_xoMap() = default;

template <class K, class V>
void cls_xoMap<K, V>::DBWrite(const cls_WriteVisitor& v) const {
  if (!v.StartWrite(TypeId(), m_Uid)) return;
  v.CheckCollectionType(CollectionType());
  cls_WriteMapString2Obj* w = v.MakeWriteMapString2Obj(Data(), m_Value.Count());
  if (w == nullptr) return;
  for (cow_ConstMapSortedIt<K, V> it(m_Value); it.More(); it.Next()) {
    cls_WriteVisitor element(w->Element(it.Key()), &it.Value());
    it.Value().DBWrite(element);
  }
  cls_Release(w);
}

template <class K, class V>
void cls_xoMap<K, V>::InitializeMetadata(cls_ClassRegistrar& r) {
  r.AddClassMD(new cls_TypeAdapter<cls_xoMap>("cls_xoMap", 800, 1))
      .AddAttribute(Data(), cls_AttrCollection, V::TypeId(), CollectionType());
}

// ========================================================= map metadata

namespace {

// The object is answered as its cls_xpObject part, which MapMetadata
// expects back.
cls_xpObject* BuildMap(cls_ReadVisitor& v) {
  switch (static_cast<int>(v.StoredCollectionType(Data()))) {
    case 92: return new cls_xpMapString2Double(v);
    case 93: return new cls_xpMapString2Float(v);
    case 94: return new cls_xpMapString2Int(v);
    case 95: return new cls_xpMapString2String(v);
    case 96: return new cls_xpMapString2Uint(v);
    case 102: return new cls_xpMapInt2Double(v);
    case 103: return new cls_xpMapInt2Float(v);
    case 104: return new cls_xpMapInt2Int(v);
    case 105: return new cls_xpMapInt2String(v);
    case 106: return new cls_xpMapInt2Uint(v);
    default: return nullptr;
  }
}

void* ConstructMap(cls_ReadVisitor& v) { return BuildMap(v); }

// Every map type writes and goes away through cls_xpObject, whatever its
// key and value types; the stored collection type tells them apart again.
class MapMetadata final : public cls_ClassMetadata {
 public:
  MapMetadata() : cls_ClassMetadata("cls_xpMap", 0x230008, 800, &ConstructMap, 1) {}
  void DBWrite(const void* object, const cls_WriteVisitor& v) const override {
    static_cast<const cls_xpObject*>(object)->DBWrite(v);
  }
  void Delete(void* object) const override { delete static_cast<cls_xpObject*>(object); }
};

}  // namespace

void cls_xpMapMetadata::InitializeMetadata(cls_ClassRegistrar& r) {
  r.AddClassMD(new MapMetadata()).AddAttribute(Data(), cls_AttrCollection, 1, cls_CollNone);
}

// ============================================================== FromCow

#define CLS_XP_FROM_COW(Name, Container) \
  Name Name##FromCow(const Container& value) { return Name(value); }

CLS_XP_FROM_COW(cls_xp1DArrayInt, cow_List<int>)
CLS_XP_FROM_COW(cls_xp1DArrayListInt, cow_List<int>)
CLS_XP_FROM_COW(cls_xp1DArrayListUint, cow_List<unsigned int>)
CLS_XP_FROM_COW(cls_xp1DArrayListFloat, cow_List<float>)
CLS_XP_FROM_COW(cls_xp1DArrayListDouble, cow_List<double>)
CLS_XP_FROM_COW(cls_xp1DArrayListString, cow_List<cow_String>)
CLS_XP_FROM_COW(cls_xpListInt, cow_List<int>)
CLS_XP_FROM_COW(cls_xpListUint, cow_List<unsigned int>)
CLS_XP_FROM_COW(cls_xpListFloat, cow_List<float>)
CLS_XP_FROM_COW(cls_xpListDouble, cow_List<double>)
CLS_XP_FROM_COW(cls_xpListString, cow_List<cow_String>)
CLS_XP_FROM_COW(cls_xpListBool, cow_List<bool>)
CLS_XP_FROM_COW(cls_xp2DArrayInt, cow_2DArray<int>)
CLS_XP_FROM_COW(cls_xp2DArrayFloat, cow_2DArray<float>)
CLS_XP_FROM_COW(cls_xp2DArrayDouble, cow_2DArray<double>)
#define CLS_XP_MAP_FROM_COW(Name, K, T) \
  Name Name##FromCow(const cow_Map<K, T>& value) { return Name(value); }
CLS_XP_MAP_FROM_COW(cls_xpMapString2Int, cow_String, int)
CLS_XP_MAP_FROM_COW(cls_xpMapString2Uint, cow_String, unsigned int)
CLS_XP_MAP_FROM_COW(cls_xpMapString2Float, cow_String, float)
CLS_XP_MAP_FROM_COW(cls_xpMapString2Double, cow_String, double)
CLS_XP_MAP_FROM_COW(cls_xpMapString2String, cow_String, cow_String)
CLS_XP_MAP_FROM_COW(cls_xpMapInt2Int, int, int)
CLS_XP_MAP_FROM_COW(cls_xpMapInt2Uint, int, unsigned int)
CLS_XP_MAP_FROM_COW(cls_xpMapInt2Float, int, float)
CLS_XP_MAP_FROM_COW(cls_xpMapInt2Double, int, double)
CLS_XP_MAP_FROM_COW(cls_xpMapInt2String, int, cow_String)
#undef CLS_XP_MAP_FROM_COW
#undef CLS_XP_FROM_COW

cls_xpBtreeString2Uint cls_xpBtreeString2UintFromCow(const cow_Btree<cow_String, unsigned int>& value) {
  return cls_xpBtreeString2Uint(value);
}
cls_xpString cls_xpStringFromCow(const cow_String& value) { return cls_xpString(value); }
cls_xpTrString cls_xpTrStringFromCow(const atr_String& value) { return cls_xpTrString(value); }

// ============================================================== instances

template class cls_xpList1D<int>;
template class cls_xpList1D<unsigned int>;
template class cls_xpList1D<float>;
template class cls_xpList1D<double>;
template class cls_xpList1D<cow_String>;
template class cls_xpList1D<bool>;
template class cls_xp2D<int>;
template class cls_xp2D<float>;
template class cls_xp2D<double>;
template class cls_xpMapPrim<cow_String, int>;
template class cls_xpMapPrim<cow_String, unsigned int>;
template class cls_xpMapPrim<cow_String, float>;
template class cls_xpMapPrim<cow_String, double>;
template class cls_xpMapPrim<cow_String, cow_String>;
template class cls_xpMapPrim<int, int>;
template class cls_xpMapPrim<int, unsigned int>;
template class cls_xpMapPrim<int, float>;
template class cls_xpMapPrim<int, double>;
template class cls_xpMapPrim<int, cow_String>;

COW_MAP_INSTANTIATE(cow_String, cls_xp1DArrayListFloat)
COW_MAP_INSTANTIATE(cow_String, cls_Uid)
template class cls_xoMap<cow_String, cls_xp1DArrayListFloat>;
template class cls_AbsTypeAdapter<cls_xpBtreeString2Uint>;
template class cls_TypeAdapter<cls_xpBtreeString2Uint>;
template class cls_AbsTypeAdapter<cls_xoMap<cow_String, cls_xp1DArrayListFloat>>;
template class cls_TypeAdapter<cls_xoMap<cow_String, cls_xp1DArrayListFloat>>;
