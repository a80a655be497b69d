// Frames for the benchmarks: realistic content (smooth gradients with texture), reproducible.
#ifndef ALAD_BENCH_BENCH_FRAMES_H
#define ALAD_BENCH_BENCH_FRAMES_H

#include <sys/resource.h>

#include <benchmark/benchmark.h>
#include <opencv2/core.hpp>

#include "alad/alad_engine.h"

namespace alad_bench {

// A CV_32SC3 frame of 12-bit values: a diagonal gradient per channel plus a fixed-seed texture.
inline cv::Mat MakeFrame12(int width, int height, unsigned seed = 1) {
    cv::Mat frame(height, width, CV_32SC3);
    cv::RNG rng(seed);
    for (int y = 0; y < height; ++y) {
        int* row = frame.ptr<int>(y);
        for (int x = 0; x < width; ++x) {
            const int base = ((x * 4095) / (width > 1 ? width - 1 : 1) + (y * 4095) / (height > 1 ? height - 1 : 1)) / 2;
            for (int c = 0; c < 3; ++c) {
                const int v = base / (c + 1) + rng.uniform(-64, 64);
                row[3 * x + c] = v < 0 ? 0 : (v > 4095 ? 4095 : v);
            }
        }
    }
    return frame;
}

// Minor page faults of the process from construction on, per frame: a frame-sized buffer made anew
// costs one per 4 KiB page (the benchmarks fix glibc's mmap threshold at 1 MiB, as a phone's
// allocator hands out large blocks). Reported as the counter "faults".
class FaultCount {
public:
    FaultCount() : start_(Now()) {}
    void Report(benchmark::State& state) const {
        const double frames = static_cast<double>(state.iterations());
        state.counters["faults"] = frames > 0 ? static_cast<double>(Now() - start_) / frames : 0.0;
    }

private:
    static long Now() {
        rusage usage{};
        getrusage(RUSAGE_SELF, &usage);
        return usage.ru_minflt;
    }
    long start_;
};

// The engine's thread count for the life of a benchmark, 1 again afterwards.
class EngineThreads {
public:
    explicit EngineThreads(int threads) { kelvo::SetEngineThreads(threads); }
    ~EngineThreads() { kelvo::SetEngineThreads(1); }
    EngineThreads(const EngineThreads&) = delete;
    EngineThreads& operator=(const EngineThreads&) = delete;
};

}  // namespace alad_bench

#endif  // ALAD_BENCH_BENCH_FRAMES_H
