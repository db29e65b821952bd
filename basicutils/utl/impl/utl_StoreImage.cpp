// The image of a memory store's tree (docs/file-store.md): encoding in two
// passes (measure, then write into a buffer of the exact size) and decoding
// with a check of every count, kind, key order and length before it is used.
#include <cstdint>
#include <cstring>
#include <memory>
#include <unordered_map>

#include "atr/atr_Translate.h"
#include "nex/nex_Exception.h"
#include "utl/utl_Crc32.h"
#include "utl/utl_FileStore.h"

#define NEX_SOURCE "utl/impl/utl_StoreImage"

namespace {

constexpr unsigned char kMagic[4] = {'V', 'N', 'K', 'S'};
constexpr std::uint32_t kVersion = 1;
constexpr std::size_t kHeaderSize = 24;
constexpr int kMaxDepth = 200;  // nested objects and base parts
constexpr std::size_t kMinObject = 25;  // class, identity, type, flags, field count, blob length

enum : unsigned char { kValue = 0, kCollection = 1 };

bool IsValueKind(int k) { return k >= cls_MemNone && k <= cls_MemObj; }

// ================================================================ encoding

typedef std::unordered_map<const cls_UidCatalogEntry*, std::uint32_t, std::hash<const cls_UidCatalogEntry*>,
                           std::equal_to<const cls_UidCatalogEntry*>,
                           mem_StdAllocator<std::pair<const cls_UidCatalogEntry* const, std::uint32_t>>>
    UidIndex;

// Counts bytes (m_Out null) or writes them. Integers little-endian.
class Sink {
 public:
  explicit Sink(unsigned char* out) : m_Out(out) {}
  void Bytes(const void* p, std::size_t n) {
    if (m_Out && n) std::memcpy(m_Out + m_Size, p, n);
    m_Size += n;
  }
  void U8(unsigned v) {
    const unsigned char b = static_cast<unsigned char>(v);
    Bytes(&b, 1);
  }
  void U32(std::uint32_t v) {
    unsigned char b[4];
    for (int i = 0; i < 4; ++i) b[i] = static_cast<unsigned char>(v >> (8 * i));
    Bytes(b, 4);
  }
  void U64(std::uint64_t v) {
    unsigned char b[8];
    for (int i = 0; i < 8; ++i) b[i] = static_cast<unsigned char>(v >> (8 * i));
    Bytes(b, 8);
  }
  void F64(double v) {
    std::uint64_t u;
    std::memcpy(&u, &v, 8);
    U64(u);
  }
  void Str(const cow_String& s) {
    U32(static_cast<std::uint32_t>(s.Length()));
    Bytes(s.c_str(), static_cast<std::size_t>(s.Length()));
  }
  std::size_t Size() const { return m_Size; }

 private:
  unsigned char* m_Out;
  std::size_t m_Size = 0;
};

class Encoder {
 public:
  Encoder(Sink& sink, UidIndex& uids) : m_S(sink), m_Uids(uids) {}

  void Object(const cls_MemObject& o) {
    m_S.U32(o.ClassID());
    m_S.U32(UidOf(o.Uid()));
    m_S.U32(static_cast<std::uint32_t>(o.CheckedType()));
    m_S.U8(o.Base() ? 1 : 0);
    if (o.Base()) Object(*o.Base());
    m_S.U32(static_cast<std::uint32_t>(o.FieldCount()));
    for (int i = 0; i < o.FieldCount(); ++i) Field(o.FieldAt(i));
    m_S.U64(o.Blob().size());
    m_S.Bytes(o.Blob().data(), o.Blob().size());
  }

 private:
  std::uint32_t UidOf(const cls_Uid& u) {
    if (u.IsEmpty()) return 0;
    auto it = m_Uids.find(u.Entry());
    if (it != m_Uids.end()) return it->second;
    const std::uint32_t index = static_cast<std::uint32_t>(m_Uids.size()) + 1;
    m_Uids.emplace(u.Entry(), index);
    return index;
  }

