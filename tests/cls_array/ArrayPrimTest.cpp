// cls_ArrayPrim: block arithmetic at the edges, one resident block for an
// attached array, loads and write-backs counted on sequential and
// alternating passes, round trips through the memory store, and every
// message of the class.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/TestSupport.h"
#include "cls/cls_ArrayPrim.h"
#include "cls/cls_ClassRegistrar.h"
#include "cls/cls_MemoryStore.h"
#include "cls/cls_Visitor.h"
#include "nex/nex_Exception.h"

namespace {

// A store of one float list whose agent counts what it is asked.
struct FakeList {
  std::vector<float> m_Data;
  int m_Reads = 0, m_Writes = 0;
  bool m_Fail = false;  // reads raise, as a store that went away would
};

class FakeAgent final : public cls_AgentListPrim<float> {
 public:
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

 private:
  FakeList& m_L;
};

class FakeMemento final : public cls_MementoWrite {
 public:
  explicit FakeMemento(FakeList& l) : m_L(l) {}
  cls_AgentListPrim<float>* MakeAgentListFloat(const cls_FieldHandle&) override { return new FakeAgent(m_L); }

 private:
  FakeList& m_L;
};

// Exposes the protected block lookup.
class OpenArray : public cls_ArrayPrim<float> {
 public:
  using cls_ArrayPrim<float>::GetBuffer;
};

float Value(int i) { return static_cast<float>(i) * 0.5f + 1.0f; }

void Fill(cls_ArrayPrim<float>& a, int n) {
  for (int i = 0; i < n; ++i) a.Append(Value(i));
}

cls_FieldHandle Arr() { return cls_FieldHandle("arr", 0); }

void WriteToStore(cls_MemStore& store, const cls_ArrayPrim<float>& a) {
  cls_WriteVisitor root(store.MakeWriteMemento());
  cls_WriteObject(root, Arr(), a);
}

int Blocks(int n) { return (n + cls_ArrayPrimBlockSize - 1) / cls_ArrayPrimBlockSize; }

TEST(ArrayPrimBlocks, UnattachedArraysKeepEveryBlock) {
  OpenArray a;
  EXPECT_EQ(a.TypeId(), 0x230001u);
  EXPECT_EQ(cls_ArrayPrim<cow_String>::TypeId(), 0x230001u);
  Fill(a, 2049);
  EXPECT_EQ(a.Size(), 2049);
  EXPECT_EQ(a.ResidentBlocks(), 2);  // starting at 0 and 2048
  EXPECT_EQ(a.GetBuffer(0)->Data()[2047], Value(2047));
  EXPECT_EQ(a.GetBuffer(2048)->Data()[0], Value(2048));
  EXPECT_EQ(a.GetBuffer(2049), a.GetBuffer(2048));  // the slot past the end shares the last block
  EXPECT_EQ(a.GetBuffer(2050), nullptr);
  EXPECT_EQ(a.GetBuffer(-1), nullptr);
  EXPECT_EQ(a.BlockLoads(), 0);
}

TEST(ArrayPrimBlocks, NewBlockAtTheEndDoesNotTouchTheAgent) {
  FakeList list;
  OpenArray a;
  Fill(a, 2048);
  {
    cls_WriteVisitor v(new FakeMemento(list));
    a.DBWrite(v);
  }
  EXPECT_EQ(list.m_Data.size(), 2048u);
  const int reads = list.m_Reads, writes = list.m_Writes;
  cls_ArrayPrimBuffer<float>* b = a.GetBuffer(2048);
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(list.m_Reads, reads);
  EXPECT_EQ(list.m_Writes, writes);
  a.Append(7.0f);
  a.Flush();
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
      WriteToStore(store, a);
      EXPECT_TRUE(a.IsAttached());
      EXPECT_EQ(a.ResidentBlocks(), 0);  // written back and dropped
      EXPECT_EQ(a.BlockWriteBacks(), Blocks(n));
    }
    cls_ReadVisitor root(store.MakeReadMemento());
    cls_ReadVisitor v(root, Arr());
    cls_ArrayPrim<float> b(v);
    ASSERT_EQ(b.Size(), n);
    EXPECT_EQ(b.GetUid(), v.GetUid());
    bool same = true;
    int most = 0;
    for (int i = 0; i < n; ++i) {
      same = same && b.ConstGet(i) == Value(i);
      if (b.ResidentBlocks() > most) most = b.ResidentBlocks();
    }
    EXPECT_TRUE(same);
    EXPECT_LE(most, 1);
    EXPECT_EQ(b.BlockLoads(), Blocks(n));
    EXPECT_EQ(b.BlockWriteBacks(), 0);  // ConstGet leaves blocks clean

