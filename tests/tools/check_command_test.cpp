#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "alad/alad_verify.h"
#include "tests/verify/verify_test_util.h"
#include "tools/commands.h"
#include "tools/tool_common.h"
#include "verify/readers.h"

namespace alad_tool {
namespace {

using namespace alad_test;

struct CheckRun {
    int code = -1;
    std::vector<std::string> problems;  // the lines before the summary, "FILE:" taken off the front
    std::string summary;
};

CheckRun Check(std::vector<std::string> args) {
    const Captured out = RunCommand(RunCheck, args);
    CheckRun run;
    run.code = out.code;
    std::istringstream lines(out.out);
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("alad check:", 0) == 0) {
            run.summary = line;
            continue;
        }
        for (const std::string& a : args) {
            if (line.rfind(a + ":", 0) == 0) line = line.substr(a.size() + 1);
        }
        run.problems.push_back(line);
    }
    EXPECT_EQ(out.err, "");
    return run;
}

// A complete, clean register file, one assignment per line: the thirteen registers (lines 1-13),
// the CLTM table (lines 14-78), the AGTM table (lines 79-334). Edits are made on the text.
struct Regs {
    std::string text;
    Regs() {
        text = "tm_mode=1\nwidth=8\nheight=4\nblk_width_b=64\nblk_height_b=64\nhist_mode=0\ncurve_transition=0\n"
               "linear_adj_offset=0\nlinear_adj_ratio=0\nstrength_mode=0\nstrength_target=128\nstrength_step=5\n"
               "strength_interval=0\n";
        for (int i = 0; i < 65; ++i) text += cv::format("hist_adj_curv_%02d=%d\n", i, 100 + i);
        for (int i = 0; i < 256; ++i) text += cv::format("agtm_entry%03d=2048\n", i);
    }
    // The whole line that starts with `start` replaced (or removed, for an empty replacement).
    Regs& Line(const std::string& start, const std::string& replacement) {
        const size_t at = text.find("\n" + start) + 1;
        const size_t end = text.find('\n', at);
        text.replace(at, end + 1 - at, replacement.empty() ? "" : replacement + "\n");
        return *this;
    }
    Regs& Append(const std::string& more) {
        text += more;
        return *this;
    }
    Regs& WithoutAGTM() {
        text.erase(text.find("agtm_entry000"));
        return *this;
    }
};

// What the register file reader makes of the same file.
struct ReadBack : FileRegisters {
    bool threw = false;
    explicit ReadBack(const std::string& path) {
        Capture([&] {
            try {
                ReadRegisterFile(path.c_str(), regs);
            } catch (const RegisterFileError&) {
                threw = true;
            }
        });
    }
};

// The clean file with the line of `line`'s own key replaced by `line`.
std::string Set(const std::string& line) { return Regs().Line(line.substr(0, line.find('=') + 1), line).text; }

