// Base bodies of the memento slots: nothing happens, factories answer null,
// reads answer their defaults. A store overrides what it supports.
#include "cls/cls_Memento.h"

#include "cls/cls_Collections.h"

cls_AgentRequest::~cls_AgentRequest() = default;
cls_WriteCollectionBase::~cls_WriteCollectionBase() = default;
cls_ReadCollectionBase::~cls_ReadCollectionBase() = default;
cls_AgentListBase::~cls_AgentListBase() = default;
cls_AgentBlob::~cls_AgentBlob() = default;

// ============================================================ cls_MementoWrite

cls_MementoWrite::~cls_MementoWrite() = default;
int cls_MementoWrite::FieldIsPresent(const cls_FieldHandle&) { return 0; }
cls_MementoWrite* cls_MementoWrite::MakeWriteObjWithPtr(const cls_FieldHandle&, unsigned int, const cls_Uid&,
                                                        const void*) {
  return nullptr;
}
cls_MementoWrite* cls_MementoWrite::MakeWriteObj(const cls_FieldHandle&, unsigned int, const cls_Uid&,
                                                 const cls_IntCOW*) {
  return nullptr;
}
cls_MementoWrite* cls_MementoWrite::MakeBaseWriteObj(unsigned int, const cls_Uid&) { return nullptr; }
void cls_MementoWrite::WriteNull(const cls_FieldHandle&) {}
void cls_MementoWrite::Write(const cls_FieldHandle&, const cow_String&) {}
void cls_MementoWrite::Write(const cls_FieldHandle&, const double&) {}
void cls_MementoWrite::Write(const cls_FieldHandle&, const float&) {}
void cls_MementoWrite::Write(const cls_FieldHandle&, const unsigned int&) {}
void cls_MementoWrite::Write(const cls_FieldHandle&, const int&) {}
void cls_MementoWrite::Write(const cls_FieldHandle&, const unsigned short&) {}
void cls_MementoWrite::Write(const cls_FieldHandle&, const short&) {}
void cls_MementoWrite::Write(const cls_FieldHandle&, const unsigned char&) {}
void cls_MementoWrite::Write(const cls_FieldHandle&, const char&) {}
void cls_MementoWrite::Write(const cls_FieldHandle&, const bool&) {}
void cls_MementoWrite::Write(const cls_FieldHandle&, const long long&) {}
cls_WriteListObj* cls_MementoWrite::MakeWriteListObj(const cls_FieldHandle&, int) { return nullptr; }
cls_WriteMapInt2Obj* cls_MementoWrite::MakeWriteMapInt2Obj(const cls_FieldHandle&, int) { return nullptr; }
cls_WriteMapUint2Obj* cls_MementoWrite::MakeWriteMapUint2Obj(const cls_FieldHandle&, int) { return nullptr; }
cls_WriteMapString2Obj* cls_MementoWrite::MakeWriteMapString2Obj(const cls_FieldHandle&, int) { return nullptr; }
cls_WriteListPrim<bool>* cls_MementoWrite::MakeWriteListBool(const cls_FieldHandle&, int) { return nullptr; }
cls_WriteListPrim<cow_String>* cls_MementoWrite::MakeWriteListString(const cls_FieldHandle&, int) { return nullptr; }
cls_WriteListPrim<float>* cls_MementoWrite::MakeWriteListFloat(const cls_FieldHandle&, int) { return nullptr; }
cls_WriteListPrim<double>* cls_MementoWrite::MakeWriteListDouble(const cls_FieldHandle&, int) { return nullptr; }
cls_WriteListPrim<unsigned int>* cls_MementoWrite::MakeWriteListUint(const cls_FieldHandle&, int) { return nullptr; }
cls_WriteListPrim<int>* cls_MementoWrite::MakeWriteListInt(const cls_FieldHandle&, int) { return nullptr; }
cls_WriteMapInt2Prim<unsigned int>* cls_MementoWrite::MakeWriteMapInt2Uint(const cls_FieldHandle&, int) { return nullptr; }
cls_WriteMapInt2Prim<cow_String>* cls_MementoWrite::MakeWriteMapInt2String(const cls_FieldHandle&, int) { return nullptr; }
cls_WriteMapInt2Prim<int>* cls_MementoWrite::MakeWriteMapInt2Int(const cls_FieldHandle&, int) { return nullptr; }
cls_WriteMapInt2Prim<float>* cls_MementoWrite::MakeWriteMapInt2Float(const cls_FieldHandle&, int) { return nullptr; }
cls_WriteMapInt2Prim<double>* cls_MementoWrite::MakeWriteMapInt2Double(const cls_FieldHandle&, int) { return nullptr; }
cls_WriteIntTableInt* cls_MementoWrite::MakeWriteIntTableInt(const cls_FieldHandle&, int) { return nullptr; }
cls_WriteMapUint2Prim<unsigned int>* cls_MementoWrite::MakeWriteMapUint2Uint(const cls_FieldHandle&, int) { return nullptr; }
cls_WriteMapUint2Prim<cow_String>* cls_MementoWrite::MakeWriteMapUint2String(const cls_FieldHandle&, int) { return nullptr; }
cls_WriteMapUint2Prim<int>* cls_MementoWrite::MakeWriteMapUint2Int(const cls_FieldHandle&, int) { return nullptr; }
cls_WriteMapUint2Prim<float>* cls_MementoWrite::MakeWriteMapUint2Float(const cls_FieldHandle&, int) { return nullptr; }
cls_WriteMapUint2Prim<double>* cls_MementoWrite::MakeWriteMapUint2Double(const cls_FieldHandle&, int) { return nullptr; }
cls_WriteMapString2Prim<unsigned int>* cls_MementoWrite::MakeWriteMapString2Uint(const cls_FieldHandle&, int) { return nullptr; }
cls_WriteMapString2Prim<cow_String>* cls_MementoWrite::MakeWriteMapString2String(const cls_FieldHandle&, int) { return nullptr; }
cls_WriteMapString2Prim<int>* cls_MementoWrite::MakeWriteMapString2Int(const cls_FieldHandle&, int) { return nullptr; }
cls_WriteMapString2Prim<float>* cls_MementoWrite::MakeWriteMapString2Float(const cls_FieldHandle&, int) { return nullptr; }
cls_WriteMapString2Prim<double>* cls_MementoWrite::MakeWriteMapString2Double(const cls_FieldHandle&, int) { return nullptr; }
cls_WriteListPrim<unsigned short>* cls_MementoWrite::MakeWriteListUshort(const cls_FieldHandle&, int) { return nullptr; }
cls_WriteListPrim<short>* cls_MementoWrite::MakeWriteListShort(const cls_FieldHandle&, int) { return nullptr; }
cls_WriteListPrim<unsigned char>* cls_MementoWrite::MakeWriteListUchar(const cls_FieldHandle&, int) { return nullptr; }
cls_WriteListPrim<char>* cls_MementoWrite::MakeWriteListChar(const cls_FieldHandle&, int) { return nullptr; }
cls_WriteListPrim<long long>* cls_MementoWrite::MakeWriteListLongLong(const cls_FieldHandle&, int) { return nullptr; }
cls_AgentListPrim<float>* cls_MementoWrite::MakeAgentListFloat(const cls_FieldHandle&) { return nullptr; }
cls_AgentListPrim<int>* cls_MementoWrite::MakeAgentListInt(const cls_FieldHandle&) { return nullptr; }
cls_AgentListPrim<double>* cls_MementoWrite::MakeAgentListDouble(const cls_FieldHandle&) { return nullptr; }
cls_AgentListBase* cls_MementoWrite::MakeAgentList(const cls_FieldHandle&, cls_CollectionType) { return nullptr; }
cls_AgentBlob* cls_MementoWrite::MakeAgentBlob() { return nullptr; }
void cls_MementoWrite::CheckCollectionType(cls_CollectionType, const cow_String&) {}
bool cls_MementoWrite::CopyBranch(cls_AgentProxy*, const cls_FieldHandle&) { return false; }
void cls_MementoWrite::StartSharedPtrOutput() {}
void cls_MementoWrite::EndSharedPtrOutput() {}

