// utl_Base64: bytes to printable text and back.
//
// The alphabet is base64's with one deliberate change: index 63 is '!'
// instead of '/', so that encoded text never contains a slash:
//   ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+!
// Padding is '='.
//
// Encoding with line breaks puts a line feed after every 57 input bytes (76
// characters) and one at the end, so such text always ends with exactly one
// line feed; without them there is none.
//
// Decoding first trims line feeds from both ends of the caller's string, in
// place (the argument is a reference for that reason), then reads the text up
// to its first zero byte. Each alphabet character takes its place in a group
// of four by its own position in the text modulo 4, counting every character
// before it. In lenient mode characters outside the alphabet are skipped but
// still count, so a blank or a line feed inside the text shifts all that
// follows; strict mode rejects them. A skipped character leaves its part of
// the pending group as it was: zero since the last completed group, or what
// an unfinished group before it put there. An '=' ends the text: at
// positions 2 and 3 of a group ("xx==", "xxx=") it yields the pending one or
// two bytes, and anything after it is ignored.
//
// Errors are raised as utl_Base64CodecError, with no partial result:
//   "padding error"           '=' at position 0 or 1 of a group, a single '='
//                             at position 2, or text ending inside a group
//   "strict checking failure" a character outside the alphabet in strict mode
//   "memory allocation failure" / "malloc failure"
//                             the encoding / decoding buffer could not be had
//
// The functions hold no state and may run in several threads at once on
// different strings. They use AVX-512 or AVX2 where the processor has them;
// the result is the same on every path.
#pragma once

#include "VNKUTI_BasicExport.h"
#include "cow/cow_String.h"
#include "nex/nex_Exception.h"

// Not a persistent class of its own: it adds nothing to nex_TextException
// but its Propagate, has no class ID of its own (DynTypeId is
// nex_TextException's) and so no metadata record could tell it apart. It is
// written, and read back, as the nex_TextException it is.
class VNKUTI_BASIC_API utl_Base64CodecError : public nex_TextException {
 public:
  explicit utl_Base64CodecError(const char* text) : nex_TextException(text) {}
  utl_Base64CodecError(const utl_Base64CodecError&) = default;
  ~utl_Base64CodecError() override;
  [[noreturn]] void Propagate() const override;  // re-raises a copy of this class
};

// The encoding of all of data's bytes (zero bytes included); empty for empty
// data, with or without line breaks. data is only read.
VNKUTI_BASIC_API cow_String utl_base64Encode(cow_String& data, bool lineBreaks);

// The decoded bytes (they may include zero bytes). Trims line feeds from both
// ends of text first (this unshares text when it changes it).
VNKUTI_BASIC_API cow_String utl_base64Decode(cow_String& text, bool strict);

// ----- paths, for tests and benchmarks ------------------------------------
enum utl_Base64PathEnm {
  utl_Base64Scalar = 0,  // whole groups through tables: any processor
  utl_Base64Avx2 = 1,    // 32 characters per step
  utl_Base64Avx512 = 2,  // 64 characters per step (AVX-512 F/BW and VBMI)
  utl_Base64PathCount = 3
};

// The path the functions above use on this processor.
VNKUTI_BASIC_API utl_Base64PathEnm utl_base64Path();
VNKUTI_BASIC_API bool utl_base64PathSupported(utl_Base64PathEnm path);
// "scalar", "avx2", "avx512vbmi"; "?" for no path.
VNKUTI_BASIC_API const char* utl_base64PathName(utl_Base64PathEnm path);
// As the functions above, on the given path; an unsupported one runs scalar.
VNKUTI_BASIC_API cow_String utl_base64EncodeWith(utl_Base64PathEnm path, cow_String& data, bool lineBreaks);
VNKUTI_BASIC_API cow_String utl_base64DecodeWith(utl_Base64PathEnm path, cow_String& text, bool strict);
