#include "cltm/cltm_curve.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "common/debug_store.h"
#include "tests/cltm/cltm_test_util.h"

// Allocation failures are provoked with impossible sizes; under AddressSanitizer the allocator must
// then return null as the C library does, instead of stopping the process.
extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1"; }

namespace kelvo {
namespace {

using Curve = std::vector<uint32_t>;

// One 32x32 block; the clip curve is flat at `limit` unless changed.
struct OneBlock {
    explicit OneBlock(uint32_t limit) : clip(65, limit), param(testing_util::Geometry(5, 5)) {
        param.clip_curve = clip.data();
    }
    // The block's curve from a histogram given as {bin, count} pairs.
    Curve CurveOf(std::initializer_list<std::pair<uint32_t, uint32_t>> bins) {
        std::vector<uint32_t> hist(128, 0);
        for (const auto& b : bins) hist[b.first] = b.second;
        Curve curve(64, 77);
        EXPECT_EQ(ad_calc_curve(curve.data(), hist.data(), 32, 32, &param), 0);
        return curve;
    }
    std::vector<uint32_t> clip;
    ad_param_t_ param;
};

// The forward or backward clip result of the last block, as handed to the debug store.
std::vector<uint32_t> Clipped(bool forward) {
    const alad_debug_output_& store = *alad_debug_output_::GetInstance();
    const alad_debug_buffer_& b = forward ? store.GetForewardBuffer() : store.GetBackwardBuffer();
    return {b.data + b.length - 128, b.data + b.length};
}

// A curve of `first` followed by 63 times 65535.
Curve StartingAt(uint32_t first) {
    Curve c(64, 65535);
    c[0] = first;
    return c;
}

TEST(CLTMCurveTest, CurvesWorkedOutByHand) {
    // An empty block: 63 zeros, then the forced full scale.
    Curve empty(64, 0);
    empty[63] = 65535;
    EXPECT_EQ(OneBlock(512).CurveOf({}), empty);

    // 2 samples per bin normalise to 512, below limits of 1000: F = B, and the curve is the
    // distribution accumulated and decimated: (512 (2j + 1) + 512 (2j + 2) + 1) >> 1 = 1024 j + 768.
    OneBlock flat(1000);
    std::vector<uint32_t> hist(128, 2), curve(64);
    ASSERT_EQ(ad_calc_curve(curve.data(), hist.data(), 32, 32, &flat.param), 0);
    for (uint32_t j = 0; j < 63; ++j) EXPECT_EQ(curve[j], 1024 * j + 768) << j;
    EXPECT_EQ(Clipped(true), std::vector<uint32_t>(128, 512));
    EXPECT_EQ(Clipped(false), std::vector<uint32_t>(128, 512));

    // 1 and 2 samples normalise to 21845 and 43691; the pair mean rounds up to 43691.
    EXPECT_EQ(OneBlock(70000).CurveOf({{0, 1}, {1, 2}}), StartingAt(43691));
}

TEST(CLTMCurveTest, ExcessUpToTheBinsLeftGoesWholeToTheNextBin) {
    // Bins 0 and 1 normalise to 32768 each; bin 0's limit 32768 - e clips e. Forward, bin 1 (127
    // bins left, itself included) takes all of an excess up to 127 and (R[126] e) >> 16 of more.
    // Backward, bin 1 passes and bin 0 clips e with no bin left to take it.
    // e = 3: averages 32765, 32770 (sum 65535, f = 4096): accumulated 32765, 65535, ...
    // e = 127: averages 32641, 32832 (sum 65473, f = 4100): 32673, 32864, accumulated 32673, 65537, ...
    const struct { uint32_t excess, forward1, curve0; } cases[] = {
        {3, 32771, (32765 + 65535 + 1) >> 1}, {127, 32768 + 127, (32673 + 65537 + 1) >> 1}, {128, 32768 + 1, 0}};
    for (const auto& c : cases) {
        OneBlock b(40000);
        b.clip[0] = 32768 - c.excess;
        const Curve curve = b.CurveOf({{0, 5}, {1, 5}});
        std::vector<uint32_t> backward(128, 0);
        backward[0] = 32768 - c.excess;
        backward[1] = 32768;
        EXPECT_EQ(Clipped(false), backward) << c.excess;
        EXPECT_EQ(Clipped(true)[1], c.forward1) << c.excess;
        if (c.curve0 == 0) continue;  // the rest trickles on over the later bins
        std::vector<uint32_t> forward = backward;
        forward[1] = c.forward1;
        EXPECT_EQ(Clipped(true), forward) << c.excess;
        EXPECT_EQ(curve, StartingAt(c.curve0)) << c.excess;
    }

    // All samples in bin 126 (65536), limits 65336: 200 clipped. Forward, the last bin takes
    // (R[0] * 200) >> 16 = 199, R[0] being 65535. Backward, bins 125 and 124 take (520 * 200) >> 16
    // and (524 * 199) >> 16, 1 each.
    OneBlock b(65336);
    b.CurveOf({{126, 1000}});
    std::vector<uint32_t> forward(128, 0);
    forward[126] = 65336;
    forward[127] = 199;
    EXPECT_EQ(Clipped(true), forward);
    const std::vector<uint32_t> backward = Clipped(false);
    EXPECT_EQ(std::vector<uint32_t>(backward.begin() + 124, backward.end()), (std::vector<uint32_t>{1, 1, 65336, 0}));
}

TEST(CLTMCurveTest, SingleBinBlocksGiveNonDecreasingCurvesEndingAtFullScale) {
    ad_param_t_ param = testing_util::Geometry(6, 6);
    std::vector<uint32_t> clip(kClipCurveDefault, kClipCurveDefault + 65);
    param.clip_curve = clip.data();
    for (uint32_t bin : {0u, 1u, 40u, 64u, 126u, 127u}) {
        std::vector<uint32_t> hist(128, 0), curve(64);
        hist[bin] = 1024;  // a full 64x64 block
        ASSERT_EQ(ad_calc_curve(curve.data(), hist.data(), 64, 64, &param), 0);
        EXPECT_TRUE(std::is_sorted(curve.begin(), curve.end())) << bin;
        EXPECT_EQ(curve[63], 65535u);
        // The bin is clipped to its limit in both passes and the excess moves away from it.
        const uint32_t limit = (bin & 1) ? (clip[bin / 2] + clip[bin / 2 + 1] + 1) / 2 : clip[bin / 2];
        EXPECT_EQ(Clipped(true)[bin], limit);
        EXPECT_EQ(Clipped(false)[bin], limit);
    }
}

TEST(CLTMCurveTest, SmoothingAndTransition) {
    std::mt19937 rng(3);
    std::vector<uint32_t> in(3 * 64), out(3 * 64);
    for (auto& v : in) v = rng() % 65536;
    ASSERT_EQ(ad_smooth_curve(out.data(), in.data(), 1, 1), 0);
    EXPECT_TRUE(std::equal(in.begin(), in.begin() + 64, out.begin()));  // 1x1: unchanged
    // 2x1: the clamped neighbours repeat the blocks themselves.
    ASSERT_EQ(ad_smooth_curve(out.data(), in.data(), 2, 1), 0);
    for (size_t j = 0; j < 64; ++j) {
        EXPECT_EQ(out[j], (13 * in[j] + 3 * in[64 + j]) >> 4);
        EXPECT_EQ(out[64 + j], (3 * in[j] + 13 * in[64 + j]) >> 4);
    }
    // One column of three: the middle block is (3 top + 10 middle + 3 bottom) >> 4.
    ASSERT_EQ(ad_smooth_curve(out.data(), in.data(), 1, 3), 0);
    for (size_t j = 0; j < 64; ++j) EXPECT_EQ(out[64 + j], (3 * in[j] + 10 * in[64 + j] + 3 * in[128 + j]) >> 4);

    // cur + ((4096 + (prev - cur) weight) >> 13): half-way rounds half up towards prev.
    // Registers outside 0..8191 wrap as 32-bit two's complement (the last two).
    const struct { uint32_t cur, prev, weight, result; } blends[] = {
        {100, 101, 4096, 101}, {101, 100, 4096, 101},         {100, 102, 4096, 101},         {100, 200, 0, 100},
        {0, 65535, 8191, 65527}, {65535, 0, 8191, 8}, {100, 101, 0xFFFFFFFFu, 100}, {0, 65535, 0x80000000u, 0xFFFC0000u}};
    for (const auto& c : blends) {
        std::vector<uint32_t> cur(64, c.cur), prev(64, c.prev);
        ASSERT_EQ(ad_transition_curve(cur.data(), prev.data(), 1, 1, c.weight), 0);
        EXPECT_EQ(cur, std::vector<uint32_t>(64, c.result)) << c.cur << " " << c.prev << " " << c.weight;
    }
}

TEST(CLTMCurveTest, FrameCurvesBlendWithTheCallersAndGoToTheDebugStore) {
    OneBlock b(600);
    alad_debug_output_::Terminate();                    // the writes must reach a new store
    const std::vector<uint32_t> rgb(64 * 32 * 3, 512);  // 2x1 blocks, 16x16 samples each, all in bin 64
    std::vector<uint32_t> fresh(2 * 64, 0), global(129, 0);
    ASSERT_EQ(ad_proc_calc_curve(fresh.data(), global.data(), &global[128], rgb.data(), 64, 32, 0, &b.param), 0);
    EXPECT_EQ(global[64], 512u);
    EXPECT_EQ(global[128], 512u * 64);
    const alad_debug_output_& store = *alad_debug_output_::GetInstance();
    EXPECT_EQ((std::vector<int>{store.GetHistBuffer().length, store.GetForewardBuffer().length,
                                store.GetTmpCurveBuffer().length, store.GetSmoothCurveBuffer().length}),
              (std::vector<int>{256, 256, 128, 128}));
    EXPECT_EQ(std::vector<uint32_t>(store.GetTransitionCurveBuffer().data, store.GetTransitionCurveBuffer().data + 128),
              fresh);

    // Weight 4096: half-way from the new curves towards the caller's.
    std::vector<uint32_t> blended(2 * 64, 1000);
    ASSERT_EQ(ad_proc_calc_curve(blended.data(), nullptr, nullptr, rgb.data(), 64, 32, 4096, &b.param), 0);
    for (size_t i = 0; i < blended.size(); ++i) {
        EXPECT_EQ(blended[i], fresh[i] + ((4096 + (1000 - static_cast<int32_t>(fresh[i])) * 4096) >> 13));
    }

    // The luma path gives the same curves.
    std::vector<uint32_t> from_luma(2 * 64, 1000);
    ASSERT_EQ(ad_proc_calc_curve_luma(from_luma.data(), nullptr, nullptr, std::vector<uint32_t>(64 * 32, 512).data(),
                                      64, 32, 4096, &b.param),
              0);
    EXPECT_EQ(from_luma, blended);
}

TEST(CLTMCurveTest, FailuresLeaveTheCurvesUntouched) {
    OneBlock b(600);
    ad_param_t_ no_clip = b.param;
    no_clip.clip_curve = nullptr;
    std::vector<uint32_t> curves(64, 123);
    const std::vector<uint32_t> rgb(32 * 32 * 3, 100);
    alad_debug_output_::GetInstance()->SetADProcCalcCurveHistData(rgb.data(), 5);
    testing_util::Stdout out;
    EXPECT_EQ(ad_proc_calc_curve(nullptr, nullptr, nullptr, rgb.data(), 32, 32, 0, &b.param), 1);
    EXPECT_EQ(ad_proc_calc_curve(curves.data(), nullptr, nullptr, nullptr, 32, 32, 0, &b.param), 1);
    EXPECT_EQ(ad_proc_calc_curve(curves.data(), nullptr, nullptr, rgb.data(), 32, 32, 0, &no_clip), 1);
    // Working arrays that cannot be allocated: nothing is read or written.
    EXPECT_EQ(ad_proc_calc_curve(curves.data(), nullptr, nullptr, rgb.data(), 0x7FFFFFFF, 0x7FFFFFFF, 0, &b.param), 1);
    EXPECT_EQ(ad_proc_calc_curve_luma(curves.data(), nullptr, nullptr, rgb.data(), 0x7FFFFFFF, 0x7FFFFFFF, 0, &b.param),
              1);
    // A frame within a block of 2^32 pixels cannot be cut into blocks with 32-bit counts.
    EXPECT_EQ(ad_proc_calc_curve(curves.data(), nullptr, nullptr, rgb.data(), 0xFFFFFFF0u, 2, 0, &b.param), 1);
    EXPECT_EQ(out.Text(), "ERROR: CLTM frame 4294967280x2 is too large for blocks of 2^5 x 2^5\n");
    EXPECT_EQ(curves, std::vector<uint32_t>(64, 123));
    EXPECT_EQ(alad_debug_output_::GetInstance()->GetHistBuffer().length, 5);
}

}  // namespace
}  // namespace kelvo
