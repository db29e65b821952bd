// A persistent three-dimensional coordinate and a container of them.
//
// uti_Coord3D is a plain value (three floats) that can also be written as an
// object of its own; it carries no identity of its own. uti_CoordCont3D holds
// a list of coordinates with an identity, and is stored as its count
// ("numCoord") and a float array of x, y, z triples ("tempCoord", a
// cls_SimpleArrayPrim<float> object: a list of floats under "data",
// collection type 53). A container is usually shared through cow_COW<uti_CoordCont3D>; its
// registered destructor function releases such a handle.
//
// Both classes are registered by uti_initialize: uti_Coord3D with mask 6,
// uti_CoordCont3D with mask 7 (version 203, no persistent base).
#pragma once

#include "VNKUTI_BasicExport.h"
#include "cls/cls_ClassMetadata.h"
#include "cls/cls_Uid.h"
#include "cow/cow_COW.h"
#include "cow/cow_List.h"
#include "mem/mem_AllocationOperators.h"

class cls_WriteVisitor;
class cls_ReadVisitor;
class cls_ClassRegistrar;

class VNKUTI_BASIC_API uti_Coord3D : public mem_AllocationOperators {
 public:
  static constexpr unsigned int ClassTypeId = 0x2001C;
  static unsigned int TypeId() { return ClassTypeId; }

  uti_Coord3D() = default;
  uti_Coord3D(float x, float y, float z) : m_X(x), m_Y(y), m_Z(z) {}
  // Reads "x", "y", "z"; absent ones are 0.
  explicit uti_Coord3D(const cls_ReadVisitor& v);

  void DBWrite(const cls_WriteVisitor& v) const;
  static void InitializeMetadata(cls_ClassRegistrar& r);
  static void* Construct(cls_ReadVisitor& v);
  // Deletes an object made by Construct.
  static void Destroy(void* object);

  float X() const { return m_X; }
  float Y() const { return m_Y; }
  float Z() const { return m_Z; }
  bool operator==(const uti_Coord3D& o) const { return m_X == o.m_X && m_Y == o.m_Y && m_Z == o.m_Z; }
  bool operator!=(const uti_Coord3D& o) const { return !(*this == o); }

 private:
  float m_X = 0;
  float m_Y = 0;
  float m_Z = 0;
};

extern template class VNKUTI_BASIC_API cow_ListBlock<uti_Coord3D>;
extern template class VNKUTI_BASIC_API cow_List<uti_Coord3D>;
extern template class VNKUTI_BASIC_API cow_ListIter<uti_Coord3D>;
extern template VNKUTI_BASIC_API int cow_List<uti_Coord3D>::FindMember<uti_Coord3D>(const uti_Coord3D&) const;
extern template VNKUTI_BASIC_API bool cow_List<uti_Coord3D>::IsEqual<uti_Coord3D>(const cow_List<uti_Coord3D>&) const;

class VNKUTI_BASIC_API uti_CoordCont3D : public mem_AllocationOperators {
 public:
  static constexpr unsigned int ClassTypeId = 0x2001D;
  static unsigned int TypeId() { return ClassTypeId; }
  virtual unsigned int DynTypeId() const { return ClassTypeId; }

  // ----- constructors ---------------------------------------------------
  uti_CoordCont3D() = default;
  explicit uti_CoordCont3D(const cow_List<uti_Coord3D>& coords) : m_Coords(coords) {}
  // Reads the identity, "numCoord" and the "tempCoord" array. A short or
  // missing array gives fewer coordinates, never more than the array holds.
  explicit uti_CoordCont3D(const cls_ReadVisitor& v);
  uti_CoordCont3D(const uti_CoordCont3D&) = default;  // shares the identity
  uti_CoordCont3D& operator=(const uti_CoordCont3D&) = default;
  virtual ~uti_CoordCont3D();

  // ----- persistence ----------------------------------------------------
  virtual void DBWrite(const cls_WriteVisitor& v) const;
  static void InitializeMetadata(cls_ClassRegistrar& r);
  static void* Construct(cls_ReadVisitor& v);
  // Deletes an object made by Construct.
  static void Destroy(void* object);
  // Releases the representation held by a cow_COW<uti_CoordCont3D> passed
  // in its untyped form.
  static void DeleteRep(cls_IntCOW* rep);

  // ----- accessors and mutators -----------------------------------------
  int Count() const { return m_Coords.Count(); }
  const uti_Coord3D& Get(int i) const { return m_Coords.ConstGet(i); }  // aborts out of range
  const cow_List<uti_Coord3D>& Coords() const { return m_Coords; }
  void Append(const uti_Coord3D& c) { m_Coords.Append(c); }
  const cls_Uid& GetUid() const { return m_Uid; }

 private:
  cow_List<uti_Coord3D> m_Coords;
  cls_Uid m_Uid;
};

extern template class VNKUTI_BASIC_API cow_CountedHld<uti_CoordCont3D>;
extern template class VNKUTI_BASIC_API cow_COW<uti_CoordCont3D, cow_Direct<uti_CoordCont3D>>;
