#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include <opencv2/imgcodecs.hpp>

#include "tools/tool_common.h"

namespace alad_tool {
namespace {

Options Parse(std::vector<std::string> args, const std::vector<std::string>& valued,
              const std::vector<std::string>& flags = {}) {
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(a.data());
    return Options(static_cast<int>(argv.size()), argv.data(), valued, flags);
}

TEST(ToolOptionsTest, ParsesValuesFlagsAndPositionals) {
    const Options options = Parse({"in.png", "--src", "300", "--fast", "out.png", "--order", "2"},
                                  {"src", "order"}, {"fast"});
    EXPECT_EQ(options.Positional(), (std::vector<std::string>{"in.png", "out.png"}));
    EXPECT_EQ(options.Number("src", 0.0), 300.0);
    EXPECT_EQ(options.Integer("order", 1, 1, 4), 2);
    EXPECT_TRUE(options.Has("fast"));
    EXPECT_FALSE(options.Has("dst"));
    EXPECT_EQ(options.Number("dst", 7.5), 7.5);
}

TEST(ToolOptionsTest, RejectsMistakesWithTheOptionNamed) {
    EXPECT_THROW(Parse({"--nope", "1"}, {"src"}), UsageError);
    EXPECT_THROW(Parse({"--src"}, {"src"}), UsageError);
    const Options options = Parse({"--src", "3x", "--order", "9"}, {"src", "order"});
    try {
        options.Number("src", 0.0);
        FAIL();
    } catch (const UsageError& e) {
        EXPECT_NE(std::string(e.what()).find("--src"), std::string::npos);
    }
    EXPECT_THROW(options.Integer("order", 1, 1, 4), UsageError);
    EXPECT_THROW(options.RequiredNumber("dst"), UsageError);
}

TEST(ToolPictureTest, WidensAndNarrowsBothDepths) {
    const std::string path8 = testing::TempDir() + "alad_tool_8.png";
    const std::string path16 = testing::TempDir() + "alad_tool_16.png";
    cv::Mat picture8(1, 3, CV_8UC3), picture16(1, 2, CV_16UC3);
    picture8.at<cv::Vec3b>(0, 0) = cv::Vec3b(0, 128, 255);
    picture8.at<cv::Vec3b>(0, 1) = cv::Vec3b(1, 15, 16);
    picture8.at<cv::Vec3b>(0, 2) = cv::Vec3b(200, 136, 254);
    picture16.at<cv::Vec3w>(0, 0) = cv::Vec3w(0, 65535, 0x1234);
    picture16.at<cv::Vec3w>(0, 1) = cv::Vec3w(15, 16, 32768);
    WritePicture(path8, picture8);
    WritePicture(path16, picture16);

    int depth = -1;
    const cv::Mat wide8 = ReadPicture12(path8, &depth);
    EXPECT_EQ(depth, CV_8U);
    EXPECT_EQ(wide8.at<cv::Vec3i>(0, 0), cv::Vec3i(0, 2056, 4095));
    EXPECT_EQ(wide8.at<cv::Vec3i>(0, 1), cv::Vec3i(16, 240, 257));
    EXPECT_EQ(cv::norm(NarrowPicture12(wide8, CV_8U), picture8, cv::NORM_INF), 0.0);  // round trip

    const cv::Mat wide16 = ReadPicture12(path16, &depth);
    EXPECT_EQ(depth, CV_16U);
    EXPECT_EQ(wide16.at<cv::Vec3i>(0, 0), cv::Vec3i(0, 4095, 0x123));
    EXPECT_EQ(wide16.at<cv::Vec3i>(0, 1), cv::Vec3i(0, 1, 2048));
    const cv::Mat narrow16 = NarrowPicture12(wide16, CV_16U);
    EXPECT_EQ(narrow16.at<cv::Vec3w>(0, 0), cv::Vec3w(0, 65535, 0x1231));
    std::remove(path8.c_str());
    std::remove(path16.c_str());

    EXPECT_THROW(ReadPicture12(testing::TempDir() + "no_such_picture.png", &depth), RunError);
}

TEST(ToolPictureTest, SideBySidePutsBothPicturesInOne) {
    const cv::Mat left(4, 3, CV_8UC3, cv::Scalar(10, 20, 30)), right(2, 5, CV_8UC3, cv::Scalar(1, 2, 3));
    const cv::Mat both = SideBySide(left, right);
    EXPECT_EQ(both.rows, 4);
    EXPECT_EQ(both.cols, 3 + 8 + 5);
    EXPECT_EQ(both.at<cv::Vec3b>(3, 2), cv::Vec3b(10, 20, 30));
    EXPECT_EQ(both.at<cv::Vec3b>(1, 11), cv::Vec3b(1, 2, 3));
}

}  // namespace
}  // namespace alad_tool
