// Included first, before any OpenCV header, by the units that build the row kernels a third time
// for AVX-512 (the F, CD, BW, DQ and VL subsets). CMake compiles those units with the matching
// -mavx512* options and ALAD_BUILD_AVX512 on x86-64 only; elsewhere they compile to nothing.
// OpenCV's universal intrinsics then take their 512-bit form, in a namespace of their own.
#ifndef ALAD_COMMON_SIMD_AVX512_H
#define ALAD_COMMON_SIMD_AVX512_H

#if defined(ALAD_BUILD_AVX512)
#if !defined(__AVX512F__) || !defined(__AVX512BW__) || !defined(__AVX512DQ__) || !defined(__AVX512VL__)
#error "ALAD_BUILD_AVX512 units must be compiled with -mavx512f -mavx512cd -mavx512bw -mavx512dq -mavx512vl"
#endif
#include <immintrin.h>
#define CV_CPU_DISPATCH_MODE AVX512_SKX
#define CV_SSE3 1
#define CV_SSSE3 1
#define CV_SSE4_1 1
#define CV_SSE4_2 1
#define CV_POPCNT 1
#define CV_AVX 1
#define CV_AVX2 1
#define CV_FMA3 1
#define CV_AVX_512F 1
#define CV_AVX_512CD 1
#define CV_AVX512_SKX 1
#define CV_AVX_512VL 1
#define CV_AVX_512BW 1
#define CV_AVX_512DQ 1
#endif

#endif  // ALAD_COMMON_SIMD_AVX512_H
