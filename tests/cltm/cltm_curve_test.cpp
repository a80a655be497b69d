#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "cltm/cltm_curve.h"
#include "engine/debug_store.h"

// Allocation failures are provoked with impossible sizes; under AddressSanitizer the allocator must
// then return null as the C library does, instead of stopping the process.
extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1"; }

namespace kelvo {
namespace {

// One 32x32 block with a flat clip curve: `limit` for every bin.
struct OneBlock {
    explicit OneBlock(uint32_t limit) : clip(65, limit) {
        param.blk_width_log2 = 5;
        param.blk_height_log2 = 5;
        param.clip_curve = clip.data();
    }
    std::vector<uint32_t> clip;
    ad_param_t_ param;
};

std::vector<uint32_t> Row(const alad_debug_buffer_& b, size_t row) {
    return std::vector<uint32_t>(b.data + row * 128, b.data + row * 128 + 128);
}

TEST(CLTMCurveTest, ReciprocalTableEntries) {
    const struct { size_t n; uint32_t r; } cases[] = {{0, 65535}, {1, 32768}, {2, 21845}, {124, 524}, {125, 520},
                                                      {126, 516}, {127, 512}};
    for (const auto& c : cases) EXPECT_EQ(kClipReciprocal[c.n], c.r) << c.n;
}

TEST(CLTMCurveTest, EmptyBlockEndsAtFullScaleOnly) {
    OneBlock b(512);
    std::vector<uint32_t> hist(128, 0), curve(64, 77);
    ASSERT_EQ(ad_calc_curve(curve.data(), hist.data(), 32, 32, &b.param), 0);
    std::vector<uint32_t> expected(64, 0);
    expected[63] = 65535;
    EXPECT_EQ(curve, expected);
    // Without histograms nothing happens at all.
    ASSERT_EQ(ad_calc_curve(curve.data(), nullptr, 32, 32, &b.param), 0);
    EXPECT_EQ(curve, expected);
}

TEST(CLTMCurveTest, HistogramBelowTheLimitsIsItsCumulativeDistribution) {
    // 2 samples per bin normalise to 512 each; no clipping under limits of 1000, so F = B and the
    // curve is 512 * (b + 1) decimated: (512 (2j + 1) + 512 (2j + 2) + 1) >> 1 = 1024 j + 768.
    OneBlock b(1000);
    std::vector<uint32_t> hist(128, 2), curve(64);
    ASSERT_EQ(ad_calc_curve(curve.data(), hist.data(), 32, 32, &b.param), 0);
    for (uint32_t j = 0; j < 63; ++j) EXPECT_EQ(curve[j], 1024 * j + 768) << j;
    EXPECT_EQ(curve[63], 65535u);
    const alad_debug_output_& store = *alad_debug_output_::GetInstance();
    EXPECT_EQ(Row(store.GetForewardBuffer(), 0), std::vector<uint32_t>(128, 512));
    EXPECT_EQ(Row(store.GetBackwardBuffer(), 0), std::vector<uint32_t>(128, 512));

    // 1 and 2 samples in bins 0 and 1 normalise to 21845 and 43691 (f = 89478485); the pair mean
    // rounds up: (21845 + 65536 + 1) >> 1 = 43691, and full scale clamps to 65535.
    OneBlock high(70000);
    std::vector<uint32_t> two(128, 0);
    two[0] = 1;
    two[1] = 2;
    ASSERT_EQ(ad_calc_curve(curve.data(), two.data(), 32, 32, &high.param), 0);
    std::vector<uint32_t> expected(64, 65535);
    expected[0] = 43691;
    EXPECT_EQ(curve, expected);
}

TEST(CLTMCurveTest, ExcessUpToTheBinsLeftGoesWholeToTheNextBin) {
    // Bins 0 and 1 normalise to 32768 each; bin 0's limit 32768 - e clips e. Forward, bin 1 (127
    // bins left, itself included) takes all of an excess up to 127 and (R[126] e) >> 16 of a larger
    // one. Backward, bin 1 passes and bin 0 clips e with no bin left to take it.
    // e = 3: average 32765, 32770, sum 65535, f = 4096: accumulated 32765, 65535, ...
    // e = 127: average 32641, 32832, sum 65473, f = 4100: 32673, 32864 -> accumulated 32673, 65537, ...
    const struct { uint32_t excess, forward1, curve0; } cases[] = {
        {3, 32771, (32765 + 65535 + 1) >> 1},
        {127, 32768 + 127, (32673 + 65537 + 1) >> 1},
        {128, 32768 + 1, 0},  // (516 * 128) >> 16 = 1; the rest trickles on, curve not checked
    };
    for (const auto& c : cases) {
        OneBlock b(40000);
        b.clip[0] = 32768 - c.excess;
        std::vector<uint32_t> hist(128, 0), curve(64);
        hist[0] = 5;
        hist[1] = 5;
        ASSERT_EQ(ad_calc_curve(curve.data(), hist.data(), 32, 32, &b.param), 0);
        const alad_debug_output_& store = *alad_debug_output_::GetInstance();
        const std::vector<uint32_t> forward = Row(store.GetForewardBuffer(), 0);
        EXPECT_EQ(forward[0], 32768 - c.excess);
        EXPECT_EQ(forward[1], c.forward1) << c.excess;
        std::vector<uint32_t> backward(128, 0);
        backward[0] = 32768 - c.excess;
        backward[1] = 32768;
        EXPECT_EQ(Row(store.GetBackwardBuffer(), 0), backward);
        if (c.curve0 == 0) continue;
        std::vector<uint32_t> whole_forward(128, 0);
        whole_forward[0] = 32768 - c.excess;
        whole_forward[1] = c.forward1;
        EXPECT_EQ(forward, whole_forward);
        std::vector<uint32_t> expected(64, 65535);
        expected[0] = c.curve0;
        EXPECT_EQ(curve, expected) << c.excess;
    }
}

TEST(CLTMCurveTest, LargeExcessIsSpreadThroughTheReciprocalTable) {
    // All samples in bin 126 (65536), limits 65336: 200 clipped. Forward, the last bin takes
    // (R[0] * 200) >> 16 = 199 (R[0] is 65535, not 65536). Backward, bin 125 takes
    // (R[125] * 200) >> 16 = (520 * 200) >> 16 = 1, bin 124 (R[124] * 199) >> 16 = (524 * 199) >> 16 = 1.
    OneBlock b(65336);
    std::vector<uint32_t> hist(128, 0), curve(64);
    hist[126] = 1000;
    ASSERT_EQ(ad_calc_curve(curve.data(), hist.data(), 32, 32, &b.param), 0);
    const alad_debug_output_& store = *alad_debug_output_::GetInstance();
    std::vector<uint32_t> forward(128, 0);
    forward[126] = 65336;
    forward[127] = 199;
    EXPECT_EQ(Row(store.GetForewardBuffer(), 0), forward);
    const std::vector<uint32_t> backward = Row(store.GetBackwardBuffer(), 0);
    EXPECT_EQ(backward[127], 0u);
    EXPECT_EQ(backward[126], 65336u);
    EXPECT_EQ(backward[125], 1u);
    EXPECT_EQ(backward[124], 1u);
}

TEST(CLTMCurveTest, SingleBinBlocksGiveNonDecreasingCurvesEndingAtFullScale) {
    ad_param_t_ param;
    param.blk_width_log2 = 6;
    param.blk_height_log2 = 6;
    std::vector<uint32_t> clip(kClipCurveDefault, kClipCurveDefault + 65);
    param.clip_curve = clip.data();
    for (uint32_t bin : {0u, 1u, 40u, 64u, 126u, 127u}) {
        std::vector<uint32_t> hist(128, 0), curve(64);
        hist[bin] = 1024;  // a full 64x64 block
        ASSERT_EQ(ad_calc_curve(curve.data(), hist.data(), 64, 64, &param), 0);
        for (size_t j = 1; j < 64; ++j) EXPECT_LE(curve[j - 1], curve[j]) << "bin " << bin << " point " << j;
        EXPECT_EQ(curve[63], 65535u);
        // The bin itself is clipped to its limit in both passes; the excess moves away from it.
        const alad_debug_output_& store = *alad_debug_output_::GetInstance();
        const uint32_t limit = (bin & 1) ? (clip[bin / 2] + clip[bin / 2 + 1] + 1) / 2 : clip[bin / 2];
        EXPECT_EQ(Row(store.GetForewardBuffer(), 0)[bin], limit);
        EXPECT_EQ(Row(store.GetBackwardBuffer(), 0)[bin], limit);
        for (uint32_t b = 0; b < bin; ++b) EXPECT_EQ(Row(store.GetForewardBuffer(), 0)[b], 0u);
        for (uint32_t b = bin + 1; b < 128; ++b) EXPECT_EQ(Row(store.GetBackwardBuffer(), 0)[b], 0u);
    }
}

TEST(CLTMCurveTest, SmoothingWeightsOnSmallGrids) {
    std::mt19937 rng(3);
    std::vector<uint32_t> in(3 * 64), out(3 * 64);
    for (auto& v : in) v = rng() % 65536;
    // 1x1: unchanged.
    ASSERT_EQ(ad_smooth_curve(out.data(), in.data(), 1, 1), 0);
    for (size_t j = 0; j < 64; ++j) EXPECT_EQ(out[j], in[j]);
    // 2x1: the clamped neighbours repeat the blocks themselves.
    ASSERT_EQ(ad_smooth_curve(out.data(), in.data(), 2, 1), 0);
    for (size_t j = 0; j < 64; ++j) {
        EXPECT_EQ(out[j], (13 * in[j] + 3 * in[64 + j]) >> 4);
        EXPECT_EQ(out[64 + j], (3 * in[j] + 13 * in[64 + j]) >> 4);
    }
    // 1x3 (one column, three rows): the middle block is (3 top + 10 middle + 3 bottom) >> 4.
    ASSERT_EQ(ad_smooth_curve(out.data(), in.data(), 1, 3), 0);
    for (size_t j = 0; j < 64; ++j) EXPECT_EQ(out[64 + j], (3 * in[j] + 10 * in[64 + j] + 3 * in[128 + j]) >> 4);
}

TEST(CLTMCurveTest, TransitionRoundsHalfUpTowardsThePreviousCurve) {
    const struct { uint32_t cur, prev, weight, result; } cases[] = {
        {100, 101, 4096, 101}, {101, 100, 4096, 101}, {100, 102, 4096, 101}, {100, 200, 0, 100},
        {0, 65535, 8191, 65527}, {65535, 0, 8191, 8}, {7, 9, 1, 7},
        // Registers outside 0..8191 wrap as 32-bit two's complement.
        {100, 101, 0xFFFFFFFFu, 100}, {0, 65535, 0x80000000u, 0xFFFC0000u}};
    for (const auto& c : cases) {
        std::vector<uint32_t> cur(64, c.cur), prev(64, c.prev);
        ASSERT_EQ(ad_transition_curve(cur.data(), prev.data(), 1, 1, c.weight), 0);
        EXPECT_EQ(cur, std::vector<uint32_t>(64, c.result)) << c.cur << " " << c.prev << " " << c.weight;
    }
}

// A frame whose pixels all have luma `v`: one block per 32x32.
std::vector<uint32_t> FlatRgb(uint32_t w, uint32_t h, uint32_t v) { return std::vector<uint32_t>(w * h * 3, v); }

TEST(CLTMCurveTest, ProcCalcCurveBlendsWithTheCallersCurvesAndHandsEveryStepOver) {
    OneBlock b(600);
    const uint32_t w = 64, h = 32;  // 2x1 blocks
    const std::vector<uint32_t> rgb = FlatRgb(w, h, 512);
    std::vector<uint32_t> fresh(2 * 64, 0), global(129, 0);
    ASSERT_EQ(ad_proc_calc_curve(fresh.data(), global.data(), &global[128], rgb.data(), w, h, 0, &b.param), 0);
    EXPECT_EQ(global[64], 512u);  // 2 blocks of 16x16 samples, all in bin 64
    EXPECT_EQ(global[128], 512u * 64);

    const alad_debug_output_& store = *alad_debug_output_::GetInstance();
    EXPECT_EQ(store.GetHistBuffer().length, 2 * 128);
    EXPECT_EQ(store.GetTmpCurveBuffer().length, 2 * 64);
    EXPECT_EQ(store.GetSmoothCurveBuffer().length, 2 * 64);
    EXPECT_EQ(std::vector<uint32_t>(store.GetTransitionCurveBuffer().data, store.GetTransitionCurveBuffer().data + 128),
              fresh);

    // With weight 4096 the result is half-way between the old curves and the new ones.
    std::vector<uint32_t> blended(2 * 64, 1000);
    ASSERT_EQ(ad_proc_calc_curve(blended.data(), nullptr, nullptr, rgb.data(), w, h, 4096, &b.param), 0);
    for (size_t i = 0; i < blended.size(); ++i) {
        const int32_t diff = 1000 - static_cast<int32_t>(fresh[i]);
        EXPECT_EQ(blended[i], static_cast<uint32_t>(static_cast<int32_t>(fresh[i]) + ((4096 + diff * 4096) >> 13)));
    }
}

TEST(CLTMCurveTest, LumaPathGivesTheSameCurves) {
    OneBlock b(700);
    const uint32_t w = 40, h = 37;
    std::mt19937 rng(5);
    std::vector<uint32_t> rgb(w * h * 3), luma(w * h);
    for (auto& v : rgb) v = rng() % 1024;
    for (size_t i = 0; i < luma.size(); ++i) luma[i] = std::max({rgb[3 * i], rgb[3 * i + 1], rgb[3 * i + 2]});
    b.param.hist_mode = 1;
    std::vector<uint32_t> a(4 * 64, 9), c(4 * 64, 9);
    ASSERT_EQ(ad_proc_calc_curve(a.data(), nullptr, nullptr, rgb.data(), w, h, 100, &b.param), 0);
    ASSERT_EQ(ad_proc_calc_curve_luma(c.data(), nullptr, nullptr, luma.data(), w, h, 100, &b.param), 0);
    EXPECT_EQ(a, c);
}

TEST(CLTMCurveTest, WritesReachANewStoreAfterTerminate) {
    OneBlock b(600);
    alad_debug_output_::Terminate();
    const std::vector<uint32_t> rgb = FlatRgb(32, 32, 100);
    std::vector<uint32_t> curves(64);
    ASSERT_EQ(ad_proc_calc_curve(curves.data(), nullptr, nullptr, rgb.data(), 32, 32, 0, &b.param), 0);
    EXPECT_EQ(alad_debug_output_::GetInstance()->GetHistBuffer().length, 128);
    EXPECT_EQ(alad_debug_output_::GetInstance()->GetForewardBuffer().length, 128);
}

TEST(CLTMCurveTest, FailuresLeaveTheCurvesUntouched) {
    OneBlock b(600);
    std::vector<uint32_t> curves(64, 123);
    const std::vector<uint32_t> rgb = FlatRgb(32, 32, 100);
    EXPECT_EQ(ad_proc_calc_curve(nullptr, nullptr, nullptr, rgb.data(), 32, 32, 0, &b.param), 1);
    EXPECT_EQ(ad_proc_calc_curve(curves.data(), nullptr, nullptr, nullptr, 32, 32, 0, &b.param), 1);
    EXPECT_EQ(ad_proc_calc_curve(curves.data(), nullptr, nullptr, rgb.data(), 32, 32, 0, nullptr), 1);
    EXPECT_EQ(ad_proc_calc_curve_luma(curves.data(), nullptr, nullptr, nullptr, 32, 32, 0, &b.param), 1);
    ad_param_t_ no_clip = b.param;
    no_clip.clip_curve = nullptr;
    EXPECT_EQ(ad_proc_calc_curve(curves.data(), nullptr, nullptr, rgb.data(), 32, 32, 0, &no_clip), 1);
    // Sizes whose working arrays cannot be allocated: nothing is read or written.
    alad_debug_output_::GetInstance()->SetADProcCalcCurveHistData(rgb.data(), 5);
    EXPECT_EQ(ad_proc_calc_curve(curves.data(), nullptr, nullptr, rgb.data(), 0x7FFFFFFF, 0x7FFFFFFF, 0, &b.param), 1);
    EXPECT_EQ(ad_proc_calc_curve_luma(curves.data(), nullptr, nullptr, rgb.data(), 0x7FFFFFFF, 0x7FFFFFFF, 0, &b.param),
              1);
    EXPECT_EQ(curves, std::vector<uint32_t>(64, 123));
    EXPECT_EQ(alad_debug_output_::GetInstance()->GetHistBuffer().length, 5);
    // A frame within 2^log2 of 2^32 cannot be cut into blocks with 32-bit counts.
    testing::internal::CaptureStdout();
    EXPECT_EQ(ad_proc_calc_curve(curves.data(), nullptr, nullptr, rgb.data(), 0xFFFFFFF0u, 2, 0, &b.param), 1);
    EXPECT_NE(testing::internal::GetCapturedStdout().find("too large"), std::string::npos);
    EXPECT_EQ(curves, std::vector<uint32_t>(64, 123));
}

}  // namespace
}  // namespace kelvo