TEST(CheckCommandTest, BrokenRegisterFilesAreNamedByLineAndColumnWhileTheReaderStaysLenient) {
    ScratchDir dir;
    using R = const ReadBack&;
    const std::function<void(R)> threw = [](R r) { EXPECT_TRUE(r.threw); };
    const auto width = [](int v) { return [v](R r) { EXPECT_EQ(r.regs.width, v); }; };
    const auto hist = [](int i, uint32_t v) { return [=](R r) { EXPECT_EQ(r.hist[i], v); }; };
    const struct {
        std::string text;
        std::vector<std::string> problems;  // the exit code is 1 when one of them is an error
        std::function<void(R)> reader;
    } cases[] = {
        {Regs().text, {}, [](R r) {
             EXPECT_EQ(std::vector<int>({r.regs.width, r.regs.height, static_cast<int>(r.hist[64]), r.agtm[255]}),
                       std::vector<int>({8, 4, 164, 2048}));
         }},
        {Set("width=6x0"), {"2:7: error: the value '6x0' of width is not a plain decimal integer (the reader takes 6)"},
         width(6)},
        {Set("width=0x258"),
         {"2:7: error: the value '0x258' of width is not a plain decimal integer (the reader takes 0)"}, width(0)},
        {Set("width=600.5"),
         {"2:7: error: the value '600.5' of width is not a plain decimal integer (the reader takes 600)"}, width(600)},
        {Set("width="), {"2:1: error: width has no value"}, threw},
        {Set("width=-5"), {"2:7: error: width=-5 is outside 1..8192 (the frame sizes the engine takes)"}, width(-5)},
        {Set("height=8193"), {"3:8: error: height=8193 is outside 1..8192 (the frame sizes the engine takes)"}, nullptr},
        {Regs().Line("width=", "width=8192").Line("height=", "height=8192").Line("blk_width_b=", "blk_width_b=256").text,
         {"2:1: error: width=8192 takes 32 blocks of 256 across (blk_w_num), outside 1..5 (the driver's range check: "
          "'error reg_blk_w_num out of range [1~5] !'); at most 1280 pixels",
          "3:1: error: a frame of 8192x8192 is larger than the engine takes (33177600 pixels in all)",
          "3:1: error: height=8192 takes 128 blocks of 64 down (blk_h_num), outside 1..10 (the driver's range check: "
          "'error reg_blk_h_num out of range [1~10] !'); at most 640 pixels"}, nullptr},
        {Regs().Line("hist_adj_curv_08=", "HIST_adj_curv_08=55").text,
         {"22:1: error: unknown key 'HIST_adj_curv_08': keys are case-sensitive (did you mean 'hist_adj_curv_08'?); "
          "the reader ignores it",
          "335:1: error: CLTM table entry 08 is missing (read 0)"}, hist(8, 0)},
        {Regs().Line("hist_adj_curv_01=", "hist_adj_curv_0x=5").text,
         {"15:15: error: the index '0x' of 'hist_adj_curv_0x' (characters 15-16) is not 2 decimal digits (the reader "
          "takes entry 0)",
          "335:1: error: CLTM table entry 01 is missing (read 0)"},
         [](R r) { EXPECT_EQ(std::vector<uint32_t>(r.hist.begin(), r.hist.begin() + 2), std::vector<uint32_t>({5, 0})); }},
        {Set("tm_mode=9"),
         {"1:9: error: tm_mode=9 is outside 1..6 (the driver's range check: 'error reg_tm_mode out of range [1~6] !')"},
         [](R r) { EXPECT_EQ(r.regs.reg_tm_mode, 9); }},
        {Set("strength_step=0"),
         {"12:15: error: strength_step=0 is outside 1..255 (the driver's range check: 'error reg_strength_step out of "
          "range [1~255] !')"}, nullptr},
        {Set("blk_width_b=96"),
         {"4:13: error: blk_width_b=96 is outside 64, 128 or 256 (the driver's range check: 'error reg_blk_width_b "
          "should be 64 or 128 or 256 !')"}, nullptr},
        {Regs().Line("height=", "").text, {"334:1: error: height is missing (the register reads 0)"},
         [](R r) { EXPECT_EQ(r.regs.height, 0); }},
        {Set("width=2000"),
         {"2:1: error: width=2000 takes 32 blocks of 64 across (blk_w_num), outside 1..5 (the driver's range check: "
          "'error reg_blk_w_num out of range [1~5] !'); at most 320 pixels"}, width(2000)},
        {Regs().Line("tm_mode=", "tm_mode = 1").text,
         {"1:1: error: 'tm_mode' has no value (write tm_mode=VALUE, no blanks around '=')",
          "1:9: error: '=' starts with '=' (no blanks around '=': key=value)",
          "1:11: error: '1' is not a key=value assignment", "335:1: error: tm_mode is missing (the register reads 0)"},
         threw},
        {Set("tm_mode=3=7"), {"1:10: error: a second '=' in 'tm_mode=3=7'; the reader ignores it and what follows"},
         [](R r) { EXPECT_EQ(r.regs.reg_tm_mode, 3); }},
        {Regs().Append("width=8\n").text, {"335:1: warning: width is set again (first at line 2)"}, nullptr},
        {Regs().Append("width=16\n").text,
         {"335:1: error: width is set again, to 16 (first at line 2, to 8); the last value counts"}, width(16)},
        {Regs().Append("hist_adj_curv_07=5\n").text,
         {"335:1: error: CLTM table entry 07 is set again, to 5 (first at line 21, to 107); the last value counts"},
         nullptr},
        {Regs().Line("agtm_entry255=", "agtm_entry300=1").text,
         {"334:11: error: index 300 is outside the AGTM table (000..255)",
          "335:1: error: AGTM table entry 255 is missing (read 0)"}, [](R r) { EXPECT_EQ(r.agtm[255], 0); }},
        {Regs().Line("hist_adj_curv_07=", "hist_adj_curv_071=5").text,
         {"21:17: error: '1' after the index of 'hist_adj_curv_071' (the reader ignores it)",
          "335:1: error: CLTM table entry 07 is missing (read 0)"}, hist(7, 5)},
        {Regs().Append("agtm_entryabc=1").text,
         {"335:11: error: the index 'abc' of 'agtm_entryabc' (characters 11-13) is not 3 decimal digits (the reader "
          "stops the run)"}, threw},
        {Regs().Append("hist_mode2=1\n").text,
         {"335:1: error: 'hist_mode2' is too short for a CLTM table key ('hist', 10 characters, a 2-digit index, as in "
          "hist_adj_curv_07); did you mean 'hist_mode'?"}, threw},
        {Regs().Append("hist_adj_curv_03=12abc\n").text,
         {"335:1: error: CLTM table entry 03 is set again, to 12abc (first at line 17, to 103); the last value counts",
          "335:18: error: the value '12abc' of CLTM table entry 03 is not a plain decimal integer (the reader takes "
          "12)"}, hist(3, 12)},
        {Set("hist_adj_curv_05=-1"),
         {"19:18: warning: the value -1 of CLTM table entry 05 is negative; the table holds it as 4294967295"}, nullptr},
        {Set("curve_transition=99999999999"),
         {"7:18: error: the value 99999999999 of curve_transition does not fit in 32 bits"}, threw},
        {Regs().Append("foo=5 blk_h_num=3\n").text,
         {"335:1: warning: unknown key 'foo'; the reader ignores it",
          "335:7: warning: blk_h_num is derived by the engine, not set by a register file; ignored"}, nullptr},
        {Regs().Line("tm_mode=", "tm_mode=3").WithoutAGTM().text,
         {"79:1: warning: the AGTM table is missing (agtm_entry000 to agtm_entry255 read 0); order 3 does not use it"},
         nullptr},
        {Regs().WithoutAGTM().text, {"79:1: error: the AGTM table is missing (agtm_entry000 to agtm_entry255 read 0)"},
         nullptr},
        {Set(std::string("width=8\x01")), {"2:8: error: byte 0x01 in a register file (text only: key=value tokens)"},
         width(8)},
        {Regs().Append(std::string(1100, 'w') + "\n").text,
         {"335:1: error: a token of 1100 characters; the reader ignores tokens over 1023"}, nullptr},
    };
    for (const auto& c : cases) {
        const std::string path = WriteText(dir / "regs.txt", c.text);
        const CheckRun run = Check({"--regs", path});
        EXPECT_EQ(run.problems, c.problems) << c.text.substr(0, 200);
        const bool error = std::any_of(c.problems.begin(), c.problems.end(),
                                       [](const std::string& p) { return p.find(" error: ") != std::string::npos; });
        EXPECT_EQ(run.code, error ? 1 : 0) << run.summary;
        // Warnings fail with --werror only.
        EXPECT_EQ(Check({"--werror", path}).code, c.problems.empty() ? 0 : 1) << c.text.substr(0, 200);
        if (c.problems.empty()) {
            EXPECT_EQ(run.summary, "alad check: 1 file, 0 errors, 0 warnings");
        }
        if (c.reader) c.reader(ReadBack(path));
    }
}

