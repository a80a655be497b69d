// Curve application: each pixel's luma (max of R, G, B) goes through the curves of the four blocks
// whose centres surround it, bilinearly weighted; an optional edge-preserving 3x3 filter splits the
// luma into a base, which is tone-mapped, and a detail, added back with a luma-dependent gain. The
// colour channels then follow the luma by the ratio new/old, a linear adjustment and the strength.
#ifndef ALAD_CLTM_CLTM_MAP_H
#define ALAD_CLTM_CLTM_MAP_H

#include <array>
#include <cstdint>

#include "cltm/cltm_params.h"

namespace kelvo {

// Q[0] = 65535, Q[i] = min(65535, floor(65536 / i)): the reciprocal shared by the detail gain, the
// filter and the colour scaling.
constexpr std::array<uint32_t, 256> MakeMapReciprocal() {
    std::array<uint32_t, 256> table{};
    table[0] = 65535u;
    for (uint32_t i = 1; i < 256; ++i) {
        const uint32_t q = 65536u / i;
        table[i] = q < 65535u ? q : 65535u;
    }
    return table;
}
inline constexpr std::array<uint32_t, 256> kMapReciprocal = MakeMapReciprocal();

// Edge-preserving mean of a 3x3 neighbourhood (row above, same row, row below, each left to
// right): samples within 256 codes of the centre weigh range_weight[|d| / 8], the others 0.
uint32_t _filter3x3(const uint32_t n[9], const uint32_t* range_weight);

// Luma v through four block curves (upper-left, upper-right, lower-left, lower-right), each
// interpolated linearly between its points, then blended with the left weight wx and the upper
// weight wy (in 1/256). Result 0..1023.
uint32_t _tone_mapping(const uint32_t* const c[4], uint32_t v, uint32_t wx, uint32_t wy);

// Maps a luma plane through the curve set. With use_filter the detail filter runs with `filter`'s
// settings (which must then be given); the filter_enable flag is not looked at. This is the shared
// per-pixel code of the RGB path and of luma-only callers. Returns 0, or 1 on a null argument, an
// impossible size or a failed allocation (nothing written then).
int32_t ad_enhance_luma_plane(uint32_t* out_luma, const uint32_t* luma, uint32_t width, uint32_t height,
                              const uint32_t* curves, uint32_t blk_width_log2, uint32_t blk_height_log2,
                              const ad_filter_t_* filter, bool use_filter);

// ad_enhance_luma_plane with the filter when filter->filter_enable is set.
int32_t ad_enhance_luma(uint32_t* out_luma, const uint32_t* luma, uint32_t width, uint32_t height,
                        const uint32_t* curves, uint32_t blk_width_log2, uint32_t blk_height_log2,
                        const ad_filter_t_* filter);

// Carries the luma change to the three channels, then the linear adjustment (offset, ratio; both
// 0 switch it off) and the strength (255 = full). Returns 0, or 1 on a null argument.
int32_t ad_enhance_rgb(uint32_t* out_rgb, const int32_t* in_rgb, const uint32_t* out_luma, const uint32_t* luma,
                       uint32_t width, uint32_t height, uint32_t strength, const int32_t linear_adj[2]);

// The whole stage on an RGB plane. Returns 0, or 1 (nothing written) on a null argument or when a
// work plane cannot be allocated.
int32_t ad_proc_map(uint32_t* out_rgb, const int32_t* in_rgb, uint32_t width, uint32_t height, const uint32_t* curves,
                    uint32_t strength, const ad_param_t_* param);

}  // namespace kelvo

#endif  // ALAD_CLTM_CLTM_MAP_H
