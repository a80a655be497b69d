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
#include "common/argb8888_kernels.h"

namespace kelvo {
namespace agtm_rows {
namespace ALAD_SIMD_NAMESPACE {

namespace {

using v_s32 = cv::v_int32;

constexpr int kLanes32 = v_s32::nlanes;
constexpr int32_t kMaxCode = 4095;

// The steps of the ARGB and planar rows are inlined by force: kept as calls, they pass vectors
// through memory and set their constants up on every call.
#ifndef ALAD_STEP
#define ALAD_STEP __attribute__((always_inline))
#endif

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

// The stage's output: whole vectors at aligned addresses go straight to memory (non-temporal
// stores, where the processor has them): the frame is written once and not read back here. The
// debug store's copy (`stream` false) takes plain stores: a second stream of non-temporal stores
// interleaved with the first made an order-4 frame twice as slow (measured on a Zen 3), where
// plain stores cost little more than the extra bytes.
inline void Store(int32_t* out, const v_s32& b, const v_s32& g, const v_s32& r, bool stream = true) {
    if (stream && reinterpret_cast<uintptr_t>(out) % sizeof(v_s32) == 0) {
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
    if (copy != nullptr) Store(copy, o[0], o[1], o[2], false);
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

// ---- The driver's ARGB8888 rows, a pixel per 32-bit lane ----

namespace argb = argb8888_kernels::ALAD_SIMD_NAMESPACE;
using v_u32 = cv::v_uint32;

// Narrow12To8 (argb::Narrow) of min(c * g >> 9, 4095) for a 12-bit code c and a non-negative gain g
// given split (ScaleBySplitGain), straight from the product p = c * g (below 2^29): the rounding of
// (p >> 9) / 16 is that of p / 2^13, so (p + 7 * 2^9 + bit 13 of p * 2^9) >> 13, and results from
// 4088 on give 255 either way.
inline v_s32 NarrowScaled(const v_s32& c, const v_s32& split) {
    const v_s32 p = cv::v_dotprod(cv::v_reinterpret_as_s16(c | cv::v_shl<18>(c)), cv::v_reinterpret_as_s16(split));
    const v_s32 rounded = cv::v_shr<13>(p + cv::vx_setall_s32(7 << 9) + (cv::v_shr<4>(p) & cv::vx_setall_s32(1 << 9)));
    return cv::v_min(rounded, cv::vx_setall_s32(255));
}

// kLanes32 ARGB8888 pixels at `pixels` (a pixel's bytes A, R, G, B read as the little-endian word
// A | R << 8 | G << 16 | B << 24) through the gains; `image` and `copy` as in integer_row.
ALAD_STEP inline void ArgbGroup(uint8_t* pixels, int32_t* image, int32_t* copy, const Gains& g, bool narrow) {
    uint32_t* words = reinterpret_cast<uint32_t*>(pixels);
    const v_u32 word = cv::vx_load(words), low = cv::vx_setall_u32(255);
    const v_s32 r = cv::v_reinterpret_as_s32(cv::v_shr<8>(word) & low);
    const v_s32 gr = cv::v_reinterpret_as_s32(cv::v_shr<16>(word) & low);
    const v_s32 b = cv::v_reinterpret_as_s32(cv::v_shr<24>(word));
    v_s32 n[3];  // the narrowed B, G, R
    if (narrow && g.non_negative && image == nullptr && copy == nullptr) {
        // The widened codes keep the order of the bytes: the brightest code is the brightest
        // byte's.
        const v_s32 split = Lookup(g.split, argb::Widen(cv::v_max(cv::v_max(b, gr), r)));
        n[0] = NarrowScaled(argb::Widen(b), split);
        n[1] = NarrowScaled(argb::Widen(gr), split);
        n[2] = NarrowScaled(argb::Widen(r), split);
    } else {
        v_s32 o[3];
        Scale(argb::Widen(b), argb::Widen(gr), argb::Widen(r), g, o);
        if (image != nullptr) Store(image, o[0], o[1], o[2]);
        if (copy != nullptr) Store(copy, o[0], o[1], o[2], false);
        if (!narrow) return;
        for (int ch = 0; ch < 3; ++ch) n[ch] = argb::Narrow(o[ch]);
    }
    const v_s32 colours = cv::v_shl<8>(n[2]) | cv::v_shl<16>(n[1]) | cv::v_shl<24>(n[0]);
    cv::v_store(words, (word & low) | cv::v_reinterpret_as_u32(colours));
}

void ArgbRowKernel(uint8_t* pixels, int32_t* image, int32_t* copy, int cols, const Gains& g, bool narrow) {
    const int whole = cols - cols % kLanes32;
    for (int x = 0; x < whole; x += kLanes32) {
        ArgbGroup(pixels + 4 * x, image != nullptr ? image + 3 * x : nullptr, copy != nullptr ? copy + 3 * x : nullptr,
                  g, narrow);
    }
    if (whole == cols) return;
    // The last pixels through copies padded with zeros.
    const size_t count = static_cast<size_t>(cols - whole);
    alignas(64) uint8_t tail[4 * kLanes32] = {};
    alignas(64) int32_t tail_image[3 * kLanes32];
    alignas(64) int32_t tail_copy[3 * kLanes32];
    std::memcpy(tail, pixels + 4 * whole, 4 * count);
    ArgbGroup(tail, image != nullptr ? tail_image : nullptr, copy != nullptr ? tail_copy : nullptr, g, narrow);
    std::memcpy(pixels + 4 * whole, tail, 4 * count);
    if (image != nullptr) std::memcpy(image + 3 * whole, tail_image, 3 * count * sizeof(int32_t));
    if (copy != nullptr) std::memcpy(copy + 3 * whole, tail_copy, 3 * count * sizeof(int32_t));
}

// ---- Rows of 16-bit lanes: the CLTM stage's 10-bit rows ----

using v_s16 = cv::v_int16;
using v_u16 = cv::v_uint16;
constexpr int kLanes16 = v_s16::nlanes;
static_assert(kLanes16 == argb::kPixels, "one pixel per 16-bit lane");

// The gains applied to kLanes16 pixels of 12-bit codes 0..4095 given in 16-bit lanes; the results
// as 32-bit lanes, pixels 0.. kLanes32 - 1 in out[0], the rest in out[1].
ALAD_STEP inline void ScalePixels(const v_s16 codes[3], const Gains& g, v_s32 out[2][3]) {
    v_s32 halves[3][2];
    for (int ch = 0; ch < 3; ++ch) cv::v_expand(codes[ch], halves[ch][0], halves[ch][1]);
    for (int h = 0; h < 2; ++h) Scale(halves[0][h], halves[1][h], halves[2][h], g, out[h]);
}

// Interleaved 12-bit results of `count` pixels (at most kLanes16) to `dst` as integer_row writes
// them.
inline void StoreValues(int32_t* dst, int count, const v_s32 out[2][3], bool stream) {
    for (int h = 0; h < 2; ++h) {
        const int n = count - h * kLanes32;
        if (n >= kLanes32) {
            Store(dst + 3 * h * kLanes32, out[h][0], out[h][1], out[h][2], stream);
        } else if (n > 0) {
            alignas(64) int32_t tail[3 * kLanes32];
            cv::v_store_interleave(tail, out[h][0], out[h][1], out[h][2]);
            std::memcpy(dst + 3 * h * kLanes32, tail, static_cast<size_t>(n) * 3 * sizeof(int32_t));
        }
    }
}

// The results of `count` pixels (at most kLanes16) to the outputs that are not null: to `image`
// and `copy`, and narrowed into the colour bytes of the ARGB pixels at `argb`.
ALAD_STEP inline void StoreResults(int32_t* image, int32_t* copy, uint8_t* argb, int count, const v_s32 out[2][3],
                                   const Gains& g) {
    if (image != nullptr) StoreValues(image, count, out, true);
    if (copy != nullptr) StoreValues(copy, count, out, false);
    if (argb != nullptr) {
        // The results are at most 4095, and not negative unless a gain is: the pack's saturation
        // keeps negative ones negative for the narrowing's clamp.
        v_u16 n[3];
        for (int ch = 0; ch < 3; ++ch) {
            const v_s16 codes = cv::v_pack(out[0][ch], out[1][ch]);
            n[ch] = g.non_negative ? argb::NarrowCodes(codes) : argb::Narrow(codes);
        }
        argb::StoreColours(argb, count, n[2], n[1], n[0]);
    }
}

void PlanarRowKernel(const int16_t* const* planes, int cols, int32_t* image, int32_t* copy, uint8_t* pixels,
                     const Gains& g) {
    for (int x = 0; x < cols; x += kLanes16) {
        const int count = cols - x < kLanes16 ? cols - x : kLanes16;
        v_s16 codes[3];
        for (int ch = 0; ch < 3; ++ch) {
            const v_s16 v = cv::vx_load(planes[ch] + x);
            codes[ch] = cv::v_shl<2>(v) + cv::v_shr<8>(v);  // 10 bits to 12: 1023 -> 4095
        }
        v_s32 out[2][3];
        ScalePixels(codes, g, out);
        StoreResults(image != nullptr ? image + 3 * x : nullptr, copy != nullptr ? copy + 3 * x : nullptr,
                     pixels != nullptr ? pixels + 4 * x : nullptr, count, out, g);
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
    static const RowKernels kernels = {IntegerRowKernel, ArgbRowKernel, PlanarRowKernel, StreamFenceKernel};
    return kernels;
}

}  // namespace ALAD_SIMD_NAMESPACE
}  // namespace agtm_rows
}  // namespace kelvo
