// alad simulate: how the panel shows a picture under an ambient light, before and after the engine.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include <opencv2/imgproc.hpp>

#include "tools/commands.h"
#include "tools/engine_run.h"
#include "tools/frames.h"
#include "tools/json.h"
#include "tools/plot.h"
#include "tools/tool_common.h"
#include "tools/viewing.h"

namespace alad_tool {

const char kSimulateHelp[] =
    "usage: alad simulate --dst LUX [options] INPUT OUTPUT\n"
    "\n"
    "Shows how the panel presents a picture under --dst lux of ambient light: the picture as made\n"
    "(seen under --src lux), the same picture under --dst lux, and the engine's output under --dst\n"
    "lux, side by side and labelled, with the share of the picture's details a viewer can still see\n"
    "in each. OUTPUT is .png, .jpg or .svg.\n"
    "\n"
    "The model: each channel's code x leaves the panel as white x^gamma + black cd/m2, and the screen\n"
    "adds the ambient light it reflects, lux x reflectance / 2 pi, to every pixel. The viewer is\n"
    "taken as adapted to the brightest the screen shows (its white plus the reflection): a simulated\n"
    "pixel is the luminance reaching the eye relative to that white, encoded with the panel's gamma.\n"
    "A detail is a pair of neighbouring pixels whose codes differ in the input; it counts as seen when\n"
    "the luminances reaching the eye differ by at least 1% (the eye's Weber fraction). 'Dark' details\n"
    "are those whose pixels both lie in the darkest quarter of the codes.\n"
    "\n" ALAD_ENGINE_OPTIONS_HELP
    "  --panel-width N     scale each of the three pictures to N pixels wide (default: the picture's\n"
    "                      width, at most 640)\n"
    "  --json              print the contrast summary as JSON\n";

namespace {

constexpr double kWeberFraction = 0.01;

// Everything about one viewing of one picture.
struct Viewing {
    std::string label;
    double lux = 0;
    cv::Mat seen8;           // the simulated picture, 8-bit B, G, R
    double dark_seen = 0;    // share of the dark details seen, 0..1
    double all_seen = 0;     // share of all details seen
    long long dark_details = 0, all_details = 0;
};

// Per 12-bit code: the channel's emitted luminance relative to the white, x^gamma.
std::vector<double> LinearTable(double gamma) {
    std::vector<double> table(4096);
    for (int v = 0; v < 4096; ++v) table[v] = std::pow(v / 4095.0, gamma);
    return table;
}

// `shown`: the 12-bit picture the panel shows; `input`: the picture whose details count.
Viewing View(const cv::Mat& shown, const cv::Mat& input, const kelvo::alad_display_model_& display, double lux,
             const std::string& label) {
    Viewing v;
    v.label = label;
    v.lux = lux;
    const std::vector<double> linear = LinearTable(display.gamma);
    const double floor = EffectiveBlack(display, lux);
    const double adapted_white = display.white + floor;
    std::vector<uint8_t> to8(4096);
    for (int c = 0; c < 4096; ++c) {
        const double relative = (display.white * linear[c] + floor) / adapted_white;
        to8[c] = static_cast<uint8_t>(std::lround(255.0 * std::pow(relative, 1.0 / display.gamma)));
    }
    const int w = shown.cols, h = shown.rows;
    v.seen8.create(shown.size(), CV_8UC3);
    cv::Mat luminance(shown.size(), CV_64F), dark(shown.size(), CV_8U);
    cv::Mat code(shown.size(), CV_32S);
    for (int y = 0; y < h; ++y) {
        const int32_t* s = shown.ptr<int32_t>(y);
        const int32_t* in = input.ptr<int32_t>(y);
        uint8_t* out = v.seen8.ptr<uint8_t>(y);
        double* lum = luminance.ptr<double>(y);
        uint8_t* is_dark = dark.ptr<uint8_t>(y);
        int32_t* input_code = code.ptr<int32_t>(y);
        for (int x = 0; x < w; ++x) {
            int32_t bgr[3];
            for (int c = 0; c < 3; ++c) {
                bgr[c] = std::clamp(s[3 * x + c], 0, 4095);
                out[3 * x + c] = to8[bgr[c]];
            }
            lum[x] = display.white * (0.0722 * linear[bgr[0]] + 0.7152 * linear[bgr[1]] + 0.2126 * linear[bgr[2]]) + floor;
            // The input's luma code (12-bit), for "differ in the input" and "dark".
            input_code[x] = (114 * std::clamp(in[3 * x], 0, 4095) + 587 * std::clamp(in[3 * x + 1], 0, 4095) +
                             299 * std::clamp(in[3 * x + 2], 0, 4095) + 500) /
                            1000;
            is_dark[x] = input_code[x] < 1024;
        }
    }
    long long dark_seen = 0, all_seen = 0;
    // Pixel i of row a against pixel j of row b.
    auto pair = [&](int a, int i, int b, int j) {
        const int32_t* code_a = code.ptr<int32_t>(a);
        const int32_t* code_b = code.ptr<int32_t>(b);
        // A detail: the input's codes differ by at least one 8-bit step.
        if (std::abs(code_a[i] - code_b[j]) < 16) return;
        const double la = luminance.ptr<double>(a)[i], lb = luminance.ptr<double>(b)[j];
        const bool seen = std::fabs(la - lb) >= kWeberFraction * 0.5 * (la + lb);
        ++v.all_details;
        all_seen += seen;
        if (dark.ptr<uint8_t>(a)[i] && dark.ptr<uint8_t>(b)[j]) {
            ++v.dark_details;
            dark_seen += seen;
        }
    };
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            if (x + 1 < w) pair(y, x, y, x + 1);
            if (y + 1 < h) pair(y, x, y + 1, x);
        }
    }
    v.dark_seen = v.dark_details ? static_cast<double>(dark_seen) / v.dark_details : 0.0;
    v.all_seen = v.all_details ? static_cast<double>(all_seen) / v.all_details : 0.0;
    return v;
}

