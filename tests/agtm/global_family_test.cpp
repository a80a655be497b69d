#include <gtest/gtest.h>

#include <cmath>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "agtm/scaler_lut.h"
#include "alad/alad_offline.h"
#include "tests/cltm/cltm_test_util.h"

namespace kelvo {
namespace {

using Member = void (*)(cv::Mat&, const std::vector<double>&, cv::Mat&);

// The gray-ratio members at even places.
const Member kMembers[] = {GlobalToneMappingOneImage,      GlobalToneMappingOneImageBy1DGammaLUT,
                           GlobalToneMappingOneImageByCombineLUT, GlobalToneMappingOneImageByScalerLUT,
                           ::GlobalToneMappingOneImageFixed, ::GlobalToneMappingOneImageBy1DGammaLUTFixed};

std::vector<double> Identity() {
    std::vector<double> curve(256);
    for (int i = 0; i < 256; ++i) curve[i] = i / 255.0;
    return curve;
}

// Random colours, a black row and a white row.
cv::Mat Picture() {
    cv::Mat picture(48, 64, CV_8UC3);
    cv::RNG(11).fill(picture, cv::RNG::UNIFORM, 0, 256);
    picture.row(0).setTo(cv::Scalar::all(0));
    picture.row(1).setTo(cv::Scalar::all(255));
    return picture;
}

cv::Mat Apply(Member member, const std::vector<double>& ambient, cv::Mat picture) {
    cv::Mat out;
    testing_util::Stdout quiet;
    member(picture, ambient, out);
    return out;
}

TEST(GlobalFamilyTest, IdentityAmbientCurveLeavesTheContentCurve) {
    const cv::Mat picture = Picture();
    cv::Mat color, gray, gray8;
    picture.convertTo(color, CV_32FC3);
    cv::cvtColor(color, gray, cv::COLOR_BGR2GRAY);
    gray.convertTo(gray8, CV_8U);
    std::vector<double> content, content_gain;
    testing::internal::CaptureStdout();
    ContentAdaptiveToneCurve(gray8, content, 0.5f, 0.7f);
    testing::internal::GetCapturedStdout();
    Transform2ScalerLUT(content, content_gain);

    // One-dimensional table: each channel through the content curve, truncated to a code. Gain
    // tables: the ambient gain is 1.0, so each channel is scaled by the content gain alone.
    const cv::Mat table = Apply(GlobalToneMappingOneImageBy1DGammaLUT, Identity(), picture);
    const cv::Mat scaled = Apply(GlobalToneMappingOneImageByScalerLUT, Identity(), picture);
    for (int i = 0; i < picture.rows * picture.cols * 3; ++i) {
        const uint8_t c = picture.data[i];
        ASSERT_EQ(table.data[i], static_cast<int>(content[c] * 255)) << i;
        const float g = reinterpret_cast<const float*>(gray.data)[i / 3];
        const int j = std::min(static_cast<int>(g), 255);
        const double gain = content_gain[j] * (1 - (g - j)) + content_gain[std::min(j + 1, 255)] * (g - j);
        ASSERT_NEAR(scaled.data[i], std::min(255.0, std::round(gain * c)), 1.0) << i;
    }
}

TEST(GlobalFamilyTest, BlackStaysBlackAndBadInputIsRefused) {
    const cv::Mat keep(2, 2, CV_8UC3, cv::Scalar::all(9));
    for (int m = 0; m < 6; ++m) {
        const Member member = kMembers[m];
        const cv::Mat lifted = Apply(member, std::vector<double>(256, 1.0), Picture());
        EXPECT_TRUE(m % 2 || cv::countNonZero(lifted.row(0).reshape(1)) == 0) << m;  // black through the gray ratio
        EXPECT_GT(cv::countNonZero(lifted.row(2).reshape(1)), 0) << m;
        cv::Mat out = keep.clone(), wrong(4, 4, CV_32SC3, cv::Scalar::all(5)), picture = Picture();
        testing_util::Stdout quiet;
        member(picture, std::vector<double>(255, 0.5), out);
        member(wrong, Identity(), out);
        EXPECT_EQ(cv::norm(out, keep, cv::NORM_INF), 0.0);
        EXPECT_NE(quiet.Text().find("the ambient curve has 255 entries, 256 needed"), std::string::npos);
    }
}

}  // namespace
}  // namespace kelvo
