#include "cls/cls_PC.h"

#include <cstdlib>

#include "aio/aio_ostream.h"
#include "atr/atr_Translate.h"
#include "cls/cls_Memento.h"
#include "cls/cls_Visitor.h"

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
