# The peer of bench_crc is ISA-L's crc32_ieee (Debian: libisal-dev). Without
# it the program still builds and runs our kernels alone.
find_path(VNKUTI_ISAL_INCLUDE isa-l/crc.h)
find_library(VNKUTI_ISAL_LIBRARY isal)
if(VNKUTI_ISAL_INCLUDE AND VNKUTI_ISAL_LIBRARY)
  target_include_directories(${_name} PRIVATE ${VNKUTI_ISAL_INCLUDE})
  target_link_libraries(${_name} PRIVATE ${VNKUTI_ISAL_LIBRARY})
  target_compile_definitions(${_name} PRIVATE VNKUTI_BENCH_HAVE_ISAL=1)
else()
  message(STATUS "bench_crc: ISA-L not found, peer benchmark skipped")
endif()
