// The class registry of the persistence framework.
//
// cls_ClassRegistrar holds the metadata records of registered classes and
// answers lookups by class ID, by (class ID, version) and by class name.
// cls_MetadataRegistrar, a process-wide singleton, holds three registrars
// selected by the mask bits 1, 4 and 2, and remembers the registration
// functions given with bits 1 and 4 so that a client can replay them into a
// registrar of its own (initMetadata).
//
// Registration (CreateClassMD, AddClassMD):
// - A (class ID, version) registered a second time keeps its first record:
//   the call returns that record, so builder calls chained on it land there,
//   and the new record is destroyed. With VORNIK_SITE set, a warning
//   "WARNING: Metadata for class <name> version <v> has been initialized more
//   than once." goes to aio_cerr().
// - The latest map holds the highest version of each class; the name map
//   keeps the first name entered for a class.
//
// Lookups first call the matching failure hook when one is set (the
// exception module installs hooks that throw nex_TextException for a missing
// class, version or name); without a hook a failed lookup answers the map's
// default: an empty holder, ID 0, version -1.
//
// Threads: registration runs during module start-up on one thread; afterwards
// the registrars are only read and take no locks.
#pragma once

#include "VNKUTI_BasicExport.h"
#include "cls/cls_ClassMetadata.h"
#include "cow/cow_Btree.h"
#include "cow/cow_List.h"
#include "mem/mem_AllocationOperators.h"
#include "omi/omi_Btree.h"
#include "omi/omi_Singleton.h"

extern template class VNKUTI_BASIC_API omi_Btree<unsigned int, cls_ClassMetadataHld>;
extern template class VNKUTI_BASIC_API omi_Btree<cls_CIDVersion, cls_ClassMetadataHld>;
extern template class VNKUTI_BASIC_API omi_BtreeIterator<unsigned int, cls_ClassMetadataHld>;
extern template class VNKUTI_BASIC_API omi_BtreeIterator<cls_CIDVersion, cls_ClassMetadataHld>;
extern template class VNKUTI_BASIC_API cow_ListBlock<cls_ClassMetadataHld>;
extern template class VNKUTI_BASIC_API cow_List<cls_ClassMetadataHld>;
extern template class VNKUTI_BASIC_API cow_ListIter<cls_ClassMetadataHld>;
extern template VNKUTI_BASIC_API int cow_List<cls_ClassMetadataHld>::FindMember<cls_ClassMetadataHld>(
    const cls_ClassMetadataHld&) const;
extern template VNKUTI_BASIC_API bool cow_List<cls_ClassMetadataHld>::IsEqual<cls_ClassMetadataHld>(
    const cow_List<cls_ClassMetadataHld>&) const;

class VNKUTI_BASIC_API cls_ClassRegistrar : public mem_AllocationOperators {
 public:
  // Failure hooks: called before every lookup of their kind; they decide
  // themselves whether the lookup would fail, and may throw.
  typedef void (*ClassHook)(const cls_ClassRegistrar& r, unsigned int classID);
  typedef void (*VersionHook)(const cls_ClassRegistrar& r, unsigned int classID, int version);
  typedef void (*NameHook)(const cls_ClassRegistrar& r, const cow_String& name);

  // ----- constructors ---------------------------------------------------
  cls_ClassRegistrar();
  ~cls_ClassRegistrar();
  cls_ClassRegistrar(const cls_ClassRegistrar&) = delete;
  cls_ClassRegistrar& operator=(const cls_ClassRegistrar&) = delete;

  // ----- registration ---------------------------------------------------
  // Makes a plain metadata record and registers it; returns the record the
  // registrar holds for (classID, version).
  cls_ClassMetadata& CreateClassMD(const cow_String& name, unsigned int classID, int version,
                                   void* (*ctor)(cls_ReadVisitor&), unsigned int baseClassID);
  // Takes ownership of md (typically a type adapter) and registers it;
  // returns the record the registrar holds for md's (class ID, version).
  cls_ClassMetadata& AddClassMD(cls_ClassMetadata* md);
  // Enters name with classID in the name map unless the name is there.
  void DeleteClass(const cow_String& name, unsigned int classID);

  // ----- lookups ----------------------------------------------------------
  bool ClassIsPresent(const unsigned int& classID) const { return m_Latest.IsPresent(classID); }
  bool ClassVersionIsPresent(unsigned int classID, int version) const {
    return m_Versions.IsPresent(cls_CIDVersion(classID, version));
  }
  bool ClassNameIsPresent(const cow_String& name) const { return m_Names.IsPresent(name); }

