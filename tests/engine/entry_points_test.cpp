#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include <opencv2/core.hpp>

#include "agtm/display_panel_model.h"
#include "agtm/scaler_lut.h"
#include "alad/alad_engine.h"
#include "engine/debug_store.h"
#include "tests/common/test_threads.h"

namespace kelvo {
namespace {

struct Registers {
    std::vector<uint32_t> curve = std::vector<uint32_t>(65);
    std::vector<int32_t> table = std::vector<int32_t>(256);
    alad_verification_registrator regs;
    Registers() {
        regs.hist_adjust_curve = curve.data();
        regs.agtm = table.data();
    }
};

Registers Current() {
    Registers r;
    EXPECT_EQ(ALADRegistratorsInfoForDriverDraftEngine(r.regs), 0);
    return r;
}

ad_user_t_ SmallUser(uint32_t order) {
    ad_user_t_ user;
    user.width = 64;
    user.height = 48;
    user.blk_width = 64;
    user.blk_height = 64;
    user.tm_mode = order;
    return user;
}

alad_view_condition_ View(float src, float dst) {
    alad_view_condition_ view;
    view.blackLevelSrc = src;
    view.blackLevelDst = dst;
    return view;
}

cv::Mat Frame(unsigned seed) {
    cv::Mat frame(48, 64, CV_32SC3);
    cv::RNG(seed).fill(frame, cv::RNG::UNIFORM, 0, 4096);
    return frame;
}

// Runs a call with its console output captured and returns the output.
template <typename Call>
std::string Quiet(Call&& call) {
    testing::internal::CaptureStdout();
    call();
    return testing::internal::GetCapturedStdout();
}

TEST(EntryPointsTest, StatusPrintsThirteenValuesAndTwoLabels) {
    Quiet([] { ASSERT_EQ(InitEngineALAD(SmallUser(1), alad_display_model_(), View(300, 20000)), 0); });
    std::string printed = Quiet([] { EXPECT_EQ(PrintCurrentRegistratorFromDriver(), 0); });
    EXPECT_EQ(printed,
              "KELVODraftEngine PrintCurrentRegistratorFromDriver : \n"
              "1\n64\n48\n64\n64\n0\n0\n0\n0\n0\n128\n5\n0\n agtm : \n hist_adjust_curve : \n");

    ad_user_t_ user = SmallUser(1);
    user.blk_width = 100;
    Quiet([&] { UpdateCLTMParameter(user); });
    printed = Quiet([] { PrintCurrentRegistratorFromDriver(); });
    std::istringstream lines(printed);
    std::string line;
    std::vector<std::string> all;
    while (std::getline(lines, line)) all.push_back(line);
    ASSERT_EQ(all.size(), 16u);
    EXPECT_EQ(all[4], "128");
}

TEST(EntryPointsTest, ViewConditionChangesTheTableButNotTheLocalStage) {
    const cv::Mat frames[] = {Frame(1), Frame(2), Frame(3)};
    auto run_sequence = [&](bool update_between) {
        cv::Mat out;
        Quiet([&] {
            InitEngineALAD(SmallUser(3), alad_display_model_(), View(300, 20000));
            RunOneFrameALAD(frames[0], out);
            RunOneFrameALAD(frames[1], out);
            if (update_between) UpdateViewConditionParameter(View(300, 500));
            RunOneFrameALAD(frames[2], out);
        });
        return out;
    };
    const cv::Mat plain = run_sequence(false);
    const std::vector<int32_t> table_before = Current().table;
    const cv::Mat updated = run_sequence(true);
    EXPECT_EQ(cv::norm(plain, updated, cv::NORM_INF), 0.0);

    DisplayPanelModel expected_panel(2.2, 500.0, 0.2, 1.0, 0.01, 300.0, 500.0);
    EXPECT_EQ(Current().table, ComputeAGTMTable(expected_panel));
    EXPECT_NE(Current().table, table_before);
}

TEST(EntryPointsTest, DisplayUpdateRegeneratesTheTable) {
    Quiet([] { InitEngineALAD(SmallUser(4), alad_display_model_(), View(300, 20000)); });
    alad_display_model_ display;
    display.gamma = 2.4;
    display.white = 800.0;
    Quiet([&] { EXPECT_EQ(UpdateDisplayPanelParameter(display), 0); });
    // The effective black levels keep the old panel black until the view condition changes; here
    // the black is unchanged, so the table is that of the new panel.
    DisplayPanelModel expected(2.4, 800.0, 0.2, 1.0, 0.01, 300.0, 20000.0);
    EXPECT_EQ(Current().table, ComputeAGTMTable(expected));
}

TEST(EntryPointsTest, OneShotTableReplacesTheEngineWithTheDefaultOne) {
    Quiet([] { InitEngineALAD(SmallUser(1), alad_display_model_(), View(6000, 9000)); });
    std::vector<int> a(256), b(256);
    std::string printed = Quiet([&] { EXPECT_EQ(ComputeAGTMLUTByAmbientLight(0, 300, 1000, a.data(), 0), 0); });
    EXPECT_EQ(printed.substr(printed.size() - 42), "release ALADManager and DeinitEngineALAD.\n");
    Quiet([&] { ComputeAGTMLUTByAmbientLight(12345, 300, 1000, b.data(), 999); });
    EXPECT_EQ(a, b);
    DisplayPanelModel expected(2.2, 500.0, 0.2, 1.0, 0.01, 300.0, 1000.0);
    EXPECT_EQ(std::vector<int32_t>(a.begin(), a.end()), ComputeAGTMTable(expected));

    const Registers now = Current();
    EXPECT_EQ(now.regs.width, 800);
    EXPECT_EQ(now.regs.height, 480);
    EXPECT_EQ(now.regs.reg_tm_mode, 3);
    Quiet([] { EXPECT_EQ(ComputeAGTMLUTByAmbientLight(0, 1, 2, nullptr, 0), -1); });
}

TEST(EntryPointsTest, DeinitKeepsTheEngineUsable) {
    Quiet([] { InitEngineALAD(SmallUser(4), alad_display_model_(), View(300, 20000)); });
    cv::Mat before, after;
    Quiet([&] { RunOneFrameALAD(Frame(5), before); });
    const std::string printed = Quiet([] { EXPECT_EQ(DeinitEngineALAD(), 0); });
    EXPECT_EQ(printed, "release ALADManager and DeinitEngineALAD.\n");
    Quiet([&] { EXPECT_EQ(RunOneFrameALAD(Frame(5), after), 0); });
    EXPECT_EQ(cv::norm(before, after, cv::NORM_INF), 0.0);
}

TEST(EntryPointsTest, RegisterSetsApplyAndReadBack) {
    Quiet([] { InitEngineALAD(SmallUser(1), alad_display_model_(), View(300, 20000)); });
    std::vector<uint32_t> curve(65, 400);
    std::vector<int32_t> table(256, 3072);
    alad_verification_registrator_ regs;
    regs.reg_tm_mode = 2;
    regs.width = 64;
    regs.height = 48;
    regs.reg_blk_width_b = 64;
    regs.reg_blk_height_b = 64;
    regs.reg_strength_target = 200;
    regs.reg_strength_step = 9;
    regs.hist_adjust_curve = curve.data();
    regs.agtm = table.data();
    const std::string printed = Quiet([&] { EXPECT_EQ(SettingVerificationRegistrator(regs), 0); });
    EXPECT_EQ(printed, "ConfigureVerificationRegistrators() begin!\nmOrder = registrators.reg_tm_mode;2\n");
    const Registers back = Current();
    EXPECT_EQ(back.regs.reg_tm_mode, 2);
    EXPECT_EQ(back.regs.reg_strength_target, 200);
    EXPECT_EQ(back.regs.reg_strength_step, 9);
    EXPECT_EQ(back.curve, curve);
    EXPECT_EQ(back.table, table);
    EXPECT_EQ(back.regs.reg_blk_h_num, 1);

    // A register set without its tables is refused as a whole.
    regs.agtm = nullptr;
    regs.reg_tm_mode = 4;
    Quiet([&] { EXPECT_EQ(SettingVerificationRegistrator(regs), -1); });
    EXPECT_EQ(Current().regs.reg_tm_mode, 2);
}

// The thread setting: clamped to 1..64, 1 by default, and frames (with what the debug store keeps)
// identical for any count.
TEST(EntryPointsTest, EngineThreadsChangeNothingButSpeed) {
    EXPECT_EQ(GetEngineThreads(), 1);
    const struct { int asked, kept; } counts[] = {{0, 1}, {-5, 1}, {3, 3}, {1000, 64}, {1, 1}};
    for (const auto& c : counts) {
        EXPECT_EQ(SetEngineThreads(c.asked), 0);
        EXPECT_EQ(GetEngineThreads(), c.kept) << c.asked;
    }
    if (!alad_test::kThreadsAvailable) GTEST_SKIP() << "no threads under the emulator";

    ad_user_t_ user = SmallUser(1);
    user.width = 200;
    user.height = 150;
    user.filter_flag = 1;
    std::vector<cv::Mat> results[2];
    for (int run = 0; run < 2; ++run) {
        SetEngineThreads(run == 0 ? 1 : 3);
        Quiet([&] { InitEngineALAD(user, alad_display_model_(), View(300.0f, 20000.0f)); });
        for (unsigned seed = 1; seed <= 3; ++seed) {
            cv::Mat frame(150, 200, CV_32SC3), out;
            cv::RNG(seed).fill(frame, cv::RNG::UNIFORM, 0, 4096);
            Quiet([&] { EXPECT_EQ(RunOneFrameALAD(frame, out), 0); });
            const alad_debug_output_& store = *alad_debug_output_::GetInstance();
            for (const cv::Mat& m : {out, store.GetCLTMResultData(), store.GetAGTMResultData()}) {
                results[run].push_back(m.clone());
            }
        }
    }
    SetEngineThreads(1);
    ASSERT_EQ(results[0].size(), results[1].size());
    for (size_t i = 0; i < results[0].size(); ++i) {
        EXPECT_EQ(cv::norm(results[0][i], results[1][i], cv::NORM_INF), 0.0) << i;
    }
}

}  // namespace
}  // namespace kelvo
