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
#include "common/row_steps.h"

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

// `count` pixels (at most kLanes32) from x on. Each group is read whole before it is written, so
// the output may be the input itself.
template <bool kCopy>
ALAD_STEP inline void IntegerGroup(const int32_t* in, int32_t* out, int32_t* copy, int x, int count, const Gains& g) {
    const size_t values = static_cast<size_t>(count) * 3;
    const bool whole = count == kLanes32;
    alignas(64) int32_t tail_in[3 * kLanes32];
    alignas(64) int32_t tail_out[3 * kLanes32];
    const int32_t* src = in + 3 * x;
    if (!whole) {
        std::memset(tail_in, 0, sizeof(tail_in));
        std::memcpy(tail_in, src, values * sizeof(int32_t));
        src = tail_in;
    }
    v_s32 b, gr, r;
    cv::v_load_deinterleave(src, b, gr, r);
    if (!InTable(b, gr, r)) {
        // A code outside 0..4095: these pixels take the per-pixel path, in order.
        for (int k = 0; k < count; ++k) g.pixel(in + 3 * (x + k), out + 3 * (x + k), g);
        if (kCopy) std::memcpy(copy + 3 * x, out + 3 * x, values * sizeof(int32_t));
        return;
    }
    v_s32 o[3];
    Scale(b, gr, r, g, o);
    if (whole) {
        Store(out + 3 * x, o[0], o[1], o[2]);
        if (kCopy) Store(copy + 3 * x, o[0], o[1], o[2], false);
        return;
    }
    cv::v_store_interleave(tail_out, o[0], o[1], o[2]);
    std::memcpy(out + 3 * x, tail_out, values * sizeof(int32_t));
    if (kCopy) std::memcpy(copy + 3 * x, tail_out, values * sizeof(int32_t));
}

template <bool kCopy>
void IntegerRow(const int32_t* in, int32_t* out, int32_t* copy, int cols, const Gains& g) {
    alad::ForEachStep<kLanes32>(cols,
                                [&](int x, int count) ALAD_STEP { IntegerGroup<kCopy>(in, out, copy, x, count, g); });
}

void IntegerRowKernel(const int32_t* in, int32_t* out, int32_t* copy, int cols, const Gains& g) {
    (copy != nullptr ? IntegerRow<true> : IntegerRow<false>)(in, out, copy, cols, g);
}

// ---- Sixteen pixels a step, a pixel per 16-bit lane: the driver's ARGB8888 rows and the CLTM
// stage's 10-bit rows ----

namespace argb = argb8888_kernels::ALAD_SIMD_NAMESPACE;
using v_s16 = cv::v_int16;
using v_u16 = cv::v_uint16;
constexpr int kLanes16 = v_s16::nlanes;
static_assert(kLanes16 == argb::kPixels, "one pixel per 16-bit lane");

// Where every gain is non-negative, a step's pixels are taken in the order of argb::LoadColours
// with in_halves, in which the multiplications need no lane crossings.

// Pixels 0-15 (in order) in that order.
inline v_s16 InHalves(const v_s16& v) {
#if CV_AVX2
    return v_s16(_mm256_permute4x64_epi64(v.val, 0xD8));
#else
    return v;
#endif
}

// Two vectors of pixels in that order interleaved: pixels 0-7 (lo) and 8-15 (hi) in 32-bit lanes,
// a's value in the low half of each lane and b's in the high half.
inline void Unpack(const v_s16& a, const v_s16& b, v_s32& lo, v_s32& hi) {
#if CV_AVX2
    lo = v_s32(_mm256_unpacklo_epi16(a.val, b.val));
    hi = v_s32(_mm256_unpackhi_epi16(a.val, b.val));
#else
    v_s16 l, h;
    cv::v_zip(a, b, l, h);
    lo = cv::v_reinterpret_as_s32(l);
    hi = cv::v_reinterpret_as_s32(h);
#endif
}

// Non-negative values of pixels 0-7 and 8-15 back in that order, saturated at 65535.
inline v_u16 Pack(const v_s32& lo, const v_s32& hi) {
#if CV_AVX2
    return v_u16(_mm256_packus_epi32(lo.val, hi.val));
#else
    return cv::v_pack_u(lo, hi);
#endif
}

// ScaleBySplitGain of kLanes16 pixels (12-bit codes B, G, R in that order) through gains that are
// all non-negative.
ALAD_STEP inline void ScaleNonNegative(const v_s16 codes[3], const Gains& g, v_s16 out[3]) {
    v_s32 brightest[2];
    Unpack(cv::v_max(cv::v_max(codes[0], codes[1]), codes[2]), cv::vx_setzero_s16(), brightest[0], brightest[1]);
    const v_s16 split[2] = {cv::v_reinterpret_as_s16(Lookup(g.split, brightest[0])),
                            cv::v_reinterpret_as_s16(Lookup(g.split, brightest[1]))};
    for (int ch = 0; ch < 3; ++ch) {
        v_s32 pair[2];  // c | 4c << 16
        Unpack(codes[ch], cv::v_shl<2>(codes[ch]), pair[0], pair[1]);
        const v_u16 scaled = Pack(cv::v_shr<9>(cv::v_dotprod(cv::v_reinterpret_as_s16(pair[0]), split[0])),
                                  cv::v_shr<9>(cv::v_dotprod(cv::v_reinterpret_as_s16(pair[1]), split[1])));
        out[ch] = cv::v_reinterpret_as_s16(cv::v_min(scaled, cv::vx_setall_u16(kMaxCode)));
    }
}

