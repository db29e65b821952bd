// Helpers of the array and exchange-type tests: one object written under
// "obj" in a memory store, read back, or rebuilt by its class ID.
#pragma once

#include "cls/cls_ClassRegistrar.h"
#include "cls/cls_MemoryStore.h"
#include "cls/cls_Visitor.h"

namespace vnktest {

inline cls_FieldHandle Obj() { return cls_FieldHandle("obj", 0); }

// The registrar that pdc_initialize and uti_initialize fill with mask bit 2.
inline const cls_ClassRegistrar& Registrar2() {
  return omi_Singleton<cls_MetadataRegistrar>::Instance().GetRegistrar(2);
}

// Writes object under "obj" (replacing what was there) and answers its node.
template <class T>
const cls_MemObject& Store(cls_MemStore& store, const T& object) {
  {
    cls_WriteVisitor root(store.MakeWriteMemento());
    cls_WriteObject(root, Obj(), object);
  }
  return *store.Root().FieldAt(0).Value().Object();
}

template <class T>
T ReadBack(cls_MemStore& store) {
  cls_ReadVisitor root(store.MakeReadMemento());
  return T(cls_ReadVisitor(root, Obj()));
}

}  // namespace vnktest
