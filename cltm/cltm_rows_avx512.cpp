// The row kernels of cltm_rows built for AVX-512 (512-bit vectors): compiled with -mavx512* on
// x86-64 and chosen at run time on processors that have it (common/simd.h); empty elsewhere.
#include "common/simd_avx512.h"

#if defined(ALAD_BUILD_AVX512)
#define ALAD_SIMD_NAMESPACE avx512
#include "cltm/cltm_row_kernels.h"
#undef ALAD_SIMD_NAMESPACE
#endif
