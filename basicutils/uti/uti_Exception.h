// The uti_ exception family: failures of spawning and of the scripting
// layer's commands.
//
// The command exceptions derive from nex_CommandException: their text is
// PythonType() + ":" + JournalMessage(). They are persistent classes (type
// adapters of version 800 whose base is nex_CommandException), registered by
// uti_initialize with registrar mask 2 in this order: uti_IOErrorException,
// uti_OdmException, uti_XypException, uti_CmdFailedException,
// uti_InterruptedException, uti_PreCheckFileException.
//
//   uti_IOErrorException     a platform call failed: the function's name
//                            (m_Function: "CreateProcess", "open", "fstat",
//                            "GetExitCodeProcess"), its error number
//                            (m_ErrorNo) and what it was applied to
//                            (m_FuncData: a command line, a file name; may
//                            be empty).
//   uti_CmdFailedException   a command failed; m_Value 0 reads
//                            "uti_CmdFailed", any other value reads "".
//   uti_InterruptedException a run was interrupted; m_Value 0, 1, 2 read
//                            "uti_Signal", "uti_Keyboard", "uti_Stop", any
//                            other value "". For both, the value's text is
//                            the PythonType() and the JournalMessage().
//   uti_OdmException, uti_XypException, uti_PreCheckFileException
//                            a message (m_Value) from the output database,
//                            the exchange layer and the input-file pre-check;
//                            PythonType() "uti_Odm", "uti_Xyp",
//                            "uti_PreCheckFile".
//
// The PATH search raises two text exceptions, which are not persistent:
// uti_NotOnPathException "<name> not found in PATH." and
// uti_NotExecutableException "<absolute path> is not executable.".
#pragma once

#include "VNKUTI_BasicExport.h"
#include "nex/nex_Exception.h"

// ============================================================ platform call
class VNKUTI_BASIC_API uti_IOErrorException : public nex_CommandException {
 public:
  NEX_CONCRETE_MEMBERS(uti_IOErrorException, 0x20020)
  NEX_PERSISTENT_MEMBERS(uti_IOErrorException)
  uti_IOErrorException(const char* function, int errorNo, const cow_String& funcData = cow_String());
  uti_IOErrorException(const uti_IOErrorException&) = default;
  ~uti_IOErrorException() override;
  // "<function> failed with error <n>: <system text>", then " (<data>)"
  // when there is data.
  atr_String JournalMessage() const override;
  cow_String PythonType() const override;  // "IOError"

  const cow_String& Function() const { return m_Function; }
  int ErrorNo() const { return m_ErrorNo; }
  const cow_String& FuncData() const { return m_FuncData; }

 protected:
  cow_String m_Function;
  int m_ErrorNo = 0;
  cow_String m_FuncData;
};

// ================================================== one value, one text
// The part shared by the two classes that name one of a few cases.
#define UTI_CODE_EXCEPTION(Class, Id)                                 \
  class VNKUTI_BASIC_API Class : public nex_CommandException {        \
   public:                                                            \
    NEX_CONCRETE_MEMBERS(Class, Id)                                   \
    NEX_PERSISTENT_MEMBERS(Class)                                     \
    explicit Class(int value) : m_Value(value) {}                     \
    Class(const Class&) = default;                                    \
    ~Class() override;                                                \
    atr_String JournalMessage() const override { return Text(); }     \
    cow_String PythonType() const override { return Text(); }         \
    atr_String Text() const;                                          \
    int Value() const { return m_Value; }                             \
                                                                      \
   protected:                                                         \
    int m_Value;                                                      \
  };

UTI_CODE_EXCEPTION(uti_CmdFailedException, 0x20021)
UTI_CODE_EXCEPTION(uti_InterruptedException, 0x20022)
#undef UTI_CODE_EXCEPTION

// ============================================================ message ones
#define UTI_MESSAGE_EXCEPTION(Class, Id)                                      \
  class VNKUTI_BASIC_API Class : public nex_CommandException {                \
   public:                                                                    \
    NEX_CONCRETE_MEMBERS(Class, Id)                                           \
    NEX_PERSISTENT_MEMBERS(Class)                                             \
    explicit Class(const atr_StringBase& message) : m_Value(message) {}       \
    Class(const Class&) = default;                                            \
    ~Class() override;                                                        \
    atr_String JournalMessage() const override { return atr_String(m_Value); } \
    cow_String PythonType() const override;                                   \
    const cow_String& Value() const { return m_Value; }                       \
                                                                              \
   protected:                                                                 \
    cow_String m_Value;                                                       \
  };

UTI_MESSAGE_EXCEPTION(uti_OdmException, 0x2001E)
UTI_MESSAGE_EXCEPTION(uti_XypException, 0x2001F)
UTI_MESSAGE_EXCEPTION(uti_PreCheckFileException, 0x20023)
#undef UTI_MESSAGE_EXCEPTION

// ============================================================ PATH search
class VNKUTI_BASIC_API uti_NotOnPathException : public nex_TextException {
 public:
  NEX_CONCRETE_MEMBERS(uti_NotOnPathException, 0x20024)
  explicit uti_NotOnPathException(const atr_StringBase& name);  // "<name> not found in PATH."
  uti_NotOnPathException(const uti_NotOnPathException&) = default;
  ~uti_NotOnPathException() override;
};

class VNKUTI_BASIC_API uti_NotExecutableException : public nex_TextException {
 public:
  NEX_CONCRETE_MEMBERS(uti_NotExecutableException, 0x20025)
  explicit uti_NotExecutableException(const atr_StringBase& path);  // "<path> is not executable."
  uti_NotExecutableException(const uti_NotExecutableException&) = default;
  ~uti_NotExecutableException() override;
};

// ============================================================ persistence
extern template class VNKUTI_BASIC_API cls_AbsTypeAdapter<uti_IOErrorException>;
extern template class VNKUTI_BASIC_API cls_AbsTypeAdapter<uti_CmdFailedException>;
extern template class VNKUTI_BASIC_API cls_AbsTypeAdapter<uti_InterruptedException>;
extern template class VNKUTI_BASIC_API cls_AbsTypeAdapter<uti_OdmException>;
extern template class VNKUTI_BASIC_API cls_AbsTypeAdapter<uti_XypException>;
extern template class VNKUTI_BASIC_API cls_AbsTypeAdapter<uti_PreCheckFileException>;
extern template class VNKUTI_BASIC_API cls_TypeAdapter<uti_IOErrorException>;
extern template class VNKUTI_BASIC_API cls_TypeAdapter<uti_CmdFailedException>;
extern template class VNKUTI_BASIC_API cls_TypeAdapter<uti_InterruptedException>;
extern template class VNKUTI_BASIC_API cls_TypeAdapter<uti_OdmException>;
extern template class VNKUTI_BASIC_API cls_TypeAdapter<uti_XypException>;
extern template class VNKUTI_BASIC_API cls_TypeAdapter<uti_PreCheckFileException>;
