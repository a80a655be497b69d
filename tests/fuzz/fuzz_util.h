// What the fuzz targets share: a quiet engine, scratch files of this process, and ways to turn the
// fuzzer's bytes into the values callers pass (interesting doubles, frame sizes, matrices).
#ifndef ALAD_TESTS_FUZZ_FUZZ_UTIL_H
#define ALAD_TESTS_FUZZ_FUZZ_UTIL_H

#include <fuzzer/FuzzedDataProvider.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include <opencv2/core.hpp>

#include "alad/alad_engine.h"
#include "alad/alad_interface.h"

namespace alad_fuzz {

// A finding is an abort, which libFuzzer reports with the input that caused it.
#define ALAD_FUZZ_CHECK(condition)                                                               \
    do {                                                                                         \
        if (!(condition)) {                                                                      \
            std::fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #condition);  \
            std::abort();                                                                        \
        }                                                                                        \
    } while (0)

// The engine's lines are formatted as always and then dropped: a console line per call would be
// most of a run's time. ALAD_FUZZ_VERBOSE=1 keeps them (to follow an input that fails).
inline void QuietEngine() {
    const char* verbose = std::getenv("ALAD_FUZZ_VERBOSE");
    if (verbose && verbose[0] == '1') return;
    kelvo::SetEngineLogSink([](void*, int, const char*) {}, nullptr);
}

// Every target keeps the engine quiet from the start.
#define ALAD_FUZZ_QUIET_ENGINE_AT_START                     \
    extern "C" int LLVMFuzzerInitialize(int*, char***) { \
        alad_fuzz::QuietEngine();                         \
        return 0;                                         \
    }

// A file of this process in the temporary folder (so that parallel fuzzers never share one).
inline std::string ScratchPath(const std::string& name) {
    return (std::filesystem::temp_directory_path() / ("alad_fuzz_" + std::to_string(::getpid()) + "_" + name))
        .string();
}

inline std::string WriteScratch(const std::string& name, const void* data, size_t size) {
    const std::string path = ScratchPath(name);
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (file) {
        if (size > 0) std::fwrite(data, 1, size, file);
        std::fclose(file);
    }
    return path;
}

inline std::string WriteScratch(const std::string& name, const std::string& text) {
    return WriteScratch(name, text.data(), text.size());
}

// A checker's report on a text of `size` bytes: counts that add up, at most the kept number of
// problems, each a message at a place inside the text, on the line after its end (what is missing)
// or on the file as a whole, in file order.
template <typename Report>
void CheckReportShape(const Report& report, const uint8_t* data, size_t size) {
    const int64_t lines = 1 + std::count(data, data + size, '\n');
    ALAD_FUZZ_CHECK(report.errors >= 0 && report.warnings >= 0 && report.NotKept() >= 0);
    ALAD_FUZZ_CHECK(report.problems.size() <= Report::kKeptProblems);
    int64_t last_line = 0;
    for (const auto& problem : report.problems) {
        ALAD_FUZZ_CHECK(!problem.message.empty());
        ALAD_FUZZ_CHECK(problem.line >= 0 && problem.line <= lines + 1 && problem.column >= 0);
        ALAD_FUZZ_CHECK(problem.line == 0 || problem.line >= last_line);
        if (problem.line > 0) last_line = problem.line;
    }
}

// Mostly the values that break arithmetic (NaN, infinities, zero, signs, extremes), else a plain
// number in a sensible range, else any bit pattern.
inline double Number(FuzzedDataProvider& in, double lo, double hi) {
    using limits = std::numeric_limits<double>;
    static const double kSpecial[] = {limits::quiet_NaN(), limits::infinity(), -limits::infinity(), 0.0, -0.0, -1.0,
                                      1.0, 1e-300, 1e300, limits::denorm_min(), limits::max(), -limits::max(), 3.5e38,
                                      1e-45};
    switch (in.ConsumeIntegralInRange<int>(0, 7)) {
        case 0: return in.PickValueInArray(kSpecial);
        case 1: {
            double raw = 0;
            const uint64_t bits = in.ConsumeIntegral<uint64_t>();
            std::memcpy(&raw, &bits, sizeof(raw));
            return raw;
        }
        default: return in.ConsumeFloatingPointInRange<double>(lo, hi);
    }
}

// Mostly within 0..limit, sometimes any 32-bit value (negative, beyond every bound).
inline int32_t Size(FuzzedDataProvider& in, int32_t limit) {
    if (in.ConsumeIntegralInRange<int>(0, 15) == 0) return in.ConsumeIntegral<int32_t>();
    return in.ConsumeIntegralInRange<int32_t>(0, limit);
}

// A matrix of the given size and type filled from the fuzzer's bytes (repeated when they run out,
// zeros when there are none).
inline cv::Mat FilledMat(FuzzedDataProvider& in, int rows, int cols, int type) {
    cv::Mat mat(rows, cols, type);
    const size_t bytes = mat.total() * mat.elemSize();
    const std::vector<uint8_t> pattern = in.ConsumeBytes<uint8_t>(in.ConsumeIntegralInRange<size_t>(0, 256));
    uint8_t* out = mat.data;
    for (size_t i = 0; i < bytes; ++i) out[i] = pattern.empty() ? 0 : pattern[i % pattern.size()];
    return mat;
}

// The record's address, or (one time in sixteen) a null pointer.
template <typename T>
T* MaybeNull(FuzzedDataProvider& in, T* record) {
    return in.ConsumeIntegralInRange<int>(0, 15) ? record : nullptr;
}

// `call` given the address of `record` or (one time in sixteen) a null pointer.
template <typename T, typename Call>
auto OnRecord(FuzzedDataProvider& in, T record, Call call) {
    return call(MaybeNull(in, &record));
}

// A panel (of the engine's or the driver's form) and a viewing condition, any values.
template <typename Panel>
Panel AnyPanel(FuzzedDataProvider& in) {
    return {Number(in, 0.1, 5), Number(in, 1, 2000), Number(in, 0, 10), Number(in, 0, 2), Number(in, 0, 0.2)};
}
template <typename View>
View AnyView(FuzzedDataProvider& in) {
    return {static_cast<float>(Number(in, 0, 300000)), static_cast<float>(Number(in, 0, 300000))};
}

// A pipeline order: mostly 0..7, else any value.
inline uint32_t AnyOrder(FuzzedDataProvider& in) {
    return in.ConsumeBool() ? in.ConsumeIntegralInRange<uint32_t>(0, 7) : in.ConsumeIntegral<uint32_t>();
}

// A user record (the engine's or the local stage's form): blocks mostly up to 300 a side, frame
// sizes as Size(limit), any curve, strength and filter flag.
template <typename User>
User AnyUser(FuzzedDataProvider& in, int32_t limit) {
    const auto block = [&] {
        return in.ConsumeBool() ? in.ConsumeIntegralInRange<uint32_t>(0, 300) : in.ConsumeIntegral<uint32_t>();
    };
    User user;
    user.blk_width = block();
    user.blk_height = block();
    user.curve_id = in.ConsumeIntegral<int32_t>();
    user.strength = in.ConsumeIntegral<int32_t>();
    user.filter_flag = in.ConsumeIntegral<uint8_t>();
    user.tm_mode = AnyOrder(in);
    user.width = static_cast<uint32_t>(Size(in, limit));
    user.height = static_cast<uint32_t>(Size(in, limit));
    return user;
}

// A register record with its two tables, in the engine's forms (public or internal) and in the
// front end's.
template <typename Record = kelvo::alad_verification_registrator_>
struct EngineRegisters {
    std::vector<uint32_t> curve = std::vector<uint32_t>(ALAD_HIST_ADJUST_CURVE_SIZE);
    std::vector<int32_t> table = std::vector<int32_t>(ALAD_AGTM_LUT_SIZE);
    Record regs;
    EngineRegisters() { regs.hist_adjust_curve = curve.data(), regs.agtm = table.data(); }
};
struct FrontEndRegisters {
    std::vector<int32_t> hist = std::vector<int32_t>(ALAD_HIST_ADJUST_CURVE_SIZE);
    std::vector<int32_t> agtm = std::vector<int32_t>(ALAD_AGTM_LUT_SIZE);
    alad_verification_registrator_interface_ regs{};
    FrontEndRegisters() { regs.reg_hist = hist.data(), regs.reg_agtm = agtm.data(); }
};

// Any depth OpenCV has and 1..4 channels.
inline int AnyType(FuzzedDataProvider& in) {
    static const int kDepths[] = {CV_8U, CV_8S, CV_16U, CV_16S, CV_32S, CV_32F, CV_64F, CV_16F};
    return CV_MAKETYPE(in.PickValueInArray(kDepths), in.ConsumeIntegralInRange<int>(1, 4));
}

}  // namespace alad_fuzz

#endif  // ALAD_TESTS_FUZZ_FUZZ_UTIL_H
