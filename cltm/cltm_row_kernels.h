// The vectorised row kernels of cltm_rows (see cltm_rows.h for what each computes), written once
// with OpenCV's width-agnostic universal intrinsics and compiled once per instruction set, each
// time in a namespace of its own (ALAD_SIMD_NAMESPACE): v_int16 holds 8 lanes with SSE2 and NEON,
// 16 with AVX2, 32 with AVX-512. Only plain pointers and plain structs cross in and out, and
// nothing from the standard library is instantiated here, so that no function compiled for one
// instruction set can stand in for another's.
//
// Included only by cltm_rows.cpp (baseline), cltm_rows_avx2.cpp (AVX2) and cltm_rows_avx512.cpp
// (AVX-512).
#ifndef ALAD_SIMD_NAMESPACE
#error "define ALAD_SIMD_NAMESPACE before including cltm_row_kernels.h"
#endif

#include <cstdint>
#include <cstring>

#include <opencv2/core/hal/intrin.hpp>

#include "cltm/cltm_rows.h"
#include "common/argb8888_kernels.h"
#include "common/row_steps.h"

namespace kelvo {
namespace cltm_rows {
namespace ALAD_SIMD_NAMESPACE {

namespace {

using v_s16 = cv::v_int16;
using v_u16 = cv::v_uint16;
using v_s32 = cv::v_int32;
using v_u32 = cv::v_uint32;

constexpr int kLanes16 = v_s16::nlanes;
constexpr int kLanes32 = v_s32::nlanes;
static_assert(kRowPad % kLanes16 == 0, "rows are padded to whole vectors");

constexpr int16_t kTop10 = 1023;

// (a * w + b * (256 - w) + 128) >> 8 for pairs a | b << 16 (0 <= a, b < 2^15) and weights packed
// as w | (256 - w) << 16: one multiply-add of 16-bit halves.
inline v_s32 BlendPairs(const v_s32& pairs, const v_s32& weights) {
    const v_s32 sum = cv::v_dotprod(cv::v_reinterpret_as_s16(pairs), cv::v_reinterpret_as_s16(weights));
    return cv::v_shr<8>(sum + cv::vx_setall_s32(128));
}

// (a * b + 2^14) >> 15 of 16-bit lanes whose result fits 16 bits: the processor's rounding
// multiply where it has one (AVX2, AVX-512, NEON; NEON's saturates only at -2^15 * -2^15).
inline v_s16 MulRound15(const v_s16& a, const v_s16& b) {
#if CV_AVX512_SKX
    return v_s16(_mm512_mulhrs_epi16(a.val, b.val));
#elif CV_AVX2
    return v_s16(_mm256_mulhrs_epi16(a.val, b.val));
#elif CV_NEON
    return v_s16(vqrdmulhq_s16(a.val, b.val));
#else
    v_s32 low, high;
    cv::v_mul_expand(a, b, low, high);
    const v_s32 half = cv::vx_setall_s32(1 << 14);
    return cv::v_pack(cv::v_shr<15>(low + half), cv::v_shr<15>(high + half));
#endif
}

// A weight w (0 <= w < 256) as Blend16 takes it: w << 7.
struct BlendWeight {
    explicit BlendWeight(uint32_t w) : shifted(cv::vx_setall_s16(static_cast<int16_t>(w << 7))) {}
    v_s16 shifted;
};

// The same with 10-bit a and b in separate rows, in 16-bit lanes: b + ((128 + (a - b) * w) >> 8),
// which is b + (((a - b) * (w << 7) + 2^14) >> 15).
inline v_s16 Blend16(const v_s16& a, const v_s16& b, const BlendWeight& w) { return b + MulRound15(a - b, w.shifted); }

inline v_s16 Clamp10(const v_s16& v) { return cv::v_min(cv::v_max(v, cv::vx_setzero_s16()), cv::vx_setall_s16(kTop10)); }

// Table entries at 16-bit indices (all inside the table): as two 32-bit halves, or packed back to
// 16 bits (the entries fit). Gather instructions where the processor has them; elsewhere plain
// loads through a small array, faster than building the vectors lane by lane.
inline void Gather32(const int32_t* table, const v_s16& index, v_s32& low, v_s32& high) {
#if CV_AVX512_SKX
    cv::v_expand(index, low, high);
    low = v_s32(_mm512_i32gather_epi32(low.val, table, 4));
    high = v_s32(_mm512_i32gather_epi32(high.val, table, 4));
#elif CV_AVX2
    cv::v_expand(index, low, high);
    low = v_s32(_mm256_i32gather_epi32(table, low.val, 4));
    high = v_s32(_mm256_i32gather_epi32(table, high.val, 4));
#else
    alignas(64) int16_t at[kLanes16];
    alignas(64) int32_t entry[kLanes16];
    cv::v_store_aligned(at, index);
    for (int k = 0; k < kLanes16; ++k) entry[k] = table[at[k]];
    asm volatile("" ::: "memory");  // keep the compiler from building the vectors lane by lane
    low = cv::vx_load_aligned(entry);
    high = cv::vx_load_aligned(entry + kLanes32);
#endif
}
inline v_s16 Gather16(const int32_t* table, const v_s16& index) {
    v_s32 low, high;
    Gather32(table, index, low, high);
    return cv::v_pack(low, high);
}
inline v_u16 GatherU16(const int32_t* table, const v_s16& index) {
    v_s32 low, high;
    Gather32(table, index, low, high);
    return cv::v_pack_u(low, high);
}

// Q[index] (the reciprocal) for indices 0..255. With AVX-512 the 256 values sit in eight
// registers: four two-register permutes each pick among 64 of them by the index's low six bits,
// and bits 6 and 7 choose among the four.
inline v_u16 Reciprocal(const TableView& t, const v_s16& index) {
#if CV_AVX512_SKX
    const __m512i* q = reinterpret_cast<const __m512i*>(t.reciprocal16);
    const __m512i i = index.val;
    __m512i part[4];
    for (int k = 0; k < 4; ++k) {
        part[k] = _mm512_permutex2var_epi16(_mm512_loadu_si512(q + 2 * k), i, _mm512_loadu_si512(q + 2 * k + 1));
    }
    const __mmask32 bit6 = _mm512_test_epi16_mask(i, _mm512_set1_epi16(64));
    const __mmask32 bit7 = _mm512_test_epi16_mask(i, _mm512_set1_epi16(128));
    return v_u16(_mm512_mask_mov_epi16(_mm512_mask_mov_epi16(part[0], bit6, part[1]), bit7,
                                       _mm512_mask_mov_epi16(part[2], bit6, part[3])));
#else
    return GatherU16(t.reciprocal, index);
#endif
}

// The detail gain at 10-bit lumas i (TableView::detail_gain), as two 32-bit halves. With AVX-512
// it is interpolated in registers from its 16 points, as the table was made:
// point[i >> 6] + ((step[i >> 6] * ((i >> 2) & 15)) >> 4), wrapping at 32 bits.
inline void DetailGain(const TableView& t, const v_s16& i, v_s32& low, v_s32& high) {
#if CV_AVX512_SKX
    const __m512i points = _mm512_loadu_si512(t.detail_points), steps = _mm512_loadu_si512(t.detail_steps);
    v_s32 at[2];
    cv::v_expand(i, at[0], at[1]);
    for (v_s32& half : at) {
        const __m512i segment = _mm512_srli_epi32(half.val, 6);
        const __m512i fraction = _mm512_and_si512(_mm512_srli_epi32(half.val, 2), _mm512_set1_epi32(15));
        const __m512i rise = _mm512_mullo_epi32(_mm512_permutexvar_epi32(segment, steps), fraction);
        half = v_s32(_mm512_add_epi32(_mm512_permutexvar_epi32(segment, points), _mm512_srai_epi32(rise, 4)));
    }
    low = at[0];
    high = at[1];
#else
    Gather32(t.detail_gain, i, low, high);
#endif
}

// a * b >> 8 for unsigned 16-bit a and b, as 32-bit lanes (the product's halves put together).
inline void MulShift8(const v_u16& a, const v_u16& b, v_s32& low, v_s32& high) {
    v_u16 p0, p1;
    cv::v_zip(cv::v_mul_wrap(a, b), cv::v_mul_hi(a, b), p0, p1);
    low = cv::v_reinterpret_as_s32(cv::v_shr<8>(cv::v_reinterpret_as_u32(p0)));
    high = cv::v_reinterpret_as_s32(cv::v_shr<8>(cv::v_reinterpret_as_u32(p1)));
}

inline v_s16 AbsDiff(const v_s16& a, const v_s16& b) { return cv::v_max(a, b) - cv::v_min(a, b); }

// The filter's weight of neighbours |d| apart (0 <= d <= 1023): range_weight[d >> 3] below 256,
// else 0. The 32 weights fit in bytes (the sweep takes no larger ones), so where the processor
// has a table look-up in registers (AVX-512 vpermw, AVX2 pshufb, NEON tbl) no memory look-up is
// made.
inline v_s16 PairWeight(const TableView& t, const v_s16& d) {
#if CV_AVX512_SKX || CV_AVX2 || CV_NEON
    // k = d >> 3, limited to 32: past the table, weight 0.
    const v_s16 k = cv::v_min(cv::v_shr<3>(d), cv::vx_setall_s16(32));
#endif
#if CV_AVX512_SKX
    // All 32 weights fit one register as 16-bit values.
    const __m512i table = _mm512_cvtepu8_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(t.range_weight_bytes)));
    const __mmask32 inside = _mm512_cmplt_epi16_mask(k.val, _mm512_set1_epi16(32));
    return v_s16(_mm512_maskz_permutexvar_epi16(inside, k.val, table));
#elif CV_AVX2
    const __m256i table = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(t.range_weight_bytes));
    const __m256i low_half = _mm256_permute2x128_si256(table, table, 0x00);   // weights 0..15 in both lanes
    const __m256i high_half = _mm256_permute2x128_si256(table, table, 0x11);  // weights 16..31
    // Bytes k0..k7 | k8..k15 in the low halves of the two 128-bit lanes, in order.
    const __m256i bytes = _mm256_packus_epi16(k.val, k.val);
    const __m256i from_low = _mm256_shuffle_epi8(low_half, bytes);
    const __m256i from_high = _mm256_shuffle_epi8(high_half, bytes);
    const __m256i high = _mm256_cmpgt_epi8(bytes, _mm256_set1_epi8(15));
    const __m256i past = _mm256_cmpgt_epi8(bytes, _mm256_set1_epi8(31));
    const __m256i w = _mm256_andnot_si256(past, _mm256_blendv_epi8(from_low, from_high, high));
    return v_s16(_mm256_unpacklo_epi8(w, _mm256_setzero_si256()));
#elif CV_NEON
    const uint8x16x2_t table = {{vld1q_u8(t.range_weight_bytes), vld1q_u8(t.range_weight_bytes + 16)}};
    // Indices of 32 and past read as 0.
    const uint8x8_t w = vqtbl2_u8(table, vmovn_u16(vreinterpretq_u16_s16(k.val)));
    return v_s16(vreinterpretq_s16_u16(vmovl_u8(w)));
#else
    return Gather16(t.range_weight, d);
#endif
}

// 10-bit to 12-bit, the two top bits repeated at the bottom.
inline v_s16 To12Bit(const v_s16& v) { return cv::v_shl<2>(v) + cv::v_shr<8>(v); }

// The driver's narrowing of a 10-bit value's 12-bit code (argb::NarrowCodes(To12Bit(v))) in one
// step. With c = 4v + t, t = v >> 8 (0..3): bit 4 of c is bit 2 of v, and as 4v is a multiple of
// 4, (c + 7 + bit 4) >> 4 = (v + (t + 7 + bit 4) / 4) >> 2 = (v + 2 - [t = 0 and bit 2 = 0]) >> 2,
// limited to 255.
inline v_u16 NarrowTenBit(const v_s16& v) {
    // -1 where t and bit 2 are both 0, else 0.
    const v_s16 neither = (v & cv::vx_setall_s16(0x304)) == cv::vx_setzero_s16();
    const v_s16 rounded = cv::v_shr<2>(v + cv::vx_setall_s16(2) + neither);
    return cv::v_reinterpret_as_u16(cv::v_min(rounded, cv::vx_setall_s16(255)));
}

inline int Distance(int a, int b) { return a < b ? b - a : a - b; }

// Stores n vectors of `count` values in all to dst: whole vectors at aligned addresses straight to
// memory (non-temporal stores, where the processor has them: the frame is written once and not
// read back here, and this saves reading every output line in before writing it), fewer values
// through a copy. With `stream` false, plain stores (the debug store's copy, as in the AGTM rows).
template <typename T, typename V>
inline void StoreValues(T* dst, const V* v, int n, int count, bool stream = true) {
    if (count < n * V::nlanes) {
        alignas(64) T tail[3 * kLanes16];
        for (int i = 0; i < n; ++i) cv::v_store(tail + i * V::nlanes, v[i]);
        std::memcpy(dst, tail, static_cast<size_t>(count) * sizeof(T));
    } else if (stream && reinterpret_cast<uintptr_t>(dst) % sizeof(V) == 0) {
        for (int i = 0; i < n; ++i) cv::v_store_aligned_nocache(dst + i * V::nlanes, v[i]);
    } else {
        for (int i = 0; i < n; ++i) cv::v_store(dst + i * V::nlanes, v[i]);
    }
}

// Writes a vector's worth of pixels from x on (fewer at the end of a row) of three planar rows of
// 10-bit values to the outputs (RowOutput): packed, c0 | c1 << 10 | c2 << 20, one per pixel to
// the plane; as 12-bit codes (4v + (v >> 8)), interleaved, to the image and the copy; as they are
// to the next stage's rows; narrowed into the ARGB row.
// With kNext or kArgb false, the rows have no such output.
template <bool kNext = true, bool kArgb = true>
ALAD_STEP inline void StoreOutputs(const RowOutput& o, int x, int count, const v_s16 v[3]) {
    const v_u16 c0 = cv::v_reinterpret_as_u16(v[0]), c1 = cv::v_reinterpret_as_u16(v[1]);
    const v_u16 c2 = cv::v_reinterpret_as_u16(v[2]);
    v_u16 packed_low, packed_high;  // the low and the high halves of the packed pixels
    cv::v_zip(c0 | cv::v_shl<10>(c1), cv::v_shr<6>(c1) | cv::v_shl<4>(c2), packed_low, packed_high);
    const v_u32 packed[2] = {cv::v_reinterpret_as_u32(packed_low), cv::v_reinterpret_as_u32(packed_high)};
    StoreValues(o.plane + x, packed, 2, count, o.stream_plane);

    if (o.image != nullptr || o.copy != nullptr) {
        alignas(64) int16_t interleaved[3 * kLanes16];
        cv::v_store_interleave(interleaved, To12Bit(v[0]), To12Bit(v[1]), To12Bit(v[2]));
        v_s32 wide[6];
        for (int k = 0; k < 3; ++k) {
            cv::v_expand(cv::vx_load_aligned(interleaved + kLanes16 * k), wide[2 * k], wide[2 * k + 1]);
        }
        if (o.image != nullptr) StoreValues(o.image + 3 * x, wide, 6, 3 * count);
        if (o.copy != nullptr) StoreValues(o.copy + 3 * x, wide, 6, 3 * count, false);
    }
    // The next stage's rows are padded to whole vectors and stay in the cache: plain stores.
    if (kNext && o.next[0] != nullptr) {
        for (int ch = 0; ch < 3; ++ch) cv::v_store(o.next[ch] + x, v[ch]);
    }
    if (kArgb && o.argb != nullptr) {
        namespace argb = argb8888_kernels::ALAD_SIMD_NAMESPACE;
        argb::StoreColours(o.argb + 4 * x, count, NarrowTenBit(v[2]), NarrowTenBit(v[1]), NarrowTenBit(v[0]));
    }
}

// Orders the non-temporal stores before whatever follows (another thread reading the rows).
void StreamFenceKernel() {
#if CV_SSE2
    _mm_sfence();
#endif
}

// Whether the quads (RowQuads) carry Q in their spare bits: not where Q is looked up in
// registers, which then also saves masking the bits off.
constexpr bool kQuadsCarryReciprocal = !CV_AVX512_SKX;

const int16_t kRamp[16] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};

