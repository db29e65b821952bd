// The uti_ exception family: texts, ancestry, and the persistent classes
// uti_initialize registers (round trips through the memory store).
#include <cerrno>
#include <memory>

#include "SpawnTestUtil.h"
#include "cls_array/ArrayTestUtil.h"

using namespace spawntest;
using vnktest::Registrar2;

namespace {

// Written to a memory store, rebuilt by its class ID.
std::unique_ptr<nex_Exception> RoundTrip(const nex_Exception& e) {
  cls_MemStore store;
  vnktest::Store(store, e);
  cls_ReadVisitor root(store.MakeReadMemento());
  return std::unique_ptr<nex_Exception>(static_cast<nex_Exception*>(cls_ReadObject(root, vnktest::Obj(), Registrar2())));
}

}  // namespace

TEST(UtiExceptions, TextsAndAncestry) {
  uti_IOErrorException io("CreateProcess", ENOENT, cow_String("prog arg"));
  EXPECT_EQ(S(io.AsString()), "IOError:CreateProcess failed with error 2: No such file or directory (prog arg)");
  EXPECT_EQ(S(uti_IOErrorException("fstat", EBADF).JournalMessage()), "fstat failed with error 9: Bad file descriptor");
  EXPECT_EQ(S(uti_CmdFailedException(0).AsString()), "uti_CmdFailed:uti_CmdFailed");
  EXPECT_EQ(S(uti_CmdFailedException(1).PythonType()), "");
  const std::pair<int, const char*> interrupted[] = {{0, "uti_Signal"}, {1, "uti_Keyboard"}, {2, "uti_Stop"}, {3, ""}, {-1, ""}};
  for (auto [v, text] : interrupted) EXPECT_EQ(S(uti_InterruptedException(v).JournalMessage()), text);
  EXPECT_EQ(S(uti_OdmException(atr_String("no frame")).AsString()), "uti_Odm:no frame");
  EXPECT_EQ(S(uti_XypException(atr_String("bad")).AsString()), "uti_Xyp:bad");
  EXPECT_EQ(S(uti_PreCheckFileException(atr_String("short")).AsString()), "uti_PreCheckFile:short");

  EXPECT_TRUE(nex_canDynamicCastPtr(nex_CommandException::TypeId(), uti_IOErrorException::TypeId()));
  EXPECT_TRUE(nex_canDynamicCastPtr(nex_TextException::TypeId(), uti_NotOnPathException::TypeId()));
  EXPECT_FALSE(nex_canDynamicCastPtr(nex_TextException::TypeId(), uti_CmdFailedException::TypeId()));
  std::unique_ptr<nex_Exception> copy(io.Copy());
  uti_IOErrorException again("x", 0);
  Raises<uti_IOErrorException>([&] { copy->Throw("uti/impl/uti_Test", 42); }, &again);
  EXPECT_EQ(S(again.DeveloperReport()), "Exception: " + S(io.AsString()) + " in file uti/impl/uti_Test at line 42");
}

TEST(UtiExceptions, PersistentAndRegisteredWithMask2) {
  const uti_IOErrorException io("GetExitCodeProcess", ECHILD, cow_String("data"));
  const uti_InterruptedException in(1);
  const uti_CmdFailedException cmd(0);
  const uti_OdmException odm(atr_String("o"));
  const uti_XypException xyp(atr_String("x"));
  const uti_PreCheckFileException pre(atr_String("p"));
  const nex_Exception* all[] = {&io, &in, &cmd, &odm, &xyp, &pre};
  for (const nex_Exception* e : all) {
    auto back = RoundTrip(*e);
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(back->DynTypeId(), e->DynTypeId());
    EXPECT_EQ(S(back->DeveloperReport()), S(e->DeveloperReport()));

    const cls_ClassMetadataHld& md = Registrar2().ConstGet(e->DynTypeId());
    ASSERT_FALSE(md.IsEmpty());
    EXPECT_EQ(md->Version(), 800);
    EXPECT_EQ(md->BaseClassID(), nex_CommandException::TypeId());
    EXPECT_EQ(Registrar2().GetClassID(md->ClassName()), e->DynTypeId());
    cls_MetadataRegistrar& m = omi_Singleton<cls_MetadataRegistrar>::Instance();
    EXPECT_FALSE(m.GetRegistrar(1).ClassIsPresent(e->DynTypeId()));
    EXPECT_FALSE(m.GetRegistrar(4).ClassIsPresent(e->DynTypeId()));
  }
  auto back = RoundTrip(io);
  EXPECT_EQ(S(static_cast<const uti_IOErrorException&>(*back).FuncData()), "data");
  EXPECT_EQ(static_cast<const uti_IOErrorException&>(*back).ErrorNo(), ECHILD);
  EXPECT_EQ(S(Registrar2().ConstGet(0x20020)->ClassName()), "uti_IOErrorException");
  EXPECT_EQ(Registrar2().ConstGet(0x20020)->GetAttribute("m_FuncData").m_FieldID, 2);
  EXPECT_EQ(Registrar2().ConstGet(0x20022)->GetAttribute("m_Value").m_FieldID, 0);
  // The PATH-search exceptions are plain text exceptions, not persistent.
  EXPECT_FALSE(Registrar2().ClassIsPresent(uti_NotOnPathException::TypeId()));
  EXPECT_FALSE(Registrar2().ClassIsPresent(uti_NotExecutableException::TypeId()));
}
