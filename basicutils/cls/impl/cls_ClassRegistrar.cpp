#include "cls/cls_ClassRegistrar.h"

#include <cstdlib>

#include "aio/aio_ostream.h"
#include "atr/atr_Translate.h"

template class omi_Singleton<cls_MetadataRegistrar>;
template class omi_Btree<unsigned int, cls_ClassMetadataHld>;
template class omi_Btree<cls_CIDVersion, cls_ClassMetadataHld>;
template class omi_BtreeIterator<unsigned int, cls_ClassMetadataHld>;
template class omi_BtreeIterator<cls_CIDVersion, cls_ClassMetadataHld>;
template class cow_ListBlock<cls_ClassMetadataHld>;
template class cow_List<cls_ClassMetadataHld>;
template class cow_ListIter<cls_ClassMetadataHld>;
template int cow_List<cls_ClassMetadataHld>::FindMember<cls_ClassMetadataHld>(const cls_ClassMetadataHld&) const;
template bool cow_List<cls_ClassMetadataHld>::IsEqual<cls_ClassMetadataHld>(
    const cow_List<cls_ClassMetadataHld>&) const;

namespace {

// Set during start-up (nex_initialize), read by every lookup afterwards.
constinit cls_ClassRegistrar::ClassHook g_ClassHook = nullptr;
constinit cls_ClassRegistrar::VersionHook g_VersionHook = nullptr;
constinit cls_ClassRegistrar::NameHook g_NameHook = nullptr;

}  // namespace

// ============================================================ registrar

cls_ClassRegistrar::cls_ClassRegistrar() : m_Names(0u) {}

cls_ClassRegistrar::~cls_ClassRegistrar() = default;

cls_ClassMetadata& cls_ClassRegistrar::CreateClassMD(const cow_String& name, unsigned int classID, int version,
                                                     void* (*ctor)(cls_ReadVisitor&), unsigned int baseClassID) {
  return Register(new cls_ClassMetadata(name, classID, version, ctor, baseClassID));
}

cls_ClassMetadata& cls_ClassRegistrar::AddClassMD(cls_ClassMetadata* md) { return Register(md); }

cls_ClassMetadata& cls_ClassRegistrar::Register(cls_ClassMetadata* md) {
  cls_ClassMetadataHld hld(md);  // owns md from here; a repeated record dies with it
  const unsigned int id = md->ClassID();
  const cls_CIDVersion key(id, md->Version());

  if (!m_Versions.Insert(key, hld) && std::getenv("VORNIK_SITE") != nullptr) {
    atr_translate t("WARNING: Metadata for class %s version %d has been initialized more than once.\n");
    atr_SubstituteFormat(t, 1, md->ClassName());
    atr_SubstituteFormat(t, 2, md->Version());
    aio_cerr() << t.Result();
  }

  cls_ClassMetadataHld* latest = m_Latest.FindPtr(id);
  if (latest == nullptr) {
    m_Latest.Insert(id, hld);
    m_Names.Insert(md->ClassName(), id);  // a name already present keeps its ID
  } else if (md->Version() > (*latest)->Version()) {
    *latest = hld;  // replaces the entry in place; the name map stays as it is
  }

  // The version map's record: the first one for a repeated registration.
  return *m_Versions.Find(key).GetPtr();
}

void cls_ClassRegistrar::DeleteClass(const cow_String& name, unsigned int classID) { m_Names.Insert(name, classID); }

const cls_ClassMetadataHld& cls_ClassRegistrar::ConstGet(const unsigned int& classID) const {
  if (g_ClassHook) g_ClassHook(*this, classID);
  return m_Latest.Find(classID);
}

const cls_ClassMetadataHld& cls_ClassRegistrar::GetClassMetadata(unsigned int classID, int version) const {
  if (g_VersionHook) g_VersionHook(*this, classID, version);
  return m_Versions.Find(cls_CIDVersion(classID, version));
}

unsigned int cls_ClassRegistrar::GetClassID(const cow_String& name) const {
  if (g_NameHook) g_NameHook(*this, name);
  return m_Names.Find(name);
}

int cls_ClassRegistrar::GetLastClassVersionNumber(const unsigned int& classID) const {
  const cls_ClassMetadataHld& h = ConstGet(classID);
  return h.IsEmpty() ? -1 : h->Version();
}

int cls_ClassRegistrar::GetFirstClassVersionNumberGREQ(const unsigned int& classID, int version) const {
  // The whole map is walked on purpose: the answer must not depend on how
  // versions of neighbouring classes are ordered.
  int best = -1;
  for (omi_BtreeIterator<cls_CIDVersion, cls_ClassMetadataHld> it(m_Versions); it.More(); it.Next()) {
    const cls_CIDVersion& k = it.Key();
    if (k.m_ClassID == classID && k.m_Version >= version && (best == -1 || k.m_Version < best)) best = k.m_Version;
  }
  return best;
}

