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
