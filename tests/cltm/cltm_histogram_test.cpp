#include <gtest/gtest.h>

#include <map>
#include <vector>

#include "cltm/cltm_histogram.h"

namespace kelvo {
namespace {

ad_param_t_ Geometry(uint32_t log2w, uint32_t log2h, uint32_t hist_mode) {
    ad_param_t_ p;
    p.blk_width_log2 = log2w;
    p.blk_height_log2 = log2h;
    p.hist_mode = hist_mode;
    return p;
}

// Non-zero bins of block `block` as bin -> count.
std::map<uint32_t, uint32_t> Bins(const std::vector<uint32_t>& hist, size_t block) {
    std::map<uint32_t, uint32_t> bins;
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

// 5x4 frame, one 32x32 block, L(x, y) = 8 * (10y + x + 1): bin = 10y + x + 1 in mode 0.
TEST(CLTMHistogramTest, SamplingPatternOfBothModesWithOddWidthPairing) {
    const uint32_t w = 5, h = 4;
    std::vector<uint32_t> luma(w * h);
    for (uint32_t y = 0; y < h; ++y) {
        for (uint32_t x = 0; x < w; ++x) luma[y * w + x] = 8 * (10 * y + x + 1);
    }
    const std::vector<uint32_t> rgb = RgbWithMax(luma);

    // Mode 0: left pixel of each 2x2 cell's lower row. Mode 1: the rounded pair mean; the last
    // column of row 1 pairs with the first pixel of row 2 ((120 + 168 + 1) >> 4 = 18), that of
    // row 3 with the zero past the plane ((280 + 1) >> 4 = 17).
    const struct { uint32_t mode; std::map<uint32_t, uint32_t> bins; uint32_t sum; } cases[] = {
        {0, {{11, 1}, {13, 1}, {15, 1}, {31, 1}, {33, 1}, {35, 1}}, 11 + 13 + 15 + 31 + 33 + 35},
        {1, {{11, 1}, {13, 1}, {18, 1}, {31, 1}, {33, 1}, {17, 1}}, 11 + 13 + 18 + 31 + 33 + 17},
    };
    for (const auto& c : cases) {
        const ad_param_t_ p = Geometry(5, 5, c.mode);
        std::vector<uint32_t> hist(128, 99), global(128, 99), from_rgb(128, 99), global_rgb(128, 99);
        uint32_t sum = 99, sum_rgb = 99;
        ASSERT_EQ(ad_calc_histogram_luma(hist.data(), global.data(), &sum, luma.data(), w, h, &p), 0);
        ASSERT_EQ(ad_calc_histogram(from_rgb.data(), global_rgb.data(), &sum_rgb, rgb.data(), w, h, &p), 0);
        EXPECT_EQ(Bins(hist, 0), c.bins) << "mode " << c.mode;
        EXPECT_EQ(global, hist);
        EXPECT_EQ(sum, c.sum);
        EXPECT_EQ(from_rgb, hist);
        EXPECT_EQ(global_rgb, hist);
        EXPECT_EQ(sum_rgb, c.sum);
    }
}

// 65x2 with 64-pixel blocks: 2x1 blocks, samples from row 1 at columns 0, 2, ..., 64 only.
TEST(CLTMHistogramTest, SixtyFiveByTwoSplitsItsSamplesOverTwoBlocks) {
    const uint32_t w = 65, h = 2;
    std::vector<uint32_t> luma(w * h, 1023);  // row 0 is never sampled
    for (uint32_t x = 0; x < w; ++x) luma[w + x] = 8 * (x / 2);
    std::map<uint32_t, uint32_t> block0;
    for (uint32_t b = 0; b < 32; ++b) block0[b] = 1;

    const struct { uint32_t mode; std::map<uint32_t, uint32_t> block1; } cases[] = {
        {0, {{32, 1}}},
        {1, {{16, 1}}},  // column 64 pairs with the zero past the plane: (256 + 1) >> 4
    };
    for (const auto& c : cases) {
        const ad_param_t_ p = Geometry(6, 6, c.mode);
        std::vector<uint32_t> hist(2 * 128, 7);
        ASSERT_EQ(ad_calc_histogram_luma(hist.data(), nullptr, nullptr, luma.data(), w, h, &p), 0);
        EXPECT_EQ(Bins(hist, 0), block0) << "mode " << c.mode;
        EXPECT_EQ(Bins(hist, 1), c.block1) << "mode " << c.mode;
        std::vector<uint32_t> from_rgb(2 * 128, 7);
        ASSERT_EQ(ad_calc_histogram(from_rgb.data(), nullptr, nullptr, RgbWithMax(luma).data(), w, h, &p), 0);
        EXPECT_EQ(from_rgb, hist);
    }
}

TEST(CLTMHistogramTest, BinCodesAtTheEndsOfTheRange) {
    // {left, right, mode, bin} on a 2x2 frame whose lower row holds the pair.
    const struct { uint32_t left, right, mode, bin; } cases[] = {
        {1023, 0, 0, 127}, {1023, 1023, 1, 127}, {0, 8, 1, 0}, {7, 8, 1, 1}, {8, 1023, 0, 1}, {0, 0, 0, 0},
        // Codes outside 0..1023 never index past the last bin.
        {4096, 0, 0, 127}, {0xFFFFFFFFu, 0, 0, 127}, {5000, 5000, 1, 127}};
    for (const auto& c : cases) {
        const std::vector<uint32_t> luma = {0, 0, c.left, c.right};
        const ad_param_t_ p = Geometry(5, 5, c.mode);
        std::vector<uint32_t> hist(128), global(128);
        uint32_t sum = 0;
        ad_calc_histogram_luma(hist.data(), global.data(), &sum, luma.data(), 2, 2, &p);
        EXPECT_EQ(Bins(hist, 0), (std::map<uint32_t, uint32_t>{{c.bin, 1}})) << c.left << "," << c.right;
        EXPECT_EQ(sum, c.bin);
    }
}

TEST(CLTMHistogramTest, EmptyHistogramsForOtherModesOneRowAndMissingSum) {
    std::vector<uint32_t> luma(8 * 4, 512);
    const struct { uint32_t mode, height; } cases[] = {{2, 4}, {0xFFFFFFFFu, 4}, {0, 1}, {1, 1}};
    for (const auto& c : cases) {
        const ad_param_t_ p = Geometry(5, 5, c.mode);
        std::vector<uint32_t> hist(128, 5), global(128, 5);
        uint32_t sum = 5;
        ad_calc_histogram_luma(hist.data(), global.data(), &sum, luma.data(), 8, c.height, &p);
        EXPECT_EQ(hist, std::vector<uint32_t>(128, 0)) << c.mode << " " << c.height;
        EXPECT_EQ(global, std::vector<uint32_t>(128, 0));
        EXPECT_EQ(sum, 0u);
    }
    // A global histogram without a sum is cleared but not counted.
    const ad_param_t_ p = Geometry(5, 5, 0);
    std::vector<uint32_t> hist(128), global(128, 5);
    ad_calc_histogram(hist.data(), global.data(), nullptr, RgbWithMax(luma).data(), 8, 4, &p);
    EXPECT_EQ(hist[64], 8u);
    EXPECT_EQ(global, std::vector<uint32_t>(128, 0));
}

TEST(CLTMHistogramTest, LumaIsTheSignedMaximumOfTheChannels) {
    const std::vector<uint32_t> rgb = {1, 2, 3, 9, 4, 0, 0, 1023, 5, 0xFFFFFFFFu, 0xFFFFFFFEu, 7,
                                       0xFFFFFFFFu, 0xFFFFFFF0u, 0xFFFFFFFEu};
    std::vector<uint32_t> luma(5);
    EXPECT_EQ(ad_calc_luma(luma.data(), rgb.data(), 5, 1), luma.data());
    EXPECT_EQ(luma, (std::vector<uint32_t>{3, 9, 1023, 7, 0xFFFFFFFFu}));
}

TEST(CLTMHistogramTest, NullArgumentsAreRefused) {
    const ad_param_t_ p = Geometry(5, 5, 0);
    std::vector<uint32_t> plane(4), hist(128);
    EXPECT_EQ(ad_calc_histogram(nullptr, nullptr, nullptr, plane.data(), 2, 2, &p), 1);
    EXPECT_EQ(ad_calc_histogram(hist.data(), nullptr, nullptr, nullptr, 2, 2, &p), 1);
    EXPECT_EQ(ad_calc_histogram(hist.data(), nullptr, nullptr, plane.data(), 2, 2, nullptr), 1);
    EXPECT_EQ(ad_calc_histogram_luma(hist.data(), nullptr, nullptr, nullptr, 2, 2, &p), 1);
}

}  // namespace
}  // namespace kelvo
