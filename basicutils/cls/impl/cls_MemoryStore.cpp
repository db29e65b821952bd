// The mementos, collection writers and readers, and agents of cls_MemStore.
#include "cls/cls_MemoryStore.h"

#include <cstring>
#include <type_traits>

namespace {

// ============================================================ conversions

// Kind of each element type.
constexpr cls_MemKind KindOf(bool*) { return cls_MemBool; }
constexpr cls_MemKind KindOf(cow_String*) { return cls_MemString; }
constexpr cls_MemKind KindOf(float*) { return cls_MemFloat; }
constexpr cls_MemKind KindOf(double*) { return cls_MemDouble; }
constexpr cls_MemKind KindOf(unsigned int*) { return cls_MemUint; }
constexpr cls_MemKind KindOf(int*) { return cls_MemInt; }
constexpr cls_MemKind KindOf(unsigned short*) { return cls_MemUshort; }
constexpr cls_MemKind KindOf(short*) { return cls_MemShort; }
constexpr cls_MemKind KindOf(unsigned char*) { return cls_MemUchar; }
constexpr cls_MemKind KindOf(char*) { return cls_MemChar; }
constexpr cls_MemKind KindOf(long long*) { return cls_MemLongLong; }
template <class T>
constexpr cls_MemKind Kind() {
  return KindOf(static_cast<T*>(nullptr));
}

void Put(cls_MemValue& v, const cow_String& x) { v.SetString(x); }
void Put(cls_MemValue& v, const float& x) { v.SetReal(cls_MemFloat, x); }
void Put(cls_MemValue& v, const double& x) { v.SetReal(cls_MemDouble, x); }
template <class T>
void Put(cls_MemValue& v, const T& x) {
  v.SetInteger(Kind<T>(), static_cast<long long>(x));
}

bool Get(const cls_MemValue& v, cow_String& out) {
  if (v.Kind() != cls_MemString) return false;
  out = v.String();
  return true;
}
bool Get(const cls_MemValue& v, bool& out) {
  if (!v.IsNumber()) return false;
  out = (v.Kind() == cls_MemDouble || v.Kind() == cls_MemFloat) ? v.Real() != 0 : v.Integer() != 0;
  return true;
}
// Numbers convert between kinds; a real that does not fit the integer type
// counts as absent rather than being cut.
template <class T>
bool Get(const cls_MemValue& v, T& out) {
  if (!v.IsNumber()) return false;
  if (v.Kind() == cls_MemDouble || v.Kind() == cls_MemFloat) {
    double r = v.Real();
    if constexpr (static_cast<T>(0.5) == 0) {
      if (!(r >= -9.3e18 && r <= 9.3e18)) return false;
      long long i = static_cast<long long>(r);
      out = static_cast<T>(i);
    } else {
      out = static_cast<T>(r);
    }
  } else {
    out = static_cast<T>(v.Integer());
  }
  return true;
}
template <class T>
T GetOr(const cls_MemValue& v, const T& dflt) {
  T out;
  return Get(v, out) ? out : dflt;
}

cls_MemValue Key(int k) {
  cls_MemValue v;
  v.SetInteger(cls_MemInt, k);
  return v;
}
cls_MemValue Key(unsigned int k) {
  cls_MemValue v;
  v.SetInteger(cls_MemUint, k);
  return v;
}
cls_MemValue Key(const cow_String& k) {
  cls_MemValue v;
  v.SetString(k);
  return v;
}
void KeyOf(const cls_MemValue& v, int& k) { k = static_cast<int>(v.Integer()); }
void KeyOf(const cls_MemValue& v, unsigned int& k) { k = static_cast<unsigned int>(v.Integer()); }
void KeyOf(const cls_MemValue& v, cow_String& k) { k = v.String(); }

constexpr cls_MemShape ShapeOf(int*) { return cls_MemMapInt; }
constexpr cls_MemShape ShapeOf(unsigned int*) { return cls_MemMapUint; }
constexpr cls_MemShape ShapeOf(cow_String*) { return cls_MemMapString; }

class MemWrite;
class MemRead;

// =================================================================== agents

// Whether a list of kind holds T itself, packed.
template <class T>
bool HoldsPacked(const cls_MemCollection& c) {
  return c.IsPacked() && c.Element() == Kind<T>() && c.ElementSize() == static_cast<int>(sizeof(T));
}

template <class T>
class MemAgentList final : public cls_AgentListPrim<T> {
 public:
  // Takes a reference: the list stays alive as long as the agent.
  explicit MemAgentList(cls_MemCollection& c) : m_C(c) { m_C.Retain(); }
  ~MemAgentList() override { cls_MemCollection::Release(&m_C); }
  cls_CollectionType ElementKind() const override {
    return cls_CollectionTypeFix(cls_CollList, static_cast<T*>(nullptr));
  }
  int StoredCount() const override { return m_C.Count(); }
  void ReadBlock(int start, int n, T* out) override {
    if (n <= 0) return;
    // Positions outside the list get T().
    const int from = start < 0 ? 0 : start;
    const int to = start + n < m_C.Count() ? start + n : m_C.Count();
    if (from >= to) {
      for (int i = 0; i < n; ++i) out[i] = T();
      return;
    }
    for (int i = start; i < from; ++i) out[i - start] = T();
    if constexpr (PackedKind()) {
      std::memcpy(out + (from - start), m_C.PackedData() + static_cast<std::size_t>(from) * sizeof(T),
                  static_cast<std::size_t>(to - from) * sizeof(T));
    } else {
      for (int i = from; i < to; ++i) out[i - start] = GetOr(m_C.Values()[static_cast<std::size_t>(i)], T());
    }
    for (int i = to; i < start + n; ++i) out[i - start] = T();
  }
  void WriteBlock(int start, int n, const T* in) override {
    if (start < 0 || n <= 0) return;
    if constexpr (PackedKind()) {
      if (start + n > m_C.Count()) m_C.ResizePacked(start + n);
      std::memcpy(m_C.PackedData() + static_cast<std::size_t>(start) * sizeof(T), in,
                  static_cast<std::size_t>(n) * sizeof(T));
    } else {
      cls_MemVector<cls_MemValue>& vals = m_C.Values();
      while (static_cast<int>(vals.size()) < start + n) Put(vals.emplace_back(), T());
      for (int i = 0; i < n; ++i) Put(vals[static_cast<std::size_t>(start + i)], in[i]);
    }
  }
  void AppendBlock(int n, const T* in) override { WriteBlock(m_C.Count(), n, in); }