    // Get marks each block dirty: every block is written back once.
    for (int i = 0; i < n; ++i) b.Get(i) += 1.0f;
    b.Flush();
    EXPECT_EQ(b.BlockWriteBacks(), Blocks(n));
    EXPECT_EQ(b.ResidentBlocks(), 0);
    if (n > 0) {
      cls_ArrayPrim<float> c(v);
      EXPECT_EQ(c.ConstGet(n - 1), Value(n - 1) + 1.0f);
    }
  }
}

TEST(ArrayPrimBlocks, AlternatingBlocksReloadOnEverySwitch) {
  cls_MemStore store;
  cls_ArrayPrim<float> a;
  Fill(a, 4096);
  WriteToStore(store, a);
  const long long loads = a.BlockLoads(), writes = a.BlockWriteBacks();
  for (int k = 0; k < 10; ++k) a.ConstGet((k & 1) * 2048);
  EXPECT_EQ(a.BlockLoads() - loads, 10);
  EXPECT_EQ(a.BlockWriteBacks(), writes);  // clean blocks are only dropped
  for (int k = 0; k < 10; ++k) a.Get((k & 1) * 2048 + 5) = static_cast<float>(k);
  EXPECT_EQ(a.BlockLoads() - loads, 20);
  EXPECT_EQ(a.BlockWriteBacks() - writes, 9);  // each switch writes the one left
  EXPECT_EQ(a.ResidentBlocks(), 1);
  EXPECT_EQ(a.ConstGet(5), 8.0f);
  EXPECT_EQ(a.ConstGet(2048 + 5), 9.0f);
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
  EXPECT_EQ(a.Size(), 3);
  EXPECT_EQ(a.ConstGet(2), 2);
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
  WriteToStore(store, a);
  a.Get(2049) = -1.0f;  // dirty, and the block AppendBlock then continues
  a.AppendBlock(more, 3);
  EXPECT_EQ(a.Size(), 2053);
  EXPECT_EQ(a.ConstGet(2049), -1.0f);
  EXPECT_EQ(a.ConstGet(2052), 3.0f);
}

TEST(ArrayPrimMessages, IndexConflictWhenTheStoreHoldsElements) {
  FakeList list;
  list.m_Data.assign(5000, -1.0f);
  cls_ArrayPrim<float> a;
  Fill(a, 3000);
  {
    vnktest::CaptureCerr cap;
    cls_WriteVisitor v(new FakeMemento(list));
    a.DBWrite(v);
    EXPECT_EQ(cap.Text(), "cls_ArrayPrim::DBWrite: Index conflicts(s) in list.\nBlock indices= 0 - 2999\n");
  }
  // The array's own elements win; the size stays the array's.
  EXPECT_EQ(a.Size(), 3000);
  EXPECT_EQ(list.m_Data[2999], Value(2999));
  EXPECT_EQ(list.m_Data[3000], -1.0f);

  // An empty array takes the stored count instead, silently; the slot it
  // opened before does not hide the stored element.
  cls_ArrayPrim<float> b;
  b.Get(0) = 9.0f;
  vnktest::CaptureCerr cap;
  cls_WriteVisitor v(new FakeMemento(list));
  b.DBWrite(v);
  EXPECT_EQ(cap.Text(), "");
  EXPECT_EQ(b.Size(), 5000);
  EXPECT_EQ(b.ConstGet(0), Value(0));
  EXPECT_EQ(b.ConstGet(4000), -1.0f);
}

TEST(ArrayPrimMessages, ABlockThatCannotBeLoadedIsReportedNotThrown) {
  FakeList list;
  list.m_Data.assign(5000, 2.0f);
  cls_ArrayPrim<float> a;
  {
    cls_WriteVisitor v(new FakeMemento(list));
    a.DBWrite(v);
  }
  EXPECT_EQ(a.ConstGet(4999), 2.0f);
  list.m_Fail = true;
  vnktest::CaptureCerr cap;
  float x = 1.0f;
  EXPECT_NO_THROW(x = a.Get(10));
  EXPECT_EQ(x, 0.0f);
  EXPECT_EQ(cap.Text(), "store gone\n");
  list.m_Fail = false;
  list.m_Data[10] = 3.0f;
  EXPECT_EQ(a.ConstGet(10), 3.0f);  // loaded now, not left half made
}

