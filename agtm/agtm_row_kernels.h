// The vectorised row of the AGTM integer pass, written once with OpenCV's width-agnostic universal
// intrinsics and compiled once per instruction set, each time in a namespace of its own
// (ALAD_SIMD_NAMESPACE; see common/simd.h). Only plain pointers cross in and out, and nothing
// from the standard library is instantiated here, so that no function compiled for one
// instruction set can stand in for the other's.
//
// Included only by agtm_apply.cpp (baseline) and agtm_apply_avx2.cpp (AVX2).
#ifndef ALAD_SIMD_NAMESPACE
#error "define ALAD_SIMD_NAMESPACE before including agtm_row_kernels.h"
#endif

#include <cstdint>
#include <cstring>

#include <opencv2/core/hal/intrin.hpp>

#include "agtm/agtm_rows.h"

namespace kelvo {
namespace agtm_rows {
namespace ALAD_SIMD_NAMESPACE {

namespace {

using v_s32 = cv::v_int32;

constexpr int kLanes32 = v_s32::nlanes;
constexpr int32_t kMaxCode = 4095;

// Table entries at the lanes' indices (all inside the table). The AVX2 build gathers them (about
// 10% faster frames than loads through memory, measured on a Zen 4); elsewhere plain loads
// through a small array, faster than building the vector lane by lane.
inline v_s32 Lookup(const int32_t* table, const v_s32& index) {
#if CV_AVX2
    return v_s32(_mm256_i32gather_epi32(table, index.val, 4));
#else
    alignas(64) int32_t at[kLanes32];
    alignas(64) int32_t entry[kLanes32];
    cv::v_store_aligned(at, index);
    for (int k = 0; k < kLanes32; ++k) entry[k] = table[at[k]];
    asm volatile("" ::: "memory");  // keep the compiler from building the vector lane by lane
    return cv::vx_load_aligned(entry);
#endif
}

// min(c * g >> 9, 4095) for 12-bit codes c and non-negative gains g = gh * 2^15 + gl below 2^17,
// split as gl | (gh * 2^13) << 16: with c paired as c | 4c << 16, one multiply-add of 16-bit
// halves gives c * gl + 4c * gh * 2^13 = c * g exactly (at most 4095 * 130560, below 2^31).
inline v_s32 ScaleBySplitGain(const v_s32& c, const v_s32& split) {
    const v_s32 pair = c | cv::v_shl<18>(c);
    const v_s32 product = cv::v_dotprod(cv::v_reinterpret_as_s16(pair), cv::v_reinterpret_as_s16(split));
    return cv::v_min(cv::v_shr<9>(product), cv::vx_setall_s32(kMaxCode));
}

// gain * c / 512 truncated toward zero (the product wraps at 32 bits), then limited to 4095: an
// arithmetic shift rounds down, so negative products get 511 added first.
inline v_s32 ScaleChannel32(const v_s32& gain, const v_s32& c) {
    const v_s32 p = gain * c;
    const v_s32 toward_zero = cv::v_shr<31>(p) & cv::vx_setall_s32(511);
    return cv::v_min(cv::v_shr<9>(p + toward_zero), cv::vx_setall_s32(kMaxCode));
}

// Whole vectors at aligned addresses go straight to memory (non-temporal stores, where the
// processor has them): the frame is written once and not read back here.
inline void Store(int32_t* out, const v_s32& b, const v_s32& g, const v_s32& r) {
    if (reinterpret_cast<uintptr_t>(out) % sizeof(v_s32) == 0) {
        cv::v_store_interleave(out, b, g, r, cv::hal::STORE_ALIGNED_NOCACHE);
    } else {
        cv::v_store_interleave(out, b, g, r);
    }
}

// A vector's worth of pixels (kLanes32), all codes 0..4095 (true returned), or nothing written.
// `copy`, when given, receives the same values.
inline bool Group(const int32_t* in, int32_t* out, int32_t* copy, const Gains& g) {
    v_s32 b, gr, r;
    cv::v_load_deinterleave(in, b, gr, r);
    if (!cv::v_check_all(((b | gr | r) & cv::vx_setall_s32(~kMaxCode)) == cv::vx_setzero_s32())) return false;
    const v_s32 m = cv::v_max(cv::v_max(b, gr), r);
    v_s32 ob, og, orr;
    if (g.non_negative) {
        const v_s32 split = Lookup(g.split, m);
        ob = ScaleBySplitGain(b, split);
        og = ScaleBySplitGain(gr, split);
        orr = ScaleBySplitGain(r, split);
    } else {
        const v_s32 gain = Lookup(g.gains, m);
        ob = ScaleChannel32(gain, b);
        og = ScaleChannel32(gain, gr);
        orr = ScaleChannel32(gain, r);
    }
    Store(out, ob, og, orr);
    if (copy != nullptr) Store(copy, ob, og, orr);
    return true;
}

void IntegerRowKernel(const int32_t* in, int32_t* out, int32_t* copy, int cols, const Gains& g) {
    for (int x = 0; x < cols; x += kLanes32) {
        const int count = cols - x < kLanes32 ? cols - x : kLanes32;
        const size_t values = static_cast<size_t>(count) * 3;
        const int32_t* src = in + 3 * x;
        int32_t* dst = out + 3 * x;
        int32_t* dst_copy = copy != nullptr ? copy + 3 * x : nullptr;
        alignas(64) int32_t tail_in[3 * kLanes32];
        alignas(64) int32_t tail_out[3 * kLanes32];
        if (count != kLanes32) {
            std::memset(tail_in, 0, sizeof(tail_in));
            std::memcpy(tail_in, src, values * sizeof(int32_t));
            src = tail_in;
            dst = tail_out;
            dst_copy = nullptr;
        }
        // Each group is read whole before it is written, so the output may be the input itself.
        if (!Group(src, dst, dst_copy, g)) {
            // A code outside 0..4095: these pixels take the per-pixel path, in order.
            for (int k = 0; k < count; ++k) g.pixel(in + 3 * (x + k), out + 3 * (x + k), g);
            if (copy != nullptr) std::memcpy(copy + 3 * x, out + 3 * x, values * sizeof(int32_t));
            continue;
        }
        if (count != kLanes32) {
            std::memcpy(out + 3 * x, tail_out, values * sizeof(int32_t));
            if (copy != nullptr) std::memcpy(copy + 3 * x, tail_out, values * sizeof(int32_t));
        }
    }
}

// Orders the non-temporal stores before whatever follows (another thread reading the rows).
void StreamFenceKernel() {
#if CV_SSE2
    _mm_sfence();
#endif
}

}  // namespace

const RowKernels& Kernels() {
    static const RowKernels kernels = {IntegerRowKernel, StreamFenceKernel};
    return kernels;
}

}  // namespace ALAD_SIMD_NAMESPACE
}  // namespace agtm_rows
}  // namespace kelvo
