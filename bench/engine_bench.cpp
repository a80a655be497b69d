// Whole frames through the engine entry point, debug store included.
#include <benchmark/benchmark.h>

#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

#include "alad/alad_engine.h"
#include "bench/bench_frames.h"
#include "common/debug_store.h"

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
    alad_bench::EngineThreads threads(static_cast<int>(state.range(3)));
    kelvo::InitEngineALAD(user, kelvo::alad_display_model_(), view);
    cv::Mat out;
    kelvo::RunOneFrameALAD(frame, out);  // past the first frame of the sequence
    for (auto _ : state) {
        kelvo::RunOneFrameALAD(frame, out);
        benchmark::DoNotOptimize(out.data);
    }
}

// What the debug store costs a frame on its own: the deep copies of the two stage results (into
// the buffers kept from the previous frame, as in steady operation).
void BM_DebugCopies(benchmark::State& state) {
    const cv::Mat cltm = alad_bench::MakeFrame12(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)), 2);
    const cv::Mat agtm = alad_bench::MakeFrame12(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)), 3);
    kelvo::alad_debug_output_* store = kelvo::alad_debug_output_::GetInstance();
    for (auto _ : state) {
        store->SetADCLTMResultData(cltm);
        store->SetADAGTMResultData(agtm);
        benchmark::DoNotOptimize(store->GetAGTMResultData().data);
    }
}

}  // namespace

BENCHMARK(BM_DebugCopies)->Name("engine/debug_copies/1080x2400")->Args({1080, 2400})->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_EngineFrame)->Name("engine/order1/1080x2400")->Args({1080, 2400, 1, 1})->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_EngineFrame)->Name("engine/order1/threads2/1080x2400")->Args({1080, 2400, 1, 2})->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_EngineFrame)->Name("engine/order1/720x1650")->Args({720, 1650, 1, 1})->Unit(benchmark::kMillisecond)->UseRealTime();
