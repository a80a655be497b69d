#include "agtm/scaler_lut.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>

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

std::vector<int32_t> TableOfCurve(const std::vector<double>& code_curve) {
    std::vector<AGTMGain> gains;
    ConvertAmbientLUTFixed(code_curve, gains);
    std::vector<int32_t> table(gains.size());
    for (size_t i = 0; i < gains.size(); ++i) table[i] = gains[i].raw();
    return table;
}

std::string Text(const char* format, ...) ALAD_PRINTF_FORMAT(1, 2);
std::string Text(const char* format, ...) {
    char text[256];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof(text), format, args);
    va_end(args);
    return text;
}

// The pipeline's ambient tone curve (knee 0, gamma on) of a model, or false with the reason.
bool FiniteToneCurve(DisplayPanelModel& model, std::vector<double>& curve, std::string& problem) {
    curve.clear();
    problem = PanelCurveProblem(model);
    if (!problem.empty()) return false;
    std::vector<double> log_table;
    ContentFreeToneCurve(log_table, curve, model, 0.0f, true);
    if (curve.size() == ALAD_AGTM_LUT_SIZE &&
        std::all_of(curve.begin(), curve.end(), [](double v) { return std::isfinite(v); })) {
        return true;
    }
    // Values beyond single precision: the curve is made from the model's values as floats.
    problem = Text("the tone curve of gamma %g, white luminance %g cd/m2 and effective black levels %g and %g cd/m2 "
                   "is not finite", model.Gamma(), model.White(), model.BlackSrc(), model.BlackDst());
    return false;
}

// The panel model the engine's manager makes from the two records.
DisplayPanelModel PanelFromRecords(const alad_display_model_& display, const alad_view_condition_& view) {
    return DisplayPanelModel(display.gamma, display.white, display.black, display.backlight, display.reflectance,
                             static_cast<double>(view.blackLevelSrc), static_cast<double>(view.blackLevelDst));
}

}  // namespace

std::vector<int32_t> ComputeAGTMTable(DisplayPanelModel& model) {
    std::vector<double> log_table, code_curve;
    ContentFreeToneCurve(log_table, code_curve, model, 0.0f, true);
    return TableOfCurve(code_curve);
}

std::vector<int32_t> NeutralAGTMTable() {
    return std::vector<int32_t>(ALAD_AGTM_LUT_SIZE, AGTMGain::FromDouble(1.0).raw());
}

std::string PanelCurveProblem(const DisplayPanelModel& model) {
    using std::isfinite;
    const double gamma = model.Gamma(), white = model.White(), black = model.Black();
    if (!isfinite(gamma) || !(gamma > 0.0)) return Text("gamma %g (a finite number above 0 is needed)", gamma);
    if (!isfinite(white) || !(white > 0.0)) {
        return Text("white luminance %g cd/m2 (a finite number above 0 is needed)", white);
    }
    if (!isfinite(black) || !(black < white)) {
        return Text("black luminance %g cd/m2 (a finite number below the white luminance, %g cd/m2, is needed)",
                    black, white);
    }
    if (!isfinite(model.Backlight())) return Text("backlight %g (a finite number is needed)", model.Backlight());
    if (!isfinite(model.Reflectance())) {
        return Text("reflectance %g (a finite number is needed)", model.Reflectance());
    }
    const struct {
        const char* where;
        double ambient, effective_black;
    } views[] = {{"source", model.AmbientSrc(), model.BlackSrc()},
                 {"destination", model.AmbientDst(), model.BlackDst()}};
    for (const auto& view : views) {
        if (!isfinite(view.ambient)) {
            return Text("ambient light at the %s %g lux (a finite number is needed)", view.where, view.ambient);
        }
    }
    for (const auto& view : views) {
        // The curve is made from the single-precision value.
        const float effective_black = static_cast<float>(view.effective_black);
        if (!isfinite(effective_black) || !(effective_black > 0.0f)) {
            return Text("effective black at the %s %g cd/m2 (the black luminance plus the reflected ambient light; "
                        "a number above 0 and finite in single precision is needed)", view.where,
                        view.effective_black);
        }
    }
    return "";
}

std::vector<int32_t> ComputeAGTMTableOrNeutral(DisplayPanelModel& model, std::string* problem) {
    std::vector<double> curve;
    std::string reason;
    const bool made = FiniteToneCurve(model, curve, reason);
    if (problem) *problem = reason;
    return made ? TableOfCurve(curve) : NeutralAGTMTable();
}

std::vector<double> AmbientToneCurve(const alad_display_model_& display, const alad_view_condition_& view) {
    DisplayPanelModel model = PanelFromRecords(display, view);
    std::vector<double> curve;
    std::string problem;
    if (!FiniteToneCurve(model, curve, problem)) {
        // The identity curve, i / 255: what the table that changes nothing stands for.
        alad::LogError("AmbientToneCurve: the panel and viewing condition make no tone curve: %s; the identity "
                       "curve is returned", problem.c_str());
        curve.clear();
        for (int i = 0; i < ALAD_AGTM_LUT_SIZE; ++i) curve.push_back(i * 0.00392156862745098);
    }
    return curve;
}

std::vector<int32_t> AmbientAGTMTable(const alad_display_model_& display, const alad_view_condition_& view) {
    DisplayPanelModel model = PanelFromRecords(display, view);
    std::string problem;
    std::vector<int32_t> table = ComputeAGTMTableOrNeutral(model, &problem);
    if (!problem.empty()) {
        alad::LogError("AmbientAGTMTable: the panel and viewing condition make no tone curve: %s; the neutral "
                       "table (every gain 1.0) is returned", problem.c_str());
    }
    return table;
}

}  // namespace kelvo
