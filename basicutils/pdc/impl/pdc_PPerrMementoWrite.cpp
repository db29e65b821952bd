// The error-print memento writer: fields, nested objects and base parts as
// an indented tree; the collection-type check on the error stream.
#include "pdc/pdc_PPerrMementoWrite.h"

#include "aio/aio_ostream.h"
#include "atr/atr_Translate.h"

namespace {

void Seq(pnt_PrettyPrint& p, const char* seq) { p.prettyprint(seq, 2); }

// The name of a registered class; the user-data flag depends on it.
bool IsUserDataClass(const cls_ClassRegistrar& r, unsigned int classID) {
  return r.ClassIsPresent(classID) && r.ConstGet(classID)->ClassName() == "bas_UserData";
}

// Lower-case hexadecimal digits of v, no prefix.
void Hex(unsigned int v, char (&out)[9]) {
  char digits[8];
  int n = 0;
  do {
    digits[n++] = "0123456789abcdef"[v & 0xF];
    v >>= 4;
  } while (v != 0);
  for (int i = 0; i < n; ++i) out[i] = digits[n - 1 - i];
  out[n] = 0;
}

}  // namespace

// ============================================================ constructors

pdc_PPerrMementoWrite::pdc_PPerrMementoWrite(const cls_ClassRegistrar& registrar, unsigned int classID,
                                             pnt_PrettyPrint* printer)
    : m_ClassID(classID),
      m_Registrar(&registrar),
      m_Printer(printer ? printer : &pnt_debugPrint()),
      m_BasePart(0),
      m_UserData(IsUserDataClass(registrar, classID) ? 1 : 0) {
  if (!Registered()) return;
  Seq(*m_Printer, pnt_PrettyPrint::NewLineSeq);
  *m_Printer << "<< CLASS NAME: " << m_Registrar->ConstGet(m_ClassID)->ClassName();
  Seq(*m_Printer, pnt_PrettyPrint::NewLineSeq);
  Seq(*m_Printer, pnt_PrettyPrint::IndentSeq);
}

pdc_PPerrMementoWrite::pdc_PPerrMementoWrite(const cls_ClassRegistrar& registrar, unsigned int classID,
                                             pnt_PrettyPrint& printer, bool basePart)
    : m_ClassID(classID),
      m_Registrar(&registrar),
      m_Printer(&printer),
      m_BasePart(basePart ? 1 : 0),
      m_UserData(IsUserDataClass(registrar, classID) ? 1 : 0) {}

pdc_PPerrMementoWrite::~pdc_PPerrMementoWrite() {
  if (m_BasePart || !Registered()) return;
  Seq(*m_Printer, pnt_PrettyPrint::OutdentSeq);
  *m_Printer << ">>";
  Seq(*m_Printer, pnt_PrettyPrint::NewLineSeq);
}

bool pdc_PPerrMementoWrite::Registered() const { return m_Registrar->ClassIsPresent(m_ClassID); }

pdc_PPerrMementoWrite* pdc_PPerrMementoWrite::MakeNested(unsigned int classID) const {
  auto* m = new pdc_PPerrMementoWrite(*m_Registrar, classID, m_Printer);
  m->m_Enclosing = this;
  return m;
}

void pdc_PPerrMementoWrite::Name(const cls_FieldHandle& f) { *m_Printer << f.m_FieldName << ": "; }

void pdc_PPerrMementoWrite::CollectionName(const cls_FieldHandle& f) { *m_Printer << f.m_FieldName << ":"; }

template <class T>
void pdc_PPerrMementoWrite::Scalar(const cls_FieldHandle& f, const T& v) {
  Name(f);
  *m_Printer << v;
  Seq(*m_Printer, pnt_PrettyPrint::NewLineSeq);
}

// ================================================================= fields

int pdc_PPerrMementoWrite::FieldIsPresent(const cls_FieldHandle&) { return 1; }

cls_MementoWrite* pdc_PPerrMementoWrite::MakeWriteObjWithPtr(const cls_FieldHandle& f, unsigned int classID,
                                                             const cls_Uid& uid, const void*) {
  return MakeWriteObj(f, classID, uid, nullptr);
}

cls_MementoWrite* pdc_PPerrMementoWrite::MakeWriteObj(const cls_FieldHandle& f, unsigned int classID, const cls_Uid&,
                                                      const cls_IntCOW*) {
  Name(f);
  // An unregistered object opens no block of its own: its fields start on
  // the next line instead of after the name.
  if (!m_Registrar->ClassIsPresent(classID)) Seq(*m_Printer, pnt_PrettyPrint::NewLineSeq);
  return MakeNested(classID);
}

cls_MementoWrite* pdc_PPerrMementoWrite::MakeBaseWriteObj(unsigned int classID, const cls_Uid&) {
  auto* m = new pdc_PPerrMementoWrite(*m_Registrar, classID, *m_Printer, true);
  m->m_Enclosing = this;
  if (m_UserData) m->m_UserData = 1;  // the base part belongs to the same object
  return m;
}

void pdc_PPerrMementoWrite::WriteNull(const cls_FieldHandle& f) {
  Name(f);
  *m_Printer << "NULL";
  Seq(*m_Printer, pnt_PrettyPrint::NewLineSeq);
}

void pdc_PPerrMementoWrite::Write(const cls_FieldHandle& f, const cow_String& v) {
  if (m_UserData) return;
  Scalar(f, v);
}

