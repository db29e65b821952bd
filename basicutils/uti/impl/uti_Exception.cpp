// The uti_ exception classes: texts, writing, reading back and the metadata
// uti_initialize registers.
//
// Field IDs count from 0 within each class's own part; the persistent names
// are the member names.
#include "uti/uti_Exception.h"

#include "atr/atr_Translate.h"
#include "cls/cls_ClassRegistrar.h"
#include "cls/cls_Visitor.h"
#include "plt/plt_Error.h"

template class cls_AbsTypeAdapter<uti_IOErrorException>;
template class cls_AbsTypeAdapter<uti_CmdFailedException>;
template class cls_AbsTypeAdapter<uti_InterruptedException>;
template class cls_AbsTypeAdapter<uti_OdmException>;
template class cls_AbsTypeAdapter<uti_XypException>;
template class cls_AbsTypeAdapter<uti_PreCheckFileException>;
template class cls_TypeAdapter<uti_IOErrorException>;
template class cls_TypeAdapter<uti_CmdFailedException>;
template class cls_TypeAdapter<uti_InterruptedException>;
template class cls_TypeAdapter<uti_OdmException>;
template class cls_TypeAdapter<uti_XypException>;
template class cls_TypeAdapter<uti_PreCheckFileException>;

NEX_CONCRETE_DEFINITIONS(uti_IOErrorException)
NEX_CONCRETE_DEFINITIONS(uti_CmdFailedException)
NEX_CONCRETE_DEFINITIONS(uti_InterruptedException)
NEX_CONCRETE_DEFINITIONS(uti_OdmException)
NEX_CONCRETE_DEFINITIONS(uti_XypException)
NEX_CONCRETE_DEFINITIONS(uti_PreCheckFileException)
NEX_CONCRETE_DEFINITIONS(uti_NotOnPathException)
NEX_CONCRETE_DEFINITIONS(uti_NotExecutableException)

namespace {

constexpr int kVersion = 800;

constexpr cls_FieldName kFunction{"m_Function", 0};
constexpr cls_FieldName kErrorNo{"m_ErrorNo", 1};
constexpr cls_FieldName kFuncData{"m_FuncData", 2};
constexpr cls_FieldName kValue{"m_Value", 0};

// Writes the nex_CommandException part (and through it the nex_Exception
// part) of e through a base visitor.
void WriteBase(const nex_CommandException& e, const cls_WriteVisitor& v) {
  cls_WriteVisitor base(v, nex_CommandException::TypeId());
  e.nex_CommandException::DBWrite(base);  // direct: the base part, not the object
}

template <class T>
cls_ClassMetadata& AddConcrete(cls_ClassRegistrar& r, const char* name) {
  return r.AddClassMD(new cls_TypeAdapter<T>(name, kVersion, nex_CommandException::TypeId()));
}

atr_String CaseText(int value, const char* const* texts, int count) {
  return value >= 0 && value < count ? atr_String(texts[value]) : atr_String();
}

}  // namespace

// =========================================================== platform call

uti_IOErrorException::uti_IOErrorException(const char* function, int errorNo, const cow_String& funcData)
    : m_Function(function), m_ErrorNo(errorNo), m_FuncData(funcData) {}

uti_IOErrorException::~uti_IOErrorException() = default;

atr_String uti_IOErrorException::JournalMessage() const {
  atr_translate t(m_FuncData.IsEmpty() ? "%1$s failed with error %2$d: %3$s" : "%1$s failed with error %2$d: %3$s (%4$s)");
  atr_SubstituteFormat(t, 1, m_Function);
  atr_SubstituteFormat(t, 2, m_ErrorNo);
  atr_SubstituteFormat(t, 3, plt_ErrorText(m_ErrorNo));
  atr_SubstituteFormat(t, 4, m_FuncData);
  return t.Result();
}

cow_String uti_IOErrorException::PythonType() const { return cow_String("IOError"); }

