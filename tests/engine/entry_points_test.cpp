#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <opencv2/core.hpp>

#include "agtm/display_panel_model.h"
#include "agtm/scaler_lut.h"
#include "alad/alad_engine.h"
#include "engine/records.h"
#include "tests/verify/verify_test_util.h"

namespace kelvo {
namespace {

using testing_util::SmallUser;
using alad_test::EngineRegs;
using alad_test::Printed;
using testing_util::Values;

void Init(uint32_t order, float src = 300, float dst = 20000) {
    Printed([&] { ASSERT_EQ(InitEngineALAD(SmallUser(order), {}, alad_view_condition_{src, dst}), 0); });
}

cv::Mat Frame(unsigned seed) { return testing_util::Random12(48, 64, seed); }

// A host's sink receives every line with its level instead of the console, and a frame a stage
// refused comes back with -1; the null sink brings the console back.
TEST(EntryPointsTest, LogSinkReceivesEveryLineAndRefusedFramesReturnMinusOne) {
    using Lines = std::vector<std::pair<int, std::string>>;
    Lines lines;
    const auto sink = [](void* user, int level, const char* line) {
        static_cast<Lines*>(user)->emplace_back(level, line);
    };
    Init(3);
    cv::Mat out;
    const alad_test::Captured console = alad_test::Capture([&] {
        ASSERT_EQ(SetEngineLogSink(sink, &lines), 0);
        EXPECT_EQ(RunOneFrameALAD(Frame(1), out), 0);
        EXPECT_EQ(RunOneFrameALAD(cv::Mat(48, 64, CV_32SC1, cv::Scalar(7)), out), -1);  // one channel
        EXPECT_EQ(RunOneFrameALAD(testing_util::Random12(96, 64, 2), out), -1);  // larger than the buffers
        EXPECT_EQ(RunOneFrameALAD(Frame(3), out), 0);
        SetEngineLogSink(nullptr, nullptr);
    });
    EXPECT_EQ(console.out + console.err, "");
    const Lines first = {{0, "mCLTMParam.width = 64 , sz.width = 64"}, {0, "mCLTMParam.height = 48 , sz.height = 48"},
                         {0, "LCH 00."}, {0, "LCH 01."}, {0, "LCH 02."}, {0, "case order 3: CLTM."}};
    ASSERT_GT(lines.size(), first.size());
    EXPECT_EQ(Lines(lines.begin(), lines.begin() + first.size()), first);
    const auto has = [&](int level, const std::string& text) {
        return std::find(lines.begin(), lines.end(), std::make_pair(level, text)) != lines.end();
    };
    EXPECT_TRUE(has(2, "RunOneFrame: a frame needs 3 channels; frame passed through"));
    EXPECT_TRUE(has(2, "ERROR: frame 64x96 does not fit the CLTM buffers allocated for 64x48"));
    EXPECT_NE(Printed([&] { RunOneFrameALAD(Frame(4), out); }).find("LCH 00.\nLCH 01.\n"), std::string::npos);
}

// A DeinitEngineALAD between frames keeps the engine and its sequence as they were.
TEST(EntryPointsTest, ViewAndDisplayUpdatesRegenerateTheTableButLeaveTheLocalStageAndDeinitKeepsTheEngine) {
    auto run_sequence = [&](bool update_between) {
        cv::Mat out;
        Init(3);
        Printed([&] {
            RunOneFrameALAD(Frame(1), out);
            RunOneFrameALAD(Frame(2), out);
            if (update_between) {
                UpdateViewConditionParameter({300, 500});
                EXPECT_EQ(DeinitEngineALAD(), 0);
            }
            EXPECT_EQ(RunOneFrameALAD(Frame(3), out), 0);
        });
        return out;
    };
    const cv::Mat plain = run_sequence(false);
    EXPECT_EQ(cv::norm(plain, run_sequence(true), cv::NORM_INF), 0.0);
    DisplayPanelModel panel(2.2, 500.0, 0.2, 1.0, 0.01, 300.0, 500.0), brighter(2.4, 800.0, 0.2, 1.0, 0.01, 300.0, 500.0);
    EXPECT_EQ(EngineRegs().table, ComputeAGTMTable(panel));
    Printed([] { EXPECT_EQ(UpdateDisplayPanelParameter({2.4, 800.0}), 0); });  // gamma 2.4, white 800
    EXPECT_EQ(EngineRegs().table, ComputeAGTMTable(brighter));
}

TEST(EntryPointsTest, OneShotTableReplacesTheEngineWithTheDefaultOne) {
    Init(1, 6000, 9000);
    std::vector<int> a(256), b(256);
    const std::string printed = Printed([&] { EXPECT_EQ(ComputeAGTMLUTByAmbientLight(0, 300, 1000, a.data(), 0), 0); });
    EXPECT_EQ(printed.substr(printed.size() - 42), "release ALADManager and DeinitEngineALAD.\n");
    Printed([&] { ComputeAGTMLUTByAmbientLight(12345, 300, 1000, b.data(), 999); });
    EXPECT_EQ(a, b);
    DisplayPanelModel expected(2.2, 500.0, 0.2, 1.0, 0.01, 300.0, 1000.0);
    EXPECT_EQ(std::vector<int32_t>(a.begin(), a.end()), ComputeAGTMTable(expected));
    EXPECT_EQ(Values(EngineRegs().regs), (std::vector<int32_t>{3, 800, 480, 256, 256, 2, 4, 0, 0, 0, 0, 0, 128, 5, 0}));
    Printed([] { EXPECT_EQ(ComputeAGTMLUTByAmbientLight(0, 1, 2, nullptr, 0), -1); });
}

TEST(EntryPointsTest, RegisterSetsApplyAndReadBack) {
    Init(1);
    std::vector<uint32_t> curve(65, 400);
    std::vector<int32_t> table(256, 3072);
    // Order 2, 64x48 in 64x64 blocks, strength target 200 in steps of 9.
    alad_verification_registrator_ regs{2, 64, 48, 64, 64, 0, 0, 0, 0, 0, 200, 9, 0, curve.data(), table.data()};
    EXPECT_EQ(Printed([&] { EXPECT_EQ(SettingVerificationRegistrator(regs), 0); }),
              "ConfigureVerificationRegistrators() begin!\nmOrder = registrators.reg_tm_mode;2\n");
    const EngineRegs back;
    EXPECT_EQ(Values(back.regs), (std::vector<int32_t>{2, 64, 48, 64, 64, 1, 1, 0, 0, 0, 0, 0, 200, 9, 0}));
    EXPECT_EQ(back.curve, curve);
    EXPECT_EQ(back.table, table);
    // A register set without its tables is refused as a whole.
    regs.agtm = nullptr;
    regs.reg_tm_mode = 4;
    Printed([&] { EXPECT_EQ(SettingVerificationRegistrator(regs), -1); });
    EXPECT_EQ(EngineRegs().regs.reg_tm_mode, 2);
}

// The thread setting is clamped to 1..64 and 1 by default. That frames and the debug store are the
// same for any count is shown by the driver's frame comparison, which runs on 1 to 3 threads.
TEST(EntryPointsTest, EngineThreadsAreClampedAndOneByDefault) {
    EXPECT_EQ(GetEngineThreads(), 1);
    const struct { int asked, kept; } counts[] = {{0, 1}, {-5, 1}, {3, 3}, {1000, 64}, {1, 1}};
    for (const auto& c : counts) {
        EXPECT_EQ(SetEngineThreads(c.asked), 0);
        EXPECT_EQ(GetEngineThreads(), c.kept) << c.asked;
    }
}

auto Fields(const alad_cltm_user& u) {
    return std::make_tuple(u.blk_width, u.blk_height, u.curve_id, u.strength, int{u.filter_flag}, u.width, u.height,
                           u.tm_mode);
}

TEST(RecordsTest, BlockSizesRoundUpOneSidedCurveAndStrengthCapSignedOtherFieldsCopied) {
    const struct { uint32_t blk, blk_out; int32_t curve, curve_out, strength, strength_out; } cases[] = {
        {0, 64, 5, 2, 40, 16},        {1, 64, -1, -1, -3, -3},     {64, 64, 0, 0, 0, 0},
        {65, 128, 2, 2, 16, 16},      {100, 128, 3, 2, 17, 16},    {128, 128, 1, 1, 15, 15},
        {129, 256, INT32_MIN, INT32_MIN, INT32_MAX, 16},           {100000, 256, INT32_MAX, 2, INT32_MIN, INT32_MIN},
        {0xFFFFFFFFu, 256, 1, 1, 8, 8}};
    for (const auto& c : cases) {
        ad_user_t_ user;
        user.blk_width = user.blk_height = c.blk;
        user.curve_id = c.curve;
        user.strength = c.strength;
        EXPECT_EQ(Fields(MakeCLTMUser(user)),
                  std::make_tuple(c.blk_out, c.blk_out, c.curve_out, c.strength_out, 0, 800u, 480u, 3u))
            << c.blk << " " << c.curve << " " << c.strength;
    }
    // Flag, size and order are copied as they are; the reserved fields reach nothing.
    ad_user_t_ user = testing_util::SizedUser(1080, 2400, 0xFFFFFFFFu);
    user.filter_flag = 7;
    std::memset(user.reserved_table, 0xAB, sizeof(user.reserved_table));
    user.mode = 99;
    user.reserved_limit = user.reserved_pair[0] = user.reserved_pair[1] = user.reserved_spare[0] = 5;
    EXPECT_EQ(Fields(MakeCLTMUser(user)), std::make_tuple(256u, 256u, 1, 8, 7, 1080u, 2400u, 0xFFFFFFFFu));
}

}  // namespace
}  // namespace kelvo
