// cls_ArrayPrim, cls_2dArrayPrim and cls_SimpleArrayPrim: their stored form,
// their messages and the metadata records that rebuild them by class ID.
#include "cls/cls_ArrayPrim.h"

#include <cstring>

#include "cls/cls_ClassRegistrar.h"
#include "cls/cls_Visitor.h"

namespace {

constexpr cls_ArrayPrimTexts kArrayTexts = {
    "In cls_ArrayPrim::Get() Index out of range.",
    "In cls_ArrayPrim::ConstGet() Index out of range.",
    "In cls_ArrayPrim::GetBuffer() Missing agent.",
    "cls_ArrayPrim::AppendBlock: Collection must be associated with a database for this method.",
    "cls_ArrayPrim::DBWrite: Index conflicts(s) in list.",
};

constexpr cls_ArrayPrimTexts k2dTexts = {
    "In cls_2dArrayPrim::Get() Index out of range.",
    "In cls_2dArrayPrim::ConstGet() Index out of range.",
    "In cls_2dArrayPrim::GetBuffer() Missing agent.",
    "cls_2dArrayPrim::AppendBlock: Collection must be associated with a database for this method.",
    "cls_2dArrayPrim::DBWrite: Index conflicts(s) in list.",
};

constexpr const char* kSimpleAppendBlock =
    "cls_SimpleArrayPrim::AppendBlock: Collection must be associated with a database for this method.";
constexpr const char* kSimpleReadBlock =
    "cls_SimpleArrayPrim::ReadBlock: Collection must be associated with a database for this method.";

cls_FieldHandle ColumnsField() { return cls_FieldHandle("columns", 1); }

template <class T>
cls_CollectionType ListType() {
  return cls_CollectionTypeFix(cls_CollList, static_cast<T*>(nullptr));
}

}  // namespace

// ============================================================ cls_ArrayPrim

template <class T>
cls_ArrayPrim<T>::cls_ArrayPrim() : m_Blocks(kArrayTexts) {}

template <class T>
cls_ArrayPrim<T>::cls_ArrayPrim(const cls_ArrayPrim& o) : cls_ArrayPrimBase(o), m_Blocks(o.m_Blocks), m_Uid(o.m_Uid) {}

template <class T>
cls_ArrayPrim<T>::cls_ArrayPrim(const cls_ReadVisitor& v)
    : m_Blocks(kArrayTexts, v.MakeAgentListPrim<T>(DataField())), m_Uid(v.GetUid()) {}

template <class T>
cls_ArrayPrim<T>::~cls_ArrayPrim() = default;

template <class T>
cls_CollectionType cls_ArrayPrim<T>::ElementType() const {
  return ListType<T>();
}

template <class T>
void cls_ArrayPrim<T>::DBWrite(const cls_WriteVisitor& v) const {
  if (!v.StartWrite(TypeId(), m_Uid)) return;
  v.CheckCollectionType(ListType<T>());
  DBWriteBody(v);
}

template <class T>
void cls_ArrayPrim<T>::DBWriteBody(const cls_WriteVisitor& v) const {
  m_Blocks.WriteTo(v.MakeAgentListPrim<T>(DataField()));
}

// ========================================================== cls_2dArrayPrim

template <class T>
cls_2dArrayPrim<T>::cls_2dArrayPrim(int columns) : m_Blocks(k2dTexts), m_Columns(columns > 0 ? columns : 1) {}

template <class T>
cls_2dArrayPrim<T>::cls_2dArrayPrim(const cls_2dArrayPrim& o)
    : cls_ArrayPrimBase(o), m_Blocks(o.m_Blocks), m_Columns(o.m_Columns), m_Uid(o.m_Uid) {}

template <class T>
cls_2dArrayPrim<T>::cls_2dArrayPrim(const cls_ReadVisitor& v)
    : m_Blocks(k2dTexts, v.MakeAgentListPrim<T>(DataField())), m_Columns(v.Read(ColumnsField(), 1)), m_Uid(v.GetUid()) {
  if (m_Columns < 1) m_Columns = 1;
}

template <class T>
cls_2dArrayPrim<T>::~cls_2dArrayPrim() = default;

template <class T>
cls_CollectionType cls_2dArrayPrim<T>::ElementType() const {
  return ListType<T>();
}

