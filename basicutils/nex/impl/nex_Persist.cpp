// The persistent side of the exception classes: writing, reading back,
// registration with the class registry, and the registry's failure hooks.
//
// Field IDs count from 0 within each class's own part; the persistent names
// are the member names (compound members with a dot).
#include "atr/atr_Translate.h"
#include "cls/cls_ClassRegistrar.h"
#include "cls/cls_Visitor.h"
#include "nex/nex_Exception.h"
#include "nex/nex_TypeTable.h"
#include "typ/typ_ArchCompTable.h"

// The hooks report from the exception module's main unit, at fixed lines.
#define NEX_SOURCE "nex/impl/nex_TypeTable"

template class cls_AbsTypeAdapter<nex_Exception>;
template class cls_AbsTypeAdapter<nex_CommandException>;
template class cls_AbsTypeAdapter<nex_TextException>;
template class cls_AbsTypeAdapter<nex_AssertException>;
template class cls_AbsTypeAdapter<nex_BadCastException>;
template class cls_AbsTypeAdapter<nex_ExitException>;
template class cls_AbsTypeAdapter<nex_InvalidObjException>;
template class cls_AbsTypeAdapter<nex_SystemErrorException>;
template class cls_AbsTypeAdapter<nex_OutOfMemoryException>;
template class cls_TypeAdapter<nex_TextException>;
template class cls_TypeAdapter<nex_AssertException>;
template class cls_TypeAdapter<nex_BadCastException>;
template class cls_TypeAdapter<nex_ExitException>;
template class cls_TypeAdapter<nex_InvalidObjException>;
template class cls_TypeAdapter<nex_SystemErrorException>;
template class cls_TypeAdapter<nex_OutOfMemoryException>;

namespace {

constexpr int kVersion = 800;

constexpr cls_FieldName kFromFile{"m_FromFile", 0};
constexpr cls_FieldName kFromLine{"m_FromLine", 1};
constexpr cls_FieldName kValue{"m_Value", 0};
constexpr cls_FieldName kExitMsg{"m_Value.m_Msg", 0};
constexpr cls_FieldName kExitErr{"m_Value.m_Err", 1};
constexpr cls_FieldName kNativeCode{"m_Value.m_NativeErrorCode", 0};
constexpr cls_FieldName kCrtCode{"m_Value.m_CRTErrorCode", 1};
constexpr cls_FieldName kMsg{"m_Msg", 0};
constexpr cls_FieldName kErr{"m_Err", 1};

// Writes the nex_Exception part of an object through a base visitor.
void WriteBase(const nex_Exception& e, const cls_WriteVisitor& v) {
  cls_WriteVisitor base(v, nex_Exception::TypeId());
  e.nex_Exception::DBWrite(base);  // direct: the base part, not the object
}

// Declares a concrete class's metadata: a type adapter under its own name.
template <class T>
cls_ClassMetadata& AddConcrete(cls_ClassRegistrar& r, const char* name) {
  return r.AddClassMD(new cls_TypeAdapter<T>(name, kVersion, nex_Exception::TypeId()));
}

// ============================================================== the hooks

void ClassHook(const cls_ClassRegistrar& r, unsigned int classID) {
  if (r.ClassIsPresent(classID)) return;
  atr_translate t("cls_ClassRegistrar::ConstGet failed: Class %s is not declared in metadata.");
  atr_SubstituteFormat(t, 1, typ_ArchCompTable::GetName(classID));
  nex_TextException(t.Result()).Throw(NEX_SOURCE, 46);
}

void VersionHook(const cls_ClassRegistrar& r, unsigned int classID, int version) {
  if (r.ClassVersionIsPresent(classID, version)) return;
  atr_translate t("cls_ClassRegistrar::GetClassMetadata failed: Class %s/Version %d is not declared in metadata.");
  atr_SubstituteFormat(t, 1, typ_ArchCompTable::GetName(classID));
  atr_SubstituteFormat(t, 2, version);
  nex_TextException(t.Result()).Throw(NEX_SOURCE, 60);
}

void NameHook(const cls_ClassRegistrar& r, const cow_String& name) {
  if (r.ClassNameIsPresent(name)) return;
  atr_translate t("cls_ClassRegistrar::GetClassID failed: Class ID can't be retrieved from class name %s.");
  atr_SubstituteFormat(t, 1, name);
  nex_TextException(t.Result()).Throw(NEX_SOURCE, 74);
}

}  // namespace

