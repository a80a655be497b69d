#include <gtest/gtest.h>

#include <opencv2/core.hpp>

#include "alad/alad_offline.h"
#include "cltm/cltm_frame.h"
#include "cltm/cltm_map.h"
#include "tests/cltm/cltm_test_util.h"

namespace kelvo {
namespace {

using testing_util::Stdout;

// 12-bit values, integral, in the given type (CV_32SC3, or CV_64FC1 for the gray mode).
cv::Mat Random12(int rows, int cols, int type, uint64_t seed) {
    cv::Mat ints(rows, cols, CV_32SC(CV_MAT_CN(type)));
    cv::RNG(seed).fill(ints, cv::RNG::UNIFORM, 0, 4096);
    cv::Mat out;
    ints.convertTo(out, CV_MAT_DEPTH(type));
    return out;
}

// f(v) of every element of a CV_32S image, as floats.
template <typename F>
cv::Mat MapToFloat(const cv::Mat& ints, F f) {
    cv::Mat out(ints.size(), CV_32FC1);
    for (int y = 0; y < ints.rows; ++y) {
        for (int x = 0; x < ints.cols; ++x) out.at<float>(y, x) = static_cast<float>(f(ints.at<int32_t>(y, x)));
    }
    return out;
}

bool Same(const cv::Mat& a, const cv::Mat& b) {
    return a.size() == b.size() && a.type() == b.type() && cv::norm(a, b, cv::NORM_INF) == 0.0;
}

TEST(ContentLTMTest, DefaultObjectRunsEndToEnd) {
    ContentLTM ltm;
    EXPECT_EQ(ltm.Params()->strength_target, 128u);
    EXPECT_EQ(ltm.Params()->blk_width_log2, 8u);
    EXPECT_EQ(ltm.Params()->blk_height_log2, 8u);

    // Colour mode: the engine's still-image driver on the same picture.
    const cv::Mat picture = Random12(300, 520, CV_32SC3, 3);
    cv::Mat out, expected(picture.size(), CV_32SC3), work;
    ASSERT_EQ(ltm.CLTMBGRMode(picture, out, 0), 0);
    CLTMParamBlock block;
    GetParamsCLTM(block.get(), alad_cltm_user{});
    CLTMBufferManager buffers;
    buffers.AllocateBufferBySize(520, 300, block.get());
    cltm_params_api_ params;
    params.param = block.get();
    ASSERT_EQ(CLTMOneImageImple_(picture, params, buffers, work, expected), 0);
    EXPECT_TRUE(Same(out, expected));

    // Gray mode: the gain is new over old brightness through the reciprocal table; below 16 it
    // takes the first entry, 65535.
    cv::Mat brightness = Random12(300, 520, CV_64FC1, 4), gain, luma;
    const double probes[] = {0, 3, 15, 16, 31, 1000, 4095};
    for (int i = 0; i < 7; ++i) brightness.at<double>(0, i) = probes[i];
    ASSERT_EQ(ltm.CLTMGrayMode(brightness, gain, luma, 0), 0);
    ASSERT_EQ(gain.type(), CV_32FC1);
    for (int i = 0; i < 7; ++i) {
        const uint32_t m = static_cast<uint32_t>(luma.at<float>(0, i));
        const uint32_t q = probes[i] < 16 ? 65535u : kMapReciprocal[static_cast<uint32_t>(probes[i]) >> 4];
        EXPECT_EQ(m % 4, 0u);
        EXPECT_EQ(gain.at<float>(0, i), static_cast<float>((q * m) >> 10) / 1024.0f) << probes[i];
    }
}

TEST(ContentLTMTest, GrayAndColourModesAgreeOnGrayPictures) {
    ad_user_t_ user;
    user.strength = 16;  // full strength: the colour mode's channels are the new luma exactly
    user.blk_width = user.blk_height = 100;
    user.filter_flag = 1;
    ContentLTM ltm(user, false);
    ASSERT_EQ(ltm.Params()->strength_target, 255u);
    ASSERT_EQ(ltm.Params()->blk_width_log2, 7u);
    const cv::Mat brightness = Random12(140, 300, CV_64FC1, 5);
    cv::Mat gray, colour, gain, luma;
    brightness.convertTo(gray, CV_32S);
    cv::merge(std::vector<cv::Mat>{gray, gray, gray}, colour);
    cv::Mat out;
    ASSERT_EQ(ltm.CLTMBGRMode(colour, out, 0), 0);
    ASSERT_EQ(ltm.CLTMGrayMode(brightness, gain, luma, 0), 0);
    cv::Mat out_channel;
    cv::extractChannel(out, out_channel, 0);
    // Colour out = 4v + (v >> 8), gray out = 4v.
    EXPECT_TRUE(Same(luma, MapToFloat(out_channel, [](int32_t v) { return v >> 2 << 2; })));
}

TEST(ContentLTMTest, VideoObjectMapsLaterFramesWithFreshZeroCurves) {
    ContentLTM ltm(alad_cltm_user{}, true);
    const cv::Mat brightness = Random12(64, 96, CV_64FC1, 6);
    cv::Mat gain, luma;
    Stdout quiet;
    ASSERT_EQ(ltm.CLTMGrayMode(brightness, gain, luma, 0), 0);
    cv::Mat ints;
    brightness.convertTo(ints, CV_32S);
    // 4 * ((v >> 2) << 6): the first frame on the 16-bit scale.
    EXPECT_TRUE(Same(luma, MapToFloat(ints, [](int32_t v) { return (v >> 2) << 8; })));
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
    const cv::Mat keep(4, 6, CV_32FC1, cv::Scalar(9.0f));
    cv::Mat gain = keep.clone(), luma = keep.clone();
    const cv::Mat gray_inputs[] = {cv::Mat(), cv::Mat(4, 6, CV_32FC1, cv::Scalar(5)),
                                   cv::Mat(4, 7, CV_64FC1, cv::Scalar(5))};
    Stdout quiet;
    for (const cv::Mat& in : gray_inputs) {
        EXPECT_EQ(ltm.CLTMGrayMode(in, gain, luma, 0), -1);
        EXPECT_TRUE(Same(gain, keep) && Same(luma, keep));
    }
    const cv::Mat keep_colour(4, 6, CV_8UC3, cv::Scalar::all(9));
    cv::Mat out = keep_colour.clone();
    const cv::Mat colour_inputs[] = {cv::Mat(4, 6, CV_8UC3, cv::Scalar::all(5)), cv::Mat(4, 6, CV_32SC1),
                                     cv::Mat(4, 6, CV_32SC3, cv::Scalar::all(5))};
    for (const cv::Mat& in : colour_inputs) {
        EXPECT_EQ(ltm.CLTMBGRMode(in, out, 0), -1);
        EXPECT_TRUE(Same(out, keep_colour));
    }
    EXPECT_NE(quiet.Text().find("CLTMBGRMode: out must be empty or CV_32SC3 6x4, got CV_8UC3 6x4"),
              std::string::npos);
}

}  // namespace
}  // namespace kelvo
