// cls_ExtQuant: the extent quanta (growth steps of persistent tables) of the
// calling thread, with defaults that the environment may override for
// testing.
//
// ExtentQuantum(name, default) answers the default unless the environment
// variable EXTENT_QUANTUM_OVERRIDE is set. That decision is taken once per
// thread, at the first request; when the override is active it prints
// "***** EXTENT_QUANTUM_OVERRIDE activated." to standard output (aio_cout),
// and each quantum is then read from the environment variable of its name
// (leading decimal digits; a value below 1 gives the default), printed once
// as "***** <name> = <value>" and cached for the thread's lifetime.
//
// One object per thread (thr_ThreadSingleton, destroyed at destruct level 3
// when a pool thread ends; cls_finalize releases the finalizing thread's).
#pragma once

#include "VNKUTI_BasicExport.h"
#include "cow/cow_Btree.h"
#include "cow/cow_String.h"
#include "mem/mem_AllocationOperators.h"
#include "thr/thr_ThreadSingleton.h"

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
