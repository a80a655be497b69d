// alad offline: one picture through the offline tone-mapping variants, alone or all of them with a
// labelled contact sheet for comparing them.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <opencv2/imgproc.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "alad/alad_offline.h"
#include "alad/alad_verify.h"
#include "tools/commands.h"
#include "tools/plot.h"
#include "tools/tool_common.h"

namespace alad_tool {

const char kOfflineHelp[] =
    "usage: alad offline VARIANT INPUT OUTPUT [--src LUX --dst LUX | --level N] [--stats] [--verbose]\n"
    "       alad offline all INPUT OUTDIR [--src LUX --dst LUX | --level N] [--stats] [--verbose]\n"
    "\n"
    "Runs a picture through one offline tone-mapping variant, outside the engine's frame path, on\n"
    "the default display (gamma 2.2, white 500 cd/m2, black 0.2 cd/m2, reflectance 0.01). 'all'\n"
    "writes every variant as OUTDIR/VARIANT.png and OUTDIR/contact_sheet.png, the input and all\n"
    "results side by side under their names.\n"
    "\n"
    "8-bit variants (the ambient tone curve and a content curve of the picture's own gray):\n"
    "  gray      gray through both curves, channels scaled by the gray ratio\n"
    "  1d        one 256-entry table from both curves, applied to each channel\n"
    "  combine   the interpolated combined table, channels scaled by the gray ratio\n"
    "  scaler    content gain times ambient gain, multiplied into each channel\n"
    "12-bit variants (the AGTM table and the local tone mapping; the integer result is written):\n"
    "  deep      one merged gain: the LTM gain times the AGTM gain at the LTM-mapped brightness\n"
    "  ltm-agtm  the AGTM stage alone (this path does not use the LTM)\n"
    "  agtm-ltm  the LTM of the input itself (the AGTM result serves only as the reference)\n"
    "\n"
    "  --src LUX   ambient light the input was made for (default 300)\n"
    "  --dst LUX   ambient light it will be seen under (default 300)\n"
    "  --level N   instead of --src/--dst: the driver's ambient level 0..39 (300 lux -> the level's\n"
    "              lux; 'alad levels' lists them)\n"
    "  --stats     for the 12-bit variants, print how far the integer result is from the floating-point\n"
    "              reference (PSNR, summed differences per channel, smallest and largest difference)\n"
    "  --verbose   show the library's own log lines\n";

namespace {

using Family = void (*)(cv::Mat&, const std::vector<double>&, cv::Mat&);
using Combined = void (*)(cv::Mat&, const std::vector<int32_t>&, cv::Mat&, cv::Mat&, kelvo::ContentLTM&);

struct Variant {
    const char* name;
    const char* label;  // under the picture on the contact sheet
    Family family;      // the 8-bit variants
    Combined combined;  // the 12-bit variants
};

const std::vector<Variant>& Variants() {
    static const std::vector<Variant> variants = {
        {"gray", "gray: gray ratio", kelvo::GlobalToneMappingOneImage, nullptr},
        {"1d", "1d: 1D table", kelvo::GlobalToneMappingOneImageBy1DGammaLUT, nullptr},
        {"combine", "combine: combined table", kelvo::GlobalToneMappingOneImageByCombineLUT, nullptr},
        {"scaler", "scaler: gain tables", kelvo::GlobalToneMappingOneImageByScalerLUT, nullptr},
        {"deep", "deep: LTM x AGTM gain", nullptr, kelvo::ToneMappingOneImageLTMAGTMDeepFixed},
        {"ltm-agtm", "ltm-agtm: AGTM stage", nullptr, kelvo::ToneMappingOneImageLTMAGTMConcatenateFixed},
        {"agtm-ltm", "agtm-ltm: LTM of input", nullptr, kelvo::ToneMappingOneImageAGTMLTMConcatenateFixed},
    };
    return variants;
}

const Variant& FindVariant(const std::string& name) {
    for (const Variant& v : Variants()) {
        if (name == v.name) return v;
    }
    throw UsageError("unknown variant '" + name + "' (gray, 1d, combine, scaler, deep, ltm-agtm, agtm-ltm or all)");
}

struct Setup {
    cv::Mat input12;  // CV_32SC3
    cv::Mat input8;   // CV_8UC3
    int depth = CV_8U;
    kelvo::alad_view_condition_ view;
    std::vector<double> ambient_curve;
    std::vector<int32_t> agtm_table;
    bool stats = false;
    bool verbose = false;
};

Setup Prepare(const Options& options, const std::string& input_path) {
    Setup s;
    s.view = ViewFromOptions(options);
    s.stats = options.Has("stats");
    s.verbose = options.Has("verbose");
    s.input12 = ReadPicture12(input_path, &s.depth);
    s.input8 = NarrowPicture12(s.input12, CV_8U);
    const kelvo::alad_display_model_ display;
    s.ambient_curve = kelvo::AmbientToneCurve(display, s.view);
    s.agtm_table = kelvo::AmbientAGTMTable(display, s.view);
    return s;
}

// Runs one variant; the picture comes back at the input's depth (8-bit for the 8-bit variants).
cv::Mat RunVariant(const Variant& v, Setup& s) {
    cv::Mat out, reference, result;
    {
        EngineLines quiet(VerboseOr(s.verbose));
        if (v.family != nullptr) {
            v.family(s.input8, s.ambient_curve, out);
        } else {
            kelvo::ContentLTM ltm;
            v.combined(s.input12, s.agtm_table, reference, result, ltm);
        }
    }
    if (v.family != nullptr) {
        if (out.empty()) throw RunError(std::string("variant ") + v.name + " produced no picture");
        return out;
    }
    if (result.empty()) throw RunError(std::string("variant ") + v.name + " produced no picture");
    if (s.stats) StatisticsForFloatFixed(reference, result, v.name);
    return NarrowPicture12(result, s.depth);
}

cv::Mat To8Bit(const cv::Mat& picture) {
    if (picture.depth() == CV_8U) return picture;
    cv::Mat narrow;
    picture.convertTo(narrow, CV_8U, 1.0 / 257.0);
    return narrow;
}

// A picture under a label band, scaled to the tile width.
cv::Mat Tile(const cv::Mat& picture, const std::string& label, int tile_width) {
    cv::Mat scaled;
    const int height = std::max(1, picture.rows * tile_width / std::max(1, picture.cols));
    cv::resize(To8Bit(picture), scaled, cv::Size(tile_width, height), 0, 0,
               tile_width < picture.cols ? cv::INTER_AREA : cv::INTER_NEAREST);
    cv::Mat tile;
    cv::vconcat(LabelBand({label}, {tile_width}, 0), scaled, tile);
    return tile;
}

// The input and the results in a grid of four columns, under a title naming the viewing condition.
cv::Mat ContactSheet(const std::vector<cv::Mat>& tiles, const std::string& title) {
    const int columns = 4, gap = 6;
    const int rows = (static_cast<int>(tiles.size()) + columns - 1) / columns;
    const int tile_w = tiles[0].cols, tile_h = tiles[0].rows;
    const int width = columns * (tile_w + gap) + gap;
    const cv::Mat band = LabelBand({title}, {width}, 0);
    cv::Mat sheet(band.rows + rows * (tile_h + gap) + gap, width, CV_8UC3, cv::Scalar(20, 20, 20));
    band.copyTo(sheet(cv::Rect(0, 0, width, band.rows)));
    for (size_t i = 0; i < tiles.size(); ++i) {
        const int x = gap + static_cast<int>(i % columns) * (tile_w + gap);
        const int y = band.rows + gap + static_cast<int>(i / columns) * (tile_h + gap);
        tiles[i].copyTo(sheet(cv::Rect(x, y, tile_w, tile_h)));
    }
    return sheet;
}

std::string Lux(float lux) {
    std::ostringstream text;
    text << lux;
    return text.str();
}

int RunAll(const Options& options, const std::string& input_path, const std::string& out_dir) {
    Setup s = Prepare(options, input_path);
    std::error_code error;
    std::filesystem::create_directories(out_dir, error);
    if (error) throw RunError("cannot create folder '" + out_dir + "': " + error.message());
    const int tile_width = std::clamp(s.input8.cols, 160, 480);
    std::vector<cv::Mat> tiles = {Tile(s.input8, "input", tile_width)};
    for (const Variant& v : Variants()) {
        const cv::Mat picture = RunVariant(v, s);
        WritePicture((std::filesystem::path(out_dir) / (std::string(v.name) + ".png")).string(), picture);
        tiles.push_back(Tile(picture, v.label, tile_width));
    }
    const std::string sheet_path = (std::filesystem::path(out_dir) / "contact_sheet.png").string();
    const std::string title = std::filesystem::path(input_path).filename().string() + ", " + Lux(s.view.blackLevelSrc) +
                              " \u2192 " + Lux(s.view.blackLevelDst) + " lux";
    WritePicture(sheet_path, ContactSheet(tiles, title));
    Inform("alad offline: %s (%dx%d) -> %s: %zu variants and contact_sheet.png, %g -> %g lux\n",
                input_path.c_str(), s.input12.cols, s.input12.rows, out_dir.c_str(), Variants().size(),
                s.view.blackLevelSrc, s.view.blackLevelDst);
    return 0;
}

}  // namespace

int RunOffline(int argc, char** argv) {
    const Options options(argc, argv, {"src", "dst", "level"}, {"stats", "verbose"});
    if (options.Positional().size() != 3) throw UsageError("needs VARIANT INPUT OUTPUT (or all INPUT OUTDIR)");
    const std::string variant = options.Positional()[0];
    const std::string input_path = options.Positional()[1], output_path = options.Positional()[2];
    const Variant* chosen = variant == "all" ? nullptr : &FindVariant(variant);
    if (chosen != nullptr && chosen->family != nullptr && options.Has("stats")) {
        throw UsageError("--stats is for the 12-bit variants (deep, ltm-agtm, agtm-ltm)");
    }
    if (std::FILE* probe = std::fopen(input_path.c_str(), "rb")) {
        std::fclose(probe);
    } else {
        throw RunError("cannot read '" + input_path + "': no such file or no permission");
    }
    if (chosen == nullptr) return RunAll(options, input_path, output_path);

    Setup s = Prepare(options, input_path);
    WritePicture(output_path, RunVariant(*chosen, s));
    Inform("alad offline: %s (%dx%d) -> %s, variant %s, %g -> %g lux\n", input_path.c_str(), s.input12.cols,
                s.input12.rows, output_path.c_str(), chosen->name, s.view.blackLevelSrc, s.view.blackLevelDst);
    return 0;
}

}  // namespace alad_tool
