// The visitors' protocol with their mementos, observed through a memento that
// records the slots it is called through.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cls/cls_Visitor.h"

namespace {

std::vector<std::string> g_Log;

std::string Name(const cls_FieldHandle& f) { return f.m_FieldName.c_str(); }

// A memento's name in the log ("name:slot..."), and whether its visitor
// deletes it.
struct Logged {
  std::string m_Name;
  bool m_Owned;
  void Log(const std::string& what) const { g_Log.push_back(m_Name + ":" + what); }
};

// Records every slot it is called through; children record under the name
// of their field.
class Recorder : public cls_MementoWrite, Logged {
 public:
  explicit Recorder(std::string name, bool owned = true) : Logged{std::move(name), owned} {}
  ~Recorder() override { Log("deleted"); }
  bool NeedsDeletion() const override { return m_Owned; }
  int FieldIsPresent(const cls_FieldHandle&) override {
    Log("2");
    return 1;
  }
  cls_MementoWrite* MakeWriteObjWithPtr(const cls_FieldHandle& f, unsigned id, const cls_Uid&, const void*) override {
    return Child("3:" + Name(f) + ":" + std::to_string(id), Name(f));
  }
  cls_MementoWrite* MakeWriteObj(const cls_FieldHandle& f, unsigned id, const cls_Uid&, const cls_IntCOW*) override {
    return Child("4:" + Name(f) + ":" + std::to_string(id), Name(f));
  }
  cls_MementoWrite* MakeBaseWriteObj(unsigned id, const cls_Uid&) override {
    return Child("5:" + std::to_string(id), "base");
  }
  void Write(const cls_FieldHandle& f, const cow_String& v) override { Log("7:" + Name(f) + "=" + v.c_str()); }
  void Write(const cls_FieldHandle& f, const bool& v) override { Log("16:" + Name(f) + "=" + (v ? "1" : "0")); }
  void CheckCollectionType(cls_CollectionType t, const cow_String& name) override {
    Log("54:" + std::to_string(t) + ":" + name.c_str());
  }
  void StartSharedPtrOutput() override { Log("56"); }
  void EndSharedPtrOutput() override { Log("57"); }

 private:
  Recorder* Child(const std::string& what, const std::string& name) {
    Log(what);
    return new Recorder(name);
  }
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

// No collection check without a field name or a memento; nothing written
// under a parent that never started.
TEST(WriteVisitor, UnnamedOrUnstartedVisitorsReachNoMementoARequestMakesOne) {
  g_Log.clear();
  {
    cls_WriteVisitor root(new Recorder("root"));
    root.CheckCollectionType(cls_CollectionType(54));  // the root has no field name
    cls_WriteVisitor unnamed(root, cls_FieldHandle("", 0), nullptr, nullptr);
    unnamed.StartWrite(5, cls_Uid(nullptr));
    unnamed.CheckCollectionType(cls_CollectionType(54));
    cls_WriteVisitor never(root, cls_FieldHandle("named", 1), nullptr, nullptr);
    never.CheckCollectionType(cls_CollectionType(54));  // no memento
    cls_WriteVisitor grandchild(never, cls_FieldHandle("g", 0), nullptr, nullptr);
    EXPECT_EQ(grandchild.StartWrite(3, cls_Uid(nullptr)), 0);
    grandchild.Write(cls_FieldHandle("x", 0), true);
    EXPECT_EQ(grandchild.MakeWriteListPrim<int>(cls_FieldHandle("l", 0), 3), nullptr);
  }
  EXPECT_EQ(g_Log, (std::vector<std::string>{"root:3::5", ":deleted", "root:deleted"}));
  // A request makes the memento, given the object.
  g_Log.clear();
  Request req;
  int object = 0;
  {
    cls_WriteVisitor v(req, &object);
    v.StartWrite(11, cls_Uid(nullptr));
  }
  EXPECT_EQ(g_Log, (std::vector<std::string>{"request:11:obj", "element:deleted"}));
}

// ------------------------------------------------------------ read visitor

class ReadRecorder : public cls_MementoRead, Logged {
 public:
  ReadRecorder(std::string name, bool owned) : Logged{std::move(name), owned} {}
  ~ReadRecorder() override { Log("deleted"); }
  bool NeedsDeletion() const override { return m_Owned; }
  cls_MementoRead* MakeReadObj(const cls_FieldHandle& f) override {
    Log("7:" + Name(f));
    return Name(f) == "absent" ? nullptr : new ReadRecorder(Name(f), true);
  }
  cls_MementoRead* MakeBaseReadObj() override {
    Log("8");
    return new ReadRecorder("base", true);
  }
  int FieldIsPresent(const cls_FieldHandle&) const override { return 1; }
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
    const cls_FieldHandle x("x", 0);
    EXPECT_TRUE(none.FieldIsPresent(x) == 0 && none.DataIsPresent(x) == 0);
    EXPECT_EQ(none.Read(x, 42), 42);
    EXPECT_EQ(none.Read(x, "dflt"), "dflt");
    EXPECT_TRUE(none.GetUid().IsEmpty());
  }
  EXPECT_EQ(g_Log, (std::vector<std::string>{"root:7:f", "f:8", "root:7:absent", "base:deleted", "f:deleted"}));
  delete kept;  // the root's memento was not the visitor's to delete
}

}  // namespace
