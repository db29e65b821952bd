// The library's typical use from end to end, printing each step: start-up,
// values shared until written, a failure raised and reported, shut-down.
#include <cstdio>

#include "VNKUTI_BasicUtils.h"

namespace {
void Step(const char* what) { std::printf("-- %s\n", what); }
}  // namespace

int main() {
  int count = 0;
  Step("UTI_BasicUtils_initialize");
  UTI_BasicUtils_initialize(count);
  std::printf("   modules started: %d\n", count);

  Step("strings share their text until one is written");
  cow_String a("shared text");
  cow_String b(a);
  std::printf("   a and b share: %s (uses %d)\n", a.c_str() == b.c_str() ? "yes" : "no", a.UseCount());
  b.append(", changed");
  std::printf("   after writing b: a=\"%s\" b=\"%s\"\n", a.c_str(), b.c_str());

  Step("a failure is raised with its source position and reported");
  try {
    nex_TextException("*** Error: example failure").Throw("examples/vnkuti_example", __LINE__);
  } catch (const nex_Exception& e) {
    std::printf("   user report:      %s\n", e.UserReport().c_str());
    std::printf("   developer report: %s\n", e.DeveloperReport().c_str());
  }

  Step("UTI_BasicUtils_finalize");
  UTI_BasicUtils_finalize(count);
  std::printf("   modules left: %d\n", count);
  return count == 0 ? 0 : 1;
}