TEST(CheckCommandTest, BrokenPixelFilesAreNamedByLineWhileTheReaderReadsThemAsItAlwaysDid) {
    ScratchDir dir;
    const std::string good = "123456789\nabcdef012\n000000000\nfff000fff\n";
    const struct {
        std::string text;
        std::vector<std::string> problems;
        int reader;  // what parseImageFromFileCmodel returns for a 2x2 frame
    } cases[] = {
        {good, {}, 0},
        {"123456789\r\nABCDEF012\r\n000000000\r\nfff000fff", {}, 0},
        {"123456789\n1510zz080\n000000000\nfff000fff\n",
         {"2:5: error: 'z' is not a hexadecimal digit (a pixel line is RRRGGGBBB, nine digits)"}, 0},
        {"123456789\n1234567\n000000000\nfff000fff\n",
         {"2:1: error: 7 hexadecimal digits; a pixel line has nine (RRRGGGBBB)"}, 0},
        {"123456789\n1234567890\n000000000\nfff000fff\n",
         {"2:1: error: 10 hexadecimal digits; a pixel line has nine (RRRGGGBBB)"}, 0},
        {"123456789\n\nabcdef012\n000000000\nfff000fff\n",
         {"2:1: error: blank line (the reader ends the row here; the pixels after it shift to the next row)"}, 0},
        {"123456789\r\n\r\nabcdef012\n000000000\nfff000fff\n",
         {"2:1: error: blank line (the reader ends the row here; the pixels after it shift to the next row)"}, -1},
        {"123456789\nabcdef012\n# comment\nfff000fff\n",
         {"3:1: error: '#' is not a hexadecimal digit (a pixel line is RRRGGGBBB, nine digits)"}, 0},
        {"123456789 \nabcdef012\n000000000\nfff000fff\n",
         {"1:10: error: ' ' is not a hexadecimal digit (a pixel line is RRRGGGBBB, nine digits)"}, 0},
        {"123456789\nabcdef012\n000000000\n", {"4:1: error: 3 pixel lines; a 2x2 frame has 4"}, -1},
        {good + "123123123\n",
         {"5:1: error: pixel 5 is beyond the 2x2 frame (the reader starts again at the top)",
          "6:1: error: 5 pixel lines; a 2x2 frame has 4"},
         -1},
        {"", {"1:1: error: 0 pixel lines; a 2x2 frame has 4"}, -1},
    };
    for (const auto& c : cases) {
        const std::string path = WriteText(dir / "image.txt", c.text);
        const CheckRun run = Check({"--pixels", "--size", "2x2", path});
        EXPECT_EQ(run.problems, c.problems) << c.text;
        EXPECT_EQ(run.code, c.problems.empty() ? 0 : 1) << c.text;
        cv::Mat read;
        Capture([&] { EXPECT_EQ(parseImageFromFileCmodel(path, 2, 2, read), c.reader) << c.text; });
    }
    // How the blank line shifts the pixels is in the pixel reader's table (tests/verify).
}

