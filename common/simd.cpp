#include "common/simd.h"

#include <atomic>

#include <opencv2/core/utility.hpp>

namespace alad {

namespace {

SimdLevel BestLevel() {
#if defined(ALAD_HAVE_AVX512_KERNELS)
    if (cv::checkHardwareSupport(CV_CPU_AVX512_SKX)) return SimdLevel::kAvx512;
#endif
#if defined(ALAD_HAVE_AVX2_KERNELS)
    if (cv::checkHardwareSupport(CV_CPU_AVX2)) return SimdLevel::kAvx2;
#endif
    return SimdLevel::kBaseline;
}

std::atomic<SimdLevel>& Level() {
    static std::atomic<SimdLevel> level{BestLevel()};
    return level;
}

}  // namespace

SimdLevel ActiveSimdLevel() { return Level().load(std::memory_order_relaxed); }

bool SimdLevelAvailable(SimdLevel level) { return level <= BestLevel(); }

void SetSimdLevel(SimdLevel level) {
    if (SimdLevelAvailable(level)) Level().store(level, std::memory_order_relaxed);
}

}  // namespace alad
