#include "tools/tool_common.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include <opencv2/imgcodecs.hpp>

#include "alad/alad_driver.h"
#include "alad/alad_engine.h"
#include "tools/plot.h"

namespace alad_tool {

namespace {

bool Contains(const std::vector<std::string>& names, const std::string& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

}  // namespace

Options::Options(int argc, char** argv, const std::vector<std::string>& valued,
                 const std::vector<std::string>& flags) {
    bool options_end = false;
    for (int i = 0; i < argc; ++i) {
        const std::string arg = argv[i];
        if (options_end || arg.size() <= 2 || arg.compare(0, 2, "--") != 0) {
            if (!options_end && arg == "--") {
                options_end = true;
            } else {
                positional_.push_back(arg);
            }
            continue;
        }
        const size_t equals = arg.find('=');
        const std::string name = arg.substr(2, equals == std::string::npos ? std::string::npos : equals - 2);
        if (Contains(flags, name)) {
            if (equals != std::string::npos) throw UsageError("option --" + name + " takes no value");
            flags_[name] = true;
        } else if (Contains(valued, name)) {
            if (equals != std::string::npos) {
                values_[name] = arg.substr(equals + 1);
            } else {
                if (i + 1 >= argc) throw UsageError("option --" + name + " needs a value");
                values_[name] = argv[++i];
            }
        } else {
            throw UsageError("unknown option --" + name);
        }
    }
}

std::string Options::String(const std::string& name, const std::string& fallback) const {
    const auto it = values_.find(name);
    return it == values_.end() ? fallback : it->second;
}

double Options::Number(const std::string& name, double fallback) const {
    const auto it = values_.find(name);
    if (it == values_.end()) return fallback;
    const char* text = it->second.c_str();
    char* end = nullptr;
    errno = 0;
    const double value = std::strtod(text, &end);
    if (end == text || *end != '\0' || errno == ERANGE || !std::isfinite(value)) {
        throw UsageError("option --" + name + " needs a number, got '" + it->second + "'");
    }
    return value;
}

double Options::RequiredNumber(const std::string& name) const {
    if (values_.find(name) == values_.end()) throw UsageError("option --" + name + " is required");
    return Number(name, 0.0);
}

long Options::Integer(const std::string& name, long fallback, long lo, long hi) const {
    const auto it = values_.find(name);
    if (it == values_.end()) return fallback;
    const char* text = it->second.c_str();
    char* end = nullptr;
    errno = 0;
    const long value = std::strtol(text, &end, 10);
    if (end == text || *end != '\0' || errno == ERANGE || value < lo || value > hi) {
        throw UsageError("option --" + name + " needs a whole number from " + std::to_string(lo) + " to " +
                         std::to_string(hi) + ", got '" + it->second + "'");
    }
    return value;
}

const std::vector<std::string>& DisplayOptionNames() {
    static const std::vector<std::string> names = {"gamma", "white", "black", "backlight", "reflectance"};
    return names;
}

kelvo::alad_display_model_ DisplayFromOptions(const Options& options) {
    kelvo::alad_display_model_ display;
    if (options.Has("backlight")) {
        Warn("--backlight is stored by the panel model, but no result depends on it");
    }
    display.gamma = options.Number("gamma", display.gamma);
    display.white = options.Number("white", display.white);
    display.black = options.Number("black", display.black);
    display.backlight = options.Number("backlight", display.backlight);
    display.reflectance = options.Number("reflectance", display.reflectance);
    if (!(display.gamma > 0.0) || !(display.white > 0.0) || display.black < 0.0 || display.reflectance < 0.0) {
        throw UsageError("the display needs --gamma > 0, --white > 0, --black >= 0 and --reflectance >= 0");
    }
    return display;
}

kelvo::alad_view_condition_ ViewFromOptions(const Options& options) {
    kelvo::alad_view_condition_ view;
    if (options.Has("level")) {
        if (options.Has("src") || options.Has("dst")) throw UsageError("--level replaces --src and --dst");
        const long level = options.Integer("level", 0, 0, ALAD_AGTM_LEVELS - 1);
        view.blackLevelSrc = 300.0f;
        view.blackLevelDst = static_cast<float>(agtmLuxTable[level]);
    } else {
        const double src = options.Number("src", 300.0), dst = options.Number("dst", 300.0);
        if (src < 0.0 || dst < 0.0) throw UsageError("ambient light cannot be negative");
        view.blackLevelSrc = static_cast<float>(src);
        view.blackLevelDst = static_cast<float>(dst);
    }
    return view;
}

cv::Mat ReadPicture12(const std::string& path, int* depth) {
    const cv::Mat picture = cv::imread(path, cv::IMREAD_COLOR | cv::IMREAD_ANYDEPTH);
    if (picture.empty()) throw RunError("cannot read picture '" + path + "'");
    cv::Mat image12;
    if (picture.depth() == CV_8U) {
        cv::Mat bgr = picture;
        transform8To12(bgr, image12);
    } else if (picture.depth() == CV_16U) {
        // 16 to 12 bits: drop the four low bits.
        image12.create(picture.size(), CV_32SC3);
        for (int y = 0; y < picture.rows; ++y) {
            const uint16_t* in = picture.ptr<uint16_t>(y);
            int32_t* out = image12.ptr<int32_t>(y);
            for (int i = 0; i < picture.cols * 3; ++i) out[i] = in[i] >> 4;
        }
    } else {
        throw RunError("picture '" + path + "' is neither 8- nor 16-bit");
    }
    if (depth) *depth = picture.depth();
    return image12;
}

cv::Mat NarrowPicture12(const cv::Mat& image12, int depth) {
    cv::Mat picture;
    if (depth == CV_16U) {
        // 12 to 16 bits: the top four bits repeated at the bottom, so 4095 becomes 65535.
        picture.create(image12.size(), CV_16UC3);
        for (int y = 0; y < image12.rows; ++y) {
            const int32_t* in = image12.ptr<int32_t>(y);
            uint16_t* out = picture.ptr<uint16_t>(y);
            for (int i = 0; i < image12.cols * 3; ++i) {
                const int32_t v = std::clamp(in[i], 0, 4095);
                out[i] = static_cast<uint16_t>((v << 4) | (v >> 8));
            }
        }
    } else {
        // 12 to 8 bits: the four low bits dropped, the exact inverse of the widening (v * 16 + v / 16),
        // so a picture that the engine leaves alone comes back byte for byte.
        picture.create(image12.size(), CV_8UC3);
        for (int y = 0; y < image12.rows; ++y) {
            const int32_t* in = image12.ptr<int32_t>(y);
            uint8_t* out = picture.ptr<uint8_t>(y);
            for (int i = 0; i < image12.cols * 3; ++i) out[i] = static_cast<uint8_t>(std::clamp(in[i], 0, 4095) >> 4);
        }
    }
    return picture;
}

void WritePicture(const std::string& path, const cv::Mat& picture) {
    bool written = false;
    try {
        written = cv::imwrite(path, picture);
    } catch (const cv::Exception& e) {
        throw RunError("cannot write picture '" + path + "': " + e.err);
    }
    if (!written) throw RunError("cannot write picture '" + path + "'");
}

cv::Mat SideBySide(const cv::Mat& left, const cv::Mat& right) {
    const int gap = 8;
    cv::Mat canvas(std::max(left.rows, right.rows), left.cols + gap + right.cols, left.type(), cv::Scalar::all(0));
    left.copyTo(canvas(cv::Rect(0, 0, left.cols, left.rows)));
    right.copyTo(canvas(cv::Rect(left.cols + gap, 0, right.cols, right.rows)));
    return canvas;
}

cv::Mat LabelledSideBySide(const cv::Mat& left, const cv::Mat& right, const std::string& left_label,
                           const std::string& right_label) {
    const cv::Mat pictures = SideBySide(left, right);
    cv::Mat band = LabelBand({left_label, right_label}, {left.cols, right.cols}, 8);
    if (pictures.depth() == CV_16U) band.convertTo(band, CV_16U, 257.0);
    cv::Mat both;
    cv::vconcat(band, pictures, both);
    return both;
}

namespace {

Verbosity gVerbosity = Verbosity::kNormal;

}  // namespace

void SetVerbosity(Verbosity verbosity) { gVerbosity = verbosity; }

Verbosity CurrentVerbosity() { return gVerbosity; }

void Inform(const char* format, ...) {
    if (gVerbosity == Verbosity::kQuiet) return;
    std::va_list args;
    va_start(args, format);
    std::vprintf(format, args);
    va_end(args);
    std::fflush(stdout);
}

void Warn(const std::string& text) {
    if (gVerbosity == Verbosity::kQuiet) return;
    std::fflush(stdout);
    std::fprintf(stderr, "alad: warning: %s\n", text.c_str());
    std::fflush(stderr);
}

namespace {

EngineLineFilter gFilter = EngineLineFilter::kAll;

void FilterLine(void*, int level, const char* line) {
    const int shown_from = gVerbosity == Verbosity::kQuiet ? 2 : 1;  // the sink's levels: 1 warning, 2 error
    if (gFilter == EngineLineFilter::kProblems && level >= shown_from) {
        std::fputs(line, stderr);
        std::fputc('\n', stderr);
        std::fflush(stderr);
    }
}

void Install(EngineLineFilter filter) {
    gFilter = filter;
    kelvo::SetEngineLogSink(filter == EngineLineFilter::kAll ? nullptr : FilterLine, nullptr);
}

}  // namespace

EngineLines::EngineLines(EngineLineFilter filter) : previous_(gFilter) { Install(filter); }

EngineLines::~EngineLines() { Install(previous_); }

}  // namespace alad_tool
