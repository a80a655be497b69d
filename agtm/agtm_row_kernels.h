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

// Whether all the codes of a vector's worth of pixels are 0..4095 (the table's range).
inline bool InTable(const v_s32& b, const v_s32& g, const v_s32& r) {
    return cv::v_check_all(((b | g | r) & cv::vx_setall_s32(~kMaxCode)) == cv::vx_setzero_s32());
}

// The gains applied to a vector's worth of pixels whose codes are all 0..4095.
inline void Scale(const v_s32& b, const v_s32& gr, const v_s32& r, const Gains& g, v_s32 out[3]) {
    const v_s32 m = cv::v_max(cv::v_max(b, gr), r);
    if (g.non_negative) {
        const v_s32 split = Lookup(g.split, m);
        out[0] = ScaleBySplitGain(b, split);
        out[1] = ScaleBySplitGain(gr, split);
        out[2] = ScaleBySplitGain(r, split);
    } else {
        const v_s32 gain = Lookup(g.gains, m);
        out[0] = ScaleChannel32(gain, b);
        out[1] = ScaleChannel32(gain, gr);
        out[2] = ScaleChannel32(gain, r);
    }
}

// A vector's worth of pixels (kLanes32), all codes 0..4095 (true returned), or nothing written.
// `copy`, when given, receives the same values.
inline bool Group(const int32_t* in, int32_t* out, int32_t* copy, const Gains& g) {
    v_s32 b, gr, r;
    cv::v_load_deinterleave(in, b, gr, r);
    if (!InTable(b, gr, r)) return false;
    v_s32 o[3];
    Scale(b, gr, r, g, o);
    Store(out, o[0], o[1], o[2]);
    if (copy != nullptr) Store(copy, o[0], o[1], o[2]);
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

// ---- ARGB8888 rows (common/argb8888.h) ----
//
// A vector of kLanes32 pixels is one load: in a little-endian lane the bytes A, R, G, B read as
// A | R << 8 | G << 16 | B << 24.
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__
#error "the ARGB8888 kernels read pixels as little-endian words"
#endif

using v_u32 = cv::v_uint32;

// A colour byte widened to 12 bits, v * 16 + v / 16 (the two parts share no bit).
inline v_s32 Widen(const v_u32& byte) { return cv::v_reinterpret_as_s32(cv::v_shl<4>(byte) | cv::v_shr<4>(byte)); }

inline void UnpackWidened(const v_u32& pixels, v_s32& b, v_s32& g, v_s32& r) {
    const v_u32 low = cv::vx_setall_u32(255);
    r = Widen(cv::v_shr<8>(pixels) & low);
    g = Widen(cv::v_shr<16>(pixels) & low);
    b = Widen(cv::v_shr<24>(pixels));
}

// Narrow12To8 of every lane: the value clamped to 0..4095 (which the saturation makes of the
// rest), then (c + 7 + bit 4 of c) >> 4, that is c / 16 rounded to nearest with halves to even,
// limited to 255.
inline v_u32 Narrow(const v_s32& v) {
    const v_s32 c = cv::v_min(cv::v_max(v, cv::vx_setzero_s32()), cv::vx_setall_s32(kMaxCode));
    const v_s32 rounded = cv::v_shr<4>(c + cv::vx_setall_s32(7) + (cv::v_shr<4>(c) & cv::vx_setall_s32(1)));
    return cv::v_reinterpret_as_u32(cv::v_min(rounded, cv::vx_setall_s32(255)));
}

// The pixels with their colour bytes replaced by the narrowed values, alpha kept.
inline v_u32 PackNarrowed(const v_u32& pixels, const v_s32 bgr[3]) {
    return (pixels & cv::vx_setall_u32(255)) | cv::v_shl<8>(Narrow(bgr[2])) | cv::v_shl<16>(Narrow(bgr[1])) |
           cv::v_shl<24>(Narrow(bgr[0]));
}

// kLanes32 pixels from x on, or fewer at the end of a row through `tail` (zero-padded).
inline v_u32 LoadPixels(const uint8_t* argb, int count, uint32_t* tail) {
    if (count == kLanes32) return cv::vx_load(reinterpret_cast<const uint32_t*>(argb));
    std::memset(tail, 0, kLanes32 * sizeof(uint32_t));
    std::memcpy(tail, argb, static_cast<size_t>(count) * 4);
    return cv::vx_load_aligned(tail);
}

inline void StorePixels(uint8_t* argb, int count, const v_u32& pixels, uint32_t* tail) {
    if (count == kLanes32) {
        cv::v_store(reinterpret_cast<uint32_t*>(argb), pixels);
    } else {
        cv::v_store_aligned(tail, pixels);
        std::memcpy(argb, tail, static_cast<size_t>(count) * 4);
    }
}

// 12-bit results of `count` pixels to `dst` as integer_row writes them.
inline void StoreValues(int32_t* dst, int count, const v_s32 bgr[3], int32_t* tail) {
    if (count == kLanes32) {
        Store(dst, bgr[0], bgr[1], bgr[2]);
    } else {
        cv::v_store_interleave(tail, bgr[0], bgr[1], bgr[2]);
        std::memcpy(dst, tail, static_cast<size_t>(count) * 3 * sizeof(int32_t));
    }
}

void ArgbRowKernel(uint8_t* argb, int32_t* image, int32_t* copy, int cols, const Gains& g, bool narrow) {
    alignas(64) uint32_t tail[kLanes32];
    alignas(64) int32_t tail_values[3 * kLanes32];
    for (int x = 0; x < cols; x += kLanes32) {
        const int count = cols - x < kLanes32 ? cols - x : kLanes32;
        uint8_t* px = argb + 4 * x;
        const v_u32 pixels = LoadPixels(px, count, tail);
        v_s32 b, gr, r, o[3];
        UnpackWidened(pixels, b, gr, r);
        Scale(b, gr, r, g, o);  // widened bytes are always in the table's range
        if (image != nullptr) StoreValues(image + 3 * x, count, o, tail_values);
        if (copy != nullptr) StoreValues(copy + 3 * x, count, o, tail_values);
        if (narrow) StorePixels(px, count, PackNarrowed(pixels, o), tail);
    }
}

void ToArgbRowKernel(const int32_t* in, uint8_t* argb, int32_t* copy, int cols, const Gains& g) {
    alignas(64) uint32_t tail[kLanes32];
    alignas(64) int32_t tail_in[3 * kLanes32];
    alignas(64) int32_t values[3 * kLanes32];
    for (int x = 0; x < cols; x += kLanes32) {
        const int count = cols - x < kLanes32 ? cols - x : kLanes32;
        const int32_t* src = in + 3 * x;
        if (count != kLanes32) {
            std::memset(tail_in, 0, sizeof(tail_in));
            std::memcpy(tail_in, src, static_cast<size_t>(count) * 3 * sizeof(int32_t));
            src = tail_in;
        }
        v_s32 b, gr, r, o[3];
        cv::v_load_deinterleave(src, b, gr, r);
        if (InTable(b, gr, r)) {
            Scale(b, gr, r, g, o);
        } else {
            // A code outside 0..4095: these pixels take the per-pixel path.
            std::memset(values, 0, sizeof(values));
            for (int k = 0; k < count; ++k) g.pixel(in + 3 * (x + k), values + 3 * k, g);
            cv::v_load_deinterleave(values, o[0], o[1], o[2]);
        }
        if (copy != nullptr) StoreValues(copy + 3 * x, count, o, values);
        uint8_t* px = argb + 4 * x;
        StorePixels(px, count, PackNarrowed(LoadPixels(px, count, tail), o), tail);
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
    static const RowKernels kernels = {IntegerRowKernel, ArgbRowKernel, ToArgbRowKernel, StreamFenceKernel};
    return kernels;
}

}  // namespace ALAD_SIMD_NAMESPACE
}  // namespace agtm_rows
}  // namespace kelvo
