// cow_List against std::deque over arbitrary operation sequences, for int
// and string elements (both instantiated in the library). Copies taken along
// the way must keep their content whatever happens to the list afterwards,
// and every operation must leave the list equal to the model.
#include <algorithm>
#include <deque>
#include <vector>

#include "FuzzSupport.h"
#include "cow/cow_List.h"
#include "cow/cow_String.h"

using vnkfuzz::Str;

namespace {

constexpr int kMaxCount = 4096;
constexpr int kMaxCopies = 4;

template <class T>
struct Traits;
template <>
struct Traits<int> {
  typedef int Model;
  static int Make(int v) { return v; }
  static int ToModel(int v) { return v; }
};
template <>
struct Traits<cow_String> {
  typedef std::string Model;
  static cow_String Make(int v) { return cow_String(std::to_string(v).c_str()); }
  static std::string ToModel(const cow_String& v) { return Str(v); }
};

template <class T>
class Run {
 public:
  typedef typename Traits<T>::Model M;
  explicit Run(vnkfuzz::Bytes& in) : m_In(in) {}

  void Go() {
    for (int step = 0; step < 200 && !m_In.Empty(); ++step) {
      Step();
      Check(m_List, m_Model, "list");
      if (step % 8 == 0) CheckCopies();
    }
    CheckCopies();
  }

 private:
  int N() const { return static_cast<int>(m_Model.size()); }
  T Make(int v) const { return Traits<T>::Make(v); }
  // Small values so that member searches find something.
  int Value() { return static_cast<int>(m_In.Below(64)) - 8; }

