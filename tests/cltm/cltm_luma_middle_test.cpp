#include "cltm/cltm_luma_middle.h"

#include <gtest/gtest.h>

#include <vector>

#include <opencv2/core.hpp>

#include "cltm/cltm_curve.h"
#include "cltm/cltm_map.h"
#include "tests/cltm/cltm_test_util.h"

namespace kelvo {
namespace {

using testing_util::Stdout;

// 150x90 with 64-pixel blocks: partial blocks in both directions, a 3x2 grid.
constexpr uint32_t kW = 150, kH = 90;
constexpr size_t kCurveEntries = 3 * 2 * 64;

alad_cltm_user User(uint8_t filter) {
    alad_cltm_user user;
    user.blk_width = user.blk_height = 64;
    user.filter_flag = filter;
    return user;
}

std::vector<uint32_t> LumaPlane(uint64_t seed) {
    std::vector<uint32_t> luma(kW * kH);
    cv::RNG rng(seed);
    for (uint32_t y = 0; y < kH; ++y) {
        for (uint32_t x = 0; x < kW; ++x) luma[y * kW + x] = (x * 5 + y * 3 + rng.uniform(0, 96)) % 1024;
    }
    return luma;
}

TEST(LumaMiddleTest, VideoFirstFrameOnSixteenBitScaleThenCurvesOfThePreviousFrame) {
    CLTMParamBlock param(User(0));
    param->curve_transition = 8191;  // ignored by the luma path: the new curves replace the old
    param->strength_mode = 1;
    ad_cxt_t* ctx = ad_init_video();
    std::vector<uint32_t> curves(kCurveEntries, 0), hist(129, 0), out(kW * kH), still(kW * kH);
    const std::vector<uint32_t> luma = LumaPlane(1);
    Stdout quiet;

    ASSERT_EQ(ad_proc_video_k1_lumaMiddle(out.data(), luma.data(), kW, kH, param.get(), ctx, 0, curves.data(),
                                          hist.data()),
              0);
    for (size_t i = 0; i < out.size(); ++i) ASSERT_EQ(out[i], luma[i] * 64) << i;
    EXPECT_GT(hist[128], 0u);

    // The same frame again is mapped with its own curves, unblended: the still-image result.
    ASSERT_EQ(ad_proc_video_k1_lumaMiddle(out.data(), luma.data(), kW, kH, param.get(), ctx, 0, curves.data(),
                                          hist.data()),
              0);
    ASSERT_EQ(ad_proc_image_k1_lumaMiddle(still.data(), luma.data(), kW, kH, param.get()), 0);
    EXPECT_EQ(out, still);
    EXPECT_LE(*std::max_element(out.begin(), out.end()), 1023u);
    EXPECT_EQ(ctx->strength, 5u);  // the ramp runs and is kept, though a luma plane cannot use it

    // Without a curve set the frame is mapped with zero curves; another width is refused.
    ASSERT_EQ(ad_proc_video_k1_lumaMiddle(out.data(), luma.data(), kW, kH, param.get(), ctx, 0, nullptr, nullptr), 0);
    EXPECT_EQ(*std::max_element(out.begin(), out.end()), 0u);
    EXPECT_EQ(ad_proc_video_k1_lumaMiddle(out.data(), luma.data(), kW - 1, kH, param.get(), ctx, 0, curves.data(),
                                          hist.data()),
              1);
    EXPECT_NE(quiet.Text().find("ERROR: unmatched size 149x90"), std::string::npos);
    ad_deinit_video(ctx);
}

TEST(LumaMiddleTest, MapIgnoresStrengthAndEqualsTheRgbPathOnGrayPixels) {
    for (uint8_t filter : {0, 1}) {
        SCOPED_TRACE(filter);
        CLTMParamBlock param(User(filter));
        const std::vector<uint32_t> luma = LumaPlane(2);
        std::vector<uint32_t> curves(kCurveEntries), weak(kW * kH), full(kW * kH), rgb_out(kW * kH * 3);
        ASSERT_EQ(ad_proc_calc_curve_luma(curves.data(), nullptr, nullptr, luma.data(), kW, kH, 0, param.get()), 0);
        ASSERT_EQ(ad_proc_map_k1_lumaMiddle(weak.data(), luma.data(), kW, kH, curves.data(), 0, param.get()), 0);
        ASSERT_EQ(ad_proc_map_k1_lumaMiddle(full.data(), luma.data(), kW, kH, curves.data(), 255, param.get()), 0);
        EXPECT_EQ(weak, full);

        // A gray pixel's channels all take the new luma in the RGB path at full strength.
        std::vector<int32_t> rgb(kW * kH * 3);
        for (size_t i = 0; i < rgb.size(); ++i) rgb[i] = static_cast<int32_t>(luma[i / 3]);
        ASSERT_EQ(ad_proc_map(rgb_out.data(), rgb.data(), kW, kH, curves.data(), 255, param.get()), 0);
        for (size_t i = 0; i < rgb_out.size(); ++i) ASSERT_EQ(rgb_out[i], full[i / 3]) << i;
    }
}

}  // namespace
}  // namespace kelvo
