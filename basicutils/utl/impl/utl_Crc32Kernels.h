// Kernels behind utl_crc32, shared by the portable file (tables, slicing,
// dispatch) and the carry-less multiply file. Internal to the library.
#pragma once

#include <cstddef>
#include <cstdint>

namespace utl_crc32_impl {

// Every kernel continues crc over n bytes at p.
using Kernel = std::uint32_t (*)(const unsigned char* p, std::size_t n, std::uint32_t crc);

std::uint32_t TableKernel(const unsigned char* p, std::size_t n, std::uint32_t crc);
std::uint32_t Slicing16Kernel(const unsigned char* p, std::size_t n, std::uint32_t crc);

#if defined(__x86_64__) || defined(__i386__)
#define UTL_CRC32_HAVE_CLMUL 1
std::uint32_t PclmulKernel(const unsigned char* p, std::size_t n, std::uint32_t crc);
std::uint32_t VpclmulKernel(const unsigned char* p, std::size_t n, std::uint32_t crc);
#endif

}  // namespace utl_crc32_impl
