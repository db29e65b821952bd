// typ_ArchCompTable: the architecture-compatibility table, per module number
// the names and parent type ids of that module's classes.
//
// A type id is module number * 65536 + class number (class numbers from 1).
// Module initializers insert their entry; afterwards the table is only read.
// Without the table (typ not initialized) every lookup answers "unknown".
#pragma once

#include "VNKUTI_BasicExport.h"

// One class: its parent's type id, its name and a 32-bit value (4).
struct typ_Entry {
  unsigned m_Parent;
  const char* m_Name;
  unsigned m_Value;
};

// One module: a static array of its classes, class number k at index k - 1.
struct typ_ArchCompEntry {
  const typ_Entry* m_Entries = nullptr;
  unsigned m_Count = 0;
};

class VNKUTI_BASIC_API typ_ArchCompTable {
 public:
  static constexpr unsigned Slots = 1024;

  static void InsertEntry(unsigned short component, typ_ArchCompEntry entry);
  // The class's name; "" for an id the table does not know.
  static const char* GetName(unsigned typeId);
  // The parent's type id; 0 for an id the table does not know.
  static unsigned GetParent(unsigned typeId);
  // Whether ancestor is a proper ancestor of child (its parent, or the
  // parent's ancestor), following parent ids until the root id 1.
  static bool IsParent(unsigned child, unsigned ancestor);

  // Made by typ_initialize, freed by typ_finalize.
  static void Create();
  static void Destroy();
  static bool Exists();
};
