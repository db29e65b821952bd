// The back-end interfaces of the persistence framework: a memento stands for
// one object being written (cls_MementoWrite) or read (cls_MementoRead). A
// store implements them; the visitors (cls_Visitor.h) forward to them.
//
// The order of the virtual operations is fixed: a memento of one build may
// serve code of another. The comments number the slots (0 is the
// destructor). docs/architecture.md, "Persistence", has the full table.
//
// Every slot other than the destructor, NeedsDeletion and the three base
// operations at the end of the write table does nothing in the base: typed
// writes are dropped, factory slots answer null, presence tests answer 0 and
// typed reads answer the default they are given. A store supplies what it
// supports; a factory slot left at null tells the caller that the store has
// no such collection.
//
// Ownership: a memento handed out by a slot belongs to the visitor that asked
// for it, which deletes it at its end when NeedsDeletion() is true.
#pragma once

#include "VNKUTI_BasicExport.h"
#include "cls/cls_ClassMetadata.h"
#include "cls/cls_Collections.h"
#include "cls/cls_Uid.h"
#include "cow/cow_List.h"
#include "cow/cow_String.h"
#include "mem/mem_AllocationOperators.h"

class VNKUTI_BASIC_API cls_MementoWrite : public mem_AllocationOperators {
 public:
  cls_MementoWrite() = default;
  cls_MementoWrite(const cls_MementoWrite&) = delete;
  cls_MementoWrite& operator=(const cls_MementoWrite&) = delete;