void nex_TypeTable::InstallRegistryHooks() {
  cls_ClassRegistrar::SetClassHook(&ClassHook);
  cls_ClassRegistrar::SetVersionHook(&VersionHook);
  cls_ClassRegistrar::SetNameHook(&NameHook);
}

void nex_TypeTable::RegisterPersistentClasses() {
  cls_MetadataRegistrar& m = omi_Singleton<cls_MetadataRegistrar>::Instance();
  m.initClassMetadata(&nex_AssertException::InitializeMetadata, 2);
  m.initClassMetadata(&nex_BadCastException::InitializeMetadata, 2);
  m.initClassMetadata(&nex_CommandException::InitializeMetadata, 2);
  m.initClassMetadata(&nex_Exception::InitializeMetadata, 2);
  m.initClassMetadata(&nex_ExitException::InitializeMetadata, 2);
  m.initClassMetadata(&nex_OutOfMemoryException::InitializeMetadata, 2);
  m.initClassMetadata(&nex_InvalidObjException::InitializeMetadata, 2);
  m.initClassMetadata(&nex_SystemErrorException::InitializeMetadata, 2);
  m.initClassMetadata(&nex_TextException::InitializeMetadata, 2);
}

// ================================================================== base

nex_Exception::nex_Exception(const cls_ReadVisitor& v)
    : m_FromFile(v.Read(kFromFile, cow_String())), m_FromLine(v.Read(kFromLine, 0)), m_Uid(v.GetUid()) {}

void nex_Exception::DBWrite(const cls_WriteVisitor& v) const {
  if (!v.StartWrite(nex_Exception::TypeId(), m_Uid)) return;
  v.Write(kFromFile, m_FromFile);
  v.Write(kFromLine, m_FromLine);
}

void nex_Exception::InitializeMetadata(cls_ClassRegistrar& r) {
  r.AddClassMD(new cls_AbsTypeAdapter<nex_Exception>("nex_Exception", kVersion, 1))
      .AddAttribute(kFromFile, cls_AttrString, 1, cls_CollNone)
      .AddAttribute(kFromLine, cls_AttrInt, 1, cls_CollNone);
}

// ============================================================= commands

nex_CommandException::nex_CommandException(const cls_ReadVisitor& v) : nex_Exception(cls_ReadVisitor(v)) {
  m_Uid = v.GetUid();
}

void nex_CommandException::DBWrite(const cls_WriteVisitor& v) const {
  if (!v.StartWrite(TypeId(), m_Uid)) return;
  WriteBase(*this, v);
}

void nex_CommandException::InitializeMetadata(cls_ClassRegistrar& r) {
  r.AddClassMD(new cls_AbsTypeAdapter<nex_CommandException>("nex_CommandException", kVersion, nex_Exception::TypeId()));
}

// ======================================================= one-text classes
// cls_ReadVisitor(v) below is the base part's visitor, not a copy.