void CurveValuesKernel(const int16_t* segments, uint16_t* values) {
    // 16 values per segment: two 8-lane vectors of any build. start + rise * r stays within
    // 0..2^15 (it is 16 times a value between the segment's two ends, plus 8).
    int16_t* out = reinterpret_cast<int16_t*>(values);
    for (size_t s = 0; s < kCurvePoints; ++s) {
        const cv::v_int16x8 start = cv::v_setall_s16(segments[s]), rise = cv::v_setall_s16(segments[kCurvePoints + s]);
        for (int k = 0; k < 16; k += 8) {
            cv::v_store(out + 16 * s + k, cv::v_shr<4>(start + cv::v_mul_wrap(rise, cv::v_load(kRamp + k))));
        }
    }
}

void MakeQuadsKernel(const uint16_t* upper_left, const uint16_t* upper_right, const uint16_t* lower_left,
                     const uint16_t* lower_right, const uint32_t* low_bits, const uint32_t* high_bits, uint64_t* out) {
    uint32_t* words = reinterpret_cast<uint32_t*>(out);
    for (int v = 0; v < kLumaCodes; v += kLanes16) {
        v_u16 upper[2], lower[2];
        cv::v_zip(cv::vx_load(upper_left + v), cv::vx_load(upper_right + v), upper[0], upper[1]);
        cv::v_zip(cv::vx_load(lower_left + v), cv::vx_load(lower_right + v), lower[0], lower[1]);
        for (int h = 0; h < 2; ++h) {
            const int at = v + h * kLanes32;
            v_u32 upper_pair = cv::v_reinterpret_as_u32(upper[h]), lower_pair = cv::v_reinterpret_as_u32(lower[h]);
            if (kQuadsCarryReciprocal) {
                upper_pair = upper_pair | cv::vx_load(low_bits + at);
                lower_pair = lower_pair | cv::vx_load(high_bits + at);
            }
            cv::v_store_interleave(words + 2 * at, upper_pair, lower_pair);
        }
    }
}

