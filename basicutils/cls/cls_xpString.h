// Exchange types for strings: a cow_String (cls_xpString) or an atr_String
// (cls_xpTrString) carried through the visitors as one persistent object,
// with its own identity. They are registered by cls_initialize under the
// class names "cow_String" and "atr_String" (version 800, no persistent
// base), and stored under the fields "STRING" and "TRSTRING".
//
// The other exchange types (lists, arrays, maps) follow the same pattern.
#pragma once

#include "VNKUTI_BasicExport.h"
#include "atr/atr_String.h"
#include "cls/cls_ClassMetadata.h"
#include "cls/cls_Uid.h"
#include "cow/cow_String.h"
#include "mem/mem_AllocationOperators.h"

class cls_WriteVisitor;
class cls_ReadVisitor;
class cls_ClassRegistrar;

class VNKUTI_BASIC_API cls_xpString : public mem_AllocationOperators {
 public:
  static constexpr unsigned int ClassTypeId = 0x230005;
  static unsigned int TypeId() { return ClassTypeId; }
  virtual unsigned int DynTypeId() const { return ClassTypeId; }

  explicit cls_xpString(const cow_String& value = cow_String()) : m_Value(value) {}
  // Takes the identity from v, then reads "STRING".
  explicit cls_xpString(const cls_ReadVisitor& v);
  cls_xpString(const cls_xpString&) = default;
  cls_xpString& operator=(const cls_xpString&) = default;
  virtual ~cls_xpString();

  virtual void DBWrite(const cls_WriteVisitor& v) const;
  static void InitializeMetadata(cls_ClassRegistrar& r);

  const cow_String& Value() const { return m_Value; }
  const cls_Uid& GetUid() const { return m_Uid; }

 private:
  cow_String m_Value;
  cls_Uid m_Uid;
};

class VNKUTI_BASIC_API cls_xpTrString : public mem_AllocationOperators {
 public:
  static constexpr unsigned int ClassTypeId = 0x230006;
  static unsigned int TypeId() { return ClassTypeId; }
  virtual unsigned int DynTypeId() const { return ClassTypeId; }

  explicit cls_xpTrString(const atr_String& value = atr_String()) : m_Value(value) {}
  // Takes the identity from v, then reads "TRSTRING".
  explicit cls_xpTrString(const cls_ReadVisitor& v);
  cls_xpTrString(const cls_xpTrString&) = default;
  cls_xpTrString& operator=(const cls_xpTrString&) = default;
  virtual ~cls_xpTrString();

  virtual void DBWrite(const cls_WriteVisitor& v) const;
  static void InitializeMetadata(cls_ClassRegistrar& r);

  const atr_String& Value() const { return m_Value; }
  const cls_Uid& GetUid() const { return m_Uid; }

 private:
  atr_String m_Value;
  cls_Uid m_Uid;
};

extern template class VNKUTI_BASIC_API cls_AbsTypeAdapter<cls_xpString>;
extern template class VNKUTI_BASIC_API cls_TypeAdapter<cls_xpString>;
extern template class VNKUTI_BASIC_API cls_AbsTypeAdapter<cls_xpTrString>;
extern template class VNKUTI_BASIC_API cls_TypeAdapter<cls_xpTrString>;
