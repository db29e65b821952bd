// The in-memory store: every field kind, collections, agents and blobs; missing
// and mistyped data answer defaults; unknown classes raise the registry's hook.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "cls/cls_ClassRegistrar.h"
#include "cls/cls_MemoryStore.h"
#include "cls/cls_PC.h"
#include "cls/cls_Visitor.h"
#include "nex/nex_Exception.h"

namespace {

constexpr unsigned kLeafId = 0x2300F1, kSampleId = 0x2300F2, kBaseId = 0x2300F3;

// A nested object with a base part.
struct Leaf {
  static unsigned TypeId() { return kLeafId; }
  int m_N = 0;
  cls_Uid m_Uid;
  Leaf() = default;
  explicit Leaf(int n) : m_N(n) {}
  // A read visitor's copy is its base part.
  explicit Leaf(const cls_ReadVisitor& v)
      : m_N(cls_ReadVisitor(v).Read(cls_FieldHandle("n", 0), -1)), m_Uid(v.GetUid()) {}
  void DBWrite(const cls_WriteVisitor& v) const {
    if (!v.StartWrite(TypeId(), m_Uid)) return;
    cls_WriteVisitor base(v, kBaseId);
    if (base.StartWrite(kBaseId, m_Uid)) base.Write(cls_FieldHandle("n", 0), m_N);
  }
  static void* Make(cls_ReadVisitor& v) { return new Leaf(v); }
};

struct Sample {
  static unsigned TypeId() { return kSampleId; }
  cls_Uid m_Uid;
  void DBWrite(const cls_WriteVisitor& v) const {
    if (!v.StartWrite(TypeId(), m_Uid)) return;
    v.Write(cls_FieldHandle("s", 0), cow_String("text"));
    v.Write(cls_FieldHandle("a", 1), atr_String("atr"));
    v.Write(cls_FieldHandle("d", 2), 2.5);
    v.Write(cls_FieldHandle("f", 3), 1.25f);
    v.Write(cls_FieldHandle("u", 4), 4000000000u);
    v.Write(cls_FieldHandle("i", 5), -7);
    v.Write(cls_FieldHandle("us", 6), static_cast<unsigned short>(65535));
    v.Write(cls_FieldHandle("sh", 7), static_cast<short>(-32768));
    v.Write(cls_FieldHandle("uc", 8), static_cast<unsigned char>(200));
    v.Write(cls_FieldHandle("c", 9), 'x');
    v.Write(cls_FieldHandle("b", 10), true);
    v.Write(cls_FieldHandle("ll", 11), -1234567890123LL);
    v.WriteNull(cls_FieldHandle("null", 12));
    cls_WriteObject(v, cls_FieldHandle("leaf", 13), Leaf(5));
  }
};

TEST(MemoryStore, ScalarsNestedObjectsAndBasePartsRoundTrip) {
  cls_MemStore store("test-db");
  Sample s;
  {
    cls_WriteVisitor root(store.MakeWriteMemento());
    cls_WriteObject(root, cls_FieldHandle("sample", 0), s);
  }
  cls_ReadVisitor root(store.MakeReadMemento());
  cls_ReadVisitor v(root, cls_FieldHandle("sample", 0));
  EXPECT_EQ(v.DbId(), "test-db");
  EXPECT_EQ(v.ClassId(), kSampleId);
  EXPECT_EQ(v.GetUid(), s.m_Uid);
  EXPECT_EQ(v.Read(cls_FieldHandle("s", 0), "?"), "text");
  EXPECT_EQ(v.Read(cls_FieldHandle("a", 1), atr_String("?")), "atr");
  EXPECT_EQ(v.Read(cls_FieldHandle("d", 2), 0.0), 2.5);
  EXPECT_EQ(v.Read(cls_FieldHandle("f", 3), 0.0f), 1.25f);
  EXPECT_EQ(v.Read(cls_FieldHandle("u", 4), 0u), 4000000000u);
  EXPECT_EQ(v.Read(cls_FieldHandle("i", 5), 0), -7);
  EXPECT_EQ(v.Read(cls_FieldHandle("us", 6), static_cast<unsigned short>(0)), 65535);
  EXPECT_EQ(v.Read(cls_FieldHandle("sh", 7), static_cast<short>(0)), -32768);
  EXPECT_EQ(v.Read(cls_FieldHandle("uc", 8), static_cast<unsigned char>(0)), 200);
  EXPECT_EQ(v.Read(cls_FieldHandle("c", 9), ' '), 'x');
  EXPECT_EQ(v.Read(cls_FieldHandle("b", 10), false), true);
  EXPECT_EQ(v.Read(cls_FieldHandle("ll", 11), 0LL), -1234567890123LL);
  // Numbers convert between kinds; strings never pose as numbers.
  EXPECT_EQ(v.Read(cls_FieldHandle("i", 5), 0.0), -7.0);
  EXPECT_EQ(v.Read(cls_FieldHandle("d", 2), 0), 2);
  EXPECT_EQ(v.Read(cls_FieldHandle("s", 0), 99), 99);
  EXPECT_EQ(v.Read(cls_FieldHandle("i", 5), "none"), "none");

  EXPECT_TRUE(v.FieldIsPresent(cls_FieldHandle("null", 12)));
  EXPECT_FALSE(v.DataIsPresent(cls_FieldHandle("null", 12)));
  EXPECT_TRUE(v.IsNullObject(cls_FieldHandle("null", 12)));
  EXPECT_FALSE(v.FieldIsPresent(cls_FieldHandle("missing", 20)));
  EXPECT_FALSE(v.DataIsPresent(cls_FieldHandle("missing", 20)));
  EXPECT_EQ(v.Read(cls_FieldHandle("missing", 20), 17), 17);
  EXPECT_EQ(v.MakeReadObj(cls_FieldHandle("null", 12)), nullptr);

  cls_ReadVisitor leaf(v, cls_FieldHandle("leaf", 13));
  EXPECT_EQ(leaf.ClassId(), kLeafId);
  EXPECT_EQ(Leaf(leaf).m_N, 5);
  cow_List<cow_String> names;
  EXPECT_EQ(v.FieldNames(names), 14);
  EXPECT_EQ(names[0], "s");
  EXPECT_EQ(names[13], "leaf");
  EXPECT_EQ(store.Root().ObjectCount(), 4);  // root, sample, leaf, leaf's base
}

TEST(MemoryStore, RewritingAFieldReplacesItInPlace) {
  cls_MemStore store;
  {
    cls_WriteVisitor root(store.MakeWriteMemento());
    root.Write(cls_FieldHandle("x", 0), 1);
    root.Write(cls_FieldHandle("y", 1), 2);
    root.Write(cls_FieldHandle("x", 2), "now a string");
  }
  ASSERT_EQ(store.Root().FieldCount(), 2);
  EXPECT_EQ(store.Root().FieldAt(0).Name(), "x");
  EXPECT_EQ(store.Root().FieldAt(0).FieldID(), 2);
  EXPECT_EQ(store.Root().FieldAt(0).Value().Kind(), cls_MemString);
}

TEST(MemoryStore, PrimitiveCollectionsRoundTrip) {
  cls_MemStore store;
  {
    cls_WriteVisitor root(store.MakeWriteMemento());
    cls_WriteListPrim<int>* l = root.MakeWriteListPrim<int>(cls_FieldHandle("ints", 0), 3);
    ASSERT_NE(l, nullptr);
    const int some[] = {1, -2, 3};
    l->AppendBlock(some, 3);
    cls_Release(l);
    cls_WriteListPrim<cow_String>* ls = root.MakeWriteListPrim<cow_String>(cls_FieldHandle("strs", 1), 1);
    ls->Append("one");
    cls_Release(ls);
    cls_WriteMapString2Prim<double>* m = root.MakeWriteMapString2Prim<double>(cls_FieldHandle("map", 2), 3);
    m->Insert("b", 2.0);
    m->Insert("a", 1.0);
    m->Insert("b", 3.0);  // replaces
    cls_Release(m);
    cls_WriteMapInt2Prim<unsigned int>* mi = root.MakeWriteMapInt2Prim<unsigned int>(cls_FieldHandle("mi", 3), 2);
    mi->Insert(5, 50u);
    mi->Insert(-5, 7u);
    cls_Release(mi);
    cls_WriteIntTableInt* t = root.MakeWriteIntTableInt(cls_FieldHandle("table", 4), 2);
    t->Set(3, 30);
    t->Set(0, 0);
    cls_Release(t);
  }
  cls_ReadVisitor root(store.MakeReadMemento());
  cls_ReadListPrim<int>* l = root.MakeReadListPrim<int>(cls_FieldHandle("ints", 0));
  ASSERT_NE(l, nullptr);
  EXPECT_EQ(l->Count(), 3);
  int got[4];
  l->GetBlock(0, 4, got);
  EXPECT_EQ(got[1], -2);
  EXPECT_EQ(got[3], 0);  // beyond the end
  cls_Release(l);
  cls_ReadListPrim<double>* ld = root.MakeReadListPrim<double>(cls_FieldHandle("ints", 0));
  EXPECT_EQ(ld->Get(2), 3.0);  // numeric lists read as another numeric type
  cls_Release(ld);
  cls_ReadListPrim<cow_String>* ls = root.MakeReadListPrim<cow_String>(cls_FieldHandle("strs", 1));
  EXPECT_EQ(ls->Get(0), "one");
  cls_Release(ls);
  cls_ReadMapString2Prim<double>* m = root.MakeReadMapString2Prim<double>(cls_FieldHandle("map", 2));
  ASSERT_EQ(m->Count(), 2);
  EXPECT_EQ(m->KeyAt(0), "a");
  EXPECT_EQ(m->ValueAt(1), 3.0);
  double d = -1;
  EXPECT_FALSE(m->Find("c", d));
  EXPECT_EQ(d, -1);
  cls_Release(m);
  cls_ReadMapInt2Prim<unsigned int>* mi = root.MakeReadMapInt2Prim<unsigned int>(cls_FieldHandle("mi", 3));
  EXPECT_EQ(mi->KeyAt(0), -5);
  unsigned u = 0;
  EXPECT_TRUE(mi->Find(5, u));
  EXPECT_EQ(u, 50u);
  cls_Release(mi);
  // A reader of the wrong shape is refused.
  EXPECT_EQ(root.MakeReadMapInt2Prim<int>(cls_FieldHandle("ints", 0)), nullptr);
  EXPECT_EQ(root.MakeReadListPrim<int>(cls_FieldHandle("missing", 9)), nullptr);
  cls_ReadIntTableInt* t = root.MakeReadIntTableInt(cls_FieldHandle("table", 4));
  EXPECT_EQ(t->KeyAt(1), 3);
  cls_Release(t);
  EXPECT_EQ(root.StoredCollectionType(cls_FieldHandle("ints", 0)), 54);
  EXPECT_EQ(root.StoredCollectionType(cls_FieldHandle("map", 2)), 92);
}

TEST(MemoryStore, ObjectCollectionsHoldObjectsAndNulls) {
  cls_MemStore store;
  {
    cls_WriteVisitor root(store.MakeWriteMemento());
    cls_WriteListObj* l = root.MakeWriteListObj(cls_FieldHandle("list", 0), 3);
    for (int i = 0; i < 2; ++i) {
      Leaf leaf(i * 10);
      cls_WriteVisitor ev(l->Element(), &leaf);
      leaf.DBWrite(ev);
    }
    l->AppendNull();
    cls_Release(l);
    cls_WriteMapString2Obj* m = root.MakeWriteMapString2Obj(cls_FieldHandle("map", 1), 1);
    Leaf leaf(7);
    cls_WriteVisitor ev(m->Element("k"), &leaf);
    leaf.DBWrite(ev);
    m->InsertNull("a");
    cls_Release(m);
  }
  cls_ClassRegistrar r;
  r.CreateClassMD("Leaf", kLeafId, 1, &Leaf::Make, 1);
  cls_ReadVisitor root(store.MakeReadMemento());
  cls_ReadListObj* l = root.MakeReadListObj(cls_FieldHandle("list", 0));
  ASSERT_EQ(l->Count(), 3);
  {
    cls_ReadVisitor e(l->MakeElement(1));
    Leaf* leaf = static_cast<Leaf*>(cls_BuildObject(e, r));
    ASSERT_NE(leaf, nullptr);
    EXPECT_EQ(leaf->m_N, 10);
    delete leaf;
  }
  EXPECT_EQ(l->MakeElement(2), nullptr);
  EXPECT_EQ(l->MakeElement(3), nullptr);
  cls_Release(l);
  cls_ReadMapString2Obj* m = root.MakeReadMapString2Obj(cls_FieldHandle("map", 1));
  ASSERT_EQ(m->Count(), 2);
  EXPECT_EQ(m->KeyAt(0), "a");
  EXPECT_EQ(m->Find("a"), nullptr);
  cls_ReadVisitor e(m->Find("k"));
  EXPECT_EQ(Leaf(e).m_N, 7);
  cls_Release(m);
}

TEST(MemoryStore, AgentsMoveBlocksBothWays) {
  cls_MemStore store;
  {
    cls_WriteVisitor root(store.MakeWriteMemento());
    cls_AgentListPrim<float>* a = root.MakeAgentListPrim<float>(cls_FieldHandle("floats", 0));
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(a->ElementKind(), 53);
    const float block[] = {1, 2, 3};
    a->AppendBlock(3, block);
    a->WriteBlock(5, 1, block);  // a gap of defaults before it
    EXPECT_EQ(a->StoredCount(), 6);
    cls_Release(a);
    cls_AgentListPrim<cow_String>* s = root.MakeAgentListPrim<cow_String>(cls_FieldHandle("strs", 1));
    ASSERT_NE(s, nullptr);  // through the generic slot
    cow_String one("x");
    s->AppendBlock(1, &one);
    cls_Release(s);
    // The field already holds floats: an int agent is refused.
    EXPECT_EQ(root.MakeAgentListPrim<int>(cls_FieldHandle("floats", 0)), nullptr);
  }
  cls_ReadVisitor root(store.MakeReadMemento());
  cls_AgentListPrim<float>* a = root.MakeAgentListPrim<float>(cls_FieldHandle("floats", 0));
  float out[7];
  a->ReadBlock(0, 7, out);
  EXPECT_EQ(out[2], 3.0f);
  EXPECT_EQ(out[4], 0.0f);
  EXPECT_EQ(out[5], 1.0f);
  EXPECT_EQ(out[6], 0.0f);
  const float back = 9;
  a->WriteBlock(0, 1, &back);  // a read agent writes back to the store
  cls_Release(a);
  cls_ReadListPrim<float>* l = root.MakeReadListPrim<float>(cls_FieldHandle("floats", 0));
  EXPECT_EQ(l->Get(0), 9.0f);
  cls_Release(l);
  cls_ReadListPrim<cow_String>* s = root.MakeReadListPrim<cow_String>(cls_FieldHandle("strs", 1));
  EXPECT_EQ(s->Get(0), "x");
  cls_Release(s);
}

TEST(MemoryStore, BlobsKeepTheirBytesAndIdentity) {
  cls_MemStore store;
  cls_Uid blobUid;
  {
    cls_WriteVisitor root(store.MakeWriteMemento());
    cls_BlobWriter w(root, cls_FieldHandle("blob", 0), blobUid);
    ASSERT_NE(w.Agent(), nullptr);
    EXPECT_TRUE(w.Append("abc", 3));
    EXPECT_TRUE(w.Append("\0de", 3));
  }
  cls_ReadVisitor root(store.MakeReadMemento());
  cls_Uid got(nullptr);
  cls_BlobReader r(root, cls_FieldHandle("blob", 0), got);
  EXPECT_EQ(got, blobUid);
  EXPECT_EQ(r.Size(), 6);
  char buf[8] = {};
  EXPECT_EQ(r.Read(2, buf, 8), 4);
  EXPECT_EQ(std::memcmp(buf, "c\0de", 4), 0);
  EXPECT_EQ(r.Read(6, buf, 1), 0);
  cls_Uid none;
  cls_BlobReader absent(root, cls_FieldHandle("nothing", 1), none);
  EXPECT_TRUE(none.IsEmpty());
  EXPECT_EQ(absent.Size(), 0);
  EXPECT_EQ(absent.Read(0, buf, 1), 0);
}

// A store that supports no collection of any kind: every factory answers null.
class Bare : public cls_MementoWrite {
 public:
  cls_MementoWrite* MakeWriteObjWithPtr(const cls_FieldHandle&, unsigned int, const cls_Uid&, const void*) override {
    return new Bare;
  }
  int m_Written = 0;
  void Write(const cls_FieldHandle&, const int&) override { ++m_Written; }
};

// Writes its list through a collection writer, or element by element when
// the store has none.
struct ListOwner {
  cls_Uid m_Uid{nullptr};
  void DBWrite(const cls_WriteVisitor& v) const {
    if (!v.StartWrite(0x2300F4, m_Uid)) return;
    if (cls_WriteListPrim<int>* w = v.MakeWriteListPrim<int>(cls_FieldHandle("l", 0), 2)) {
      w->Append(1);
      w->Append(2);
      cls_Release(w);
    } else {
      v.Write(cls_FieldHandle("l0", 1), 1);
      v.Write(cls_FieldHandle("l1", 2), 2);
    }
    EXPECT_EQ(v.MakeWriteListObj(cls_FieldHandle("o", 3), 0), nullptr);
    EXPECT_EQ(v.MakeAgentListPrim<bool>(cls_FieldHandle("a", 4)), nullptr);
    EXPECT_EQ(v.MakeAgentBlob(), nullptr);
  }
};

TEST(MemoryStore, WriterCopesWithAStoreWithoutCollections) {
  cls_WriteVisitor root(new Bare);
  cls_WriteVisitor child(root, cls_FieldHandle("x", 0), nullptr, nullptr);
  ListOwner().DBWrite(child);
  EXPECT_EQ(static_cast<Bare*>(child.GetMemento())->m_Written, 2);
}

TEST(MemoryStore, UnknownClassRaisesTheHooksExceptionOrAnswersNull) {
  cls_MemStore store;
  {
    cls_WriteVisitor root(store.MakeWriteMemento());
    cls_WriteObject(root, cls_FieldHandle("leaf", 0), Leaf(1));
  }
  cls_ClassRegistrar empty;
  cls_ReadVisitor root(store.MakeReadMemento());
  try {
    cls_ReadObject(root, cls_FieldHandle("leaf", 0), empty);
    FAIL() << "no exception";
  } catch (const nex_TextException& e) {
    EXPECT_EQ(e.Value(), "cls_ClassRegistrar::ConstGet failed: Class  is not declared in metadata.");
  }
  cls_ClassRegistrar::ClassHook old = cls_ClassRegistrar::SetClassHook(nullptr);
  EXPECT_EQ(cls_ReadObject(root, cls_FieldHandle("leaf", 0), empty), nullptr);
  cls_ClassRegistrar::SetClassHook(old);
  EXPECT_EQ(cls_ReadObject(root, cls_FieldHandle("absent", 1), empty), nullptr);  // nothing stored: no lookup
}

}  // namespace
