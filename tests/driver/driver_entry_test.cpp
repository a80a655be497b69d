#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include <opencv2/core.hpp>

#include "agtm/display_panel_model.h"
#include "agtm/scaler_lut.h"
#include "alad/alad_driver.h"
#include "alad/alad_engine.h"
#include "alad/alad_interface.h"
#include "alad/alad_verify.h"
#include "tests/verify/verify_test_util.h"

namespace {

using namespace alad_test;

// The AGTM table of the driver's default panel, 300 lux -> dst lux.
std::vector<int32_t> PanelTable(double dst) {
    kelvo::DisplayPanelModel panel(2.2, 500.0, 0.2, 1.0, 0.01, 300.0, dst);
    return kelvo::ComputeAGTMTable(panel);
}

// The lines themselves, in the order of the fields, are in the default transcript.
TEST(RegisterCheckTest, BoundsPassAndEveryViolationIsReported) {
    const auto check = [](alad_registrator_driver r) {
        return Printed([&] { EXPECT_EQ(checkAladRegisterParameterValidity(&r), 0); });
    };
    EXPECT_EQ(check({1, 64, 256, 1, 5, 0, 0, -1023, -1023, 0, 0, 1, 0, nullptr, nullptr}), "");
    EXPECT_EQ(check({6, 256, 64, 10, 1, 1, 8191, 1023, 1023, 1, 255, 255, 255, nullptr, nullptr}), "");
    // Just below, then just above, every range: thirteen lines each.
    alad_registrator_driver wrong[] = {{0, 96, 512, 0, 0, 2, -1, -1024, -1024, -1, -1, 0, -1, nullptr, nullptr},
                                       {7, 512, 96, 11, 6, -1, 8192, 1024, 1024, 2, 256, 256, 256, nullptr, nullptr}};
    for (alad_registrator_driver& w : wrong) {
        const std::string printed = Printed([&] { checkAladRegisterParameterValidity(&w); });
        EXPECT_EQ(std::count(printed.begin(), printed.end(), '\n'), 13) << printed;
        EXPECT_EQ(printed.find("error reg_"), 0u) << printed;
    }
    EXPECT_EQ(wrong[0].reg_blk_width_b, 96);  // reported, never repaired

    for (auto [size, block] : {std::pair{0u, 64u}, {64u, 64u}, {65u, 128u}, {128u, 128u}, {129u, 256u}, {4000u, 256u}})
        EXPECT_EQ(_check_blk_size_driver(size), block) << size;
}

TEST(DriverEntryTest, InitResetsTheCallersRecordsAndStartsWithTheDefaults) {
    ad_user_t_driver_ user{0, 64, 64, 1, 3, 3, 720, 1650};  // block 64, strength 3
    alad_display_model_driver_ model{2.4, 500.0, 0.2, 1.0, 0.01};
    const alad_view_condition_driver_ view = {300.0f, 5000.0f};
    Printed([&] { EXPECT_EQ(InitEngineALADforDriver(&user, &model, &view), 0); });
    EXPECT_EQ(std::vector<double>({double(user.blk_width), double(user.strength), double(user.width),
                                   double(user.height), model.gamma}), std::vector<double>({256, 8, 720, 1650, 2.2}));

    std::vector<int32_t> table(256), curve(65);
    alad_registrator_driver regs{};
    regs.reg_agtm = table.data();
    regs.reg_hist = curve.data();
    EXPECT_EQ(Printed([&] { ALADRegistratorsInfoForDriver(&regs); }), "");  // the defaults are in range
    // 1650 / 256, rounded up, gives 7 block rows.
    EXPECT_EQ(std::vector<int>({regs.reg_tm_mode, regs.reg_blk_width_b, regs.reg_blk_h_num, regs.reg_blk_w_num,
                                regs.reg_strength_target, curve[0]}), std::vector<int>({3, 256, 7, 3, 128, 1424}));
    EXPECT_EQ(table, PanelTable(5000.0));

    // Updates go through; the read-back agrees with the engine's own register set.
    user.blk_width = 100;
    user.tm_mode = 4;
    Printed([&] { UpdateCLTMParameterForDriver(&user); ALADRegistratorsInfoForDriver(&regs); });
    const EngineRegs engine;
    EXPECT_EQ(regs.reg_blk_width_b, 128);
    const auto& e = engine.regs;
    EXPECT_EQ(std::vector<int>({regs.reg_tm_mode, regs.reg_blk_w_num, regs.reg_strength_interval}),
              std::vector<int>({e.reg_tm_mode, e.reg_blk_w_num, e.reg_strength_interval}));
    EXPECT_EQ(table, engine.table);

    // Missing records are named, not dereferenced.
    EXPECT_NE(Printed([] { UpdateCLTMParameterForDriver(nullptr); }).find("null pointer"), std::string::npos);
    EXPECT_NE(Printed([] { InitEngineALADforDriver(nullptr, nullptr, nullptr); }).find("null pointer"),
              std::string::npos);
    EXPECT_NE(Printed([] { RunOneFrameBufferALADforDriver(nullptr); }).find("null pointer"), std::string::npos);
}

// The driver's engine at a frame size, order and ambient light.
void StartDriver(int width, int height, int order, float lux) {
    ad_user_t_driver_ user;
    alad_display_model_driver_ model;
    const alad_view_condition_driver_ view = {300.0f, lux};
    InitEngineALADforDriver(&user, &model, &view);
    user.width = width;
    user.height = height;
    user.tm_mode = order;
    UpdateCLTMParameterForDriver(&user);
}

// A driver buffer through the engine in place.
std::vector<unsigned char> RunBuffer(int width, int height, std::vector<unsigned char> bytes, int order) {
    const int channels = static_cast<int>(bytes.size()) / (width * height);
    _image image{width, height, channels, bytes.data()};
    const std::string printed = Printed([&] {
        StartDriver(width, height, order, 20000.0f);
        EXPECT_EQ(RunOneFrameBufferALADforDriver(image), 0);
    });
    EXPECT_EQ(printed.find("channels 3 is not 4") != std::string::npos, channels == 3);
    return bytes;
}

TEST(DriverEntryTest, WhiteAndThreeChannelBuffersComeBackAndEightBitPicturesAreWidenedFirst) {
    const std::vector<unsigned char> white(4 * 6 * 5, 255), rgb888(3 * 4 * 4, 77);
    EXPECT_EQ(RunBuffer(6, 5, white, 3), white);  // 255 enters as 4095 and comes back as 255
    EXPECT_EQ(RunBuffer(4, 4, rgb888, 3), rgb888);

    // Alpha bytes and the colours of orders 1 to 4: the in-place frames equal the chain of
    // conversions (driver_frames_test.cpp), which keeps the alpha plane.

    // The 8-bit picture path widens first.
    cv::Mat picture(4, 6, CV_8UC3, cv::Scalar(255, 128, 0)), out;
    Printed([&] {
        StartDriver(6, 4, 3, 300.0f);
        ALADImageModeForBSPdriver(picture, out);
    });
    // Order 3, first frame: the local stage passes the widened picture through (low bits aside).
    EXPECT_EQ(out.at<cv::Vec3i>(0, 0), cv::Vec3i(4095, 2058, 0));  // 128 -> 2056 -> 514 -> 2058
}

TEST(AmbientLevelTest, NearestLevelWithTiesGoingDownAndClampedTables) {
    for (const auto& c : {std::pair{-5, 0}, {300, 0}, {301, 0}, {320, 0}, {321, 1}, {340, 1}, {2380, 21},
                          {2381, 22}, {48999, 39}, {49000, 39}, {100000, 39}})
        Printed([&] { EXPECT_EQ(getAGTMLevel(c.first), c.second) << c.first; });  // its line: in the transcript
    for (int level = 0; level < ALAD_AGTM_LEVELS; ++level) {
        Printed([&] { EXPECT_EQ(getAGTMLevel(agtmLuxTable[level]), level); });
    }

    std::vector<int32_t> below(256), first(256), above(256), last(256);
    Printed([&] {
        VerifyInitEngineALAD();  // another configuration (order 1, no size), to be replaced
        for (auto [level, lut] : {std::pair{-3, &below}, {0, &first}, {45, &above}, {39, &last}}) {
            getAGTMCurveParams(level, lut->data());
        }
    });
    EXPECT_EQ(below, first);
    EXPECT_EQ(above, last);
    EXPECT_EQ(last, PanelTable(49000.0));
    EXPECT_NE(first, last);
    const EngineRegs r;  // the driver's default configuration is left in place
    EXPECT_EQ(std::vector<int>({r.regs.width, r.regs.height, r.regs.reg_tm_mode, r.regs.reg_strength_target}),
              std::vector<int>({720, 1650, 3, 128}));
}

TEST(InterfaceEntryTest, InitDiscardsTheCallersRecords) {
    ad_user_interface_t_ user;
    std::memset(&user, 0x5A, sizeof(user));
    alad_display_model_interface_ model{2.6, 100.0, 1.0, 0.5, 0.2};
    const alad_view_condition_interface_ view{5.0f, 1000.0f};
    Capture([&] { EXPECT_EQ(InitEngineALADInterface(&user, &model, &view), 0); });
    EXPECT_EQ(std::vector<double>({double(user.width), double(user.blk_width), model.gamma}),
              std::vector<double>({800, 256, 2.2}));
    const EngineRegs started;
    EXPECT_EQ(std::vector<int>({started.regs.width, started.regs.height, started.regs.reg_blk_width_b}),
              std::vector<int>({800, 480, 256}));
    // The CLTM update passes the shared fields only.
    user.blk_width = 100;
    Capture([&] { UpdateCLTMParameterForVerify(&user); });
    EXPECT_EQ(EngineRegs().regs.reg_blk_width_b, 128);
}

TEST(InterfaceEntryTest, RegisterFilesAndRegisterSetsThroughTheInterface) {
    ScratchDir dir;
    const std::string path = WriteText(dir / "regs.txt", "tm_mode=4 width=64 height=32 blk_width_b=64 blk_height_b=64 "
                                                         "strength_step=3\nagtm_entry005=4096 hist_adj_curv_07=100\n");
    std::vector<int32_t> hist(65, -1), agtm(256, -1);
    alad_verification_registrator_interface_ reg{};
    reg.reg_hist = hist.data();
    reg.reg_agtm = agtm.data();
    Capture([&] { parseRegisterFromFileInterface(path.c_str(), &reg); });
    // Entries the file does not set read 0.
    EXPECT_EQ(std::vector<int>({reg.tm_mode, reg.width, reg.strength_step, agtm[5], agtm[6], hist[7], hist[8]}),
              std::vector<int>({4, 64, 3, 4096, 0, 100, 0}));

    // An unreadable file leaves the record as it was.
    Capture([&] { parseRegisterFromFileInterface((dir / "missing.txt").c_str(), &reg); });
    EXPECT_EQ(std::vector<int>({reg.tm_mode, reg.width, agtm[5], hist[7]}), std::vector<int>({4, 64, 4096, 100}));

    ad_user_interface_t_ user;
    alad_display_model_interface_ model;
    const alad_view_condition_interface_ view{300.0f, 300.0f};
    Capture([&] {
        InitEngineALADInterface(&user, &model, &view);
        SettingVerificationRegistratorInterface(&reg);
    });
    const EngineRegs r;
    EXPECT_EQ(std::vector<int>({r.regs.reg_tm_mode, r.regs.width, static_cast<int>(r.curve[7])}),
              std::vector<int>({4, 64, 100}));
    EXPECT_EQ(r.table, agtm);
}

}  // namespace
