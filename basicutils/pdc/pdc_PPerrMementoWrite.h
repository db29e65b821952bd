// pdc_PPerrMementoWrite: a write memento that prints the object written
// through it, as an indented tree of fields, on a pnt_PrettyPrint. Any
// persistent object can thus be dumped for an error report with its own,
// unchanged DBWrite:
//   pnt_PrettyPrint out(&stream);
//   { cls_WriteVisitor v(new pdc_PPerrMementoWrite(registrar, obj.DynTypeId(), &out));
//     obj.DBWrite(v); }
// prints, for a registered class,
//   <empty line>
//   << CLASS NAME: nex_TextException
//     m_FromFile: utl/impl/utl_File
//     m_FromLine: 12
//     m_Value: text
//   >>
// The layout is driven by the printer's control sequences (ESC 'n' new line,
// ESC 't' indent, ESC 'u' outdent). An unregistered class prints its fields
// without the "<< CLASS NAME:" line and the closing ">>"; a base-class part
// prints its fields inside the derived object's block.
//
// Fields (one line each): "name: value" for strings and numbers ("bool" as
// 0 or 1, 64-bit integers cut to int); "name: NULL" for a null object;
// "name: " and the nested object's own block for a nested object. Strings of
// an object whose class is named "bas_UserData" (its base parts and string
// collection elements included) are never printed; its numbers are.
//
// Collections print their field name and ":" and then a bracketed block:
//   data:
//   [
//     1
//     2
//
//   ]
// (a block announced with more than one element ends with an empty line).
// Map entries print as "key => value", object elements as their own blocks,
// null elements as "NULL". Float and int list agents print "FLOAT LIST" or
// "INT LIST" after the field name and then every element handed to them;
// the blob agent prints "BINARY DATA". Collections of other kinds (unsigned-
// keyed maps, int tables, narrow and 64-bit lists, double and other list
// agents) are not printed: their factory slots answer null.
//
// Collection-type checks (slot 54) go to aio_cerr(): "class not registered
// <id in hex> " when the object's class is unknown, and "Error in collections
// types have: <declared> looking for: <requested> <field>" when the declared
// type does not match. The declaration is looked up in the object's own
// class and, when that class does not declare the field, in the class of the
// object that holds it (where a field of class type is declared).
#pragma once

#include "VNKUTI_BasicExport.h"
#include "cls/cls_ClassRegistrar.h"
#include "cls/cls_Collections.h"
#include "cls/cls_Memento.h"
#include "pnt/pnt_PrettyPrint.h"

class VNKUTI_BASIC_API pdc_PPerrMementoWrite : public cls_MementoWrite {
 public:
  // Prints on printer (null: pnt_debugPrint()). A registered class opens
  // its block: new line, "<< CLASS NAME: <name>", new line, indent.
  pdc_PPerrMementoWrite(const cls_ClassRegistrar& registrar, unsigned int classID, pnt_PrettyPrint* printer);
  // Closes the block of a registered class (outdent, ">>", new line),
  // except for a base-class part.
  ~pdc_PPerrMementoWrite() override;

