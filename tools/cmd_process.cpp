// alad process: a picture, a picture sequence or a video through the whole engine.
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <opencv2/imgproc.hpp>

#include "alad/alad_driver.h"
#include "common/debug_store.h"
#include "tools/block_plots.h"
#include "tools/commands.h"
#include "tools/engine_run.h"
#include "tools/frames.h"
#include "tools/json.h"
#include "tools/plot.h"
#include "tools/tool_common.h"
#include "tools/viewing.h"

namespace alad_tool {

const char kProcessHelp[] =
    "usage: alad process [options] INPUT OUTPUT\n"
    "\n"
    "Runs a picture, a numbered picture sequence or a video through the engine: the local stage\n"
    "(CLTM) and the global ambient stage (AGTM) in the chosen order, and ends with the engine's time\n"
    "per frame (file reading and writing not counted).\n"
    "\n"
    "INPUT: a picture (8- or 16-bit PNG, TIFF, JPEG, ...), a numbered sequence (f%03d.png, from\n"
    "number 0..4 on), raw 10-bit YUV 4:2:0 with --yuv WxH (16-bit little-endian samples, the\n"
    "yuv420p10le layout), Y4M (8- or 10-bit 4:2:0, read at its depth), or a video OpenCV reads.\n"
    "OUTPUT: a picture (for a picture input only), a numbered sequence (lossless; 16-bit PNG from a\n"
    "10- or 16-bit input), .yuv (raw 10-bit 4:2:0), .y4m (10-bit 4:2:0), .mkv (FFV1, lossless,\n"
    "8-bit), .avi (MJPEG) or .mp4 (MPEG-4). 10-bit YUV is widened to the engine's 12 bits and\n"
    "written back at 10 bits, so .yuv and .y4m keep the 10 bits through the engine.\n"
    "\n"
    "A still picture is run twice and the second result kept: the local stage passes the first frame\n"
    "of a sequence through unchanged and maps every later frame with the curves of the frame before,\n"
    "so the second pass shows the picture mapped with its own curves.\n"
    "\n" ALAD_ENGINE_OPTIONS_HELP
    "  --yuv WxH           INPUT is raw 10-bit YUV 4:2:0 frames of this size (even width, height)\n"
    "  --side-by-side FILE for a picture, also write input | output in one picture, labelled\n"
    "  --plot-curves FILE  draw the local stage's block curves of the last frame over it (.png, .svg)\n"
    "  --plot-hist FILE    draw the local stage's block histograms of the last frame over it\n"
    "  --argb              run a picture the way a display driver does: as an ARGB8888 buffer\n"
    "                      processed in place (8-bit; no --filter, which the driver record lacks)\n"
    "  --json              print the summary as JSON (sizes, frames, engine time)\n"
    "  -q, -v              say less (no progress, no summary), or also show the engine's lines\n";

namespace {

struct Run {
    std::string input, output;
    std::string input_kind, output_kind;
    cv::Size size;
    long frames = 0;
    int bits = 8;
    bool argb = false;
    EngineClock clock;
    std::vector<std::string> warnings;
};

void ShowProgress(long done, long total) {
    const int width = 40;
    if (total > 0) {
        const int filled = static_cast<int>(width * std::min(done, total) / total);
        std::fprintf(stderr, "\r[%s%s] %ld/%ld frames", std::string(filled, '#').c_str(),
                     std::string(width - filled, ' ').c_str(), done, total);
    } else {
        std::fprintf(stderr, "\r%ld frames", done);
    }
    std::fflush(stderr);
}

void Summarise(const Run& run, const EngineSettings& s, bool json) {
    const double ms = 1000.0 * (run.clock.Frames() ? run.clock.TotalSeconds() / run.clock.Frames() : 0.0);
    const double fps = ms > 0.0 ? 1000.0 / ms : 0.0;
    if (json) {
        JsonWriter out;
        out.BeginObject()
            .Member("input", run.input)
            .Member("input_kind", run.input_kind)
            .Member("output", run.output)
            .Member("output_kind", run.output_kind)
            .Member("width", run.size.width)
            .Member("height", run.size.height)
            .Member("input_bits", run.bits)
            .Member("frames", static_cast<long long>(run.frames))
            .Member("order", static_cast<int>(s.user.tm_mode))
            .Member("src_lux", static_cast<double>(s.view.blackLevelSrc))
            .Member("dst_lux", static_cast<double>(s.view.blackLevelDst))
            .Member("path", run.argb ? "argb" : "engine")
            .Member("engine_frames", static_cast<long long>(run.clock.Frames()))
            .Member("engine_ms_per_frame", ms)
            .Member("engine_fps", fps)
            .Member("warnings", run.warnings)
            .EndObject();
        std::printf("%s", out.Text().c_str());
        return;
    }
    const std::string frames = run.frames == 1 ? "" : ", " + std::to_string(run.frames) + " frames";
    Inform("alad process: %s (%dx%d%s) -> %s%s, order %u (%s), %g -> %g lux\n", run.input.c_str(), run.size.width,
           run.size.height, frames.c_str(), run.output.c_str(), run.argb ? " as an ARGB8888 driver buffer" : "",
           s.user.tm_mode, OrderName(s.user.tm_mode), s.view.blackLevelSrc, s.view.blackLevelDst);
    Inform("alad process: engine %.2f ms per frame, %.1f frames per second (%zu engine runs; reading and writing "
           "files not counted)\n",
           ms, fps, run.clock.Frames());
}

// The extra pictures a run may write: input | output, and the block plots.
void WriteExtras(const Options& options, const EngineSettings& s, const Run& run, const cv::Mat& input8,
                 const cv::Mat& input_pixels, const cv::Mat& output_pixels) {
    if (options.Has("side-by-side")) {
        const std::string path = options.String("side-by-side", "");
        const std::string right = std::string("output: order ") + std::to_string(s.user.tm_mode) + " (" +
                                  OrderName(s.user.tm_mode) + "), " + LuxText(s.view.blackLevelSrc) + " \u2192 " +
                                  LuxText(s.view.blackLevelDst) + " lux";
        WritePicture(path, LabelledSideBySide(input_pixels, output_pixels, "input", right));
        Inform("alad process: input | output written to %s\n", path.c_str());
    }
    if (!options.Has("plot-curves") && !options.Has("plot-hist")) return;
    BlockPlotInfo info;
    info.source = run.input;
    info.settings = &s;
    // What the local stage saw: the input, or in order 2 the global stage's result.
    const cv::Mat& agtm = kelvo::alad_debug_output_::GetInstance()->GetAGTMResultData();
    info.picture = s.user.tm_mode == 2 && agtm.size() == input8.size() ? NarrowPicture12(agtm, CV_8U) : input8;
    if (options.Has("plot-curves")) {
        PlotBlockCurves(options.String("plot-curves", ""), info);
        Inform("alad process: block curves drawn in %s\n", options.String("plot-curves", "").c_str());
    }
    if (options.Has("plot-hist")) {
        PlotBlockHistograms(options.String("plot-hist", ""), info);
        Inform("alad process: block histograms drawn in %s\n", options.String("plot-hist", "").c_str());
    }
}

// The driver's own path: the picture as an ARGB8888 buffer, processed in place (twice, to prime
// the local stage).
void ProcessPictureAsDriver(EngineSettings& s, const Options& options, Run& run) {
    int depth = 0;
    cv::Mat bgr = NarrowPicture12(ReadPicture12(run.input, &depth), CV_8U);
    run.size = bgr.size();
    run.frames = 1;
    run.input_kind = "picture";
    run.output_kind = "picture";
    cv::Mat argb;
    imageBGR2ARGB_8888(bgr, argb);
    std::vector<unsigned char> buffer(argb.data, argb.data + argb.total() * 4);
    StartDriverEngine(s, bgr.cols, bgr.rows);
    std::vector<unsigned char> first_pass = buffer;
    RunDriverFrame(s, first_pass.data(), bgr.cols, bgr.rows, &run.clock);
    RunDriverFrame(s, buffer.data(), bgr.cols, bgr.rows, &run.clock);
    cv::Mat processed(bgr.rows, bgr.cols, CV_8UC4, buffer.data()), rgb, alpha, out;
    imageMatARGB2RGB(processed, rgb, alpha);
    cv::cvtColor(rgb, out, cv::COLOR_RGB2BGR);
    WritePicture(run.output, out);
    WriteExtras(options, s, run, bgr, bgr, out);
}

void ProcessFrames(EngineSettings& s, const Options& options, Run& run) {
    std::unique_ptr<FrameReader> reader = OpenFrames(run.input, options.String("yuv", ""));
    const FrameFormat& format = reader->Format();
    std::unique_ptr<FrameWriter> writer = CreateFrames(run.output, format);
    if (!format.still && writer->Still()) {
        throw UsageError("'" + run.input + "' is a " + format.kind + " and '" + run.output +
                         "' a single picture; write a numbered sequence (out%04d.png), .yuv, .y4m or a video");
    }
    if (!format.still && options.Has("side-by-side")) throw UsageError("--side-by-side is for pictures");
    run.size = format.size;
    run.bits = format.bits;
    run.input_kind = format.kind;
    run.output_kind = writer->Kind();
    StartEngine(s, format.size.width, format.size.height);
    const bool progress = !format.still && CurrentVerbosity() != Verbosity::kQuiet && ::isatty(2);
    cv::Mat frame12, output12;
    while (reader->Read(frame12)) {
        if (format.still) RunFrame(s, frame12, &run.clock);  // primes the local stage with the picture's own curves
        output12 = RunFrame(s, frame12, &run.clock);
        writer->Write(output12);
        ++run.frames;
        if (progress) ShowProgress(run.frames, format.expected);
    }
    if (progress) std::fprintf(stderr, "\n");
    writer->Finish();
    if (run.frames == 0) throw RunError("'" + run.input + "' has no frames");
    const std::string shortfall = reader->Shortfall(run.frames);
    if (!shortfall.empty()) {
        run.warnings.push_back(shortfall);
        Warn(shortfall);
    }
    if (options.Has("side-by-side") || options.Has("plot-curves") || options.Has("plot-hist")) {
        const bool sixteen = format.bits > 8;
        const cv::Mat input8 = NarrowPicture12(frame12, CV_8U);
        WriteExtras(options, s, run, input8, NarrowPicture12(frame12, sixteen ? CV_16U : CV_8U),
                    NarrowPicture12(output12, sixteen ? CV_16U : CV_8U));
    }
}

}  // namespace

int RunProcess(int argc, char** argv) {
    std::vector<std::string> valued = EngineOptionNames();
    valued.insert(valued.end(), {"side-by-side", "yuv", "plot-curves", "plot-hist"});
    const Options options(argc, argv, valued, {"filter", "verbose", "argb", "json"});
    if (options.Positional().size() != 2) throw UsageError("needs INPUT and OUTPUT");
    Run run;
    run.input = options.Positional()[0];
    run.output = options.Positional()[1];
    EngineSettings settings = SettingsFromOptions(options);
    for (const char* plot : {"plot-curves", "plot-hist"}) {
        if (!options.Has(plot)) continue;
        CheckPlotPath(options.String(plot, ""));
        if (settings.user.tm_mode == 4) throw UsageError(std::string("--") + plot + " needs the local stage (order 1, 2 or 3)");
    }
    if (options.Has("argb")) {
        if (options.Has("yuv") || IsNumberedPattern(run.input)) throw UsageError("--argb is for pictures");
        run.argb = true;
        std::unique_ptr<FrameReader> probe = OpenFrames(run.input, "");
        if (!probe->Format().still) throw UsageError("--argb is for pictures");
        ProcessPictureAsDriver(settings, options, run);
    } else {
        ProcessFrames(settings, options, run);
    }
    Summarise(run, settings, options.Has("json"));
    return 0;
}

}  // namespace alad_tool
