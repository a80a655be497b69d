// alad vector: a test vector for 'alad verify' and 'alad regress' from pictures, a video or a YUV
// frame: its packed 12-bit pixel files, the register file of the engine's configuration for them,
// and on request the dumps this build makes of it.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/videoio.hpp>

#include "alad/alad_driver.h"
#include "alad/alad_engine.h"
#include "alad/alad_verify.h"
#include "pipeline/register_table.h"
#include "tools/commands.h"
#include "tools/file_checks.h"
#include "tools/tool_common.h"
#include "tools/verify_run.h"
#include "verify/file_check.h"
#include "verify/readers.h"

namespace alad_tool {

const char kVectorHelp[] =
    "usage: alad vector [options] INPUT... OUTDIR\n"
    "\n"
    "Makes a test vector from pictures, a video or a YUV frame, in the layout 'alad regress' runs:\n"
    "  OUTDIR/regs.txt         the registers the engine uses for frames of that size with the options\n"
    "                          below (order, block size, strength, the AGTM table of the viewing\n"
    "                          condition): all thirteen registers and every entry of both tables\n"
    "  OUTDIR/image.txt        the frame as packed 12-bit pixels, one RRRGGGBBB hexadecimal pixel per\n"
    "                          line, rows top to bottom; with --frames N (N > 1) image-000.txt to\n"
    "                          image-<N-1>.txt, one per frame\n"
    "  OUTDIR/expected/        with --expect: the dumps this build makes of the vector, as 'alad\n"
    "                          verify' writes them (frame-NNN/, run.json), which makes the folder a\n"
    "                          self-contained regression vector\n"
    "\n"
    "Each INPUT is a picture (PNG, JPEG, TIFF, ...; 8- or 16-bit, widened to 12 bits), a video\n"
    "(anything OpenCV reads; its frames in order) or, with --yuv, a raw planar 10-bit little-endian YUV\n"
    "4:2:0 frame. The frames are taken in the order given; all must have one size. Both files are\n"
    "checked as 'alad check' does before the command ends: a frame size the hardware cannot take\n"
    "(more than 5 blocks across or 10 down) or any other error fails it, and the register file is\n"
    "then not written.\n"
    "\n"
    "  --order N      stage order 1..6 (1 CLTM then AGTM, 2 AGTM then CLTM, 3 CLTM, 4 AGTM, 5 and 6\n"
    "                 pass the frame through; default 1)\n"
    "  --block N      CLTM block size 64, 128 or 256 pixels, or WxH for two sizes (default 256)\n"
    "  --strength N   CLTM strength 0..16 (default 8; the register strength_target is 16 N, at most\n"
    "                 255)\n"
    "  --frames N     N frames (1..1000): the first N of the inputs' frames, or a single picture N\n"
    "                 times (default: one per picture, or 1 for a video)\n"
    "  --expect       also write OUTDIR/expected\n"
    "  --force        OUTDIR may hold an earlier vector (only regs.txt, image*.txt and expected/,\n"
    "                 which are replaced)\n"
    "  --src LUX      ambient light the frames were made for (default 300)\n"
    "  --dst LUX      ambient light they will be seen under (default 300)\n"
    "  --level N      instead of --src/--dst: the driver's ambient level 0..39 (300 lux -> its lux)\n"
    "  --yuv WxH      the INPUTs are 10-bit YUV 4:2:0 frames of this size\n"
    "  --verbose      show the engine's own log lines\n"
    "\n"
    "Then: alad verify OUTDIR/regs.txt RUNDIR OUTDIR/image.txt, or alad regress over a folder of\n"
    "vectors.\n";

namespace {

namespace fs = std::filesystem;

constexpr int kMaxFrames = 1000;

// The frames the inputs hold, read as far as they are needed.
class FrameSource {
public:
    // `whole_videos`: every frame of a video, else its first only.
    FrameSource(const std::vector<std::string>& inputs, const Options& options, bool whole_videos)
        : options_(options), inputs_(inputs), whole_videos_(whole_videos) {}