  virtual ~cls_MementoWrite();                                 // 0
  virtual bool NeedsDeletion() const { return true; }          // 1
  virtual int FieldIsPresent(const cls_FieldHandle& f);        // 2
  // Children: a nested object (by pointer or carrying a shared
  // representation) and the base-class part of this object.
  virtual cls_MementoWrite* MakeWriteObjWithPtr(const cls_FieldHandle& f, unsigned int classID, const cls_Uid& uid,
                                                const void* object);                                      // 3
  virtual cls_MementoWrite* MakeWriteObj(const cls_FieldHandle& f, unsigned int classID, const cls_Uid& uid,
                                         const cls_IntCOW* rep);                                          // 4
  virtual cls_MementoWrite* MakeBaseWriteObj(unsigned int classID, const cls_Uid& uid);                   // 5
  // Typed writes.
  virtual void WriteNull(const cls_FieldHandle& f);                       // 6
  virtual void Write(const cls_FieldHandle& f, const cow_String& v);      // 7 (atr_String converted)
  virtual void Write(const cls_FieldHandle& f, const double& v);          // 8
  virtual void Write(const cls_FieldHandle& f, const float& v);           // 9
  virtual void Write(const cls_FieldHandle& f, const unsigned int& v);    // 10
  virtual void Write(const cls_FieldHandle& f, const int& v);             // 11
  virtual void Write(const cls_FieldHandle& f, const unsigned short& v);  // 12
  virtual void Write(const cls_FieldHandle& f, const short& v);           // 13
  virtual void Write(const cls_FieldHandle& f, const unsigned char& v);   // 14
  virtual void Write(const cls_FieldHandle& f, const char& v);            // 15
  virtual void Write(const cls_FieldHandle& f, const bool& v);            // 16
  virtual void Write(const cls_FieldHandle& f, const long long& v);       // 17 (64-bit integers)
  // Object collections; count announces the number of elements.
  virtual cls_WriteListObj* MakeWriteListObj(const cls_FieldHandle& f, int count);              // 18
  virtual cls_WriteMapInt2Obj* MakeWriteMapInt2Obj(const cls_FieldHandle& f, int count);        // 19
  virtual cls_WriteMapUint2Obj* MakeWriteMapUint2Obj(const cls_FieldHandle& f, int count);      // 20
  virtual cls_WriteMapString2Obj* MakeWriteMapString2Obj(const cls_FieldHandle& f, int count);  // 21
  // Lists of plain values.
  virtual cls_WriteListPrim<bool>* MakeWriteListBool(const cls_FieldHandle& f, int count);          // 22
  virtual cls_WriteListPrim<cow_String>* MakeWriteListString(const cls_FieldHandle& f, int count);  // 23
  virtual cls_WriteListPrim<float>* MakeWriteListFloat(const cls_FieldHandle& f, int count);        // 24
  virtual cls_WriteListPrim<double>* MakeWriteListDouble(const cls_FieldHandle& f, int count);      // 25
  virtual cls_WriteListPrim<unsigned int>* MakeWriteListUint(const cls_FieldHandle& f, int count);  // 26
  virtual cls_WriteListPrim<int>* MakeWriteListInt(const cls_FieldHandle& f, int count);            // 27
  // int-keyed maps of plain values.
  virtual cls_WriteMapInt2Prim<unsigned int>* MakeWriteMapInt2Uint(const cls_FieldHandle& f, int count);  // 28
  virtual cls_WriteMapInt2Prim<cow_String>* MakeWriteMapInt2String(const cls_FieldHandle& f, int count);  // 29
  virtual cls_WriteMapInt2Prim<int>* MakeWriteMapInt2Int(const cls_FieldHandle& f, int count);            // 30
  virtual cls_WriteMapInt2Prim<float>* MakeWriteMapInt2Float(const cls_FieldHandle& f, int count);        // 31
  virtual cls_WriteMapInt2Prim<double>* MakeWriteMapInt2Double(const cls_FieldHandle& f, int count);      // 32
  virtual cls_WriteIntTableInt* MakeWriteIntTableInt(const cls_FieldHandle& f, int count);                // 33
  // unsigned-keyed maps of plain values.
  virtual cls_WriteMapUint2Prim<unsigned int>* MakeWriteMapUint2Uint(const cls_FieldHandle& f, int count);  // 34
  virtual cls_WriteMapUint2Prim<cow_String>* MakeWriteMapUint2String(const cls_FieldHandle& f, int count);  // 35
  virtual cls_WriteMapUint2Prim<int>* MakeWriteMapUint2Int(const cls_FieldHandle& f, int count);            // 36
  virtual cls_WriteMapUint2Prim<float>* MakeWriteMapUint2Float(const cls_FieldHandle& f, int count);        // 37
  virtual cls_WriteMapUint2Prim<double>* MakeWriteMapUint2Double(const cls_FieldHandle& f, int count);      // 38
  // string-keyed maps of plain values.
  virtual cls_WriteMapString2Prim<unsigned int>* MakeWriteMapString2Uint(const cls_FieldHandle& f, int count);  // 39
  virtual cls_WriteMapString2Prim<cow_String>* MakeWriteMapString2String(const cls_FieldHandle& f, int count);  // 40
  virtual cls_WriteMapString2Prim<int>* MakeWriteMapString2Int(const cls_FieldHandle& f, int count);            // 41
  virtual cls_WriteMapString2Prim<float>* MakeWriteMapString2Float(const cls_FieldHandle& f, int count);        // 42
  virtual cls_WriteMapString2Prim<double>* MakeWriteMapString2Double(const cls_FieldHandle& f, int count);      // 43
  // Lists of the narrow integers and of 64-bit integers.
  virtual cls_WriteListPrim<unsigned short>* MakeWriteListUshort(const cls_FieldHandle& f, int count);  // 44
  virtual cls_WriteListPrim<short>* MakeWriteListShort(const cls_FieldHandle& f, int count);            // 45
  virtual cls_WriteListPrim<unsigned char>* MakeWriteListUchar(const cls_FieldHandle& f, int count);    // 46
  virtual cls_WriteListPrim<char>* MakeWriteListChar(const cls_FieldHandle& f, int count);              // 47
  virtual cls_WriteListPrim<long long>* MakeWriteListLongLong(const cls_FieldHandle& f, int count);     // 48
  // List agents: float, int, double, and any other element kind by its
  // refined list type (51 bool, 55 cow_String, 57 unsigned...).
  virtual cls_AgentListPrim<float>* MakeAgentListFloat(const cls_FieldHandle& f);                  // 49
  virtual cls_AgentListPrim<int>* MakeAgentListInt(const cls_FieldHandle& f);                      // 50
  virtual cls_AgentListPrim<double>* MakeAgentListDouble(const cls_FieldHandle& f);                // 51
  virtual cls_AgentListBase* MakeAgentList(const cls_FieldHandle& f, cls_CollectionType element);  // 52
  // The bytes of this (blob) object.
  virtual cls_AgentBlob* MakeAgentBlob();  // 53
  // Told the collection type an object or field is written as, before its
  // collection writer is asked for; a store may check it against the
  // declaration.
  virtual void CheckCollectionType(cls_CollectionType requested, const cow_String& fieldName);  // 54
  // Base: does nothing and answers false.
  virtual bool CopyBranch(cls_AgentProxy* source, const cls_FieldHandle& f);  // 55
  // Bracket around an object reached through a shared representation. Base:
  // nothing.
  virtual void StartSharedPtrOutput();  // 56
  virtual void EndSharedPtrOutput();    // 57
};