 private:
  // Plain numbers are packed; strings are values.
  static constexpr bool PackedKind() { return std::is_arithmetic_v<T>; }
  cls_MemCollection& m_C;
};

// A list agent on field f of node: its list of T, made when the field is
// absent; null when the field holds something else.
template <class T>
cls_AgentListPrim<T>* MakeAgent(cls_MemObject& node, const cls_FieldHandle& f) {
  cls_MemField* field = node.FindField(f.m_FieldName);
  if (field == nullptr) return new MemAgentList<T>(node.SetField(f).MakeCollection(cls_MemList, Kind<T>()));
  cls_MemCollection* c = field->Collection();
  if (c == nullptr || c->Shape() != cls_MemList || c->Element() != Kind<T>()) return nullptr;
  return new MemAgentList<T>(*c);
}

cls_AgentListBase* MakeAnyAgent(cls_MemObject& node, const cls_FieldHandle& f, cls_CollectionType element) {
  switch (static_cast<int>(element)) {
    case 51: return MakeAgent<bool>(node, f);
    case 52: return MakeAgent<double>(node, f);
    case 53: return MakeAgent<float>(node, f);
    case 54: return MakeAgent<int>(node, f);
    case 55: return MakeAgent<cow_String>(node, f);
    case 57: return MakeAgent<unsigned int>(node, f);
    default: return nullptr;
  }
}

class MemBlob final : public cls_AgentBlob {
 public:
  explicit MemBlob(cls_MemObject& node) : m_Bytes(node.MutableBlob()) {}
  long long Size() const override { return static_cast<long long>(m_Bytes.size()); }
  int Read(long long offset, int n, void* out) override {
    if (offset < 0 || n <= 0 || offset >= Size()) return 0;
    long long avail = Size() - offset;
    int k = avail < n ? static_cast<int>(avail) : n;
    std::memcpy(out, m_Bytes.data() + offset, static_cast<std::size_t>(k));
    return k;
  }
  void Write(long long offset, int n, const void* in) override {
    if (offset < 0 || n <= 0) return;
    std::size_t end = static_cast<std::size_t>(offset) + static_cast<std::size_t>(n);
    if (end > m_Bytes.size()) m_Bytes.resize(end, 0);
    std::memcpy(m_Bytes.data() + offset, in, static_cast<std::size_t>(n));
  }
  void Truncate(long long size) override {
    if (size >= 0 && size < Size()) m_Bytes.resize(static_cast<std::size_t>(size));
  }

