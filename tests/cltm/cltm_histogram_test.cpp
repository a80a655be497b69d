#include "cltm/cltm_histogram.h"

#include <gtest/gtest.h>

#include <map>
#include <vector>

#include "tests/cltm/cltm_test_util.h"

namespace kelvo {
namespace {

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

}  // namespace
}  // namespace kelvo