  void Field(const cls_MemField& f) {
    m_S.U32(static_cast<std::uint32_t>(f.FieldID()));
    m_S.Str(f.Name());
    if (const cls_MemCollection* c = f.Collection()) {
      m_S.U8(kCollection);
      Collection(*c);
    } else {
      m_S.U8(kValue);
      Value(f.Value());
    }
  }

  void Value(const cls_MemValue& v) {
    m_S.U8(v.Kind());
    switch (v.Kind()) {
      case cls_MemString: m_S.Str(v.String()); break;
      case cls_MemDouble:
      case cls_MemFloat: m_S.F64(v.Real()); break;
      case cls_MemObj: Object(*v.Object()); break;
      case cls_MemNone:
      case cls_MemNull: break;
      default: m_S.U64(static_cast<std::uint64_t>(v.Integer())); break;
    }
  }

  void Collection(const cls_MemCollection& c) {
    m_S.U8(c.Shape());
    m_S.U8(c.Element());
    m_S.U32(static_cast<std::uint32_t>(c.Count()));
    if (c.IsPacked()) {
      m_S.Bytes(c.PackedData(), static_cast<std::size_t>(c.Count()) * static_cast<std::size_t>(c.ElementSize()));
      return;
    }
    for (int i = 0; i < c.Count(); ++i) {
      if (c.IsMap()) {
        const cls_MemValue& k = c.Keys()[static_cast<std::size_t>(i)];
        if (c.Shape() == cls_MemMapString) {
          m_S.Str(k.String());
        } else {
          m_S.U64(static_cast<std::uint64_t>(k.Integer()));
        }
      }
      Value(c.Values()[static_cast<std::size_t>(i)]);
    }
  }

  Sink& m_S;
  UidIndex& m_Uids;
};

// ================================================================ decoding

class Decoder {
 public:
  Decoder(const unsigned char* data, std::size_t size, const cow_String& label)
      : m_P(data), m_Size(size), m_Label(label) {}

  [[noreturn]] void Damaged(const char* what) const {
    atr_translate t("*** Error: Damaged object store \"%1$s\": %2$s at byte %3$d.");
    atr_SubstituteFormat(t, 1, m_Label);
    atr_SubstituteFormat(t, 2, atr_translate(what).Result());
    atr_SubstituteFormat(t, 3, static_cast<unsigned int>(m_Pos));
    NEX_THROW(nex_TextException(t.Result()));
  }

  std::size_t Left() const { return m_Size - m_Pos; }
  void Need(std::size_t n) const {
    if (n > Left()) Damaged("truncated");
  }
  const unsigned char* Take(std::size_t n) {
    Need(n);
    const unsigned char* p = m_P + m_Pos;
    m_Pos += n;
    return p;
  }
  unsigned U8() { return *Take(1); }
  std::uint32_t U32() {
    const unsigned char* b = Take(4);
    return static_cast<std::uint32_t>(b[0]) | static_cast<std::uint32_t>(b[1]) << 8 |
           static_cast<std::uint32_t>(b[2]) << 16 | static_cast<std::uint32_t>(b[3]) << 24;
  }
  std::uint64_t U64() {
    const std::uint64_t lo = U32();
    return lo | static_cast<std::uint64_t>(U32()) << 32;
  }
  double F64() {
    const std::uint64_t u = U64();
    double v;
    std::memcpy(&v, &u, 8);
    return v;
  }
  cow_String Str() {
    const std::uint32_t n = U32();
    if (n > Left()) Damaged("string longer than the image");
    const unsigned char* p = Take(n);
    cow_String s;
    s.append(reinterpret_cast<const char*>(p), static_cast<int>(n));
    return s;
  }
  // A count of items of at least minBytes each that must fit what is left.
  int Count(std::size_t minBytes) {
    const std::uint32_t n = U32();
    if (n > 0x7FFFFFFFu || static_cast<std::uint64_t>(n) * minBytes > Left()) Damaged("count beyond the image");
    return static_cast<int>(n);
  }

