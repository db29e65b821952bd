// The visitors' protocol with their mementos, observed through a memento that
// records the slots it is called through; cls_PC rings.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cls/cls_PC.h"
#include "cls/cls_Visitor.h"

namespace {

std::vector<std::string> g_Log;

// Records every slot it is called through; children record as "child:...".
class Recorder : public cls_MementoWrite {
 public:
  explicit Recorder(std::string name, bool owned = true) : m_Name(std::move(name)), m_Owned(owned) {}
  ~Recorder() override { g_Log.push_back(m_Name + ":deleted"); }
  bool NeedsDeletion() const override { return m_Owned; }
  int FieldIsPresent(const cls_FieldHandle&) override {
    g_Log.push_back(m_Name + ":2");
    return 1;
  }
  cls_MementoWrite* MakeWriteObjWithPtr(const cls_FieldHandle& f, unsigned int id, const cls_Uid&,
                                        const void*) override {
    g_Log.push_back(m_Name + ":3:" + f.m_FieldName.c_str() + ":" + std::to_string(id));
    return new Recorder(f.m_FieldName.c_str());
  }
  cls_MementoWrite* MakeWriteObj(const cls_FieldHandle& f, unsigned int id, const cls_Uid&,
                                 const cls_IntCOW*) override {
    g_Log.push_back(m_Name + ":4:" + f.m_FieldName.c_str() + ":" + std::to_string(id));
    return new Recorder(f.m_FieldName.c_str());
  }
  cls_MementoWrite* MakeBaseWriteObj(unsigned int id, const cls_Uid&) override {
    g_Log.push_back(m_Name + ":5:" + std::to_string(id));
    return new Recorder("base");
  }
  void Write(const cls_FieldHandle& f, const cow_String& v) override {
    g_Log.push_back(m_Name + ":7:" + f.m_FieldName.c_str() + "=" + v.c_str());
  }
  void Write(const cls_FieldHandle& f, const bool& v) override {
    g_Log.push_back(m_Name + ":16:" + f.m_FieldName.c_str() + "=" + (v ? "1" : "0"));
  }
  void CheckCollectionType(cls_CollectionType t, const cow_String& name) override {
    g_Log.push_back(m_Name + ":54:" + std::to_string(t) + ":" + name.c_str());
  }
  void StartSharedPtrOutput() override { g_Log.push_back(m_Name + ":56"); }
  void EndSharedPtrOutput() override { g_Log.push_back(m_Name + ":57"); }

 private:
  std::string m_Name;
  bool m_Owned;
};

// A request that makes recorders, as an object collection writer would.
class Request : public cls_AgentRequest {
 public:
  cls_MementoWrite* MakeMemento(unsigned int id, const cls_Uid&, const void* obj) const override {
    g_Log.push_back("request:" + std::to_string(id) + (obj ? ":obj" : ":null"));
    return new Recorder("element");
  }
};

TEST(WriteVisitor, FieldVisitorMakesItsMementoOnce) {
  g_Log.clear();
  cls_Uid uid(nullptr);
  {
    cls_WriteVisitor root(new Recorder("root"));
    EXPECT_EQ(root.StartWrite(7, uid), 1);  // current from the start: no call
    int object = 0;
    cls_WriteVisitor child(root, cls_FieldHandle("f", 3), nullptr, &object);
    EXPECT_EQ(child.FieldIsPresent(cls_FieldHandle("x", 0)), 0);  // no memento yet: nothing called
    EXPECT_EQ(child.GetMemento(), nullptr);
    EXPECT_EQ(child.StartWrite(0x230005, uid), 1);
    EXPECT_EQ(child.StartWrite(0x230005, uid), 1);  // the second call makes nothing
    EXPECT_EQ(child.FieldIsPresent(cls_FieldHandle("x", 0)), 1);
    child.Write(cls_FieldHandle("s", 0), "text");  // a literal is a string, not a bool
    child.Write(cls_FieldHandle("b", 1), true);
  }
  EXPECT_EQ(g_Log, (std::vector<std::string>{"root:3:f:2293765", "f:2", "f:7:s=text", "f:16:b=1", "f:deleted",
                                              "root:deleted"}));
}

TEST(WriteVisitor, BasePartAndSharedRepresentationUseTheirSlots) {
  g_Log.clear();
  cls_Uid uid(nullptr);
  cls_IntCOW rep;
  Recorder* kept = new Recorder("root", false);
  {
    cls_WriteVisitor root(kept);  // the store keeps it
    cls_WriteVisitor child(root, cls_FieldHandle("shared", 1), &rep, nullptr);
    EXPECT_TRUE(child.WritesSharedPtr());
    child.StartWrite(9, uid);
    {
      cls_WriteVisitor base(child, 4);
      base.StartWrite(4, uid);
    }
    child.CheckCollectionType(cls_CollectionType(54));
  }
  EXPECT_EQ(g_Log, (std::vector<std::string>{"root:4:shared:9", "shared:56", "shared:5:4", "base:deleted",
                                              "shared:54:54:shared", "shared:57", "shared:deleted"}));
  delete kept;
}

TEST(WriteVisitor, EmptyFieldNameNeverChecksCollectionType) {
  g_Log.clear();
  {
    cls_WriteVisitor root(new Recorder("root"));
    root.CheckCollectionType(cls_CollectionType(54));  // the root has no field name
    cls_WriteVisitor unnamed(root, cls_FieldHandle("", 0), nullptr, nullptr);
    unnamed.StartWrite(5, cls_Uid(nullptr));
    unnamed.CheckCollectionType(cls_CollectionType(54));
    cls_WriteVisitor never(root, cls_FieldHandle("named", 1), nullptr, nullptr);
    never.CheckCollectionType(cls_CollectionType(54));  // no memento
  }
  EXPECT_EQ(g_Log, (std::vector<std::string>{"root:3::5", ":deleted", "root:deleted"}));
}

TEST(WriteVisitor, RequestMakesTheMementoWithTheObject) {
  g_Log.clear();
  Request req;
  int object = 0;
  {
    cls_WriteVisitor v(req, &object);
    v.StartWrite(11, cls_Uid(nullptr));
  }
  EXPECT_EQ(g_Log, (std::vector<std::string>{"request:11:obj", "element:deleted"}));
}

TEST(WriteVisitor, VisitorOfAnUnstartedParentWritesNothing) {
  g_Log.clear();
  {
    cls_WriteVisitor root(new Recorder("root"));
    cls_WriteVisitor field(root, cls_FieldHandle("f", 0), nullptr, nullptr);
    cls_WriteVisitor grandchild(field, cls_FieldHandle("g", 0), nullptr, nullptr);
    EXPECT_EQ(grandchild.StartWrite(3, cls_Uid(nullptr)), 0);
    grandchild.Write(cls_FieldHandle("x", 0), true);
    EXPECT_EQ(grandchild.MakeWriteListPrim<int>(cls_FieldHandle("l", 0), 3), nullptr);
  }
  EXPECT_EQ(g_Log, (std::vector<std::string>{"root:deleted"}));
}

// ------------------------------------------------------------ read visitor

class ReadRecorder : public cls_MementoRead {
 public:
  ReadRecorder(std::string name, bool owned) : m_Name(std::move(name)), m_Owned(owned) {}
  ~ReadRecorder() override { g_Log.push_back(m_Name + ":deleted"); }
  bool NeedsDeletion() const override { return m_Owned; }
  cls_MementoRead* MakeReadObj(const cls_FieldHandle& f) override {
    g_Log.push_back(m_Name + ":7:" + f.m_FieldName.c_str());
    return f.m_FieldName == "absent" ? nullptr : new ReadRecorder(f.m_FieldName.c_str(), true);
  }
  cls_MementoRead* MakeBaseReadObj() override {
    g_Log.push_back(m_Name + ":8");
    return new ReadRecorder("base", true);
  }
  int FieldIsPresent(const cls_FieldHandle&) const override { return 1; }

