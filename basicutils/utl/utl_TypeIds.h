// Type ids of the utl module's persistent classes: module number 33, so an
// id is 33 * 65536 + the class number. The type table entry that names them
// is inserted by utl_initialize (utl/impl/utl_TypeTable.cpp); a new class
// takes the next number there and here.
//
// All of them are exception classes, and utl_initialize registers each with
// the class registry (mask 2) as a type adapter of version 800 whose base is
// its parent's class ID, so that a stored exception is rebuilt with its exact
// class (utl/impl/utl_ExceptionPersist.cpp). A new one is registered there
// and in utl/impl/utl_Init.cpp as well.
#pragma once

constexpr unsigned utl_ModuleNumber = 33;
constexpr unsigned utl_TypeIdOf(unsigned classNumber) { return utl_ModuleNumber * 65536u + classNumber; }

enum utl_ClassNumber : unsigned {
  utl_ClassFileExceptionClose = 1,
  utl_ClassFileExceptionExtend,
  utl_ClassFileExceptionSeek,
  utl_ClassFileExceptionLocation,
  utl_ClassFileExceptionFlush,
  utl_ClassFileExceptionRead,
  utl_ClassFileExceptionWrite,
  utl_ClassFileExceptionSize,
  utl_ClassFileExceptionOpen,
  utl_ClassFileExceptionNoFile,
  utl_ClassFileExceptionFull,
  utl_ClassBinStreamException,
  utl_ClassBinStreamWriteError,
  utl_ClassBinStreamReadError,
  utl_ClassBinStreamEOF,
  utl_ClassMissingCmdLineArgException,
  utl_ClassCmdLineArgFormatException,
  utl_ClassTempFileException,
  utl_ClassTempFileOpenExc,
  utl_ClassTempFileDirExc,
  utl_ClassTempFileCantExc,
  utl_ClassTempFileNoDirExc,
};