 private:
  cls_MemVector<unsigned char>& m_Bytes;
};

// ================================================================ writers

template <class T>
class MemListWriter final : public cls_WriteListPrim<T> {
 public:
  MemListWriter(cls_MemCollection& c, int count) : m_C(c) {
    if (count <= 0) return;
    if (m_C.IsPacked()) {
      m_C.ReservePacked(count);
    } else {
      m_C.Values().reserve(static_cast<std::size_t>(count));
    }
  }
  void Append(const T& x) override { AppendBlock(&x, 1); }
  void AppendBlock(const T* p, int n) override {
    if constexpr (std::is_arithmetic_v<T>) {
      if (HoldsPacked<T>(m_C)) {
        m_C.AppendPacked(p, n);
        return;
      }
    }
    for (int i = 0; i < n; ++i) Put(m_C.Values().emplace_back(), p[i]);
  }

 private:
  cls_MemCollection& m_C;
};

template <class Base, class K, class T>
class MemMapWriter final : public Base {
 public:
  explicit MemMapWriter(cls_MemCollection& c) : m_C(c) {}
  void Insert(const K& key, const T& value) override { Put(m_C.Slot(Key(key)), value); }

 private:
  cls_MemCollection& m_C;
};

class MemIntTableWriter final : public cls_WriteIntTableInt {
 public:
  explicit MemIntTableWriter(cls_MemCollection& c) : m_C(c) {}
  void Set(int index, int value) override { Put(m_C.Slot(Key(index)), value); }

 private:
  cls_MemCollection& m_C;
};

// A memento for the object that now fills slot.
cls_MementoWrite* FillWithObject(cls_MemValue& slot, unsigned int classID, const cls_Uid& uid);

class MemListObjWriter final : public cls_WriteListObj, public cls_AgentRequest {
 public:
  explicit MemListObjWriter(cls_MemCollection& c) : m_C(c) {}
  const cls_AgentRequest& Element() override { return *this; }
  void AppendNull() override { m_C.Values().emplace_back().SetNull(); }
  cls_MementoWrite* MakeMemento(unsigned int classID, const cls_Uid& uid, const void*) const override {
    return FillWithObject(m_C.Values().emplace_back(), classID, uid);
  }

 private:
  cls_MemCollection& m_C;
};

template <class Base, class K>
class MemMapObjWriter final : public Base, public cls_AgentRequest {
 public:
  explicit MemMapObjWriter(cls_MemCollection& c) : m_C(c) {}
  const cls_AgentRequest& Element(const K& key) override {
    m_Pending = key;
    return *this;
  }
  void InsertNull(const K& key) override { m_C.Slot(Key(key)).SetNull(); }
  cls_MementoWrite* MakeMemento(unsigned int classID, const cls_Uid& uid, const void*) const override {
    return FillWithObject(m_C.Slot(Key(m_Pending)), classID, uid);
  }

 private:
  cls_MemCollection& m_C;
  K m_Pending{};
};

// ================================================================ readers

template <class T>
class MemListReader final : public cls_ReadListPrim<T> {
 public:
  explicit MemListReader(const cls_MemCollection& c) : m_C(c) {}
  int Count() const override { return m_C.Count(); }
  T Get(int i) const override {
    if (i < 0 || i >= m_C.Count()) return T();
    if (!m_C.IsPacked()) return GetOr(m_C.Values()[static_cast<std::size_t>(i)], T());
    cls_MemValue v;  // another kind: converted like a single value
    m_C.PackedValue(i, v);
    return GetOr(v, T());
  }
  void GetBlock(int from, int n, T* out) const override {
    if constexpr (std::is_arithmetic_v<T>) {
      if (HoldsPacked<T>(m_C) && from >= 0 && n > 0 && from + n <= m_C.Count()) {
        std::memcpy(out, m_C.PackedData() + static_cast<std::size_t>(from) * sizeof(T),
                    static_cast<std::size_t>(n) * sizeof(T));
        return;
      }
    }
    cls_ReadListPrim<T>::GetBlock(from, n, out);
  }

