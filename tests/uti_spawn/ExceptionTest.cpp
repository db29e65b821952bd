// The uti_ exception family: texts, ancestry, copies, and the persistent
// classes uti_initialize registers (round trips through the memory store).
#include <gtest/gtest.h>

#include <cerrno>
#include <memory>
#include <string>

#include "cls/cls_ClassRegistrar.h"
#include "cls/cls_MemoryStore.h"
#include "cls/cls_Visitor.h"
#include "uti/uti_Exception.h"

namespace {

std::string S(const atr_StringBase& s) { return std::string(s.c_str(), s.Length()); }

cls_ClassRegistrar& Third() { return omi_Singleton<cls_MetadataRegistrar>::Instance().GetRegistrar(2); }

std::unique_ptr<nex_Exception> RoundTrip(const nex_Exception& e) {
  cls_MemStore store;
  {
    cls_WriteVisitor root(store.MakeWriteMemento());
    cls_WriteVisitor child(root, cls_FieldHandle("e", 0), nullptr, &e);
    e.DBWrite(child);
  }
  cls_ReadVisitor root(store.MakeReadMemento());
  return std::unique_ptr<nex_Exception>(
      static_cast<nex_Exception*>(cls_ReadObject(root, cls_FieldHandle("e", 0), Third())));
}

template <class E>
E Raised(E e) {
  try {
    e.Throw("uti/impl/uti_Test", 42);
  } catch (const E& caught) {
    return caught;
  }
  return e;
}

}  // namespace

TEST(UtiExceptions, Texts) {
  uti_IOErrorException io("CreateProcess", ENOENT, cow_String("prog arg"));
  EXPECT_EQ(S(io.PythonType()), "IOError");
  EXPECT_EQ(S(io.AsString()), "IOError:CreateProcess failed with error 2: No such file or directory (prog arg)");
  EXPECT_EQ(S(uti_IOErrorException("fstat", EBADF).JournalMessage()), "fstat failed with error 9: Bad file descriptor");

  EXPECT_EQ(S(uti_CmdFailedException(0).AsString()), "uti_CmdFailed:uti_CmdFailed");
  EXPECT_EQ(S(uti_CmdFailedException(1).Text()), "");
  const char* interrupted[] = {"uti_Signal", "uti_Keyboard", "uti_Stop", "", ""};
  const int values[] = {0, 1, 2, 3, -1};
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(S(uti_InterruptedException(values[i]).PythonType()), interrupted[i]);
    EXPECT_EQ(S(uti_InterruptedException(values[i]).JournalMessage()), interrupted[i]);
  }
  EXPECT_EQ(S(uti_OdmException(atr_String("no frame")).AsString()), "uti_Odm:no frame");
  EXPECT_EQ(S(uti_XypException(atr_String("bad")).AsString()), "uti_Xyp:bad");
  EXPECT_EQ(S(uti_PreCheckFileException(atr_String("short file")).AsString()), "uti_PreCheckFile:short file");
  EXPECT_EQ(S(uti_NotOnPathException(atr_String("tool")).AsString()), "tool not found in PATH.");
  EXPECT_EQ(S(uti_NotExecutableException(atr_String("/x/tool")).AsString()), "/x/tool is not executable.");
}

TEST(UtiExceptions, AncestryCopiesAndRaising) {
  EXPECT_TRUE(nex_canDynamicCastPtr(nex_CommandException::TypeId(), uti_IOErrorException::TypeId()));
  EXPECT_TRUE(nex_canDynamicCastPtr(nex_Exception::TypeId(), uti_InterruptedException::TypeId()));
  EXPECT_TRUE(nex_canDynamicCastPtr(nex_TextException::TypeId(), uti_NotOnPathException::TypeId()));
  EXPECT_FALSE(nex_canDynamicCastPtr(nex_TextException::TypeId(), uti_CmdFailedException::TypeId()));

  uti_IOErrorException e = Raised(uti_IOErrorException("open", EACCES, cow_String("file")));
  std::unique_ptr<nex_Exception> copy(e.Copy());
  try {
    copy->Propagate();
  } catch (const uti_IOErrorException& again) {
    EXPECT_EQ(S(again.Function()), "open");
    EXPECT_EQ(again.ErrorNo(), EACCES);
    EXPECT_EQ(S(again.FuncData()), "file");
    EXPECT_EQ(S(again.DeveloperReport()),
              "Exception: IOError:open failed with error 13: Permission denied (file) in file uti/impl/uti_Test at line 42");
  }
  EXPECT_THROW(uti_NotExecutableException(atr_String("p")).Throw("f", 1), nex_TextException);
}

