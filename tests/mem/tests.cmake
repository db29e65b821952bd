# Under AddressSanitizer the allocator leaves its pool and large-block cache
# off; this run turns them on, so that the sanitizer also watches the pool's
# own bookkeeping.
if(VNKUTI_SANITIZE MATCHES "address")
  add_test(NAME mem_pooled_under_asan COMMAND ${_t})
  set_tests_properties(mem_pooled_under_asan PROPERTIES ENVIRONMENT "VNKUTI_MEM=pool" LABELS ${dir} TIMEOUT 300)
endif()