 private:
  const cls_MemCollection& m_C;
};

template <class Base, class K, class T>
class MemMapReader final : public Base {
 public:
  explicit MemMapReader(const cls_MemCollection& c) : m_C(c) {}
  int Count() const override { return m_C.Count(); }
  K KeyAt(int i) const override {
    K k{};
    if (i >= 0 && i < m_C.Count()) KeyOf(m_C.Keys()[i], k);
    return k;
  }
  T ValueAt(int i) const override { return i >= 0 && i < m_C.Count() ? GetOr(m_C.Values()[i], T()) : T(); }
  bool Find(const K& key, T& value) const override {
    int at = m_C.FindKey(Key(key));
    return at >= 0 && Get(m_C.Values()[at], value);
  }

 private:
  const cls_MemCollection& m_C;
};

class MemListObjReader final : public cls_ReadListObj {
 public:
  MemListObjReader(const cls_MemStore& s, const cls_MemCollection& c) : m_S(s), m_C(c) {}
  int Count() const override { return m_C.Count(); }
  cls_MementoRead* MakeElement(int i) const override;

 private:
  const cls_MemStore& m_S;
  const cls_MemCollection& m_C;
};

template <class Base, class K>
class MemMapObjReader final : public Base {
 public:
  MemMapObjReader(const cls_MemStore& s, const cls_MemCollection& c) : m_S(s), m_C(c) {}
  int Count() const override { return m_C.Count(); }
  K KeyAt(int i) const override {
    K k{};
    if (i >= 0 && i < m_C.Count()) KeyOf(m_C.Keys()[i], k);
    return k;
  }
  cls_MementoRead* MakeElement(int i) const override;
  cls_MementoRead* Find(const K& key) const override { return MakeElement(m_C.FindKey(Key(key))); }

 private:
  const cls_MemStore& m_S;
  const cls_MemCollection& m_C;
};

// =============================================================== mementos

class MemWrite final : public cls_MementoWrite {
 public:
  explicit MemWrite(cls_MemObject& node) : m_Node(node) {}

  int FieldIsPresent(const cls_FieldHandle& f) override { return m_Node.FindField(f.m_FieldName) != nullptr; }
  cls_MementoWrite* MakeWriteObjWithPtr(const cls_FieldHandle& f, unsigned int classID, const cls_Uid& uid,
                                        const void*) override {
    return FillWithObject(m_Node.SetField(f).Value(), classID, uid);
  }
  cls_MementoWrite* MakeWriteObj(const cls_FieldHandle& f, unsigned int classID, const cls_Uid& uid,
                                 const cls_IntCOW*) override {
    return FillWithObject(m_Node.SetField(f).Value(), classID, uid);
  }
  cls_MementoWrite* MakeBaseWriteObj(unsigned int classID, const cls_Uid& uid) override {
    return new MemWrite(m_Node.SetBase(new cls_MemObject(classID, uid)));
  }
  void WriteNull(const cls_FieldHandle& f) override { m_Node.SetField(f).Value().SetNull(); }
  void Write(const cls_FieldHandle& f, const cow_String& v) override { Put(m_Node.SetField(f).Value(), v); }
  void Write(const cls_FieldHandle& f, const double& v) override { Put(m_Node.SetField(f).Value(), v); }
  void Write(const cls_FieldHandle& f, const float& v) override { Put(m_Node.SetField(f).Value(), v); }
  void Write(const cls_FieldHandle& f, const unsigned int& v) override { Put(m_Node.SetField(f).Value(), v); }
  void Write(const cls_FieldHandle& f, const int& v) override { Put(m_Node.SetField(f).Value(), v); }
  void Write(const cls_FieldHandle& f, const unsigned short& v) override { Put(m_Node.SetField(f).Value(), v); }
  void Write(const cls_FieldHandle& f, const short& v) override { Put(m_Node.SetField(f).Value(), v); }
  void Write(const cls_FieldHandle& f, const unsigned char& v) override { Put(m_Node.SetField(f).Value(), v); }
  void Write(const cls_FieldHandle& f, const char& v) override { Put(m_Node.SetField(f).Value(), v); }
  void Write(const cls_FieldHandle& f, const bool& v) override { Put(m_Node.SetField(f).Value(), v); }
  void Write(const cls_FieldHandle& f, const long long& v) override { Put(m_Node.SetField(f).Value(), v); }

