#include <gtest/gtest.h>

#include <vector>

#include "cltm/cltm_map.h"

namespace kelvo {
namespace {

// A curve that maps every luma to itself: point k (luma 16 (k + 1)) holds 64 * 16 (k + 1).
std::vector<uint32_t> IdentityCurve() {
    std::vector<uint32_t> c(64);
    for (uint32_t k = 0; k < 64; ++k) c[k] = 1024 * (k + 1) < 65535 ? 1024 * (k + 1) : 65535;
    return c;
}

// A curve that maps every luma from 16 on to `value`.
std::vector<uint32_t> ConstantCurve(uint32_t value) { return std::vector<uint32_t>(64, value * 64); }

TEST(CLTMMapTest, ReciprocalTableEntries) {
    const struct { size_t i; uint32_t q; } cases[] = {{0, 65535}, {1, 65535}, {2, 32768}, {3, 21845},
                                                      {25, 2621}, {100, 655}, {252, 260}, {255, 257}};
    for (const auto& c : cases) EXPECT_EQ(kMapReciprocal[c.i], c.q) << c.i;
}

TEST(CLTMMapTest, ToneMappingThroughOneCurve) {
    std::vector<uint32_t> top_only(64, 0);
    top_only[63] = 65535;
    const std::vector<uint32_t> identity = IdentityCurve();
    // {curve, luma, result}: a curve of zeros ending at 65535 keeps everything up to 1008 at 0 and
    // lifts 1009..1023 to (8 + 1023 r) >> 4, never to 1023; luma 0 maps to 0 whatever the curve.
    const struct { const std::vector<uint32_t>* curve; uint32_t v, result; } cases[] = {
        {&top_only, 0, 0},    {&top_only, 1008, 0},    {&top_only, 1009, 64},  {&top_only, 1022, 895},
        {&top_only, 1023, 959}, {&top_only, 5000, 959}, {&top_only, 0xFFFFFFFFu, 959},
        {&identity, 0, 0},    {&identity, 1, 1},       {&identity, 15, 15},    {&identity, 16, 16},
        {&identity, 17, 17},  {&identity, 500, 500},   {&identity, 1007, 1007}, {&identity, 1023, 1022}};
    for (const auto& c : cases) {
        const uint32_t* const four[4] = {c.curve->data(), c.curve->data(), c.curve->data(), c.curve->data()};
        for (uint32_t w : {0u, 128u, 256u}) {  // with one curve the weights have no effect
            EXPECT_EQ(_tone_mapping(four, c.v, w, 256 - w), c.result) << c.v << " w " << w;
        }
    }
}

TEST(CLTMMapTest, ToneMappingBlendsFourCurves) {
    const std::vector<uint32_t> c0 = ConstantCurve(0), c256 = ConstantCurve(256), c512 = ConstantCurve(512),
                                c1000 = ConstantCurve(1000);
    // {UL, UR, LL, LR, wx, wy, result}; wx weighs the left curves, wy the upper pair.
    const struct { const std::vector<uint32_t>*ul, *ur, *ll, *lr; uint32_t wx, wy, result; } cases[] = {
        {&c0, &c256, &c0, &c256, 64, 200, 192},     // 256 + ((128 - 256 * 64) >> 8)
        {&c0, &c256, &c0, &c256, 256, 17, 0},
        {&c0, &c0, &c512, &c512, 0, 128, 256},
        {&c1000, &c0, &c0, &c0, 128, 128, 250},     // upper 500, then 0 + ((128 + 500 * 128) >> 8)
        {&c0, &c1000, &c0, &c1000, 1, 256, 996},    // 1000 + ((128 - 1000) >> 8) = 1000 - 4
    };
    for (const auto& c : cases) {
        const uint32_t* const four[4] = {c.ul->data(), c.ur->data(), c.ll->data(), c.lr->data()};
        EXPECT_EQ(_tone_mapping(four, 600, c.wx, c.wy), c.result) << c.wx << " " << c.wy;
    }
}

TEST(CLTMMapTest, Filter3x3HandValues) {
    const uint32_t* rw = kRangeWeights;
    for (uint32_t c : {0u, 1u, 512u, 1023u}) {
        const uint32_t flat[9] = {c, c, c, c, c, c, c, c, c};
        EXPECT_EQ(_filter3x3(flat, rw), c);  // (32768 + 260 * 252 c) >> 16 = c
    }
    // One neighbour 255 above a zero centre: weight rw[31] = 1, S = 225, (32768 + 291 * 255) >> 16 = 1.
    const uint32_t near[9] = {0, 255, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(_filter3x3(near, rw), 1u);
    // A neighbour 256 or more away does not count.
    const uint32_t outlier[9] = {100, 100, 100, 100, 100, 100, 100, 100, 400};
    EXPECT_EQ(_filter3x3(outlier, rw), 100u);
    // With no weight at all the centre comes back unchanged.
    const uint32_t zero_weights[32] = {};
    const uint32_t mixed[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    EXPECT_EQ(_filter3x3(mixed, zero_weights), 5u);
    // Weights summing past the reciprocal table take its last entry instead of reading past it.
    const std::vector<uint32_t> heavy(32, 1000);
    const uint32_t grey[9] = {700, 700, 700, 700, 700, 700, 700, 700, 700};
    EXPECT_EQ(_filter3x3(grey, heavy.data()), 1023u);  // (32768 + 257 * 9000 * 700) >> 16, clamped
}

// A curve set for a grid of blocks where block (bx, by) maps everything to value(bx, by).
template <typename F>
std::vector<uint32_t> ConstantBlocks(uint32_t bw, uint32_t bh, F value) {
    std::vector<uint32_t> curves;
    for (uint32_t by = 0; by < bh; ++by) {
        for (uint32_t bx = 0; bx < bw; ++bx) {
            const std::vector<uint32_t> c = ConstantCurve(value(bx, by));
            curves.insert(curves.end(), c.begin(), c.end());
        }
    }
    return curves;
}

// 64-pixel blocks valued 0, 256, 512 reveal the pairing and weights along each axis: before the
// first centre (32) both curves are block 0's, then the upper/left weight runs 256, 252, ..., 132
// to the boundary, 128 on it, 124, ..., 4 up to the next centre; the result 256 (j + 1) - w within
// the pair (j, j + 1) is a ramp of 4 per pixel up to the last centre (160), after which both curves
// are the last block's.
TEST(CLTMMapTest, BlockPairingAndWeightsOfSixtyFourPixelBlocks) {
    const uint32_t n = 192;
    std::vector<uint32_t> expected(n);
    for (uint32_t p = 0; p < n; ++p) expected[p] = p < 32 ? 0 : (p > 160 ? 512 : 4 * (p - 32));
    const std::vector<uint32_t> luma(n * 2, 600);
    ad_filter_t_ off;

    // Vertically: one column of three block rows.
    const std::vector<uint32_t> rows = ConstantBlocks(1, 3, [](uint32_t, uint32_t by) { return 256 * by; });
    std::vector<uint32_t> out(n);
    ASSERT_EQ(ad_enhance_luma(out.data(), luma.data(), 1, n, rows.data(), 6, 6, &off), 0);
    EXPECT_EQ(out, expected);

    // Horizontally, on two rows: the pairing restarts on each row.
    const std::vector<uint32_t> cols = ConstantBlocks(3, 1, [](uint32_t bx, uint32_t) { return 256 * bx; });
    std::vector<uint32_t> two_rows(2 * n);
    ASSERT_EQ(ad_enhance_luma(two_rows.data(), luma.data(), n, 2, cols.data(), 6, 6, &off), 0);
    EXPECT_EQ(std::vector<uint32_t>(two_rows.begin(), two_rows.begin() + n), expected);
    EXPECT_EQ(std::vector<uint32_t>(two_rows.begin() + n, two_rows.end()), expected);

    // A partial last block uses the nominal size: with 150 rows its centre (160) is never reached.
    std::vector<uint32_t> partial(150);
    ASSERT_EQ(ad_enhance_luma(partial.data(), luma.data(), 1, 150, rows.data(), 6, 6, &off), 0);
    EXPECT_EQ(partial, std::vector<uint32_t>(expected.begin(), expected.begin() + 150));
}

TEST(CLTMMapTest, FilteredLumaHandValues) {
    // Row 100, 300, 100 through identity curves. Middle pixel: S = 6*4 + 3*28 = 108,
    // f = (32768 + 606 * 27600) >> 16 = 255, t = 255; edge pixels: S = 180, f = 113.
    // Detail scaled by the base gain: middle ((873 * 255 >> 8) * 45) >> 10 = 38, gain at 300 is
    // 171 + ((42 * 11) >> 4) = 199, 255 + (199 * 38 >> 8) = 284; edges d = (1156 * -13) >> 10 = -15,
    // gain at 100 is 66, 113 + (66 * -15 >> 8) = 113 - 4 = 109.
    const std::vector<uint32_t> curve = IdentityCurve();
    const std::vector<uint32_t> luma = {100, 300, 100};
    std::vector<uint32_t> range(kRangeWeights, kRangeWeights + 32), gains(kDetailGains, kDetailGains + 16);
    const struct { uint32_t luma_select, detail_direct; std::vector<uint32_t> out; } cases[] = {
        {0, 0, {109, 284, 109}},
        {0, 1, {109, 289, 109}},  // raw detail: 255 + (199 * 45 >> 8); 113 + (66 * -13 >> 8)
        {1, 0, {108, 284, 108}},  // by f: middle d = (1035 * 45) >> 10 = 45, gain 168; edges d = -14, gain 74
    };
    for (const auto& c : cases) {
        ad_filter_t_ filter;
        filter.filter_enable = 1;
        filter.filter_luma_select = c.luma_select;
        filter.filter_detail_direct = c.detail_direct;
        filter.range_weight = range.data();
        filter.detail_gain_curve = gains.data();
        std::vector<uint32_t> out(3);
        ASSERT_EQ(ad_enhance_luma(out.data(), luma.data(), 3, 1, curve.data(), 8, 8, &filter), 0);
        EXPECT_EQ(out, c.out) << c.luma_select << " " << c.detail_direct;
        // The same settings with the filter switched off map the luma straight through.
        filter.filter_enable = 0;
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
        {{0, 200, 400}, 400, 600, 300, 0, 0, {0, 300, 600}},     // above 255 is full strength too
        {{400, 200, 0}, 400, 600, 128, 0, 0, {500, 250, 0}},      // u + ((u' - u) 128 + 128) >> 8
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
    std::vector<uint32_t> untouched(3, 77);
    const int32_t adj[2] = {0, 0};
    const int32_t in[3] = {1, 2, 3};
    const uint32_t y = 3;
    ASSERT_EQ(ad_enhance_rgb(untouched.data(), in, &y, &y, 0, 5, 255, adj), 0);
    EXPECT_EQ(untouched, std::vector<uint32_t>(3, 77));
}

TEST(CLTMMapTest, ProcMapRefusesWithoutWriting) {
    ad_param_t_ param;
    const std::vector<uint32_t> curves = IdentityCurve();
    const std::vector<int32_t> in(3, 100);
    std::vector<uint32_t> out(3, 77);
    EXPECT_EQ(ad_proc_map(nullptr, in.data(), 1, 1, curves.data(), 255, &param), 1);
    EXPECT_EQ(ad_proc_map(out.data(), nullptr, 1, 1, curves.data(), 255, &param), 1);
    EXPECT_EQ(ad_proc_map(out.data(), in.data(), 1, 1, nullptr, 255, &param), 1);
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
