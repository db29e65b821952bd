// Exchange types: round trips with the collection type and class ID of their
// stored forms; lists and primitive arrays read each other; maps.
#include <gtest/gtest.h>

#include "cls/cls_ArrayPrim.h"
#include "cls/cls_UidMap.h"
#include "cls/cls_xpTypes.h"
#include "cls_array/ArrayTestUtil.h"

namespace {

using vnktest::Obj;
using vnktest::ReadBack;
using vnktest::Store;

template <class X, class T>
void CheckList(std::initializer_list<T> items, unsigned expectedType) {
  cow_List<T> l;
  for (const T& x : items) l.Append(x);
  const X x(l);
  cls_MemStore store;
  const cls_MemObject& node = Store(store, x);
  EXPECT_EQ(node.ClassID(), 0x230001u);
  EXPECT_EQ(static_cast<unsigned>(node.CheckedType()), expectedType);
  const X back = ReadBack<X>(store);
  EXPECT_TRUE(back.Value().IsEqual(l));
  EXPECT_TRUE(node.Uid() == x.GetUid() && back.GetUid() == x.GetUid());
}

TEST(ExchangeTypes, ListsRoundTripWithTheirCollectionTypes) {
  CheckList<cls_xp1DArrayInt, int>({1, -2, 3}, 54);
  CheckList<cls_xp1DArrayListInt, int>({}, 54);
  CheckList<cls_xp1DArrayListUint, unsigned>({4000000000u, 0u}, 57);
  CheckList<cls_xp1DArrayListFloat, float>({0.5f, -1.25f}, 53);
  CheckList<cls_xp1DArrayListDouble, double>({1e300, -0.0}, 52);
  CheckList<cls_xp1DArrayListString, cow_String>({cow_String("a"), cow_String("")}, 55);
  CheckList<cls_xpListDouble, double>({2.5}, 52);
  CheckList<cls_xpListBool, bool>({true, false, true}, 51);
  EXPECT_EQ(cls_xp1DArrayListFloatFromCow(cow_List<float>()).Value().Count(), 0);
}

TEST(ExchangeTypes, TwoDimensionalArraysKeepShapeAndRowMajorOrder) {
  cow_2DArray<float> a(2, 3);
  for (int r = 0; r < 2; ++r)
    for (int c = 0; c < 3; ++c) a.Set(r, c, static_cast<float>(10 * r + c));
  const cls_xp2DArrayFloat x = cls_xp2DArrayFloatFromCow(a);
  cls_MemStore store;
  const cls_MemObject& node = Store(store, x);
  EXPECT_EQ(node.CheckedType(), 83);
  const cls_MemCollection* data = node.FindField("data")->Collection();
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(data->Count(), 6);
  const cls_xp2DArrayFloat back = ReadBack<cls_xp2DArrayFloat>(store);
  EXPECT_TRUE(back.Value() == a && back.Value().ConstGet(1, 0) == 10.0f);

  EXPECT_EQ(Store(store, cls_xp2DArrayInt(cow_2DArray<int>(0, 4))).CheckedType(), 84);
  EXPECT_EQ(ReadBack<cls_xp2DArrayInt>(store).Value().Columns(), 4);
  EXPECT_EQ(Store(store, cls_xp2DArrayDouble(cow_2DArray<double>(1, 1, 2.0))).CheckedType(), 82);
}

TEST(ExchangeTypes, ListsAndPrimitiveArraysReadEachOther) {
  cow_List<float> l;
  for (int i = 0; i < 3000; ++i) l.Append(static_cast<float>(i));
  cls_MemStore store;
  Store(store, cls_xp1DArrayListFloat(l));
  {
    cls_ArrayPrim<float> a = ReadBack<cls_ArrayPrim<float>>(store);
    EXPECT_TRUE(a.Size() == 3000 && a.ConstGet(2999) == 2999.0f);
  }
  cls_ArrayPrim<float> b;
  for (int i = 0; i < 5; ++i) b.Append(i * 2.0f);
  Store(store, b);
  const cls_xp1DArrayListFloat x = ReadBack<cls_xp1DArrayListFloat>(store);
  ASSERT_EQ(x.Value().Count(), 5);
  EXPECT_TRUE(x.Value().ConstGet(4) == 8.0f && x.GetUid() == b.GetUid());
}

TEST(ExchangeTypes, MapsAndTheBtree) {
  cow_Btree<cow_String, unsigned int> t;
  t.Insert("b", 2);
  t.Insert("a", 1);
  cls_MemStore store;
  const cls_MemObject& node = Store(store, cls_xpBtreeString2UintFromCow(t));
  EXPECT_TRUE(node.ClassID() == 0x230002u && node.CheckedType() == 66);
  EXPECT_TRUE(ReadBack<cls_xpBtreeString2Uint>(store).Value() == t);

  cow_Map<int, cow_String> m;
  m.Insert(-5, "minus");
  m.Insert(7, "seven");
  EXPECT_EQ(Store(store, cls_xpMapInt2StringFromCow(m)).CheckedType(), 105);
  const cls_xpMapInt2String im = ReadBack<cls_xpMapInt2String>(store);
  EXPECT_TRUE(im.Value().Count() == 2 && im.Value().ConstGet(-5) == "minus");

  cow_Map<cow_String, double> d;
  d.Insert("pi", 3.25);
  EXPECT_EQ(Store(store, cls_xpMapString2Double(d)).CheckedType(), 92);
  // Rebuilt by class ID: the stored collection type picks the map type.
  const cls_ClassRegistrar& r = vnktest::Registrar2();
  cls_ReadVisitor root(store.MakeReadMemento());
  auto* o = static_cast<cls_xpObject*>(cls_ReadObject(root, Obj(), r));
  ASSERT_NE(o, nullptr);
  EXPECT_EQ(static_cast<cls_xpMapString2Double*>(o)->Value().ConstGet("pi"), 3.25);
  r.ConstGet(0x230008)->Delete(o);
}

TEST(ExchangeTypes, MapOfExchangeObjectsAndMapOfIdentities) {
  cow_Map<cow_String, cls_xp1DArrayListFloat> m;
  cow_List<float> one, two;
  one.Append(1.0f);
  for (float f : {2.0f, 3.0f}) two.Append(f);
  m.Insert("one", cls_xp1DArrayListFloat(one));
  m.Insert("two", cls_xp1DArrayListFloat(two));
  const cls_xoMap<cow_String, cls_xp1DArrayListFloat> x(m);
  cls_MemStore store;
  const cls_MemObject& node = Store(store, x);
  EXPECT_TRUE(node.ClassID() == 0x23000Au && node.CheckedType() == cls_CollMapString2Obj);
  const auto back = ReadBack<cls_xoMap<cow_String, cls_xp1DArrayListFloat>>(store);
  ASSERT_EQ(back.Value().Count(), 2);
  EXPECT_TRUE(back.Value().ConstGet("two").Value().IsEqual(two));
  EXPECT_EQ(back.Value().ConstGet("two").GetUid(), m.ConstGet("two").GetUid());
  // A missing key answers an empty list with the empty identity.
  EXPECT_TRUE(back.Value().ConstGet("three").GetUid().IsEmpty());

  cow_Map<cow_String, cls_Uid> ids;
  cls_Uid u;
  ids.Insert("u", u);
  EXPECT_EQ(ids.ConstGet("u"), u);
  EXPECT_TRUE(ids.ConstGet("none").IsEmpty());  // costs no catalog entry
}

}  // namespace
