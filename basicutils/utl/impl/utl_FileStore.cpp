// utl_FileStore: memory stores kept as images in the sections of a
// multisection file.
#include "utl/utl_FileStore.h"

#include "atr/atr_Translate.h"
#include "cls/cls_ClassRegistrar.h"
#include "nex/nex_Exception.h"
#include "pdc/pdc_PPerrMementoWrite.h"

#define NEX_SOURCE "utl/impl/utl_FileStore"

utl_FileStore::utl_FileStore(const cow_String& path, utl_FileAccess access) : m_Path(path), m_File(path, access) {}

utl_FileStore::~utl_FileStore() {
  for (Section& s : m_Sections) delete s.m_Store;
}

bool utl_FileStore::HasSection(const cow_String& section) const {
  for (const Section& s : m_Sections) {
    if (s.m_Name == section) return true;
  }
  return m_File.hasSection(section);
}

utl_FileStore::Section* utl_FileStore::Find(const cow_String& section) {
  for (Section& s : m_Sections) {
    if (s.m_Name == section) return &s;
  }
  return nullptr;
}

cls_MemStore& utl_FileStore::Store(const cow_String& section) {
  if (Section* s = Find(section)) return *s->m_Store;
  cls_MemStore* store = new cls_MemStore(m_Path + ":" + section);
  try {
    if (m_File.hasSection(section)) {
      const int length = m_File.getSectionLength(section);
      cls_MemVector<unsigned char> image(static_cast<std::size_t>(length > 0 ? length : 0));
      if (length > 0) m_File.getSectionData(section, image.data());
      store->ReplaceRoot(Decode(image.data(), image.size(), section));
    }
    m_Sections.push_back(Section{section, store});
  } catch (...) {
    delete store;
    throw;
  }
  return *store;
}

void utl_FileStore::Save() {
  cls_MemVector<unsigned char> image;
  for (const Section& s : m_Sections) {
    Encode(s.m_Store->Root(), image);
    if (image.size() > 0x7FFFFFFFu) {
      atr_translate t("*** Error: The object store \"%1$s\" is too large for a section.");
      atr_SubstituteFormat(t, 1, s.m_Name);
      NEX_THROW(nex_TextException(t.Result()));
    }
    m_File.setSectionData(s.m_Name, image.data(), static_cast<int>(image.size()));
  }
  m_File.saveChanges();
}

void* utl_FileStore::ReadObject(const cow_String& section, const cls_ClassRegistrar& registrar,
                                unsigned int* classID) {
  if (classID != nullptr) *classID = 0;
  if (!HasSection(section)) return nullptr;
  cls_MemStore& store = Store(section);
  cls_ReadVisitor root(store.MakeReadMemento());
  cls_ReadVisitor object(root, ObjectField());
  if (object.GetMemento() == nullptr) return nullptr;
  if (classID != nullptr) *classID = object.ClassId();
  return cls_BuildObject(object, registrar);
}

bool utl_FileStore::PrintObject(const cow_String& section, const cls_ClassRegistrar& registrar,
                                pnt_PrettyPrint* printer) {
  if (!HasSection(section)) return false;
  const cls_MemField* f = Store(section).Root().FindField(ObjectField().m_FieldName);
  const cls_MemObject* o = f ? f->Value().Object() : nullptr;
  if (o == nullptr) return false;
  pdc_PPerrMementoWrite m(registrar, o->ClassID(), printer);
  cls_MemStore::Replay(*o, m);
  return true;
}
