#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <opencv2/imgcodecs.hpp>

#include "alad/alad_driver.h"
#include "alad/alad_verify.h"
#include "tests/verify/verify_test_util.h"
#include "tools/commands.h"
#include "tools/tool_common.h"

namespace alad_tool {
namespace {

using namespace alad_test;

int Vector(std::vector<std::string> args) {
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(a.data());
    int code = -1;
    Capture([&] { code = RunVector(static_cast<int>(argv.size()), argv.data()); });
    return code;
}

// The tool's own run of vector, verify, diff and regs is in cli_test.cmake; here the vector is held
// against the engine of the same process.
TEST(VectorCommandTest, PicturesAndYuvFramesBecomeVectorsOfTheDefaultRegisters) {
    ScratchDir dir;
    cv::Mat picture(3, 5, CV_8UC3), widened, read;
    cv::RNG(9).fill(picture, cv::RNG::UNIFORM, 0, 256);
    const std::string png = dir / "small.png";
    ASSERT_TRUE(cv::imwrite(png, picture));
    ASSERT_EQ(Vector({png, dir / "vec", "--src", "300", "--dst", "20000"}), 0);
    // The pixels are the picture widened to 12 bits.
    transform8To12(picture, widened);
    Capture([&] { EXPECT_EQ(parseImageFromFileCmodel(dir / "vec/image.txt", 5, 3, read), 0); });
    EXPECT_EQ(cv::norm(read, widened, cv::NORM_INF), 0.0);

    // The register file holds every key and reads back as the engine's registers of that run.
    std::vector<uint32_t> curve(65);
    std::vector<int32_t> table(256);
    kelvo::alad_verification_registrator_ regs;
    regs.hist_adjust_curve = curve.data();
    regs.agtm = table.data();
    EXPECT_EQ(ReadRegisterFile((dir / "vec/regs.txt").c_str(), regs), 0);
    EXPECT_EQ(ReadLines(dir / "vec/regs.txt").size(), 13u + 65u + 256u);
    const EngineRegs engine;
    EXPECT_EQ(std::vector<int>({regs.reg_tm_mode, regs.width, regs.height, regs.reg_blk_width_b,
                                regs.reg_strength_target, regs.reg_strength_step}),
              std::vector<int>({1, 5, 3, 256, engine.regs.reg_strength_target, engine.regs.reg_strength_step}));
    EXPECT_EQ(curve, engine.curve);
    EXPECT_EQ(table, engine.table);
    EXPECT_NE(table[0], 2048);  // 300 -> 20000 lux is not the identity

    // A 10-bit YUV frame: grey (Y 502, U = V = 512) becomes (298 * 438 + 512) >> 8 = 511, widened.
    WriteText(dir / "grey.yuv", Le16({502, 502, 502, 502, 502, 502, 502, 502, 512, 512, 512, 512}));
    ASSERT_EQ(Vector({dir / "grey.yuv", dir / "yuv", "--yuv", "4x2"}), 0);
    EXPECT_EQ(ReadLines(dir / "yuv/image.txt"), std::vector<std::string>(8, "7fd7fd7fd"));  // 511 * 4 + 1

    EXPECT_THROW(Vector({dir / "grey.yuv", dir / "yuv", "--yuv", "4x4"}), RunError);
    EXPECT_THROW(Vector({dir / "grey.yuv", dir / "yuv", "--yuv", "4by2"}), UsageError);
    EXPECT_THROW(Vector({dir / "missing.png", dir / "x"}), RunError);
    EXPECT_THROW(Vector({png}), UsageError);
}

}  // namespace
}  // namespace alad_tool