TEST(CheckCommandTest, KindsSizesAndCommandLine) {
    ScratchDir dir;
    const std::string regs = WriteText(dir / "regs.txt", Regs().text);
    // The kind is told by the content; a pixel file takes its size from the one register file.
    std::string pixels;
    for (int i = 0; i < 32; ++i) pixels += "000111222\n";
    const std::string image = WriteText(dir / "image.txt", pixels);
    CheckRun run = Check({regs, image});
    EXPECT_EQ(run.problems, std::vector<std::string>());
    EXPECT_EQ(run.summary, "alad check: 2 files, 0 errors, 0 warnings");
    run = Check({image, "--size", "4x4"});
    EXPECT_EQ(run.problems,
              std::vector<std::string>({"17:1: error: pixel 17 is beyond the 4x4 frame (the reader starts again at the top)",
                                        "33:1: error: 32 pixel lines; a 4x4 frame has 16"}));
    run = Check({image});
    EXPECT_EQ(run.problems, std::vector<std::string>({" warning: frame size unknown (--size WxH, or one register file "
                                                      "with a usable width and height): the pixel count is not "
                                                      "checked"}));
    EXPECT_EQ(run.code, 0);
    // Nothing in it, or nothing there.
    WriteText(dir / "empty.txt", " \n\n");
    run = Check({dir / "empty.txt", dir / "missing.txt"});
    EXPECT_EQ(run.problems, std::vector<std::string>({" error: holds nothing: neither a register file nor a pixel file",
                                                      " error: cannot be read: No such file or directory"}));
    EXPECT_EQ(run.code, 1);
    // An empty register file misses everything: thirteen registers and two tables.
    run = Check({"--regs", dir / "empty.txt"});
    EXPECT_EQ(run.problems.size(), 15u);
    EXPECT_EQ(run.problems.back(), "3:1: error: the AGTM table is missing (agtm_entry000 to agtm_entry255 read 0)");

    EXPECT_THROW(Check({}), UsageError);
    EXPECT_THROW(Check({"--regs", "--pixels", regs}), UsageError);
    EXPECT_THROW(Check({"--size", "0x4", image}), UsageError);
    EXPECT_THROW(Check({"--size", "4by4", image}), UsageError);
}

}  // namespace
}  // namespace alad_tool
