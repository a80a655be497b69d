#include "agtm/scaler_lut.h"

#include "agtm/tone_curve.h"
#include "alad/alad_offline.h"
#include "common/log.h"

namespace kelvo {

void Transform2ScalerLUT(const std::vector<double>& curve, std::vector<double>& gains) {
    const size_t n = curve.size();
    if (n < 3) {
        alad::Log(alad::LogLevel::kWarning, alad::Console::kErr,
                  "Transform2ScalerLUT: a curve needs at least 3 entries, got %zu; using gain 1.0", n);
        gains.assign(n, 1.0);
        return;
    }
    gains.resize(n);
    gains[0] = 1.0;
    const double last_code = static_cast<double>(n - 1);
    for (size_t i = 1; i < n; ++i) gains[i] = curve[i] * last_code / static_cast<double>(i);
    gains[0] = gains[1] + (gains[1] - gains[2]);
}

void ConvertAmbientLUTFixed(const std::vector<double>& curve, std::vector<AGTMGain>& lut) {
    std::vector<double> gains;
    Transform2ScalerLUT(curve, gains);
    lut.resize(gains.size());
    for (size_t i = 0; i < gains.size(); ++i) lut[i] = AGTMGain::FromDouble(gains[i]);
}

namespace {

// The panel model the engine's manager makes from the two records.
DisplayPanelModel PanelFromRecords(const alad_display_model_& display, const alad_view_condition_& view) {
    return DisplayPanelModel(display.gamma, display.white, display.black, display.backlight, display.reflectance,
                             static_cast<double>(view.blackLevelSrc), static_cast<double>(view.blackLevelDst));
}

}  // namespace

std::vector<double> AmbientToneCurve(const alad_display_model_& display, const alad_view_condition_& view) {
    DisplayPanelModel model = PanelFromRecords(display, view);
    std::vector<double> log_table, curve;
    ContentFreeToneCurve(log_table, curve, model, 0.0f, true);
    return curve;
}

std::vector<int32_t> AmbientAGTMTable(const alad_display_model_& display, const alad_view_condition_& view) {
    DisplayPanelModel model = PanelFromRecords(display, view);
    return ComputeAGTMTable(model);
}

std::vector<int32_t> ComputeAGTMTable(DisplayPanelModel& model) {
    std::vector<double> log_table, code_curve;
    ContentFreeToneCurve(log_table, code_curve, model, 0.0f, true);
    std::vector<AGTMGain> gains;
    ConvertAmbientLUTFixed(code_curve, gains);
    std::vector<int32_t> table(gains.size());
    for (size_t i = 0; i < gains.size(); ++i) table[i] = gains[i].raw();
    return table;
}

}  // namespace kelvo
