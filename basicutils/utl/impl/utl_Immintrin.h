// Internal to utl: <immintrin.h> for the SIMD kernels, without the warning
// GCC 12 raises inside it. Include only where the target is x86.
#pragma once

// GCC 12 reports the intrinsics' own _mm512_undefined_* values as maybe
// uninitialized once they are inlined; the warning belongs to the header.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#include <immintrin.h>
#pragma GCC diagnostic pop
#else
#include <immintrin.h>
#endif
