// cls_ArrayPrim: block edges, one resident block when attached, counted loads
// and write-backs, round trips, and every message of the class.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cls/cls_ArrayPrim.h"
#include "cls_array/ArrayTestUtil.h"
#include "nex/nex_Exception.h"
#include "support/TestSupport.h"

namespace {

// A store of one float list whose agent counts what it is asked.
struct FakeList {
  std::vector<float> m_Data;
  int m_Reads = 0, m_Writes = 0;
  bool m_Fail = false;  // reads raise, as a store that went away would
};

struct FakeAgent final : cls_AgentListPrim<float> {
  FakeList& m_L;
  explicit FakeAgent(FakeList& l) : m_L(l) {}
  cls_CollectionType ElementKind() const override { return cls_CollectionType(53); }
  int StoredCount() const override { return static_cast<int>(m_L.m_Data.size()); }
  void ReadBlock(int start, int n, float* out) override {
    if (m_L.m_Fail) nex_TextException("store gone").Throw("cls_array/test", 1);
    ++m_L.m_Reads;
    for (int i = 0; i < n; ++i) out[i] = start + i < StoredCount() ? m_L.m_Data[start + i] : 0.0f;
  }
  void WriteBlock(int start, int n, const float* in) override {
    ++m_L.m_Writes;
    if (static_cast<int>(m_L.m_Data.size()) < start + n) m_L.m_Data.resize(start + n);
    for (int i = 0; i < n; ++i) m_L.m_Data[start + i] = in[i];
  }
  void AppendBlock(int n, const float* in) override { WriteBlock(StoredCount(), n, in); }
};

struct FakeMemento final : cls_MementoWrite {
  FakeList& m_L;
  explicit FakeMemento(FakeList& l) : m_L(l) {}
  cls_AgentListPrim<float>* MakeAgentListFloat(const cls_FieldHandle&) override { return new FakeAgent(m_L); }
};

// Attaches the array to the fake list, as a write into a store would.
void Attach(cls_ArrayPrim<float>& a, FakeList& list) { a.DBWrite(cls_WriteVisitor(new FakeMemento(list))); }

// Exposes the protected block lookup.
class OpenArray : public cls_ArrayPrim<float> {
 public:
  using cls_ArrayPrim<float>::GetBuffer;
};

float Value(int i) { return static_cast<float>(i) * 0.5f + 1.0f; }

void Fill(cls_ArrayPrim<float>& a, int n) {
  for (int i = 0; i < n; ++i) a.Append(Value(i));
}
int Blocks(int n) { return (n + cls_ArrayPrimBlockSize - 1) / cls_ArrayPrimBlockSize; }

TEST(ArrayPrimBlocks, UnattachedArraysKeepEveryBlockAndANewEndBlockLeavesTheAgentAlone) {
  OpenArray a;
  Fill(a, 2049);
  EXPECT_EQ(std::make_pair(a.Size(), a.ResidentBlocks()), std::make_pair(2049, 2));  // blocks at 0 and 2048
  EXPECT_EQ(a.GetBuffer(0)->Data()[2047], Value(2047));
  EXPECT_EQ(a.GetBuffer(2048)->Data()[0], Value(2048));
  EXPECT_EQ(a.GetBuffer(2049), a.GetBuffer(2048));  // the slot past the end shares the last block
  EXPECT_TRUE(a.GetBuffer(2050) == nullptr && a.GetBuffer(-1) == nullptr);
  EXPECT_EQ(a.BlockLoads(), 0);

  FakeList list;
  OpenArray b;
  Fill(b, 2048);
  Attach(b, list);
  EXPECT_EQ(list.m_Data.size(), 2048u);
  const int reads = list.m_Reads, writes = list.m_Writes;
  ASSERT_NE(b.GetBuffer(2048), nullptr);
  EXPECT_TRUE(list.m_Reads == reads && list.m_Writes == writes);
  b.Append(7.0f);
  b.Flush();
  EXPECT_EQ(list.m_Data.size(), 2049u);
  EXPECT_EQ(list.m_Data[2048], 7.0f);
}

TEST(ArrayPrimBlocks, SequentialPassLoadsEachBlockOnceAndKeepsOne) {
  for (int n : {0, 1, 2047, 2048, 2049, 1000000}) {
    SCOPED_TRACE(n);
    cls_MemStore store;
    {
      cls_ArrayPrim<float> a;
      Fill(a, n);
      vnktest::Store(store, a);
      EXPECT_TRUE(a.IsAttached());
      EXPECT_EQ(a.ResidentBlocks(), 0);  // written back and dropped
      EXPECT_EQ(a.BlockWriteBacks(), Blocks(n));
    }
    cls_ReadVisitor root(store.MakeReadMemento());
    cls_ReadVisitor v(root, vnktest::Obj());
    cls_ArrayPrim<float> b(v);
    ASSERT_EQ(b.Size(), n);
    EXPECT_EQ(b.GetUid(), v.GetUid());
    int wrong = 0, most = 0;
    for (int i = 0; i < n; ++i) {
      wrong += b.ConstGet(i) != Value(i);
      most = std::max(most, b.ResidentBlocks());
    }
    EXPECT_TRUE(wrong == 0 && most <= 1) << wrong << " wrong, " << most << " blocks at once";
    // ConstGet leaves blocks clean.
    EXPECT_EQ(std::make_pair(b.BlockLoads(), b.BlockWriteBacks()), std::make_pair(1LL * Blocks(n), 0LL));

    // Get marks each block dirty: every block is written back once.
    for (int i = 0; i < n; ++i) b.Get(i) += 1.0f;
    b.Flush();
    EXPECT_TRUE(b.BlockWriteBacks() == Blocks(n) && b.ResidentBlocks() == 0);
    if (n > 0) {
      EXPECT_EQ(cls_ArrayPrim<float>(v).ConstGet(n - 1), Value(n - 1) + 1.0f);
    }
  }
}

TEST(ArrayPrimBlocks, AlternatingBlocksReloadOnEverySwitch) {
  cls_MemStore store;
  cls_ArrayPrim<float> a;
  Fill(a, 4096);
  vnktest::Store(store, a);
  const long long loads = a.BlockLoads(), writes = a.BlockWriteBacks();
  for (int k = 0; k < 10; ++k) a.ConstGet((k & 1) * 2048);
  // Clean blocks are only dropped; each switch of dirty ones writes the one left.
  EXPECT_EQ(std::make_pair(a.BlockLoads() - loads, a.BlockWriteBacks() - writes), std::make_pair(10LL, 0LL));
  for (int k = 0; k < 10; ++k) a.Get((k & 1) * 2048 + 5) = static_cast<float>(k);
  EXPECT_EQ(std::make_pair(a.BlockLoads() - loads, a.BlockWriteBacks() - writes), std::make_pair(20LL, 9LL));
  EXPECT_EQ(a.ResidentBlocks(), 1);
  EXPECT_TRUE(a.ConstGet(5) == 8.0f && a.ConstGet(2048 + 5) == 9.0f);
}

TEST(ArrayPrimMessages, OutOfRangeAndTheSlotPastTheEnd) {
  cls_ArrayPrim<int> a;
  for (int i = 0; i < 3; ++i) a.Append(i);
  {
    vnktest::CaptureCerr cap;
    a.Get(3) = 9;  // the slot an Append would fill: no message
    EXPECT_EQ(cap.Text(), "");
    a.Get(-1);
    a.Get(4);
    a.ConstGet(-5);
    EXPECT_EQ(cap.Text(),
              "In cls_ArrayPrim::Get() Index out of range.\n"
              "In cls_ArrayPrim::Get() Index out of range.\n"
              "In cls_ArrayPrim::ConstGet() Index out of range.\n");
  }
  EXPECT_TRUE(a.Size() == 3 && a.ConstGet(2) == 2);
}

TEST(ArrayPrimMessages, AppendBlockNeedsAStore) {
  cls_ArrayPrim<float> a;
  const float more[3] = {1, 2, 3};
  {
    vnktest::CaptureCerr cap;
    a.AppendBlock(more, 3);
    EXPECT_EQ(cap.Text(),
              "cls_ArrayPrim::AppendBlock: Collection must be associated with a database for this method.\n");
  }
  EXPECT_EQ(a.Size(), 0);

  cls_MemStore store;
  Fill(a, 2050);
  vnktest::Store(store, a);
  a.Get(2049) = -1.0f;  // dirty, and the block AppendBlock then continues
  a.AppendBlock(more, 3);
  EXPECT_EQ(a.Size(), 2053);
  EXPECT_TRUE(a.ConstGet(2049) == -1.0f && a.ConstGet(2052) == 3.0f);
}

TEST(ArrayPrimMessages, IndexConflictWhenTheStoreHoldsElements) {
  FakeList list;
  list.m_Data.assign(5000, -1.0f);
  cls_ArrayPrim<float> a;
  Fill(a, 3000);
  {
    vnktest::CaptureCerr cap;
    Attach(a, list);
    EXPECT_EQ(cap.Text(), "cls_ArrayPrim::DBWrite: Index conflicts(s) in list.\nBlock indices= 0 - 2999\n");
  }
  // The array's own elements win; the size stays the array's.
  EXPECT_EQ(a.Size(), 3000);
  EXPECT_TRUE(list.m_Data[2999] == Value(2999) && list.m_Data[3000] == -1.0f);

  // An empty array takes the stored count instead, silently; the slot it
  // opened before does not hide the stored element.
  cls_ArrayPrim<float> b;
  b.Get(0) = 9.0f;
  vnktest::CaptureCerr cap;
  Attach(b, list);
  EXPECT_EQ(cap.Text(), "");
  EXPECT_EQ(b.Size(), 5000);
  EXPECT_TRUE(b.ConstGet(0) == Value(0) && b.ConstGet(4000) == -1.0f);
}

TEST(ArrayPrimMessages, ABlockThatCannotBeLoadedIsReportedNotThrown) {
  FakeList list;
  list.m_Data.assign(5000, 2.0f);
  cls_ArrayPrim<float> a;
  Attach(a, list);
  EXPECT_EQ(a.ConstGet(4999), 2.0f);
  list.m_Fail = true;
  vnktest::CaptureCerr cap;
  float x = 1.0f;
  EXPECT_NO_THROW(x = a.Get(10));
  EXPECT_TRUE(x == 0.0f && cap.Text() == "store gone\n") << x << " " << cap.Text();
  list.m_Fail = false;
  list.m_Data[10] = 3.0f;
  EXPECT_EQ(a.ConstGet(10), 3.0f);  // loaded now, not left half made
}

TEST(ArrayPrimStore, CopiesRewritesDetachAndTheStoreGoingFirst) {
  cls_MemStore store;
  cls_ArrayPrim<float> a;
  Fill(a, 5000);
  vnktest::Store(store, a);
  a.Get(10) = 99.0f;  // dirty in memory only

  cls_ArrayPrim<float> copy(a);  // unattached, every element
  EXPECT_FALSE(copy.IsAttached());
  EXPECT_EQ(copy.GetUid(), a.GetUid());
  EXPECT_TRUE(copy.ConstGet(10) == 99.0f && copy.ConstGet(4999) == Value(4999));
  copy.Get(0) = -5.0f;
  EXPECT_EQ(a.ConstGet(0), Value(0));

  // Written again into the same field: the object is made anew, and the
  // array moves its elements there and keeps working.
  vnktest::Store(store, a);
  EXPECT_TRUE(a.ConstGet(10) == 99.0f && a.ConstGet(4999) == Value(4999));
  {
    cls_ArrayPrim<float> r = vnktest::ReadBack<cls_ArrayPrim<float>>(store);
    EXPECT_TRUE(r.Size() == 5000 && r.ConstGet(10) == 99.0f);
  }

  // Detached: the store can go; the array keeps everything.
  cls_ArrayPrim<float> d = vnktest::ReadBack<cls_ArrayPrim<float>>(store);
  d.Detach();
  store.Clear();
  EXPECT_FALSE(d.IsAttached());
  EXPECT_TRUE(d.ConstGet(4999) == Value(4999) && d.ResidentBlocks() == 3);

  // Attached, not detached: the agent outlives its store and holds the list.
  auto* other = new cls_MemStore;
  cls_ArrayPrim<double> e;
  for (int i = 0; i < 3000; ++i) e.Append(i);
  vnktest::Store(*other, e);
  delete other;
  e.Get(2999) = 1.5;
  EXPECT_TRUE(e.ConstGet(0) == 0.0 && e.ConstGet(2999) == 1.5);
}

TEST(ArrayPrimStore, EveryElementTypeRoundTripsAndIsRebuiltByClassID) {
  cls_ArrayPrim<bool> flags;
  cls_ArrayPrim<cow_String> words;
  cls_ArrayPrim<int> ints;
  for (int i = 0; i < 2100; ++i) {
    flags.Append(i % 3 == 0);
    words.Append(cow_String(std::to_string(i).c_str()));
    ints.Append(-i);
  }
  cls_MemStore store;
  const cls_ClassRegistrar& r = vnktest::Registrar2();
  auto check = [&](const auto& a, int elementType, auto&& expect) {
    vnktest::Store(store, a);
    cls_ReadVisitor root(store.MakeReadMemento());
    auto* o = static_cast<cls_ArrayPrimBase*>(cls_ReadObject(root, vnktest::Obj(), r));
    ASSERT_NE(o, nullptr);
    EXPECT_EQ(o->ElementType(), elementType);
    const auto& b = *static_cast<const std::decay_t<decltype(a)>*>(o);
    EXPECT_EQ(b.Size(), 2100);
    expect(b);
    r.ConstGet(0x230001)->Delete(o);
  };
  check(flags, 51, [](const auto& b) { EXPECT_TRUE(b.ConstGet(2097) && !b.ConstGet(2098)); });
  check(words, 55, [](const auto& b) { EXPECT_EQ(b.ConstGet(2050), "2050"); });
  check(ints, 54, [](const auto& b) { EXPECT_EQ(b.ConstGet(2099), -2099); });
}

}  // namespace
