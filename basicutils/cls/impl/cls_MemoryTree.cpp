// The tree of cls_MemStore: values, collections, fields and objects.
#include "cls/cls_MemoryStore.h"

#include <cstring>

// ================================================================= values

cls_MemValue::cls_MemValue(cls_MemValue&& o) noexcept
    : m_Kind(o.m_Kind),
      m_Integer(o.m_Integer),
      m_Real(o.m_Real),
      m_String(static_cast<cow_String&&>(o.m_String)),
      m_Object(o.m_Object) {
  o.m_Kind = cls_MemNone;
  o.m_Object = nullptr;
}

cls_MemValue& cls_MemValue::operator=(cls_MemValue&& o) noexcept {
  if (this != &o) {
    Clear();
    m_Kind = o.m_Kind;
    m_Integer = o.m_Integer;
    m_Real = o.m_Real;
    m_String = static_cast<cow_String&&>(o.m_String);
    m_Object = o.m_Object;
    o.m_Kind = cls_MemNone;
    o.m_Object = nullptr;
  }
  return *this;
}

cls_MemValue::~cls_MemValue() { delete m_Object; }

void cls_MemValue::Clear() noexcept {
  delete m_Object;
  m_Object = nullptr;
  m_Kind = cls_MemNone;
  m_Integer = 0;
  m_Real = 0;
  m_String.Clear();
}

void cls_MemValue::SetString(const cow_String& s) {
  Clear();
  m_Kind = cls_MemString;
  m_String = s;
}

void cls_MemValue::SetReal(cls_MemKind kind, double v) {
  Clear();
  m_Kind = kind;
  m_Real = v;
}

void cls_MemValue::SetInteger(cls_MemKind kind, long long v) {
  Clear();
  m_Kind = kind;
  m_Integer = v;
}

void cls_MemValue::SetNull() {
  Clear();
  m_Kind = cls_MemNull;
}

void cls_MemValue::SetObject(cls_MemObject* o) {
  Clear();
  m_Kind = cls_MemObj;
  m_Object = o;
}

// ============================================================ collections

int cls_MemCollection::CompareKeys(const cls_MemValue& a, const cls_MemValue& b) {
  if (a.Kind() == cls_MemString) return a.String().Compare(b.String());
  return a.Integer() < b.Integer() ? -1 : a.Integer() > b.Integer() ? 1 : 0;
}

namespace {

// The family's refined type for the element kinds the refinement table
// knows; the family itself for the others.
cls_CollectionType Refine(cls_CollectionType family, cls_MemKind k) {
  switch (k) {
    case cls_MemBool: return cls_CollectionTypeFix(family, static_cast<bool*>(nullptr));
    case cls_MemDouble: return cls_CollectionTypeFix(family, static_cast<double*>(nullptr));
    case cls_MemFloat: return cls_CollectionTypeFix(family, static_cast<float*>(nullptr));
    case cls_MemInt: return cls_CollectionTypeFix(family, static_cast<int*>(nullptr));
    case cls_MemString: return cls_CollectionTypeFix(family, static_cast<cow_String*>(nullptr));
    case cls_MemUint: return cls_CollectionTypeFix(family, static_cast<unsigned int*>(nullptr));
    default: return family;
  }
}

}  // namespace

int cls_MemCollection::PackedSize(cls_MemKind kind) {
  switch (kind) {
    case cls_MemDouble: return sizeof(double);
    case cls_MemFloat: return sizeof(float);
    case cls_MemUint: return sizeof(unsigned int);
    case cls_MemInt: return sizeof(int);
    case cls_MemUshort: return sizeof(unsigned short);
    case cls_MemShort: return sizeof(short);
    case cls_MemUchar: return sizeof(unsigned char);
    case cls_MemChar: return sizeof(char);
    case cls_MemBool: return sizeof(bool);
    case cls_MemLongLong: return sizeof(long long);
    default: return 0;
  }
}

cls_MemCollection::cls_MemCollection(cls_MemShape shape, cls_MemKind element)
    : m_Shape(shape),
      m_Element(element),
      m_Packed(shape == cls_MemList && PackedSize(element) != 0),
      m_ElementSize(m_Packed ? PackedSize(element) : 0) {}

void cls_MemCollection::Release(cls_MemCollection* c) noexcept {
  if (c != nullptr && --c->m_References == 0) delete c;
}

void cls_MemCollection::ResizePacked(int n) {
  if (!m_Packed || n < 0) return;
  m_Bytes.resize(static_cast<std::size_t>(n) * static_cast<std::size_t>(m_ElementSize), 0);
  m_PackedCount = n;
}

void cls_MemCollection::AppendPacked(const void* p, int n) {
  if (!m_Packed || n <= 0) return;
  const std::size_t bytes = static_cast<std::size_t>(n) * static_cast<std::size_t>(m_ElementSize);
  const std::size_t at = m_Bytes.size();
  m_Bytes.resize(at + bytes);
  std::memcpy(m_Bytes.data() + at, p, bytes);
  m_PackedCount += n;
}

namespace {
template <class T>
T LoadAt(const unsigned char* p) {
  T v;
  std::memcpy(&v, p, sizeof v);
  return v;
}
}  // namespace

