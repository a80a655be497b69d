// Benchmark driver: runs every registered benchmark, then prints each one's time as a ratio to a
// plain memcpy of a frame of the same size measured in the same run (these machines are noisy, so
// only ratios from one run mean anything).
//
// Benchmarks name their frame size as the last part of their name ("AGTM/apply/1080x2400"); the
// memcpy baselines are registered here as "memcpy/WxH".
#include <benchmark/benchmark.h>

#include <malloc.h>

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
            const auto faults = run.counters.find("faults");
            if (faults != run.counters.end()) faults_[name].push_back(faults->second.value);
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
    double Ms(const std::string& name) const { return Median(Sorted(name)); }

    // The most minor faults per frame in any repetition of a benchmark, or a negative value when it
    // does not count them.
    double Faults(const std::string& name) const {
        const auto it = faults_.find(name);
        if (it == faults_.end() || it->second.empty()) return -1.0;
        return *std::max_element(it->second.begin(), it->second.end());
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
    static double Median(const std::vector<double>& sorted) {
        const size_t n = sorted.size();
        if (n == 0) return -1.0;
        return n % 2 == 1 ? sorted[n / 2] : (sorted[n / 2 - 1] + sorted[n / 2]) / 2;
    }

    std::vector<std::string> order_;
    std::map<std::string, std::vector<double>> times_ms_;
    std::map<std::string, std::vector<double>> faults_;
};

// The speed targets of a 1080x2400 frame on one thread, as ratios to the memcpy of the same run
// (or against another benchmark of the same run), and the figures worth reading beside them.
struct TargetRow {
    const char* stage;
    const char* benchmark;
    double max_ratio;         // at most this many memcpy times; 0 for none
    bool whole_frame;         // counts its page faults: met only with fewer than kMaxFaults per frame
    const char* faster_than;  // a benchmark it must beat, or null
};

// A frame that made a frame-sized buffer anew would take thousands (7,600 for the ARGB buffer).
constexpr double kMaxFaults = 100;
constexpr double kBudget120HzMs = 1000.0 / 120;

constexpr TargetRow kTargetRows[] = {
    {"memcpy of the frame (31 MB)", "memcpy/1080x2400", 0, false, nullptr},
    {"AGTM stage, integer output", "AGTM/integer/1080x2400", 1.5, false, nullptr},
    {"CLTM video frame, filter off, 128-px blocks", "CLTM/video/blk128/filter_off/1080x2400", 2.5, false, nullptr},
    {"  the same against OpenCV CLAHE", "CLTM/video/blk128/filter_off/1080x2400", 0, false, "CLAHE/8bit/1080x2400"},
    {"CLTM video frame, filter on", "CLTM/video/blk128/filter_on/1080x2400", 5.0, false, nullptr},
    {"RunOneFrameALAD, dst reused, order 4", "engine/order4/1080x2400", 1.3, true, nullptr},
    {"RunOneFrameALAD, dst reused, order 3", "engine/order3/1080x2400", 2.3, true, nullptr},
    {"RunOneFrameALAD, dst reused, order 1", "engine/order1/1080x2400", 3.0, true, nullptr},
    {"driver ARGB in place, debug images on, order 4", "driver/order4/debug_on/1080x2400", 1.43, true, nullptr},
    {"driver ARGB in place, debug images on, order 3", "driver/order3/debug_on/1080x2400", 2.53, true, nullptr},
    {"driver ARGB in place, debug images on, order 1", "driver/order1/debug_on/1080x2400", 3.3, true, nullptr},
    {"driver ARGB in place, debug images off, order 4", "driver/order4/debug_off/1080x2400", 0.6, true, nullptr},
    {"driver ARGB in place, debug images off, order 3", "driver/order3/debug_off/1080x2400", 1.8, true, nullptr},
    {"driver ARGB in place, debug images off, order 1", "driver/order1/debug_off/1080x2400", 2.2, true, nullptr},
    {"  two deep copies of a frame, made apart", "engine/debug_copies/1080x2400", 0, false, nullptr},
    {"OpenCV CLAHE, 8-bit, one thread", "CLAHE/8bit/1080x2400", 0, false, nullptr},
    {"AGTM stage, 2 threads", "AGTM/integer/threads2/1080x2400", 0, false, nullptr},
    {"CLTM video frame, filter off, 2 threads", "CLTM/video/blk128/threads2/filter_off/1080x2400", 0, false, nullptr},
    {"CLTM video frame, filter on, 2 threads", "CLTM/video/blk128/threads2/filter_on/1080x2400", 0, false, nullptr},
    {"RunOneFrameALAD, order 1, 2 threads", "engine/order1/threads2/1080x2400", 0, true, nullptr},
    {"driver ARGB, debug images off, order 1, 2 threads", "driver/order1/threads2/debug_off/1080x2400", 0, true, nullptr},
};