  cls_WriteListObj* MakeWriteListObj(const cls_FieldHandle& f, int) override {
    return new MemListObjWriter(Coll(f, cls_MemList, cls_MemObj));
  }
  cls_WriteMapInt2Obj* MakeWriteMapInt2Obj(const cls_FieldHandle& f, int) override {
    return new MemMapObjWriter<cls_WriteMapInt2Obj, int>(Coll(f, cls_MemMapInt, cls_MemObj));
  }
  cls_WriteMapUint2Obj* MakeWriteMapUint2Obj(const cls_FieldHandle& f, int) override {
    return new MemMapObjWriter<cls_WriteMapUint2Obj, unsigned int>(Coll(f, cls_MemMapUint, cls_MemObj));
  }
  cls_WriteMapString2Obj* MakeWriteMapString2Obj(const cls_FieldHandle& f, int) override {
    return new MemMapObjWriter<cls_WriteMapString2Obj, cow_String>(Coll(f, cls_MemMapString, cls_MemObj));
  }

// The kinds of list and of map of primitives a memento makes, listed once so
// that the writer and the reader serve the same set: Each is applied to each
// element type (T, Name) or key and value type (KeyName, K, T, Name).
#define CLS_MEM_LIST_KINDS(Each)                                                          \
  Each(bool, Bool) Each(cow_String, String) Each(float, Float) Each(double, Double)       \
  Each(unsigned int, Uint) Each(int, Int) Each(unsigned short, Ushort) Each(short, Short) \
  Each(unsigned char, Uchar) Each(char, Char) Each(long long, LongLong)
#define CLS_MEM_MAP_VALUES(Each, KeyName, K)                                                 \
  Each(KeyName, K, unsigned int, Uint) Each(KeyName, K, cow_String, String)                  \
  Each(KeyName, K, int, Int) Each(KeyName, K, float, Float) Each(KeyName, K, double, Double)
#define CLS_MEM_MAP_KINDS(Each)                \
  CLS_MEM_MAP_VALUES(Each, Int, int)           \
  CLS_MEM_MAP_VALUES(Each, Uint, unsigned int) \
  CLS_MEM_MAP_VALUES(Each, String, cow_String)

#define CLS_MEM_LIST_WRITER(T, Name)                                                         \
  cls_WriteListPrim<T>* MakeWriteList##Name(const cls_FieldHandle& f, int count) override { \
    return new MemListWriter<T>(Coll(f, cls_MemList, Kind<T>()), count);                    \
  }
  CLS_MEM_LIST_KINDS(CLS_MEM_LIST_WRITER)
#undef CLS_MEM_LIST_WRITER

#define CLS_MEM_MAP_WRITER(KeyName, K, T, Name)                                                            \
  cls_WriteMap##KeyName##2Prim<T>* MakeWriteMap##KeyName##2##Name(const cls_FieldHandle& f, int) override { \
    return new MemMapWriter<cls_WriteMap##KeyName##2Prim<T>, K, T>(                                         \
        Coll(f, ShapeOf(static_cast<K*>(nullptr)), Kind<T>()));                                             \
  }
  CLS_MEM_MAP_KINDS(CLS_MEM_MAP_WRITER)
#undef CLS_MEM_MAP_WRITER

  cls_WriteIntTableInt* MakeWriteIntTableInt(const cls_FieldHandle& f, int) override {
    return new MemIntTableWriter(Coll(f, cls_MemIntTable, cls_MemInt));
  }

  cls_AgentListPrim<float>* MakeAgentListFloat(const cls_FieldHandle& f) override { return MakeAgent<float>(m_Node, f); }
  cls_AgentListPrim<int>* MakeAgentListInt(const cls_FieldHandle& f) override { return MakeAgent<int>(m_Node, f); }
  cls_AgentListPrim<double>* MakeAgentListDouble(const cls_FieldHandle& f) override {
    return MakeAgent<double>(m_Node, f);
  }
  cls_AgentListBase* MakeAgentList(const cls_FieldHandle& f, cls_CollectionType element) override {
    return MakeAnyAgent(m_Node, f, element);
  }
  cls_AgentBlob* MakeAgentBlob() override { return new MemBlob(m_Node); }
  void CheckCollectionType(cls_CollectionType requested, const cow_String&) override {
    m_Node.SetCheckedType(requested);
  }

 private:
  cls_MemCollection& Coll(const cls_FieldHandle& f, cls_MemShape shape, cls_MemKind element) {
    return m_Node.SetField(f).MakeCollection(shape, element);
  }
  cls_MemObject& m_Node;
};

