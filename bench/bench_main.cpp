// Benchmark driver: runs every registered benchmark, then prints each one's time as a ratio to a
// plain memcpy of a frame of the same size measured in the same run (these machines are noisy, so
// only ratios from one run mean anything).
//
// Benchmarks name their frame size as the last part of their name ("AGTM/apply/1080x2400"); the
// memcpy baselines are registered here as "memcpy/WxH".
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "bench/bench_frames.h"
#include "common/simd.h"

namespace {

void BM_Memcpy(benchmark::State& state) {
    const size_t bytes = static_cast<size_t>(state.range(0)) * static_cast<size_t>(state.range(1)) * 3 * 4;
    std::vector<char> src(bytes, 1), dst(bytes);
    for (auto _ : state) {
        std::memcpy(dst.data(), src.data(), bytes);
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(bytes));
}

// The frame size of a benchmark: the last element of its name ("CLTM/video/blk128/1080x2400").
std::string SizeSuffix(const std::string& name) {
    const size_t slash = name.rfind('/');
    return slash == std::string::npos ? name : name.substr(slash + 1);
}

// Keeps every repetition of every benchmark; a benchmark's time is the median of its repetitions
// (scripts/bench says why it runs them interleaved).
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.run_type != Run::RT_Iteration || run.error_occurred) continue;
            const std::string name = run.run_name.function_name;
            // GetTimeUnitMultiplier is seconds -> unit.
            const double ms = run.GetAdjustedRealTime() / benchmark::GetTimeUnitMultiplier(run.time_unit) *
                              benchmark::GetTimeUnitMultiplier(benchmark::kMillisecond);
            std::vector<double>& times = times_ms_[name];
            if (times.empty()) order_.push_back(name);
            times.push_back(ms);
        }
    }

    // A benchmark's times, fastest first (none when it did not run).
    std::vector<double> Sorted(const std::string& name) const {
        const auto it = times_ms_.find(name);
        std::vector<double> times = it == times_ms_.end() ? std::vector<double>() : it->second;
        std::sort(times.begin(), times.end());
        return times;
    }

    // The median time of a benchmark, or a negative value when it did not run.
    double Ms(const std::string& name) const {
        const std::vector<double> times = Sorted(name);
        const size_t n = times.size();
        if (n == 0) return -1.0;
        return n % 2 == 1 ? times[n / 2] : (times[n / 2 - 1] + times[n / 2]) / 2;
    }

    void PrintRatios() const {
        std::printf("\n%-48s %12s %10s\n", "benchmark", "time (ms)", "x memcpy");
        for (const std::string& name : order_) {
            const double base = Ms("memcpy/" + SizeSuffix(name));
            const double ms = Ms(name);
            if (base <= 0.0) {
                std::printf("%-48s %12.3f %10s\n", name.c_str(), ms, "-");
            } else {
                std::printf("%-48s %12.3f %10.2f\n", name.c_str(), ms, ms / base);
            }
        }
    }

private:
    std::vector<std::string> order_;
    std::map<std::string, std::vector<double>> times_ms_;
};

// The speed targets of a 1080x2400 frame on one thread, as ratios to the memcpy of the same run
// (or against another benchmark of the same run), and the figures worth reading beside them.
struct TargetRow {
    const char* stage;
    const char* benchmark;
    double max_ratio;         // at most this many memcpy times; 0 for none
    const char* faster_than;  // a benchmark it must beat, or null
};

