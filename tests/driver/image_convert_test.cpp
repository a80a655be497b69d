#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include <opencv2/core.hpp>

#include "alad/alad_driver.h"
#include "tests/verify/verify_test_util.h"

namespace {

using namespace alad_test;

TEST(ImageConvertTest, TwoPixelBufferBothWays) {
    unsigned char bytes[8] = {10, 20, 30, 40, 50, 60, 70, 80}, back[8] = {};
    _image buffer{2, 1, 4, bytes};
    cv::Mat argb, rgb, alpha, joined, opaque;
    imageBuffer2MatARGBforDriver(buffer, argb);
    ASSERT_EQ(argb.type(), CV_8UC4);
    EXPECT_EQ(cv::norm(argb, cv::Mat(1, 2, CV_8UC4, bytes), cv::NORM_INF), 0.0);  // A, R, G, B as in the buffer
    EXPECT_NE(argb.data, bytes);  // a copy, not a view of the driver's memory
    imageMatARGB2RGB(argb, rgb, alpha);
    EXPECT_EQ(rgb.at<cv::Vec3b>(0, 0), cv::Vec3b(20, 30, 40));
    EXPECT_EQ(rgb.at<cv::Vec3b>(0, 1), cv::Vec3b(60, 70, 80));
    EXPECT_EQ(cv::Vec2b(alpha.at<uint8_t>(0, 0), alpha.at<uint8_t>(0, 1)), cv::Vec2b(10, 50));

    // Back: B, G, R plus the alpha plane join into A, R, G, B and land in the buffer unchanged.
    cv::Mat bgr = (cv::Mat_<cv::Vec3b>(1, 2) << cv::Vec3b(40, 30, 20), cv::Vec3b(80, 70, 60));
    imageBGR2ARGB_8888(bgr, alpha, joined);
    EXPECT_EQ(Printed([&] { imageMatARGB2BufferForDriver(joined, back); }), "matSrc channel : 4\n");
    EXPECT_EQ(std::vector<unsigned char>(back, back + 8), std::vector<unsigned char>(bytes, bytes + 8));
    imageBGR2ARGB_8888(bgr, opaque);  // without an alpha plane the pixels are opaque
    EXPECT_EQ(opaque.at<cv::Vec4b>(0, 1), cv::Vec4b(255, 60, 70, 80));
}

TEST(ImageConvertTest, WideningTables) {
    const struct {
        int type;
        std::vector<int> in, out;
        void (*widen)(cv::Mat&, cv::Mat&);
    } cases[] = {
        {CV_8UC3, {0, 1, 15, 16, 255}, {0, 16, 240, 257, 4095}, transform8To12},
        {CV_8UC3, {0, 1, 15, 16, 255}, {0, 16, 240, 257, 4095}, transform8To12Interface},
        {CV_32SC3, {0, 255, 256, 512, 1023}, {0, 1020, 1025, 2050, 4095}, transform10To12},
    };
    for (const auto& c : cases) {
        cv::Mat in, out(1, 1, CV_8UC1);
        cv::merge(std::vector<cv::Mat>(3, cv::Mat(c.in).t()), in);
        in.convertTo(in, c.type);
        c.widen(in, out);  // a destination of another size or type is made anew, not written past its end
        ASSERT_EQ(out.type(), CV_32SC3);
        ASSERT_EQ(out.size(), in.size());
        for (size_t i = 0; i < c.in.size(); ++i) {
            EXPECT_EQ(out.at<cv::Vec3i>(0, static_cast<int>(i)), cv::Vec3i::all(c.out[i])) << c.in[i];
        }
    }
}

TEST(ImageConvertTest, RefusalsPrintTheirLineAndLeaveOutputsAlone) {
    unsigned char buffer[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    const std::vector<unsigned char> before(buffer, buffer + 16);
    const cv::Mat three(2, 2, CV_8UC3, cv::Scalar(9, 9, 9)), four(2, 2, CV_8UC4, cv::Scalar::all(0));
    cv::Mat in = three.clone(), rgb = three.clone(), argb = four.clone(), alpha(1, 1, CV_8UC1, cv::Scalar(5)),
            other_alpha(3, 3, CV_8UC1), gray(2, 2, CV_8UC1), gray_alpha(2, 2, CV_8UC1), out = three.clone(),
            strip = cv::Mat(2, 4, CV_8UC4, cv::Scalar::all(0))(cv::Rect(0, 0, 2, 2)), four_in = four.clone();
    _image rgb888{2, 2, 3, buffer}, wide{2, 2, 8, buffer}, no_data{2, 2, 4, nullptr}, negative{-2, 2, 4, buffer};
    const std::pair<std::function<void()>, std::string> cases[] = {
        {[&] { imageMatARGB2BufferForDriver(in, buffer); },
         "matSrc channel : 3\nERROR: input image's channel is not 4 ! \n"},
        {[&] { imageMatARGB2BufferForDriver(four_in, nullptr); }, "matSrc channel : 4\nERROR: out of memory\n"},
        {[&] { imageMatARGB2BufferForDriver(strip, buffer); },
         "matSrc channel : 4\nERROR: input image is not Continuous ! \n"},
        {[&] { imageMatARGB2RGB(in, rgb, alpha); }, "not 4 channels input mat !\n"},
        {[&] { imageBGR2ARGB_8888(in, other_alpha, argb); }, "matBGRsrc'size is different from matAsrc'size !\n"},
        {[&] { imageBGR2ARGB_8888(gray, gray_alpha, argb); }, "not 3 channels input mat !\n"},
        {[&] { imageBGR2ARGB_8888(gray, argb); }, "not 3 channels input mat !\n"},
    };
    for (const auto& [call, line] : cases) EXPECT_EQ(Printed(call), line);
    // A buffer that is not ARGB8888, or has no memory, is not read at all.
    for (const auto& c : {std::pair{&rgb888, "channels 3 is not 4"}, {&wide, "channels 8 is not 4"},
                          {&no_data, "null data"}, {&negative, "negative"}}) {
        EXPECT_NE(Printed([&] { imageBuffer2MatARGBforDriver(*c.first, out); }).find(c.second), std::string::npos)
            << c.second;
    }
    EXPECT_EQ(std::vector<unsigned char>(buffer, buffer + 16), before);
    EXPECT_EQ(alpha.at<uint8_t>(0, 0), 5);
    for (const auto& [result, was] : {std::pair{rgb, three}, {argb, four}, {out, three}}) {
        EXPECT_EQ(cv::norm(result, was, cv::NORM_INF), 0.0);
    }
}

}  // namespace
