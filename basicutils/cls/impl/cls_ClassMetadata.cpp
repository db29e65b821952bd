#include "cls/cls_ClassMetadata.h"

#include <cstdlib>

#include "aio/aio_ostream.h"
#include "atr/atr_Translate.h"

template class cow_CountedHld<cls_ClassMetadata>;
template class omi_Btree<cow_String, cls_AttributeMetadata>;
template class omi_BtreeIterator<cow_String, cls_AttributeMetadata>;

// ========================================================= collection types
//
// Refined numbers per family row (50, 60, ... 100) for the element types.
// The unsigned column jumps to 57 and 87 in two rows; those numbers are in
// stored data and must not be "corrected".

namespace {

bool IsFamily(int t) { return t >= 50 && t <= 100 && t % 10 == 0; }

cls_CollectionType FixByOffset(cls_CollectionType t, int offset) {
  return IsFamily(t) ? static_cast<cls_CollectionType>(t + offset) : t;
}

}  // namespace

cls_CollectionType cls_CollectionTypeFix(cls_CollectionType t, bool*) { return FixByOffset(t, 1); }
cls_CollectionType cls_CollectionTypeFix(cls_CollectionType t, double*) { return FixByOffset(t, 2); }
cls_CollectionType cls_CollectionTypeFix(cls_CollectionType t, float*) { return FixByOffset(t, 3); }

cls_CollectionType cls_CollectionTypeFix(cls_CollectionType t, int*) {
  if (t == cls_CollKeyed) return cls_CollIntKeyed;
  return FixByOffset(t, 4);
}

cls_CollectionType cls_CollectionTypeFix(cls_CollectionType t, cow_String*) {
  if (t == cls_CollKeyed) return cls_CollStringKeyed;
  return FixByOffset(t, 5);
}

cls_CollectionType cls_CollectionTypeFix(cls_CollectionType t, unsigned int*) {
  if (t == cls_CollList || t == cls_Coll2DArray) return static_cast<cls_CollectionType>(t + 7);
  return FixByOffset(t, 6);
}

bool cls_CollectionsMatch(cls_CollectionType declared, cls_CollectionType requested) {
  if (declared == requested) return true;
  if (requested == cls_CollStringKeyed) return declared == cls_CollMapString2Obj || (declared >= 90 && declared <= 96);
  if (requested == cls_CollIntKeyed) return declared >= 100 && declared <= 106;
  return false;
}

// ================================================================ metadata

cls_ClassMetadata::cls_ClassMetadata(const cow_String& name, unsigned int classID, int version, CtorFunction ctor,
                                     unsigned int baseClassID)
    : m_ClassName(name), m_ClassID(classID), m_BaseClassID(baseClassID), m_Ctor(ctor), m_Version(version) {
  if (classID == baseClassID) {
    aio_ostream& err = aio_cerr();
    atr_translate t("ODB metadat for class: %s\n");
    atr_SubstituteFormat(t, 1, name);
    err << t.Result();
    err << atr_translate("  Is incorrectly defined.  The base class ID is\n").Result();
    err << atr_translate("  the same as the class ID.  Please correct this.\n").Result();
    err.Flush();
    std::abort();
  }
}

cls_ClassMetadata::~cls_ClassMetadata() = default;

void cls_ClassMetadata::DBWrite(const void*, const cls_WriteVisitor&) const {}

void cls_ClassMetadata::Delete(void* object) const {
  if (m_Delete && object) m_Delete(object);
}

void cls_ClassMetadata::DeleteCow(cls_IntCOW* cow) const {
  if (m_Dtor) m_Dtor(cow);
}

void* cls_ClassMetadata::Ctor(const cls_ReadVisitor& v) const {
  return m_Ctor ? m_Ctor(const_cast<cls_ReadVisitor&>(v)) : nullptr;
}

cls_ClassMetadata& cls_ClassMetadata::AddAttribute(const cls_FieldHandle& field, cls_AttributeType type,
                                                   unsigned int classID, cls_CollectionType collection) {
  cls_AttributeMetadata a;
  a.m_FieldID = field.m_FieldID;
  a.m_FieldName = field.m_FieldName;
  a.m_AttributeType = type;
  a.m_ClassID = classID;
  a.m_CollectionType = collection;
  m_Attributes.Insert(field.m_FieldName, a);
  return *this;
}

cls_ClassMetadata& cls_ClassMetadata::AddDtor(DtorFunction dtor) {
  m_Dtor = dtor;
  return *this;
}

cls_ClassMetadata& cls_ClassMetadata::AddObjectDelete(DeleteFunction del) {
  m_Delete = del;
  return *this;
}

cls_ClassMetadata& cls_ClassMetadata::AddTableExtentQuantum(int quantum) {
  m_TableExtentQuantum = quantum;
  return *this;
}

int cls_ClassMetadata::MaxFieldID() const {
  int m = -1;
  for (AttributeMap::Iterator it(m_Attributes); it.More(); it.Next()) {
    if (it.Value().m_FieldID > m) m = it.Value().m_FieldID;
  }
  return m;
}

bool cls_ClassMetadataHld::operator<(const cls_ClassMetadataHld& o) const {
  const cls_ClassMetadata* a = GetPtr();
  const cls_ClassMetadata* b = o.GetPtr();
  if (a == nullptr || b == nullptr) return a == nullptr && b != nullptr;
  return cls_CIDVersion(a->ClassID(), a->Version()) < cls_CIDVersion(b->ClassID(), b->Version());
}