 private:
  std::string m_Name;
  bool m_Owned;
};

TEST(ReadVisitor, CopyConstructorMakesTheBasePart) {
  g_Log.clear();
  ReadRecorder* kept = new ReadRecorder("root", false);
  {
    cls_ReadVisitor root(kept);
    cls_ReadVisitor child(root, cls_FieldHandle("f", 0));
    cls_ReadVisitor base(child);  // not a copy
    EXPECT_NE(base.GetMemento(), child.GetMemento());
    cls_ReadVisitor none(root, cls_FieldHandle("absent", 1));
    EXPECT_EQ(none.FieldIsPresent(cls_FieldHandle("x", 0)), 0);
    EXPECT_EQ(none.DataIsPresent(cls_FieldHandle("x", 0)), 0);
    EXPECT_EQ(none.Read(cls_FieldHandle("x", 0), 42), 42);
    EXPECT_EQ(none.Read(cls_FieldHandle("x", 0), "dflt"), "dflt");
    EXPECT_TRUE(none.GetUid().IsEmpty());
  }
  EXPECT_EQ(g_Log, (std::vector<std::string>{"root:7:f", "f:8", "root:7:absent", "base:deleted", "f:deleted"}));
  delete kept;  // the root's memento was not the visitor's to delete
}

// ------------------------------------------------------------------ cls_PC

class Container : public cls_PC {
 public:
  void Flush() const override {}
  void Detach() override {}
};

TEST(PersistentContainer, RingOperations) {
  Container a, b, c;
  EXPECT_EQ(a.Next(), &a);
  a.Link(&b);
  EXPECT_EQ(a.Next(), &b);
  EXPECT_EQ(a.Previous(), &b);
  EXPECT_EQ(b.Next(), &a);
  EXPECT_EQ(b.Previous(), &a);
  a.Link(&c);  // at the end: a b c
  EXPECT_EQ(b.Next(), &c);
  EXPECT_EQ(c.Next(), &a);
  Container d;
  d.Link(&b);  // moves b: a c | d b
  EXPECT_EQ(a.Next(), &c);
  EXPECT_EQ(c.Previous(), &a);
  EXPECT_EQ(d.Next(), &b);
  b.Unlink();
  EXPECT_EQ(d.Next(), &d);
  EXPECT_EQ(b.Next(), &b);
  c.Reset();  // neighbours untouched: a still points at c
  EXPECT_EQ(c.Next(), &c);
  EXPECT_EQ(a.Next(), &c);
  a.Reset();
  {
    Container e;
    a.Link(&e);
  }  // e leaves the ring when destroyed
  EXPECT_EQ(a.Next(), &a);
}

TEST(PersistentContainerDeathTest, BaseOperationsAbort) {
  cls_PC pc;
  EXPECT_DEATH(pc.Flush(), "Can't flush non-specialized cls_PC object\\.\n");
  EXPECT_DEATH(pc.Detach(), "Can't detach non-specialized cls_PC object\\.\n");
}

}  // namespace
