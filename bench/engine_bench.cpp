// Whole frames through the engine entry point, debug store included.
#include <benchmark/benchmark.h>

#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

#include "alad/alad_engine.h"
#include "bench/bench_frames.h"

namespace {

// The engine's per-frame log lines go to /dev/null while the benchmark runs (they are still
// formatted and written, as on a device).
class StdoutToNull {
public:
    StdoutToNull() {
        std::fflush(stdout);
        saved_ = dup(STDOUT_FILENO);
        const int null_fd = open("/dev/null", O_WRONLY);
        if (null_fd >= 0) {
            dup2(null_fd, STDOUT_FILENO);
            close(null_fd);
        }
    }
    ~StdoutToNull() {
        std::fflush(stdout);
        if (saved_ >= 0) {
            dup2(saved_, STDOUT_FILENO);
            close(saved_);
        }
    }

private:
    int saved_ = -1;
};

void BM_EngineFrame(benchmark::State& state) {
    const int width = static_cast<int>(state.range(0)), height = static_cast<int>(state.range(1));
    const cv::Mat frame = alad_bench::MakeFrame12(width, height);
    kelvo::ad_user_t_ user;
    user.width = static_cast<uint32_t>(width);
    user.height = static_cast<uint32_t>(height);
    user.blk_width = user.blk_height = 128;
    user.tm_mode = static_cast<uint32_t>(state.range(2));
    kelvo::alad_view_condition_ view;
    view.blackLevelSrc = 300.0f;
    view.blackLevelDst = 20000.0f;
    StdoutToNull quiet;
    kelvo::InitEngineALAD(user, kelvo::alad_display_model_(), view);
    cv::Mat out;
    kelvo::RunOneFrameALAD(frame, out);  // past the first frame of the sequence
    for (auto _ : state) {
        kelvo::RunOneFrameALAD(frame, out);
        benchmark::DoNotOptimize(out.data);
    }
}

}  // namespace

BENCHMARK(BM_EngineFrame)->Name("engine/order1/1080x2400")->Args({1080, 2400, 1})->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_EngineFrame)->Name("engine/order1/720x1650")->Args({720, 1650, 1})->Unit(benchmark::kMillisecond)->UseRealTime();
