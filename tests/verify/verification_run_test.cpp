#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "alad/alad_engine.h"
#include "alad/alad_verify.h"
#include "tests/verify/verify_test_util.h"

namespace {

using namespace alad_test;
namespace fs = std::filesystem;

const std::vector<std::string> kDumps = {"hist",      "foreward_curve", "backward_curve", "curve",  "smooth_curve",
                                         "trans_curve", "agtm_result", "cltm_result",    "result"};

class VerificationRunTest : public testing::Test {
protected:
    void SetUp() override { Capture([] { ASSERT_EQ(VerifyInitEngineALAD(), 0); }); }
    // A packed pixel file of a random 12-bit picture.
    cv::Mat WriteVector(int width, int height, unsigned seed) {
        cv::Mat picture(height, width, CV_32SC3);
        cv::RNG(seed).fill(picture, cv::RNG::UNIFORM, 0, 4096);
        Capture([&] { EXPECT_EQ(WriteImageDump(dir / "image.txt", picture), 0); });
        return picture;
    }
    // Register file `regs` (text, or a path when it names no register) run into `folder` (the scratch one if empty).
    int32_t Run(std::string regs, std::string folder = "", std::vector<const char*> names = {},
                const std::string& image = "image.txt") {
        if (regs.find('=') != std::string::npos) {  // the scalars, then every AGTM entry at a unit gain (2048)
            for (int i = 0; i < 256; ++i) regs += cv::format("\nagtm_entry%03d=2048", i);
            regs = WriteText(dir / "regs.txt", regs);
        }
        int32_t status = 0;
        if (folder.empty()) folder = dir.path.string();
        printed = Capture([&] {
            status = VerifyRunOneFrameALAD(regs.c_str(), (dir / image).c_str(), folder.c_str(), names.data(),
                                           static_cast<int32_t>(names.size()));
        });
        return status;
    }
    cv::Mat Result(const std::string& file, int width, int height) {
        cv::Mat image;
        Capture([&] { EXPECT_EQ(parseImageFromFileCmodel(file, width, height, image), 0); });
        return image;
    }
    ScratchDir dir;
    Captured printed;
};

TEST_F(VerificationRunTest, EveryOrderWritesTheEightDumpsInOrderThenTheResult) {
    const cv::Mat picture = WriteVector(8, 4, 1);
    for (const int order : {1, 2, 3, 4, 0}) {
        const std::string folder = dir / ("order" + std::to_string(order));
        fs::create_directories(folder);
        EXPECT_EQ(Run("tm_mode=" + std::to_string(order) + " width=8 height=4 blk_width_b=64 blk_height_b=64 "
                      "strength_target=255", folder), 0) << printed.err;
        std::string expected;
        for (size_t i = 0; i < 8; ++i) {
            expected += "printDebugInfo: " + folder + "/" + kDumps[i] + ".txt, infoType: " + kDumps[i] + "\n";
            EXPECT_TRUE(fs::exists(folder + "/" + kDumps[i] + ".txt")) << kDumps[i];
        }
        expected += "printImageInfo: " + folder + "/result.txt\nprintImageInfo: " + folder + "/result.txt\n";
        EXPECT_NE(printed.out.find(expected), std::string::npos) << "order " << order << ":\n" << printed.out;
        EXPECT_EQ(ReadLines(folder + "/result.txt").size(), 32u);
    }
    // Order 0 copies; order 4 with a flat gain of 1.0 leaves every pixel as it was.
    EXPECT_EQ(cv::norm(Result(dir / "order0/result.txt", 8, 4), picture, cv::NORM_INF), 0.0);
    EXPECT_EQ(cv::norm(Result(dir / "order4/result.txt", 8, 4), picture, cv::NORM_INF), 0.0);

    // Names are taken in order, the missing ones defaulted.
    EXPECT_EQ(Run("tm_mode=4 width=8 height=4", "", {"h.txt", nullptr, "", "c.txt"}), 0);
    for (size_t i = 0; i < kDumps.size(); ++i)
        EXPECT_TRUE(fs::exists(dir / ((i == 0 ? "h" : i == 3 ? "c" : kDumps[i]) + ".txt"))) << kDumps[i];
    EXPECT_EQ(Run("tm_mode=4 width=8 height=4", "", {"", "", "", "", "", "", "", "", "out.txt"}), 0);
    EXPECT_EQ(ReadLines(dir / "out.txt").size(), 32u);
}

TEST_F(VerificationRunTest, RegisterFileSwitchesTheEngineToItsFrameSize) {
    const cv::Mat picture = WriteVector(1080, 2400, 3);
    EXPECT_EQ(Run("tm_mode=1 width=1080 height=2400 blk_width_b=256 blk_height_b=256"), 0) << printed.err;
    const EngineRegs r;
    EXPECT_EQ(cv::Size(r.regs.width, r.regs.height), cv::Size(1080, 2400));
    EXPECT_NE(printed.out.find("INFO: video size 1080x2400"), std::string::npos);
    // The first frame of a sequence passes the local stage (which works on 10 bits) and a unit gain
    // keeps it.
    EXPECT_EQ(cv::norm(Result(dir / "result.txt", 1080, 2400), kelvo::testing_util::TenBits(picture), cv::NORM_INF), 0.0);
    EXPECT_EQ(ReadLines(dir / "hist.txt").size(), 5u * 10u * 128u);  // 5 x 10 blocks of 256
}

TEST_F(VerificationRunTest, BadInputsSkipTheFrameBeforeTheEngineSeesIt) {
    WriteVector(4, 2, 4);
    ASSERT_EQ(Run("tm_mode=3 width=4 height=2 blk_width_b=64"), 0);
    const struct {
        std::string regs, image, message;
    } cases[] = {
        {"width=2 height=2 hist_adj_curv_x0=1 tm_mode=4", "image.txt",
         "token 'hist_adj_curv_x0=1': CLTM table index 'x0' is not a number; frame skipped"},
        {"width=2 height=2 tm_mode", "image.txt", "token 'tm_mode': register 'tm_mode' has no value; frame skipped"},
        {"tm_mode=4", "image.txt", "sets the frame size 0x0, which cannot be run; frame skipped"},
        {"tm_mode=4 width=-4 height=2", "image.txt", "sets the frame size -4x2, which cannot be run; frame skipped"},
        {dir / "none.txt", "image.txt", "open failed: " + (dir / "none.txt")},
        {"tm_mode=4 width=4 height=2", "missing.txt",
         "image file '" + (dir / "missing.txt") + "' cannot be read; frame skipped"},
    };
    for (const auto& c : cases) {
        const std::string folder = dir / "skipped";
        fs::remove_all(folder);
        fs::create_directories(folder);
        EXPECT_EQ(Run(c.regs, folder, {}, c.image), -1) << c.regs;
        EXPECT_NE(printed.err.find(c.message), std::string::npos) << printed.err;
        EXPECT_TRUE(fs::is_empty(folder)) << c.regs;
        if (c.image != "missing.txt") {  // nothing reached the engine: it runs the good file's configuration
            const EngineRegs r;
            EXPECT_EQ(cv::Vec2i(r.regs.reg_tm_mode, r.regs.width), cv::Vec2i(3, 4)) << c.regs;
        }
    }
}

TEST_F(VerificationRunTest, ShortVectorRunsButFails) {
    WriteVector(4, 2, 5);
    EXPECT_EQ(Run("tm_mode=0 width=4 height=3"), -1);
    EXPECT_NE(printed.err.find("parameter error: pixel number != width*height: 8 != 12"), std::string::npos);
    EXPECT_NE(printed.err.find("does not hold the 4x3 pixels"), std::string::npos);
    const std::vector<std::string> result = ReadLines(dir / "result.txt");
    ASSERT_EQ(result.size(), 12u);
    EXPECT_EQ(result.back(), "000000000");  // the missing row reads 0
}

}  // namespace
