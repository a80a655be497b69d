// Small helpers shared by the CLTM tests.
#ifndef ALAD_TESTS_CLTM_CLTM_TEST_UTIL_H
#define ALAD_TESTS_CLTM_CLTM_TEST_UTIL_H

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <opencv2/core.hpp>

#include "cltm/cltm_frame.h"
#include "cltm/cltm_params.h"
#include "common/debug_store.h"
#include "common/simd.h"

namespace kelvo {
namespace testing_util {

inline ad_param_t_ Geometry(uint32_t log2w, uint32_t log2h, uint32_t hist_mode = 0) {
    ad_param_t_ p;
    p.blk_width_log2 = log2w;
    p.blk_height_log2 = log2h;
    p.hist_mode = hist_mode;
    return p;
}

// Collects what the engine prints while it lives; Text() ends the capture.
class Stdout {
public:
    Stdout() { ::testing::internal::CaptureStdout(); }
    ~Stdout() { Text(); }
    const std::string& Text() {
        if (!done_) text_ = ::testing::internal::GetCapturedStdout();
        done_ = true;
        return text_;
    }

private:
    bool done_ = false;
    std::string text_;
};

// One CLTM engine as the pipeline holds it; a preset context is bound to the size already.
struct Engine {
    Engine(const alad_cltm_user& user, uint32_t w, uint32_t h, bool preset = false)
        : block(user), ctx(ad_init_video(), ad_deinit_video), params{1, w, h, block.get()} {
        if (preset) {
            ctx->width = w;
            ctx->height = h;
        }
        buffers.AllocateBufferBySize(w, h, block.get());
    }
    int32_t Video(const cv::Mat& in, cv::Mat& out) {
        return CLTMVideoRunOneFrameImple_(in, params, CLTMVideoContextAPI{ctx.get()}, buffers, work, out);
    }
    int32_t Still(const cv::Mat& in, cv::Mat& out) { return CLTMOneImageImple_(in, params, buffers, work, out); }

    CLTMParamBlock block;
    std::unique_ptr<ad_cxt_t, void (*)(ad_cxt_t*)> ctx;
    cltm_params_api_ params;
    CLTMBufferManager buffers;
    cv::Mat work;
};

// The six arrays the debug store holds, in the order of the dumps.
inline std::vector<std::vector<unsigned int>> DebugArrays() {
    const alad_debug_output_& s = *alad_debug_output_::GetInstance();
    std::vector<std::vector<unsigned int>> arrays;
    for (const alad_debug_buffer_* b : {&s.GetHistBuffer(), &s.GetForewardBuffer(), &s.GetBackwardBuffer(),
                                        &s.GetTmpCurveBuffer(), &s.GetSmoothCurveBuffer(), &s.GetTransitionCurveBuffer()}) {
        arrays.push_back(b->data == nullptr ? std::vector<unsigned int>() : std::vector<unsigned int>(b->data, b->data + b->length));
    }
    return arrays;
}

inline bool SameImage(const cv::Mat& a, const cv::Mat& b) {
    return a.size() == b.size() && a.type() == b.type() && (a.empty() || cv::norm(a, b, cv::NORM_INF) == 0.0);
}

// Runs `body` once with each build of the vectorised kernels this machine can run (the baseline
// and, on x86-64 processors with it, AVX2), then restores the one that was in use.
template <typename Body>
void ForEachSimdLevel(Body&& body) {
    const alad::SimdLevel kept = alad::ActiveSimdLevel();
    for (alad::SimdLevel level : {alad::SimdLevel::kBaseline, alad::SimdLevel::kAvx2, alad::SimdLevel::kAvx512}) {
        if (!alad::SimdLevelAvailable(level)) continue;
        alad::SetSimdLevel(level);
        SCOPED_TRACE(level == alad::SimdLevel::kAvx512 ? "AVX-512 kernels"
                     : level == alad::SimdLevel::kAvx2 ? "AVX2 kernels"
                                                       : "baseline kernels");
        body();
    }
    alad::SetSimdLevel(kept);
}

using Rng = std::mt19937;

inline uint32_t Uniform(Rng& rng, uint32_t lo, uint32_t hi) { return std::uniform_int_distribution<uint32_t>(lo, hi)(rng); }

// Mostly `lo..hi`, one time in `odds` any 32-bit value at all.
inline uint32_t Mostly(Rng& rng, uint32_t lo, uint32_t hi, uint32_t odds = 20) {
    return Uniform(rng, 1, odds) == 1 ? static_cast<uint32_t>(rng()) : Uniform(rng, lo, hi);
}

// 1, 2, 3, a block multiple +-1, or anything up to a few hundred.
inline uint32_t RandomSize(Rng& rng, uint32_t block) {
    const uint32_t kind = Uniform(rng, 0, 3);
    if (kind == 0) return Uniform(rng, 1, 3);
    if (kind == 1) return block * Uniform(rng, 1, 3) + Uniform(rng, 0, 2) - 1;
    return Uniform(rng, 1, 300);
}

// Registers as a register file might hold them: mostly in range, now and then extreme or beyond.
inline void RandomRegisters(Rng& rng, ad_param_t_& p) {
    const uint32_t modes[] = {0, 0, 1, 1, 2, 0xFFFFFFFFu};
    p.hist_mode = modes[Uniform(rng, 0, 5)];
    const uint32_t transitions[] = {0, 1, 4096, 8191, 8192, 0xFFFFFFFFu, Uniform(rng, 0, 8191)};
    p.curve_transition = transitions[Uniform(rng, 0, 6)];
    const int32_t adjust[] = {
        0, 256, 1023, -1023, INT32_MIN, INT32_MAX, static_cast<int32_t>(Uniform(rng, 0, 2046)) - 1023};
    p.linear_adj_offset = adjust[Uniform(rng, 0, 6)];
    p.linear_adj_ratio = adjust[Uniform(rng, 0, 6)];
    p.strength_mode = Uniform(rng, 0, 1);
    const uint32_t strengths[] = {0, 255, 256, 0xFFFFFFFFu, Uniform(rng, 0, 255)};
    p.strength_target = strengths[Uniform(rng, 0, 4)];
    p.strength_step = Mostly(rng, 1, 255, 4);
    p.strength_interval = Mostly(rng, 0, 3, 4);
    p.filter.filter_enable = static_cast<uint8_t>(Uniform(rng, 0, 1));
    p.filter.filter_luma_select = Uniform(rng, 0, 1);
    p.filter.filter_detail_direct = Uniform(rng, 0, 1);
    for (uint32_t i = 0; i < 65; ++i) p.clip_curve[i] = Mostly(rng, 200, 2000, 5);
}

}  // namespace testing_util
}  // namespace kelvo

#endif  // ALAD_TESTS_CLTM_CLTM_TEST_UTIL_H
