// Block tone curves: a contrast-limited histogram equalisation in fixed point. Each block's
// histogram is normalised, clipped against a luma-dependent limit in both directions (the excess
// pushed on to the bins still to come), averaged, normalised again and accumulated into 64 points.
// The curves are then smoothed across neighbouring blocks and blended with the previous frame's.
//
// Curve sets hold 64 u32 per block (values 0..65535, entry k at luma 16*(k+1)), blocks in
// row-major order.
#ifndef ALAD_CLTM_CLTM_CURVE_H
#define ALAD_CLTM_CLTM_CURVE_H

#include <array>
#include <cstdint>

#include "cltm/cltm_params.h"

namespace kelvo {

// R[n] = min(65535, floor(65536 / (n + 1))): spreads an excess over n + 1 bins without a division.
constexpr std::array<uint32_t, 128> MakeClipReciprocal() {
    std::array<uint32_t, 128> table{};
    for (uint32_t n = 0; n < 128; ++n) {
        const uint32_t q = 65536u / (n + 1);
        table[n] = q < 65535u ? q : 65535u;
    }
    return table;
}
inline constexpr std::array<uint32_t, 128> kClipReciprocal = MakeClipReciprocal();

// One curve per block from the block histograms (128 bins each). A null `hist` leaves the curves
// as they are. The forward and backward clip results go to the debug store. Returns 0, or 1 on a
// missing curve set, parameter block or clip curve, or an impossible size.
int32_t ad_calc_curve(uint32_t* curves, const uint32_t* hist, uint32_t width, uint32_t height,
                      const ad_param_t_* param);

// 3x3 smoothing (centre weight 8, each neighbour 1, sum >> 4) across a blk_w x blk_h grid; off-grid
// neighbours repeat the nearest block. `out` and `in` must be distinct.
int32_t ad_smooth_curve(uint32_t* out, const uint32_t* in, uint32_t blk_w, uint32_t blk_h);

// cur += (4096 + (prev - cur) * weight) >> 13 per entry, in 32-bit two's complement; weight 0
// leaves cur as it is.
int32_t ad_transition_curve(uint32_t* cur, const uint32_t* prev, uint32_t blk_w, uint32_t blk_h, uint32_t weight);

// One frame's curves: histograms, curves, smoothing, then the blend towards the caller's previous
// curve set, which is replaced by the result. Every step is handed to the debug store. Returns 0,
// or 1 (curves untouched) on a null argument, an impossible size or a failed allocation.
int32_t ad_proc_calc_curve(uint32_t* curves, uint32_t* global_hist, uint32_t* sum, const uint32_t* rgb, uint32_t width,
                           uint32_t height, uint32_t weight, const ad_param_t_* param);

// The same from a luma plane, without the debug hand-over of the histograms and curve sets.
int32_t ad_proc_calc_curve_luma(uint32_t* curves, uint32_t* global_hist, uint32_t* sum, const uint32_t* luma,
                                uint32_t width, uint32_t height, uint32_t weight, const ad_param_t_* param);

}  // namespace kelvo

#endif  // ALAD_CLTM_CLTM_CURVE_H