// ============================================================ cls_MementoRead

cls_MementoRead::~cls_MementoRead() = default;
cow_String cls_MementoRead::DbId() const { return cow_String(); }
cls_Uid cls_MementoRead::GetUid() const { return cls_Uid(nullptr); }
int cls_MementoRead::FieldIsPresent(const cls_FieldHandle&) const { return 0; }
int cls_MementoRead::DataIsPresent(const cls_FieldHandle&) const { return 0; }
unsigned int cls_MementoRead::ClassId() const { return 0; }
cls_MementoRead* cls_MementoRead::MakeReadObj(const cls_FieldHandle&) { return nullptr; }
cls_MementoRead* cls_MementoRead::MakeBaseReadObj() { return nullptr; }
cow_String cls_MementoRead::Read(const cls_FieldHandle&, const cow_String& dflt) const { return dflt; }
double cls_MementoRead::Read(const cls_FieldHandle&, const double& dflt) const { return dflt; }
float cls_MementoRead::Read(const cls_FieldHandle&, const float& dflt) const { return dflt; }
unsigned int cls_MementoRead::Read(const cls_FieldHandle&, const unsigned int& dflt) const { return dflt; }
int cls_MementoRead::Read(const cls_FieldHandle&, const int& dflt) const { return dflt; }
unsigned short cls_MementoRead::Read(const cls_FieldHandle&, const unsigned short& dflt) const { return dflt; }
short cls_MementoRead::Read(const cls_FieldHandle&, const short& dflt) const { return dflt; }
unsigned char cls_MementoRead::Read(const cls_FieldHandle&, const unsigned char& dflt) const { return dflt; }
char cls_MementoRead::Read(const cls_FieldHandle&, const char& dflt) const { return dflt; }
bool cls_MementoRead::Read(const cls_FieldHandle&, const bool& dflt) const { return dflt; }
long long cls_MementoRead::Read(const cls_FieldHandle&, const long long& dflt) const { return dflt; }
cls_ReadListObj* cls_MementoRead::MakeReadListObj(const cls_FieldHandle&) { return nullptr; }
cls_ReadMapInt2Obj* cls_MementoRead::MakeReadMapInt2Obj(const cls_FieldHandle&) { return nullptr; }
cls_ReadMapUint2Obj* cls_MementoRead::MakeReadMapUint2Obj(const cls_FieldHandle&) { return nullptr; }
cls_ReadMapString2Obj* cls_MementoRead::MakeReadMapString2Obj(const cls_FieldHandle&) { return nullptr; }
cls_ReadListPrim<bool>* cls_MementoRead::MakeReadListBool(const cls_FieldHandle&) { return nullptr; }
cls_ReadListPrim<cow_String>* cls_MementoRead::MakeReadListString(const cls_FieldHandle&) { return nullptr; }
cls_ReadListPrim<float>* cls_MementoRead::MakeReadListFloat(const cls_FieldHandle&) { return nullptr; }
cls_ReadListPrim<double>* cls_MementoRead::MakeReadListDouble(const cls_FieldHandle&) { return nullptr; }
cls_ReadListPrim<unsigned int>* cls_MementoRead::MakeReadListUint(const cls_FieldHandle&) { return nullptr; }
cls_ReadListPrim<int>* cls_MementoRead::MakeReadListInt(const cls_FieldHandle&) { return nullptr; }
cls_ReadMapInt2Prim<unsigned int>* cls_MementoRead::MakeReadMapInt2Uint(const cls_FieldHandle&) { return nullptr; }
cls_ReadMapInt2Prim<cow_String>* cls_MementoRead::MakeReadMapInt2String(const cls_FieldHandle&) { return nullptr; }
cls_ReadMapInt2Prim<int>* cls_MementoRead::MakeReadMapInt2Int(const cls_FieldHandle&) { return nullptr; }
cls_ReadMapInt2Prim<float>* cls_MementoRead::MakeReadMapInt2Float(const cls_FieldHandle&) { return nullptr; }
cls_ReadMapInt2Prim<double>* cls_MementoRead::MakeReadMapInt2Double(const cls_FieldHandle&) { return nullptr; }
cls_ReadIntTableInt* cls_MementoRead::MakeReadIntTableInt(const cls_FieldHandle&) { return nullptr; }
cls_ReadMapUint2Prim<unsigned int>* cls_MementoRead::MakeReadMapUint2Uint(const cls_FieldHandle&) { return nullptr; }
cls_ReadMapUint2Prim<cow_String>* cls_MementoRead::MakeReadMapUint2String(const cls_FieldHandle&) { return nullptr; }
cls_ReadMapUint2Prim<int>* cls_MementoRead::MakeReadMapUint2Int(const cls_FieldHandle&) { return nullptr; }
cls_ReadMapUint2Prim<float>* cls_MementoRead::MakeReadMapUint2Float(const cls_FieldHandle&) { return nullptr; }
cls_ReadMapUint2Prim<double>* cls_MementoRead::MakeReadMapUint2Double(const cls_FieldHandle&) { return nullptr; }
cls_ReadMapString2Prim<unsigned int>* cls_MementoRead::MakeReadMapString2Uint(const cls_FieldHandle&) { return nullptr; }
cls_ReadMapString2Prim<cow_String>* cls_MementoRead::MakeReadMapString2String(const cls_FieldHandle&) { return nullptr; }
cls_ReadMapString2Prim<int>* cls_MementoRead::MakeReadMapString2Int(const cls_FieldHandle&) { return nullptr; }
cls_ReadMapString2Prim<float>* cls_MementoRead::MakeReadMapString2Float(const cls_FieldHandle&) { return nullptr; }
cls_ReadMapString2Prim<double>* cls_MementoRead::MakeReadMapString2Double(const cls_FieldHandle&) { return nullptr; }
cls_ReadListPrim<unsigned short>* cls_MementoRead::MakeReadListUshort(const cls_FieldHandle&) { return nullptr; }
cls_ReadListPrim<short>* cls_MementoRead::MakeReadListShort(const cls_FieldHandle&) { return nullptr; }
cls_ReadListPrim<unsigned char>* cls_MementoRead::MakeReadListUchar(const cls_FieldHandle&) { return nullptr; }
cls_ReadListPrim<char>* cls_MementoRead::MakeReadListChar(const cls_FieldHandle&) { return nullptr; }
cls_ReadListPrim<long long>* cls_MementoRead::MakeReadListLongLong(const cls_FieldHandle&) { return nullptr; }
cls_AgentListPrim<float>* cls_MementoRead::MakeAgentListFloat(const cls_FieldHandle&) { return nullptr; }
cls_AgentListPrim<int>* cls_MementoRead::MakeAgentListInt(const cls_FieldHandle&) { return nullptr; }
cls_AgentListPrim<double>* cls_MementoRead::MakeAgentListDouble(const cls_FieldHandle&) { return nullptr; }
cls_AgentListBase* cls_MementoRead::MakeAgentList(const cls_FieldHandle&, cls_CollectionType) { return nullptr; }
cls_CollectionType cls_MementoRead::StoredCollectionType(const cls_FieldHandle&) const { return cls_CollNone; }
int cls_MementoRead::IsNullObject(const cls_FieldHandle&) const { return 0; }
cls_AgentBlob* cls_MementoRead::MakeAgentBlob() { return nullptr; }
int cls_MementoRead::FieldNames(cow_List<cow_String>&) const { return 0; }
