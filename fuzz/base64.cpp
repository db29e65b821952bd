// Base64 from arbitrary bytes: decoding, strict and lenient, either succeeds
// or raises one of the codec's messages, with the same outcome on every
// kernel the processor has; encoding then decoding gives the input back.
#include "FuzzSupport.h"
#include "utl/utl_Base64.h"

using vnkfuzz::Str;

namespace {

// The result, or "!" and the error's text.
std::string Decode(utl_Base64PathEnm path, const std::string& text, bool strict) {
  cow_String t(text.data(), static_cast<int>(text.size()));
  try {
    return Str(utl_base64DecodeWith(path, t, strict));
  } catch (const utl_Base64CodecError& e) {
    std::string m = Str(e.AsString());
    VNKFUZZ_CHECK(m == "padding error" || m == (strict ? "strict checking failure" : "padding error"), m);
    return "!" + m;
  }
}

std::string Encode(utl_Base64PathEnm path, const std::string& bytes, bool lineBreaks) {
  cow_String d(bytes.data(), static_cast<int>(bytes.size()));
  cow_String e = utl_base64EncodeWith(path, d, lineBreaks);
  VNKFUZZ_CHECK(Str(d) == bytes, "encoding changed its input");
  return Str(e);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  const std::size_t n = size;

  for (bool strict : {true, false}) {
    const std::string scalar = Decode(utl_Base64Scalar, input, strict);
    for (int p = utl_Base64Avx2; p < utl_Base64PathCount; ++p)
      if (utl_base64PathSupported(static_cast<utl_Base64PathEnm>(p)))
        VNKFUZZ_CHECK(Decode(static_cast<utl_Base64PathEnm>(p), input, strict) == scalar,
                      std::string(utl_base64PathName(static_cast<utl_Base64PathEnm>(p))) + (strict ? " strict" : " lenient"));
    // What strict decoding accepts, lenient decoding accepts the same way.
    if (strict && scalar.compare(0, 1, "!") != 0) VNKFUZZ_CHECK(Decode(utl_Base64Scalar, input, false) == scalar, "lenient");
  }

  for (bool lineBreaks : {false, true}) {
    const std::string text = Encode(utl_Base64Scalar, input, lineBreaks);
    std::size_t expected = n == 0 ? 0 : (n + 2) / 3 * 4 + (lineBreaks ? n / 57 + (n % 57 != 0) : 0);
    VNKFUZZ_CHECK(text.size() == expected, std::to_string(text.size()) + " vs " + std::to_string(expected));
    VNKFUZZ_CHECK(text.find('/') == std::string::npos, "slash in the encoding");
    for (int p = utl_Base64Avx2; p < utl_Base64PathCount; ++p)
      if (utl_base64PathSupported(static_cast<utl_Base64PathEnm>(p)))
        VNKFUZZ_CHECK(Encode(static_cast<utl_Base64PathEnm>(p), input, lineBreaks) == text,
                      utl_base64PathName(static_cast<utl_Base64PathEnm>(p)));
    // Lines of 76 characters: a line feed inside the text shifts the groups
    // after it in lenient decoding, so only a single line comes back whole.
    if (!lineBreaks || n <= 57) {
      VNKFUZZ_CHECK(Decode(utl_base64Path(), text, true) == input, "round trip");
      VNKFUZZ_CHECK(Decode(utl_base64Path(), text, false) == input, "lenient round trip");
    }
  }
  return 0;
}
