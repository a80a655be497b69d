#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "alad/alad_verify.h"
#include "engine/debug_store.h"
#include "tests/verify/verify_test_util.h"

namespace {

using alad_test::Capture;
using alad_test::ReadLines;
using alad_test::ScratchDir;

using Lines = std::vector<std::string>;

TEST(DumpTest, ArraysAreEightDigitLowerCaseHex) {
    ScratchDir dir;
    kelvo::alad_debug_output_::Terminate();  // a fresh, empty store
    kelvo::alad_debug_output_* store = kelvo::alad_debug_output_::GetInstance();
    const unsigned int hist[] = {0, 4095, 0xFFFFFFFFu, 0xABCDEF};
    store->SetADProcCalcCurveHistData(hist, 4);
    const unsigned int curve[] = {65535};
    store->SetADProcCalcCurveSmoothCurveData(curve, 1);

    const std::string path = dir / "hist.txt";
    const alad_test::Captured out = Capture([&] { printDebugInfo(path, "hist"); });
    EXPECT_EQ(ReadLines(path), (Lines{"00000000", "00000fff", "ffffffff", "00abcdef"}));
    EXPECT_EQ(out.out, "printDebugInfo: " + path + ", infoType: hist\n");
    Capture([&] { printDebugInfo(7, dir / "smooth.txt", "ignored", "smooth_curve"); });
    EXPECT_EQ(ReadLines(dir / "smooth.txt"), (Lines{"0000ffff"}));

    // Entries the engine has not produced, and unknown types, leave an empty file.
    for (const char* type : {"foreward_curve", "backward_curve", "curve", "trans_curve", "agtm_result", "cltm_result"}) {
        const std::string file = dir / (std::string(type) + ".txt");
        alad_test::WriteText(file, "stale\n");
        Capture([&] { EXPECT_EQ(WriteDebugDump(file, type), 0); });
        EXPECT_TRUE(ReadLines(file).empty()) << type;
    }
    const std::string unknown = alad_test::WriteText(dir / "unknown.txt", "stale\n");
    const alad_test::Captured refused = Capture([&] { EXPECT_EQ(WriteDebugDump(unknown, "Hist"), -1); });
    EXPECT_EQ(refused.err, "the infoType is:Hist\n");
    EXPECT_EQ(refused.out, "printDebugInfo: " + unknown + ", infoType: Hist\n");
    EXPECT_TRUE(ReadLines(unknown).empty());
    kelvo::alad_debug_output_::Terminate();
}

TEST(DumpTest, ImagesAreRGBLinesThatReadBackUnchanged) {
    ScratchDir dir;
    cv::Mat image(1, 4, CV_32SC3);
    image.at<cv::Vec3i>(0, 0) = cv::Vec3i(0x789, 0x456, 0x123);
    image.at<cv::Vec3i>(0, 1) = cv::Vec3i(0, 0, 0);
    image.at<cv::Vec3i>(0, 2) = cv::Vec3i(4095, 4095, 4095);
    image.at<cv::Vec3i>(0, 3) = cv::Vec3i(0x1000, 0, 4095);  // over range: the width is a minimum
    const std::string path = dir / "image.txt";
    const alad_test::Captured out = Capture([&] { printImageInfo(path, image); });
    EXPECT_EQ(ReadLines(path), (Lines{"123456789", "000000000", "fffffffff", "fff0001000"}));
    EXPECT_EQ(out.out, "printImageInfo: " + path + "\nprintImageInfo: " + path + "\n");

    // Random 12-bit pictures of awkward sizes survive a dump and a read.
    cv::RNG rng(12);
    for (const cv::Size size : {cv::Size(1, 1), cv::Size(17, 5), cv::Size(3, 65)}) {
        cv::Mat picture(size, CV_32SC3), back;
        rng.fill(picture, cv::RNG::UNIFORM, 0, 4096);
        Capture([&] {
            printImageInfo(0, path, "", picture);
            EXPECT_EQ(parseImageFromFileCmodel(path, size.width, size.height, back), 0);
        });
        EXPECT_EQ(cv::norm(picture, back, cv::NORM_INF), 0.0) << size;
    }

    // A view into a larger image is written row by row.
    cv::Mat big(4, 4, CV_32SC3, cv::Scalar(1, 2, 3));
    big(cv::Rect(1, 1, 2, 2)).setTo(cv::Scalar(0xA, 0xB, 0xC));
    Capture([&] { EXPECT_EQ(WriteImageDump(path, big(cv::Rect(1, 1, 2, 2))), 0); });
    EXPECT_EQ(ReadLines(path), (Lines(4, "00c00b00a")));
}

TEST(DumpTest, UnwritableFilesAndOtherImagesAreReported) {
    ScratchDir dir;
    const std::string nowhere = dir / "no/such/folder.txt";
    alad_test::Captured out = Capture([&] { EXPECT_EQ(WriteImageDump(nowhere, cv::Mat::zeros(1, 1, CV_32SC3)), -1); });
    EXPECT_EQ(out.err, "open failed: " + nowhere + "\n");
    EXPECT_EQ(out.out, "printImageInfo: " + nowhere + "\nprintImageInfo: " + nowhere + "\n");
    out = Capture([&] { EXPECT_EQ(WriteDebugDump(nowhere, "hist"), -1); });
    EXPECT_EQ(out.err, "open failed: " + nowhere + "\n");

    out = Capture([&] { EXPECT_EQ(WriteImageDump(dir / "gray.txt", cv::Mat::zeros(2, 2, CV_32SC1)), -1); });
    EXPECT_NE(out.err.find("1-channel image"), std::string::npos);
    cv::Mat bytes(1, 1, CV_8UC3, cv::Scalar(1, 2, 255));
    Capture([&] { EXPECT_EQ(WriteImageDump(dir / "bytes.txt", bytes), 0); });
    EXPECT_EQ(ReadLines(dir / "bytes.txt"), (Lines{"0ff002001"}));
}

TEST(DumpTest, StatisticsCompareFloatWithFixed) {
    cv::Mat reference(1, 2, CV_32FC3), fixed(1, 2, CV_32SC3);
    reference.at<cv::Vec3f>(0, 0) = cv::Vec3f(10, 20, 30);
    reference.at<cv::Vec3f>(0, 1) = cv::Vec3f(1, 2, 3);
    fixed.at<cv::Vec3i>(0, 0) = cv::Vec3i(12, 20, 25);
    fixed.at<cv::Vec3i>(0, 1) = cv::Vec3i(1, 3, 3);
    alad_test::Captured out = Capture([&] { StatisticsForFloatFixed(reference, fixed, "agtm"); });
    // Differences -2, 0, 5 and 0, -1, 0; the minimum comes first.
    EXPECT_EQ(out.out.rfind("agtm:  Float and Fixed PSNR: ", 0), 0u) << out.out;
    EXPECT_NE(out.out.find(";    DifferenceSum : [2, 1, 5, 0];  MaxMinV: -2, 5\n"), std::string::npos) << out.out;

    cv::Mat same = fixed.clone();
    out = Capture([&] { StatisticsForFloatFixed(fixed, same, "same"); });
    EXPECT_EQ(out.out, "same:  Float and Fixed PSNR: 361.202;    DifferenceSum : [0, 0, 0, 0];  MaxMinV: 0, 0\n");

    cv::Mat other(2, 2, CV_32SC3);
    out = Capture([&] { StatisticsForFloatFixed(fixed, other, "sizes"); });
    EXPECT_EQ(out.out, "");
    EXPECT_NE(out.err.find("sizes"), std::string::npos);
}

}  // namespace
