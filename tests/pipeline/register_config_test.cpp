#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <opencv2/core.hpp>

#include "agtm/scaler_lut.h"
#include "engine/records.h"
#include "pipeline/concatenate_mode.h"

namespace kelvo {
namespace {

// A register set with its own storage.
struct Registers {
    std::vector<uint32_t> curve = std::vector<uint32_t>(65);
    std::vector<int32_t> table = std::vector<int32_t>(256);
    alad_verification_registrator regs;
    Registers() {
        regs.hist_adjust_curve = curve.data();
        regs.agtm = table.data();
    }
};

class RegisterConfigTest : public testing::Test {
protected:
    void SetUp() override {
        ad_user_t_ user;
        user.width = 96;
        user.height = 40;
        user.tm_mode = 1;
        user.strength = 15;
        cltm_ = MakeCLTMUser(user);
        testing::internal::CaptureStdout();
        pipeline_.Init(panel_, cltm_, true);
        testing::internal::GetCapturedStdout();
        frame_.create(40, 96, CV_32SC3);
        cv::RNG(11).fill(frame_, cv::RNG::UNIFORM, 0, 4096);
    }

    Registers ReadBack() {
        Registers r;
        pipeline_.CopyRegistratorFromDriver(r.regs);
        return r;
    }
    std::string Configure(Registers& r) {
        testing::internal::CaptureStdout();
        pipeline_.ConfigureVerificationRegistrators(r.regs);
        return testing::internal::GetCapturedStdout();
    }
    cv::Mat Run() {
        cv::Mat dst;
        testing::internal::CaptureStdout();
        pipeline_.RunOneFrame(frame_, dst);
        testing::internal::GetCapturedStdout();
        return dst;
    }

