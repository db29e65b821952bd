#include "uti/uti_Coord3D.h"

#include "cls/cls_ArrayPrim.h"
#include "cls/cls_ClassRegistrar.h"
#include "cls/cls_ThreadObjects.h"
#include "cls/cls_Visitor.h"

template class cow_ListBlock<uti_Coord3D>;
template class cow_List<uti_Coord3D>;
template class cow_ListIter<uti_Coord3D>;
template int cow_List<uti_Coord3D>::FindMember<uti_Coord3D>(const uti_Coord3D&) const;
template bool cow_List<uti_Coord3D>::IsEqual<uti_Coord3D>(const cow_List<uti_Coord3D>&) const;
template class cow_CountedHld<uti_CoordCont3D>;
template class cow_COW<uti_CoordCont3D, cow_Direct<uti_CoordCont3D>>;

namespace {

constexpr int kCoordContVersion = 203;

constexpr cls_FieldName kX{"x", 0};
constexpr cls_FieldName kY{"y", 1};
constexpr cls_FieldName kZ{"z", 2};
constexpr cls_FieldName kNumCoord{"numCoord", 0};
constexpr cls_FieldName kTempCoord{"tempCoord", 1};

}  // namespace

// ============================================================ coordinate

uti_Coord3D::uti_Coord3D(const cls_ReadVisitor& v)
    : m_X(v.Read(kX, 0.0f)),
      m_Y(v.Read(kY, 0.0f)),
      m_Z(v.Read(kZ, 0.0f)) {}

void uti_Coord3D::DBWrite(const cls_WriteVisitor& v) const {
  // A value has no identity of its own: the thread's empty uid stands in.
  if (!v.StartWrite(TypeId(), cls_Static::Instance().ConstUid())) return;
  v.Write(kX, m_X);
  v.Write(kY, m_Y);
  v.Write(kZ, m_Z);
}

void* uti_Coord3D::Construct(cls_ReadVisitor& v) { return new uti_Coord3D(v); }

void uti_Coord3D::Destroy(void* object) { delete static_cast<uti_Coord3D*>(object); }

void uti_Coord3D::InitializeMetadata(cls_ClassRegistrar& r) {
  r.CreateClassMD("uti_Coord3D", TypeId(), 1, &Construct, 1)
      .AddObjectDelete(&Destroy)
      .AddAttribute(kX, cls_AttrFloat, 1, cls_CollNone)
      .AddAttribute(kY, cls_AttrFloat, 1, cls_CollNone)
      .AddAttribute(kZ, cls_AttrFloat, 1, cls_CollNone);
}

// ============================================================= container

uti_CoordCont3D::uti_CoordCont3D(const cls_ReadVisitor& v) : m_Uid(v.GetUid()) {
  int n = v.Read(kNumCoord, 0);
  cls_ReadVisitor array(v, kTempCoord);
  const cls_SimpleArrayPrim<float> data(array, nullptr);
  const int available = data.Size() / 3;
  if (n > available) n = available;
  const float* xyz = data.Data();
  for (int i = 0; i < n; ++i, xyz += 3) m_Coords.Append(uti_Coord3D(xyz[0], xyz[1], xyz[2]));
}

uti_CoordCont3D::~uti_CoordCont3D() = default;

void uti_CoordCont3D::DBWrite(const cls_WriteVisitor& v) const {
  if (!v.StartWrite(TypeId(), m_Uid)) return;
  v.Write(kNumCoord, m_Coords.Count());
  // The coordinates as x, y, z triples in an array object of its own, with
  // the container's identity.
  cls_SimpleArrayPrim<float> array(m_Uid, 3 * m_Coords.Count());
  float* xyz = array.Data();
  for (cow_ListIter<uti_Coord3D> it(m_Coords); it.More(); it.Next(), xyz += 3) {
    xyz[0] = it.Current().X();
    xyz[1] = it.Current().Y();
    xyz[2] = it.Current().Z();
  }
  cls_WriteObject(v, kTempCoord, array);
}

void* uti_CoordCont3D::Construct(cls_ReadVisitor& v) { return new uti_CoordCont3D(v); }

void uti_CoordCont3D::Destroy(void* object) { delete static_cast<uti_CoordCont3D*>(object); }

void uti_CoordCont3D::DeleteRep(cls_IntCOW* rep) {
  // Every cow_COW has the same two-pointer layout; the registrar hands the
  // handle over untyped.
  auto* h = reinterpret_cast<cow_COW<uti_CoordCont3D, cow_Direct<uti_CoordCont3D>>*>(rep);
  *h = static_cast<uti_CoordCont3D*>(nullptr);
}

void uti_CoordCont3D::InitializeMetadata(cls_ClassRegistrar& r) {
  r.CreateClassMD("uti_CoordCont3D", TypeId(), kCoordContVersion, &Construct, 1)
      .AddDtor(&DeleteRep)
      .AddObjectDelete(&Destroy)
      .AddAttribute(kNumCoord, cls_AttributeType(5), 1, cls_CollNone)
      .AddAttribute(kTempCoord, cls_AttributeType(15), cls_SimpleArrayPrim<float>::TypeId(), cls_CollectionType(53));
}
