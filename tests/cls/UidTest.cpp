// Object identities, their history rings and the storage type IDs.
#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

#include "cls/cls_Uid.h"

namespace {

struct Noted : cls_HistoryEntry {
  static int s_Live;
  Noted() { ++s_Live; }
  ~Noted() override { --s_Live; }
};
int Noted::s_Live = 0;

TEST(Uid, CopiesShareAndAssignmentReleasesFirst) {
  cls_Uid a;
  EXPECT_EQ(a.UseCount(), 1u);
  cls_Uid b(a);
  EXPECT_EQ(a, b);
  EXPECT_EQ(a.UseCount(), 2u);
  cls_Uid c;
  EXPECT_NE(a, c);
  cls_UidCatalogEntry* old = c.Entry();
  c = a;  // c's own entry goes back to the catalog
  EXPECT_EQ(a.UseCount(), 3u);
  EXPECT_EQ(old->m_Count, 0u);
  c = c;
  EXPECT_EQ(a.UseCount(), 3u);
  b.NewUid();
  EXPECT_NE(a, b);
  EXPECT_EQ(a.UseCount(), 2u);
  EXPECT_EQ(b.UseCount(), 1u);
  cls_Uid shared(a.Entry());
  EXPECT_EQ(a.UseCount(), 3u);
}

TEST(Uid, EmptyUidsNeedNoEntry) {
  cls_Uid e(nullptr);
  EXPECT_TRUE(e.IsEmpty());
  EXPECT_EQ(e.UseCount(), 0u);
  cls_Uid f(e);
  EXPECT_EQ(e, f);
  e.AddHistory(new Noted);  // nothing to hang it on: destroyed at once
  EXPECT_EQ(Noted::s_Live, 0);
  e.NewUid();
  EXPECT_FALSE(e.IsEmpty());
}

TEST(Uid, HistoryDiesWithTheLastHandle) {
  Noted::s_Live = 0;
  {
    cls_Uid a;
    a.AddHistory(new Noted);
    a.AddHistory(new Noted);
    a.AddHistory(new Noted);
    cls_HistoryEntry* h = a.History();
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(h->Next()->Next()->Next(), h);  // a ring of three
    cls_Uid b(a);
    a.NewUid();
    EXPECT_EQ(Noted::s_Live, 3);  // b still holds the object
  }
  EXPECT_EQ(Noted::s_Live, 0);
}

TEST(Uid, CatalogGrowsByBlocksAndReusesEntries) {
  std::vector<cls_Uid> held;
  held.emplace_back();  // the catalog exists from here on
  int free0 = cls_Uid::CatalogFreeEntries();
  int blocks0 = cls_Uid::CatalogBlocks();
  for (int i = 0; i < free0; ++i) held.emplace_back();
  EXPECT_EQ(cls_Uid::CatalogFreeEntries(), 0);
  EXPECT_EQ(cls_Uid::CatalogBlocks(), blocks0);
  held.emplace_back();  // one more than there was room for
  EXPECT_EQ(cls_Uid::CatalogBlocks(), blocks0 + 1);
  EXPECT_EQ(cls_Uid::CatalogFreeEntries(), cls_Uid::BlockEntries - 1);
  cls_UidCatalogEntry* last = held.back().Entry();
  held.pop_back();
  cls_Uid again;
  EXPECT_EQ(again.Entry(), last);  // the entry just returned is taken first
  held.clear();
  EXPECT_EQ(cls_Uid::CatalogFreeEntries(), cls_Uid::BlockEntries * (blocks0 + 1) - 1);
}

TEST(HistoryEntry, RingOperations) {
  Noted a, b, c;
  EXPECT_EQ(a.Next(), &a);
  a.Link(&b);  // a ring of two: each is the other's next and previous
  EXPECT_EQ(a.Next(), &b);
  EXPECT_EQ(a.Previous(), &b);
  EXPECT_EQ(b.Next(), &a);
  EXPECT_EQ(b.Previous(), &a);
  c.Link(&b);  // moves b out of a's ring
  EXPECT_EQ(a.Next(), &a);
  EXPECT_EQ(c.Next(), &b);
  EXPECT_EQ(b.Next(), &c);
  a.Link(&a);
  EXPECT_EQ(a.Next(), &a);
  b.UnLink();
  EXPECT_EQ(c.Next(), &c);
  EXPECT_EQ(b.Previous(), &b);
}

TEST(StorageTypeId, CountsUpFromOne) {
  // In a fresh process (the child runs only this test) the first ID is 1.
  EXPECT_EXIT(std::exit(cls_StorageTypeId::AllocateId()), ::testing::ExitedWithCode(1), "");
  int a = cls_StorageTypeId::AllocateId();
  EXPECT_EQ(cls_StorageTypeId::AllocateId(), a + 1);
}

}  // namespace
