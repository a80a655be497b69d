#include "cltm/cltm_luma_middle.h"

#include <new>

#include "cltm/cltm_curve.h"
#include "cltm/cltm_internal.h"
#include "cltm/cltm_map.h"

namespace kelvo {

namespace {

// A curve set for the block grid of a width x height plane, zeroed; null when the size is
// impossible or memory runs out.
uint32_t* NewCurveSet(uint32_t width, uint32_t height, const ad_param_t_& param) {
    cltm_detail::BlockGrid grid;
    size_t count = 0;
    if (!cltm_detail::MakeBlockGridOrReport(width, height, param, &grid) ||
        !cltm_detail::CountOf(grid.count(), kCurvePoints, 1, &count)) {
        return nullptr;
    }
    return new (std::nothrow) uint32_t[count + 1]();
}

}  // namespace

int32_t ad_local_tone_mapping_k1_lumaMiddle(uint32_t* out, const uint32_t* luma, uint32_t width, uint32_t height,
                                            const uint32_t* curves, uint32_t blk_width_log2, uint32_t blk_height_log2,
                                            const ad_filter_t_* filter) {
    return ad_enhance_luma_plane(out, luma, width, height, curves, blk_width_log2, blk_height_log2, filter, true);
}

int32_t ad_local_tone_mapping_k1_lumaMiddle_without_filter(uint32_t* out, const uint32_t* luma, uint32_t width,
                                                           uint32_t height, const uint32_t* curves,
                                                           uint32_t blk_width_log2, uint32_t blk_height_log2) {
    return ad_enhance_luma_plane(out, luma, width, height, curves, blk_width_log2, blk_height_log2, nullptr, false);
}

int32_t ad_proc_map_k1_lumaMiddle(uint32_t* out, const uint32_t* luma, uint32_t width, uint32_t height,
                                  const uint32_t* curves, uint32_t /*strength*/, const ad_param_t_* param) {
    if (param == nullptr) return 1;
    if (param->filter.filter_enable != 0) {
        return ad_local_tone_mapping_k1_lumaMiddle(out, luma, width, height, curves, param->blk_width_log2,
                                                   param->blk_height_log2, &param->filter);
    }
    return ad_local_tone_mapping_k1_lumaMiddle_without_filter(out, luma, width, height, curves, param->blk_width_log2,
                                                              param->blk_height_log2);
}

int32_t ad_proc_image_k1_lumaMiddle(uint32_t* out, const uint32_t* luma, uint32_t width, uint32_t height,
                                    const ad_param_t_* param) {
    if (out == nullptr || luma == nullptr || param == nullptr) return 1;
    uint32_t* curves = NewCurveSet(width, height, *param);
    if (curves == nullptr) return 1;
    int32_t r = ad_proc_calc_curve_luma(curves, nullptr, nullptr, luma, width, height, 0, param);
    if (r == 0) r = ad_proc_map_k1_lumaMiddle(out, luma, width, height, curves, param->strength_target, param);
    delete[] curves;
    return r;
}

int32_t ad_proc_video_k1_lumaMiddle(uint32_t* out, const uint32_t* luma, uint32_t width, uint32_t height,
                                    const ad_param_t_* param, ad_cxt_t* ctx, uint32_t /*reserved*/, uint32_t* curves,
                                    uint32_t* hist_buffer) {
    if (out == nullptr || luma == nullptr || param == nullptr || ctx == nullptr) return 1;
    if (!cltm_detail::BindVideoSize(*ctx, width, height)) return 1;
    uint32_t* own_curves = nullptr;
    if (curves == nullptr) {
        own_curves = NewCurveSet(width, height, *param);
        if (own_curves == nullptr) return 1;
        curves = own_curves;
    }

    int32_t r = 0;
    if (ctx->first_frame == 1) {
        // No curves yet. Unlike the RGB path the frame comes out on a 16-bit scale (luma * 64).
        const size_t pixels = static_cast<size_t>(width) * height;
        for (size_t i = 0; i < pixels; ++i) out[i] = luma[i] << 6;
        ctx->strength = 0;
    } else {
        // The ramp runs and is kept in the context, but a luma plane has no colour step to apply it.
        ctx->strength = param->strength_mode != 0 ? cltm_detail::RampStrength(*ctx, *param) : param->strength_target;
        r = ad_proc_map_k1_lumaMiddle(out, luma, width, height, curves, ctx->strength, param);
    }
    if (r == 0) {
        // Weight 0 on every frame: the new curves replace the old ones.
        uint32_t* global_hist = hist_buffer;
        uint32_t* sum = hist_buffer == nullptr ? nullptr : hist_buffer + kHistBins;
        r = ad_proc_calc_curve_luma(curves, global_hist, sum, luma, width, height, 0, param);
        ctx->first_frame = 0;
    }
    delete[] own_curves;
    return r;
}

}  // namespace kelvo
