// The persistent side of the utl exception classes: reading back, writing,
// and the metadata utl_initialize registers.
//
// None adds a field to its parent's, yet each still writes a part of its own:
// the object is stored under its own class ID (an empty part), with the
// parent's part as its base. The class ID is what a store rebuilds an object
// by, so the inherited DBWrite, which starts under the parent's ID, would
// bring a utl_TempFileDirExc back as a plain nex_TextException.
#include "cls/cls_ClassRegistrar.h"
#include "cls/cls_Visitor.h"
#include "utl/utl_BinStream.h"
#include "utl/utl_CommandLine.h"
#include "utl/utl_File.h"
#include "utl/utl_TempFile.h"

namespace {
constexpr int kVersion = 800;
}  // namespace

// Parent must be Class's direct base: the read constructor's initializer
// names it, so a wrong one does not compile. cls_ReadVisitor(v) is the
// visitor of the base part, not a copy.
#define UTL_EXCEPTION_PERSISTENCE(Class, Parent)                                  \
  Class::Class(const cls_ReadVisitor& v) : Parent(cls_ReadVisitor(v)) {          \
    m_Uid = v.GetUid();                                                           \
  }                                                                               \
  void Class::DBWrite(const cls_WriteVisitor& v) const {                          \
    if (!v.StartWrite(TypeId(), m_Uid)) return;                                   \
    cls_WriteVisitor base(v, Parent::TypeId());                                   \
    Parent::DBWrite(base); /* direct: the base part, not the object */            \
  }                                                                               \
  void Class::InitializeMetadata(cls_ClassRegistrar& r) {                         \
    r.AddClassMD(new cls_TypeAdapter<Class>(#Class, kVersion, Parent::TypeId())); \
  }

UTL_EXCEPTION_PERSISTENCE(utl_FileExceptionClose, nex_TextException)
UTL_EXCEPTION_PERSISTENCE(utl_FileExceptionExtend, nex_TextException)
UTL_EXCEPTION_PERSISTENCE(utl_FileExceptionSeek, nex_TextException)
UTL_EXCEPTION_PERSISTENCE(utl_FileExceptionLocation, nex_TextException)
UTL_EXCEPTION_PERSISTENCE(utl_FileExceptionRead, nex_TextException)
UTL_EXCEPTION_PERSISTENCE(utl_FileExceptionSize, nex_TextException)
UTL_EXCEPTION_PERSISTENCE(utl_FileExceptionOpen, nex_TextException)
UTL_EXCEPTION_PERSISTENCE(utl_FileExceptionFlush, nex_TextException)
UTL_EXCEPTION_PERSISTENCE(utl_FileExceptionWrite, nex_TextException)
UTL_EXCEPTION_PERSISTENCE(utl_FileExceptionNoFile, nex_TextException)
UTL_EXCEPTION_PERSISTENCE(utl_FileExceptionFull, nex_TextException)

UTL_EXCEPTION_PERSISTENCE(utl_BinStreamException, nex_TextException)
UTL_EXCEPTION_PERSISTENCE(utl_BinStreamWriteError, utl_BinStreamException)
UTL_EXCEPTION_PERSISTENCE(utl_BinStreamReadError, utl_BinStreamException)
UTL_EXCEPTION_PERSISTENCE(utl_BinStreamEOF, utl_BinStreamException)

UTL_EXCEPTION_PERSISTENCE(utl_MissingCmdLineArgException, nex_TextException)
UTL_EXCEPTION_PERSISTENCE(utl_CmdLineArgFormatException, nex_TextException)

UTL_EXCEPTION_PERSISTENCE(utl_TempFileException, nex_TextException)
UTL_EXCEPTION_PERSISTENCE(utl_TempFileOpenExc, utl_TempFileException)
UTL_EXCEPTION_PERSISTENCE(utl_TempFileDirExc, utl_TempFileException)
UTL_EXCEPTION_PERSISTENCE(utl_TempFileCantExc, utl_TempFileException)
UTL_EXCEPTION_PERSISTENCE(utl_TempFileNoDirExc, utl_TempFileException)

#undef UTL_EXCEPTION_PERSISTENCE