template <class T>
void cls_2dArrayPrim<T>::DBWrite(const cls_WriteVisitor& v) const {
  if (!v.StartWrite(TypeId(), m_Uid)) return;
  v.CheckCollectionType(cls_CollectionTypeFix(cls_Coll2DArray, static_cast<T*>(nullptr)));
  v.Write(ColumnsField(), m_Columns);
  m_Blocks.WriteTo(v.MakeAgentListPrim<T>(DataField()));
}

// ====================================================== cls_SimpleArrayPrim

template <class T>
cls_SimpleArrayPrim<T>::cls_SimpleArrayPrim(int size) {
  Resize(size);
}

template <class T>
cls_SimpleArrayPrim<T>::cls_SimpleArrayPrim(const cls_Uid& uid, int size) : m_Uid(uid) {
  Resize(size);
}

template <class T>
cls_SimpleArrayPrim<T>::cls_SimpleArrayPrim(const cls_Uid& uid, const cls_SimpleArrayPrim& o)
    : cls_ArrayPrimBase(o), m_Uid(uid) {
  Write(o.m_Data, o.m_Size);
}

template <class T>
cls_SimpleArrayPrim<T>::cls_SimpleArrayPrim(const cls_SimpleArrayPrim& o) : cls_ArrayPrimBase(o), m_Uid(o.m_Uid) {
  Write(o.m_Data, o.m_Size);
}

template <class T>
cls_SimpleArrayPrim<T>::cls_SimpleArrayPrim(const cls_ReadVisitor& v, cls_Uid* uid) : m_Uid(v.GetUid()) {
  if (uid != nullptr) *uid = m_Uid;
  if (cls_ReadListPrim<T>* r = v.MakeReadListPrim<T>(DataField())) {
    Resize(r->Count());
    r->GetBlock(0, m_Size, m_Data);
    cls_Release(r);
  }
  // Only an existing list: asking a store for an agent may create one.
  if (v.FieldIsPresent(DataField())) m_Agent = v.MakeAgentListPrim<T>(DataField());
}

template <class T>
cls_SimpleArrayPrim<T>::~cls_SimpleArrayPrim() {
  cls_Release(m_Agent);
  mem_Free(m_Data);
}

template <class T>
cls_CollectionType cls_SimpleArrayPrim<T>::ElementType() const {
  return ListType<T>();
}

template <class T>
void cls_SimpleArrayPrim<T>::Resize(int n) {
  if (n < 0) n = 0;
  T* p = n ? static_cast<T*>(mem_Malloc(static_cast<std::size_t>(n) * sizeof(T))) : nullptr;
  if (n) std::memset(p, 0, static_cast<std::size_t>(n) * sizeof(T));
  const int keep = n < m_Size ? n : m_Size;
  if (keep) std::memcpy(p, m_Data, static_cast<std::size_t>(keep) * sizeof(T));
  mem_Free(m_Data);
  m_Data = p;
  m_Size = n;
}

template <class T>
void cls_SimpleArrayPrim<T>::Write(const T* p, int n) {
  if (n < 0) n = 0;
  T* q = n ? static_cast<T*>(mem_Malloc(static_cast<std::size_t>(n) * sizeof(T))) : nullptr;
  if (n) std::memcpy(q, p, static_cast<std::size_t>(n) * sizeof(T));
  mem_Free(m_Data);
  m_Data = q;
  m_Size = n;
}

template <class T>
int cls_SimpleArrayPrim<T>::Read(T* out, int n) const {
  const int k = n < m_Size ? (n > 0 ? n : 0) : m_Size;
  if (k) std::memcpy(out, m_Data, static_cast<std::size_t>(k) * sizeof(T));
  return k;
}

template <class T>
void cls_SimpleArrayPrim<T>::AppendBlock(const T* p, int n) {
  if (m_Agent == nullptr) {
    Report(kSimpleAppendBlock);
    return;
  }
  if (n <= 0) return;
  m_Agent->AppendBlock(n, p);
  const int old = m_Size;
  Resize(old + n);
  std::memcpy(m_Data + old, p, static_cast<std::size_t>(n) * sizeof(T));
}

template <class T>
void cls_SimpleArrayPrim<T>::ReadBlock(int start, int n, T* out) const {
  if (m_Agent == nullptr) {
    Report(kSimpleReadBlock);
    for (int i = 0; i < n; ++i) out[i] = T();
    return;
  }
  m_Agent->ReadBlock(start, n, out);
}

template <class T>
void cls_SimpleArrayPrim<T>::Detach() {
  cls_Release(m_Agent);
  m_Agent = nullptr;
}

