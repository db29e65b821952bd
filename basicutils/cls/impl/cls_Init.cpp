#include "UTI_CoreUtils.h"
#include "cls/cls_ClassRegistrar.h"
#include "cls/cls_ThreadObjects.h"
#include "cls/cls_Visitor.h"
#include "cls/cls_xpString.h"
#include "typ/typ_ArchCompTable.h"
#include "uti/UTI_BasicUtils.h"

namespace {
constinit unsigned g_Uses = 0;

// The module's classes in the type table, class number k at index k - 1.
// Class 1 (0x230001) is the stored form of every primitive array
// (cls_ArrayPrim<T>) and of the list and array exchange types; class 2
// (0x230002) that of the string-to-unsigned map exchange type; 8 that of the
// other map exchange types and 10 (0x23000A) that of the maps of exchange
// objects.
constexpr unsigned kRoot = 1;
constexpr typ_Entry kClsEntries[] = {
    {kRoot, "cls_InternalList", 4},     // 0x230001
    {kRoot, "cls_InternalMap", 4},      // 0x230002
    {kRoot, "cls_SimpleArrayPrim", 4},  // 0x230003
    {kRoot, "cls_2dArrayPrim", 4},      // 0x230004
    {kRoot, "cls_xpString", 4},         // 0x230005
    {kRoot, "cls_xpTrString", 4},       // 0x230006
    {kRoot, "cls_xpList", 4},           // 0x230007
    {kRoot, "cls_xpMap", 4},            // 0x230008
    {kRoot, "cls_Blob", 4},             // 0x230009
    {kRoot, "cls_xoMap", 4},            // 0x23000A
};
constexpr unsigned short kClsModule = 35;
}  // namespace

void cls_initialize(int& count) {
  if (!UTI_ModuleEnter(g_Uses, count, "cls")) return;
  typ_ArchCompEntry e;
  e.m_Entries = kClsEntries;
  e.m_Count = sizeof(kClsEntries) / sizeof(kClsEntries[0]);
  typ_ArchCompTable::InsertEntry(kClsModule, e);
  cls_MetadataRegistrar& m = omi_Singleton<cls_MetadataRegistrar>::Instance();
  m.initClassMetadata(&cls_xpString::InitializeMetadata, 2);
  m.initClassMetadata(&cls_xpTrString::InitializeMetadata, 2);
}

void cls_finalize(int& count) {
  if (!UTI_ModuleLeave(g_Uses, count, "cls")) return;
  thr_ThreadSingletonBase<cls_Static>::ReleaseCurrentThread();
  thr_ThreadSingletonBase<cls_ExtQuant>::ReleaseCurrentThread();
  omi_Singleton<cls_MetadataRegistrar>::Destroy();
}

// ================================================== string exchange types

namespace {
constexpr cls_FieldName kString{"STRING", 0};
constexpr cls_FieldName kTrString{"TRSTRING", 0};
}  // namespace

template class cls_AbsTypeAdapter<cls_xpString>;
template class cls_TypeAdapter<cls_xpString>;
template class cls_AbsTypeAdapter<cls_xpTrString>;
template class cls_TypeAdapter<cls_xpTrString>;

// The identity is read first: the store names the object before its text.
cls_xpString::cls_xpString(const cls_ReadVisitor& v) : m_Uid(v.GetUid()) {
  m_Value = v.Read(kString, cow_String());
}

cls_xpString::~cls_xpString() = default;

void cls_xpString::DBWrite(const cls_WriteVisitor& v) const {
  if (!v.StartWrite(TypeId(), m_Uid)) return;
  v.Write(kString, m_Value);
}

void cls_xpString::InitializeMetadata(cls_ClassRegistrar& r) {
  r.AddClassMD(new cls_TypeAdapter<cls_xpString>("cow_String", 800, 1))
      .AddAttribute(kString, cls_AttrString, 1, cls_CollNone);
}

cls_xpTrString::cls_xpTrString(const cls_ReadVisitor& v) : m_Uid(v.GetUid()) {
  m_Value = v.Read(kTrString, atr_String());
}

cls_xpTrString::~cls_xpTrString() = default;

void cls_xpTrString::DBWrite(const cls_WriteVisitor& v) const {
  if (!v.StartWrite(TypeId(), m_Uid)) return;
  v.Write(kTrString, m_Value);
}

void cls_xpTrString::InitializeMetadata(cls_ClassRegistrar& r) {
  r.AddClassMD(new cls_TypeAdapter<cls_xpTrString>("atr_String", 800, 1))
      .AddAttribute(kTrString, cls_AttrString, 1, cls_CollNone);
}
