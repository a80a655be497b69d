// alad lut: the AGTM table for a viewing condition.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

#include "alad/alad_offline.h"
#include "tools/commands.h"
#include "tools/json.h"
#include "tools/plot.h"
#include "tools/tool_common.h"
#include "tools/viewing.h"

namespace alad_tool {

const char kLutHelp[] =
    "usage: alad lut --src LUX --dst LUX [display options] [--plot FILE] [--json]\n"
    "\n"
    "Prints the 256 raw entries of the AGTM table (gain per brightest-channel code 16*i, fixed point\n"
    "with 11 fraction bits: 2048 is a gain of 1.0), one per line, for a picture made for --src lux\n"
    "shown under --dst lux.\n"
    "\n"
    "  --plot FILE         also draw the tone curve, the gain table and the luminance the viewer gets\n"
    "                      with and without it (FILE.png or FILE.svg)\n"
    "  --json              print the conditions, the table and the tone curve as JSON instead\n" ALAD_DISPLAY_OPTIONS_HELP;

namespace {

// Output code (0..1) of a grey pixel of input code 16 * i through the integer table.
double TableOnGrey(const std::vector<int32_t>& table, size_t i) {
    return std::min(16.0 * i * table[i] / 2048.0, 4095.0) / 4095.0;
}

void PlotLut(const std::string& path, const kelvo::alad_display_model_& display, double src, double dst,
             const std::vector<double>& curve, const std::vector<int32_t>& table) {
    Canvas canvas(path, 1500, 600);
    const std::string title = "AGTM for pictures made for " + LuxText(src) + " lux, seen under " + LuxText(dst) + " lux";
    canvas.SetTitle(title);
    canvas.Text(40, 36, title, {20, Align::kLeft, kBlack, true});
    canvas.Text(40, 62,
                "panel: " + PanelText(display) + "; reflected light = lux \u00d7 reflectance / 2\u03c0",
                {14, Align::kLeft, kGrey});

    std::vector<double> codes(curve.size()), identity(curve.size()), grey(curve.size());
    for (size_t i = 0; i < codes.size(); ++i) {
        codes[i] = i / 255.0;
        identity[i] = codes[i];
        grey[i] = TableOnGrey(table, i);
    }
    const double top = 120, side = 390;

    Chart tone(canvas, cv::Rect2d(100, top, side, side), {0, 1, "input code (0 = black, 1 = white)"},
               {0, 1, "output code (0 = black, 1 = white)"});
    tone.DrawAxes("Tone curve");
    tone.Curve(codes, identity, kGrey, 1.5, true);
    tone.Curve(codes, curve, kBlue, 2.5);
    tone.Curve(codes, grey, kOrange, 1.5);
    tone.Legend({{"identity (no change)", kGrey}, {"ambient tone curve", kBlue}, {"AGTM table on grey", kOrange}}, true,
                {true, false, false});

    std::vector<double> inputs(table.size()), gains(table.size());
    double top_gain = 1.0;
    for (size_t i = 0; i < table.size(); ++i) {
        inputs[i] = 16.0 * i;
        gains[i] = table[i] / 2048.0;
        if (i > 0) top_gain = std::max(top_gain, gains[i]);  // entry 0 multiplies black: any gain
    }
    Chart gain(canvas, cv::Rect2d(600, top, side, side), {0, 4095, "brightest channel (12-bit code)"},
               {0, std::ceil(top_gain * 1.1 + 0.01), "gain (output / input)"});
    gain.DrawAxes("Gain table (256 entries, 2048 = 1.0)");
    gain.Curve({0, 4095}, {1, 1}, kGrey, 1.5, true);
    gain.Curve(inputs, gains, kOrange, 2.5);
    gain.Legend({{"gain 1.0 (no change)", kGrey}, {"AGTM gain", kOrange}}, false, {true, false});

    std::vector<double> at_src(codes.size()), at_dst(codes.size()), adapted(codes.size());
    for (size_t i = 0; i < codes.size(); ++i) {
        at_src[i] = SeenLuminance(display, codes[i], src);
        at_dst[i] = SeenLuminance(display, codes[i], dst);
        adapted[i] = SeenLuminance(display, std::clamp(curve[i], 0.0, 1.0), dst);
    }
    const double lo = std::pow(10.0, std::floor(std::log10(std::min(at_src[0], at_dst[0])))),
                 hi = std::pow(10.0, std::ceil(std::log10(std::max(at_src.back(), at_dst.back()))));
    Chart seen(canvas, cv::Rect2d(1100, top, side - 20, side), {0, 1, "input code (0 = black, 1 = white)"},
               {lo, hi, "luminance seen (cd/m\u00b2, log scale)", true});
    seen.DrawAxes("What the viewer gets");
    seen.Curve(codes, at_src, kGrey, 2, true);
    seen.Curve(codes, at_dst, kRed, 2);
    seen.Curve(codes, adapted, kBlue, 2.5);
    seen.Legend({{"original, " + LuxText(src) + " lux", kGrey},
                 {"original, " + LuxText(dst) + " lux", kRed},
                 {"with the curve, " + LuxText(dst) + " lux", kBlue}},
                true, {true, false, false});
    canvas.Save();
}

}  // namespace

int RunLut(int argc, char** argv) {
    std::vector<std::string> valued = {"src", "dst", "plot"};
    valued.insert(valued.end(), DisplayOptionNames().begin(), DisplayOptionNames().end());
    const Options options(argc, argv, valued, {"json"});
    if (!options.Positional().empty()) throw UsageError("unexpected argument '" + options.Positional()[0] + "'");
    const double src = options.RequiredNumber("src");
    const double dst = options.RequiredNumber("dst");
    if (src < 0.0 || dst < 0.0) throw UsageError("ambient light cannot be negative");
    const kelvo::alad_display_model_ display = DisplayFromOptions(options);
    if (options.Has("plot")) CheckPlotPath(options.String("plot", ""));

    kelvo::alad_view_condition_ view;  // the ambient light as float, as the engine receives it
    view.blackLevelSrc = static_cast<float>(src);
    view.blackLevelDst = static_cast<float>(dst);
    const std::vector<int32_t> table = kelvo::AmbientAGTMTable(display, view);
    const std::vector<double> curve = kelvo::AmbientToneCurve(display, view);

    if (options.Has("json")) {
        JsonWriter out;
        out.BeginObject()
            .Member("src_lux", static_cast<double>(view.blackLevelSrc))
            .Member("dst_lux", static_cast<double>(view.blackLevelDst))
            .Key("display")
            .BeginObject()
            .Member("gamma", display.gamma)
            .Member("white", display.white)
            .Member("black", display.black)
            .Member("reflectance", display.reflectance)
            .Member("backlight", display.backlight)
            .EndObject()
            .Member("table", table)
            .Member("tone_curve", curve)
            .EndObject();
        std::printf("%s", out.Text().c_str());
    } else {
        for (const int32_t raw : table) std::printf("%d\n", raw);
    }
    if (options.Has("plot")) {
        const std::string path = options.String("plot", "");
        PlotLut(path, display, view.blackLevelSrc, view.blackLevelDst, curve, table);
        if (CurrentVerbosity() != Verbosity::kQuiet) std::fprintf(stderr, "alad lut: plot written to %s\n", path.c_str());
    }
    return 0;
}

}  // namespace alad_tool
