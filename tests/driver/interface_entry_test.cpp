#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "alad/alad_engine.h"
#include "alad/alad_interface.h"

namespace {

std::string Printed(const std::function<void()>& call) {
    testing::internal::CaptureStdout();
    call();
    return testing::internal::GetCapturedStdout();
}

kelvo::alad_verification_registrator EngineRegisters(std::vector<uint32_t>& curve, std::vector<int32_t>& table) {
    curve.assign(65, 0);
    table.assign(256, 0);
    kelvo::alad_verification_registrator regs;
    regs.hist_adjust_curve = curve.data();
    regs.agtm = table.data();
    kelvo::ALADRegistratorsInfoForDriverDraftEngine(regs);
    return regs;
}

TEST(InterfaceEntryTest, DefaultsAndInitDiscardTheCallersRecords) {
    ad_user_interface_t_ user;
    std::memset(&user, 0x5A, sizeof(user));
    EXPECT_EQ(Printed([&] { ad_user_t_init_interface(&user); }), "ad_user_t: blk_size=256x256, strength=8, curve_id=1\n");
    EXPECT_EQ(user.mode, 0);
    EXPECT_EQ(user.width, 800);
    EXPECT_EQ(user.height, 480);
    EXPECT_EQ(user.limit, 65535);
    EXPECT_EQ(user.curve_table[200], 0);
    EXPECT_EQ(user.flag, 0);

    user.width = 1920;
    user.blk_width = 64;
    alad_display_model_interface_ model{2.6, 100.0, 1.0, 0.5, 0.2};
    const alad_view_condition_interface_ view{5.0f, 1000.0f};
    const std::string printed = Printed([&] { EXPECT_EQ(InitEngineALADInterface(&user, &model, &view), 0); });
    EXPECT_NE(printed.find("ad_user_t: blk_size=256x256, strength=8, curve_id=1\n"), std::string::npos);
    EXPECT_NE(printed.find("Interface viewCondition.blackLevelDst = 1000\n"), std::string::npos);
    EXPECT_EQ(user.width, 800);
    EXPECT_EQ(model.gamma, 2.2);
    std::vector<uint32_t> curve;
    std::vector<int32_t> table;
    const kelvo::alad_verification_registrator regs = EngineRegisters(curve, table);
    EXPECT_EQ(regs.width, 800);
    EXPECT_EQ(regs.height, 480);
    EXPECT_EQ(regs.reg_blk_width_b, 256);

    // The CLTM update passes the shared fields only.
    user.blk_width = 100;
    Printed([&] { UpdateCLTMParameterForVerify(&user); });
    EXPECT_EQ(EngineRegisters(curve, table).reg_blk_width_b, 128);
    EXPECT_EQ(_check_blk_size_interface(129), 256u);
}

TEST(InterfaceEntryTest, OneShotTableIgnoresTheCount) {
    std::vector<int> a(256), b(256);
    Printed([&] {
        ComputeAGTMLUTByAmbientLightInterface(0, 300, 5000, a.data(), 0);
        ComputeAGTMLUTByAmbientLightInterface(0, 300, 5000, b.data(), 77);
    });
    EXPECT_EQ(a, b);
}

TEST(InterfaceEntryTest, RegisterFilesAndRegisterSetsThroughTheInterface) {
    const std::string path = testing::TempDir() + "alad_interface_regs.txt";
    std::FILE* file = std::fopen(path.c_str(), "w");
    ASSERT_NE(file, nullptr);
    std::fputs("tm_mode=4 width=64 height=32 blk_width_b=64 blk_height_b=64 strength_step=3\n"
               "agtm_entry005=4096 hist_adj_curv_07=100\n", file);
    std::fclose(file);

    std::vector<int32_t> hist(65, -1), agtm(256, -1);
    alad_verification_registrator_interface_ reg{};
    reg.reg_hist = hist.data();
    reg.reg_agtm = agtm.data();
    Printed([&] { parseRegisterFromFileInterface(path.c_str(), &reg); });
    EXPECT_EQ(reg.tm_mode, 4);
    EXPECT_EQ(reg.width, 64);
    EXPECT_EQ(reg.strength_step, 3);
    EXPECT_EQ(agtm[5], 4096);
    EXPECT_EQ(agtm[6], 0);  // entries the file does not set read 0
    EXPECT_EQ(hist[7], 100);
    EXPECT_EQ(hist[8], 0);

    // An unreadable file leaves the record as it was.
    testing::internal::CaptureStderr();
    Printed([&] { parseRegisterFromFileInterface((path + ".missing").c_str(), &reg); });
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(reg.tm_mode, 4);

    ad_user_interface_t_ user;
    alad_display_model_interface_ model;
    const alad_view_condition_interface_ view{300.0f, 300.0f};
    Printed([&] {
        InitEngineALADInterface(&user, &model, &view);
        SettingVerificationRegistratorInterface(&reg);
    });
    std::vector<uint32_t> curve;
    std::vector<int32_t> table;
    const kelvo::alad_verification_registrator regs = EngineRegisters(curve, table);
    EXPECT_EQ(regs.reg_tm_mode, 4);
    EXPECT_EQ(regs.width, 64);
    EXPECT_EQ(table, agtm);
    EXPECT_EQ(curve[7], 100u);
    std::remove(path.c_str());
}

}  // namespace