// The quads of a vector's worth of pixels (MapTables) at 16-bit indices of the row pair's tables
// `quads` (column offsets added here), as their low and high 32-bit halves, kLanes32 pixels each.
inline void FetchQuads(const uint64_t* quads, const int32_t* column, const v_s16& index, v_u32 low[2], v_u32 high[2]) {
#if CV_AVX512_SKX
    v_s32 at[2];
    cv::v_expand(index, at[0], at[1]);
    const __m512i even = _mm512_setr_epi32(0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30);
    const __m512i odd = _mm512_add_epi32(even, _mm512_set1_epi32(1));
    for (int h = 0; h < 2; ++h) {
        const __m512i offsets = (at[h] + cv::vx_load(column + h * kLanes32)).val;
        const __m512i a = _mm512_i32gather_epi64(_mm512_castsi512_si256(offsets), quads, 8);            // pixels 0-7
        const __m512i b = _mm512_i32gather_epi64(_mm512_extracti64x4_epi64(offsets, 1), quads, 8);  // pixels 8-15
        low[h] = v_u32(_mm512_permutex2var_epi32(a, even, b));
        high[h] = v_u32(_mm512_permutex2var_epi32(a, odd, b));
    }
#elif CV_AVX2
    // Gather instructions: as fast as plain loads here, and fewer instructions.
    v_s32 at[2];
    cv::v_expand(index, at[0], at[1]);
    const long long* base = reinterpret_cast<const long long*>(quads);
    for (int h = 0; h < 2; ++h) {
        const __m256i offsets = (at[h] + cv::vx_load(column + h * kLanes32)).val;
        const __m256i a = _mm256_i32gather_epi64(base, _mm256_castsi256_si128(offsets), 8);      // pixels 0-3
        const __m256i b = _mm256_i32gather_epi64(base, _mm256_extracti128_si256(offsets, 1), 8);  // pixels 4-7
        // Halves of pixels 0 1 4 5 | 2 3 6 7, then put in order.
        const __m256 lo = _mm256_shuffle_ps(_mm256_castsi256_ps(a), _mm256_castsi256_ps(b), 0x88);
        const __m256 hi = _mm256_shuffle_ps(_mm256_castsi256_ps(a), _mm256_castsi256_ps(b), 0xDD);
        low[h] = v_u32(_mm256_permute4x64_epi64(_mm256_castps_si256(lo), 0xD8));
        high[h] = v_u32(_mm256_permute4x64_epi64(_mm256_castps_si256(hi), 0xD8));
    }
#else
    // Plain loads through a small array (see Gather32).
    alignas(64) int16_t at[kLanes16];
    alignas(64) uint64_t entry[kLanes16];
    cv::v_store_aligned(at, index);
    for (int k = 0; k < kLanes16; ++k) entry[k] = quads[column[k] + at[k]];
    asm volatile("" ::: "memory");
    const uint32_t* words = reinterpret_cast<const uint32_t*>(entry);
    cv::v_load_deinterleave(words, low[0], high[0]);
    cv::v_load_deinterleave(words + 2 * kLanes32, low[1], high[1]);
#endif
}

