#include "cls/cls_Visitor.h"

#include <cstdlib>

#include "aio/aio_ostream.h"
#include "atr/atr_Translate.h"
#include "cls/cls_ClassRegistrar.h"
#include "cls/cls_PC.h"

// =========================================================== write visitor

cls_WriteVisitor::cls_WriteVisitor(cls_MementoWrite* memento)
    : m_Parent(nullptr),
      m_ClassID(1),
      m_Flags{0, 0, 0, 0},
      m_Rep(nullptr),
      m_Object(nullptr),
      m_Memento(memento),
      m_Request(nullptr) {}

cls_WriteVisitor::cls_WriteVisitor(const cls_WriteVisitor& parent, unsigned int classID)
    : m_Parent(&parent),
      m_Field(parent.m_Field),
      m_ClassID(classID),
      m_Flags{0, 0, 0, 0},
      m_Rep(nullptr),
      m_Object(nullptr),
      m_Memento(nullptr),
      m_Request(nullptr) {}

cls_WriteVisitor::cls_WriteVisitor(const cls_WriteVisitor& parent, const cls_FieldHandle& field, const cls_IntCOW* rep,
                                   const void* object)
    : m_Parent(&parent),
      m_Field(field),
      m_ClassID(1),
      m_Flags{static_cast<unsigned char>(rep != nullptr), 0, 0, 0},
      m_Rep(rep),
      m_Object(object),
      m_Memento(nullptr),
      m_Request(nullptr) {}

cls_WriteVisitor::cls_WriteVisitor(const cls_AgentRequest& request, const void* object)
    : m_Parent(nullptr),
      m_ClassID(1),
      m_Flags{0, 0, 0, 0},
      m_Rep(nullptr),
      m_Object(object),
      m_Memento(nullptr),
      m_Request(&request) {}

cls_WriteVisitor::~cls_WriteVisitor() {
  if (m_Memento == nullptr) return;
  if (m_Flags[0]) m_Memento->EndSharedPtrOutput();
  if (m_Memento->NeedsDeletion()) delete m_Memento;
}

int cls_WriteVisitor::StartWrite(unsigned int classID, const cls_Uid& uid) const {
  if (m_Memento != nullptr) return 1;
  if (m_Request != nullptr) {
    m_Memento = m_Request->MakeMemento(classID, uid, m_Object);
  } else if (m_Parent != nullptr && m_Parent->m_Memento != nullptr) {
    cls_MementoWrite* p = m_Parent->m_Memento;
    if (m_ClassID != 1) {
      m_Memento = p->MakeBaseWriteObj(classID, uid);
    } else if (m_Rep != nullptr) {
      m_Memento = p->MakeWriteObj(m_Field, classID, uid, m_Rep);
    } else {
      m_Memento = p->MakeWriteObjWithPtr(m_Field, classID, uid, m_Object);
    }
  }
  if (m_Memento != nullptr && m_Flags[0]) m_Memento->StartSharedPtrOutput();
  return m_Memento != nullptr;
}

int cls_WriteVisitor::FieldIsPresent(const cls_FieldHandle& f) const {
  return m_Memento ? m_Memento->FieldIsPresent(f) : 0;
}

void cls_WriteVisitor::CheckCollectionType(cls_CollectionType requested) const {
  if (m_Memento != nullptr && !m_Field.m_FieldName.IsEmpty()) m_Memento->CheckCollectionType(requested, m_Field.m_FieldName);
}

bool cls_WriteVisitor::CopyBranch(cls_AgentProxy* source, const cls_FieldHandle& f) const {
  return m_Memento ? m_Memento->CopyBranch(source, f) : false;
}

void cls_WriteVisitor::WriteNull(const cls_FieldHandle& f) const {
  if (m_Memento) m_Memento->WriteNull(f);
}

void cls_WriteVisitor::Write(const cls_FieldHandle& f, const cow_String& v) const {
  if (m_Memento) m_Memento->Write(f, v);
}

void cls_WriteVisitor::Write(const cls_FieldHandle& f, const atr_String& v) const { Write(f, cow_String(v)); }

void cls_WriteVisitor::Write(const cls_FieldHandle& f, const char* v) const { Write(f, cow_String(v)); }

#define CLS_WRITE_SCALAR(T)                                          \
  void cls_WriteVisitor::Write(const cls_FieldHandle& f, T v) const { \
    if (m_Memento) m_Memento->Write(f, v);                          \
  }
CLS_WRITE_SCALAR(double)
CLS_WRITE_SCALAR(float)
CLS_WRITE_SCALAR(unsigned int)
CLS_WRITE_SCALAR(int)
CLS_WRITE_SCALAR(unsigned short)
CLS_WRITE_SCALAR(short)
CLS_WRITE_SCALAR(unsigned char)
CLS_WRITE_SCALAR(char)
CLS_WRITE_SCALAR(bool)
CLS_WRITE_SCALAR(long long)
#undef CLS_WRITE_SCALAR

cls_MementoWrite* cls_WriteVisitor::MakeWriteObj(const cls_FieldHandle& f, unsigned int classID, const cls_Uid& uid,
                                                 const cls_IntCOW* rep) const {
  return m_Memento ? m_Memento->MakeWriteObj(f, classID, uid, rep) : nullptr;
}

