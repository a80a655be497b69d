#include <gtest/gtest.h>

#include <cmath>

#include "agtm/display_panel_model.h"

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
    EXPECT_EQ(model.Gamma(), 2.4);
    // Setting one ambient level recomputes only that side, from the new black and reflectance.
    model.SetAmbientLightSrc(1000.0);
    EXPECT_DOUBLE_EQ(model.BlackSrc(), 1.0 + 1000.0 * 0.02 / 6.2831852);
    EXPECT_EQ(model.BlackDst(), dst);
    model.UpdateViewCondition(0.0, 0.0);
    EXPECT_EQ(model.BlackSrc(), 1.0);
    EXPECT_EQ(model.BlackDst(), 1.0);
}

}  // namespace
}  // namespace kelvo
