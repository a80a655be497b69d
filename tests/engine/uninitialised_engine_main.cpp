// Entry points called before any InitEngineALAD: each refuses with -1 and a message. Its own
// program, because the engine is process-wide and the main test program initialises it.
#include <gtest/gtest.h>

#include <vector>

#include "alad/alad_engine.h"

namespace kelvo {
namespace {

TEST(UninitialisedEngineTest, CallsBeforeInitReturnMinusOne) {
    cv::Mat src(4, 4, CV_32SC3, cv::Scalar::all(100)), dst;
    std::vector<uint32_t> curve(65);
    std::vector<int32_t> table(256);
    alad_verification_registrator internal{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, curve.data(), table.data()};
    alad_verification_registrator_ regs{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, curve.data(), table.data()};

    testing::internal::CaptureStdout();
    EXPECT_EQ(RunOneFrameALAD(src, dst), -1);
    EXPECT_EQ(ResetEngineALAD(), -1);
    EXPECT_EQ(UpdateViewConditionParameter(alad_view_condition_()), -1);
    EXPECT_EQ(UpdateDisplayPanelParameter(alad_display_model_()), -1);
    EXPECT_EQ(UpdateCLTMParameter(ad_user_t_()), -1);
    EXPECT_EQ(SettingVerificationRegistrator(regs), -1);
    EXPECT_EQ(PrintCurrentRegistratorFromDriver(), -1);
    EXPECT_EQ(ALADRegistratorsInfoForDriverDraftEngine(internal), -1);
    EXPECT_EQ(DeinitEngineALAD(), 0);
    const std::string printed = testing::internal::GetCapturedStdout();
    EXPECT_NE(printed.find("RunOneFrameALAD: the engine is not initialised (call InitEngineALAD first)"),
              std::string::npos);
    EXPECT_TRUE(dst.empty());

    // After an InitEngineALAD the same calls work.
    ad_user_t_ user;
    user.width = user.height = 4;
    testing::internal::CaptureStdout();
    EXPECT_EQ(InitEngineALAD(user, alad_display_model_(), {300.0f, 300.0f}), 0);
    EXPECT_EQ(RunOneFrameALAD(src, dst), 0);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(dst.size(), src.size());
}

}  // namespace
}  // namespace kelvo
