// alad process: a picture or a video through the whole engine.
#include <cstdio>
#include <string>
#include <vector>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/videoio.hpp>

#include "alad/alad_engine.h"
#include "alad/alad_driver.h"
#include "tools/commands.h"
#include "tools/tool_common.h"

namespace alad_tool {

const char kProcessHelp[] =
    "usage: alad process [options] INPUT OUTPUT\n"
    "\n"
    "Runs a picture or a video through the engine: the local stage (CLTM) and the global ambient\n"
    "stage (AGTM) in the chosen order. Pictures may be 8- or 16-bit (PNG, JPEG, TIFF, ...) and keep\n"
    "their depth; videos are anything OpenCV can read, written frame by frame through the video\n"
    "engine (.avi as MJPEG, .mp4 as MPEG-4), with a progress bar on standard error.\n"
    "\n"
    "A still picture is run twice and the second result kept: the local stage passes the first frame\n"
    "of a sequence through unchanged and maps every later frame with the curves of the frame before,\n"
    "so the second pass shows the picture mapped with its own curves.\n"
    "\n"
    "  --order N           1 CLTM then AGTM (default), 2 AGTM then CLTM, 3 CLTM only, 4 AGTM only\n"
    "  --src LUX           ambient light the input was made for (default 300)\n"
    "  --dst LUX           ambient light it will be seen under (default 300)\n"
    "  --level N           instead of --src/--dst: the driver's ambient level 0..39 (300 lux ->\n"
    "                      the level's lux; 'alad levels' lists them)\n"
    "  --block N           CLTM block size in pixels, rounded up to 64, 128 or 256 (default 256)\n"
    "  --strength N        CLTM strength 0..16 (default 8)\n"
    "  --curve-id N        CLTM histogram clip curve 0..2 (default 1)\n"
    "  --filter            switch the CLTM detail filter on\n"
    "  --gamma G --white W --black B --reflectance R --backlight L\n"
    "                      the display (defaults 2.2, 500 cd/m2, 0.2 cd/m2, 0.01, 1.0)\n"
    "  --side-by-side FILE for a picture, also write input | output in one picture\n"
    "  --argb              run a picture the way a display driver does: as an ARGB8888 buffer\n"
    "                      processed in place (8-bit; no --filter, which the driver record lacks)\n"
    "  --verbose           show the engine's own log lines\n";

namespace {

struct EngineSettings {
    kelvo::ad_user_t_ user;
    kelvo::alad_display_model_ display;
    kelvo::alad_view_condition_ view;
    bool verbose = false;
};

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

void StartEngine(EngineSettings& s, int width, int height) {
    s.user.width = static_cast<uint32_t>(width);
    s.user.height = static_cast<uint32_t>(height);
    EngineLines quiet(VerboseOr(s.verbose));
    if (kelvo::InitEngineALAD(s.user, s.display, s.view) != 0) throw RunError("the engine could not be started");
}

cv::Mat RunFrame(const EngineSettings& s, const cv::Mat& frame12) {
    cv::Mat out;
    EngineLines quiet(VerboseOr(s.verbose));
    if (kelvo::RunOneFrameALAD(frame12, out) != 0) throw RunError("the engine refused a frame");
    return out;
}

const char* OrderName(uint32_t order) {
    static const char* names[] = {"", "CLTM + AGTM", "AGTM + CLTM", "CLTM", "AGTM"};
    return names[order];
}

int ProcessPicture(EngineSettings& s, const Options& options, const std::string& input_path,
                   const std::string& output_path) {
    int depth = 0;
    const cv::Mat input = ReadPicture12(input_path, &depth);
    StartEngine(s, input.cols, input.rows);
    RunFrame(s, input);  // primes the local stage with the picture's own curves
    const cv::Mat output = RunFrame(s, input);
    const cv::Mat picture = NarrowPicture12(output, depth);
    WritePicture(output_path, picture);
    std::printf("alad process: %s (%dx%d) -> %s, order %u (%s), %g -> %g lux\n", input_path.c_str(), input.cols,
                input.rows, output_path.c_str(), s.user.tm_mode, OrderName(s.user.tm_mode), s.view.blackLevelSrc,
                s.view.blackLevelDst);
    if (options.Has("side-by-side")) {
        const std::string path = options.String("side-by-side", "");
        WritePicture(path, SideBySide(NarrowPicture12(input, depth), picture));
        std::printf("alad process: input | output written to %s\n", path.c_str());
    }
    return 0;
}

// The driver's own path: the picture as an ARGB8888 buffer, the engine started and configured
// through the driver's entry points, the buffer processed in place (twice, to prime the local
// stage).
int ProcessPictureAsDriver(EngineSettings& s, const Options& options, const std::string& input_path,
                           const std::string& output_path) {
    if (s.user.filter_flag) throw UsageError("--filter cannot be set through the driver's record (--argb)");
    int depth = 0;
    cv::Mat bgr = NarrowPicture12(ReadPicture12(input_path, &depth), CV_8U);
    cv::Mat argb;
    imageBGR2ARGB_8888(bgr, argb);
    std::vector<unsigned char> buffer(argb.data, argb.data + argb.total() * 4);
    _image image{bgr.cols, bgr.rows, 4, buffer.data()};
    {
        EngineLines quiet(VerboseOr(s.verbose));
        ad_user_t_driver_ user;
        alad_display_model_driver_ display;
        const alad_view_condition_driver_ view = {s.view.blackLevelSrc, s.view.blackLevelDst};
        InitEngineALADforDriver(&user, &display, &view);
        user.blk_width = user.blk_height = static_cast<int32_t>(s.user.blk_width);
        user.curve_id = s.user.curve_id;
        user.strength = s.user.strength;
        user.tm_mode = static_cast<int32_t>(s.user.tm_mode);
        user.width = bgr.cols;
        user.height = bgr.rows;
        UpdateCLTMParameterForDriver(&user);
        display = alad_display_model_driver_{s.display.gamma, s.display.white, s.display.black, s.display.backlight,
                                             s.display.reflectance};
        UpdateDisplayPanelParameterForDriver(&display);
        std::vector<unsigned char> first_pass = buffer;
        _image primer{bgr.cols, bgr.rows, 4, first_pass.data()};
        RunOneFrameBufferALADforDriver(primer);
        RunOneFrameBufferALADforDriver(image);
    }
    cv::Mat processed(bgr.rows, bgr.cols, CV_8UC4, buffer.data()), rgb, alpha, out;
    imageMatARGB2RGB(processed, rgb, alpha);
    cv::cvtColor(rgb, out, cv::COLOR_RGB2BGR);
    WritePicture(output_path, out);
    std::printf("alad process: %s (%dx%d) -> %s as an ARGB8888 driver buffer, order %u (%s), %g -> %g lux\n",
                input_path.c_str(), bgr.cols, bgr.rows, output_path.c_str(), s.user.tm_mode, OrderName(s.user.tm_mode),
                s.view.blackLevelSrc, s.view.blackLevelDst);
    if (options.Has("side-by-side")) {
        const std::string path = options.String("side-by-side", "");
        WritePicture(path, SideBySide(bgr, out));
        std::printf("alad process: input | output written to %s\n", path.c_str());
    }
    return 0;
}

int FourccFor(const std::string& path) {
    const size_t dot = path.rfind('.');
    const std::string ext = dot == std::string::npos ? "" : path.substr(dot + 1);
    if (ext == "mp4" || ext == "m4v" || ext == "mov") return cv::VideoWriter::fourcc('m', 'p', '4', 'v');
    return cv::VideoWriter::fourcc('M', 'J', 'P', 'G');
}

void ShowProgress(long done, long total) {
    const int width = 40;
    if (total > 0) {
        const int filled = static_cast<int>(width * done / total);
        std::fprintf(stderr, "\r[%s%s] %ld/%ld frames", std::string(filled, '#').c_str(),
                     std::string(width - filled, ' ').c_str(), done, total);
    } else {
        std::fprintf(stderr, "\r%ld frames", done);
    }
    std::fflush(stderr);
}

int ProcessVideo(EngineSettings& s, const Options& options, const std::string& input_path,
                 const std::string& output_path) {
    if (options.Has("side-by-side")) throw UsageError("--side-by-side is for pictures");
    cv::VideoCapture capture(input_path);
    if (!capture.isOpened()) throw RunError("cannot read '" + input_path + "' as a picture or a video");
    const int width = static_cast<int>(capture.get(cv::CAP_PROP_FRAME_WIDTH));
    const int height = static_cast<int>(capture.get(cv::CAP_PROP_FRAME_HEIGHT));
    double fps = capture.get(cv::CAP_PROP_FPS);
    if (!(fps > 0.0)) fps = 25.0;
    const long total = static_cast<long>(capture.get(cv::CAP_PROP_FRAME_COUNT));
    cv::VideoWriter writer(output_path, FourccFor(output_path), fps, cv::Size(width, height));
    if (!writer.isOpened()) throw RunError("cannot write video '" + output_path + "'");

    StartEngine(s, width, height);
    long frames = 0;
    cv::Mat frame8, frame12, out8;
    while (capture.read(frame8)) {
        if (frame8.type() != CV_8UC3 || frame8.cols != width || frame8.rows != height) {
            throw RunError("frame " + std::to_string(frames) + " of '" + input_path + "' is not " +
                           std::to_string(width) + "x" + std::to_string(height) + " 8-bit colour");
        }
        transform8To12(frame8, frame12);
        RunFrame(s, frame12).convertTo(out8, CV_8UC3, 0.0625);
        writer.write(out8);
        ShowProgress(++frames, total);
    }
    std::fprintf(stderr, "\n");
    if (frames == 0) throw RunError("'" + input_path + "' has no frames");
    std::printf("alad process: %s (%dx%d, %ld frames) -> %s, order %u (%s), %g -> %g lux\n", input_path.c_str(),
                width, height, frames, output_path.c_str(), s.user.tm_mode, OrderName(s.user.tm_mode),
                s.view.blackLevelSrc, s.view.blackLevelDst);
    return 0;
}

}  // namespace

int RunProcess(int argc, char** argv) {
    std::vector<std::string> valued = {"order", "src", "dst", "level", "block", "strength", "curve-id", "side-by-side"};
    valued.insert(valued.end(), DisplayOptionNames().begin(), DisplayOptionNames().end());
    const Options options(argc, argv, valued, {"filter", "verbose", "argb"});
    if (options.Positional().size() != 2) throw UsageError("needs INPUT and OUTPUT");
    const std::string input_path = options.Positional()[0], output_path = options.Positional()[1];
    EngineSettings settings = SettingsFromOptions(options);
    if (std::FILE* probe = std::fopen(input_path.c_str(), "rb")) {
        std::fclose(probe);
    } else {
        throw RunError("cannot read '" + input_path + "': no such file or no permission");
    }
    // A picture by its content, or by its name (a damaged picture is reported as one, not tried as
    // a video).
    const bool picture = cv::haveImageReader(input_path) || cv::haveImageWriter(input_path);
    if (options.Has("argb")) {
        if (!picture) throw UsageError("--argb is for pictures");
        return ProcessPictureAsDriver(settings, options, input_path, output_path);
    }
    if (picture) return ProcessPicture(settings, options, input_path, output_path);
    return ProcessVideo(settings, options, input_path, output_path);
}

}  // namespace alad_tool