    // The next frame of the inputs, empty after the last.
    cv::Mat Next() {
        while (next_input_ < inputs_.size()) {
            const std::string& path = inputs_[next_input_];
            if (options_.Has("yuv")) {
                ++next_input_;
                ++stills_;
                return ReadYuv(path);
            }
            if (!video_.isOpened() && cv::haveImageReader(path)) {
                ++next_input_;
                ++stills_;
                return ReadPicture12(path, nullptr);
            }
            if (!video_.isOpened() && !video_.open(path, cv::CAP_FFMPEG)) {
                throw RunError("cannot read '" + path + "' as a picture or a video");
            }
            cv::Mat frame, frame12;
            if (video_.read(frame) && !frame.empty()) {
                if (frame.type() != CV_8UC3) throw RunError("video '" + path + "' does not hold 8-bit colour frames");
                transform8To12(frame, frame12);
                if (!whole_videos_) {
                    video_.release();
                    ++next_input_;
                }
                return frame12;
            }
            video_.release();
            ++next_input_;
        }
        return cv::Mat();
    }
    // Whether the inputs are one still picture (which --frames repeats).
    bool OneStill() const { return inputs_.size() == 1 && stills_ == 1; }

private:
    cv::Mat ReadYuv(const std::string& path) const {
        int width = 0, height = 0;
        ParseFrameSize(options_.String("yuv", ""), "--yuv", &width, &height);
        cv::Mat bgr10, bgr12;
        yuv10BitLE2BGR(path, width, height, bgr10);
        if (bgr10.empty()) {
            throw RunError("cannot read '" + path + "' as a " + std::to_string(width) + "x" + std::to_string(height) +
                           " 10-bit YUV 4:2:0 frame");
        }
        transform10To12(bgr10, bgr12);
        return bgr12;
    }

