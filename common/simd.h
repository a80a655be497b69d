// Which build of the vectorised row kernels runs. Every kernel unit is compiled for the baseline
// instruction set (SSE2 on x86-64, NEON on arm64) and, on x86-64, a second time for AVX2 (256-bit
// vectors); the CLTM kernels also a third time for AVX-512 (512-bit vectors; at that level the
// AGTM kernels run their AVX2 build). The widest build the processor runs is chosen at start-up.
// All builds compute exactly the same values (the tests run each one against the plain reference).
#ifndef ALAD_COMMON_SIMD_H
#define ALAD_COMMON_SIMD_H

namespace alad {

enum class SimdLevel { kBaseline, kAvx2, kAvx512 };

// The level in use: the best available, unless a test chose another.
SimdLevel ActiveSimdLevel();
// True when the kernels were built for `level` and the processor runs it.
bool SimdLevelAvailable(SimdLevel level);
// Makes `level` the one in use (when available; otherwise nothing changes). For tests and
// benchmarks that compare the builds.
void SetSimdLevel(SimdLevel level);

}  // namespace alad

#endif  // ALAD_COMMON_SIMD_H
