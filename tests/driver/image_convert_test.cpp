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
    // A buffer of any other byte count per pixel, or without memory, is not read at all.
    std::vector<std::pair<_image, std::string>> buffers = {{{2, 2, 4, nullptr}, "no buffer (null data)"},
                                                           {{-2, 2, 4, buffer}, "size -2x2 is negative"}};
    for (int channels : {0, 1, 2, 3, 5, 8, -4}) {
        buffers.push_back({{2, 2, channels, buffer}, "channels " + std::to_string(channels) + " is not 4 (ARGB8888)"});
    }
    for (auto& b : buffers) {
        const std::string printed = Printed([&] { imageBuffer2MatARGBforDriver(b.first, out); });
        EXPECT_NE(printed.find(b.second), std::string::npos) << printed;
    }
    EXPECT_EQ(std::vector<unsigned char>(buffer, buffer + 16), before);
    EXPECT_EQ(alpha.at<uint8_t>(0, 0), 5);
    for (const auto& [result, was] : {std::pair{rgb, three}, {argb, four}, {out, three}}) {
        EXPECT_EQ(cv::norm(result, was, cv::NORM_INF), 0.0);
    }
}

// Every public conversion with every depth and channel count, and empty: what it cannot take it
// refuses with a line, leaving its outputs as they were; nothing is ever thrown. (transform8To12Interface
// is transform8To12 itself: WideningTables shows it forwards.)
TEST(ImageConvertTest, EveryDepthAndChannelCountIsTakenOrRefusedWithALine) {
    const std::vector<unsigned char> sentinel(3 * 5 * 8 * 4, 0xAB);
    std::vector<unsigned char> buffer;
    const cv::Mat alpha8(3, 5, CV_8UC1, cv::Scalar(9));
    cv::Mat alpha;  // the three-argument join's alpha: one plane of the colour's depth, or 8-bit
    const bool joinable[] = {true, false, true, false, false, true, false, false};  // 8U, 16U, 32F
    const struct {
        const char* name;
        std::function<void(cv::Mat&, cv::Mat&, cv::Mat&)> call;
        std::function<bool(int depth, int channels)> takes;
        bool takes_empty;  // a 0x0 matrix of a type it takes
    } conversions[] = {
        {"imageMatARGB2BufferForDriver", [&](cv::Mat& in, cv::Mat&, cv::Mat&) { imageMatARGB2BufferForDriver(in, buffer.data()); },
         [](int d, int cn) { return cn == 4 && d == CV_8U; }, true},
        {"imageMatARGB2RGB", [](cv::Mat& in, cv::Mat& a, cv::Mat& b) { imageMatARGB2RGB(in, a, b); },
         [](int, int cn) { return cn == 4; }, false},
        {"imageBGR2ARGB_8888", [](cv::Mat& in, cv::Mat& a, cv::Mat&) { imageBGR2ARGB_8888(in, a); },
         [&](int d, int cn) { return cn == 3 && joinable[d]; }, false},
        {"imageBGR2ARGB_8888 with alpha of its depth",
         [&](cv::Mat& in, cv::Mat& a, cv::Mat&) {
             alpha8.convertTo(alpha, in.depth());
             imageBGR2ARGB_8888(in, alpha, a);
         },
         [&](int d, int cn) { return cn == 3 && joinable[d]; }, false},
        {"imageBGR2ARGB_8888 with 8-bit alpha",
         [&](cv::Mat& in, cv::Mat& a, cv::Mat&) {
             alpha = alpha8(cv::Rect(0, 0, in.cols, in.rows)).clone();
             imageBGR2ARGB_8888(in, alpha, a);
         },
         [](int d, int cn) { return cn == 3 && d == CV_8U; }, false},
        {"imageBGR2ARGB_8888 with 3-channel alpha",
         [](cv::Mat& in, cv::Mat& a, cv::Mat&) {
             cv::Mat three(in.rows, in.cols, CV_MAKETYPE(in.depth(), 3), cv::Scalar::all(1));
             imageBGR2ARGB_8888(in, three, a);
         },
         [](int, int) { return false; }, false},
        {"transform8To12", [](cv::Mat& in, cv::Mat& a, cv::Mat&) { transform8To12(in, a); },
         [](int d, int cn) { return cn == 3 && d == CV_8U; }, true},
        {"transform10To12", [](cv::Mat& in, cv::Mat& a, cv::Mat&) { transform10To12(in, a); },
         [](int d, int cn) { return cn == 3 && d == CV_32S; }, true},
    };
    for (const auto& c : conversions) {
        for (int depth : {CV_8U, CV_8S, CV_16U, CV_16S, CV_32S, CV_32F, CV_64F, CV_16F}) {
            for (int channels = 1; channels <= 4; ++channels) {
                for (const bool empty : {false, true}) {
                    cv::Mat in(empty ? 0 : 3, empty ? 0 : 5, CV_MAKETYPE(depth, channels));
                    if (!empty) cv::randu(in, 0, 100);
                    const cv::Mat was(2, 2, CV_8UC1, cv::Scalar(77));
                    cv::Mat out = was.clone(), out2 = was.clone();
                    buffer = sentinel;
                    std::string printed;
                    EXPECT_NO_THROW(printed = Printed([&] { c.call(in, out, out2); }));
                    const std::string where = std::string(c.name) + " " + cv::typeToString(in.type()) + (empty ? " empty" : "");
                    const auto same = [&](const cv::Mat& m) {
                        return m.type() == was.type() && m.size() == was.size() && cv::norm(m, was, cv::NORM_INF) == 0;
                    };
                    const bool untouched = same(out) && same(out2);
                    const std::string channel_line = "matSrc channel : " + std::to_string(channels) + "\n";
                    const std::string message = printed.rfind(channel_line, 0) == 0 ? printed.substr(channel_line.size()) : printed;
                    if (!c.takes(depth, channels) || (empty && !c.takes_empty)) {
                        EXPECT_NE(message, "") << where << ": refused without a line";
                        EXPECT_TRUE(untouched && buffer == sentinel) << where << ": outputs changed";
                    } else if (!empty) {
                        EXPECT_EQ(message, "") << where;
                        EXPECT_FALSE(untouched && buffer == sentinel) << where << ": nothing written";
                    }
                }
            }
        }
    }
    // A raw buffer of any other byte count per pixel is not read (RefusalsPrintTheirLineAndLeaveOutputsAlone).
}

}  // namespace
