#include "tools/engine_run.h"

#include <algorithm>
#include <sstream>

#include "alad/alad_driver.h"
#include "alad/alad_engine.h"
#include "tools/viewing.h"

namespace alad_tool {

const std::vector<std::string>& EngineOptionNames() {
    static const std::vector<std::string> names = [] {
        std::vector<std::string> n = {"order", "src", "dst", "level", "block", "strength", "curve-id"};
        n.insert(n.end(), DisplayOptionNames().begin(), DisplayOptionNames().end());
        return n;
    }();
    return names;
}

EngineSettings SettingsFromOptions(const Options& options) {
    EngineSettings s;
    s.user.tm_mode = static_cast<uint32_t>(options.Integer("order", 1, 1, 4));
    const long block = options.Integer("block", 256, 1, 4096);
    s.user.blk_width = s.user.blk_height = static_cast<uint32_t>(block);
    s.user.strength = static_cast<int32_t>(options.Integer("strength", 8, 0, 16));
    s.user.curve_id = static_cast<int32_t>(options.Integer("curve-id", 1, 0, 2));
    s.user.filter_flag = options.Has("filter") ? 1 : 0;
    s.view = ViewFromOptions(options);
    s.display = DisplayFromOptions(options);
    s.verbose = options.Has("verbose");
    return s;
}

const char* OrderName(uint32_t order) {
    static const char* names[] = {"copy", "CLTM + AGTM", "AGTM + CLTM", "CLTM", "AGTM"};
    return order < 5 ? names[order] : names[0];
}

std::string PanelText(const kelvo::alad_display_model_& display) {
    std::ostringstream text;
    text << "gamma " << display.gamma << ", white " << display.white << " cd/m\u00b2, black " << display.black
         << " cd/m\u00b2, reflectance " << display.reflectance;
    return text.str();
}

std::string LuxText(double lux) {
    std::ostringstream text;
    text << lux;
    return text.str();
}

std::string ConditionsText(const EngineSettings& s, const char* arrow) {
    return LuxText(s.view.blackLevelSrc) + arrow + LuxText(s.view.blackLevelDst) + " lux, panel " +
           PanelText(s.display);
}

double EngineClock::TotalSeconds() const {
    double total = 0.0;
    for (const double s : seconds_) total += s;
    return total;
}

double EngineClock::MedianSeconds() const {
    if (seconds_.empty()) return 0.0;
    std::vector<double> sorted = seconds_;
    std::sort(sorted.begin(), sorted.end());
    const size_t n = sorted.size();
    return n % 2 ? sorted[n / 2] : 0.5 * (sorted[n / 2 - 1] + sorted[n / 2]);
}

double EngineClock::MinSeconds() const {
    return seconds_.empty() ? 0.0 : *std::min_element(seconds_.begin(), seconds_.end());
}

double EngineClock::MaxSeconds() const {
    return seconds_.empty() ? 0.0 : *std::max_element(seconds_.begin(), seconds_.end());
}

void StartEngine(EngineSettings& s, int width, int height) {
    s.user.width = static_cast<uint32_t>(width);
    s.user.height = static_cast<uint32_t>(height);
    EngineLines lines(VerboseOr(s.verbose));
    if (kelvo::InitEngineALAD(s.user, s.display, s.view) != 0) throw RunError("the engine could not be started");
}

cv::Mat RunFrame(const EngineSettings& s, const cv::Mat& frame12, EngineClock* clock) {
    cv::Mat out;
    EngineLines lines(VerboseOr(s.verbose));
    const auto start = std::chrono::steady_clock::now();
    const int32_t result = kelvo::RunOneFrameALAD(frame12, out);
    if (clock) clock->Add(std::chrono::steady_clock::now() - start);
    if (result != 0) throw RunError("the engine refused a frame");
    return out;
}

void StartDriverEngine(const EngineSettings& s, int width, int height) {
    if (s.user.filter_flag) throw UsageError("--filter cannot be set through the driver's record (--argb)");
    EngineLines lines(VerboseOr(s.verbose));
    ad_user_t_driver_ user;
    alad_display_model_driver_ display;
    const alad_view_condition_driver_ view = {s.view.blackLevelSrc, s.view.blackLevelDst};
    InitEngineALADforDriver(&user, &display, &view);
    user.blk_width = user.blk_height = static_cast<int32_t>(s.user.blk_width);
    user.curve_id = s.user.curve_id;
    user.strength = s.user.strength;
    user.tm_mode = static_cast<int32_t>(s.user.tm_mode);
    user.width = width;
    user.height = height;
    UpdateCLTMParameterForDriver(&user);
    display = alad_display_model_driver_{s.display.gamma, s.display.white, s.display.black, s.display.backlight,
                                         s.display.reflectance};
    UpdateDisplayPanelParameterForDriver(&display);
}

void RunDriverFrame(const EngineSettings& s, unsigned char* argb, int width, int height, EngineClock* clock) {
    EngineLines lines(VerboseOr(s.verbose));
    _image image{width, height, 4, argb};
    const auto start = std::chrono::steady_clock::now();
    RunOneFrameBufferALADforDriver(&image);
    if (clock) clock->Add(std::chrono::steady_clock::now() - start);
}

}  // namespace alad_tool
