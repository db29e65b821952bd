// Replaying a stored object into any write memento: the stored tree drives
// the memento's slots as the object's own DBWrite would.
#include <cstring>
#include <type_traits>

#include "cls/cls_MemoryStore.h"

namespace {

template <class T>
T Load(const unsigned char* p) {
  T v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

void ReplayObject(const cls_MemObject& o, cls_MementoWrite* m, const cow_String& fieldName) {
  if (m == nullptr) return;
  if (o.CheckedType() != cls_CollNone) m->CheckCollectionType(o.CheckedType(), fieldName);
  cls_MemStore::Replay(o, *m);
  cls_Release(m);
}

// A stored value written as what it is.
void ReplayValue(cls_MementoWrite& m, const cls_FieldHandle& f, const cls_MemValue& v) {
  switch (v.Kind()) {
    case cls_MemString: m.Write(f, v.String()); break;
    case cls_MemDouble: m.Write(f, v.Real()); break;
    case cls_MemFloat: m.Write(f, static_cast<float>(v.Real())); break;
    case cls_MemUint: m.Write(f, static_cast<unsigned int>(v.Integer())); break;
    case cls_MemInt: m.Write(f, static_cast<int>(v.Integer())); break;
    case cls_MemUshort: m.Write(f, static_cast<unsigned short>(v.Integer())); break;
    case cls_MemShort: m.Write(f, static_cast<short>(v.Integer())); break;
    case cls_MemUchar: m.Write(f, static_cast<unsigned char>(v.Integer())); break;
    case cls_MemChar: m.Write(f, static_cast<char>(v.Integer())); break;
    case cls_MemBool: m.Write(f, v.Integer() != 0); break;
    case cls_MemLongLong: m.Write(f, v.Integer()); break;
    case cls_MemNull: m.WriteNull(f); break;
    case cls_MemObj: {
      const cls_MemObject& o = *v.Object();
      ReplayObject(o, m.MakeWriteObj(f, o.ClassID(), o.Uid(), nullptr), f.m_FieldName);
      break;
    }
    default: break;
  }
}

// Element i of a list, as T.
template <class T>
T ListElement(const cls_MemCollection& c, int i) {
  if constexpr (std::is_arithmetic_v<T>) {
    if (c.IsPacked()) return Load<T>(c.PackedData() + static_cast<std::size_t>(i) * sizeof(T));
    return static_cast<T>(c.Values()[static_cast<std::size_t>(i)].Integer());
  } else {
    return c.Values()[static_cast<std::size_t>(i)].String();
  }
}
template <class T>
T MapValue(const cls_MemValue& v) {
  if constexpr (std::is_same_v<T, cow_String>) {
    return v.String();
  } else if constexpr (std::is_floating_point_v<T>) {
    return static_cast<T>(v.Real());
  } else {
    return static_cast<T>(v.Integer());
  }
}

template <class T>
void ReplayList(cls_WriteListPrim<T>* w, const cls_MemCollection& c) {
  if (w == nullptr) return;
  if constexpr (std::is_arithmetic_v<T>) {
    if (c.IsPacked()) {
      // Block by block through an aligned copy: the bytes are the elements.
      T block[512];
      for (int i = 0; i < c.Count(); i += 512) {
        const int n = c.Count() - i < 512 ? c.Count() - i : 512;
        std::memcpy(block, c.PackedData() + static_cast<std::size_t>(i) * sizeof(T), static_cast<std::size_t>(n) * sizeof(T));
        w->AppendBlock(block, n);
      }
      cls_Release(w);
      return;
    }
  }
  for (int i = 0; i < c.Count(); ++i) w->Append(ListElement<T>(c, i));
  cls_Release(w);
}

template <class K>
K KeyOf(const cls_MemValue& k) {
  if constexpr (std::is_same_v<K, cow_String>) {
    return k.String();
  } else {
    return static_cast<K>(k.Integer());
  }
}

template <class K, class T>
void ReplayMap(cls_WriteMapPrim<K, T>* w, const cls_MemCollection& c) {
  if (w == nullptr) return;
  for (int i = 0; i < c.Count(); ++i) {
    w->Insert(KeyOf<K>(c.Keys()[static_cast<std::size_t>(i)]), MapValue<T>(c.Values()[static_cast<std::size_t>(i)]));
  }
  cls_Release(w);
}

// An object element, or null.
void ReplayElement(const cls_MemValue& v, const cls_AgentRequest& request, const cow_String& fieldName) {
  const cls_MemObject& o = *v.Object();
  ReplayObject(o, request.MakeMemento(o.ClassID(), o.Uid(), nullptr), fieldName);
}

template <class K, class W>
void ReplayObjectMap(W* w, const cls_MemCollection& c, const cow_String& fieldName) {
  if (w == nullptr) return;
  for (int i = 0; i < c.Count(); ++i) {
    const K key = KeyOf<K>(c.Keys()[static_cast<std::size_t>(i)]);
    const cls_MemValue& v = c.Values()[static_cast<std::size_t>(i)];
    if (v.Kind() == cls_MemObj) {
      ReplayElement(v, w->Element(key), fieldName);
    } else {
      w->InsertNull(key);
    }
  }
  cls_Release(w);
}

// A map of plain values by its value kind; K picks the slot family.
#define CLS_REPLAY_MAPS(Key, K)                                                                       \
  switch (c.Element()) {                                                                              \
    case cls_MemUint: return ReplayMap(m.MakeWriteMap##Key##2Uint(f, n), c);                          \
    case cls_MemString: return ReplayMap(m.MakeWriteMap##Key##2String(f, n), c);                      \
    case cls_MemInt: return ReplayMap(m.MakeWriteMap##Key##2Int(f, n), c);                            \
    case cls_MemFloat: return ReplayMap(m.MakeWriteMap##Key##2Float(f, n), c);                        \
    case cls_MemDouble: return ReplayMap(m.MakeWriteMap##Key##2Double(f, n), c);                      \
    case cls_MemObj:                                                                                  \
    case cls_MemNull: return ReplayObjectMap<K>(m.MakeWriteMap##Key##2Obj(f, n), c, f.m_FieldName);   \
    default: return;                                                                                  \
  }

void ReplayCollection(cls_MementoWrite& m, const cls_FieldHandle& f, const cls_MemCollection& c) {
  const int n = c.Count();
  switch (c.Shape()) {
    case cls_MemList:
      switch (c.Element()) {
        case cls_MemBool: return ReplayList(m.MakeWriteListBool(f, n), c);
        case cls_MemString: return ReplayList(m.MakeWriteListString(f, n), c);
        case cls_MemFloat: return ReplayList(m.MakeWriteListFloat(f, n), c);
        case cls_MemDouble: return ReplayList(m.MakeWriteListDouble(f, n), c);
        case cls_MemUint: return ReplayList(m.MakeWriteListUint(f, n), c);
        case cls_MemInt: return ReplayList(m.MakeWriteListInt(f, n), c);
        case cls_MemUshort: return ReplayList(m.MakeWriteListUshort(f, n), c);
        case cls_MemShort: return ReplayList(m.MakeWriteListShort(f, n), c);
        case cls_MemUchar: return ReplayList(m.MakeWriteListUchar(f, n), c);
        case cls_MemChar: return ReplayList(m.MakeWriteListChar(f, n), c);
        case cls_MemLongLong: return ReplayList(m.MakeWriteListLongLong(f, n), c);
        case cls_MemObj:
        case cls_MemNull: {
          cls_WriteListObj* w = m.MakeWriteListObj(f, n);
          if (w == nullptr) return;
          for (const cls_MemValue& v : c.Values()) {
            if (v.Kind() == cls_MemObj) {
              ReplayElement(v, w->Element(), f.m_FieldName);
            } else {
              w->AppendNull();
            }
          }
          cls_Release(w);
          return;
        }
        default: return;
      }
    case cls_MemMapInt: CLS_REPLAY_MAPS(Int, int)
    case cls_MemMapUint: CLS_REPLAY_MAPS(Uint, unsigned int)
    case cls_MemMapString: CLS_REPLAY_MAPS(String, cow_String)
    case cls_MemIntTable: {
      cls_WriteIntTableInt* w = m.MakeWriteIntTableInt(f, n);
      if (w == nullptr) return;
      for (int i = 0; i < n; ++i) {
        w->Set(static_cast<int>(c.Keys()[static_cast<std::size_t>(i)].Integer()),
               static_cast<int>(c.Values()[static_cast<std::size_t>(i)].Integer()));
      }
      cls_Release(w);
      return;
    }
  }
}
#undef CLS_REPLAY_MAPS

}  // namespace

void cls_MemStore::Replay(const cls_MemObject& node, cls_MementoWrite& m) {
  if (const cls_MemObject* base = node.Base()) {
    if (cls_MementoWrite* b = m.MakeBaseWriteObj(base->ClassID(), base->Uid())) {
      Replay(*base, *b);
      cls_Release(b);
    }
  }
  for (int i = 0; i < node.FieldCount(); ++i) {
    const cls_MemField& field = node.FieldAt(i);
    const cls_FieldHandle f(field.Name(), field.FieldID());
    if (const cls_MemCollection* c = field.Collection()) {
      ReplayCollection(m, f, *c);
    } else {
      ReplayValue(m, f, field.Value());
    }
  }
  if (!node.Blob().empty()) {
    if (cls_AgentBlob* blob = m.MakeAgentBlob()) {
      blob->Write(0, static_cast<int>(node.Blob().size()), node.Blob().data());
      cls_Release(blob);
    }
  }
}