constexpr TargetRow kTargetRows[] = {
    {"memcpy of the frame (31 MB)", "memcpy/1080x2400", 0, nullptr},
    {"AGTM stage, integer output", "AGTM/integer/1080x2400", 1.5, nullptr},
    {"CLTM video frame, filter off, 128-px blocks", "CLTM/video/blk128/filter_off/1080x2400", 2.5, nullptr},
    {"  the same against OpenCV CLAHE", "CLTM/video/blk128/filter_off/1080x2400", 0, "CLAHE/8bit/1080x2400"},
    {"CLTM video frame, filter on", "CLTM/video/blk128/filter_on/1080x2400", 5.0, nullptr},
    {"whole order-1 frame, debug store included", "engine/order1/1080x2400", 5.0, nullptr},
    {"  two deep copies of a frame, made apart", "engine/debug_copies/1080x2400", 0, nullptr},
    {"OpenCV CLAHE, 8-bit, one thread", "CLAHE/8bit/1080x2400", 0, nullptr},
    {"AGTM stage, 2 threads", "AGTM/integer/threads2/1080x2400", 0, nullptr},
    {"CLTM video frame, filter off, 2 threads", "CLTM/video/blk128/threads2/filter_off/1080x2400", 0, nullptr},
    {"CLTM video frame, filter on, 2 threads", "CLTM/video/blk128/threads2/filter_on/1080x2400", 0, nullptr},
    {"whole order-1 frame, 2 threads", "engine/order1/threads2/1080x2400", 0, nullptr},
};

void PrintTargets(const RatioReporter& r) {
    const double memcpy_ms = r.Ms("memcpy/1080x2400");
    const std::vector<double> memcpy_runs = r.Sorted("memcpy/1080x2400");
    if (memcpy_runs.size() > 1) {
        std::printf("\nmedians of %zu interleaved runs each; the memcpy ranged from %.3f to %.3f ms\n",
                    memcpy_runs.size(), memcpy_runs.front(), memcpy_runs.back());
    }
    std::printf("\n%-46s %10s %9s  %-22s %s\n", "stage (1080x2400)", "time (ms)", "x memcpy", "target", "met");
    for (const TargetRow& row : kTargetRows) {
        const double ms = r.Ms(row.benchmark);
        if (ms < 0) continue;
        const double ratio = memcpy_ms > 0 ? ms / memcpy_ms : 0.0;
        std::string target = "-";
        std::string met;
        if (row.max_ratio > 0) {
            char text[48];
            std::snprintf(text, sizeof(text), "<= %.1fx memcpy", row.max_ratio);
            target = text;
            met = memcpy_ms > 0 ? (ratio <= row.max_ratio ? "yes" : "no") : "?";
        } else if (row.faster_than != nullptr) {
            const double other = r.Ms(row.faster_than);
            char text[48];
            std::snprintf(text, sizeof(text), "< CLAHE (%.3f ms)", other);
            target = text;
            met = other > 0 ? (ms < other ? "yes" : "no") : "?";
        }
        std::printf("%-46s %10.3f %9.2f  %-22s %s\n", row.stage, ms, ratio, target.c_str(), met.c_str());
    }
}

}  // namespace

BENCHMARK(BM_Memcpy)
    ->Name("memcpy/1080x2400")->Args({1080, 2400})->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Memcpy)
    ->Name("memcpy/720x1650")->Args({720, 1650})->Unit(benchmark::kMillisecond)->UseRealTime();

// Besides Google Benchmark's own options: --targets prints the table of speed targets at the
// end; --simd=baseline or --simd=avx2 runs that build of the vectorised kernels instead of the
// best one the processor runs.
int main(int argc, char** argv) {
    bool targets = false;
    int kept = 1;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--targets") == 0) {
            targets = true;
        } else if (std::strcmp(argv[i], "--simd=baseline") == 0) {
            alad::SetSimdLevel(alad::SimdLevel::kBaseline);
        } else if (std::strcmp(argv[i], "--simd=avx2") == 0) {
            alad::SetSimdLevel(alad::SimdLevel::kAvx2);
        } else {
            argv[kept++] = argv[i];
        }
    }
    const alad::SimdLevel level = alad::ActiveSimdLevel();
    std::printf("vectorised kernels: %s\n", level == alad::SimdLevel::kAvx512 ? "AVX-512 (CLTM), AVX2 (AGTM)"
                                           : level == alad::SimdLevel::kAvx2 ? "AVX2"
                                                                             : "baseline (SSE2 / NEON)");
    argc = kept;
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.PrintRatios();
    if (targets) PrintTargets(reporter);
    benchmark::Shutdown();
    return 0;
}
