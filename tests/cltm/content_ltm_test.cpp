// The middle-luma path and ContentLTM.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "alad/alad_offline.h"
#include "cltm/cltm_curve.h"
#include "cltm/cltm_frame.h"
#include "cltm/cltm_luma_middle.h"
#include "cltm/cltm_map.h"
#include "tests/engine/engine_test_util.h"

namespace kelvo {
namespace {

using testing_util::Random12;
using testing_util::Same;
using testing_util::Stdout;

// 150x90 with 64-pixel blocks: partial blocks in both directions, a 3x2 grid.
constexpr uint32_t kW = 150, kH = 90;

alad_cltm_user User64(uint8_t filter) { return {64, 64, 1, 8, filter, 0, 0, 0}; }

std::vector<uint32_t> LumaPlane(uint64_t seed) {
    std::vector<uint32_t> luma(kW * kH);
    cv::RNG rng(seed);
    for (uint32_t i = 0; i < kW * kH; ++i) luma[i] = (i % kW * 5 + i / kW * 3 + rng.uniform(0, 96)) % 1024;
    return luma;
}

TEST(LumaMiddleTest, VideoFirstFrameOnSixteenBitScaleThenCurvesOfThePreviousFrame) {
    CLTMParamBlock param(User64(0));
    param->curve_transition = 8191;  // ignored by the luma path: the new curves replace the old
    param->strength_mode = 1;
    ad_cxt_t* ctx = ad_init_video();
    std::vector<uint32_t> curves(6 * 64, 0), hist(129, 0), out(kW * kH), still(kW * kH);
    const std::vector<uint32_t> luma = LumaPlane(1);
    auto frame = [&](uint32_t width, uint32_t* c, uint32_t* h) {
        return ad_proc_video_k1_lumaMiddle(out.data(), luma.data(), width, kH, param.get(), ctx, 0, c, h);
    };
    Stdout quiet;
    ASSERT_EQ(frame(kW, curves.data(), hist.data()), 0);
    for (size_t i = 0; i < out.size(); ++i) ASSERT_EQ(out[i], luma[i] * 64) << i;
    EXPECT_GT(hist[128], 0u);

    // The same frame again is mapped with its own curves, unblended: the still-image result.
    ASSERT_EQ(frame(kW, curves.data(), hist.data()), 0);
    ASSERT_EQ(ad_proc_image_k1_lumaMiddle(still.data(), luma.data(), kW, kH, param.get()), 0);
    EXPECT_EQ(out, still);
    EXPECT_EQ(ctx->strength, 5u);  // the ramp runs and is kept, though a luma plane cannot use it

    // Without a curve set the frame is mapped with zero curves; another width is refused.
    ASSERT_EQ(frame(kW, nullptr, nullptr), 0);
    EXPECT_EQ(*std::max_element(out.begin(), out.end()), 0u);
    EXPECT_EQ(frame(kW - 1, curves.data(), hist.data()), 1);
    EXPECT_NE(quiet.Text().find("ERROR: unmatched size 149x90"), std::string::npos);
    ad_deinit_video(ctx);
}

TEST(LumaMiddleTest, MapIgnoresStrengthAndEqualsTheRgbPathOnGrayPixels) {
    const std::vector<uint32_t> luma = LumaPlane(2);
    std::vector<int32_t> rgb(kW * kH * 3);
    for (size_t i = 0; i < rgb.size(); ++i) rgb[i] = static_cast<int32_t>(luma[i / 3]);
    for (uint8_t filter : {0, 1}) {
        CLTMParamBlock param(User64(filter));
        std::vector<uint32_t> curves(6 * 64), weak(kW * kH), full(kW * kH), rgb_out(kW * kH * 3);
        ASSERT_EQ(ad_proc_calc_curve_luma(curves.data(), nullptr, nullptr, luma.data(), kW, kH, 0, param.get()), 0);
        ad_proc_map_k1_lumaMiddle(weak.data(), luma.data(), kW, kH, curves.data(), 0, param.get());
        ad_proc_map_k1_lumaMiddle(full.data(), luma.data(), kW, kH, curves.data(), 255, param.get());
        EXPECT_EQ(weak, full) << int{filter};
        // A gray pixel's channels all take the new luma in the RGB path at full strength.
        ad_proc_map(rgb_out.data(), rgb.data(), kW, kH, curves.data(), 255, param.get());
        for (size_t i = 0; i < rgb_out.size(); ++i) ASSERT_EQ(rgb_out[i], full[i / 3]) << int{filter} << " " << i;
    }
}

TEST(ContentLTMTest, DefaultObjectRunsEndToEnd) {
    ContentLTM ltm;
    // Colour mode: the engine's still-image driver, with the default record's parameters, on the same picture.
    const cv::Mat picture = Random12(300, 520, 3);
    cv::Mat out, expected(picture.size(), CV_32SC3);
    ASSERT_EQ(ltm.CLTMBGRMode(picture, out, 0), 0);
    ASSERT_EQ(testing_util::Engine(alad_cltm_user{}, 520, 300).Still(picture, expected), 0);
    EXPECT_TRUE(Same(out, expected));

    // Gray mode: the gain is new over old brightness through the reciprocal table; below 16 it
    // takes the first entry, 65535.
    cv::Mat brightness = Random12(300, 520, 4, CV_64FC1), gain, luma;
    const double probes[] = {0, 3, 15, 16, 31, 1000, 4095};
    for (int i = 0; i < 7; ++i) brightness.at<double>(0, i) = probes[i];
    ASSERT_EQ(ltm.CLTMGrayMode(brightness, gain, luma, 0), 0);
    for (int i = 0; i < 7; ++i) {
        const uint32_t m = static_cast<uint32_t>(luma.at<float>(0, i));
        const uint32_t q = probes[i] < 16 ? 65535u : kMapReciprocal[static_cast<uint32_t>(probes[i]) >> 4];
        EXPECT_EQ(m % 4, 0u);
        EXPECT_EQ(gain.at<float>(0, i), static_cast<float>((q * m) >> 10) / 1024.0f) << probes[i];
    }
}

TEST(ContentLTMTest, VideoObjectMapsLaterFramesWithFreshZeroCurves) {
    ContentLTM ltm(alad_cltm_user{}, true);
    const cv::Mat brightness = Random12(64, 96, 6, CV_64FC1, true);
    cv::Mat gain, luma, expected;
    Stdout quiet;
    ASSERT_EQ(ltm.CLTMGrayMode(brightness, gain, luma, 0), 0);
    brightness.convertTo(expected, CV_32F, 64);  // 4 * ((v >> 2) << 6): the 16-bit scale
    EXPECT_TRUE(Same(luma, expected));
    // Both modes reallocate the buffers on every call, so later frames see zero curves.
    ASSERT_EQ(ltm.CLTMGrayMode(brightness, gain, luma, 1), 0);
    EXPECT_EQ(cv::countNonZero(luma), 0);
    // The context stays bound to the first size: the frame is refused, the outputs kept.
    luma.setTo(7.0f);
    EXPECT_EQ(ltm.CLTMGrayMode(brightness.colRange(0, 50), gain, luma, 2), -1);
    EXPECT_EQ(cv::countNonZero(luma != 7.0f), 0);
}

TEST(ContentLTMTest, RefusesWhatItCannotTakeAndLeavesTheOutputs) {
    ContentLTM ltm;
    const cv::Mat keep(4, 6, CV_32FC1, cv::Scalar(9.0f)), keep_colour(4, 6, CV_8UC3, cv::Scalar::all(9));
    cv::Mat gain = keep.clone(), luma = keep.clone(), out = keep_colour.clone();
    Stdout quiet;
    for (const cv::Mat& in : {cv::Mat(), cv::Mat(4, 6, CV_32FC1), cv::Mat(4, 7, CV_64FC1, cv::Scalar(5))}) {
        EXPECT_EQ(ltm.CLTMGrayMode(in, gain, luma, 0), -1);
    }
    for (const cv::Mat& in : {cv::Mat(4, 6, CV_8UC3), cv::Mat(4, 6, CV_32SC1), cv::Mat(4, 6, CV_32SC3)}) {
        EXPECT_EQ(ltm.CLTMBGRMode(in, out, 0), -1);
    }
    EXPECT_TRUE(Same(gain, keep) && Same(luma, keep) && Same(out, keep_colour));
    EXPECT_NE(quiet.Text().find("CLTMBGRMode: out must be empty or CV_32SC3 6x4, got CV_8UC3 6x4"), std::string::npos);

    // Accepted: values outside 12 bits count as black or white.
    const cv::Mat wild = (cv::Mat_<double>(1, 4) << std::nan(""), -1e30, 1e30, 5000.0);
    gain.release();
    luma.release();
    ASSERT_EQ(ltm.CLTMGrayMode(wild, gain, luma, 0), 0);
    EXPECT_LE(cv::norm(luma, cv::NORM_INF), 4092.0);
}

}  // namespace
}  // namespace kelvo