// _tone_mapping of a vector's worth of pixels from their quads.
inline v_s16 ToneFromQuads(const v_u32 low[2], const v_u32 high[2], const int32_t* wx, const v_s32& wy) {
    v_s32 blended[2];
    for (int h = 0; h < 2; ++h) {
        const v_s32 w = cv::vx_load(wx + h * kLanes32);
        v_u32 top_pair = low[h], bottom_pair = high[h];
        if (kQuadsCarryReciprocal) {
            const v_u32 values = cv::vx_setall_u32(0x03FF03FFu);
            top_pair = top_pair & values;
            bottom_pair = bottom_pair & values;
        }
        // Horizontal blends of the upper and the lower block row, then the vertical one.
        const v_s32 top = BlendPairs(cv::v_reinterpret_as_s32(top_pair), w);
        const v_s32 bottom = BlendPairs(cv::v_reinterpret_as_s32(bottom_pair), w);
        blended[h] = BlendPairs(top | cv::v_shl<16>(bottom), wy);
    }
    return cv::v_pack(blended[0], blended[1]);
}

// Q[luma >> 2] of a vector's worth of pixels whose quads were looked up at `luma`: from the
// quads' spare bits, or where the build looks Q up in registers, from there.
inline v_u16 QuadReciprocal(const TableView& t, const v_u32 low[2], const v_u32 high[2], const v_s16& luma) {
#if CV_AVX512_SKX
    (void)low;
    (void)high;
    return Reciprocal(t, cv::v_shr<2>(luma));
#else
    (void)t;
    (void)luma;
    v_s32 q[2];
    for (int h = 0; h < 2; ++h) {
        q[h] = cv::v_reinterpret_as_s32((low[h] & cv::vx_setall_u32(0xFC00)) |
                                        (cv::v_shr<22>(low[h]) & cv::vx_setall_u32(0x3F0)) | cv::v_shr<28>(high[h]));
    }
    return cv::v_pack_u(q[0], q[1]);
#endif
}

#if CV_AVX512_SKX
// Where the values of three channels of 32 pixels land after the 32-bit to 16-bit packs of
// ConvertChunk (vpackusdw works within 128-bit lanes): channel ch of pixel p, the int at 3p + ch,
// is at word `third[ch][p]` of the third pack when bit p of `from_third[ch]` is set, else at word
// `first[ch][p]` of the first two packs taken as one 64-word table.
struct PackedChannels {
    int16_t first[3][32];
    int16_t third[3][32];
    uint32_t from_third[3];
};
constexpr PackedChannels MakePackedChannels() {
    PackedChannels d{};
    for (int ch = 0; ch < 3; ++ch) {
        for (int p = 0; p < 32; ++p) {
            const int i = 3 * p + ch, pack = i / 32, r = i % 32;
            // Ints 0..15 of a pack fill words 0-3 of each lane, ints 16..31 words 4-7.
            const int word = r < 16 ? r / 4 * 8 + r % 4 : (r - 16) / 4 * 8 + 4 + (r - 16) % 4;
            d.first[ch][p] = static_cast<int16_t>(pack == 2 ? 0 : 32 * pack + word);
            d.third[ch][p] = static_cast<int16_t>(word);
            if (pack == 2) d.from_third[ch] |= 1u << p;
        }
    }
    return d;
}
constexpr PackedChannels kPackedChannels = MakePackedChannels();
#endif

#if CV_AVX512_SKX
// A block curve's values at 32 lumas from its segments (CurveSegments), the segment and the step
// within it of each luma.
inline __m512i CurveInRegisters(const int16_t* segments, const __m512i& segment, const __m512i& step) {
    const __m512i* p = reinterpret_cast<const __m512i*>(segments);
    const __m512i start = _mm512_permutex2var_epi16(_mm512_loadu_si512(p), segment, _mm512_loadu_si512(p + 1));
    const __m512i rise = _mm512_permutex2var_epi16(_mm512_loadu_si512(p + 2), segment, _mm512_loadu_si512(p + 3));
    return _mm512_srli_epi16(_mm512_add_epi16(start, _mm512_mullo_epi16(rise, step)), 4);
}

// b + ((128 + (a - b) * w) >> 8) of 10-bit values with the weight given as w << 7 (w < 256): the
// rounding multiply computes ((a - b) * (w << 7) + 2^14) >> 15, which is the same; where `whole`
// is set (w = 256), a.
inline __m512i BlendRounded(const __m512i& a, const __m512i& b, const __m512i& w7, __mmask32 whole) {
    return _mm512_mask_mov_epi16(_mm512_add_epi16(b, _mm512_mulhrs_epi16(_mm512_sub_epi16(a, b), w7)), whole, a);
}

// _tone_mapping of the 32 pixels of row y from x on, whose curves are the four of `corners`, at
// lumas `luma`: the curves and the blends in 16-bit lanes, no look-ups in memory.
inline v_s16 ToneInRegisters(const TableView& t, const int16_t* const* corners, int y, int x, const v_s16& luma) {
    const __m512i segment = _mm512_srli_epi16(luma.val, 4);
    const __m512i step = _mm512_and_si512(luma.val, _mm512_set1_epi16(15));
    const __m512i wx = _mm512_loadu_si512(t.wx_rounding + x);
    const __mmask32 wx_whole = t.wx_whole[x / kRowPad];
    const __m512i top = BlendRounded(CurveInRegisters(corners[0], segment, step),
                                     CurveInRegisters(corners[1], segment, step), wx, wx_whole);
    const __m512i bottom = BlendRounded(CurveInRegisters(corners[2], segment, step),
                                        CurveInRegisters(corners[3], segment, step), wx, wx_whole);
    const uint32_t wy = static_cast<uint32_t>(t.wy[y]) & 0xFFFFu;
    const __m512i wy7 = _mm512_set1_epi16(static_cast<int16_t>(wy < 256 ? wy << 7 : 0));
    return v_s16(BlendRounded(top, bottom, wy7, wy == 256 ? ~__mmask32{0} : __mmask32{0}));
}
#endif

