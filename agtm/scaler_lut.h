// The scaler table: the ambient tone curve (output code per input code) turned into a gain per
// brightest-channel code, and its fixed-point form, the AGTM table.
#ifndef ALAD_AGTM_SCALER_LUT_H
#define ALAD_AGTM_SCALER_LUT_H

#include <cstdint>
#include <string>
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

// The table that changes nothing: every gain 1.0 (raw 2048).
std::vector<int32_t> NeutralAGTMTable();

// Why a panel model cannot make an ambient tone curve, or "" when its values can: one that is not
// finite (panel, backlight, reflectance, ambient light), a gamma or white luminance not above 0, a
// black luminance not below the white, an effective black level not above 0. Names the value.
std::string PanelCurveProblem(const DisplayPanelModel& model);

// ComputeAGTMTable for a model that makes a finite curve, with *problem cleared. Otherwise (the
// values above, or a curve that still comes out not finite, as values beyond single precision
// give) the neutral table, with the reason in *problem: a NaN gain would become 0 and a frame black.
std::vector<int32_t> ComputeAGTMTableOrNeutral(DisplayPanelModel& model, std::string* problem);

}  // namespace kelvo

#endif  // ALAD_AGTM_SCALER_LUT_H
