// The yardstick for the local tone mapping: OpenCV's CLAHE (default settings: clip limit 40,
// 8x8 tiles) on an 8-bit single-channel frame of the same size, on one thread like the engine.
#include <benchmark/benchmark.h>

#include <opencv2/imgproc.hpp>

#include "bench/bench_frames.h"

namespace {

void BM_Clahe(benchmark::State& state) {
    const int width = static_cast<int>(state.range(0)), height = static_cast<int>(state.range(1));
    cv::Mat frame8;
    cv::Mat green;
    cv::extractChannel(alad_bench::MakeFrame12(width, height), green, 1);
    green.convertTo(frame8, CV_8U, 1.0 / 16.0);
    const cv::Ptr<cv::CLAHE> clahe = cv::createCLAHE();
    cv::Mat out;
    const int threads = cv::getNumThreads();
    cv::setNumThreads(1);
    for (auto _ : state) {
        clahe->apply(frame8, out);
        benchmark::DoNotOptimize(out.data);
    }
    cv::setNumThreads(threads);
}

}  // namespace

BENCHMARK(BM_Clahe)->Name("CLAHE/8bit/1080x2400")->Args({1080, 2400})->Unit(benchmark::kMillisecond)->UseRealTime();
