#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "alad/alad_engine.h"
#include "alad/alad_verify.h"
#include "tests/verify/verify_test_util.h"

namespace {

using alad_test::Capture;
using alad_test::ReadLines;
using alad_test::ScratchDir;
using alad_test::WriteText;

const char* const kDumps[] = {"hist.txt",         "foreward_curve.txt", "backward_curve.txt",
                              "curve.txt",        "smooth_curve.txt",   "trans_curve.txt",
                              "agtm_result.txt",  "cltm_result.txt",    "result.txt"};

struct EngineRegisters {
    std::vector<uint32_t> curve = std::vector<uint32_t>(65);
    std::vector<int32_t> table = std::vector<int32_t>(256);
    kelvo::alad_verification_registrator regs;
    EngineRegisters() {
        regs.hist_adjust_curve = curve.data();
        regs.agtm = table.data();
        EXPECT_EQ(kelvo::ALADRegistratorsInfoForDriverDraftEngine(regs), 0);
    }
};

// A packed pixel file of a random 12-bit picture.
cv::Mat WriteVector(const std::string& path, int width, int height, unsigned seed) {
    cv::Mat picture(height, width, CV_32SC3);
    cv::RNG(seed).fill(picture, cv::RNG::UNIFORM, 0, 4096);
    Capture([&] { EXPECT_EQ(WriteImageDump(path, picture), 0); });
    return picture;
}

std::string Registers(const std::string& scalars, int agtm_gain) {
    std::ostringstream text;
    text << scalars << "\n";
    for (int i = 0; i < 256; ++i) text << "agtm_entry" << (i < 10 ? "00" : i < 100 ? "0" : "") << i << "=" << agtm_gain << "\n";
    return text.str();
}

class VerificationRunTest : public testing::Test {
protected:
    void SetUp() override { Capture([] { ASSERT_EQ(VerifyInitEngineALAD(), 0); }); }
    int32_t Run(const std::string& regs, const std::string& image, const std::string& folder,
                std::vector<const char*> names = {}, alad_test::Captured* out = nullptr) {
        int32_t status = 0;
        const alad_test::Captured c = Capture([&] {
            status = VerifyRunOneFrameALAD(regs.c_str(), image.c_str(), folder.c_str(), names.data(),
                                           static_cast<int32_t>(names.size()));
        });
        if (out) *out = c;
        return status;
    }
    ScratchDir dir;
};

TEST_F(VerificationRunTest, ReferenceConfigurationHasNoSizeAndOrderOne) {
    EngineRegisters r;
    EXPECT_EQ(r.regs.reg_tm_mode, 1);
    EXPECT_EQ(r.regs.width, 0);
    EXPECT_EQ(r.regs.height, 0);
    EXPECT_EQ(r.regs.reg_blk_width_b, 256);
    EXPECT_EQ(r.regs.reg_strength_target, 128);
}

TEST_F(VerificationRunTest, EveryOrderWritesTheEightDumpsInOrderThenTheResult) {
    const cv::Mat picture = WriteVector(dir / "image.txt", 8, 4, 1);
    for (const int order : {1, 2, 3, 4, 0}) {
        const std::string folder = dir / ("order" + std::to_string(order));
        std::filesystem::create_directories(folder);
        const std::string regs = WriteText(dir / "regs.txt", Registers("tm_mode=" + std::to_string(order) +
                                                                       " width=8 height=4 blk_width_b=64 "
                                                                       "blk_height_b=64 strength_target=255",
                                                                       2048));
        alad_test::Captured out;
        EXPECT_EQ(Run(regs, dir / "image.txt", folder, {}, &out), 0) << out.err;
        std::string expected;
        for (int i = 0; i < kDebugInfoTypeCount; ++i) {
            expected += "printDebugInfo: " + folder + "/" + kDumps[i] + ", infoType: " + kDebugInfoTypes[i] + "\n";
        }
        expected += "printImageInfo: " + folder + "/result.txt\nprintImageInfo: " + folder + "/result.txt\n";
        EXPECT_NE(out.out.find(expected), std::string::npos) << "order " << order << ":\n" << out.out;
        for (const char* name : kDumps) EXPECT_TRUE(std::filesystem::exists(folder + "/" + name)) << name;
        EXPECT_EQ(ReadLines(folder + "/result.txt").size(), 32u);
    }
    // Order 0 copies; order 4 with a flat gain of 1.0 leaves every pixel as it was.
    cv::Mat copied, agtm;
    Capture([&] {
        parseImageFromFileCmodel(dir / "order0/result.txt", 8, 4, copied);
        parseImageFromFileCmodel(dir / "order4/result.txt", 8, 4, agtm);
    });
    EXPECT_EQ(cv::norm(copied, picture, cv::NORM_INF), 0.0);
    EXPECT_EQ(cv::norm(agtm, picture, cv::NORM_INF), 0.0);
}

TEST_F(VerificationRunTest, NamesAreTakenInOrderAndDefaultedWhereMissing) {
    WriteVector(dir / "image.txt", 4, 2, 2);
    const std::string regs = WriteText(dir / "regs.txt", "tm_mode=4 width=4 height=2");
    EXPECT_EQ(Run(regs, dir / "image.txt", dir.path().string(), {"h.txt", nullptr, "", "c.txt"}), 0);
    for (const char* name : {"h.txt", "foreward_curve.txt", "backward_curve.txt", "c.txt", "smooth_curve.txt",
                             "trans_curve.txt", "agtm_result.txt", "cltm_result.txt", "result.txt"}) {
        EXPECT_TRUE(std::filesystem::exists(dir / name)) << name;
    }
    std::vector<const char*> nine(kDumps, kDumps + 9);
    nine[8] = "out.txt";
    EXPECT_EQ(Run(regs, dir / "image.txt", dir.path().string(), nine), 0);
    EXPECT_EQ(ReadLines(dir / "out.txt").size(), 8u);
}

TEST_F(VerificationRunTest, RegisterFileSwitchesTheEngineToItsFrameSize) {
    const cv::Mat picture = WriteVector(dir / "image.txt", 1080, 2400, 3);
    const std::string regs = WriteText(dir / "regs.txt", Registers("tm_mode=1 width=1080 height=2400 "
                                                                   "blk_width_b=256 blk_height_b=256",
                                                                   2048));
    alad_test::Captured out;
    EXPECT_EQ(Run(regs, dir / "image.txt", dir.path().string(), {}, &out), 0) << out.err;
    EngineRegisters r;
    EXPECT_EQ(r.regs.width, 1080);
    EXPECT_EQ(r.regs.height, 2400);
    EXPECT_NE(out.out.find("INFO: video size 1080x2400"), std::string::npos);
    // The first frame of a sequence passes the local stage (which works on 10 bits) and a unit gain
    // keeps it.
    cv::Mat result, expected(picture.size(), CV_32SC3);
    for (int y = 0; y < picture.rows; ++y) {
        for (int i = 0; i < picture.cols * 3; ++i) {
            const int32_t v10 = picture.ptr<int32_t>(y)[i] >> 2;
            expected.ptr<int32_t>(y)[i] = 4 * v10 + (v10 >> 8);
        }
    }
    Capture([&] { EXPECT_EQ(parseImageFromFileCmodel(dir / "result.txt", 1080, 2400, result), 0); });
    EXPECT_EQ(cv::norm(result, expected, cv::NORM_INF), 0.0);
    EXPECT_EQ(ReadLines(dir / "hist.txt").size(), 5u * 10u * 128u);  // 5 x 10 blocks of 256
}

TEST_F(VerificationRunTest, BadInputsSkipTheFrameBeforeTheEngineSeesIt) {
    WriteVector(dir / "image.txt", 4, 2, 4);
    const std::string good = WriteText(dir / "good.txt", "tm_mode=3 width=4 height=2 blk_width_b=64");
    ASSERT_EQ(Run(good, dir / "image.txt", dir.path().string()), 0);
    const struct {
        std::string regs, image, message;
    } cases[] = {
        {"width=2 height=2 hist_adj_curv_x0=1 tm_mode=4", "image.txt",
         "token 'hist_adj_curv_x0=1': CLTM table index 'x0' is not a number; frame skipped"},
        {"width=2 height=2 tm_mode", "image.txt", "token 'tm_mode': register 'tm_mode' has no value; frame skipped"},
        {"tm_mode=4", "image.txt", "sets the frame size 0x0, which cannot be run; frame skipped"},
        {"tm_mode=4 width=-4 height=2", "image.txt", "sets the frame size -4x2, which cannot be run; frame skipped"},
        {"tm_mode=4 width=4 height=2", "missing.txt", "image file '" + (dir / "missing.txt") +
                                                          "' cannot be read; frame skipped"},
    };
    for (const auto& c : cases) {
        const std::string folder = dir / "skipped";
        std::filesystem::remove_all(folder);
        std::filesystem::create_directories(folder);
        const std::string regs = WriteText(dir / "bad.txt", c.regs);
        alad_test::Captured out;
        EXPECT_EQ(Run(regs, dir / c.image, folder, {}, &out), -1) << c.regs;
        EXPECT_NE(out.err.find(c.message), std::string::npos) << out.err;
        EXPECT_TRUE(std::filesystem::is_empty(folder)) << c.regs;
        if (c.image != "missing.txt") {
            // Nothing reached the engine: it still runs the good file's configuration.
            EngineRegisters r;
            EXPECT_EQ(r.regs.reg_tm_mode, 3) << c.regs;
            EXPECT_EQ(r.regs.width, 4) << c.regs;
        }
    }
    alad_test::Captured out;
    EXPECT_EQ(Run(dir / "none.txt", dir / "image.txt", dir.path().string(), {}, &out), -1);
    EXPECT_NE(out.err.find("open failed: " + (dir / "none.txt")), std::string::npos);
}

TEST_F(VerificationRunTest, ShortVectorRunsButFails) {
    WriteVector(dir / "image.txt", 4, 2, 5);
    const std::string regs = WriteText(dir / "regs.txt", "tm_mode=0 width=4 height=3");
    alad_test::Captured out;
    EXPECT_EQ(Run(regs, dir / "image.txt", dir.path().string(), {}, &out), -1);
    EXPECT_NE(out.err.find("parameter error: pixel number != width*height: 8 != 12"), std::string::npos);
    EXPECT_NE(out.err.find("does not hold the 4x3 pixels"), std::string::npos);
    const std::vector<std::string> result = ReadLines(dir / "result.txt");
    ASSERT_EQ(result.size(), 12u);
    EXPECT_EQ(result.back(), "000000000");  // the missing row reads 0
}

}  // namespace