template <class T>
void cls_SimpleArrayPrim<T>::DBWrite(const cls_WriteVisitor& v) const {
  if (!v.StartWrite(TypeId(), m_Uid)) return;
  v.CheckCollectionType(ListType<T>());
  cls_WriteListPrim<T>* w = v.MakeWriteListPrim<T>(DataField(), m_Size);
  if (w == nullptr) return;
  w->AppendBlock(m_Data, m_Size);
  cls_Release(w);
}

// ================================================================ metadata

namespace {

// A record whose DBWrite and Delete serve every primitive array, and whose
// Ctor picks the element type from the stored list.
class ArrayMetadata final : public cls_ClassMetadata {
 public:
  ArrayMetadata(const char* name, unsigned int classID, CtorFunction ctor)
      : cls_ClassMetadata(name, classID, 800, ctor, 1) {}
  void DBWrite(const void* object, const cls_WriteVisitor& v) const override {
    static_cast<const cls_ArrayPrimBase*>(object)->DBWrite(v);
  }
  void Delete(void* object) const override { delete static_cast<cls_ArrayPrimBase*>(object); }
};

cls_ArrayPrimBase* BuildList(cls_ReadVisitor& v) {
  switch (static_cast<int>(v.StoredCollectionType(cls_ArrayPrimBase::DataField()))) {
    case 51: return new cls_ArrayPrim<bool>(v);
    case 52: return new cls_ArrayPrim<double>(v);
    case 53: return new cls_ArrayPrim<float>(v);
    case 54: return new cls_ArrayPrim<int>(v);
    case 55: return new cls_ArrayPrim<cow_String>(v);
    default: return nullptr;
  }
}

cls_ArrayPrimBase* BuildSimple(cls_ReadVisitor& v) {
  switch (static_cast<int>(v.StoredCollectionType(cls_ArrayPrimBase::DataField()))) {
    case 53: return new cls_SimpleArrayPrim<float>(v, nullptr);
    case 54: return new cls_SimpleArrayPrim<int>(v, nullptr);
    default: return nullptr;
  }
}

cls_ArrayPrimBase* Build2d(cls_ReadVisitor& v) {
  switch (static_cast<int>(v.StoredCollectionType(cls_ArrayPrimBase::DataField()))) {
    case 52: return new cls_2dArrayPrim<double>(v);
    case 53: return new cls_2dArrayPrim<float>(v);
    default: return nullptr;
  }
}

// The constructor functions answer the object as its most-derived address
// seen through cls_ArrayPrimBase, which Delete and DBWrite expect.
void* ConstructList(cls_ReadVisitor& v) { return BuildList(v); }
void* ConstructSimple(cls_ReadVisitor& v) { return BuildSimple(v); }
void* Construct2d(cls_ReadVisitor& v) { return Build2d(v); }

}  // namespace

void cls_ArrayPrimMetadata::InitializeInternalList(cls_ClassRegistrar& r) {
  r.AddClassMD(new ArrayMetadata("cls_InternalList", 0x230001, &ConstructList))
      .AddAttribute(cls_ArrayPrimBase::DataField(), cls_AttrCollection, 1, cls_CollList);
}

void cls_ArrayPrimMetadata::InitializeSimpleArray(cls_ClassRegistrar& r) {
  r.AddClassMD(new ArrayMetadata("cls_SimpleArrayPrim", 0x230003, &ConstructSimple))
      .AddAttribute(cls_ArrayPrimBase::DataField(), cls_AttrCollection, 1, cls_CollList);
}

void cls_ArrayPrimMetadata::Initialize2dArray(cls_ClassRegistrar& r) {
  r.AddClassMD(new ArrayMetadata("cls_2dArrayPrim", 0x230004, &Construct2d))
      .AddAttribute(ColumnsField(), cls_AttrInt, 1, cls_CollNone)
      .AddAttribute(cls_ArrayPrimBase::DataField(), cls_AttrCollection, 1, cls_CollList);
}

// ============================================================== instances

template class cls_ArrayPrim<int>;
template class cls_ArrayPrim<float>;
template class cls_ArrayPrim<double>;
template class cls_ArrayPrim<bool>;
template class cls_ArrayPrim<cow_String>;
template class cls_2dArrayPrim<float>;
template class cls_2dArrayPrim<double>;
template class cls_SimpleArrayPrim<int>;
template class cls_SimpleArrayPrim<float>;
