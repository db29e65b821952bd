// The utl exception classes as persistent classes: each is rebuilt with its
// exact class from a store, its text and raising position intact, and
// utl_initialize has registered its metadata under its parent's class ID.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "cls/cls_ClassRegistrar.h"
#include "cls/cls_MemoryStore.h"
#include "cls/cls_Visitor.h"
#include "typ/typ_ArchCompTable.h"
#include "utl/utl_Base64.h"
#include "utl/utl_BinStream.h"
#include "utl/utl_CommandLine.h"
#include "utl/utl_File.h"
#include "utl/utl_TempFile.h"
#include "utl/utl_TypeIds.h"

namespace {

std::string S(const atr_StringBase& s) { return std::string(s.c_str(), s.Length()); }

cls_MetadataRegistrar& Registrars() { return omi_Singleton<cls_MetadataRegistrar>::Instance(); }
const cls_ClassRegistrar& MaskTwo() { return Registrars().GetRegistrar(2); }

// Raises e from a known position and answers the caught copy.
template <class E>
E Raised(E e, int line) {
  try {
    e.Throw("utl/impl/utl_PersistTest", line);
  } catch (const E& caught) {
    return caught;
  }
  return e;
}

// Writes e as the top-level field "e" of store, through its own DBWrite.
void Store(const nex_Exception& e, cls_MemStore& store) {
  cls_WriteVisitor root(store.MakeWriteMemento());
  cls_WriteObject(root, cls_FieldHandle("e", 0), e);
}

// Rebuilds field "e" by its stored class ID through the mask-2 registrar.
std::unique_ptr<nex_Exception> Rebuild(cls_MemStore& store) {
  cls_ReadVisitor root(store.MakeReadMemento());
  return std::unique_ptr<nex_Exception>(static_cast<nex_Exception*>(cls_ReadObject(root, cls_FieldHandle("e", 0), MaskTwo())));
}

// Raises e, stores and rebuilds it: the copy must be of the same class with
// the same text and position, and the stored parts must follow the class
// chain up to nex_Exception.
template <class E>
void ExpectRoundTrip(E original, int line) {
  SCOPED_TRACE(typ_ArchCompTable::GetName(E::TypeId()));
  const E e = Raised(original, line);
  cls_MemStore store;
  Store(e, store);
  std::unique_ptr<nex_Exception> back = Rebuild(store);
  ASSERT_NE(back, nullptr);
  EXPECT_EQ(back->DynTypeId(), E::TypeId());
  EXPECT_NE(dynamic_cast<const E*>(back.get()), nullptr);
  EXPECT_EQ(S(back->UserReport()), S(e.UserReport()));
  EXPECT_FALSE(S(back->UserReport()).empty());
  EXPECT_EQ(back->FromFile(), "utl/impl/utl_PersistTest");
  EXPECT_EQ(back->FromLine(), line);

  const cls_MemObject* part = store.Root().FieldAt(0).Value().Object();
  for (unsigned id = E::TypeId(); id != 1; id = typ_ArchCompTable::GetParent(id)) {
    ASSERT_NE(part, nullptr) << std::hex << id;
    EXPECT_EQ(part->ClassID(), id);
    // Only nex_TextException and nex_Exception carry fields.
    if (id != nex_TextException::TypeId() && id != nex_Exception::TypeId()) {
      EXPECT_EQ(part->FieldCount(), 0);
    }
    part = part->Base();
  }
  EXPECT_EQ(part, nullptr);
}

TEST(UtlExceptionPersistence, FileExceptionsRoundTrip) {
  const cow_String name("/tmp/x.dat"), label("label");
  ExpectRoundTrip(utl_FileExceptionClose(2, name, label), 101);
  ExpectRoundTrip(utl_FileExceptionExtend(28, name, label), 102);
  ExpectRoundTrip(utl_FileExceptionSeek(22, name, label), 103);
  ExpectRoundTrip(utl_FileExceptionLocation(9, name, label), 104);
  ExpectRoundTrip(utl_FileExceptionRead(5, name, label), 105);
  ExpectRoundTrip(utl_FileExceptionSize(9, name, label), 106);
  ExpectRoundTrip(utl_FileExceptionOpen(2, name, label), 107);
  ExpectRoundTrip(utl_FileExceptionFlush(name, label), 108);
  ExpectRoundTrip(utl_FileExceptionFlush(5, name, label), 109);
  ExpectRoundTrip(utl_FileExceptionWrite(name, label), 110);
  ExpectRoundTrip(utl_FileExceptionWrite(28, name, label), 111);
  ExpectRoundTrip(utl_FileExceptionNoFile(name, label), 112);
  ExpectRoundTrip(utl_FileExceptionFull(name), 113);
}

TEST(UtlExceptionPersistence, StreamCommandLineAndTempFileExceptionsRoundTrip) {
  ExpectRoundTrip(utl_BinStreamException(atr_String("stream text")), 201);
  ExpectRoundTrip(utl_BinStreamWriteError(28), 202);
  ExpectRoundTrip(utl_BinStreamReadError(5), 203);
  ExpectRoundTrip(utl_BinStreamEOF(), 204);
  ExpectRoundTrip(utl_MissingCmdLineArgException(atr_String("input")), 301);
  ExpectRoundTrip(utl_CmdLineArgFormatException(atr_String("count"), "integer"), 302);
  ExpectRoundTrip(utl_TempFileException(atr_String("temp text")), 401);
  ExpectRoundTrip(utl_TempFileOpenExc(atr_String("/tmp/a"), atr_String("Permission denied")), 402);
  ExpectRoundTrip(utl_TempFileDirExc(atr_String("/etc/passwd")), 403);
  ExpectRoundTrip(utl_TempFileCantExc(), 404);
  ExpectRoundTrip(utl_TempFileNoDirExc(), 405);
}

TEST(UtlExceptionPersistence, EveryClassIsRegisteredUnderItsParent) {
  const cls_ClassRegistrar& r = MaskTwo();
  for (unsigned n = utl_ClassFileExceptionClose; n <= utl_ClassTempFileNoDirExc; ++n) {
    const unsigned id = utl_TypeIdOf(n);
    const cls_ClassMetadataHld& md = r.ConstGet(id);
    ASSERT_FALSE(md.IsEmpty()) << std::hex << id;
    EXPECT_EQ(md->Version(), 800) << std::hex << id;
    EXPECT_EQ(md->BaseClassID(), typ_ArchCompTable::GetParent(id)) << std::hex << id;
    EXPECT_EQ(md->ClassName(), typ_ArchCompTable::GetName(id));
    EXPECT_EQ(r.GetClassID(md->ClassName()), id);
    EXPECT_TRUE(r.InheritanceCheck(id, nex_Exception::TypeId())) << std::hex << id;
    // Mask 2 reaches that bit's registrar only.
    EXPECT_FALSE(Registrars().GetRegistrar(1).ClassIsPresent(id)) << std::hex << id;
    EXPECT_FALSE(Registrars().GetRegistrar(4).ClassIsPresent(id)) << std::hex << id;
  }
  // The hierarchy the type table describes, spelled out once.
  EXPECT_EQ(r.ConstGet(utl_FileExceptionFull::TypeId())->BaseClassID(), nex_TextException::TypeId());
  EXPECT_EQ(r.ConstGet(utl_BinStreamEOF::TypeId())->BaseClassID(), utl_BinStreamException::TypeId());
  EXPECT_EQ(r.ConstGet(utl_TempFileOpenExc::TypeId())->BaseClassID(), utl_TempFileException::TypeId());
  EXPECT_EQ(r.ConstGet(utl_CmdLineArgFormatException::TypeId())->BaseClassID(), nex_TextException::TypeId());
}

TEST(UtlExceptionPersistence, TheBase64ErrorIsStoredAsATextException) {
  cls_MemStore store;
  Store(Raised(utl_Base64CodecError("bad character"), 501), store);
  std::unique_ptr<nex_Exception> back = Rebuild(store);
  ASSERT_NE(back, nullptr);
  EXPECT_EQ(back->DynTypeId(), nex_TextException::TypeId());
  EXPECT_EQ(S(back->UserReport()), "bad character");
  EXPECT_EQ(back->FromLine(), 501);
}

}  // namespace
