// Running the engine from the tool: the settings the engine options describe, and frames through
// the engine's entry points (or the display driver's, on an ARGB8888 buffer), timed.
#ifndef ALAD_TOOLS_ENGINE_RUN_H
#define ALAD_TOOLS_ENGINE_RUN_H

#include <chrono>
#include <string>
#include <vector>

#include <opencv2/core.hpp>

#include "alad/alad_records.h"
#include "tools/tool_common.h"

namespace alad_tool {

struct EngineSettings {
    kelvo::ad_user_t_ user;
    kelvo::alad_display_model_ display;
    kelvo::alad_view_condition_ view;
    bool verbose = false;
};

// The options that configure the engine (valued ones; the switches are "filter" and "verbose"),
// and their lines for a command's --help.
const std::vector<std::string>& EngineOptionNames();
#define ALAD_ENGINE_OPTIONS_HELP                                                                       \
    "  --order N           1 CLTM then AGTM (default), 2 AGTM then CLTM, 3 CLTM only, 4 AGTM only\n" \
    "  --src LUX           ambient light the input was made for (default 300)\n"                      \
    "  --dst LUX           ambient light it will be seen under (default 300)\n"                       \
    "  --level N           instead of --src/--dst: the driver's ambient level 0..39 (300 lux ->\n"    \
    "                      the level's lux; 'alad levels' lists them)\n"                              \
    "  --block N           CLTM block size in pixels, rounded up to 64, 128 or 256 (default 256)\n"  \
    "  --strength N        CLTM strength 0..16 (default 8)\n"                                         \
    "  --curve-id N        CLTM histogram clip curve 0..2 (default 1)\n"                              \
    "  --filter            switch the CLTM detail filter on\n" ALAD_DISPLAY_OPTIONS_HELP

// --order, --block, --strength, --curve-id, --filter, the viewing condition and the display.
EngineSettings SettingsFromOptions(const Options& options);
// "CLTM + AGTM", "AGTM + CLTM", "CLTM" or "AGTM".
const char* OrderName(uint32_t order);
// "300 -> 20000 lux, panel gamma 2.2, white 500 cd/m², black 0.2 cd/m², reflectance 0.01": the
// conditions, for titles. `arrow` is what stands between the two lux values.
std::string ConditionsText(const EngineSettings& s, const char* arrow = " -> ");

// Time spent inside the engine's entry points, frame by frame.
class EngineClock {
public:
    void Add(std::chrono::steady_clock::duration d) {
        seconds_.push_back(std::chrono::duration<double>(d).count());
    }
    size_t Frames() const { return seconds_.size(); }
    double TotalSeconds() const;
    double MedianSeconds() const;
    double MinSeconds() const;
    double MaxSeconds() const;

private:
    std::vector<double> seconds_;
};

// Starts (or restarts) the engine for frames of this size.
void StartEngine(EngineSettings& s, int width, int height);
// One frame (12-bit CV_32SC3) through the engine; the time inside the engine goes to `clock`.
cv::Mat RunFrame(const EngineSettings& s, const cv::Mat& frame12, EngineClock* clock);

// The display driver's own path: the engine started and configured through the driver's entry
// points for ARGB8888 buffers of this size (no detail filter: the driver record has no switch for
// it).
void StartDriverEngine(const EngineSettings& s, int width, int height);
// Processes an ARGB8888 buffer (width x height x 4 bytes) in place.
void RunDriverFrame(const EngineSettings& s, unsigned char* argb, int width, int height, EngineClock* clock);

}  // namespace alad_tool

#endif  // ALAD_TOOLS_ENGINE_RUN_H
