// The per-thread objects of the persistence framework. Each thread has its
// own (thr_ThreadSingleton); the thread that finalizes cls releases its own,
// and pool threads release theirs when they end.
//
// cls_Static: per-thread defaults, an empty cls_Uid and an empty shared
// representation, for code that must hand out a reference to "nothing".
//
// cls_ExtQuant: the extent quanta (growth steps of persistent tables), with
// defaults that the environment may override for testing.
// ExtentQuantum(name, default) answers the default unless the environment
// variable EXTENT_QUANTUM_OVERRIDE is set. That decision is taken once per
// thread, at the first request; when the override is active it prints
// "***** EXTENT_QUANTUM_OVERRIDE activated." to standard output (aio_cout),
// and each quantum is then read from the environment variable of its name
// (leading decimal digits; a value below 1 gives the default), printed once
// as "***** <name> = <value>" and cached for the thread's lifetime. Pool
// threads destroy theirs at destruct level 3.
#pragma once

#include "VNKUTI_BasicExport.h"
#include "cls/cls_ClassMetadata.h"
#include "cls/cls_Uid.h"
#include "cow/cow_Btree.h"
#include "cow/cow_String.h"
#include "mem/mem_AllocationOperators.h"
#include "thr/thr_ThreadSingleton.h"

// ================================================================ defaults
class VNKUTI_BASIC_API cls_Static {
 public:
  cls_Static();
  ~cls_Static();  // releases both defaults
  cls_Static(const cls_Static&) = delete;
  cls_Static& operator=(const cls_Static&) = delete;

  // The calling thread's object, made on first use.
  static cls_Static& Instance();
  const cls_Uid& ConstUid() const { return m_Uid; }
  const cls_IntCOW& ConstIntCOW() const { return m_IntCOW; }

 private:
  cls_Uid m_Uid;
  cls_IntCOW m_IntCOW;
};

extern template class VNKUTI_BASIC_API thr_ThreadSingletonBase<cls_Static>;
extern template class VNKUTI_BASIC_API thr_ThreadSingleton<cls_Static>;

// ============================================================ extent quanta
class VNKUTI_BASIC_API cls_ExtQuant : public mem_AllocationOperators {
 public:
  static constexpr thr_ThreadObjectDestructLevel ThreadDestructLevel =
      static_cast<thr_ThreadObjectDestructLevel>(3);
  enum OverrideState { NoOverride = 0, OverrideActive = 1, Undecided = 2 };

  cls_ExtQuant();
  ~cls_ExtQuant();
  cls_ExtQuant(const cls_ExtQuant&) = delete;
  cls_ExtQuant& operator=(const cls_ExtQuant&) = delete;

  // The calling thread's object, made on first use.
  static cls_ExtQuant& Instance();

  int ExtentQuantum(const cow_String& name, int dflt);
  int ExtentQuantumConstTiny();    // "EXTENT_QUANTUM_TINY", 4
  int ExtentQuantumConstSmall();   // "EXTENT_QUANTUM_SMALL", 512
  int ExtentQuantumConstMedium();  // "EXTENT_QUANTUM_MEDIUM", 1024
  int ExtentQuantumConstLarge();   // "EXTENT_QUANTUM_LARGE", 2048
  int ExtentQuantumConstHuge();    // "EXTENT_QUANTUM_HUGE", 4096

  int GetOverrideState() const { return m_Override; }

 private:
  int m_Override;
  cow_Btree<cow_String, int> m_Cache;
};

extern template class VNKUTI_BASIC_API thr_ThreadSingletonBase<cls_ExtQuant>;
extern template class VNKUTI_BASIC_API thr_ThreadSingleton<cls_ExtQuant>;