    DisplayPanelModel panel_{2.2, 500.0, 0.2, 1.0, 0.01, 300.0, 20000.0};
    alad_cltm_user cltm_;
    ALADConcatenateMode pipeline_;
    cv::Mat frame_;
};

TEST_F(RegisterConfigTest, ReadBackReportsTheDerivedState) {
    const Registers r = ReadBack();
    EXPECT_EQ(r.regs.reg_tm_mode, 1);
    EXPECT_EQ(r.regs.width, 96);
    EXPECT_EQ(r.regs.height, 40);
    EXPECT_EQ(r.regs.reg_blk_width_b, 256);
    EXPECT_EQ(r.regs.reg_blk_height_b, 256);
    EXPECT_EQ(r.regs.reg_blk_h_num, 1);
    EXPECT_EQ(r.regs.reg_blk_w_num, 1);
    EXPECT_EQ(r.regs.reg_strength_target, 240);
    EXPECT_EQ(r.regs.reg_strength_step, 5);
    EXPECT_EQ(r.curve[0], 1424u);  // curve id 1
    EXPECT_EQ(r.table, ComputeAGTMTable(panel_));
}

TEST_F(RegisterConfigTest, ApplyingTheReadBackChangesNothing) {
    Run();
    const cv::Mat second = Run();
    Registers r = ReadBack();
    const std::string log = Configure(r);
    EXPECT_EQ(log, "ConfigureVerificationRegistrators() begin!\nmOrder = registrators.reg_tm_mode;1\n");
    // The video state survives: the third frame equals a third frame without the registers.
    ALADConcatenateMode twin;
    testing::internal::CaptureStdout();
    twin.Init(panel_, cltm_, true);
    cv::Mat a, b;
    for (int i = 0; i < 3; ++i) twin.RunOneFrame(frame_, a);
    testing::internal::GetCapturedStdout();
    b = Run();
    EXPECT_EQ(cv::norm(a, b, cv::NORM_INF), 0.0);
    EXPECT_NE(cv::norm(second, frame_, cv::NORM_INF), 0.0);  // the frames are really mapped
}

TEST_F(RegisterConfigTest, BlockOrFrameGeometryChangeResetsTheSequence) {
    Run();
    Run();
    Registers r = ReadBack();
    r.regs.reg_blk_height_b = 64;
    EXPECT_NE(Configure(r).find("ResetALADContext() finished!\n"), std::string::npos);
    EXPECT_EQ(ReadBack().regs.reg_blk_height_b, 64);
    // After the reset the next frame is a first frame again: it passes the local stage unchanged.
    r.regs.reg_tm_mode = 3;
    EXPECT_EQ(Configure(r).find("ResetALADContext"), std::string::npos);
    const cv::Mat out = Run();
    cv::Mat expected(frame_.size(), CV_32SC3);
    for (int i = 0; i < frame_.rows * frame_.cols * 3; ++i) {
        const int v = frame_.ptr<int>()[i] >> 2;
        expected.ptr<int>()[i] = 4 * v + (v >> 8);
    }
    EXPECT_EQ(cv::norm(out, expected, cv::NORM_INF), 0.0);

    // A block size that is not a power of two rounds up.
    r.regs.reg_blk_width_b = 100;
    Configure(r);
    EXPECT_EQ(ReadBack().regs.reg_blk_width_b, 128);
}

TEST_F(RegisterConfigTest, SizeChangeByRegistersReallocatesForTheNewSize) {
    Registers r = ReadBack();
    r.regs.width = 300;
    r.regs.height = 200;
    EXPECT_NE(Configure(r).find("ResetALADContext() finished!"), std::string::npos);
    frame_.create(200, 300, CV_32SC3);
    cv::RNG(12).fill(frame_, cv::RNG::UNIFORM, 0, 4096);
    Run();
    const cv::Mat out = Run();
    EXPECT_EQ(out.size(), cv::Size(300, 200));
    const Registers back = ReadBack();
    EXPECT_EQ(back.regs.width, 300);
    EXPECT_EQ(back.regs.height, 200);
    EXPECT_EQ(back.regs.reg_blk_w_num, 1);  // counts stay as derived from the user record
}

TEST_F(RegisterConfigTest, RegisterTableSurvivesUntilTheNextDisplayUpdate) {
    Registers r = ReadBack();
    for (int i = 0; i < 256; ++i) r.table[i] = 4096;  // gain 2.0
    r.regs.reg_tm_mode = 4;
    Configure(r);
    EXPECT_EQ(ReadBack().table, r.table);
    cv::Mat out = Run();
    EXPECT_EQ(out.at<cv::Vec3i>(0, 0)[0], std::min(2 * frame_.at<cv::Vec3i>(0, 0)[0], 4095));

    // Registers that change only the order keep the register table.
    r.regs.reg_tm_mode = 5;
    Configure(r);
    EXPECT_EQ(cv::norm(Run(), frame_, cv::NORM_INF), 0.0);  // 5 copies
    EXPECT_EQ(ReadBack().table, r.table);

    pipeline_.UpdateDisplayModel(panel_);
    EXPECT_EQ(ReadBack().table, ComputeAGTMTable(panel_));
}

TEST_F(RegisterConfigTest, UpdateCLTMParamsRestoresTheDerivedFields) {
    Registers r = ReadBack();
    r.regs.reg_hist_mode = 1;
    r.regs.reg_curve_transition = 8191;
    r.regs.reg_strength_step = 77;
    r.regs.reg_strength_target = 3;
    r.regs.reg_linear_adj_ratio = -1023;
    r.curve[10] = 1;
    Configure(r);
    EXPECT_EQ(ReadBack().regs.reg_strength_step, 77);
    pipeline_.UpdateCLTMParams(cltm_);
    const Registers back = ReadBack();
    EXPECT_EQ(back.regs.reg_hist_mode, 0);
    EXPECT_EQ(back.regs.reg_curve_transition, 0);
    EXPECT_EQ(back.regs.reg_strength_step, 5);
    EXPECT_EQ(back.regs.reg_strength_target, 240);
    EXPECT_EQ(back.regs.reg_linear_adj_ratio, 0);
    EXPECT_EQ(back.curve[10], 813u);  // curve A again
}

TEST_F(RegisterConfigTest, MissingTablesAreSkippedNotDereferenced) {
    alad_verification_registrator regs = ReadBack().regs;
    regs.hist_adjust_curve = nullptr;
    regs.agtm = nullptr;
    testing::internal::CaptureStdout();
    pipeline_.ConfigureVerificationRegistrators(regs);
    pipeline_.CopyRegistratorFromDriver(regs);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(regs.width, 96);
    EXPECT_EQ(ReadBack().table, ComputeAGTMTable(panel_));
}

}  // namespace
}  // namespace kelvo
