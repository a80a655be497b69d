#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include <opencv2/core.hpp>

#include "agtm/display_panel_model.h"
#include "agtm/scaler_lut.h"
#include "alad/alad_driver.h"
#include "alad/alad_engine.h"

namespace {

std::string Printed(const std::function<void()>& call) {
    testing::internal::CaptureStdout();
    call();
    return testing::internal::GetCapturedStdout();
}

alad_registrator_driver ValidRegisters() {
    alad_registrator_driver r{};
    r.reg_tm_mode = 1;
    r.reg_blk_width_b = 64;
    r.reg_blk_height_b = 256;
    r.reg_blk_h_num = 1;
    r.reg_blk_w_num = 5;
    r.reg_strength_step = 1;
    return r;
}

TEST(RegisterCheckTest, BoundsPassAndEveryViolationIsReportedInOrder) {
    alad_registrator_driver low = ValidRegisters();
    low.reg_linear_adj_offset = low.reg_linear_adj_ratio = -1023;
    alad_registrator_driver high{6, 256, 64, 10, 1, 1, 8191, 1023, 1023, 1, 255, 255, 255, nullptr, nullptr};
    EXPECT_EQ(Printed([&] { EXPECT_EQ(checkAladRegisterParameterValidity(&low), 0); }), "");
    EXPECT_EQ(Printed([&] { checkAladRegisterParameterValidity(&high); }), "");

    alad_registrator_driver wrong{0, 96, 512, 11, 6, 2, -1, -1024, 1024, -1, 256, 0, -1, nullptr, nullptr};
    EXPECT_EQ(Printed([&] { EXPECT_EQ(checkAladRegisterParameterValidity(&wrong), 0); }),
              "error reg_tm_mode out of range [1~6] !\n"
              "error reg_blk_width_b should be 64 or 128 or 256 !\n"
              "error reg_blk_height_b should be 64 or 128 or 256 !\n"
              "error reg_blk_h_num out of range [1~10] !\n"
              "error reg_blk_w_num out of range [1~5] !\n"
              "error reg_hist_mode should be 0 or 1 !\n"
              "error reg_curve_transition out of range [0~8191] !\n"
              "error reg_linear_adj_offset out of range [-1023~1023] !\n"
              "error reg_linear_adj_ratio out of range [-1023~1023] !\n"
              "error reg_strength_mode should be 0 or 1 !\n"
              "error reg_strength_target out of range [0~255] !\n"
              "error reg_strength_step out of range [1~255] !\n"
              "error reg_strength_interval out of range [0~255] !\n");
    EXPECT_EQ(wrong.reg_blk_width_b, 96);  // reported, never repaired

    const struct {
        int32_t alad_registrator_driver::*field;
        int32_t value;
        const char* line;
    } single[] = {
        {&alad_registrator_driver::reg_blk_width_b, 96, "error reg_blk_width_b should be 64 or 128 or 256 !\n"},
        {&alad_registrator_driver::reg_blk_width_b, 512, "error reg_blk_width_b should be 64 or 128 or 256 !\n"},
        {&alad_registrator_driver::reg_strength_step, 0, "error reg_strength_step out of range [1~255] !\n"},
        {&alad_registrator_driver::reg_strength_interval, 0, ""},
        {&alad_registrator_driver::reg_strength_target, 0, ""},
        {&alad_registrator_driver::reg_linear_adj_offset, 1024, "error reg_linear_adj_offset out of range [-1023~1023] !\n"},
        {&alad_registrator_driver::reg_curve_transition, -1, "error reg_curve_transition out of range [0~8191] !\n"},
    };
    for (const auto& c : single) {
        alad_registrator_driver r = ValidRegisters();
        r.*c.field = c.value;
        EXPECT_EQ(Printed([&] { checkAladRegisterParameterValidity(&r); }), c.line) << c.value;
    }
    EXPECT_EQ(_check_blk_size_driver(0), 64u);
    EXPECT_EQ(_check_blk_size_driver(64), 64u);
    EXPECT_EQ(_check_blk_size_driver(65), 128u);
    EXPECT_EQ(_check_blk_size_driver(128), 128u);
    EXPECT_EQ(_check_blk_size_driver(129), 256u);
    EXPECT_EQ(_check_blk_size_driver(4000), 256u);
}

TEST(DriverEntryTest, InitResetsTheCallersRecordsAndStartsWithTheDefaults) {
    ad_user_t_driver_ user;
    ad_user_t_init_driver_(&user);
    user.blk_width = user.blk_height = 64;
    user.strength = 3;
    alad_display_model_driver_ model;
    alad_display_model_init_driver_(&model);
    model.gamma = 2.4;
    const alad_view_condition_driver_ view = {300.0f, 5000.0f};
    Printed([&] { EXPECT_EQ(InitEngineALADforDriver(&user, &model, &view), 0); });
    EXPECT_EQ(user.blk_width, 256);
    EXPECT_EQ(user.strength, 8);
    EXPECT_EQ(user.width, 720);
    EXPECT_EQ(user.height, 1650);
    EXPECT_EQ(model.gamma, 2.2);

    std::vector<int32_t> table(256), curve(65);
    alad_registrator_driver regs{};
    regs.reg_agtm = table.data();
    regs.reg_hist = curve.data();
    EXPECT_EQ(Printed([&] { ALADRegistratorsInfoForDriver(&regs); }), "");  // the defaults are in range
    EXPECT_EQ(regs.reg_tm_mode, 3);
    EXPECT_EQ(regs.reg_blk_width_b, 256);
    EXPECT_EQ(regs.reg_blk_h_num, 7);  // 1650 / 256, rounded up
    EXPECT_EQ(regs.reg_blk_w_num, 3);
    EXPECT_EQ(regs.reg_strength_target, 128);
    EXPECT_EQ(curve[0], 1424);
    kelvo::DisplayPanelModel panel(2.2, 500.0, 0.2, 1.0, 0.01, 300.0, 5000.0);
    EXPECT_EQ(table, kelvo::ComputeAGTMTable(panel));

    // Updates go through; the read-back agrees with the engine's own register set.
    user.blk_width = 100;
    user.tm_mode = 4;
    Printed([&] { UpdateCLTMParameterForDriver(&user); });
    Printed([&] { ALADRegistratorsInfoForDriver(&regs); });
    std::vector<uint32_t> engine_curve(65);
    std::vector<int32_t> engine_table(256);
    kelvo::alad_verification_registrator internal;
    internal.hist_adjust_curve = engine_curve.data();
    internal.agtm = engine_table.data();
    kelvo::ALADRegistratorsInfoForDriverDraftEngine(internal);
    EXPECT_EQ(regs.reg_blk_width_b, 128);
    EXPECT_EQ(regs.reg_tm_mode, internal.reg_tm_mode);
    EXPECT_EQ(regs.reg_blk_w_num, internal.reg_blk_w_num);
    EXPECT_EQ(regs.reg_strength_interval, internal.reg_strength_interval);
    EXPECT_EQ(table, engine_table);

    // Missing records are named, not dereferenced.
    EXPECT_NE(Printed([] { UpdateCLTMParameterForDriver(nullptr); }).find("null pointer"), std::string::npos);
    EXPECT_NE(Printed([] { InitEngineALADforDriver(nullptr, nullptr, nullptr); }).find("null pointer"), std::string::npos);
}

// An ARGB8888 buffer of the driver through the engine in place.
std::vector<unsigned char> RunBuffer(int width, int height, std::vector<unsigned char> bytes, int order) {
    ad_user_t_driver_ user;
    alad_display_model_driver_ model;
    const alad_view_condition_driver_ view = {300.0f, 20000.0f};
    Printed([&] {
        InitEngineALADforDriver(&user, &model, &view);
        user.width = width;
        user.height = height;
        user.tm_mode = order;
        UpdateCLTMParameterForDriver(&user);
        _image image{width, height, 4, bytes.data()};
        RunOneFrameBufferALADforDriver(image);
        RunOneFrameBufferALADforDriver(&image);
    });
    return bytes;
}

TEST(DriverEntryTest, BufferFramesKeepTheirAlphaBytes) {
    const std::vector<unsigned char> white(4 * 6 * 5, 255);
    EXPECT_EQ(RunBuffer(6, 5, white, 3), white);  // 255 enters as 4095 and comes back as 255

    std::vector<unsigned char> varied(4 * 7 * 3);
    for (size_t i = 0; i < varied.size(); ++i) varied[i] = static_cast<unsigned char>((i * 37 + 11) & 255);
    for (int order : {1, 4}) {
        const std::vector<unsigned char> out = RunBuffer(7, 3, varied, order);
        int changed = 0;
        for (size_t p = 0; p < varied.size(); p += 4) {
            EXPECT_EQ(out[p], varied[p]) << "alpha of pixel " << p / 4;
            for (int c = 1; c < 4; ++c) changed += out[p + c] != varied[p + c];
        }
        EXPECT_GT(changed, 0) << "order " << order;  // the colours really went through the engine
    }
}

TEST(DriverEntryTest, RefusedBufferKeepsItsPixels) {
    std::vector<unsigned char> rgb888(3 * 4 * 4, 77);
    const std::vector<unsigned char> before = rgb888;
    _image image{4, 4, 3, rgb888.data()};
    EXPECT_NE(Printed([&] { EXPECT_EQ(RunOneFrameBufferALADforDriver(image), 0); }).find("channels 3 is not 4"),
              std::string::npos);
    EXPECT_EQ(rgb888, before);
    EXPECT_NE(Printed([] { RunOneFrameBufferALADforDriver(nullptr); }).find("null pointer"), std::string::npos);
}

TEST(DriverEntryTest, EightBitPicturePathWidensFirst) {
    ad_user_t_driver_ user;
    alad_display_model_driver_ model;
    const alad_view_condition_driver_ view = {300.0f, 300.0f};
    cv::Mat picture(4, 6, CV_8UC3, cv::Scalar(255, 128, 0)), out;
    Printed([&] {
        InitEngineALADforDriver(&user, &model, &view);
        user.width = 6;
        user.height = 4;
        UpdateCLTMParameterForDriver(&user);
        ALADImageModeForBSPdriver(picture, out);
    });
    // Order 3, first frame: the local stage passes the widened picture through (low bits aside).
    EXPECT_EQ(out.at<cv::Vec3i>(0, 0), cv::Vec3i(4095, 2058, 0));  // 128 -> 2056 -> 514 -> 2058
}

TEST(AmbientLevelTest, NearestLevelWithTiesGoingDown) {
    const struct { int lux, level; } cases[] = {{-5, 0},    {300, 0},    {301, 0},    {320, 0},  {321, 1},
                                                {340, 1},   {2380, 21},  {2381, 22},  {48999, 39}, {49000, 39},
                                                {100000, 39}};
    for (const auto& c : cases) {
        const std::string printed = Printed([&] { EXPECT_EQ(getAGTMLevel(c.lux), c.level) << c.lux; });
        EXPECT_EQ(printed, "getArrayLen(agtmLuxTable) = 40\n");
    }
    for (int level = 0; level < ALAD_AGTM_LEVELS; ++level) {
        Printed([&] { EXPECT_EQ(getAGTMLevel(agtmLuxTable[level]), level); });
    }
}

TEST(AmbientLevelTest, LevelTablesClampTheLevelAndLeaveTheDriverDefaults) {
    std::vector<int32_t> below(256), first(256), above(256), last(256);
    Printed([&] {
        getAGTMCurveParams(-3, below.data());
        getAGTMCurveParams(0, first.data());
        getAGTMCurveParams(45, above.data());
        getAGTMCurveParams(39, last.data());
    });
    EXPECT_EQ(below, first);
    EXPECT_EQ(above, last);
    kelvo::DisplayPanelModel panel(2.2, 500.0, 0.2, 1.0, 0.01, 300.0, 49000.0);
    EXPECT_EQ(last, kelvo::ComputeAGTMTable(panel));
    EXPECT_NE(first, last);

    std::vector<uint32_t> curve(65);
    std::vector<int32_t> table(256);
    kelvo::alad_verification_registrator regs;
    regs.hist_adjust_curve = curve.data();
    regs.agtm = table.data();
    kelvo::ALADRegistratorsInfoForDriverDraftEngine(regs);
    EXPECT_EQ(regs.width, 720);
    EXPECT_EQ(regs.height, 1650);
    EXPECT_EQ(regs.reg_tm_mode, 3);
    EXPECT_EQ(regs.reg_strength_target, 128);
}

}  // namespace
