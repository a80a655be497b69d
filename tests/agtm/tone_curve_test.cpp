#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "agtm/display_panel_model.h"
#include "agtm/tone_curve.h"

namespace kelvo {
namespace {

std::vector<double> PipelineCurve(double src_lux, double dst_lux, double gamma = 2.2) {
    DisplayPanelModel model(gamma, 500.0, 0.2, 1.0, 0.01, src_lux, dst_lux);
    std::vector<double> A, C;
    ContentFreeToneCurve(A, C, model, 0.0f, true);
    EXPECT_EQ(A.size(), 256u);
    return C;
}

TEST(ToneCurveTest, PipelineCurveSpansTheCodeRangeAndNeverFalls) {
    const double conditions[][3] = {{300, 20000, 2.2}, {300, 300, 2.2}, {6000, 260000, 2.2},
                                    {0, 100000, 1.8}, {20000, 300, 2.6}, {300, 1, 2.4}};
    for (const auto& c : conditions) {
        const std::vector<double> C = PipelineCurve(c[0], c[1], c[2]);
        ASSERT_EQ(C.size(), 256u);
        EXPECT_NEAR(C[0], 0.0, 1e-3) << c[0] << "->" << c[1];
        EXPECT_NEAR(C[255], 1.0, 1e-3) << c[0] << "->" << c[1];
        for (int i = 1; i < 256; ++i) EXPECT_GE(C[i], C[i - 1]) << i;
    }
    // Bright ambient light lifts the dark codes.
    const std::vector<double> sunlight = PipelineCurve(300, 20000);
    EXPECT_GT(sunlight[32], 32 / 255.0 * 1.5);
}

TEST(ToneCurveTest, BlendUsesOneMinusPointNineNineAsWritten) {
    // Equal black levels: keep-shape is the identity, so the curve is 0.99 * K + w * E with
    // w = 1 - 0.99 = 0.010000000000000009 in double.
    const float g = 2.2f, w = 500.0f;
    const float black = static_cast<float>(0.2 + 300.0 * 0.01 / 6.2831852);
    std::vector<double> Y, A, C;
    double step = 0.0;
    ContentFreeToneCurve(Y, A, C, step, g, w, black, black, 0.0f, true);

    std::vector<double> X, Ys, E_code, E_log, K_code, K_log, unused;
    OldLuminanceLogDistribution(X, g, w, black, Ys, 0.0f, true);
    GlobalToneMappingCurveEqualize(X, g, w, black, unused, E_code, E_log, 0, true);
    GlobalToneMappingCurveKeepShape(X, g, w, black, Ys, K_code, K_log, 0, true);
    ASSERT_EQ(1.0 - 0.99, 0.010000000000000009);
    int differs_from_plain_001 = 0;
    for (int i = 0; i < 256; ++i) {
        EXPECT_NEAR(K_code[i], X[i], 1e-12) << i;
        EXPECT_EQ(C[i], K_code[i] * 0.99 + E_code[i] * 0.010000000000000009) << i;
        differs_from_plain_001 += C[i] != K_code[i] * 0.99 + E_code[i] * 0.01;
    }
    EXPECT_GT(differs_from_plain_001, 0);  // the test can tell the two weights apart
    EXPECT_DOUBLE_EQ(step, (Ys[255] - Ys[0]) / 255.0);
}

TEST(ToneCurveTest, KneeIsTruncatedTowardZero) {
    const float black_src = 0.6f, black_dst = 30.0f;
    auto curve = [&](float knee) {
        std::vector<double> Y, A, C;
        double step;
        ContentFreeToneCurve(Y, A, C, step, 2.2f, 500.0f, black_src, black_dst, knee, true);
        return C;
    };
    EXPECT_EQ(curve(3.9f), curve(3.0f));
    EXPECT_NE(curve(3.9f), curve(4.0f));
    EXPECT_EQ(curve(-0.5f), curve(0.0f));
    // Knees that would index outside the codes are clamped, with a message, instead.
    testing::internal::CaptureStderr();
    EXPECT_EQ(curve(-7.0f), curve(0.0f));
    EXPECT_EQ(curve(1e9f), curve(254.0f));
    EXPECT_NE(testing::internal::GetCapturedStderr().find("knee"), std::string::npos);
}

TEST(ToneCurveTest, InterpolationReturnsTheLastValueOutsideTheKnots) {
    const std::vector<double> xs = {1.0, 2.0, 4.0}, ys = {10.0, 20.0, 40.0};
    EXPECT_EQ(ApplyToneMappingCurve(0.5, xs, ys), 40.0);  // below the first knot: the last value
    EXPECT_EQ(ApplyToneMappingCurve(4.0, xs, ys), 40.0);
    EXPECT_EQ(ApplyToneMappingCurve(9.0, xs, ys), 40.0);
    EXPECT_EQ(ApplyToneMappingCurve(1.0, xs, ys), 10.0);
    EXPECT_EQ(ApplyToneMappingCurve(1.5, xs, ys), 15.0);
    EXPECT_EQ(ApplyToneMappingCurve(3.0, xs, ys), 30.0);
    EXPECT_EQ(ApplyToneMappingCurve(1.0, {1.0}, {7.0}), 7.0);
    EXPECT_EQ(ApplyToneMappingCurve(1.0, {}, {}), 0.0);
    EXPECT_EQ(ApplyToneMappingCurve(1.5, {1.0, 2.0, 3.0}, {5.0, 6.0}), 5.5);  // shorter ys: no overread
}

TEST(ToneCurveTest, CurveIsAppendedBehindExistingEntries) {
    std::vector<double> Y, A = {1, 2, 3}, C = {-1.0, -2.0};
    double step = 0.0;
    ContentFreeToneCurve(Y, A, C, step, 2.2f, 500.0f, 0.5f, 20.0f, 0.0f, true);
    ASSERT_EQ(C.size(), 258u);
    EXPECT_EQ(C[0], -1.0);
    EXPECT_EQ(C[1], -2.0);
    EXPECT_EQ(A.size(), 256u);
}

TEST(ToneCurveTest, UnsetOrZeroBlackLevelsGiveTheIdentityCurve) {
    const float blacks[][2] = {{-1.0f, -1.0f}, {0.0f, 5.0f}, {5.0f, 0.0f}, {NAN, 5.0f}};
    for (const auto& b : blacks) {
        std::vector<double> Y, A, C;
        double step = 1.0;
        testing::internal::CaptureStderr();
        ContentFreeToneCurve(Y, A, C, step, 2.2f, 500.0f, b[0], b[1], 0.0f, true);
        EXPECT_NE(testing::internal::GetCapturedStderr().find("black levels must be positive"), std::string::npos);
        ASSERT_EQ(C.size(), 256u);
        for (int i = 0; i < 256; ++i) EXPECT_EQ(C[i], i * 0.00392156862745098);
        EXPECT_EQ(A.size(), 256u);
    }
}

TEST(ToneCurveTest, RenderedPlotHasTheDocumentedCanvas) {
    std::vector<double> x = {0.0, 0.5, 1.0}, y = {0.0, 0.7, 1.0};
    const cv::Mat plot = RenderToneCurve(x, y, true);
    EXPECT_EQ(plot.rows, 1034);
    EXPECT_EQ(plot.cols, 1034);
    EXPECT_EQ(plot.type(), CV_8UC3);
    testing::internal::CaptureStdout();
    EXPECT_TRUE(RenderToneCurve(x, {0.0}, false).empty());
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Size of x.yBins doesn't equal!\n");
}

}  // namespace
}  // namespace kelvo