  // ----- slots ----------------------------------------------------------
  int FieldIsPresent(const cls_FieldHandle& f) override;  // 2: always 1
  cls_MementoWrite* MakeWriteObjWithPtr(const cls_FieldHandle& f, unsigned int classID, const cls_Uid& uid,
                                        const void* object) override;  // 3
  cls_MementoWrite* MakeWriteObj(const cls_FieldHandle& f, unsigned int classID, const cls_Uid& uid,
                                 const cls_IntCOW* rep) override;                      // 4
  cls_MementoWrite* MakeBaseWriteObj(unsigned int classID, const cls_Uid& uid) override;  // 5
  void WriteNull(const cls_FieldHandle& f) override;                                     // 6
  void Write(const cls_FieldHandle& f, const cow_String& v) override;                    // 7
  void Write(const cls_FieldHandle& f, const double& v) override;                        // 8
  void Write(const cls_FieldHandle& f, const float& v) override;                         // 9
  void Write(const cls_FieldHandle& f, const unsigned int& v) override;                  // 10
  void Write(const cls_FieldHandle& f, const int& v) override;                           // 11
  void Write(const cls_FieldHandle& f, const unsigned short& v) override;                // 12
  void Write(const cls_FieldHandle& f, const short& v) override;                         // 13
  void Write(const cls_FieldHandle& f, const unsigned char& v) override;                 // 14
  void Write(const cls_FieldHandle& f, const char& v) override;                          // 15
  void Write(const cls_FieldHandle& f, const bool& v) override;                          // 16
  void Write(const cls_FieldHandle& f, const long long& v) override;                     // 17
  cls_WriteListObj* MakeWriteListObj(const cls_FieldHandle& f, int count) override;              // 18
  cls_WriteMapInt2Obj* MakeWriteMapInt2Obj(const cls_FieldHandle& f, int count) override;        // 19
  cls_WriteMapString2Obj* MakeWriteMapString2Obj(const cls_FieldHandle& f, int count) override;  // 21
  cls_WriteListPrim<bool>* MakeWriteListBool(const cls_FieldHandle& f, int count) override;          // 22
  cls_WriteListPrim<cow_String>* MakeWriteListString(const cls_FieldHandle& f, int count) override;  // 23
  cls_WriteListPrim<float>* MakeWriteListFloat(const cls_FieldHandle& f, int count) override;        // 24
  cls_WriteListPrim<double>* MakeWriteListDouble(const cls_FieldHandle& f, int count) override;      // 25
  cls_WriteListPrim<unsigned int>* MakeWriteListUint(const cls_FieldHandle& f, int count) override;  // 26
  cls_WriteListPrim<int>* MakeWriteListInt(const cls_FieldHandle& f, int count) override;            // 27
  cls_WriteMapInt2Prim<unsigned int>* MakeWriteMapInt2Uint(const cls_FieldHandle& f, int count) override;  // 28
  cls_WriteMapInt2Prim<cow_String>* MakeWriteMapInt2String(const cls_FieldHandle& f, int count) override;  // 29
  cls_WriteMapInt2Prim<int>* MakeWriteMapInt2Int(const cls_FieldHandle& f, int count) override;            // 30
  cls_WriteMapInt2Prim<float>* MakeWriteMapInt2Float(const cls_FieldHandle& f, int count) override;        // 31
  cls_WriteMapInt2Prim<double>* MakeWriteMapInt2Double(const cls_FieldHandle& f, int count) override;      // 32
  cls_WriteMapString2Prim<unsigned int>* MakeWriteMapString2Uint(const cls_FieldHandle& f, int count) override;  // 39
  cls_WriteMapString2Prim<cow_String>* MakeWriteMapString2String(const cls_FieldHandle& f, int count) override;  // 40
  cls_WriteMapString2Prim<int>* MakeWriteMapString2Int(const cls_FieldHandle& f, int count) override;            // 41
  cls_WriteMapString2Prim<float>* MakeWriteMapString2Float(const cls_FieldHandle& f, int count) override;        // 42
  cls_WriteMapString2Prim<double>* MakeWriteMapString2Double(const cls_FieldHandle& f, int count) override;      // 43
  cls_AgentListPrim<float>* MakeAgentListFloat(const cls_FieldHandle& f) override;  // 49
  cls_AgentListPrim<int>* MakeAgentListInt(const cls_FieldHandle& f) override;      // 50
  cls_AgentBlob* MakeAgentBlob() override;                                          // 53
  void CheckCollectionType(cls_CollectionType requested, const cow_String& fieldName) override;  // 54

  // ----- accessors ------------------------------------------------------
  unsigned int ClassID() const { return m_ClassID; }
  bool IsBasePart() const { return m_BasePart != 0; }
  bool IsUserData() const { return m_UserData != 0; }
  pnt_PrettyPrint& Printer() const { return *m_Printer; }
  const cls_ClassRegistrar& Registrar() const { return *m_Registrar; }
  // A memento for an object written inside this one (a field's object or a
  // collection element): public form, on the same printer.
  pdc_PPerrMementoWrite* MakeNested(unsigned int classID) const;

