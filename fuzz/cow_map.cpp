// cow_Map against std::map over arbitrary operation sequences, with int,
// unsigned and string keys. Copies taken along the way must keep their
// entries whatever happens to the map afterwards; both walks must visit every
// entry once, the sorted one in key order.
#include <map>
#include <set>
#include <vector>

#include "FuzzSupport.h"
#include "cow/cow_Map.h"
#include "cow/cow_String.h"

using vnkfuzz::Str;

namespace {

constexpr int kMaxCopies = 4;

template <class K>
struct Keys;
template <>
struct Keys<int> {
  typedef int Model;
  // Small numbers, signs and lone high bits: the paths that share prefixes.
  static int Make(vnkfuzz::Bytes& in) {
    switch (in.Below(4)) {
      case 0: return static_cast<int>(in.Below(32)) - 16;
      case 1: return static_cast<int>((1u << in.Below(32)) - in.Below(2));
      case 2: return static_cast<int>(in.U32());
      default: return static_cast<int>(in.Below(1024));
    }
  }
  static int ToModel(int k) { return k; }
};
template <>
struct Keys<unsigned> {
  typedef unsigned Model;
  static unsigned Make(vnkfuzz::Bytes& in) { return static_cast<unsigned>(Keys<int>::Make(in)); }
  static unsigned ToModel(unsigned k) { return k; }
};
template <>
struct Keys<cow_String> {
  typedef std::string Model;
  // Short strings over a few letters, high bytes and the zero byte: a key is
  // its text up to the first zero byte, so "a" and "a\0b" are one key.
  static cow_String Make(vnkfuzz::Bytes& in) {
    static const char kChars[] = {'a', 'b', 'c', 'A', '0', ' ', '\x7f', '\x80', '\xff', 'z', '\0'};
    std::string s;
    for (unsigned n = in.Below(7); n > 0; --n) s += kChars[in.Below(sizeof kChars)];
    return cow_String(s.data(), static_cast<int>(s.size()));
  }
  static std::string ToModel(const cow_String& k) {
    const std::string s = Str(k);
    return s.substr(0, s.find('\0'));
  }
};

template <class K>
class Run {
 public:
  typedef typename Keys<K>::Model MK;
  typedef std::map<MK, int> Model;
  explicit Run(vnkfuzz::Bytes& in) : m_In(in) {}

  void Go() {
    for (int step = 0; step < 300 && !m_In.Empty(); ++step) {
      Step();
      VNKFUZZ_CHECK(m_Map.Count() == static_cast<int>(m_Model.size()), "count");
      if (step % 16 == 0) CheckAll();
    }
    CheckAll();
  }

