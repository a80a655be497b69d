#include "cltm/cltm_map.h"

#include <cstdlib>

#include "cltm/cltm_histogram.h"
#include "cltm/cltm_internal.h"
#include "common/wrap_int.h"

namespace kelvo {

using alad::WrapAdd;
using alad::WrapMul;
using alad::WrapSub;
using cltm_detail::Clamp10;
using cltm_detail::ClampIndex;

namespace {

// Codes are u32 and may be anything in a public plane; table indices derived from them are
// clamped at the look-up (ClampIndex), which never triggers for codes 0..1023.
inline uint32_t Reciprocal(uint32_t index) { return kMapReciprocal[ClampIndex(index, 255)]; }

inline uint32_t Min1023(uint32_t v) { return v < 1023u ? v : 1023u; }

inline uint32_t Filter3x3(const uint32_t n[9], const uint32_t* range_weight) {
    const uint32_t c = n[4];
    uint32_t weight_sum = 0;
    uint32_t weighted = 0;
    for (int j = 0; j < 9; ++j) {
        const int32_t diff = WrapSub(static_cast<int32_t>(n[j]), static_cast<int32_t>(c));
        const uint32_t d = diff < 0 ? 0u - static_cast<uint32_t>(diff) : static_cast<uint32_t>(diff);
        const uint32_t w = d < 256 ? range_weight[d >> 3] : 0;
        weight_sum += w;
        weighted += w * n[j];
    }
    if (weight_sum == 0) return c;
    // The weights sum to at most 9 * 28 = 252 with the built-in table; larger sums take Q[255].
    return Min1023((32768u + Reciprocal(weight_sum) * weighted) >> 16);
}

// One curve at luma x (clamped to 1023), interpolated between its points with the fraction r.
inline int32_t CurveAt(const uint32_t* curve, uint32_t x, uint32_t s, uint32_t r) {
    uint32_t lo;
    uint32_t hi;
    if (x < 16) {
        lo = 0;  // luma 0 maps to 0
        hi = curve[0];
    } else {
        lo = Min1023((curve[s - 1] + 32) >> 6);
        hi = curve[s];
    }
    hi = Min1023((hi + 32) >> 6);
    const int32_t value = static_cast<int32_t>(lo) +
                          ((8 + (static_cast<int32_t>(hi) - static_cast<int32_t>(lo)) * static_cast<int32_t>(r)) >> 4);
    return value < 1023 ? value : 1023;
}

// (b + (a - b) * w / 256), rounded, in 32-bit two's complement with an arithmetic shift.
inline int32_t Blend256(int32_t a, int32_t b, uint32_t w) {
    return WrapAdd(b, WrapAdd(128, WrapMul(WrapSub(a, b), static_cast<int32_t>(w))) >> 8);
}

inline uint32_t ToneMap(const uint32_t* const c[4], uint32_t v, uint32_t wx, uint32_t wy) {
    const uint32_t x = Min1023(v);
    const uint32_t s = x >> 4;
    const uint32_t r = v < 1023 ? (v & 15) : 15;
    const int32_t ul = CurveAt(c[0], x, s, r);
    const int32_t ur = CurveAt(c[1], x, s, r);
    const int32_t ll = CurveAt(c[2], x, s, r);
    const int32_t lr = CurveAt(c[3], x, s, r);
    const int32_t upper = Blend256(ul, ur, wx);
    const int32_t lower = Blend256(ll, lr, wx);
    return static_cast<uint32_t>(Clamp10(Blend256(upper, lower, wy)));
}

// Detail gain by luma: 16 points 64 codes apart, linear in between below 960.
inline int32_t DetailGain(const uint32_t* gain_curve, uint32_t i) {
    const uint32_t seg = i >> 6;
    const int32_t g0 = static_cast<int32_t>(gain_curve[ClampIndex(seg, 15)]);
    if (i >= 960) return g0;
    const int32_t g1 = static_cast<int32_t>(gain_curve[seg + 1]);
    const int32_t frac = static_cast<int32_t>((i >> 2) & 15);
    return WrapAdd(g0, WrapMul(WrapSub(g1, g0), frac) >> 4);
}

// Filtered pixel: the base f is tone-mapped, the detail v - f is added back with the gain.
inline uint32_t FilteredPixel(const uint32_t n[9], const uint32_t* const c[4], uint32_t wx, uint32_t wy,
                              const ad_filter_t_& filter) {
    const uint32_t v = n[4];
    const uint32_t f = Filter3x3(n, filter.range_weight);
    const uint32_t t = ToneMap(c, f, wx, wy);
    const uint32_t i = filter.filter_luma_select != 0 ? f : v;
    int32_t d = WrapSub(static_cast<int32_t>(v), static_cast<int32_t>(f));
    if (filter.filter_detail_direct == 0) {
        // Scale the detail by the base's gain t / i.
        const uint32_t base_gain = (Reciprocal(i >> 2) * t) >> 8;
        d = WrapMul(static_cast<int32_t>(base_gain), d) >> 10;
    }
    const int32_t g = DetailGain(filter.detail_gain_curve, i);
    return static_cast<uint32_t>(Clamp10(WrapAdd(static_cast<int32_t>(t), WrapMul(g, d) >> 8)));
}

}  // namespace

uint32_t _filter3x3(const uint32_t n[9], const uint32_t* range_weight) {
    if (n == nullptr || range_weight == nullptr) return 0;
    return Filter3x3(n, range_weight);
}

uint32_t _tone_mapping(const uint32_t* const c[4], uint32_t v, uint32_t wx, uint32_t wy) {
    if (c == nullptr || c[0] == nullptr || c[1] == nullptr || c[2] == nullptr || c[3] == nullptr) return 0;
    return ToneMap(c, v, wx, wy);
}

int32_t ad_enhance_luma_plane(uint32_t* out_luma, const uint32_t* luma, uint32_t width, uint32_t height,
                              const uint32_t* curves, uint32_t blk_width_log2, uint32_t blk_height_log2,
                              const ad_filter_t_* filter, bool use_filter) {
    if (out_luma == nullptr || luma == nullptr || curves == nullptr) return 1;
    if (use_filter && (filter == nullptr || filter->range_weight == nullptr || filter->detail_gain_curve == nullptr)) {
        return 1;
    }
    cltm_detail::BlockGrid grid;
    if (!cltm_detail::MakeBlockGridOrReport(width, height, blk_width_log2, blk_height_log2, &grid)) return 1;
    if (width == 0 || height == 0) return 0;

    // The horizontal pairing restarts on every row, so it depends on the column only: one table
    // per frame of the left and right curve offsets and the left weight.
    uint32_t* columns = cltm_detail::AllocU32(static_cast<size_t>(width) * 3);
    if (columns == nullptr) return 1;
    uint32_t* left_offset = columns;
    uint32_t* right_offset = columns + width;
    uint32_t* left_weight = columns + 2 * static_cast<size_t>(width);
    cltm_detail::BlockPairWalker horizontal(grid.log2w, grid.bw);
    for (uint32_t x = 0; x < width; ++x) {
        horizontal.Next(x);
        left_offset[x] = horizontal.first * static_cast<uint32_t>(kCurvePoints);
        right_offset[x] = horizontal.second * static_cast<uint32_t>(kCurvePoints);
        left_weight[x] = horizontal.weight;
    }

    const size_t row_of_curves = static_cast<size_t>(grid.bw) * kCurvePoints;
    cltm_detail::BlockPairWalker vertical(grid.log2h, grid.bh);
    for (uint32_t y = 0; y < height; ++y) {
        vertical.Next(y);
        const uint32_t* upper = curves + vertical.first * row_of_curves;
        const uint32_t* lower = curves + vertical.second * row_of_curves;
        const uint32_t wy = vertical.weight;
        const uint32_t* row = luma + static_cast<size_t>(y) * width;
        uint32_t* out = out_luma + static_cast<size_t>(y) * width;

        if (!use_filter) {
            for (uint32_t x = 0; x < width; ++x) {
                const uint32_t* const c[4] = {upper + left_offset[x], upper + right_offset[x], lower + left_offset[x],
                                              lower + right_offset[x]};
                out[x] = ToneMap(c, row[x], left_weight[x], wy);
            }
            continue;
        }

        // Edge pixels repeat outside the frame.
        const uint32_t* above = luma + static_cast<size_t>(y > 0 ? y - 1 : 0) * width;
        const uint32_t* below = luma + static_cast<size_t>(y + 1 < height ? y + 1 : y) * width;
        for (uint32_t x = 0; x < width; ++x) {
            const uint32_t xl = x > 0 ? x - 1 : 0;
            const uint32_t xr = x + 1 < width ? x + 1 : x;
            const uint32_t n[9] = {above[xl], above[x],  above[xr], row[xl],  row[x],
                                   row[xr],   below[xl], below[x],  below[xr]};
            const uint32_t* const c[4] = {upper + left_offset[x], upper + right_offset[x], lower + left_offset[x],
                                          lower + right_offset[x]};
            out[x] = FilteredPixel(n, c, left_weight[x], wy, *filter);
        }
    }
    std::free(columns);
    return 0;
}

int32_t ad_enhance_luma(uint32_t* out_luma, const uint32_t* luma, uint32_t width, uint32_t height,
                        const uint32_t* curves, uint32_t blk_width_log2, uint32_t blk_height_log2,
                        const ad_filter_t_* filter) {
    if (filter == nullptr) return 1;
    return ad_enhance_luma_plane(out_luma, luma, width, height, curves, blk_width_log2, blk_height_log2, filter,
                                 filter->filter_enable != 0);
}

int32_t ad_enhance_rgb(uint32_t* out_rgb, const int32_t* in_rgb, const uint32_t* out_luma, const uint32_t* luma,
                       uint32_t width, uint32_t height, uint32_t strength, const int32_t linear_adj[2]) {
    if (out_rgb == nullptr || in_rgb == nullptr || out_luma == nullptr || luma == nullptr || linear_adj == nullptr) {
        return 1;
    }
    const int32_t offset = linear_adj[0];
    const int32_t ratio = linear_adj[1];
    const bool linear = offset != 0 || ratio != 0;
    const size_t pixels = static_cast<size_t>(width) * height;
    for (size_t p = 0; p < pixels; ++p) {
        const uint32_t y_old = luma[p];
        const uint32_t y_new = out_luma[p];
        const uint32_t gain = (Reciprocal(y_old >> 2) * y_new) >> 8;  // about 1024 * y_new / y_old
        for (size_t ch = 0; ch < 3; ++ch) {
            const int32_t u = in_rgb[3 * p + ch];
            int32_t mapped;
            if (static_cast<uint32_t>(u) == y_old) {
                mapped = static_cast<int32_t>(y_new);  // the channel holding the maximum takes the new luma
            } else {
                mapped = static_cast<int32_t>(Min1023((512u + gain * static_cast<uint32_t>(u)) >> 10));
            }
            if (linear) mapped = Clamp10(WrapAdd(offset, WrapAdd(128, WrapMul(mapped, ratio)) >> 8));
            int32_t result = mapped;
            if (strength < 255) {
                result = WrapAdd(u, WrapAdd(WrapMul(WrapSub(mapped, u), static_cast<int32_t>(strength)), 128) >> 8);
            }
            out_rgb[3 * p + ch] = static_cast<uint32_t>(Clamp10(result));
        }
    }
    return 0;
}

int32_t ad_proc_map(uint32_t* out_rgb, const int32_t* in_rgb, uint32_t width, uint32_t height, const uint32_t* curves,
                    uint32_t strength, const ad_param_t_* param) {
    if (out_rgb == nullptr || in_rgb == nullptr || curves == nullptr || param == nullptr) return 1;
    size_t pixels = 0;
    if (!cltm_detail::CountOf(width, height, 1, &pixels)) return 1;
    uint32_t* luma = cltm_detail::AllocU32(pixels);
    uint32_t* mapped = cltm_detail::AllocU32(pixels);
    int32_t result = 1;
    if (luma != nullptr && mapped != nullptr) {
        ad_calc_luma(luma, reinterpret_cast<const uint32_t*>(in_rgb), width, height);
        result = ad_enhance_luma(mapped, luma, width, height, curves, param->blk_width_log2, param->blk_height_log2,
                                 &param->filter);
        if (result == 0) {
            const int32_t linear_adj[2] = {param->linear_adj_offset, param->linear_adj_ratio};
            ad_enhance_rgb(out_rgb, in_rgb, mapped, luma, width, height, strength, linear_adj);
        }
    }
    std::free(luma);
    std::free(mapped);
    return result;
}

}  // namespace kelvo
