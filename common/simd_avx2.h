// Included first, before any OpenCV header, by the units that build the row kernels a second time
// for AVX2. CMake compiles those units with -mavx2 and ALAD_BUILD_AVX2 on x86-64 only; elsewhere
// they compile to nothing. OpenCV's universal intrinsics then take their 256-bit form, in a
// namespace of their own (cv::hal_AVX2) so that nothing is shared with the baseline build.
#ifndef ALAD_COMMON_SIMD_AVX2_H
#define ALAD_COMMON_SIMD_AVX2_H

#if defined(ALAD_BUILD_AVX2)
#if !defined(__AVX2__)
#error "ALAD_BUILD_AVX2 units must be compiled with -mavx2"
#endif
#include <immintrin.h>
#define CV_CPU_DISPATCH_MODE AVX2
#define CV_SSE3 1
#define CV_SSSE3 1
#define CV_SSE4_1 1
#define CV_SSE4_2 1
#define CV_POPCNT 1
#define CV_AVX 1
#define CV_AVX2 1
#endif

#endif  // ALAD_COMMON_SIMD_AVX2_H
