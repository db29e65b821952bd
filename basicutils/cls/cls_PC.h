// Persistent containers and blob fields.
//
// cls_PC is the base of the persistent containers (the primitive arrays and
// their kin) that take part in a ring: the containers of one owner are linked
// in a circular, doubly linked ring so that they can be flushed or detached
// together. A lone container is a ring of one. Only specialized containers
// can be flushed or detached: the base operations write
// "Can't flush non-specialized cls_PC object." (or "detach") to aio_cerr()
// and abort the process.
//
// cls_BlobWriter and cls_BlobReader open a blob field for the time of their
// life: each holds the child memento made for the field and the blob agent
// that memento supplies. Both are null when the store keeps no blobs; the
// operations then do nothing and answer 0.
#pragma once

#include "VNKUTI_BasicExport.h"
#include "cls/cls_Collections.h"
#include "cls/cls_Uid.h"
#include "mem/mem_AllocationOperators.h"

class cls_WriteVisitor;
class cls_ReadVisitor;
class cls_MementoWrite;
class cls_MementoRead;
struct cls_FieldHandle;

class VNKUTI_BASIC_API cls_PC : public mem_AllocationOperators {
 public:
  cls_PC() noexcept : m_Next(this), m_Previous(this) {}
  // A copy starts in a ring of its own.
  cls_PC(const cls_PC&) noexcept : m_Next(this), m_Previous(this) {}
  cls_PC& operator=(const cls_PC&) noexcept { return *this; }  // ring membership is not copied
  // Leaves its ring.
  virtual ~cls_PC();
  // Writes dirty data back to the store. Base: aborts.
  virtual void Flush() const;
  // Cuts the container loose from its store. Base: aborts.
  virtual void Detach();

  cls_PC* Next() const noexcept { return m_Next; }
  cls_PC* Previous() const noexcept { return m_Previous; }
  // Puts pc at the end of this ring (just before this container), taking it
  // out of any ring it was in first. Linking a container to itself does nothing.
  void Link(cls_PC* pc) noexcept;
  // Takes this container out of its ring; it becomes a ring of one.
  void Unlink() noexcept;
  // Makes this container a ring of one without touching its neighbours.
  void Reset() noexcept {
    m_Next = this;
    m_Previous = this;
  }

 private:
  cls_PC* m_Next;
  cls_PC* m_Previous;
};

// Class ID under which blob objects are stored (cls_Blob).
constexpr unsigned int cls_BlobClassId = 0x230009;

class VNKUTI_BASIC_API cls_BlobWriter {
 public:
  // Opens the blob field f of parent's object, for the blob object uid.
  cls_BlobWriter(const cls_WriteVisitor& parent, const cls_FieldHandle& f, const cls_Uid& uid);
  ~cls_BlobWriter();
  cls_BlobWriter(const cls_BlobWriter&) = delete;
  cls_BlobWriter& operator=(const cls_BlobWriter&) = delete;

  cls_AgentBlob* Agent() const { return m_Agent; }
  // Appends n bytes; false when there is no agent.
  bool Append(const void* data, int n);

 private:
  cls_MementoWrite* m_Memento;
  cls_AgentBlob* m_Agent;
};

class VNKUTI_BASIC_API cls_BlobReader {
 public:
  // Opens the blob field f of parent's object; uid receives the blob's
  // identity (empty when the field holds none).
  cls_BlobReader(const cls_ReadVisitor& parent, const cls_FieldHandle& f, cls_Uid& uid);
  ~cls_BlobReader();
  cls_BlobReader(const cls_BlobReader&) = delete;
  cls_BlobReader& operator=(const cls_BlobReader&) = delete;

  cls_AgentBlob* Agent() const { return m_Agent; }
  long long Size() const;
  // Copies up to n bytes from offset; answers how many were copied.
  int Read(long long offset, void* out, int n);

 private:
  cls_MementoRead* m_Memento;
  cls_AgentBlob* m_Agent;
};
