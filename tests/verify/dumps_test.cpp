#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "alad/alad_verify.h"
#include "common/debug_store.h"
#include "tests/verify/verify_test_util.h"

namespace {

using namespace alad_test;
using Lines = std::vector<std::string>;

TEST(DumpTest, ImagesAreRGBLinesThatReadBackUnchanged) {
    ScratchDir dir;
    const std::string path = dir / "image.txt";
    // The last pixel is over range: the width is a minimum.
    const cv::Mat image = (cv::Mat_<cv::Vec3i>(1, 4) << cv::Vec3i(0x789, 0x456, 0x123), cv::Vec3i(0, 0, 0),
                           cv::Vec3i(4095, 4095, 4095), cv::Vec3i(0x1000, 0, 4095));
    Capture([&] { printImageInfo(path, image); });  // its console line is in the engine's transcript
    EXPECT_EQ(ReadLines(path), (Lines{"123456789", "000000000", "fffffffff", "fff0001000"}));

    // A view into a larger image is written row by row; 8-bit images as they are.
    cv::Mat big(4, 4, CV_32SC3, cv::Scalar(1, 2, 3));
    big(cv::Rect(1, 1, 2, 2)).setTo(cv::Scalar(0xA, 0xB, 0xC));
    Capture([&] { EXPECT_EQ(WriteImageDump(path, big(cv::Rect(1, 1, 2, 2))), 0); });
    EXPECT_EQ(ReadLines(path), (Lines(4, "00c00b00a")));
    Capture([&] { EXPECT_EQ(WriteImageDump(path, cv::Mat(1, 1, CV_8UC3, cv::Scalar(1, 2, 255))), 0); });
    EXPECT_EQ(ReadLines(path), (Lines{"0ff002001"}));
}

TEST(DumpTest, UnwritableFilesAndOtherImagesAreReported) {
    ScratchDir dir;
    const std::string nowhere = dir / "no/such/folder.txt";
    Captured out = Capture([&] { EXPECT_EQ(WriteImageDump(nowhere, cv::Mat::zeros(1, 1, CV_32SC3)), -1); });
    EXPECT_EQ(out.out + out.err,
              "printImageInfo: " + nowhere + "\nprintImageInfo: " + nowhere + "\nopen failed: " + nowhere + "\n");
    EXPECT_EQ(Capture([&] { EXPECT_EQ(WriteDebugDump(nowhere, "hist"), -1); }).err, "open failed: " + nowhere + "\n");
    out = Capture([&] { EXPECT_EQ(WriteImageDump(dir / "gray.txt", cv::Mat::zeros(2, 2, CV_32SC1)), -1); });
    EXPECT_NE(out.err.find("1-channel image"), std::string::npos);
}

TEST(DumpTest, StatisticsCompareFloatWithFixed) {
    cv::Mat reference = (cv::Mat_<cv::Vec3f>(1, 2) << cv::Vec3f(10, 20, 30), cv::Vec3f(1, 2, 3));
    cv::Mat fixed = (cv::Mat_<cv::Vec3i>(1, 2) << cv::Vec3i(12, 20, 25), cv::Vec3i(1, 3, 3)), other(2, 2, CV_32SC3);
    // Differences -2, 0, 5 and 0, -1, 0: a mean square of 5 against 255, the absolute sums per channel, then the
    // minimum and the maximum.
    EXPECT_EQ(Capture([&] { StatisticsForFloatFixed(reference, fixed, "agtm"); }).out,
              "agtm:  Float and Fixed PSNR: 41.1411;    DifferenceSum : [2, 1, 5, 0];  MaxMinV: -2, 5\n");
    cv::Mat same = fixed.clone();
    EXPECT_EQ(Capture([&] { StatisticsForFloatFixed(fixed, same, "same"); }).out,
              "same:  Float and Fixed PSNR: 361.202;    DifferenceSum : [0, 0, 0, 0];  MaxMinV: 0, 0\n");
    const Captured sizes = Capture([&] { StatisticsForFloatFixed(fixed, other, "sizes"); });
    EXPECT_TRUE(sizes.out.empty() && sizes.err.find("sizes") != std::string::npos) << sizes.err;
}

// Arrays are dumped as eight-digit lower-case hex, and the copies hold what the dumps write; an
// entry the engine has not produced leaves an empty file.
TEST(DumpTest, ArraysAreEightDigitHexAndCopiesHoldWhatTheDumpsWrite) {
    ScratchDir dir;
    kelvo::alad_debug_output_::Terminate();
    kelvo::alad_debug_output_* store = kelvo::alad_debug_output_::GetInstance();
    const unsigned int hist[] = {0, 4095, 0xFFFFFFFFu, 0xABCDEF}, trans[] = {65535, 1, 2};
    store->SetADProcCalcCurveHistData(hist, 4);
    store->SetADProcCalcCurveTransitionCurveData(trans, 3);
    store->SetADAGTMResultData((cv::Mat_<cv::Vec3i>(1, 2) << cv::Vec3i(1, 2, 3), cv::Vec3i(4095, 0, 7)));
    store->SetADCLTMResultData(cv::Mat(1, 1, CV_16UC3, cv::Scalar(9, 8, 4095)));  // copied as 32-bit channels
    const std::string path = dir / "hist.txt";
    Capture([&] { printDebugInfo(path, "hist"); });
    EXPECT_EQ(ReadLines(path), (Lines{"00000000", "00000fff", "ffffffff", "00abcdef"}));
    Capture([&] { printDebugInfo(7, dir / "trans.txt", "ignored", "trans_curve"); });
    EXPECT_EQ(ReadLines(dir / "trans.txt"), (Lines{"0000ffff", "00000001", "00000002"}));

    std::vector<uint32_t> values{99};
    for (int t = 0; t < 6; ++t) {
        const std::string type = kDebugInfoTypes[t];
        ASSERT_EQ(CopyDebugArray(type, values), 0) << type;
        const std::string file = WriteText(dir / "dump.txt", "stale\n");
        Capture([&] { EXPECT_EQ(WriteDebugDump(file, type), 0); });
        std::vector<std::string> lines;
        for (uint32_t v : values) lines.push_back(cv::format("%08x", v));
        EXPECT_EQ(lines, ReadLines(file)) << type;
    }
    EXPECT_EQ(values, (std::vector<uint32_t>{65535, 1, 2}));
    const Captured unknown = Capture([&] { EXPECT_EQ(WriteDebugDump(dir / "dump.txt", "Hist"), -1); });
    EXPECT_EQ(unknown.err, "the infoType is:Hist\n");
    EXPECT_TRUE(ReadLines(dir / "dump.txt").empty());
    cv::Mat image, read;
    for (const std::string type : {"agtm_result", "cltm_result"}) {
        ASSERT_EQ(CopyDebugImage(type, image), 0) << type;
        Capture([&] { WriteDebugDump(dir / "image.txt", type); });
        Capture([&] { ASSERT_EQ(parseImageFromFileCmodel(dir / "image.txt", image.cols, image.rows, read), 0); });
        EXPECT_EQ(image.type(), CV_32SC3);
        EXPECT_EQ(cv::norm(image, read, cv::NORM_INF), 0) << type;
    }
    // A deep copy: the store's next frame does not reach it.
    store->SetADCLTMResultData(cv::Mat(1, 1, CV_32SC3, cv::Scalar(0, 0, 0)));
    EXPECT_EQ(image.at<cv::Vec3i>(0, 0), cv::Vec3i(9, 8, 4095));

    // Unknown types and types of the other kind empty the output.
    Captured out = Capture([&] {
        EXPECT_EQ(CopyDebugArray("agtm_result", values), -1);
        EXPECT_EQ(CopyDebugImage("hist", image), -1);
    });
    EXPECT_TRUE(values.empty() && image.empty());
    EXPECT_NE((out.out + out.err).find("'hist' is not a debug image type"), std::string::npos);
    kelvo::alad_debug_output_::Terminate();
    EXPECT_EQ(CopyDebugArray("hist", values), 0);
    EXPECT_TRUE(values.empty());
    Capture([&] { EXPECT_EQ(WriteDebugDump(WriteText(dir / "dump.txt", "stale\n"), "cltm_result"), 0); });
    EXPECT_TRUE(ReadLines(dir / "dump.txt").empty());  // no image produced: an empty file
}

}  // namespace
