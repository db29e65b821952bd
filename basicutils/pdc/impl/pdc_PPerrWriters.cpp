// The collection writers and agents of the error-print memento: bracketed
// blocks of elements, "key => value" entries, nested object blocks.
#include "aio/aio_ostream.h"
#include "pdc/pdc_PPerrMementoWrite.h"

namespace {

void Seq(pnt_PrettyPrint& p, const char* seq) { p.prettyprint(seq, 2); }
void NewLine(pnt_PrettyPrint& p) { Seq(p, pnt_PrettyPrint::NewLineSeq); }

// Elements print with the printer's operator for their type; bools as 0/1.
void Value(pnt_PrettyPrint& p, bool v) { p << static_cast<int>(v); }
template <class T>
void Value(pnt_PrettyPrint& p, const T& v) {
  p << v;
}

// Whether a value is a string a "bas_UserData" object must not show.
template <class T>
constexpr bool IsString() {
  return false;
}
template <>
constexpr bool IsString<cow_String>() {
  return true;
}

// One "key => value" line; strings of a hidden object are left out, so
// that only the numbers of the entry show.
template <class K, class T>
void Entry(pnt_PrettyPrint& p, const K& key, const T& value, bool hideStrings) {
  const bool showKey = !(hideStrings && IsString<K>());
  const bool showValue = !(hideStrings && IsString<T>());
  if (!showKey && !showValue) return;
  if (showKey) p << key << " => ";
  if (showValue) Value(p, value);
  NewLine(p);
}

}  // namespace

// ================================================================ brackets

pdc_PPerrBracket::pdc_PPerrBracket(pnt_PrettyPrint& printer, int count) : m_Printer(printer), m_Count(count) {
  NewLine(m_Printer);
  m_Printer << "[";
  Seq(m_Printer, pnt_PrettyPrint::IndentSeq);
  NewLine(m_Printer);
}

pdc_PPerrBracket::~pdc_PPerrBracket() {
  if (m_Count > 1) NewLine(m_Printer);
  Seq(m_Printer, pnt_PrettyPrint::OutdentSeq);
  m_Printer << "]";
  NewLine(m_Printer);
}

void pdc_PPerrBracket::Line(const char* text) {
  m_Printer << text;
  NewLine(m_Printer);
}

// ========================================================= plain values

template <class T>
void pdc_PPerrWriteListPrim<T>::Append(const T& x) {
  if (m_HideStrings && IsString<T>()) return;
  Value(m_Printer, x);
  NewLine(m_Printer);
}

template <class T>
void pdc_PPerrWriteMapInt2Prim<T>::Insert(const int& key, const T& value) {
  Entry(m_Printer, key, value, m_HideStrings);
}

template <class T>
void pdc_PPerrWriteMapString2Prim<T>::Insert(const cow_String& key, const T& value) {
  Entry(m_Printer, key, value, m_HideStrings);
}

// ================================================================ objects

pdc_PPerrWriteListObj::pdc_PPerrWriteListObj(const pdc_PPerrMementoWrite& owner, int count)
    : pdc_PPerrBracket(owner.Printer(), count), m_Owner(owner) {}

void pdc_PPerrWriteListObj::AppendNull() { Line("NULL"); }

cls_MementoWrite* pdc_PPerrWriteListObj::MakeMemento(unsigned int classID, const cls_Uid&, const void*) const {
  return m_Owner.MakeNested(classID);
}

pdc_PPerrWriteMapInt2Obj::pdc_PPerrWriteMapInt2Obj(const pdc_PPerrMementoWrite& owner, int count)
    : pdc_PPerrBracket(owner.Printer(), count), m_Owner(owner) {}

const cls_AgentRequest& pdc_PPerrWriteMapInt2Obj::Element(const int& key) {
  m_Printer << key << " =>";  // the element's block starts on the next line
  return *this;
}

void pdc_PPerrWriteMapInt2Obj::InsertNull(const int& key) {
  m_Printer << key << " => ";
  Line("NULL");
}

cls_MementoWrite* pdc_PPerrWriteMapInt2Obj::MakeMemento(unsigned int classID, const cls_Uid&, const void*) const {
  if (!m_Owner.Registrar().ClassIsPresent(classID)) NewLine(m_Printer);  // no block opens the line
  return m_Owner.MakeNested(classID);
}

pdc_PPerrWriteMapString2Obj::pdc_PPerrWriteMapString2Obj(const pdc_PPerrMementoWrite& owner, int count)
    : pdc_PPerrBracket(owner.Printer(), count), m_Owner(owner) {}

const cls_AgentRequest& pdc_PPerrWriteMapString2Obj::Element(const cow_String& key) {
  if (!m_Owner.IsUserData()) m_Printer << key << " =>";
  return *this;
}

void pdc_PPerrWriteMapString2Obj::InsertNull(const cow_String& key) {
  if (!m_Owner.IsUserData()) m_Printer << key << " => ";
  Line("NULL");
}

cls_MementoWrite* pdc_PPerrWriteMapString2Obj::MakeMemento(unsigned int classID, const cls_Uid&,
                                                           const void*) const {
  if (!m_Owner.Registrar().ClassIsPresent(classID)) NewLine(m_Printer);  // no block opens the line
  return m_Owner.MakeNested(classID);
}

// ================================================================= agents

template <class T>
pdc_PPerrAgentList<T>::pdc_PPerrAgentList(pnt_PrettyPrint& printer, const char* title) : m_Printer(printer) {
  m_Printer << title;
  NewLine(m_Printer);
}

template <class T>
cls_CollectionType pdc_PPerrAgentList<T>::ElementKind() const {
  return cls_CollectionTypeFix(cls_CollList, static_cast<T*>(nullptr));
}

template <class T>
void pdc_PPerrAgentList<T>::ReadBlock(int, int n, T* out) {
  for (int i = 0; i < n; ++i) out[i] = T();  // a printer keeps nothing to read
}

template <class T>
void pdc_PPerrAgentList<T>::WriteBlock(int, int n, const T* in) {
  for (int i = 0; i < n; ++i) {
    m_Printer << in[i];
    NewLine(m_Printer);
  }
}

pdc_PPerrAgentBlob::pdc_PPerrAgentBlob(pnt_PrettyPrint& printer) {
  printer << "BINARY DATA";
  NewLine(printer);
}

// ============================================================== instances

PDC_PPERR_WRITERS_(, , unsigned int)
PDC_PPERR_WRITERS_(, , cow_String)
PDC_PPERR_WRITERS_(, , int)
PDC_PPERR_WRITERS_(, , float)
PDC_PPERR_WRITERS_(, , double)
template class pdc_PPerrWriteListPrim<bool>;
template class pdc_PPerrAgentList<float>;
template class pdc_PPerrAgentList<int>;
