// The coordinate classes: registration by uti_initialize, stored layout and
// round trips.
#include <gtest/gtest.h>

#include <memory>

#include "cls/cls_ClassRegistrar.h"
#include "cls/cls_MemoryStore.h"
#include "cls/cls_Visitor.h"
#include "uti/uti_Coord3D.h"

namespace {

cls_MetadataRegistrar& Registrars() { return omi_Singleton<cls_MetadataRegistrar>::Instance(); }

uti_CoordCont3D ThreePoints() {
  uti_CoordCont3D c;
  c.Append(uti_Coord3D(1, 2, 3));
  c.Append(uti_Coord3D(-1.5f, 0, 1e30f));
  c.Append(uti_Coord3D(0, 0, -0.25f));
  return c;
}

TEST(Coordinates, ContainerRegistrationFollowsTheModel) {
  for (unsigned bit : {1u, 2u, 4u}) {
    const cls_ClassMetadataHld& md = Registrars().GetRegistrar(bit).ConstGet(uti_CoordCont3D::TypeId());
    ASSERT_FALSE(md.IsEmpty()) << bit;
    EXPECT_EQ(md->ClassName(), "uti_CoordCont3D");
    EXPECT_EQ(md->Version(), 203);
    EXPECT_EQ(md->BaseClassID(), 1u);
    EXPECT_NE(md->GetDtorFunction(), nullptr);
    const cls_AttributeMetadata &n = md->GetAttribute("numCoord"), &t = md->GetAttribute("tempCoord");
    EXPECT_TRUE(n.m_AttributeType == 5 && n.m_ClassID == 1u && n.m_CollectionType == 0) << bit;
    EXPECT_TRUE(t.m_AttributeType == 15 && t.m_ClassID == 0x230003u && t.m_CollectionType == 53) << bit;
  }
  // Mask 6: the third and second registrars, remembered for bit 4 only.
  EXPECT_FALSE(Registrars().GetRegistrar(1).ClassIsPresent(uti_Coord3D::TypeId()));
  EXPECT_TRUE(Registrars().GetRegistrar(2).ClassIsPresent(uti_Coord3D::TypeId()) &&
              Registrars().GetRegistrar(4).ClassIsPresent(uti_Coord3D::TypeId()));
  cls_ClassRegistrar mine;
  Registrars().initMetadata(&mine, 1);
  EXPECT_TRUE(mine.ClassIsPresent(uti_CoordCont3D::TypeId()));
  EXPECT_FALSE(mine.ClassIsPresent(uti_Coord3D::TypeId()));
  Registrars().initMetadata(&mine, 4);
  EXPECT_TRUE(mine.ClassIsPresent(uti_Coord3D::TypeId()));
}

TEST(Coordinates, ContainerRoundTripsThroughTheStore) {
  cls_MemStore store;
  uti_CoordCont3D c = ThreePoints();
  {
    cls_WriteVisitor root(store.MakeWriteMemento());
    cls_WriteObject(root, cls_FieldHandle("coords", 0), c);
    cls_WriteObject(root, cls_FieldHandle("one", 1), uti_Coord3D(7, 8, 9));
  }
  // Layout: the count, and the array as an object of its own.
  const cls_MemObject* o = store.Root().FieldAt(0).Value().Object();
  ASSERT_NE(o, nullptr);
  EXPECT_EQ(o->FindField("numCoord")->Value().Integer(), 3);
  const cls_MemObject* array = o->FindField("tempCoord")->Value().Object();
  ASSERT_NE(array, nullptr);
  EXPECT_TRUE(array->ClassID() == 0x230003u && array->CheckedType() == 53);
  EXPECT_EQ(array->Uid(), c.GetUid());  // the array shares the container's identity
  EXPECT_TRUE(array->FieldAt(0).Name() == "data" && array->FieldAt(0).Collection()->Count() == 9);

  cls_ReadVisitor root(store.MakeReadMemento());
  const cls_ClassRegistrar& r = Registrars().GetRegistrar(1);
  std::unique_ptr<uti_CoordCont3D> back(
      static_cast<uti_CoordCont3D*>(cls_ReadObject(root, cls_FieldHandle("coords", 0), r)));
  ASSERT_NE(back, nullptr);
  EXPECT_TRUE(back->Coords() == c.Coords());
  EXPECT_EQ(back->GetUid(), c.GetUid());
  std::unique_ptr<uti_Coord3D> one(
      static_cast<uti_Coord3D*>(cls_ReadObject(root, cls_FieldHandle("one", 1), Registrars().GetRegistrar(2))));
  EXPECT_TRUE(*one == uti_Coord3D(7, 8, 9));
}

TEST(Coordinates, ShortOrMissingArrayGivesFewerCoordinates) {
  cls_MemStore store;
  {
    cls_WriteVisitor root(store.MakeWriteMemento());
    cls_WriteVisitor c(root, cls_FieldHandle("short", 0), nullptr, nullptr);
    c.StartWrite(uti_CoordCont3D::TypeId(), cls_Uid(nullptr));
    c.Write(cls_FieldHandle("numCoord", 0), 5);  // claims five, stores one and a half
    cls_WriteVisitor a(c, cls_FieldHandle("tempCoord", 1), nullptr, nullptr);
    a.StartWrite(0x230003, cls_Uid(nullptr));
    cls_WriteListPrim<float>* w = a.MakeWriteListPrim<float>(cls_FieldHandle("data", 0), 5);
    const float xyz[] = {1, 2, 3, 4, 5};
    w->AppendBlock(xyz, 5);
    cls_Release(w);
    cls_WriteVisitor d(root, cls_FieldHandle("bare", 1), nullptr, nullptr);
    d.StartWrite(uti_CoordCont3D::TypeId(), cls_Uid(nullptr));
    d.Write(cls_FieldHandle("numCoord", 0), 2);
  }
  cls_ReadVisitor root(store.MakeReadMemento());
  EXPECT_EQ(uti_CoordCont3D(cls_ReadVisitor(root, cls_FieldHandle("short", 0))).Count(), 1);
  EXPECT_EQ(uti_CoordCont3D(cls_ReadVisitor(root, cls_FieldHandle("bare", 1))).Count(), 0);
}

TEST(Coordinates, RegisteredDestructorReleasesASharedContainer) {
  cow_COW<uti_CoordCont3D> h(new uti_CoordCont3D(ThreePoints()));
  cow_COW<uti_CoordCont3D> other(h);
  const cls_ClassRegistrar& r = Registrars().GetRegistrar(1);
  EXPECT_TRUE(r.DeleteCow(uti_CoordCont3D::TypeId(), reinterpret_cast<cls_IntCOW*>(&h)));
  EXPECT_FALSE(h.HasValue());
  EXPECT_EQ(other.ConstGet().Count(), 3);  // the other holder keeps it
  EXPECT_TRUE(r.DeleteCow(uti_CoordCont3D::TypeId(), reinterpret_cast<cls_IntCOW*>(&other)));
  EXPECT_FALSE(other.HasValue());  // the last holder: destroyed (the leak checker would see it otherwise)
}

}  // namespace