void PrintTargets(const RatioReporter& r) {
    const double memcpy_ms = r.Ms("memcpy/1080x2400");
    const std::vector<double> memcpy_runs = r.Sorted("memcpy/1080x2400");
    if (memcpy_runs.size() > 1) {
        std::printf("\nmedians of %zu interleaved runs each; the memcpy ranged from %.3f to %.3f ms\n",
                    memcpy_runs.size(), memcpy_runs.front(), memcpy_runs.back());
    }
    std::printf("\nms: median time per frame; 120 Hz: its share of the %.2f ms a frame has at 120 Hz; faults: the\n"
                "most minor page faults per steady-state frame in any run (met: also below %.0f)\n",
                kBudget120HzMs, kMaxFaults);
    std::printf("\n%-50s %8s %6s %9s  %-19s %7s  %s\n", "stage (1080x2400)", "ms", "120 Hz", "x memcpy", "target",
                "faults", "met");
    int rows = 0, met_rows = 0;
    for (const TargetRow& row : kTargetRows) {
        const double ms = r.Ms(row.benchmark);
        if (ms < 0) continue;
        const double ratio = memcpy_ms > 0 ? ms / memcpy_ms : 0.0;
        const double faults = row.whole_frame ? r.Faults(row.benchmark) : -1.0;
        std::string target = "-";
        std::string met;
        bool ok = true;
        if (row.max_ratio > 0) {
            char text[48];
            std::snprintf(text, sizeof(text), "<= %gx memcpy", row.max_ratio);
            target = text;
            ok = memcpy_ms > 0 && ratio <= row.max_ratio;
            met = memcpy_ms > 0 ? (ok ? "yes" : "no") : "?";
        } else if (row.faster_than != nullptr) {
            const double other = r.Ms(row.faster_than);
            char text[48];
            std::snprintf(text, sizeof(text), "< CLAHE (%.3f ms)", other);
            target = text;
            ok = other > 0 && ms < other;
            met = other > 0 ? (ok ? "yes" : "no") : "?";
        }
        char fault_text[16] = "";
        if (faults >= 0) {
            std::snprintf(fault_text, sizeof(fault_text), "%.1f", faults);
            const bool few = faults < kMaxFaults;
            if (!few) met = met.empty() ? "no (faults)" : met + " (faults: no)";
            ok = ok && few;
        }
        if (!met.empty()) {
            ++rows;
            met_rows += ok ? 1 : 0;
        }
        std::printf("%-50s %8.3f %5.0f%% %9.2f  %-19s %7s  %s\n", row.stage, ms, 100.0 * ms / kBudget120HzMs, ratio,
                    target.c_str(), fault_text, met.c_str());
    }
    std::printf("\n%d of %d targets met in this run (memcpy %.3f ms)\n", met_rows, rows, memcpy_ms);
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
    // Large blocks come from the system as fresh pages, as a phone's allocator hands them out (glibc
    // would otherwise raise the threshold after the first frame and recycle them): a frame that
    // allocates a frame-sized buffer shows it in its page faults.
    mallopt(M_MMAP_THRESHOLD, 1 << 20);
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