// The column pair of all the pixels of the vector from x on where the build computes their curves
// in registers (ToneInRegisters), else -1: they take their quads.
inline int RegisterPair(const TableView& t, int x) {
#if CV_AVX512_SKX
    static_assert(kLanes16 == kRowPad, "MapTables::vector_pair counts vectors of this build");
    return t.vector_pair[x / kLanes16];
#else
    (void)t;
    (void)x;
    return -1;
#endif
}

// _tone_mapping of the vector's worth of pixels of row y from x on, at lumas `luma`: in registers
// where `pair` (RegisterPair) is a column pair, else from their quads (FetchQuads).
inline v_s16 Tone(const TableView& t, const RowCurves& row, int pair, int y, int x, const v_s32& wy,
                  const v_u32 low[2], const v_u32 high[2], const v_s16& luma) {
#if CV_AVX512_SKX
    if (pair >= 0) return ToneInRegisters(t, row.corners + 4 * pair, y, x, luma);
#else
    (void)row;
    (void)pair;
    (void)y;
    (void)luma;
#endif
    return ToneFromQuads(low, high, t.wx + x, wy);
}

// One vector's worth of 12-bit BGR pixels (3 * kLanes16 readable values) as planar 10-bit codes:
// each value clamped to 0..4095 and shifted right by 2.
inline void ConvertChunk(const int32_t* src, v_s16& a, v_s16& b, v_s16& c) {
#if CV_AVX512_SKX
    // Clamped and shifted while still interleaved (the unsigned saturation of the pack takes
    // negative values to 0), then sorted into channels: fewer shuffles than at 32 bits.
    const __m512i top = _mm512_set1_epi16(4095);
    __m512i packed[3];
    for (int k = 0; k < 3; ++k) {
        const __m512i* at = reinterpret_cast<const __m512i*>(src + 32 * k);
        packed[k] = _mm512_srli_epi16(
            _mm512_min_epu16(_mm512_packus_epi32(_mm512_loadu_si512(at), _mm512_loadu_si512(at + 1)), top), 2);
    }
    v_s16* out[3] = {&a, &b, &c};
    for (int ch = 0; ch < 3; ++ch) {
        const PackedChannels& d = kPackedChannels;
        const __m512i two = _mm512_permutex2var_epi16(packed[0], _mm512_loadu_si512(d.first[ch]), packed[1]);
        *out[ch] = v_s16(_mm512_mask_permutexvar_epi16(two, d.from_third[ch], _mm512_loadu_si512(d.third[ch]), packed[2]));
    }
#elif CV_AVX2
    // The same: clamped and shifted in three vectors of 16-bit values, in order (the pack works
    // within 128-bit lanes), then sorted into channels by blends and byte shuffles.
    const __m256i top = _mm256_set1_epi16(4095);
    __m256i p[3];
    for (int k = 0; k < 3; ++k) {
        const __m256i* at = reinterpret_cast<const __m256i*>(src + 16 * k);
        const __m256i pack = _mm256_packus_epi32(_mm256_loadu_si256(at), _mm256_loadu_si256(at + 1));
        p[k] = _mm256_srli_epi16(_mm256_min_epu16(_mm256_permute4x64_epi64(pack, 0xD8), top), 2);
    }
    // `low` holds values 0-7 | 32-39 and `high` 8-15 | 40-47: with the middle vector (16-23 |
    // 24-31) each 128-bit lane holds its eight pixels' 24 values; the blends pick each channel's,
    // the shuffles put them in order.
    const __m256i low = _mm256_permute2x128_si256(p[0], p[2], 0x20), high = _mm256_permute2x128_si256(p[0], p[2], 0x31);
    const __m256i m0 = _mm256_setr_epi8(0, 0, -1, -1, 0, 0, 0, 0, -1, -1, 0, 0, 0, 0, -1, -1,  //
                                        0, 0, 0, 0, -1, -1, 0, 0, 0, 0, -1, -1, 0, 0, 0, 0);
    const __m256i m1 = _mm256_setr_epi8(0, 0, 0, 0, -1, -1, 0, 0, 0, 0, -1, -1, 0, 0, 0, 0,  //
                                        -1, -1, 0, 0, 0, 0, -1, -1, 0, 0, 0, 0, -1, -1, 0, 0);
    const __m256i first = _mm256_blendv_epi8(_mm256_blendv_epi8(low, high, m0), p[1], m1);
    const __m256i second = _mm256_blendv_epi8(_mm256_blendv_epi8(p[1], low, m0), high, m1);
    const __m256i third = _mm256_blendv_epi8(_mm256_blendv_epi8(high, low, m1), p[1], m0);
    a = v_s16(_mm256_shuffle_epi8(first, _mm256_setr_epi8(0, 1, 6, 7, 12, 13, 2, 3, 8, 9, 14, 15, 4, 5, 10, 11,  //
                                                          0, 1, 6, 7, 12, 13, 2, 3, 8, 9, 14, 15, 4, 5, 10, 11)));
    b = v_s16(_mm256_shuffle_epi8(second, _mm256_setr_epi8(2, 3, 8, 9, 14, 15, 4, 5, 10, 11, 0, 1, 6, 7, 12, 13,  //
                                                           2, 3, 8, 9, 14, 15, 4, 5, 10, 11, 0, 1, 6, 7, 12, 13)));
    c = v_s16(_mm256_shuffle_epi8(third, _mm256_setr_epi8(4, 5, 10, 11, 0, 1, 6, 7, 12, 13, 2, 3, 8, 9, 14, 15,  //
                                                          4, 5, 10, 11, 0, 1, 6, 7, 12, 13, 2, 3, 8, 9, 14, 15)));
#else
    const v_s16 zero = cv::vx_setzero_s16(), top = cv::vx_setall_s16(4095);
    v_s32 a0, b0, d0, a1, b1, d1;
    cv::v_load_deinterleave(src, a0, b0, d0);
    cv::v_load_deinterleave(src + 3 * kLanes32, a1, b1, d1);
    // The pack saturates to 16 bits, which leaves the clamp to 0..4095 unchanged.
    a = cv::v_shr<2>(cv::v_min(cv::v_max(cv::v_pack(a0, a1), zero), top));
    b = cv::v_shr<2>(cv::v_min(cv::v_max(cv::v_pack(b0, b1), zero), top));
    c = cv::v_shr<2>(cv::v_min(cv::v_max(cv::v_pack(d0, d1), zero), top));
#endif
}