  void ReadHeader(std::uint32_t& uidCount) {
    if (m_Size < kHeaderSize) Damaged("truncated header");
    if (std::memcmp(Take(4), kMagic, 4) != 0) Damaged("not an object store image");
    if (U32() != kVersion) Damaged("unsupported image version");
    const std::uint32_t crc = U32();
    if (utl_crc32(m_P + m_Pos, Left()) != crc) Damaged("checksum mismatch");
    uidCount = U32();
    const std::uint64_t payload = U64();
    if (payload != Left()) Damaged("payload length does not match the image");
    // Only objects refer to identities, and an object record takes at least
    // kMinObject bytes.
    if (uidCount > Left() / kMinObject) Damaged("identity count beyond the image");
    m_Uids.resize(uidCount, cls_Uid(static_cast<cls_UidCatalogEntry*>(nullptr)));
  }

  cls_MemObject* Root() {
    std::unique_ptr<cls_MemObject> root(new cls_MemObject(1, cls_Uid(static_cast<cls_UidCatalogEntry*>(nullptr))));
    const std::uint32_t classID = U32();
    if (classID != 1 || U32() != 0) Damaged("the root is not a store root");
    Fill(*root, 0);
    if (Left() != 0) Damaged("bytes after the tree");
    return root.release();
  }

 private:
  // The rest of an object record after its class ID and identity; o is
  // already owned by its parent, so a failure frees it with the tree.
  void Fill(cls_MemObject& o, int depth) {
    if (depth > kMaxDepth) Damaged("objects nested too deeply");
    o.SetCheckedType(static_cast<cls_CollectionType>(static_cast<int>(U32())));
    const unsigned flags = U8();
    if (flags > 1) Damaged("bad object flags");
    if (flags == 1) {
      cls_MemObject& base = o.SetBase(NewObject());
      Fill(base, depth + 1);
    }
    const int fields = Count(10);
    for (int i = 0; i < fields; ++i) {
      const int id = static_cast<int>(U32());
      const cow_String name = Str();
      if (o.FindField(name) != nullptr) Damaged("field stored twice");
      cls_MemField& f = o.SetField(cls_FieldHandle(name, id));
      const unsigned content = U8();
      if (content == kValue) {
        Value(f.Value(), depth, -1);
      } else if (content == kCollection) {
        Collection(f, depth);
      } else {
        Damaged("bad field content");
      }
    }
    const std::uint64_t blob = U64();
    if (blob > Left()) Damaged("blob longer than the image");
    const unsigned char* p = Take(static_cast<std::size_t>(blob));
    o.MutableBlob().assign(p, p + blob);
  }

  cls_MemObject* NewObject() {
    const std::uint32_t classID = U32();
    const std::uint32_t uid = U32();
    if (uid > m_Uids.size()) Damaged("unknown identity");
    cls_Uid u(static_cast<cls_UidCatalogEntry*>(nullptr));
    if (uid != 0) {
      cls_Uid& shared = m_Uids[uid - 1];
      if (shared.IsEmpty()) shared = cls_Uid();  // a fresh entry, shared by every reference
      u = shared;
    }
    return new cls_MemObject(classID, u);
  }

  // A value; expected is the kind a collection demands (-1: any, -2: an
  // object or null).
  void Value(cls_MemValue& v, int depth, int expected) {
    const unsigned kind = U8();
    if (!IsValueKind(static_cast<int>(kind))) Damaged("bad value kind");
    if (expected == -2 ? (kind != cls_MemObj && kind != cls_MemNull)
                       : (expected >= 0 && static_cast<int>(kind) != expected)) {
      Damaged("value of the wrong kind in a collection");
    }
    switch (kind) {
      case cls_MemString: v.SetString(Str()); break;
      case cls_MemDouble:
      case cls_MemFloat: v.SetReal(static_cast<cls_MemKind>(kind), F64()); break;
      case cls_MemNull: v.SetNull(); break;
      case cls_MemNone: break;
      case cls_MemObj: {
        cls_MemObject* o = NewObject();
        v.SetObject(o);
        Fill(*o, depth + 1);
        break;
      }
      default: v.SetInteger(static_cast<cls_MemKind>(kind), static_cast<long long>(U64())); break;
    }
  }

