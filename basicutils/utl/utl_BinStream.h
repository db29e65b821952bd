// utl_BinOStream / utl_BinIStream: raw binary values on an open C run-time
// descriptor (a file, a pipe, a socket).
//
// Each value goes out as its in-memory image in the machine's own byte order,
// with no padding, tags or framing; the EndianType given to the constructor
// is accepted and ignored, so a stream reads back only on a machine of the
// same byte order. Arrays carry no count; a string is a 4-byte length L and
// then its L characters. Short transfers are retried until the whole count has
// moved: a read either fills its request or raises (utl_BinStreamEOF at the
// end of the input, the bytes taken so far consumed).
//
// The stream does not own the descriptor and never closes it. It has no error
// state: after an exception it may be used again. No locks: one stream per
// thread; two streams on one descriptor interleave call by call.
#pragma once

#include "VNKUTI_BasicExport.h"
#include "cow/cow_String.h"
#include "mem/mem_AllocationOperators.h"
#include "nex/nex_Exception.h"
#include "omi/omi_Swapper.h"
#include "utl/utl_TypeIds.h"

class VNKUTI_BASIC_API utl_BinOStream : public mem_AllocationOperators {
 public:
  // Switches fd to binary mode; raises utl_BinStreamException when it cannot.
  utl_BinOStream(int fd, omi_Swapper::EndianType endian);

  // Writes count bytes (nothing for count <= 0); raises utl_BinStreamWriteError.
  void Write(const char* buf, int count);
  void WriteSchar(signed char v);
  void WriteUchar(unsigned char v);
  void WriteShort(short v);
  void WriteUShort(const unsigned short& v);
  void WriteInt(const int& v);
  void WriteUInt(const unsigned int& v);
  void WriteInt64(const long long& v);
  void WriteUInt64(const unsigned long long& v);
  // The 4-byte length (0 when empty), then the characters.
  void WriteString(const cow_String& s);
  // n values back to back, no count; nothing for n <= 0.
  void WriteIntArray(const int* a, int n);
  void WriteFloatArray(const float* a, int n);
  void WriteDoubleArray(const double* a, int n);

  int Descriptor() const { return m_Fd; }

 private:
  // Defined and instantiated in the implementation only.
  template <class T>
  void WriteScalar(const T& v);
  template <class T>
  void WriteArray(const T* a, int n);
  void WriteBytes(const char* buf, long long count);

  int m_Fd;
};

class VNKUTI_BASIC_API utl_BinIStream : public mem_AllocationOperators {
 public:
  // Switches fd to binary mode; raises utl_BinStreamException when it cannot.
  utl_BinIStream(int fd, omi_Swapper::EndianType endian);

  // Fills buf with count bytes (nothing for count <= 0). Raises
  // utl_BinStreamEOF when the input ends first, utl_BinStreamReadError on a
  // failed read.
  void Read(char* buf, int count) const;
  signed char ReadSchar();
  unsigned char ReadUchar();
  short ReadShort();
  unsigned short ReadUShort();
  int ReadInt();
  unsigned int ReadUInt();
  long long ReadInt64();
  unsigned long long ReadUInt64();
  // Reads a 4-byte length L and L characters. Every call leaves a scratch
  // block of L + 1 bytes allocated for good (see the implementation); L is
  // taken as it stands, without a bound. A negative L raises
  // utl_BinStreamReadError with the text of EINVAL.
  cow_String ReadString();
  // n values; nothing for n <= 0.
  void ReadIntArray(int* a, int n);
  void ReadFloatArray(float* a, int n);
  void ReadDoubleArray(double* a, int n);

  int Descriptor() const { return m_Fd; }

 private:
  // Defined and instantiated in the implementation only.
  template <class T>
  void ReadScalar(T& v);
  template <class T>
  void ReadArray(T* a, int n);
  void ReadBytes(char* buf, long long count) const;

  int m_Fd;
};

// =============================================================== exceptions
// Each has a copy constructor and raises a copy of its own dynamic type
// through Propagate(). Persistent classes (see utl/utl_TypeIds.h).

class VNKUTI_BASIC_API utl_BinStreamException : public nex_TextException {
 public:
  NEX_CONCRETE_MEMBERS(utl_BinStreamException, utl_TypeIdOf(utl_ClassBinStreamException))
  NEX_PERSISTENT_MEMBERS(utl_BinStreamException)
  explicit utl_BinStreamException(const atr_StringBase& text);
  utl_BinStreamException(const utl_BinStreamException&) = default;
  ~utl_BinStreamException() override;

 protected:
  utl_BinStreamException() = default;
};

// The run time's text for the error number.
class VNKUTI_BASIC_API utl_BinStreamWriteError : public utl_BinStreamException {
 public:
  NEX_CONCRETE_MEMBERS(utl_BinStreamWriteError, utl_TypeIdOf(utl_ClassBinStreamWriteError))
  NEX_PERSISTENT_MEMBERS(utl_BinStreamWriteError)
  explicit utl_BinStreamWriteError(int crtErrno);
  utl_BinStreamWriteError(const utl_BinStreamWriteError&) = default;
  ~utl_BinStreamWriteError() override;
};

// The run time's text for the error number.
class VNKUTI_BASIC_API utl_BinStreamReadError : public utl_BinStreamException {
 public:
  NEX_CONCRETE_MEMBERS(utl_BinStreamReadError, utl_TypeIdOf(utl_ClassBinStreamReadError))
  NEX_PERSISTENT_MEMBERS(utl_BinStreamReadError)
  explicit utl_BinStreamReadError(int crtErrno);
  utl_BinStreamReadError(const utl_BinStreamReadError&) = default;
  ~utl_BinStreamReadError() override;
};

// "*** ERROR: End of file on binary stream."
class VNKUTI_BASIC_API utl_BinStreamEOF : public utl_BinStreamException {
 public:
  NEX_CONCRETE_MEMBERS(utl_BinStreamEOF, utl_TypeIdOf(utl_ClassBinStreamEOF))
  NEX_PERSISTENT_MEMBERS(utl_BinStreamEOF)
  utl_BinStreamEOF();
  utl_BinStreamEOF(const utl_BinStreamEOF&) = default;
  ~utl_BinStreamEOF() override;
};
