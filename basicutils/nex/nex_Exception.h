// The exception tree of the library, rooted at nex_Exception.
//
// Raising: construct the exception, then call Throw(file, line), which records
// the position and re-raises a copy with the exact dynamic type (Propagate).
// Inside the library use NEX_THROW(e) after defining NEX_SOURCE as the
// implementation file's module path ("utl/impl/utl_File").
//
// Reports: AsString() is the class's own text, UserReport() returns it, and
// DeveloperReport() adds the raising position:
//   "Exception: <user report> in file <file> at line <line>".
// Copy() makes a heap copy with the exact dynamic type (the caller owns it);
// a caught exception can be kept in a cow_COW<nex_Exception,
// cow_Virtual<nex_Exception>> and re-raised later with Propagate().
//
// Type ids: module 31 (0x1F) * 65536 + class number. Every class has a static
// TypeId() and a virtual DynTypeId(); nex_canDynamicCastPtr/Ref test ancestry
// on them through the type table.
//
// Exceptions are plain values: one object is used by one thread at a time.
#pragma once

#include "VNKUTI_BasicExport.h"
#include "cls/cls_ClassMetadata.h"
#include "cls/cls_Uid.h"
#include "cow/cow_COW.h"
#include "cow/cow_String.h"
#include "cow/cow_SystemErrorCode.h"
#include "mem/mem_AllocationOperators.h"

class cls_WriteVisitor;
class cls_ReadVisitor;
class cls_ClassRegistrar;

// Declares the members every concrete exception class overrides.
#define NEX_CONCRETE_MEMBERS(Class, Id)                         \
  static constexpr unsigned ClassTypeId = (Id);                 \
  static unsigned TypeId() { return ClassTypeId; }              \
  unsigned DynTypeId() const override { return ClassTypeId; }   \
  [[noreturn]] void Propagate() const override;                 \
  Class* Copy() const override;

// Defines Propagate and Copy of a concrete class (in its .cpp file). Copy
// returns the class itself, so that a cow_Virtual holder of any class of the
// tree can copy.
#define NEX_CONCRETE_DEFINITIONS(Class)                                      \
  void Class::Propagate() const { throw Class(*this); }                     \
  Class* Class::Copy() const { return new Class(*this); }

// Declares the persistent side of a class: the constructor that reads it
// back, DBWrite, and the registration function nex_initialize (or the
// owning module's initializer) hands to the metadata registrar.
#define NEX_PERSISTENT_MEMBERS(Class)                     \
  explicit Class(const cls_ReadVisitor& v);               \
  void DBWrite(const cls_WriteVisitor& v) const override; \
  static void InitializeMetadata(cls_ClassRegistrar& r);