cls_MementoWrite* FillWithObject(cls_MemValue& slot, unsigned int classID, const cls_Uid& uid) {
  cls_MemObject* o = new cls_MemObject(classID, uid);
  slot.SetObject(o);
  return new MemWrite(*o);
}

class MemRead final : public cls_MementoRead {
 public:
  MemRead(const cls_MemStore& store, cls_MemObject& node) : m_Store(store), m_Node(node) {}

  cow_String DbId() const override { return m_Store.DbId(); }
  cls_Uid GetUid() const override { return m_Node.Uid(); }
  int FieldIsPresent(const cls_FieldHandle& f) const override { return Find(f) != nullptr; }
  int DataIsPresent(const cls_FieldHandle& f) const override {
    const cls_MemField* fld = Find(f);
    if (fld == nullptr) return 0;
    return fld->Collection() != nullptr || (fld->Value().Kind() != cls_MemNone && fld->Value().Kind() != cls_MemNull);
  }
  unsigned int ClassId() const override { return m_Node.ClassID(); }
  cls_MementoRead* MakeReadObj(const cls_FieldHandle& f) override {
    const cls_MemField* fld = Find(f);
    cls_MemObject* o = fld ? fld->Value().Object() : nullptr;
    return o ? new MemRead(m_Store, *o) : nullptr;
  }
  cls_MementoRead* MakeBaseReadObj() override {
    return m_Node.Base() ? new MemRead(m_Store, *m_Node.Base()) : nullptr;
  }

#define CLS_MEM_READ(T)                                                  \
  T Read(const cls_FieldHandle& f, const T& dflt) const override {      \
    const cls_MemField* fld = Find(f);                                   \
    return fld ? GetOr(fld->Value(), dflt) : dflt;                       \
  }
  CLS_MEM_READ(cow_String)
  CLS_MEM_READ(double)
  CLS_MEM_READ(float)
  CLS_MEM_READ(unsigned int)
  CLS_MEM_READ(int)
  CLS_MEM_READ(unsigned short)
  CLS_MEM_READ(short)
  CLS_MEM_READ(unsigned char)
  CLS_MEM_READ(char)
  CLS_MEM_READ(bool)
  CLS_MEM_READ(long long)
#undef CLS_MEM_READ

  cls_ReadListObj* MakeReadListObj(const cls_FieldHandle& f) override {
    const cls_MemCollection* c = Coll(f, cls_MemList);
    return c ? new MemListObjReader(m_Store, *c) : nullptr;
  }
  cls_ReadMapInt2Obj* MakeReadMapInt2Obj(const cls_FieldHandle& f) override { return ObjMap<cls_ReadMapInt2Obj, int>(f); }
  cls_ReadMapUint2Obj* MakeReadMapUint2Obj(const cls_FieldHandle& f) override {
    return ObjMap<cls_ReadMapUint2Obj, unsigned int>(f);
  }
  cls_ReadMapString2Obj* MakeReadMapString2Obj(const cls_FieldHandle& f) override {
    return ObjMap<cls_ReadMapString2Obj, cow_String>(f);
  }

#define CLS_MEM_LIST_READER(T, Name)                                            \
  cls_ReadListPrim<T>* MakeReadList##Name(const cls_FieldHandle& f) override { \
    const cls_MemCollection* c = Coll(f, cls_MemList);                          \
    return c ? new MemListReader<T>(*c) : nullptr;                              \
  }
  CLS_MEM_LIST_KINDS(CLS_MEM_LIST_READER)
#undef CLS_MEM_LIST_READER

#define CLS_MEM_MAP_READER(KeyName, K, T, Name)                                                     \
  cls_ReadMap##KeyName##2Prim<T>* MakeReadMap##KeyName##2##Name(const cls_FieldHandle& f) override { \
    const cls_MemCollection* c = Coll(f, ShapeOf(static_cast<K*>(nullptr)));                         \
    return c ? new MemMapReader<cls_ReadMap##KeyName##2Prim<T>, K, T>(*c) : nullptr;                 \
  }
  CLS_MEM_MAP_KINDS(CLS_MEM_MAP_READER)
