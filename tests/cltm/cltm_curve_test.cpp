// The CLTM stage's block statistics, curves and mapping: histograms, curves, smoothing and
// transition, tone mapping, the 3x3 filter and the colour step.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <vector>

#include "cltm/cltm_curve.h"
#include "cltm/cltm_histogram.h"
#include "cltm/cltm_map.h"
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

using testing_util::Geometry;
using Bins = std::map<uint32_t, uint32_t>;  // non-zero bins: bin -> count

Bins NonZero(const std::vector<uint32_t>& hist, size_t block) {
    Bins bins;
    for (uint32_t b = 0; b < 128; ++b) {
        if (hist[block * 128 + b] != 0) bins[b] = hist[block * 128 + b];
    }
    return bins;
}

// An RGB plane whose per-pixel maximum is `luma`, held by a different channel from pixel to pixel.
std::vector<uint32_t> RgbWithMax(const std::vector<uint32_t>& luma) {
    std::vector<uint32_t> rgb(luma.size() * 3);
    for (size_t i = 0; i < luma.size(); ++i) {
        for (size_t c = 0; c < 3; ++c) rgb[3 * i + c] = (i % 3 == c) ? luma[i] : luma[i] / 2;
    }
    return rgb;
}

// Runs both entry points on the same frame and checks they agree; returns the block histograms.
std::vector<uint32_t> Histograms(const std::vector<uint32_t>& luma, uint32_t w, uint32_t h, const ad_param_t_& p,
                                 size_t blocks, uint32_t* sum = nullptr) {
    std::vector<uint32_t> hist(blocks * 128, 99), global(128, 99), from_rgb(blocks * 128, 99), global_rgb(128, 99);
    uint32_t s = 99, s_rgb = 99;
    EXPECT_EQ(ad_calc_histogram_luma(hist.data(), global.data(), &s, luma.data(), w, h, &p), 0);
    EXPECT_EQ(ad_calc_histogram(from_rgb.data(), global_rgb.data(), &s_rgb, RgbWithMax(luma).data(), w, h, &p), 0);
    EXPECT_EQ(from_rgb, hist);
    EXPECT_EQ(global_rgb, global);
    EXPECT_EQ(s_rgb, s);
    std::vector<uint32_t> all(128, 0);
    for (size_t i = 0; i < hist.size(); ++i) all[i % 128] += hist[i];
    EXPECT_EQ(global, all);  // the global histogram counts the same samples
    if (sum != nullptr) *sum = s;
    return hist;
}

// 5x4 frame, one block, L(x, y) = 8 (10y + x + 1). Mode 0 samples the left pixel of each 2x2
// cell's lower row (bin 10y + x + 1); mode 1 the rounded pair mean, where the last column of row 1
// pairs with the first pixel of row 2 ((120 + 168 + 1) >> 4 = 18) and that of row 3 with the zero
// past the plane ((280 + 1) >> 4 = 17).
TEST(CLTMHistogramTest, SamplingPatternOfBothModes) {
    std::vector<uint32_t> luma(20);
    for (uint32_t i = 0; i < 20; ++i) luma[i] = 8 * (10 * (i / 5) + i % 5 + 1);
    const struct { uint32_t mode; Bins bins; uint32_t sum; } cases[] = {
        {0, {{11, 1}, {13, 1}, {15, 1}, {31, 1}, {33, 1}, {35, 1}}, 138},
        {1, {{11, 1}, {13, 1}, {18, 1}, {31, 1}, {33, 1}, {17, 1}}, 123},
        {2, {}, 0},
        {0xFFFFFFFFu, {}, 0},
    };
    for (const auto& c : cases) {
        uint32_t sum = 0;
        EXPECT_EQ(NonZero(Histograms(luma, 5, 4, Geometry(5, 5, c.mode), 1, &sum), 0), c.bins) << c.mode;
        EXPECT_EQ(sum, c.sum) << c.mode;  // of the 7-bit bin codes
    }
    EXPECT_EQ(NonZero(Histograms(luma, 20, 1, Geometry(5, 5, 0), 1), 0), Bins{});  // one row: no samples

    // 65x2 with 64-pixel blocks: 2x1 blocks, samples from row 1 at columns 0, 2, ..., 64 only.
    luma.assign(130, 1023);  // row 0 is never sampled
    for (uint32_t x = 0; x < 65; ++x) luma[65 + x] = 8 * (x / 2);
    Bins block0;
    for (uint32_t b = 0; b < 32; ++b) block0[b] = 1;
    for (uint32_t mode : {0u, 1u}) {
        const std::vector<uint32_t> hist = Histograms(luma, 65, 2, Geometry(6, 6, mode), 2);
        EXPECT_EQ(NonZero(hist, 0), block0) << mode;
        // Column 64 is block 1's; in mode 1 it pairs with the zero past the plane: (256 + 1) >> 4.
        EXPECT_EQ(NonZero(hist, 1), (Bins{{mode == 0 ? 32u : 16u, 1}})) << mode;
    }
}

