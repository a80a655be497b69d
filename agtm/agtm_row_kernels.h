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

using v_s16 = cv::v_int16;
using v_u16 = cv::v_uint16;
using v_s32 = cv::v_int32;
using v_u32 = cv::v_uint32;

constexpr int kLanes16 = v_s16::nlanes;
constexpr int kLanes32 = v_s32::nlanes;
constexpr int32_t kMaxCode = 4095;

// c * g for 12-bit c (a 32-bit lane with a zero upper half) and a gain split as gl | gh << 16
// with g = gh * 2^15 + gl: two multiply-adds of 16-bit halves, c * gl and c * gh.
inline v_s32 ScaleBySplitGain(const v_s32& c, const v_s32& split) {
    const v_s16 gains = cv::v_reinterpret_as_s16(split);
    const v_s32 low = cv::v_dotprod(cv::v_reinterpret_as_s16(c), gains);
    const v_s32 high = cv::v_dotprod(cv::v_reinterpret_as_s16(cv::v_shl<16>(c)), gains);
    return cv::v_shl<15>(high) + low;
}

// min(c * g >> 9, 4095) for eight or sixteen 12-bit codes and non-negative gains below 2^17.
inline v_s16 ScaleChannel16(const v_s16& c, const v_s32& split_lo, const v_s32& split_hi) {
    v_u32 c_lo, c_hi;
    cv::v_expand(cv::v_reinterpret_as_u16(c), c_lo, c_hi);
    const v_s32 lo = cv::v_shr<9>(ScaleBySplitGain(cv::v_reinterpret_as_s32(c_lo), split_lo));
    const v_s32 hi = cv::v_shr<9>(ScaleBySplitGain(cv::v_reinterpret_as_s32(c_hi), split_hi));
    return cv::v_min(cv::v_pack(lo, hi), cv::vx_setall_s16(kMaxCode));  // the pack saturates first
}

// gain * c / 512 truncated toward zero (the product wraps at 32 bits), then limited to 4095: an
// arithmetic shift rounds down, so negative products get 511 added first.
inline v_s32 ScaleChannel32(const v_s32& gain, const v_s32& c) {
    const v_s32 p = gain * c;
    const v_s32 toward_zero = cv::v_shr<31>(p) & cv::vx_setall_s32(511);
    return cv::v_min(cv::v_shr<9>(p + toward_zero), cv::vx_setall_s32(kMaxCode));
}

// One vector's worth of pixels, all codes 0..4095 (true returned), or nothing written (false).
inline bool GroupNonNegative(const int32_t* in, int32_t* out, const Gains& g) {
    v_s32 b0, g0, r0, b1, g1, r1;
    cv::v_load_deinterleave(in, b0, g0, r0);
    cv::v_load_deinterleave(in + 3 * kLanes32, b1, g1, r1);
    // A code outside 0..4095 stays outside after the saturating pack.
    const v_s16 b = cv::v_pack(b0, b1), gr = cv::v_pack(g0, g1), r = cv::v_pack(r0, r1);
    if (!cv::v_check_all(((b | gr | r) & cv::vx_setall_s16(~kMaxCode)) == cv::vx_setzero_s16())) return false;
    const v_s16 m = cv::v_max(cv::v_max(b, gr), r);
    v_s32 m_lo, m_hi;
    cv::v_expand(m, m_lo, m_hi);
    const v_s32 split_lo = cv::v_lut(g.split, m_lo), split_hi = cv::v_lut(g.split, m_hi);
    const v_s16 ob = ScaleChannel16(b, split_lo, split_hi);
    const v_s16 og = ScaleChannel16(gr, split_lo, split_hi);
    const v_s16 orr = ScaleChannel16(r, split_lo, split_hi);
    alignas(64) int16_t packed[3 * kLanes16];
    cv::v_store_interleave(packed, ob, og, orr);
    for (int k = 0; k < 3; ++k) {
        v_u32 lo, hi;
        cv::v_expand(cv::v_reinterpret_as_u16(cv::vx_load_aligned(packed + kLanes16 * k)), lo, hi);
        cv::v_store(out + kLanes16 * k, cv::v_reinterpret_as_s32(lo));
        cv::v_store(out + kLanes16 * k + kLanes32, cv::v_reinterpret_as_s32(hi));
    }
    return true;
}

inline bool GroupAnyGain(const int32_t* in, int32_t* out, const Gains& g) {
    v_s32 b[2], gr[2], r[2];
    cv::v_load_deinterleave(in, b[0], gr[0], r[0]);
    cv::v_load_deinterleave(in + 3 * kLanes32, b[1], gr[1], r[1]);
    const v_s32 outside = cv::vx_setall_s32(~kMaxCode), zero = cv::vx_setzero_s32();
    if (!cv::v_check_all(((b[0] | gr[0] | r[0] | b[1] | gr[1] | r[1]) & outside) == zero)) return false;
    for (int h = 0; h < 2; ++h) {
        const v_s32 gain = cv::v_lut(g.gains, cv::v_max(cv::v_max(b[h], gr[h]), r[h]));
        cv::v_store_interleave(out + 3 * kLanes32 * h, ScaleChannel32(gain, b[h]), ScaleChannel32(gain, gr[h]),
                               ScaleChannel32(gain, r[h]));
    }
    return true;
}

void IntegerRowKernel(const int32_t* in, int32_t* out, int cols, const Gains& g) {
    for (int x = 0; x < cols; x += kLanes16) {
        const int count = cols - x < kLanes16 ? cols - x : kLanes16;
        const int32_t* src = in + 3 * x;
        int32_t* dst = out + 3 * x;
        alignas(64) int32_t tail_in[3 * kLanes16];
        alignas(64) int32_t tail_out[3 * kLanes16];
        if (count != kLanes16) {
            std::memset(tail_in, 0, sizeof(tail_in));
            std::memcpy(tail_in, src, static_cast<size_t>(count) * 3 * sizeof(int32_t));
            src = tail_in;
            dst = tail_out;
        }
        // Each group is read whole before it is written, so the output may be the input itself.
        const bool done = g.non_negative ? GroupNonNegative(src, dst, g) : GroupAnyGain(src, dst, g);
        if (!done) {
            // A code outside 0..4095: these pixels take the per-pixel path, in order.
            for (int k = 0; k < count; ++k) g.pixel(in + 3 * (x + k), out + 3 * (x + k), g);
            continue;
        }
        if (count != kLanes16) std::memcpy(out + 3 * x, tail_out, static_cast<size_t>(count) * 3 * sizeof(int32_t));
    }
}

}  // namespace

const RowKernels& Kernels() {
    static const RowKernels kernels = {IntegerRowKernel};
    return kernels;
}

}  // namespace ALAD_SIMD_NAMESPACE
}  // namespace agtm_rows
}  // namespace kelvo
