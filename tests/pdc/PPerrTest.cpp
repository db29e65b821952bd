// The error-print memento writer: exact texts of the exception classes and
// of a nested object, bas_UserData, collection-type checks, attached arrays.
#include <gtest/gtest.h>

#include <string>

#include "cls/cls_ArrayPrim.h"
#include "cls/cls_ClassRegistrar.h"
#include "cls/cls_MemoryStore.h"
#include "cls/cls_Visitor.h"
#include "cls/cls_xpTypes.h"
#include "nex/nex_Exception.h"
#include "pdc/pdc_PPerrMementoWrite.h"
#include "support/TestSupport.h"
#include "uti/uti_Exception.h"

namespace {

std::string Str(const atr_StringBase& s) { return std::string(s.c_str(), s.Length()); }

const cls_ClassRegistrar& Global() { return omi_Singleton<cls_MetadataRegistrar>::Instance().GetRegistrar(2); }

template <class T>
std::string Print(const T& object, unsigned classID, const cls_ClassRegistrar& r = Global()) {
  aio_stringostream out;
  pnt_PrettyPrint printer(&out);
  {
    cls_WriteVisitor v(new pdc_PPerrMementoWrite(r, classID, &printer));
    object.DBWrite(v);
  }
  return Str(out.Str());
}

template <class E>
E Raised(E e) {
  try {
    e.Throw("utl/impl/utl_File", 12);
  } catch (const E& caught) {
    return caught;
  }
  return e;
}

std::string Block(const char* name, const std::string& fields) {
  return std::string("\n<< CLASS NAME: ") + name + "\n" + fields + ">>\n";
}
const std::string kPosition = "  m_FromFile: utl/impl/utl_File\n  m_FromLine: 12\n";

TEST(PPerrExceptions, EveryClassPrintsItsBaseAndOwnFields) {
  EXPECT_EQ(Print(Raised(nex_TextException("boom")), 0x1F0002),
            Block("nex_TextException", kPosition + "  m_Value: boom\n"));
  EXPECT_EQ(Print(Raised(nex_AssertException("x > 0")), 0x1F0004),
            Block("nex_AssertException", kPosition + "  m_Value: x > 0\n"));
  EXPECT_EQ(Print(Raised(nex_BadCastException(atr_String("cast"))), 0x1F0005),
            Block("nex_BadCastException", kPosition + "  m_Value: cast\n"));
  EXPECT_EQ(Print(Raised(nex_InvalidObjException(atr_String("gone"))), 0x1F0007),
            Block("nex_InvalidObjException", kPosition + "  m_Value: gone\n"));
  EXPECT_EQ(Print(Raised(nex_ExitException(atr_String("bye"), 3)), 0x1F0006),
            Block("nex_ExitException", kPosition + "  m_Value.m_Msg: bye\n  m_Value.m_Err: 3\n"));
  EXPECT_EQ(Print(Raised(nex_SystemErrorException(5u, 7)), 0x1F0008),
            Block("nex_SystemErrorException",
                  kPosition + "  m_Value.m_NativeErrorCode: 5\n  m_Value.m_CRTErrorCode: 7\n"));
  EXPECT_EQ(Print(Raised(nex_OutOfMemoryException(nex_OutOfMemoryLimit)), 0x1F0009),
            Block("nex_OutOfMemoryException", kPosition + "  m_Msg: \n  m_Err: 2\n"));
  EXPECT_EQ(Print(Raised(uti_IOErrorException("open", 2, cow_String("a.txt"))), 0x20020),
            Block("uti_IOErrorException", kPosition + "  m_Function: open\n  m_ErrorNo: 2\n  m_FuncData: a.txt\n"));
  EXPECT_EQ(Print(Raised(uti_CmdFailedException(0)), 0x20021), Block("uti_CmdFailedException", kPosition + "  m_Value: 0\n"));
  EXPECT_EQ(Print(Raised(uti_InterruptedException(2)), 0x20022),
            Block("uti_InterruptedException", kPosition + "  m_Value: 2\n"));
  EXPECT_EQ(Print(Raised(uti_OdmException(atr_String("odb"))), 0x2001E), Block("uti_OdmException", kPosition + "  m_Value: odb\n"));
  EXPECT_EQ(Print(Raised(uti_XypException(atr_String("xyp"))), 0x2001F), Block("uti_XypException", kPosition + "  m_Value: xyp\n"));
  EXPECT_EQ(Print(Raised(uti_PreCheckFileException(atr_String("pre"))), 0x20023),
            Block("uti_PreCheckFileException", kPosition + "  m_Value: pre\n"));
}

// ------------------------------------------------------------ test classes

constexpr unsigned kInner = 0x2300E1, kBase = 0x2300E2, kOuter = 0x2300E3, kUserData = 0x2300E4;

struct Inner {
  int m_N = 3;
  void DBWrite(const cls_WriteVisitor& v) const {
    if (!v.StartWrite(kInner, cls_Uid(nullptr))) return;
    v.Write(cls_FieldHandle("n", 0), m_N);
    v.Write(cls_FieldHandle("s", 1), "in");
  }
};

struct Outer {
  cls_ArrayPrim<float>* m_Array = nullptr;
  void DBWrite(const cls_WriteVisitor& v) const {
    if (!v.StartWrite(kOuter, cls_Uid(nullptr))) return;
    {
      cls_WriteVisitor base(v, kBase);
      if (base.StartWrite(kBase, cls_Uid(nullptr))) base.Write(cls_FieldHandle("b", 0), 0.5);
    }
    v.Write(cls_FieldHandle("name", 0), "out");
    v.Write(cls_FieldHandle("f", 1), 1.5f);
    v.Write(cls_FieldHandle("flag", 2), true);
    v.Write(cls_FieldHandle("u", 3), 7u);
    v.Write(cls_FieldHandle("c", 4), 'x');
    v.Write(cls_FieldHandle("uc", 5), static_cast<unsigned char>(200));
    v.Write(cls_FieldHandle("ll", 6), 5LL);
    cls_WriteObject(v, cls_FieldHandle("child", 7), Inner());
    v.WriteNull(cls_FieldHandle("none", 8));
    cls_WriteListPrim<int>* l = v.MakeWriteListPrim<int>(cls_FieldHandle("list", 9), 2);
    l->Append(1);
    l->Append(2);
    cls_Release(l);
    cls_WriteListPrim<double>* one = v.MakeWriteListPrim<double>(cls_FieldHandle("one", 10), 1);
    one->Append(2.5);
    cls_Release(one);
    cls_WriteMapString2Prim<int>* m = v.MakeWriteMapString2Prim<int>(cls_FieldHandle("map", 11), 1);
    m->Insert("a", 1);
    cls_Release(m);
    cls_WriteListObj* objs = v.MakeWriteListObj(cls_FieldHandle("objs", 12), 2);
    Inner in{4};
    in.DBWrite(cls_WriteVisitor(objs->Element(), &in));
    objs->AppendNull();
    cls_Release(objs);
    if (m_Array) cls_WriteObject(v, cls_FieldHandle("arr", 13), *m_Array);
  }
};

// Registers the test classes in a registrar of their own.
void Register(cls_ClassRegistrar& r) {
  r.CreateClassMD("Inner", kInner, 1, nullptr, 1);
  r.CreateClassMD("OuterBase", kBase, 1, nullptr, 1);
  r.CreateClassMD("Outer", kOuter, 1, nullptr, kBase)
      .AddAttribute(cls_FieldHandle("ints", 20), cls_AttrCollection, 0x230001, cls_CollectionType(54))
      .AddAttribute(cls_FieldHandle("wrong", 21), cls_AttrCollection, 0x230001, cls_CollectionType(52));
  r.CreateClassMD("bas_UserData", kUserData, 1, nullptr, 1);
}

TEST(PPerrObjects, NestedObjectBasePartAndCollections) {
  cls_ClassRegistrar r;
  Register(r);
  cls_ArrayPrim<float> a;
  a.Append(1.0f);
  a.Append(2.5f);
  Outer o;
  o.m_Array = &a;
  vnktest::CaptureCerr cap;
  // The base part prints inside the block; class 0x230001 is not in this
  // registrar, so "arr" gets no block of its own.
  EXPECT_EQ(Print(o, kOuter, r),
            "\n<< CLASS NAME: Outer\n  b: 0.5\n  name: out\n  f: 1.5\n  flag: 1\n  u: 7\n  c: x\n  uc: 200\n  ll: 5\n"
            "  child: \n  << CLASS NAME: Inner\n    n: 3\n    s: in\n  >>\n"
            "  none: NULL\n"
            "  list:\n  [\n    1\n    2\n\n  ]\n"
            "  one:\n  [\n    2.5\n  ]\n"
            "  map:\n  [\n    a => 1\n  ]\n"
            "  objs:\n  [\n\n    << CLASS NAME: Inner\n      n: 4\n      s: in\n    >>\n    NULL\n\n  ]\n"
            "  arr: \n  data: FLOAT LIST\n  1\n  2.5\n>>\n");
  EXPECT_EQ(cap.Text(), "class not registered  230001 \n");
  // Printing handed the elements over; the array stays its own.
  EXPECT_FALSE(a.IsAttached());
  EXPECT_EQ(a.ConstGet(1), 2.5f);
}

TEST(PPerrObjects, UnregisteredClassPrintsNoBlock) {
  EXPECT_EQ(Print(Inner(), kInner, cls_ClassRegistrar()), "n: 3\ns: in\n");
}

TEST(PPerrObjects, UserDataPrintsNumbersButNoStrings) {
  struct UserData {
    void DBWrite(const cls_WriteVisitor& v) const {
      if (!v.StartWrite(kUserData, cls_Uid(nullptr))) return;
      {
        cls_WriteVisitor base(v, kBase);
        if (base.StartWrite(kBase, cls_Uid(nullptr))) base.Write(cls_FieldHandle("baseName", 0), "hidden too");
      }
      v.Write(cls_FieldHandle("label", 0), "secret");
      v.Write(cls_FieldHandle("count", 1), 4);
      v.Write(cls_FieldHandle("scale", 2), 0.25);
      cls_WriteListPrim<cow_String>* names = v.MakeWriteListPrim<cow_String>(cls_FieldHandle("names", 3), 1);
      names->Append("x");
      cls_Release(names);
      cls_WriteMapString2Prim<int>* m = v.MakeWriteMapString2Prim<int>(cls_FieldHandle("ids", 4), 1);
      m->Insert("key", 9);
      cls_Release(m);
    }
  };
  cls_ClassRegistrar r;
  Register(r);
  const std::string text = Print(UserData(), kUserData, r);
  EXPECT_EQ(text, "\n<< CLASS NAME: bas_UserData\n  count: 4\n  scale: 0.25\n  names:\n  [\n  ]\n  ids:\n  [\n    9\n  ]\n>>\n");
  EXPECT_EQ(text.find("secret"), std::string::npos);
  EXPECT_EQ(text.find("hidden"), std::string::npos);
}

TEST(PPerrChecks, CollectionTypesAgainstTheDeclaration) {
  struct Holder {
    void DBWrite(const cls_WriteVisitor& v) const {
      if (!v.StartWrite(kOuter, cls_Uid(nullptr))) return;
      cow_List<int> l;
      l.Append(1);
      cls_WriteObject(v, cls_FieldHandle("ints", 20), cls_xp1DArrayListInt(l));   // declared 54: silent
      cls_WriteObject(v, cls_FieldHandle("wrong", 21), cls_xp1DArrayListInt(l));  // declared 52
      cls_WriteObject(v, cls_FieldHandle("other", 22), cls_xp1DArrayListInt(l));  // not declared
    }
  };
  cls_ClassRegistrar r;
  Register(r);
  cls_ArrayPrimMetadata::InitializeInternalList(r);
  vnktest::CaptureCerr cap;
  Print(Holder(), kOuter, r);
  EXPECT_EQ(cap.Text(),
            "Error in collections types have: 52 looking for: 54 wrong\n"
            "Error in collections types have: 0 looking for: 54 other\n");
}

TEST(PPerrChecks, DefaultPrinterIsTheDebugPrinter) {
  vnktest::CaptureCerr cap;
  {
    cls_WriteVisitor v(new pdc_PPerrMementoWrite(Global(), 0x1F0002, nullptr));
    nex_TextException("to the debug printer").DBWrite(v);
  }
  EXPECT_NE(cap.Text().find("<< CLASS NAME: nex_TextException\n"), std::string::npos);
  EXPECT_NE(cap.Text().find("  m_Value: to the debug printer\n"), std::string::npos);
}

TEST(PPerrAgents, AttachedArrayPrintsAndKeepsItsStore) {
  cls_MemStore store;
  cls_ArrayPrim<int> a;
  for (int i = 0; i < 2050; ++i) a.Append(i);
  {
    cls_WriteVisitor root(store.MakeWriteMemento());
    cls_WriteObject(root, cls_FieldHandle("a", 0), a);
  }
  a.Get(2049) = -1;  // dirty in memory: the printer must see it
  const std::string text = Print(a, 0x230001);
  EXPECT_EQ(text.substr(0, 48), "\n<< CLASS NAME: cls_InternalList\n  data: INT LIS");
  EXPECT_NE(text.find("\n  2048\n  -1\n>>\n"), std::string::npos);
  EXPECT_TRUE(a.IsAttached());
  EXPECT_EQ(a.ConstGet(2049), -1);
  a.Flush();
  cls_ReadVisitor root(store.MakeReadMemento());
  EXPECT_EQ(cls_ArrayPrim<int>(cls_ReadVisitor(root, cls_FieldHandle("a", 0))).ConstGet(2049), -1);
}

}  // namespace