std::string Percent(double share) {
    char text[16];
    std::snprintf(text, sizeof(text), "%.0f%%", 100.0 * share);
    return text;
}

std::string ContrastRatio(const kelvo::alad_display_model_& display, double lux) {
    char text[32];
    const double floor = EffectiveBlack(display, lux);
    std::snprintf(text, sizeof(text), "%.0f:1", (display.white + floor) / floor);
    return text;
}

void Draw(const std::string& path, const std::string& source, const EngineSettings& s,
          const std::vector<Viewing>& views, int panel_width) {
    const cv::Size picture = views[0].seen8.size();
    const int panel_height = std::max(1, static_cast<int>(std::lround(1.0 * picture.height * panel_width / picture.width)));
    const int gap = 16, margin = 30, top = 120;
    const int width = std::max(2 * margin + 3 * panel_width + 2 * gap, 900);
    const int height = top + panel_height + 150;
    Canvas canvas(path, width, height);
    const double src = s.view.blackLevelSrc, dst = s.view.blackLevelDst;
    const std::string title = "How the panel shows " + source + " under " + LuxText(dst) + " lux";
    canvas.SetTitle(title);
    canvas.Text(margin, 34, title, {20, Align::kLeft, kBlack, true});
    char reflected[160];
    std::snprintf(reflected, sizeof(reflected),
                  "reflected light %.2f cd/m\u00b2 at %s lux, %.2f cd/m\u00b2 at %s lux; the panel's contrast %s and %s",
                  ReflectedLuminance(s.display, src), LuxText(src).c_str(), ReflectedLuminance(s.display, dst),
                  LuxText(dst).c_str(), ContrastRatio(s.display, src).c_str(), ContrastRatio(s.display, dst).c_str());
    canvas.Text(margin, 58, "panel: " + PanelText(s.display) + "; viewer adapted to the screen's white", {14, Align::kLeft, kGrey});
    canvas.Text(margin, 78, reflected, {14, Align::kLeft, kGrey});
    for (size_t i = 0; i < views.size(); ++i) {
        const double x = margin + i * (panel_width + gap);
        canvas.Text(x + panel_width / 2.0, top - 12, views[i].label, {15, Align::kCentre, kBlack, true});
        canvas.Picture(views[i].seen8, cv::Rect2d(x, top, panel_width, panel_height));
    }
    // The contrast summary, a small table under the pictures.
    const double y0 = top + panel_height + 34, col1 = margin + 330, col2 = margin + 470;
    canvas.Text(margin, y0, "details a viewer can see (neighbouring pixels whose luminance differs by 1% or more)",
                {14, Align::kLeft, kBlack, true});
    canvas.Text(col1, y0 + 24, "in the darks", {13, Align::kRight, kGrey});
    canvas.Text(col2, y0 + 24, "in the picture", {13, Align::kRight, kGrey});
    for (size_t i = 0; i < views.size(); ++i) {
        const double y = y0 + 46 + 20 * i;
        canvas.Text(margin, y, views[i].label, {13});
        canvas.Text(col1, y, Percent(views[i].dark_seen), {13, Align::kRight});
        canvas.Text(col2, y, Percent(views[i].all_seen), {13, Align::kRight});
    }
    canvas.Save();
}

}  // namespace