  // Class hook, then the latest-version record (empty holder when absent).
  const cls_ClassMetadataHld& ConstGet(const unsigned int& classID) const;
  // Version hook, then the record of exactly that version (empty when absent).
  const cls_ClassMetadataHld& GetClassMetadata(unsigned int classID, int version) const;
  // Name hook, then the ID registered for name (0 when absent).
  unsigned int GetClassID(const cow_String& name) const;
  // Class hook (so its message names ConstGet), then the latest version; -1
  // when absent.
  int GetLastClassVersionNumber(const unsigned int& classID) const;
  // The smallest registered version >= version, or -1. No hook.
  int GetFirstClassVersionNumberGREQ(const unsigned int& classID, int version) const;
  // The largest registered version < version, or -1. No hook.
  int GetPreviousClassVersionNumber(const unsigned int& classID, int version) const;
  // Whether baseClassID is classID itself or one of its registered ancestors.
  bool InheritanceCheck(const unsigned int& classID, const unsigned int& baseClassID) const;
  // Releases cow with the destructor function of the nearest class, walking
  // up from classID; false when none is found (always for ID 1).
  bool DeleteCow(unsigned int classID, cls_IntCOW* cow) const;

  // Latest records in ascending class ID.
  cow_List<cls_ClassMetadataHld> GetMDList() const;
  // Every registered record in ascending (class ID, version).
  cow_List<cls_ClassMetadataHld> GetHistoryMDList() const;
  // Number of classes (entries of the latest map).
  int Count() const { return m_Latest.Count(); }

  // ----- hooks (process-wide; null until set) -----------------------------
  // Each setter returns the hook it replaces. Set during start-up only.
  static ClassHook SetClassHook(ClassHook hook);
  static VersionHook SetVersionHook(VersionHook hook);
  static NameHook SetNameHook(NameHook hook);
  static ClassHook GetClassHook();
  static VersionHook GetVersionHook();
  static NameHook GetNameHook();

 private:
  cls_ClassMetadata& Register(cls_ClassMetadata* md);

  omi_Btree<unsigned int, cls_ClassMetadataHld> m_Latest;
  omi_Btree<cls_CIDVersion, cls_ClassMetadataHld> m_Versions;
  cow_Btree<cow_String, unsigned int> m_Names;
};

// The process-wide set of three registrars and the replay lists.
class VNKUTI_BASIC_API cls_MetadataRegistrar : public mem_AllocationOperators {
 public:
  typedef void (*RegistrationFunction)(cls_ClassRegistrar&);

  cls_MetadataRegistrar();
  // Destroys the two lists, then the registrars: third, second, first.
  ~cls_MetadataRegistrar();
  cls_MetadataRegistrar(const cls_MetadataRegistrar&) = delete;
  cls_MetadataRegistrar& operator=(const cls_MetadataRegistrar&) = delete;

  // For each bit of registrarMask in the order 1, 2, 4: remembers f in that
  // bit's list (bits 1 and 4), then calls f on that bit's registrar.
  void initClassMetadata(RegistrationFunction f, unsigned int registrarMask);
  // Replays the remembered functions into target: the bit-1 list if bit 1 is
  // set, then the bit-4 list if bit 4 is set. Bit 2 replays nothing.
  void initMetadata(cls_ClassRegistrar* target, unsigned int registrarMask) const;

  // The registrar of one mask bit (1, 2 or 4); any other value answers the
  // first registrar.
  cls_ClassRegistrar& GetRegistrar(unsigned int maskBit);
  const cls_ClassRegistrar& GetRegistrar(unsigned int maskBit) const;
  // The replay list of bit 1 or bit 4 (any other value: bit 1's).
  const cow_List<RegistrationFunction>& GetFunctions(unsigned int maskBit) const;

 private:
  cls_ClassRegistrar m_First;   // bit 1
  cls_ClassRegistrar m_Second;  // bit 4
  cls_ClassRegistrar m_Third;   // bit 2
  cow_List<RegistrationFunction> m_Bit1Functions;
  cow_List<RegistrationFunction> m_Bit4Functions;
};

extern template class VNKUTI_BASIC_API omi_Singleton<cls_MetadataRegistrar>;
