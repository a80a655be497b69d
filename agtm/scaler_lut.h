// The scaler table: the ambient tone curve (output code per input code) turned into a gain per
// brightest-channel code, and its fixed-point form, the AGTM table.
#ifndef ALAD_AGTM_SCALER_LUT_H
#define ALAD_AGTM_SCALER_LUT_H

#include <cstdint>
#include <vector>

#include "agtm/display_panel_model.h"
#include "common/fixed_point.h"

namespace kelvo {

// AGTM gain: 19 magnitude bits of which 11 are fraction bits; gain 1.0 is raw 2048.
using AGTMGain = alad::FixedPoint<19, 11>;

// gains[i] = curve[i] * (N - 1) / i; gains[0], where the ratio is undefined, is extrapolated from
// gains[1] and gains[2]. A curve of fewer than 3 entries is refused (message, every gain 1.0).
void Transform2ScalerLUT(const std::vector<double>& curve, std::vector<double>& gains);

// The gains of `curve` in the AGTM gain format (truncated, saturated at +-255.99951171875).
void ConvertAmbientLUTFixed(const std::vector<double>& curve, std::vector<AGTMGain>& lut);

// The 256 raw AGTM table entries for a panel model, as the pipeline builds them: the ambient tone
// curve (knee 0, gamma on) converted to the gain format.
std::vector<int32_t> ComputeAGTMTable(DisplayPanelModel& model);

}  // namespace kelvo

#endif  // ALAD_AGTM_SCALER_LUT_H
