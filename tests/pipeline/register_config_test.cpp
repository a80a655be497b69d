#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <opencv2/core.hpp>

#include "agtm/scaler_lut.h"
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

// The fifteen scalar registers in their order.
std::vector<int32_t> Values(const alad_verification_registrator& r) {
    return {r.reg_tm_mode,          r.width,                 r.height,           r.reg_blk_width_b,
            r.reg_blk_height_b,     r.reg_blk_h_num,         r.reg_blk_w_num,    r.reg_hist_mode,
            r.reg_curve_transition, r.reg_linear_adj_offset, r.reg_linear_adj_ratio, r.reg_strength_mode,
            r.reg_strength_target,  r.reg_strength_step,     r.reg_strength_interval};
}
const std::vector<int32_t> kDerived = {1, 96, 40, 256, 256, 1, 1, 0, 0, 0, 0, 0, 240, 5, 0};

class RegisterConfigTest : public testing::Test {
protected:
    void SetUp() override {
        Quiet([&] { pipeline_.Init(panel_, cltm_, true); });
        frame_ = Frame(40, 96, 11);
    }
    static cv::Mat Frame(int rows, int cols, uint64_t seed) {
        cv::Mat frame(rows, cols, CV_32SC3);
        cv::RNG(seed).fill(frame, cv::RNG::UNIFORM, 0, 4096);
        return frame;
    }
    template <typename Call>
    static std::string Quiet(Call&& call) {
        testing::internal::CaptureStdout();
        call();
        return testing::internal::GetCapturedStdout();
    }
    Registers ReadBack() {
        Registers r;
        pipeline_.CopyRegistratorFromDriver(r.regs);
        return r;
    }
    std::string Configure(Registers& r) {
        return Quiet([&] { pipeline_.ConfigureVerificationRegistrators(r.regs); });
    }
    cv::Mat Run() {
        cv::Mat dst;
        Quiet([&] { pipeline_.RunOneFrame(frame_, dst); });
        return dst;
    }

    DisplayPanelModel panel_{2.2, 500.0, 0.2, 1.0, 0.01, 300.0, 20000.0};
    alad_cltm_user cltm_{256, 256, 1, 15, 0, 96, 40, 1};  // 256x256 blocks, curve 1, strength 15, order 1
    ALADConcatenateMode pipeline_;
    cv::Mat frame_;
};

TEST_F(RegisterConfigTest, ReadBackReportsTheDerivedStateAndMissingTablesAreSkipped) {
    const Registers r = ReadBack();
    EXPECT_EQ(Values(r.regs), kDerived);
    EXPECT_EQ(r.curve[0], 1424u);  // curve id 1
    EXPECT_EQ(r.table, ComputeAGTMTable(panel_));

    alad_verification_registrator regs = r.regs;
    regs.hist_adjust_curve = nullptr;
    regs.agtm = nullptr;
    Quiet([&] {
        pipeline_.ConfigureVerificationRegistrators(regs);
        pipeline_.CopyRegistratorFromDriver(regs);
    });
    EXPECT_EQ(Values(regs), kDerived);
    EXPECT_EQ(ReadBack().table, ComputeAGTMTable(panel_));
}

TEST_F(RegisterConfigTest, ApplyingTheReadBackChangesNothing) {
    Run();
    const cv::Mat second = Run();
    EXPECT_NE(cv::norm(second, frame_, cv::NORM_INF), 0.0);  // the frames are really mapped
    Registers r = ReadBack();
    EXPECT_EQ(Configure(r), "ConfigureVerificationRegistrators() begin!\nmOrder = registrators.reg_tm_mode;1\n");
    // The video state survives: the third frame equals a third frame without the registers.
    ALADConcatenateMode twin;
    cv::Mat third;
    Quiet([&] {
        twin.Init(panel_, cltm_, true);
        for (int i = 0; i < 3; ++i) twin.RunOneFrame(frame_, third);
    });
    EXPECT_EQ(cv::norm(Run(), third, cv::NORM_INF), 0.0);
}

TEST_F(RegisterConfigTest, OnlyAGeometryChangeResetsTheSequence) {
    Run();
    Run();
    Registers r = ReadBack();
    r.regs.reg_blk_height_b = 64;
    EXPECT_NE(Configure(r).find("ResetALADContext() finished!\n"), std::string::npos);
    EXPECT_EQ(ReadBack().regs.reg_blk_height_b, 64);
    // After the reset the next frame is a first frame again: it passes the local stage unchanged.
    r.regs.reg_tm_mode = 3;
    EXPECT_EQ(Configure(r).find("ResetALADContext"), std::string::npos);
    cv::Mat expected(frame_.size(), CV_32SC3);
    for (int i = 0; i < frame_.rows * frame_.cols * 3; ++i) {
        const int v = frame_.ptr<int>()[i] >> 2;
        expected.ptr<int>()[i] = 4 * v + (v >> 8);
    }
    EXPECT_EQ(cv::norm(Run(), expected, cv::NORM_INF), 0.0);
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
    frame_ = Frame(200, 300, 12);
    Run();
    EXPECT_EQ(Run().size(), cv::Size(300, 200));
    const Registers back = ReadBack();
    EXPECT_EQ(back.regs.width, 300);
    EXPECT_EQ(back.regs.height, 200);
    EXPECT_EQ(back.regs.reg_blk_w_num, 1);  // counts stay as derived from the user record
}

TEST_F(RegisterConfigTest, RegisterTableSurvivesUntilTheNextDisplayUpdate) {
    Registers r = ReadBack();
    r.table.assign(256, 4096);  // gain 2.0
    r.regs.reg_tm_mode = 4;
    Configure(r);
    EXPECT_EQ(ReadBack().table, r.table);
    EXPECT_EQ(Run().at<cv::Vec3i>(0, 0)[0], std::min(2 * frame_.at<cv::Vec3i>(0, 0)[0], 4095));
    // Registers that change only the order keep the register table; order 5 copies.
    r.regs.reg_tm_mode = 5;
    Configure(r);
    EXPECT_EQ(cv::norm(Run(), frame_, cv::NORM_INF), 0.0);
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
    EXPECT_EQ(Values(back.regs), kDerived);
    EXPECT_EQ(back.curve[10], 813u);  // curve A again
}

}  // namespace
}  // namespace kelvo