#define NEX_TEXT_PERSISTENCE(Class)                                                   \
  Class::Class(const cls_ReadVisitor& v)                                              \
      : nex_Exception(cls_ReadVisitor(v)), m_Value(v.Read(kValue, cow_String())) {    \
    m_Uid = v.GetUid();                                                               \
  }                                                                                   \
  void Class::DBWrite(const cls_WriteVisitor& v) const {                              \
    if (!v.StartWrite(TypeId(), m_Uid)) return;                                       \
    WriteBase(*this, v);                                                              \
    v.Write(kValue, atr_String(m_Value));                                             \
  }                                                                                   \
  void Class::InitializeMetadata(cls_ClassRegistrar& r) {                             \
    AddConcrete<Class>(r, #Class).AddAttribute(kValue, cls_AttrString, 1, cls_CollNone); \
  }

NEX_TEXT_PERSISTENCE(nex_TextException)
NEX_TEXT_PERSISTENCE(nex_AssertException)
NEX_TEXT_PERSISTENCE(nex_BadCastException)
NEX_TEXT_PERSISTENCE(nex_InvalidObjException)
#undef NEX_TEXT_PERSISTENCE

// ================================================================== exit

nex_ExitException::nex_ExitException(const cls_ReadVisitor& v)
    : nex_Exception(cls_ReadVisitor(v)), m_Value{v.Read(kExitMsg, cow_String()), v.Read(kExitErr, 0)} {
  m_Uid = v.GetUid();
}

void nex_ExitException::DBWrite(const cls_WriteVisitor& v) const {
  if (!v.StartWrite(TypeId(), m_Uid)) return;
  WriteBase(*this, v);
  v.Write(kExitMsg, m_Value.m_Msg);
  v.Write(kExitErr, m_Value.m_Err);
}

void nex_ExitException::InitializeMetadata(cls_ClassRegistrar& r) {
  AddConcrete<nex_ExitException>(r, "nex_ExitException")
      .AddAttribute(kExitMsg, cls_AttrString, 1, cls_CollNone)
      .AddAttribute(kExitErr, cls_AttrInt, 1, cls_CollNone);
}

// ========================================================== system error

nex_SystemErrorException::nex_SystemErrorException(const cls_ReadVisitor& v)
    : nex_Exception(cls_ReadVisitor(v)),
      m_Value(v.Read(kNativeCode, cow_SystemErrorCode::NoNativeCode), v.Read(kCrtCode, 0)) {
  m_Uid = v.GetUid();
}

void nex_SystemErrorException::DBWrite(const cls_WriteVisitor& v) const {
  if (!v.StartWrite(TypeId(), m_Uid)) return;
  WriteBase(*this, v);
  v.Write(kNativeCode, m_Value.m_NativeErrorCode);
  v.Write(kCrtCode, m_Value.m_CRTErrorCode);
}

void nex_SystemErrorException::InitializeMetadata(cls_ClassRegistrar& r) {
  AddConcrete<nex_SystemErrorException>(r, "nex_SystemErrorException")
      .AddAttribute(kNativeCode, cls_AttrUint, 1, cls_CollNone)
      .AddAttribute(kCrtCode, cls_AttrInt, 1, cls_CollNone);
}

// ========================================================= out of memory

// Reading back does not append to the advice texts: only a message given to
// the constructor at the raise does.
nex_OutOfMemoryException::nex_OutOfMemoryException(const cls_ReadVisitor& v)
    : nex_Exception(cls_ReadVisitor(v)),
      m_Msg(v.Read(kMsg, cow_String())),
      m_Err(static_cast<nex_OutOfMemoryErrEnm>(v.Read(kErr, static_cast<int>(nex_OutOfMemoryHeap)))) {
  m_Uid = v.GetUid();
}

void nex_OutOfMemoryException::DBWrite(const cls_WriteVisitor& v) const {
  if (!v.StartWrite(TypeId(), m_Uid)) return;
  WriteBase(*this, v);
  v.Write(kMsg, m_Msg);
  v.Write(kErr, static_cast<int>(m_Err));
}

void nex_OutOfMemoryException::InitializeMetadata(cls_ClassRegistrar& r) {
  AddConcrete<nex_OutOfMemoryException>(r, "nex_OutOfMemoryException")
      .AddAttribute(kMsg, cls_AttrString, 1, cls_CollNone)
      .AddAttribute(kErr, cls_AttrEnum, 1, cls_CollNone);
}
