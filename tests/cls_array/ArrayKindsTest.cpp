// cls_2dArrayPrim and cls_SimpleArrayPrim: their stored forms and their own
// messages.
#include <gtest/gtest.h>

#include "cls/cls_ArrayPrim.h"
#include "cls_array/ArrayTestUtil.h"
#include "support/TestSupport.h"

namespace {

using vnktest::Obj;

TEST(TwoDArrayPrim, RowMajorRoundTripThroughTheStore) {
  cls_2dArrayPrim<double> a(3);
  for (int i = 0; i < 3 * 1500; ++i) a.Append(i * 0.25);
  EXPECT_TRUE(a.Rows() == 1500 && a.ConstGet(2, 1) == 7 * 0.25);
  cls_MemStore store;
  const cls_MemObject& node = vnktest::Store(store, a);
  EXPECT_TRUE(node.ClassID() == 0x230004u && node.CheckedType() == 82);
  cls_2dArrayPrim<double> b = vnktest::ReadBack<cls_2dArrayPrim<double>>(store);
  EXPECT_TRUE(b.Columns() == 3 && b.Rows() == 1500);
  EXPECT_EQ(b.ConstGet(1499, 2), (3 * 1500 - 1) * 0.25);
  b.Get(0, 0) = -1.0;
  b.Release();  // written back, dropped
  EXPECT_EQ(b.ConstGet(0, 0), -1.0);
}

TEST(TwoDArrayPrim, MessagesNameTheirClass) {
  cls_2dArrayPrim<float> a(2);
  for (int i = 0; i < 4; ++i) a.Append(static_cast<float>(i));
  vnktest::CaptureCerr cap;
  a.Get(0, 2);       // column outside the row
  a.ConstGet(3, 0);  // beyond the slot past the end
  a.ConstGet(-1, 0);
  const float more[1] = {1};
  a.AppendBlock(more, 1);
  // Released while unattached, the blocks have no agent to come back from.
  a.Release();
  EXPECT_EQ(a.ConstGet(1, 1), 0.0f);
  EXPECT_EQ(cap.Text(),
            "In cls_2dArrayPrim::Get() Index out of range.\n"
            "In cls_2dArrayPrim::ConstGet() Index out of range.\n"
            "In cls_2dArrayPrim::ConstGet() Index out of range.\n"
            "cls_2dArrayPrim::AppendBlock: Collection must be associated with a database for this method.\n"
            "In cls_2dArrayPrim::GetBuffer() Missing agent.\n");
}

TEST(SimpleArrayPrim, WholeArraysTheirIdentityAndBlocksOnlyWithAStore) {
  cls_Uid id;
  cls_SimpleArrayPrim<int> a(id, 4);
  const int data[4] = {4, -3, 2, -1};
  a.Write(data, 4);
  int out[8] = {};
  EXPECT_TRUE(a.Read(out, 8) == 4 && out[1] == -3);
  EXPECT_EQ(a.Read(out, 2), 2);
  cls_SimpleArrayPrim<int> b(cls_Uid(), a);
  EXPECT_NE(b.GetUid(), a.GetUid());
  EXPECT_EQ(b.Data()[3], -1);
  EXPECT_EQ(cls_SimpleArrayPrim<float>(-2).Size(), 0);
  {
    vnktest::CaptureCerr cap;  // the block operations need a store
    a.AppendBlock(data, 2);
    a.ReadBlock(0, 2, out);
    EXPECT_EQ(cap.Text(),
              "cls_SimpleArrayPrim::AppendBlock: Collection must be associated with a database for this method.\n"
              "cls_SimpleArrayPrim::ReadBlock: Collection must be associated with a database for this method.\n");
    EXPECT_TRUE(out[0] == 0 && a.Size() == 4);
  }

  cls_MemStore store;
  vnktest::Store(store, a);
  cls_ReadVisitor root(store.MakeReadMemento());
  cls_Uid got;
  cls_SimpleArrayPrim<int> c(cls_ReadVisitor(root, Obj()), &got);
  EXPECT_EQ(got, id);
  EXPECT_TRUE(c.Size() == 4 && c.Data()[0] == 4);
  // Read from a store, it can append to and read from the stored list.
  const int more[2] = {7, 8};
  c.AppendBlock(more, 2);
  EXPECT_EQ(c.Size(), 6);
  int tail[3];
  c.ReadBlock(4, 3, tail);
  EXPECT_TRUE(tail[0] == 7 && tail[2] == 0);  // and beyond the stored elements
  EXPECT_EQ(store.Root().FieldAt(0).Value().Object()->FieldAt(0).Collection()->Count(), 6);
}

}  // namespace
