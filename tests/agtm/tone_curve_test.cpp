// The panel model, the ambient tone curve made from it and the gain table made from the curve.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "agtm/display_panel_model.h"
#include "agtm/scaler_lut.h"
#include "agtm/tone_curve.h"
#include "alad/alad_engine.h"
#include "alad/alad_offline.h"
#include "tests/verify/verify_test_util.h"

namespace kelvo {
namespace {

TEST(DisplayPanelModelTest, ForwardAndInverse) {
    for (const double g : {1.8, 2.2, 2.6}) {
        for (int i = 0; i <= 100; ++i) {
            const double x = i / 100.0;
            EXPECT_NEAR(DisplayModelInverse(DisplayModel(x, g, 500.0, 0.2), g, 500.0, 0.2), x, 1e-6) << g << " " << x;
        }
    }
    EXPECT_DOUBLE_EQ(DisplayModel(0.0, 2.2, 500.0, 0.2), std::log10(0.2));
    // Without a black level, code 0 is -infinity and comes back as 0.
    const double minus_inf = DisplayModel(0.0, 2.2, 500.0, 0.0);
    EXPECT_TRUE(std::isinf(minus_inf) && minus_inf < 0);
    EXPECT_EQ(DisplayModelInverse(minus_inf, 2.2, 500.0, 0.0), 0.0);
    // Below the black level: exactly 0, not negative and not NaN; no clamp at the top.
    EXPECT_EQ(DisplayModelInverse(std::log10(0.1), 2.2, 500.0, 0.2), 0.0);
    EXPECT_EQ(DisplayModelInverse(-10.0, 2.2, 500.0, 0.2), 0.0);
    EXPECT_GT(DisplayModelInverse(std::log10(1000.0), 2.2, 500.0, 0.2), 1.0);
}

TEST(DisplayPanelModelTest, UnsetViewConditionIsRefused) {
    DisplayPanelModel model;
    testing::internal::CaptureStderr();
    EXPECT_EQ(model.DisplayModelTransformSrc(0.5), -1.0);
    EXPECT_EQ(model.DisplayModelInverseTransformDst(0.5), -1.0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "ambientlight isn't be specified.\nambientlight isn't be specified.\n");
}

TEST(DisplayPanelModelTest, EffectiveBlackLevelsFollowTheViewCondition) {
    DisplayPanelModel model(2.2, 500.0, 0.2, 1.0, 0.01, 300.0, 5000.0);
    EXPECT_NEAR(model.BlackDst(), 8.157747, 1e-6);
    EXPECT_DOUBLE_EQ(model.BlackSrc(), 0.2 + 300.0 * 0.01 / 6.2831852);
    EXPECT_DOUBLE_EQ(model.DisplayModelTransformDst(1.0), DisplayModel(1.0, 2.2, 500.0, model.BlackDst()));
    // A new panel black does not reach the effective levels until the view condition is set.
    const double src = model.BlackSrc(), dst = model.BlackDst();
    model.UpdateDisplaySpecification(2.4, 600.0, 1.0, 0.5, 0.02);
    EXPECT_EQ(model.BlackSrc(), src);
    EXPECT_EQ(model.BlackDst(), dst);
    // Setting one ambient level recomputes only that side, from the new black and reflectance.
    model.SetAmbientLightSrc(1000.0);
    EXPECT_DOUBLE_EQ(model.BlackSrc(), 1.0 + 1000.0 * 0.02 / 6.2831852);
    EXPECT_EQ(model.BlackDst(), dst);
    model.UpdateViewCondition(0.0, 0.0);
    EXPECT_EQ(model.BlackSrc(), 1.0);
    EXPECT_EQ(model.BlackDst(), 1.0);
}

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

TEST(ScalerLutTest, GainIsOutputCodeOverInputCodeWithEntryZeroExtrapolated) {
    std::vector<double> curve(256), gains;
    for (int i = 0; i < 256; ++i) curve[i] = i / 255.0;
    std::vector<AGTMGain> lut;
    ConvertAmbientLUTFixed(curve, lut);
    ASSERT_EQ(lut.size(), 256u);
    for (int i = 0; i < 256; ++i) {
        EXPECT_GE(lut[i].raw(), 2047) << i;  // a hair under 1.0 truncates to 2047
        EXPECT_LE(lut[i].raw(), 2048) << i;
    }
    curve[1] = 0.01;  // 2.55 times input code 1/255
    Transform2ScalerLUT(curve, gains);
    EXPECT_DOUBLE_EQ(gains[1], 2.55);
    ConvertAmbientLUTFixed(curve, lut);
    EXPECT_EQ(lut[1].raw(), 5222);  // 5222.4 truncated
    // Entry 0 extrapolates from entries 1 and 2, and may exceed them.
    curve[1] = 3.0 / 255.0;
    curve[2] = 4.0 / 255.0;
    Transform2ScalerLUT(curve, gains);
    EXPECT_NEAR(gains[1], 3.0, 1e-12);
    EXPECT_NEAR(gains[2], 2.0, 1e-12);
    EXPECT_NEAR(gains[0], 4.0, 1e-12);
}

TEST(ScalerLutTest, FixedPointConversionTruncatesAndSaturatesSymmetrically) {
    const struct { double value; int32_t raw; } cases[] = {
        {1.0, 2048}, {1.00048, 2048}, {1.0005, 2049}, {-0.0004, 0}, {-1.5, -3072},
        {255.99951171875, 524287}, {256.0, 524287}, {300.0, 524287},
        {-300.0, -524287},  // the most negative raw value never occurs
        {NAN, 0}, {INFINITY, 524287}, {-INFINITY, -524287},
    };
    for (const auto& c : cases) EXPECT_EQ(AGTMGain::FromDouble(c.value).raw(), c.raw) << c.value;
}

TEST(ScalerLutTest, ShortCurvesAreRefused) {
    for (size_t n : {0u, 1u, 2u}) {
        std::vector<double> gains = {9.0, 9.0, 9.0, 9.0};
        testing::internal::CaptureStderr();
        Transform2ScalerLUT(std::vector<double>(n, 0.5), gains);
        EXPECT_NE(testing::internal::GetCapturedStderr().find("at least 3 entries"), std::string::npos);
        EXPECT_EQ(gains, std::vector<double>(n, 1.0));
    }
}

// The pure public forms give what the engine builds, and leave the running engine alone.
TEST(ScalerLutTest, AmbientFunctionsGiveTheEnginesTableWithoutTouchingTheEngine) {
    alad_view_condition_ view{300.0f, 20000.0f};
    std::vector<int> engine_table(256);
    ASSERT_EQ(ComputeAGTMLUTByAmbientLight(0, 300, 20000, engine_table.data(), 0), 0);
    const std::vector<int32_t> table = AmbientAGTMTable(alad_display_model_(), view);
    EXPECT_EQ(std::vector<int>(table.begin(), table.end()), engine_table);

    const std::vector<double> curve = AmbientToneCurve(alad_display_model_(), view);
    ASSERT_EQ(curve.size(), 256u);
    EXPECT_GT(curve[10], 10 / 255.0);  // dark codes lifted under bright light
    // A table for other conditions is computed without replacing the engine's.
    view.blackLevelDst = 300.0f;
    AmbientAGTMTable(alad_display_model_(), view);
    EXPECT_EQ(alad_test::EngineRegs().table, std::vector<int32_t>(engine_table.begin(), engine_table.end()));
}

}  // namespace
}  // namespace kelvo
