#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include <opencv2/imgcodecs.hpp>

#include "alad/alad_driver.h"
#include "alad/alad_engine.h"
#include "alad/alad_verify.h"
#include "tests/verify/verify_test_util.h"
#include "tools/commands.h"
#include "tools/tool_common.h"

namespace alad_tool {
namespace {

using alad_test::Capture;
using alad_test::ReadLines;
using alad_test::ScratchDir;
using alad_test::WriteText;

struct Result {
    int code = 0;
    std::string out, err;
};

Result Call(int (*command)(int, char**), std::vector<std::string> args) {
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(a.data());
    Result r;
    const alad_test::Captured c = Capture([&] { r.code = command(static_cast<int>(argv.size()), argv.data()); });
    r.out = c.out;
    r.err = c.err;
    return r;
}

TEST(DiffCommandTest, ReportsOnlyWhatDiffers) {
    ScratchDir dir;
    const std::string a = dir / "a", b = dir / "b";
    for (const std::string& side : {a, b}) std::filesystem::create_directories(side + "/frame-000");
    WriteText(a + "/frame-000/hist.txt", "00000001\n00000fff\n");
    WriteText(b + "/frame-000/hist.txt", "00000001\r\n00000FFF  \n");  // same values, other spelling
    WriteText(a + "/frame-000/result.txt", "123456789\n000000000\nfff000fff\n");
    WriteText(b + "/frame-000/result.txt", "123456788\n000000000\n000000fff\n");
    WriteText(a + "/frame-000/curve.txt", "00000010\n00000020\n00000030\n");
    WriteText(b + "/frame-000/curve.txt", "00000010\n00000025\n");
    WriteText(a + "/only_a.txt", "x\n");
    WriteText(b + "/frame-000/only_b.txt", "y\n");

    const Result r = Call(RunDiff, {a, b});
    EXPECT_EQ(r.code, 1);
    EXPECT_EQ(r.out,
              "frame-000/curve.txt: 2 of 3 lines differ (3 lines against 2); first at line 2: 00000020 | 00000025; "
              "largest difference 5\n"
              "frame-000/result.txt: 2 of 3 lines differ; first at line 1: 123456789 | 123456788; "
              "largest difference R 4095, G 0, B 1\n"
              "only in " + a + ": only_a.txt\n"
              "only in " + b + ": frame-000/only_b.txt\n"
              "alad diff: 1 identical, 2 different, 2 in one folder only\n");

    std::filesystem::remove(a + "/only_a.txt");
    std::filesystem::remove(b + "/frame-000/only_b.txt");
    WriteText(b + "/frame-000/result.txt", "123456789\n000000000\nfff000fff\n");
    WriteText(b + "/frame-000/curve.txt", "00000010\n00000020\n00000030\n");
    const Result same = Call(RunDiff, {a, b});
    EXPECT_EQ(same.code, 0);
    EXPECT_EQ(same.out, "alad diff: all 3 files identical\n");

    // Two files compare directly.
    EXPECT_EQ(Call(RunDiff, {a + "/frame-000/hist.txt", b + "/frame-000/hist.txt"}).code, 0);
    const Result files = Call(RunDiff, {a + "/frame-000/hist.txt", a + "/frame-000/curve.txt"});
    EXPECT_EQ(files.code, 1);
    EXPECT_EQ(files.out.rfind("hist.txt: 3 of 3 lines differ (2 lines against 3)", 0), 0u) << files.out;

    EXPECT_THROW(Call(RunDiff, {a}), UsageError);
    EXPECT_THROW(Call(RunDiff, {a, dir / "missing"}), UsageError);
    EXPECT_THROW(Call(RunDiff, {a, a + "/frame-000/hist.txt"}), UsageError);
}

TEST(RegsCommandTest, PrintsRegistersBlockCountsAndTables) {
    ScratchDir dir;
    const std::string path = WriteText(dir / "regs.txt",
                                       "tm_mode=2 width=600 height=400 blk_width_b=100 blk_height_b=256 "
                                       "strength_step=5 hist_adj_curv_12=777 agtm_entry017=2048\n");
    const Result r = Call(RunRegs, {path});
    EXPECT_EQ(r.code, 0);
    for (const char* line : {"  tm_mode            2\n", "  width              600\n", "  blk_width_b        100\n",
                             "  strength_interval  0\n", "  blk_h_num          2  (height in blocks of 256)\n",
                             "  blk_w_num          5  (width in blocks of 128)\n",
                             "  00: 0 0 0 0 0 0 0 0 0 0 0 0 777\n",
                             "  016: 0 2048 0 0 0 0 0 0 0 0 0 0 0 0 0 0\n"}) {
        EXPECT_NE(r.out.find(line), std::string::npos) << line << "\n" << r.out;
    }
    const std::string bad = WriteText(dir / "bad.txt", "width=5 agtm_entryabc=1\n");
    try {
        Call(RunRegs, {bad});
        ADD_FAILURE() << "no error";
    } catch (const RunError& e) {
        EXPECT_EQ(std::string(e.what()),
                  "register file '" + bad + "': token 'agtm_entryabc=1': AGTM table index 'abc' is not a number");
    }
    EXPECT_THROW(Call(RunRegs, {dir / "missing.txt"}), RunError);
    EXPECT_THROW(Call(RunRegs, {}), UsageError);
}

TEST(VectorCommandTest, PicturesAndYuvFramesBecomeVectorsOfTheDefaultRegisters) {
    ScratchDir dir;
    cv::Mat picture(3, 5, CV_8UC3);
    cv::RNG(9).fill(picture, cv::RNG::UNIFORM, 0, 256);
    const std::string png = dir / "small.png";
    ASSERT_TRUE(cv::imwrite(png, picture));
    const Result r = Call(RunVector, {png, dir / "vec", "--src", "300", "--dst", "20000"});
    ASSERT_EQ(r.code, 0) << r.err;

    // The pixels are the picture widened to 12 bits.
    cv::Mat widened, read;
    transform8To12(picture, widened);
    Capture([&] { EXPECT_EQ(parseImageFromFileCmodel(dir / "vec/image.txt", 5, 3, read), 0); });
    EXPECT_EQ(cv::norm(read, widened, cv::NORM_INF), 0.0);

    // The register file holds every key and reads back as the engine's registers of that run.
    std::vector<uint32_t> curve(65), engine_curve(65);
    std::vector<int32_t> table(256), engine_table(256);
    kelvo::alad_verification_registrator_ regs;
    regs.hist_adjust_curve = curve.data();
    regs.agtm = table.data();
    EXPECT_EQ(ReadRegisterFile((dir / "vec/regs.txt").c_str(), regs), 0);
    EXPECT_EQ(ReadLines(dir / "vec/regs.txt").size(), 13u + 65u + 256u);
    kelvo::alad_verification_registrator engine;
    engine.hist_adjust_curve = engine_curve.data();
    engine.agtm = engine_table.data();
    Capture([&] { kelvo::ALADRegistratorsInfoForDriverDraftEngine(engine); });
    EXPECT_EQ(regs.reg_tm_mode, 1);
    EXPECT_EQ(regs.width, 5);
    EXPECT_EQ(regs.height, 3);
    EXPECT_EQ(regs.reg_blk_width_b, 256);
    EXPECT_EQ(regs.reg_strength_target, engine.reg_strength_target);
    EXPECT_EQ(regs.reg_strength_step, engine.reg_strength_step);
    EXPECT_EQ(curve, engine_curve);
    EXPECT_EQ(table, engine_table);
    EXPECT_NE(table[0], 2048);  // 300 -> 20000 lux is not the identity

    // A 10-bit YUV frame: grey (Y 502, U = V = 512) becomes (298 * 438 + 512) >> 8 = 511, widened.
    std::string yuv;
    for (int i = 0; i < 4 * 2 + 2 * 2; ++i) {
        const int sample = i < 8 ? 502 : 512;
        yuv.push_back(static_cast<char>(sample & 0xFF));
        yuv.push_back(static_cast<char>(sample >> 8));
    }
    WriteText(dir / "grey.yuv", yuv);
    ASSERT_EQ(Call(RunVector, {dir / "grey.yuv", dir / "yuv", "--yuv", "4x2"}).code, 0);
    EXPECT_EQ(ReadLines(dir / "yuv/image.txt"), std::vector<std::string>(8, "7fd7fd7fd"));  // 511 * 4 + 1

    EXPECT_THROW(Call(RunVector, {dir / "grey.yuv", dir / "yuv", "--yuv", "4x4"}), RunError);
    EXPECT_THROW(Call(RunVector, {dir / "grey.yuv", dir / "yuv", "--yuv", "4by2"}), UsageError);
    EXPECT_THROW(Call(RunVector, {dir / "missing.png", dir / "x"}), RunError);
    EXPECT_THROW(Call(RunVector, {png}), UsageError);
}

}  // namespace
}  // namespace alad_tool