 private:
  // A base-class part: prints nothing of its own.
  pdc_PPerrMementoWrite(const cls_ClassRegistrar& registrar, unsigned int classID, pnt_PrettyPrint& printer,
                        bool basePart);
  bool Registered() const;
  // "name: " at the start of a field's line.
  void Name(const cls_FieldHandle& f);
  // "name:" before a collection's block.
  void CollectionName(const cls_FieldHandle& f);
  template <class T>
  void Scalar(const cls_FieldHandle& f, const T& v);
  // The declared collection type of fieldName, or null when neither this
  // class nor an enclosing one declares it.
  const cls_AttributeMetadata* Declaration(const cow_String& fieldName) const;

  unsigned int m_ClassID;
  const cls_ClassRegistrar* m_Registrar;
  pnt_PrettyPrint* m_Printer;
  unsigned char m_BasePart;
  unsigned char m_UserData;
  const pdc_PPerrMementoWrite* m_Enclosing = nullptr;  // the object holding this one
};

// ===================================================== writers and agents
// Made by the memento's factory slots; each prints on the memento's
// printer and is deleted by whoever asked for it (cls_Release).

// Opens "[" on a new line and closes "]"; a block announced with more than
// one element ends with an empty line.
class VNKUTI_BASIC_API pdc_PPerrBracket {
 public:
  pdc_PPerrBracket(pnt_PrettyPrint& printer, int count);
  ~pdc_PPerrBracket();
  pdc_PPerrBracket(const pdc_PPerrBracket&) = delete;
  pdc_PPerrBracket& operator=(const pdc_PPerrBracket&) = delete;

 protected:
  void Line(const char* text);
  pnt_PrettyPrint& m_Printer;
  int m_Count;
};

template <class T>
class pdc_PPerrWriteListPrim final : public cls_WriteListPrim<T>, private pdc_PPerrBracket {
 public:
  // hideStrings: the list belongs to a "bas_UserData" object.
  pdc_PPerrWriteListPrim(pnt_PrettyPrint& printer, int count, bool hideStrings)
      : pdc_PPerrBracket(printer, count), m_HideStrings(hideStrings) {}
  void Append(const T& x) override;

 private:
  bool m_HideStrings;
};

// Entries print as "key => value".
template <class T>
class pdc_PPerrWriteMapInt2Prim final : public cls_WriteMapInt2Prim<T>, private pdc_PPerrBracket {
 public:
  pdc_PPerrWriteMapInt2Prim(pnt_PrettyPrint& printer, int count, bool hideStrings)
      : pdc_PPerrBracket(printer, count), m_HideStrings(hideStrings) {}
  void Insert(const int& key, const T& value) override;

 private:
  bool m_HideStrings;
};

template <class T>
class pdc_PPerrWriteMapString2Prim final : public cls_WriteMapString2Prim<T>, private pdc_PPerrBracket {
 public:
  pdc_PPerrWriteMapString2Prim(pnt_PrettyPrint& printer, int count, bool hideStrings)
      : pdc_PPerrBracket(printer, count), m_HideStrings(hideStrings) {}
  void Insert(const cow_String& key, const T& value) override;

 private:
  bool m_HideStrings;
};

// Object elements print as nested blocks, each made on request.
class VNKUTI_BASIC_API pdc_PPerrWriteListObj final : public cls_WriteListObj,
                                                     public cls_AgentRequest,
                                                     private pdc_PPerrBracket {
 public:
  pdc_PPerrWriteListObj(const pdc_PPerrMementoWrite& owner, int count);
  const cls_AgentRequest& Element() override { return *this; }
  void AppendNull() override;
  cls_MementoWrite* MakeMemento(unsigned int classID, const cls_Uid& uid, const void* object) const override;

 private:
  const pdc_PPerrMementoWrite& m_Owner;
};