#undef CLS_MEM_MAP_READER
#undef CLS_MEM_MAP_KINDS
#undef CLS_MEM_MAP_VALUES
#undef CLS_MEM_LIST_KINDS

  cls_ReadIntTableInt* MakeReadIntTableInt(const cls_FieldHandle& f) override {
    const cls_MemCollection* c = Coll(f, cls_MemIntTable);
    return c ? new MemMapReader<cls_ReadIntTableInt, int, int>(*c) : nullptr;
  }

  cls_AgentListPrim<float>* MakeAgentListFloat(const cls_FieldHandle& f) override { return MakeAgent<float>(m_Node, f); }
  cls_AgentListPrim<int>* MakeAgentListInt(const cls_FieldHandle& f) override { return MakeAgent<int>(m_Node, f); }
  cls_AgentListPrim<double>* MakeAgentListDouble(const cls_FieldHandle& f) override {
    return MakeAgent<double>(m_Node, f);
  }
  cls_AgentListBase* MakeAgentList(const cls_FieldHandle& f, cls_CollectionType element) override {
    return MakeAnyAgent(m_Node, f, element);
  }
  cls_CollectionType StoredCollectionType(const cls_FieldHandle& f) const override {
    const cls_MemField* fld = Find(f);
    if (fld == nullptr) return cls_CollNone;
    if (fld->Collection()) return fld->Collection()->CollectionType();
    return fld->Value().Object() ? fld->Value().Object()->CheckedType() : cls_CollNone;
  }
  int IsNullObject(const cls_FieldHandle& f) const override {
    const cls_MemField* fld = Find(f);
    return fld != nullptr && fld->Value().Kind() == cls_MemNull;
  }
  cls_AgentBlob* MakeAgentBlob() override { return new MemBlob(m_Node); }
  int FieldNames(cow_List<cow_String>& names) const override {
    for (int i = 0; i < m_Node.FieldCount(); ++i) names.Append(m_Node.FieldAt(i).Name());
    return m_Node.FieldCount();
  }

 private:
  const cls_MemField* Find(const cls_FieldHandle& f) const { return m_Node.FindField(f.m_FieldName); }
  const cls_MemCollection* Coll(const cls_FieldHandle& f, cls_MemShape shape) const {
    const cls_MemField* fld = Find(f);
    const cls_MemCollection* c = fld ? fld->Collection() : nullptr;
    return c && c->Shape() == shape ? c : nullptr;
  }
  template <class Base, class K>
  Base* ObjMap(const cls_FieldHandle& f) {
    const cls_MemCollection* c = Coll(f, ShapeOf(static_cast<K*>(nullptr)));
    return c ? new MemMapObjReader<Base, K>(m_Store, *c) : nullptr;
  }

  const cls_MemStore& m_Store;
  cls_MemObject& m_Node;
};

cls_MementoRead* MemListObjReader::MakeElement(int i) const {
  if (i < 0 || i >= m_C.Count()) return nullptr;
  cls_MemObject* o = m_C.Values()[static_cast<std::size_t>(i)].Object();
  return o ? new MemRead(m_S, *o) : nullptr;
}

template <class Base, class K>
cls_MementoRead* MemMapObjReader<Base, K>::MakeElement(int i) const {
  if (i < 0 || i >= m_C.Count()) return nullptr;
  cls_MemObject* o = m_C.Values()[static_cast<std::size_t>(i)].Object();
  return o ? new MemRead(m_S, *o) : nullptr;
}

}  // namespace

// ================================================================== store

cls_MemStore::cls_MemStore(const cow_String& dbId) : m_DbId(dbId), m_Root(new cls_MemObject(1, cls_Uid(nullptr))) {}

cls_MemStore::~cls_MemStore() { delete m_Root; }

cls_MementoWrite* cls_MemStore::MakeWriteMemento(cls_MemObject& node) { return new MemWrite(node); }

cls_MementoRead* cls_MemStore::MakeReadMemento(cls_MemObject& node) { return new MemRead(*this, node); }

void cls_MemStore::Clear() { ReplaceRoot(new cls_MemObject(1, cls_Uid(nullptr))); }

void cls_MemStore::ReplaceRoot(cls_MemObject* root) {
  delete m_Root;
  m_Root = root;
}
