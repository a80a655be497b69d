#include "cltm/cltm_map.h"

#include <gtest/gtest.h>

#include <vector>

#include "cltm/cltm_curve.h"

namespace kelvo {
namespace {

using Curve = std::vector<uint32_t>;

// Maps every luma to itself: point k (luma 16 (k + 1)) holds 64 * 16 (k + 1).
Curve IdentityCurve() {
    Curve c(64);
    for (uint32_t k = 0; k < 64; ++k) c[k] = std::min(1024 * (k + 1), 65535u);
    return c;
}

// Maps every luma from 16 on to `value`.
Curve ConstantCurve(uint32_t value) { return Curve(64, value * 64); }

TEST(CLTMMapTest, ReciprocalTables) {
    // {index, clip reciprocal (0 where the table ends at 127), map reciprocal}
    const struct { size_t i; uint32_t r, q; } cases[] = {{0, 65535, 65535}, {1, 32768, 65535}, {2, 21845, 32768},
        {3, 16384, 21845}, {100, 648, 655}, {127, 512, 516}, {252, 0, 260}, {255, 0, 257}};
    for (const auto& c : cases) {
        EXPECT_EQ(c.i < 128 ? kClipReciprocal[c.i] : 0u, c.r) << c.i;
        EXPECT_EQ(kMapReciprocal[c.i], c.q) << c.i;
    }
}

TEST(CLTMMapTest, ToneMapping) {
    Curve top_only(64, 0);
    top_only[63] = 65535;
    const Curve identity = IdentityCurve();
    // One curve four times, so the weights have no effect. A curve of zeros ending at 65535 keeps
    // everything up to 1008 at 0 and lifts 1009..1023 to (8 + 1023 r) >> 4, never to 1023.
    const struct { const Curve* curve; uint32_t v, result; } one[] = {{&top_only, 0, 0},      {&top_only, 1008, 0},   {&top_only, 1009, 64},   {&top_only, 1022, 895},
               {&top_only, 1023, 959}, {&top_only, 5000, 959}, {&identity, 0, 0},       {&identity, 1, 1},
               {&identity, 15, 15},    {&identity, 17, 17},    {&identity, 1007, 1007}, {&identity, 1023, 1022}};
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

// A curve set for a bw x bh grid where block (bx, by) maps everything to 256 (bx + by).
Curve ConstantBlocks(uint32_t bw, uint32_t bh) {
    Curve curves;
    for (uint32_t b = 0; b < bw * bh; ++b) {
        const Curve c = ConstantCurve(256 * (b % bw + b / bw));
        curves.insert(curves.end(), c.begin(), c.end());
    }
    return curves;
}

// 64-pixel blocks valued 0, 256, 512 reveal the pairing and weights along each axis: before the
// first centre (32) both curves are block 0's; from there the first block's weight runs 256, 252,
// ..., 132, 128 at the boundary, 124, ..., 4, so within the pair (j, j + 1) the result
// 256 (j + 1) - w ramps by 4 per pixel up to the last centre (160), after which both are the last.
TEST(CLTMMapTest, BlockPairingAndWeightsOfSixtyFourPixelBlocks) {
    const uint32_t n = 192;
    std::vector<uint32_t> ramp(n);
    for (uint32_t p = 0; p < n; ++p) ramp[p] = p < 32 ? 0 : (p > 160 ? 512 : 4 * (p - 32));
    const std::vector<uint32_t> luma(2 * n, 600);
    ad_filter_t_ off;
    std::vector<uint32_t> out(2 * n);
    ASSERT_EQ(ad_enhance_luma(out.data(), luma.data(), 1, n, ConstantBlocks(1, 3).data(), 6, 6, &off), 0);
    EXPECT_EQ(std::vector<uint32_t>(out.begin(), out.begin() + n), ramp);
    // Horizontally on two rows: the pairing restarts on each row.
    ASSERT_EQ(ad_enhance_luma(out.data(), luma.data(), n, 2, ConstantBlocks(3, 1).data(), 6, 6, &off), 0);
    EXPECT_EQ(std::vector<uint32_t>(out.begin(), out.begin() + n), ramp);
    EXPECT_EQ(std::vector<uint32_t>(out.begin() + n, out.end()), ramp);
    // A partial last block has the nominal size: with 150 rows its centre is never reached.
    ASSERT_EQ(ad_enhance_luma(out.data(), luma.data(), 1, 150, ConstantBlocks(1, 3).data(), 6, 6, &off), 0);
    EXPECT_EQ(std::vector<uint32_t>(out.begin(), out.begin() + 150),
              std::vector<uint32_t>(ramp.begin(), ramp.begin() + 150));
}

TEST(CLTMMapTest, FilteredLumaHandValues) {
    // Row 100, 300, 100 through identity curves. Middle: S = 6 * 4 + 3 * 28 = 108,
    // f = (32768 + 606 * 27600) >> 16 = 255 = t; edges: S = 180, f = t = 113. Detail scaled by the
    // base gain: middle ((873 * 255 >> 8) * 45) >> 10 = 38, gain at 300 171 + ((42 * 11) >> 4) = 199,
    // 255 + (199 * 38 >> 8) = 284; edges (1156 * -13) >> 10 = -15, gain at 100 66, 113 + (-990 >> 8).
    const Curve curve = IdentityCurve();
    const std::vector<uint32_t> luma = {100, 300, 100};
    std::vector<uint32_t> range(kRangeWeights, kRangeWeights + 32), gains(kDetailGains, kDetailGains + 16);
    const struct { uint32_t luma_select, detail_direct; std::vector<uint32_t> out; } cases[] = {
        {0, 0, {109, 284, 109}},
        {0, 1, {109, 289, 109}},  // raw detail: 255 + (199 * 45 >> 8), 113 + (66 * -13 >> 8)
        {1, 0, {108, 284, 108}},  // by f: middle d = (1035 * 45) >> 10 = 45, gain 168; edges d = -14, gain 74
    };
    for (const auto& c : cases) {
        ad_filter_t_ filter{c.luma_select, c.detail_direct, range.data(), gains.data(), 1};
        std::vector<uint32_t> out(3);
        ASSERT_EQ(ad_enhance_luma(out.data(), luma.data(), 3, 1, curve.data(), 8, 8, &filter), 0);
        EXPECT_EQ(out, c.out) << c.luma_select << " " << c.detail_direct;
        filter.filter_enable = 0;  // off, the luma goes straight through the curves
        ASSERT_EQ(ad_enhance_luma(out.data(), luma.data(), 3, 1, curve.data(), 8, 8, &filter), 0);
        EXPECT_EQ(out, luma);
    }
}

TEST(CLTMMapTest, EnhanceRgbCarriesTheLumaChangeToTheChannels) {
    // Luma 400 -> 600: gain (Q[100] * 600) >> 8 = 1535; a channel 200 becomes (512 + 1535 * 200) >> 10 = 300.
    const struct {
        std::vector<int32_t> in;
        uint32_t y_old, y_new, strength;
        int32_t offset, ratio;
        std::vector<uint32_t> out;
    } cases[] = {
        {{400, 400, 400}, 400, 600, 255, 0, 0, {600, 600, 600}},  // grey stays grey
        {{400, 200, 0}, 400, 600, 255, 0, 0, {600, 300, 0}},
        {{0, 200, 400}, 400, 600, 300, 0, 0, {0, 300, 600}},  // above 255 is full strength too
        {{400, 200, 0}, 400, 600, 128, 0, 0, {500, 250, 0}},  // u + ((u' - u) 128 + 128) >> 8
        {{400, 200, 0}, 400, 600, 0, 0, 0, {400, 200, 0}},
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