 private:
  void Step() {
    K k = Keys<K>::Make(m_In);
    MK mk = Keys<K>::ToModel(k);
    auto it = m_Model.find(mk);
    switch (m_In.Below(12)) {
      case 0:
      case 1:
      case 2: {
        int v = static_cast<int>(m_In.Below(1000));
        VNKFUZZ_CHECK(m_Map.Insert(k, v), "Insert");
        m_Model[mk] = v;
        break;
      }
      case 3: {  // Get inserts a missing key with 0
        int v = static_cast<int>(m_In.Below(1000));
        int& slot = m_Map.Get(k);
        VNKFUZZ_CHECK(slot == (it == m_Model.end() ? 0 : it->second), "Get");
        slot = v;
        m_Model[mk] = v;
        break;
      }
      case 4:
      case 5:
        VNKFUZZ_CHECK(m_Map.Remove(k) == (it != m_Model.end()), "Remove");
        if (it != m_Model.end()) m_Model.erase(it);
        break;
      case 6: {
        const int* p = m_Map.FindPtr(k);
        VNKFUZZ_CHECK((p != nullptr) == (it != m_Model.end()) && m_Map.IsMember(k) == (p != nullptr), "FindPtr");
        VNKFUZZ_CHECK(m_Map.ConstGet(k) == (it == m_Model.end() ? 0 : it->second), "ConstGet");
        if (p) VNKFUZZ_CHECK(*p == it->second, "FindPtr value");
        break;
      }
      case 7:  // a copy to keep
        if (static_cast<int>(m_Copies.size()) < kMaxCopies) {
          m_Copies.push_back(m_Map);
          m_CopyModels.push_back(m_Model);
        } else {
          int j = static_cast<int>(m_In.Below(kMaxCopies));
          m_Copies[j] = m_Map;
          m_CopyModels[j] = m_Model;
        }
        break;
      case 8:
        if (!m_Copies.empty()) {
          int j = static_cast<int>(m_In.Below(m_Copies.size()));
          m_Map = m_Copies[j];
          m_Model = m_CopyModels[j];
        }
        break;
      case 9:
        if (m_In.Below(4) == 0) {
          m_Map.Clear();
          m_Model.clear();
        } else {
          cow_Map<K, int>& self = m_Map;
          m_Map = self;
        }
        break;
      case 10:  // remove every key of a copy, or the entries in turn
        if (!m_Copies.empty()) {
          int j = static_cast<int>(m_In.Below(m_Copies.size()));
          for (const auto& e : m_CopyModels[j]) {
            K key = KeyOf(m_Copies[j], e.first);
            VNKFUZZ_CHECK(m_Map.Remove(key) == (m_Model.erase(e.first) == 1), "Remove copy's key");
          }
        }
        break;
      default: {  // a walk while the map changes: the walk keeps its own copy
        cow_ConstMapIterator<K, int> walk(m_Map);
        Model seen;
        for (; walk.More(); walk.Next()) {
          VNKFUZZ_CHECK(seen.emplace(Keys<K>::ToModel(walk.Key()), walk.Value()).second, "key visited twice");
          K other = Keys<K>::Make(m_In);
          m_Map.Insert(other, 7);
          m_Model[Keys<K>::ToModel(other)] = 7;
          if (m_In.Empty()) break;
        }
        break;
      }
    }
  }

  // The key object of a model key, as the map holds it.
  static K KeyOf(const cow_Map<K, int>& m, const MK& mk) {
    for (cow_ConstMapIterator<K, int> it(m); it.More(); it.Next())
      if (Keys<K>::ToModel(it.Key()) == mk) return it.Key();
    vnkfuzz::Fail("key of a copy not found");
  }

  void Check(const cow_Map<K, int>& m, const Model& model, const char* what) {
    VNKFUZZ_CHECK(m.Count() == static_cast<int>(model.size()), what);
    auto e = model.begin();
    for (cow_ConstMapSortedIt<K, int> it(m); it.More(); it.Next(), ++e) {
      VNKFUZZ_CHECK(e != model.end() && Keys<K>::ToModel(it.Key()) == e->first && it.Value() == e->second, what);
      VNKFUZZ_CHECK(m.IsMember(it.Key()) && m.ConstGet(it.Key()) == e->second, what);
    }
    VNKFUZZ_CHECK(e == model.end(), what);
    int n = 0;
    for (cow_ConstMapIterator<K, int> it(m); it.More(); it.Next()) ++n;
    VNKFUZZ_CHECK(n == m.Count(), what);
    cow_List<K> keys = cow_MapUtils<K, int>::cow_Keys(m);
    cow_List<int> values = cow_MapUtils<K, int>::cow_Values(m);
    VNKFUZZ_CHECK(keys.Count() == m.Count() && values.Count() == m.Count(), what);
    e = model.begin();
    for (int i = 0; i < keys.Count(); ++i, ++e)
      VNKFUZZ_CHECK(Keys<K>::ToModel(keys.ConstGet(i)) == e->first && values.ConstGet(i) == e->second, what);
  }
  void CheckAll() {
    Check(m_Map, m_Model, "map");
    for (std::size_t j = 0; j < m_Copies.size(); ++j) Check(m_Copies[j], m_CopyModels[j], "copy changed");
  }

  vnkfuzz::Bytes& m_In;
  cow_Map<K, int> m_Map;
  Model m_Model;
  std::vector<cow_Map<K, int>> m_Copies;
  std::vector<Model> m_CopyModels;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  vnkfuzz::Bytes in(data, size);
  switch (in.Below(3)) {
    case 0: Run<int>(in).Go(); break;
    case 1: Run<unsigned>(in).Go(); break;
    default: Run<cow_String>(in).Go(); break;
  }
  return 0;
}
