// utl_FileStore: persistent objects kept in the sections of a multisection
// file, so that they survive the process.
//
// Each section holds the object tree of one memory store (cls_MemStore),
// serialized into an image of our own format (docs/file-store.md): a
// versioned header with a CRC-32 of the payload, then the tree. A section is
// read and checked on first use; a damaged image (wrong magic, unknown
// version, bad checksum, truncation, inconsistent structure) raises
// nex_TextException "*** Error: Damaged object store "<section>": <what> at
// byte <offset>." and never reads out of bounds. The multisection file's own
// errors (lock, CRC of the section, file I/O) arrive unchanged.
//
// Use:
//   utl_FileStore fs(path, utl_FileWrite);
//   fs.WriteObject("result", exception);      // one object per section
//   cls_ArrayPrim<float> a;  ...               // or any tree in Store()
//   { cls_WriteVisitor root(fs.Store("arrays").MakeWriteMemento());
//     cls_WriteObject(root, cls_FieldHandle("a", 0), a); }
//   fs.Save();
// and later, in any process:
//   utl_FileStore fs(path, utl_FileRead);
//   unsigned id;
//   void* o = fs.ReadObject("result", registrar, &id);  // built by class ID
//   fs.PrintObject("result", registrar);                 // error-print form
//
// Arrays read from a section stay attached to the section's memory store
// (their blocks load from it; changes go back to it and reach the file at
// the next Save). The stores live as long as the file store; an array may
// outlive both (its agent keeps its list).
//
// Threads: one file store per thread; the file's writer lock keeps other
// processes' writers out.
#pragma once

#include <cstddef>

#include "VNKUTI_BasicExport.h"
#include "cls/cls_MemoryStore.h"
#include "cls/cls_Visitor.h"
#include "cow/cow_String.h"
#include "mem/mem_AllocationOperators.h"
#include "utl/utl_MultisectionFile.h"

class cls_ClassRegistrar;
class pnt_PrettyPrint;

class VNKUTI_BASIC_API utl_FileStore : public mem_AllocationOperators {
 public:
  // Opens path as utl_MultisectionFile does (read, update, or write: a new,
  // empty file at the first Save).
  utl_FileStore(const cow_String& path, utl_FileAccess access);
  // Unsaved changes are dropped.
  ~utl_FileStore();
  utl_FileStore(const utl_FileStore&) = delete;
  utl_FileStore& operator=(const utl_FileStore&) = delete;

  // ----- sections -------------------------------------------------------
  bool HasSection(const cow_String& section) const;
  // The section's objects: read and checked on first use (empty for a new
  // section). Owned by the file store.
  cls_MemStore& Store(const cow_String& section);
  // Writes every store taken with Store() into its section, then saves the
  // file. A store of more than 2 GB raises nex_TextException.
  void Save();

  // ----- one object per section, under the root field "object" ----------
  // Replaces the section's content by object (written with its DBWrite).
  template <class T>
  void WriteObject(const cow_String& section, const T& object) {
    cls_MemStore& s = Store(section);
    s.Clear();
    cls_WriteVisitor root(s.MakeWriteMemento());
    cls_WriteObject(root, ObjectField(), object);
  }
  // Builds the section's object through the class metadata registered for
  // its stored class ID (the registrar's class hook raises for an unknown
  // one); the caller owns it and deletes it with that metadata's Delete.
  // classID, when not null, receives the ID. Null when the section holds no
  // object or the class builds none.
  void* ReadObject(const cow_String& section, const cls_ClassRegistrar& registrar, unsigned int* classID = nullptr);
  // Prints the section's object as stored, through pdc_PPerrMementoWrite on
  // printer (null: pnt_debugPrint()); false when there is none.
  bool PrintObject(const cow_String& section, const cls_ClassRegistrar& registrar,
                   pnt_PrettyPrint* printer = nullptr);
  static cls_FieldHandle ObjectField() { return cls_FieldHandle("object", 0); }

  // ----- the image format -----------------------------------------------
  // The image of a tree whose root is root (class ID 1).
  static void Encode(const cls_MemObject& root, cls_MemVector<unsigned char>& image);
  // The tree of an image (the caller owns it); label names the image in the
  // damage message.
  static cls_MemObject* Decode(const void* image, std::size_t size, const cow_String& label);

 private:
  struct Section {
    cow_String m_Name;
    cls_MemStore* m_Store;
  };
  Section* Find(const cow_String& section);

  cow_String m_Path;
  utl_MultisectionFile m_File;
  cls_MemVector<Section> m_Sections;
};
