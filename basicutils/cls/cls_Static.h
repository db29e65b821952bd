// cls_Static: per-thread defaults of the persistence framework, an empty
// cls_Uid and an empty shared representation, for code that must hand out a
// reference to "nothing". One object per thread (thr_ThreadSingleton); the
// thread that finalizes cls releases its own, and pool threads release
// theirs when they end.
#pragma once

#include "VNKUTI_BasicExport.h"
#include "cls/cls_ClassMetadata.h"
#include "cls/cls_Uid.h"
#include "thr/thr_ThreadSingleton.h"

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
