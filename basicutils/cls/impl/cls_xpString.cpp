#include "cls/cls_xpString.h"

#include "cls/cls_ClassRegistrar.h"
#include "cls/cls_Visitor.h"

template class cls_AbsTypeAdapter<cls_xpString>;
template class cls_TypeAdapter<cls_xpString>;
template class cls_AbsTypeAdapter<cls_xpTrString>;
template class cls_TypeAdapter<cls_xpTrString>;

// The identity is read first: the store names the object before its text.
cls_xpString::cls_xpString(const cls_ReadVisitor& v) : m_Uid(v.GetUid()) {
  m_Value = v.Read(cls_FieldHandle("STRING", 0), cow_String());
}

cls_xpString::~cls_xpString() = default;

void cls_xpString::DBWrite(const cls_WriteVisitor& v) const {
  if (!v.StartWrite(TypeId(), m_Uid)) return;
  v.Write(cls_FieldHandle("STRING", 0), m_Value);
}

void cls_xpString::InitializeMetadata(cls_ClassRegistrar& r) {
  r.AddClassMD(new cls_TypeAdapter<cls_xpString>("cow_String", 800, 1))
      .AddAttribute(cls_FieldHandle("STRING", 0), cls_AttrString, 1, cls_CollNone);
}

cls_xpTrString::cls_xpTrString(const cls_ReadVisitor& v) : m_Uid(v.GetUid()) {
  m_Value = v.Read(cls_FieldHandle("TRSTRING", 0), atr_String());
}

cls_xpTrString::~cls_xpTrString() = default;

void cls_xpTrString::DBWrite(const cls_WriteVisitor& v) const {
  if (!v.StartWrite(TypeId(), m_Uid)) return;
  v.Write(cls_FieldHandle("TRSTRING", 0), m_Value);
}

void cls_xpTrString::InitializeMetadata(cls_ClassRegistrar& r) {
  r.AddClassMD(new cls_TypeAdapter<cls_xpTrString>("atr_String", 800, 1))
      .AddAttribute(cls_FieldHandle("TRSTRING", 0), cls_AttrString, 1, cls_CollNone);
}