class VNKUTI_BASIC_API pdc_PPerrWriteMapInt2Obj final : public cls_WriteMapInt2Obj,
                                                        public cls_AgentRequest,
                                                        private pdc_PPerrBracket {
 public:
  pdc_PPerrWriteMapInt2Obj(const pdc_PPerrMementoWrite& owner, int count);
  const cls_AgentRequest& Element(const int& key) override;
  void InsertNull(const int& key) override;
  cls_MementoWrite* MakeMemento(unsigned int classID, const cls_Uid& uid, const void* object) const override;

 private:
  const pdc_PPerrMementoWrite& m_Owner;
};

class VNKUTI_BASIC_API pdc_PPerrWriteMapString2Obj final : public cls_WriteMapString2Obj,
                                                           public cls_AgentRequest,
                                                           private pdc_PPerrBracket {
 public:
  pdc_PPerrWriteMapString2Obj(const pdc_PPerrMementoWrite& owner, int count);
  const cls_AgentRequest& Element(const cow_String& key) override;
  void InsertNull(const cow_String& key) override;
  cls_MementoWrite* MakeMemento(unsigned int classID, const cls_Uid& uid, const void* object) const override;

 private:
  const pdc_PPerrMementoWrite& m_Owner;
};

// List agents print what an array hands them and keep nothing: an array
// written through one does not attach to it (Attachable() is false).
template <class T>
class pdc_PPerrAgentList : public cls_AgentListPrim<T> {
 public:
  pdc_PPerrAgentList(pnt_PrettyPrint& printer, const char* title);
  cls_CollectionType ElementKind() const override;
  int StoredCount() const override { return 0; }
  bool Attachable() const override { return false; }
  void ReadBlock(int start, int n, T* out) override;
  void WriteBlock(int start, int n, const T* in) override;
  void AppendBlock(int n, const T* in) override { WriteBlock(0, n, in); }

 private:
  pnt_PrettyPrint& m_Printer;
};

extern template class VNKUTI_BASIC_API pdc_PPerrAgentList<float>;
extern template class VNKUTI_BASIC_API pdc_PPerrAgentList<int>;

class VNKUTI_BASIC_API pdc_PPerrAgentListFloat final : public pdc_PPerrAgentList<float> {
 public:
  explicit pdc_PPerrAgentListFloat(pnt_PrettyPrint& printer) : pdc_PPerrAgentList<float>(printer, "FLOAT LIST") {}
};

class VNKUTI_BASIC_API pdc_PPerrAgentListInt final : public pdc_PPerrAgentList<int> {
 public:
  explicit pdc_PPerrAgentListInt(pnt_PrettyPrint& printer) : pdc_PPerrAgentList<int>(printer, "INT LIST") {}
};

// Prints "BINARY DATA" and keeps only the size of what it was given.
class VNKUTI_BASIC_API pdc_PPerrAgentBlob final : public cls_AgentBlob {
 public:
  explicit pdc_PPerrAgentBlob(pnt_PrettyPrint& printer);
  long long Size() const override { return m_Size; }
  int Read(long long, int, void*) override { return 0; }
  void Write(long long offset, int n, const void*) override {
    if (offset >= 0 && n > 0 && offset + n > m_Size) m_Size = offset + n;
  }
  void Truncate(long long size) override {
    if (size >= 0 && size < m_Size) m_Size = size;
  }

 private:
  long long m_Size = 0;
};

#define PDC_PPERR_WRITERS_(PREFIX, API, T)                   \
  PREFIX template class API pdc_PPerrWriteListPrim<T>;       \
  PREFIX template class API pdc_PPerrWriteMapInt2Prim<T>;    \
  PREFIX template class API pdc_PPerrWriteMapString2Prim<T>;
PDC_PPERR_WRITERS_(extern, VNKUTI_BASIC_API, unsigned int)
PDC_PPERR_WRITERS_(extern, VNKUTI_BASIC_API, cow_String)
PDC_PPERR_WRITERS_(extern, VNKUTI_BASIC_API, int)
PDC_PPERR_WRITERS_(extern, VNKUTI_BASIC_API, float)
PDC_PPERR_WRITERS_(extern, VNKUTI_BASIC_API, double)
extern template class VNKUTI_BASIC_API pdc_PPerrWriteListPrim<bool>;

