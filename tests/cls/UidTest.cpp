// Object identities, their history rings, the rings of persistent
// containers and the storage type IDs.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "cls/cls_PC.h"
#include "cls/cls_Uid.h"

namespace {

// The ring from start on, one letter per member of all[] ("a" is all[0]);
// "!" after a member whose next does not have it as its previous.
template <class T>
std::string Ring(T* all, T* start) {
  std::string s;
  T* p = start;
  do {
    s += static_cast<char>('a' + (p - all));
    if (p->Next()->Previous() != p) s += '!';
    p = static_cast<T*>(p->Next());
  } while (p != start && s.size() < 12);
  return s;
}

struct Noted : cls_HistoryEntry {
  static int s_Live;
  Noted() { ++s_Live; }
  ~Noted() override { --s_Live; }
};
int Noted::s_Live = 0;

TEST(Uid, CopiesShareAssignmentReleasesFirstAndEmptyUidsNeedNoEntry) {
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
  EXPECT_TRUE(a.UseCount() == 2u && b.UseCount() == 1u);
  cls_Uid shared(a.Entry());
  EXPECT_EQ(a.UseCount(), 3u);
  // Empty identities need no entry.
  cls_Uid e(nullptr);
  EXPECT_TRUE(e.IsEmpty() && e.UseCount() == 0u);
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
  EXPECT_TRUE(cls_Uid::CatalogFreeEntries() == 0 && cls_Uid::CatalogBlocks() == blocks0);
  held.emplace_back();  // one more than there was room for
  EXPECT_TRUE(cls_Uid::CatalogBlocks() == blocks0 + 1 && cls_Uid::CatalogFreeEntries() == cls_Uid::BlockEntries - 1);
  cls_UidCatalogEntry* last = held.back().Entry();
  held.pop_back();
  cls_Uid again;
  EXPECT_EQ(again.Entry(), last);  // the entry just returned is taken first
  held.clear();
  EXPECT_EQ(cls_Uid::CatalogFreeEntries(), cls_Uid::BlockEntries * (blocks0 + 1) - 1);
}

TEST(HistoryEntry, RingOperations) {
  Noted n[3];
  Noted &a = n[0], &b = n[1], &c = n[2];
  EXPECT_EQ(Ring(n, &a), "a");
  a.Link(&b);
  EXPECT_EQ(Ring(n, &a), "ab");
  c.Link(&b);  // moves b out of a's ring
  EXPECT_EQ(Ring(n, &a) + " " + Ring(n, &c), "a cb");
  a.Link(&a);
  EXPECT_EQ(Ring(n, &a), "a");
  b.UnLink();
  EXPECT_EQ(Ring(n, &c) + " " + Ring(n, &b), "c b");
}

class Container : public cls_PC {
 public:
  void Flush() const override {}
  void Detach() override {}
};

TEST(PersistentContainer, RingOperations) {
  Container pc[4];
  Container &a = pc[0], &b = pc[1], &c = pc[2], &d = pc[3];
  EXPECT_EQ(Ring(pc, &a), "a");
  a.Link(&b);
  EXPECT_EQ(Ring(pc, &a), "ab");
  a.Link(&c);  // at the end
  EXPECT_EQ(Ring(pc, &a), "abc");
  d.Link(&b);  // moves b
  EXPECT_EQ(Ring(pc, &a) + " " + Ring(pc, &d), "ac db");
  b.Unlink();
  EXPECT_EQ(Ring(pc, &d) + " " + Ring(pc, &b), "d b");
  c.Reset();  // neighbours untouched: a still points at c
  EXPECT_TRUE(c.Next() == &c && a.Next() == &c);
  a.Reset();
  {
    Container e;
    a.Link(&e);
  }  // e leaves the ring when destroyed
  EXPECT_EQ(Ring(pc, &a), "a");
}

TEST(PersistentContainerDeathTest, BaseOperationsAbort) {
  cls_PC pc;
  EXPECT_DEATH(pc.Flush(), "Can't flush non-specialized cls_PC object\\.\n");
  EXPECT_DEATH(pc.Detach(), "Can't detach non-specialized cls_PC object\\.\n");
}

TEST(StorageTypeId, CountsUpFromOne) {
  // In a fresh process (the child runs only this test) the first ID is 1.
  EXPECT_EXIT(std::exit(cls_StorageTypeId::AllocateId()), ::testing::ExitedWithCode(1), "");
  int a = cls_StorageTypeId::AllocateId();
  EXPECT_EQ(cls_StorageTypeId::AllocateId(), a + 1);
}

}  // namespace
