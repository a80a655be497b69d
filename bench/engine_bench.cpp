// Whole frames through the public entry points, as callers make them: RunOneFrameALAD with its
// destination kept from frame to frame, and a display driver's ARGB8888 buffer processed in place,
// with the debug store's images kept (the default) or not.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include "alad/alad_driver.h"
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

// The engine for a frame size and order: 128-pixel blocks, the default panel, 300 lux -> 20000.
void StartEngine(int width, int height, int order) {
    kelvo::ad_user_t_ user;
    user.width = static_cast<uint32_t>(width);
    user.height = static_cast<uint32_t>(height);
    user.blk_width = user.blk_height = 128;
    user.tm_mode = static_cast<uint32_t>(order);
    kelvo::alad_view_condition_ view;
    view.blackLevelSrc = 300.0f;
    view.blackLevelDst = 20000.0f;
    kelvo::InitEngineALAD(user, kelvo::alad_display_model_(), view);
}

// Args: width, height, order, threads.
void BM_EngineFrame(benchmark::State& state) {
    const int width = static_cast<int>(state.range(0)), height = static_cast<int>(state.range(1));
    const cv::Mat frame = alad_bench::MakeFrame12(width, height);
    StdoutToNull quiet;
    alad_bench::EngineThreads threads(static_cast<int>(state.range(3)));
    StartEngine(width, height, static_cast<int>(state.range(2)));
    cv::Mat out;
    kelvo::RunOneFrameALAD(frame, out);  // past the first frame of the sequence
    kelvo::RunOneFrameALAD(frame, out);
    const alad_bench::FaultCount faults;
    for (auto _ : state) {
        kelvo::RunOneFrameALAD(frame, out);
        benchmark::DoNotOptimize(out.data);
    }
    faults.Report(state);
}

// A driver's frame buffer in place. A display buffer comes fresh from the compositor each frame,
// not from the cache: the frames take turns among four buffers (more than the last-level cache
// holds), and the one used two frames later gets its pixels back while the clock is stopped.
// Args: width, height, order, threads, debug images.
void BM_DriverFrame(benchmark::State& state) {
    const int width = static_cast<int>(state.range(0)), height = static_cast<int>(state.range(1));
    const cv::Mat frame = alad_bench::MakeFrame12(width, height);
    std::vector<unsigned char> pixels(static_cast<size_t>(width) * height * 4);
    for (int y = 0; y < height; ++y) {
        const int32_t* row = frame.ptr<int32_t>(y);
        for (int x = 0; x < width; ++x) {
            unsigned char* px = pixels.data() + (static_cast<size_t>(y) * width + x) * 4;
            px[0] = static_cast<unsigned char>(255 - (x & 15));  // alpha, mostly opaque
            for (int c = 0; c < 3; ++c) px[1 + c] = static_cast<unsigned char>(row[3 * x + 2 - c] >> 4);  // R, G, B
        }
    }
    constexpr int kBuffers = 4;
    std::vector<std::vector<unsigned char>> buffers(kBuffers, pixels);
    StdoutToNull quiet;
    alad_bench::EngineThreads threads(static_cast<int>(state.range(3)));
    StartEngine(width, height, static_cast<int>(state.range(2)));
    SetEngineDebugImagesForDriver(static_cast<int>(state.range(4)));
    auto run = [&](int k) {
        _image image{width, height, 4, buffers[static_cast<size_t>(k % kBuffers)].data()};
        RunOneFrameBufferALADforDriver(&image);
    };
    run(0);  // past the first frame of the sequence
    run(1);
    std::memcpy(buffers[0].data(), pixels.data(), pixels.size());
    std::memcpy(buffers[1].data(), pixels.data(), pixels.size());
    const alad_bench::FaultCount faults;
    int k = 0;
    for (auto _ : state) {
        run(k);
        state.PauseTiming();
        std::memcpy(buffers[static_cast<size_t>((k + 2) % kBuffers)].data(), pixels.data(), pixels.size());
        ++k;
        state.ResumeTiming();
    }
    faults.Report(state);
    SetEngineDebugImagesForDriver(1);
}

// What the debug store costs a frame on its own when its images are copied: the deep copies of the
// two stage results (into the buffers kept from the previous frame, as in steady operation).
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
BENCHMARK(BM_EngineFrame)->Name("engine/order3/1080x2400")->Args({1080, 2400, 3, 1})->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_EngineFrame)->Name("engine/order4/1080x2400")->Args({1080, 2400, 4, 1})->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_EngineFrame)->Name("engine/order1/threads2/1080x2400")->Args({1080, 2400, 1, 2})->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_EngineFrame)->Name("engine/order1/720x1650")->Args({720, 1650, 1, 1})->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_DriverFrame)->Name("driver/order1/debug_on/1080x2400")->Args({1080, 2400, 1, 1, 1})->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_DriverFrame)->Name("driver/order3/debug_on/1080x2400")->Args({1080, 2400, 3, 1, 1})->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_DriverFrame)->Name("driver/order4/debug_on/1080x2400")->Args({1080, 2400, 4, 1, 1})->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_DriverFrame)->Name("driver/order1/debug_off/1080x2400")->Args({1080, 2400, 1, 1, 0})->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_DriverFrame)->Name("driver/order3/debug_off/1080x2400")->Args({1080, 2400, 3, 1, 0})->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_DriverFrame)->Name("driver/order4/debug_off/1080x2400")->Args({1080, 2400, 4, 1, 0})->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_DriverFrame)->Name("driver/order1/threads2/debug_off/1080x2400")->Args({1080, 2400, 1, 2, 0})->Unit(benchmark::kMillisecond)->UseRealTime();
