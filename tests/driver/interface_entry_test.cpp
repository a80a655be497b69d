#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "alad/alad_engine.h"
#include "alad/alad_interface.h"
#include "tests/verify/verify_test_util.h"

namespace {

using namespace alad_test;

TEST(InterfaceEntryTest, DefaultsAndInitDiscardTheCallersRecords) {
    ad_user_interface_t_ user;
    std::memset(&user, 0x5A, sizeof(user));
    const std::string line = "ad_user_t: blk_size=256x256, strength=8, curve_id=1\n";
    EXPECT_EQ(Capture([&] { ad_user_t_init_interface(&user); }).out, line);
    EXPECT_EQ(std::vector<int>({user.mode, user.width, user.height, user.limit, user.curve_table[200], user.flag}),
              std::vector<int>({0, 800, 480, 65535, 0, 0}));

    user.width = 1920;
    user.blk_width = 64;
    alad_display_model_interface_ model{2.6, 100.0, 1.0, 0.5, 0.2};
    const alad_view_condition_interface_ view{5.0f, 1000.0f};
    const std::string printed = Capture([&] { EXPECT_EQ(InitEngineALADInterface(&user, &model, &view), 0); }).out;
    EXPECT_NE(printed.find(line), std::string::npos);
    EXPECT_NE(printed.find("Interface viewCondition.blackLevelDst = 1000\n"), std::string::npos);
    EXPECT_EQ(std::pair(user.width, model.gamma), std::pair(800, 2.2));
    const EngineRegs started;
    EXPECT_EQ(std::vector<int>({started.regs.width, started.regs.height, started.regs.reg_blk_width_b}),
              std::vector<int>({800, 480, 256}));
    // The CLTM update passes the shared fields only.
    user.blk_width = 100;
    Capture([&] { UpdateCLTMParameterForVerify(&user); });
    EXPECT_EQ(EngineRegs().regs.reg_blk_width_b, 128);
    EXPECT_EQ(_check_blk_size_interface(129), 256u);

    // The one-shot table does not depend on the count.
    std::vector<int> a(256), b(256);
    Capture([&] {
        ComputeAGTMLUTByAmbientLightInterface(0, 300, 5000, a.data(), 0);
        ComputeAGTMLUTByAmbientLightInterface(0, 300, 5000, b.data(), 77);
    });
    EXPECT_EQ(a, b);
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
