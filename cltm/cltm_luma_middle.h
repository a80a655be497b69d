// The middle-luma path of CLTM: the block tone mapping on a single 10-bit luma plane, leaving the
// colour handling to the caller. Per pixel it is exactly the RGB path's luma mapping (block pairing,
// weights, filter, detail gain and clamps); there is no colour step, so neither the strength nor
// the linear adjustment applies.
#ifndef ALAD_CLTM_CLTM_LUMA_MIDDLE_H
#define ALAD_CLTM_CLTM_LUMA_MIDDLE_H

#include <cstdint>

#include "cltm/cltm_params.h"

namespace kelvo {

// The luma plane through the curve set with the detail filter (whatever filter_enable says), and
// without it. Return 0, or 1 (nothing written) on a null argument or a failed allocation.
int32_t ad_local_tone_mapping_k1_lumaMiddle(uint32_t* out, const uint32_t* luma, uint32_t width, uint32_t height,
                                            const uint32_t* curves, uint32_t blk_width_log2, uint32_t blk_height_log2,
                                            const ad_filter_t_* filter);
int32_t ad_local_tone_mapping_k1_lumaMiddle_without_filter(uint32_t* out, const uint32_t* luma, uint32_t width,
                                                           uint32_t height, const uint32_t* curves,
                                                           uint32_t blk_width_log2, uint32_t blk_height_log2);

// One of the two above, chosen by param->filter.filter_enable. `strength` is accepted for symmetry
// with the RGB path and not used. Returns 0, or 1 as above.
int32_t ad_proc_map_k1_lumaMiddle(uint32_t* out, const uint32_t* luma, uint32_t width, uint32_t height,
                                  const uint32_t* curves, uint32_t strength, const ad_param_t_* param);

// Still luma plane: curves from the plane itself, then mapped. Returns 0, or 1 (nothing written)
// on a null argument, an impossible size or a failed allocation.
int32_t ad_proc_image_k1_lumaMiddle(uint32_t* out, const uint32_t* luma, uint32_t width, uint32_t height,
                                    const ad_param_t_* param);

// One video frame of luma. As ad_proc_video (size binding, strength ramp kept in the context), but:
// the first frame comes out as luma << 6, on a 16-bit scale, while later frames are 10-bit; the
// new curves always replace the old ones (curve_transition is ignored); a null `curves` works on a
// zeroed curve set for this call only, and a null `hist_buffer` skips the global statistics.
// Returns 0, or 1 on a null argument, a size other than the bound one or a failed allocation.
int32_t ad_proc_video_k1_lumaMiddle(uint32_t* out, const uint32_t* luma, uint32_t width, uint32_t height,
                                    const ad_param_t_* param, ad_cxt_t* ctx, uint32_t reserved, uint32_t* curves,
                                    uint32_t* hist_buffer);

}  // namespace kelvo

#endif  // ALAD_CLTM_CLTM_LUMA_MIDDLE_H