int cls_ClassRegistrar::GetPreviousClassVersionNumber(const unsigned int& classID, int version) const {
  int best = -1;
  bool found = false;
  for (omi_BtreeIterator<cls_CIDVersion, cls_ClassMetadataHld> it(m_Versions); it.More(); it.Next()) {
    const cls_CIDVersion& k = it.Key();
    if (k.m_ClassID == classID && k.m_Version < version && (!found || k.m_Version > best)) {
      best = k.m_Version;
      found = true;
    }
  }
  return found ? best : -1;
}

bool cls_ClassRegistrar::InheritanceCheck(const unsigned int& classID, const unsigned int& baseClassID) const {
  if (classID == baseClassID) return true;
  unsigned int id = classID;
  // Registration refuses a class that is its own base, but a longer cycle
  // could still be registered; the bound keeps the walk finite.
  for (int steps = 0; steps <= m_Latest.Count(); ++steps) {
    const cls_ClassMetadataHld* h = m_Latest.FindPtr(id);
    if (h == nullptr) return false;
    id = (*h)->BaseClassID();
    if (id == baseClassID) return true;
  }
  return false;
}

bool cls_ClassRegistrar::DeleteCow(unsigned int classID, cls_IntCOW* cow) const {
  unsigned int id = classID;
  for (int steps = 0; id != 1 && steps <= m_Latest.Count(); ++steps) {
    const cls_ClassMetadataHld& h = ConstGet(id);
    if (h.IsEmpty()) return false;  // unregistered and no hook raised
    if (h->GetDtorFunction() != nullptr) {
      h->DeleteCow(cow);
      return true;
    }
    id = h->BaseClassID();
  }
  return false;
}

cow_List<cls_ClassMetadataHld> cls_ClassRegistrar::GetMDList() const {
  cow_List<cls_ClassMetadataHld> list(cow_ListPreSize, m_Latest.Count());
  for (omi_BtreeIterator<unsigned int, cls_ClassMetadataHld> it(m_Latest); it.More(); it.Next()) list.Append(it.Value());
  return list;
}

cow_List<cls_ClassMetadataHld> cls_ClassRegistrar::GetHistoryMDList() const {
  cow_List<cls_ClassMetadataHld> list(cow_ListPreSize, m_Versions.Count());
  for (omi_BtreeIterator<cls_CIDVersion, cls_ClassMetadataHld> it(m_Versions); it.More(); it.Next()) {
    list.Append(it.Value());
  }
  return list;
}

cls_ClassRegistrar::ClassHook cls_ClassRegistrar::SetClassHook(ClassHook hook) {
  ClassHook old = g_ClassHook;
  g_ClassHook = hook;
  return old;
}

cls_ClassRegistrar::VersionHook cls_ClassRegistrar::SetVersionHook(VersionHook hook) {
  VersionHook old = g_VersionHook;
  g_VersionHook = hook;
  return old;
}

cls_ClassRegistrar::NameHook cls_ClassRegistrar::SetNameHook(NameHook hook) {
  NameHook old = g_NameHook;
  g_NameHook = hook;
  return old;
}

cls_ClassRegistrar::ClassHook cls_ClassRegistrar::GetClassHook() { return g_ClassHook; }
cls_ClassRegistrar::VersionHook cls_ClassRegistrar::GetVersionHook() { return g_VersionHook; }
cls_ClassRegistrar::NameHook cls_ClassRegistrar::GetNameHook() { return g_NameHook; }

// ===================================================== metadata registrar

cls_MetadataRegistrar::cls_MetadataRegistrar() = default;

cls_MetadataRegistrar::~cls_MetadataRegistrar() = default;

void cls_MetadataRegistrar::initClassMetadata(RegistrationFunction f, unsigned int registrarMask) {
  if (registrarMask & 1) {
    m_Bit1Functions.Append(f);
    f(m_First);
  }
  if (registrarMask & 2) f(m_Third);
  if (registrarMask & 4) {
    m_Bit4Functions.Append(f);
    f(m_Second);
  }
}

void cls_MetadataRegistrar::initMetadata(cls_ClassRegistrar* target, unsigned int registrarMask) const {
  if (registrarMask & 1) {
    for (cow_ListIter<RegistrationFunction> it(m_Bit1Functions); it.More(); it.Next()) (*it)(*target);
  }
  if (registrarMask & 4) {
    for (cow_ListIter<RegistrationFunction> it(m_Bit4Functions); it.More(); it.Next()) (*it)(*target);
  }
}

cls_ClassRegistrar& cls_MetadataRegistrar::GetRegistrar(unsigned int maskBit) {
  return maskBit == 2 ? m_Third : maskBit == 4 ? m_Second : m_First;
}

const cls_ClassRegistrar& cls_MetadataRegistrar::GetRegistrar(unsigned int maskBit) const {
  return maskBit == 2 ? m_Third : maskBit == 4 ? m_Second : m_First;
}

const cow_List<cls_MetadataRegistrar::RegistrationFunction>& cls_MetadataRegistrar::GetFunctions(
    unsigned int maskBit) const {
  return maskBit == 4 ? m_Bit4Functions : m_Bit1Functions;
}