cls_MementoWrite* cls_WriteVisitor::MakeWriteObjWithPtr(const cls_FieldHandle& f, unsigned int classID,
                                                        const cls_Uid& uid, const void* object) const {
  return m_Memento ? m_Memento->MakeWriteObjWithPtr(f, classID, uid, object) : nullptr;
}

cls_MementoWrite* cls_WriteVisitor::MakeBaseWriteObj(unsigned int classID, const cls_Uid& uid) const {
  return m_Memento ? m_Memento->MakeBaseWriteObj(classID, uid) : nullptr;
}

cls_WriteIntTableInt* cls_WriteVisitor::MakeWriteIntTableInt(const cls_FieldHandle& f, int count) const {
  return m_Memento ? m_Memento->MakeWriteIntTableInt(f, count) : nullptr;
}

cls_WriteListObj* cls_WriteVisitor::MakeWriteListObj(const cls_FieldHandle& f, int count) const {
  return m_Memento ? m_Memento->MakeWriteListObj(f, count) : nullptr;
}

cls_WriteMapInt2Obj* cls_WriteVisitor::MakeWriteMapInt2Obj(const cls_FieldHandle& f, int count) const {
  return m_Memento ? m_Memento->MakeWriteMapInt2Obj(f, count) : nullptr;
}

cls_WriteMapUint2Obj* cls_WriteVisitor::MakeWriteMapUint2Obj(const cls_FieldHandle& f, int count) const {
  return m_Memento ? m_Memento->MakeWriteMapUint2Obj(f, count) : nullptr;
}

cls_WriteMapString2Obj* cls_WriteVisitor::MakeWriteMapString2Obj(const cls_FieldHandle& f, int count) const {
  return m_Memento ? m_Memento->MakeWriteMapString2Obj(f, count) : nullptr;
}

cls_AgentBlob* cls_WriteVisitor::MakeAgentBlob() const { return m_Memento ? m_Memento->MakeAgentBlob() : nullptr; }

// ============================================================ read visitor

cls_ReadVisitor::cls_ReadVisitor(cls_MementoRead* memento) : m_Memento(memento), m_Parent(nullptr) {}

cls_ReadVisitor::cls_ReadVisitor(const cls_ReadVisitor& parent)
    : m_Memento(parent.m_Memento ? parent.m_Memento->MakeBaseReadObj() : nullptr),
      m_Parent(&parent),
      m_Field(parent.m_Field) {}

cls_ReadVisitor::cls_ReadVisitor(const cls_ReadVisitor& parent, const cls_FieldHandle& field)
    : m_Memento(parent.m_Memento ? parent.m_Memento->MakeReadObj(field) : nullptr),
      m_Parent(&parent),
      m_Field(field) {}

cls_ReadVisitor::~cls_ReadVisitor() {
  if (m_Memento != nullptr && m_Memento->NeedsDeletion()) delete m_Memento;
}

cow_String cls_ReadVisitor::DbId() const { return m_Memento ? m_Memento->DbId() : cow_String(); }
cls_Uid cls_ReadVisitor::GetUid() const { return m_Memento ? m_Memento->GetUid() : cls_Uid(nullptr); }
unsigned int cls_ReadVisitor::ClassId() const { return m_Memento ? m_Memento->ClassId() : 0; }
int cls_ReadVisitor::FieldIsPresent(const cls_FieldHandle& f) const {
  return m_Memento ? m_Memento->FieldIsPresent(f) : 0;
}
int cls_ReadVisitor::DataIsPresent(const cls_FieldHandle& f) const {
  return m_Memento ? m_Memento->DataIsPresent(f) : 0;
}
int cls_ReadVisitor::IsNullObject(const cls_FieldHandle& f) const { return m_Memento ? m_Memento->IsNullObject(f) : 0; }
cls_CollectionType cls_ReadVisitor::StoredCollectionType(const cls_FieldHandle& f) const {
  return m_Memento ? m_Memento->StoredCollectionType(f) : cls_CollNone;
}
int cls_ReadVisitor::FieldNames(cow_List<cow_String>& names) const {
  return m_Memento ? m_Memento->FieldNames(names) : 0;
}

cow_String cls_ReadVisitor::Read(const cls_FieldHandle& f, const cow_String& dflt) const {
  return m_Memento ? m_Memento->Read(f, dflt) : dflt;
}
atr_String cls_ReadVisitor::Read(const cls_FieldHandle& f, const atr_String& dflt) const {
  return m_Memento ? atr_String(m_Memento->Read(f, cow_String(dflt))) : dflt;
}
cow_String cls_ReadVisitor::Read(const cls_FieldHandle& f, const char* dflt) const { return Read(f, cow_String(dflt)); }

#define CLS_READ_SCALAR(T)                                          \
  T cls_ReadVisitor::Read(const cls_FieldHandle& f, T dflt) const { \
    return m_Memento ? m_Memento->Read(f, dflt) : dflt;             \
  }
