#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "agtm/display_panel_model.h"
#include "agtm/tone_curve.h"

namespace kelvo {
namespace {

// The curve for two black levels, appended to `C`.
std::vector<double> Curve(float black_src, float black_dst, float knee = 0.0f, std::vector<double> C = {}) {
    std::vector<double> Y, A = {1, 2, 3};
    double step = 0.0;
    ContentFreeToneCurve(Y, A, C, step, 2.2f, 500.0f, black_src, black_dst, knee, true);
    EXPECT_EQ(A.size(), 256u);
    return C;
}

TEST(ToneCurveTest, PipelineCurveSpansTheCodeRangeAndNeverFalls) {
    const double conditions[][3] = {{300, 20000, 2.2}, {300, 300, 2.2}, {6000, 260000, 2.2},
                                    {0, 100000, 1.8},  {20000, 300, 2.6}, {300, 1, 2.4}};
    for (const auto& c : conditions) {
        DisplayPanelModel model(c[2], 500.0, 0.2, 1.0, 0.01, c[0], c[1]);
        std::vector<double> A, C;
        ContentFreeToneCurve(A, C, model, 0.0f, true);
        ASSERT_EQ(A.size(), 256u);
        ASSERT_EQ(C.size(), 256u);
        EXPECT_NEAR(C[0], 0.0, 1e-3) << c[0] << "->" << c[1];
        EXPECT_NEAR(C[255], 1.0, 1e-3) << c[0] << "->" << c[1];
        for (int i = 1; i < 256; ++i) EXPECT_GE(C[i], C[i - 1]) << i;
        EXPECT_TRUE(c[1] != 20000 || C[32] > 32 / 255.0 * 1.5);  // bright ambient light lifts the dark codes
    }
}

TEST(ToneCurveTest, BlendUsesOneMinusPointNineNineAsWritten) {
    // Equal black levels: keep-shape is the identity, so the curve is 0.99 * K + w * E with
    // w = 1 - 0.99 = 0.010000000000000009 in double.
    const float g = 2.2f, w = 500.0f, black = static_cast<float>(0.2 + 300.0 * 0.01 / 6.2831852);
    std::vector<double> Y, A, C, X, Ys, E_code, E_log, K_code, K_log, unused;
    double step = 0.0;
    ContentFreeToneCurve(Y, A, C, step, g, w, black, black, 0.0f, true);
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

TEST(ToneCurveTest, KneeIsTruncatedTowardZeroAndClamped) {
    EXPECT_EQ(Curve(0.6f, 30.0f, 3.9f), Curve(0.6f, 30.0f, 3.0f));
    EXPECT_NE(Curve(0.6f, 30.0f, 3.9f), Curve(0.6f, 30.0f, 4.0f));
    EXPECT_EQ(Curve(0.6f, 30.0f, -0.5f), Curve(0.6f, 30.0f, 0.0f));
    // Knees that would index outside the codes are clamped, with a message, instead.
    testing::internal::CaptureStderr();
    EXPECT_EQ(Curve(0.6f, 30.0f, -7.0f), Curve(0.6f, 30.0f, 0.0f));
    EXPECT_EQ(Curve(0.6f, 30.0f, 1e9f), Curve(0.6f, 30.0f, 254.0f));
    EXPECT_NE(testing::internal::GetCapturedStderr().find("knee"), std::string::npos);
    // The curve is appended behind what the vector held.
    std::vector<double> expected = {-1.0, -2.0}, plain = Curve(0.5f, 20.0f);
    expected.insert(expected.end(), plain.begin(), plain.end());
    EXPECT_EQ(Curve(0.5f, 20.0f, 0.0f, {-1.0, -2.0}), expected);
}

TEST(ToneCurveTest, InterpolationReturnsTheLastValueOutsideTheKnots) {
    const std::vector<double> xs = {1.0, 2.0, 4.0}, ys = {10.0, 20.0, 40.0};
    const double cases[][2] = {{0.5, 40.0}, {4.0, 40.0}, {9.0, 40.0}, {1.0, 10.0}, {1.5, 15.0}, {3.0, 30.0}};
    for (const auto& c : cases) EXPECT_EQ(ApplyToneMappingCurve(c[0], xs, ys), c[1]) << c[0];
    EXPECT_EQ(ApplyToneMappingCurve(1.0, {1.0}, {7.0}), 7.0);
    EXPECT_EQ(ApplyToneMappingCurve(1.0, {}, {}), 0.0);
    EXPECT_EQ(ApplyToneMappingCurve(1.5, {1.0, 2.0, 3.0}, {5.0, 6.0}), 5.5);  // shorter ys: no overread
}

TEST(ToneCurveTest, UnsetOrZeroBlackLevelsGiveTheIdentityCurve) {
    const float blacks[][2] = {{-1.0f, -1.0f}, {0.0f, 5.0f}, {5.0f, 0.0f}, {NAN, 5.0f}};
    for (const auto& b : blacks) {
        testing::internal::CaptureStderr();
        const std::vector<double> C = Curve(b[0], b[1]);
        EXPECT_NE(testing::internal::GetCapturedStderr().find("black levels must be positive"), std::string::npos);
        ASSERT_EQ(C.size(), 256u);
        for (int i = 0; i < 256; ++i) EXPECT_EQ(C[i], i * 0.00392156862745098);
    }
}

TEST(ToneCurveTest, DiagnosticPlotRefusesUnequalSizes) {
    std::vector<double> x = {0.0, 1.0}, y = {0.0};
    testing::internal::CaptureStdout();
    DrawToneCurve(x, y, "unequal");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Size of x.yBins doesn't equal!\n");
}

}  // namespace
}  // namespace kelvo
