// Benchmark driver: runs every registered benchmark, then prints each one's time as a ratio to a
// plain memcpy of a frame of the same size measured in the same run (these machines are noisy, so
// only ratios from one run mean anything).
//
// Benchmarks name their frame size as the last part of their name ("AGTM/apply/1080x2400"); the
// memcpy baselines are registered here as "memcpy/WxH".
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "bench/bench_frames.h"

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
            order_.push_back(name);
            times_ms_[name] = ms;
        }
    }

    void PrintRatios() const {
        std::printf("\n%-48s %12s %10s\n", "benchmark", "time (ms)", "x memcpy");
        for (const std::string& name : order_) {
            const auto base = times_ms_.find("memcpy/" + SizeSuffix(name));
            const double ms = times_ms_.at(name);
            if (base == times_ms_.end() || base->second <= 0.0) {
                std::printf("%-48s %12.3f %10s\n", name.c_str(), ms, "-");
            } else {
                std::printf("%-48s %12.3f %10.2f\n", name.c_str(), ms, ms / base->second);
            }
        }
    }

private:
    std::vector<std::string> order_;
    std::map<std::string, double> times_ms_;
};

}  // namespace

BENCHMARK(BM_Memcpy)
    ->Name("memcpy/1080x2400")->Args({1080, 2400})->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Memcpy)
    ->Name("memcpy/720x1650")->Args({720, 1650})->Unit(benchmark::kMillisecond)->UseRealTime();

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.PrintRatios();
    benchmark::Shutdown();
    return 0;
}
