#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "alad/alad_verify.h"
#include "tests/verify/verify_test_util.h"

namespace {

using alad_test::Capture;
using alad_test::ScratchDir;
using alad_test::WriteText;

cv::Vec3i Pixel(const cv::Mat& image, int y, int x) { return image.at<cv::Vec3i>(y, x); }

TEST(PixelFileTest, TextPixelsAreRGBAndBothReadersCountPixels) {
    ScratchDir dir;
    const std::string rgb = WriteText(dir / "rgb.txt", "FFF 0 0\n0 0 FFF\n");
    const std::string packed = WriteText(dir / "packed.txt", "fff000000\n000000FFF\n");
    cv::Mat image;

    alad_test::Captured out = Capture([&] { EXPECT_EQ(parseImageFromFile(rgb, 2, 1, image), 0); });
    EXPECT_EQ(out.out, "open success! " + rgb + "\n");
    ASSERT_EQ(image.type(), CV_32SC3);
    EXPECT_EQ(Pixel(image, 0, 0), cv::Vec3i(0, 0, 4095));
    EXPECT_EQ(Pixel(image, 0, 1), cv::Vec3i(4095, 0, 0));

    out = Capture([&] { EXPECT_EQ(parseImageFromFileCmodel(packed, 2, 1, image), 0); });
    EXPECT_EQ(out.out, "open success: " + packed + "\n");
    EXPECT_EQ(Pixel(image, 0, 0), cv::Vec3i(0, 0, 4095));
    EXPECT_EQ(Pixel(image, 0, 1), cv::Vec3i(4095, 0, 0));

    for (const std::string& path : {rgb, packed}) {
        out = Capture([&] {
            const int r = path == rgb ? parseImageFromFile(path, 3, 1, image) : parseImageFromFileCmodel(path, 3, 1, image);
            EXPECT_EQ(r, -1);
        });
        EXPECT_EQ(out.err, "parameter error: pixel number != width*height: 2 != 3\n");
        EXPECT_EQ(image.size(), cv::Size(3, 1));
        EXPECT_EQ(Pixel(image, 0, 2), cv::Vec3i(0, 0, 0));  // what the file did not hold reads 0
    }
}

TEST(PixelFileTest, ExtraLinesStartAgainAndEmptyLinesEndARow) {
    ScratchDir dir;
    cv::Mat image;
    // A third line for two pixels overwrites the first and is counted.
    const std::string extra = WriteText(dir / "extra.txt", "1 2 3\n4 5 6\n7 8 9\n");
    alad_test::Captured out = Capture([&] { EXPECT_EQ(parseImageFromFile(extra, 2, 1, image), -1); });
    EXPECT_EQ(out.err, "parameter error: pixel number != width*height: 3 != 2\n");
    EXPECT_EQ(Pixel(image, 0, 0), cv::Vec3i(9, 8, 7));
    EXPECT_EQ(Pixel(image, 0, 1), cv::Vec3i(6, 5, 4));

    // The empty line ends row 0 after one pixel; row 1 takes the next two lines.
    const std::string gap = WriteText(dir / "gap.txt", "1 2 3\n\n4 5 6\n7 8 9\n");
    out = Capture([&] { EXPECT_EQ(parseImageFromFile(gap, 2, 2, image), -1); });
    EXPECT_EQ(out.err, "parameter error: pixel number != width*height: 3 != 4\n");
    EXPECT_EQ(Pixel(image, 0, 0), cv::Vec3i(3, 2, 1));
    EXPECT_EQ(Pixel(image, 0, 1), cv::Vec3i(0, 0, 0));
    EXPECT_EQ(Pixel(image, 1, 0), cv::Vec3i(6, 5, 4));
    EXPECT_EQ(Pixel(image, 1, 1), cv::Vec3i(9, 8, 7));

    // Missing or malformed numbers read 0, and so does everything after a malformed one.
    const std::string partial = WriteText(dir / "partial.txt", "FFF\nabc zz 5\n0x10 20 30");
    Capture([&] { EXPECT_EQ(parseImageFromFile(partial, 3, 1, image), 0); });
    EXPECT_EQ(Pixel(image, 0, 0), cv::Vec3i(0, 0, 0xFFF));
    EXPECT_EQ(Pixel(image, 0, 1), cv::Vec3i(0, 0, 0xABC));
    EXPECT_EQ(Pixel(image, 0, 2), cv::Vec3i(0x30, 0x20, 0x10));
}

TEST(PixelFileTest, PackedLinesHoldTwelveBitsPerChannel) {
    ScratchDir dir;
    cv::Mat image;
    // Nine digits carry R, G, B; higher digits are ignored, fewer are the low channels.
    const std::string path = WriteText(dir / "packed.txt", "123456789\nABC123456789\nfff\nzz\n-1\n");
    Capture([&] { EXPECT_EQ(parseImageFromFileCmodel(path, 5, 1, image), 0); });
    EXPECT_EQ(Pixel(image, 0, 0), cv::Vec3i(0x789, 0x456, 0x123));
    EXPECT_EQ(Pixel(image, 0, 1), cv::Vec3i(0x789, 0x456, 0x123));
    EXPECT_EQ(Pixel(image, 0, 2), cv::Vec3i(0xFFF, 0, 0));
    EXPECT_EQ(Pixel(image, 0, 3), cv::Vec3i(0, 0, 0));
    EXPECT_EQ(Pixel(image, 0, 4), cv::Vec3i(0xFFF, 0xFFF, 0xFFF));
}

TEST(PixelFileTest, UnusableSizesAndMissingFilesAreRefused) {
    ScratchDir dir;
    const std::string path = WriteText(dir / "one.txt", "123456789\n");
    const struct {
        int width, height;
    } sizes[] = {{0, 0}, {0, 1}, {1, 0}, {-1, 5}, {5, -1}, {-2147483647 - 1, 1}, {100000, 100000}, {2147483647, 2}};
    for (const auto& s : sizes) {
        cv::Mat image(2, 2, CV_32SC3);
        const alad_test::Captured out = Capture([&] {
            EXPECT_EQ(parseImageFromFileCmodel(path, s.width, s.height, image), -1);
            EXPECT_EQ(parseImageFromFile(path, s.width, s.height, image), -1);
        });
        EXPECT_TRUE(image.empty());
        EXPECT_NE(out.err.find("frame size " + std::to_string(s.width) + "x" + std::to_string(s.height) +
                               " is not usable"),
                  std::string::npos);
    }
    cv::Mat image;
    const std::string missing = dir / "missing.txt";
    const alad_test::Captured out = Capture([&] {
        EXPECT_EQ(parseImageFromFileCmodel(missing, 2, 2, image), -1);
        EXPECT_EQ(parseImageFromFile(missing, 2, 2, image), -1);
        EXPECT_EQ(parseGammaLUTFromFile(missing, 2), -1);
    });
    EXPECT_EQ(out.err, "open failed: " + missing + "\nopen failed: " + missing + "\nopen failed: " + missing + "\n");
    EXPECT_EQ(out.out, "");
}

// A planar 10-bit little-endian 4:2:0 file: Y samples, then the two chroma planes given as bytes.
std::string YuvFile(const std::string& path, const std::vector<uint16_t>& y, const std::vector<uint8_t>& u,
                    const std::vector<uint8_t>& v) {
    std::string bytes;
    for (uint16_t s : y) {
        bytes.push_back(static_cast<char>(s & 0xFF));
        bytes.push_back(static_cast<char>(s >> 8));
    }
    bytes.append(u.begin(), u.end());
    bytes.append(v.begin(), v.end());
    return WriteText(path, bytes);
}

std::vector<uint8_t> Samples(const std::vector<uint16_t>& samples) {
    std::vector<uint8_t> bytes;
    for (uint16_t s : samples) {
        bytes.push_back(static_cast<uint8_t>(s & 0xFF));
        bytes.push_back(static_cast<uint8_t>(s >> 8));
    }
    return bytes;
}

TEST(YuvFileTest, ConvertsWithTheRoundingConstantAndSaturates) {
    ScratchDir dir;
    // 4x2: two chroma samples per plane, shared by columns 0-1 and 2-3.
    const std::string path = YuvFile(dir / "frame.yuv", {64, 940, 1023, 0, 64, 940, 1023, 0},
                                     Samples({512, 1023}), Samples({512, 512}));
    cv::Mat image;
    yuv10BitLE2BGR(path, 4, 2, image);
    ASSERT_EQ(image.type(), CV_32SC3);
    ASSERT_EQ(image.size(), cv::Size(4, 2));
    for (int y = 0; y < 2; ++y) {
        EXPECT_EQ(Pixel(image, y, 0), cv::Vec3i(2, 2, 2));  // c = 0: (0 + 512) >> 8
        EXPECT_EQ(Pixel(image, y, 1), cv::Vec3i(1021, 1021, 1021));  // c = 261048
        // Y 1023 with U 1023: blue and the luma saturate, green falls: c - 100 * 511.
        EXPECT_EQ(Pixel(image, y, 2), cv::Vec3i(1023, (285782 - 51100 + 512) >> 8, 1023));
        // Y 0: c = -19072, and U 1023 gives B = (-19072 + 263676 + 512) >> 8.
        EXPECT_EQ(Pixel(image, y, 3), cv::Vec3i((-19072 + 516 * 511 + 512) >> 8, 0, 0));
    }
}

TEST(YuvFileTest, OddSizesIndexChromaRowsOfWidthBytes) {
    ScratchDir dir;
    // 3x3: each chroma plane is read as 4 x 2 = 8 bytes, and row r of chroma starts at byte 3 * r,
    // so the last row's samples straddle byte pairs 3-4 and 5-6.
    const std::vector<uint8_t> u = {0x00, 0x02, 0xC0, 0x01, 0x02, 0x00, 0x02, 0x00};
    const std::vector<uint8_t> v = {0x00, 0x02, 0x00, 0x00, 0x02, 0x00, 0x02, 0x00};
    const std::string path = YuvFile(dir / "odd.yuv", std::vector<uint16_t>(9, 500), u, v);
    cv::Mat image;
    yuv10BitLE2BGR(path, 3, 3, image);
    ASSERT_EQ(image.size(), cv::Size(3, 3));
    const int c = 298 * 500 - 19072;
    // Row 2, column 0: U sample at bytes 3-4 = 0x0201 (513), V at bytes 3-4 = 0x0200 (512).
    EXPECT_EQ(Pixel(image, 2, 0), cv::Vec3i((c + 516 + 512) >> 8, (c - 100 + 512) >> 8, (c + 512) >> 8));
    // Row 0, column 2: U sample at bytes 2-3 = 0x01C0 (448).
    EXPECT_EQ(Pixel(image, 0, 2)[0], (c + 516 * (448 - 512) + 512) >> 8);
    // Row 2, column 2: U sample at bytes 5-6 = 0x0200.
    EXPECT_EQ(Pixel(image, 2, 2)[0], (c + 512) >> 8);
}

TEST(YuvFileTest, ShortOrMissingFilesAndBadSizesLeaveNoImage) {
    ScratchDir dir;
    // 2x2 needs 8 bytes of luma and 2 of each chroma plane: 12.
    const std::string complete = WriteText(dir / "complete.yuv", std::string(12, '\0'));
    const std::string short_file = WriteText(dir / "short.yuv", std::string(11, '\0'));
    cv::Mat image;
    yuv10BitLE2BGR(complete, 2, 2, image);
    EXPECT_EQ(image.size(), cv::Size(2, 2));
    alad_test::Captured out = Capture([&] { yuv10BitLE2BGR(short_file, 2, 2, image); });
    EXPECT_TRUE(image.empty());
    EXPECT_NE(out.err.find("'" + short_file + "' is shorter than a 2x2 frame (12 bytes)"), std::string::npos);
    out = Capture([&] { yuv10BitLE2BGR(dir / "none.yuv", 2, 2, image); });
    EXPECT_TRUE(image.empty());
    EXPECT_EQ(out.err, "open failed: " + (dir / "none.yuv") + "\n");
    out = Capture([&] { yuv10BitLE2BGR(complete, -2, 2, image); });
    EXPECT_TRUE(image.empty());
    EXPECT_NE(out.err.find("not usable"), std::string::npos);
}

TEST(GammaFileTest, PrintsTheCheckAndCountsEntries) {
    ScratchDir dir;
    const std::string path = WriteText(dir / "gamma.txt", "100 ff\n\n0 0\n80 3f\n");
    alad_test::Captured out = Capture([&] { EXPECT_EQ(parseGammaLUTFromFile(path, 3), 0); });
    EXPECT_EQ(out.out,
              "open success! " + path + "\n"
              "addr: 4096,   value: 255.   pow(v, 2.2): 4096\n"
              "addr: 0,   value: 0.   pow(v, 2.2): 0\n"
              "addr: 2048,   value: 63.   pow(v, 2.2): 891\n");
    out = Capture([&] { EXPECT_EQ(parseGammaLUTFromFile(path, 4), -1); });
    EXPECT_EQ(out.err, "parameter error: pixel number != lenght: 3 != 4\n");
}

}  // namespace
