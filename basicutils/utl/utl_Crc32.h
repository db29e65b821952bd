// utl_Crc32: the CRC-32 that guards the sections of multisection files.
//
// Parameters: polynomial 0x04C11DB7, bits taken most significant first, no
// reflection of input or output, initial value 0xFFFFFFFF and no final XOR.
// The nine bytes "123456789" give 0x0376E6E7; no bytes give 0xFFFFFFFF.
//
// utl_crc32 continues a running value, so a buffer may be fed in pieces:
//   utl_crc32(b, nb, utl_crc32(a, na)) == the CRC of a followed by b.
//
// The work is done by the fastest kernel the processor supports, chosen once
// on first use; every kernel gives the same result for every length and
// alignment. The functions are pure and may be called from any thread.
#pragma once

#include <cstddef>
#include <cstdint>

#include "VNKUTI_BasicExport.h"

VNKUTI_BASIC_API std::uint32_t utl_crc32(const void* data, std::size_t length, std::uint32_t crc = 0xFFFFFFFFu);

// ----- kernels, for tests and benchmarks ----------------------------------
enum utl_Crc32KernelEnm {
  utl_Crc32Table = 0,      // one table step per byte: the reference
  utl_Crc32Slicing16 = 1,  // sixteen tables, sixteen bytes per step: any processor
  utl_Crc32Pclmul = 2,     // carry-less multiply folding, 128-bit (SSE4.1, PCLMULQDQ)
  utl_Crc32Vpclmul = 3,    // the same on 512-bit vectors (AVX-512 F/BW/VL, VPCLMULQDQ)
  utl_Crc32KernelCount = 4
};

// The kernel utl_crc32 uses on this processor.
VNKUTI_BASIC_API utl_Crc32KernelEnm utl_crc32Kernel();
// Whether this processor (and this build) can run the kernel.
VNKUTI_BASIC_API bool utl_crc32KernelSupported(utl_Crc32KernelEnm kernel);
// Its name: "table", "slicing16", "pclmul", "vpclmul512"; "?" for no kernel.
VNKUTI_BASIC_API const char* utl_crc32KernelName(utl_Crc32KernelEnm kernel);
// As utl_crc32, with the given kernel. A kernel that is not supported here
// (or not a kernel) is replaced by the slicing kernel.
VNKUTI_BASIC_API std::uint32_t utl_crc32With(utl_Crc32KernelEnm kernel, const void* data, std::size_t length,
                                             std::uint32_t crc = 0xFFFFFFFFu);
