// Uses the installed library: start-up, a string, an exception caught by its
// base type across the library boundary, shut-down.
#include <cstdio>

#include "VNKUTI_BasicUtils.h"

int main() {
  int count = 0;
  UTI_BasicUtils_initialize(count);
  int rc = 1;
  try {
    cow_String s("consumer");
    s.append(" ok");
    nex_TextException(s).Throw("consumer/main", __LINE__);
  } catch (const nex_Exception& e) {
    std::printf("%s\n", e.UserReport().c_str());
    rc = e.UserReport() == "consumer ok" ? 0 : 1;
  }
  UTI_BasicUtils_finalize(count);
  return rc;
}
