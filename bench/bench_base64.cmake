# The peer of bench_base64 is OpenSSL's EVP_EncodeBlock / EVP_DecodeBlock
# (Debian: libssl-dev). Without it the program runs our codec alone.
find_package(OpenSSL QUIET COMPONENTS Crypto)
if(OpenSSL_FOUND)
  target_link_libraries(${_name} PRIVATE OpenSSL::Crypto)
  target_compile_definitions(${_name} PRIVATE VNKUTI_BENCH_HAVE_OPENSSL=1)
else()
  message(STATUS "bench_base64: OpenSSL not found, peer benchmarks skipped")
endif()
