#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "agtm/scaler_lut.h"
#include "alad/alad_engine.h"
#include "alad/alad_offline.h"
#include "tests/verify/verify_test_util.h"

namespace kelvo {
namespace {

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
    EXPECT_EQ(AGTMGain::FromRaw(3072).ToDouble(), 1.5);
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