// Asks for the 12-bit pixels kPrefetchPixels ahead of x to be brought into the cache, so that they
// are there when the row gets to them. Measured on x86-64 at 1080x2400: 12-15% faster frames
// while other guests kept the machine's memory busy (its latency up), no change while they did
// not; 96 to 192 pixels ahead alike. The prefetch stops before the row's end.
constexpr int kPrefetchPixels = 128;
template <bool kArgbIn>
inline void PrefetchInput(const RowInput& in, int x, int cols) {
    if (x + kPrefetchPixels >= cols) return;
    // Loops of a fixed length, unrolled: a cache line of 64 bytes at a time.
    if (!kArgbIn) {
        const char* ahead = reinterpret_cast<const char*>(in.image + 3 * (x + kPrefetchPixels));
        for (int at = 0; at < 3 * kLanes16 * 4; at += 64) __builtin_prefetch(ahead + at);
    } else {
        const char* ahead = reinterpret_cast<const char*>(in.argb + 4 * (x + kPrefetchPixels));
        for (int at = 0; at < 4 * kLanes16; at += 64) __builtin_prefetch(ahead + at);
    }
}

// The pixels of a row from x on: the row itself, or (at the end of a row) a copy of the last
// pixels padded with zeros.
inline const int32_t* ChunkSource(const int32_t* in, int x, int cols, int32_t* tail) {
    const int32_t* src = in + 3 * x;
    if (x + kLanes16 <= cols) return src;
    std::memset(tail, 0, 3 * kLanes16 * sizeof(int32_t));
    std::memcpy(tail, src, static_cast<size_t>(cols - x) * 3 * sizeof(int32_t));
    return tail;
}

// ConvertChunk of the vector's worth of pixels from x on; from ARGB8888, each colour byte v
// widened to 12 bits and shifted right by 2 (no clamp: the widened values are 0..4095), which is
// 4v + (v >> 6).
template <bool kArgbIn>
ALAD_STEP inline void ConvertInput(const RowInput& in, int x, int cols, v_s16& a, v_s16& b, v_s16& c) {
    if (!kArgbIn) {
        alignas(64) int32_t tail[3 * kLanes16];
        ConvertChunk(ChunkSource(in.image, x, cols, tail), a, b, c);
    } else {
        v_u16 r, g, bl;
        argb8888_kernels::ALAD_SIMD_NAMESPACE::LoadColours(in.argb + 4 * x, cols - x, r, g, bl);
        a = cv::v_reinterpret_as_s16(cv::v_shl<2>(bl) | cv::v_shr<6>(bl));
        b = cv::v_reinterpret_as_s16(cv::v_shl<2>(g) | cv::v_shr<6>(g));
        c = cv::v_reinterpret_as_s16(cv::v_shl<2>(r) | cv::v_shr<6>(r));
    }
}

// PrefetchInput and ConvertInput of an input of either kind.
ALAD_STEP inline void PrefetchAndConvert(const RowInput& in, int x, int cols, v_s16& a, v_s16& b, v_s16& c) {
    if (in.image != nullptr) {
        PrefetchInput<false>(in, x, cols);
        ConvertInput<false>(in, x, cols, a, b, c);
    } else {
        PrefetchInput<true>(in, x, cols);
        ConvertInput<true>(in, x, cols, a, b, c);
    }
}

void ConvertRowKernel(const RowInput& in, int cols, int16_t* c0, int16_t* c1, int16_t* c2, int16_t* luma) {
    for (int x = 0; x < cols; x += kLanes16) {
        v_s16 a, b, c;
        if (in.image != nullptr) {
            ConvertInput<false>(in, x, cols, a, b, c);
        } else {
            ConvertInput<true>(in, x, cols, a, b, c);
        }
        cv::v_store(c0 + x, a);
        cv::v_store(c1 + x, b);
        cv::v_store(c2 + x, c);
        cv::v_store(luma + x, cv::v_max(cv::v_max(a, b), c));
    }
}


void DownWeightsKernel(const TableView& t, const int16_t* upper, const int16_t* lower, int cols,
                       const PairWeights& out) {
    const int padded = PaddedWidth(cols);
    for (int x = 0; x < padded; x += kLanes16) {
        const v_s16 u = cv::vx_load(upper + x);
        cv::v_store(out.down + x, PairWeight(t, AbsDiff(cv::vx_load(lower + x), u)));
        cv::v_store(out.down_right + x, PairWeight(t, AbsDiff(cv::vx_load(lower + x + 1), u)));
        cv::v_store(out.down_left + x, PairWeight(t, AbsDiff(cv::vx_load(lower + x - 1), u)));
    }
    // The two ends the filter reads beyond the vector steps.
    out.down_right[-1] = static_cast<int16_t>(t.range_weight[Distance(lower[0], upper[-1])]);
    out.down_left[padded] = static_cast<int16_t>(t.range_weight[Distance(lower[padded - 1], upper[padded])]);
}

void RightWeightsKernel(const TableView& t, const int16_t* row, int cols, int16_t* right) {
    const int padded = PaddedWidth(cols);
    for (int x = 0; x < padded; x += kLanes16) {
        cv::v_store(right + x, PairWeight(t, AbsDiff(cv::vx_load(row + x + 1), cv::vx_load(row + x))));
    }
    right[-1] = static_cast<int16_t>(t.range_weight[Distance(row[0], row[-1])]);
}