// The gains applied to kLanes16 pixels of 12-bit codes (in order) given in 16-bit lanes; the
// results as 32-bit lanes, pixels 0.. kLanes32 - 1 in out[0], the rest in out[1].
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

// kLanes16 pixels' 12-bit codes B, G, R (in halves when every gain is non-negative, otherwise in
// order) through the gains, `count` of them to the outputs: with kValues to `image` and `copy`
// (those not null) as integer_row writes them, with kArgb narrowed into the colour bytes of the
// ARGB pixels at `argb`.
template <bool kNonNegative, bool kValues, bool kArgb>
ALAD_STEP inline void MapStep(const v_s16 codes[3], int count, int32_t* image, int32_t* copy, uint8_t* argb,
                              const Gains& g) {
    v_s32 out[2][3];
    v_u16 n[3];
    if (kNonNegative) {
        v_s16 v[3];
        ScaleNonNegative(codes, g, v);
        for (int ch = 0; ch < 3; ++ch) {
            if (kValues) Unpack(v[ch], cv::vx_setzero_s16(), out[0][ch], out[1][ch]);
            if (kArgb) n[ch] = argb::NarrowCodes(v[ch]);
        }
    } else {
        ScalePixels(codes, g, out);
        // The results are at most 4095: the pack's saturation keeps negative ones negative for
        // the narrowing's clamp.
        if (kArgb) {
            for (int ch = 0; ch < 3; ++ch) n[ch] = argb::Narrow(cv::v_pack(out[0][ch], out[1][ch]));
        }
    }
    if (kValues && image != nullptr) StoreValues(image, count, out, true);
    if (kValues && copy != nullptr) StoreValues(copy, count, out, false);
    if (kArgb) argb::StoreColours(argb, count, n[2], n[1], n[0], kNonNegative);
}

// The rows below are built for each kind of gains and set of outputs (MapStep), so that each loop
// holds only its own steps; RunRow picks the build.
template <template <bool, bool, bool> class Row, typename... Args>
void RunRow(const Gains& g, bool values, bool argb, Args... args) {
    if (g.non_negative) {
        if (values && argb) Row<true, true, true>::Run(args..., g);
        if (values && !argb) Row<true, true, false>::Run(args..., g);
        if (!values && argb) Row<true, false, true>::Run(args..., g);
    } else {
        if (values && argb) Row<false, true, true>::Run(args..., g);
        if (values && !argb) Row<false, true, false>::Run(args..., g);
        if (!values && argb) Row<false, false, true>::Run(args..., g);
    }
}

template <bool kNonNegative, bool kValues, bool kArgb>
struct ArgbRow {
    static void Run(uint8_t* pixels, int32_t* image, int32_t* copy, int cols, const Gains& g) {
        alad::ForEachStep<kLanes16>(cols, [&](int x, int count) ALAD_STEP {
            v_u16 r, gr, b;
            uint8_t* argb = pixels + 4 * x;
            argb::LoadColours(argb, count, r, gr, b, kNonNegative);
            const v_s16 codes[3] = {argb::Widen(b), argb::Widen(gr), argb::Widen(r)};
            MapStep<kNonNegative, kValues, kArgb>(codes, count, image != nullptr ? image + 3 * x : nullptr,
                                                  copy != nullptr ? copy + 3 * x : nullptr, argb, g);
        });
    }
};

void ArgbRowKernel(uint8_t* pixels, int32_t* image, int32_t* copy, int cols, const Gains& g, bool narrow) {
    RunRow<ArgbRow>(g, image != nullptr || copy != nullptr, narrow, pixels, image, copy, cols);
}

template <bool kNonNegative, bool kValues, bool kArgb>
struct PlanarRow {
    static void Run(const int16_t* const* planes, int cols, int32_t* image, int32_t* copy, uint8_t* pixels,
                    const Gains& g) {
        alad::ForEachStep<kLanes16>(cols, [&](int x, int count) ALAD_STEP {
            v_s16 codes[3];
            for (int ch = 0; ch < 3; ++ch) {
                const v_s16 v = cv::vx_load(planes[ch] + x);
                codes[ch] = cv::v_shl<2>(v) + cv::v_shr<8>(v);  // 10 bits to 12: 1023 -> 4095
                if (kNonNegative) codes[ch] = InHalves(codes[ch]);
            }
            MapStep<kNonNegative, kValues, kArgb>(codes, count, image != nullptr ? image + 3 * x : nullptr,
                                                  copy != nullptr ? copy + 3 * x : nullptr,
                                                  kArgb ? pixels + 4 * x : nullptr, g);
        });
    }
};

void PlanarRowKernel(const int16_t* const* planes, int cols, int32_t* image, int32_t* copy, uint8_t* pixels,
                     const Gains& g) {
    RunRow<PlanarRow>(g, image != nullptr || copy != nullptr, pixels != nullptr, planes, cols, image, copy, pixels);
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
