#include <gtest/gtest.h>

#include <filesystem>
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

int Vector(std::vector<std::string> args) { return RunCommand(RunVector, std::move(args)).code; }

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
    FileRegisters file;
    const kelvo::alad_verification_registrator_& regs = file.regs;
    EXPECT_EQ(ReadRegisterFile((dir / "vec/regs.txt").c_str(), file.regs), 0);
    EXPECT_EQ(ReadLines(dir / "vec/regs.txt").size(), 13u + 65u + 256u);
    const EngineRegs engine;
    EXPECT_EQ(std::vector<int>({regs.reg_tm_mode, regs.width, regs.height, regs.reg_blk_width_b,
                                regs.reg_strength_target, regs.reg_strength_step}),
              std::vector<int>({1, 5, 3, 256, engine.regs.reg_strength_target, engine.regs.reg_strength_step}));
    EXPECT_EQ(file.hist, engine.curve);
    EXPECT_EQ(file.agtm, engine.table);
    EXPECT_NE(file.agtm[0], 2048);  // 300 -> 20000 lux is not the identity

    // A 10-bit YUV frame: grey (Y 502, U = V = 512) becomes (298 * 438 + 512) >> 8 = 511, widened.
    WriteText(dir / "grey.yuv", Le16({502, 502, 502, 502, 502, 502, 502, 502, 512, 512, 512, 512}));
    ASSERT_EQ(Vector({dir / "grey.yuv", dir / "yuv", "--yuv", "4x2"}), 0);
    EXPECT_EQ(ReadLines(dir / "yuv/image.txt"), std::vector<std::string>(8, "7fd7fd7fd"));  // 511 * 4 + 1

    EXPECT_THROW(Vector({dir / "grey.yuv", dir / "yuv", "--yuv", "4x4"}), RunError);
    EXPECT_THROW(Vector({dir / "grey.yuv", dir / "yuv", "--yuv", "4by2"}), UsageError);
    EXPECT_THROW(Vector({dir / "missing.png", dir / "x"}), RunError);
    EXPECT_THROW(Vector({png}), UsageError);
}

TEST(VectorCommandTest, OptionsFramesChecksAndExpectedDumps) {
    ScratchDir dir;
    const auto picture = [&](const std::string& name, int width, int height) {
        cv::Mat p(height, width, CV_8UC3);
        cv::RNG(static_cast<uint64_t>(width * 31 + height)).fill(p, cv::RNG::UNIFORM, 0, 256);
        EXPECT_TRUE(cv::imwrite(dir / name, p));
        return dir / name;
    };
    const std::string small = picture("small.png", 5, 3);
    ASSERT_EQ(Vector({small, dir / "v", "--order", "3", "--block", "64x128", "--strength", "2", "--frames", "3",
                      "--expect"}),
              0);
    FileRegisters file;
    const kelvo::alad_verification_registrator_& regs = file.regs;
    ASSERT_EQ(ReadRegisterFile((dir / "v/regs.txt").c_str(), file.regs), 0);
    EXPECT_EQ(std::vector<int>({regs.reg_tm_mode, regs.reg_blk_width_b, regs.reg_blk_height_b, regs.reg_strength_target}),
              std::vector<int>({3, 64, 128, 32}));
    // The same picture three times, and the dumps of this build beside it.
    EXPECT_EQ(ReadLines(dir / "v/image-000.txt"), ReadLines(dir / "v/image-002.txt"));
    EXPECT_EQ(ReadLines(dir / "v/image-000.txt").size(), 15u);
    EXPECT_FALSE(std::filesystem::exists(dir / "v/image.txt"));
    EXPECT_EQ(ReadLines(dir / "v/expected/frame-002/result.txt").size(), 15u);
    EXPECT_NE(ReadLines(dir / "v/expected/run.json")[1].find("\"tool\": \"alad verify\""), std::string::npos);

    // An earlier vector is replaced only with --force, and then wholly: no frame of it is left.
    EXPECT_THROW(Vector({small, dir / "v"}), RunError);
    ASSERT_EQ(Vector({small, dir / "v", "--force"}), 0);
    EXPECT_TRUE(std::filesystem::exists(dir / "v/image.txt"));
    EXPECT_FALSE(std::filesystem::exists(dir / "v/image-000.txt"));
    EXPECT_FALSE(std::filesystem::exists(dir / "v/expected"));

    // A picture wider than 5 blocks of 256 has no register file the hardware takes: nothing is written.
    std::vector<std::string> wide_args = {picture("wide.png", 1281, 2), dir / "w"};
    std::vector<char*> wide_argv = {wide_args[0].data(), wide_args[1].data()};
    const Captured wide = Capture([&] { EXPECT_THROW(RunVector(2, wide_argv.data()), RunError); });
    EXPECT_NE(wide.err.find("width=1281 takes 6 blocks of 256 across (blk_w_num), outside 1..5"), std::string::npos)
        << wide.err;
    EXPECT_FALSE(std::filesystem::exists(dir / "w"));
    EXPECT_EQ(Vector({picture("wide_ok.png", 1280, 2), dir / "w"}), 0);

    EXPECT_THROW(Vector({small, picture("other.png", 6, 3), dir / "x"}), RunError);  // two sizes
    EXPECT_THROW(Vector({small, small, dir / "x", "--frames", "3"}), RunError);        // two pictures, three frames
    EXPECT_EQ(Vector({small, small, dir / "two"}), 0);
    EXPECT_EQ(ReadLines(dir / "two/image-001.txt").size(), 15u);
    for (const std::vector<std::string>& bad :
         {std::vector<std::string>{"--block", "100"}, {"--block", "64x"}, {"--order", "7"}, {"--frames", "0"},
          {"--strength", "17"}}) {
        std::vector<std::string> args = {small, dir / "y"};
        args.insert(args.end(), bad.begin(), bad.end());
        EXPECT_THROW(Vector(args), UsageError) << bad[0] << " " << bad[1];
    }
}

}  // namespace
}  // namespace alad_tool