TEST(ArrayPrimStore, CopiesRewritesAndDetach) {
  cls_MemStore store;
  cls_ArrayPrim<float> a;
  Fill(a, 5000);
  WriteToStore(store, a);
  a.Get(10) = 99.0f;  // dirty in memory only

  cls_ArrayPrim<float> copy(a);  // unattached, every element
  EXPECT_FALSE(copy.IsAttached());
  EXPECT_EQ(copy.GetUid(), a.GetUid());
  EXPECT_EQ(copy.ConstGet(10), 99.0f);
  EXPECT_EQ(copy.ConstGet(4999), Value(4999));
  copy.Get(0) = -5.0f;
  EXPECT_EQ(a.ConstGet(0), Value(0));

  // Written again into the same field: the object is made anew, and the
  // array moves its elements there and keeps working.
  WriteToStore(store, a);
  EXPECT_EQ(a.ConstGet(10), 99.0f);
  EXPECT_EQ(a.ConstGet(4999), Value(4999));
  {
    cls_ReadVisitor root(store.MakeReadMemento());
    cls_ArrayPrim<float> r((cls_ReadVisitor(root, Arr())));
    EXPECT_EQ(r.Size(), 5000);
    EXPECT_EQ(r.ConstGet(10), 99.0f);
  }

  // Detached: the store can go; the array keeps everything.
  cls_ArrayPrim<float> d((cls_ReadVisitor(cls_ReadVisitor(store.MakeReadMemento()), Arr())));
  d.Detach();
  store.Clear();
  EXPECT_FALSE(d.IsAttached());
  EXPECT_EQ(d.ConstGet(4999), Value(4999));
  EXPECT_EQ(d.ResidentBlocks(), 3);
}

TEST(ArrayPrimStore, AgentOutlivesItsStore) {
  auto* store = new cls_MemStore;
  cls_ArrayPrim<double> a;
  for (int i = 0; i < 3000; ++i) a.Append(i);
  {
    cls_WriteVisitor root(store->MakeWriteMemento());
    cls_WriteObject(root, Arr(), a);
  }
  delete store;  // the agent still holds the list
  a.Get(2999) = 1.5;
  EXPECT_EQ(a.ConstGet(0), 0.0);
  EXPECT_EQ(a.ConstGet(2999), 1.5);
}

TEST(ArrayPrimStore, EveryElementTypeRoundTripsAndIsRebuiltByClassID) {
  cls_MemStore store;
  cls_ArrayPrim<bool> flags;
  cls_ArrayPrim<cow_String> words;
  cls_ArrayPrim<int> ints;
  for (int i = 0; i < 2100; ++i) {
    flags.Append(i % 3 == 0);
    words.Append(cow_String(std::to_string(i).c_str()));
    ints.Append(-i);
  }
  {
    cls_WriteVisitor root(store.MakeWriteMemento());
    cls_WriteObject(root, cls_FieldHandle("flags", 0), flags);
    cls_WriteObject(root, cls_FieldHandle("words", 1), words);
    cls_WriteObject(root, cls_FieldHandle("ints", 2), ints);
  }
  const cls_ClassRegistrar& r = omi_Singleton<cls_MetadataRegistrar>::Instance().GetRegistrar(2);
  cls_ReadVisitor root(store.MakeReadMemento());
  auto* f = static_cast<cls_ArrayPrimBase*>(cls_ReadObject(root, cls_FieldHandle("flags", 0), r));
  auto* w = static_cast<cls_ArrayPrimBase*>(cls_ReadObject(root, cls_FieldHandle("words", 1), r));
  auto* n = static_cast<cls_ArrayPrimBase*>(cls_ReadObject(root, cls_FieldHandle("ints", 2), r));
  ASSERT_TRUE(f && w && n);
  EXPECT_EQ(f->ElementType(), 51);
  EXPECT_EQ(w->ElementType(), 55);
  EXPECT_EQ(n->ElementType(), 54);
  auto* fb = static_cast<cls_ArrayPrim<bool>*>(f);
  auto* ws = static_cast<cls_ArrayPrim<cow_String>*>(w);
  auto* is = static_cast<cls_ArrayPrim<int>*>(n);
  EXPECT_EQ(fb->Size(), 2100);
  EXPECT_TRUE(fb->ConstGet(2097));
  EXPECT_FALSE(fb->ConstGet(2098));
  EXPECT_EQ(ws->ConstGet(2050), "2050");
  EXPECT_EQ(is->ConstGet(2099), -2099);
  r.ConstGet(0x230001)->Delete(f);
  r.ConstGet(0x230001)->Delete(w);
  r.ConstGet(0x230001)->Delete(n);
}

}  // namespace