// Raises e with the position of this line; NEX_SOURCE names the file.
#define NEX_THROW(e) (e).Throw(NEX_SOURCE, __LINE__)
// Raises nex_AssertException with the condition's text when cond is false.
#define NEX_ASSERT(cond) \
  do {                   \
    if (!(cond)) nex_AssertException(#cond).Throw(NEX_SOURCE, __LINE__); \
  } while (0)

// ===================================================================== base
class VNKUTI_BASIC_API nex_Exception : public mem_AllocationOperators {
 public:
  static constexpr unsigned ClassTypeId = 0x1F0001;
  static unsigned TypeId() { return ClassTypeId; }

  virtual ~nex_Exception();
  virtual atr_String DeveloperReport() const;
  virtual atr_String UserReport() const;
  virtual atr_String AsString() const = 0;
  [[noreturn]] virtual void Propagate() const = 0;
  virtual nex_Exception* Copy() const = 0;
  virtual unsigned DynTypeId() const { return ClassTypeId; }
  // Writes m_FromFile, then m_FromLine (persistent names), under the object's
  // identity. Each class writes its base part first, then its own fields.
  virtual void DBWrite(const cls_WriteVisitor& v) const;
  static void InitializeMetadata(cls_ClassRegistrar& r);

  // Records file and line, then raises a copy of the exact dynamic type.
  [[noreturn]] void Throw(const char* file, int line);

  const cow_String& FromFile() const { return m_FromFile; }
  int FromLine() const { return m_FromLine; }
  // The identity the persistence framework writes the object under: empty
  // for a new exception (raising one must not need the uid catalog), the
  // stored one for an exception read back.
  const cls_Uid& GetUid() const { return m_Uid; }

 protected:
  nex_Exception() = default;
  // Reads m_FromFile, m_FromLine and the identity.
  explicit nex_Exception(const cls_ReadVisitor& v);
  nex_Exception(const nex_Exception&) = default;
  nex_Exception& operator=(const nex_Exception&) = default;

  cow_String m_FromFile;  // empty until thrown
  int m_FromLine = 0;
  cls_Uid m_Uid{static_cast<cls_UidCatalogEntry*>(nullptr)};
};

// =============================================================== text family
class VNKUTI_BASIC_API nex_TextException : public nex_Exception {
 public:
  NEX_CONCRETE_MEMBERS(nex_TextException, 0x1F0002)
  NEX_PERSISTENT_MEMBERS(nex_TextException)
  explicit nex_TextException(const atr_StringBase& text) : m_Value(text) {}
  explicit nex_TextException(const char* text) : m_Value(text) {}
  nex_TextException(const nex_TextException&) = default;
  ~nex_TextException() override;
  atr_String AsString() const override;
  const cow_String& Value() const { return m_Value; }

 protected:
  nex_TextException() = default;
  cow_String m_Value;
};

class VNKUTI_BASIC_API nex_AssertException : public nex_Exception {
 public:
  NEX_CONCRETE_MEMBERS(nex_AssertException, 0x1F0004)
  NEX_PERSISTENT_MEMBERS(nex_AssertException)
  explicit nex_AssertException(const atr_StringBase& text) : m_Value(text) {}
  explicit nex_AssertException(const char* text) : m_Value(text) {}
  nex_AssertException(const nex_AssertException&) = default;
  ~nex_AssertException() override;
  atr_String AsString() const override;
  const cow_String& Value() const { return m_Value; }

 protected:
  cow_String m_Value;
};

class VNKUTI_BASIC_API nex_BadCastException : public nex_Exception {
 public:
  NEX_CONCRETE_MEMBERS(nex_BadCastException, 0x1F0005)
  NEX_PERSISTENT_MEMBERS(nex_BadCastException)
  explicit nex_BadCastException(const atr_StringBase& text) : m_Value(text) {}
  nex_BadCastException(const nex_BadCastException&) = default;
  ~nex_BadCastException() override;
  atr_String AsString() const override;
  const cow_String& Value() const { return m_Value; }

 protected:
  cow_String m_Value;
};

class VNKUTI_BASIC_API nex_InvalidObjException : public nex_Exception {
 public:
  NEX_CONCRETE_MEMBERS(nex_InvalidObjException, 0x1F0007)
  NEX_PERSISTENT_MEMBERS(nex_InvalidObjException)
  explicit nex_InvalidObjException(const atr_StringBase& text) : m_Value(text) {}
  nex_InvalidObjException(const nex_InvalidObjException&) = default;
  ~nex_InvalidObjException() override;
  atr_String AsString() const override;
  const cow_String& Value() const { return m_Value; }

 protected:
  cow_String m_Value;
};

// ================================================================ commands
// Base of the exceptions the scripting layer knows by type name. Its text is
// PythonType() + ":" + JournalMessage().
class VNKUTI_BASIC_API nex_CommandException : public nex_Exception {
 public:
  static constexpr unsigned ClassTypeId = 0x1F0003;
  static unsigned TypeId() { return ClassTypeId; }
  unsigned DynTypeId() const override { return ClassTypeId; }
  ~nex_CommandException() override;
  atr_String AsString() const override;
  virtual atr_String JournalMessage() const = 0;
  virtual cow_String PythonType() const = 0;
  // Writes only the nex_Exception part.
  void DBWrite(const cls_WriteVisitor& v) const override;
  static void InitializeMetadata(cls_ClassRegistrar& r);

 protected:
  nex_CommandException() = default;
  explicit nex_CommandException(const cls_ReadVisitor& v);
  nex_CommandException(const nex_CommandException&) = default;
};

// ==================================================================== exit
class VNKUTI_BASIC_API nex_ExitException : public nex_Exception {
 public:
  NEX_CONCRETE_MEMBERS(nex_ExitException, 0x1F0006)
  NEX_PERSISTENT_MEMBERS(nex_ExitException)
  struct Value {
    cow_String m_Msg;
    int m_Err = 0;
  };
  nex_ExitException(const atr_StringBase& msg, int err) : m_Value{cow_String(msg), err} {}
  explicit nex_ExitException(int err) : m_Value{cow_String(), err} {}
  nex_ExitException(const nex_ExitException&) = default;
  ~nex_ExitException() override;
  // The message, or "Exit code: <code>" when the message is empty.
  atr_String AsString() const override;
  const Value& GetValue() const { return m_Value; }

 protected:
  Value m_Value;
};

// ============================================================ system error
class VNKUTI_BASIC_API nex_SystemErrorException : public nex_Exception {
 public:
  NEX_CONCRETE_MEMBERS(nex_SystemErrorException, 0x1F0008)
  NEX_PERSISTENT_MEMBERS(nex_SystemErrorException)
  explicit nex_SystemErrorException(const cow_SystemErrorCode& code) : m_Value(code) {}
  nex_SystemErrorException(unsigned nativeErrorCode, int crtErrorCode) : m_Value(nativeErrorCode, crtErrorCode) {}
  nex_SystemErrorException(const nex_SystemErrorException&) = default;
  ~nex_SystemErrorException() override;
  atr_String AsString() const override;  // the code's GetText()
  const cow_SystemErrorCode& GetValue() const { return m_Value; }

 protected:
  cow_SystemErrorCode m_Value;
};

// =========================================================== out of memory
enum nex_OutOfMemoryErrEnm {
  nex_OutOfMemoryHeap = 1,   // the allocator found no memory
  nex_OutOfMemoryLimit = 2,  // an application's memory limit was reached
};

class VNKUTI_BASIC_API nex_OutOfMemoryException : public nex_Exception {
 public:
  NEX_CONCRETE_MEMBERS(nex_OutOfMemoryException, 0x1F0009)
  NEX_PERSISTENT_MEMBERS(nex_OutOfMemoryException)
  explicit nex_OutOfMemoryException(nex_OutOfMemoryErrEnm err) : m_Err(err) {}
  // Also appends msg to both process-wide advice texts, which therefore grow
  // with every such construction and are never trimmed.
  nex_OutOfMemoryException(const atr_String& msg, nex_OutOfMemoryErrEnm err);
  nex_OutOfMemoryException(const nex_OutOfMemoryException&) = default;
  ~nex_OutOfMemoryException() override;
  atr_String AsString() const override;            // JournalMessage()
  virtual atr_String JournalMessage() const;       // a copy of the session advice text
  virtual cow_String PythonType() const;           // "OutOfMemory"
  const cow_String& Msg() const { return m_Msg; }
  nex_OutOfMemoryErrEnm Err() const { return m_Err; }

  // The generic advice text; null before nex_initialize and after nex_finalize.
  static const atr_String* GetOutOfMemoryMsgGeneric();
  static const atr_String* GetOutOfMemoryMsgSession();

 protected:
  cow_String m_Msg;
  nex_OutOfMemoryErrEnm m_Err;
};

// ============================================================== holders
// A caught exception kept for later: the copy step calls Copy().
extern template class VNKUTI_BASIC_API cow_CountedHld<nex_Exception>;
extern template class VNKUTI_BASIC_API cow_COW<nex_Exception, cow_Virtual<nex_Exception>>;
extern template class VNKUTI_BASIC_API cow_CountedHld<nex_OutOfMemoryException>;
extern template class VNKUTI_BASIC_API cow_COW<nex_OutOfMemoryException, cow_Virtual<nex_OutOfMemoryException>>;

// ============================================================ persistence
// Type adapters of version 800: abstract ones for every class, concrete ones
// (built from a read visitor) for the classes that are not abstract.
extern template class VNKUTI_BASIC_API cls_AbsTypeAdapter<nex_Exception>;
extern template class VNKUTI_BASIC_API cls_AbsTypeAdapter<nex_CommandException>;
extern template class VNKUTI_BASIC_API cls_AbsTypeAdapter<nex_TextException>;
extern template class VNKUTI_BASIC_API cls_AbsTypeAdapter<nex_AssertException>;
extern template class VNKUTI_BASIC_API cls_AbsTypeAdapter<nex_BadCastException>;
extern template class VNKUTI_BASIC_API cls_AbsTypeAdapter<nex_ExitException>;
extern template class VNKUTI_BASIC_API cls_AbsTypeAdapter<nex_InvalidObjException>;
extern template class VNKUTI_BASIC_API cls_AbsTypeAdapter<nex_SystemErrorException>;
extern template class VNKUTI_BASIC_API cls_AbsTypeAdapter<nex_OutOfMemoryException>;
extern template class VNKUTI_BASIC_API cls_TypeAdapter<nex_TextException>;
extern template class VNKUTI_BASIC_API cls_TypeAdapter<nex_AssertException>;
extern template class VNKUTI_BASIC_API cls_TypeAdapter<nex_BadCastException>;
extern template class VNKUTI_BASIC_API cls_TypeAdapter<nex_ExitException>;
extern template class VNKUTI_BASIC_API cls_TypeAdapter<nex_InvalidObjException>;
extern template class VNKUTI_BASIC_API cls_TypeAdapter<nex_SystemErrorException>;
extern template class VNKUTI_BASIC_API cls_TypeAdapter<nex_OutOfMemoryException>;

// ============================================================ type checks
VNKUTI_BASIC_API bool nex_canDynamicCastPtr(unsigned target, unsigned actual);
// As nex_canDynamicCastPtr; when the test fails, raises nex_BadCastException
// "Bad Cast: From `<actual>' To '<target>'." at file and line.
VNKUTI_BASIC_API bool nex_canDynamicCastRef(unsigned target, unsigned actual, const char* file, int line);

VNKUTI_BASIC_API bool nex_assertFormalize();  // returns false
VNKUTI_BASIC_API void nex_formalize();         // does nothing; names the module for the linker