  void Step() {
    const int n = N();
    switch (m_In.Below(22)) {
      case 0: {
        int v = Value();
        m_List.Append(Make(v));
        m_Model.push_back(v);
        break;
      }
      case 1: {
        int v = Value();
        m_List.Prepend(Make(v));
        m_Model.push_front(v);
        break;
      }
      case 2: {
        int i = static_cast<int>(m_In.Below(n + 1)), v = Value();
        m_List.InsertIndex(i, Make(v));
        m_Model.insert(m_Model.begin() + i, v);
        break;
      }
      case 3:
        if (n > 0) {
          int i = static_cast<int>(m_In.Below(n));
          m_List.RemoveIndex(i);
          m_Model.erase(m_Model.begin() + i);
        }
        break;
      case 4:
        if (n > 0) {
          VNKFUZZ_CHECK(Traits<T>::ToModel(m_List.Pop()) == M(Model(m_Model.back())), "Pop");
          m_Model.pop_back();
        }
        break;
      case 5:
        if (n > 0) {
          int i = static_cast<int>(m_In.Below(n)), v = Value();
          m_List.Get(i) = Make(v);
          m_Model[i] = v;
        }
        break;
      case 6: {  // a run of appends or prepends across block boundaries
        int k = static_cast<int>(m_In.Below(300));
        bool front = m_In.Bool();
        for (int j = 0; j < k && N() < kMaxCount; ++j) {
          if (front) m_List.Prepend(Make(j)), m_Model.push_front(j);
          else m_List.Append(Make(j)), m_Model.push_back(j);
        }
        break;
      }
      case 7: {
        int k = static_cast<int>(m_In.Below(n + 100)), v = Value();
        if (k > kMaxCount) break;
        m_List.Fill(k, Make(v));
        while (N() < k) m_Model.push_back(v);
        break;
      }
      case 8:
        if (2 * n <= kMaxCount) {
          m_List.Concatenate(m_List);  // with itself
          std::deque<int> again = m_Model;
          m_Model.insert(m_Model.end(), again.begin(), again.end());
        }
        break;
      case 9:
        if (!m_Copies.empty()) {
          int j = static_cast<int>(m_In.Below(m_Copies.size()));
          if (n + static_cast<int>(m_CopyModels[j].size()) > kMaxCount) break;
          m_List.Concatenate(m_Copies[j]);
          m_Model.insert(m_Model.end(), m_CopyModels[j].begin(), m_CopyModels[j].end());
        }
        break;
      case 10: {
        int k = static_cast<int>(m_In.Below(n + 1));
        m_List.Resize(k);
        m_Model.resize(k);
        break;
      }
      case 11: {
        std::vector<T> a;
        std::deque<int> m;
        for (int j = static_cast<int>(m_In.Below(70)); j > 0; --j) a.push_back(Make(j)), m.push_back(j);
        m_List.SetFromArray(a.empty() ? nullptr : a.data(), static_cast<int>(a.size()));
        m_Model = m;
        break;
      }
      case 12: {  // from and to are clamped, whatever they are
        int from = static_cast<int>(m_In.Below(n + 20)) - 10, to = static_cast<int>(m_In.Below(n + 20)) - 10;
        cow_List<T> s = m_List.Slice(from, to);
        int f = std::max(from, 0), t = std::min(std::max(to, f), n);
        f = std::min(f, t);
        m_List = s;
        m_Model = std::deque<int>(m_Model.begin() + f, m_Model.begin() + t);
        break;
      }
      case 13:  // a copy to keep
        if (static_cast<int>(m_Copies.size()) < kMaxCopies) {
          m_Copies.push_back(m_List);
          m_CopyModels.push_back(m_Model);
        } else {
          int j = static_cast<int>(m_In.Below(kMaxCopies));
          m_Copies[j] = m_List;
          m_CopyModels[j] = m_Model;
        }
        break;
      case 14:
        if (!m_Copies.empty()) {
          int j = static_cast<int>(m_In.Below(m_Copies.size()));
          m_List = m_Copies[j];
          m_Model = m_CopyModels[j];
        }
        break;
      case 15: {
        m_List.Initialize(static_cast<int>(m_In.Below(100000)));
        m_Model.clear();
        break;
      }
      case 16: {
        m_List.Sort();
        std::vector<M> sorted;
        for (int v : m_Model) sorted.push_back(Model(v));
        std::sort(sorted.begin(), sorted.end());
        std::deque<int> back;
        for (const M& v : sorted) back.push_back(FromModel(v));
        m_Model = back;
        break;
      }
      case 17: {
        int v = Value();
        auto it = std::find(m_Model.begin(), m_Model.end(), v);
        VNKFUZZ_CHECK(m_List.FindMember(Make(v)) == (it == m_Model.end() ? -1 : int(it - m_Model.begin())), "FindMember");
        switch (m_In.Below(3)) {
          case 0:
            m_List.RemoveMember(Make(v));
            if (it != m_Model.end()) m_Model.erase(it);
            break;
          case 1:
            VNKFUZZ_CHECK(m_List.AppendUnlessMember(Make(v)) == (it == m_Model.end()), "AppendUnlessMember");
            if (it == m_Model.end()) m_Model.push_back(v);
            break;
          default: {
            int i = static_cast<int>(m_In.Below(n + 1));
            VNKFUZZ_CHECK(m_List.InsertUnlessMember(i, Make(v)) == (it == m_Model.end()), "InsertUnlessMember");
            if (it == m_Model.end()) m_Model.insert(m_Model.begin() + i, v);
          }
        }
        break;
      }
      case 18:
        if (!m_Copies.empty()) {
          int j = static_cast<int>(m_In.Below(m_Copies.size()));
          cow_List<T> d = m_List.Difference(m_Copies[j]);
          std::deque<int> md;
          for (int v : m_Model)
            if (std::find(m_CopyModels[j].begin(), m_CopyModels[j].end(), v) == m_CopyModels[j].end()) md.push_back(v);
          Check(d, md, "Difference");
          VNKFUZZ_CHECK(m_List.IsEqual(m_Copies[j]) == (m_Model == m_CopyModels[j]), "IsEqual");
        }
        break;
      case 19: {
        int count = -1;
        T* a = m_List.GetCArray(count);
        VNKFUZZ_CHECK(count == n && (n == 0) == (a == nullptr), "GetCArray count");
        for (int i = 0; i < count; ++i) VNKFUZZ_CHECK(Traits<T>::ToModel(a[i]) == Model(m_Model[i]), "GetCArray");
        for (int i = 0; i < count; ++i) a[i].~T();
        mem_Free(a);
        break;
      }
      case 20: {
        cow_List<T>& self = m_List;
        m_List = self;
        break;
      }
      default: {  // writes through every element of a shared list
        if (m_Copies.empty()) break;
        for (int i = 0; i < n; i += 1 + static_cast<int>(m_In.Below(8))) {
          m_List.Get(i) = Make(m_Model[i] + 1);
          ++m_Model[i];
        }
        break;
      }
    }
  }

  static M Model(int v) { return Traits<T>::ToModel(Traits<T>::Make(v)); }
  static int FromModel(int v) { return v; }
  static int FromModel(const std::string& v) { return std::stoi(v); }

  void Check(const cow_List<T>& l, const std::deque<int>& m, const char* what) {
    VNKFUZZ_CHECK(l.Count() == static_cast<int>(m.size()), what);
    int i = 0;
    for (cow_ListIter<T> it(l); it.More(); it.Next(), ++i)
      VNKFUZZ_CHECK(i < l.Count() && Traits<T>::ToModel(*it) == Model(m[i]), what);
    VNKFUZZ_CHECK(i == l.Count(), what);
    for (int k = 0; k < l.Count(); k += 7) VNKFUZZ_CHECK(Traits<T>::ToModel(l.ConstGet(k)) == Model(m[k]), what);
  }
  void CheckCopies() {
    for (std::size_t j = 0; j < m_Copies.size(); ++j) Check(m_Copies[j], m_CopyModels[j], "copy changed");
  }

  vnkfuzz::Bytes& m_In;
  cow_List<T> m_List;
  std::deque<int> m_Model;
  std::vector<cow_List<T>> m_Copies;
  std::vector<std::deque<int>> m_CopyModels;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  vnkfuzz::Bytes in(data, size);
  if (in.Bool()) Run<cow_String>(in).Go();
  else Run<int>(in).Go();
  return 0;
}