void FilterRowKernel(const TableView& t, const int16_t* above_row, const int16_t* row, const int16_t* below_row,
                     const PairWeights& above, const PairWeights& below, const int16_t* right, int cols,
                     int16_t* filtered) {
    const int padded = PaddedWidth(cols);
    const int16_t centre_weight = static_cast<int16_t>(t.centre_weight);
    const v_s16 centre_pair = cv::v_reinterpret_as_s16(cv::vx_setall_s32(centre_weight));  // (weight, 0)
    const v_u32 half = cv::vx_setall_u32(32768), top = cv::vx_setall_u32(kTop10);
    const v_s16 last_reciprocal = cv::vx_setall_s16(255), zero = cv::vx_setzero_s16();
    for (int x = 0; x < padded; x += kLanes16) {
        const v_s16 c = cv::vx_load(row + x);
        // The eight neighbours and their weights: row above, same row, row below, left to right.
        const v_s16 w[8] = {cv::vx_load(above.down_right + x - 1), cv::vx_load(above.down + x),
                            cv::vx_load(above.down_left + x + 1),  cv::vx_load(right + x - 1),
                            cv::vx_load(right + x),                cv::vx_load(below.down_left + x),
                            cv::vx_load(below.down + x),           cv::vx_load(below.down_right + x)};
        const v_s16 n[8] = {cv::vx_load(above_row + x - 1), cv::vx_load(above_row + x), cv::vx_load(above_row + x + 1),
                            cv::vx_load(row + x - 1),       cv::vx_load(row + x + 1),   cv::vx_load(below_row + x - 1),
                            cv::vx_load(below_row + x),     cv::vx_load(below_row + x + 1)};
        // Weights are below 256, so their sum fits in 16 bits; the weighted sum takes 32, two
        // neighbours per multiply-add.
        v_s16 weight_sum = cv::vx_setall_s16(centre_weight);
        v_s16 lo, hi;
        cv::v_zip(c, zero, lo, hi);
        v_s32 weighted_lo = cv::v_dotprod(lo, centre_pair);
        v_s32 weighted_hi = cv::v_dotprod(hi, centre_pair);
        for (int j = 0; j < 8; j += 2) {
            weight_sum += w[j] + w[j + 1];
            v_s16 wl, wh, nl, nh;
            cv::v_zip(w[j], w[j + 1], wl, wh);
            cv::v_zip(n[j], n[j + 1], nl, nh);
            weighted_lo += cv::v_dotprod(wl, nl);
            weighted_hi += cv::v_dotprod(wh, nh);
        }
        v_u32 q_lo, q_hi;
        cv::v_expand(Reciprocal(t, cv::v_min(weight_sum, last_reciprocal)), q_lo, q_hi);
        const v_u32 mean_lo = cv::v_min(cv::v_shr<16>(half + q_lo * cv::v_reinterpret_as_u32(weighted_lo)), top);
        const v_u32 mean_hi = cv::v_min(cv::v_shr<16>(half + q_hi * cv::v_reinterpret_as_u32(weighted_hi)), top);
        const v_s16 mean = cv::v_pack(cv::v_reinterpret_as_s32(mean_lo), cv::v_reinterpret_as_s32(mean_hi));
        cv::v_store(filtered + x, cv::v_select(weight_sum == zero, c, mean));
    }
}


// The filtered pixel of ad_enhance_luma from its luma v, filtered luma f, the base (f through the
// curves) and Q[i >> 2] of the luma i the detail gain is indexed by: base plus the weighted
// detail v - f, 0..1023.
inline v_s16 DetailChunk(const TableView& t, const v_s16& v, const v_s16& f, const v_s16& base, const v_u16& q) {
    const v_s16 i = t.luma_select ? f : v;
    v_s32 d_lo, d_hi;
    cv::v_expand(v - f, d_lo, d_hi);
    if (!t.detail_direct) {
        // Scaled by the base's gain base / i: (Q[i >> 2] * base) >> 8, below 2^18.
        v_s32 gain_lo, gain_hi;
        MulShift8(q, cv::v_reinterpret_as_u16(base), gain_lo, gain_hi);
        d_lo = cv::v_shr<10>(gain_lo * d_lo);
        d_hi = cv::v_shr<10>(gain_hi * d_hi);
    }
    v_s32 g_lo, g_hi, b_lo, b_hi;
    DetailGain(t, i, g_lo, g_hi);
    cv::v_expand(base, b_lo, b_hi);
    // Products wrap at 32 bits, as the scalar code's; the pack saturates before the clamp.
    return Clamp10(cv::v_pack(b_lo + cv::v_shr<8>(g_lo * d_lo), b_hi + cv::v_shr<8>(g_hi * d_hi)));
}

// What the colour step needs that does not change along a row.
struct ColourConstants {
    explicit ColourConstants(const ColourStep& step)
        : linear(step.offset != 0 || step.ratio != 0),
          blend(step.strength < 255),
          offset(cv::vx_setall_s32(step.offset)),
          ratio(cv::vx_setall_s32(step.ratio)),
          strength(blend ? step.strength : 0) {}
    bool linear;
    bool blend;
    v_s32 offset, ratio;
    BlendWeight strength;
};

// The colour step of one vector's worth of pixels: channels u, old and new luma, Q[y_old >> 2].
ALAD_STEP inline void ColourChunk(const ColourConstants& k, const v_s16 u[3], const v_s16& y_old, const v_s16& y_new,
                        const v_u16& q, v_s16 result[3]) {
    const v_u16 sixteen = cv::vx_setall_u16(16), quarter = cv::vx_setall_u16(256);
    const v_s16 top = cv::vx_setall_s16(kTop10);
    const v_s32 round8 = cv::vx_setall_s32(128);
    // gain = (Q[y_old >> 2] * y_new) >> 8, about 1024 * y_new / y_old, below 2^18: its low 16 bits
    // and the rest, from the 32-bit product's halves.
    const v_u16 p_lo = cv::v_mul_wrap(q, cv::v_reinterpret_as_u16(y_new));
    const v_u16 p_hi = cv::v_mul_hi(q, cv::v_reinterpret_as_u16(y_new));
    const v_u16 gain_lo = cv::v_shl<8>(p_hi) | cv::v_shr<8>(p_lo);
    v_s16 scaled[3];
    if (cv::v_check_all(p_hi < cv::vx_setall_u16(128))) {
        // Every gain below 2^15 (no pixel brightened 32 times or more, which is nearly all of
        // them): min((512 + gain * u) >> 10, 1023) is the rounding multiply of u << 5 (u < 1024)
        // and the gain, clamped.
        for (int ch = 0; ch < 3; ++ch) {
            scaled[ch] = cv::v_min(MulRound15(cv::v_shl<5>(u[ch]), cv::v_reinterpret_as_s16(gain_lo)), top);
        }
    } else {
        const v_u16 gain_hi = cv::v_shr<8>(p_hi);
        for (int ch = 0; ch < 3; ++ch) {
            const v_u16 uu = cv::v_reinterpret_as_u16(u[ch]);
            // min((512 + gain * u) >> 10, 1023) with gain * u = high * 65536 + low (high < 4096):
            // high * 64 + ((low + 512) >> 10), where high of 16 or more already gives 1023. (The
            // unsigned 16-bit adds saturate; none of these sums comes near.)
            const v_u16 low = cv::v_mul_wrap(gain_lo, uu);
            const v_u16 high = cv::v_mul_hi(gain_lo, uu) + cv::v_mul_wrap(gain_hi, uu);
            const v_u16 rounded = cv::v_shr<9>(cv::v_shr<1>(low) + quarter);  // (low + 512) >> 10
            scaled[ch] = cv::v_min(cv::v_reinterpret_as_s16(cv::v_shl<6>(cv::v_min(high, sixteen)) + rounded), top);
        }
    }
    // The channel holding the maximum takes the new luma exactly.
    for (int ch = 0; ch < 3; ++ch) result[ch] = cv::v_select(u[ch] == y_old, y_new, scaled[ch]);
    if (k.linear) {
        for (int ch = 0; ch < 3; ++ch) {
            v_s32 lo, hi;
            cv::v_expand(result[ch], lo, hi);
            lo = k.offset + cv::v_shr<8>(round8 + lo * k.ratio);
            hi = k.offset + cv::v_shr<8>(round8 + hi * k.ratio);
            result[ch] = Clamp10(cv::v_pack(lo, hi));  // the pack saturates, which the clamp absorbs
        }
    }
    // u + (((m - u) * strength + 128) >> 8), with m and u both 0..1023: within 0..1023.
    if (k.blend) {
        for (int ch = 0; ch < 3; ++ch) result[ch] = Blend16(result[ch], u[ch], k.strength);
    }
}


