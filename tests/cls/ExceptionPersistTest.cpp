// The exception classes as persistent classes: registration by
// nex_initialize, round trips through the memory store, the registry hooks.
#include <gtest/gtest.h>

#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "cls/cls_ClassRegistrar.h"
#include "cls/cls_MemoryStore.h"
#include "cls/cls_Visitor.h"
#include "cls/cls_xpString.h"
#include "nex/nex_Exception.h"

namespace {

std::string S(const atr_StringBase& s) { return std::string(s.c_str(), s.Length()); }

cls_ClassRegistrar& Third() { return omi_Singleton<cls_MetadataRegistrar>::Instance().GetRegistrar(2); }

// A copy of e as caught when thrown from a known position (line 0: never
// thrown, so without a position).
template <class E>
std::unique_ptr<nex_Exception> Raised(E e, int line) {
  try {
    if (line != 0) e.Throw("nex/impl/nex_Test", line);
  } catch (const E& caught) {
    return std::unique_ptr<nex_Exception>(caught.Copy());
  }
  return std::unique_ptr<nex_Exception>(e.Copy());
}

// The names of o's fields, in order.
std::string Fields(const cls_MemObject& o) {
  std::string s;
  for (int i = 0; i < o.FieldCount(); ++i) s += (i ? " " : "") + std::string(o.FieldAt(i).Name().c_str());
  return s;
}

// Writes e, then rebuilds it by its stored class ID (registrar of bit 2).
std::unique_ptr<nex_Exception> RoundTrip(const nex_Exception& e, cls_MemStore& store) {
  {
    cls_WriteVisitor root(store.MakeWriteMemento());
    cls_WriteVisitor child(root, cls_FieldHandle("e", 0), nullptr, &e);
    e.DBWrite(child);  // virtual: the object's own class writes
  }
  cls_ReadVisitor root(store.MakeReadMemento());
  return std::unique_ptr<nex_Exception>(
      static_cast<nex_Exception*>(cls_ReadObject(root, cls_FieldHandle("e", 0), Third())));
}

// Everything an exception shows: class, reports and position.
std::string Whole(const nex_Exception& e) {
  return std::to_string(e.DynTypeId()) + "|" + S(e.DeveloperReport()) + "|" + S(e.UserReport()) + "|" +
         e.FromFile().c_str() + ":" + std::to_string(e.FromLine());
}

template <class E>
const E& As(const std::unique_ptr<nex_Exception>& p) {
  EXPECT_NE(p, nullptr);
  return static_cast<const E&>(*p);
}

TEST(ExceptionPersistence, EveryConcreteClassRoundTrips) {
  const std::unique_ptr<nex_Exception> all[] = {
      Raised(nex_TextException("text message"), 11),
      Raised(nex_AssertException("x > 0"), 12),
      Raised(nex_BadCastException(atr_String("bad cast")), 13),
      Raised(nex_InvalidObjException(atr_String("never thrown")), 0),
      Raised(nex_ExitException(atr_String("bye"), 3), 21),
      Raised(nex_ExitException(5), 0),
      Raised(nex_SystemErrorException(cow_SystemErrorCode::NoNativeCode, 2), 22),
      Raised(nex_OutOfMemoryException(nex_OutOfMemoryLimit), 23)};
  const int adviceBefore = nex_OutOfMemoryException::GetOutOfMemoryMsgSession()->Length();
  cls_MemStore stores[std::size(all)];
  std::unique_ptr<nex_Exception> back[std::size(all)];
  for (std::size_t i = 0; i < std::size(all); ++i) {
    back[i] = RoundTrip(*all[i], stores[i]);
    ASSERT_NE(back[i], nullptr) << i;
    EXPECT_EQ(Whole(*back[i]), Whole(*all[i]));
    EXPECT_EQ(back[i]->GetUid(), all[i]->GetUid());
  }
  EXPECT_EQ(As<nex_TextException>(back[0]).Value(), "text message");
  EXPECT_EQ(S(back[0]->DeveloperReport()), "Exception: text message in file nex/impl/nex_Test at line 11");
  EXPECT_EQ(As<nex_AssertException>(back[1]).Value(), "x > 0");
  EXPECT_EQ(As<nex_ExitException>(back[4]).GetValue().m_Err, 3);
  cls_ReadVisitor root(stores[4].MakeReadMemento());
  EXPECT_EQ(cls_ReadVisitor(root, cls_FieldHandle("e", 0)).Read(cls_FieldHandle("m_Value.m_Msg", 0), "?"), "bye");
  EXPECT_EQ(S(back[5]->AsString()), "Exit code: 5");
  EXPECT_EQ(As<nex_SystemErrorException>(back[6]).GetValue().m_NativeErrorCode, cow_SystemErrorCode::NoNativeCode);
  EXPECT_EQ(As<nex_SystemErrorException>(back[6]).GetValue().m_CRTErrorCode, 2);
  EXPECT_EQ(As<nex_OutOfMemoryException>(back[7]).Err(), nex_OutOfMemoryLimit);
  // Reading back is not a raise: the advice texts do not grow.
  EXPECT_EQ(nex_OutOfMemoryException::GetOutOfMemoryMsgSession()->Length(), adviceBefore);
}

TEST(ExceptionPersistence, TheStoredTreeFollowsTheWritingOrder) {
  cls_MemStore store;
  RoundTrip(*Raised(nex_TextException("m"), 31), store);
  const cls_MemObject* o = store.Root().FieldAt(0).Value().Object();
  ASSERT_TRUE(o != nullptr && o->Base() != nullptr);
  EXPECT_EQ((std::vector<unsigned>{o->ClassID(), o->Base()->ClassID()}),
            (std::vector<unsigned>{nex_TextException::TypeId(), nex_Exception::TypeId()}));
  EXPECT_EQ(Fields(*o) + "/" + Fields(*o->Base()), "m_Value/m_FromFile m_FromLine");
  EXPECT_EQ(o->Base()->FieldAt(1).FieldID(), 1);
}

// A command exception of the tests' own: nex_CommandException writes only
// its nex_Exception part, under its own class ID.
class Command : public nex_CommandException {
 public:
  NEX_CONCRETE_MEMBERS(Command, 0x1F00F0)
  Command() = default;
  atr_String JournalMessage() const override { return atr_String("journal"); }
  cow_String PythonType() const override { return cow_String("Cmd"); }
};
void Command::Propagate() const { throw Command(*this); }
Command* Command::Copy() const { return new Command(*this); }

TEST(ExceptionPersistence, CommandExceptionWritesItsBasePartOnly) {
  cls_MemStore store;
  Command c;
  {
    cls_WriteVisitor root(store.MakeWriteMemento());
    cls_WriteObject(root, cls_FieldHandle("c", 0), c);
  }
  const cls_MemObject* o = store.Root().FieldAt(0).Value().Object();
  EXPECT_EQ(o->ClassID(), nex_CommandException::TypeId());
  EXPECT_EQ(Fields(*o), "");
  ASSERT_NE(o->Base(), nullptr);
  EXPECT_EQ(o->Base()->ClassID(), nex_Exception::TypeId());
  // Abstract classes are never built from a store.
  cls_ReadVisitor root(store.MakeReadMemento());
  EXPECT_EQ(cls_ReadObject(root, cls_FieldHandle("c", 0), Third()), nullptr);
}

TEST(ExceptionPersistence, NexInitializeRegistersTheNineClasses) {
  const cls_ClassRegistrar& r = Third();
  const unsigned base = nex_Exception::TypeId();
  for (unsigned id = 0x1F0001; id <= 0x1F0009; ++id) {
    const cls_ClassMetadataHld& md = r.ConstGet(id);
    ASSERT_FALSE(md.IsEmpty()) << std::hex << id;
    EXPECT_EQ(md->Version(), 800);
    EXPECT_EQ(md->BaseClassID(), id == base ? 1u : base);
    EXPECT_EQ(r.GetClassID(md->ClassName()), id);
  }
  EXPECT_EQ(r.ConstGet(0x1F0003)->ClassName(), "nex_CommandException");
  EXPECT_EQ(r.ConstGet(base)->GetAttribute("m_FromLine").m_FieldID, 1);
  // Mask 2 reaches the third registrar only, and is not remembered.
  cls_MetadataRegistrar& m = omi_Singleton<cls_MetadataRegistrar>::Instance();
  EXPECT_FALSE(m.GetRegistrar(1).ClassIsPresent(0x1F0002u));
  EXPECT_FALSE(m.GetRegistrar(4).ClassIsPresent(0x1F0002u));
  EXPECT_EQ(r.GetClassID("cow_String"), cls_xpString::TypeId());
  EXPECT_EQ(r.GetClassID("atr_String"), cls_xpTrString::TypeId());
}

TEST(ExceptionPersistence, StringExchangeTypesRoundTrip) {
  cls_MemStore store;
  cls_xpString s(cow_String("plain"));
  cls_xpTrString t(atr_String("translated"));
  {
    cls_WriteVisitor root(store.MakeWriteMemento());
    cls_WriteObject(root, cls_FieldHandle("s", 0), s);
    cls_WriteObject(root, cls_FieldHandle("t", 1), t);
  }
  cls_ReadVisitor root(store.MakeReadMemento());
  std::unique_ptr<cls_xpString> s2(static_cast<cls_xpString*>(cls_ReadObject(root, cls_FieldHandle("s", 0), Third())));
  std::unique_ptr<cls_xpTrString> t2(
      static_cast<cls_xpTrString*>(cls_ReadObject(root, cls_FieldHandle("t", 1), Third())));
  EXPECT_EQ(std::string(s2->Value().c_str()) + " " + t2->Value().c_str(), "plain translated");
  EXPECT_EQ(s2->GetUid(), s.GetUid());
  const cls_MemObject *so = store.Root().FieldAt(0).Value().Object(), *to = store.Root().FieldAt(1).Value().Object();
  EXPECT_TRUE(so->ClassID() == cls_xpString::TypeId() && to->ClassID() == cls_xpTrString::TypeId());
  EXPECT_EQ(Fields(*so) + " " + Fields(*to), "STRING TRSTRING");
}

// --------------------------------------------------------- registry hooks

template <class F>
void ExpectHook(F f, const std::string& text, int line) {
  try {
    f();
    ADD_FAILURE() << "no exception for: " << text;
  } catch (const nex_TextException& e) {
    EXPECT_EQ(e.Value(), text.c_str());
    EXPECT_EQ(e.FromFile(), "nex/impl/nex_TypeTable");
    EXPECT_EQ(e.FromLine(), line);
  }
}

TEST(RegistryHooks, FailedLookupsRaiseTheHookTexts) {
  const cls_ClassRegistrar& first = omi_Singleton<cls_MetadataRegistrar>::Instance().GetRegistrar(1);
  const std::string notDeclared = "cls_ClassRegistrar::ConstGet failed: Class nex_TextException is not declared in metadata.";
  const std::string noId = "cls_ClassRegistrar::GetClassID failed: Class ID can't be retrieved from class name ";
  ExpectHook([&] { first.ConstGet(0x1F0002u); }, notDeclared, 46);
  ExpectHook([&] { first.GetLastClassVersionNumber(0x1F0002u); }, notDeclared, 46);
  ExpectHook([&] { Third().GetClassMetadata(0x1F0002u, 5); },
             "cls_ClassRegistrar::GetClassMetadata failed: Class nex_TextException/Version 5 is not declared in metadata.",
             60);
  ExpectHook([&] { Third().GetClassID(cow_String("no_such_class")); }, noId + "no_such_class.", 74);
  ExpectHook([&] { Third().GetClassID(cow_String()); }, noId + ".", 74);
  // Lookups that succeed pass the hooks.
  EXPECT_EQ(Third().GetClassMetadata(0x1F0002u, 800)->ClassName(), "nex_TextException");
  EXPECT_EQ(Third().GetLastClassVersionNumber(0x1F0002u), 800);
}

}  // namespace
