// The in-memory store: every field kind, collections, agents and blobs; missing
// and mistyped data answer defaults; unknown classes raise the registry's hook.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <tuple>

#include "cls/cls_ClassRegistrar.h"
#include "cls/cls_MemoryStore.h"
#include "cls/cls_PC.h"
#include "cls/cls_Visitor.h"
#include "nex/nex_Exception.h"

namespace {

constexpr unsigned kLeafId = 0x2300F1, kSampleId = 0x2300F2, kBaseId = 0x2300F3;

// Releases a collection or an agent when the scope ends.
template <class T>
std::unique_ptr<T, void (*)(T*)> Held(T* p) {
  return {p, &cls_Release<T>};
}

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

// One value of every scalar kind, none of them its type's default; f(value,
// field) is called for each, as fields 0 to 11.
template <class F>
void ForEachScalar(F f) {
  static const char* const names[] = {"s", "a", "d", "f", "u", "i", "us", "sh", "uc", "c", "b", "ll"};
  int i = 0;
  std::apply([&](const auto&... x) { ((f(x, cls_FieldHandle(names[i], i)), ++i), ...); },
             std::make_tuple(cow_String("text"), atr_String("atr"), 2.5, 1.25f, 4000000000u, -7,
                             static_cast<unsigned short>(65535), static_cast<short>(-32768),
                             static_cast<unsigned char>(200), 'x', true, -1234567890123LL));
}

struct Sample {
  static unsigned TypeId() { return kSampleId; }
  cls_Uid m_Uid;
  void DBWrite(const cls_WriteVisitor& v) const {
    if (!v.StartWrite(TypeId(), m_Uid)) return;
    ForEachScalar([&](const auto& x, const cls_FieldHandle& f) { v.Write(f, x); });
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
  ForEachScalar([&](const auto& x, const cls_FieldHandle& f) {
    EXPECT_EQ(v.Read(f, std::decay_t<decltype(x)>()), x) << f.m_FieldName.c_str();
  });
  // Numbers convert between kinds; strings never pose as numbers.
  EXPECT_EQ(v.Read(cls_FieldHandle("i", 5), 0.0), -7.0);
  EXPECT_EQ(v.Read(cls_FieldHandle("d", 2), 0), 2);
  EXPECT_EQ(v.Read(cls_FieldHandle("s", 0), 99), 99);
  EXPECT_EQ(v.Read(cls_FieldHandle("i", 5), "none"), "none");

  const cls_FieldHandle null("null", 12), missing("missing", 20);
  EXPECT_TRUE(v.FieldIsPresent(null) && !v.DataIsPresent(null) && v.IsNullObject(null));
  EXPECT_FALSE(v.FieldIsPresent(missing) || v.DataIsPresent(missing));
  EXPECT_EQ(v.Read(missing, 17), 17);
  EXPECT_EQ(v.MakeReadObj(null), nullptr);

  cls_ReadVisitor leaf(v, cls_FieldHandle("leaf", 13));
  EXPECT_EQ(leaf.ClassId(), kLeafId);
  EXPECT_EQ(Leaf(leaf).m_N, 5);
  cow_List<cow_String> names;
  EXPECT_EQ(v.FieldNames(names), 14);
  EXPECT_TRUE(names[0] == "s" && names[13] == "leaf");
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
  const cls_MemField& x = store.Root().FieldAt(0);
  EXPECT_TRUE(x.Name() == "x" && x.FieldID() == 2 && x.Value().Kind() == cls_MemString);
}

TEST(MemoryStore, PrimitiveCollectionsRoundTrip) {
  cls_MemStore store;
  {
    cls_WriteVisitor root(store.MakeWriteMemento());
    auto l = Held(root.MakeWriteListPrim<int>(cls_FieldHandle("ints", 0), 3));
    ASSERT_NE(l, nullptr);
    const int some[] = {1, -2, 3};
    l->AppendBlock(some, 3);
    Held(root.MakeWriteListPrim<cow_String>(cls_FieldHandle("strs", 1), 1))->Append("one");
    auto m = Held(root.MakeWriteMapString2Prim<double>(cls_FieldHandle("map", 2), 3));
    m->Insert("b", 2.0);
    m->Insert("a", 1.0);
    m->Insert("b", 3.0);  // replaces
    auto mi = Held(root.MakeWriteMapInt2Prim<unsigned int>(cls_FieldHandle("mi", 3), 2));
    mi->Insert(5, 50u);
    mi->Insert(-5, 7u);
    auto t = Held(root.MakeWriteIntTableInt(cls_FieldHandle("table", 4), 2));
    t->Set(3, 30);
    t->Set(0, 0);
  }
  cls_ReadVisitor root(store.MakeReadMemento());
  auto l = Held(root.MakeReadListPrim<int>(cls_FieldHandle("ints", 0)));
  ASSERT_NE(l, nullptr);
  EXPECT_EQ(l->Count(), 3);
  int got[4];
  l->GetBlock(0, 4, got);
  EXPECT_TRUE(got[1] == -2 && got[3] == 0);  // and beyond the end
  // Numeric lists read as another numeric type.
  EXPECT_EQ(Held(root.MakeReadListPrim<double>(cls_FieldHandle("ints", 0)))->Get(2), 3.0);
  EXPECT_EQ(Held(root.MakeReadListPrim<cow_String>(cls_FieldHandle("strs", 1)))->Get(0), "one");
  auto m = Held(root.MakeReadMapString2Prim<double>(cls_FieldHandle("map", 2)));
  ASSERT_EQ(m->Count(), 2);
  EXPECT_TRUE(m->KeyAt(0) == "a" && m->ValueAt(1) == 3.0);
  double d = -1;
  EXPECT_TRUE(!m->Find("c", d) && d == -1);
  auto mi = Held(root.MakeReadMapInt2Prim<unsigned int>(cls_FieldHandle("mi", 3)));
  EXPECT_EQ(mi->KeyAt(0), -5);
  unsigned u = 0;
  EXPECT_TRUE(mi->Find(5, u) && u == 50u);
  // A reader of the wrong shape is refused, and so is a missing field.
  EXPECT_EQ(root.MakeReadMapInt2Prim<int>(cls_FieldHandle("ints", 0)), nullptr);
  EXPECT_EQ(root.MakeReadListPrim<int>(cls_FieldHandle("missing", 9)), nullptr);
  EXPECT_EQ(Held(root.MakeReadIntTableInt(cls_FieldHandle("table", 4)))->KeyAt(1), 3);
  EXPECT_TRUE(root.StoredCollectionType(cls_FieldHandle("ints", 0)) == 54 &&
              root.StoredCollectionType(cls_FieldHandle("map", 2)) == 92);
}

TEST(MemoryStore, ObjectCollectionsHoldObjectsAndNulls) {
  cls_MemStore store;
  {
    cls_WriteVisitor root(store.MakeWriteMemento());
    auto l = Held(root.MakeWriteListObj(cls_FieldHandle("list", 0), 3));
    for (Leaf leaf : {Leaf(0), Leaf(10)}) leaf.DBWrite(cls_WriteVisitor(l->Element(), &leaf));
    l->AppendNull();
    auto m = Held(root.MakeWriteMapString2Obj(cls_FieldHandle("map", 1), 1));
    Leaf leaf(7);
    leaf.DBWrite(cls_WriteVisitor(m->Element("k"), &leaf));
    m->InsertNull("a");
  }
  cls_ClassRegistrar r;
  r.CreateClassMD("Leaf", kLeafId, 1, &Leaf::Make, 1);
  cls_ReadVisitor root(store.MakeReadMemento());
  auto l = Held(root.MakeReadListObj(cls_FieldHandle("list", 0)));
  ASSERT_EQ(l->Count(), 3);
  std::unique_ptr<Leaf> leaf(static_cast<Leaf*>(cls_BuildObject(cls_ReadVisitor(l->MakeElement(1)), r)));
  ASSERT_NE(leaf, nullptr);
  EXPECT_EQ(leaf->m_N, 10);
  EXPECT_TRUE(l->MakeElement(2) == nullptr && l->MakeElement(3) == nullptr);
  auto m = Held(root.MakeReadMapString2Obj(cls_FieldHandle("map", 1)));
  ASSERT_EQ(m->Count(), 2);
  EXPECT_TRUE(m->KeyAt(0) == "a" && m->Find("a") == nullptr);
  EXPECT_EQ(Leaf(cls_ReadVisitor(m->Find("k"))).m_N, 7);
}

TEST(MemoryStore, AgentsMoveBlocksBothWays) {
  cls_MemStore store;
  {
    cls_WriteVisitor root(store.MakeWriteMemento());
    auto a = Held(root.MakeAgentListPrim<float>(cls_FieldHandle("floats", 0)));
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(a->ElementKind(), 53);
    const float block[] = {1, 2, 3};
    a->AppendBlock(3, block);
    a->WriteBlock(5, 1, block);  // a gap of defaults before it
    EXPECT_EQ(a->StoredCount(), 6);
    auto s = Held(root.MakeAgentListPrim<cow_String>(cls_FieldHandle("strs", 1)));
    ASSERT_NE(s, nullptr);  // through the generic slot
    cow_String one("x");
    s->AppendBlock(1, &one);
    // The field already holds floats: an int agent is refused.
    EXPECT_EQ(root.MakeAgentListPrim<int>(cls_FieldHandle("floats", 0)), nullptr);
  }
  cls_ReadVisitor root(store.MakeReadMemento());
  {
    auto a = Held(root.MakeAgentListPrim<float>(cls_FieldHandle("floats", 0)));
    float out[7];
    a->ReadBlock(0, 7, out);
    EXPECT_EQ(std::vector<float>(out + 2, out + 7), (std::vector<float>{3, 0, 0, 1, 0}));
    const float back = 9;
    a->WriteBlock(0, 1, &back);  // a read agent writes back to the store
  }
  EXPECT_EQ(Held(root.MakeReadListPrim<float>(cls_FieldHandle("floats", 0)))->Get(0), 9.0f);
  EXPECT_EQ(Held(root.MakeReadListPrim<cow_String>(cls_FieldHandle("strs", 1)))->Get(0), "x");
}

TEST(MemoryStore, BlobsKeepTheirBytesAndIdentity) {
  cls_MemStore store;
  cls_Uid blobUid;
  {
    cls_WriteVisitor root(store.MakeWriteMemento());
    cls_BlobWriter w(root, cls_FieldHandle("blob", 0), blobUid);
    ASSERT_NE(w.Agent(), nullptr);
    EXPECT_TRUE(w.Append("abc", 3) && w.Append("\0de", 3));
  }
  cls_ReadVisitor root(store.MakeReadMemento());
  cls_Uid got(nullptr), none;
  cls_BlobReader r(root, cls_FieldHandle("blob", 0), got);
  EXPECT_TRUE(got == blobUid && r.Size() == 6);
  char buf[8] = {};
  EXPECT_EQ(r.Read(2, buf, 8), 4);
  EXPECT_EQ(std::memcmp(buf, "c\0de", 4), 0);
  EXPECT_EQ(r.Read(6, buf, 1), 0);
  cls_BlobReader absent(root, cls_FieldHandle("nothing", 1), none);
  EXPECT_TRUE(none.IsEmpty() && absent.Size() == 0 && absent.Read(0, buf, 1) == 0);
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
    if (auto w = Held(v.MakeWriteListPrim<int>(cls_FieldHandle("l", 0), 2))) {
      w->Append(1);
      w->Append(2);
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