TEST(CLTMHistogramTest, BinCodesAtTheEndsOfTheRange) {
    // {left, right, mode, bin} on a 2x2 frame whose lower row holds the pair.
    const struct { uint32_t left, right, mode, bin; } cases[] = {{1023, 0, 0, 127},
                 {1023, 1023, 1, 127},
                 {0, 8, 1, 0},
                 {7, 8, 1, 1},
                 {8, 1023, 0, 1},
                 // Codes outside 0..1023 never index past the last bin.
                 {4096, 0, 0, 127},
                 {0xFFFFFFFFu, 0, 0, 127},
                 {5000, 5000, 1, 127}};
    for (const auto& c : cases) {
        const std::vector<uint32_t> hist = Histograms({0, 0, c.left, c.right}, 2, 2, Geometry(5, 5, c.mode), 1);
        EXPECT_EQ(NonZero(hist, 0), (Bins{{c.bin, 1}})) << c.left << "," << c.right;
    }
}

TEST(CLTMHistogramTest, LumaIsTheSignedMaximumAndAGlobalHistogramNeedsASum) {
    const std::vector<uint32_t> rgb = {1, 2,           3,           9, 4,           0,           0, 1023,
                                       5, 0xFFFFFFFFu, 0xFFFFFFFEu, 7, 0xFFFFFFFFu, 0xFFFFFFF0u, 9};
    std::vector<uint32_t> luma(5);
    EXPECT_EQ(ad_calc_luma(luma.data(), rgb.data(), 5, 1), luma.data());
    EXPECT_EQ(luma, (std::vector<uint32_t>{3, 9, 1023, 7, 9}));

    // A global histogram without a sum is cleared but not counted.
    const ad_param_t_ p = Geometry(5, 5);
    std::vector<uint32_t> hist(128), global(128, 5);
    ad_calc_histogram(hist.data(), global.data(), nullptr, std::vector<uint32_t>(8 * 4 * 3, 512).data(), 8, 4, &p);
    EXPECT_EQ(hist[64], 8u);
    EXPECT_EQ(global, std::vector<uint32_t>(128, 0));
    EXPECT_EQ(ad_calc_histogram(hist.data(), nullptr, nullptr, nullptr, 2, 2, &p), 1);
}

// Maps every luma to itself: point k (luma 16 (k + 1)) holds 64 * 16 (k + 1).
Curve IdentityCurve() {
    Curve c(64);
    for (uint32_t k = 0; k < 64; ++k) c[k] = std::min(1024 * (k + 1), 65535u);
    return c;
}

// Maps every luma from 16 on to `value`.
Curve ConstantCurve(uint32_t value) { return Curve(64, value * 64); }

TEST(CLTMMapTest, ToneMapping) {
    Curve top_only(64, 0);
    top_only[63] = 65535;
    const Curve identity = IdentityCurve();
    // One curve four times, so the weights have no effect. A curve of zeros ending at 65535 keeps
    // everything up to 1008 at 0 and lifts 1009..1023 to (8 + 1023 r) >> 4, never to 1023.
    const struct { const Curve* curve; uint32_t v, result; } one[] = {
        {&top_only, 1008, 0}, {&top_only, 1009, 64}, {&top_only, 1022, 895}, {&top_only, 5000, 959},
        {&identity, 0, 0}, {&identity, 15, 15}, {&identity, 17, 17}, {&identity, 1023, 1022}};
    for (const auto& c : one) {
        const uint32_t* const four[4] = {c.curve->data(), c.curve->data(), c.curve->data(), c.curve->data()};
        for (uint32_t w : {0u, 128u, 256u}) EXPECT_EQ(_tone_mapping(four, c.v, w, 256 - w), c.result) << c.v;
    }
    // {UL, UR, LL, LR, wx, wy, result}: wx weighs the left curves, wy the upper pair.
    const Curve c0 = ConstantCurve(0), c256 = ConstantCurve(256), c512 = ConstantCurve(512),
                c1000 = ConstantCurve(1000);
    const struct { const Curve *ul, *ur, *ll, *lr; uint32_t wx, wy, result; } four[] = {
        {&c0, &c256, &c0, &c256, 64, 200, 192},  // 256 + ((128 - 256 * 64) >> 8)
        {&c0, &c256, &c0, &c256, 256, 17, 0},    {&c0, &c0, &c512, &c512, 0, 128, 256},
        {&c1000, &c0, &c0, &c0, 128, 128, 250},   // upper 500, then (128 + 500 * 128) >> 8
        {&c0, &c1000, &c0, &c1000, 1, 256, 996},  // 1000 + ((128 - 1000) >> 8)
    };
    for (const auto& c : four) {
        const uint32_t* const curves[4] = {c.ul->data(), c.ur->data(), c.ll->data(), c.lr->data()};
        EXPECT_EQ(_tone_mapping(curves, 600, c.wx, c.wy), c.result) << c.wx << " " << c.wy;
    }
}

