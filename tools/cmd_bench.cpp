// alad bench: how fast the engine runs frames of a given size, without building the benchmarks.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "alad/alad_driver.h"
#include "alad/alad_engine.h"
#include "tools/commands.h"
#include "tools/engine_run.h"
#include "tools/json.h"
#include "tools/tool_common.h"

namespace alad_tool {

const char kBenchHelp[] =
    "usage: alad bench [--size WxH] [--order N] [--argb] [--threads N] [--frames N] [--json]\n"
    "                  [engine options]\n"
    "\n"
    "Times the engine on a generated frame (gradients, edges and fine texture, the same every run)\n"
    "and prints the time per frame, the frames per second and the share of a 60, 90 and 120 Hz\n"
    "display's frame time the engine takes. The first frames, which the local stage passes through,\n"
    "are run before the clock starts.\n"
    "\n"
    "  --size WxH          frame size (default 1080x2400)\n"
    "  --argb              the display driver's path: an ARGB8888 buffer processed in place,\n"
    "                      including its conversions to and from the engine's 12-bit image\n"
    "  --threads N         let N threads share a frame's rows (default 1, the caller's thread)\n"
    "  --frames N          frames to time (default: as many as fit in about two seconds, 5..500)\n"
    "  --json              print the figures as JSON\n"
    "  -q, -v              print less, or also the engine's own lines\n" ALAD_ENGINE_OPTIONS_HELP;

namespace {

cv::Size ParseFrameSize(const std::string& text, const std::string& option) {
    int width = 0, height = 0;
    char x = 0, rest = 0;
    if (std::sscanf(text.c_str(), "%d%c%d%c", &width, &x, &height, &rest) != 3 || (x != 'x' && x != 'X') ||
        width < 2 || height < 2 || width > 8192 || height > 8192) {
        throw UsageError("option --" + option + " needs WIDTHxHEIGHT (2..8192 each), got '" + text + "'");
    }
    return cv::Size(width, height);
}

// A frame with what a phone shows: smooth gradients, hard edges and fine texture, 12-bit.
cv::Mat GeneratedFrame(cv::Size size) {
    cv::Mat frame(size, CV_32SC3);
    uint32_t noise = 12345u;
    for (int y = 0; y < size.height; ++y) {
        int32_t* row = frame.ptr<int32_t>(y);
        const double v = static_cast<double>(y) / size.height;
        for (int x = 0; x < size.width; ++x) {
            const double u = static_cast<double>(x) / size.width;
            noise = noise * 1664525u + 1013904223u;
            const int grain = static_cast<int>(noise >> 26) - 32;  // -32..31
            const bool box = ((x / 97) + (y / 131)) % 5 == 0;
            const double base = box ? 3600.0 : 4095.0 * (0.15 + 0.7 * v * v) * (0.6 + 0.4 * std::sin(6.0 * u));
            for (int c = 0; c < 3; ++c) {
                const double tint = 0.75 + 0.25 * std::cos(2.0 * u + 2.1 * c);
                row[3 * x + c] = std::min(4095, std::max(0, static_cast<int>(base * tint) + grain));
            }
        }
    }
    return frame;
}

}  // namespace

int RunBench(int argc, char** argv) {
    std::vector<std::string> valued = EngineOptionNames();
    valued.insert(valued.end(), {"size", "threads", "frames"});
    const Options options(argc, argv, valued, {"argb", "filter", "verbose", "json"});
    if (!options.Positional().empty()) throw UsageError("unexpected argument '" + options.Positional()[0] + "'");
    EngineSettings s = SettingsFromOptions(options);
    const cv::Size size = ParseFrameSize(options.String("size", "1080x2400"), "size");
    const int threads = static_cast<int>(options.Integer("threads", 1, 1, 64));
    const long fixed_frames = options.Integer("frames", 0, 1, 100000);
    const bool argb = options.Has("argb");
    const bool json = options.Has("json");

    const cv::Mat frame12 = GeneratedFrame(size);
    std::vector<unsigned char> pristine, buffer;
    if (argb) {
        cv::Mat bgr8, argb8;
        frame12.convertTo(bgr8, CV_8UC3, 1.0 / 16.0);
        imageBGR2ARGB_8888(bgr8, argb8);
        pristine.assign(argb8.data, argb8.data + argb8.total() * 4);
        buffer = pristine;
    }
    kelvo::SetEngineThreads(threads);
    if (argb) {
        StartDriverEngine(s, size.width, size.height);
    } else {
        StartEngine(s, size.width, size.height);
    }
    auto one_frame = [&](EngineClock* clock) {
        if (argb) {
            std::memcpy(buffer.data(), pristine.data(), buffer.size());  // the same picture every frame
            RunDriverFrame(s, buffer.data(), size.width, size.height, clock);
        } else {
            RunFrame(s, frame12, clock);
        }
    };
    // The local stage passes the first frame through; the second is the first one mapped.
    for (int i = 0; i < 2; ++i) one_frame(nullptr);
    EngineClock clock;
    const long min_frames = fixed_frames ? fixed_frames : 5, max_frames = fixed_frames ? fixed_frames : 500;
    while (clock.Frames() < static_cast<size_t>(min_frames) ||
           (clock.Frames() < static_cast<size_t>(max_frames) && clock.TotalSeconds() < 2.0)) {
        one_frame(&clock);
    }
    kelvo::SetEngineThreads(1);

    const double median_ms = 1000.0 * clock.MedianSeconds();
    const double fps = median_ms > 0.0 ? 1000.0 / median_ms : 0.0;
    const int rates[] = {60, 90, 120};
    const char* path = argb ? "ARGB8888 driver buffer" : "12-bit engine image";
    if (json) {
        JsonWriter out;
        out.BeginObject()
            .Member("width", size.width)
            .Member("height", size.height)
            .Member("order", static_cast<int>(s.user.tm_mode))
            .Member("path", argb ? "argb" : "engine")
            .Member("threads", threads)
            .Member("frames", static_cast<long long>(clock.Frames()))
            .Member("ms_per_frame", median_ms)
            .Member("ms_min", 1000.0 * clock.MinSeconds())
            .Member("ms_max", 1000.0 * clock.MaxSeconds())
            .Member("fps", fps)
            .Key("budget_share")
            .BeginObject();
        for (const int hz : rates) out.Member(std::to_string(hz) + "Hz", median_ms * hz / 1000.0);
        out.EndObject().EndObject();
        std::printf("%s", out.Text().c_str());
        return 0;
    }
    std::printf("alad bench: %dx%d, order %u (%s), %s, %d thread%s, %zu frames timed\n", size.width, size.height,
                s.user.tm_mode, OrderName(s.user.tm_mode), path, threads, threads == 1 ? "" : "s", clock.Frames());
    std::printf("  ms per frame       %8.2f   (median; fastest %.2f, slowest %.2f)\n", median_ms,
                1000.0 * clock.MinSeconds(), 1000.0 * clock.MaxSeconds());
    std::printf("  frames per second  %8.1f\n", fps);
    std::printf("  display    frame time   engine's share\n");
    for (const int hz : rates) {
        std::printf("  %3d Hz     %6.2f ms    %6.0f %%\n", hz, 1000.0 / hz, 100.0 * median_ms * hz / 1000.0);
    }
    return 0;
}

}  // namespace alad_tool