CLS_READ_SCALAR(double)
CLS_READ_SCALAR(float)
CLS_READ_SCALAR(unsigned int)
CLS_READ_SCALAR(int)
CLS_READ_SCALAR(unsigned short)
CLS_READ_SCALAR(short)
CLS_READ_SCALAR(unsigned char)
CLS_READ_SCALAR(char)
CLS_READ_SCALAR(bool)
CLS_READ_SCALAR(long long)
#undef CLS_READ_SCALAR

cls_MementoRead* cls_ReadVisitor::MakeReadObj(const cls_FieldHandle& f) const {
  return m_Memento ? m_Memento->MakeReadObj(f) : nullptr;
}
cls_MementoRead* cls_ReadVisitor::MakeBaseReadObj() const { return m_Memento ? m_Memento->MakeBaseReadObj() : nullptr; }
cls_ReadIntTableInt* cls_ReadVisitor::MakeReadIntTableInt(const cls_FieldHandle& f) const {
  return m_Memento ? m_Memento->MakeReadIntTableInt(f) : nullptr;
}
cls_ReadListObj* cls_ReadVisitor::MakeReadListObj(const cls_FieldHandle& f) const {
  return m_Memento ? m_Memento->MakeReadListObj(f) : nullptr;
}
cls_ReadMapInt2Obj* cls_ReadVisitor::MakeReadMapInt2Obj(const cls_FieldHandle& f) const {
  return m_Memento ? m_Memento->MakeReadMapInt2Obj(f) : nullptr;
}
cls_ReadMapUint2Obj* cls_ReadVisitor::MakeReadMapUint2Obj(const cls_FieldHandle& f) const {
  return m_Memento ? m_Memento->MakeReadMapUint2Obj(f) : nullptr;
}
cls_ReadMapString2Obj* cls_ReadVisitor::MakeReadMapString2Obj(const cls_FieldHandle& f) const {
  return m_Memento ? m_Memento->MakeReadMapString2Obj(f) : nullptr;
}
cls_AgentBlob* cls_ReadVisitor::MakeAgentBlob() const { return m_Memento ? m_Memento->MakeAgentBlob() : nullptr; }

// ========================================================= object building

void* cls_BuildObject(const cls_ReadVisitor& v, const cls_ClassRegistrar& registrar) {
  if (v.GetMemento() == nullptr) return nullptr;
  const cls_ClassMetadataHld& md = registrar.ConstGet(v.ClassId());  // the hook reports an unknown class
  return md.IsEmpty() ? nullptr : md->Ctor(v);
}

void* cls_ReadObject(const cls_ReadVisitor& parent, const cls_FieldHandle& f, const cls_ClassRegistrar& registrar) {
  cls_ReadVisitor child(parent, f);
  return cls_BuildObject(child, registrar);
}

// ============================================================ containers

cls_PC::~cls_PC() { Unlink(); }

void cls_PC::Flush() const {
  // Deliberately fatal: a container that cannot write itself back would
  // lose data silently.
  aio_cerr() << atr_translate("Can't flush non-specialized cls_PC object.\n").Result();
  aio_cerr().Flush();
  std::abort();
}

void cls_PC::Detach() {
  aio_cerr() << atr_translate("Can't detach non-specialized cls_PC object.\n").Result();
  aio_cerr().Flush();
  std::abort();
}

void cls_PC::Link(cls_PC* pc) noexcept {
  if (pc == this) return;
  pc->Unlink();
  pc->m_Previous = m_Previous;
  pc->m_Next = this;
  m_Previous->m_Next = pc;
  m_Previous = pc;
}

void cls_PC::Unlink() noexcept {
  m_Previous->m_Next = m_Next;
  m_Next->m_Previous = m_Previous;
  Reset();
}

// ================================================================= blobs

cls_BlobWriter::cls_BlobWriter(const cls_WriteVisitor& parent, const cls_FieldHandle& f, const cls_Uid& uid)
    : m_Memento(parent.MakeWriteObjWithPtr(f, cls_BlobClassId, uid, nullptr)),
      m_Agent(m_Memento ? m_Memento->MakeAgentBlob() : nullptr) {}

cls_BlobWriter::~cls_BlobWriter() {
  cls_Release(m_Agent);
  cls_Release(m_Memento);
}

bool cls_BlobWriter::Append(const void* data, int n) {
  if (m_Agent == nullptr) return false;
  m_Agent->Write(m_Agent->Size(), n, data);
  return true;
}

cls_BlobReader::cls_BlobReader(const cls_ReadVisitor& parent, const cls_FieldHandle& f, cls_Uid& uid)
    : m_Memento(parent.MakeReadObj(f)), m_Agent(nullptr) {
  uid = m_Memento ? m_Memento->GetUid() : cls_Uid(nullptr);
  if (m_Memento) m_Agent = m_Memento->MakeAgentBlob();
}

cls_BlobReader::~cls_BlobReader() {
  cls_Release(m_Agent);
  cls_Release(m_Memento);
}

long long cls_BlobReader::Size() const { return m_Agent ? m_Agent->Size() : 0; }

int cls_BlobReader::Read(long long offset, void* out, int n) { return m_Agent ? m_Agent->Read(offset, n, out) : 0; }
