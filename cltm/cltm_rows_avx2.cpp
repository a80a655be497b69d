// The row kernels of cltm_rows built for AVX2 (256-bit vectors): compiled with -mavx2 on x86-64
// and chosen at run time on processors that have it (common/simd.h); empty elsewhere.
#include "common/simd_avx2.h"

#if defined(ALAD_BUILD_AVX2)
#define ALAD_SIMD_NAMESPACE avx2
#include "cltm/cltm_row_kernels.h"
#undef ALAD_SIMD_NAMESPACE
#endif
