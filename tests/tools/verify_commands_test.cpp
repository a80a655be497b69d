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
class VectorCommandTest : public ScratchTest {
protected:
    // A picture of random colours, written as PNG; returns its path.
    std::string Picture(const std::string& name, int width, int height) const {
        cv::Mat picture(height, width, CV_8UC3);
        cv::RNG(static_cast<uint64_t>(width * 31 + height)).fill(picture, cv::RNG::UNIFORM, 0, 256);
        EXPECT_TRUE(cv::imwrite(Path(name), picture));
        return Path(name);
    }
};

TEST_F(VectorCommandTest, PicturesAndYuvFramesBecomeVectorsOfTheDefaultRegisters) {
    const std::string png = Picture("small.png", 5, 3);
    cv::Mat picture = cv::imread(png), widened, read;
    ASSERT_EQ(Vector({png, Path("vec"), "--src", "300", "--dst", "20000"}), 0);
    // The pixels are the picture widened to 12 bits.
    transform8To12(picture, widened);
    Capture([&] { EXPECT_EQ(parseImageFromFileCmodel(Path("vec/image.txt"), 5, 3, read), 0); });
    EXPECT_EQ(cv::norm(read, widened, cv::NORM_INF), 0.0);

    // The register file reads back as the engine's registers of that run (its text, every key once, is
    // WriteRegisterFile's: RegisterFileTest.WrittenFilesReadBackIntoTheSameRecord).
    FileRegisters file;
    const kelvo::alad_verification_registrator_& regs = file.regs;
    EXPECT_EQ(ReadRegisterFile(Path("vec/regs.txt").c_str(), file.regs), 0);
    const EngineRegs engine;
    EXPECT_EQ(std::vector<int>({regs.reg_tm_mode, regs.width, regs.height, regs.reg_blk_width_b,
                                regs.reg_strength_target, regs.reg_strength_step}),
              std::vector<int>({1, 5, 3, 256, engine.regs.reg_strength_target, engine.regs.reg_strength_step}));
    EXPECT_EQ(file.hist, engine.curve);
    EXPECT_EQ(file.agtm, engine.table);
    EXPECT_NE(file.agtm[0], 2048);  // 300 -> 20000 lux is not the identity

    // A 10-bit YUV frame: grey (Y 502, U = V = 512) becomes (298 * 438 + 512) >> 8 = 511, widened.
    WriteText(Path("grey.yuv"), Le16({502, 502, 502, 502, 502, 502, 502, 502, 512, 512, 512, 512}));
    ASSERT_EQ(Vector({Path("grey.yuv"), Path("yuv"), "--yuv", "4x2"}), 0);
    EXPECT_EQ(ReadLines(Path("yuv/image.txt")), std::vector<std::string>(8, "7fd7fd7fd"));  // 511 * 4 + 1

    EXPECT_THROW(Vector({Path("grey.yuv"), Path("yuv"), "--yuv", "4x4"}), RunError);
    EXPECT_THROW(Vector({Path("grey.yuv"), Path("yuv"), "--yuv", "4by2"}), UsageError);
    EXPECT_THROW(Vector({Path("missing.png"), Path("x")}), RunError);
    EXPECT_THROW(Vector({png}), UsageError);
}

TEST_F(VectorCommandTest, OptionsFramesChecksAndExpectedDumps) {
    const std::string small = Picture("small.png", 5, 3);
    ASSERT_EQ(Vector({small, Path("v"), "--order", "3", "--block", "64x128", "--strength", "2", "--frames", "3",
                      "--expect"}),
              0);
    FileRegisters file;
    const kelvo::alad_verification_registrator_& regs = file.regs;
    ASSERT_EQ(ReadRegisterFile(Path("v/regs.txt").c_str(), file.regs), 0);
    EXPECT_EQ(std::vector<int>({regs.reg_tm_mode, regs.reg_blk_width_b, regs.reg_blk_height_b, regs.reg_strength_target}),
              std::vector<int>({3, 64, 128, 32}));
    // The same picture three times, and the dumps of this build beside it.
    EXPECT_EQ(ReadLines(Path("v/image-000.txt")), ReadLines(Path("v/image-002.txt")));
    EXPECT_EQ(ReadLines(Path("v/image-000.txt")).size(), 15u);
    EXPECT_FALSE(std::filesystem::exists(Path("v/image.txt")));
    EXPECT_EQ(ReadLines(Path("v/expected/frame-002/result.txt")).size(), 15u);
    EXPECT_NE(ReadLines(Path("v/expected/run.json"))[1].find("\"tool\": \"alad verify\""), std::string::npos);

    // An earlier vector is replaced only with --force, and then wholly: no frame of it is left.
    EXPECT_THROW(Vector({small, Path("v")}), RunError);
    ASSERT_EQ(Vector({small, Path("v"), "--force"}), 0);
    EXPECT_TRUE(std::filesystem::exists(Path("v/image.txt")));
    EXPECT_FALSE(std::filesystem::exists(Path("v/image-000.txt")));
    EXPECT_FALSE(std::filesystem::exists(Path("v/expected")));

    // A picture wider than 5 blocks of 256 has no register file the hardware takes: nothing is written.
    std::vector<std::string> wide_args = {Picture("wide.png", 1281, 2), Path("w")};
    std::vector<char*> wide_argv = {wide_args[0].data(), wide_args[1].data()};
    const Captured wide = Capture([&] { EXPECT_THROW(RunVector(2, wide_argv.data()), RunError); });
    EXPECT_NE(wide.err.find("width=1281 takes 6 blocks of 256 across (blk_w_num), outside 1..5"), std::string::npos)
        << wide.err;
    EXPECT_FALSE(std::filesystem::exists(Path("w")));
    EXPECT_EQ(Vector({Picture("wide_ok.png", 1280, 2), Path("w")}), 0);

    EXPECT_THROW(Vector({small, Picture("other.png", 6, 3), Path("x")}), RunError);  // two sizes
    EXPECT_THROW(Vector({small, small, Path("x"), "--frames", "3"}), RunError);        // two pictures, three frames
    EXPECT_EQ(Vector({small, small, Path("two")}), 0);
    EXPECT_EQ(ReadLines(Path("two/image-001.txt")).size(), 15u);
    for (const std::vector<std::string>& bad :
         {std::vector<std::string>{"--block", "100"}, {"--block", "64x"}, {"--order", "7"}, {"--frames", "0"},
          {"--strength", "17"}}) {
        std::vector<std::string> args = {small, Path("y")};
        args.insert(args.end(), bad.begin(), bad.end());
        EXPECT_THROW(Vector(args), UsageError) << bad[0] << " " << bad[1];
    }
}

}  // namespace
}  // namespace alad_tool