class VNKUTI_BASIC_API cls_MementoRead : public mem_AllocationOperators {
 public:
  cls_MementoRead() = default;
  cls_MementoRead(const cls_MementoRead&) = delete;
  cls_MementoRead& operator=(const cls_MementoRead&) = delete;

  virtual ~cls_MementoRead();                         // 0
  virtual bool NeedsDeletion() const { return true; }  // 1
  virtual cow_String DbId() const;                    // 2: the store's identification text
  virtual cls_Uid GetUid() const;                     // 3: empty in the base
  virtual int FieldIsPresent(const cls_FieldHandle& f) const;  // 4: the store has the field
  virtual int DataIsPresent(const cls_FieldHandle& f) const;   // 5: ... and it holds data (not null)
  virtual unsigned int ClassId() const;                         // 6: the stored object's class ID; 0 if unknown
  virtual cls_MementoRead* MakeReadObj(const cls_FieldHandle& f);  // 7: null when no object is there
  virtual cls_MementoRead* MakeBaseReadObj();                       // 8: null when no base part was stored
  // Typed reads: the stored value, or dflt when the field is absent or holds
  // something else. Numbers convert between the numeric kinds.
  virtual cow_String Read(const cls_FieldHandle& f, const cow_String& dflt) const;          // 9
  virtual double Read(const cls_FieldHandle& f, const double& dflt) const;                  // 10
  virtual float Read(const cls_FieldHandle& f, const float& dflt) const;                    // 11
  virtual unsigned int Read(const cls_FieldHandle& f, const unsigned int& dflt) const;      // 12
  virtual int Read(const cls_FieldHandle& f, const int& dflt) const;                        // 13
  virtual unsigned short Read(const cls_FieldHandle& f, const unsigned short& dflt) const;  // 14
  virtual short Read(const cls_FieldHandle& f, const short& dflt) const;                    // 15
  virtual unsigned char Read(const cls_FieldHandle& f, const unsigned char& dflt) const;    // 16
  virtual char Read(const cls_FieldHandle& f, const char& dflt) const;                      // 17
  virtual bool Read(const cls_FieldHandle& f, const bool& dflt) const;                      // 18
  virtual long long Read(const cls_FieldHandle& f, const long long& dflt) const;            // 19
  // Collection readers, in the order of the write factories 18 to 48.
  virtual cls_ReadListObj* MakeReadListObj(const cls_FieldHandle& f);                        // 20
  virtual cls_ReadMapInt2Obj* MakeReadMapInt2Obj(const cls_FieldHandle& f);                  // 21
  virtual cls_ReadMapUint2Obj* MakeReadMapUint2Obj(const cls_FieldHandle& f);                // 22
  virtual cls_ReadMapString2Obj* MakeReadMapString2Obj(const cls_FieldHandle& f);            // 23
  virtual cls_ReadListPrim<bool>* MakeReadListBool(const cls_FieldHandle& f);                // 24
  virtual cls_ReadListPrim<cow_String>* MakeReadListString(const cls_FieldHandle& f);        // 25
  virtual cls_ReadListPrim<float>* MakeReadListFloat(const cls_FieldHandle& f);              // 26
  virtual cls_ReadListPrim<double>* MakeReadListDouble(const cls_FieldHandle& f);            // 27
  virtual cls_ReadListPrim<unsigned int>* MakeReadListUint(const cls_FieldHandle& f);        // 28
  virtual cls_ReadListPrim<int>* MakeReadListInt(const cls_FieldHandle& f);                  // 29
  virtual cls_ReadMapInt2Prim<unsigned int>* MakeReadMapInt2Uint(const cls_FieldHandle& f);  // 30
  virtual cls_ReadMapInt2Prim<cow_String>* MakeReadMapInt2String(const cls_FieldHandle& f);  // 31
  virtual cls_ReadMapInt2Prim<int>* MakeReadMapInt2Int(const cls_FieldHandle& f);            // 32
  virtual cls_ReadMapInt2Prim<float>* MakeReadMapInt2Float(const cls_FieldHandle& f);        // 33
  virtual cls_ReadMapInt2Prim<double>* MakeReadMapInt2Double(const cls_FieldHandle& f);      // 34
  virtual cls_ReadIntTableInt* MakeReadIntTableInt(const cls_FieldHandle& f);                // 35
  virtual cls_ReadMapUint2Prim<unsigned int>* MakeReadMapUint2Uint(const cls_FieldHandle& f);      // 36
  virtual cls_ReadMapUint2Prim<cow_String>* MakeReadMapUint2String(const cls_FieldHandle& f);      // 37
  virtual cls_ReadMapUint2Prim<int>* MakeReadMapUint2Int(const cls_FieldHandle& f);                // 38
  virtual cls_ReadMapUint2Prim<float>* MakeReadMapUint2Float(const cls_FieldHandle& f);            // 39
  virtual cls_ReadMapUint2Prim<double>* MakeReadMapUint2Double(const cls_FieldHandle& f);          // 40
  virtual cls_ReadMapString2Prim<unsigned int>* MakeReadMapString2Uint(const cls_FieldHandle& f);  // 41
  virtual cls_ReadMapString2Prim<cow_String>* MakeReadMapString2String(const cls_FieldHandle& f);  // 42
  virtual cls_ReadMapString2Prim<int>* MakeReadMapString2Int(const cls_FieldHandle& f);            // 43
  virtual cls_ReadMapString2Prim<float>* MakeReadMapString2Float(const cls_FieldHandle& f);        // 44
  virtual cls_ReadMapString2Prim<double>* MakeReadMapString2Double(const cls_FieldHandle& f);      // 45
  virtual cls_ReadListPrim<unsigned short>* MakeReadListUshort(const cls_FieldHandle& f);          // 46
  virtual cls_ReadListPrim<short>* MakeReadListShort(const cls_FieldHandle& f);                    // 47
  virtual cls_ReadListPrim<unsigned char>* MakeReadListUchar(const cls_FieldHandle& f);            // 48
  virtual cls_ReadListPrim<char>* MakeReadListChar(const cls_FieldHandle& f);                      // 49
  virtual cls_ReadListPrim<long long>* MakeReadListLongLong(const cls_FieldHandle& f);             // 50
  // List agents, as write slots 49 to 52 (they may write back to the store).
  virtual cls_AgentListPrim<float>* MakeAgentListFloat(const cls_FieldHandle& f);                  // 51
  virtual cls_AgentListPrim<int>* MakeAgentListInt(const cls_FieldHandle& f);                      // 52
  virtual cls_AgentListPrim<double>* MakeAgentListDouble(const cls_FieldHandle& f);                // 53
  virtual cls_AgentListBase* MakeAgentList(const cls_FieldHandle& f, cls_CollectionType element);  // 54
  // The collection type the field was written as (what write slot 54 was
  // told, or the kind of its collection); 0 when none.
  virtual cls_CollectionType StoredCollectionType(const cls_FieldHandle& f) const;  // 55
  // Whether the field holds a null object (write slot 6).
  virtual int IsNullObject(const cls_FieldHandle& f) const;  // 56
  // The bytes of this (blob) object.
  virtual cls_AgentBlob* MakeAgentBlob();  // 57
  // Appends the names of the object's fields, in the order written, to names;
  // answers how many were appended.
  virtual int FieldNames(cow_List<cow_String>& names) const;  // 58
};
