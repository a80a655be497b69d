#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "alad/alad_verify.h"
#include "tests/verify/verify_test_util.h"

namespace {

using namespace alad_test;
using Px = std::vector<cv::Vec3i>;

TEST(PixelFileTest, LinesArePixelsRowByRowAndTheCountIsChecked) {
    ScratchDir dir;
    const struct {
        bool packed;
        std::string text;
        int width, height;
        std::string mismatch;  // "<pixels read> != <pixels wanted>", or none
        Px pixels;             // row by row
    } cases[] = {
        {false, "FFF 0 0\n0 0 FFF\n", 2, 1, "", {{0, 0, 4095}, {4095, 0, 0}}},
        {false, "FFF 0 0\n0 0 FFF\n", 3, 1, "2 != 3", {{0, 0, 4095}, {4095, 0, 0}, {0, 0, 0}}},  // the rest reads 0
        {true, "fff000000\n000000FFF\n", 2, 1, "", {{0, 0, 4095}, {4095, 0, 0}}},
        {true, "fff000000\n000000FFF\n", 3, 1, "2 != 3", {{0, 0, 4095}, {4095, 0, 0}, {0, 0, 0}}},
        // A third line for two pixels overwrites the first and is counted.
        {false, "1 2 3\n4 5 6\n7 8 9\n", 2, 1, "3 != 2", {{9, 8, 7}, {6, 5, 4}}},
        // The empty line ends row 0 after one pixel; row 1 takes the next two lines.
        {false, "1 2 3\n\n4 5 6\n7 8 9\n", 2, 2, "3 != 4", {{3, 2, 1}, {0, 0, 0}, {6, 5, 4}, {9, 8, 7}}},
        // An empty line that starts a pass only ends that pass's row: the next pass reads on.
        {false, "\n1 2 3\n4 5 6\n", 2, 1, "", {{3, 2, 1}, {6, 5, 4}}},
        {true, "\n123456789\n", 1, 1, "", {{0x789, 0x456, 0x123}}},
        // Mid-file, the row ends there, and the last pixel, read again from the top, replaces the first.
        {true, "123456789\n\nabcdef012\n000000000\nfff000fff\n", 2, 2, "",
         {{0xfff, 0, 0xfff}, {0, 0, 0}, {0x012, 0xdef, 0xabc}, {0, 0, 0}}},
        // Missing or malformed numbers read 0, and so does everything after a malformed one.
        {false, "FFF\nabc zz 5\n0x10 20 30", 3, 1, "", {{0, 0, 0xFFF}, {0, 0, 0xABC}, {0x30, 0x20, 0x10}}},
        // Nine digits carry R, G, B; higher digits are ignored, fewer are the low channels.
        {true, "123456789\nABC123456789\nfff\nzz\n-1\n", 5, 1, "",
         {{0x789, 0x456, 0x123}, {0x789, 0x456, 0x123}, {0xFFF, 0, 0}, {0, 0, 0}, {0xFFF, 0xFFF, 0xFFF}}},
        // Just long enough for the size (a line per pixel, the last without its line end) and read;
        // long enough but short of pixels: read, and the count reported.
        {false, "0\n0\n0", 3, 1, "", Px(3)},
        {true, "0\n0\n0", 3, 1, "", Px(3)},
        {false, "0\n\n\n\n\n", 2, 1, "1 != 2", Px(2)},
        {true, "0\n\n\n\n\n", 2, 1, "1 != 2", Px(2)},
    };
    for (const auto& c : cases) {
        cv::Mat image;
        const std::string path = WriteText(dir / "pixels.txt", c.text);
        const auto read = c.packed ? parseImageFromFileCmodel : parseImageFromFile;
        const int status = c.mismatch.empty() ? 0 : -1;
        const Captured out = Capture([&] { EXPECT_EQ(read(path, c.width, c.height, image), status); });
        EXPECT_EQ(out.out, (c.packed ? "open success: " : "open success! ") + path + "\n");
        EXPECT_EQ(out.err, status ? "parameter error: pixel number != width*height: " + c.mismatch + "\n" : "");
        ASSERT_EQ(image.type(), CV_32SC3);
        EXPECT_EQ(image.size(), cv::Size(c.width, c.height));
        EXPECT_EQ(Px(image.begin<cv::Vec3i>(), image.end<cv::Vec3i>()), c.pixels) << c.text;
    }
}

// Sizes that cannot be run, and files with fewer bytes than a line per pixel (the last without its
// line end), are refused before the frame is allocated, however large the size.
TEST(PixelFileTest, UnusableSizesShortAndMissingFilesAreRefused) {
    ScratchDir dir;
    struct Case {
        std::string text;
        int width, height;
        std::string err;  // what standard error starts with after "READER: 'PATH"
    };
    std::vector<Case> cases = {
        {"0\n0\n", 3, 1, "' holds 4 bytes, too few for a 3x1 frame (a line per pixel: at least 5 bytes); nothing read"},
        {"1234", 7680, 4320, "' holds 4 bytes, too few for a 7680x4320 frame (a line per pixel: at least 66355199"},
        {"", 1, 1, "' holds 0 bytes, too few for a 1x1 frame"},
    };
    for (const auto& [w, h] : {std::pair{0, 0}, {0, 1}, {1, 0}, {-1, 5}, {5, -1}, {-2147483647 - 1, 1},
                               {100000, 100000}, {2147483647, 2}, {8193, 1}, {1, 8193}, {8192, 4051}}) {
        cases.push_back({"123456789\n", w, h, cv::format("': frame size %dx%d is not usable", w, h)});
    }
    for (const Case& c : cases) {
        const std::string path = WriteText(dir / "pixels.txt", c.text);
        for (const bool packed : {false, true}) {
            cv::Mat image(2, 2, CV_32SC3);
            const auto read = packed ? parseImageFromFileCmodel : parseImageFromFile;
            const std::string err = Capture([&] { EXPECT_EQ(read(path, c.width, c.height, image), -1); }).err;
            const std::string who = packed ? "parseImageFromFileCmodel: '" : "parseImageFromFile: '";
            EXPECT_EQ(err.rfind(who + path + c.err, 0), 0u) << err;
            EXPECT_TRUE(image.empty());
        }
    }
    const std::string missing = dir / "missing.txt";
    cv::Mat image;
    const Captured out = Capture([&] {
        EXPECT_EQ(parseImageFromFileCmodel(missing, 2, 2, image), -1);
        EXPECT_EQ(parseImageFromFile(missing, 2, 2, image), -1);
        EXPECT_EQ(parseGammaLUTFromFile(missing, 2), -1);
    });
    EXPECT_EQ(out.err, "open failed: " + missing + "\nopen failed: " + missing + "\nopen failed: " + missing + "\n");
    EXPECT_EQ(out.out, "");
}

TEST(YuvFileTest, ConvertsWithTheRoundingConstantSaturatesAndIndexesChromaRowsOfWidthBytes) {
    ScratchDir dir;
    cv::Mat image;
    // 4x2, planar 10-bit little-endian 4:2:0: two chroma samples per plane, for columns 0-1 and 2-3.
    const std::string frame = Le16({64, 940, 1023, 0, 64, 940, 1023, 0, 512, 1023, 512, 512});
    yuv10BitLE2BGR(WriteText(dir / "frame.yuv", frame), 4, 2, image);
    ASSERT_EQ(image.type(), CV_32SC3);
    const Px row = {{2, 2, 2},           // c = 0: (0 + 512) >> 8
                    {1021, 1021, 1021},  // c = 261048
                    // Y 1023 with U 1023: blue and the luma saturate, green falls: c - 100 * 511.
                    {1023, (285782 - 51100 + 512) >> 8, 1023},
                    // Y 0: c = -19072, and U 1023 gives B = (-19072 + 263676 + 512) >> 8.
                    {(-19072 + 516 * 511 + 512) >> 8, 0, 0}};
    ASSERT_EQ(image.size(), cv::Size(4, 2));
    for (int y : {0, 1}) EXPECT_EQ(Px(image.ptr<cv::Vec3i>(y), image.ptr<cv::Vec3i>(y) + 4), row) << "row " << y;

    // 3x3: each chroma plane is read as 4 x 2 = 8 bytes, and row r of chroma starts at byte 3 * r,
    // so the last row's samples straddle byte pairs 3-4 and 5-6.
    const std::string u = {0x00, 0x02, char(0xC0), 0x01, 0x02, 0x00, 0x02, 0x00}, v = {0, 2, 0, 0, 2, 0, 2, 0};
    yuv10BitLE2BGR(WriteText(dir / "odd.yuv", Le16(std::vector<int>(9, 500)) + u + v), 3, 3, image);
    ASSERT_EQ(image.size(), cv::Size(3, 3));
    const int c = 298 * 500 - 19072;
    // Row 2, column 0: U at bytes 3-4 = 0x0201 (513), V at bytes 3-4 = 0x0200 (512).
    EXPECT_EQ(image.at<cv::Vec3i>(2, 0), cv::Vec3i((c + 516 + 512) >> 8, (c - 100 + 512) >> 8, (c + 512) >> 8));
    EXPECT_EQ(image.at<cv::Vec3i>(0, 2)[0], (c + 516 * (448 - 512) + 512) >> 8);  // U at bytes 2-3 = 0x01C0
    EXPECT_EQ(image.at<cv::Vec3i>(2, 2)[0], (c + 512) >> 8);                      // U at bytes 5-6 = 0x0200
}

TEST(YuvFileTest, ShortOrMissingFilesAndBadSizesLeaveNoImage) {
    ScratchDir dir;
    cv::Mat image;
    // 2x2 needs 8 bytes of luma and 2 of each chroma plane: 12.
    const std::string complete = WriteText(dir / "complete.yuv", std::string(12, '\0')), none = dir / "none.yuv";
    yuv10BitLE2BGR(complete, 2, 2, image);
    EXPECT_EQ(image.size(), cv::Size(2, 2));
    const struct {
        std::string path, err;
        int width;
    } cases[] = {
        {WriteText(dir / "short.yuv", std::string(11, '\0')),
         "yuv10BitLE2BGR: '" + (dir / "short.yuv") + "' is shorter than a 2x2 frame (12 bytes); nothing read\n", 2},
        {none, "open failed: " + none + "\n", 2},
        // Found before the planes are allocated.
        {WriteText(dir / "tiny.yuv", "1234"),
         "yuv10BitLE2BGR: '" + (dir / "tiny.yuv") + "' is shorter than a 7680x2 frame (46080 bytes)", 7680},
        {complete, "yuv10BitLE2BGR: '" + complete + "': frame size -2x2 is not usable", -2},
    };
    for (const auto& c : cases) {
        image.create(1, 1, CV_32SC3);
        const Captured out = Capture([&] { yuv10BitLE2BGR(c.path, c.width, 2, image); });
        EXPECT_TRUE(image.empty()) << c.path;
        EXPECT_EQ(out.err.rfind(c.err, 0), 0u) << out.err;  // the message starts the output
    }
}

TEST(GammaFileTest, PrintsTheCheckAndCountsEntries) {
    ScratchDir dir;
    const std::string path = WriteText(dir / "gamma.txt", "100 ff\n\n0 0\n80 3f\n");
    EXPECT_EQ(Capture([&] { EXPECT_EQ(parseGammaLUTFromFile(path, 3), 0); }).out,
              "open success! " + path + "\naddr: 4096,   value: 255.   pow(v, 2.2): 4096\n"
              "addr: 0,   value: 0.   pow(v, 2.2): 0\naddr: 2048,   value: 63.   pow(v, 2.2): 891\n");
    Capture([&] { EXPECT_EQ(parseGammaLUTFromFile(path, 4), -1); });  // its message is in the engine's transcript
}

}  // namespace