TEST(CLTMMapTest, Filter3x3) {
    const Curve no_weights(32, 0), heavy(32, 1000);
    const struct { std::vector<uint32_t> n; const uint32_t* weights; uint32_t result; } cases[] = {
        {std::vector<uint32_t>(9, 0), kRangeWeights, 0},  // flat: (32768 + 260 * 252 c) >> 16 = c
        {std::vector<uint32_t>(9, 513), kRangeWeights, 513},
        {std::vector<uint32_t>(9, 1023), kRangeWeights, 1023},
        {{0, 255, 0, 0, 0, 0, 0, 0, 0}, kRangeWeights, 1},  // weight rw[31] = 1, S = 225: (32768 + 291 * 255) >> 16
        {{100, 100, 100, 100, 100, 100, 100, 100, 400}, kRangeWeights, 100},  // 256 or more away: no weight
        {{1, 2, 3, 4, 5, 6, 7, 8, 9}, no_weights.data(), 5},                  // no weight at all: the centre
        {std::vector<uint32_t>(9, 700), heavy.data(), 1023},                  // S past the table takes Q[255], clamped
    };
    for (const auto& c : cases) EXPECT_EQ(_filter3x3(c.n.data(), c.weights), c.result) << c.n[4];
}

TEST(CLTMMapTest, EnhanceRgbCarriesTheLumaChangeToTheChannels) {
    // Luma 400 -> 600: gain (Q[100] * 600) >> 8 = 1535; a channel 200 becomes (512 + 1535 * 200) >> 10 = 300.
    const struct {
        std::vector<int32_t> in;
        uint32_t y_old, y_new, strength;
        int32_t offset, ratio;
        std::vector<uint32_t> out;
    } cases[] = {
        {{400, 200, 0}, 400, 600, 255, 0, 0, {600, 300, 0}},
        {{0, 200, 400}, 400, 600, 300, 0, 0, {0, 300, 600}},  // above 255 is full strength too
        {{400, 200, 0}, 400, 600, 128, 0, 0, {500, 250, 0}},  // u + ((u' - u) 128 + 128) >> 8
        {{400, 200, 0}, 400, 600, 255, 0, 256, {600, 300, 0}},    // ratio 256: identity, but switched on
        {{400, 200, 0}, 400, 600, 255, 100, 0, {100, 100, 100}},  // ratio 0: a constant
        {{400, 200, 0}, 400, 600, 255, 10, 128, {310, 160, 10}},
        {{400, 200, 0}, 400, 600, 255, -1023, 256, {0, 0, 0}},
        {{400, 200, 0}, 400, 600, 255, 1023, 1023, {1023, 1023, 1023}},
        {{400, 200, 0}, 400, 600, 0, 1023, 1023, {400, 200, 0}},  // strength 0 ignores the adjustment
        // Out-of-range input: strength 0 returns it clamped; Q is indexed by a clamped code.
        {{5000, 5, -7}, 5000, 1023, 0, 0, 0, {1023, 5, 0}},
        {{-7, -7, -7}, 0xFFFFFFF9u, 700, 255, 0, 0, {700, 700, 700}},
        {{400, 200, 0}, 400, 600, 255, 0, INT32_MIN, {0, 0, 0}},
    };
    for (const auto& c : cases) {
        std::vector<uint32_t> out(3, 77);
        const int32_t adj[2] = {c.offset, c.ratio};
        ASSERT_EQ(ad_enhance_rgb(out.data(), c.in.data(), &c.y_new, &c.y_old, 1, 1, c.strength, adj), 0);
        EXPECT_EQ(out, c.out) << c.in[0] << "," << c.in[1] << "," << c.in[2] << " s " << c.strength << " adj "
                              << c.offset << "/" << c.ratio;
    }
}

TEST(CLTMMapTest, ProcMapRefusesWithoutWriting) {
    ad_param_t_ param;
    const Curve curves = IdentityCurve();
    const std::vector<int32_t> in(3, 100);
    std::vector<uint32_t> out(3, 77);
    EXPECT_EQ(ad_proc_map(out.data(), nullptr, 1, 1, curves.data(), 255, &param), 1);
    EXPECT_EQ(ad_proc_map(out.data(), in.data(), 1, 1, curves.data(), 255, nullptr), 1);
    param.filter.filter_enable = 1;  // switched on without its tables
    EXPECT_EQ(ad_proc_map(out.data(), in.data(), 1, 1, curves.data(), 255, &param), 1);
    param.filter.filter_enable = 0;
    EXPECT_EQ(ad_proc_map(out.data(), in.data(), 0x7FFFFFFF, 0x7FFFFFFF, curves.data(), 255, &param), 1);
    EXPECT_EQ(out, std::vector<uint32_t>(3, 77));
    EXPECT_EQ(ad_proc_map(out.data(), in.data(), 1, 1, curves.data(), 255, &param), 0);
    EXPECT_EQ(out, std::vector<uint32_t>(3, 100));
}

}  // namespace
}  // namespace kelvo
