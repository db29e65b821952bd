// The counted holders and copy-before-write handles, with an element that
// counts its live instances so that a leak or a double delete shows.
#include <gtest/gtest.h>

#include "cow/cow_COW.h"
#include "cow/cow_IntrusiveCountedBase.h"
#include "mem/mem_AllocationOperators.h"
#include "support/TestSupport.h"

namespace {

struct Counted : mem_AllocationOperators {
  static int s_Live;
  static int s_CopiesUntilThrow;  // a copy throws when this reaches 0; negative: never

  explicit Counted(int v) : m_Value(v) { ++s_Live; }
  Counted(const Counted& o) : m_Value(o.m_Value) {
    if (s_CopiesUntilThrow >= 0 && s_CopiesUntilThrow-- == 0) throw 42;
    ++s_Live;
  }
  ~Counted() { --s_Live; }
  int m_Value;
};
int Counted::s_Live = 0;
int Counted::s_CopiesUntilThrow = -1;

typedef cow_COW<Counted> Handle;

class Handles : public ::testing::Test {
 protected:
  void SetUp() override {
    Counted::s_Live = 0;
    Counted::s_CopiesUntilThrow = -1;
  }
  void TearDown() override { EXPECT_EQ(Counted::s_Live, 0) << "leaked or deleted twice"; }
};

TEST_F(Handles, GetCopiesOnlyWhenShared) {
  Handle a(new Counted(1));
  Counted* p = a.GetPtr();
  EXPECT_TRUE(a.Exclusive());
  EXPECT_EQ(&a.Get(), p);  // exclusive: no copy
  EXPECT_EQ(Counted::s_Live, 1);
  Handle b(new Counted(9));
  b = a;
  EXPECT_EQ(Counted::s_Live, 1);  // b's old object went with its last holder
  EXPECT_EQ(a.UseCount(), 2u);
  EXPECT_EQ(&a.ConstGet(), &b.ConstGet());  // reading never copies
  b.Get().m_Value = 2;
  EXPECT_NE(a.GetPtr(), b.GetPtr());
  EXPECT_EQ(a.ConstGet().m_Value, 1);
  EXPECT_EQ(b.ConstGet().m_Value, 2);
  EXPECT_EQ(a.UseCount() + b.UseCount(), 2u);
  EXPECT_EQ(Counted::s_Live, 2);
}

TEST_F(Handles, SelfAssignmentKeepsTheCount) {
  Handle a(new Counted(1));
  Handle& alias = a;
  a = alias;
  EXPECT_EQ(a.UseCount(), 1u);
  EXPECT_EQ(a.ConstGet().m_Value, 1);
  Handle b(a);
  b = alias;  // already sharing
  EXPECT_EQ(a.UseCount(), 2u);
  cow_CountedHld<Counted>& base = a;
  base = static_cast<cow_CountedHld<Counted>&>(a);
  EXPECT_EQ(a.UseCount(), 2u);
}

TEST_F(Handles, AdoptingReleasesTheOldObjectWithItsLastHolder) {
  Handle a(new Counted(1));
  Handle b(a);
  Handle c(a);
  b = new Counted(5);  // shared: the others keep the old object
  EXPECT_EQ(b.UseCount(), 1u);
  EXPECT_EQ(a.UseCount(), 2u);
  EXPECT_EQ(a.ConstGet().m_Value + b.ConstGet().m_Value, 6);
  EXPECT_EQ(Counted::s_Live, 2);
  c = a = Handle(nullptr);
  EXPECT_EQ(Counted::s_Live, 1);
  a = new Counted(3);
  a = new Counted(2);  // the only holder: the old object goes
  EXPECT_EQ(Counted::s_Live, 2);
  EXPECT_EQ(a.UseCount(), 1u);
  a = a.GetPtr();  // the same object again: kept, not deleted
  EXPECT_EQ(a.ConstGet().m_Value, 2);
  a = static_cast<Counted*>(nullptr);
  b = a;
  EXPECT_EQ(Counted::s_Live, 0);
  EXPECT_FALSE(a.HasValue());
}

TEST_F(Handles, FailedCopyLeavesTheHandlesSharing) {
  Handle a(new Counted(1));
  Handle b(a);
  Counted::s_CopiesUntilThrow = 0;
  EXPECT_THROW(b.Get(), int);
  EXPECT_EQ(a.GetPtr(), b.GetPtr());
  EXPECT_EQ(a.UseCount(), 2u);
  EXPECT_EQ(Counted::s_Live, 1);
  Counted::s_CopiesUntilThrow = 0;
  EXPECT_THROW(Handle{a.ConstGet()}, int);  // the new counter is released too (ASan)
  Handle fromValue(a.ConstGet());           // and without the fault: a copy of its own
  EXPECT_NE(fromValue.GetPtr(), a.GetPtr());
  EXPECT_EQ(Counted::s_Live, 2);
}

TEST(IntrusiveCounter, ReplacingADifferentCounterWarnsOnce) {
  cow_Counter first, second;
  cow_IntrusiveCountedBase obj;
  vnktest::CaptureCerr cap;
  obj.SetCounter(&first);
  obj.SetCounter(&first);
  EXPECT_EQ(cap.Text(), "");
  EXPECT_EQ(obj.GetCounter(), &first);
  obj.SetCounter(&second);
  EXPECT_EQ(cap.Text(), "ERROR: Resetting counter on cow_IntrusiveCountedBase\n");
  EXPECT_EQ(obj.GetCounter(), &second);  // the warning does not stop the change
  obj.SetCounter(&second);
  EXPECT_EQ(cap.Text(), "ERROR: Resetting counter on cow_IntrusiveCountedBase\n");
}

}  // namespace