TEST(UtiExceptions, PersistentClassesRoundTrip) {
  {
    uti_IOErrorException e = Raised(uti_IOErrorException("GetExitCodeProcess", ECHILD, cow_String("data")));
    auto back = RoundTrip(e);
    ASSERT_NE(back, nullptr);
    const auto& b = static_cast<const uti_IOErrorException&>(*back);
    EXPECT_EQ(b.DynTypeId(), uti_IOErrorException::TypeId());
    EXPECT_EQ(S(b.Function()), "GetExitCodeProcess");
    EXPECT_EQ(b.ErrorNo(), ECHILD);
    EXPECT_EQ(S(b.FuncData()), "data");
    EXPECT_EQ(S(b.DeveloperReport()), S(e.DeveloperReport()));
  }
  {
    auto back = RoundTrip(Raised(uti_InterruptedException(1)));
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(static_cast<const uti_InterruptedException&>(*back).Value(), 1);
    EXPECT_EQ(S(back->UserReport()), "uti_Keyboard:uti_Keyboard");
    EXPECT_EQ(back->FromLine(), 42);
  }
  {
    auto back = RoundTrip(uti_CmdFailedException(0));
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(back->DynTypeId(), uti_CmdFailedException::TypeId());
  }
  for (const nex_Exception* e : std::initializer_list<const nex_Exception*>{
           new uti_OdmException(atr_String("o")), new uti_XypException(atr_String("x")),
           new uti_PreCheckFileException(atr_String("p"))}) {
    std::unique_ptr<const nex_Exception> owned(e);
    auto back = RoundTrip(*e);
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(back->DynTypeId(), e->DynTypeId());
    EXPECT_EQ(S(back->AsString()), S(e->AsString()));
  }
}

TEST(UtiExceptions, RegisteredByUtiInitializeWithMask2) {
  const cls_ClassRegistrar& r = Third();
  cls_MetadataRegistrar& m = omi_Singleton<cls_MetadataRegistrar>::Instance();
  struct {
    unsigned id;
    const char* name;
  } classes[] = {{0x20020, "uti_IOErrorException"},   {0x2001E, "uti_OdmException"},
                 {0x2001F, "uti_XypException"},       {0x20021, "uti_CmdFailedException"},
                 {0x20022, "uti_InterruptedException"}, {0x20023, "uti_PreCheckFileException"}};
  for (const auto& c : classes) {
    SCOPED_TRACE(c.name);
    const cls_ClassMetadataHld& md = r.ConstGet(c.id);
    ASSERT_FALSE(md.IsEmpty());
    EXPECT_EQ(md->Version(), 800);
    EXPECT_EQ(md->BaseClassID(), nex_CommandException::TypeId());
    EXPECT_EQ(S(md->ClassName()), c.name);
    EXPECT_EQ(r.GetClassID(cow_String(c.name)), c.id);
    EXPECT_FALSE(m.GetRegistrar(1).ClassIsPresent(c.id));
    EXPECT_FALSE(m.GetRegistrar(4).ClassIsPresent(c.id));
  }
  EXPECT_EQ(r.ConstGet(0x20020)->GetAttribute("m_ErrorNo").m_FieldID, 1);
  EXPECT_EQ(r.ConstGet(0x20020)->GetAttribute("m_FuncData").m_FieldID, 2);
  EXPECT_EQ(r.ConstGet(0x20022)->GetAttribute("m_Value").m_FieldID, 0);
  // The two PATH-search exceptions are not persistent.
  EXPECT_FALSE(r.ClassIsPresent(0x20024u));
  EXPECT_FALSE(r.ClassIsPresent(0x20025u));
}
