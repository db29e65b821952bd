// Entry point of every test program: the library is initialized once per
// program and finalized at the end, as an application would.
#include <gtest/gtest.h>

#include "uti/UTI_BasicUtils.h"

namespace {

class LibraryEnvironment : public ::testing::Environment {
 public:
  void SetUp() override { UTI_BasicUtils_initialize(m_Count); }
  void TearDown() override { UTI_BasicUtils_finalize(m_Count); }

 private:
  int m_Count = 0;
};

}  // namespace

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  // Death tests re-run the program; "threadsafe" keeps them correct in
  // programs that have started threads.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  ::testing::AddGlobalTestEnvironment(new LibraryEnvironment);
  return RUN_ALL_TESTS();
}