  void Collection(cls_MemField& f, int depth) {
    const unsigned shape = U8();
    const unsigned element = U8();
    if (shape > cls_MemIntTable) Damaged("bad collection shape");
    if (!IsValueKind(static_cast<int>(element)) || element == cls_MemNone || element == cls_MemNull) {
      Damaged("bad element kind");
    }
    if (shape == cls_MemIntTable && element != cls_MemInt) Damaged("bad element kind");
    cls_MemCollection& c = f.MakeCollection(static_cast<cls_MemShape>(shape), static_cast<cls_MemKind>(element));
    const int expected = element == cls_MemObj ? -2 : static_cast<int>(element);
    if (c.IsPacked()) {
      const std::size_t size = static_cast<std::size_t>(c.ElementSize());
      const int n = Count(size);
      const unsigned char* p = Take(static_cast<std::size_t>(n) * size);
      if (element == cls_MemBool) {
        for (int i = 0; i < n; ++i) {
          if (p[i] > 1) Damaged("bad bool");
        }
      }
      c.ResizePacked(n);
      if (n) std::memcpy(c.PackedData(), p, static_cast<std::size_t>(n) * size);
      return;
    }
    const bool stringKeys = shape == cls_MemMapString;
    const int n = Count(c.IsMap() ? (stringKeys ? 5 : 9) : 1);
    c.Values().reserve(static_cast<std::size_t>(n));
    if (c.IsMap()) c.Keys().reserve(static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i) {
      if (c.IsMap()) {
        cls_MemValue key;
        if (stringKeys) {
          key.SetString(Str());
        } else {
          const long long k = static_cast<long long>(U64());
          const bool fits = shape == cls_MemMapUint ? (k >= 0 && k <= 0xFFFFFFFFLL) : (k >= -0x80000000LL && k <= 0x7FFFFFFFLL);
          if (!fits) Damaged("key out of range");
          key.SetInteger(shape == cls_MemMapUint ? cls_MemUint : cls_MemInt, k);
        }
        if (!c.Keys().empty() && cls_MemCollection::CompareKeys(c.Keys().back(), key) >= 0) {
          Damaged("keys out of order");
        }
        c.Keys().push_back(static_cast<cls_MemValue&&>(key));
      }
      Value(c.Values().emplace_back(), depth, expected);
    }
  }

  const unsigned char* m_P;
  std::size_t m_Size;
  std::size_t m_Pos = 0;
  cow_String m_Label;
  cls_MemVector<cls_Uid> m_Uids;
};

}  // namespace

void utl_FileStore::Encode(const cls_MemObject& root, cls_MemVector<unsigned char>& image) {
  UidIndex uids;
  Sink measure(nullptr);
  {
    Encoder e(measure, uids);
    e.Object(root);
  }
  image.resize(kHeaderSize + measure.Size());
  Sink payload(image.data() + kHeaderSize);
  {
    UidIndex again;  // the same numbering: the walk is the same
    Encoder e(payload, again);
    e.Object(root);
  }
  // The checksum covers everything after itself: the identity count, the
  // payload length and the payload.
  Sink header(image.data());
  header.Bytes(kMagic, 4);
  header.U32(kVersion);
  header.U32(0);
  header.U32(static_cast<std::uint32_t>(uids.size()));
  header.U64(measure.Size());
  Sink crc(image.data() + 8);
  crc.U32(utl_crc32(image.data() + 12, image.size() - 12));
}

cls_MemObject* utl_FileStore::Decode(const void* image, std::size_t size, const cow_String& label) {
  Decoder d(static_cast<const unsigned char*>(image), size, label);
  std::uint32_t uids = 0;
  d.ReadHeader(uids);
  return d.Root();
}