uti_IOErrorException::uti_IOErrorException(const cls_ReadVisitor& v)
    : nex_CommandException(cls_ReadVisitor(v)),
      m_Function(v.Read(kFunction, cow_String())),
      m_ErrorNo(v.Read(kErrorNo, 0)),
      m_FuncData(v.Read(kFuncData, cow_String())) {
  m_Uid = v.GetUid();
}

void uti_IOErrorException::DBWrite(const cls_WriteVisitor& v) const {
  if (!v.StartWrite(TypeId(), m_Uid)) return;
  WriteBase(*this, v);
  v.Write(kFunction, m_Function);
  v.Write(kErrorNo, m_ErrorNo);
  v.Write(kFuncData, m_FuncData);
}

void uti_IOErrorException::InitializeMetadata(cls_ClassRegistrar& r) {
  AddConcrete<uti_IOErrorException>(r, "uti_IOErrorException")
      .AddAttribute(kFunction, cls_AttrString, 1, cls_CollNone)
      .AddAttribute(kErrorNo, cls_AttrInt, 1, cls_CollNone)
      .AddAttribute(kFuncData, cls_AttrString, 1, cls_CollNone);
}

// ================================================== one value, one text

atr_String uti_CmdFailedException::Text() const {
  static constexpr const char* kTexts[] = {"uti_CmdFailed"};
  return CaseText(m_Value, kTexts, 1);
}

atr_String uti_InterruptedException::Text() const {
  static constexpr const char* kTexts[] = {"uti_Signal", "uti_Keyboard", "uti_Stop"};
  return CaseText(m_Value, kTexts, 3);
}

// The classes whose own part is m_Value alone: absent is what a read answers
// when the field is missing, attr the field's stored kind.
#define UTI_VALUE_PERSISTENCE(Class, absent, attr)                                  \
  Class::~Class() = default;                                                        \
  Class::Class(const cls_ReadVisitor& v)                                            \
      : nex_CommandException(cls_ReadVisitor(v)), m_Value(v.Read(kValue, absent)) { \
    m_Uid = v.GetUid();                                                             \
  }                                                                                 \
  void Class::DBWrite(const cls_WriteVisitor& v) const {                            \
    if (!v.StartWrite(TypeId(), m_Uid)) return;                                     \
    WriteBase(*this, v);                                                            \
    v.Write(kValue, m_Value);                                                       \
  }                                                                                 \
  void Class::InitializeMetadata(cls_ClassRegistrar& r) {                           \
    AddConcrete<Class>(r, #Class).AddAttribute(kValue, attr, 1, cls_CollNone);      \
  }

UTI_VALUE_PERSISTENCE(uti_CmdFailedException, 0, cls_AttrInt)
UTI_VALUE_PERSISTENCE(uti_InterruptedException, 0, cls_AttrInt)

// ============================================================ message ones

UTI_VALUE_PERSISTENCE(uti_OdmException, cow_String(), cls_AttrString)
UTI_VALUE_PERSISTENCE(uti_XypException, cow_String(), cls_AttrString)
UTI_VALUE_PERSISTENCE(uti_PreCheckFileException, cow_String(), cls_AttrString)
#undef UTI_VALUE_PERSISTENCE

cow_String uti_OdmException::PythonType() const { return cow_String("uti_Odm"); }
cow_String uti_XypException::PythonType() const { return cow_String("uti_Xyp"); }
cow_String uti_PreCheckFileException::PythonType() const { return cow_String("uti_PreCheckFile"); }

// ============================================================ PATH search

uti_NotOnPathException::uti_NotOnPathException(const atr_StringBase& name) {
  atr_translate t("%s not found in PATH.");
  atr_SubstituteFormat(t, 1, name);
  m_Value = t.Result();
}

uti_NotOnPathException::~uti_NotOnPathException() = default;

uti_NotExecutableException::uti_NotExecutableException(const atr_StringBase& path) {
  atr_translate t("%s is not executable.");
  atr_SubstituteFormat(t, 1, path);
  m_Value = t.Result();
}

uti_NotExecutableException::~uti_NotExecutableException() = default;
