# The contention test runs for seconds (VNKUTI_CONTENTION_SECONDS, default
# 10): a program of its own under the label "long", so that CI runs it once.
add_executable(test_reliability_long ${CMAKE_CURRENT_LIST_DIR}/long/ContentionTest.cpp)
target_link_libraries(test_reliability_long PRIVATE vnkuti_test_main)
target_compile_options(test_reliability_long PRIVATE ${VNKUTI_WARNINGS})
add_test(NAME reliability_contention COMMAND test_reliability_long)
set_tests_properties(reliability_contention PROPERTIES LABELS long TIMEOUT 300)

# The crash tests recover through the tool, as a user would, once it is built.
if(TARGET vnkuti)
  target_compile_definitions(test_reliability PRIVATE VNKUTI_TOOL="$<TARGET_FILE:vnkuti>")
  add_dependencies(test_reliability vnkuti)
endif()
