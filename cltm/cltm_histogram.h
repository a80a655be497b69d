// Block histograms: one 128-bin luma histogram per block, plus optionally a global histogram of the
// same samples and the sum of their bin codes. The frame is sampled as the hardware samples it:
// one sample per 2x2 cell, taken from the cell's lower row. Luma is max(R, G, B).
#ifndef ALAD_CLTM_CLTM_HISTOGRAM_H
#define ALAD_CLTM_CLTM_HISTOGRAM_H

#include <cstdint>

#include "cltm/cltm_params.h"

namespace kelvo {

// luma[i] = max of pixel i's three channels, compared as signed 32-bit values. Returns luma.
uint32_t* ad_calc_luma(uint32_t* luma, const uint32_t* rgb, uint32_t width, uint32_t height);

// Histograms of an RGB plane. `hist` holds blocks*128 bins; global_hist (128 bins) and sum are
// optional and only counted when both are given. Returns 0 (also when the temporary luma plane
// cannot be allocated: nothing is cleared then), 1 on a null argument or an impossible size.
int32_t ad_calc_histogram(uint32_t* hist, uint32_t* global_hist, uint32_t* sum, const uint32_t* rgb, uint32_t width,
                          uint32_t height, const ad_param_t_* param);

// The same on a luma plane the caller holds; allocates nothing.
int32_t ad_calc_histogram_luma(uint32_t* hist, uint32_t* global_hist, uint32_t* sum, const uint32_t* luma,
                               uint32_t width, uint32_t height, const ad_param_t_* param);

}  // namespace kelvo

#endif  // ALAD_CLTM_CLTM_HISTOGRAM_H
