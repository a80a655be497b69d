#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include <opencv2/imgproc.hpp>

#include "agtm/scaler_lut.h"
#include "alad/alad_offline.h"
#include "tests/cltm/cltm_test_util.h"

namespace kelvo {
namespace {

using testing_util::Stdout;
using Member = void (*)(cv::Mat&, const std::vector<double>&, cv::Mat&);

const Member kMembers[] = {GlobalToneMappingOneImage, GlobalToneMappingOneImageBy1DGammaLUT,
                           GlobalToneMappingOneImageByCombineLUT, GlobalToneMappingOneImageByScalerLUT,
                           ::GlobalToneMappingOneImageFixed, ::GlobalToneMappingOneImageBy1DGammaLUTFixed};

std::vector<double> Identity() {
    std::vector<double> curve(256);
    for (int i = 0; i < 256; ++i) curve[i] = i / 255.0;
    return curve;
}

// A picture with black pixels, pure white and everything in between.
cv::Mat Picture() {
    cv::Mat picture(48, 64, CV_8UC3);
    cv::RNG(11).fill(picture, cv::RNG::UNIFORM, 0, 256);
    picture.row(0).setTo(cv::Scalar::all(0));
    picture.row(1).setTo(cv::Scalar::all(255));
    return picture;
}

struct Start {
    cv::Mat gray;  // float
    std::vector<double> content;
};

// The content curve every member makes from the picture's gray.
Start ContentOf(const cv::Mat& picture) {
    Start s;
    cv::Mat color, gray8;
    picture.convertTo(color, CV_32FC3);
    cv::cvtColor(color, s.gray, cv::COLOR_BGR2GRAY);
    s.gray.convertTo(gray8, CV_8U);
    Stdout quiet;
    ContentAdaptiveToneCurve(gray8, s.content, 0.5f, 0.7f);
    return s;
}

cv::Mat Apply(Member member, const std::vector<double>& ambient, cv::Mat picture) {
    cv::Mat out;
    Stdout quiet;
    member(picture, ambient, out);
    return out;
}

TEST(GlobalFamilyTest, BlackStaysBlackWhateverTheCurves) {
    const std::vector<double> bright(256, 1.0);
    for (const Member member : {kMembers[0], kMembers[2], kMembers[4]}) {
        const cv::Mat out = Apply(member, bright, Picture());
        EXPECT_EQ(cv::countNonZero(out.row(0).reshape(1)), 0);
        EXPECT_GT(cv::countNonZero(out.row(2).reshape(1)), 0);
    }
}

TEST(GlobalFamilyTest, IdentityAmbientCurveLeavesTheContentCurve) {
    const cv::Mat picture = Picture();
    const Start s = ContentOf(picture);

    // One-dimensional table: each channel through the content curve, truncated to a code.
    const cv::Mat table = Apply(GlobalToneMappingOneImageBy1DGammaLUT, Identity(), picture);
    for (int i = 0; i < picture.rows * picture.cols * 3; ++i) {
        const uint8_t c = picture.data[i];
        ASSERT_EQ(table.data[i], static_cast<int>(s.content[c] * 255)) << i;
    }

    // Gain tables: the ambient gain is 1.0, so each channel is scaled by the content gain alone.
    std::vector<double> content_gain;
    Transform2ScalerLUT(s.content, content_gain);
    const cv::Mat scaled = Apply(GlobalToneMappingOneImageByScalerLUT, Identity(), picture);
    for (int y = 0; y < picture.rows; ++y) {
        for (int x = 0; x < picture.cols; ++x) {
            const float g = s.gray.at<float>(y, x);
            const int j = std::min(static_cast<int>(g), 255);
            const double f = g - j;
            const double gain = content_gain[j] * (1 - f) + content_gain[std::min(j + 1, 255)] * f;
            for (int c = 0; c < 3; ++c) {
                const double expected = std::min(255.0, std::round(gain * picture.at<cv::Vec3b>(y, x)[c]));
                ASSERT_NEAR(scaled.at<cv::Vec3b>(y, x)[c], expected, 1.0) << x << "," << y;
            }
        }
    }
}

TEST(GlobalFamilyTest, UnusualCurvesStayInsideTheTables) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const std::vector<std::vector<double>> curves = {std::vector<double>(256, 3.0), std::vector<double>(256, -0.5),
                                                     std::vector<double>(300, nan), Identity()};
    for (const auto& curve : curves) {
        for (const Member member : kMembers) {
            const cv::Mat out = Apply(member, curve, Picture());
            ASSERT_EQ(out.type(), CV_8UC3);
            ASSERT_EQ(out.size(), cv::Size(64, 48));
        }
    }
    // Refused: a short curve, a picture that is not 8-bit BGR. The output is left as it was.
    const cv::Mat keep(2, 2, CV_8UC3, cv::Scalar::all(9));
    for (const Member member : kMembers) {
        cv::Mat out = keep.clone(), wrong(4, 4, CV_32SC3, cv::Scalar::all(5)), picture = Picture();
        Stdout quiet;
        member(picture, std::vector<double>(255, 0.5), out);
        member(wrong, Identity(), out);
        EXPECT_EQ(cv::norm(out, keep, cv::NORM_INF), 0.0);
        EXPECT_NE(quiet.Text().find("the ambient curve has 255 entries, 256 needed"), std::string::npos);
    }
}

}  // namespace
}  // namespace kelvo
