// The exception tree: reports, type ids, copies and re-raising, the type
// checks, system error texts and the out-of-memory advice texts.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <typeinfo>

#include "cow/cow_COW.h"
#include "mem/mem_Alloc.h"
#include "nex/nex_Exception.h"
#include "typ/typ_ArchCompTable.h"
#include "uti/UTI_BasicUtils.h"

namespace {

std::string S(const atr_StringBase& s) { return std::string(s.c_str(), s.Length()); }

// Too large for any allocator; AddressSanitizer builds need
// allocator_may_return_null=1 to see it fail rather than stop.
constexpr std::size_t kHuge = std::size_t(1) << 62;

// A command exception as the other modules derive them.
class TestCommandException : public nex_CommandException {
 public:
  [[noreturn]] void Propagate() const override { throw TestCommandException(*this); }
  nex_Exception* Copy() const override { return new TestCommandException(*this); }
  atr_String JournalMessage() const override { return atr_String("journal text"); }
  cow_String PythonType() const override { return cow_String("TestError"); }
};

// Takes the library down and up again with the process's counter, so that
// everything is built anew (the main of the program holds one user).
void RestartLibrary() {
  int mine = 0;
  UTI_BasicUtils_finalize(mine);
  UTI_BasicUtils_initialize(mine);
}

TEST(ExceptionReports, DeveloperReportCarriesTheRaisingPosition) {
  nex_TextException e("disk on fire");
  EXPECT_EQ(S(e.DeveloperReport()), "Exception: disk on fire in file  at line 0");
  try {
    e.Throw("utl/impl/utl_File", 7);
  } catch (const nex_Exception& caught) {
    EXPECT_EQ(S(caught.DeveloperReport()), "Exception: disk on fire in file utl/impl/utl_File at line 7");
    EXPECT_EQ(S(caught.UserReport()), "disk on fire");
    EXPECT_EQ(caught.FromLine(), 7);
    return;
  }
  FAIL() << "Throw returned";
}

TEST(ExceptionReports, TextsOfEveryClass) {
  EXPECT_EQ(S(nex_ExitException(atr_String(), 3).AsString()), "Exit code: 3");
  EXPECT_EQ(S(nex_ExitException(-1).AsString()), "Exit code: -1");
  EXPECT_EQ(S(nex_ExitException(atr_String("bye"), 3).AsString()), "bye");
  EXPECT_EQ(S(nex_TextException("t %s").AsString()), "t %s");
  EXPECT_EQ(S(nex_AssertException("x > 0 %d").AsString()), "x > 0 %d");
  EXPECT_EQ(S(nex_BadCastException(atr_String("b")).AsString()), "b");
  EXPECT_EQ(S(nex_InvalidObjException(atr_String("i")).AsString()), "i");
  EXPECT_EQ(S(TestCommandException().AsString()), "TestError:journal text");
  nex_SystemErrorException sys(cow_SystemErrorCode::NoNativeCode, ENOENT);
  EXPECT_EQ(S(sys.AsString()), std::strerror(ENOENT));
  nex_OutOfMemoryException oom(nex_OutOfMemoryHeap);
  ASSERT_NE(nex_OutOfMemoryException::GetOutOfMemoryMsgSession(), nullptr);
  EXPECT_EQ(S(oom.AsString()), S(*nex_OutOfMemoryException::GetOutOfMemoryMsgSession()));
  EXPECT_EQ(S(oom.JournalMessage()), S(oom.AsString()));
  EXPECT_EQ(S(oom.PythonType()), "OutOfMemory");
}

// T::TypeId() is id; e (of dynamic type T unless T is the root) reports it.
template <class T>
void ExpectIds(const nex_Exception& e, unsigned id, const char* name) {
  SCOPED_TRACE(name);
  EXPECT_EQ(T::TypeId(), id);
  if (id != 0x1F0001) {
    EXPECT_EQ(e.DynTypeId(), id);
  }
  EXPECT_STREQ(typ_ArchCompTable::GetName(id), name);
  EXPECT_EQ(typ_ArchCompTable::GetParent(id), id == 0x1F0001 ? 1u : 0x1F0001u);
}

TEST(ExceptionTypes, EveryClassHasItsIdAndTableEntry) {
  ExpectIds<nex_Exception>(nex_TextException("a"), 0x1F0001, "nex_Exception");
  ExpectIds<nex_TextException>(nex_TextException("a"), 0x1F0002, "nex_TextException");
  ExpectIds<nex_CommandException>(TestCommandException(), 0x1F0003, "nex_CommandException");
  ExpectIds<nex_AssertException>(nex_AssertException("a"), 0x1F0004, "nex_AssertException");
  ExpectIds<nex_BadCastException>(nex_BadCastException(atr_String("a")), 0x1F0005, "nex_BadCastException");
  ExpectIds<nex_ExitException>(nex_ExitException(1), 0x1F0006, "nex_ExitException");
  ExpectIds<nex_InvalidObjException>(nex_InvalidObjException(atr_String("a")), 0x1F0007, "nex_InvalidObjException");
  ExpectIds<nex_SystemErrorException>(nex_SystemErrorException(1u, 0), 0x1F0008, "nex_SystemErrorException");
  ExpectIds<nex_OutOfMemoryException>(nex_OutOfMemoryException(nex_OutOfMemoryLimit), 0x1F0009, "nex_OutOfMemoryException");
}

// Copies e, re-raises the copy and expects exactly T to arrive.
template <class T>
void ExpectCopyPropagatesAs(const T& e) {
  SCOPED_TRACE(typeid(T).name());
  std::unique_ptr<nex_Exception> copy(e.Copy());
  ASSERT_NE(copy, nullptr);
  const nex_Exception& copied = *copy;
  EXPECT_EQ(typeid(copied), typeid(T));
  EXPECT_EQ(S(copy->AsString()), S(e.AsString()));
  try {
    copy->Propagate();
  } catch (const T& caught) {
    EXPECT_EQ(typeid(caught), typeid(T));
    EXPECT_EQ(caught.DynTypeId(), T::TypeId());
    EXPECT_EQ(S(caught.DeveloperReport()), S(e.DeveloperReport()));
    return;
  } catch (...) {
    FAIL() << "wrong type raised";
  }
  FAIL() << "Propagate returned";
}

TEST(ExceptionCopies, CopyThenPropagateRaisesTheSameDynamicType) {
  nex_TextException text("text");
  try {
    text.Throw("here", 3);  // the position travels with the copies
  } catch (const nex_TextException& thrown) {
    ExpectCopyPropagatesAs(thrown);
  }
  ExpectCopyPropagatesAs(nex_AssertException("assert"));
  ExpectCopyPropagatesAs(nex_BadCastException(atr_String("cast")));
  ExpectCopyPropagatesAs(nex_ExitException(atr_String("exit"), 2));
  ExpectCopyPropagatesAs(nex_InvalidObjException(atr_String("invalid")));
  ExpectCopyPropagatesAs(nex_SystemErrorException(cow_SystemErrorCode::NoNativeCode, EACCES));
  ExpectCopyPropagatesAs(nex_OutOfMemoryException(nex_OutOfMemoryHeap));
  ExpectCopyPropagatesAs(TestCommandException());
}

TEST(ExceptionCopies, HeldExceptionIsReRaisedLater) {
  typedef cow_COW<nex_Exception, cow_Virtual<nex_Exception>> Held;
  Held held;
  try {
    nex_ExitException(atr_String("stop"), 4).Throw("uti/impl/uti_Spawn", 12);
  } catch (const nex_Exception& e) {
    held = Held(e);  // a copy of the exact type, through Copy()
  }
  ASSERT_TRUE(held.HasValue());
  // A holder typed by a subclass copies as that class too.
  typedef cow_COW<nex_OutOfMemoryException, cow_Virtual<nex_OutOfMemoryException>> HeldOom;
  HeldOom oom{nex_OutOfMemoryException(nex_OutOfMemoryLimit)}, oomCopy(oom);
  EXPECT_EQ(oomCopy.Get().Err(), nex_OutOfMemoryLimit);
  EXPECT_NE(&oomCopy.ConstGet(), &oom.ConstGet());
  Held other(held);
  EXPECT_EQ(held.UseCount(), 2u);
  nex_Exception& own = other.Get();  // a second copy, this one other's alone
  EXPECT_NE(&own, &held.ConstGet());
  EXPECT_EQ(typeid(own), typeid(nex_ExitException));
  EXPECT_EQ(held.UseCount(), 1u);
  try {
    held.ConstGet().Propagate();
  } catch (const nex_ExitException& e) {
    EXPECT_EQ(S(e.AsString()), "stop");
    EXPECT_EQ(e.GetValue().m_Err, 4);
    EXPECT_EQ(S(e.FromFile()), "uti/impl/uti_Spawn");
    EXPECT_EQ(e.FromLine(), 12);
    return;
  }
  FAIL() << "Propagate returned";
}

TEST(ExceptionTypes, CastChecksFollowTheParentIds) {
  for (unsigned id : {0x1F0001u, 0x1F0002u, 0x1F0009u, 0x123456u, 1u}) EXPECT_TRUE(nex_canDynamicCastPtr(id, id));
  EXPECT_TRUE(nex_canDynamicCastPtr(nex_Exception::TypeId(), nex_TextException::TypeId()));
  EXPECT_TRUE(nex_canDynamicCastPtr(nex_Exception::TypeId(), nex_OutOfMemoryException::TypeId()));
  EXPECT_FALSE(nex_canDynamicCastPtr(nex_TextException::TypeId(), nex_Exception::TypeId()));
  EXPECT_FALSE(nex_canDynamicCastPtr(nex_TextException::TypeId(), nex_AssertException::TypeId()));
  EXPECT_FALSE(nex_canDynamicCastPtr(nex_Exception::TypeId(), 0x123456));
  EXPECT_TRUE(nex_canDynamicCastRef(nex_Exception::TypeId(), nex_ExitException::TypeId(), "f", 1));
}

TEST(ExceptionTypes, FailedReferenceCastRaisesFromInsideTheLibrary) {
  try {
    nex_canDynamicCastRef(nex_TextException::TypeId(), nex_Exception::TypeId(), "cls/impl/cls_Visitor", 99);
  } catch (const nex_Exception& e) {  // caught by its base, across the library boundary
    EXPECT_EQ(e.DynTypeId(), nex_BadCastException::TypeId());
    const auto* bad = dynamic_cast<const nex_BadCastException*>(&e);
    ASSERT_NE(bad, nullptr);
    EXPECT_EQ(S(bad->Value()), "Bad Cast: From `nex_Exception' To 'nex_TextException'.");
    EXPECT_EQ(S(e.FromFile()), "cls/impl/cls_Visitor");
    EXPECT_EQ(e.FromLine(), 99);
    return;
  }
  FAIL() << "no exception";
}

TEST(SystemErrorText, RunTimeCodeOrSocketTableOrSystemText) {
  for (int err : {ENOENT, EACCES, 0})
    EXPECT_EQ(S(cow_SystemErrorCode(cow_SystemErrorCode::NoNativeCode, err).GetText()), std::strerror(err));
  EXPECT_EQ(S(cow_SystemErrorCode(10054, 0).GetText()), "WSAECONNRESET (10054) Connection reset by peer.");
  // The first and last rows: the bisection reaches both ends.
  EXPECT_EQ(S(cow_SystemErrorCode(10004, 0).GetText()), "WSAEINTR (10004) Interrupted function call.");
  EXPECT_EQ(S(cow_SystemErrorCode(11004, 5).GetText()),
            "WSANO_DATA (11004) Valid name, no data record of requested type.");
  // Codes outside the table (10059 sits in a gap) ask the system, whose text
  // for a code is strerror's on this platform.
  for (unsigned code : {10059u, 10003u, 11005u, unsigned(ENOENT)})
    EXPECT_EQ(S(cow_SystemErrorCode(code, 0).GetText()), std::strerror(static_cast<int>(code))) << code;
}

const char kSessionAdvice[] =
    "*** Error: An out of memory error occurred, or the Vornik/CAE memory limit was reached.\n \nIf the application "
    "ran out of memory, please create backup copies of your Vornik/CAE databases and then try to save them.\nDatabase "
    "corruption may occur if an out of memory error occurs during the save operation.\n \nTo change the Vornik/CAE "
    "memory limit now, issue the following command in the Vornik/CAE CLI: \n "
    "session.setValues(kernelMemoryLimit=valueInMBytes) \n \nTo change the value for future Vornik/CAE sessions, "
    "refer to the VORNIK Installation and Licensing Guide for details on how to modify this value in your "
    "vornik_v6.env file.\n \nIt is recommended that you exit Vornik/CAE and then restart it.\n \nOn 32-bit versions "
    "of Windows, you can use the boot option /3GB /userva=SizeInMBytes to increase the amount of memory that can be "
    "used by Vornik/CAE. Please refer to Microsoft's documentation for more detailed information.\nAlternatively, if "
    "you have access to a 64-bit operating system, you can try running Vornik/CAE there, where the memory is not "
    "limited to 2 or 3GB. \n";

const char kGenericAdvice[] =
    "*** Error: An out of memory error occurred. On 32-bit versions of Windows, you can use the boot option /3GB "
    "/userva=SizeInMBytes to increase the amount of memory that can be used by the application. Please refer to "
    "Microsoft's documentation for more detailed information. Alternatively, if you have access to a 64-bit "
    "operating system, you can try running the application there, where the memory is not limited to 2 or 3GB. \n";

TEST(OutOfMemory, AdviceTextsGrowWithEveryMessageAndAreRebuiltAtStartUp) {
  RestartLibrary();  // undo what other tests appended
  const atr_String* session = nex_OutOfMemoryException::GetOutOfMemoryMsgSession();
  const atr_String* generic = nex_OutOfMemoryException::GetOutOfMemoryMsgGeneric();
  ASSERT_TRUE(session && generic);
  EXPECT_EQ(S(*session), kSessionAdvice);
  EXPECT_EQ(S(*generic), kGenericAdvice);

  nex_OutOfMemoryException quiet(nex_OutOfMemoryHeap);  // no message: no growth
  EXPECT_EQ(S(*session), kSessionAdvice);

  nex_OutOfMemoryException first(atr_String(" [mesh]"), nex_OutOfMemoryLimit);
  EXPECT_EQ(S(first.Msg()), " [mesh]");
  EXPECT_EQ(first.Err(), nex_OutOfMemoryLimit);
  nex_OutOfMemoryException second(atr_String(" [solver]"), nex_OutOfMemoryHeap);
  EXPECT_EQ(S(*session), std::string(kSessionAdvice) + " [mesh] [solver]");
  EXPECT_EQ(S(*generic), std::string(kGenericAdvice) + " [mesh] [solver]");
  EXPECT_EQ(S(first.JournalMessage()), S(*session));  // the report reads the text as it is now

  RestartLibrary();
  EXPECT_EQ(S(*nex_OutOfMemoryException::GetOutOfMemoryMsgSession()), kSessionAdvice);
  EXPECT_EQ(S(*nex_OutOfMemoryException::GetOutOfMemoryMsgGeneric()), kGenericAdvice);
}

TEST(OutOfMemory, ExhaustedAllocatorRaisesTheOutOfMemoryExceptionOrBadAlloc) {
  try {
    void* p = mem_OperatorNewThrow(kHuge);
    mem_Free(p);
    FAIL() << "allocated " << kHuge << " bytes";
  } catch (const nex_OutOfMemoryException& e) {
    EXPECT_EQ(e.Err(), nex_OutOfMemoryHeap);
    EXPECT_EQ(S(e.FromFile()), "nex/impl/nex_TypeTable");
  }
  EXPECT_THROW(mem_Malloc(kHuge), nex_OutOfMemoryException);
  // Without the exception module, exhaustion is std::bad_alloc.
  int mine = 0;
  UTI_BasicUtils_finalize(mine);
  EXPECT_THROW(mem_OperatorNewThrow(kHuge), std::bad_alloc);
  UTI_BasicUtils_initialize(mine);  // and with it back, the library's own exception again
  EXPECT_THROW(mem_OperatorNewThrow(kHuge), nex_OutOfMemoryException);
}

}  // namespace