    const Options& options_;
    std::vector<std::string> inputs_;
    bool whole_videos_;
    size_t next_input_ = 0;
    int stills_ = 0;
    cv::VideoCapture video_;
};

std::vector<cv::Mat> ReadFrames(const std::vector<std::string>& inputs, const Options& options) {
    const bool counted = options.Has("frames");
    const long wanted = options.Integer("frames", 0, 1, kMaxFrames);
    FrameSource source(inputs, options, counted);
    std::vector<cv::Mat> frames;
    for (cv::Mat frame; !counted || static_cast<long>(frames.size()) < wanted;) {
        frame = source.Next();
        if (frame.empty()) break;
        if (!frames.empty() && frame.size() != frames[0].size()) {
            throw RunError("frame " + std::to_string(frames.size()) + " is " + std::to_string(frame.cols) + "x" +
                           std::to_string(frame.rows) + ", frame 0 " + std::to_string(frames[0].cols) + "x" +
                           std::to_string(frames[0].rows) + ": a vector's frames have one size");
        }
        frames.push_back(frame);
        if (static_cast<long>(frames.size()) > kMaxFrames) {
            throw UsageError("more than " + std::to_string(kMaxFrames) + " frames in the inputs");
        }
    }
    if (frames.empty()) throw RunError("no frame in the inputs");
    if (counted && static_cast<long>(frames.size()) < wanted) {
        if (!source.OneStill()) {
            throw RunError("--frames " + std::to_string(wanted) + ": the inputs hold only " +
                           std::to_string(frames.size()) + " frame" + (frames.size() == 1 ? "" : "s"));
        }
        frames.resize(static_cast<size_t>(wanted), frames[0]);
    }
    return frames;
}

// The block size from --block: N or WxH, each 64, 128 or 256.
void BlockSize(const Options& options, uint32_t* width, uint32_t* height) {
    const std::string text = options.String("block", "256");
    const size_t x = text.find('x');
    const std::string sides[2] = {text.substr(0, x), x == std::string::npos ? text : text.substr(x + 1)};
    uint32_t* out[2] = {width, height};
    for (int i = 0; i < 2; ++i) {
        if (sides[i] != "64" && sides[i] != "128" && sides[i] != "256") {
            throw UsageError("option --block needs 64, 128 or 256, or WxH of them, got '" + text + "'");
        }
        *out[i] = static_cast<uint32_t>(std::stoul(sides[i]));
    }
}

// What a vector folder may hold from an earlier vector.
bool IsVectorEntry(const fs::directory_entry& entry) {
    const std::string name = entry.path().filename().string();
    if (entry.is_directory()) return name == "expected";
    return entry.is_regular_file() && (name == "regs.txt" || (name.rfind("image", 0) == 0 && entry.path().extension() == ".txt"));
}

void PrepareVectorFolder(const fs::path& out, bool force) {
    std::error_code error;
    if (fs::exists(out, error) && !fs::is_directory(out, error)) {
        throw RunError("'" + out.string() + "' is not a folder");
    }
    std::vector<fs::path> old;
    for (const fs::directory_entry& entry : fs::directory_iterator(out, error)) {
        if (!force) throw RunError("'" + out.string() + "' is not empty; --force replaces an earlier vector");
        if (!IsVectorEntry(entry)) {
            throw RunError("'" + out.string() + "' holds '" + entry.path().filename().string() +
                           "', which is not from a vector; not replaced");
        }
        old.push_back(entry.path());
    }
    for (const fs::path& path : old) fs::remove_all(path, error);
    fs::create_directories(out, error);
    if (error) throw RunError("cannot create folder '" + out.string() + "': " + error.message());
}

}  // namespace

int RunVector(int argc, char** argv) {
    const Options options(argc, argv, {"src", "dst", "level", "yuv", "order", "block", "strength", "frames"},
                          {"verbose", "expect", "force"});
    const std::vector<std::string>& args = options.Positional();
    if (args.size() < 2) throw UsageError("needs INPUT and OUTDIR");
    const bool verbose = options.Has("verbose");
    const kelvo::alad_view_condition_ view = ViewFromOptions(options);
    kelvo::ad_user_t_ user;
    user.tm_mode = static_cast<uint32_t>(options.Integer("order", 1, 1, 6));
    BlockSize(options, &user.blk_width, &user.blk_height);
    user.strength = static_cast<int32_t>(options.Integer("strength", 8, 0, 16));
    const std::vector<cv::Mat> frames = ReadFrames(std::vector<std::string>(args.begin(), args.end() - 1), options);
    user.width = static_cast<uint32_t>(frames[0].cols);
    user.height = static_cast<uint32_t>(frames[0].rows);

    // The registers the engine derives, checked before anything is written.
    std::vector<uint32_t> curve(ALAD_HIST_ADJUST_CURVE_SIZE);
    std::vector<int32_t> table(ALAD_AGTM_LUT_SIZE);
    kelvo::alad_verification_registrator regs;
    regs.hist_adjust_curve = curve.data();
    regs.agtm = table.data();
    {
        EngineLines quiet(VerboseOr(verbose));
        if (kelvo::InitEngineALAD(user, kelvo::alad_display_model_(), view) != 0 ||
            kelvo::ALADRegistratorsInfoForDriverDraftEngine(regs) != 0) {
            throw RunError("the engine could not be started for " + std::to_string(user.width) + "x" +
                           std::to_string(user.height) + " frames");
        }
    }
    const fs::path out_dir = args.back();
    const std::string regs_path = (out_dir / "regs.txt").string();
    kelvo::alad_verification_registrator_ file_regs;
    kelvo::CopyRegisters(regs, file_regs);
    file_regs.hist_adjust_curve = regs.hist_adjust_curve;
    file_regs.agtm = regs.agtm;
    const std::string regs_text = alad::RegisterFileText(file_regs);
    const alad::CheckReport regs_report = alad::CheckRegisterText(regs_path, regs_text);
    PrintProblems(regs_report, false, stderr);
    if (regs_report.errors > 0) {
        throw RunError("the register file for these frames would not pass 'alad check'; nothing written");
    }

    PrepareVectorFolder(out_dir, options.Has("force"));
    std::vector<std::string> image_paths;
    for (size_t f = 0; f < frames.size(); ++f) {
        char name[32];
        std::snprintf(name, sizeof(name), frames.size() == 1 ? "image.txt" : "image-%03zu.txt", f);
        const std::string path = (out_dir / name).string();
        {
            EngineLines quiet(VerboseOr(verbose));
            if (WriteImageDump(path, frames[f]) != 0) throw RunError("cannot write '" + path + "'");
        }
        const alad::CheckReport report = alad::CheckPixelFile(path, frames[f].cols, frames[f].rows);
        PrintProblems(report, false, stderr);
        if (report.errors > 0) throw RunError("'" + path + "' would not pass 'alad check'");
        image_paths.push_back(path);
    }
    std::ofstream file(regs_path);
    file << regs_text;
    file.close();
    if (!file) throw RunError("cannot write '" + regs_path + "'");

    Inform("alad vector: %s (%dx%d) -> %s%s, %s (order %d, %g -> %g lux)\n", args[0].c_str(), frames[0].cols,
                frames[0].rows, image_paths[0].c_str(),
                image_paths.size() == 1 ? "" : (" .. " + fs::path(image_paths.back()).filename().string()).c_str(),
                regs_path.c_str(), regs.reg_tm_mode, view.blackLevelSrc, view.blackLevelDst);
    if (options.Has("expect")) {
        VerifyRequest request;
        request.register_file = regs_path;
        request.pixel_files = image_paths;
        request.out_dir = out_dir / "expected";
        request.verbose = verbose;
        request.quiet = true;
        request.command.assign(argv, argv + argc);
        request.command.insert(request.command.begin(), {"alad", "vector"});
        const VerifyResult result = RunVerification(request);
        if (result.failed > 0) {
            throw RunError("the expected dumps could not be made: " + std::to_string(result.failed) + " of " +
                           std::to_string(result.frames) + " frames failed (" + result.first_failure + ")");
        }
        Inform("alad vector: expected dumps of %d frame%s in %s\n", result.frames, result.frames == 1 ? "" : "s",
                    request.out_dir.c_str());
    }
    return 0;
}

}  // namespace alad_tool
