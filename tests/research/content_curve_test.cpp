#include <gtest/gtest.h>

#include <opencv2/core.hpp>
#include <vector>

#include "alad/alad_offline.h"
#include "tests/cltm/cltm_test_util.h"

namespace kelvo {
namespace {

constexpr double kStep = 0.00392156862745098;

struct Curve {
    std::vector<double> curve, gain;
};

Curve CurveOf(cv::Mat image, float content, float temporal, Curve c = {}) {
    testing_util::Stdout quiet;
    ContentAdaptiveToneCurve8Bit(image, c.curve, c.gain, content, temporal);
    return c;
}

TEST(ContentCurveTest, IdentityCases) {
    cv::Mat every_code(4, 256, CV_8UC1), noise(64, 64, CV_8UC1);
    for (int x = 0; x < 256; ++x) every_code.col(x).setTo(x);
    cv::RNG(7).fill(noise, cv::RNG::UNIFORM, 0, 256);
    // One code: nothing to equalise, the identity scaled by the temporal weight.
    const Curve flat = CurveOf(cv::Mat(20, 30, CV_8UC1, cv::Scalar(77)), 0.5f, 0.7f);
    // No content weight, temporal weight 1: the identity ramp with gains of 1.
    const Curve identity = CurveOf(noise, 0.0f, 1.0f);
    // All codes equally frequent: no weight reaches the cap, so the curve stays near the identity.
    const Curve even = CurveOf(every_code, 1.0f, 1.0f);
    for (int k = 0; k < 256; ++k) {
        EXPECT_EQ(flat.curve[k], k * kStep * 0.7f) << k;
        EXPECT_EQ(identity.curve[k], k * kStep) << k;
        EXPECT_NEAR(identity.gain[k], 1.0, 1e-12) << k;
        EXPECT_NEAR(even.curve[k], k * kStep, 1.0 / 255) << k;
    }
}

TEST(ContentCurveTest, TemporalBlendOnlyScalesTheCurve) {
    cv::Mat dark(32, 48, CV_8UC1), bright(32, 48, CV_8UC1);
    cv::RNG(8).fill(dark, cv::RNG::NORMAL, 40, 20);
    cv::RNG(9).fill(bright, cv::RNG::NORMAL, 200, 30);
    ClearLUT();
    CurveOf(dark, 0.5f, 0.7f);
    // The previous curve is grown with zeros and never stored: what came before has no effect.
    const Curve after = CurveOf(bright, 0.5f, 0.7f), alone = CurveOf(bright, 0.5f, 1.0f);
    for (int k = 0; k < 256; ++k) {
        EXPECT_EQ(after.curve[k], alone.curve[k] * 0.7f) << k;
        EXPECT_GE(alone.curve[k], alone.curve[k == 0 ? 0 : k - 1]) << k;
    }
    EXPECT_NEAR(alone.curve[255], 1.0, 1e-9);
    EXPECT_EQ(after.gain[0], 2 * after.gain[1] - after.gain[2]);
}

TEST(ContentCurveTest, EmptyOrWrongImagesLeaveTheCurvesAlone) {
    for (cv::Mat image : {cv::Mat(), cv::Mat(4, 4, CV_8UC3, cv::Scalar::all(1)), cv::Mat(4, 4, CV_16UC1)}) {
        const Curve kept = CurveOf(image, 0.5f, 0.7f, {{1.0, 2.0}, {3.0}});
        EXPECT_EQ(kept.curve, (std::vector<double>{1.0, 2.0}));
        EXPECT_EQ(kept.gain, std::vector<double>{3.0});
    }
}

}  // namespace
}  // namespace kelvo
