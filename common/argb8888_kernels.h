// The ARGB8888 conversions of common/argb8888.h a vector at a time, for the stages' row kernels
// that read the display driver's buffers and write their results into them. Written once with
// OpenCV's universal intrinsics and compiled with each build of those kernels, in a namespace of
// its own (ALAD_SIMD_NAMESPACE, see common/simd.h): include it, after defining the macro, where
// the kernels are built. Everything takes a pixel per 16-bit lane.
#ifndef ALAD_SIMD_NAMESPACE
#error "define ALAD_SIMD_NAMESPACE before including argb8888_kernels.h"
#endif

#include <cstdint>
#include <cstring>

#include <opencv2/core/hal/intrin.hpp>

#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__
#error "the ARGB8888 kernels read pixels as little-endian words"
#endif

namespace kelvo {
namespace argb8888_kernels {
namespace ALAD_SIMD_NAMESPACE {

constexpr int kPixels = cv::v_int16::nlanes;  // pixels per step

// Two vectors of 32-bit lanes holding values 0..255 as one of 16-bit lanes: a signed pack, which
// needs no saturation step for them (the unsigned one does, on some instruction sets).
inline cv::v_uint16 PackBytes(const cv::v_uint32& a, const cv::v_uint32& b) {
    return cv::v_reinterpret_as_u16(cv::v_pack(cv::v_reinterpret_as_s32(a), cv::v_reinterpret_as_s32(b)));
}

// The colour bytes of kPixels pixels from `argb` (`count` of them, fewer at the end of a row; the
// rest read as 0), as 16-bit lanes. A pixel's bytes A, R, G, B read as the little-endian word
// A | R << 8 | G << 16 | B << 24.
//
// `in_halves` asks the AVX2 build for the pixels in the order 0-3, 8-11 | 4-7, 12-15, the order
// that unpacking and packing 128-bit half by half keeps: unpacked, such a vector gives pixels 0-7
// and 8-15 in 32-bit lanes, and those packed give it back. Elsewhere the order is always 0-15,
// which the same operations keep there.
inline void LoadColours(const uint8_t* argb, int count, cv::v_uint16& r, cv::v_uint16& g, cv::v_uint16& b,
                        bool in_halves = false) {
    alignas(64) uint32_t tail[kPixels];
    const uint32_t* words = reinterpret_cast<const uint32_t*>(argb);
    if (count < kPixels) {
        std::memset(tail, 0, sizeof(tail));
        std::memcpy(tail, argb, static_cast<size_t>(count) * 4);
        words = tail;
    }
    constexpr int kWords = cv::v_uint32::nlanes;
    const cv::v_uint32 p0 = cv::vx_load(words), p1 = cv::vx_load(words + kWords);
#if CV_AVX2 && !CV_AVX512_SKX
    // Byte shuffles: each 128-bit half sorts its four pixels' bytes into R0-3 G0-3 B0-3 A0-3; the
    // halves of pixels 0-3 | 8-11 and 4-7 | 12-15 (or, in halves, 0-3 | 4-7 and 8-11 | 12-15) are
    // then interleaved by four bytes and widened.
    const __m256i sort = _mm256_setr_epi8(1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15, 0, 4, 8, 12,  //
                                          1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15, 0, 4, 8, 12);
    __m256i first = _mm256_shuffle_epi8(p0.val, sort), second = _mm256_shuffle_epi8(p1.val, sort);
    if (!in_halves) {
        const __m256i low = _mm256_permute2x128_si256(first, second, 0x20);
        second = _mm256_permute2x128_si256(first, second, 0x31);
        first = low;
    }
    const __m256i rg = _mm256_unpacklo_epi32(first, second), ba = _mm256_unpackhi_epi32(first, second);
    const __m256i zero = _mm256_setzero_si256();
    r = cv::v_uint16(_mm256_unpacklo_epi8(rg, zero));
    g = cv::v_uint16(_mm256_unpackhi_epi8(rg, zero));
    b = cv::v_uint16(_mm256_unpacklo_epi8(ba, zero));
#else
    (void)in_halves;
    const cv::v_uint32 low = cv::vx_setall_u32(255);
    r = PackBytes(cv::v_shr<8>(p0) & low, cv::v_shr<8>(p1) & low);
    g = PackBytes(cv::v_shr<16>(p0) & low, cv::v_shr<16>(p1) & low);
    b = PackBytes(cv::v_shr<24>(p0), cv::v_shr<24>(p1));
#endif
}

// Widen8To12 of colour bytes: v * 16 + v / 16 (the two parts share no bit).
inline cv::v_int16 Widen(const cv::v_uint16& v) { return cv::v_reinterpret_as_s16(cv::v_shl<4>(v) | cv::v_shr<4>(v)); }

// Narrow12To8 of engine values 0..4095: c / 16 rounded to nearest with halves to even,
// (c + 7 + bit 4 of c) >> 4, limited to 255.
inline cv::v_uint16 NarrowCodes(const cv::v_int16& c) {
    const cv::v_int16 rounded = cv::v_shr<4>(c + cv::vx_setall_s16(7) + (cv::v_shr<4>(c) & cv::vx_setall_s16(1)));
    return cv::v_reinterpret_as_u16(cv::v_min(rounded, cv::vx_setall_s16(255)));
}

// The same of any values: clamped to 0..4095 first, which is what the saturation makes of the rest.
inline cv::v_uint16 Narrow(const cv::v_int16& v) {
    return NarrowCodes(cv::v_min(cv::v_max(v, cv::vx_setzero_s16()), cv::vx_setall_s16(4095)));
}

// The words of pixels 0-7 (p0) and 8-15 (p1) with their colour bytes replaced by r, g, b (0..255
// each, in the order of LoadColours with `in_halves`), their alpha bytes kept. A pixel's word is
// alpha | R << 8 in its low half and G | B << 8 in its high half.
inline void JoinColours(const cv::v_uint32& p0, const cv::v_uint32& p1, const cv::v_uint16& r, const cv::v_uint16& g,
                        const cv::v_uint16& b, bool in_halves, cv::v_uint32& first, cv::v_uint32& second) {
#if CV_AVX2 && !CV_AVX512_SKX
    if (in_halves) {
        // Pairs of bytes R R and G B, each pixel's word in its place; the first R is then replaced
        // by the alpha byte.
        const __m256i rg = _mm256_packus_epi16(r.val, g.val), bb = _mm256_packus_epi16(b.val, b.val);
        const __m256i rr = _mm256_unpacklo_epi8(rg, rg), gb = _mm256_unpackhi_epi8(rg, bb);
        const __m256i alpha = _mm256_set1_epi32(255);
        first = cv::v_uint32(_mm256_blendv_epi8(_mm256_unpacklo_epi16(rr, gb), p0.val, alpha));
        second = cv::v_uint32(_mm256_blendv_epi8(_mm256_unpackhi_epi16(rr, gb), p1.val, alpha));
        return;
    }
#else
    (void)in_halves;
#endif
    const cv::v_uint32 low = cv::vx_setall_u32(255);
    cv::v_uint16 lo, hi;
    cv::v_zip(PackBytes(p0 & low, p1 & low) | cv::v_shl<8>(r), g | cv::v_shl<8>(b), lo, hi);
    first = cv::v_reinterpret_as_u32(lo);
    second = cv::v_reinterpret_as_u32(hi);
}

// The colour bytes of kPixels pixels at `argb` (`count` of them) replaced as JoinColours does.
inline void StoreColours(uint8_t* argb, int count, const cv::v_uint16& r, const cv::v_uint16& g,
                         const cv::v_uint16& b, bool in_halves = false) {
    alignas(64) uint32_t tail[kPixels];
    uint32_t* words = reinterpret_cast<uint32_t*>(argb);
    if (count < kPixels) {
        std::memset(tail, 0, sizeof(tail));
        std::memcpy(tail, argb, static_cast<size_t>(count) * 4);
        words = tail;
    }
    constexpr int kWords = cv::v_uint32::nlanes;
    cv::v_uint32 first, second;
    JoinColours(cv::vx_load(words), cv::vx_load(words + kWords), r, g, b, in_halves, first, second);
    cv::v_store(words, first);
    cv::v_store(words + kWords, second);
    if (count < kPixels) std::memcpy(argb, tail, static_cast<size_t>(count) * 4);
}

}  // namespace ALAD_SIMD_NAMESPACE
}  // namespace argb8888_kernels
}  // namespace kelvo