int RunSimulate(int argc, char** argv) {
    std::vector<std::string> valued = EngineOptionNames();
    valued.push_back("panel-width");
    const Options options(argc, argv, valued, {"filter", "verbose", "json"});
    if (options.Positional().size() != 2) throw UsageError("needs INPUT and OUTPUT");
    if (!options.Has("dst") && !options.Has("level")) throw UsageError("needs --dst LUX (or --level N)");
    const std::string input_path = options.Positional()[0], output_path = options.Positional()[1];
    CheckPlotPath(output_path);
    EngineSettings s = SettingsFromOptions(options);
    std::unique_ptr<FrameReader> reader = OpenFrames(input_path, "");
    if (!reader->Format().still) throw UsageError("'" + input_path + "' is not a single picture");
    cv::Mat input;
    reader->Read(input);
    const int panel_width = static_cast<int>(options.Integer("panel-width", std::min(input.cols, 640), 16, 4096));

    StartEngine(s, input.cols, input.rows);
    RunFrame(s, input, nullptr);  // primes the local stage with the picture's own curves
    const cv::Mat output = RunFrame(s, input, nullptr);

    const double src = s.view.blackLevelSrc, dst = s.view.blackLevelDst;
    std::vector<Viewing> views = {
        View(input, input, s.display, src, "as made: original at " + LuxText(src) + " lux"),
        View(input, input, s.display, dst, "original at " + LuxText(dst) + " lux"),
        View(output, input, s.display, dst,
             std::string("ALAD output (") + OrderName(s.user.tm_mode) + ") at " + LuxText(dst) + " lux")};
    const std::string source = input_path.substr(input_path.find_last_of('/') + 1);
    Draw(output_path, source, s, views, panel_width);

    if (options.Has("json")) {
        JsonWriter out;
        out.BeginObject()
            .Member("input", input_path)
            .Member("output", output_path)
            .Member("src_lux", src)
            .Member("dst_lux", dst)
            .Member("order", static_cast<int>(s.user.tm_mode))
            .Member("weber_fraction", kWeberFraction)
            .Key("views")
            .BeginArray();
        for (const Viewing& v : views) {
            out.BeginObject()
                .Member("label", v.label)
                .Member("lux", v.lux)
                .Member("dark_details", v.dark_details)
                .Member("dark_details_seen", v.dark_seen)
                .Member("details", v.all_details)
                .Member("details_seen", v.all_seen)
                .EndObject();
        }
        out.EndArray().EndObject();
        std::printf("%s", out.Text().c_str());
    } else {
        Inform("alad simulate: %s under %g lux -> %s\n", input_path.c_str(), dst, output_path.c_str());
        Inform("  details seen (luminance differs by 1%% or more)   in the darks   in the picture\n");
        for (const Viewing& v : views) {
            Inform("  %-47s %12s %16s\n", v.label.c_str(), Percent(v.dark_seen).c_str(), Percent(v.all_seen).c_str());
        }
    }
    return 0;
}

}  // namespace alad_tool
