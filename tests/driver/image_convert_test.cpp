#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include <opencv2/core.hpp>

#include "alad/alad_driver.h"

namespace {

std::string Printed(const std::function<void()>& call) {
    testing::internal::CaptureStdout();
    call();
    return testing::internal::GetCapturedStdout();
}

TEST(ImageConvertTest, TwoPixelBufferBothWays) {
    unsigned char bytes[8] = {10, 20, 30, 40, 50, 60, 70, 80};
    _image buffer{2, 1, 4, bytes};
    cv::Mat argb;
    imageBuffer2MatARGBforDriver(buffer, argb);
    ASSERT_EQ(argb.type(), CV_8UC4);
    EXPECT_EQ(argb.at<cv::Vec4b>(0, 0), cv::Vec4b(10, 20, 30, 40));
    EXPECT_EQ(argb.at<cv::Vec4b>(0, 1), cv::Vec4b(50, 60, 70, 80));
    EXPECT_NE(argb.data, bytes);  // a copy, not a view of the driver's memory

    cv::Mat rgb, alpha;
    imageMatARGB2RGB(argb, rgb, alpha);
    EXPECT_EQ(rgb.at<cv::Vec3b>(0, 0), cv::Vec3b(20, 30, 40));
    EXPECT_EQ(rgb.at<cv::Vec3b>(0, 1), cv::Vec3b(60, 70, 80));
    EXPECT_EQ(alpha.at<uint8_t>(0, 0), 10);
    EXPECT_EQ(alpha.at<uint8_t>(0, 1), 50);

    // Back: B, G, R plus the alpha plane join into A, R, G, B and land in the buffer unchanged.
    cv::Mat bgr(1, 2, CV_8UC3), joined;
    bgr.at<cv::Vec3b>(0, 0) = cv::Vec3b(40, 30, 20);
    bgr.at<cv::Vec3b>(0, 1) = cv::Vec3b(80, 70, 60);
    imageBGR2ARGB_8888(bgr, alpha, joined);
    unsigned char back[8] = {};
    EXPECT_EQ(Printed([&] { imageMatARGB2BufferForDriver(joined, back); }), "matSrc channel : 4\n");
    EXPECT_EQ(std::vector<unsigned char>(back, back + 8), std::vector<unsigned char>(bytes, bytes + 8));

    // The two-argument join makes an opaque alpha.
    cv::Mat opaque;
    imageBGR2ARGB_8888(bgr, opaque);
    EXPECT_EQ(opaque.at<cv::Vec4b>(0, 1), cv::Vec4b(255, 60, 70, 80));
}

TEST(ImageConvertTest, WideningTables) {
    cv::Mat eight(1, 5, CV_8UC3), twelve;
    const uint8_t in8[5] = {0, 1, 15, 16, 255};
    const int out8[5] = {0, 16, 240, 257, 4095};
    for (int i = 0; i < 5; ++i) eight.at<cv::Vec3b>(0, i) = cv::Vec3b::all(in8[i]);
    transform8To12(eight, twelve);
    for (int i = 0; i < 5; ++i) EXPECT_EQ(twelve.at<cv::Vec3i>(0, i), cv::Vec3i::all(out8[i])) << int(in8[i]);
    cv::Mat again;
    transform8To12Interface(eight, again);
    EXPECT_EQ(cv::norm(again, twelve, cv::NORM_INF), 0.0);

    cv::Mat ten(1, 5, CV_32SC3), wide;
    const int in10[5] = {0, 255, 256, 512, 1023};
    const int out10[5] = {0, 1020, 1025, 2050, 4095};
    for (int i = 0; i < 5; ++i) ten.at<cv::Vec3i>(0, i) = cv::Vec3i::all(in10[i]);
    transform10To12(ten, wide);
    for (int i = 0; i < 5; ++i) EXPECT_EQ(wide.at<cv::Vec3i>(0, i), cv::Vec3i::all(out10[i])) << in10[i];

    // A destination of another size or type is made anew rather than written past its end.
    cv::Mat small(1, 1, CV_8UC1);
    transform10To12(ten, small);
    EXPECT_EQ(small.type(), CV_32SC3);
    EXPECT_EQ(small.cols, 5);
}

TEST(ImageConvertTest, RefusalsPrintTheirLineAndLeaveOutputsAlone) {
    unsigned char buffer[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    const cv::Mat three(2, 2, CV_8UC3, cv::Scalar(9, 9, 9));
    cv::Mat in = three.clone();
    EXPECT_EQ(Printed([&] { imageMatARGB2BufferForDriver(in, buffer); }),
              "matSrc channel : 3\nERROR: input image's channel is not 4 ! \n");
    EXPECT_EQ(buffer[0], 1);
    cv::Mat four(2, 2, CV_8UC4, cv::Scalar::all(0));
    EXPECT_EQ(Printed([&] { imageMatARGB2BufferForDriver(four, nullptr); }), "matSrc channel : 4\nERROR: out of memory\n");
    cv::Mat strip = cv::Mat(2, 4, CV_8UC4, cv::Scalar::all(0))(cv::Rect(0, 0, 2, 2));
    EXPECT_EQ(Printed([&] { imageMatARGB2BufferForDriver(strip, buffer); }),
              "matSrc channel : 4\nERROR: input image is not Continuous ! \n");

    cv::Mat rgb = three.clone(), alpha(1, 1, CV_8UC1, cv::Scalar(5));
    EXPECT_EQ(Printed([&] { imageMatARGB2RGB(in, rgb, alpha); }), "not 4 channels input mat !\n");
    EXPECT_EQ(alpha.at<uint8_t>(0, 0), 5);

    cv::Mat argb = four.clone(), other_alpha(3, 3, CV_8UC1);
    EXPECT_EQ(Printed([&] { imageBGR2ARGB_8888(in, other_alpha, argb); }),
              "matBGRsrc'size is different from matAsrc'size !\n");
    cv::Mat gray(2, 2, CV_8UC1), gray_alpha(2, 2, CV_8UC1);
    EXPECT_EQ(Printed([&] { imageBGR2ARGB_8888(gray, gray_alpha, argb); }), "not 3 channels input mat !\n");
    EXPECT_EQ(Printed([&] { imageBGR2ARGB_8888(gray, argb); }), "not 3 channels input mat !\n");
    EXPECT_EQ(argb.size(), cv::Size(2, 2));

    // A buffer that is not ARGB8888, or has no memory, is not read at all.
    cv::Mat out = three.clone();
    _image rgb888{2, 2, 3, buffer};
    EXPECT_NE(Printed([&] { imageBuffer2MatARGBforDriver(rgb888, out); }).find("channels 3 is not 4"), std::string::npos);
    _image wide{2, 2, 8, buffer};
    EXPECT_NE(Printed([&] { imageBuffer2MatARGBforDriver(wide, out); }).find("channels 8 is not 4"), std::string::npos);
    _image no_data{2, 2, 4, nullptr};
    EXPECT_NE(Printed([&] { imageBuffer2MatARGBforDriver(no_data, out); }).find("null data"), std::string::npos);
    _image negative{-2, 2, 4, buffer};
    EXPECT_NE(Printed([&] { imageBuffer2MatARGBforDriver(negative, out); }).find("negative"), std::string::npos);
    EXPECT_EQ(cv::norm(out, three, cv::NORM_INF), 0.0);
}

}  // namespace
