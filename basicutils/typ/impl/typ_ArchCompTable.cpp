#include "typ/typ_ArchCompTable.h"

#include <new>

#include "mem/mem_AllocationOperators.h"

namespace {
constinit typ_ArchCompEntry* g_Table = nullptr;

const typ_Entry* Find(unsigned typeId) {
  unsigned module = typeId >> 16, index = typeId & 0xFFFF;
  if (!g_Table || module >= typ_ArchCompTable::Slots || index == 0) return nullptr;
  const typ_ArchCompEntry& e = g_Table[module];
  return index <= e.m_Count ? &e.m_Entries[index - 1] : nullptr;
}
}  // namespace

void typ_ArchCompTable::Create() {
  auto* t = static_cast<typ_ArchCompEntry*>(mem_OperatorNewThrowBuiltin(sizeof(typ_ArchCompEntry) * Slots));
  for (unsigned i = 0; i < Slots; ++i) new (&t[i]) typ_ArchCompEntry();
  g_Table = t;
}

void typ_ArchCompTable::Destroy() {
  mem_Free(g_Table);
  g_Table = nullptr;
}

bool typ_ArchCompTable::Exists() { return g_Table != nullptr; }

void typ_ArchCompTable::InsertEntry(unsigned short component, typ_ArchCompEntry entry) {
  if (g_Table && component < Slots) g_Table[component] = entry;
}

const char* typ_ArchCompTable::GetName(unsigned typeId) {
  const typ_Entry* e = Find(typeId);
  return e && e->m_Name ? e->m_Name : "";
}

unsigned typ_ArchCompTable::GetParent(unsigned typeId) {
  const typ_Entry* e = Find(typeId);
  return e ? e->m_Parent : 0;
}

bool typ_ArchCompTable::IsParent(unsigned child, unsigned ancestor) {
  unsigned p = GetParent(child);
  // The depth bound guards against a table whose parents form a cycle.
  for (int depth = 0; p != 0 && depth < 256; ++depth) {
    if (p == ancestor) return true;
    if (p == 1) return false;
    p = GetParent(p);
  }
  return false;
}
