// alad vector: a test vector for 'alad verify' from any picture: its packed 12-bit pixel file and
// the register file of the engine's default configuration for that picture.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "alad/alad_driver.h"
#include "alad/alad_engine.h"
#include "alad/alad_verify.h"
#include "tools/commands.h"
#include "tools/tool_common.h"

namespace alad_tool {

const char kVectorHelp[] =
    "usage: alad vector [options] INPUT OUTDIR\n"
    "\n"
    "Makes a test vector for 'alad verify' from a picture:\n"
    "  OUTDIR/image.txt   the picture as packed 12-bit pixels, one RRRGGGBBB hexadecimal pixel per\n"
    "                     line, rows top to bottom\n"
    "  OUTDIR/regs.txt    the registers the engine uses by default for a picture of that size (order\n"
    "                     1, blocks 256x256, strength 8, the AGTM table of the viewing condition):\n"
    "                     all thirteen registers and every entry of both tables\n"
    "INPUT is a picture (PNG, JPEG, TIFF, ...; 8- or 16-bit, widened to 12 bits) or, with --yuv, a\n"
    "raw planar 10-bit little-endian YUV 4:2:0 frame (widened to 12 bits).\n"
    "\n"
    "  --src LUX    ambient light the picture was made for (default 300)\n"
    "  --dst LUX    ambient light it will be seen under (default 300)\n"
    "  --level N    instead of --src/--dst: the driver's ambient level 0..39 (300 lux -> its lux)\n"
    "  --yuv WxH    INPUT is a 10-bit YUV 4:2:0 frame of this size\n"
    "  --verbose    show the engine's own log lines\n"
    "\n"
    "Then: alad verify OUTDIR/regs.txt RUNDIR OUTDIR/image.txt [OUTDIR/image.txt ...]\n";

namespace {

// "WxH", both at least 1.
cv::Size ParseSize(const std::string& text) {
    int width = 0, height = 0;
    char x = 0, rest = 0;
    if (std::sscanf(text.c_str(), "%d%c%d%c", &width, &x, &height, &rest) != 3 || x != 'x' || width < 1 ||
        height < 1) {
        throw UsageError("option --yuv needs WIDTHxHEIGHT, got '" + text + "'");
    }
    return cv::Size(width, height);
}

cv::Mat ReadInput(const std::string& path, const Options& options) {
    if (!options.Has("yuv")) return ReadPicture12(path, nullptr);
    const cv::Size size = ParseSize(options.String("yuv", ""));
    cv::Mat bgr10, bgr12;
    yuv10BitLE2BGR(path, size.width, size.height, bgr10);
    if (bgr10.empty()) {
        throw RunError("cannot read '" + path + "' as a " + std::to_string(size.width) + "x" +
                       std::to_string(size.height) + " 10-bit YUV 4:2:0 frame");
    }
    transform10To12(bgr10, bgr12);
    return bgr12;
}

// Every key the register file reader knows, tables in their fixed-position key forms.
void WriteRegisterFile(const std::string& path, const kelvo::alad_verification_registrator& r) {
    std::ofstream file(path);
    const struct {
        const char* key;
        int32_t value;
    } scalars[] = {
        {"tm_mode", r.reg_tm_mode},
        {"width", r.width},
        {"height", r.height},
        {"blk_width_b", r.reg_blk_width_b},
        {"blk_height_b", r.reg_blk_height_b},
        {"hist_mode", r.reg_hist_mode},
        {"curve_transition", r.reg_curve_transition},
        {"linear_adj_offset", r.reg_linear_adj_offset},
        {"linear_adj_ratio", r.reg_linear_adj_ratio},
        {"strength_mode", r.reg_strength_mode},
        {"strength_target", r.reg_strength_target},
        {"strength_step", r.reg_strength_step},
        {"strength_interval", r.reg_strength_interval},
    };
    for (const auto& s : scalars) file << s.key << '=' << s.value << '\n';
    char key[32];
    for (int i = 0; i < ALAD_HIST_ADJUST_CURVE_SIZE; ++i) {
        std::snprintf(key, sizeof(key), "hist_adj_curv_%02d", i);  // index at characters 15-16
        file << key << '=' << static_cast<int32_t>(r.hist_adjust_curve[i]) << '\n';
    }
    for (int i = 0; i < ALAD_AGTM_LUT_SIZE; ++i) {
        std::snprintf(key, sizeof(key), "agtm_entry%03d", i);  // index at characters 11-13
        file << key << '=' << r.agtm[i] << '\n';
    }
    file.close();
    if (!file) throw RunError("cannot write '" + path + "'");
}

}  // namespace

int RunVector(int argc, char** argv) {
    const Options options(argc, argv, {"src", "dst", "level", "yuv"}, {"verbose"});
    const std::vector<std::string>& args = options.Positional();
    if (args.size() != 2) throw UsageError("needs INPUT and OUTDIR");
    const bool verbose = options.Has("verbose");
    const kelvo::alad_view_condition_ view = ViewFromOptions(options);
    const cv::Mat image = ReadInput(args[0], options);

    const std::filesystem::path out_dir = args[1];
    std::error_code error;
    std::filesystem::create_directories(out_dir, error);
    if (error) throw RunError("cannot create folder '" + out_dir.string() + "': " + error.message());
    const std::string image_path = (out_dir / "image.txt").string();
    const std::string regs_path = (out_dir / "regs.txt").string();

    std::vector<uint32_t> curve(ALAD_HIST_ADJUST_CURVE_SIZE);
    std::vector<int32_t> table(ALAD_AGTM_LUT_SIZE);
    kelvo::alad_verification_registrator regs;
    regs.hist_adjust_curve = curve.data();
    regs.agtm = table.data();
    {
        EngineLines quiet(VerboseOr(verbose));
        kelvo::ad_user_t_ user;
        user.width = static_cast<uint32_t>(image.cols);
        user.height = static_cast<uint32_t>(image.rows);
        user.tm_mode = 1;
        if (kelvo::InitEngineALAD(user, kelvo::alad_display_model_(), view) != 0 ||
            kelvo::ALADRegistratorsInfoForDriverDraftEngine(regs) != 0) {
            throw RunError("the engine could not be started");
        }
        if (WriteImageDump(image_path, image) != 0) throw RunError("cannot write '" + image_path + "'");
    }
    WriteRegisterFile(regs_path, regs);
    std::printf("alad vector: %s (%dx%d) -> %s, %s (order %d, %g -> %g lux)\n", args[0].c_str(), image.cols,
                image.rows, image_path.c_str(), regs_path.c_str(), regs.reg_tm_mode, view.blackLevelSrc,
                view.blackLevelDst);
    return 0;
}

}  // namespace alad_tool