void pdc_PPerrMementoWrite::Write(const cls_FieldHandle& f, const double& v) { Scalar(f, v); }
void pdc_PPerrMementoWrite::Write(const cls_FieldHandle& f, const float& v) { Scalar(f, v); }
void pdc_PPerrMementoWrite::Write(const cls_FieldHandle& f, const unsigned int& v) { Scalar(f, v); }
void pdc_PPerrMementoWrite::Write(const cls_FieldHandle& f, const int& v) { Scalar(f, v); }
void pdc_PPerrMementoWrite::Write(const cls_FieldHandle& f, const unsigned short& v) { Scalar(f, v); }
void pdc_PPerrMementoWrite::Write(const cls_FieldHandle& f, const short& v) { Scalar(f, v); }
void pdc_PPerrMementoWrite::Write(const cls_FieldHandle& f, const unsigned char& v) { Scalar(f, v); }
void pdc_PPerrMementoWrite::Write(const cls_FieldHandle& f, const char& v) { Scalar(f, v); }
void pdc_PPerrMementoWrite::Write(const cls_FieldHandle& f, const bool& v) { Scalar(f, static_cast<int>(v)); }
void pdc_PPerrMementoWrite::Write(const cls_FieldHandle& f, const long long& v) { Scalar(f, static_cast<int>(v)); }

// ============================================================ collections

cls_WriteListObj* pdc_PPerrMementoWrite::MakeWriteListObj(const cls_FieldHandle& f, int count) {
  CollectionName(f);
  return new pdc_PPerrWriteListObj(*this, count);
}

cls_WriteMapInt2Obj* pdc_PPerrMementoWrite::MakeWriteMapInt2Obj(const cls_FieldHandle& f, int count) {
  CollectionName(f);
  return new pdc_PPerrWriteMapInt2Obj(*this, count);
}

cls_WriteMapString2Obj* pdc_PPerrMementoWrite::MakeWriteMapString2Obj(const cls_FieldHandle& f, int count) {
  CollectionName(f);
  return new pdc_PPerrWriteMapString2Obj(*this, count);
}

#define PDC_LIST_SLOT(T, Name)                                                                          \
  cls_WriteListPrim<T>* pdc_PPerrMementoWrite::MakeWriteList##Name(const cls_FieldHandle& f, int count) { \
    CollectionName(f);                                                                                  \
    return new pdc_PPerrWriteListPrim<T>(*m_Printer, count, m_UserData != 0);                           \
  }
PDC_LIST_SLOT(bool, Bool)
PDC_LIST_SLOT(cow_String, String)
PDC_LIST_SLOT(float, Float)
PDC_LIST_SLOT(double, Double)
PDC_LIST_SLOT(unsigned int, Uint)
PDC_LIST_SLOT(int, Int)
#undef PDC_LIST_SLOT

#define PDC_MAP_SLOT(Key, T, Name)                                                                       \
  cls_WriteMap##Key##2Prim<T>* pdc_PPerrMementoWrite::MakeWriteMap##Key##2##Name(const cls_FieldHandle& f, \
                                                                                int count) {             \
    CollectionName(f);                                                                                   \
    return new pdc_PPerrWriteMap##Key##2Prim<T>(*m_Printer, count, m_UserData != 0);                     \
  }
#define PDC_MAP_SLOTS(Key)                \
  PDC_MAP_SLOT(Key, unsigned int, Uint)   \
  PDC_MAP_SLOT(Key, cow_String, String)   \
  PDC_MAP_SLOT(Key, int, Int)             \
  PDC_MAP_SLOT(Key, float, Float)         \
  PDC_MAP_SLOT(Key, double, Double)
PDC_MAP_SLOTS(Int)
PDC_MAP_SLOTS(String)
#undef PDC_MAP_SLOTS
#undef PDC_MAP_SLOT

cls_AgentListPrim<float>* pdc_PPerrMementoWrite::MakeAgentListFloat(const cls_FieldHandle& f) {
  Name(f);
  return new pdc_PPerrAgentListFloat(*m_Printer);
}

cls_AgentListPrim<int>* pdc_PPerrMementoWrite::MakeAgentListInt(const cls_FieldHandle& f) {
  Name(f);
  return new pdc_PPerrAgentListInt(*m_Printer);
}

cls_AgentBlob* pdc_PPerrMementoWrite::MakeAgentBlob() { return new pdc_PPerrAgentBlob(*m_Printer); }

// ===================================================== collection types

const cls_AttributeMetadata* pdc_PPerrMementoWrite::Declaration(const cow_String& fieldName) const {
  for (const pdc_PPerrMementoWrite* m = this; m != nullptr; m = m->m_Enclosing) {
    if (!m->Registered()) continue;
    const cls_ClassMetadata& md = *m->m_Registrar->ConstGet(m->m_ClassID).GetPtr();
    if (md.Attributes().IsPresent(fieldName)) return &md.GetAttribute(fieldName);
  }
  return nullptr;
}

void pdc_PPerrMementoWrite::CheckCollectionType(cls_CollectionType requested, const cow_String& fieldName) {
  if (!Registered()) {
    atr_translate t("class not registered  %x \n");
    atr_String text = t.Result();
    char hex[9];
    Hex(m_ClassID, hex);
    const int at = text.Find("%x");
    if (at >= 0) text.Replace(at, 2, hex);
    aio_cerr() << text;
    return;
  }
  const cls_AttributeMetadata* a = Declaration(fieldName);
  // An undeclared field counts as declared with the attribute map's default
  // entry (collection type 0).
  const cls_CollectionType declared = a ? a->m_CollectionType : cls_AttributeMetadata().m_CollectionType;
  if (cls_CollectionsMatch(declared, requested)) return;
  atr_translate t("Error in collections types have: %d looking for: %d %s\n");
  atr_SubstituteFormat(t, 1, static_cast<int>(declared));
  atr_SubstituteFormat(t, 2, static_cast<int>(requested));
  atr_SubstituteFormat(t, 3, fieldName);
  aio_cerr() << t.Result();
}