void cls_MemCollection::PackedValue(int i, cls_MemValue& out) const {
  const unsigned char* p = m_Bytes.data() + static_cast<std::size_t>(i) * static_cast<std::size_t>(m_ElementSize);
  switch (m_Element) {
    case cls_MemDouble: out.SetReal(m_Element, LoadAt<double>(p)); break;
    case cls_MemFloat: out.SetReal(m_Element, LoadAt<float>(p)); break;
    case cls_MemUint: out.SetInteger(m_Element, LoadAt<unsigned int>(p)); break;
    case cls_MemInt: out.SetInteger(m_Element, LoadAt<int>(p)); break;
    case cls_MemUshort: out.SetInteger(m_Element, LoadAt<unsigned short>(p)); break;
    case cls_MemShort: out.SetInteger(m_Element, LoadAt<short>(p)); break;
    case cls_MemUchar: out.SetInteger(m_Element, LoadAt<unsigned char>(p)); break;
    case cls_MemChar: out.SetInteger(m_Element, LoadAt<char>(p)); break;
    case cls_MemBool: out.SetInteger(m_Element, LoadAt<unsigned char>(p) != 0 ? 1 : 0); break;
    case cls_MemLongLong: out.SetInteger(m_Element, LoadAt<long long>(p)); break;
    default: out.Clear(); break;
  }
}

cls_CollectionType cls_MemCollection::CollectionType() const {
  if (m_Element == cls_MemObj || m_Element == cls_MemNull) {
    return m_Shape == cls_MemMapString ? cls_CollMapString2Obj : m_Shape == cls_MemList ? cls_CollList : cls_CollIntKeyed;
  }
  switch (m_Shape) {
    case cls_MemList: return Refine(cls_CollList, m_Element);
    case cls_MemMapString: return Refine(cls_CollMapString2Prim, m_Element);
    default: return Refine(cls_CollMapInt2Prim, m_Element);
  }
}

int cls_MemCollection::FindKey(const cls_MemValue& key) const {
  int lo = 0, hi = static_cast<int>(m_Keys.size());
  while (lo < hi) {
    int mid = lo + (hi - lo) / 2;
    int c = CompareKeys(m_Keys[static_cast<std::size_t>(mid)], key);
    if (c == 0) return mid;
    if (c < 0) {
      lo = mid + 1;
    } else {
      hi = mid;
    }
  }
  return -1;
}

cls_MemValue& cls_MemCollection::Slot(cls_MemValue&& key) {
  // Keys usually arrive in order: test the end first.
  std::size_t at = m_Keys.size();
  if (at != 0 && CompareKeys(m_Keys.back(), key) >= 0) {
    std::size_t lo = 0, hi = m_Keys.size();
    while (lo < hi) {
      std::size_t mid = lo + (hi - lo) / 2;
      if (CompareKeys(m_Keys[mid], key) < 0) {
        lo = mid + 1;
      } else {
        hi = mid;
      }
    }
    at = lo;
    if (CompareKeys(m_Keys[at], key) == 0) {
      m_Values[at].Clear();
      return m_Values[at];
    }
  }
  m_Keys.insert(m_Keys.begin() + static_cast<std::ptrdiff_t>(at), static_cast<cls_MemValue&&>(key));
  return *m_Values.emplace(m_Values.begin() + static_cast<std::ptrdiff_t>(at));
}

// ================================================================= fields

cls_MemField::~cls_MemField() { cls_MemCollection::Release(m_Collection); }

cls_MemCollection& cls_MemField::MakeCollection(cls_MemShape shape, cls_MemKind element) {
  cls_MemCollection* c = new cls_MemCollection(shape, element);
  AdoptCollection(c);
  return *c;
}

void cls_MemField::AdoptCollection(cls_MemCollection* c) {
  cls_MemCollection::Release(m_Collection);
  m_Collection = c;
  m_Value.Clear();
}

void cls_MemField::Reset(const cls_FieldHandle& f) {
  m_FieldID = f.m_FieldID;
  m_Value.Clear();
  cls_MemCollection::Release(m_Collection);
  m_Collection = nullptr;
}

// ================================================================ objects

cls_MemObject::~cls_MemObject() {
  for (cls_MemField* f : m_Fields) delete f;
  delete m_Base;
}

cls_MemField* cls_MemObject::FindField(const cow_String& name) const {
  for (cls_MemField* f : m_Fields) {
    if (f->Name() == name) return f;
  }
  return nullptr;
}

cls_MemField& cls_MemObject::SetField(const cls_FieldHandle& f) {
  if (cls_MemField* old = FindField(f.m_FieldName)) {
    old->Reset(f);
    return *old;
  }
  m_Fields.reserve(m_Fields.size() + 1);  // so that push_back cannot throw after the new
  cls_MemField* nf = new cls_MemField(f);
  m_Fields.push_back(nf);
  return *nf;
}

cls_MemObject& cls_MemObject::SetBase(cls_MemObject* base) {
  delete m_Base;
  m_Base = base;
  return *base;
}

int cls_MemObject::ObjectCount() const {
  int n = 1;
  if (m_Base) n += m_Base->ObjectCount();
  for (const cls_MemField* f : m_Fields) {
    if (f->Value().Object()) n += f->Value().Object()->ObjectCount();
    if (const cls_MemCollection* c = f->Collection()) {
      for (const cls_MemValue& v : c->Values()) {
        if (v.Object()) n += v.Object()->ObjectCount();
      }
    }
  }
  return n;
}
