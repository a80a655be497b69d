#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>
#include <vector>

#include <opencv2/core.hpp>

#include "agtm/scaler_lut.h"
#include "pipeline/concatenate_mode.h"
#include "pipeline/register_table.h"
#include "tests/engine/engine_test_util.h"

namespace kelvo {
namespace {

using testing_util::Registers;
using testing_util::Values;

const std::vector<int32_t> kDerived = {1, 96, 40, 256, 256, 1, 1, 0, 0, 0, 0, 0, 240, 5, 0};

class RegisterConfigTest : public testing::Test {
protected:
    void SetUp() override {
        testing_util::Stdout quiet;
        pipeline_.Init(panel_, cltm_, true);
    }
    Registers ReadBack() {
        Registers r;
        pipeline_.CopyRegistratorFromDriver(r.regs);
        return r;
    }
    std::string Configure(Registers& r) {
        testing_util::Stdout out;
        pipeline_.ConfigureVerificationRegistrators(r.regs);
        return out.Text();
    }
    cv::Mat Run(ALADConcatenateMode& pipeline) {
        cv::Mat dst;
        testing_util::Stdout quiet;
        pipeline.RunOneFrame(frame_, dst);
        return dst;
    }
    cv::Mat Run() { return Run(pipeline_); }

    DisplayPanelModel panel_{2.2, 500.0, 0.2, 1.0, 0.01, 300.0, 20000.0};
    alad_cltm_user cltm_{256, 256, 1, 15, 0, 96, 40, 1};  // 256x256 blocks, curve 1, strength 15, order 1
    ALADConcatenateMode pipeline_;
    cv::Mat frame_ = testing_util::Random12(40, 96, 11);
};

TEST_F(RegisterConfigTest, ReadBackReportsTheDerivedStateWhichUpdateCLTMParamsRestores) {
    Registers r = ReadBack();
    EXPECT_EQ(Values(r.regs), kDerived);
    EXPECT_EQ(r.curve[0], 1424u);  // curve id 1
    EXPECT_EQ(r.curve[10], 813u);
    EXPECT_EQ(r.table, ComputeAGTMTable(panel_));
    r.regs = {1, 96, 40, 256, 256, 1, 1, 1, 8191, 0, -1023, 0, 3, 77, 0, r.curve.data(), r.table.data()};
    r.curve[10] = 1;
    Configure(r);
    EXPECT_EQ(ReadBack().regs.reg_strength_step, 77);
    pipeline_.UpdateCLTMParams(cltm_);
    EXPECT_EQ(Values(ReadBack().regs), kDerived);
    EXPECT_EQ(ReadBack().curve[10], 813u);  // curve A again

    // Missing tables are skipped, not dereferenced.
    alad_verification_registrator regs = r.regs;
    regs.hist_adjust_curve = nullptr;
    regs.agtm = nullptr;
    {
        testing_util::Stdout quiet;
        pipeline_.ConfigureVerificationRegistrators(regs);
        pipeline_.CopyRegistratorFromDriver(regs);
    }
    EXPECT_EQ(Values(regs), (std::vector<int32_t>{1, 96, 40, 256, 256, 1, 1, 1, 8191, 0, -1023, 0, 3, 77, 0}));
    EXPECT_EQ(ReadBack().table, ComputeAGTMTable(panel_));
}

TEST_F(RegisterConfigTest, ApplyingTheReadBackChangesNothing) {
    Run();
    EXPECT_NE(cv::norm(Run(), frame_, cv::NORM_INF), 0.0);  // the frames are really mapped
    Registers r = ReadBack();
    EXPECT_EQ(Configure(r), "ConfigureVerificationRegistrators() begin!\nmOrder = registrators.reg_tm_mode;1\n");
    // The video state survives: the third frame equals a third frame without the registers.
    ALADConcatenateMode twin;
    { testing_util::Stdout quiet; twin.Init(panel_, cltm_, true); }
    Run(twin);
    Run(twin);
    EXPECT_EQ(cv::norm(Run(), Run(twin), cv::NORM_INF), 0.0);
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
    EXPECT_EQ(cv::norm(Run(), testing_util::TenBits(frame_), cv::NORM_INF), 0.0);
    // A block size that is not a power of two rounds up.
    r.regs.reg_blk_width_b = 100;
    Configure(r);
    EXPECT_EQ(ReadBack().regs.reg_blk_width_b, 128);
}

TEST_F(RegisterConfigTest, SizeChangeByRegistersReallocatesButKeepsTheDerivedBlockCounts) {
    Registers r = ReadBack();
    r.regs.width = 300;
    r.regs.height = 200;
    EXPECT_NE(Configure(r).find("ResetALADContext() finished!"), std::string::npos);
    frame_ = testing_util::Random12(200, 300, 12);
    Run();
    EXPECT_EQ(Run().size(), cv::Size(300, 200));
    EXPECT_EQ(Values(ReadBack().regs), (std::vector<int32_t>{1, 300, 200, 256, 256, 1, 1, 0, 0, 0, 0, 0, 240, 5, 0}));
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

// Every 32-bit field of a record (the table pointers excluded) is named by exactly one row: a row
// that is missing, doubled or pointing at the wrong field shows up as a field left at its fill
// value or as two rows sharing a value.
template <typename Record, typename Field>
void ExpectEveryFieldOnce(Field field, size_t integer_fields) {
    Record record;
    std::memset(static_cast<void*>(&record), 0xA5, sizeof(record));
    std::set<int32_t> seen;
    int32_t next = 1;
    for (const RegisterInfo& reg : kRegisters) {
        if (!(reg.*field)) continue;
        record.*(reg.*field) = next;
        seen.insert(next++);
    }
    EXPECT_EQ(seen.size(), integer_fields);
    const int32_t* words = reinterpret_cast<const int32_t*>(&record);
    for (size_t i = 0; i < integer_fields; ++i) EXPECT_TRUE(seen.count(words[i])) << "field " << i;
}

TEST(RegisterTableTest, EachFormHasEveryFieldOnceAndCopiesKeepTheValues) {
    ExpectEveryFieldOnce<alad_verification_registrator>(&RegisterInfo::internal, 15);
    ExpectEveryFieldOnce<alad_verification_registrator_>(&RegisterInfo::public_form, 13);
    ExpectEveryFieldOnce<alad_registrator_driver>(&RegisterInfo::driver, 13);
    ExpectEveryFieldOnce<alad_verification_registrator_interface_>(&RegisterInfo::front_end, 13);

    alad_verification_registrator_ pub;
    for (int i = 0; i < kRegisterCount; ++i) {
        if (kRegisters[i].public_form) pub.*kRegisters[i].public_form = 100 + i;
    }
    alad_verification_registrator internal;
    CopyRegisters(pub, internal);
    alad_registrator_driver driver{};
    CopyRegisters(internal, driver);
    alad_verification_registrator_interface_ front_end{};
    CopyRegisters(pub, front_end);
    alad_verification_registrator_ back;
    CopyRegisters(front_end, back);
    for (int i = 0; i < kRegisterCount; ++i) {
        const RegisterInfo& reg = kRegisters[i];
        SCOPED_TRACE(reg.name);
        if (!reg.public_form) {
            EXPECT_EQ(internal.*reg.internal, 0);  // the block counts are outputs: never copied in
            continue;
        }
        EXPECT_EQ(internal.*reg.internal, 100 + i);
        EXPECT_EQ(back.*reg.public_form, 100 + i);
        if (reg.driver) {
            EXPECT_EQ(driver.*reg.driver, 100 + i);
        }
    }
}

}  // namespace
}  // namespace kelvo