// The whole unfiltered row, a vector's worth of pixels at a time from the 12-bit image to both
// outputs (reads and writes interleaved, and no row buffers): ConvertRow and the mapping of
// FilteredMapRow without the filter in one. The 10-bit luma is also left in `luma` (for the
// histograms). The table look-ups of the next pixels are made before the arithmetic of these, so
// that their wait overlaps it.
//
// Built for each kind of input and the outputs a row may have (StoreOutputs), so that the loop
// holds only its own steps.
template <bool kArgbIn, bool kNext, bool kArgbOut>
void MapRow(const TableView& t, const RowCurves& row, const ColourStep& step, int y, const RowInput& in, int cols,
            int16_t* luma, const RowOutput& out) {
    const ColourConstants k(step);
    const v_s32 wy = cv::vx_setall_s32(t.wy[y]);
    v_s16 u[3], y_old;
    v_u32 low[2], high[2];
    auto fetch = [&](int x) {
        PrefetchInput<kArgbIn>(in, x, cols);
        ConvertInput<kArgbIn>(in, x, cols, u[0], u[1], u[2]);
        y_old = cv::v_max(cv::v_max(u[0], u[1]), u[2]);
        cv::v_store(luma + x, y_old);
        if (RegisterPair(t, x) < 0) FetchQuads(row.quads, t.column + x, y_old, low, high);
    };
    auto map = [&](int x, int count) ALAD_STEP {
        const v_s16 these_u[3] = {u[0], u[1], u[2]}, these_y_old = y_old;
        const v_u32 these_low[2] = {low[0], low[1]}, these_high[2] = {high[0], high[1]};
        if (x + kLanes16 < cols) fetch(x + kLanes16);
        const v_s16 y_new = Tone(t, row, RegisterPair(t, x), y, x, wy, these_low, these_high, these_y_old);
        const v_u16 q = QuadReciprocal(t, these_low, these_high, these_y_old);
        v_s16 result[3];
        ColourChunk(k, these_u, these_y_old, y_new, q, result);
        StoreOutputs<kNext, kArgbOut>(out, x, count, result);
    };
    fetch(0);
    alad::ForEachStep<kLanes16>(cols, map);
}

void MapRowKernel(const TableView& t, const RowCurves& row, const ColourStep& step, int y, const RowInput& in,
                  int cols, int16_t* luma, const RowOutput& out) {
    using Row = void (*)(const TableView&, const RowCurves&, const ColourStep&, int, const RowInput&, int, int16_t*,
                         const RowOutput&);
    static constexpr Row kRows[2][2][2] = {{{MapRow<false, false, false>, MapRow<false, false, true>},
                                            {MapRow<false, true, false>, MapRow<false, true, true>}},
                                           {{MapRow<true, false, false>, MapRow<true, false, true>},
                                            {MapRow<true, true, false>, MapRow<true, true, true>}}};
    kRows[in.image == nullptr][out.next[0] != nullptr][out.argb != nullptr](t, row, step, y, in, cols, luma, out);
}

// The rest of a filtered row once the filter has run: the filtered luma through the curves, the
// detail added back, the colour step, both outputs.
void FilteredMapRowKernel(const TableView& t, const RowCurves& row, const ColourStep& step, int y,
                          const int16_t* c0, const int16_t* c1, const int16_t* c2, const int16_t* luma,
                          const int16_t* filtered, int cols, const RowOutput& out, const RowInput& ahead_in,
                          const PlanarRow& ahead) {
    const ColourConstants k(step);
    const v_s32 wy = cv::vx_setall_s32(t.wy[y]);
    // The quads of the next pixels are fetched before the arithmetic of these, as in MapRow.
    v_u32 low[2], high[2];
    auto fetch = [&](int x) {
        if (RegisterPair(t, x) < 0) FetchQuads(row.quads, t.column + x, cv::vx_load(filtered + x), low, high);
    };
    fetch(0);
    alad::ForEachStep<kLanes16>(cols, [&](int x, int count) ALAD_STEP {
        const v_u32 these_low[2] = {low[0], low[1]}, these_high[2] = {high[0], high[1]};
        if (x + kLanes16 < cols) fetch(x + kLanes16);
        if (ahead_in.Present()) {
            v_s16 a, b, c;
            PrefetchAndConvert(ahead_in, x, cols, a, b, c);
            cv::v_store(ahead.c0 + x, a);
            cv::v_store(ahead.c1 + x, b);
            cv::v_store(ahead.c2 + x, c);
            cv::v_store(ahead.luma + x, cv::v_max(cv::v_max(a, b), c));
        }
        const v_s16 v = cv::vx_load(luma + x), f = cv::vx_load(filtered + x);
        const v_s16 base = Tone(t, row, RegisterPair(t, x), y, x, wy, these_low, these_high, f);
        const v_u16 q_luma = Reciprocal(t, cv::v_shr<2>(v));
        const v_s16 mapped =
            DetailChunk(t, v, f, base, t.luma_select ? QuadReciprocal(t, these_low, these_high, f) : q_luma);
        const v_s16 u[3] = {cv::vx_load(c0 + x), cv::vx_load(c1 + x), cv::vx_load(c2 + x)};
        v_s16 result[3];
        ColourChunk(k, u, v, mapped, q_luma, result);
        StoreOutputs(out, x, count, result);
    });
}

void CopyRowKernel(const int16_t* c0, const int16_t* c1, const int16_t* c2, int cols, const RowOutput& out) {
    alad::ForEachStep<kLanes16>(cols, [&](int x, int count) ALAD_STEP {
        const v_s16 channels[3] = {cv::vx_load(c0 + x), cv::vx_load(c1 + x), cv::vx_load(c2 + x)};
        StoreOutputs(out, x, count, channels);
    });
}

}  // namespace

const RowKernels& Kernels() {
    static const RowKernels kernels = {CurveValuesKernel,   MakeQuadsKernel,      ConvertRowKernel,
                                       DownWeightsKernel,   RightWeightsKernel,   FilterRowKernel,
                                       FilteredMapRowKernel, CopyRowKernel,       StreamFenceKernel,
                                       MapRowKernel,        CV_AVX512_SKX != 0};
    return kernels;
}

}  // namespace ALAD_SIMD_NAMESPACE
}  // namespace cltm_rows
}  // namespace kelvo
